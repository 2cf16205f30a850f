#pragma once
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include "qssse/mesh/HTriangulation.h"
#include "qssse/raster/SSEMatrix.h"

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

// Bit-for-bit equality of two matrices, padding included.
inline ::testing::AssertionResult SameBits(const CSSEMatrix& a, const CSSEMatrix& b) {
  if (a.GetSizeX() != b.GetSizeX() || a.GetSizeY() != b.GetSizeY())
    return ::testing::AssertionFailure() << "sizes " << a.GetSizeX() << "x" << a.GetSizeY() << " vs "
                                         << b.GetSizeX() << "x" << b.GetSizeY();
  for (int g = 0; g < a.GetSSESizeY(); ++g) {
    for (int x = 0; x < a.GetSSESizeX(); ++x) {
      if (std::memcmp(&a.GetMatrixDataDirectly()[g][x], &b.GetMatrixDataDirectly()[g][x], 16) != 0)
        return ::testing::AssertionFailure() << "differs at column " << x << ", rows " << 4 * g << "..";
    }
  }
  return ::testing::AssertionSuccess();
}

// A mesh's derived data for the scan conversions, at scan resolution (res, res).
inline void PrepareScan(CHTriangulation& t, float res) {
  t.CalcSTV();
  t.CalcBoundingBox();
  t.SetScanConvResolution(res, res, 1.0f);
}

// A field from rows of values, row y = rows[y].
template <std::size_t H, std::size_t W>
void FillField(CSSEMatrix& m, const float (&rows)[H][W]) {
  m.Create(static_cast<int>(W), static_cast<int>(H));
  for (std::size_t y = 0; y < H; ++y) {
    for (std::size_t x = 0; x < W; ++x) m.SetPoint(static_cast<int>(x), static_cast<int>(y), rows[y][x]);
  }
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
