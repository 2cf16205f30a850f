// CSSE3dPolygon's convex hull in the x-y plane.
#include "qssse/geometry/HConvexHull2D.h"
#include "qssse/polygon/SSE3dPolygon.h"

void CSSE3dPolygon::ReplaceByConvexHullXY() {
  if (m_count == 0) return;
  // The hull copies the points in its constructor, so it may write its result over them.
  CHConvexHull2D hull(this);
  hull.ObtainConvexHull3D(this);
}
