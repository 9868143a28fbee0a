// Processor feature queries: CPUID for what the processor has, XGETBV for what the OS lets us use.
#include "zspcore.h"

#include <cpuid.h>

namespace {

struct CpuidRegs {
  uint32_t eax, ebx, ecx, edx;
};

CpuidRegs cpuid(uint32_t leaf, uint32_t subleaf) {
  CpuidRegs r{0, 0, 0, 0};
  if (__get_cpuid_max(0, nullptr) >= leaf) __cpuid_count(leaf, subleaf, r.eax, r.ebx, r.ecx, r.edx);
  return r;
}

uint64_t bitIf(uint32_t reg, int bit, uint64_t feature) { return ((reg >> bit) & 1u) ? feature : 0; }

uint64_t featuresOf(const CpuidRegs& l1, const CpuidRegs& l7) {
  uint64_t m = 0;
  m |= bitIf(l1.edx, 23, ZSP_CPU_MMX) | bitIf(l1.edx, 25, ZSP_CPU_SSE) | bitIf(l1.edx, 26, ZSP_CPU_SSE2);
  m |= bitIf(l1.ecx, 0, ZSP_CPU_SSE3) | bitIf(l1.ecx, 9, ZSP_CPU_SSSE3) | bitIf(l1.ecx, 22, ZSP_CPU_MOVBE);
  m |= bitIf(l1.ecx, 19, ZSP_CPU_SSE41) | bitIf(l1.ecx, 20, ZSP_CPU_SSE42) | bitIf(l1.ecx, 28, ZSP_CPU_AVX);
  m |= bitIf(l1.ecx, 25, ZSP_CPU_AES) | bitIf(l1.ecx, 1, ZSP_CPU_CLMUL) | bitIf(l1.ecx, 23, ZSP_CPU_POPCNT);
  m |= bitIf(l1.ecx, 29, ZSP_CPU_F16C) | bitIf(l1.ecx, 12, ZSP_CPU_FMA) | bitIf(l7.ebx, 5, ZSP_CPU_AVX2);
  m |= bitIf(l7.ebx, 3, ZSP_CPU_BMI1) | bitIf(l7.ebx, 8, ZSP_CPU_BMI2) | bitIf(l7.ebx, 16, ZSP_CPU_AVX512F);
  m |= bitIf(l1.ecx, 26, ZSP_CPU_XSAVE) | bitIf(l1.ecx, 27, ZSP_CPU_OSXSAVE);
  return m;
}

// XCR0: which register states the operating system saves on a context switch.
uint64_t xcr0() {
  uint32_t lo, hi;
  __asm__ volatile("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
  return (static_cast<uint64_t>(hi) << 32) | lo;
}

}  // namespace

extern "C" int32_t zspGetCpuFeatures(uint64_t* pFeaturesMask, uint32_t pCpuidInfoRegs[4]) {
  const CpuidRegs l1 = cpuid(1, 0);
  if (pFeaturesMask) *pFeaturesMask = featuresOf(l1, cpuid(7, 0));
  if (pCpuidInfoRegs) {
    pCpuidInfoRegs[0] = l1.eax;
    pCpuidInfoRegs[1] = l1.ebx;
    pCpuidInfoRegs[2] = l1.ecx;
    pCpuidInfoRegs[3] = l1.edx;
  }
  return 0;
}

extern "C" uint64_t zspGetEnabledCpuFeatures(void) {
  uint64_t m = 0;
  zspGetCpuFeatures(&m, nullptr);
  const uint64_t ymmState = 0x6, zmmState = 0xE6;  // XMM|YMM; plus opmask and ZMM halves
  const uint64_t saved = (m & ZSP_CPU_OSXSAVE) ? xcr0() : 0;
  if ((saved & ymmState) != ymmState) m &= ~(ZSP_CPU_AVX | ZSP_CPU_F16C | ZSP_CPU_FMA | ZSP_CPU_AVX2);
  if ((saved & zmmState) != zmmState) m &= ~ZSP_CPU_AVX512F;
  return m;
}
