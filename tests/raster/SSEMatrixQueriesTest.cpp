#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>

#include "RasterTestSupport.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/raster/SSEcharMatrix.h"

namespace {

using namespace rastertest;

// 3 x 5 with a NaN and padding rows 5..7 filled with 100 (queries must not see them).
CSSEMatrix Sample() {
  CSSEMatrix m = Blank(3, 5, 100.0f);
  const float v[5][3] = {{0, 2, -1}, {4, 0, 3}, {NAN, 5, 0}, {-2, 1, 0}, {0, 7, 6}};
  return SetPixels(m, [&](int x, int y) { return v[y][x]; });
}

TEST(SSEMatrixQueries, ExtremesSkipNaNPaddingAndOptionallyZero) {
  const CSSEMatrix m = Sample();
  float mx = 0, mn = 0;
  m.CalcMinMaxValuesExcludeZero(&mx, &mn);
  EXPECT_EQ(mx, 7.0f);
  EXPECT_EQ(mn, -2.0f);
  EXPECT_EQ(m.CalcMaxValueOfPatch(0, 1, 0, 1), 4.0f);
  EXPECT_EQ(m.CalcMinValueOfPatch(-5, 99, -5, 99), -2.0f);
  EXPECT_EQ(m.CalcMinValueOfPatchExcludeZero(1, 2, 1, 3), 1.0f);
  EXPECT_EQ(m.CalcMinValueOfPatch(0, 0, 2, 2), FLT_MAX);  // only the NaN
}

TEST(SSEMatrixQueries, EmptyInputGivesTheNeutralValues) {
  CSSEMatrix zeros = Blank(4, 4);
  float mx = 0, mn = 0;
  zeros.CalcMinMaxValuesExcludeZero(&mx, &mn);
  EXPECT_EQ(mx, FLT_MAX);
  EXPECT_EQ(mn, -FLT_MAX);
  EXPECT_EQ(zeros.CalcMaxValueOfPatch(3, 1, 0, 3), -FLT_MAX);
  const CSSEMatrix none;
  EXPECT_EQ(none.CalcMinValueOfPatchExcludeZero(0, 9, 0, 9), FLT_MAX);
  EXPECT_EQ(none.NumValuesAbove(-1.0f), 0);
  EXPECT_EQ(none.IntegrateMatrix(), 0.0);
  EXPECT_EQ(none.GetPixelPreciseFloat(1.0f, 1.0f), 0.0f);
}

TEST(SSEMatrixQueries, CountsAreStrictOverRealPixelsOnly) {
  const CSSEMatrix m = Sample();
  EXPECT_EQ(m.NumValuesAbove(0.0f), 7);
  EXPECT_EQ(m.NumValuesBelow(0.0f), 2);
  EXPECT_EQ(m.NumValuesAbove(99.0f), 0);  // the padding holds 100
  CSSEMatrix ref = Blank(1, 1);
  ref.SetPoint(0, 0, 3.0f);  // read clamped: 3 everywhere
  EXPECT_EQ(m.NumValuesAbove(ref), 4);
  EXPECT_EQ(m.NumValuesBelow(ref), 9);  // 3 itself is neither
}

TEST(SSEMatrixQueries, IntegralSumsRealPixelsInDoubleAndPreciseReadInterpolatesBilinearly) {
  const CSSEMatrix m = Sample();
  EXPECT_EQ(m.IntegrateMatrix(), 25.0);
  EXPECT_NEAR(Blank(1000, 1000, 0.1f).IntegrateMatrix(), 1e6 * 0.1f, 1e-6);
  EXPECT_EQ(m.GetPixelPreciseFloat(0.5f, 0.0f), 1.0f);
  EXPECT_EQ(m.GetPixelPreciseFloat(1.5f, 3.5f), 3.5f);
}

TEST(SSEMatrixQueries, FillWithProcessedRowExtrudesTheClampedRow) {
  CSSEMatrix m = Sample();
  m.SetRowProcessed(42);
  m.FillMatrixWithProcessedRow();
  for (int y = 0; y < 5; ++y) {
    EXPECT_EQ(m.GetPoint(0, y), 0.0f);
    EXPECT_EQ(m.GetPoint(1, y), 7.0f);
  }
  EXPECT_EQ(Lane(m, 2, 1, 1), 100.0f);  // padding kept
}

TEST(SSEMatrixQueries, StencilKeepsMaskedPixelsAndClearsTheRest) {
  CSSEMatrix m = Blank(3, 20, 5.0f);
  CSSEcharMatrix mask(2, 18);
  mask.Clear(1);  // padding bytes too: rows 18, 19 must still count as unset
  mask.SetPoint(0, 3, 0);
  m.Stencil(mask);
  EXPECT_EQ(m.GetPoint(0, 2), 5.0f);
  EXPECT_EQ(m.GetPoint(0, 3), 0.0f);
  EXPECT_EQ(m.GetPoint(2, 0), 0.0f);  // outside the mask's width
  EXPECT_EQ(m.GetPoint(1, 17), 5.0f);
  EXPECT_EQ(m.GetPoint(1, 18), 0.0f);                                          // outside the mask's height
  EXPECT_EQ(Lane(m, 0, 5, 0), 5.0f);  // padding kept
  m.Stencil(CSSEcharMatrix());
  EXPECT_EQ(m.NumValuesAbove(0.0f), 0);
}

}  // namespace
