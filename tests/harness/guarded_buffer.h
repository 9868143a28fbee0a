// Test buffers fenced by an inaccessible page, so that a kernel reading or writing outside its samples
// faults instead of passing.
#ifndef ZSPGEN_TESTS_GUARDED_BUFFER_H
#define ZSPGEN_TESTS_GUARDED_BUFFER_H

#include <cstddef>
#include <cstdint>

namespace zsp::test {

enum class Guard {
  After,   // an inaccessible page follows the buffer
  Before,  // an inaccessible page precedes the buffer
};

// `bytes` accessible bytes whose address is `misalignment` bytes past a 16-byte boundary, as close to the
// guard page as that alignment allows: when the alignment fits, the buffer touches the guard exactly.
// The bytes between the buffer and the guard, and everything else outside it, carry a canary pattern.
class GuardedBuffer {
 public:
  GuardedBuffer(size_t bytes, Guard guard, size_t misalignment = 0);
  ~GuardedBuffer();
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;

  template <class T>
  T* as() const { return reinterpret_cast<T*>(data_); }
  uint8_t* data() const { return data_; }
  size_t size() const { return bytes_; }
  // Distance between the buffer and the guard page; 0 means an access one byte outside faults.
  size_t slack() const { return slack_; }
  // True when no byte outside the buffer has changed.
  bool outsideIntact() const;
  // Fills the buffer itself with a byte pattern.
  void fill(uint8_t byte);

 private:
  uint8_t* map_ = nullptr;
  size_t mapBytes_ = 0;
  uint8_t* open_ = nullptr;  // the accessible part of the mapping
  size_t openBytes_ = 0;
  uint8_t* data_ = nullptr;
  size_t bytes_ = 0;
  size_t slack_ = 0;
};

constexpr uint8_t kCanary = 0xA5;

}  // namespace zsp::test

#endif  // ZSPGEN_TESTS_GUARDED_BUFFER_H
