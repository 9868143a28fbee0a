#include "guarded_buffer.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace zsp::test {

GuardedBuffer::GuardedBuffer(size_t bytes, Guard guard, size_t misalignment) : bytes_(bytes) {
  const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  openBytes_ = (bytes + 32 + page - 1) / page * page;
  mapBytes_ = openBytes_ + page;
  void* m = mmap(nullptr, mapBytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (m == MAP_FAILED) throw std::runtime_error("mmap failed");
  map_ = static_cast<uint8_t*>(m);
  misalignment %= 16;
  if (guard == Guard::After) {
    open_ = map_;
    uint8_t* end = map_ + openBytes_;  // the guard page starts here
    uintptr_t start = reinterpret_cast<uintptr_t>(end) - bytes;
    slack_ = (start - misalignment) % 16;  // move down to the wanted alignment
    data_ = reinterpret_cast<uint8_t*>(start - slack_);
    if (mprotect(end, page, PROT_NONE) != 0) throw std::runtime_error("mprotect failed");
  } else {
    open_ = map_ + page;
    slack_ = misalignment;
    data_ = open_ + misalignment;
    if (mprotect(map_, page, PROT_NONE) != 0) throw std::runtime_error("mprotect failed");
  }
  std::memset(open_, kCanary, openBytes_);
}

GuardedBuffer::~GuardedBuffer() { munmap(map_, mapBytes_); }

bool GuardedBuffer::outsideIntact() const {
  for (const uint8_t* p = open_; p < open_ + openBytes_; ++p) {
    if (p >= data_ && p < data_ + bytes_) continue;
    if (*p != kCanary) return false;
  }
  return true;
}

void GuardedBuffer::fill(uint8_t byte) { std::memset(data_, byte, bytes_); }

}  // namespace zsp::test
