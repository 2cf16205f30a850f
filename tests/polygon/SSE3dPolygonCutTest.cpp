#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "polygon/OutlineOracles.h"
#include "polygon/PolygonTestUtil.h"
#include "qssse/polygon/SSE3dPolygon.h"

using namespace outlinetest;
using polytest::Make;

namespace {

CSSE3dPolygon Rect(float x0, float y0, float x1, float y1, float z = 0) {
  return Make({{x0, y0, z}, {x1, y0, z}, {x1, y1, z}, {x0, y1, z}});
}

double HalfArea(const CSSE3dPolygon& p) { return 0.5 * p.CalcXYArea(); }

}  // namespace

TEST(SSE3dPolygonCut, OverlappingSquaresGiveExactPieces) {
  CSSE3dPolygon a = Rect(0, 0, 4, 4), b = Rect(2, 1, 6, 3);
  CSSE3dPolygon in, out, merged;
  ASSERT_TRUE(in.CreateFromCutPolygones(&a, &b, true));
  EXPECT_DOUBLE_EQ(HalfArea(in), 4.0);
  EXPECT_EQ(in.GetNumPoints(), 4);
  ASSERT_TRUE(out.CreateFromCutPolygones(&a, &b, false));
  EXPECT_DOUBLE_EQ(HalfArea(out), 12.0);
  EXPECT_EQ(out.GetNumPoints(), 8);
  ASSERT_TRUE(merged.CreateMergePolygon(&a, &b));
  EXPECT_DOUBLE_EQ(HalfArea(merged), 20.0);
  EXPECT_EQ(merged.GetNumPoints(), 8);
  // every result starts at the point nearest a's first point, (0, 0)
  float x = -1, y = -1;
  out.GetPointXY(0, x, y);
  EXPECT_EQ(x, 0);
  EXPECT_EQ(y, 0);
}

TEST(SSE3dPolygonCut, ResultsKeepTheOutlinesOrientationAndInterpolateZ) {
  CSSE3dPolygon a = Make({{0, 4, 0}, {4, 4, 4}, {4, 0, 4}, {0, 0, 0}});  // clockwise, z = x
  CSSE3dPolygon b = Rect(2, 1, 6, 3, 9);
  CSSE3dPolygon in;
  ASSERT_TRUE(in.CreateFromCutPolygones(&a, &b, true));
  EXPECT_DOUBLE_EQ(HalfArea(in), -4.0);
  for (int i = 0; i < in.GetNumPoints(); ++i) {
    float px = 0, py = 0, pz = 0;
    in.GetPoint(i, px, py, pz);
    if (px == 4) {
      EXPECT_TRUE(pz == 4 || pz == 9);  // crossings take the z of the edge the ring arrives on
    } else {
      EXPECT_FLOAT_EQ(pz, 9);  // b's corners (2, 1) and (2, 3)
    }
  }
}

TEST(SSE3dPolygonCut, SquaresSharingAnEdgeMergeAcrossIt) {
  CSSE3dPolygon a = Rect(0, 0, 1, 1), b = Rect(1, 0, 2, 1);
  CSSE3dPolygon m;
  ASSERT_TRUE(m.CreateMergePolygon(&a, &b));
  EXPECT_DOUBLE_EQ(HalfArea(m), 2.0);
  EXPECT_EQ(ProperCrossings(XY(m)), 0);
  // a partly shared edge: b slides up by half
  CSSE3dPolygon c = Rect(1, 0.5f, 2, 1.5f);
  ASSERT_TRUE(m.CreateMergePolygon(&a, &c));
  EXPECT_DOUBLE_EQ(HalfArea(m), 2.0);
  // side by side nothing lies inside the other, and nothing is cut away
  CSSE3dPolygon in, out;
  EXPECT_FALSE(in.CreateFromCutPolygones(&a, &b, true));
  EXPECT_EQ(in.GetNumPoints(), 0);
  ASSERT_TRUE(out.CreateFromCutPolygones(&a, &b, false));
  EXPECT_DOUBLE_EQ(HalfArea(out), 1.0);
}

TEST(SSE3dPolygonCut, EqualOutlinesAndContainedOutlines) {
  CSSE3dPolygon a = Rect(0, 0, 3, 3), same = Rect(0, 0, 3, 3), small = Rect(1, 1, 2, 2);
  CSSE3dPolygon r;
  ASSERT_TRUE(r.CreateMergePolygon(&a, &same));
  EXPECT_DOUBLE_EQ(HalfArea(r), 9.0);
  ASSERT_TRUE(r.CreateFromCutPolygones(&a, &same, true));
  EXPECT_DOUBLE_EQ(HalfArea(r), 9.0);
  EXPECT_FALSE(r.CreateFromCutPolygones(&a, &same, false));
  ASSERT_TRUE(r.CreateMergePolygon(&a, &small));
  EXPECT_DOUBLE_EQ(HalfArea(r), 9.0);
  ASSERT_TRUE(r.CreateFromCutPolygones(&a, &small, true));
  EXPECT_DOUBLE_EQ(HalfArea(r), 1.0);
  // the hole is joined in by a cut of no width: area and fill rule are those of the ring with a hole
  ASSERT_TRUE(r.CreateFromCutPolygones(&a, &small, false));
  EXPECT_DOUBLE_EQ(HalfArea(r), 8.0);
  EXPECT_EQ(r.GetNumPoints(), 4 + 2 + 5);
  EXPECT_FALSE(r.PointInLineInnerArea(1.5f, 1.5f, 1));
  EXPECT_TRUE(r.PointInLineInnerArea(0.5f, 1.5f, 1));
  EXPECT_TRUE(r.PointInLineInnerArea(2.5f, 0.5f, 1));
  // the inner square cut by the outer keeps nothing outside
  EXPECT_FALSE(r.CreateFromCutPolygones(&small, &a, false));
}

TEST(SSE3dPolygonCut, DisjointAndDegenerateArguments) {
  CSSE3dPolygon a = Rect(0, 0, 1, 1), far = Rect(5, 5, 7, 7), two = Make({{0, 0, 0}, {1, 1, 0}});
  CSSE3dPolygon r;
  EXPECT_FALSE(r.CreateMergePolygon(&a, &far));
  EXPECT_DOUBLE_EQ(HalfArea(r), 4.0);  // the larger one
  EXPECT_TRUE(r.CreateMergePolygon(&a, &two));
  EXPECT_DOUBLE_EQ(HalfArea(r), 1.0);
  EXPECT_TRUE(r.CreateMergePolygon(nullptr, &a));
  EXPECT_FALSE(r.CreateMergePolygon(nullptr, nullptr));
  EXPECT_EQ(r.GetNumPoints(), 0);
  EXPECT_FALSE(r.CreateFromCutPolygones(&a, &far, true));
  EXPECT_TRUE(r.CreateFromCutPolygones(&a, nullptr, false));
  EXPECT_DOUBLE_EQ(HalfArea(r), 1.0);
  EXPECT_FALSE(r.CreateFromCutPolygones(&a, &two, true));
  // the result may be one of the arguments
  CSSE3dPolygon self = Rect(0, 0, 4, 4), cut = Rect(2, 2, 6, 6);
  ASSERT_TRUE(self.CreateFromCutPolygones(&self, &cut, false));
  EXPECT_DOUBLE_EQ(HalfArea(self), 12.0);
}

TEST(SSE3dPolygonCut, AreasAddUpOnRandomGridOutlines) {
  // area(A) + area(B) = area(A u B) + area(A n B), and area(A n B) + area(A \ B) = area(A) when A \ B is
  // one part; the outlines share a centre in their kernels, so union and intersection are single rings.
  std::mt19937 rng(42);
  int checked = 0;
  for (int trial = 0; trial < 200; ++trial) {
    CSSE3dPolygon a = RandomStar(rng, 3 + trial % 8), b = RandomStar(rng, 3 + (trial / 8) % 8);
    if (!StarAroundCentre(a) || !StarAroundCentre(b)) continue;
    ++checked;
    CSSE3dPolygon u, i, d;
    ASSERT_TRUE(u.CreateMergePolygon(&a, &b)) << trial;
    ASSERT_TRUE(i.CreateFromCutPolygones(&a, &b, true)) << trial;
    EXPECT_NEAR(HalfArea(a) + HalfArea(b), HalfArea(u) + HalfArea(i), 1e-4) << trial;
    EXPECT_EQ(ProperCrossings(XY(u)), 0) << trial;
    EXPECT_EQ(ProperCrossings(XY(i)), 0) << trial;
    EXPECT_LE(HalfArea(i), std::min(HalfArea(a), HalfArea(b)) + 1e-4);
    EXPECT_GE(HalfArea(u), std::max(HalfArea(a), HalfArea(b)) - 1e-4);
    if (d.CreateFromCutPolygones(&a, &b, false)) {
      EXPECT_EQ(ProperCrossings(XY(d)), 0) << trial;
      EXPECT_LE(HalfArea(d) + HalfArea(i), HalfArea(a) + 1e-4) << trial;
    }
  }
  EXPECT_GT(checked, 80);
}

TEST(SSE3dPolygonCut, OutlinesMeetingAtAVertexCrossOrTouchByTheirEdgesDirections) {
  // b's edge runs through a's corner (4, 4) from inside a to outside: a crossing at a shared point
  CSSE3dPolygon a = Rect(0, 0, 4, 4), b = Make({{2, 2, 0}, {6, 6, 0}, {2, 6, 0}});
  CSSE3dPolygon u, i, d;
  ASSERT_TRUE(u.CreateMergePolygon(&a, &b));
  EXPECT_DOUBLE_EQ(HalfArea(u), 22.0);
  ASSERT_TRUE(i.CreateFromCutPolygones(&a, &b, true));
  EXPECT_DOUBLE_EQ(HalfArea(i), 2.0);
  ASSERT_TRUE(d.CreateFromCutPolygones(&a, &b, false));
  EXPECT_DOUBLE_EQ(HalfArea(d), 14.0);
  // squares meeting at one corner only touch: no union, nothing in common, nothing cut away
  CSSE3dPolygon c = Rect(4, 4, 6, 6);
  EXPECT_FALSE(u.CreateMergePolygon(&a, &c));
  EXPECT_DOUBLE_EQ(HalfArea(u), 16.0);
  EXPECT_FALSE(i.CreateFromCutPolygones(&a, &c, true));
  ASSERT_TRUE(d.CreateFromCutPolygones(&a, &c, false));
  EXPECT_DOUBLE_EQ(HalfArea(d), 16.0);
  // a V whose apex rests on the corner of a bar below it: a contact at a point only
  CSSE3dPolygon v = Make({{0, 4, 0}, {2, 0, 0}, {4, 4, 0}}), bar = Make({{2, -2, 0}, {3, -2, 0}, {3, 0, 0}, {2, 0, 0}});
  ASSERT_FALSE(u.CreateMergePolygon(&v, &bar));
  EXPECT_FALSE(i.CreateFromCutPolygones(&v, &bar, true));
}
