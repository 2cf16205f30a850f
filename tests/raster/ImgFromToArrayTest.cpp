#include <gtest/gtest.h>

#include "qssse/raster/ImgFromToArray.h"
#include "RasterTestSupport.h"
#include "qssse/raster/SSEMatrix.h"

namespace {

using rastertest::Blank;

// A matrix 10 wide and 8 high whose columns from `step` on hold `height` (all rows alike).
CSSEMatrix Step(int step, float height) {
  CSSEMatrix m = Blank(10, 8);
  return rastertest::SetPixels(m, [&](int x, int) { return x >= step ? height : 0.0f; });
}

TEST(ImgFromToArray, BackwardScanStopsAboveFromSoASingleStepLeavesToOpen) {
  CSSEMatrix m = Step(5, 1.0f);
  CImgFromToArray a;
  a.CalcArray(m, 0, 9);
  EXPECT_EQ(a.GetFrom(0), 5);
  EXPECT_EQ(a.GetTo(0), 999999);
  for (int y = 0; y < 8; ++y)
    for (int x = 7; x < 10; ++x) m.SetPoint(x, y, 3.0f);  // a second step between 6 and 7
  a.CalcArray(m, 0, 9);
  EXPECT_EQ(a.GetFrom(1), 5);
  EXPECT_EQ(a.GetTo(1), 7);
}

TEST(ImgFromToArray, ChangeMustReachTheToleranceElseWholeRowSpansStay) {
  CSSEMatrix small = Step(5, 0.004f);
  CImgFromToArray& a = small.GetFromToArray();
  a.CalcArray(small, 0, 9);
  ASSERT_EQ(a.GetCount(), 2);
  EXPECT_EQ(a.GetFrom(0), 0);
  EXPECT_EQ(a.GetTo(1), 999999);
  CSSEMatrix enough = Step(5, 0.0050001f);
  a.CalcArray(enough, 0, 9);
  EXPECT_EQ(a.GetFrom(0), 5);
}

TEST(ImgFromToArray, ColumnsAreClampedAndOnlyOneRowOfAGroupNeedsToChange) {
  CSSEMatrix m = Blank(10, 8);
  m.SetPoint(3, 6, 1.0f);  // group 1, lane 2 only
  CImgFromToArray a;
  a.CalcArray(m, -4, 400);
  EXPECT_EQ(a.GetFrom(0), 0);
  EXPECT_EQ(a.GetFrom(1), 3);
  EXPECT_EQ(a.GetTo(1), 4);
}

TEST(ImgFromToArray, PositionTestAndCoordsUseRowGroupsButYItselfAsTheGroupForRadiusOne) {
  CSSEMatrix m = Blank(10, 16);  // four groups
  for (int y = 4; y < 8; ++y) m.SetPoint(5, y, 1.0f);
  CImgFromToArray a;
  a.CalcArray(m, 0, 9);  // group 1 spans 5..6, the others whole rows
  EXPECT_EQ(a.IsPositionInArray(3, 6, 1), 0);  // r = 1: group 6 >> 2 = 1
  EXPECT_EQ(a.IsPositionInArray(5, 6, 1), 1);
  EXPECT_EQ(a.IsPositionInArray(5, 100, 1), 0);  // outside the array
  EXPECT_EQ(a.IsPositionInArray(3, 2, 2), 1);  // groups 0 .. <1: only group 0 tested
  EXPECT_EQ(a.IsPositionInArray(3, 6, 4), 0);  // groups 0 .. <2 include group 1
  EXPECT_EQ(a.IsPositionInArray(3, 14, 2), 1);  // both ends in group 3: no group tested
  // {y, r, from, to}: y = 1 is group 1 for r = 1; group 6 is clamped to 3; with r = 2 both ends of 14
  // lie in group 3, so no group and an empty interval; with r = 4 groups 0 and 1.
  const int cases[][4] = {{1, 1, 5, 6}, {6, 1, 0, 999999}, {14, 2, 1, 0}, {6, 4, 0, 9}};
  for (const auto& c : cases) {
    int from = 0, to = 9;
    a.GetFromToCoords(from, to, c[0], c[1]);
    if (c[2] > c[3]) {
      EXPECT_GT(from, to) << c[0];
    } else {
      EXPECT_EQ(from, c[2]) << c[0];
      EXPECT_EQ(to, c[3]) << c[0];
    }
  }
}

TEST(ImgFromToArray, CopiesOutliveTheOriginalAndDrawInMatrixMarksBothBorders) {
  CImgFromToArray a;
  {
    CSSEMatrix m = Step(5, 1.0f);
    CImgFromToArray original;
    original.CalcArray(m, 0, 9);
    a = original;  // the spans are shared and outlive the original
  }
  EXPECT_EQ(a.GetFrom(0), 5);
  CSSEMatrix canvas = Blank(10, 8);
  a.DrawInMatrix(canvas);
  EXPECT_EQ(canvas.GetPoint(5, 0), 1.0f);
  EXPECT_EQ(canvas.GetPoint(9, 4), 1.0f);  // 999999 lands on the right border
  EXPECT_EQ(canvas.GetPoint(2, 2), 0.0f);
}

}  // namespace
