#pragma once
#include <memory>

#include "qssse/geometry/HSimpleBasisFcns.h"
#include "qssse/platform/Export.h"
#include "qssse/polygon/H2dPoint.h"
#include "qssse/vector/SSEPoint.h"

class CSSE2dPolygon;
class CSSE3dPolygon;
namespace qssse {
class RingEdgeIndex;
}

// One vertex of the ear-clipping ring. Its planar point (x, y) is the polygon's point times the scale
// factors; it derives from t_h2dpoint so that the predicates of CHSimpleBasisFcns take it as it is.
struct t_hvertex : t_h2dpoint {
  bool ear = false;           // the diagonal prev -> next is valid: this vertex can be clipped
  t_hvertex* next = nullptr;  // following vertex of the ring
  t_hvertex* prev = nullptr;  // preceding vertex of the ring
  int vnum = 0;               // 0 .. n-1, the vertex's place in the vertex array
};

// One clipping step: the cut from the clipped vertex's predecessor to its successor. The last record
// of a complete triangulation stands for the closing side of the last triangle, not for a diagonal.
struct t_hdiagonal {
  bool exists = false;      // set for every record written
  int from = 0;             // vnum of the clipped vertex's predecessor
  bool fromConvex = false;  // the predecessor's corner was convex or flat before the clip
  int to = 0;               // vnum of the clipped vertex's successor
  bool toConvex = false;    // the same for the successor
};

// One triangle of the triangulation: the vnums of the predecessor, the ear and the successor, in that
// order (counter-clockwise for a counter-clockwise outline).
struct t_htriangleconnectivity {
  int vnum[3] = {0, 0, 0};
};

// Ear clipping of one simple closed polygon in the x/y plane. The polygon is read through every step-th
// point (n = count / step ring vertices, vertex i at polygon point i·step, its x and y times the scale
// factors); the interior is taken to be left of the ring, so the polygon must run counter-clockwise.
// All the work happens in the constructor; the object is then a read-only result: the triangles as
// triples of vertex numbers and one diagonal record per clip.
//
// The clipping, as the results depend on it:
//  - EarInit sets every vertex's ear flag to Diagonal(prev, next) in array order, for vertices 0 .. n-2:
//    the last vertex is never evaluated and starts as no ear (this decides the first clip).
//  - Each clip searches from the head (or from the head's successor, with searchAfterHead) along next for
//    the first vertex e whose flag is set, giving up after n steps. With a = e.prev and b = e.next it
//    writes the diagonal record (a, b, both convexity flags taken before the clip), sets a.ear =
//    Diagonal(a.prev, b) and then b.ear = Diagonal(a, b.next) on the ring with e still in it, appends the
//    triangle (a, e, b), unlinks e and makes b the head.
//  - When the search finds no ear and exactly three vertices remain, they close as the last triangle with
//    e = the vertex the search started at, provided Left(a, e, b); its triangle and record are written as
//    for any clip. So a simple counter-clockwise outline gives n - 2 triangles and n - 2 records, the last
//    record standing for the closing side of the last triangle rather than for a diagonal.
//  - With four or more vertices left, a failed search ends the triangulation silently with the triangles
//    made so far: clockwise rings, self-intersecting rings and points collinear within the area tolerance
//    stop early (GetNumTriangles tells how far it got). Nothing is reoriented.
//
// Diagonal(a, b) is InCone(a, b), InCone(b, a) and Diagonalie(a, b), in that order. Diagonalie decides
// exactly as the walk over every edge of the ring (an edge touching a or b skipped, any other edge that
// Intersect(a, b, ...) hits making the diagonal invalid), but looks only at the edges an index of the ring
// says could be hit; the decisions, and so triangles, records and ear flags, are the walk's bit for bit.
//
// The object keeps a raw pointer to its source polygon (GetTriangle3D reads it): keep the polygon alive
// while the results are read. Copying is forbidden (the vertex links point into the object's own
// arrays). A null polygon or one of fewer than three points gives an empty object: no arrays, no
// triangles, every accessor answering as for out-of-range input. Memory: CMemoryException.
class QSSSE_API CHPolygonTriangulator : public CHSimpleBasisFcns {
 public:
  // Triangulates a 2-D polygon. Scale z is 1.0 (a 2-D source has no z). A step below 1 throws
  // CInvalidArgumentException (when the polygon has at least three points).
  CHPolygonTriangulator(CSSE2dPolygon* polygon, int step, float scaleX, float scaleY, bool searchAfterHead);
  // Triangulates the x and y of a 3-D polygon; its bounding box is computed first (CalcBoundingBox), its z
  // is not used here but handed back by GetTriangle3D. Step as above.
  CHPolygonTriangulator(CSSE3dPolygon* polygon, int step, float scaleX, float scaleY, float scaleZ,
                        bool searchAfterHead);
  CHPolygonTriangulator(const CHPolygonTriangulator&) = delete;
  CHPolygonTriangulator& operator=(const CHPolygonTriangulator&) = delete;
  ~CHPolygonTriangulator();

  // ---- results ----
  int GetNumTriangles() const { return m_numTriangles; }
  // The triangle array itself (GetNumTriangles valid entries); null for an empty object.
  t_htriangleconnectivity* GetConnectivityArray() const { return m_triangles.get(); }
  bool Is3DTriangulation() const { return m_polygon3d != nullptr; }
  // The 3-D source polygon (null for a 2-D source or an empty object), not owned.
  CSSE3dPolygon* Get3DPolygon() const { return m_polygon3d; }
  float GetScaleZ() const { return m_scaleZ; }
  // Scaled planar coordinates of vertex i; x and y untouched unless 0 <= i < n.
  void GetPoint(int i, float& x, float& y) const;
  // The exists flag of diagonal record i; false unless 0 <= i < GetNumDiagonals().
  bool DiagonalExists(int i) const;
  // Scaled planar coordinates of the from and to vertices of record i (exists not consulted). Nothing for
  // an out-of-range i; each end is written only when its vertex number is a vertex.
  void GetDiagonalPoints(int i, float& x1, float& y1, float& x2, float& y2) const;
  // For a 3-D source and 0 <= i < GetNumTriangles(): the source polygon's own, unscaled points at the
  // indices vnum·step of triangle i's three vertices. Nothing is written otherwise.
  void GetTriangle3D(int i, SSEPoint& a, SSEPoint& b, SSEPoint& c) const;

  // The ring's size n, the records written, the step, and read access to the vertex and record arrays
  // (null for an empty object): the vertices keep their final ear flags and links.
  int GetNumVertices() const { return m_n; }
  int GetNumDiagonals() const { return m_numDiagonals; }
  int GetStep() const { return m_step; }
  const t_hvertex* GetVertexArray() const { return m_vertices.get(); }
  const t_hdiagonal* GetDiagonalArray() const { return m_diagonals.get(); }

 protected:
  // The constructors' steps, in this order.
  void GetValuesFrom2DPolygon();
  void Create2DPolygonFrom3DPolygon();
  void LinkVertexRing();
  void Triangulate();
  void EarInit();
  bool Diagonal(t_hvertex* a, t_hvertex* b);
  bool Diagonalie(t_hvertex* a, t_hvertex* b);

 private:
  // Allocates the three arrays for n vertices (after the checks common to both constructors).
  void Allocate(int pointCount, int step);
  // Steps 2-7 of a clip at e (record, ear updates, triangle, unlink, head).
  void Clip(t_hvertex* e);
  // The walk over every ring edge (used when the data does not allow the index: non-finite or huge
  // coordinates).
  bool DiagonalieByWalk(const t_hvertex* a, const t_hvertex* b) const;

  // Fields in the order the triangulation state is described in.
  CSSE3dPolygon* m_polygon3d = nullptr;  // not owned
  CSSE2dPolygon* m_polygon2d = nullptr;  // not owned
  int m_n = 0;
  int m_step = 0;
  int m_numDiagonals = 0;
  float m_scaleX = 1.0f, m_scaleY = 1.0f, m_scaleZ = 1.0f;
  std::unique_ptr<t_hvertex[]> m_vertices;
  std::unique_ptr<t_hdiagonal[]> m_diagonals;
  t_hvertex* m_head = nullptr;
  std::unique_ptr<t_htriangleconnectivity[]> m_triangles;
  int m_numTriangles = 0;
  bool m_searchAfterHead = false;
  std::unique_ptr<qssse::RingEdgeIndex> m_index;  // null: Diagonalie walks the ring
  bool m_indexTried = false;
};
