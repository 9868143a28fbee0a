// The DCT-IV state through its exported operations: accuracy against a long double reference at every
// power of two, buffers of exactly the reported size at any alignment, the odd lengths' footprint,
// statuses and their precedence, damaged plans, allocation, in place and concurrent use.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "alloc_counter.h"
#include "dct4/records.h"
#include "dct4_api.h"
#include "dct4_reference.h"
#include "guarded_buffer.h"
#include "zspcore.h"

namespace {

using zsp::test::Dct4;
using zsp::test::Guard;
using zsp::test::GuardedBuffer;
namespace rec = zsp::dct4;

template <class T>
std::vector<T> randomSamples(size_t n, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<T> dist(-1, 1);
  std::vector<T> x(n);
  for (T& v : x) v = dist(rng);
  return x;
}

// A state built in a zspMalloc buffer of the reported size; released by the library.
template <class T>
struct State {
  DCT4Spec* handle = nullptr;
  explicit State(int n) {
    if (Dct4<T>::initAlloc(&handle, n) != zspStsNoErr) handle = nullptr;
  }
  ~State() {
    if (handle) Dct4<T>::free(handle);
  }
  rec::Env1* root() const { return reinterpret_cast<rec::Env1*>(handle); }
};

template <class R>
R* element(const rec::EnvList* list, int index) {
  for (; index > 0 && list; --index) list = list->next;
  return list ? static_cast<R*>(list->value) : nullptr;
}

template <class T>
class Dct4Family : public ::testing::Test {};
using Precisions = ::testing::Types<Zsp32f, Zsp64f>;
TYPED_TEST_SUITE(Dct4Family, Precisions);

TYPED_TEST(Dct4Family, EveryPowerOfTwoMatchesTheLongDoubleTransform) {
  using T = TypeParam;
  const double eps = sizeof(T) == 4 ? std::ldexp(1.0, -24) : std::ldexp(1.0, -53);
  for (int k = 1; k <= 22; ++k) {
    const int n = 1 << k;
    State<T> state(n);
    ASSERT_NE(state.handle, nullptr) << n;
    const std::vector<T> x = randomSamples<T>(static_cast<size_t>(n), static_cast<unsigned>(k));
    std::vector<T> y(x.size());
    ASSERT_EQ(Dct4<T>::transform(x.data(), y.data(), state.handle), zspStsNoErr);
    const std::vector<long double> want = n <= 256 ? zsp::test::dct4Direct(x) : zsp::test::dct4Fast(x);
    const double err = zsp::test::relativeRms(y.data(), want);
    std::printf("  N=2^%-2d relative RMS %.3g (%.3g of the bound)\n", k, err, err / (2 * eps * k));
    EXPECT_LE(err, 2 * eps * k) << "N=" << n;
    if (k <= 16) {  // twice gives N/2 times the input
      std::vector<T> z(x.size());
      Dct4<T>::transform(y.data(), z.data(), state.handle);
      std::vector<long double> half(x.begin(), x.end());
      for (auto& v : half) v *= n / 2;
      EXPECT_LE(zsp::test::relativeRms(z.data(), half), 4 * eps * k) << "round trip N=" << n;
    }
  }
}

TYPED_TEST(Dct4Family, TheFastReferenceAgreesWithTheDefiningSum) {
  using T = TypeParam;
  for (int n : {64, 512}) {
    const std::vector<T> x = randomSamples<T>(static_cast<size_t>(n), 3);
    const std::vector<long double> a = zsp::test::dct4Direct(x), b = zsp::test::dct4Fast(x);
    for (int i = 0; i < n; ++i) ASSERT_NEAR(static_cast<double>(a[i]), static_cast<double>(b[i]), 1e-14);
  }
}

TYPED_TEST(Dct4Family, InPlaceGivesTheSameBitsAsTwoVectorsAtUnalignedAddresses) {
  using T = TypeParam;
  for (int n : {2, 4, 8, 16, 32, 64, 128, 1024, 4096, 1 << 13, 1 << 14, 1 << 17}) {
    State<T> state(n);
    const std::vector<T> x = randomSamples<T>(static_cast<size_t>(n), 11);
    GuardedBuffer src(n * sizeof(T), Guard::After, 4), dst(n * sizeof(T), Guard::Before, 12);
    std::memcpy(src.data(), x.data(), n * sizeof(T));
    ASSERT_EQ(Dct4<T>::transform(src.as<T>(), dst.as<T>(), state.handle), zspStsNoErr);
    EXPECT_TRUE(src.outsideIntact() && dst.outsideIntact()) << n;
    EXPECT_EQ(0, std::memcmp(src.data(), x.data(), n * sizeof(T))) << "source changed, N=" << n;
    std::vector<T> inPlace = x;
    Dct4<T>::transform(inPlace.data(), inPlace.data(), state.handle);
    EXPECT_EQ(0, std::memcmp(inPlace.data(), dst.data(), n * sizeof(T))) << "N=" << n;
  }
}

// Long transforms write their output in runs of whole cache lines past the cache when the destination
// starts on a line, and with ordinary stores otherwise: both give the same bits, also at the odd lengths,
// whose mirrored runs are one sample off the lines, and nothing outside the destination changes. The
// lengths cover the pass that combines the last splitting step with the output stage, with ordinary and
// with streaming stores, in both precisions.
TYPED_TEST(Dct4Family, LongTransformsGiveTheSameBitsWhateverTheDestinationAlignment) {
  using T = TypeParam;
  for (int n : {1 << 15, (1 << 15) + 1, 1 << 18, (1 << 18) + 1, 1 << 21}) {
    State<T> state(n);
    ASSERT_NE(state.handle, nullptr) << n;
    const std::vector<T> x = randomSamples<T>(static_cast<size_t>(n) + 1, 13);
    const size_t bytes = (static_cast<size_t>(n) + 1) * sizeof(T);
    GuardedBuffer onLine(bytes, Guard::Before, 0), offLine(bytes, Guard::After, 4);
    ASSERT_EQ(reinterpret_cast<uintptr_t>(onLine.data()) % 64, 0u);
    onLine.fill(0x5a);
    offLine.fill(0x5a);
    ASSERT_EQ(Dct4<T>::transform(x.data(), onLine.as<T>(), state.handle), zspStsNoErr);
    ASSERT_EQ(Dct4<T>::transform(x.data(), offLine.as<T>(), state.handle), zspStsNoErr);
    EXPECT_EQ(0, std::memcmp(onLine.data(), offLine.data(), bytes)) << "N=" << n;
    EXPECT_TRUE(onLine.outsideIntact() && offLine.outsideIntact()) << "N=" << n;
  }
}

// Plans every accepted length in a buffer of exactly the reported size that starts `offset` bytes past a
// 32-byte boundary, with an inaccessible page behind it; the arena must end inside the buffer.
template <class T>
void planInReportedBuffer(int n, int offset) {
  Zsp32s size = 0;
  ASSERT_EQ(Dct4<T>::getSize(n, &size), zspStsNoErr) << n;
  const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  const size_t open = (static_cast<size_t>(size) + 64 + page - 1) / page * page;
  auto* map = static_cast<uint8_t*>(mmap(nullptr, open + page, PROT_READ | PROT_WRITE,
                                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
  ASSERT_NE(map, MAP_FAILED);
  ASSERT_EQ(mprotect(map + open, page, PROT_NONE), 0);
  uint8_t* buffer = map + open - size - (offset ? 32 - offset : 0);
  DCT4Spec* handle = nullptr;
  ASSERT_EQ(Dct4<T>::init(&handle, n, buffer), zspStsNoErr) << n << " at +" << offset;
  const auto address = reinterpret_cast<uintptr_t>(handle);
  EXPECT_EQ(address % 32, 0u);
  EXPECT_GE(address - reinterpret_cast<uintptr_t>(buffer), 33u);
  EXPECT_LE(address - reinterpret_cast<uintptr_t>(buffer), 64u);
  const uint8_t* cursor;
  std::memcpy(&cursor, buffer, sizeof cursor);
  EXPECT_LE(cursor, buffer + size) << "arena beyond the reported size, N=" << n;
  if (n < (1 << 16)) {  // a plan runs in the memory it was given
    std::vector<T> x = randomSamples<T>(static_cast<size_t>(n) + 1, 5), y(x.size());
    EXPECT_EQ(Dct4<T>::transform(x.data(), y.data(), handle), zspStsNoErr);
  }
  munmap(map, open + page);
}

TYPED_TEST(Dct4Family, EveryAcceptedLengthPlansInABufferOfTheReportedSize) {
  using T = TypeParam;
  std::vector<int> lengths = {2, 4, 8, 16, 32, 33};
  if (sizeof(T) == 8) lengths.insert(lengths.end(), {9, 17});
  for (int k = 6; k <= Dct4<T>::maxLog2; ++k) lengths.insert(lengths.end(), {1 << k, (1 << k) + 1});
  // Every offset up to 2^16; above, where planning takes its time in the tables, each length at one of
  // them in turn, so that each offset still meets the largest plans.
  const int offsets[] = {1, 8, 31};
  for (size_t i = 0; i < lengths.size(); ++i)
    for (int j = 0; j < 3; ++j)
      if (lengths[i] <= (1 << 16) + 1 || static_cast<size_t>(j) == i % 3) planInReportedBuffer<T>(lengths[i], offsets[j]);
}

// The odd lengths keep the block structure of N - 1: element N is read and written, and only the listed
// positions of the destination change.
TYPED_TEST(Dct4Family, OddLengthsWriteExactlyTheirFootprint) {
  using T = TypeParam;
  const int n = sizeof(T) == 4 ? 33 : 9;
  const std::vector<int> written = sizeof(T) == 4
      ? std::vector<int>{0, 1, 2, 3, 6, 7, 8, 9, 10, 11, 14, 15, 16, 17, 18, 19, 22, 23, 24, 25, 26, 27, 30, 31, 32, 33}
      : std::vector<int>{0, 1, 4, 5, 8, 9};
  State<T> state(n);
  ASSERT_NE(state.handle, nullptr);
  GuardedBuffer src((n + 1) * sizeof(T), Guard::After, 0), dst((n + 1) * sizeof(T), Guard::After, 0);
  const std::vector<T> x = randomSamples<T>(static_cast<size_t>(n) + 1, 9);
  std::memcpy(src.data(), x.data(), src.size());
  for (int i = 0; i <= n; ++i) dst.as<T>()[i] = T(1234.5);
  ASSERT_EQ(Dct4<T>::transform(src.as<T>(), dst.as<T>(), state.handle), zspStsNoErr);
  for (int i = 0; i <= n; ++i) {
    const bool listed = std::find(written.begin(), written.end(), i) != written.end();
    EXPECT_EQ(dst.as<T>()[i] != T(1234.5), listed) << "position " << i;
  }
  std::vector<T> before(dst.as<T>(), dst.as<T>() + n + 1);
  src.as<T>()[n] += T(1);
  Dct4<T>::transform(src.as<T>(), dst.as<T>(), state.handle);
  EXPECT_NE(0, std::memcmp(before.data(), dst.data(), dst.size())) << "element N not read";
  EXPECT_TRUE(dst.outsideIntact() && src.outsideIntact());
}

TYPED_TEST(Dct4Family, StatusesComeInTheirOrderAndNothingIsWrittenOnError) {
  using T = TypeParam;
  alignas(32) static uint8_t memory[1 << 16];
  DCT4Spec* handle = reinterpret_cast<DCT4Spec*>(&memory[7]);
  DCT4Spec* const untouched = handle;
  EXPECT_EQ(Dct4<T>::init(nullptr, 64, memory), zspStsNullPtrErr);
  EXPECT_EQ(Dct4<T>::init(&handle, 3, nullptr), zspStsNullPtrErr);
  EXPECT_EQ(Dct4<T>::init(&handle, 3, memory), zspStsSizeErr);
  EXPECT_EQ(Dct4<T>::init(&handle, 192, memory), zspStsSizeErr);
  EXPECT_EQ(Dct4<T>::init(&handle, sizeof(T) == 4 ? 17 : 36, memory), zspStsSizeErr);
  EXPECT_EQ(handle, untouched);
  EXPECT_EQ(Dct4<T>::initAlloc(nullptr, 3), zspStsNullPtrErr);
  EXPECT_EQ(Dct4<T>::free(nullptr), zspStsNullPtrErr);

  ASSERT_EQ(Dct4<T>::init(&handle, 64, memory), zspStsNoErr);
  std::vector<T> x(64, T(1)), y(64, T(7));
  EXPECT_EQ(Dct4<T>::transform(nullptr, y.data(), handle), zspStsNullPtrErr);
  EXPECT_EQ(Dct4<T>::transform(x.data(), nullptr, handle), zspStsNullPtrErr);
  EXPECT_EQ(Dct4<T>::transform(x.data(), y.data(), nullptr), zspStsNullPtrErr);
  auto* root = reinterpret_cast<rec::Env1*>(handle);
  for (uint32_t bad : {0u, 7u, 0xffffffffu}) {
    root->rule = bad;
    EXPECT_EQ(Dct4<T>::transform(x.data(), y.data(), handle), zspStsPlanErr);
    EXPECT_EQ(Dct4<T>::transform(nullptr, y.data(), handle), zspStsNullPtrErr);  // null wins
  }
  EXPECT_EQ(y, std::vector<T>(64, T(7)));
  root->rule = 6;
  // A damaged stage tag skips that stage: the call still succeeds and the destination keeps its values.
  auto* output = element<rec::Env2>(root->outputStage, 0);
  auto* twiddles = element<rec::Env4>(output->rules, 0);
  for (int32_t* tag : {&output->tag, &twiddles->tag}) {
    const int32_t kept = *tag;
    *tag = 9;
    EXPECT_EQ(Dct4<T>::transform(x.data(), y.data(), handle), zspStsNoErr);
    EXPECT_EQ(y, std::vector<T>(64, T(7)));
    *tag = kept;
  }
  EXPECT_EQ(Dct4<T>::transform(x.data(), y.data(), handle), zspStsNoErr);
  EXPECT_NE(y, std::vector<T>(64, T(7)));
}

// A damaged node inside the splitting chain writes nothing, so the stages after it see the previous
// transform's scratch: the call succeeds and repeats the previous output.
TYPED_TEST(Dct4Family, ADamagedSplittingNodeLeavesItsStageUnwritten) {
  using T = TypeParam;
  const int n = 4096;
  State<T> state(n);
  auto* step = element<rec::Env7>(element<rec::Env5>(element<rec::Env3>(state.root()->inputStage, 0)->rules, 0)->rules, 0);
  auto* combine = element<rec::Env8>(step->rules, 0);
  auto* subs = element<rec::Env9>(step->rules2, 0);
  const std::vector<T> x1 = randomSamples<T>(n, 1), x2 = randomSamples<T>(n, 2);
  for (int32_t* tag : {&step->tag, &combine->tag, &subs->tag}) {
    std::vector<T> y1(n), y2(n);
    Dct4<T>::transform(x1.data(), y1.data(), state.handle);
    const int32_t kept = *tag;
    *tag = 0;
    EXPECT_EQ(Dct4<T>::transform(x2.data(), y2.data(), state.handle), zspStsNoErr);
    EXPECT_EQ(y1, y2);
    *tag = kept;
  }
}

TYPED_TEST(Dct4Family, AllocationGoesThroughTheCoreServicesOnceAndComesBack) {
  using T = TypeParam;
  zsp::test::resetAllocCounts();
  DCT4Spec* handle = nullptr;
  EXPECT_EQ(Dct4<T>::initAlloc(&handle, 192), zspStsSizeErr);
  EXPECT_EQ(zsp::test::allocCounts().mallocs, 0);
  ASSERT_EQ(Dct4<T>::initAlloc(&handle, 4096), zspStsNoErr);
  Zsp32s size = 0;
  Dct4<T>::getSize(4096, &size);
  EXPECT_EQ(zsp::test::allocCounts().lastSize, size);
  EXPECT_EQ(Dct4<T>::free(handle), zspStsNoErr);
  // A state built by Init in zspMalloc memory is released the same way.
  auto* buffer = static_cast<Zsp8u*>(zspMalloc(256));
  ASSERT_EQ(Dct4<T>::init(&handle, 16, buffer), zspStsNoErr);
  EXPECT_EQ(Dct4<T>::free(handle), zspStsNoErr);
  const auto counts = zsp::test::allocCounts();
  EXPECT_EQ(counts.mallocs, 2);
  EXPECT_EQ(counts.frees, 2);
  EXPECT_TRUE(counts.freesMatchMallocs);
}

TYPED_TEST(Dct4Family, ReleasingATreeGivesBackEveryByteItTook) {
  using T = TypeParam;
  for (int n : {16, 64, 65, 1024, 4096, 1 << 17}) {
    Zsp32s size = 0;
    ASSERT_EQ(Dct4<T>::getSize(n, &size), zspStsNoErr);
    std::vector<uint8_t> memory(static_cast<size_t>(size) + 32);
    DCT4Spec* handle = nullptr;
    ASSERT_EQ(Dct4<T>::init(&handle, n, memory.data() + 3), zspStsNoErr);
    auto* root = reinterpret_cast<rec::Env1*>(handle);
    root->h.del(root);  // everything but the state itself
    uint8_t* cursor;
    std::memcpy(&cursor, memory.data() + 3, sizeof cursor);
    EXPECT_EQ(cursor, reinterpret_cast<uint8_t*>(handle) + 96) << n;
  }
}

TYPED_TEST(Dct4Family, TwoStatesOnTwoThreadsGiveTheSequentialResults) {
  using T = TypeParam;
  const int n = 1 << 15;
  State<T> a(n), b(n);
  const std::vector<T> x1 = randomSamples<T>(n, 21), x2 = randomSamples<T>(n, 22);
  std::vector<T> want1(n), want2(n), got1(n), got2(n);
  Dct4<T>::transform(x1.data(), want1.data(), a.handle);
  Dct4<T>::transform(x2.data(), want2.data(), b.handle);
  bool same1 = true, same2 = true;
  std::thread t1([&] {
    for (int i = 0; i < 20; ++i) {
      Dct4<T>::transform(x1.data(), got1.data(), a.handle);
      same1 = same1 && got1 == want1;
    }
  });
  std::thread t2([&] {
    for (int i = 0; i < 20; ++i) {
      Dct4<T>::transform(x2.data(), got2.data(), b.handle);
      same2 = same2 && got2 == want2;
    }
  });
  t1.join();
  t2.join();
  EXPECT_TRUE(same1 && same2);
}

}  // namespace
