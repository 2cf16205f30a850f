// Mesh members that meet the outline polygon and the base library's 4x4 matrix.
#include "qssse/mesh/HTriangulation.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/vector/SimdOps.h"

void CHTriangulation::FindBorderLine(CSSE3dPolygon* line) {
  if (line == nullptr) return;
  // 1. one stretch per border triangle, 2. room for as many points, 3. string them
  const int count = CollectBorderStretches();
  line->Create(count);
  // Zeroed first: where the list does not connect the walk stops short of count points.
  for (int k = 0; k < count; ++k) line->SetPoint(k, 0.0f, 0.0f, 0.0f);
  WalkBorderStretches([line, count](int k, const SSEPoint& p) {
    if (k < count) line->SetPoint(k, p.x, p.y, p.z);
  });
}

void CHTriangulation::TransformVertices(const CbMatrix4Rf& m) {
  t_ssematrix3 rows;
  rows.row0 = qssse::simd::lanes(m(0, 0), m(0, 1), m(0, 2), m(0, 3));
  rows.row1 = qssse::simd::lanes(m(1, 0), m(1, 1), m(1, 2), m(1, 3));
  rows.row2 = qssse::simd::lanes(m(2, 0), m(2, 1), m(2, 2), m(2, 3));
  TransformVertices(rows);
}
