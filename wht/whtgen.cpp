// whtgen: writes the straight-line bodies and the kernels of the Walsh-Hadamard family.
//
//   whtgen <out-dir>
//
// For each precision it writes wht_bodies_<type>.h (scalar, block and column bodies) and
// wht_kernels_<type>.cpp (the 13 fixed-order kernels and their _unaligned siblings), following the
// recipes of wht_recipes.h.
//
// A vector body keeps vector v, lane l = sample v*L + l. The stages of the lane bits run on transposed
// groups of L vectors (entry sweep); a second transpose brings the samples home (return sweep) and the
// remaining stages run between whole vectors. Every butterfly is (a + c, a - c) with a the lower position.
//
// Why this generator does not go through the expression graph and its lowerings: a Walsh-Hadamard body
// has no constants and no choice of form, and its order of operations is fixed stage by stage (lowest
// bit first), so there is nothing for the graph's simplification or for a scheduler to decide; the long
// orders run as passes over blocks in memory through a work buffer, which a straight-line graph of
// 2^13 values cannot express. What it shares with the other generators is the file writing and the
// export list's orders.
#include <quadmath.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "gen/generated_file.h"
#include "wht/wht_recipes.h"

namespace {

using zsp::wht::Recipe;
using zsp::wht::Shape;

struct Precision {
  const char* suffix;  // 32f, 64f
  const char* scalar;  // float, double
  const char* vec;     // __m128, __m128d
  const char* ops;     // intrinsic suffix: ps, pd
  int lanes;
  const Recipe* recipes;
};

const Precision kFloat{"32f", "float", "__m128", "ps", 4, zsp::wht::kRecipes32f};
const Precision kDouble{"64f", "double", "__m128d", "pd", 2, zsp::wht::kRecipes64f};

// SSA statements of one body: every value is a fresh const local.
class Body {
 public:
  Body(const Precision& p, const char* type) : p_(p), type_(type) {}
  std::string def(const std::string& expr) {
    const std::string name = "v" + std::to_string(next_++);
    text_ << "    const " << type_ << " " << name << " = " << expr << ";\n";
    return name;
  }
  void line(const std::string& statement) { text_ << "    " << statement << ";\n"; }
  std::string text() const { return text_.str(); }
  const Precision& precision() const { return p_; }

 private:
  const Precision& p_;
  const char* type_;
  int next_ = 0;
  std::ostringstream text_;
};

// One stage over the listed values: pairs (i, i + stride) with bit `stride` of i clear.
void stage(Body& b, std::vector<std::string>& v, const std::vector<size_t>& indices, size_t stride) {
  const Precision& p = b.precision();
  const std::string add = std::string("_mm_add_") + p.ops, sub = std::string("_mm_sub_") + p.ops;
  for (size_t i : indices) {
    if (i & stride) continue;
    const std::string a = v[i], c = v[i + stride];
    v[i] = b.def(add + "(" + a + ", " + c + ")");
    v[i + stride] = b.def(sub + "(" + a + ", " + c + ")");
  }
}

// Transposes every group of L consecutive vectors among the listed ones (4x4 from interleaves and half
// moves, or 2x2 from interleaves).
void transposeGroups(Body& b, std::vector<std::string>& v, const std::vector<size_t>& indices) {
  if (b.precision().lanes == 2) {
    for (size_t k = 0; k < indices.size(); k += 2) {
      const size_t g = indices[k];
      const std::string x = v[g], y = v[g + 1];
      v[g] = b.def("_mm_unpacklo_pd(" + x + ", " + y + ")");
      v[g + 1] = b.def("_mm_unpackhi_pd(" + x + ", " + y + ")");
    }
    return;
  }
  for (size_t k = 0; k < indices.size(); k += 4) {
    const size_t g = indices[k];
    const std::string t0 = b.def("_mm_unpacklo_ps(" + v[g] + ", " + v[g + 1] + ")");
    const std::string t1 = b.def("_mm_unpacklo_ps(" + v[g + 2] + ", " + v[g + 3] + ")");
    const std::string t2 = b.def("_mm_unpackhi_ps(" + v[g] + ", " + v[g + 1] + ")");
    const std::string t3 = b.def("_mm_unpackhi_ps(" + v[g + 2] + ", " + v[g + 3] + ")");
    v[g] = b.def("_mm_movelh_ps(" + t0 + ", " + t1 + ")");
    v[g + 1] = b.def("_mm_movehl_ps(" + t1 + ", " + t0 + ")");
    v[g + 2] = b.def("_mm_movelh_ps(" + t2 + ", " + t3 + ")");
    v[g + 3] = b.def("_mm_movehl_ps(" + t3 + ", " + t2 + ")");
  }
}

// The stages of a network over 2^vectorBits vectors, emitted in an order that keeps few values live:
// first, group by group of up to 8 consecutive vectors, every stage that stays inside the group (for a
// block body that begins with the lane stages between the two transposing sweeps); then, column by column
// across the groups, the remaining stages, each column stored as soon as it is done. Each butterfly takes
// the same operands as in the plain stage order, so the results are the same bits, and all loads still
// come before the first store.
void emitNetwork(Body& b, int vectorBits, bool laneStages, const std::string& loadAt) {
  const size_t vectors = size_t{1} << vectorBits;
  const int groupBits = vectorBits < 3 ? vectorBits : 3;
  const size_t group = size_t{1} << groupBits;
  const int laneBits = b.precision().lanes == 4 ? 2 : 1;
  std::vector<std::string> v(vectors);
  for (size_t g = 0; g < vectors; g += group) {
    std::vector<size_t> members;
    for (size_t i = g; i < g + group; ++i) {
      members.push_back(i);
      v[i] = b.def("In::load(" + loadAt + "(" + std::to_string(i) + "))");
    }
    if (laneStages) {
      transposeGroups(b, v, members);  // entry sweep: lane bits become vector-index bits
      for (int bit = 0; bit < laneBits; ++bit) stage(b, v, members, size_t{1} << bit);
      transposeGroups(b, v, members);  // return sweep: samples back in their natural places
    }
    for (int bit = 0; bit < groupBits; ++bit) stage(b, v, members, size_t{1} << bit);
  }
  for (size_t c = 0; c < group; ++c) {
    std::vector<size_t> column;
    for (size_t i = c; i < vectors; i += group) column.push_back(i);
    for (int bit = groupBits; bit < vectorBits; ++bit) stage(b, v, column, size_t{1} << bit);
    for (size_t i : column) b.line("put(" + std::to_string(i) + ", " + v[i] + ")");
  }
}

// The store of one finished vector, multiplied by the scale only in the pass that ends the transform.
std::string putLambda(const Precision& p, const std::string& address) {
  return std::string("    const auto put = [&](std::ptrdiff_t i, ") + p.vec +
         " x) __attribute__((always_inline)) {\n      if constexpr (scaled) x = _mm_mul_" + p.ops +
         "(x, s);\n      Out::store(" + address + ", x);\n    };\n";
}

std::string scalarBody(const Precision& p, int order) {
  const int n = 1 << order;
  Body b(p, p.scalar);
  std::vector<std::string> v;
  for (int i = 0; i < n; ++i) v.push_back(b.def("loadTyped(in, " + std::to_string(i) + ")"));
  for (int bit = 0; bit < order; ++bit) {
    for (size_t i = 0; i < v.size(); ++i) {
      if (i & (1u << bit)) continue;
      const std::string a = v[i], c = v[i + (1u << bit)];
      v[i] = b.def(a + " + " + c);
      v[i + (1u << bit)] = b.def(a + " - " + c);
    }
  }
  for (int i = 0; i < n; ++i) b.line("storeTyped(out, " + std::to_string(i) + ", " + v[i] + " * s)");
  std::ostringstream o;
  o << "template <> struct ScalarBody<" << order << ", " << p.scalar << "> {\n"
    << "  static ZSP_INLINE void run(const " << p.scalar << "* in, " << p.scalar << "* out, " << p.scalar
    << " s) {\n"
    << b.text() << "  }\n};\n\n";
  return o.str();
}

std::string blockBody(const Precision& p, int log2Size) {
  const int laneBits = p.lanes == 4 ? 2 : 1;
  Body b(p, p.vec);
  emitNetwork(b, log2Size - laneBits, true, "ZSP_IN");
  std::ostringstream o;
  o << "template <> struct BlockBody<" << log2Size << ", " << p.scalar << "> {\n"
    << "  template <class In, class Out, bool scaled>\n"
    << "  static ZSP_INLINE void run(const " << p.scalar << "* in, " << p.scalar << "* out, " << p.vec << " s) {\n"
    << "    (void)s;\n" << putLambda(p, "out + i * " + std::to_string(p.lanes))
    << "#define ZSP_IN(i) (in + (i) * " << p.lanes << ")\n" << b.text() << "#undef ZSP_IN\n  }\n};\n\n";
  return o.str();
}

std::string columnBody(const Precision& p, int log2Height) {
  Body b(p, p.vec);
  emitNetwork(b, log2Height, false, "ZSP_IN");
  std::ostringstream o;
  o << "template <> struct ColumnBody<" << log2Height << ", " << p.scalar << "> {\n"
    << "  template <class In, class Out, bool scaled>\n"
    << "  static ZSP_INLINE void run(const " << p.scalar << "* in, std::ptrdiff_t inStride, " << p.scalar
    << "* out, std::ptrdiff_t outStride, " << p.vec << " s) {\n"
    << "    (void)s;\n" << putLambda(p, "out + i * outStride")
    << "#define ZSP_IN(j) (in + (j) * inStride)\n" << b.text() << "#undef ZSP_IN\n  }\n};\n\n";
  return o.str();
}

// The kernel's two scale literals, 1/N and 1/sqrt(N), each rounded once from the exact value.
std::string literals(const Precision& p, int order) {
  const __float128 invN = 1 / (__float128)(1 << order);
  const __float128 invSqrtN = 1 / sqrtq((__float128)(1 << order));
  if (p.lanes == 4)
    return "{" + zspgen::hexLiteral((float)invN) + ", " + zspgen::hexLiteral((float)invSqrtN) + "}";
  return "{" + zspgen::hexLiteral((double)invN) + ", " + zspgen::hexLiteral((double)invSqrtN) + "}";
}

std::string kernels(const Precision& p) {
  std::ostringstream o;
  for (int k = 0; k < zsp::wht::kOrders; ++k) {
    const Recipe& r = p.recipes[k];
    const std::string name = std::string("zspgWHT_") + std::to_string(r.order) + "_" + p.suffix;
    const std::string params = std::string("(const Zsp") + p.suffix + "* pSrc, Zsp" + p.suffix +
                               "* pDst, Zsp32s hint, Zsp8u* pBuffer)";
    const std::string lit = "ScaleLiterals<" + std::string(p.scalar) + ">" + literals(p, r.order);
    const std::string tmpl = "<" + std::to_string(r.order) + ", " + p.scalar;
    const std::string recipe = std::string("<kRecipes") + p.suffix + "[" + std::to_string(k) + "], " + p.scalar;
    const std::string misaligned = "if (!isAligned16(pSrc) || !isAligned16(pDst)) ";
    switch (r.shape) {
      case Shape::Scalar:
        o << "zspStatus x3_" << name << params << " {\n  (void)pBuffer;\n  return runScalar" << tmpl
          << ">(pSrc, pDst, hint, " << lit << ");\n}\n\n";
        break;
      case Shape::VectorBothRoutes:
        o << "zspStatus x3_" << name << params << " {\n  (void)pBuffer;\n  " << misaligned << "return runSinglePass"
          << tmpl << ", Unaligned>(pSrc, pDst, hint, " << lit << ");\n  return runSinglePass" << tmpl
          << ", Aligned>(pSrc, pDst, hint, " << lit << ");\n}\n\n";
        break;
      case Shape::Vector:
      case Shape::TwoLevel:
      case Shape::ThreeLevel: {
        const bool single = r.shape == Shape::Vector;
        const std::string call = single ? "runSinglePass" + tmpl : "runMultiPass" + recipe;
        const std::string args = single ? "(pSrc, pDst, hint, " + lit + ")" : "(pSrc, pDst, hint, pBuffer, " + lit + ")";
        o << "__attribute__((noinline)) zspStatus x3_owng" << name.substr(4) << "_unaligned" << params << " {\n"
          << (single ? "  (void)pBuffer;\n" : "") << "  return " << call << ", Unaligned>" << args << ";\n}\n\n"
          << "zspStatus x3_" << name << params << " {\n  " << misaligned << "return x3_owng" << name.substr(4)
          << "_unaligned(pSrc, pDst, hint, pBuffer);\n  return " << call << ", Aligned>" << args << ";\n}\n\n";
        break;
      }
    }
  }
  return o.str();
}

bool writePrecision(zspgen::GeneratedTree& tree, const Precision& p) {
  std::ostringstream bodies;
  bodies << "#pragma once\n#include \"wht/wht_kernel.h\"\n\nnamespace zsp::wht {\n\n";
  int count = 0;
  for (int k = 0; k < zsp::wht::kOrders; ++k)
    if (p.recipes[k].shape == Shape::Scalar) bodies << scalarBody(p, p.recipes[k].order), ++count;
  const int firstBlock = p.lanes == 4 ? 4 : 3;  // the smallest vector kernel: one group of L vectors of L lanes
  for (int log2Size = firstBlock; log2Size <= 7; ++log2Size) bodies << blockBody(p, log2Size), ++count;
  for (int log2Height = 3; log2Height <= 5; ++log2Height) bodies << columnBody(p, log2Height), ++count;
  bodies << "}  // namespace zsp::wht\n";

  std::ostringstream source;
  source << "#include \"wht_bodies_" << p.suffix << ".h\"\n#include \"zspgen_x3.h\"\n\n"
         << "using namespace zsp;\nusing namespace zsp::wht;\n\nextern \"C\" {\n\n"
         << kernels(p) << "}  // extern \"C\"\n";

  const std::string summary = std::to_string(count) + " bodies, " + std::to_string(zsp::wht::kOrders) + " kernels";
  return tree.source(std::string("wht_bodies_") + p.suffix + ".h", summary, bodies.str()) &&
         tree.source(std::string("wht_kernels_") + p.suffix + ".cpp", summary, source.str());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: whtgen <out-dir>\n");
    return 2;
  }
  zspgen::GeneratedTree tree(argv[1], zspgen::commandLine(argc, argv));
  if (!writePrecision(tree, kFloat) || !writePrecision(tree, kDouble)) {
    std::fprintf(stderr, "whtgen: cannot write into %s\n", argv[1]);
    return 1;
  }
  return tree.matchesBuildList("whtgen") ? 0 : 1;
}
