// CSSE3dPolygon: transforms about the centre or by a given matrix, height edits, seeded noise, the quasi
// Minkowski moves, half-plane clipping and point selection, and the debug dump.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <random>
#include <vector>

#include "qssse/geometry/HSimpleBasisFcns.h"
#include "qssse/platform/Matrix4Rf.h"
#include "qssse/platform/ScratchVector.h"
#include "qssse/polygon/SSE3dPolygon.h"

// ---- transforms ---------------------------------------------------------------------------------------

void CSSE3dPolygon::TransformVerticesAboutCenter(float a, float b) {
  CalcGeometricCenter();
  const SSEPoint c = m_stored[kCenter];
  ShiftLine(-c.x, -c.y, -c.z);
  TransformVertices(a, b);
  ShiftLine(c.x, c.y, c.z);
  m_stored[kCenter] = c;
}

void CSSE3dPolygon::TransformUseGivenMatrix(const CbMatrix4Rf& m, bool aboutCenter) {
  SSEPoint c = qssse::ZeroSSEPoint();
  if (aboutCenter) {
    CalcGeometricCenter();
    c = m_stored[kCenter];
  }
  for (int i = 0; i < m_count; ++i) {
    const CbVector3f p = m.TransformPoint({m_x[i] - c.x, m_y[i] - c.y, m_z[i] - c.z});
    m_x[i] = p.x + c.x;
    m_y[i] = p.y + c.y;
    m_z[i] = p.z + c.z;
  }
  m_boxCalculated = false;
}

void CSSE3dPolygon::FlipOrientationZ(bool keepOrientation) {
  for (int i = 0; i < m_count; ++i) {
    m_x[i] = -m_x[i];
    m_z[i] = -m_z[i];
  }
  m_boxCalculated = false;
  if (keepOrientation) InvertPolygonDirection();
}

void CSSE3dPolygon::FlipOrientationAndMoveCoordsZ(float dz) {
  FlipOrientationZ(true);
  for (int i = 0; i < m_count; ++i) m_z[i] += dz;
}

// ---- heights ------------------------------------------------------------------------------------------

namespace {

// The lowest (sign -1: highest) z that is a number; NaN when there is none.
float ExtremeZ(const float* z, int n, int sign) {
  float best = NAN;
  for (int i = 0; i < n; ++i) {
    if (std::isnan(z[i])) continue;
    if (std::isnan(best) || (sign < 0 ? z[i] > best : z[i] < best)) best = z[i];
  }
  return best;
}

}  // namespace

void CSSE3dPolygon::AdaptToLowestZValue() {
  const float z = ExtremeZ(m_z, m_count, 1);
  if (!std::isnan(z)) SetAllZValues(z);
}

void CSSE3dPolygon::AdaptToHighestZValue() {
  const float z = ExtremeZ(m_z, m_count, -1);
  if (!std::isnan(z)) SetAllZValues(z);
}

void CSSE3dPolygon::FilterZValues(int halfWidth) {
  if (halfWidth < 1 || m_count < 2) return;
  const int n = m_count;
  const int w = std::min(halfWidth, (n - 1) / 2);  // each point at most once in a window
  if (w < 1) return;
  // a running sum around the ring, in double so long rings do not drift
  std::vector<float> out = qssse::scratchVector<float>(static_cast<std::size_t>(n));
  double sum = 0.0;
  for (int k = -w; k <= w; ++k) sum += m_z[(k % n + n) % n];
  for (int i = 0; i < n; ++i) {
    out[static_cast<std::size_t>(i)] = static_cast<float>(sum / (2 * w + 1));
    sum += m_z[(i + w + 1) % n];
    sum -= m_z[((i - w) % n + n) % n];
  }
  for (int i = 0; i < n; ++i) m_z[i] = out[static_cast<std::size_t>(i)];
  m_boxCalculated = false;
}

float CSSE3dPolygon::InterpolateZLow(float x, float y, int step, float nearSq) const {
  const float mean = InterpolateZ(x, y, step, nearSq);
  if (std::isnan(mean)) return mean;
  if (step < 1) step = 1;
  // The same average over the samples at or below the plain one: the height leans to the lower side.
  double weights = 0.0, sum = 0.0;
  for (int i = 0; i < m_count - step + 1; i += step) {
    const float dy = y - m_y[i], dx = x - m_x[i];
    const double d2 = static_cast<double>(dy * dy + dx * dx);
    if (!(d2 > static_cast<double>(nearSq))) return m_z[i];
    if (!(m_z[i] <= mean)) continue;
    weights += 1.0 / d2;
    sum += static_cast<double>(m_z[i]) / d2;
  }
  return weights > 0.0 ? static_cast<float>(sum / weights) : mean;
}

// ---- noise and quasi Minkowski moves ------------------------------------------------------------------

void CSSE3dPolygon::AddNoiseXY(float amplitude, unsigned int seed) {
  std::mt19937 rng(seed);
  // 24 random bits per value: the same numbers with every standard library
  auto uniform = [&rng]() { return static_cast<float>(rng() >> 8) * (1.0f / 16777216.0f) * 2.0f - 1.0f; };
  for (int i = 0; i < m_count; ++i) {
    m_x[i] += amplitude * uniform();
    m_y[i] += amplitude * uniform();
  }
  m_boxCalculated = false;
}

void CSSE3dPolygon::MoveAlongNormals(float r) {
  if (m_count < 3) return;
  const int n = m_count;
  const float side = CalcXYArea() >= 0.0f ? 1.0f : -1.0f;  // outward is right of a counter-clockwise ring
  std::vector<float> nx = qssse::scratchVector<float>(static_cast<std::size_t>(n)), ny = nx;
  for (int i = 0; i < n; ++i) {
    // unit outward normals of the two edges at point i, summed and normalised
    const int p = (i + n - 1) % n, q = (i + 1) % n;
    float ax = m_x[i] - m_x[p], ay = m_y[i] - m_y[p], bx = m_x[q] - m_x[i], by = m_y[q] - m_y[i];
    const float la = std::hypot(ax, ay), lb = std::hypot(bx, by);
    float sx = 0, sy = 0;
    if (la > 0) sx += ay / la, sy -= ax / la;
    if (lb > 0) sx += by / lb, sy -= bx / lb;
    const float l = std::hypot(sx, sy);
    nx[static_cast<std::size_t>(i)] = l > 0 ? side * sx / l : 0.0f;
    ny[static_cast<std::size_t>(i)] = l > 0 ? side * sy / l : 0.0f;
  }
  for (int i = 0; i < n; ++i) {
    m_x[i] += r * nx[static_cast<std::size_t>(i)];
    m_y[i] += r * ny[static_cast<std::size_t>(i)];
  }
  m_boxCalculated = false;
}

void CSSE3dPolygon::DoQuasiMinkowskiDilation(float r) { MoveAlongNormals(r); }

void CSSE3dPolygon::DoQuasiMinkowskiErosion(float r) { MoveAlongNormals(-r); }

void CSSE3dPolygon::DoQuasiMinkowskiDilationCenter(float r) {
  CalcGeometricCenter();
  const SSEPoint c = m_stored[kCenter];
  for (int i = 0; i < m_count; ++i) {
    const float dx = m_x[i] - c.x, dy = m_y[i] - c.y, l = std::hypot(dx, dy);
    if (!(l > 0)) continue;
    m_x[i] += r * dx / l;
    m_y[i] += r * dy / l;
  }
  m_boxCalculated = false;
}

// ---- half planes and point selection ------------------------------------------------------------------

void CSSE3dPolygon::KeepSide(int axis, float value, bool upper) {
  if (m_count <= 0) return;
  const float* c = axis == 0 ? m_x : axis == 1 ? m_y : m_z;
  // x and y go through the planar half-plane test (a·x + b·y >= c), z alike on its own value
  auto inside = [&](int i) {
    SSEPoint p = qssse::ZeroSSEPoint();
    if (axis == 2) p.x = m_z[i];
    else GetPointXYSSE(i, p);
    const float a = axis == 1 ? 0.0f : (upper ? 1.0f : -1.0f), b = axis == 1 ? (upper ? 1.0f : -1.0f) : 0.0f;
    return CHSimpleBasisFcns::IsPointInHalfeplain(a, b, upper ? value : -value, true, p);
  };
  std::vector<float> ox, oy, oz;
  const int n = m_count;
  for (int i = 0; i < n; ++i) {
    const int j = (i + 1) % n;
    const bool in = inside(i), inNext = inside(j);
    if (in) {
      ox.push_back(m_x[i]);
      oy.push_back(m_y[i]);
      oz.push_back(m_z[i]);
    }
    if (in != inNext && n > 1) {
      // the edge crosses the boundary line: the crossing point, all three coordinates interpolated
      const double t = (static_cast<double>(value) - c[i]) / (static_cast<double>(c[j]) - c[i]);
      if (!(t > 0.0)) continue;  // a kept point on the boundary line is its own crossing
      ox.push_back(static_cast<float>(m_x[i] + t * (static_cast<double>(m_x[j]) - m_x[i])));
      oy.push_back(static_cast<float>(m_y[i] + t * (static_cast<double>(m_y[j]) - m_y[i])));
      oz.push_back(static_cast<float>(m_z[i] + t * (static_cast<double>(m_z[j]) - m_z[i])));
      (axis == 0 ? ox : axis == 1 ? oy : oz).back() = value;
    }
  }
  CSSE3dPolygon tmp;
  tmp.Create(static_cast<int>(ox.size()));
  for (int i = 0; i < tmp.m_count; ++i) tmp.SetPoint(i, ox[i], oy[i], oz[i]);
  Free();
  TakeOver(tmp);
}

void CSSE3dPolygon::KeepUpperHalfPlaneY(float y) { KeepSide(1, y, true); }
void CSSE3dPolygon::KeepLowerHalfPlaneY(float y) { KeepSide(1, y, false); }
void CSSE3dPolygon::KeepRightHalfPlaneX(float x) { KeepSide(0, x, true); }
void CSSE3dPolygon::KeepLeftHalfPlaneX(float x) { KeepSide(0, x, false); }
void CSSE3dPolygon::KeepUpperHalfPlaneZ(float z) { KeepSide(2, z, true); }
void CSSE3dPolygon::KeepLowerHalfPlaneZ(float z) { KeepSide(2, z, false); }

template <class Pred>
void CSSE3dPolygon::KeepPointsWhere(Pred keep) {
  std::vector<int> kept;
  for (int i = 0; i < m_count; ++i)
    if (keep(i)) kept.push_back(i);
  if (static_cast<int>(kept.size()) == m_count) return;
  CSSE3dPolygon tmp;
  tmp.Create(static_cast<int>(kept.size()));
  for (int k = 0; k < tmp.m_count; ++k) tmp.SetPoint(k, m_x[kept[k]], m_y[kept[k]], m_z[kept[k]]);
  Free();
  TakeOver(tmp);
}

void CSSE3dPolygon::KeepPointsBelow(float z) {
  KeepPointsWhere([&](int i) { return m_z[i] < z; });
}

void CSSE3dPolygon::KeepPointsInInner(CSSE3dPolygon* outline) {
  if (outline == nullptr || outline == this) return;
  KeepPointsWhere([&](int i) { return outline->PointInLineInnerArea(m_x[i], m_y[i], 1); });
}

// ---- debugging ----------------------------------------------------------------------------------------

bool CSSE3dPolygon::DebugSaveXYZ(const char* path) const {
  if (path == nullptr) return false;
  std::FILE* f = std::fopen(path, "w");
  if (f == nullptr) return false;
  bool ok = true;
  for (int i = 0; i < m_count && ok; ++i) ok = std::fprintf(f, "%.9g %.9g %.9g\n", m_x[i], m_y[i], m_z[i]) > 0;
  return (std::fclose(f) == 0) && ok;
}
