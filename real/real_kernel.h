// What the generated real-input kernels share: the contract at their door, and the moves of single
// values between memory and registers, by position, at any address. The three packed formats differ only
// in the position each spectrum value goes to; the kernels name values in Pack order (Re X0, Re X1, Im X1,
// ..., Re X(N/2) for even N) and the format maps that order to its own. The inverse kernels never load
// the zeros of CCS.
#ifndef ZSPGEN_REAL_REAL_KERNEL_H
#define ZSPGEN_REAL_REAL_KERNEL_H

#include "core/any_address.h"
#include "core/contract.h"
#include "core/output_scale.h"
#include "zspgen.h"

namespace zsp::real {

#define ZSP_REAL_INLINE inline __attribute__((always_inline))

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
