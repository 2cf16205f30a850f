#include <gtest/gtest.h>

#include <random>

#include "polygon/OutlineOracles.h"
#include "polygon/PolygonTestUtil.h"
#include "qssse/polygon/SSE3dPolygon.h"

using namespace outlinetest;
using polytest::Make;
using polytest::Points;

namespace {

CSSE3dPolygon Rect(float x0, float y0, float x1, float y1, float z = 0) {
  return Make({{x0, y0, z}, {x1, y0, z}, {x1, y1, z}, {x0, y1, z}});
}

double HalfArea(const CSSE3dPolygon& p) { return 0.5 * p.CalcXYArea(); }

}  // namespace

TEST(SSE3dPolygonCut, UnionsAndPiecesOfSquaresAndTrianglesHaveTheExactAreas) {
  CSSE3dPolygon sq4 = Rect(0, 0, 4, 4), band = Rect(2, 1, 6, 3), unit = Rect(0, 0, 1, 1), right = Rect(1, 0, 2, 1),
                slid = Rect(1, 0.5f, 2, 1.5f), sq3 = Rect(0, 0, 3, 3), same = Rect(0, 0, 3, 3), small = Rect(1, 1, 2, 2),
                far = Rect(5, 5, 7, 7), two = Make({{0, 0, 0}, {1, 1, 0}}), corner = Rect(4, 4, 6, 6),
                tri = Make({{2, 2, 0}, {6, 6, 0}, {2, 6, 0}}),  // its edge runs through sq4's corner (4, 4)
                v = Make({{0, 4, 0}, {2, 0, 0}, {4, 4, 0}}), bar = Make({{2, -2, 0}, {3, -2, 0}, {3, 0, 0}, {2, 0, 0}});
  enum Op { kUnion, kInside, kOutside };
  const struct {
    const char* what;
    CSSE3dPolygon *a, *b;
    Op op;
    bool result;
    double area;  // of the polygon afterwards (0: empty)
  } cases[] = {
      {"overlapping squares", &sq4, &band, kInside, true, 4},
      {"overlapping squares", &sq4, &band, kOutside, true, 12},
      {"overlapping squares", &sq4, &band, kUnion, true, 20},
      {"sharing an edge", &unit, &right, kUnion, true, 2},
      {"sharing half an edge", &unit, &slid, kUnion, true, 2},
      {"side by side: nothing in common", &unit, &right, kInside, false, 0},
      {"side by side: nothing cut away", &unit, &right, kOutside, true, 1},
      {"equal", &sq3, &same, kUnion, true, 9},
      {"equal", &sq3, &same, kInside, true, 9},
      {"equal", &sq3, &same, kOutside, false, 0},
      {"containing", &sq3, &small, kUnion, true, 9},
      {"containing", &sq3, &small, kInside, true, 1},
      {"containing: a ring with a hole", &sq3, &small, kOutside, true, 8},
      {"contained: nothing outside", &small, &sq3, kOutside, false, 0},
      {"disjoint: the larger", &unit, &far, kUnion, false, 4},
      {"disjoint", &unit, &far, kInside, false, 0},
      {"two-point second", &unit, &two, kUnion, true, 1},
      {"two-point cutter", &unit, &two, kInside, false, 0},
      {"no first", nullptr, &unit, kUnion, true, 1},
      {"neither", nullptr, nullptr, kUnion, false, 0},
      {"no cutter", &unit, nullptr, kOutside, true, 1},
      {"crossing at a shared point", &sq4, &tri, kUnion, true, 22},
      {"crossing at a shared point", &sq4, &tri, kInside, true, 2},
      {"crossing at a shared point", &sq4, &tri, kOutside, true, 14},
      {"touching at a corner: the larger", &sq4, &corner, kUnion, false, 16},
      {"touching at a corner", &sq4, &corner, kInside, false, 0},
      {"touching at a corner", &sq4, &corner, kOutside, true, 16},
      {"a V on a bar's corner: the larger", &v, &bar, kUnion, false, 8},
      {"a V on a bar's corner", &v, &bar, kInside, false, 0},
  };
  for (const auto& c : cases) {
    CSSE3dPolygon r;
    const bool result = c.op == kUnion ? r.CreateMergePolygon(c.a, c.b) : r.CreateFromCutPolygones(c.a, c.b, c.op == kInside);
    EXPECT_EQ(result, c.result) << c.what << ", operation " << c.op;
    EXPECT_DOUBLE_EQ(HalfArea(r), c.area) << c.what << ", operation " << c.op;
    if (c.area == 0) {
      EXPECT_EQ(r.GetNumPoints(), 0) << c.what << ", operation " << c.op;
    }
  }
}

TEST(SSE3dPolygonCut, ResultsAreSimpleRingsStartingNearTheFirstPointAndMayReplaceAnArgument) {
  CSSE3dPolygon a = Rect(0, 0, 4, 4), b = Rect(2, 1, 6, 3), r;
  ASSERT_TRUE(r.CreateFromCutPolygones(&a, &b, true));
  EXPECT_EQ(r.GetNumPoints(), 4);
  ASSERT_TRUE(r.CreateMergePolygon(&a, &b));
  EXPECT_EQ(r.GetNumPoints(), 8);
  ASSERT_TRUE(r.CreateFromCutPolygones(&a, &b, false));
  EXPECT_EQ(r.GetNumPoints(), 8);
  EXPECT_EQ(Points(r)[0], (polytest::P3{0, 0, 0}));  // nearest a's first point
  CSSE3dPolygon unit = Rect(0, 0, 1, 1), right = Rect(1, 0, 2, 1);
  ASSERT_TRUE(r.CreateMergePolygon(&unit, &right));
  EXPECT_EQ(ProperCrossings(XY(r)), 0);
  // The hole is joined in by a cut of no width: area and fill rule are those of the ring with a hole.
  CSSE3dPolygon sq3 = Rect(0, 0, 3, 3), small = Rect(1, 1, 2, 2);
  ASSERT_TRUE(r.CreateFromCutPolygones(&sq3, &small, false));
  EXPECT_EQ(r.GetNumPoints(), 4 + 2 + 5);
  EXPECT_FALSE(r.PointInLineInnerArea(1.5f, 1.5f, 1));
  EXPECT_TRUE(r.PointInLineInnerArea(0.5f, 1.5f, 1));
  EXPECT_TRUE(r.PointInLineInnerArea(2.5f, 0.5f, 1));
  CSSE3dPolygon self = Rect(0, 0, 4, 4), cut = Rect(2, 2, 6, 6);
  ASSERT_TRUE(self.CreateFromCutPolygones(&self, &cut, false));
  EXPECT_DOUBLE_EQ(HalfArea(self), 12.0);
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
