// The trigonometry of the DCT-IV, all of it done while a state is planned: cos(pi v) and sin(pi v), the
// three function objects that name every twiddle by its indices, and the tables the transform reads in
// order, so that a transform calls no cosine or sine.
#ifndef ZSPGEN_DCT4_TWIDDLE_H
#define ZSPGEN_DCT4_TWIDDLE_H

#include "dct4/records.h"

extern "C" {
Zsp32f x3_zspgCosPi_32f(Zsp32f v);
Zsp32f x3_zspgSinPi_32f(Zsp32f v);
Zsp64f x3_zspgCosPi_64f(Zsp64f v);
Zsp64f x3_zspgSinPi_64f(Zsp64f v);
}

namespace zsp::dct4 {

// Three integers in, one sample out: the evaluator every function object carries in its header.
template <class T>
using TFunc = T (*)(const void* self, int32_t a, int32_t b, int32_t c);

template <class T>
T cosPi(T v);
template <class T>
T sinPi(T v);

template <class T>
T funcAt(const void* object, int32_t a, int32_t b, int32_t c) {
  return reinterpret_cast<TFunc<T>>(static_cast<const EnvHeader*>(object)->planOrAt)(object, a, b, c);
}

// Fill the three function objects (header and fields) in memory already taken from the arena.
template <class T>
void makeFCompose(FCompose* f, Arena arena, int32_t n, int32_t d);
template <class T>
void makeFSplit(FSplit* f, Arena arena, int32_t n, int32_t d, FCompose* inner);
template <class T>
void makeLambda(Lambda* f, Arena arena, int32_t s, int32_t split);

// Output-stage table: `vectors` groups of 2d vectors, each pair a cosine and a sine of one residue.
template <class T>
void fillOutputTable(T* table, int32_t d, int32_t vectors, const FSplit* f);
// Combining-step table of one splitting level, in the order its kernel reads it.
template <class T>
void fillCombineTable(T* table, int32_t split, int32_t rows, const Lambda* f);

// Position j of vector p of an output group: 2r for the cosine and 2r + 1 for the sine of residue r. Each
// residue r is followed by its mirror d - 1 - r; at 32 residues they come in the order the output kernel
// consumes them.
constexpr int32_t outputTablePair(int32_t d, int32_t p) {
  if (d <= 2) return p;
  const int32_t f = p % 4;
  if (d < 32) {
    const int32_t t = p / 4;
    return f < 2 ? 2 * t + f : 2 * d - 2 - 2 * t + (f - 2);
  }
  const int32_t g2 = p / 4, b = g2 / 8, c = (g2 / 2) % 4, e = g2 % 2;
  const int32_t j0 = 2 * b + 8 * c + 32 * e;
  return f < 2 ? j0 + f : 62 - j0 + (f - 2);
}

}  // namespace zsp::dct4

#endif  // ZSPGEN_DCT4_TWIDDLE_H
