// The exact z-buffer conversion: every pixel centre inside a triangle gets the height interpolated there.
//
// Coverage is decided on integers so that it is exact: the corners are placed on a grid of 1/256 pixel
// (a corner is the same float in every triangle that shares it, so it lands on the same grid point), and
// the edge functions e(P) = dx (P.y - A.y) - dy (P.x - A.x) of an edge A -> B are products of numbers
// below 2^30 (triangles are at most 2^22 pixels wide), exact in 64 bits. With the triangle turned
// counter-clockwise the inside is e > 0 on all three edges.
//
// A centre with e = 0 on some edges is decided by the displaced point P + eta (cos t, sin t), t = j 45
// degrees plus an infinitesimal turn: it lies inside exactly when each such edge's derivative along the
// step, -dy cos t + dx sin t, is positive, or zero with a positive derivative of the turn, dy sin t +
// dx cos t. That depends on the edge alone, so each edge carries the mask of the eight directions it
// accepts, and a centre's "level" is the first direction all its zero edges accept (0 strictly inside).
// Each pixel keeps the lowest level seen so far in a byte map: a triangle at a lower level replaces the
// value, at the same level combines by the keep rule, at a higher one is ignored. Two triangles sharing
// an edge see it in opposite directions, so for any direction exactly one of them contains the displaced
// point; at a shared corner the displaced point lies in exactly one triangle of the fan; and a centre on
// the outer border is reached by a direction that points into the mesh.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>

#include "qssse/mesh/HTriangulation.h"
#include "qssse/mesh/ScanSweep.h"
#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/raster/AlignedBuffer.h"
#include "qssse/raster/PixelLayout.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/vector/SimdOps.h"

namespace {

namespace raster = qssse::raster;
namespace simd = qssse::simd;

constexpr double kSub = 256.0;                                // grid steps per pixel
constexpr std::int64_t kMaxSpan = std::int64_t{1} << 30;      // 2^22 pixels, in grid steps
constexpr double kMaxSpanD = static_cast<double>(kMaxSpan);

// Where pixel (0, 0) lies and how mesh units become grid steps; the raster is w x h pixels.
struct Frame {
  double ox, oy, sx, sy;  // grid x = (x - ox) * sx
  int w, h;
  double zOffset;
};

// Largest integer k with 256 k <= v, and smallest with 256 k >= v (arithmetic shifts floor).
inline std::int64_t FloorPixel(std::int64_t v) { return v >> 8; }
inline std::int64_t CeilPixel(std::int64_t v) { return (v + 255) >> 8; }

// The eight displacement directions, (cos, sin) up to a positive factor.
constexpr int kDirCos[8] = {1, 1, 0, -1, -1, -1, 0, 1};
constexpr int kDirSin[8] = {0, 1, 1, 1, 0, -1, -1, -1};
constexpr std::uint8_t kUncovered = 8;

// Bit j set when a centre on the edge (dx, dy) of a counter-clockwise triangle moves inside along
// direction j. The derivatives are +-dx, +-dy, +-(dx - dy) and +-(dx + dy), so the mask depends only on
// the signs of those four: a table of 81 entries, indexed by SignIndex.
constexpr unsigned AcceptsOf(long long dx, long long dy) {
  unsigned mask = 0;
  for (int j = 0; j < 8; ++j) {
    const long long along = -dy * kDirCos[j] + dx * kDirSin[j];
    const long long turn = dy * kDirSin[j] + dx * kDirCos[j];
    if (along > 0 || (along == 0 && turn > 0)) mask |= 1u << j;
  }
  return mask;
}
constexpr int Sign3(long long v) { return v < 0 ? 0 : (v == 0 ? 1 : 2); }
constexpr int SignIndex(long long dx, long long dy) {
  return ((Sign3(dx) * 3 + Sign3(dy)) * 3 + Sign3(dx - dy)) * 3 + Sign3(dx + dy);
}
struct AcceptTable {
  std::uint8_t mask[81] = {};
  constexpr AcceptTable() {
    for (int dx = -2; dx <= 2; ++dx) {
      for (int dy = -2; dy <= 2; ++dy) mask[SignIndex(dx, dy)] = static_cast<std::uint8_t>(AcceptsOf(dx, dy));
    }
  }
};
constexpr AcceptTable kAccepts;

// Bit mask of the directions in which a centre on the edge A -> B moves inside the triangle.
inline unsigned Accepts(std::int64_t dx, std::int64_t dy) { return kAccepts.mask[SignIndex(dx, dy)]; }

// A triangle on the grid: corners counter-clockwise, their heights, twice its area.
struct GridTriangle {
  std::int64_t x[3], y[3];
  double z[3];
  std::int64_t det;
};

// Places corners c on the grid of frame f. False when the triangle is to be skipped: a non-finite corner,
// a box a pixel or more off the raster (checked before rounding, which keeps the rounded coordinates far
// inside 64 bits), a span of 2^22 pixels or more, or no area on the grid.
inline bool Place(const SSEPoint* c, const Frame& f, GridTriangle& t) {
  // x - x is 0 for finite lanes and NaN otherwise.
  const __m128 nonFinite = _mm_add_ps(_mm_add_ps(_mm_sub_ps(c[0].m, c[0].m), _mm_sub_ps(c[1].m, c[1].m)),
                                      _mm_sub_ps(c[2].m, c[2].m));
  if ((simd::movemask(simd::eq(nonFinite, simd::zero())) & 7) != 7) return false;
  const __m128d o = _mm_setr_pd(f.ox, f.oy), scale = _mm_setr_pd(f.sx, f.sy);
  const __m128d g0 = _mm_mul_pd(_mm_sub_pd(_mm_cvtps_pd(c[0].m), o), scale);
  const __m128d g1 = _mm_mul_pd(_mm_sub_pd(_mm_cvtps_pd(c[1].m), o), scale);
  const __m128d g2 = _mm_mul_pd(_mm_sub_pd(_mm_cvtps_pd(c[2].m), o), scale);
  const __m128d lo = _mm_min_pd(g0, _mm_min_pd(g1, g2)), hi = _mm_max_pd(g0, _mm_max_pd(g1, g2));
  const int fits = _mm_movemask_pd(_mm_cmpge_pd(hi, _mm_setr_pd(-kSub, -kSub))) &
                   _mm_movemask_pd(_mm_cmple_pd(lo, _mm_setr_pd(kSub * f.w, kSub * f.h))) &
                   _mm_movemask_pd(_mm_cmplt_pd(_mm_sub_pd(hi, lo), _mm_set1_pd(kMaxSpanD)));
  if (fits != 3) return false;
  // Round to nearest (ties to even) by adding 1.5 * 2^52: exact for |g| < 2^51.
  const __m128d magic = _mm_set1_pd(6755399441055744.0);
  const auto round = [&](__m128d g, int k) {
    const __m128i r = _mm_sub_epi64(_mm_castpd_si128(_mm_add_pd(g, magic)), _mm_castpd_si128(magic));
    t.x[k] = _mm_cvtsi128_si64(r);
    t.y[k] = _mm_cvtsi128_si64(_mm_unpackhi_epi64(r, r));
  };
  round(g0, 0);
  round(g1, 1);
  round(g2, 2);
  t.z[0] = c[0].z;
  t.z[1] = c[1].z;
  t.z[2] = c[2].z;
  t.det = (t.x[1] - t.x[0]) * (t.y[2] - t.y[0]) - (t.y[1] - t.y[0]) * (t.x[2] - t.x[0]);
  if (t.det == 0) return false;
  if (t.det < 0) {
    std::swap(t.x[1], t.x[2]);
    std::swap(t.y[1], t.y[2]);
    std::swap(t.z[1], t.z[2]);
    t.det = -t.det;
  }
  return true;
}

template <class Rule>
std::int64_t Rasterise(const SSEPoint* corners, int count, const Frame& f, __m128** rows, std::uint8_t* levels,
                       const std::function<void(int, int)>& progress) {
  std::int64_t tested = 0;
  constexpr int kReport = 1 << 16;
  for (int i = 0; i < count; ++i) {
    if (progress && (i & (kReport - 1)) == 0) progress(i, count);
    GridTriangle t;
    if (!Place(corners + 3 * i, f, t)) continue;
    // 1. the pixels whose centres lie in the corners' box
    const std::int64_t px0 = std::max<std::int64_t>(CeilPixel(std::min({t.x[0], t.x[1], t.x[2]})), 0);
    const std::int64_t px1 = std::min<std::int64_t>(FloorPixel(std::max({t.x[0], t.x[1], t.x[2]})), f.w - 1);
    const std::int64_t py0 = std::max<std::int64_t>(CeilPixel(std::min({t.y[0], t.y[1], t.y[2]})), 0);
    const std::int64_t py1 = std::min<std::int64_t>(FloorPixel(std::max({t.y[0], t.y[1], t.y[2]})), f.h - 1);
    if (px0 > px1 || py0 > py1) continue;
    tested += (px1 - px0 + 1) * (py1 - py0 + 1);
    // 2. edge k runs across from corner k (so its function weighs z[k]): from corner k+1 to k+2
    std::int64_t rowE[3], stepX[3], stepY[3];
    unsigned accepts[3];
    for (int k = 0; k < 3; ++k) {
      const int a = k == 2 ? 0 : k + 1, b = k == 0 ? 2 : k - 1;
      const std::int64_t dx = t.x[b] - t.x[a], dy = t.y[b] - t.y[a];
      rowE[k] = dx * ((py0 << 8) - t.y[a]) - dy * ((px0 << 8) - t.x[a]);
      stepX[k] = -dy * 256;
      stepY[k] = dx * 256;
      accepts[k] = Accepts(dx, dy);
    }
    // 3. the centres: level 0 strictly inside, else the first direction all zero edges accept
    for (std::int64_t py = py0; py <= py1; ++py) {
      std::int64_t e0 = rowE[0], e1 = rowE[1], e2 = rowE[2];
      std::uint8_t* levelRow = levels + py * f.w;
      for (std::int64_t px = px0; px <= px1; ++px, e0 += stepX[0], e1 += stepX[1], e2 += stepX[2]) {
        if ((e0 | e1 | e2) < 0) continue;
        unsigned level = 0;
        if (e0 == 0 || e1 == 0 || e2 == 0) {
          const unsigned mask = (e0 == 0 ? accepts[0] : 0xFFu) & (e1 == 0 ? accepts[1] : 0xFFu) &
                                (e2 == 0 ? accepts[2] : 0xFFu);
          if (mask == 0) continue;
          level = static_cast<unsigned>(__builtin_ctz(mask));
        }
        std::uint8_t& seen = levelRow[px];
        if (level > seen) continue;
        double height;
        // On a corner two edge functions are 0: its own z, so that nothing but the offset is rounded.
        if ((e1 | e2) == 0) {
          height = t.z[0];
        } else if ((e0 | e2) == 0) {
          height = t.z[1];
        } else if ((e0 | e1) == 0) {
          height = t.z[2];
        } else {
          height = (static_cast<double>(e0) * t.z[0] + static_cast<double>(e1) * t.z[1] +
                    static_cast<double>(e2) * t.z[2]) / static_cast<double>(t.det);
        }
        const float v = static_cast<float>(height + f.zOffset);
        float* p = raster::PixelAddress(rows, static_cast<int>(px), static_cast<int>(py));
        if (level == seen) {
          *p = Rule::Keep(*p, v);
        } else {
          *p = v;
          seen = static_cast<std::uint8_t>(level);
        }
      }
      for (int k = 0; k < 3; ++k) rowE[k] += stepY[k];
    }
  }
  if (progress) progress(count, count);
  return tested;
}

std::int64_t ConvertFresh(const CHTriangulation& t, CSSEMatrix* m, bool keepMax, float noData, float zOffset,
                          const SSEPoint& minP, const SSEPoint& maxP,
                          const std::function<void(int, int)>& progress) {
  if (m == nullptr || t.GetNumTriangles() < 1 || t.GetEdgeArray() == nullptr) return 0;
  std::int64_t w = 0, h = 0;
  if (!qssse::scan::BoxPixels(minP, maxP, t.GetScanResX(), t.GetScanResY(), w, h)) return 0;
  // One pixel per grid point: the extent's steps plus one.
  if (h + 1 > CSSEMatrix::kMaxSizeY) {
    AfxThrowInvalidArgumentException("ScanConvertTriangulationZBuffer: the raster would have " +
                                     std::to_string(h + 1) + " rows");
  }
  if (w + 1 > INT32_MAX) AfxThrowMemoryException();
  // The level map first: a failure leaves the matrix as it was.
  qssse::AlignedBuffer<std::uint8_t> levels(static_cast<std::size_t>(w + 1) * static_cast<std::size_t>(h + 1));
  std::memset(levels.get(), kUncovered, levels.size());
  // A matrix of the right size keeps its storage: every element is written below.
  if (!m->HasPixels() || m->GetSizeX() != w + 1 || m->GetSizeY() != h + 1) {
    m->CreateNoClear(static_cast<int>(w + 1), static_cast<int>(h + 1));
  }
  m->Fill(noData);
  const Frame f{minP.x, minP.y, kSub / t.GetScanResX(), kSub / t.GetScanResY(), m->GetSizeX(), m->GetSizeY(),
                zOffset};
  if (keepMax) {
    return Rasterise<raster::KeepMax>(t.GetEdgeArray(), t.GetNumTriangles(), f, m->GetMatrixDataDirectly(),
                                      levels.get(), progress);
  }
  return Rasterise<raster::KeepMin>(t.GetEdgeArray(), t.GetNumTriangles(), f, m->GetMatrixDataDirectly(),
                                    levels.get(), progress);
}

}  // namespace

std::int64_t CHTriangulation::ScanConvertTriangulationZBuffer(CSSEMatrix* m, bool keepMax, float noData,
                                                              float zOffset,
                                                              const std::function<void(int, int)>& progress) const {
  if (minPoint == nullptr) return 0;
  return ConvertFresh(*this, m, keepMax, noData, zOffset, *minPoint, *maxPoint, progress);
}

std::int64_t CHTriangulation::ScanConvertTriangulationZBuffer_MinMaxPoint(
    CSSEMatrix* m, bool keepMax, float noData, float zOffset, const SSEPoint& minP, const SSEPoint& maxP,
    const std::function<void(int, int)>& progress) const {
  return ConvertFresh(*this, m, keepMax, noData, zOffset, minP, maxP, progress);
}
