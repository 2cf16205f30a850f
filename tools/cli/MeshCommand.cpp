// qssse mesh: a height field into a triangle mesh file.
#include <cmath>
#include <cstdio>

#include "cli/Commands.h"
#include "cli/Error.h"
#include "cli/HeightField.h"
#include "cli/MeshConvert.h"
#include "cli/MeshFile.h"
#include "cli/Outline.h"
#include "cli/Summary.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/raster/SSEMatrix.h"

namespace qssse::tool {

int RunMesh(const MeshOptions& o) {
  if (!(std::isfinite(o.scaleZ) && o.scaleZ != 0.0f)) throw ToolError("--scale-z must be a non-zero number");
  PngScale in;
  in.haveScale = o.raster.haveHeightScale;
  in.scale = o.raster.heightScale;
  in.haveOffset = o.raster.haveHeightOffset;
  in.offset = o.raster.heightOffset;
  const HeightField h = ReadHeightField(o.input, in);
  OutlinePoints outline;
  if (!o.outline.empty()) outline = ReadOutline(o.outline);
  MeshFormatFromName(o.output);  // a bad output name fails before the work

  CSSEMatrix m;
  ToMatrix(h, m);
  HeightMeshOptions b;
  b.threshold = o.threshold;
  b.above = !o.below;
  b.stepX = o.stepX;
  b.stepY = o.stepY;
  b.scaleX = o.scaleX;
  b.scaleY = o.scaleY;
  b.outline = o.outline.empty() ? nullptr : &outline;
  b.source = o.input;
  Stopwatch t;
  std::unique_ptr<CHTriangulation> mesh;
  try {
    mesh = BuildHeightMesh(m, b);
  } catch (const CMemoryException&) {
    throw ToolError(o.input, "not enough memory for the mesh of this height field");
  }
  // The builders leave heights raw: the z scale is a stretch of the finished mesh.
  if (o.scaleZ != 1.0f) mesh->BlowTriangulation(1.0f, 1.0f, o.scaleZ);
  const double buildMs = t.Ms();
  if (mesh->GetNumTriangles() == 0) {
    throw ToolError(o.input, std::string("no cell has corners ") + (o.below ? "below" : "above") +
                                 " the threshold " + std::to_string(o.threshold) +
                                 (o.outline.empty() ? "" : " inside the outline"));
  }
  const MeshData data = ToMeshData(*mesh);
  WriteMesh(o.output, data);
  SSEPoint lo, hi;
  mesh->GetMinPoint(lo);
  mesh->GetMaxPoint(hi);
  std::printf(
      "%s: %zu triangles, %zu vertices from %s (%d x %d), box x %.6g .. %.6g, y %.6g .. %.6g, "
      "z %.6g .. %.6g, %.1f ms\n",
      o.output.c_str(), data.triangles.size(), data.vertices.size(), o.input.c_str(), h.width, h.height, lo.x,
      hi.x, lo.y, hi.y, lo.z, hi.z, buildMs);
  return 0;
}

}  // namespace qssse::tool
