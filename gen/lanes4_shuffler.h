// Lane regroupings of the four-lane lowering: a register whose lanes come from other registers is made
// by unpacks, half moves and shuffles, each regrouping written once and shared by its later uses.
#ifndef ZSPGEN_GEN_LANES4_SHUFFLER_H
#define ZSPGEN_GEN_LANES4_SHUFFLER_H

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string>
#include <unordered_map>
#include <vector>

#include "gen/expr.h"
#include "gen/schedule.h"

namespace zspgen::lanes4 {

constexpr int kLanes = 4;

// The body as it is written, with `const __m128 name = expression;` for its definitions.
class Body : public StatementList {
 public:
  void define(Statement::Kind kind, const std::string& name, const std::string& expression,
              std::initializer_list<std::string> operands) {
    add(kind, name, "const __m128 " + name + " = " + expression + ";", operands);
  }
};

class Shuffler {
 public:
  // `count` counts every regrouping made, `border` those whose operands are all loaded registers
  // (named by `loaded`).
  Shuffler(Body& body, int& count, int& border) : body_(body), count_(count), border_(border) {}

  void loaded(const std::string& name) { loaded_.push_back(name); }

  struct Src {
    std::string var;  // empty: the lane is not needed
    int lane = 0;
  };

  std::string constant(const std::array<double, kLanes>& v) {
    std::string e = "_mm_setr_ps(";
    for (int l = 0; l < kLanes; ++l) e += (l ? ", " : "") + dag::literal(v[static_cast<size_t>(l)], dag::Type::F32);
    return name(e + ")", "k", false, {});
  }

  std::string gather(const std::array<Src, kLanes>& t) {
    std::vector<std::string> vars;
    for (const Src& x : t)
      if (!x.var.empty() && std::find(vars.begin(), vars.end(), x.var) == vars.end()) vars.push_back(x.var);
    if (vars.empty()) return "_mm_setzero_ps()";
    auto laneOr = [&](int l, int fallback) { return t[static_cast<size_t>(l)].var.empty() ? fallback : t[static_cast<size_t>(l)].lane; };
    auto from = [&](int l, const std::string& v) { return t[static_cast<size_t>(l)].var.empty() || t[static_cast<size_t>(l)].var == v; };
    if (vars.size() == 1) {
      bool identity = true;
      for (int l = 0; l < kLanes; ++l) identity = identity && laneOr(l, l) == l;
      if (identity) return vars[0];
      return shuffle(vars[0], vars[0], {laneOr(0, 0), laneOr(1, 1), laneOr(2, 2), laneOr(3, 3)});
    }
    // Low half from one register, high half from another: one shuffle.
    const std::string a = !t[0].var.empty() ? t[0].var : !t[1].var.empty() ? t[1].var : vars[0];
    const std::string b = !t[2].var.empty() ? t[2].var : !t[3].var.empty() ? t[3].var : vars[0];
    if (from(0, a) && from(1, a) && from(2, b) && from(3, b))
      return shuffle(a, b, {laneOr(0, 0), laneOr(1, 1), laneOr(2, 2), laneOr(3, 3)});
    // Interleaving two registers: unpack low or high.
    for (int half : {0, 2}) {
      const std::string& x = !t[0].var.empty() ? t[0].var : t[2].var;
      const std::string& y = !t[1].var.empty() ? t[1].var : t[3].var;
      if (x.empty() || y.empty()) break;
      if (from(0, x) && from(2, x) && from(1, y) && from(3, y) && laneOr(0, half) == half && laneOr(2, half + 1) == half + 1 &&
          laneOr(1, half) == half && laneOr(3, half + 1) == half + 1)
        return op(std::string(half ? "_mm_unpackhi_ps(" : "_mm_unpacklo_ps(") + x + ", " + y + ")", x, y);
    }
    Half p = pair(t[0], t[1]);
    const Half q = pair(t[2], t[3]);
    if (p.var.empty()) p.var = q.var;
    const std::string& qv = q.var.empty() ? p.var : q.var;
    if (p.var == qv && p.at[0] == 0 && p.at[1] == 1 && (q.var.empty() || (q.at[0] == 2 && q.at[1] == 3))) return p.var;
    return shuffle(p.var, qv, {p.at[0], p.at[1], q.var.empty() ? 2 : q.at[0], q.var.empty() ? 3 : q.at[1]});
  }

 private:
  struct Half {
    std::string var;
    int at[2] = {0, 1};  // where the two values stand in `var`
  };

  // Two values side by side in some register, with their places.
  Half pair(const Src& x, const Src& y) {
    if (x.var.empty() && y.var.empty()) return {};
    if (x.var.empty()) return {y.var, {y.lane, y.lane}};
    if (y.var.empty()) return {x.var, {x.lane, x.lane}};
    if (x.var == y.var) return {x.var, {x.lane, y.lane}};
    if (x.lane == y.lane) {
      const bool high = x.lane >= 2;
      const int at = 2 * (x.lane - (high ? 2 : 0));
      return {op(std::string(high ? "_mm_unpackhi_ps(" : "_mm_unpacklo_ps(") + x.var + ", " + y.var + ")", x.var, y.var), {at, at + 1}};
    }
    if (x.lane < 2 && y.lane < 2) return {op("_mm_movelh_ps(" + x.var + ", " + y.var + ")", x.var, y.var), {x.lane, 2 + y.lane}};
    if (x.lane >= 2 && y.lane >= 2) return {op("_mm_movehl_ps(" + y.var + ", " + x.var + ")", x.var, y.var), {x.lane - 2, y.lane}};
    return {shuffle(x.var, y.var, {x.lane, x.lane, y.lane, y.lane}), {0, 2}};
  }

  std::string shuffle(const std::string& a, const std::string& b, std::array<int, kLanes> sel) {
    const int imm = sel[0] | sel[1] << 2 | sel[2] << 4 | sel[3] << 6;
    return op("_mm_shuffle_ps(" + a + ", " + b + ", " + std::to_string(imm) + ")", a, b);
  }

  std::string op(const std::string& e, const std::string& a, const std::string& b) {
    const int before = count_;
    const std::string n = name(e, "s", true, {a, b});
    if (count_ != before && isLoaded(a) && isLoaded(b)) ++border_;
    return n;
  }

  bool isLoaded(const std::string& v) const { return std::find(loaded_.begin(), loaded_.end(), v) != loaded_.end(); }

  std::string name(const std::string& e, const char* prefix, bool counted, std::initializer_list<std::string> operands) {
    auto it = made_.find(e);
    if (it != made_.end()) return it->second;
    const std::string n = prefix + std::to_string(made_.size());
    body_.define(Statement::Compute, n, e, operands);
    if (counted) ++count_;
    made_.emplace(e, n);
    return n;
  }

  Body& body_;
  int& count_;
  int& border_;
  std::vector<std::string> loaded_;
  std::unordered_map<std::string, std::string> made_;
};

}  // namespace zspgen::lanes4

#endif  // ZSPGEN_GEN_LANES4_SHUFFLER_H
