// Set-up shared by the scan conversions of CHTriangulation: the sweep's job and the raster size of a box.
#include "qssse/mesh/ScanSweep.h"

#include <climits>

#include "qssse/platform/MemoryException.h"

namespace qssse::scan {

Job MakeJob(const CHTriangulation& t, const SSEPoint& origin, int w, int h, float zOffset) {
  Job job;
  job.corners = t.GetEdgeArray();
  job.sVectors = t.GetSArray();
  job.tVectors = t.GetTArray();
  job.first = 0;
  job.last = t.GetNumTriangles() - 1;
  job.origin = origin.m;
  job.resX = t.GetScanResX();
  job.resY = t.GetScanResY();
  job.diagonal = t.GetScanDiagonal();
  job.width = w;
  job.height = h;
  job.zOffset = zOffset;
  return job;
}

bool BoxPixels(const SSEPoint& minP, const SSEPoint& maxP, float resX, float resY, std::int64_t& w,
               std::int64_t& h) {
  const float wf = (maxP.x - minP.x) / resX + 0.5f;
  const float hf = (maxP.y - minP.y) / resY + 0.5f;
  if (!(wf >= 0.0f) || !(hf >= 0.0f)) return false;
  constexpr float kCap = 4611686018427387904.0f;  // 2^62
  w = static_cast<std::int64_t>(wf < kCap ? wf : kCap);
  h = static_cast<std::int64_t>(hf < kCap ? hf : kCap);
  return true;
}

bool SampledRasterSize(const SSEPoint& minP, const SSEPoint& maxP, float resX, float resY, int& w, int& h) {
  std::int64_t wl = 0, hl = 0;
  if (!BoxPixels(minP, maxP, resX, resY, wl, hl) || wl < 1 || hl < 1) return false;
  if (wl > INT_MAX || hl > INT_MAX) AfxThrowMemoryException();
  w = static_cast<int>(wl);
  h = static_cast<int>(hl);
  return true;
}

}  // namespace qssse::scan
