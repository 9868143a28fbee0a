// Fuzz target: the DCT-IV family, one length per input through its whole life: size query, a state
// built in caller memory of exactly the reported size at an offset, transforms in place and out of place
// at offsets, a state from InitAlloc, Free; and the null pointers of every operation.
//
// Promises checked: a null pointer gets zspStsNullPtrErr with nothing written; a length the size query
// refuses is refused by InitAlloc with the same status and no allocation; a length it accepts builds in
// a buffer of the reported size (AddressSanitizer and memcheck see any byte past its end) and in memory
// of its own alike, with the same bits; in place gives the bits of two arrays; the powers of two up to
// 1024 match a long-double reference.
//
// Calls the contract leaves to the caller are not made: Init on a length the size query refuses (its
// plan may write past any size), Init in less than the reported size, the odd lengths 2^k + 1 with
// arrays of only N samples (they read and write element N), and two transforms of one state at once.
// Lengths above 2^16 + 1 go through the size query and InitAlloc's refusal only, to keep each input
// short.
#include <zspgen.h>

#include <cmath>
#include <cstring>

#include "alloc_counter.h"
#include "fuzz_support.h"

namespace zsp::fuzz {
namespace {

template <class T>
struct Ops {
  zspStatus (*getSize)(int32_t, int32_t*);
  zspStatus (*init)(DCT4Spec**, int32_t, uint8_t*);
  zspStatus (*initAlloc)(DCT4Spec**, int32_t);
  zspStatus (*transform)(const T*, T*, const DCT4Spec*);
  zspStatus (*release)(DCT4Spec*);
};

constexpr int32_t kLargestRun = (1 << 16) + 1;

int32_t dct4Length(Reader& in) {
  static const int32_t kOdd[] = {0, 1, -1, -2, 3, 5, 6, 7, 9, 12, 17, 24, 33, 48, 65, 129, 1025, 1 << 26,
                                 (1 << 25) + 1, 1 << 27, 1 << 28, 1 << 29, 1 << 30, INT32_MAX, INT32_MIN, -(1 << 26)};
  switch (in.bits(2)) {
    case 0: return in.pick(kOdd);
    case 1: return static_cast<int32_t>(in.bits(17)) - 8;
    default: {
      const int32_t power = int32_t{1} << (in.bits(5) % 17);
      return power + static_cast<int32_t>(in.bits(2) % 3) - 1;  // 2^k - 1, 2^k, 2^k + 1
    }
  }
}

// y[k] = sum of x[n] cos(pi (2n+1)(2k+1) / (4N)), through a table of the 8N angles.
std::vector<long double> reference(const std::vector<long double>& x) {
  const int n = static_cast<int>(x.size());
  std::vector<long double> c(8 * n);
  for (int m = 0; m < 8 * n; ++m) c[m] = cosl(3.14159265358979323846264338327950288L * m / (4 * n));
  std::vector<long double> y(n, 0);
  for (int k = 0; k < n; ++k)
    for (int j = 0; j < n; ++j) y[k] += x[j] * c[(int64_t{2 * j + 1} * (2 * k + 1)) % (8 * n)];
  return y;
}

template <class T>
void nullPointers(const Ops<T>& ops, int32_t n) {
  int32_t size = -1;
  ZSP_FUZZ_EXPECT(ops.getSize(n, nullptr) == zspStsNullPtrErr, "n %d: GetSize(null)", n);
  DCT4Spec* state = reinterpret_cast<DCT4Spec*>(&size);
  uint8_t memory[8];
  ZSP_FUZZ_EXPECT(ops.init(nullptr, n, memory) == zspStsNullPtrErr, "n %d: Init(null state)", n);
  ZSP_FUZZ_EXPECT(ops.init(&state, n, nullptr) == zspStsNullPtrErr && state == reinterpret_cast<DCT4Spec*>(&size),
                  "n %d: Init(null memory)", n);
  ZSP_FUZZ_EXPECT(ops.initAlloc(nullptr, n) == zspStsNullPtrErr, "n %d: InitAlloc(null)", n);
  ZSP_FUZZ_EXPECT(ops.release(nullptr) == zspStsNullPtrErr, "Free(null)");
}

template <class T>
void lifecycle(Reader& in, const Ops<T>& ops) {
  const int32_t n = dct4Length(in);
  nullPointers(ops, n);
  int32_t size = -12345;
  const zspStatus sized = ops.getSize(n, &size);
  ZSP_FUZZ_EXPECT(sized == zspStsNoErr || sized == zspStsSizeErr, "n %d: GetSize status %d", n, sized);
  if (sized != zspStsNoErr) {
    ZSP_FUZZ_EXPECT(size == -12345, "n %d: a refused size query wrote %d", n, size);
    DCT4Spec* state = nullptr;
    test::resetAllocCounts();
    ZSP_FUZZ_EXPECT(ops.initAlloc(&state, n) == sized && state == nullptr && test::allocCounts().mallocs == 0,
                    "n %d: InitAlloc of a refused length", n);
    return;
  }
  ZSP_FUZZ_EXPECT(size > 0, "n %d: size %d", n, size);
  if (n > kLargestRun) return;

  // A state in caller memory at an offset, then the transforms, out of place and in place.
  Buffer memory(static_cast<size_t>(size), in.bits(5));
  DCT4Spec* state = nullptr;
  ZSP_FUZZ_EXPECT(ops.init(&state, n, memory.data()) == zspStsNoErr, "n %d: Init in %d bytes", n, size);
  ZSP_FUZZ_EXPECT(memory.frontIntact(), "n %d: Init wrote in front of its memory", n);
  const int samples = n % 2 == 1 ? n + 1 : n;  // the odd lengths touch element N
  Buffer src(sizeof(T) * samples, in.bits(5)), dst(sizeof(T) * samples, in.bits(5));
  std::vector<long double> x(n);
  for (int i = 0; i < samples; ++i) {
    const T v = static_cast<T>(in.sample());
    if (i < n) x[i] = v;
    std::memcpy(src.data() + sizeof(T) * i, &v, sizeof v);
  }
  // The odd lengths leave some outputs unwritten: the destination starts as a copy of the source, so
  // that the result out of place has the bytes of the result in place.
  std::memcpy(dst.data(), src.data(), sizeof(T) * samples);
  const std::vector<uint8_t> srcBefore = src.contents(), dstBefore = dst.contents();
  ZSP_FUZZ_EXPECT(ops.transform(nullptr, dst.as<T>(), state) == zspStsNullPtrErr &&
                      ops.transform(src.as<T>(), nullptr, state) == zspStsNullPtrErr &&
                      ops.transform(src.as<T>(), dst.as<T>(), nullptr) == zspStsNullPtrErr && dst.holds(dstBefore),
                  "n %d: a transform with a null pointer", n);
  ZSP_FUZZ_EXPECT(ops.transform(src.as<T>(), dst.as<T>(), state) == zspStsNoErr, "n %d: transform", n);
  ZSP_FUZZ_EXPECT(src.holds(srcBefore) && src.frontIntact() && dst.frontIntact(), "n %d: out of place", n);
  const std::vector<uint8_t> outOfPlace = dst.contents();
  ZSP_FUZZ_EXPECT(ops.transform(src.as<T>(), src.as<T>(), state) == zspStsNoErr, "n %d: in place", n);
  ZSP_FUZZ_EXPECT(std::memcmp(src.data(), outOfPlace.data(), sizeof(T) * samples) == 0 && src.frontIntact(),
                  "n %d: in place differs from two arrays", n);
  if ((n & (n - 1)) == 0 && n <= 1024) {
    const std::vector<long double> y = reference(x);
    long double sum = 1;
    for (const long double v : x) sum += fabsl(v);
    const long double tolerance = (sizeof(T) == 4 ? 2e-6L : 4e-15L) * sum * std::log2(static_cast<double>(n) + 1);
    for (int k = 0; k < n; ++k) {
      T got;
      std::memcpy(&got, outOfPlace.data() + sizeof(T) * k, sizeof got);
      ZSP_FUZZ_EXPECT(fabsl(got - y[k]) <= tolerance, "n %d y[%d]: %.9Lg, expected %.9Lg", n, k,
                      static_cast<long double>(got), y[k]);
    }
  }

  // The same length through InitAlloc: the same bits, and Free gives back what it took.
  DCT4Spec* own = nullptr;
  test::resetAllocCounts();
  ZSP_FUZZ_EXPECT(ops.initAlloc(&own, n) == zspStsNoErr && own != nullptr, "n %d: InitAlloc", n);
  std::memcpy(src.data(), srcBefore.data(), srcBefore.size());
  ZSP_FUZZ_EXPECT(ops.transform(src.as<T>(), dst.as<T>(), own) == zspStsNoErr && dst.holds(outOfPlace),
                  "n %d: a state of its own gives other bits", n);
  ZSP_FUZZ_EXPECT(ops.release(own) == zspStsNoErr, "n %d: Free", n);
  const test::AllocCounts counts = test::allocCounts();
  ZSP_FUZZ_EXPECT(counts.mallocs == 1 && counts.frees == 1 && counts.freesMatchMallocs && counts.lastSize == size,
                  "n %d: InitAlloc and Free: %d allocations of %d bytes, %d releases", n, counts.mallocs,
                  counts.lastSize, counts.frees);
}

}  // namespace
}  // namespace zsp::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace zsp::fuzz;
  Reader in(data, size);
  if (in.flag())
    lifecycle<float>(in, Ops<float>{zspgDCT4GetSize_32f, zspgDCT4Init_32f, zspgDCT4InitAlloc_32f, zspgDCT4_32f,
                                    zspgDCT4Free_32f});
  else
    lifecycle<double>(in, Ops<double>{zspgDCT4GetSize_64f, zspgDCT4Init_64f, zspgDCT4InitAlloc_64f, zspgDCT4_64f,
                                      zspgDCT4Free_64f});
  return 0;
}
