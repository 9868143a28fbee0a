#include "kernels.h"

namespace zsppy {
namespace {

// X(n, f, t) for every length 2..64 (every order 1..13), in order, so that a table built from it
// holds the kernel of length n at index n - 2 (of order k at index k - 1).
#define ZSPPY_LENGTHS(X, f, t) \
  X(2, f, t) X(3, f, t) X(4, f, t) X(5, f, t) X(6, f, t) X(7, f, t) X(8, f, t) X(9, f, t) X(10, f, t) \
  X(11, f, t) X(12, f, t) X(13, f, t) X(14, f, t) X(15, f, t) X(16, f, t) X(17, f, t) X(18, f, t) X(19, f, t) \
  X(20, f, t) X(21, f, t) X(22, f, t) X(23, f, t) X(24, f, t) X(25, f, t) X(26, f, t) X(27, f, t) X(28, f, t) \
  X(29, f, t) X(30, f, t) X(31, f, t) X(32, f, t) X(33, f, t) X(34, f, t) X(35, f, t) X(36, f, t) X(37, f, t) \
  X(38, f, t) X(39, f, t) X(40, f, t) X(41, f, t) X(42, f, t) X(43, f, t) X(44, f, t) X(45, f, t) X(46, f, t) \
  X(47, f, t) X(48, f, t) X(49, f, t) X(50, f, t) X(51, f, t) X(52, f, t) X(53, f, t) X(54, f, t) X(55, f, t) \
  X(56, f, t) X(57, f, t) X(58, f, t) X(59, f, t) X(60, f, t) X(61, f, t) X(62, f, t) X(63, f, t) X(64, f, t)
#define ZSPPY_WHT_ORDERS(X, f, t) \
  X(1, f, t) X(2, f, t) X(3, f, t) X(4, f, t) X(5, f, t) X(6, f, t) X(7, f, t) X(8, f, t) X(9, f, t) \
  X(10, f, t) X(11, f, t) X(12, f, t) X(13, f, t)
#define ZSPPY_KERNEL(n, family, type) &family##_##n##_##type,

const Kernel<Zsp32fc> dftFwd32[] = {ZSPPY_LENGTHS(ZSPPY_KERNEL, zspgDFTFwd_CToC, 32fc)};
const Kernel<Zsp32fc> dftInv32[] = {ZSPPY_LENGTHS(ZSPPY_KERNEL, zspgDFTInv_CToC, 32fc)};
const Kernel<Zsp64fc> dftFwd64[] = {ZSPPY_LENGTHS(ZSPPY_KERNEL, zspgDFTFwd_CToC, 64fc)};
const Kernel<Zsp64fc> dftInv64[] = {ZSPPY_LENGTHS(ZSPPY_KERNEL, zspgDFTInv_CToC, 64fc)};

// Indexed by [direction][packing][n - 2].
#define ZSPPY_REAL_TABLE(type)                                  \
  {{{ZSPPY_LENGTHS(ZSPPY_KERNEL, zspgDFTFwd_RToCCS, type)},     \
    {ZSPPY_LENGTHS(ZSPPY_KERNEL, zspgDFTFwd_RToPack, type)},    \
    {ZSPPY_LENGTHS(ZSPPY_KERNEL, zspgDFTFwd_RToPerm, type)}},   \
   {{ZSPPY_LENGTHS(ZSPPY_KERNEL, zspgDFTInv_CCSToR, type)},     \
    {ZSPPY_LENGTHS(ZSPPY_KERNEL, zspgDFTInv_PackToR, type)},    \
    {ZSPPY_LENGTHS(ZSPPY_KERNEL, zspgDFTInv_PermToR, type)}}}
const Kernel<Zsp32f> real32[2][3][kMaxLength - kMinLength + 1] = ZSPPY_REAL_TABLE(32f);
const Kernel<Zsp64f> real64[2][3][kMaxLength - kMinLength + 1] = ZSPPY_REAL_TABLE(64f);

const Kernel<Zsp32f> hartley32[] = {ZSPPY_LENGTHS(ZSPPY_KERNEL, zspgHartley, 32f)};
const Kernel<Zsp64f> hartley64[] = {ZSPPY_LENGTHS(ZSPPY_KERNEL, zspgHartley, 64f)};

const WhtKernel<Zsp32f> wht32[] = {ZSPPY_WHT_ORDERS(ZSPPY_KERNEL, zspgWHT, 32f)};
const WhtKernel<Zsp64f> wht64[] = {ZSPPY_WHT_ORDERS(ZSPPY_KERNEL, zspgWHT, 64f)};

#undef ZSPPY_REAL_TABLE
#undef ZSPPY_KERNEL
#undef ZSPPY_WHT_ORDERS
#undef ZSPPY_LENGTHS

static_assert(sizeof dftFwd64 / sizeof dftFwd64[0] == kMaxLength - kMinLength + 1);
static_assert(sizeof wht64 / sizeof wht64[0] == kMaxWhtOrder - kMinWhtOrder + 1);

}  // namespace

template <>
Kernel<Zsp32fc> complexDftKernel<Zsp32fc>(Direction direction, int n) {
  return (direction == Direction::forward ? dftFwd32 : dftInv32)[n - kMinLength];
}
template <>
Kernel<Zsp64fc> complexDftKernel<Zsp64fc>(Direction direction, int n) {
  return (direction == Direction::forward ? dftFwd64 : dftInv64)[n - kMinLength];
}

template <>
Kernel<Zsp32f> realDftKernel<Zsp32f>(Direction direction, Packing packing, int n) {
  return real32[static_cast<int>(direction)][static_cast<int>(packing)][n - kMinLength];
}
template <>
Kernel<Zsp64f> realDftKernel<Zsp64f>(Direction direction, Packing packing, int n) {
  return real64[static_cast<int>(direction)][static_cast<int>(packing)][n - kMinLength];
}

template <> Kernel<Zsp32f> hartleyKernel<Zsp32f>(int n) { return hartley32[n - kMinLength]; }
template <> Kernel<Zsp64f> hartleyKernel<Zsp64f>(int n) { return hartley64[n - kMinLength]; }

template <> WhtKernel<Zsp32f> whtKernel<Zsp32f>(int order) { return wht32[order - kMinWhtOrder]; }
template <> WhtKernel<Zsp64f> whtKernel<Zsp64f>(int order) { return wht64[order - kMinWhtOrder]; }

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
