#include "dct4/twiddle.h"

#include <cmath>

namespace zsp::dct4 {

template <>
float cosPi<float>(float v) { return std::cos(static_cast<float>(static_cast<double>(v) * 3.141592653589793)); }
template <>
float sinPi<float>(float v) { return std::sin(static_cast<float>(static_cast<double>(v) * 3.141592653589793)); }
template <>
double cosPi<double>(double v) { return std::cos(v * 3.141592653589793); }
template <>
double sinPi<double>(double v) { return std::sin(v * 3.141592653589793); }

namespace {

void releaseNothing(void*) {}

inline int32_t mul32(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

// cos or sin of pi (2a+1)(2r+1) / (4N) for row a and position 2r (cosine) or 2r + 1 (sine).
template <class T>
T fComposeAt(const void* self, int32_t row, int32_t position, int32_t) {
  const auto* f = static_cast<const FCompose*>(self);
  const int32_t idx = mul32(row, f->rowLength) + position;
  const int32_t half = idx / 2, q = half / f->block, r = half % f->block;
  const int32_t number = mul32(4 * q + 2, 2 * r + 1);
  const T v = static_cast<T>(number) / static_cast<T>(f->denominator);
  return idx % 2 == 0 ? cosPi<T>(v) : sinPi<T>(v);
}

// Lane `lane` of group `group` is frequency row group * L + lane.
template <class T>
T fSplitAt(const void* self, int32_t group, int32_t lane, int32_t position) {
  const auto* f = static_cast<const FSplit*>(self);
  return funcAt<T>(f->inner, group * kLanes<T> + lane, position, 0);
}

// (index + 1/2) / (s / split), in the sample type.
template <class T>
T lambdaAt(const void* self, int32_t index, int32_t, int32_t) {
  const auto* f = static_cast<const Lambda*>(self);
  return (static_cast<T>(index) + static_cast<T>(0.5)) / static_cast<T>(f->length / f->split);
}

template <class T>
void setHeader(EnvHeader& h, int32_t size, TFunc<T> at, Arena arena) {
  h.del = releaseNothing;
  h.size = size;
  h.planOrAt = reinterpret_cast<void*>(at);
  h.arena = arena;
}

// All L lanes of a vector hold the same twiddle; each lane is its own evaluation.
template <class T>
T* storeCosSin(T* out, T v) {
  for (int32_t l = 0; l < kLanes<T>; ++l) out[l] = cosPi<T>(v);
  for (int32_t l = 0; l < kLanes<T>; ++l) out[kLanes<T> + l] = sinPi<T>(v);
  return out + 2 * kLanes<T>;
}

}  // namespace

template <class T>
void makeFCompose(FCompose* f, Arena arena, int32_t n, int32_t d) {
  setHeader<T>(f->h, kFComposeBytes, fComposeAt<T>, arena);
  f->twoBlock = 2 * d;
  f->denominator = mul32(8, n);
  f->groups = n / (2 * d);
  f->block = d;
  f->rowLength = 2 * d;
}

template <class T>
void makeFSplit(FSplit* f, Arena arena, int32_t n, int32_t d, FCompose* inner) {
  setHeader<T>(f->h, kFSplitBytes, fSplitAt<T>, arena);
  f->twoBlock = 2 * d;
  f->vectors = n / (2 * d) / kLanes<T>;
  f->inner = inner;
}

template <class T>
void makeLambda(Lambda* f, Arena arena, int32_t s, int32_t split) {
  setHeader<T>(f->h, kLambdaBytes, lambdaAt<T>, arena);
  f->length = s;
  f->split = split;
}

template <class T>
void fillOutputTable(T* table, int32_t d, int32_t vectors, const FSplit* f) {
  constexpr int32_t L = kLanes<T>;
  for (int32_t g = 0; g < vectors; ++g)
    for (int32_t p = 0; p < 2 * d; ++p) {
      const int32_t j = outputTablePair(d, p);
      for (int32_t lane = 0; lane < L; ++lane)
        table[(static_cast<int64_t>(2 * d) * g + p) * L + lane] = funcAt<T>(f, g, lane, j);
    }
}

template <class T>
void fillCombineTable(T* table, int32_t split, int32_t rows, const Lambda* f) {
  auto lam = [&](int32_t a) { return funcAt<T>(f, a, 0, 0); };
  // Plain rows: the twiddle of sub-transform j1 = m is pi lam (2 m / split).
  auto plainRows = [&](T* out, int32_t perRow, int32_t den) {
    for (int32_t a = 0; a < rows; ++a)
      for (int32_t m = 1; m <= perRow; ++m) out = storeCosSin<T>(out, lam(a) * (static_cast<T>(m) / static_cast<T>(den)));
    return out;
  };
  // Second-level rows of a two-level step: pi (lam + u) m / den, u over the first level's outputs.
  auto shiftedRows = [&](T* out, int32_t shifts, int32_t den) {
    for (int32_t a = 0; a < rows; ++a)
      for (int32_t u = 0; u < shifts; ++u)
        for (int32_t m = 1; m <= 3; ++m)
          out = storeCosSin<T>(out, (lam(a) + static_cast<T>(u)) * (static_cast<T>(m) / static_cast<T>(den)));
    return out;
  };
  switch (split) {
    case 2: plainRows(table, 1, 1); break;
    case 4: plainRows(table, 3, 2); break;
    case 8: plainRows(table, 7, 4); break;
    case 16: plainRows(shiftedRows(table, 4, 8), 3, 2); break;
    case 32:
      if constexpr (sizeof(T) == 4) plainRows(shiftedRows(table, 8, 16), 7, 4);
      else shiftedRows(plainRows(table, 7, 4), 8, 16);
      break;
  }
}

template void makeFCompose<float>(FCompose*, Arena, int32_t, int32_t);
template void makeFCompose<double>(FCompose*, Arena, int32_t, int32_t);
template void makeFSplit<float>(FSplit*, Arena, int32_t, int32_t, FCompose*);
template void makeFSplit<double>(FSplit*, Arena, int32_t, int32_t, FCompose*);
template void makeLambda<float>(Lambda*, Arena, int32_t, int32_t);
template void makeLambda<double>(Lambda*, Arena, int32_t, int32_t);
template void fillOutputTable<float>(float*, int32_t, int32_t, const FSplit*);
template void fillOutputTable<double>(double*, int32_t, int32_t, const FSplit*);
template void fillCombineTable<float>(float*, int32_t, int32_t, const Lambda*);
template void fillCombineTable<double>(double*, int32_t, int32_t, const Lambda*);

}  // namespace zsp::dct4

extern "C" {
Zsp32f x3_zspgCosPi_32f(Zsp32f v) { return zsp::dct4::cosPi<float>(v); }
Zsp32f x3_zspgSinPi_32f(Zsp32f v) { return zsp::dct4::sinPi<float>(v); }
Zsp64f x3_zspgCosPi_64f(Zsp64f v) { return zsp::dct4::cosPi<double>(v); }
Zsp64f x3_zspgSinPi_64f(Zsp64f v) { return zsp::dct4::sinPi<double>(v); }
}
