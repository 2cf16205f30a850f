// CSSE3dPolygon: the edge-walking fill, the vertex plotters and the height drawers.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "qssse/polygon/CellCoordinates.h"
#include "qssse/polygon/FillWorkCount.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"

namespace {

using qssse::polygon::Rnd;
using qssse::polygon::FirstTrue;
using qssse::polygon::TruncSat;

int Clamp(int v, int lo, int hi) { return v < lo ? lo : (v > hi ? hi : v); }

bool IsBoundary(const CSSEMatrix& m, int x, int y, float value, float tolerance) {
  return std::fabs(m.GetPoint(x, y) - value) < tolerance;
}

// One span of the edge-walking fill along a row or column of `size` cells: from the vertex's cell p, walk
// by dir (+1 or -1) to the first boundary cell (boundary(i)) and put(i) every cell strictly between. No
// span when the first cell of the walk, p + dir, is off the walk's side of the matrix, or when the walk
// reaches the matrix's end without a boundary. Cells beyond the far side all read as its border cell,
// so the walk tests that cell once for all of them.
template <class IsB, class Put>
void CastSpan(long long p, int dir, long long size, IsB boundary, Put put) {
  const long long last = dir > 0 ? size - 1 : 0;      // the end the walk runs to
  const long long border = dir > 0 ? 0 : size - 1;    // the border it may start beyond
  if (dir > 0 ? p >= size - 1 : p < 1) return;
  long long start = p + dir;
  if (dir > 0 ? start < 0 : start > size - 1) {
    if (boundary(border)) return;
    start = border + dir;
  }
  long long found = -1;
  for (long long i = start; dir > 0 ? i <= last : i >= last; i += dir) {
    if (boundary(i)) {
      found = i;
      break;
    }
  }
  if (found < 0) return;
  const long long from = dir > 0 ? std::max<long long>(p + 1, 0) : std::min<long long>(p - 1, size - 1);
  for (long long i = from; i != found; i += dir) put(i);
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
  // 2. one span per edge, to the left of its direction of travel: steep edges along their row (leftward
  //    going down, rightward going up), shallow ones along their column (downward going right, upward
  //    going left)
  for (int i = 0; i < n; ++i) {
    const int j = i + 1 == n ? 0 : i + 1;
    const float dx = m_x[j] - m_x[i], dy = m_y[j] - m_y[i];
    const long long px = Rnd(m_x[i]), py = Rnd(m_y[i]);
    if (std::fabs(dx) <= std::fabs(dy)) {
      const int row = Clamp(static_cast<int>(py), 0, h - 1);
      CastSpan(
          px, dy >= 0 ? -1 : 1, w,
          [&](long long x) { return IsBoundary(*m, static_cast<int>(x), row, value, 1.0f); },
          [&](long long x) { m->SetPoint(static_cast<int>(x), row, span); });
    } else {
      const int col = Clamp(static_cast<int>(px), 0, w - 1);
      // The tighter tolerance of the rightward case is intended and kept.
      const float tolerance = dx >= 0 ? 0.1f : 1.0f;
      CastSpan(
          py, dx >= 0 ? 1 : -1, h,
          [&](long long y) { return IsBoundary(*m, col, static_cast<int>(y), value, tolerance); },
          [&](long long y) { m->SetPoint(col, static_cast<int>(y), span); });
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

// The open polyline of n points with z interpolated along each edge, written by put(x, y, z) into the
// cells of a w x h matrix (coordinates clamped into it).
//
// The samples of an edge walk both axes one way, so the samples that clamping folds onto one cell are
// consecutive, and their heights a.z + t·Δz are monotonic in t (or, when Δz or a.z is not finite, the
// same from the second sample on). Every write rule reads only its own cell, and over such a run it
// leaves the cell as writing the run's first, second and last heights does (the first two settle the
// larger or smaller of cell and run, and the signed zero that ties keep; the last is what overwriting
// leaves). So each cell the edge reaches costs three writes and a binary search for the end of its
// run, not one write per sample: an edge far longer than the matrix costs the matrix's size.
template <class Put>
void DrawPolylineZ(const float* xs, const float* ys, const float* zs, int n, int w, int h, Put put) {
  const bool shortcut = qssse::polygon::detail::t_fillShortcuts;
  for (int i = 0; i + 1 < n; ++i) {
    const float ax = xs[i], ay = ys[i], az = zs[i];
    const float bx = xs[i + 1], by = ys[i + 1], bz = zs[i + 1];
    put(Clamp(Rnd(ax), 0, w - 1), Clamp(Rnd(ay), 0, h - 1), az);
    put(Clamp(Rnd(bx), 0, w - 1), Clamp(Rnd(by), 0, h - 1), bz);
    const float dx = bx - ax, dy = by - ay;
    const float len = std::sqrt(dx * dx + dy * dy);
    // Twice the edge length leaves no gap between cells; beyond 2^25 samples only the ends are drawn.
    if (!(len >= 0.5f) || !(len < 33554432.0f)) continue;
    const int s = static_cast<int>(2.0f * len + 0.5f);
    const float sf = static_cast<float>(s);
    const float ix = dx / sf, iy = dy / sf, iz = (bz - az) / sf;
    auto cellX = [&](int t) { return Clamp(TruncSat(ax + static_cast<float>(t) * ix + 0.5f), 0, w - 1); };
    auto cellY = [&](int t) { return Clamp(TruncSat(ay + static_cast<float>(t) * iy + 0.5f), 0, h - 1); };
    auto zAt = [&](int t) { return az + static_cast<float>(t) * iz; };
    if (!shortcut) {
      qssse::polygon::detail::CountFillWork(static_cast<std::uint64_t>(s));
      for (int t = 0; t < s; ++t) put(cellX(t), cellY(t), zAt(t));
      continue;
    }
    for (int t = 0; t < s;) {
      const int cx = cellX(t), cy = cellY(t);
      const int u = FirstTrue(t + 1, s, [&](int k) { return cellX(k) != cx || cellY(k) != cy; });
      qssse::polygon::detail::CountFillWork(1);
      put(cx, cy, zAt(t));
      if (u - t > 1) put(cx, cy, zAt(t + 1));
      if (u - t > 2) put(cx, cy, zAt(u - 1));
      t = u;
    }
  }
}

}  // namespace

void CSSE3dPolygon::DrawInMatrixFineZ(CSSEMatrix* m) {
  if (m == nullptr || !m->HasPixels()) return;
  DrawPolylineZ(m_x, m_y, m_z, m_count, m->GetSizeX(), m->GetSizeY(),
                [m](int x, int y, float z) { m->SetPoint(x, y, z); });
}

void CSSE3dPolygon::DrawInMatrixFineZMax(CSSEMatrix* m) {
  if (m == nullptr || !m->HasPixels()) return;
  DrawPolylineZ(m_x, m_y, m_z, m_count, m->GetSizeX(), m->GetSizeY(),
                [m](int x, int y, float z) { m->SetPointMax(x, y, z); });
}

void CSSE3dPolygon::DrawInMatrixFineZMin(CSSEMatrix* m) {
  if (m == nullptr || !m->HasPixels()) return;
  DrawPolylineZ(m_x, m_y, m_z, m_count, m->GetSizeX(), m->GetSizeY(),
                [m](int x, int y, float z) { m->SetPointMin(x, y, z); });
}
