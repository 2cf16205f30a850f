#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "PolygonTestUtil.h"

using polytest::Make;
using polytest::P3;
using polytest::Points;

namespace {

// Resampling written plainly from its rule, one emitted point at a time: the oracle of the two-pass
// version.
std::vector<P3> OracleReParametrize(const std::vector<P3>& pts, float step, bool withZ,
                                    std::vector<int>& map) {
  std::vector<P3> out;
  const int n = static_cast<int>(pts.size());
  for (int i = 0; i < n; ++i) {
    const P3 &a = pts[i], &b = pts[(i + 1) % n];
    const float d[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
    if (out.size() < 99999) map[i] = static_cast<int>(out.size());
    if (!(std::fabs(d[0]) > step || std::fabs(d[1]) > step || (withZ && std::fabs(d[2]) > step))) {
      if (out.size() < 99999) out.push_back(a);
      continue;
    }
    float r = std::fmax(std::fabs(d[0]) / step, std::fabs(d[1]) / step);
    if (withZ) r = std::fmax(r, std::fabs(d[2]) / step);
    const int k = static_cast<int>(r);
    const float m = static_cast<float>(k) + 0.5f;
    for (int t = 0; t < k && out.size() < 99999; ++t) {
      const float ft = static_cast<float>(t);
      out.push_back({a[0] + ft * (d[0] / m), a[1] + ft * (d[1] / m), a[2] + ft * (d[2] / m)});
    }
  }
  return out;
}

std::vector<float> Zs(const CSSE3dPolygon& p) {
  std::vector<float> z;
  for (const P3& q : Points(p)) z.push_back(q[2]);
  return z;
}

}  // namespace

TEST(PolygonReParametrize, CountsFollowTheMaximumNormAndTheHalfStepDivisor) {
  CSSE3dPolygon sq = Make({{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}});
  sq.CalcBoundingBox();
  sq.ReParametrize(1.0f);
  EXPECT_EQ(sq.GetNumPoints(), 40);
  EXPECT_EQ(Points(sq)[9][0], 9.0f * (10.0f / 10.5f));  // stops 1.5 increments short of (10, 0)
  EXPECT_EQ(sq.GetTopRight().x, 10.0f);  // the stored box is kept, the flag cleared
  EXPECT_FALSE(sq.IsBoundingBoxCalculated());
  sq.ReParametrize(20.0f);
  EXPECT_EQ(sq.GetNumPoints(), 40);
  sq.ReParametrize(0.0f);  // guarded: no effect
  EXPECT_EQ(sq.GetNumPoints(), 40);

  // Only the XYZ form splits an edge whose z changes by more than the step.
  CSSE3dPolygon xy = Make({{0, 0, 0}, {0.5f, 0, 5}, {0.5f, 0.5f, 5}}), xyz = xy;
  xy.ReParametrize(1.0f);
  xyz.ReParametrizeXYZ(1.0f);
  EXPECT_EQ(xy.GetNumPoints(), 3);
  EXPECT_EQ(xyz.GetNumPoints(), 5 + 1 + 5);

  CSSE3dPolygon longLine = Make({{0, 0, 0}, {60000, 0, 0}, {60000, 1, 0}});
  std::vector<int> capped(3, -7);
  longLine.ReParametrize(0.5f, capped.data());
  EXPECT_EQ(longLine.GetNumPoints(), 99999);
  EXPECT_EQ(capped[1], -7);  // its emission was cut by the cap
}

TEST(PolygonReParametrize, MatchesThePlainRuleBitForBit) {
  std::mt19937 rng(42);
  for (int trial = 0; trial < 600; ++trial) {
    const int n = 1 + trial % 9 + (trial % 40 == 0 ? 50 : 0);
    std::vector<P3> pts(static_cast<std::size_t>(n));
    const float scale = trial % 3 == 0 ? 0.37f : 1.0f;
    for (P3& p : pts)
      for (float& v : p) v = static_cast<float>(rng() % 10) * scale;
    const float step = 0.3f + static_cast<float>(rng() % 8) * 0.45f;
    std::vector<int> expectedMap(static_cast<std::size_t>(n), -1), map(static_cast<std::size_t>(n), -1);
    const std::vector<P3> expected = OracleReParametrize(pts, step, trial % 2 == 1, expectedMap);
    CSSE3dPolygon poly = Make(pts);
    if (trial % 2 == 1) {
      poly.ReParametrizeXYZ(step);
    } else {
      poly.ReParametrize(step, map.data());
      ASSERT_EQ(map, expectedMap);
    }
    ASSERT_EQ(Points(poly), expected) << "trial " << trial;
  }
}

TEST(PolygonSubsample, KeepsEveryKthPointAndTheEndOrTheClosingMidpoint) {
  std::vector<P3> ten;
  for (int i = 0; i < 10; ++i) ten.push_back({static_cast<float>(i), static_cast<float>(2 * i), 1.0f});
  CSSE3dPolygon open = Make(ten), closed = Make(ten), all = Make(ten);
  open.CalcBoundingBox();
  open.Subsample(3, false);
  EXPECT_EQ(Points(open), (std::vector<P3>{{0, 0, 1}, {3, 6, 1}, {9, 18, 1}}));
  EXPECT_EQ(open.GetTopRight().x, 0.0f);  // box and centre come back zero
  closed.Subsample(3, true);
  EXPECT_EQ(Points(closed), (std::vector<P3>{{0, 0, 1}, {3, 6, 1}, {1.5f, 3, 1}}));
  all.Subsample(1, false);  // the last point is already kept
  EXPECT_EQ(Points(all), ten);
  // Guarded: k = 0, and a closed thinning that keeps nothing, leave the polygon as it is.
  CSSE3dPolygon two = Make({{0, 0, 0}, {1, 0, 0}});
  two.Subsample(0, false);
  two.Subsample(5, true);
  EXPECT_EQ(two.GetNumPoints(), 2);
  two.Subsample(5, false);  // open: nothing kept, the end added
  EXPECT_EQ(Points(two), (std::vector<P3>{{1, 0, 0}}));
}

TEST(PolygonRemoveEqualPoints, NeverRemovesTwoPointsInARow) {
  CSSE3dPolygon p = Make({{0, 0, 0}, {0.2f, 0.2f, 1}, {0.4f, 0.4f, 2}, {5, 5, 3}, {5.5f, 5.5f, 3}});
  p.RemoveEqualPointsXY();  // Manhattan distance 1 exactly is not a duplicate
  EXPECT_EQ(Points(p), (std::vector<P3>{{0, 0, 0}, {0.4f, 0.4f, 2}, {5, 5, 3}, {5.5f, 5.5f, 3}}));
  std::mt19937 rng(42);
  for (int trial = 0; trial < 400; ++trial) {
    std::vector<P3> pts(static_cast<std::size_t>(1 + trial % 23));
    for (P3& q : pts)
      q = {static_cast<float>(rng() % 10) * 0.5f, static_cast<float>(rng() % 10) * 0.5f, 0.0f};
    const int i = static_cast<int>(rng() % 30) - 3;
    const float px = static_cast<float>(rng() % 10) * 0.5f, py = static_cast<float>(rng() % 10) * 0.5f;
    const float tol = static_cast<float>(rng() % 4) * 0.5f;
    bool expected = false;  // the plain scan over the points before i (clamped)
    for (int j = 0; j < std::min(std::max(i, 0), static_cast<int>(pts.size()) - 1); ++j)
      expected = expected || std::fabs(pts[j][0] - px) + std::fabs(pts[j][1] - py) < tol;
    ASSERT_EQ(Make(pts).PointAlreadyThereInArrayXY(i, qssse::MakeSSEPoint(px, py, 0), tol), expected);
  }
}

namespace {

// The plain rule: every earlier input point is looked at, one by one.
std::vector<P3> RemoveEqualPointsPlain(const std::vector<P3>& pts) {
  std::vector<P3> kept{pts[0]};
  int lastRemoved = -2;
  for (int i = 1; i < static_cast<int>(pts.size()); ++i) {
    bool near = false;
    for (int j = 0; j < i; ++j)
      near = near || std::fabs(pts[j][0] - pts[i][0]) + std::fabs(pts[j][1] - pts[i][1]) < 1.0f;
    if (lastRemoved != i - 1 && near) {
      lastRemoved = i;
    } else {
      kept.push_back(pts[i]);
    }
  }
  return kept;
}

}  // namespace

// Large outlines go through a grid of unit cells: it must drop exactly the points the plain rule drops,
// also at Manhattan distance exactly 1 and with negative coordinates straddling cell borders. Huge and
// non-finite coordinates stay on the grid too (they sent large outlines to the plain scan, quadratic: a
// finely resampled ring with a NaN point took 16 s): values from 2^30 on, where only an equal value is
// within 1, the floats next to 2^30, and NaN and infinities, which are near nothing.
TEST(PolygonRemoveEqualPoints, GridMatchesThePlainRuleOnLargeOutlinesAlsoWithHugeAndNonFiniteCoordinates) {
  const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
  const float values[] = {0.0f,   0.5f,    -0.75f, 1073741824.0f, 1073741760.0f, 1073741952.0f, -1073741824.0f,
                          3e9f,   -3e9f,   1e30f,  -1e30f,        3.4e38f,       -3.4e38f,      inf,
                          -inf,   nan,     16777216.0f, 16777218.0f};
  const int kinds = static_cast<int>(sizeof values / sizeof values[0]);
  for (const bool huge : {false, true}) {
    std::mt19937 rng(42);
    for (int trial = 0; trial < 60; ++trial) {
      std::vector<P3> pts(static_cast<std::size_t>(64 + trial * (huge ? 5 : 7)));
      for (P3& q : pts) {
        q = huge ? P3{values[rng() % kinds], values[rng() % kinds], static_cast<float>(trial)}
                 : P3{static_cast<float>(static_cast<int>(rng() % 40) - 20) * 0.25f,
                      static_cast<float>(static_cast<int>(rng() % 40) - 20) * 0.5f, static_cast<float>(trial)};
      }
      CSSE3dPolygon poly = Make(pts);
      poly.RemoveEqualPointsXY();
      const std::vector<P3> got = Points(poly), expected = RemoveEqualPointsPlain(pts);
      ASSERT_EQ(got.size(), expected.size()) << "trial " << trial << (huge ? " huge" : "");
      for (std::size_t k = 0; k < got.size(); ++k)  // NaN compares unequal: compare the bits
        ASSERT_EQ(std::memcmp(&got[k], &expected[k], sizeof(P3)), 0) << "trial " << trial << " point " << k;
    }
  }
}

TEST(PolygonReducePoints, DropsDuplicatesThenStraightRuns) {
  CSSE3dPolygon p =
      Make({{0, 0, 0}, {0.00005f, 0, 0}, {1, 0, 0}, {2, 0, 0}, {2, 1, 0}, {2, 2, 0}, {0, 2, 0}});
  p.ReducePoints();
  EXPECT_EQ(Points(p), (std::vector<P3>{{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}}));
  CSSE3dPolygon dot = Make({{1, 1, 0}, {1, 1, 0}, {1, 1, 0}});
  dot.ReducePoints();  // one point left by pass 1; pass 2 stops at once
  EXPECT_EQ(dot.GetNumPoints(), 1);
}

TEST(PolygonFilters, CircularMedianMaximumMinimumOfZ) {
  const std::vector<P3> pts = {{0, 0, 0}, {1, 0, 10}, {1, 1, 0}, {0, 1, 0}};
  CSSE3dPolygon med = Make(pts), mx = Make(pts), mn = Make({{0, 0, 5}, {1, 0, 1}, {1, 1, 7}});
  med.CalcBoundingBox();
  med.FilterMedian3();
  mx.FilterMaximum3();
  mn.FilterMinimum3();
  EXPECT_EQ(Zs(med), (std::vector<float>{0, 0, 0, 0}));
  EXPECT_EQ(Zs(mx), (std::vector<float>{10, 10, 10, 0}));
  EXPECT_EQ(Zs(mn), (std::vector<float>{1, 1, 1}));
  EXPECT_EQ(med.GetTopRight().z, 10.0f);  // the old box is kept, stale in z
  CSSE3dPolygon empty;
  empty.FilterMedian3();  // guarded: nothing to filter
  EXPECT_EQ(empty.GetNumPoints(), 0);
}

TEST(PolygonInterpolateZ, InverseSquareWeightsInDoubleAndTheLowFormLeansLow) {
  CSSE3dPolygon p = Make({{0, 0, 1}, {2, 0, 3}, {0, 2, 5}, {2, 2, 7}});
  // From (1, 0): squared distances 1, 1, 5, 5.
  const double all = (1.0 + 3.0 + 5.0 / 5.0 + 7.0 / 5.0) / (2.0 + 2.0 / 5.0);
  EXPECT_EQ(p.InterpolateZ(1.0f, 0.0f, 1, 0.0f), static_cast<float>(all));
  EXPECT_EQ(p.InterpolateZ(2.0f, 0.5f, 1, 0.25f), 3.0f);  // within nearSq, a squared distance
  // Step 2 samples points 0 and 2; step 3 only point 0, since the bound n - step + 1 = 2 stops it.
  EXPECT_EQ(p.InterpolateZ(1.0f, 0.0f, 2, 0.0f), static_cast<float>((1.0 + 5.0 / 5.0) / (1.0 + 1.0 / 5.0)));
  EXPECT_EQ(p.InterpolateZ(2.0f, 2.0f, 3, 0.0f), 1.0f);
  EXPECT_TRUE(std::isnan(p.InterpolateZ(0.0f, 0.0f, 5, 0.0f)));
  // The low form leans to the lower side.
  CSSE3dPolygon q = Make({{0, 0, 0}, {2, 0, 10}, {2, 2, 10}, {0, 2, 0}});
  EXPECT_FLOAT_EQ(q.InterpolateZ(1, 1, 1, 0.0f), 5.0f);
  EXPECT_FLOAT_EQ(q.InterpolateZLow(1, 1, 1, 0.0f), 0.0f);
  EXPECT_FLOAT_EQ(q.InterpolateZLow(2, 2, 1, 0.01f), 10.0f);  // on a sample: its own z
}
