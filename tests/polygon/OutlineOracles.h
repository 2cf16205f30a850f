#pragma once
// Independent checks for the outline editing tests: simplicity by brute force with long-double
// orientations, areas and Hausdorff distances by sampling.
#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "polygon/PolygonTestUtil.h"

namespace outlinetest {

struct P2 {
  double x, y;
};

inline std::vector<P2> XY(const CSSE3dPolygon& p) {
  std::vector<P2> out;
  for (int i = 0; i < p.GetNumPoints(); ++i) {
    float x = 0, y = 0;
    p.GetPointXY(i, x, y);
    out.push_back({x, y});
  }
  return out;
}

inline long double Orient(const P2& a, const P2& b, const P2& c) {
  return (static_cast<long double>(b.x) - a.x) * (static_cast<long double>(c.y) - a.y) -
         (static_cast<long double>(b.y) - a.y) * (static_cast<long double>(c.x) - a.x);
}

// Number of pairs of non-adjacent edges that cross properly (each strictly separates the other's ends).
// Touching at a point is allowed; the test is quadratic on purpose, so keep rings small.
inline int ProperCrossings(const std::vector<P2>& r) {
  const std::size_t n = r.size();
  int count = 0;
  for (std::size_t i = 0; i < n; ++i)
    for (std::size_t j = i + 2; j < n; ++j) {
      if (i == 0 && j == n - 1) continue;
      const P2 &a = r[i], &b = r[(i + 1) % n], &c = r[j], &d = r[(j + 1) % n];
      const long double o1 = Orient(a, b, c), o2 = Orient(a, b, d), o3 = Orient(c, d, a), o4 = Orient(c, d, b);
      if (((o1 > 0 && o2 < 0) || (o1 < 0 && o2 > 0)) && ((o3 > 0 && o4 < 0) || (o3 < 0 && o4 > 0))) ++count;
    }
  return count;
}

inline double Area(const std::vector<P2>& r) {
  double s = 0;
  for (std::size_t i = 0; i < r.size(); ++i) {
    const P2& a = r[i];
    const P2& b = r[(i + 1) % r.size()];
    s += a.x * b.y - b.x * a.y;
  }
  return 0.5 * s;
}

inline double SegmentDistance(const P2& p, const P2& a, const P2& b) {
  const double dx = b.x - a.x, dy = b.y - a.y, len2 = dx * dx + dy * dy;
  double t = len2 > 0 ? ((p.x - a.x) * dx + (p.y - a.y) * dy) / len2 : 0.0;
  t = std::clamp(t, 0.0, 1.0);
  return std::hypot(p.x - (a.x + t * dx), p.y - (a.y + t * dy));
}

inline double DistanceToRing(const P2& p, const std::vector<P2>& r) {
  double d = INFINITY;
  for (std::size_t i = 0; i < r.size(); ++i) d = std::min(d, SegmentDistance(p, r[i], r[(i + 1) % r.size()]));
  return d;
}

// Largest distance from a sample of ring a's boundary (every vertex and `perEdge` points on every edge)
// to ring b's boundary.
inline double DirectedHausdorff(const std::vector<P2>& a, const std::vector<P2>& b, int perEdge = 4) {
  double h = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const P2& p = a[i];
    const P2& q = a[(i + 1) % a.size()];
    for (int k = 0; k < perEdge; ++k) {
      const double t = static_cast<double>(k) / perEdge;
      h = std::max(h, DistanceToRing({p.x + t * (q.x - p.x), p.y + t * (q.y - p.y)}, b));
    }
  }
  return h;
}

inline double Hausdorff(const std::vector<P2>& a, const std::vector<P2>& b) {
  return std::max(DirectedHausdorff(a, b), DirectedHausdorff(b, a));
}

// A star-shaped ring of grid points (coordinates 0..9) sorted by angle around a centre that lies on no
// line through two grid points, so its union and intersection with another such ring are single rings.
inline CSSE3dPolygon RandomStar(std::mt19937& rng, int points) {
  const double cx = 4.37, cy = 4.61;
  std::vector<std::pair<double, polytest::P3>> pts;
  for (int tries = 0; tries < 200 && static_cast<int>(pts.size()) < points; ++tries) {
    const float x = static_cast<float>(rng() % 10), y = static_cast<float>(rng() % 10);
    const double a = std::atan2(y - cy, x - cx);
    bool dup = false;
    for (const auto& q : pts) dup = dup || std::fabs(q.first - a) < 1e-9;
    if (!dup) pts.push_back({a, {x, y, 0.0f}});
  }
  std::sort(pts.begin(), pts.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<polytest::P3> ring;
  for (const auto& q : pts) ring.push_back(q.second);
  return polytest::Make(ring);
}

// Whether the centre used by RandomStar sees every edge turning counter-clockwise (the ring is star-
// shaped around it); rings that fail are skipped by the tests.
inline bool StarAroundCentre(const CSSE3dPolygon& p) {
  const std::vector<P2> r = XY(p);
  if (r.size() < 3) return false;
  for (std::size_t i = 0; i < r.size(); ++i)
    if (Orient(r[i], r[(i + 1) % r.size()], {4.37, 4.61}) <= 0) return false;
  return true;
}

}  // namespace outlinetest
