// A complex size-dispatch entry seen through the real sample type, for tests that drive every family
// through one signature: the arrays are interleaved (re, im) values.
#pragma once

#include <zspgen.h>

#include <cstdint>

namespace zsp::test {

template <class C, class T, zspStatus (*entry)(const C*, C*, int32_t, int32_t)>
zspStatus complexEntry(const T* src, T* dst, int32_t n, int32_t hint) {
  return entry(reinterpret_cast<const C*>(src), reinterpret_cast<C*>(dst), n, hint);
}

}  // namespace zsp::test
