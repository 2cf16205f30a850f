#pragma once
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <type_traits>
#include <utility>
#include <vector>

#include "qssse/mesh/HTriangulation.h"
#include "qssse/mesh/StepSequence.h"
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
  // Both ways of sweeping a triangle stamp the same, so the choice is speed alone: set, every triangle
  // the row walk can take goes that way (for comparing the two).
  bool alwaysWalkRows = false;
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

// How a triangle is swept: not at all (a step below kMinStep), sample by sample, or row by row with the
// runs of samples on one pixel found by search (RowWalk below).
enum class Way { kSkip, kSamples, kRows };
struct TrianglePlan {
  Way way = Way::kSkip;
  float step = 0.0f;
  double steps = 0.0;  // the work planned: samples, or rows times the runs a row can have
};

// Whether the row walk may take triangle i: along a row every sample's pixel and height must be monotone
// in the sample index. They are when the corners, S, T, the origin and the resolution are finite (the
// resolution positive) and small enough that no sum overflows: each quantity is then a chain of
// correctly rounded additions, products and quotients of the index's parameter, and rounding is
// monotone. Anything else is sampled one by one.
inline bool RowWalkable(const Job& job, int i) {
  if (!(job.resX > 0.0f && job.resX <= 3.0e38f && job.resY > 0.0f && job.resY <= 3.0e38f)) return false;
  const SSEPoint& p0 = job.corners[3 * i];
  const SSEPoint &s = job.sVectors[i], &t = job.tVectors[i];
  SSEPoint o;
  o.m = job.origin;
  constexpr float kBound = 1.0e36f;  // the sums below stay far from the largest float
  for (const SSEPoint* v : std::initializer_list<const SSEPoint*>{&p0, &s, &t, &o}) {
    if (!(std::fabs(v->x) <= kBound && std::fabs(v->y) <= kBound && std::fabs(v->z) <= kBound)) return false;
  }
  return true;
}

// The plan of triangle i: the step, the way, the steps planned. The row walk is taken where the samples
// outnumber the pixel runs of all rows many times: for steep and needle triangles whose samples crowd
// far below one pixel.
// The plan of a triangle the job takes, whose step is at least kMinStep.
inline TrianglePlan PlanStep(const Job& job, int i, float step) {
  TrianglePlan plan;
  plan.step = step;
  plan.way = Way::kSamples;
  // NaN and steps of 1 or more: the first row, whose one sample is the only one.
  const double rows = step < 1.0f ? std::ceil(1.0 / step) : 1.0;
  plan.steps = rows * (rows + 1.0) * 0.5;
  // A row has at least three runs (below), so fewer than 48 samples per row never make the row walk
  // worth it; most triangles of a mesh at its own scale stop here, before the quotients and RowWalkable.
  if (rows < 4.0 || !(job.alwaysWalkRows || plan.steps > 48.0 * rows)) return plan;
  const SSEPoint& t = job.tVectors[i];
  // A row spans at most |T.x| / resX + |T.y| / resY pixel boundaries; each run costs a few searches.
  const double runs = 3.0 + std::fabs(t.x) / job.resX + std::fabs(t.y) / job.resY;
  if (!(job.alwaysWalkRows || plan.steps > 16.0 * rows * runs) || !RowWalkable(job, i)) return plan;
  plan.way = Way::kRows;
  plan.steps = rows * runs;
  return plan;
}
// Steps of a third and more make fewer than four rows: always sampled one by one.
inline constexpr float kFewRowsStep = 1.0f / 3.0f;
// Steps of 1/90 and more make at most 91 rows, short of the 96 from which a row has 48 samples on
// average: only the row walk forced for comparison takes such triangles.
inline constexpr float kShortRowsStep = 1.0f / 90.0f;
// Whether PlanStep may choose the row walk for a triangle of this step (false means it will not).
inline bool MayWalkRows(const Job& job, float step) {
  return job.alwaysWalkRows ? step < kFewRowsStep : step < kShortRowsStep;
}

inline TrianglePlan PlanTriangle(const Job& job, int i) {
  if (!TakesTriangle(job, i)) return TrianglePlan{};
  const float step = TriangleStep(job, i);
  if (step < kMinStep) return TrianglePlan{};
  return PlanStep(job, i, step);
}

// The steps the sweep of job plans, in double so that no count wraps: over the triangles it takes, the
// samples of those sampled one by one, and rows times the runs a row can have for those walked row by
// row.
double PlannedSteps(const Job& job);
// Steps per triangle and per raster pixel that a sampled conversion may always take: a mesh of a height
// field converted at its own scale plans about seven per triangle, so only odd geometry meets the budget.
constexpr double kScanStepsPerElement = 32.0;
// The work the budget never counts for a conversion of `triangles` into width x height pixels.
double SweepAllowance(double triangles, double width, double height);
// Throws CWorkBudgetException when the job's planned steps beyond its allowance exceed the budget.
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

// The swept matrix's storage and where the sweep's pixels lie on it, shared by the sample holders below.
class SweptRows {
 protected:
  SweptRows(__m128** rows, int offsetX, int offsetY) : rows_(rows), offsetX_(offsetX), offsetY_(offsetY) {}
  template <class Stamp>
  void Put(int x, int y, float v) const {
    Stamp::Stamp(rows_, x - offsetX_, y - offsetY_, v);
  }

 private:
  __m128** rows_;
  int offsetX_, offsetY_;
};

// Consecutive samples on one pixel, folded by the keep rule and stamped once: the rule keeps the present
// value only when it is strictly better, so stamping v1 then v2 leaves on every pixel what stamping
// their fold leaves (of equal values the later one, -0 or +0 alike). A NaN sample is stamped as it comes,
// since stamping it replaces whatever was there.
template <class Stamp>
class HeldStamps : SweptRows {
 public:
  using Rule = typename Stamp::Rule;
  HeldStamps(__m128** rows, int offsetX, int offsetY) : SweptRows(rows, offsetX, offsetY) {}
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
      Put<Stamp>(x, y, v);
      return;
    }
    x_ = x;
    y_ = y;
    v_ = v;
    holding_ = true;
  }
  void Release() {
    if (holding_) Put<Stamp>(x_, y_, v_);
    holding_ = false;
  }

 private:
  int x_ = 0, y_ = 0;
  float v_ = 0.0f;
  bool holding_ = false;
};

// Samples on a few recent pixels, each folded by the keep rule and stamped once when the pool is full
// or at the end: for sweeps whose stamps commute. They do when no height is NaN or -0 (then every
// pixel ends as the better of its value and the best stamp reaching it, whatever the order, equal
// heights having equal bits); a NaN height empties the pool and is stamped in its place.
template <class Stamp>
class PooledStamps : SweptRows {
 public:
  using Rule = typename Stamp::Rule;
  PooledStamps(__m128** rows, int offsetX, int offsetY) : SweptRows(rows, offsetX, offsetY) {}
  ~PooledStamps() { Release(); }
  PooledStamps(const PooledStamps&) = delete;
  PooledStamps& operator=(const PooledStamps&) = delete;

  void Add(int x, int y, float v) {
    if (v != v) {
      Release();
      Put<Stamp>(x, y, v);
      return;
    }
    for (int k = 0; k < n_; ++k) {
      if (x_[k] == x && y_[k] == y) {
        v_[k] = Rule::Keep(v_[k], v);
        return;
      }
    }
    if (n_ == kSize) Release();
    x_[n_] = x;
    y_[n_] = y;
    v_[n_] = v;
    ++n_;
  }
  void Release() {
    for (int k = 0; k < n_; ++k) Put<Stamp>(x_[k], y_[k], v_[k]);
    n_ = 0;
  }

 private:
  static constexpr int kSize = 4;
  int x_[kSize] = {}, y_[kSize] = {};
  float v_[kSize] = {};
  int n_ = 0;
};

// Whether the stamps of job commute (see PooledStamps): an offset that is neither NaN nor -0 makes
// every height either NaN (from non-finite corners, stamped in order) or not -0.
inline bool StampsCommute(const Job& job) {
  return job.zOffset == job.zOffset && !(job.zOffset == 0.0f && std::signbit(job.zOffset));
}

// One triangle row by row, stamping what the sample-by-sample loop stamps. Row j (parameter a_j of the
// same float accumulation) holds samples b_0 .. b_{K_j - 1}, K_j the count of the step sequence below
// 1 - a_j. Every sample's pixel x and y and its height are monotone in k along a row and in j down a
// column of fixed k (see RowWalkable), so:
// - the samples of a row inside the frame are one interval, found by search on its ends, and the
//   samples on one pixel are runs, found by galloping;
// - a run folds by the keep rule to the height at one of its ends (of equal heights the later
//   sample's, which matters only for zeros of either sign);
// - every fact a row's runs rest on (this sample on that pixel, that sample outside the frame) holds
//   for the following rows up to some row and never again, so rows with the same runs form blocks
//   found by galloping too. Where the stamps' order cannot show (no NaN and no -0 offset, hence no NaN
//   and no -0 height), a block's run is stamped once with the best height over its rows: a corner of
//   the block's samples on that pixel, since the height is monotone both ways; only where the height
//   rises along the rows and towards the row ends at once are the row ends of the last run compared
//   one by one. Otherwise every row is stamped in order.
template <class Stamp, class Held>
void WalkRows(const Job& job, int tri, float step, Held& held) {
  using namespace simd;
  using Rule = typename Stamp::Rule;
  constexpr bool kHigh = std::is_same_v<Rule, raster::KeepMax>;
  const StepSequence seq(step);
  const f4 p0 = job.corners[3 * tri].m, s = job.sVectors[tri].m, t = job.tVectors[tri].m;
  const f4 res = lanes(job.resX, job.resY, 1.0f, 1.0f);
  const f4 half = splat(0.5f);
  const double xEnd = job.width - 1.0, yEnd = job.height - 1.0;
  struct Sample {
    float fx, fy, z;
  };
  // Row j's origin and sample count, and sample k of a row.
  struct Row {
    f4 pa;
    std::int64_t count;
  };
  const auto row = [&](std::int64_t j) {
    const float a = seq.At(j);
    return Row{add(p0, mul(splat(a), s)), seq.CountBelow(1.0f - a)};
  };
  const auto at = [&](const Row& r, std::int64_t k) {
    const f4 q = sub(add(r.pa, mul(splat(seq.At(k)), t)), job.origin);
    const f4 f = add(div(q, res), half);
    return Sample{lane0(f), lane<1>(f), lane<2>(q) + job.zOffset};
  };
  // The frame's four bounds; each holds on a prefix or a suffix of a row, the same side in every row.
  const auto bound = [xEnd, yEnd](int which, const Sample& q) {
    switch (which) {
      case 0: return q.fx >= 1.0f;
      case 1: return static_cast<double>(q.fx) < xEnd;
      case 2: return q.fy >= 1.0f;
      default: return static_cast<double>(q.fy) < yEnd;
    }
  };
  const auto pixelIs = [](const Sample& q, int x, int y) {
    return static_cast<int>(q.fx) == x && static_cast<int>(q.fy) == y;
  };

  struct Run {
    int x, y;
    std::int64_t first, last;
  };
  // A fact about sample k of a row: bound `which` holds (0..3) or fails (4..7), or the sample lies on
  // pixel (x, y) (8).
  struct Fact {
    std::int64_t k;
    int kind, x, y;
  };
  std::vector<Run> runs;
  std::vector<Fact> facts;
  const auto holds = [&](const Row& r, const Fact& f) {
    const Sample q = at(r, f.k);
    if (f.kind == 8) return pixelIs(q, f.x, f.y);
    return f.kind < 4 ? bound(f.kind, q) : !bound(f.kind - 4, q);
  };
  const bool orderFree = StampsCommute(job);
  const bool riseAlongRow = lane<2>(t) > 0.0f, riseDownRows = lane<2>(s) > 0.0f;
  // Whether the best height of a run lies at its last sample, and of a block at its last row.
  const bool bestAtEnd = riseAlongRow == kHigh, bestAtLastRow = riseDownRows == kHigh;
  const auto better = [](float u, float v) { return Rule::Keep(v, u) == u && u != v; };

  const std::int64_t rows = seq.Count();
  for (std::int64_t j = 0; j < rows;) {
    const Row r = row(j);
    runs.clear();
    facts.clear();
    bool blockable = true;  // the facts describe the row completely
    const std::int64_t count = r.count;
    std::int64_t lo = 0, hi = count - 1;
    bool empty = count < 1;
    if (!empty) {
      const Sample first = at(r, 0), last = at(r, count - 1);
      for (int which = 0; which < 4 && !empty; ++which) {
        const bool h0 = bound(which, first), h1 = bound(which, last);
        if (!h0 && !h1) {
          empty = true;
          facts = {{0, which + 4, 0, 0}, {count - 1, which + 4, 0, 0}};
        } else if (h0 != h1) {
          // The first index where the bound changes.
          std::int64_t l = 0, h = count - 1;
          while (h - l > 1) {
            const std::int64_t mid = l + (h - l) / 2;
            if (bound(which, at(r, mid)) == h0) {
              l = mid;
            } else {
              h = mid;
            }
          }
          if (h0) {
            if (l < hi) hi = l;
          } else if (h > lo) {
            lo = h;
          }
        }
      }
      if (!empty && lo > hi) {
        empty = true;
        blockable = false;
      }
    }
    if (!empty) {
      // What keeps the samples before lo and after hi out of the frame.
      for (const std::int64_t k : {lo - 1, hi + 1}) {
        if (k < 0 || k >= count) continue;
        const Sample q = at(r, k);
        int which = 0;
        while (which < 4 && bound(which, q)) ++which;
        facts.push_back({k, which + 4, 0, 0});
      }
      Sample cur = at(r, lo);
      const Sample end = at(r, hi);
      for (std::int64_t k = lo; k <= hi;) {
        const int x = static_cast<int>(cur.fx), y = static_cast<int>(cur.fy);
        std::int64_t e = hi;
        if (!pixelIs(end, x, y)) {
          std::int64_t l = k, g = 1;
          while (k + g < hi && pixelIs(at(r, k + g), x, y)) {
            l = k + g;
            g *= 2;
          }
          std::int64_t h = k + g < hi ? k + g : hi;  // not on the pixel
          while (h - l > 1) {
            const std::int64_t mid = l + (h - l) / 2;
            if (pixelIs(at(r, mid), x, y)) {
              l = mid;
            } else {
              h = mid;
            }
          }
          e = l;
        }
        runs.push_back({x, y, k, e});
        facts.push_back({k, 8, x, y});
        facts.push_back({e, 8, x, y});
        k = e + 1;
        if (k <= hi) cur = at(r, k);
      }
    }

    if (!orderFree) {
      // In order: each run folded as the loop would fold it.
      for (const Run& run : runs) {
        const float z0 = at(r, run.first).z, tail = at(r, run.last).z;
        float v = tail;  // with a NaN offset every height is the same NaN
        if (better(z0, tail)) {
          // The best height is z0, its last occurrence wanted; only a zero can differ in its bits.
          v = z0;
          if (z0 == 0.0f) {
            std::int64_t l = run.first, h = run.last;
            while (h - l > 1) {
              const std::int64_t mid = l + (h - l) / 2;
              if (at(r, mid).z == 0.0f) {
                l = mid;
              } else {
                h = mid;
              }
            }
            v = at(r, l).z;
          }
        }
        held.Add(run.x, run.y, v);
      }
      ++j;
      continue;
    }

    // The block: rows j .. j1 for which every fact still holds and the last run keeps a sample.
    const std::int64_t need = runs.empty() ? 0 : runs.back().first;
    const auto same = [&](std::int64_t j2) {
      const Row r2 = row(j2);
      if (r2.count <= need) return false;
      for (const Fact& f : facts) {
        if (!holds(r2, f)) return false;
      }
      return true;
    };
    std::int64_t j1 = j;
    if (blockable) {
      std::int64_t g = 1;
      while (j + g < rows && same(j + g)) {
        j1 = j + g;
        g *= 2;
      }
      std::int64_t h = j + g < rows ? j + g : rows;  // fails, or past the last row
      while (h - j1 > 1) {
        const std::int64_t mid = j1 + (h - j1) / 2;
        if (same(mid)) {
          j1 = mid;
        } else {
          h = mid;
        }
      }
    }
    const Row best = bestAtLastRow ? row(j1) : r;
    for (std::size_t n = 0; n < runs.size(); ++n) {
      const Run& run = runs[n];
      float v;
      if (!bestAtEnd) {
        v = at(best, run.first).z;
      } else if (n + 1 < runs.size() || !bestAtLastRow) {
        // A fixed end, or the row ends shrinking down the block while the height falls: row j's end.
        v = at(n + 1 < runs.size() ? best : r, std::min(run.last, r.count - 1)).z;
      } else {
        // The last run of every row: its end moves back as the rows' counts fall, the height rises
        // down the rows; compared row by row.
        v = at(r, std::min(run.last, r.count - 1)).z;
        for (std::int64_t j2 = j + 1; j2 <= j1; ++j2) {
          const Row r2 = row(j2);
          const float z = at(r2, std::min(run.last, r2.count - 1)).z;
          if (better(z, v)) v = z;
        }
      }
      held.Add(run.x, run.y, v);
    }
    j = j1 + 1;
  }
}

// The sample-by-sample loop of job's triangle i: emit(px, py, height) for every sample inside the frame
// (1 <= px < width - 1, likewise py), in loop order.
template <class Emit>
void SampleTriangle(const Job& job, int i, float step, Emit&& emit) {
  using namespace simd;
  const f4 res = lanes(job.resX, job.resY, 1.0f, 1.0f);
  const f4 half = splat(0.5f);
  const unsigned xSpan = static_cast<unsigned>(job.width - 2), ySpan = static_cast<unsigned>(job.height - 2);
  const SSEPoint& p0 = job.corners[3 * i];
  const f4 s = job.sVectors[i].m, t = job.tVectors[i].m;
  for (float a = 0.0f; a < 1.0f; a += step) {
    const f4 pa = add(p0.m, mul(splat(a), s));
    const float bEnd = 1.0f - a;
    for (float b = 0.0f; b < bEnd; b += step) {
      const f4 q = sub(add(pa, mul(splat(b), t)), job.origin);
      int px, py;
      truncLanes01(add(div(q, res), half), px, py);
      // One unsigned compare per axis: 1 <= px < width - 1 (INT_MIN, from NaN, fails it too).
      if (static_cast<unsigned>(px) - 1u >= xSpan || static_cast<unsigned>(py) - 1u >= ySpan) continue;
      emit(px, py, lane<2>(q) + job.zOffset);
    }
  }
}

// Stands for no faster way: every triangle goes the general way.
struct NoShortcut {
  bool operator()(int, float) const { return false; }
};

// The triangles of job stamped through held. shortcut(i, step) may take a triangle first, returning true
// when it has stamped all of its samples.
template <class Stamp, class Held, class Shortcut = NoShortcut>
void SweepWith(const Job& job, Held& held, Shortcut&& shortcut = {}) {
  for (int i = job.first; i <= job.last; ++i) {
    if (!TakesTriangle(job, i)) continue;
    const float step = TriangleStep(job, i);
    if (step < kMinStep) continue;
    if (shortcut(i, step)) continue;
    if (MayWalkRows(job, step) && PlanStep(job, i, step).way == Way::kRows) {
      WalkRows<Stamp>(job, i, step, held);
      continue;
    }
    SampleTriangle(job, i, step, [&held](int x, int y, float v) { held.Add(x, y, v); });
  }
}

// Runs the sweep of job over m's storage with Stamp. m must cover the pixels job's stamps reach (see
// offsetX, offsetY).
template <class Stamp>
void Sweep(const Job& job, CSSEMatrix& m) {
  __m128** rows = m.GetMatrixDataDirectly();
  if (rows == nullptr || job.width < 3 || job.height < 3) return;  // no pixel inside the frame
  if (StampsCommute(job)) {
    PooledStamps<Stamp> held(rows, job.offsetX, job.offsetY);
    SweepWith<Stamp>(job, held);
  } else {
    HeldStamps<Stamp> held(rows, job.offsetX, job.offsetY);
    SweepWith<Stamp>(job, held);
  }
}

}  // namespace qssse::scan
