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

constexpr int kFirstLength = 2;
constexpr int kLastLength = 64;

inline const char* ruleOf(int n) { return kRules[n - kFirstLength].rule; }
inline const char* inverseRuleOf(int n) { return kInverseRules[n - kFirstLength].rule; }

}  // namespace zsp::real

#endif  // ZSPGEN_REAL_REAL_RECIPES_H
