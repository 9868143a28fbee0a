// The single-precision rule of the real-input kernels, as a lowering of an exact-valued graph.
//
// The builders make one graph per size in double; the double-precision kernels run it as it is. The
// single-precision kernels run it with these types:
//   - inputs are single, and a sum or difference of two single values is single;
//   - a multiplication by a constant is double: its operand is widened without loss and multiplied by
//     the double literal; an operand that is itself a double value is first rounded to single;
//   - a sum that holds a double value is double, its single operands widened: a dot product, with the
//     plain terms of its stage, is carried in double to the end of the stage and rounded to single once
//     where another stage, or a multiplication, takes it (the graph marks the values that end stages);
//   - a doubling of a single value (by the literal 2) is exact and stays single;
//   - negations keep the type of their operand and stay sign flips.
// An output of the kernel is not rounded by its mark: one left double is scaled in double by the widened
// single literal and rounded once.
#ifndef ZSPGEN_GEN_SINGLE_RULE_H
#define ZSPGEN_GEN_SINGLE_RULE_H

#include <cstdint>
#include <memory>
#include <vector>

#include "gen/expr.h"

namespace zspgen::dag {

struct Lowered {
  Graph g;
  std::vector<Ref> outputs;
};

// `exact` holds double nodes only; the result computes the same values by the rule above. With
// `roundOutputs` every output is rounded to single, so that the scale is always single.
std::unique_ptr<Lowered> lowerToSingleRule(const Graph& exact, const std::vector<Ref>& outputs, bool roundOutputs = false);

// `count` input values in [-1, 1] from a fixed sequence numbered `index`, exact in single precision when
// `single`: the probes on which the generators evaluate a kernel's code and the tests run the kernel.
std::vector<double> probeInputs(int count, uint64_t index, bool single);

// The values of `outputs` for the given input values, each node computed in the arithmetic of its type
// (float nodes in float), as the generated code computes them.
std::vector<double> evaluate(const Graph& g, const std::vector<Ref>& outputs, const std::vector<double>& inputs);

}  // namespace zspgen::dag

#endif  // ZSPGEN_GEN_SINGLE_RULE_H
