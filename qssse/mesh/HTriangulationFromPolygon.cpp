// Meshes from outline polygons: ear clipping refined into a mesh, or a fan around the outline's centre.
#include <string>

#include "qssse/geometry/HPolygonTriangulationRefinement.h"
#include "qssse/geometry/HPolygonTriangulator.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/polygon/SSE3dPolygon.h"

namespace {

constexpr int kRefinementPasses = 14;

// The follow-up calls of the polygon builders.
void PolygonFollowUp(CHTriangulation& t) {
  if (t.GetNumTriangles() < 1) return;
  t.ScaleTriangulation();
  t.CalcSTV();
  t.CalcNormalsFromVertices();
  t.CalcBoundingBox();
}

void CheckStep(const char* member, int step) {
  if (step < 1) {
    AfxThrowInvalidArgumentException(std::string("CHTriangulation::") + member + ": step " +
                                     std::to_string(step) + " is below 1");
  }
}

}  // namespace

CHTriangulation::CHTriangulation(CSSE3dPolygon* outline, int step, bool fan, float length, float sx, float sy,
                                 float sz)
    : CHTriangulation() {
  BaseInitialization(sx, sy, sz);
  if (fan) {
    CreateSimpleFanTriangulationFromPolygon(outline, step);
  } else {
    CreateTriangulationFromPolygon(outline, step, length);
  }
  PolygonFollowUp(*this);
}

CHTriangulation::CHTriangulation(CSSE3dPolygon* outline, int step, float length, CSSEMatrix* field,
                                 bool above, float zOffset, float sx, float sy, float sz)
    : CHTriangulation() {
  BaseInitialization(sx, sy, sz);
  CreateTriangulationFromPolygon(outline, step, length);
  // The corners are still in the outline's raster units: the constraint reads their own pixels with unit
  // scales (it divides by the scales, which suits meshes already scaled).
  const float keepX = scaleX, keepY = scaleY;
  scaleX = scaleY = 1.0f;
  ConstrainWithHeightField(above, field, zOffset);
  scaleX = keepX, scaleY = keepY;
  PolygonFollowUp(*this);
}

void CHTriangulation::CreateTriangulationFromPolygon(CSSE3dPolygon* outline, int step, float length) {
  CheckStep("CreateTriangulationFromPolygon", step);
  CreateTriangulation(0);
  if (outline == nullptr || outline->GetNumPoints() / step < 3) return;

  // 1. ear clipping at unit scales, from the head's successor
  CHPolygonTriangulator triangulator(outline, step, 1.0f, 1.0f, 1.0f, true);
  // 2. refinement
  CHPolygonTriangulationRefinement refinement(&triangulator, length, kRefinementPasses);
  // 3. the triangles in 3-D, in list order
  const int n = refinement.GetNumTriangles();
  if (n < 1) return;
  CreateTriangulation(n);
  SSEPoint* c = cornerPoints;
  refinement.GetFirstTriangle3D(c[0], c[1], c[2]);
  for (int i = 1; i < n; ++i) refinement.GetNextTriangle3D(c[3 * i], c[3 * i + 1], c[3 * i + 2]);
}

void CHTriangulation::CreateSimpleFanTriangulationFromPolygon(CSSE3dPolygon* outline, int step) {
  CheckStep("CreateSimpleFanTriangulationFromPolygon", step);
  CreateTriangulation(0);
  if (outline == nullptr) return;
  const int m = outline->GetNumPoints() / step;
  if (m < 3) return;
  double cx = 0.0, cy = 0.0, cz = 0.0;
  for (int i = 0; i < m; ++i) {
    SSEPoint p;
    outline->GetPointSSE(i * step, p);
    cx += p.x, cy += p.y, cz += p.z;
  }
  const SSEPoint centre =
      qssse::MakeSSEPoint(static_cast<float>(cx / m), static_cast<float>(cy / m), static_cast<float>(cz / m));
  CreateTriangulation(m);
  for (int i = 0; i < m; ++i) {
    SSEPoint* c = cornerPoints + 3 * i;
    c[0] = centre;
    outline->GetPointSSE(i * step, c[1]);
    outline->GetPointSSE(((i + 1) % m) * step, c[2]);
  }
}
