// Scan conversion of a mesh into a height field: every triangle is sampled parametrically with a step of
// one raster cell diagonal along its longer edge at P0, and every sample is stamped as a five-pixel cross
// keeping the per-pixel maximum or minimum. Also the refinement and constraint passes of the family.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <vector>

#include "qssse/mesh/HTriangulation.h"
#include "qssse/mesh/ScanFresh.h"
#include "qssse/mesh/ScanSweep.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/raster/SSEMatrix.h"

namespace scan = qssse::scan;

namespace {

// Re-create, fill with the sentinel, sweep, replace the sentinel by 0.
void ConvertFresh(const CHTriangulation& t, CSSEMatrix* m, float zOffset, const SSEPoint& minP,
                  const SSEPoint& maxP, bool keepMax, float density) {
  scan::Job job;
  if (!scan::StartSampledConversion(t, m, minP, maxP, keepMax, zOffset, density, "scan conversion", job)) return;
  const float sentinel = keepMax ? scan::kMaxSentinel : scan::kMinSentinel;
  if (keepMax) {
    scan::SweepFresh<qssse::raster::KeepMax>(job, *m, sentinel);
  } else {
    scan::SweepFresh<qssse::raster::KeepMin>(job, *m, sentinel);
  }
  m->ReplaceValueWithValue(sentinel, 0.0f, 1.0f);
}

// The NoDelete forms: the matrix as it stands, the extent clamped to its size.
void ConvertInto(const CHTriangulation& t, CSSEMatrix* m, bool keepMax, bool fine, bool cross, bool yArea,
                 float yMin, float yMax) {
  if (m == nullptr || !m->HasPixels() || t.GetNumTriangles() < 1 || t.GetEdgeArray() == nullptr) return;
  const SSEPoint* box = t.GetPointArray();
  int w = 0, h = 0;
  if (box == nullptr || !scan::SampledRasterSize(box[0], box[1], t.GetScanResX(), t.GetScanResY(), w, h)) return;
  scan::Job job = scan::MakeJob(t, box[0], std::min(w, m->GetSizeX()), std::min(h, m->GetSizeY()), 0.0f);
  if (fine) {
    job.density = 2.0f;
    job.divideByDensity = true;
  }
  job.useYArea = yArea;
  job.yMin = yMin;
  job.yMax = yMax;
  scan::CheckSweepWork(job, "scan conversion");
  if (keepMax) {
    if (cross) {
      scan::Sweep<scan::CrossMax>(job, *m);
    } else {
      scan::Sweep<scan::PixelOnly<qssse::raster::KeepMax>>(job, *m);
    }
  } else if (cross) {
    scan::Sweep<scan::CrossMin>(job, *m);
  } else {
    scan::Sweep<scan::PixelOnly<qssse::raster::KeepMin>>(job, *m);
  }
}

}  // namespace

void CHTriangulation::ScanConvertTriangulationMax(CSSEMatrix* m, float zOffset) {
  if (minPoint == nullptr) return;
  ConvertFresh(*this, m, zOffset, *minPoint, *maxPoint, true, 1.0f);
}

void CHTriangulation::ScanConvertTriangulationMin(CSSEMatrix* m, float zOffset, float density) {
  if (minPoint == nullptr) return;
  if (!(density > 0.0f) || !std::isfinite(density)) density = 1.0f;
  ConvertFresh(*this, m, zOffset, *minPoint, *maxPoint, false, density);
}

void CHTriangulation::ScanConvertTriangulationMax_MinMaxPoint(CSSEMatrix* m, float zOffset, SSEPoint& minP,
                                                              SSEPoint& maxP) {
  ConvertFresh(*this, m, zOffset, minP, maxP, true, 1.0f);
}

void CHTriangulation::ScanConvertTriangulationMin_MinMaxPoint(CSSEMatrix* m, float zOffset, SSEPoint& minP,
                                                              SSEPoint& maxP) {
  ConvertFresh(*this, m, zOffset, minP, maxP, false, 1.0f);
}

void CHTriangulation::ScanConvertTriangulationMinNoDelete(CSSEMatrix* m, bool fine, bool cross) {
  ConvertInto(*this, m, false, fine, cross, false, 0.0f, 0.0f);
}

void CHTriangulation::ScanConvertTriangulationMaxNoDelete(CSSEMatrix* m, bool fine, bool cross) {
  ConvertInto(*this, m, true, fine, cross, false, 0.0f, 0.0f);
}

void CHTriangulation::ScanConvertTriangulationMinNoDeleteInYArea(CSSEMatrix* m, float yMin, float yMax) {
  ConvertInto(*this, m, false, false, true, true, yMin, yMax);
}

void CHTriangulation::ScanConvertTriangulationMaxNoDeleteInYArea(CSSEMatrix* m, float yMin, float yMax) {
  ConvertInto(*this, m, true, false, true, true, yMin, yMax);
}

void CHTriangulation::ScanConvertTriangulationWithLimitedArea(CSSEMatrix* m, int first, int last,
                                                              float zOffset, SSEPoint* origin, bool max) {
  if (m == nullptr || !m->HasPixels() || numTriangles < 1 || cornerPoints == nullptr) return;
  if (origin == nullptr && minPoint == nullptr) return;
  scan::Job job = scan::MakeJob(*this, origin ? *origin : *minPoint, m->GetSizeX(), m->GetSizeY(), zOffset);
  job.first = std::max(first, 0);
  job.last = std::min(last, numTriangles - 1);
  scan::CheckSweepWork(job, "scan conversion");
  if (max) {
    scan::Sweep<scan::CrossMax>(job, *m);
  } else {
    scan::Sweep<scan::CrossMin>(job, *m);
  }
}

double CHTriangulation::PlanSampledScanWork(int first, int last, float density) const {
  if (numTriangles < 1 || cornerPoints == nullptr || sVectors == nullptr || tVectors == nullptr) return 0.0;
  scan::Job job = scan::MakeJob(*this, SSEPoint{}, 0, 0, 0.0f);
  job.first = std::max(first, 0);
  job.last = std::min(last, numTriangles - 1);
  if (density != 1.0f) {
    job.density = density;
    job.divideByDensity = true;
  }
  return scan::PlannedSteps(job);
}

// ---- refinement: the exact envelope at pixel centres --------------------------------------------------

namespace {

template <bool kTop>
void Refine(const CHTriangulation& t, CSSEMatrix* m, float zOffset) {
  if (m == nullptr || !m->HasPixels() || t.GetNumTriangles() < 1 || t.GetEdgeArray() == nullptr) return;
  const SSEPoint* box = t.GetPointArray();
  if (box == nullptr) return;
  const SSEPoint origin = box[0];
  const float resX = t.GetScanResX(), resY = t.GetScanResY();
  const int w = m->GetSizeX(), h = m->GetSizeY();
  // The envelope is collected apart, so that the present values never take part in it.
  CSSEMatrix env;
  const float sentinel = kTop ? scan::kMaxSentinel : scan::kMinSentinel;
  env.CreateNoClear(w, h);
  env.Fill(sentinel);
  std::vector<bool> covered(static_cast<std::size_t>(w) * static_cast<std::size_t>(h), false);
  const SSEPoint* c = t.GetEdgeArray();
  for (int i = 0; i < t.GetNumTriangles(); ++i) {
    const SSEPoint &p0 = c[3 * i], &p1 = c[3 * i + 1], &p2 = c[3 * i + 2];
    const double sx = static_cast<double>(p1.x) - p0.x, sy = static_cast<double>(p1.y) - p0.y;
    const double tx = static_cast<double>(p2.x) - p0.x, ty = static_cast<double>(p2.y) - p0.y;
    const double det = sx * ty - sy * tx;
    if (!(det != 0.0) || !std::isfinite(det)) continue;  // no area in the xy plane, or NaN
    const double dz1 = static_cast<double>(p1.z) - p0.z, dz2 = static_cast<double>(p2.z) - p0.z;
    // Pixel range of the triangle's box, widened by one against rounding and clipped to the matrix.
    const double lo[2] = {std::min({p0.x, p1.x, p2.x}) - origin.x, std::min({p0.y, p1.y, p2.y}) - origin.y};
    const double hi[2] = {std::max({p0.x, p1.x, p2.x}) - origin.x, std::max({p0.y, p1.y, p2.y}) - origin.y};
    const auto clampIndex = [](double v, int n) {
      if (!(v > 0.0)) return 0;
      return v >= n - 1 ? n - 1 : static_cast<int>(v);
    };
    const int x0 = clampIndex(std::floor(lo[0] / resX) - 1.0, w),
              x1 = clampIndex(std::ceil(hi[0] / resX) + 1.0, w);
    const int y0 = clampIndex(std::floor(lo[1] / resY) - 1.0, h),
              y1 = clampIndex(std::ceil(hi[1] / resY) + 1.0, h);
    for (int py = y0; py <= y1; ++py) {
      // Pixel centres in float, as the builders place their corners: grid points then meet corners exactly.
      const double qy = static_cast<double>(static_cast<float>(py) * resY + origin.y) - p0.y;
      for (int px = x0; px <= x1; ++px) {
        const double qx = static_cast<double>(static_cast<float>(px) * resX + origin.x) - p0.x;
        const double u = (qx * ty - qy * tx) / det;
        const double v = (sx * qy - sy * qx) / det;
        if (!(u >= 0.0 && v >= 0.0 && u + v <= 1.0)) continue;
        const float z = static_cast<float>(p0.z + u * dz1 + v * dz2 - origin.z + zOffset);
        if (kTop) {
          env.SetPointMax(px, py, z);
        } else {
          env.SetPointMin(px, py, z);
        }
        covered[static_cast<std::size_t>(py) * static_cast<std::size_t>(w) + static_cast<std::size_t>(px)] =
            true;
      }
    }
  }
  for (int py = 0; py < h; ++py) {
    for (int px = 0; px < w; ++px) {
      if (covered[static_cast<std::size_t>(py) * static_cast<std::size_t>(w) +
                  static_cast<std::size_t>(px)]) {
        m->SetPoint(px, py, env.GetPoint(px, py));
      }
    }
  }
}

}  // namespace

void CHTriangulation::RefineScanConvImage(CSSEMatrix* m, float zOffset) { Refine<false>(*this, m, zOffset); }

void CHTriangulation::RefineScanConvImageTop(CSSEMatrix* m, float zOffset) {
  Refine<true>(*this, m, zOffset);
}

// ---- constraint by a height field ---------------------------------------------------------------------

namespace {

template <class Read>
void Constrain(CHTriangulation& t, bool above, float zOffset, Read read) {
  if (t.GetNumTriangles() < 1 || t.GetEdgeArray() == nullptr) return;
  SSEPoint* c = t.GetEdgeArray();
  const float sx = t.GetScaleX(), sy = t.GetScaleY();
  const auto index = [](float v) {
    // Clamped reads: NaN and far-off corners read the nearest border pixel.
    if (!(v > 0.0f)) return 0;
    return v >= 2147483647.0f ? INT_MAX : static_cast<int>(v);
  };
  for (int k = 0; k < 3 * t.GetNumTriangles(); ++k) {
    const float bound = read(index(c[k].x / sx + 0.5f), index(c[k].y / sy + 0.5f)) + zOffset;
    if (above ? c[k].z < bound : c[k].z > bound) c[k].z = bound;
  }
  t.CalcSTV();
  t.CalcBoundingBox();
}

}  // namespace

void CHTriangulation::ConstrainWithHeightField(bool above, CSSEMatrix* m, float zOffset) {
  if (m == nullptr || !m->HasPixels()) return;
  Constrain(*this, above, zOffset, [m](int x, int y) { return m->GetPoint(x, y); });
}

void CHTriangulation::ConstrainWithHeightField(bool above, DmArray2D<float>* a, float zOffset) {
  if (a == nullptr || a->GetSizeX() < 1 || a->GetSizeY() < 1) return;
  const int w = a->GetSizeX(), h = a->GetSizeY();
  Constrain(*this, above, zOffset,
            [a, w, h](int x, int y) { return (*a)(std::min(x, w - 1), std::min(y, h - 1)); });
}
