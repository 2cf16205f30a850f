#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

#include "qssse/platform/DmTriangulationStatic.h"
#include "qssse/restoration/HDecideDmTriInDmTri.h"

namespace {

using Decision = CHDecideDmTriInDmTri::Decision;
using V = CbVector3f;

// An axis-aligned box [lo, hi] as 8 shared vertices and 12 triangles.
DmTriangulationStatic BoxMesh(V lo, V hi) {
  std::vector<float> c;
  for (int i = 0; i < 8; ++i)
    c.insert(c.end(), {(i & 1) ? hi.x : lo.x, (i & 2) ? hi.y : lo.y, (i & 4) ? hi.z : lo.z});
  return DmTriangulationStatic(c, {0, 2, 1, 1, 2, 3, 4, 5, 6, 5, 7, 6, 0, 1, 4, 1, 5, 4,
                                   2, 6, 3, 3, 6, 7, 0, 4, 2, 2, 4, 6, 1, 3, 5, 3, 7, 5});
}

// A latitude-longitude sphere: poles and rings of `segments` vertices.
DmTriangulationStatic Sphere(V c, float r, int rings = 8, int segments = 12) {
  std::vector<float> v = {c.x, c.y, c.z + r, c.x, c.y, c.z - r};
  for (int i = 1; i < rings; ++i) {
    const double theta = std::numbers::pi * i / rings;
    for (int j = 0; j < segments; ++j) {
      const double phi = 2 * std::numbers::pi * j / segments;
      v.insert(v.end(), {c.x + static_cast<float>(r * std::sin(theta) * std::cos(phi)),
                         c.y + static_cast<float>(r * std::sin(theta) * std::sin(phi)),
                         c.z + static_cast<float>(r * std::cos(theta))});
    }
  }
  const auto at = [&](int ring, int j) { return 2 + (ring - 1) * segments + (j % segments); };
  std::vector<std::int32_t> t;
  for (int j = 0; j < segments; ++j) {
    t.insert(t.end(), {0, at(1, j), at(1, j + 1)});
    t.insert(t.end(), {1, at(rings - 1, j + 1), at(rings - 1, j)});
    for (int i = 1; i + 1 < rings; ++i) {
      t.insert(t.end(), {at(i, j), at(i + 1, j), at(i + 1, j + 1)});
      t.insert(t.end(), {at(i, j), at(i + 1, j + 1), at(i, j + 1)});
    }
  }
  return DmTriangulationStatic(v, t);
}

DmTriangulationStatic Joined(DmTriangulationStatic a, const DmTriangulationStatic& b) {
  a.Combine(b);
  return a;
}

Decision Decide(const DmTriangulationStatic& restoration, const DmTriangulationStatic& block) {
  return CHDecideDmTriInDmTri(&restoration, &block).GetDecision();
}

const DmTriangulationStatic kBlock = BoxMesh(V(-4, -4, -4), V(4, 4, 4));

}  // namespace

TEST(HDecideDmTriInDmTri, NestedOverlappingAndDisjointBoxes) {
  EXPECT_EQ(Decide(BoxMesh(V(-1, -1, -1), V(1, 2, 3)), kBlock), Decision::Inside);
  EXPECT_EQ(Decide(kBlock, BoxMesh(V(-1, -1, -1), V(1, 2, 3))), Decision::Outside);  // the block inside
  EXPECT_EQ(Decide(BoxMesh(V(5, 5, 5), V(6, 6, 6)), kBlock), Decision::Outside);
  EXPECT_EQ(Decide(BoxMesh(V(3, -1, -1), V(5, 1, 1)), kBlock), Decision::SurfacesMeet);   // poking through
  EXPECT_EQ(Decide(BoxMesh(V(-5, -5, -1), V(5, 5, 1)), kBlock), Decision::SurfacesMeet);  // a slab across
  EXPECT_TRUE(CHDecideDmTriInDmTri(&kBlock, &kBlock).GetDecision() == Decision::SurfacesMeet);
}

TEST(HDecideDmTriInDmTri, TouchingTheBlockIsNotInside) {
  EXPECT_EQ(Decide(BoxMesh(V(-1, -1, -1), V(1, 1, 4)), kBlock),
            Decision::SurfacesMeet);                                                   // flush with the top
  EXPECT_EQ(Decide(BoxMesh(V(4, 4, 4), V(5, 5, 5)), kBlock), Decision::SurfacesMeet);  // a corner outside
  EXPECT_EQ(Decide(BoxMesh(V(-1, -1, -1), V(1, 1, std::nextafter(4.0f, 0.0f))), kBlock), Decision::Inside);
  EXPECT_EQ(Decide(BoxMesh(V(4, -1, -1), V(5, 1, 1)), kBlock),
            Decision::SurfacesMeet);  // face to face outside
  EXPECT_EQ(Decide(BoxMesh(V(std::nextafter(4.0f, 5.0f), -1, -1), V(5, 1, 1)), kBlock), Decision::Outside);
}

TEST(HDecideDmTriInDmTri, NestedOverlappingAndDisjointSpheres) {
  const DmTriangulationStatic ball = Sphere(V(0, 0, 0), 10);
  EXPECT_EQ(Decide(Sphere(V(1, 2, 3), 4), ball), Decision::Inside);
  EXPECT_EQ(Decide(Sphere(V(8, 0, 0), 4), ball), Decision::SurfacesMeet);
  EXPECT_EQ(Decide(Sphere(V(30, 0, 0), 4), ball), Decision::Outside);
  EXPECT_EQ(Decide(ball, Sphere(V(1, 2, 3), 4)), Decision::Outside);
  EXPECT_EQ(Decide(Sphere(V(0, 0, 0), 3), kBlock), Decision::Inside);
  EXPECT_EQ(Decide(kBlock, ball), Decision::Inside);  // corners at distance 6.9, polygon faces beyond 9
  EXPECT_EQ(Decide(BoxMesh(V(-7, -7, -7), V(7, 7, 7)), ball), Decision::SurfacesMeet);
}

TEST(HDecideDmTriInDmTri, RaysThroughTheBlocksVerticesAndEdgesCountOnce) {
  // An octahedron: the ray above its centre passes through the top vertex, rays above the x axis
  // through an edge, rays above the diagonal x = y through the edges' projections of the lower half.
  const DmTriangulationStatic octahedron(
      {4, 0, 0, -4, 0, 0, 0, 4, 0, 0, -4, 0, 0, 0, 4, 0, 0, -4},
      {0, 2, 4, 2, 1, 4, 1, 3, 4, 3, 0, 4, 2, 0, 5, 1, 2, 5, 3, 1, 5, 0, 3, 5});
  const DmTriangulationStatic tetra({0, 0, -1, 1, 0, 0, 0, 1, 0, -1, -1, 0.5f},
                                    {0, 1, 2, 0, 3, 1, 0, 2, 3, 1, 3, 2});
  EXPECT_EQ(Decide(tetra, octahedron), Decision::Inside);
  const DmTriangulationStatic below({0, 0, -5, 1, 0, -5, 0, 1, -5}, {0, 1, 2});  // under the bottom vertex
  EXPECT_EQ(Decide(below, octahedron), Decision::Outside);
  // The same with the restoration's vertices right under the box's shared diagonal edges.
  const DmTriangulationStatic diagonal({-2, 2, -3, 2, -2, -3, 3, -3, 2, -3, 3, 2}, {0, 1, 2, 0, 2, 3});
  EXPECT_EQ(Decide(diagonal, kBlock), Decision::Inside);
  // Fine spheres, many rays through shared edges of the poles' fans.
  EXPECT_EQ(Decide(Sphere(V(0, 0, 1), 5, 48, 96), Sphere(V(0, 0, 0), 8, 64, 128)), Decision::Inside);
  EXPECT_EQ(Decide(Sphere(V(0, 0, 4), 5, 48, 96), Sphere(V(0, 0, 0), 8, 64, 128)), Decision::SurfacesMeet);
}

TEST(HDecideDmTriInDmTri, HollowBlocksAndRestorationsInPieces) {
  // A block with a cavity: two shells, the inner one a hole.
  const DmTriangulationStatic hollow = Joined(kBlock, BoxMesh(V(-2, -2, -2), V(2, 2, 2)));
  EXPECT_EQ(Decide(BoxMesh(V(-1, -1, -1), V(1, 1, 1)), hollow), Decision::Outside);
  EXPECT_EQ(Decide(BoxMesh(V(2.5f, -1, -1), V(3.5f, 1, 1)), hollow), Decision::Inside);
  // Two pieces, one of them outside.
  EXPECT_EQ(Decide(Joined(Sphere(V(0, 0, 0), 1), Sphere(V(9, 0, 0), 1)), kBlock), Decision::Outside);
  EXPECT_EQ(Decide(Joined(Sphere(V(-2, 0, 0), 1), Sphere(V(2, 0, 0), 1)), kBlock), Decision::Inside);
}

TEST(HDecideDmTriInDmTri, OpenOrBrokenMeshesAreReportedNotGuessed) {
  const DmTriangulationStatic patch({0, 0, 0, 1, 0, 0, 0, 1, 0}, {0, 1, 2});
  EXPECT_EQ(Decide(patch, kBlock), Decision::Inside);  // an open restoration is fine
  DmTriangulationStatic open = kBlock;
  std::vector<float> c(open.GetCoordinates(), open.GetCoordinates() + 24);
  std::vector<std::int32_t> t(open.GetIndices(), open.GetIndices() + 33);  // one triangle short
  open.Create(c, t);
  EXPECT_EQ(Decide(patch, open), Decision::BlockNotClosed);
  // Unshared but equal vertices still close the surface: a box of 36 separate corners.
  std::vector<float> loose;
  std::vector<std::int32_t> order;
  for (int i = 0; i < 36; ++i) {
    const V p = kBlock.GetVertex(kBlock.GetIndices()[i]);
    loose.insert(loose.end(), {p.x, p.y, p.z});
    order.push_back(i);
  }
  EXPECT_EQ(Decide(patch, DmTriangulationStatic(loose, order)), Decision::Inside);

  EXPECT_EQ(Decide(DmTriangulationStatic(), kBlock), Decision::EmptyMesh);
  EXPECT_EQ(CHDecideDmTriInDmTri(nullptr, &kBlock).GetDecision(), Decision::EmptyMesh);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(Decide(DmTriangulationStatic({0, 0, 0, 1, 0, 0, 0, nan, 0}, {0, 1, 2}), kBlock),
            Decision::NotFinite);
  EXPECT_FALSE(CHDecideDmTriInDmTri(&patch, &patch).IsRestorationInsideBlock());
}

TEST(HDecideDmTriInDmTri, ReportsTheLowestBlockAndHighestRestorationPoints) {
  const DmTriangulationStatic restoration({0, 0, 1, 2, 0, 3, 0, 2, 3, 1, 1, -1}, {0, 1, 2, 0, 2, 3});
  const CHDecideDmTriInDmTri d(&restoration, &kBlock);
  V high, low;
  ASSERT_TRUE(d.GetHighestRestaurationPoint(high));
  ASSERT_TRUE(d.GetLowestBlockPoint(low));
  EXPECT_EQ(high, V(2, 0, 3));  // the first of the two highest
  EXPECT_EQ(low, V(-4, -4, -4));
  const CHDecideDmTriInDmTri none(nullptr, nullptr);
  V untouched(7, 7, 7);
  EXPECT_FALSE(none.GetLowestBlockPoint(untouched));
  EXPECT_FALSE(none.GetHighestRestaurationPoint(untouched));
  EXPECT_EQ(untouched, V(7, 7, 7));
}

TEST(HDecideDmTriInDmTri, TriangleIntersectionOnHandMadeContacts) {
  const auto meet = [](std::array<V, 3> a, std::array<V, 3> b) {
    return CHDecideDmTriInDmTri::TrianglesIntersect(a.data(), b.data());
  };
  // Triangles with area on the integer grid, touching cases included, are the separating-axis test's
  // below; here a near miss off the grid and the zero-area triangles it does not take.
  const std::array<V, 3> floor = {V(0, 0, 0), V(4, 0, 0), V(0, 4, 0)};
  EXPECT_TRUE(meet(floor, {V(2, 2, 0), V(2, 2, 1), V(3, 3, 1)}));  // a vertex on the hypotenuse
  EXPECT_FALSE(meet(floor, {V(2.01f, 2.01f, 0), V(2, 2, 1), V(3, 3, 1)}));
  // Zero-area triangles: a segment through the face, a point on it, a point beside it.
  EXPECT_TRUE(meet(floor, {V(1, 1, -1), V(1, 1, 1), V(1, 1, 1)}));
  EXPECT_TRUE(meet(floor, {V(1, 1, 0), V(1, 1, 0), V(1, 1, 0)}));
  EXPECT_FALSE(meet(floor, {V(3, 3, 0), V(3, 3, 0), V(3, 3, 0)}));
  EXPECT_TRUE(meet({V(0, 0, 0), V(2, 2, 2), V(1, 1, 1)}, {V(1, 1, 1), V(1, 1, 1), V(1, 1, 1)}));
  EXPECT_FALSE(meet({V(0, 0, 0), V(2, 2, 2), V(1, 1, 1)}, {V(3, 3, 3), V(4, 4, 4), V(3, 3, 3)}));
  EXPECT_TRUE(meet({V(0, 0, 0), V(2, 0, 0), V(0, 0, 0)}, {V(1, -1, 0), V(1, 1, 0), V(1, 1, 0)}));
}

namespace {

// The separating-axis oracle for two triangles with area and integer coordinates: they are disjoint
// exactly when their projections onto one of the candidate axes (face normals, in-plane edge normals,
// edge cross products) are disjoint.
using I3 = std::array<std::int64_t, 3>;

I3 Sub(const I3& a, const I3& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
I3 Cross(const I3& a, const I3& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
std::int64_t Dot(const I3& a, const I3& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

bool SeparatingAxisDisjoint(const std::array<I3, 3>& a, const std::array<I3, 3>& b) {
  std::vector<I3> axes;
  const I3 na = Cross(Sub(a[1], a[0]), Sub(a[2], a[0])), nb = Cross(Sub(b[1], b[0]), Sub(b[2], b[0]));
  axes.push_back(na);
  axes.push_back(nb);
  for (int i = 0; i < 3; ++i) {
    const I3 ea = Sub(a[(i + 1) % 3], a[i]), eb = Sub(b[(i + 1) % 3], b[i]);
    axes.push_back(Cross(na, ea));
    axes.push_back(Cross(nb, eb));
    for (int j = 0; j < 3; ++j) axes.push_back(Cross(ea, Sub(b[(j + 1) % 3], b[j])));
  }
  for (const I3& axis : axes) {
    if (axis == I3{0, 0, 0}) continue;
    std::int64_t loA = Dot(axis, a[0]), hiA = loA, loB = Dot(axis, b[0]), hiB = loB;
    for (int k = 1; k < 3; ++k) {
      loA = std::min(loA, Dot(axis, a[k]));
      hiA = std::max(hiA, Dot(axis, a[k]));
      loB = std::min(loB, Dot(axis, b[k]));
      hiB = std::max(hiB, Dot(axis, b[k]));
    }
    if (hiA < loB || hiB < loA) return true;
  }
  return false;
}

}  // namespace

TEST(HDecideDmTriInDmTri, TriangleIntersectionAgreesWithSeparatingAxesOnRandomGridTriangles) {
  std::mt19937 rng(42);
  int meeting = 0;
  for (int i = 0; i < 20000; ++i) {
    std::array<I3, 3> a, b;
    for (auto* t : {&a, &b}) {
      for (I3& p : *t) {
        for (std::int64_t& v : p) v = static_cast<std::int64_t>(rng() % 4);
      }
    }
    if (Cross(Sub(a[1], a[0]), Sub(a[2], a[0])) == I3{0, 0, 0}) continue;
    if (Cross(Sub(b[1], b[0]), Sub(b[2], b[0])) == I3{0, 0, 0}) continue;
    V fa[3], fb[3];
    for (int k = 0; k < 3; ++k) {
      fa[k] = V(static_cast<float>(a[k][0]), static_cast<float>(a[k][1]), static_cast<float>(a[k][2]));
      fb[k] = V(static_cast<float>(b[k][0]), static_cast<float>(b[k][1]), static_cast<float>(b[k][2]));
    }
    const bool expected = !SeparatingAxisDisjoint(a, b);
    ASSERT_EQ(CHDecideDmTriInDmTri::TrianglesIntersect(fa, fb), expected) << i;
    ASSERT_EQ(CHDecideDmTriInDmTri::TrianglesIntersect(fb, fa), expected) << i;
    meeting += expected;
  }
  EXPECT_GT(meeting, 1000);  // both answers well represented
}
