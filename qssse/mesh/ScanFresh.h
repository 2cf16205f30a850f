#pragma once
#include <utility>

#include "qssse/mesh/ScanSweep.h"
#include "qssse/platform/ForceInline.h"
#include "qssse/raster/AlignedBuffer.h"
#include "qssse/raster/PixelLayout.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/vector/SimdOps.h"

// Fresh conversions of the sampled scan converters (single-threaded and worker forms): every sample kept on
// its centre pixel, the crosses spread over the raster afterwards. An internal of the mesh sources, public
// only because every header is.
namespace qssse::scan {

// Centre stamps of a fresh conversion: every sample kept on its own pixel only, NaN heights noted.
template <class KeepRule>
class CentreStamps : SweptRows {
 public:
  using Rule = KeepRule;
  CentreStamps(__m128** rows, int offsetX, int offsetY) : SweptRows(rows, offsetX, offsetY) {}
  void Add(int x, int y, float v) {
    nan_ |= v != v;
    Put<PixelOnly<Rule>>(x, y, v);
  }
  bool SawNaN() const { return nan_; }

 private:
  bool nan_ = false;
};

// The samples of a triangle of two to six rows, four at a time: about nine in ten triangles of a mesh
// converted at its own scale. The step sequence b_0 = 0, b_k = b_{k-1} + step of the loops gives the
// rows a = b_j below 1 and, in row j, the samples b_k below 1 - b_j. A triangle of r = 2 .. 6 rows has
// r - j samples in row j for every float step (the rounding of 1 - b_j never adds or drops one there:
// checked over all of them), so the samples of each r are one fixed pattern. Each lane computes its
// sample as the loop does, the same operations on the same operands: the pixel from
// ((P0 + b_j S) + b_k T - origin) / resolution + 0.5, the height ((P0 + b_j S) + b_k T - origin) + zOffset;
// the products b_j S and b_k T are formed once per triangle for all rows and columns and picked into the
// lanes. Only for sweeps whose stamps commute (see StampsCommute), where the order cannot show.
template <class Rule>
class FewRows {
 public:
  struct Coordinates {
    simd::f4 x, y, z;
  };
  // What every sample of the job shares; the sweep keeps it in a local, where the stamps' float stores
  // cannot alias it (in a member they could, and every value would be loaded again after each stamp).
  struct Frame {
    __m128** rows;
    Coordinates origin;
    simd::f4 resX, resY, zOffset;
    simd::i4 xEnd, yEnd, offsetX, offsetY;
    bool shifted;  // the swept matrix starts elsewhere than the raster (a worker's box)
  };
  static Frame FrameOf(const Job& job, __m128** rows) {
    using namespace simd;
    return Frame{rows,
                 {broadcast<0>(job.origin), broadcast<1>(job.origin), broadcast<2>(job.origin)},
                 splat(job.resX),
                 splat(job.resY),
                 splat(job.zOffset),
                 splatInt(job.width - 1),
                 splatInt(job.height - 1),
                 splatInt(job.offsetX),
                 splatInt(job.offsetY),
                 job.offsetX != 0 || job.offsetY != 0};
  }

  explicit FewRows(const Job& job) : job_(job) {}

  // Keeps every sample of triangle i (of this step) on its centre and returns true, NaN heights noted in
  // nan; false when the triangle is not of this kind or a sample of it falls outside the frame. Samples
  // kept before such a sample was met are kept again by the caller's loop, which changes nothing:
  // keeping a value twice leaves what keeping it once leaves.
  QSSSE_FORCE_INLINE bool operator()(int i, float step, const Frame& f, int& nan) const {
    return f.shifted ? Take<true>(i, step, f, nan) : Take<false>(i, step, f, nan);
  }

 private:
  // Lane l: P0 + b_l S (the origin of row l), and b_l T (the offset of column l).
  struct Terms {
    Coordinates rowOrigin, columnOffset;
  };

  template <bool kShifted>
  QSSSE_FORCE_INLINE bool Take(int i, float step, const Frame& f, int& nan) const {
    float b[8];
    b[0] = 0.0f;
    for (int k = 1; k < 8; ++k) b[k] = b[k - 1] + step;
    if (!(b[1] < 1.0f) || b[6] < 1.0f) return false;
    const int r = b[5] < 1.0f ? 6 : b[4] < 1.0f ? 5 : b[3] < 1.0f ? 4 : b[2] < 1.0f ? 3 : 2;
    using simd::lanes;
    const Terms low = MakeTerms(i, lanes(b[0], b[1], b[2], b[3]));
    // Groups of lanes as (rows; columns); lanes past the count repeat the first sample and are not kept.
    switch (r) {
      case 2:  // (0,0) (0,1) (1,0)
        return Group<kShifted, 0, 0, 1, 0, 0, 1, 0, 0, 3>(low, f, nan);
      case 3:  // (0,0) (0,1) (0,2) (1,0) | (1,1) (2,0)
        return Group<kShifted, 0, 0, 0, 1, 0, 1, 2, 0, 4>(low, f, nan) &&
               Group<kShifted, 1, 2, 0, 0, 1, 0, 0, 0, 2>(low, f, nan);
      case 4:  // (0,0..3) | (1,0) (1,1) (1,2) (2,0) | (2,1) (3,0)
        return Group<kShifted, 0, 0, 0, 0, 0, 1, 2, 3, 4>(low, f, nan) &&
               Group<kShifted, 1, 1, 1, 2, 0, 1, 2, 0, 4>(low, f, nan) &&
               Group<kShifted, 2, 3, 0, 0, 1, 0, 0, 0, 2>(low, f, nan);
      default:
        break;
    }
    // Rows and columns 4 and 5 are picked from (0, 4, 1, 5): lanes 0..3 of `mixed` hold index 0, 4, 1, 5.
    const Terms mixed = Interleave(low, MakeTerms(i, lanes(b[4], b[5], b[6], b[7])));
    if (r == 5) {
      // (0,0..3) | (1,0) (1,2) (1,3) (2,0) | (2,1) (2,2) (3,0) (3,1) | mixed: (1,1) (0,4) (4,0)
      return Group<kShifted, 0, 0, 0, 0, 0, 1, 2, 3, 4>(low, f, nan) &&
             Group<kShifted, 1, 1, 1, 2, 0, 2, 3, 0, 4>(low, f, nan) &&
             Group<kShifted, 2, 2, 3, 3, 1, 2, 0, 1, 4>(low, f, nan) &&
             Group<kShifted, 2, 0, 1, 0, 2, 1, 0, 0, 3>(mixed, f, nan);
    }
    // (0,1) (0,2) (0,3) (1,0) | (1,2) (1,3) (2,0) (2,1) | (2,2) (2,3) (3,0) (3,1) | (3,2) |
    // mixed: (0,0) (1,1) (0,4) (0,5) | (1,4) (4,0) (4,1) (5,0)
    return Group<kShifted, 0, 0, 0, 1, 1, 2, 3, 0, 4>(low, f, nan) &&
           Group<kShifted, 1, 1, 2, 2, 2, 3, 0, 1, 4>(low, f, nan) &&
           Group<kShifted, 2, 2, 3, 3, 2, 3, 0, 1, 4>(low, f, nan) &&
           Group<kShifted, 3, 0, 0, 0, 2, 0, 0, 0, 1>(low, f, nan) &&
           Group<kShifted, 0, 2, 0, 0, 0, 2, 1, 3, 4>(mixed, f, nan) &&
           Group<kShifted, 2, 1, 1, 3, 1, 0, 2, 0, 4>(mixed, f, nan);
  }

  QSSSE_FORCE_INLINE Terms MakeTerms(int i, simd::f4 b) const {
    using namespace simd;
    const f4 p0 = job_.corners[3 * i].m, s = job_.sVectors[i].m, t = job_.tVectors[i].m;
    return Terms{
        {add(broadcast<0>(p0), mul(b, broadcast<0>(s))), add(broadcast<1>(p0), mul(b, broadcast<1>(s))),
         add(broadcast<2>(p0), mul(b, broadcast<2>(s)))},
        {mul(b, broadcast<0>(t)), mul(b, broadcast<1>(t)), mul(b, broadcast<2>(t))}};
  }
  QSSSE_FORCE_INLINE static Terms Interleave(const Terms& a, const Terms& b) {
    using simd::interleaveLow;
    return Terms{
        {interleaveLow(a.rowOrigin.x, b.rowOrigin.x), interleaveLow(a.rowOrigin.y, b.rowOrigin.y),
         interleaveLow(a.rowOrigin.z, b.rowOrigin.z)},
        {interleaveLow(a.columnOffset.x, b.columnOffset.x), interleaveLow(a.columnOffset.y, b.columnOffset.y),
         interleaveLow(a.columnOffset.z, b.columnOffset.z)}};
  }

  // The samples (row J_l, column K_l) of lanes l < N: kept, or false (nothing kept) when one lies outside
  // the frame.
  template <bool kShifted, int J0, int J1, int J2, int J3, int K0, int K1, int K2, int K3, int N>
  QSSSE_FORCE_INLINE static bool Group(const Terms& terms, const Frame& f, int& nan) {
    using namespace simd;
    const Coordinates &a = terms.rowOrigin, &b = terms.columnOffset;
    const f4 qx = sub(add(shuffle<J0, J1, J2, J3>(a.x, a.x), shuffle<K0, K1, K2, K3>(b.x, b.x)), f.origin.x);
    const f4 qy = sub(add(shuffle<J0, J1, J2, J3>(a.y, a.y), shuffle<K0, K1, K2, K3>(b.y, b.y)), f.origin.y);
    const f4 z =
        add(sub(add(shuffle<J0, J1, J2, J3>(a.z, a.z), shuffle<K0, K1, K2, K3>(b.z, b.z)), f.origin.z),
            f.zOffset);
    const f4 half = splat(0.5f);  // the loop's rounding offset
    const i4 px = truncLanes(add(div(qx, f.resX), half)), py = truncLanes(add(div(qy, f.resY), half));
    const i4 zero = splatInt(0);
    const i4 inside =
        andInt(andInt(gtInt(px, zero), ltInt(px, f.xEnd)), andInt(gtInt(py, zero), ltInt(py, f.yEnd)));
    constexpr int kLanes = (1 << N) - 1;
    if ((movemaskInt(inside) & kLanes) != kLanes) return false;
    nan |= movemask(isnan(z)) & kLanes;
    i4 row, at4;
    if constexpr (kShifted) {
      raster::PixelParts(subInt(px, f.offsetX), subInt(py, f.offsetY), row, at4);
    } else {
      raster::PixelParts(px, py, row, at4);
    }
    alignas(16) int rowOf[4], offsetOf[4];
    alignas(16) float height[4];
    storeInt(rowOf, row);
    storeInt(offsetOf, at4);
    store(height, z);
    for (int l = 0; l < N; ++l) {
      float* p = reinterpret_cast<float*>(f.rows[rowOf[l]]) + offsetOf[l];
      *p = Rule::Keep(*p, height[l]);
    }
    return true;
  }

  const Job& job_;
};

// Every real pixel of m becomes the Rule-best of itself and its four neighbours as they stood (pixels
// outside the raster count as `outside`); padding lanes keep their values. Without NaN and -0 the best
// of five is the same value whatever the order, so this is the cross stamp applied to every pixel at once.
template <class Rule>
void SpreadCrosses(CSSEMatrix& m, float outside) {
  using namespace simd;
  __m128** rows = m.GetMatrixDataDirectly();
  const int w = m.GetSizeX(), h = m.GetSizeY(), groups = m.GetSSESizeY();
  if (rows == nullptr || w < 1 || h < 1) return;
  const f4 o = splat(outside);
  // The SIMD row above and the current one as they stood before this pass wrote them.
  AlignedBuffer<float> above(4 * static_cast<std::size_t>(w)), current(4 * static_cast<std::size_t>(w));
  __m128* up = reinterpret_cast<__m128*>(above.get());
  __m128* cur = reinterpret_cast<__m128*>(current.get());
  for (int x = 0; x < w; ++x) up[x] = o;
  const int realGroups = (h + 3) >> 2;
  for (int g = 0; g < realGroups; ++g) {
    __m128* row = rows[g];
    const __m128* below = g + 1 < groups ? rows[g + 1] : nullptr;
    for (int x = 0; x < w; ++x) cur[x] = row[x];
    const f4 keepMask = firstLanes(h - 4 * g);  // the real lanes of this SIMD row
    const auto at = [&](int x) {
      const f4 c = cur[x];
      const f4 left = x > 0 ? cur[x - 1] : o, right = x + 1 < w ? cur[x + 1] : o;
      const f4 upper = shiftLanesUp(c, up[x]), lower = shiftLanesDown(c, below != nullptr ? below[x] : o);
      return Rule::Keep(Rule::Keep(Rule::Keep(Rule::Keep(c, left), right), upper), lower);
    };
    if (4 * g + 4 <= h) {
      row[0] = at(0);
      for (int x = 1; x + 1 < w; ++x) {
        const f4 c = cur[x];
        row[x] =
            Rule::Keep(Rule::Keep(Rule::Keep(Rule::Keep(c, cur[x - 1]), cur[x + 1]), shiftLanesUp(c, up[x])),
                       shiftLanesDown(c, below != nullptr ? below[x] : o));
      }
      if (w > 1) row[w - 1] = at(w - 1);
    } else {
      for (int x = 0; x < w; ++x) row[x] = select(keepMask, at(x), cur[x]);
    }
    std::swap(up, cur);
  }
}

// The conversion of job into m, which holds `sentinel` in every element and covers the pixels job's
// crosses reach: the samples kept on their centres (triangles of few rows four samples at a time, see
// FewRows), then the crosses spread over the whole raster (one pass, within the allowance's share per
// pixel). When the stamps commute (see StampsCommute) that leaves on every pixel the best of the sentinel
// and every cross reaching it, as the cross stamps in loop order do, at a fifth of the stamps. A NaN
// height makes the order matter: then m is filled again and swept in order.
// (Folding a pixel's consecutive samples in registers before the keep, with branches or with masks,
// measured slower than keeping every sample: the keep is a load, a max and a store the processor
// overlaps, the fold adds work to every sample.)
template <class Rule>
void SweepFresh(const Job& job, CSSEMatrix& m, float sentinel) {
  __m128** rows = m.GetMatrixDataDirectly();
  if (rows == nullptr || job.width < 3 || job.height < 3) return;  // no pixel inside the frame
  if (StampsCommute(job)) {
    CentreStamps<Rule> centres(rows, job.offsetX, job.offsetY);
    const FewRows<Rule> few(job);
    const typename FewRows<Rule>::Frame frame = FewRows<Rule>::FrameOf(job, rows);
    int nan = 0;
    if (job.alwaysWalkRows) {
      SweepWith<PixelOnly<Rule>>(job, centres);
    } else {
      SweepWith<PixelOnly<Rule>>(job, centres, [&](int i, float step) { return few(i, step, frame, nan); });
    }
    if (!centres.SawNaN() && nan == 0) {
      SpreadCrosses<Rule>(m, sentinel);
      return;
    }
    m.Fill(sentinel);
  }
  Sweep<Cross<Rule>>(job, m);
}

}  // namespace qssse::scan
