// qssse scan: a triangle mesh back into a height field.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

#include "cli/Commands.h"
#include "cli/Error.h"
#include "cli/Formats.h"
#include "cli/MeshConvert.h"
#include "cli/Progress.h"
#include "cli/Summary.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/mesh/ScanSweep.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/platform/WorkBudget.h"
#include "qssse/platform/WorkBudgetException.h"
#include "qssse/raster/SSEMatrix.h"

namespace qssse::tool {
namespace {

enum class Method { kZBuffer, kStamp, kStampRefined };

Method MethodOf(const std::string& name) {
  if (name == "zbuffer") return Method::kZBuffer;
  if (name == "stamp") return Method::kStamp;
  if (name == "stamp-refined") return Method::kStampRefined;
  throw ToolError("--method must be zbuffer, stamp or stamp-refined");
}

// Progress of one step, drawn once the step has run for about a second, so that quick scans print
// nothing (and, as every progress, only on a terminal).
class SlowStepProgress {
 public:
  explicit SlowStepProgress(const char* label) : bar_(label) {}
  void operator()(long long done, long long total) {
    if (clock_.Ms() >= 1000.0) bar_.Update(done, total);
  }
  // For a step that reports nothing while it runs: the label alone, up front, when it is expected to
  // take long.
  void Announce(bool expectedLong) {
    if (expectedLong) bar_.Update(0, 1);
  }

 private:
  Progress bar_;
  Stopwatch clock_;
};

// Steps per second of the stamped conversion, to decide whether the threaded form announces itself.
constexpr double kStepsPerSecond = 5e7;

// The stamped conversion of ScanConvertTriangulationMax/Min (or their _MinMaxPoint forms, with a box
// from lo to top) in slices of the triangle list, so that progress can be shown: the same sentinel
// fill, the same sweep by ScanConvertTriangulationWithLimitedArea (which sizes nothing and uses the
// matrix's own size and the given origin), the same replacement. The raster size is the library's
// trunc(extent / resolution + 0.5), in float as the library computes it.
void StampInSlices(CHTriangulation& mesh, CSSEMatrix& m, float zOffset, SSEPoint lo, const SSEPoint& top,
                   bool keepMax, SlowStepProgress& progress) {
  const int w = static_cast<int>((top.x - lo.x) / mesh.GetScanResX() + 0.5f);
  const int h = static_cast<int>((top.y - lo.y) / mesh.GetScanResY() + 0.5f);
  const float sentinel = keepMax ? -999999.9f : 999999.9f;
  m.CreateNoClear(w, h);
  m.Fill(sentinel);
  const int n = mesh.GetNumTriangles();
  const int slice = std::max(1, n / 200);
  for (int first = 0; first < n; first += slice) {
    progress(first, n);
    mesh.ScanConvertTriangulationWithLimitedArea(&m, first, std::min(first + slice, n) - 1, zOffset, &lo,
                                                 keepMax);
  }
  m.ReplaceValueWithValue(sentinel, 0.0f, 1.0f);
}

// The refined form: every pixel whose centre a triangle covers gets the exact height (relative to the
// box, as the stamps), and every other pixel 0, so that the crosses' heights beyond the mesh go too.
// Coverage comes from the z-buffer over the same origin, whose raster reaches one pixel further.
void Refine(CHTriangulation& mesh, CSSEMatrix& m, float zOffset, const SSEPoint& lo, const SSEPoint& top,
            bool keepMax) {
  if (keepMax) {
    mesh.RefineScanConvImageTop(&m, zOffset);
  } else {
    mesh.RefineScanConvImage(&m, zOffset);
  }
  CSSEMatrix covered;
  mesh.ScanConvertTriangulationZBuffer_MinMaxPoint(&covered, keepMax, NAN, 0.0f, lo, top);
  for (int y = 0; y < m.GetSizeY(); ++y) {
    for (int x = 0; x < m.GetSizeX(); ++x) {
      if (std::isnan(covered.GetPoint(x, y))) m.SetPoint(x, y, 0.0f);
    }
  }
}

}  // namespace

int RunScan(const ScanOptions& o) {
  if (!(std::isfinite(o.resolution) && o.resolution > 0.0f)) throw ToolError("--resolution must be positive");
  if (!std::isfinite(o.zOffset)) throw ToolError("--z-offset must be a number");
  const Method method = MethodOf(o.method);
  if (o.threads && method == Method::kZBuffer) {
    throw ToolError("--threads applies to --method stamp and stamp-refined (the z-buffer runs on one thread)");
  }
  const bool stamped = method != Method::kZBuffer;
  const MeshData data = ReadMeshInput(o.input);
  HeightFieldKindFromName(o.output);  // a bad output name fails before the work
  if (data.triangles.empty()) throw ToolError(o.input, "the mesh has no triangles");
  const std::unique_ptr<CHTriangulation> mesh = ToTriangulation(data, o.input);
  mesh->SetScanConvResolution(o.resolution, o.resolution, 1.0f);
  SSEPoint lo, hi;
  mesh->GetMinPoint(lo);
  mesh->GetMaxPoint(hi);

  // The library sizes the raster as trunc(extent / resolution + 0.5) steps, plus one pixel for the
  // z-buffer's grid points; checked here in double first so a fine resolution is refused instead of
  // exhausting memory.
  const double extra = stamped ? 0.0 : 1.0;
  const double w =
      o.width > 0 ? o.width : std::trunc((static_cast<double>(hi.x) - lo.x) / o.resolution + 0.5) + extra;
  const double h =
      o.height > 0 ? o.height : std::trunc((static_cast<double>(hi.y) - lo.y) / o.resolution + 0.5) + extra;
  char resolution[32];
  std::snprintf(resolution, sizeof resolution, "%.6g", o.resolution);
  CheckRasterFits(w, h, o.input, std::string("at resolution ") + resolution + ", raise --resolution");
  if (stamped && (w < 3 || h < 3)) {
    throw ToolError(o.input, std::string("the mesh covers less than 3 x 3 pixels at resolution ") +
                                 resolution + " (the outer pixel frame is never written)");
  }
  // A raster of the requested size from the mesh's lowest corner: its box spans w pixel steps for the
  // stamps, w - 1 for the z-buffer's grid points.
  const bool sized = o.width > 0 || o.height > 0;
  const SSEPoint top = sized ? qssse::MakeSSEPoint(static_cast<float>(lo.x + (w - extra) * o.resolution),
                                                   static_cast<float>(lo.y + (h - extra) * o.resolution), hi.z)
                             : hi;

  CSSEMatrix m;
  Stopwatch t;
  const bool keepMax = !o.minimum;
  try {
    SlowStepProgress progress("scan conversion");
    if (method == Method::kZBuffer) {
      // Uncovered pixels are NaN here whatever is written, so that covered pixels at height 0 count.
      mesh->ScanConvertTriangulationZBuffer_MinMaxPoint(&m, keepMax, std::numeric_limits<float>::quiet_NaN(),
                                                        o.zOffset, lo, top,
                                                        [&](int done, int total) { progress(done, total); });
    } else {
      // The whole plan is checked before the first slice, so a refused mesh does no work at all.
      const double steps = mesh->PlanSampledScanWork(0, mesh->GetNumTriangles() - 1, 1.0f);
      qssse::CheckWorkRequest(steps, "scan conversion", qssse::scan::SweepAllowance(mesh->GetNumTriangles(), w, h));
      const double seconds = steps / kStepsPerSecond;
      if (o.threads) {
        progress.Announce(seconds > 2.0);
        SSEPoint from = lo, to = top;
        mesh->FastScanConvertTriangulation_MinMaxPoint(&m, o.zOffset, from, to, keepMax);
      } else {
        StampInSlices(*mesh, m, o.zOffset, lo, top, keepMax, progress);
      }
      if (method == Method::kStampRefined && m.HasPixels()) Refine(*mesh, m, o.zOffset, lo, top, keepMax);
    }
  } catch (const CMemoryException&) {
    throw ToolError(o.input, "not enough memory to scan-convert this mesh");
  } catch (const CWorkBudgetException& e) {
    // Only the sampled methods have a budget: say which method has none.
    throw ToolError(o.input, std::string(e.what()) + " (--method zbuffer converts it exactly)");
  }
  const double ms = t.Ms();
  if (!m.HasPixels()) throw ToolError(o.input, "the mesh gives an empty raster at this resolution");
  HeightField out = FromMatrix(m);
  std::size_t covered = 0;
  for (float& v : out.values) {
    if (stamped) {
      covered += v != 0.0f;
    } else if (v == v) {
      ++covered;
    } else if (!o.noDataNaN) {
      v = 0.0f;
    }
  }
  HeightFieldWriteOptions written;
  written.png.bits = o.bits;
  // The z-buffer marks uncovered pixels itself (NaN when asked), so that a height of 0 stays a height;
  // the stamped forms have only 0 for them.
  written.zeroAsNaN = o.noDataNaN && stamped;
  WriteHeightField(o.output, out, written);
  char heights[64] = "heights as in the mesh";
  if (stamped) std::snprintf(heights, sizeof heights, "heights above z %.6g", lo.z);
  std::printf("%s: %d x %d pixels, %zu covered by the %zu triangles of %s, pixel (0, 0) at x %.6g, y %.6g, "
              "%s%s, %s, %.1f ms\n",
              o.output.c_str(), out.width, out.height, covered, data.triangles.size(), o.input.c_str(), lo.x,
              lo.y, heights, o.minimum ? " (lowest surface)" : "", o.method.c_str(), ms);
  return 0;
}

}  // namespace qssse::tool
