#include "gen/lanes4.h"

#include "gen/lanes4_order.h"
#include "gen/lanes4_shuffler.h"

#include <algorithm>
#include <array>
#include <optional>
#include <stdexcept>
#include <unordered_map>

namespace zspgen::lanes4 {

int Trace::openSite() {
  Site s;
  s.parent = open.empty() ? -1 : open.back();
  sites.push_back(s);
  const int id = static_cast<int>(sites.size()) - 1;
  if (s.parent >= 0) instances[static_cast<size_t>(s.parent)].sites.push_back(id);
  return id;
}

int Trace::beginInstance(int site, std::vector<Ref> inputs, Ref begin) {
  Instance in;
  in.site = site;
  in.begin = begin;
  in.inputs = std::move(inputs);
  instances.push_back(std::move(in));
  const int id = static_cast<int>(instances.size()) - 1;
  sites[static_cast<size_t>(site)].instances.push_back(id);
  open.push_back(id);
  return id;
}

void Trace::endInstance(int instance, Ref end) {
  instances[static_cast<size_t>(instance)].end = end;
  open.pop_back();
}

void Trace::product(Ref inR, Ref inI, Ref outR, Ref outI, Ref madeR, Ref madeI, __float128 c, __float128 s) {
  products.push_back({inR, inI, outR, outI, madeR, madeI, c, s});
}

namespace {

using dag::Node;
using dag::Op;
using dag::Type;

using Lanes = std::array<Ref, kLanes>;
constexpr Lanes kNone = {-1, -1, -1, -1};

// Where a value stands: lane `lane` of output register `vec` of pack `pack`. A constant has pack -2 and
// its value; an unused lane has pack -1.
struct Loc {
  int pack = -1;
  int vec = 0;
  int lane = 0;
  bool secondary = false;  // a second copy of a value made elsewhere first
  double value = 0;
};
using LaneLocs = std::array<Loc, kLanes>;

struct Pack {
  enum Kind { Load, Operation, Product } kind = Operation;
  Op op = Op::Add;
  std::vector<Lanes> operands;  // Operation: its operands; Product: real and imaginary parts of the input
  std::array<double, kLanes> c{}, s{};  // Mul: the factors; Product: the constants c + i s
  int sample[2] = {-1, -1};              // Load: the samples in the low and the high half
  bool pairLoad = false;                 // Load: one 16-byte move of two neighbouring samples
  std::vector<LaneLocs> resolved;
};

uint64_t pairKey(Ref a, Ref b) { return static_cast<uint64_t>(static_cast<uint32_t>(a)) << 32 | static_cast<uint32_t>(b); }

class Lowering {
 public:
  Lowering(const Graph& g, const Trace& t, const std::vector<Ref>& outputs, int samples, bool contiguous,
           int borderCharge)
      : g_(g), t_(t), outputs_(outputs), samples_(samples), contiguous_(contiguous), borderCharge_(borderCharge),
        where_(g.size()), done_(t.products.size(), 0), full_(t.products.size(), 0), inputs_(static_cast<size_t>(2 * samples), -1) {
    for (size_t r = 0; r < g.size(); ++r) {
      const Node& n = g.node(static_cast<Ref>(r));
      if (n.op == Op::Input && n.input < 2 * samples) inputs_[static_cast<size_t>(n.input)] = static_cast<Ref>(r);
    }
    for (size_t p = 0; p < t.products.size(); ++p) {
      const Trace::Product& x = t.products[p];
      productIn_.emplace(pairKey(x.outR, x.outI), static_cast<int>(p));
      if (!identity(x)) {
        productOut_.emplace(x.outR, static_cast<int>(p));
        productOut_.emplace(x.outI, static_cast<int>(p));
      }
    }
    // What the outputs reach, through products to their inputs.
    live_.assign(g.size(), 0);
    std::vector<Ref> work(outputs.begin(), outputs.end());
    while (!work.empty()) {
      const Ref r = work.back();
      work.pop_back();
      if (r < 0 || live_[static_cast<size_t>(r)]) continue;
      live_[static_cast<size_t>(r)] = 1;
      const Node& n = g.node(r);
      work.push_back(n.a);
      work.push_back(n.b);
      auto prod = productOut_.find(r);
      if (prod != productOut_.end()) {
        work.push_back(t.products[static_cast<size_t>(prod->second)].inR);
        work.push_back(t.products[static_cast<size_t>(prod->second)].inI);
      }
    }
  }

  Code run() {
    Code code;
    for (size_t s = 0; s < t_.sites.size(); ++s)
      if (t_.sites[s].parent < 0) place(static_cast<int>(s));
    if (failed_) return code;
    productsForConsumers();
    loads();
    reach();
    if (failed_) return code;
    emitAll(code);
    code.ok = !failed_;
    code.fullProducts = full_;
    return code;
  }

 private:
  static bool identity(const Trace::Product& p) { return p.outR == p.inR && p.outI == p.inI; }

  // ---- instances and their bodies -------------------------------------------------------------------

  const std::vector<Ref>& body(int inst) {
    auto it = bodies_.find(inst);
    if (it != bodies_.end()) return it->second;
    std::vector<Ref> b;
    const Trace::Instance& in = t_.instances[static_cast<size_t>(inst)];
    for (Ref r = in.begin; r < in.end; ++r) {
      const Op op = g_.node(r).op;
      if (op != Op::Const && op != Op::Input) b.push_back(r);
    }
    return bodies_.emplace(inst, std::move(b)).first->second;
  }

  int offsetIn(int inst, Ref r) {
    const std::vector<Ref>& b = body(inst);
    auto it = std::lower_bound(b.begin(), b.end(), r);
    return it != b.end() && *it == r ? static_cast<int>(it - b.begin()) : -1;
  }

  // The node sequence of an instance with its operands told by position: instances with equal
  // signatures compute the same thing on different data.
  const std::vector<int>& signature(int inst) {
    auto it = signatures_.find(inst);
    if (it != signatures_.end()) return it->second;
    std::vector<int> sig;
    auto code = [&](Ref x) {
      if (x < 0) return -1;
      if (g_.node(x).op == Op::Const) return -2;
      const int at = offsetIn(inst, x);
      return at >= 0 ? at : -3;
    };
    for (Ref r : body(inst)) {
      const Node& n = g_.node(r);
      sig.push_back(static_cast<int>(n.op) * 2 + static_cast<int>(n.type));
      sig.push_back(code(n.a));
      sig.push_back(code(n.b));
    }
    return signatures_.emplace(inst, std::move(sig)).first->second;
  }

  // Arithmetic of an instance that the outputs need.
  int operations(int inst) {
    int n = 0;
    for (Ref r : body(inst)) {
      const Op op = g_.node(r).op;
      n += live_[static_cast<size_t>(r)] && (op == Op::Add || op == Op::Sub || op == Op::Mul);
    }
    return n;
  }

  // Runs of up to four consecutive instances of a site with one signature.
  std::vector<std::vector<int>> groups(int site) {
    std::vector<std::vector<int>> out;
    for (int inst : t_.sites[static_cast<size_t>(site)].instances) {
      if (!out.empty() && out.back().size() < kLanes && signature(out.back()[0]) == signature(inst)) {
        out.back().push_back(inst);
      } else {
        out.push_back({inst});
      }
    }
    return out;
  }

  // Packed operations when the site packs at its own level or, recursively, inside its instances.
  int cost(int site) {
    auto it = cost_.find(site);
    if (it != cost_.end()) return it->second;
    int here = 0;
    // A packed group also regroups its lanes at its border: about one shuffle for each input register
    // (the real and imaginary parts of its inputs), of which borderCharge_ halves are charged here.
    for (const std::vector<int>& grp : groups(site))
      here += operations(grp[0]) + static_cast<int>(t_.instances[static_cast<size_t>(grp[0])].inputs.size()) * borderCharge_ / 2;
    int inside = 0;
    bool nested = false;
    for (int inst : t_.sites[static_cast<size_t>(site)].instances) {
      int rest = operations(inst);
      for (int s : t_.instances[static_cast<size_t>(inst)].sites) {
        nested = true;
        for (int ci : t_.sites[static_cast<size_t>(s)].instances) rest -= operations(ci);
        inside += cost(s);
      }
      inside += rest;
    }
    const bool packHere = !nested || here <= inside;
    here_[site] = packHere;
    return cost_[site] = packHere ? here : inside;
  }

  void place(int site) {
    cost(site);
    if (!here_[site]) {
      for (int inst : t_.sites[static_cast<size_t>(site)].instances)
        for (int s : t_.instances[static_cast<size_t>(inst)].sites) place(s);
      return;
    }
    for (const std::vector<int>& grp : groups(site)) packGroup(grp);
  }

  // Which input of the instance, or which of its own nodes, a value is: lanes agree on it.
  int role(int inst, Ref x) {
    const int at = offsetIn(inst, x);
    if (at >= 0) return at;
    const std::vector<Ref>& in = t_.instances[static_cast<size_t>(inst)].inputs;
    auto it = std::find(in.begin(), in.end(), x);
    return it != in.end() ? (1 << 24) + static_cast<int>(it - in.begin()) : -1;
  }

  void packGroup(const std::vector<int>& grp) {
    const size_t len = body(grp[0]).size();
    for (size_t k = 0; k < len; ++k) {
      Pack p;
      p.op = g_.node(body(grp[0])[k]).op;
      if (p.op == Op::Widen || p.op == Op::Narrow) {
        failed_ = true;
        return;
      }
      Lanes a = kNone, b = kNone;
      int roleA = 0, roleB = 0;
      for (size_t l = 0; l < grp.size(); ++l) {
        const Node& n = g_.node(body(grp[l])[k]);
        a[l] = n.a;
        b[l] = n.b;
        if (p.op == Op::Mul) p.c[l] = n.value;
        if (p.op != Op::Add) continue;
        // Additions were ordered by node number; put the operands of every lane in lane 0's roles.
        const int ra = role(grp[l], n.a), rb = role(grp[l], n.b);
        if (l == 0) {
          roleA = ra;
          roleB = rb;
        } else if ((ra != roleA || rb != roleB) && ra == roleB && rb == roleA) {
          std::swap(a[l], b[l]);
        }
      }
      p.operands.push_back(a);
      if (p.op == Op::Add || p.op == Op::Sub) p.operands.push_back(b);
      const int id = add(std::move(p));
      for (size_t l = 0; l < grp.size(); ++l) locate(body(grp[l])[k], {id, 0, static_cast<int>(l)});
    }
    // The products made inside the instances pair up the same way, one by one.
    std::vector<std::vector<int>> inside(grp.size());
    for (size_t l = 0; l < grp.size(); ++l) {
      const Trace::Instance& in = t_.instances[static_cast<size_t>(grp[l])];
      for (size_t q = 0; q < t_.products.size(); ++q) {
        const Trace::Product& x = t_.products[q];
        if (!identity(x) && x.outR >= in.begin && x.outR < in.end) inside[l].push_back(static_cast<int>(q));
      }
    }
    bool alike = true;
    for (const std::vector<int>& v : inside) alike = alike && v.size() == inside[0].size();
    for (size_t q = 0; alike && q < inside[0].size(); ++q) {
      std::array<int, kLanes> lane = {-1, -1, -1, -1};
      bool same = true;  // one constant in all lanes: the graph's own evaluation, packed with the rest
      for (size_t l = 0; l < grp.size(); ++l) {
        lane[l] = inside[l][q];
        const Trace::Product &x = t_.products[static_cast<size_t>(lane[l])], &x0 = t_.products[static_cast<size_t>(lane[0])];
        same = same && x.c == x0.c && x.s == x0.s && !where_[static_cast<size_t>(x.madeR)].empty() &&
               !where_[static_cast<size_t>(x.madeI)].empty();
      }
      if (!same) {
        packProducts(lane);
        continue;
      }
      for (size_t l = 0; l < grp.size(); ++l) {
        const Trace::Product& x = t_.products[static_cast<size_t>(lane[l])];
        const std::vector<Loc> r = where_[static_cast<size_t>(x.madeR)], i = where_[static_cast<size_t>(x.madeI)];
        for (const Loc& at : r) locate(x.outR, {at.pack, at.vec, at.lane});
        for (const Loc& at : i) locate(x.outI, {at.pack, at.vec, at.lane});
        done_[static_cast<size_t>(lane[l])] = 1;
      }
    }
    groups_.push_back(grp);
  }

  int add(Pack p) {
    packs_.push_back(std::move(p));
    needed_.push_back(0);
    return static_cast<int>(packs_.size()) - 1;
  }

  void locate(Ref r, Loc at) {
    std::vector<Loc>& w = where_[static_cast<size_t>(r)];
    at.secondary = !w.empty();
    w.push_back(at);
  }

  // ---- complex multiplications by constants ---------------------------------------------------------

  // One product pack over the given products, lane by lane (-1: lane unused).
  void packProducts(const std::array<int, kLanes>& lane) {
    Pack p;
    p.kind = Pack::Product;
    Lanes inR = kNone, inI = kNone;
    for (int l = 0; l < kLanes; ++l) {
      if (lane[l] < 0) continue;
      const Trace::Product& x = t_.products[static_cast<size_t>(lane[l])];
      inR[l] = x.inR;
      inI[l] = x.inI;
      p.c[l] = static_cast<double>(static_cast<float>(x.c));
      p.s[l] = static_cast<double>(static_cast<float>(x.s));
    }
    p.operands = {inR, inI};
    const int id = add(std::move(p));
    // A result that is one of the pack's own inputs (a lane multiplied by 1, a quarter turn) is a second
    // copy of a value made elsewhere; where that value has no place yet it is made on its own.
    auto place = [&](Ref r, int vec, int l) {
      if (where_[static_cast<size_t>(r)].empty() && (std::count(inR.begin(), inR.end(), r) || std::count(inI.begin(), inI.end(), r)))
        return;
      locate(r, {id, vec, l});
    };
    for (int l = 0; l < kLanes; ++l) {
      if (lane[l] < 0) continue;
      const Trace::Product& x = t_.products[static_cast<size_t>(lane[l])];
      place(x.outR, 0, l);
      place(x.outI, 1, l);
      done_[static_cast<size_t>(lane[l])] = 1;
      full_[static_cast<size_t>(lane[l])] = 1;
    }
  }

  // Products whose results a packed group takes as one input run in that group's lanes; lanes whose
  // input was left unmultiplied are multiplied by 1.
  void productsForConsumers() {
    for (const std::vector<int>& grp : groups_) {
      const size_t slots = t_.instances[static_cast<size_t>(grp[0])].inputs.size() / 2;
      for (size_t j = 0; j < slots; ++j) {
        std::array<int, kLanes> lane = {-1, -1, -1, -1};
        bool any = false;
        for (size_t l = 0; l < grp.size(); ++l) {
          const std::vector<Ref>& in = t_.instances[static_cast<size_t>(grp[l])].inputs;
          auto it = productIn_.find(pairKey(in[2 * j], in[2 * j + 1]));
          if (it == productIn_.end()) continue;
          const Trace::Product& x = t_.products[static_cast<size_t>(it->second)];
          if (identity(x)) {
            if (!where_[static_cast<size_t>(x.inR)].empty() && !where_[static_cast<size_t>(x.inI)].empty()) lane[l] = it->second;
          } else if (!done_[static_cast<size_t>(it->second)] &&
                     (where_[static_cast<size_t>(x.outR)].empty() || where_[static_cast<size_t>(x.outI)].empty())) {
            lane[l] = it->second;
            any = true;
          }
        }
        if (any) packProducts(lane);
      }
    }
  }

  // ---- loads ----------------------------------------------------------------------------------------

  void loadPack(int first, int second, bool pairLoad) {
    Pack p;
    p.kind = Pack::Load;
    p.sample[0] = first;
    p.sample[1] = second;
    p.pairLoad = pairLoad;
    const int id = add(std::move(p));
    for (int h = 0; h < 2; ++h) {
      const int sample = h ? second : first;
      if (sample < 0) continue;
      locate(inputs_[static_cast<size_t>(2 * sample)], {id, 0, 2 * h});
      locate(inputs_[static_cast<size_t>(2 * sample + 1)], {id, 0, 2 * h + 1});
    }
  }

  // Contiguous: neighbouring samples in pairs. Gathered: the samples of one input of a packed group
  // side by side, so the same two shuffles split them.
  void loads() {
    if (contiguous_) {
      for (int k = 0; k < samples_; k += 2) loadPack(k, k + 1 < samples_ ? k + 1 : -1, k + 1 < samples_);
      return;
    }
    // Lanes 0 and 1 of an input share one load, lanes 2 and 3 another; a lane left alone waits for
    // another such lane, so that each input needs one shuffle.
    std::vector<char> loaded(static_cast<size_t>(samples_), 0);
    std::vector<int> alone;
    auto pairUp = [&](std::vector<int> v) {
      for (size_t k = 0; k + 1 < v.size(); k += 2) loadPack(v[k], v[k + 1], false);
      if (v.size() % 2) alone.push_back(v.back());
    };
    for (const std::vector<int>& grp : groups_) {
      const size_t slots = t_.instances[static_cast<size_t>(grp[0])].inputs.size() / 2;
      for (size_t j = 0; j < slots; ++j)
        for (size_t half = 0; half < grp.size(); half += 2) {
          std::vector<int> v;
          for (size_t l = half; l < grp.size() && l < half + 2; ++l) {
            const Node& n = g_.node(t_.instances[static_cast<size_t>(grp[l])].inputs[2 * j]);
            if (n.op != Op::Input || n.input % 2 != 0 || n.input >= 2 * samples_) continue;
            if (loaded[static_cast<size_t>(n.input / 2)]) continue;
            loaded[static_cast<size_t>(n.input / 2)] = 1;
            v.push_back(n.input / 2);
          }
          pairUp(v);
        }
    }
    for (int k = 0; k < samples_; ++k)
      if (!loaded[static_cast<size_t>(k)]) alone.push_back(k);
    for (size_t k = 0; k < alone.size(); k += 2) loadPack(alone[k], k + 1 < alone.size() ? alone[k + 1] : -1, false);
  }

  // ---- what the outputs need ------------------------------------------------------------------------

  void need(int pack, std::vector<Ref>& work) {
    if (needed_[static_cast<size_t>(pack)]) return;
    needed_[static_cast<size_t>(pack)] = 1;
    for (const Lanes& o : packs_[static_cast<size_t>(pack)].operands)
      for (Ref r : o)
        if (r >= 0) work.push_back(r);
  }

  // From the outputs down: every pack that holds a needed value is needed with all its lanes. Values in
  // no pack run alone, except products, which are packed four at a time in the order they were made.
  void reach() {
    std::vector<char> seen(g_.size(), 0);
    std::vector<Ref> work(outputs_.begin(), outputs_.end());
    while (!work.empty()) {
      std::vector<Ref> deferred;
      while (!work.empty()) {
        const Ref r = work.back();
        work.pop_back();
        if (seen[static_cast<size_t>(r)]) continue;
        const Node& n = g_.node(r);
        if (n.op == Op::Const) continue;
        if (!where_[static_cast<size_t>(r)].empty()) {
          seen[static_cast<size_t>(r)] = 1;
          for (const Loc& at : where_[static_cast<size_t>(r)]) need(at.pack, work);
          continue;
        }
        auto prod = productOut_.find(r);
        if (prod != productOut_.end() && !done_[static_cast<size_t>(prod->second)]) {
          deferred.push_back(r);
          continue;
        }
        if (n.op == Op::Widen || n.op == Op::Narrow || n.op == Op::Input) {
          failed_ = true;
          return;
        }
        Pack p;
        p.op = n.op;
        Lanes a = kNone, b = kNone;
        a[0] = n.a;
        b[0] = n.b;
        p.operands.push_back(a);
        if (n.op == Op::Add || n.op == Op::Sub) p.operands.push_back(b);
        if (n.op == Op::Mul) p.c[0] = n.value;
        locate(r, {add(std::move(p)), 0, 0});
        work.push_back(r);
      }
      std::vector<int> pending;
      for (Ref r : deferred) {
        const int p = productOut_.at(r);
        if (!done_[static_cast<size_t>(p)] && std::find(pending.begin(), pending.end(), p) == pending.end())
          pending.push_back(p);
      }
      std::sort(pending.begin(), pending.end());
      for (size_t k = 0; k < pending.size(); k += kLanes) {
        std::array<int, kLanes> lane = {-1, -1, -1, -1};
        for (size_t l = 0; l < kLanes && k + l < pending.size(); ++l) lane[l] = pending[k + l];
        packProducts(lane);
      }
      work = deferred;
    }
  }

  // ---- order ----------------------------------------------------------------------------------------

  // For each lane of an operand, the copy of its value that stands best with the other lanes: in one
  // register, in the lane where it is needed, if any.
  LaneLocs resolve(const Lanes& lanes, int self, bool primaryOnly) {
    std::array<std::vector<Loc>, kLanes> cand;
    LaneLocs out;
    for (int l = 0; l < kLanes; ++l) {
      const Ref r = lanes[l];
      if (r < 0) continue;
      if (g_.node(r).op == Op::Const) {
        out[l].pack = -2;
        out[l].value = g_.node(r).value;
        continue;
      }
      for (const Loc& at : where_[static_cast<size_t>(r)])
        if (at.pack != self && !(primaryOnly && at.secondary)) cand[l].push_back(at);
      if (cand[l].empty()) failed_ = true;
    }
    if (failed_) return out;
    std::vector<std::pair<int, int>> regs;
    for (int l = 0; l < kLanes; ++l)
      for (const Loc& at : cand[l]) regs.emplace_back(at.pack, at.vec);
    int best = -1;
    std::pair<int, int> bestReg{-1, 0};
    for (const auto& reg : regs) {
      int score = 0;
      for (int l = 0; l < kLanes; ++l) {
        int s = 0;
        for (const Loc& at : cand[l])
          if (at.pack == reg.first && at.vec == reg.second) s = std::max(s, at.lane == l ? 2 : 1);
        score += s;
      }
      if (score > best) {
        best = score;
        bestReg = reg;
      }
    }
    for (int l = 0; l < kLanes; ++l) {
      if (cand[l].empty()) continue;
      const Loc* pick = &cand[l][0];
      int rank = 0;
      for (const Loc& at : cand[l]) {
        const int r = at.pack == bestReg.first && at.vec == bestReg.second ? (at.lane == l ? 2 : 1) : 0;
        if (r > rank) {
          rank = r;
          pick = &at;
        }
      }
      out[l] = *pick;
    }
    return out;
  }

  // Resolves the operands of every needed pack; the packs each one waits for.
  std::vector<std::vector<int>> dependencies() {
    std::vector<std::vector<int>> deps(packs_.size());
    for (size_t p = 0; p < packs_.size(); ++p) {
      if (!needed_[p]) continue;
      Pack& pk = packs_[p];
      for (const Lanes& o : pk.operands) pk.resolved.push_back(resolve(o, static_cast<int>(p), pk.kind == Pack::Product));
      for (const LaneLocs& o : pk.resolved)
        for (const Loc& at : o)
          if (at.pack >= 0 && std::find(deps[p].begin(), deps[p].end(), at.pack) == deps[p].end()) deps[p].push_back(at.pack);
    }
    return deps;
  }

  // ---- emission -------------------------------------------------------------------------------------

  static std::string reg(int pack, int vec) { return "v" + std::to_string(pack) + (vec ? "i" : ""); }

  std::string operand(Shuffler& sh, const LaneLocs& locs) {
    std::array<Shuffler::Src, kLanes> t;
    std::array<double, kLanes> k{};
    bool constants = false;
    for (int l = 0; l < kLanes; ++l) {
      if (locs[l].pack == -2) {
        constants = true;
        k[l] = locs[l].value;
      } else if (locs[l].pack >= 0) {
        t[l] = {reg(locs[l].pack, locs[l].vec), locs[l].lane};
      }
    }
    if (constants) {
      const std::string kv = sh.constant(k);
      for (int l = 0; l < kLanes; ++l)
        if (locs[l].pack == -2) t[l] = {kv, l};
    }
    return sh.gather(t);
  }

  void emitPack(int id, Shuffler& sh, Body& body, Code& code) {
    const Pack& p = packs_[static_cast<size_t>(id)];
    const std::string v = reg(id, 0);
    if (p.kind == Pack::Load) {
      auto at = [](int sample) { return "reinterpret_cast<const __m64*>(src + " + std::to_string(2 * sample) + ")"; };
      std::string e;
      if (p.pairLoad) {
        e = "Access::load(src + " + std::to_string(2 * p.sample[0]) + ")";
      } else if (p.sample[1] < 0) {
        e = "_mm_loadl_pi(_mm_setzero_ps(), " + at(p.sample[0]) + ")";
      } else {
        e = "_mm_loadh_pi(_mm_loadl_pi(_mm_setzero_ps(), " + at(p.sample[0]) + "), " + at(p.sample[1]) + ")";
        ++code.counts.highHalf;
      }
      body.define(Statement::Load, v, e, {});
      sh.loaded(v);
      return;
    }
    if (p.kind == Pack::Product) {
      const std::string ar = operand(sh, p.resolved[0]), ai = operand(sh, p.resolved[1]);
      const std::string c = sh.constant(p.c), sn = sh.constant(p.s);
      body.define(Statement::Compute, v, "_mm_sub_ps(_mm_mul_ps(" + c + ", " + ar + "), _mm_mul_ps(" + sn + ", " + ai + "))",
                  {c, ar, sn, ai});
      body.define(Statement::Compute, reg(id, 1),
                  "_mm_add_ps(_mm_mul_ps(" + sn + ", " + ar + "), _mm_mul_ps(" + c + ", " + ai + "))", {c, ar, sn, ai});
      code.counts.addsub += 2;
      code.counts.mul += 4;
      return;
    }
    const std::string a = operand(sh, p.resolved[0]);
    const std::string b = p.resolved.size() > 1 ? operand(sh, p.resolved[1]) : "";
    const std::string k = p.op == Op::Mul ? sh.constant(p.c) : "";
    switch (p.op) {
      case Op::Add: body.define(Statement::Compute, v, "_mm_add_ps(" + a + ", " + b + ")", {a, b}); ++code.counts.addsub; break;
      case Op::Sub: body.define(Statement::Compute, v, "_mm_sub_ps(" + a + ", " + b + ")", {a, b}); ++code.counts.addsub; break;
      case Op::Mul: body.define(Statement::Compute, v, "_mm_mul_ps(" + k + ", " + a + ")", {k, a}); ++code.counts.mul; break;
      case Op::Neg: body.define(Statement::Compute, v, "_mm_xor_ps(" + a + ", _mm_set1_ps(-0.0f))", {a}); ++code.counts.flip; break;
      default: failed_ = true; break;
    }
  }

  // The output samples stored together. Contiguous: neighbours, one 16-byte move each pair. Gathered:
  // samples whose parts stand in lanes 0 and 1, or 2 and 3, of the same two registers, so that one
  // unpack interleaves them; the rest in order.
  std::vector<std::pair<int, int>> outputPairs() {
    std::vector<std::pair<int, int>> pairs;
    if (contiguous_) {
      for (int k = 0; k < samples_; k += 2) pairs.emplace_back(k, k + 1 < samples_ ? k + 1 : -1);
      return pairs;
    }
    std::vector<char> paired(static_cast<size_t>(samples_), 0);
    std::unordered_map<std::string, int> waiting;
    for (int k = 0; k < samples_; ++k) {
      const LaneLocs at = resolve({outputs_[2 * k], outputs_[2 * k + 1], -1, -1}, -1, false);
      if (failed_) return pairs;
      if (at[0].pack < 0 || at[1].pack < 0 || at[0].lane != at[1].lane) continue;
      const std::string key = std::to_string(at[0].pack) + "." + std::to_string(at[0].vec) + "/" +
                              std::to_string(at[1].pack) + "." + std::to_string(at[1].vec) + "/" + std::to_string(at[0].lane / 2);
      auto it = waiting.find(key);
      if (it == waiting.end()) {
        waiting.emplace(key, k);
        continue;
      }
      const int other = it->second;
      waiting.erase(it);
      paired[static_cast<size_t>(k)] = paired[static_cast<size_t>(other)] = 1;
      const bool otherFirst = resolve({outputs_[2 * other], -1, -1, -1}, -1, false)[0].lane < at[0].lane;
      pairs.emplace_back(otherFirst ? other : k, otherFirst ? k : other);
    }
    int alone = -1;
    for (int k = 0; k < samples_; ++k) {
      if (paired[static_cast<size_t>(k)]) continue;
      if (alone < 0) {
        alone = k;
      } else {
        pairs.emplace_back(alone, k);
        alone = -1;
      }
    }
    if (alone >= 0) pairs.emplace_back(alone, -1);
    return pairs;
  }

  // The order that runs less over the registers; each pair of outputs is scaled and stored as soon as it
  // is complete, so its registers are free again.
  void emitAll(Code& code) {
    const std::vector<std::vector<int>> deps = dependencies();
    if (failed_) return;
    Body body;
    Shuffler sh(body, code.counts.shuffle, code.counts.borderShuffle);
    const size_t n = packs_.size();
    std::vector<LaneLocs> outs;
    std::vector<std::vector<int>> storedFrom;
    const std::vector<std::pair<int, int>> pairs = outputPairs();
    if (failed_) return;
    for (const auto& [a, b] : pairs) {
      const Lanes parts = {outputs_[2 * a], outputs_[2 * a + 1], b >= 0 ? outputs_[2 * b] : -1, b >= 0 ? outputs_[2 * b + 1] : -1};
      outs.push_back(resolve(parts, -1, false));
      if (failed_) return;
      std::vector<int> from;
      for (const Loc& at : outs.back())
        if (at.pack >= 0 && std::find(from.begin(), from.end(), at.pack) == from.end()) from.push_back(at.pack);
      storedFrom.push_back(from);
    }
    const std::optional<std::vector<int>> byRecipe = packOrder(deps, needed_, false), byRecent = packOrder(deps, needed_, true);
    if (!byRecipe || !byRecent) {
      failed_ = true;
      return;
    }
    std::vector<int> widths(n);
    for (size_t p = 0; p < n; ++p) widths[p] = packs_[p].kind == Pack::Product ? 2 : 1;
    const std::vector<int>& seq = registersNeeded(*byRecent, deps, storedFrom, needed_, widths) <
                                          registersNeeded(*byRecipe, deps, storedFrom, needed_, widths)
                                      ? *byRecent
                                      : *byRecipe;
    std::vector<int> outWaiting;
    std::vector<std::vector<int>> outsOf(n);
    for (size_t o = 0; o < storedFrom.size(); ++o) {
      outWaiting.push_back(static_cast<int>(storedFrom[o].size()));
      for (int d : storedFrom[o]) outsOf[static_cast<size_t>(d)].push_back(static_cast<int>(o));
    }
    auto store = [&](int o) {
      const auto [a, b] = pairs[static_cast<size_t>(o)];
      // Every shuffle that forms the stored pair is at the border, whatever its operands.
      const int before = code.counts.shuffle, borderBefore = code.counts.borderShuffle;
      const std::string v = operand(sh, outs[static_cast<size_t>(o)]);
      code.counts.borderShuffle = borderBefore + code.counts.shuffle - before;
      const std::string out = "o" + std::to_string(a);
      body.define(Statement::Compute, out, "scale(" + v + ")", {v});
      ++code.counts.mul;  // under the hints that scale
      auto at = [](int sample) { return "reinterpret_cast<__m64*>(dst + " + std::to_string(2 * sample) + ")"; };
      if (contiguous_ && b == a + 1 && a % 2 == 0) {
        body.add(Statement::Store, "", "Access::store(dst + " + std::to_string(2 * a) + ", " + out + ");", {out});
      } else {
        body.add(Statement::Store, "", "_mm_storel_pi(" + at(a) + ", " + out + ");", {out});
        if (b >= 0) {
          body.add(Statement::Store, "", "_mm_storeh_pi(" + at(b) + ", " + out + ");", {out});
          ++code.counts.highHalf;
        }
      }
    };
    // Loads stand where they are first needed, but all of them before the first store, since the
    // destination may be the source.
    std::vector<char> emitted(n, 0);
    bool stored = false;
    for (int p : seq) {
      if (emitted[static_cast<size_t>(p)]) continue;
      emitPack(p, sh, body, code);
      emitted[static_cast<size_t>(p)] = 1;
      for (int o : outsOf[static_cast<size_t>(p)]) {
        if (--outWaiting[static_cast<size_t>(o)] != 0) continue;
        if (!stored)
          for (int q : seq)
            if (!emitted[static_cast<size_t>(q)] && packs_[static_cast<size_t>(q)].kind == Pack::Load) {
              emitPack(q, sh, body, code);
              emitted[static_cast<size_t>(q)] = 1;
            }
        stored = true;
        store(o);
      }
    }
    code.body = std::move(body).statements();
  }

  const Graph& g_;
  const Trace& t_;
  const std::vector<Ref>& outputs_;
  const int samples_;
  const bool contiguous_;
  const int borderCharge_;
  std::vector<std::vector<Loc>> where_;
  std::vector<char> done_;
  std::vector<char> full_;   // products run as whole complex multiplications
  std::vector<Ref> inputs_;  // the node of each loaded part
  std::vector<char> live_;   // what the outputs reach, products left aside
  std::unordered_map<uint64_t, int> productIn_;  // (real, imaginary) result -> product
  std::unordered_map<Ref, int> productOut_;      // result part -> product, for products that multiply
  std::vector<Pack> packs_;
  std::vector<char> needed_;
  std::vector<std::vector<int>> groups_;
  std::unordered_map<int, std::vector<Ref>> bodies_;
  std::unordered_map<int, std::vector<int>> signatures_;
  std::unordered_map<int, int> cost_;
  std::unordered_map<int, bool> here_;
  bool failed_ = false;
};

}  // namespace

Code emit(const Graph& g, const Trace& trace, const std::vector<Ref>& outputs, int samples, bool contiguous) {
  // Where a site packs is a guess at how many shuffles its border costs; several guesses give several
  // packings, and the code keeps the one that executes the fewest four-lane instructions (additions,
  // multiplications, shuffles, flips), the first guess of equals.
  auto executed = [](const Counts& c) { return c.addsub + c.mul + c.shuffle + c.flip; };
  std::optional<Code> best;
  for (int charge : {1, 0, 2, 3, 4, 6, 8}) {
    Code c = Lowering(g, trace, outputs, samples, contiguous, charge).run();
    if (!c.ok) return c;
    if (!best || executed(c.counts) < executed(best->counts)) best = std::move(c);
  }
  return std::move(*best);
}

std::vector<double> evaluate(const Graph& g, const Trace& trace, const Code& code, const std::vector<Ref>& outputs,
                             const std::vector<double>& inputs) {
  std::vector<float> v(g.size(), 0.0f);
  auto at = [&](Ref r) { return v[static_cast<size_t>(r)]; };
  std::unordered_map<int32_t, size_t> product;  // input number of a product's real part -> product
  for (size_t p = 0; p < trace.products.size(); ++p) {
    const Trace::Product& x = trace.products[p];
    if (x.outR != x.inR) product.emplace(g.node(x.outR).input, p);
  }
  for (Ref r = 0; r < static_cast<Ref>(g.size()); ++r) {
    const dag::Node& n = g.node(r);
    float& x = v[static_cast<size_t>(r)];
    switch (n.op) {
      case dag::Op::Input:
        if (n.input < kProductInputs) {
          x = static_cast<float>(inputs[static_cast<size_t>(n.input)]);
        } else {
          const size_t p = product.at(n.input & ~1);
          const Trace::Product& pr = trace.products[p];
          const bool real = (n.input & 1) == 0;
          if (code.fullProducts[p]) {
            const float c = static_cast<float>(pr.c), s = static_cast<float>(pr.s);
            x = real ? c * at(pr.inR) - s * at(pr.inI) : s * at(pr.inR) + c * at(pr.inI);
          } else {
            x = at(real ? pr.madeR : pr.madeI);
          }
        }
        break;
      case dag::Op::Const: x = static_cast<float>(n.value); break;
      case dag::Op::Neg: x = -at(n.a); break;
      case dag::Op::Add: x = at(n.a) + at(n.b); break;
      case dag::Op::Sub: x = at(n.a) - at(n.b); break;
      case dag::Op::Mul: x = static_cast<float>(n.value) * at(n.a); break;
      case dag::Op::Widen:
      case dag::Op::Narrow: throw std::logic_error("lanes4::evaluate: a width change has no four-lane form");
    }
  }
  std::vector<double> out;
  for (Ref r : outputs) out.push_back(at(r));
  return out;
}

}  // namespace zspgen::lanes4
