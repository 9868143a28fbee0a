#include "gen/output_signs.h"

#include <stdexcept>

namespace zspgen::dag {

namespace {

// Each value v is made as sign[v] * v. Inputs and constants keep +1. A multiplication takes any sign,
// but for a doubling, which keeps its operand's.
// An addition a + b made from sign[a] * a and sign[b] * b comes out with their common sign if they
// agree, and with either sign if not (a - b' or b' - a); a subtraction the other way round.
struct Signs {
  const Graph& g;
  const std::vector<Ref>& live;
  std::vector<int8_t> sign;    // per node, +1 or -1
  std::vector<int8_t> choice;  // per node, the sign taken where the operands leave it open

  Signs(const Graph& graph, const std::vector<Ref>& nodes)
      : g(graph), live(nodes), sign(graph.size(), 1), choice(graph.size(), 1) {}

  // Whether the operands of r leave its sign open.
  bool open(Ref r) const {
    const Node& n = g.node(r);
    // A doubling keeps its constant: the counts and the single-precision rule tell it by its 2.
    if (n.op == Op::Mul) return !isDoubling(n);
    if (n.op != Op::Add && n.op != Op::Sub) return false;
    const bool agree = sign[static_cast<size_t>(n.a)] == sign[static_cast<size_t>(n.b)];
    return n.op == Op::Add ? !agree : agree;
  }

  void settle() {
    for (Ref r : live) {
      const Node& n = g.node(r);
      const size_t i = static_cast<size_t>(r);
      if (n.op == Op::Add || n.op == Op::Sub || n.op == Op::Mul)
        sign[i] = open(r) ? choice[i] : sign[static_cast<size_t>(n.a)];
      else
        sign[i] = 1;
    }
  }
};

}  // namespace

SignedGraph signsIntoOperations(const Graph& g, const std::vector<Ref>& outputs) {
  std::vector<Ref> live;
  for (Ref r : liveNodes(g, outputs))
    if (g.node(r).op != Op::Neg) live.push_back(r);
  // What each output wants of the value it stores: the value itself, or for a negated output the
  // negated value; a value that outputs want both ways counts once each way.
  std::vector<int> wantPlus(g.size(), 0), wantMinus(g.size(), 0);
  for (Ref r : outputs) {
    if (g.node(r).op == Op::Neg)
      ++wantMinus[static_cast<size_t>(g.node(r).a)];
    else
      ++wantPlus[static_cast<size_t>(r)];
  }
  Signs s(g, live);
  auto turned = [&]() {
    int n = 0;
    for (Ref r : live) n += s.sign[static_cast<size_t>(r)] > 0 ? wantMinus[static_cast<size_t>(r)] : wantPlus[static_cast<size_t>(r)];
    return n;
  };
  // A stored value whose sign is open takes the one its outputs want.
  for (Ref r : live)
    if (wantMinus[static_cast<size_t>(r)] > wantPlus[static_cast<size_t>(r)]) s.choice[static_cast<size_t>(r)] = -1;
  s.settle();
  int best = turned();
  // Who reads each value, for turning a reader together with the value it reads.
  std::vector<std::vector<Ref>> readers(g.size());
  for (Ref r : live)
    for (Ref x : {g.node(r).a, g.node(r).b})
      if (x >= 0) readers[static_cast<size_t>(x)].push_back(r);
  auto turn = [&](Ref r) { s.choice[static_cast<size_t>(r)] = static_cast<int8_t>(-s.choice[static_cast<size_t>(r)]); };
  // Turn one open choice at a time, or one with a reader that it opens (the second term of a sum can only
  // take the sign after a product in it has), while that leaves fewer outputs turned.
  for (bool better = true; better && best > 0;) {
    better = false;
    for (size_t k = 0; k < live.size() && best > 0; ++k) {
      const Ref r = live[k];
      if (!s.open(r)) continue;
      turn(r);
      s.settle();
      int now = turned();
      for (size_t j = 0; now >= best && j < readers[static_cast<size_t>(r)].size(); ++j) {
        const Ref u = readers[static_cast<size_t>(r)][j];
        if (!s.open(u)) continue;
        turn(u);
        s.settle();
        now = turned();
        if (now >= best) turn(u);
      }
      if (now < best) {
        best = now;
        better = true;
      } else {
        turn(r);
      }
      s.settle();
    }
  }
  // Remake every value with its sign: made[v] computes sign[v] * v by one operation of v's kind.
  SignedGraph out;
  Graph& h = out.g;
  std::vector<Ref> made(g.size(), -1);
  for (Ref r : live) {
    const Node& n = g.node(r);
    const size_t i = static_cast<size_t>(r);
    const int sv = s.sign[i];
    Ref m = -1;
    switch (n.op) {
      case Op::Input: m = h.input(n.input, n.type); break;
      case Op::Const: m = h.constant(n.value, n.type); break;
      case Op::Mul: {
        const int sa = s.sign[static_cast<size_t>(n.a)];
        m = h.mulAsWritten(made[static_cast<size_t>(n.a)], sv * sa * n.value, sv * sa * n.exact);
        break;
      }
      case Op::Add:
      case Op::Sub: {
        const Ref a = made[static_cast<size_t>(n.a)], b = made[static_cast<size_t>(n.b)];
        const int ca = sv * s.sign[static_cast<size_t>(n.a)];
        const int cb = sv * s.sign[static_cast<size_t>(n.b)] * (n.op == Op::Sub ? -1 : 1);
        if (ca > 0 && cb > 0) m = h.add(a, b);
        else if (ca > 0) m = h.subAsWritten(a, b);
        else if (cb > 0) m = h.subAsWritten(b, a);
        else throw std::logic_error("signsIntoOperations: a sign that the operands do not allow");
        break;
      }
      default: throw std::logic_error("signsIntoOperations: negations inside the graph or width changes");
    }
    if (g.isStageValue(r)) h.markStageValue(m);
    made[i] = m;
  }
  for (Ref r : outputs) {
    const bool negated = g.node(r).op == Op::Neg;
    const Ref v = negated ? g.node(r).a : r;
    const Ref m = made[static_cast<size_t>(v)];
    out.outputs.push_back((s.sign[static_cast<size_t>(v)] < 0) == negated ? m : h.neg(m));
  }
  return out;
}

}  // namespace zspgen::dag
