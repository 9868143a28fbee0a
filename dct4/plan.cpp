// The planner: the root picks the block d, the output stage (env2 holding env4) gets its twiddle table,
// the input stage (env3 holding env5) gets a straight body or a chain of splitting steps (env7 with its
// combining step env8 and its sub-transforms env9), and the state's scratch vector is taken last.
// Every failure is a refused length; what was built up to it hangs in the children lists and is released
// by the same walk as a finished tree.
#include "dct4/plan.h"

#include "dct4/divisors.h"
#include "dct4/plan_size.h"
#include "dct4/twiddle.h"
#include "zspcore.h"

namespace zsp::dct4 {
namespace {

template <class R>
R* take(Arena arena, int32_t bytes) {
  return static_cast<R*>(x3_zspgArenaMalloc(arena, bytes));
}

inline void giveBack(Arena arena, int64_t bytes) { x3_zspgArenaFree(arena, nullptr, bytes); }

template <class R>
void setHeader(R* env, void (*del)(void*), int32_t size, zspStatus (*plan)(void*), Arena arena) {
  env->h.del = del;
  env->h.size = size;
  env->h.planOrAt = reinterpret_cast<void*>(plan);
  env->h.arena = arena;
}

// Release of an owner: its lookup lists, then its children, then the children list itself.
inline void releaseLists(Arena arena, EnvList* lookup1, EnvList* lookup2, EnvList* children) {
  if (lookup1) releaseList(lookup1, arena);
  if (lookup2) releaseList(lookup2, arena);
  x3_EnvList_freeChildren(children);
  releaseList(children, arena);
}

template <class T> void delHolder(void* self);
template <class T> void delEnv4(void* self);
template <class T> void delEnv7(void* self);
template <class T> void delEnv8(void* self);
template <class T> zspStatus planEnv4(void* self);
template <class T> zspStatus planEnv7(void* self);
template <class T> zspStatus planEnv8(void* self);
template <class T> zspStatus planEnv2(void* self);
template <class T> zspStatus planEnv3(void* self);
template <class T> zspStatus planInputBody(void* self);
template <class T> zspStatus planEnv9(void* self);

// env2, env3, env5 and env9 own no arrays: lookup list `rules`, then `children`.
template <class T>
void delHolder(void* self) {
  auto* e = static_cast<Env3*>(self);  // env2, env5 and env9 share the positions of these two lists
  releaseLists(e->h.arena, e->rules, nullptr, e->children);
}
template <class T>
void delEnv2(void* self) {
  auto* e = static_cast<Env2*>(self);
  releaseLists(e->h.arena, e->rules, nullptr, e->children);
}
template <class T>
void delEnv9(void* self) {
  auto* e = static_cast<Env9*>(self);
  releaseLists(e->h.arena, e->rules, nullptr, e->children);
}

template <class T>
void delEnv4(void* self) {
  auto* e = static_cast<Env4*>(self);
  if (e->tag >= 1 && e->tag <= 6) giveBack(e->h.arena, (int64_t{1} << e->tag) * e->vectors * 16);
  releaseLists(e->h.arena, nullptr, nullptr, e->children);
}

template <class T>
void delEnv8(void* self) {
  auto* e = static_cast<Env8*>(self);
  if (e->tag >= 1 && e->tag <= 5) giveBack(e->h.arena, int64_t{combineVectorsPerRow(1 << e->tag)} * e->groups * 16);
  releaseLists(e->h.arena, nullptr, nullptr, e->children);
}

template <class T>
void delEnv7(void* self) {
  auto* e = static_cast<Env7*>(self);
  if (e->tag == 1) giveBack(e->h.arena, int64_t{kSampleBytes<T>} * e->length);
  releaseLists(e->h.arena, e->rules, e->rules2, e->children);
}

int32_t outputTagOfBlock(int32_t d) {
  switch (d) {
    case 1: return 1;
    case 2: return 2;
    case 4: return 3;
    case 8: return 4;
    case 16: return 5;
    case 32: return 6;
    default: return 0;
  }
}

// Tag of a combining step by its split; the planner hands over the step's other fields too, unused.
int32_t chooseCombineRule(int32_t split, int32_t, int32_t, int32_t, int32_t, int32_t) {
  switch (split) {
    case 2: return 1;
    case 4: return 2;
    case 8: return 3;
    case 16: return 4;
    case 32: return 5;
    default: return 0;
  }
}

template <class T>
zspStatus planEnv4(void* self) {
  auto* e = static_cast<Env4*>(self);
  e->tag = outputTagOfBlock(e->block);
  if (e->tag == 0) return zspStsSizeErr;
  T* table = take<T>(e->h.arena, static_cast<int32_t>(int64_t{2} * e->block * e->vectors * 16));
  e->table = table;
  fillOutputTable<T>(table, e->block, e->vectors, static_cast<const FSplit*>(e->f));
  return zspStsNoErr;
}

template <class T>
zspStatus planEnv8(void* self) {
  auto* e = static_cast<Env8*>(self);
  if (e->tag == 0) return zspStsSizeErr;
  T* table = take<T>(e->h.arena, static_cast<int32_t>(int64_t{combineVectorsPerRow(e->split)} * e->groups * 16));
  e->table = table;
  fillCombineTable<T>(table, e->split, e->groups, static_cast<const Lambda*>(e->f));
  return zspStsNoErr;
}

// A splitting step for an odd-frequency DFT of subLength points, under a parent with (stride, columns).
template <class T>
Env7* newEnv7(Arena arena, int32_t s, int32_t n, int32_t stride, int32_t columns) {
  Env7* e = take<Env7>(arena, kEnv7Bytes);
  setHeader(e, delEnv7<T>, kEnv7Bytes, planEnv7<T>, arena);
  e->work = nullptr;
  e->tag = 0;
  e->subLength = s;
  e->split = 0;
  e->length = e->length2 = e->length3 = n;
  e->stride = stride;
  e->columns = columns;
  e->rules = newListHead(arena);
  e->rules2 = newListHead(arena);
  e->children = newListHead(arena);
  return e;
}

template <class T>
zspStatus planEnv7(void* self) {
  auto* e = static_cast<Env7*>(self);
  Arena arena = e->h.arena;
  e->tag = 1;
  int32_t d2;
  if (x3_divisorsIntNonTriv(&d2, e->subLength / 2) != zspStsNoErr) return zspStsSizeErr;
  e->split = d2;
  const int32_t s = e->subLength, sub = s / d2;

  Env8* combine = take<Env8>(arena, kEnv8Bytes);
  Lambda* lambda = take<Lambda>(arena, kLambdaBytes);
  makeLambda<T>(lambda, arena, s, d2);
  x3_EnvList_add(e->children, lambda);
  setHeader(combine, delEnv8<T>, kEnv8Bytes, planEnv8<T>, arena);
  combine->table = nullptr;
  combine->split = d2;
  combine->length = combine->length2 = e->length;
  combine->columns = combine->columns2 = e->columns;
  combine->outStride = 2 * e->columns * d2;
  combine->groups = s / (2 * d2);
  combine->halfLength = s / 2;
  combine->lastIndex = s - 1;
  combine->subLength = sub;
  combine->f = lambda;
  combine->tag = chooseCombineRule(d2, combine->columns, combine->outStride, combine->groups,
                                   combine->halfLength, combine->subLength);
  combine->children = newListHead(arena);
  x3_EnvList_add(e->rules, x3_EnvList_add(e->children, combine));
  if (planEnv8<T>(combine) != zspStsNoErr) return zspStsSizeErr;

  Env9* subs = take<Env9>(arena, kEnv9Bytes);
  setHeader(subs, delEnv9<T>, kEnv9Bytes, planEnv9<T>, arena);
  subs->table = nullptr;
  subs->tag = 0;
  subs->subLength = sub;
  subs->length = subs->length2 = subs->length3 = e->length;
  subs->stride = e->stride * d2;
  subs->step = e->stride;
  subs->count = d2;
  subs->columns = e->columns * d2;
  subs->columnStep = e->columns;
  subs->rules = newListHead(arena);
  subs->children = newListHead(arena);
  x3_EnvList_add(e->rules2, x3_EnvList_add(e->children, subs));
  if (planEnv9<T>(subs) != zspStsNoErr) return zspStsSizeErr;
  e->work = take<T>(arena, static_cast<int32_t>(int64_t{kSampleBytes<T>} * e->length));
  return zspStsNoErr;
}

// Output stage holder: the frequencies must split into whole vectors; then the output stage proper with
// its function object and its twiddle table.
template <class T>
zspStatus planEnv2(void* self) {
  constexpr int32_t L = kLanes<T>;
  auto* out = static_cast<Env2*>(self);
  Arena arena = out->h.arena;
  if (out->groups % L != 0) return zspStsSizeErr;
  out->tag = 1;
  const int32_t n = out->length, d = out->block;
  Env4* twiddle = take<Env4>(arena, kEnv4Bytes);
  FSplit* split = take<FSplit>(arena, kFSplitBytes);
  makeFSplit<T>(split, arena, n, d, static_cast<FCompose*>(out->f));
  x3_EnvList_add(out->children, split);
  setHeader(twiddle, delEnv4<T>, kEnv4Bytes, planEnv4<T>, arena);
  twiddle->table = nullptr;
  twiddle->tag = 0;
  twiddle->block = d;
  twiddle->length = twiddle->length2 = n;
  twiddle->rowLength = 2 * d;
  twiddle->groupStride = 2 * d * L;
  twiddle->vectors = out->groups / L;
  twiddle->foldBase = out->foldBase;
  twiddle->subLength = out->subLength;
  twiddle->f = split;
  twiddle->children = newListHead(arena);
  x3_EnvList_add(out->rules, x3_EnvList_add(out->children, twiddle));
  return planEnv4<T>(twiddle);
}

// The input stage's holder and the input stage proper share a layout; `columns` is d in the holder and
// the d/L batches of residues in the stage.
template <class T>
void fillInputNode(Env3* e, Arena arena, int32_t n, int32_t d, int32_t columns, zspStatus (*plan)(void*)) {
  setHeader(e, delHolder<T>, kEnv3Bytes, plan, arena);
  e->table = nullptr;
  e->tag = 0;
  e->subLength = n / d;
  e->length = e->length2 = n;
  e->foldBase = static_cast<int32_t>(2 * static_cast<uint32_t>(n) - 1);
  e->stride = 2 * d;
  e->columns = columns;
  e->block = d;
  e->rules = newListHead(arena);
  e->children = newListHead(arena);
}

// Input stage holder: the residues must split into whole vectors; then the input stage proper.
template <class T>
zspStatus planEnv3(void* self) {
  constexpr int32_t L = kLanes<T>;
  auto* in = static_cast<Env3*>(self);
  if (in->block % L != 0) return zspStsSizeErr;
  in->tag = 1;
  Env5* body = take<Env5>(in->h.arena, kEnv5Bytes);
  fillInputNode<T>(body, in->h.arena, in->length, in->block, in->block / L, planInputBody<T>);
  x3_EnvList_add(in->rules, x3_EnvList_add(in->children, body));
  return planInputBody<T>(body);
}

// Input stage proper: a straight body for up to 64 points, else the first splitting step.
template <class T>
zspStatus planInputBody(void* self) {
  auto* body = static_cast<Env5*>(self);
  body->tag = bodyTagOfLength(body->subLength);
  if (body->tag != 7) return zspStsNoErr;
  Env7* step = newEnv7<T>(body->h.arena, body->subLength, body->length, body->stride, body->block);
  x3_EnvList_add(body->rules, x3_EnvList_add(body->children, step));
  return planEnv7<T>(step);
}

// Sub-transforms of a splitting step: a straight body, or one more splitting step.
template <class T>
zspStatus planEnv9(void* self) {
  auto* subs = static_cast<Env9*>(self);
  subs->tag = bodyTagOfLength(subs->subLength);
  if (subs->tag != 7) return zspStsNoErr;
  Env7* deeper = newEnv7<T>(subs->h.arena, subs->subLength, subs->length, subs->stride, subs->columns);
  x3_EnvList_add(subs->rules, x3_EnvList_add(subs->children, deeper));
  return planEnv7<T>(deeper);
}

template <class T>
zspStatus planRoot(Env1* root) {
  Arena arena = root->h.arena;
  const int32_t n = root->length;
  root->rule = ruleOfLength(n);
  if (root->rule != 6) {
    root->work = nullptr;
    return zspStsNoErr;
  }
  int32_t d;
  if (x3_divisorsIntNonTriv(&d, n / 2) != zspStsNoErr) return zspStsSizeErr;
  root->block = d;
  const int32_t foldBase = static_cast<int32_t>(2 * static_cast<uint32_t>(n) - 1);

  // Output stage.
  Env2* out = take<Env2>(arena, kEnv2Bytes);
  FCompose* compose = take<FCompose>(arena, kFComposeBytes);
  makeFCompose<T>(compose, arena, n, d);
  x3_EnvList_add(root->children, compose);
  setHeader(out, delEnv2<T>, kEnv2Bytes, planEnv2<T>, arena);
  out->table = nullptr;
  out->tag = 0;
  out->block = d;
  out->length = out->length2 = n;
  out->rowLength = 2 * d;
  out->groups = n / (2 * d);
  out->foldBase = foldBase;
  out->subLength = n / d;
  out->f = compose;
  out->rules = newListHead(arena);
  out->children = newListHead(arena);
  x3_EnvList_add(root->outputStage, x3_EnvList_add(root->children, out));
  if (planEnv2<T>(out) != zspStsNoErr) return zspStsSizeErr;

  // Input stage.
  Env3* in = take<Env3>(arena, kEnv3Bytes);
  fillInputNode<T>(in, arena, n, d, d, planEnv3<T>);
  x3_EnvList_add(root->inputStage, x3_EnvList_add(root->children, in));
  if (planEnv3<T>(in) != zspStsNoErr) return zspStsSizeErr;
  root->work = take<T>(arena, static_cast<int32_t>(int64_t{kSampleBytes<T>} * n));
  return zspStsNoErr;
}

template <class T>
zspStatus planRootEntry(void* self) { return planRoot<T>(static_cast<Env1*>(self)); }

template <class T>
void delRoot(void* self) { releaseTree<T>(static_cast<Env1*>(self)); }

}  // namespace

template <class T>
void releaseTree(Env1* state) {
  Arena arena = state->h.arena;
  if (state->rule == 6) giveBack(arena, int64_t{kSampleBytes<T>} * state->length);
  releaseLists(arena, state->outputStage, state->inputStage, state->children);
}

template <class T>
zspStatus init(Env1** state, int32_t n, uint8_t* buffer) {
  if (state == nullptr || buffer == nullptr) return zspStsNullPtrErr;
  const int64_t misalignment = reinterpret_cast<int64_t>(buffer) % 32;
  Arena arena = reinterpret_cast<Arena>(buffer);
  setCursor(arena, buffer + 2 * x3_zspgAlignSize32Bytes(1) - misalignment);
  Env1* root = take<Env1>(arena, kEnv1Bytes);
  root->h.size = kEnv1Bytes;
  root->h.arena = arena;
  root->children = root->outputStage = root->inputStage = nullptr;
  root->work = nullptr;
  root->length = n;
  root->rule = 0;
  root->outputStage = newListHead(arena);
  root->inputStage = newListHead(arena);
  root->children = newListHead(arena);
  root->h.del = delRoot<T>;
  root->h.planOrAt = reinterpret_cast<void*>(planRootEntry<T>);
  const zspStatus status = planRoot<T>(root);
  if (status != zspStsNoErr) {
    releaseTree<T>(root);
    giveBack(arena, kEnv1Bytes);
    return status;
  }
  *state = root;
  return zspStsNoErr;
}

template <class T>
zspStatus initAlloc(Env1** state, int32_t n) {
  if (state == nullptr) return zspStsNullPtrErr;
  int32_t bytes;
  const zspStatus sized = getSize<T>(n, &bytes);
  if (sized != zspStsNoErr) return sized;
  auto* buffer = static_cast<uint8_t*>(zspMalloc(bytes));
  const zspStatus status = init<T>(state, n, buffer);
  if (status != zspStsNoErr) zspFree(buffer);
  return status;
}

template <class T>
zspStatus release(Env1* state) {
  if (state == nullptr) return zspStsNullPtrErr;
  releaseTree<T>(state);
  giveBack(state->h.arena, kEnv1Bytes);
  zspFree(reinterpret_cast<void*>(state->h.arena));
  return zspStsNoErr;
}

template zspStatus init<float>(Env1**, int32_t, uint8_t*);
template zspStatus init<double>(Env1**, int32_t, uint8_t*);
template zspStatus initAlloc<float>(Env1**, int32_t);
template zspStatus initAlloc<double>(Env1**, int32_t);
template zspStatus release<float>(Env1*);
template zspStatus release<double>(Env1*);

}  // namespace zsp::dct4
