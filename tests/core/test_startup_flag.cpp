// The start-up routine, run by the loader, asks the core services for the processor's features and sets
// the library's flag from bits 0x10 and 0x20. This executable answers the feature queries itself and
// loads the library afresh for each answer.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "elf_symbols.h"
#include "zspgen.h"

namespace {
uint64_t gMask = 0;
int gCpuFeatureCalls = 0;
bool gCalledWithNulls = false;
}  // namespace

extern "C" int32_t zspGetCpuFeatures(uint64_t* mask, uint32_t* regs) {
  ++gCpuFeatureCalls;
  gCalledWithNulls = mask == nullptr && regs == nullptr;
  return 0;
}

extern "C" uint64_t zspGetEnabledCpuFeatures(void) { return gMask; }

namespace {

struct LoadResult {
  int32_t flag;
  std::vector<float> output;
};

LoadResult loadWithMask(uint64_t mask) {
  gMask = mask;
  gCpuFeatureCalls = 0;
  void* lib = dlopen(ZSPGEN_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  if (lib == nullptr) throw std::runtime_error(dlerror());
  auto wht = reinterpret_cast<zspStatus (*)(const Zsp32f*, Zsp32f*, Zsp32s, Zsp8u*)>(dlsym(lib, "zspgWHT_5_32f"));
  const auto symbols = zsp::test::symbolsOfLibraryContaining(reinterpret_cast<const void*>(wht));
  LoadResult r;
  r.flag = *reinterpret_cast<const int32_t*>(symbols.address("zspJumpIndexForMergedDLL"));
  std::vector<float> in(32);
  for (int i = 0; i < 32; ++i) in[i] = 0.1f * static_cast<float>(i * i % 7) - 0.3f;
  r.output.resize(32);
  if (wht(in.data(), r.output.data(), ZSP_DIV_BY_SQRTN, nullptr) != zspStsNoErr) r.output.clear();
  dlclose(lib);
  return r;
}

TEST(StartUp, FlagIsSetOnlyWhenBothFeatureBitsAreEnabled) {
  const LoadResult both = loadWithMask(0x30);
  EXPECT_EQ(both.flag, 1);
  EXPECT_EQ(gCpuFeatureCalls, 1);
  EXPECT_TRUE(gCalledWithNulls);
  ASSERT_EQ(both.output.size(), 32u);
  for (uint64_t mask : {0x20ull, 0x10ull, 0x0ull, 0xFFFFFFFFFFFFFFCFull}) {
    SCOPED_TRACE(mask);
    const LoadResult r = loadWithMask(mask);
    EXPECT_EQ(r.flag, 0);
    EXPECT_EQ(r.output, both.output);  // the flag chooses nothing in this build
  }
  EXPECT_EQ(loadWithMask(~0ull).flag, 1);
}

}  // namespace
