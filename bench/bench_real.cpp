// Real DFT and Hartley kernels against FFTW's real-to-complex, complex-to-real and Hartley (r2r FFTW_DHT)
// transforms, in one run, on the same 64-byte aligned buffers, moved to another placement (placement.h)
// at every run of a benchmark, the same for both sides.
//
// For each length, precision and direction, FFTW's plan (r2c forward, c2r inverse; FFTW_PATIENT unless
// --fftw_measure is given, executed through the new-array interface) stands beside our three kernels,
// CCS, Pack and Perm, each called with ZSP_NODIV_BY_ANY. FFTW's c2r may overwrite its input; its plans
// here are made with FFTW_PRESERVE_INPUT, so every call gets the same spectrum, as ours do. Every
// benchmark reports cycles per call on the core clock measured in the same run; ours also report the
// scalar bound (the kernel's additions, two per cycle) and cycles over it. Kernels are looked up by name.
// An empty kernel, called the same way, gives the floor of a call (call_floor.h). bench/real_report.py
// turns the JSON output into the ratio table and the plot.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <fftw3.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "call_floor.h"
#include "kernel_counters.h"
#include "placement.h"
#include "zspgen.h"

namespace {

using zsp::bench::boundCounters;
using zsp::bench::cycleCounters;

unsigned gPlanFlags = FFTW_PATIENT;

enum class Kind { Forward, Inverse, Hartley };

template <class T> struct Fftw;
template <> struct Fftw<Zsp32f> {
  using Plan = fftwf_plan;
  static Plan plan(int n, Zsp32f* in, Zsp32f* out, Kind kind) {
    switch (kind) {
      case Kind::Inverse: return fftwf_plan_dft_c2r_1d(n, reinterpret_cast<fftwf_complex*>(in), out, gPlanFlags | FFTW_PRESERVE_INPUT);
      case Kind::Hartley: return fftwf_plan_r2r_1d(n, in, out, FFTW_DHT, gPlanFlags);
      default: return fftwf_plan_dft_r2c_1d(n, in, reinterpret_cast<fftwf_complex*>(out), gPlanFlags);
    }
  }
  static void execute(Plan p, Zsp32f* in, Zsp32f* out, Kind kind) {
    switch (kind) {
      case Kind::Inverse: fftwf_execute_dft_c2r(p, reinterpret_cast<fftwf_complex*>(in), out); break;
      case Kind::Hartley: fftwf_execute_r2r(p, in, out); break;
      default: fftwf_execute_dft_r2c(p, in, reinterpret_cast<fftwf_complex*>(out));
    }
  }
  static void destroy(Plan p) { fftwf_destroy_plan(p); }
  static constexpr const char* suffix = "32f";
};
template <> struct Fftw<Zsp64f> {
  using Plan = fftw_plan;
  static Plan plan(int n, Zsp64f* in, Zsp64f* out, Kind kind) {
    switch (kind) {
      case Kind::Inverse: return fftw_plan_dft_c2r_1d(n, reinterpret_cast<fftw_complex*>(in), out, gPlanFlags | FFTW_PRESERVE_INPUT);
      case Kind::Hartley: return fftw_plan_r2r_1d(n, in, out, FFTW_DHT, gPlanFlags);
      default: return fftw_plan_dft_r2c_1d(n, in, reinterpret_cast<fftw_complex*>(out), gPlanFlags);
    }
  }
  static void execute(Plan p, Zsp64f* in, Zsp64f* out, Kind kind) {
    switch (kind) {
      case Kind::Inverse: fftw_execute_dft_c2r(p, reinterpret_cast<fftw_complex*>(in), out); break;
      case Kind::Hartley: fftw_execute_r2r(p, in, out); break;
      default: fftw_execute_dft_r2c(p, in, reinterpret_cast<fftw_complex*>(out));
    }
  }
  static void destroy(Plan p) { fftw_destroy_plan(p); }
  static constexpr const char* suffix = "64f";
};

// Room for the longest CCS spectrum, 66 values, at placement k (placement.h); the input holds values in
// [-0.5, 0.5) up to that length.
template <class T>
struct Buffers {
  explicit Buffers(int k) : inArray(k, 0, 128), outArray(k, 1, 128), in(inArray.data), out(outArray.data) {
    for (int i = 0; i < 128; ++i) in[i] = static_cast<T>((i * 37 % 101) / 101.0 - 0.5);
  }
  zsp::bench::PlacedArray<T> inArray, outArray;
  T* in;
  T* out;
};

// The scalar bound of each kernel in cycles: the graph's additions, two per cycle, from the generator's
// count report (one graph serves the three formats), by direction, length and precision.
std::map<std::string, double> readBounds() {
  std::map<std::string, double> bound;
  std::ifstream in(ZSPGEN_REAL_COUNTS);
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream f(line);
    int n = 0, adds = 0;
    std::string direction, type;
    if (f >> direction >> n >> type >> adds) bound[direction + "_" + std::to_string(n) + "_" + type] = adds / 2.0;
  }
  return bound;
}

template <class T>
void ours(benchmark::State& state, zspStatus (*kernel)(const T*, T*, Zsp32s), double boundCycles) {
  const int k = zsp::bench::nextPlacement();
  Buffers<T> b(k);
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
void fftw(benchmark::State& state, int n, Kind kind) {
  const int k = zsp::bench::nextPlacement();
  Buffers<T> b(k);
  const Buffers<T> keep(k);  // planning may overwrite the arrays
  const auto plan = Fftw<T>::plan(n, b.in, b.out, kind);
  std::memcpy(b.in, keep.in, sizeof(T) * 128);
  zsp::bench::withStackAt(k, [&] {
    for (auto _ : state) {
      Fftw<T>::execute(plan, b.in, b.out, kind);
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
  for (Kind kind : {Kind::Forward, Kind::Inverse, Kind::Hartley}) {
    for (int n = 2; n <= 64; ++n) {
      const std::string tail = "_" + std::to_string(n) + "_" + Fftw<T>::suffix;
      auto nameOf = [&](const std::string& format) {
        switch (kind) {
          case Kind::Inverse: return "zspgDFTInv_" + format + "ToR" + tail;
          case Kind::Hartley: return "zspgHartley" + (format == "FFTW" ? "_FFTW" : std::string()) + tail;
          default: return "zspgDFTFwd_RTo" + format + tail;
        }
      };
      benchmark::RegisterBenchmark((nameOf("FFTW") + "/fftw").c_str(), fftw<T>, n, kind);
      const auto b = bounds.find((kind == Kind::Forward ? "fwd" : kind == Kind::Inverse ? "inv" : "dht") + tail);
      for (const char* format : {"CCS", "Pack", "Perm"}) {
        if (kind == Kind::Hartley && format != std::string("CCS")) break;  // one kernel, no format
        const auto kernel = reinterpret_cast<Kernel>(dlsym(RTLD_DEFAULT, nameOf(format).c_str()));
        if (kernel == nullptr) continue;
        benchmark::RegisterBenchmark((nameOf(format) + "/zsp").c_str(), ours<T>, kernel, b == bounds.end() ? 0.0 : b->second);
      }
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  gPlanFlags = zsp::bench::startRun(argc, argv, FFTW_PATIENT, FFTW_MEASURE);
  const std::map<std::string, double> bounds = readBounds();
  zsp::bench::registerCallFloor();
  registerPrecision<Zsp32f>(bounds);
  registerPrecision<Zsp64f>(bounds);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
