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
// Inside a recipe a factor is a transform of its own: 8 is 4x2, 9 is 3x3, 16 is 4x4, 25 is 5x5, 6 is
// 3.2, 10 is 5.2, 12 is 3.4, 14 is 7.2, 15 is 5.3, 18 is 2.9, 27 is that precision's own recipe;
// 7 and 11 are direct, 13 to 31 are Rader forms by their own line's factors.
#ifndef ZSPGEN_DFT_DFT_RECIPES_H
#define ZSPGEN_DFT_DFT_RECIPES_H

#include <cstddef>
#include <iterator>

#include "export_ranges.h"

namespace zsp::dft {

struct RecipeLine {
  int n;
  const char* single;  // Zsp32fc
  const char* dbl;     // Zsp64fc
  int fiveW;           // Zsp64fc: how many 5-point transforms take the shortened form
};

// clang-format off
constexpr RecipeLine kRecipes[] = {
  { 2, "base",                      "base",           0},
  { 3, "base",                      "base",           0},
  { 4, "base",                      "base",           0},
  { 5, "base",                      "base",           0},
  { 6, "2.3",                       "2.3",            0},
  { 7, "rader 2,3",                 "direct",         0},
  { 8, "4x2",                       "4x2",            0},
  { 9, "3x3",                       "3x3",            0},
  {10, "5.2",                       "5w.2",           2},
  {11, "rader 5,2",                 "direct",         0},
  {12, "4.3",                       "3.4",            0},
  {13, "rader 2,2,3",               "rader 3,2,2",    0},
  {14, "2.7",                       "2.7",            0},
  {15, "5.3",                       "5.3",            0},
  {16, "4x4",                       "4x4",            0},
  {17, "rader 2,2,2,2",             "rader 2,2,2,2",  0},
  {18, "6x3",                       "9.2",            0},
  {19, "rader 3,2,3",               "rader 2,3,3",    0},
  {20, "4.5",                       "5.4",            0},
  {21, "7.3",                       "7.3",            0},
  {22, "2.11",                      "11.2",           0},
  {23, "rader 2,11",                "rader 2,11r",    0},
  {24, "4x6",                       "8.3",            0},
  {25, "5x5",                       "5x5",            0},
  {26, "13.2",                      "13.2",           0},
  {27, "9x3",                       "3x9",            0},
  {28, "4.7",                       "4.7",            0},
  {29, "rader 2,2,7",               "rader 2,2,7",    0},
  {30, "5.2.3",                     "2.5.3",          0},
  {31, "rader 5,2,3",               "rader 3,5,2",    0},
  {32, "4x8",                       "8x4",            0},
  {33, "11.3",                      "11.3",           0},
  {34, "2.17",                      "2.17",           0},
  {35, "5.7",                       "5w.7r",          7},
  {36, "4.9",                       "4.9",            0},
  {37, "rader 2,2,3,3",             "rader 2,2,3,3",  0},
  {38, "2.19",                      "2.19",           0},
  {39, "13.3",                      "13.3",           0},
  {40, "10x4",                      "8.5",            0},
  {41, "rader 5,2,2,2",             "rader 5,2,2,2",  0},
  {42, "7.2.3",                     "2.7.3",          0},
  {43, "rader 7,2,3",               "rader 2,7,3",    0},
  {44, "4.11",                      "4.11",           0},
  {45, "15x3",                      "5.9",            0},
  {46, "23x2",                      "23.2",           0},
  {47, "bluestein 96 3x2x16 12x8", "rader 23,2",  0},
  {48, "4x12",                      "16.3",           0},
  {49, "7x7",                       "7x7",            0},
  {50, "10x5",                      "25w.2",         12},
  {51, "17.3",                      "17.3",           0},
  {52, "4.13",                      "13.4",           0},
  {53, "rader 2,2,13",              "rader 13,2,2",   0},
  {54, "18x3",                      "2.27",           0},
  {55, "5.11",                      "11.5",           0},
  {56, "14x4",                      "7.8",            0},
  {57, "19.3",                      "19.3",           0},
  {58, "2.29",                      "29.2",           0},
  {59, "bluestein 128 4x2x16 16x8", "rader 29,2", 0},
  {60, "4x15",                      "3.5w.4",         4},
  {61, "rader 2,2,5,3",             "rader 3,2,2,5",  0},
  {62, "31x2",                      "31.2",           0},
  {63, "9.7",                       "7.9",            0},
  {64, "8x8",                       "16x4",           0},
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

}  // namespace zsp::dft

#endif  // ZSPGEN_DFT_DFT_RECIPES_H
