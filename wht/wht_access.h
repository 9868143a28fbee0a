// How the Walsh-Hadamard kernels touch memory: 16-byte aligned vectors, or the unaligned route.
#ifndef ZSPGEN_WHT_ACCESS_H
#define ZSPGEN_WHT_ACCESS_H

#include <pmmintrin.h>

#include "core/any_address.h"

namespace zsp::wht {

#define ZSP_INLINE inline __attribute__((always_inline))

template <class T> struct Lanes;
template <> struct Lanes<float> {
  using Vec = __m128;
  static constexpr int count = 4;
  static ZSP_INLINE Vec broadcast(float s) { return _mm_set1_ps(s); }
};
template <> struct Lanes<double> {
  using Vec = __m128d;
  static constexpr int count = 2;
  static ZSP_INLINE Vec broadcast(double s) { return _mm_set1_pd(s); }
};

// Aligned route, and every access to the work buffer.
struct Aligned {
  static ZSP_INLINE __m128 load(const float* p) { return _mm_load_ps(p); }
  static ZSP_INLINE __m128d load(const double* p) { return _mm_load_pd(p); }
  static ZSP_INLINE void store(float* p, __m128 v) { _mm_store_ps(p, v); }
  static ZSP_INLINE void store(double* p, __m128d v) { _mm_store_pd(p, v); }
};

// Unaligned route: one unaligned 16-byte access per vector of floats; a vector of doubles moves as two
// 8-byte halves, low then high, so no double kernel makes an unaligned 16-byte access.
struct Unaligned {
  static ZSP_INLINE __m128 load(const float* p) { return _mm_loadu_ps(p); }
  static ZSP_INLINE __m128d load(const double* p) { return loadHalves(p); }
  static ZSP_INLINE void store(float* p, __m128 v) { _mm_storeu_ps(p, v); }
  static ZSP_INLINE void store(double* p, __m128d v) { storeHalves(p, v); }
};

}  // namespace zsp::wht

#endif  // ZSPGEN_WHT_ACCESS_H
