#include "qssse/restoration/QsDmTriangulationTo2DHull.h"

#include "qssse/geometry/HConvexHull2D.h"
#include "qssse/platform/DmTriangulationStatic.h"

namespace {

// True when every point of p lies at one x-y position (also for no points).
bool SinglePosition(const CSSE3dPolygon& p) {
  float x0 = 0.0f, y0 = 0.0f;
  p.GetPointXY(0, x0, y0);
  for (int i = 1; i < p.GetNumPoints(); ++i) {
    float x = 0.0f, y = 0.0f;
    p.GetPointXY(i, x, y);
    if (x != x0 || y != y0) return false;
  }
  return true;
}

}  // namespace

QsDmTriangulationTo2DHull::QsDmTriangulationTo2DHull(DmTriangulationStatic& mesh) {
  // 1. the box and the vertices, the mesh's x-z plane becoming the polygon's x-y plane
  DmBoundingBox3f box;
  mesh.ComputeBoundingBox(box);
  const int n = mesh.GetNumVertices();
  const float* xyz = mesh.GetCoordinates();
  CSSE3dPolygon points;
  points.Create(n);
  for (int i = 0; i < n; ++i) points.SetPoint(i, xyz[3 * i], xyz[3 * i + 2], xyz[3 * i + 1]);

  // 2. the hull replaces the points; without a hull of extent, the box rectangle
  {
    CHConvexHull2D hull(&points);
    hull.ObtainConvexHull3D(&points);
  }
  if (SinglePosition(points)) {
    points.Create(4);
    points.SetPoint(0, box.minimum.x, box.minimum.z, 0.0f);
    points.SetPoint(1, box.maximum.x, box.minimum.z, 0.0f);
    points.SetPoint(2, box.maximum.x, box.maximum.z, 0.0f);
    points.SetPoint(3, box.minimum.x, box.maximum.z, 0.0f);
  }

  // 3. back to the mesh's axes, then the y range into z: first half the minimum, second half the maximum
  CreateSimilar(&points);
  SwapYandZCoord();
  const int m = GetNumPoints();
  for (int i = 0; i < m; ++i) SetPointZ(i, i < m / 2 ? box.minimum.y : box.maximum.y);
}

QsDmTriangulationTo2DHull::QsDmTriangulationTo2DHull(const QsDmTriangulationTo2DHull& other)
    : CSSE3dPolygon(other) {}

QsDmTriangulationTo2DHull& QsDmTriangulationTo2DHull::operator=(const QsDmTriangulationTo2DHull& other) {
  CSSE3dPolygon::operator=(other);
  return *this;
}

QsDmTriangulationTo2DHull::~QsDmTriangulationTo2DHull() = default;
