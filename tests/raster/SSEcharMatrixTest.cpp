#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "qssse/platform/ArchiveException.h"
#include "qssse/platform/InvalidArgumentException.h"
#include "RasterTestSupport.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/raster/SSEcharMatrix.h"

namespace {

using rastertest::Blank;

char Byte(const CSSEcharMatrix& m, int x, int g, int l) {
  return reinterpret_cast<const char*>(&m.GetMatrixDataDirectly()[g][x])[l];
}

TEST(SSEcharMatrix, SixteenRowsPerElementWithAPaddingRow) {
  CSSEcharMatrix m(3, 16);
  EXPECT_EQ(m.GetSSESizeY(), 2);
  m.Create(3, 15);
  EXPECT_EQ(m.GetSSESizeY(), 1);
  m.Create(2, 600);
  EXPECT_EQ(m.GetFields(), 2);  // 38 SIMD rows: 32 + 6
  m.Create(3, 20);
  m.SetPoint(2, 17, 'q');
  EXPECT_EQ(Byte(m, 2, 1, 1), 'q');
  EXPECT_THROW(m.Create(-1, 3), CInvalidArgumentException);
  EXPECT_THROW(m.Create(3, CSSEcharMatrix::kMaxSizeY + 1), CInvalidArgumentException);
}

TEST(SSEcharMatrix, AccessIsClampedAndEmptyMatricesAreInert) {
  CSSEcharMatrix m(3, 16);
  m.SetPoint(0, 15, 7);
  EXPECT_EQ(m.GetPoint(-1, 100), 7);
  m.SetPoint(50, -4, 9);
  EXPECT_EQ(m.GetPoint(2, 0), 9);
  m.ClearRow(99, 4);
  EXPECT_EQ(m.GetPoint(1, 15), 4);
  EXPECT_EQ(Byte(m, 1, 1, 0), 0);  // the padding row is not a pixel row
  m.Clear(0x1FF);
  EXPECT_EQ(static_cast<unsigned char>(Byte(m, 1, 1, 0)), 0xFF);
  CSSEcharMatrix empty;
  empty.SetPoint(1, 1, 3);
  empty.ClearRow(0, 1);
  EXPECT_EQ(empty.GetPoint(0, 0), 0);
}

TEST(SSEcharMatrix, CopiesAreDeepAndLimitedCopiesClampTheColumns) {
  CSSEcharMatrix src(10, 18);
  for (int x = 0; x < 10; ++x) src.SetPoint(x, 17, static_cast<char>(x + 1));
  CSSEcharMatrix all(src, -5, 1000), some(src, 3, 5), crossed(src, 6, 2);
  EXPECT_EQ(all.GetSizeX(), 10);
  EXPECT_EQ(all.GetPoint(9, 17), 10);
  EXPECT_EQ(some.GetSizeX(), 3);
  EXPECT_EQ(some.GetPoint(0, 17), 4);
  EXPECT_EQ(some.GetPoint(2, 17), 6);
  EXPECT_FALSE(crossed.HasPixels());
  CSSEcharMatrix copy(src);
  src.SetPoint(0, 17, 0);
  EXPECT_EQ(copy.GetPoint(0, 17), 1);
  const CSSEcharMatrix& alias = copy;
  copy = alias;  // self-assignment does nothing
  EXPECT_EQ(copy.GetPoint(0, 17), 1);
}

TEST(SSEcharMatrix, ThresholdsAreStrictSkipNaNAndLeavePaddingZero) {
  CSSEMatrix f = Blank(2, 5);
  f.Fill(2.0f);  // padding rows 5..7 too
  f.SetPoint(0, 1, 1.0f);
  f.SetPoint(1, 3, std::nanf(""));
  CSSEcharMatrix above, below;
  above.CopyAndTresholdAbove(f, 1.0f, 5);
  below.CopyAndTresholdBelow(f, 2.0f, 6);
  EXPECT_EQ(above.GetPoint(0, 1), 0);  // equal to the threshold
  EXPECT_EQ(above.GetPoint(0, 0), 5);
  EXPECT_EQ(above.GetPoint(1, 3), 0);
  EXPECT_EQ(below.GetPoint(0, 1), 6);
  EXPECT_EQ(below.GetPoint(1, 3), 0);
  for (int l = 5; l < 16; ++l) EXPECT_EQ(Byte(above, 0, 0, l), 0);
}

TEST(SSEcharMatrix, ThresholdEqualsThePixelLoopOnEverySmallSize) {
  std::mt19937 rng(42);
  for (int sy = 0; sy <= 40; ++sy) {
    for (int sx = 0; sx <= 5; ++sx) {
      CSSEMatrix f = Blank(sx, sy);
      rastertest::SetLanes(f, [&] { return static_cast<float>(rng() % 5); });
      CSSEcharMatrix m;
      m.CopyAndTresholdAbove(f, 2.0f, 1);
      ASSERT_EQ(m.GetSizeY(), sy);
      for (int g = 0; g < m.GetSSESizeY(); ++g) {
        for (int x = 0; x < sx; ++x) {
          for (int l = 0; l < 16; ++l) {
            const int y = 16 * g + l;
            const char expected = (y < sy && f.GetPoint(x, y) > 2.0f) ? 1 : 0;
            ASSERT_EQ(Byte(m, x, g, l), expected) << sx << " x " << sy << " at " << x << "," << y;
          }
        }
      }
    }
  }
}

TEST(SSEcharMatrix, ArchiveIsRowMajorWithoutPaddingAndRoundTrips) {
  CSSEcharMatrix m(2, 3);
  m.SetPoint(0, 0, 1);
  m.SetPoint(1, 0, 2);
  m.SetPoint(0, 1, 3);
  m.SetPoint(1, 2, 6);
  const std::vector<unsigned char> bytes = rastertest::ArchiveBytes(m);
  EXPECT_EQ(bytes, (std::vector<unsigned char>{2, 0, 0, 0, 3, 0, 0, 0, 1, 2, 3, 0, 0, 6}));
  CSSEcharMatrix back;
  back.Create(7, 40);
  back.Clear(9);
  rastertest::LoadArchive(back, bytes);
  EXPECT_EQ(back.GetSizeX(), 2);
  EXPECT_EQ(back.GetPoint(1, 2), 6);
  EXPECT_EQ(back.GetPoint(0, 2), 0);
  EXPECT_EQ(Byte(back, 1, 0, 3), 0);  // padding comes back 0
}

TEST(SSEcharMatrix, LoaderRejectsImpossibleSizesAndEveryTruncation) {
  CSSEcharMatrix m(5, 7);
  m.Clear(3);
  const std::vector<unsigned char> bytes = rastertest::ArchiveBytes(m);
  for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
    CSSEcharMatrix back;
    EXPECT_THROW(rastertest::LoadArchive(back, std::vector<unsigned char>(bytes.begin(), bytes.begin() + cut)),
                 CArchiveException)
        << cut;
  }
  // Headers announcing more than the file holds, or impossible sizes, fail before allocating.
  for (auto [sx, sy] :
       {std::pair{-1, 2}, {2, -1}, {2, CSSEcharMatrix::kMaxSizeY + 1}, {0x7FFFFFFF, 100000}}) {
    CSSEcharMatrix back(2, 2);
    std::vector<unsigned char> header(8);
    for (int i = 0; i < 4; ++i) {
      header[i] = static_cast<unsigned char>(static_cast<std::uint32_t>(sx) >> (8 * i));
      header[4 + i] = static_cast<unsigned char>(static_cast<std::uint32_t>(sy) >> (8 * i));
    }
    EXPECT_THROW(rastertest::LoadArchive(back, header), CArchiveException);
    EXPECT_EQ(back.GetSizeX(), 2);
  }
}

}  // namespace
