#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "qssse/polygon/H2dPoint.h"
#include "qssse/polygon/SSE2dPolygon.h"
#include "qssse/polygon/SSE3dPolygon.h"

namespace geomtest {

using Ring = std::vector<t_h2dpoint>;

inline CSSE2dPolygon Make2d(const Ring& r) {
  CSSE2dPolygon p;
  p.Create(static_cast<int>(r.size()));
  for (int i = 0; i < static_cast<int>(r.size()); ++i) p.SetPoint(i, r[i].x, r[i].y);
  return p;
}

// z of point i is z0 + i (so tests can tell which polygon point a corner came from).
inline CSSE3dPolygon Make3d(const Ring& r, float z0 = 0.0f) {
  CSSE3dPolygon p;
  p.Create(static_cast<int>(r.size()));
  for (int i = 0; i < static_cast<int>(r.size()); ++i)
    p.SetPoint(i, r[i].x, r[i].y, z0 + static_cast<float>(i));
  return p;
}

// The x-y ring of a polygon.
inline Ring RingOf(const CSSE3dPolygon& p) {
  Ring r(static_cast<std::size_t>(p.GetNumPoints()));
  for (int i = 0; i < p.GetNumPoints(); ++i) p.GetPointXY(i, r[i].x, r[i].y);
  return r;
}

// Exact equality of all four lanes of a point.
inline ::testing::AssertionResult IsPoint(const SSEPoint& p, float x, float y, float z, float w) {
  if (p.x == x && p.y == y && p.z == z && p.w == w) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "(" << p.x << ", " << p.y << ", " << p.z << ", " << p.w << ")";
}

// Exact twice-signed area of a lattice triangle / ring (coordinates are small integers).
inline std::int64_t Cross(const t_h2dpoint& a, const t_h2dpoint& b, const t_h2dpoint& c) {
  const auto ax = static_cast<std::int64_t>(a.x), ay = static_cast<std::int64_t>(a.y);
  return (static_cast<std::int64_t>(b.x) - ax) * (static_cast<std::int64_t>(c.y) - ay) -
         (static_cast<std::int64_t>(b.y) - ay) * (static_cast<std::int64_t>(c.x) - ax);
}
inline double RingArea2(const Ring& r) {
  double s = 0.0;
  for (std::size_t i = 0; i < r.size(); ++i) {
    const t_h2dpoint& p = r[i];
    const t_h2dpoint& q = r[(i + 1) % r.size()];
    s += static_cast<double>(p.x) * q.y - static_cast<double>(q.x) * p.y;
  }
  return s;
}

// n random lattice points (0..9): duplicates, collinear runs and crossings all common.
inline Ring RandomLatticeRing(std::mt19937& rng, int n) {
  Ring r(static_cast<std::size_t>(n));
  for (t_h2dpoint& p : r) {
    p.x = static_cast<float>(rng() % 10);
    p.y = static_cast<float>(rng() % 10);
  }
  return r;
}

// Up to n distinct lattice points (0..span-1), from at most 4n draws.
inline Ring DistinctLatticePoints(std::mt19937& rng, int n, unsigned span) {
  Ring pts;
  for (int k = 0; k < 4 * n && static_cast<int>(pts.size()) < n; ++k) {
    const t_h2dpoint p{static_cast<float>(rng() % span), static_cast<float>(rng() % span)};
    if (std::none_of(pts.begin(), pts.end(), [&](const t_h2dpoint& q) { return q.x == p.x && q.y == p.y; })) {
      pts.push_back(p);
    }
  }
  return pts;
}

// A simple counter-clockwise lattice polygon of up to n distinct points: sorted by angle around a centre
// that no two lattice points are collinear with, so the ring is star-shaped and simple; rings with three
// consecutive collinear points are rejected unless allowStraight (they are degenerate outlines), so the
// result may be empty.
inline Ring RandomSimpleLatticePolygon(std::mt19937& rng, int n, unsigned span = 10,
                                       bool allowStraight = false) {
  Ring pts = DistinctLatticePoints(rng, n, span);
  if (pts.size() < 3) return {};
  double cx = 0.0, cy = 0.0;  // the centroid, nudged off every lattice line
  for (const t_h2dpoint& p : pts) cx += p.x, cy += p.y;
  cx = cx / static_cast<double>(pts.size()) + 0.001234567 * std::sqrt(2.0);
  cy = cy / static_cast<double>(pts.size()) - 0.000765432 * std::sqrt(3.0);
  std::sort(pts.begin(), pts.end(), [&](const t_h2dpoint& a, const t_h2dpoint& b) {
    return std::atan2(a.y - cy, a.x - cx) < std::atan2(b.y - cy, b.x - cx);
  });
  const std::size_t m = pts.size();
  for (std::size_t i = 0; i < m; ++i) {
    // every turn strictly left (so the centre lies in the kernel and the ring is simple), none straight
    if (!allowStraight && Cross(pts[(i + m - 1) % m], pts[i], pts[(i + 1) % m]) == 0) return {};
    const t_h2dpoint& p = pts[i];
    const t_h2dpoint& q = pts[(i + 1) % m];
    if ((p.x - cx) * (q.y - cy) - (p.y - cy) * (q.x - cx) <= 0.0) return {};
  }
  return pts;
}

// A smooth star: r(t) = radius (1 + 0.3 cos(lobes t)), n points counter-clockwise.
inline Ring SmoothStar(int n, float radius, int lobes = 7) {
  Ring r(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    const double t = 6.283185307179586 * i / n;
    const double rr = radius * (1.0 + 0.3 * std::cos(lobes * t));
    r[static_cast<std::size_t>(i)] = {static_cast<float>(rr * std::cos(t)),
                                      static_cast<float>(rr * std::sin(t))};
  }
  return r;
}


// Whether the closed segments pq and rs share a point (exact on lattice points).
inline bool SegmentsMeet(const t_h2dpoint& p, const t_h2dpoint& q, const t_h2dpoint& r, const t_h2dpoint& s) {
  const std::int64_t d1 = Cross(p, q, r), d2 = Cross(p, q, s), d3 = Cross(r, s, p), d4 = Cross(r, s, q);
  if (((d1 > 0 && d2 < 0) || (d1 < 0 && d2 > 0)) && ((d3 > 0 && d4 < 0) || (d3 < 0 && d4 > 0))) return true;
  const auto on = [](const t_h2dpoint& a, const t_h2dpoint& b, const t_h2dpoint& c) {
    return Cross(a, b, c) == 0 && std::min(a.x, b.x) <= c.x && c.x <= std::max(a.x, b.x) &&
           std::min(a.y, b.y) <= c.y && c.y <= std::max(a.y, b.y);
  };
  return on(p, q, r) || on(p, q, s) || on(r, s, p) || on(r, s, q);
}

// A simple counter-clockwise lattice polygon of n distinct points in random order, untangled by
// reversing the path between crossing edges until no two edges meet; empty when that does not settle or
// three consecutive points are collinear. Unlike the star-shaped ones these have pockets and spirals.
inline Ring RandomUntangledLatticePolygon(std::mt19937& rng, int n) {
  Ring r = DistinctLatticePoints(rng, n, 10);
  const int m = static_cast<int>(r.size());
  if (m < 4) return {};
  for (int moves = 0;; ++moves) {
    if (moves > 2000) return {};
    bool changed = false;
    for (int i = 0; i < m && !changed; ++i) {
      for (int j = i + 2; j < m && !changed; ++j) {
        if (i == 0 && j == m - 1) continue;  // adjacent through the closing edge
        if (SegmentsMeet(r[i], r[i + 1], r[j], r[(j + 1) % m])) {
          std::reverse(r.begin() + i + 1, r.begin() + j + 1);
          changed = true;
        }
      }
    }
    if (!changed) break;
  }
  for (int i = 0; i < m; ++i) {
    if (Cross(r[(i + m - 1) % m], r[i], r[(i + 1) % m]) == 0) return {};
  }
  if (RingArea2(r) < 0) std::reverse(r.begin(), r.end());
  return r;
}

}  // namespace geomtest
