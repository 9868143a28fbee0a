#include "gen/lanes4_order.h"

#include <algorithm>
#include <queue>
#include <utility>

namespace zspgen::lanes4 {

std::optional<std::vector<int>> packOrder(const std::vector<std::vector<int>>& deps, const std::vector<char>& needed,
                                          bool recentFirst) {
  const size_t n = deps.size();
  std::vector<std::vector<int>> users(n);
  std::vector<int> waiting(n, 0);
  for (size_t p = 0; p < n; ++p) {
    waiting[p] = static_cast<int>(deps[p].size());
    for (int d : deps[p]) users[static_cast<size_t>(d)].push_back(static_cast<int>(p));
  }
  std::vector<long> when(n, 0);
  auto key = [&](int p) -> long {
    if (!recentFirst) return p;
    long latest = 0;
    for (int d : deps[static_cast<size_t>(p)]) latest = std::max(latest, when[static_cast<size_t>(d)]);
    return -latest * (1L << 24) + p;
  };
  auto later = [](const std::pair<long, int>& x, const std::pair<long, int>& y) { return x.first > y.first; };
  std::priority_queue<std::pair<long, int>, std::vector<std::pair<long, int>>, decltype(later)> ready(later);
  std::vector<int> out;
  for (size_t p = 0; p < n; ++p)
    if (needed[p] && waiting[p] == 0) ready.push({key(static_cast<int>(p)), static_cast<int>(p)});
  while (!ready.empty()) {
    const int p = ready.top().second;
    ready.pop();
    out.push_back(p);
    when[static_cast<size_t>(p)] = static_cast<long>(out.size());
    for (int u : users[static_cast<size_t>(p)])
      if (--waiting[static_cast<size_t>(u)] == 0) ready.push({key(u), u});
  }
  const size_t count = static_cast<size_t>(std::count_if(needed.begin(), needed.end(), [](char c) { return c != 0; }));
  if (out.size() != count) return std::nullopt;
  return out;
}

long registersNeeded(const std::vector<int>& seq, const std::vector<std::vector<int>>& deps,
                     const std::vector<std::vector<int>>& storedFrom, const std::vector<char>& needed,
                     const std::vector<int>& widths) {
  const size_t n = deps.size();
  std::vector<int> pending(n, 0);
  for (size_t p = 0; p < n; ++p) {
    if (!needed[p]) continue;
    for (int d : deps[p]) ++pending[static_cast<size_t>(d)];
  }
  for (const std::vector<int>& from : storedFrom)
    for (int d : from) ++pending[static_cast<size_t>(d)];
  std::vector<int> outWaiting;
  std::vector<std::vector<int>> outsOf(n);
  for (size_t o = 0; o < storedFrom.size(); ++o) {
    outWaiting.push_back(static_cast<int>(storedFrom[o].size()));
    for (int d : storedFrom[o]) outsOf[static_cast<size_t>(d)].push_back(static_cast<int>(o));
  }
  long live = 0, most = 0;
  auto release = [&](int d) {
    if (--pending[static_cast<size_t>(d)] == 0) live -= widths[static_cast<size_t>(d)];
  };
  for (int p : seq) {
    live += widths[static_cast<size_t>(p)];
    for (int d : deps[static_cast<size_t>(p)]) release(d);
    for (int o : outsOf[static_cast<size_t>(p)])
      if (--outWaiting[static_cast<size_t>(o)] == 0)
        for (int d : storedFrom[static_cast<size_t>(o)]) release(d);
    most = std::max(most, live);
  }
  return most;
}

}  // namespace zspgen::lanes4
