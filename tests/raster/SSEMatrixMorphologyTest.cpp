#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "RasterTestSupport.h"
#include "qssse/raster/SSEMatrix.h"

namespace {

using namespace rastertest;

// ---- plain oracles: the operations written as directly as they read --------------------------------

void PlainReplace(CSSEMatrix& m, float oldValue, float newValue) {
  for (int g = 0; g < m.GetSSESizeY(); ++g) {
    float* f = reinterpret_cast<float*>(m.GetMatrixDataDirectly()[g]);
    for (int i = 0; i < 4 * m.GetSSESizeX(); ++i) {
      const float d = oldValue - f[i];
      if (d > -0.002f && d < 0.002f) f[i] = newValue;
    }
  }
}

void PlainChamfer(CSSEMatrix& m) {
  CSSEMatrix t(m);
  PlainReplace(t, 0.0f, 99999.9f);
  PlainReplace(t, 1.0f, 0.0f);
  auto relax = [&](int x, int y, std::initializer_list<float> candidates) {
    float v = t.GetPoint(x, y);
    for (float c : candidates)
      if (c < v) v = c;
    t.SetPoint(x, y, v);
  };
  const int sx = t.GetSizeX(), sy = t.GetSizeY();
  for (int y = 1; y <= sy - 2; ++y)
    for (int x = 1; x <= sx - 2; ++x)
      relax(x, y,
            {t.GetPoint(x - 1, y) + 3, t.GetPoint(x, y - 1) + 3, t.GetPoint(x - 1, y - 1) + 4,
             t.GetPoint(x - 1, y + 1) + 4});
  for (int y = sy - 2; y >= 1; --y)
    for (int x = sx - 2; x >= 1; --x)
      relax(x, y,
            {t.GetPoint(x + 1, y) + 3, t.GetPoint(x, y + 1) + 3, t.GetPoint(x + 1, y + 1) + 4,
             t.GetPoint(x + 1, y - 1) + 4});
  t.RemoveFrameArtefacts(4, 4, 0.0f);
  m.CopyFromSSEMatrix(t);
}

void PlainErrode(CSSEMatrix& m, float radius, float bg, float fg, int x0, int x1, int y0, int y1) {
  const CSSEMatrix t(m);
  x0 = std::max(x0, 0);
  x1 = std::min(x1, m.GetSizeX() - 1);
  y0 = std::max(y0, 0);
  y1 = std::min(y1, m.GetSizeY() - 1);
  const int r2 = static_cast<int>(std::floor(radius * radius)), r = static_cast<int>(std::floor(radius));
  for (int x = x0; x <= x1; ++x) {
    for (int y = y0; y <= y1; ++y) {
      if (m.GetPoint(x, y) == bg) continue;
      bool found = false;
      for (int i = std::max(x - r, x0); i <= std::min(x + r, x1) && !found; ++i)
        for (int j = std::max(y - r, y0); j <= std::min(y + r, y1) && !found; ++j)
          found = (x - i) * (x - i) + (y - j) * (y - j) <= r2 && t.GetPoint(i, j) == bg;
      m.SetPoint(x, y, found ? bg : fg);
    }
  }
}

// stopAfterWholeIteration = true gives the published stopping rule, for the test that tells them apart.
void PlainZhangSuen(CSSEMatrix& m, float threshold, bool stopAfterWholeIteration = false) {
  const int sx = m.GetSizeX(), sy = 4 * m.GetSSESizeY();
  std::vector<std::vector<int>> b(sy, std::vector<int>(sx, 0)), mark = b;
  for (int y = 0; y < sy; ++y)
    for (int x = 0; x < sx; ++x)
      b[y][x] = threshold < Lane(m, x, y >> 2, y & 3);
  for (int it = 0; it < 1000; ++it) {
    int deletedInIteration = 0;
    for (int sub = 0; sub < 2; ++sub) {
      for (int y = 1; y <= m.GetSizeY() - 2; ++y) {
        for (int x = 1; x <= sx - 2; ++x) {
          if (b[y][x] != 1) continue;
          const int p[9] = {b[y - 1][x],     b[y - 1][x + 1], b[y][x + 1],     b[y + 1][x + 1], b[y + 1][x],
                            b[y + 1][x - 1], b[y][x - 1],     b[y - 1][x - 1], b[y - 1][x]};
          int a = 0, c = 0;
          for (int k = 0; k < 8; ++k) {
            c += p[k];
            a += p[k] == 0 && p[k + 1] == 1;
          }
          const int n = p[0], e = p[2], s = p[4], w = p[6];
          const bool side =
              sub == 0 ? (n * e * s == 0 && e * s * w == 0) : (n * e * w == 0 && n * s * w == 0);
          if (a == 1 && c >= 3 && c <= 6 && side) mark[y][x] = 1;
        }
      }
      int deleted = 0;
      for (int y = 0; y < sy; ++y)
        for (int x = 0; x < sx; ++x)
          if (mark[y][x]) {
            b[y][x] = 0;
            mark[y][x] = 0;
            ++deleted;
          }
      deletedInIteration += deleted;
      if (deleted == 0 && !stopAfterWholeIteration) goto done;
    }
    if (deletedInIteration == 0) break;
  }
done:
  m.Clear();
  for (int y = 1; y <= m.GetSizeY() - 2; ++y)
    for (int x = 1; x <= sx - 2; ++x)
      if (b[y][x]) m.SetPoint(x, y, 1.0f);
}

// ---- helpers --------------------------------------------------------------------------------------

// A random 0/1 mask (ones with probability 1/density), padding included; `extras` adds preset values.
CSSEMatrix RandomMask(std::mt19937& rng, int sx, int sy, int density, bool extras = false) {
  CSSEMatrix m = Blank(sx, sy);
  return SetLanes(m, [&] {
    const unsigned r = rng() % 40;
    const float v = rng() % density == 0 ? 1.0f : 0.0f;
    return extras && r == 0 ? static_cast<float>(rng() % 10) + 0.1f
           : extras && r == 1 ? std::numeric_limits<float>::quiet_NaN()
                              : v;
  });
}

// Each operation on a copy of input, against its plain oracle on another copy.
::testing::AssertionResult ChamferAsPlain(const CSSEMatrix& input) {
  CSSEMatrix fast(input), plain(input);
  fast.Chamfer();
  PlainChamfer(plain);
  return SameBits(fast, plain);
}

::testing::AssertionResult ErrodeAsPlain(const CSSEMatrix& input, float radius, float bg, float fg, int x0, int x1,
                                         int y0, int y1) {
  CSSEMatrix fast(input), plain(input);
  fast.Errode(radius, bg, fg, x0, x1, y0, y1);
  PlainErrode(plain, std::min(radius, 1000.0f), bg, fg, x0, x1, y0, y1);  // its int r * r holds no more
  return SameBits(fast, plain);
}

::testing::AssertionResult ZhangSuenAsPlain(const CSSEMatrix& input, float threshold) {
  CSSEMatrix fast(input), plain(input);
  fast.ZhangSuen(threshold);
  PlainZhangSuen(plain, threshold);
  return SameBits(fast, plain);
}

constexpr float kFar = 99999.8984375f;

// ---- ReplaceValueWithValue and RemoveFrameArtefacts -------------------------------------------------

TEST(SSEMatrixMorphology, ReplaceValueWithValueUsesAnOpenToleranceOf0002OrTheCallersTolerance) {
  CSSEMatrix m = FromRows({{1.0015f, 0.9985f, 1.003f, 0.997f, std::nanf("")}});
  m.ReplaceValueWithValue(1.0f, 5.0f);
  const std::vector<float> row = ToRows(m)[0];
  EXPECT_EQ(std::vector<float>(row.begin(), row.begin() + 4), (std::vector<float>{5, 5, 1.003f, 0.997f}));
  EXPECT_TRUE(std::isnan(row[4]));
  // The padding lanes (0) are replaced too.
  m.ReplaceValueWithValue(0.0f, 9.0f);
  EXPECT_EQ(Lane(m, 0, 0, 1), 9.0f);
  // The scan converters' tolerance of 1.
  CSSEMatrix far = FromRows({{-999999.875f, -999999.0f, -999998.875f}});
  far.ReplaceValueWithValue(-999999.9f, 0.0f, 1.0f);
  EXPECT_EQ(ToRows(far)[0], (std::vector<float>{0.0f, 0.0f, -999998.875f}));
}

TEST(SSEMatrixMorphology, RemoveFrameArtefactsSetsOneMoreColumnRightAndOneMoreSimdRowAtTheBottom) {
  CSSEMatrix m = Blank(10, 12, 7.0f);  // sseSizeY 4
  m.RemoveFrameArtefacts(2, 4, 0.0f);
  for (int y = 0; y < 16; ++y) {
    for (int x = 0; x < 10; ++x) {
      // Left: columns 0, 1. Right: 7, 8, 9 (nx + 1). Top: SIMD row 0. Bottom: SIMD rows 2 and 3.
      const bool frame = x < 2 || x >= 7 || y < 4 || y >= 8;
      EXPECT_EQ(Lane(m, x, y >> 2, y & 3), frame ? 0.0f : 7.0f) << x << "," << y;
    }
  }
  // A zero width still resets the last column and the padding row; the most negative one nothing.
  CSSEMatrix small = Blank(5, 4, 7.0f);  // sseSizeY 2
  small.RemoveFrameArtefacts(0, 0, 0.0f);
  EXPECT_EQ(ToRows(small), (Rows(4, {7, 7, 7, 7, 0})));
  EXPECT_EQ(Lane(small, 0, 1, 0), 0.0f);
  small.Fill(7.0f);
  small.RemoveFrameArtefacts(std::numeric_limits<int>::min(), std::numeric_limits<int>::min(), 0.0f);
  EXPECT_EQ(small.GetPoint(4, 3), 7.0f);
}

// ---- Chamfer --------------------------------------------------------------------------------------

TEST(SSEMatrixMorphology, ChamferMarksAxialNeighboursWithThreeDiagonalsWithFourAndKeepsFarWithoutObject) {
  CSSEMatrix m = Blank(16, 16), empty = Blank(16, 16);
  m.SetPoint(8, 8, 1.0f);
  m.Chamfer();
  empty.Chamfer();
  EXPECT_EQ(m.GetPoint(8, 8), 0.0f);
  for (auto [x, y] : {std::pair{7, 8}, {9, 8}, {8, 7}, {8, 9}}) EXPECT_EQ(m.GetPoint(x, y), 3.0f);
  for (auto [x, y] : {std::pair{7, 7}, {9, 9}, {9, 7}, {7, 9}}) EXPECT_EQ(m.GetPoint(x, y), 4.0f);
  // Frame: four left columns, five right ones, the top SIMD row, the two bottom SIMD rows (12..19).
  EXPECT_EQ(m.GetPoint(3, 8), 0.0f);
  EXPECT_EQ(m.GetPoint(11, 8), 0.0f);
  EXPECT_EQ(empty.GetPoint(4, 4), kFar);
  EXPECT_EQ(empty.GetPoint(10, 11), kFar);
  EXPECT_EQ(empty.GetPoint(10, 12), 0.0f);
}

TEST(SSEMatrixMorphology, ChamferDoesNotChainAlongTheAntiDiagonal) {
  // The masks run along x: the forward pass reads the lower-left neighbour before the pass reached it,
  // so steps towards the upper right are never chained. Two such steps cost 10, not the textbook 8.
  CSSEMatrix m = Blank(16, 16);
  m.SetPoint(5, 9, 1.0f);
  m.Chamfer();
  EXPECT_EQ(m.GetPoint(6, 8), 4.0f);
  EXPECT_EQ(m.GetPoint(7, 7), 10.0f);
  EXPECT_EQ(m.GetPoint(7, 11), 8.0f);  // towards the lower right the forward pass chains normally
}

TEST(SSEMatrixMorphology, ChamferEqualsThePlainPassesOnRandomMasksOfEverySmallSize) {
  std::mt19937 rng(42);
  for (int sy = 1; sy <= 13; ++sy) {
    for (int sx = 1; sx <= 9; ++sx) {
      for (int density : {2, 9}) {
        ASSERT_TRUE(ChamferAsPlain(RandomMask(rng, sx, sy, density, true))) << sx << " x " << sy;
      }
    }
  }
  // Interior bands run in groups of four columns-skewed bands: every remainder of the grouping (heights
  // 14..45) on matrices narrower than the skew (widths 3..6) and wider ones.
  for (int sy = 14; sy <= 45; ++sy) {
    for (int sx : {3, 4, 5, 6, 11}) {
      ASSERT_TRUE(ChamferAsPlain(RandomMask(rng, sx, sy, 6, sy % 3 == 0))) << sx << " x " << sy;
    }
  }
  for (int k = 0; k < 6; ++k) {
    ASSERT_TRUE(ChamferAsPlain(RandomMask(rng, 20 + k * 7, 130 + k * 3, 40, k % 2 == 1))) << k;
  }
}

// ---- Errode and Dilate ----------------------------------------------------------------------------

TEST(SSEMatrixMorphology, ErrodeWithRadiusOneUsesTheCrossWithOnePointFiveTheBoxAndDilateSwapsTheValues) {
  const Rows start = {{1, 1, 1, 1, 1}, {1, 1, 1, 1, 1}, {1, 1, 0, 1, 1}, {1, 1, 1, 1, 1}, {1, 1, 1, 1, 1}};
  CSSEMatrix cross = FromRows(start), box = FromRows(start), grown = FromRows(start);
  cross.Errode(1.0f, 0.0f, 1.0f, 0, 4, 0, 4);
  box.Errode(1.5f, 0.0f, 1.0f, 0, 4, 0, 4);
  // Dilate(r, a, b) = Errode(r, b, a): pixels near b become b, so Dilate(r, 1, 0) grows the 0 region.
  grown.Dilate(1.0f, 1.0f, 0.0f, 0, 4, 0, 4);
  EXPECT_EQ(ToRows(cross), (Rows{{1, 1, 1, 1, 1}, {1, 1, 0, 1, 1}, {1, 0, 0, 0, 1}, {1, 1, 0, 1, 1}, {1, 1, 1, 1, 1}}));
  EXPECT_EQ(ToRows(box), (Rows{{1, 1, 1, 1, 1}, {1, 0, 0, 0, 1}, {1, 0, 0, 0, 1}, {1, 0, 0, 0, 1}, {1, 1, 1, 1, 1}}));
  EXPECT_EQ(ToRows(grown), ToRows(cross));
}

TEST(SSEMatrixMorphology, ErrodeIgnoresBackgroundOutsideTheRectangleAndBinarisesInside) {
  CSSEMatrix m = FromRows({{0, 5, 5, 5}, {0, 5, 7, 5}, {0, 5, 5, 5}});
  m.Errode(1.5f, 0.0f, 1.0f, 1, 100, -3, 100);  // clamped to columns 1..3, rows 0..2
  EXPECT_EQ(ToRows(m), (Rows{{0, 1, 1, 1}, {0, 1, 1, 1}, {0, 1, 1, 1}}));
  m.Errode(1.5f, 0.0f, 1.0f, 0, 3, 0, 2);  // now column 0 is inside and erodes its neighbours
  EXPECT_EQ(ToRows(m), (Rows{{0, 0, 1, 1}, {0, 0, 1, 1}, {0, 0, 1, 1}}));
}

TEST(SSEMatrixMorphology, ErrodeWithoutReachOnlyBinarisesAndEmptyRectanglesDoNothing) {
  for (float radius : {0.0f, 0.5f, -2.0f, std::nanf("")}) {
    CSSEMatrix m = FromRows({{0, 3, 4}, {2, 0, 9}});
    m.Errode(radius, 0.0f, 1.0f, 0, 2, 0, 1);
    EXPECT_EQ(ToRows(m), (Rows{{0, 1, 1}, {1, 0, 1}})) << radius;
  }
  CSSEMatrix m = FromRows({{0, 3, 4}});
  m.Errode(2.0f, 0.0f, 1.0f, 2, 1, 0, 0);
  m.Errode(2.0f, 0.0f, 1.0f, 5, 9, 0, 0);
  EXPECT_EQ(ToRows(m)[0], (std::vector<float>{0, 3, 4}));
  CSSEMatrix empty;
  empty.Errode(2.0f, 0.0f, 1.0f, 0, 9, 0, 9);
  EXPECT_FALSE(empty.HasPixels());
}

TEST(SSEMatrixMorphology, ErrodeEqualsThePlainSearchOnRandomMasksRadiiAndRectangles) {
  std::mt19937 rng(42);
  const float radii[] = {0.0f, 1.0f, 1.5f, 2.0f, 2.3f, 3.0f, 4.99f, 7.0f, 1e6f};
  for (int sy = 1; sy <= 9; ++sy) {
    for (int sx = 1; sx <= 9; ++sx) {
      for (float radius : radii) {
        const CSSEMatrix mask = RandomMask(rng, sx, sy, 3);
        const int x0 = static_cast<int>(rng() % 12) - 3, x1 = static_cast<int>(rng() % 12) - 1;
        const int y0 = static_cast<int>(rng() % 12) - 3, y1 = static_cast<int>(rng() % 12) - 1;
        ASSERT_TRUE(ErrodeAsPlain(mask, radius, 1.0f, 0.0f, x0, x1, y0, y1)) << sx << " x " << sy << " r " << radius;
      }
    }
  }
  EXPECT_TRUE(ErrodeAsPlain(RandomMask(rng, 61, 67, 25), 3.0f, 1.0f, 0.0f, 2, 58, 1, 66));
}

TEST(SSEMatrixMorphology, ErrodeEqualsThePlainSearchAcrossStripsOfBands) {
  // Tall rectangles are eroded in strips of at least 64 rows: the distances from above carry over and
  // the ones from below look past the strip, for rectangles starting and ending at every lane.
  std::mt19937 rng(42);
  for (int y0 : {0, 1, 2, 3, 5}) {
    for (int y1 : {199, 198, 197, 196, 130}) {
      for (float radius : {1.5f, 3.0f, 6.5f, 9.0f, 17.0f}) {
        ASSERT_TRUE(ErrodeAsPlain(RandomMask(rng, 11, 200, 12), radius, 1.0f, 0.0f, 1, 9, y0, y1))
            << y0 << ".." << y1 << " r " << radius;
      }
    }
  }
}

TEST(SSEMatrixMorphology, ErrodeReachesFarBothBelowAndAboveTheByteDistanceLimit) {
  // Vertical distances are bytes while every reach is below 255 and 16-bit words from there on.
  std::mt19937 rng(42);
  for (float radius : {254.0f, 255.5f, 290.0f}) {
    CSSEMatrix m = Blank(3, 300, 5.0f);
    m.SetPoint(1, 0, 0.0f);
    CSSEMatrix plain(m);
    m.Errode(radius, 0.0f, 1.0f, 0, 2, 0, 299);
    PlainErrode(plain, radius, 0.0f, 1.0f, 0, 2, 0, 299);
    ASSERT_TRUE(SameBits(m, plain)) << radius;
    const int lastCentre = static_cast<int>(radius);  // (1, y) within the radius straight below
    EXPECT_EQ(m.GetPoint(1, lastCentre), 0.0f) << radius;
    EXPECT_EQ(m.GetPoint(1, lastCentre + 1), 1.0f) << radius;
    if (radius == 254.0f) {  // 1 + 254^2 > 254^2: the side columns stop one row earlier
      EXPECT_EQ(ToRows(m)[254], (std::vector<float>{1, 0, 1}));
    }
  }
  for (float radius : {100.0f, 254.9f, 256.0f, 400.0f}) {
    ASSERT_TRUE(ErrodeAsPlain(RandomMask(rng, 7, 301, 400), radius, 1.0f, 0.0f, 0, 6, 2, 299)) << radius;
  }
}

TEST(SSEMatrixMorphology, ErrodeKeepsTheStoredZeroOfABackgroundOfZero) {
  // -0 equals a background of 0 and is left as it is, also where whole bands are rebuilt.
  CSSEMatrix m = Blank(8, 12, 3.0f);
  m.SetPoint(2, 5, -0.0f);
  m.SetPoint(6, 9, 0.0f);
  CSSEMatrix plain(m);
  m.Errode(1.0f, 0.0f, 1.0f, 0, 7, 0, 11);
  PlainErrode(plain, 1.0f, 0.0f, 1.0f, 0, 7, 0, 11);
  EXPECT_TRUE(SameBits(m, plain));
  EXPECT_TRUE(std::signbit(m.GetPoint(2, 5)));
  EXPECT_FALSE(std::signbit(m.GetPoint(6, 9)));
  EXPECT_EQ(m.GetPoint(2, 4), 0.0f);
  m.Errode(1.0f, -0.0f, 1.0f, 0, 7, 0, 11);  // now +0 pixels equal the background -0 and stay +0
  EXPECT_FALSE(std::signbit(m.GetPoint(6, 9)));
  EXPECT_TRUE(std::signbit(m.GetPoint(2, 5)));
}

// ---- ZhangSuen ------------------------------------------------------------------------------------

TEST(SSEMatrixMorphology, ZhangSuenKeepsEndPointsWithTwoNeighbours) {
  // With the published lower bound 2, the two arms of this L (one neighbour pair each) would go.
  const Rows ell = {{0, 0, 0, 0, 0}, {0, 1, 1, 0, 0}, {0, 1, 0, 0, 0}, {0, 0, 0, 0, 0}};
  CSSEMatrix m = FromRows(ell);
  m.ZhangSuen(0.5f);
  EXPECT_EQ(ToRows(m), ell);
}

TEST(SSEMatrixMorphology, ZhangSuenStopsAfterTheFirstSubIterationWithoutDeletions) {
  // No pixel here meets the first sub-iteration's test; the second would delete (2, 2) (C = 6, A = 1,
  // N = 0), so stopping only after a whole iteration without deletions would remove it.
  const Rows start = {{0, 0, 0, 0, 0, 0}, {0, 1, 0, 0, 1, 0}, {0, 1, 1, 1, 0, 0},
                     {0, 1, 1, 1, 0, 0}, {0, 1, 0, 1, 0, 0}, {0, 0, 0, 0, 0, 0}};
  CSSEMatrix ours = FromRows(start), published = FromRows(start);
  ours.ZhangSuen(0.5f);
  PlainZhangSuen(published, 0.5f, true);
  EXPECT_EQ(ToRows(ours), start);
  EXPECT_EQ(ToRows(published)[2], (std::vector<float>{0, 1, 0, 1, 0, 0}));
}

TEST(SSEMatrixMorphology, ZhangSuenEqualsThePlainScanOnRandomImages) {
  std::mt19937 rng(42);
  for (int sy = 1; sy <= 9; ++sy) {
    for (int sx = 1; sx <= 9; ++sx) {
      for (int density : {2, 3}) {
        ASSERT_TRUE(ZhangSuenAsPlain(RandomMask(rng, sx, sy, density, true), 0.5f)) << sx << " x " << sy;
      }
    }
  }
  // Blobs: discs of random centres and radii, thick enough for many iterations.
  for (int k = 0; k < 4; ++k) {
    CSSEMatrix fast = Blank(70, 60);
    for (int d = 0; d < 5; ++d) {
      const int cx = static_cast<int>(rng() % 70), cy = static_cast<int>(rng() % 60),
                r = 3 + static_cast<int>(rng() % 15);
      for (int y = 0; y < 60; ++y)
        for (int x = 0; x < 70; ++x)
          if ((x - cx) * (x - cx) + (y - cy) * (y - cy) <= r * r) fast.SetPoint(x, y, 2.0f);
    }
    ASSERT_TRUE(ZhangSuenAsPlain(fast, 1.0f)) << k;
  }
}

}  // namespace
