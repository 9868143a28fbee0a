// fft and ifft: the complex DFT of lengths 2..64 along one axis.
#include "families.h"

#include "batch.h"
#include "errors.h"
#include "options.h"

namespace zsppy {

namespace {

py::array complexDft(Direction direction, py::handle x, py::handle length, py::handle axis, py::handle norm,
                     py::handle out) {
  const Input input = inputAlong(x, axis);
  const Precision precision = precisionOf(input.rows, false, "x");
  const Zsp32s hint = hintFor(norm, direction == Direction::forward ? Directed::forward : Directed::inverse);
  const py::array a = resizedLast(input.rows, length, kMinLength, kMaxLength);
  const int n = servedLength(lastLength(a), kMinLength, kMaxLength, "x");
  return withPrecision(precision, [&]<class T>() {
    using S = typename Samples<T>::Complex;
    Result result = resultFor(out, input.axis, shapeOf(a), Samples<T>::complex);
    const py::array in = apartFrom(rowsIn(a, Samples<T>::complex), result.rows);
    const Kernel<S> kernel = complexDftKernel<S>(direction, n);
    transformRows<S, S>(in, result.rows, [&](const S* src, S* dst) { return kernel(src, dst, hint); }, Routes::two);
    return result.finish();
  });
}

}  // namespace

void addComplexDft(py::module_& m) {
  m.def(
      "fft",
      [](py::handle x, py::handle n, py::handle axis, py::handle norm, py::handle out) {
        return complexDft(Direction::forward, x, n, axis, norm, out);
      },
      py::arg("x"), py::arg("n") = py::none(), py::arg("axis") = -1, py::kw_only(), py::arg("norm") = py::none(),
      py::arg("out") = py::none(),
      R"(Forward DFT along one axis (the last by default), of length 2..64:
y[k] = sum of x[n] exp(-2 pi i n k / N).

n: the length N, the input cut or padded with zeros to it along the axis, as numpy's n=. complex64
(and float32, float16) input is transformed in single precision into complex64, anything else real
or complex in double precision into complex128. norm is numpy's: None or "backward" (unscaled),
"ortho" (1/sqrt(N)), "forward" (1/N). out: an array of the result's shape and dtype, which may be x
itself; rows of it that are not contiguous along the axis are written through one temporary.)");
  m.def(
      "ifft",
      [](py::handle x, py::handle n, py::handle axis, py::handle norm, py::handle out) {
        return complexDft(Direction::inverse, x, n, axis, norm, out);
      },
      py::arg("x"), py::arg("n") = py::none(), py::arg("axis") = -1, py::kw_only(), py::arg("norm") = py::none(),
      py::arg("out") = py::none(),
      R"(Inverse DFT along one axis, of length 2..64: y[n] = s * sum of x[k] exp(+2 pi i n k / N), with
s = 1/N for norm None or "backward", 1/sqrt(N) for "ortho", 1 for "forward". n, axis, dtypes and
out as fft's.)");
}

}  // namespace zsppy
