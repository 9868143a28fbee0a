// The complex DFT kernels against a quad-precision transform, and their contract bit for bit: scale,
// direction hints, in place, any byte offset, guard pages, statuses and the size-dispatch entries.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <quadmath.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "elf_symbols.h"
#include "guarded_buffer.h"
#include "zspgen.h"

namespace {

using zsp::test::Guard;
using zsp::test::GuardedBuffer;
using Q = __float128;

constexpr Zsp32s kHints[] = {ZSP_DIV_FWD_BY_N, ZSP_DIV_INV_BY_N, ZSP_DIV_BY_SQRTN, ZSP_NODIV_BY_ANY};
// A kernel holds its body twice per route: without scaling for the hint that asks for none, with it for
// the rest. The tests of places, offsets and guard pages run both.
constexpr Zsp32s kBodyHints[] = {ZSP_NODIV_BY_ANY, ZSP_DIV_BY_SQRTN};
constexpr Zsp32s kBadHints[] = {0, 3, 5, 6, 7, 9, 12, 16, -1, INT_MIN};

template <class T> struct Precision;
template <> struct Precision<float> {
  using Sample = Zsp32fc;
  static constexpr const char* suffix = "32fc";
  static constexpr double impulseTol = 2.3e-6, roundTripTol = 2.3e-6;
  static zspStatus entry(bool inv, const Sample* s, Sample* d, Zsp32s n, Zsp32s h) {
    return inv ? zspgDFTInv_CToC_32fc(s, d, n, h) : zspgDFTFwd_CToC_32fc(s, d, n, h);
  }
};
template <> struct Precision<double> {
  using Sample = Zsp64fc;
  static constexpr const char* suffix = "64fc";
  static constexpr double impulseTol = 1e-14, roundTripTol = 1.1e-14;
  static zspStatus entry(bool inv, const Sample* s, Sample* d, Zsp32s n, Zsp32s h) {
    return inv ? zspgDFTInv_CToC_64fc(s, d, n, h) : zspgDFTFwd_CToC_64fc(s, d, n, h);
  }
};

// Kernels are found by their exported names, so the test holds the export list to every length.
template <class T>
auto kernel(int n, bool inverse) {
  using Fn = zspStatus (*)(const typename Precision<T>::Sample*, typename Precision<T>::Sample*, Zsp32s);
  const std::string name = std::string("zspgDFT") + (inverse ? "Inv" : "Fwd") + "_CToC_" + std::to_string(n) + "_" +
                           Precision<T>::suffix;
  return reinterpret_cast<Fn>(dlsym(RTLD_DEFAULT, name.c_str()));
}

// Runs a kernel on `parts` (2n values) at the given byte offsets; the result as values.
template <class T>
std::vector<T> run(int n, bool inverse, const std::vector<T>& parts, Zsp32s hint, size_t srcOffset = 0,
                   size_t dstOffset = 0, zspStatus* status = nullptr) {
  const size_t bytes = parts.size() * sizeof(T);
  std::vector<unsigned char> src(bytes + 32), dst(bytes + 32);
  std::memcpy(src.data() + ((16 - reinterpret_cast<uintptr_t>(src.data()) % 16) % 16) + srcOffset, parts.data(), bytes);
  unsigned char* s = src.data() + ((16 - reinterpret_cast<uintptr_t>(src.data()) % 16) % 16) + srcOffset;
  unsigned char* d = dst.data() + ((16 - reinterpret_cast<uintptr_t>(dst.data()) % 16) % 16) + dstOffset;
  using S = typename Precision<T>::Sample;
  const zspStatus st = kernel<T>(n, inverse)(reinterpret_cast<const S*>(s), reinterpret_cast<S*>(d), hint);
  if (status) *status = st;
  std::vector<T> out(parts.size());
  std::memcpy(out.data(), d, bytes);
  return out;
}

// sum_j x[j] exp(sign 2 pi i j k / n) in quad precision, the exponent reduced exactly.
std::vector<Q> reference(const std::vector<Q>& x, int sign) {
  const int n = static_cast<int>(x.size() / 2);
  std::vector<Q> c(n), s(n), y(2 * n, 0);
  for (int e = 0; e < n; ++e) {
    c[e] = cosq(2 * M_PIq * e / n);
    s[e] = sign * sinq(2 * M_PIq * e / n);
  }
  for (int k = 0; k < n; ++k)
    for (int j = 0; j < n; ++j) {
      const int e = j * k % n;
      y[2 * k] += x[2 * j] * c[e] - x[2 * j + 1] * s[e];
      y[2 * k + 1] += x[2 * j] * s[e] + x[2 * j + 1] * c[e];
    }
  return y;
}

template <class T>
std::vector<T> randomParts(int n, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<T> dist(-1, 1);
  std::vector<T> v(2 * n);
  for (T& x : v) x = dist(gen);
  return v;
}

template <class T>
bool sameBits(const std::vector<T>& a, const std::vector<T>& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0;
}

struct Worst {
  double impulse = 0, random = 0, roundTrip = 0;
};
Worst worst32, worst64;
template <class T> Worst& worst() { return sizeof(T) == 4 ? worst32 : worst64; }

class DftKernel : public ::testing::TestWithParam<int> {
 protected:
  template <class T> void accuracy();
  template <class T> void scaleAndHints();
  template <class T> void placesAndOffsets();
  template <class T> void guardPages();
  template <class T> void statuses();
};

template <class T>
void DftKernel::accuracy() {
  const int n = GetParam();
  for (bool inverse : {false, true}) {
    ASSERT_NE(kernel<T>(n, inverse), nullptr) << n;
    const int sign = inverse ? 1 : -1;
    // An impulse at index 1 gives exp(sign 2 pi i k / n).
    std::vector<T> impulse(2 * n, 0);
    impulse[2] = 1;
    const std::vector<T> y = run<T>(n, inverse, impulse, ZSP_NODIV_BY_ANY);
    double err = 0;
    for (int k = 0; k < n; ++k) {
      err = std::max(err, std::fabs(double(y[2 * k]) - double(cosq(2 * M_PIq * k / n))));
      err = std::max(err, std::fabs(double(y[2 * k + 1]) - double(sign * sinq(2 * M_PIq * k / n))));
    }
    EXPECT_LE(err, Precision<T>::impulseTol) << "length " << n << (inverse ? " inverse" : " forward");
    worst<T>().impulse = std::max(worst<T>().impulse, err);
    // Random input against the quad transform, relative to the largest output.
    const std::vector<T> x = randomParts<T>(n, 1000u + n);
    const std::vector<Q> ref = reference(std::vector<Q>(x.begin(), x.end()), sign);
    const std::vector<T> got = run<T>(n, inverse, x, ZSP_NODIV_BY_ANY);
    double rerr = 0, peak = 0;
    for (size_t i = 0; i < got.size(); ++i) {
      rerr = std::max(rerr, std::fabs(double(got[i] - ref[i])));
      peak = std::max(peak, std::fabs(double(ref[i])));
    }
    EXPECT_LE(rerr / peak, 4 * Precision<T>::impulseTol) << "length " << n;
    worst<T>().random = std::max(worst<T>().random, rerr / peak);
  }
  // Forward, then inverse divided by n, returns the signal.
  const std::vector<T> x = randomParts<T>(n, 7u * n);
  const std::vector<T> back =
      run<T>(n, true, run<T>(n, false, x, ZSP_DIV_INV_BY_N), ZSP_DIV_INV_BY_N);
  double err = 0;
  for (size_t i = 0; i < x.size(); ++i) err = std::max(err, std::fabs(double(back[i]) - double(x[i])));
  EXPECT_LE(err, Precision<T>::roundTripTol) << "length " << n;
  worst<T>().roundTrip = std::max(worst<T>().roundTrip, err);
}

template <class T>
void DftKernel::scaleAndHints() {
  const int n = GetParam();
  // 1/N rounded once; 1/sqrt(N) as double arithmetic gives it, which single precision rounds alike.
  const T invN = T(1.0Q / n), invSqrtN = T(1.0 / std::sqrt(double(n)));
  const std::vector<T> x = randomParts<T>(n, 31u * n);
  for (bool inverse : {false, true}) {
    const std::vector<T> plain = run<T>(n, inverse, x, ZSP_NODIV_BY_ANY);
    for (Zsp32s hint : kHints) {
      // The direction hint of the other side leaves the output as it is; the own side divides by n.
      T literal = 1;
      if (hint == ZSP_DIV_BY_SQRTN) literal = invSqrtN;
      if (hint == (inverse ? ZSP_DIV_INV_BY_N : ZSP_DIV_FWD_BY_N)) literal = invN;
      std::vector<T> expect(plain);
      for (T& v : expect) v = v * literal;
      EXPECT_TRUE(sameBits(run<T>(n, inverse, x, hint), expect)) << "length " << n << " hint " << hint;
    }
  }
}

template <class T>
void DftKernel::placesAndOffsets() {
  const int n = GetParam();
  using S = typename Precision<T>::Sample;
  const std::vector<T> x = randomParts<T>(n, 77u * n);
  for (bool inverse : {false, true})
    for (Zsp32s hint : kBodyHints) {
      const std::vector<T> expect = run<T>(n, inverse, x, hint);
      for (size_t so = 0; so < 16; ++so)
        for (size_t d = so == 0 ? 1 : 0; d < 16; d += (so % 4 == 0 ? 1 : 5))  // (0, 0) is `expect` itself
          ASSERT_TRUE(sameBits(run<T>(n, inverse, x, hint, so, d), expect))
              << "length " << n << " hint " << hint << " offsets " << so << "," << d;
      // In place, at every byte offset, gives the same bits as out of place.
      for (size_t offset = 0; offset < 16; ++offset) {
        std::vector<unsigned char> buf(x.size() * sizeof(T) + 32);
        unsigned char* p = buf.data() + ((16 - reinterpret_cast<uintptr_t>(buf.data()) % 16) % 16) + offset;
        std::memcpy(p, x.data(), x.size() * sizeof(T));
        ASSERT_EQ(kernel<T>(n, inverse)(reinterpret_cast<S*>(p), reinterpret_cast<S*>(p), hint), zspStsNoErr);
        std::vector<T> got(x.size());
        std::memcpy(got.data(), p, x.size() * sizeof(T));
        EXPECT_TRUE(sameBits(got, expect)) << "in place, length " << n << " offset " << offset;
      }
      // Destination one sample behind the source: still the transform of the source.
      std::vector<T> buf(x.size() + 2);
      std::copy(x.begin(), x.end(), buf.begin() + 2);
      ASSERT_EQ(kernel<T>(n, inverse)(reinterpret_cast<S*>(buf.data() + 2), reinterpret_cast<S*>(buf.data()), hint),
                zspStsNoErr);
      EXPECT_TRUE(sameBits(std::vector<T>(buf.begin(), buf.begin() + 2 * n), expect)) << "overlap, length " << n;
    }
}

template <class T>
void DftKernel::guardPages() {
  const int n = GetParam();
  using S = typename Precision<T>::Sample;
  const size_t bytes = 2 * n * sizeof(T);
  const std::vector<T> x = randomParts<T>(n, 5u * n);
  for (bool inverse : {false, true})
    for (Guard guard : {Guard::After, Guard::Before})
      for (size_t mis : {size_t(0), sizeof(T), size_t(3)})
        for (Zsp32s hint : kBodyHints) {
          GuardedBuffer src(bytes, guard, mis), dst(bytes, guard, (mis + 8) % 16);
          std::memcpy(src.data(), x.data(), bytes);
          ASSERT_EQ(kernel<T>(n, inverse)(src.as<S>(), dst.as<S>(), hint), zspStsNoErr);
          EXPECT_TRUE(src.outsideIntact() && dst.outsideIntact()) << "length " << n << " hint " << hint;
        }
}

template <class T>
void DftKernel::statuses() {
  const int n = GetParam();
  using S = typename Precision<T>::Sample;
  std::vector<T> x = randomParts<T>(n, 3u), canary(2 * n);
  std::memset(canary.data(), 0xA5, canary.size() * sizeof(T));
  for (bool inverse : {false, true}) {
    const auto k = kernel<T>(n, inverse);
    std::vector<T> dst = canary;
    S* d = reinterpret_cast<S*>(dst.data());
    const S* s = reinterpret_cast<const S*>(x.data());
    S* dOdd = reinterpret_cast<S*>(reinterpret_cast<unsigned char*>(dst.data()) + 4);
    EXPECT_EQ(k(nullptr, d, ZSP_NODIV_BY_ANY), zspStsNullPtrErr);
    EXPECT_EQ(k(s, nullptr, ZSP_NODIV_BY_ANY), zspStsNullPtrErr);
    EXPECT_EQ(k(nullptr, d, 3), zspStsNullPtrErr);
    EXPECT_EQ(k(nullptr, dOdd, 3), zspStsNullPtrErr);
    for (Zsp32s bad : kBadHints) EXPECT_EQ(k(s, d, bad), zspStsFlagErr) << bad;
    EXPECT_TRUE(sameBits(dst, canary)) << "written on error, length " << n;
    // The dispatch entry reaches this length's kernel.
    const std::vector<T> viaKernel = run<T>(n, inverse, x, ZSP_DIV_FWD_BY_N);
    ASSERT_EQ(Precision<T>::entry(inverse, s, d, n, ZSP_DIV_FWD_BY_N), zspStsNoErr);
    EXPECT_TRUE(sameBits(dst, viaKernel)) << "dispatch, length " << n;
  }
}

TEST_P(DftKernel, MatchesQuadTransformSingle) { accuracy<float>(); }
TEST_P(DftKernel, MatchesQuadTransformDouble) { accuracy<double>(); }
TEST_P(DftKernel, ScaleIsLastAndHintsFollowDirectionSingle) { scaleAndHints<float>(); }
TEST_P(DftKernel, ScaleIsLastAndHintsFollowDirectionDouble) { scaleAndHints<double>(); }
TEST_P(DftKernel, InPlaceAndEveryOffsetGiveSameBitsSingle) { placesAndOffsets<float>(); }
TEST_P(DftKernel, InPlaceAndEveryOffsetGiveSameBitsDouble) { placesAndOffsets<double>(); }
TEST_P(DftKernel, StaysInsideItsSamplesSingle) { guardPages<float>(); }
TEST_P(DftKernel, StaysInsideItsSamplesDouble) { guardPages<double>(); }
TEST_P(DftKernel, StatusesAndNothingWrittenOnErrorSingle) { statuses<float>(); }
TEST_P(DftKernel, StatusesAndNothingWrittenOnErrorDouble) { statuses<double>(); }

INSTANTIATE_TEST_SUITE_P(AllLengths, DftKernel, ::testing::Range(2, 65));

// The worst errors seen over all lengths and both directions, printed for the record.
class ReportWorst : public ::testing::Environment {
 public:
  void TearDown() override {
    std::printf("worst errors, single: impulse %.3g, random (relative to peak) %.3g, round trip %.3g\n",
                worst32.impulse, worst32.random, worst32.roundTrip);
    std::printf("worst errors, double: impulse %.3g, random (relative to peak) %.3g, round trip %.3g\n",
                worst64.impulse, worst64.random, worst64.roundTrip);
  }
};
const auto* const kReport = ::testing::AddGlobalTestEnvironment(new ReportWorst);

TEST(DftDispatch, LengthIsTestedFirst) {
  for (Zsp32s bad : {1, 0, -1, 65, INT_MAX, INT_MIN}) {
    EXPECT_EQ(zspgDFTFwd_CToC_32fc(nullptr, nullptr, bad, 3), zspStsSizeErr);
    EXPECT_EQ(zspgDFTInv_CToC_32fc(nullptr, nullptr, bad, 3), zspStsSizeErr);
    EXPECT_EQ(zspgDFTFwd_CToC_64fc(nullptr, nullptr, bad, 3), zspStsSizeErr);
    EXPECT_EQ(zspgDFTInv_CToC_64fc(nullptr, nullptr, bad, 3), zspStsSizeErr);
  }
  EXPECT_EQ(zspgDFTFwd_CToC_32fc(nullptr, nullptr, 2, 3), zspStsNullPtrErr);
  EXPECT_EQ(zspgDFTInv_CToC_64fc(nullptr, nullptr, 64, 3), zspStsNullPtrErr);
}

// ---- bit-exact models of the small kernels -----------------------------------------------------------

// Sizes 2 and 4 in the sample's own precision, forward or inverse.
template <class T>
std::vector<T> model2or4(const std::vector<T>& x, bool inverse) {
  const int n = static_cast<int>(x.size() / 2);
  auto re = [&](int j) { return x[2 * j]; };
  auto im = [&](int j) { return x[2 * j + 1]; };
  if (n == 2) return {re(0) + re(1), im(0) + im(1), re(0) - re(1), im(0) - im(1)};
  const T ar = re(0) + re(2), ai = im(0) + im(2), br = re(0) - re(2), bi = im(0) - im(2);
  const T cr = re(1) + re(3), ci = im(1) + im(3), dr = re(1) - re(3), di = im(1) - im(3);
  const T pr = br + di, pi = bi - dr, qr = br - di, qi = bi + dr;
  std::vector<T> y = {ar + cr, ai + ci, pr, pi, ar - cr, ai - ci, qr, qi};
  if (inverse) std::swap_ranges(y.begin() + 2, y.begin() + 4, y.begin() + 6);
  return y;
}

// Sizes 3 and 5 in single precision: constant products formed in double and rounded once.
std::vector<float> model3or5(const std::vector<float>& x, bool inverse) {
  const int n = static_cast<int>(x.size() / 2);
  auto W = [](float v) { return static_cast<double>(v); };
  std::vector<float> y(x.size());
  for (int part = 0; part < 2; ++part) {
    auto at = [&](int j) { return x[2 * j + part]; };
    if (n == 3) {
      y[part] = at(0) + (at(1) + at(2));
    } else {
      y[part] = (at(0) + (at(1) + at(4))) + (at(2) + at(3));
    }
  }
  if (n == 3) {
    const double s = static_cast<double>(sqrtq(3.0Q) / 2);
    float u[2], v[2];
    for (int part = 0; part < 2; ++part) {
      const float t = x[2 + part] + x[4 + part], d = x[2 + part] - x[4 + part];
      u[part] = static_cast<float>(W(x[part]) - W(t) * 0.5);
      v[part] = static_cast<float>(W(d) * s);
    }
    const float a[2] = {u[0] + v[1], u[1] - v[0]}, b[2] = {u[0] - v[1], u[1] + v[0]};
    const float* first = inverse ? b : a;
    const float* second = inverse ? a : b;
    y[2] = first[0], y[3] = first[1], y[4] = second[0], y[5] = second[1];
    return y;
  }
  const double c1 = double(cosq(2 * M_PIq / 5)), c2 = double(-cosq(4 * M_PIq / 5));
  const double s1 = double(sinq(2 * M_PIq / 5)), s2 = double(sinq(4 * M_PIq / 5));
  float p[2], q[2], r[2], w[2], m1[2], m2[2];
  for (int part = 0; part < 2; ++part) {
    p[part] = x[2 + part] + x[8 + part];
    q[part] = x[2 + part] - x[8 + part];
    r[part] = x[4 + part] + x[6 + part];
    w[part] = x[6 + part] - x[4 + part];
    m1[part] = static_cast<float>((c1 * W(p[part]) + W(x[part])) - c2 * W(r[part]));
    m2[part] = static_cast<float>((W(x[part]) - c2 * W(p[part])) + c1 * W(r[part]));
  }
  const float e1r = static_cast<float>(s1 * W(q[1]) - s2 * W(w[1]));
  const float e2r = static_cast<float>(s2 * W(q[1]) + s1 * W(w[1]));
  const float e1i = static_cast<float>(s2 * W(w[0]) - s1 * W(q[0]));
  const float e2i = static_cast<float>(s2 * W(q[0]) + s1 * W(w[0]));
  float out[5][2] = {{y[0], y[1]},
                     {m1[0] + e1r, m1[1] + e1i},
                     {m2[0] + e2r, m2[1] - e2i},
                     {m2[0] - e2r, m2[1] + e2i},
                     {m1[0] - e1r, m1[1] - e1i}};
  for (int k = 0; k < 5; ++k) {
    const int to = inverse && k ? 5 - k : k;
    y[2 * to] = out[k][0];
    y[2 * to + 1] = out[k][1];
  }
  return y;
}

template <class T>
void expectModel(int n, std::vector<T> (*model)(const std::vector<T>&, bool)) {
  const T invSqrtN = T(1.0 / std::sqrt(double(n)));
  for (unsigned seed = 0; seed < 2000; ++seed) {
    std::vector<T> x = randomParts<T>(n, seed);
    if (seed % 3 == 0)  // values with long mantissas near rounding boundaries
      for (T& v : x) v = v * T(1 << 12) + T(1) / T(3);
    for (bool inverse : {false, true}) {
      std::vector<T> expect = model(x, inverse);
      for (T& v : expect) v = v * invSqrtN;
      ASSERT_TRUE(sameBits(run<T>(n, inverse, x, ZSP_DIV_BY_SQRTN), expect))
          << "length " << n << (inverse ? " inverse" : " forward") << " seed " << seed;
    }
  }
}

TEST(DftSmallKernels, SizesTwoAndFourAreBitExact) {
  for (int n : {2, 4}) {
    expectModel<float>(n, model2or4<float>);
    expectModel<double>(n, model2or4<double>);
  }
}

TEST(DftSmallKernels, SizesThreeAndFiveWidenToDoubleInSinglePrecision) {
  for (int n : {3, 5}) expectModel<float>(n, model3or5);
}

TEST(DftSmallKernels, TableValues) {
  // (1,2), (3,4) through the 2-point double kernel: (4,6), (-2,-2).
  EXPECT_EQ(run<double>(2, false, {1, 2, 3, 4}, ZSP_NODIV_BY_ANY), (std::vector<double>{4, 6, -2, -2}));
  // An impulse at 0 through the 3-point double kernel divided by sqrt(3).
  const std::vector<double> third = run<double>(3, false, {1, 0, 0, 0, 0, 0}, ZSP_DIV_BY_SQRTN);
  for (int k = 0; k < 3; ++k) EXPECT_TRUE(third[2 * k] == 0.5773502691896258 && third[2 * k + 1] == 0.0) << k;
  // The 7-point Rader kernel keeps an impulse at 0 exact.
  const std::vector<float> one = run<float>(7, false, {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, ZSP_NODIV_BY_ANY);
  for (int k = 0; k < 7; ++k) EXPECT_TRUE(one[2 * k] == 1.0f && one[2 * k + 1] == 0.0f) << k;
}

// ---- every kernel against its own graph ----------------------------------------------------------------

// The generator evaluates each kernel's graph on its own inputs, in the arithmetic of the graph's types;
// the compiled kernel, whichever lowering wrote it, must give those bits on both routes (signs of exact
// zeros aside, which the lowerings do not promise).
template <class T>
int mismatches(int n, bool inverse, const std::vector<T>& in, const std::vector<T>& expect, size_t offset) {
  const std::vector<T> got = run<T>(n, inverse, in, ZSP_NODIV_BY_ANY, offset, offset);
  int bad = 0;
  for (size_t i = 0; i < got.size(); ++i)
    if (std::memcmp(&got[i], &expect[i], sizeof(T)) != 0 && !(got[i] == 0 && expect[i] == 0)) ++bad;
  return bad;
}

template <class T>
void checkGraphLine(std::istringstream& line, int n, bool inverse, const std::string& tag) {
  std::vector<T> in(2 * n), expect(2 * n);
  for (auto* list : {&in, &expect})
    for (T& v : *list) {
      std::string word;
      line >> word;
      v = static_cast<T>(std::strtod(word.c_str(), nullptr));
    }
  // Offset 0 takes the aligned route, one sample part further the other one.
  for (size_t offset : {size_t{0}, sizeof(T)})
    EXPECT_EQ(mismatches<T>(n, inverse, in, expect, offset), 0) << tag << " offset " << offset;
}

TEST(DftBits, EveryKernelComputesItsGraph) {
  std::ifstream file(ZSPGEN_DFT_EXPECTED);
  int kernels = 0;
  for (std::string text; std::getline(file, text);) {
    if (text.empty() || text[0] == '#') continue;
    std::istringstream line(text);
    int n;
    std::string type, direction;
    line >> n >> type >> direction;
    const std::string tag = std::to_string(n) + " " + type + " " + direction;
    if (type == "32fc") checkGraphLine<float>(line, n, direction == "inv", tag);
    else checkGraphLine<double>(line, n, direction == "inv", tag);
    ++kernels;
  }
  EXPECT_EQ(kernels, 252);
}

// Where the routes split into two functions, the unaligned route stands in local functions of its own
// that, at any address, give the bits of the kernel. The kernels whose registers the generator allocates
// (double precision, 47 and 59 points) have one sibling, which repeats the checks and always scales; the
// others have one per scale policy, which the kernel enters after its checks and its route test.
template <class T>
int checkSiblings(const zsp::test::LibrarySymbols& lib) {
  using S = typename Precision<T>::Sample;
  int found = 0;
  for (int n = 2; n <= 64; ++n)
    for (bool inverse : {false, true}) {
      const bool single = sizeof(T) == 4;
      const bool expected = single ? n >= 6 && n != 59 : n == 5 || n >= 7;
      const bool ownRegisters = !single && (n == 47 || n == 59);
      const std::string name = std::string("x3_owngDFT") + (inverse ? "Inv" : "Fwd") + "_CToC_" + std::to_string(n) +
                               "_" + Precision<T>::suffix + "_unaligned";
      const std::vector<std::string> siblings =
          ownRegisters ? std::vector<std::string>{name} : std::vector<std::string>{name + "_unscaled", name + "_scaled"};
      EXPECT_EQ(lib.address(name + (ownRegisters ? "_unscaled" : "")), 0u) << name;
      const std::vector<T> x = randomParts<T>(n, 11u * n);
      std::vector<unsigned char> src(x.size() * sizeof(T) + 32), dst(src.size());
      unsigned char* s = src.data() + ((16 - reinterpret_cast<uintptr_t>(src.data()) % 16) % 16) + sizeof(T);
      unsigned char* d = dst.data() + ((16 - reinterpret_cast<uintptr_t>(dst.data()) % 16) % 16) + 3;
      std::memcpy(s, x.data(), x.size() * sizeof(T));
      const S* in = reinterpret_cast<const S*>(s);
      S* out = reinterpret_cast<S*>(d);
      const T invSqrtN = T(1.0 / std::sqrt(double(n)));
      bool all = true;
      for (const std::string& sibling : siblings) {
        const uintptr_t at = lib.address(sibling);
        EXPECT_EQ(at != 0, expected) << sibling;
        all = all && at != 0;
        if (at == 0) continue;
        EXPECT_EQ(dlsym(RTLD_DEFAULT, sibling.c_str()), nullptr) << sibling << " is exported";
        EXPECT_EQ(dlsym(RTLD_DEFAULT, sibling.substr(3).c_str()), nullptr) << sibling << " is exported";
        const bool scaled = sibling.compare(sibling.size() - 7, 7, "_scaled") == 0;
        zspStatus status;
        if (ownRegisters) {
          using Fn = zspStatus (*)(const S*, S*, Zsp32s);
          EXPECT_EQ(reinterpret_cast<Fn>(at)(nullptr, out, ZSP_DIV_BY_SQRTN), zspStsNullPtrErr) << sibling;
          EXPECT_EQ(reinterpret_cast<Fn>(at)(in, out, 3), zspStsFlagErr) << sibling;
          status = reinterpret_cast<Fn>(at)(in, out, ZSP_DIV_BY_SQRTN);
        } else if (scaled) {
          status = reinterpret_cast<zspStatus (*)(const S*, S*, T)>(at)(in, out, invSqrtN);
        } else {
          status = reinterpret_cast<zspStatus (*)(const S*, S*)>(at)(in, out);
        }
        EXPECT_EQ(status, zspStsNoErr) << sibling;
        std::vector<T> got(x.size());
        std::memcpy(got.data(), d, x.size() * sizeof(T));
        EXPECT_TRUE(sameBits(got, run<T>(n, inverse, x, scaled || ownRegisters ? ZSP_DIV_BY_SQRTN : ZSP_NODIV_BY_ANY)))
            << sibling;
      }
      found += expected && all;
    }
  return found;
}

TEST(DftRoutes, UnalignedSiblingsStandWhereTheRoutesSplit) {
  const auto lib = zsp::test::symbolsOfLibraryContaining(reinterpret_cast<const void*>(&zspgDFTFwd_CToC_32fc));
  EXPECT_EQ(checkSiblings<float>(lib) + checkSiblings<double>(lib), 234);
}

// Single-precision arithmetic instructions in a function's code: (packed, scalar) counts of addps,
// subps and mulps against addss, subss and mulss, told by their opcodes and prefixes. A byte scan, not a
// decoder: the counts are close, not exact.
std::pair<int, int> singleArithmetic(const unsigned char* code, size_t size) {
  int packed = 0, scalar = 0;
  for (size_t k = 2; k + 1 < size; ++k) {
    if (code[k] != 0x0F || (code[k + 1] != 0x58 && code[k + 1] != 0x59 && code[k + 1] != 0x5C)) continue;
    const bool rex = (code[k - 1] & 0xF0) == 0x40;
    const unsigned char before = rex ? code[k - 2] : code[k - 1];
    if (before == 0xF3) {
      ++scalar;
    } else if (before != 0x66 && before != 0xF2) {
      ++packed;
    }
  }
  return {packed, scalar};
}

// From 6 samples on the single-precision kernels compute in four lanes: the bodies of each route, with
// the scale and without (the sibling's, or those that hold both), do their arithmetic in packed
// instructions only.
TEST(DftRoutes, SinglePrecisionFromSixSamplesRunsFourLanes) {
  const auto lib = zsp::test::symbolsOfLibraryContaining(reinterpret_cast<const void*>(&zspgDFTFwd_CToC_32fc));
  for (int n = 6; n <= 64; ++n)
    for (const char* dir : {"Fwd", "Inv"}) {
      const std::string kernel = std::string("zspgDFT") + dir + "_CToC_" + std::to_string(n) + "_32fc";
      const std::string route = n == 59 ? "x3_" + kernel : "x3_owng" + kernel.substr(4) + "_unaligned";
      for (const std::string& body : {route + (n == 59 ? "" : "_unscaled"), route + "_scaled"}) {
        const uintptr_t at = lib.address(body);
        ASSERT_NE(at, 0u) << body;
        const auto [packed, scalar] = singleArithmetic(reinterpret_cast<const unsigned char*>(at), lib.size.at(body));
        EXPECT_GE(packed, n / 2) << body;
        EXPECT_LT(10 * scalar, packed) << body;
      }
    }
  // The scalar kernels are what the opcode count tells apart.
  const std::string scalarBody = "x3_zspgDFTFwd_CToC_5_32fc";
  const auto [packed, scalar] = singleArithmetic(reinterpret_cast<const unsigned char*>(lib.address(scalarBody)),
                                                 lib.size.at(scalarBody));
  EXPECT_GT(scalar, packed);
}

}  // namespace
