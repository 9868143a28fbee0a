#include "gen/schedule.h"

#include <algorithm>
#include <numeric>
#include <sstream>
#include <stdexcept>
#include <unordered_map>

namespace zspgen {

namespace {

class Scheduler {
 public:
  explicit Scheduler(const std::vector<Statement>& body) : body_(body) {
    const size_t n = body.size();
    uses_.resize(n);
    users_.resize(n);
    mark_.assign(n, 0);
    level_.assign(n, 0);
    std::unordered_map<std::string, size_t> definedBy;
    for (size_t i = 0; i < n; ++i) {
      for (const std::string& name : body[i].uses) {
        auto it = definedBy.find(name);
        if (it == definedBy.end())
          throw std::logic_error("statement `" + body[i].text + "` reads " + name + ", which no earlier statement defines");
        if (std::find(uses_[i].begin(), uses_[i].end(), it->second) == uses_[i].end()) {
          uses_[i].push_back(it->second);
          users_[it->second].push_back(i);
        }
      }
      if (!body[i].defines.empty()) definedBy[body[i].defines] = i;
    }
  }

  // Both ways of cutting a connected piece, and of the two orders the one that keeps fewer values
  // beyond the registers.
  std::vector<size_t> order() {
    std::vector<size_t> best;
    long bestExcess = -1;
    for (bool narrow : {false, true}) {
      narrowCuts_ = narrow;
      order_.clear();
      std::vector<size_t> all(body_.size());
      std::iota(all.begin(), all.end(), size_t{0});
      place(all);
      keepLoadsBeforeStores();
      const long excess = excessLive(order_);
      if (bestExcess < 0 || excess < bestExcess) bestExcess = excess, best = order_;
    }
    return best;
  }

 private:
  // Appends the statements of `set` (ascending, closed under the dependencies not yet placed).
  void place(const std::vector<size_t>& set) {
    if (set.size() <= 2) {
      order_.insert(order_.end(), set.begin(), set.end());
      return;
    }
    const int stamp = ++stamp_;
    for (size_t i : set) mark_[i] = stamp;
    auto inSet = [&](size_t j) { return mark_[j] == stamp; };

    // Independent groups, one after the other, in the order of their first statement.
    std::vector<size_t> root(body_.size());
    for (size_t i : set) root[i] = i;
    auto find = [&](size_t i) {
      while (root[i] != i) i = root[i] = root[root[i]];
      return i;
    };
    for (size_t i : set)
      for (size_t j : uses_[i])
        if (inSet(j)) root[find(i)] = find(j);
    std::unordered_map<size_t, size_t> group;
    std::vector<std::vector<size_t>> groups;
    for (size_t i : set) {
      auto [it, fresh] = group.emplace(find(i), groups.size());
      if (fresh) groups.emplace_back();
      groups[it->second].push_back(i);
    }
    if (groups.size() > 1) {
      for (const auto& g : groups) place(g);
      return;
    }

    // One connected piece: depth from the piece's sources, with each source moved down to just before
    // its first use, then the halves by depth: at the middle depth, or at the depth in the middle half
    // that the fewest values cross.
    int deepest = 0;
    for (size_t i : set) {
      int l = 0;
      for (size_t j : uses_[i])
        if (inSet(j)) l = std::max(l, level_[j] + 1);
      level_[i] = l;
    }
    for (size_t i : set) {
      bool source = true;
      for (size_t j : uses_[i]) source = source && !inSet(j);
      if (!source) continue;
      int first = -1;
      for (size_t u : users_[i])
        if (inSet(u)) first = first < 0 ? level_[u] : std::min(first, level_[u]);
      if (first > 0) level_[i] = first - 1;
    }
    for (size_t i : set) deepest = std::max(deepest, level_[i]);
    int cut = (deepest + 1) / 2;
    if (narrowCuts_ && deepest >= 2) {
      // Values made below each depth and used at it or above.
      std::vector<int> crossing(static_cast<size_t>(deepest) + 2, 0);
      for (size_t i : set) {
        int last = -1;
        for (size_t u : users_[i])
          if (inSet(u)) last = std::max(last, level_[u]);
        for (int c = level_[i] + 1; c <= last; ++c) ++crossing[static_cast<size_t>(c)];
      }
      const int lo = std::max(1, deepest / 4), hi = std::max(lo, deepest - deepest / 4);
      int best = cut;
      for (int c = lo; c <= hi; ++c)
        if (crossing[c] < crossing[best] || (crossing[c] == crossing[best] && std::abs(c - cut) < std::abs(best - cut))) best = c;
      cut = best;
    }
    std::vector<size_t> early, late;
    for (size_t i : set) (level_[i] < cut ? early : late).push_back(i);
    if (early.empty() || late.empty()) {
      order_.insert(order_.end(), set.begin(), set.end());
      return;
    }
    place(early);
    place(late);
  }

  // Sum over the statements of the values live beyond the registers there: a measure of the spills
  // that an order asks for.
  long excessLive(const std::vector<size_t>& order) const {
    std::vector<size_t> position(body_.size());
    for (size_t p = 0; p < order.size(); ++p) position[order[p]] = p;
    std::vector<int> delta(order.size() + 1, 0);
    for (size_t i = 0; i < body_.size(); ++i) {
      if (body_[i].defines.empty() || users_[i].empty()) continue;
      size_t last = position[i];
      for (size_t u : users_[i]) last = std::max(last, position[u]);
      ++delta[position[i]];
      --delta[last];
    }
    long excess = 0;
    int live = 0;
    for (size_t p = 0; p < order.size(); ++p) {
      live += delta[p];
      excess += std::max(0, live - kRegisters);
    }
    return excess;
  }

  // A store that the order put before the last load waits for it: in place, that load may read the
  // very element the store writes.
  void keepLoadsBeforeStores() {
    size_t lastLoad = 0;
    bool anyLoad = false;
    for (size_t p = 0; p < order_.size(); ++p)
      if (body_[order_[p]].kind == Statement::Load) lastLoad = p, anyLoad = true;
    if (!anyLoad) return;
    std::vector<size_t> early, rest;
    for (size_t p = 0; p < order_.size(); ++p) {
      const bool waits = p < lastLoad && body_[order_[p]].kind == Statement::Store;
      (waits ? early : rest).push_back(order_[p]);
      if (p == lastLoad) rest.insert(rest.end(), early.begin(), early.end()), early.clear();
    }
    order_ = rest;
  }

  const std::vector<Statement>& body_;
  std::vector<std::vector<size_t>> uses_, users_;
  std::vector<int> mark_, level_;
  std::vector<size_t> order_;
  int stamp_ = 0;
  bool narrowCuts_ = false;
  static constexpr int kRegisters = 16;
};

}  // namespace

std::vector<size_t> localityOrder(const std::vector<Statement>& body) { return Scheduler(body).order(); }

std::string scheduledText(const std::vector<Statement>& body, const std::string& indent) {
  std::ostringstream s;
  for (size_t i : localityOrder(body)) s << indent << body[i].text << "\n";
  return s.str();
}

}  // namespace zspgen
