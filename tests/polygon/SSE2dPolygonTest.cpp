#include <gtest/gtest.h>

#include <cmath>

#include "qssse/polygon/SSE2dPolygon.h"

namespace {

CSSE2dPolygon Make(std::initializer_list<t_h2dpoint> pts) {
  CSSE2dPolygon p;
  p.Create(static_cast<int>(pts.size()));
  int i = 0;
  for (const t_h2dpoint& q : pts) p.SetPoint(i++, q.x, q.y);
  return p;
}

}  // namespace

TEST(Polygon2d, AccessIgnoresBadIndicesAndAssignmentShares) {
  CSSE2dPolygon a;
  EXPECT_EQ(a.GetNumPoints(), 0);
  a.Create(3);
  a.SetPoint(0, 1, 2);
  a.SetPoint(3, 9, 9);
  t_h2dpoint p;
  a.GetPoint(3, p);
  EXPECT_EQ(p.x, t_h2dpoint().x);  // untouched: still "no value"
  a.GetPoint(0, p);
  EXPECT_EQ(p.y, 2.0f);
  {
    CSSE2dPolygon b;
    b = a;
    b.SetPoint(1, 5, 6);  // shared arrays: seen through a
    float x = 0, y = 0;
    a.GetPoint(1, x, y);
    EXPECT_EQ(x, 5.0f);
  }  // b's destruction leaves a's arrays alive
  a.SetPoint(2, 7, 8);
  CSSE2dPolygon c = a;
  a.Create(1);  // a gets new arrays; c keeps the old ones
  float x = 0, y = 0;
  c.GetPoint(2, x, y);
  EXPECT_EQ(y, 8.0f);
  EXPECT_EQ(a.GetNumPoints(), 1);
}

TEST(Polygon2d, MinDistanceReadsOnlyXOverWholeBlocks) {
  CSSE2dPolygon three = Make({{0, 0}, {1, 0}, {2, 0}});
  EXPECT_EQ(three.GetMinEuclDistance(0.0f, 0.0f), 1000000.0f);
  CSSE2dPolygon four = Make({{0, 50}, {1, 50}, {2, 50}, {3, 50}});
  EXPECT_EQ(four.GetMinEuclDistance(2.5f, 0.0f), std::sqrt(0.25f + 0.25f));
  EXPECT_EQ(four.GetMinEuclDistance(2.5f, 1e9f), four.GetMinEuclDistance(2.5f, 0.0f));  // y unused
  CSSE2dPolygon six = Make({{10, 0}, {11, 0}, {12, 0}, {13, 0}, {0, 0}, {0, 0}});
  EXPECT_EQ(six.GetMinEuclDistance(0.0f, 0.0f), std::sqrt(200.0f));  // the last two are skipped
}

TEST(Polygon2d, AreaIsTheTwoTermFormula) {
  EXPECT_EQ(Make({{0, 0}, {1, 1}}).CalcArea(), 0.0f);
  // n = 3: P = p2, A = p0, b = X1 = 1; then k = 1: P = p1, A = p2, b stays X1 (k + 2 = 3 = n).
  CSSE2dPolygon tri = Make({{0, 0}, {1, 0}, {0, 2}});
  const float t1 = (0.0f - 0.0f) * (1.0f - 2.0f) - (0.0f - 2.0f) * (1.0f - 2.0f) + 0.0f;
  const float t2 = (0.0f - 1.0f) * (1.0f - 0.0f) - (2.0f - 0.0f) * (1.0f - 0.0f);
  EXPECT_EQ(tri.CalcArea(), t1 + t2);
  EXPECT_EQ(tri.CalcArea(), -5.0f);
  // n = 4: k = 2, and k + 2 = n, so b keeps X1 = 4 (k = n - 2 never leaves room for point k + 2).
  CSSE2dPolygon quad = Make({{0, 0}, {4, 0}, {4, 4}, {6, 1}});
  const float q1 = (0.0f - 6.0f) * (4.0f - 1.0f) - (0.0f - 1.0f) * (4.0f - 1.0f) + 0.0f;
  const float q2 = (6.0f - 4.0f) * (4.0f - 4.0f) - (1.0f - 4.0f) * (4.0f - 4.0f);
  EXPECT_EQ(quad.CalcArea(), q1 + q2);
}

TEST(Polygon2d, ClosestSearchesEvenIndicesBeforeTheLast) {
  CSSE2dPolygon p = Make({{0, 3}, {5, 1}, {1, 0}, {9, 2}});
  EXPECT_EQ(p.ClosestPointX(1.1f), 2);
  EXPECT_EQ(p.ClosestPointX(5.0f), 2);  // index 1 is never examined
  EXPECT_EQ(p.ClosestPointY(0.5f), 2);  // Y at index 2 is 0
  EXPECT_EQ(p.ClosestPointY(1e8f), -1);
  EXPECT_EQ(Make({{1, 1}}).ClosestPointX(1.0f), -1);
  CSSE2dPolygon tie = Make({{0, 0}, {0, 0}, {2, 0}, {0, 0}, {9, 9}});
  EXPECT_EQ(tie.ClosestPointX(1.0f), 0);  // 0 and 2 tie at distance 1: the first wins
}
