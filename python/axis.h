// The axis a transform runs along. The batched loop always walks the last axis, so a call along
// another one sees its arrays through numpy.moveaxis views: the input and its result with that axis
// moved last, and the result moved back before it is returned.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

namespace zsppy {

namespace py = pybind11;

struct Axis {
  int index = 0;  // 0..ndim - 1
  int ndim = 0;
  bool isLast() const { return index == ndim - 1; }
};

// `axis` (an integer, negative counting from the end, as numpy's) of an array of `ndim` axes. A 0-d
// array is zspStsSizeErr, as a length out of range; an axis outside the array is an Error naming it.
Axis axisOf(py::handle axis, int ndim, const char* arrayName);

// `a` with `axis` moved last (a view; `a` itself when it already is).
py::array movedLast(const py::array& a, const Axis& axis);
// The inverse: an array laid out as movedLast gives, with its last axis moved back to `axis`.
py::array movedBack(const py::array& a, const Axis& axis);

}  // namespace zsppy
