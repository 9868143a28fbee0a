#include "real/real_builders.h"

#include <quadmath.h>

#include <sstream>
#include <stdexcept>

#include "real/real_recipes.h"

#include "gen/modular.h"

namespace zsp::real {

namespace {

using zspgen::modInverse;
using zspgen::powMod;
using zspgen::primitiveRoot;
using Q = __float128;
using zspgen::dag::Node;
using zspgen::dag::Op;
using zspgen::dag::Type;

// ---- rules ------------------------------------------------------------------------------------------

Rule split(Rule::Kind kind, Rule a, Rule b) {
  Rule r{kind, a.n * b.n};
  r.parts = {std::move(a), std::move(b)};
  return r;
}

bool isPrime(int n) {
  for (int d = 2; d * d <= n; ++d)
    if (n % d == 0) return false;
  return n > 1;
}

// A factor inside a rule: a transform named by its length alone.
Rule factorRule(int n) {
  switch (n) {
    case 2: case 4: case 8: return Rule{Rule::Base, n};
    case 3: case 5: case 7: case 11: return Rule{Rule::Direct, n};
    case 9: return parseRule("3x3", 9);
    case 16: return parseRule("4x4", 16);
    case 32: return parseRule("8x4", 32);
    case 25: return parseRule("5x5", 25);
    case 27: return parseRule("9x3", 27);
    default: break;
  }
  if (isPrime(n) && n >= 13) return parseRule(ruleOf(n), n);
  throw std::runtime_error("no rule for a factor of " + std::to_string(n));
}

// "5:3:2" or "8x4": factors joined by one separator, nested to the right.
Rule parseProduct(const std::string& text) {
  const char sep = text.find('x') != std::string::npos ? 'x' : ':';
  std::vector<Rule> terms;
  std::stringstream s(text);
  for (std::string t; std::getline(s, t, sep);) terms.push_back(factorRule(std::stoi(t)));
  Rule r = terms.back();
  for (size_t k = terms.size() - 1; k-- > 0;)
    r = split(sep == 'x' ? Rule::CooleyTukey : Rule::GoodThomas, terms[k], r);
  return r;
}

// ---- constants and complex steps ----------------------------------------------------------------------

Q snap(Q v) { return fabsq(v) < 1e-25Q ? 0.0Q : v; }
Q cosTurn(long e, long n) { return snap(cosq(2 * M_PIq * static_cast<Q>(e % n) / static_cast<Q>(n))); }
Q sinTurn(long e, long n) { return snap(sinq(2 * M_PIq * static_cast<Q>(e % n) / static_cast<Q>(n))); }

Cx conj(Graph& g, Cx y) { return {y.r, g.neg(y.i)}; }

// Marks values that end a stage (see Graph::markStageValue), and passes them on.
Cx stage(Graph& g, Cx y) {
  g.markStageValue(y.r);
  g.markStageValue(y.i);
  return y;
}
std::vector<Cx> stage(Graph& g, std::vector<Cx> ys) {
  for (Cx& y : ys) stage(g, y);
  return ys;
}

// y * (cr + i ci) for a constant: 4 multiplications and 2 additions, fewer where a part is 0.
Cx timesConstant(Graph& g, Cx y, Q cr, Q ci) {
  return {g.sub(g.mul(y.r, cr), g.mul(y.i, ci)), g.add(g.mul(y.r, ci), g.mul(y.i, cr))};
}

// y * exp(-2 pi i e / n). Quarter turns are swaps and sign changes; odd eighths take the sum and the
// difference of the parts times cos(pi/4): 2 multiplications and 2 additions.
Cx twiddleOf(Graph& g, Cx y, long e, long n) {
  e %= n;
  if (e == 0) return y;
  if ((4 * e) % n == 0) {
    switch (4 * e / n) {
      case 1: return {y.i, g.neg(y.r)};
      case 2: return {g.neg(y.r), g.neg(y.i)};
      default: return {g.neg(y.i), y.r};
    }
  }
  if ((8 * e) % n == 0) {
    const Q cr = cosTurn(e, n), ci = -sinTurn(e, n), c = sqrtq(0.5Q);
    auto signed_ = [&](Ref v, Q sign) { return sign > 0 ? v : g.neg(v); };
    // (cr + i ci) = c (sr + i si): re = c (sr y.r - si y.i), im = c (si y.r + sr y.i).
    return {g.mul(g.add(signed_(y.r, cr), signed_(y.i, -ci)), c), g.mul(g.add(signed_(y.r, ci), signed_(y.i, cr)), c)};
  }
  return timesConstant(g, y, cosTurn(e, n), -sinTurn(e, n));
}

Cx twiddle(Graph& g, Cx y, long e, long n) { return stage(g, twiddleOf(g, y, e, n)); }

// Bin k of a real transform of length n from its half spectrum.
Cx bin(Graph& g, const std::vector<Cx>& half, int k, int n) {
  k %= n;
  return 2 * k <= n ? half[static_cast<size_t>(k)] : conj(g, half[static_cast<size_t>(n - k)]);
}

// All n bins of the DFT of complex `z`, as two real transforms of the same rule, combined.
std::vector<Cx> complexDft(Graph& g, const Rule& rule, const std::vector<Cx>& z) {
  std::vector<Ref> re, im;
  for (const Cx& v : z) {
    re.push_back(v.r);
    im.push_back(v.i);
  }
  const std::vector<Cx> a = realDft(g, rule, re), b = realDft(g, rule, im);
  const int n = rule.n;
  std::vector<Cx> out(static_cast<size_t>(n));
  for (int k = 0; k < n; ++k) {
    const Cx p = bin(g, a, k, n), q = bin(g, b, k, n);
    out[static_cast<size_t>(k)] = stage(g, Cx{g.sub(p.r, q.i), g.add(p.i, q.r)});
  }
  return out;
}

// Bins 0..m of the DFT over a second-stage input: real where every input is real.
std::vector<Cx> secondStage(Graph& g, const Rule& rule, const std::vector<Cx>& in, bool real) {
  if (!real) return complexDft(g, rule, in);
  std::vector<Ref> re;
  for (const Cx& v : in) re.push_back(v.r);
  const std::vector<Cx> half = realDft(g, rule, re);
  std::vector<Cx> out;
  for (int k = 0; k < rule.n; ++k) out.push_back(bin(g, half, k, rule.n));
  return out;
}

// ---- forms ------------------------------------------------------------------------------------------

std::vector<Cx> base(Graph& g, const std::vector<Ref>& x) {
  const Ref zero = g.zero(Type::F64);
  switch (x.size()) {
    case 2: return {{g.add(x[0], x[1]), zero}, {g.sub(x[0], x[1]), zero}};
    case 4: {
      const Ref a = g.add(x[0], x[2]), b = g.sub(x[0], x[2]), c = g.add(x[1], x[3]), d = g.sub(x[1], x[3]);
      return {{g.add(a, c), zero}, {b, g.neg(d)}, {g.sub(a, c), zero}};
    }
    default: {  // 8
      Ref a[4], b[4];
      for (int j = 0; j < 4; ++j) {
        a[j] = g.add(x[j], x[j + 4]);
        b[j] = g.sub(x[j], x[j + 4]);
      }
      const Q c = sqrtq(0.5Q);
      const Ref t1 = g.mul(b[1], c), t3 = g.mul(b[3], c), p = g.sub(t1, t3), q = g.add(t1, t3);
      const Ref s = g.add(a[0], a[2]), u = g.add(a[1], a[3]);
      return {{g.add(s, u), zero},
              {g.add(b[0], p), g.neg(g.add(q, b[2]))},
              {g.sub(a[0], a[2]), g.neg(g.sub(a[1], a[3]))},
              {g.sub(b[0], p), g.neg(g.sub(q, b[2]))},
              {g.sub(s, u), zero}};
    }
  }
}

// The symmetric form of an odd prime: no fast-convolution trick, 2 q^2 multiplications.
std::vector<Cx> direct(Graph& g, const std::vector<Ref>& x) {
  const int n = static_cast<int>(x.size()), q = (n - 1) / 2;
  std::vector<Ref> a(q + 1), b(q + 1);
  // The folds end a stage of their own: in the transposed network they are where the two sums of
  // products, of the cosines and of the sines, end.
  for (int j = 1; j <= q; ++j) {
    a[j] = g.add(x[j], x[n - j]);
    b[j] = g.sub(x[j], x[n - j]);
    stage(g, Cx{a[j], b[j]});
  }
  std::vector<Cx> y(q + 1);
  Ref sum = x[0];
  for (int j = 1; j <= q; ++j) sum = g.add(sum, a[j]);
  y[0] = {sum, g.zero(Type::F64)};
  for (int k = 1; k <= q; ++k) {
    Ref re = x[0], im = g.zero(Type::F64);
    for (int j = 1; j <= q; ++j) {
      re = g.add(re, g.mul(a[j], cosTurn(static_cast<long>(j) * k, n)));
      im = g.add(im, g.mul(b[j], sinTurn(static_cast<long>(j) * k, n)));
    }
    y[k] = {re, g.neg(im)};
  }
  return y;
}


// Good-Thomas a:b. The first stage runs b real a-point transforms on the cosets of stride b; the second
// stage runs, for each bin k1 <= a/2 of theirs, a b-point transform over the cosets: a real one where the
// bins are real, else a complex one. Bins above a/2 are the conjugates of their mirrors.
std::vector<Cx> goodThomas(Graph& g, const Rule& r, const std::vector<Ref>& x) {
  const int a = r.parts[0].n, b = r.parts[1].n, n = a * b;
  std::vector<std::vector<Cx>> y(b);
  for (int s = 0; s < b; ++s) {
    std::vector<Ref> in(a);
    for (int j = 0; j < a; ++j) in[j] = x[(b * j + a * s) % n];
    y[s] = realDft(g, r.parts[0], in);
  }
  std::vector<std::vector<Cx>> z(a / 2 + 1);
  for (int k1 = 0; 2 * k1 <= a; ++k1) {
    std::vector<Cx> in(b);
    for (int s = 0; s < b; ++s) in[s] = y[s][k1];
    z[k1] = secondStage(g, r.parts[1], in, k1 == 0 || 2 * k1 == a);
  }
  std::vector<Cx> out;
  for (int k = 0; 2 * k <= n; ++k) {
    const int k1 = k % a, k2 = k % b;
    out.push_back(2 * k1 <= a ? z[k1][k2] : conj(g, z[a - k1][(b - k2) % b]));
  }
  return out;
}

// Cooley-Tukey a x b. The first stage runs b real a-point transforms of x[j + b i]; bin k of the j-th is
// twiddled by exp(-2 pi i j k / N); the second stage runs a b-point transform over j for each k <= a/2.
std::vector<Cx> cooleyTukey(Graph& g, const Rule& r, const std::vector<Ref>& x) {
  const int a = r.parts[0].n, b = r.parts[1].n, n = a * b;
  std::vector<std::vector<Cx>> y(b);
  for (int j = 0; j < b; ++j) {
    std::vector<Ref> in(a);
    for (int i = 0; i < a; ++i) in[i] = x[j + b * i];
    y[j] = realDft(g, r.parts[0], in);
    for (int k = 1; 2 * k <= a; ++k) y[j][k] = twiddle(g, y[j][k], static_cast<long>(j) * k, n);
  }
  std::vector<std::vector<Cx>> z(a / 2 + 1);
  for (int k = 0; 2 * k <= a; ++k) {
    std::vector<Cx> in(b);
    for (int j = 0; j < b; ++j) in[j] = y[j][k];
    z[k] = secondStage(g, r.parts[1], in, k == 0);
  }
  std::vector<Cx> out;
  for (int K = 0; 2 * K <= n; ++K) {
    const int k = K % a, m = K / a;
    out.push_back(2 * k <= a ? z[k][m] : conj(g, z[a - k][b - 1 - m]));
  }
  return out;
}


// The transposed network of the real transform `rule`: for the spectrum values `seed` (bins 0..L/2, as
// they would come out of the transform), sum over k of Re(seed[k] exp(+2 pi i j k / L)) for every j.
// Built by running the forward network backwards: every sum becomes a fan-out and every fan-out a sum,
// multiplications keep their constants, so the counts stay those of the forward network.
std::vector<Ref> transposed(Graph& g, const Rule& rule, const std::vector<Cx>& seed) {
  const int len = rule.n;
  Graph f;
  f.foldProducts();
  f.shareDifferences();
  std::vector<Ref> in(static_cast<size_t>(len));
  for (int j = 0; j < len; ++j) in[j] = f.input(j, Type::F64);
  const std::vector<Cx> bins = realDft(f, rule, in);
  std::vector<Ref> roots;
  std::vector<Ref> adjoint(f.size(), -1);
  auto accumulate = [&](Ref node, Ref v) {
    if (f.node(node).op == Op::Const || g.isZero(v)) return;
    Ref& slot = adjoint[static_cast<size_t>(node)];
    slot = slot < 0 ? v : g.add(slot, v);
  };
  for (size_t k = 0; k < bins.size(); ++k) {
    accumulate(bins[k].r, seed[k].r);
    accumulate(bins[k].i, seed[k].i);
    roots.push_back(bins[k].r);
    roots.push_back(bins[k].i);
  }
  const std::vector<Ref> live = zspgen::dag::liveNodes(f, roots);
  std::vector<Ref> out(static_cast<size_t>(len), g.zero(Type::F64));
  for (size_t i = live.size(); i-- > 0;) {
    const Ref r = live[i];
    const Ref v = adjoint[static_cast<size_t>(r)];
    if (v < 0) continue;
    const Node& n = f.node(r);
    if (f.isStageValue(r)) g.markStageValue(v);
    switch (n.op) {
      case Op::Input: out[static_cast<size_t>(n.input)] = v; break;
      case Op::Add: accumulate(n.a, v); accumulate(n.b, v); break;
      case Op::Sub: accumulate(n.a, v); accumulate(n.b, g.neg(v)); break;
      case Op::Neg: accumulate(n.a, g.neg(v)); break;
      case Op::Mul: accumulate(n.a, g.mul(v, n.exact)); break;
      default: throw std::runtime_error("transposed: unexpected node");
    }
  }
  return out;
}

// Rader scheme of a prime p over L = p-1. a[j] = x[g^j] runs through the L-point real transform A; the
// spectrum of d[t] = exp(-2 pi i g^-t / p), divided by L, multiplies it (B); x[0] joins the constant
// term. The convolution c = a * d has even-bin content in its real part and odd-bin content in its
// imaginary part, and c[j + L/2] = conj(c[j]); so the way back is the transposed network of A twice,
// once seeded with the even bins and once with the odd bins turned by -i, the doubled multipliers
// standing for the conjugate bins that are not formed. X[g^-j] = c[j] where g^-j <= L/2.
std::vector<Cx> rader(Graph& g, const Rule& r, const std::vector<Ref>& x) {
  const int p = r.n, len = p - 1, half = len / 2;
  const long root = primitiveRoot(p), rootInv = modInverse(root, p);
  std::vector<Ref> a(static_cast<size_t>(len));
  for (int j = 0; j < len; ++j) a[j] = x[static_cast<size_t>(powMod(root, j, p))];
  const std::vector<Cx> spectrum = realDft(g, r.parts[0], a);
  const Ref zero = g.zero(Type::F64);
  std::vector<Cx> even(static_cast<size_t>(half + 1), Cx{zero, zero}), odd = even;
  for (int m = 0; m <= half; ++m) {
    Q br = 0, bi = 0;
    for (int t = 0; t < len; ++t) {
      const long e = powMod(rootInv, t, p);
      const Q angle = -2 * M_PIq * (static_cast<Q>(e) / p + static_cast<Q>((static_cast<long>(t) * m) % len) / len);
      br += cosq(angle);
      bi += sinq(angle);
    }
    br = snap(br / len);
    bi = snap(bi / len);
    const Q twice = (m == 0 || m == half) ? 1 : 2;
    if (m % 2 == 0) {
      even[m] = timesConstant(g, spectrum[m], twice * br, twice * bi);
    } else {
      odd[m] = stage(g, timesConstant(g, spectrum[m], twice * bi, -twice * br));  // times -i B
    }
  }
  even[0].r = g.add(x[0], even[0].r);
  stage(g, even);
  const std::vector<Ref> re = transposed(g, r.parts[0], even), im = transposed(g, r.parts[0], odd);
  std::vector<Cx> out(static_cast<size_t>(half + 1));
  out[0] = {g.add(x[0], spectrum[0].r), zero};
  for (int j = 0; j < len; ++j) {
    const long q = powMod(rootInv, j, p);
    if (2 * q <= len) out[static_cast<size_t>(q)] = {re[j], im[j]};
  }
  return out;
}

}  // namespace


Rule parseRule(const std::string& text, int n) {
  Rule r;
  if (text == "base") {
    r = Rule{Rule::Base, n};
  } else if (text == "direct") {
    r = Rule{Rule::Direct, n};
  } else if (text.rfind("rader ", 0) == 0) {
    r = Rule{Rule::Rader, n};
    r.parts.push_back(parseProduct(text.substr(6)));
    if (r.parts[0].n != n - 1) throw std::runtime_error("rader rule " + text + " is not of length " + std::to_string(n - 1));
    return r;
  } else {
    r = parseProduct(text);
  }
  if (r.n != n) throw std::runtime_error("rule " + text + " is not of length " + std::to_string(n));
  return r;
}

std::vector<Cx> realDft(Graph& g, const Rule& rule, const std::vector<Ref>& x) {
  std::vector<Cx> bins;
  switch (rule.kind) {
    case Rule::Base: bins = base(g, x); break;
    case Rule::Direct: bins = direct(g, x); break;
    case Rule::GoodThomas: bins = goodThomas(g, rule, x); break;
    case Rule::CooleyTukey: bins = cooleyTukey(g, rule, x); break;
    case Rule::Rader: bins = rader(g, rule, x); break;
  }
  return stage(g, bins);
}

namespace {

std::unique_ptr<RealKernel> newKernel(int n, const char* rule, std::vector<Ref>& in) {
  auto k = std::make_unique<RealKernel>();
  k->rule = rule;
  k->g.foldProducts();
  k->g.shareDifferences();
  for (int j = 0; j < n; ++j) in.push_back(k->g.input(j, Type::F64));
  return k;
}

}  // namespace

std::unique_ptr<RealKernel> buildForward(int n) {
  std::vector<Ref> x;
  auto k = newKernel(n, ruleOf(n), x);
  const std::vector<Cx> bins = realDft(k->g, parseRule(k->rule, n), x);
  k->outputs.push_back(bins[0].r);
  for (int j = 1; 2 * j < n; ++j) {
    k->outputs.push_back(bins[j].r);
    k->outputs.push_back(bins[j].i);
  }
  if (n % 2 == 0) k->outputs.push_back(bins[n / 2].r);
  return k;
}

std::unique_ptr<RealKernel> buildInverse(int n) {
  std::vector<Ref> y;
  auto k = newKernel(n, inverseRuleOf(n), y);
  Graph& g = k->g;
  const Ref zero = g.zero(Type::F64);
  std::vector<Cx> seed{{y[0], zero}};
  for (int j = 1; 2 * j < n; ++j) seed.push_back({g.mul(y[2 * j - 1], 2), g.mul(y[2 * j], 2)});
  if (n % 2 == 0) seed.push_back({y[n - 1], zero});
  k->outputs = transposed(g, parseRule(k->rule, n), seed);
  return k;
}

}  // namespace zsp::real

namespace zsp::real {

std::unique_ptr<RealKernel> buildHartley(int n) {
  const std::string line = hartleyRuleOf(n);
  const bool outputForm = line.rfind("output ", 0) == 0;
  const std::string rule = line.substr(line.find(' ') + 1);
  std::vector<Ref> x;
  auto k = newKernel(n, line.c_str(), x);
  Graph& g = k->g;
  const Ref zero = g.zero(Type::F64);
  const int m = (n - 1) / 2;
  if (outputForm) {
    const std::vector<Cx> bins = realDft(g, parseRule(rule, n), x);
    k->outputs.assign(static_cast<size_t>(n), zero);
    k->outputs[0] = bins[0].r;
    for (int j = 1; j <= m; ++j) {
      k->outputs[static_cast<size_t>(j)] = g.sub(bins[j].r, bins[j].i);
      k->outputs[static_cast<size_t>(n - j)] = g.add(bins[j].r, bins[j].i);
    }
    if (n % 2 == 0) k->outputs[static_cast<size_t>(n / 2)] = bins[n / 2].r;
  } else {
    std::vector<Cx> seed{{x[0], zero}};
    for (int j = 1; j <= m; ++j) seed.push_back({g.add(x[j], x[n - j]), g.neg(g.sub(x[j], x[n - j]))});
    if (n % 2 == 0) seed.push_back({x[n / 2], zero});
    k->outputs = transposed(g, parseRule(rule, n), seed);
  }
  return k;
}

}  // namespace zsp::real
