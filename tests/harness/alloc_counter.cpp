#include "alloc_counter.h"

#include <dlfcn.h>

#include <mutex>
#include <set>

namespace {

std::mutex gLock;
zsp::test::AllocCounts gCounts;
std::set<void*> gLive;

template <class Fn>
Fn next(const char* name) {
  return reinterpret_cast<Fn>(dlsym(RTLD_NEXT, name));
}

}  // namespace

namespace zsp::test {

void resetAllocCounts() {
  std::lock_guard<std::mutex> hold(gLock);
  gCounts = AllocCounts{};
  gLive.clear();
}

AllocCounts allocCounts() {
  std::lock_guard<std::mutex> hold(gLock);
  return gCounts;
}

}  // namespace zsp::test

extern "C" void* zspMalloc(int32_t length) {
  static auto real = next<void* (*)(int32_t)>("zspMalloc");
  void* p = real(length);
  std::lock_guard<std::mutex> hold(gLock);
  ++gCounts.mallocs;
  gCounts.lastSize = length;
  gLive.insert(p);
  return p;
}

extern "C" void zspFree(void* ptr) {
  static auto real = next<void (*)(void*)>("zspFree");
  {
    std::lock_guard<std::mutex> hold(gLock);
    ++gCounts.frees;
    if (gLive.erase(ptr) != 1) gCounts.freesMatchMallocs = false;
  }
  real(ptr);
}
