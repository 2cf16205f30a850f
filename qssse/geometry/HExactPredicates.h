#pragma once
#include "qssse/platform/Export.h"
#include "qssse/platform/Vector3f.h"

// Orientation predicates whose sign is exact for every finite float input. Each is first evaluated in
// double with a bound on its rounding error; only when the value lies within that bound (nearly or
// exactly degenerate input) is the sign decided again in exact expansion arithmetic (sums of
// non-overlapping doubles). Float coordinates keep every intermediate value of the exact path within the
// double range, so no overflow or underflow can spoil it. Non-finite input gives an unspecified sign.
class QSSSE_API CHExactPredicates {
 public:
  CHExactPredicates() = delete;

  // Sign (-1, 0, 1) of (bx - ax)(cy - ay) - (by - ay)(cx - ax): positive when a, b, c run
  // counter-clockwise, 0 when they are collinear.
  static int Orient2D(float ax, float ay, float bx, float by, float cx, float cy);
  // Sign of det[a - d; b - d; c - d]: positive when d lies below the plane through a, b, c, "below"
  // being the side from which a, b, c appear clockwise (so with a, b, c counter-clockwise seen from +z,
  // a d under the plane is positive); 0 when the four points are coplanar.
  static int Orient3D(const CbVector3f& a, const CbVector3f& b, const CbVector3f& c, const CbVector3f& d);
};
