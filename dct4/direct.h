// The straight DCT-IV kernels of lengths 2, 4, 8, 16 and 32: scalar, constants written in, every source
// sample read before the first store, so source and destination may be the same array. Each follows one
// fixed dataflow, so its results are the same bits on every build.
#ifndef ZSPGEN_DCT4_DIRECT_H
#define ZSPGEN_DCT4_DIRECT_H

#include "core/any_address.h"
#include "dct4/angles.h"

namespace zsp::dct4::direct {

template <class T>
struct Pair {
  T re, im;
};

template <class T>
constexpr T kR = cosPi128<T>(32);  // 1/sqrt(2)

// Multiplication by e^(i k pi / 128): four products, two sums.
template <class T>
inline Pair<T> rot(int k, Pair<T> v) {
  const T c = cosPi128<T>(k), s = sinPi128<T>(k);
  return {c * v.re - s * v.im, s * v.re + c * v.im};
}
// conj(v) * e^(i k pi / 128).
template <class T>
inline Pair<T> crot(int k, Pair<T> v) {
  const T c = cosPi128<T>(k), s = sinPi128<T>(k);
  return {c * v.re + s * v.im, s * v.re - c * v.im};
}

// Input butterfly of index i over x[i], x[n-1-i], x[n/2+i], x[n/2-1-i]: upper pair P, lower pair Q.
template <class T>
inline void quad(const T* x, int n, int i, Pair<T>& p, Pair<T>& q) {
  const T g = (loadTyped(x, n / 2 + i) + loadTyped(x, n / 2 - 1 - i)) * kR<T>;
  const T h = (loadTyped(x, n / 2 + i) - loadTyped(x, n / 2 - 1 - i)) * kR<T>;
  p = {loadTyped(x, i) + g, h - loadTyped(x, n - 1 - i)};
  q = {loadTyped(x, i) - g, h + loadTyped(x, n - 1 - i)};
}

// Output butterfly of index m: writes y[m], y[n-1-m], y[n/2+m], y[n/2-1-m].
template <class T>
inline void out(T* y, int n, int m, Pair<T> ab, Pair<T> cd) {
  const T u = (ab.re - cd.re) * kR<T>;
  const T w = (ab.im + cd.im) * kR<T>;
  storeTyped(y, m, ab.re + cd.re);
  storeTyped(y, n - 1 - m, ab.im - cd.im);
  storeTyped(y, n / 2 + m, u - w);
  storeTyped(y, n / 2 - 1 - m, u + w);
}

template <class T>
inline void length2(const T* x, T* y) {
  const T c = cosPi128<T>(16), s = sinPi128<T>(16);
  const T x0 = loadTyped(x, 0), x1 = loadTyped(x, 1);
  storeTyped(y, 0, c * x0 + s * x1);
  storeTyped(y, 1, s * x0 - c * x1);
}

// The one kernel with lifting steps: each rotation as three shears.
template <class T>
inline void length4(const T* x, T* y) {
  auto lift = [](T a, T b, T p, T q, T& ra, T& rb) {
    const T a1 = a - p * b;
    const T b1 = b + q * a1;
    ra = a1 - p * b1;
    rb = b1;
  };
  T u0, t3, u1, t2;
  lift(loadTyped(x, 0), loadTyped(x, 3), tan7Pi32<T>(), sinPi128<T>(56), u0, t3);
  lift(loadTyped(x, 1), loadTyped(x, 2), tan5Pi32<T>(), sinPi128<T>(40), u1, t2);
  const T e = (t3 - t2) * kR<T>;
  const T f = (u0 + u1) * kR<T>;
  storeTyped(y, 0, t3 + t2);
  storeTyped(y, 1, e + f);
  storeTyped(y, 2, e - f);
  storeTyped(y, 3, u0 - u1);
}

template <class T>
inline void length8(const T* x, T* y) {
  Pair<T> p0, q0, p1, q1;
  quad(x, 8, 0, p0, q0);
  quad(x, 8, 1, p1, q1);
  const Pair<T> z0 = rot(4, p0), z1 = rot(12, p1), w0 = rot(12, q0), w1 = rot(36, q1);
  out(y, 8, 0, z0, z1);
  out(y, 8, 1, w0, w1);
}

template <class T>
inline void length16(const T* x, T* y) {
  Pair<T> z[4], w[4];
  for (int i = 0; i < 4; ++i) {
    Pair<T> p, q;
    quad(x, 16, i, p, q);
    z[i] = rot(2 * (2 * i + 1), p);
    w[i] = rot(6 * (2 * i + 1), q);
  }
  // Conjugate folds of the two lists, each ending in two output butterflies.
  Pair<T> u[2][2], d[2][2];
  for (int list = 0; list < 2; ++list) {
    const Pair<T>* l = list == 0 ? z : w;
    u[list][0] = {l[0].re + l[3].re, l[0].im - l[3].im};
    u[list][1] = {l[1].re + l[2].re, l[1].im - l[2].im};
    d[list][0] = rot(16, Pair<T>{l[0].re - l[3].re, l[0].im + l[3].im});
    d[list][1] = rot(48, Pair<T>{l[1].re - l[2].re, l[1].im + l[2].im});
  }
  for (int list = 0; list < 2; ++list) {
    out(y, 16, list, u[list][0], u[list][1]);
    out(y, 16, list + 4, d[list][0], d[list][1]);
  }
}

// Four-point decimation-in-time unit on the pairs of one group and side; tau is 1 (P) or 3 (Q).
template <class T>
inline void unit32(int tau, const Pair<T> l[4], Pair<T> o[4]) {
  const Pair<T> a = rot(16 * tau, l[2]);
  const Pair<T> s0 = {l[0].re + a.re, l[0].im + a.im}, s1 = {l[0].re - a.re, l[0].im - a.im};
  const Pair<T> b = rot(8 * tau, l[1]), c = rot(24 * tau, l[3]);
  const Pair<T> e = {b.re + c.re, b.im + c.im}, f = {b.re - c.re, b.im - c.im};
  o[0] = {s0.re + e.re, s0.im + e.im};
  o[2] = {s0.re - e.re, s0.im - e.im};
  o[1] = {s1.re + f.im, s1.im - f.re};
  o[3] = {s1.re - f.im, s1.im + f.re};
}

template <class T>
inline void length32(const T* x, T* y) {
  Pair<T> p[2][4], q[2][4];
  for (int g = 0; g < 2; ++g)
    for (int k = 0; k < 4; ++k) quad(x, 32, g + 4 * k, p[g][k], q[g][k]);
  Pair<T> op[2][4], oq[2][4];
  for (int g = 0; g < 2; ++g) {
    unit32(1, p[g], op[g]);
    unit32(3, q[g], oq[g]);
  }
  // Row m: side (0 P, 1 Q), output of the unit, conjugating rotation or not.
  constexpr struct { int side, output; bool conj; } rows[8] = {
      {0, 0, false}, {1, 0, false}, {1, 1, true}, {0, 1, true},
      {0, 3, false}, {1, 3, false}, {1, 2, true}, {0, 2, true}};
  for (int m = 0; m < 8; ++m) {
    const auto& o = rows[m].side == 0 ? op : oq;
    const Pair<T> g0 = o[0][rows[m].output], g1 = o[1][rows[m].output];
    const int t = 2 * m + 1;
    if (rows[m].conj) out(y, 32, m, crot(t, g0), crot(3 * t, g1));
    else out(y, 32, m, rot(t, g0), rot(3 * t, g1));
  }
}

}  // namespace zsp::dct4::direct

#endif  // ZSPGEN_DCT4_DIRECT_H
