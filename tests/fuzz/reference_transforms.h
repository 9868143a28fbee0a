// Long-double transforms of the fixed-length families, for the fuzz targets to hold results against:
// the complex DFT, the real DFT to and from the three packed formats, and the Hartley transform.
#ifndef ZSPGEN_TESTS_FUZZ_REFERENCE_TRANSFORMS_H
#define ZSPGEN_TESTS_FUZZ_REFERENCE_TRANSFORMS_H

#include <cmath>
#include <vector>

namespace zsp::fuzz {

enum class Packing { CCS, Pack, Perm };

// Where value `part` (0 real, 1 imaginary) of bin k (0..N/2) lies in the packed array, or -1 for a value
// the format does not hold (the imaginary parts of bin 0 and, for even N, bin N/2; in CCS those are
// stored as zeros, and `-2` says so).
inline int packedPosition(Packing p, int n, int k, int part) {
  const bool edge = k == 0 || 2 * k == n;
  if (p == Packing::CCS) return edge && part == 1 ? -2 : 2 * k + part;
  if (edge) {
    if (part == 1) return -1;
    if (k == 0) return 0;
    return p == Packing::Pack ? n - 1 : 1;  // Re X(N/2), even N only
  }
  const bool permShift = p == Packing::Perm && n % 2 == 0;
  return permShift ? 2 * k + part : 2 * k - 1 + part;
}

inline int packedLength(Packing p, int n) { return p == Packing::CCS ? 2 * (n / 2 + 1) : n; }

inline long double turn(long double k, int n) { return 2 * 3.14159265358979323846264338327950288L * k / n; }

// Forward (sign -1) or inverse (+1) complex DFT of interleaved (re, im) samples.
inline std::vector<long double> complexDft(const std::vector<long double>& x, int n, int sign) {
  std::vector<long double> y(2 * n, 0);
  for (int k = 0; k < n; ++k)
    for (int j = 0; j < n; ++j) {
      const long double a = turn((j * k) % n, n), c = cosl(a), s = sign * sinl(a);
      y[2 * k] += x[2 * j] * c - x[2 * j + 1] * s;
      y[2 * k + 1] += x[2 * j] * s + x[2 * j + 1] * c;
    }
  return y;
}

// The half spectrum of n real samples in the packed layout; CCS's zeros are zeros.
inline std::vector<long double> packedSpectrum(const std::vector<long double>& x, Packing p, int n) {
  std::vector<long double> y(packedLength(p, n), 0);
  for (int k = 0; 2 * k <= n; ++k) {
    long double re = 0, im = 0;
    for (int j = 0; j < n; ++j) {
      const long double a = turn((j * k) % n, n);
      re += x[j] * cosl(a);
      im -= x[j] * sinl(a);
    }
    for (int part = 0; part < 2; ++part)
      if (packedPosition(p, n, k, part) >= 0) y[packedPosition(p, n, k, part)] = part == 0 ? re : im;
  }
  return y;
}

// n real samples from a packed half spectrum, the upper bins taken as conjugates; the values a format
// does not hold (CCS's zeros among them) are taken as zero, whatever the array has there.
inline std::vector<long double> fromPacked(const std::vector<long double>& packed, Packing p, int n) {
  std::vector<long double> x(n, 0);
  for (int k = 0; 2 * k <= n; ++k) {
    const int at[2] = {packedPosition(p, n, k, 0), packedPosition(p, n, k, 1)};
    const long double re = at[0] >= 0 ? packed[at[0]] : 0, im = at[1] >= 0 ? packed[at[1]] : 0;
    const long double weight = k == 0 || 2 * k == n ? 1 : 2;
    for (int j = 0; j < n; ++j) {
      const long double a = turn((j * k) % n, n);
      x[j] += weight * (re * cosl(a) - im * sinl(a));
    }
  }
  return x;
}

inline std::vector<long double> hartley(const std::vector<long double>& x, int n) {
  std::vector<long double> y(n, 0);
  for (int k = 0; k < n; ++k)
    for (int j = 0; j < n; ++j) {
      const long double a = turn((j * k) % n, n);
      y[k] += x[j] * (cosl(a) + sinl(a));
    }
  return y;
}

}  // namespace zsp::fuzz

#endif  // ZSPGEN_TESTS_FUZZ_REFERENCE_TRANSFORMS_H
