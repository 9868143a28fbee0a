// The plan tree a state holds, read through the record layouts: nodes, their fields and owners for the
// three shapes of tree (no splitting step, the widest block, one splitting step), and the first twiddles
// of the output and combining tables, bit for bit.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "dct4/records.h"
#include "dct4_api.h"

namespace {

using zsp::test::Dct4;
namespace rec = zsp::dct4;

template <class R>
R* element(const rec::EnvList* list, int index) {
  for (; index > 0 && list; --index) list = list->next;
  return list ? static_cast<R*>(list->value) : nullptr;
}

// cos(pi v) and sin(pi v) as the planner evaluates them: single precision rounds v pi before the call.
template <class T>
T cosPi(T v) {
  if constexpr (sizeof(T) == 4) return std::cos(static_cast<float>(static_cast<double>(v) * 3.141592653589793));
  else return std::cos(v * 3.141592653589793);
}
template <class T>
T sinPi(T v) {
  if constexpr (sizeof(T) == 4) return std::sin(static_cast<float>(static_cast<double>(v) * 3.141592653589793));
  else return std::sin(v * 3.141592653589793);
}

template <class T>
struct Tree {
  DCT4Spec* handle = nullptr;
  rec::Env1* root = nullptr;
  rec::FCompose* compose = nullptr;
  rec::Env2* out = nullptr;
  rec::Env3* in = nullptr;
  rec::FSplit* split = nullptr;
  rec::Env4* twiddles = nullptr;
  rec::Env5* body = nullptr;
  explicit Tree(int n) {
    if (Dct4<T>::initAlloc(&handle, n) != zspStsNoErr) return;
    root = reinterpret_cast<rec::Env1*>(handle);
    compose = element<rec::FCompose>(root->children, 0);
    out = element<rec::Env2>(root->children, 1);
    in = element<rec::Env3>(root->children, 2);
    split = element<rec::FSplit>(out->children, 0);
    twiddles = element<rec::Env4>(out->children, 1);
    body = element<rec::Env5>(in->children, 0);
  }
  ~Tree() {
    if (handle) Dct4<T>::free(handle);
  }
};

template <class T>
class PlanTree : public ::testing::Test {};
using Precisions = ::testing::Types<Zsp32f, Zsp64f>;
TYPED_TEST_SUITE(PlanTree, Precisions);

TYPED_TEST(PlanTree, NodesHoldTheirFieldsAndOwners) {
  using T = TypeParam;
  const int wide = sizeof(T) == 4 ? 1 : 2;  // loop counts over L lanes double in double precision
  struct Shape { int n, block, rowLength, denominator, groups, tag4, vectors, subLength, tag5, columns; };
  for (Shape s : {Shape{64, 8, 16, 512, 4, 4, 1, 8, 3, 2}, Shape{1024, 32, 64, 8192, 16, 6, 4, 32, 5, 8},
                  Shape{65536, 32, 64, 524288, 1024, 6, 256, 2048, 7, 8}}) {
    Tree<T> t(s.n);
    ASSERT_NE(t.root, nullptr) << s.n;
    EXPECT_EQ(t.root->rule, 6u);
    EXPECT_EQ(t.root->block, s.block);
    EXPECT_EQ(t.root->length, s.n);
    EXPECT_EQ(t.root->h.size, 80);
    EXPECT_EQ(element<rec::Env2>(t.root->outputStage, 0), t.out);
    EXPECT_EQ(element<rec::Env3>(t.root->inputStage, 0), t.in);
    EXPECT_EQ(t.compose->rowLength, s.rowLength);
    EXPECT_EQ(t.compose->denominator, s.denominator);
    EXPECT_EQ(t.out->groups, s.groups);
    EXPECT_EQ(t.out->tag, 1);
    EXPECT_EQ(t.out->foldBase, 2 * s.n - 1);
    EXPECT_EQ(t.split->inner, t.compose);
    EXPECT_EQ(element<rec::Env4>(t.out->rules, 0), t.twiddles);
    EXPECT_EQ(t.twiddles->tag, s.tag4);
    EXPECT_EQ(t.twiddles->vectors, s.vectors * wide);
    EXPECT_EQ(t.in->subLength, s.subLength);
    EXPECT_EQ(t.body->tag, s.tag5);
    EXPECT_EQ(t.body->columns, s.columns * wide);
    EXPECT_EQ(t.body->stride, 2 * s.block);
    if (s.tag5 != 7) {
      EXPECT_EQ(element<void>(t.body->rules, 0), nullptr);
      continue;
    }
    auto* step = element<rec::Env7>(t.body->rules, 0);
    auto* lambda = element<rec::Lambda>(step->children, 0);
    auto* combine = element<rec::Env8>(step->children, 1);
    auto* subs = element<rec::Env9>(step->children, 2);
    EXPECT_EQ(element<rec::Env8>(step->rules, 0), combine);
    EXPECT_EQ(element<rec::Env9>(step->rules2, 0), subs);
    EXPECT_EQ(step->subLength, 2048);
    EXPECT_EQ(step->split, 32);
    EXPECT_EQ(step->stride, 64);
    EXPECT_EQ(step->columns, 32);
    EXPECT_EQ(lambda->length, 2048);
    EXPECT_EQ(lambda->split, 32);
    EXPECT_EQ(combine->tag, 5);
    EXPECT_EQ(combine->groups, 32);
    EXPECT_EQ(combine->subLength, 64);
    EXPECT_EQ(subs->tag, 6);
    EXPECT_EQ(subs->subLength, 64);
    EXPECT_EQ(subs->stride, 2048);
    EXPECT_EQ(subs->step, 64);
    EXPECT_EQ(subs->count, 32);
    EXPECT_EQ(subs->columns, 1024);
    EXPECT_EQ(subs->columnStep, 32);
  }
}

TYPED_TEST(PlanTree, DeeperTreesGrowOneSplittingStepAtATime) {
  using T = TypeParam;
  for (auto [n, levels] : {std::pair{2048, 0}, {4096, 1}, {131072, 2}, {4194304, 3}}) {
    Tree<T> t(n);
    int found = 0;
    const rec::EnvList* rules = t.body->rules;
    for (auto* step = element<rec::Env7>(rules, 0); step; ++found) {
      auto* subs = element<rec::Env9>(step->rules2, 0);
      step = subs->tag == 7 ? element<rec::Env7>(subs->rules, 0) : nullptr;
    }
    EXPECT_EQ(found, levels) << n;
  }
}

TYPED_TEST(PlanTree, TablesStartWithTheirFirstTwiddles) {
  using T = TypeParam;
  constexpr int L = 16 / sizeof(T);
  {
    Tree<T> t(64);
    const T* table = static_cast<const T*>(t.twiddles->table);
    for (int lane = 0; lane < L; ++lane) {
      const T v = static_cast<T>(4 * lane + 2) / static_cast<T>(512);  // (2a+1)/256, a = lane
      EXPECT_EQ(table[lane], cosPi<T>(v));
      EXPECT_EQ(table[L + lane], sinPi<T>(v));
      // Vector 2 holds position 14, the cosine of residue 7.
      EXPECT_EQ(table[2 * L + lane], cosPi<T>(static_cast<T>((4 * lane + 2) * 15) / static_cast<T>(512)));
    }
  }
  {
    Tree<T> t(4096);
    auto* combine = element<rec::Env8>(element<rec::Env7>(t.body->rules, 0)->rules, 0);
    EXPECT_EQ(combine->tag, 3);
    EXPECT_EQ(combine->groups, 8);
    const T* table = static_cast<const T*>(combine->table);
    const T lam = T(1) / T(32);
    for (int lane = 0; lane < L; ++lane) {
      EXPECT_EQ(table[lane], cosPi<T>(lam * (T(1) / T(4))));
      EXPECT_EQ(table[(14 * 8 - 1) * L + lane], sinPi<T>((T(7.5) / T(16)) * (T(7) / T(4))));  // last vector
    }
  }
  {
    Tree<T> t(32768);
    auto* combine = element<rec::Env8>(element<rec::Env7>(t.body->rules, 0)->rules, 0);
    const T* table = static_cast<const T*>(combine->table);
    const T lam = T(1) / T(64);
    // The two sections of the widest combining step change places between the precisions.
    EXPECT_EQ(table[0], cosPi<T>(lam * (sizeof(T) == 4 ? T(1) / T(16) : T(1) / T(4))));
  }
}

// The size query pays a list node for every addition, the planner only for the second and later ones, so
// the arena stops short of the reported size by exactly that slack.
TEST(PlanTreeArena, PlanningEndsWhereTheAccountingSaysLessItsSlack) {
  for (auto [n, reached] : {std::pair{64, 1600}, {4096, 52672}}) {
    Zsp32s size = 0;
    ASSERT_EQ(zspgDCT4GetSize_32f(n, &size), zspStsNoErr);
    std::vector<uint8_t> memory(static_cast<size_t>(size) + 32);
    uint8_t* buffer = memory.data() + (32 - reinterpret_cast<uintptr_t>(memory.data()) % 32) % 32;
    DCT4Spec* handle = nullptr;
    ASSERT_EQ(zspgDCT4Init_32f(&handle, n, buffer), zspStsNoErr);
    uint8_t* cursor;
    std::memcpy(&cursor, buffer, sizeof cursor);
    EXPECT_EQ(cursor - buffer, reached) << n;
  }
}

}  // namespace
