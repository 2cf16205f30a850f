#pragma once
// Independent validators for hull and Delaunay results, in exact 128-bit integer arithmetic, and the
// plain hull construction as the oracle of the fast one.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "qssse/geometry/HConvexHull3D.h"

namespace hulltest {

using I3 = std::array<std::int64_t, 3>;
using Wide = __int128;

// The plain construction through the same entry as CalcConvexHull.
class PlainHull : public CHConvexHull3D {
 public:
  void CalcPlain() { BuildHull(&PlainHull::ConstructHull); }
  bool RunChecks() { return Checks(); }
};

using I2 = std::array<std::int64_t, 2>;

// Twice the signed area of (o, a, b): positive for a left turn.
inline Wide Cross(const I2& o, const I2& a, const I2& b) {
  return Wide(a[0] - o[0]) * (b[1] - o[1]) - Wide(a[1] - o[1]) * (b[0] - o[0]);
}

// The 2-D hull oracle: Andrew's monotone chain on integer points with strict turns, counter-clockwise,
// starting at the lowest (then leftmost) point.
inline std::vector<I2> MonotoneChain(std::vector<I2> p) {
  std::sort(p.begin(), p.end());
  p.erase(std::unique(p.begin(), p.end()), p.end());
  if (p.size() < 3) return p;
  std::vector<I2> h(2 * p.size());
  std::size_t k = 0;
  for (std::size_t i = 0; i < p.size(); ++i) {
    while (k >= 2 && Cross(h[k - 2], h[k - 1], p[i]) <= 0) --k;
    h[k++] = p[i];
  }
  for (std::size_t i = p.size() - 1, t = k + 1; i-- > 0;) {
    while (k >= t && Cross(h[k - 2], h[k - 1], p[i]) <= 0) --k;
    h[k++] = p[i];
  }
  h.resize(k - 1);
  const auto low = std::min_element(
      h.begin(), h.end(), [](const I2& a, const I2& b) { return a[1] != b[1] ? a[1] < b[1] : a[0] < b[0]; });
  std::rotate(h.begin(), low, h.end());
  return h;
}

inline I3 Coords(const tVertexStructure* v) { return {v->x, v->y, v->z}; }

// 6 x the signed volume of (a, b, c, p): positive when p lies on the inner side of a counter-clockwise
// (seen from outside) face a, b, c.
inline Wide Orient(const I3& a, const I3& b, const I3& c, const I3& p) {
  const Wide ax = a[0] - p[0], ay = a[1] - p[1], az = a[2] - p[2];
  const Wide bx = b[0] - p[0], by = b[1] - p[1], bz = b[2] - p[2];
  const Wide cx = c[0] - p[0], cy = c[1] - p[1], cz = c[2] - p[2];
  return ax * (by * cz - bz * cy) + ay * (bz * cx - bx * cz) + az * (bx * cy - by * cx);
}

template <class T>
std::vector<T*> List(T* head) {
  std::vector<T*> out;
  if (head == nullptr) return out;
  T* x = head;
  do {
    out.push_back(x);
    x = x->next;
  } while (x != head);
  return out;
}

// Every face non-degenerate and with every point on its inner side or on it; the faces form a closed
// surface (every directed edge once, its reverse once); Euler's V - E + F = 2; every vertex an input
// point. Together: the surface bounds exactly the convex hull of the points.
inline void ExpectValidHull(const CHConvexHull3D& hull, const std::vector<I3>& points) {
  const auto faces = List(hull.GetFaces());
  const auto vertices = List(hull.GetVertices());
  const auto edges = List(hull.GetEdges());
  ASSERT_FALSE(faces.empty());
  EXPECT_EQ(hull.GetNumFaces(), static_cast<int>(faces.size()));
  EXPECT_EQ(hull.GetNumEdges(), static_cast<int>(edges.size()));
  EXPECT_EQ(hull.GetNumVertices(), static_cast<int>(vertices.size()));
  EXPECT_EQ(static_cast<int>(vertices.size()) - static_cast<int>(edges.size()) + static_cast<int>(faces.size()), 2);
  const std::set<I3> input(points.begin(), points.end());
  for (const tVertexStructure* v : vertices) EXPECT_TRUE(input.count(Coords(v)));
  std::map<std::pair<const void*, const void*>, int> directed;
  for (const tFaceStructure* f : faces) {
    const I3 a = Coords(f->vertex[0]), b = Coords(f->vertex[1]), c = Coords(f->vertex[2]);
    const Wide nx = Wide(b[1] - a[1]) * (c[2] - a[2]) - Wide(b[2] - a[2]) * (c[1] - a[1]);
    const Wide ny = Wide(b[2] - a[2]) * (c[0] - a[0]) - Wide(b[0] - a[0]) * (c[2] - a[2]);
    const Wide nz = Wide(b[0] - a[0]) * (c[1] - a[1]) - Wide(b[1] - a[1]) * (c[0] - a[0]);
    EXPECT_FALSE(nx == 0 && ny == 0 && nz == 0) << "degenerate face";
    for (const I3& p : points) {
      if (Orient(a, b, c, p) < 0) {
        ADD_FAILURE() << "point (" << p[0] << ", " << p[1] << ", " << p[2] << ") outside a face";
        return;
      }
    }
    for (int i = 0; i < 3; ++i) ++directed[{f->vertex[i], f->vertex[(i + 1) % 3]}];
    for (int i = 0; i < 3; ++i) {  // EdgeOrderOnFaces: edge i joins vertex i and i + 1
      const tEdgeStructure* e = f->edge[i];
      const std::set<const void*> ends = {e->endpts[0], e->endpts[1]};
      EXPECT_EQ(ends, (std::set<const void*>{f->vertex[i], f->vertex[(i + 1) % 3]}));
    }
  }
  for (const auto& [edge, count] : directed) {
    EXPECT_EQ(count, 1);
    EXPECT_EQ(directed.count({edge.second, edge.first}), 1u);
  }
  EXPECT_EQ(directed.size(), 2 * edges.size());
}

// The two hulls' lists element by element: vertices, faces (vertex order within each face included)
// and edges, in list order from their heads.
inline void ExpectSameLists(const CHConvexHull3D& a, const CHConvexHull3D& b, const std::string& what) {
  ASSERT_EQ(a.GetNumFaces(), b.GetNumFaces()) << what;
  ASSERT_EQ(a.GetNumEdges(), b.GetNumEdges()) << what;
  ASSERT_EQ(a.GetNumVertices(), b.GetNumVertices()) << what;
  const auto va = List(a.GetVertices()), vb = List(b.GetVertices());
  for (std::size_t i = 0; i < va.size(); ++i) {
    ASSERT_EQ(Coords(va[i]), Coords(vb[i])) << what << " vertex " << i;
    ASSERT_EQ(va[i]->vnum, vb[i]->vnum) << what << " vertex " << i;
  }
  const auto fa = List(a.GetFaces()), fb = List(b.GetFaces());
  for (std::size_t i = 0; i < fa.size(); ++i)
    for (int k = 0; k < 3; ++k) ASSERT_EQ(Coords(fa[i]->vertex[k]), Coords(fb[i]->vertex[k])) << what << " face " << i;
  const auto ea = List(a.GetEdges()), eb = List(b.GetEdges());
  for (std::size_t i = 0; i < ea.size(); ++i)
    for (int k = 0; k < 2; ++k) ASSERT_EQ(Coords(ea[i]->endpts[k]), Coords(eb[i]->endpts[k])) << what << " edge " << i;
}

}  // namespace hulltest
