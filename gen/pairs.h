// Two-lane lowering of an expression graph: every value that the outputs need is computed as a pair of
// doubles in one 128-bit register, the low lane and the high lane of a complex sample.
//
// The lowering starts at the output pairs (real part, imaginary part) and walks down: two additions or
// subtractions become one packed addition, subtraction or add-sub (low lane subtracts, high lane adds),
// with the terms paired as the parts of the complex values the builders made (marked on the graph, or
// found through the operands' partners), in whichever order needs the fewest lane swaps and sign flips; two
// multiplications by constants become one packed multiplication by a constant pair; two parts of one
// input sample are that sample's register. Negations travel down into constants and operand orders and
// cost an exclusive-or only where they reach an input. Values that no such rule pairs are computed as
// scalars and joined. Every lane computes what the graph says, in the graph's order of operands up to
// commutation, so the pairs give the scalar graph's bits (signs of exact zeros aside).
#ifndef ZSPGEN_GEN_PAIRS_H
#define ZSPGEN_GEN_PAIRS_H

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "gen/expr.h"
#include "gen/schedule.h"

namespace zspgen::dag {

struct PairCounts {
  int addsub = 0;   // packed additions, subtractions and add-subs
  int mul = 0;      // packed multiplications
  int shuffle = 0;  // lane swaps, duplications and joins
  int flip = 0;     // sign flips
  int scalar = 0;   // scalar operations where no pairing was found
};

// The instruction of a two-lane statement, for a back end that allocates registers itself: the packed
// operation, its operands in the order written, and for a multiplication or a sign flip the constant
// pair (low lane, high lane).
struct PairOp {
  enum Kind { Add, Sub, AddSub, Mul, Xor, Swap } kind;
  std::string a, b;
  double lo = 0, hi = 0;
};

struct PairCode {
  bool ok = true;  // false: the graph holds a node the lowering has no form for (a width change)
  std::vector<Statement> body;       // in dependency order
  std::vector<std::string> outputs;  // one __m128d expression per output pair
  std::vector<std::vector<std::string>> outputUses;  // per output, the names it reads
  PairCounts counts;
  // The instruction of every statement that is one of the PairOp kinds, by the name it defines. The
  // other forms (duplications, joins, scalars) have none.
  std::unordered_map<std::string, PairOp> ops;
};

// `outputs` are (low, high) node pairs; `sampleName(k)` names the register that holds input sample k
// (input parts 2k and 2k+1 in the low and high lane).
PairCode emitPairs(const Graph& g, const std::vector<std::pair<Ref, Ref>>& outputs,
                   std::string (*sampleName)(int32_t));

// Rewrites each product that is only ever read swapped, p = x * (c, d) and then swap(p), as the swap of
// x times (d, c): the same bits lane by lane, as many instructions of each kind, each statement keeping
// its name and place. The swap (pshufd) writes a register of its own and leaves x intact, so where x
// lives on no copy of it is made before the product, and the product then writes over the swap, which
// no one else reads: one two-operand copy fewer. For bodies whose registers the generator allocates
// itself (gen/pair_registers.h); the compiler's allocation does no better with it.
void swapBeforeProducts(PairCode& code);

}  // namespace zspgen::dag

#endif  // ZSPGEN_GEN_PAIRS_H
