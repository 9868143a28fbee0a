// The real DFT and Hartley kernels are scalar code: every operation works on one value, and no packed
// arithmetic instruction (one that computes on two or four lanes) appears in any of their bodies, in
// either precision. The compiler flags keep the vectorizers away from them; this holds the library as
// built to it. Read with the disassembler over the kernels' own address ranges from the symbol table:
// each kernel, which holds its checks and its body without the scale, and the body with the scale that
// it jumps to under the other hints.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <regex>
#include <string>
#include <vector>

#include "elf_symbols.h"
#include "zspgen.h"

namespace {

struct Body {
  uint64_t start, end;
  std::string name;
  int scalar = 0;
  std::vector<std::string> packed;
};

// Arithmetic on packed lanes. Moves of whole registers (movaps) and the sign flips (xorps on a single
// value's register) are not arithmetic.
const std::regex kPacked("(add|sub|mul|div|sqrt|min|max|hadd|hsub|addsub|rcp|rsqrt)p[sd]|cvtps2pd|cvtpd2ps|cvtdq2p[sd]|cvtp[sd]2dq|dpp[sd]");
const std::regex kScalar("(add|sub|mul)s[sd]");

TEST(RealKernels, EveryBodyIsScalar) {
  const zsp::test::LibrarySymbols lib = zsp::test::symbolsOfLibraryContaining(reinterpret_cast<const void*>(&zspgHartley_32f));
  const std::regex kernel("x3_zspg(DFTFwd_RTo(CCS|Pack|Perm)|DFTInv_(CCS|Pack|Perm)ToR|Hartley)_[0-9]+_(32|64)f(_scaled)?");
  std::vector<Body> bodies;
  for (const auto& [name, value] : lib.value)
    if (std::regex_match(name, kernel)) bodies.push_back({value, value + lib.size.at(name), name});
  // 63 lengths, two precisions: forward and inverse in three formats each, and the Hartley transform;
  // each kernel and its scaled body, every one at an address of its own.
  ASSERT_EQ(bodies.size(), 63u * 2 * 7 * 2);
  std::sort(bodies.begin(), bodies.end(), [](const Body& a, const Body& b) { return a.start < b.start; });
  for (size_t i = 1; i < bodies.size(); ++i)
    ASSERT_GE(bodies[i].start, bodies[i - 1].end) << bodies[i].name << " overlaps " << bodies[i - 1].name;

  char range[128];
  std::snprintf(range, sizeof range, "--start-address=0x%llx --stop-address=0x%llx",
                static_cast<unsigned long long>(bodies.front().start), static_cast<unsigned long long>(bodies.back().end));
  const std::string command = "objdump -d --no-show-raw-insn " + std::string(range) + " '" + lib.path + "'";
  FILE* pipe = popen(command.c_str(), "r");
  ASSERT_NE(pipe, nullptr) << command;
  // Instruction lines read "  <hex address>:\t<mnemonic> <operands>".
  char line[512];
  while (std::fgets(line, sizeof line, pipe)) {
    unsigned long long address = 0;
    char mnemonic[32];
    if (std::sscanf(line, " %llx:\t%31s", &address, mnemonic) != 2) continue;
    const auto after = std::upper_bound(bodies.begin(), bodies.end(), address,
                                        [](uint64_t a, const Body& b) { return a < b.start; });
    if (after == bodies.begin() || address >= std::prev(after)->end) continue;
    Body& body = *std::prev(after);
    if (std::regex_match(mnemonic, kScalar)) ++body.scalar;
    if (std::regex_match(mnemonic, kPacked)) body.packed.push_back(mnemonic);
  }
  ASSERT_EQ(pclose(pipe), 0) << command;

  for (const Body& body : bodies) {
    EXPECT_GT(body.scalar, 0) << body.name << ": no scalar arithmetic read";
    EXPECT_TRUE(body.packed.empty()) << body.name << ": " << body.packed.size() << " packed, the first " << body.packed[0];
  }
}

}  // namespace
