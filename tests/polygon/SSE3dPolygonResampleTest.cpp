#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "PolygonTestUtil.h"

using polytest::Make;
using polytest::P3;
using polytest::Points;

namespace {

CSSE3dPolygon Square(float side) { return Make({{0, 0, 0}, {side, 0, 0}, {side, side, 0}, {0, side, 0}}); }

// The Manhattan duplicate search written plainly, oracle of the four-lane scan.
bool OracleAlreadyThere(const std::vector<P3>& pts, int i, float px, float py, float tol) {
  const int n = static_cast<int>(pts.size());
  int k = i < 0 ? 0 : (i > n - 1 ? n - 1 : i);
  if (k < 1) return false;
  for (int j = 0; j < k; ++j)
    if (std::fabs(pts[j][0] - px) + std::fabs(pts[j][1] - py) < tol) return true;
  return false;
}

}  // namespace

TEST(PolygonReParametrize, CountsFollowTheMaximumNormAndTheHalfStepDivisor) {
  CSSE3dPolygon sq = Square(10);
  sq.ReParametrize(1.0f);
  EXPECT_EQ(sq.GetNumPoints(), 40);
  // First edge: K = 10, increment 10 / 10.5; the last point of the edge stops short of (10, 0).
  float x = 0, y = 0, z = 0;
  sq.GetPoint(9, x, y, z);
  EXPECT_EQ(x, 9.0f * (10.0f / 10.5f));
  sq.GetPoint(10, x, y, z);
  EXPECT_EQ(x, 10.0f);
  EXPECT_FALSE(sq.IsBoundingBoxCalculated());

  CSSE3dPolygon coarse = Square(10);
  coarse.ReParametrize(20.0f);
  EXPECT_EQ(coarse.GetNumPoints(), 4);

  // (3, 4) with step 1 gets K = 4 points, a 1.5 edge K = 1 (its start only).
  CSSE3dPolygon tri = Make({{0, 0, 0}, {3, 4, 0}, {4.5f, 4, 0}});
  int map[3] = {-7, -7, -7};
  tri.ReParametrize(1.0f, map);
  EXPECT_EQ(map[0], 0);
  EXPECT_EQ(map[1], 4);
  EXPECT_EQ(map[2], 5);
  EXPECT_EQ(tri.GetNumPoints(), 5 + 4);  // the closing edge (4.5, 4) -> (0, 0) gets K = 4
}

TEST(PolygonReParametrize, ZCountsOnlyInTheXYZForm) {
  const std::vector<P3> pts = {{0, 0, 0}, {0.5f, 0, 5}, {0.5f, 0.5f, 5}};
  CSSE3dPolygon xy = Make(pts), xyz = Make(pts);
  xy.ReParametrize(1.0f);
  xyz.ReParametrizeXYZ(1.0f);
  EXPECT_EQ(xy.GetNumPoints(), 3);
  EXPECT_EQ(xyz.GetNumPoints(), 5 + 1 + 5);  // z rises by 5 and falls by 5 on the closing edge
  float x = 0, y = 0, z = 0;
  xyz.GetPoint(1, x, y, z);
  EXPECT_EQ(z, 5.0f / 5.5f);
}

TEST(PolygonReParametrize, KeepsBoxAndCentreAndIgnoresBadSteps) {
  CSSE3dPolygon sq = Square(10);
  sq.CalcBoundingBox();
  sq.CalcGeometricCenter();
  sq.ReParametrize(1.0f);
  EXPECT_EQ(sq.GetTopRight().x, 10.0f);
  SSEPoint c;
  sq.GetGeometricCenter(c);
  EXPECT_EQ(c.x, 5.0f);
  sq.ReParametrize(0.0f);
  sq.ReParametrize(-1.0f);
  sq.ReParametrize(std::nanf(""));
  EXPECT_EQ(sq.GetNumPoints(), 40);
}

TEST(PolygonReParametrize, CapsTheOutputAt99999Points) {
  CSSE3dPolygon line = Make({{0, 0, 0}, {60000, 0, 0}, {60000, 1, 0}});
  std::vector<int> map(3, -7);
  line.ReParametrize(0.5f, map.data());
  EXPECT_EQ(line.GetNumPoints(), 99999);
  EXPECT_EQ(map[0], 0);
  EXPECT_EQ(map[1], -7);  // its emission was cut by the cap
}

TEST(PolygonSubsample, KeepsEveryKthPointAndTheEndOrTheClosingMidpoint) {
  std::vector<P3> ten;
  for (int i = 0; i < 10; ++i) ten.push_back({static_cast<float>(i), static_cast<float>(2 * i), 1.0f});
  CSSE3dPolygon open = Make(ten);
  open.CalcBoundingBox();
  open.Subsample(3, false);
  EXPECT_EQ(Points(open), (std::vector<P3>{{0, 0, 1}, {3, 6, 1}, {9, 18, 1}}));
  EXPECT_EQ(open.GetTopRight().x, 0.0f);  // box and centre come back zero
  EXPECT_FALSE(open.IsBoundingBoxCalculated());

  CSSE3dPolygon closed = Make(ten);
  closed.Subsample(3, true);
  EXPECT_EQ(Points(closed), (std::vector<P3>{{0, 0, 1}, {3, 6, 1}, {1.5f, 3, 1}}));

  // m = (7 - 3 + 1) / 3 = 1: point 0 and the end. With k = 1 the last point is already kept.
  CSSE3dPolygon seven = Make({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0}, {4, 0, 0}, {5, 0, 0}, {6, 0, 0}});
  seven.Subsample(3, false);
  EXPECT_EQ(Points(seven), (std::vector<P3>{{0, 0, 0}, {6, 0, 0}}));
  CSSE3dPolygon all = Make(ten);
  all.Subsample(1, false);
  EXPECT_EQ(Points(all), ten);

  // Guarded: k = 0 and a closed thinning that keeps nothing leave the polygon as it is.
  CSSE3dPolygon two = Make({{0, 0, 0}, {1, 0, 0}});
  two.Subsample(0, false);
  two.Subsample(5, true);
  EXPECT_EQ(two.GetNumPoints(), 2);
  two.Subsample(5, false);  // open: nothing kept, the last point added
  EXPECT_EQ(Points(two), (std::vector<P3>{{1, 0, 0}}));
}

TEST(PolygonRemoveEqualPoints, NeverRemovesTwoPointsInARow) {
  CSSE3dPolygon p = Make({{0, 0, 0}, {0.2f, 0.2f, 1}, {0.4f, 0.4f, 2}, {5, 5, 3}});
  p.RemoveEqualPointsXY();
  EXPECT_EQ(Points(p), (std::vector<P3>{{0, 0, 0}, {0.4f, 0.4f, 2}, {5, 5, 3}}));
  // Manhattan distance exactly 1 is not a duplicate.
  CSSE3dPolygon q = Make({{0, 0, 0}, {0.5f, 0.5f, 0}, {3, 3, 0}, {3.25f, 3.25f, 0}});
  q.RemoveEqualPointsXY();
  EXPECT_EQ(q.GetNumPoints(), 3);
  CSSE3dPolygon empty;
  empty.RemoveEqualPointsXY();
  EXPECT_EQ(empty.GetNumPoints(), 0);
}

TEST(PolygonRemoveEqualPoints, FourLaneSearchMatchesOracle) {
  std::mt19937 rng(42);
  for (int trial = 0; trial < 400; ++trial) {
    std::vector<P3> pts(static_cast<std::size_t>(1 + trial % 23));
    for (P3& q : pts)
      q = {static_cast<float>(rng() % 10) * 0.5f, static_cast<float>(rng() % 10) * 0.5f, 0.0f};
    CSSE3dPolygon poly = Make(pts);
    const int i = static_cast<int>(rng() % 30) - 3;
    const float px = static_cast<float>(rng() % 10) * 0.5f, py = static_cast<float>(rng() % 10) * 0.5f;
    const float tol = static_cast<float>(rng() % 4) * 0.5f;
    ASSERT_EQ(poly.PointAlreadyThereInArrayXY(i, qssse::MakeSSEPoint(px, py, 0), tol),
              OracleAlreadyThere(pts, i, px, py, tol));
  }
  EXPECT_FALSE(CSSE3dPolygon().PointAlreadyThereInArrayXY(3, qssse::ZeroSSEPoint(), 1.0f));
}

TEST(PolygonReducePoints, DropsDuplicatesThenStraightRuns) {
  CSSE3dPolygon p = Make({{0, 0, 0},
                          {0.00005f, 0, 0},  // duplicate of point 0
                          {1, 0, 0},         // straight on
                          {2, 0, 0},         // corner
                          {2, 1, 0},         // straight on
                          {2, 2, 0},         // corner
                          {0, 2, 0}});       // corner
  p.ReducePoints();
  EXPECT_EQ(Points(p), (std::vector<P3>{{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}}));
  // All points on one spot: pass 1 leaves one point and pass 2 stops at once.
  CSSE3dPolygon dot = Make({{1, 1, 0}, {1, 1, 0}, {1, 1, 0}});
  dot.ReducePoints();
  EXPECT_EQ(dot.GetNumPoints(), 1);
}

TEST(PolygonFilters, CircularMedianMaximumMinimumOfZ) {
  const std::vector<P3> pts = {{0, 0, 0}, {1, 0, 10}, {1, 1, 0}, {0, 1, 0}};
  CSSE3dPolygon med = Make(pts), mx = Make(pts), mn = Make(pts);
  med.CalcBoundingBox();
  med.FilterMedian3();
  mx.FilterMaximum3();
  mn.FilterMinimum3();
  auto zs = [](const CSSE3dPolygon& p) {
    std::vector<float> z;
    for (const P3& q : Points(p)) z.push_back(q[2]);
    return z;
  };
  EXPECT_EQ(zs(med), (std::vector<float>{0, 0, 0, 0}));
  EXPECT_EQ(zs(mx), (std::vector<float>{10, 10, 10, 0}));
  EXPECT_EQ(zs(Make({{0, 0, 5}, {1, 0, 1}, {1, 1, 7}})), (std::vector<float>{5, 1, 7}));
  mn.FilterMinimum3();
  EXPECT_EQ(zs(mn), (std::vector<float>{0, 0, 0, 0}));
  EXPECT_EQ(med.GetTopRight().z, 10.0f);  // the old box is kept, stale in z
  EXPECT_FALSE(med.IsBoundingBoxCalculated());
  CSSE3dPolygon empty;
  empty.FilterMedian3();  // guarded: nothing to filter
  EXPECT_EQ(empty.GetNumPoints(), 0);
}

TEST(PolygonInterpolateZ, InverseSquareWeightsInDouble) {
  CSSE3dPolygon p = Make({{0, 0, 1}, {2, 0, 3}, {0, 2, 5}, {2, 2, 7}});
  // From (1, 0): squared distances 1, 1, 5, 5 -> (1 + 3 + 5/5 + 7/5) / (1 + 1 + 1/5 + 1/5).
  const double expected = (1.0 + 3.0 + 5.0 / 5.0 + 7.0 / 5.0) / (2.0 + 2.0 / 5.0);
  EXPECT_EQ(p.InterpolateZ(1.0f, 0.0f, 1, 0.0f), static_cast<float>(expected));
  // A sample within nearSq (a squared distance) answers alone.
  EXPECT_EQ(p.InterpolateZ(2.0f, 0.5f, 1, 0.25f), 3.0f);
  EXPECT_EQ(p.InterpolateZ(2.0f, 0.0f, 1, 0.0f), 3.0f);
  // Step 2 samples points 0 and 2 only (the bound n - step + 1 = 3 excludes point 3 anyway).
  const double two = (1.0 / 1.0 + 5.0 / 5.0) / (1.0 + 1.0 / 5.0);
  EXPECT_EQ(p.InterpolateZ(1.0f, 0.0f, 2, 0.0f), static_cast<float>(two));
  // Step 3: the bound is 2, so only point 0 is sampled although point 3 exists.
  EXPECT_EQ(p.InterpolateZ(2.0f, 2.0f, 3, 0.0f), 1.0f);
  EXPECT_TRUE(std::isnan(p.InterpolateZ(0.0f, 0.0f, 5, 0.0f)));
  EXPECT_TRUE(std::isnan(CSSE3dPolygon().InterpolateZ(0.0f, 0.0f, 1, 0.0f)));
}

namespace {

// Resampling written plainly from its rule, one emitted point at a time: the oracle of the two-pass
// version. Returns the points and fills map.
std::vector<P3> OracleReParametrize(const std::vector<P3>& pts, float step, bool withZ,
                                    std::vector<int>& map) {
  std::vector<P3> out;
  const int n = static_cast<int>(pts.size());
  for (int i = 0; i < n; ++i) {
    const P3& a = pts[i];
    const P3& b = pts[(i + 1) % n];
    const float d[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
    if (out.size() < 99999) map[i] = static_cast<int>(out.size());
    const bool split = std::fabs(d[0]) > step || std::fabs(d[1]) > step || (withZ && std::fabs(d[2]) > step);
    if (!split) {
      if (out.size() < 99999) out.push_back(a);
      continue;
    }
    float r =
        std::fabs(d[0]) / step > std::fabs(d[1]) / step ? std::fabs(d[0]) / step : std::fabs(d[1]) / step;
    if (withZ && std::fabs(d[2]) / step > r) r = std::fabs(d[2]) / step;
    const int k = static_cast<int>(r);
    const float m = static_cast<float>(k) + 0.5f;
    const float inc[3] = {d[0] / m, d[1] / m, d[2] / m};
    for (int t = 0; t < k && out.size() < 99999; ++t) {
      const float ft = static_cast<float>(t);
      out.push_back({a[0] + ft * inc[0], a[1] + ft * inc[1], a[2] + ft * inc[2]});
    }
  }
  return out;
}

}  // namespace

TEST(PolygonReParametrize, MatchesThePlainRuleBitForBit) {
  std::mt19937 rng(42);
  for (int trial = 0; trial < 600; ++trial) {
    const int n = 1 + trial % 9 + (trial % 40 == 0 ? 50 : 0);
    std::vector<P3> pts(static_cast<std::size_t>(n));
    const float scale = trial % 3 == 0 ? 0.37f : 1.0f;
    for (P3& p : pts)
      for (float& v : p) v = static_cast<float>(rng() % 10) * scale;
    const float step = 0.3f + static_cast<float>(rng() % 8) * 0.45f;
    const bool withZ = trial % 2 == 1;
    std::vector<int> expectedMap(static_cast<std::size_t>(n), -1), map(static_cast<std::size_t>(n), -1);
    const std::vector<P3> expected = OracleReParametrize(pts, step, withZ, expectedMap);
    CSSE3dPolygon poly = Make(pts);
    if (withZ) {
      poly.ReParametrizeXYZ(step);
    } else {
      poly.ReParametrize(step, map.data());
      ASSERT_EQ(map, expectedMap);
    }
    ASSERT_EQ(Points(poly), expected) << "trial " << trial;
  }
}
