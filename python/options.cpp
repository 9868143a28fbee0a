#include "options.h"

#include <string>

#include "errors.h"

namespace py = pybind11;

namespace zsppy {

Zsp32s hintFor(py::handle norm, Directed directed) {
  const std::string name = norm.is_none() ? "backward" : py::str(norm).cast<std::string>();
  if (name == "backward") return directed == Directed::inverse ? ZSP_DIV_INV_BY_N : ZSP_NODIV_BY_ANY;
  if (name == "forward") return directed == Directed::inverse ? ZSP_NODIV_BY_ANY : ZSP_DIV_FWD_BY_N;
  if (name == "ortho") return ZSP_DIV_BY_SQRTN;
  failWithStatus(zspStsFlagErr, "norm", "'" + name + "'; takes \"backward\", \"ortho\", \"forward\" or None");
}

Packing packingFor(const std::string& format) {
  if (format == "ccs") return Packing::ccs;
  if (format == "pack") return Packing::pack;
  if (format == "perm") return Packing::perm;
  failWithValue("format", "'" + format + "'; takes \"ccs\", \"pack\" or \"perm\"");
}

}  // namespace zsppy
