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

TEST(PolygonStorage, IgnoredIndicesAndRingIndexing) {
  CSSE3dPolygon p = Make({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
  p.CalcBoundingBox();
  p.SetPoint(3, 0, 0, 0);
  EXPECT_TRUE(p.IsBoundingBoxCalculated());  // ignored writes do not clear the flag
  p.SetPointZY(1, 60, 50);
  EXPECT_FALSE(p.IsBoundingBoxCalculated());
  EXPECT_EQ(Points(p)[1], (P3{4, 50, 60}));
  SSEPoint q;
  p.GetPointSSEClosed(-1, q);  // truncated remainder: negative indices give the zero point
  EXPECT_EQ(q.x, 0.0f);
  p.GetPointSSEModulo(-1, q);
  EXPECT_EQ(q.x, 7.0f);
  CSSE3dPolygon empty;  // guarded: the zero point instead of a division by zero
  empty.GetPointSSEModulo(3, q);
  EXPECT_EQ(q.x, 0.0f);
}

// Create cleared the flag only when it allocated, so an empty polygon's box survived Create(0).
TEST(PolygonStorage, CreateAlwaysClearsTheFlagFreeOnlyWhenItFreesSomething) {
  CSSE3dPolygon empty;
  empty.CalcBoundingBox();
  empty.Free();
  EXPECT_TRUE(empty.IsBoundingBoxCalculated());
  empty.Create(0);
  EXPECT_FALSE(empty.IsBoundingBoxCalculated());
  EXPECT_EQ(empty.GetNumPoints(), 0);

  CSSE3dPolygon p = Make({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
  p.CalcBoundingBox();
  p.Free();
  EXPECT_FALSE(p.IsBoundingBoxCalculated());
  EXPECT_EQ(p.GetNumPoints(), 0);
  p.CalcBoundingBox();
  p.Create(2);
  EXPECT_FALSE(p.IsBoundingBoxCalculated());
  EXPECT_EQ(p.GetNumPoints(), 2);
  EXPECT_EQ(p.GetTopRight().x, -1000000.0f);  // the stored points survive Create and Free
}

TEST(PolygonBoundingBox, StartValuesOfPlusMinusOneMillionAreTheContract) {
  CSSE3dPolygon empty;
  empty.CalcBoundingBox();
  EXPECT_EQ(empty.GetTopRight().x, -1e6f);
  EXPECT_EQ(empty.GetBottomLeft().z, 1e6f);
  CSSE3dPolygon far = Make({{2e6f, 0, 0}, {2e6f, 1, 0}});
  far.CalcBoundingBox();
  EXPECT_EQ(far.GetTopRight().x, 2e6f);
  EXPECT_EQ(far.GetBottomLeft().x, 1e6f);
  CSSE3dPolygon p = Make({{-0.5f, 1.9f, 4}, {3.7f, -2.2f, -1}});
  int minX, minY, maxX, maxY;
  p.GetBoundingBox2D(minX, minY, maxX, maxY);  // truncation toward zero
  EXPECT_EQ((std::vector<int>{minX, minY, maxX, maxY}), (std::vector<int>{0, -2, 3, 1}));
  EXPECT_EQ(p.GetTopRight().z, 4.0f);
}

// The block-wise box against a point-by-point fold, for sizes 1..9 and 101..109, on a coarse grid
// (zeros of both signs compare equal: their sign is left open).
TEST(PolygonBoundingBox, BlockwiseFoldMatchesPointFold) {
  std::mt19937 rng(42);
  for (int trial = 0; trial < 400; ++trial) {
    std::vector<P3> pts(static_cast<std::size_t>(1 + trial % 9 + (trial % 2 ? 100 : 0)));
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
    ASSERT_TRUE(top.x == hi[0] && top.y == hi[1] && top.z == hi[2]) << trial;
    ASSERT_TRUE(bottom.x == lo[0] && bottom.y == lo[1] && bottom.z == lo[2]) << trial;
  }
}

TEST(PolygonMeasures, CentreDividesEachPointFirstAndLengthsCloseTheRing) {
  CSSE3dPolygon p = Make({{0.1f, 1, 2}, {0.2f, 3, 4}, {0.7f, 5, 9}});
  p.CalcGeometricCenter();
  SSEPoint c;
  p.GetGeometricCenter(c);
  EXPECT_EQ(c.x, 0.1f / 3.0f + 0.2f / 3.0f + 0.7f / 3.0f);
  EXPECT_EQ(UnitSquare().CalcCircumference(), 4.0f);
  EXPECT_EQ(UnitSquare().CalcCircumferenceOpen(), 3.0f);
  EXPECT_EQ(Make({{0, 0, 0}, {3, 4, 0}}).CalcCircumference(), 10.0f);  // there and back
}

TEST(PolygonCopies, CopyClearsTheFlagCreateSimilarKeepsIt) {
  CSSE3dPolygon p = Make({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
  p.NormalizeXYZ(t_resolutiondata{2, 2, 2});
  p.CalcBoundingBox();
  CSSE3dPolygon copy(p), similar;
  EXPECT_FALSE(copy.IsBoundingBoxCalculated());
  float x = 0, y = 0, z = 0;
  copy.GetPointNormalized(1, x, y, z);
  EXPECT_EQ(x, 8.0f);
  similar.CreateSimilar(&p);
  similar.CreateSimilar(&similar);  // self: nothing
  EXPECT_TRUE(similar.IsBoundingBoxCalculated());
  EXPECT_EQ(Points(similar), Points(p));
}

TEST(PolygonConstruction, PixelChainsPolylinesAndSplines) {
  CPixelChain chain;
  for (int i = 0; i < 10; ++i) chain.AppendPixel(i, 100 + i);
  EXPECT_EQ(Points(CSSE3dPolygon(chain, 3)), (std::vector<P3>{{0, 100, 0}, {3, 103, 0}, {6, 106, 0}}));
  EXPECT_EQ(CSSE3dPolygon(chain, 11).GetNumPoints(), 0);

  // A clockwise square whose tail repeats its head: 4 points; oriented, read back from the tail.
  DmPolyLineOld line;
  for (const P3& p : std::vector<P3>{{0, 0, 0}, {0, 1, 0}, {1, 1, 0}, {1, 0, 0}, {0, 0, 0}})
    line.AppendVertexTail(CbVector3f(p[0], p[1], p[2]));
  line.SetClosed(true);
  EXPECT_EQ(Points(CSSE3dPolygon(&line, 1.0f, false, false)),
            (std::vector<P3>{{0, 0, 0}, {0, 1, 0}, {1, 1, 0}, {1, 0, 0}}));
  CSSE3dPolygon oriented(&line, 1.0f, false, true);
  EXPECT_EQ(Points(oriented), (std::vector<P3>{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}));
  EXPECT_EQ(CSSE3dPolygon(&line, 0.25f, true, true).GetNumPoints(), 16);  // resampled: K = 4 per edge
  line.SetClosed(false);                                                  // open lines are never reversed
  EXPECT_EQ(Points(CSSE3dPolygon(&line, 1.0f, false, true))[1], (P3{0, 1, 0}));

  std::unique_ptr<DmPolyLineOld> back(oriented.ConvertToPolyLine());
  EXPECT_EQ(back->GetNumVertices(), 4);
  EXPECT_EQ(back->IsOpen(), 0);
  EXPECT_TRUE(oriented.IsPolyLineValid(back.get()));
  back->AppendVertexTail(CbVector3f(0, 0, 0.0001f));  // squared distance 1e-8 <= FLT_EPSILON
  EXPECT_FALSE(oriented.IsPolyLineValid(back.get()));

  DmHermiteSpline spline;
  for (const P3& p : std::vector<P3>{{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}})
    spline.AppendControlPoint(CbVector3f(p[0], p[1], p[2]));
  spline.SetClosed(true);
  CSSE3dPolygon smooth(&spline, 2.0f, false, true);
  EXPECT_GE(smooth.GetNumPoints(), 20);
  EXPECT_EQ(Points(smooth)[0], (P3{0, 0, 0}));
}

TEST(PolygonEdits, AppendRunsAndStartPoints) {
  CSSE3dPolygon other;
  other.Create(7);
  for (int i = 0; i < 7; ++i) other.SetPoint(i, static_cast<float>(i), 0, 0);
  CSSE3dPolygon p = Make({{-1, -1, -1}});
  p.AddPolygonPoints(other, 5, 1);
  EXPECT_EQ(Points(p), (std::vector<P3>{{-1, -1, -1}, {5, 0, 0}, {6, 0, 0}, {0, 0, 0}, {1, 0, 0}}));
  p.AddPolygonPoints(other, 2, 7);  // out of range: nothing
  p.AppendPoints(other);
  EXPECT_EQ(p.GetNumPoints(), 12);

  CSSE3dPolygon r = Make({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0}});
  int idx[4] = {10, 11, 12, 13};
  r.ChangeStartPoint(2, idx);
  EXPECT_EQ(Points(r)[0][0], 2.0f);
  EXPECT_EQ((std::vector<int>(idx, idx + 4)), (std::vector<int>{12, 13, 10, 11}));

  // (9, 1) lies by the edge (0,0)-(10,0), nearer to (10, 0); (2, 10) by the closing edge, nearer to (0, 10).
  CSSE3dPolygon sq = Make({{0, 10, 0}, {0, 0, 0}, {10, 0, 0}, {10, 10, 0}});
  CSSE3dPolygon target = Make({{9, 1, 0}}), top = Make({{2, 10, 0}});
  sq.FindClosedStartPointAndChange(&target, nullptr);
  EXPECT_EQ(Points(sq)[0], (P3{10, 0, 0}));
  sq.FindClosedStartPointAndChange(&top, nullptr);
  EXPECT_EQ(Points(sq)[0], (P3{0, 10, 0}));
}

TEST(PolygonTransforms, MatricesAreAppliedAsWritten) {
  const float a = 0.3f, b = 0.7f, ca = std::cos(a), sa = std::sin(a), cb = std::cos(b), sb = std::sin(b);
  CSSE3dPolygon p = Make({{1, 2, 3}});
  p.TransformVertices(a, b);  // not a rotation: kept exactly
  EXPECT_EQ(Points(p)[0], (P3{ca * cb * 1 + -sa * 2 + -sa * cb * 3, sa * cb * 1 + ca * 2 + -sa * sb * 3,
                              sb * 1 + 0.0f * 2 + cb * 3}));
  EXPECT_TRUE(p.IsBoundingBoxCalculated());

  CSSE3dPolygon r = Make({{1, 0, 5}}), u = Make({{0, 1, 0}});
  r.RotateZ(static_cast<float>(M_PI / 2));  // clockwise: +x goes to -y
  EXPECT_EQ(Points(r)[0][1], -1.0f);
  u.RotateXYZ(static_cast<float>(M_PI / 2), 0, 0);  // +y goes to -z
  EXPECT_NEAR(Points(u)[0][2], -1.0f, 1e-6f);

  CSSE3dPolygon sq = Make({{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}});
  sq.BlowLineAroundCenter(2, 3, 1, true);  // about (1, 1), then resampled at 0.6
  EXPECT_EQ(Points(sq)[0], (P3{-1, -2, 0}));
  EXPECT_GT(sq.GetNumPoints(), 4);

  CSSE3dPolygon inv = Make({{1, 0, 0}, {2, 0, 0}, {3, 0, 0}});
  inv.CalcBoundingBox();
  inv.InvertPolygonDirection();
  EXPECT_EQ(Points(inv), (std::vector<P3>{{3, 0, 0}, {2, 0, 0}, {1, 0, 0}}));
  EXPECT_EQ(inv.GetTopRight().x, 0.0f);  // the stored box comes back zero
}
