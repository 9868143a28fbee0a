// One transform of length n through the public operations: allocate a state, run it, release it.
#ifndef ZSPGEN_TESTS_DCT4_TRANSFORM_H
#define ZSPGEN_TESTS_DCT4_TRANSFORM_H

#include <stdexcept>

#include "dct4_api.h"

namespace zsp::test {

template <class T>
void dct4Transform(const T* x, T* y, int n) {
  DCT4Spec* handle = nullptr;
  if (Dct4<T>::initAlloc(&handle, n) != zspStsNoErr) throw std::runtime_error("no state");
  const zspStatus st = Dct4<T>::transform(x, y, handle);
  Dct4<T>::free(handle);
  if (st != zspStsNoErr) throw std::runtime_error("transform failed");
}

}  // namespace zsp::test

#endif
