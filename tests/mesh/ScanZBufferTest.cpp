// The exact z-buffer conversion: coverage and heights against a plain per-pixel oracle, the round trip of
// height fields, shared edges, and a cost that does not depend on the heights.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "MeshTestSupport.h"

using meshtest::RandomSoup;
using meshtest::PrepareScan;

namespace {

// The oracle, pixel by pixel: the triangles (barycentric inside test in double) that contain the centre
// displaced by d = 1e-3 u + 1e-6 u', u the directions 0, 45, ... 315 degrees and u' u turned by 90, the
// first direction for which any does; the envelope of their heights interpolated at the undisplaced
// centre. With corners on a grid of a quarter pixel or coarser and triangles under 60 pixels, the
// displacement decides as the infinitesimal one would and moves no other centre across an edge. NaN where
// nothing covers.
std::vector<double> Oracle(const CHTriangulation& t, bool keepMax, int w, int h) {
  SSEPoint lo;
  t.GetMinPoint(lo);
  const double rx = t.GetScanResX(), ry = t.GetScanResY();
  const int n = t.GetNumTriangles();
  std::vector<double> r(static_cast<std::size_t>(w) * h, NAN);
  const auto bary = [&](int i, double px, double py, double l[3]) {
    const SSEPoint* c = t.GetEdgeArray() + 3 * i;
    double x[3], y[3];
    for (int k = 0; k < 3; ++k) {
      x[k] = (c[k].x - lo.x) / rx;
      y[k] = (c[k].y - lo.y) / ry;
    }
    const double det = (x[1] - x[0]) * (y[2] - y[0]) - (y[1] - y[0]) * (x[2] - x[0]);
    if (det == 0.0) return false;
    l[1] = ((px - x[0]) * (y[2] - y[0]) - (py - y[0]) * (x[2] - x[0])) / det;
    l[2] = ((x[1] - x[0]) * (py - y[0]) - (y[1] - y[0]) * (px - x[0])) / det;
    l[0] = 1.0 - l[1] - l[2];
    return true;
  };
  const int dirs[8][2] = {{1, 0}, {1, 1}, {0, 1}, {-1, 1}, {-1, 0}, {-1, -1}, {0, -1}, {1, -1}};
  for (int py = 0; py < h; ++py) {
    for (int px = 0; px < w; ++px) {
      double& v = r[static_cast<std::size_t>(py) * w + px];
      for (const auto& d : dirs) {
        const double dx = 1e-3 * d[0] - 1e-6 * d[1], dy = 1e-3 * d[1] + 1e-6 * d[0];
        for (int i = 0; i < n; ++i) {
          double l[3];
          if (!bary(i, px + dx, py + dy, l) || !(l[0] > 0 && l[1] > 0 && l[2] > 0)) continue;
          bary(i, px, py, l);
          const SSEPoint* c = t.GetEdgeArray() + 3 * i;
          const double z = l[0] * c[0].z + l[1] * c[1].z + l[2] * c[2].z;
          if (std::isnan(v) || (keepMax ? z > v : z < v)) v = z;
        }
        if (!std::isnan(v)) break;
      }
    }
  }
  return r;
}

// Heights that are not integers and change sign, so that exactness is not an accident of small values.
void Field(CSSEMatrix& f, int w, int h, std::mt19937& rng) {
  f.Create(w, h);
  std::uniform_real_distribution<float> d(-40.0f, 60.0f);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) f.SetPoint(x, y, d(rng));
  }
}

// Below every height of Field(): the whole field is meshed.
constexpr float kBelowEveryHeight = -41.0f;

}  // namespace

TEST(ScanZBuffer, EqualsThePerPixelOracleOnRandomMeshes) {
  std::mt19937 rng(42);
  for (int round = 0; round < 200; ++round) {
    CHTriangulation t(0, 1, 1, 1);
    RandomSoup(t, rng, 1 + static_cast<int>(rng() % 12), 2 + static_cast<int>(rng() % 9));
    const float res = round % 3 == 0 ? 1.0f : (round % 3 == 1 ? 0.5f : 0.25f);
    PrepareScan(t, res);
    for (bool keepMax : {true, false}) {
      CSSEMatrix m;
      t.ScanConvertTriangulationZBuffer(&m, keepMax, -100.0f, 0.0f);
      ASSERT_TRUE(m.HasPixels());
      const std::vector<double> want = Oracle(t, keepMax, m.GetSizeX(), m.GetSizeY());
      for (int y = 0; y < m.GetSizeY(); ++y) {
        for (int x = 0; x < m.GetSizeX(); ++x) {
          const double o = want[static_cast<std::size_t>(y) * m.GetSizeX() + x];
          const float v = m.GetPoint(x, y);
          if (std::isnan(o)) {
            EXPECT_EQ(v, -100.0f) << "round " << round << " pixel " << x << "," << y;
          } else {
            EXPECT_NEAR(v, o, 1e-5) << "round " << round << " pixel " << x << "," << y;
          }
        }
      }
    }
  }
}

// The field meshed whole at scale s and converted back at resolution s: its size and every height.
::testing::AssertionResult RoundTrip(const CSSEMatrix& f, float s, bool keepMax) {
  CSSEMatrix copy(f);
  CHTriangulation t(&copy, kBelowEveryHeight, true, s, s, 1.0f, 1, 1);
  t.SetScanConvResolution(s, s, 1.0f);
  CSSEMatrix r;
  t.ScanConvertTriangulationZBuffer(&r, keepMax, NAN, 0.0f);
  if (r.GetSizeX() != f.GetSizeX() || r.GetSizeY() != f.GetSizeY())
    return ::testing::AssertionFailure() << "size " << r.GetSizeX() << " x " << r.GetSizeY();
  int differing = 0;
  for (int y = 0; y < f.GetSizeY(); ++y) {
    for (int x = 0; x < f.GetSizeX(); ++x) differing += r.GetPoint(x, y) != f.GetPoint(x, y);
  }
  if (differing == 0) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << differing << " heights differ";
}

TEST(ScanZBuffer, FieldsComeBackExactlyAtTheirOwnSize) {
  std::mt19937 rng(42);
  for (int w = 1; w <= 9; ++w) {
    for (int h = 1; h <= 9; ++h) {
      CSSEMatrix f;
      Field(f, w, h, rng);
      if (w > 1 && h > 1) {
        EXPECT_TRUE(RoundTrip(f, 1.0f, true)) << w << " x " << h;
        continue;
      }
      // A field one pixel wide has no cell: no triangle, nothing converted.
      CHTriangulation t(&f, kBelowEveryHeight, true, 1.0f, 1.0f, 1.0f, 1, 1);
      CSSEMatrix r;
      t.ScanConvertTriangulationZBuffer(&r, true, NAN, 0.0f);
      EXPECT_EQ(t.GetNumTriangles(), 0);
      EXPECT_FALSE(r.HasPixels());
    }
  }
  // A 403 x 344 field, also at scale 0.1, where the builder's corner x * s + s can differ from (x + 1) * s
  // by a float step: the 1/256 pixel grid puts both on the same centre.
  CSSEMatrix f;
  Field(f, 403, 344, rng);
  for (float s : {1.0f, 0.1f}) {
    EXPECT_TRUE(RoundTrip(f, s, true)) << s;
    EXPECT_TRUE(RoundTrip(f, s, false)) << s;
  }
}

TEST(ScanZBuffer, EveryCentreOfATriangulatedRectangleIsCoveredExactlyOnce) {
  // An 8 x 6 rectangle cut into jittered cells, each split along a random diagonal, corners on a grid of
  // 1/8 so that at resolution 0.5 many centres lie on edges and corners. Every triangle is flat at a
  // height of its own: a centre covered by two triangles would differ between the maximum and the
  // minimum conversion, a missed one would hold the no-data value; and the triangle covering a centre is
  // the oracle's.
  std::mt19937 rng(42);
  constexpr int kW = 8, kH = 6;
  float vx[kW + 1][kH + 1], vy[kW + 1][kH + 1];
  for (int i = 0; i <= kW; ++i) {
    for (int j = 0; j <= kH; ++j) {
      const auto jitter = [&] { return static_cast<float>(static_cast<int>(rng() % 3) - 1) * 0.125f; };
      vx[i][j] = static_cast<float>(i) + (i > 0 && i < kW ? jitter() : 0.0f);
      vy[i][j] = static_cast<float>(j) + (j > 0 && j < kH ? jitter() : 0.0f);
    }
  }
  CHTriangulation t(2 * kW * kH, 1, 1, 1);
  int n = 0;
  for (int i = 0; i < kW; ++i) {
    for (int j = 0; j < kH; ++j) {
      const auto v = [&](int a, int b) { return P(vx[a][b], vy[a][b], static_cast<float>(n)); };
      if (rng() % 2) {
        SetTriangle(t, n, v(i, j), v(i + 1, j), v(i + 1, j + 1));
        ++n;
        SetTriangle(t, n, v(i, j), v(i + 1, j + 1), v(i, j + 1));
        ++n;
      } else {
        SetTriangle(t, n, v(i, j), v(i + 1, j), v(i, j + 1));
        ++n;
        SetTriangle(t, n, v(i, j + 1), v(i + 1, j + 1), v(i + 1, j));  // clockwise: orientation is free
        ++n;
      }
    }
  }
  PrepareScan(t, 0.5f);
  CSSEMatrix hi, lo;
  t.ScanConvertTriangulationZBuffer(&hi, true, -1.0f, 0.0f);
  t.ScanConvertTriangulationZBuffer(&lo, false, -1.0f, 0.0f);
  ASSERT_EQ(hi.GetSizeX(), 2 * kW + 1);
  ASSERT_EQ(hi.GetSizeY(), 2 * kH + 1);
  const std::vector<double> want = Oracle(t, true, 2 * kW + 1, 2 * kH + 1);
  for (int y = 0; y <= 2 * kH; ++y) {
    for (int x = 0; x <= 2 * kW; ++x) {
      EXPECT_NE(hi.GetPoint(x, y), -1.0f) << x << "," << y;
      EXPECT_EQ(hi.GetPoint(x, y), lo.GetPoint(x, y)) << x << "," << y;
      EXPECT_NEAR(hi.GetPoint(x, y), want[static_cast<std::size_t>(y) * (2 * kW + 1) + x], 1e-9) << x << "," << y;
    }
  }
}

TEST(ScanZBuffer, TheWorkDependsOnTheCoveredAreaNotOnTheHeights) {
  std::mt19937 rng(9);
  CSSEMatrix f;
  Field(f, 60, 50, rng);
  CHTriangulation t(&f, kBelowEveryHeight, true, 1.0f, 1.0f, 1.0f, 1, 1);
  t.SetScanConvResolution(1.0f, 1.0f, 1.0f);
  CSSEMatrix r;
  const std::int64_t work = t.ScanConvertTriangulationZBuffer(&r, true, 0.0f, 0.0f);
  // Each of the 2 * 59 * 49 triangles of a cell tests the cell's four corners.
  EXPECT_EQ(work, 4 * 2 * 59 * 49);
  t.BlowTriangulation(1.0f, 1.0f, 10.0f);
  EXPECT_EQ(t.ScanConvertTriangulationZBuffer(&r, true, 0.0f, 0.0f), work);
  EXPECT_EQ(r.GetPoint(7, 9), 10.0f * f.GetPoint(7, 9));
}

TEST(ScanZBuffer, UncoveredPixelsTakeTheNoDataValueAndOverlapsTheEnvelope) {
  // Two triangles over the same half square at heights 1 and 3, the other half empty.
  CHTriangulation t;
  Triangles(t, {{P(0, 0, 1), P(4, 0, 1), P(0, 4, 1)},
                {P(0, 0, 3), P(4, 0, 3), P(0, 4, 3)}});
  PrepareScan(t, 1.0f);
  CSSEMatrix hi, lo;
  t.ScanConvertTriangulationZBuffer(&hi, true, -7.0f, 0.5f);
  t.ScanConvertTriangulationZBuffer(&lo, false, -7.0f, 0.5f);
  ASSERT_EQ(hi.GetSizeX(), 5);
  EXPECT_EQ(hi.GetPoint(1, 1), 3.5f);
  EXPECT_EQ(lo.GetPoint(1, 1), 1.5f);
  // A corner on the raster's first pixel (no frame is dropped) and the hypotenuse (the border is covered).
  meshtest::ExpectPixels(hi, {{0, 0, 3.5f}, {2, 2, 3.5f}, {3, 2, -7.0f}, {4, 4, -7.0f}});
  EXPECT_EQ(hi.GetMatrixDataDirectly()[1][4][3], -7.0f);  // padding too
  CSSEMatrix nan;
  t.ScanConvertTriangulationZBuffer(&nan, true, NAN, 0.0f);
  EXPECT_TRUE(std::isnan(nan.GetPoint(3, 3)));
}

TEST(ScanZBuffer, ACallersBoxSetsSizeAndOriginAndProgressIsReported) {
  std::mt19937 rng(3);
  CHTriangulation t(0, 1, 1, 1);
  RandomSoup(t, rng, 60, 25);
  PrepareScan(t, 0.5f);
  CSSEMatrix whole;
  int calls = 0, last = -1;
  t.ScanConvertTriangulationZBuffer(&whole, false, NAN, 0.25f, [&](int done, int total) {
    ++calls;
    EXPECT_EQ(total, 60);
    EXPECT_GE(done, last);
    last = done;
  });
  EXPECT_GE(calls, 2);
  EXPECT_EQ(last, 60);

  // A box one unit further left: every pixel moves two columns right, the raster two columns wider.
  auto [lo, hi] = meshtest::Box(t);
  const SSEPoint wider = P(lo.x - 1.0f, lo.y, lo.z);
  CSSEMatrix shifted;
  t.ScanConvertTriangulationZBuffer_MinMaxPoint(&shifted, false, NAN, 0.25f, wider, hi);
  ASSERT_EQ(shifted.GetSizeX(), whole.GetSizeX() + 2);
  ASSERT_EQ(shifted.GetSizeY(), whole.GetSizeY());
  for (int y = 0; y < whole.GetSizeY(); ++y) {
    for (int x = 0; x < whole.GetSizeX(); ++x) {
      const float a = whole.GetPoint(x, y), b = shifted.GetPoint(x + 2, y);
      EXPECT_TRUE(a == b || (std::isnan(a) && std::isnan(b))) << x << "," << y;
    }
  }
}

TEST(ScanZBuffer, DegenerateInputLeavesTheMatrixAloneOrSkipsTheTriangle) {
  CSSEMatrix kept;
  kept.Create(3, 3);
  kept.SetPoint(1, 1, 42.0f);
  CHTriangulation empty(0, 1, 1, 1);
  EXPECT_EQ(empty.ScanConvertTriangulationZBuffer(&kept, true, 0.0f, 0.0f), 0);
  CHTriangulation one;
  Triangles(one, {{P(0, 0, 1), P(2, 0, 1), P(0, 2, 1)}});
  PrepareScan(one, 1.0f);
  EXPECT_EQ(one.ScanConvertTriangulationZBuffer(nullptr, true, 0.0f, 0.0f), 0);
  SSEPoint lo = P(5, 5, 0), hi = P(0, 0, 0);  // inverted
  EXPECT_EQ(one.ScanConvertTriangulationZBuffer_MinMaxPoint(&kept, true, 0.0f, 0.0f, lo, hi), 0);
  EXPECT_EQ(kept.GetPoint(1, 1), 42.0f);
  EXPECT_EQ(kept.GetSizeX(), 3);

  // A point-sized box gives one pixel; NaN, infinite and zero-area triangles cover nothing.
  CHTriangulation bad;
  Triangles(bad, {{P(1, 1, 1), P(1, 1, 1), P(1, 1, 1)},
                  {P(NAN, 0, 0), P(3, 0, 0), P(0, 3, 0)},
                  {P(0, 0, 0), P(3, 0, INFINITY), P(0, 3, 0)},
                  {P(0, 0, 0), P(1, 1, 0), P(3, 3, 0)}});
  PrepareScan(bad, 1.0f);
  SSEPoint a = P(0, 0, 0), b = P(3, 3, 0);
  CSSEMatrix m;
  bad.ScanConvertTriangulationZBuffer_MinMaxPoint(&m, true, -1.0f, 0.0f, a, b);
  ASSERT_EQ(m.GetSizeX(), 4);
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 4; ++x) EXPECT_EQ(m.GetPoint(x, y), -1.0f) << x << "," << y;
  }
}
