#include "dft/dft_builders.h"

#include <quadmath.h>

#include <numeric>
#include <sstream>
#include <stdexcept>

#include "dft/dft_recipes.h"

#include "gen/modular.h"

namespace zsp::dft {

namespace {

using zspgen::modInverse;
using zspgen::powMod;
using zspgen::primitiveRoot;
using Q = __float128;

// ---- parsing ----------------------------------------------------------------------------------------

Recipe factor(int n, char mark) {
  Recipe r{Recipe::Factor};
  r.n = n;
  r.mark = mark;
  return r;
}

Recipe split(Recipe::Kind kind, Recipe a, Recipe b) {
  Recipe r{kind};
  r.n = a.n * b.n;
  r.parts = {std::move(a), std::move(b)};
  return r;
}

Recipe parseTerm(const std::string& t) {
  size_t end = 0;
  const int n = std::stoi(t, &end);
  return factor(n, end < t.size() ? t[end] : 0);
}

// "3.5w.4" or "4x2x2": terms joined by one separator, nested to the right.
Recipe parseProduct(const std::string& text) {
  const char sep = text.find('x') != std::string::npos ? 'x' : '.';
  std::vector<Recipe> terms;
  std::stringstream s(text);
  for (std::string t; std::getline(s, t, sep);) terms.push_back(parseTerm(t));
  Recipe r = terms.back();
  for (size_t k = terms.size() - 1; k-- > 0;)
    r = split(sep == 'x' ? Recipe::CooleyTukey : Recipe::GoodThomas, terms[k], r);
  return r;
}

// Rader stages "2,2,3": runs of one prime make a power; coprime groups nest by Good-Thomas, the rest by
// Cooley-Tukey, first group on the longest stride.
Recipe parseStages(const std::string& text) {
  std::vector<Recipe> groups;
  std::stringstream s(text);
  int lastPrime = 0;
  for (std::string t; std::getline(s, t, ',');) {
    Recipe f = parseTerm(t);
    if (f.mark == 0 && f.n == lastPrime && !groups.empty() && groups.back().mark == 0) {
      groups.back().n *= f.n;
    } else {
      groups.push_back(f);
    }
    lastPrime = f.n;
  }
  Recipe r = groups.back();
  for (size_t k = groups.size() - 1; k-- > 0;) {
    const bool coprime = std::gcd(groups[k].n, r.n) == 1;
    r = split(coprime ? Recipe::GoodThomas : Recipe::CooleyTukey, groups[k], r);
  }
  return r;
}

// The inner form of a sub-transform named by its length: its line of kInnerForms, or else its own recipe.
Recipe innerRecipe(const Context& ctx, int n, char mark) {
  for (const InnerForm& f : kInnerForms)
    if (f.n == n && f.mark == mark) return parseRecipe(f.recipe, n);
  if (mark != 0) throw std::runtime_error("no inner form " + std::to_string(n) + mark);
  return parseRecipe(kernelRecipe(n, ctx.single).recipe, n);
}

// ---- complex arithmetic -----------------------------------------------------------------------------

// Every complex value made here is marked as such on the graph, so that a lowering which keeps a complex
// value in one register finds the parts that belong together.
Cx marked(Graph& g, Cx a) {
  g.markComplex(a.r, a.i);
  return a;
}

Cx cadd(Graph& g, Cx a, Cx b) { return marked(g, {g.add(a.r, b.r), g.add(a.i, b.i)}); }
Cx csub(Graph& g, Cx a, Cx b) { return marked(g, {g.sub(a.r, b.r), g.sub(a.i, b.i)}); }
Cx cscale(Graph& g, Cx a, Q c) { return marked(g, {g.mul(a.r, c), g.mul(a.i, c)}); }

// a * (c + i s): 4 multiplications and 2 additions, fewer where a part is 0 or 1.
Cx cmul(Graph& g, Cx a, Q c, Q s) {
  return marked(g, {g.sub(g.mul(a.r, c), g.mul(a.i, s)), g.add(g.mul(a.r, s), g.mul(a.i, c))});
}

// a * (+i) for sign +1, a * (-i) for sign -1.
Cx rotate(Graph& g, Cx a, int sign) { return sign > 0 ? Cx{g.neg(a.i), a.r} : Cx{a.i, g.neg(a.r)}; }

// ---- the trace of the structure (nothing happens without one) -------------------------------------

int openSite(Context& ctx) { return ctx.trace ? ctx.trace->openSite() : -1; }

int beginInstance(Context& ctx, int site, const std::vector<Cx>& in) {
  if (!ctx.trace) return -1;
  std::vector<Ref> parts;
  for (const Cx& v : in) {
    parts.push_back(v.r);
    parts.push_back(v.i);
  }
  return ctx.trace->beginInstance(site, std::move(parts), static_cast<Ref>(ctx.g.size()));
}

void endInstance(Context& ctx, int instance) {
  if (ctx.trace) ctx.trace->endInstance(instance, static_cast<Ref>(ctx.g.size()));
}

// The sub-transform `r` on `in`, recorded as one instance of `site`.
std::vector<Cx> instance(Context& ctx, int site, const Recipe& r, const std::vector<Cx>& in) {
  const int id = beginInstance(ctx, site, in);
  std::vector<Cx> out = build(ctx, r, in);
  endInstance(ctx, id);
  return out;
}

// in * (c + i s), made by `make` on the graph; where the structure is traced, the product is left to
// the lowering, which multiplies whole lanes at once, and its result is a value of its own (the graph's
// own nodes stay beside it, for lanes that all multiply by one constant).
template <class Make>
Cx product(Context& ctx, Cx in, Q c, Q s, Make make) {
  const Cx made = make();
  if (!ctx.trace) return made;
  if (c == 1 && s == 0) {
    ctx.trace->product(in.r, in.i, in.r, in.i, made.r, made.i, c, s);
    return in;
  }
  const int32_t k = zspgen::lanes4::kProductInputs + 2 * static_cast<int32_t>(ctx.trace->products.size());
  const Cx out{ctx.g.input(k, ctx.type), ctx.g.input(k + 1, ctx.type)};
  ctx.trace->product(in.r, in.i, out.r, out.i, made.r, made.i, c, s);
  return out;
}

Q snap(Q v) { return fabsq(v) < 1e-30Q ? 0.0Q : v; }
Q cosTurn(long e, long n) { return snap(cosq(2 * M_PIq * static_cast<Q>(e) / static_cast<Q>(n))); }
Q sinTurn(long e, long n) { return snap(sinq(2 * M_PIq * static_cast<Q>(e) / static_cast<Q>(n))); }

// a * exp(sign * 2*pi*i*e/n). Quarter turns are exact; odd eighths take the sum and difference of the
// two parts times sqrt(1/2) (2 multiplications, 2 additions).
Cx twiddleOf(Context& ctx, Cx a, long e, long n);

Cx twiddle(Context& ctx, Cx a, long e, long n) {
  return product(ctx, a, cosTurn(e % n, n), ctx.sign * sinTurn(e % n, n), [&] { return twiddleOf(ctx, a, e, n); });
}

Cx twiddleOf(Context& ctx, Cx a, long e, long n) {
  Graph& g = ctx.g;
  e %= n;
  if (e == 0) return a;
  if ((4 * e) % n == 0) {
    switch (4 * e / n) {
      case 1: return rotate(g, a, ctx.sign);
      case 2: return {g.neg(a.r), g.neg(a.i)};
      default: return rotate(g, a, -ctx.sign);
    }
  }
  if ((8 * e) % n == 0) {
    const long octant = 8 * e / n;  // 1, 3, 5 or 7
    const int c = (octant == 1 || octant == 7) ? 1 : -1;
    const int s = ((octant < 4) ? 1 : -1) * ctx.sign;
    auto signed_ = [&](Ref x, int k) { return k > 0 ? x : g.neg(x); };
    const Q half = sqrtq(0.5Q);
    // (c + i s) * sqrt(1/2) times a: (c a.r - s a.i, s a.r + c a.i) * sqrt(1/2).
    return {g.mul(g.add(signed_(a.r, c), signed_(a.i, -s)), half),
            g.mul(g.add(signed_(a.r, s), signed_(a.i, c)), half)};
  }
  return cmul(g, a, cosTurn(e, n), ctx.sign * sinTurn(e, n));
}

// ---- forms ------------------------------------------------------------------------------------------

std::vector<Cx> base2(Context& ctx, const std::vector<Cx>& x) {
  return {cadd(ctx.g, x[0], x[1]), csub(ctx.g, x[0], x[1])};
}

std::vector<Cx> base3(Context& ctx, const std::vector<Cx>& x) {
  Graph& g = ctx.g;
  const Q s = sqrtq(3.0Q) / 2;
  const Cx t = cadd(g, x[1], x[2]), d = csub(g, x[1], x[2]);
  const Cx x0 = cadd(g, x[0], t);
  Cx u, v;
  if (ctx.widenBase) {
    auto half = [&](Ref a, Ref b) { return g.narrow(g.sub(g.widen(a), g.mul(g.widen(b), 0.5Q))); };
    u = marked(g, {half(x[0].r, t.r), half(x[0].i, t.i)});
    v = marked(g, {g.narrow(g.mul(g.widen(d.r), s)), g.narrow(g.mul(g.widen(d.i), s))});
  } else {
    u = csub(g, x[0], cscale(g, t, 0.5Q));
    v = cscale(g, d, s);
  }
  const Cx a{g.add(u.r, v.i), g.sub(u.i, v.r)}, b{g.sub(u.r, v.i), g.add(u.i, v.r)};
  return ctx.sign < 0 ? std::vector<Cx>{x0, a, b} : std::vector<Cx>{x0, b, a};
}

std::vector<Cx> base4(Context& ctx, const std::vector<Cx>& x) {
  Graph& g = ctx.g;
  const Cx a = cadd(g, x[0], x[2]), b = csub(g, x[0], x[2]), c = cadd(g, x[1], x[3]), d = csub(g, x[1], x[3]);
  const Cx p{g.add(b.r, d.i), g.sub(b.i, d.r)}, q{g.sub(b.r, d.i), g.add(b.i, d.r)};
  return ctx.sign < 0 ? std::vector<Cx>{cadd(g, a, c), p, csub(g, a, c), q}
                      : std::vector<Cx>{cadd(g, a, c), q, csub(g, a, c), p};
}

// The 5-point forms: base (cosine part by c1 and c2) or shortened (by 1/4 and sqrt(5)/4).
std::vector<Cx> base5(Context& ctx, const std::vector<Cx>& x, bool shortened) {
  Graph& g = ctx.g;
  const Q c1 = cosq(2 * M_PIq / 5), c2 = -cosq(4 * M_PIq / 5), s1 = sinq(2 * M_PIq / 5), s2 = sinq(4 * M_PIq / 5);
  const Cx p = cadd(g, x[1], x[4]), q = csub(g, x[1], x[4]), r = cadd(g, x[2], x[3]), w = csub(g, x[3], x[2]);
  Cx x0, m1, m2, e1, e2;
  // In the widened kernels each product-sum is formed in double and rounded to single once.
  auto wide = [&](Ref v) { return ctx.widenBase ? g.widen(v) : v; };
  auto round = [&](Ref v) { return ctx.widenBase ? g.narrow(v) : v; };
  if (shortened) {
    const Cx t1 = cadd(g, p, r), t2 = csub(g, p, r);
    x0 = cadd(g, x[0], t1);
    const Cx m = csub(g, x[0], cscale(g, t1, 0.25Q)), e = cscale(g, t2, sqrtq(5.0Q) / 4);
    m1 = cadd(g, m, e);
    m2 = csub(g, m, e);
  } else {
    x0 = cadd(g, cadd(g, x[0], p), r);
    auto first = [&](Ref x0p, Ref pp, Ref rp) {
      return round(g.sub(g.add(g.mul(wide(pp), c1), wide(x0p)), g.mul(wide(rp), c2)));
    };
    auto second = [&](Ref x0p, Ref pp, Ref rp) {
      return round(g.add(g.sub(wide(x0p), g.mul(wide(pp), c2)), g.mul(wide(rp), c1)));
    };
    m1 = marked(g, {first(x[0].r, p.r, r.r), first(x[0].i, p.i, r.i)});
    m2 = marked(g, {second(x[0].r, p.r, r.r), second(x[0].i, p.i, r.i)});
  }
  auto prod = [&](Ref a, Q ca, Ref b, Q cb, bool plus) {
    const Ref u = g.mul(wide(a), ca), v = g.mul(wide(b), cb);
    return round(plus ? g.add(u, v) : g.sub(u, v));
  };
  e1 = marked(g, {prod(q.i, s1, w.i, s2, false), prod(w.r, s2, q.r, s1, false)});
  e2 = marked(g, {prod(q.i, s2, w.i, s1, true), prod(q.r, s2, w.r, s1, true)});
  const Cx y1{g.add(m1.r, e1.r), g.add(m1.i, e1.i)}, y4{g.sub(m1.r, e1.r), g.sub(m1.i, e1.i)};
  const Cx y2{g.add(m2.r, e2.r), g.sub(m2.i, e2.i)}, y3{g.sub(m2.r, e2.r), g.add(m2.i, e2.i)};
  return ctx.sign < 0 ? std::vector<Cx>{x0, y1, y2, y3, y4} : std::vector<Cx>{x0, y4, y3, y2, y1};
}

// The symmetric form of an odd prime: sums with cosines, differences with sines.
std::vector<Cx> direct(Context& ctx, const std::vector<Cx>& x) {
  Graph& g = ctx.g;
  const int n = static_cast<int>(x.size()), h = (n - 1) / 2;
  std::vector<Cx> p(h + 1), q(h + 1);
  for (int j = 1; j <= h; ++j) {
    p[j] = cadd(g, x[j], x[n - j]);
    q[j] = csub(g, x[j], x[n - j]);
  }
  std::vector<Cx> y(n);
  y[0] = x[0];
  for (int j = 1; j <= h; ++j) y[0] = cadd(g, y[0], p[j]);
  for (int k = 1; k <= h; ++k) {
    Cx m = x[0], s{g.zero(ctx.type), g.zero(ctx.type)};
    for (int j = 1; j <= h; ++j) {
      m = cadd(g, m, cscale(g, p[j], cosTurn(static_cast<long>(j) * k, n)));
      s = cadd(g, s, cscale(g, q[j], sinTurn(static_cast<long>(j) * k, n)));
    }
    const Cx is = marked(g, rotate(g, s, ctx.sign));
    y[k] = cadd(g, m, is);
    y[n - k] = csub(g, m, is);
  }
  return y;
}


std::vector<Cx> goodThomas(Context& ctx, const Recipe& r, const std::vector<Cx>& x) {
  const int a = r.parts[0].n, b = r.parts[1].n, n = a * b;
  std::vector<std::vector<Cx>> y(b);
  const int first = openSite(ctx);
  for (int j2 = 0; j2 < b; ++j2) {
    std::vector<Cx> in(a);
    for (int j1 = 0; j1 < a; ++j1) in[j1] = x[(b * j1 + a * j2) % n];
    y[j2] = instance(ctx, first, r.parts[0], in);
  }
  const long ea = static_cast<long>(b) * modInverse(b % a == 0 ? 1 : b % a, a) % n;  // 1 mod a, 0 mod b
  const long eb = static_cast<long>(a) * modInverse(a % b, b) % n;                  // 0 mod a, 1 mod b
  std::vector<Cx> out(n);
  const int second = openSite(ctx);
  for (int k1 = 0; k1 < a; ++k1) {
    std::vector<Cx> in(b);
    for (int j2 = 0; j2 < b; ++j2) in[j2] = y[j2][k1];
    const std::vector<Cx> z = instance(ctx, second, r.parts[1], in);
    for (int k2 = 0; k2 < b; ++k2) out[(ea * k1 + eb * k2) % n] = z[k2];
  }
  return out;
}

std::vector<Cx> cooleyTukey(Context& ctx, const Recipe& r, const std::vector<Cx>& x) {
  const int a = r.parts[0].n, b = r.parts[1].n, n = a * b;
  std::vector<std::vector<Cx>> y(b);
  const int first = openSite(ctx);
  for (int m = 0; m < b; ++m) {
    std::vector<Cx> in(a);
    for (int j = 0; j < a; ++j) in[j] = x[m + b * j];
    y[m] = instance(ctx, first, r.parts[0], in);
    for (int u = 0; u < a; ++u) y[m][u] = marked(ctx.g, twiddle(ctx, y[m][u], static_cast<long>(m) * u, n));
  }
  std::vector<Cx> out(n);
  const int second = openSite(ctx);
  for (int u = 0; u < a; ++u) {
    std::vector<Cx> in(b);
    for (int m = 0; m < b; ++m) in[m] = y[m][u];
    const std::vector<Cx> z = instance(ctx, second, r.parts[1], in);
    for (int v = 0; v < b; ++v) out[u + a * v] = z[v];
  }
  return out;
}


// Convolution of the samples in the order of powers of g with the spectrum of W^(g^-t), over L = p-1.
std::vector<Cx> rader(Context& ctx, const Recipe& r, const std::vector<Cx>& x) {
  Graph& g = ctx.g;
  const int p = r.n, len = p - 1;
  const long root = primitiveRoot(p), rootInv = modInverse(root, p);
  std::vector<Cx> a(len);
  for (int j = 0; j < len; ++j) a[j] = x[powMod(root, j, p)];
  std::vector<Cx> spectrum = build(ctx, r.parts[0], a);
  std::vector<Cx> y(p);
  y[0] = cadd(g, x[0], spectrum[0]);
  for (int m = 0; m < len; ++m) {
    Q br = 0, bi = 0;  // B[m] = (1/L) sum_t W^(g^-t) w^(t m), in quad precision
    for (int t = 0; t < len; ++t) {
      const long e = powMod(rootInv, t, p);
      const Q angle = ctx.sign * 2 * M_PIq * (static_cast<Q>(e) / p + static_cast<Q>((static_cast<long>(t) * m) % len) / len);
      br += cosq(angle);
      bi += sinq(angle);
    }
    const Cx v = spectrum[m];
    spectrum[m] = product(ctx, v, snap(br / len), snap(bi / len), [&] { return cmul(g, v, snap(br / len), snap(bi / len)); });
  }
  // x[0] joins the constant term, so that the inverse transform adds it to every output at once.
  spectrum[0] = cadd(g, spectrum[0], x[0]);
  ctx.sign = -ctx.sign;
  const std::vector<Cx> c = build(ctx, r.parts[0], spectrum);
  ctx.sign = -ctx.sign;
  for (int k = 0; k < len; ++k) y[powMod(rootInv, k, p)] = c[k];
  return y;
}

// Chirp form: x[n] c[n], zero-filled to L, convolved with conj(c) through two L-point transforms, the
// forward one by the first chain and the opposite one by the second.
std::vector<Cx> bluestein(Context& ctx, const Recipe& r, const std::vector<Cx>& x) {
  Graph& g = ctx.g;
  const int n = r.n, len = r.parts[0].n;
  const long h = (n + 1) / 2;
  auto chirpAngle = [&](long k) { return ctx.sign * 2 * M_PIq * static_cast<Q>(h * k % n * k % n) / n; };
  std::vector<Cx> y(len, Cx{g.zero(ctx.type), g.zero(ctx.type)});
  auto chirp = [&](Cx v, long k) {
    const Q c = snap(cosq(chirpAngle(k))), s = snap(sinq(chirpAngle(k)));
    return product(ctx, v, c, s, [&] { return cmul(g, v, c, s); });
  };
  for (int k = 0; k < n; ++k) y[k] = chirp(x[k], k);
  std::vector<Cx> spectrum = build(ctx, r.parts[0], y);
  for (int m = 0; m < len; ++m) {
    Q hr = 0, hi = 0;  // H[m] = (1/L) sum_d f[d] w^(d m), f[d] = conj(c[|d|]) for |d| < n
    for (int d = -(n - 1); d <= n - 1; ++d) {
      const long dd = d < 0 ? -d : d;
      const long t = ((static_cast<long>(d) * m) % len + len) % len;
      const Q angle = -chirpAngle(dd) + ctx.sign * 2 * M_PIq * static_cast<Q>(t) / len;
      hr += cosq(angle);
      hi += sinq(angle);
    }
    const Cx v = spectrum[m];
    spectrum[m] = product(ctx, v, snap(hr / len), snap(hi / len), [&] { return cmul(g, v, snap(hr / len), snap(hi / len)); });
  }
  // The opposite transform has a chain of its own: only its first n outputs are kept, so its last stages
  // are pruned the more, the fewer of their outputs are needed.
  ctx.sign = -ctx.sign;
  const std::vector<Cx> z = build(ctx, r.parts[1], spectrum);
  ctx.sign = -ctx.sign;
  std::vector<Cx> out(n);
  for (int k = 0; k < n; ++k) out[k] = chirp(z[k], k);
  return out;
}

}  // namespace


Recipe parseRecipe(const std::string& text, int n) {
  if (text == "base") return Recipe{Recipe::Base, n};
  if (text == "direct") return Recipe{Recipe::Direct, n};
  if (text.rfind("rader ", 0) == 0) {
    Recipe r{Recipe::Rader, n};
    r.parts.push_back(parseStages(text.substr(6)));
    return r;
  }
  if (text.rfind("bluestein ", 0) == 0) {
    std::stringstream s(text.substr(10));
    int len = 0;
    std::string forward, opposite;
    s >> len >> forward >> opposite;
    Recipe r{Recipe::Bluestein, n};
    r.parts.push_back(parseProduct(forward));
    r.parts.push_back(parseProduct(opposite));
    if (r.parts[0].n != len || r.parts[1].n != len)
      throw std::runtime_error("bluestein chain does not match its length");
    return r;
  }
  Recipe r = parseProduct(text);
  if (r.n != n) throw std::runtime_error("recipe " + text + " is not of length " + std::to_string(n));
  return r;
}

static std::vector<Cx> buildForm(Context& ctx, const Recipe& r, const std::vector<Cx>& x);

std::vector<Cx> build(Context& ctx, const Recipe& r, const std::vector<Cx>& x) {
  std::vector<Cx> y = buildForm(ctx, r, x);
  for (Cx& v : y) v = marked(ctx.g, v);
  return y;
}

static std::vector<Cx> buildForm(Context& ctx, const Recipe& r, const std::vector<Cx>& x) {
  switch (r.kind) {
    case Recipe::Factor:
      if (r.n == 5 && r.mark == 'w' && ctx.fiveWLeft > 0) {
        --ctx.fiveWLeft;
        return base5(ctx, x, true);
      }
      if (r.n == 5) return base5(ctx, x, false);
      return build(ctx, innerRecipe(ctx, r.n, r.mark), x);
    case Recipe::Base:
      switch (r.n) {
        case 2: return base2(ctx, x);
        case 3: return base3(ctx, x);
        case 4: return base4(ctx, x);
        default: return base5(ctx, x, false);
      }
    case Recipe::FiveW: return base5(ctx, x, true);
    case Recipe::Direct: return direct(ctx, x);
    case Recipe::GoodThomas: return goodThomas(ctx, r, x);
    case Recipe::CooleyTukey: return cooleyTukey(ctx, r, x);
    case Recipe::Rader: return rader(ctx, r, x);
    case Recipe::Bluestein: return bluestein(ctx, r, x);
  }
  return {};
}

std::unique_ptr<KernelGraph> buildKernel(int n, bool single, bool inverse, zspgen::lanes4::Trace* trace) {
  auto k = std::make_unique<KernelGraph>();
  const RecipeLine& line = recipeLine(n);
  const KernelRecipe& kernel = kernelRecipe(n, single);
  k->recipe = kernel.recipe;
  const Type type = single ? Type::F32 : Type::F64;
  Context ctx{k->g, type, single, inverse ? 1 : -1, single ? 0 : line.fiveW, kernel.lowering == ScalarWidened, trace};
  std::vector<Cx> x(n);
  for (int j = 0; j < n; ++j) x[j] = marked(k->g, {k->g.input(2 * j, type), k->g.input(2 * j + 1, type)});
  for (const Cx& y : build(ctx, parseRecipe(k->recipe, n), x)) {
    k->outputs.push_back(y.r);
    k->outputs.push_back(y.i);
  }
  return k;
}

}  // namespace zsp::dft
