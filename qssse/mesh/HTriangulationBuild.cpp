// Meshes from height fields: every raster cell whose corners pass a test becomes the triangles that
// AppendTriangle writes for its corner masks.
#include <climits>
#include <cstdint>
#include "qssse/platform/InvalidArgumentException.h"

#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/vector/SimdOps.h"

namespace simd = qssse::simd;

namespace {

// Real pixels (padding excluded) passing the strict test against the threshold, or against ref's pixel.
std::int64_t CountPassing(const CSSEMatrix& m, float threshold, bool above) {
  return above ? m.NumValuesAbove(threshold) : m.NumValuesBelow(threshold);
}

std::int64_t CountPassing(const CSSEMatrix& m, const CSSEMatrix& ref, bool above) {
  return above ? m.NumValuesAbove(ref) : m.NumValuesBelow(ref);
}

// Records to reserve: 2 * count / (stepX * stepY), truncated; an int that cannot hold it means memory
// the process cannot have.
int Reserve(std::int64_t count, int stepX, int stepY) {
  const std::int64_t n = 2 * count / (static_cast<std::int64_t>(stepX) * stepY);
  if (n > INT_MAX) AfxThrowMemoryException();
  return static_cast<int>(n);
}

void CheckSteps(int stepX, int stepY) {
  if (stepX < 1 || stepY < 1) AfxThrowInvalidArgumentException("CHTriangulation: sub-sampling steps must be >= 1");
}

bool Usable(const CSSEMatrix* m) { return m != nullptr && m->HasPixels(); }

}  // namespace

// ---- full resolution ----------------------------------------------------------------------------------

void CHTriangulation::CreateTriangulationFromSSEField(CSSEMatrix* m, float threshold, bool above) {
  numTriangles = 0;
  if (!Usable(m)) return;
  const int n = Reserve(CountPassing(*m, threshold, above), 1, 1);
  if (n < 1) return;
  CreateTriangulation(n);

  __m128** rows = m->GetMatrixDataDirectly();
  const __m128 thr = simd::splat(threshold);
  const auto valid = [&](__m128 v) { return simd::movemask(above ? simd::gt(v, thr) : simd::lt(v, thr)); };
  int counter = 0;
  for (int x = 0; x + 1 < m->GetSSESizeX(); ++x) {
    const float c0 = static_cast<float>(x) * scaleX;
    const float c1 = c0 + 1.0f * scaleX;
    for (int g = 0; g + 1 < m->GetSSESizeY(); ++g) {
      // Rows 4g..4g+3 and the first row of the group below, read straight from storage: padding rows
      // take part like any other (in the below mode their 0 passes a positive threshold).
      SSEPoint a, b, a4, b4;
      a.m = rows[g][x];
      b.m = rows[g][x + 1];
      a4.m = rows[g + 1][x];
      b4.m = rows[g + 1][x + 1];
      const int validA = valid(a.m) | ((valid(a4.m) & 1) << 4);
      const int validB = valid(b.m) | ((valid(b4.m) & 1) << 4);
      const float colA[5] = {a.x, a.y, a.z, a.w, a4.x};
      const float colB[5] = {b.x, b.y, b.z, b.w, b4.x};
      for (int l = 0; l < 4; ++l) {
        const int maskA = (validA >> l) & 3;
        const int maskB = (validB >> l) & 3;
        if (maskA == 0 || maskB == 0) continue;  // no cell with a side lacking corners writes anything
        const float d0 = static_cast<float>(4 * g + l) * scaleY;
        const float d1 = d0 + 1.0f * scaleY;
        AppendTriangle(maskA, maskB, c0, c1, d0, d1, colA[l], colA[l + 1], colB[l], colB[l + 1], counter,
                       !above, false);
      }
    }
  }
  // numTriangles deliberately stays at the reserved bound: the unfilled records remain all-zero
  // triangles, which callers of this builder expect.
}

// ---- sub-sampled forms -----------------------------------------------------------------------------------

template <class Valid>
void CHTriangulation::SweepSubSampled(CSSEMatrix* m, bool above, int stepX, int stepY, int xFrom,
                                      std::int64_t xLast, int yFrom, std::int64_t yLast, bool forceFull,
                                      Valid validOf) {
  int counter = 0;
  // 64-bit loop variables: the caller's bounds may lie near the ends of int.
  for (std::int64_t x = xFrom; x <= xLast; x += stepX) {
    const int xi = static_cast<int>(x), x1 = static_cast<int>(x + stepX);
    const float c0 = static_cast<float>(xi) * scaleX;
    const float c1 = c0 + static_cast<float>(stepX) * scaleX;
    for (std::int64_t y = yFrom; y <= yLast; y += stepY) {
      const int yi = static_cast<int>(y), y1 = static_cast<int>(y + stepY);
      const int maskA = (validOf(xi, yi) ? 1 : 0) | (validOf(xi, y1) ? 2 : 0);
      const int maskB = (validOf(x1, yi) ? 1 : 0) | (validOf(x1, y1) ? 2 : 0);
      if (maskA == 0 || maskB == 0) continue;
      const float d0 = static_cast<float>(yi) * scaleY;
      const float d1 = d0 + static_cast<float>(stepY) * scaleY;
      AppendTriangle(maskA, maskB, c0, c1, d0, d1, m->GetPoint(xi, yi), m->GetPoint(xi, y1),
                     m->GetPoint(x1, yi), m->GetPoint(x1, y1), counter, !above, forceFull);
    }
  }
  numTriangles = counter;
}

void CHTriangulation::CreateTriangulationFromSSEFieldSubSampled(CSSEMatrix* m, float threshold, bool above,
                                                                int stepX, int stepY) {
  CheckSteps(stepX, stepY);
  numTriangles = 0;
  if (!Usable(m)) return;
  // x < sizeX - stepX is x <= (sizeX - 1) - stepX.
  CreateTriangulationFromSSEFieldSubSampled(m, threshold, above, stepX, stepY, 0, m->GetSizeX() - 1, 0,
                                            m->GetSizeY() - 1, false);
}

void CHTriangulation::CreateTriangulationFromSSEFieldSubSampled(CSSEMatrix* m, float threshold, bool above,
                                                                int stepX, int stepY, int xFrom, int xTo,
                                                                int yFrom, int yTo, bool forceFull) {
  CheckSteps(stepX, stepY);
  numTriangles = 0;
  if (!Usable(m)) return;
  const std::int64_t xLast = static_cast<std::int64_t>(xTo) - stepX;
  const std::int64_t yLast = static_cast<std::int64_t>(yTo) - stepY;
  if (xFrom > xLast) return;
  const int n = Reserve(CountPassing(*m, threshold, above), stepX, stepY);
  if (n < 1) return;
  CreateTriangulation(n);
  const auto validOf = [m, threshold, above](int x, int y) {
    const float v = m->GetPoint(x, y);
    return above ? v > threshold : v < threshold;
  };
  SweepSubSampled(m, above, stepX, stepY, xFrom, xLast, yFrom, yLast, forceFull, validOf);
}

void CHTriangulation::CreateTriangulationFromSSEFieldSubSampled(CSSEMatrix* m, float threshold, bool above,
                                                                int stepX, int stepY, CSSE3dPolygon* outline) {
  CheckSteps(stepX, stepY);
  numTriangles = 0;
  if (!Usable(m) || outline == nullptr) return;
  const std::int64_t xLast = static_cast<std::int64_t>(m->GetSizeX()) - 1 - stepX;
  const std::int64_t yLast = static_cast<std::int64_t>(m->GetSizeY()) - 1 - stepY;
  if (xLast < 0) return;
  const int n = Reserve(CountPassing(*m, threshold, above), stepX, stepY);
  if (n < 1) return;
  CreateTriangulation(n);
  const auto validOf = [m, threshold, above, outline](int x, int y) {
    const float v = m->GetPoint(x, y);
    if (!(above ? v > threshold : v < threshold)) return false;
    return outline->PointInLineInnerArea(static_cast<float>(x), static_cast<float>(y), 4);
  };
  SweepSubSampled(m, above, stepX, stepY, 0, xLast, 0, yLast, false, validOf);
}

// ---- two fields ----------------------------------------------------------------------------------------

void CHTriangulation::CreateTriangulationFromSSEFieldSubSampledTwoFields(CSSEMatrix* m, CSSEMatrix* ref,
                                                                         bool above, int stepX, int stepY) {
  CheckSteps(stepX, stepY);
  numTriangles = 0;
  if (!Usable(m)) return;
  CreateTriangulationFromSSEFieldSubSampledTwoFields(m, ref, above, stepX, stepY, 0, m->GetSizeX() - 1, 0,
                                                     m->GetSizeY() - 1);
}

void CHTriangulation::CreateTriangulationFromSSEFieldSubSampledTwoFields(CSSEMatrix* m, CSSEMatrix* ref,
                                                                         bool above, int stepX, int stepY,
                                                                         int xFrom, int xTo, int yFrom,
                                                                         int yTo) {
  CheckSteps(stepX, stepY);
  numTriangles = 0;
  if (!Usable(m) || ref == nullptr) return;
  const std::int64_t xLast = static_cast<std::int64_t>(xTo) - stepX;
  const std::int64_t yLast = static_cast<std::int64_t>(yTo) - stepY;
  if (xFrom > xLast) return;
  const int n = Reserve(CountPassing(*m, *ref, above), stepX, stepY);
  if (n < 1) return;
  CreateTriangulation(n);
  const auto validOf = [m, ref, above](int x, int y) {
    const float v = m->GetPoint(x, y), r = ref->GetPoint(x, y);
    return above ? v > r : v < r;
  };
  SweepSubSampled(m, above, stepX, stepY, xFrom, xLast, yFrom, yLast, false, validOf);
}

// ---- constructors ----------------------------------------------------------------------------------------

namespace {

void SingleFieldFollowUp(CHTriangulation& t) {
  if (t.GetNumTriangles() < 1) return;
  t.CalcBoundingBox();
  t.CalcSTV();
}

void TwoFieldFollowUp(CHTriangulation& t) {
  if (t.GetNumTriangles() < 1) return;
  t.CalcNeighbours();
  t.CalcBoundingBox();
  t.CalcSTV();
  t.CalcNormalsFromVertices();
}

}  // namespace

CHTriangulation::CHTriangulation(CSSEMatrix* m, float threshold, bool above, float sx, float sy, float sz)
    : CHTriangulation() {
  BaseInitialization(sx, sy, sz);
  CreateTriangulationFromSSEField(m, threshold, above);
  SingleFieldFollowUp(*this);
}

CHTriangulation::CHTriangulation(CSSEMatrix* m, float threshold, bool above, float sx, float sy, float sz,
                                 int stepX, int stepY)
    : CHTriangulation() {
  BaseInitialization(sx, sy, sz);
  CreateTriangulationFromSSEFieldSubSampled(m, threshold, above, stepX, stepY);
  SingleFieldFollowUp(*this);
}

CHTriangulation::CHTriangulation(CSSEMatrix* m, float threshold, bool above, float sx, float sy, float sz,
                                 int stepX, int stepY, int xFrom, int xTo, int yFrom, int yTo, bool forceFull)
    : CHTriangulation() {
  BaseInitialization(sx, sy, sz);
  CreateTriangulationFromSSEFieldSubSampled(m, threshold, above, stepX, stepY, xFrom, xTo, yFrom, yTo,
                                            forceFull);
  SingleFieldFollowUp(*this);
}

CHTriangulation::CHTriangulation(CSSEMatrix* m, float threshold, bool above, float sx, float sy, float sz,
                                 int stepX, int stepY, CSSE3dPolygon* outline)
    : CHTriangulation() {
  BaseInitialization(sx, sy, sz);
  CreateTriangulationFromSSEFieldSubSampled(m, threshold, above, stepX, stepY, outline);
  SingleFieldFollowUp(*this);
}

CHTriangulation::CHTriangulation(CSSEMatrix* m, CSSEMatrix* ref, bool above, float sx, float sy, float sz,
                                 int stepX, int stepY)
    : CHTriangulation() {
  BaseInitialization(sx, sy, sz);
  CreateTriangulationFromSSEFieldSubSampledTwoFields(m, ref, above, stepX, stepY);
  TwoFieldFollowUp(*this);
}

CHTriangulation::CHTriangulation(CSSEMatrix* m, CSSEMatrix* ref, bool above, float sx, float sy, float sz,
                                 int stepX, int stepY, int xFrom, int xTo, int yFrom, int yTo)
    : CHTriangulation() {
  BaseInitialization(sx, sy, sz);
  CreateTriangulationFromSSEFieldSubSampledTwoFields(m, ref, above, stepX, stepY, xFrom, xTo, yFrom, yTo);
  TwoFieldFollowUp(*this);
}
