// The buffer size query: the exact sizes of the reference table (wrap-around rows included) and the set of
// accepted lengths over a dense small range and around every power of two.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "zspgen.h"

namespace {

using GetSize = zspStatus (*)(Zsp32s, Zsp32s*);

bool isPow2(int64_t n) { return n > 0 && (n & (n - 1)) == 0; }

// Accepted lengths: the direct lengths, 2^k and 2^k + 1 within the planner's range, and the lengths whose
// sizes wrap around 2^32 and come out positive.
bool accepted(int64_t n, bool single) {
  if (n == 2 || n == 4 || n == 8 || n == 16 || n == 32 || n == 33) return true;
  if (!single && (n == 9 || n == 17)) return true;
  const int64_t p = isPow2(n) ? n : n - 1;
  if (!isPow2(p) || p < 64) return false;
  const int k = __builtin_ctzll(static_cast<uint64_t>(p));
  if (single) return k <= 26 || k == 30;
  return k <= 25 || k == 29 || k == 30;
}

TEST(DCT4Size, ReportsTheReferenceTable) {
  std::ifstream in(ZSPGEN_TEST_DATA "/dct4_sizes.txt");
  ASSERT_TRUE(in) << "missing dct4_sizes.txt";
  std::string line;
  int rows = 0;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    int64_t n;
    std::string expected[2];
    fields >> n >> expected[0] >> expected[1];
    const GetSize query[2] = {zspgDCT4GetSize_32f, zspgDCT4GetSize_64f};
    for (int p = 0; p < 2; ++p) {
      if (expected[p] == "?") continue;
      Zsp32s size = -1;
      const zspStatus st = query[p](static_cast<Zsp32s>(n), &size);
      if (expected[p] == "-") {
        EXPECT_EQ(st, zspStsSizeErr) << n;
        EXPECT_EQ(size, -1) << "size written on refusal, N=" << n;
      } else {
        EXPECT_EQ(st, zspStsNoErr) << n;
        EXPECT_EQ(size, std::stoll(expected[p])) << "N=" << n << (p ? " double" : " single");
      }
      ++rows;
    }
  }
  EXPECT_GT(rows, 50);
}

TEST(DCT4Size, AcceptsExactlyThePlannableLengths) {
  for (int p = 0; p < 2; ++p) {
    const GetSize query = p ? zspgDCT4GetSize_64f : zspgDCT4GetSize_32f;
    auto check = [&](int64_t n) {
      Zsp32s size = 0;
      const zspStatus st = query(static_cast<Zsp32s>(n), &size);
      ASSERT_EQ(st == zspStsNoErr, accepted(n, p == 0)) << "N=" << n << (p ? " double" : " single");
      if (st == zspStsNoErr) ASSERT_GT(size, 0);
      if (st != zspStsNoErr) ASSERT_EQ(st, zspStsSizeErr);
    };
    for (int64_t n = -8; n <= 70000; ++n) check(n);
    for (int k = 2; k <= 31; ++k) {
      check((int64_t{1} << k) - 1);
      if (k < 31) check(int64_t{1} << k), check((int64_t{1} << k) + 1);
    }
    check(INT32_MIN);
  }
}

TEST(DCT4Size, NullSizePointerWinsOverARefusedLength) {
  for (GetSize query : {zspgDCT4GetSize_32f, zspgDCT4GetSize_64f})
    for (Zsp32s n : {3, 64, -1}) EXPECT_EQ(query(n, nullptr), zspStsNullPtrErr) << n;
}

}  // namespace
