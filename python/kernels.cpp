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

// The real DFT's tables by [direction][packing].
template <class T> using RealRow = const Listed<zspStatus(const T*, T*, Zsp32s)>*;
constexpr RealRow<Zsp32f> kReal32[2][3] = {{kDFTFwd_RToCCS_32f, kDFTFwd_RToPack_32f, kDFTFwd_RToPerm_32f},
                                           {kDFTInv_CCSToR_32f, kDFTInv_PackToR_32f, kDFTInv_PermToR_32f}};
constexpr RealRow<Zsp64f> kReal64[2][3] = {{kDFTFwd_RToCCS_64f, kDFTFwd_RToPack_64f, kDFTFwd_RToPerm_64f},
                                           {kDFTInv_CCSToR_64f, kDFTInv_PackToR_64f, kDFTInv_PermToR_64f}};

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
  return kReal32[static_cast<int>(direction)][static_cast<int>(packing)][n - kMinLength].kernel;
}
template <>
Kernel<Zsp64f> realDftKernel<Zsp64f>(Direction direction, Packing packing, int n) {
  return kReal64[static_cast<int>(direction)][static_cast<int>(packing)][n - kMinLength].kernel;
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
