// The work of the sampled scan conversions: planned before any matrix changes, checked against the work
// budget, and (for the inputs that once ran for hours) counted here, never timed.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "MeshTestSupport.h"
#include "qssse/platform/WorkBudget.h"
#include "qssse/platform/WorkBudgetException.h"

using meshtest::SameBits;

namespace {

// One triangle over 4 x 4 pixels whose far corner stands 16 million units high: about 1.1e7 rows of
// samples at the plain step.
void SteepTriangle(CHTriangulation& t) {
  t.BaseInitialization(1.0f, 1.0f, 1.0f);
  t.CreateTriangulation(1);
  SetTriangle(t, 0, P(0, 0, 0), P(4, 0, 0), P(0, 4, 16000000));
  meshtest::PrepareScan(t, 1.0f);
}

// The mesh of a 6 x 6 field holding 16777216 at one pixel and 0 elsewhere, at scale 1.
void SpikeMesh(CHTriangulation& t) {
  CSSEMatrix field;
  field.Create(6, 6);
  field.SetPoint(2, 3, 16777216.0f);
  t.BaseInitialization(1.0f, 1.0f, 1.0f);
  t.CreateTriangulationFromSSEField(&field, -1.0f, true);
  meshtest::PrepareScan(t, 1.0f);
}

// A matrix holding something to be kept.
CSSEMatrix Marked() {
  CSSEMatrix m;
  m.Create(5, 7);
  m.Fill(3.5f);
  m.SetPoint(2, 2, -1.0f);
  return m;
}

// Runs every sampled member on t and expects each to be refused with m unchanged.
void ExpectEveryMemberRefused(CHTriangulation& t) {
  const CSSEMatrix before = Marked();
  SSEPoint lo, hi;
  t.GetMinPoint(lo);
  t.GetMaxPoint(hi);
  const auto refused = [&](auto call, const char* name) {
    CSSEMatrix m = Marked();
    try {
      call(m);
      ADD_FAILURE() << name << " was not refused";
    } catch (const CWorkBudgetException& e) {
      EXPECT_NE(std::string(e.what()).find("too much work: scan conversion needs"), std::string::npos) << e.what();
    }
    EXPECT_TRUE(SameBits(m, before)) << name;
  };
  refused([&](CSSEMatrix& m) { t.ScanConvertTriangulationMax(&m, 0.0f); }, "Max");
  refused([&](CSSEMatrix& m) { t.ScanConvertTriangulationMin(&m, 0.0f, 1.0f); }, "Min");
  refused([&](CSSEMatrix& m) { t.ScanConvertTriangulationMax_MinMaxPoint(&m, 0.0f, lo, hi); }, "Max box");
  refused([&](CSSEMatrix& m) { t.ScanConvertTriangulationMin_MinMaxPoint(&m, 0.0f, lo, hi); }, "Min box");
  refused([&](CSSEMatrix& m) { t.ScanConvertTriangulationMaxNoDelete(&m, false, true); }, "NoDelete");
  refused([&](CSSEMatrix& m) { t.ScanConvertTriangulationMinNoDelete(&m, false, false); }, "NoDelete pixel");
  refused([&](CSSEMatrix& m) { t.ScanConvertTriangulationMaxNoDeleteInYArea(&m, -1e9f, 1e9f); }, "YArea");
  refused([&](CSSEMatrix& m) { t.ScanConvertTriangulationWithLimitedArea(&m, 0, 1000, 0.0f, nullptr, true); },
          "LimitedArea");
  refused([&](CSSEMatrix& m) { t.FastScanConvertTriangulation(&m, 0.0f, true); }, "Fast");
  refused([&](CSSEMatrix& m) { t.FastScanConvertTriangulation_MinMaxPoint(&m, 0.0f, lo, hi, false); }, "Fast box");
}

}  // namespace

TEST(ScanWork, TheSteepTriangleIsWalkedInBlocksOfRowsAndConvertsAtOnce) {
  CHTriangulation steep;
  SteepTriangle(steep);
  // 11313709 rows of up to 7 runs: walked, not sampled (6.4e13 samples).
  EXPECT_EQ(steep.PlanSampledScanWork(0, 0, 1.0f), 79195963.0);
  CSSEMatrix m, fast;
  steep.ScanConvertTriangulationMax(&m, 0.0f);
  steep.FastScanConvertTriangulation(&fast, 0.0f, true);
  EXPECT_TRUE(SameBits(m, fast));
  // Pixel row 2 holds the samples of y below 2.5 (b below 0.625, heights below 1e7), row 1 those below
  // 1.5; the crosses carry each a row up.
  EXPECT_EQ(m.GetPoint(1, 1), 9999999.0f);
  EXPECT_EQ(m.GetPoint(1, 0), 5999999.0f);
  EXPECT_EQ(m.GetPoint(0, 0), 0.0f);
  steep.ScanConvertTriangulationMin(&m, 0.0f, 1.0f);  // every height above the sentinel: all 0
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 4; ++x) EXPECT_EQ(m.GetPoint(x, y), 0.0f);
  }
}

TEST(ScanWork, TheSpikeMeshPlansItsRowsAndTheDefaultBudgetRefusesItWithTheMatrixUnchanged) {
  // Its steep triangles meet pixel boundaries that move with every row, so their rows are walked one
  // by one: 1.2e7 rows each, seconds of work, which the default budget refuses before it starts.
  CHTriangulation spike;
  SpikeMesh(spike);
  EXPECT_EQ(spike.GetNumTriangles(), 72);
  EXPECT_EQ(spike.PlanSampledScanWork(0, 71, 1.0f), 320308734.0);
  EXPECT_EQ(qssse::GetWorkBudget(), qssse::kDefaultWorkBudget);
  ExpectEveryMemberRefused(spike);
}

TEST(ScanWork, PlansFollowTheRangeTheYBandAndTheDensityAndWorkWithinTheAllowanceIsNeverRefused) {
  CHTriangulation t;
  Triangles(t, {{P(0, 0, 0), P(10, 0, 0), P(0, 10, 0)},  // step sqrt(2) / 10: 8 rows, 36 samples
                {P(0, 0, 0), P(1, 0, 3e7f), P(0, 1, 0)}}, 1.0f);  // step below 2^-24: skipped, no steps
  EXPECT_EQ(t.PlanSampledScanWork(0, 1, 1.0f), 36.0);
  EXPECT_EQ(t.PlanSampledScanWork(-4, 0, 2.0f), 120.0);  // 15 rows at half the step
  EXPECT_EQ(t.PlanSampledScanWork(1, 0, 1.0f), 0.0);
  CSSEMatrix m;
  {
    // 36 planned steps are within the 32 per triangle and per pixel that every conversion may take.
    qssse::CWorkBudgetScope lower(1);
    t.ScanConvertTriangulationMax(&m, 0.0f);
    EXPECT_EQ(m.GetSizeX(), 10);
  }
}
