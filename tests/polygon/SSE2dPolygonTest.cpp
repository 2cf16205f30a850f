#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "geometry/GeometryTestSupport.h"
#include "qssse/polygon/SSE2dPolygon.h"

using geomtest::Make2d;

TEST(Polygon2d, AssignmentSharesTheArraysWithoutDoubleFree) {
  CSSE2dPolygon a = Make2d({{1, 2}, {3, 4}, {5, 6}});
  t_h2dpoint p;
  a.GetPoint(3, p);
  EXPECT_EQ(p.x, std::numeric_limits<float>::max());  // out of range: still the default "no value"
  {
    CSSE2dPolygon b;
    b = a;
    b.SetPoint(1, 7, 8);  // shared: seen through a
  }                       // b's destruction leaves the arrays alive for a
  a.GetPoint(1, p);
  EXPECT_EQ(p.y, 8.0f);
  CSSE2dPolygon c = a;
  a.Create(1);  // new arrays for a; c keeps the old ones
  c.GetPoint(2, p);
  EXPECT_EQ(p.x, 5.0f);
}

TEST(Polygon2d, MembersComputeWhatTheyAlwaysComputed) {
  // Distance: X only, whole blocks of four only, √2·|x - X|.
  EXPECT_EQ(Make2d({{0, 0}, {1, 0}, {2, 0}}).GetMinEuclDistance(0.0f, 0.0f), 1000000.0f);
  EXPECT_EQ(Make2d({{0, 50}, {1, 50}, {2, 50}, {3, 50}}).GetMinEuclDistance(2.5f, 1e9f), std::sqrt(0.5f));
  // Area: two terms with b = X1 in both (k + 2 = n leaves b unchanged): n = 3 gives -2 + -3.
  EXPECT_EQ(Make2d({{0, 0}, {1, 0}}).CalcArea(), 0.0f);
  EXPECT_EQ(Make2d({{0, 0}, {1, 0}, {0, 2}}).CalcArea(), -5.0f);
  // Nearest coordinate: even indices before the last only.
  CSSE2dPolygon p = Make2d({{0, 3}, {5, 1}, {1, 0}, {9, 2}});
  EXPECT_EQ(p.ClosestPointX(1.1f), 2);
  EXPECT_EQ(p.ClosestPointX(5.0f), 2);  // index 1 is never examined
  EXPECT_EQ(p.ClosestPointY(1e8f), -1);
  EXPECT_EQ(Make2d({{0, 0}, {0, 0}, {2, 0}, {0, 0}, {9, 9}}).ClosestPointX(1.0f), 0);  // tie: first wins
}
