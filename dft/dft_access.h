// How the complex DFT kernels move samples: the two routes of the vector kernels and the part-wise moves
// of the scalar ones.
#ifndef ZSPGEN_DFT_DFT_ACCESS_H
#define ZSPGEN_DFT_DFT_ACCESS_H

#include <pmmintrin.h>

#include "core/any_address.h"

namespace zsp::dft {

#define ZSP_DFT_INLINE inline __attribute__((always_inline))

// Both pointers on a 16-byte boundary: one aligned 16-byte move per double-precision sample.
// Single precision: two neighbouring samples per aligned 16-byte move.
struct Aligned {
  static constexpr bool kAligned = true;
  static ZSP_DFT_INLINE __m128d load(const double* p) { return _mm_load_pd(p); }
  static ZSP_DFT_INLINE void store(double* p, __m128d v) { _mm_store_pd(p, v); }
  static ZSP_DFT_INLINE __m128 load(const float* p) { return _mm_load_ps(p); }
  static ZSP_DFT_INLINE void store(float* p, __m128 v) { _mm_store_ps(p, v); }
};

// Any address: two neighbouring single-precision samples per unaligned 16-byte move; each
// double-precision sample moves as two 8-byte halves.
struct Unaligned {
  static constexpr bool kAligned = false;
  static ZSP_DFT_INLINE __m128d load(const double* p) { return loadHalves(p); }
  static ZSP_DFT_INLINE void store(double* p, __m128d v) { storeHalves(p, v); }
  static ZSP_DFT_INLINE __m128 load(const float* p) { return _mm_loadu_ps(p); }
  static ZSP_DFT_INLINE void store(float* p, __m128 v) { _mm_storeu_ps(p, v); }
};

// Part k of the interleaved array (2j real, 2j+1 imaginary part of sample j), at any address.
template <class T>
ZSP_DFT_INLINE T loadPart(const void* base, int k) {
  return loadAt(static_cast<const T*>(base), k);
}

template <class T>
ZSP_DFT_INLINE void storePart(void* base, int k, T v) {
  storeAt(static_cast<T*>(base), k, v);
}

}  // namespace zsp::dft

#endif  // ZSPGEN_DFT_DFT_ACCESS_H
