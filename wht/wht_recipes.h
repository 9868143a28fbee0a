// The recipe of every Walsh-Hadamard kernel: how each order of each precision is cut into passes.
// Read by the kernel generator (to know which bodies and kernels to write) and by the library (for the
// work-buffer sizes). Plain constexpr data, no vector code.
#ifndef ZSPGEN_WHT_RECIPES_H
#define ZSPGEN_WHT_RECIPES_H

#include "export_ranges.h"

namespace zsp::wht {

enum class Shape {
  Scalar,            // straight-line scalar code, no route test
  VectorBothRoutes,  // one vector body; the aligned and unaligned routes both live in the kernel itself
  Vector,            // one vector body; the unaligned route is the kernel's _unaligned sibling
  TwoLevel,          // block pass into the work buffer, column pass into the destination
  ThreeLevel,        // sections finished in the scratch area, then one column pass across the sections
};

struct Recipe {
  int order;
  Shape shape;
  int blockLog;    // multi-pass shapes: block size 2^blockLog of the first pass
  int sectionLog;  // three-level shape: sections of 2^sectionLog samples, finished in the scratch area
};

// The orders are those of the export list, 1 to kOrders; each table holds them in order.
static_assert(zsp::exported::kFirstOrder == 1);
inline constexpr int kOrders = zsp::exported::kLastOrder;

//                                      order  shape                     block section
inline constexpr Recipe kRecipes32f[kOrders] = {
    {1, Shape::Scalar, 0, 0},           {2, Shape::Scalar, 0, 0},        {3, Shape::Scalar, 0, 0},
    {4, Shape::VectorBothRoutes, 0, 0}, {5, Shape::Vector, 0, 0},        {6, Shape::Vector, 0, 0},
    {7, Shape::Vector, 0, 0},           {8, Shape::TwoLevel, 5, 0},      {9, Shape::TwoLevel, 6, 0},
    {10, Shape::TwoLevel, 6, 0},        {11, Shape::TwoLevel, 6, 0},     {12, Shape::ThreeLevel, 6, 9},
    {13, Shape::ThreeLevel, 6, 9},
};

inline constexpr Recipe kRecipes64f[kOrders] = {
    {1, Shape::Scalar, 0, 0},           {2, Shape::Scalar, 0, 0},        {3, Shape::VectorBothRoutes, 0, 0},
    {4, Shape::Vector, 0, 0},           {5, Shape::Vector, 0, 0},        {6, Shape::Vector, 0, 0},
    {7, Shape::Vector, 0, 0},           {8, Shape::TwoLevel, 5, 0},      {9, Shape::TwoLevel, 5, 0},
    {10, Shape::TwoLevel, 7, 0},        {11, Shape::ThreeLevel, 5, 8},   {12, Shape::ThreeLevel, 5, 8},
    {13, Shape::ThreeLevel, 7, 10},
};

constexpr bool ordersInPlace(const Recipe (&table)[kOrders]) {
  for (int i = 0; i < kOrders; ++i)
    if (table[i].order != i + 1) return false;
  return true;
}
static_assert(ordersInPlace(kRecipes32f) && ordersInPlace(kRecipes64f));

// Work buffer in bytes: the main area of N samples, and behind it the scratch area of one section.
constexpr int workBufferBytes(const Recipe& r, int sampleBytes) {
  if (r.shape != Shape::TwoLevel && r.shape != Shape::ThreeLevel) return 0;
  const int scratch = r.shape == Shape::ThreeLevel ? (1 << r.sectionLog) : 0;
  return ((1 << r.order) + scratch) * sampleBytes;
}

}  // namespace zsp::wht

#endif  // ZSPGEN_WHT_RECIPES_H
