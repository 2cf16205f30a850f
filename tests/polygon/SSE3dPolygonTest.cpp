#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "PolygonTestUtil.h"
#include "qssse/platform/DmHermiteSpline.h"
#include "qssse/platform/DmPolyLineOld.h"
#include "qssse/raster/PixelChain.h"

using polytest::Make;
using polytest::P3;
using polytest::Points;
using polytest::UnitSquare;

namespace {

std::unique_ptr<DmPolyLineOld> Line(const std::vector<P3>& pts, bool closed) {
  auto line = std::make_unique<DmPolyLineOld>();
  for (const P3& p : pts) line->AppendVertexTail(CbVector3f(p[0], p[1], p[2]));
  line->SetClosed(closed);
  return line;
}

}  // namespace

TEST(PolygonStorage, CreateFreeAndIgnoredIndices) {
  CSSE3dPolygon p;
  p.Create(0);
  EXPECT_EQ(p.GetNumPoints(), 0);
  p.Free();
  p.Create(-3);
  EXPECT_EQ(p.GetNumPoints(), 0);
  p = Make({{1, 2, 3}, {4, 5, 6}});
  p.CalcBoundingBox();
  p.SetPoint(2, 9, 9, 9);
  p.SetPointX(-1, 9);
  EXPECT_TRUE(p.IsBoundingBoxCalculated());  // ignored writes do not clear the flag
  float x = -7, y = -7, z = -7;
  p.GetPoint(5, x, y, z);
  EXPECT_EQ(x, -7.0f);
  SSEPoint q = qssse::MakeSSEPoint(1, 1, 1, 1);
  p.GetPointSSE(2, q);
  EXPECT_EQ(q.x + q.y + q.z + q.w, 0.0f);
  p.SetPointZY(1, 60, 50);
  p.GetPointXZ(1, x, z);
  EXPECT_EQ(x, 4.0f);
  EXPECT_EQ(z, 60.0f);
  EXPECT_FALSE(p.IsBoundingBoxCalculated());
  p.SetPointSSE(0, qssse::MakeSSEPoint(7, 8, 9, 99));
  p.GetPointXYSSE(0, q);
  EXPECT_EQ(q.x, 7.0f);
  EXPECT_EQ(q.z, 0.0f);
  p.AddValueToAllYValues(1.0f);
  p.SetAllZValues(-1.0f);
  EXPECT_EQ(Points(p), (std::vector<P3>{{7, 9, -1}, {4, 51, -1}}));
}

TEST(PolygonStorage, ClosedAndModuloIndexing) {
  CSSE3dPolygon p = Make({{1, 0, 0}, {2, 0, 0}, {3, 0, 0}});
  SSEPoint q;
  p.GetPointSSEClosed(4, q);
  EXPECT_EQ(q.x, 2.0f);
  p.GetPointSSEClosed(-1, q);  // truncated remainder: negative indices give the zero point
  EXPECT_EQ(q.x, 0.0f);
  p.GetPointSSEModulo(-1, q);
  EXPECT_EQ(q.x, 3.0f);
  p.GetPointSSEModulo(-7, q);
  EXPECT_EQ(q.x, 3.0f);
  CSSE3dPolygon empty;  // guarded: the zero point instead of a division by zero
  q = qssse::MakeSSEPoint(5, 5, 5);
  empty.GetPointSSEClosed(3, q);
  EXPECT_EQ(q.x, 0.0f);
  q = qssse::MakeSSEPoint(5, 5, 5);
  empty.GetPointSSEModulo(3, q);
  EXPECT_EQ(q.x, 0.0f);
}

TEST(PolygonBoundingBox, StartValuesOfPlusMinusOneMillionAreTheContract) {
  CSSE3dPolygon empty;
  empty.CalcBoundingBox();
  EXPECT_EQ(empty.GetTopRight().x, -1e6f);
  EXPECT_EQ(empty.GetBottomLeft().z, 1e6f);
  EXPECT_TRUE(empty.IsBoundingBoxCalculated());
  CSSE3dPolygon far = Make({{2e6f, 0, 0}, {2e6f, 1, 0}});
  far.CalcBoundingBox();
  EXPECT_EQ(far.GetTopRight().x, 2e6f);
  EXPECT_EQ(far.GetBottomLeft().x, 1e6f);

  CSSE3dPolygon p = Make({{-0.5f, 1.9f, 4}, {3.7f, -2.2f, -1}});
  int minX, minY, maxX, maxY;
  p.GetBoundingBox2D(minX, minY, maxX, maxY);  // computes the box: the flag was clear
  EXPECT_EQ(minX, 0);
  EXPECT_EQ(minY, -2);
  EXPECT_EQ(maxX, 3);
  EXPECT_EQ(maxY, 1);
  const SSEPoint hi = p.GetTopRight();
  EXPECT_EQ(hi.z, 4.0f);
  EXPECT_EQ(hi.w, 0.0f);
  float a, b, c, d, e, f;
  p.GetBoundingBox3D(a, b, c, d, e, f);
  EXPECT_EQ(c, -1.0f);
  EXPECT_EQ(f, 4.0f);
}

// The block-wise box against a point-by-point fold, for every size 1..9 and larger, on a coarse grid
// (zeros of both signs are compared with ==: their sign is left open).
TEST(PolygonBoundingBox, BlockwiseFoldMatchesPointFold) {
  std::mt19937 rng(42);
  for (int trial = 0; trial < 400; ++trial) {
    const int n = 1 + trial % 9 + (trial % 50 == 0 ? 100 : 0);
    std::vector<P3> pts(static_cast<std::size_t>(n));
    for (P3& p : pts)
      for (float& v : p) v = static_cast<float>(static_cast<int>(rng() % 10) - 5) * 0.5f;
    if (trial % 7 == 0) pts[0][1] = std::nanf("");
    CSSE3dPolygon poly = Make(pts);
    poly.CalcBoundingBox();
    float hi[3] = {-1e6f, -1e6f, -1e6f}, lo[3] = {1e6f, 1e6f, 1e6f};
    for (const P3& p : pts)
      for (int k = 0; k < 3; ++k) {
        hi[k] = p[k] > hi[k] ? p[k] : hi[k];
        lo[k] = p[k] < lo[k] ? p[k] : lo[k];
      }
    const SSEPoint top = poly.GetTopRight(), bottom = poly.GetBottomLeft();
    ASSERT_EQ(top.x, hi[0]);
    ASSERT_EQ(top.y, hi[1]);
    ASSERT_EQ(top.z, hi[2]);
    ASSERT_EQ(bottom.x, lo[0]);
    ASSERT_EQ(bottom.y, lo[1]);
    ASSERT_EQ(bottom.z, lo[2]);
  }
}

TEST(PolygonCentre, EachPointIsDividedBeforeItIsAdded) {
  CSSE3dPolygon p = Make({{0.1f, 1, 2}, {0.2f, 3, 4}, {0.7f, 5, 9}});
  p.CalcGeometricCenter();
  SSEPoint c;
  p.GetGeometricCenter(c);
  EXPECT_EQ(c.x, 0.1f / 3.0f + 0.2f / 3.0f + 0.7f / 3.0f);
  EXPECT_EQ(c.z, 2.0f / 3.0f + 4.0f / 3.0f + 9.0f / 3.0f);
  CSSE3dPolygon empty;
  empty.CalcGeometricCenter();
  empty.GetGeometricCenter(c);
  EXPECT_EQ(c.x, 0.0f);
  EXPECT_EQ(UnitSquare().CalcCircumference(), 4.0f);
  EXPECT_EQ(Make({{0, 0, 0}, {3, 4, 0}}).CalcCircumference(), 10.0f);  // there and back
  EXPECT_EQ(empty.CalcCircumference(), 0.0f);
  EXPECT_EQ(UnitSquare().CalcCircumferenceOpen(), 3.0f);
  EXPECT_EQ(Make({{1, 1, 1}}).CalcCircumferenceOpen(), 0.0f);
}

TEST(PolygonCopies, CopyClearsTheFlagCreateSimilarKeepsIt) {
  CSSE3dPolygon p = Make({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
  p.NormalizeXYZ(t_resolutiondata{2, 2, 2});
  p.CalcBoundingBox();
  CSSE3dPolygon copy(p);
  EXPECT_FALSE(copy.IsBoundingBoxCalculated());
  EXPECT_EQ(copy.GetTopRight().x, 7.0f);
  float x = 0, y = 0, z = 0;
  copy.GetPointNormalized(1, x, y, z);
  EXPECT_EQ(x, 8.0f);
  CSSE3dPolygon similar;
  similar.CreateSimilar(&p);
  EXPECT_TRUE(similar.IsBoundingBoxCalculated());
  EXPECT_EQ(Points(similar), Points(p));
  similar.CreateSimilar(&similar);  // self: nothing
  similar.CreateSimilar(nullptr);
  EXPECT_EQ(similar.GetNumPoints(), 3);
  CSSE3dPolygon assigned = UnitSquare();
  assigned = p;
  CSSE3dPolygon& alias = assigned;
  assigned = alias;  // self-assignment keeps the points
  EXPECT_EQ(Points(assigned), Points(p));
  EXPECT_FALSE(assigned.IsBoundingBoxCalculated());
}

TEST(PolygonConstruction, PixelChainsTakeEveryStepthPixel) {
  CPixelChain chain;
  for (int i = 0; i < 10; ++i) chain.AppendPixel(i, 100 + i);
  CSSE3dPolygon thinned(chain, 3);
  EXPECT_EQ(Points(thinned), (std::vector<P3>{{0, 100, 0}, {3, 103, 0}, {6, 106, 0}}));
  EXPECT_EQ(CSSE3dPolygon(chain, 1).GetNumPoints(), 10);
  EXPECT_EQ(CSSE3dPolygon(chain, 11).GetNumPoints(), 0);
  CPixelChain none;
  EXPECT_EQ(CSSE3dPolygon(none, 0).GetNumPoints(), 0);
}

TEST(PolygonConstruction, PolylinesDropARepeatedHeadAndOrientCounterClockwise) {
  // Clockwise square whose tail repeats its head.
  const std::vector<P3> cw = {{0, 0, 0}, {0, 1, 0}, {1, 1, 0}, {1, 0, 0}, {0, 0, 0}};
  auto closed = Line(cw, true);
  CSSE3dPolygon kept(closed.get(), 1.0f, false, false);
  EXPECT_EQ(Points(kept), (std::vector<P3>{{0, 0, 0}, {0, 1, 0}, {1, 1, 0}, {1, 0, 0}}));
  CSSE3dPolygon oriented(closed.get(), 1.0f, false, true);
  // Read from the tail backwards: n = 4 positions starting at the (repeated) tail.
  EXPECT_EQ(Points(oriented), (std::vector<P3>{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}));
  EXPECT_GT(oriented.CalcXYArea(), 0.0f);
  auto open = Line(cw, false);
  CSSE3dPolygon notClosed(open.get(), 1.0f, false, true);  // only closed lines are oriented
  EXPECT_EQ(Points(notClosed), Points(kept));
  CSSE3dPolygon resampled(closed.get(), 0.25f, true, true);
  EXPECT_EQ(resampled.GetNumPoints(), 16);  // each unit edge: K = 1 / 0.25 = 4
  CSSE3dPolygon none(static_cast<const DmPolyLineOld*>(nullptr), 1.0f, true, true);
  EXPECT_EQ(none.GetNumPoints(), 0);

  DmPolyLineOld* back = oriented.ConvertToPolyLine();
  EXPECT_EQ(back->GetNumVertices(), 4);
  EXPECT_EQ(back->IsOpen(), 0);
  EXPECT_EQ(back->GetPosition(back->GetVertexTail()), CbVector3f(0, 1, 0));
  EXPECT_TRUE(oriented.IsPolyLineValid(back));
  back->AppendVertexTail(CbVector3f(0, 0, 0.0001f));  // squared distance 1e-8 <= FLT_EPSILON
  EXPECT_FALSE(oriented.IsPolyLineValid(back));
  delete back;
}

TEST(PolygonConstruction, SplinesAreSubdividedThenRead) {
  DmHermiteSpline spline;
  for (const P3& p : std::vector<P3>{{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}})
    spline.AppendControlPoint(CbVector3f(p[0], p[1], p[2]));
  spline.SetClosed(true);
  CSSE3dPolygon p(&spline, 2.0f, false, true);
  EXPECT_GE(p.GetNumPoints(), 20);
  float x = -1, y = -1, z = -1;
  p.GetPoint(0, x, y, z);
  EXPECT_EQ(x, 0.0f);
  EXPECT_GT(p.CalcXYArea(), 0.0f);
  EXPECT_EQ(CSSE3dPolygon(static_cast<DmHermiteSpline*>(nullptr), 1.0f, false, false).GetNumPoints(), 0);
}

TEST(PolygonEdits, AppendAndAddRunsWrapAroundTheOtherRing) {
  CSSE3dPolygon other;
  other.Create(7);
  for (int i = 0; i < 7; ++i) other.SetPoint(i, static_cast<float>(i), 0, 0);
  CSSE3dPolygon p = Make({{-1, -1, -1}});
  p.AddPolygonPoints(other, 5, 1);
  EXPECT_EQ(Points(p), (std::vector<P3>{{-1, -1, -1}, {5, 0, 0}, {6, 0, 0}, {0, 0, 0}, {1, 0, 0}}));
  p.AddPolygonPoints(other, 2, 7);  // out of range: nothing
  EXPECT_EQ(p.GetNumPoints(), 5);
  p.AppendPoints(other);
  EXPECT_EQ(p.GetNumPoints(), 12);
  CSSE3dPolygon empty;
  empty.AppendPoints(other);
  EXPECT_EQ(Points(empty), Points(other));
}

TEST(PolygonEdits, StartPointRotationCarriesTheIndexArray) {
  CSSE3dPolygon p = Make({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0}});
  int idx[4] = {10, 11, 12, 13};
  p.ChangeStartPoint(2, idx);
  EXPECT_EQ(Points(p), (std::vector<P3>{{2, 0, 0}, {3, 0, 0}, {0, 0, 0}, {1, 0, 0}}));
  EXPECT_EQ(idx[0], 12);
  EXPECT_EQ(idx[3], 11);
  p.ChangeStartPoint(4, nullptr);  // out of range: nothing
  EXPECT_EQ(Points(p)[0][0], 2.0f);

  // The target (9, 1) lies on the edge (0,0,0)-(10,0,0) of a square, nearer to its end (10, 0).
  CSSE3dPolygon sq = Make({{0, 10, 0}, {0, 0, 0}, {10, 0, 0}, {10, 10, 0}});
  CSSE3dPolygon target = Make({{9, 1, 0}});
  sq.FindClosedStartPointAndChange(&target, nullptr);
  EXPECT_EQ(Points(sq)[0], (P3{10, 0, 0}));
  // On the closing edge (10,10)-(0,10) nearer to (0, 10): the ring starts at point 0 again.
  CSSE3dPolygon top = Make({{2, 10, 0}});
  sq.FindClosedStartPointAndChange(&top, nullptr);
  EXPECT_EQ(Points(sq)[0], (P3{0, 10, 0}));
}

TEST(PolygonTransforms, MatricesAreAppliedAsWritten) {
  const float a = 0.3f, b = 0.7f;
  const float ca = std::cos(a), sa = std::sin(a), cb = std::cos(b), sb = std::sin(b);
  CSSE3dPolygon p = Make({{1, 2, 3}});
  p.TransformVertices(a, b);
  const P3 q = Points(p)[0];
  EXPECT_EQ(q[0], ca * cb * 1 + -sa * 2 + -sa * cb * 3);
  EXPECT_EQ(q[1], sa * cb * 1 + ca * 2 + -sa * sb * 3);
  EXPECT_EQ(q[2], sb * 1 + 0.0f * 2 + cb * 3);
  EXPECT_TRUE(p.IsBoundingBoxCalculated());

  CSSE3dPolygon r = Make({{1, 0, 5}});
  r.RotateZ(static_cast<float>(M_PI / 2));  // clockwise: +x goes to -y
  EXPECT_NEAR(Points(r)[0][0], 0.0f, 1e-6f);
  EXPECT_EQ(Points(r)[0][1], -1.0f);
  EXPECT_EQ(Points(r)[0][2], 5.0f);

  // RotateXYZ with only c set equals RotateZ(c); with only a set it turns y toward -z.
  CSSE3dPolygon s = Make({{1, 2, 3}}), t = Make({{1, 2, 3}});
  s.RotateXYZ(0, 0, 0.4f);
  t.RotateZ(0.4f);
  EXPECT_NEAR(Points(s)[0][0], Points(t)[0][0], 1e-6f);
  EXPECT_NEAR(Points(s)[0][1], Points(t)[0][1], 1e-6f);
  CSSE3dPolygon u = Make({{0, 1, 0}});
  u.RotateXYZ(static_cast<float>(M_PI / 2), 0, 0);
  EXPECT_NEAR(Points(u)[0][2], -1.0f, 1e-6f);

  CSSE3dPolygon sq = Make({{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}});
  sq.RotateZAroundPolyCenter(static_cast<float>(M_PI));
  EXPECT_NEAR(Points(sq)[0][0], 2.0f, 1e-6f);
  sq.BlowLineAroundCenter(2, 3, 1, false);
  EXPECT_NEAR(Points(sq)[0][0], 3.0f, 1e-5f);
  EXPECT_NEAR(Points(sq)[0][1], 4.0f, 1e-5f);
  sq.ShiftLine(1, 1, 1);
  EXPECT_TRUE(sq.IsBoundingBoxCalculated());
  sq.BlowLine(0.5f, 0.5f, 0.5f, true);
  EXPECT_FALSE(sq.IsBoundingBoxCalculated());
  EXPECT_GT(sq.GetNumPoints(), 4);  // resampled at 0.6

  CSSE3dPolygon inv = Make({{1, 0, 0}, {2, 0, 0}, {3, 0, 0}});
  inv.CalcBoundingBox();
  inv.InvertPolygonDirection();
  EXPECT_EQ(Points(inv), (std::vector<P3>{{3, 0, 0}, {2, 0, 0}, {1, 0, 0}}));
  EXPECT_EQ(inv.GetTopRight().x, 0.0f);
  EXPECT_FALSE(inv.IsBoundingBoxCalculated());
}
