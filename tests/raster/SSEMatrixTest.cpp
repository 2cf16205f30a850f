#include <gtest/gtest.h>

#include <cfloat>
#include <cstring>
#include <limits>
#include <random>

#include "qssse/platform/Field2D.h"
#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/platform/MemoryException.h"
#include "RasterTestSupport.h"
#include "qssse/raster/SSEMatrix.h"

namespace {

using namespace rastertest;

TEST(SSEMatrixLayout, SizesFieldsAndPixelAddressesFollowTheLayoutRules) {
  CSSEMatrix m = Blank(10, 8);
  EXPECT_EQ(m.GetSSESizeX(), 10);
  EXPECT_EQ(m.GetSSESizeY(), 3);  // a multiple of four still gets a padding row
  EXPECT_EQ(m.GetFields(), 1);
  EXPECT_EQ(m.GetLinesPerField(), 32);
  m.SetPoint(2, 5, 7.5f);  // lane y & 3 of element x of SIMD row y >> 2
  EXPECT_EQ(Lane(m, 2, 1, 1), 7.5f);
  EXPECT_EQ(m.GetPointAddress(2, 5), &Lane(m, 2, 1, 1));

  m.Create(5, 512);
  EXPECT_EQ(m.GetSSESizeY(), 129);
  ASSERT_EQ(m.GetFields(), 5);
  __m128** rows = m.GetMatrixDataDirectly();
  for (int f = 0; f < 5; ++f) EXPECT_EQ(rows[32 * f], m.GetField(f));
  EXPECT_EQ(rows[33], m.GetField(1) + 5);
  EXPECT_EQ(rows[128], m.GetField(4));
  for (int g = 0; g < m.GetSSESizeY(); ++g) EXPECT_EQ(reinterpret_cast<std::uintptr_t>(rows[g]) % 16, 0u);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(rows) % 16, 0u);
}

TEST(SSEMatrixLayout, CreateZeroesEverythingIncludingPadding) {
  CSSEMatrix m;
  m.CreateNoClear(7, 9);
  m.Fill(3.0f);
  m.Create(7, 9);
  for (int g = 0; g < m.GetSSESizeY(); ++g)
    for (int x = 0; x < 7; ++x)
      for (int l = 0; l < 4; ++l) ASSERT_EQ(Lane(m, x, g, l), 0.0f);
}

TEST(SSEMatrixLayout, RejectsImpossibleSizesWithoutChangingTheMatrix) {
  CSSEMatrix m = Ramp(4, 4);
  EXPECT_THROW(m.Create(-1, 4), CInvalidArgumentException);
  EXPECT_THROW(m.Create(4, -1), CInvalidArgumentException);
  EXPECT_THROW(m.Create(4, CSSEMatrix::kMaxSizeY + 1), CInvalidArgumentException);
  EXPECT_EQ(m.GetPoint(3, 3), 303.0f);
  m.Create(1, CSSEMatrix::kMaxSizeY);  // the largest height the 250 fields hold
  EXPECT_EQ(m.GetFields(), 250);
  m.SetPoint(0, CSSEMatrix::kMaxSizeY - 1, 1.0f);
  EXPECT_EQ(m.GetPoint(0, 99999), 1.0f);
}

TEST(SSEMatrixAccess, ReadsAndWritesOutsideAreClampedToTheBorder) {
  CSSEMatrix m = Ramp(10, 8);
  EXPECT_EQ(m.GetPoint(-5, 3), 300.0f);
  EXPECT_EQ(m.GetPoint(50, -2), 9.0f);
  EXPECT_EQ(m.GetPoint(4, 1000), 704.0f);
  m.SetPoint(100, 100, -1.0f);
  EXPECT_EQ(m.GetPoint(9, 7), -1.0f);
  m.SetPoint(-100, -100, -2.0f);
  EXPECT_EQ(m.GetPoint(0, 0), -2.0f);
}

TEST(SSEMatrixAccess, MatricesWithoutPixelsReadZeroAndIgnoreWrites) {
  CSSEMatrix empty;
  EXPECT_EQ(empty.GetPoint(0, 0), 0.0f);
  empty.SetPoint(1, 1, 5.0f);
  empty.Set11x11BoxPointMax(0, 0, 5.0f);
  EXPECT_EQ(empty.GetPointAddress(0, 0), nullptr);
  empty.Clear();
  empty.Fill(1.0f);

  CSSEMatrix wide;
  wide.Create(6, 0);  // a padding row only
  EXPECT_FALSE(wide.HasPixels());
  EXPECT_EQ(wide.GetSSESizeY(), 1);
  wide.SetCross(0, 0, 1.0f);
  EXPECT_EQ(wide.GetPoint(0, 0), 0.0f);

  CSSEMatrix freed = Ramp(5, 5);
  freed.Free();
  EXPECT_EQ(freed.GetSizeX(), 5);  // sizes survive Free
  EXPECT_EQ(freed.GetPoint(2, 2), 0.0f);
  freed.Set3x3BoxPointMin(2, 2, 1.0f);
  freed.Fill(2.0f);
}

TEST(SSEMatrixCopy, CopiesAreDeepIncludePaddingAndReuseTheStorageOfAnEqualSize) {
  CSSEMatrix a = Ramp(3, 300);  // 76 SIMD rows in three fields
  Lane(a, 2, 75, 3) = 42.0f;    // padding pixel (2, 303)
  CSSEMatrix b(a);
  EXPECT_NE(b.GetMatrixDataDirectly(), a.GetMatrixDataDirectly());
  EXPECT_EQ(Lane(b, 2, 75, 3), 42.0f);
  a.SetPoint(0, 0, -1.0f);
  EXPECT_EQ(b.GetPoint(0, 0), 0.0f);
  CSSEMatrix dst = Blank(3, 300);
  __m128** before = dst.GetMatrixDataDirectly();
  dst.CopyFromSSEMatrix(b);
  EXPECT_EQ(dst.GetMatrixDataDirectly(), before);
  EXPECT_EQ(dst.GetPoint(2, 299), 29902.0f);
  EXPECT_EQ(dst.GetPoint(1, 130), 13001.0f);
  EXPECT_EQ(Lane(dst, 2, 75, 3), 42.0f);
  CSSEMatrix& alias = dst;
  dst = alias;  // self-assignment does nothing
  EXPECT_EQ(dst.GetPoint(1, 130), 13001.0f);
  dst.CopyFromSSEMatrix(CSSEMatrix());  // a source without storage leaves the target alone
  EXPECT_EQ(dst.GetPoint(1, 130), 13001.0f);
}

TEST(SSEMatrixCopy, CopiesFromDoubleRowsAndFromFields) {
  double r0[3] = {1.0, 2.0, 0.1}, r1[3] = {4.0, 5.0, 6.0};
  double* rows[2] = {r0, r1};
  CSSEMatrix m;
  m.CopyFromMatrix(rows, 3, 2);
  EXPECT_EQ(m.GetPoint(2, 0), 0.1f);
  EXPECT_EQ(m.GetPoint(1, 1), 5.0f);

  DmField2D<float, 1> field(4, 3);
  field(3, 2) = 9.0f;
  const CSSEMatrix f(field);
  EXPECT_EQ(f.GetSizeX(), 4);
  EXPECT_EQ(f.GetSizeY(), 3);
  EXPECT_EQ(f.GetPoint(3, 2), 9.0f);
}

TEST(SSEMatrixCopy, CenteredCopiesCropTheMiddleAndMaxMinKeepTheStrictlyBetterValue) {
  const CSSEMatrix src = Ramp(10, 9);
  CSSEMatrix dst = Blank(4, 3);
  dst.CopyFromSSEMatrixCentered(src);
  // offset x: (10 >> 1) - (4 >> 1) = 3, y: (9 >> 1) - (3 >> 1) = 3
  EXPECT_EQ(dst.GetPoint(0, 0), 303.0f);
  EXPECT_EQ(dst.GetPoint(3, 2), 506.0f);
  CSSEMatrix big = Blank(20, 20, 7.0f);
  big.CopyFromSSEMatrixCentered(src);  // smaller source: cleared, nothing copied
  EXPECT_EQ(big.GetPoint(10, 10), 0.0f);

  CSSEMatrix window = Blank(3, 3);
  window.SetPoint(0, 0, 5.0f);
  window.SetPoint(1, 1, -5.0f);
  CSSEMatrix hi = Blank(3, 3, 1.0f), lo(hi);
  hi.CopyFromSSEMatrixCenteredMaximum(window);
  lo.CopyFromSSEMatrixCenteredMinimum(window);
  EXPECT_EQ(ToRows(hi), (Rows{{5, 1, 1}, {1, 1, 1}, {1, 1, 1}}));
  EXPECT_EQ(ToRows(lo), (Rows{{1, 0, 0}, {0, -5, 0}, {0, 0, 0}}));
  hi.CopyFromSSEMatrixCenteredMinimum(Blank(2, 2));  // smaller source: unchanged
  EXPECT_EQ(hi.GetPoint(1, 1), 1.0f);
}

// The SIMD scan's frame, start values and NaN rule are the one-scan oracle's below, on every position.
TEST(SSEMatrixQueries, MinMaxComesMaximumFirstFromAMillionOrFromEveryPixelOfASmallMatrix) {
  CSSEMatrix m = Blank(12, 16, 2.0e6f);  // 5 SIMD rows: rows 1..3 and columns 3..8 are scanned
  m.SetPoint(0, 8, 3.0e6f);  // left frame
  float maxValue = 0.0f, minValue = 0.0f;
  m.CalcMinMaxValues(&maxValue, &minValue);
  EXPECT_EQ(maxValue, 2.0e6f);
  EXPECT_EQ(minValue, 1.0e6f);  // never above the start value
  // Small matrices: every pixel, NaN skipped; none at all: the inverted range.
  CSSEMatrix small = Blank(5, 5, 1.0f);
  small.SetPoint(2, 2, std::numeric_limits<float>::quiet_NaN());
  small.SetPoint(3, 2, 4.0f);
  small.CalcMinMaxValues(&maxValue, &minValue);
  EXPECT_EQ(maxValue, 4.0f);
  EXPECT_EQ(minValue, 1.0f);
  Blank(0, 0).CalcMinMaxValues(&maxValue, &minValue);
  EXPECT_EQ(maxValue, FLT_MAX);
  EXPECT_EQ(minValue, -FLT_MAX);
}

// The SIMD scan as one accumulator pair over the SIMD rows 1 .. sseSizeY - 2 and columns 3 .. sseSizeX - 4,
// accumulator second: of equal values (+0, -0) the earlier stays, NaN pixels are ignored. The lanes are
// joined in the library's order, min(min(l1, l3), min(l0, l2)), the second operand kept on ties.
void PlainMinMax(const CSSEMatrix& m, float& maxValue, float& minValue) {
  float lanesMin[4], lanesMax[4];
  for (int l = 0; l < 4; ++l) {
    lanesMin[l] = 1000000.0f;
    lanesMax[l] = -1000000.0f;
  }
  for (int g = 1; g <= m.GetSSESizeY() - 2; ++g) {
    for (int x = 3; x <= m.GetSSESizeX() - 4; ++x) {
      for (int l = 0; l < 4; ++l) {
        const float v = Lane(m, x, g, l);
        lanesMin[l] = v < lanesMin[l] ? v : lanesMin[l];
        lanesMax[l] = v > lanesMax[l] ? v : lanesMax[l];
      }
    }
  }
  const auto mn = [](float a, float b) { return a < b ? a : b; };
  const auto mx = [](float a, float b) { return a > b ? a : b; };
  minValue = mn(mn(lanesMin[1], lanesMin[3]), mn(lanesMin[0], lanesMin[2]));
  maxValue = mx(mx(lanesMax[1], lanesMax[3]), mx(lanesMax[0], lanesMax[2]));
}

::testing::AssertionResult MinMaxAsOneScan(const CSSEMatrix& m) {
  float wantMax = 0.0f, wantMin = 0.0f, maxValue = 0.0f, minValue = 0.0f;
  PlainMinMax(m, wantMax, wantMin);
  m.CalcMinMaxValues(&maxValue, &minValue);
  if (std::memcmp(&maxValue, &wantMax, 4) == 0 && std::memcmp(&minValue, &wantMin, 4) == 0)
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "max " << maxValue << " min " << minValue << ", one scan gives max "
                                       << wantMax << " min " << wantMin;
}

TEST(SSEMatrixQueries, MinMaxKeepsTheEarlierOfEqualZerosAsOneScanWould) {
  std::mt19937 rng(42);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  // Zeros as the minimum, zeros as the maximum, and everything.
  const float kSets[3][6] = {{0.0f, -0.0f, 1.0f, nan, 0.0f, -0.0f},
                             {0.0f, -0.0f, -1.0f, nan, 0.0f, -0.0f},
                             {0.0f, -0.0f, 1.0f, -1.0f, nan, 2.0e6f}};
  for (int round = 0; round < 300; ++round) {
    CSSEMatrix m = Blank(7 + static_cast<int>(rng() % 9), 9 + static_cast<int>(rng() % 40));
    SetLanes(m, [&] { return kSets[round % 3][rng() % 6]; });
    ASSERT_TRUE(MinMaxAsOneScan(m)) << round;
  }
}

TEST(SSEMatrixQueries, MinMaxAgreesWithOneScanForAZeroOrNaNAtEveryPosition) {
  // Every scanned element and lane, on sizes that leave unrolled columns and rows over: a -0 there with
  // +0 at every later position of another, and a NaN there among random values.
  std::mt19937 rng(42);
  for (auto [sx, sy] : {std::pair{13, 37}, {16, 44}, {11, 21}}) {
    CSSEMatrix m = Blank(sx, sy);
    const int rows = m.GetSSESizeY() - 2, columns = m.GetSSESizeX() - 6, count = rows * columns;
    const auto at = [&](int k) { return std::pair{1 + k / columns, 3 + k % columns}; };
    for (int p = 0; p < count; ++p) {
      for (int q = 0; q < count; ++q) {
        for (int lane = 0; lane < 4; ++lane) {
          m.Fill(1.0f);
          const auto [gp, xp] = at(p);
          const auto [gq, xq] = at(q);
          Lane(m, xq, gq, lane) = 0.0f;
          Lane(m, xp, gp, lane) = -0.0f;
          ASSERT_TRUE(MinMaxAsOneScan(m)) << sx << "x" << sy << " -0 at " << p << ", +0 at " << q;
          m.Fill(-1.0f);
          Lane(m, xq, gq, lane) = -0.0f;
          Lane(m, xp, gp, lane) = 0.0f;
          ASSERT_TRUE(MinMaxAsOneScan(m)) << sx << "x" << sy << " +0 at " << p << ", -0 at " << q;
        }
      }
      for (int lane = 0; lane < 4; ++lane) {
        SetLanes(m, [&] { return static_cast<float>(rng() % 7) - 3.0f; });
        const auto [gp, xp] = at(p);
        Lane(m, xp, gp, lane) = std::numeric_limits<float>::quiet_NaN();
        ASSERT_TRUE(MinMaxAsOneScan(m)) << sx << "x" << sy << " NaN at " << p;
      }
    }
  }
}

TEST(SSEMatrixLayout, MoreThanTheMachineHoldsThrowsInsteadOfBeingKilled) {
  // 2^31 - 1 columns by 31999 rows is about 2.7e14 bytes: each 32-row field alone might pass the
  // system's overcommit, and zeroing them would get the process killed.
  CSSEMatrix m = Blank(3, 3);
  EXPECT_THROW(m.Create(2147483647, CSSEMatrix::kMaxSizeY), CMemoryException);
  EXPECT_EQ(m.GetSizeX(), 3);
  EXPECT_TRUE(m.HasPixels());
}

}  // namespace
