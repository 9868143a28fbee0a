// The batched loop: one kernel call per row, with the GIL released.
#pragma once

#include <zspgen.h>

#include <algorithm>
#include <stdexcept>
#include <string>

#include "arrays.h"

namespace zsppy {

// Whether the kernels have an aligned and an unaligned route (the complex DFT: rows whose source and
// destination are both 16-byte aligned take the first, the others the second).
enum class Routes { one, two };

namespace detail {

// Rows of complex64 of odd length alternate between the two routes, and for the largest kernels the
// two routes' code evicts each other from the instruction caches when they alternate row by row. With
// steps that are multiples of 8 bytes the route depends only on whether a row's index is even, so such
// a run is taken in blocks of rows small enough to stay in the data cache: each block's even rows
// first, then its odd rows.
template <class Row>
void runByRoute(const RowRun& r, Row& row) {
  constexpr py::ssize_t kBlockRows = 64;
  for (py::ssize_t first = 0; first < r.count; first += kBlockRows) {
    const py::ssize_t last = std::min(r.count, first + kBlockRows);
    for (py::ssize_t parity : {0, 1}) {
      const char* s = r.src + (first + parity) * r.srcStep;
      char* d = r.dst + (first + parity) * r.dstStep;
      for (py::ssize_t i = first + parity; i < last; i += 2, s += 2 * r.srcStep, d += 2 * r.dstStep) row(s, d);
    }
  }
}

}  // namespace detail

// Runs `kernel(srcRow, dstRow)` over every row of `in` into the same row of `out`, Src and Dst being
// the sample types of the rows. The arguments have all been checked, so no kernel can refuse; a status
// other than zspStsNoErr would be a fault of this module, and is raised rather than hidden.
template <class Src, class Dst, class Kernel>
void transformRows(const py::array& in, py::array& out, Kernel&& kernel, Routes routes = Routes::one) {
  const RowWalk walk = rowWalk(in, out);
  zspStatus failed = zspStsNoErr;
  auto row = [&](const char* src, char* dst) {
    failed |= kernel(reinterpret_cast<const Src*>(src), reinterpret_cast<Dst*>(dst));
  };
  {
    py::gil_scoped_release release;
    forEachRun(walk, [&](const RowRun& r) {
      const bool alternating = ((r.srcStep | r.dstStep) & 15) == 8;
      if (routes == Routes::two && alternating) return detail::runByRoute(r, row);
      const char* s = r.src;
      char* d = r.dst;
      for (py::ssize_t i = 0; i < r.count; ++i, s += r.srcStep, d += r.dstStep) row(s, d);
    });
  }
  if (failed != zspStsNoErr)
    throw std::logic_error("zspgen: a kernel refused checked arguments (status bits " + std::to_string(failed) + ")");
}

}  // namespace zsppy
