// The inverse real DFT kernels, from all three packed formats, against a quad-precision sum and through a
// round trip with the forward kernels, and their contract bit for bit: the positions they read, hints,
// in place, any byte offset, guard pages, statuses and the size-dispatch entries.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "guarded_buffer.h"
#include "real_test_support.h"

namespace {

using namespace zsp::test::real;

template <class T> Kernel<T> kernel(Format f, int n) { return zsp::test::real::kernel<T>(true, f, n); }

template <class T>
std::vector<T> run(Format f, int n, const std::vector<T>& y, Zsp32s hint, size_t srcOffset = 0, size_t dstOffset = 0) {
  return zsp::test::real::run<T>(true, f, n, y, hint, srcOffset, dstOffset);
}

// The entries by their prototypes, which also links the test to the library.
template <class T>
Entry<T> entry(Format f) {
  if constexpr (sizeof(T) == 4) return f == CCS ? zspgDFTInv_CCSToR_32f : f == Pack ? zspgDFTInv_PackToR_32f : zspgDFTInv_PermToR_32f;
  else return f == CCS ? zspgDFTInv_CCSToR_64f : f == Pack ? zspgDFTInv_PackToR_64f : zspgDFTInv_PermToR_64f;
}

// A spectrum given in Pack order, laid out in a format; CCS zeros as `zero`.
template <class T>
std::vector<T> laidOut(Format f, int n, const std::vector<T>& pack, T zero = 0) {
  std::vector<T> a(static_cast<size_t>(length(f, n)), zero);
  for (int i = 0; i < n; ++i) a[static_cast<size_t>(position(f, n, binOf(i), imagOf(n, i)))] = pack[static_cast<size_t>(i)];
  return a;
}

// x[j] = X0 + (-1)^j X(N/2) + sum over the complex bins of 2 Re(X[k] exp(+2 pi i j k / N)), exactly.
std::vector<Q> exactInverse(int n, const std::vector<Q>& pack) {
  std::vector<Q> x(static_cast<size_t>(n), 0);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) {
      const int k = binOf(i);
      const Q angle = 2 * M_PIq * ((static_cast<long>(j) * k) % n) / n;
      const bool real = i == 0 || (n % 2 == 0 && i == n - 1);
      x[j] += pack[i] * (real ? cosq(angle) : imagOf(n, i) ? -2 * sinq(angle) : 2 * cosq(angle));
    }
  return x;
}

double worstMatrix[2], worstRoundTrip[2];

class RealInverse : public ::testing::TestWithParam<int> {
 protected:
  template <class T> void accuracy();
  template <class T> void formatsHintsAndPositions();
  template <class T> void placesAndOffsets();
  template <class T> void guardPagesAndStatuses();
};

// Every unit spectrum value (the matrix) against the exact sum, whose entries reach 2 where a bin is
// doubled, so the bound is the forward one times 2; and forward then inverse divided by N returns a random
// input within the forward bound times log2(N).
template <class T>
void RealInverse::accuracy() {
  const int n = GetParam();
  for (Format f : kFormats) ASSERT_NE(kernel<T>(f, n), nullptr) << formatName(f) << " " << n;
  for (Format f : kFormats) {
    double matrix = 0;
    for (int i = 0; i < n; ++i) {
      std::vector<T> pack(static_cast<size_t>(n), 0);
      pack[static_cast<size_t>(i)] = 1;
      const std::vector<Q> exact = exactInverse(n, std::vector<Q>(pack.begin(), pack.end()));
      const std::vector<T> x = run<T>(f, n, laidOut(f, n, pack), ZSP_NODIV_BY_ANY);
      for (int j = 0; j < n; ++j) matrix = std::max(matrix, std::fabs(double(Q(x[j]) - exact[j])));
    }
    EXPECT_LE(matrix, 2 * matrixTol<T>()) << formatName(f) << " length " << n;
    worstMatrix[sizeof(T) == 8] = std::max(worstMatrix[sizeof(T) == 8], matrix);

    const std::vector<T> x = randomValues<T>(n, 900u + n);
    const std::vector<T> spectrum = zsp::test::real::run<T>(false, f, n, x, ZSP_NODIV_BY_ANY);
    const std::vector<T> back = run<T>(f, n, spectrum, ZSP_DIV_INV_BY_N);
    double err = 0;
    for (int j = 0; j < n; ++j) err = std::max(err, std::fabs(double(back[j]) - double(x[j])));
    const double tol = (sizeof(T) == 4 ? 3e-7 : 1e-15) * std::max(1.0, std::log2(double(n)));
    EXPECT_LE(err, tol) << formatName(f) << " round trip, length " << n;
    worstRoundTrip[sizeof(T) == 8] = std::max(worstRoundTrip[sizeof(T) == 8], err);
  }
}

// The three formats give the same values; hint 1 does not divide, hint 2 gives the kernel's 1/N; CCS
// never reads its zeros; Pack and Perm read every position.
template <class T>
void RealInverse::formatsHintsAndPositions() {
  const int n = GetParam();
  const std::vector<T> pack = randomValues<T>(n, 17u * n);
  const std::vector<T> fromCcs = run<T>(CCS, n, laidOut(CCS, n, pack), ZSP_NODIV_BY_ANY);
  for (Format f : kFormats) {
    const std::vector<T> a = laidOut(f, n, pack);
    EXPECT_TRUE(sameBits(run<T>(f, n, a, ZSP_NODIV_BY_ANY), fromCcs)) << formatName(f) << " length " << n;
    EXPECT_TRUE(sameBits(run<T>(f, n, a, ZSP_DIV_FWD_BY_N), fromCcs)) << formatName(f) << " hint 1, length " << n;
    std::vector<T> unit(static_cast<size_t>(n), 0);
    unit[0] = 1;
    EXPECT_EQ(run<T>(f, n, laidOut(f, n, unit), ZSP_DIV_INV_BY_N)[0], T(1.0Q / n)) << formatName(f) << " " << n;
    EXPECT_EQ(run<T>(f, n, laidOut(f, n, unit), ZSP_DIV_BY_SQRTN)[0], T(1.0 / std::sqrt(double(n)))) << n;
  }
  const T nan = std::numeric_limits<T>::quiet_NaN();
  EXPECT_TRUE(sameBits(run<T>(CCS, n, laidOut(CCS, n, pack, nan), ZSP_NODIV_BY_ANY), fromCcs)) << "CCS zeros, length " << n;
  for (Format f : {Pack, Perm})
    for (int p = 0; p < n; ++p) {
      std::vector<T> a = laidOut(f, n, pack);
      a[static_cast<size_t>(p)] = nan;
      const std::vector<T> x = run<T>(f, n, a, ZSP_NODIV_BY_ANY);
      EXPECT_TRUE(std::any_of(x.begin(), x.end(), [](T v) { return std::isnan(v); }))
          << formatName(f) << " position " << p << " unread, length " << n;
    }
}

// In place equals out of place (CCS leaves the values past N as they were), and so does every byte offset.
template <class T>
void RealInverse::placesAndOffsets() {
  const int n = GetParam();
  for (Format f : kFormats)
    for (Zsp32s hint : kBodyHints)
      EXPECT_EQ(offsetsAndInPlace(kernel<T>(f, n), laidOut(f, n, randomValues<T>(n, 55u * n)), static_cast<size_t>(n),
                                  hint),
                "")
          << formatName(f) << " length " << n << " hint " << hint;
}

// Guard pages on either side of both buffers; the statuses at the door; the entry of each format.
template <class T>
void RealInverse::guardPagesAndStatuses() {
  const int n = GetParam();
  std::vector<T> dst(96, T(-7));
  for (Format f : kFormats) {
    const std::vector<T> a = laidOut(f, n, randomValues<T>(n, 5u * n));
    for (Zsp32s hint : kBodyHints)
      EXPECT_EQ(guardedRun(kernel<T>(f, n), a, run<T>(f, n, a, hint), hint), "")
          << formatName(f) << " length " << n << " hint " << hint;
    EXPECT_EQ(doorStatuses(kernel<T>(f, n), a.data(), dst.data()), "") << formatName(f) << " length " << n;
    std::vector<T> viaEntry(static_cast<size_t>(n));
    ASSERT_EQ(entry<T>(f)(a.data(), viaEntry.data(), n, ZSP_DIV_BY_SQRTN), zspStsNoErr);
    EXPECT_TRUE(sameBits(viaEntry, run<T>(f, n, a, ZSP_DIV_BY_SQRTN))) << formatName(f) << " entry, length " << n;
  }
}

TEST_P(RealInverse, AccuracySingle) { accuracy<float>(); }
TEST_P(RealInverse, AccuracyDouble) { accuracy<double>(); }
TEST_P(RealInverse, FormatsHintsAndPositionsSingle) { formatsHintsAndPositions<float>(); }
TEST_P(RealInverse, FormatsHintsAndPositionsDouble) { formatsHintsAndPositions<double>(); }
TEST_P(RealInverse, PlacesAndOffsetsSingle) { placesAndOffsets<float>(); }
TEST_P(RealInverse, PlacesAndOffsetsDouble) { placesAndOffsets<double>(); }
TEST_P(RealInverse, GuardPagesAndStatusesSingle) { guardPagesAndStatuses<float>(); }
TEST_P(RealInverse, GuardPagesAndStatusesDouble) { guardPagesAndStatuses<double>(); }
INSTANTIATE_TEST_SUITE_P(Lengths, RealInverse, ::testing::Range(2, 65));

TEST(RealInverseEntries, LengthFirst) {
  for (Format f : kFormats)
    for (Zsp32s n : {1, 0, -1, 65, INT_MAX, INT_MIN}) {
      EXPECT_EQ(entry<float>(f)(nullptr, nullptr, n, 3), zspStsSizeErr) << n;
      EXPECT_EQ(entry<double>(f)(nullptr, nullptr, n, 3), zspStsSizeErr) << n;
    }
}

// Size 2 as written out: no doubling, no constant. And every kernel gives exactly the values the
// generator's evaluation of its graph gives on the generator's input.
template <class T>
void checkGraphValues(const GraphValues& v) {
  const std::vector<T> pack(v.in.begin(), v.in.end());
  for (Format f : kFormats) {
    const std::vector<T> x = run<T>(f, v.n, laidOut(f, v.n, pack), ZSP_NODIV_BY_ANY);
    EXPECT_TRUE(sameBits(x, std::vector<T>(v.out.begin(), v.out.end()))) << formatName(f) << " " << v.type << " length " << v.n;
  }
}

// Size 3 in single precision by the precision rule: the sine part is a product in double rounded once,
// the doubled real part meets the cosine 1/2 exactly, the last additions and the scale are single.
TEST(RealInverseBits, SizeThreeSingle) {
  const double sqrt3 = 0x1.bb67ae8584caap+0;  // 2 sin(pi/3) as a double literal
  std::mt19937 gen(9);
  std::uniform_real_distribution<float> dist(-1, 1);
  for (int trial = 0; trial < 2000; ++trial) {
    const float x0 = dist(gen), re = dist(gen), im = dist(gen);
    for (Zsp32s hint : {ZSP_NODIV_BY_ANY, ZSP_DIV_INV_BY_N}) {
      const float scale = hint == ZSP_DIV_INV_BY_N ? float(1.0Q / 3) : 1.0f;
      const float a = x0 - re, b = float(sqrt3 * double(im));
      const std::vector<float> expect = {(x0 + 2 * re) * scale, (a - b) * scale, (a + b) * scale};
      ASSERT_TRUE(sameBits(run<float>(Pack, 3, {x0, re, im}, hint), expect)) << trial << " hint " << hint;
    }
  }
}

TEST(RealInverseBits, KernelsComputeTheirGraph) {
  const std::vector<double> y = randomValues<double>(2, 8u);
  EXPECT_TRUE(sameBits(run<double>(Perm, 2, y, ZSP_NODIV_BY_ANY), {y[0] + y[1], y[0] - y[1]}));
  int kernels = 0;
  for (const GraphValues& v : readGraphValues(ZSPGEN_REAL_EXPECTED)) {
    if (v.kind != "inv") continue;
    if (v.type == "32f") checkGraphValues<float>(v);
    else checkGraphValues<double>(v);
    ++kernels;
  }
  EXPECT_EQ(kernels, 126);
}

class WorstErrors : public ::testing::Environment {
 public:
  void TearDown() override {
    std::printf("worst matrix error: single %.3g, double %.3g; round trip: single %.3g, double %.3g\n",
                worstMatrix[0], worstMatrix[1], worstRoundTrip[0], worstRoundTrip[1]);
  }
};
const auto* const kWorstErrors = ::testing::AddGlobalTestEnvironment(new WorstErrors);

}  // namespace
