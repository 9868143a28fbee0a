// The rule of every real-input DFT length: one line per length, the same rule for single and double
// precision and for every packed format.
//
// Notation, factors in order of execution (leftmost first, on the input side):
//   base        the written-out forms of 2, 4 (a 2 x 2) and 8 (a 4 x 2)
//   direct      an odd prime by its symmetric form: sums x[j] + x[N-j] with cosines, differences with sines
//   a:b, a:b:c  Good-Thomas split (coprime factors, no twiddles), nested to the right; only the bins up to
//               N/2 are formed, a bin above the half of a first-stage transform is its mirror's conjugate
//   axb         Cooley-Tukey split, decimation in time, twiddles of order N between the two stages
//   rader r     Rader scheme over L = N-1 samples: the L-point real transform by rule r, the constant
//               spectrum, and the same network transposed for the way back, which forms only the outputs
//               up to N/2
// Inside a rule a factor is a transform of its own: 2, 4 and 8 are base, 3, 5, 7 and 11 direct, 9 is 3x3,
// 16 is 4x4, 32 is 8x4, 25 is 5x5, 27 is 9x3, and a prime from 13 up takes the forward rule of its own line.
#ifndef ZSPGEN_REAL_REAL_RECIPES_H
#define ZSPGEN_REAL_REAL_RECIPES_H

#include <cstddef>
#include <iterator>

#include "export_ranges.h"

namespace zsp::real {

struct RuleLine {
  int n;
  const char* rule;
};

// clang-format off
constexpr RuleLine kRules[] = {
  { 2, "base"},       { 3, "direct"},     { 4, "base"},       { 5, "direct"},     { 6, "3:2"},
  { 7, "direct"},     { 8, "base"},       { 9, "3x3"},        {10, "5:2"},        {11, "direct"},
  {12, "4:3"},        {13, "rader 3:4"},  {14, "2:7"},        {15, "3:5"},        {16, "4x4"},
  {17, "rader 4x4"},  {18, "2:9"},        {19, "rader 9:2"},  {20, "5:4"},        {21, "7:3"},
  {22, "2:11"},       {23, "rader 2:11"}, {24, "3:8"},        {25, "5x5"},        {26, "13:2"},
  {27, "9x3"},        {28, "4:7"},        {29, "rader 7:4"},  {30, "5:3:2"},      {31, "rader 3:2:5"},
  {32, "8x4"},        {33, "11:3"},       {34, "2:17"},       {35, "7:5"},        {36, "9:4"},
  {37, "rader 4:9"},  {38, "19:2"},       {39, "13:3"},       {40, "8:5"},        {41, "rader 5:8"},
  {42, "7:3:2"},      {43, "rader 2:7:3"},{44, "11:4"},       {45, "5:9"},        {46, "2:23"},
  {47, "rader 23:2"}, {48, "16:3"},       {49, "7x7"},        {50, "25:2"},       {51, "17:3"},
  {52, "13:4"},       {53, "rader 4:13"}, {54, "2:27"},       {55, "11:5"},       {56, "7:8"},
  {57, "19:3"},       {58, "2:29"},       {59, "rader 29:2"}, {60, "3:5:4"},      {61, "rader 3:5:4"},
  {62, "31:2"},       {63, "7:9"},        {64, "16x4"},
};
// clang-format on

// The inverse transforms run the transposed network of a forward rule, seeded with the spectrum: the
// stages run in the opposite order, the right factor first over the spectrum. Each line names the forward
// rule whose network is transposed, so the inverse of a:b runs b first (6 below is 2 : 3 on the spectrum).
// The powers of two transpose their forward rules, which costs fewer operations than ending on a factor 2.
// A doubled spectrum value that meets one constant only stands with it as one literal.
// clang-format off
constexpr RuleLine kInverseRules[] = {
  { 2, "base"},       { 3, "direct"},     { 4, "base"},       { 5, "direct"},     { 6, "3:2"},
  { 7, "direct"},     { 8, "base"},       { 9, "3x3"},        {10, "5:2"},        {11, "rader 2:5"},
  {12, "4:3"},        {13, "rader 3:4"},  {14, "7:2"},        {15, "5:3"},        {16, "4x4"},
  {17, "rader 4x4"},  {18, "9:2"},        {19, "rader 2:9"},  {20, "4:5"},        {21, "7:3"},
  {22, "2:11"},       {23, "rader 2:11"}, {24, "3:8"},        {25, "5x5"},        {26, "13:2"},
  {27, "3x9"},        {28, "7:4"},        {29, "rader 4:7"},  {30, "2:5:3"},      {31, "rader 2:3:5"},
  {32, "8x4"},        {33, "11:3"},       {34, "2:17"},       {35, "7:5"},        {36, "9:4"},
  {37, "rader 4:9"},  {38, "19:2"},       {39, "3:13"},       {40, "8:5"},        {41, "rader 5:8"},
  {42, "7:3:2"},      {43, "rader 2:7:3"},{44, "11:4"},       {45, "9:5"},        {46, "2:23"},
  {47, "rader 2:23"}, {48, "3:16"},       {49, "7x7"},        {50, "2:25"},       {51, "17:3"},
  {52, "4:13"},       {53, "rader 4:13"}, {54, "2:27"},       {55, "11:5"},       {56, "7:8"},
  {57, "19:3"},       {58, "2:29"},       {59, "rader 2:29"}, {60, "5:3:4"},      {61, "rader 3:5:4"},
  {62, "2:31"},       {63, "7:9"},        {64, "16x4"},
};
// clang-format on

// The Hartley transform H[k] = sum of x[n] (cos + sin)(2 pi k n / N) takes one of two forms on a real DFT
// graph. "output r": the forward graph of rule r with one layer behind it, H[k] = Re X[k] - Im X[k] and
// H[N-k] = Re X[k] + Im X[k]. "input r": one layer in front of the transposed network of rule r (the
// inverse graph), the fold a[k] = x[k] + x[N-k], b[k] = x[k] - x[N-k] standing for 2 Re X[k] and -2 Im X[k],
// so no value is doubled.
// clang-format off
constexpr RuleLine kHartleyRules[] = {
  { 2, "output base"},   { 3, "output direct"}, { 4, "output base"},   { 5, "output direct"},
  { 6, "output 3:2"},    { 7, "output direct"}, { 8, "output base"},   { 9, "output 3x3"},
  {10, "input 5:2"},     {11, "output direct"}, {12, "input 4:3"},     {13, "input rader 3:4"},
  {14, "input 7:2"},     {15, "input 3:5"},     {16, "output 4x4"},    {17, "input rader 4x4"},
  {18, "input 9:2"},     {19, "output rader 9:2"}, {20, "input 4:5"},  {21, "output 7:3"},
  {22, "output 2:11"},   {23, "input rader 2:11"}, {24, "output 3:8"}, {25, "input 5x5"},
  {26, "output 13:2"},   {27, "input 3x9"},     {28, "input 7:4"},     {29, "output rader 7:4"},
  {30, "input 2:5:3"},   {31, "input rader 2:3:5"}, {32, "input 8x4"}, {33, "input 11:3"},
  {34, "input 2:17"},    {35, "input 7:5"},     {36, "input 9:4"},     {37, "input rader 4:9"},
  {38, "output 19:2"},   {39, "output 13:3"},   {40, "input 8:5"},     {41, "output rader 5:8"},
  {42, "input 7:3:2"},   {43, "input rader 2:7:3"}, {44, "input 11:4"}, {45, "input 9:5"},
  {46, "input 2:23"},    {47, "output rader 23:2"}, {48, "input 3:16"}, {49, "output 7x7"},
  {50, "output 25:2"},   {51, "input 17:3"},    {52, "output 13:4"},   {53, "input rader 4:13"},
  {54, "input 2:27"},    {55, "input 11:5"},    {56, "input 7:8"},     {57, "output 19:3"},
  {58, "output 2:29"},   {59, "output rader 29:2"}, {60, "input 5:3:4"}, {61, "output rader 3:5:4"},
  {62, "input 2:31"},    {63, "output 7:9"},    {64, "input 16x4"},
};
// clang-format on

// The lengths are those of the export list; every length has its line in each table, in order.
using zsp::exported::kFirstLength;
using zsp::exported::kLastLength;
constexpr bool coversTheLengths(const RuleLine* t, std::size_t count) {
  if (count != static_cast<std::size_t>(kLastLength - kFirstLength + 1)) return false;
  for (std::size_t i = 0; i < count; ++i)
    if (t[i].n != kFirstLength + static_cast<int>(i)) return false;
  return true;
}
static_assert(coversTheLengths(kRules, std::size(kRules)) && coversTheLengths(kInverseRules, std::size(kInverseRules)) &&
              coversTheLengths(kHartleyRules, std::size(kHartleyRules)));

inline const char* ruleOf(int n) { return kRules[n - kFirstLength].rule; }
inline const char* inverseRuleOf(int n) { return kInverseRules[n - kFirstLength].rule; }
inline const char* hartleyRuleOf(int n) { return kHartleyRules[n - kFirstLength].rule; }

}  // namespace zsp::real

#endif  // ZSPGEN_REAL_REAL_RECIPES_H
