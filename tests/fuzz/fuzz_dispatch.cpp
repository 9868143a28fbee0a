// Fuzz target: the entries that take the length at run time (complex DFT, real DFT in both directions and
// three formats, Hartley), the Walsh-Hadamard order entries and their buffer-size queries. Each input is
// one call: entry, length or order, hint, null or real pointers, byte offsets, in place or not, samples.
// The call must give the status the contract orders for its arguments; on error both arrays keep their
// bytes; on success the source keeps its bytes (out of place), the result matches a long-double
// reference (the Walsh-Hadamard result bit for bit), and no byte around the arrays has changed.
#include <zspgen.h>

#include <cmath>
#include <cstring>

#include "complex_as_real.h"
#include "fuzz_support.h"
#include "reference_transforms.h"

namespace zsp::fuzz {
namespace {

enum class Family { ComplexFwd, ComplexInv, RealFwd, RealInv, Hartley };

template <class T>
using Entry = zspStatus (*)(const T*, T*, int32_t, int32_t);

// The divisor a hint asks of a family, or 0 for an invalid hint.
long double scaleOf(Family f, int32_t hint, int n) {
  const bool inverse = f == Family::ComplexInv || f == Family::RealInv;
  switch (hint) {
    case ZSP_DIV_FWD_BY_N: return inverse ? 1 : 1.0L / n;
    case ZSP_DIV_INV_BY_N: return inverse || f == Family::Hartley ? 1.0L / n : 1;
    case ZSP_DIV_BY_SQRTN: return 1 / sqrtl(n);
    case ZSP_NODIV_BY_ANY: return 1;
    default: return 0;
  }
}

struct Shape {
  int srcValues, dstValues;  // values of the sample type each side holds
};

Shape shapeOf(Family f, Packing p, int n) {
  switch (f) {
    case Family::ComplexFwd:
    case Family::ComplexInv: return {2 * n, 2 * n};
    case Family::RealFwd: return {n, packedLength(p, n)};
    case Family::RealInv: return {packedLength(p, n), n};
    case Family::Hartley: return {n, n};
  }
  return {0, 0};
}

std::vector<long double> reference(Family f, Packing p, const std::vector<long double>& x, int n) {
  switch (f) {
    case Family::ComplexFwd: return complexDft(x, n, -1);
    case Family::ComplexInv: return complexDft(x, n, +1);
    case Family::RealFwd: return packedSpectrum(x, p, n);
    case Family::RealInv: return fromPacked(x, p, n);
    case Family::Hartley: return hartley(x, n);
  }
  return {};
}

template <class T>
void callLengthEntry(Reader& in, Family family, Packing packing, Entry<T> entry) {
  const int32_t n = length(in, 2, 64);
  const int32_t hint = fuzz::hint(in);
  const bool inPlace = in.flag(), nullSrc = in.bits(4) == 0, nullDst = in.bits(4) == 0;
  const size_t srcOffset = in.bits(4), dstOffset = in.bits(4);
  const bool served = n >= 2 && n <= 64;
  // A length that is not served still gets arrays, of 64 samples; the entry must not look at them.
  const Shape shape = shapeOf(family, packing, served ? n : 64);
  const int srcValues = inPlace ? std::max(shape.srcValues, shape.dstValues) : shape.srcValues;
  Buffer src(sizeof(T) * srcValues, srcOffset);
  Buffer dst(sizeof(T) * shape.dstValues, dstOffset);
  std::vector<long double> x(shape.srcValues);
  for (int i = 0; i < shape.srcValues; ++i) {
    x[i] = in.sample();
    const T v = static_cast<T>(x[i]);
    std::memcpy(src.data() + sizeof(T) * i, &v, sizeof v);
    x[i] = v;
  }
  const std::vector<uint8_t> srcBefore = src.contents(), dstBefore = dst.contents();
  T* const srcPtr = nullSrc ? nullptr : src.as<T>();
  T* const dstPtr = nullDst ? nullptr : inPlace ? srcPtr : dst.as<T>();

  const zspStatus status = entry(srcPtr, dstPtr, n, hint);
  const zspStatus expected = !served                             ? zspStsSizeErr
                             : srcPtr == nullptr || dstPtr == nullptr ? zspStsNullPtrErr
                             : scaleOf(family, hint, n) == 0     ? zspStsFlagErr
                                                                 : zspStsNoErr;
  ZSP_FUZZ_EXPECT(status == expected, "n %d hint %d: status %d, expected %d", n, hint, status, expected);
  ZSP_FUZZ_EXPECT(src.frontIntact() && dst.frontIntact(), "n %d: a byte in front of an array changed", n);
  if (status != zspStsNoErr || !inPlace) ZSP_FUZZ_EXPECT(src.holds(srcBefore), "n %d: the source changed", n);
  if (status != zspStsNoErr) {
    ZSP_FUZZ_EXPECT(dst.holds(dstBefore), "n %d status %d: the destination changed", n, status);
    return;
  }
  const std::vector<long double> y = reference(family, packing, x, n);
  const long double scale = scaleOf(family, hint, n);
  long double size = 1;
  for (const long double v : x) size += fabsl(v);
  const long double tolerance = (sizeof(T) == 4 ? 4e-6L : 1e-14L) * size * (family == Family::RealInv ? 2 : 1);
  for (int i = 0; i < shape.dstValues; ++i) {
    T got;
    std::memcpy(&got, reinterpret_cast<const uint8_t*>(dstPtr) + sizeof(T) * i, sizeof got);
    ZSP_FUZZ_EXPECT(fabsl(got - y[i] * scale) <= tolerance * scale, "n %d hint %d value %d: %.9Lg, expected %.9Lg", n,
                    hint, i, static_cast<long double>(got), y[i] * scale);
  }
  // In place, a CCS spectrum taken back to N samples leaves the rest of its array as it was.
  if (inPlace && family == Family::RealInv)
    ZSP_FUZZ_EXPECT(std::memcmp(src.data() + sizeof(T) * n, srcBefore.data() + sizeof(T) * n,
                                sizeof(T) * (srcValues - n)) == 0,
                    "n %d: the array behind the N samples changed", n);
}

template <class T>
using WhtEntry = zspStatus (*)(const T*, T*, int32_t, int32_t, uint8_t*);
using WhtSizeQuery = zspStatus (*)(int32_t, int32_t*);

int32_t whtBufferBytes(int order, size_t sampleBytes) {
  if (order < 8) return 0;
  const int32_t main = static_cast<int32_t>(sampleBytes) << order;
  if (sampleBytes == 8 && order == 13) return main + 8192;
  return main + ((sampleBytes == 4 ? order >= 12 : order >= 11) ? 2048 : 0);
}

template <class T>
void callWhtSizeQuery(Reader& in, WhtSizeQuery query) {
  const int32_t order = length(in, 1, 13);
  const bool nullSize = in.bits(3) == 0;
  int32_t size = -12345;
  const zspStatus status = query(order, nullSize ? nullptr : &size);
  const bool served = order >= 1 && order <= 13;
  const zspStatus expected = nullSize ? zspStsNullPtrErr : served ? zspStsNoErr : zspStsSizeErr;
  ZSP_FUZZ_EXPECT(status == expected, "order %d: status %d, expected %d", order, status, expected);
  const int32_t written = status == zspStsNoErr ? whtBufferBytes(order, sizeof(T)) : -12345;
  ZSP_FUZZ_EXPECT(size == written, "order %d: size %d, expected %d", order, size, written);
}

// The transform by its definition: stages from the lowest bit up, in the sample's own precision, then
// the scale; the kernels promise these bits.
template <class T>
std::vector<T> staged(std::vector<T> v, T scale) {
  for (size_t half = 1; half < v.size(); half *= 2)
    for (size_t i = 0; i < v.size(); ++i)
      if ((i & half) == 0) {
        const T a = v[i], c = v[i + half];
        v[i] = a + c;
        v[i + half] = a - c;
      }
  for (T& e : v) e *= scale;
  return v;
}

// The Walsh-Hadamard scale as the library rounds it, built without long double arithmetic: under
// valgrind long double runs at double precision, and 1/sqrt(N) taken there is one unit off for odd
// orders. 1/N is a power of two; 1/sqrt(N) is a power of two times the nearest T of 1/sqrt(2).
template <class T>
T whtScale(int32_t hint, int order) {
  switch (hint) {
    case ZSP_DIV_FWD_BY_N:
    case ZSP_DIV_INV_BY_N: return std::ldexp(T(1), -order);
    case ZSP_DIV_BY_SQRTN: {
      const T rootHalf = sizeof(T) == 4 ? T(0.70710678118654752440f) : T(0.70710678118654752440);
      return order % 2 == 0 ? std::ldexp(T(1), -order / 2) : std::ldexp(rootHalf, -(order - 1) / 2);
    }
    default: return T(1);
  }
}

template <class T>
void callWhtEntry(Reader& in, WhtEntry<T> entry, WhtSizeQuery query) {
  const int32_t order = length(in, 1, 13);
  const int32_t hint = fuzz::hint(in);
  const bool inPlace = in.flag(), nullSrc = in.bits(4) == 0, nullDst = in.bits(4) == 0, ownBuffer = in.flag();
  const size_t srcOffset = in.bits(4), dstOffset = in.bits(4);
  const bool served = order >= 1 && order <= 13;
  const int n = 1 << (served ? order : 6);
  Buffer src(sizeof(T) * n, srcOffset), dst(sizeof(T) * n, dstOffset);
  std::vector<T> x(n);
  for (int i = 0; i < n; ++i) x[i] = static_cast<T>(in.sample());
  std::memcpy(src.data(), x.data(), sizeof(T) * n);
  int32_t bufferBytes = 0;
  if (served) query(order, &bufferBytes);
  // The work buffer comes from malloc, 16-byte aligned as the kernels require, exactly as long as
  // the query says.
  uint8_t* const work = ownBuffer && bufferBytes > 0 ? static_cast<uint8_t*>(std::malloc(bufferBytes)) : nullptr;
  const std::vector<uint8_t> srcBefore = src.contents(), dstBefore = dst.contents();
  T* const srcPtr = nullSrc ? nullptr : src.as<T>();
  T* const dstPtr = nullDst ? nullptr : inPlace ? srcPtr : dst.as<T>();

  const zspStatus status = entry(srcPtr, dstPtr, order, hint, work);
  std::free(work);
  const long double scale = scaleOf(Family::Hartley, hint, n);  // no direction, as the Hartley transform
  const zspStatus expected = !served                             ? zspStsSizeErr
                             : srcPtr == nullptr || dstPtr == nullptr ? zspStsNullPtrErr
                             : scale == 0                        ? zspStsFlagErr
                                                                 : zspStsNoErr;
  ZSP_FUZZ_EXPECT(status == expected, "order %d hint %d: status %d, expected %d", order, hint, status, expected);
  ZSP_FUZZ_EXPECT(src.frontIntact() && dst.frontIntact(), "order %d: a byte in front of an array changed", order);
  if (status != zspStsNoErr || !inPlace) ZSP_FUZZ_EXPECT(src.holds(srcBefore), "order %d: the source changed", order);
  if (status != zspStsNoErr) {
    ZSP_FUZZ_EXPECT(dst.holds(dstBefore), "order %d: the destination changed", order);
    return;
  }
  const std::vector<T> y = staged(x, whtScale<T>(hint, order));
  ZSP_FUZZ_EXPECT(std::memcmp(dstPtr, y.data(), sizeof(T) * n) == 0, "order %d hint %d: not the staged bits", order,
                  hint);
}

}  // namespace
}  // namespace zsp::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace zsp::fuzz;
  using zsp::test::complexEntry;
  Reader in(data, size);
  switch (in.bits(5) % 24) {
    case 0: callLengthEntry<float>(in, Family::ComplexFwd, Packing::CCS, complexEntry<Zsp32fc, float, zspgDFTFwd_CToC_32fc>); break;
    case 1: callLengthEntry<float>(in, Family::ComplexInv, Packing::CCS, complexEntry<Zsp32fc, float, zspgDFTInv_CToC_32fc>); break;
    case 2: callLengthEntry<double>(in, Family::ComplexFwd, Packing::CCS, complexEntry<Zsp64fc, double, zspgDFTFwd_CToC_64fc>); break;
    case 3: callLengthEntry<double>(in, Family::ComplexInv, Packing::CCS, complexEntry<Zsp64fc, double, zspgDFTInv_CToC_64fc>); break;
    case 4: callLengthEntry<float>(in, Family::RealFwd, Packing::CCS, zspgDFTFwd_RToCCS_32f); break;
    case 5: callLengthEntry<float>(in, Family::RealFwd, Packing::Pack, zspgDFTFwd_RToPack_32f); break;
    case 6: callLengthEntry<float>(in, Family::RealFwd, Packing::Perm, zspgDFTFwd_RToPerm_32f); break;
    case 7: callLengthEntry<double>(in, Family::RealFwd, Packing::CCS, zspgDFTFwd_RToCCS_64f); break;
    case 8: callLengthEntry<double>(in, Family::RealFwd, Packing::Pack, zspgDFTFwd_RToPack_64f); break;
    case 9: callLengthEntry<double>(in, Family::RealFwd, Packing::Perm, zspgDFTFwd_RToPerm_64f); break;
    case 10: callLengthEntry<float>(in, Family::RealInv, Packing::CCS, zspgDFTInv_CCSToR_32f); break;
    case 11: callLengthEntry<float>(in, Family::RealInv, Packing::Pack, zspgDFTInv_PackToR_32f); break;
    case 12: callLengthEntry<float>(in, Family::RealInv, Packing::Perm, zspgDFTInv_PermToR_32f); break;
    case 13: callLengthEntry<double>(in, Family::RealInv, Packing::CCS, zspgDFTInv_CCSToR_64f); break;
    case 14: callLengthEntry<double>(in, Family::RealInv, Packing::Pack, zspgDFTInv_PackToR_64f); break;
    case 15: callLengthEntry<double>(in, Family::RealInv, Packing::Perm, zspgDFTInv_PermToR_64f); break;
    case 16: callLengthEntry<float>(in, Family::Hartley, Packing::CCS, zspgHartley_32f); break;
    case 17: callLengthEntry<double>(in, Family::Hartley, Packing::CCS, zspgHartley_64f); break;
    case 18: case 19: callWhtEntry<float>(in, zspgWHT_32f, zspgWHTGetBufferSize_32f); break;
    case 20: case 21: callWhtEntry<double>(in, zspgWHT_64f, zspgWHTGetBufferSize_64f); break;
    case 22: callWhtSizeQuery<float>(in, zspgWHTGetBufferSize_32f); break;
    case 23: callWhtSizeQuery<double>(in, zspgWHTGetBufferSize_64f); break;
  }
  return 0;
}
