// The work-buffer size queries of the Walsh-Hadamard family (exportgen writes its order entries).
#include "wht/wht_recipes.h"
#include "zspgen_x3.h"

namespace {

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

zspStatus x3_zspgWHTGetBufferSize_32f(Zsp32s order, Zsp32s* pSize) {
  return bufferSize(zsp::wht::kRecipes32f, sizeof(Zsp32f), order, pSize);
}

zspStatus x3_zspgWHTGetBufferSize_64f(Zsp32s order, Zsp32s* pSize) {
  return bufferSize(zsp::wht::kRecipes64f, sizeof(Zsp64f), order, pSize);
}

}  // extern "C"
