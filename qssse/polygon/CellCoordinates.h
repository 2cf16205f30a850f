#pragma once

// Polygon coordinates to raster cells, for the rasterising members of CSSE3dPolygon.
namespace qssse::polygon {

// Truncation toward zero that saturates at +-2^30 instead of overflowing; NaN gives 0. Saturated
// coordinates are clamped into the matrix by every write anyway.
inline int TruncSat(float t) {
  if (!(t == t)) return 0;
  if (t >= 1073741824.0f) return 1073741824;
  if (t <= -1073741824.0f) return -1073741824;
  return static_cast<int>(t);
}

// The cell of a coordinate: t + 0.5 truncated toward zero (rounds half up for t >= -0.5), saturating.
inline int Rnd(float t) { return TruncSat(t + 0.5f); }

}  // namespace qssse::polygon
