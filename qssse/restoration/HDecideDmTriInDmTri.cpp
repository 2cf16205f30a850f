// Whether one base-library mesh lies inside another.
//
// Why two tests suffice: if the restoration's surface shares no point with the block's surface, each
// connected piece of the restoration lies wholly inside or wholly outside the block's solid (a path
// within the piece from an inside to an outside point would have to cross the block's surface). So the
// decision is (1) no triangle of one meets a triangle of the other, then (2) every restoration vertex,
// which covers every piece, classified by the parity of the block triangles above it.
//
// (1) Two closed triangles meet exactly when an edge of one meets the other triangle: their common part
// is a convex set whose extreme points lie on edges of one or the other. A segment meets a triangle when
// it reaches the triangle's plane (orientation signs of its ends) at a point inside (signed volumes of the
// segment with each edge), or, lying in the plane, when it meets the triangle in a projection that keeps
// the triangle's area. Zero-area triangles are their edges; two coplanar segments meet exactly when they
// meet in all three coordinate projections (one of them is one-to-one on their common plane).
//
// (2) The ray goes up from the vertex p, moved symbolically to (p.x + e, p.y + e^2) for an infinitesimal
// e: it then passes through no edge or vertex of the block's projection, an edge's side is given by its
// own direction where the exact side is 0, and the crossings of a closed surface are counted consistently.
// A vertex on the block's surface is recognised (the plane sign is 0) but cannot occur after (1).
#include "qssse/restoration/HDecideDmTriInDmTri.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>
#include <vector>

#include "qssse/geometry/HExactPredicates.h"
#include "qssse/platform/DmTriangulationStatic.h"
#include "qssse/platform/MemoryException.h"

namespace {

using V = CbVector3f;

float Coord(const V& p, int axis) { return axis == 0 ? p.x : (axis == 1 ? p.y : p.z); }

// ---- exact predicates on segments and triangles ---------------------------------------------------------

// Orientation in the projection along `drop` (0: onto y-z, 1: onto z-x, 2: onto x-y).
int Orient2(const V& a, const V& b, const V& c, int drop) {
  const int u = (drop + 1) % 3, v = (drop + 2) % 3;
  return CHExactPredicates::Orient2D(Coord(a, u), Coord(a, v), Coord(b, u), Coord(b, v), Coord(c, u),
                                     Coord(c, v));
}

// r within the closed box of p and q in the projection (for r collinear with them).
bool WithinSpan(const V& p, const V& q, const V& r, int drop) {
  for (int axis = 0; axis < 3; ++axis) {
    if (axis == drop) continue;
    const float lo = std::min(Coord(p, axis), Coord(q, axis)), hi = std::max(Coord(p, axis), Coord(q, axis));
    if (Coord(r, axis) < lo || Coord(r, axis) > hi) return false;
  }
  return true;
}

// Closed segments pq and rs meet in the projection along `drop`; either may be a point.
bool SegmentsMeet2(const V& p, const V& q, const V& r, const V& s, int drop) {
  const int o1 = Orient2(p, q, r, drop), o2 = Orient2(p, q, s, drop);
  const int o3 = Orient2(r, s, p, drop), o4 = Orient2(r, s, q, drop);
  if (o1 * o2 < 0 && o3 * o4 < 0) return true;
  return (o1 == 0 && WithinSpan(p, q, r, drop)) || (o2 == 0 && WithinSpan(p, q, s, drop)) ||
         (o3 == 0 && WithinSpan(r, s, p, drop)) || (o4 == 0 && WithinSpan(r, s, q, drop));
}

// Closed segments in space.
bool SegmentsMeet3(const V& p, const V& q, const V& r, const V& s) {
  if (CHExactPredicates::Orient3D(p, q, r, s) != 0) return false;
  for (int drop = 0; drop < 3; ++drop) {
    if (!SegmentsMeet2(p, q, r, s, drop)) return false;
  }
  return true;
}

// A projection in which the triangle keeps its area, or -1 for a zero-area triangle.
int AreaKeepingProjection(const V& a, const V& b, const V& c) {
  for (int drop = 2; drop >= 0; --drop) {
    if (Orient2(a, b, c, drop) != 0) return drop;
  }
  return -1;
}

// p in the closed triangle abc in the projection along `drop` (where abc has area).
bool InTriangle2(const V& p, const V& a, const V& b, const V& c, int drop) {
  const int s = Orient2(a, b, c, drop);
  return Orient2(a, b, p, drop) * s >= 0 && Orient2(b, c, p, drop) * s >= 0 &&
         Orient2(c, a, p, drop) * s >= 0;
}

bool SegmentMeetsTriangle(const V& p, const V& q, const V& a, const V& b, const V& c) {
  const int drop = AreaKeepingProjection(a, b, c);
  if (drop < 0) return SegmentsMeet3(p, q, a, b) || SegmentsMeet3(p, q, b, c) || SegmentsMeet3(p, q, c, a);
  const int sp = CHExactPredicates::Orient3D(a, b, c, p), sq = CHExactPredicates::Orient3D(a, b, c, q);
  if (sp * sq > 0) return false;
  if (sp == 0 && sq == 0) {
    return InTriangle2(p, a, b, c, drop) || InTriangle2(q, a, b, c, drop) ||
           SegmentsMeet2(p, q, a, b, drop) || SegmentsMeet2(p, q, b, c, drop) ||
           SegmentsMeet2(p, q, c, a, drop);
  }
  // The segment reaches the plane at one point; the line pq passes through the closed triangle when the
  // three edges turn the same way around it.
  const int s1 = CHExactPredicates::Orient3D(p, q, a, b);
  const int s2 = CHExactPredicates::Orient3D(p, q, b, c);
  const int s3 = CHExactPredicates::Orient3D(p, q, c, a);
  return (s1 >= 0 && s2 >= 0 && s3 >= 0) || (s1 <= 0 && s2 <= 0 && s3 <= 0);
}

// All of t strictly on one side of the plane of u (u with area).
bool StrictlyBesidePlane(const V* t, const V* u) {
  if (AreaKeepingProjection(u[0], u[1], u[2]) < 0) return false;
  int sides[3];
  for (int k = 0; k < 3; ++k) sides[k] = CHExactPredicates::Orient3D(u[0], u[1], u[2], t[k]);
  return (sides[0] > 0 && sides[1] > 0 && sides[2] > 0) || (sides[0] < 0 && sides[1] < 0 && sides[2] < 0);
}

// ---- the block's surface ------------------------------------------------------------------------------

struct Box {
  float lo[3], hi[3];
};

Box TriangleBox(const V* t) {
  Box b;
  for (int axis = 0; axis < 3; ++axis) {
    b.lo[axis] = std::min({Coord(t[0], axis), Coord(t[1], axis), Coord(t[2], axis)});
    b.hi[axis] = std::max({Coord(t[0], axis), Coord(t[1], axis), Coord(t[2], axis)});
  }
  return b;
}

bool BoxesOverlap(const Box& a, const Box& b) {
  for (int axis = 0; axis < 3; ++axis) {
    if (a.hi[axis] < b.lo[axis] || b.hi[axis] < a.lo[axis]) return false;
  }
  return true;
}

// Uniform grid over boxes, about one cell per box; each box is listed in every cell it touches (closed).
class BoxGrid {
 public:
  explicit BoxGrid(const std::vector<Box>& boxes) : stamps(boxes.size(), 0) {
    for (int axis = 0; axis < 3; ++axis) {
      origin[axis] = boxes.empty() ? 0.0 : boxes[0].lo[axis];
      double top = origin[axis];
      for (const Box& b : boxes) {
        origin[axis] = std::min(origin[axis], static_cast<double>(b.lo[axis]));
        top = std::max(top, static_cast<double>(b.hi[axis]));
      }
      extent[axis] = top - origin[axis];
    }
    ChooseResolution(boxes);
    // Cells as ranges of one item list (counting pass, then filling pass).
    start.assign(static_cast<std::size_t>(n[0]) * n[1] * n[2] + 1, 0);
    for (const Box& b : boxes) ForCells(b, [&](std::size_t cell) { ++start[cell + 1]; });
    for (std::size_t c = 1; c < start.size(); ++c) start[c] += start[c - 1];
    items.resize(start.back());
    std::vector<std::size_t> fill(start.begin(), start.end() - 1);
    for (std::size_t i = 0; i < boxes.size(); ++i)
      ForCells(boxes[i], [&](std::size_t cell) { items[fill[cell]++] = static_cast<std::int32_t>(i); });
  }

  // visit(i) once for each box listed in a cell that [lo, hi] touches.
  template <class Visit>
  void Query(const Box& query, Visit visit) {
    ++round;
    ForCells(query, [&](std::size_t cell) {
      for (std::size_t k = start[cell]; k < start[cell + 1]; ++k) {
        const std::int32_t i = items[k];
        if (stamps[static_cast<std::size_t>(i)] == round) continue;
        stamps[static_cast<std::size_t>(i)] = round;
        visit(i);
      }
    });
  }

 private:
  int CellOf(int axis, double v) const {
    const double t = (v - origin[axis]) / size[axis];  // monotone in v, so boxes and points agree
    if (!(t > 0.0)) return 0;
    return t >= n[axis] ? n[axis] - 1 : static_cast<int>(t);
  }

  template <class Visit>
  void ForCells(const Box& b, Visit visit) const {
    int lo[3], hi[3];
    for (int axis = 0; axis < 3; ++axis) {
      lo[axis] = CellOf(axis, b.lo[axis]);
      hi[axis] = CellOf(axis, b.hi[axis]);
    }
    for (int z = lo[2]; z <= hi[2]; ++z) {
      for (int y = lo[1]; y <= hi[1]; ++y) {
        for (int x = lo[0]; x <= hi[0]; ++x)
          visit((static_cast<std::size_t>(z) * n[1] + y) * n[0] + static_cast<std::size_t>(x));
      }
    }
  }

  std::uint64_t References(const std::vector<Box>& boxes) const {
    std::uint64_t total = 0;
    for (const Box& b : boxes) {
      std::uint64_t cells = 1;
      for (int axis = 0; axis < 3; ++axis)
        cells *= static_cast<std::uint64_t>(CellOf(axis, b.hi[axis]) - CellOf(axis, b.lo[axis]) + 1);
      total += cells;
    }
    return total;
  }

  // About one cell per box, cubic cells over the axes that have extent; coarsened while large boxes
  // would be listed in too many cells.
  void ChooseResolution(const std::vector<Box>& boxes) {
    double volume = 1.0;
    int dims = 0;
    for (int axis = 0; axis < 3; ++axis) {
      if (extent[axis] > 0.0) {
        volume *= extent[axis];
        ++dims;
      }
    }
    const double target = static_cast<double>(std::max<std::size_t>(boxes.size(), 1));
    const double cell = dims > 0 ? std::pow(volume / target, 1.0 / dims) : 1.0;
    for (int axis = 0; axis < 3; ++axis) {
      const double cells = extent[axis] > 0.0 && cell > 0.0 ? std::ceil(extent[axis] / cell) : 1.0;
      n[axis] = static_cast<int>(std::clamp(cells, 1.0, 256.0));
    }
    // Rounding up may overshoot on thin axes: keep the cells near the number of boxes.
    while (static_cast<double>(n[0]) * n[1] * n[2] > 2.0 * target + 8.0) *std::max_element(n, n + 3) /= 2;
    const std::uint64_t limit = 16 * static_cast<std::uint64_t>(boxes.size()) + 1024;
    for (;;) {
      for (int axis = 0; axis < 3; ++axis) size[axis] = extent[axis] > 0.0 ? extent[axis] / n[axis] : 1.0;
      if (n[0] * n[1] * n[2] == 1 || References(boxes) <= limit) break;
      for (int& k : n) k = std::max(1, k / 2);
    }
  }

  double origin[3], extent[3], size[3];
  int n[3];
  std::vector<std::size_t> start;
  std::vector<std::int32_t> items;
  std::vector<std::uint32_t> stamps;
  std::uint32_t round = 0;
};

// The triangles of a mesh as corner triples.
std::vector<V> Corners(const DmTriangulationStatic& m) {
  std::vector<V> corners(3 * static_cast<std::size_t>(m.GetNumTriangles()));
  for (std::size_t i = 0; i < corners.size(); ++i) corners[i] = m.GetVertex(m.GetIndices()[i]);
  return corners;
}

bool AllFinite(const DmTriangulationStatic& m) {
  const float* c = m.GetCoordinates();
  for (std::size_t i = 0; i < 3 * static_cast<std::size_t>(m.GetNumVertices()); ++i) {
    if (!std::isfinite(c[i])) return false;
  }
  return true;
}

// Every edge used by an even number of triangles once equal vertices are merged (self-edges of
// collapsed triangles are no edges).
bool IsClosed(const DmTriangulationStatic& block) {
  DmTriangulationStatic merged = block;
  merged.MergeEqualVertices();
  std::vector<std::uint64_t> edges;
  edges.reserve(3 * static_cast<std::size_t>(merged.GetNumTriangles()));
  const std::int32_t* idx = merged.GetIndices();
  for (int t = 0; t < merged.GetNumTriangles(); ++t) {
    for (int k = 0; k < 3; ++k) {
      const auto u = static_cast<std::uint32_t>(idx[3 * t + k]);
      const auto v = static_cast<std::uint32_t>(idx[3 * t + (k + 1) % 3]);
      if (u != v) edges.push_back(static_cast<std::uint64_t>(std::min(u, v)) << 32 | std::max(u, v));
    }
  }
  std::sort(edges.begin(), edges.end());
  for (std::size_t i = 0; i < edges.size();) {
    std::size_t j = i;
    while (j < edges.size() && edges[j] == edges[i]) ++j;
    if ((j - i) % 2 != 0) return false;
    i = j;
  }
  return true;
}

// Side of the edge u -> v on which p, moved to (p.x + e, p.y + e^2), lies in x-y; 0 only for u = v there.
int PerturbedSide(const V& u, const V& v, const V& p) {
  const int side = CHExactPredicates::Orient2D(u.x, u.y, v.x, v.y, p.x, p.y);
  if (side != 0) return side;
  if (u.y != v.y) return u.y > v.y ? 1 : -1;  // the e term: -(v.y - u.y)
  return (v.x > u.x) - (v.x < u.x);           // the e^2 term: v.x - u.x
}

// 1 when the upward ray from the moved p crosses triangle abc, 0 when not, -1 when p lies on it.
int RayCrossing(const V& p, const V& a, const V& b, const V& c) {
  const int s = CHExactPredicates::Orient2D(a.x, a.y, b.x, b.y, c.x, c.y);
  if (s == 0) return 0;  // a vertical or collapsed triangle: the moved ray misses it
  if (PerturbedSide(a, b, p) != s || PerturbedSide(b, c, p) != s || PerturbedSide(c, a, p) != s) return 0;
  const int below = CHExactPredicates::Orient3D(a, b, c, p);
  if (below == 0) return -1;
  return below == s ? 1 : 0;
}

}  // namespace

// ---- the decision ---------------------------------------------------------------------------------------

bool CHDecideDmTriInDmTri::TrianglesIntersect(const CbVector3f a[3], const CbVector3f b[3]) {
  if (StrictlyBesidePlane(a, b) || StrictlyBesidePlane(b, a)) return false;
  for (int k = 0; k < 3; ++k) {
    if (SegmentMeetsTriangle(a[k], a[(k + 1) % 3], b[0], b[1], b[2])) return true;
    if (SegmentMeetsTriangle(b[k], b[(k + 1) % 3], a[0], a[1], a[2])) return true;
  }
  return false;
}

namespace {

// The vertex of the extreme z (the first of equals), NaN z skipped; false when there is none.
bool ExtremeZ(const DmTriangulationStatic* m, bool highest, CbVector3f& out) {
  bool found = false;
  for (int i = 0; m != nullptr && i < m->GetNumVertices(); ++i) {
    const CbVector3f p = m->GetVertex(i);
    if (std::isnan(p.z)) continue;
    if (!found || (highest ? p.z > out.z : p.z < out.z)) {
      out = p;
      found = true;
    }
  }
  return found;
}

CHDecideDmTriInDmTri::Decision Decide(const DmTriangulationStatic& restoration,
                                      const DmTriangulationStatic& block) {
  using Decision = CHDecideDmTriInDmTri::Decision;
  if (!AllFinite(restoration) || !AllFinite(block)) return Decision::NotFinite;
  if (!IsClosed(block)) return Decision::BlockNotClosed;

  // 1. the surfaces must not meet
  const std::vector<V> inner = Corners(restoration), outer = Corners(block);
  std::vector<Box> outerBoxes(outer.size() / 3);
  Box all = TriangleBox(&outer[0]);
  for (std::size_t t = 0; t < outerBoxes.size(); ++t) {
    outerBoxes[t] = TriangleBox(&outer[3 * t]);
    for (int axis = 0; axis < 3; ++axis) {
      all.lo[axis] = std::min(all.lo[axis], outerBoxes[t].lo[axis]);
      all.hi[axis] = std::max(all.hi[axis], outerBoxes[t].hi[axis]);
    }
  }
  BoxGrid grid(outerBoxes);
  bool meet = false;
  for (std::size_t t = 0; t < inner.size() / 3 && !meet; ++t) {
    const Box box = TriangleBox(&inner[3 * t]);
    if (!BoxesOverlap(box, all)) continue;
    grid.Query(box, [&](std::int32_t u) {
      if (!meet && BoxesOverlap(box, outerBoxes[static_cast<std::size_t>(u)]))
        meet =
            CHDecideDmTriInDmTri::TrianglesIntersect(&inner[3 * t], &outer[3 * static_cast<std::size_t>(u)]);
    });
  }
  if (meet) return Decision::SurfacesMeet;

  // 2. every restoration vertex in the block's solid
  for (std::size_t i = 0; i < inner.size(); ++i) {
    const V& p = inner[i];
    if (p.x < all.lo[0] || p.x > all.hi[0] || p.y < all.lo[1] || p.y > all.hi[1] || p.z < all.lo[2] ||
        p.z > all.hi[2])
      return Decision::Outside;
    int crossings = 0;
    bool onSurface = false;
    const Box column = {{p.x, p.y, p.z}, {p.x, p.y, all.hi[2]}};
    grid.Query(column, [&](std::int32_t u) {
      const Box& b = outerBoxes[static_cast<std::size_t>(u)];
      if (onSurface || p.x < b.lo[0] || p.x > b.hi[0] || p.y < b.lo[1] || p.y > b.hi[1] || b.hi[2] < p.z)
        return;
      const V* t = &outer[3 * static_cast<std::size_t>(u)];
      const int r = RayCrossing(p, t[0], t[1], t[2]);
      if (r < 0) onSurface = true;
      crossings += r > 0;
    });
    if (onSurface) return Decision::SurfacesMeet;
    if (crossings % 2 == 0) return Decision::Outside;
  }
  return Decision::Inside;
}

}  // namespace

CHDecideDmTriInDmTri::CHDecideDmTriInDmTri(const DmTriangulationStatic* restoration,
                                           const DmTriangulationStatic* block)
    : decision(Decision::EmptyMesh), hasLowestBlockPoint(false), hasHighestRestorationPoint(false) {
  hasLowestBlockPoint = ExtremeZ(block, false, lowestBlockPoint);
  hasHighestRestorationPoint = ExtremeZ(restoration, true, highestRestorationPoint);
  if (restoration == nullptr || block == nullptr || !restoration->IsValid() || !block->IsValid()) return;
  try {
    decision = Decide(*restoration, *block);
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  }
}

bool CHDecideDmTriInDmTri::GetLowestBlockPoint(CbVector3f& p) const {
  if (hasLowestBlockPoint) p = lowestBlockPoint;
  return hasLowestBlockPoint;
}

bool CHDecideDmTriInDmTri::GetHighestRestaurationPoint(CbVector3f& p) const {
  if (hasHighestRestorationPoint) p = highestRestorationPoint;
  return hasHighestRestorationPoint;
}
