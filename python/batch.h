// The batched loop: one kernel call per row, with the GIL released.
#pragma once

#include <zspgen.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "arrays.h"

namespace zsppy {

// Whether the kernels have an aligned and an unaligned route (the complex DFT: rows whose source and
// destination are both 16-byte aligned take the first, the others the second).
enum class Routes { one, two };

namespace detail {

// Asking for a row's cache lines ahead of its turn, where rows are taken out of order (below). Taking
// every other row hides the stream from the processor's own prefetch, and where the rows come from
// beyond the second-level cache the longer kernels then wait for them: 61- and 63-point complex64 rows
// took 1.6 and 1.7 times as long from a 33 MB array as from an 8 MB one, and 1.05 and 1.1 times with
// the requests (AMD EPYC). Runs of rows in order, short rows and runs that fit the cache go without:
// there the requests measured only as cost (1 to 2% in complex128 and float64 rfft at 65,536 rows).
struct Prefetch {
  static constexpr py::ssize_t kLongRow = 256;     // bytes
  static constexpr py::ssize_t kCached = 1 << 20;  // a run up to this size stays in the cache

  py::ssize_t srcBytes = 0, dstBytes = 0;  // one row's extent in each array
  bool on = false;

  Prefetch(const RowRun& r, py::ssize_t srcRow, py::ssize_t dstRow) : srcBytes(srcRow), dstBytes(dstRow) {
    on = srcRow >= kLongRow && r.count * std::max<py::ssize_t>(srcRow, std::abs(r.srcStep)) > kCached;
  }

  // The requests are instructions of their own: gcc takes a function whose only effect is a prefetch
  // builtin for one without effect, and drops its calls.
  static void line(const char* p) { asm volatile("prefetcht0 %0" : : "m"(*p)); }
  static void row(const char* p, py::ssize_t bytes) {
    for (py::ssize_t o = 0; o < bytes; o += 64) line(p + o);
    line(p + bytes - 1);
  }

  // Before row i at (s, d) is transformed: row i + distance, if the run has it.
  void before(const char* s, const char* d, py::ssize_t i, py::ssize_t distance, const RowRun& r) const {
    if (!on || i + distance >= r.count) return;
    row(s + distance * r.srcStep, srcBytes);
    if (d != s) row(d + distance * r.dstStep, dstBytes);
  }
};

// Code elsewhere in the process can leave the upper halves of the 256-bit registers in use, and the
// kernels are SSE code: each of their instructions that writes a register then waits to merge the
// register's upper half, which turns the copies and loads that start fresh values into links of one
// long chain. In this module the 47-point single-precision real kernel took 541 ns per row against 311
// in the kernel benchmarks, and 316 once the halves were cleared; in a C loop with all sixteen upper
// halves set, it took 3.1 times its time (AMD EPYC). So every batch clears them first, where the
// processor has them: one instruction, itself no part of the library.
inline void clearUpperHalves() {
  if (__builtin_cpu_supports("avx")) asm volatile("vzeroupper");
}

// Rows of complex64 of odd length alternate between the two routes, and for the largest kernels the
// two routes' code evicts each other from the instruction caches when they alternate row by row. With
// steps that are multiples of 8 bytes the route depends only on whether a row's index is even, so such
// a run is taken in blocks of rows small enough to stay in the data cache: each block's even rows
// first, then its odd rows. With prefetching on, each row asks for the same row of the next block.
template <class Row>
void runByRoute(const RowRun& r, const Prefetch& prefetch, Row& row) {
  constexpr py::ssize_t kBlockRows = 64;
  for (py::ssize_t first = 0; first < r.count; first += kBlockRows) {
    const py::ssize_t last = std::min(r.count, first + kBlockRows);
    for (py::ssize_t parity : {0, 1}) {
      const char* s = r.src + (first + parity) * r.srcStep;
      char* d = r.dst + (first + parity) * r.dstStep;
      for (py::ssize_t i = first + parity; i < last; i += 2, s += 2 * r.srcStep, d += 2 * r.dstStep) {
        prefetch.before(s, d, i, kBlockRows, r);
        row(s, d);
      }
    }
  }
}

}  // namespace detail

// The bytes of one row of `a`, whose last axis holds T.
template <class T>
py::ssize_t rowBytes(const py::array& a) {
  return lastLength(a) * static_cast<py::ssize_t>(sizeof(T));
}

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
    detail::clearUpperHalves();
    forEachRun(walk, [&](const RowRun& r) {
      const bool alternating = ((r.srcStep | r.dstStep) & 15) == 8;
      if (routes == Routes::two && alternating)
        return detail::runByRoute(r, detail::Prefetch(r, rowBytes<Src>(in), rowBytes<Dst>(out)), row);
      const char* s = r.src;
      char* d = r.dst;
      for (py::ssize_t i = 0; i < r.count; ++i, s += r.srcStep, d += r.dstStep) row(s, d);
    });
  }
  if (failed != zspStsNoErr)
    throw std::logic_error("zspgen: a kernel refused checked arguments (status bits " + std::to_string(failed) + ")");
}

}  // namespace zsppy
