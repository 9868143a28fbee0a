// The DCT-IV operations of one precision under one name, for tests typed over the sample type.
#ifndef ZSPGEN_TESTS_DCT4_API_H
#define ZSPGEN_TESTS_DCT4_API_H

#include "zspgen.h"

namespace zsp::test {

template <class T> struct Dct4;
template <> struct Dct4<Zsp32f> {
  static constexpr auto getSize = zspgDCT4GetSize_32f;
  static constexpr auto init = zspgDCT4Init_32f;
  static constexpr auto initAlloc = zspgDCT4InitAlloc_32f;
  static constexpr auto transform = zspgDCT4_32f;
  static constexpr auto free = zspgDCT4Free_32f;
  static constexpr int maxLog2 = 26;
};
template <> struct Dct4<Zsp64f> {
  static constexpr auto getSize = zspgDCT4GetSize_64f;
  static constexpr auto init = zspgDCT4Init_64f;
  static constexpr auto initAlloc = zspgDCT4InitAlloc_64f;
  static constexpr auto transform = zspgDCT4_64f;
  static constexpr auto free = zspgDCT4Free_64f;
  static constexpr int maxLog2 = 25;
};

}  // namespace zsp::test

#endif
