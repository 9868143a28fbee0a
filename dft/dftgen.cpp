// dftgen: writes the 252 complex DFT kernels and their operation counts.
//
//   dftgen <out-dir>            one source per length and precision, dft_<N>_<type>.cpp, holding the
//                               forward and the inverse kernel, and dft_counts.txt
//   dftgen --report             prints the count report only
//
// Every kernel is one straight body: the checks, the loads of all samples, the graph of its recipe,
// the scale literal on every output, the stores.
#include <quadmath.h>

#include <cmath>
#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>

#include "dft/dft_builders.h"
#include "dft/dft_recipes.h"
#include "gen/expr.h"
#include "gen/generated_file.h"

namespace {

using zsp::dft::KernelGraph;
using zspgen::dag::Counts;
using zspgen::dag::Type;

std::string partName(int32_t k) { return "x" + std::to_string(k); }

struct Emitted {
  std::string code;
  Counts counts;
  std::string recipe;
};

std::string kernelName(int n, bool single, bool inverse) {
  return std::string("zspgDFT") + (inverse ? "Inv" : "Fwd") + "_CToC_" + std::to_string(n) + (single ? "_32fc" : "_64fc");
}

Emitted emitKernel(int n, bool single, bool inverse) {
  const std::unique_ptr<KernelGraph> k = zsp::dft::buildKernel(n, single, inverse);
  const Type type = single ? Type::F32 : Type::F64;
  const char* t = zspgen::dag::typeName(type);
  const char* sample = single ? "Zsp32fc" : "Zsp64fc";
  // 1/N rounds once from the exact value. 1/sqrt(N) in double is the value of double arithmetic, the
  // square root and the quotient each rounded (0x1.279a74590331dp-1, 0.5773502691896258, for N = 3); in
  // single precision that is the same as rounding once from the exact value.
  const __float128 invN = 1.0Q / n;
  const __float128 invSqrtN = single ? 1.0Q / sqrtq(static_cast<__float128>(n)) : 1.0 / std::sqrt(static_cast<double>(n));
  const zspgen::dag::ScalarCode body = zspgen::dag::emitScalar(k->g, k->outputs, "  ", partName);
  Emitted e;
  e.recipe = k->recipe;
  e.counts = zspgen::dag::countOperations(k->g, k->outputs);
  std::ostringstream s;
  s << "// " << kernelName(n, single, inverse) << ": recipe " << k->recipe << ", " << e.counts.adds
    << " additions, " << e.counts.muls << " multiplications\n";
  s << "extern \"C\" zspStatus x3_" << kernelName(n, single, inverse) << "(const " << sample << "* pSrc, "
    << sample << "* pDst, Zsp32s hint) {\n";
  s << "  " << t << " scale;\n";
  s << "  const zspStatus status = zsp::checkKernelArgs<zsp::ScaleRule::" << (inverse ? "Inverse" : "Forward")
    << ">(pSrc, pDst, hint, zsp::ScaleLiterals<" << t << ">{"
    << zspgen::dag::literal(static_cast<double>(single ? static_cast<float>(invN) : static_cast<double>(invN)), type)
    << ", "
    << zspgen::dag::literal(static_cast<double>(single ? static_cast<float>(invSqrtN) : static_cast<double>(invSqrtN)),
                            type)
    << "}, scale);\n";
  s << "  if (status != zspStsNoErr) return status;\n";
  for (int j = 0; j < 2 * n; ++j)
    s << "  const " << t << " " << partName(j) << " = zsp::dft::loadPart<" << t << ">(pSrc, " << j << ");\n";
  s << body.statements;
  for (int j = 0; j < 2 * n; ++j)
    s << "  zsp::dft::storePart<" << t << ">(pDst, " << j << ", " << body.outputs[static_cast<size_t>(j)]
      << " * scale);\n";
  s << "  return zspStsNoErr;\n}\n\n";
  e.code = s.str();
  return e;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: dftgen <out-dir> | --report\n";
    return 2;
  }
  const std::string out = argv[1];
  const bool reportOnly = out == "--report";
  const std::string command = zspgen::commandLine(argc, argv);
  std::ostringstream report;
  report << "# length precision direction additions multiplications recipe\n";
  for (int n = zsp::dft::kFirstLength; n <= zsp::dft::kLastLength; ++n) {
    for (bool single : {true, false}) {
      const Emitted fwd = emitKernel(n, single, false), inv = emitKernel(n, single, true);
      for (const Emitted* e : {&fwd, &inv})
        report << n << (single ? " 32fc " : " 64fc ") << (e == &fwd ? "fwd " : "inv ") << e->counts.adds << " "
               << e->counts.muls << " " << e->recipe << "\n";
      if (reportOnly) continue;
      std::ostringstream summary;
      summary << "length " << n << (single ? ", single precision" : ", double precision") << ", recipe " << fwd.recipe
              << ": forward " << fwd.counts.adds << " additions " << fwd.counts.muls << " multiplications, inverse "
              << inv.counts.adds << " additions " << inv.counts.muls << " multiplications";
      const std::string body = "#include \"dft/dft_kernel.h\"\n#include \"zspgen_x3.h\"\n\n" + fwd.code + inv.code;
      const std::string path = out + "/dft_" + std::to_string(n) + (single ? "_32fc.cpp" : "_64fc.cpp");
      if (!zspgen::writeGeneratedFile(path, command, summary.str(), body)) {
        std::cerr << "dftgen: cannot write " << path << "\n";
        return 1;
      }
    }
  }
  if (reportOnly) {
    std::cout << report.str();
    return 0;
  }
  if (!zspgen::writeIfChanged(out + "/dft_counts.txt", report.str())) {
    std::cerr << "dftgen: cannot write the count report\n";
    return 1;
  }
  std::cout << report.str();
  return 0;
}
