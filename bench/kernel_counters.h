// Counters every kernel benchmark reports beside its time: cycles per call at the core clock measured in
// the same run, and, where the kernel has an arithmetic bound, the bound and cycles per call over it; and
// the start shared by the benchmarks against FFTW.
#ifndef ZSPGEN_BENCH_KERNEL_COUNTERS_H
#define ZSPGEN_BENCH_KERNEL_COUNTERS_H

#include <benchmark/benchmark.h>

#include <cstring>

#include "core_clock.h"
#include "zspgen.h"

namespace zsp::bench {

inline void cycleCounters(benchmark::State& state) {
  using benchmark::Counter;
  state.counters["cycles"] = Counter(1.0 / coreClockHz(), Counter::kIsIterationInvariantRate | Counter::kInvert);
}

// `boundCycles`: the fewest cycles the kernel's arithmetic can take; nothing is reported without one.
inline void boundCounters(benchmark::State& state, double boundCycles) {
  using benchmark::Counter;
  if (boundCycles <= 0) return;
  state.counters["bound"] = boundCycles;
  state.counters["cycles_per_bound"] =
      Counter(boundCycles / coreClockHz(), Counter::kIsIterationInvariantRate | Counter::kInvert);
}

// Reads --fftw_measure (FFTW_MEASURE plans instead of the default, which the caller passes in), starts
// Google Benchmark, names the library's version in the context (which also keeps the library linked when
// every kernel is looked up by name) and measures the core clock once, before any timing.
inline unsigned startRun(int& argc, char** argv, unsigned defaultPlanFlags, unsigned measurePlanFlags) {
  unsigned flags = defaultPlanFlags;
  for (int i = 1; i < argc; ++i)
    if (std::strcmp(argv[i], "--fftw_measure") == 0) flags = measurePlanFlags;
  benchmark::Initialize(&argc, argv);
  benchmark::AddCustomContext("zspgen", zspgenGetLibVersion()->versionText);
  coreClockHz();
  return flags;
}

}  // namespace zsp::bench

#endif  // ZSPGEN_BENCH_KERNEL_COUNTERS_H
