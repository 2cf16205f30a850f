// Scan conversion limited by a closed line: the ordinary conversion, then the outside of the line
// cleared with the outline's own fast outside fill.
#include "qssse/mesh/HTriangulation.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"

namespace {

void ConvertThroughLine(CHTriangulation& t, CSSEMatrix* m, CSSE3dPolygon* line, float zOffset, bool keepMax) {
  if (m == nullptr || line == nullptr || line->GetNumPoints() < 3 || t.GetNumTriangles() < 1) return;
  // Converted aside, so a mesh that yields no raster leaves the caller's matrix as it was.
  CSSEMatrix converted;
  if (keepMax) {
    t.ScanConvertTriangulationMax(&converted, zOffset);
  } else {
    t.ScanConvertTriangulationMin(&converted, zOffset, 1.0f);
  }
  if (!converted.HasPixels()) return;

  SSEPoint origin;
  t.GetMinPoint(origin);
  const int n = line->GetNumPoints();
  CSSE3dPolygon inPixels;
  inPixels.Create(n);
  for (int i = 0; i < n; ++i) {
    float x = 0.0f, y = 0.0f, z = 0.0f;
    line->GetPoint(i, x, y, z);
    inPixels.SetPoint(i, (x - origin.x) / t.GetScanResX(), (y - origin.y) / t.GetScanResY(), z);
  }
  inPixels.CalcBoundingBox();
  inPixels.DrawOutsidePixels(converted, 0.0f);
  m->CopyFromSSEMatrix(converted);
}

}  // namespace

void CHTriangulation::ScanConvertThroughLineMax(CSSEMatrix* m, CSSE3dPolygon* line, float zOffset) {
  ConvertThroughLine(*this, m, line, zOffset, true);
}

void CHTriangulation::ScanConvertThroughLineMin(CSSEMatrix* m, CSSE3dPolygon* line, float zOffset) {
  ConvertThroughLine(*this, m, line, zOffset, false);
}
