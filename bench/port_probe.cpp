// Which execution ports the single-precision real kernels' conversions, and the four-lane complex
// kernels' shuffles, compete for. Runs a loop of 16
// independent scalar double additions (two per cycle at best), then the same loop with 4 or 8 widenings
// (cvtss2sd), 4 narrowings (cvtsd2ss), 4 multiplications or 4 lane shuffles (shufps, unpcklps and
// unpckhps, as the four-lane complex kernels use them) added; then 16 packed double additions with the
// two-lane kernels' lane swaps (pshufd) or sign flips (xorpd) added, and the four-lane kernels' 64-bit
// loads and stores of a register's high half (movhps) beside packed single additions. It prints cycles per
// iteration at the core clock measured in the same run. If the conversions shared no port with the
// additions, adding them would cost nothing; every two cycles per four conversions means they run on the
// adders' two ports. Shuffles cost one cycle per four: half of them take an adder's slot.
// Then the mix of a kernel body (additions, multiplications, copies, loads, stores), growing until the
// instructions rather than the additions set the time: how many the processor takes per cycle.
//
//     build/bench/port_probe
#include <algorithm>
#include <chrono>
#include <cstdio>

#include "core_clock.h"

namespace {

#define ZSP_ADDS8                                                                                          \
  "addsd %%xmm8, %%xmm0\n\taddsd %%xmm8, %%xmm1\n\taddsd %%xmm8, %%xmm2\n\taddsd %%xmm8, %%xmm3\n\t"      \
  "addsd %%xmm8, %%xmm4\n\taddsd %%xmm8, %%xmm5\n\taddsd %%xmm8, %%xmm6\n\taddsd %%xmm8, %%xmm7\n\t"
// Each conversion writes a register zeroed just before, as the kernels' code does, so none waits on another.
#define ZSP_WIDEN4                                                                                         \
  "pxor %%xmm9, %%xmm9\n\tcvtss2sd %%xmm15, %%xmm9\n\tpxor %%xmm10, %%xmm10\n\tcvtss2sd %%xmm15, %%xmm10\n\t" \
  "pxor %%xmm11, %%xmm11\n\tcvtss2sd %%xmm15, %%xmm11\n\tpxor %%xmm12, %%xmm12\n\tcvtss2sd %%xmm15, %%xmm12\n\t"
#define ZSP_NARROW4                                                                                        \
  "pxor %%xmm9, %%xmm9\n\tcvtsd2ss %%xmm14, %%xmm9\n\tpxor %%xmm10, %%xmm10\n\tcvtsd2ss %%xmm14, %%xmm10\n\t" \
  "pxor %%xmm11, %%xmm11\n\tcvtsd2ss %%xmm14, %%xmm11\n\tpxor %%xmm12, %%xmm12\n\tcvtsd2ss %%xmm14, %%xmm12\n\t"
#define ZSP_SHUFFLE4                                                                                       \
  "movaps %%xmm15, %%xmm9\n\tshufps $0x88, %%xmm14, %%xmm9\n\tmovaps %%xmm15, %%xmm10\n\tshufps $0xdd, %%xmm14, %%xmm10\n\t" \
  "movaps %%xmm15, %%xmm11\n\tunpcklps %%xmm14, %%xmm11\n\tmovaps %%xmm15, %%xmm12\n\tunpckhps %%xmm14, %%xmm12\n\t"
// The two-lane kernels' lane swap (a multiplication by the imaginary unit, and half of every product by a
// complex constant) and their sign flips, beside packed double additions.
#define ZSP_ADDPD8                                                                                         \
  "addpd %%xmm8, %%xmm0\n\taddpd %%xmm8, %%xmm1\n\taddpd %%xmm8, %%xmm2\n\taddpd %%xmm8, %%xmm3\n\t"      \
  "addpd %%xmm8, %%xmm4\n\taddpd %%xmm8, %%xmm5\n\taddpd %%xmm8, %%xmm6\n\taddpd %%xmm8, %%xmm7\n\t"
#define ZSP_SWAP4                                                                                          \
  "pshufd $0x4e, %%xmm15, %%xmm9\n\tpshufd $0x4e, %%xmm14, %%xmm10\n\t"                                   \
  "pshufd $0x4e, %%xmm15, %%xmm11\n\tpshufd $0x4e, %%xmm14, %%xmm12\n\t"
#define ZSP_FLIP4                                                                                          \
  "movaps %%xmm15, %%xmm9\n\txorpd %%xmm14, %%xmm9\n\tmovaps %%xmm15, %%xmm10\n\txorpd %%xmm14, %%xmm10\n\t" \
  "movaps %%xmm15, %%xmm11\n\txorpd %%xmm14, %%xmm11\n\tmovaps %%xmm15, %%xmm12\n\txorpd %%xmm14, %%xmm12\n\t"
#define ZSP_MUL4                                                                                           \
  "movapd %%xmm15, %%xmm9\n\tmulsd %%xmm8, %%xmm9\n\tmovapd %%xmm15, %%xmm10\n\tmulsd %%xmm8, %%xmm10\n\t" \
  "movapd %%xmm15, %%xmm11\n\tmulsd %%xmm8, %%xmm11\n\tmovapd %%xmm15, %%xmm12\n\tmulsd %%xmm8, %%xmm12\n\t"

// The four-lane kernels' gathered loads and stores: a 64-bit move into or out of a register's high half,
// beside the loads and stores of a low half.
#define ZSP_ADDPS8                                                                                         \
  "addps %%xmm8, %%xmm0\n\taddps %%xmm8, %%xmm1\n\taddps %%xmm8, %%xmm2\n\taddps %%xmm8, %%xmm3\n\t"      \
  "addps %%xmm8, %%xmm4\n\taddps %%xmm8, %%xmm5\n\taddps %%xmm8, %%xmm6\n\taddps %%xmm8, %%xmm7\n\t"
#define ZSP_LOAD_HIGH8                                                                                     \
  "movhps (%0), %%xmm9\n\tmovhps 8(%0), %%xmm10\n\tmovhps 16(%0), %%xmm11\n\tmovhps 24(%0), %%xmm12\n\t"   \
  "movhps 32(%0), %%xmm9\n\tmovhps 40(%0), %%xmm10\n\tmovhps 48(%0), %%xmm11\n\tmovhps 56(%0), %%xmm12\n\t"
#define ZSP_LOAD_LOW8                                                                                      \
  "movlps (%0), %%xmm9\n\tmovlps 8(%0), %%xmm10\n\tmovlps 16(%0), %%xmm11\n\tmovlps 24(%0), %%xmm12\n\t"   \
  "movlps 32(%0), %%xmm9\n\tmovlps 40(%0), %%xmm10\n\tmovlps 48(%0), %%xmm11\n\tmovlps 56(%0), %%xmm12\n\t"
#define ZSP_STORE_HIGH8                                                                                    \
  "movhps %%xmm14, 64(%0)\n\tmovhps %%xmm14, 72(%0)\n\tmovhps %%xmm14, 80(%0)\n\tmovhps %%xmm14, 88(%0)\n\t" \
  "movhps %%xmm14, 96(%0)\n\tmovhps %%xmm14, 104(%0)\n\tmovhps %%xmm14, 112(%0)\n\tmovhps %%xmm14, 120(%0)\n\t"

// Eight register copies; eight loads and eight stores of doubles at `%0`, a buffer of 16. With the
// multiplications above they make the mix of a kernel's body, to see how many instructions of it the
// processor takes per cycle once the adders are not the limit.
#define ZSP_COPY8                                                                                          \
  "movapd %%xmm15, %%xmm9\n\tmovapd %%xmm15, %%xmm10\n\tmovapd %%xmm15, %%xmm11\n\tmovapd %%xmm15, %%xmm12\n\t" \
  "movapd %%xmm14, %%xmm9\n\tmovapd %%xmm14, %%xmm10\n\tmovapd %%xmm14, %%xmm11\n\tmovapd %%xmm14, %%xmm12\n\t"
#define ZSP_LOAD8                                                                                          \
  "movsd (%0), %%xmm9\n\tmovsd 8(%0), %%xmm10\n\tmovsd 16(%0), %%xmm11\n\tmovsd 24(%0), %%xmm12\n\t"       \
  "movsd 32(%0), %%xmm9\n\tmovsd 40(%0), %%xmm10\n\tmovsd 48(%0), %%xmm11\n\tmovsd 56(%0), %%xmm12\n\t"
#define ZSP_STORE8                                                                                         \
  "movsd %%xmm14, 64(%0)\n\tmovsd %%xmm14, 72(%0)\n\tmovsd %%xmm14, 80(%0)\n\tmovsd %%xmm14, 88(%0)\n\t"   \
  "movsd %%xmm14, 96(%0)\n\tmovsd %%xmm14, 104(%0)\n\tmovsd %%xmm14, 112(%0)\n\tmovsd %%xmm14, 120(%0)\n\t"

template <class Body>
double cyclesPerIteration(Body body) {
  constexpr long kIterations = 10'000'000;
  double best = 1e300;
  for (int attempt = 0; attempt < 5; ++attempt) {
    const auto start = std::chrono::steady_clock::now();
    for (long i = 0; i < kIterations; ++i) body();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    best = std::min(best, took.count() / kIterations);
  }
  return best * zsp::bench::coreClockHz();
}

// The buffer the loads and stores address; the other loops leave it alone.
double gBuffer[16];

#define ZSP_LOOP(code)                                                                                   \
  [] {                                                                                                   \
    asm volatile(code ::"r"(gBuffer) : "memory", "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", \
                 "xmm7", "xmm9", "xmm10", "xmm11", "xmm12");                                             \
  }

// One line: what the loop holds and its cycles per iteration.
template <class Body>
void line(const char* what, Body body) {
  std::printf("%-62s %5.2f\n", what, cyclesPerIteration(body));
}

// One line of the mix: its instructions per iteration and per cycle.
template <class Body>
void mix(const char* what, int instructions, Body body) {
  const double cycles = cyclesPerIteration(body);
  std::printf("%-62s %5.2f  (%d instructions, %.2f per cycle)\n", what, cycles, instructions, instructions / cycles);
}

}  // namespace

int main() {
  // Zeros in the inputs: no denormals, no infinities.
  asm volatile("pxor %%xmm8, %%xmm8\n\tpxor %%xmm14, %%xmm14\n\tpxor %%xmm15, %%xmm15" ::: "xmm8", "xmm14", "xmm15");
  std::printf("core clock %.2f GHz; cycles per iteration:\n", zsp::bench::coreClockHz() / 1e9);
  line("16 additions", ZSP_LOOP(ZSP_ADDS8 ZSP_ADDS8));
  line("16 additions, 4 widenings", ZSP_LOOP(ZSP_ADDS8 ZSP_ADDS8 ZSP_WIDEN4));
  line("16 additions, 8 widenings", ZSP_LOOP(ZSP_ADDS8 ZSP_ADDS8 ZSP_WIDEN4 ZSP_WIDEN4));
  line("16 additions, 4 narrowings", ZSP_LOOP(ZSP_ADDS8 ZSP_ADDS8 ZSP_NARROW4));
  line("16 additions, 4 multiplications", ZSP_LOOP(ZSP_ADDS8 ZSP_ADDS8 ZSP_MUL4));
  line("16 additions, 4 shuffles", ZSP_LOOP(ZSP_ADDS8 ZSP_ADDS8 ZSP_SHUFFLE4));
  line("16 additions, 8 shuffles", ZSP_LOOP(ZSP_ADDS8 ZSP_ADDS8 ZSP_SHUFFLE4 ZSP_SHUFFLE4));
  line("8 shuffles", ZSP_LOOP(ZSP_SHUFFLE4 ZSP_SHUFFLE4));
  line("16 packed double additions", ZSP_LOOP(ZSP_ADDPD8 ZSP_ADDPD8));
  line("16 packed double additions, 4 swaps", ZSP_LOOP(ZSP_ADDPD8 ZSP_ADDPD8 ZSP_SWAP4));
  line("16 packed double additions, 8 swaps", ZSP_LOOP(ZSP_ADDPD8 ZSP_ADDPD8 ZSP_SWAP4 ZSP_SWAP4));
  line("16 packed double additions, 8 flips", ZSP_LOOP(ZSP_ADDPD8 ZSP_ADDPD8 ZSP_FLIP4 ZSP_FLIP4));
  line("8 swaps", ZSP_LOOP(ZSP_SWAP4 ZSP_SWAP4));
  line("16 packed single additions", ZSP_LOOP(ZSP_ADDPS8 ZSP_ADDPS8));
  line("16 packed single additions, 8 high loads", ZSP_LOOP(ZSP_ADDPS8 ZSP_ADDPS8 ZSP_LOAD_HIGH8));
  line("16 packed single additions, 16 high loads", ZSP_LOOP(ZSP_ADDPS8 ZSP_ADDPS8 ZSP_LOAD_HIGH8 ZSP_LOAD_HIGH8));
  line("16 packed single additions, 8 low loads", ZSP_LOOP(ZSP_ADDPS8 ZSP_ADDPS8 ZSP_LOAD_LOW8));
  line("16 packed single additions, 8 high stores", ZSP_LOOP(ZSP_ADDPS8 ZSP_ADDPS8 ZSP_STORE_HIGH8));
  line("16 packed single additions, 8 low stores", ZSP_LOOP(ZSP_ADDPS8 ZSP_ADDPS8 ZSP_STORE8));
  mix("16 additions, 8 multiplications, 8 copies", 32, ZSP_LOOP(ZSP_ADDS8 ZSP_ADDS8 ZSP_MUL4 ZSP_MUL4));
  mix("16 additions, 8 multiplications, 8 copies, 8 loads", 40,
      ZSP_LOOP(ZSP_ADDS8 ZSP_ADDS8 ZSP_MUL4 ZSP_MUL4 ZSP_LOAD8));
  mix("16 additions, 8 multiplications, 16 copies, 8 loads", 48,
      ZSP_LOOP(ZSP_ADDS8 ZSP_ADDS8 ZSP_MUL4 ZSP_MUL4 ZSP_COPY8 ZSP_LOAD8));
  mix("16 additions, 8 multiplications, 8 copies, 8 loads, 8 stores", 48,
      ZSP_LOOP(ZSP_ADDS8 ZSP_ADDS8 ZSP_MUL4 ZSP_MUL4 ZSP_LOAD8 ZSP_STORE8));
  return 0;
}
