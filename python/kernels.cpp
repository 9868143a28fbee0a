#include "kernels.h"

#include <kernel_tables.h>

#include <cstddef>

namespace zsppy {
namespace {

using namespace zsp::listed;

// The generated tables list each family's kernels in order of length (of order), so that the kernel
// of length n stands at index n - kMinLength. These checks hold the module's ranges to the list's.
template <class Kernel, std::size_t count>
constexpr bool coversRange(const Listed<Kernel> (&table)[count], int first, int last) {
  if (count != static_cast<std::size_t>(last - first + 1)) return false;
  for (std::size_t i = 0; i < count; ++i)
    if (table[i].size != first + static_cast<int>(i)) return false;
  return true;
}
static_assert(coversRange(kDFTFwd_CToC_32fc, kMinLength, kMaxLength));
static_assert(coversRange(kDFTInv_CToC_64fc, kMinLength, kMaxLength));
static_assert(coversRange(kDFTFwd_RToCCS_32f, kMinLength, kMaxLength));
static_assert(coversRange(kDFTInv_PermToR_64f, kMinLength, kMaxLength));
static_assert(coversRange(kHartley_64f, kMinLength, kMaxLength));
static_assert(coversRange(kWHT_32f, kMinWhtOrder, kMaxWhtOrder));
static_assert(coversRange(kWHT_64f, kMinWhtOrder, kMaxWhtOrder));

template <class Kernel, std::size_t count>
Kernel* at(const Listed<Kernel> (&table)[count], int index) {
  return table[index].kernel;
}

// Indexed by [direction][packing].
template <class T> struct RealTables;
template <> struct RealTables<Zsp32f> {
  static Kernel<Zsp32f> get(Direction d, Packing p, int i) {
    if (d == Direction::forward)
      return p == Packing::ccs ? at(kDFTFwd_RToCCS_32f, i) : p == Packing::pack ? at(kDFTFwd_RToPack_32f, i)
                                                                                : at(kDFTFwd_RToPerm_32f, i);
    return p == Packing::ccs ? at(kDFTInv_CCSToR_32f, i) : p == Packing::pack ? at(kDFTInv_PackToR_32f, i)
                                                                              : at(kDFTInv_PermToR_32f, i);
  }
};
template <> struct RealTables<Zsp64f> {
  static Kernel<Zsp64f> get(Direction d, Packing p, int i) {
    if (d == Direction::forward)
      return p == Packing::ccs ? at(kDFTFwd_RToCCS_64f, i) : p == Packing::pack ? at(kDFTFwd_RToPack_64f, i)
                                                                                : at(kDFTFwd_RToPerm_64f, i);
    return p == Packing::ccs ? at(kDFTInv_CCSToR_64f, i) : p == Packing::pack ? at(kDFTInv_PackToR_64f, i)
                                                                              : at(kDFTInv_PermToR_64f, i);
  }
};

}  // namespace

template <>
Kernel<Zsp32fc> complexDftKernel<Zsp32fc>(Direction direction, int n) {
  return direction == Direction::forward ? at(kDFTFwd_CToC_32fc, n - kMinLength) : at(kDFTInv_CToC_32fc, n - kMinLength);
}
template <>
Kernel<Zsp64fc> complexDftKernel<Zsp64fc>(Direction direction, int n) {
  return direction == Direction::forward ? at(kDFTFwd_CToC_64fc, n - kMinLength) : at(kDFTInv_CToC_64fc, n - kMinLength);
}

template <>
Kernel<Zsp32f> realDftKernel<Zsp32f>(Direction direction, Packing packing, int n) {
  return RealTables<Zsp32f>::get(direction, packing, n - kMinLength);
}
template <>
Kernel<Zsp64f> realDftKernel<Zsp64f>(Direction direction, Packing packing, int n) {
  return RealTables<Zsp64f>::get(direction, packing, n - kMinLength);
}

template <> Kernel<Zsp32f> hartleyKernel<Zsp32f>(int n) { return at(kHartley_32f, n - kMinLength); }
template <> Kernel<Zsp64f> hartleyKernel<Zsp64f>(int n) { return at(kHartley_64f, n - kMinLength); }

template <> WhtKernel<Zsp32f> whtKernel<Zsp32f>(int order) { return at(kWHT_32f, order - kMinWhtOrder); }
template <> WhtKernel<Zsp64f> whtKernel<Zsp64f>(int order) { return at(kWHT_64f, order - kMinWhtOrder); }

template <>
int whtBufferBytes<Zsp32f>(int order) {
  Zsp32s bytes = 0;
  zspgWHTGetBufferSize_32f(order, &bytes);
  return bytes;
}
template <>
int whtBufferBytes<Zsp64f>(int order) {
  Zsp32s bytes = 0;
  zspgWHTGetBufferSize_64f(order, &bytes);
  return bytes;
}

}  // namespace zsppy
