// Output signs taken into the operations that make them.
//
// The graph keeps signs in negation nodes: a difference is made once for both orders, as a - b or as
// -(a - b), and a multiplication by a negative constant is the negation of one by a positive constant.
// Inside a body the emitter writes a negation into the operation that reads it (x + (-y) is x - y), but
// an output that is a negation is stored as one: a sign flip of its own, and often a copy, in the
// emitted code. Here each value may be made with its sign turned instead, where the operation allows:
// an addition or subtraction of values whose signs differ in the way that leaves the choice open (a - b
// and b - a, a + (-b) and (-b) - a...), any multiplication but a doubling (the constant takes the sign).
// The signs are chosen so that as few outputs as possible come out turned, and the graph is remade with
// them, its nodes in the order of the old ones (the order the scheduler starts from). The operation
// counts stay as they are, and so do the values, but for the sign of an exact zero: b - a gives +0 where
// -(a - b) gave -0.
#ifndef ZSPGEN_GEN_OUTPUT_SIGNS_H
#define ZSPGEN_GEN_OUTPUT_SIGNS_H

#include <vector>

#include "gen/expr.h"

namespace zspgen::dag {

struct SignedGraph {
  Graph g;
  std::vector<Ref> outputs;  // an output that still comes out turned keeps its negation
};

// The live part of `g` remade with the signs chosen.
SignedGraph signsIntoOperations(const Graph& g, const std::vector<Ref>& outputs);

}  // namespace zspgen::dag

#endif  // ZSPGEN_GEN_OUTPUT_SIGNS_H
