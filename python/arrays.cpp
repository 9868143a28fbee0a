#include "arrays.h"

#include <algorithm>

#include "errors.h"

namespace zsppy {

namespace {

std::string dtypeName(const py::array& a) { return py::str(a.dtype()).cast<std::string>(); }

std::string shapeText(const std::vector<py::ssize_t>& shape) {
  std::string s = "(";
  for (size_t i = 0; i < shape.size(); ++i) s += (i ? ", " : "") + std::to_string(shape[i]);
  return s + (shape.size() == 1 ? ",)" : ")");
}

bool lastAxisContiguous(const py::array& a) {
  return a.ndim() == 0 || a.shape(a.ndim() - 1) <= 1 || a.strides(a.ndim() - 1) == a.itemsize();
}

// The lowest and one past the highest byte an array reaches.
std::pair<const char*, const char*> extent(const py::array& a) {
  const char* lo = static_cast<const char*>(a.data());
  const char* hi = lo + a.itemsize();
  for (py::ssize_t i = 0; i < a.ndim(); ++i) {
    if (a.shape(i) == 0) return {lo, lo};
    const py::ssize_t reach = (a.shape(i) - 1) * a.strides(i);
    (reach < 0 ? lo : hi) += reach;
  }
  return {lo, hi};
}

}  // namespace

py::array asArray(py::handle x, const char* name) {
  py::array a = py::array::ensure(x);
  if (!a) {
    PyErr_Clear();
    failWithDtype(name, "not convertible to a numpy array");
  }
  return a;
}

Input inputAlong(py::handle x, py::handle axis) {
  const py::array a = asArray(x, "x");
  const Axis along = axisOf(axis, static_cast<int>(a.ndim()), "x");
  return Input{movedLast(a, along), along};
}

Precision precisionOf(const py::array& a, bool realOnly, const char* name) {
  const char kind = a.dtype().kind();
  const py::ssize_t size = a.itemsize();
  if (kind == 'c' && !realOnly && (size == 8 || size == 16)) return size == 8 ? Precision::f32 : Precision::f64;
  if (kind == 'f' && size <= 8) return size <= 4 ? Precision::f32 : Precision::f64;
  if (kind == 'i' || kind == 'u' || kind == 'b') return Precision::f64;
  const std::string given = "dtype " + dtypeName(a);
  if (kind == 'c' && realOnly) failWithDtype(name, given + " is complex; this transform takes real samples");
  failWithDtype(name, given + (realOnly ? ": takes float32 or float64 (or integers, float16)"
                                        : ": takes complex64, complex128 or real numbers of at most 64 bits"));
}

py::ssize_t lastLength(const py::array& a) { return a.shape(a.ndim() - 1); }

int servedLength(py::ssize_t length, int lo, int hi, const char* name) {
  if (length < lo || length > hi)
    failWithStatus(zspStsSizeErr, name, "length " + std::to_string(length) + ", served are " + std::to_string(lo) +
                                            ".." + std::to_string(hi));
  return static_cast<int>(length);
}

py::array resizedLast(const py::array& a, py::handle length, int lo, int hi) {
  if (length.is_none()) return a;
  if (!PyIndex_Check(length.ptr())) failWithDtype("n", "must be an integer");
  const py::ssize_t wanted = servedLength(length.cast<py::ssize_t>(), lo, hi, "n");
  const py::ssize_t has = lastLength(a);
  if (has == wanted) return a;
  py::array resized(a.dtype(), shapeOf(a, wanted));
  resized.attr("fill")(0);
  const py::tuple kept = py::make_tuple(py::ellipsis(), py::slice(0, std::min(has, wanted), 1));
  resized[kept] = a[kept];
  return resized;
}

std::vector<py::ssize_t> shapeOf(const py::array& a, py::ssize_t last) {
  std::vector<py::ssize_t> shape(a.shape(), a.shape() + a.ndim());
  if (last >= 0) shape.back() = last;
  return shape;
}

py::array rowsIn(const py::array& a, const char* type) {
  const py::dtype wanted(type);
  if (a.dtype().equal(wanted) && lastAxisContiguous(a)) return a;
  return a.attr("astype")(wanted, py::arg("order") = "C");
}

Result resultFor(py::handle out, const Axis& axis, const std::vector<py::ssize_t>& rowShape, const char* type) {
  const py::dtype wanted(type);
  Result result{py::array(), py::none(), py::object(), axis};
  if (out.is_none()) {
    result.rows = py::array(wanted, rowShape);
    return result;
  }
  if (!py::isinstance<py::array>(out)) failWithDtype("out", "must be a numpy array");
  const py::array a = py::reinterpret_borrow<py::array>(out);
  if (!a.dtype().equal(wanted))
    failWithDtype("out", "dtype " + dtypeName(a) + ", the result is " + std::string(type));
  std::vector<py::ssize_t> shape = rowShape;  // the result's shape along the caller's axes
  shape.pop_back();
  shape.insert(shape.begin() + axis.index, rowShape.back());
  const std::vector<py::ssize_t> has(a.shape(), a.shape() + a.ndim());
  if (has != shape)
    failWithStatus(zspStsSizeErr, "out", "shape " + shapeText(has) + ", the result has shape " + shapeText(shape));
  if (!a.writeable()) failWithValue("out", "is read-only");
  result.out = a;
  const py::array view = movedLast(a, axis);
  if (lastAxisContiguous(view)) {
    result.rows = view;
  } else {
    result.rows = py::array(wanted, rowShape);
    result.outRows = view;
  }
  return result;
}

py::array Result::finish() const {
  if (outRows) py::module_::import("numpy").attr("copyto")(outRows, rows);
  return out.is_none() ? movedBack(rows, axis) : py::reinterpret_borrow<py::array>(out);
}

py::array apartFrom(const py::array& in, const py::array& out) {
  const auto [inLo, inHi] = extent(in);
  const auto [outLo, outHi] = extent(out);
  if (inHi <= outLo || outHi <= inLo) return in;
  const bool sameRows = in.data() == out.data() && in.ndim() == out.ndim() &&
                        std::equal(in.strides(), in.strides() + in.ndim() - 1, out.strides()) &&
                        in.shape(in.ndim() - 1) * in.itemsize() == out.shape(out.ndim() - 1) * out.itemsize();
  return sameRows ? in : py::array(in.attr("copy")());
}

RowWalk rowWalk(const py::array& in, py::array& out) {
  RowWalk w;
  w.src = static_cast<const char*>(in.data());
  w.dst = static_cast<char*>(out.mutable_data());
  for (py::ssize_t i = 0; i + 1 < in.ndim(); ++i) {
    const py::ssize_t count = in.shape(i), s = in.strides(i), d = out.strides(i);
    if (count == 1) continue;
    // An axis that continues the previous one in both arrays joins it.
    if (!w.counts.empty() && w.srcStrides.back() == s * count && w.dstStrides.back() == d * count) {
      w.counts.back() *= count;
      w.srcStrides.back() = s;
      w.dstStrides.back() = d;
      continue;
    }
    w.counts.push_back(count);
    w.srcStrides.push_back(s);
    w.dstStrides.push_back(d);
  }
  if (w.counts.empty()) {
    w.counts.push_back(1);
    w.srcStrides.push_back(0);
    w.dstStrides.push_back(0);
  }
  return w;
}

}  // namespace zsppy
