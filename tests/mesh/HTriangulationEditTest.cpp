#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <numbers>
#include <vector>

#include "MeshTestSupport.h"

using meshtest::Pos;

namespace {

// Triangles i = 0.. with the given corner heights at distinct x positions (so that none are neighbours).
void HeightTriangles(CHTriangulation& t, std::initializer_list<std::array<float, 3>> heights) {
  t.CreateTriangulation(static_cast<int>(heights.size()));
  int i = 0;
  for (const auto& h : heights) {
    const float x = 10.0f * static_cast<float>(i);
    SetTriangle(t, i, P(x, 0, h[0]), P(x + 1, 0, h[1]), P(x, 1, h[2]));
    t.GetTriangle(i)->mark = 100 + i;
    ++i;
  }
  t.CalcSTV();
  t.CalcBoundingBox();
}

std::vector<float> FirstXs(const CHTriangulation& t) {
  std::vector<float> xs;
  for (int i = 0; i < t.GetNumTriangles(); ++i) xs.push_back(t.GetEdgeArray()[3 * i].x);
  return xs;
}

}  // namespace

TEST(HTriangulationEdit, ShiftMovesCornersAndBoxesButNotTheCentreAndBlowAndReScaleMultiplyCorners) {
  CHTriangulation t;
  Triangles(t, {{P(0, 0, 0), P(2, 0, 0), P(0, 4, 2)}});
  t.CalcSTV();
  t.CalcBoundingBox();
  t.CalcCenterPoint();
  t.ShiftTriangulation(1, 2, 3);
  EXPECT_POINT(t.GetEdgeArray()[2], 1, 6, 5, 0);
  EXPECT_POINT(t.GetMinPointArray()[0], 1, 2, 3, 0);
  EXPECT_POINT(*t.GetTriangle(0)->maxPoint, 3, 6, 5, 0);
  SSEPoint lo, hi, c;
  t.GetMinPoint(lo);
  t.GetMaxPoint(hi);
  t.GetCenterPoint(c);
  EXPECT_POINT(lo, 1, 2, 3, 0);
  EXPECT_POINT(hi, 3, 6, 5, 0);
  EXPECT_POINT(c, 2.0f / 3, 4.0f / 3, 2.0f / 3, 0);
  EXPECT_POINT(t.GetSArray()[0], 2, 0, 0, 0);  // translation-invariant, untouched

  CHTriangulation empty(0, 1, 1, 1);
  empty.CalcBoundingBox();
  empty.ShiftTriangulation(1, 1, 1);
  empty.GetMinPoint(lo);
  EXPECT_FLOAT_EQ(lo.x, 1000000);  // an empty mesh is not touched at all

  // Blow and ReScale multiply the corners (and the derived data), not the normals.
  CHTriangulation b;
  Triangles(b, {{P(1, 1, 1, 1), P(2, 1, 1), P(1, 3, 1)}});
  b.GetNormalArray()[0] = P(0, 0, 1);
  b.BlowTriangulation(2, 2, 2);
  EXPECT_POINT(b.GetEdgeArray()[0], 2, 2, 2, 0);
  EXPECT_POINT(b.GetNormalArray()[0], 0, 0, 1, 0);
  EXPECT_POINT(b.GetSArray()[0], 2, 0, 0, 0);
  b.GetMaxPoint(hi);
  EXPECT_POINT(hi, 4, 6, 2, 0);
  b.ReScaleTriangulation(0.5f, 1, 3);
  EXPECT_FLOAT_EQ(b.GetScaleZ(), 3);
  EXPECT_POINT(b.GetEdgeArray()[2], 1, 6, 6, 0);
  b.GetMaxPoint(hi);
  EXPECT_POINT(hi, 2, 6, 6, 0);
}

TEST(HTriangulationEdit, RemovalKeepTestsAreStrictAndPerCorner) {
  CHTriangulation below(0, 1, 1, 1);
  HeightTriangles(below, {{-1, -1, 0.5f}, {0, 0, 0}, {0, 0, 1e-7f}});
  below.RemoveTrianglesBelowZ(0);
  EXPECT_EQ(FirstXs(below), (std::vector<float>{0, 20}));

  CHTriangulation above(0, 1, 1, 1);
  HeightTriangles(above, {{1, 1, -0.5f}, {0, 0, 0}});
  above.RemoveTrianglesAboveZ(0);
  EXPECT_EQ(FirstXs(above), (std::vector<float>{0}));

  CHTriangulation between(0, 1, 1, 1);
  HeightTriangles(between, {{-5, 5, 1}, {-5, 5, 2}, {0, 0, 0}, {-1, 2, 3}});
  between.RemoveTrianglesBetweenZ(0, 1);
  EXPECT_EQ(FirstXs(between), (std::vector<float>{10, 30}));
}

TEST(HTriangulationEdit, RemovalCompactsWithItsDeliberateQuirks) {
  CHTriangulation t(0, 1, 1, 1);
  HeightTriangles(t, {{0, 0, 0}, {1, 2, 3}, {0, 0, 0}, {4, 5, 6}});
  t.GetMainNormalArray()[3] = P(0, 0, 1);
  t.RemoveTrianglesBelowZ(0.5f);
  ASSERT_EQ(t.GetNumTriangles(), 2);
  for (int j = 0; j < 2; ++j) {
    EXPECT_TRUE(meshtest::SamePoint(*t.GetTriangle(j)->maxPoint, t.GetMinPointArray()[j]));
  }
  EXPECT_POINT(t.GetMinPointArray()[1], 30, 0, 4, 0);
  EXPECT_POINT(t.GetMainNormalArray()[1], 0, 0, 1, 0);
  EXPECT_EQ(t.GetTriangle(1)->index, 3);  // the old position travels with the triangle
  EXPECT_EQ(t.GetTriangle(1)->mark, 13);  // 103, then CalcNeighbours marks the lone triangle
  EXPECT_EQ(t.GetListHead(), t.GetTriangle(0));

  t.RemoveTrianglesAboveZ(-100);
  EXPECT_EQ(t.GetNumTriangles(), 0);
  t.RemoveTrianglesBetweenZ(0, 1);
  EXPECT_EQ(t.GetNumTriangles(), 0);
}

TEST(HTriangulationEdit, CombineAppendsCopiesAndReaimsOwnNeighbours) {
  CHTriangulation a(2, 1, 1, 1), b(1, 1, 1, 1);
  SetTriangle(a, 0, P(0, 0, 9), P(1, 0, 0), P(0, 1, 0));
  SetTriangle(a, 1, P(1, 0, 0), P(0, 1, 0), P(2, 1, 3));
  a.CalcSTV();
  a.CalcNeighbours();
  SetTriangle(b, 0, P(5, 5, 5), P(6, 5, 5), P(5, 6, 5));
  b.CalcSTV();
  b.GetTriangle(0)->mark = 14;
  SSEPoint* oldCorners = a.GetEdgeArray();
  a.AppendTriangulation(&b);
  ASSERT_EQ(a.GetNumTriangles(), 3);
  EXPECT_NE(a.GetEdgeArray(), oldCorners);  // a new allocation
  EXPECT_POINT(a.GetEdgeArray()[7], 6, 5, 5, 0);
  EXPECT_POINT(*a.GetTriangle(2)->maxPoint, 6, 6, 5, 0);
  EXPECT_EQ(a.GetTriangle(2)->mark, 14);
  EXPECT_EQ(a.GetTriangle(2)->index, 2);
  EXPECT_EQ(Pos(a, a.GetTriangle(0)->neighbour[1]), 1);
  EXPECT_EQ(Pos(a, a.GetTriangle(1)->neighbour[0]), 0);
  SSEPoint hi;
  a.GetMaxPoint(hi);
  EXPECT_POINT(hi, 6, 6, 9, 0);

  CHTriangulation c(0, 1, 1, 1);
  c.Combine(&b, &b);
  EXPECT_EQ(c.GetNumTriangles(), 2);
  c.Combine(nullptr, nullptr);
  EXPECT_EQ(c.GetNumTriangles(), 0);
}

TEST(HTriangulationEdit, RotationsAndMatricesTurnCornersAndNormals) {
  CHTriangulation t;
  Triangles(t, {{P(1, 0, 0), P(0, 1, 0), P(0, 0, 1)}});
  t.GetNormalArray()[0] = P(1, 0, 0);
  const float half = std::numbers::pi_v<float> / 2;
  t.TransformVertices(0, 0, half);  // about z: x -> y
  EXPECT_NEAR(t.GetEdgeArray()[0].x, 0, 1e-6f);
  EXPECT_NEAR(t.GetEdgeArray()[0].y, 1, 1e-6f);
  EXPECT_NEAR(t.GetEdgeArray()[1].x, -1, 1e-6f);
  EXPECT_NEAR(t.GetNormalArray()[0].y, 1, 1e-6f);
  EXPECT_NEAR(t.GetMinPointArray()[0].x, -1, 1e-6f);  // S/T/V and boxes follow
  t.TransformVertices(half, 0, 0);                    // about x: y -> z
  EXPECT_NEAR(t.GetEdgeArray()[0].z, 1, 1e-6f);
  t.TransformVerticesAboutPoint(P(0, 0, 1), 0, half, 0);  // about y through (0, 0, 1): the corner stays
  EXPECT_NEAR(t.GetEdgeArray()[0].x, 0, 1e-6f);
  EXPECT_NEAR(t.GetEdgeArray()[0].z, 1, 1e-6f);
  EXPECT_EQ(t.GetEdgeArray()[0].w, 0);

  // A matrix translates with its fourth column; an unset normal stays unset.
  SetTriangle(t, 0, P(1, 2, 3), P(0, 0, 0), P(1, 0, 0));
  t.GetNormalArray()[0] = P(0, 0, 0);
  t_ssematrix3 m;
  m.row0 = _mm_setr_ps(2, 0, 0, 10);
  m.row1 = _mm_setr_ps(0, 1, 0, 20);
  m.row2 = _mm_setr_ps(0, 0, 1, 30);
  t.TransformVertices(m);
  EXPECT_POINT(t.GetEdgeArray()[0], 12, 22, 33, 0);
  EXPECT_POINT(t.GetNormalArray()[0], 0, 0, 0, 0);  // an unset normal stays unset
  t.TransformVerticesAboutPoint(P(12, 22, 33), m);
  EXPECT_POINT(t.GetEdgeArray()[0], 22, 42, 63, 0);
}
