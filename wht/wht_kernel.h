// The Walsh-Hadamard kernels around their generated bodies: checks, scale selection, the work buffer
// and the passes of the large orders.
//
// Stages run lowest bit first everywhere: a block body does stages 0 .. b-1 of its block, a column body
// stages s .. s+c-1 of its columns, and the passes are ordered so that every sample meets its stages in
// that sequence. The result is therefore, bit for bit, the plain stage sequence followed by the scale.
#ifndef ZSPGEN_WHT_KERNEL_H
#define ZSPGEN_WHT_KERNEL_H

#include <cstddef>

#include "core/contract.h"
#include "wht/wht_access.h"
#include "wht/wht_recipes.h"
#include "zspcore.h"

namespace zsp::wht {

// Generated straight-line bodies, specialised per size and precision in wht_bodies_<type>.h.
// Scalar: all stages of order `order`, then the scale, from in to out.
template <int order, class T> struct ScalarBody;
// Block: stages 0 .. log2Size-1 of 2^log2Size consecutive samples, scaled or not, from in to out.
template <int log2Size, class T> struct BlockBody;
// Column: stages across 2^log2Height rows of one vector each (L neighbouring columns), scaled or not.
template <int log2Height, class T> struct ColumnBody;

template <class T>
ZSP_INLINE zspStatus checkArgs(const T* src, const T* dst, Zsp32s hint, ScaleLiterals<T> literals, T& scale) {
  return checkKernelArgs<ScaleRule::Symmetric>(src, dst, hint, literals, scale);
}

template <int order, class T>
ZSP_INLINE zspStatus runScalar(const T* src, T* dst, Zsp32s hint, ScaleLiterals<T> literals) {
  T s;
  const zspStatus status = checkArgs(src, dst, hint, literals, s);
  if (status != zspStsNoErr) return status;
  ScalarBody<order, T>::run(src, dst, s);
  return zspStsNoErr;
}

template <int order, class T, class Access>
ZSP_INLINE zspStatus runSinglePass(const T* src, T* dst, Zsp32s hint, ScaleLiterals<T> literals) {
  T s;
  const zspStatus status = checkArgs(src, dst, hint, literals, s);
  if (status != zspStsNoErr) return status;
  BlockBody<order, T>::template run<Access, Access, true>(src, dst, Lanes<T>::broadcast(s));
  return zspStsNoErr;
}

constexpr int log2Of(int n) { return n <= 1 ? 0 : 1 + log2Of(n / 2); }

// Block pass from the source into the main area, then column pass from the main area to the destination.
template <Recipe r, class T, class SrcAccess, class DstAccess>
ZSP_INLINE void twoLevelPasses(const T* src, T* dst, T* main, typename Lanes<T>::Vec scale) {
  constexpr int n = 1 << r.order, block = 1 << r.blockLog, lanes = Lanes<T>::count;
  for (int b = 0; b < n; b += block)
    BlockBody<r.blockLog, T>::template run<SrcAccess, Aligned, false>(src + b, main + b, scale);
  for (int p = 0; p < block; p += lanes)
    ColumnBody<r.order - r.blockLog, T>::template run<Aligned, DstAccess, true>(main + p, block, dst + p, block, scale);
}

// Each section is finished in the scratch area (blocks, then columns within the section) and written to
// its place in the main area; a last column pass across the sections goes to the destination.
template <Recipe r, class T, class SrcAccess, class DstAccess>
ZSP_INLINE void threeLevelPasses(const T* src, T* dst, T* main, typename Lanes<T>::Vec scale) {
  constexpr int n = 1 << r.order, block = 1 << r.blockLog, section = 1 << r.sectionLog;
  constexpr int lanes = Lanes<T>::count;
  T* scratch = main + n;
  for (int base = 0; base < n; base += section) {
    for (int b = 0; b < section; b += block)
      BlockBody<r.blockLog, T>::template run<SrcAccess, Aligned, false>(src + base + b, scratch + b, scale);
    for (int p = 0; p < block; p += lanes)
      ColumnBody<r.sectionLog - r.blockLog, T>::template run<Aligned, Aligned, false>(scratch + p, block,
                                                                                     main + base + p, block, scale);
  }
  for (int p = 0; p < section; p += lanes)
    ColumnBody<r.order - r.sectionLog, T>::template run<Aligned, DstAccess, true>(main + p, section, dst + p,
                                                                                 section, scale);
}

// The large orders: checks, then the caller's work buffer or, if it passed none, one of our own for the
// length of the call. The allocation's result is not tested: no status exists for a failed allocation.
template <Recipe r, class T, class Access>
ZSP_INLINE zspStatus runMultiPass(const T* src, T* dst, Zsp32s hint, Zsp8u* buffer, ScaleLiterals<T> literals) {
  T s;
  const zspStatus status = checkArgs(src, dst, hint, literals, s);
  if (status != zspStsNoErr) return status;
  const bool ownBuffer = buffer == nullptr;
  if (ownBuffer) buffer = static_cast<Zsp8u*>(zspMalloc(workBufferBytes(r, sizeof(T))));
  T* main = reinterpret_cast<T*>(buffer);
  if constexpr (r.shape == Shape::TwoLevel)
    twoLevelPasses<r, T, Access, Access>(src, dst, main, Lanes<T>::broadcast(s));
  else
    threeLevelPasses<r, T, Access, Access>(src, dst, main, Lanes<T>::broadcast(s));
  if (ownBuffer) zspFree(buffer);
  return zspStsNoErr;
}

}  // namespace zsp::wht

#endif  // ZSPGEN_WHT_KERNEL_H
