#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "RasterTestSupport.h"
#include "qssse/raster/SSEMatrix.h"

namespace {

using rastertest::Blank;

const float kNaN = std::numeric_limits<float>::quiet_NaN();

// Reference of the stamping family, written from its table: centre clamp (lower bound first), then
// the footprint in row order, each pixel combined with its present value.
enum class Rule { Overwrite, Min, Max };
struct Stamp {
  std::string name;
  std::function<void(CSSEMatrix&, int, int, float)> call;
  int left, right, up, down;
  Rule rule;
  bool cross;
};

const std::vector<Stamp>& Family() {
  static const std::vector<Stamp> family = {
      {"SetPoint", [](CSSEMatrix& m, int x, int y, float v) { m.SetPoint(x, y, v); }, 0, 0, 0, 0, Rule::Overwrite, false},
      {"SetPointMin", [](CSSEMatrix& m, int x, int y, float v) { m.SetPointMin(x, y, v); }, 0, 0, 0, 0, Rule::Min, false},
      {"SetPointMax", [](CSSEMatrix& m, int x, int y, float v) { m.SetPointMax(x, y, v); }, 0, 0, 0, 0, Rule::Max, false},
      {"SetPointAndRightOfPoint", [](CSSEMatrix& m, int x, int y, float v) { m.SetPointAndRightOfPoint(x, y, v); }, 0, 1, 0, 0, Rule::Overwrite, false},
      {"SetPointAndLeftOfPoint", [](CSSEMatrix& m, int x, int y, float v) { m.SetPointAndLeftOfPoint(x, y, v); }, 1, 0, 0, 0, Rule::Overwrite, false},
      {"SetTriplePointMin", [](CSSEMatrix& m, int x, int y, float v) { m.SetTriplePointMin(x, y, v); }, 1, 1, 0, 0, Rule::Min, false},
      {"SetTriplePointMax", [](CSSEMatrix& m, int x, int y, float v) { m.SetTriplePointMax(x, y, v); }, 1, 1, 0, 0, Rule::Max, false},
      {"SetCross", [](CSSEMatrix& m, int x, int y, float v) { m.SetCross(x, y, v); }, 1, 1, 1, 1, Rule::Overwrite, true},
      {"SetCrossMin", [](CSSEMatrix& m, int x, int y, float v) { m.SetCrossMin(x, y, v); }, 1, 1, 1, 1, Rule::Min, true},
      {"SetCrossMax", [](CSSEMatrix& m, int x, int y, float v) { m.SetCrossMax(x, y, v); }, 1, 1, 1, 1, Rule::Max, true},
      {"Set3x3BoxPoint", [](CSSEMatrix& m, int x, int y, float v) { m.Set3x3BoxPoint(x, y, v); }, 1, 1, 1, 1, Rule::Overwrite, false},
      {"Set3x3BoxPointMin", [](CSSEMatrix& m, int x, int y, float v) { m.Set3x3BoxPointMin(x, y, v); }, 1, 1, 1, 1, Rule::Min, false},
      {"Set3x3BoxPointMax", [](CSSEMatrix& m, int x, int y, float v) { m.Set3x3BoxPointMax(x, y, v); }, 1, 1, 1, 1, Rule::Max, false},
      {"Set5x5BoxPointMin", [](CSSEMatrix& m, int x, int y, float v) { m.Set5x5BoxPointMin(x, y, v); }, 2, 2, 2, 2, Rule::Min, false},
      {"Set5x5BoxPointMax", [](CSSEMatrix& m, int x, int y, float v) { m.Set5x5BoxPointMax(x, y, v); }, 2, 2, 2, 2, Rule::Max, false},
      {"Set11x11BoxPointMax", [](CSSEMatrix& m, int x, int y, float v) { m.Set11x11BoxPointMax(x, y, v); }, 5, 5, 5, 5, Rule::Max, false},
  };
  return family;
}

// Row-major pixels of a plain raster, the oracle's storage.
struct Plain {
  int sx, sy;
  std::vector<float> v;
  float& at(int x, int y) { return v[static_cast<std::size_t>(std::clamp(y, 0, sy - 1) * sx + std::clamp(x, 0, sx - 1))]; }
};

void ReferenceStamp(Plain& p, const Stamp& s, int x, int y, float value) {
  int cx = std::max(x, s.left), cy = std::max(y, s.up);
  cx = std::min(cx, p.sx - 1 - s.right);
  cy = std::min(cy, p.sy - 1 - s.down);
  std::vector<std::pair<int, int>> pixels;
  if (s.cross) {
    pixels = {{cx - 1, cy}, {cx, cy}, {cx + 1, cy}, {cx, cy - 1}, {cx, cy + 1}};
  } else {
    for (int j = cy - s.up; j <= cy + s.down; ++j)
      for (int i = cx - s.left; i <= cx + s.right; ++i) pixels.emplace_back(i, j);
  }
  for (auto [i, j] : pixels) {
    float& q = p.at(i, j);
    const float old = q;
    q = s.rule == Rule::Overwrite ? value : s.rule == Rule::Min ? (value > old ? old : value) : (old > value ? old : value);
  }
}

TEST(SSEMatrixStamp, EveryMemberMatchesItsTableOnRandomStampsAndSizes) {
  // Sizes from 1 to 14 cover matrices smaller than every footprint; positions reach far outside.
  std::mt19937 rng(42);
  const float values[] = {-2.0f, 0.0f, 1.0f, 3.5f, kNaN};
  for (const Stamp& s : Family()) {
    for (int sx = 1; sx <= 14; sx += 1 + (sx > 4)) {
      for (int sy = 1; sy <= 14; sy += 1 + (sy > 4)) {
        CSSEMatrix m = Blank(sx, sy);
        Plain p{sx, sy, std::vector<float>(static_cast<std::size_t>(sx * sy), 0.0f)};
        for (int k = 0; k < 60; ++k) {
          const int x = static_cast<int>(rng() % 24) - 5, y = static_cast<int>(rng() % 24) - 5;
          const float v = values[rng() % 5];
          s.call(m, x, y, v);
          ReferenceStamp(p, s, x, y, v);
        }
        for (int y = 0; y < sy; ++y)
          for (int x = 0; x < sx; ++x)
            ASSERT_EQ(rastertest::Bits(m.GetPoint(x, y)), rastertest::Bits(p.at(x, y))) << s.name << " " << sx << "x" << sy << " at " << x << "," << y;
        // The padding row stays untouched by any stamp.
        const int g = m.GetSSESizeY() - 1;
        for (int l = sy & 3; l < 4 && (sy >> 2) == g; ++l)
          for (int x = 0; x < sx; ++x) ASSERT_EQ(rastertest::Lane(m, x, g, l), 0.0f) << s.name;
      }
    }
  }
}

TEST(SSEMatrixStamp, FootprintsAtTheBorderShiftInwardAsAWhole) {
  const struct {
    const char* name;
    int sx, sy, x, y, x0, x1, y0, y1;  // matrix size, stamp position, the box it covers
  } cases[] = {
      {"Set3x3BoxPoint", 10, 8, 0, 0, 0, 2, 0, 2},
      {"Set11x11BoxPointMax", 20, 20, 9, 7, 4, 14, 2, 12},    // fits: centred
      {"Set11x11BoxPointMax", 20, 20, 19, 19, 9, 19, 9, 19},  // the centre moves to (14, 14)
      {"SetPointAndLeftOfPoint", 6, 3, 0, 1, 0, 1, 1, 1},
      {"SetPointAndRightOfPoint", 6, 3, 5, 2, 4, 5, 2, 2},
  };
  for (const auto& c : cases) {
    const Stamp& s = *std::find_if(Family().begin(), Family().end(), [&](const Stamp& f) { return f.name == c.name; });
    CSSEMatrix m = Blank(c.sx, c.sy);
    s.call(m, c.x, c.y, 1.0f);
    for (int y = 0; y < c.sy; ++y)
      for (int x = 0; x < c.sx; ++x)
        EXPECT_EQ(m.GetPoint(x, y), (x >= c.x0 && x <= c.x1 && y >= c.y0 && y <= c.y1) ? 1.0f : 0.0f)
            << c.name << " at " << c.x << "," << c.y << ": pixel " << x << "," << y;
  }
}

TEST(SSEMatrixStamp, NaNOnEitherSideStoresTheStamp) {
  CSSEMatrix m = Blank(3, 3, kNaN);
  m.SetPointMin(1, 1, 5.0f);
  EXPECT_EQ(m.GetPoint(1, 1), 5.0f);
  m.SetPointMin(1, 1, kNaN);
  EXPECT_TRUE(std::isnan(m.GetPoint(1, 1)));
  m.SetPointMax(1, 1, 2.0f);
  EXPECT_EQ(m.GetPoint(1, 1), 2.0f);
}

TEST(SSEMatrixStamp, CrossMaximumIgnoresTheDiagonals) {
  CSSEMatrix m = Blank(5, 5);
  m.SetPoint(1, 1, 9.0f);  // diagonal of (2, 2)
  m.SetPoint(3, 3, 8.0f);  // diagonal
  m.SetPoint(2, 3, 4.0f);  // lower
  m.SetPoint(1, 2, 2.0f);  // left
  EXPECT_EQ(m.GetPointMax3x3(2, 2), 4.0f);
  EXPECT_EQ(m.GetPointMax3x3(-3, -3), 9.0f);  // centre clamped to (1, 1)
}

}  // namespace
