#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "polygon/OutlineOracles.h"
#include "polygon/PolygonTestUtil.h"
#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/polygon/SSE3dPolygon.h"

using namespace outlinetest;
using polytest::Make;

namespace {

constexpr double kPi = 3.14159265358979323846;

CSSE3dPolygon Square(float side) { return Make({{0, 0, 0}, {side, 0, 0}, {side, side, 0}, {0, side, 0}}); }

CSSE3dPolygon Circle(int n, float r, float cx = 0, float cy = 0) {
  std::vector<polytest::P3> pts;
  for (int i = 0; i < n; ++i) {
    const double a = 2 * kPi * i / n;
    pts.push_back({static_cast<float>(cx + r * std::cos(a)), static_cast<float>(cy + r * std::sin(a)), 0.0f});
  }
  return Make(pts);
}

}  // namespace

TEST(SSE3dPolygonOffset, MitredAndErodedRectilinearOutlinesHaveExactAreasAndKeepTheirOrientation) {
  const std::vector<polytest::P3> square = {{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}};
  // Two squares 10 and 6 wide joined by a neck 1 wide; a U whose gap (2 wide) closes when grown by 1.5.
  const std::vector<polytest::P3> dumbbell = {{0, 0, 0},  {10, 0, 0}, {10, 4.5f, 0}, {14, 4.5f, 0},
                                              {14, 2, 0}, {20, 2, 0}, {20, 8, 0},    {14, 8, 0},
                                              {14, 5.5f, 0}, {10, 5.5f, 0}, {10, 10, 0}, {0, 10, 0}};
  const std::vector<polytest::P3> u = {{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {6, 10, 0},
                                       {6, 3, 0}, {4, 3, 0},  {4, 10, 0},  {0, 10, 0}};
  const struct {
    const char* what;
    std::vector<polytest::P3> ring;
    float distance;  // positive: DilateExact, negative: ErodeExact of its size
    CSSE3dPolygon::OffsetJoin join;
    double area2;  // 0: the result is empty and the call returns false
  } cases[] = {
      {"mitred square grown", square, 2, CSSE3dPolygon::kJoinMiter, 2 * 14.0 * 14.0},
      {"square eroded", square, -1, CSSE3dPolygon::kJoinRound, 2 * 64.0},
      {"clockwise square eroded", {{0, 0, 0}, {0, 10, 0}, {10, 10, 0}, {10, 0, 0}}, -1, CSSE3dPolygon::kJoinRound, -2 * 64.0},
      {"square eroded past its inradius", square, -5.5f, CSSE3dPolygon::kJoinRound, 0},
      {"thin bar eroded away", {{0, 0, 0}, {10, 0, 0}, {10, 1, 0}, {0, 1, 0}}, -0.6f, CSSE3dPolygon::kJoinMiter, 0},
      {"empty outline", {}, 1, CSSE3dPolygon::kJoinRound, 0},
      {"dumbbell cut at its neck: the larger bell", dumbbell, -1, CSSE3dPolygon::kJoinMiter, 2 * 64.0},
      {"U whose gap closes, the pocket filled", u, 1.5f, CSSE3dPolygon::kJoinMiter, 2 * 13.0 * 13.0},
  };
  for (const auto& c : cases) {
    CSSE3dPolygon p = Make(c.ring);
    const bool ok = c.distance > 0 ? p.DilateExact(c.distance, c.join) : p.ErodeExact(-c.distance, c.join);
    ASSERT_EQ(ok, c.area2 != 0) << c.what;
    if (!ok) {
      EXPECT_EQ(p.GetNumPoints(), 0) << c.what;
      continue;
    }
    EXPECT_NEAR(p.CalcXYArea(), c.area2, 1e-3) << c.what;
    EXPECT_EQ(ProperCrossings(XY(p)), 0) << c.what;
  }
  // A negative dilation is an erosion; the mitred square is the exact larger square.
  CSSE3dPolygon neg = Square(10), grown = Square(10);
  ASSERT_TRUE(neg.DilateExact(-1));
  EXPECT_NEAR(neg.CalcXYArea(), 2 * 64.0, 1e-3);
  ASSERT_TRUE(grown.DilateExact(2, CSSE3dPolygon::kJoinMiter));
  EXPECT_EQ(grown.GetNumPoints(), 4);
  float x0, y0, x1, y1, z0, z1;
  grown.GetBoundingBox3D(x0, y0, z0, x1, y1, z1);
  EXPECT_FLOAT_EQ(x0, -2);
  EXPECT_FLOAT_EQ(y1, 12);
}

TEST(SSE3dPolygonOffset, RoundSquareAreaIsSquarePlusStripsPlusCircle) {
  CSSE3dPolygon p = Square(10);
  ASSERT_TRUE(p.DilateExact(2, CSSE3dPolygon::kJoinRound, 2.0f, 0.001f));
  const double exact = 100 + 4 * 10 * 2 + kPi * 4;
  EXPECT_NEAR(0.5 * p.CalcXYArea(), exact, 0.02);
  EXPECT_EQ(ProperCrossings(XY(p)), 0);
  // every point lies at the distance from the square (chords sit inside the arcs)
  const std::vector<P2> sq = XY(Square(10));
  for (const P2& q : XY(p)) EXPECT_NEAR(DistanceToRing(q, sq), 2.0, 1e-4);
}

TEST(SSE3dPolygonOffset, DegenerateInputsGiveCapsAndCircles) {
  CSSE3dPolygon point = Make({{1, 1, 7}});
  ASSERT_TRUE(point.DilateExact(2));
  EXPECT_NEAR(0.5 * point.CalcXYArea(), kPi * 4, 0.05);
  float z = 0;
  point.GetPointZ(3, z);
  EXPECT_EQ(z, 7);
  // a segment written back and forth grows into a stadium
  CSSE3dPolygon seg = Make({{0, 0, 0}, {10, 0, 0}, {5, 0, 0}});
  ASSERT_TRUE(seg.DilateExact(1, CSSE3dPolygon::kJoinRound, 2, 1e-4f));
  EXPECT_NEAR(0.5 * seg.CalcXYArea(), 20 + kPi, 0.01);
  CSSE3dPolygon flat = Make({{0, 0, 0}, {10, 0, 0}, {5, 0, 0}});
  EXPECT_FALSE(flat.ErodeExact(1));
  // duplicates, a collinear run and a spike leave a simple ring
  CSSE3dPolygon messy = Make({{0, 0, 0}, {0, 0, 0}, {5, 0, 0}, {10, 0, 0}, {10, 0, 0}, {10, 10, 0},
                              {5, 10, 0}, {5, 20, 0}, {5, 10, 0}, {0, 10, 0}, {0, 5, 0}, {0, 5.000001f, 0}});
  ASSERT_TRUE(messy.DilateExact(1));
  EXPECT_EQ(ProperCrossings(XY(messy)), 0);
  // the square grown by 1 plus the band around the spike outside it
  EXPECT_NEAR(0.5 * messy.CalcXYArea(), 140 + kPi + 2 * 9 + kPi / 2 + 0.22, 0.3);
}

TEST(SSE3dPolygonOffset, ZIsCarriedFromTheNearestEdge) {
  // z rises from 0 to 10 along the bottom edge and stays 10 elsewhere
  CSSE3dPolygon p = Make({{0, 0, 0}, {10, 0, 10}, {10, 10, 10}, {0, 10, 10}});
  ASSERT_TRUE(p.DilateExact(1, CSSE3dPolygon::kJoinMiter));
  for (int i = 0; i < p.GetNumPoints(); ++i) {
    float x, y, z;
    p.GetPoint(i, x, y, z);
    if (y < 0 && x > 0 && x < 10) {
      EXPECT_NEAR(z, x, 1e-4);
    }
  }
  float x, y, z;
  p.GetPoint(0, x, y, z);  // starts nearest the old point 0: the mitred corner (-1, -1) with its z
  EXPECT_FLOAT_EQ(x, -1);
  EXPECT_FLOAT_EQ(y, -1);
  EXPECT_FLOAT_EQ(z, 0);
}

TEST(SSE3dPolygonOffset, PropertiesOnRandomGridOutlines) {
  // simple results, areas monotone in the distance, growth then shrink returns a convex outline
  std::mt19937 rng(42);
  int checked = 0;
  for (int trial = 0; trial < 60; ++trial) {
    CSSE3dPolygon base = RandomStar(rng, 4 + trial % 9);
    if (!StarAroundCentre(base)) continue;
    ++checked;
    const double a0 = base.CalcXYArea();
    double prev = a0;
    for (const float d : {0.25f, 0.5f, 1.5f}) {
      CSSE3dPolygon grown = base;
      ASSERT_TRUE(grown.DilateExact(d));
      EXPECT_EQ(ProperCrossings(XY(grown)), 0) << "trial " << trial << " d " << d;
      const double a = grown.CalcXYArea();
      EXPECT_GT(a, prev);
      prev = a;
      CSSE3dPolygon shrunk = base;
      if (shrunk.ErodeExact(d)) {
        EXPECT_EQ(ProperCrossings(XY(shrunk)), 0) << "trial " << trial << " d " << d;
        EXPECT_LT(shrunk.CalcXYArea(), a0);
        EXPECT_GT(shrunk.CalcXYArea(), 0);
      }
    }
  }
  EXPECT_GT(checked, 30);
}

TEST(SSE3dPolygonOffset, GrowThenShrinkReturnsConvexOutlines) {
  std::mt19937 rng(42);
  for (int trial = 0; trial < 20; ++trial) {
    CSSE3dPolygon c = Circle(5 + trial, 3 + trial % 4, rng() % 10, rng() % 10);
    const std::vector<P2> before = XY(c);
    ASSERT_TRUE(c.DilateExact(1.25f, CSSE3dPolygon::kJoinRound, 2, 1e-4f));
    ASSERT_TRUE(c.ErodeExact(1.25f, CSSE3dPolygon::kJoinRound, 2, 1e-4f));
    EXPECT_LT(Hausdorff(before, XY(c)), 1e-3) << trial;
  }
}

TEST(SSE3dPolygonOffset, LargeNoisyOutlineStaysSimple) {
  std::mt19937 rng(42);
  std::vector<polytest::P3> pts;
  for (int i = 0; i < 3000; ++i) {
    const double a = 2 * kPi * i / 3000;
    const double r = 50 + (rng() % 100) * 0.02;  // jagged, many concave corners
    pts.push_back({static_cast<float>(r * std::cos(a)), static_cast<float>(r * std::sin(a)), 0.0f});
  }
  CSSE3dPolygon p = Make(pts);
  CSSE3dPolygon q = p;
  ASSERT_TRUE(p.DilateExact(1.5f));
  ASSERT_TRUE(q.ErodeExact(1.5f));
  EXPECT_GT(p.GetNumPoints(), 100);
  EXPECT_GT(q.GetNumPoints(), 100);
  const std::vector<P2> in = XY(Make(pts));
  // the grown ring lies at the distance from the input everywhere (within the arc tolerance)
  for (const P2& v : XY(p)) EXPECT_NEAR(DistanceToRing(v, in), 1.5, 0.01);
}

TEST(SSE3dPolygonOffset, RemoveLoopKeepsTheLargerLobe) {
  // a figure eight: lobe 10 x 10 counter-clockwise, lobe 4 x 4 clockwise, crossing at (10, 5)
  CSSE3dPolygon p = Make({{0, 0, 0}, {10, 0, 0}, {10, 5, 0}, {14, 3, 0}, {14, 7, 0}, {10, 5, 0}, {10, 10, 0},
                          {0, 10, 0}});
  ASSERT_FALSE(p.RemoveLoopInXYPlane());  // touching at (10, 5) is no crossing
  CSSE3dPolygon q = Make({{0, 0, 0}, {12, 0, 2}, {12, 10, 2}, {16, 4, 0}, {16, 6, 0}, {8, 10, 0}, {0, 10, 0}});
  // edges (12,0)-(12,10) and (16,6)-(8,10) cross at (12, 8)
  ASSERT_TRUE(q.RemoveLoopInXYPlane());
  EXPECT_EQ(ProperCrossings(XY(q)), 0);
  EXPECT_GT(q.CalcXYArea(), 0);
  bool found = false;
  for (int i = 0; i < q.GetNumPoints(); ++i) {
    float x, y, z;
    q.GetPoint(i, x, y, z);
    if (std::fabs(x - 12) < 1e-4 && std::fabs(y - 8) < 1e-4) {
      found = true;
      EXPECT_NEAR(z, 2, 1e-4);  // interpolated along the arriving edge (12,0,2)-(12,10,2)
    }
  }
  EXPECT_TRUE(found);
  CSSE3dPolygon simple = Square(3);
  EXPECT_FALSE(simple.RemoveLoopInXYPlane());
  EXPECT_EQ(simple.GetNumPoints(), 4);
}

TEST(SSE3dPolygonOffset, BadArgumentsAreHandled) {
  CSSE3dPolygon p = Square(10);
  EXPECT_THROW(p.DilateExact(NAN), CInvalidArgumentException);
  EXPECT_EQ(p.GetNumPoints(), 4);
  EXPECT_TRUE(p.DilateExact(0));
  EXPECT_EQ(p.GetNumPoints(), 4);
  // a huge arc tolerance still gives a ring around the square, a NaN one the default
  CSSE3dPolygon coarse = Square(10);
  ASSERT_TRUE(coarse.DilateExact(1, CSSE3dPolygon::kJoinRound, 2, 100));
  EXPECT_GE(coarse.CalcXYArea(), 2 * 100.0);
  CSSE3dPolygon nanTol = Square(10);
  ASSERT_TRUE(nanTol.DilateExact(1, CSSE3dPolygon::kJoinRound, 2, NAN));
  EXPECT_NEAR(0.5 * nanTol.CalcXYArea(), 140 + kPi, 0.01);
}

TEST(SSE3dPolygonOffset, NeverCrossesOnRandomSelfCrossingGridRings) {
  // rings of random grid points: self-crossings, duplicates, spikes and collinear runs of every kind
  std::mt19937 rng(42);
  for (int trial = 0; trial < 300; ++trial) {
    std::vector<polytest::P3> pts;
    const int n = 3 + static_cast<int>(rng() % 12);
    for (int i = 0; i < n; ++i)
      pts.push_back({static_cast<float>(rng() % 10), static_cast<float>(rng() % 10), static_cast<float>(rng() % 3)});
    for (const float d : {0.5f, 2.0f, -0.5f}) {
      for (const auto join : {CSSE3dPolygon::kJoinRound, CSSE3dPolygon::kJoinMiter}) {
        CSSE3dPolygon p = Make(pts);
        if (p.DilateExact(d, join)) {
          EXPECT_EQ(ProperCrossings(XY(p)), 0) << trial << " " << d << " " << join;
        }
      }
    }
    CSSE3dPolygon r = Make(pts);
    if (r.RemoveLoopInXYPlane()) {
      EXPECT_EQ(ProperCrossings(XY(r)), 0) << trial;
    }
  }
}
