// Planning and release of the DCT-IV plan tree inside the caller's buffer.
#ifndef ZSPGEN_DCT4_PLAN_H
#define ZSPGEN_DCT4_PLAN_H

#include "dct4/records.h"

namespace zsp::dct4 {

template <class T>
zspStatus init(Env1** state, int32_t n, uint8_t* buffer);
template <class T>
zspStatus initAlloc(Env1** state, int32_t n);
template <class T>
zspStatus release(Env1* state);

// The root's release without handing the buffer back: what a failed plan leaves behind is undone by it.
template <class T>
void releaseTree(Env1* state);

}  // namespace zsp::dct4

#endif  // ZSPGEN_DCT4_PLAN_H
