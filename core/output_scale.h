// The scale the generated kernels put on every stored value, as two policies their bodies are written
// against: one multiplies by the hint's literal, the other leaves the value as it is. A kernel holds one
// body of each, and runs the second under the hint that asks for no scaling: a multiplication by 1
// changes no bit, but it is one more instruction per output and one more step on every path to a store.
#ifndef ZSPGEN_CORE_OUTPUT_SCALE_H
#define ZSPGEN_CORE_OUTPUT_SCALE_H

#include <pmmintrin.h>

namespace zsp {

#define ZSP_SCALE_INLINE inline __attribute__((always_inline))

// The body without the scale stands in the kernel, after its checks; the body with it is a function of
// its own (named after its kernel, with _scaled; hidden, like every symbol of the library but its
// entries, and not static, whose C names clang would mangle) that the kernel jumps to. Inlined side by side into one
// function, two bodies share one register allocation: the 44-point double-precision real kernel spilled
// a quarter more (376 stack accesses against 303) and lost what dropping the multiplications gained.
// Kept out of gcc's analysis across functions, the kernel takes the body's status as it comes and the
// call stays a jump; clang (the sanitizer builds) knows no such attribute and only keeps it apart.
#if defined(__clang__)
#define ZSP_BODY_FUNCTION __attribute__((noinline))
#else
#define ZSP_BODY_FUNCTION __attribute__((noipa))
#endif

// A body's bits do not depend on which policy it runs with where the literal is 1.
template <class T>
struct ScaleBy {
  T factor;
  ZSP_SCALE_INLINE T operator()(T v) const { return v * factor; }
  // A single-precision value left in double (a dot product) is scaled in double and rounded once.
  ZSP_SCALE_INLINE float rounded(double v) const { return static_cast<float>(v * static_cast<double>(factor)); }
  // Both lanes of a double-precision sample; all four lanes of two single-precision samples.
  ZSP_SCALE_INLINE __m128d operator()(__m128d v) const { return _mm_mul_pd(v, _mm_set1_pd(factor)); }
  ZSP_SCALE_INLINE __m128 operator()(__m128 v) const { return _mm_mul_ps(v, _mm_set1_ps(factor)); }
};

struct Unscaled {
  template <class V>
  ZSP_SCALE_INLINE V operator()(V v) const {
    return v;
  }
  ZSP_SCALE_INLINE float rounded(double v) const { return static_cast<float>(v); }
};

}  // namespace zsp

#endif  // ZSPGEN_CORE_OUTPUT_SCALE_H
