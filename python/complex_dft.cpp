// fft and ifft: the complex DFT of lengths 2..64 over the last axis.
#include "families.h"

#include "batch.h"
#include "errors.h"
#include "options.h"

namespace zsppy {

namespace {

py::array complexDft(Direction direction, py::handle x, py::handle norm, py::handle out) {
  const py::array a = asArray(x, "x");
  const Precision precision = precisionOf(a, false, "x");
  const int n = servedLength(lastLength(a, "x"), kMinLength, kMaxLength, "x");
  const Zsp32s hint = hintFor(norm, Directed::yes);
  return withPrecision(precision, [&]<class T>() {
    using S = typename Samples<T>::Complex;
    py::array result = resultArray(out, shapeOf(a), Samples<T>::complex);
    const py::array in = apartFrom(rowsIn(a, Samples<T>::complex), result);
    const Kernel<S> kernel = complexDftKernel<S>(direction, n);
    transformRows<S, S>(in, result, [&](const S* src, S* dst) { return kernel(src, dst, hint); }, Routes::two);
    return result;
  });
}

}  // namespace

void addComplexDft(py::module_& m) {
  m.def(
      "fft",
      [](py::handle x, py::handle norm, py::handle out) { return complexDft(Direction::forward, x, norm, out); },
      py::arg("x"), py::kw_only(), py::arg("norm") = py::none(), py::arg("out") = py::none(),
      R"(Forward DFT over the last axis, of length 2..64: y[k] = sum of x[n] exp(-2 pi i n k / N).

complex64 (and float32, float16) input is transformed in single precision into complex64, anything
else real or complex in double precision into complex128. norm is numpy's: None or "backward"
(unscaled), "ortho" (1/sqrt(N)), "forward" (1/N). out: a complex array of the result's shape and
dtype whose last axis is contiguous; it may be x itself.)");
  m.def(
      "ifft",
      [](py::handle x, py::handle norm, py::handle out) { return complexDft(Direction::inverse, x, norm, out); },
      py::arg("x"), py::kw_only(), py::arg("norm") = py::none(), py::arg("out") = py::none(),
      R"(Inverse DFT over the last axis, of length 2..64: y[n] = s * sum of x[k] exp(+2 pi i n k / N), with
s = 1/N for norm None or "backward", 1/sqrt(N) for "ortho", 1 for "forward". Dtypes and out as fft.)");
}

}  // namespace zsppy
