#include <gtest/gtest.h>

#include "MeshTestSupport.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"

namespace {


// A flat square of height 4 from (10, 20) to (30, 40), two triangles, scan resolution 1; t holds two.
void FlatSquare(CHTriangulation& t) {
  SetTriangle(t, 0, P(10, 20, 4), P(30, 20, 4), P(10, 40, 4));
  SetTriangle(t, 1, P(30, 40, 4), P(10, 40, 4), P(30, 20, 4));
  t.CalcSTV();
  t.CalcBoundingBox();
  t.SetScanConvResolution(1.0f, 1.0f, 1.0f);
}

// A counter-clockwise square outline.
CSSE3dPolygon Square(float x0, float y0, float x1, float y1) {
  return meshtest::Ring({{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}});
}

TEST(ScanThroughLine, KeepsTheConversionInsideTheLineAndClearsTheRestAndDegenerateLinesLeaveTheMatrixAlone) {
  CHTriangulation t(2, 1.0f, 1.0f, 1.0f);
  FlatSquare(t);
  CSSEMatrix whole, limited;
  t.ScanConvertTriangulationMax(&whole, 1.0f);
  CSSE3dPolygon line = Square(15, 25, 22, 33);  // pixels 5..12 x 5..13 of the raster
  t.ScanConvertThroughLineMax(&limited, &line, 1.0f);
  ASSERT_EQ(limited.GetSizeX(), whole.GetSizeX());
  CSSE3dPolygon inPixels = Square(5, 5, 12, 13);
  inPixels.CalcBoundingBox();
  int inside = 0;
  for (int y = 0; y < whole.GetSizeY(); ++y) {
    for (int x = 0; x < whole.GetSizeX(); ++x) {
      const bool in = inPixels.PointInLineInnerArea(static_cast<float>(x), static_cast<float>(y), 1);
      inside += in;
      EXPECT_EQ(limited.GetPoint(x, y), in ? whole.GetPoint(x, y) : 0.0f) << x << "," << y;
    }
  }
  EXPECT_GT(inside, 40);
  EXPECT_EQ(limited.GetPoint(8, 8), 1.0f);  // height 4 above the box minimum 4, plus the offset
  CSSEMatrix low;
  t.ScanConvertThroughLineMin(&low, &line, 2.0f);
  EXPECT_EQ(low.GetPoint(8, 8), 2.0f);
  EXPECT_EQ(low.GetPoint(2, 2), 0.0f);

  CSSEMatrix kept;
  kept.Create(3, 3);
  kept.Fill(9.0f);
  CSSE3dPolygon two;
  two.Create(2);
  t.ScanConvertThroughLineMax(&kept, &two, 0.0f);
  t.ScanConvertThroughLineMax(&kept, nullptr, 0.0f);
  CHTriangulation empty;
  empty.ScanConvertThroughLineMax(&kept, &line, 0.0f);
  EXPECT_EQ(kept.GetSizeX(), 3);
  EXPECT_EQ(kept.GetPoint(1, 1), 9.0f);
  t.ScanConvertThroughLineMax(nullptr, &line, 0.0f);
}

}  // namespace
