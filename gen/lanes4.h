// Four-lane lowering of an expression graph in split form, for single precision: a register holds four
// real parts or four imaginary parts of four different values, and the interleaved layout exists only
// where samples are loaded and stored.
//
// The graph's builders leave a trace of their structure: each loop over the instances of a
// sub-transform is a site, each call of the sub-transform an instance with its inputs, outputs and the
// range of nodes it made, and each multiplication of a complex value by a constant a product. The
// lowering packs four isomorphic instances of a site (the same node sequence, operand for operand) into
// one 4-lane operation per node, so every lane performs exactly the scalar operation it stands for.
// Where a site has fewer than four instances and its instances hold sites of their own, it packs
// whichever level executes fewer operations, the regroupings at a packed group's border estimated; the
// lowering runs under several such estimates and keeps the code that executes the fewest four-lane
// instructions. Products that feed a packed site are packed in the consumer's lanes and executed as
// full complex multiplications by four-lane constants (1 and 0 in lanes that the graph leaves
// unmultiplied). Whatever no rule packs runs in one lane of its own. Between stages the lanes are
// regrouped by shuffles, made once and shared.
#ifndef ZSPGEN_GEN_LANES4_H
#define ZSPGEN_GEN_LANES4_H

#include <string>
#include <vector>

#include "gen/expr.h"
#include "gen/schedule.h"

namespace zspgen::lanes4 {

using dag::Graph;
using dag::Ref;

// Input numbers from here on stand for the results of products, which the lowering makes itself.
constexpr int32_t kProductInputs = 1 << 24;

// What the builders record while they make the graph; empty when nobody asks for it. A traced graph
// leaves every product to the lowering (see kProductInputs), so the sub-transforms that take its
// results stay alike whatever the constant.
struct Trace {
  struct Site {
    int parent = -1;  // the instance it stands in, or -1 at the top
    std::vector<int> instances;
  };
  struct Instance {
    int site = -1;
    Ref begin = 0, end = 0;       // the nodes it made
    std::vector<Ref> inputs;      // real and imaginary part of each input, in order
    std::vector<int> sites;       // sites inside it
  };
  struct Product {
    Ref inR, inI, outR, outI;
    Ref madeR, madeI;  // the graph's own evaluation of the product, by special forms where they apply
    __float128 c, s;   // out = in * (c + i s)
  };
  std::vector<Site> sites;
  std::vector<Instance> instances;
  std::vector<Product> products;
  std::vector<int> open;  // instances being built, innermost last

  int openSite();
  int beginInstance(int site, std::vector<Ref> inputs, Ref begin);
  void endInstance(int instance, Ref end);
  void product(Ref inR, Ref inI, Ref outR, Ref outI, Ref madeR, Ref madeI, __float128 c, __float128 s);
};

struct Counts {
  int addsub = 0;   // 4-lane additions and subtractions
  int mul = 0;      // 4-lane multiplications, scale included
  int shuffle = 0;  // lane regroupings
  int flip = 0;     // sign flips
  // Of those regroupings, the ones at the border: between loaded samples and the split form, and
  // between the split form and the samples stored. The rest regroup lanes between stages.
  int borderShuffle = 0;
  // 64-bit moves to or from a register's high half (gathered loads and stores): not shuffles, but they
  // take a shuffle port all the same (build/bench/port_probe).
  int highHalf = 0;
};

struct Code {
  bool ok = false;  // false: the graph holds operations the lowering does not pack (width changes)
  // The statements in the lowering's order, each with the names it reads, for the scheduler: their order
  // is free within those dependencies (and loads before stores), since every lane's operation stays the
  // same whatever the order.
  std::vector<Statement> body;
  Counts counts;
  // Per product of the trace: 1 where the code runs it as a whole complex multiplication by the
  // constant rounded to single (c*re - s*im, s*re + c*im), 0 where it takes the graph's own evaluation.
  std::vector<char> fullProducts;
};

// The whole body from loads to stores. `outputs` are the real and imaginary part of each output sample.
// Contiguous: samples move in pairs by Access::load and Access::store on `src` and `dst` (float
// pointers); otherwise each sample moves alone by 64-bit moves. Every output passes through `scale`
// last, the body's scale policy (zsp::ScaleBy or zsp::Unscaled).
Code emit(const Graph& g, const Trace& trace, const std::vector<Ref>& outputs, int samples, bool contiguous);

// What the code computes from `inputs` (the parts of the input samples), lane by lane in single
// precision: the traced graph with each product evaluated as `code` runs it. The compiled kernel must give
// these bits.
std::vector<double> evaluate(const Graph& g, const Trace& trace, const Code& code, const std::vector<Ref>& outputs,
                             const std::vector<double>& inputs);

}  // namespace zspgen::lanes4

#endif  // ZSPGEN_GEN_LANES4_H
