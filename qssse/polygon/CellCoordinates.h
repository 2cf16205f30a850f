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

// First k in [lo, hi) for which pred holds, for a pred that is false and then true; hi when none.
template <class Pred>
int FirstTrue(int lo, int hi, Pred pred) {
  while (lo < hi) {
    const int mid = lo + (hi - lo) / 2;
    if (pred(mid)) {
      hi = mid;
    } else {
      lo = mid + 1;
    }
  }
  return lo;
}

}  // namespace qssse::polygon
