// DCT4(n, dtype): the library's unnormalised DCT-IV of one power-of-two length and precision, as a
// callable object. A library state serves one transform at a time, so the object keeps one state for
// each thread that calls it, built at that thread's first call (the constructing thread's at once, so
// that a length the library refuses fails at construction).
#include <mutex>
#include <thread>
#include <unordered_map>

#include "batch.h"
#include "errors.h"
#include "families.h"

namespace zsppy {

namespace {

template <class T> struct Dct4Calls;
template <> struct Dct4Calls<Zsp32f> {
  static constexpr auto initAlloc = &zspgDCT4InitAlloc_32f;
  static constexpr auto transform = &zspgDCT4_32f;
  static constexpr auto release = &zspgDCT4Free_32f;
  static constexpr int maxOrder = 26;
};
template <> struct Dct4Calls<Zsp64f> {
  static constexpr auto initAlloc = &zspgDCT4InitAlloc_64f;
  static constexpr auto transform = &zspgDCT4_64f;
  static constexpr auto release = &zspgDCT4Free_64f;
  static constexpr int maxOrder = 25;
};

Precision dct4Precision(py::handle dtype) {
  py::dtype type;
  try {
    type = py::dtype::from_args(py::reinterpret_borrow<py::object>(dtype));
  } catch (const py::error_already_set&) {
    failWithDtype("dtype", "not a numpy dtype");
  }
  if (type.kind() == 'f' && (type.itemsize() == 4 || type.itemsize() == 8))
    return type.itemsize() == 4 ? Precision::f32 : Precision::f64;
  failWithDtype("dtype", py::str(type).cast<std::string>() + "; takes float32 or float64");
}

// The powers of two the library transforms: 2..2^26 in single precision, 2..2^25 in double. (Its size
// query also accepts some lengths 2^k + 1, whose result is no DCT-IV; they are refused here.)
int dct4Length(py::handle length, Precision precision) {
  if (!PyIndex_Check(length.ptr())) failWithDtype("n", "must be an integer");
  const py::ssize_t n = length.cast<py::ssize_t>();
  const int maxOrder = precision == Precision::f32 ? Dct4Calls<Zsp32f>::maxOrder : Dct4Calls<Zsp64f>::maxOrder;
  for (int order = 1; order <= maxOrder; ++order)
    if (n == py::ssize_t(1) << order) return static_cast<int>(n);
  failWithStatus(zspStsSizeErr, "n",
                 "length " + std::to_string(n) + ", served are the powers of two 2..2^" + std::to_string(maxOrder));
}

class Dct4 {
 public:
  Dct4(py::handle length, py::handle dtype) : precision(dct4Precision(dtype)), n(dct4Length(length, precision)) {
    stateOfThisThread();
  }
  Dct4(const Dct4&) = delete;
  Dct4& operator=(const Dct4&) = delete;
  ~Dct4() {
    for (auto& entry : states_)
      withPrecision(precision, [&]<class T>() { return Dct4Calls<T>::release(entry.second); });
  }

  py::array operator()(py::handle x, py::handle axis, py::handle out) {
    const Input input = inputAlong(x, axis);
    const py::array& a = input.rows;
    if (precisionOf(a, true, "x") == Precision::f64 && precision == Precision::f32)
      failWithDtype("x", "dtype " + py::str(a.dtype()).cast<std::string>() + " loses precision in a float32 DCT4");
    const py::ssize_t length = lastLength(a);
    if (length != n)
      failWithStatus(zspStsSizeErr, "x",
                     "length " + std::to_string(length) + ", this DCT4 has length " + std::to_string(n));
    return withPrecision(precision, [&]<class T>() {
      Result result = resultFor(out, input.axis, shapeOf(a), Samples<T>::real);
      const py::array in = apartFrom(rowsIn(a, Samples<T>::real), result.rows);
      const DCT4Spec* const state = stateOfThisThread();
      transformRows<T, T>(in, result.rows,
                          [&](const T* src, T* dst) { return Dct4Calls<T>::transform(src, dst, state); });
      return result.finish();
    });
  }

  std::string repr() const {
    const char* type = precision == Precision::f32 ? "float32" : "float64";
    return "zspgen.DCT4(" + std::to_string(n) + ", numpy." + type + ")";
  }

  const Precision precision;
  const int n;

 private:
  DCT4Spec* stateOfThisThread() {
    const std::lock_guard<std::mutex> lock(mutex_);
    DCT4Spec*& state = states_[std::this_thread::get_id()];
    if (!state) {
      const zspStatus status =
          withPrecision(precision, [&]<class T>() { return Dct4Calls<T>::initAlloc(&state, n); });
      if (status != zspStsNoErr) {  // the length was checked: only the allocation can fail
        states_.erase(std::this_thread::get_id());
        throw std::bad_alloc();
      }
    }
    return state;
  }

  std::mutex mutex_;
  std::unordered_map<std::thread::id, DCT4Spec*> states_;
};

}  // namespace

void addDct4(py::module_& m) {
  py::class_<Dct4>(m, "DCT4", R"(The unnormalised DCT-IV of one length n, a power of two (2..2^26 in float32,
2..2^25 in float64), and one dtype, float32 or float64:
    y[k] = sum of x[n] cos(pi / N (n + 1/2)(k + 1/2)),
half of scipy.fft.dct(x, type=4); applied twice it gives N/2 times the input. Called on an array
whose last axis has length n; float16 input is taken by a float32 DCT4, integers and float32 by a
float64 one. One object may serve several threads at once: each thread that calls it gets a state
of its own, kept until the object goes.)")
      .def(py::init<py::handle, py::handle>(), py::arg("n"), py::arg("dtype"))
      .def("__call__", &Dct4::operator(), py::arg("x"), py::arg("axis") = -1, py::kw_only(),
           py::arg("out") = py::none(), "The DCT-IV of x along one axis (the last by default); out as fft's.")
      .def_property_readonly("n", [](const Dct4& d) { return d.n; })
      .def_property_readonly("dtype", [](const Dct4& d) {
        return py::dtype(d.precision == Precision::f32 ? "float32" : "float64");
      })
      .def("__repr__", &Dct4::repr);
}

}  // namespace zsppy
