// Builders of the complex DFT graphs: each recipe form turns a vector of complex inputs into a vector of
// complex outputs on one expression graph, so recipes nest (the 15 inside 4x15 is the 5.3 builder called
// on 15 values).
#ifndef ZSPGEN_DFT_DFT_BUILDERS_H
#define ZSPGEN_DFT_DFT_BUILDERS_H

#include <memory>
#include <string>
#include <vector>

#include "gen/expr.h"
#include "gen/lanes4.h"

namespace zsp::dft {

using zspgen::dag::Graph;
using zspgen::dag::Ref;
using zspgen::dag::Type;

struct Cx {
  Ref r, i;
};

// A parsed recipe. A Factor is a sub-transform named only by its length (and a w or r mark); it takes
// the inner form of that length when it is built.
struct Recipe {
  enum Kind { Base, Direct, FiveW, GoodThomas, CooleyTukey, Rader, Bluestein, Factor } kind;
  int n = 0;
  char mark = 0;               // Factor: 'w' (shortened 5-point form) or 'r' (Rader form), else 0
  std::vector<Recipe> parts;   // GoodThomas, CooleyTukey: the two factors; Rader, Bluestein: the inner transform
};

Recipe parseRecipe(const std::string& text, int n);

struct Context {
  Graph& g;
  Type type;         // precision of every value outside the widened parts
  bool single;       // which precision's recipes the inner transforms follow
  int sign;          // -1: exp(-2*pi*i*n*k/N), the forward kernels; +1: the inverse kernels
  int fiveWLeft;     // 5-point transforms that may still take the shortened form
  bool widenBase;    // the 3- and 5-point kernels of single precision: constant products in double
  zspgen::lanes4::Trace* trace = nullptr;  // where the structure of the graph is recorded, if anywhere
};

std::vector<Cx> build(Context& ctx, const Recipe& recipe, const std::vector<Cx>& x);

// The whole kernel of one length, precision and direction; outputs X[0].r, X[0].i, X[1].r, ...
struct KernelGraph {
  Graph g;
  std::vector<Ref> outputs;
  std::string recipe;
};
std::unique_ptr<KernelGraph> buildKernel(int n, bool single, bool inverse, zspgen::lanes4::Trace* trace = nullptr);


}  // namespace zsp::dft

#endif  // ZSPGEN_DFT_DFT_BUILDERS_H
