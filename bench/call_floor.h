// The fewest cycles any kernel call can take in these benchmarks: a kernel that does nothing, reached
// the way the library's kernels are. An entry that jumps through a one-word slot (as every exported name
// does) to a body that returns "no error" at once, called through a pointer, from the same loop, at the
// same placements and with the same arguments as the timed kernels. A kernel's time is at least this floor
// plus its arithmetic, so the reports set floor + bound beside FFTW's time: the ratio a kernel would have
// if its arithmetic ran at the bound.
#ifndef ZSPGEN_BENCH_CALL_FLOOR_H
#define ZSPGEN_BENCH_CALL_FLOOR_H

#include <benchmark/benchmark.h>

#include "kernel_counters.h"
#include "placement.h"

extern "C" int zspBenchEmptyKernel(const void* src, void* dst, int hint);

namespace zsp::bench {

// The entry, its slot and the empty body, laid out as the library lays out its own: entry and body each
// start a 16-byte line of their own, the slot is a writable word. They are defined here, not declared:
// one source file of a program includes this header.
asm(R"(
        .text
        .p2align 4
        .globl zspBenchEmptyKernel
        .type zspBenchEmptyKernel, @function
zspBenchEmptyKernel:
        jmp *zspBenchEmptyKernel_slot(%rip)
        .size zspBenchEmptyKernel, .-zspBenchEmptyKernel
        .p2align 4
zspBenchEmptyKernel_body:
        xorl %eax, %eax
        ret
        .data
        .p2align 3
zspBenchEmptyKernel_slot:
        .quad zspBenchEmptyKernel_body
        .text
)");

// Registers "CallFloor/floor": the empty kernel timed as `ours` times the library's.
inline void registerCallFloor() {
  benchmark::RegisterBenchmark("CallFloor/floor", [](benchmark::State& state) {
    auto* volatile pointer = &zspBenchEmptyKernel;
    const auto kernel = pointer;
    const int k = nextPlacement();
    PlacedArray<double> in(k, 0, 128), out(k, 1, 128);
    withStackAt(k, [&] {
      for (auto _ : state) {
        kernel(in.data, out.data, ZSP_NODIV_BY_ANY);
        benchmark::DoNotOptimize(out.data);
        benchmark::ClobberMemory();
      }
    });
    cycleCounters(state);
  });
}

}  // namespace zsp::bench

#endif  // ZSPGEN_BENCH_CALL_FLOOR_H
