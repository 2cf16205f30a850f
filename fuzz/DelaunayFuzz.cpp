// Fuzzed planar points through the Delaunay triangulation and its mesh builder, and fuzzed outline
// pairs through the wall strip between two outlines. Collinear, cocircular and out-of-range sets must
// end in the documented CHullException; a triangulation must give a mesh of one triangle per face.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "FuzzInput.h"
#include "qssse/geometry/H2DDelaunay.h"
#include "qssse/geometry/HullException.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/platform/MemoryLimit.h"
#include "qssse/platform/WorkBudget.h"
#include "qssse/platform/WorkBudgetException.h"
#include "qssse/polygon/SSE3dPolygon.h"

namespace {

void Outline(CSSE3dPolygon& p, const std::vector<fuzz::Point3>& points) {
  p.Create(static_cast<int>(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i) p.SetPoint(static_cast<int>(i), points[i].x, points[i].y, points[i].z);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qssse::SetMemoryLimit(std::uint64_t{256} << 20);
  // Work planned beyond 2^24 steps (some tenths of a second here) is refused up front.
  qssse::SetWorkBudget(std::uint64_t{1} << 24);
  fuzz::Input in(data, size);
  const bool wall = in.Bool();
  const float unit = in.Bool() ? 1.0f : 0.05f;
  const std::vector<fuzz::Point3> points = fuzz::Points(in, 150, unit);
  CH2DDelaunay d;
  try {
    if (wall) {
      const std::size_t half = points.size() / 2;
      CSSE3dPolygon lower, upper;
      Outline(lower, std::vector<fuzz::Point3>(points.begin(), points.begin() + static_cast<std::ptrdiff_t>(half)));
      Outline(upper, std::vector<fuzz::Point3>(points.begin() + static_cast<std::ptrdiff_t>(half), points.end()));
      d.CreateTriangulationFromTwoBorderPolygons(&lower, &upper, false);
    } else {
      for (std::size_t i = 0; i < points.size(); ++i) d.AppendVertex(points[i].x, points[i].y, static_cast<int>(i), (i & 1) != 0);
      d.CalcDelaunayTriangulation();
    }
  } catch (const CHullException&) {
    return 0;
  }
  try {
    CHTriangulation mesh(&d, 1.0f, 1.0f, 1.0f, in.Bool());
    fuzz::Check(mesh.GetNumTriangles() == d.GetNumFaces(), "DelaunayFuzz", "the mesh lost faces");
    mesh.CalcNeighbours();
    mesh.FindBorderTriangles();
  } catch (const CMemoryException&) {
  } catch (const CWorkBudgetException&) {
  }
  return 0;
}
