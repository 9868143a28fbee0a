// What the real-input kernel tests share: the three layouts written from their definition, the kernels
// by name, runs through buffers at any byte offset, the exact transform in quad precision, and the file
// of values the generator computed from each kernel's graph.
#ifndef ZSPGEN_TESTS_REAL_SUPPORT_H
#define ZSPGEN_TESTS_REAL_SUPPORT_H

#include <dlfcn.h>
#include <quadmath.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "guarded_buffer.h"
#include "zspgen.h"

namespace zsp::test::real {

using Q = __float128;
using zsp::test::Guard;
using zsp::test::GuardedBuffer;
using zsp::test::kCanary;

enum Format { CCS, Pack, Perm };
constexpr Format kFormats[] = {CCS, Pack, Perm};
inline const char* formatName(Format f) { return f == CCS ? "CCS" : f == Pack ? "Pack" : "Perm"; }
constexpr Zsp32s kHints[] = {ZSP_DIV_FWD_BY_N, ZSP_DIV_INV_BY_N, ZSP_DIV_BY_SQRTN, ZSP_NODIV_BY_ANY};
constexpr Zsp32s kBadHints[] = {0, 3, 5, 6, 7, 9, 12, 16, -1, INT_MIN};

template <class T> using Kernel = zspStatus (*)(const T*, T*, Zsp32s);
template <class T> using Entry = zspStatus (*)(const T*, T*, Zsp32s, Zsp32s);
template <class T> const char* suffix() { return sizeof(T) == 4 ? "32f" : "64f"; }

// The kernel of a direction, format and length, found by its exported name, so the test holds the export
// list to every length.
template <class T>
Kernel<T> kernel(bool inverse, Format f, int n) {
  const std::string tail = "_" + std::to_string(n) + "_" + suffix<T>();
  const std::string name = inverse ? std::string("zspgDFTInv_") + formatName(f) + "ToR" + tail
                                   : std::string("zspgDFTFwd_RTo") + formatName(f) + tail;
  return reinterpret_cast<Kernel<T>>(dlsym(RTLD_DEFAULT, name.c_str()));
}

// The layouts: how many values, and where Re X[k] and Im X[k] stand (-1: not stored). CCS also holds the
// constant zeros at the imaginary parts of bin 0 and, for even N, bin N/2.
inline int length(Format f, int n) { return f == CCS ? 2 * (n / 2 + 1) : n; }
inline int position(Format f, int n, int k, bool imag) {
  const bool nyquist = n % 2 == 0 && k == n / 2;
  if (f == CCS) return 2 * k + imag;
  if (k == 0 || nyquist) return imag ? -1 : k == 0 ? 0 : f == Pack ? n - 1 : 1;
  return (f == Perm && n % 2 == 0) ? 2 * k + imag : 2 * k - 1 + imag;
}
// Value i of a spectrum in Pack order: its bin and part.
inline int binOf(int i) { return (i + 1) / 2; }
inline bool imagOf(int n, int i) { return i > 0 && i % 2 == 0 && !(n % 2 == 0 && i == n - 1); }

// A kernel's input size and output size.
inline int inputLength(bool inverse, Format f, int n) { return inverse ? length(f, n) : n; }
inline int outputLength(bool inverse, Format f, int n) { return inverse ? n : length(f, n); }

// The output of `k` for input x (outLength values), through buffers at the given byte offsets past a
// 16-byte boundary.
template <class T>
std::vector<T> runAt(Kernel<T> k, const std::vector<T>& x, size_t outLength, Zsp32s hint, size_t srcOffset = 0,
                     size_t dstOffset = 0, zspStatus* status = nullptr) {
  std::vector<unsigned char> src(x.size() * sizeof(T) + 32), dst(outLength * sizeof(T) + 32);
  unsigned char* s = src.data() + (16 - reinterpret_cast<uintptr_t>(src.data()) % 16) % 16 + srcOffset;
  unsigned char* d = dst.data() + (16 - reinterpret_cast<uintptr_t>(dst.data()) % 16) % 16 + dstOffset;
  std::memcpy(s, x.data(), x.size() * sizeof(T));
  const zspStatus st = k(reinterpret_cast<const T*>(s), reinterpret_cast<T*>(d), hint);
  if (status) *status = st;
  std::vector<T> out(outLength);
  std::memcpy(out.data(), d, out.size() * sizeof(T));
  return out;
}

template <class T>
std::vector<T> run(bool inverse, Format f, int n, const std::vector<T>& x, Zsp32s hint, size_t srcOffset = 0,
                   size_t dstOffset = 0, zspStatus* status = nullptr) {
  return runAt(kernel<T>(inverse, f, n), x, static_cast<size_t>(outputLength(inverse, f, n)), hint, srcOffset,
               dstOffset, status);
}

// A kernel holds two bodies: the one without scaling runs under the hint that asks for none, the other
// under the rest. The tests of places, offsets and guard pages run both.
constexpr Zsp32s kBodyHints[] = {ZSP_NODIV_BY_ANY, ZSP_DIV_BY_SQRTN};

// Every byte offset of source and destination, and in place at several offsets, give the bits of the
// aligned run; in place, values of the buffer past the output keep what they held. Empty if so; else what
// went wrong.
template <class T>
std::string offsetsAndInPlace(Kernel<T> k, const std::vector<T>& x, size_t outLength, Zsp32s hint) {
  const std::vector<T> expect = runAt(k, x, outLength, hint);
  for (size_t so = 0; so < 16; ++so)
    for (size_t d = so == 0 ? 1 : 0; d < 16; d += (so % 4 == 0 ? 1 : 5)) {  // (0, 0) is `expect` itself
      const std::vector<T> y = runAt(k, x, outLength, hint, so, d);
      if (std::memcmp(y.data(), expect.data(), outLength * sizeof(T)) != 0)
        return "offsets " + std::to_string(so) + "," + std::to_string(d);
    }
  std::vector<T> whole(x);
  whole.resize(std::max(x.size(), outLength), T(0));
  for (size_t offset = 0; offset < 16; offset += 3) {
    std::vector<unsigned char> buf(whole.size() * sizeof(T) + 32);
    unsigned char* p = buf.data() + (16 - reinterpret_cast<uintptr_t>(buf.data()) % 16) % 16 + offset;
    std::memcpy(p, whole.data(), whole.size() * sizeof(T));
    if (k(reinterpret_cast<T*>(p), reinterpret_cast<T*>(p), hint) != zspStsNoErr) return "status in place";
    if (std::memcmp(p, expect.data(), outLength * sizeof(T)) != 0) return "in place, offset " + std::to_string(offset);
    if (std::memcmp(p + outLength * sizeof(T), whole.data() + outLength, (whole.size() - outLength) * sizeof(T)) != 0)
      return "in place, the values past the output changed";
  }
  return "";
}

// Bins 0..N/2 of the exact transform, exponents reduced exactly; Re and Im of bin k at 2k and 2k+1.
inline std::vector<Q> exactSpectrum(const std::vector<Q>& x) {
  const int n = static_cast<int>(x.size());
  std::vector<Q> y(static_cast<size_t>(2 * (n / 2 + 1)), 0);
  for (int k = 0; 2 * k <= n; ++k)
    for (int j = 0; j < n; ++j) {
      const Q angle = 2 * M_PIq * ((static_cast<long>(j) * k) % n) / n;
      y[2 * k] += x[j] * cosq(angle);
      y[2 * k + 1] -= x[j] * sinq(angle);
    }
  return y;
}

// Bin k's part from a stored spectrum, through the layout (0 where the layout implies it).
template <class T>
T part(Format f, int n, const std::vector<T>& a, int k, bool imag) {
  const int p = position(f, n, k, imag);
  return p < 0 ? T(0) : a[static_cast<size_t>(p)];
}

template <class T>
std::vector<T> randomValues(int count, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<T> dist(-1, 1);
  std::vector<T> v(static_cast<size_t>(count));
  for (T& x : v) x = dist(gen);
  return v;
}

template <class T>
bool sameBits(const std::vector<T>& a, const std::vector<T>& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0;
}

// Runs `k` with source and destination each touching an inaccessible page, behind them and then in front:
// an access outside `in` or outside `expect`'s places faults. Empty if the kernel gave `expect`, left the
// source as it was and wrote nothing outside; else what went wrong.
template <class T>
std::string guardedRun(Kernel<T> k, const std::vector<T>& in, const std::vector<T>& expect, Zsp32s hint) {
  const size_t srcBytes = in.size() * sizeof(T), dstBytes = expect.size() * sizeof(T);
  for (Guard guard : {Guard::After, Guard::Before}) {
    auto flush = [guard](size_t bytes) { return guard == Guard::After ? (16 - bytes % 16) % 16 : 0; };
    GuardedBuffer src(srcBytes, guard, flush(srcBytes)), dst(dstBytes, guard, flush(dstBytes));
    if (src.slack() + dst.slack() != 0) return "buffers not against their guards";
    std::memcpy(src.data(), in.data(), srcBytes);
    dst.fill(kCanary);
    if (k(src.as<T>(), dst.as<T>(), hint) != zspStsNoErr) return "status";
    if (std::memcmp(src.data(), in.data(), srcBytes) != 0) return "source changed";
    if (std::memcmp(dst.data(), expect.data(), dstBytes) != 0) return "other result";
    if (!src.outsideIntact() || !dst.outsideIntact()) return "written outside";
  }
  return "";
}

// The statuses of a kernel at its door, in their order: null pointers before a bad hint, then the hint;
// `dst` must be left as it was. Empty if so; else what went wrong.
template <class T>
std::string doorStatuses(Kernel<T> k, const T* src, T* dst) {
  const std::vector<unsigned char> before(reinterpret_cast<unsigned char*>(dst), reinterpret_cast<unsigned char*>(dst) + 64 * sizeof(T));
  for (Zsp32s hint : {ZSP_NODIV_BY_ANY, 3})
    if (k(nullptr, dst, hint) != zspStsNullPtrErr || k(src, nullptr, hint) != zspStsNullPtrErr ||
        k(nullptr, dst + 1, hint) != zspStsNullPtrErr)
      return "null pointer";
  for (Zsp32s hint : kBadHints)
    if (k(src, dst, hint) != zspStsFlagErr) return "hint " + std::to_string(hint);
  if (std::memcmp(before.data(), dst, before.size()) != 0) return "written on error";
  return "";
}

template <class T> constexpr double matrixTol() { return sizeof(T) == 4 ? 3e-7 : 5e-14; }

// The generator's file of exact graph values: per kernel, N inputs and N outputs, spectra in Pack order.
struct GraphValues {
  std::string kind;  // fwd, inv or dht
  int n;
  std::string type;
  std::vector<double> in, out;
};
inline std::vector<GraphValues> readGraphValues(const char* path) {
  std::vector<GraphValues> all;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream s(line);
    GraphValues v;
    s >> v.kind >> v.n >> v.type;
    for (auto* list : {&v.in, &v.out})
      for (int i = 0; i < v.n; ++i) {
        std::string word;
        s >> word;
        list->push_back(std::strtod(word.c_str(), nullptr));
      }
    all.push_back(v);
  }
  return all;
}

}  // namespace zsp::test::real

#endif  // ZSPGEN_TESTS_REAL_SUPPORT_H
