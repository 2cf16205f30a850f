// Findings of the fuzz targets, each pinned where it was fixed (the inputs themselves are replayed from
// fuzz/regressions/ by the fuzz.* tests).
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>

#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/WorkBudget.h"
#include "qssse/platform/WorkBudgetException.h"
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

// OutlineEditFuzz: a loft of 100000 points between rings with vertical edges put most of its 200000
// triangles into one corner bucket, and the neighbour search tested them pair by pair for 18 s. The
// pairs are counted first; more than the work budget is refused with the mesh as it was.
TEST(FuzzFindings, NeighbourSearchOverCollapsedCornersIsRefusedBeforeItStarts) {
  CSSE3dPolygon lower, upper;
  lower.Create(2);
  lower.SetPoint(0, 0.0f, 0.0f, 0.0f);
  lower.SetPoint(1, 0.0f, 0.0f, 1.0f);
  upper.Create(2);
  upper.SetPoint(0, 1.0f, 0.0f, 0.0f);
  upper.SetPoint(1, 1.0f, 0.0f, 1.0f);
  CHTriangulation loft(&lower, &upper, 100000, 1.0f, 1.0f, 1.0f);
  ASSERT_EQ(loft.GetNumTriangles(), 200000);
  const t_htriangle* head = loft.GetListHead();
  try {
    loft.CalcNeighbours();  // the default budget: every corner shares x 0 or 1 and y 0
    FAIL() << "the neighbour search ran";
  } catch (const CWorkBudgetException& e) {
    EXPECT_NE(std::string(e.what()).find("the neighbour search"), std::string::npos) << e.what();
  }
  EXPECT_EQ(loft.GetListHead(), head);
  for (int t = 0; t < loft.GetNumTriangles(); t += 997) {
    const t_htriangle* r = loft.GetTriangle(t);
    EXPECT_TRUE(r->neighbour[0] == nullptr && r->neighbour[1] == nullptr && r->neighbour[2] == nullptr);
  }
}

// The same count on a band of the same size with distinct corners stays linear: well inside a budget
// a host would set for answers within a second.
TEST(FuzzFindings, NeighbourSearchOverDistinctCornersFitsASmallBudget) {
  CSSE3dPolygon lower, upper;
  const int n = 1000;
  lower.Create(n);
  upper.Create(n);
  for (int i = 0; i < n; ++i) {
    const double a = 2.0 * 3.14159265358979 * i / n;
    lower.SetPoint(i, static_cast<float>(10.0 * std::cos(a)), static_cast<float>(10.0 * std::sin(a)), 0.0f);
    upper.SetPoint(i, static_cast<float>(8.0 * std::cos(a)), static_cast<float>(8.0 * std::sin(a)), 5.0f);
  }
  CHTriangulation band(&lower, &upper, 100000, 1.0f, 1.0f, 1.0f);
  ASSERT_EQ(band.GetNumTriangles(), 200000);
  qssse::CWorkBudgetScope budget(std::uint64_t{1} << 24);
  ASSERT_NO_THROW(band.CalcNeighbours());
  // A closed band: every triangle has its two neighbours along the band, and the ring edges are borders.
  int linked = 0;
  for (int t = 0; t < band.GetNumTriangles(); ++t) {
    const t_htriangle* r = band.GetTriangle(t);
    linked += (r->neighbour[0] != nullptr) + (r->neighbour[1] != nullptr) + (r->neighbour[2] != nullptr);
  }
  EXPECT_EQ(linked, 2 * 200000);
}

}  // namespace
