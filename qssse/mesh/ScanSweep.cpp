// Set-up shared by the scan conversions of CHTriangulation: the sweep's job and the raster size of a box.
#include "qssse/mesh/ScanSweep.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "qssse/platform/MemoryException.h"
#include "qssse/platform/WorkBudget.h"

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

double PlannedSteps(const Job& job) {
  double steps = 0.0;
  for (int i = job.first; i <= job.last; ++i) steps += PlanTriangle(job, i).steps;
  return steps;
}

void CheckSweepWork(const Job& job, const char* what) {
  // First a bound that needs neither roots nor quotients per triangle: with r = 1 / step = L / diagonal
  // (times the density), a triangle plans at most (r + 1)(r + 2) / 2 <= 1.25 r^2 + 1.75 samples, and
  // its row walk fewer. Only a mesh over the budget by that bound is planned exactly.
  using namespace simd;
  double factor = 1.0 / (static_cast<double>(job.diagonal) * job.diagonal);
  if (job.divideByDensity) factor *= static_cast<double>(job.density) * job.density;
  double bound = 0.0;
  for (int i = job.first; i <= job.last; ++i) {
    const f4 s = job.sVectors[i].m, t = job.tVectors[i].m;
    const float ss = lane0(sumLanes(mul(s, s))), tt = lane0(sumLanes(mul(t, t)));
    bound += ss > tt ? ss : tt;  // NaN lanes make the bound NaN, and the plan exact
  }
  // 1% for the rounding of the squares and of the sum.
  bound = 1.25 * 1.01 * bound * factor + 1.75 * (job.last - job.first + 1.0);
  if (bound <= static_cast<double>(qssse::GetWorkBudget())) return;
  qssse::CheckWorkRequest(PlannedSteps(job), what);
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
                            bool keepMax, float zOffset, float density, const char* what, Job& job) {
  if (m == nullptr || t.GetNumTriangles() < 1 || t.GetEdgeArray() == nullptr) return false;
  int w = 0, h = 0;
  if (!SampledRasterSize(minP, maxP, t.GetScanResX(), t.GetScanResY(), w, h)) return false;
  job = MakeJob(t, minP, w, h, zOffset);
  if (density != 1.0f) {
    job.density = density;
    job.divideByDensity = true;
  }
  CheckSweepWork(job, what);
  m->CreateNoClear(w, h);
  m->Fill(keepMax ? kMaxSentinel : kMinSentinel);
  return true;
}

bool StampBox(const Job& job, int& x0, int& x1, int& y0, int& y1) {
  if (job.width < 3 || job.height < 3 || job.last < job.first) return false;
  // The corners' lanes: accumulators second, so NaN lanes (whose samples are dropped) are ignored;
  // infinities make the box the whole raster.
  using namespace simd;
  f4 lo = splat(INFINITY), hi = splat(-INFINITY), magnitude = zero();
  for (int k = 3 * job.first; k < 3 * (job.last + 1); ++k) {
    const f4 c = job.corners[k].m;
    lo = min(c, lo);
    hi = max(c, hi);
    magnitude = max(abs(c), magnitude);
  }
  SSEPoint l, h, mag, origin;
  l.m = lo;
  h.m = hi;
  mag.m = magnitude;
  origin.m = job.origin;
  const double low[2] = {l.x, l.y}, high[2] = {h.x, h.y};
  if (!(low[0] <= high[0]) || !(low[1] <= high[1])) return false;
  const double o[2] = {origin.x, origin.y}, res[2] = {job.resX, job.resY};
  const int size[2] = {job.width, job.height};
  const double largest = std::max<double>(mag.x, mag.y);
  int from[2], to[2];
  for (int a = 0; a < 2; ++a) {
    // A sample is P0 + a S + b T - origin in float and its pixel a float quotient: its rounding stays far
    // below 16 ulps of the largest magnitude involved (edges are at most twice it); plus the rounding to
    // the nearest pixel and the cross's arm.
    const double span = std::max(largest, std::fabs(o[a])) + (high[a] - low[a]);
    const double slack = 16.0 * span * 0x1p-24 / res[a] + 2.0;
    const double f = std::floor((low[a] - o[a]) / res[a] - slack);
    const double t = std::ceil((high[a] - o[a]) / res[a] + slack);
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
