// Moves of single samples at any address. The caller's arrays may start on any byte, so a typed access
// through a float* or double* would assume an alignment the contract does not give; a copy of the bytes
// is defined at every address and compiles to the same one load or store.
#ifndef ZSPGEN_CORE_ANY_ADDRESS_H
#define ZSPGEN_CORE_ANY_ADDRESS_H

#include <pmmintrin.h>

#include <cstring>

namespace zsp {

#define ZSP_ANY_ADDRESS_INLINE inline __attribute__((always_inline))

// Element `position` of the array of T that starts at `base`, on any byte.
template <class T>
ZSP_ANY_ADDRESS_INLINE T loadAt(const T* base, int position) {
  T v;
  std::memcpy(&v, reinterpret_cast<const unsigned char*>(base) + sizeof(T) * static_cast<unsigned>(position), sizeof v);
  return v;
}

template <class T>
ZSP_ANY_ADDRESS_INLINE void storeAt(T* base, int position, T v) {
  std::memcpy(reinterpret_cast<unsigned char*>(base) + sizeof(T) * static_cast<unsigned>(position), &v, sizeof v);
}

// The same moves as typed accesses to the one member of a packed record, which the compiler knows may
// sit on any byte: defined at any address as well, and for the compiler an ordinary load or store of a
// float or double, which it may combine with its neighbours into vector moves (a byte copy keeps them
// apart).
template <class T>
struct __attribute__((packed)) AnyAddress {
  T value;
};

template <class T>
ZSP_ANY_ADDRESS_INLINE T loadTyped(const T* base, int position) {
  return reinterpret_cast<const AnyAddress<T>*>(base + position)->value;
}

template <class T>
ZSP_ANY_ADDRESS_INLINE void storeTyped(T* base, int position, T v) {
  reinterpret_cast<AnyAddress<T>*>(base + position)->value = v;
}

// Two neighbouring doubles at any address, moved as two 8-byte halves, low then high, so that no
// double-precision kernel makes an unaligned 16-byte access. The halves are written as explicit
// instructions: left to itself, the compiler fuses them into one unaligned 16-byte move.
ZSP_ANY_ADDRESS_INLINE __m128d loadHalves(const double* p) {
  __m128d v = _mm_set_sd(loadTyped(p, 0));
  __asm__("movhpd %1, %0" : "+x"(v) : "m"(*reinterpret_cast<const char(*)[8]>(p + 1)));
  return v;
}

ZSP_ANY_ADDRESS_INLINE void storeHalves(double* p, __m128d v) {
  __asm__("movlpd %1, %0" : "=m"(*reinterpret_cast<char(*)[8]>(p)) : "x"(v));
  __asm__("movhpd %1, %0" : "=m"(*reinterpret_cast<char(*)[8]>(p + 1)) : "x"(v));
}

}  // namespace zsp

#endif  // ZSPGEN_CORE_ANY_ADDRESS_H
