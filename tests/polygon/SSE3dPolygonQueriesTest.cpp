#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "PolygonTestUtil.h"

using polytest::Make;
using polytest::P3;
using polytest::UnitSquare;

namespace {

// The fill rule written out plainly, one edge at a time: the oracle of the SIMD version.
bool OracleInside(const std::vector<P3>& pts, float x, float y, int step) {
  const int n = static_cast<int>(pts.size());
  if (n < 3) return false;
  float minX = 1e6f, minY = 1e6f, maxX = -1e6f, maxY = -1e6f;
  for (const P3& p : pts) {
    maxX = p[0] > maxX ? p[0] : maxX;
    maxY = p[1] > maxY ? p[1] : maxY;
    minX = p[0] < minX ? p[0] : minX;
    minY = p[1] < minY ? p[1] : minY;
  }
  if (x < minX || y < minY || x > maxX || y > maxY) return false;
  auto toggles = [&](const P3& a, const P3& b) {
    if (!((a[0] < x) != (b[0] < x))) return false;
    const P3& l = a[0] < b[0] ? a : b;
    const P3& r = a[0] < b[0] ? b : a;
    return (r[1] - l[1]) * (x - l[0]) > (r[0] - l[0]) * (y - l[1]);
  };
  bool inside = false;
  P3 prev = pts[n - 1];
  for (int i = 0; i <= n - step; i += step) {
    if (toggles(prev, pts[i])) inside = !inside;
    prev = pts[i];
  }
  if (step >= 2 && toggles(prev, pts[n - 1])) inside = !inside;
  return inside;
}

}  // namespace

TEST(PolygonFillRule, UnitSquareBoundaryIsInsideOnRightAndBottomOnly) {
  CSSE3dPolygon sq = UnitSquare();
  EXPECT_TRUE(sq.PointInLineInnerArea(0.5f, 0.5f, 1));
  EXPECT_FALSE(sq.PointInLineInnerArea(1.5f, 0.5f, 1));  // rejected by the box
  EXPECT_TRUE(sq.PointInLineInnerArea(1.0f, 0.5f, 1));   // right edge
  EXPECT_TRUE(sq.PointInLineInnerArea(0.5f, 0.0f, 1));   // bottom edge
  EXPECT_FALSE(sq.PointInLineInnerArea(0.0f, 0.5f, 1));  // left edge
  EXPECT_FALSE(sq.PointInLineInnerArea(0.5f, 1.0f, 1));  // top edge
  EXPECT_TRUE(sq.IsBoundingBoxCalculated());             // the first query computed the box
  EXPECT_FALSE(Make({{0, 0, 0}, {4, 4, 0}}).PointInLineInnerArea(1.0f, 1.0f, 1));
  // The SSEPoint form ignores z but compares w with the box: a non-zero w is outside.
  EXPECT_TRUE(sq.PointInLineInnerArea(qssse::MakeSSEPoint(0.5f, 0.5f, 99.0f), 1));
  EXPECT_FALSE(sq.PointInLineInnerArea(qssse::MakeSSEPoint(0.5f, 0.5f, 0.0f, 1.0f), 1));
}

TEST(PolygonFillRule, StepTestsTheDecimatedRingClosedThroughTheLastPoint) {
  CSSE3dPolygon p =
      Make({{0, 0, 0}, {5, -5, 0}, {10, 0, 0}, {10, 10, 0}, {5, 15, 0}, {0, 10, 0}, {-1, 5, 0}});
  // Step 3 tests the triangle of points 0, 3, 6: (8, 2) is inside the ring, outside the triangle.
  EXPECT_TRUE(p.PointInLineInnerArea(8.0f, 2.0f, 1));
  EXPECT_FALSE(p.PointInLineInnerArea(8.0f, 2.0f, 3));
  EXPECT_TRUE(p.PointInLineInnerArea(8.0f, 2.0f, -4));  // steps below 1 are taken as 1
}

TEST(PolygonFillRule, NormalizedUsesScaledEdgesButThePlainBox) {
  CSSE3dPolygon sq = Make({{0, 0, 0}, {4, 0, 0}, {4, 4, 0}, {0, 4, 0}});
  sq.NormalizeXYZ(t_resolutiondata{0.5f, 0.5f, 2.0f});  // normalized ring 0..2
  EXPECT_TRUE(sq.PointInLineInnerAreaNormalized(1.0f, 1.0f, 1));
  EXPECT_FALSE(sq.PointInLineInnerAreaNormalized(3.0f, 1.0f, 1));
  sq.NormalizeXYZ(t_resolutiondata{2.0f, 2.0f, 1.0f});  // normalized ring 0..8, plain box 0..4
  EXPECT_FALSE(sq.PointInLineInnerAreaNormalized(qssse::MakeSSEPoint(6.0f, 6.0f, 0.0f), 1));
}

TEST(PolygonFillRule, BoxedTestsTheSubRingInsideTheRectangle) {
  // A square with a spike to the right: without the spike's vertex, (5, 2) is outside.
  CSSE3dPolygon p = Make({{0, 0, 0}, {4, 0, 0}, {4, 1, 0}, {9, 2, 0}, {4, 3, 0}, {4, 4, 0}, {0, 4, 0}});
  EXPECT_TRUE(p.PointInLineInnerArea(5.0f, 2.0f, 1));
  EXPECT_FALSE(p.PointInLineInnerAreaBoxed(5.0f, 2.0f, 0.0f, 0.0f, 4.0f, 4.0f, 1));
  EXPECT_TRUE(p.PointInLineInnerAreaBoxed(qssse::MakeSSEPoint(2.0f, 2.0f, 0.0f), 0.0f, 0.0f, 4.0f, 4.0f, 1));
  // The last point lies outside the rectangle: the ring closes from the last point inside.
  CSSE3dPolygon q = Make({{0, 0, 0}, {4, 0, 0}, {4, 4, 0}, {0, 4, 0}, {-5, 2, 0}});
  EXPECT_TRUE(q.PointInLineInnerAreaBoxed(1.0f, 2.0f, 0.0f, 0.0f, 4.0f, 4.0f, 1));
  EXPECT_FALSE(q.PointInLineInnerAreaBoxed(1.0f, 2.0f, 10.0f, 10.0f, 20.0f, 20.0f, 1));
}

// Coarse integer grids put queries on vertices, on horizontal and vertical edges and on duplicate
// points; ring sizes 3..40 cover every tail length of both SIMD loops. A rectangle holding every
// vertex must give the same answers through the boxed form.
TEST(PolygonFillRule, SimdAndBoxedMatchTheOracleOnAdversarialRings) {
  std::mt19937 rng(42);
  int insideCount = 0;
  for (int trial = 0; trial < 3000; ++trial) {
    const int n = 3 + trial % 38, grid = trial % 2 ? 5 : 12;
    std::vector<P3> pts(static_cast<std::size_t>(n));
    for (P3& p : pts) p = {static_cast<float>(rng() % grid), static_cast<float>(rng() % grid), 0.0f};
    if (trial % 50 == 0) pts[trial % n][0] = std::nanf("");
    CSSE3dPolygon poly = Make(pts);
    for (int q = 0; q < 12; ++q) {
      const float x = static_cast<float>(rng() % (2 * grid + 2)) * 0.5f - 0.5f;
      const float y = static_cast<float>(rng() % (2 * grid + 2)) * 0.5f - 0.5f;
      const int step = 1 + q % 4;
      const bool expected = OracleInside(pts, x, y, step);
      ASSERT_EQ(poly.PointInLineInnerArea(x, y, step), expected) << "n=" << n << " (" << x << "," << y << ")";
      if (trial % 50 != 0) {
        ASSERT_EQ(poly.PointInLineInnerAreaBoxed(x, y, -1, -1, 20, 20, step), expected);
      }
      insideCount += expected;
    }
  }
  EXPECT_GT(insideCount, 3000);  // the sample is not trivially all-outside
}

TEST(PolygonArea, ShoelaceIsTwiceTheSignedAreaInEachPlane) {
  EXPECT_EQ(UnitSquare().CalcXYArea(), 2.0f);
  EXPECT_EQ(Make({{0, 1, 0}, {1, 1, 0}, {1, 0, 0}, {0, 0, 0}}).CalcXYArea(), -2.0f);
  EXPECT_EQ(Make({{3, 4, 5}}).CalcXYArea(), 0.0f);
  CSSE3dPolygon xz = Make({{0, 7, 0}, {2, 7, 0}, {2, 7, 3}, {0, 7, 3}});  // 2 x 3 in x-z
  EXPECT_EQ(xz.CalcXZArea(), 12.0f);
  EXPECT_EQ(xz.CalcYZArea(), 0.0f);
  xz.SwapXandZCoord();
  EXPECT_EQ(xz.CalcXZArea(), -12.0f);
  xz.SwapYandZCoord();  // (0,0,7), (0,2,7), (3,2,7), (3,0,7): clockwise in x-y
  EXPECT_EQ(xz.CalcXYArea(), -12.0f);
}

TEST(PolygonClosestPoint, LastVertexIsSkippedUnlessAsked) {
  CSSE3dPolygon sq = UnitSquare();
  EXPECT_EQ(sq.ClosestPointXY(0.1f, 0.9f, 1), 0);  // vertex 2 ties with vertex 0; the first wins
  EXPECT_EQ(sq.ClosestPointXYWithLast(0.1f, 0.9f, 1), 3);
  EXPECT_EQ(sq.ClosestPointXY(5000.0f, 0.0f, 1), -1);  // beyond the 1e7 squared start value
  EXPECT_EQ(sq.ClosestPointXYWithLast(5000.0f, 0.0f, 1), -1);
  EXPECT_EQ(Make({{1, 1, 0}}).ClosestPointXY(1.0f, 1.0f, 1), -1);
  EXPECT_EQ(Make({{1, 1, 0}}).ClosestPointXYWithLast(1.0f, 1.0f, 1), 0);
}
