// Height field -> mesh -> height field.
//
// The bound, and why: at scan resolution equal to the mesh's scale every cell's triangles are sampled at
// their corner P0 (the pixel that starts the cell, with its exact height) and, where a cell is not flat,
// at points a fraction of the cell further on, interpolated between its corners. Each sample rounds to
// the nearest pixel and is stamped as a cross. So in the interior (two pixels from the border, where no
// sample is dropped by the frame) the maximum conversion r satisfies
//     h(p) <= r(p) <= max of h over the 5 x 5 pixels around p,
// with equality wherever that neighbourhood is flat; the minimum conversion mirrors it. The refinement
// pass then replaces every covered pixel by the exact envelope at its centre, and pixel centres are the
// field's grid points, so r == h exactly on every pixel of the raster, provided the builder's corners
// sit exactly on the grid: it forms c1 = x * s + s, which equals (x + 1) * s in float for scales that
// are powers of two; for other scales a corner is an ulp off and the height within float rounding.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "MeshTestSupport.h"

namespace {

constexpr int kN = 40;

// Integer heights 0..30 from a few smooth bumps, terraced so that flat patches exist.
void Terrain(CSSEMatrix& h) {
  h.Create(kN, kN);
  std::mt19937 rng(42);
  float cx[3], cy[3];
  for (int k = 0; k < 3; ++k) {
    cx[k] = static_cast<float>(rng() % kN);
    cy[k] = static_cast<float>(rng() % kN);
  }
  for (int y = 0; y < kN; ++y) {
    for (int x = 0; x < kN; ++x) {
      float v = 0.0f;
      for (int k = 0; k < 3; ++k) {
        const float dx = static_cast<float>(x) - cx[k], dy = static_cast<float>(y) - cy[k];
        v += 10.0f * std::exp(-(dx * dx + dy * dy) / 60.0f);
      }
      h.SetPoint(x, y, std::floor(v));
    }
  }
}

float Neighbourhood(const CSSEMatrix& h, int x, int y, bool high) {
  float r = h.GetPoint(x, y);
  for (int j = -2; j <= 2; ++j) {
    for (int i = -2; i <= 2; ++i)
      r = high ? std::max(r, h.GetPoint(x + i, y + j)) : std::min(r, h.GetPoint(x + i, y + j));
  }
  return r;
}

struct Trip {
  CSSEMatrix field;
  CHTriangulation mesh;
  float zMin = 0.0f;
  explicit Trip(float scale) {
    Terrain(field);
    mesh.BaseInitialization(scale, scale, 1.0f);
    mesh.CreateTriangulationFromSSEFieldSubSampled(&field, -1.0f, true, 1, 1);
    mesh.CalcBoundingBox();
    mesh.CalcSTV();
    mesh.SetScanConvResolution(scale, scale, 1.0f);
    SSEPoint lo;
    mesh.GetMinPoint(lo);
    zMin = lo.z;  // the offset that gives back absolute heights
  }
};

}  // namespace

TEST(RoundTrip, ConversionStaysWithinTheLocalRangeAndIsExactOnFlatAreas) {
  Trip t(0.1f);
  for (bool fast : {false, true}) {
    CSSEMatrix hi, lo;
    if (fast) {
      t.mesh.FastScanConvertTriangulation(&hi, t.zMin, true);
      t.mesh.FastScanConvertTriangulation(&lo, t.zMin, false);
    } else {
      t.mesh.ScanConvertTriangulationMax(&hi, t.zMin);
      t.mesh.ScanConvertTriangulationMin(&lo, t.zMin, 1.0f);
    }
    ASSERT_EQ(hi.GetSizeX(), kN - 1);
    ASSERT_EQ(hi.GetSizeY(), kN - 1);
    int flat = 0;
    for (int y = 2; y < kN - 3; ++y) {
      for (int x = 2; x < kN - 3; ++x) {
        const float h = t.field.GetPoint(x, y);
        const float top = Neighbourhood(t.field, x, y, true), bottom = Neighbourhood(t.field, x, y, false);
        EXPECT_LE(h, hi.GetPoint(x, y)) << x << "," << y;
        EXPECT_LE(hi.GetPoint(x, y), top) << x << "," << y;
        EXPECT_GE(h, lo.GetPoint(x, y)) << x << "," << y;
        EXPECT_GE(lo.GetPoint(x, y), bottom) << x << "," << y;
        if (top == bottom) {
          ++flat;
          EXPECT_EQ(hi.GetPoint(x, y), h);
          EXPECT_EQ(lo.GetPoint(x, y), h);
        }
      }
    }
    EXPECT_GT(flat, 100);  // the terrain has flat patches to check
  }
}

TEST(RoundTrip, RefinementGivesTheFieldBackExactlyOnBinaryScalesAndWithinRoundingOnOthers) {
  for (float scale : {0.25f, 0.1f}) {
    Trip t(scale);
    const float tolerance = scale == 0.25f ? 0.0f : 1e-4f;
    CSSEMatrix hi, lo;
    t.mesh.ScanConvertTriangulationMax(&hi, t.zMin);
    t.mesh.RefineScanConvImageTop(&hi, t.zMin);
    t.mesh.FastScanConvertTriangulation(&lo, t.zMin, false);
    t.mesh.RefineScanConvImage(&lo, t.zMin);
    for (int y = 0; y < kN - 1; ++y) {
      for (int x = 0; x < kN - 1; ++x) {
        EXPECT_NEAR(hi.GetPoint(x, y), t.field.GetPoint(x, y), tolerance) << scale << ": " << x << "," << y;
        EXPECT_NEAR(lo.GetPoint(x, y), t.field.GetPoint(x, y), tolerance) << scale << ": " << x << "," << y;
      }
    }
  }
}
