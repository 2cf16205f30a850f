// CSSE3dPolygon: the edge-walking fill, the vertex plotters and the height drawers.
#include <algorithm>
#include <cmath>

#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"

namespace {

// Truncation toward zero that saturates instead of overflowing; NaN gives 0. Saturated coordinates
// are clamped into the matrix by every write anyway.
int TruncSat(float t) {
  if (!(t == t)) return 0;
  if (t >= 1073741824.0f) return 1073741824;
  if (t <= -1073741824.0f) return -1073741824;
  return static_cast<int>(t);
}

int Rnd(float t) { return TruncSat(t + 0.5f); }

int Clamp(int v, int lo, int hi) { return v < lo ? lo : (v > hi ? hi : v); }

bool IsBoundary(const CSSEMatrix& m, int x, int y, float value, float tolerance) {
  return std::fabs(m.GetPoint(x, y) - value) < tolerance;
}

// Walks from `start` by `dir` (+1 or -1) until a boundary cell, `last` included; returns the index
// found or `none`. Callers start inside the matrix: indices beyond it all read the same clamped cell,
// which the callers test once instead of stepping through them.
template <class IsB>
long long Walk(long long start, int dir, long long last, IsB isBoundaryAt, long long none) {
  for (long long i = start; dir > 0 ? i <= last : i >= last; i += dir) {
    if (isBoundaryAt(i)) return i;
  }
  return none;
}

}  // namespace

void CSSE3dPolygon::DrawInMatrixAndFill(float value, CSSEMatrix* m) {
  if (m == nullptr || !m->HasPixels()) return;
  const int n = m_count & ~3;  // whole blocks of four only, deliberately
  if (n == 0) return;
  const int w = m->GetSizeX(), h = m->GetSizeY();
  const float span = value + 5.0f;
  // 1. vertices
  for (int i = 0; i < n; ++i) m->SetPoint(Rnd(m_x[i]), Rnd(m_y[i]), value);
  // 2. one span per edge, to the left of its direction of travel
  for (int i = 0; i < n; ++i) {
    const int j = i + 1 == n ? 0 : i + 1;
    const float dx = m_x[j] - m_x[i], dy = m_y[j] - m_y[i];
    const long long px = Rnd(m_x[i]), py = Rnd(m_y[i]);
    const bool steep = std::fabs(dx) <= std::fabs(dy);
    if (steep) {
      const int row = Clamp(static_cast<int>(py), 0, h - 1);
      auto boundary = [&](long long x) { return IsBoundary(*m, static_cast<int>(x), row, value, 1.0f); };
      if (dy >= 0) {
        if (px < 1) continue;
        // Cells beyond the right border read as the border cell: one read stands for all of them.
        long long start = px - 1;
        if (start > w - 1) {
          if (boundary(w - 1)) continue;
          start = w - 2;
        }
        const long long found = Walk(start, -1, 0, boundary, -1);
        if (found < 0) continue;
        for (long long x = std::min<long long>(px - 1, w - 1); x > found; --x)
          m->SetPoint(static_cast<int>(x), row, span);
      } else {
        if (px >= w - 1) continue;
        long long start = px + 1;
        if (start < 0) {
          if (boundary(0)) continue;
          start = 1;
        }
        const long long found = Walk(start, 1, w - 1, boundary, -1);
        if (found < 0) continue;
        for (long long x = std::max<long long>(px + 1, 0); x < found; ++x)
          m->SetPoint(static_cast<int>(x), row, span);
      }
    } else {
      const int col = Clamp(static_cast<int>(px), 0, w - 1);
      if (dx >= 0) {
        // The tighter tolerance of this case is intended and kept.
        auto boundary = [&](long long y) { return IsBoundary(*m, col, static_cast<int>(y), value, 0.1f); };
        if (py >= h - 1) continue;
        long long start = py + 1;
        if (start < 0) {
          if (boundary(0)) continue;
          start = 1;
        }
        const long long found = Walk(start, 1, h - 1, boundary, -1);
        if (found < 0) continue;
        for (long long y = std::max<long long>(py + 1, 0); y < found; ++y)
          m->SetPoint(col, static_cast<int>(y), span);
      } else {
        auto boundary = [&](long long y) { return IsBoundary(*m, col, static_cast<int>(y), value, 1.0f); };
        if (py < 1) continue;
        long long start = py - 1;
        if (start > h - 1) {
          if (boundary(h - 1)) continue;
          start = h - 2;
        }
        const long long found = Walk(start, -1, 0, boundary, -1);
        if (found < 0) continue;
        for (long long y = std::min<long long>(py - 1, h - 1); y > found; --y)
          m->SetPoint(col, static_cast<int>(y), span);
      }
    }
  }
}

void CSSE3dPolygon::DrawInMatrix(float value, CSSEMatrix* m, bool zyPlane, float offsetX, float offsetY,
                                 bool xzPlane) {
  if (m == nullptr || !m->HasPixels()) return;
  for (int i = 0; i < m_count; ++i) {
    if (xzPlane) {
      m->Set3x3BoxPoint(Rnd(m_x[i] + offsetX), Rnd(m_z[i] + offsetY), value);
    } else if (zyPlane) {
      m->SetPoint(Rnd(m_z[i]), Rnd(m_y[i]), value);  // offsets are not applied here, deliberately
    } else {
      m->Set3x3BoxPoint(Rnd(m_x[i] + offsetX), Rnd(m_y[i] + offsetY), value);
    }
  }
}

void CSSE3dPolygon::DrawInMatrix(CSSEMatrix* m, bool fourCells) {
  if (m == nullptr || !m->HasPixels()) return;
  for (int i = 0; i < m_count; ++i) {
    const float z = m_z[i];
    if (fourCells) {
      const int x0 = TruncSat(std::floor(m_x[i])), x1 = TruncSat(std::ceil(m_x[i]));
      const int y0 = TruncSat(std::floor(m_y[i])), y1 = TruncSat(std::ceil(m_y[i]));
      m->SetPoint(x0, y0, z);
      m->SetPoint(x0, y1, z);
      m->SetPoint(x1, y0, z);
      m->SetPoint(x1, y1, z);
    } else {
      m->SetPoint(Rnd(m_x[i]), Rnd(m_y[i]), z);
    }
  }
}

namespace {

// The open polyline of n points with z interpolated along each edge, written by put(x, y, z).
template <class Put>
void DrawPolylineZ(const float* xs, const float* ys, const float* zs, int n, Put put) {
  for (int i = 0; i + 1 < n; ++i) {
    const float ax = xs[i], ay = ys[i], az = zs[i];
    const float bx = xs[i + 1], by = ys[i + 1], bz = zs[i + 1];
    put(Rnd(ax), Rnd(ay), az);
    put(Rnd(bx), Rnd(by), bz);
    const float dx = bx - ax, dy = by - ay;
    const float len = std::sqrt(dx * dx + dy * dy);
    // Twice the edge length leaves no gap between cells; beyond 2^25 samples only the ends are drawn.
    if (!(len >= 0.5f) || !(len < 33554432.0f)) continue;
    const int s = static_cast<int>(2.0f * len + 0.5f);
    const float sf = static_cast<float>(s);
    const float ix = dx / sf, iy = dy / sf, iz = (bz - az) / sf;
    for (int t = 0; t < s; ++t) {
      const float tf = static_cast<float>(t);
      put(TruncSat(ax + tf * ix + 0.5f), TruncSat(ay + tf * iy + 0.5f), az + tf * iz);
    }
  }
}

}  // namespace

void CSSE3dPolygon::DrawInMatrixFineZ(CSSEMatrix* m) {
  if (m == nullptr || !m->HasPixels()) return;
  DrawPolylineZ(m_x, m_y, m_z, m_count, [m](int x, int y, float z) { m->SetPoint(x, y, z); });
}

void CSSE3dPolygon::DrawInMatrixFineZMax(CSSEMatrix* m) {
  if (m == nullptr || !m->HasPixels()) return;
  DrawPolylineZ(m_x, m_y, m_z, m_count, [m](int x, int y, float z) { m->SetPointMax(x, y, z); });
}

void CSSE3dPolygon::DrawInMatrixFineZMin(CSSEMatrix* m) {
  if (m == nullptr || !m->HasPixels()) return;
  DrawPolylineZ(m_x, m_y, m_z, m_count, [m](int x, int y, float z) { m->SetPointMin(x, y, z); });
}
