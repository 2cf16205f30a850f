#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "qssse/platform/InvalidArgumentException.h"
#include "RasterTestSupport.h"
#include "qssse/raster/SSEMatrix.h"

namespace {

using namespace rastertest;

constexpr float kInf = std::numeric_limits<float>::infinity();

// The box mean as it reads: each window row left to right, then the row sums top to bottom.
void PlainBox(CSSEMatrix& m, int rx, int ry) {
  const CSSEMatrix t(m);
  for (int y = 0; y < m.GetSizeY(); ++y) {
    for (int x = 0; x < m.GetSizeX(); ++x) {
      if (std::isnan(t.GetPoint(x, y))) continue;
      double sum = 0.0;
      int count = 0;
      for (int j = std::max(y - ry, 0); j <= std::min(y + ry, m.GetSizeY() - 1); ++j) {
        double row = 0.0;
        for (int i = std::max(x - rx, 0); i <= std::min(x + rx, m.GetSizeX() - 1); ++i) {
          if (std::isnan(t.GetPoint(i, j))) continue;
          row += t.GetPoint(i, j);
          ++count;
        }
        sum += row;
      }
      m.SetPoint(x, y, static_cast<float>(sum / count));
    }
  }
}

// Step removal as it reads, pixel by pixel against a copy; returns the count.
int PlainRemoveSteps(CSSEMatrix& m, float maxStep, float value) {
  const CSSEMatrix t(m);
  int count = 0;
  for (int y = 0; y < m.GetSizeY(); ++y) {
    for (int x = 0; x < m.GetSizeX(); ++x) {
      const float p = t.GetPoint(x, y);
      if (p == value) continue;
      bool step = false;
      const int n[4][2] = {{x - 1, y}, {x + 1, y}, {x, y - 1}, {x, y + 1}};
      for (const auto& q : n) {
        if (q[0] < 0 || q[0] >= m.GetSizeX() || q[1] < 0 || q[1] >= m.GetSizeY()) continue;
        const float v = t.GetPoint(q[0], q[1]);
        step = step || (v != value && !std::isnan(v) && std::fabs(p - v) > maxStep);
      }
      if (step) {
        m.SetPoint(x, y, value);
        ++count;
      }
    }
  }
  return count;
}

}  // namespace

TEST(SSEMatrixBoxFilter, MeanOfTheWindowClippedToTheImage) {
  CSSEMatrix m = FromRows({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
  m.BoxFilter(1, 1);
  EXPECT_EQ(m.GetPoint(0, 0), 3.0f);  // (1 + 2 + 4 + 5) / 4
  CSSEMatrix rows = FromRows({{1, 2, 3}, {4, 5, 6}});
  rows.BoxFilter(1, -5);  // negative radii count as 0: each row alone
  EXPECT_EQ(ToRows(rows), (Rows{{1.5f, 2, 2.5f}, {4.5f, 5, 5.5f}}));
  CSSEMatrix whole = FromRows({{1, 2, 3}, {4, 5, 6}});
  whole.BoxFilter(1000000, 1000000);  // beyond the image: the mean of all
  EXPECT_EQ(ToRows(whole), (Rows{{3.5f, 3.5f, 3.5f}, {3.5f, 3.5f, 3.5f}}));
}

TEST(SSEMatrixBoxFilter, EqualsThePlainSumAndTheMaskOfOnesBitForBit) {
  std::mt19937 rng(42);
  std::uniform_real_distribution<float> value(-1000.0f, 1000.0f);
  std::vector<float> values;
  for (int i = 0; i < 200; ++i) values.push_back(value(rng));
  values.push_back(std::nanf(""));
  for (int sy = 1; sy <= 9; ++sy) {
    for (int sx = 1; sx <= 9; ++sx) {
      const CSSEMatrix input = RandomFrom(rng, sx, sy, values, 42.0f);
      for (const auto& [rx, ry] : {std::pair{1, 1}, std::pair{2, 0}, std::pair{0, 3}, std::pair{3, 2}}) {
        CSSEMatrix fast(input), plain(input), masked(input);
        fast.BoxFilter(rx, ry);
        PlainBox(plain, rx, ry);
        ASSERT_TRUE(SameBits(fast, plain)) << sx << " x " << sy << ", " << rx << ", " << ry;
        CSSEMatrix ones = Blank(2 * rx + 1, 2 * ry + 1, 1.0f);
        masked.MaskFilter(ones, true);
        ASSERT_TRUE(SameBits(masked, plain)) << sx << " x " << sy << ", " << rx << ", " << ry;
      }
    }
  }
}

TEST(SSEMatrixMaskFilter, WeightedSumOverTheMaskWithinTheImage) {
  // The second difference of x^2 is 2 inside; at the left border the missing neighbour drops out.
  CSSEMatrix m = FromRows({{0, 1, 4, 9, 16}, {0, 1, 4, 9, 16}, {0, 1, 4, 9, 16}});
  const CSSEMatrix laplace = FromRows({{0, 1, 0}, {1, -4, 1}, {0, 1, 0}});
  m.MaskFilter(laplace, false);
  EXPECT_EQ(m.GetPoint(2, 1), 2.0f);  // 1 + 9 + 4 + 4 - 16
  EXPECT_EQ(m.GetPoint(0, 1), 1.0f);  // right neighbour 1, the others 0
  // Normalised: divided by the weights that took part.
  CSSEMatrix row = FromRows({{2, 4, 8}});
  row.MaskFilter(FromRows({{1, 2, 1}}), true);
  EXPECT_EQ(row.GetPoint(0, 0), 8.0f / 3.0f);  // (2 * 2 + 4) / 3
  EXPECT_EQ(row.GetPoint(1, 0), 4.5f);         // (2 + 8 + 8) / 4
  EXPECT_EQ(row.GetPoint(2, 0), 20.0f / 3.0f);
  // Weights that sum to 0 leave the pixel; zero and NaN weights never read their pixel.
  CSSEMatrix balanced = FromRows({{2, 4, 8}});
  balanced.MaskFilter(FromRows({{-1, 0, 1}}), true);
  EXPECT_EQ(balanced.GetPoint(1, 0), 4.0f);
  CSSEMatrix infinite = FromRows({{kInf, 3, 5}});
  infinite.MaskFilter(FromRows({{0, 1, std::nanf("")}}), false);
  EXPECT_EQ(ToRows(infinite), (Rows{{kInf, 3, 5}}));
}

TEST(SSEMatrixFrame, EmbedMovesThePixelsExtractGivesThemBackAndTooLargeAFrameThrows) {
  const CSSEMatrix input = FromRows({{1, 2}, {3, 4}});
  CSSEMatrix m(input);
  m.EmbedInFrame(1, 2, 9.0f);
  EXPECT_EQ(ToRows(m),
            (Rows{{9, 9, 9, 9}, {9, 9, 9, 9}, {9, 1, 2, 9}, {9, 3, 4, 9}, {9, 9, 9, 9}, {9, 9, 9, 9}}));
  m.ExtractFromFrame(1, 2);
  EXPECT_TRUE(SameBits(m, input));
  m.EmbedInFrame(-3, 0, 5.0f);  // negative counts are 0
  EXPECT_TRUE(SameBits(m, input));
  EXPECT_THROW(m.EmbedInFrame(0, CSSEMatrix::kMaxSizeY / 2, 0.0f), CInvalidArgumentException);
  EXPECT_THROW(m.EmbedInFrame(2000000000, 0, 0.0f), CInvalidArgumentException);
  EXPECT_TRUE(SameBits(m, input));
  // A frame of half the matrix or more leaves nothing in that direction.
  m.ExtractFromFrame(1, 0);
  EXPECT_EQ(m.GetSizeX(), 0);
  EXPECT_FALSE(m.HasPixels());
}

TEST(SSEMatrixValueEdits, TopAndBottomRemovalReplaceStrictlyBeyondTheLevel) {
  const float nan = std::nanf("");
  CSSEMatrix m = FromRows({{1, 2, 3}, {4, nan, 6}});
  EXPECT_EQ(m.RemoveTop(4.0f, 4.0f), 1);  // 6 cut to the level, 4 itself stays
  EXPECT_EQ(m.RemoveBottom(2.0f, -1.0f), 1);
  const Rows r = ToRows(m);
  EXPECT_EQ(r[0], (std::vector<float>{-1, 2, 3}));
  EXPECT_EQ(r[1][0], 4.0f);
  EXPECT_TRUE(std::isnan(r[1][1]));
  EXPECT_EQ(r[1][2], 4.0f);
  // The padding rows (two of them here, holding 0 < 2) are not pixels.
  EXPECT_EQ(Lane(m, 0, 0, 2), 0.0f);
}

TEST(SSEMatrixValueEdits, StepsAreJudgedOnTheValuesBeforeAndIgnoreTheNoValueMarker) {
  // 0 is the marker: the 5 beside it is no step; 5 | 9 is one, on both sides; 1 | 2 exactly maxStep.
  CSSEMatrix row = FromRows({{0, 5, 5, 9, 9, 10}});
  EXPECT_EQ(row.RemoveSteps(1.0f, 0.0f), 2);
  EXPECT_EQ(ToRows(row), (Rows{{0, 5, 0, 0, 9, 10}}));
}

TEST(SSEMatrixValueEdits, RemoveStepsEqualsThePlainLoopsOnEverySmallSize) {
  std::mt19937 rng(42);
  const std::vector<float> values = {0, 0, 1, 1, 2, 4, 4.5f, -3, kInf, std::nanf("")};
  for (int sy = 1; sy <= 9; ++sy) {
    for (int sx = 1; sx <= 9; ++sx) {
      const CSSEMatrix input = RandomFrom(rng, sx, sy, values, 42.0f);
      for (const float step : {0.5f, 1.0f, 2.5f}) {
        CSSEMatrix fast(input), plain(input);
        const int n = fast.RemoveSteps(step, 0.0f);
        ASSERT_EQ(n, PlainRemoveSteps(plain, step, 0.0f)) << sx << " x " << sy;
        ASSERT_TRUE(SameBits(fast, plain)) << sx << " x " << sy << ", step " << step;
      }
    }
  }
}
