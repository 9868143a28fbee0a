// Walsh-Hadamard kernels: time per call, cycles per call, and the distance to the arithmetic bound.
// The bound counts the r*N additions and subtractions as packed instructions (4 lanes in single
// precision, 2 in double) retired at two per cycle.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <vector>

#include "core_clock.h"
#include "zspgen.h"

namespace {

template <class T> struct Api;
template <> struct Api<Zsp32f> {
  static zspStatus run(const Zsp32f* s, Zsp32f* d, int order, Zsp8u* b) {
    return zspgWHT_32f(s, d, order, ZSP_NODIV_BY_ANY, b);
  }
  static int bufferBytes(int order) {
    Zsp32s size = 0;
    zspgWHTGetBufferSize_32f(order, &size);
    return size;
  }
  static constexpr int lanes = 4;
};
template <> struct Api<Zsp64f> {
  static zspStatus run(const Zsp64f* s, Zsp64f* d, int order, Zsp8u* b) {
    return zspgWHT_64f(s, d, order, ZSP_NODIV_BY_ANY, b);
  }
  static int bufferBytes(int order) {
    Zsp32s size = 0;
    zspgWHTGetBufferSize_64f(order, &size);
    return size;
  }
  static constexpr int lanes = 2;
};

template <class T>
void whtKernel(benchmark::State& state) {
  const int order = static_cast<int>(state.range(0));
  const size_t n = size_t{1} << order;
  T* src = static_cast<T*>(std::aligned_alloc(64, n * sizeof(T)));
  T* dst = static_cast<T*>(std::aligned_alloc(64, n * sizeof(T)));
  const int workBytes = Api<T>::bufferBytes(order);
  Zsp8u* work = workBytes ? static_cast<Zsp8u*>(std::aligned_alloc(64, static_cast<size_t>(workBytes))) : nullptr;
  for (size_t i = 0; i < n; ++i) src[i] = static_cast<T>((i * 37 % 101) / 101.0 - 0.5);
  for (auto _ : state) {
    Api<T>::run(src, dst, order, work);
    benchmark::DoNotOptimize(dst);
    benchmark::ClobberMemory();
  }
  const double hz = zsp::bench::coreClockHz();
  const double boundCycles = static_cast<double>(order) * static_cast<double>(n) / Api<T>::lanes / 2.0;
  using benchmark::Counter;
  state.counters["cycles"] = Counter(1.0 / hz, Counter::kIsIterationInvariantRate | Counter::kInvert);
  state.counters["bound_cycles"] = boundCycles;
  state.counters["cycles_per_bound"] = Counter(boundCycles / hz, Counter::kIsIterationInvariantRate | Counter::kInvert);
  state.counters["clock_GHz"] = hz / 1e9;
  std::free(src);
  std::free(dst);
  std::free(work);
}

BENCHMARK(whtKernel<Zsp32f>)->Name("WHT_32f")->DenseRange(1, 13);
BENCHMARK(whtKernel<Zsp64f>)->Name("WHT_64f")->DenseRange(1, 13);

}  // namespace

BENCHMARK_MAIN();
