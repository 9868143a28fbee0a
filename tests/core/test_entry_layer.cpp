// The entry layer: every exported name is a bare jump through its own slot to its own implementation,
// the version record reads as promised, and the start-up flag follows the processor's features.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "elf_symbols.h"
#include "zspcore.h"
#include "zspgen.h"

namespace {

const zsp::test::LibrarySymbols& library() {
  static const zsp::test::LibrarySymbols symbols =
      zsp::test::symbolsOfLibraryContaining(reinterpret_cast<const void*>(&zspgenGetLibVersion));
  return symbols;
}

std::vector<std::string> exportedNames() {
  std::vector<std::string> names;
  std::ifstream in(ZSPGEN_EXPORTED_NAMES);
  for (std::string line; std::getline(in, line);)
    if (!line.empty()) names.push_back(line);
  return names;
}

TEST(EntryLayer, EveryExportJumpsThroughItsOwnSlotToItsOwnImplementation) {
  const std::vector<std::string> names = exportedNames();
  ASSERT_FALSE(names.empty()) << "cannot read " ZSPGEN_EXPORTED_NAMES;
  void* self = dlopen(library().path.c_str(), RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(self, nullptr);
  for (const std::string& name : names) {
    SCOPED_TRACE(name);
    const auto* entry = static_cast<const uint8_t*>(dlsym(self, name.c_str()));
    ASSERT_NE(entry, nullptr);
    // jmp *disp32(%rip): the entry's first and only instruction, so no frame and no argument is touched.
    ASSERT_EQ(entry[0], 0xFF);
    ASSERT_EQ(entry[1], 0x25);
    int32_t disp;
    std::memcpy(&disp, entry + 2, sizeof disp);
    const uintptr_t slot = reinterpret_cast<uintptr_t>(entry) + 6 + disp;
    EXPECT_EQ(slot, library().address(name + "_arraddr"));
    const uintptr_t target = *reinterpret_cast<const uintptr_t*>(slot);
    EXPECT_EQ(target, library().address("x3_" + name));
    EXPECT_NE(target, 0u);
  }
  dlclose(self);
}

// A fixed-length kernel never hands its work to another: its implementation is a body of its own, not a
// jump to a twin whose code came out the same (as the compiler's folding of identical functions makes).
// A jump at the entry may only land inside the body: instrumented builds jump over data placed there.
TEST(EntryLayer, EveryFixedLengthKernelIsABodyOfItsOwn) {
  const std::regex fixedLength(".*_[0-9]+_(32|64)fc?");
  int kernels = 0;
  for (const std::string& name : exportedNames()) {
    if (!std::regex_match(name, fixedLength)) continue;
    ++kernels;
    const std::string body = "x3_" + name;
    const uintptr_t at = library().address(body);
    ASSERT_NE(at, 0u) << body;
    const uint64_t size = library().size.at(body);
    EXPECT_GT(size, 16u) << body;
    const auto* code = reinterpret_cast<const uint8_t*>(at);
    if (code[0] != 0xE9 && code[0] != 0xEB) continue;
    int32_t offset = static_cast<int8_t>(code[1]);
    uintptr_t next = at + 2;
    if (code[0] == 0xE9) std::memcpy(&offset, code + 1, sizeof offset), next = at + 5;
    const uintptr_t target = next + offset;
    EXPECT_TRUE(target > at && target < at + size) << body << " starts with a jump out of its body";
  }
  // DFT 2 x 2 x 63, real forward and inverse 2 x 3 x 2 x 63, Hartley 2 x 63, Walsh-Hadamard 2 x 13.
  EXPECT_EQ(kernels, 252 + 756 + 126 + 26);
}

TEST(EntryLayer, VersionRecordReadsAsPromised) {
  const zspLibraryVersion* v = zspgenGetLibVersion();
  ASSERT_EQ(v, zspgenGetLibVersion());
  EXPECT_EQ(reinterpret_cast<uintptr_t>(v), library().address("s_libVer"));
  EXPECT_EQ(v->versionMajor, 8);
  EXPECT_EQ(v->versionMinor, 2);
  EXPECT_EQ(v->versionPatch, 1);
  EXPECT_GE(v->versionBuild, 0);
  EXPECT_EQ(std::memcmp(v->targetCode, "x3\0\0", 4), 0);
  EXPECT_STREQ(v->nameText, "zspGEN SSE3 (x3 threaded)");
  EXPECT_EQ(std::string(v->versionText), "8.2.1 (r" + std::to_string(v->versionBuild) + ")");
  EXPECT_TRUE(std::regex_match(v->buildDateText,
                               std::regex("(Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) [ 123][0-9] [0-9]{4}")))
      << v->buildDateText;
}

TEST(EntryLayer, StartUpFlagFollowsBothFeatureBits) {
  const uintptr_t flag = library().address("zspJumpIndexForMergedDLL");
  ASSERT_NE(flag, 0u);
  const bool both = (zspGetEnabledCpuFeatures() & 0x30) == 0x30;
  EXPECT_EQ(*reinterpret_cast<const int32_t*>(flag), both ? 1 : 0);
}

TEST(CoreServices, MemoryIsAlignedAndFreeAcceptsNull) {
  for (int32_t length : {1, 16, 1000, 73728, 5 << 20, (4 << 20) + 1}) {
    void* p = zspMalloc(length);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 64, 0u);
    std::memset(p, 0x5A, static_cast<size_t>(length));
    zspFree(p);
  }
  zspFree(nullptr);
}

TEST(CoreServices, FeatureQueriesAgree) {
  uint64_t reported = 0;
  uint32_t regs[4] = {0, 0, 0, 0};
  EXPECT_EQ(zspGetCpuFeatures(nullptr, nullptr), 0);
  EXPECT_EQ(zspGetCpuFeatures(&reported, regs), 0);
  EXPECT_NE(regs[0], 0u);  // the processor signature of leaf 1
  // This build needs SSE3, and what can be used is a part of what is reported.
  EXPECT_NE(reported & ZSP_CPU_SSE3, 0u);
  EXPECT_EQ(zspGetEnabledCpuFeatures() & ~reported, 0u);
}

}  // namespace
