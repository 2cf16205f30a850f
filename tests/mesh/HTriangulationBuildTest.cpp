#include <gtest/gtest.h>

#include <random>

#include "MeshTestSupport.h"
#include "qssse/platform/InvalidArgumentException.h"

using meshtest::FillField;

namespace {

// Scalar form of the full-resolution sweep: cells at every column pair and every row that a whole
// SIMD row covers, padding rows reading 0.
void PlainFullResolution(CHTriangulation& t, const CSSEMatrix& m, float threshold, bool above) {
  int count = 0;
  for (int y = 0; y < m.GetSizeY(); ++y) {
    for (int x = 0; x < m.GetSizeX(); ++x)
      count += above ? m.GetPoint(x, y) > threshold : m.GetPoint(x, y) < threshold;
  }
  if (2 * count < 1) return;
  t.CreateTriangulation(2 * count);
  const auto value = [&](int x, int y) { return y < m.GetSizeY() ? m.GetPoint(x, y) : 0.0f; };
  const auto valid = [&](int x, int y) { return above ? value(x, y) > threshold : value(x, y) < threshold; };
  int counter = 0;
  for (int x = 0; x + 1 < m.GetSizeX(); ++x) {
    for (int y = 0; y < 4 * (m.GetSSESizeY() - 1); ++y) {
      const int maskA = valid(x, y) + 2 * valid(x, y + 1), maskB = valid(x + 1, y) + 2 * valid(x + 1, y + 1);
      t.AppendTriangle(maskA, maskB, x * t.GetScaleX(), x * t.GetScaleX() + t.GetScaleX(), y * t.GetScaleY(),
                       y * t.GetScaleY() + t.GetScaleY(), value(x, y), value(x, y + 1), value(x + 1, y),
                       value(x + 1, y + 1), counter, !above, false);
    }
  }
}

}  // namespace

TEST(HTriangulationBuild, OneFullCellFillsTwoOfTheReservedRecords) {
  CSSEMatrix m;
  const float rows[5][3] = {{5, 6, 0}, {7, 8, 0}, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}};
  FillField(m, rows);
  CHTriangulation t(&m, 1.0f, true, 0.5f, 2.0f, 10.0f);
  ASSERT_EQ(t.GetNumTriangles(), 8);  // 2 x four valid pixels, deliberately not lowered
  const SSEPoint* e = t.GetEdgeArray();
  const float corners[6][3] = {{0, 0, 5}, {0.5f, 2, 8}, {0, 2, 7}, {0, 0, 5}, {0.5f, 0, 6}, {0.5f, 2, 8}};
  for (int i = 0; i < 6; ++i) EXPECT_POINT(e[i], corners[i][0], corners[i][1], corners[i][2], 0);
  for (int i = 6; i < 24; ++i) EXPECT_POINT(e[i], 0, 0, 0, 0);
  // Follow-up calls ran: the box includes the all-zero records, S/T/V exist.
  auto [lo, hi] = meshtest::Box(t);
  EXPECT_POINT(lo, 0, 0, 0, 0);
  EXPECT_POINT(hi, 0.5f, 2, 8, 0);
  EXPECT_POINT(t.GetSArray()[1], 0.5f, 0, 1, 0);
}

TEST(HTriangulationBuild, ValueEqualToThresholdIsNeverValid) {
  CSSEMatrix m;
  const float rows[2][2] = {{1, 1}, {1, 1}};
  FillField(m, rows);
  for (bool above : {true, false}) {
    CHTriangulation full(&m, 1.0f, above, 1, 1, 1), sub(&m, 1.0f, above, 1, 1, 1, 1, 1);
    EXPECT_EQ(full.GetNumTriangles(), 0);
    EXPECT_EQ(sub.GetNumTriangles(), 0);
    SSEPoint lo;
    full.GetMinPoint(lo);
    EXPECT_POINT(lo, 0, 0, 0, 0);  // no follow-up calls on an empty mesh
  }
}

TEST(HTriangulationBuild, PaddingRowsAreCornersInTheBelowMode) {
  // Four rows fill one SIMD row; the fourth cell takes its lower corners from the padding row (0).
  CSSEMatrix m;
  const float rows[4][2] = {{5, 5}, {5, 5}, {5, 5}, {0, 5}};
  FillField(m, rows);
  CHTriangulation t(&m, 1.0f, false, 1, 1, 1);
  ASSERT_EQ(t.GetNumTriangles(), 2);  // one valid real pixel
  const SSEPoint* e = t.GetEdgeArray();
  EXPECT_POINT(e[0], 0, 3, 0, 0);
  EXPECT_POINT(e[1], 1, 4, 0, 0);
  EXPECT_POINT(e[2], 0, 4, 0, 0);
  EXPECT_LT(t.GetNormalArray()[0].z, 0);  // flipped in the below mode
  EXPECT_POINT(e[3], 0, 0, 0, 0);
}

TEST(HTriangulationBuild, FullResolutionSweepEqualsScalarCellWalk) {
  std::mt19937 rng(42);
  for (int w = 1; w <= 9; ++w) {
    for (int h = 1; h <= 9; ++h) {
      CSSEMatrix m;
      meshtest::RandomField(m, w, h, rng, 3);
      for (bool above : {true, false}) {
        CHTriangulation fast(0, 0.5f, 0.25f, 1), plain(0, 0.5f, 0.25f, 1);
        fast.CreateTriangulationFromSSEField(&m, 1.0f, above);
        PlainFullResolution(plain, m, 1.0f, above);
        ASSERT_EQ(fast.GetNumTriangles(), plain.GetNumTriangles()) << w << "x" << h;
        for (int i = 0; i < 3 * fast.GetNumTriangles(); ++i) {
          ASSERT_TRUE(meshtest::SamePoint(fast.GetEdgeArray()[i], plain.GetEdgeArray()[i]))
              << w << "x" << h << " " << i;
          ASSERT_TRUE(meshtest::SamePoint(fast.GetNormalArray()[i], plain.GetNormalArray()[i]));
        }
      }
    }
  }
}

TEST(HTriangulationBuild, SubSampledCellsStepOverTheFieldAndStopAtTheReserve) {
  CSSEMatrix m;
  const float rows[5][5] = {
      {1, 1, 2, 1, 3}, {1, 1, 1, 1, 1}, {4, 1, 5, 1, 6}, {1, 1, 1, 1, 1}, {7, 1, 8, 1, 9}};
  FillField(m, rows);
  CHTriangulation t(&m, 0.0f, true, 1, 1, 1, 2, 2);
  ASSERT_EQ(t.GetNumTriangles(), 8);  // cells at x, y in {0, 2}; reserve 2 * 25 / 4 = 12
  const SSEPoint* e = t.GetEdgeArray();
  // Cells run x outer, y inner: the second cell is (0, 2).
  EXPECT_POINT(e[6], 0, 2, 4, 0);
  EXPECT_POINT(e[7], 2, 4, 8, 0);
  EXPECT_POINT(e[8], 0, 4, 7, 0);
  EXPECT_POINT(e[3 * 7 + 2], 4, 4, 9, 0);
  EXPECT_EQ(t.GetTriangle(6)->neighbour[0], t.GetTriangle(7));
  // Valid only on the grid points of step 2: 9 pixels reserve 2 * 9 / 4 = 4 records for 8 triangles.
  const float sparse[5][5] = {
      {1, 0, 1, 0, 1}, {0, 0, 0, 0, 0}, {1, 0, 1, 0, 1}, {0, 0, 0, 0, 0}, {1, 0, 1, 0, 1}};
  FillField(m, sparse);
  EXPECT_EQ(CHTriangulation(&m, 0.5f, true, 1, 1, 1, 2, 2).GetNumTriangles(), 4);
}

TEST(HTriangulationBuild, AreaLimitedFormReadsClampedAndForcesFullCells) {
  CSSEMatrix m;
  const float rows[3][3] = {{1, 0, 2}, {0, 0, 0}, {3, 0, 4}};
  FillField(m, rows);
  // x = 1 only (x <= 3 - 2), corners at column 1 and column 3, read as column 2.
  CHTriangulation t(&m, 0.5f, true, 1, 1, 1, 2, 2, 1, 3, 0, 2, false);
  ASSERT_EQ(t.GetNumTriangles(), 0);  // column 1 holds no valid corner: maskA 0
  CHTriangulation u(&m, 0.5f, true, 1, 1, 1, 1, 1, 0, 2, 0, 2, true);
  // Reserve 2 * 4 = 8; cells (0,0) .. (1,1): corners on both sides only in... none, so nothing forced.
  EXPECT_EQ(u.GetNumTriangles(), 0);
  CHTriangulation v(&m, 0.5f, true, 1, 1, 1, 2, 2, 0, 2, 0, 2, true);
  ASSERT_EQ(v.GetNumTriangles(), 2);  // one 2x2 cell, four valid corners
  CSSEMatrix full;
  const float values[3][3] = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
  FillField(full, values);
  CHTriangulation beyond(&full, 0.5f, true, 1, 1, 1, 2, 2, 0, 4, 0, 2, false);
  ASSERT_EQ(beyond.GetNumTriangles(), 4);  // cells at x = 0 and x = 2, the second reading column 2 twice
  EXPECT_POINT(beyond.GetEdgeArray()[3 * 2 + 1], 4, 2, 9, 0);
  EXPECT_POINT(beyond.GetEdgeArray()[3 * 2 + 2], 2, 2, 9, 0);
  CHTriangulation none(&m, 0.5f, true, 1, 1, 1, 2, 2, 2, 3, 0, 2, false);
  EXPECT_EQ(none.GetNumTriangles(), 0);  // xFrom > xTo - stepX
  // Forcing turns one-sided cells into pairs.
  const float three[2][2] = {{1, 1}, {0, 1}};
  FillField(m, three);
  CHTriangulation plain(&m, 0.5f, true, 1, 1, 1, 1, 1, 0, 1, 0, 1, false);
  CHTriangulation forced(&m, 0.5f, true, 1, 1, 1, 1, 1, 0, 1, 0, 1, true);
  EXPECT_EQ(plain.GetNumTriangles(), 1);
  EXPECT_EQ(forced.GetNumTriangles(), 2);
  EXPECT_POINT(forced.GetEdgeArray()[2], 0, 1, 0, 0);  // the invalid corner is written with its height
}

TEST(HTriangulationBuild, BadArgumentsAreRejectedOrGiveEmptyMeshes) {
  CSSEMatrix m;
  const float rows[2][2] = {{1, 1}, {1, 1}};
  FillField(m, rows);
  EXPECT_THROW(CHTriangulation(&m, 0.0f, true, 1, 1, 1, 0, 1), CInvalidArgumentException);
  EXPECT_THROW(CHTriangulation(&m, 0.0f, true, 1, 1, 1, 1, 0, 0, 1, 0, 1, false), CInvalidArgumentException);
  EXPECT_THROW(CHTriangulation(&m, &m, true, 1, 1, 1, 1, -1), CInvalidArgumentException);
  CSSEMatrix empty;
  EXPECT_EQ(CHTriangulation(&empty, 0.0f, true, 1, 1, 1).GetNumTriangles(), 0);
  EXPECT_EQ(CHTriangulation(nullptr, 0.0f, true, 1, 1, 1, 1, 1).GetNumTriangles(), 0);
  EXPECT_EQ(CHTriangulation(&m, nullptr, true, 1, 1, 1, 1, 1).GetNumTriangles(), 0);
}

TEST(HTriangulationBuild, TwoFieldsCompareThePixelsAndTakeHeightsFromTheFirst) {
  CSSEMatrix m, ref;
  const float mv[2][3] = {{5, 5, 5}, {5, 5, 5}};
  const float rv[2][3] = {{1, 1, 9}, {1, 1, 9}};
  FillField(m, mv);
  FillField(ref, rv);
  CHTriangulation above(&m, &ref, true, 1, 1, 1, 1, 1);
  ASSERT_EQ(above.GetNumTriangles(), 2);  // only the cell of columns 0 and 1
  EXPECT_POINT(above.GetEdgeArray()[4], 1, 0, 5, 0);
  // Follow-ups: neighbours (the pair, both on the border), normals from the vertices.
  EXPECT_EQ(above.GetTriangle(0)->neighbour[0], above.GetTriangle(1));
  EXPECT_EQ(above.GetTriangle(0)->mark, 13);
  EXPECT_POINT(above.GetNormalArray()[0], 0, 0, 1, 0);  // S x T of (0,0),(1,1),(0,1)
  CHTriangulation below(&m, &ref, false, 1, 1, 1, 1, 1);
  ASSERT_EQ(below.GetNumTriangles(), 0);  // only column 2 is below: no cell has two sides
  CHTriangulation area(&m, &ref, true, 1, 1, 1, 1, 1, 1, 2, 0, 1);
  EXPECT_EQ(area.GetNumTriangles(), 0);  // the cell of columns 1 and 2 has no valid corner at column 2
}
