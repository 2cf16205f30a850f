// qssse scan: a triangle mesh back into a height field.
#include <cmath>
#include <cstdio>

#include "cli/Commands.h"
#include "cli/Error.h"
#include "cli/Formats.h"
#include "cli/MeshConvert.h"
#include "cli/Summary.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/raster/SSEMatrix.h"

namespace qssse::tool {

int RunScan(const ScanOptions& o) {
  if (!(std::isfinite(o.resolution) && o.resolution > 0.0f)) throw ToolError("--resolution must be positive");
  if (!std::isfinite(o.zOffset)) throw ToolError("--z-offset must be a number");
  const MeshData data = ReadMeshInput(o.input);
  HeightFieldKindFromName(o.output);  // a bad output name fails before the work
  if (data.triangles.empty()) throw ToolError(o.input, "the mesh has no triangles");
  const std::unique_ptr<CHTriangulation> mesh = ToTriangulation(data, o.input);
  mesh->SetScanConvResolution(o.resolution, o.resolution, 1.0f);
  SSEPoint lo, hi;
  mesh->GetMinPoint(lo);
  mesh->GetMaxPoint(hi);

  // The library sizes the raster as trunc(extent / resolution + 0.5); checked here in double first so a
  // fine resolution is refused instead of exhausting memory.
  const double w =
      o.width > 0 ? o.width : std::trunc((static_cast<double>(hi.x) - lo.x) / o.resolution + 0.5);
  const double h =
      o.height > 0 ? o.height : std::trunc((static_cast<double>(hi.y) - lo.y) / o.resolution + 0.5);
  char resolution[32];
  std::snprintf(resolution, sizeof resolution, "%.6g", o.resolution);
  CheckRasterFits(w, h, o.input, std::string("at resolution ") + resolution + ", raise --resolution");
  if (w < 3 || h < 3) {
    throw ToolError(o.input, std::string("the mesh covers less than 3 x 3 pixels at resolution ") +
                                 resolution + " (the outer pixel frame is never written)");
  }

  CSSEMatrix m;
  Stopwatch t;
  try {
    if (o.width > 0 || o.height > 0) {
      // A raster of the requested size from the mesh's lowest corner.
      SSEPoint top = qssse::MakeSSEPoint(static_cast<float>(lo.x + w * o.resolution),
                                         static_cast<float>(lo.y + h * o.resolution), hi.z);
      if (o.threads)
        mesh->FastScanConvertTriangulation_MinMaxPoint(&m, o.zOffset, lo, top, !o.minimum);
      else if (o.minimum)
        mesh->ScanConvertTriangulationMin_MinMaxPoint(&m, o.zOffset, lo, top);
      else
        mesh->ScanConvertTriangulationMax_MinMaxPoint(&m, o.zOffset, lo, top);
    } else if (o.threads) {
      mesh->FastScanConvertTriangulation(&m, o.zOffset, !o.minimum);
    } else if (o.minimum) {
      mesh->ScanConvertTriangulationMin(&m, o.zOffset, 1.0f);
    } else {
      mesh->ScanConvertTriangulationMax(&m, o.zOffset);
    }
    if (o.refine && m.HasPixels()) {
      if (o.minimum)
        mesh->RefineScanConvImage(&m, o.zOffset);
      else
        mesh->RefineScanConvImageTop(&m, o.zOffset);
    }
  } catch (const CMemoryException&) {
    throw ToolError(o.input, "not enough memory to scan-convert this mesh");
  }
  const double ms = t.Ms();
  if (!m.HasPixels()) throw ToolError(o.input, "the mesh gives an empty raster at this resolution");
  const HeightField out = FromMatrix(m);
  std::size_t covered = 0;
  for (float v : out.values) covered += v != 0.0f;
  HeightFieldWriteOptions written;
  written.png.bits = o.bits;
  written.zeroAsNaN = o.noDataNaN;
  WriteHeightField(o.output, out, written);
  std::printf(
      "%s: %d x %d pixels, %zu covered by the %zu triangles of %s, pixel (0, 0) at x %.6g, y %.6g, "
      "heights above z %.6g%s, %.1f ms\n",
      o.output.c_str(), out.width, out.height, covered, data.triangles.size(), o.input.c_str(), lo.x, lo.y,
      lo.z, o.minimum ? " (lowest surface)" : "", ms);
  return 0;
}

}  // namespace qssse::tool
