// The module's errors. Every check runs before the first row is transformed, so a call that raises
// has written nothing to `out`. An error names the argument at fault and, where the library has a
// status for the condition, that status's name (zspgenStatusText); conditions the library never sees
// (dtype, memory layout) carry none.
#pragma once

#include <zspgen.h>

#include <stdexcept>
#include <string>

#include <pybind11/pybind11.h>

namespace zsppy {

enum class ErrorKind { value, type };

// Thrown inside the module; the translator registered by registerErrors turns it into zspgen.Error
// (or zspgen.DtypeError for ErrorKind::type) with the attributes `status` and `argument`.
struct ArgumentError : std::runtime_error {
  ArgumentError(ErrorKind kind, const char* status, std::string argument, const std::string& what);
  ErrorKind kind;
  const char* status;  // a zspStatus name, or null when the library has no status for it
  std::string argument;
};

// An argument the library would refuse with `status` (zspStsSizeErr, zspStsFlagErr, ...).
[[noreturn]] void failWithStatus(zspStatus status, const std::string& argument, const std::string& what);
// A dtype the module cannot hand to any kernel: zspgen.DtypeError, a TypeError.
[[noreturn]] void failWithDtype(const std::string& argument, const std::string& what);
// Any other argument the module cannot use (a shape or memory layout of `out`, an unknown format).
[[noreturn]] void failWithValue(const std::string& argument, const std::string& what);

// Creates zspgen.Error (a ValueError) and zspgen.DtypeError (an Error and a TypeError) in `m`.
void registerErrors(pybind11::module_& m);

}  // namespace zsppy
