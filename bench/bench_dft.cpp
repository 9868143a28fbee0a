// Complex DFT kernels against FFTW, in one run, on the same 64-byte aligned buffers.
//
// For each length, precision and direction two benchmarks stand side by side: `zsp` calls our kernel
// with ZSP_NODIV_BY_ANY, `fftw` executes FFTW's plan (FFTW_PATIENT unless --fftw_measure is given)
// through the new-array interface. Both report cycles per call on the core clock measured in the same
// run; our kernels also report their arithmetic bound and cycles over it. Every run of a benchmark (each
// repetition) puts the buffers and the stack at another placement (placement.h), the same for both sides.
// Kernels are looked up by name, so the program runs against whatever the library exports. An empty
// kernel, called the same way, gives the floor of a call (call_floor.h).
// bench/dft_report.py turns the JSON output into the ratio table and the plot.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <fftw3.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "call_floor.h"
#include "kernel_counters.h"
#include "placement.h"
#include "zspgen.h"

namespace {

using zsp::bench::boundCounters;
using zsp::bench::cycleCounters;

unsigned gPlanFlags = FFTW_PATIENT;

template <class T> struct Fftw;
template <> struct Fftw<Zsp32fc> {
  using Plan = fftwf_plan;
  static Plan plan(int n, Zsp32fc* in, Zsp32fc* out, int sign) {
    return fftwf_plan_dft_1d(n, reinterpret_cast<fftwf_complex*>(in), reinterpret_cast<fftwf_complex*>(out), sign,
                             gPlanFlags);
  }
  static void execute(Plan p, Zsp32fc* in, Zsp32fc* out) {
    fftwf_execute_dft(p, reinterpret_cast<fftwf_complex*>(in), reinterpret_cast<fftwf_complex*>(out));
  }
  static void destroy(Plan p) { fftwf_destroy_plan(p); }
  static constexpr const char* suffix = "32fc";
};
template <> struct Fftw<Zsp64fc> {
  using Plan = fftw_plan;
  static Plan plan(int n, Zsp64fc* in, Zsp64fc* out, int sign) {
    return fftw_plan_dft_1d(n, reinterpret_cast<fftw_complex*>(in), reinterpret_cast<fftw_complex*>(out), sign,
                            gPlanFlags);
  }
  static void execute(Plan p, Zsp64fc* in, Zsp64fc* out) {
    fftw_execute_dft(p, reinterpret_cast<fftw_complex*>(in), reinterpret_cast<fftw_complex*>(out));
  }
  static void destroy(Plan p) { fftw_destroy_plan(p); }
  static constexpr const char* suffix = "64fc";
};

// Input and output at placement k (placement.h); the input holds values in [-0.5, 0.5).
template <class T>
struct Buffers {
  Buffers(int n, int k) : inArray(k, 0, 64), outArray(k, 1, 64), in(inArray.data), out(outArray.data) {
    for (int i = 0; i < n; ++i) {
      in[i].re = static_cast<decltype(in[i].re)>((i * 37 % 101) / 101.0 - 0.5);
      in[i].im = static_cast<decltype(in[i].im)>((i * 53 % 97) / 97.0 - 0.5);
    }
  }
  zsp::bench::PlacedArray<T> inArray, outArray;
  T* in;
  T* out;
};

// The arithmetic bound of each kernel in cycles: the additions and subtractions it executes (packed
// instructions in the vector kernels, scalar ones in the others), two per cycle. Read from the count
// report the generator writes beside the kernels.
std::map<std::string, double> readBounds() {
  std::map<std::string, double> bound;
  std::ifstream in(ZSPGEN_DFT_PACKED_COUNTS);
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream f(line);
    int n = 0, adds = 0;
    std::string type, dir, shape;
    if (!(f >> n >> type >> dir >> shape >> adds)) continue;
    const std::string name = std::string("zspgDFT") + (dir == "fwd" ? "Fwd" : "Inv") + "_CToC_" + std::to_string(n) + "_" + type;
    bound[name] = adds / 2.0;
  }
  return bound;
}

template <class T>
void ours(benchmark::State& state, zspStatus (*kernel)(const T*, T*, Zsp32s), int n, double boundCycles) {
  const int k = zsp::bench::nextPlacement();
  Buffers<T> b(n, k);
  zsp::bench::withStackAt(k, [&] {
    for (auto _ : state) {
      kernel(b.in, b.out, ZSP_NODIV_BY_ANY);
      benchmark::DoNotOptimize(b.out);
      benchmark::ClobberMemory();
    }
  });
  cycleCounters(state);
  boundCounters(state, boundCycles);
}

template <class T>
void fftw(benchmark::State& state, int n, int sign) {
  const int k = zsp::bench::nextPlacement();
  Buffers<T> b(n, k);
  std::vector<T> keep(b.in, b.in + n);  // planning may overwrite the arrays
  const auto plan = Fftw<T>::plan(n, b.in, b.out, sign);
  std::memcpy(b.in, keep.data(), sizeof(T) * n);
  zsp::bench::withStackAt(k, [&] {
    for (auto _ : state) {
      Fftw<T>::execute(plan, b.in, b.out);
      benchmark::DoNotOptimize(b.out);
      benchmark::ClobberMemory();
    }
  });
  Fftw<T>::destroy(plan);
  cycleCounters(state);
}

template <class T>
void registerPrecision(const std::map<std::string, double>& bounds) {
  using Kernel = zspStatus (*)(const T*, T*, Zsp32s);
  for (const char* dir : {"Fwd", "Inv"}) {
    const int sign = std::strcmp(dir, "Fwd") == 0 ? FFTW_FORWARD : FFTW_BACKWARD;
    for (int n = 2; n <= 64; ++n) {
      const std::string name = std::string("zspgDFT") + dir + "_CToC_" + std::to_string(n) + "_" + Fftw<T>::suffix;
      const auto kernel = reinterpret_cast<Kernel>(dlsym(RTLD_DEFAULT, name.c_str()));
      if (kernel == nullptr) continue;
      const auto b = bounds.find(name);
      benchmark::RegisterBenchmark((name + "/zsp").c_str(), ours<T>, kernel, n, b == bounds.end() ? 0.0 : b->second);
      benchmark::RegisterBenchmark((name + "/fftw").c_str(), fftw<T>, n, sign);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  gPlanFlags = zsp::bench::startRun(argc, argv, FFTW_PATIENT, FFTW_MEASURE);
  const std::map<std::string, double> bounds = readBounds();
  zsp::bench::registerCallFloor();
  registerPrecision<Zsp32fc>(bounds);
  registerPrecision<Zsp64fc>(bounds);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
