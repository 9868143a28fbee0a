// What the fuzz targets share: a reader that turns the fuzzer's bytes into call arguments, buffers with
// canaries in front and an exact end behind (so that AddressSanitizer sees any access past the last
// sample), and the check that stops the run on a broken promise.
#ifndef ZSPGEN_TESTS_FUZZ_SUPPORT_H
#define ZSPGEN_TESTS_FUZZ_SUPPORT_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace zsp::fuzz {

// Stops the process, so that the fuzzer keeps the input that got here.
#define ZSP_FUZZ_EXPECT(condition, ...)                                      \
  do {                                                                       \
    if (!(condition)) {                                                      \
      std::fprintf(stderr, "%s:%d: broken: %s\n  ", __FILE__, __LINE__, #condition); \
      std::fprintf(stderr, __VA_ARGS__);                                     \
      std::fprintf(stderr, "\n");                                            \
      std::abort();                                                          \
    }                                                                        \
  } while (0)

// Consumes the input from the front; once it is used up every read gives zeros.
class Reader {
 public:
  Reader(const uint8_t* data, size_t size) : data_(data), left_(size) {}

  uint32_t bits(int count) {
    uint32_t v = 0;
    for (int i = 0; i < (count + 7) / 8; ++i) v = (v << 8) | byte();
    return count >= 32 ? v : v & ((uint32_t{1} << count) - 1);
  }
  bool flag() { return bits(1) != 0; }
  // One of the values of `list`.
  template <class T, size_t K>
  T pick(const T (&list)[K]) { return list[bits(8) % K]; }
  // A sample in [-1, 1], from 16 bits.
  double sample() { return (static_cast<int32_t>(bits(16)) - 32768) / 32768.0; }
  size_t left() const { return left_; }

 private:
  uint8_t byte() {
    if (left_ == 0) return 0;
    --left_;
    return *data_++;
  }
  const uint8_t* data_;
  size_t left_;
};

// A length for an operation that serves `low`..`high`: mostly inside, and at times one of the values on
// and past the edges that a caller might pass by mistake.
inline int32_t length(Reader& in, int32_t low, int32_t high) {
  static const int32_t kOdd[] = {0, 1, -1, -2, 65, 66, 128, 8192, 16384, INT32_MAX, INT32_MIN, 1 << 26, -(1 << 26)};
  if (in.bits(3) == 0) {
    const int32_t odd = in.pick(kOdd);
    return in.flag() ? odd : (in.flag() ? low - 1 : high + 1);
  }
  return low + static_cast<int32_t>(in.bits(16) % static_cast<uint32_t>(high - low + 1));
}

// The four valid hints, half of the time; else one of the values next to them.
inline int32_t hint(Reader& in) {
  static const int32_t kValid[] = {1, 2, 4, 8};
  static const int32_t kInvalid[] = {0, 3, 5, 6, 7, 9, 12, 16, -1, INT32_MIN, INT32_MAX};
  return in.flag() ? in.pick(kValid) : in.pick(kInvalid);
}

constexpr uint8_t kCanary = 0x5A;

// `bytes` bytes at `misalignment` (mod 32) bytes past a 16-byte boundary, malloc's, with canary bytes
// in front; the allocation ends with the last byte, so a read or write behind it is an AddressSanitizer
// report (and memcheck's). Filled with canary bytes until the caller writes it.
class Buffer {
 public:
  Buffer(size_t bytes, size_t misalignment)
      : front_(32 + misalignment % 32), bytes_(bytes), block_(static_cast<uint8_t*>(std::malloc(front_ + bytes))) {
    std::memset(block_, kCanary, front_ + bytes);
  }
  ~Buffer() { std::free(block_); }
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;

  uint8_t* data() const { return block_ + front_; }
  template <class T>
  T* as() const { return reinterpret_cast<T*>(data()); }
  size_t size() const { return bytes_; }
  // No byte in front of the buffer has changed.
  bool frontIntact() const {
    for (size_t i = 0; i < front_; ++i)
      if (block_[i] != kCanary) return false;
    return true;
  }
  std::vector<uint8_t> contents() const { return {data(), data() + bytes_}; }
  bool holds(const std::vector<uint8_t>& before) const { return std::memcmp(data(), before.data(), bytes_) == 0; }

 private:
  size_t front_;
  size_t bytes_;
  uint8_t* block_;
};

}  // namespace zsp::fuzz

#endif  // ZSPGEN_TESTS_FUZZ_SUPPORT_H
