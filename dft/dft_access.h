// How the complex DFT kernels move samples: the two routes of the wider kernels and the one-sample moves
// of the single-precision pairs.
#ifndef ZSPGEN_DFT_DFT_ACCESS_H
#define ZSPGEN_DFT_DFT_ACCESS_H

#include <pmmintrin.h>

#include "core/any_address.h"

namespace zsp::dft {

#define ZSP_DFT_INLINE inline __attribute__((always_inline))

// Both pointers on a 16-byte boundary: one aligned 16-byte move per double-precision sample.
// Single precision: two neighbouring samples per aligned 16-byte move.
struct Aligned {
  static ZSP_DFT_INLINE __m128d load(const double* p) { return _mm_load_pd(p); }
  static ZSP_DFT_INLINE void store(double* p, __m128d v) { _mm_store_pd(p, v); }
  static ZSP_DFT_INLINE __m128 load(const float* p) { return _mm_load_ps(p); }
  static ZSP_DFT_INLINE void store(float* p, __m128 v) { _mm_store_ps(p, v); }
};

// Any address: two neighbouring single-precision samples per unaligned 16-byte move; each
// double-precision sample moves as two 8-byte halves.
struct Unaligned {
  static ZSP_DFT_INLINE __m128d load(const double* p) { return loadHalves(p); }
  static ZSP_DFT_INLINE void store(double* p, __m128d v) { storeHalves(p, v); }
  static ZSP_DFT_INLINE __m128 load(const float* p) { return _mm_loadu_ps(p); }
  static ZSP_DFT_INLINE void store(float* p, __m128 v) { _mm_storeu_ps(p, v); }
};

// One single-precision sample, (re, im), as the low half of a register and back, at any address: one
// 8-byte move.
ZSP_DFT_INLINE __m128 loadSample(const void* p) {
  return _mm_castsi128_ps(_mm_loadl_epi64(static_cast<const __m128i*>(p)));
}
ZSP_DFT_INLINE void storeSample(void* p, __m128 v) { _mm_storel_epi64(static_cast<__m128i*>(p), _mm_castps_si128(v)); }

}  // namespace zsp::dft

#endif  // ZSPGEN_DFT_DFT_ACCESS_H
