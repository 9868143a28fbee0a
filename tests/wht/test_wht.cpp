// The Walsh-Hadamard family against the plain stage sequence (stages lowest bit first in the sample's own
// precision, then the scale), bit for bit, at every order, alignment, hint and buffer arrangement.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <vector>

#include "alloc_counter.h"
#include "elf_symbols.h"
#include "guarded_buffer.h"
#include "kernel_tables.h"
#include "zspgen.h"

namespace {

using zsp::test::Guard;
using zsp::test::GuardedBuffer;

template <class T> struct Family;
template <> struct Family<Zsp32f> {
  using Kernel = zspStatus (*)(const Zsp32f*, Zsp32f*, Zsp32s, Zsp8u*);
  static Kernel kernel(int order) { return zsp::listed::kWHT_32f[order - 1].kernel; }
  static zspStatus entry(const Zsp32f* s, Zsp32f* d, Zsp32s order, Zsp32s hint, Zsp8u* b) {
    return zspgWHT_32f(s, d, order, hint, b);
  }
  static zspStatus bufferSize(Zsp32s order, Zsp32s* size) { return zspgWHTGetBufferSize_32f(order, size); }
};
template <> struct Family<Zsp64f> {
  using Kernel = zspStatus (*)(const Zsp64f*, Zsp64f*, Zsp32s, Zsp8u*);
  static Kernel kernel(int order) { return zsp::listed::kWHT_64f[order - 1].kernel; }
  static zspStatus entry(const Zsp64f* s, Zsp64f* d, Zsp32s order, Zsp32s hint, Zsp8u* b) {
    return zspgWHT_64f(s, d, order, hint, b);
  }
  static zspStatus bufferSize(Zsp32s order, Zsp32s* size) { return zspgWHTGetBufferSize_64f(order, size); }
};

constexpr Zsp32s kHints[] = {ZSP_NODIV_BY_ANY, ZSP_DIV_BY_SQRTN, ZSP_DIV_FWD_BY_N, ZSP_DIV_INV_BY_N};
constexpr Zsp32s kBadHints[] = {0, 3, 5, 6, 7, 9, 12, 16, -1, INT_MIN};

// Stages b = 0, 1, ..., lowest bit first, each pair (i, i + 2^b) becoming (a + c, a - c), in T.
template <class T>
std::vector<T> plainStages(std::vector<T> x, size_t firstBlock = 0, size_t count = 0) {
  const size_t n = count ? count : x.size();
  for (size_t h = 1; h < n; h <<= 1)
    for (size_t i = firstBlock; i < firstBlock + n; ++i)
      if (((i - firstBlock) & h) == 0) {
        const T a = x[i], c = x[i + h];
        x[i] = a + c;
        x[i + h] = a - c;
      }
  return x;
}

// 1/N is exact; 1/sqrt(N) is rounded once to T from a wider value.
template <class T>
T scaleOf(int order, Zsp32s hint) {
  switch (hint) {
    case ZSP_DIV_FWD_BY_N:
    case ZSP_DIV_INV_BY_N: return std::ldexp(T(1), -order);
    case ZSP_DIV_BY_SQRTN: return static_cast<T>(1.0L / std::sqrt(std::ldexp(1.0L, order)));
    default: return T(1);
  }
}

template <class T>
std::vector<T> reference(const std::vector<T>& x, int order, Zsp32s hint) {
  std::vector<T> y = plainStages(x);
  const T s = scaleOf<T>(order, hint);
  for (T& v : y) v = v * s;
  return y;
}

template <class T>
std::vector<T> randomSignal(int order) {
  std::mt19937 rng(1234u + static_cast<unsigned>(order));
  std::uniform_real_distribution<T> u(T(-1), T(1));
  std::vector<T> x(size_t{1} << order);
  for (T& v : x) v = u(rng);
  return x;
}

template <class T>
bool sameBits(const T* got, const std::vector<T>& want) {
  return std::memcmp(got, want.data(), want.size() * sizeof(T)) == 0;
}

int32_t bufferBytes(int order, bool single) {
  Zsp32s size = -1;
  const zspStatus s = single ? zspgWHTGetBufferSize_32f(order, &size) : zspgWHTGetBufferSize_64f(order, &size);
  EXPECT_EQ(s, zspStsNoErr);
  return size;
}

struct Case {
  bool single;
  int order;
};
void PrintTo(const Case& c, std::ostream* os) { *os << (c.single ? "32f" : "64f") << " order " << c.order; }

std::string caseName(const testing::TestParamInfo<Case>& info) {
  return std::string(info.param.single ? "f32" : "f64") + "_order" + std::to_string(info.param.order);
}

class WhtKernel : public testing::TestWithParam<Case> {
 protected:
  template <class T> void offsetsAndGuards();
  template <class T> void inPlace();
  template <class T> void workBuffer();
  template <class T> void refusals();
  template <class T> void passStructure();
};

// Every byte offset of source and destination, each fenced by a guard page, through the fixed-order name
// and the order entry, with a caller's work buffer exactly as long as reported and full of garbage.
template <class T>
void WhtKernel::offsetsAndGuards() {
  const int order = GetParam().order;
  const size_t bytes = sizeof(T) << order;
  const std::vector<T> x = randomSignal<T>(order);
  const int32_t workBytes = bufferBytes(order, sizeof(T) == 4);
  for (Zsp32s hint : kHints) {
    const std::vector<T> want = reference(x, order, hint);
    for (Guard guard : {Guard::After, Guard::Before}) {
      for (size_t so = 0; so < 16; ++so) {
        for (size_t dOff = 0; dOff < 16; ++dOff) {
          SCOPED_TRACE(testing::Message() << "hint " << hint << " src+" << so << " dst+" << dOff
                                          << (guard == Guard::After ? " guard after" : " guard before"));
          GuardedBuffer src(bytes, guard, so), dst(bytes, guard, dOff);
          std::memcpy(src.data(), x.data(), bytes);
          std::unique_ptr<GuardedBuffer> work;
          Zsp8u* workPtr = reinterpret_cast<Zsp8u*>(uintptr_t{0x40});  // never touched below order 8
          if (workBytes > 0) {
            work = std::make_unique<GuardedBuffer>(static_cast<size_t>(workBytes), Guard::After, 0);
            ASSERT_EQ(work->slack(), 0u);
            work->fill(0xFF);
            workPtr = work->data();
          }
          const bool viaEntry = (so + dOff) % 2 == 1;
          const zspStatus status =
              viaEntry ? Family<T>::entry(src.as<T>(), dst.as<T>(), order, hint, workPtr)
                       : Family<T>::kernel(order)(src.as<T>(), dst.as<T>(), hint, workPtr);
          ASSERT_EQ(status, zspStsNoErr);
          ASSERT_TRUE(sameBits(dst.as<T>(), want));
          ASSERT_TRUE(sameBits(src.as<T>(), x));
          ASSERT_TRUE(src.outsideIntact() && dst.outsideIntact());
          if (work) ASSERT_TRUE(work->outsideIntact());
        }
      }
    }
  }
}

// Source equal to destination gives the same bits as separate arrays, aligned or not.
template <class T>
void WhtKernel::inPlace() {
  const int order = GetParam().order;
  const size_t bytes = sizeof(T) << order;
  const std::vector<T> x = randomSignal<T>(order);
  for (Zsp32s hint : {ZSP_NODIV_BY_ANY, ZSP_DIV_BY_SQRTN}) {
    const std::vector<T> want = reference(x, order, hint);
    for (Guard guard : {Guard::After, Guard::Before}) {
      for (size_t off = 0; off < 16; ++off) {
        SCOPED_TRACE(testing::Message() << "hint " << hint << " offset " << off);
        GuardedBuffer buf(bytes, guard, off);
        std::memcpy(buf.data(), x.data(), bytes);
        ASSERT_EQ(Family<T>::kernel(order)(buf.as<T>(), buf.as<T>(), hint, nullptr), zspStsNoErr);
        ASSERT_TRUE(sameBits(buf.as<T>(), want));
        ASSERT_TRUE(buf.outsideIntact());
      }
    }
  }
}

// A null work buffer: orders 8 and up allocate exactly the reported size once and release it once;
// the smaller orders allocate nothing. The result is the same as with a caller's buffer.
template <class T>
void WhtKernel::workBuffer() {
  const int order = GetParam().order;
  const std::vector<T> x = randomSignal<T>(order);
  const std::vector<T> want = reference(x, order, ZSP_DIV_FWD_BY_N);
  const int32_t workBytes = bufferBytes(order, sizeof(T) == 4);
  EXPECT_EQ(workBytes > 0, order >= 8);
  std::vector<T> y(x.size());
  for (bool viaEntry : {false, true}) {
    zsp::test::resetAllocCounts();
    const zspStatus status = viaEntry ? Family<T>::entry(x.data(), y.data(), order, ZSP_DIV_FWD_BY_N, nullptr)
                                      : Family<T>::kernel(order)(x.data(), y.data(), ZSP_DIV_FWD_BY_N, nullptr);
    ASSERT_EQ(status, zspStsNoErr);
    EXPECT_TRUE(sameBits(y.data(), want));
    const zsp::test::AllocCounts counts = zsp::test::allocCounts();
    EXPECT_EQ(counts.mallocs, order >= 8 ? 1 : 0);
    EXPECT_EQ(counts.frees, counts.mallocs);
    EXPECT_TRUE(counts.freesMatchMallocs);
    if (order >= 8) EXPECT_EQ(counts.lastSize, workBytes);
  }
}

// Null pointers win over a bad hint; a bad hint alone is refused; neither writes or allocates anything,
// whichever alignment route the pointers select.
template <class T>
void WhtKernel::refusals() {
  const int order = GetParam().order;
  const size_t bytes = sizeof(T) << order;
  const std::vector<T> x = randomSignal<T>(order);
  const auto kernel = Family<T>::kernel(order);
  for (size_t off : {size_t{0}, size_t{4}, size_t{8}, size_t{3}}) {
    GuardedBuffer src(bytes, Guard::After, off), dst(bytes, Guard::After, off);
    std::memcpy(src.data(), x.data(), bytes);
    dst.fill(0x77);
    zsp::test::resetAllocCounts();
    for (Zsp32s hint : {ZSP_NODIV_BY_ANY, 0, 3, -1}) {
      EXPECT_EQ(kernel(nullptr, dst.as<T>(), hint, nullptr), zspStsNullPtrErr);
      EXPECT_EQ(kernel(src.as<T>(), nullptr, hint, nullptr), zspStsNullPtrErr);
      EXPECT_EQ(kernel(nullptr, nullptr, hint, nullptr), zspStsNullPtrErr);
      EXPECT_EQ(Family<T>::entry(nullptr, dst.as<T>(), order, hint, nullptr), zspStsNullPtrErr);
    }
    for (Zsp32s hint : kBadHints) {
      EXPECT_EQ(kernel(src.as<T>(), dst.as<T>(), hint, nullptr), zspStsFlagErr) << hint;
      EXPECT_EQ(Family<T>::entry(src.as<T>(), dst.as<T>(), order, hint, nullptr), zspStsFlagErr) << hint;
    }
    EXPECT_EQ(zsp::test::allocCounts().mallocs, 0);
    const std::vector<uint8_t> untouched(bytes, 0x77);
    EXPECT_EQ(std::memcmp(dst.data(), untouched.data(), bytes), 0);
    EXPECT_TRUE(sameBits(src.as<T>(), x));
  }
}

// What the main area of the work buffer holds after the call shows how the passes were cut: the block
// transforms of the first pass (two levels), or the finished transform of each section (three levels).
template <class T>
void WhtKernel::passStructure() {
  const int order = GetParam().order;
  // First-level transform size by precision and order 8..13 (samples finished before the last pass).
  const int firstLevelLog32[] = {5, 6, 6, 6, 9, 9};
  const int firstLevelLog64[] = {5, 5, 7, 8, 8, 10};
  const int firstLog = (sizeof(T) == 4 ? firstLevelLog32 : firstLevelLog64)[order - 8];
  const std::vector<T> x = randomSignal<T>(order);
  std::vector<uint8_t> work(static_cast<size_t>(bufferBytes(order, sizeof(T) == 4)) + 16);
  Zsp8u* aligned = reinterpret_cast<Zsp8u*>((reinterpret_cast<uintptr_t>(work.data()) + 15) & ~uintptr_t{15});
  std::vector<T> want = x;
  const size_t part = size_t{1} << firstLog;
  for (size_t base = 0; base < x.size(); base += part) want = plainStages(want, base, part);
  // Through the order entry too: its fifth argument must reach the kernel untouched.
  for (bool viaEntry : {false, true}) {
    std::fill(work.begin(), work.end(), uint8_t{0xFF});
    std::vector<T> y(x.size());
    zsp::test::resetAllocCounts();
    const zspStatus status = viaEntry ? Family<T>::entry(x.data(), y.data(), order, ZSP_NODIV_BY_ANY, aligned)
                                      : Family<T>::kernel(order)(x.data(), y.data(), ZSP_NODIV_BY_ANY, aligned);
    ASSERT_EQ(status, zspStsNoErr);
    EXPECT_EQ(zsp::test::allocCounts().mallocs, 0);
    EXPECT_TRUE(sameBits(reinterpret_cast<const T*>(aligned), want)) << (viaEntry ? "order entry" : "kernel");
  }
}

TEST_P(WhtKernel, MatchesStageSequenceAtEveryOffsetBehindGuards) {
  GetParam().single ? offsetsAndGuards<Zsp32f>() : offsetsAndGuards<Zsp64f>();
}
TEST_P(WhtKernel, InPlaceGivesTheSameBits) { GetParam().single ? inPlace<Zsp32f>() : inPlace<Zsp64f>(); }
TEST_P(WhtKernel, NullWorkBufferAllocatesOnceAndReleases) {
  GetParam().single ? workBuffer<Zsp32f>() : workBuffer<Zsp64f>();
}
TEST_P(WhtKernel, RefusesBadArgumentsWithoutTouchingAnything) {
  GetParam().single ? refusals<Zsp32f>() : refusals<Zsp64f>();
}
class WhtMultiPass : public WhtKernel {};
TEST_P(WhtMultiPass, WorkBufferHoldsTheFirstLevelTransforms) {
  GetParam().single ? passStructure<Zsp32f>() : passStructure<Zsp64f>();
}

std::vector<Case> casesFrom(int firstOrder) {
  std::vector<Case> cases;
  for (bool single : {true, false})
    for (int order = firstOrder; order <= 13; ++order) cases.push_back({single, order});
  return cases;
}
INSTANTIATE_TEST_SUITE_P(AllOrders, WhtKernel, testing::ValuesIn(casesFrom(1)), caseName);
INSTANTIATE_TEST_SUITE_P(LargeOrders, WhtMultiPass, testing::ValuesIn(casesFrom(8)), caseName);

TEST(WhtEntries, OrderOutsideOneToThirteenIsRefusedFirst) {
  for (Zsp32s order : {0, -1, 14, 15, INT_MIN, INT_MAX}) {
    zsp::test::resetAllocCounts();
    EXPECT_EQ(zspgWHT_32f(nullptr, nullptr, order, 3, nullptr), zspStsSizeErr) << order;
    EXPECT_EQ(zspgWHT_64f(nullptr, nullptr, order, 3, nullptr), zspStsSizeErr) << order;
    Zsp32s size = 12345;
    EXPECT_EQ(zspgWHTGetBufferSize_32f(order, &size), zspStsSizeErr);
    EXPECT_EQ(zspgWHTGetBufferSize_64f(order, &size), zspStsSizeErr);
    EXPECT_EQ(size, 12345);
    EXPECT_EQ(zspgWHTGetBufferSize_32f(order, nullptr), zspStsNullPtrErr);
    EXPECT_EQ(zspgWHTGetBufferSize_64f(order, nullptr), zspStsNullPtrErr);
    EXPECT_EQ(zsp::test::allocCounts().mallocs, 0);
  }
  EXPECT_EQ(zspgWHTGetBufferSize_32f(5, nullptr), zspStsNullPtrErr);
}

TEST(WhtEntries, BufferSizesAreTheTable) {
  std::ifstream in(ZSPGEN_TEST_DATA "/wht_buffer_sizes.txt");
  ASSERT_TRUE(in);
  int rows = 0;
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream row(line);
    Zsp32s order, bytes32, bytes64, got32 = -1, got64 = -1;
    row >> order >> bytes32 >> bytes64;
    EXPECT_EQ(zspgWHTGetBufferSize_32f(order, &got32), zspStsNoErr);
    EXPECT_EQ(zspgWHTGetBufferSize_64f(order, &got64), zspStsNoErr);
    EXPECT_EQ(got32, bytes32) << "order " << order;
    EXPECT_EQ(got64, bytes64) << "order " << order;
    ++rows;
  }
  EXPECT_EQ(rows, 13);
}

TEST(WhtValues, SmallestOrderAndScaleLiterals) {
  const Zsp32f x[2] = {3.0f, 1.5f};
  Zsp32f y[2];
  ASSERT_EQ(zspgWHT_1_32f(x, y, ZSP_NODIV_BY_ANY, nullptr), zspStsNoErr);
  EXPECT_EQ(y[0], 4.5f);
  EXPECT_EQ(y[1], 1.5f);
  ASSERT_EQ(zspgWHT_1_32f(x, y, ZSP_DIV_INV_BY_N, nullptr), zspStsNoErr);
  EXPECT_EQ(y[0], 2.25f);
  EXPECT_EQ(y[1], 0.75f);
  // An impulse at position 0 yields the scale literal itself at every output.
  const struct { int order; float literal; } literals[] = {{1, 0.70710677f}, {3, 0.35355338f}, {5, 0.17677669f}};
  for (const auto& l : literals) {
    std::vector<Zsp32f> impulse(size_t{1} << l.order, 0.0f), out(impulse.size());
    impulse[0] = 1.0f;
    ASSERT_EQ(zspgWHT_32f(impulse.data(), out.data(), l.order, ZSP_DIV_BY_SQRTN, nullptr), zspStsNoErr);
    for (Zsp32f v : out) ASSERT_EQ(v, l.literal) << "order " << l.order;
  }
  std::vector<Zsp64f> impulse(8, 0.0), out(8);
  impulse[0] = 1.0;
  ASSERT_EQ(zspgWHT_3_64f(impulse.data(), out.data(), ZSP_DIV_BY_SQRTN, nullptr), zspStsNoErr);
  for (Zsp64f v : out) EXPECT_EQ(v, 0.3535533905932738);
}

// The unaligned route of every vector kernel from order 5 (single) or 4 (double) up is a function of its
// own; the smallest vector kernels and the scalar ones carry no sibling.
TEST(WhtEntries, UnalignedSiblingsExistExactlyWhereTheRoutesSplit) {
  const auto lib = zsp::test::symbolsOfLibraryContaining(reinterpret_cast<const void*>(&zspgWHT_32f));
  for (int order = 1; order <= 13; ++order) {
    EXPECT_EQ(lib.address("x3_owngWHT_" + std::to_string(order) + "_32f_unaligned") != 0, order >= 5) << order;
    EXPECT_EQ(lib.address("x3_owngWHT_" + std::to_string(order) + "_64f_unaligned") != 0, order >= 4) << order;
  }
}

}  // namespace
