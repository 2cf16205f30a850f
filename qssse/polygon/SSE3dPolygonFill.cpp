// CSSE3dPolygon: the box-scanning fills (Fine, Min, Max, Sub, byte matrix, Coarse, outside pixels, the
// one-sided front fill and the inner distance transform).
//
// Each of them decides, for a grid of sample cells, whether the fill rule (PointInLineInnerArea with
// step 1) holds, and one call per cell costs cells x points. Here the grid is swept column by column
// instead: only the edges that straddle a column can toggle a cell of it, and along the column the
// rule's own comparison (R.y - L.y)·(x - L.x) > (R.x - L.x)·(y - L.y) holds for a prefix of the rows
// (its right side never decreases with y; see SweepInside), so the row where each straddling edge stops
// toggling is found by a few evaluations of that comparison. The comparisons are evaluated in the rule's
// float arithmetic, so every cell is decided exactly as the per-cell call decides it. Every write rule of the
// family is idempotent, so cells reached twice through clamping end as they would after the per-cell loop.
#include <immintrin.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "qssse/platform/CPU.h"
#include "qssse/platform/ScratchVector.h"
#include "qssse/platform/WorkerPool.h"

#include "qssse/polygon/CellCoordinates.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/PixelLayout.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/raster/SSEcharMatrix.h"
#include "qssse/vector/SimdOps.h"

namespace {

using qssse::polygon::TruncSat;

// First i in [lo, hi) for which pred holds, for a pred that is false and then true; hi when none.
template <class Pred>
int FirstTrue(int lo, int hi, Pred pred) {
  while (lo < hi) {
    const int mid = lo + (hi - lo) / 2;
    if (pred(mid)) {
      hi = mid;
    } else {
      lo = mid + 1;
    }
  }
  return lo;
}

struct Edge {
  float lx, ly, rx, ry;  // left end (smaller x) and right end, as the rule orders them
  int i0, i1;            // the grid columns i0 .. i1-1 are straddled
};

// A polygon's points and the box its fill rule rejects against.
struct Ring {
  std::vector<float> x, y;
  float loX = 0, loY = 0, hiX = 0, hiY = 0;
};

// Sample cells: columns x0 + i·sx (i < nx), rows y0 + j·sy (j < ny).
struct Grid {
  int x0, sx, nx, y0, sy, ny;
};

// The box of step 2 of the scans: columns xStart .. xEnd, rows yStart .. yEnd (not yet clamped).
struct Ranges {
  int xStart, xEnd, yStart, yEnd;
};

// The column sweep: calls column(x, jLo, ends, count) for every grid column x (ascending) that some edge
// straddles, where rows jLo .. jHi-1 pass the rule's box test and each of the count straddling edges
// toggles the rows jLo .. end-1 of the column (ends > jLo, unordered). A cell is inside when an odd
// number of those prefixes covers it.
template <class Column>
void SweepEnds(const Ring& ring, const Grid& g, Column column) {
  const int n = static_cast<int>(ring.x.size());
  if (n < 3 || g.nx <= 0 || g.ny <= 0) return;
  auto colX = [&](int i) { return static_cast<float>(g.x0 + i * g.sx); };
  auto rowY = [&](int j) { return static_cast<float>(g.y0 + j * g.sy); };
  // 1. the rule's box rejection as ranges of columns and rows
  const int iLo = FirstTrue(0, g.nx, [&](int i) { return !(colX(i) < ring.loX); });
  const int iHi = FirstTrue(iLo, g.nx, [&](int i) { return colX(i) > ring.hiX; });
  const int jLo = FirstTrue(0, g.ny, [&](int j) { return !(rowY(j) < ring.loY); });
  const int jHi = FirstTrue(jLo, g.ny, [&](int j) { return rowY(j) > ring.hiY; });
  if (iLo >= iHi || jLo >= jHi) return;

  // 2. the ring's edges (n-1, 0), (0, 1), ... with the columns x they straddle: exactly one end has an
  // x below x, that is min < x <= max. An edge with a NaN coordinate never toggles and is left out.
  std::vector<Edge> edges;
  edges.reserve(static_cast<std::size_t>(n));
  for (int k = 0; k < n; ++k) {
    const int p = k == 0 ? n - 1 : k - 1;
    const float px = ring.x[p], py = ring.y[p], cx = ring.x[k], cy = ring.y[k];
    if (std::isnan(px) || std::isnan(py) || std::isnan(cx) || std::isnan(cy) || px == cx) continue;
    const bool prevLeft = px < cx;
    Edge e{prevLeft ? px : cx, prevLeft ? py : cy, prevLeft ? cx : px, prevLeft ? cy : py, 0, 0};
    e.i0 = FirstTrue(iLo, iHi, [&](int i) { return colX(i) > e.lx; });
    e.i1 = FirstTrue(e.i0, iHi, [&](int i) { return colX(i) > e.rx; });
    if (e.i0 < e.i1) edges.push_back(e);
  }
  std::sort(edges.begin(), edges.end(), [](const Edge& a, const Edge& b) { return a.i0 < b.i0; });

  // 3. sweep the columns with the set of straddling edges
  std::vector<const Edge*> active;
  std::vector<int> ends;
  std::size_t next = 0;
  for (int i = iLo; i < iHi; ++i) {
    if (active.empty()) {
      if (next == edges.size()) break;
      i = std::max(i, edges[next].i0);
    }
    while (next < edges.size() && edges[next].i0 <= i) active.push_back(&edges[next++]);
    active.erase(std::remove_if(active.begin(), active.end(), [i](const Edge* e) { return e->i1 <= i; }),
                 active.end());
    if (active.empty()) continue;
    const float x = colX(i);
    ends.clear();
    for (const Edge* e : active) {
      // The rule's comparison with its left side fixed for the column. Its right side
      // (R.x - L.x)·(y - L.y) has R.x - L.x > 0 and never decreases with y (a product with +inf is NaN
      // only at y = L.y, between -inf below and +inf above), so the rows that toggle form a prefix.
      const float lhs = (e->ry - e->ly) * (x - e->lx);
      const float dx = e->rx - e->lx;
      auto stops = [&](int j) { return !(lhs > dx * (rowY(j) - e->ly)); };
      // Where the comparison flips, estimated in double and then settled by the comparison itself: the
      // estimate is almost always exact, the binary search is the fallback.
      const double flip = (static_cast<double>(e->ly) + static_cast<double>(lhs) / dx - g.y0) / g.sy;
      int end;
      if (flip > jLo && flip < jHi) {
        end = static_cast<int>(std::ceil(flip));
        if ((end > jLo && stops(end - 1)) || (end < jHi && !stops(end))) {
          end = FirstTrue(jLo, jHi, stops);
        }
      } else {
        end = FirstTrue(jLo, jHi, stops);
      }
      if (end > jLo) ends.push_back(end);
    }
    column(g.x0 + i * g.sx, jLo, ends.data(), static_cast<int>(ends.size()));
  }
}

// Calls emit(x, j0, j1) for every maximal run of grid rows j0 .. j1-1 of column x (columns ascending,
// runs ascending) whose cells the fill rule with step 1 finds inside the ring.
template <class Emit>
void SweepInside(const Ring& ring, const Grid& g, Emit emit) {
  SweepEnds(ring, g, [&](int x, int jLo, int* ends, int m) {
    // a row is inside when an odd number of prefixes covers it
    std::sort(ends, ends + m);
    int runStart = -1, runEnd = -1, from = jLo;
    for (int k = 0; k < m; ++k) {
      const int to = ends[k];
      if (((m - k) & 1) != 0 && from < to) {
        if (runEnd == from) {
          runEnd = to;
        } else {
          if (runStart >= 0) emit(x, runStart, runEnd);
          runStart = from;
          runEnd = to;
        }
      }
      from = to;
    }
    if (runStart >= 0) emit(x, runStart, runEnd);
  });
}

// The same cells as toggles: toggle(x, j) for each grid row j of column x at which the inside state
// changes an odd number of times going down the column (j = jLo included; rows at or beyond jHi are
// outside); the inside cells of a column are those after an odd number of toggles.
template <class Toggle>
void SweepToggles(const Ring& ring, const Grid& g, Toggle toggle) {
  SweepEnds(ring, g, [&](int x, int jLo, const int* ends, int m) {
    if (m & 1) toggle(x, jLo);
    for (int k = 0; k < m; ++k) toggle(x, ends[k]);
  });
}

Ring RingOf(const CSSE3dPolygon& p, bool normalized) {
  Ring r;
  const int n = p.GetNumPoints();
  r.x.resize(static_cast<std::size_t>(n));
  r.y.resize(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    if (normalized) {
      p.GetPointNormalizedXY(i, r.x[i], r.y[i]);
    } else {
      p.GetPointXY(i, r.x[i], r.y[i]);
    }
  }
  const SSEPoint lo = p.GetBottomLeft(), hi = p.GetTopRight();
  r.loX = lo.x;
  r.loY = lo.y;
  r.hiX = hi.x;
  r.hiY = hi.y;
  return r;
}

Ranges BoxRanges(CSSE3dPolygon& p, float yFrom, float yTo) {
  p.CalcBoundingBox();
  float x0, y0, z0, x1, y1, z1;
  p.GetBoundingBox3D(x0, y0, z0, x1, y1, z1);
  Ranges r;
  r.xStart = TruncSat(x0);
  r.xEnd = TruncSat(x1);
  const int minY = TruncSat(y0), maxY = TruncSat(y1);
  const int from = std::isnan(yFrom) ? minY : TruncSat(yFrom);  // a NaN bound does not limit
  const int to = std::isnan(yTo) ? maxY : TruncSat(yTo);
  r.yStart = std::min(std::max(minY, from), maxY);
  r.yEnd = std::max(r.yStart, std::min(maxY, to));
  return r;
}

void PrepareCopy(const CSSE3dPolygon& src, CSSE3dPolygon& copy, int thinStep) {
  copy.CreateSimilar(&src);
  if (thinStep > 1) copy.Subsample(thinStep, true);
  copy.RemoveEqualPointsXY();
  copy.CalcBoundingBox();
}

void StampColumn(CSSEMatrix& m, int x, int y0, int sy, int j0, int j1, float value) {
  // Stamps whose clamped centres agree are identical, so runs beyond the border stamp once.
  const int h = m.GetSizeY();
  int last = -1 << 30;
  for (int j = j0; j < j1; ++j) {
    const int y = y0 + j * sy;
    const int cy = std::min(std::max(y, 1), h - 2);
    if (cy == last) continue;
    last = cy;
    m.Set3x3BoxPoint(x, y, value);
  }
}

// Write rules of the Fine family, on one cell and on four cells at once (the same comparisons lane by
// lane: Set, Min and Max are the raster's keep rules, so a NaN cell takes the value).
template <class Keep>
struct WriteKept {
  float v;
  void operator()(float* p) const { *p = Keep::Keep(*p, v); }
  __m128 operator()(__m128 p) const { return Keep::Keep(p, qssse::simd::splat(v)); }
};
using WriteSet = WriteKept<qssse::raster::KeepOverwrite>;
using WriteMin = WriteKept<qssse::raster::KeepMin>;
using WriteMax = WriteKept<qssse::raster::KeepMax>;
struct WriteSub {
  float v, threshold;
  void operator()(float* p) const {
    if (*p - v < threshold) *p = 0.0f;
  }
  __m128 operator()(__m128 p) const {
    using namespace qssse::simd;
    return andnot(lt(sub(p, splat(v)), splat(threshold)), p);
  }
};

// The inside cells of a fill, collected as runs down the columns and written along the SIMD rows: a run
// toggles a bit at its first row and after its last in a bitmap of the covered area, the rows' inside
// masks are the running exclusive-or of those bits, and four rows at a time give each element's lanes.
// Whole elements (all four rows inside) are written as whole vectors. Writes along the rows, one element
// after the other, instead of one element per SIMD row down a column.
class RowWriter {
 public:
  // The area: columns x0..x1, rows y0..y1 of m (inside it).
  RowWriter(int x0, int x1, int y0, int y1)
      : x0_(x0), y0_(y0), y1_(y1), words_((x1 - x0 + 64) / 64),
        toggles_(qssse::scratchVector<std::uint64_t>(words_ * static_cast<std::size_t>(y1 - y0 + 2))) {}

  // Rows ya..yb (inclusive, inside the area) of column x are inside.
  void Run(int x, int ya, int yb) {
    Toggle(x, ya);
    Toggle(x, yb + 1);
  }
  // The inside state of column x changes at row y (y0 <= y <= y1 + 1).
  void Toggle(int x, int y) {
    toggles_[static_cast<std::size_t>(y - y0_) * words_ + (static_cast<std::size_t>(x - x0_) >> 6)] ^=
        std::uint64_t{1} << ((x - x0_) & 63);
  }

  template <class Rule>
  void Write(__m128** rows, Rule rule) const {
    using namespace qssse::simd;
    std::vector<std::uint64_t> inside = qssse::scratchVector<std::uint64_t>(4 * words_);
    std::vector<std::uint64_t> running = qssse::scratchVector<std::uint64_t>(words_);
    for (int g = y0_ >> 2; g <= y1_ >> 2; ++g) {
      // 1. the four rows' inside masks
      for (int l = 0; l < 4; ++l) {
        const int y = 4 * g + l;
        std::uint64_t* row = &inside[static_cast<std::size_t>(l) * words_];
        if (y < y0_ || y > y1_) {
          std::fill(row, row + words_, 0);
          continue;
        }
        const std::uint64_t* t = &toggles_[static_cast<std::size_t>(y - y0_) * words_];
        for (std::size_t w = 0; w < words_; ++w) row[w] = running[w] ^= t[w];
      }
      // 2. the elements: whole ones as whole vectors, the others lane by lane through a mask
      __m128* band = rows[g] + x0_;
      for (std::size_t w = 0; w < words_; ++w) {
        const std::uint64_t m0 = inside[w], m1 = inside[words_ + w], m2 = inside[2 * words_ + w],
                            m3 = inside[3 * words_ + w];
        std::uint64_t whole = m0 & m1 & m2 & m3, part = (m0 | m1 | m2 | m3) & ~whole;
        __m128* e = band + 64 * w;
        while (whole != 0) {
          const int first = __builtin_ctzll(whole);
          const std::uint64_t run = whole >> first;
          const int length = run == ~std::uint64_t{0} ? 64 - first : __builtin_ctzll(~run);
          for (int k = first; k < first + length; ++k) e[k] = rule(e[k]);
          whole &= length + first >= 64 ? 0 : ~std::uint64_t{0} << (first + length);
        }
        while (part != 0) {
          const int k = __builtin_ctzll(part);
          part &= part - 1;
          const f4 lanesIn = laneMask((m0 >> k) & 1, (m1 >> k) & 1, (m2 >> k) & 1, (m3 >> k) & 1);
          e[k] = select(lanesIn, rule(e[k]), e[k]);
        }
      }
    }
  }

 private:
  int x0_, y0_, y1_;
  std::size_t words_;
  std::vector<std::uint64_t> toggles_;
};

// The margin-5 grid of the Fine members over the clamped box.
Grid FineGrid(const Ranges& r, int w, int h) {
  const int xs = std::clamp(r.xStart, 0, w - 1), xe = std::clamp(r.xEnd, 0, w - 1);
  const int ys = std::clamp(r.yStart, 0, h - 1), ye = std::clamp(r.yEnd, 0, h - 1);
  return Grid{xs - 5, 1, xe - xs + 10, ys - 5, 1, ye - ys + 10};
}

// The grid of every third cell from start - margin while below end + margin, limited to the range in
// which every integer is a float; the phase of the grid is kept.
void ThirdsAxis(long long start, long long end, int margin, int& first, int& count) {
  constexpr long long kLimit = 16777216;
  long long a = start - margin;
  const long long b = std::min(end + margin, kLimit + 1);
  if (a < -kLimit) a += 3 * ((-kLimit - a + 2) / 3);
  first = static_cast<int>(a);
  count = b > a ? static_cast<int>((b - a + 2) / 3) : 0;
}

Grid CoarseGrid(const Ranges& r) {
  Grid g{0, 3, 0, 0, 3, 0};
  ThirdsAxis(r.xStart, r.xEnd, 9, g.x0, g.nx);
  ThirdsAxis(r.yStart, r.yEnd, 9, g.y0, g.ny);
  return g;
}

template <class Rule>
void FillFine(CSSE3dPolygon& self, CSSEMatrix* m, bool subsample, float yFrom, float yTo, Rule rule) {
  if (m == nullptr || !m->HasPixels()) return;
  const Ranges r = BoxRanges(self, yFrom, yTo);
  CSSE3dPolygon copy;
  PrepareCopy(self, copy, subsample ? 5 : 1);
  const int w = m->GetSizeX(), h = m->GetSizeY();
  __m128** rows = m->GetMatrixDataDirectly();
  const Grid g = FineGrid(r, w, h);
  // Runs inside the matrix go through the row writer; the few that clamping folds onto a border column
  // or row are written cell by cell (every write rule is idempotent and reads only its own cell, so the
  // order of writes does not matter).
  const int ax0 = std::max(g.x0, 0), ax1 = std::min(g.x0 + g.nx - 1, w - 1);
  const int ay0 = std::max(g.y0, 0), ay1 = std::min(g.y0 + g.ny - 1, h - 1);
  if (ax0 > ax1 || ay0 > ay1) return;
  RowWriter writer(ax0, ax1, ay0, ay1);
  if (g.x0 >= 0 && g.x0 + g.nx <= w && g.y0 >= 0 && g.y0 + g.ny <= h) {
    // Nothing to clamp: the column sweep's toggles go straight into the bitmap, without runs.
    SweepToggles(RingOf(copy, false), g, [&](int x, int j) { writer.Toggle(x, g.y0 + j); });
    writer.Write(rows, rule);
    return;
  }
  SweepInside(RingOf(copy, false), g, [&](int x, int j0, int j1) {
    const int ya = g.y0 + j0, yb = g.y0 + j1 - 1;
    if (x >= 0 && x < w && ya >= 0 && yb < h) {
      writer.Run(x, ya, yb);
      return;
    }
    const int cx = std::clamp(x, 0, w - 1);
    for (int y = std::clamp(ya, 0, h - 1); y <= std::clamp(yb, 0, h - 1); ++y) {
      rule(qssse::raster::PixelAddress(rows, cx, y));
    }
  });
  writer.Write(rows, rule);
}

float SegmentDistance(float qx, float qy, float ax, float ay, float bx, float by) {
  const float ex = bx - ax, ey = by - ay;
  const float wx = qx - ax, wy = qy - ay;
  const float len2 = ex * ex + ey * ey;
  float t = len2 > 0.0f ? (wx * ex + wy * ey) / len2 : 0.0f;
  t = std::clamp(t, 0.0f, 1.0f);
  const float dx = wx - t * ex, dy = wy - t * ey;
  return dx * dx + dy * dy;
}

}  // namespace

void CSSE3dPolygon::DrawInMatrixAndFillFine(float value, CSSEMatrix* m, bool subsample, float yFrom,
                                            float yTo) {
  FillFine(*this, m, subsample, yFrom, yTo, WriteSet{value});
}

void CSSE3dPolygon::DrawInMatrixAndFillFineMin(float value, CSSEMatrix* m, bool subsample, float yFrom,
                                               float yTo) {
  FillFine(*this, m, subsample, yFrom, yTo, WriteMin{value});
}

void CSSE3dPolygon::DrawInMatrixAndFillFineMax(float value, CSSEMatrix* m, bool subsample, float yFrom,
                                               float yTo) {
  FillFine(*this, m, subsample, yFrom, yTo, WriteMax{value});
}

void CSSE3dPolygon::DrawSubInMatrixAndFill(float value, CSSEMatrix* m, float threshold, bool subsample,
                                           float yFrom, float yTo) {
  FillFine(*this, m, subsample, yFrom, yTo, WriteSub{value, threshold});
}

void CSSE3dPolygon::DrawInCharMatrixAndFillFine(char value, CSSEcharMatrix* m, bool subsample, float yFrom,
                                                float yTo) {
  if (m == nullptr || !m->HasPixels()) return;
  const Ranges r = BoxRanges(*this, yFrom, yTo);
  CSSE3dPolygon copy;
  PrepareCopy(*this, copy, subsample ? 5 : 1);
  const int w = m->GetSizeX(), h = m->GetSizeY();
  __m128i** rows = m->GetMatrixDataDirectly();
  const Grid g = FineGrid(r, w, h);
  SweepInside(RingOf(copy, false), g, [&](int x, int j0, int j1) {
    const int cx = std::clamp(x, 0, w - 1);
    const int ya = std::clamp(g.y0 + j0, 0, h - 1), yb = std::clamp(g.y0 + j1 - 1, 0, h - 1);
    for (int y = ya; y <= yb; ++y) *qssse::raster::BytePixelAddress(rows, cx, y) = value;
  });
}

void CSSE3dPolygon::DrawInMatrixAndFillCoarse(float value, CSSEMatrix* m, bool subsample, float yFrom,
                                              float yTo) {
  if (m == nullptr || !m->HasPixels()) return;
  const Ranges r = BoxRanges(*this, yFrom, yTo);
  CSSE3dPolygon copy;
  PrepareCopy(*this, copy, subsample ? 5 : 1);
  const Grid g = CoarseGrid(r);
  SweepInside(RingOf(copy, false), g,
              [&](int x, int j0, int j1) { StampColumn(*m, x, g.y0, g.sy, j0, j1, value); });
}

void CSSE3dPolygon::DrawOutsidePixels(CSSEMatrix& m, float value) {
  if (!m.HasPixels()) return;
  const int w = m.GetSizeX(), h = m.GetSizeY();
  __m128** rows = m.GetMatrixDataDirectly();
  auto put = [&](int x, int y0, int y1) {
    for (int y = y0; y < y1; ++y) *qssse::raster::PixelAddress(rows, x, y) = value;
  };
  if (m_count < 3) {
    for (int x = 0; x < w; ++x) put(x, 0, h);
    return;
  }
  // The polygon itself, its stored box trusted as the rule trusts it.
  if (!m_boxCalculated) CalcBoundingBox();
  Ring ring = RingOf(*this, false);
  ring.loX = m_stored[kMin2D].x;
  ring.loY = m_stored[kMin2D].y;
  ring.hiX = m_stored[kMax2D].x;
  ring.hiY = m_stored[kMax2D].y;
  int doneX = 0, doneY = 0;  // cells before (doneX, doneY) in column order are decided
  auto fillTo = [&](int x, int y) {
    for (; doneX < x; ++doneX, doneY = 0) put(doneX, doneY, h);
    put(x, doneY, y);
    doneY = y;
  };
  SweepInside(ring, Grid{0, 1, w, 0, 1, h}, [&](int x, int j0, int j1) {
    fillTo(x, j0);
    doneY = j1;
  });
  fillTo(w - 1, h);
}

void CSSE3dPolygon::DrawInMatrixAndFillToOneSideFront(float value, CSSEMatrix* m, float yFrom, float yTo,
                                                      bool subsample) {
  if (m == nullptr || !m->HasPixels()) return;
  const Ranges r = BoxRanges(*this, yFrom, yTo);
  CSSE3dPolygon copy;
  PrepareCopy(*this, copy, subsample ? 5 : 1);
  const Grid g = CoarseGrid(r);
  std::vector<std::pair<int, int>> lastInside;  // (column, end of its last inside run)
  SweepInside(RingOf(copy, false), g, [&](int x, int, int j1) {
    if (!lastInside.empty() && lastInside.back().first == x) {
      lastInside.back().second = j1;
    } else {
      lastInside.emplace_back(x, j1);
    }
  });
  for (const auto& [x, end] : lastInside) StampColumn(*m, x, g.y0, g.sy, 0, end, value);
}

void CSSE3dPolygon::InternalAreaDistanceTransform(float value, CSSEMatrix* m, CSSEMatrix* distances,
                                                  t_resolutiondata& res, bool subsample) {
  if (m == nullptr || !m->HasPixels()) return;
  const Ranges r = BoxRanges(*this, std::nanf(""), std::nanf(""));
  CSSE3dPolygon copy;
  PrepareCopy(*this, copy, subsample ? 5 : 1);
  if (copy.GetNumPoints() > 0) copy.NormalizeXYZ(res);
  const Ring normal = RingOf(copy, true);
  const int n = static_cast<int>(normal.x.size());
  const bool withDistances = distances != nullptr && distances->HasPixels();
  const int w = m->GetSizeX(), h = m->GetSizeY();
  const Grid g = FineGrid(r, w, h);
  SweepInside(RingOf(copy, false), g, [&](int x, int j0, int j1) {
    for (int j = j0; j < j1; ++j) {
      const int y = g.y0 + j;
      m->SetPoint(x, y, value);
      // Only cells inside the distance matrix: clamped cells would receive several distances.
      if (!withDistances || x < 0 || y < 0 || x >= distances->GetSizeX() || y >= distances->GetSizeY())
        continue;
      const float qx = static_cast<float>(x) * res.resX, qy = static_cast<float>(y) * res.resY;
      float best = INFINITY;
      for (int k = 0; k < n; ++k) {
        const int p = k == 0 ? n - 1 : k - 1;
        best = std::min(best, SegmentDistance(qx, qy, normal.x[p], normal.y[p], normal.x[k], normal.y[k]));
      }
      distances->SetPoint(x, y, std::sqrt(best));
    }
  });
}

namespace {

// The thinning step of the parallel fill: longer outlines are thinned harder.
int FastThinStep(int count) {
  if (count <= 500) return 1;
  if (count <= 1000) return 2;
  if (count <= 5000) return 6;
  if (count <= 10000) return 20;
  return 50;
}

// One band of the parallel fill. The worker stamps only samples whose 3x3 footprint lies in its own
// rows [ownFirst, ownEnd); the few that reach into a neighbour's rows (or collapse onto a border row
// another band also reaches) are handed back in `spill` and stamped by the caller afterwards, so no
// two threads ever touch the same pixel.
struct BandWork {
  int firstRow, endRow, firstColumn, endColumn;
  float value;
  const Ring* ring;
  CSSEMatrix* matrix;
  int ownFirst, ownEnd;
  std::vector<std::pair<int, int>> spill;  // (x, y) samples left to the caller
};

void RunBand(BandWork& b) {
  const int h = b.matrix->GetSizeY();
  Grid g{b.firstColumn, 3, 0, b.firstRow, 3, 0};
  g.nx = b.endColumn > b.firstColumn ? (b.endColumn - b.firstColumn + 2) / 3 : 0;
  g.ny = b.endRow > b.firstRow ? (b.endRow - b.firstRow + 2) / 3 : 0;
  SweepInside(*b.ring, g, [&](int x, int j0, int j1) {
    int last = -1 << 30;
    for (int j = j0; j < j1; ++j) {
      const int y = g.y0 + j * g.sy;
      const int cy = std::min(std::max(y, 1), h - 2);  // the stamp's clamped centre (h >= 100 here)
      if (cy == last) continue;
      last = cy;
      if (cy - 1 >= b.ownFirst && cy + 1 < b.ownEnd) {
        b.matrix->Set3x3BoxPoint(x, y, b.value);
      } else {
        b.spill.emplace_back(x, y);
      }
    }
  });
}

}  // namespace

void CSSE3dPolygon::DrawInMatrixAndFillCoarseFast(float value, CSSEMatrix* m, bool subsample, float yFrom,
                                                  float yTo) {
  if (m == nullptr || !m->HasPixels()) return;
  const int w = m->GetSizeX(), h = m->GetSizeY();
  if (w < 100 || h < 100) {
    DrawInMatrixAndFillCoarse(value, m, subsample, yFrom, yTo);
    return;
  }
  Ranges r = BoxRanges(*this, yFrom, yTo);
  r.xStart = std::clamp(r.xStart, 0, w - 1);
  r.xEnd = std::clamp(r.xEnd, 0, w - 1);
  r.yStart = std::clamp(r.yStart, 0, h - 1);
  r.yEnd = std::clamp(r.yEnd, 0, h - 1);
  // 1. the copy, thinned by its length
  CSSE3dPolygon copy;
  PrepareCopy(*this, copy, subsample ? FastThinStep(m_count) : 1);
  const Ring ring = RingOf(copy, false);
  // 2. T bands of rows yStart-5 .. yEnd+5, the last one taking what the division leaves
  const int t = CbCPU::GetCount();
  const int height = (r.yEnd - r.yStart + 10) / t;
  std::vector<std::unique_ptr<BandWork>> bands;
  for (int k = 0; k < t; ++k) {
    auto b = std::make_unique<BandWork>();
    b->firstRow = r.yStart - 5 + k * height;
    b->endRow = k + 1 == t ? r.yEnd + 5 : b->firstRow + height;
    b->firstColumn = r.xStart;
    b->endColumn = r.xEnd;
    b->value = value;
    b->ring = &ring;
    b->matrix = m;
    // Rows owned: from the band's first row (clamped) to the next band's, the first band from row 0
    // and the last to the bottom, so the bands share no pixel.
    b->ownFirst = k == 0 ? 0 : std::clamp(b->firstRow, 0, h);
    b->ownEnd = k + 1 == t ? h : std::clamp(b->firstRow + height, 0, h);
    bands.push_back(std::move(b));
  }
  // 3. one worker per band, waited for in order
  qssse::RunWorkers(t, [&bands](int k) { RunBand(*bands[static_cast<std::size_t>(k)]); });
  // 4. the stamps that reach across a band edge, on this thread
  for (const auto& b : bands) {
    for (const auto& [x, y] : b->spill) m->Set3x3BoxPoint(x, y, value);
  }
}
