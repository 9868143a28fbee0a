// What the generated real-input kernels share: the contract at their door, and the moves of single
// values between memory and registers, by position, at any address. The three packed formats differ only
// in the position each spectrum value goes to; the kernels name values in Pack order (Re X0, Re X1, Im X1,
// ..., Re X(N/2) for even N) and the format maps that order to its own. The inverse kernels never load
// the zeros of CCS.
#ifndef ZSPGEN_REAL_REAL_KERNEL_H
#define ZSPGEN_REAL_REAL_KERNEL_H

#include "core/any_address.h"
#include "core/contract.h"
#include "zspgen.h"

namespace zsp::real {

#define ZSP_REAL_INLINE inline __attribute__((always_inline))
// A kernel's body, with the scale or without, is a function of its own (named after the kernel, with
// _scaled or _unscaled) that the kernel jumps to after its checks: inlined side by side into one function,
// the two bodies share one register allocation, and the 44-point double kernel spilled a quarter more
// (376 stack accesses against 303) and lost what dropping the multiplications gained. Kept out of the
// compiler's analysis across functions, the kernel takes the body's status as it comes and the call
// stays a jump.
#define ZSP_REAL_BODY __attribute__((noipa))

using zsp::loadAt;
using zsp::storeAt;

// Pack: the values in their own order.
template <int N>
struct Pack {
  static constexpr int position(int i) { return i; }
  template <class T>
  static ZSP_REAL_INLINE void storeZeros(T*) {}
};

// Perm: for even N the Nyquist value moves from the end to position 1, the pairs one place up.
template <int N>
struct Perm {
  static constexpr int position(int i) { return N % 2 == 1 || i == 0 ? i : i == N - 1 ? 1 : i + 1; }
  template <class T>
  static ZSP_REAL_INLINE void storeZeros(T*) {}
};

// CCS: every bin as a pair, the zero imaginary parts of bin 0 and (even N) bin N/2 stored as +0.
template <int N>
struct CCS {
  static constexpr int position(int i) { return i == 0 ? 0 : N % 2 == 0 && i == N - 1 ? N : i + 1; }
  template <class T>
  static ZSP_REAL_INLINE void storeZeros(T* p) {
    storeAt(p, 1, T(0));
    if constexpr (N % 2 == 0) storeAt(p, N + 1, T(0));
  }
};

// The scale of every stored value. Under the hint that asks for none the body runs without it: a
// multiplication by 1 changes no value, but it is one more instruction per output and one more step on
// every path to a store. Without it the double-precision kernels take 0.94 of the time (geometric mean
// per family; the 44- and 64-point forward ones 0.90), the single-precision ones 0.96.
template <class T>
struct ScaleBy {
  T factor;
  ZSP_REAL_INLINE T operator()(T v) const { return v * factor; }
  // A single-precision output left in double (a dot product) is scaled in double and rounded once.
  ZSP_REAL_INLINE float rounded(double v) const { return static_cast<float>(v * static_cast<double>(factor)); }
};
struct Unscaled {
  template <class T>
  ZSP_REAL_INLINE T operator()(T v) const {
    return v;
  }
  ZSP_REAL_INLINE float rounded(double v) const { return static_cast<float>(v); }
};

// Spectrum value i (Pack order) in the format's place.
template <class Format, class T>
ZSP_REAL_INLINE void store(T* p, int i, T v) {
  storeAt(p, Format::position(i), v);
}
template <class Format, class T>
ZSP_REAL_INLINE T load(const T* p, int i) {
  return loadAt(p, Format::position(i));
}

}  // namespace zsp::real

#endif  // ZSPGEN_REAL_REAL_KERNEL_H
