#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>

#include "MeshTestSupport.h"
#include "qssse/mesh/ScanFresh.h"

namespace {

namespace scan = qssse::scan;
using meshtest::P;
using meshtest::SameBits;
using meshtest::SetTriangle;
using qssse::raster::KeepMax;
using qssse::raster::KeepMin;

// The samples one triangle keeps on their centres: by FewRows where it takes the triangle (the loop
// otherwise), or by the loop alone.
template <class Rule>
void KeepCentres(const scan::Job& job, int i, CSSEMatrix& m, bool fewRows, bool& taken, bool& sawNaN) {
  const float step = scan::TriangleStep(job, i);
  scan::CentreStamps<Rule> centres(m.GetMatrixDataDirectly(), job.offsetX, job.offsetY);
  const scan::FewRows<Rule> few(job);
  int nan = 0;
  taken = fewRows && few(i, step, scan::FewRows<Rule>::FrameOf(job, m.GetMatrixDataDirectly()), nan);
  if (!taken) scan::SampleTriangle(job, i, step, [&](int x, int y, float v) { centres.Add(x, y, v); });
  sawNaN = nan != 0 || centres.SawNaN();
}

}  // namespace

TEST(ScanFresh, EveryStepOfTwoToSixRowsGivesRowsOneSampleShorterEachTime) {
  // The fixed sample patterns of FewRows rest on this, for every float step that makes two to six rows:
  // the loops run as the conversion runs them, over all steps from 1/7.5 to 1.
  const float from = 1.0f / 7.5f, to = 1.0f;
  std::uint32_t u = 0, end = 0;
  std::memcpy(&u, &from, 4);
  std::memcpy(&end, &to, 4);
  int counted[7] = {};
  for (; u < end; ++u) {
    float step = 0.0f;
    std::memcpy(&step, &u, 4);
    int samples[8] = {}, rows = 0;
    for (float a = 0.0f; a < 1.0f && rows < 8; a += step, ++rows) {
      for (float b = 0.0f; b < 1.0f - a && samples[rows] < 8; b += step) ++samples[rows];
    }
    if (rows < 2 || rows > 6) continue;
    ++counted[rows];
    bool falling = true;
    for (int j = 0; j < rows; ++j) falling &= samples[j] == rows - j;
    ASSERT_TRUE(falling) << "step " << step << " rows " << rows;
  }
  for (int r = 2; r <= 6; ++r) EXPECT_GT(counted[r], 1000000) << r;
}

TEST(ScanFresh, FewRowsKeepWhatTheLoopKeepsForEveryRowCountAtTheFrameAndOnAShiftedMatrix) {
  // Triangles of one to eight rows (and more), on a raster whose frame they cross, heights of both signs
  // and beyond the sentinels; each kept alone by FewRows and by the loop, into a matrix covering the
  // raster and into one shifted by a worker's offset.
  std::mt19937 rng(42);
  const int w = 23, h = 18;
  int taken[8] = {}, frame = 0, nan = 0;
  for (int round = 0; round < 3000; ++round) {
    CHTriangulation t(1, 1, 1, 1);
    const float size = 0.2f + static_cast<float>(rng() % 1000) / 250.0f;
    const float x = static_cast<float>(rng() % 2400) / 100.0f - 1.0f,
                y = static_cast<float>(rng() % 1900) / 100.0f - 1.0f;
    const auto coordinate = [&](float base) {
      return base + size * static_cast<float>(rng() % 201) / 100.0f - size;
    };
    const float level = round % 10 == 0 ? 3.0e6f : -20.0f;
    const auto corner = [&] {
      return P(coordinate(x), coordinate(y), level + static_cast<float>(rng() % 40) / 20.0f);
    };
    SetTriangle(t, 0, corner(), corner(), corner());
    if (round % 97 == 0) t.GetEdgeArray()[0].z = NAN;
    meshtest::PrepareScan(t, 1.0f);
    scan::Job job = scan::MakeJob(t, P(0.0f, 0.0f, 0.0f), w, h, round % 3 == 0 ? 0.25f : 0.0f);
    const bool shifted = round % 2 == 1;
    if (shifted) {
      job.offsetX = -3;
      job.offsetY = -2;
    }
    const int rows = scan::StepSequence(scan::TriangleStep(job, 0)).Count();
    for (bool keepMax : {true, false}) {
      CSSEMatrix few, loop;
      for (CSSEMatrix* m : {&few, &loop}) {
        m->Create(w + (shifted ? 3 : 0), h + (shifted ? 2 : 0));
        m->Fill(keepMax ? scan::kMaxSentinel : scan::kMinSentinel);
      }
      bool tookIt = false, sawNaN = false, ignored = false;
      if (keepMax) {
        KeepCentres<KeepMax>(job, 0, few, true, tookIt, sawNaN);
        KeepCentres<KeepMax>(job, 0, loop, false, ignored, ignored);
      } else {
        KeepCentres<KeepMin>(job, 0, few, true, tookIt, sawNaN);
        KeepCentres<KeepMin>(job, 0, loop, false, ignored, ignored);
      }
      EXPECT_TRUE(SameBits(few, loop)) << "round " << round << " rows " << rows << " max " << keepMax;
      if (tookIt) {
        EXPECT_TRUE(rows >= 2 && rows <= 6) << rows;
        ++taken[rows];
      } else if (rows >= 2 && rows <= 6) {
        ++frame;
      }
      nan += sawNaN;
    }
  }
  for (int r = 2; r <= 6; ++r) EXPECT_GT(taken[r], 20) << "rows " << r;
  EXPECT_GT(frame, 20);  // left to the loop: a sample outside the frame
  EXPECT_GT(nan, 0);
}

TEST(ScanFresh, ConversionsOfAFieldMeshEqualTheStampsInOrderSingleAndThreaded) {
  // A rough height field meshed at its own scale and converted at a finer one: triangles of two to eight
  // rows, nearly all taken four samples at a time; against the crosses stamped in loop order.
  std::mt19937 rng(42);
  CSSEMatrix field;
  meshtest::RandomField(field, 40, 31, rng, 9);
  CHTriangulation t;
  t.BaseInitialization(1.0f, 1.0f, 1.0f);
  t.CreateTriangulationFromSSEFieldSubSampled(&field, -1.0f, true, 1, 1);
  for (float res : {1.0f, 0.45f, 0.3f}) {
    meshtest::PrepareScan(t, res);
    auto [lo, hi] = meshtest::Box(t);
    for (bool keepMax : {true, false}) {
      const float sentinel = keepMax ? scan::kMaxSentinel : scan::kMinSentinel;
      int w = 0, h = 0;
      ASSERT_TRUE(scan::SampledRasterSize(lo, hi, res, res, w, h));
      scan::Job job = scan::MakeJob(t, lo, w, h, 0.5f);
      CSSEMatrix ordered, shipped, threaded;
      ordered.Create(w, h);
      ordered.Fill(sentinel);
      if (keepMax) {
        scan::Sweep<scan::CrossMax>(job, ordered);
        t.ScanConvertTriangulationMax(&shipped, 0.5f);
      } else {
        scan::Sweep<scan::CrossMin>(job, ordered);
        t.ScanConvertTriangulationMin(&shipped, 0.5f, 1.0f);
      }
      ordered.ReplaceValueWithValue(sentinel, 0.0f, 1.0f);
      t.FastScanConvertTriangulation(&threaded, 0.5f, keepMax);
      EXPECT_TRUE(SameBits(shipped, ordered)) << "res " << res << " max " << keepMax;
      EXPECT_TRUE(SameBits(threaded, ordered)) << "res " << res << " max " << keepMax;
    }
  }
}
