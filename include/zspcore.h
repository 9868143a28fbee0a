/* zspcore: core services of zspgen: processor features and aligned memory. */
#ifndef ZSPCORE_H
#define ZSPCORE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Feature mask bits, as returned by zspGetCpuFeatures and zspGetEnabledCpuFeatures. */
#define ZSP_CPU_MMX     0x0001ULL /* CPUID.1:EDX.23 */
#define ZSP_CPU_SSE     0x0002ULL /* CPUID.1:EDX.25 */
#define ZSP_CPU_SSE2    0x0004ULL /* CPUID.1:EDX.26 */
#define ZSP_CPU_SSE3    0x0008ULL /* CPUID.1:ECX.0 */
#define ZSP_CPU_SSSE3   0x0010ULL /* CPUID.1:ECX.9 */
#define ZSP_CPU_MOVBE   0x0020ULL /* CPUID.1:ECX.22 */
#define ZSP_CPU_SSE41   0x0040ULL /* CPUID.1:ECX.19 */
#define ZSP_CPU_SSE42   0x0080ULL /* CPUID.1:ECX.20 */
#define ZSP_CPU_AVX     0x0100ULL /* CPUID.1:ECX.28, enabled only with OS support of XMM and YMM state */
#define ZSP_CPU_AES     0x0200ULL /* CPUID.1:ECX.25 */
#define ZSP_CPU_CLMUL   0x0400ULL /* CPUID.1:ECX.1 */
#define ZSP_CPU_POPCNT  0x0800ULL /* CPUID.1:ECX.23 */
#define ZSP_CPU_F16C    0x1000ULL /* CPUID.1:ECX.29, needs AVX */
#define ZSP_CPU_FMA     0x2000ULL /* CPUID.1:ECX.12, needs AVX */
#define ZSP_CPU_AVX2    0x4000ULL /* CPUID.7.0:EBX.5, needs AVX */
#define ZSP_CPU_BMI1    0x8000ULL /* CPUID.7.0:EBX.3 */
#define ZSP_CPU_BMI2    0x10000ULL /* CPUID.7.0:EBX.8 */
#define ZSP_CPU_AVX512F 0x20000ULL /* CPUID.7.0:EBX.16, enabled only with OS support of ZMM state */
#define ZSP_CPU_XSAVE   0x40000ULL /* CPUID.1:ECX.26 */
#define ZSP_CPU_OSXSAVE 0x80000ULL /* CPUID.1:ECX.27 */

/* Features the processor reports (ignoring operating-system support). Either pointer may be null.
 * pFeaturesMask receives the mask; pCpuidInfoRegs, if given, the four registers EAX, EBX, ECX, EDX of
 * CPUID leaf 1. Returns 0. */
int32_t zspGetCpuFeatures(uint64_t* pFeaturesMask, uint32_t pCpuidInfoRegs[4]);

/* Features that can be used: those of zspGetCpuFeatures less the vector extensions whose register state
 * the operating system does not save (checked with XGETBV). */
uint64_t zspGetEnabledCpuFeatures(void);

/* Memory aligned to 64 bytes, or null; a length of 0 or below gives null. Blocks from 4 MiB on are
 * aligned to 2 MiB and advised for 2 MiB pages where the system offers them (madvise). */
void* zspMalloc(int32_t length);

/* Releases memory from zspMalloc; null is a no-op. */
void zspFree(void* ptr);

#ifdef __cplusplus
}
#endif

#endif /* ZSPCORE_H */
