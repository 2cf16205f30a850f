#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>

#include "RasterTestSupport.h"

namespace {

using namespace rastertest;

CSSEMatrix Random(std::mt19937& rng, int sx, int sy) { return RandomMatrix(rng, sx, sy, 1000, 0.37f, -50.0f); }

TEST(SSEMatrixScale, UpscalingIsCornerAlignedAndRepeatsTheBorder) {
  CSSEMatrix m = Ramp(4, 4, 10);
  m.ScaleMatrix(8, 8);
  ASSERT_EQ(m.GetSizeX(), 8);
  EXPECT_EQ(m.GetPoint(0, 0), 0.0f);
  EXPECT_EQ(m.GetPoint(1, 0), 0.5f);
  EXPECT_EQ(m.GetPoint(2, 3), 16.0f);  // source (1, 1.5)
  EXPECT_EQ(m.GetPoint(7, 7), 33.0f);  // source (3.5, 3.5), clamped to (3, 3)
  EXPECT_EQ(Lane(m, 5, 2, 0), 0.0f);  // padding = source (0, 0)
}

TEST(SSEMatrixScale, DownscalingPicksPixelsWithoutAveraging) {
  CSSEMatrix m = Ramp(8, 8, 10);
  m.ScaleMatrix_SSE(4, 4);
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 4; ++x) EXPECT_EQ(m.GetPoint(x, y), static_cast<float>(20 * y + 2 * x));
}

TEST(SSEMatrixScale, SameSizeReproducesAndBadSizesDoNothing) {
  std::mt19937 rng(42);
  CSSEMatrix m = Random(rng, 7, 9), before(m);
  m.ScaleMatrix(7, 9);
  EXPECT_TRUE(SamePixels(m, before));
  for (auto [nx, ny] : {std::pair{0, 3}, {3, 0}, {-2, 5}}) {
    m.ScaleMatrix(nx, ny);
    m.ScaleMatrix_SSE(nx, ny);
    EXPECT_EQ(m.GetSizeX(), 7);
  }
  CSSEMatrix empty;
  empty.ScaleMatrix_SSE(4, 4);
  EXPECT_FALSE(empty.HasPixels());
}

TEST(SSEMatrixScale, SimdFormEqualsThePlainLoopOnEveryPixel) {
  std::mt19937 rng(42);
  for (int sy = 1; sy <= 9; ++sy) {
    for (int sx = 1; sx <= 9; ++sx) {
      for (int k = 0; k < 3; ++k) {
        const int nx = 1 + static_cast<int>(rng() % 23), ny = 1 + static_cast<int>(rng() % 23);
        CSSEMatrix plain = Random(rng, sx, sy), fast(plain);
        plain.ScaleMatrix(nx, ny);
        fast.ScaleMatrix_SSE(nx, ny);
        ASSERT_TRUE(SameBits(plain, fast)) << sx << "x" << sy << " -> " << nx << "x" << ny;
      }
    }
  }
  // Downscales read the source directly where a band's lanes allow; larger results are written with
  // streaming stores.
  for (auto [sx, sy, nx, ny] : {std::array{333, 517, 1024, 701}, {333, 517, 1030, 1031}, {517, 333, 101, 97},
                                {1000, 998, 500, 499}, {403, 777, 400, 201}, {1100, 1200, 1030, 1031}}) {
    CSSEMatrix plain = Random(rng, sx, sy);
    for (int k = 0; k < 64; ++k) {  // weights of 0 still carry NaN, infinities and the sign of zero
      const float special[] = {std::nanf(""), INFINITY, -INFINITY, -0.0f};
      plain.SetPoint(static_cast<int>(rng() % sx), static_cast<int>(rng() % sy), special[k % 4]);
    }
    CSSEMatrix fast(plain);
    plain.ScaleMatrix(nx, ny);
    fast.ScaleMatrix_SSE(nx, ny);
    EXPECT_TRUE(SameBits(plain, fast)) << nx << " x " << ny;
  }
}

TEST(SSEMatrixScale, IntoACallersMatrixGivesTheSameBitsAndReusesAStorageOfTheRightSize) {
  std::mt19937 rng(42);
  const CSSEMatrix src = Random(rng, 333, 517), before(src);
  CSSEMatrix inPlace(src), target;
  inPlace.ScaleMatrix_SSE(1030, 1031);
  src.ScaleMatrix_SSE(1030, 1031, target);  // fresh storage, streamed
  EXPECT_TRUE(SameBits(target, inPlace));
  const __m128* const storage = target.GetMatrixDataDirectly()[0];
  target.Fill(7.0f);
  src.ScaleMatrix_SSE(1030, 1031, target);  // the same size: written over in place
  EXPECT_EQ(target.GetMatrixDataDirectly()[0], storage);
  EXPECT_TRUE(SameBits(target, inPlace));
  EXPECT_TRUE(SameBits(src, before));
  // Small sizes, the source itself as target, and sizes below 1.
  CSSEMatrix small = Random(rng, 5, 7), expected(small), other;
  expected.ScaleMatrix(9, 3);
  small.ScaleMatrix_SSE(9, 3, other);
  EXPECT_TRUE(SameBits(other, expected));
  small.ScaleMatrix_SSE(9, 3, small);
  EXPECT_TRUE(SameBits(small, expected));
  small.ScaleMatrix_SSE(0, 3, other);
  EXPECT_EQ(other.GetSizeX(), 9);
}

TEST(SSEMatrixScale, PreciseReadAgreesWithTheResampledPixels) {
  std::mt19937 rng(42);
  CSSEMatrix src = Random(rng, 6, 5), scaled(src);
  scaled.ScaleMatrix(11, 13);
  const float sx = 6.0f / 11.0f, sy = 5.0f / 13.0f;
  for (int j = 0; j < 13; ++j)
    for (int i = 0; i < 11; ++i)
      if (static_cast<float>(i) * sx <= 5.0f && static_cast<float>(j) * sy <= 4.0f) {
        EXPECT_EQ(src.GetPixelPreciseFloat(static_cast<float>(i) * sx, static_cast<float>(j) * sy),
                  scaled.GetPoint(i, j));
      }
  EXPECT_EQ(src.GetPixelPreciseFloat(-3.0f, std::nanf("")), src.GetPoint(0, 0));
  EXPECT_EQ(src.GetPixelPreciseFloat(1e9f, 1e9f), src.GetPoint(5, 4));
}

}  // namespace
