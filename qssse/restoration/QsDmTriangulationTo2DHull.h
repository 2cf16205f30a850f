#pragma once
#include "qssse/platform/Export.h"
#include "qssse/polygon/SSE3dPolygon.h"

class DmTriangulationStatic;

// The footprint of a base-library mesh seen along the y axis, as a closed polygon: the convex hull
// (CHConvexHull2D) of all vertices projected onto the x-z plane. The object built by the constructor is
// the result.
//
// The points carry the mesh's y range, not their own z, on purpose: point i is (x, y) of the mesh vertex
// the hull point came from, with z = the mesh box's minimum y for i < m / 2 and its maximum y for the
// second half (m points, integer division). The order is the hull's: counter-clockwise in (x, z) from the
// vertex of smallest z (the leftmost of several). Hull rules: points within the 0.0005 area tolerance
// of a hull edge are dropped, of equal (x, z) the vertex with the higher index is kept.
//
// When the hull gives no points, or only one position (every vertex at the same x and z, which the scan
// returns as that point and a copy), the result is the box rectangle in the x-z plane, its y 0:
// (min x, min z), (max x, min z), (max x, max z), (min x, max z), again with z replaced as above. An empty
// mesh gives the rectangle of the all-zero box. A failed allocation throws CMemoryException, and nothing
// of the partly built polygon is left behind.
class QSSSE_API QsDmTriangulationTo2DHull : public CSSE3dPolygon {
 public:
  explicit QsDmTriangulationTo2DHull(DmTriangulationStatic& mesh);
  QsDmTriangulationTo2DHull(const QsDmTriangulationTo2DHull& other);
  QsDmTriangulationTo2DHull& operator=(const QsDmTriangulationTo2DHull& other);
  ~QsDmTriangulationTo2DHull() override;
};
