// Counters every kernel benchmark reports beside its time: cycles per call at the core clock measured in
// the same run, and, where the kernel has an arithmetic bound, the bound and cycles per call over it.
#ifndef ZSPGEN_BENCH_KERNEL_COUNTERS_H
#define ZSPGEN_BENCH_KERNEL_COUNTERS_H

#include <benchmark/benchmark.h>

#include "core_clock.h"

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

}  // namespace zsp::bench

#endif  // ZSPGEN_BENCH_KERNEL_COUNTERS_H
