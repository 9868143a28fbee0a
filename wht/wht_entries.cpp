// The order entries and the work-buffer size queries of the Walsh-Hadamard family.
#include "core/dispatch.h"
#include "wht/wht_recipes.h"
#include "zspgen_x3.h"

namespace {

using Kernel32f = zspStatus(const Zsp32f*, Zsp32f*, Zsp32s, Zsp8u*);
using Kernel64f = zspStatus(const Zsp64f*, Zsp64f*, Zsp32s, Zsp8u*);

Kernel32f* const kKernels32f[zsp::wht::kOrders] = {
    x3_zspgWHT_1_32f, x3_zspgWHT_2_32f, x3_zspgWHT_3_32f,   x3_zspgWHT_4_32f,   x3_zspgWHT_5_32f,
    x3_zspgWHT_6_32f, x3_zspgWHT_7_32f, x3_zspgWHT_8_32f,   x3_zspgWHT_9_32f,   x3_zspgWHT_10_32f,
    x3_zspgWHT_11_32f, x3_zspgWHT_12_32f, x3_zspgWHT_13_32f,
};

Kernel64f* const kKernels64f[zsp::wht::kOrders] = {
    x3_zspgWHT_1_64f, x3_zspgWHT_2_64f, x3_zspgWHT_3_64f,   x3_zspgWHT_4_64f,   x3_zspgWHT_5_64f,
    x3_zspgWHT_6_64f, x3_zspgWHT_7_64f, x3_zspgWHT_8_64f,   x3_zspgWHT_9_64f,   x3_zspgWHT_10_64f,
    x3_zspgWHT_11_64f, x3_zspgWHT_12_64f, x3_zspgWHT_13_64f,
};

// The out pointer is tested first, then the order; nothing is written on error.
zspStatus bufferSize(const zsp::wht::Recipe (&recipes)[zsp::wht::kOrders], int sampleBytes, Zsp32s order,
                     Zsp32s* pSize) {
  if (pSize == nullptr) return zspStsNullPtrErr;
  if (static_cast<Zsp32u>(order) - 1u > zsp::wht::kOrders - 1u) return zspStsSizeErr;
  *pSize = zsp::wht::workBufferBytes(recipes[order - 1], sampleBytes);
  return zspStsNoErr;
}

}  // namespace

extern "C" {

zspStatus x3_zspgWHT_32f(const Zsp32f* pSrc, Zsp32f* pDst, Zsp32s order, Zsp32s hint, Zsp8u* pBuffer) {
  return zsp::dispatchBySize<1>(kKernels32f, order, pSrc, pDst, hint, pBuffer);
}

zspStatus x3_zspgWHT_64f(const Zsp64f* pSrc, Zsp64f* pDst, Zsp32s order, Zsp32s hint, Zsp8u* pBuffer) {
  return zsp::dispatchBySize<1>(kKernels64f, order, pSrc, pDst, hint, pBuffer);
}

zspStatus x3_zspgWHTGetBufferSize_32f(Zsp32s order, Zsp32s* pSize) {
  return bufferSize(zsp::wht::kRecipes32f, sizeof(Zsp32f), order, pSize);
}

zspStatus x3_zspgWHTGetBufferSize_64f(Zsp32s order, Zsp32s* pSize) {
  return bufferSize(zsp::wht::kRecipes64f, sizeof(Zsp64f), order, pSize);
}

}  // extern "C"
