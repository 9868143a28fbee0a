#include "gen/pairs.h"

#include <algorithm>
#include <array>
#include <map>
#include <tuple>
#include <unordered_map>

namespace zspgen::dag {

namespace {

// A node with a sign: the value of `r`, negated when `neg` is set.
struct SRef {
  Ref r;
  bool neg;
};

uint64_t key(SRef s) { return static_cast<uint64_t>(static_cast<uint32_t>(s.r)) * 2u + (s.neg ? 1u : 0u); }
SRef flip(SRef s) { return {s.r, !s.neg}; }

std::string swapText(const std::string& v) {
  return "_mm_castsi128_pd(_mm_shuffle_epi32(_mm_castpd_si128(" + v + "), 0x4E))";
}
std::string productText(const std::string& v, double lo, double hi) {
  return "_mm_mul_pd(" + v + ", _mm_set_pd(" + literal(hi, Type::F64) + ", " + literal(lo, Type::F64) + "))";
}
std::string definition(const std::string& name, const std::string& expr) {
  return "const __m128d " + name + " = " + expr + ";";
}

std::string signMask(bool lo, bool hi) {
  return std::string("_mm_set_pd(") + (hi ? "-0.0" : "0.0") + ", " + (lo ? "-0.0" : "0.0") + ")";
}

class Lowering {
 public:
  Lowering(const Graph& g, std::string (*sample)(int32_t)) : g_(g), sample_(sample) {}

  std::string pair(SRef lo, SRef hi) {
    lo = norm(lo);
    hi = norm(hi);
    if (const std::string* v = find(lo, hi)) return *v;
    // One swap or one sign flip of a pair already made costs less than making it again.
    for (bool fl : {false, true})
      for (bool fh : {false, true}) {
        if (const std::string* v = find(fl ? flip(lo) : lo, fh ? flip(hi) : hi))
          return remember(lo, hi, flipped(*v, fl, fh));
        if (const std::string* v = find(fh ? flip(hi) : hi, fl ? flip(lo) : lo))
          return remember(lo, hi, flipped(swapped(*v), fl, fh));
      }
    // Made the other way round and swapped, where the builders made them so.
    const bool natural = partners(lo.r, hi.r);
    if (!natural && partners(hi.r, lo.r))
      return remember(lo, hi, swapped(pair(hi, lo)));
    // One value in both lanes: taken from the register of the complex value it belongs to.
    if (lo.r == hi.r && g_.node(lo.r).op != Op::Input && g_.node(lo.r).op != Op::Const) {
      bool isReal = false;
      const Ref other = partnerOf(lo.r, isReal, 8);
      if (other >= 0) {
        const std::string v = isReal ? pair({lo.r, false}, {other, false}) : pair({other, false}, {lo.r, false});
        ++counts_.shuffle;
        const std::string both = emit((isReal ? "_mm_movedup_pd(" : "_mm_unpackhi_pd(" + v + ", ") + v + ")", {v});
        return remember(lo, hi, flipped(both, lo.neg, hi.neg));
      }
    }
    const Node &L = g_.node(lo.r), &H = g_.node(hi.r);
    if (L.op == Op::Input && H.op == Op::Input) return remember(lo, hi, inputs(lo, hi));
    if (L.op == Op::Const && H.op == Op::Const)
      return remember(lo, hi, "_mm_set_pd(" + literal(sign(hi) * H.value, Type::F64) + ", " +
                                  literal(sign(lo) * L.value, Type::F64) + ")");
    if (L.op == Op::Mul || H.op == Op::Mul) {
      if (L.op != Op::Const && H.op != Op::Const) return remember(lo, hi, product(lo, hi));
    }
    if (isSum(L) && isSum(H)) {
      // Where both halves of the sum would come swapped, the sum of the pairs as they stand, swapped
      // once, costs less.
      const Chosen direct = bestSplit(lo, hi);
      if (direct.cost >= 2) {
        const Chosen reversed = bestSplit(hi, lo);
        if (reversed.cost + 1 < direct.cost) return remember(lo, hi, swapped(remember(hi, lo, sum(reversed.split))));
      }
      return remember(lo, hi, sum(direct.split));
    }
    return remember(lo, hi, joined(lo, hi));
  }

  const Graph& g_;
  std::string (*sample_)(int32_t);
  StatementList body_;
  std::unordered_map<std::string, PairOp> ops_;
  PairCounts counts_;
  bool unsupported_ = false;

 private:
  static bool isSum(const Node& n) { return n.op == Op::Add || n.op == Op::Sub; }

  // The other part of the complex value that `v` is a part of: marked by the builders, or else the node
  // that does to the operands' other parts what `v` does to its operands (the same sum or product in the
  // other lane of a form written part by part). -1 if there is none within `depth` levels.
  Ref partnerOf(Ref v, bool& isReal, int depth) {
    if (const Ref p = g_.markedPartner(v, isReal); p >= 0) return p;
    if (auto it = partners_.find(v); it != partners_.end()) {
      isReal = it->second.second;
      return it->second.first;
    }
    const Ref p = derivedPartner(v, isReal, depth);
    if (p >= 0) partners_.emplace(v, std::make_pair(p, isReal));
    return p;
  }

  // Whether `lo` and `hi` are the real and imaginary part of one complex value.
  bool partners(Ref lo, Ref hi) {
    bool isReal = false;
    return partnerOf(lo, isReal, 8) == hi && isReal;
  }

  Ref derivedPartner(Ref v, bool& isReal, int depth) {
    const Node& n = g_.node(v);
    if (depth == 0 || !(isSum(n) || n.op == Op::Mul)) return -1;
    bool realA = false, realB = false;
    const Ref pa = partnerOf(n.a, realA, depth - 1);
    if (pa < 0) return -1;
    Node m = n;
    m.a = pa;
    if (isSum(n)) {
      const Ref pb = partnerOf(n.b, realB, depth - 1);
      if (pb < 0 || realB != realA) return -1;
      m.b = pb;
    }
    Ref r = g_.find(m);
    if (r < 0 && n.op == Op::Add) std::swap(m.a, m.b), r = g_.find(m);
    isReal = realA;
    return r;
  }
  static double sign(SRef s) { return s.neg ? -1.0 : 1.0; }

  SRef norm(SRef s) const {
    while (g_.node(s.r).op == Op::Neg) s = {g_.node(s.r).a, !s.neg};
    return s;
  }

  // The two signed terms whose sum an addition or subtraction node is.
  std::array<SRef, 2> terms(SRef s) const {
    const Node& n = g_.node(s.r);
    return {norm(SRef{n.a, s.neg}), norm(SRef{n.b, n.op == Op::Sub ? !s.neg : s.neg})};
  }

  const std::string* find(SRef lo, SRef hi) const {
    auto it = memo_.find({key(lo), key(hi)});
    return it == memo_.end() ? nullptr : &it->second;
  }

  // A statement of `expr`, which reads `operands`: values (names of statements or samples) or constants.
  std::string emit(const std::string& expr, std::initializer_list<std::string> operands) {
    const std::string name = "v" + std::to_string(next_++);
    body_.add(Statement::Compute, name, definition(name, expr), operands);
    return name;
  }
  // The same, for a statement that is one packed instruction.
  std::string emit(const std::string& expr, std::initializer_list<std::string> operands, const PairOp& op) {
    const std::string name = emit(expr, operands);
    ops_.emplace(name, op);
    return name;
  }

  std::string sample(int32_t k) {
    const std::string name = sample_(k);
    body_.declare(name);
    return name;
  }

  std::string remember(SRef lo, SRef hi, const std::string& name) {
    memo_.emplace(std::make_pair(key(lo), key(hi)), name);
    lanes_.emplace(key(lo), std::make_pair(name, 0));
    lanes_.emplace(key(hi), std::make_pair(name, 1));
    return name;
  }

  std::string flipped(const std::string& v, bool lo, bool hi) {
    if (!lo && !hi) return v;
    ++counts_.flip;
    return emit("_mm_xor_pd(" + v + ", " + signMask(lo, hi) + ")", {v},
                {PairOp::Xor, v, "", lo ? -0.0 : 0.0, hi ? -0.0 : 0.0});
  }

  std::string swapped(const std::string& v) {
    ++counts_.shuffle;
    // pshufd leaves its source intact, so a swap of a value that lives on needs no copy first.
    return emit(swapText(v), {v}, {PairOp::Swap, v, ""});
  }

  std::string inputs(SRef lo, SRef hi) {
    if (lo.neg || hi.neg) return flipped(pair({lo.r, false}, {hi.r, false}), lo.neg, hi.neg);
    const int32_t a = g_.node(lo.r).input, b = g_.node(hi.r).input;
    const std::string sa = sample(a / 2), sb = sample(b / 2);
    if (a / 2 == b / 2 && a % 2 == 0 && b % 2 == 1) return sa;
    ++counts_.shuffle;
    if (a / 2 == b / 2 && a % 2 == 0 && b % 2 == 0) return emit("_mm_movedup_pd(" + sa + ")", {sa});
    if (a / 2 == b / 2 && a % 2 == 1 && b % 2 == 1) return emit("_mm_unpackhi_pd(" + sa + ", " + sa + ")", {sa});
    return emit("_mm_shuffle_pd(" + sa + ", " + sb + ", " + std::to_string(a % 2 + 2 * (b % 2)) + ")", {sa, sb});
  }

  // Two products by constants, or one product beside a value that takes the factor 1.
  std::string product(SRef lo, SRef hi) {
    const Node &L = g_.node(lo.r), &H = g_.node(hi.r);
    const SRef a = L.op == Op::Mul ? SRef{L.a, false} : SRef{lo.r, false};
    const SRef b = H.op == Op::Mul ? SRef{H.a, false} : SRef{hi.r, false};
    const double cl = sign(lo) * (L.op == Op::Mul ? L.value : 1.0);
    const double ch = sign(hi) * (H.op == Op::Mul ? H.value : 1.0);
    const std::string v = pair(a, b);
    ++counts_.mul;
    return emit(productText(v, cl, ch), {v}, {PairOp::Mul, v, "", cl, ch});
  }

  // How the terms of two sums pair up: A holds the first term of each lane, B the second, and the
  // instruction follows the signs of B's terms.
  struct Split {
    SRef a[2], b[2];
    enum { Add, Sub, AddSub } op;
  };
  // Option `op` (0 add, 1 sub, 2 add-sub) asks B for the signs that make the instruction right.
  Split split(SRef lo, SRef hi, int i, int j, int op) const {
    const std::array<SRef, 2> tl = terms(lo), th = terms(hi);
    Split s{{tl[i], th[j]}, {tl[1 - i], th[1 - j]}, Split::Add};
    if (op == 1) {
      s.op = Split::Sub;
      s.b[0] = flip(s.b[0]);
      s.b[1] = flip(s.b[1]);
    } else if (op == 2) {
      s.op = Split::AddSub;
      s.b[0] = flip(s.b[0]);
    }
    return s;
  }

  // The terms pair as the complex values they belong to, or as pairs made already; of the ways to split
  // two sums, the one that needs the fewest swaps and sign flips.
  struct Chosen {
    Split split;
    double cost;
  };
  Chosen bestSplit(SRef lo, SRef hi) {
    lo = norm(lo);
    hi = norm(hi);
    Chosen best{{}, 1e9};
    for (int i = 0; i < 2 && best.cost > 0; ++i)
      for (int j = 0; j < 2 && best.cost > 0; ++j)
        for (int op = 0; op < 3 && best.cost > 0; ++op) {
          const Split s = split(lo, hi, i, j, op);
          const double c = knownCost(s.a[0], s.a[1]) + knownCost(s.b[0], s.b[1]);
          if (c < best.cost) best = {s, c};
        }
    return best;
  }

  std::string sum(const Split& chosen) {
    const std::string a = pair(chosen.a[0], chosen.a[1]);
    const std::string b = pair(chosen.b[0], chosen.b[1]);
    ++counts_.addsub;
    const char* op = chosen.op == Split::Add ? "_mm_add_pd(" : chosen.op == Split::Sub ? "_mm_sub_pd(" : "_mm_addsub_pd(";
    const PairOp::Kind kind = chosen.op == Split::Add ? PairOp::Add : chosen.op == Split::Sub ? PairOp::Sub : PairOp::AddSub;
    return emit(op + a + ", " + b + ")", {a, b}, {kind, a, b});
  }

  // The cost of a pair that is made already or marked as one complex value; a large number otherwise.
  double knownCost(SRef lo, SRef hi) {
    lo = norm(lo);
    hi = norm(hi);
    if (find(lo, hi)) return 0;
    for (bool fl : {false, true})
      for (bool fh : {false, true})
        if (find(fl ? flip(lo) : lo, fh ? flip(hi) : hi) || find(fh ? flip(hi) : hi, fl ? flip(lo) : lo)) return 1;
    if (partners(lo.r, hi.r)) return lo.neg || hi.neg ? 1 : 0;
    if (partners(hi.r, lo.r)) return 1;
    return 100;
  }

  // No rule pairs the lanes: each is computed as a scalar, taken from a register where it already
  // stands, and the two are joined.
  std::string joined(SRef lo, SRef hi) {
    const std::string l = scalar(lo), h = scalar(hi);
    ++counts_.shuffle;
    return emit("_mm_set_pd(" + h + ", " + l + ")", {h, l});
  }

  std::string scalar(SRef s) {
    s = norm(s);
    if (auto it = scalars_.find(key(s)); it != scalars_.end()) return it->second;
    std::string expr;
    std::vector<std::string> reads;
    const Node& n = g_.node(s.r);
    if (auto it = lanes_.find(key(s)); it != lanes_.end()) {
      expr = lane(it->second.first, it->second.second);
      reads = body_.valuesAmong({it->second.first});
    } else if (auto jt = lanes_.find(key(flip(s))); jt != lanes_.end()) {
      expr = "-" + lane(jt->second.first, jt->second.second);
      reads = body_.valuesAmong({jt->second.first});
    } else if (n.op == Op::Input) {
      const std::string v = sample(n.input / 2);
      expr = (s.neg ? "-" : "") + lane(v, n.input % 2);
      reads = {v};
    } else if (n.op == Op::Const) {
      return literal(sign(s) * n.value, Type::F64);
    } else if (n.op == Op::Mul) {
      const std::string a = scalar({n.a, false});
      ++counts_.scalar;
      expr = literal(sign(s) * n.value, Type::F64) + " * " + a;
      reads = body_.valuesAmong({a});
    } else if (isSum(n)) {
      const std::array<SRef, 2> t = terms(s);
      const std::string a = scalar(t[0]), b = scalar({t[1].r, false});
      ++counts_.scalar;
      expr = a + (t[1].neg ? " - " : " + ") + b;
      reads = body_.valuesAmong({a, b});
    } else {
      unsupported_ = true;
      expr = "0.0";
    }
    const std::string name = "s" + std::to_string(next_++);
    body_.addReading(Statement::Compute, name, "const double " + name + " = " + expr + ";", reads);
    scalars_.emplace(key(s), name);
    return name;
  }

  static std::string lane(const std::string& v, int which) {
    return which == 0 ? "_mm_cvtsd_f64(" + v + ")" : "_mm_cvtsd_f64(_mm_unpackhi_pd(" + v + ", " + v + "))";
  }

  int next_ = 0;
  std::map<std::pair<uint64_t, uint64_t>, std::string> memo_;
  std::unordered_map<uint64_t, std::pair<std::string, int>> lanes_;
  std::unordered_map<uint64_t, std::string> scalars_;
  std::unordered_map<Ref, std::pair<Ref, bool>> partners_;
};

}  // namespace

PairCode emitPairs(const Graph& g, const std::vector<std::pair<Ref, Ref>>& outputs,
                   std::string (*sampleName)(int32_t)) {
  Lowering l(g, sampleName);
  PairCode code;
  for (const auto& [lo, hi] : outputs) {
    code.outputs.push_back(l.pair({lo, false}, {hi, false}));
    code.outputUses.push_back(l.body_.valuesAmong({code.outputs.back()}));
  }
  code.body = std::move(l.body_).statements();
  code.ops = std::move(l.ops_);
  code.counts = l.counts_;
  code.ok = !l.unsupported_;
  return code;
}

void swapBeforeProducts(PairCode& code) {
  std::unordered_map<std::string, std::vector<size_t>> readers;
  for (size_t i = 0; i < code.body.size(); ++i)
    for (const std::string& v : code.body[i].uses) readers[v].push_back(i);
  for (const std::vector<std::string>& uses : code.outputUses)
    for (const std::string& v : uses) readers[v].push_back(code.body.size());  // read by a store
  for (Statement& product : code.body) {
    auto p = code.ops.find(product.defines);
    if (p == code.ops.end() || p->second.kind != PairOp::Mul) continue;
    const std::vector<size_t>& r = readers[product.defines];
    if (r.size() != 1 || r[0] == code.body.size()) continue;
    Statement& swap = code.body[r[0]];
    auto s = code.ops.find(swap.defines);
    if (s == code.ops.end() || s->second.kind != PairOp::Swap) continue;
    const PairOp mul = p->second;
    // Of a swapped operand, the swap would undo a swap: left as it is.
    if (auto x = code.ops.find(mul.a); x != code.ops.end() && x->second.kind == PairOp::Swap) continue;
    product.text = definition(product.defines, swapText(mul.a));
    p->second = {PairOp::Swap, mul.a, ""};
    swap.text = definition(swap.defines, productText(product.defines, mul.hi, mul.lo));
    s->second = {PairOp::Mul, product.defines, "", mul.hi, mul.lo};
  }
}

}  // namespace zspgen::dag
