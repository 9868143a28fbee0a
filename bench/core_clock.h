// The core clock, measured in the benchmark's own run: a chain of dependent integer additions retires one
// addition per cycle, so additions per second is cycles per second.
#ifndef ZSPGEN_BENCH_CORE_CLOCK_H
#define ZSPGEN_BENCH_CORE_CLOCK_H

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace zsp::bench {

inline double coreClockHz() {
  static const double hz = [] {
    double best = 0;
    for (int attempt = 0; attempt < 7; ++attempt) {
      constexpr uint64_t kAdds = 50'000'000;
      uint64_t x = 0;
      const auto start = std::chrono::steady_clock::now();
      for (uint64_t i = 0; i < kAdds / 10; ++i) {
        // Ten additions, each waiting for the one before.
        __asm__ volatile(
            "add $1, %0\n\tadd $1, %0\n\tadd $1, %0\n\tadd $1, %0\n\tadd $1, %0\n\t"
            "add $1, %0\n\tadd $1, %0\n\tadd $1, %0\n\tadd $1, %0\n\tadd $1, %0"
            : "+r"(x));
      }
      const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
      best = std::max(best, static_cast<double>(kAdds) / took.count());
    }
    return best;
  }();
  return hz;
}

}  // namespace zsp::bench

#endif  // ZSPGEN_BENCH_CORE_CLOCK_H
