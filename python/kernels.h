// The library's fixed-size kernels as tables indexed by length (or order), so that a batched call
// looks its kernel up once and then calls it row after row, without the size-dispatch entry.
#pragma once

#include <zspgen.h>

#include <export_ranges.h>

namespace zsppy {

// Lengths of the complex DFT, the real DFT and the Hartley transform; orders of the Walsh-Hadamard one.
constexpr int kMinLength = zsp::exported::kFirstLength, kMaxLength = zsp::exported::kLastLength;
constexpr int kMinWhtOrder = zsp::exported::kFirstOrder, kMaxWhtOrder = zsp::exported::kLastOrder;

template <class S> using Kernel = zspStatus (*)(const S* src, S* dst, Zsp32s hint);
template <class T> using WhtKernel = zspStatus (*)(const T* src, T* dst, Zsp32s hint, Zsp8u* buffer);

enum class Direction { forward, inverse };
enum class Packing { ccs, pack, perm };

// Each returns the kernel of that length (or order), which must be in range.
template <class S> Kernel<S> complexDftKernel(Direction direction, int n);       // S: Zsp32fc, Zsp64fc
template <class T> Kernel<T> realDftKernel(Direction direction, Packing packing, int n);  // T: Zsp32f, Zsp64f
template <class T> Kernel<T> hartleyKernel(int n);
template <class T> WhtKernel<T> whtKernel(int order);
// The work buffer the Walsh-Hadamard kernel of that order wants, in bytes (0 up to order 7).
template <class T> int whtBufferBytes(int order);

}  // namespace zsppy
