#include "gen/single_rule.h"

#include <stdexcept>

namespace zspgen::dag {

std::unique_ptr<Lowered> lowerToSingleRule(const Graph& exact, const std::vector<Ref>& outputs, bool roundOutputs) {
  auto out = std::make_unique<Lowered>();
  Graph& g = out->g;
  // A node's value, and the value its users take: rounded to single where the node ends a stage.
  std::vector<Ref> value(exact.size(), -1), operand(exact.size(), -1);
  auto single = [&](Ref v) { return g.node(v).type == Type::F32; };
  for (Ref r : liveNodes(exact, outputs)) {
    const Node& n = exact.node(r);
    if (n.type != Type::F64) throw std::runtime_error("single rule: the exact graph holds a float node");
    Ref& v = value[static_cast<size_t>(r)];
    const auto in = [&](Ref x) { return operand[static_cast<size_t>(x)]; };
    switch (n.op) {
      case Op::Input: v = g.input(n.input, Type::F32); break;
      case Op::Const: v = g.constant(n.value, Type::F32); break;
      case Op::Neg: v = g.neg(value[static_cast<size_t>(n.a)]); break;  // its users take the operand's form
      case Op::Mul:
        // A doubling of a single value is exact in single precision and stays there.
        v = isDoubling(n) && single(in(n.a)) ? g.mul(in(n.a), 2) : g.mul(g.widen(g.narrow(in(n.a))), n.exact);
        break;
      case Op::Add:
      case Op::Sub: {
        Ref a = in(n.a), b = in(n.b);
        if (!single(a) || !single(b)) {
          a = g.widen(a);
          b = g.widen(b);
        }
        v = n.op == Op::Add ? g.add(a, b) : g.sub(a, b);
        break;
      }
      default: throw std::runtime_error("single rule: unexpected node in the exact graph");
    }
    operand[static_cast<size_t>(r)] = exact.isStageValue(r) ? g.narrow(v)
                                      : n.op == Op::Neg ? g.neg(operand[static_cast<size_t>(n.a)])
                                                        : v;
  }
  for (Ref r : outputs) out->outputs.push_back(roundOutputs ? g.narrow(value[static_cast<size_t>(r)]) : value[static_cast<size_t>(r)]);
  return out;
}

std::vector<double> probeInputs(int count, uint64_t index, bool single) {
  uint64_t state = 0x9E3779B97F4A7C15ull * index;
  std::vector<double> x;
  for (int j = 0; j < count; ++j) {
    state = state * 6364136223846793005ull + 1442695040888963407ull;
    const double v = static_cast<double>(state >> 11) / 9007199254740992.0 * 2 - 1;
    x.push_back(single ? static_cast<double>(static_cast<float>(v)) : v);
  }
  return x;
}

std::vector<double> evaluate(const Graph& g, const std::vector<Ref>& outputs, const std::vector<double>& inputs) {
  std::vector<double> v(g.size(), 0.0);
  for (Ref r : liveNodes(g, outputs)) {
    const Node& n = g.node(r);
    const double a = n.a >= 0 ? v[static_cast<size_t>(n.a)] : 0, b = n.b >= 0 ? v[static_cast<size_t>(n.b)] : 0;
    const bool f = n.type == Type::F32;
    double& x = v[static_cast<size_t>(r)];
    switch (n.op) {
      case Op::Input: x = f ? static_cast<float>(inputs[static_cast<size_t>(n.input)]) : inputs[static_cast<size_t>(n.input)]; break;
      case Op::Const: x = n.value; break;
      case Op::Neg: x = -a; break;
      case Op::Add: x = f ? static_cast<double>(static_cast<float>(a) + static_cast<float>(b)) : a + b; break;
      case Op::Sub: x = f ? static_cast<double>(static_cast<float>(a) - static_cast<float>(b)) : a - b; break;
      case Op::Mul: x = f ? static_cast<double>(static_cast<float>(n.value) * static_cast<float>(a)) : n.value * a; break;
      case Op::Widen: x = a; break;
      case Op::Narrow: x = static_cast<float>(a); break;
    }
  }
  std::vector<double> out;
  for (Ref r : outputs) out.push_back(v[static_cast<size_t>(r)]);
  return out;
}

}  // namespace zspgen::dag
