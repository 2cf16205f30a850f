// Why the index decides every diagonal exactly as the walk over all ring edges does.
//
// The walk answers "true" as soon as one edge passes Intersect; the order of the edges does not matter
// for the answer, so it is enough to test every edge that could pass. Intersect(a, b, c, d) passes only
// through one of these, each of which puts the edge into the query's candidates:
//
// 1. Between(a, b, x) for an endpoint x of cd, or Between(c, d, y) for y = a or b. With D computed in
//    float, |fl(D) - D| <= 4.1u (|P1| + |P2|), u = 2^-24, P1 and P2 its two products (two rounded
//    differences and one rounded product each, then one rounded difference). For a non-vertical pq and x
//    in its x range, |P2| <= |dy|·|dx|, which bounds x's vertical distance from the line pq by
//    0.0005 / |dx| + 9u|dy| (to first order): the band. A vertical pq (equal x: D's first product is
//    exactly zero) bounds |x.x - p.x| by 0.0005 / |dy|; a point pq (also equal y) asks for x.y = p.y
//    exactly: a whole row. The point in question lies in the regions (segment plus band) of both
//    segments, so the query's region meets the widened box of every node above the edge.
// 2. IntersectProp of segments that truly cross: the crossing lies on both segments, hence in both regions.
// 3. IntersectProp with a side flipped by rounding. A flip needs the two rounded products within a factor
//    2 of each other (else |D| is at least a quarter of their sum and keeps its sign), so their
//    difference is exact and the rounding is at most 3.01u (|P1| + |P2|): only where that exceeds 0.0005,
//    which IsLong bounds over the whole box for each segment. When neither the query nor any live edge is
//    long, case 3 cannot happen. Otherwise, either an endpoint x of cd has its side against ab flipped:
//    |D(a, b, x)| < 3.01u |x - a| |ab|; or cd's endpoints truly straddle ab's line (crossing it at X
//    outside ab) and a's or b's side against cd is flipped, so a (or b) lies within eps < 3.01u |a - c| of
//    cd's line. If the foot of a on that line is on cd, a lies within eps of the segment cd, and cd's
//    region has a margin of 9u |cd| around it. Otherwise the endpoint of cd between X and the foot lies
//    within eps of ab's line, at distance |D(a, b, c)| <= |ab| eps. Both cases are covered by the wedge
//    |D(a, b, x)| <= 8u |ab|_1 (|x - a|_1 + |ab|_1), which the leaves of the box tree test in float with
//    twice that bound (the float D is itself within the bound of the true one). A box is searched only
//    where the rounding bound can exceed 0.0005 for a vertex in it: against ab, with |x.y - a.y| |dx| +
//    |dy| |x.x - a.x| taken at the box's far corners; against an edge of extent at most E ending at the
//    vertex (the largest live one below the node), with |a - c|_1 <= the box's far L1 distance + |ab|_1 +
//    2E.
#include "qssse/geometry/RingEdgeIndex.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <new>

#include "qssse/platform/MemoryException.h"

namespace qssse {
namespace {

constexpr float kTolF = CHSimpleBasisFcns::kAreaTolerance;
constexpr double kTol = static_cast<double>(kTolF) * 1.0001;  // a hair above the float tolerance
constexpr double kU = 1.0 / 16777216.0;
// Rounding of D where its sign can flip past the tolerance, relative to |P1| + |P2|: a flip needs the two
// rounded products within a factor 2 of each other (otherwise |D| is at least a quarter of their sum and
// keeps its sign), so their difference is exact and only the differences and products round.
constexpr double kFlipNoise = 3.01 * kU;
constexpr double kMaxCoordinate = 1e15;
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr int kLeaf = 16;

inline bool InRange(float a, float b, float c) { return (a <= c && c <= b) || (a >= c && c >= b); }

// Between's range part: the x range unless the segment is vertical (equal x), then the y range.
inline bool OnSpan(const t_h2dpoint* p, const t_h2dpoint* q, const t_h2dpoint* x) {
  if (p->x != q->x) return InRange(p->x, q->x, x->x);
  return InRange(p->y, q->y, x->y);
}

inline bool Collinear(float d) { return !(d > kTolF) && !(d < -kTolF); }

// The value of CHSimpleBasisFcns::Intersect(a, b, c, d) from the four areas it is built on, each computed
// once (IntersectProp and the four Between tests read the same four float values).
inline bool EdgeHit(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c, const t_h2dpoint* d) {
  const float d1 = CHSimpleBasisFcns::DoubledArea(a, b, c);
  const float d2 = CHSimpleBasisFcns::DoubledArea(a, b, d);
  const float d3 = CHSimpleBasisFcns::DoubledArea(c, d, a);
  const float d4 = CHSimpleBasisFcns::DoubledArea(c, d, b);
  const bool c1 = Collinear(d1), c2 = Collinear(d2), c3 = Collinear(d3), c4 = Collinear(d4);
  if (!c1 && !c2 && !c3 && !c4) return (d1 > kTolF) != (d2 > kTolF) && (d3 > kTolF) != (d4 > kTolF);
  return (c1 && OnSpan(a, b, c)) || (c2 && OnSpan(a, b, d)) || (c3 && OnSpan(c, d, a)) ||
         (c4 && OnSpan(c, d, b));
}

inline bool Touches(const t_hvertex* c, const t_hvertex* c1, const t_hvertex* a, const t_hvertex* b) {
  return c == a || c1 == a || c == b || c1 == b;
}

// A float not below v: the nearest float moved up by a few units in its last place (cheaper than
// nextafter, and only ever used for bounds); infinity beyond the float range.
inline float RoundUp(double v) {
  if (!(v <= static_cast<double>(std::numeric_limits<float>::max()))) {
    return std::numeric_limits<float>::infinity();
  }
  const float f = static_cast<float>(v);
  // plus the smallest normal float: a subnormal term would make the arithmetic slow
  return f + std::fabs(f) * 0x1p-21f + std::numeric_limits<float>::min();
}

inline float RoundDown(double v) { return -RoundUp(-v); }

template <class T>
void Assign(std::vector<T>& v, std::size_t n, const T& value) {
  try {
    v.assign(n, value);
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  }
}

}  // namespace

// The region of segment pq (file comment, case 1 and the margin of case 3), in double.
struct RingEdgeIndex::Region {
  enum Kind { kPoint, kVertical, kGeneral } kind;
  double px, py, xmin, xmax, ymin, ymax, slope = 0, band = 0, eps, half = 0;

  Region(const t_hvertex* p, const t_hvertex* q) {
    px = p->x, py = p->y;
    const double qx = q->x, qy = q->y, dx = qx - px, dy = qy - py;
    const double len = std::sqrt(dx * dx + dy * dy);
    const double slack =
        1e-9 *
            (std::max(std::max(std::fabs(px), std::fabs(py)), std::max(std::fabs(qx), std::fabs(qy))) + len) +
        1e-30;
    eps = 9.0 * kU * len + slack;
    xmin = std::min(px, qx), xmax = std::max(px, qx), ymin = std::min(py, qy), ymax = std::max(py, qy);
    if (p->x == q->x) {
      kind = p->y == q->y ? kPoint : kVertical;
      if (kind == kVertical) half = kTol / std::fabs(dy) + eps;
      return;
    }
    kind = kGeneral;
    slope = dy / dx;
    band = kTol / std::fabs(dx) + 16.0 * kU * std::fabs(dy) + eps * (1.0 + std::fabs(slope)) + slack;
  }

  // Widening of the segment's box that covers the region.
  double PadX() const { return kind == kPoint ? kInf : kind == kVertical ? half : eps; }
  double PadY() const { return kind == kGeneral ? band : eps; }

  // Whether the region meets the box [x0, x1] x [y0, y1].
  bool Meets(double x0, double y0, double x1, double y1) const {
    if (kind == kPoint) return py - eps <= y1 && py + eps >= y0;
    if (kind == kVertical) return px - half <= x1 && px + half >= x0 && ymin - eps <= y1 && ymax + eps >= y0;
    const double lo = std::max(xmin - eps, x0), hi = std::min(xmax + eps, x1);
    if (lo > hi) return false;
    // the part of the segment whose points can lie within eps of [lo, hi]
    double u0 = std::max(lo - eps, xmin), u1 = std::min(hi + eps, xmax);
    if (u0 > u1) u0 = u1 = (hi + eps < xmin) ? xmin : xmax;
    const double ya = py + (u0 - px) * slope, yb = py + (u1 - px) * slope;
    return std::min(ya, yb) - band <= y1 && std::max(ya, yb) + band >= y0;
  }
};

// ---- construction -----------------------------------------------------------------------------------

std::unique_ptr<RingEdgeIndex> RingEdgeIndex::Create(const t_hvertex* vertices, int n,
                                                     const t_hvertex* head) {
  if (head == nullptr) return nullptr;
  const t_hvertex* v = head;
  do {
    if (!(std::fabs(v->x) <= kMaxCoordinate) || !(std::fabs(v->y) <= kMaxCoordinate)) return nullptr;
    v = v->next;
  } while (v != head);
  try {
    return std::unique_ptr<RingEdgeIndex>(new RingEdgeIndex(vertices, n, head));
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  }
}

RingEdgeIndex::RingEdgeIndex(const t_hvertex* vertices, int n, const t_hvertex* head)
    : m_v(vertices), m_n(n) {
  // 1. the live vertices and the boxes of the tree
  Assign(m_alive, static_cast<std::size_t>(n), std::uint8_t{0});
  Assign(m_extent, static_cast<std::size_t>(n), 0.0f);
  m_leaves = 1;
  while (static_cast<std::int64_t>(m_leaves) * kLeaf < n) m_leaves *= 2;
  const float inf = std::numeric_limits<float>::infinity();
  Assign(m_tree, 2 * static_cast<std::size_t>(m_leaves), Node{inf, inf, -inf, -inf, 0.0f, 0.0f, 0.0f, -1});
  const t_hvertex* v = head;
  do {
    m_alive[static_cast<std::size_t>(v->vnum)] = 1;
    Node& leaf = m_tree[static_cast<std::size_t>(m_leaves + v->vnum / kLeaf)];
    leaf.x0 = std::min(leaf.x0, v->x), leaf.x1 = std::max(leaf.x1, v->x);
    leaf.y0 = std::min(leaf.y0, v->y), leaf.y1 = std::max(leaf.y1, v->y);
    v = v->next;
  } while (v != head);
  for (int k = m_leaves - 1; k >= 1; --k) {
    const Node& l = m_tree[static_cast<std::size_t>(2 * k)];
    const Node& r = m_tree[static_cast<std::size_t>(2 * k + 1)];
    Node& node = m_tree[static_cast<std::size_t>(k)];
    node.x0 = std::min(l.x0, r.x0), node.y0 = std::min(l.y0, r.y0);
    node.x1 = std::max(l.x1, r.x1), node.y1 = std::max(l.y1, r.y1);
  }
  const Node& root = m_tree[1];
  m_width = root.x1 - root.x0, m_height = root.y1 - root.y0;
  m_exact = ExactAreas(head, std::max(m_width, m_height));

  // 2. every ring edge at its node, and the extents of the live edges below every node
  v = head;
  do {
    AddEdge(v);
    v = v->next;
  } while (v != head);
  for (int j = 0; j < m_leaves; ++j) {
    float e = 0.0f;
    for (int i = j * kLeaf, last = std::min(n, (j + 1) * kLeaf); i < last; ++i) {
      if (m_alive[static_cast<std::size_t>(i)]) e = std::max(e, VertexExtent(i));
    }
    m_tree[static_cast<std::size_t>(m_leaves + j)].extent = e;
  }
  for (int k = m_leaves - 1; k >= 1; --k) {
    m_tree[static_cast<std::size_t>(k)].extent = std::max(m_tree[static_cast<std::size_t>(2 * k)].extent,
                                                          m_tree[static_cast<std::size_t>(2 * k + 1)].extent);
  }
}

RingEdgeIndex::~RingEdgeIndex() = default;

// Whether every area test among the ring's points is computed without rounding: all coordinates are
// multiples of one power of two 2^g, and the ring spans at most 2896 of those steps, so differences are
// exact, products stay below 2^23 steps² and their difference below 2^24. Pixel outlines (integers
// up to 2896 across) are the common case. Then no side can be flipped and the wedge is never searched.
bool RingEdgeIndex::ExactAreas(const t_hvertex* head, double span) {
  int g = std::numeric_limits<int>::max();  // the finest binary step among the coordinates
  const t_hvertex* v = head;
  do {
    for (const float c : {v->x, v->y}) {
      if (c == 0.0f) continue;
      int e = 0;
      const float m = std::frexp(c, &e);  // c = m 2^e, |m| in [0.5, 1): 24 significant bits
      const auto bits = static_cast<std::uint32_t>(std::ldexp(std::fabs(m), 24));
      g = std::min(g, e - 24 + std::countr_zero(bits));
    }
    v = v->next;
  } while (v != head);
  if (g == std::numeric_limits<int>::max()) return true;  // every point at the origin
  // products are multiples of 2^2g: exact while that step is a float (subnormal) step and they stay finite
  return 2 * g >= -149 && 2 * g <= 80 && std::ldexp(span, -g) <= 2896.0;
}

// ---- edges ------------------------------------------------------------------------------------------

// max(|dx|, |dy|) of edge (s, s.next), rounded up into float.
float RingEdgeIndex::Extent(const t_hvertex* s) {
  const t_hvertex* t = s->next;
  return RoundUp(
      std::max(std::fabs(static_cast<double>(t->x) - s->x), std::fabs(static_cast<double>(t->y) - s->y)));
}

// The larger of the extents of the two live edges at vertex i (kept in m_extent by AddEdge).
float RingEdgeIndex::VertexExtent(int i) const {
  return std::max(m_extent[static_cast<std::size_t>(i)],
                  m_extent[static_cast<std::size_t>(m_v[i].prev->vnum)]);
}

// Recomputes the leaf's largest extent of a live edge ending at one of its vertices, then the maxima of
// the nodes above it.
void RingEdgeIndex::UpdateExtents(int vertex) {
  int k = m_leaves + vertex / kLeaf;
  const int first = (k - m_leaves) * kLeaf, last = std::min(m_n, first + kLeaf);
  float e = 0.0f;
  for (int i = first; i < last; ++i) {
    if (m_alive[static_cast<std::size_t>(i)]) e = std::max(e, VertexExtent(i));
  }
  m_tree[static_cast<std::size_t>(k)].extent = e;
  for (k >>= 1; k >= 1; k >>= 1) {
    m_tree[static_cast<std::size_t>(k)].extent = std::max(m_tree[static_cast<std::size_t>(2 * k)].extent,
                                                          m_tree[static_cast<std::size_t>(2 * k + 1)].extent);
  }
}

// The node that holds edge (s, t): the lowest whose range contains both (a leaf holds the edges inside it
// implicitly); 0 for the edge that wraps from the last live vertex to the first.
int RingEdgeIndex::NodeOf(const t_hvertex* s, const t_hvertex* t) const {
  if (t->vnum <= s->vnum) return 0;
  int ls = m_leaves + s->vnum / kLeaf, lt = m_leaves + t->vnum / kLeaf;
  while (ls != lt) ls >>= 1, lt >>= 1;
  return ls;
}

bool RingEdgeIndex::IsLong(const t_hvertex* p, const t_hvertex* q) const {
  if (m_exact) return false;
  const double dx = std::fabs(static_cast<double>(q->x) - p->x);
  const double dy = std::fabs(static_cast<double>(q->y) - p->y);
  return kFlipNoise * (static_cast<double>(m_height) * dx + static_cast<double>(m_width) * dy) >=
         0.99 * static_cast<double>(kTolF);
}

void RingEdgeIndex::AddEdge(const t_hvertex* s) {
  const t_hvertex* t = s->next;
  m_extent[static_cast<std::size_t>(s->vnum)] = Extent(s);
  if (IsLong(s, t)) ++m_liveLong;
  int k = NodeOf(s, t);
  if (k == 0) {
    m_wrap = s->vnum;
    k = 1;
  } else if (k < m_leaves) {
    m_tree[static_cast<std::size_t>(k)].edge = s->vnum;
  }
  // Widen every box above, never narrowing again: a box stays valid for every edge it ever held.
  const Region r(s, t);
  const float padX = RoundUp(r.PadX()), padY = RoundUp(r.PadY());
  for (; k >= 1; k >>= 1) {
    Node& node = m_tree[static_cast<std::size_t>(k)];
    node.padX = std::max(node.padX, padX);
    node.padY = std::max(node.padY, padY);
  }
}

void RingEdgeIndex::RemoveEdge(const t_hvertex* s, const t_hvertex* t) {
  if (IsLong(s, t)) --m_liveLong;
  const int k = NodeOf(s, t);
  if (k == 0) {
    m_wrap = -1;
  } else if (k < m_leaves) {
    m_tree[static_cast<std::size_t>(k)].edge = -1;
  }
}

// ---- queries ----------------------------------------------------------------------------------------

bool RingEdgeIndex::TestEdge(const t_hvertex* a, const t_hvertex* b, int start) const {
  const t_hvertex* c = &m_v[start];
  const t_hvertex* c1 = c->next;
  return !Touches(c, c1, a, b) && EdgeHit(a, b, c, c1);
}

bool RingEdgeIndex::AnyEdgeIntersects(const t_hvertex* a, const t_hvertex* b) {
  if (m_wrap >= 0 && TestEdge(a, b, m_wrap)) return true;

  // The query's region (edges whose region meets it) and, where rounding can flip a side, its wedge
  // (vertices in it): one descent serves both.
  const Region r(a, b);
  // the query region's box (in float, rounded outwards), for the edges inside leaves
  const float qx0 = RoundDown(r.xmin - r.PadX()), qx1 = RoundUp(r.xmax + r.PadX());
  const float qy0 = RoundDown(r.ymin - r.PadY()), qy1 = RoundUp(r.ymax + r.PadY());
  const bool againstQuery = IsLong(a, b), againstEdges = m_liveLong > 0;
  const bool anyFlip = againstQuery || againstEdges;
  const double ax = a->x, ay = a->y, dx = static_cast<double>(b->x) - ax, dy = static_cast<double>(b->y) - ay;
  const double adx = std::fabs(dx), ady = std::fabs(dy), l1 = adx + ady;
  const double flip =
      0.99 * static_cast<double>(kTolF) / kFlipNoise;  // rounding bound / kFlipNoise reaching it
  const double reachPerL1 = 2.0 * 8.0 * kU * l1;
  const float fdx = b->x - a->x, fdy = b->y - a->y, fl1 = std::fabs(fdx) + std::fabs(fdy);
  const float fcoef = static_cast<float>(2.0 * 8.0 * kU) * fl1;  // the leaves' wedge test, twice the bound

  int stack[128];
  int top = 0;
  stack[top++] = 1;
  while (top > 0) {
    const int k = stack[--top];
    const Node& node = m_tree[static_cast<std::size_t>(k)];
    if (!(node.x0 <= node.x1)) continue;
    // 1. does the query's region meet the widened box?
    const bool edges =
        r.Meets(static_cast<double>(node.x0) - node.padX, static_cast<double>(node.y0) - node.padY,
                static_cast<double>(node.x1) + node.padX, static_cast<double>(node.y1) + node.padY);
    // 2. can a vertex below have its side flipped (against ab, or against an edge ending at it), and does
    //    the wedge meet the box? D is linear: its range over the box comes from the corners' terms.
    bool wedge = false;
    if (anyFlip) {
      const double farX = std::max(std::fabs(node.x0 - ax), std::fabs(node.x1 - ax));
      const double farY = std::max(std::fabs(node.y0 - ay), std::fabs(node.y1 - ay));
      const double m = node.extent;
      if ((againstQuery && farY * adx + ady * farX >= flip) ||
          (againstEdges && m * (farX + farY + l1 + 2.0 * m) >= flip)) {
        const double ya = (node.y0 - ay) * dx, yb = (node.y1 - ay) * dx;
        const double xa = -dy * (node.x0 - ax), xb = -dy * (node.x1 - ax);
        const double reach = reachPerL1 * (farX + farY + l1) * 1.001 + 1e-30;
        wedge = std::min(ya, yb) + std::min(xa, xb) <= reach && std::max(ya, yb) + std::max(xa, xb) >= -reach;
      }
    }
    if (!edges && !wedge) continue;
    if (k < m_leaves) {
      if (edges && node.edge >= 0 && TestEdge(a, b, node.edge)) return true;
      stack[top++] = 2 * k;
      stack[top++] = 2 * k + 1;
      continue;
    }
    const int first = (k - m_leaves) * kLeaf, last = std::min(m_n, first + kLeaf);
    for (int i = first; i < last; ++i) {
      if (!m_alive[static_cast<std::size_t>(i)]) continue;
      const t_hvertex* x = &m_v[i];
      if (edges) {  // the edges inside the leaf whose widened box meets the query's
        const t_hvertex* y = x->next;
        if (y->vnum > i && y->vnum < last && std::min(x->x, y->x) - node.padX <= qx1 &&
            std::max(x->x, y->x) + node.padX >= qx0 && std::min(x->y, y->y) - node.padY <= qy1 &&
            std::max(x->y, y->y) + node.padY >= qy0 && TestEdge(a, b, i)) {
          return true;
        }
      }
      if (wedge && x != a && x != b) {
        const float px = x->x - a->x, py = x->y - a->y;
        const float d = py * fdx - fdy * px;
        if (std::fabs(d) <= fcoef * (std::fabs(px) + std::fabs(py) + fl1) + 1e-30f &&
            (TestEdge(a, b, x->prev->vnum) || TestEdge(a, b, i))) {
          return true;
        }
      }
    }
  }
  return false;
}

// ---- ring changes -----------------------------------------------------------------------------------

void RingEdgeIndex::VertexClipped(const t_hvertex* e) {
  const t_hvertex* a = e->prev;
  const t_hvertex* b = e->next;
  RemoveEdge(a, e);
  RemoveEdge(e, b);
  m_alive[static_cast<std::size_t>(e->vnum)] = 0;
  AddEdge(a);  // a.next is b now
  UpdateExtents(e->vnum);
  UpdateExtents(a->vnum);
  UpdateExtents(b->vnum);
}

}  // namespace qssse
