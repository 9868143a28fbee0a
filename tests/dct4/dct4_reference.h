// Independent references for the DCT-IV tests: the defining sum in long double, and error measures.
#ifndef ZSPGEN_TESTS_DCT4_REFERENCE_H
#define ZSPGEN_TESTS_DCT4_REFERENCE_H

#include <cmath>
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
