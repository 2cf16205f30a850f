// Exact orientation signs by a floating-point filter and an exact fallback.
//
// The filter evaluates the determinant in double and compares it with an upper bound of its rounding
// error (the bounds of the classical adaptive predicates, valid for double input, so certainly for float
// input). The fallback forms every difference exactly as a two-term expansion and multiplies and sums the
// expansions exactly; the sign of an expansion is that of its largest component. It runs only for
// (nearly) degenerate input, so it favours plainness over speed.
#include "qssse/geometry/HExactPredicates.h"

#include <cmath>
#include <vector>

namespace {

using Expansion = std::vector<double>;  // non-overlapping components, increasing magnitude, no zeros

constexpr double kEpsilon = 1.1102230246251565e-16;  // 2^-53
constexpr double kSplitter = 134217729.0;            // 2^27 + 1
constexpr double kOrient2DBound = (3.0 + 16.0 * kEpsilon) * kEpsilon;
constexpr double kOrient3DBound = (7.0 + 56.0 * kEpsilon) * kEpsilon;

int Sign(double v) { return (v > 0.0) - (v < 0.0); }

// x + y = a + b exactly, x the rounded sum.
void TwoSum(double a, double b, double& x, double& y) {
  x = a + b;
  const double bv = x - a, av = x - bv;
  y = (a - av) + (b - bv);
}

// x + y = a * b exactly (Dekker's product; needs no fused multiply-add, and the build forbids contraction).
void TwoProduct(double a, double b, double& x, double& y) {
  x = a * b;
  const auto split = [](double v, double& hi, double& lo) {
    const double c = kSplitter * v, big = c - v;
    hi = c - big;
    lo = v - hi;
  };
  double ahi, alo, bhi, blo;
  split(a, ahi, alo);
  split(b, bhi, blo);
  const double err = x - ahi * bhi - alo * bhi - ahi * blo;
  y = alo * blo - err;
}

// e + b, exactly.
Expansion Grow(const Expansion& e, double b) {
  Expansion h;
  h.reserve(e.size() + 1);
  double q = b;
  for (double component : e) {
    double sum, err;
    TwoSum(q, component, sum, err);
    if (err != 0.0) h.push_back(err);
    q = sum;
  }
  if (q != 0.0 || h.empty()) h.push_back(q);
  return h;
}

Expansion Add(const Expansion& e, const Expansion& f) {
  Expansion h = e;
  for (double component : f) h = Grow(h, component);
  return h;
}

Expansion Negate(Expansion e) {
  for (double& component : e) component = -component;
  return e;
}

Expansion Multiply(const Expansion& e, const Expansion& f) {
  Expansion h{0.0};
  for (double a : e) {
    for (double b : f) {
      double x, y;
      TwoProduct(a, b, x, y);
      h = Grow(Grow(h, y), x);
    }
  }
  return h;
}

// a - b as an expansion.
Expansion Difference(double a, double b) {
  double x, y;
  TwoSum(a, -b, x, y);
  return Grow(Expansion{y}, x);
}

int SignOf(const Expansion& e) {
  for (auto it = e.rbegin(); it != e.rend(); ++it) {
    if (*it != 0.0) return Sign(*it);
  }
  return 0;
}

int ExactOrient2D(double ax, double ay, double bx, double by, double cx, double cy) {
  const Expansion left = Multiply(Difference(bx, ax), Difference(cy, ay));
  const Expansion right = Multiply(Difference(by, ay), Difference(cx, ax));
  return SignOf(Add(left, Negate(right)));
}

int ExactOrient3D(const double* a, const double* b, const double* c, const double* d) {
  Expansion ad[3], bd[3], cd[3];
  for (int k = 0; k < 3; ++k) {
    ad[k] = Difference(a[k], d[k]);
    bd[k] = Difference(b[k], d[k]);
    cd[k] = Difference(c[k], d[k]);
  }
  // Expansion along the first column: adx (bdy cdz - bdz cdy) + bdx (cdy adz - cdz ady) + cdx (ady bdz - adz
  // bdy).
  const auto minor = [](const Expansion& p, const Expansion& q, const Expansion& r, const Expansion& s) {
    return Add(Multiply(p, q), Negate(Multiply(r, s)));
  };
  Expansion det = Multiply(ad[0], minor(bd[1], cd[2], bd[2], cd[1]));
  det = Add(det, Multiply(bd[0], minor(cd[1], ad[2], cd[2], ad[1])));
  det = Add(det, Multiply(cd[0], minor(ad[1], bd[2], ad[2], bd[1])));
  return SignOf(det);
}

}  // namespace

int CHExactPredicates::Orient2D(float ax, float ay, float bx, float by, float cx, float cy) {
  const double left = (static_cast<double>(bx) - ax) * (static_cast<double>(cy) - ay);
  const double right = (static_cast<double>(by) - ay) * (static_cast<double>(cx) - ax);
  const double det = left - right;
  // Terms of opposite signs (or a zero term) cannot cancel: the rounded difference has the true sign.
  if ((left > 0.0 && right <= 0.0) || (left < 0.0 && right >= 0.0) || left == 0.0) return Sign(det);
  const double bound = kOrient2DBound * (std::fabs(left) + std::fabs(right));
  if (det > bound || -det > bound) return Sign(det);
  return ExactOrient2D(ax, ay, bx, by, cx, cy);
}

int CHExactPredicates::Orient3D(const CbVector3f& a, const CbVector3f& b, const CbVector3f& c,
                                const CbVector3f& d) {
  const double ad[3] = {static_cast<double>(a.x) - d.x, static_cast<double>(a.y) - d.y,
                        static_cast<double>(a.z) - d.z};
  const double bd[3] = {static_cast<double>(b.x) - d.x, static_cast<double>(b.y) - d.y,
                        static_cast<double>(b.z) - d.z};
  const double cd[3] = {static_cast<double>(c.x) - d.x, static_cast<double>(c.y) - d.y,
                        static_cast<double>(c.z) - d.z};
  const double bc = bd[0] * cd[1], cb = cd[0] * bd[1];
  const double ca = cd[0] * ad[1], ac = ad[0] * cd[1];
  const double ab = ad[0] * bd[1], ba = bd[0] * ad[1];
  const double det = ad[2] * (bc - cb) + bd[2] * (ca - ac) + cd[2] * (ab - ba);
  const double permanent = (std::fabs(bc) + std::fabs(cb)) * std::fabs(ad[2]) +
                           (std::fabs(ca) + std::fabs(ac)) * std::fabs(bd[2]) +
                           (std::fabs(ab) + std::fabs(ba)) * std::fabs(cd[2]);
  const double bound = kOrient3DBound * permanent;
  if (det > bound || -det > bound) return Sign(det);
  const double pa[3] = {a.x, a.y, a.z}, pb[3] = {b.x, b.y, b.z}, pc[3] = {c.x, c.y, c.z},
               pd[3] = {d.x, d.y, d.z};
  return ExactOrient3D(pa, pb, pc, pd);
}
