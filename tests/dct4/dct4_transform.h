// The transform under test for a given length, as the direct kernels' tests reach it.
#ifndef ZSPGEN_TESTS_DCT4_TRANSFORM_H
#define ZSPGEN_TESTS_DCT4_TRANSFORM_H

#include "dct4/direct.h"

namespace zsp::test {

template <class T>
void dct4Transform(const T* x, T* y, int n) {
  switch (n) {
    case 2: dct4::direct::length2(x, y); break;
    case 4: dct4::direct::length4(x, y); break;
    case 8: dct4::direct::length8(x, y); break;
    case 16: dct4::direct::length16(x, y); break;
    case 32: dct4::direct::length32(x, y); break;
  }
}

}  // namespace zsp::test

#endif
