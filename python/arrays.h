// Arrays in and out of a batched call: which precision an input is transformed in, the input as rows
// a kernel reads in place (copied only when it is not), the result (a new array or the caller's `out`,
// checked before anything is written) and the walk over the rows of both.
#pragma once

#include <zspgen.h>

#include <string>
#include <vector>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include "axis.h"

namespace zsppy {

namespace py = pybind11;

enum class Precision { f32, f64 };

// The sample types of a precision.
template <class T> struct Samples;
template <> struct Samples<Zsp32f> {
  using Complex = Zsp32fc;
  static constexpr const char* real = "float32";
  static constexpr const char* complex = "complex64";
};
template <> struct Samples<Zsp64f> {
  using Complex = Zsp64fc;
  static constexpr const char* real = "float64";
  static constexpr const char* complex = "complex128";
};

// Calls body.template operator()<Zsp32f>() or <Zsp64f>(), as the precision says.
template <class Body> auto withPrecision(Precision p, Body&& body) {
  return p == Precision::f32 ? body.template operator()<Zsp32f>() : body.template operator()<Zsp64f>();
}

// `x` as a numpy array (lists and scalars too), without copying an array.
py::array asArray(py::handle x, const char* name);

// The input `x` of a call along `axis`: as an array (see asArray) seen with that axis last.
struct Input {
  py::array rows;
  Axis axis;
};
Input inputAlong(py::handle x, py::handle axis);

// The precision an input is transformed in: single for float16, float32 and complex64, double for
// float64, complex128, integers and booleans. With realOnly, complex input is a DtypeError; so is every
// dtype that would lose precision or has no numeric meaning (longdouble, objects, strings).
Precision precisionOf(const py::array& a, bool realOnly, const char* name);

// The length of the last axis (the array has at least one).
py::ssize_t lastLength(const py::array& a);
// `length` when it lies in lo..hi, else zspStsSizeErr naming `name`.
int servedLength(py::ssize_t length, int lo, int hi, const char* name);
// numpy's n=: `a` with its last axis cut or padded with zeros to the length `length` names, `a`
// itself when it has that length already or `length` is None, else a new array of a's dtype. A
// length outside lo..hi is zspStsSizeErr naming n.
py::array resizedLast(const py::array& a, py::handle length, int lo, int hi);
// The shape of `a`, with the last axis replaced by `last` when it is not negative.
std::vector<py::ssize_t> shapeOf(const py::array& a, py::ssize_t last = -1);

// `a` in the dtype `type` with its last axis contiguous: `a` itself when it already is, else a copy.
// Leading axes keep whatever strides they have.
py::array rowsIn(const py::array& a, const char* type);

// The result of a call: the rows the kernels write, with the transformed axis last, and the way they
// reach the caller. Without `out` they are a new C-contiguous array, returned moved back to the axis.
// With `out` (checked first: a writeable numpy array of the result's shape and dtype) they are out's
// own memory when its transformed axis is contiguous, else a temporary copied into out after the last
// row; the caller gets `out` itself either way.
struct Result {
  py::array rows;
  py::object out;     // the caller's out, or None
  py::object outRows;  // out seen as rows, when `rows` is a temporary to be copied there
  Axis axis;
  py::array finish() const;
};
// `rowShape` is the result's shape with the transformed axis last.
Result resultFor(py::handle out, const Axis& axis, const std::vector<py::ssize_t>& rowShape, const char* type);

// `in`, or a copy of it when it shares memory with `out` other than row for row in the same place
// (which every kernel allows: it reads its whole row before writing).
py::array apartFrom(const py::array& in, const py::array& out);

// The rows of an input and a result of the same leading shape: leading axes merged where both arrays
// allow it, at least one axis (a 1-d array is one row).
struct RowWalk {
  std::vector<py::ssize_t> counts, srcStrides, dstStrides;  // outermost axis first, strides in bytes
  const char* src = nullptr;
  char* dst = nullptr;
};
RowWalk rowWalk(const py::array& in, py::array& out);

// A run of rows along the innermost leading axis: the first row of each array and the steps between rows.
struct RowRun {
  const char* src;
  char* dst;
  py::ssize_t count, srcStep, dstStep;
};

// Calls run(RowRun) for every run of rows, outermost axis first. No Python object is touched.
template <class Run>
void forEachRun(const RowWalk& w, Run&& run) {
  const size_t depth = w.counts.size();
  for (py::ssize_t c : w.counts)
    if (c == 0) return;
  std::vector<py::ssize_t> index(depth, 0);
  const char* src = w.src;
  char* dst = w.dst;
  for (;;) {
    run(RowRun{src, dst, w.counts[depth - 1], w.srcStrides[depth - 1], w.dstStrides[depth - 1]});
    // The next combination of the outer axes, last one fastest.
    size_t axis = depth - 1;
    for (;;) {
      if (axis == 0) return;
      --axis;
      src += w.srcStrides[axis];
      dst += w.dstStrides[axis];
      if (++index[axis] < w.counts[axis]) break;
      src -= w.srcStrides[axis] * w.counts[axis];
      dst -= w.dstStrides[axis] * w.counts[axis];
      index[axis] = 0;
    }
  }
}

}  // namespace zsppy
