// rfft and irfft: the real DFT of lengths 2..64 along one axis, with the half spectrum in one of
// the library's three packings. CCS comes out as numpy's rfft does, N/2 + 1 complex bins; Pack and Perm
// as N real values in the library's order.
#include "batch.h"
#include "errors.h"
#include "families.h"
#include "options.h"

namespace zsppy {

namespace {

py::array forwardRealDft(py::handle x, py::handle length, py::handle axis, const std::string& format,
                         py::handle norm, py::handle out) {
  const Input input = inputAlong(x, axis);
  const Precision precision = precisionOf(input.rows, true, "x");
  const Packing packing = packingFor(format);
  const Zsp32s hint = hintFor(norm, Directed::forward);
  const py::array a = resizedLast(input.rows, length, kMinLength, kMaxLength);
  const int n = servedLength(lastLength(a), kMinLength, kMaxLength, "x");
  return withPrecision(precision, [&]<class T>() {
    const bool ccs = packing == Packing::ccs;
    Result result =
        resultFor(out, input.axis, shapeOf(a, ccs ? n / 2 + 1 : n), ccs ? Samples<T>::complex : Samples<T>::real);
    const py::array in = apartFrom(rowsIn(a, Samples<T>::real), result.rows);
    const Kernel<T> kernel = realDftKernel<T>(Direction::forward, packing, n);
    transformRows<T, T>(in, result.rows, [&](const T* src, T* dst) { return kernel(src, dst, hint); });
    return result.finish();
  });
}

// The CCS spectrum of length n as rows of at least n/2 + 1 bins: numpy's irfft pads a shorter
// spectrum with zeros and ignores the bins past n/2 of a longer one. The kernel reads only the first
// n/2 + 1 bins of a row, so a longer spectrum is used as it is.
py::array binsFor(const py::array& spectrum, int n, const char* type) {
  const py::ssize_t bins = n / 2 + 1;
  if (spectrum.shape(spectrum.ndim() - 1) >= bins) return rowsIn(spectrum, type);
  py::array padded = py::array(py::dtype(type), shapeOf(spectrum, bins));
  padded.attr("fill")(0);
  padded[py::make_tuple(py::ellipsis(), py::slice(0, spectrum.shape(spectrum.ndim() - 1), 1))] = spectrum;
  return padded;
}

py::array inverseRealDft(py::handle x, py::handle length, py::handle axis, const std::string& format,
                         py::handle norm, py::handle out) {
  const Packing packing = packingFor(format);
  const bool ccs = packing == Packing::ccs;
  const Input input = inputAlong(x, axis);
  const py::array& a = input.rows;
  const Precision precision = precisionOf(a, !ccs, "x");
  const py::ssize_t stored = lastLength(a);
  // numpy's default length for CCS, 2 (bins - 1); Pack and Perm hold exactly N values.
  if (!length.is_none() && !PyIndex_Check(length.ptr())) failWithDtype("n", "must be an integer");
  const py::ssize_t wanted = length.is_none() ? (ccs ? 2 * (stored - 1) : stored) : length.cast<py::ssize_t>();
  const char* lengthName = length.is_none() ? "x" : "n";
  const int n = servedLength(wanted, kMinLength, kMaxLength, lengthName);
  if (!ccs && stored != n)
    failWithStatus(zspStsSizeErr, "n", "n = " + std::to_string(n) + " but a " + format + " spectrum of x holds " +
                                           std::to_string(stored) + " values");
  const Zsp32s hint = hintFor(norm, Directed::inverse);
  return withPrecision(precision, [&]<class T>() {
    Result result = resultFor(out, input.axis, shapeOf(a, n), Samples<T>::real);
    const py::array rows = ccs ? binsFor(a, n, Samples<T>::complex) : rowsIn(a, Samples<T>::real);
    const py::array in = apartFrom(rows, result.rows);
    const Kernel<T> kernel = realDftKernel<T>(Direction::inverse, packing, n);
    transformRows<T, T>(in, result.rows, [&](const T* src, T* dst) { return kernel(src, dst, hint); });
    return result.finish();
  });
}

}  // namespace

void addRealDft(py::module_& m) {
  m.def("rfft", &forwardRealDft, py::arg("x"), py::arg("n") = py::none(), py::arg("axis") = -1, py::kw_only(),
        py::arg("format") = "ccs", py::arg("norm") = py::none(), py::arg("out") = py::none(),
        R"(Forward DFT of real samples along one axis (the last by default), of length N = 2..64, as the
half spectrum X[k] = sum of x[n] exp(-2 pi i n k / N), k = 0..N/2.

n: the length N, the input cut or padded with zeros to it, as numpy's n=. format "ccs" (the default)
returns numpy's layout: N/2 + 1 complex bins. "pack" and "perm" return N real values: Re X0, Re X1,
Im X1, Re X2, ... with, for even N, Re X(N/2) last ("pack") or second ("perm"); for odd N the two
are the same. float32 (and float16) input gives a complex64 or float32 result, other real input
complex128 or float64; complex input is a DtypeError. norm and out as fft's.)");
  m.def("irfft", &inverseRealDft, py::arg("x"), py::arg("n") = py::none(), py::arg("axis") = -1, py::kw_only(),
        py::arg("format") = "ccs", py::arg("norm") = py::none(), py::arg("out") = py::none(),
        R"(Inverse of rfft: N real samples from a half spectrum along one axis (the last by default).

format "ccs": x holds complex bins; N is n, or 2 (bins - 1) without it, as numpy's irfft; a shorter
spectrum is padded with zeros, a longer one cut. The imaginary parts of bin 0 and, for even N, of
bin N/2 are not read. "pack" and "perm": x holds the N real values rfft gives in that format, and n
must be N when given. norm as ifft's: None or "backward" divides by N. out as fft's.)");
}

}  // namespace zsppy
