// How many bytes a plan takes from the arena, found by walking the planner's decisions without building
// anything. Partial sums are 32-bit and only their sign is read, exactly as the query has always reported
// sizes: a negative partial sum means a refused length (or an overflow, which counts the same).
#ifndef ZSPGEN_DCT4_PLAN_SIZE_H
#define ZSPGEN_DCT4_PLAN_SIZE_H

#include <cstdint>

#include "zspgen.h"

namespace zsp::dct4 {

// Rule of a length: 1..5 for the direct lengths 2..32, 6 for the plan tree.
inline uint32_t ruleOfLength(int32_t n) {
  switch (n) {
    case 2: return 1;
    case 4: return 2;
    case 8: return 3;
    case 16: return 4;
    case 32: return 5;
    default: return 6;
  }
}

// Tag of an input-stage node by the length of its odd-frequency DFT: 1..6 for the straight bodies of
// 2..64 points, 7 for one more splitting step.
inline int32_t bodyTagOfLength(int32_t s) {
  switch (s) {
    case 2: return 1;
    case 4: return 2;
    case 8: return 3;
    case 16: return 4;
    case 32: return 5;
    case 64: return 6;
    default: return 7;
  }
}

// Twiddle vectors per output row of a combining step, by its split (0: no such step).
inline int32_t combineVectorsPerRow(int32_t split) {
  switch (split) {
    case 2: return 2;
    case 4: return 6;
    case 8: return 14;
    case 16: return 30;
    case 32: return 62;
    default: return 0;
  }
}

// Bytes a state of length n needs (negative: refused), and the query with its order of checks.
template <class T>
int64_t stateBytes(int32_t n);
template <class T>
zspStatus getSize(int32_t n, int32_t* size);

}  // namespace zsp::dct4

extern "C" {
int64_t x3_owngDCT4_32fx1_env5_mem(int32_t subLength, int32_t length, int32_t foldBase, int32_t stride,
                                   int32_t columns, int32_t length2, int32_t block);
int64_t x3_owngDCT4_64fx1_env5_mem(int32_t subLength, int32_t length, int32_t foldBase, int32_t stride,
                                   int32_t columns, int32_t length2, int32_t block);
int64_t x3_owngDCT4_32fx1_env9_mem(int32_t subLength, int32_t length, int32_t length2, int32_t stride,
                                   int32_t step, int32_t count, int32_t length3, int32_t columns);
int64_t x3_owngDCT4_64fx1_env9_mem(int32_t subLength, int32_t length, int32_t length2, int32_t stride,
                                   int32_t step, int32_t count, int32_t length3, int32_t columns);
}

#endif  // ZSPGEN_DCT4_PLAN_SIZE_H
