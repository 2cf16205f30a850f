// Fuzzed point sets through the hulls: the 2-D hull of a polygon's points and the exact 3-D hull with
// its mesh builder. Degenerate sets (collinear, coplanar, duplicate, out of range) must end in the
// documented CHullException; a built 3-D hull must be a closed triangulated surface (V - E + F = 2,
// 3F = 2E) whose mesh has one triangle per face.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "FuzzInput.h"
#include "qssse/geometry/HConvexHull2D.h"
#include "qssse/geometry/HConvexHull3D.h"
#include "qssse/geometry/HullException.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/platform/MemoryLimit.h"
#include "qssse/platform/WorkBudget.h"
#include "qssse/platform/WorkBudgetException.h"
#include "qssse/polygon/SSE3dPolygon.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qssse::SetMemoryLimit(std::uint64_t{256} << 20);
  // Work planned beyond 2^24 steps (some tenths of a second here) is refused up front.
  qssse::SetWorkBudget(std::uint64_t{1} << 24);
  fuzz::Input in(data, size);
  const float unit = in.Bool() ? 1.0f : 0.25f;
  const std::vector<fuzz::Point3> points = fuzz::Points(in, 200, unit);

  CSSE3dPolygon polygon;
  polygon.Create(static_cast<int>(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i)
    polygon.SetPoint(static_cast<int>(i), points[i].x, points[i].y, points[i].z);
  {
    CHConvexHull2D hull(&polygon);
    CSSE3dPolygon out;
    hull.ObtainConvexHull3D(&out);
    fuzz::Check(out.GetNumPoints() <= static_cast<int>(points.size()), "HullFuzz", "the 2-D hull has more points than its input");
  }

  const float scale = in.Bool() ? 1.0f : 1000.0f;
  CHConvexHull3D hull;
  try {
    for (const fuzz::Point3& p : points) hull.AppendVertex3D(p.x, p.y, p.z, scale);
    hull.CalcConvexHull();
  } catch (const CHullException&) {
    return 0;
  }
  const int v = hull.GetNumVertices(), e = hull.GetNumEdges(), f = hull.GetNumFaces();
  fuzz::Check(v - e + f == 2 && 3 * f == 2 * e, "HullFuzz", "the 3-D hull is not a closed triangulated surface");
  try {
    CHTriangulation mesh(&hull, 1.0f, 1.0f, 1.0f, scale);
    fuzz::Check(mesh.GetNumTriangles() == f, "HullFuzz", "the hull's mesh lost faces");
    mesh.CalcNeighbours();
  } catch (const CMemoryException&) {
  } catch (const CWorkBudgetException&) {
  }
  return 0;
}
