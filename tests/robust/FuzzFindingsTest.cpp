// Findings of the fuzz targets, each pinned where it was fixed (the inputs themselves are replayed from
// fuzz/regressions/ by the fuzz.* tests).
#include <gtest/gtest.h>

#include <cmath>

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

// OutlineEditFuzz: eroding a ring by 4e-34 put NaN into the crossing search's grid cells, which were
// converted to int (undefined; the sanitizer build of this test reports it).
TEST(FuzzFindings, ErodeByATinyDistanceKeepsTheCellSearchDefined) {
  const float pts[8][3] = {{0, 0, 0},         {0.125f, 0, 0.25f},      {0.125f, 0.875f, -0.25f}, {-0.875f, 0.75f, 0},
                           {-0.75f, -0.5f, -1}, {-0.375f, -1, -1}, {0.125f, 0.125f, 0},      {0, -0.25f, -1}};
  CSSE3dPolygon p;
  p.Create(8);
  for (int i = 0; i < 8; ++i) p.SetPoint(i, pts[i][0], pts[i][1], pts[i][2]);
  const bool kept = p.ErodeExact(4.0937027e-34f, CSSE3dPolygon::kJoinMiter, -7.0f, -0.08f);
  EXPECT_TRUE(kept || p.GetNumPoints() == 0);
  for (int i = 0; i < p.GetNumPoints(); ++i) {
    float x = 0, y = 0, z = 0;
    p.GetPoint(i, x, y, z);
    EXPECT_TRUE(std::isfinite(x) && std::isfinite(y));
  }
}

}  // namespace
