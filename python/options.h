// The keyword options of the transforms, read into the library's terms.
#pragma once

#include <zspgen.h>

#include <pybind11/pybind11.h>

#include "kernels.h"

namespace zsppy {

// numpy's norm= as a scaling hint. For a forward/inverse pair numpy's conventions are the library's
// hints: "backward" (also None) divides the inverse by N (ZSP_DIV_INV_BY_N), "forward" the forward one
// (ZSP_DIV_FWD_BY_N), "ortho" both by sqrt(N). The side that does not divide is called with
// ZSP_NODIV_BY_ANY, the same values, under which the kernels run their body without the scale. The
// Hartley and Walsh-Hadamard transforms have no direction: "backward" leaves them unscaled, as numpy's
// forward transforms are, "forward" divides by N and "ortho" by sqrt(N). Anything else is
// zspStsFlagErr.
enum class Directed { forward, inverse, no };
Zsp32s hintFor(pybind11::handle norm, Directed directed);

// format= of the real DFT: "ccs", "pack" or "perm".
Packing packingFor(const std::string& format);

}  // namespace zsppy
