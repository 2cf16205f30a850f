// Bilinear, corner-aligned resampling of CSSEMatrix: the plain loop and its SIMD form.
#include <algorithm>

#include "qssse/raster/AlignedBuffer.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/vector/SimdOps.h"

void CSSEMatrix::ScaleMatrix(int newSizeX, int newSizeY) {
  if (!HasPixels() || newSizeX < 1 || newSizeY < 1) return;
  const float sx = static_cast<float>(sizeX) / static_cast<float>(newSizeX);
  const float sy = static_cast<float>(sizeY) / static_cast<float>(newSizeY);
  CSSEMatrix t;
  t.CreateNoClear(newSizeX, newSizeY);
  t.Fill(*pixel(0, 0));
  for (int j = 0; j < newSizeY; ++j) {
    const float fy = static_cast<float>(j) * sy;
    const int iy = static_cast<int>(fy);
    const float wy = fy - static_cast<float>(iy);
    for (int i = 0; i < newSizeX; ++i) {
      const float fx = static_cast<float>(i) * sx;
      const int ix = static_cast<int>(fx);
      const float wx = fx - static_cast<float>(ix);
      *t.pixel(i, j) = GetPoint(ix + 1, iy) * wx * (1 - wy) + (1 - wx) * GetPoint(ix, iy) * (1 - wy) +
                       (1 - wx) * GetPoint(ix, iy + 1) * wy + GetPoint(ix + 1, iy + 1) * wx * wy;
    }
  }
  CopyFromSSEMatrix(t);
}

// Four target rows (one SIMD row of the result) per element. The per-column weights and clamped source
// columns are computed once; per target band, the four lanes' source rows are gathered once per needed
// source column into two vectors (rows iy and iy+1 of each lane), after which every target element is
// four aligned loads and the plain loop's products and sums in the same order, so the results agree
// bit for bit.
void CSSEMatrix::ScaleMatrix_SSE(int newSizeX, int newSizeY) {
  using namespace qssse::simd;
  if (!HasPixels() || newSizeX < 1 || newSizeY < 1) return;
  const float sx = static_cast<float>(sizeX) / static_cast<float>(newSizeX);
  const float sy = static_cast<float>(sizeY) / static_cast<float>(newSizeY);
  CSSEMatrix t;
  t.CreateNoClear(newSizeX, newSizeY);

  const auto columns = static_cast<std::size_t>(newSizeX);
  qssse::AlignedBuffer<int> left(columns), right(columns);
  qssse::AlignedBuffer<float> wx(columns);
  qssse::AlignedBuffer<int> needed(2 * columns);
  std::size_t neededCount = 0;
  for (int i = 0; i < newSizeX; ++i) {
    const float fx = static_cast<float>(i) * sx;
    const int ix = static_cast<int>(fx);
    wx[i] = fx - static_cast<float>(ix);
    left[i] = std::min(ix, sizeX - 1);
    right[i] = std::min(ix + 1, sizeX - 1);
    for (const int c : {left[i], right[i]}) {
      if (neededCount == 0 || needed[neededCount - 1] < c) needed[neededCount++] = c;
    }
  }
  qssse::AlignedBuffer<float> upper(4 * static_cast<std::size_t>(sizeX)),
      lower(4 * static_cast<std::size_t>(sizeX));

  const f4 fill = splat(*pixel(0, 0)), one = splat(1.0f);
  for (int g = 0; g < t.sseSizeY; ++g) {
    // 1. per lane: source rows and vertical weight; padding lanes keep source (0, 0)
    const float* rowA[4];
    const float* rowB[4];
    alignas(16) float wyLanes[4];
    alignas(16) int realLanes[4];
    for (int l = 0; l < 4; ++l) {
      const int j = 4 * g + l;
      const float fy = static_cast<float>(j) * sy;
      const int iy = static_cast<int>(fy);
      wyLanes[l] = fy - static_cast<float>(iy);
      rowA[l] = pixel(0, std::min(iy, sizeY - 1));
      rowB[l] = pixel(0, std::min(iy + 1, sizeY - 1));
      realLanes[l] = j < newSizeY ? -1 : 0;
    }
    const f4 wy = load(wyLanes), omwy = sub(one, wy);
    const f4 real = _mm_castsi128_ps(_mm_load_si128(reinterpret_cast<const __m128i*>(realLanes)));
    // 2. gather the needed source columns of the four lanes' rows
    for (std::size_t k = 0; k < neededCount; ++k) {
      const std::size_t o = 4 * static_cast<std::size_t>(needed[k]);
      store(&upper[o], lanes(rowA[0][o], rowA[1][o], rowA[2][o], rowA[3][o]));
      store(&lower[o], lanes(rowB[0][o], rowB[1][o], rowB[2][o], rowB[3][o]));
    }
    // 3. interpolate: (a wx)(1-wy) + ((1-wx) b)(1-wy) + ((1-wx) c) wy + (d wx) wy, left to right
    __m128* out = t.rows[g];
    for (int i = 0; i < newSizeX; ++i) {
      const f4 w = splat(wx[i]), omw = sub(one, w);
      const std::size_t r = 4 * static_cast<std::size_t>(right[i]), l = 4 * static_cast<std::size_t>(left[i]);
      const f4 a = load(&upper[r]), b = load(&upper[l]), c = load(&lower[l]), d = load(&lower[r]);
      const f4 v = add(add(add(mul(mul(a, w), omwy), mul(mul(omw, b), omwy)), mul(mul(omw, c), wy)),
                       mul(mul(d, w), wy));
      out[i] = select(real, v, fill);
    }
  }
  CopyFromSSEMatrix(t);
}
