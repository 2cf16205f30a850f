// Findings of the fuzz targets, each pinned where it was fixed (the inputs themselves are replayed from
// fuzz/regressions/ by the fuzz.* tests).
#include <gtest/gtest.h>

#include "qssse/polygon/SSE3dPolygon.h"

namespace {

// PolygonOpsFuzz: Subsample of an empty polygon read the last point at index -1 of no array.
TEST(FuzzFindings, SubsampleOfAnEmptyPolygonLeavesItEmpty) {
  CSSE3dPolygon p;
  for (const bool closed : {false, true}) {
    for (int k = 1; k < 6; ++k) {
      p.Subsample(k, closed);
      EXPECT_EQ(p.GetNumPoints(), 0);
    }
  }
  // One point, kept whatever the step: the last point of an open line.
  p.Create(1);
  p.SetPoint(0, 1.0f, 2.0f, 3.0f);
  p.Subsample(4, false);
  ASSERT_EQ(p.GetNumPoints(), 1);
  float x = 0, y = 0, z = 0;
  p.GetPoint(0, x, y, z);
  EXPECT_EQ(x, 1.0f);
  EXPECT_EQ(z, 3.0f);
}

}  // namespace
