// The forward real DFT kernels, all three packed formats, against a quad-precision transform, and their
// contract bit for bit: the layouts, the precision rule on small sizes, scale literals, hints, CCS zeros,
// in place, any byte offset, guard pages, statuses and the size-dispatch entries.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "guarded_buffer.h"
#include "real_test_support.h"

namespace {

using namespace zsp::test::real;

template <class T> Kernel<T> kernel(Format f, int n) { return zsp::test::real::kernel<T>(false, f, n); }

template <class T>
std::vector<T> run(Format f, int n, const std::vector<T>& x, Zsp32s hint, size_t srcOffset = 0, size_t dstOffset = 0) {
  return zsp::test::real::run<T>(false, f, n, x, hint, srcOffset, dstOffset);
}

template <class T> std::vector<T> randomInput(int n, unsigned seed) { return randomValues<T>(n, seed); }

// The entries by their prototypes, which also links the test to the library.
template <class T>
Entry<T> entry(Format f) {
  if constexpr (sizeof(T) == 4) return f == CCS ? zspgDFTFwd_RToCCS_32f : f == Pack ? zspgDFTFwd_RToPack_32f : zspgDFTFwd_RToPerm_32f;
  else return f == CCS ? zspgDFTFwd_RToCCS_64f : f == Pack ? zspgDFTFwd_RToPack_64f : zspgDFTFwd_RToPerm_64f;
}

double worstMatrix[2], worstRandom[2];

class RealForward : public ::testing::TestWithParam<int> {
 protected:
  template <class T> void accuracy();
  template <class T> void formatsHintsAndZeros();
  template <class T> void placesAndOffsets();
  template <class T> void guardPagesAndStatuses();
};

// Every unit impulse (the transform matrix) and a random input, every format, against the exact DFT.
template <class T>
void RealForward::accuracy() {
  const int n = GetParam();
  for (Format f : kFormats) ASSERT_NE(kernel<T>(f, n), nullptr) << formatName(f) << " " << n;
  auto maxError = [&](Format f, const std::vector<T>& x) {
    const std::vector<Q> ref = exactSpectrum(std::vector<Q>(x.begin(), x.end()));
    const std::vector<T> y = run<T>(f, n, x, ZSP_NODIV_BY_ANY);
    double err = 0;
    for (int k = 0; 2 * k <= n; ++k)
      for (bool imag : {false, true})
        err = std::max(err, std::fabs(double(Q(part(f, n, y, k, imag)) - ref[static_cast<size_t>(2 * k + imag)])));
    return err;
  };
  for (Format f : kFormats) {
    double matrix = 0;
    for (int j = 0; j < n; ++j) {
      std::vector<T> x(static_cast<size_t>(n), 0);
      x[static_cast<size_t>(j)] = 1;
      matrix = std::max(matrix, maxError(f, x));
    }
    EXPECT_LE(matrix, matrixTol<T>()) << formatName(f) << " length " << n;
    const double random = maxError(f, randomInput<T>(n, 100u + n));
    EXPECT_LE(random, n * matrixTol<T>()) << formatName(f) << " length " << n;
    worstMatrix[sizeof(T) == 8] = std::max(worstMatrix[sizeof(T) == 8], matrix);
    worstRandom[sizeof(T) == 8] = std::max(worstRandom[sizeof(T) == 8], random);
  }
}

// The three formats hold the same values; the hints pick the kernel's literals; CCS zeros are +0 whatever
// the input holds.
template <class T>
void RealForward::formatsHintsAndZeros() {
  const int n = GetParam();
  const std::vector<T> x = randomInput<T>(n, 7u * n);
  const std::vector<T> ccs = run<T>(CCS, n, x, ZSP_NODIV_BY_ANY);
  for (Format f : {Pack, Perm}) {
    const std::vector<T> y = run<T>(f, n, x, ZSP_NODIV_BY_ANY);
    for (int k = 0; 2 * k <= n; ++k)
      for (bool imag : {false, true}) {
        if (position(f, n, k, imag) < 0) continue;
        EXPECT_EQ(part(f, n, y, k, imag), part(CCS, n, ccs, k, imag)) << formatName(f) << " length " << n << " bin " << k;
      }
  }
  for (Format f : kFormats) {
    // Hint 2 does not divide a forward transform.
    EXPECT_TRUE(sameBits(run<T>(f, n, x, ZSP_DIV_INV_BY_N), run<T>(f, n, x, ZSP_NODIV_BY_ANY))) << n;
    // An impulse at 0 gives exactly the kernel's literals at position 0.
    std::vector<T> impulse(static_cast<size_t>(n), 0);
    impulse[0] = 1;
    EXPECT_EQ(run<T>(f, n, impulse, ZSP_DIV_FWD_BY_N)[0], T(1.0Q / n)) << formatName(f) << " length " << n;
    EXPECT_EQ(run<T>(f, n, impulse, ZSP_DIV_BY_SQRTN)[0], T(1.0 / std::sqrt(double(n)))) << formatName(f) << " " << n;
  }
  for (T poison : {std::numeric_limits<T>::quiet_NaN(), std::numeric_limits<T>::infinity()}) {
    std::vector<T> bad(x);
    bad[static_cast<size_t>(n / 2)] = poison;
    for (Zsp32s hint : kHints) {
      const std::vector<T> y = run<T>(CCS, n, bad, hint, 0, 0);
      for (size_t zeroAt : {size_t{1}, size_t(n + 1)}) {
        if (zeroAt == size_t(n + 1) && n % 2) continue;
        EXPECT_EQ(y[zeroAt], T(0)) << n;
        EXPECT_FALSE(std::signbit(y[zeroAt])) << n;
      }
    }
  }
}

// In place equals out of place (CCS in a buffer of its own length), and so does every byte offset.
template <class T>
void RealForward::placesAndOffsets() {
  const int n = GetParam();
  const std::vector<T> x = randomInput<T>(n, 77u * n);
  for (Format f : kFormats)
    for (Zsp32s hint : kBodyHints)
      EXPECT_EQ(offsetsAndInPlace(kernel<T>(f, n), x, static_cast<size_t>(length(f, n)), hint), "")
          << formatName(f) << " length " << n << " hint " << hint;
}

// Guard pages on either side of both buffers; the statuses at the door; the entry of each format.
template <class T>
void RealForward::guardPagesAndStatuses() {
  const int n = GetParam();
  const std::vector<T> x = randomInput<T>(n, 5u * n);
  std::vector<T> dst(96, T(-7));
  for (Format f : kFormats) {
    for (Zsp32s hint : kBodyHints)
      EXPECT_EQ(guardedRun(kernel<T>(f, n), x, run<T>(f, n, x, hint), hint), "")
          << formatName(f) << " length " << n << " hint " << hint;
    EXPECT_EQ(doorStatuses(kernel<T>(f, n), x.data(), dst.data()), "") << formatName(f) << " length " << n;
    std::vector<T> viaEntry(static_cast<size_t>(length(f, n)));
    ASSERT_EQ(entry<T>(f)(x.data(), viaEntry.data(), n, ZSP_DIV_BY_SQRTN), zspStsNoErr);
    EXPECT_TRUE(sameBits(viaEntry, run<T>(f, n, x, ZSP_DIV_BY_SQRTN))) << formatName(f) << " entry, length " << n;
  }
}

TEST_P(RealForward, AccuracySingle) { accuracy<float>(); }
TEST_P(RealForward, AccuracyDouble) { accuracy<double>(); }
TEST_P(RealForward, FormatsHintsAndZerosSingle) { formatsHintsAndZeros<float>(); }
TEST_P(RealForward, FormatsHintsAndZerosDouble) { formatsHintsAndZeros<double>(); }
TEST_P(RealForward, PlacesAndOffsetsSingle) { placesAndOffsets<float>(); }
TEST_P(RealForward, PlacesAndOffsetsDouble) { placesAndOffsets<double>(); }
TEST_P(RealForward, GuardPagesAndStatusesSingle) { guardPagesAndStatuses<float>(); }
TEST_P(RealForward, GuardPagesAndStatusesDouble) { guardPagesAndStatuses<double>(); }
INSTANTIATE_TEST_SUITE_P(Lengths, RealForward, ::testing::Range(2, 65));

// The length is tested before anything else, by every entry.
TEST(RealForwardEntries, LengthFirst) {
  for (Format f : kFormats)
    for (Zsp32s n : {1, 0, -1, 65, INT_MAX, INT_MIN}) {
      EXPECT_EQ(entry<float>(f)(nullptr, nullptr, n, 3), zspStsSizeErr) << n;
      EXPECT_EQ(entry<double>(f)(nullptr, nullptr, n, 3), zspStsSizeErr) << n;
    }
}

// The small sizes bit for bit, as their forms and the precision rule write them: size 2, 4 and 8 in
// double; size 3 in single, whose products are taken in double and rounded once, also with the scale.
TEST(RealForwardBits, SmallSizesAsWrittenOut) {
  const std::vector<double> x = randomInput<double>(8, 11u);
  const double c = 0x1.6a09e667f3bcdp-1;  // cos(pi/4)
  double a[4], b[4];
  for (int j = 0; j < 4; ++j) {
    a[j] = x[j] + x[j + 4];
    b[j] = x[j] - x[j + 4];
  }
  const double t1 = c * b[1], t3 = c * b[3], p = t1 - t3, q = t1 + t3, s = a[0] + a[2], u = a[1] + a[3];
  EXPECT_TRUE(sameBits(run<double>(Pack, 8, x, ZSP_NODIV_BY_ANY),
                       {s + u, b[0] + p, -(q + b[2]), a[0] - a[2], -(a[1] - a[3]), b[0] - p, -(q - b[2]), s - u}));
  const std::vector<double> x4(x.begin(), x.begin() + 4);
  EXPECT_TRUE(sameBits(run<double>(Perm, 4, x4, ZSP_NODIV_BY_ANY),
                       {(x4[0] + x4[2]) + (x4[1] + x4[3]), (x4[0] + x4[2]) - (x4[1] + x4[3]), x4[0] - x4[2], -(x4[1] - x4[3])}));
  EXPECT_TRUE(sameBits(run<double>(CCS, 2, {x[0], x[1]}, ZSP_NODIV_BY_ANY), {x[0] + x[1], 0.0, x[0] - x[1], 0.0}));

  const double s3 = 0x1.bb67ae8584caap-1;  // sin(pi/3) as a double literal
  std::mt19937 gen(5);
  std::uniform_real_distribution<float> dist(-1, 1);
  for (int trial = 0; trial < 2000; ++trial) {
    const float x0 = dist(gen), x1 = dist(gen), x2 = dist(gen);
    const float t = x1 + x2, d = x1 - x2;
    for (Zsp32s hint : {ZSP_NODIV_BY_ANY, ZSP_DIV_FWD_BY_N}) {
      const float scale = hint == ZSP_DIV_FWD_BY_N ? float(1.0Q / 3) : 1.0f;
      const std::vector<float> expect = {(x0 + t) * scale,
                                         float((double(x0) - 0.5 * double(t)) * double(scale)),
                                         -float(s3 * double(d) * double(scale))};
      ASSERT_TRUE(sameBits(run<float>(Pack, 3, {x0, x1, x2}, hint), expect)) << trial << " hint " << hint;
    }
  }
}

// Every kernel gives exactly the values the generator's own evaluation of its graph gives, on the
// generator's input: this holds the emitted code, the compiler and its flags (no contraction, no
// reassociation, the widening and rounding of the single-precision rule) to the graph, in all formats.
template <class T>
void checkGraphValues(const GraphValues& v) {
  const int n = v.n;
  const std::vector<T> x(v.in.begin(), v.in.end());
  for (Format f : kFormats) {
    const std::vector<T> y = run<T>(f, n, x, ZSP_NODIV_BY_ANY);
    for (int i = 0; i < n; ++i) {
      const T expect = static_cast<T>(v.out[static_cast<size_t>(i)]);
      EXPECT_EQ(std::memcmp(&y[static_cast<size_t>(position(f, n, binOf(i), imagOf(n, i)))], &expect, sizeof(T)), 0)
          << formatName(f) << " " << suffix<T>() << " length " << n << " value " << i;
    }
  }
}

TEST(RealForwardBits, KernelsComputeTheirGraph) {
  int kernels = 0;
  for (const GraphValues& v : readGraphValues(ZSPGEN_REAL_EXPECTED)) {
    if (v.kind != "fwd") continue;
    if (v.type == "32f") checkGraphValues<float>(v);
    else checkGraphValues<double>(v);
    ++kernels;
  }
  EXPECT_EQ(kernels, 126);
}

// The worst errors of a run of the whole binary, for the record.
class WorstErrors : public ::testing::Environment {
 public:
  void TearDown() override {
    std::printf("worst matrix error: single %.3g, double %.3g; random inputs: single %.3g, double %.3g\n",
                worstMatrix[0], worstMatrix[1], worstRandom[0], worstRandom[1]);
  }
};
const auto* const kWorstErrors = ::testing::AddGlobalTestEnvironment(new WorstErrors);

}  // namespace
