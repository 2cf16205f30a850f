#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "RasterTestSupport.h"
#include "qssse/raster/SSEMatrix.h"

namespace {

using namespace rastertest;

constexpr float kInf = std::numeric_limits<float>::infinity();

// The filter as it reads: the extreme of the disc's pixels inside the image, -0 below +0 (above for
// the maximum), NaN pixels kept and skipped.
void PlainDiscFilter(CSSEMatrix& m, float radius, bool maximum) {
  if (!(radius >= 1.0f)) return;
  const CSSEMatrix t(m);
  const int sx = m.GetSizeX(), sy = m.GetSizeY();
  const double r = std::min<double>(radius, sx + sy);
  const auto r2 = static_cast<long long>(std::floor(r * r));
  const auto reach = static_cast<int>(std::floor(std::sqrt(static_cast<double>(r2))));
  auto better = [maximum](float v, float best) {
    if (v == best) return v == 0.0f && std::signbit(v) != std::signbit(best) && std::signbit(v) != maximum;
    return maximum ? v > best : v < best;
  };
  for (int y = 0; y < sy; ++y) {
    for (int x = 0; x < sx; ++x) {
      float best = t.GetPoint(x, y);
      if (std::isnan(best)) continue;
      for (int j = std::max(0, y - reach); j <= std::min(sy - 1, y + reach); ++j) {
        for (int i = std::max(0, x - reach); i <= std::min(sx - 1, x + reach); ++i) {
          const long long dx = i - x, dy = j - y;
          const float v = t.GetPoint(i, j);
          if (dx * dx + dy * dy <= r2 && !std::isnan(v) && better(v, best)) best = v;
        }
      }
      m.SetPoint(x, y, best);
    }
  }
}

// Values from a small set, so that ties, both zeros, infinities and NaN meet in most discs; padding
// holds a marker the filters must leave alone.
CSSEMatrix RandomRaster(std::mt19937& rng, int sx, int sy, bool negativeZeros) {
  const float zero = negativeZeros ? -0.0f : 0.0f;
  return RandomFrom(rng, sx, sy, {-3.0f, -1.0f, 0.0f, 0.5f, 1.0f, 2.0f, 7.0f, kInf, -kInf, std::nanf(""), zero, zero}, 42.0f);
}

void ExpectSameAsPlain(const CSSEMatrix& input, float radius) {
  for (const bool maximum : {false, true}) {
    CSSEMatrix fast(input), plain(input);
    maximum ? fast.MaximumFilterDisc(radius) : fast.MinimumFilterDisc(radius);
    PlainDiscFilter(plain, radius, maximum);
    ASSERT_TRUE(SameBits(fast, plain)) << input.GetSizeX() << " x " << input.GetSizeY() << ", radius "
                                             << radius << (maximum ? ", maximum" : ", minimum");
  }
}

}  // namespace

TEST(SSEMatrixMinMaxFilter, DiscHoldsTheOffsetsWithinTheRadiusClippedNotClampedAtTheBorder) {
  // One peak dilated by radius 2: the thirteen pixels with dx^2 + dy^2 <= 4. At the border the missing
  // neighbours drop out (clamping would repeat the border pixel); a huge radius gives the extreme of
  // the whole image.
  const Rows peak = {{0, 0, 0, 0, 0}, {0, 0, 0, 0, 0}, {0, 0, 5, 0, 0}, {0, 0, 0, 0, 0}, {0, 0, 0, 0, 0}};
  const struct {
    Rows input;
    float radius;
    bool maximum;
    Rows expected;
  } cases[] = {
      {peak, 2.0f, true, {{0, 0, 5, 0, 0}, {0, 5, 5, 5, 0}, {5, 5, 5, 5, 5}, {0, 5, 5, 5, 0}, {0, 0, 5, 0, 0}}},
      {{{5, 1, 7, 3, 9}}, 1.0f, false, {{1, 1, 1, 3, 3}}},
      {{{4, 2, 9}, {7, 5, 3}}, kInf, false, {{2, 2, 2}, {2, 2, 2}}},
      {{{4, 2, 9}, {7, 5, 3}}, 1.0e30f, true, {{9, 9, 9}, {9, 9, 9}}},
  };
  for (const auto& c : cases) {
    CSSEMatrix m = FromRows(c.input);
    c.maximum ? m.MaximumFilterDisc(c.radius) : m.MinimumFilterDisc(c.radius);
    EXPECT_EQ(ToRows(m), c.expected) << c.radius << (c.maximum ? " maximum" : " minimum");
  }
}

TEST(SSEMatrixMinMaxFilter, NanPixelsKeepTheirBitsAndAreSkippedAndNegativeZeroCountsBelowPositiveZero) {
  const float nan = std::nanf("7");
  CSSEMatrix m = FromRows({{3, nan, 1}, {nan, 4, nan}});
  m.MinimumFilterDisc(1.0f);
  EXPECT_EQ(m.GetPoint(0, 0), 3.0f);  // both neighbours NaN: the pixel itself
  EXPECT_EQ(Bits(m.GetPoint(1, 0)), Bits(nan));
  EXPECT_EQ(m.GetPoint(1, 1), 4.0f);
  // -0 counts below +0 (above it for the maximum).
  CSSEMatrix lo = FromRows({{0.0f, -0.0f, 0.0f, 0.0f}}), hi = FromRows({{-0.0f, 0.0f, -0.0f, -0.0f}});
  lo.MinimumFilterDisc(1.0f);
  hi.MaximumFilterDisc(1.0f);
  EXPECT_EQ(Bits(lo.GetPoint(2, 0)), Bits(-0.0f));
  EXPECT_EQ(Bits(lo.GetPoint(3, 0)), Bits(0.0f));
  EXPECT_EQ(Bits(hi.GetPoint(0, 0)), Bits(0.0f));
  EXPECT_EQ(Bits(hi.GetPoint(3, 0)), Bits(-0.0f));
}

TEST(SSEMatrixMinMaxFilter, RadiusBelowOneOrNanLeavesTheMatrixUnchanged) {
  std::mt19937 rng(42);
  const CSSEMatrix input = RandomRaster(rng, 7, 6, true);
  for (const float radius : {0.99f, 0.0f, -3.0f, std::nanf(""), -kInf}) {
    CSSEMatrix m(input);
    m.MinimumFilterDisc(radius);
    m.MaximumFilterDisc(radius);
    EXPECT_TRUE(SameBits(m, input)) << radius;
  }
  CSSEMatrix empty;
  empty.MinimumFilterDisc(3.0f);  // no storage: nothing to do
  EXPECT_FALSE(empty.HasPixels());
}

TEST(SSEMatrixMinMaxFilter, EqualsThePlainFilterOnEverySmallSize) {
  std::mt19937 rng(42);
  for (int sy = 1; sy <= 9; ++sy) {
    for (int sx = 1; sx <= 9; ++sx) {
      const CSSEMatrix input = RandomRaster(rng, sx, sy, (sx + sy) % 2 == 0);
      for (int r = 1; r <= 12; ++r) ExpectSameAsPlain(input, static_cast<float>(r));
      ExpectSameAsPlain(input, 2.9f);
    }
  }
}

TEST(SSEMatrixMinMaxFilter, EqualsThePlainFilterOnLargerRasters) {
  std::mt19937 rng(42);
  const int sizes[][2] = {{37, 23}, {16, 61}, {70, 9}, {33, 33}};
  for (const auto& s : sizes) {
    // Without -0 the plain instructions run; one -0 switches the rows that reach it to the exact form.
    CSSEMatrix input = RandomRaster(rng, s[0], s[1], false);
    for (int r = 1; r <= 12; ++r) ExpectSameAsPlain(input, static_cast<float>(r));
    input.SetPoint(s[0] / 2, s[1] / 2, -0.0f);
    for (const float r : {1.0f, 3.5f, 7.2f, 12.0f, 40.0f}) ExpectSameAsPlain(input, r);
    const CSSEMatrix zeros = RandomRaster(rng, s[0], s[1], true);
    for (const float r : {2.0f, 5.0f, 10.0f}) ExpectSameAsPlain(zeros, r);
  }
}
