// Set-up shared by the scan conversions of CHTriangulation: the sweep's job and the raster size of a box.
#include "qssse/mesh/ScanSweep.h"

#include <algorithm>
#include <climits>
#include <cmath>

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

bool StartSampledConversion(const CHTriangulation& t, CSSEMatrix* m, const SSEPoint& minP, const SSEPoint& maxP,
                            bool keepMax, int& w, int& h) {
  if (m == nullptr || t.GetNumTriangles() < 1 || t.GetEdgeArray() == nullptr) return false;
  if (!SampledRasterSize(minP, maxP, t.GetScanResX(), t.GetScanResY(), w, h)) return false;
  m->CreateNoClear(w, h);
  m->Fill(keepMax ? kMaxSentinel : kMinSentinel);
  return true;
}

bool StampBox(const Job& job, int& x0, int& x1, int& y0, int& y1) {
  if (job.width < 3 || job.height < 3 || job.last < job.first) return false;
  double lo[2] = {INFINITY, INFINITY}, hi[2] = {-INFINITY, -INFINITY};
  double magnitude = 0.0;  // largest |coordinate| and edge length met, for the rounding bound
  for (int i = job.first; i <= job.last; ++i) {
    for (int k = 0; k < 3; ++k) {
      const SSEPoint& c = job.corners[3 * i + k];
      const double v[2] = {c.x, c.y};
      for (int a = 0; a < 2; ++a) {
        if (!std::isfinite(v[a])) continue;  // such samples are NaN or off every raster and dropped
        lo[a] = std::min(lo[a], v[a]);
        hi[a] = std::max(hi[a], v[a]);
        magnitude = std::max(magnitude, std::fabs(v[a]));
      }
    }
  }
  if (!(lo[0] <= hi[0]) || !(lo[1] <= hi[1])) return false;
  SSEPoint origin;
  origin.m = job.origin;
  const double o[2] = {origin.x, origin.y}, res[2] = {job.resX, job.resY};
  const int size[2] = {job.width, job.height};
  int from[2], to[2];
  for (int a = 0; a < 2; ++a) {
    // A sample is P0 + a S + b T - origin in float and its pixel a float quotient: its rounding stays far
    // below 16 ulps of the largest magnitude involved (edges are at most twice it); plus the rounding to
    // the nearest pixel and the cross's arm.
    const double span = std::max(magnitude, std::fabs(o[a])) + (hi[a] - lo[a]);
    const double slack = 16.0 * span * 0x1p-24 / res[a] + 2.0;
    const double f = std::floor((lo[a] - o[a]) / res[a] - slack), t = std::ceil((hi[a] - o[a]) / res[a] + slack);
    if (!(t >= 0.0) || !(f <= size[a] - 1.0)) return false;
    from[a] = f <= 0.0 ? 0 : static_cast<int>(f);
    to[a] = t >= size[a] - 1.0 ? size[a] - 1 : static_cast<int>(t);
  }
  x0 = from[0];
  x1 = to[0];
  y0 = from[1];
  y1 = to[1];
  return true;
}

}  // namespace qssse::scan
