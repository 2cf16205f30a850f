#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "MeshTestSupport.h"
#include "qssse/polygon/SSE3dPolygon.h"


namespace {

bool SameCorners(const CHTriangulation& a, const CHTriangulation& b) {
  return a.GetNumTriangles() == b.GetNumTriangles() &&
         (a.GetNumTriangles() == 0 ||
          std::memcmp(a.GetEdgeArray(), b.GetEdgeArray(), sizeof(SSEPoint) * 3 * a.GetNumTriangles()) == 0);
}

}  // namespace

TEST(HTriangulationOutline, OutlineClippedBuilderEqualsTheThresholdBuilderOnAMaskedField) {
  // Oracle: the plain sub-sampled builder on a copy of the field whose pixels outside the outline (by the
  // outline's own fill rule) are pushed below the threshold gives the same triangles.
  std::mt19937 rng(42);
  // A dented circle of 48 points: the builder's test visits every fourth one.
  CSSE3dPolygon outline;
  outline.Create(48);
  for (int i = 0; i < 48; ++i) {
    const float a = 0.1308997f * static_cast<float>(i), r = i % 12 < 3 ? 2.5f : 4.2f;
    outline.SetPoint(i, 5.0f + r * std::cos(a), 4.5f + r * std::sin(a), 0.0f);
  }
  for (int step : {1, 2, 3}) {
    CSSEMatrix field;
    meshtest::RandomField(field, 11, 10, rng, 4);
    CSSEMatrix masked(field);
    for (int y = 0; y < 10; ++y) {
      for (int x = 0; x < 11; ++x) {
        if (!outline.PointInLineInnerArea(static_cast<float>(x), static_cast<float>(y), 4))
          masked.SetPoint(x, y, -1.0f);
      }
    }
    CHTriangulation clipped(&field, 0.5f, true, 0.5f, 0.5f, 1.0f, step, step, &outline);
    CHTriangulation plain(&masked, 0.5f, true, 0.5f, 0.5f, 1.0f, step, step);
    if (step == 1) {
      EXPECT_GT(clipped.GetNumTriangles(), 0);
    }
    EXPECT_TRUE(SameCorners(clipped, plain)) << step;
  }
  CSSEMatrix field;
  field.Create(4, 4);
  field.Fill(2.0f);
  CHTriangulation none(&field, 0.5f, true, 1, 1, 1, 1, 1, nullptr);
  EXPECT_EQ(none.GetNumTriangles(), 0);
}

TEST(HTriangulationOutline, BorderLineFollowsTheStretchListWhileItConnects) {
  // Three separate triangles with their first edges end to end; the list holds them in reverse order.
  CHTriangulation t;
  Triangles(t, {{P(2, 0, 1), P(3, 0, 1), P(3, 5, 1)},
                {P(1, 0, 1), P(2, 0, 1), P(2, 5, 1)},
                {P(0, 0, 1), P(1, 0, 1), P(1, 5, 1)}});
  CSSE3dPolygon line;
  t.FindBorderLine(&line);
  ASSERT_EQ(line.GetNumPoints(), 3);
  float x, y, z;
  for (int k = 0; k < 3; ++k) {
    line.GetPoint(k, x, y, z);
    EXPECT_EQ(x, static_cast<float>(k));
    EXPECT_EQ(y, 0.0f);
    EXPECT_EQ(z, 1.0f);
  }

  // A full cell: two stretches that do not connect; the walk stops after the head's two points.
  CHTriangulation cell(2, 1, 1, 1);
  int counter = 0;
  cell.AppendTriangle(3, 3, 0, 1, 0, 1, 5, 6, 7, 8, counter, false, false);
  cell.CalcNeighbours();
  CSSE3dPolygon two;
  cell.FindBorderLine(&two);
  ASSERT_EQ(two.GetNumPoints(), 2);
  two.GetPoint(1, x, y, z);
  EXPECT_EQ(x, 1.0f);
  EXPECT_EQ(y, 0.0f);
  EXPECT_EQ(z, 7.0f);
  cell.FindBorderLine(nullptr);
}

TEST(HTriangulationOutline, FourByFourMatrixActsThroughItsFirstThreeRows) {
  CbMatrix4Rf m = CbMatrix4Rf::Translation(1.0f, -2.0f, 0.5f);
  m(0, 1) = 0.25f;  // a shear
  m(3, 0) = 7.0f;   // the projective row: ignored
  CHTriangulation a(1, 1, 1, 1), b(1, 1, 1, 1);
  SetTriangle(a, 0, P(1, 2, 3), P(4, 0, 1), P(0, 0, 2));
  SetTriangle(b, 0, P(1, 2, 3), P(4, 0, 1), P(0, 0, 2));
  a.TransformVertices(m);
  t_ssematrix3 rows;
  rows.row0 = _mm_setr_ps(1, 0.25f, 0, 1);
  rows.row1 = _mm_setr_ps(0, 1, 0, -2);
  rows.row2 = _mm_setr_ps(0, 0, 1, 0.5f);
  b.TransformVertices(rows);
  EXPECT_POINT(a.GetEdgeArray()[0], 2.5f, 0, 3.5f, 0);
  EXPECT_EQ(std::memcmp(a.GetEdgeArray(), b.GetEdgeArray(), 3 * sizeof(SSEPoint)), 0);
}
