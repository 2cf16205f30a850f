#include "cli/MeshConvert.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "cli/Error.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"

namespace qssse::tool {

void CheckMeshFits(std::uint64_t triangles, const std::string& source) {
  // Twelve points and a record per triangle in the library, a triangle soup and its welded copy here.
  constexpr std::uint64_t kBytesPerTriangle = 12 * sizeof(SSEPoint) + sizeof(t_htriangle) + 160;
  const long pages = ::sysconf(_SC_PHYS_PAGES), pageSize = ::sysconf(_SC_PAGE_SIZE);
  if (pages <= 0 || pageSize <= 0) return;
  const std::uint64_t memory = static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
  if (triangles <= memory / 2 / kBytesPerTriangle) return;
  throw ToolError(source, "a mesh of " + std::to_string(triangles) + " triangles needs about " +
                              std::to_string(triangles * kBytesPerTriangle >> 30) +
                              " GiB, more than half of this machine's memory");
}

long long ClipToOutline(CSSEMatrix& m, CSSE3dPolygon& outline, float value) {
  outline.CalcBoundingBox();
  long long cleared = 0;
  for (int y = 0; y < m.GetSizeY(); ++y) {
    for (int x = 0; x < m.GetSizeX(); ++x) {
      if (outline.PointInLineInnerArea(static_cast<float>(x), static_cast<float>(y), 4)) continue;
      m.SetPoint(x, y, value);
      ++cleared;
    }
  }
  return cleared;
}

std::unique_ptr<CHTriangulation> BuildHeightMesh(CSSEMatrix& heights, const HeightMeshOptions& o) {
  if (o.stepX < 1 || o.stepY < 1) throw ToolError("the step must be at least 1");
  if (!(std::isfinite(o.scaleX) && o.scaleX > 0.0f && std::isfinite(o.scaleY) && o.scaleY > 0.0f)) {
    throw ToolError("the x and y scales must be positive numbers");
  }
  if (!std::isfinite(o.threshold)) throw ToolError("the threshold must be a number");
  // The builder's own reserve (the clipped form's too): two triangles per passing pixel, over the cell
  // area.
  const int passing = o.above ? heights.NumValuesAbove(o.threshold) : heights.NumValuesBelow(o.threshold);
  CheckMeshFits(2 * static_cast<std::uint64_t>(std::max(passing, 0)) /
                    (static_cast<std::uint64_t>(o.stepX) * static_cast<std::uint64_t>(o.stepY)),
                o.source);
  auto mesh = std::make_unique<CHTriangulation>();
  mesh->BaseInitialization(o.scaleX, o.scaleY, 1.0f);
  if (o.outline != nullptr) {
    CSSE3dPolygon outline;
    ToPolygon(*o.outline, outline);
    mesh->CreateTriangulationFromSSEFieldSubSampled(&heights, o.threshold, o.above, o.stepX, o.stepY,
                                                    &outline);
  } else {
    mesh->CreateTriangulationFromSSEFieldSubSampled(&heights, o.threshold, o.above, o.stepX, o.stepY);
  }
  if (mesh->GetNumTriangles() > 0) {
    mesh->CalcBoundingBox();
    mesh->CalcSTV();
  }
  return mesh;
}

MeshData ToMeshData(const CHTriangulation& mesh) { return MeshDataFromTriangulation(mesh); }

std::unique_ptr<CHTriangulation> ToTriangulation(const MeshData& data, const std::string& source) {
  if (data.triangles.size() > static_cast<std::size_t>(std::numeric_limits<int>::max() / 3)) {
    throw ToolError(source,
                    std::to_string(data.triangles.size()) + " triangles are more than the library holds");
  }
  CheckMeshFits(data.triangles.size(), source);
  auto mesh = std::make_unique<CHTriangulation>();
  CopyToTriangulation(data, *mesh);
  return mesh;
}

void ToPolygon(const OutlinePoints& points, CSSE3dPolygon& polygon) {
  if (points.size() > static_cast<std::size_t>(std::numeric_limits<int>::max() / 4)) {
    throw ToolError("an outline of " + std::to_string(points.size()) + " points is too long");
  }
  polygon.Create(static_cast<int>(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i) {
    polygon.SetPoint(static_cast<int>(i), points[i].x, points[i].y, points[i].z);
  }
}

}  // namespace qssse::tool
