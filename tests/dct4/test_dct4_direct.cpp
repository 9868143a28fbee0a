// The straight kernels of lengths 2..32 against their dataflow, re-traced here with constants rounded from
// quad precision, bit for bit in both precisions; and against the defining sum, in place and twice.
#include <gtest/gtest.h>
#include <quadmath.h>

#include <cstring>
#include <random>
#include <vector>

#include "dct4_reference.h"
#include "dct4_transform.h"

namespace {

template <class T>
T cosQ(int num, int den) { return static_cast<T>(cosq(M_PIq * num / den)); }
template <class T>
T sinQ(int num, int den) { return static_cast<T>(sinq(M_PIq * num / den)); }

template <class T>
struct Trace {
  const std::vector<T>& x;
  std::vector<T> y;
  int n;
  T r = cosQ<T>(1, 4);
  explicit Trace(const std::vector<T>& in) : x(in), y(in.size()), n(static_cast<int>(in.size())) {}

  // (a, b) times e^(i pi num/den), or conj(a, b) times it.
  void rotate(T& a, T& b, int num, int den, bool conj = false) const {
    const T c = cosQ<T>(num, den), s = sinQ<T>(num, den);
    const T re = conj ? c * a + s * b : c * a - s * b;
    const T im = conj ? s * a - c * b : s * a + c * b;
    a = re, b = im;
  }
  void quad(int i, T p[2], T q[2]) const {
    const T g = (x[n / 2 + i] + x[n / 2 - 1 - i]) * r, h = (x[n / 2 + i] - x[n / 2 - 1 - i]) * r;
    p[0] = x[i] + g, p[1] = h - x[n - 1 - i];
    q[0] = x[i] - g, q[1] = h + x[n - 1 - i];
  }
  void out(int m, const T ab[2], const T cd[2]) {
    y[m] = ab[0] + cd[0];
    y[n - 1 - m] = ab[1] - cd[1];
    const T u = (ab[0] - cd[0]) * r, w = (ab[1] + cd[1]) * r;
    y[n / 2 + m] = u - w;
    y[n / 2 - 1 - m] = u + w;
  }

  std::vector<T> run() {
    if (n == 2) {
      const T c = cosQ<T>(1, 8), s = sinQ<T>(1, 8);
      y = {c * x[0] + s * x[1], s * x[0] - c * x[1]};
    } else if (n == 4) {
      T v[4];
      const int angle[2] = {7, 5};
      for (int k = 0; k < 2; ++k) {
        const T p = static_cast<T>(tanq(M_PIq * angle[k] / 32)), q = sinQ<T>(angle[k], 16);
        T a = x[k], b = x[3 - k];
        a = a - p * b, b = b + q * a, a = a - p * b;
        v[k] = a, v[3 - k] = b;  // u0, t3 then u1, t2
      }
      const T e = (v[3] - v[2]) * r, f = (v[0] + v[1]) * r;
      y = {v[3] + v[2], e + f, e - f, v[0] - v[1]};
    } else if (n == 8 || n == 16) {
      const int half = n / 4;
      T lists[2][4][2];
      for (int i = 0; i < half; ++i) {
        T p[2], q[2];
        quad(i, p, q);
        rotate(p[0], p[1], 2 * i + 1, 4 * n);
        rotate(q[0], q[1], 3 * (2 * i + 1), 4 * n);
        std::memcpy(lists[0][i], p, sizeof p);
        std::memcpy(lists[1][i], q, sizeof q);
      }
      for (int m = 0; m < 2; ++m) {
        T(*l)[2] = lists[m];
        if (n == 8) {
          out(m, l[0], l[1]);
          continue;
        }
        T u0[2] = {l[0][0] + l[3][0], l[0][1] - l[3][1]}, u1[2] = {l[1][0] + l[2][0], l[1][1] - l[2][1]};
        T d0[2] = {l[0][0] - l[3][0], l[0][1] + l[3][1]}, d1[2] = {l[1][0] - l[2][0], l[1][1] + l[2][1]};
        rotate(d0[0], d0[1], 1, 8);
        rotate(d1[0], d1[1], 3, 8);
        out(m, u0, u1);
        out(m + 4, d0, d1);
      }
    } else {  // 32
      T o[2][2][4][2];  // [side][group][output][re/im]
      for (int g = 0; g < 2; ++g) {
        T pq[2][4][2];
        for (int k = 0; k < 4; ++k) quad(g + 4 * k, pq[0][k], pq[1][k]);
        for (int side = 0; side < 2; ++side) {
          const int tau = side ? 3 : 1;
          T(*l)[2] = pq[side];
          rotate(l[2][0], l[2][1], tau, 8);
          rotate(l[1][0], l[1][1], tau, 16);
          rotate(l[3][0], l[3][1], 3 * tau, 16);
          const T s0[2] = {l[0][0] + l[2][0], l[0][1] + l[2][1]}, s1[2] = {l[0][0] - l[2][0], l[0][1] - l[2][1]};
          const T e[2] = {l[1][0] + l[3][0], l[1][1] + l[3][1]}, f[2] = {l[1][0] - l[3][0], l[1][1] - l[3][1]};
          T* out4 = &o[side][g][0][0];
          const T vals[8] = {s0[0] + e[0], s0[1] + e[1], s1[0] + f[1], s1[1] - f[0],
                             s0[0] - e[0], s0[1] - e[1], s1[0] - f[1], s1[1] + f[0]};
          std::memcpy(out4, vals, sizeof vals);
        }
      }
      const int side[8] = {0, 1, 1, 0, 0, 1, 1, 0}, output[8] = {0, 0, 1, 1, 3, 3, 2, 2};
      for (int m = 0; m < 8; ++m) {
        const bool conj = m % 4 == 2 || m % 4 == 3;
        T a[2], b[2];
        std::memcpy(a, o[side[m]][0][output[m]], sizeof a);
        std::memcpy(b, o[side[m]][1][output[m]], sizeof b);
        rotate(a[0], a[1], 2 * m + 1, 128, conj);
        rotate(b[0], b[1], 3 * (2 * m + 1), 128, conj);
        out(m, a, b);
      }
    }
    return y;
  }
};

template <class T>
class DirectKernels : public ::testing::Test {};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(DirectKernels, Precisions);

TYPED_TEST(DirectKernels, FollowTheirDataflowBitForBitAndComputeTheTransform) {
  using T = TypeParam;
  std::mt19937 rng(7);
  std::uniform_real_distribution<T> dist(-1, 1);
  const double eps = std::numeric_limits<T>::epsilon() / 2;
  for (int n : {2, 4, 8, 16, 32}) {
    for (int trial = 0; trial < 50; ++trial) {
      std::vector<T> x(static_cast<size_t>(n));
      for (T& v : x) v = dist(rng);
      const std::vector<T> want = Trace<T>(x).run();
      std::vector<T> y(x.size()), inPlace = x;
      zsp::test::dct4Transform(x.data(), y.data(), n);
      zsp::test::dct4Transform(inPlace.data(), inPlace.data(), n);
      ASSERT_EQ(0, std::memcmp(y.data(), want.data(), y.size() * sizeof(T))) << "N=" << n;
      ASSERT_EQ(0, std::memcmp(inPlace.data(), want.data(), y.size() * sizeof(T))) << "in place, N=" << n;
      ASSERT_LE(zsp::test::relativeRms(y.data(), zsp::test::dct4Direct(x)), 2 * eps * std::log2(n)) << n;
    }
  }
}

TYPED_TEST(DirectKernels, LengthTwoIsTheReflectionByPiOverEight) {
  using T = TypeParam;
  std::vector<T> y(2), x = {1, 0};
  zsp::test::dct4Transform(x.data(), y.data(), 2);
  EXPECT_EQ(y[0], static_cast<T>(cosq(M_PIq / 8)));
  EXPECT_EQ(y[1], static_cast<T>(sinq(M_PIq / 8)));
}

}  // namespace
