// Run-time size dispatch: one unsigned range test, then a tail call through a table of kernels.
#ifndef ZSPGEN_CORE_DISPATCH_H
#define ZSPGEN_CORE_DISPATCH_H

#include <cstddef>

#include "zspgen.h"

namespace zsp {

// Calls table[size - first] with the remaining arguments, or returns zspStsSizeErr when size lies outside
// first .. first + count - 1. The size is tested before anything else, so a bad size wins over null
// pointers and bad hints. Compiled, this is a compare, a branch and an indirect jump.
template <int first, class Kernel, std::size_t count, class... Args>
inline zspStatus dispatchBySize(Kernel* const (&table)[count], Zsp32s size, Args... args) {
  const Zsp32u index = static_cast<Zsp32u>(size) - static_cast<Zsp32u>(first);
  if (index > count - 1) return zspStsSizeErr;
  return table[index](args...);
}

}  // namespace zsp

#endif  // ZSPGEN_CORE_DISPATCH_H
