// The edge-walking fill, the vertex plotters and the height drawers on small hand-checked outlines.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "PolygonTestUtil.h"
#include "raster/RasterTestSupport.h"
#include "qssse/polygon/FillWork.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"

namespace {

using polytest::Make;
using polytest::P3;
using namespace rastertest;

// Rows from the top (largest y) down, one character per cell: '.' 0, '#' the value, '+' the value + 5.
std::string Picture(const CSSEMatrix& m, float value) {
  std::string s;
  for (int y = m.GetSizeY() - 1; y >= 0; --y) {
    for (int x = 0; x < m.GetSizeX(); ++x) {
      const float v = m.GetPoint(x, y);
      s += v == 0.0f ? '.' : v == value ? '#' : v == value + 5.0f ? '+' : '?';
    }
    s += '\n';
  }
  return s;
}

// A counter-clockwise square of side 4 sampled at every cell, 16 points.
std::vector<P3> DenseSquare() {
  std::vector<P3> pts;
  for (int i = 0; i < 4; ++i) pts.push_back({1.0f + i, 1.0f, 0});
  for (int i = 0; i < 4; ++i) pts.push_back({5.0f, 1.0f + i, 0});
  for (int i = 0; i < 4; ++i) pts.push_back({5.0f - i, 5.0f, 0});
  for (int i = 0; i < 4; ++i) pts.push_back({1.0f, 5.0f - i, 0});
  return pts;
}

TEST(SSE3dPolygonDraw, EdgeWalkFillsTheInsideOfADenseCounterClockwiseRing) {
  CSSE3dPolygon p = Make(DenseSquare());
  CSSEMatrix m = Blank(7, 7);
  p.DrawInMatrixAndFill(1.0f, &m);
  EXPECT_EQ(Picture(m, 1.0f),
            ".......\n"
            ".#####.\n"
            ".#+++#.\n"
            ".#+++#.\n"
            ".#+++#.\n"
            ".#####.\n"
            ".......\n");
}

TEST(SSE3dPolygonDraw, EdgeWalkUsesWholeBlocksOfFourPointsAndAClockwiseRingWritesNoSpan) {
  CSSEMatrix m = Blank(7, 7);
  Make({{1, 1, 0}, {5, 1, 0}, {3, 5, 0}}).DrawInMatrixAndFill(1.0f, &m);
  EXPECT_EQ(m.NumValuesAbove(0.0f), 0);
  // Seven points: the last three are ignored and the ring closes from point 3 to point 0.
  std::vector<P3> pts = DenseSquare();
  pts.resize(7);
  Make(pts).DrawInMatrixAndFill(1.0f, &m);
  EXPECT_EQ(m.GetPoint(4, 1), 1.0f);
  EXPECT_EQ(m.GetPoint(5, 1), 0.0f);
  EXPECT_EQ(m.NumValuesAbove(0.0f), 4);
  // A clockwise ring casts its spans outward, where no boundary stops them.
  pts = DenseSquare();
  CSSEMatrix cw = Blank(7, 7);
  Make(std::vector<P3>(pts.rbegin(), pts.rend())).DrawInMatrixAndFill(1.0f, &cw);
  EXPECT_EQ(cw.NumValuesAbove(1.5f), 0);
  EXPECT_EQ(cw.NumValuesAbove(0.5f), 16);
}

TEST(SSE3dPolygonDraw, EdgeWalkOfRightwardEdgesStopsOnlyWithinTheTighterTolerance) {
  // Bottom edge walks upward in its columns: a cell of 1.5 is a boundary for tolerance 1 but not 0.1.
  CSSE3dPolygon p = Make(DenseSquare());
  CSSEMatrix m = Blank(7, 7);
  m.SetPoint(3, 3, 1.5f);
  p.DrawInMatrixAndFill(1.0f, &m);
  EXPECT_EQ(m.GetPoint(3, 2), 6.0f);
  EXPECT_EQ(m.GetPoint(3, 4), 6.0f);  // the walk passed over 1.5 and rewrote it
  EXPECT_EQ(m.GetPoint(3, 3), 6.0f);
}

TEST(SSE3dPolygonDraw, VertexPlottersMapThePlanesTheyAreAskedFor) {
  CSSE3dPolygon p = Make({{2.4f, 3.6f, 5.0f}});
  CSSEMatrix m = Blank(9, 9);
  p.DrawInMatrix(1.0f, &m, false, 1.0f, 2.0f, false);  // 3x3 around (3, 6)
  EXPECT_EQ(m.NumValuesAbove(0.0f), 9);
  EXPECT_EQ(m.GetPoint(2, 5), 1.0f);
  EXPECT_EQ(m.GetPoint(4, 7), 1.0f);
  m.Clear();
  p.DrawInMatrix(1.0f, &m, true, 1.0f, 2.0f, false);  // single cell (rnd z, rnd y), no offsets
  EXPECT_EQ(m.NumValuesAbove(0.0f), 1);
  EXPECT_EQ(m.GetPoint(5, 4), 1.0f);
  m.Clear();
  p.DrawInMatrix(1.0f, &m, true, 1.0f, 2.0f, true);  // xz plane wins: 3x3 around (3, 7)
  EXPECT_EQ(m.GetPoint(3, 7), 1.0f);
  EXPECT_EQ(m.GetPoint(4, 8), 1.0f);
  EXPECT_EQ(m.NumValuesAbove(0.0f), 9);
  m.Clear();
  p.DrawInMatrix(&m, true);  // its own z into floor/ceil corners
  EXPECT_EQ(m.GetPoint(2, 3), 5.0f);
  EXPECT_EQ(m.GetPoint(3, 4), 5.0f);
  EXPECT_EQ(m.NumValuesAbove(0.0f), 4);
  m.Clear();
  p.DrawInMatrix(&m, false);
  EXPECT_EQ(m.GetPoint(2, 4), 5.0f);
  EXPECT_EQ(m.NumValuesAbove(0.0f), 1);
}

TEST(SSE3dPolygonDraw, HeightDrawersInterpolateAlongTheOpenPolyline) {
  // (0,0,0) -> (4,0,8): len 4, 8 samples of z step 1 at x = trunc(t/2 + 0.5); no closing edge back.
  CSSE3dPolygon p = Make({{0, 0, 0}, {4, 0, 8}, {4, 3, 8}});
  CSSEMatrix m = Blank(6, 6, -1.0f);
  p.DrawInMatrixFineZ(&m);
  // t = 1 and t = 2 both land on x = 1: the later one stays; x = 4 ends with b's own z after t = 7.
  EXPECT_EQ(ToRows(m)[0], (std::vector<float>{0, 2, 4, 6, 8, -1}));
  EXPECT_EQ(m.GetPoint(4, 2), 8.0f);
  EXPECT_EQ(m.GetPoint(2, 2), -1.0f);  // nothing from (4,3) back to (0,0)
  // Fewer than two points draw nothing; a NaN point is harmless.
  CSSEMatrix none = Blank(4, 4);
  Make({{1, 1, 5}}).DrawInMatrixFineZ(&none);
  EXPECT_EQ(none.NumValuesAbove(0.0f), 0);
  Make({{1, 1, 5}, {NAN, 1e30f, 5}}).DrawInMatrixFineZ(&none);
}

// The height drawers as the rule states them: every sample of every edge written through the matrix's
// clamped access.
template <class Put>
void PlainPolylineZ(const std::vector<P3>& pts, Put put) {
  const auto trunc = [](float t) {
    return !(t == t)             ? 0
           : t >= 1073741824.0f  ? 1073741824
           : t <= -1073741824.0f ? -1073741824
                                 : static_cast<int>(t);
  };
  for (std::size_t i = 0; i + 1 < pts.size(); ++i) {
    const P3 a = pts[i], b = pts[i + 1];
    put(trunc(a[0] + 0.5f), trunc(a[1] + 0.5f), a[2]);
    put(trunc(b[0] + 0.5f), trunc(b[1] + 0.5f), b[2]);
    const float dx = b[0] - a[0], dy = b[1] - a[1];
    const float len = std::sqrt(dx * dx + dy * dy);
    if (!(len >= 0.5f) || !(len < 33554432.0f)) continue;
    const int n = static_cast<int>(2.0f * len + 0.5f);
    const float ix = dx / n, iy = dy / n, iz = (b[2] - a[2]) / n;
    for (int t = 0; t < n; ++t) {
      const float tf = static_cast<float>(t);
      put(trunc(a[0] + tf * ix + 0.5f), trunc(a[1] + tf * iy + 0.5f), a[2] + tf * iz);
    }
  }
}

TEST(SSE3dPolygonDraw, HeightDrawersEqualTheSampleBySampleWalkOnFarHugeAndNonFiniteLines) {
  std::mt19937 rng(42);
  const float unusual[] = {NAN, INFINITY, -INFINITY, 0.0f, -0.0f, 1e38f, -3e38f};
  for (int round = 0; round < 600; ++round) {
    const int w = 1 + static_cast<int>(rng() % 12), h = 1 + static_cast<int>(rng() % 12);
    const float reach = round % 3 == 0 ? 1.0f : static_cast<float>(1 + rng() % 300);
    std::vector<P3> pts;
    const int n = 2 + static_cast<int>(rng() % 6);
    for (int i = 0; i < n; ++i) {
      // coordinates on a grid of halves around and far beyond the matrix; heights stepping by halves,
      // with signed zeros, NaN, infinities and overflowing differences mixed in
      const float x = static_cast<float>(static_cast<int>(rng() % 41) - 20) * 0.5f * reach + w * 0.5f;
      const float y = static_cast<float>(static_cast<int>(rng() % 41) - 20) * 0.5f * reach + h * 0.5f;
      const float z =
          rng() % 5 == 0 ? unusual[rng() % 7] : static_cast<float>(static_cast<int>(rng() % 9) - 4) * 0.5f;
      pts.push_back({x, y, z});
    }
    CSSE3dPolygon p = Make(pts);
    CSSEMatrix base = Blank(w, h);
    SetPixels(base, [&] { return rng() % 9 == 0 ? NAN : static_cast<float>(static_cast<int>(rng() % 5) - 2); });
    SCOPED_TRACE(testing::Message() << "round " << round << " " << w << "x" << h);
    // Each drawer against the walk putting its samples with the matching stamp; NaN sums may differ in
    // payload.
    const auto plainWith = [&](void (CSSEMatrix::*put)(int, int, float)) {
      CSSEMatrix m(base);
      PlainPolylineZ(pts, [&](int x, int y, float z) { (m.*put)(x, y, z); });
      return m;
    };
    CSSEMatrix fineZ(base), fineZMax(base), fineZMin(base);
    p.DrawInMatrixFineZ(&fineZ);
    p.DrawInMatrixFineZMax(&fineZMax);
    p.DrawInMatrixFineZMin(&fineZMin);
    ASSERT_TRUE(SamePixels(fineZ, plainWith(&CSSEMatrix::SetPoint), true)) << "FineZ";
    ASSERT_TRUE(SamePixels(fineZMax, plainWith(&CSSEMatrix::SetPointMax), true)) << "FineZMax";
    ASSERT_TRUE(SamePixels(fineZMin, plainWith(&CSSEMatrix::SetPointMin), true)) << "FineZMin";
  }
}

TEST(SSE3dPolygonDraw, HeightDrawersOfAHugeSquareCostTheMatrixNotTheEdges) {
  // Four edges of length 2e7 (4e7 samples each) around a 40 x 40 matrix: each reaches 40 border cells.
  CSSE3dPolygon p =
      Make({{-1e7f, -1e7f, 1}, {1e7f, -1e7f, 2}, {1e7f, 1e7f, 3}, {-1e7f, 1e7f, 4}, {-1e7f, -1e7f, 5}});
  CSSEMatrix m = Blank(40, 40);
  qssse::polygon::ResetFillWorkSteps();
  p.DrawInMatrixFineZ(&m);
  EXPECT_EQ(qssse::polygon::GetFillWorkSteps(), 4u * 40);
  EXPECT_NEAR(m.GetPoint(20, 0), 1.5f, 1e-6f);  // the bottom edge's middle samples fold onto row 0
  EXPECT_NEAR(m.GetPoint(39, 20), 2.5f, 1e-6f);
  EXPECT_EQ(m.GetPoint(0, 0), 5.0f);  // the last sample of the closing edge wrote the corner last
  EXPECT_EQ(m.GetPoint(10, 10), 0.0f);
  qssse::polygon::ResetFillWorkSteps();
  p.DrawInMatrixFineZMax(&m);
  p.DrawInMatrixFineZMin(&m);
  EXPECT_EQ(qssse::polygon::GetFillWorkSteps(), 8u * 40);
}

// The edge-walking fill as the rule states it, one cell at a time through the matrix's clamped access.
void PlainEdgeWalk(const std::vector<P3>& pts, float value, CSSEMatrix& m) {
  const int n = static_cast<int>(pts.size()) & ~3;
  const int w = m.GetSizeX(), h = m.GetSizeY();
  const auto rnd = [](float t) { return static_cast<int>(t + 0.5f); };
  const auto boundary = [&](int x, int y, float tolerance) { return std::fabs(m.GetPoint(x, y) - value) < tolerance; };
  for (int i = 0; i < n; ++i) m.SetPoint(rnd(pts[i][0]), rnd(pts[i][1]), value);
  for (int i = 0; i < n; ++i) {
    const int j = i + 1 == n ? 0 : i + 1;
    const float dx = pts[j][0] - pts[i][0], dy = pts[j][1] - pts[i][1];
    const int px = rnd(pts[i][0]), py = rnd(pts[i][1]);
    // Walks from `from` by `dir` through `last`; the first boundary cell, if any, bounds the span.
    const auto walk = [&](int from, int dir, int last, auto isBoundary, auto put) {
      for (int k = from; dir > 0 ? k <= last : k >= last; k += dir) {
        if (!isBoundary(k)) continue;
        for (int c = from; c != k; c += dir) put(c);
        return;
      }
    };
    const auto inRow = [&](float tolerance) { return [&, tolerance](int x) { return boundary(x, py, tolerance); }; };
    const auto inColumn = [&](float tolerance) { return [&, tolerance](int y) { return boundary(px, y, tolerance); }; };
    const auto putRow = [&](int x) { m.SetPoint(x, py, value + 5.0f); };
    const auto putColumn = [&](int y) { m.SetPoint(px, y, value + 5.0f); };
    if (std::fabs(dx) <= std::fabs(dy) && dy >= 0) {
      if (px >= 1) walk(px - 1, -1, 0, inRow(1.0f), putRow);
    } else if (std::fabs(dx) <= std::fabs(dy)) {
      if (px < w - 1) walk(px + 1, 1, w - 1, inRow(1.0f), putRow);
    } else if (dx >= 0) {
      if (py < h - 1) walk(py + 1, 1, h - 1, inColumn(0.1f), putColumn);
    } else {
      if (py >= 1) walk(py - 1, -1, 0, inColumn(1.0f), putColumn);
    }
  }
}

TEST(SSE3dPolygonDraw, EdgeWalkEqualsTheCellByCellRuleOnRandomRingsAndMatrices) {
  // Vertices up to six cells beyond every border, on a half-cell grid, over backgrounds holding values
  // near the boundary value, so that every case, tolerance and clamped walk is taken.
  std::mt19937 rng(42);
  for (int round = 0; round < 2000; ++round) {
    const int w = 1 + static_cast<int>(rng() % 12), h = 1 + static_cast<int>(rng() % 12);
    std::vector<P3> pts(3 + rng() % 14);
    for (auto& p : pts) {
      p = {0.5f * static_cast<float>(static_cast<int>(rng() % (2 * w + 24)) - 12),
           0.5f * static_cast<float>(static_cast<int>(rng() % (2 * h + 24)) - 12), 0.0f};
    }
    CSSEMatrix fast = Blank(w, h);
    SetPixels(fast, [&] { return rng() % 4 == 0 ? 1.0f + 0.3f * static_cast<float>(rng() % 5) : 0.0f; });
    CSSEMatrix plain(fast);
    Make(pts).DrawInMatrixAndFill(1.0f, &fast);
    PlainEdgeWalk(pts, 1.0f, plain);
    ASSERT_TRUE(SamePixels(fast, plain)) << "round " << round;
  }
}

}  // namespace
