// Arithmetic modulo a small number, as the index maps of the generators need it (Good-Thomas splits,
// Rader's orders of powers of a primitive root). Lengths are at most 64, so plain loops serve.
#ifndef ZSPGEN_GEN_MODULAR_H
#define ZSPGEN_GEN_MODULAR_H

#include <stdexcept>

namespace zspgen {

// The k in 1..m-1 with a*k = 1 modulo m.
inline long modInverse(long a, long m) {
  for (long k = 1; k < m; ++k)
    if ((a * k) % m == 1) return k;
  throw std::runtime_error("no inverse");
}

// base^e modulo p.
inline long powMod(long base, long e, long p) {
  long r = 1;
  for (long k = 0; k < e; ++k) r = r * base % p;
  return r;
}

// The smallest primitive root of the prime p (1 for p = 2).
inline int primitiveRoot(int p) {
  for (int g = 2; g < p; ++g) {
    long v = 1;
    int order = 0;
    do {
      v = v * g % p;
      ++order;
    } while (v != 1);
    if (order == p - 1) return g;
  }
  return 1;
}

}  // namespace zspgen

#endif  // ZSPGEN_GEN_MODULAR_H
