// Register allocation of its own for the largest two-lane bodies, written out as one asm statement.
//
// A body of several thousand packed instructions does not fit the processor's instruction cache, and
// there the count and length of the instructions set the time: the compiler's code for the 47-point
// double-precision kernel is 35 KB and takes 2.3 times its add bound, where its neighbours take 1.3 to
// 1.4 times theirs. This back end takes the statements in one of the scheduler's orders and gives every
// value one of the sixteen registers:
//
// - A value that must leave a register goes where it is already held in memory, if anywhere (an input
//   sample before the first store), else to a stack slot of its own; of the values in registers, the one
//   used furthest ahead leaves (a spill store is saved where that one is already in memory).
// - An operand that is in memory and is read again soon is loaded into a register; one read once or
//   much later is read from memory by the instruction itself (the aligned route only, whose samples and
//   slots lie on 16-byte boundaries).
// - The two-operand instructions write their first operand: an operand used for the last time gives its
//   register to the result, else the result starts as a copy. Operands keep the order the lowering
//   wrote, but an addition takes its second operand first where only that one is read for the last
//   time: that changes no bit of a sum, and since the rule looks at uses only, both routes make the
//   same choice and give the same bits also where two NaNs meet.
// - A multiplication or sign flip whose operand lives on starts from the constant: the same bits.
// - Stack slots and constants are reached through base registers set 128 bytes into each 256-byte group,
//   so that most addresses take a one-byte displacement.
#ifndef ZSPGEN_GEN_PAIR_REGISTERS_H
#define ZSPGEN_GEN_PAIR_REGISTERS_H

#include <string>
#include <utility>
#include <vector>

#include "gen/pairs.h"

namespace zspgen::pairs_asm {

// One instruction of a body in execution order: a load of sample `offset / 16`, a store of a value times
// the scale pair, or a PairOp.
struct Instruction {
  enum Kind { Load, Store, Compute } kind;
  std::string defines;  // Load, Compute
  dag::PairOp op;       // Compute; Store: op.a is the value stored
  int offset = 0;       // Load, Store: byte offset from the source or destination
};

// The constant pairs of a body, most used first: they take the short displacements.
struct Pool {
  std::vector<std::pair<double, double>> pairs;  // (low, high)
  int indexOf(double lo, double hi) const;
};
Pool poolOf(const std::vector<Instruction>& body);

enum class Route { Aligned, AnyAddress };  // samples on 16-byte boundaries, or anywhere

struct Allocation {
  std::vector<std::string> lines;  // AT&T syntax, with the asm statement's operand names
  int slots = 0;                   // 16-byte stack slots
  int frameBases = 0, poolBases = 0;
  int spills = 0;                  // values stored to a slot
};
Allocation allocate(const std::vector<Instruction>& body, const Pool& pool, Route route);

// The definition of the pool, at namespace scope: `alignas(16) const double <name>[] = {...};`.
std::string poolText(const Pool& pool, const std::string& name);

// The statements that run an allocation: the stack area, the base pointers and the asm statement, which
// reads `src`, `dst` (double pointers) and `scalePair` and the pool `poolName`. With `lineOffset` 0 to
// 63 the body's first instruction lies that many bytes past the start of a 64-byte line (a jump leads
// to the line, no-operations fill it up to the body); with -1 it follows the code before it.
std::string bodyText(const Allocation& a, const std::string& poolName, const std::string& indent, int lineOffset = -1);

}  // namespace zspgen::pairs_asm

#endif  // ZSPGEN_GEN_PAIR_REGISTERS_H
