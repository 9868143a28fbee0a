#include "gen/expr.h"

#include <cmath>
#include <cstring>
#include <sstream>

#include "gen/generated_file.h"

namespace zspgen::dag {

namespace {

double roundTo(double v, Type t) { return t == Type::F32 ? static_cast<double>(static_cast<float>(v)) : v; }

uint64_t bitsOf(double v) {
  uint64_t u;
  std::memcpy(&u, &v, sizeof u);
  return u;
}

}  // namespace

size_t Graph::KeyHash::operator()(const Node& n) const {
  uint64_t h = static_cast<uint64_t>(n.op) * 0x9E3779B97F4A7C15ull ^ static_cast<uint64_t>(n.type);
  h = h * 1099511628211ull ^ static_cast<uint64_t>(static_cast<uint32_t>(n.a));
  h = h * 1099511628211ull ^ static_cast<uint64_t>(static_cast<uint32_t>(n.b));
  h = h * 1099511628211ull ^ bitsOf(n.value);
  h = h * 1099511628211ull ^ static_cast<uint64_t>(static_cast<uint32_t>(n.input));
  return static_cast<size_t>(h ^ (h >> 29));
}

bool Graph::KeyEq::operator()(const Node& x, const Node& y) const {
  return x.op == y.op && x.type == y.type && x.a == y.a && x.b == y.b && bitsOf(x.value) == bitsOf(y.value) &&
         x.input == y.input;
}

Ref Graph::intern(const Node& n) {
  auto it = index_.find(n);
  if (it != index_.end()) return it->second;
  const Ref r = static_cast<Ref>(nodes_.size());
  nodes_.push_back(n);
  index_.emplace(n, r);
  return r;
}

Ref Graph::find(const Node& n) const {
  auto it = index_.find(n);
  return it == index_.end() ? -1 : it->second;
}

namespace {
uint64_t pairKey(Ref re, Ref im) { return static_cast<uint64_t>(static_cast<uint32_t>(re)) << 32 | static_cast<uint32_t>(im); }
}  // namespace

// Signs don't part a pair: a negated part is marked by the value it negates.
// A pair marked already the other way round keeps that order: its swap is a rotation of that value.
void Graph::markComplex(Ref re, Ref im) {
  re = unsigned_(re);
  im = unsigned_(im);
  if (complex_.count(pairKey(im, re)) != 0) return;
  complex_.emplace(pairKey(re, im), 1);
  partner_.emplace(re, std::make_pair(im, true));
  partner_.emplace(im, std::make_pair(re, false));
}

Ref Graph::markedPartner(Ref r, bool& isReal) const {
  auto it = partner_.find(unsigned_(r));
  if (it == partner_.end()) return -1;
  isReal = it->second.second;
  return it->second.first;
}

bool Graph::markedComplex(Ref re, Ref im) const { return complex_.count(pairKey(unsigned_(re), unsigned_(im))) != 0; }

Ref Graph::unsigned_(Ref r) const {
  while (node(r).op == Op::Neg) r = node(r).a;
  return r;
}

Ref Graph::input(int32_t index, Type type) {
  Node n{Op::Input, type};
  n.input = index;
  return intern(n);
}

Ref Graph::constant(double value, Type type) {
  Node n{Op::Const, type};
  n.value = roundTo(value, type) + 0.0;  // one zero: +0
  return intern(n);
}

Ref Graph::add(Ref a, Ref b) {
  const Node &x = node(a), &y = node(b);
  const Type t = x.type;
  if (isZero(a)) return b;
  if (isZero(b)) return a;
  if (x.op == Op::Const && y.op == Op::Const) return constant(roundTo(x.value + y.value, t), t);
  if (x.op == Op::Neg && y.op == Op::Neg) return neg(add(x.a, y.a));
  if (x.op == Op::Neg) return sub(b, x.a);
  if (y.op == Op::Neg) return sub(a, y.a);
  Node n{Op::Add, t};
  n.a = a < b ? a : b;  // addition commutes: one node for both orders
  n.b = a < b ? b : a;
  return intern(n);
}

Ref Graph::sub(Ref a, Ref b) {
  const Node &x = node(a), &y = node(b);
  const Type t = x.type;
  if (isZero(b)) return a;
  if (isZero(a)) return neg(b);
  if (x.op == Op::Const && y.op == Op::Const) return constant(roundTo(x.value - y.value, t), t);
  if (x.op == Op::Neg && y.op == Op::Neg) return sub(y.a, x.a);
  if (y.op == Op::Neg) return add(a, y.a);
  if (x.op == Op::Neg) return neg(add(x.a, b));
  if (shareDifferences_ && a > b) return neg(sub(b, a));
  Node n{Op::Sub, t};
  n.a = a;
  n.b = b;
  return intern(n);
}

Ref Graph::subAsWritten(Ref a, Ref b) {
  Node n{Op::Sub, node(a).type};
  n.a = a;
  n.b = b;
  return intern(n);
}

Ref Graph::mulAsWritten(Ref a, double value, __float128 exact) {
  Node n{Op::Mul, node(a).type};
  n.a = a;
  n.value = value;
  n.exact = exact;
  return intern(n);
}

Ref Graph::neg(Ref a) {
  const Node& x = node(a);
  if (x.op == Op::Neg) return x.a;
  if (x.op == Op::Const) return constant(-x.value, x.type);
  Node n{Op::Neg, x.type};
  n.a = a;
  return intern(n);
}

Ref Graph::mul(Ref a, __float128 factor) {
  const Node& x = node(a);
  const Type t = x.type;
  double c = t == Type::F32 ? static_cast<double>(static_cast<float>(factor)) : static_cast<double>(factor);
  if (c == 0.0 || isZero(a)) return zero(t);
  if (c == 1.0) return a;
  if (c == -1.0) return neg(a);
  if (x.op == Op::Const) return constant(roundTo(x.value * c, t), t);
  if (c < 0) return neg(mul(a, -factor));
  if (x.op == Op::Neg) return neg(mul(x.a, factor));
  if (foldProducts_ && x.op == Op::Mul) return mul(x.a, x.exact * factor);
  Node n{Op::Mul, t};
  n.a = a;
  n.value = c;
  n.exact = factor;
  return intern(n);
}

Ref Graph::widen(Ref a) {
  const Node& x = node(a);
  if (x.type == Type::F64) return a;
  if (x.op == Op::Const) return constant(x.value, Type::F64);
  if (x.op == Op::Neg) return neg(widen(x.a));
  Node n{Op::Widen, Type::F64};
  n.a = a;
  return intern(n);
}

Ref Graph::narrow(Ref a) {
  const Node& x = node(a);
  if (x.type == Type::F32) return a;
  if (x.op == Op::Widen) return x.a;
  if (x.op == Op::Const) return constant(x.value, Type::F32);
  if (x.op == Op::Neg) return neg(narrow(x.a));
  Node n{Op::Narrow, Type::F32};
  n.a = a;
  return intern(n);
}

std::vector<Ref> liveNodes(const Graph& g, const std::vector<Ref>& outputs) {
  std::vector<char> live(g.size(), 0);
  for (Ref r : outputs) live[static_cast<size_t>(r)] = 1;
  // Operands precede users, so one backward sweep marks everything the outputs reach.
  for (size_t i = g.size(); i-- > 0;) {
    if (!live[i]) continue;
    const Node& n = g.node(static_cast<Ref>(i));
    if (n.a >= 0) live[static_cast<size_t>(n.a)] = 1;
    if (n.b >= 0) live[static_cast<size_t>(n.b)] = 1;
  }
  std::vector<Ref> order;
  for (size_t i = 0; i < g.size(); ++i)
    if (live[i]) order.push_back(static_cast<Ref>(i));
  return order;
}

Counts countOperations(const Graph& g, const std::vector<Ref>& outputs) {
  Counts c;
  for (Ref r : liveNodes(g, outputs)) {
    const Op op = g.node(r).op;
    if (op == Op::Add || op == Op::Sub) ++c.adds;
    if (op == Op::Mul) ++c.muls;
  }
  return c;
}

const char* typeName(Type type) { return type == Type::F32 ? "float" : "double"; }

std::string literal(double value, Type type) {
  return type == Type::F32 ? hexLiteral(static_cast<float>(value)) : hexLiteral(value);
}

ScalarCode emitScalar(const Graph& g, const std::vector<Ref>& outputs, const std::string& indent,
                      std::string (*inputName)(int32_t)) {
  std::vector<std::string> name(g.size());
  std::vector<std::vector<std::string>> reads(g.size());  // the names each node's expression reads
  std::ostringstream s;
  std::vector<Statement> body;
  int next = 0;
  for (Ref r : liveNodes(g, outputs)) {
    const Node& n = g.node(r);
    auto op = [&](Ref x) { return name[static_cast<size_t>(x)]; };
    std::vector<std::string>& uses = reads[static_cast<size_t>(r)];
    std::string expr;
    switch (n.op) {
      case Op::Input: name[static_cast<size_t>(r)] = inputName(n.input); uses = {inputName(n.input)}; continue;
      case Op::Const: name[static_cast<size_t>(r)] = literal(n.value, n.type); continue;
      case Op::Neg: name[static_cast<size_t>(r)] = "(-" + op(n.a) + ")"; uses = reads[static_cast<size_t>(n.a)]; continue;
      case Op::Add: expr = op(n.a) + " + " + op(n.b); break;
      case Op::Sub: expr = op(n.a) + " - " + op(n.b); break;
      case Op::Mul: expr = literal(n.value, n.type) + " * " + op(n.a); break;
      case Op::Widen: expr = "static_cast<double>(" + op(n.a) + ")"; break;
      case Op::Narrow: expr = "static_cast<float>(" + op(n.a) + ")"; break;
    }
    const std::string t = "t" + std::to_string(next++);
    const std::string line = std::string("const ") + typeName(n.type) + " " + t + " = " + expr + ";";
    s << indent << line << "\n";
    std::vector<std::string> operands = reads[static_cast<size_t>(n.a)];
    if (n.op == Op::Add || n.op == Op::Sub)
      operands.insert(operands.end(), reads[static_cast<size_t>(n.b)].begin(), reads[static_cast<size_t>(n.b)].end());
    body.push_back({Statement::Compute, t, line, operands});
    name[static_cast<size_t>(r)] = t;
    uses = {t};
  }
  ScalarCode code;
  code.body = std::move(body);
  code.statements = s.str();
  for (Ref r : outputs) {
    code.outputs.push_back(name[static_cast<size_t>(r)]);
    code.outputUses.push_back(reads[static_cast<size_t>(r)]);
  }
  return code;
}

}  // namespace zspgen::dag
