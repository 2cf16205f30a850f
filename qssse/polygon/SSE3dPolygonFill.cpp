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
#include <cstring>
#include <cwchar>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "qssse/platform/CPU.h"
#include "qssse/platform/ScratchVector.h"
#include "qssse/platform/WorkBudget.h"
#include "qssse/platform/WorkerPool.h"

#include "qssse/polygon/CellCoordinates.h"
#include "qssse/polygon/FillWorkCount.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/PixelLayout.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/raster/SSEcharMatrix.h"
#include "qssse/vector/SimdOps.h"

namespace {

using qssse::polygon::FirstTrue;
using qssse::polygon::TruncSat;

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

// The sweep's set-up: the rule's box rejection as ranges of grid columns [iLo, iHi) and rows [jLo, jHi),
// and the ring's edges with the columns they straddle, sorted by their first column.
struct Sweep {
  const Grid& g;
  int iLo = 0, iHi = 0, jLo = 0, jHi = 0;
  std::vector<Edge> edges;

  float ColX(int i) const { return static_cast<float>(g.x0 + i * g.sx); }
  float RowY(int j) const { return static_cast<float>(g.y0 + j * g.sy); }

  Sweep(const Ring& ring, const Grid& grid) : g(grid) {
    const int n = static_cast<int>(ring.x.size());
    if (n < 3 || g.nx <= 0 || g.ny <= 0) return;
    // 1. the rule's box rejection as ranges of columns and rows
    iLo = FirstTrue(0, g.nx, [&](int i) { return !(ColX(i) < ring.loX); });
    iHi = FirstTrue(iLo, g.nx, [&](int i) { return ColX(i) > ring.hiX; });
    jLo = FirstTrue(0, g.ny, [&](int j) { return !(RowY(j) < ring.loY); });
    jHi = FirstTrue(jLo, g.ny, [&](int j) { return RowY(j) > ring.hiY; });
    if (iLo >= iHi || jLo >= jHi) {
      iHi = iLo;
      return;
    }
    // 2. the ring's edges (n-1, 0), (0, 1), ... with the columns x they straddle: exactly one end has an
    // x below x, that is min < x <= max. An edge with a NaN coordinate never toggles and is left out.
    edges.reserve(static_cast<std::size_t>(n));
    for (int k = 0; k < n; ++k) {
      const int p = k == 0 ? n - 1 : k - 1;
      const float px = ring.x[p], py = ring.y[p], cx = ring.x[k], cy = ring.y[k];
      if (std::isnan(px) || std::isnan(py) || std::isnan(cx) || std::isnan(cy) || px == cx) continue;
      const bool prevLeft = px < cx;
      Edge e{prevLeft ? px : cx, prevLeft ? py : cy, prevLeft ? cx : px, prevLeft ? cy : py, 0, 0};
      e.i0 = FirstColumnAbove(e.lx, iLo, iHi);
      e.i1 = FirstColumnAbove(e.rx, e.i0, iHi);
      if (e.i0 < e.i1) edges.push_back(e);
    }
    SortByFirstColumn();
  }

  // First column i in [lo, hi) whose x exceeds v (hi when none): estimated, then checked against the
  // float comparison itself, with the binary search as the fallback.
  int FirstColumnAbove(float v, int lo, int hi) const {
    auto above = [&](int i) { return ColX(i) > v; };
    const double est = std::floor((static_cast<double>(v) - g.x0) / g.sx) + 1.0;
    if (est > lo && est < hi) {
      const int i = static_cast<int>(est);
      if (above(i) && !above(i - 1)) return i;
    } else if (est <= lo && lo < hi && above(lo)) {
      return lo;
    } else if (est >= hi && (lo >= hi || !above(hi - 1))) {
      return std::max(lo, hi);
    }
    return FirstTrue(lo, hi, above);
  }

  // By first column: counting when the columns are few against the edges, else comparing.
  void SortByFirstColumn() {
    const std::size_t span = static_cast<std::size_t>(iHi - iLo) + 1;
    if (span > 8 * edges.size() + 4096) {
      std::sort(edges.begin(), edges.end(), [](const Edge& a, const Edge& b) { return a.i0 < b.i0; });
      return;
    }
    std::vector<int> start(span + 1, 0);
    for (const Edge& e : edges) ++start[static_cast<std::size_t>(e.i0 - iLo) + 1];
    for (std::size_t k = 1; k <= span; ++k) start[k] += start[k - 1];
    std::vector<Edge> sorted(edges.size());
    for (const Edge& e : edges)
      sorted[static_cast<std::size_t>(start[static_cast<std::size_t>(e.i0 - iLo)]++)] = e;
    edges.swap(sorted);
  }

  // The row at which edge e stops toggling in grid column i (one it straddles): it toggles the rows
  // jLo .. end-1, none when end is jLo.
  int End(const Edge& e, int i) const {
    const float x = ColX(i);
    // The rule's comparison with its left side fixed for the column. Its right side
    // (R.x - L.x)·(y - L.y) has R.x - L.x > 0 and never decreases with y (a product with +inf is NaN
    // only at y = L.y, between -inf below and +inf above), so the rows that toggle form a prefix. Its
    // left side is monotonic in x, so along the columns the end only ever moves one way.
    const float lhs = (e.ry - e.ly) * (x - e.lx);
    const float dx = e.rx - e.lx;
    auto stops = [&](int j) { return !(lhs > dx * (RowY(j) - e.ly)); };
    // Where the comparison flips, estimated in double and then settled by the comparison itself: the
    // estimate is almost always exact, the binary search is the fallback.
    const double flip = (static_cast<double>(e.ly) + static_cast<double>(lhs) / dx - g.y0) / g.sy;
    if (flip > jLo && flip < jHi) {
      const int end = static_cast<int>(std::ceil(flip));
      if (!((end > jLo && stops(end - 1)) || (end < jHi && !stops(end)))) return end;
    }
    return FirstTrue(jLo, jHi, stops);
  }

  // Calls range(p, q, active, m) for every maximal run of grid columns p .. q-1 inside [from, to) over
  // which the set of straddling edges is the same m > 0 edges, in column order.
  template <class Range>
  void ForRanges(int from, int to, Range range) const {
    from = std::max(from, iLo);
    to = std::min(to, iHi);
    if (from >= to || edges.empty()) return;
    std::vector<int> cuts;
    cuts.reserve(2 * edges.size() + 2);
    cuts.push_back(from);
    cuts.push_back(to);
    for (const Edge& e : edges) {
      if (e.i0 > from && e.i0 < to) cuts.push_back(e.i0);
      if (e.i1 > from && e.i1 < to) cuts.push_back(e.i1);
    }
    std::sort(cuts.begin(), cuts.end());
    cuts.erase(std::unique(cuts.begin(), cuts.end()), cuts.end());
    std::vector<const Edge*> active;
    std::size_t next = 0;
    for (std::size_t c = 0; c + 1 < cuts.size(); ++c) {
      const int p = cuts[c], q = cuts[c + 1];
      while (next < edges.size() && edges[next].i0 <= p) {
        if (edges[next].i1 > p) active.push_back(&edges[next]);
        ++next;
      }
      active.erase(std::remove_if(active.begin(), active.end(), [p](const Edge* e) { return e->i1 <= p; }),
                   active.end());
      if (!active.empty()) range(p, q, active.data(), static_cast<int>(active.size()));
    }
  }
};

// The column sweep: calls column(x, jLo, ends, count) for every grid column x (ascending) that some edge
// toggles, where rows jLo .. jHi-1 pass the rule's box test and each of the count straddling edges
// toggles the rows jLo .. end-1 of the column (ends > jLo, unordered). A cell is inside when an odd
// number of those prefixes covers it. For grids of about the matrix's width.
template <class Column>
void SweepEnds(const Ring& ring, const Grid& g, Column column) {
  const Sweep s(ring, g);
  if (s.edges.empty()) return;
  // An edge's end moves one way along its columns, so its ends in its first and last column bound the
  // others: edges that toggle no row there toggle none anywhere and are left out, and edges that toggle
  // every row in both only flip the parity of their columns. What remains per column are the edges
  // crossing the grid's rows, so edges far above or below the matrix cost nothing per column.
  std::vector<const Edge*> crossing;
  crossing.reserve(s.edges.size());
  std::vector<char> flips(static_cast<std::size_t>(s.iHi - s.iLo) + 1, 0);
  // Edges whose rows meet the grid's (with a margin for rounding) cross it somewhere: only the others
  // are worth the two tests.
  const float rowLo = s.RowY(s.jLo), rowHi = s.RowY(s.jHi - 1);
  const float padLo = 1.0f + std::fabs(rowLo) * 1e-3f, padHi = 1.0f + std::fabs(rowHi) * 1e-3f;
  for (const Edge& e : s.edges) {
    if (!(std::max(e.ly, e.ry) < rowLo - padLo || std::min(e.ly, e.ry) > rowHi + padHi)) {
      crossing.push_back(&e);
      continue;
    }
    const int first = s.End(e, e.i0), last = s.End(e, e.i1 - 1);
    if (first == s.jLo && last == s.jLo) continue;
    if (first == s.jHi && last == s.jHi) {
      flips[static_cast<std::size_t>(e.i0 - s.iLo)] ^= 1;
      flips[static_cast<std::size_t>(e.i1 - s.iLo)] ^= 1;
      continue;
    }
    crossing.push_back(&e);
  }
  std::vector<const Edge*> active;
  std::vector<int> ends;
  std::size_t next = 0;
  char parity = 0;
  for (int i = s.iLo; i < s.iHi; ++i) {
    parity ^= flips[static_cast<std::size_t>(i - s.iLo)];
    while (next < crossing.size() && crossing[next]->i0 <= i) active.push_back(crossing[next++]);
    active.erase(std::remove_if(active.begin(), active.end(), [i](const Edge* e) { return e->i1 <= i; }),
                 active.end());
    ends.clear();
    for (const Edge* e : active) {
      const int end = s.End(*e, i);
      if (end > s.jLo) ends.push_back(end);
    }
    if (parity != 0) ends.push_back(s.jHi);
    if (!ends.empty()) column(g.x0 + i * g.sx, s.jLo, ends.data(), static_cast<int>(ends.size()));
  }
}

// Calls emit(j0, j1) for every maximal run of rows j0 .. j1-1 (ascending) covered by an odd number of the
// m prefixes jLo .. ends[k]-1 (sorts ends).
template <class Emit>
void OddRuns(int jLo, int* ends, int m, Emit emit) {
  std::sort(ends, ends + m);
  int runStart = -1, runEnd = -1, from = jLo;
  for (int k = 0; k < m; ++k) {
    const int to = ends[k];
    if (((m - k) & 1) != 0 && from < to) {
      if (runEnd == from) {
        runEnd = to;
      } else {
        if (runStart >= 0) emit(runStart, runEnd);
        runStart = from;
        runEnd = to;
      }
    }
    from = to;
  }
  if (runStart >= 0) emit(runStart, runEnd);
}

// Calls emit(x, j0, j1) for every maximal run of grid rows j0 .. j1-1 of column x (columns ascending,
// runs ascending) whose cells the fill rule with step 1 finds inside the ring.
template <class Emit>
void SweepInside(const Ring& ring, const Grid& g, Emit emit) {
  SweepEnds(ring, g, [&](int x, int jLo, int* ends, int m) {
    OddRuns(jLo, ends, m, [&](int j0, int j1) { emit(x, j0, j1); });
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

// How the samples of one grid axis fall onto 3x3 stamp centres, which are clamped into 1 .. size-2: the
// indices [0, a) share the first centre, each index of [a, b) has its own, [b, count) share the last
// (all share one when the matrix is narrower than a stamp).
struct StampClasses {
  int a, b;
};

StampClasses ClassesOf(int first, int step, int count, int size) {
  if (size < 3) return {0, 0};
  auto firstAtLeast = [&](long long v) {
    const long long k = v <= first ? 0 : (v - first + step - 1) / step;
    return static_cast<int>(std::min<long long>(k, count));
  };
  const int a = firstAtLeast(2);
  return {a, std::max(a, firstAtLeast(static_cast<long long>(size) - 2))};
}

// Stamps the samples j0 .. j1-1 of grid column x, once per clamped centre, so a run reaching far beyond
// the matrix costs no more than one inside it.
void StampRun(CSSEMatrix& m, const Grid& g, const StampClasses& rc, int x, int j0, int j1, float value) {
  if (j0 >= j1) return;
  auto stamp = [&](int j) { m.Set3x3BoxPoint(x, g.y0 + j * g.sy, value); };
  if (j0 < rc.a) stamp(j0);
  for (int j = std::max(j0, rc.a); j < std::min(j1, rc.b); ++j) stamp(j);
  if (j1 > rc.b) stamp(std::max(j0, rc.b));
}

// The row classes that hold an inside sample in some column of a zone: the columns beyond the matrix's
// border columns, whose stamps all share one clamped centre column.
struct ZoneHits {
  bool low = false, high = false;
  std::vector<char> rows;  // row a + k of the interior classes
  int rowsHit = 0;
};

// Collects the hits of a zone's columns, range by range of the sweep. Along a range of columns with the
// same straddling edges every edge's end moves one way only, so a row class whose inputs (the ends
// clamped to it) agree at both ends of a range is decided throughout it; ranges are halved until every
// class still missing is decided. Evaluates each column of the zone (the plain walk) when the shortcut
// is off.
class ZoneUnion {
 public:
  ZoneUnion(const Sweep& s, const StampClasses& rc, ZoneHits& z, double& plannedSteps, long long& evaluated)
      : s_(s), rc_(rc), z_(z), planned_(plannedSteps), evaluated_(evaluated) {
    if (z_.rows.empty()) z_.rows.assign(static_cast<std::size_t>(rc.b - rc.a), 0);
  }

  void Range(int p, int q, const Edge* const* active, int m) {
    active_ = active;
    m_ = m;
    if (!qssse::polygon::detail::t_fillShortcuts) {
      for (int i = p; i < q; ++i) Evaluate(i);
      return;
    }
    std::vector<int> first = Evaluate(p);
    if (q - 1 > p) {
      std::vector<int> last = Evaluate(q - 1);
      Resolve(p, first, q - 1, last);
    }
  }

 private:
  // The ends of the active edges in column i, recorded as hits.
  std::vector<int> Evaluate(int i) {
    // Halving that fails to converge falls back to walking the zone, which the work budget then has to
    // allow: two edges that coincide beyond the matrix, or bound a sliver thinner than the sample
    // spacing, end on the same row in every column they cross, so no class is ever hit or ruled out.
    const long long before = evaluated_;
    evaluated_ += m_;
    if (before < kCheckAfter && evaluated_ >= kCheckAfter)
      qssse::CheckWorkRequest(planned_, "the coarse fill of an outline beyond the matrix");
    qssse::polygon::detail::CountFillWork(static_cast<std::uint64_t>(m_));
    std::vector<int> ends(static_cast<std::size_t>(m_));
    scratch_.clear();
    for (int k = 0; k < m_; ++k) {
      ends[k] = s_.End(*active_[k], i);
      if (ends[k] > s_.jLo) scratch_.push_back(ends[k]);
    }
    OddRuns(s_.jLo, scratch_.data(), static_cast<int>(scratch_.size()), [&](int j0, int j1) {
      if (j0 < rc_.a) z_.low = true;
      for (int j = std::max(j0, rc_.a); j < std::min(j1, rc_.b); ++j) {
        char& hit = z_.rows[static_cast<std::size_t>(j - rc_.a)];
        z_.rowsHit += hit == 0;
        hit = 1;
      }
      if (j1 > rc_.b) z_.high = true;
    });
    return ends;
  }

  // Whether a column strictly between two evaluated ones could hit a class not yet hit.
  bool Open(const std::vector<int>& p, const std::vector<int>& q) const {
    const int rowCount = rc_.b - rc_.a;
    for (int k = 0; k < m_; ++k) {
      const int lo = std::min(p[k], q[k]), hi = std::max(p[k], q[k]);
      if (lo == hi) continue;
      if (!z_.low && lo < rc_.a) return true;   // the low rows see min(end, a)
      if (!z_.high && hi > rc_.b) return true;  // the high rows see max(end, b)
      if (z_.rowsHit == rowCount) continue;
      // an interior row r sees whether end > r
      for (int r = std::max(lo, rc_.a); r < std::min(hi, rc_.b); ++r) {
        if (z_.rows[static_cast<std::size_t>(r - rc_.a)] == 0) return true;
      }
    }
    return false;
  }

  void Resolve(int p, const std::vector<int>& ep, int q, const std::vector<int>& eq) {
    if (q - p <= 1 || !Open(ep, eq)) return;
    const int mid = p + (q - p) / 2;
    const std::vector<int> em = Evaluate(mid);
    Resolve(p, ep, mid, em);
    Resolve(mid, em, q, eq);
  }

  static constexpr long long kCheckAfter = 1 << 16;  // edge ends
  const Sweep& s_;
  const StampClasses& rc_;
  ZoneHits& z_;
  double& planned_;
  long long& evaluated_;
  const Edge* const* active_ = nullptr;
  int m_ = 0;
  std::vector<int> scratch_;
};

// The Coarse grid's stamps (front: every sample of a column from the grid's first row to its last inside
// one, instead of the inside samples). Stamps whose clamped centres agree are identical and the rule
// overwrites, so each centre is stamped once: the columns of the two zones beyond the matrix are decided
// as wholes before anything is written, the columns between them one by one.
void StampCoarseGrid(const Ring& ring, const Grid& g, CSSEMatrix& m, float value, bool front) {
  const Sweep s(ring, g);
  if (s.iLo >= s.iHi) return;
  const StampClasses cc = ClassesOf(g.x0, g.sx, g.nx, m.GetSizeX());
  const StampClasses rc = ClassesOf(g.y0, g.sy, g.ny, m.GetSizeY());
  // 1. the zones, with the plain walk's cost as the budget's figure should their halving not converge
  double planned = 0;
  auto plan = [&](int p, int q, const Edge* const*, int k) { planned += static_cast<double>(q - p) * k; };
  s.ForRanges(0, cc.a, plan);
  s.ForRanges(cc.b, g.nx, plan);
  long long evaluated = 0;
  ZoneHits left, right;
  {
    ZoneUnion u(s, rc, left, planned, evaluated);
    s.ForRanges(0, cc.a, [&](int p, int q, const Edge* const* act, int k) { u.Range(p, q, act, k); });
  }
  {
    ZoneUnion u(s, rc, right, planned, evaluated);
    s.ForRanges(cc.b, g.nx, [&](int p, int q, const Edge* const* act, int k) { u.Range(p, q, act, k); });
  }
  auto stampZone = [&](const ZoneHits& z, int i) {
    const int x = g.x0 + i * g.sx;
    if (front) {
      int end = 0;
      if (z.low) end = 1;
      for (int r = 0; r < static_cast<int>(z.rows.size()); ++r)
        if (z.rows[static_cast<std::size_t>(r)] != 0) end = rc.a + r + 1;
      if (z.high) end = rc.b + 1;
      StampRun(m, g, rc, x, 0, end, value);
      return;
    }
    if (z.low) StampRun(m, g, rc, x, 0, 1, value);
    for (int r = 0; r < static_cast<int>(z.rows.size()); ++r)
      if (z.rows[static_cast<std::size_t>(r)] != 0) StampRun(m, g, rc, x, rc.a + r, rc.a + r + 1, value);
    if (z.high) StampRun(m, g, rc, x, rc.b, rc.b + 1, value);
  };
  if (cc.a > 0) stampZone(left, 0);
  if (cc.b < g.nx) stampZone(right, g.nx - 1);
  // 2. the columns between, one by one
  std::vector<int> ends;
  s.ForRanges(cc.a, cc.b, [&](int p, int q, const Edge* const* active, int k) {
    for (int i = p; i < q; ++i) {
      qssse::polygon::detail::CountFillWork(static_cast<std::uint64_t>(k));
      ends.clear();
      for (int e = 0; e < k; ++e) {
        const int end = s.End(*active[e], i);
        if (end > s.jLo) ends.push_back(end);
      }
      const int x = g.x0 + i * g.sx;
      int last = 0;
      OddRuns(s.jLo, ends.data(), static_cast<int>(ends.size()), [&](int j0, int j1) {
        if (front) {
          last = j1;
        } else {
          StampRun(m, g, rc, x, j0, j1, value);
        }
      });
      if (front) StampRun(m, g, rc, x, 0, last, value);
    }
  });
}

// Write rules of the Fine family, on one cell and on four cells at once (the same comparisons lane by
// lane: Set, Min and Max are the raster's keep rules, so a NaN cell takes the value).
template <class Keep>
struct WriteKept {
  // Whether the result ignores the cell, so a run of whole elements is one value repeated.
  static constexpr bool kOverwrites = std::is_same_v<Keep, qssse::raster::KeepOverwrite>;
  float v;
  void operator()(float* p) const { *p = Keep::Keep(*p, v); }
  __m128 operator()(__m128 p) const { return Keep::Keep(p, qssse::simd::splat(v)); }
};
using WriteSet = WriteKept<qssse::raster::KeepOverwrite>;
using WriteMin = WriteKept<qssse::raster::KeepMin>;
using WriteMax = WriteKept<qssse::raster::KeepMax>;
struct WriteSub {
  static constexpr bool kOverwrites = false;
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
    const std::size_t words = words_;  // a local: the stores below could otherwise alias the member
    std::vector<std::uint64_t> inside = qssse::scratchVector<std::uint64_t>(4 * words);
    std::vector<std::uint64_t> running = qssse::scratchVector<std::uint64_t>(words);
    std::uint64_t* acc = running.data();
    for (int g = y0_ >> 2; g <= y1_ >> 2; ++g) {
      // 1. the four rows' inside masks
      for (int l = 0; l < 4; ++l) {
        const int y = 4 * g + l;
        std::uint64_t* row = &inside[static_cast<std::size_t>(l) * words];
        if (y < y0_ || y > y1_) {
          std::fill(row, row + words, 0);
          continue;
        }
        const std::uint64_t* t = &toggles_[static_cast<std::size_t>(y - y0_) * words];
        for (std::size_t w = 0; w < words; ++w) row[w] = acc[w] ^= t[w];
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
          if constexpr (Rule::kOverwrites && sizeof(wchar_t) == sizeof(float)) {
            // One value in every float of the run: written in 4-byte units by the C library's wide
            // memset, which uses the widest stores the machine has.
            wchar_t bits;
            std::memcpy(&bits, &rule.v, sizeof bits);
            std::wmemset(reinterpret_cast<wchar_t*>(e + first), bits, 4 * static_cast<std::size_t>(length));
          } else {
            for (int k = first; k < first + length; ++k) e[k] = rule(e[k]);
          }
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
  StampCoarseGrid(RingOf(copy, false), CoarseGrid(r), *m, value, false);
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
  StampCoarseGrid(RingOf(copy, false), CoarseGrid(r), *m, value, true);
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
