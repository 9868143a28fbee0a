// DCT-IV against FFTW's REDFT11 (the same transform, scaled by 2) on the same 64-byte aligned buffers,
// N = 2^4 .. 2^22 in both precisions. Both transforms are timed in interleaved batches within one run and
// the best batch of each gives ns per call; the counters report ours/FFTW, and the state's Init time
// against FFTW's planning time with FFTW_MEASURE. The benchmark's own time column is ours. The state's
// buffer comes from zspMalloc, as zspgDCT4InitAlloc would take it; FFTW keeps its plans in its own memory.
#include <benchmark/benchmark.h>
#include <fftw3.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <vector>

#include "core_clock.h"
#include "zspcore.h"
#include "zspgen.h"

namespace {

using Clock = std::chrono::steady_clock;

template <class T> struct Ours;
template <> struct Ours<Zsp32f> {
  static constexpr auto getSize = zspgDCT4GetSize_32f;
  static constexpr auto init = zspgDCT4Init_32f;
  static constexpr auto run = zspgDCT4_32f;
};
template <> struct Ours<Zsp64f> {
  static constexpr auto getSize = zspgDCT4GetSize_64f;
  static constexpr auto init = zspgDCT4Init_64f;
  static constexpr auto run = zspgDCT4_64f;
};

template <class T> struct Fftw;
template <> struct Fftw<Zsp32f> {
  using Plan = fftwf_plan;
  static Plan plan(int n, float* in, float* out) {
    fftwf_forget_wisdom();
    return fftwf_plan_r2r_1d(n, in, out, FFTW_REDFT11, FFTW_MEASURE);
  }
  static void run(Plan p, float* in, float* out) { fftwf_execute_r2r(p, in, out); }
  static void destroy(Plan p) { fftwf_destroy_plan(p); }
};
template <> struct Fftw<Zsp64f> {
  using Plan = fftw_plan;
  static Plan plan(int n, double* in, double* out) {
    fftw_forget_wisdom();
    return fftw_plan_r2r_1d(n, in, out, FFTW_REDFT11, FFTW_MEASURE);
  }
  static void run(Plan p, double* in, double* out) { fftw_execute_r2r(p, in, out); }
  static void destroy(Plan p) { fftw_destroy_plan(p); }
};

template <class F>
double seconds(F&& f) {
  const auto start = Clock::now();
  f();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

template <class T>
void dct4VersusFftw(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  T* src = static_cast<T*>(std::aligned_alloc(64, n * sizeof(T)));
  T* dst = static_cast<T*>(std::aligned_alloc(64, n * sizeof(T)));
  Zsp32s bytes = 0;
  Ours<T>::getSize(n, &bytes);
  auto* memory = static_cast<Zsp8u*>(zspMalloc(bytes));
  DCT4Spec* handle = nullptr;
  const double initSeconds = seconds([&] { Ours<T>::init(&handle, n, memory); });
  typename Fftw<T>::Plan plan{};
  const double planSeconds = seconds([&] { plan = Fftw<T>::plan(n, src, dst); });
  for (int i = 0; i < n; ++i) src[i] = static_cast<T>((i * 37 % 101) / 101.0 - 0.5);

  // Interleaved batches of 2e6 / (5 N log2 N) calls, at least one (tens to hundreds of microseconds; one
  // call from 2^14 on, so each call starts after the other side's); the fastest batch of each side counts.
  // Rounds go on for at least a quarter of a second, and at least 15 of them, so that a burst of load
  // on the machine, which can last a few milliseconds, cannot cover every batch of one side.
  const int perBatch = std::max(1, static_cast<int>(2e6 / (5.0 * n * std::max(1, __builtin_ctz(n)))));
  double oursBest = 1e30, fftwBest = 1e30;
  constexpr double kMinSeconds = 0.25;
  const auto roundsStart = Clock::now();
  for (int round = 0; round < 15 || std::chrono::duration<double>(Clock::now() - roundsStart).count() < kMinSeconds;
       ++round) {
    oursBest = std::min(oursBest, seconds([&] {
      for (int i = 0; i < perBatch; ++i) Ours<T>::run(src, dst, handle);
    }) / perBatch);
    fftwBest = std::min(fftwBest, seconds([&] {
      for (int i = 0; i < perBatch; ++i) Fftw<T>::run(plan, src, dst);
    }) / perBatch);
  }
  for (auto _ : state) {
    Ours<T>::run(src, dst, handle);
    benchmark::DoNotOptimize(dst);
    benchmark::ClobberMemory();
  }
  state.counters["ours_ns"] = oursBest * 1e9;
  state.counters["fftw_ns"] = fftwBest * 1e9;
  state.counters["ratio"] = oursBest / fftwBest;
  state.counters["init_us"] = initSeconds * 1e6;
  state.counters["fftw_plan_us"] = planSeconds * 1e6;
  state.counters["clock_GHz"] = zsp::bench::coreClockHz() / 1e9;
  Fftw<T>::destroy(plan);
  zspFree(memory);
  std::free(src);
  std::free(dst);
}

BENCHMARK(dct4VersusFftw<Zsp32f>)->RangeMultiplier(2)->Range(1 << 4, 1 << 22)->Unit(benchmark::kMicrosecond);
BENCHMARK(dct4VersusFftw<Zsp64f>)->RangeMultiplier(2)->Range(1 << 4, 1 << 22)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
