#pragma once
#include "qssse/raster/PixelLayout.h"
#include "qssse/raster/SSEMatrix.h"

// Inline definitions of the stamping members of CSSEMatrix (included by SSEMatrix.h). They are called
// once per rasterised sample, so they stay inline, loop-free after unrolling and free of bounds tests
// beyond the centre clamp.

namespace qssse::detail {

// Lower bound first, upper bound second: for a matrix narrower than the footprint the upper bound wins.
inline int ClampCentre(int v, int lo, int hi) {
  v = v < lo ? lo : v;
  return v > hi ? hi : v;
}

}  // namespace qssse::detail

template <class Op>
inline void CSSEMatrix::StampSafe(int x, int y, float v) {
  if (!HasPixels()) return;
  x = qssse::detail::ClampCentre(x, 0, sizeX - 1);
  y = qssse::detail::ClampCentre(y, 0, sizeY - 1);
  float* p = pixel(x, y);
  *p = Op::Keep(*p, v);
}

template <class Op>
inline void CSSEMatrix::StampRect(int x, int y, int left, int right, int up, int down, float v) {
  using qssse::detail::ClampCentre;
  const int cx = ClampCentre(x, left, sizeX - 1 - right);
  const int cy = ClampCentre(y, up, sizeY - 1 - down);
  if (rows != nullptr && sizeX >= left + right + 1 && sizeY >= up + down + 1) {
    for (int j = cy - up; j <= cy + down; ++j) {
      for (int i = cx - left; i <= cx + right; ++i) {
        float* p = qssse::raster::PixelAddress(rows, i, j);
        *p = Op::Keep(*p, v);
      }
    }
    return;
  }
  // The footprint does not fit: every pixel is clamped on its own, so the writes pile up on the border.
  for (int j = cy - up; j <= cy + down; ++j) {
    for (int i = cx - left; i <= cx + right; ++i) StampSafe<Op>(i, j, v);
  }
}

template <class Op>
inline void CSSEMatrix::StampCross(int x, int y, float v) {
  using qssse::detail::ClampCentre;
  const int cx = ClampCentre(x, 1, sizeX - 2);
  const int cy = ClampCentre(y, 1, sizeY - 2);
  if (rows != nullptr && sizeX >= 3 && sizeY >= 3) {
    const int offsets[5][2] = {{-1, 0}, {0, 0}, {1, 0}, {0, -1}, {0, 1}};
    for (const auto& o : offsets) {
      float* p = pixel(cx + o[0], cy + o[1]);
      *p = Op::Keep(*p, v);
    }
    return;
  }
  StampSafe<Op>(cx - 1, cy, v);
  StampSafe<Op>(cx, cy, v);
  StampSafe<Op>(cx + 1, cy, v);
  StampSafe<Op>(cx, cy - 1, v);
  StampSafe<Op>(cx, cy + 1, v);
}

inline void CSSEMatrix::SetPointMin(int x, int y, float v) { StampSafe<qssse::raster::KeepMin>(x, y, v); }
inline void CSSEMatrix::SetPointMax(int x, int y, float v) { StampSafe<qssse::raster::KeepMax>(x, y, v); }
inline void CSSEMatrix::SetPointAndRightOfPoint(int x, int y, float v) {
  StampRect<qssse::raster::KeepOverwrite>(x, y, 0, 1, 0, 0, v);
}
inline void CSSEMatrix::SetPointAndLeftOfPoint(int x, int y, float v) {
  StampRect<qssse::raster::KeepOverwrite>(x, y, 1, 0, 0, 0, v);
}
inline void CSSEMatrix::SetTriplePointMin(int x, int y, float v) {
  StampRect<qssse::raster::KeepMin>(x, y, 1, 1, 0, 0, v);
}
inline void CSSEMatrix::SetTriplePointMax(int x, int y, float v) {
  StampRect<qssse::raster::KeepMax>(x, y, 1, 1, 0, 0, v);
}
inline void CSSEMatrix::SetCross(int x, int y, float v) {
  StampCross<qssse::raster::KeepOverwrite>(x, y, v);
}
inline void CSSEMatrix::SetCrossMin(int x, int y, float v) { StampCross<qssse::raster::KeepMin>(x, y, v); }
inline void CSSEMatrix::SetCrossMax(int x, int y, float v) { StampCross<qssse::raster::KeepMax>(x, y, v); }
inline void CSSEMatrix::Set3x3BoxPoint(int x, int y, float v) {
  StampRect<qssse::raster::KeepOverwrite>(x, y, 1, 1, 1, 1, v);
}
inline void CSSEMatrix::Set3x3BoxPointMin(int x, int y, float v) {
  StampRect<qssse::raster::KeepMin>(x, y, 1, 1, 1, 1, v);
}
inline void CSSEMatrix::Set3x3BoxPointMax(int x, int y, float v) {
  StampRect<qssse::raster::KeepMax>(x, y, 1, 1, 1, 1, v);
}
inline void CSSEMatrix::Set5x5BoxPointMin(int x, int y, float v) {
  StampRect<qssse::raster::KeepMin>(x, y, 2, 2, 2, 2, v);
}
inline void CSSEMatrix::Set5x5BoxPointMax(int x, int y, float v) {
  StampRect<qssse::raster::KeepMax>(x, y, 2, 2, 2, 2, v);
}
inline void CSSEMatrix::Set11x11BoxPointMax(int x, int y, float v) {
  StampRect<qssse::raster::KeepMax>(x, y, 5, 5, 5, 5, v);
}

inline float CSSEMatrix::GetPointMax3x3(int x, int y) const {
  using qssse::detail::ClampCentre;
  const int cx = ClampCentre(x, 1, sizeX - 2);
  const int cy = ClampCentre(y, 1, sizeY - 2);
  const float centre = GetPoint(cx, cy), left = GetPoint(cx - 1, cy), right = GetPoint(cx + 1, cy);
  const float upper = GetPoint(cx, cy - 1), lower = GetPoint(cx, cy + 1);
  float m = centre > left ? centre : left;
  m = right > m ? right : m;
  m = upper > m ? upper : m;
  return m > lower ? m : lower;
}
