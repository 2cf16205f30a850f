// Fuzzed outlines, raw floats included, through the ear-clipping triangulator (2-D and 3-D sources, every
// step, both search orders) and its refinement. A triangulation of n points has at most n - 2
// triangles, each naming vertices of the ring; the refinement must finish with readable triangles.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "FuzzInput.h"
#include "qssse/geometry/HPolygonTriangulationRefinement.h"
#include "qssse/geometry/HPolygonTriangulator.h"
#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/platform/MemoryLimit.h"
#include "qssse/polygon/SSE2dPolygon.h"
#include "qssse/polygon/SSE3dPolygon.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qssse::SetMemoryLimit(std::uint64_t{256} << 20);
  fuzz::Input in(data, size);
  const bool flat = in.Bool();
  const int step = in.Int(0, 4);
  const bool afterHead = in.Bool();
  const float scale = in.Bool() ? 1.0f : in.Coordinate(0.5f);
  const std::vector<fuzz::Point3> points = fuzz::Points(in, 64, in.Bool() ? 1.0f : 0.01f);
  CSSE3dPolygon p3;
  p3.Create(static_cast<int>(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i) p3.SetPoint(static_cast<int>(i), points[i].x, points[i].y, points[i].z);
  CSSE2dPolygon p2;
  p2.Create(static_cast<int>(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i) p2.SetPoint(static_cast<int>(i), points[i].x, points[i].y);
  try {
    std::unique_ptr<CHPolygonTriangulator> t;
    if (flat) {
      t = std::make_unique<CHPolygonTriangulator>(&p2, step, scale, scale, afterHead);
    } else {
      t = std::make_unique<CHPolygonTriangulator>(&p3, step, scale, scale, 1.0f, afterHead);
    }
    const int n = t->GetNumVertices();
    fuzz::Check(t->GetNumTriangles() <= (n >= 3 ? n - 2 : 0), "EarClipFuzz", "more triangles than the ring allows");
    for (int i = 0; i < t->GetNumTriangles(); ++i) {
      for (const int v : t->GetConnectivityArray()[i].vnum) fuzz::Check(v >= 0 && v < n, "EarClipFuzz", "a triangle names a vertex outside the ring");
      SSEPoint a, b, c;
      t->GetTriangle3D(i, a, b, c);
    }
    const float length = in.Bool() ? 1.0f : in.Coordinate(0.25f);
    CHPolygonTriangulationRefinement r(t.get(), length, in.Int(-1, 4));
    for (int i = 0; i < r.GetNumTriangles() && i < 64; ++i) {
      SSEPoint a, b, c;
      r.GetTriangle3D(i, a, b, c);
    }
    CSSE3dPolygon border;
    r.GetBorderLinePolygon(&border);
  } catch (const CInvalidArgumentException&) {
  } catch (const CMemoryException&) {
  }
  return 0;
}
