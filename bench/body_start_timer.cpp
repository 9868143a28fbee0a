// Times one two-lane kernel compiled into this program (body_layouts.py builds one program per layout
// of the kernel's body). The kernel is the internal function named by the macro KERNEL, called on 16-byte aligned
// buffers with hint 8 (no scaling); prints nanoseconds per call, the fastest of 60 batches of 5,000
// calls, each batch at a placement of its own (placement.h).
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>

#include "placement.h"
#include "zspgen.h"

extern "C" zspStatus KERNEL(const Zsp64fc* pSrc, Zsp64fc* pDst, Zsp32s hint);

int main() {
  Zsp64fc input[64];
  for (int i = 0; i < 64; ++i) input[i] = {(i * 37 % 101) / 101.0 - 0.5, (i * 53 % 97) / 97.0 - 0.5};
  double best = 1e300;
  for (int batch = 0; batch < 60; ++batch) {
    const int k = zsp::bench::nextPlacement();
    zsp::bench::PlacedArray<Zsp64fc> src(k, 0, 64), dst(k, 1, 64);
    std::memcpy(src.data, input, sizeof input);
    zsp::bench::withStackAt(k, [&] {
      constexpr int kCalls = 5000;
      const auto start = std::chrono::steady_clock::now();
      for (int i = 0; i < kCalls; ++i) {
        KERNEL(src.data, dst.data, 8);
        asm volatile("" ::: "memory");
      }
      const std::chrono::duration<double, std::nano> spent = std::chrono::steady_clock::now() - start;
      best = std::min(best, spent.count() / kCalls);
    });
  }
  std::printf("%.1f\n", best);
  return 0;
}
