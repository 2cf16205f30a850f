// Closed curves split at their crossings. Why the loops come out right: at a crossing two strands meet,
// each entering and leaving once; joining each incoming strand to the other strand's outgoing part (the
// smoothing that keeps every piece's direction) changes no winding number anywhere, and after every
// crossing is smoothed the curves fall apart into loops that cross nothing. The boundary of the region
// where the winding number reaches k then consists of whole loops, so choosing loops is enough.
//
// Degenerate contacts (a point on an edge, overlapping edges, equal points of different curves) are
// decided by a symbolic perturbation: point r is moved by e_r·(1, μ) with e_0 >> e_1 >> ... >> 0 and μ
// smaller than every ratio e_(r+1)/e_r. The moves are parallel, so an orientation changes only by the
// first-order terms Σ e_r·(v_r.y - μ·v_r.x), v_r being the difference of the other two points; its sign
// is that of the first non-zero term by rank. Three distinct vertices never give zero, so every contact
// is either a clean crossing or none, and the whole picture is a real (perturbed) arrangement.
#include "qssse/polygon/RingArrangement.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

#include "qssse/geometry/HSimpleBasisFcns.h"
#include "qssse/platform/ScratchVector.h"

namespace qssse::rings {
namespace {

// ---- exact signs on float coordinates -----------------------------------------------------------------

inline void TwoSum(double a, double b, double& s, double& e) {
  s = a + b;
  const double bv = s - a;
  const double av = s - bv;
  e = (a - av) + (b - bv);
}

// Sign of the exact sum of n doubles (n <= 8), by growing a non-overlapping expansion whose last
// component carries the sign.
int SignOfExactSum(const double* t, int n) {
  double e[16];
  int m = 0;
  for (int i = 0; i < n; ++i) {
    double q = t[i];
    int k = 0;
    for (int j = 0; j < m; ++j) {
      double s, h;
      TwoSum(q, e[j], s, h);
      q = s;
      if (h != 0.0) e[k++] = h;
    }
    if (q != 0.0) e[k++] = q;
    m = k;
  }
  if (m == 0) return 0;
  return e[m - 1] > 0.0 ? 1 : -1;
}

// Sign of (b - a) x (c - a), exact: the products of two floats are exact doubles, so only the sum of
// the six of them needs care, and only when the quick estimate is too close to zero to trust.
int OrientExact(const Vertex& a, const Vertex& b, const Vertex& c) {
  const double l = (static_cast<double>(b.x) - a.x) * (static_cast<double>(c.y) - a.y);
  const double r = (static_cast<double>(b.y) - a.y) * (static_cast<double>(c.x) - a.x);
  const double det = l - r;
  const double bound = 1e-15 * (std::fabs(l) + std::fabs(r));
  if (det > bound) return 1;
  if (det < -bound) return -1;
  const double ax = a.x, ay = a.y, bx = b.x, by = b.y, cx = c.x, cy = c.y;
  const double t[6] = {bx * cy, -(bx * ay), -(ax * cy), -(by * cx), by * ax, ay * cx};
  return SignOfExactSum(t, 6);
}

// The orientation of the perturbed points (ranks are indices into v; see the opening comment).
int OrientPerturbed(const Vertex* v, int ia, int ib, int ic) {
  const int s = OrientExact(v[ia], v[ib], v[ic]);
  if (s != 0) return s;
  // Each point with the two others whose difference p - q is its coefficient, most significant first.
  struct Term {
    int rank, p, q;
  };
  Term t[3] = {{ia, ib, ic}, {ib, ic, ia}, {ic, ia, ib}};
  if (t[1].rank < t[0].rank) std::swap(t[0], t[1]);
  if (t[2].rank < t[1].rank) std::swap(t[1], t[2]);
  if (t[1].rank < t[0].rank) std::swap(t[0], t[1]);
  for (const Term& k : t) {
    const Vertex& p = v[k.p];
    const Vertex& q = v[k.q];
    if (p.y != q.y) return p.y > q.y ? 1 : -1;
    if (p.x != q.x) return p.x > q.x ? -1 : 1;
  }
  return 0;
}

// Whether the perturbed segments pq and rs cross.
bool CrossPerturbed(const Vertex* v, int p, int q, int r, int s) {
  if (OrientPerturbed(v, p, q, r) == OrientPerturbed(v, p, q, s)) return false;
  return OrientPerturbed(v, r, s, p) != OrientPerturbed(v, r, s, q);
}

bool SameXY(const Vertex& a, const Vertex& b) { return a.x == b.x && a.y == b.y; }

// ---- the flattened curves -----------------------------------------------------------------------------

// Every curve's points one after the other; segment k runs from point k to the curve's next point.
struct Flat {
  std::vector<Vertex> v;
  std::vector<int> curve;  // per point (and per segment)
  std::vector<int> next;   // the segment's end point
  std::vector<int> prev;   // the point before, around its curve
};

Flat Flatten(const std::vector<Ring>& curves) {
  Flat f;
  for (std::size_t c = 0; c < curves.size(); ++c) {
    const int n = static_cast<int>(curves[c].size());
    if (n < 2) continue;
    const int first = static_cast<int>(f.v.size());
    for (int i = 0; i < n; ++i) {
      f.v.push_back(curves[c][static_cast<std::size_t>(i)]);
      f.curve.push_back(static_cast<int>(c));
      f.next.push_back(first + (i + 1) % n);
      f.prev.push_back(first + (i + n - 1) % n);
    }
  }
  return f;
}

// Calls visit(i, j) once for every pair (i < j) of active segments whose grid cells meet: a uniform grid
// of about one cell per segment, each segment entered into the cells its line passes (column by
// column), so the work follows the number of nearby pairs rather than the square of the count. Each
// segment then walks its own cells and stamps the partners it has met, so no pair is visited twice.
template <class Visit>
void ForEachCandidatePair(const Flat& f, const std::vector<char>& active, Visit visit) {
  const int n = static_cast<int>(f.v.size());
  double minX = INFINITY, minY = INFINITY, maxX = -INFINITY, maxY = -INFINITY;
  int count = 0;
  for (int k = 0; k < n; ++k) {
    if (!active[static_cast<std::size_t>(k)]) continue;
    ++count;
    minX = std::min(minX, static_cast<double>(f.v[k].x));
    maxX = std::max(maxX, static_cast<double>(f.v[k].x));
    minY = std::min(minY, static_cast<double>(f.v[k].y));
    maxY = std::max(maxY, static_cast<double>(f.v[k].y));
  }
  if (count < 2) return;
  const int g = std::clamp(static_cast<int>(std::sqrt(static_cast<double>(count))), 1, 2048);
  const double w = maxX > minX ? (maxX - minX) / g : 1.0;
  const double h = maxY > minY ? (maxY - minY) / g : 1.0;
  auto column = [&](double x) { return std::clamp(static_cast<int>((x - minX) / w), 0, g - 1); };
  auto row = [&](double y) { return std::clamp(static_cast<int>((y - minY) / h), 0, g - 1); };
  // the cells of segment k, in column order
  auto cellsOf = [&](int k, auto&& cell) {
    const Vertex& a = f.v[k];
    const Vertex& b = f.v[f.next[k]];
    const double x0 = std::min(a.x, b.x), x1 = std::max(a.x, b.x);
    const int c0 = column(x0), c1 = column(x1);
    for (int c = c0; c <= c1; ++c) {
      // the part of the segment within the column, widened a little against rounding
      const double lo = std::max(x0, minX + c * w), hi = std::min(x1, minX + (c + 1) * w);
      double ya, yb;
      if (a.x == b.x || c0 == c1) {
        ya = a.y;
        yb = b.y;
      } else {
        const double slope = (static_cast<double>(b.y) - a.y) / (static_cast<double>(b.x) - a.x);
        ya = a.y + (lo - a.x) * slope;
        yb = a.y + (hi - a.x) * slope;
      }
      const double pad = 1e-9 * (std::fabs(ya) + std::fabs(yb) + h);
      const int r0 = row(std::min(ya, yb) - pad), r1 = row(std::max(ya, yb) + pad);
      for (int r = r0; r <= r1; ++r) cell(static_cast<std::size_t>(r) * g + c);
    }
  };
  // cell lists in one array (counting, then filling)
  const std::size_t cells = static_cast<std::size_t>(g) * g;
  std::vector<int> start = qssse::scratchVector<int>(cells + 1);
  for (int k = 0; k < n; ++k)
    if (active[static_cast<std::size_t>(k)]) cellsOf(k, [&](std::size_t c) { ++start[c + 1]; });
  for (std::size_t c = 0; c < cells; ++c) start[c + 1] += start[c];
  std::vector<int> fill(start.begin(), start.end() - 1);
  std::vector<int> members = qssse::scratchVector<int>(static_cast<std::size_t>(start[cells]));
  for (int k = 0; k < n; ++k)
    if (active[static_cast<std::size_t>(k)]) cellsOf(k, [&](std::size_t c) { members[static_cast<std::size_t>(fill[c]++)] = k; });
  std::vector<int> stamp(static_cast<std::size_t>(n), -1);
  for (int i = 0; i < n; ++i) {
    if (!active[static_cast<std::size_t>(i)]) continue;
    cellsOf(i, [&](std::size_t c) {
      for (int m = start[c]; m < start[c + 1]; ++m) {
        const int j = members[static_cast<std::size_t>(m)];
        if (j <= i || stamp[static_cast<std::size_t>(j)] == i) continue;
        stamp[static_cast<std::size_t>(j)] = i;
        visit(i, j);
      }
    });
  }
}

bool BoxesMeet(const Flat& f, int i, int j) {
  const Vertex &a = f.v[i], &b = f.v[f.next[i]], &c = f.v[j], &d = f.v[f.next[j]];
  return std::max(a.x, b.x) >= std::min(c.x, d.x) && std::max(c.x, d.x) >= std::min(a.x, b.x) &&
         std::max(a.y, b.y) >= std::min(c.y, d.y) && std::max(c.y, d.y) >= std::min(a.y, b.y);
}

// Parameter of p along a -> b by projection, clamped into [0, 1].
double ParamAlong(const Vertex& a, const Vertex& b, double px, double py) {
  const double dx = static_cast<double>(b.x) - a.x, dy = static_cast<double>(b.y) - a.y;
  const double len2 = dx * dx + dy * dy;
  if (len2 == 0.0) return 0.0;
  return std::clamp(((px - a.x) * dx + (py - a.y) * dy) / len2, 0.0, 1.0);
}

// Whether c lies strictly inside the segment ab (exactly on its line, strictly between its ends).
bool StrictlyOn(const Vertex& a, const Vertex& b, const Vertex& c) {
  if (OrientExact(a, b, c) != 0) return false;
  if (a.x != b.x) return (a.x < c.x && c.x < b.x) || (b.x < c.x && c.x < a.x);
  return (a.y < c.y && c.y < b.y) || (b.y < c.y && c.y < a.y);
}

// Inserts into each curve the points of other curves that lie inside its edges, so that touching
// curves share vertices and overlapping edges become equal pieces.
void SplitTouchedEdges(std::vector<Ring>& curves) {
  const Flat f = Flatten(curves);
  const int n = static_cast<int>(f.v.size());
  std::vector<char> active(static_cast<std::size_t>(n), 1);
  std::vector<std::vector<std::pair<double, Vertex>>> splits(static_cast<std::size_t>(n));
  ForEachCandidatePair(f, active, [&](int i, int j) {
    if (f.curve[i] == f.curve[j] || !BoxesMeet(f, i, j)) return;
    for (const auto& [s, t] : {std::pair<int, int>{i, j}, std::pair<int, int>{j, i}}) {
      const Vertex& a = f.v[s];
      const Vertex& b = f.v[f.next[s]];
      for (const int e : {t, f.next[t]}) {
        if (!StrictlyOn(a, b, f.v[e])) continue;
        // the touching point takes the z of the edge it splits
        Vertex p = f.v[e];
        const double u = ParamAlong(a, b, p.x, p.y);
        p.z = static_cast<float>(a.z + u * (static_cast<double>(b.z) - a.z));
        splits[static_cast<std::size_t>(s)].push_back({u, p});
      }
    }
  });
  std::vector<Ring> out(curves.size());
  for (int k = 0; k < n; ++k) {
    Ring& r = out[static_cast<std::size_t>(f.curve[k])];
    r.push_back(f.v[k]);
    auto& s = splits[static_cast<std::size_t>(k)];
    std::sort(s.begin(), s.end(), [](const auto& x, const auto& y) { return x.first < y.first; });
    for (const auto& [u, p] : s)
      if (!SameXY(p, r.back())) r.push_back(p);
  }
  for (std::size_t c = 0; c < curves.size(); ++c)
    if (curves[c].size() >= 2) curves[c] = std::move(out[c]);
}

struct Crossing {
  int seg[2];
  double t[2];
  double tie[2];  // order among crossings at one point of the segment (see ContactOrder)
  float x, y;
};

// Where a segment T touches the line of segment S at its end point e, the perturbed e' lies off the
// line by h (sign: the perturbed side) and every perturbed edge through e' meets S at along-S offset
// -h·(dT·dS)/(dT·nS) from e', so edges meeting S at one point are ordered by that value. v is the
// vertex array, s and t the segments (start points), e the touching end point of t.
double ContactOrder(const Vertex* v, int sa, int sb, int ta, int tb, int e) {
  const double dsx = static_cast<double>(v[sb].x) - v[sa].x, dsy = static_cast<double>(v[sb].y) - v[sa].y;
  const double dtx = static_cast<double>(v[tb].x) - v[ta].x, dty = static_cast<double>(v[tb].y) - v[ta].y;
  const double along = dtx * dsx + dty * dsy, across = dty * dsx - dtx * dsy;  // dT·dS, dT·nS
  if (across == 0.0) return 0.0;
  return -OrientPerturbed(v, sa, sb, e) * along / across;
}

// The crossing point of two segments found to cross: the planar predicates' crossing when it confirms
// the crossing, otherwise (a contact the perturbation turned into a crossing, or a rounding at an end)
// the nearest point the double computation gives.
void CrossingPoint(const Vertex& a, const Vertex& b, const Vertex& c, const Vertex& d, float& x, float& y) {
  SSEPoint pa = qssse::MakeSSEPoint(a.x, a.y, 0.0f), pb = qssse::MakeSSEPoint(b.x, b.y, 0.0f);
  SSEPoint pc = qssse::MakeSSEPoint(c.x, c.y, 0.0f), pd = qssse::MakeSSEPoint(d.x, d.y, 0.0f);
  SSEPoint p = qssse::ZeroSSEPoint();
  if (CHSimpleBasisFcns::GetIntersection(pa, pb, pc, pd, p) && std::isfinite(p.x) && std::isfinite(p.y)) {
    x = p.x;
    y = p.y;
    return;
  }
  const double ex = static_cast<double>(b.x) - a.x, ey = static_cast<double>(b.y) - a.y;
  const double fx = static_cast<double>(d.x) - c.x, fy = static_cast<double>(d.y) - c.y;
  const double denom = ex * fy - ey * fx;
  double s;
  if (denom != 0.0) {
    s = std::clamp(((c.x - static_cast<double>(a.x)) * fy - (c.y - static_cast<double>(a.y)) * fx) / denom, 0.0,
                   1.0);
  } else {
    // collinear overlap: its middle
    const double tc = ParamAlong(a, b, c.x, c.y), td = ParamAlong(a, b, d.x, d.y);
    s = 0.5 * (std::min(tc, td) + std::max(tc, td));
  }
  x = static_cast<float>(a.x + s * ex);
  y = static_cast<float>(a.y + s * ey);
}

struct EdgeKey {
  float x0, y0, x1, y1;
  int seg;
  bool operator<(const EdgeKey& o) const {
    if (x0 != o.x0) return x0 < o.x0;
    if (y0 != o.y0) return y0 < o.y0;
    if (x1 != o.x1) return x1 < o.x1;
    return y1 < o.y1;
  }
};

// Whether the direction from p to v lies strictly inside the counter-clockwise sweep from the direction
// p -> a to the direction p -> b (exact; a straight sweep is a half plane).
bool InSweep(const Vertex& p, const Vertex& a, const Vertex& b, const Vertex& v) {
  const int ab = OrientExact(p, a, b);
  if (ab > 0) return OrientExact(p, a, v) > 0 && OrientExact(p, v, b) > 0;
  if (ab < 0) return !(OrientExact(p, b, v) >= 0 && OrientExact(p, v, a) >= 0);
  const bool sameWay = (a.x - p.x) * (b.x - p.x) + (a.y - p.y) * (b.y - p.y) > 0;
  return sameWay ? false : OrientExact(p, a, v) > 0;
}

// Whether v lies on the left of a path that arrives at p from `back` and leaves towards `fwd`.
bool LeftOfPath(const Vertex& p, const Vertex& back, const Vertex& fwd, const Vertex& v) {
  return InSweep(p, fwd, back, v);
}

bool SameSegment(const Flat& f, int i, int j) {
  return SameXY(f.v[i], f.v[j]) && SameXY(f.v[f.next[i]], f.v[f.next[j]]);
}

// Points where two curves meet at a vertex of each. Whether they cross there is decided from the
// directions of their edges around the point, not by the perturbation (which would move the two
// vertices apart and order the crossings near them by a different picture than the one the edges'
// own crossings use). A run of edges the two share running the same way is one meeting: they cross
// when the second curve comes in on one side of the first and leaves on the other. Returns, for each
// crossing meeting, the pair of vertices (start points of the leaving edges) to re-join at; `skip`
// receives the edge pairs the segment test must leave alone.
std::vector<std::pair<int, int>> VertexMeetings(const Flat& f, const std::vector<char>& active,
                                                std::vector<std::uint64_t>& skip) {
  const int n = static_cast<int>(f.v.size());
  std::vector<int> order(static_cast<std::size_t>(n));
  for (int k = 0; k < n; ++k) order[k] = k;
  std::sort(order.begin(), order.end(), [&](int a, int b) {
    if (f.v[a].x != f.v[b].x) return f.v[a].x < f.v[b].x;
    if (f.v[a].y != f.v[b].y) return f.v[a].y < f.v[b].y;
    return a < b;
  });
  auto key = [](int a, int b) {
    return a < b ? (static_cast<std::uint64_t>(a) << 32 | static_cast<std::uint32_t>(b))
                 : (static_cast<std::uint64_t>(b) << 32 | static_cast<std::uint32_t>(a));
  };
  std::vector<std::pair<int, int>> joins;
  for (int s = 0; s < n;) {
    int e = s + 1;
    while (e < n && SameXY(f.v[order[e]], f.v[order[s]])) ++e;
    // only the plain meeting of two curves, one vertex each
    if (e - s == 2 && f.curve[order[s]] != f.curve[order[s + 1]]) {
      const int a = order[s], b = order[s + 1];
      const int ain = f.prev[a], bin = f.prev[b];
      for (const int x : {a, ain})
        for (const int y : {b, bin}) skip.push_back(key(x, y));
      const bool cancelledHere = !active[a] || !active[ain] || !active[b] || !active[bin];
      const bool runIn = SameSegment(f, ain, bin), runOut = SameSegment(f, a, b);
      if (!cancelledHere && !runIn) {
        bool cross;
        if (runOut) {
          // follow the shared run to its end q
          int ra = a, rb = b, steps = 0;
          while (SameSegment(f, f.next[ra], f.next[rb]) && steps < n) ra = f.next[ra], rb = f.next[rb], ++steps;
          const int q = f.next[ra];  // on the first curve; the second's is f.next[rb]
          const bool inLeft = LeftOfPath(f.v[a], f.v[ain], f.v[f.next[a]], f.v[bin]);
          const bool outLeft = LeftOfPath(f.v[q], f.v[ra], f.v[f.next[q]], f.v[f.next[f.next[rb]]]);
          cross = inLeft != outLeft;
        } else {
          cross = LeftOfPath(f.v[a], f.v[ain], f.v[f.next[a]], f.v[bin]) !=
                  LeftOfPath(f.v[a], f.v[ain], f.v[f.next[a]], f.v[f.next[b]]);
        }
        if (cross) joins.push_back({a, b});
      }
    }
    s = e;
  }
  std::sort(skip.begin(), skip.end());
  return joins;
}

}  // namespace

double Area2(const Ring& r) {
  const std::size_t n = r.size();
  double s = 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    const Vertex& a = r[i];
    const Vertex& b = r[(i + 1) % n];
    s += static_cast<double>(a.x) * b.y - static_cast<double>(b.x) * a.y;
  }
  return s;
}

Arrangement SplitAtCrossings(const std::vector<Ring>& input, bool joinShared) {
  // 1. the curves with consecutive equal points merged (around the ring too)
  std::vector<Ring> curves(input.size());
  for (std::size_t c = 0; c < input.size(); ++c) {
    Ring& r = curves[c];
    for (const Vertex& p : input[c])
      if (r.empty() || !SameXY(p, r.back())) r.push_back(p);
    while (r.size() > 1 && SameXY(r.back(), r.front())) r.pop_back();
    if (r.size() < 2) r.clear();
  }
  if (joinShared) SplitTouchedEdges(curves);
  const Flat f = Flatten(curves);
  const int n = static_cast<int>(f.v.size());
  Arrangement result;
  if (n == 0) return result;

  // 2. shared edges: opposite pairs are cancelled, same-way pairs marked
  std::vector<char> active(static_cast<std::size_t>(n), 1), shared(static_cast<std::size_t>(n), 0);
  std::vector<std::pair<int, int>> cancelled;
  if (joinShared) {
    std::vector<EdgeKey> keys(static_cast<std::size_t>(n));
    for (int k = 0; k < n; ++k) keys[k] = {f.v[k].x, f.v[k].y, f.v[f.next[k]].x, f.v[f.next[k]].y, k};
    std::sort(keys.begin(), keys.end());
    for (int k = 0; k < n; ++k) {
      if (!active[k]) continue;
      const EdgeKey rev{f.v[f.next[k]].x, f.v[f.next[k]].y, f.v[k].x, f.v[k].y, -1};
      for (auto it = std::lower_bound(keys.begin(), keys.end(), rev); it != keys.end() && !(rev < *it); ++it) {
        if (f.curve[it->seg] != f.curve[k] && active[it->seg]) {
          active[k] = active[it->seg] = 0;
          cancelled.push_back({k, it->seg});
          break;
        }
      }
    }
    for (std::size_t i = 0; i + 1 < keys.size(); ++i) {
      const EdgeKey &a = keys[i], &b = keys[i + 1];
      if (!(a < b) && f.curve[a.seg] != f.curve[b.seg] && active[a.seg] && active[b.seg])
        shared[a.seg] = shared[b.seg] = 1;
    }
  }

  // 3. meetings at vertices of two curves, then the crossings of edges (adjacent edges of one curve and
  // edges meeting at such a vertex excepted)
  std::vector<std::uint64_t> skip;
  std::vector<std::pair<int, int>> meetings;
  if (joinShared) meetings = VertexMeetings(f, active, skip);
  std::vector<Crossing> crossings;
  ForEachCandidatePair(f, active, [&](int i, int j) {
    if (f.next[i] == j || f.next[j] == i || !BoxesMeet(f, i, j)) return;
    const std::uint64_t key = static_cast<std::uint64_t>(i) << 32 | static_cast<std::uint32_t>(j);
    if (!skip.empty() && std::binary_search(skip.begin(), skip.end(), key)) return;
    if (!CrossPerturbed(f.v.data(), i, f.next[i], j, f.next[j])) return;
    Crossing c;
    c.seg[0] = i;
    c.seg[1] = j;
    c.tie[0] = c.tie[1] = 0.0;
    CrossingPoint(f.v[i], f.v[f.next[i]], f.v[j], f.v[f.next[j]], c.x, c.y);
    // a contact at an end point: the crossing is that point, ordered among others there
    for (int side = 0; side < 2; ++side) {
      const int s0 = side == 0 ? i : j, t0 = side == 0 ? j : i;
      for (const int e : {t0, f.next[t0]}) {
        if (OrientExact(f.v[s0], f.v[f.next[s0]], f.v[e]) != 0) continue;
        c.x = f.v[e].x;
        c.y = f.v[e].y;
        c.tie[side] = ContactOrder(f.v.data(), s0, f.next[s0], t0, f.next[t0], e);
      }
    }
    c.t[0] = ParamAlong(f.v[i], f.v[f.next[i]], c.x, c.y);
    c.t[1] = ParamAlong(f.v[j], f.v[f.next[j]], c.x, c.y);
    crossings.push_back(c);
  });
  result.crossings = static_cast<long long>(crossings.size());

  // 4. the nodes in curve order: each point, then the crossings on its edge by parameter
  struct OnSeg {
    double t, tie;
    int id;
    bool operator<(const OnSeg& o) const {
      if (t != o.t) return t < o.t;
      if (tie != o.tie) return tie < o.tie;
      return id < o.id;
    }
  };
  std::vector<std::vector<OnSeg>> onSeg(static_cast<std::size_t>(n));
  for (int c = 0; c < static_cast<int>(crossings.size()); ++c)
    for (int side = 0; side < 2; ++side)
      onSeg[static_cast<std::size_t>(crossings[c].seg[side])].push_back(
          {crossings[c].t[side], crossings[c].tie[side], 2 * c + side});
  const std::size_t total = static_cast<std::size_t>(n) + 2 * crossings.size();
  std::vector<Vertex> node = qssse::scratchVector<Vertex>(total);
  std::vector<int> inSeg = qssse::scratchVector<int>(total), next = qssse::scratchVector<int>(total);
  std::vector<int> startNode = qssse::scratchVector<int>(static_cast<std::size_t>(n));
  std::vector<int> crossingNode = qssse::scratchVector<int>(2 * crossings.size());
  std::size_t at = 0;
  for (int k = 0; k < n;) {
    // one curve: segments k .. last
    int last = k;
    while (last + 1 < n && f.curve[last + 1] == f.curve[k]) ++last;
    const std::size_t first = at;
    for (int s = k; s <= last; ++s) {
      startNode[s] = static_cast<int>(at);
      node[at] = f.v[s];
      inSeg[at] = f.prev[s];
      ++at;
      auto& list = onSeg[static_cast<std::size_t>(s)];
      std::sort(list.begin(), list.end());
      const Vertex& a = f.v[s];
      const Vertex& b = f.v[f.next[s]];
      for (const auto& [t, tie, id] : list) {
        const Crossing& c = crossings[static_cast<std::size_t>(id / 2)];
        node[at] = {c.x, c.y, static_cast<float>(a.z + t * (static_cast<double>(b.z) - a.z))};
        inSeg[at] = s;
        crossingNode[static_cast<std::size_t>(id)] = static_cast<int>(at);
        ++at;
      }
    }
    for (std::size_t i = first; i < at; ++i) next[i] = static_cast<int>(i + 1 < at ? i + 1 : first);
    k = last + 1;
  }

  // 5. re-join: at a crossing each strand continues on the other; a cancelled pair joins its curves
  for (std::size_t c = 0; c < crossings.size(); ++c)
    std::swap(next[static_cast<std::size_t>(crossingNode[2 * c])], next[static_cast<std::size_t>(crossingNode[2 * c + 1])]);
  for (const auto& [s, t] : cancelled) std::swap(next[static_cast<std::size_t>(startNode[s])], next[static_cast<std::size_t>(startNode[t])]);
  for (const auto& [a, b] : meetings) std::swap(next[static_cast<std::size_t>(startNode[a])], next[static_cast<std::size_t>(startNode[b])]);

  // 6. the loops are the cycles of next
  std::vector<char> seen(total, 0);
  std::vector<LoopPoint> cycle;
  for (std::size_t s = 0; s < total; ++s) {
    if (seen[s]) continue;
    cycle.clear();
    for (std::size_t i = s; !seen[i]; i = static_cast<std::size_t>(next[i])) {
      seen[i] = 1;
      const int edge = inSeg[static_cast<std::size_t>(next[i])];
      cycle.push_back({node[i].x, node[i].y, node[i].z, f.curve[edge], shared[static_cast<std::size_t>(edge)] != 0});
    }
    Loop loop;
    const std::size_t m = cycle.size();
    for (std::size_t i = 0; i < m; ++i) {
      const LoopPoint& p = cycle[i];
      const LoopPoint& q = cycle[(i + 1) % m];
      if (p.x != q.x || p.y != q.y) loop.points.push_back(p);  // of equal neighbours the later one leads
    }
    if (loop.points.size() < 3) continue;
    double a2 = 0.0;
    for (std::size_t i = 0; i < loop.points.size(); ++i) {
      const LoopPoint& p = loop.points[i];
      const LoopPoint& q = loop.points[(i + 1) % loop.points.size()];
      a2 += static_cast<double>(p.x) * q.y - static_cast<double>(q.x) * p.y;
    }
    loop.area2 = a2;
    result.loops.push_back(std::move(loop));
  }
  return result;
}

int WindingOfOthers(const std::vector<Loop>& loops, std::size_t skip, double x, double y, bool& onEdge) {
  int w = 0;
  onEdge = false;
  for (std::size_t l = 0; l < loops.size(); ++l) {
    if (l == skip) continue;
    const std::vector<LoopPoint>& p = loops[l].points;
    const std::size_t m = p.size();
    for (std::size_t i = 0; i < m; ++i) {
      const LoopPoint& a = p[i];
      const LoopPoint& b = p[(i + 1) % m];
      const double ex = static_cast<double>(b.x) - a.x, ey = static_cast<double>(b.y) - a.y;
      const double d = ex * (y - a.y) - ey * (x - a.x);
      if (std::fabs(d) <= 1e-12 * (std::fabs(ex) + std::fabs(ey)) * (std::fabs(x - a.x) + std::fabs(y - a.y)) &&
          x >= std::min(a.x, b.x) && x <= std::max(a.x, b.x) && y >= std::min(a.y, b.y) && y <= std::max(a.y, b.y))
        onEdge = true;
      if (a.y <= y) {
        if (b.y > y && d > 0.0) ++w;
      } else if (b.y <= y && d < 0.0) {
        --w;
      }
    }
  }
  return w;
}

int LargestOuterLoop(const std::vector<Loop>& loops) {
  std::vector<std::size_t> order;
  for (std::size_t l = 0; l < loops.size(); ++l)
    if (loops[l].area2 > 0.0) order.push_back(l);
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return loops[a].area2 > loops[b].area2; });
  // A loop bounds the positive region from outside when the others wind around it zero times; judged at
  // the middle of one of its longest edges, another one where that middle lies on a different loop.
  constexpr std::size_t kMaxCandidates = 256;
  for (std::size_t c = 0; c < order.size() && c < kMaxCandidates; ++c) {
    const std::vector<LoopPoint>& p = loops[order[c]].points;
    const std::size_t m = p.size();
    std::vector<std::pair<double, std::size_t>> edges(m);
    for (std::size_t i = 0; i < m; ++i) {
      const LoopPoint& a = p[i];
      const LoopPoint& b = p[(i + 1) % m];
      edges[i] = {std::hypot(static_cast<double>(b.x) - a.x, static_cast<double>(b.y) - a.y), i};
    }
    const std::size_t tries = std::min<std::size_t>(3, m);
    std::partial_sort(edges.begin(), edges.begin() + static_cast<std::ptrdiff_t>(tries), edges.end(),
                      [](const auto& a, const auto& b) { return a.first > b.first; });
    int w = 0;
    for (std::size_t t = 0; t < tries; ++t) {
      const LoopPoint& a = p[edges[t].second];
      const LoopPoint& b = p[(edges[t].second + 1) % m];
      bool onEdge = false;
      w = WindingOfOthers(loops, order[c], 0.5 * (static_cast<double>(a.x) + b.x),
                          0.5 * (static_cast<double>(a.y) + b.y), onEdge);
      if (!onEdge) break;
    }
    if (w == 0) return static_cast<int>(order[c]);
  }
  return -1;
}

}  // namespace qssse::rings
