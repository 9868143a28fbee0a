// The Python module zspgen: the library's transforms along one axis of numpy arrays, one kernel
// call per row from C++.
#include <zspgen.h>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include "errors.h"
#include "families.h"

namespace py = pybind11;

PYBIND11_MODULE(zspgen, m) {
  m.doc() = R"(Batched fixed-size transforms of the zspgen library on numpy arrays.

Every function transforms one axis of an array (axis=, the last by default), row by row in C++ with
the GIL released: fft, ifft (lengths 2..64), rfft, irfft (2..64, formats "ccs", "pack", "perm"), dht
(2..64), wht (powers of two 2..8192) and the DCT4 class (powers of two). An input already in the
kernel's dtype and contiguous along the axis is read where it lies. Errors raise zspgen.Error, with the
library's status name in .status where it has one and the argument at fault in .argument; nothing is
written to out then.)";
  py::module_::import("numpy");
  zsppy::registerErrors(m);
  zsppy::addComplexDft(m);
  zsppy::addRealDft(m);
  zsppy::addHartleyAndWht(m);
  zsppy::addDct4(m);
  // The families of the library this module serves, with the names that reach them.
  m.attr("families") = py::make_tuple(py::make_tuple("complex_dft", py::make_tuple("fft", "ifft")),
                                      py::make_tuple("real_dft", py::make_tuple("rfft", "irfft")),
                                      py::make_tuple("hartley", py::make_tuple("dht")),
                                      py::make_tuple("walsh_hadamard", py::make_tuple("wht")),
                                      py::make_tuple("dct4", py::make_tuple("DCT4")));
  m.attr("library_version") = zspgenGetLibVersion()->versionText;
}
