// The bump arena that carves a DCT-IV state out of the caller's buffer, and the small linked list through
// which the objects of a plan point at each other. Both are independent of the sample type.
//
// An arena is the address of a cursor word holding the next free byte. Requests are rounded up to 32
// bytes, so blocks taken from a cursor on a 32-byte boundary stay on 32-byte boundaries. There is no end
// mark: the capacity was settled by the size query, and the arena trusts it.
#ifndef ZSPGEN_DCT4_ARENA_H
#define ZSPGEN_DCT4_ARENA_H

#include <cstdint>
#include <cstring>

#include "zspgen.h"

namespace zsp::dct4 {

using Arena = uint8_t**;

// The cursor word lies at the start of the caller's buffer, which may begin on any byte: it is read and
// written as bytes.
inline uint8_t* cursorOf(Arena arena) {
  uint8_t* cursor;
  std::memcpy(&cursor, arena, sizeof cursor);
  return cursor;
}
inline void setCursor(Arena arena, uint8_t* cursor) { std::memcpy(arena, &cursor, sizeof cursor); }

// Every element a list can hold starts with this header.
struct EnvHeader {
  void (*del)(void* self);  // releases what the object owns, not the object itself
  int32_t size;             // bytes asked of the arena for this object
  void* planOrAt;           // environments: their plan operation; function objects: their evaluator
  Arena arena;
};
static_assert(sizeof(EnvHeader) == 32);

struct EnvList {
  void* value;  // null: the node is empty
  EnvList* next;
  Arena arena;  // where this node's successors are taken from
};
// Lists are sized by this constant everywhere, whatever the compiler makes of the record.
constexpr int32_t kEnvListBytes = 24;
static_assert(sizeof(EnvList) <= kEnvListBytes);

}  // namespace zsp::dct4

extern "C" {
int64_t x3_zspgAlignSize32Bytes(uint64_t size);
void* x3_zspgArenaMalloc(zsp::dct4::Arena arena, int64_t size);
int64_t x3_zspgArenaFree(zsp::dct4::Arena arena, void* block, int64_t size);

zsp::dct4::EnvList* x3_EnvList___init__(zsp::dct4::EnvList* list, zsp::dct4::Arena arena);
void* x3_EnvList_add(zsp::dct4::EnvList* list, void* value);
int64_t x3_EnvList_add_mem(int32_t count);
void* x3_EnvList_get(const zsp::dct4::EnvList* list, int32_t index);
void x3_EnvList_freeChildren(zsp::dct4::EnvList* list);
void x3_EnvList___del__(zsp::dct4::EnvList* list);
}

namespace zsp::dct4 {

// A list head taken from the arena and initialised; its owner gives the 24 bytes back itself.
inline EnvList* newListHead(Arena arena) {
  return x3_EnvList___init__(static_cast<EnvList*>(x3_zspgArenaMalloc(arena, kEnvListBytes)), arena);
}

// Gives back the nodes behind a head, then the head.
inline void releaseList(EnvList* list, Arena arena) {
  x3_EnvList___del__(list);
  x3_zspgArenaFree(arena, list, kEnvListBytes);
}

}  // namespace zsp::dct4

#endif  // ZSPGEN_DCT4_ARENA_H
