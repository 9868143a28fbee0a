// realgen: writes the real DFT kernels, forward and inverse, three packed formats per length, precision
// and direction, and their operation counts.
//
//   realgen <out-dir>     one source per length, precision and direction, real_<fwd|inv>_<N>_<32f|64f>.cpp,
//                         holding the CCS, Pack and Perm kernels, with real_counts.txt (the graph's
//                         operations) and real_expected.txt (per kernel an input and the values its graph
//                         gives, exactly)
//   realgen --check       prints, per kernel, the counts and the largest difference of the graph's
//                         transform matrix from the exact one, evaluated in the kernels' arithmetic
//
// Every kernel is the checks and then one straight scalar body: the loads of all N inputs, the graph of
// the length's rule (lowered to the single-precision rule for _32f), the scale literal on every stored
// value, the stores. The body comes twice: without the scale in the kernel itself, for the hint that asks
// for none, and with it in a function of its own (x3_<kernel>_scaled) that the kernel jumps to under the
// other hints. The three formats of one kernel run one graph and differ in where the spectrum stands.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>

#include "gen/expr.h"
#include "gen/generated_file.h"
#include "gen/output_signs.h"
#include "gen/schedule.h"
#include "gen/single_rule.h"
#include "real/real_builders.h"
#include "real/real_recipes.h"

namespace {

using zspgen::dag::Graph;
using zspgen::dag::Ref;
using zspgen::dag::Type;

constexpr const char* kFormats[] = {"CCS", "Pack", "Perm"};

std::string inputName(int32_t k) { return "x" + std::to_string(k); }

// What the families differ in: names, the graph, which side a packed spectrum is on (the forward kernels
// store through the format, the inverse ones load through it, the Hartley kernels have none), the hint
// that divides.
struct Direction {
  enum Kind { Forward, Inverse, Hartley } kind;
  const char* tag;  // in file names and reports
  bool inverse() const { return kind == Inverse; }
  bool packed() const { return kind != Hartley; }
  const char* scaleRule() const { return kind == Forward ? "Forward" : kind == Inverse ? "Inverse" : "Symmetric"; }
  std::string name(const char* format, int n, bool single) const {
    const std::string tail = "_" + std::to_string(n) + (single ? "_32f" : "_64f");
    switch (kind) {
      case Forward: return std::string("zspgDFTFwd_RTo") + format + tail;
      case Inverse: return std::string("zspgDFTInv_") + format + "ToR" + tail;
      default: return "zspgHartley" + tail;
    }
  }
};
constexpr Direction kDirections[] = {{Direction::Forward, "fwd"}, {Direction::Inverse, "inv"}, {Direction::Hartley, "dht"}};

struct Counts {
  int adds = 0, muls = 0, doublings = 0;
  int conversions = 0;  // widenings and roundings between single and double; none in double precision
};

// Additions and multiplications that reach an output; doublings apart. The conversions are those of the
// graph and those of the scaling: an output left in double is rounded after its scale multiplication, for
// which the scale literal is widened once.
Counts countOf(const Graph& g, const std::vector<Ref>& outputs, bool single) {
  Counts c;
  for (Ref r : zspgen::dag::liveNodes(g, outputs)) {
    const zspgen::dag::Node& n = g.node(r);
    if (n.op == zspgen::dag::Op::Add || n.op == zspgen::dag::Op::Sub) ++c.adds;
    if (n.op == zspgen::dag::Op::Mul) ++(zspgen::dag::isDoubling(n) ? c.doublings : c.muls);
    if (n.op == zspgen::dag::Op::Widen || n.op == zspgen::dag::Op::Narrow) ++c.conversions;
  }
  if (!single) return c;
  const auto leftDouble = std::count_if(outputs.begin(), outputs.end(), [&](Ref r) { return g.node(r).type == Type::F64; });
  c.conversions += static_cast<int>(leftDouble) + (leftDouble > 0 ? 1 : 0);
  return c;
}

// The graph a kernel runs: the exact graph in double, or its lowering to the single-precision rule.
struct KernelGraph {
  std::unique_ptr<zsp::real::RealKernel> exact;
  std::unique_ptr<zspgen::dag::Lowered> lowered;
  const Graph& graph() const { return lowered ? lowered->g : exact->g; }
  const std::vector<Ref>& outputs() const { return lowered ? lowered->outputs : exact->outputs; }
};

KernelGraph buildKernel(const Direction& d, int n, bool single) {
  KernelGraph k;
  k.exact = d.kind == Direction::Forward   ? zsp::real::buildForward(n)
            : d.kind == Direction::Inverse ? zsp::real::buildInverse(n)
                                           : zsp::real::buildHartley(n);
  // An output that comes out negated costs a sign flip of its own in the body; most can be made by
  // operations that give the sign themselves (zspgen::dag::signsIntoOperations): 0.7 to 2.5% less time per
  // family (bench/compare_builds.py, AMD EPYC).
  {
    zspgen::dag::SignedGraph signed_ = zspgen::dag::signsIntoOperations(k.exact->g, k.exact->outputs);
    k.exact->g = std::move(signed_.g);
    k.exact->outputs = std::move(signed_.outputs);
  }
  // The Hartley kernels scale single values only: their outputs are rounded like stage values.
  if (single) k.lowered = zspgen::dag::lowerToSingleRule(k.exact->g, k.exact->outputs, d.kind == Direction::Hartley);
  return k;
}

// The order of a body's statements. From 16 samples on (ZSPGEN_REAL_SHRINK_FROM, which the build sets
// beside the flag), where gcc reorders the statements to shorten live ranges before it allocates, the
// double-precision kernels take less time in the order cut by height than in the one that the
// scheduler's register model says spills least: geometric mean 0.98 to 0.99 per family over lengths
// 16..64 (bench/compare_builds.py, AMD EPYC), the model's choice being no better than any fixed cut
// there. Below 16 samples the double-precision families took 1.00 to 1.015 of their time by height, the
// single-precision ones 0.995 to 1.001 at every length, so they keep the model's order.
zspgen::OrderChoice statementOrder(int n, bool single) {
  return !single && n >= ZSPGEN_REAL_SHRINK_FROM ? zspgen::OrderChoice::ByHeight : zspgen::OrderChoice::FewestSpills;
}

// One length, precision and direction: the shared body as a template over the format, and the three
// kernels. The format places the spectrum: the forward kernels store through it, the inverse ones load.
std::string kernelSource(const Direction& d, int n, bool single, const KernelGraph& k, const Counts& counts) {
  const Graph& g = k.graph();
  const char* t = single ? "float" : "double";
  const zspgen::dag::ScalarCode scalar = zspgen::dag::emitScalar(g, k.outputs(), "  ", inputName);
  std::vector<zspgen::Statement> body;
  for (int j = 0; j < n; ++j)
    body.push_back({zspgen::Statement::Load, inputName(j),
                    std::string("const ") + t + " " + inputName(j) + " = zsp::real::" +
                        (d.inverse() ? "load<Format>(pSrc, " : "loadAt(pSrc, ") + std::to_string(j) + ");",
                    {}});
  body.insert(body.end(), scalar.body.begin(), scalar.body.end());
  for (int i = 0; i < n; ++i) {
    const Ref out = k.outputs()[static_cast<size_t>(i)];
    const std::string& v = scalar.outputs[static_cast<size_t>(i)];
    // A value left in double (a dot product) is scaled in double and rounded once.
    const std::string scaled = g.node(out).type == Type::F64 && single ? "scale.rounded(" + v + ")" : "scale(" + v + ")";
    body.push_back({zspgen::Statement::Store, "",
                    std::string("zsp::real::") + (d.kind == Direction::Forward ? "store<Format>(pDst, " : "storeAt(pDst, ") +
                        std::to_string(i) + ", " + scaled + ");",
                    scalar.outputUses[static_cast<size_t>(i)]});
  }
  if (d.kind == Direction::Forward) body.push_back({zspgen::Statement::Store, "", "Format::storeZeros(pDst);", {}});
  std::ostringstream s;
  s << "#include \"real/real_kernel.h\"\n#include \"zspgen_x3.h\"\n\nnamespace {\n\n";
  s << "template <class Format, class Scale>\nZSP_REAL_INLINE void body(const " << t << "* pSrc, " << t
    << "* pDst, Scale scale) {\n";
  s << zspgen::scheduledText(body, "  ", statementOrder(n, single));
  s << "}\n\n}  // namespace\n";
  const std::string sample = single ? "Zsp32f" : "Zsp64f";
  for (const char* format : kFormats) {
    if (!d.packed() && format != kFormats[0]) break;  // one kernel, no format: the template takes any
    const std::string name = "x3_" + d.name(format, n, single);
    const std::string layout = std::string("zsp::real::") + format + "<" + std::to_string(n) + ">";
    s << "\n// " << d.name(format, n, single) << ": " << (d.inverse() ? "the transposed network of rule " : "rule ")
      << k.exact->rule << ", " << counts.adds << " additions, " << counts.muls << " multiplications, "
      << counts.doublings << " doublings\n";
    s << "extern \"C\" {\n";
    s << "ZSP_BODY_FUNCTION zspStatus " << name << "_scaled(const " << t << "* pSrc, " << t << "* pDst, " << t
      << " scale) {\n  body<" << layout << ">(pSrc, pDst, zsp::ScaleBy<" << t << ">{scale});\n"
      << "  return zspStsNoErr;\n}\n";
    s << "zspStatus " << name << "(const " << sample << "* pSrc, " << sample << "* pDst, Zsp32s hint) {\n";
    s << zspgen::kernelChecks(d.scaleRule(), n, single);
    s << "  if (hint != ZSP_NODIV_BY_ANY) return " << name << "_scaled(pSrc, pDst, scale);\n";
    s << "  body<" << layout << ">(pSrc, pDst, zsp::Unscaled{});\n";
    s << "  return zspStsNoErr;\n}\n}\n";
  }
  return s.str();
}

// Entry (value i of the spectrum in Pack order, sample j) of the exact forward matrix; the inverse
// matrix is its transpose with the values of the complex bins doubled; the Hartley matrix is cas.
long double forwardEntry(int n, int i, int j) {
  if (i == 0) return 1;
  if (n % 2 == 0 && i == n - 1) return j % 2 ? -1 : 1;
  const int b = (i + 1) / 2;
  const long double angle = -2.0L * M_PIl * static_cast<long double>((static_cast<long>(b) * j) % n) / n;
  return i % 2 ? cosl(angle) : sinl(angle);
}

// The largest difference between the kernel's matrix (its outputs for every unit input), computed in the
// arithmetic the kernel runs, and the exact one.
double matrixError(const Direction& d, int n, const KernelGraph& k) {
  double worst = 0;
  for (int j = 0; j < n; ++j) {
    std::vector<double> x(static_cast<size_t>(n), 0.0);
    x[static_cast<size_t>(j)] = 1;
    const std::vector<double> y = zspgen::dag::evaluate(k.graph(), k.outputs(), x);
    for (int i = 0; i < n; ++i) {
      const bool complexBin = j != 0 && !(n % 2 == 0 && j == n - 1);
      const long double cas = 2.0L * M_PIl * static_cast<long double>((static_cast<long>(i) * j) % n) / n;
      const long double exact = d.kind == Direction::Hartley ? cosl(cas) + sinl(cas)
                                : d.inverse()                ? forwardEntry(n, j, i) * (complexBin ? 2 : 1)
                                                             : forwardEntry(n, i, j);
      worst = std::max(worst, static_cast<double>(fabsl(y[static_cast<size_t>(i)] - exact)));
    }
  }
  return worst;
}

// One line per length and precision: N, the type, N inputs in [-1, 1] and the N spectrum values the
// kernel's graph computes from them in Pack order, all as hexadecimal literals. The compiled kernels must
// give these bits: the test of this file holds the emitted code, the compiler and its flags to the graph.
std::string expectedLine(const Direction& d, int n, bool single, const KernelGraph& k) {
  const std::vector<double> x = zspgen::dag::probeInputs(n, static_cast<uint64_t>(8 * n + 2 * d.kind + single), single);
  std::ostringstream s;
  s << d.tag << " " << n << " " << (single ? "32f" : "64f");
  for (double v : x) s << " " << zspgen::hexLiteral(v);
  for (double v : zspgen::dag::evaluate(k.graph(), k.outputs(), x)) s << " " << zspgen::hexLiteral(v);
  return s.str() + "\n";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: realgen <out-dir> | --check\n";
    return 2;
  }
  const std::string out = argv[1];
  const bool check = out == "--check";
  zspgen::GeneratedTree tree(out, zspgen::commandLine(argc, argv));
  std::ostringstream report, expected;
  report << "# direction length precision additions multiplications doublings conversions rule\n";
  expected << "# direction length precision, N inputs, N outputs under ZSP_NODIV_BY_ANY, spectra in Pack order\n";
  for (const Direction& d : kDirections) {
    for (int n = zsp::real::kFirstLength; n <= zsp::real::kLastLength; ++n) {
      for (bool single : {true, false}) {
        const KernelGraph k = buildKernel(d, n, single);
        const Counts counts = countOf(k.graph(), k.outputs(), single);
        const std::string type = single ? "32f" : "64f";
        report << d.tag << " " << n << " " << type << " " << counts.adds << " " << counts.muls << " "
               << counts.doublings << " " << counts.conversions << " " << k.exact->rule << "\n";
        expected << expectedLine(d, n, single, k);
        if (check) {
          std::printf("%s %2d %s %5d %5d %3d  matrix error %.3g  %s\n", d.tag, n, type.c_str(), counts.adds,
                      counts.muls, counts.doublings, matrixError(d, n, k), k.exact->rule.c_str());
          continue;
        }
        const std::string summary = std::string(d.kind == Direction::Forward ? "forward real DFT"
                                                : d.kind == Direction::Inverse ? "inverse real DFT"
                                                                               : "Hartley transform") + ", length " +
                                    std::to_string(n) + ", " + type + ", rule " + k.exact->rule + ": " +
                                    std::to_string(counts.adds) + " additions " + std::to_string(counts.muls) +
                                    " multiplications " + std::to_string(counts.doublings) + " doublings";
        const std::string name = std::string("real_") + d.tag + "_" + std::to_string(n) + "_" + type + ".cpp";
        if (!tree.source(name, summary, kernelSource(d, n, single, k, counts))) {
          std::cerr << "realgen: cannot write " << name << "\n";
          return 1;
        }
      }
    }
  }
  if (check) return 0;
  if (!tree.file("real_counts.txt", report.str()) || !tree.file("real_expected.txt", expected.str())) {
    std::cerr << "realgen: cannot write the count report\n";
    return 1;
  }
  if (!tree.matchesBuildList("realgen")) return 1;
  return 0;
}
