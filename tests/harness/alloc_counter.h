// Counts the library's calls of zspMalloc and zspFree. Every test executable built with zsp_add_gtest
// defines these two functions itself; the dynamic linker binds the library's calls to them, and they
// forward to the core services.
#ifndef ZSPGEN_TESTS_ALLOC_COUNTER_H
#define ZSPGEN_TESTS_ALLOC_COUNTER_H

#include <cstdint>

namespace zsp::test {

struct AllocCounts {
  int mallocs = 0;
  int frees = 0;
  int32_t lastSize = -1;         // length asked of the last zspMalloc
  bool freesMatchMallocs = true;  // every zspFree released a pointer that zspMalloc had returned
};

void resetAllocCounts();
AllocCounts allocCounts();

}  // namespace zsp::test

#endif  // ZSPGEN_TESTS_ALLOC_COUNTER_H
