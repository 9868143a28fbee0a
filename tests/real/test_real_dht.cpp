// The Hartley kernels against a quad-precision cas sum, applied twice, and their contract bit for bit:
// the small sizes as written out, hints, in place, any byte offset, guard pages, statuses and the
// size-dispatch entries.
#include <gtest/gtest.h>

#include <cmath>

#include "guarded_buffer.h"
#include "real_test_support.h"

namespace {

using namespace zsp::test::real;

template <class T>
Kernel<T> kernel(int n) {
  const std::string name = "zspgHartley_" + std::to_string(n) + "_" + suffix<T>();
  return reinterpret_cast<Kernel<T>>(dlsym(RTLD_DEFAULT, name.c_str()));
}

// The entries by their prototypes, which also links the test to the library.
template <class T>
Entry<T> entry() {
  if constexpr (sizeof(T) == 4) return zspgHartley_32f;
  else return zspgHartley_64f;
}

template <class T>
std::vector<T> run(int n, const std::vector<T>& x, Zsp32s hint) {
  zspStatus status;
  const std::vector<T> y = runAt(kernel<T>(n), x, x.size(), hint, 0, 0, &status);
  EXPECT_EQ(status, zspStsNoErr);
  return y;
}

// H[k] = sum of x[j] (cos + sin)(2 pi j k / N), exactly.
std::vector<Q> exactHartley(const std::vector<Q>& x) {
  const int n = static_cast<int>(x.size());
  std::vector<Q> h(static_cast<size_t>(n), 0);
  for (int k = 0; k < n; ++k)
    for (int j = 0; j < n; ++j) {
      const Q angle = 2 * M_PIq * ((static_cast<long>(j) * k) % n) / n;
      h[k] += x[j] * (cosq(angle) + sinq(angle));
    }
  return h;
}

double worstImpulse[2], worstRandom[2], worstTwice[2];

class Hartley : public ::testing::TestWithParam<int> {
 protected:
  template <class T> void accuracy();
  template <class T> void hintsPlacesAndOffsets();
  template <class T> void guardPagesAndStatuses();
};

// The impulse at 1 gives cas(2 pi k / N) within the matrix bound, random inputs the cas sum within N
// times it, and the kernel applied twice, hint 8 then hint 1, the input within twice the round-trip bound.
template <class T>
void Hartley::accuracy() {
  const int n = GetParam();
  ASSERT_NE(kernel<T>(n), nullptr) << n;
  auto maxError = [&](const std::vector<T>& x) {
    const std::vector<Q> exact = exactHartley(std::vector<Q>(x.begin(), x.end()));
    const std::vector<T> h = run<T>(n, x, ZSP_NODIV_BY_ANY);
    double err = 0;
    for (int k = 0; k < n; ++k) err = std::max(err, std::fabs(double(Q(h[k]) - exact[k])));
    return err;
  };
  std::vector<T> impulse(static_cast<size_t>(n), 0);
  impulse[1] = 1;
  const double atOne = maxError(impulse), random = maxError(randomValues<T>(n, 300u + n));
  EXPECT_LE(atOne, matrixTol<T>()) << "length " << n;
  EXPECT_LE(random, n * matrixTol<T>()) << "length " << n;
  const std::vector<T> x = randomValues<T>(n, 400u + n);
  const std::vector<T> back = run<T>(n, run<T>(n, x, ZSP_NODIV_BY_ANY), ZSP_DIV_FWD_BY_N);
  double twice = 0;
  for (int j = 0; j < n; ++j) twice = std::max(twice, std::fabs(double(back[j]) - double(x[j])));
  EXPECT_LE(twice, 2 * (sizeof(T) == 4 ? 3e-7 : 1e-15) * std::max(1.0, std::log2(double(n)))) << "length " << n;
  const int t = sizeof(T) == 8;
  worstImpulse[t] = std::max(worstImpulse[t], atOne);
  worstRandom[t] = std::max(worstRandom[t], random);
  worstTwice[t] = std::max(worstTwice[t], twice);
}

// Hints 1 and 2 alike and the impulse at 0 gives the literal everywhere; in place and every offset alike.
template <class T>
void Hartley::hintsPlacesAndOffsets() {
  const int n = GetParam();
  const std::vector<T> x = randomValues<T>(n, 23u * n);
  EXPECT_TRUE(sameBits(run<T>(n, x, ZSP_DIV_FWD_BY_N), run<T>(n, x, ZSP_DIV_INV_BY_N))) << n;
  std::vector<T> impulse(static_cast<size_t>(n), 0);
  impulse[0] = 1;
  EXPECT_TRUE(sameBits(run<T>(n, impulse, ZSP_DIV_FWD_BY_N), std::vector<T>(static_cast<size_t>(n), T(1.0Q / n)))) << n;
  EXPECT_TRUE(sameBits(run<T>(n, impulse, ZSP_DIV_BY_SQRTN),
                       std::vector<T>(static_cast<size_t>(n), T(1.0 / std::sqrt(double(n))))))
      << n;
  for (Zsp32s hint : kBodyHints)
    EXPECT_EQ(offsetsAndInPlace(kernel<T>(n), x, x.size(), hint), "") << "length " << n << " hint " << hint;
}

// Guard pages on either side of both buffers; the statuses at the door; the entry.
template <class T>
void Hartley::guardPagesAndStatuses() {
  const int n = GetParam();
  const std::vector<T> x = randomValues<T>(n, 5u * n);
  std::vector<T> dst(96, T(-7));
  for (Zsp32s hint : kBodyHints)
    EXPECT_EQ(guardedRun(kernel<T>(n), x, run<T>(n, x, hint), hint), "") << "length " << n << " hint " << hint;
  EXPECT_EQ(doorStatuses(kernel<T>(n), x.data(), dst.data()), "") << "length " << n;
  ASSERT_EQ(entry<T>()(x.data(), dst.data(), n, ZSP_DIV_BY_SQRTN), zspStsNoErr);
  EXPECT_TRUE(sameBits(std::vector<T>(dst.begin(), dst.begin() + n), run<T>(n, x, ZSP_DIV_BY_SQRTN))) << "entry, length " << n;
}

TEST_P(Hartley, AccuracySingle) { accuracy<float>(); }
TEST_P(Hartley, AccuracyDouble) { accuracy<double>(); }
TEST_P(Hartley, HintsPlacesAndOffsetsSingle) { hintsPlacesAndOffsets<float>(); }
TEST_P(Hartley, HintsPlacesAndOffsetsDouble) { hintsPlacesAndOffsets<double>(); }
TEST_P(Hartley, GuardPagesAndStatusesSingle) { guardPagesAndStatuses<float>(); }
TEST_P(Hartley, GuardPagesAndStatusesDouble) { guardPagesAndStatuses<double>(); }
INSTANTIATE_TEST_SUITE_P(Lengths, Hartley, ::testing::Range(2, 65));

TEST(HartleyEntries, LengthFirst) {
  for (Zsp32s n : {1, 0, -1, 65, INT_MAX, INT_MIN}) {
    EXPECT_EQ(zspgHartley_32f(nullptr, nullptr, n, 3), zspStsSizeErr) << n;
    EXPECT_EQ(zspgHartley_64f(nullptr, nullptr, n, 3), zspStsSizeErr) << n;
  }
}

// Sizes 2 and 4 as written out, size 3 in single precision by the precision rule (products in double
// rounded once, the last additions and the scale single), and every kernel's graph values exactly.
TEST(HartleyBits, AsWrittenOutAndAsTheirGraph) {
  const std::vector<double> x = randomValues<double>(4, 12u);
  EXPECT_TRUE(sameBits(run<double>(2, {x[0], x[1]}, ZSP_NODIV_BY_ANY), {x[0] + x[1], x[0] - x[1]}));
  const double a = x[0] + x[2], b = x[0] - x[2], c = x[1] + x[3], d = x[1] - x[3];
  EXPECT_TRUE(sameBits(run<double>(4, x, ZSP_NODIV_BY_ANY), {a + c, b + d, a - c, b - d}));
  const double s3 = 0x1.bb67ae8584caap-1;  // sin(pi/3)
  std::mt19937 gen(3);
  std::uniform_real_distribution<float> dist(-1, 1);
  for (int trial = 0; trial < 2000; ++trial) {
    const float x0 = dist(gen), x1 = dist(gen), x2 = dist(gen);
    const float t = x1 + x2, u = float(s3 * double(x1 - x2)), v = float(double(x0) - 0.5 * double(t));
    for (Zsp32s hint : {ZSP_NODIV_BY_ANY, ZSP_DIV_FWD_BY_N}) {
      const float scale = hint == ZSP_DIV_FWD_BY_N ? float(1.0Q / 3) : 1.0f;
      ASSERT_TRUE(sameBits(run<float>(3, {x0, x1, x2}, hint), {(x0 + t) * scale, (v + u) * scale, (v - u) * scale}))
          << trial << " hint " << hint;
    }
  }
  int kernels = 0;
  for (const GraphValues& v : readGraphValues(ZSPGEN_REAL_EXPECTED)) {
    if (v.kind != "dht") continue;
    if (v.type == "32f") EXPECT_TRUE(sameBits(run<float>(v.n, std::vector<float>(v.in.begin(), v.in.end()), ZSP_NODIV_BY_ANY),
                                              std::vector<float>(v.out.begin(), v.out.end()))) << v.n;
    else EXPECT_TRUE(sameBits(run<double>(v.n, v.in, ZSP_NODIV_BY_ANY), v.out)) << v.n;
    ++kernels;
  }
  EXPECT_EQ(kernels, 126);
}

class WorstErrors : public ::testing::Environment {
 public:
  void TearDown() override {
    std::printf("worst impulse-at-1 error: single %.3g, double %.3g; random: single %.3g, double %.3g; "
                "twice: single %.3g, double %.3g\n",
                worstImpulse[0], worstImpulse[1], worstRandom[0], worstRandom[1], worstTwice[0], worstTwice[1]);
  }
};
const auto* const kWorstErrors = ::testing::AddGlobalTestEnvironment(new WorstErrors);

}  // namespace
