// dftgen: writes the 252 complex DFT kernels and their operation counts.
//
//   dftgen <out-dir>            one source per length, precision and direction,
//                               dft_<N>_<type>_<fwd|inv>.cpp, with dft_counts.txt (the graph's operations)
//                               dft_packed_counts.txt (the instructions the kernels execute; for
//                               four-lane kernels also the shuffles at loads and stores and the moves
//                               to or from a high half) and
//                               dft_expected.txt (inputs and the bits each kernel's code computes from them)
//   dftgen --report             prints the count report only
//
// Every kernel is the checks and then one straight body: the loads of all samples, the graph of its
// recipe, the scale literal on every output, the stores. The body comes twice per route: without the
// scale for the hint that asks for none, with it for the others in functions of their own
// (x3_<kernel>_scaled, and x3_owng<kernel>_unaligned_scaled for a sibling route). The kernels whose
// registers the generator allocates itself have one body per route, which always scales.
#include <quadmath.h>

#include <cmath>
#include <cstdio>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <sstream>
#include <string>
#include <unordered_set>

#include "dft/dft_builders.h"
#include "dft/dft_recipes.h"
#include "gen/expr.h"
#include "gen/generated_file.h"
#include "gen/lanes4.h"
#include "gen/pair_registers.h"
#include "gen/pairs.h"
#include "gen/schedule.h"
#include "gen/single_rule.h"

namespace {

using zsp::dft::KernelGraph;
using zspgen::dag::Counts;
using zspgen::dag::Type;

std::string partName(int32_t k) { return "x" + std::to_string(k); }
std::string sampleName(int32_t k) { return "x" + std::to_string(k); }

struct Emitted {
  std::string code;
  std::vector<double> probe, probeOutputs;  // inputs in [-1, 1] and what the code computes from them
  Counts counts;
  zspgen::dag::PairCounts packed;  // the executed instructions, those of the body that scales
  // Four-lane kernels: of the shuffles, those at the loads and stores, and the 64-bit moves to or from a
  // high half, which take a shuffle port too.
  int borderShuffles = 0, highHalves = 0;
  std::string recipe;
  std::string shape;
};

std::string kernelName(int n, bool single, bool inverse) {
  return std::string("zspgDFT") + (inverse ? "Inv" : "Fwd") + "_CToC_" + std::to_string(n) + (single ? "_32fc" : "_64fc");
}

using zsp::dft::Lowering;
using zsp::dft::Routes;

// Two-lane bodies of more statements than this get registers from gen/pair_registers.h instead of the
// compiler: the Rader kernels of 47 and 59 points (3,640 and 3,108 statements; the next longest is 53
// with 2,022). The compiler's code for them is 35 and 31 KB, at and above the 32 KB instruction cache;
// the own allocation's was 29 and 26 KB when it came (28 and 25 KB now). Each kernel linked alone at
// eight starts 16 bytes apart (AMD EPYC), cycles per call, then:
//
//              compiler                               own allocation
//   47 fwd     2,180 to 2,195                         1,471 to 1,618
//   47 inv     2,164 to 2,175                         1,568 to 1,627
//   59 fwd     1,155 at 1 start, 1,610 to 1,790       1,172 to 1,206 at 6 starts, 1,373 to 1,394
//   59 inv     1,090 at 2 starts, 1,537 to 1,604      1,174 to 1,192 at 2 starts, 1,340 to 1,343
//
// Which start a kernel gets in the library moved with every change elsewhere, until kBodyLayouts fixed
// it. On the bodies that fit the cache the own allocation is no faster than the compiler's.
constexpr size_t kOwnRegistersAbove = 3000;

// How the aligned route's body of each such kernel is laid out: which of the scheduler's orders
// (zspgen::localityOrders, by index) it takes, and where its first instruction lies within a 64-byte
// line. These bodies are bound by the front end, and on AMD EPYC (Zen 4 class) each order and start
// runs at one of two speeds 15 to 20% apart; moving a body by 1,024 or 2,048 bytes changes nothing, and
// the orders' instruction counts differ by less than 1% between the fast and the slow ones. The layouts
// below were fast when measured with bench/body_layouts.py, which times every order at every start;
// any change to these bodies can move the fast layouts, so that script is run again after one. In the
// library they take 1.38 to 1.44 cycles per bound cycle (bench/dft_report.py), where before
// swapBeforeProducts and this table they took 1.65, 1.66, 1.69 and 1.37 (47 fwd, 47 inv, 59 fwd, 59
// inv). A further effect lies below the layout: one layout timed fast (312 ns) from one compile ran
// slow (377 ns) from another of the same source. The table makes the slow speed rarer; it cannot rule
// it out. Without a layout a body takes the order of fewest instructions and starts where the code
// before it ends; the any-address bodies always do.
struct BodyLayout {
  int order;
  int lineOffset;  // -1: no chosen start
};
struct TabledLayout {
  int n;
  bool inverse;
  BodyLayout layout;
};
constexpr TabledLayout kBodyLayouts[] = {
    {47, false, {1, 48}}, {47, true, {1, 0}}, {59, false, {1, 0}}, {59, true, {1, 0}}};

std::optional<BodyLayout> tabledLayout(int n, bool single, bool inverse) {
  if (single) return std::nullopt;
  for (const TabledLayout& t : kBodyLayouts)
    if (t.n == n && t.inverse == inverse) return t.layout;
  return std::nullopt;
}

constexpr const char* kPoolName = "kConstantPairs";

// The two-lane body in one of the scheduler's orders as the instructions of gen/pair_registers.h, or
// nothing if a statement has a form that back end does not take. `body` holds the loads of the n samples, the
// lowering's statements, the scale pair and the n stores, in that order.
std::optional<std::vector<zspgen::pairs_asm::Instruction>> pairInstructions(
    const std::vector<zspgen::Statement>& body, const std::vector<size_t>& order, const zspgen::dag::PairCode& paired,
    int n) {
  using zspgen::pairs_asm::Instruction;
  const size_t firstStore = body.size() - static_cast<size_t>(n);
  std::unordered_set<std::string> samples;
  for (int j = 0; j < n; ++j) samples.insert(body[static_cast<size_t>(j)].defines);
  std::vector<Instruction> out;
  for (size_t i : order) {
    const zspgen::Statement& st = body[i];
    if (i < static_cast<size_t>(n)) {
      out.push_back({Instruction::Load, st.defines, {}, 16 * static_cast<int>(i)});
    } else if (i >= firstStore) {
      const size_t j = i - firstStore;
      const std::string& v = paired.outputs[j];
      if (!paired.ops.count(v) && !samples.count(v)) return std::nullopt;  // an output that is an expression
      out.push_back({Instruction::Store, "", {zspgen::dag::PairOp::Add, v, ""}, 16 * static_cast<int>(j)});
    } else if (st.defines != "scalePair") {
      auto it = paired.ops.find(st.defines);
      if (it == paired.ops.end()) return std::nullopt;
      out.push_back({Instruction::Compute, st.defines, it->second, 0});
    }
  }
  return out;
}

// The body of a kernel, for either route: loads, the recipe's arithmetic, scale, stores. The body is a
// template over the route and the scale policy (zsp::ScaleBy or zsp::Unscaled), except where the
// generator allocates the registers itself: that body is one asm statement per route that always
// scales, and it holds the checks too (`ownRegisters` says which).
std::string bodyCode(int n, bool single, bool inverse, const KernelGraph& k, const std::optional<BodyLayout>& layout,
                     Emitted& e, bool& ownRegisters) {
  const Type type = single ? Type::F32 : Type::F64;
  const char* t = zspgen::dag::typeName(type);
  const char* sample = single ? "Zsp32fc" : "Zsp64fc";
  std::ostringstream s;
  ownRegisters = false;
  const Lowering lowering = zsp::dft::kernelRecipe(n, single).lowering;
  auto refuse = [&](const std::string& why) {
    throw std::runtime_error(kernelName(n, single, inverse) + ": " + why);
  };
  const bool scalarCode = lowering == Lowering::Scalar || lowering == Lowering::ScalarWidened;
  if (scalarCode != (zsp::dft::kernelRecipe(n, single).routes == Routes::OneRoute))
    refuse("scalar code takes one route, vector code two");
  if (lowering == Lowering::ScalarWidened && !single) refuse("widened products in a double-precision kernel");
  // The two-lane lowering must pair every value of the graph and keep to about half the graph's
  // additions, or the recipe table asks for the wrong lowering.
  zspgen::dag::PairCode paired;
  const bool twoWide = lowering == Lowering::Pairs;
  if (twoWide) {
    if (single) refuse("two lanes of double for a single-precision kernel");
    std::vector<std::pair<zspgen::dag::Ref, zspgen::dag::Ref>> pairs;
    for (int j = 0; j < n; ++j) pairs.emplace_back(k.outputs[2 * j], k.outputs[2 * j + 1]);
    paired = zspgen::dag::emitPairs(k.g, pairs, sampleName);
    if (!paired.ok) refuse("the two-lane lowering met a node it has no form for");
    if (paired.counts.scalar != 0 || 2 * paired.counts.addsub > e.counts.adds + e.counts.adds / 10 + 2)
      refuse("the two-lane lowering leaves values unpaired");
  }
  ownRegisters = twoWide && 2 * static_cast<size_t>(n) + 1 + paired.body.size() > kOwnRegistersAbove;
  if (ownRegisters) {
    zspgen::dag::swapBeforeProducts(paired);
    s << "template <class Access>\nZSP_DFT_INLINE zspStatus run(const " << sample << "* pSrc, " << sample
      << "* pDst, Zsp32s hint) {\n";
    s << zspgen::kernelChecks(inverse ? "Inverse" : "Forward", n, single);
  } else {
    s << "template <class Access, class Scale>\nZSP_DFT_INLINE void body(const " << sample << "* pSrc, " << sample
      << "* pDst, Scale scale) {\n";
  }
  // Four lanes in split form. Cooley-Tukey and chirp recipes read and write neighbouring samples in
  // pairs; the index maps of Good-Thomas and Rader recipes scatter them, so those move each sample alone.
  zspgen::lanes4::Code lanes;
  bool contiguous = false;
  if (lowering == Lowering::Lanes4) {
    if (!single) refuse("four lanes of single for a double-precision kernel");
    zspgen::lanes4::Trace trace;
    const std::unique_ptr<KernelGraph> traced = zsp::dft::buildKernel(n, single, inverse, &trace);
    const zsp::dft::Recipe::Kind kind = zsp::dft::parseRecipe(k.recipe, n).kind;
    contiguous = kind == zsp::dft::Recipe::CooleyTukey || kind == zsp::dft::Recipe::Bluestein;
    lanes = zspgen::lanes4::emit(traced->g, trace, traced->outputs, n, contiguous);
    if (!lanes.ok) refuse("the four-lane lowering met a node it has no form for");
    e.probeOutputs = zspgen::lanes4::evaluate(traced->g, trace, lanes, traced->outputs, e.probe);
  }
  // The two-lane and scalar code compute the graph itself.
  if (!lanes.ok) e.probeOutputs = zspgen::dag::evaluate(k.g, k.outputs, e.probe);
  std::vector<zspgen::Statement> body;
  if (lanes.ok) {
    s << "  const float* src = reinterpret_cast<const float*>(pSrc);\n";
    s << "  float* dst = reinterpret_cast<float*>(pDst);\n";
    body = lanes.body;
    e.packed = {};
    e.packed.addsub = lanes.counts.addsub;
    e.packed.mul = lanes.counts.mul;
    e.packed.shuffle = lanes.counts.shuffle;
    e.packed.flip = lanes.counts.flip;
    e.borderShuffles = lanes.counts.borderShuffle;
    e.highHalves = lanes.counts.highHalf;
    e.shape = "4-wide";
  } else if (twoWide) {
    s << "  const double* src = reinterpret_cast<const double*>(pSrc);\n";
    s << "  double* dst = reinterpret_cast<double*>(pDst);\n";
    for (int j = 0; j < n; ++j)
      body.push_back({zspgen::Statement::Load, sampleName(j),
                      "const __m128d " + sampleName(j) + " = Access::load(src + " + std::to_string(2 * j) + ");", {}});
    body.insert(body.end(), paired.body.begin(), paired.body.end());
    // The own allocation orders its instructions from these statements, the scale pair among them.
    if (ownRegisters)
      body.push_back({zspgen::Statement::Compute, "scalePair", "const __m128d scalePair = _mm_set1_pd(scale);", {}});
    for (int j = 0; j < n; ++j) {
      std::vector<std::string> uses = paired.outputUses[static_cast<size_t>(j)];
      if (ownRegisters) uses.push_back("scalePair");
      body.push_back({zspgen::Statement::Store, "",
                      "Access::store(dst + " + std::to_string(2 * j) + ", scale(" +
                          paired.outputs[static_cast<size_t>(j)] + "));",
                      uses});
    }
    e.packed = paired.counts;
    e.packed.mul += n;
    e.shape = "2-wide";
    if (ownRegisters) {
      // Of the scheduler's orders, the one for which this allocation writes the fewest instructions
      // (the scheduler's own choice counts spills under a simpler model): 1% fewer at 47 and 59.
      namespace pa = zspgen::pairs_asm;
      struct Candidate {
        std::vector<pa::Instruction> instructions;
        pa::Pool pool;
        pa::Allocation aligned;
      };
      std::optional<Candidate> best;
      const std::vector<std::vector<size_t>> orders = zspgen::localityOrders(body);
      for (size_t i = 0; i < orders.size(); ++i) {
        if (layout && static_cast<size_t>(layout->order) != i) continue;
        std::optional<std::vector<pa::Instruction>> instructions = pairInstructions(body, orders[i], paired, n);
        if (!instructions) break;
        pa::Pool pool = pa::poolOf(*instructions);
        pa::Allocation aligned = pa::allocate(*instructions, pool, pa::Route::Aligned);
        if (!best || aligned.lines.size() < best->aligned.lines.size())
          best = Candidate{std::move(*instructions), std::move(pool), std::move(aligned)};
      }
      if (best) {
        s << "  const __m128d scalePair = _mm_set1_pd(scale);\n";
        s << "  if constexpr (Access::kAligned) {\n";
        s << pa::bodyText(best->aligned, kPoolName, "    ", layout ? layout->lineOffset : -1);
        s << "  } else {\n";
        s << pa::bodyText(pa::allocate(best->instructions, best->pool, pa::Route::AnyAddress), kPoolName, "    ");
        s << "  }\n  return zspStsNoErr;\n}\n";
        return pa::poolText(best->pool, kPoolName) + "\n" + s.str();
      }
      refuse("the own register allocation takes no order of this body");
    }
  } else {
    const zspgen::dag::ScalarCode scalar = zspgen::dag::emitScalar(k.g, k.outputs, "  ", partName);
    for (int j = 0; j < 2 * n; ++j)
      body.push_back({zspgen::Statement::Load, partName(j),
                      std::string("const ") + t + " " + partName(j) + " = zsp::dft::loadPart<" + t + ">(pSrc, " +
                          std::to_string(j) + ");",
                      {}});
    body.insert(body.end(), scalar.body.begin(), scalar.body.end());
    for (int j = 0; j < 2 * n; ++j)
      body.push_back({zspgen::Statement::Store, "",
                      std::string("zsp::dft::storePart<") + t + ">(pDst, " + std::to_string(j) + ", scale(" +
                          scalar.outputs[static_cast<size_t>(j)] + "));",
                      scalar.outputUses[static_cast<size_t>(j)]});
    e.packed = {};
    e.packed.addsub = e.counts.adds;
    e.packed.mul = e.counts.muls + 2 * n;
    e.shape = "scalar";
  }
  // Statements in the order of the data flow's stages, so that values stay in registers. The two-lane
  // double-precision kernels take the order cut by height: of the 75 kernels whose order this changes,
  // those from 16 samples took 0.97 of the time (geometric mean), the shorter ones 0.99, the 4-point
  // ones 0.92 (bench/compare_builds.py, AMD EPYC); the register model's choice was no better than a
  // fixed cut there, as in the real kernels. The single-precision kernels keep the model's, but for the
  // four-lane Cooley-Tukey and chirp bodies, which take the cut by height too. The four-lane kernels were
  // written in the lowering's own order before, the regroupings just before their first use: in the
  // model's order, with the latency filled, they take 0.967 (forward) and 0.969 (inverse) of the time
  // from 6 samples up, the lowering's order with the latency filled 0.973, the order cut by height 0.976;
  // but of the 42 Cooley-Tukey and chirp ones the cut by height takes 0.953, the model's 0.968, and
  // against the model's, measured again, 0.981 (both directions; same measure).
  s << zspgen::scheduledText(body, "  ", single && !contiguous ? zspgen::OrderChoice::FewestSpills : zspgen::OrderChoice::ByHeight);
  s << "}\n";
  return s.str();
}

Emitted emitKernel(int n, bool single, bool inverse, const std::optional<BodyLayout>& layout) {
  const std::unique_ptr<KernelGraph> k = zsp::dft::buildKernel(n, single, inverse);
  Emitted e;
  e.probe = zspgen::dag::probeInputs(2 * n, static_cast<uint64_t>(4 * n + 2 * inverse + single), single);
  e.recipe = k->recipe;
  e.counts = zspgen::dag::countOperations(k->g, k->outputs);
  bool ownRegisters = false;
  const std::string body = bodyCode(n, single, inverse, *k, layout, e, ownRegisters);
  const std::string name = kernelName(n, single, inverse);
  const std::string sibling = "x3_owng" + name.substr(4) + "_unaligned";
  const std::string sample = single ? "Zsp32fc" : "Zsp64fc";
  const char* t = single ? "float" : "double";
  const std::string params = "(const " + sample + "* pSrc, " + sample + "* pDst, Zsp32s hint)";
  const std::string misalignedTest = "!zsp::isAligned16(pSrc) || !zsp::isAligned16(pDst)";
  const std::string misaligned = "if (" + misalignedTest + ") ";
  const std::string misalignedRare = "if (__builtin_expect(" + misalignedTest + ", 0)) ";
  const Routes routes = zsp::dft::kernelRecipe(n, single).routes;
  std::ostringstream s;
  s << "namespace {\n\n" << body << "\n}  // namespace\n\n";
  s << "// " << name << ": recipe " << k->recipe << ", " << e.counts.adds << " additions, " << e.counts.muls
    << " multiplications; " << e.shape << ", " << e.packed.addsub << " additions and " << e.packed.mul
    << " multiplications executed\n";
  if (ownRegisters) {
    // One body per route, which scales always.
    if (routes != Routes::Sibling) throw std::runtime_error(name + ": the own register allocation takes a sibling route");
    s << "extern \"C\" __attribute__((noinline)) zspStatus " << sibling << params
      << " {\n  return run<zsp::dft::Unaligned>(pSrc, pDst, hint);\n}\n\n";
    s << "extern \"C\" zspStatus x3_" << name << params << " {\n  " << misaligned << "return " << sibling
      << "(pSrc, pDst, hint);\n  return run<zsp::dft::Aligned>(pSrc, pDst, hint);\n}\n";
    e.code = s.str();
    return e;
  }
  // The scaled bodies are functions of their own: the aligned route (or the only one, or both where the
  // kernel holds both) and the unaligned sibling. Without the scale, the sibling is a function of its own
  // and the rest stands in the kernel.
  const std::string bodyParams = "(const " + sample + "* pSrc, " + sample + "* pDst";
  auto route = [&](const char* access, const std::string& policy) {
    return std::string("body<zsp::dft::") + access + ">(pSrc, pDst, " + policy + ");";
  };
  const std::string scaled = std::string("zsp::ScaleBy<") + t + ">{scale}", unscaled = "zsp::Unscaled{}";
  s << "extern \"C\" {\n";
  s << "ZSP_BODY_FUNCTION zspStatus x3_" << name << "_scaled" << bodyParams << ", " << t << " scale) {\n";
  if (routes == Routes::BothInOne)
    s << "  " << misalignedRare << route("Unaligned", scaled) << "\n  else " << route("Aligned", scaled) << "\n";
  else
    s << "  " << route("Aligned", scaled) << "\n";
  s << "  return zspStsNoErr;\n}\n";
  if (routes == Routes::Sibling) {
    s << "ZSP_BODY_FUNCTION zspStatus " << sibling << "_scaled" << bodyParams << ", " << t << " scale) {\n  "
      << route("Unaligned", scaled) << "\n  return zspStsNoErr;\n}\n";
    s << "ZSP_BODY_FUNCTION zspStatus " << sibling << "_unscaled" << bodyParams << ") {\n  "
      << route("Unaligned", unscaled) << "\n  return zspStsNoErr;\n}\n";
  }
  // The kernel: the checks, then the body of the hint's scale and of the route.
  s << "zspStatus x3_" << name << params << " {\n";
  s << zspgen::kernelChecks(inverse ? "Inverse" : "Forward", n, single);
  s << "  if (hint != ZSP_NODIV_BY_ANY) {\n";
  if (routes == Routes::Sibling) s << "    " << misaligned << "return " << sibling << "_scaled(pSrc, pDst, scale);\n";
  s << "    return x3_" << name << "_scaled(pSrc, pDst, scale);\n  }\n";
  switch (routes) {
    case Routes::OneRoute: s << "  " << route("Aligned", unscaled) << "\n"; break;
    // The aligned route falls through to its arithmetic, without a taken branch in front of it (the
    // 4-point double kernel: 13 cycles to 11).
    case Routes::BothInOne:
      s << "  " << misalignedRare << route("Unaligned", unscaled) << "\n  else " << route("Aligned", unscaled) << "\n";
      break;
    case Routes::Sibling:
      s << "  " << misaligned << "return " << sibling << "_unscaled(pSrc, pDst);\n  " << route("Aligned", unscaled) << "\n";
      break;
  }
  s << "  return zspStsNoErr;\n}\n}\n";
  e.code = s.str();
  return e;
}

}  // namespace

constexpr const char* kIncludes = "#include \"dft/dft_kernel.h\"\n#include \"zspgen_x3.h\"\n\n";

// `dftgen --layout N fwd|inv ORDER START`: the source of one double-precision kernel whose registers the
// generator allocates, with that layout of its aligned body, on standard output (bench/body_layouts.py).
int writeWithLayout(char** argv) {
  const int n = std::stoi(argv[2]);
  const std::string direction = argv[3];
  const BodyLayout layout{std::stoi(argv[4]), std::stoi(argv[5])};
  if (n < zsp::dft::kFirstLength || n > zsp::dft::kLastLength || (direction != "fwd" && direction != "inv") ||
      layout.order < 0 || layout.lineOffset < -1 || layout.lineOffset > 63)
    throw std::runtime_error("--layout: no such kernel or layout");
  const Emitted e = emitKernel(n, false, direction == "inv", layout);
  if (e.code.find("__asm__") == std::string::npos)
    throw std::runtime_error("--layout: the compiler allocates the registers of this kernel");
  std::cout << kIncludes << e.code;
  return 0;
}

int generate(int argc, char** argv) {
  if (argc == 6 && std::string(argv[1]) == "--layout") return writeWithLayout(argv);
  if (argc != 2) {
    std::cerr << "usage: dftgen <out-dir> | --report | --layout N fwd|inv ORDER START\n";
    return 2;
  }
  const std::string out = argv[1];
  const bool reportOnly = out == "--report";
  zspgen::GeneratedTree tree(out, zspgen::commandLine(argc, argv));
  std::ostringstream report, packed, expected;
  report << "# length precision direction additions multiplications recipe\n";
  packed << "# length precision direction shape packed-add-sub packed-mul shuffles sign-flips scalar-ops "
            "border-shuffles high-half-moves\n";
  expected << "# length precision direction, 2N input parts, 2N output parts under ZSP_NODIV_BY_ANY\n";
  for (int n = zsp::dft::kFirstLength; n <= zsp::dft::kLastLength; ++n) {
    for (bool single : {true, false}) {
      for (bool inverse : {false, true}) {
        const Emitted e = emitKernel(n, single, inverse, tabledLayout(n, single, inverse));
        const std::string tail = std::to_string(n) + (single ? " 32fc " : " 64fc ") + (inverse ? "inv " : "fwd ");
        report << tail << e.counts.adds << " " << e.counts.muls << " " << e.recipe << "\n";
        packed << tail << e.shape << " " << e.packed.addsub << " " << e.packed.mul << " " << e.packed.shuffle << " "
               << e.packed.flip << " " << e.packed.scalar << " " << e.borderShuffles << " " << e.highHalves << "\n";
        if (reportOnly) continue;
        // The probe: what the compiled kernel must give under ZSP_NODIV_BY_ANY, bit for bit.
        expected << n << (single ? " 32fc " : " 64fc ") << (inverse ? "inv" : "fwd");
        for (double v : e.probe) expected << " " << zspgen::hexLiteral(v);
        for (double v : e.probeOutputs) expected << " " << zspgen::hexLiteral(v);
        expected << "\n";
        const std::string summary = kernelName(n, single, inverse) + ", recipe " + e.recipe + ": " +
                                    std::to_string(e.counts.adds) + " additions " + std::to_string(e.counts.muls) +
                                    " multiplications";
        const std::string body = kIncludes + e.code;
        const std::string name = "dft_" + std::to_string(n) + (single ? "_32fc" : "_64fc") +
                                 (inverse ? "_inv.cpp" : "_fwd.cpp");
        if (!tree.source(name, summary, body)) {
          std::cerr << "dftgen: cannot write " << name << "\n";
          return 1;
        }
      }
    }
  }
  if (reportOnly) {
    std::cout << report.str() << packed.str();
    return 0;
  }
  if (!tree.file("dft_counts.txt", report.str()) || !tree.file("dft_packed_counts.txt", packed.str()) ||
      !tree.file("dft_expected.txt", expected.str())) {
    std::cerr << "dftgen: cannot write the count report\n";
    return 1;
  }
  if (!tree.matchesBuildList("dftgen")) return 1;
  std::cout << report.str();
  return 0;
}

// A lowering that meets a node it has no form for stops the generation.
int main(int argc, char** argv) {
  try {
    return generate(argc, argv);
  } catch (const std::exception& failure) {
    std::cerr << "dftgen: " << failure.what() << "\n";
    return 1;
  }
}
