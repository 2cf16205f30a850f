#pragma once
#include "qssse/platform/DmSpline.h"
#include "qssse/platform/Export.h"
#include "qssse/platform/Vector3f.h"

// A cubic Hermite spline through its control points with Catmull-Rom tangents: (p[i+1] - p[i-1]) / 2,
// one-sided differences at the ends of an open spline, neighbours taken around the ring when closed.
class QSSSE_API DmHermiteSpline : public DmSpline {
 public:
  DmHermiteSpline() = default;
  ~DmHermiteSpline() override;

  // The curve point on segment `segment` (control point segment to the next) at t in [0, 1].
  // Out-of-range segments give (0, 0, 0).
  CbVector3f Evaluate(int segment, float t) const;

  // Rebuilds the subdivision: every segment (the closing one too when closed) is cut into
  // max(1, ceil(L / length)) equal parameter steps, L being the length of its 16-piece approximation;
  // the segment's start points are emitted, plus the last control point of an open spline. A length
  // that is not positive gives one step per segment. Fewer than 2 control points: the control points.
  void SubdivideByLength(float length);

 private:
  CbVector3f Tangent(int i) const;
};
