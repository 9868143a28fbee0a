// The generator's count report of the real-input kernels against the reference counts: single and double
// precision equal (one graph serves both), and every kernel of the three kinds equal to the reference
// unless it stands as an exception, with its reason, in the data file; an exception that matches after
// all fails too, so the list stays true.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>

namespace {

struct Count {
  int adds = -1, muls = -1, doublings = 0;
  bool operator==(const Count& o) const { return adds == o.adds && muls == o.muls && doublings == o.doublings; }
};

using Key = std::pair<std::string, int>;  // kind (fwd, inv, dht), length

TEST(RealCounts, EveryKernelMeetsTheReference) {
  std::map<std::pair<Key, std::string>, Count> report;
  std::ifstream in(ZSPGEN_REAL_COUNTS);
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream s(line);
    std::string direction, type;
    int n;
    Count c;
    s >> direction >> n >> type >> c.adds >> c.muls >> c.doublings;
    report[{{direction, n}, type}] = c;
  }
  ASSERT_EQ(report.size(), 378u);

  std::map<Key, Count> reference;
  std::set<Key> exceptions;
  std::ifstream data(std::string(ZSPGEN_TEST_DATA) + "/real_counts.txt");
  for (std::string line; std::getline(data, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream s(line);
    std::string first, direction, rule;
    int n;
    s >> first;
    if (first == "exception") {
      s >> direction >> n;
      exceptions.insert({direction, n});
      continue;
    }
    Count c;
    s >> n >> rule >> c.adds >> c.muls;
    if (first == "inv") s >> c.doublings;
    reference[{first, n}] = c;
  }
  ASSERT_EQ(reference.size(), 189u);

  for (const auto& [key, want] : reference) {
    const Count single = report[{key, "32f"}], dbl = report[{key, "64f"}];
    const std::string what = key.first + " length " + std::to_string(key.second);
    EXPECT_EQ(single, dbl) << what << ": the two precisions run different graphs";
    if (exceptions.count(key)) {
      EXPECT_FALSE(dbl == want) << what << " matches the reference now: drop its exception";
    } else {
      EXPECT_EQ(dbl.adds, want.adds) << what;
      EXPECT_EQ(dbl.muls, want.muls) << what;
      EXPECT_EQ(dbl.doublings, want.doublings) << what;
    }
  }
}

}  // namespace
