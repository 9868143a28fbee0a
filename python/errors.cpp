#include "errors.h"

namespace py = pybind11;

namespace zsppy {

ArgumentError::ArgumentError(ErrorKind kind, const char* status, std::string argument, const std::string& what)
    : std::runtime_error((status ? std::string(status) + ": " : std::string()) + "argument '" + argument +
                         "': " + what),
      kind(kind),
      status(status),
      argument(std::move(argument)) {}

void failWithStatus(zspStatus status, const std::string& argument, const std::string& what) {
  throw ArgumentError(ErrorKind::value, zspgenStatusText(status), argument, what);
}

void failWithDtype(const std::string& argument, const std::string& what) {
  throw ArgumentError(ErrorKind::type, nullptr, argument, what);
}

void failWithValue(const std::string& argument, const std::string& what) {
  throw ArgumentError(ErrorKind::value, nullptr, argument, what);
}

void registerErrors(py::module_& m) {
  // The classes live as long as the module; the translator keeps borrowed handles to them.
  static PyObject* error = PyErr_NewExceptionWithDoc(
      "zspgen.Error",
      "An argument zspgen cannot transform. `status` is the library's status name for it "
      "(\"zspStsSizeErr\", \"zspStsFlagErr\") or None, `argument` the name of the argument at fault.",
      PyExc_ValueError, nullptr);
  const py::tuple dtypeBases = py::make_tuple(py::handle(error), py::handle(PyExc_TypeError));
  static PyObject* dtypeError = PyErr_NewExceptionWithDoc(
      "zspgen.DtypeError", "An array whose dtype no kernel takes; also a TypeError.", dtypeBases.ptr(), nullptr);
  m.add_object("Error", py::handle(error));
  m.add_object("DtypeError", py::handle(dtypeError));

  py::register_exception_translator([](std::exception_ptr p) {
    try {
      if (p) std::rethrow_exception(p);
    } catch (const ArgumentError& e) {
      PyObject* type = e.kind == ErrorKind::type ? dtypeError : error;
      py::object instance = py::reinterpret_steal<py::object>(PyObject_CallFunction(type, "s", e.what()));
      if (!instance) return;  // the call left its own Python error set
      instance.attr("status") = e.status ? py::object(py::str(e.status)) : py::none();
      instance.attr("argument") = py::str(e.argument);
      PyErr_SetObject(type, instance.ptr());
    }
  });
}

}  // namespace zsppy
