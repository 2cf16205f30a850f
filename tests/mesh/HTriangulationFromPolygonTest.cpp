#include <gtest/gtest.h>

#include <cmath>

#include "MeshTestSupport.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"

namespace {

// A counter-clockwise regular n-gon of radius r around (cx, cy), z of point i = z0 + i.
CSSE3dPolygon Ngon(int n, float r, float cx, float cy, float z0) {
  CSSE3dPolygon p;
  p.Create(n);
  for (int i = 0; i < n; ++i) {
    const double a = 6.283185307179586 * i / n;
    p.SetPoint(i, cx + r * static_cast<float>(std::cos(a)), cy + r * static_cast<float>(std::sin(a)),
               z0 + static_cast<float>(i));
  }
  return p;
}

double PlanarArea(const CHTriangulation& t) {
  double sum = 0.0;
  const SSEPoint* c = t.GetEdgeArray();
  for (int i = 0; i < t.GetNumTriangles(); ++i) {
    const SSEPoint &a = c[3 * i], &b = c[3 * i + 1], &d = c[3 * i + 2];
    sum += 0.5 * ((static_cast<double>(b.x) - a.x) * (static_cast<double>(d.y) - a.y) -
                  (static_cast<double>(b.y) - a.y) * (static_cast<double>(d.x) - a.x));
  }
  return sum;
}

double OutlineArea(const CSSE3dPolygon& p, float sx, float sy) { return 0.5 * p.CalcXYArea() * sx * sy; }

TEST(HTriangulationFromPolygon, EarClippingMeshUsesTheOutlinePointsScaledWithNormalsUp) {
  CSSE3dPolygon outline = Ngon(12, 20.0f, 30.0f, 30.0f, 1.0f);
  const CHTriangulation t(&outline, 1, false, 1000.0f, 0.5f, 0.25f, 2.0f);  // nothing long enough to split
  ASSERT_EQ(t.GetNumTriangles(), 10);
  EXPECT_NEAR(PlanarArea(t), OutlineArea(outline, 0.5f, 0.25f), 1e-3);
  const SSEPoint* c = t.GetEdgeArray();
  for (int k = 0; k < 30; ++k) {
    bool found = false;  // every corner is an outline point, scaled
    for (int i = 0; i < 12 && !found; ++i) {
      float x = 0, y = 0, z = 0;
      outline.GetPoint(i, x, y, z);
      found = c[k].x == x * 0.5f && c[k].y == y * 0.25f && c[k].z == z * 2.0f && c[k].w == 0.0f;
    }
    EXPECT_TRUE(found) << k;
  }
  SSEPoint minP, maxP;
  t.GetMinPoint(minP);
  t.GetMaxPoint(maxP);
  EXPECT_FLOAT_EQ(minP.x, 5.0f);   // (30 - 20) * 0.5
  EXPECT_FLOAT_EQ(maxP.z, 24.0f);  // (1 + 11) * 2
  EXPECT_FLOAT_EQ(t.GetSArray()[0].x, c[1].x - c[0].x);
  // A flat ring gives upward normals on a counter-clockwise outline.
  CSSE3dPolygon flat = Ngon(12, 20.0f, 30.0f, 30.0f, 0.0f);
  flat.SetAllZValues(3.0f);
  const CHTriangulation f(&flat, 1, false, 1000.0f, 1.0f, 1.0f, 1.0f);
  for (int k = 0; k < 3 * f.GetNumTriangles(); ++k) EXPECT_FLOAT_EQ(f.GetNormalArray()[k].z, 1.0f) << k;
}

TEST(HTriangulationFromPolygon, RefinedMeshKeepsTheAreaAndInterpolatesHeightsWithinTheOutlines) {
  CSSE3dPolygon outline = Ngon(40, 20.0f, 30.0f, 30.0f, 0.0f);
  const CHTriangulation coarse(&outline, 1, false, 1000.0f, 1.0f, 1.0f, 1.0f);
  const CHTriangulation fine(&outline, 1, false, 2.0f, 1.0f, 1.0f, 1.0f);
  EXPECT_EQ(coarse.GetNumTriangles(), 38);
  EXPECT_GT(fine.GetNumTriangles(), 4 * coarse.GetNumTriangles());
  EXPECT_NEAR(PlanarArea(fine), OutlineArea(outline, 1.0f, 1.0f), 1e-2);
  for (int k = 0; k < 3 * fine.GetNumTriangles(); ++k) {
    const float z = fine.GetEdgeArray()[k].z;
    ASSERT_TRUE(z >= 0.0f && z <= 39.0f) << k << " " << z;
  }
  // Every fourth point only: ten outline points, eight triangles before refinement.
  const CHTriangulation sampled(&outline, 4, false, 1000.0f, 1.0f, 1.0f, 1.0f);
  EXPECT_EQ(sampled.GetNumTriangles(), 8);
}

TEST(HTriangulationFromPolygon, FanCoversTheOutlineAroundItsMeanPointAndMissingOrShortOutlinesGiveNone) {
  CSSE3dPolygon outline = Ngon(8, 10.0f, 5.0f, 5.0f, 2.0f);  // z 2 .. 9, mean 5.5
  const CHTriangulation t(&outline, 1, true, 0.0f, 2.0f, 2.0f, 1.0f);
  ASSERT_EQ(t.GetNumTriangles(), 8);
  const SSEPoint* c = t.GetEdgeArray();
  EXPECT_NEAR(c[0].x, 10.0f, 1e-5);  // the centre (5, 5) scaled by 2
  EXPECT_NEAR(c[0].z, 5.5f, 1e-6);
  float x = 0, y = 0, z = 0;
  outline.GetPoint(7, x, y, z);  // the last triangle closes on point 0
  EXPECT_EQ(c[3 * 7 + 1].x, 2.0f * x);
  outline.GetPoint(0, x, y, z);
  EXPECT_EQ(c[3 * 7 + 2].x, 2.0f * x);
  EXPECT_NEAR(PlanarArea(t), OutlineArea(outline, 2.0f, 2.0f), 1e-3);

  CHTriangulation every2;
  every2.BaseInitialization(1, 1, 1);
  every2.CreateSimpleFanTriangulationFromPolygon(&outline, 2);
  EXPECT_EQ(every2.GetNumTriangles(), 4);
  every2.CreateSimpleFanTriangulationFromPolygon(&outline, 3);  // two sampled points: empty
  EXPECT_EQ(every2.GetNumTriangles(), 0);
  EXPECT_THROW(every2.CreateSimpleFanTriangulationFromPolygon(&outline, 0), CInvalidArgumentException);

  // Missing or too short outlines give an empty mesh, as does a clockwise one (no ear), rather than a
  // wrong one.
  EXPECT_EQ(CHTriangulation(static_cast<CSSE3dPolygon*>(nullptr), 1, false, 1.0f, 1.0f, 1.0f, 1.0f).GetNumTriangles(), 0);
  CSSE3dPolygon five = Ngon(5, 10.0f, 0.0f, 0.0f, 0.0f);
  EXPECT_EQ(CHTriangulation(&five, 2, false, 1.0f, 1.0f, 1.0f, 1.0f).GetNumTriangles(), 0);
  EXPECT_THROW(CHTriangulation(&five, 0, false, 1.0f, 1.0f, 1.0f, 1.0f), CInvalidArgumentException);
  five.InvertPolygonDirection();
  EXPECT_EQ(CHTriangulation(&five, 1, false, 1.0f, 1.0f, 1.0f, 1.0f).GetNumTriangles(), 0);
}

TEST(HTriangulationFromPolygon, HeightFieldLimitsTheUnscaledCornersAtTheirOwnPixels) {
  // Outline at z 0 over a 64 x 64 field that is 5 on the right half (x >= 30) and 0 elsewhere.
  CSSE3dPolygon outline = Ngon(12, 20.0f, 30.0f, 30.0f, 0.0f);
  outline.SetAllZValues(0.0f);
  CSSEMatrix field;
  field.Create(64, 64);
  for (int y = 0; y < 64; ++y) {
    for (int x = 30; x < 64; ++x) field.SetPoint(x, y, 5.0f);
  }
  const CHTriangulation t(&outline, 1, 1000.0f, &field, true, 1.0f, 0.5f, 0.5f, 2.0f);
  ASSERT_EQ(t.GetNumTriangles(), 10);
  const SSEPoint* c = t.GetEdgeArray();
  for (int k = 0; k < 30; ++k) {
    const float pixelX = c[k].x / 0.5f;  // back in the outline's units
    const float expected = (std::trunc(pixelX + 0.5f) >= 30.0f ? 6.0f : 1.0f) * 2.0f;  // (field + 1) * sz
    EXPECT_FLOAT_EQ(c[k].z, expected) << k;
  }
  EXPECT_EQ(t.GetScaleX(), 0.5f);  // the scales are the mesh's again
  // Below: corners lowered to field + offset, here -1 everywhere on the left.
  const CHTriangulation below(&outline, 1, 1000.0f, &field, false, -1.0f, 1.0f, 1.0f, 1.0f);
  for (int k = 0; k < 30; ++k) EXPECT_LE(below.GetEdgeArray()[k].z, 0.0f);
}

}  // namespace
