#include "dct4/plan_size.h"

#include "dct4/arena.h"
#include "dct4/divisors.h"
#include "dct4/records.h"
#include "zspgen_x3.h"

namespace zsp::dct4 {
namespace {

inline int64_t align32(int64_t bytes) { return x3_zspgAlignSize32Bytes(static_cast<uint64_t>(bytes)); }
inline int64_t nodes(int32_t count) { return x3_EnvList_add_mem(count); }
inline int32_t low32(int64_t v) { return static_cast<int32_t>(static_cast<uint32_t>(v)); }

// Bytes of the subtree that stands for an odd-frequency DFT of s points (an input-stage node or the
// sub-transforms of a splitting step): the node and its two list heads, and for s beyond the straight
// bodies one splitting step with its combining table, its scratch vector and the subtree below it.
template <class T>
int64_t subtreeBytes(int32_t s, int32_t n) {
  if (bodyTagOfLength(s) != 7) return 96 + 2 * 32;
  int32_t split;
  if (x3_divisorsIntNonTriv(&split, s / 2) != zspStsNoErr) return zspStsSizeErr;
  const int32_t rows = s / (2 * split);
  int64_t vectors;
  switch (split) {
    case 2: vectors = int64_t{low32(int64_t{2} * rows)}; break;
    case 4: vectors = int64_t{low32(int64_t{6} * rows)}; break;
    case 8: vectors = int64_t{low32(int64_t{14} * rows)}; break;
    case 16: vectors = int64_t{low32(int64_t{24} * rows)} + int64_t{low32(int64_t{6} * rows)}; break;
    case 32: vectors = int64_t{low32(int64_t{48} * rows)} + int64_t{low32(int64_t{14} * rows)}; break;
    default: return zspStsSizeErr;
  }
  const int32_t combine = low32(align32(16 * vectors) + 128 + 32);
  if (combine < 0) return combine;
  const int32_t below = low32(subtreeBytes<T>(s / split, n));
  if (below < 0) return below;
  const int64_t step = int64_t{combine} + below + align32(int64_t{kSampleBytes<T>} * n) + 96 + 3 * 32 +
                       nodes(2) + 64 + nodes(1) + nodes(2);
  return low32(int64_t{low32(step)} + 96 + 2 * 32 + nodes(2));
}

}  // namespace

// The whole buffer a state of length n needs, or a negative value for a refused length.
template <class T>
int64_t stateBytes(int32_t n) {
  constexpr int32_t L = kLanes<T>;
  if (ruleOfLength(n) != 6) return 64 + 96 + 3 * 32;
  int32_t d;
  if (x3_divisorsIntNonTriv(&d, n / 2) != zspStsNoErr) return zspStsSizeErr;
  const int32_t groups = n / (2 * d);
  if (groups % L != 0) return zspStsSizeErr;
  const int32_t vectors = groups / L;
  int64_t outputTerm;
  switch (d) {
    case 1: case 2: case 4: case 8: case 16: case 32:
      outputTerm = align32(16 * int64_t{low32(int64_t{vectors} * 2 * d)}) + 96 + 32;
      break;
    default: return zspStsSizeErr;
  }
  const int32_t output = low32(low32(outputTerm) + int64_t{96} + 2 * 32 + nodes(2) + 64 + nodes(1));
  if (output < 0) return output;
  if (d % L != 0) return zspStsSizeErr;
  const int32_t input = low32(subtreeBytes<T>(n / d, n));
  if (input < 0) return input;
  const int32_t inputTerm = low32(int64_t{input} + 96 + 2 * 32 + nodes(2));
  const int32_t total = low32(int64_t{output} + inputTerm + align32(int64_t{kSampleBytes<T>} * n) + 96 +
                              3 * 32 + nodes(2) + 64 + nodes(1) + nodes(2));
  if (total < 0) return total;
  return low32(int64_t{total} + 2 * align32(1));
}

template <class T>
zspStatus getSize(int32_t n, int32_t* size) {
  const int64_t bytes = stateBytes<T>(n);
  if (size == nullptr) return zspStsNullPtrErr;
  if (bytes < 0) return zspStsSizeErr;
  *size = static_cast<int32_t>(bytes);
  return zspStsNoErr;
}

template int64_t stateBytes<float>(int32_t);
template int64_t stateBytes<double>(int32_t);
template zspStatus getSize<float>(int32_t, int32_t*);
template zspStatus getSize<double>(int32_t, int32_t*);

}  // namespace zsp::dct4

extern "C" {

int64_t x3_owngDCT4_32fx1_env5_mem(int32_t s, int32_t, int32_t, int32_t, int32_t, int32_t n, int32_t) {
  return zsp::dct4::subtreeBytes<float>(s, n);
}
int64_t x3_owngDCT4_64fx1_env5_mem(int32_t s, int32_t, int32_t, int32_t, int32_t, int32_t n, int32_t) {
  return zsp::dct4::subtreeBytes<double>(s, n);
}
int64_t x3_owngDCT4_32fx1_env9_mem(int32_t s, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t n, int32_t) {
  return zsp::dct4::subtreeBytes<float>(s, n);
}
int64_t x3_owngDCT4_64fx1_env9_mem(int32_t s, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t n, int32_t) {
  return zsp::dct4::subtreeBytes<double>(s, n);
}

zspStatus x3_zspgDCT4GetSize_32f(Zsp32s length, Zsp32s* pSize) { return zsp::dct4::getSize<float>(length, pSize); }
zspStatus x3_zspgDCT4GetSize_64f(Zsp32s length, Zsp32s* pSize) { return zsp::dct4::getSize<double>(length, pSize); }

}  // extern "C"
