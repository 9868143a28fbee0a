// The compute operations of the plan tree and the transform entry of both precisions.
#include "dct4/compute.h"

#include "dct4/direct.h"
#include "dct4/plan.h"
#include "zspgen_x3.h"

namespace zsp::dct4::kernel {
namespace {

// Runs `f.operator()<S>()` for the body length of a tag 1..6; false for any other tag.
template <class F>
bool withBodyLength(int32_t tag, F&& f) {
  switch (tag) {
    case 1: f.template operator()<2>(); return true;
    case 2: f.template operator()<4>(); return true;
    case 3: f.template operator()<8>(); return true;
    case 4: f.template operator()<16>(); return true;
    case 5: f.template operator()<32>(); return true;
    case 6: f.template operator()<64>(); return true;
    default: return false;
  }
}

// The recursion runs every batch of L residues of a level together (`batches` of them, each L further on
// in the input offset and the columns, 2L nearer in the reflection base): the values are those of one
// batch at a time, but each row of the input and each row of the scratch vectors is then used whole
// while it is in the cache.
template <class T>
zspStatus env7Compute(const Env7* e, T* out, const T* x, int64_t offset, int64_t base, int64_t column,
                      int32_t batches);

// Sub-transforms of a splitting step: `count` interleaved sequences, each `step` further on in the input
// and `columnStep` further on in the output rows.
template <class T>
zspStatus env9Compute(const Env9* e, T* out, const T* x, int64_t offset, int64_t base, int64_t column,
                      int32_t batches) {
  constexpr int L = kLanes<T>;
  if (e->tag == 7) {
    const auto* next = static_cast<const Env7*>(x3_EnvList_get(e->rules, 0));
    for (int32_t j = 0; j < e->count; ++j)
      env7Compute<T>(next, out, x, offset + int64_t{j} * e->step, base - 2 * int64_t{j} * e->step,
                     column + int64_t{j} * e->columnStep, batches);
    return zspStsNoErr;
  }
  const bool known = withBodyLength(e->tag, [&]<int S>() {
    for (int32_t j = 0; j < e->count; ++j)
      inputRows<T, S>(x, offset + int64_t{j} * e->step, base - 2 * int64_t{j} * e->step, e->stride, out,
                      e->columns, column + int64_t{j} * e->columnStep, batches);
  });
  return known ? zspStsNoErr : zspStsPlanErr;
}

// Combining step of split D2 over rows a' < s'/2: twiddles, then a D2-point DFT across the sub-transforms.
// The rows a combining step reads for one a' (and those it writes) lie a power of two apart, so they would
// all compete for the same few cache sets; each row's run of residues is therefore copied into a
// contiguous block first, all batches work on the blocks, and the results go out row by row.
template <class T, int D2>
void combine(const Env8* e, T* out, const T* in, int64_t inColumn, int64_t outColumn, int32_t batches) {
  constexpr int L = kLanes<T>;
  constexpr int64_t V = 2 * L;  // samples per cosine-sine pair of vectors
  constexpr int64_t R = kMaxResidues;
  alignas(16) T staged[2][D2][R];   // [re/im][j][residue]
  alignas(16) T results[D2][2][R];  // [c][re/im][residue]
  const T* table = static_cast<const T*>(e->table);
  const int64_t columns = e->columns, inRow = int64_t{e->outStride} / 2, sub = e->subLength;
  const int64_t rows = e->groups, allResidues = int64_t{L} * batches;
  for (int64_t a = 0; a < rows; ++a)
  for (int64_t first = 0; first < allResidues; first += R) {  // runs of at most R residues
    const int64_t residues = allResidues - first < R ? allResidues - first : R;
    const T* inRe = in + 2 * a * inRow + inColumn + first;
    for (int part = 0; part < 2; ++part)
      for (int j = 0; j < D2; ++j)
        for (int64_t r = 0; r < residues; r += L)
          storeAligned(&staged[part][j][r], loadAligned(inRe + part * inRow + j * columns + r));
    auto put = [&](int c, CV<T> v, int64_t r) __attribute__((always_inline)) {
      storeAligned(&results[c][0][r], v.re);
      storeAligned(&results[c][1][r], c < D2 / 2 ? v.im : -v.im);
    };
    auto load = [&](int j, int64_t r) __attribute__((always_inline)) {
      return CV<T>{loadAligned(&staged[0][j][r]), loadAligned(&staged[1][j][r])};
    };
    for (int64_t r = 0; r < residues; r += L) {
      if constexpr (D2 <= 8) {
        const T* tw = table + a * (D2 - 1) * V;
        CV<T> x[D2];
        x[0] = load(0, r);
#pragma GCC unroll 64
        for (int j = 1; j < D2; ++j) x[j] = twiddle(load(j, r), tw + (j - 1) * V);
        dft<T, D2>(x);
#pragma GCC unroll 64
        for (int c = 0; c < D2; ++c) put(c, x[c], r);
      } else {
        // Two levels: a radix-R1 step over j = u + 4k with the twiddles of 4k, then radix 4 over u with
        // the twiddles of the first level's outputs v.
        constexpr int R1 = D2 / 4;
        constexpr int64_t perRowA = R1 * 6, perRowB = (R1 - 1) * 2;  // vectors per row a
        constexpr bool bFirst = sizeof(T) == 8 && D2 == 32;
        const T* sectionA = table + (bFirst ? rows * perRowB * L : 0) + a * perRowA * L;
        const T* sectionB = table + (bFirst ? 0 : rows * perRowA * L) + a * perRowB * L;
        CV<T> y[4][R1];
#pragma GCC unroll 64
        for (int u = 0; u < 4; ++u) {
          y[u][0] = load(u, r);
#pragma GCC unroll 64
          for (int k = 1; k < R1; ++k) y[u][k] = twiddle(load(u + 4 * k, r), sectionB + (k - 1) * V);
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
          for (int q = 0; q < 4; ++q) put(v + R1 * q, z[q], r);
        }
      }
    }
    // Output c below the half goes to row a + s' c as it is, the others conjugated (above) to the
    // mirrored row.
    for (int c = 0; c < D2; ++c) {
      const int64_t row = c < D2 / 2 ? a + sub * c : (sub - 1 - a) + sub * (D2 - 1 - c);
      T* toRe = out + 2 * row * columns + outColumn + first;
      for (int part = 0; part < 2; ++part)
        for (int64_t r = 0; r < residues; r += L)
          storeAligned(toRe + part * columns + r, loadAligned(&results[c][part][r]));
    }
  }
}

template <class T>
zspStatus env8Compute(const Env8* e, T* out, const T* in, int64_t inColumn, int64_t outColumn, int32_t batches) {
  switch (e->tag) {
    case 1: combine<T, 2>(e, out, in, inColumn, outColumn, batches); return zspStsNoErr;
    case 2: combine<T, 4>(e, out, in, inColumn, outColumn, batches); return zspStsNoErr;
    case 3: combine<T, 8>(e, out, in, inColumn, outColumn, batches); return zspStsNoErr;
    case 4: combine<T, 16>(e, out, in, inColumn, outColumn, batches); return zspStsNoErr;
    case 5: combine<T, 32>(e, out, in, inColumn, outColumn, batches); return zspStsNoErr;
    default: return zspStsPlanErr;
  }
}

template <class T>
zspStatus env7Compute(const Env7* e, T* out, const T* x, int64_t offset, int64_t base, int64_t column,
                      int32_t batches) {
  if (e->tag != 1) return zspStsPlanErr;
  T* work = static_cast<T*>(e->work);
  env9Compute<T>(static_cast<const Env9*>(x3_EnvList_get(e->rules2, 0)), work, x, offset, base, column, batches);
  return env8Compute<T>(static_cast<const Env8*>(x3_EnvList_get(e->rules, 0)), out, work, column, column,
                        batches);
}

// The chain of splitting steps level by level instead of depth first, with the same values: first every
// sub-transform body of the deepest level, the outermost level's sub-transforms innermost so that
// neighbouring bodies read neighbouring input; then each level's combining step over all of its columns at
// once, deepest first. The scratch of each level holds the results of all its contexts side by side, so
// nothing is overwritten before it is used. A chain with a damaged node is left to the depth-first walk.
template <class T>
bool levelByLevel(const Env7* top, T* work, const T* x, int64_t foldBase, int32_t batches) {
  constexpr int L = kLanes<T>;
  constexpr int kMaxLevels = 8;
  const Env7* level[kMaxLevels];
  const Env9* subs[kMaxLevels];
  int levels = 0;
  for (const Env7* e = top; e != nullptr; ++levels) {
    if (levels == kMaxLevels || e->tag != 1) return false;
    level[levels] = e;
    subs[levels] = static_cast<const Env9*>(x3_EnvList_get(e->rules2, 0));
    const auto* combineStep = static_cast<const Env8*>(x3_EnvList_get(e->rules, 0));
    if (combineStep->tag < 1 || combineStep->tag > 5) return false;
    e = subs[levels]->tag == 7 ? static_cast<const Env7*>(x3_EnvList_get(subs[levels]->rules, 0)) : nullptr;
  }
  const Env9* leaf = subs[levels - 1];
  T* leafWork = static_cast<T*>(level[levels - 1]->work);
  int32_t total = 1;
  for (int i = 0; i < levels; ++i) total *= subs[i]->count;
  const bool known = withBodyLength(leaf->tag, [&]<int S>() {
    for (int32_t t = 0; t < total; ++t) {
      int64_t offset = 0, column = 0;
      for (int i = 0, rest = t; i < levels; rest /= subs[i]->count, ++i) {
        const int32_t j = rest % subs[i]->count;
        offset += int64_t{j} * subs[i]->step;
        column += int64_t{j} * subs[i]->columnStep;
      }
      inputRows<T, S>(x, offset, foldBase - 2 * offset, leaf->stride, leafWork, leaf->columns, column, batches);
    }
  });
  if (!known) return false;
  for (int i = levels - 1; i >= 0; --i) {
    T* out = i == 0 ? work : static_cast<T*>(level[i - 1]->work);
    env8Compute<T>(static_cast<const Env8*>(x3_EnvList_get(level[i]->rules, 0)), out,
                   static_cast<const T*>(level[i]->work), 0, 0, level[i]->columns / L);
  }
  return true;
}

// Input stage: d/L batches of L residues.
template <class T>
zspStatus env5Compute(const Env5* e, T* work, const T* x) {
  constexpr int L = kLanes<T>;
  const int64_t foldBase = e->foldBase;
  if (e->tag == 7) {
    const auto* step = static_cast<const Env7*>(x3_EnvList_get(e->rules, 0));
    if (!levelByLevel<T>(step, work, x, foldBase, e->columns))
      env7Compute<T>(step, work, x, 0, foldBase, 0, e->columns);
    return zspStsNoErr;
  }
  const bool known = withBodyLength(e->tag, [&]<int S>() {
    for (int32_t i = 0; i < e->columns; ++i)
      inputBatch<T, S>(x, int64_t{L} * i, foldBase - 2 * int64_t{L} * i, e->stride, work, e->block,
                       int64_t{L} * i);
  });
  return known ? zspStsNoErr : zspStsPlanErr;
}

template <class T, int D>
void outputStageFor(const Env4* e, T* y, const T* work) {
  // From a kilobyte apart on, the places of one turn collide in the cache.
  if (e->vectors % 4 == 0 && int64_t{e->subLength} * kSampleBytes<T> >= 1024) outputStageGathered<T, D>(e, y, work);
  else outputStage<T, D>(e, y, work);
}

template <class T>
zspStatus env4Compute(const Env4* e, T* y, const T* work) {
  switch (e->tag) {
    case 1: outputStageFor<T, 1>(e, y, work); return zspStsNoErr;
    case 2: outputStageFor<T, 2>(e, y, work); return zspStsNoErr;
    case 3: outputStageFor<T, 4>(e, y, work); return zspStsNoErr;
    case 4: outputStageFor<T, 8>(e, y, work); return zspStsNoErr;
    case 5: outputStageFor<T, 16>(e, y, work); return zspStsNoErr;
    case 6: outputStageFor<T, 32>(e, y, work); return zspStsNoErr;
    default: return zspStsPlanErr;
  }
}

template <class T>
zspStatus transform(const T* src, T* dst, const Env1* state) {
  if (src == nullptr || dst == nullptr || state == nullptr) return zspStsNullPtrErr;
  switch (state->rule) {
    case 1: direct::length2(src, dst); break;
    case 2: direct::length4(src, dst); break;
    case 3: direct::length8(src, dst); break;
    case 4: direct::length16(src, dst); break;
    case 5: direct::length32(src, dst); break;
    case 6: {
      T* work = static_cast<T*>(state->work);
      const auto* in = static_cast<const Env3*>(x3_EnvList_get(state->inputStage, 0));
      if (in->tag == 1) env5Compute<T>(static_cast<const Env5*>(x3_EnvList_get(in->rules, 0)), work, src);
      const auto* out = static_cast<const Env2*>(x3_EnvList_get(state->outputStage, 0));
      if (out->tag == 1) env4Compute<T>(static_cast<const Env4*>(x3_EnvList_get(out->rules, 0)), dst, work);
      break;
    }
    default: return zspStsPlanErr;
  }
  return zspStsNoErr;
}

}  // namespace
}  // namespace zsp::dct4::kernel

using zsp::dct4::Env1;

extern "C" {

zspStatus x3_zspgDCT4_32f(const Zsp32f* pSrc, Zsp32f* pDst, const DCT4Spec* pSpec) {
  return zsp::dct4::kernel::transform(pSrc, pDst, reinterpret_cast<const Env1*>(pSpec));
}
zspStatus x3_zspgDCT4_64f(const Zsp64f* pSrc, Zsp64f* pDst, const DCT4Spec* pSpec) {
  return zsp::dct4::kernel::transform(pSrc, pDst, reinterpret_cast<const Env1*>(pSpec));
}

zspStatus x3_zspgDCT4Init_32f(DCT4Spec** ppSpec, Zsp32s length, Zsp8u* pMemory) {
  return zsp::dct4::init<float>(reinterpret_cast<Env1**>(ppSpec), length, pMemory);
}
zspStatus x3_zspgDCT4Init_64f(DCT4Spec** ppSpec, Zsp32s length, Zsp8u* pMemory) {
  return zsp::dct4::init<double>(reinterpret_cast<Env1**>(ppSpec), length, pMemory);
}
zspStatus x3_zspgDCT4InitAlloc_32f(DCT4Spec** ppSpec, Zsp32s length) {
  return zsp::dct4::initAlloc<float>(reinterpret_cast<Env1**>(ppSpec), length);
}
zspStatus x3_zspgDCT4InitAlloc_64f(DCT4Spec** ppSpec, Zsp32s length) {
  return zsp::dct4::initAlloc<double>(reinterpret_cast<Env1**>(ppSpec), length);
}
zspStatus x3_zspgDCT4Free_32f(DCT4Spec* pSpec) { return zsp::dct4::release<float>(reinterpret_cast<Env1*>(pSpec)); }
zspStatus x3_zspgDCT4Free_64f(DCT4Spec* pSpec) { return zsp::dct4::release<double>(reinterpret_cast<Env1*>(pSpec)); }

}  // extern "C"
