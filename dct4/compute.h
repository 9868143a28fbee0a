// The transform through the plan tree, on vectors of L residues (or L frequencies) at a time:
//   input stage   odd-frequency DFTs of s real points per residue, read through the mirrored input;
//   splitting     sub-transforms into the step's scratch, then twiddles and a small DFT across them;
//   output stage  twiddles from the table and the fold network, two outputs per terminal.
// Scratch vectors and tables are read and written as aligned vectors; only the first read of x and the
// last write of y touch the caller's memory, with unaligned accesses.
#ifndef ZSPGEN_DCT4_COMPUTE_H
#define ZSPGEN_DCT4_COMPUTE_H

#include <emmintrin.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "dct4/angles.h"
#include "dct4/records.h"
#include "dct4/twiddle.h"

namespace zsp::dct4::kernel {

// The pieces of a body are inlined into it, so the values of a body stay in registers; so are the
// lambdas that pass loads and stores into the shared loops. Instrumented builds (the sanitizers) keep the
// pieces as functions of their own instead: inlined, every instrumented body grows so large that the
// compiler takes the better part of an hour over this family. Separate functions run the same operations
// in the same order, so the results keep their bits.
#ifdef ZSPGEN_INSTRUMENTED
#define ZSP_DCT4_INLINE __attribute__((noinline)) inline
#define ZSP_DCT4_INLINE_LAMBDA
#else
#define ZSP_DCT4_INLINE __attribute__((always_inline)) inline
#define ZSP_DCT4_INLINE_LAMBDA __attribute__((always_inline))
#endif

template <class T> struct VecOf;
template <> struct VecOf<float> { typedef float type __attribute__((vector_size(16))); };
template <> struct VecOf<double> { typedef double type __attribute__((vector_size(16))); };
template <class T>
using Vec = typename VecOf<T>::type;

template <class T>
struct CV {
  Vec<T> re, im;
};

template <class T>
ZSP_DCT4_INLINE Vec<T> splat(T v) {
  Vec<T> r = {};
  return r + v;
}

template <class T>
ZSP_DCT4_INLINE Vec<T> loadAligned(const T* p) { return *reinterpret_cast<const Vec<T>*>(p); }
template <class T>
ZSP_DCT4_INLINE void storeAligned(T* p, typename VecOf<T>::type v) { *reinterpret_cast<Vec<T>*>(p) = v; }
template <class T>
ZSP_DCT4_INLINE Vec<T> loadUnaligned(const T* p) {
  Vec<T> v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
template <class T>
ZSP_DCT4_INLINE void storeUnaligned(T* p, typename VecOf<T>::type v) { std::memcpy(p, &v, sizeof v); }

// A 16-byte aligned store that bypasses the cache.
ZSP_DCT4_INLINE void storeStreaming(float* p, Vec<float> v) { _mm_stream_ps(p, v); }
ZSP_DCT4_INLINE void storeStreaming(double* p, Vec<double> v) { _mm_stream_pd(p, v); }

// Asks for the cache lines of `samples` samples from `from` on, ahead of their use.
template <class T>
ZSP_DCT4_INLINE void requestLines(const T* from, int64_t samples) {
  for (int64_t at = 0; at < samples; at += 64 / int64_t{sizeof(T)}) _mm_prefetch(from + at, _MM_HINT_T0);
}

template <class T>
ZSP_DCT4_INLINE Vec<T> reversed(Vec<T> v) {
  if constexpr (sizeof(T) == 4) return __builtin_shufflevector(v, v, 3, 2, 1, 0);
  else return __builtin_shufflevector(v, v, 1, 0);
}

// v times e^(i k pi / 128), with the quarter turns done without products.
template <class T, int K>
ZSP_DCT4_INLINE CV<T> rotate(CV<T> v) {
  constexpr int k = ((K % 256) + 256) % 256;
  if constexpr (k == 0) return v;
  else if constexpr (k == 64) return {-v.im, v.re};
  else if constexpr (k == 128) return {-v.re, -v.im};
  else if constexpr (k == 192) return {v.im, -v.re};
  else if constexpr (k % 64 == 32) {
    // Odd multiples of pi/4: cosine and sine are +-1/sqrt(2), so two products serve both lanes of the
    // pair; each result is the same sum of the same two products as in the general case.
    const Vec<T> r = splat(cosPi128<T>(32));
    const Vec<T> a = r * v.re, b = r * v.im;
    if constexpr (k == 32) return {a - b, a + b};
    else if constexpr (k == 96) return {-(a + b), a - b};
    else if constexpr (k == 160) return {b - a, -(a + b)};
    else return {a + b, b - a};
  } else {
    const Vec<T> c = splat(cosPi128<T>(k)), s = splat(sinPi128<T>(k));
    return {c * v.re - s * v.im, s * v.re + c * v.im};
  }
}

// v times (c + i s) from a table.
template <class T>
ZSP_DCT4_INLINE CV<T> twiddle(CV<T> v, const T* cosSin) {
  const Vec<T> c = loadAligned(cosSin), s = loadAligned(cosSin + 16 / sizeof(T));
  return {c * v.re - s * v.im, s * v.re + c * v.im};
}

template <class T>
ZSP_DCT4_INLINE CV<T> add(CV<T> a, CV<T> b) { return {a.re + b.re, a.im + b.im}; }
template <class T>
ZSP_DCT4_INLINE CV<T> sub(CV<T> a, CV<T> b) { return {a.re - b.re, a.im - b.im}; }

template <int I, int End, class F>
ZSP_DCT4_INLINE void unroll(F&& f) {
  if constexpr (I < End) {
    f.template operator()<I>();
    unroll<I + 1, End>(static_cast<F&&>(f));
  }
}

// Complex DFT of M points with positive exponent, in place, natural order in and out: radix 4 where it
// can, radix 2 for the last factor.
template <class T, int M>
ZSP_DCT4_INLINE void dft(CV<T>* x) {
  if constexpr (M == 1) {
    return;
  } else if constexpr (M == 2) {
    const CV<T> a = x[0], b = x[1];
    x[0] = add(a, b);
    x[1] = sub(a, b);
  } else {
    constexpr int Q = M / 4;
    CV<T> part[4][Q > 0 ? Q : 1];
    if constexpr (M % 4 == 0) {
#pragma GCC unroll 64
      for (int j = 0; j < Q; ++j)
  #pragma GCC unroll 64
        for (int p = 0; p < 4; ++p) part[p][j] = x[4 * j + p];
#pragma GCC unroll 64
      for (int p = 0; p < 4; ++p) dft<T, Q>(part[p]);
      unroll<0, Q>([&]<int k>() ZSP_DCT4_INLINE_LAMBDA {
        const CV<T> a = part[0][k];
        const CV<T> b = rotate<T, 256 * k / M>(part[1][k]);
        const CV<T> c = rotate<T, 512 * k / M>(part[2][k]);
        const CV<T> d = rotate<T, 768 * k / M>(part[3][k]);
        const CV<T> s0 = add(a, c), s1 = sub(a, c), s2 = add(b, d), s3 = sub(b, d);
        const CV<T> js3 = {-s3.im, s3.re};  // i (b - d)
        x[k] = add(s0, s2);
        x[k + Q] = add(s1, js3);
        x[k + 2 * Q] = sub(s0, s2);
        x[k + 3 * Q] = sub(s1, js3);
      });
    }
  }
}

// Odd-frequency DFT of S real rows u: V(a) = sum_j u_j e^(i pi j (2a+1)/S), a < S/2.
template <class T, int S>
ZSP_DCT4_INLINE void oddBody(const Vec<T>* u, Vec<T>* re, Vec<T>* im) {
  if constexpr (S == 2) {
    re[0] = u[0];
    im[0] = u[1];
  } else {
    constexpr int M = S / 4;
    const Vec<T> r2 = splat(cosPi128<T>(32));
    CV<T> p[M], q[M];
#pragma GCC unroll 64
    for (int j = 0; j < M; ++j) {
      const Vec<T> g = (u[j + M] - u[j + 3 * M]) * r2;
      const Vec<T> h = (u[j + M] + u[j + 3 * M]) * r2;
      p[j] = {u[j] + g, h + u[j + 2 * M]};
      q[j] = {u[j] - g, h - u[j + 2 * M]};
    }
    unroll<1, M>([&]<int j>() ZSP_DCT4_INLINE_LAMBDA {
      p[j] = rotate<T, 128 * j / S>(p[j]);
      q[j] = rotate<T, 384 * j / S>(q[j]);
    });
    auto put = [&](int index, CV<T> v) ZSP_DCT4_INLINE_LAMBDA {
      if (index < S / 2) re[index] = v.re, im[index] = v.im;
      else re[S - 1 - index] = v.re, im[S - 1 - index] = -v.im;
    };
    // One chain after the other, so that only one of them is held in registers at a time.
    dft<T, M>(p);
#pragma GCC unroll 64
    for (int b = 0; b < M; ++b) put(4 * b, p[b]);
    dft<T, M>(q);
#pragma GCC unroll 64
    for (int b = 0; b < M; ++b) put(4 * b + 1, q[b]);
  }
}

// One batch of L residues read straight from x: S rows of the mirrored input, the body, S/2 complex rows
// stored at the batch's columns. Row j of lane l is x[offset + l + j stride] for j < S/2 and
// -x[offset + base - l - j stride] after.
template <class T, int S>
inline void inputBatch(const T* x, int64_t offset, int64_t base, int64_t stride, T* out, int64_t rowLength,
                       int64_t column) {
  constexpr int L = kLanes<T>;
  Vec<T> u[S], re[S / 2], im[S / 2];
#pragma GCC unroll 64
  for (int j = 0; j < S / 2; ++j) u[j] = loadUnaligned(x + offset + j * stride);
#pragma GCC unroll 64
  for (int j = S / 2; j < S; ++j) u[j] = -reversed<T>(loadUnaligned(x + offset + base - j * stride - (L - 1)));
  oddBody<T, S>(u, re, im);
#pragma GCC unroll 64
  for (int a = 0; a < S / 2; ++a) {
    storeAligned(out + 2 * a * rowLength + column, re[a]);
    storeAligned(out + (2 * a + 1) * rowLength + column, im[a]);
  }
}

// Every batch of L residues that shares the same S rows: the rows of all of them (at most 32 residues, the
// largest block) are first copied into one contiguous block, the mirrored rows reversed and negated, so
// that the bodies read aligned vectors from a block that stays in the cache whatever the input stride;
// their results are collected likewise and written out row by row.
// Row j of residue r is x[offset + r + j stride] for j < S/2 and -x[offset + base - r - j stride] after;
// each body stores S/2 complex rows at its own L columns.
constexpr int kMaxResidues = 32;

// With `direct`, the caller's output rows do not compete for cache sets (they are padded) and the
// bodies store into them directly. A `nextOffset` other than 0 is how much further on the caller's next
// call reads: its rows are requested from memory while these are copied, since rows far apart in a long
// input are each on a page of their own and no hardware prefetcher follows them.
template <class T, int S>
void inputRows(const T* x, int64_t offset, int64_t base, int64_t stride, T* out, int64_t rowLength,
               int64_t column, int32_t batches, bool direct = false, int64_t nextOffset = 0) {
  constexpr int L = kLanes<T>;
  alignas(16) T rows[S * kMaxResidues];
  const int64_t residues = int64_t{L} * batches;
  // The block is addressed with the residue count as a constant where it is the full block, the common
  // case: the rows are then fixed displacements that need no registers of their own, and the copies
  // are straight runs of loads and stores instead of short loops. (The copies count to `n`, a plain
  // integer: with the lambda's own parameter as the bound, GCC ignores the unroll request.)
  auto bodies = [&](auto width) ZSP_DCT4_INLINE_LAMBDA {
    const int64_t n = width;
    for (int j = 0; j < S / 2; ++j) {
      const T* from = x + offset + j * stride;
#pragma GCC unroll 16
      for (int64_t r = 0; r < n; r += L) storeAligned(rows + j * width + r, loadUnaligned(from + r));
      if (nextOffset != 0) requestLines(from + nextOffset, n + L);
    }
    for (int j = S / 2; j < S; ++j) {
      const T* from = x + offset + base - j * stride - (L - 1);
#pragma GCC unroll 16
      for (int64_t r = 0; r < n; r += L)
        storeAligned(rows + j * width + r, -reversed<T>(loadUnaligned(from - r)));
      if (nextOffset != 0) requestLines(from - nextOffset - n + L, n + L);
    }
    // Output row a of batch b goes to dst + a * dstRow + L * b.
    auto batchesInto = [&](T* dst, auto dstRow) ZSP_DCT4_INLINE_LAMBDA {
      for (int32_t b = 0; b < batches; ++b) {
        Vec<T> u[S], re[S / 2], im[S / 2];
#pragma GCC unroll 64
        for (int j = 0; j < S; ++j) u[j] = loadAligned(rows + j * width + L * b);
        oddBody<T, S>(u, re, im);
#pragma GCC unroll 64
        for (int a = 0; a < S / 2; ++a) {
          storeAligned(dst + 2 * a * dstRow + L * b, re[a]);
          storeAligned(dst + (2 * a + 1) * dstRow + L * b, im[a]);
        }
      }
    };
    if (direct) {
      batchesInto(out + column, rowLength);
      return;
    }
    // The output rows are as far apart as the input rows; they are gathered the same way.
    alignas(16) T results[S * kMaxResidues];
    batchesInto(results, width);
    for (int j = 0; j < S; ++j)
#pragma GCC unroll 16
      for (int64_t r = 0; r < n; r += L)
        storeAligned(out + j * rowLength + column + r, loadAligned(results + j * width + r));
  };
  if (residues == kMaxResidues) bodies(std::integral_constant<int64_t, kMaxResidues>{});
  else bodies(residues);
}

// Fold network over M twiddled residues; terminal t holds the pair (y[k], y[mirror of k]).
template <class T, int M>
ZSP_DCT4_INLINE void fold(const CV<T>* l, CV<T>* terminal) {
  if constexpr (M == 1) {
    terminal[0] = l[0];
  } else {
    CV<T> u[M / 2], d[M / 2];
    unroll<0, M / 2>([&]<int i>() ZSP_DCT4_INLINE_LAMBDA {
      const CV<T> a = l[i], b = l[M - 1 - i];
      u[i] = {a.re + b.re, a.im - b.im};
      d[i] = rotate<T, (2 * i + 1) * 64 / M>(CV<T>{a.re - b.re, a.im + b.im});
    });
    fold<T, M / 2>(u, terminal);
    fold<T, M / 2>(d, terminal + M / 2);
  }
}

// Two fold levels at once on one quad of list positions (i, M-1-i, M/2+i, M/2-1-i) of a list of M: the
// differences of the first level for i and M/2-1-i share one rotation, so the second level's difference
// side needs two rotations per quad instead of three. Gives element i of the four lists of M/4 that the
// plain recursion would fold next, in its order.
template <class T, int M, int i>
ZSP_DCT4_INLINE void foldQuad(const CV<T>* l, CV<T>& uu, CV<T>& ud, CV<T>& du, CV<T>& dd) {
  const CV<T> p = l[i], q = l[M - 1 - i], r = l[M / 2 + i], t = l[M / 2 - 1 - i];
  const CV<T> upper = {p.re + q.re, p.im - q.im}, mirror = {t.re + r.re, t.im - r.im};
  uu = {upper.re + mirror.re, upper.im - mirror.im};
  ud = rotate<T, (2 * i + 1) * 128 / M>(CV<T>{upper.re - mirror.re, upper.im + mirror.im});
  // With a = p - conj(q) and b = conj(t) - r, the difference side of the second level is w (a - i b)
  // and w v (a + i b), w and v being the rotations of the first and the second level.
  const CV<T> a = {p.re - q.re, p.im + q.im}, b = {t.re - r.re, -t.im - r.im};
  du = rotate<T, (2 * i + 1) * 64 / M>(CV<T>{a.re + b.im, a.im - b.re});
  dd = rotate<T, 3 * (2 * i + 1) * 64 / M>(CV<T>{a.re - b.im, a.im + b.re});
}

constexpr int bitReverse(int t, int bits) {
  int r = 0;
  for (int b = 0; b < bits; ++b) r |= ((t >> b) & 1) << (bits - 1 - b);
  return r;
}
constexpr int log2Of(int d) { return d <= 1 ? 0 : 1 + log2Of(d / 2); }

// Position q of a turn's table whose pair is that of residue r (the inverse of outputTablePair).
constexpr int outputTablePosition(int d, int r) {
  for (int q = 0; q < d; ++q)
    if (outputTablePair(d, 2 * q) / 2 == r) return q;
  return -1;
}

// Residue r of a turn's L rows, twiddled by its table position.
template <class T, int D, int r>
ZSP_DCT4_INLINE CV<T> twiddledResidue(const T* table, const T* rows) {
  constexpr int L = kLanes<T>, q = outputTablePosition(D, r);
  static_assert(q >= 0);
  CV<T> v;
#pragma GCC unroll 4
  for (int l = 0; l < L; ++l) {
    v.re[l] = rows[2 * D * l + r];
    v.im[l] = rows[2 * D * l + D + r];
  }
  return twiddle(v, table + 2 * q * L);
}

// The turn at 32 residues, with the values of outputTurn<T, 32> in another order, so that few values
// are alive at a time: each quad of residues (i, 31-i, 16+i, 15-i) is twiddled just before its two
// paired fold levels make element i of four lists of eight; then each list goes through the next two
// paired levels (its quads 0 and 1) and the last level, on lists of two, which only joins values of
// the same list.
template <class T>
ZSP_DCT4_INLINE void outputTurn32(const T* table, const T* rows, CV<T>* terminal) {
  constexpr int D = 32;
  CV<T> lists[4][8];  // uu, ud, du, dd of the first paired levels
  unroll<0, 8>([&]<int i>() ZSP_DCT4_INLINE_LAMBDA {
    CV<T> z[D];  // only the quad's four residues are set
    z[i] = twiddledResidue<T, D, i>(table, rows);
    z[D - 1 - i] = twiddledResidue<T, D, D - 1 - i>(table, rows);
    z[D / 2 + i] = twiddledResidue<T, D, D / 2 + i>(table, rows);
    z[D / 2 - 1 - i] = twiddledResidue<T, D, D / 2 - 1 - i>(table, rows);
    foldQuad<T, D, i>(z, lists[0][i], lists[1][i], lists[2][i], lists[3][i]);
  });
  unroll<0, 4>([&]<int list>() ZSP_DCT4_INLINE_LAMBDA {
    CV<T> half[2][4];  // [quad of the second paired levels][list it makes]
    foldQuad<T, 8, 0>(lists[list], half[0][0], half[0][1], half[0][2], half[0][3]);
    foldQuad<T, 8, 1>(lists[list], half[1][0], half[1][1], half[1][2], half[1][3]);
    unroll<0, 4>([&]<int j>() ZSP_DCT4_INLINE_LAMBDA {
      const CV<T> pair[2] = {half[0][j], half[1][j]};
      fold<T, 2>(pair, terminal + 2 * (4 * list + j));
    });
  });
}

// One turn of the output stage: the L rows a = L i .. L i + L - 1 of all D residues, twiddled and folded;
// terminal t holds the pairs of the outputs k = L i + s c, c the bit reversal of t.
template <class T, int D>
ZSP_DCT4_INLINE void outputTurn(const T* table, const T* rows, CV<T>* terminal) {
  if constexpr (D == 32) {
    outputTurn32<T>(table, rows, terminal);
  } else {
    CV<T> z[D];
    unroll<0, D>([&]<int q>() ZSP_DCT4_INLINE_LAMBDA {  // in the table's order
      constexpr int r = outputTablePair(D, 2 * q) / 2;
      z[r] = twiddledResidue<T, D, r>(table, rows);
    });
    fold<T, D>(z, terminal);
  }
}

// Output stage for D residues, one turn of L rows at a time, each turn's samples stored where they go.
template <class T, int D>
void outputStage(const Env4* e, T* y, const T* work) {
  constexpr int L = kLanes<T>;
  const T* table = static_cast<const T*>(e->table);
  const int64_t s = e->subLength, mirrorBase = int64_t{e->foldBase} - s * D;
  for (int32_t i = 0; i < e->vectors; ++i, table += 2 * D * L) {
    CV<T> terminal[D];
    outputTurn<T, D>(table, work + int64_t{2} * D * L * i, terminal);
#pragma GCC unroll 64
    for (int t = 0; t < D; ++t) {
      const int64_t k = int64_t{L} * i + s * bitReverse(t, log2Of(D));
      storeUnaligned(y + k, terminal[t].re);
      storeUnaligned(y + mirrorBase - k - (L - 1), reversed<T>(terminal[t].im));
    }
  }
}

// G consecutive turns from group i0 on, their rows one after the other: each of the 2D places of the
// turns receives one run of G L samples, staged first, so that places a power of two apart do not compete
// for the same cache sets while a run is being filled. Given `nextTable`, the table of the turn after
// each one is requested from memory during it (for the last turn, the table the caller uses next): a
// long transform's table is read in runs of a few kilobytes that the hardware prefetchers do not follow
// in time, and its loads feed the turn's first products.
template <class T, int D, int G, class Store>
ZSP_DCT4_INLINE void outputTurns(const T* table, const T* rows, int64_t i0, int64_t s, int64_t mirrorBase,
                                 Store&& store, const T* nextTable = nullptr) {
  constexpr int L = kLanes<T>;
  constexpr int64_t turnSamples = 2 * D * L;
  alignas(16) T staged[D][2][G * L];
  for (int g = 0; g < G; ++g) {
    if (nextTable != nullptr) requestLines(g + 1 < G ? table + turnSamples * (g + 1) : nextTable, turnSamples);
    CV<T> terminal[D];
    outputTurn<T, D>(table + turnSamples * g, rows + turnSamples * g, terminal);
#pragma GCC unroll 64
    for (int t = 0; t < D; ++t) {
      storeAligned(&staged[t][0][g * L], terminal[t].re);
      storeAligned(&staged[t][1][(G - 1 - g) * L], reversed<T>(terminal[t].im));
    }
  }
  unroll<0, D>([&]<int t>() ZSP_DCT4_INLINE_LAMBDA {
    const int64_t k = int64_t{L} * i0 + s * bitReverse(t, log2Of(D));
    for (int p = 0; p < G * L; p += L) {
      store(k + p, loadAligned(&staged[t][0][p]));
      store(mirrorBase - k - (G * L - 1) + p, loadAligned(&staged[t][1][p]));
    }
  });
}

// The same for long transforms, whose 2D places per turn lie a power of two apart: G turns at a time.
template <class T, int D>
void outputStageGathered(const Env4* e, T* y, const T* work) {
  constexpr int L = kLanes<T>;
  constexpr int G = 4;
  const T* table = static_cast<const T*>(e->table);
  const int64_t s = e->subLength, mirrorBase = int64_t{e->foldBase} - s * D;
  for (int32_t i0 = 0; i0 < e->vectors; i0 += G)
    outputTurns<T, D, G>(table + int64_t{2} * D * L * i0, work + int64_t{2} * D * L * i0, i0, s, mirrorBase,
                         [&](int64_t at, Vec<T> v) ZSP_DCT4_INLINE_LAMBDA { storeUnaligned(y + at, v); });
}

}  // namespace zsp::dct4::kernel

#endif  // ZSPGEN_DCT4_COMPUTE_H
