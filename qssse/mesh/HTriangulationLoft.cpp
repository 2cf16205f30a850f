// Meshes lofted between two outlines: a band of triangles from one closed ring to another.
#include <algorithm>
#include <cmath>
#include <vector>

#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/vector/SimdOps.h"

namespace {

constexpr int kMaxLoftPoints = 100000;

// The finite points of the ring, read counter-clockwise in x-y.
std::vector<SSEPoint> CounterClockwise(const CSSE3dPolygon& p) {
  std::vector<SSEPoint> r;
  for (int i = 0; i < p.GetNumPoints(); ++i) {
    SSEPoint q;
    p.GetPointSSE(i, q);
    if (std::isfinite(q.x) && std::isfinite(q.y) && std::isfinite(q.z)) r.push_back(q);
  }
  double a2 = 0.0;
  for (std::size_t i = 0; i < r.size(); ++i) {
    const SSEPoint& a = r[i];
    const SSEPoint& b = r[(i + 1) % r.size()];
    a2 += static_cast<double>(a.x) * b.y - static_cast<double>(b.x) * a.y;
  }
  if (a2 < 0.0) std::reverse(r.begin(), r.end());
  return r;
}

// n points evenly spaced along the closed ring's 3-D length, the first at the ring's first point; empty
// when the ring has no length.
CSSE3dPolygon Resample(const std::vector<SSEPoint>& r, int n) {
  CSSE3dPolygon out;
  const std::size_t m = r.size();
  std::vector<double> at(m + 1, 0.0);  // length from the start to point i (at[m]: the whole ring)
  for (std::size_t i = 0; i < m; ++i) {
    const SSEPoint& a = r[i];
    const SSEPoint& b = r[(i + 1) % m];
    at[i + 1] = at[i] + std::sqrt(static_cast<double>(b.x - a.x) * (b.x - a.x) +
                                  static_cast<double>(b.y - a.y) * (b.y - a.y) +
                                  static_cast<double>(b.z - a.z) * (b.z - a.z));
  }
  if (m < 2 || !(at[m] > 0.0)) return out;
  out.Create(n);
  std::size_t e = 0;
  for (int k = 0; k < n; ++k) {
    const double s = at[m] * k / n;
    while (e + 1 < m && at[e + 1] <= s) ++e;
    const double len = at[e + 1] - at[e];
    const double t = len > 0.0 ? (s - at[e]) / len : 0.0;
    const SSEPoint& a = r[e];
    const SSEPoint& b = r[(e + 1) % m];
    out.SetPoint(k, static_cast<float>(a.x + t * (static_cast<double>(b.x) - a.x)),
                 static_cast<float>(a.y + t * (static_cast<double>(b.y) - a.y)),
                 static_cast<float>(a.z + t * (static_cast<double>(b.z) - a.z)));
  }
  return out;
}

double Distance2(const SSEPoint& a, const SSEPoint& b) {
  const double dx = static_cast<double>(a.x) - b.x, dy = static_cast<double>(a.y) - b.y,
               dz = static_cast<double>(a.z) - b.z;
  return dx * dx + dy * dy + dz * dz;
}

}  // namespace

CHTriangulation::CHTriangulation(CSSE3dPolygon* lower, CSSE3dPolygon* upper, int points, float sx, float sy, float sz)
    : CHTriangulation() {
  BaseInitialization(sx, sy, sz);
  CreateLoftedTriangulation(lower, upper, points);
  if (numTriangles <= 0) return;
  ScaleTriangulation();
  CalcSTV();
  CalcNormalsFromVertices();
  CalcBoundingBox();
  for (int i = 0; i < numTriangles; ++i) mainNormals[i] = cornerNormals[3 * i];
}

void CHTriangulation::CreateLoftedTriangulation(CSSE3dPolygon* lower, CSSE3dPolygon* upper, int points) {
  FreeTriangulation();
  if (lower == nullptr || upper == nullptr) return;
  // 1. both rings counter-clockwise, resampled to one count
  const std::vector<SSEPoint> lo = CounterClockwise(*lower), up = CounterClockwise(*upper);
  const int n = std::min(kMaxLoftPoints, points >= 3 ? points : static_cast<int>(std::max(lo.size(), up.size())));
  if (n < 3) return;
  CSSE3dPolygon a = Resample(lo, n), b = Resample(up, n);
  if (a.GetNumPoints() != n || b.GetNumPoints() != n) return;
  // 2. the upper start nearest the lower start
  b.FindClosedStartPointAndChange(&a, nullptr);
  // 3. one quad per step, cut along its shorter diagonal
  CreateTriangulation(2 * n);
  int t = 0;
  auto put = [&](const SSEPoint& p0, const SSEPoint& p1, const SSEPoint& p2) {
    SSEPoint* c = &cornerPoints[3 * t];
    c[0] = p0;
    c[1] = p1;
    c[2] = p2;
    float sv[4], uv[4];
    qssse::simd::storeu(sv, qssse::simd::sub(p1.m, p0.m));
    qssse::simd::storeu(uv, qssse::simd::sub(p2.m, p0.m));
    const float nx = sv[1] * uv[2] - sv[2] * uv[1], ny = sv[2] * uv[0] - sv[0] * uv[2],
                nz = sv[0] * uv[1] - sv[1] * uv[0];
    const float l = std::sqrt(nx * nx + ny * ny + nz * nz);
    const SSEPoint nrm = l > 0 ? qssse::MakeSSEPoint(nx / l, ny / l, nz / l) : qssse::ZeroSSEPoint();
    cornerNormals[3 * t] = cornerNormals[3 * t + 1] = cornerNormals[3 * t + 2] = nrm;
    mainNormals[t] = nrm;
    ++t;
  };
  for (int i = 0; i < n; ++i) {
    SSEPoint a0, a1, b0, b1;
    a.GetPointSSE(i, a0);
    a.GetPointSSE((i + 1) % n, a1);
    b.GetPointSSE(i, b0);
    b.GetPointSSE((i + 1) % n, b1);
    if (Distance2(a0, b1) <= Distance2(a1, b0)) {
      put(a0, a1, b1);
      put(a0, b1, b0);
    } else {
      put(a0, a1, b0);
      put(a1, b1, b0);
    }
  }
  numTriangles = t;
}
