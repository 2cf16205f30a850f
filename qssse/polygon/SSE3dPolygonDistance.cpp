// CSSE3dPolygon: distances to the ring, nearest points and vertices, point and patch searches.
#include <cfloat>
#include <cmath>

#include "qssse/geometry/HSimpleBasisFcns.h"
#include "qssse/polygon/SSE3dPolygon.h"

namespace {

constexpr float kFar = 1000000.0f;  // the library's "no distance" (as the box sentinels)

// Squared distance from p to the segment ab, in double, all three coordinates (pass z = 0 for x-y).
double SegmentDistance2(double px, double py, double pz, double ax, double ay, double az, double bx, double by,
                        double bz) {
  const double ex = bx - ax, ey = by - ay, ez = bz - az;
  const double l2 = ex * ex + ey * ey + ez * ez;
  double t = l2 > 0 ? ((px - ax) * ex + (py - ay) * ey + (pz - az) * ez) / l2 : 0.0;
  t = t < 0 ? 0 : (t > 1 ? 1 : t);
  const double dx = ax + t * ex - px, dy = ay + t * ey - py, dz = az + t * ez - pz;
  return dx * dx + dy * dy + dz * dz;
}

// Index of the first point with the smallest score among those `eligible` accepts; -1 when none.
template <class Score, class Eligible>
int ArgMin(int n, Score score, Eligible eligible) {
  int best = -1;
  double bestScore = INFINITY;
  for (int i = 0; i < n; ++i) {
    if (!eligible(i)) continue;
    const double s = score(i);
    if (s < bestScore) {
      bestScore = s;
      best = i;
    }
  }
  return best;
}

}  // namespace

float CSSE3dPolygon::MinDistanceToRing(const float* xs, const float* ys, const float* zs, float x, float y, float z,
                                       int step, bool closed) const {
  if (m_count <= 0) return kFar;
  if (step < 1) step = 1;
  double best = INFINITY;
  int prev = -1, first = -1;
  auto visit = [&](int i) {
    const double pz = zs ? zs[i] : 0.0;
    if (prev < 0) {
      first = i;
      best = SegmentDistance2(x, y, z, xs[i], ys[i], pz, xs[i], ys[i], pz);
    } else {
      best = std::fmin(best, SegmentDistance2(x, y, z, xs[prev], ys[prev], zs ? zs[prev] : 0.0, xs[i], ys[i], pz));
    }
    prev = i;
  };
  for (int i = 0; i < m_count; i += step) visit(i);
  if (closed && prev != first) {
    best = std::fmin(best, SegmentDistance2(x, y, z, xs[prev], ys[prev], zs ? zs[prev] : 0.0, xs[first], ys[first],
                                            zs ? zs[first] : 0.0));
  }
  return static_cast<float>(std::sqrt(best));
}

float CSSE3dPolygon::GetMinEuclDistance(float x, float y, float z, int step, bool closed) const {
  return MinDistanceToRing(m_x, m_y, m_z, x, y, z, step, closed);
}

float CSSE3dPolygon::GetMinEuclDistanceXY(float x, float y, int step) const {
  return MinDistanceToRing(m_x, m_y, nullptr, x, y, 0.0f, step, true);
}

float CSSE3dPolygon::GetMinEuclDistanceSpecial(float x, float y, float z, int step) const {
  return MinDistanceToRing(m_nx, m_ny, m_nz, x, y, z, step, true);
}

// ---- nearest vertices -----------------------------------------------------------------------------------

int CSSE3dPolygon::ClosestPoint(const SSEPoint& p) const {
  return ArgMin(
      m_count,
      [&](int i) {
        const double dx = m_x[i] - p.x, dy = m_y[i] - p.y, dz = m_z[i] - p.z;
        return dx * dx + dy * dy + dz * dz;
      },
      [](int) { return true; });
}

int CSSE3dPolygon::ClosestPointX(float x) const {
  return ArgMin(m_count, [&](int i) { return std::fabs(static_cast<double>(m_x[i]) - x); }, [](int) { return true; });
}

int CSSE3dPolygon::ClosestPointY(float y) const {
  return ArgMin(m_count, [&](int i) { return std::fabs(static_cast<double>(m_y[i]) - y); }, [](int) { return true; });
}

int CSSE3dPolygon::ClosestPointZ(float z) const {
  return ArgMin(m_count, [&](int i) { return std::fabs(static_cast<double>(m_z[i]) - z); }, [](int) { return true; });
}

int CSSE3dPolygon::ClosestPointYZ(float y, float z) const {
  return ArgMin(
      m_count, [&](int i) { return std::hypot(static_cast<double>(m_y[i]) - y, static_cast<double>(m_z[i]) - z); },
      [](int) { return true; });
}

int CSSE3dPolygon::ClosestPointXWithZLimitation(float x, float zMin, float zMax) const {
  return ArgMin(
      m_count, [&](int i) { return std::fabs(static_cast<double>(m_x[i]) - x); },
      [&](int i) { return m_z[i] >= zMin && m_z[i] <= zMax; });
}

int CSSE3dPolygon::ClosestPointXWithExtremeY(float x, float tolerance, bool maximal) const {
  // among the points whose x lies within tolerance of x, the lowest (highest) one; first on ties
  return ArgMin(
      m_count, [&](int i) { return maximal ? -static_cast<double>(m_y[i]) : static_cast<double>(m_y[i]); },
      [&](int i) { return std::fabs(m_x[i] - x) <= tolerance; });
}

int CSSE3dPolygon::ClosestPointXWithMinimalY(float x, float tolerance) const {
  return ClosestPointXWithExtremeY(x, tolerance, false);
}

int CSSE3dPolygon::ClosestPointXWithMaximalY(float x, float tolerance) const {
  return ClosestPointXWithExtremeY(x, tolerance, true);
}

// ---- searches -------------------------------------------------------------------------------------------

int CSSE3dPolygon::FindIndexOfPoint(float x, float y, float z, float tolerance) const {
  for (int i = 0; i < m_count; ++i)
    if (std::fabs(m_x[i] - x) <= tolerance && std::fabs(m_y[i] - y) <= tolerance && std::fabs(m_z[i] - z) <= tolerance)
      return i;
  return -1;
}

int CSSE3dPolygon::GetPointsInPatch(float minX, float minY, float maxX, float maxY, CSSE3dPolygon& patch) const {
  int n = 0;
  for (int i = 0; i < m_count; ++i)
    if (m_x[i] >= minX && m_x[i] <= maxX && m_y[i] >= minY && m_y[i] <= maxY) ++n;
  if (&patch == this) {
    CSSE3dPolygon copy;
    GetPointsInPatch(minX, minY, maxX, maxY, copy);
    patch.Free();
    patch.TakeOver(copy);
    return n;
  }
  patch.Create(n);
  int k = 0;
  for (int i = 0; i < m_count; ++i)
    if (m_x[i] >= minX && m_x[i] <= maxX && m_y[i] >= minY && m_y[i] <= maxY) patch.SetPoint(k++, m_x[i], m_y[i], m_z[i]);
  return n;
}

bool CSSE3dPolygon::IsDifferentFromOtherPolygon(const CSSE3dPolygon* other, float tolerance) const {
  if (other == nullptr || other->m_count != m_count) return true;
  for (int i = 0; i < m_count; ++i)
    if (!(std::fabs(m_x[i] - other->m_x[i]) <= tolerance) || !(std::fabs(m_y[i] - other->m_y[i]) <= tolerance) ||
        !(std::fabs(m_z[i] - other->m_z[i]) <= tolerance))
      return true;
  return false;
}

bool CSSE3dPolygon::FindNearestPointOnLine(const SSEPoint& p, SSEPoint& nearest, int& edge) const {
  if (m_count <= 0) return false;
  double best = INFINITY;
  for (int i = 0; i < m_count; ++i) {
    const int j = (i + 1) % m_count;
    SSEPoint a, b, foot = qssse::ZeroSSEPoint();
    GetPointSSE(i, a);
    GetPointSSE(j, b);
    t_vector dir;
    dir.x = b.x - a.x;
    dir.y = b.y - a.y;
    // the foot of the perpendicular, held within the edge
    CHSimpleBasisFcns::FindFoodPoint(dir, a, p, foot);
    const double l2 = static_cast<double>(dir.x) * dir.x + static_cast<double>(dir.y) * dir.y;
    double t = 0.0;
    if (l2 > FLT_EPSILON) t = ((static_cast<double>(foot.x) - a.x) * dir.x + (static_cast<double>(foot.y) - a.y) * dir.y) / l2;
    t = t < 0 ? 0 : (t > 1 ? 1 : t);
    const double qx = a.x + t * dir.x, qy = a.y + t * dir.y;
    const double d = (qx - p.x) * (qx - p.x) + (qy - p.y) * (qy - p.y);
    if (d < best) {
      best = d;
      edge = i;
      nearest = qssse::MakeSSEPoint(static_cast<float>(qx), static_cast<float>(qy),
                                    static_cast<float>(a.z + t * (static_cast<double>(b.z) - a.z)));
    }
  }
  return best < INFINITY;
}
