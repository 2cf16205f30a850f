#pragma once
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <initializer_list>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include "qssse/mesh/HTriangulation.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"
#include "raster/RasterTestSupport.h"

namespace meshtest {

inline SSEPoint P(float x, float y, float z, float w = 0.0f) { return qssse::MakeSSEPoint(x, y, z, w); }

// Writes triangle i's three corners.
inline void SetTriangle(CHTriangulation& t, int i, const SSEPoint& a, const SSEPoint& b, const SSEPoint& c) {
  SSEPoint* e = t.GetEdgeArray() + 3 * i;
  e[0] = a;
  e[1] = b;
  e[2] = c;
}

inline bool SamePoint(const SSEPoint& a, const SSEPoint& b) {
  return a.x == b.x && a.y == b.y && a.z == b.z && a.w == b.w;
}

#define EXPECT_POINT(p, X, Y, Z, W) \
  do {                              \
    const SSEPoint q_ = (p);        \
    EXPECT_FLOAT_EQ(q_.x, X);       \
    EXPECT_FLOAT_EQ(q_.y, Y);       \
    EXPECT_FLOAT_EQ(q_.z, Z);       \
    EXPECT_FLOAT_EQ(q_.w, W);       \
  } while (0)

using rastertest::SameBits;

// A mesh's derived data for the scan conversions, at scan resolution (res, res).
inline void PrepareScan(CHTriangulation& t, float res) {
  t.CalcSTV();
  t.CalcBoundingBox();
  t.SetScanConvResolution(res, res, 1.0f);
}

// Makes t a mesh of scale 1 holding these triangles, with res > 0 also ready to convert at resolution res.
inline void Triangles(CHTriangulation& t, std::initializer_list<std::array<SSEPoint, 3>> tris, float res = 0.0f) {
  t.BaseInitialization(1.0f, 1.0f, 1.0f);
  t.CreateTriangulation(static_cast<int>(tris.size()));
  int i = 0;
  for (const auto& c : tris) SetTriangle(t, i++, c[0], c[1], c[2]);
  if (res > 0.0f) PrepareScan(t, res);
}

// n triangles with corners on the integer grid 0 .. extent-1 (ties, duplicates, slivers, zero-length
// edges), heights -5 .. 4.
inline void RandomSoup(CHTriangulation& t, std::mt19937& rng, int n, int extent) {
  t.CreateTriangulation(n);
  const auto c = [&](int range) { return static_cast<float>(static_cast<int>(rng() % range)); };
  for (int i = 0; i < n; ++i) {
    const auto corner = [&] { return P(c(extent), c(extent), c(10) - 5.0f); };
    SetTriangle(t, i, corner(), corner(), corner());
  }
}

// The mesh's bounding box as (minimum, maximum).
inline std::pair<SSEPoint, SSEPoint> Box(const CHTriangulation& t) {
  SSEPoint lo, hi;
  t.GetMinPoint(lo);
  t.GetMaxPoint(hi);
  return {lo, hi};
}

// An outline through the given (x, y) points at height 0.
inline CSSE3dPolygon Ring(std::initializer_list<std::pair<float, float>> points) {
  CSSE3dPolygon ring;
  ring.Create(static_cast<int>(points.size()));
  int i = 0;
  for (const auto& p : points) ring.SetPoint(i++, p.first, p.second, 0.0f);
  return ring;
}

// A w x h field of whole values 0 .. levels-1, row by row.
inline void RandomField(CSSEMatrix& m, int w, int h, std::mt19937& rng, int levels) {
  m.Create(w, h);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) m.SetPoint(x, y, static_cast<float>(rng() % levels));
  }
}

struct Pixel {
  int x, y;
  float value;
};

// Expects each listed pixel of m to hold exactly its value.
inline void ExpectPixels(const CSSEMatrix& m, std::initializer_list<Pixel> pixels) {
  for (const Pixel& p : pixels) EXPECT_EQ(m.GetPoint(p.x, p.y), p.value) << "pixel " << p.x << "," << p.y;
}

// A field from rows of values, row y = rows[y].
template <std::size_t H, std::size_t W>
void FillField(CSSEMatrix& m, const float (&rows)[H][W]) {
  m.Create(static_cast<int>(W), static_cast<int>(H));
  for (std::size_t y = 0; y < H; ++y) {
    for (std::size_t x = 0; x < W; ++x) m.SetPoint(static_cast<int>(x), static_cast<int>(y), rows[y][x]);
  }
}

// A mesh of the given triangles with its S/T/V and bounding box.
inline std::unique_ptr<CHTriangulation> MeshOf(const std::vector<std::array<SSEPoint, 3>>& tris) {
  auto t = std::make_unique<CHTriangulation>(static_cast<int>(tris.size()), 1.0f, 1.0f, 1.0f);
  for (std::size_t i = 0; i < tris.size(); ++i)
    SetTriangle(*t, static_cast<int>(i), tris[i][0], tris[i][1], tris[i][2]);
  t->CalcSTV();
  t->CalcBoundingBox();
  return t;
}

// Position of a record in t, -1 for null, -2 for a record of another mesh.
inline long Pos(const CHTriangulation& t, const t_htriangle* p) {
  if (p == nullptr) return -1;
  const t_htriangle* base = t.GetTriangles();
  for (int i = 0; i < t.GetNumTriangles(); ++i) {
    if (base + i == p) return i;
  }
  return -2;
}

}  // namespace meshtest

// The helpers nearly every mesh test uses, by their short names.
using meshtest::P;
using meshtest::SetTriangle;
using meshtest::Triangles;
