// dht and wht: the two transforms without a direction, on real samples along one axis.
#include <cstdlib>
#include <memory>

#include "batch.h"
#include "errors.h"
#include "families.h"
#include "options.h"

namespace zsppy {

namespace {

py::array hartley(py::handle x, py::handle axis, py::handle norm, py::handle out) {
  const Input input = inputAlong(x, axis);
  const py::array& a = input.rows;
  const Precision precision = precisionOf(a, true, "x");
  const int n = servedLength(lastLength(a), kMinLength, kMaxLength, "x");
  const Zsp32s hint = hintFor(norm, Directed::no);
  return withPrecision(precision, [&]<class T>() {
    Result result = resultFor(out, input.axis, shapeOf(a), Samples<T>::real);
    const py::array in = apartFrom(rowsIn(a, Samples<T>::real), result.rows);
    const Kernel<T> kernel = hartleyKernel<T>(n);
    transformRows<T, T>(in, result.rows, [&](const T* src, T* dst) { return kernel(src, dst, hint); });
    return result.finish();
  });
}

// The order K of a length 2^K, K = 1..13; any other length is zspStsSizeErr.
int whtOrder(py::ssize_t length) {
  for (int order = kMinWhtOrder; order <= kMaxWhtOrder; ++order)
    if (length == py::ssize_t(1) << order) return order;
  failWithStatus(zspStsSizeErr, "x", "length " + std::to_string(length) + ", served are the powers of two 2..8192");
}

py::array walshHadamard(py::handle x, py::handle axis, py::handle norm, py::handle out) {
  const Input input = inputAlong(x, axis);
  const py::array& a = input.rows;
  const Precision precision = precisionOf(a, true, "x");
  const int order = whtOrder(lastLength(a));
  const Zsp32s hint = hintFor(norm, Directed::no);
  return withPrecision(precision, [&]<class T>() {
    Result result = resultFor(out, input.axis, shapeOf(a), Samples<T>::real);
    const py::array in = apartFrom(rowsIn(a, Samples<T>::real), result.rows);
    // One work buffer for all rows of the call (orders 8..13), so that no row allocates its own.
    const int bytes = whtBufferBytes<T>(order);
    const std::unique_ptr<void, decltype(&std::free)> buffer(
        bytes ? std::aligned_alloc(16, (bytes + 15) / 16 * 16) : nullptr, &std::free);
    if (bytes && !buffer) throw std::bad_alloc();
    Zsp8u* const work = static_cast<Zsp8u*>(buffer.get());
    const WhtKernel<T> kernel = whtKernel<T>(order);
    transformRows<T, T>(in, result.rows, [&](const T* src, T* dst) { return kernel(src, dst, hint, work); });
    return result.finish();
  });
}

}  // namespace

void addHartleyAndWht(py::module_& m) {
  m.def("dht", &hartley, py::arg("x"), py::arg("axis") = -1, py::kw_only(), py::arg("norm") = py::none(),
        py::arg("out") = py::none(),
        R"(Discrete Hartley transform along one axis (the last by default), of length N = 2..64:
H[k] = s * sum of x[n] (cos + sin)(2 pi n k / N). It has no direction: norm None or "backward" leaves
it unscaled (s = 1), "ortho" gives s = 1/sqrt(N) (then it is its own inverse), "forward" s = 1/N.
float32 (and float16) input gives float32, other real input float64; complex input is a DtypeError.)");
  m.def("wht", &walshHadamard, py::arg("x"), py::arg("axis") = -1, py::kw_only(), py::arg("norm") = py::none(),
        py::arg("out") = py::none(),
        R"(Walsh-Hadamard transform in natural (Hadamard) order along one axis (the last by default), of length N = 2^K,
K = 1..13: y[k] = s * sum of (-1)^popcount(k AND n) x[n]. norm and dtypes as dht's.)");
}

}  // namespace zsppy
