// Value queries over the real pixels of CSSEMatrix, the row fill and the byte-mask stencil.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>

#include "qssse/raster/SSEMatrix.h"
#include "qssse/raster/SSEcharMatrix.h"
#include "qssse/vector/SimdOps.h"

using namespace qssse::simd;

namespace {

// Lanes of SIMD row g that hold real pixels of a matrix sizeY high (the rest is padding).
inline f4 RealLanes(int g, int sizeY) {
  const int y = 4 * g;
  return firstLanes(sizeY - y);
}

inline int PopCount4(int bits) {
  return (bits & 1) + ((bits >> 1) & 1) + ((bits >> 2) & 1) + ((bits >> 3) & 1);
}

}  // namespace

void CSSEMatrix::CalcMinMaxValuesExcludeZero(float* maxOut, float* minOut) const {
  float mn = FLT_MAX, mx = -FLT_MAX;
  bool found = false;
  if (HasPixels()) {
    for (int y = 0; y < sizeY; ++y) {
      for (int x = 0; x < sizeX; ++x) {
        const float v = *pixel(x, y);
        if (v == 0.0f || v != v) continue;
        found = true;
        mn = std::min(mn, v);
        mx = std::max(mx, v);
      }
    }
  }
  if (!found) {
    // The inverted range of an empty matrix: never looks like a valid range.
    *maxOut = FLT_MAX;
    *minOut = -FLT_MAX;
    return;
  }
  *maxOut = mx;
  *minOut = mn;
}

namespace {

// Folds f(value) over the real pixels of [x0, x1] x [y0, y1] clipped to the matrix, NaN skipped.
template <class F>
void ForEachInPatch(const CSSEMatrix& m, int x0, int x1, int y0, int y1, F f) {
  if (!m.HasPixels()) return;
  x0 = std::max(x0, 0);
  x1 = std::min(x1, m.GetSizeX() - 1);
  y0 = std::max(y0, 0);
  y1 = std::min(y1, m.GetSizeY() - 1);
  for (int y = y0; y <= y1; ++y) {
    const float* row = reinterpret_cast<const float*>(m.GetMatrixDataDirectly()[y >> 2]) + (y & 3);
    for (int x = x0; x <= x1; ++x) {
      const float v = row[4 * x];
      if (v == v) f(v);
    }
  }
}

}  // namespace

float CSSEMatrix::CalcMaxValueOfPatch(int x0, int x1, int y0, int y1) const {
  float mx = -FLT_MAX;
  ForEachInPatch(*this, x0, x1, y0, y1, [&](float v) { mx = std::max(mx, v); });
  return mx;
}

float CSSEMatrix::CalcMinValueOfPatch(int x0, int x1, int y0, int y1) const {
  float mn = FLT_MAX;
  ForEachInPatch(*this, x0, x1, y0, y1, [&](float v) { mn = std::min(mn, v); });
  return mn;
}

float CSSEMatrix::CalcMinValueOfPatchExcludeZero(int x0, int x1, int y0, int y1) const {
  float mn = FLT_MAX;
  ForEachInPatch(*this, x0, x1, y0, y1, [&](float v) {
    if (v != 0.0f) mn = std::min(mn, v);
  });
  return mn;
}

namespace {

// Real pixels p of m for which passes(p, threshold) holds lane-wise.
template <class Passes>
int CountPassing(const CSSEMatrix& m, float threshold, Passes passes) {
  if (!m.HasPixels()) return 0;
  const f4 t = splat(threshold);
  int count = 0;
  for (int g = 0; g < m.GetSSESizeY(); ++g) {
    const f4 real = RealLanes(g, m.GetSizeY());
    const __m128* row = m.GetMatrixDataDirectly()[g];
    for (int x = 0; x < m.GetSSESizeX(); ++x) count += PopCount4(movemask(and_(passes(row[x], t), real)));
  }
  return count;
}

}  // namespace

int CSSEMatrix::NumValuesAbove(float threshold) const {
  return CountPassing(*this, threshold, [](f4 p, f4 t) { return gt(p, t); });
}

int CSSEMatrix::NumValuesBelow(float threshold) const {
  return CountPassing(*this, threshold, [](f4 p, f4 t) { return lt(p, t); });
}

int CSSEMatrix::NumValuesAbove(const CSSEMatrix& ref) const {
  if (!HasPixels() || !ref.HasPixels()) return 0;
  int count = 0;
  for (int y = 0; y < sizeY; ++y)
    for (int x = 0; x < sizeX; ++x) count += *pixel(x, y) > ref.GetPoint(x, y) ? 1 : 0;
  return count;
}

int CSSEMatrix::NumValuesBelow(const CSSEMatrix& ref) const {
  if (!HasPixels() || !ref.HasPixels()) return 0;
  int count = 0;
  for (int y = 0; y < sizeY; ++y)
    for (int x = 0; x < sizeX; ++x) count += *pixel(x, y) < ref.GetPoint(x, y) ? 1 : 0;
  return count;
}

double CSSEMatrix::IntegrateMatrix() const {
  if (!HasPixels()) return 0.0;
  double sum = 0.0;
  for (int x = 0; x < sizeX; ++x) {
    for (int y = 0; y < sizeY; ++y) {
      const float v = *pixel(x, y);
      if (v == v) sum += static_cast<double>(v);
    }
  }
  return sum;
}

float CSSEMatrix::GetPixelPreciseFloat(float x, float y) const {
  if (!HasPixels()) return 0.0f;
  // Written so that NaN lands on 0.
  x = x > 0.0f ? std::min(x, static_cast<float>(sizeX - 1)) : 0.0f;
  y = y > 0.0f ? std::min(y, static_cast<float>(sizeY - 1)) : 0.0f;
  const int ix = static_cast<int>(x), iy = static_cast<int>(y);
  const float wx = x - static_cast<float>(ix), wy = y - static_cast<float>(iy);
  return GetPoint(ix + 1, iy) * wx * (1 - wy) + (1 - wx) * GetPoint(ix, iy) * (1 - wy) +
         (1 - wx) * GetPoint(ix, iy + 1) * wy + GetPoint(ix + 1, iy + 1) * wx * wy;
}

void CSSEMatrix::FillMatrixWithProcessedRow() {
  if (!HasPixels()) return;
  const int source = std::clamp(rowProcessed, 0, sizeY - 1);
  for (int y = 0; y < sizeY; ++y) {
    if (y == source) continue;
    for (int x = 0; x < sizeX; ++x) *pixel(x, y) = *pixel(x, source);
  }
}

void CSSEMatrix::Stencil(const CSSEcharMatrix& mask) {
  if (!HasPixels()) return;
  const int maskX = mask.HasPixels() ? std::min(sizeX, mask.GetSizeX()) : 0;
  const int maskY = mask.HasPixels() ? mask.GetSizeY() : 0;
  const f4 nothing = zero();
  for (int g = 0; g < sseSizeY; ++g) {
    const f4 real = RealLanes(g, sizeY);
    // The four mask bytes of pixel rows 4g .. 4g+3 are adjacent in one byte element (16 rows each).
    const f4 covered = and_(real, RealLanes(g, maskY));
    const int byteRow = (4 * g) >> 4, byteOffset = (4 * g) & 15;
    for (int x = 0; x < sseSizeX; ++x) {
      f4 keep = zero();
      if (x < maskX && 4 * g < maskY) {
        int bytes = 0;
        std::memcpy(&bytes,
                    reinterpret_cast<const char*>(&mask.GetMatrixDataDirectly()[byteRow][x]) + byteOffset, 4);
        // Byte l non-zero -> lane l all ones.
        const __m128i b = _mm_cvtsi32_si128(bytes);
        const __m128i isZero = _mm_cmpeq_epi8(b, _mm_setzero_si128());
        const __m128i wide =
            _mm_unpacklo_epi16(_mm_unpacklo_epi8(isZero, isZero), _mm_unpacklo_epi8(isZero, isZero));
        keep = and_(andnot(_mm_castsi128_ps(wide), _mm_castsi128_ps(_mm_set1_epi32(-1))), covered);
      }
      // Padding lanes are left alone; real lanes are kept or cleared.
      rows[g][x] = select(real, select(keep, rows[g][x], nothing), rows[g][x]);
    }
  }
}
