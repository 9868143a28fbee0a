// Builders of the real-input DFT graphs. A rule turns N real values into the half spectrum, bins 0..N/2,
// on one expression graph, so rules nest (the 15 of 3:5 inside 30 = 5:3:2 is the same builder). The graph
// is exact-valued: every node is double, every constant the nearest double of its exact value; the
// single-precision kernels get their types from a lowering of this graph, not from the builders.
#ifndef ZSPGEN_REAL_REAL_BUILDERS_H
#define ZSPGEN_REAL_REAL_BUILDERS_H

#include <memory>
#include <string>
#include <vector>

#include "gen/expr.h"

namespace zsp::real {

using zspgen::dag::Graph;
using zspgen::dag::Ref;

struct Cx {
  Ref r, i;
};

// A parsed rule: the form and, for splits and Rader schemes, the rules of the parts.
struct Rule {
  enum Kind { Base, Direct, GoodThomas, CooleyTukey, Rader } kind;
  int n = 0;
  std::vector<Rule> parts;  // GoodThomas, CooleyTukey: the two factors; Rader: the (N-1)-point rule
};

Rule parseRule(const std::string& text, int n);

// Bins 0..n/2 of the real DFT of `x` (n values), exp(-2 pi i j k / n). The imaginary parts of bin 0 and,
// for even n, bin n/2 are the constant 0.
std::vector<Cx> realDft(Graph& g, const Rule& rule, const std::vector<Ref>& x);

// A kernel's graph: its input nodes 0..n-1 and its n outputs. A spectrum, on either side, is the n values
// that are not constant zeros in the order Re X0, Re X1, Im X1, ..., Re X(n/2) (for even n).
struct RealKernel {
  Graph g;
  std::vector<Ref> outputs;
  std::string rule;
};

// The forward transform of length n: samples x[0..n-1] in, the spectrum out.
std::unique_ptr<RealKernel> buildForward(int n);

// The inverse transform of length n: the spectrum in, x[j] = X0 + (-1)^j X(n/2) + sum over k of
// 2 Re(X[k] exp(+2 pi i j k / n)) out. The values of the true complex bins are doubled first, by the
// literal 2, unless the 2 joins a constant.
std::unique_ptr<RealKernel> buildInverse(int n);

// The Hartley transform of length n: samples in, H[k] = sum of x[j] (cos + sin)(2 pi j k / n) out, by the
// form and rule of its line.
std::unique_ptr<RealKernel> buildHartley(int n);


}  // namespace zsp::real

#endif  // ZSPGEN_REAL_REAL_BUILDERS_H
