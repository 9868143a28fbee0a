// The batched loop: one kernel call per row, with the GIL released.
#pragma once

#include <zspgen.h>

#include <stdexcept>
#include <string>

#include "arrays.h"

namespace zsppy {

// Runs `kernel(srcRow, dstRow)` over every row of `in` into the same row of `out`, Src and Dst being
// the sample types of the rows. The arguments have all been checked, so no kernel can refuse; a status
// other than zspStsNoErr would be a fault of this module, and is raised rather than hidden.
template <class Src, class Dst, class Kernel>
void transformRows(const py::array& in, py::array& out, Kernel&& kernel) {
  const RowWalk walk = rowWalk(in, out);
  zspStatus failed = zspStsNoErr;
  {
    py::gil_scoped_release release;
    forEachRow(walk, [&](const char* src, char* dst) {
      failed |= kernel(reinterpret_cast<const Src*>(src), reinterpret_cast<Dst*>(dst));
    });
  }
  if (failed != zspStsNoErr)
    throw std::logic_error("zspgen: a kernel refused checked arguments (status bits " + std::to_string(failed) + ")");
}

}  // namespace zsppy
