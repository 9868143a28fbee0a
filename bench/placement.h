// Where a timed kernel's buffers and stack frame lie in memory, moved on from one timing to the next.
//
// The same kernel code, called on the same data, has measured up to 1.6 times slower with its stack frame
// at some 16-byte offsets within a page than at others (a few offsets in a hundred, different ones for
// each kernel), and up to three times slower in one build than in another with the code unchanged. One
// placement per benchmark can therefore land on a slow one by chance. Timing every repetition at a
// different placement and keeping the fastest measures the code, not the chance.
#ifndef ZSPGEN_BENCH_PLACEMENT_H
#define ZSPGEN_BENCH_PLACEMENT_H

#include <alloca.h>

#include <cstddef>
#include <cstdlib>

namespace zsp::bench {

constexpr std::size_t kPage = 4096;

// The placements in the order they are asked for: 0, 1, 2, ... within one process.
inline int nextPlacement() {
  static int count = 0;
  return count++;
}

// Offsets into a page for placement k. The stack moves in steps of 49 sixteen-byte units, the buffers in
// steps of 13 cache lines; both counts are prime to a page's units, so every offset comes before one
// repeats. Buffers stay on cache lines, the alignment FFTW is given in the comparisons; `lane` keeps the
// buffers of one placement apart.
inline std::size_t stackOffset(int k) { return static_cast<std::size_t>(k) * 49 * 16 % kPage; }
inline std::size_t bufferOffset(int k, int lane) { return (static_cast<std::size_t>(k) * 13 + lane * 23) * 64 % kPage; }

// Runs `body` with the stack moved down by placement k's offset, so that every frame it makes (the
// kernel's among them) sits that much lower.
template <class Body>
__attribute__((noinline)) void withStackAt(int k, Body&& body) {
  auto* pad = static_cast<volatile char*>(alloca(stackOffset(k) + 16));
  pad[0] = 0;
  body();
}

// `count` values of T at placement k's offset (for `lane`) into two pages of their own.
template <class T>
struct PlacedArray {
  PlacedArray(int k, int lane, std::size_t count)
      : pages(static_cast<char*>(std::aligned_alloc(kPage, kPage + (count * sizeof(T) + kPage - 1) / kPage * kPage))),
        data(reinterpret_cast<T*>(pages + bufferOffset(k, lane))) {}
  ~PlacedArray() { std::free(pages); }
  PlacedArray(const PlacedArray&) = delete;
  PlacedArray& operator=(const PlacedArray&) = delete;
  char* pages;
  T* data;
};

}  // namespace zsp::bench

#endif  // ZSPGEN_BENCH_PLACEMENT_H
