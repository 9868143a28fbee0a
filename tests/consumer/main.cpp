// A C++17 user of the installed library: one allocated DCT-IV state per thread in double precision,
// released with zspgDCT4Free_64f, against a sum computed here; a complex DFT of single precision; the
// status names. Exits 0 on success.
#include <cmath>
#include <cstdio>
#include <thread>
#include <vector>

#include "zspgen.h"

namespace {

// Each thread builds, uses and releases its own state: one state serves one thread at a time.
double dct4WorstError(int n, double phase) {
  DCT4Spec* state = nullptr;
  if (zspgDCT4InitAlloc_64f(&state, n) != zspStsNoErr) return 1e9;
  std::vector<Zsp64f> x(n), y(n);
  for (int i = 0; i < n; ++i) x[i] = std::sin(0.1 * i + phase);
  double worst = zspgDCT4_64f(x.data(), y.data(), state) == zspStsNoErr ? 0 : 1e9;
  const double pi = std::acos(-1.0);
  for (int k = 0; k < n; k += 17) {
    double sum = 0;
    for (int i = 0; i < n; ++i) sum += x[i] * std::cos(pi / n * (i + 0.5) * (k + 0.5));
    worst = std::fmax(worst, std::fabs(sum - y[k]));
  }
  if (zspgDCT4Free_64f(state) != zspStsNoErr) return 1e9;
  return worst;
}

}  // namespace

int main() {
  int failures = 0;
  auto expect = [&](bool ok, const char* what) {
    if (!ok) std::printf("FAILED: %s\n", what), ++failures;
  };

  double worst[2] = {0, 0};
  std::thread a([&] { worst[0] = dct4WorstError(4096, 0.0); });
  std::thread b([&] { worst[1] = dct4WorstError(4096, 1.0); });
  a.join();
  b.join();
  expect(worst[0] < 1e-9 && worst[1] < 1e-9, "DCT-IV on two threads, a state each");

  DCT4Spec* state = nullptr;
  expect(zspgDCT4InitAlloc_64f(&state, 100) == zspStsSizeErr && state == nullptr, "length 100 is refused");

  Zsp32fc x[8] = {}, y[8];
  x[1] = {1, 0};  // a unit impulse at 1: y[k] = exp(-2 pi i k / 8), divided by sqrt(8)
  expect(zspgDFTFwd_CToC_8_32fc(x, y, ZSP_DIV_BY_SQRTN) == zspStsNoErr, "DFT of 8");
  expect(std::fabs(y[2].re) < 1e-6 && std::fabs(y[2].im + std::sqrt(0.125)) < 1e-6, "bin 2 is -i/sqrt(8)");

  const zspStatus refused = zspgDFTFwd_CToC_32fc(x, y, 1, ZSP_NODIV_BY_ANY);
  std::printf("length 1: %s; %s\n", zspgenStatusText(refused), zspgenStatusText(42));
  expect(refused == zspStsSizeErr, "length 1 is refused");

  std::printf("C++17 consumer: %s\n", failures ? "failed" : "ok");
  return failures ? 1 : 0;
}
