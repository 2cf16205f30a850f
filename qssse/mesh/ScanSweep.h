#pragma once
#include <cstdint>

#include "qssse/mesh/HTriangulation.h"
#include "qssse/raster/PixelLayout.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/vector/SSEFns.h"
#include "qssse/vector/SimdOps.h"

// The parametric triangle sweep shared by the scan converters of CHTriangulation (single-threaded and
// worker forms). An internal of the mesh sources, public only because every header is; callers use the
// CHTriangulation members.
namespace qssse::scan {

// Sentinels of the maximum and minimum conversions, as single-precision values (-999999.875, 999999.875).
inline constexpr float kMaxSentinel = -999999.9f;
inline constexpr float kMinSentinel = 999999.9f;
// Steps below this would stall the float accumulation near 1 and mean ~10^14 samples: such triangles
// are skipped.
inline constexpr float kMinStep = 1.0f / 16777216.0f;

// Everything one sweep reads; the mesh arrays are only read, so sweeps may run concurrently.
struct Job {
  const SSEPoint* corners = nullptr;  // three per triangle
  const SSEPoint* sVectors = nullptr;
  const SSEPoint* tVectors = nullptr;
  int first = 0, last = -1;  // inclusive triangle range
  __m128 origin = simd::zero();
  float resX = 1.0f, resY = 1.0f, diagonal = 1.0f;
  float density = 1.0f;  // the step is divided by it unless it is exactly 1
  bool divideByDensity = false;
  int width = 0, height = 0;  // samples land in 1 <= px < width - 1, 1 <= py < height - 1
  // Raster pixel (px, py) is the swept matrix's pixel (px - offsetX, py - offsetY): a worker's matrix
  // covers only its chunk's box.
  int offsetX = 0, offsetY = 0;
  float zOffset = 0.0f;
  bool useYArea = false;  // only triangles with yMin < P0.y < yMax
  float yMin = 0.0f, yMax = 0.0f;
};

// A job over all triangles of t: its corners, S and T, scan resolution and diagonal, with the given origin,
// raster size and offset.
Job MakeJob(const CHTriangulation& t, const SSEPoint& origin, int w, int h, float zOffset);

// Pixel steps the box from minP to maxP spans at (resX, resY): w = trunc((maxP.x - minP.x) / resX + 0.5),
// h likewise, in float (capped at 2^62). False, w and h untouched, when either quotient plus 0.5 is below
// 0 or NaN: an inverted box spans nothing.
bool BoxPixels(const SSEPoint& minP, const SSEPoint& maxP, float resX, float resY, std::int64_t& w,
               std::int64_t& h);
// The raster of the sampled conversions: W x H = BoxPixels, false when either is below 1; a size beyond
// int is memory nobody has and throws CMemoryException.
bool SampledRasterSize(const SSEPoint& minP, const SSEPoint& maxP, float resX, float resY, int& w, int& h);
// The start of the sampled conversions into a fresh raster: false (m untouched) for a null m, a mesh
// without triangles or a box without pixels. Otherwise job becomes the sweep of all triangles over the
// W x H raster from minP (density applied unless it is 1), its work is checked against the budget
// (CWorkBudgetException naming `what`, m untouched), and m is re-created at W x H and filled with the
// sentinel of keepMax.
bool StartSampledConversion(const CHTriangulation& t, CSSEMatrix* m, const SSEPoint& minP, const SSEPoint& maxP,
                            bool keepMax, float zOffset, float density, const char* what, Job& job);

// The parameter step of job's triangle i: scanDiagonal over the longer of |S| and |T| (the root of the
// larger square, as the root is monotonic), divided by the density when asked. Below kMinStep the
// triangle is skipped; NaN and infinity give the first sample only.
inline float TriangleStep(const Job& job, int i) {
  using namespace simd;
  const f4 s = job.sVectors[i].m, t = job.tVectors[i].m;
  const float ss = lane0(sumLanes(mul(s, s))), tt = lane0(sumLanes(mul(t, t)));
  const float len = lane0(sqrtLane0(splat(ss > tt ? ss : tt)));
  float step = job.diagonal / len;
  if (job.divideByDensity) step = step / job.density;
  return step;
}

// Whether job stamps triangle i at all (the y band).
inline bool TakesTriangle(const Job& job, int i) {
  if (!job.useYArea) return true;
  const float y = job.corners[3 * i].y;
  return y > job.yMin && y < job.yMax;
}

// The steps the sweep of job plans, in double so that no count wraps: the samples of every triangle it
// takes, n (n + 1) / 2 for n = ceil(1 / step) rows. Throws CWorkBudgetException (naming `what`) before
// anything is sampled when they exceed the work budget.
double PlannedSteps(const Job& job);
void CheckSweepWork(const Job& job, const char* what);

// The pixels the stamps of job's triangles can touch, x0..x1 and y0..y1 inclusive, clipped to the
// raster: the box of their finite corners, widened by the cross and by the float rounding of the
// samples. False when no pixel can be touched.
bool StampBox(const Job& job, int& x0, int& x1, int& y0, int& y1);

// The stamps of the sweep, unchecked on the raster's layout: the caller guarantees 1 <= x <= sizeX - 2 and
// likewise y, so the matrix's own clamping would never move them. Rule is the keep rule of every pixel.
template <class KeepRule>
struct Cross {
  using Rule = KeepRule;
  static void Stamp(__m128** rows, int x, int y, float v) {
    raster::KeepAt<Rule>(rows, x - 1, y, v);
    raster::KeepAt<Rule>(rows, x, y, v);
    raster::KeepAt<Rule>(rows, x + 1, y, v);
    raster::KeepAt<Rule>(rows, x, y - 1, v);
    raster::KeepAt<Rule>(rows, x, y + 1, v);
  }
};
using CrossMax = Cross<raster::KeepMax>;
using CrossMin = Cross<raster::KeepMin>;
template <class KeepRule>
struct PixelOnly {
  using Rule = KeepRule;
  static void Stamp(__m128** rows, int x, int y, float v) { raster::KeepAt<Rule>(rows, x, y, v); }
};

// Consecutive samples on one pixel, folded by the keep rule and stamped once: the rule keeps the present
// value only when it is strictly better, so stamping v1 then v2 leaves on every pixel what stamping
// their fold leaves (of equal values the later one, -0 or +0 alike). A NaN sample is stamped as it comes,
// since stamping it replaces whatever was there.
template <class Stamp>
class HeldStamps {
 public:
  using Rule = typename Stamp::Rule;
  HeldStamps(__m128** rows, int offsetX, int offsetY) : rows_(rows), offsetX_(offsetX), offsetY_(offsetY) {}
  ~HeldStamps() { Release(); }
  HeldStamps(const HeldStamps&) = delete;
  HeldStamps& operator=(const HeldStamps&) = delete;

  void Add(int x, int y, float v) {
    if (holding_ && x == x_ && y == y_ && v == v) {
      v_ = Rule::Keep(v_, v);
      return;
    }
    Release();
    if (v != v) {
      Stamp::Stamp(rows_, x - offsetX_, y - offsetY_, v);
      return;
    }
    x_ = x;
    y_ = y;
    v_ = v;
    holding_ = true;
  }
  void Release() {
    if (holding_) Stamp::Stamp(rows_, x_ - offsetX_, y_ - offsetY_, v_);
    holding_ = false;
  }

 private:
  __m128** rows_;
  int offsetX_, offsetY_;
  int x_ = 0, y_ = 0;
  float v_ = 0.0f;
  bool holding_ = false;
};

// Runs the sweep of job over m's storage with Stamp. m must cover the pixels job's stamps reach (see
// offsetX, offsetY).
template <class Stamp>
void Sweep(const Job& job, CSSEMatrix& m) {
  using namespace simd;
  __m128** rows = m.GetMatrixDataDirectly();
  if (rows == nullptr || job.width < 3 || job.height < 3) return;  // no pixel inside the frame
  const f4 res = lanes(job.resX, job.resY, 1.0f, 1.0f);
  const f4 half = splat(0.5f);
  const unsigned xSpan = static_cast<unsigned>(job.width - 2), ySpan = static_cast<unsigned>(job.height - 2);
  HeldStamps<Stamp> held(rows, job.offsetX, job.offsetY);
  for (int i = job.first; i <= job.last; ++i) {
    if (!TakesTriangle(job, i)) continue;
    const SSEPoint& p0 = job.corners[3 * i];
    const f4 s = job.sVectors[i].m, t = job.tVectors[i].m;
    const float step = TriangleStep(job, i);
    if (step < kMinStep) continue;
    for (float a = 0.0f; a < 1.0f; a += step) {
      const f4 pa = add(p0.m, mul(splat(a), s));
      const float bEnd = 1.0f - a;
      for (float b = 0.0f; b < bEnd; b += step) {
        const f4 q = sub(add(pa, mul(splat(b), t)), job.origin);
        int px, py;
        truncLanes01(add(div(q, res), half), px, py);
        // One unsigned compare per axis: 1 <= px < width - 1 (INT_MIN, from NaN, fails it too).
        if (static_cast<unsigned>(px) - 1u >= xSpan || static_cast<unsigned>(py) - 1u >= ySpan) continue;
        held.Add(px, py, lane<2>(q) + job.zOffset);
      }
    }
  }
}

}  // namespace qssse::scan
