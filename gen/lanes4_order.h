// Order of the packs of the four-lane lowering. A pack is one 4-lane operation (or a load, or a complex
// product of two registers); it waits for the packs its operands come from.
#ifndef ZSPGEN_GEN_LANES4_ORDER_H
#define ZSPGEN_GEN_LANES4_ORDER_H

#include <optional>
#include <vector>

namespace zspgen::lanes4 {

// An order of the needed packs (`deps[p]`: the packs p waits for): of the packs whose operands are made,
// either the one made first (loads, then stage by stage as the recipe runs), or, with `recentFirst`, the
// one that takes the most recent result (working on one set of values as long as it lasts). Nothing if
// the needed packs wait on each other in a cycle.
std::optional<std::vector<int>> packOrder(const std::vector<std::vector<int>>& deps, const std::vector<char>& needed,
                                          bool recentFirst);

// How many registers `seq` needs at most: the values made and still to be taken, a pack counting
// `widths[p]` registers. Output o is stored once all packs of `storedFrom[o]` are made, which frees them.
long registersNeeded(const std::vector<int>& seq, const std::vector<std::vector<int>>& deps,
                     const std::vector<std::vector<int>>& storedFrom, const std::vector<char>& needed,
                     const std::vector<int>& widths);

}  // namespace zspgen::lanes4

#endif  // ZSPGEN_GEN_LANES4_ORDER_H
