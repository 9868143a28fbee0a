// Eight threads run the kernels of every family at once on arrays of their own, and get the bits of a
// run on one thread: complex DFTs, real DFTs to and from the three formats, Hartley, Walsh-Hadamard with
// and without a work buffer of the caller's (without one, each call allocates and releases while other
// threads do), and DCT-IV through a state of each thread's own while states are built and released.
// Under ThreadSanitizer this is the test of the promise that the library shares nothing between calls.
#include <gtest/gtest.h>
#include <zspgen.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <thread>
#include <vector>

#include "complex_as_real.h"

namespace {

using zsp::test::complexEntry;

using Bytes = std::vector<uint8_t>;

// One call of one kernel on a fixed input, writing its result into `out`.
struct Job {
  std::function<zspStatus(Bytes& out)> run;
};

template <class T>
std::vector<T> samples(int count, int seed) {
  std::vector<T> v(count);
  for (int i = 0; i < count; ++i) v[i] = static_cast<T>(((i * 37 + seed * 11) % 101) / 50.0 - 1.0);
  return v;
}

template <class T, class Entry>
Job lengthJob(Entry entry, int n, int inValues, int outValues, int32_t hint) {
  return {[=](Bytes& out) {
    std::vector<T> in = samples<T>(inValues, n), result(outValues);
    const zspStatus status = entry(in.data(), result.data(), n, hint);
    out.assign(reinterpret_cast<uint8_t*>(result.data()), reinterpret_cast<uint8_t*>(result.data() + outValues));
    return status;
  }};
}

template <class T>
Job whtJob(zspStatus (*entry)(const T*, T*, int32_t, int32_t, uint8_t*),
           zspStatus (*query)(int32_t, int32_t*), int order, bool ownBuffer) {
  return {[=](Bytes& out) {
    const int n = 1 << order;
    std::vector<T> in = samples<T>(n, order), result(n);
    int32_t bytes = 0;
    query(order, &bytes);
    uint8_t* buffer = ownBuffer && bytes > 0 ? static_cast<uint8_t*>(std::aligned_alloc(16, (bytes + 15) / 16 * 16)) : nullptr;
    const zspStatus status = entry(in.data(), result.data(), order, ZSP_DIV_BY_SQRTN, buffer);
    std::free(buffer);
    out.assign(reinterpret_cast<uint8_t*>(result.data()), reinterpret_cast<uint8_t*>(result.data() + n));
    return status;
  }};
}

// A state built, used twice (the second time in place) and released within the job.
template <class T>
Job dct4Job(zspStatus (*initAlloc)(DCT4Spec**, int32_t), zspStatus (*transform)(const T*, T*, const DCT4Spec*),
            zspStatus (*release)(DCT4Spec*), int n) {
  return {[=](Bytes& out) {
    std::vector<T> in = samples<T>(n, n), result(n);
    DCT4Spec* state = nullptr;
    zspStatus status = initAlloc(&state, n);
    if (status == zspStsNoErr) status = transform(in.data(), result.data(), state);
    if (status == zspStsNoErr) status = transform(result.data(), result.data(), state);
    if (state != nullptr && release(state) != zspStsNoErr) status = zspStsPlanErr;
    out.assign(reinterpret_cast<uint8_t*>(result.data()), reinterpret_cast<uint8_t*>(result.data() + n));
    return status;
  }};
}

std::vector<Job> everyFamily() {
  std::vector<Job> jobs;
  const int32_t hints[] = {ZSP_DIV_FWD_BY_N, ZSP_DIV_INV_BY_N, ZSP_DIV_BY_SQRTN, ZSP_NODIV_BY_ANY};
  for (int n = 2; n <= 64; ++n) {
    const int32_t hint = hints[n % 4];
    const int ccs = 2 * (n / 2 + 1);
    jobs.push_back(lengthJob<float>(complexEntry<Zsp32fc, float, zspgDFTFwd_CToC_32fc>, n, 2 * n, 2 * n, hint));
    jobs.push_back(lengthJob<double>(complexEntry<Zsp64fc, double, zspgDFTInv_CToC_64fc>, n, 2 * n, 2 * n, hint));
    jobs.push_back(lengthJob<float>(zspgDFTFwd_RToCCS_32f, n, n, ccs, hint));
    jobs.push_back(lengthJob<double>(zspgDFTFwd_RToPerm_64f, n, n, n, hint));
    jobs.push_back(lengthJob<float>(zspgDFTInv_PackToR_32f, n, n, n, hint));
    jobs.push_back(lengthJob<double>(zspgDFTInv_CCSToR_64f, n, ccs, n, hint));
    jobs.push_back(lengthJob<float>(zspgHartley_32f, n, n, n, hint));
    jobs.push_back(lengthJob<double>(zspgHartley_64f, n, n, n, hint));
  }
  for (int order = 1; order <= 13; ++order) {
    jobs.push_back(whtJob<float>(zspgWHT_32f, zspgWHTGetBufferSize_32f, order, order % 2 == 0));
    jobs.push_back(whtJob<double>(zspgWHT_64f, zspgWHTGetBufferSize_64f, order, order % 2 == 1));
  }
  for (int n : {2, 16, 64, 1024, 8192}) {
    jobs.push_back(dct4Job<float>(zspgDCT4InitAlloc_32f, zspgDCT4_32f, zspgDCT4Free_32f, n));
    jobs.push_back(dct4Job<double>(zspgDCT4InitAlloc_64f, zspgDCT4_64f, zspgDCT4Free_64f, n));
  }
  return jobs;
}

// Rounds per thread: ZSPGEN_STRESS_ROUNDS, or 3.
int rounds() {
  const char* text = std::getenv("ZSPGEN_STRESS_ROUNDS");
  return text != nullptr && std::atoi(text) > 0 ? std::atoi(text) : 3;
}

TEST(Threads, EveryFamilyOnEightThreadsGivesTheBitsOfOneThread) {
  const std::vector<Job> jobs = everyFamily();
  std::vector<Bytes> expected(jobs.size());
  for (size_t j = 0; j < jobs.size(); ++j) ASSERT_EQ(jobs[j].run(expected[j]), zspStsNoErr) << "job " << j;

  constexpr int kThreads = 8;
  const int perThread = rounds();
  std::atomic<long> calls{0}, mismatches{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      Bytes out;
      for (int round = 0; round < perThread; ++round)
        for (size_t k = 0; k < jobs.size(); ++k) {
          // Each thread walks the jobs from its own starting point, so that different kernels overlap.
          const size_t j = (k + t * jobs.size() / kThreads) % jobs.size();
          if (jobs[j].run(out) != zspStsNoErr || out != expected[j]) ++mismatches;
          ++calls;
        }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(mismatches.load(), 0);
  EXPECT_EQ(calls.load(), long{kThreads} * perThread * static_cast<long>(jobs.size()));
  std::printf("%d threads, %d rounds of %zu calls each: %ld calls, %ld mismatches\n", kThreads, perThread,
              jobs.size(), calls.load(), mismatches.load());
}

}  // namespace
