// Aligned memory for the library's work buffers and DCT-IV states.
#include "zspcore.h"

#include <cstdlib>

namespace {
constexpr size_t kAlignment = 64;  // a cache line: enough for every vector access of the library
}

extern "C" void* zspMalloc(int32_t length) {
  if (length <= 0) return nullptr;
  const size_t rounded = (static_cast<size_t>(length) + kAlignment - 1) & ~(kAlignment - 1);
  return std::aligned_alloc(kAlignment, rounded);
}

extern "C" void zspFree(void* ptr) { std::free(ptr); }
