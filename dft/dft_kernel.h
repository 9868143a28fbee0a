// What the generated complex DFT kernels share: the contract at their door and the sample moves of each
// route.
#ifndef ZSPGEN_DFT_DFT_KERNEL_H
#define ZSPGEN_DFT_DFT_KERNEL_H

#include "core/contract.h"
#include "core/output_scale.h"
#include "dft/dft_access.h"
#include "zspgen.h"

#endif  // ZSPGEN_DFT_DFT_KERNEL_H
