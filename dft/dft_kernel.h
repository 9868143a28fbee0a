// What the generated complex DFT kernels share: the contract at their door and byte-wise sample moves.
//
// Samples move through memcpy of one part at a time, so any address works, with no assumption on the
// alignment of the caller's arrays; the compiler turns each move into one scalar load or store.
#ifndef ZSPGEN_DFT_DFT_KERNEL_H
#define ZSPGEN_DFT_DFT_KERNEL_H

#include <cstring>

#include "core/contract.h"
#include "zspgen.h"

namespace zsp::dft {

// Part k of the interleaved array: 2j is the real part of sample j, 2j+1 its imaginary part.
template <class T>
inline T loadPart(const void* base, int k) {
  T v;
  std::memcpy(&v, static_cast<const unsigned char*>(base) + sizeof(T) * static_cast<unsigned>(k), sizeof(T));
  return v;
}

template <class T>
inline void storePart(void* base, int k, T v) {
  std::memcpy(static_cast<unsigned char*>(base) + sizeof(T) * static_cast<unsigned>(k), &v, sizeof(T));
}

}  // namespace zsp::dft

#endif  // ZSPGEN_DFT_DFT_KERNEL_H
