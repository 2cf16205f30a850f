#include <gtest/gtest.h>

#include <cmath>
#include <deque>
#include <random>
#include <vector>

#include "RasterTestSupport.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/raster/SSEcharMatrix.h"

namespace {

using namespace rastertest;

// Breadth-first search over the 4-neighbours from the seeds through pixels that `fits`.
template <class Fits>
std::vector<std::vector<bool>> Reached(const CSSEMatrix& m, std::deque<std::pair<int, int>> queue,
                                       Fits fits) {
  std::vector<std::vector<bool>> seen(m.GetSizeY(), std::vector<bool>(m.GetSizeX(), false));
  while (!queue.empty()) {
    const auto [x, y] = queue.front();
    queue.pop_front();
    if (x < 0 || y < 0 || x >= m.GetSizeX() || y >= m.GetSizeY() || seen[y][x] || !fits(m.GetPoint(x, y)))
      continue;
    seen[y][x] = true;
    queue.insert(queue.end(), {{x - 1, y}, {x + 1, y}, {x, y - 1}, {x, y + 1}});
  }
  return seen;
}

int PlainFillArea(CSSEMatrix& m, int x, int y, float value) {
  const float seed = m.GetPoint(x, y);
  const auto area = Reached(m, {{x, y}}, [seed](float p) {
    return (std::isnan(seed) && std::isnan(p)) || (seed - p > -0.002f && seed - p < 0.002f);
  });
  int n = 0;
  for (int j = 0; j < m.GetSizeY(); ++j)
    for (int i = 0; i < m.GetSizeX(); ++i)
      if (area[j][i]) m.SetPoint(i, j, value), ++n;
  return n;
}

int PlainFillHoles(CSSEMatrix& m, float threshold, float value) {
  std::deque<std::pair<int, int>> border;
  for (int x = 0; x < m.GetSizeX(); ++x) border.insert(border.end(), {{x, 0}, {x, m.GetSizeY() - 1}});
  for (int y = 0; y < m.GetSizeY(); ++y) border.insert(border.end(), {{0, y}, {m.GetSizeX() - 1, y}});
  const auto outside = Reached(m, border, [threshold](float p) { return !(p > threshold); });
  int n = 0;
  for (int j = 0; j < m.GetSizeY(); ++j)
    for (int i = 0; i < m.GetSizeX(); ++i)
      if (!outside[j][i] && !(m.GetPoint(i, j) > threshold)) m.SetPoint(i, j, value), ++n;
  return n;
}

// The opening as it reads: a region pixel stays when a disc centred on a region pixel covers it and
// holds only region pixels of the image.
int PlainRemoveThinAreas(CSSEMatrix& m, float radius, float threshold, float value) {
  if (!(radius >= 1.0f)) return 0;
  const int r2 = static_cast<int>(std::floor(radius * radius)), r = static_cast<int>(std::floor(radius));
  const int sx = m.GetSizeX(), sy = m.GetSizeY();
  auto region = [&](int x, int y) { return m.GetPoint(x, y) > threshold; };
  auto fits = [&](int cx, int cy) {
    if (!region(cx, cy)) return false;
    for (int y = std::max(cy - r, 0); y <= std::min(cy + r, sy - 1); ++y)
      for (int x = std::max(cx - r, 0); x <= std::min(cx + r, sx - 1); ++x)
        if ((x - cx) * (x - cx) + (y - cy) * (y - cy) <= r2 && !region(x, y)) return false;
    return true;
  };
  std::vector<std::pair<int, int>> removed;
  for (int y = 0; y < sy; ++y) {
    for (int x = 0; x < sx; ++x) {
      if (!region(x, y)) continue;
      bool covered = false;
      for (int cy = std::max(y - r, 0); cy <= std::min(y + r, sy - 1) && !covered; ++cy)
        for (int cx = std::max(x - r, 0); cx <= std::min(x + r, sx - 1) && !covered; ++cx)
          covered = (x - cx) * (x - cx) + (y - cy) * (y - cy) <= r2 && fits(cx, cy);
      if (!covered) removed.emplace_back(x, y);
    }
  }
  for (const auto& [x, y] : removed) m.SetPoint(x, y, value);
  return static_cast<int>(removed.size());
}

}  // namespace

// Tolerance, 4-connectivity and NaN seeds on random rasters are the breadth-first search's below; here
// the seed outside, a fill with a matching value, and a hole open to the outside only at a corner.
TEST(SSEMatrixFill, FillAreaClampsItsSeedAndFillHolesUsesFourConnectivity) {
  CSSEMatrix m = FromRows({{1, 1, 0, 1}, {0, 1.0015f, 0, 0}, {1.003f, 1, 0, 1}});
  EXPECT_EQ(m.FillArea(100, -5, 1.001f), 1);  // (3, 0); filling with a matching value still ends
  EXPECT_EQ(ToRows(m), (Rows{{1, 1, 0, 1.001f}, {0, 1.0015f, 0, 0}, {1.003f, 1, 0, 1}}));
  CSSEMatrix corner = FromRows({{0, 5, 5}, {5, 0, 5}, {5, 5, 5}});
  EXPECT_EQ(corner.FillHoles(1.0f, 9.0f), 1);
  EXPECT_EQ(corner.GetPoint(1, 1), 9.0f);
}

TEST(SSEMatrixFill, FillsEqualTheBreadthFirstSearchOnRandomRasters) {
  std::mt19937 rng(42);
  const std::vector<float> values = {0, 0, 0, 1, 1, 1.001f, 2, std::nanf("")};
  for (int sy = 1; sy <= 9; ++sy) {
    for (int sx = 1; sx <= 9; ++sx) {
      const CSSEMatrix input = RandomFrom(rng, sx, sy, values);
      const int x = static_cast<int>(rng() % sx), y = static_cast<int>(rng() % sy);
      CSSEMatrix fast(input), plain(input);
      ASSERT_EQ(fast.FillArea(x, y, 5.0f), PlainFillArea(plain, x, y, 5.0f));
      ASSERT_TRUE(SamePixels(fast, plain)) << sx << " x " << sy;
      CSSEMatrix holes(input), plainHoles(input);
      ASSERT_EQ(holes.FillHoles(0.5f, 5.0f), PlainFillHoles(plainHoles, 0.5f, 5.0f));
      ASSERT_TRUE(SamePixels(holes, plainHoles)) << sx << " x " << sy;
    }
  }
}

TEST(SSEMatrixFill, RemoveThinAreasKeepsWhatADiscFitsIn) {
  // A 5x5 block with a one-pixel tail: the 3x3 disc of radius 1.5 fits in the block only.
  CSSEMatrix m = Blank(10, 7);
  for (int y = 1; y <= 5; ++y)
    for (int x = 1; x <= 5; ++x) m.SetPoint(x, y, 2.0f);
  for (int x = 6; x <= 9; ++x) m.SetPoint(x, 3, 2.0f);
  EXPECT_EQ(m.RemoveThinAreas(1.5f, 1.0f, 0.0f), 4);
  EXPECT_EQ(m.NumValuesAbove(1.0f), 25);
  EXPECT_EQ(m.GetPoint(6, 3), 0.0f);
  // Discs may reach past the border: centred on the first row, the 3x3 disc of radius 1.5 fits a
  // band of two rows along it; the disc of radius 2 reaches the third row and fits nowhere.
  CSSEMatrix band = Blank(6, 6);
  for (int x = 0; x < 6; ++x) band.SetPoint(x, 0, 1.0f), band.SetPoint(x, 1, 1.0f);
  EXPECT_EQ(band.RemoveThinAreas(1.5f, 0.5f, 0.0f), 0);
  EXPECT_EQ(band.RemoveThinAreas(0.5f, 0.5f, 0.0f), 0);  // below 1 nothing goes
  EXPECT_EQ(band.RemoveThinAreas(2.0f, 0.5f, 0.0f), 12);
}

TEST(SSEMatrixFill, RemoveThinAreasEqualsThePlainOpeningOnRandomMasks) {
  std::mt19937 rng(42);
  const std::vector<float> values = {0, 1, 1, 1, 1, 1};
  for (int sy = 1; sy <= 9; ++sy) {
    for (int sx = 1; sx <= 9; ++sx) {
      const CSSEMatrix input = RandomFrom(rng, sx, sy, values);
      for (const float radius : {1.0f, 1.5f, 2.0f, 2.3f}) {
        CSSEMatrix fast(input), plain(input);
        ASSERT_EQ(fast.RemoveThinAreas(radius, 0.5f, -1.0f),
                  PlainRemoveThinAreas(plain, radius, 0.5f, -1.0f));
        ASSERT_EQ(ToRows(fast), ToRows(plain)) << sx << " x " << sy << ", radius " << radius;
      }
    }
  }
}

TEST(SSEMatrixSearch, FirstPointWalksInStepsUntilItLeavesTheImage) {
  const CSSEMatrix m = FromRows({{0, 0, 0, 4}, {0, 3, 0, 0}, {0, 0, 0, 2}});
  int x = 0, y = 0;
  EXPECT_TRUE(m.FindFirstPointAbove(x, y, 1, 1, 1.0f));  // the diagonal reaches (1, 1)
  EXPECT_EQ(x, 1);
  EXPECT_EQ(y, 1);
  x = 3, y = 2;
  EXPECT_TRUE(m.FindFirstPointAbove(x, y, 0, -1, 2.0f));  // upward, strictly above 2
  EXPECT_EQ(y, 0);
  x = -7, y = 2;  // clamped to (0, 2); nothing along the row is below 0
  EXPECT_FALSE(m.FindFirstPointBelow(x, y, 1, 0, 0.0f));
  EXPECT_EQ(x, -7);
  x = 1, y = 1;
  EXPECT_TRUE(m.FindFirstPointAbove(x, y, 0, 0, 2.5f));
  x = 0, y = 1;
  EXPECT_FALSE(m.FindFirstPointAbove(x, y, 0, 0, 2.5f));  // no step: the start pixel only
  x = 0, y = 0;
  EXPECT_FALSE(m.FindFirstPointAbove(x, y, 2000000000, 0, 5.0f));  // a huge step leaves at once
}

TEST(SSEMatrixSearch, FirstPointsOfTheMaskedRowsAreJoinedByLines) {
  CSSEMatrix m = FromRows({{0, 0, 5, 5, 5, 5, 5},
                           {0, 0, 0, 0, 0, 0, 5},
                           {5, 5, 5, 5, 5, 5, 5},
                           {0, 0, 0, 0, 0, 0, 0},
                           {0, 0, 0, 5, 5, 0, 0}});
  CSSEcharMatrix mask(7, 5);
  for (int y = 0; y < 5; ++y)
    for (int x = 1; x < 7; ++x) mask.SetPoint(x, y, 1);  // column 0 masked out
  EXPECT_EQ(m.DrawFirstPointLinedUseMask(mask, 1.0f, 8.0f), 4);
  // Points (2, 0), (6, 1), (1, 2), (3, 4); row 3 has none and breaks the line. The line from (2, 0)
  // to (6, 1) passes its midpoint (4, 0.5) on the lower row.
  EXPECT_EQ(ToRows(m), (Rows{{0, 0, 8, 8, 5, 5, 5},
                             {0, 0, 0, 0, 8, 8, 8},
                             {5, 8, 8, 8, 5, 5, 5},
                             {0, 0, 0, 0, 0, 0, 0},
                             {0, 0, 0, 8, 5, 0, 0}}));
}
