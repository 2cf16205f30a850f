#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "HullTestSupport.h"
#include "polygon/PolygonTestUtil.h"
#include "qssse/geometry/HConvexHull2D.h"
#include "qssse/polygon/SSE2dPolygon.h"
#include "qssse/polygon/SSE3dPolygon.h"

namespace {

using polytest::Make;
using polytest::P3;

std::vector<P3> Hull(const std::vector<P3>& pts) {
  CSSE3dPolygon in = Make(pts);
  CHConvexHull2D hull(&in);
  CSSE3dPolygon out;
  hull.ObtainConvexHull3D(&out);
  return polytest::Points(out);
}

using hulltest::I2;
using hulltest::MonotoneChain;

}  // namespace

TEST(ConvexHull2D, SquareInAnyOrderGivesItsCornersCounterClockwiseFromLowerLeft) {
  const std::vector<P3> expected = {{0, 0, 1}, {4, 0, 2}, {4, 4, 3}, {0, 4, 4}};
  std::vector<P3> pts = {{4, 4, 3}, {2, 2, 9}, {0, 4, 4}, {4, 0, 2}, {1, 3, 9}, {0, 0, 1}};
  std::mt19937 rng(42);
  for (int round = 0; round < 10; ++round) {
    std::shuffle(pts.begin(), pts.end(), rng);
    EXPECT_EQ(Hull(pts), expected);  // z travels with its point
  }
}

TEST(ConvexHull2D, PointsOnEdgesAndWithinTheToleranceAreDropped) {
  // (2, 0) lies on the bottom edge, (4, 2.00005) bulges out by a doubled area of 0.0002 < 0.0005.
  EXPECT_EQ(Hull({{0, 0, 0}, {2, 0, 0}, {4, 0, 0}, {4, 2.00005f, 0}, {4, 4, 0}, {0, 4, 0}}),
            (std::vector<P3>{{0, 0, 0}, {4, 0, 0}, {4, 4, 0}, {0, 4, 0}}));
}

TEST(ConvexHull2D, OfEqualPointsTheHigherIndexSurvives) {
  CSSE3dPolygon in = Make({{0, 0, 0}, {3, 3, 7}, {6, 0, 0}, {3, 3, 8}});
  CHConvexHull2D hull(&in);
  EXPECT_EQ(hull.GetNumPoints(), 3);
  ASSERT_NE(hull.GetStackTop(), nullptr);
  EXPECT_EQ(hull.GetStackTop()->p->vnum, 3);  // the top is the last hull point, (3, 3)
  EXPECT_EQ(hull.GetStackTop()->p->z, 8.0f);
}

TEST(ConvexHull2D, CollinearAndTinyInputsKeepTheAnchorAndTheFarthestPoint) {
  CSSE3dPolygon line = Make({{1, 1, 0}, {0, 0, 0}, {2, 2, 0}});
  CHConvexHull2D hull(&line);
  EXPECT_EQ(hull.GetNumDeleted(), 1);  // the one comparison of (1, 1) with (2, 2)
  EXPECT_EQ(hull.GetNumPoints(), 2);
  CSSE2dPolygon flat;
  hull.ObtainConvexHull2D(&flat);
  ASSERT_EQ(flat.GetNumPoints(), 2);
  float x = -1, y = -1;
  flat.GetPoint(1, x, y);
  EXPECT_EQ(x, 2.0f);
  EXPECT_EQ(y, 2.0f);

  EXPECT_EQ(Hull({{5, 6, 7}}), (std::vector<P3>{{5, 6, 7}}));
  EXPECT_EQ(Hull({{5, 6, 7}, {1, 9, 2}}), (std::vector<P3>{{5, 6, 7}, {1, 9, 2}}));
  EXPECT_TRUE(Hull({}).empty());
  CHConvexHull2D none(nullptr);
  CSSE3dPolygon out = Make({{1, 1, 1}});
  none.ObtainConvexHull3D(&out);
  EXPECT_EQ(out.GetNumPoints(), 0);
}

TEST(ConvexHull2D, AnOutlineDoubledBackOnOneLineSortsInNLogNComparisons) {
  // A ring resampled up and down one vertical line (organ-pipe order of distances from the anchor), which
  // makes every partition about the middle record peel off a few records.
  std::vector<P3> ring;
  for (int k = 0; k <= 9333; ++k) ring.push_back({-300.0f, -2900.0f + 0.6f * static_cast<float>(k), 0});
  for (int k = 1; k <= 9332; ++k) ring.push_back({-300.0f, 2700.0f - 0.6f * static_cast<float>(k), 0});
  CSSE3dPolygon in = Make(ring);
  CHConvexHull2D hull(&in);
  // Every comparison here is of two points on one ray, so the deletion count is the comparison count:
  // 8.7e7 for the plain quicksort, within 16 n log2 n (4.2e6) and the heap sort after it.
  EXPECT_LT(hull.GetNumDeleted(), 32 * 18666 * 15);  // some slack for the heap sort
  EXPECT_EQ(hull.GetNumPoints(), 2);
}

// The monotone chain starts at the lowest, then leftmost, point: so must the hull.
TEST(ConvexHull2D, MatchesMonotoneChainOnRandomCoarseGrids) {
  std::mt19937 rng(42);
  for (int round = 0; round < 400; ++round) {
    const int count = 3 + static_cast<int>(rng() % 40);
    std::vector<P3> pts;
    std::vector<I2> ints;
    for (int i = 0; i < count; ++i) {
      const int x = static_cast<int>(rng() % 10), y = static_cast<int>(rng() % 10);
      pts.push_back({static_cast<float>(x), static_cast<float>(y), static_cast<float>(i)});
      ints.push_back({x, y});
    }
    const std::vector<I2> expected = MonotoneChain(ints);
    if (expected.size() < 3) continue;  // collinear sets are covered above
    const std::vector<P3> got = Hull(pts);
    ASSERT_EQ(got.size(), expected.size()) << "round " << round;
    for (std::size_t k = 0; k < got.size(); ++k) {
      EXPECT_EQ(got[k][0], static_cast<float>(expected[k][0])) << "round " << round << " vertex " << k;
      EXPECT_EQ(got[k][1], static_cast<float>(expected[k][1])) << "round " << round << " vertex " << k;
    }
  }
}

TEST(ConvexHull2D, AFailedScanPrintsErrorAndLeavesAnEmptyHull) {
  // All three points lie within the area tolerance of the line through the anchor, but not of each
  // other's rays: the scan pops back to the anchor.
  CSSE3dPolygon in = Make({{0, 0, 0}, {4, 0.0006f, 0}, {1, 0.0002f, 0}, {-1, 0.0002f, 0}});
  testing::internal::CaptureStdout();
  CHConvexHull2D hull(&in);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Error\n");
  EXPECT_EQ(hull.GetStackTop(), nullptr);
  CSSE3dPolygon out = Make({{1, 1, 1}});
  hull.ObtainConvexHull3D(&out);
  EXPECT_EQ(out.GetNumPoints(), 0);
  CSSE2dPolygon flat;
  flat.Create(3);
  hull.ObtainConvexHull2D(&flat);
  EXPECT_EQ(flat.GetNumPoints(), 0);
}
