#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "PolygonTestUtil.h"

using polytest::Make;
using polytest::P3;
using polytest::UnitSquare;

namespace {

// The fill rule written out plainly, one edge at a time, as the oracle of the SIMD version.
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
  int i = 0;
  for (; i <= n - step; i += step) {
    if (toggles(prev, pts[i])) inside = !inside;
    prev = pts[i];
  }
  if (step >= 2 && toggles(prev, pts[n - 1])) inside = !inside;
  return inside;
}

std::vector<P3> RandomRing(std::mt19937& rng, int n, int grid) {
  std::vector<P3> pts(static_cast<std::size_t>(n));
  for (P3& p : pts) p = {static_cast<float>(rng() % grid), static_cast<float>(rng() % grid), 0.0f};
  return pts;
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
  EXPECT_TRUE(sq.PointInLineInnerArea(1.0f, 0.0f, 1));   // bottom-right corner
  EXPECT_FALSE(sq.PointInLineInnerArea(0.0f, 0.0f, 1));
  EXPECT_TRUE(sq.IsBoundingBoxCalculated());  // the first query computed the box
}

TEST(PolygonFillRule, DegenerateAndStaleBoxCases) {
  CSSE3dPolygon two = Make({{0, 0, 0}, {4, 4, 0}});
  EXPECT_FALSE(two.PointInLineInnerArea(1.0f, 1.0f, 1));
  CSSE3dPolygon empty;
  EXPECT_FALSE(empty.PointInLineInnerArea(0.0f, 0.0f, 1));

  // A computed box is trusted after the points move: the moved square still rejects by the old box.
  CSSE3dPolygon sq = UnitSquare();
  sq.CalcBoundingBox();
  for (int i = 0; i < 4; ++i) {
    float x = 0, y = 0, z = 0;
    sq.GetPoint(i, x, y, z);
    sq.SetPoint(i, x + 10, y, z);
  }
  sq.CalcBoundingBox();
  sq.SetPointZ(0, 0.0f);  // clears the flag, so the next query recomputes
  EXPECT_TRUE(sq.PointInLineInnerArea(10.5f, 0.5f, 1));
}

TEST(PolygonFillRule, SSEPointOverloadIgnoresZButNotW) {
  CSSE3dPolygon sq = UnitSquare();
  EXPECT_TRUE(sq.PointInLineInnerArea(qssse::MakeSSEPoint(0.5f, 0.5f, 99.0f), 1));
  EXPECT_FALSE(sq.PointInLineInnerArea(qssse::MakeSSEPoint(0.5f, 0.5f, 0.0f, 1.0f), 1));
  EXPECT_FALSE(sq.PointInLineInnerArea(qssse::MakeSSEPoint(0.5f, 0.5f, 0.0f, -1.0f), 1));
}

TEST(PolygonFillRule, NormalizedUsesScaledEdgesButPlainBox) {
  // Plain square 0..4; normalized by 0.5 it is 0..2. (3, 1) lies in the plain box but outside the
  // normalized ring; (1, 1) is inside both.
  CSSE3dPolygon sq = Make({{0, 0, 0}, {4, 0, 0}, {4, 4, 0}, {0, 4, 0}});
  sq.NormalizeXYZ(t_resolutiondata{0.5f, 0.5f, 2.0f});
  float nx = 0, ny = 0, nz = 0;
  sq.GetPointNormalized(2, nx, ny, nz);
  EXPECT_EQ(nx, 2.0f);
  EXPECT_EQ(nz, 0.0f);
  EXPECT_TRUE(sq.PointInLineInnerAreaNormalized(1.0f, 1.0f, 1));
  EXPECT_FALSE(sq.PointInLineInnerAreaNormalized(3.0f, 1.0f, 1));
  EXPECT_TRUE(sq.PointInLineInnerAreaNormalized(qssse::MakeSSEPoint(1.0f, 1.0f, 0.0f), 1));
  // Scaled up, (6, 6) is inside the normalized ring but rejected by the plain box.
  sq.NormalizeXYZ(t_resolutiondata{2.0f, 2.0f, 1.0f});
  EXPECT_FALSE(sq.PointInLineInnerAreaNormalized(6.0f, 6.0f, 1));
}

TEST(PolygonFillRule, BoxedTestsOnlyTheVerticesInTheRectangle) {
  // A square with a spike to the right; dropping the spike by the rectangle leaves the plain square.
  CSSE3dPolygon p = Make({{0, 0, 0}, {4, 0, 0}, {4, 1, 0}, {9, 2, 0}, {4, 3, 0}, {4, 4, 0}, {0, 4, 0}});
  EXPECT_TRUE(p.PointInLineInnerArea(5.0f, 2.0f, 1));
  EXPECT_FALSE(p.PointInLineInnerAreaBoxed(5.0f, 2.0f, 0.0f, 0.0f, 4.0f, 4.0f, 1));
  EXPECT_TRUE(p.PointInLineInnerAreaBoxed(2.0f, 2.0f, 0.0f, 0.0f, 4.0f, 4.0f, 1));
  EXPECT_TRUE(p.PointInLineInnerAreaBoxed(qssse::MakeSSEPoint(2.0f, 2.0f, 0.0f), 0.0f, 0.0f, 4.0f, 4.0f, 1));
  // The last point outside the rectangle: the ring closes from the last inside point.
  CSSE3dPolygon q = Make({{0, 0, 0}, {4, 0, 0}, {4, 4, 0}, {0, 4, 0}, {-5, 2, 0}});
  EXPECT_TRUE(q.PointInLineInnerAreaBoxed(1.0f, 2.0f, 0.0f, 0.0f, 4.0f, 4.0f, 1));
  EXPECT_FALSE(q.PointInLineInnerAreaBoxed(1.0f, 2.0f, 10.0f, 10.0f, 20.0f, 20.0f, 1));
  // An all-inside rectangle gives the unboxed answer, for every step.
  std::mt19937 rng(42);
  for (int trial = 0; trial < 300; ++trial) {
    const std::vector<P3> pts = RandomRing(rng, 3 + trial % 9, 10);
    CSSE3dPolygon r = Make(pts);
    const float x = static_cast<float>(rng() % 10), y = static_cast<float>(rng() % 10) + 0.5f;
    const int step = 1 + trial % 3;
    EXPECT_EQ(r.PointInLineInnerAreaBoxed(x, y, -1.0f, -1.0f, 10.0f, 10.0f, step),
              OracleInside(pts, x, y, step));
  }
}

TEST(PolygonFillRule, StepTestsTheDecimatedRingClosedThroughTheLastPoint) {
  // Octagon-like ring of 7 points; with step 3 the ring is points 0, 3, 6 (and 6 closes to 0).
  const std::vector<P3> pts = {{0, 0, 0},  {5, -5, 0}, {10, 0, 0}, {10, 10, 0},
                               {5, 15, 0}, {0, 10, 0}, {-1, 5, 0}};
  CSSE3dPolygon p = Make(pts);
  // (8, 2) is inside the full ring but outside triangle (0,0), (10,10), (-1,5).
  EXPECT_TRUE(p.PointInLineInnerArea(8.0f, 2.0f, 1));
  EXPECT_FALSE(p.PointInLineInnerArea(8.0f, 2.0f, 3));
  EXPECT_TRUE(p.PointInLineInnerArea(3.0f, 5.0f, 3));
  // Step 0 and negative steps are taken as 1.
  EXPECT_TRUE(p.PointInLineInnerArea(8.0f, 2.0f, 0));
  EXPECT_TRUE(p.PointInLineInnerArea(8.0f, 2.0f, -4));
}

// The SIMD edge loop against the plain oracle: coarse integer grids force queries on vertices, on
// horizontal and vertical edges and on duplicates; every ring size 3..40 covers all tail lengths.
TEST(PolygonFillRule, SimdMatchesOracleOnAdversarialRings) {
  std::mt19937 rng(42);
  int insideCount = 0;
  for (int trial = 0; trial < 3000; ++trial) {
    const int n = 3 + trial % 38;
    const int grid = trial % 2 ? 5 : 12;
    const std::vector<P3> pts = RandomRing(rng, n, grid);
    CSSE3dPolygon poly = Make(pts);
    for (int q = 0; q < 12; ++q) {
      // integer coordinates hit vertices and axis-parallel edges; halves hit edge midpoints
      const float x = static_cast<float>(rng() % (2 * grid + 2)) * 0.5f - 0.5f;
      const float y = static_cast<float>(rng() % (2 * grid + 2)) * 0.5f - 0.5f;
      const int step = 1 + q % 4;
      const bool fast = poly.PointInLineInnerArea(x, y, step);
      ASSERT_EQ(fast, OracleInside(pts, x, y, step))
          << "n=" << n << " q=(" << x << "," << y << ") step=" << step;
      insideCount += fast;
    }
  }
  EXPECT_GT(insideCount, 3000);  // the sample is not trivially all-outside
}

TEST(PolygonFillRule, SimdMatchesOracleOnRandomFloatRingsAndNaN) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<float> u(-100.0f, 100.0f);
  for (int trial = 0; trial < 500; ++trial) {
    std::vector<P3> pts(static_cast<std::size_t>(3 + trial % 61));
    for (P3& p : pts) p = {u(rng), u(rng), 0.0f};
    if (trial % 10 == 0) pts[trial % pts.size()][0] = std::nanf("");
    CSSE3dPolygon poly = Make(pts);
    for (int q = 0; q < 20; ++q) {
      const float x = u(rng), y = u(rng);
      ASSERT_EQ(poly.PointInLineInnerArea(x, y, 1), OracleInside(pts, x, y, 1));
    }
  }
}

TEST(PolygonArea, ShoelaceIsTwiceTheSignedArea) {
  CSSE3dPolygon sq = UnitSquare();
  EXPECT_EQ(sq.CalcXYArea(), 2.0f);
  CSSE3dPolygon cw = Make({{0, 1, 0}, {1, 1, 0}, {1, 0, 0}, {0, 0, 0}});
  EXPECT_EQ(cw.CalcXYArea(), -2.0f);
  EXPECT_EQ(Make({{3, 4, 5}}).CalcXYArea(), 0.0f);
  // A square standing in x-z (x from 0 to 2, z from 0 to 3) and in y-z.
  CSSE3dPolygon xz = Make({{0, 7, 0}, {2, 7, 0}, {2, 7, 3}, {0, 7, 3}});
  EXPECT_EQ(xz.CalcXZArea(), 12.0f);
  EXPECT_EQ(xz.CalcYZArea(), 0.0f);
  xz.SwapXandZCoord();
  EXPECT_EQ(xz.CalcXZArea(), -12.0f);
  xz.SwapYandZCoord();  // (0,0,7), (0,2,7), (3,2,7), (3,0,7): clockwise in x-y, flat in y-z
  EXPECT_EQ(xz.CalcXYArea(), -12.0f);
  EXPECT_EQ(xz.CalcYZArea(), 0.0f);
}

TEST(PolygonClosestPoint, LastVertexIsSkippedUnlessAsked) {
  CSSE3dPolygon sq = UnitSquare();
  EXPECT_EQ(sq.ClosestPointXY(0.1f, 0.9f, 1), 0);  // vertex 2 ties with vertex 0; the first wins
  EXPECT_EQ(sq.ClosestPointXYWithLast(0.1f, 0.9f, 1), 3);
  EXPECT_EQ(sq.ClosestPointXY(0.9f, 0.9f, 2), 2);
  EXPECT_EQ(sq.ClosestPointXY(5000.0f, 0.0f, 1), -1);  // beyond the 1e7 squared start value
  EXPECT_EQ(sq.ClosestPointXYWithLast(5000.0f, 0.0f, 1), -1);
  CSSE3dPolygon one = Make({{1, 1, 0}});
  EXPECT_EQ(one.ClosestPointXY(1.0f, 1.0f, 1), -1);
  EXPECT_EQ(one.ClosestPointXYWithLast(1.0f, 1.0f, 1), 0);
  EXPECT_EQ(CSSE3dPolygon().ClosestPointXYWithLast(0.0f, 0.0f, 1), -1);
}
