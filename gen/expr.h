// The generators' intermediate form: a hash-consed graph of real-valued operations.
//
// A node is an input sample part, a constant, an addition, a subtraction, a negation, a multiplication by
// a constant, or a change of width between float and double. Nodes are simplified as they are made
// (x + 0, x * 1, x * -1, negations folded into additions and subtractions, constants folded), and equal
// nodes are made once, so common subexpressions merge by construction. Operands always precede their
// users, so node order is an evaluation order. What the outputs do not reach is dead and is neither
// counted nor emitted.
#ifndef ZSPGEN_GEN_EXPR_H
#define ZSPGEN_GEN_EXPR_H

#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "gen/schedule.h"

namespace zspgen::dag {

enum class Op : uint8_t { Input, Const, Add, Sub, Neg, Mul, Widen, Narrow };
enum class Type : uint8_t { F32, F64 };

using Ref = int32_t;

struct Node {
  Op op;
  Type type;
  Ref a = -1;          // first operand
  Ref b = -1;          // second operand (Add, Sub)
  double value = 0;    // Const: the value; Mul: the constant factor, exact in `type`
  int32_t input = -1;  // Input: index of the scalar part (2k real, 2k+1 imaginary of sample k)
  __float128 exact = 0;  // Mul: the factor before rounding, for folding products; not part of the identity
};

class Graph {
 public:
  Ref input(int32_t index, Type type);
  Ref constant(double value, Type type);
  Ref zero(Type type) { return constant(0.0, type); }
  Ref add(Ref a, Ref b);
  Ref sub(Ref a, Ref b);
  Ref neg(Ref a);
  // a - b as written, also where differences are shared: for a rewrite that places a sign itself.
  Ref subAsWritten(Ref a, Ref b);
  // value * a as written, the constant rounded already (`exact` is the factor before rounding).
  Ref mulAsWritten(Ref a, double value, __float128 exact);
  // Multiplies by `factor` rounded once to the operand's type.
  Ref mul(Ref a, __float128 factor);
  Ref widen(Ref a);   // float to double
  Ref narrow(Ref a);  // double to float, rounded once

  // From now on a multiplication of a product by a constant becomes one multiplication by the product of
  // the two constants, rounded once from their exact product.
  void foldProducts() { foldProducts_ = true; }
  // From now on b - a is made as -(a - b) where a was made first, so the two orders of one difference
  // share one node.
  void shareDifferences() { shareDifferences_ = true; }

  // Marks two values as the real and imaginary part of one complex value of the builders. The mark
  // changes no node; lowerings that keep a complex value in one register use it to keep parts together.
  void markComplex(Ref re, Ref im);
  // Whether `re` and `im` were marked as the parts of one complex value, in that order.
  bool markedComplex(Ref re, Ref im) const;
  // The first value marked together with `r`, and whether `r` was the real part; -1 if none.
  Ref markedPartner(Ref r, bool& isReal) const;

  // Marks a value that ends a stage of a transform: the output of a sub-transform, of a twiddle or of a
  // constant multiplier, or a fold feeding one. The mark changes no node; a lowering that carries sums of
  // products in a wider type rounds such a value where other nodes use it.
  // A negation's mark also marks the value it negates: sums fold negations away.
  void markStageValue(Ref r) {
    stageValues_.insert(r);
    stageValues_.insert(unsigned_(r));
  }
  bool isStageValue(Ref r) const { return stageValues_.count(r) != 0; }

  // The node equal to `n` if the graph has made it, else -1. Makes nothing.
  Ref find(const Node& n) const;

  const Node& node(Ref r) const { return nodes_[static_cast<size_t>(r)]; }
  size_t size() const { return nodes_.size(); }
  bool isZero(Ref r) const { return node(r).op == Op::Const && node(r).value == 0.0; }

 private:
  Ref intern(const Node& n);
  Ref unsigned_(Ref r) const;
  struct KeyHash {
    size_t operator()(const Node& n) const;
  };
  struct KeyEq {
    bool operator()(const Node& x, const Node& y) const;
  };
  std::vector<Node> nodes_;
  bool foldProducts_ = false;
  bool shareDifferences_ = false;
  std::unordered_map<Node, Ref, KeyHash, KeyEq> index_;
  std::unordered_map<uint64_t, char> complex_;  // (re << 32 | im) of every marked pair
  std::unordered_map<Ref, std::pair<Ref, bool>> partner_;
  std::unordered_set<Ref> stageValues_;
};

// Whether a node is a doubling: a multiplication by the literal 2, which is exact, keeps a single value
// single, and is counted apart from the constants.
inline bool isDoubling(const Node& n) { return n.op == Op::Mul && n.value == 2.0; }

// Nodes that the outputs reach, in evaluation order.
std::vector<Ref> liveNodes(const Graph& g, const std::vector<Ref>& outputs);

struct Counts {
  int adds = 0;  // additions and subtractions
  int muls = 0;  // multiplications by constants
};

// Operations that reach an output; negations and width changes are free.
Counts countOperations(const Graph& g, const std::vector<Ref>& outputs);

// Scalar emitter: one `const float tN = ...;` per live node, operands by name, constants as hexadecimal
// literals of the node's type. `inputName(k)` names the loaded scalar part k, which a load statement of
// that name defines. Returns the statements, as text and as a list to reorder, and the expression that
// stands for every output with the names it reads.
struct ScalarCode {
  std::string statements;
  std::vector<Statement> body;
  std::vector<std::string> outputs;
  std::vector<std::vector<std::string>> outputUses;  // per output, the names its expression reads
};
ScalarCode emitScalar(const Graph& g, const std::vector<Ref>& outputs, const std::string& indent,
                      std::string (*inputName)(int32_t));

std::string literal(double value, Type type);
const char* typeName(Type type);

}  // namespace zspgen::dag

#endif  // ZSPGEN_GEN_EXPR_H
