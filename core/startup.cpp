// Start-up and shut-down of the shared object, and the library's one variable.
#include "zspcore.h"
#include "zspgen_x3.h"

// Records whether the processor reports both feature bits 0x10 and 0x20 enabled. Written once, by the
// start-up routine inside the loader; this build has one set of kernels, so nothing reads it.
extern "C" __attribute__((visibility("hidden"))) Zsp32s zspJumpIndexForMergedDLL = 0;

extern "C" __attribute__((visibility("hidden"), used)) int x3_owngLibraryStartup(void) {
  zspGetCpuFeatures(nullptr, nullptr);
  const Zsp64u mask = zspGetEnabledCpuFeatures();
  const Zsp64u wanted = 0x10 | 0x20;
  zspJumpIndexForMergedDLL = (mask & wanted) == wanted ? 1 : 0;
  return 1;
}

extern "C" __attribute__((visibility("hidden"), used)) void x3_owngLibraryFinish(void) {}

// The loader calls the entries of these arrays directly; no wrapper stands in between.
__attribute__((section(".init_array"), used)) static int (*const startupEntry)(void) = x3_owngLibraryStartup;
__attribute__((section(".fini_array"), used)) static void (*const finishEntry)(void) = x3_owngLibraryFinish;
