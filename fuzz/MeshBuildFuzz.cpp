// Fuzzed height fields through the mesh builders (full resolution, sub-sampled, clipped to an outline,
// against a reference field), then the follow-up chain every caller runs: neighbours, border triangles,
// border line, removal by height, octree filing. Values include NaN, infinities and huge numbers.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "FuzzInput.h"
#include "qssse/geometry/HOctree.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/platform/MemoryLimit.h"
#include "qssse/platform/WorkBudget.h"
#include "qssse/platform/WorkBudgetException.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"

namespace {

void Field(fuzz::Input& in, CSSEMatrix& m, int w, int h) {
  m.Create(w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) m.SetPoint(x, y, in.Coordinate(1.0f));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qssse::SetMemoryLimit(std::uint64_t{256} << 20);
  // Work planned beyond 2^24 steps (some tenths of a second here) is refused up front.
  qssse::SetWorkBudget(std::uint64_t{1} << 24);
  fuzz::Input in(data, size);
  const int w = in.Int(0, 24), h = in.Int(0, 24);
  const int mode = in.Int(0, 3);
  const bool above = in.Bool();
  const float threshold = in.Coordinate(1.0f);
  const int stepX = in.Int(1, 4), stepY = in.Int(1, 4);
  const float sx = in.Bool() ? 1.0f : in.Coordinate(0.5f), sy = 1.0f, sz = in.Bool() ? 1.0f : 0.1f;
  CSSEMatrix m, ref;
  Field(in, m, w, h);
  try {
    std::unique_ptr<CHTriangulation> mesh;
    CSSE3dPolygon outline;
    switch (mode) {
      case 0:
        mesh = std::make_unique<CHTriangulation>(&m, threshold, above, sx, sy, sz);
        break;
      case 1:
        mesh = std::make_unique<CHTriangulation>(&m, threshold, above, sx, sy, sz, stepX, stepY);
        break;
      case 2: {
        const std::vector<fuzz::Point3> points = fuzz::Points(in, 12, 4.0f);
        outline.Create(static_cast<int>(points.size()));
        for (std::size_t i = 0; i < points.size(); ++i)
          outline.SetPoint(static_cast<int>(i), points[i].x + 12.0f, points[i].y + 12.0f, points[i].z);
        mesh = std::make_unique<CHTriangulation>(&m, threshold, above, sx, sy, sz, stepX, stepY, &outline);
        break;
      }
      default:
        Field(in, ref, w, h);
        mesh = std::make_unique<CHTriangulation>(&m, &ref, above, sx, sy, sz, stepX, stepY);
        break;
    }
    mesh->CalcNeighbours();
    mesh->FindBorderTriangles();
    CSSE3dPolygon border;
    mesh->FindBorderLine(&border);
    SSEPoint lo, hi;
    mesh->GetMinPoint(lo);
    mesh->GetMaxPoint(hi);
    if (mesh->GetNumTriangles() > 0) {
      CHOctree tree(hi, lo, in.Bool() ? 1.0f : in.Coordinate(0.5f));
      tree.CalculateOctreeEntries(mesh.get(), in.Int(0, 3));
    }
    const float zA = in.Coordinate(1.0f), zB = in.Coordinate(1.0f);
    mesh->RemoveTrianglesBetweenZ(zA, zB);
    mesh->CollectBorderStretches();
  } catch (const CMemoryException&) {
  } catch (const CWorkBudgetException&) {
  } catch (const CInvalidArgumentException&) {
  }
  return 0;
}
