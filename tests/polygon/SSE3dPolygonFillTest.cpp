// The box-scanning fills against plain per-cell oracles (one fill-rule call per cell, written from the
// member descriptions), bit for bit, on random and awkward outlines and matrix sizes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include "PolygonTestUtil.h"
#include "raster/RasterTestSupport.h"
#include "qssse/platform/CPU.h"
#include "qssse/platform/WorkBudget.h"
#include "qssse/platform/WorkBudgetException.h"
#include "qssse/polygon/FillWork.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/raster/SSEcharMatrix.h"

namespace {

using polytest::Make;
using polytest::P3;
using namespace rastertest;

// ---- oracles ----

struct Box {
  int xStart, xEnd, yStart, yEnd;
};

Box PlainRanges(CSSE3dPolygon& p, float yFrom, float yTo) {
  p.CalcBoundingBox();
  int minX, minY, maxX, maxY;
  p.GetBoundingBox2D(minX, minY, maxX, maxY);
  Box b{minX, maxX, 0, 0};
  b.yStart = std::min(std::max(minY, static_cast<int>(yFrom)), maxY);
  b.yEnd = std::max(b.yStart, std::min(maxY, static_cast<int>(yTo)));
  return b;
}

// The ranges clamped to a w x h matrix.
Box ClampedRanges(CSSE3dPolygon& p, int w, int h, float yFrom, float yTo) {
  const Box b = PlainRanges(p, yFrom, yTo);
  return {std::clamp(b.xStart, 0, w - 1), std::clamp(b.xEnd, 0, w - 1), std::clamp(b.yStart, 0, h - 1),
          std::clamp(b.yEnd, 0, h - 1)};
}

CSSE3dPolygon PlainCopy(const CSSE3dPolygon& p, int thin) {
  CSSE3dPolygon copy;
  copy.CreateSimilar(&p);
  if (thin > 1) copy.Subsample(thin, true);
  copy.RemoveEqualPointsXY();
  copy.CalcBoundingBox();
  return copy;
}

// The Fine scan: rows outer, columns inner, a margin of 5 around the clamped box.
template <class Rule>
void PlainFine(CSSE3dPolygon& p, int w, int h, bool subsample, float yFrom, float yTo, Rule rule) {
  const Box b = ClampedRanges(p, w, h, yFrom, yTo);
  CSSE3dPolygon copy = PlainCopy(p, subsample ? 5 : 1);
  for (int y = b.yStart - 5; y < b.yEnd + 5; ++y)
    for (int x = b.xStart - 5; x < b.xEnd + 5; ++x)
      if (copy.PointInLineInnerArea(static_cast<float>(x), static_cast<float>(y), 1)) rule(x, y);
}

void PlainCoarse(CSSE3dPolygon& p, CSSEMatrix& m, float value, bool subsample, float yFrom, float yTo) {
  const Box b = PlainRanges(p, yFrom, yTo);
  CSSE3dPolygon copy = PlainCopy(p, subsample ? 5 : 1);
  for (int y = b.yStart - 9; y < b.yEnd + 9; y += 3)
    for (int x = b.xStart - 9; x < b.xEnd + 9; x += 3)
      if (copy.PointInLineInnerArea(static_cast<float>(x), static_cast<float>(y), 1))
        m.Set3x3BoxPoint(x, y, value);
}

void PlainFront(CSSE3dPolygon& p, CSSEMatrix& m, float value, float yFrom, float yTo) {
  const Box b = PlainRanges(p, yFrom, yTo);
  CSSE3dPolygon copy = PlainCopy(p, 1);
  for (int x = b.xStart - 9; x < b.xEnd + 9; x += 3) {
    int last = -1 << 30;
    for (int y = b.yStart - 9; y < b.yEnd + 9; y += 3)
      if (copy.PointInLineInnerArea(static_cast<float>(x), static_cast<float>(y), 1)) last = y;
    for (int y = b.yStart - 9; y <= last; y += 3) m.Set3x3BoxPoint(x, y, value);
  }
}

// The bands of the parallel fill, one after the other.
void PlainCoarseBands(CSSE3dPolygon& p, CSSEMatrix& m, float value, bool subsample, float yFrom, float yTo) {
  const int w = m.GetSizeX(), h = m.GetSizeY();
  const Box b = ClampedRanges(p, w, h, yFrom, yTo);
  const int n = p.GetNumPoints();
  const int thin = !subsample || n <= 500 ? 1 : n <= 1000 ? 2 : n <= 5000 ? 6 : n <= 10000 ? 20 : 50;
  CSSE3dPolygon copy = PlainCopy(p, thin);
  const int t = CbCPU::GetCount();
  const int height = (b.yEnd - b.yStart + 10) / t;
  for (int k = 0; k < t; ++k) {
    const int first = b.yStart - 5 + k * height;
    const int end = k + 1 == t ? b.yEnd + 5 : first + height;
    for (int y = first; y < end; y += 3)
      for (int x = b.xStart; x < b.xEnd; x += 3)
        if (copy.PointInLineInnerArea(static_cast<float>(x), static_cast<float>(y), 1))
          m.Set3x3BoxPoint(x, y, value);
  }
}

// ---- helpers ----

// A matrix of small integers 0..3 and an occasional NaN, so that Min, Max and Sub have work to do.
CSSEMatrix Noise(int w, int h, std::mt19937& rng) {
  CSSEMatrix m = Blank(w, h);
  return SetPixels(m, [&] { return rng() % 50 == 0 ? NAN : static_cast<float>(rng() % 4); });
}

// Outlines that break sweeps: coordinates on a coarse integer grid (points on cell centres, vertical and
// horizontal edges, duplicates, self-crossings), halves, free floats, and outlines reaching past the
// matrix on every side.
CSSE3dPolygon RandomOutline(std::mt19937& rng, int w, int h) {
  const int n = 3 + static_cast<int>(rng() % 14);
  const int kind = static_cast<int>(rng() % 4);
  std::vector<P3> pts;
  for (int i = 0; i < n; ++i) {
    float x, y;
    if (kind == 0) {
      x = static_cast<float>(static_cast<int>(rng() % (w + 8)) - 4);
      y = static_cast<float>(static_cast<int>(rng() % (h + 8)) - 4);
    } else if (kind == 1) {
      x = static_cast<float>(static_cast<int>(rng() % (2 * w + 16)) - 8) * 0.5f;
      y = static_cast<float>(static_cast<int>(rng() % (2 * h + 16)) - 8) * 0.5f;
    } else if (kind == 2) {
      x = std::uniform_real_distribution<float>(-3.0f, w + 3.0f)(rng);
      y = std::uniform_real_distribution<float>(-3.0f, h + 3.0f)(rng);
    } else {
      // mostly axis-parallel steps, some of them longer than one cell
      x = i == 0 ? 1.0f : pts.back()[0];
      y = i == 0 ? 1.0f : pts.back()[1];
      (rng() % 2 ? x : y) += static_cast<float>(static_cast<int>(rng() % 7) - 3);
    }
    pts.push_back({x, y, 0.0f});
  }
  return Make(pts);
}

struct Limits {
  float from, to;
};

Limits RandomLimits(std::mt19937& rng, int h) {
  if (rng() % 2) return {-1000.0f, 1000.0f};
  return {static_cast<float>(static_cast<int>(rng() % (h + 6)) - 3) + 0.7f,
          static_cast<float>(static_cast<int>(rng() % (h + 6)) - 3) + 0.2f};
}

// One of the blank-matrix fills against its plain scan, bit for bit.
enum class Fill { Fine, Coarse, Front };

::testing::AssertionResult AsPlain(Fill fill, CSSE3dPolygon& p, int w, int h, bool subsample, Limits lim, float v) {
  CSSEMatrix fast = Blank(w, h), plain = Blank(w, h);
  if (fill == Fill::Fine) {
    p.DrawInMatrixAndFillFine(v, &fast, subsample, lim.from, lim.to);
    PlainFine(p, w, h, subsample, lim.from, lim.to, [&](int x, int y) { plain.SetPoint(x, y, v); });
  } else if (fill == Fill::Coarse) {
    p.DrawInMatrixAndFillCoarse(v, &fast, subsample, lim.from, lim.to);
    PlainCoarse(p, plain, v, subsample, lim.from, lim.to);
  } else {
    p.DrawInMatrixAndFillToOneSideFront(v, &fast, lim.from, lim.to, false);
    PlainFront(p, plain, v, lim.from, lim.to);
  }
  return SamePixels(fast, plain);
}

// ---- differential tests ----

TEST(SSE3dPolygonFill, FineFamilyEqualsPerCellRuleOnRandomOutlines) {
  std::mt19937 rng(42);
  for (int round = 0; round < 3000; ++round) {
    const int w = 1 + static_cast<int>(rng() % 9) + (round % 5 == 0 ? 20 : 0);
    const int h = 1 + static_cast<int>(rng() % 9) + (round % 7 == 0 ? 17 : 0);
    CSSE3dPolygon p = RandomOutline(rng, w, h);
    const Limits lim = RandomLimits(rng, h);
    const bool subsample = rng() % 4 == 0;
    const float v = static_cast<float>(rng() % 4);
    CSSEMatrix base = Noise(w, h, rng);
    SCOPED_TRACE(testing::Message() << "round " << round << " " << w << "x" << h);

    // Each member on a copy of base, against its per-cell rule applied to another copy.
    const struct {
      const char* name;
      void (CSSE3dPolygon::*fill)(float, CSSEMatrix*, bool, float, float);
      std::function<void(CSSEMatrix&, int, int)> cell;
    } family[] = {
        {"Fine", &CSSE3dPolygon::DrawInMatrixAndFillFine, [&](CSSEMatrix& m, int x, int y) { m.SetPoint(x, y, v); }},
        {"FineMin", &CSSE3dPolygon::DrawInMatrixAndFillFineMin, [&](CSSEMatrix& m, int x, int y) { m.SetPointMin(x, y, v); }},
        {"FineMax", &CSSE3dPolygon::DrawInMatrixAndFillFineMax, [&](CSSEMatrix& m, int x, int y) { m.SetPointMax(x, y, v); }},
    };
    for (const auto& f : family) {
      CSSEMatrix fast(base), plain(base);
      (p.*f.fill)(v, &fast, subsample, lim.from, lim.to);
      PlainFine(p, w, h, subsample, lim.from, lim.to, [&](int x, int y) { f.cell(plain, x, y); });
      ASSERT_TRUE(SamePixels(fast, plain)) << f.name;
    }
    CSSEMatrix fast(base), plain(base);
    p.DrawSubInMatrixAndFill(v, &fast, 1.5f, subsample, lim.from, lim.to);
    PlainFine(p, w, h, subsample, lim.from, lim.to, [&](int x, int y) {
      if (plain.GetPoint(x, y) - v < 1.5f) plain.SetPoint(x, y, 0.0f);
    });
    ASSERT_TRUE(SamePixels(fast, plain)) << "Sub";

    CSSEcharMatrix cf, cp;
    cf.Create(w, h);
    cp.Create(w, h);
    p.DrawInCharMatrixAndFillFine(7, &cf, subsample, lim.from, lim.to);
    PlainFine(p, w, h, subsample, lim.from, lim.to, [&](int x, int y) { cp.SetPoint(x, y, 7); });
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x)
        ASSERT_EQ(cf.GetPoint(x, y), cp.GetPoint(x, y)) << "char at " << x << "," << y;

    fast = base, plain = base;
    p.DrawOutsidePixels(fast, 9.0f);
    for (int x = 0; x < w; ++x)
      for (int y = 0; y < h; ++y)
        if (!p.PointInLineInnerArea(static_cast<float>(x), static_cast<float>(y), 1))
          plain.SetPoint(x, y, 9.0f);
    ASSERT_TRUE(SamePixels(fast, plain)) << "Outside";

    fast = base, plain = base;
    p.DrawInMatrixAndFillCoarse(v, &fast, subsample, lim.from, lim.to);
    PlainCoarse(p, plain, v, subsample, lim.from, lim.to);
    ASSERT_TRUE(SamePixels(fast, plain)) << "Coarse";
  }
}

TEST(SSE3dPolygonFill, FineEqualsPerCellRuleOnLongAndFarOutlines) {
  std::mt19937 rng(7);
  // Dense stars (the outlines the fills are made for), spikes crossing the whole matrix, and large
  // coordinates whose products round.
  for (int round = 0; round < 40; ++round) {
    const int w = 40 + static_cast<int>(rng() % 60), h = 30 + static_cast<int>(rng() % 60);
    const int n = 8 + static_cast<int>(rng() % 300);
    const float scale = round % 4 == 3 ? 3000.0f : 1.0f;
    std::vector<P3> pts;
    for (int i = 0; i < n; ++i) {
      const float a = 6.2831853f * static_cast<float>(i) / static_cast<float>(n);
      const float r =
          (i % 2 ? 0.3f : 0.6f) * std::uniform_real_distribution<float>(0.5f, 1.2f)(rng) * w * scale;
      pts.push_back({w * 0.5f + r * std::cos(a), h * 0.5f + r * std::sin(a), 0.0f});
    }
    CSSE3dPolygon p = Make(pts);
    const bool subsample = round % 2 == 1;
    ASSERT_TRUE(AsPlain(Fill::Fine, p, w, h, subsample, {-1e4f, 1e4f}, 2.0f)) << "Fine star";
    if (scale == 1.0f) {
      ASSERT_TRUE(AsPlain(Fill::Coarse, p, w, h, subsample, {-1e4f, 1e4f}, 2.0f)) << "Coarse star";
    }
  }
}

TEST(SSE3dPolygonFill, CoarseFastEqualsItsBandsRunOneAfterTheOther) {
  std::mt19937 rng(3);
  for (int round = 0; round < 30; ++round) {
    const int w = 100 + static_cast<int>(rng() % 60), h = 100 + static_cast<int>(rng() % 60);
    // Sizes around the thinning thresholds, some outlines leaving the matrix.
    const int counts[] = {40, 499, 501, 1001, 1200};
    const int n = counts[round % 5];
    const float off = round % 3 == 0 ? -30.0f : 0.0f;
    std::vector<P3> pts;
    for (int i = 0; i < n; ++i) {
      const float a = 6.2831853f * static_cast<float>(i) / static_cast<float>(n);
      const float r = (i % 3 ? 0.45f : 0.3f) * static_cast<float>(std::min(w, h));
      pts.push_back({off + w * 0.5f + r * std::cos(a), h * 0.5f + r * std::sin(a), 0.0f});
    }
    CSSE3dPolygon p = Make(pts);
    const bool subsample = round % 2 == 0;
    const float from = round % 4 == 1 ? h * 0.4f : -1e4f;
    CSSEMatrix fast = Blank(w, h), plain = Blank(w, h);
    p.DrawInMatrixAndFillCoarseFast(4.0f, &fast, subsample, from, 1e4f);
    PlainCoarseBands(p, plain, 4.0f, subsample, from, 1e4f);
    ASSERT_TRUE(SamePixels(fast, plain)) << "CoarseFast";
  }
}

TEST(SSE3dPolygonFill, FrontFillStampsEveryColumnFromTheGridStartToItsLastInsideSample) {
  std::mt19937 rng(11);
  for (int round = 0; round < 300; ++round) {
    const int w = 3 + static_cast<int>(rng() % 30), h = 3 + static_cast<int>(rng() % 30);
    CSSE3dPolygon p = RandomOutline(rng, w, h);
    ASSERT_TRUE(AsPlain(Fill::Front, p, w, h, false, RandomLimits(rng, h), 1.0f)) << "round " << round;
  }
}

// ---- outlines far beyond the matrix ----

// A ring of 3..10 points around the matrix, reaching `reach` times the matrix's size beyond it on any
// side: spikes, sheets and crossings whose clamped stamps pile onto the border.
CSSE3dPolygon FarOutline(std::mt19937& rng, int w, int h, float reach) {
  const int n = 3 + static_cast<int>(rng() % 8);
  std::vector<P3> pts;
  for (int i = 0; i < n; ++i) {
    const bool far = rng() % 3 != 0;
    const float sx = far ? reach * static_cast<float>(w) : 1.0f,
                sy = far ? reach * static_cast<float>(h) : 1.0f;
    const float x = static_cast<float>(static_cast<int>(rng() % 21) - 10) * sx * 0.1f + w * 0.5f;
    const float y = static_cast<float>(static_cast<int>(rng() % 21) - 10) * sy * 0.1f + h * 0.5f;
    pts.push_back({std::round(x), std::round(y), 0.0f});
  }
  return Make(pts);
}

TEST(SSE3dPolygonFill, FineCoarseAndFrontEqualThePerCellRuleOnOutlinesFarBeyondTheMatrix) {
  std::mt19937 rng(42);
  for (int round = 0; round < 400; ++round) {
    const int w = 1 + static_cast<int>(rng() % 24), h = 1 + static_cast<int>(rng() % 24);
    CSSE3dPolygon p = FarOutline(rng, w, h, 1.0f + static_cast<float>(rng() % 12));
    const Limits lim = RandomLimits(rng, h);
    SCOPED_TRACE(testing::Message() << "round " << round << " " << w << "x" << h);
    ASSERT_TRUE(AsPlain(Fill::Coarse, p, w, h, false, lim, 2.0f)) << "Coarse";
    ASSERT_TRUE(AsPlain(Fill::Fine, p, w, h, false, lim, 2.0f)) << "Fine";
    ASSERT_TRUE(AsPlain(Fill::Front, p, w, h, false, lim, 2.0f)) << "Front";
  }
}

// The coarse fills with their shortcut and with the plain walk over every sample column.
void ExpectCoarseShortcutsExact(CSSE3dPolygon& p, int w, int h, float from, float to) {
  CSSEMatrix fast = Blank(w, h), plain = Blank(w, h);
  p.DrawInMatrixAndFillCoarse(2.0f, &fast, false, from, to);
  p.DrawInMatrixAndFillToOneSideFront(3.0f, &fast, from, to, false);
  qssse::polygon::SetFillShortcuts(false);
  p.DrawInMatrixAndFillCoarse(2.0f, &plain, false, from, to);
  p.DrawInMatrixAndFillToOneSideFront(3.0f, &plain, from, to, false);
  qssse::polygon::SetFillShortcuts(true);
  ASSERT_TRUE(SamePixels(fast, plain)) << "Coarse shortcut";
}

TEST(SSE3dPolygonFill, CoarseShortcutEqualsThePlainWalkOnHugeInfiniteAndNaNOutlines) {
  std::mt19937 rng(42);
  for (int round = 0; round < 300; ++round) {
    const int w = 1 + static_cast<int>(rng() % 40), h = 1 + static_cast<int>(rng() % 40);
    CSSE3dPolygon p = FarOutline(rng, w, h, 20.0f + static_cast<float>(rng() % 400));
    if (round % 5 == 0) p.SetPoint(static_cast<int>(rng() % 3), NAN, 3.0f, 0.0f);
    SCOPED_TRACE(testing::Message() << "round " << round << " " << w << "x" << h);
    const Limits lim = RandomLimits(rng, h);
    ExpectCoarseShortcutsExact(p, w, h, lim.from, lim.to);
  }
  // Infinite and NaN coordinates: the grid's rows span +-2^24, beyond it nothing is sampled.
  const float inf = INFINITY;
  CSSE3dPolygon p = Make({{0, 0, 0}, {9, inf, 0}, {4, -inf, 1}, {4, 4, 0}, {NAN, 2, 0}, {-3e4f, 4, 0}});
  ExpectCoarseShortcutsExact(p, 17, 13, NAN, NAN);
}

// The outline of the robustness report: 18 bytes of coordinates, a square of side 2e7 around a 40 x 40
// matrix.
TEST(SSE3dPolygonFill, CoarseFillsOfAHugeSquareCostTheMatrixNotTheSquare) {
  CSSE3dPolygon p = Make({{-1e7f, -1e7f, 1}, {1e7f, -1e7f, 2}, {1e7f, 1e7f, 3}, {-1e7f, 1e7f, 4}});
  CSSEMatrix m = Blank(40, 40);
  qssse::polygon::ResetFillWorkSteps();
  p.DrawInMatrixAndFillCoarse(2.0f, &m, false, -1e9f, 1e9f);
  EXPECT_EQ(m.NumValuesAbove(1.0f), 1600);
  // 12 sample columns inside the matrix and both ends of each zone's column range, two edges each
  // (the plain walk: 6.7 million columns).
  EXPECT_EQ(qssse::polygon::GetFillWorkSteps(), 2u * (12 + 4));
  m.Clear();
  qssse::polygon::ResetFillWorkSteps();
  p.DrawInMatrixAndFillToOneSideFront(2.0f, &m, -1e9f, 1e9f, false);
  EXPECT_EQ(m.NumValuesAbove(1.0f), 1600);
  EXPECT_EQ(qssse::polygon::GetFillWorkSteps(), 2u * (12 + 4));
}

TEST(SSE3dPolygonFill, CoarseFallsBackOnTheWorkBudgetWhereEdgesCoincideBeyondTheMatrix) {
  // A spike out and back along the same line far left of and above the matrix: its two edges end on the
  // same row in every column, so no range of them is decided at once.
  // (The far point is given twice so that the copy's removal of repeated points keeps the way back.)
  const std::vector<P3> ring{{5, 5, 0},  {30, 5, 0},        {30, 30, 0},       {5, 30, 0},
                             {5, 10, 0}, {-3e5f, -1e7f, 0}, {-3e5f, -1e7f, 0}, {5, 10, 0}};
  CSSE3dPolygon p = Make(ring);
  CSSEMatrix m = Blank(40, 40, 1.0f);
  {
    qssse::CWorkBudgetScope budget(1000);
    EXPECT_THROW(p.DrawInMatrixAndFillCoarse(2.0f, &m, false, -1e9f, 1e9f), CWorkBudgetException);
  }
  EXPECT_EQ(m.NumValuesAbove(1.0f), 0) << "refused before writing";
  ExpectCoarseShortcutsExact(p, 40, 40, -1e9f, 1e9f);
}

// ---- exact cases ----

// Which cells the fills write is the fill rule's (right and bottom edges inside, see PolygonFillRule);
// the per-cell oracles above pin every member to it, Sub and the row limits included.
TEST(SSE3dPolygonFill, FineRowLimitsAboveTheBoxScanOnlyTheMarginAroundItsTop) {
  // yFrom beyond maxY: the scan starts at maxY - 5 and ends before maxY + 5, so the rows 12 .. 20 stay.
  CSSE3dPolygon p = Make({{0, 0, 0}, {9, 0, 0}, {9, 20, 0}, {0, 20, 0}});
  CSSEMatrix m = Blank(10, 25);
  p.DrawInMatrixAndFillFine(1.0f, &m, false, 50.0f, 60.0f);
  EXPECT_EQ(m.GetPoint(5, 14), 0.0f);
  EXPECT_EQ(m.GetPoint(5, 15), 1.0f);
  EXPECT_EQ(m.GetPoint(5, 19), 1.0f);
  EXPECT_EQ(m.GetPoint(5, 20), 0.0f);  // the top edge is outside
}

TEST(SSE3dPolygonFill, DegenerateInputWritesNothingAndNeverCrashes) {
  CSSEMatrix m = Blank(5, 5);
  CSSE3dPolygon two = Make({{0, 0, 0}, {4, 4, 0}});
  two.DrawInMatrixAndFillFine(1.0f, &m, false, -10, 10);
  two.DrawInMatrixAndFillCoarseFast(1.0f, &m, false, -10, 10);
  CSSE3dPolygon empty;
  empty.DrawInMatrixAndFillCoarse(1.0f, &m, true, -10, 10);
  EXPECT_EQ(m.NumValuesAbove(0.0f), 0);
  // NaN limits do not limit; NaN points and an unallocated matrix are harmless.
  CSSE3dPolygon sq = Make({{0, 0, 0}, {4, 0, 0}, {NAN, 2, 0}, {4, 4, 0}, {0, 4, 0}});
  sq.DrawInMatrixAndFillFine(1.0f, &m, false, NAN, NAN);
  EXPECT_GT(m.NumValuesAbove(0.0f), 0);
  CSSEMatrix none;
  sq.DrawInMatrixAndFillFine(1.0f, &none, false, 0, 1);
  sq.DrawInMatrixAndFillFine(1.0f, nullptr, false, 0, 1);
  sq.DrawOutsidePixels(none, 1.0f);
  // Coordinates far beyond the matrix: the unclamped Coarse grid stays bounded.
  CSSE3dPolygon huge = Make({{-1e7f, -1e7f, 0}, {1e7f, -1e7f, 0}, {1e7f, 1e7f, 0}, {-1e7f, 1e7f, 0}});
  huge.DrawInMatrixAndFillFine(3.0f, &m, false, -1e9f, 1e9f);
  EXPECT_EQ(m.NumValuesAbove(2.0f), 25);
}

TEST(SSE3dPolygonFill, DistanceTransformMeasuresToTheNearestEdgeInScaledUnits) {
  CSSE3dPolygon p = Make({{0, 0, 0}, {10, 0, 0}, {10, 10, 0}, {0, 10, 0}});
  CSSEMatrix m = Blank(12, 12), d = Blank(12, 12);
  t_resolutiondata res{0.5f, 2.0f, 1.0f};
  p.InternalAreaDistanceTransform(1.0f, &m, &d, res, false);
  EXPECT_EQ(m.GetPoint(5, 5), 1.0f);
  EXPECT_EQ(m.GetPoint(0, 5), 0.0f);
  // (3, 5) lies 3 columns (1.5 units) from the left edge and 5 rows (10 units) from the bottom one.
  EXPECT_FLOAT_EQ(d.GetPoint(3, 5), 1.5f);
  EXPECT_FLOAT_EQ(d.GetPoint(5, 1), 2.0f);
  EXPECT_EQ(d.GetPoint(11, 11), 0.0f);
}

}  // namespace
