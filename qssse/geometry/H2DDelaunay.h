#pragma once
#include <cstdint>

#include "qssse/geometry/HConvexHull3D.h"
#include "qssse/platform/Export.h"
#include "qssse/polygon/SSE2dPolygon.h"

class CSSE3dPolygon;
class CHTriangulation;

// Planar Delaunay triangulation as the lower faces of the 3-D hull of the points lifted to the
// paraboloid (X, Y, X² + Y²), exact on the hull's 64-bit integers. Points are scaled by 10 and rounded
// on append, so points closer than 0.1 may merge; the hull's range rule applies to the scaled points
// (a spread of 2^14 scaled units, i.e. 1638.4 input units, always fits).
//
// The faces read back through the hull's face list are the triangles, clockwise in x-y (they are lower
// faces, counter-clockwise seen from below). CHTriangulation's Delaunay builder turns them into a mesh.
//
// On top of this, a wall strip between two closed outlines (each unrolled to arc length and height,
// triangulated, cut to the band between them and mapped back to 3-D), and a loft between the border
// corners of two meshes.
//
// Copies share the hull's lists and the two border lines (see CHConvexHull3D).
class QSSSE_API CH2DDelaunay : public CHConvexHull3D {
 public:
  CH2DDelaunay();  // no points, two empty border lines

  // CHConvexHull3D::AppendVertex2D: X, Y = trunc(input·10 + 0.5), Z = X² + Y², duplicates dropped.
  void AppendVertex(float x, float y, int index, bool flag);

  // Builds the lifted hull, keeps its lower faces and counts faces, edges and vertices (the appended
  // count becomes the vertex count). Then sends "Time for 2D-Delaunay ms: %d\n Vertices: %d" (elapsed
  // milliseconds, vertices) to QsCUserInterfaceManager::ShowMessageBox on every call. Throws the hull's
  // CHullException before any message: collinear when fewer than three distinct points remain, coplanar
  // when all lie on one line or on one circle (the lifted points then lie in one plane), range for
  // coordinates beyond the range. A
  // second call after further appends triangulates all vertices anew. (Do not call the inherited
  // CalcConvexHull afterwards: the lower faces alone are no closed hull to insert points into.)
  void CalcDelaunayTriangulation();

  // Deletes every face with an edge sample outside the band between the lower and the upper border
  // line widened by tolerance: per edge the points at one third, one half and two thirds, each looked
  // up by its x in both lines (CSSE2dPolygon::ClosestPointX; an index of -1 keeps the height found
  // before, 0 at first). Deliberately the walk starts after the head face, which is never tested. The
  // face count drops by the faces deleted, so builders walking the list that many times stay on it.
  void RemoveFacesOutOfBorderLines(float tolerance);

  // The wall strip between two closed outlines: each becomes a ring of n + 1 points (its last point,
  // then all its points) unrolled to (arc length in x-y, z), recorded as its border line (×10), and
  // appended (lower: flag true, upper: flag false, vnum = the place in the ring); then
  // CalcDelaunayTriangulation and RemoveFacesOutOfBorderLines(250) (25 input units), and every vertex
  // is mapped back to the 3-D point of its outline (x, y, z ×10, truncated).
  //
  // Ring point i was unrolled from outline point i - 1 (mod n), and that is the point it is mapped back
  // to: mapping it to point i would move every vertex one point along its outline, so the triangles
  // would no longer join the points they were made for (both ends of the ring still close the seam).
  // The bool is not used. Null or empty outlines leave everything as it was; fewer than three points
  // in general position throw CHullException.
  void CreateTriangulationFromTwoBorderPolygons(CSSE3dPolygon* lower, CSSE3dPolygon* upper, bool unused);

  // Appends the corners of mesh's border triangles (mark 13, so CalcNeighbours or FindBorderTriangles
  // must have run) whose S x T is longer than 0.1 × the least extent of the mesh's stored box
  // (CalcBoundingBox), and that lie on one side of the corner average (x <= centre.x when side is true,
  // x > centre.x otherwise), projected to (y, z): AppendVertex2D(y, z, 3·t + j, false). Stores the
  // corner average as the mesh's centre (CalcCenterPoint). Then rebuilds the upper border line with one
  // point per append made (duplicates included), read as (X, Y) from the vertex ring starting at its
  // head. A null or empty mesh does nothing.
  void GetBorderPointsTop(CHTriangulation* mesh, bool side);
  // The same selection appended with the flag true; the lower border line becomes the selected corners'
  // (y·10, z·10) in selection order.
  void GetBorderPointsBottom(CHTriangulation* mesh, bool side);
  // Every vertex becomes corner vnum mod 3 of triangle vnum / 3 of flagged (vertex flag set) or
  // unflagged, as (x, y, z) ×10 truncated. Vertices whose mesh is null or lacks that triangle are left.
  void LoftWith3DTriangulation(CHTriangulation* flagged, CHTriangulation* unflagged);

  // The border lines, x = arc length or position, y = height, both ×10.
  const CSSE2dPolygon& GetLowerBorderLine() const { return lowerBorder; }
  const CSSE2dPolygon& GetUpperBorderLine() const { return upperBorder; }

 protected:
  // (b.x - a.x)·(c.y - a.y) - (b.y - a.y)·(c.x - a.x) of the face's vertices, in 64-bit integers.
  std::int64_t NormZ(tFaceStructure* f);
  // Marks the faces with NormZ < 0 as lower and deletes all others (vertical faces included).
  void LowerFaces();

  CSSE2dPolygon upperBorder;
  CSSE2dPolygon lowerBorder;

 private:
  // The corners GetBorderPointsTop/Bottom select, in order, with their triangle index and corner.
  template <class Take>
  void SelectBorderCorners(CHTriangulation* mesh, bool side, Take take);
};
