#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "MeshTestSupport.h"
#include "qssse/mesh/ScanWorkers.h"

using meshtest::SameBits;

namespace {

// Both envelopes, threaded and not, on the mesh's own box and on a caller's box.
void ExpectThreadedEqualsSingle(CHTriangulation& t, float zOffset) {
  CSSEMatrix single, fast;
  t.ScanConvertTriangulationMax(&single, zOffset);
  t.FastScanConvertTriangulation(&fast, zOffset, true);
  EXPECT_TRUE(SameBits(single, fast)) << "max, " << t.GetNumTriangles() << " triangles";
  t.ScanConvertTriangulationMin(&single, zOffset, 1.0f);
  t.FastScanConvertTriangulation(&fast, zOffset, false);
  EXPECT_TRUE(SameBits(single, fast)) << "min, " << t.GetNumTriangles() << " triangles";
  auto [lo, hi] = meshtest::Box(t);
  lo.x += 1.5f;
  hi.y -= 2.0f;
  t.ScanConvertTriangulationMax_MinMaxPoint(&single, zOffset, lo, hi);
  t.FastScanConvertTriangulation_MinMaxPoint(&fast, zOffset, lo, hi, true);
  EXPECT_TRUE(SameBits(single, fast)) << "max with a box, " << t.GetNumTriangles() << " triangles";
  t.ScanConvertTriangulationMin_MinMaxPoint(&single, zOffset, lo, hi);
  t.FastScanConvertTriangulation_MinMaxPoint(&fast, zOffset, lo, hi, false);
  EXPECT_TRUE(SameBits(single, fast)) << "min with a box, " << t.GetNumTriangles() << " triangles";
}


}  // namespace

TEST(ScanThreaded, WorkersSplitTheListIntoTenChunksTheLastTakingTheRest) {
  using qssse::scan::WorkerRange;
  // 25 triangles: chunks of 2, worker 9 takes 18..24.
  for (int i = 0; i < 9; ++i) {
    EXPECT_EQ(WorkerRange(25, i).first, 2 * i);
    EXPECT_EQ(WorkerRange(25, i).last, 2 * i + 1);
  }
  EXPECT_EQ(WorkerRange(25, 9).first, 18);
  EXPECT_EQ(WorkerRange(25, 9).last, 24);
  // Fewer than ten: all to worker 9.
  for (int i = 0; i < 9; ++i) EXPECT_LT(WorkerRange(7, i).last, WorkerRange(7, i).first);
  EXPECT_EQ(WorkerRange(7, 9).first, 0);
  EXPECT_EQ(WorkerRange(7, 9).last, 6);
  // Every triangle exactly once, for every count up to a few hundred.
  for (int n = 0; n < 300; ++n) {
    int next = 0;
    for (int i = 0; i < 10; ++i) {
      const auto r = WorkerRange(n, i);
      if (r.last < r.first) continue;
      EXPECT_EQ(r.first, next) << n;
      next = r.last + 1;
    }
    EXPECT_EQ(next, n);
  }
}

TEST(ScanThreaded, EqualsTheSingleThreadedConversionOnSoupsOfEveryChunkShape) {
  std::mt19937 rng(42);
  // 1..9 triangles (worker 9 alone), 10..31 (chunks of one to three with a long last chunk), and big
  // triangles that straddle every chunk's area.
  for (int n : {1, 2, 5, 9, 10, 11, 19, 25, 31, 200}) {
    CHTriangulation t(n, 1, 1, 1);
    const auto c = [&](int range) { return static_cast<float>(static_cast<int>(rng() % range)); };
    for (int i = 0; i < n; ++i)
      SetTriangle(t, i, P(c(40), c(40), c(9)), P(c(40), c(40), c(9)), P(c(40), c(40), c(9)));
    meshtest::PrepareScan(t, n % 2 ? 1.0f : 0.7f);
    ExpectThreadedEqualsSingle(t, 0.5f);
  }
}

TEST(ScanThreaded, EqualsTheSingleThreadedConversionOnAHeightFieldMesh) {
  CSSEMatrix field;
  field.Create(61, 47);
  for (int y = 0; y < 47; ++y) {
    for (int x = 0; x < 61; ++x) {
      field.SetPoint(x, y,
                     std::floor(20.0f * std::sin(0.2f * static_cast<float>(x)) *
                                std::cos(0.15f * static_cast<float>(y))));
    }
  }
  CHTriangulation t(&field, -5.0f, true, 0.5f, 0.5f, 1.0f, 1, 1);  // holes where the field is low
  ASSERT_GT(t.GetNumTriangles(), 100);
  t.SetScanConvResolution(0.5f, 0.5f, 1.0f);
  ExpectThreadedEqualsSingle(t, 3.0f);
  t.SetScanConvResolution(0.35f, 0.35f, 1.0f);
  ExpectThreadedEqualsSingle(t, 0.0f);
  // Far from the origin at a fine resolution the samples' float rounding spans pixels: the workers'
  // boxes must still hold every stamp.
  t.ShiftTriangulation(30000.0f, -70000.0f, 0.0f);
  t.CalcSTV();
  t.CalcBoundingBox();
  t.SetScanConvResolution(0.01f, 0.01f, 1.0f);
  ExpectThreadedEqualsSingle(t, 0.0f);
}

TEST(ScanThreaded, EmptyMeshesAndBoxesLeaveTheMatrixAlone) {
  CSSEMatrix m;
  m.Create(4, 4);
  m.SetPoint(1, 1, 3.0f);
  CHTriangulation empty(0, 1, 1, 1);
  empty.FastScanConvertTriangulation(&m, 0.0f, true);
  CHTriangulation dot;
  Triangles(dot, {{P(1, 1, 1), P(1, 1, 1), P(1, 1, 1)}}, 1.0f);
  dot.FastScanConvertTriangulation(&m, 0.0f, false);
  dot.FastScanConvertTriangulation(nullptr, 0.0f, false);
  EXPECT_EQ(m.GetSizeX(), 4);
  EXPECT_EQ(m.GetPoint(1, 1), 3.0f);
}
