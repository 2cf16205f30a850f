// qssse mesh: a height field into a triangle mesh file.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

#include "cli/Commands.h"
#include "cli/Error.h"
#include "cli/Formats.h"
#include "cli/MeshConvert.h"
#include "cli/Summary.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/raster/SSEMatrix.h"

namespace qssse::tool {
namespace {

// "auto" gives a threshold just past the field's extreme height, so that every pixel with a height is a
// valid corner; the gap grows with the heights so that it survives printing and reading back.
float AutoThreshold(float lo, float hi, bool below) {
  const float gap = 1e-6f * std::max({1.0f, std::fabs(lo), std::fabs(hi), hi - lo});
  return below ? hi + gap : lo - gap;
}

}  // namespace

int RunMesh(const MeshOptions& o) {
  if (!(std::isfinite(o.scaleZ) && o.scaleZ != 0.0f)) throw ToolError("--scale-z must be a non-zero number");
  const bool autoThreshold = o.threshold == "auto";
  float threshold = 0.0f;
  if (!autoThreshold) {
    const auto [p, ec] =
        std::from_chars(o.threshold.data(), o.threshold.data() + o.threshold.size(), threshold);
    if (ec != std::errc() || p != o.threshold.data() + o.threshold.size() || !std::isfinite(threshold))
      throw ToolError("--threshold must be a number or 'auto', not '" + o.threshold + "'");
  }
  // Pixels without a height come back as NaN, so that they stay out of the mesh whatever the threshold.
  HeightField h =
      ReadRasterInput(o.input, o.raster, std::numeric_limits<float>::quiet_NaN(), "left out of the mesh");
  OutlinePoints outline;
  if (!o.outline.empty()) outline = ReadOutline(o.outline);
  MeshKindFromName(o.output);  // a bad output name fails before the work

  float lo = std::numeric_limits<float>::infinity(), hi = -lo;
  for (float v : h.values) {
    if (std::isnan(v)) continue;
    lo = std::min(lo, v);
    hi = std::max(hi, v);
  }
  if (lo > hi) throw ToolError(o.input, "every pixel is marked as carrying no height");
  if (autoThreshold) threshold = AutoThreshold(lo, hi, o.below);
  // The builder takes corners strictly above (below) the threshold: a pixel at the threshold never passes.
  for (float& v : h.values) {
    if (std::isnan(v)) v = threshold;
  }

  CSSEMatrix m;
  ToMatrix(h, m);
  HeightMeshOptions b;
  b.threshold = threshold;
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
  char thresholdText[64];
  std::snprintf(thresholdText, sizeof thresholdText, "%.9g", threshold);
  if (mesh->GetNumTriangles() == 0) {
    throw ToolError(o.input, std::string("no cell has corners ") + (o.below ? "below" : "above") +
                                 " the threshold " + thresholdText +
                                 (o.outline.empty() ? "" : " inside the outline"));
  }
  const MeshData data = ToMeshData(*mesh);
  WriteMesh(o.output, data);
  SSEPoint lo3, hi3;
  mesh->GetMinPoint(lo3);
  mesh->GetMaxPoint(hi3);
  std::printf(
      "%s: %zu triangles, %zu vertices from %s (%d x %d), box x %.6g .. %.6g, y %.6g .. %.6g, "
      "z %.6g .. %.6g, %.1f ms\n",
      o.output.c_str(), data.triangles.size(), data.vertices.size(), o.input.c_str(), h.width, h.height,
      lo3.x, hi3.x, lo3.y, hi3.y, lo3.z, hi3.z, buildMs);
  if (autoThreshold) {
    std::printf("%s: threshold %s (auto: just %s the %s height %.9g)\n", o.output.c_str(), thresholdText,
                o.below ? "above" : "below", o.below ? "highest" : "lowest", o.below ? hi : lo);
  } else {
    std::printf("%s: threshold %s\n", o.output.c_str(), thresholdText);
  }
  return 0;
}

}  // namespace qssse::tool
