// Independent references for the DCT-IV tests: the defining sum in long double, and error measures.
#ifndef ZSPGEN_TESTS_DCT4_REFERENCE_H
#define ZSPGEN_TESTS_DCT4_REFERENCE_H

#include <cmath>
#include <complex>
#include <cstddef>
#include <vector>

namespace zsp::test {

// y[k] = sum x[n] cos(pi (2n+1)(2k+1) / (4N)), directly, O(N^2); angles reduced exactly modulo 8N.
template <class T>
std::vector<long double> dct4Direct(const std::vector<T>& x) {
  const long n = static_cast<long>(x.size());
  std::vector<long double> y(static_cast<size_t>(n));
  const long double step = 3.141592653589793238462643383279502884L / (4.0L * n);
  for (long k = 0; k < n; ++k) {
    long double sum = 0;
    for (long i = 0; i < n; ++i) {
      const long m = ((2 * i + 1) * (2 * k + 1)) % (8 * n);
      sum += static_cast<long double>(x[static_cast<size_t>(i)]) * cosl(step * m);
    }
    y[static_cast<size_t>(k)] = sum;
  }
  return y;
}

// The same transform in O(N log N), for even N: a complex FFT of N/2 points in long double between two
// twiddle passes, y[2k] = Re Y[k] and y[N-1-2k] = -Im Y[k] with
// Y[k] = e^(-i pi k/N) FFT(u)[k], u[n] = (x[2n] + i x[N-1-2n]) e^(-i pi (n + 1/4)/N).
template <class T>
std::vector<long double> dct4Fast(const std::vector<T>& x) {
  using C = std::complex<long double>;
  const size_t n = x.size(), m = n / 2;
  const long double pi = 3.141592653589793238462643383279502884L;
  std::vector<C> u(m);
  for (size_t i = 0; i < m; ++i) {
    const long double a = -pi * (static_cast<long double>(i) + 0.25L) / n;
    u[i] = C(x[2 * i], x[n - 1 - 2 * i]) * C(cosl(a), sinl(a));
  }
  for (size_t i = 1, j = 0; i < m; ++i) {  // bit-reversed order
    size_t bit = m >> 1;
    for (; j & bit; bit >>= 1) j ^= bit;
    j ^= bit;
    if (i < j) std::swap(u[i], u[j]);
  }
  std::vector<C> root(m / 2 + 1);
  for (size_t k = 0; k < root.size(); ++k) root[k] = C(cosl(-2 * pi * k / m), sinl(-2 * pi * k / m));
  for (size_t len = 2; len <= m; len <<= 1)
    for (size_t i = 0; i < m; i += len)
      for (size_t k = 0; k < len / 2; ++k) {
        const C t = root[k * (m / len)] * u[i + k + len / 2];
        u[i + k + len / 2] = u[i + k] - t;
        u[i + k] += t;
      }
  std::vector<long double> y(n);
  for (size_t k = 0; k < m; ++k) {
    const long double a = -pi * static_cast<long double>(k) / n;
    const C v = u[k] * C(cosl(a), sinl(a));
    y[2 * k] = v.real();
    y[n - 1 - 2 * k] = -v.imag();
  }
  return y;
}

// Relative RMS error of `got` against `want`.
template <class T>
double relativeRms(const T* got, const std::vector<long double>& want) {
  long double err = 0, ref = 0;
  for (size_t i = 0; i < want.size(); ++i) {
    const long double d = static_cast<long double>(got[i]) - want[i];
    err += d * d;
    ref += want[i] * want[i];
  }
  return static_cast<double>(sqrtl(err / ref));
}

}  // namespace zsp::test

#endif  // ZSPGEN_TESTS_DCT4_REFERENCE_H
