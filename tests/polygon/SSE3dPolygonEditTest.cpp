#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "polygon/PolygonTestUtil.h"
#include "qssse/platform/Matrix4Rf.h"
#include "qssse/polygon/SSE3dPolygon.h"

using polytest::Make;
using polytest::Points;

namespace {

CSSE3dPolygon Square() { return Make({{0, 0, 1}, {2, 0, 2}, {2, 2, 3}, {0, 2, 4}}); }

}  // namespace

TEST(SSE3dPolygonEdit, TransformsAboutTheCentreAndByAMatrix) {
  CSSE3dPolygon p = Square();
  p.TransformVerticesAboutCenter(0.3f, 0.0f);
  p.CalcGeometricCenter();
  SSEPoint c;
  p.GetGeometricCenter(c);
  EXPECT_NEAR(c.x, 1.0f, 1e-5);
  EXPECT_NEAR(c.y, 1.0f, 1e-5);
  EXPECT_NEAR(c.z, 2.5f, 1e-5);
  CSSE3dPolygon q = Square();
  q.TransformUseGivenMatrix(CbMatrix4Rf::Translation(1, 2, 3), false);
  EXPECT_EQ(Points(q)[1], (polytest::P3{3, 2, 5}));
  CbMatrix4Rf twice;
  twice(0, 0) = twice(1, 1) = twice(2, 2) = 2;
  CSSE3dPolygon r = Square();
  r.TransformUseGivenMatrix(twice, true);  // scaled about the centre (1, 1, 2.5)
  EXPECT_EQ(Points(r)[0], (polytest::P3{-1, -1, -0.5f}));
}

TEST(SSE3dPolygonEdit, FlippingTurnsTheOutlineUpsideDown) {
  CSSE3dPolygon p = Square();
  p.FlipOrientationZ(false);
  EXPECT_FLOAT_EQ(p.CalcXYArea(), -8.0f);
  EXPECT_EQ(Points(p)[1], (polytest::P3{-2, 0, -2}));
  CSSE3dPolygon q = Square();
  q.FlipOrientationAndMoveCoordsZ(10);
  EXPECT_FLOAT_EQ(q.CalcXYArea(), 8.0f);  // read backwards: the turning sense is kept
  EXPECT_EQ(Points(q)[0], (polytest::P3{0, 2, 6}));
}

TEST(SSE3dPolygonEdit, HeightEdits) {
  CSSE3dPolygon p = Make({{0, 0, 3}, {1, 0, NAN}, {1, 1, -2}, {0, 1, 5}});
  p.AdaptToLowestZValue();
  for (const auto& v : Points(p)) EXPECT_EQ(v[2], -2);
  p.AdaptToHighestZValue();
  for (const auto& v : Points(p)) EXPECT_EQ(v[2], -2);
  CSSE3dPolygon q = Make({{0, 0, 0}, {1, 0, 6}, {2, 0, 0}, {3, 0, 0}, {4, 0, 3}});
  q.FilterZValues(1);  // circular three-point mean
  const auto z = Points(q);
  EXPECT_FLOAT_EQ(z[0][2], 3.0f);
  EXPECT_FLOAT_EQ(z[1][2], 2.0f);
  EXPECT_FLOAT_EQ(z[2][2], 2.0f);
  EXPECT_FLOAT_EQ(z[4][2], 1.0f);
  CSSE3dPolygon wide = q;
  wide.FilterZValues(100);  // the window is clipped to the ring: every z the ring's mean
  for (const auto& v : Points(wide)) EXPECT_NEAR(v[2], 9.0f / 5, 1e-5);
}

TEST(SSE3dPolygonEdit, NoiseIsSeededAndBounded) {
  CSSE3dPolygon a = Square(), b = Square(), c = Square();
  a.AddNoiseXY(0.5f, 7);
  b.AddNoiseXY(0.5f, 7);
  c.AddNoiseXY(0.5f, 8);
  EXPECT_FALSE(a.IsDifferentFromOtherPolygon(&b, 0.0f));
  EXPECT_TRUE(a.IsDifferentFromOtherPolygon(&c, 0.0f));
  EXPECT_FALSE(a.IsDifferentFromOtherPolygon(Square().GetNumPoints() ? &a : nullptr, 0.0f));
  const auto before = Points(Square()), after = Points(a);
  for (std::size_t i = 0; i < before.size(); ++i) {
    EXPECT_LE(std::fabs(after[i][0] - before[i][0]), 0.5f);
    EXPECT_LE(std::fabs(after[i][1] - before[i][1]), 0.5f);
    EXPECT_EQ(after[i][2], before[i][2]);
  }
}

TEST(SSE3dPolygonEdit, QuasiMinkowskiMovesAlongVertexNormals) {
  CSSE3dPolygon p = Square();
  p.DoQuasiMinkowskiDilation(std::sqrt(2.0f));  // corners move diagonally outward
  EXPECT_NEAR(Points(p)[0][0], -1, 1e-6);
  EXPECT_NEAR(Points(p)[0][1], -1, 1e-6);
  CSSE3dPolygon cw = Make({{0, 0, 0}, {0, 2, 0}, {2, 2, 0}, {2, 0, 0}});
  cw.DoQuasiMinkowskiErosion(std::sqrt(2.0f));  // the orientation decides what is outward
  EXPECT_NEAR(Points(cw)[0][0], 1, 1e-6);
  EXPECT_NEAR(Points(cw)[0][1], 1, 1e-6);
  CSSE3dPolygon r = Make({{1, 0, 0}, {0, 1, 0}, {-1, 0, 0}, {0, -1, 0}});
  r.DoQuasiMinkowskiDilationCenter(2);
  EXPECT_EQ(Points(r)[1], (polytest::P3{0, 3, 0}));
}

TEST(SSE3dPolygonEdit, HalfPlaneClipsInsertCrossingPoints) {
  CSSE3dPolygon p = Square();
  p.KeepUpperHalfPlaneY(0.5f);
  EXPECT_FLOAT_EQ(p.CalcXYArea(), 2 * 3.0f);
  const auto pts = Points(p);
  ASSERT_EQ(pts.size(), 4u);
  EXPECT_EQ(pts[0], (polytest::P3{2, 0.5f, 2.25f}));  // z interpolated on the edge (2,0,2)-(2,2,3)
  CSSE3dPolygon l = Square();
  l.KeepLeftHalfPlaneX(0.5f);
  EXPECT_FLOAT_EQ(l.CalcXYArea(), 2 * 1.0f);
  CSSE3dPolygon z = Square();
  z.KeepLowerHalfPlaneZ(2.0f);  // points 0, 1 (on the boundary: no second point) and the crossing at z = 2
  EXPECT_EQ(z.GetNumPoints(), 3);
  CSSE3dPolygon none = Square();
  none.KeepRightHalfPlaneX(5);
  EXPECT_EQ(none.GetNumPoints(), 0);
  CSSE3dPolygon all = Square();
  all.KeepUpperHalfPlaneZ(-1);
  EXPECT_EQ(all.GetNumPoints(), 4);
}

TEST(SSE3dPolygonEdit, PointSelections) {
  CSSE3dPolygon p = Square();
  p.KeepPointsBelow(3);
  EXPECT_EQ(p.GetNumPoints(), 2);
  CSSE3dPolygon pts = Make({{1, 1, 0}, {5, 5, 0}, {0.5f, 1.5f, 0}});
  CSSE3dPolygon outline = Square();
  pts.KeepPointsInInner(&outline);
  EXPECT_EQ(pts.GetNumPoints(), 2);
  pts.KeepPointsInInner(nullptr);
  EXPECT_EQ(pts.GetNumPoints(), 2);
}

TEST(SSE3dPolygonEdit, DebugSaveWritesOneLinePerPoint) {
  const std::string path = ::testing::TempDir() + "/outline_debug.xyz";
  CSSE3dPolygon p = Make({{0.5f, 1, 2}, {3, 4, 5}});
  ASSERT_TRUE(p.DebugSaveXYZ(path.c_str()));
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  EXPECT_EQ(text.str(), "0.5 1 2\n3 4 5\n");
  EXPECT_FALSE(p.DebugSaveXYZ(nullptr));
  EXPECT_FALSE(p.DebugSaveXYZ("/nonexistent-dir/x.xyz"));
  std::remove(path.c_str());
}

TEST(SSE3dPolygonDistance, DistancesToTheRing) {
  CSSE3dPolygon p = Square();
  EXPECT_FLOAT_EQ(p.GetMinEuclDistanceXY(1, 1, 1), 1.0f);
  EXPECT_FLOAT_EQ(p.GetMinEuclDistanceXY(5, 2, 1), 3.0f);
  // every second point: the ring of points 0 and 2 is the diagonal
  EXPECT_FLOAT_EQ(p.GetMinEuclDistanceXY(2, 0, 2), std::sqrt(2.0f));
  EXPECT_FLOAT_EQ(p.GetMinEuclDistance(1, -1, 1.5f, 1, true), 1.0f);
  // the closing edge (0,2,4)-(0,0,1) passes (0,1,2.5); open, the nearest is the end (0,2,4)
  EXPECT_FLOAT_EQ(p.GetMinEuclDistance(-1, 1, 2.5f, 1, true), 1.0f);
  EXPECT_FLOAT_EQ(p.GetMinEuclDistance(-1, 1, 2.5f, 1, false), std::sqrt(4.25f));
  t_resolutiondata res;
  res.resX = 2;
  res.resY = 2;
  res.resZ = 1;
  p.NormalizeXYZ(res);
  EXPECT_FLOAT_EQ(p.GetMinEuclDistanceSpecial(2, 2, 2.5f, 1), 2.0f);
  CSSE3dPolygon empty;
  EXPECT_EQ(empty.GetMinEuclDistanceXY(0, 0, 1), 1000000.0f);
}

TEST(SSE3dPolygonDistance, NearestVerticesAndPoints) {
  CSSE3dPolygon p = Make({{0, 0, 0}, {4, 0, 1}, {4, 3, 2}, {0, 3, 3}, {2, -1, 4}});
  SSEPoint q = qssse::MakeSSEPoint(4, 3, 2.2f);
  EXPECT_EQ(p.ClosestPoint(q), 2);
  EXPECT_EQ(p.ClosestPointX(3.1f), 1);
  EXPECT_EQ(p.ClosestPointY(-0.9f), 4);
  EXPECT_EQ(p.ClosestPointZ(2.6f), 3);
  EXPECT_EQ(p.ClosestPointYZ(2.9f, 1.9f), 2);
  EXPECT_EQ(p.ClosestPointXWithZLimitation(3.9f, 2.5f, 10), 4);
  EXPECT_EQ(p.ClosestPointXWithMinimalY(4, 0.1f), 1);
  EXPECT_EQ(p.ClosestPointXWithMaximalY(4, 0.1f), 2);
  EXPECT_EQ(p.ClosestPointXWithMaximalY(9, 0.1f), -1);
  EXPECT_EQ(p.FindIndexOfPoint(4.05f, 3, 2, 0.1f), 2);
  EXPECT_EQ(p.FindIndexOfPoint(4.2f, 3, 2, 0.1f), -1);
  CSSE3dPolygon patch;
  EXPECT_EQ(p.GetPointsInPatch(0, 0, 4, 3, patch), 4);
  EXPECT_EQ(Points(patch)[3], (polytest::P3{0, 3, 3}));
  SSEPoint nearest;
  int edge = -1;
  ASSERT_TRUE(p.FindNearestPointOnLine(qssse::MakeSSEPoint(5, 1.5f, 0), nearest, edge));
  EXPECT_EQ(edge, 1);
  EXPECT_FLOAT_EQ(nearest.x, 4);
  EXPECT_FLOAT_EQ(nearest.y, 1.5f);
  EXPECT_FLOAT_EQ(nearest.z, 1.5f);
}

TEST(SSE3dPolygonIntersect, LineAcrossTheArea) {
  CSSE3dPolygon p = Square();
  CSSE3dPolygon hits;
  EXPECT_EQ(p.IntersectPolygonAreaWithLine(qssse::MakeSSEPoint(-1, 1, 0), qssse::MakeSSEPoint(5, 1, 0), hits), 2);
  EXPECT_EQ(Points(hits)[0], (polytest::P3{0, 1, 2.5f}));
  EXPECT_EQ(Points(hits)[1], (polytest::P3{2, 1, 2.5f}));
  // through two corners: each corner counts once
  EXPECT_EQ(p.IntersectPolygonAreaWithLine(qssse::MakeSSEPoint(-1, -1, 0), qssse::MakeSSEPoint(3, 3, 0), hits), 2);
  EXPECT_EQ(p.IntersectPolygonAreaWithLine(qssse::MakeSSEPoint(-1, 5, 0), qssse::MakeSSEPoint(3, 5, 0), hits), 0);
  EXPECT_EQ(p.IntersectPolygonAreaWithLine(qssse::MakeSSEPoint(1, 1, 0), qssse::MakeSSEPoint(1, 1, 7), hits), 0);
  EXPECT_TRUE(p.IntersectsPolygonWithCylinderXYPlane(1, 1, 1.0f));
  EXPECT_FALSE(p.IntersectsPolygonWithCylinderXYPlane(1, 1, 0.9f));
  SSEPoint hit;
  int edge = -1;
  ASSERT_TRUE(p.FindIntersection(qssse::MakeSSEPoint(1, 3, 0), qssse::MakeSSEPoint(1, -3, 0), hit, edge));
  EXPECT_EQ(edge, 2);  // the top edge, met first coming down
  EXPECT_FLOAT_EQ(hit.y, 2);
  EXPECT_FLOAT_EQ(hit.z, 3.5f);
  EXPECT_FALSE(p.FindIntersection(qssse::MakeSSEPoint(5, 5, 0), qssse::MakeSSEPoint(6, 6, 0), hit, edge));
}

TEST(SSE3dPolygonIntersect, PolygonInsidePolygon) {
  CSSE3dPolygon big = Make({{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}});
  CSSE3dPolygon small = Make({{1, 1, 0}, {3, 1, 0}, {3, 3, 0}});
  EXPECT_TRUE(big.PolygonInThisPolygon(&small));
  EXPECT_TRUE(big.PolygonInThisPolygonWithDeltaDistance(&small, 1.0f));
  EXPECT_FALSE(big.PolygonInThisPolygonWithDeltaDistance(&small, 1.5f));
  EXPECT_FALSE(small.PolygonInThisPolygon(&big));
  EXPECT_FALSE(big.PolygonInThisPolygon(nullptr));
}
