// CSSE3dPolygon: the ring against lines, segments, cylinders and other rings in x-y.
#include <algorithm>
#include <cmath>
#include <vector>

#include "qssse/geometry/HSimpleBasisFcns.h"
#include "qssse/polygon/SSE3dPolygon.h"

int CSSE3dPolygon::IntersectPolygonAreaWithLine(const SSEPoint& a, const SSEPoint& b, CSSE3dPolygon& crossings) const {
  std::vector<std::pair<double, SSEPoint>> hits;
  const double dx = static_cast<double>(b.x) - a.x, dy = static_cast<double>(b.y) - a.y;
  if (m_count >= 2 && (dx != 0.0 || dy != 0.0)) {
    // the line as c1·x + c2·y = c (its left side >= c); a point exactly on the line counts as left, so
    // an edge is crossed when its two ends fall on different sides, and each crossing is counted once
    const float c1 = static_cast<float>(-dy), c2 = static_cast<float>(dx);
    const float c = c1 * a.x + c2 * a.y;
    for (int i = 0; i < m_count; ++i) {
      const int j = (i + 1) % m_count;
      SSEPoint p, q;
      GetPointSSE(i, p);
      GetPointSSE(j, q);
      if (CHSimpleBasisFcns::IsPointInHalfeplain(c1, c2, c, true, p) ==
          CHSimpleBasisFcns::IsPointInHalfeplain(c1, c2, c, true, q))
        continue;
      const double sp = c1 * static_cast<double>(p.x) + c2 * static_cast<double>(p.y) - c;
      const double sq = c1 * static_cast<double>(q.x) + c2 * static_cast<double>(q.y) - c;
      const double t = sp == sq ? 0.0 : sp / (sp - sq);
      const SSEPoint x = qssse::MakeSSEPoint(static_cast<float>(p.x + t * (static_cast<double>(q.x) - p.x)),
                                             static_cast<float>(p.y + t * (static_cast<double>(q.y) - p.y)),
                                             static_cast<float>(p.z + t * (static_cast<double>(q.z) - p.z)));
      const double along = ((x.x - a.x) * dx + (x.y - a.y) * dy) / (dx * dx + dy * dy);
      hits.push_back({along, x});
    }
  }
  std::stable_sort(hits.begin(), hits.end(), [](const auto& l, const auto& r) { return l.first < r.first; });
  CSSE3dPolygon out;
  out.Create(static_cast<int>(hits.size()));
  for (int i = 0; i < out.m_count; ++i) out.SetPointSSE(i, hits[static_cast<std::size_t>(i)].second);
  crossings.Free();
  crossings.TakeOver(out);
  return static_cast<int>(hits.size());
}

bool CSSE3dPolygon::IntersectsPolygonWithCylinderXYPlane(float cx, float cy, float radius) const {
  if (m_count <= 0 || !(radius >= 0.0f)) return false;
  return GetMinEuclDistanceXY(cx, cy, 1) <= radius;
}

bool CSSE3dPolygon::FindIntersection(const SSEPoint& a, const SSEPoint& b, SSEPoint& hit, int& edge) const {
  if (m_count < 2) return false;
  double bestT = INFINITY;
  const double dx = static_cast<double>(b.x) - a.x, dy = static_cast<double>(b.y) - a.y;
  const double len2 = dx * dx + dy * dy;
  for (int i = 0; i < m_count; ++i) {
    const int j = (i + 1) % m_count;
    SSEPoint p, q, x = qssse::ZeroSSEPoint();
    GetPointSSE(i, p);
    GetPointSSE(j, q);
    if (!CHSimpleBasisFcns::GetIntersection(a, b, p, q, x)) continue;
    const double t = len2 > 0 ? ((x.x - a.x) * dx + (x.y - a.y) * dy) / len2 : 0.0;
    if (t < bestT) {
      bestT = t;
      edge = i;
      // z along the ring's edge
      const double ex = static_cast<double>(q.x) - p.x, ey = static_cast<double>(q.y) - p.y;
      const double el2 = ex * ex + ey * ey;
      const double u = el2 > 0 ? std::clamp(((x.x - p.x) * ex + (x.y - p.y) * ey) / el2, 0.0, 1.0) : 0.0;
      hit = qssse::MakeSSEPoint(x.x, x.y, static_cast<float>(p.z + u * (static_cast<double>(q.z) - p.z)));
    }
  }
  return bestT < INFINITY;
}

bool CSSE3dPolygon::PolygonInThisPolygon(CSSE3dPolygon* other) {
  return PolygonInThisPolygonWithDeltaDistance(other, 0.0f);
}

bool CSSE3dPolygon::PolygonInThisPolygonWithDeltaDistance(CSSE3dPolygon* other, float delta) {
  if (other == nullptr || other->m_count <= 0 || m_count < 3) return false;
  for (int i = 0; i < other->m_count; ++i) {
    const float x = other->m_x[i], y = other->m_y[i];
    if (!PointInLineInnerArea(x, y, 1)) return false;
    if (delta > 0.0f && GetMinEuclDistanceXY(x, y, 1) < delta) return false;
  }
  return true;
}
