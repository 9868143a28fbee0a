#include "axis.h"

#include <algorithm>
#include <string>
#include <vector>

#include "errors.h"

namespace zsppy {

namespace {

py::object numpy() { return py::module_::import("numpy"); }

}  // namespace

Axis axisOf(py::handle axis, int ndim, const char* arrayName) {
  if (ndim == 0) failWithStatus(zspStsSizeErr, arrayName, "a 0-d array has no axis to transform");
  if (!PyIndex_Check(axis.ptr())) failWithDtype("axis", "must be an integer");
  const py::ssize_t given = axis.cast<py::ssize_t>();
  if (given < -ndim || given >= ndim)
    failWithValue("axis", std::to_string(given) + " is outside an array of " + std::to_string(ndim) + " axes");
  return Axis{static_cast<int>(given < 0 ? given + ndim : given), ndim};
}

py::array movedLast(const py::array& a, const Axis& axis) {
  if (axis.isLast()) return a;
  return numpy().attr("moveaxis")(a, axis.index, -1);
}

py::array movedBack(const py::array& a, const Axis& axis) {
  if (axis.isLast()) return a;
  return numpy().attr("moveaxis")(a, -1, axis.index);
}

py::array resizedLast(const py::array& a, py::handle length, int lo, int hi) {
  if (length.is_none()) return a;
  if (!PyIndex_Check(length.ptr())) failWithDtype("n", "must be an integer");
  const py::ssize_t wanted = length.cast<py::ssize_t>();
  if (wanted < lo || wanted > hi)
    failWithStatus(zspStsSizeErr, "n",
                   "length " + std::to_string(wanted) + ", served are " + std::to_string(lo) + ".." + std::to_string(hi));
  const py::ssize_t has = a.shape(a.ndim() - 1);
  if (has == wanted) return a;
  std::vector<py::ssize_t> shape(a.shape(), a.shape() + a.ndim());
  shape.back() = wanted;
  py::array resized(a.dtype(), shape);
  resized.attr("fill")(0);
  const py::tuple kept = py::make_tuple(py::ellipsis(), py::slice(0, std::min(has, wanted), 1));
  resized[kept] = a[kept];
  return resized;
}

}  // namespace zsppy
