// The compute operations of the plan tree and the transform entry of both precisions.
#include "dct4/combine_output.h"

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

// Runs `f.operator()<D2>()` for the split of a combining tag 1..5; false for any other tag.
template <class F>
bool withSplit(int32_t tag, F&& f) {
  switch (tag) {
    case 1: f.template operator()<2>(); return true;
    case 2: f.template operator()<4>(); return true;
    case 3: f.template operator()<8>(); return true;
    case 4: f.template operator()<16>(); return true;
    case 5: f.template operator()<32>(); return true;
    default: return false;
  }
}

template <class T>
zspStatus env8Compute(const Env8* e, T* out, const T* in, int64_t inColumn, int64_t outColumn, int32_t batches) {
  const bool known = withSplit(e->tag, [&]<int D2>() {
    combineRows<T, D2>(static_cast<const T*>(e->table), planShape(e), out, in, inColumn, outColumn,
                       int64_t{kLanes<T>} * batches);
  });
  return known ? zspStsNoErr : zspStsPlanErr;
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

// A chain of splitting steps from the input stage down, each level's node, sub-transforms and combining
// step; false for a damaged node or an implausibly deep chain.
struct Chain {
  static constexpr int kMaxLevels = 8;
  const Env7* level[kMaxLevels];
  const Env9* subs[kMaxLevels];
  const Env8* steps[kMaxLevels];
  int levels = 0;
};

inline bool readChain(const Env7* top, Chain& c) {
  for (const Env7* e = top; e != nullptr; ++c.levels) {
    if (c.levels == Chain::kMaxLevels || e->tag != 1) return false;
    const int i = c.levels;
    c.level[i] = e;
    c.subs[i] = static_cast<const Env9*>(x3_EnvList_get(e->rules2, 0));
    c.steps[i] = static_cast<const Env8*>(x3_EnvList_get(e->rules, 0));
    if (c.steps[i]->tag < 1 || c.steps[i]->tag > 5) return false;
    e = c.subs[i]->tag == 7 ? static_cast<const Env7*>(x3_EnvList_get(c.subs[i]->rules, 0)) : nullptr;
  }
  return c.levels > 0;
}

// Level i and all below it for one context of the levels above, all L batches residues at once: each
// sub-transform j goes to column j residues of a compact block at the start of the level's scratch (rows
// of residues times count samples), and the combining step takes them from there to `out`, rows of
// `outRow` samples, at `outColumn`. With `streamOut` the results go to `out` past the cache.
template <class T, int S>
void compactLevel(const Chain& c, int i, const T* x, int64_t offset, int64_t foldBase, int32_t batches, T* out,
                  int64_t outRow, int64_t outColumn, bool streamOut) {
  // The block's rows are one cache line longer than their samples, so that a power-of-two row length
  // does not put all rows in the same cache sets, and the bodies store into them directly.
  const int64_t residues = int64_t{kLanes<T>} * batches, count = c.subs[i]->count;
  const int64_t row = residues * count + 64 / kSampleBytes<T>;
  const CombineShape shape{row, residues, outRow, c.steps[i]->groups, c.steps[i]->subLength};
  T* block = static_cast<T*>(c.level[i]->work);
  for (int64_t j = 0; j < count; ++j) {
    const int64_t at = offset + j * c.subs[i]->step;
    if (i + 1 == c.levels) {
      inputRows<T, S>(x, at, foldBase - 2 * at, c.subs[i]->stride, block, shape.inRow, j * residues, batches, true,
                      j + 1 < count ? c.subs[i]->step : 0);
    } else {
      compactLevel<T, S>(c, i + 1, x, at, foldBase, batches, block, shape.inRow, j * residues, false);
    }
  }
  withSplit(c.steps[i]->tag, [&]<int D2>() {
    const T* table = static_cast<const T*>(c.steps[i]->table);
    if (streamOut) combineContiguousRows<T, D2>(table, shape, out, block, outColumn, residues, StreamingStore{});
    else combineContiguousRows<T, D2>(table, shape, out, block, outColumn, residues, AlignedStore{});
  });
}

// The chain of splitting steps level by level instead of depth first, with the same values. With one
// level: every sub-transform body, neighbouring bodies reading neighbouring input, then the combining step
// over all columns at once. With more: for each sub-transform of the outermost level, all levels below it
// run in compact blocks at the start of their scratch vectors (which so stay in the cache) and are
// combined into the outermost level's scratch; then the outermost combining step over all columns. A
// chain with a damaged node is left to the depth-first walk, with nothing done. Without `withTop` the
// outermost combining step is left to the caller; `streamOuter` writes the outermost level's scratch past
// the cache (its runs must be whole cache lines).
template <class T>
bool levelByLevel(const Env7* top, T* work, const T* x, int64_t foldBase, int32_t batches, bool withTop = true,
                  bool streamOuter = false) {
  Chain c;
  if (!readChain(top, c)) return false;
  const Env9* first = c.subs[0];
  const bool known = withBodyLength(c.subs[c.levels - 1]->tag, [&]<int S>() {
    T* firstWork = static_cast<T*>(top->work);
    for (int64_t j = 0; j < first->count; ++j) {
      const int64_t offset = j * first->step, column = j * first->columnStep;
      if (c.levels == 1)
        inputRows<T, S>(x, offset, foldBase - 2 * offset, first->stride, firstWork, first->columns, column, batches,
                        false, j + 1 < first->count ? first->step : 0);
      else
        compactLevel<T, S>(c, 1, x, offset, foldBase, batches, firstWork, c.steps[1]->columns, column,
                           streamOuter);
    }
  });
  if (!known) return false;
  if (withTop) env8Compute<T>(c.steps[0], work, static_cast<const T*>(top->work), 0, 0, top->columns / kLanes<T>);
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

// Transforms of 64 KiB and more, whose vectors no longer share the first-level cache, run the outermost
// combining step and the output stage as one pass (the state's vector then only stages a block of rows;
// below that size the pass measured no faster). Needs a sound tree with 32 residues, whole blocks of rows,
// splits of 8 to 32 and room for the staging of the split; false, with nothing done, otherwise.
template <class T>
bool combinedOutputTransform(const Env1* state, const Env5* input, const Env4* output, T* y, const T* x) {
  constexpr int L = kLanes<T>;
  constexpr int64_t kFromBytes = int64_t{1} << 16;
  if (int64_t{state->length} * kSampleBytes<T> < kFromBytes || input->tag != 7 || output->tag != 6) return false;
  const auto* top = static_cast<const Env7*>(x3_EnvList_get(input->rules, 0));
  const auto* last = static_cast<const Env8*>(x3_EnvList_get(top->rules, 0));
  if (last->tag < 3 || last->tag > 5) return false;
  const int split = 1 << last->tag;
  if (last->columns != 32 || last->groups % (kOutputRun * L) != 0 ||
      int64_t{output->subLength} != int64_t{last->subLength} * split ||
      combineOutputStaging<T>(split, 32, kOutputRun) > state->length)
    return false;
  constexpr int64_t kLongRunFromBytes = int64_t{1} << 21;
  const bool longRuns = int64_t{state->length} * kSampleBytes<T> >= kLongRunFromBytes &&
                        last->groups % (kLongOutputRun * L) == 0 &&
                        combineOutputStaging<T>(split, 32, kLongOutputRun) <= state->length;
  T* staging = static_cast<T*>(state->work);
  // The outermost scratch is written in runs of L columns residues, whole cache lines when it starts on
  // a line. From 8 MiB on those runs bypass the cache; below, the scratch is still in the shared last
  // level when the next pass reads it back, which more than pays for evicting it on the way in.
  constexpr int64_t kStreamFromBytes = int64_t{1} << 23;
  const bool streamOuter = int64_t{state->length} * kSampleBytes<T> >= kStreamFromBytes &&
                           reinterpret_cast<uintptr_t>(top->work) % 64 == 0;
  if (!levelByLevel<T>(top, staging, x, input->foldBase, input->columns, false, streamOuter)) return false;
  _mm_sfence();
  const T* in = static_cast<const T*>(top->work);
  // The runs to y start on whole lines when y does and the mirrored runs end at an even N (an odd N
  // moves them by one sample). Below 1 MiB of samples y is likely still in the cache from its last use,
  // where streaming stores would first have to evict it, so there they are ordinary stores.
  constexpr int64_t kStreamOutputFromBytes = int64_t{1} << 20;
  const int64_t mirrorEnd = int64_t{output->foldBase} + 1 - int64_t{output->subLength} * 32;
  const bool lineRuns = reinterpret_cast<uintptr_t>(y) % 64 == 0 && mirrorEnd % (kOutputRun * L) == 0 &&
                        int64_t{state->length} * kSampleBytes<T> >= kStreamOutputFromBytes;
  withSplit(last->tag, [&]<int D2>() {
    // When every run of stores fills whole cache lines, the runs bypass the cache, since nothing reads
    // them back during the transform and y need not be fetched first.
    auto streaming = [&](int64_t at, Vec<T> v) ZSP_DCT4_INLINE_LAMBDA { storeStreaming(y + at, v); };
    auto plain = [&](int64_t at, Vec<T> v) ZSP_DCT4_INLINE_LAMBDA { storeUnaligned(y + at, v); };
    if (!lineRuns)
      combineIntoOutput<T, D2, 32, kOutputRun>(last, in, output, staging, plain);
    else if (longRuns)
      combineIntoOutput<T, D2, 32, kLongOutputRun>(last, in, output, staging, streaming);
    else
      combineIntoOutput<T, D2, 32, kOutputRun>(last, in, output, staging, streaming);
  });
  _mm_sfence();
  return true;
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
      const auto* out = static_cast<const Env2*>(x3_EnvList_get(state->outputStage, 0));
      if (in->tag == 1 && out->tag == 1 &&
          combinedOutputTransform<T>(state, static_cast<const Env5*>(x3_EnvList_get(in->rules, 0)),
                                     static_cast<const Env4*>(x3_EnvList_get(out->rules, 0)), dst, src))
        break;
      if (in->tag == 1) env5Compute<T>(static_cast<const Env5*>(x3_EnvList_get(in->rules, 0)), work, src);
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
