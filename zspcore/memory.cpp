// Aligned memory for the library's work buffers and DCT-IV states.
#include "zspcore.h"

#include <sys/mman.h>

#include <cstdlib>

namespace {
constexpr size_t kAlignment = 64;  // a cache line: enough for every vector access of the library

// Blocks from 4 MiB on (the states of long DCT-IVs, with an N-sample vector and N-sample tables) are
// placed on 2 MiB boundaries and offered to the kernel for 2 MiB pages: their passes touch more 4 KiB
// pages than the address-translation caches hold. Rounding to whole 2 MiB costs at most a third of such
// a block, and only address space until it is touched. Where the system gives no large pages the advice
// changes nothing.
constexpr size_t kLargePage = size_t{1} << 21;
constexpr size_t kLargeFrom = size_t{2} * kLargePage;
}  // namespace

extern "C" void* zspMalloc(int32_t length) {
  if (length <= 0) return nullptr;
  const size_t size = static_cast<size_t>(length);
  const bool large = size >= kLargeFrom;
  const size_t alignment = large ? kLargePage : kAlignment;
  const size_t rounded = (size + alignment - 1) & ~(alignment - 1);
  void* block = std::aligned_alloc(alignment, rounded);
  if (large && block != nullptr) madvise(block, rounded, MADV_HUGEPAGE);
  return block;
}

extern "C" void zspFree(void* ptr) { std::free(ptr); }
