// The records of a DCT-IV plan. Every one begins with the arena header; environments then hold the list
// of the objects they created (`children`) and their own fields. The byte counts asked of the arena are
// fixed constants, and each record must fit its constant.
#ifndef ZSPGEN_DCT4_RECORDS_H
#define ZSPGEN_DCT4_RECORDS_H

#include <cstdint>

#include "dct4/arena.h"

namespace zsp::dct4 {

// The DCT-IV state, root of the plan tree.
struct Env1 {
  EnvHeader h;
  EnvList* children;     // fCompose, env2, env3
  EnvList* outputStage;  // element 0: env2
  EnvList* inputStage;   // element 0: env3
  void* work;            // N samples between the two stages; null at the direct lengths
  uint32_t rule;         // 1..5 direct lengths 2..32, 6 plan tree, 0 unplanned
  int32_t block;
  int32_t length;
};

// Output stage holder: tests that the frequencies split into whole vectors.
struct Env2 {
  EnvHeader h;
  EnvList* children;
  EnvList* rules;  // element 0: env4
  void* table;
  int32_t tag, block, length, rowLength, groups, length2, foldBase, subLength;
  void* f;  // fCompose
};

// Input stage holder (env3) and the input stage proper (env5) share one layout.
struct Env3 {
  EnvHeader h;
  EnvList* children;
  EnvList* rules;
  void* table;
  int32_t tag, subLength, length, foldBase, stride, columns, length2, block;
};
using Env5 = Env3;

// Output stage: twiddles and the fold network.
struct Env4 {
  EnvHeader h;
  EnvList* children;
  void* table;
  int32_t tag, block, length, rowLength, groupStride, vectors, length2, foldBase, subLength;
  void* f;  // fsplit
};

// One splitting step of an odd-frequency DFT that is too long for a straight body.
struct Env7 {
  EnvHeader h;
  EnvList* children;  // lambda, env8, env9
  EnvList* rules;     // element 0: env8
  EnvList* rules2;    // element 0: env9
  void* work;
  int32_t tag, subLength, split, length, length2, stride, length3, columns;
};

// The combining step of an env7: twiddles and a small complex DFT across the sub-transforms.
struct Env8 {
  EnvHeader h;
  EnvList* children;
  void* table;
  int32_t tag, split, length, columns, outStride, groups, length2, halfLength, lastIndex, columns2,
      subLength;
  void* f;  // lambda
};

// The sub-transforms of an env7.
struct Env9 {
  EnvHeader h;
  EnvList* children;
  EnvList* rules;
  void* table;
  int32_t tag, subLength, length, length2, stride, step, count, length3, columns, columnStep;
};

// Function objects: three integers in, one sample out.
struct FCompose {
  EnvHeader h;
  int32_t twoBlock, denominator, groups, block, rowLength;
};
struct FSplit {
  EnvHeader h;
  int32_t twoBlock, vectors;
  FCompose* inner;
};
struct Lambda {
  EnvHeader h;
  int32_t length, split;
};

constexpr int32_t kEnv1Bytes = 80, kEnv2Bytes = 96, kEnv3Bytes = 88, kEnv4Bytes = 96, kEnv5Bytes = 88,
                  kEnv7Bytes = 96, kEnv8Bytes = 104, kEnv9Bytes = 96, kFComposeBytes = 56,
                  kFSplitBytes = 48, kLambdaBytes = 40;

static_assert(sizeof(Env1) == kEnv1Bytes);
static_assert(sizeof(Env2) == kEnv2Bytes);
static_assert(sizeof(Env3) == kEnv3Bytes && sizeof(Env5) == kEnv5Bytes);
static_assert(sizeof(Env4) == kEnv4Bytes);
static_assert(sizeof(Env7) == kEnv7Bytes);
static_assert(sizeof(Env8) == kEnv8Bytes);
static_assert(sizeof(Env9) == kEnv9Bytes);
static_assert(sizeof(FCompose) == kFComposeBytes);
static_assert(sizeof(FSplit) == kFSplitBytes);
static_assert(sizeof(Lambda) == kLambdaBytes);

// Samples per 16-byte vector, and bytes per sample.
template <class T>
constexpr int32_t kLanes = static_cast<int32_t>(16 / sizeof(T));
template <class T>
constexpr int32_t kSampleBytes = static_cast<int32_t>(sizeof(T));

}  // namespace zsp::dct4

#endif  // ZSPGEN_DCT4_RECORDS_H
