// The block size ladder of the planner: large n get a large block, so the last straight bodies stay within
// 64 points on the input side and 32 columns on the output side.
#ifndef ZSPGEN_DCT4_DIVISORS_H
#define ZSPGEN_DCT4_DIVISORS_H

#include <cstdint>

#include "zspgen.h"

extern "C" zspStatus x3_divisorsIntNonTriv(int32_t* divisor, int32_t n);

#endif  // ZSPGEN_DCT4_DIVISORS_H
