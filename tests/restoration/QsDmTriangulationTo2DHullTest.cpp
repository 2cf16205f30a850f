#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "qssse/platform/DmTriangulationStatic.h"
#include "qssse/restoration/QsDmTriangulationTo2DHull.h"

namespace {

struct Pt {
  float x, y, z;
  bool operator==(const Pt&) const = default;
};

void PrintTo(const Pt& p, std::ostream* os) { *os << "(" << p.x << ", " << p.y << ", " << p.z << ")"; }

std::vector<Pt> Points(const CSSE3dPolygon& p) {
  std::vector<Pt> out(static_cast<std::size_t>(p.GetNumPoints()));
  for (int i = 0; i < p.GetNumPoints(); ++i) p.GetPoint(i, out[i].x, out[i].y, out[i].z);
  return out;
}

// Vertices only (the hull reads vertices; triangles make the mesh valid).
DmTriangulationStatic Vertices(const std::vector<float>& xyz) {
  return DmTriangulationStatic(xyz, {0, 0, 0});
}

}  // namespace

TEST(QsDmTriangulationTo2DHull, BoxFootprintCarriesTheYRangeInZ) {
  // The box [0, 4] x [1, 3] x [0, 2]. Of the two vertices at each (x, z) the later one (y = 3) is kept,
  // except at the anchor, the first lowest vertex (y = 1).
  std::vector<float> v;
  for (int i = 0; i < 8; ++i)
    v.insert(v.end(), {(i & 1) ? 4.0f : 0.0f, (i & 2) ? 3.0f : 1.0f, (i & 4) ? 2.0f : 0.0f});
  DmTriangulationStatic box(v, {0, 1, 2});
  const QsDmTriangulationTo2DHull hull(box);
  EXPECT_EQ(Points(hull), (std::vector<Pt>{{0, 1, 1}, {4, 3, 1}, {4, 3, 3}, {0, 3, 3}}));
}

TEST(QsDmTriangulationTo2DHull, FivePointHullPutsTheMinimumIntoTheFirstTwo) {
  // A pentagon in x-z, each corner at its own y; an inner vertex is not on the hull.
  DmTriangulationStatic mesh = Vertices({0, 5, 0, 4, -1, 0, 6, 2, 3, 2, 7, 6, -2, 0, 3, 2, 9, 2});
  const QsDmTriangulationTo2DHull hull(mesh);
  EXPECT_EQ(Points(hull), (std::vector<Pt>{{0, 5, -1}, {4, -1, -1}, {6, 2, 9}, {2, 7, 9}, {-2, 0, 9}}));
}

TEST(QsDmTriangulationTo2DHull, FootprintWithoutExtentBecomesTheBoxRectangle) {
  // Every vertex at x 1, z 2: the hull is one position, so the box rectangle (y 0 before the z range).
  DmTriangulationStatic column = Vertices({1, 5, 2, 1, -3, 2, 1, 0, 2});
  EXPECT_EQ(Points(QsDmTriangulationTo2DHull(column)),
            (std::vector<Pt>{{1, 0, -3}, {1, 0, -3}, {1, 0, 5}, {1, 0, 5}}));
  DmTriangulationStatic empty;
  EXPECT_EQ(Points(QsDmTriangulationTo2DHull(empty)), (std::vector<Pt>(4, Pt{0, 0, 0})));
  // A footprint that is a segment is a hull of two points, not the rectangle.
  DmTriangulationStatic wall = Vertices({0, 0, 0, 1, 1, 0, 2, 2, 0});
  EXPECT_EQ(Points(QsDmTriangulationTo2DHull(wall)), (std::vector<Pt>{{0, 0, 0}, {2, 2, 2}}));
}

TEST(QsDmTriangulationTo2DHull, EveryPointKeepsTheXAndYOfAVertexOnRandomMeshes) {
  std::mt19937 rng(42);
  for (int round = 0; round < 20; ++round) {
    std::vector<float> v;
    for (int i = 0; i < 50; ++i) {
      for (int k = 0; k < 3; ++k) v.push_back(static_cast<float>(rng() % 10));
    }
    DmTriangulationStatic mesh = Vertices(v);
    DmBoundingBox3f box;
    mesh.ComputeBoundingBox(box);
    QsDmTriangulationTo2DHull hull(mesh);
    const std::vector<Pt> pts = Points(hull);
    ASSERT_GE(pts.size(), 3u);
    for (std::size_t i = 0; i < pts.size(); ++i) {
      bool found = false;
      for (std::size_t k = 0; k < v.size() && !found; k += 3)
        found = v[k] == pts[i].x && v[k + 1] == pts[i].y;
      EXPECT_TRUE(found) << round << " " << i;
      EXPECT_EQ(pts[i].z, i < pts.size() / 2 ? box.minimum.y : box.maximum.y);
    }
    const QsDmTriangulationTo2DHull copy(hull);
    EXPECT_EQ(Points(copy), pts);
  }
}
