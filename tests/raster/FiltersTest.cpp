#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "RasterTestSupport.h"
#include "qssse/raster/Filters.h"
#include "qssse/raster/SSEMatrix.h"

namespace {

// Median of the clamped (2r+1)^2 window by sorting.
float PlainMedian(const CSSEMatrix& m, int x, int y, int r) {
  std::vector<float> w;
  for (int dy = -r; dy <= r; ++dy)
    for (int dx = -r; dx <= r; ++dx) w.push_back(m.GetPoint(x + dx, y + dy));
  std::nth_element(w.begin(), w.begin() + w.size() / 2, w.end());
  return w[w.size() / 2];
}

CSSEMatrix Random(std::mt19937& rng, int sx, int sy) { return rastertest::RandomMatrix(rng, sx, sy, 7, 1.0f, 0.0f); }  // ties

TEST(Filters, MediansEqualSortingOnEverySmallSizeAndRectangle) {
  std::mt19937 rng(42);
  for (int sy = 1; sy <= 11; ++sy) {
    for (int sx = 1; sx <= 9; ++sx) {
      const CSSEMatrix src = Random(rng, sx, sy);
      const int x0 = static_cast<int>(rng() % 5) - 2, x1 = static_cast<int>(rng() % 12);
      const int y0 = static_cast<int>(rng() % 5) - 2, y1 = static_cast<int>(rng() % 14);
      for (int r : {1, 2}) {
        CSSEMatrix dst;
        (r == 1 ? CFilters::Median3x3 : CFilters::Median5x5)(src, dst, x0, x1, y0, y1);
        ASSERT_EQ(dst.GetSizeY(), sy);
        for (int y = 0; y < sy; ++y) {
          for (int x = 0; x < sx; ++x) {
            const bool in = x >= x0 && x <= x1 && y >= y0 && y <= y1;
            ASSERT_EQ(dst.GetPoint(x, y), in ? PlainMedian(src, x, y, r) : src.GetPoint(x, y))
                << sx << "x" << sy << " r" << r << " at " << x << "," << y;
          }
        }
      }
    }
  }
}

TEST(Filters, InPlaceFilteringReadsTheOriginalAndBadInputIsHarmless) {
  std::mt19937 rng(42);
  CSSEMatrix m = Random(rng, 9, 9), expected;
  CFilters::Median5x5(m, expected, 0, 8, 0, 8);
  CFilters::Median5x5(m, m, 0, 8, 0, 8);
  EXPECT_TRUE(rastertest::SamePixels(m, expected));
  CSSEMatrix copy;
  CFilters::Median3x3(m, copy, 20, 30, 0, 8);  // outside: a plain copy
  EXPECT_EQ(copy.GetPoint(4, 4), m.GetPoint(4, 4));
  CSSEMatrix none, target = m;
  CFilters::Median3x3(none, target, 0, 9, 0, 9);
  EXPECT_EQ(target.GetSizeX(), 9);
}

}  // namespace
