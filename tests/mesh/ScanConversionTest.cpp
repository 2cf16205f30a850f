#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "MeshTestSupport.h"
#include "qssse/mesh/ScanSweep.h"

using meshtest::ExpectPixels;
using meshtest::RandomSoup;
using meshtest::SameBits;

namespace {

constexpr float kMaxSentinel = -999999.9f;
constexpr float kMinSentinel = 999999.9f;

// The conversion rule in plain scalar floats, through the matrix's own clamping stamps: the oracle the
// shipped SIMD sweep must match bit for bit.
float Len(const SSEPoint& v) {
  // The library's four-lane sum order: (x + w) + (z + y).
  return std::sqrt((v.x * v.x + v.w * v.w) + (v.z * v.z + v.y * v.y));
}

// Stamps every sample of t whose pixel lies inside the frame of a w x h raster from lo.
void PlainStamp(const CHTriangulation& t, CSSEMatrix& m, int w, int h, float zOffset, const SSEPoint& lo,
                bool keepMax, float density) {
  for (int i = 0; i < t.GetNumTriangles(); ++i) {
    const SSEPoint p0 = t.GetEdgeArray()[3 * i], s = t.GetSArray()[i], tv = t.GetTArray()[i];
    const float ls = Len(s), lt = Len(tv);
    float step = t.GetScanDiagonal() / (ls > lt ? ls : lt);
    if (density != 1.0f) step = step / density;
    if (step < 1.0f / 16777216.0f) continue;
    for (float a = 0.0f; a < 1.0f; a += step) {
      for (float b = 0.0f; b < 1.0f - a; b += step) {
        const float qx = ((p0.x + a * s.x) + b * tv.x) - lo.x;
        const float qy = ((p0.y + a * s.y) + b * tv.y) - lo.y;
        const float qz = ((p0.z + a * s.z) + b * tv.z) - lo.z;
        const float fx = qx / t.GetScanResX() + 0.5f, fy = qy / t.GetScanResY() + 0.5f;
        if (!(std::fabs(fx) < 1e9f) || !(std::fabs(fy) < 1e9f)) continue;
        const int px = static_cast<int>(fx), py = static_cast<int>(fy);
        if (px < 1 || px >= w - 1 || py < 1 || py >= h - 1) continue;
        if (keepMax) {
          m.SetCrossMax(px, py, qz + zOffset);
        } else {
          m.SetCrossMin(px, py, qz + zOffset);
        }
      }
    }
  }
}

// The whole conversion over the box from lo to hi in the plain rule, or with walkRows by the shipped
// sweep with every triangle the row walk can take walked row by row.
void ConvertInBox(const CHTriangulation& t, CSSEMatrix& m, float zOffset, const SSEPoint& lo,
                  const SSEPoint& hi, bool keepMax, float density, bool walkRows = false) {
  const float wf = (hi.x - lo.x) / t.GetScanResX() + 0.5f, hf = (hi.y - lo.y) / t.GetScanResY() + 0.5f;
  if (!(wf >= 1.0f) || !(hf >= 1.0f) || t.GetNumTriangles() < 1) return;
  const int w = static_cast<int>(wf), h = static_cast<int>(hf);
  const float sentinel = keepMax ? kMaxSentinel : kMinSentinel;
  m.CreateNoClear(w, h);
  m.Fill(sentinel);
  if (!walkRows) {
    PlainStamp(t, m, w, h, zOffset, lo, keepMax, density);
  } else {
    qssse::scan::Job job = qssse::scan::MakeJob(t, lo, w, h, zOffset);
    job.density = density;
    job.divideByDensity = density != 1.0f;
    job.alwaysWalkRows = true;
    if (keepMax) {
      qssse::scan::Sweep<qssse::scan::CrossMax>(job, m);
    } else {
      qssse::scan::Sweep<qssse::scan::CrossMin>(job, m);
    }
  }
  m.ReplaceValueWithValue(sentinel, 0.0f, 1.0f);
}

float At(const CSSEMatrix& m, int x, int y) { return m.GetPoint(x, y); }

// The shipped conversion over a caller's box, expected to equal the plain rule bit for bit.
CSSEMatrix ShippedInBox(CHTriangulation& t, bool keepMax, float zOffset, SSEPoint lo, SSEPoint hi) {
  CSSEMatrix shipped, plain;
  if (keepMax) {
    t.ScanConvertTriangulationMax_MinMaxPoint(&shipped, zOffset, lo, hi);
  } else {
    t.ScanConvertTriangulationMin_MinMaxPoint(&shipped, zOffset, lo, hi);
  }
  ConvertInBox(t, plain, zOffset, lo, hi, keepMax, 1.0f);
  EXPECT_TRUE(SameBits(shipped, plain)) << (keepMax ? "max" : "min");
  return shipped;
}


// n triangles for the row walk: corners on the grid 0 .. 9 (sometimes stretched to 0 .. 333 in x or y,
// for long triangles), heights 0 .. 9 times 1, 10, 100 or 300 (steep ones), some of them -0 or +0,
// and now and then an edge of zero length, a duplicate corner or a first corner of height NaN.
void SteepSoup(CHTriangulation& t, std::mt19937& rng, int n) {
  t.CreateTriangulation(n);
  for (int i = 0; i < n; ++i) {
    const float scales[] = {1.0f, 10.0f, 100.0f, 300.0f};
    const float zScale = scales[rng() % 4];
    const float xScale = rng() % 5 == 0 ? 37.0f : 1.0f, yScale = rng() % 5 == 0 ? 37.0f : 1.0f;
    SSEPoint c[3];
    for (SSEPoint& p : c) {
      const float z = static_cast<float>(rng() % 10) * zScale;
      p = P(static_cast<float>(rng() % 10) * xScale, static_cast<float>(rng() % 10) * yScale,
            rng() % 7 == 0 ? -0.0f : z);
    }
    if (rng() % 9 == 0) c[2] = c[0];
    if (rng() % 13 == 0) c[0].z = NAN;  // one sample, of height NaN: stamped in its place
    SetTriangle(t, i, c[0], c[1], c[2]);
  }
}

}  // namespace

// ---- the rule on small hand-checked inputs ----------------------------------------------------------

TEST(ScanConversion, FlatTrianglesFillTheirPatchAboveTheBoxPlusOffsetAndKeepTheUpperAndLowerEnvelopes) {
  CHTriangulation t;
  Triangles(t, {{P(0, 0, 7), P(8, 0, 7), P(0, 8, 7)}}, 1.0f);
  CSSEMatrix m;
  t.ScanConvertTriangulationMax(&m, 2.5f);
  ASSERT_EQ(m.GetSizeX(), 8);
  ASSERT_EQ(m.GetSizeY(), 8);
  // step = sqrt(2) / 8: samples along the legs reach pixel 6 at most inside the frame; the cross
  // carries the value one pixel further, so row 1 is covered up to column 7 and column 0 is reached,
  // at 7 - 7 + 2.5. No cross reaches a corner pixel, none reaches beyond the hypotenuse.
  ExpectPixels(m, {{1, 1, 2.5f}, {0, 1, 2.5f}, {7, 1, 2.5f}, {0, 0, 0.0f}, {7, 7, 0.0f}, {5, 5, 0.0f}});
  CSSEMatrix low;
  t.ScanConvertTriangulationMin(&low, 2.5f, 1.0f);
  EXPECT_TRUE(SameBits(m, low)) << "a flat triangle has one envelope";

  // Two overlapping flat triangles at heights 1 and 3 over a box from z = 1: the upper and the lower.
  CHTriangulation two;
  Triangles(two, {{P(0, 0, 1), P(10, 0, 1), P(0, 10, 1)},
                  {P(0, 0, 3), P(10, 0, 3), P(0, 10, 3)}}, 1.0f);
  two.ScanConvertTriangulationMax(&m, 0.0f);
  two.ScanConvertTriangulationMin(&low, 0.0f, 1.0f);
  EXPECT_EQ(At(m, 3, 3), 2.0f);
  EXPECT_EQ(At(low, 3, 3), 0.0f);  // 1 - 1: a real 0, indistinguishable from "no value"
  EXPECT_EQ(At(m, 9, 9), 0.0f);
}

TEST(ScanConversion, SamplesInTheFrameAreDroppedAndTinyBoxesLeaveTheMatrixAlone) {
  // Corners on pixels 0 and 4 of a 4-pixel raster: only samples in 1..2 may stamp.
  CHTriangulation t;
  Triangles(t, {{P(0, 0, 1), P(4, 0, 1), P(0, 4, 1)}}, 1.0f);
  t.SetScanConvResolution(4.0f, 4.0f, 1.0f);  // one sample only, at P0, pixel (0, 0): in the frame
  CSSEMatrix m;
  t.ScanConvertTriangulationMax(&m, 9.0f);
  ASSERT_EQ(m.GetSizeX(), 1);
  EXPECT_EQ(At(m, 0, 0), 0.0f);

  CHTriangulation thin;
  Triangles(thin, {{P(0, 0, 1), P(0.4f, 0, 1), P(0, 9, 1)}}, 1.0f);
  CSSEMatrix kept;
  kept.Create(3, 3);
  kept.SetPoint(1, 1, 42.0f);
  thin.ScanConvertTriangulationMax(&kept, 0.0f);  // width trunc(0.4 + 0.5) = 0
  EXPECT_EQ(kept.GetSizeX(), 3);
  EXPECT_EQ(At(kept, 1, 1), 42.0f);
  thin.ScanConvertTriangulationMax(nullptr, 0.0f);
  CHTriangulation empty(0, 1, 1, 1);
  empty.ScanConvertTriangulationMin(&kept, 0.0f, 1.0f);
  EXPECT_EQ(At(kept, 1, 1), 42.0f);
}

TEST(ScanConversion, DensitySamplesTheMinimumMoreFinelyAndBadDensityMeansOne) {
  // Cells of 3 units over a triangle 9 long: at density 1 the samples stop a step short of the
  // hypotenuse, at density 4 they reach pixels beyond it.
  CHTriangulation t;
  Triangles(t, {{P(0, 0, 0), P(27, 0, 0), P(0, 27, 0)}}, 3.0f);
  CSSEMatrix one, four, bad;
  t.ScanConvertTriangulationMin(&one, 1.0f, 1.0f);
  t.ScanConvertTriangulationMin(&four, 1.0f, 4.0f);
  int coveredOne = 0, coveredFour = 0;
  for (int y = 0; y < 9; ++y) {
    for (int x = 0; x < 9; ++x) {
      coveredOne += At(one, x, y) == 1.0f;
      coveredFour += At(four, x, y) == 1.0f;
      if (At(one, x, y) == 1.0f) {
        EXPECT_EQ(At(four, x, y), 1.0f) << x << "," << y;
      }
    }
  }
  EXPECT_LT(coveredOne, coveredFour);
  for (float d : {0.0f, -3.0f, NAN, INFINITY}) {
    t.ScanConvertTriangulationMin(&bad, 1.0f, d);
    EXPECT_TRUE(SameBits(bad, one)) << d;
  }
}

// ---- the shipped sweep against the plain rule -------------------------------------------------------

TEST(ScanConversion, SweepEqualsThePlainRuleOnRandomMeshesOfEverySmallSize) {
  std::mt19937 rng(42);
  for (int extent = 1; extent <= 9; ++extent) {
    for (float res : {0.5f, 1.0f, 1.5f, 3.0f}) {
      CHTriangulation t(0, 1, 1, 1);
      RandomSoup(t, rng, 1 + static_cast<int>(rng() % 12), extent + 1);
      meshtest::PrepareScan(t, res);
      auto [lo, hi] = meshtest::Box(t);
      for (bool keepMax : {true, false}) {
        CSSEMatrix shipped, plain;
        if (keepMax) {
          t.ScanConvertTriangulationMax(&shipped, 0.25f);
        } else {
          t.ScanConvertTriangulationMin(&shipped, 0.25f, extent % 2 ? 1.0f : 2.5f);
        }
        ConvertInBox(t, plain, 0.25f, lo, hi, keepMax, keepMax || extent % 2 ? 1.0f : 2.5f);
        EXPECT_TRUE(SameBits(shipped, plain)) << "extent " << extent << " res " << res << " max " << keepMax;
      }
    }
  }
}

TEST(ScanConversion, SpreadCrossesEqualTheOrderedCrossesAtTheBordersAndBeyondTheSentinels) {
  // Fresh conversions keep each sample on its centre and spread the crosses afterwards. Triangles near
  // -2e6 and +2e6 (with an offset of -3e6, heights fall beyond both sentinels), samples on the frame's
  // edge of rasters of every height modulo 4 (the padding lanes must stay as they are), and infinite
  // corners, whose NaN heights (0 times an edge of infinity minus infinity) send the conversion back to
  // the stamps in order.
  std::mt19937 rng(42);
  const float levels[] = {-2.0e6f, -3.0f, 0.5f, 2.0e6f, INFINITY};
  const float offsets[] = {0.25f, 0.0f, -INFINITY, -3.0e6f};
  for (int round = 0; round < 48; ++round) {
    const int extent = 9 + round % 8;
    const int n = 1 + static_cast<int>(rng() % 6);
    CHTriangulation t(n, 1, 1, 1);
    bool finite = true;
    for (int i = 0; i < n; ++i) {
      const float level = levels[rng() % 5];  // one level per triangle: no steep sides
      finite &= std::isfinite(level);
      const auto corner = [&] {
        return P(static_cast<float>(rng() % extent), static_cast<float>(rng() % extent),
                 level + static_cast<float>(rng() % 3));
      };
      SetTriangle(t, i, corner(), corner(), corner());
    }
    meshtest::PrepareScan(t, round % 3 == 0 ? 0.5f : 1.0f);
    SSEPoint lo, hi;
    t.GetMinPoint(lo);
    t.GetMaxPoint(hi);
    const float zOffset = offsets[round % 4];
    for (bool keepMax : {true, false}) {
      CSSEMatrix shipped, fast, plain;
      ConvertInBox(t, plain, zOffset, lo, hi, keepMax, 1.0f);
      if (keepMax) {
        t.ScanConvertTriangulationMax(&shipped, zOffset);
      } else {
        t.ScanConvertTriangulationMin(&shipped, zOffset, 1.0f);
      }
      t.FastScanConvertTriangulation(&fast, zOffset, keepMax);
      EXPECT_TRUE(SameBits(shipped, plain)) << "round " << round << " max " << keepMax;
      // The workers' merge orders NaN heights otherwise: compared where none arise.
      if (finite && std::isfinite(zOffset)) {
        EXPECT_TRUE(SameBits(fast, plain)) << "round " << round << " max " << keepMax;
      }
    }
  }
}

TEST(ScanConversion, RowWalkStampsWhatTheSamplesStampOnRandomSteepAndLongTriangles) {
  std::mt19937 rng(42);
  int walked = 0;
  for (int round = 0; round < 40; ++round) {
    CHTriangulation t(0, 1, 1, 1);
    SteepSoup(t, rng, 1 + static_cast<int>(rng() % 4));
    const float res = round % 3 == 0 ? 0.5f : round % 3 == 1 ? 1.0f : 1.75f;
    meshtest::PrepareScan(t, res);
    auto [lo, hi] = meshtest::Box(t);
    if (round % 4 == 1) {
      // A caller's box inside the mesh's: rows leave the raster on both sides; origin height +0 meets
      // the -0 corners under a -0 offset.
      lo = P(lo.x + 2.0f, lo.y + 1.0f, 0.0f);
      hi = P(hi.x - 1.0f, hi.y - 2.0f, hi.z);
    }
    const float offsets[] = {0.25f, 0.0f, -0.0f, NAN, INFINITY, -3.0f};
    const float zOffset = offsets[round % 6];
    for (bool keepMax : {true, false}) {
      const float density = keepMax || round % 2 ? 1.0f : 1.5f;
      CSSEMatrix plain, rows, shipped;
      ConvertInBox(t, plain, zOffset, lo, hi, keepMax, density);
      ConvertInBox(t, rows, zOffset, lo, hi, keepMax, density, true);
      if (keepMax) {
        t.ScanConvertTriangulationMax_MinMaxPoint(&shipped, zOffset, lo, hi);
      } else if (density == 1.0f) {
        t.ScanConvertTriangulationMin_MinMaxPoint(&shipped, zOffset, lo, hi);
      } else {
        shipped.CopyFromSSEMatrix(plain);  // the density form has no box of the caller's
      }
      EXPECT_TRUE(SameBits(rows, plain)) << "round " << round << " max " << keepMax;
      EXPECT_TRUE(SameBits(shipped, plain)) << "round " << round << " max " << keepMax;
    }
    for (int i = 0; i < t.GetNumTriangles(); ++i) {
      const qssse::scan::Job job = qssse::scan::MakeJob(t, lo, 0, 0, 0.0f);
      walked += qssse::scan::PlanTriangle(job, i).way == qssse::scan::Way::kRows;
    }
  }
  EXPECT_GT(walked, 20) << "the shipped conversion walks rows of the steep triangles by itself";
}

TEST(ScanConversion, RowWalkMatchesTheSamplesIntoMatricesAsTheyStand) {
  // NoDelete clamps the raster to a small matrix: most rows leave it. Present values stay in play.
  std::mt19937 rng(42);
  for (int round = 0; round < 20; ++round) {
    CHTriangulation t(0, 1, 1, 1);
    SteepSoup(t, rng, 3);
    meshtest::PrepareScan(t, 1.0f);
    CSSEMatrix a, b;
    a.Create(7, 9);
    a.Fill(round % 2 ? 55.0f : -0.0f);
    a.SetPoint(3, 3, NAN);
    b.CopyFromSSEMatrix(a);
    SSEPoint lo;
    t.GetMinPoint(lo);
    qssse::scan::Job job = qssse::scan::MakeJob(t, lo, 7, 9, 0.0f);
    job.alwaysWalkRows = true;
    qssse::scan::Sweep<qssse::scan::CrossMin>(job, a);
    PlainStamp(t, b, 7, 9, 0.0f, lo, false, 1.0f);
    EXPECT_TRUE(SameBits(a, b)) << round;
  }
}

TEST(ScanConversion, DegenerateAndNonFiniteTrianglesNeverCrash) {
  CHTriangulation t;
  Triangles(t, {{P(3, 3, 1), P(3, 3, 1), P(3, 3, 1)},  // a point: one sample
                {P(0, 0, 0), P(1e30f, 0, 0), P(0, 1e30f, 0)},  // step far below 2^-24: skipped
                {P(NAN, 2, 0), P(1, 2, 0), P(2, 2, 0)},  // NaN pixel: dropped
                {P(6, 6, 2), P(6, 6, 2), P(6, 6, 2)}}, 1.0f);
  SSEPoint lo = P(0, 0, 0), hi = P(8, 8, 2);
  CSSEMatrix m;
  t.ScanConvertTriangulationMax_MinMaxPoint(&m, 0.0f, lo, hi);
  ExpectPixels(m, {{3, 3, 1.0f}, {3, 4, 1.0f}, {6, 5, 2.0f}, {2, 2, 0.0f}});
}

TEST(ScanConversion, ANaNHeightStampedAfterOthersStaysAsTheLoopLeavesIt) {
  // A flat triangle, then a point of height NaN on one of its pixels: the loop stamps the NaN last, so
  // its cross keeps NaN; stamps held back for folding must not overtake it.
  CHTriangulation t;
  Triangles(t, {{P(0, 0, 1), P(6, 0, 1), P(0, 6, 1)},
                {P(2, 2, NAN), P(2, 2, NAN), P(2, 2, NAN)}}, 1.0f);
  SSEPoint lo = P(0, 0, 0), hi = P(8, 8, 2);
  for (bool keepMax : {true, false}) {
    const CSSEMatrix shipped = ShippedInBox(t, keepMax, 0.5f, lo, hi);
    EXPECT_TRUE(std::isnan(At(shipped, 2, 3))) << keepMax;
    EXPECT_EQ(At(shipped, 4, 1), 1.5f);
  }
}

// ---- NoDelete, the y band and limited ranges ----------------------------------------------------------

TEST(ScanConversion, NoDeleteCombinesWithTheContentsWithinTheMatrixSizeAndTheYBandIsStrict) {
  CHTriangulation t;
  Triangles(t, {{P(0, 0, 4), P(12, 0, 4), P(0, 12, 4)}}, 1.0f);  // heights relative to the box: 0
  CSSEMatrix m;
  m.Create(6, 6);  // smaller than the 12 x 12 extent: clamped to it
  m.Fill(-1.0f);
  m.SetPoint(2, 2, 5.0f);
  t.ScanConvertTriangulationMaxNoDelete(&m, false, true);
  EXPECT_EQ(m.GetSizeX(), 6);
  // (2, 2) kept, larger than the sample; no sentinel fill, nothing replaced at (0, 0).
  ExpectPixels(m, {{2, 2, 5.0f}, {3, 3, 0.0f}, {0, 0, -1.0f}});

  CSSEMatrix single;
  single.Create(6, 6);
  single.Fill(-1.0f);
  t.ScanConvertTriangulationMaxNoDelete(&single, false, false);
  // Single pixels: samples 1.41 apart hit columns and rows 1, 3, 4 but never 2 (or the frame).
  ExpectPixels(single, {{1, 1, 0.0f}, {3, 4, 0.0f}, {2, 1, -1.0f}, {0, 1, -1.0f}});

  CSSEMatrix low;
  low.Create(6, 6);
  low.Fill(3.0f);
  t.ScanConvertTriangulationMinNoDelete(&low, true, true);
  EXPECT_EQ(At(low, 2, 2), 0.0f);
  EXPECT_EQ(At(low, 5, 5), 3.0f);

  // The y band stamps only triangles whose first corner lies strictly inside it.
  CHTriangulation band;
  Triangles(band, {{P(2, 2, 1), P(2, 2, 1), P(2, 2, 1)},
                   {P(5, 5, 2), P(5, 5, 2), P(5, 5, 2)},
                   {P(0, 0, 0), P(10, 10, 0), P(10, 0, 0)}}, 1.0f);
  m.Create(10, 10);
  band.ScanConvertTriangulationMaxNoDeleteInYArea(&m, 2.0f, 6.0f);  // y = 2 is on the bound: out
  ExpectPixels(m, {{2, 2, 0.0f}, {5, 5, 2.0f}, {8, 2, 0.0f}});
  m.Fill(9.0f);
  band.ScanConvertTriangulationMinNoDeleteInYArea(&m, 1.0f, 6.0f);
  EXPECT_EQ(At(m, 2, 2), 1.0f);
  EXPECT_EQ(At(m, 5, 4), 2.0f);
}

TEST(ScanConversion, LimitedRangesIntoOneMatrixMakeTheWholeConversionAndACallersBoxSetsSizeAndOrigin) {
  std::mt19937 rng(3);
  CHTriangulation t(0, 1, 1, 1);
  RandomSoup(t, rng, 60, 25);
  meshtest::PrepareScan(t, 1.0f);
  CSSEMatrix whole;
  t.ScanConvertTriangulationMax(&whole, 0.5f);
  CSSEMatrix parts;
  parts.Create(whole.GetSizeX(), whole.GetSizeY());
  parts.Fill(kMaxSentinel);
  t.ScanConvertTriangulationWithLimitedArea(&parts, -5, 20, 0.5f, nullptr, true);
  t.ScanConvertTriangulationWithLimitedArea(&parts, 21, 1000, 0.5f, nullptr, true);
  parts.ReplaceValueWithValue(kMaxSentinel, 0.0f, 1.0f);
  EXPECT_TRUE(SameBits(parts, whole));

  // An origin one pixel to the left and one unit lower shifts every value right and up by one.
  SSEPoint lo;
  t.GetMinPoint(lo);
  SSEPoint origin = P(lo.x - 1.0f, lo.y, lo.z - 1.0f);
  CSSEMatrix shifted;
  shifted.Create(whole.GetSizeX() + 1, whole.GetSizeY());
  shifted.Fill(kMaxSentinel);
  t.ScanConvertTriangulationWithLimitedArea(&shifted, 0, t.GetNumTriangles() - 1, 0.5f, &origin, true);
  for (int y = 2; y < whole.GetSizeY() - 2; ++y) {
    for (int x = 2; x < whole.GetSizeX() - 2; ++x) {
      if (At(whole, x, y) != 0.0f) {
        EXPECT_EQ(At(shifted, x + 1, y), At(whole, x, y) + 1.0f) << x << "," << y;
      }
    }
  }
  // A caller's box sets size and origin, at another resolution.
  t.SetScanConvResolution(0.75f, 0.75f, 1.0f);
  const SSEPoint boxLo = P(-3, 2, -1), boxHi = P(25, 20, 4);
  EXPECT_EQ(ShippedInBox(t, true, 1.0f, boxLo, boxHi).GetSizeX(), 37);  // trunc(28 / 0.75 + 0.5)
  ShippedInBox(t, false, 1.0f, boxLo, boxHi);
}

// ---- refinement and constraint -------------------------------------------------------------------------

TEST(ScanConversion, RefinementReplacesCoveredPixelsByTheExactEnvelope) {
  // A plane z = x over 0..8: the crosses carry samples taken between pixel centres up to a pixel too
  // far; the refinement puts back z = x on every covered pixel centre and leaves the rest.
  CHTriangulation t;
  Triangles(t, {{P(0, 0, 0), P(8, 8, 8), P(0, 8, 0)},
                {P(0, 0, 0), P(8, 0, 8), P(8, 8, 8)}}, 1.0f);
  CSSEMatrix m;
  t.ScanConvertTriangulationMax(&m, 0.0f);
  EXPECT_GT(At(m, 3, 4), 3.0f);  // dilated
  t.RefineScanConvImageTop(&m, 0.0f);
  for (int y = 0; y < 8; ++y) {
    for (int x = 0; x < 8; ++x) EXPECT_EQ(At(m, x, y), static_cast<float>(x)) << x << "," << y;
  }
  CSSEMatrix low;
  low.Create(8, 8);
  low.Fill(-7.0f);
  CHTriangulation half;
  Triangles(half, {{P(0, 0, 0), P(8, 0, 8), P(8, 8, 8)}}, 1.0f);
  half.RefineScanConvImage(&low, 1.0f);
  EXPECT_EQ(At(low, 6, 2), 7.0f);
  EXPECT_EQ(At(low, 2, 6), -7.0f);  // not covered
}

TEST(ScanConversion, ConstraintRaisesOrLowersCornersToTheField) {
  CSSEMatrix field;
  field.Create(3, 3);
  field.Fill(2.0f);
  field.SetPoint(2, 0, 5.0f);
  CHTriangulation t(1, 0.5f, 0.5f, 1);
  SetTriangle(t, 0, P(0, 0, 1), P(1, 0, 3), P(7, 7, 9));  // pixels (0, 0), (2, 0), (2, 2) by clamping
  t.ConstrainWithHeightField(true, &field, 0.5f);
  EXPECT_POINT(t.GetEdgeArray()[0], 0, 0, 2.5f, 0);
  EXPECT_POINT(t.GetEdgeArray()[1], 1, 0, 5.5f, 0);
  EXPECT_POINT(t.GetEdgeArray()[2], 7, 7, 9, 0);
  EXPECT_POINT(t.GetSArray()[0], 1, 0, 3, 0);  // derived data follows
  DmArray2D<float> a(3, 3);
  a(0, 0) = 1.0f;
  t.ConstrainWithHeightField(false, &a, 0.0f);
  EXPECT_POINT(t.GetEdgeArray()[0], 0, 0, 1, 0);
  EXPECT_POINT(t.GetEdgeArray()[2], 7, 7, 0, 0);
}
