// The own register allocation of the largest two-lane kernels, run on bodies made at random: an
// interpreter executes the emitted instructions and must find the bits of the body's own arithmetic in
// the destination, at every route, in place too, with every access inside its buffer and every 16-byte
// operand on a 16-byte boundary.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "gen/pair_registers.h"

namespace {

namespace pa = zspgen::pairs_asm;
using zspgen::dag::PairOp;

struct Pair {
  double lo = 0, hi = 0;
};

// A body of `samples` loads, `steps` packed operations over far more live values than registers, and
// the stores, the last third of the operations running between them. Some samples are read only after
// the first store, as the source may be the destination by then.
std::vector<pa::Instruction> randomBody(int samples, int steps, uint32_t seed) {
  std::mt19937 rng(seed);
  std::vector<pa::Instruction> body;
  std::vector<std::string> live;
  for (int j = 0; j < samples; ++j) {
    body.push_back({pa::Instruction::Load, "x" + std::to_string(j), {}, 16 * j});
    live.push_back("x" + std::to_string(j));
  }
  const std::vector<std::string> late = {"x0", "x1"};  // kept for after the first store
  auto pick = [&] { return live[rng() % live.size()]; };
  int stored = 0;
  for (int k = 0; k < steps; ++k) {
    if (k > 2 * steps / 3 && stored < samples && rng() % 3 == 0) {
      body.push_back({pa::Instruction::Store, "", {PairOp::Add, k == steps - 1 ? late[0] : pick(), ""}, 16 * stored++});
      continue;
    }
    const int kind = static_cast<int>(rng() % 10);
    PairOp op{kind < 5 ? (kind < 2 ? PairOp::Add : kind < 4 ? PairOp::Sub : PairOp::AddSub)
              : kind < 7 ? PairOp::Mul : kind < 8 ? PairOp::Xor : PairOp::Swap,
              pick(), ""};
    if (op.kind == PairOp::Add || op.kind == PairOp::Sub || op.kind == PairOp::AddSub) op.b = pick();
    if (op.kind == PairOp::Mul) op.lo = 0.25 + (rng() % 8) / 16.0, op.hi = -0.75 + (rng() % 8) / 16.0;
    if (op.kind == PairOp::Xor) op.lo = rng() % 2 ? -0.0 : 0.0, op.hi = -0.0;
    if (stored > 0 && k % 7 == 0) op.a = late[k % 2];
    const std::string name = "v" + std::to_string(k);
    body.push_back({pa::Instruction::Compute, name, op, 0});
    live.push_back(name);
    if (live.size() > 48) live.erase(live.begin() + static_cast<long>(rng() % 40) + 2);
  }
  while (stored < samples) body.push_back({pa::Instruction::Store, "", {PairOp::Add, pick(), ""}, 16 * stored++});
  return body;
}

uint64_t bitsOf(double v) {
  uint64_t b;
  std::memcpy(&b, &v, sizeof b);
  return b;
}
double fromBits(uint64_t b) {
  double v;
  std::memcpy(&v, &b, sizeof v);
  return v;
}

Pair apply(const PairOp& op, Pair a, Pair b) {
  switch (op.kind) {
    case PairOp::Add: return {a.lo + b.lo, a.hi + b.hi};
    case PairOp::Sub: return {a.lo - b.lo, a.hi - b.hi};
    case PairOp::AddSub: return {a.lo - b.lo, a.hi + b.hi};
    case PairOp::Mul: return {a.lo * op.lo, a.hi * op.hi};
    case PairOp::Xor: return {fromBits(bitsOf(a.lo) ^ bitsOf(op.lo)), fromBits(bitsOf(a.hi) ^ bitsOf(op.hi))};
    case PairOp::Swap: return {a.hi, a.lo};
  }
  return {};
}

// What the body computes, statement by statement: the destination's pairs.
std::vector<Pair> evaluate(const std::vector<pa::Instruction>& body, const std::vector<Pair>& x, Pair scale) {
  std::map<std::string, Pair> value;
  std::vector<Pair> out(x.size());
  for (const pa::Instruction& in : body) {
    if (in.kind == pa::Instruction::Load) value[in.defines] = x[static_cast<size_t>(in.offset / 16)];
    if (in.kind == pa::Instruction::Compute)
      value[in.defines] = apply(in.op, value.at(in.op.a), in.op.b.empty() ? Pair{} : value.at(in.op.b));
    if (in.kind == pa::Instruction::Store) {
      const Pair v = value.at(in.op.a);
      out[static_cast<size_t>(in.offset / 16)] = {v.lo * scale.lo, v.hi * scale.hi};
    }
  }
  return out;
}

// Executes the emitted lines on buffers named as the asm statement's operands name them.
class Machine {
 public:
  struct Buffer {
    unsigned char* at;
    size_t size;
  };
  std::map<std::string, Buffer> buffers;  // src, dst, frame, pool, scale
  std::map<std::string, std::pair<std::string, long>> bases;  // operand name -> (buffer, offset)
  Pair xmm[16];
  std::vector<std::string> faults;

  void run(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) step(line);
  }

 private:
  unsigned char* address(const std::string& operand, size_t bytes, bool whole) {
    long disp = 0;
    std::string name = operand;
    if (operand[0] != '%') {
      const size_t paren = operand.find('(');
      disp = std::stol(operand.substr(0, paren));
      name = operand.substr(paren + 1, operand.size() - paren - 2);
    }
    name = name.substr(2, name.size() - 3);  // %[name]
    const auto [buffer, offset] = bases.count(name) ? bases.at(name) : std::make_pair(name, 0L);
    const Buffer& b = buffers.at(buffer);
    const long at = offset + disp;
    if (at < 0 || static_cast<size_t>(at) + bytes > b.size) faults.push_back("outside " + buffer + ": " + operand);
    if (whole && reinterpret_cast<uintptr_t>(b.at + at) % 16 != 0) faults.push_back("misaligned: " + operand);
    return b.at + at;
  }
  static bool isRegister(const std::string& o) { return o.rfind("%%xmm", 0) == 0; }
  static int number(const std::string& o) { return std::stoi(o.substr(5)); }
  Pair read(const std::string& o) {
    if (isRegister(o)) return xmm[number(o)];
    Pair p;
    std::memcpy(&p, address(o, 16, true), 16);
    return p;
  }

  void step(const std::string& line) {
    std::istringstream s(line);
    std::string op, a, b, c;
    s >> op >> a >> b >> c;
    if (!a.empty() && a.back() == ',') a.pop_back();
    if (!b.empty() && b.back() == ',') b.pop_back();
    if (op == "pshufd") {
      const Pair v = read(b);
      xmm[number(c)] = {v.hi, v.lo};
    } else if (op == "movaps" && !isRegister(b)) {
      std::memcpy(address(b, 16, true), &xmm[number(a)], 16);
    } else if (op == "movaps") {
      xmm[number(b)] = read(a);
    } else if (op == "movsd") {
      std::memcpy(&xmm[number(b)].lo, address(a, 8, false), 8);
      xmm[number(b)].hi = 0;
    } else if (op == "movhpd" && isRegister(b)) {
      std::memcpy(&xmm[number(b)].hi, address(a, 8, false), 8);
    } else if (op == "movhpd") {
      std::memcpy(address(b, 8, false), &xmm[number(a)].hi, 8);
    } else if (op == "movlpd") {
      std::memcpy(address(b, 8, false), &xmm[number(a)].lo, 8);
    } else {
      const std::map<std::string, PairOp::Kind> kinds = {{"addpd", PairOp::Add}, {"subpd", PairOp::Sub},
                                                         {"addsubpd", PairOp::AddSub}};
      Pair& d = xmm[number(b)];
      const Pair v = read(a);
      if (kinds.count(op)) d = apply({kinds.at(op), "", ""}, d, v);
      else if (op == "mulpd") d = {d.lo * v.lo, d.hi * v.hi};
      else if (op == "xorpd") d = apply({PairOp::Xor, "", "", v.lo, v.hi}, d, {});
      else faults.push_back("unknown instruction: " + line);
    }
  }
};

// Runs one route: source and destination apart or the same, 16-byte aligned or 8 bytes off.
std::vector<Pair> runRoute(const pa::Allocation& a, const pa::Pool& pool, const std::vector<Pair>& x, Pair scale,
                           bool inPlace, size_t misalign, std::vector<std::string>& faults) {
  const size_t bytes = 16 * x.size();
  std::vector<unsigned char> srcStore(bytes + 32), dstStore(bytes + 32), frame(16 * static_cast<size_t>(a.slots) + 16),
      poolStore(16 * pool.pairs.size() + 16);
  auto aligned = [&](std::vector<unsigned char>& v, size_t off) {
    return v.data() + (16 - reinterpret_cast<uintptr_t>(v.data()) % 16) % 16 + off;
  };
  unsigned char* src = aligned(srcStore, misalign);
  unsigned char* dst = inPlace ? src : aligned(dstStore, misalign);
  std::memcpy(src, x.data(), bytes);
  unsigned char* poolAt = aligned(poolStore, 0);
  for (size_t j = 0; j < pool.pairs.size(); ++j) std::memcpy(poolAt + 16 * j, &pool.pairs[j], 16);
  alignas(16) Pair scalePair = scale;
  Machine m;
  m.buffers = {{"src", {src, bytes}}, {"dst", {dst, bytes}}, {"frame", {aligned(frame, 0), 16 * static_cast<size_t>(a.slots)}},
               {"pool", {poolAt, 16 * pool.pairs.size()}}, {"scale", {reinterpret_cast<unsigned char*>(&scalePair), 16}}};
  for (int b = 0; b < a.frameBases; ++b) m.bases["f" + std::to_string(b)] = {"frame", 128 + 256 * b};
  for (int b = 0; b < a.poolBases; ++b) m.bases["c" + std::to_string(b)] = {"pool", 128 + 256 * b};
  m.run(a.lines);
  faults.insert(faults.end(), m.faults.begin(), m.faults.end());
  std::vector<Pair> out(x.size());
  std::memcpy(out.data(), dst, bytes);
  return out;
}

bool sameBits(const std::vector<Pair>& x, const std::vector<Pair>& y) {
  return x.size() == y.size() && std::memcmp(x.data(), y.data(), 16 * x.size()) == 0;
}

TEST(PairRegisters, RandomBodiesComputeTheirArithmeticAtEveryRouteAndPlace) {
  for (uint32_t seed = 1; seed <= 12; ++seed) {
    const int samples = 8 + static_cast<int>(seed % 5) * 9;
    const std::vector<pa::Instruction> body = randomBody(samples, 300 + 150 * static_cast<int>(seed % 4), seed);
    const pa::Pool pool = pa::poolOf(body);
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> u(-1, 1);
    std::vector<Pair> x(static_cast<size_t>(samples));
    for (Pair& p : x) p = {u(rng), u(rng)};
    const Pair scale = {0.125, 0.125};
    const std::vector<Pair> expect = evaluate(body, x, scale);
    const pa::Allocation aligned = pa::allocate(body, pool, pa::Route::Aligned);
    const pa::Allocation any = pa::allocate(body, pool, pa::Route::AnyAddress);
    EXPECT_GT(aligned.spills, 0) << "seed " << seed << ": the body should outrun the registers";
    for (bool inPlace : {false, true}) {
      std::vector<std::string> faults;
      EXPECT_TRUE(sameBits(runRoute(aligned, pool, x, scale, inPlace, 0, faults), expect)) << "seed " << seed;
      EXPECT_TRUE(sameBits(runRoute(any, pool, x, scale, inPlace, 8, faults), expect)) << "seed " << seed;
      EXPECT_TRUE(faults.empty()) << "seed " << seed << ": " << faults.front();
    }
  }
}

// The constants most used take the first places of the pool, within reach of one-byte displacements.
TEST(PairRegisters, PoolPutsTheMostUsedPairsFirst) {
  std::vector<pa::Instruction> body = {{pa::Instruction::Load, "x0", {}, 0}};
  const double factors[] = {0.5, 0.25, 0.25, 0.75, 0.25, 0.75};
  for (size_t k = 0; k < 6; ++k)
    body.push_back({pa::Instruction::Compute, "v" + std::to_string(k), {PairOp::Mul, "x0", "", factors[k], 1.0}, 0});
  const pa::Pool pool = pa::poolOf(body);
  ASSERT_EQ(pool.pairs.size(), 3u);
  EXPECT_EQ(pool.pairs[0].first, 0.25);
  EXPECT_EQ(pool.pairs[1].first, 0.75);
  EXPECT_EQ(pool.pairs[2].first, 0.5);
  EXPECT_EQ(pool.indexOf(0.75, 1.0), 1);
}

// A product read only by a swap becomes the swap of its operand times the swapped constants: every
// value keeps its bits, a product read elsewhere too or taken of a swap stays, and the allocation needs
// one instruction fewer where the operand lives on.
TEST(PairRegisters, SwapBeforeProductsKeepsTheBitsAndSavesTheCopy) {
  zspgen::dag::PairCode code;
  auto add = [&](const std::string& name, PairOp op) {
    std::vector<std::string> uses = {op.a};
    if (!op.b.empty()) uses.push_back(op.b);
    code.body.push_back({zspgen::Statement::Compute, name, "", uses});
    code.ops[name] = op;
  };
  add("v0", {PairOp::Mul, "x0", "", 0.5, -0.75});
  add("v1", {PairOp::Swap, "v0", ""});             // v0's only reader: rewritten
  add("v2", {PairOp::Mul, "x0", "", 0.25, 0.375});  // x0 lives on past v0
  add("v3", {PairOp::Add, "v1", "v2"});
  add("v4", {PairOp::Mul, "x0", "", 0.3, 0.6});
  add("v5", {PairOp::Swap, "v4", ""});  // v4 is read by v6 too: stays
  add("v6", {PairOp::Sub, "v4", "v3"});
  add("v7", {PairOp::Swap, "x0", ""});
  add("v8", {PairOp::Mul, "v7", "", 0.7, 0.9});
  add("v9", {PairOp::Swap, "v8", ""});  // a product of a swap: stays
  code.outputs = {"v3", "v5", "v6", "v9"};
  for (const std::string& o : code.outputs) code.outputUses.push_back({o});
  const zspgen::dag::PairCode before = code;
  zspgen::dag::swapBeforeProducts(code);

  EXPECT_EQ(code.ops.at("v0").kind, PairOp::Swap);
  EXPECT_EQ(code.ops.at("v1").kind, PairOp::Mul);
  EXPECT_EQ(code.ops.at("v4").kind, PairOp::Mul);
  EXPECT_EQ(code.ops.at("v8").kind, PairOp::Mul);
  auto instructions = [](const zspgen::dag::PairCode& c) {
    std::vector<pa::Instruction> body = {{pa::Instruction::Load, "x0", {}, 0}};
    for (const zspgen::Statement& st : c.body) body.push_back({pa::Instruction::Compute, st.defines, c.ops.at(st.defines), 0});
    for (size_t j = 0; j < c.outputs.size(); ++j)
      body.push_back({pa::Instruction::Store, "", {PairOp::Add, c.outputs[j], ""}, 16 * static_cast<int>(j)});
    return body;
  };
  const std::vector<pa::Instruction> was = instructions(before), is = instructions(code);
  const std::vector<Pair> x = {{0.1, -0.7}, {0, 0}, {0, 0}, {0, 0}};
  EXPECT_TRUE(sameBits(evaluate(was, x, {1, 1}), evaluate(is, x, {1, 1})));
  const pa::Allocation a = pa::allocate(was, pa::poolOf(was), pa::Route::Aligned);
  const pa::Allocation b = pa::allocate(is, pa::poolOf(is), pa::Route::Aligned);
  EXPECT_EQ(b.lines.size() + 1, a.lines.size());
}

}  // namespace
