// Whole-image operations of CSSEMatrix: box and mask filters, frame embedding and extraction, top,
// bottom and step removal.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/raster/AlignedBuffer.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/vector/SimdOps.h"

using namespace qssse::simd;

namespace {

// Lanes of SIMD row g that hold real pixels of a matrix sizeY high.
inline f4 RealLanes(int g, int sizeY) {
  const int y = 4 * g;
  return firstLanes(sizeY - y);
}

inline int PopCount4(int bits) { return (bits & 1) + (bits >> 1 & 1) + (bits >> 2 & 1) + (bits >> 3 & 1); }

// (a3, v0, v1, v2): every lane gets the pixel one row up, lane 0 the last lane of `above`.
inline f4 FromAbove(f4 v, f4 above) { return shiftLanesUp(v, above); }

// (v1, v2, v3, b0): every lane gets the pixel one row down, lane 3 the first lane of `below`.
inline f4 FromBelow(f4 v, f4 below) { return shiftLanesDown(v, below); }

inline f4 Abs(f4 v) { return abs(v); }

}  // namespace

// ---- box and mask filters ---------------------------------------------------------------------------
//
// Both sum a window row by row: the terms of one window row left to right into a row sum, then the row
// sums top to bottom. The box filter computes each pixel row's window sums once and adds 2 radiusY + 1
// of them per pixel, so it costs O(radiusX + radiusY) per pixel instead of the window's size, with the
// same additions in the same order.

void CSSEMatrix::BoxFilter(int radiusX, int radiusY) {
  if (!HasPixels()) return;
  const int rx = std::clamp(radiusX, 0, sizeX - 1), ry = std::clamp(radiusY, 0, sizeY - 1);
  const auto w = static_cast<std::size_t>(sizeX);
  // Window sums of the rows y - ry .. y + ry, which the output row y reads; row j in slot j % ring.
  const int ring = std::min(2 * ry + 1, sizeY);
  std::vector<double> sums(static_cast<std::size_t>(ring) * w);
  std::vector<std::int32_t> counts(sums.size());
  std::vector<float> row(w);
  auto sumRow = [&](int j) {
    for (int x = 0; x < sizeX; ++x) row[x] = *pixel(x, j);
    double* s = &sums[static_cast<std::size_t>(j % ring) * w];
    std::int32_t* n = &counts[static_cast<std::size_t>(j % ring) * w];
    for (int x = 0; x < sizeX; ++x) {
      double sum = 0.0;
      std::int32_t count = 0;
      for (int i = std::max(x - rx, 0); i <= std::min(x + rx, sizeX - 1); ++i) {
        if (row[i] != row[i]) continue;
        sum += row[i];
        ++count;
      }
      s[x] = sum;
      n[x] = count;
    }
  };
  int summed = 0;
  for (int y = 0; y < sizeY; ++y) {
    // Rows up to y + ry are summed before row y is overwritten; the rows above it were summed earlier.
    for (; summed <= std::min(y + ry, sizeY - 1); ++summed) sumRow(summed);
    const int j0 = std::max(y - ry, 0), j1 = std::min(y + ry, sizeY - 1);
    for (int x = 0; x < sizeX; ++x) {
      float* p = pixel(x, y);
      if (*p != *p) continue;
      double sum = 0.0;
      std::int64_t count = 0;
      for (int j = j0; j <= j1; ++j) {
        const std::size_t i = static_cast<std::size_t>(j % ring) * w + static_cast<std::size_t>(x);
        sum += sums[i];
        count += counts[i];
      }
      *p = static_cast<float>(sum / static_cast<double>(count));
    }
  }
}

void CSSEMatrix::MaskFilter(const CSSEMatrix& mask, bool normalise) {
  if (!HasPixels() || !mask.HasPixels()) return;
  // 1. the usable weights, row by row: (column offset, weight)
  struct Weight {
    int dx;
    double w;
  };
  const int cx = mask.sizeX >> 1, cy = mask.sizeY >> 1;
  std::vector<std::vector<Weight>> weights(mask.sizeY);
  for (int j = 0; j < mask.sizeY; ++j) {
    for (int i = 0; i < mask.sizeX; ++i) {
      const float w = *mask.pixel(i, j);
      if (w != 0.0f && w == w) weights[j].push_back({i - cx, w});
    }
  }
  // 2. the values before the operation, row-major
  const auto w = static_cast<std::size_t>(sizeX);
  std::vector<float> source(w * static_cast<std::size_t>(sizeY));
  for (int y = 0; y < sizeY; ++y)
    for (int x = 0; x < sizeX; ++x) source[static_cast<std::size_t>(y) * w + x] = *pixel(x, y);
  // 3. the weighted sums
  for (int y = 0; y < sizeY; ++y) {
    for (int x = 0; x < sizeX; ++x) {
      if (source[static_cast<std::size_t>(y) * w + x] != source[static_cast<std::size_t>(y) * w + x])
        continue;
      double sum = 0.0, weightSum = 0.0;
      for (int j = 0; j < mask.sizeY; ++j) {
        const int yy = y + j - cy;
        if (yy < 0 || yy >= sizeY || weights[j].empty()) continue;
        const float* line = &source[static_cast<std::size_t>(yy) * w];
        double rowSum = 0.0, rowWeight = 0.0;
        for (const Weight& k : weights[j]) {
          const int xx = x + k.dx;
          if (xx < 0 || xx >= sizeX || line[xx] != line[xx]) continue;
          rowSum += k.w * line[xx];
          rowWeight += k.w;
        }
        sum += rowSum;
        weightSum += rowWeight;
      }
      if (!normalise) {
        *pixel(x, y) = static_cast<float>(sum);
      } else if (weightSum != 0.0) {
        *pixel(x, y) = static_cast<float>(sum / weightSum);
      }
    }
  }
}

// ---- frames -----------------------------------------------------------------------------------------

void CSSEMatrix::EmbedInFrame(int nx, int ny, float value) {
  if (rows == nullptr) return;
  nx = std::max(nx, 0);
  ny = std::max(ny, 0);
  const std::int64_t newX = std::int64_t{sizeX} + 2 * std::int64_t{nx};
  const std::int64_t newY = std::int64_t{sizeY} + 2 * std::int64_t{ny};
  if (newX > INT_MAX || newY > kMaxSizeY) {
    AfxThrowInvalidArgumentException("CSSEMatrix::EmbedInFrame: a frame of " + std::to_string(nx) + " x " +
                                     std::to_string(ny) + " makes the matrix too large");
  }
  CSSEMatrix framed;
  framed.Create(static_cast<int>(newX), static_cast<int>(newY));
  for (int y = 0; y < framed.sizeY; ++y) {
    const int sy = y - ny;
    for (int x = 0; x < framed.sizeX; ++x) {
      const int sx = x - nx;
      const bool inside = sx >= 0 && sx < sizeX && sy >= 0 && sy < sizeY;
      *framed.pixel(x, y) = inside ? *pixel(sx, sy) : value;
    }
  }
  SwapStorage(framed);
}

void CSSEMatrix::ExtractFromFrame(int nx, int ny) {
  if (rows == nullptr) return;
  nx = std::max(nx, 0);
  ny = std::max(ny, 0);
  const auto newX = static_cast<int>(std::max<std::int64_t>(std::int64_t{sizeX} - 2 * std::int64_t{nx}, 0));
  const auto newY = static_cast<int>(std::max<std::int64_t>(std::int64_t{sizeY} - 2 * std::int64_t{ny}, 0));
  CSSEMatrix inner;
  inner.Create(newX, newY);
  for (int y = 0; y < newY; ++y)
    for (int x = 0; x < newX; ++x) *inner.pixel(x, y) = *pixel(x + nx, y + ny);
  SwapStorage(inner);
}

// ---- value edits ------------------------------------------------------------------------------------

namespace {

// Sets the real lanes that pass `test` to value, element by element; returns how many.
template <class Test>
int ReplaceWhere(__m128** rows, int sizeX, int sizeY, float value, Test test) {
  if (rows == nullptr || sizeX < 1 || sizeY < 1) return 0;
  const f4 v = splat(value);
  int count = 0;
  for (int g = 0; g <= (sizeY - 1) >> 2; ++g) {
    const f4 real = RealLanes(g, sizeY);
    __m128* row = rows[g];
    for (int x = 0; x < sizeX; ++x) {
      const f4 hit = and_(test(row[x]), real);
      row[x] = select(hit, v, row[x]);
      count += PopCount4(movemask(hit));
    }
  }
  return count;
}

}  // namespace

int CSSEMatrix::RemoveTop(float level, float value) {
  const f4 l = splat(level);
  return ReplaceWhere(rows, sizeX, sizeY, value, [l](f4 p) { return gt(p, l); });
}

int CSSEMatrix::RemoveBottom(float level, float value) {
  const f4 l = splat(level);
  return ReplaceWhere(rows, sizeX, sizeY, value, [l](f4 p) { return lt(p, l); });
}

// Four pixel rows at a time: the left and right neighbours are the neighbouring elements, the upper
// and lower ones the same element with its lanes moved by one row and the missing lane taken from the
// SIMD row above or below. The row above and the row itself are rewritten while the row is judged, so
// both are read from a copy of their values before the operation; the row below is still untouched.
int CSSEMatrix::RemoveSteps(float maxStep, float value) {
  if (!HasPixels()) return 0;
  const f4 v = splat(value), step = splat(maxStep);
  // A neighbour counts when it is real, neither value nor NaN, and differs by more than maxStep.
  auto differs = [&](f4 p, f4 q, f4 real) {
    const f4 counts = and_(real, and_(neq(q, v), eq(q, q)));
    return and_(counts, gt(Abs(sub(p, q)), step));
  };
  // The SIMD row above and the current one as they were, four floats per element.
  qssse::AlignedBuffer<float> rowsBefore(8 * static_cast<std::size_t>(sizeX));
  float* above = rowsBefore.get();
  float* current = above + 4 * static_cast<std::size_t>(sizeX);
  const f4 none = zero();
  int count = 0;
  const int lastG = (sizeY - 1) >> 2;
  for (int g = 0; g <= lastG; ++g) {
    __m128* row = rows[g];
    for (int x = 0; x < sizeX; ++x) store(current + 4 * x, row[x]);
    const __m128* below = g < lastG ? rows[g + 1] : nullptr;
    const int y = 4 * g;
    const f4 real = RealLanes(g, sizeY);
    // The rows y - 1 .. y + 2 and y + 1 .. y + 4 must be real for the upper and lower neighbours.
    const f4 upReal = laneMask(y >= 1, y + 1 < sizeY, y + 2 < sizeY, y + 3 < sizeY);
    const f4 downReal = RealLanes(g, sizeY - 1);
    for (int x = 0; x < sizeX; ++x) {
      const f4 p = load(current + 4 * x);
      f4 hit = zero();
      if (x > 0) hit = or_(hit, differs(p, load(current + 4 * (x - 1)), real));
      if (x + 1 < sizeX) hit = or_(hit, differs(p, load(current + 4 * (x + 1)), real));
      hit = or_(hit, differs(p, FromAbove(p, g > 0 ? load(above + 4 * x) : none), upReal));
      hit = or_(hit, differs(p, FromBelow(p, below ? below[x] : none), downReal));
      hit = and_(and_(hit, real), neq(p, v));
      row[x] = select(hit, v, p);
      count += PopCount4(movemask(hit));
    }
    std::swap(above, current);
  }
  return count;
}
