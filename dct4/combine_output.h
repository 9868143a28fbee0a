// The outermost combining step and the output stage in one pass, for long transforms: the rows that the
// combining step makes for a few neighbouring a' are exactly whole turns of the output stage, so they are
// twiddled, folded and stored while they are still in the cache, instead of going through the state's
// N-sample vector and back. The values are those of the two steps one after the other.
#ifndef ZSPGEN_DCT4_COMBINE_OUTPUT_H
#define ZSPGEN_DCT4_COMBINE_OUTPUT_H

#include "dct4/combine.h"

namespace zsp::dct4::kernel {

// Turns made per output place and per block of rows: 4, one cache line of samples per place; 16 where the
// places are spread over so many pages that fewer, longer visits pay.
constexpr int kOutputRun = 4, kLongOutputRun = 16;

// Samples between the staged turns of two neighbouring outputs c: their G L rows of 2D samples, a
// multiple of 4 KiB, and with a split of 32 one cache line more. Without that line the 32 outputs of one
// vector compete for the same first-level cache sets, more than their ways hold (double 2^15 103 to
// 92 us, single 2^18 516 to 465 us); the 16 outputs of a split of 16 fit, and gain nothing from it.
template <class T>
constexpr int64_t combineOutputStride(int d2, int d, int g) {
  return int64_t{g} * kLanes<T> * 2 * d + (d2 == 32 ? 64 / int64_t{sizeof(T)} : 0);
}

// Staging the pass needs, in samples: D2 outputs.
template <class T>
constexpr int64_t combineOutputStaging(int d2, int d, int g) {
  return int64_t{d2} * combineOutputStride<T>(d2, d, g);
}

// Rows a' of the outermost level in blocks of G L: each block gives, for each output c of the combining
// step, G consecutive turns of the output stage (in descending order for the upper half of c, whose rows
// are mirrored), which go to `staging` in the layout of the state's vector and from there to y.
template <class T, int D2, int D, int G, class Store>
void combineIntoOutput(const Env8* c8, const T* in, const Env4* e4, T* staging, Store&& store) {
  constexpr int L = kLanes<T>;
  constexpr int64_t turnSamples = 2 * D * L, outputStride = combineOutputStride<T>(D2, D, G);
  const T* combineTable = static_cast<const T*>(c8->table);
  const T* outputTable = static_cast<const T*>(e4->table);
  const int64_t inRow = int64_t{c8->outStride} / 2, rows = c8->groups, sub = c8->subLength;
  const int64_t s = e4->subLength, mirrorBase = int64_t{e4->foldBase} - s * D, turnsPerOutput = sub / L;
  // The first of the G turns that output c of the block from b0 on fills.
  auto firstTurn = [&](int c, int64_t b0) {
    return c < D2 / 2 ? b0 + turnsPerOutput * c : (turnsPerOutput - b0 - G) + turnsPerOutput * (D2 - 1 - c);
  };
  for (int64_t b0 = 0; b0 < rows / L; b0 += G) {
    for (int g = 0; g < G; ++g)
      for (int l = 0; l < L; ++l) {
        const int64_t a = (b0 + g) * L + l;
        const T* re = in + 2 * a * inRow;
        T* lower = staging + (g * L + l) * 2 * D;
        T* upper = staging + ((G - 1 - g) * L + (L - 1 - l)) * 2 * D;
        // The next row's samples are requested while this row is combined, a share of D2 L samples of
        // each part per vector of residues: each vector reads one sample pair of every sub-transform,
        // 2 D2 lines at once, a pattern the hardware prefetchers do not follow.
        const T* nextRe = re + 2 * inRow;
        constexpr int64_t perVector = D2 * L;
#pragma GCC unroll 1
        for (int r = 0; r < D; r += L) {
          if (a + 1 < rows) {
            requestLines(nextRe + (r / L) * perVector, perVector);
            requestLines(nextRe + inRow + (r / L) * perVector, perVector);
          }
          combineVector<T, D2>(
              combineTable, a, rows,
              [&](int j) ZSP_DCT4_INLINE_LAMBDA {
                return CV<T>{loadAligned(re + j * D + r), loadAligned(re + inRow + j * D + r)};
              },
              [&](int c, CV<T> v) ZSP_DCT4_INLINE_LAMBDA {
                T* to = (c < D2 / 2 ? lower : upper) + c * outputStride + r;
                storeAligned(to, v.re);
                storeAligned(to + D, c < D2 / 2 ? v.im : -v.im);
              });
        }
      }
    for (int c = 0; c < D2; ++c) {
      const int64_t i0 = firstTurn(c, b0);
      // The turns whose table is read next: those of output c + 1, or of output 0 of the next block.
      const int64_t next = c + 1 < D2 ? firstTurn(c + 1, b0) : b0 + G < rows / L ? firstTurn(0, b0 + G) : i0;
      outputTurns<T, D, G>(outputTable + turnSamples * i0, staging + c * outputStride, i0, s, mirrorBase, store,
                           outputTable + turnSamples * next);
    }
  }
}

}  // namespace zsp::dct4::kernel

#endif  // ZSPGEN_DCT4_COMBINE_OUTPUT_H
