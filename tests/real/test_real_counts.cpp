// The generator's count report of the real-input kernels against the reference counts: single and double
// precision equal (one graph serves both), and every length equal to the reference unless it stands as an
// exception, with its reason, in the data file; an exception that matches after all fails too, so the
// list stays true.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>

namespace {

struct Count {
  int adds = -1, muls = -1;
  bool operator==(const Count& o) const { return adds == o.adds && muls == o.muls; }
};

TEST(RealCounts, EveryKernelMeetsTheReference) {
  std::map<std::pair<int, std::string>, Count> report;
  std::ifstream in(ZSPGEN_REAL_COUNTS);
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream s(line);
    int n;
    std::string type;
    Count c;
    s >> n >> type >> c.adds >> c.muls;
    report[{n, type}] = c;
  }
  ASSERT_EQ(report.size(), 126u);

  std::map<int, Count> reference;
  std::set<int> exceptions;
  std::ifstream data(std::string(ZSPGEN_TEST_DATA) + "/real_counts.txt");
  for (std::string line; std::getline(data, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream s(line);
    if (line.rfind("exception", 0) == 0) {
      std::string word;
      int n;
      s >> word >> n;
      exceptions.insert(n);
      continue;
    }
    int n;
    std::string rule;
    Count c;
    s >> n >> rule >> c.adds >> c.muls;
    reference[n] = c;
  }
  ASSERT_EQ(reference.size(), 63u);

  for (const auto& [n, want] : reference) {
    const Count single = report[{n, "32f"}], dbl = report[{n, "64f"}];
    EXPECT_EQ(single, dbl) << "length " << n << ": the two precisions run different graphs";
    if (exceptions.count(n)) {
      EXPECT_FALSE(dbl == want) << "length " << n << " matches the reference now: drop its exception";
    } else {
      EXPECT_EQ(dbl.adds, want.adds) << "length " << n;
      EXPECT_EQ(dbl.muls, want.muls) << "length " << n;
    }
  }
}

}  // namespace
