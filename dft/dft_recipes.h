// The recipe of every complex DFT length, per precision: one line per length.
//
// Notation, factors in order of execution (leftmost first, on the input side):
//   base            the written-out forms of 2, 3, 4 and 5
//   direct          a prime by its symmetric form: sums and differences of x[j] and x[N-j]
//   a.b, a.b.c      Good-Thomas split (coprime factors, no twiddles), nested to the right
//   axb             Cooley-Tukey split with twiddles of order N, nested to the right
//   rader s,s,...   Rader convolution; s are the factors of the two (N-1)-point transforms, first on the
//                   longest stride; runs of one factor make a power (2,2 is a 4), coprime groups split
//                   by Good-Thomas, others by Cooley-Tukey; a factor written 11r is itself a Rader form
//   bluestein L f o chirp form over a zero-filled transform of length L: the forward transform by the
//                   Cooley-Tukey chain f, the opposite one by the chain o (12 is 3.4 there too)
// A factor written 5w takes the 5-point form with the shortened cosine part, while the line's budget of
// such transforms (last column) lasts; 25w is a 5x5 of them; 7r is the 7 in Rader form.
// Inside a recipe a factor is a transform of its own, in the form kInnerForms (below) gives it, or else
// by its own line of that precision (27, and 13 to 31 as Rader forms by their line's factors).
// The lowering and routes columns say how each kernel's code is written and how it reaches data at any
// address; they are the only per-length choices of the generator.
#ifndef ZSPGEN_DFT_DFT_RECIPES_H
#define ZSPGEN_DFT_DFT_RECIPES_H

#include <cstddef>
#include <iterator>

#include "export_ranges.h"

namespace zsp::dft {

// How the code of one kernel is written from its graph:
//   Scalar         one value per operation, in the sample's precision
//   ScalarWidened  scalar; the products by constants of the 3- and 5-point forms are formed in double
//                  and rounded to single once (single precision 3 and 5)
//   Pairs          two lanes of double: a complex value per register
//   Lanes4         four lanes of single in split form: four real or four imaginary parts per register
enum class Lowering { Scalar, ScalarWidened, Pairs, Lanes4 };

// How a kernel reaches data at any address:
//   OneRoute   scalar code has no alignment test and no second route
//   BothInOne  the kernel holds the aligned and the unaligned route in its own body
//   Sibling    the unaligned route is a local function of its own, entered by a tail call
enum class Routes { OneRoute, BothInOne, Sibling };

using enum Lowering;
using enum Routes;

struct KernelRecipe {
  const char* recipe;
  Lowering lowering;
  Routes routes;
};

struct RecipeLine {
  int n;
  KernelRecipe single;  // Zsp32fc
  KernelRecipe dbl;     // Zsp64fc
  int fiveW;            // Zsp64fc: how many 5-point transforms take the shortened form
};

// clang-format off
constexpr RecipeLine kRecipes[] = {
//  N   Zsp32fc: recipe            lowering       routes      Zsp64fc: recipe      lowering routes   5w
  { 2, {"base",                      Scalar,        OneRoute}, {"base",             Pairs, BothInOne},  0},
  { 3, {"base",                      ScalarWidened, OneRoute}, {"base",             Pairs, BothInOne},  0},
  { 4, {"base",                      Scalar,        OneRoute}, {"base",             Pairs, BothInOne},  0},
  { 5, {"base",                      ScalarWidened, OneRoute}, {"base",             Pairs, Sibling},   0},
  { 6, {"2.3",                       Lanes4,        Sibling},  {"2.3",              Pairs, BothInOne},  0},
  { 7, {"rader 2,3",                 Lanes4,        Sibling},  {"direct",           Pairs, Sibling},   0},
  { 8, {"4x2",                       Lanes4,        Sibling},  {"4x2",              Pairs, Sibling},   0},
  { 9, {"3x3",                       Lanes4,        Sibling},  {"3x3",              Pairs, Sibling},   0},
  {10, {"5.2",                       Lanes4,        Sibling},  {"5w.2",             Pairs, Sibling},   2},
  {11, {"rader 5,2",                 Lanes4,        Sibling},  {"direct",           Pairs, Sibling},   0},
  {12, {"4.3",                       Lanes4,        Sibling},  {"3.4",              Pairs, Sibling},   0},
  {13, {"rader 2,2,3",               Lanes4,        Sibling},  {"rader 3,2,2",      Pairs, Sibling},   0},
  {14, {"2.7",                       Lanes4,        Sibling},  {"2.7",              Pairs, Sibling},   0},
  {15, {"5.3",                       Lanes4,        Sibling},  {"5.3",              Pairs, Sibling},   0},
  {16, {"4x4",                       Lanes4,        Sibling},  {"4x4",              Pairs, Sibling},   0},
  {17, {"rader 2,2,2,2",             Lanes4,        Sibling},  {"rader 2,2,2,2",    Pairs, Sibling},   0},
  {18, {"6x3",                       Lanes4,        Sibling},  {"9.2",              Pairs, Sibling},   0},
  {19, {"rader 3,2,3",               Lanes4,        Sibling},  {"rader 2,3,3",      Pairs, Sibling},   0},
  {20, {"4.5",                       Lanes4,        Sibling},  {"5.4",              Pairs, Sibling},   0},
  {21, {"7.3",                       Lanes4,        Sibling},  {"7.3",              Pairs, Sibling},   0},
  {22, {"2.11",                      Lanes4,        Sibling},  {"11.2",             Pairs, Sibling},   0},
  {23, {"rader 2,11",                Lanes4,        Sibling},  {"rader 2,11r",      Pairs, Sibling},   0},
  {24, {"4x6",                       Lanes4,        Sibling},  {"8.3",              Pairs, Sibling},   0},
  {25, {"5x5",                       Lanes4,        Sibling},  {"5x5",              Pairs, Sibling},   0},
  {26, {"13.2",                      Lanes4,        Sibling},  {"13.2",             Pairs, Sibling},   0},
  {27, {"9x3",                       Lanes4,        Sibling},  {"3x9",              Pairs, Sibling},   0},
  {28, {"4.7",                       Lanes4,        Sibling},  {"4.7",              Pairs, Sibling},   0},
  {29, {"rader 2,2,7",               Lanes4,        Sibling},  {"rader 2,2,7",      Pairs, Sibling},   0},
  {30, {"5.2.3",                     Lanes4,        Sibling},  {"2.5.3",            Pairs, Sibling},   0},
  {31, {"rader 5,2,3",               Lanes4,        Sibling},  {"rader 3,5,2",      Pairs, Sibling},   0},
  {32, {"4x8",                       Lanes4,        Sibling},  {"8x4",              Pairs, Sibling},   0},
  {33, {"11.3",                      Lanes4,        Sibling},  {"11.3",             Pairs, Sibling},   0},
  {34, {"2.17",                      Lanes4,        Sibling},  {"2.17",             Pairs, Sibling},   0},
  {35, {"5.7",                       Lanes4,        Sibling},  {"5w.7r",            Pairs, Sibling},   7},
  {36, {"4.9",                       Lanes4,        Sibling},  {"4.9",              Pairs, Sibling},   0},
  {37, {"rader 2,2,3,3",             Lanes4,        Sibling},  {"rader 2,2,3,3",    Pairs, Sibling},   0},
  {38, {"2.19",                      Lanes4,        Sibling},  {"2.19",             Pairs, Sibling},   0},
  {39, {"13.3",                      Lanes4,        Sibling},  {"13.3",             Pairs, Sibling},   0},
  {40, {"10x4",                      Lanes4,        Sibling},  {"8.5",              Pairs, Sibling},   0},
  {41, {"rader 5,2,2,2",             Lanes4,        Sibling},  {"rader 5,2,2,2",    Pairs, Sibling},   0},
  {42, {"7.2.3",                     Lanes4,        Sibling},  {"2.7.3",            Pairs, Sibling},   0},
  {43, {"rader 7,2,3",               Lanes4,        Sibling},  {"rader 2,7,3",      Pairs, Sibling},   0},
  {44, {"4.11",                      Lanes4,        Sibling},  {"4.11",             Pairs, Sibling},   0},
  {45, {"15x3",                      Lanes4,        Sibling},  {"5.9",              Pairs, Sibling},   0},
  {46, {"23x2",                      Lanes4,        Sibling},  {"23.2",             Pairs, Sibling},   0},
  {47, {"bluestein 96 3x2x16 12x8",  Lanes4,        Sibling},  {"rader 23,2",       Pairs, Sibling},   0},
  {48, {"4x12",                      Lanes4,        Sibling},  {"16.3",             Pairs, Sibling},   0},
  {49, {"7x7",                       Lanes4,        Sibling},  {"7x7",              Pairs, Sibling},   0},
  {50, {"10x5",                      Lanes4,        Sibling},  {"25w.2",            Pairs, Sibling},  12},
  {51, {"17.3",                      Lanes4,        Sibling},  {"17.3",             Pairs, Sibling},   0},
  {52, {"4.13",                      Lanes4,        Sibling},  {"13.4",             Pairs, Sibling},   0},
  {53, {"rader 2,2,13",              Lanes4,        Sibling},  {"rader 13,2,2",     Pairs, Sibling},   0},
  {54, {"18x3",                      Lanes4,        Sibling},  {"2.27",             Pairs, Sibling},   0},
  {55, {"5.11",                      Lanes4,        Sibling},  {"11.5",             Pairs, Sibling},   0},
  {56, {"14x4",                      Lanes4,        Sibling},  {"7.8",              Pairs, Sibling},   0},
  {57, {"19.3",                      Lanes4,        Sibling},  {"19.3",             Pairs, Sibling},   0},
  {58, {"2.29",                      Lanes4,        Sibling},  {"29.2",             Pairs, Sibling},   0},
  {59, {"bluestein 128 4x2x16 16x8", Lanes4,        BothInOne}, {"rader 29,2",       Pairs, Sibling},   0},
  {60, {"4x15",                      Lanes4,        Sibling},  {"3.5w.4",           Pairs, Sibling},   4},
  {61, {"rader 2,2,5,3",             Lanes4,        Sibling},  {"rader 3,2,2,5",    Pairs, Sibling},   0},
  {62, {"31x2",                      Lanes4,        Sibling},  {"31.2",             Pairs, Sibling},   0},
  {63, {"9.7",                       Lanes4,        Sibling},  {"7.9",              Pairs, Sibling},   0},
  {64, {"8x8",                       Lanes4,        Sibling},  {"16x4",             Pairs, Sibling},   0},
};
// clang-format on

// The lengths are those of the export list; every length has its line, in order.
using zsp::exported::kFirstLength;
using zsp::exported::kLastLength;
constexpr bool coversTheLengths() {
  if (std::size(kRecipes) != static_cast<std::size_t>(kLastLength - kFirstLength + 1)) return false;
  for (std::size_t i = 0; i < std::size(kRecipes); ++i)
    if (kRecipes[i].n != kFirstLength + static_cast<int>(i)) return false;
  return true;
}
static_assert(coversTheLengths());

inline const RecipeLine& recipeLine(int n) { return kRecipes[n - kFirstLength]; }
inline const KernelRecipe& kernelRecipe(int n, bool single) { return single ? recipeLine(n).single : recipeLine(n).dbl; }

// The form a sub-transform takes inside a recipe where it is named by its length alone (and a mark);
// lengths not listed take their own line of kRecipes in the same precision. A 5 takes the shortened
// form (5w) while its line's budget of such transforms (last column of kRecipes) lasts, else the base form.
struct InnerForm {
  int n;
  char mark;  // 'w': the shortened 5-point form; 'r': the Rader form; 0: plain
  const char* recipe;
};

// clang-format off
constexpr InnerForm kInnerForms[] = {
  { 2,  0,  "base"},  { 3,  0,  "base"},  { 4,  0,  "base"},  { 6,  0,  "3.2"},   { 7,  0,  "direct"},
  { 7, 'r', "rader 2,3"}, { 8,  0,  "4x2"}, { 9,  0,  "3x3"},  {10,  0,  "5.2"},   {11,  0,  "direct"},
  {11, 'r', "rader 5,2"}, {12,  0,  "3.4"}, {14,  0,  "7.2"},  {15,  0,  "5.3"},   {16,  0,  "4x4"},
  {18,  0,  "2.9"},   {25,  0,  "5x5"},   {25, 'w', "5wx5w"},
};
// clang-format on

}  // namespace zsp::dft

#endif  // ZSPGEN_DFT_DFT_RECIPES_H
