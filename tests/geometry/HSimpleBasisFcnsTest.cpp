#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "GeometryTestSupport.h"
#include "qssse/geometry/HPolygonTriangulator.h"
#include "qssse/geometry/HSimpleBasisFcns.h"

namespace {

using F = CHSimpleBasisFcns;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

t_h2dpoint Pt(float x, float y) { return t_h2dpoint{x, y}; }
SSEPoint P(float x, float y, float z = 0.0f, float w = 0.0f) { return qssse::MakeSSEPoint(x, y, z, w); }

// Links the vertices into a ring in the given order.
void LinkRing(t_hvertex* v, int n) {
  for (int i = 0; i < n; ++i) {
    v[i].vnum = i;
    v[i].next = &v[(i + 1) % n];
    v[i].prev = &v[(i + n - 1) % n];
  }
}

TEST(HSimpleBasisFcns, AreaToleranceIsAbsoluteAndExcludesItsOwnValueAndNaNCountsAsCollinear) {
  // c against the base (0, 0) -> (1, 0): a doubled area of exactly +-0.0005 is no turn yet.
  const struct {
    t_h2dpoint c;
    bool left, leftOn, collinear;
    float sign;
  } cases[] = {
      {Pt(0, 0.0005f), false, true, true, 0.0f},  {Pt(0, -0.0005f), false, true, true, 0.0f},
      {Pt(0, 0.001f), true, true, false, 1.0f},   {Pt(0, -0.001f), false, false, false, -1.0f},
      {Pt(kNaN, 1), false, true, true, 0.0f},
  };
  const t_h2dpoint a = Pt(0, 0), b = Pt(1, 0);
  for (const auto& k : cases) {
    EXPECT_EQ(F::Left(&a, &b, &k.c), k.left) << k.c.x << "," << k.c.y;
    EXPECT_EQ(F::LeftOn(&a, &b, &k.c), k.leftOn) << k.c.x << "," << k.c.y;
    EXPECT_EQ(F::Collinear(&a, &b, &k.c), k.collinear) << k.c.x << "," << k.c.y;
    EXPECT_EQ(F::AreaSign(&a, &b, &k.c), k.sign) << k.c.x << "," << k.c.y;
  }
  // Not scaled by the data: a long base turns a tiny offset into a clear turn.
  const t_h2dpoint far = Pt(1000, 0), tiny = Pt(500, 0.000001f);
  EXPECT_TRUE(F::Left(&a, &far, &tiny));
}

TEST(HSimpleBasisFcns, BetweenIsClosedAndUsesYForVerticalAndDegenerateSegments) {
  // a = b takes the vertical branch, so only y must agree (any c is collinear with a point).
  const struct {
    t_h2dpoint a, b, c;
    bool between;
  } cases[] = {
      {Pt(0, 0), Pt(4, 0), Pt(2, 0), true},  {Pt(0, 0), Pt(4, 0), Pt(4, 0), true},
      {Pt(4, 0), Pt(0, 0), Pt(2, 0), true},  {Pt(0, 0), Pt(4, 0), Pt(5, 0), false},
      {Pt(0, 0), Pt(4, 0), Pt(2, 1), false}, {Pt(1, 0), Pt(1, 3), Pt(1, 3), true},
      {Pt(1, 0), Pt(1, 3), Pt(1, 4), false}, {Pt(1, 1), Pt(1, 1), Pt(1, 1), true},
      {Pt(1, 1), Pt(1, 1), Pt(5, 1), true},  {Pt(1, 1), Pt(1, 1), Pt(1, 2), false},
  };
  for (const auto& k : cases) EXPECT_EQ(F::Between(&k.a, &k.b, &k.c), k.between) << k.c.x << "," << k.c.y;
}

TEST(HSimpleBasisFcns, SharedEndpointIntersectsButNotProperly) {
  // ab from (0, 0) to (2, 2) against cd: {c, d, proper, any}.
  const struct {
    t_h2dpoint c, d;
    bool proper, any;
  } cases[] = {
      {Pt(0, 2), Pt(2, 0), true, true},    // crossing
      {Pt(2, 2), Pt(4, 0), false, true},   // shared endpoint b
      {Pt(1, 1), Pt(3, -1), false, true},  // T-junction: c lies on ab
      {Pt(3, 0), Pt(4, 1), false, false},
      {Pt(1, 1), Pt(5, 5), false, true},   // collinear overlap
  };
  const t_h2dpoint a = Pt(0, 0), b = Pt(2, 2);
  for (const auto& k : cases) {
    EXPECT_EQ(F::IntersectProp(&a, &b, &k.c, &k.d), k.proper) << k.c.x << "," << k.c.y;
    EXPECT_EQ(F::Intersect(&a, &b, &k.c, &k.d), k.any) << k.c.x << "," << k.c.y;
  }
}

TEST(HSimpleBasisFcns, InConeAtConvexAndReflexCorners) {
  // Counter-clockwise L: vertex 3 at (1, 1) is the reflex corner.
  t_hvertex v[6];
  const float xy[6][2] = {{0, 0}, {2, 0}, {2, 1}, {1, 1}, {1, 2}, {0, 2}};
  for (int i = 0; i < 6; ++i) v[i].x = xy[i][0], v[i].y = xy[i][1];
  LinkRing(v, 6);
  EXPECT_TRUE(F::InCone(&v[0], &v[2]));  // convex corner, diagonal inside
  EXPECT_TRUE(F::InCone(&v[0], &v[3]));
  EXPECT_FALSE(F::InCone(&v[2], &v[4]));  // from (2, 1) towards (1, 2): outside the corner's angle
  EXPECT_TRUE(F::InCone(&v[3], &v[0]));   // reflex corner: anything but the notch
  EXPECT_TRUE(F::InCone(&v[3], &v[1]));
  t_hvertex notch;
  notch.x = 2, notch.y = 2;
  EXPECT_FALSE(F::InCone(&v[3], &notch));
  // Along a side of the corner is not inside.
  EXPECT_FALSE(F::InCone(&v[0], &v[1]));
}

TEST(HSimpleBasisFcns, GetIntersectionWritesTheLineCrossingAndTheParallelEndpointRule) {
  // Disjoint, not parallel: false, but p is the crossing of the supporting lines. Parallel, first segment
  // longer: c, or d when c is one of a, b (overlap changes nothing). Second segment at least as long: b
  // when a.x = c.x with a.y and c.y both non-zero (the zero test, not a.y = c.y, decides), else a.
  const struct {
    t_h2dpoint a, b, c, d;
    bool meet;
    t_h2dpoint p;
  } cases[] = {
      {Pt(0, 0), Pt(2, 2), Pt(0, 2), Pt(2, 0), true, Pt(1, 1)},
      {Pt(0, 0), Pt(2, 2), Pt(2, 2), Pt(4, 0), true, Pt(2, 2)},  // at an end: both ranges are inclusive
      {Pt(0, 0), Pt(2, 2), Pt(3, 0), Pt(3, 1), false, Pt(3, 3)},
      {Pt(0, 0), Pt(4, 0), Pt(1, 1), Pt(2, 1), false, Pt(1, 1)},
      {Pt(0, 0), Pt(4, 0), Pt(1, 0), Pt(2, 0), false, Pt(1, 0)},
      {Pt(0, 0), Pt(4, 0), Pt(4, 0), Pt(2, 0), false, Pt(2, 0)},  // c equals b: d
      {Pt(1, 1), Pt(2, 1), Pt(1, 5), Pt(9, 5), false, Pt(2, 1)},
      {Pt(1, 0), Pt(2, 0), Pt(1, 5), Pt(9, 5), false, Pt(1, 0)},
      {Pt(9, 5), Pt(10, 5), Pt(0, 5), Pt(9, 5), false, Pt(10, 5)},  // a equals d
  };
  for (const auto& k : cases) {
    t_h2dpoint p;
    EXPECT_EQ(F::GetIntersection(&k.a, &k.b, &k.c, &k.d, &p), k.meet) << k.c.x << "," << k.c.y;
    EXPECT_EQ(p.x, k.p.x) << k.c.x << "," << k.c.y;
    EXPECT_EQ(p.y, k.p.y) << k.c.x << "," << k.c.y;
  }

  // The SSEPoint form: z becomes 0, w is kept.
  SSEPoint q = P(7, 7, 7, 3);
  EXPECT_TRUE(F::GetIntersection(P(0, 0, 9), P(2, 2, 9), P(0, 2), P(2, 0), q));
  EXPECT_TRUE(geomtest::IsPoint(q, 1, 1, 0, 3));
}

TEST(HSimpleBasisFcns, GetIntersectionFormsItsProductsInDouble) {
  // Large coordinates with a crossing that float products would misplace by several units.
  const t_h2dpoint a = Pt(100000, 100001), b = Pt(300001, 300000), c = Pt(100000, 300000),
                   d = Pt(300000, 100003);
  t_h2dpoint p;
  EXPECT_TRUE(F::GetIntersection(&a, &b, &c, &d, &p));
  const double denom = 300001.0 * (300000.0 - 100003.0) + 100000.0 * (100003.0 - 300000.0) +
                       300000.0 * (300000.0 - 100001.0) + 100000.0 * (100001.0 - 300000.0);
  const double s = (100000.0 * (100001.0 - 100003.0) + 100000.0 * (100003.0 - 300000.0) +
                    300000.0 * (300000.0 - 100001.0)) /
                   denom;
  EXPECT_EQ(p.x, static_cast<float>(200001.0 * s + 100000.0));
  EXPECT_EQ(p.y, static_cast<float>(199999.0 * s + 100001.0));
}

class ParallelIntProbe : public CHSimpleBasisFcns {
 public:
  using CHSimpleBasisFcns::ParallelInt;
};

TEST(HSimpleBasisFcns, ParallelIntReportsTheFirstContainedEndpoint) {
  const t_h2dpoint a = Pt(0, 0), b = Pt(4, 0), c = Pt(6, 0), d = Pt(3, 0), off = Pt(1, 1), far = Pt(9, 0);
  t_h2dpoint p;
  EXPECT_TRUE(ParallelIntProbe::ParallelInt(&a, &b, &c, &d, &p));  // c beyond b, d inside
  EXPECT_EQ(p.x, 3.0f);
  EXPECT_TRUE(ParallelIntProbe::ParallelInt(&d, &c, &a, &b, &p));  // only b of the second lies on the first
  EXPECT_EQ(p.x, 4.0f);
  EXPECT_FALSE(ParallelIntProbe::ParallelInt(&a, &b, &off, &d, &p));
  EXPECT_FALSE(ParallelIntProbe::ParallelInt(&a, &d, &c, &far, &p));  // collinear, no overlap
}

TEST(HSimpleBasisFcns, VertexAlreadyThereComparesAllFourLanesStrictly) {
  alignas(16) SSEPoint pts[3] = {P(0, 0, 0), P(1, 2, 3, 0), P(1, 2, 3, 0)};
  EXPECT_EQ(F::VertexAlreadyThereInArray(pts, pts[1], 0), -1);
  EXPECT_EQ(F::VertexAlreadyThereInArray(pts, P(1.00005f, 2, 3), 3), 1);    // first of the equal ones
  EXPECT_EQ(F::VertexAlreadyThereInArray(pts, P(1, 2, 3, 0.001f), 3), -1);  // w counts
  EXPECT_EQ(F::VertexAlreadyThereInArray(pts, P(1, 2, 3.001f), 3), -1);     // z counts
  EXPECT_EQ(F::VertexAlreadyThereInArray(pts, P(kNaN, 0, 0), 3), -1);
  EXPECT_EQ(F::VertexAlreadyThereInArray(pts, P(1, 2, 3), 1), -1);  // only the first count points
  EXPECT_EQ(static_cast<unsigned int>(F::VertexAlreadyThereInArray(pts, P(5, 5, 5), 3)), 0xFFFFFFFFu);
}

TEST(HSimpleBasisFcns, LineDirectionsAndNormals) {
  t_vector dir{9, 9, 9};
  F::FindLine(Pt(3, 4), Pt(0, 0), dir);
  EXPECT_FLOAT_EQ(dir.x, 0.6f);
  EXPECT_FLOAT_EQ(dir.y, 0.8f);
  EXPECT_EQ(dir.z, 0.0f);
  F::FindLine(Pt(2, 2), Pt(2, 2), dir);
  EXPECT_EQ(dir.x, 0.0f);
  EXPECT_EQ(dir.y, 0.0f);

  // {direction, normal}: no turning sense, x of the normal stays positive.
  const float r2 = 0.70710677f, r5 = 1.0f / std::sqrt(5.0f);
  const t_vector normals[][2] = {{{5, 0, 0}, {0, 1, 0}},    {{0, 0, 0}, {0, 1, 0}}, {{1, 1, 0}, {r2, -r2, 0}},
                                 {{0, 1, 0}, {1, 0, 0}},    {{-2, 1, 0}, {r5, 2 * r5, 0}}};
  for (const auto& [d, expected] : normals) {
    t_vector n;
    F::FindOrthogonal(d, n);
    EXPECT_FLOAT_EQ(n.x, expected.x) << d.x << "," << d.y;
    EXPECT_FLOAT_EQ(n.y, expected.y) << d.x << "," << d.y;
  }
}

TEST(HSimpleBasisFcns, FootPointAndLineParameters) {
  SSEPoint foot = P(0, 0, 5, 7);
  F::FindFoodPoint(t_vector{2, 0, 0}, P(1, 1, 4), P(3, 5, 4), foot);
  EXPECT_TRUE(geomtest::IsPoint(foot, 3, 1, 0, 7));
  F::FindFoodPoint(t_vector{0, 0, 1}, P(1, 1), P(3, 5), foot);  // no planar direction: all four zero
  EXPECT_TRUE(geomtest::IsPoint(foot, 0, 0, 0, 0));

  SSEPoint q = P(0, 0, 5, 7);
  F::FindPointOnLine(t_vector{0.6f, 0.8f, 0}, P(1, 1), 5.0f, q);
  EXPECT_FLOAT_EQ(q.x, 4.0f);
  EXPECT_FLOAT_EQ(q.y, 5.0f);
  EXPECT_EQ(q.z, 0.0f);
  EXPECT_EQ(q.w, 7.0f);

  float t = 9;
  F::FindParameterOfPoint(t_vector{0.6f, 0.8f, 0}, P(1, 1), P(1, 1), t);
  EXPECT_EQ(t, 0.0f);
  F::FindParameterOfPoint(t_vector{0.6f, 0.8f, 0}, P(1, 1), P(4, 5), t);
  EXPECT_FLOAT_EQ(t, 5.0f);
  F::FindParameterOfPoint(t_vector{0, 1, 0}, P(1, 1), P(1.00005f, 5), t);  // x offset within 0.0001: y
  EXPECT_EQ(t, 4.0f);
  F::FindParameterOfPoint(t_vector{0, 1, 0}, P(1, 1), P(2, 5), t);  // chosen by the offset, not by dir
  EXPECT_TRUE(std::isinf(t));
}

TEST(HSimpleBasisFcns, HalfPlaneFlagChoosesSideAndBoundary) {
  // x + y against 2.
  EXPECT_TRUE(F::IsPointInHalfeplain(1, 1, 2, true, P(1, 1)));
  EXPECT_FALSE(F::IsPointInHalfeplain(1, 1, 2, false, P(1, 1)));
  EXPECT_TRUE(F::IsPointInHalfeplain(1, 1, 2, true, P(3, 0)));
  EXPECT_FALSE(F::IsPointInHalfeplain(1, 1, 2, false, P(3, 0)));
  EXPECT_TRUE(F::IsPointInHalfeplain(1, 1, 2, false, P(0, 0)));
  EXPECT_FLOAT_EQ(F::GetDistance(P(0, 0, 100), P(3, 4, -100)), 5.0f);
}

TEST(HSimpleBasisFcns, RealAngleFoldsIntoOneTurnAroundZero) {
  const float pi = 3.1415927f;
  EXPECT_FLOAT_EQ(F::GetRealAngle(1.5f * pi), -0.5f * pi);
  EXPECT_EQ(F::GetRealAngle(-pi), -pi);
  EXPECT_EQ(F::GetRealAngle(pi), -pi);
  EXPECT_EQ(F::GetRealAngle(pi - 0.00005f), pi - 0.00005f - 6.2831855f);  // within 0.0001 of π
  EXPECT_EQ(F::GetRealAngle(0.0f), 0.0f);
  EXPECT_EQ(F::GetRealAngle(7.0f), 7.0f - 6.2831855f);
  EXPECT_FLOAT_EQ(F::GetRealAngle(-7.0f), -7.0f + 6.2831855f);  // two turns up, one down
  // Huge and non-finite input ends quickly: reduced first, or NaN.
  for (const float big : {3.0e6f, -3.0e6f, 1.0e30f, -std::numeric_limits<float>::max()}) {
    const float r = F::GetRealAngle(big);
    EXPECT_GE(r, -pi) << big;
    EXPECT_LT(r, pi) << big;
  }
  EXPECT_TRUE(std::isnan(F::GetRealAngle(std::numeric_limits<float>::infinity())));
  EXPECT_TRUE(std::isnan(F::GetRealAngle(kNaN)));
}

}  // namespace
