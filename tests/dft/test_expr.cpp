// The expression graph: what simplification removes, what merges, and what the count reports.
#include <gtest/gtest.h>

#include "gen/expr.h"
#include "gen/output_signs.h"
#include "gen/single_rule.h"

namespace {

using namespace zspgen::dag;

TEST(ExprGraph, IdentitiesAndNegationsCostNothing) {
  Graph g;
  const Ref a = g.input(0, Type::F64), b = g.input(1, Type::F64);
  EXPECT_EQ(g.add(a, g.zero(Type::F64)), a);
  EXPECT_EQ(g.sub(a, g.zero(Type::F64)), a);
  EXPECT_EQ(g.mul(a, 1), a);
  EXPECT_EQ(g.mul(a, 0), g.zero(Type::F64));
  EXPECT_EQ(g.neg(g.neg(a)), a);
  EXPECT_EQ(g.mul(a, -1), g.neg(a));
  // Negations fold into additions and subtractions, and commuted operands merge.
  EXPECT_EQ(g.add(a, g.neg(b)), g.sub(a, b));
  EXPECT_EQ(g.sub(a, g.neg(b)), g.add(b, a));
  EXPECT_EQ(g.add(g.neg(a), g.neg(b)), g.neg(g.add(a, b)));
  // A negative constant is its magnitude with a negation in front; negations pull out of products.
  EXPECT_EQ(g.mul(a, -0.5Q), g.neg(g.mul(a, 0.5Q)));
  EXPECT_EQ(g.mul(g.neg(a), 0.5Q), g.neg(g.mul(a, 0.5Q)));
  EXPECT_EQ(g.sub(a, g.neg(g.mul(b, 0.25Q))), g.add(a, g.mul(b, 0.25Q)));
  EXPECT_EQ(g.narrow(g.widen(g.input(2, Type::F32))), g.input(2, Type::F32));
}

TEST(ExprGraph, ConstantsRoundOnceToTheNodeType) {
  Graph g;
  const __float128 third = 1.0Q / 3;
  const Ref f = g.mul(g.input(0, Type::F32), third), d = g.mul(g.input(0, Type::F64), third);
  EXPECT_EQ(g.node(f).value, static_cast<double>(static_cast<float>(third)));
  EXPECT_EQ(g.node(d).value, static_cast<double>(third));
  EXPECT_EQ(literal(g.node(f).value, Type::F32), "0x1.555556p-2f");
  EXPECT_EQ(literal(g.node(d).value, Type::F64), "0x1.5555555555555p-2");
}

TEST(ExprGraph, CountsOnlyWhatReachesTheOutputs) {
  Graph g;
  const Ref a = g.input(0, Type::F64), b = g.input(1, Type::F64), c = g.input(2, Type::F64);
  const Ref s = g.add(a, b);
  const Ref t = g.sub(g.mul(s, 0.5Q), c);
  g.add(t, g.mul(c, 3));  // dead: no output uses it
  const Ref u = g.add(b, a);  // the same node as s
  const Counts counts = countOperations(g, {t, g.neg(u)});
  EXPECT_EQ(counts.adds, 2);
  EXPECT_EQ(counts.muls, 1);
  const ScalarCode code = emitScalar(g, {t, g.neg(u)}, "", [](int32_t k) { return "x" + std::to_string(k); });
  EXPECT_EQ(code.statements,
            "const double t0 = x0 + x1;\n"
            "const double t1 = 0x1p-1 * t0;\n"
            "const double t2 = t1 - x2;\n");
  EXPECT_EQ(code.outputs, (std::vector<std::string>{"t2", "(-t0)"}));
}

// Negated outputs are made by operations that give the sign themselves: a butterfly's -(p + q) beside
// p - q, a difference in the other order, a product with its constant turned. Only the negation of an
// input, which no operation makes, is left. Counts and values stay.
TEST(OutputSigns, NegatedOutputsTakeTheirSignFromTheOperations) {
  Graph g;
  g.shareDifferences();
  const Ref x0 = g.input(0, Type::F64), x1 = g.input(1, Type::F64), x2 = g.input(2, Type::F64), x3 = g.input(3, Type::F64);
  const Ref p = g.sub(x0, x1), q = g.add(x2, g.mul(x3, 0.75Q));
  const std::vector<Ref> outputs{g.sub(p, q), g.neg(g.add(p, q)), g.sub(x3, x2), g.mul(x1, -0.5Q), g.neg(x0)};
  ASSERT_EQ(g.node(outputs[2]).op, Op::Neg);  // shared with x2 - x3
  ASSERT_EQ(g.node(outputs[3]).op, Op::Neg);
  const SignedGraph s = signsIntoOperations(g, outputs);
  for (size_t i = 0; i + 1 < outputs.size(); ++i) EXPECT_NE(s.g.node(s.outputs[i]).op, Op::Neg) << "output " << i;
  EXPECT_EQ(s.g.node(s.outputs.back()).op, Op::Neg);
  const Counts before = countOperations(g, outputs), after = countOperations(s.g, s.outputs);
  EXPECT_EQ(after.adds, before.adds);
  EXPECT_EQ(after.muls, before.muls);
  for (uint64_t probe = 0; probe < 8; ++probe) {
    const std::vector<double> in = probeInputs(4, probe, false);
    const std::vector<double> want = evaluate(g, outputs, in), got = evaluate(s.g, s.outputs, in);
    for (size_t i = 0; i < want.size(); ++i) EXPECT_EQ(got[i], want[i]) << "probe " << probe << " output " << i;
  }
}

}  // namespace
