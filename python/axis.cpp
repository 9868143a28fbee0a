#include "axis.h"

#include <string>

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

}  // namespace zsppy
