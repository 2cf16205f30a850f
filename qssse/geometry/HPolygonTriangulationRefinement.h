#pragma once
#include "qssse/platform/Export.h"
#include "qssse/polygon/H2dPoint.h"
#include "qssse/vector/SSEPoint.h"

class CHPolygonTriangulator;
class CSSE3dPolygon;

// One triangle of the refinement's list.
struct t_hdynamictriangle {
  float x0 = 0, y0 = 0, x1 = 0, y1 = 0, x2 = 0, y2 = 0;  // planar corners, in the triangulator's scaled units
  // Corner heights; below -999998 means not known yet (made by a split: -999999). Taken-over triangles
  // keep 0 here: their heights are never read (they come from the source polygon).
  float z0 = 0, z1 = 0, z2 = 0;
  t_hdynamictriangle* next = nullptr;  // towards older triangles (the list head is the newest)
  t_hdynamictriangle* prev = nullptr;
  t_hdynamictriangle* neighbour[3] = {nullptr, nullptr,
                                      nullptr};  // across 0-1, 1-2, 2-0; null on the outline
  int index = 0;  // the triangulator's triangle number for a taken-over triangle, -1 for one made by a split
};

// The side of a triangle that faces a given neighbour.
enum ESharedSide { eNoSharedSide = -1, eSide01 = 0, eSide12 = 1, eSide20 = 2 };

// Refinement of an ear-clipping triangulation (CHPolygonTriangulator) by bisecting long sides, always
// together with the triangle across the split side so that the mesh stays conforming, for a fixed number
// of passes. Corners made by splits get their heights from the source outline when read in 3-D.
//
// The triangles form a doubly linked list whose head is the newest; a pass walks from the head towards
// older triangles, so it never visits the triangles it made and each pass refines one level deeper.
// Several rules are kept exactly as they are, because meshes built from outlines depend on them:
//  - a side is split only if it is the triangle's strictly longest (side 2 also takes every tie) and
//    longer than 2·L, and the neighbour across it accepts (CheckNeighbourTriangle): the shared side must
//    be the neighbour's longest within 10%, and longer (squared) than 4 × scale z, a limit that comes from
//    the triangulator's scale z and not from L;
//  - the halves of the two split triangles are linked across the split side A-C and B-D, although C lies
//    against B and D against A (the two run along the side in opposite directions); later neighbour
//    decisions on those sides follow these links as they are;
//  - a 3-D read of a split triangle stores the interpolated heights of corners 0 and 1 both in corner 0's
//    slot (only corner 2's goes to its own), so corner 1 is interpolated again at every read unless a
//    neighbour's read filled it, and a later read of corner 0 returns corner 1's height.
//
// The object keeps raw pointers to the triangulator and its 3-D source polygon: keep both alive while it
// is read. Copying is forbidden (the destructor frees the list). Memory: CMemoryException.
class QSSSE_API CHPolygonTriangulationRefinement {
 public:
  // Takes over the triangulator's triangles (in order, each pushed at the head: the last is first) with
  // their planar corners, links neighbours whose corners match within 0.0005, then runs Refinement
  // `passes` times (none below 1). The squared split length is (2·length)². A null triangulator gives an
  // empty list.
  CHPolygonTriangulationRefinement(CHPolygonTriangulator* triangulator, float length, int passes);
  CHPolygonTriangulationRefinement(const CHPolygonTriangulationRefinement&) = delete;
  CHPolygonTriangulationRefinement& operator=(const CHPolygonTriangulationRefinement&) = delete;
  // Frees every record of the list.
  ~CHPolygonTriangulationRefinement();

  int GetNumTriangles() const { return m_count; }
  int GetNum2dPoints() const { return 3 * m_count; }
  // The record i steps from the head: the head for a negative i, null beyond the end.
  t_hdynamictriangle* GetTriangle(int i) const;
  // The 3-D corners of list element i: a taken-over triangle's are the source polygon's own points (the
  // triangulator's GetTriangle3D); a split triangle's are its planar corners with the stored height, or,
  // where none is known, InterpolateZ(x, y, 8, 4 × scale z) on the source polygon, which is then cached in
  // this triangle (see the class comment for the slots) and in every neighbour's corner at exactly that
  // x and y. w is 0. Sets the read cursor to element i. Nothing happens (cursor included) without a 3-D
  // source or for an i beyond the end; a negative i reads the head.
  void GetTriangle3D(int i, SSEPoint& a, SSEPoint& b, SSEPoint& c);
  // The same for the head, and for the element after the cursor (nothing once the end is reached or
  // before a first read; callers count with GetNumTriangles).
  void GetFirstTriangle3D(SSEPoint& a, SSEPoint& b, SSEPoint& c);
  void GetNextTriangle3D(SSEPoint& a, SSEPoint& b, SSEPoint& c);
  // Fills line with the border of the refined triangulation: the sides without a neighbour, chained into
  // closed loops by exactly equal corners in the triangles' own direction (counter-clockwise for a
  // counter-clockwise outline); the loop with the most points is written, starting at the first border
  // side found from the list head. x and y are the planar corners (scaled units); z is the source polygon
  // point's own for corners of taken-over triangles, else InterpolateZ(x, y, 8, 4 × scale z), read without
  // caching anything; 0 without a 3-D source. No border (or a null line argument) gives an empty line
  // (resp. nothing).
  void GetBorderLinePolygon(CSSE3dPolygon* line) const;

 protected:
  // ---- list operations ----
  // A zeroed record pushed at the head.
  t_hdynamictriangle* AppendTriangle();
  // Pushes t at the head; null is ignored.
  void AppendOwnTriangle(t_hdynamictriangle* t);
  // A record with index -1 and unknown heights, not linked.
  t_hdynamictriangle* CreateTriangle();
  void FreeTriangle(t_hdynamictriangle* t);
  // In t's three neighbour links, replaces from by to (t may be null).
  static void ExchangeNeighbour(t_hdynamictriangle* t, t_hdynamictriangle* from, t_hdynamictriangle* to);
  // Pushes a, then b, at the head; unlinks and frees old; returns old's former next. Count +1.
  t_hdynamictriangle* AppendNewTrianglesAndRemoveOld(t_hdynamictriangle* old, t_hdynamictriangle* a,
                                                     t_hdynamictriangle* b);
  // The first of t's sides 0, 1, 2 linked to u, or eNoSharedSide.
  static ESharedSide GetSharedSide(const t_hdynamictriangle* t, const t_hdynamictriangle* u);
  // |p.x - q.x| < 0.0005 and |p.y - q.y| < 0.0005.
  static bool Equal(const t_h2dpoint& p, const t_h2dpoint& q);

  // ---- refinement ----
  // Whether t may be split on the side it shares with N (see the class comment); true when N is null
  // (the side lies on the outline), false when t is null or N is not linked back to t.
  bool CheckNeighbourTriangle(const t_hdynamictriangle* N, const t_hdynamictriangle* t) const;
  // Links every triangle's sides to the last triangle in list order that shares that side: for t and
  // each other u, with c0, c1, c2 telling whether some corner of u matches t's corner 0, 1, 2 (Equal):
  // side 0 when c0 and c1, else side 1 when c1 and c2 but not c0, else side 2 when c2 and c0; a later u
  // overwrites an earlier one. Found through a hash of corner positions: the links are those of the
  // pairwise pass over the list.
  void CalcNeighbours();
  // One pass; always true.
  bool Refinement();
  // Left empty: the triangulation is not changed.
  void CollapseSlivers();

 private:
  void FreeList();
  void Split(t_hdynamictriangle* t, int side, t_hdynamictriangle*& a, t_hdynamictriangle*& b);
  void Read3D(t_hdynamictriangle* t, SSEPoint& a, SSEPoint& b, SSEPoint& c);
  float InterpolatedZ(float x, float y) const;

  CHPolygonTriangulator* m_triangulator;  // not owned
  int m_count = 0;
  float m_splitLengthSq = 0.0f;
  t_hdynamictriangle* m_head = nullptr;  // owned, with the whole list
  t_hdynamictriangle* m_cursor = nullptr;
  float m_scaleZ = 1.0f;
  float m_neighbourLimit = 4.0f;       // 4 × scale z
  CSSE3dPolygon* m_polygon = nullptr;  // the triangulator's 3-D source, not owned
};
