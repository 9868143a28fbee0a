// The combining step of a splitting level: for each row a' of the sub-transforms, twiddles and a D2-point
// complex DFT across them, on vectors of L residues. The arithmetic for one row and one vector of residues
// is `combineVector`; `combineRows` runs it over every row and residue of a level.
#ifndef ZSPGEN_DCT4_COMBINE_H
#define ZSPGEN_DCT4_COMBINE_H

#include "dct4/compute.h"

namespace zsp::dct4::kernel {

// The D2 outputs of row `a` of a level with `rows` rows: `load(j)` gives sub-transform j, `put(c, v)`
// takes output c (as computed: the caller conjugates the upper half where it stores it). The table holds
// the twiddles of every row in the order of the schedule below.
template <class T, int D2, class Load, class Put>
ZSP_DCT4_INLINE void combineVector(const T* table, int64_t a, int64_t rows, Load&& load, Put&& put) {
  constexpr int L = kLanes<T>;
  constexpr int64_t V = 2 * L;  // samples per cosine-sine pair of vectors
  if constexpr (D2 <= 8) {
    const T* tw = table + a * (D2 - 1) * V;
    CV<T> x[D2];
    x[0] = load(0);
#pragma GCC unroll 64
    for (int j = 1; j < D2; ++j) x[j] = twiddle(load(j), tw + (j - 1) * V);
    dft<T, D2>(x);
#pragma GCC unroll 64
    for (int c = 0; c < D2; ++c) put(c, x[c]);
  } else {
    // Two levels: a radix-R1 step over j = u + 4k with the twiddles of 4k, then radix 4 over u with the
    // twiddles of the first level's outputs v.
    constexpr int R1 = D2 / 4;
    constexpr int64_t perRowA = R1 * 6, perRowB = (R1 - 1) * 2;  // vectors per row a
    constexpr bool bFirst = sizeof(T) == 8 && D2 == 32;
    const T* sectionA = table + (bFirst ? rows * perRowB * L : 0) + a * perRowA * L;
    const T* sectionB = table + (bFirst ? 0 : rows * perRowA * L) + a * perRowB * L;
    CV<T> y[4][R1];
#pragma GCC unroll 64
    for (int u = 0; u < 4; ++u) {
      y[u][0] = load(u);
#pragma GCC unroll 64
      for (int k = 1; k < R1; ++k) y[u][k] = twiddle(load(u + 4 * k), sectionB + (k - 1) * V);
      dft<T, R1>(y[u]);
    }
#pragma GCC unroll 64
    for (int v = 0; v < R1; ++v) {
      CV<T> z[4];
      z[0] = y[0][v];
#pragma GCC unroll 64
      for (int u = 1; u < 4; ++u) z[u] = twiddle(y[u][v], sectionA + (v * 3 + u - 1) * V);
      dft<T, 4>(z);
#pragma GCC unroll 64
      for (int q = 0; q < 4; ++q) put(v + R1 * q, z[q]);
    }
  }
}

// Where a level's combining step reads and writes. Sub-transform j of residue r, row a' is at
// in[2 a' inRow + j inStep + r] (real part) and one inRow further on (imaginary part); output row a of
// residue r is at out[2 a outRow + r] and one outRow further on.
struct CombineShape {
  int64_t inRow, inStep, outRow;
  int64_t rows;  // a' = 0 .. rows - 1
  int64_t sub;   // length of the sub-transforms
};

// Output c below the half goes to row a + sub c as it is, the others conjugated to the mirrored row.
template <int D2>
constexpr int64_t combineOutputRow(int c, int64_t a, int64_t sub) {
  return c < D2 / 2 ? a + sub * c : (sub - 1 - a) + sub * (D2 - 1 - c);
}

// The rows of a level whose sub-transforms of one row lie one after the other (in[2 a' inRow + j residues
// + r]); the results are collected per row and written out one output row at a time, by `store(at, v)`.
// The 2 D2 output rows of one a' lie a power of two apart and so fall into the same cache sets. Splits of
// up to 8 whose whole output fits in the first-level cache store each vector where it goes instead: their
// rows stay there whatever set they share. A larger output (the scratch of a long transform) evicts its
// own rows before they are complete, so those go through the detour too.
constexpr int64_t kDirectCombineBytes = 32 * 1024;

// The two ways a combining step stores its result vectors: through the cache, or past it. Named types
// rather than lambdas, so that every caller of one (element type, split, store) shares one instance of
// the step instead of compiling its own copy.
struct AlignedStore {
  template <class T>
  ZSP_DCT4_INLINE void operator()(T* at, Vec<T> v) const { storeAligned(at, v); }
};
struct StreamingStore {
  template <class T>
  ZSP_DCT4_INLINE void operator()(T* at, Vec<T> v) const { storeStreaming(at, v); }
};

template <class T, int D2, class Store>
void combineContiguousRows(const T* table, const CombineShape& shape, T* out, const T* in, int64_t outColumn,
                           int64_t residues, Store&& store) {
  constexpr int L = kLanes<T>;
  alignas(16) T results[D2][2][kMaxResidues];  // [c][re/im][residue]
  // The full block of residues is addressed with its width as a constant, as in the input bodies.
  auto rowsOf = [&](auto width, auto direct) ZSP_DCT4_INLINE_LAMBDA {
    const int64_t n = width;
    for (int64_t a = 0; a < shape.rows; ++a) {
      const T* re = in + 2 * a * shape.inRow;
      for (int64_t r = 0; r < width; r += L)
        combineVector<T, D2>(
            table, a, shape.rows,
            [&](int j) ZSP_DCT4_INLINE_LAMBDA {
              return CV<T>{loadAligned(re + j * width + r), loadAligned(re + shape.inRow + j * width + r)};
            },
            [&](int c, CV<T> v) ZSP_DCT4_INLINE_LAMBDA {
              if constexpr (direct) {
                T* toRe = out + 2 * combineOutputRow<D2>(c, a, shape.sub) * shape.outRow + outColumn + r;
                store(toRe, v.re);
                store(toRe + shape.outRow, c < D2 / 2 ? v.im : -v.im);
              } else {
                storeAligned(&results[c][0][r], v.re);
                storeAligned(&results[c][1][r], c < D2 / 2 ? v.im : -v.im);
              }
            });
      if constexpr (direct) continue;
      for (int c = 0; c < D2; ++c) {
        T* toRe = out + 2 * combineOutputRow<D2>(c, a, shape.sub) * shape.outRow + outColumn;
        for (int part = 0; part < 2; ++part)
#pragma GCC unroll 16
          for (int64_t r = 0; r < n; r += L) store(toRe + part * shape.outRow + r, loadAligned(&results[c][part][r]));
      }
    }
  };
  auto withWidth = [&](auto direct) ZSP_DCT4_INLINE_LAMBDA {
    if (residues == kMaxResidues) rowsOf(std::integral_constant<int64_t, kMaxResidues>{}, direct);
    else rowsOf(residues, direct);
  };
  // Only splits of up to 8 have the direct form at all, so larger ones are compiled with the detour alone.
  if constexpr (D2 <= 8) {
    if (shape.sub * D2 * shape.outRow * int64_t{sizeof(T)} <= kDirectCombineBytes) {
      withWidth(std::true_type{});
      return;
    }
  }
  withWidth(std::false_type{});
}

// Every row of a level over `allResidues` residues starting at the given columns. The rows one a' reads
// (and those it writes) lie a power of two apart, so they would all compete for the same few cache sets;
// each row's run of residues is therefore copied into a contiguous block first, all vectors work on the
// blocks, and the results go out row by row.
template <class T, int D2>
void combineRows(const T* table, const CombineShape& shape, T* out, const T* in, int64_t inColumn,
                 int64_t outColumn, int64_t allResidues) {
  constexpr int L = kLanes<T>;
  constexpr int64_t R = kMaxResidues;
  alignas(16) T staged[2][D2][R];   // [re/im][j][residue]
  alignas(16) T results[D2][2][R];  // [c][re/im][residue]
  // When the sub-transforms of a row lie one after the other, as the residues of a compact block or of
  // a level of at most R columns do, the row is one contiguous run and is read where it is.
  if (shape.inStep == allResidues && allResidues <= R) {
    combineContiguousRows<T, D2>(table, shape, out, in + inColumn, outColumn, allResidues, AlignedStore{});
    return;
  }
  for (int64_t a = 0; a < shape.rows; ++a)
    for (int64_t first = 0; first < allResidues; first += R) {  // runs of at most R residues
      const int64_t residues = allResidues - first < R ? allResidues - first : R;
      const T* inRe = in + 2 * a * shape.inRow + inColumn + first;
      for (int part = 0; part < 2; ++part)
        for (int j = 0; j < D2; ++j)
          for (int64_t r = 0; r < residues; r += L)
            storeAligned(&staged[part][j][r], loadAligned(inRe + part * shape.inRow + j * shape.inStep + r));
      for (int64_t r = 0; r < residues; r += L)
        combineVector<T, D2>(
            table, a, shape.rows,
            [&](int j) ZSP_DCT4_INLINE_LAMBDA {
              return CV<T>{loadAligned(&staged[0][j][r]), loadAligned(&staged[1][j][r])};
            },
            [&](int c, CV<T> v) ZSP_DCT4_INLINE_LAMBDA {
              storeAligned(&results[c][0][r], v.re);
              storeAligned(&results[c][1][r], c < D2 / 2 ? v.im : -v.im);
            });
      for (int c = 0; c < D2; ++c) {
        T* toRe = out + 2 * combineOutputRow<D2>(c, a, shape.sub) * shape.outRow + outColumn + first;
        for (int part = 0; part < 2; ++part)
          for (int64_t r = 0; r < residues; r += L)
            storeAligned(toRe + part * shape.outRow + r, loadAligned(&results[c][part][r]));
      }
    }
}

// The shape of a combining node as planned: input and output rows as wide as its column count times the
// split and as its column count.
inline CombineShape planShape(const Env8* e) {
  return {int64_t{e->outStride} / 2, e->columns, e->columns, e->groups, e->subLength};
}

}  // namespace zsp::dct4::kernel

#endif  // ZSPGEN_DCT4_COMBINE_H
