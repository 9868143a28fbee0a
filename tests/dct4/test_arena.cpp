// The arena and the environment list: rounding, cursor movement, and that a full release of what was
// taken puts the cursor back where it started, whatever the order.
#include <gtest/gtest.h>

#include <vector>

#include "dct4/arena.h"
#include "dct4/divisors.h"

namespace {

using zsp::dct4::EnvHeader;
using zsp::dct4::EnvList;

struct ArenaFixture : ::testing::Test {
  alignas(32) uint8_t memory[8192];
  uint8_t* cursor = memory;
  zsp::dct4::Arena arena = &cursor;
};

TEST(Arena, SizesRoundUpToWholeBlocksOf32) {
  EXPECT_EQ(x3_zspgAlignSize32Bytes(0), 0);
  EXPECT_EQ(x3_zspgAlignSize32Bytes(1), 32);
  EXPECT_EQ(x3_zspgAlignSize32Bytes(24), 32);
  EXPECT_EQ(x3_zspgAlignSize32Bytes(32), 32);
  EXPECT_EQ(x3_zspgAlignSize32Bytes(33), 64);
  EXPECT_EQ(x3_EnvList_add_mem(3), 96);
}

TEST_F(ArenaFixture, BlocksFollowEachOtherAndReleasesInAnyOrderRestoreTheCursor) {
  uint8_t* a = static_cast<uint8_t*>(x3_zspgArenaMalloc(arena, 1));
  uint8_t* b = static_cast<uint8_t*>(x3_zspgArenaMalloc(arena, 1));
  EXPECT_EQ(b - a, 32);
  EXPECT_EQ(x3_zspgArenaMalloc(arena, 0), x3_zspgArenaMalloc(arena, 0));
  x3_zspgArenaFree(arena, a, 1);
  x3_zspgArenaFree(arena, nullptr, 1);
  ASSERT_EQ(cursor, memory);

  const int64_t sizes[] = {80, 24, 24, 24, 4000};
  void* blocks[5];
  for (int i = 0; i < 5; ++i) blocks[i] = x3_zspgArenaMalloc(arena, sizes[i]);
  EXPECT_EQ(cursor - memory, 96 + 3 * 32 + 4000);
  for (int i : {2, 4, 0, 3, 1}) x3_zspgArenaFree(arena, blocks[i], sizes[i]);
  EXPECT_EQ(cursor, memory);
}

TEST_F(ArenaFixture, ListFillsItsHeadFirstAndGrowsByOneNodePerElement) {
  EnvList* list = zsp::dct4::newListHead(arena);
  uint8_t* const afterHead = cursor;
  int values[3];
  EXPECT_EQ(x3_EnvList_get(list, 0), nullptr);
  EXPECT_EQ(x3_EnvList_add(list, nullptr), nullptr);  // a null value leaves the list empty
  EXPECT_EQ(cursor, afterHead);
  EXPECT_EQ(x3_EnvList_add(list, &values[0]), &values[0]);
  EXPECT_EQ(cursor, afterHead);  // the head took it
  x3_EnvList_add(list, &values[1]);
  x3_EnvList_add(list, &values[2]);
  EXPECT_EQ(cursor - afterHead, 64);
  EXPECT_EQ(x3_EnvList_get(list, 0), &values[0]);
  EXPECT_EQ(x3_EnvList_get(list, 2), &values[2]);
  EXPECT_EQ(x3_EnvList_get(list, 3), nullptr);
  EXPECT_EQ(x3_EnvList_get(list, -1), nullptr);
  EXPECT_EQ(x3_EnvList_get(nullptr, 0), nullptr);
  zsp::dct4::releaseList(list, arena);
  EXPECT_EQ(cursor, memory);
}

// An element whose release counts its calls.
struct Counted {
  EnvHeader h;
  int* released;
};
void releaseCounted(void* self) { ++*static_cast<Counted*>(self)->released; }

TEST_F(ArenaFixture, FreeChildrenReleasesEveryElementOnceAndGivesItsBytesBack) {
  x3_EnvList_freeChildren(nullptr);
  EnvList* children = zsp::dct4::newListHead(arena);
  int released = 0;
  for (int32_t size : {40, 100, 72}) {
    auto* c = static_cast<Counted*>(x3_zspgArenaMalloc(arena, size));
    c->h = EnvHeader{releaseCounted, size, nullptr, arena};
    c->released = &released;
    x3_EnvList_add(children, c);
  }
  x3_EnvList_freeChildren(children);
  EXPECT_EQ(released, 3);
  zsp::dct4::releaseList(children, arena);
  EXPECT_EQ(cursor, memory);
}

TEST(BlockLadder, LargeArgumentsGetLargeBlocks) {
  const struct { int32_t n, d; } accepted[] = {{4, 2},    {8, 2},    {12, 2},  {16, 4},   {20, 4},  {24, 4},
                                               {28, 4},   {32, 8},   {64, 8},  {96, 8},   {128, 16}, {256, 16},
                                               {384, 16}, {512, 32}, {1024, 32}, {520, 8}, {6, 2},   {30, 2}};
  for (auto c : accepted) {
    int32_t d = -1;
    EXPECT_EQ(x3_divisorsIntNonTriv(&d, c.n), zspStsNoErr) << c.n;
    EXPECT_EQ(d, c.d) << c.n;
  }
  for (int32_t n : {3, 5, 15, 17, 0, 1, 2, -4, -512}) {
    int32_t d = -1;
    EXPECT_EQ(x3_divisorsIntNonTriv(&d, n), zspStsSizeErr) << n;
    EXPECT_EQ(d, -1);
  }
}

}  // namespace
