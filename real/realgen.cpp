// realgen: writes the forward real DFT kernels, three packed formats per length and precision, and their
// operation counts.
//
//   realgen <out-dir>     one source per length and precision, real_fwd_<N>_<32f|64f>.cpp, holding the
//                         CCS, Pack and Perm kernels, with real_counts.txt (the graph's operations) and
//                         real_expected.txt (per kernel an input and the values its graph gives, exactly)
//   realgen --check       prints, per length and precision, the counts and the largest difference of the
//                         graph's transform matrix from the exact DFT, evaluated in the kernels' arithmetic
//
// Every kernel is one straight scalar body: the checks, the loads of all N samples, the graph of the
// length's rule (lowered to the single-precision rule for _32f), the scale literal on every stored value,
// the stores in the format's positions. The three formats of one length and precision run one graph.
#include <cmath>
#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>

#include "gen/expr.h"
#include "gen/generated_file.h"
#include "gen/schedule.h"
#include "gen/single_rule.h"
#include "real/real_builders.h"
#include "real/real_recipes.h"

namespace {

using zspgen::dag::Counts;
using zspgen::dag::Graph;
using zspgen::dag::Ref;
using zspgen::dag::Type;

constexpr const char* kFormats[] = {"CCS", "Pack", "Perm"};

std::string inputName(int32_t k) { return "x" + std::to_string(k); }

std::string kernelName(const char* format, int n, bool single) {
  return std::string("zspgDFTFwd_RTo") + format + "_" + std::to_string(n) + (single ? "_32f" : "_64f");
}

// The graph a kernel runs: the exact graph in double, or its lowering to the single-precision rule.
struct KernelGraph {
  std::unique_ptr<zsp::real::RealKernel> exact;
  std::unique_ptr<zspgen::dag::Lowered> lowered;
  const Graph& graph() const { return lowered ? lowered->g : exact->g; }
  const std::vector<Ref>& outputs() const { return lowered ? lowered->outputs : exact->spectrum; }
};

KernelGraph buildKernel(int n, bool single) {
  KernelGraph k;
  k.exact = zsp::real::buildForward(n);
  if (single) k.lowered = zspgen::dag::lowerToSingleRule(k.exact->g, k.exact->spectrum);
  return k;
}

// One length and precision: the shared body as a template over the format, and the three kernels.
std::string kernelSource(int n, bool single, const KernelGraph& k, const Counts& counts) {
  const Graph& g = k.graph();
  const char* t = single ? "float" : "double";
  const zspgen::ScaleLiteralText literals = zspgen::scaleLiterals(n, single);
  const zspgen::dag::ScalarCode scalar = zspgen::dag::emitScalar(g, k.outputs(), "  ", inputName);
  std::vector<zspgen::Statement> body;
  for (int j = 0; j < n; ++j)
    body.push_back({zspgen::Statement::Load, inputName(j),
                    std::string("const ") + t + " " + inputName(j) + " = zsp::real::load(pSrc, " + std::to_string(j) + ");"});
  body.insert(body.end(), scalar.body.begin(), scalar.body.end());
  for (int i = 0; i < n; ++i) {
    const Ref out = k.outputs()[static_cast<size_t>(i)];
    const std::string& v = scalar.outputs[static_cast<size_t>(i)];
    // A value left in double (a dot product) is scaled in double and rounded once.
    const std::string scaled = g.node(out).type == Type::F64 && single
                                   ? "static_cast<float>(" + v + " * static_cast<double>(scale))"
                                   : v + " * scale";
    body.push_back({zspgen::Statement::Store, "",
                    "zsp::real::store<Format>(pDst, " + std::to_string(i) + ", " + scaled + ");"});
  }
  body.push_back({zspgen::Statement::Store, "", "Format::storeZeros(pDst);"});
  std::ostringstream s;
  s << "#include \"real/real_kernel.h\"\n#include \"zspgen_x3.h\"\n\nnamespace {\n\n";
  s << "template <class Format>\nZSP_REAL_INLINE zspStatus run(const " << t << "* pSrc, " << t
    << "* pDst, Zsp32s hint) {\n";
  s << "  " << t << " scale;\n";
  s << "  const zspStatus status = zsp::checkKernelArgs<zsp::ScaleRule::Forward>(pSrc, pDst, hint, zsp::ScaleLiterals<"
    << t << ">{" << literals.invN << ", " << literals.invSqrtN << "}, scale);\n";
  s << "  if (status != zspStsNoErr) return status;\n";
  s << zspgen::scheduledText(body, "  ");
  s << "  return zspStsNoErr;\n}\n\n}  // namespace\n";
  const std::string sample = single ? "Zsp32f" : "Zsp64f";
  for (const char* format : kFormats) {
    s << "\n// " << kernelName(format, n, single) << ": rule " << k.exact->rule << ", " << counts.adds
      << " additions, " << counts.muls << " multiplications\n";
    s << "extern \"C\" zspStatus x3_" << kernelName(format, n, single) << "(const " << sample << "* pSrc, " << sample
      << "* pDst, Zsp32s hint) {\n  return run<zsp::real::" << format << "<" << n << ">>(pSrc, pDst, hint);\n}\n";
  }
  return s.str();
}

// The largest difference between the kernel's transform matrix and the exact DFT, and the same on random
// inputs in [-1, 1] relative to N, in the arithmetic the kernel runs.
double matrixError(int n, const KernelGraph& k) {
  double worst = 0;
  for (int j = 0; j < n; ++j) {
    std::vector<double> x(static_cast<size_t>(n), 0.0);
    x[static_cast<size_t>(j)] = 1;
    const std::vector<double> y = zspgen::dag::evaluate(k.graph(), k.outputs(), x);
    std::vector<long double> exact;
    exact.push_back(1);
    for (int b = 1; 2 * b < n; ++b) {
      const long double angle = -2.0L * M_PIl * static_cast<long double>((static_cast<long>(b) * j) % n) / n;
      exact.push_back(cosl(angle));
      exact.push_back(sinl(angle));
    }
    if (n % 2 == 0) exact.push_back(j % 2 ? -1 : 1);
    for (size_t i = 0; i < y.size(); ++i) worst = std::max(worst, static_cast<double>(fabsl(y[i] - exact[i])));
  }
  return worst;
}

// One line per length and precision: N, the type, N inputs in [-1, 1] and the N spectrum values the
// kernel's graph computes from them in Pack order, all as hexadecimal literals. The compiled kernels must
// give these bits: the test of this file holds the emitted code, the compiler and its flags to the graph.
std::string expectedLine(int n, bool single, const KernelGraph& k) {
  uint64_t state = 0x9E3779B97F4A7C15ull * static_cast<uint64_t>(2 * n + single);
  std::vector<double> x;
  for (int j = 0; j < n; ++j) {
    state = state * 6364136223846793005ull + 1442695040888963407ull;
    const double v = static_cast<double>(state >> 11) / 9007199254740992.0 * 2 - 1;
    x.push_back(single ? static_cast<double>(static_cast<float>(v)) : v);
  }
  std::ostringstream s;
  s << n << " " << (single ? "32f" : "64f");
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
  const std::string command = zspgen::commandLine(argc, argv);
  std::ostringstream report, expected;
  report << "# length precision additions multiplications rule\n";
  expected << "# length precision, N inputs, N outputs in Pack order under ZSP_NODIV_BY_ANY\n";
  for (int n = zsp::real::kFirstLength; n <= zsp::real::kLastLength; ++n) {
    for (bool single : {true, false}) {
      const KernelGraph k = buildKernel(n, single);
      const Counts counts = zspgen::dag::countOperations(k.graph(), k.outputs());
      const std::string type = single ? "32f" : "64f";
      report << n << " " << type << " " << counts.adds << " " << counts.muls << " " << k.exact->rule << "\n";
      expected << expectedLine(n, single, k);
      if (check) {
        std::printf("%2d %s %5d %5d  matrix error %.3g  %s\n", n, type.c_str(), counts.adds, counts.muls,
                    matrixError(n, k), k.exact->rule.c_str());
        continue;
      }
      const std::string summary = "forward real DFT, length " + std::to_string(n) + ", " + type + ", rule " +
                                  k.exact->rule + ": " + std::to_string(counts.adds) + " additions " +
                                  std::to_string(counts.muls) + " multiplications";
      const std::string path = out + "/real_fwd_" + std::to_string(n) + "_" + type + ".cpp";
      if (!zspgen::writeGeneratedFile(path, command, summary, kernelSource(n, single, k, counts))) {
        std::cerr << "realgen: cannot write " << path << "\n";
        return 1;
      }
    }
  }
  if (!check && (!zspgen::writeIfChanged(out + "/real_counts.txt", report.str()) ||
                 !zspgen::writeIfChanged(out + "/real_expected.txt", expected.str()))) {
    std::cerr << "realgen: cannot write the count report\n";
    return 1;
  }
  return 0;
}
