// The size-dispatch entries of the complex DFT: the length first, then the kernel of that length.
#include "core/dispatch.h"
#include "zspgen_x3.h"

namespace {

using Kernel32fc = zspStatus(const Zsp32fc*, Zsp32fc*, Zsp32s);
using Kernel64fc = zspStatus(const Zsp64fc*, Zsp64fc*, Zsp32s);

// The 63 kernels of one name pattern, lengths 2 to 64 in order.
#define ZSP_DFT_TABLE(dir, type)                                                                              \
  {x3_zspgDFT##dir##_CToC_2_##type,  x3_zspgDFT##dir##_CToC_3_##type,  x3_zspgDFT##dir##_CToC_4_##type,  \
   x3_zspgDFT##dir##_CToC_5_##type,  x3_zspgDFT##dir##_CToC_6_##type,  x3_zspgDFT##dir##_CToC_7_##type,  \
   x3_zspgDFT##dir##_CToC_8_##type,  x3_zspgDFT##dir##_CToC_9_##type,  x3_zspgDFT##dir##_CToC_10_##type, \
   x3_zspgDFT##dir##_CToC_11_##type, x3_zspgDFT##dir##_CToC_12_##type, x3_zspgDFT##dir##_CToC_13_##type, \
   x3_zspgDFT##dir##_CToC_14_##type, x3_zspgDFT##dir##_CToC_15_##type, x3_zspgDFT##dir##_CToC_16_##type, \
   x3_zspgDFT##dir##_CToC_17_##type, x3_zspgDFT##dir##_CToC_18_##type, x3_zspgDFT##dir##_CToC_19_##type, \
   x3_zspgDFT##dir##_CToC_20_##type, x3_zspgDFT##dir##_CToC_21_##type, x3_zspgDFT##dir##_CToC_22_##type, \
   x3_zspgDFT##dir##_CToC_23_##type, x3_zspgDFT##dir##_CToC_24_##type, x3_zspgDFT##dir##_CToC_25_##type, \
   x3_zspgDFT##dir##_CToC_26_##type, x3_zspgDFT##dir##_CToC_27_##type, x3_zspgDFT##dir##_CToC_28_##type, \
   x3_zspgDFT##dir##_CToC_29_##type, x3_zspgDFT##dir##_CToC_30_##type, x3_zspgDFT##dir##_CToC_31_##type, \
   x3_zspgDFT##dir##_CToC_32_##type, x3_zspgDFT##dir##_CToC_33_##type, x3_zspgDFT##dir##_CToC_34_##type, \
   x3_zspgDFT##dir##_CToC_35_##type, x3_zspgDFT##dir##_CToC_36_##type, x3_zspgDFT##dir##_CToC_37_##type, \
   x3_zspgDFT##dir##_CToC_38_##type, x3_zspgDFT##dir##_CToC_39_##type, x3_zspgDFT##dir##_CToC_40_##type, \
   x3_zspgDFT##dir##_CToC_41_##type, x3_zspgDFT##dir##_CToC_42_##type, x3_zspgDFT##dir##_CToC_43_##type, \
   x3_zspgDFT##dir##_CToC_44_##type, x3_zspgDFT##dir##_CToC_45_##type, x3_zspgDFT##dir##_CToC_46_##type, \
   x3_zspgDFT##dir##_CToC_47_##type, x3_zspgDFT##dir##_CToC_48_##type, x3_zspgDFT##dir##_CToC_49_##type, \
   x3_zspgDFT##dir##_CToC_50_##type, x3_zspgDFT##dir##_CToC_51_##type, x3_zspgDFT##dir##_CToC_52_##type, \
   x3_zspgDFT##dir##_CToC_53_##type, x3_zspgDFT##dir##_CToC_54_##type, x3_zspgDFT##dir##_CToC_55_##type, \
   x3_zspgDFT##dir##_CToC_56_##type, x3_zspgDFT##dir##_CToC_57_##type, x3_zspgDFT##dir##_CToC_58_##type, \
   x3_zspgDFT##dir##_CToC_59_##type, x3_zspgDFT##dir##_CToC_60_##type, x3_zspgDFT##dir##_CToC_61_##type, \
   x3_zspgDFT##dir##_CToC_62_##type, x3_zspgDFT##dir##_CToC_63_##type, x3_zspgDFT##dir##_CToC_64_##type}

Kernel32fc* const kFwd32fc[63] = ZSP_DFT_TABLE(Fwd, 32fc);
Kernel32fc* const kInv32fc[63] = ZSP_DFT_TABLE(Inv, 32fc);
Kernel64fc* const kFwd64fc[63] = ZSP_DFT_TABLE(Fwd, 64fc);
Kernel64fc* const kInv64fc[63] = ZSP_DFT_TABLE(Inv, 64fc);

#undef ZSP_DFT_TABLE

}  // namespace

extern "C" {

zspStatus x3_zspgDFTFwd_CToC_32fc(const Zsp32fc* pSrc, Zsp32fc* pDst, Zsp32s length, Zsp32s hint) {
  return zsp::dispatchBySize<2>(kFwd32fc, length, pSrc, pDst, hint);
}

zspStatus x3_zspgDFTInv_CToC_32fc(const Zsp32fc* pSrc, Zsp32fc* pDst, Zsp32s length, Zsp32s hint) {
  return zsp::dispatchBySize<2>(kInv32fc, length, pSrc, pDst, hint);
}

zspStatus x3_zspgDFTFwd_CToC_64fc(const Zsp64fc* pSrc, Zsp64fc* pDst, Zsp32s length, Zsp32s hint) {
  return zsp::dispatchBySize<2>(kFwd64fc, length, pSrc, pDst, hint);
}

zspStatus x3_zspgDFTInv_CToC_64fc(const Zsp64fc* pSrc, Zsp64fc* pDst, Zsp32s length, Zsp32s hint) {
  return zsp::dispatchBySize<2>(kInv64fc, length, pSrc, pDst, hint);
}

}  // extern "C"
