#include "qssse/raster/ImgFromToArray.h"

#include <algorithm>
#include <cmath>

#include "qssse/raster/SSEMatrix.h"
#include "qssse/vector/SimdOps.h"

namespace {

// Whole-row span value of an unset group.
constexpr int kUnsetFrom = 0;

// x0 and x1 share one rule: 0 or a negative column becomes 0, a column past the end the last one.
int ClampColumn(int x, int sizeX) {
  if (std::min(x, sizeX - 1) < 1) return 0;
  if (x > sizeX - 1) return sizeX - 1;
  return x;
}

// True when all four rows of element x differ from element x-1 by less than the tolerance.
bool Flat(const __m128* row, int x) {
  using namespace qssse::simd;
  const f4 d = sub(row[x - 1], row[x]);
  const f4 tol = splat(CImgFromToArray::kChangeTolerance);
  return all(and_(lt(splat(-CImgFromToArray::kChangeTolerance), d), lt(d, tol)));
}

}  // namespace

CImgFromToArray::~CImgFromToArray() = default;

void CImgFromToArray::AllocArray(int sizeY) {
  count = sizeY > 0 ? (sizeY + 3) >> 2 : 0;
  spans.reset();
  if (count == 0) return;
  spans = std::shared_ptr<int[]>(new int[2 * static_cast<std::size_t>(count)]);
  for (int g = 0; g < count; ++g) {
    spans[2 * g] = kUnsetFrom;
    spans[2 * g + 1] = kWholeRowTo;
  }
}

int CImgFromToArray::GetFrom(int group) const {
  return (spans && group >= 0 && group < count) ? spans[2 * group] : kUnsetFrom;
}

int CImgFromToArray::GetTo(int group) const {
  return (spans && group >= 0 && group < count) ? spans[2 * group + 1] : kWholeRowTo;
}

void CImgFromToArray::CalcArray(const CSSEMatrix& m, int x0, int x1) {
  if (m.GetSizeX() < 1 || m.GetSizeY() < 1 || m.GetMatrixDataDirectly() == nullptr) return;
  AllocArray(m.GetSizeY());
  x0 = ClampColumn(x0, m.GetSizeX());
  x1 = ClampColumn(x1, m.GetSizeX());
  // count = (sizeY + 3) >> 2 never exceeds the matrix's (sizeY >> 2) + 1 SIMD rows.
  __m128** rows = m.GetMatrixDataDirectly();
  for (int g = 0; g < count; ++g) {
    const __m128* row = rows[g];
    for (int x = x0 + 1; x <= x1 - 1; ++x) {
      if (!Flat(row, x)) {
        spans[2 * g] = x;
        break;
      }
    }
    // The backward scan stops above from and never re-examines the step that set it.
    const int stop = std::max(spans[2 * g], x0);
    for (int x = x1; x >= stop + 1; --x) {
      if (!Flat(row, x)) {
        spans[2 * g + 1] = x;
        break;
      }
    }
  }
}

int CImgFromToArray::IsPositionInArray(int x, int y, int r) const {
  if (!spans) return 0;
  if (r == 1) {
    const int g = y >> 2;
    // Unclamped group on purpose; outside the array there is no span to be inside.
    if (g < 0 || g >= count) return 0;
    return (spans[2 * g] <= x && x <= spans[2 * g + 1]) ? 1 : 0;
  }
  const int g1 = std::min(count - 1, (y + r) >> 2);
  const int g0 = std::max(std::min(count - 1, (y - r) >> 2), 0);
  const int end = std::max(g1, 0);
  if (g0 >= end) return 1;
  // The group g1 itself is not tested, matching GetFromToCoords.
  for (int g = g0; g < end; ++g) {
    if (!(spans[2 * g] <= x && x <= spans[2 * g + 1])) return 0;
  }
  return 1;
}

void CImgFromToArray::GetFromToCoords(int& from, int& to, int y, int r) const {
  if (!spans) return;
  if (r == 1) {
    // y is a group index here, unlike IsPositionInArray: the asymmetry is deliberate.
    const int g = std::clamp(y, 0, count - 1);
    from = spans[2 * g];
    to = spans[2 * g + 1];
    return;
  }
  const int g1 = std::min(count - 1, (y + r) >> 2);
  const int g0 = std::max(std::min(count - 1, (y - r) >> 2), 0);
  int lo = kWholeRowTo, hi = 0;
  for (int g = g0; g < std::max(g1, 0); ++g) {
    lo = std::min(lo, spans[2 * g]);
    hi = std::max(hi, spans[2 * g + 1]);
  }
  from = std::max(from, lo);
  to = std::min(to, hi);
}

namespace {

// Plots the segment from (xa, ya) to (xb, yb) with clamped writes, one pixel per step of the longer axis.
void DrawSegment(CSSEMatrix& m, int xa, int ya, int xb, int yb, float value) {
  // Columns are clamped to the matrix first, so 999999 does not cost a million steps.
  xa = std::clamp(xa, 0, std::max(m.GetSizeX() - 1, 0));
  xb = std::clamp(xb, 0, std::max(m.GetSizeX() - 1, 0));
  const int steps = std::max(std::abs(xb - xa), std::abs(yb - ya));
  if (steps == 0) {
    m.SetPoint(xa, ya, value);
    return;
  }
  for (int s = 0; s <= steps; ++s) {
    const double t = static_cast<double>(s) / steps;
    const int x = static_cast<int>(std::lround(xa + t * (xb - xa)));
    const int y = static_cast<int>(std::lround(ya + t * (yb - ya)));
    m.SetPoint(x, y, value);
  }
}

}  // namespace

void CImgFromToArray::DrawInMatrix(CSSEMatrix& m) const {
  if (!spans || !m.HasPixels()) return;
  for (int g = 0; g < count; ++g) {
    const int a = std::max(g - 1, 0);
    DrawSegment(m, spans[2 * a], 4 * a, spans[2 * g], 4 * g, 1.0f);
    DrawSegment(m, spans[2 * a + 1], 4 * a, spans[2 * g + 1], 4 * g, 1.0f);
  }
}
