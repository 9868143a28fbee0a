#include "gen/schedule.h"

#include <algorithm>
#include <numeric>
#include <sstream>
#include <stdexcept>
#include <tuple>
#include <unordered_map>

namespace zspgen {

namespace {

class Scheduler {
  // Where a connected piece is cut: at the middle depth; at the depth in the middle half that the
  // fewest values cross (the one nearest the middle, or the deepest, of equals); or where both sides
  // fall apart into the most independent groups, by depth or by height.
  enum class Cut { Middle, NarrowNearMiddle, NarrowDeepest, ComponentsByDepth, ComponentsByHeight };

 public:
  explicit Scheduler(const std::vector<Statement>& body) : body_(body) {
    const size_t n = body.size();
    uses_.resize(n);
    users_.resize(n);
    mark_.assign(n, 0);
    level_.assign(n, 0);
    height_.assign(n, 0);
    root_.assign(n, 0);
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

  // Every way of cutting a connected piece, and of their orders the one that asks for the fewest
  // spills.
  std::vector<size_t> order() {
    std::vector<size_t> best;
    long bestCost = -1;
    for (std::vector<size_t>& o : orders()) {
      const long cost = spillTraffic(o);
      if (bestCost < 0 || cost < bestCost) bestCost = cost, best = std::move(o);
    }
    return best;
  }

  // The order of each way of cutting.
  std::vector<std::vector<size_t>> orders() {
    std::vector<std::vector<size_t>> all;
    for (Cut cut : {Cut::Middle, Cut::NarrowNearMiddle, Cut::NarrowDeepest, Cut::ComponentsByDepth, Cut::ComponentsByHeight})
      all.push_back(orderCutBy(cut));
    return all;
  }

  std::vector<size_t> orderByHeight() { return orderCutBy(Cut::ComponentsByHeight); }

 private:
  std::vector<size_t> orderCutBy(Cut cut) {
    cut_ = cut;
    order_.clear();
    std::vector<size_t> every(body_.size());
    std::iota(every.begin(), every.end(), size_t{0});
    place(every);
    order_ = interleave(order_);
    keepLoadsBeforeStores();
    return order_;
  }

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
    // its first use, then two halves by level. Where the cut lies depends on the way being tried.
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
    if (cut_ == Cut::ComponentsByHeight) {
      // By height, each statement's level counts back from the piece's last statements instead.
      std::vector<size_t> desc(set.rbegin(), set.rend());
      for (size_t i : desc) {
        int h = 0;
        for (size_t u : users_[i])
          if (inSet(u)) h = std::max(h, height_[u] + 1);
        height_[i] = h;
      }
      int top = 0;
      for (size_t i : set) top = std::max(top, height_[i]);
      for (size_t i : set) level_[i] = top - height_[i];
      deepest = top;
      cut = (deepest + 1) / 2;
    }
    // Values made below each level and used at it or above.
    std::vector<int> crossing(static_cast<size_t>(deepest) + 2, 0);
    for (size_t i : set) {
      int last = -1;
      for (size_t u : users_[i])
        if (inSet(u)) last = std::max(last, level_[u]);
      for (int c = level_[i] + 1; c <= last; ++c) ++crossing[static_cast<size_t>(c)];
    }
    if ((cut_ == Cut::ComponentsByDepth || cut_ == Cut::ComponentsByHeight) && deepest >= 2) {
      // The cut that leaves the most independent groups on its poorer side, then the one that the
      // fewest values cross, then the one nearest the middle: at the boundary of two stages of a
      // transform, both sides fall apart into their sub-transforms.
      std::tuple<long, int, int> best{0, 0, 0};
      for (int c = 1; c <= deepest; ++c) {
        const long early = components(set, inSet, [&](size_t i) { return level_[i] < c; });
        const long late = components(set, inSet, [&](size_t i) { return level_[i] >= c; });
        if (early == 0 || late == 0) continue;
        const std::tuple<long, int, int> score{std::min(early, late), -crossing[static_cast<size_t>(c)],
                                               -std::abs(c - (deepest + 1) / 2)};
        if (std::get<0>(best) == 0 || score > best) best = score, cut = c;
      }
    } else if (cut_ != Cut::Middle && deepest >= 2) {
      const int lo = std::max(1, deepest / 4), hi = std::max(lo, deepest - deepest / 4);
      int best = cut;
      for (int c = lo; c <= hi; ++c)
        if (crossing[c] < crossing[best] ||
            (crossing[c] == crossing[best] &&
             (cut_ == Cut::NarrowDeepest ? c > best : std::abs(c - cut) < std::abs(best - cut))))
          best = c;
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

  // The order with independent statements moved up to fill the latency of the arithmetic: a model of
  // two arithmetic statements issued per cycle, each result ready three cycles later; among the
  // statements whose operands are ready, the earliest in `order` goes first, and none moves up by
  // more than kWindow places, so values still stay close to their uses. A body no longer than that
  // keeps its order: the processor's own window of waiting instructions holds it whole.
  std::vector<size_t> interleave(const std::vector<size_t>& order) const {
    const size_t n = order.size();
    if (n <= kWindow) return order;  // the processor sees a body this short whole
    std::vector<long> readyAt(body_.size(), 0);
    std::vector<int> waiting(body_.size(), 0);
    for (size_t i : order) waiting[i] = static_cast<int>(uses_[i].size());
    std::vector<char> done(n, 0);
    std::vector<size_t> result;
    result.reserve(n);
    size_t first = 0;  // lowest position not yet placed
    long cycle = 0;
    int issued = 0;
    while (result.size() < n) {
      while (done[first]) ++first;
      size_t pick = n;
      const size_t end = std::min(n, first + kWindow);
      for (size_t p = first; p < end; ++p) {
        const size_t s = order[p];
        if (done[p] || waiting[s] > 0 || readyAt[s] > cycle) continue;
        pick = p;
        break;
      }
      if (pick == n) {
        ++cycle, issued = 0;
        continue;
      }
      const size_t s = order[pick];
      done[pick] = 1;
      result.push_back(s);
      const bool arithmetic = body_[s].kind == Statement::Compute;
      const long ready = cycle + (arithmetic ? kLatency : 0);
      for (size_t u : users_[s]) {
        --waiting[u];
        readyAt[u] = std::max(readyAt[u], ready);
      }
      if (arithmetic && ++issued == kIssuedPerCycle) ++cycle, issued = 0;
    }
    return result;
  }

  // The number of independent groups among the statements of `set` that `keep` selects.
  template <class InSet, class Keep>
  long components(const std::vector<size_t>& set, InSet inSet, Keep keep) {
    long count = 0;
    for (size_t i : set)
      if (keep(i)) root_[i] = i, ++count;
    auto find = [&](size_t i) {
      while (root_[i] != i) i = root_[i] = root_[root_[i]];
      return i;
    };
    for (size_t i : set) {
      if (!keep(i)) continue;
      for (size_t j : uses_[i])
        if (inSet(j) && keep(j)) {
          const size_t a = find(i), b = find(j);
          if (a != b) root_[a] = b, --count;
        }
    }
    return count;
  }

  // The memory traffic an order asks for beyond its loads and stores: the spill stores and reloads
  // of an allocation into the registers that, when one must be freed, frees the value whose next use
  // is furthest away (a value spilled once stays in memory and is reloaded without a second store).
  long spillTraffic(const std::vector<size_t>& order) const {
    const size_t n = order.size();
    std::vector<size_t> position(body_.size());
    for (size_t p = 0; p < n; ++p) position[order[p]] = p;
    std::vector<std::vector<size_t>> usesAt(body_.size());
    for (size_t i = 0; i < body_.size(); ++i) {
      for (size_t u : users_[i]) usesAt[i].push_back(position[u]);
      std::sort(usesAt[i].begin(), usesAt[i].end());
    }
    std::vector<size_t> nextUse(body_.size(), 0);  // index into usesAt
    std::vector<char> inMemory(body_.size(), 0);
    std::vector<size_t> registers;
    const size_t never = n;
    auto next = [&](size_t v) { return nextUse[v] < usesAt[v].size() ? usesAt[v][nextUse[v]] : never; };
    long traffic = 0;
    auto take = [&](size_t v, size_t p) {
      if (registers.size() == kRegisters) {
        size_t victim = 0;
        for (size_t r = 1; r < registers.size(); ++r)
          if (next(registers[r]) > next(registers[victim])) victim = r;
        const size_t w = registers[victim];
        if (next(w) != never && next(w) > p && !inMemory[w]) inMemory[w] = 1, ++traffic;
        registers.erase(registers.begin() + static_cast<long>(victim));
      }
      registers.push_back(v);
    };
    for (size_t p = 0; p < n; ++p) {
      const size_t s = order[p];
      for (size_t u : uses_[s])
        if (std::find(registers.begin(), registers.end(), u) == registers.end()) ++traffic, take(u, p);
      for (size_t u : uses_[s]) ++nextUse[u];
      registers.erase(std::remove_if(registers.begin(), registers.end(), [&](size_t v) { return next(v) == never; }),
                      registers.end());
      if (!body_[s].defines.empty() && !users_[s].empty()) take(s, p);
    }
    return traffic;
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
  std::vector<int> mark_, level_, height_;
  std::vector<size_t> root_;
  std::vector<size_t> order_;
  int stamp_ = 0;
  Cut cut_ = Cut::Middle;
  static constexpr size_t kRegisters = 16;
  static constexpr long kLatency = 3;        // cycles from an addition or multiplication to its use
  static constexpr int kIssuedPerCycle = 2;  // arithmetic statements started per cycle
  static constexpr size_t kWindow = 64;      // the furthest a statement moves up
};

}  // namespace

std::vector<size_t> localityOrder(const std::vector<Statement>& body, OrderChoice choice) {
  return choice == OrderChoice::ByHeight ? Scheduler(body).orderByHeight() : Scheduler(body).order();
}

std::vector<std::vector<size_t>> localityOrders(const std::vector<Statement>& body) { return Scheduler(body).orders(); }

std::string scheduledText(const std::vector<Statement>& body, const std::string& indent, OrderChoice choice) {
  std::ostringstream s;
  for (size_t i : localityOrder(body, choice)) s << indent << body[i].text << "\n";
  return s.str();
}

std::vector<std::string> StatementList::valuesAmong(std::initializer_list<std::string> operands) const {
  std::vector<std::string> v;
  for (const std::string& o : operands)
    if (values_.count(o) && std::find(v.begin(), v.end(), o) == v.end()) v.push_back(o);
  return v;
}

void StatementList::addReading(Statement::Kind kind, const std::string& name, const std::string& text,
                               std::vector<std::string> reads) {
  statements_.push_back({kind, name, text, std::move(reads)});
  if (!name.empty()) values_.insert(name);
}

}  // namespace zspgen
