// Times exported fixed-length kernels by name, for comparing two builds of the library (see
// compare_builds.py, which runs this program under each build in turn).
//
//     kernel_timer zspgDFTFwd_CToC_62_64fc zspgHartley_56_32f ...
//
// Prints one line per kernel: its name and nanoseconds per call, the fastest of 15 batches of 20,000
// calls, each batch at a placement of its own (placement.h: stack frame, source and destination at other
// offsets in their pages). The library is loaded at run time, so LD_LIBRARY_PATH picks the build. Inputs
// are values in [-0.5, 0.5] of the kernel's own type (no denormals); every kernel runs with hint 8 (no
// scaling), as in the benchmarks against FFTW; source and destination are separate arrays.
#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>

#include "placement.h"

namespace {

using Kernel = int (*)(const void*, void*, int);

// The hint every kernel runs with: 8, no scaling (the library is not linked, so its header is not used).
constexpr int kNoScaling = 8;

// 64 complex doubles are the largest input of a fixed-length kernel.
constexpr std::size_t kBytes = 64 * 16;

double nanosecondsPerCall(Kernel kernel, const void* input, int hint) {
  constexpr int kCalls = 20000;
  double best = 1e300;
  for (int batch = 0; batch < 15; ++batch) {
    const int k = zsp::bench::nextPlacement();
    zsp::bench::PlacedArray<char> src(k, 0, kBytes), dst(k, 1, kBytes);
    std::memcpy(src.data, input, kBytes);
    zsp::bench::withStackAt(k, [&] {
      const auto start = std::chrono::steady_clock::now();
      for (int i = 0; i < kCalls; ++i) {
        kernel(src.data, dst.data, hint);
        asm volatile("" ::: "memory");
      }
      const std::chrono::duration<double, std::nano> spent = std::chrono::steady_clock::now() - start;
      best = std::min(best, spent.count() / kCalls);
    });
  }
  return best;
}

}  // namespace

int main(int argc, char** argv) {
  void* library = dlopen("libzspgenx3.so.8.2", RTLD_NOW);
  if (!library) {
    std::fprintf(stderr, "kernel_timer: %s\n", dlerror());
    return 1;
  }
  alignas(64) static double srcDouble[kBytes / sizeof(double)];
  alignas(64) static float srcSingle[kBytes / sizeof(float)];
  for (int i = 0; i < 128; ++i) {
    srcDouble[i] = (i * 37 % 101) / 101.0 - 0.5;
    srcSingle[i] = static_cast<float>(srcDouble[i]);
  }
  int missing = 0;
  for (int a = 1; a < argc; ++a) {
    const auto kernel = reinterpret_cast<Kernel>(dlsym(library, argv[a]));
    if (!kernel) {
      std::fprintf(stderr, "kernel_timer: no kernel %s\n", argv[a]);
      ++missing;
      continue;
    }
    const bool single = std::strstr(argv[a], "_32f") != nullptr;
    std::printf("%s %.2f\n", argv[a],
                nanosecondsPerCall(kernel, single ? static_cast<const void*>(srcSingle) : srcDouble, kNoScaling));
  }
  return missing == 0 ? 0 : 1;
}
