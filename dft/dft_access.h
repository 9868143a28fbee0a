// How the complex DFT kernels move samples: the two routes of the vector kernels and the part-wise moves
// of the scalar ones.
#ifndef ZSPGEN_DFT_DFT_ACCESS_H
#define ZSPGEN_DFT_DFT_ACCESS_H

#include <pmmintrin.h>

#include <cstring>

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
// double-precision sample moves as two 8-byte halves. The halves are written as
// explicit instructions, since the compiler would otherwise fuse them into one unaligned 16-byte move.
struct Unaligned {
  static ZSP_DFT_INLINE __m128d load(const double* p) {
    __m128d v = _mm_load_sd(p);
    __asm__("movhpd %1, %0" : "+x"(v) : "m"(p[1]));
    return v;
  }
  static ZSP_DFT_INLINE void store(double* p, __m128d v) {
    __asm__("movlpd %1, %0" : "=m"(p[0]) : "x"(v));
    __asm__("movhpd %1, %0" : "=m"(p[1]) : "x"(v));
  }
  static ZSP_DFT_INLINE __m128 load(const float* p) { return _mm_loadu_ps(p); }
  static ZSP_DFT_INLINE void store(float* p, __m128 v) { _mm_storeu_ps(p, v); }
};

// Part k of the interleaved array (2j real, 2j+1 imaginary part of sample j), at any address.
template <class T>
ZSP_DFT_INLINE T loadPart(const void* base, int k) {
  T v;
  std::memcpy(&v, static_cast<const unsigned char*>(base) + sizeof(T) * static_cast<unsigned>(k), sizeof(T));
  return v;
}

template <class T>
ZSP_DFT_INLINE void storePart(void* base, int k, T v) {
  std::memcpy(static_cast<unsigned char*>(base) + sizeof(T) * static_cast<unsigned>(k), &v, sizeof(T));
}

}  // namespace zsp::dft

#endif  // ZSPGEN_DFT_DFT_ACCESS_H
