#include "gen/pair_registers.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <queue>
#include <sstream>
#include <stdexcept>
#include <unordered_map>

#include "gen/expr.h"

namespace zspgen::pairs_asm {

namespace {

constexpr int kRegisters = 16;
// An operand in memory that is read again within this many instructions is loaded into a register; one
// read later than that is read by the instruction itself. Of 4, 10 and 20, 10 gave the 47-point kernel
// its shortest time.
constexpr int kSoon = 10;
// Base registers: each reaches sixteen 16-byte slots or constant pairs with one-byte displacements.
// Slots and pairs beyond the last group are reached from the first one with four-byte displacements.
constexpr int kGroup = 16;
constexpr int kMaxFrameBases = 4;
constexpr int kMaxPoolBases = 5;

constexpr int kFree = -1;
constexpr int kClaimed = -2;  // taken for the result of the instruction being written

std::string xmm(int r) { return "%%xmm" + std::to_string(r); }

std::vector<std::string> operandsOf(const Instruction& in) {
  if (in.kind == Instruction::Load) return {};
  if (in.kind == Instruction::Store) return {in.op.a};
  switch (in.op.kind) {
    case dag::PairOp::Add:
    case dag::PairOp::Sub:
    case dag::PairOp::AddSub: return {in.op.a, in.op.b};
    default: return {in.op.a};
  }
}

class Allocator {
 public:
  Allocator(const std::vector<Instruction>& body, const Pool& pool, Route route)
      : body_(body), pool_(pool), aligned_(route == Route::Aligned) {
    for (size_t i = 0; i < body.size(); ++i) {
      if (!body[i].defines.empty()) idOf(body[i].defines);
      if (body[i].kind == Instruction::Store && firstStore_ < 0) firstStore_ = static_cast<int>(i);
      for (const std::string& name : operandsOf(body[i])) {
        auto it = ids_.find(name);
        if (it == ids_.end()) throw std::logic_error("pair_registers: " + name + " is read before it is defined");
        std::vector<int>& u = uses_[static_cast<size_t>(it->second)];
        if (u.empty() || u.back() != static_cast<int>(i)) u.push_back(static_cast<int>(i));
      }
    }
    reg_.assign(kRegisters, kFree);
    where_.assign(uses_.size(), -1);
    home_.assign(uses_.size(), Home{});
  }

  Allocation run() {
    for (size_t i = 0; i < body_.size(); ++i) step(static_cast<int>(i));
    a_.slots = slots_;
    a_.frameBases = std::min(kMaxFrameBases, (slots_ + kGroup - 1) / kGroup);
    a_.poolBases = std::min(kMaxPoolBases, (static_cast<int>(pool_.pairs.size()) + kGroup - 1) / kGroup);
    return std::move(a_);
  }

 private:
  struct Home {
    enum Kind { None, Source, Slot } kind = None;
    int at = 0;  // byte offset in the source, or slot number
  };

  int idOf(const std::string& name) {
    auto [it, fresh] = ids_.emplace(name, static_cast<int>(uses_.size()));
    if (fresh) uses_.emplace_back();
    return it->second;
  }
  int id(const std::string& name) const { return ids_.at(name); }

  int nextUse(int v, int i) const {
    const std::vector<int>& u = uses_[static_cast<size_t>(v)];
    auto it = std::upper_bound(u.begin(), u.end(), i);
    return it == u.end() ? 1 << 30 : *it;
  }
  int lastUse(int v) const {
    const std::vector<int>& u = uses_[static_cast<size_t>(v)];
    return u.empty() ? -1 : u.back();
  }
  Home& home(int v) { return home_[static_cast<size_t>(v)]; }
  int& where(int v) { return where_[static_cast<size_t>(v)]; }

  // Held in memory that stays valid for all its uses: leaving the register costs nothing.
  bool clean(int v) {
    const Home& h = home(v);
    return h.kind == Home::Slot || (h.kind == Home::Source && lastUse(v) < firstStore_);
  }
  // The any-address route reads samples by halves, so only its stack slots serve as operands.
  bool readableInPlace(int v) { return aligned_ || home(v).kind != Home::Source; }

  std::string frameAddress(int slot) const {
    const int group = slot / kGroup;
    if (group < kMaxFrameBases) return std::to_string(16 * (slot % kGroup) - 128) + "(%[f" + std::to_string(group) + "])";
    return std::to_string(16 * slot - 128) + "(%[f0])";
  }
  std::string poolAddress(double lo, double hi) const {
    const int j = pool_.indexOf(lo, hi);
    const int group = j / kGroup;
    if (group < kMaxPoolBases) return std::to_string(16 * (j % kGroup) - 128) + "(%[c" + std::to_string(group) + "])";
    return std::to_string(16 * j - 128) + "(%[c0])";
  }
  std::string memory(int v) {
    const Home& h = home(v);
    if (h.kind == Home::Source) return std::to_string(h.at) + "(%[src])";
    return frameAddress(h.at);
  }

  void emit(const std::string& line) { a_.lines.push_back(line); }

  // A register for the instruction at `i`: a free one, else the one whose value is used furthest ahead
  // (a value already in memory first among equals), stored to a slot unless it is in memory already.
  int claim(int i, const std::vector<int>& keep) {
    for (int r = 0; r < kRegisters; ++r)
      if (reg_[static_cast<size_t>(r)] == kFree) {
        reg_[static_cast<size_t>(r)] = kClaimed;
        return r;
      }
    int best = -1;
    long bestKey = -1;
    for (int r = 0; r < kRegisters; ++r) {
      const int v = reg_[static_cast<size_t>(r)];
      if (v == kClaimed || std::find(keep.begin(), keep.end(), v) != keep.end()) continue;
      const long key = 2L * nextUse(v, i) + (clean(v) ? 1 : 0);
      if (key > bestKey) bestKey = key, best = r;
    }
    if (best < 0) throw std::logic_error("pair_registers: no register to free");
    const int v = reg_[static_cast<size_t>(best)];
    if (!clean(v)) {
      int slot;
      if (!freeSlots_.empty()) {
        slot = freeSlots_.top();
        freeSlots_.pop();
      } else {
        slot = slots_++;
      }
      home(v) = {Home::Slot, slot};
      emit("movaps " + xmm(best) + ", " + frameAddress(slot));
      ++a_.spills;
    }
    where(v) = -1;
    reg_[static_cast<size_t>(best)] = kClaimed;
    return best;
  }

  void bind(int v, int r) {
    reg_[static_cast<size_t>(r)] = v;
    where(v) = r;
  }

  void loadInto(int r, int v) {
    const Home& h = home(v);
    if (h.kind == Home::Source && !aligned_) {
      emit("movsd " + std::to_string(h.at) + "(%[src]), " + xmm(r));
      emit("movhpd " + std::to_string(h.at + 8) + "(%[src]), " + xmm(r));
    } else {
      emit("movaps " + memory(v) + ", " + xmm(r));
    }
  }

  // How the instruction at `i` reads `v`: its register, a register it is loaded into now, or memory.
  std::string operand(int v, int i, const std::vector<int>& keep) {
    if (where(v) >= 0) return xmm(where(v));
    if (nextUse(v, i) - i <= kSoon || !readableInPlace(v)) {
      const int r = claim(i, keep);
      loadInto(r, v);
      bind(v, r);
      return xmm(r);
    }
    return memory(v);
  }

  // A register that starts as a copy of `v`.
  int copyOf(int v, int i, const std::vector<int>& keep) {
    const int r = claim(i, keep);
    if (where(v) >= 0) {
      emit("movaps " + xmm(where(v)) + ", " + xmm(r));
    } else {
      loadInto(r, v);
    }
    return r;
  }

  void release(int i, const std::vector<int>& operands) {
    for (int v : operands) {
      if (lastUse(v) != i) continue;
      if (where(v) >= 0) {
        reg_[static_cast<size_t>(where(v))] = kFree;
        where(v) = -1;
      }
      if (home(v).kind == Home::Slot) freeSlots_.push(home(v).at);
      home(v) = {};
    }
  }

  bool dies(int v, int i) { return lastUse(v) == i && where(v) >= 0; }

  // Whether the addition at `i` takes its second operand first: where only that one is read for the last
  // time, so that the sum takes its register. The rule looks at uses, not at registers, so both routes
  // add in the same order and give the same bits, also where two NaNs meet (the first operand's comes out).
  bool takeSecondFirst(int i, int first, int second) const { return lastUse(first) != i && lastUse(second) == i; }

  // From the first store on, the source may be the destination: samples still needed leave it.
  void leaveSource(int i) {
    for (int v = 0; v < static_cast<int>(home_.size()); ++v) {
      if (home(v).kind != Home::Source) continue;
      if (where(v) < 0 && lastUse(v) >= i) {
        const int r = claim(i, {});
        loadInto(r, v);
        bind(v, r);
      }
      home(v) = {};
    }
  }

  void step(int i) {
    const Instruction& in = body_[static_cast<size_t>(i)];
    if (i == firstStore_) leaveSource(i);
    if (in.kind == Instruction::Load) {
      home(id(in.defines)) = {Home::Source, in.offset};
      return;
    }
    std::vector<int> ops;
    for (const std::string& name : operandsOf(in)) ops.push_back(id(name));
    const int x = ops[0];
    if (in.kind == Instruction::Store) {
      int r;
      if (dies(x, i)) {
        r = where(x);
        emit("mulpd %[scale], " + xmm(r));
      } else {
        r = claim(i, ops);
        emit("movaps %[scale], " + xmm(r));
        emit("mulpd " + operand(x, i, ops) + ", " + xmm(r));
      }
      if (aligned_) {
        emit("movaps " + xmm(r) + ", " + std::to_string(in.offset) + "(%[dst])");
      } else {
        emit("movlpd " + xmm(r) + ", " + std::to_string(in.offset) + "(%[dst])");
        emit("movhpd " + xmm(r) + ", " + std::to_string(in.offset + 8) + "(%[dst])");
      }
      release(i, ops);
      reg_[static_cast<size_t>(r)] = kFree;
      return;
    }
    const dag::PairOp& op = in.op;
    int r;
    switch (op.kind) {
      case dag::PairOp::Add:
      case dag::PairOp::Sub:
      case dag::PairOp::AddSub: {
        const char* name = op.kind == dag::PairOp::Add ? "addpd " : op.kind == dag::PairOp::Sub ? "subpd " : "addsubpd ";
        int first = x, second = ops[1];
        if (op.kind == dag::PairOp::Add && takeSecondFirst(i, first, second)) std::swap(first, second);
        r = dies(first, i) ? where(first) : copyOf(first, i, ops);
        emit(name + operand(second, i, ops) + ", " + xmm(r));
        break;
      }
      case dag::PairOp::Mul:
      case dag::PairOp::Xor: {
        // Multiplication and exclusive-or are exact in either order: the constant may come first.
        const std::string name = op.kind == dag::PairOp::Mul ? "mulpd " : "xorpd ";
        if (dies(x, i)) {
          r = where(x);
          emit(name + poolAddress(op.lo, op.hi) + ", " + xmm(r));
        } else {
          r = claim(i, ops);
          emit("movaps " + poolAddress(op.lo, op.hi) + ", " + xmm(r));
          emit(name + operand(x, i, ops) + ", " + xmm(r));
        }
        break;
      }
      case dag::PairOp::Swap: {
        std::string from;
        if (dies(x, i)) {
          r = where(x);
          from = xmm(r);
        } else {
          from = where(x) >= 0 || !readableInPlace(x) ? operand(x, i, ops) : memory(x);
          r = claim(i, ops);
        }
        emit("pshufd $0x4e, " + from + ", " + xmm(r));
        break;
      }
    }
    release(i, ops);
    const int d = id(in.defines);
    if (lastUse(d) >= 0) bind(d, r);
    else reg_[static_cast<size_t>(r)] = kFree;
  }

  const std::vector<Instruction>& body_;
  const Pool& pool_;
  const bool aligned_;
  int firstStore_ = -1;
  std::unordered_map<std::string, int> ids_;
  std::vector<std::vector<int>> uses_;  // per value, the instructions that read it, ascending
  std::vector<int> reg_;                // per register: the value it holds, kFree or kClaimed
  std::vector<int> where_;              // per value: its register, or -1
  std::vector<Home> home_;
  std::priority_queue<int, std::vector<int>, std::greater<int>> freeSlots_;  // lowest first: short displacements
  int slots_ = 0;
  Allocation a_;
};

}  // namespace

int Pool::indexOf(double lo, double hi) const {
  for (size_t j = 0; j < pairs.size(); ++j)
    if (std::memcmp(&pairs[j].first, &lo, sizeof lo) == 0 && std::memcmp(&pairs[j].second, &hi, sizeof hi) == 0)
      return static_cast<int>(j);
  throw std::logic_error("pair_registers: a constant pair outside the pool");
}

Pool poolOf(const std::vector<Instruction>& body) {
  std::map<std::pair<uint64_t, uint64_t>, std::pair<int, size_t>> seen;  // bits -> (uses, first seen)
  std::vector<std::pair<double, double>> order;
  for (const Instruction& in : body) {
    if (in.kind != Instruction::Compute || (in.op.kind != dag::PairOp::Mul && in.op.kind != dag::PairOp::Xor)) continue;
    uint64_t lo, hi;
    std::memcpy(&lo, &in.op.lo, sizeof lo);
    std::memcpy(&hi, &in.op.hi, sizeof hi);
    auto [it, fresh] = seen.emplace(std::make_pair(lo, hi), std::make_pair(0, order.size()));
    if (fresh) order.emplace_back(in.op.lo, in.op.hi);
    ++it->second.first;
  }
  std::vector<std::pair<int, size_t>> rank;  // (uses, index in order)
  for (const auto& [bits, count] : seen) rank.emplace_back(count.first, count.second);
  std::sort(rank.begin(), rank.end(), [](auto x, auto y) { return x.first != y.first ? x.first > y.first : x.second < y.second; });
  Pool p;
  for (const auto& [uses, j] : rank) p.pairs.push_back(order[j]);
  return p;
}

Allocation allocate(const std::vector<Instruction>& body, const Pool& pool, Route route) {
  return Allocator(body, pool, route).run();
}

std::string poolText(const Pool& pool, const std::string& name) {
  std::ostringstream s;
  s << "// The constant pairs of the body (low lane, high lane), most used first.\n";
  s << "alignas(16) const double " << name << "[] = {\n";
  for (const auto& [lo, hi] : pool.pairs)
    s << "    " << dag::literal(lo, dag::Type::F64) << ", " << dag::literal(hi, dag::Type::F64) << ",\n";
  s << "};\n";
  return s.str();
}

std::string bodyText(const Allocation& a, const std::string& poolName, const std::string& indent, int lineOffset) {
  std::ostringstream s;
  const std::string more = indent + "    ";
  // The address operands and what they hold. The six most used get the registers that need no REX
  // prefix, a byte less per instruction that addresses through them (the 59-point kernel: 26.0 to 25.6
  // KB).
  std::vector<std::pair<std::string, std::string>> bases = {{"src", "src"}, {"dst", "dst"}};
  if (a.slots > 0) {
    // Whole groups, so that every base register points into the array.
    s << indent << "alignas(16) double frame[" << 2 * std::max(a.slots, kGroup * a.frameBases) << "];\n";
    s << indent << "char* const frameBase = reinterpret_cast<char*>(frame) + 128;\n";
    for (int b = 0; b < a.frameBases; ++b)
      bases.emplace_back("f" + std::to_string(b), "frameBase" + (b ? " + " + std::to_string(256 * b) : std::string()));
  }
  if (a.poolBases > 0) {
    s << indent << "const char* const poolBase = reinterpret_cast<const char*>(" << poolName << ") + 128;\n";
    for (int b = 0; b < a.poolBases; ++b)
      bases.emplace_back("c" + std::to_string(b), "poolBase" + (b ? " + " + std::to_string(256 * b) : std::string()));
  }
  std::map<std::string, int> uses;
  for (const std::string& line : a.lines)
    for (const auto& [name, value] : bases)
      if (line.find("%[" + name + "]") != std::string::npos) ++uses[name];
  std::stable_sort(bases.begin(), bases.end(), [&](const auto& x, const auto& y) { return uses[x.first] > uses[y.first]; });
  const char* legacy[] = {"a", "c", "d", "b", "S", "D"};
  std::vector<std::string> inputs;
  for (size_t k = 0; k < bases.size(); ++k)
    inputs.push_back("[" + bases[k].first + "] \"" + (k < 6 ? legacy[k] : "r") + "\"(" + bases[k].second + ")");
  inputs.push_back("[scale] \"m\"(scalePair)");
  s << indent << "__asm__ volatile(\n";
  if (lineOffset >= 0) {
    if (lineOffset > 63) throw std::logic_error("pair_registers: a line offset beyond the 64-byte line");
    // Jumped to at the start of its line and run through, the padding leaves the body faster than a jump
    // to the body's own first instruction does (the 47-point forward kernel: 348 against 402 ns).
    s << more << "\"jmp 1f\\n\\t.p2align 6\\n\\t1:\\n\\t";
    if (lineOffset > 0) s << ".nops " << lineOffset << "\\n\\t";
    s << "\"\n";
  }
  for (const std::string& line : a.lines) s << more << "\"" << line << "\\n\\t\"\n";
  s << more << ":\n" << more << ":";
  for (size_t k = 0; k < inputs.size(); ++k) s << (k ? ", " : " ") << inputs[k];
  s << "\n" << more << ": \"memory\"";
  for (int r = 0; r < kRegisters; ++r) s << ", \"xmm" << r << "\"";
  s << ");\n";
  return s.str();
}

}  // namespace zspgen::pairs_asm
