#pragma once
#include <immintrin.h>

#include <cstdint>

#include "qssse/mesh/HTriangulation.h"
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
  __m128 origin = _mm_setzero_ps();
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

// The pixels the stamps of job's triangles can touch, x0..x1 and y0..y1 inclusive, clipped to the
// raster: the box of their finite corners, widened by the cross and by the float rounding of the
// samples. False when no pixel can be touched.
bool StampBox(const Job& job, int& x0, int& x1, int& y0, int& y1);

// Unchecked stamps on the storage layout: the caller guarantees 1 <= x <= sizeX - 2 and likewise y, so
// the matrix's own clamping would never move them.
// Keep rules of the stamps: the larger (respectively smaller) of the present value and the sample.
struct KeepMax {
  static float Keep(float p, float v) { return p > v ? p : v; }
};
struct KeepMin {
  static float Keep(float p, float v) { return v > p ? p : v; }
};
template <class Rule>
struct Cross {
  static void Stamp(__m128** rows, int x, int y, float v) {
    Apply(rows, x - 1, y, v);
    Apply(rows, x, y, v);
    Apply(rows, x + 1, y, v);
    Apply(rows, x, y - 1, v);
    Apply(rows, x, y + 1, v);
  }
  static void Apply(__m128** rows, int x, int y, float v) {
    float* p = reinterpret_cast<float*>(rows[y >> 2]) + 4 * x + (y & 3);
    *p = Rule::Keep(*p, v);
  }
};
using CrossMax = Cross<KeepMax>;
using CrossMin = Cross<KeepMin>;
template <class CrossStamp>
struct PixelOnly {
  static void Stamp(__m128** rows, int x, int y, float v) { CrossStamp::Apply(rows, x, y, v); }
};

// Runs the sweep of job over m's storage with Stamp. m must have at least job.width columns and
// job.height rows.
template <class Stamp>
void Sweep(const Job& job, CSSEMatrix& m) {
  __m128** rows = m.GetMatrixDataDirectly();
  if (rows == nullptr || job.width < 3 || job.height < 3) return;  // no pixel inside the frame
  const __m128 res = _mm_setr_ps(job.resX, job.resY, 1.0f, 1.0f);
  const __m128 half = _mm_set1_ps(0.5f);
  const unsigned xSpan = static_cast<unsigned>(job.width - 2), ySpan = static_cast<unsigned>(job.height - 2);
  for (int i = job.first; i <= job.last; ++i) {
    const __m128 p0 = job.corners[3 * i].m;
    if (job.useYArea) {
      const float y0 = job.corners[3 * i].y;
      if (!(y0 > job.yMin && y0 < job.yMax)) continue;
    }
    const __m128 s = job.sVectors[i].m, t = job.tVectors[i].m;
    const float ls = CSSEFns::vectorlen(s), lt = CSSEFns::vectorlen(t);
    const float len = ls > lt ? ls : lt;
    float step = job.diagonal / len;
    if (job.divideByDensity) step = step / job.density;
    if (step < kMinStep) continue;
    for (float a = 0.0f; a < 1.0f; a += step) {
      const __m128 pa = _mm_add_ps(p0, _mm_mul_ps(_mm_set1_ps(a), s));
      const float bEnd = 1.0f - a;
      for (float b = 0.0f; b < bEnd; b += step) {
        const __m128 q = _mm_sub_ps(_mm_add_ps(pa, _mm_mul_ps(_mm_set1_ps(b), t)), job.origin);
        // cvtt gives INT_MIN for NaN and out-of-range values, which the frame test drops.
        const __m128i pix = _mm_cvttps_epi32(_mm_add_ps(_mm_div_ps(q, res), half));
        const int px = _mm_cvtsi128_si32(pix);
        const int py = _mm_cvtsi128_si32(_mm_shuffle_epi32(pix, 1));
        // One unsigned compare per axis: 1 <= px < width - 1.
        if (static_cast<unsigned>(px) - 1u >= xSpan || static_cast<unsigned>(py) - 1u >= ySpan) continue;
        SSEPoint qp;
        qp.m = q;
        Stamp::Stamp(rows, px - job.offsetX, py - job.offsetY, qp.z + job.zOffset);
      }
    }
  }
}

}  // namespace qssse::scan
