#include "dct4/arena.h"

using zsp::dct4::Arena;
using zsp::dct4::EnvHeader;
using zsp::dct4::EnvList;
using zsp::dct4::kEnvListBytes;

extern "C" {

int64_t x3_zspgAlignSize32Bytes(uint64_t size) { return static_cast<int64_t>((size + 31) & ~uint64_t{31}); }

void* x3_zspgArenaMalloc(Arena arena, int64_t size) {
  uint8_t* block = zsp::dct4::cursorOf(arena);
  zsp::dct4::setCursor(arena, block + x3_zspgAlignSize32Bytes(static_cast<uint64_t>(size)));
  return block;
}

int64_t x3_zspgArenaFree(Arena arena, void*, int64_t size) {
  const int64_t aligned = x3_zspgAlignSize32Bytes(static_cast<uint64_t>(size));
  zsp::dct4::setCursor(arena, zsp::dct4::cursorOf(arena) - aligned);
  return aligned;
}

EnvList* x3_EnvList___init__(EnvList* list, Arena arena) {
  list->value = nullptr;
  list->next = nullptr;
  list->arena = arena;
  return list;
}

void* x3_EnvList_add(EnvList* list, void* value) {
  EnvList* tail = list;
  while (tail->next != nullptr) tail = tail->next;
  if (tail->value == nullptr) {
    tail->value = value;
    return value;
  }
  EnvList* node = static_cast<EnvList*>(x3_zspgArenaMalloc(list->arena, kEnvListBytes));
  x3_EnvList___init__(node, list->arena);
  tail->next = node;
  node->value = value;
  return value;
}

int64_t x3_EnvList_add_mem(int32_t count) { return count * x3_zspgAlignSize32Bytes(kEnvListBytes); }

void* x3_EnvList_get(const EnvList* list, int32_t index) {
  if (list == nullptr || index < 0) return nullptr;
  for (; index > 0 && list != nullptr; --index) list = list->next;
  return list != nullptr ? list->value : nullptr;
}

void x3_EnvList_freeChildren(EnvList* list) {
  for (EnvList* node = list; node != nullptr; node = node->next) {
    if (node->value == nullptr) continue;
    EnvHeader* element = static_cast<EnvHeader*>(node->value);
    element->del(element);
    x3_zspgArenaFree(node->arena, element, element->size);
  }
}

void x3_EnvList___del__(EnvList* list) {
  EnvList* node = list->next;
  while (node != nullptr) {
    EnvList* next = node->next;
    x3_zspgArenaFree(list->arena, node, kEnvListBytes);
    node = next;
  }
}

}  // extern "C"
