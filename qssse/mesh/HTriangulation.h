#pragma once
#include <immintrin.h>

#include <cstdint>
#include <functional>
#include <vector>

#include "qssse/mesh/HTriangle.h"
#include "qssse/mesh/Stretch.h"
#include "qssse/platform/Array2D.h"
#include "qssse/platform/Export.h"
#include "qssse/platform/Matrix4Rf.h"
#include "qssse/vector/SSEMatrix3.h"
#include "qssse/vector/SSEPoint.h"
#include "qssse/vector/SimdOps.h"

class CSSEMatrix;
class CSSE3dPolygon;
class CHConvexHull3D;
class CH2DDelaunay;
class CArchive;
class CbStreamWriteBinary;
class CbStreamReadBinary;
class DmTriangulationStatic;
class DmTriangulationDynamic;
class QsCTriangulationStatic;

// The library's triangle mesh: a set of independent triangles in parallel 16-byte-aligned SSEPoint
// arrays (three corners and three corner normals per triangle; face normal, edge vectors S = P1 - P0,
// T = P2 - P0, V = P2 - P1, per-triangle minimum and maximum), plus one t_htriangle record per triangle
// that points into them. Corners are never shared between triangles: neighbours are found afterwards by
// exact comparison of corner coordinates.
//
// A mesh is allocated once at an upper bound (CreateTriangulation), filled through a running counter,
// and its count lowered afterwards; nothing grows in place. Derived data (S/T/V, boxes, normals,
// neighbours, centre) is computed only by the explicit calls below.
//
// Steps below 1: the sub-sampling steps of the height-field builders throw CInvalidArgumentException; the
// scan conversions derive their sampling step (cell diagonal / edge length) and skip a triangle whose
// step falls below 2^-24.
//
// Copies: operator= is shallow on purpose (both objects then share the same arrays; detach one with
// BaseInitialization before either is destroyed); CopyFromHTriangulation is the deep copy. The copy
// constructor is deleted so that no shallow copy happens by accident.
class QSSSE_API CHTriangulation {
 public:
  // ---- construction and destruction (HTriangulation.cpp) ----
  // Leaves an empty mesh without any storage (all pointers null): safe to destroy and to pass to
  // BaseInitialization.
  CHTriangulation();
  // BaseInitialization(sx, sy, sz), then CreateTriangulation(n).
  CHTriangulation(int n, float sx, float sy, float sz);
  // Deep copy: BaseInitialization with src's scales, then CopyFromHTriangulation(src). A null src gives
  // an empty mesh with unit scales.
  explicit CHTriangulation(CHTriangulation* src);
  // Height-field builders (HTriangulationBuild.cpp): BaseInitialization(sx, sy, sz), the builder of the
  // same argument list, then CalcBoundingBox and CalcSTV when at least one triangle exists.
  CHTriangulation(CSSEMatrix* m, float threshold, bool above, float sx, float sy, float sz);
  CHTriangulation(CSSEMatrix* m, float threshold, bool above, float sx, float sy, float sz, int stepX,
                  int stepY);
  CHTriangulation(CSSEMatrix* m, float threshold, bool above, float sx, float sy, float sz, int stepX,
                  int stepY, int xFrom, int xTo, int yFrom, int yTo, bool forceFull);
  // Two-field builders: BaseInitialization, the two-field builder, then CalcNeighbours, CalcBoundingBox,
  // CalcSTV and CalcNormalsFromVertices when at least one triangle exists.
  CHTriangulation(CSSEMatrix* m, CSSEMatrix* ref, bool above, float sx, float sy, float sz, int stepX,
                  int stepY);
  CHTriangulation(CSSEMatrix* m, CSSEMatrix* ref, bool above, float sx, float sy, float sz, int stepX,
                  int stepY, int xFrom, int xTo, int yFrom, int yTo);
  CHTriangulation(const CHTriangulation&) = delete;
  // FreeTriangulation, deletes the stretch list, frees the three-point block.
  ~CHTriangulation();
  // Shallow on purpose: copies every member as it stands, pointers included.
  CHTriangulation& operator=(const CHTriangulation& other);

  // ---- storage (HTriangulation.cpp) ----
  // Nulls every array pointer, the record array and the stretch list WITHOUT freeing them (this is how a
  // shallow copy is detached; call FreeTriangulation first on a mesh that owns its storage), sets the
  // scales and scan resolution to (sx, sy, sz), and allocates a new three-point block (min, max, centre).
  // The working list head is not touched.
  void BaseInitialization(float sx, float sy, float sz);
  // The only allocation: frees what is held, then allocates n records and their arrays; every record is
  // numbered, marked -1, unlinked, aimed at its entries; corners, normals, S, T, V are zeroed (the
  // per-triangle min/max are not). n <= 0 leaves an empty mesh without storage. Throws CMemoryException.
  void CreateTriangulation(int n);
  // Frees every array and the record array and the stretch list (whose stretches point into the corners);
  // numTriangles = 0. The three-point block is kept.
  void FreeTriangulation();
  // Deep copy of src's triangles. Deliberately odd, kept as callers know it: the per-triangle maxima are
  // filled from src's MINIMA (run CalcSTV for real maxima), and the neighbour pointers keep pointing into
  // src's records. Copies the three-point block and scan resolution; scales, working list and stretch
  // list are not copied. A null src (or src == this) does nothing.
  void CopyFromHTriangulation(CHTriangulation* src);

  // ---- accessors (none copies) ----
  int GetNumTriangles() const { return numTriangles; }
  t_htriangle* GetTriangles() const { return triangles; }
  // Record i, or null when i < 0 or i >= numTriangles.
  t_htriangle* GetTriangle(int i) const {
    return (i < 0 || i >= numTriangles || triangles == nullptr) ? nullptr : &triangles[i];
  }
  SSEPoint* GetEdgeArray() const { return cornerPoints; }
  SSEPoint* GetNormalArray() const { return cornerNormals; }
  SSEPoint* GetMainNormalArray() const { return mainNormals; }
  SSEPoint* GetSArray() const { return sVectors; }
  SSEPoint* GetTArray() const { return tVectors; }
  SSEPoint* GetVArray() const { return vVectors; }
  // The three-point block: minimum, maximum, centre (null only after the default constructor).
  SSEPoint* GetPointArray() const { return minPoint; }
  // Copy one point of the block out; all-zero when there is no block.
  void GetMinPoint(SSEPoint& p) const { p = minPoint ? *minPoint : qssse::ZeroSSEPoint(); }
  void GetMaxPoint(SSEPoint& p) const { p = maxPoint ? *maxPoint : qssse::ZeroSSEPoint(); }
  void GetCenterPoint(SSEPoint& p) const { p = centerPoint ? *centerPoint : qssse::ZeroSSEPoint(); }
  // Both return the per-triangle MINIMA: the maxima have no accessor (callers depend on this pairing).
  SSEPoint* GetMinPointArray() const { return triMinPoints; }
  SSEPoint* GetMaxPointArray() const { return triMinPoints; }
  float GetScaleX() const { return scaleX; }
  float GetScaleY() const { return scaleY; }
  float GetScaleZ() const { return scaleZ; }
  float GetScanResX() const { return scanResX; }
  float GetScanResY() const { return scanResY; }
  float GetScanResZ() const { return scanResZ; }
  float GetScanDiagonal() const { return scanDiagonal; }
  t_htriangle* GetListHead() const { return listHead; }
  t_stretch* GetStretchList() const { return stretchList; }

  // ---- derived data (HTriangulation.cpp) ----
  // Per triangle, all four lanes: S = P1 - P0, T = P2 - P0, V = P2 - P1, min/max of the corners.
  void CalcSTV();
  // Mesh box from the sentinels min (1e6, 1e6, 1e6, 1e6) / max (-1e6, ...) folded with every corner
  // (w lane included); an empty mesh keeps the sentinels. Does nothing without a three-point block.
  void CalcBoundingBox();
  // Centre = sum of the 3n corners / 3n (the corner average, all four lanes); 0/0 = NaN when empty.
  void CalcCenterPoint();
  // Unit face normal (S x T, divided by its length) into all three corner normals; the main normal is
  // not written. Needs CalcSTV; a degenerate triangle gives NaN.
  void CalcNormalsFromVertices();
  // scanRes = (rx, ry, rz), scanDiagonal = sqrt(rx^2 + ry^2).
  void SetScanConvResolution(float rx, float ry, float rz);
  // Corners *= (scaleX, scaleY, scaleZ, 0), resp. (scaleX, scaleY, 1, 0): w becomes 0. Nothing derived
  // is recomputed.
  void ScaleTriangulation();
  void ScaleTriangulationXY();

  // ---- working list and neighbours (HTriangulation.cpp, HTriangulationNeighbours.cpp) ----
  // Links the records in array order and sets the list head to record 0. Guarded: with one triangle the
  // list is that record alone, with none the head is null.
  void IndexTriangleList();
  // Unlinks t from the working list (t's own next/prev are left as they were); null is ignored.
  void DeleteTriangleFromList(t_htriangle* t);
  // Exact-match adjacency. Equal in every neighbour, mark and working-list link to the plain quadratic
  // pass: list order, the loose lane-by-lane corner test (each lane of a corner may be matched by a
  // different corner of the other triangle), later matches overwriting earlier ones in a slot, complete
  // triangles leaving the list, the current triangle stopping when it completes. Neighbour fields are
  // not cleared first. Afterwards every triangle with a null neighbour gets mark 13. Runs in about
  // linear time on meshes whose triangles share each corner position with a bounded number of others;
  // where they do not, the candidate pairs it would test (up to the square of the triangle count) are
  // counted first and throws CWorkBudgetException, the mesh unchanged, when they exceed the work budget.
  void CalcNeighbours();
  void CalcNeighboursConstrained() { CalcNeighbours(); }  // identical to CalcNeighbours

  // ---- filling (HTriangulation.cpp) ----
  // Writes the triangles of one raster cell at record `counter` and advances counter per triangle. The
  // corners are (c, d, h) at c0/c1 along the first axis, d0/d1 along the second; maskA bit 0/1 says
  // whether (c0, d0)/(c0, d1) exists, maskB the same at c1. Masks (3,3): two triangles, linked as
  // neighbours; (3,2), (3,1), (1,3), (2,3): one; others: none. forceFull turns any cell with a corner on
  // each side into the two-triangle case. Corner normals come from the cell's height differences
  // (negated with flipNormals), the main normal is their normalised sum. A cell that would write past the
  // allocated records writes nothing (counter unchanged).
  void AppendTriangle(int maskA, int maskB, float c0, float c1, float d0, float d1, float h00, float h01,
                      float h10, float h11, int& counter, bool flipNormals, bool forceFull);

  // ---- construction from height fields (HTriangulationBuild.cpp) ----
  // Every cell of the height field m whose corners pass the threshold (strictly above, resp. below; equal
  // is never valid) becomes one or two triangles, corners at (x * scaleX, y * scaleY, raw height).
  // Reserve: 2 * number of passing real pixels (divided by stepX * stepY in the sub-sampled forms); when
  // that is below 1 (or m is null or has no pixels) the mesh is left empty (numTriangles 0).
  //
  // Full resolution, swept over whole SIMD rows: the padding rows (value 0) take part as corners, and
  // numTriangles deliberately stays at the reserved bound, the unfilled records being all-zero triangles.
  void CreateTriangulationFromSSEField(CSSEMatrix* m, float threshold, bool above);
  // Cells of stepX by stepY pixels at x = 0, stepX, ... while x < sizeX - stepX (y likewise), corners read
  // with clamping; numTriangles = triangles written. Steps below 1 throw CInvalidArgumentException.
  void CreateTriangulationFromSSEFieldSubSampled(CSSEMatrix* m, float threshold, bool above, int stepX,
                                                 int stepY);
  // Limited area: x = xFrom, xFrom + stepX, ... while x <= xTo - stepX (y likewise, bounds inclusive);
  // xFrom > xTo - stepX leaves the mesh empty. forceFull is handed to AppendTriangle: when set, every cell
  // with at least one valid corner on each side becomes two triangles.
  void CreateTriangulationFromSSEFieldSubSampled(CSSEMatrix* m, float threshold, bool above, int stepX,
                                                 int stepY, int xFrom, int xTo, int yFrom, int yTo,
                                                 bool forceFull);
  // Two fields: a corner is valid where m lies strictly above ref (above true), resp. strictly below it,
  // pixel by pixel (ref read with clamping, so a smaller ref repeats its border); heights come from m.
  // Reserve 2 * (number of such real pixels of m) / (stepX * stepY); otherwise as the sub-sampled form
  // (normals flipped in the below mode). A null ref, or one without pixels, gives an empty mesh.
  void CreateTriangulationFromSSEFieldSubSampledTwoFields(CSSEMatrix* m, CSSEMatrix* ref, bool above,
                                                          int stepX, int stepY);
  void CreateTriangulationFromSSEFieldSubSampledTwoFields(CSSEMatrix* m, CSSEMatrix* ref, bool above,
                                                          int stepX, int stepY, int xFrom, int xTo, int yFrom,
                                                          int yTo);

  // ---- editing (HTriangulationEdit.cpp) ----
  // Adds (dx, dy, dz, 0) to every corner, every per-triangle min and max, and the mesh's min and max.
  // The centre is deliberately not moved (it is stale until CalcCenterPoint). Empty mesh: no change.
  void ShiftTriangulation(float dx, float dy, float dz);
  // scale = (sx, sy, sz), then ScaleTriangulation, CalcBoundingBox, CalcSTV.
  void ReScaleTriangulation(float sx, float sy, float sz);
  // Corners *= (fx, fy, fz, 0) (w becomes 0), then CalcBoundingBox and CalcSTV; normals deliberately left
  // as they were. Empty mesh: no change.
  void BlowTriangulation(float fx, float fy, float fz);
  // Only CalcNormalsFromVertices, despite the name.
  void OrientTrianglesTowardsBBoxCenter();
  // Keep the triangles with a corner z strictly above z / strictly below z / with all three corners
  // outside the closed band [lo, hi]. Kept triangles are compacted in order with their corners, normals,
  // S/T/V, index and mark; deliberately each stored maximum is set to the triangle's minimum. Then
  // CalcNeighbours; box, centre are not recomputed.
  void RemoveTrianglesBelowZ(float z);
  void RemoveTrianglesAboveZ(float z);
  void RemoveTrianglesBetweenZ(float lo, float hi);
  // Removes the triangles facing the way `direction` points: those whose unit face normal (from the
  // corners, (P1 - P0) x (P2 - P0)) has a cosine of at least minCos with it (minCos 0.99 and +z: the flat
  // tops; -1: every triangle). Triangles without area have no orientation and stay. Compacted as the
  // removals by height (stored maximum = minimum, then CalcNeighbours). A zero or NaN direction, or NaN
  // minCos, removes nothing.
  void RemoveTrianglesWithSameOrientation(const SSEPoint& direction, float minCos);
  // This mesh becomes a's triangles followed by b's, in a new allocation, with all their per-triangle data
  // (corners, normals, S/T/V, min, max, mark); index = new position; neighbour pointers into a's or b's
  // own records are re-aimed at the copies, any other neighbour becomes null. Then CalcBoundingBox.
  // a or b may be this mesh; a null mesh counts as empty. Scales and scan resolution stay this mesh's.
  void Combine(CHTriangulation* a, CHTriangulation* b);
  // Combine(this, other): the other mesh's triangles after the ones held.
  void AppendTriangulation(CHTriangulation* other);
  // Rotates the mesh about the origin: first about x by ax, then about y by ay, then about z by az
  // (radians, right-handed). Corners, corner normals and face normals are rotated; then CalcSTV and
  // CalcBoundingBox (the centre is not recomputed).
  void TransformVertices(float ax, float ay, float az);
  // Applies the 3x4 matrix to every corner (w taken as 1, so column 3 translates; the result's w is 0),
  // its 3x3 part to the normals (renormalised: exact for rotations; after a shear call
  // CalcNormalsFromVertices); then CalcSTV and CalcBoundingBox.
  void TransformVertices(const t_ssematrix3& m);
  // As the forms above, about the point p instead of the origin.
  void TransformVerticesAboutPoint(const SSEPoint& p, float ax, float ay, float az);
  void TransformVerticesAboutPoint(const SSEPoint& p, const t_ssematrix3& m);

  // ---- lofted between two outlines (HTriangulationLoft.cpp) ----
  // BaseInitialization(sx, sy, sz), CreateLoftedTriangulation(lower, upper, points), then, when a
  // triangle exists, the follow-up calls of the outline builders: ScaleTriangulation, CalcSTV,
  // CalcNormalsFromVertices, CalcBoundingBox.
  CHTriangulation(CSSE3dPolygon* lower, CSSE3dPolygon* upper, int points, float sx, float sy, float sz);
  // A closed band of 2·N triangles joining two outlines, corners in the outlines' units: both are
  // resampled to N points evenly spaced along their 3-D length (N = points, or the larger of the two
  // point counts when points < 3; at most 100000), both read counter-clockwise in x-y (a clockwise one
  // backwards), the upper one's start turned by FindClosedStartPointAndChange to lie nearest the lower
  // one's first point, and each quad (lower i, i+1, upper i+1, i) cut along its shorter diagonal. With
  // the upper outline above the lower one every face normal points out of the band. Corner normals and
  // main normals are the face normal (set again by CalcNormalsFromVertices after scaling); marks -1.
  // The outlines are not changed. A null outline, or one of zero length or fewer than 2 finite points,
  // gives an empty mesh.
  void CreateLoftedTriangulation(CSSE3dPolygon* lower, CSSE3dPolygon* upper, int points);

  // ---- border (HTriangulationBorder.cpp) ----
  // mark = 13 on every triangle with a null neighbour (others untouched). Needs CalcNeighbours.
  void FindBorderTriangles();
  // Pushes s at the head of the stretch list (null ignored).
  void AppendStretchToList(t_stretch* s);
  // Unlinks s from the stretch list and deletes it (null ignored).
  void DeleteStretchFromList(t_stretch* s);
  // Deletes every stretch of the list.
  void ClearStretchList();
  // Pushes one stretch per triangle with a null neighbour: its first open edge in the order P0-P1, P1-P2,
  // P2-P0 (deliberately one, even where a triangle has two or three open edges), in array order, each at
  // the head. Returns the number pushed.
  int CollectBorderStretches();
  // Strings the stretch list from its head: the head's from and to are points 0 and 1; while the current
  // stretch c has a successor n, the new point is n.to when n.from equals c.to in all four lanes, else n.from
  // when n.to does; c is deleted and the walk goes on at n's successor (n itself stays). emit(k, point)
  // receives every point in order. A successor that matches neither way ends the walk there (guarded:
  // nothing is emitted for it). Returns the number of points emitted.
  template <class Emit>
  int WalkBorderStretches(Emit emit);

  // ---- members built on the outline polygon (HTriangulationBuild.cpp, HTriangulationOutline.cpp,
  // HTriangulationBorderLoops.cpp) ----
  // BaseInitialization(sx, sy, sz), the outline-clipped builder below, then CalcBoundingBox and CalcSTV
  // when at least one triangle exists.
  CHTriangulation(CSSEMatrix* m, float threshold, bool above, float sx, float sy, float sz, int stepX,
                  int stepY, CSSE3dPolygon* outline);
  // As the sub-sampled builder, but a corner is valid only when it passes the threshold and
  // outline->PointInLineInnerArea(column, row, 4) holds, column and row being the corner's pixel
  // position as floats (raster units, not scaled). The reserve is the sub-sampled one. A null outline
  // gives an empty mesh; steps below 1 throw CInvalidArgumentException.
  void CreateTriangulationFromSSEFieldSubSampled(CSSEMatrix* m, float threshold, bool above, int stepX,
                                                 int stepY, CSSE3dPolygon* outline);
  // Collects one stretch per border triangle (CollectBorderStretches, needs CalcNeighbours), makes line
  // a polygon of as many points, and writes the walk's points into it (points beyond that count are
  // skipped; where the list does not connect the walk stops and the remaining points are 0). Unconsumed
  // stretches stay in the list. A mesh without border gives an empty polygon; a null line does nothing.
  void FindBorderLine(CSSE3dPolygon* line);
  // The whole open border as closed loops, each an ordered ring of corners (x, y, z; the closing side
  // from the last point back to the first is implied), found by following the mesh's connectivity
  // rather than the stretch list. Unlike FindBorderLine it neither needs nor touches the stretch list,
  // and changes nothing in the mesh.
  //  - Open side: a side (two different corners, no NaN) that no other triangle has, its corners
  //    compared exactly in all four lanes (-0 equals 0), in either order. The neighbours of
  //    CalcNeighbours are where it looks first, and each one is checked: the loose corner test can fill
  //    a slot with a triangle that merely shares coordinates with the side, and leave the slot of a
  //    shared side empty (flat regions do both), so only a neighbour holding both corners proves a side
  //    shared, and the sides left in doubt are settled against each other. This is exact for every side
  //    held by one or two triangles; where three or more hold one side (a fin), or a triangle repeats a
  //    corner, a copy of the side that no neighbour slot links may count as open. Neighbour pointers
  //    outside this mesh's records (the copies CopyFromHTriangulation makes) count as none. Without
  //    CalcNeighbours the result is the same, found more slowly.
  //  - Each loop starts at the first open side in record order (sides P0-P1, P1-P2, P2-P0), run from
  //    its first corner to its second, and goes on from each corner into the next open side around the
  //    same fan of triangles. So where the mesh's triangles are oriented alike every side runs in its
  //    triangle's own corner order and the mesh lies on the loop's left, seen from the side the
  //    triangles face: outer loops counter-clockwise and holes clockwise, in x-y with y up, for every
  //    mesh built from a height field.
  //  - Pinch points: where loops touch at a corner (two squares meeting at a corner), each loop keeps
  //    to one fan of triangles around that corner, so the two squares give two loops. A loop may still
  //    pass a corner twice where the mesh around it is one fan on either side, as where a hole touches
  //    the outer border.
  // Loops are in the order of their first sides; lines is replaced by them and owns them (empty for a
  // mesh without border). Returns the number of open sides that close into no loop: 0 on every mesh
  // whose sides are each held by one or two triangles and none of whose triangles repeats a corner.
  // One pass over the triangles, then work in proportion to the border and the fans around it. Throws
  // CMemoryException, lines unchanged.
  int FindBorderLines(std::vector<CSSE3dPolygon>& lines) const;
  // Applies rows 0-2 of m as the 3x4 matrix of TransformVertices(const t_ssematrix3&) (column 3
  // translates); row 3, the projective row, is ignored.
  void TransformVertices(const CbMatrix4Rf& m);

  // ---- construction from outlines (HTriangulationFromPolygon.cpp) ----
  // The outline's points are in raster units (x, y in pixels, z in height units); the corners are built
  // in those units and scaled by (sx, sy, sz) last. BaseInitialization(sx, sy, sz), the builder, then
  // ScaleTriangulation, CalcSTV, CalcNormalsFromVertices and CalcBoundingBox when at least one triangle
  // exists. fan chooses CreateSimpleFanTriangulationFromPolygon (length unused), otherwise
  // CreateTriangulationFromPolygon.
  CHTriangulation(CSSE3dPolygon* outline, int step, bool fan, float length, float sx, float sy, float sz);
  // The same ear clipping, its heights limited by a height field before the scaling:
  // ConstrainWithHeightField(above, field, zOffset) reads, for the still unscaled corners, the field's
  // pixel (trunc(x + 0.5), trunc(y + 0.5)) -- the corner's own pixel of the outline's raster -- then the
  // follow-up calls above.
  CHTriangulation(CSSE3dPolygon* outline, int step, float length, CSSEMatrix* field, bool above,
                  float zOffset, float sx, float sy, float sz);
  // Ear clipping of every step-th outline point (CHPolygonTriangulator with scales 1, searching from the
  // head's successor), refined with side length `length` in 14 passes (CHPolygonTriangulationRefinement),
  // the triangles read with GetFirstTriangle3D / GetNextTriangle3D: the outline's own points where ear
  // clipping made the triangle, heights interpolated from the outline where splits made it (from every
  // 8th outline point: below 8 points split corners get NaN heights). The outline must run
  // counter-clockwise (a clockwise or self-intersecting one gives few or no triangles) and is kept as it
  // is apart from its bounding box; corners are not scaled; derived data is not computed.
  // A null outline or one of fewer than three sampled points gives an empty mesh; a step below 1 throws
  // CInvalidArgumentException.
  void CreateTriangulationFromPolygon(CSSE3dPolygon* outline, int step, float length);
  // A fan around the mean of the m = count / step sampled points (0, step, 2·step, ...): m triangles
  // (centre, point i, point i + 1), the last closing on point 0, wound as the outline runs. Right for
  // outlines that are star-shaped around that mean. Unscaled; no derived data. Fewer than three sampled
  // points (or a null outline) give an empty mesh; a step below 1 throws CInvalidArgumentException.
  void CreateSimpleFanTriangulationFromPolygon(CSSE3dPolygon* outline, int step);
  // ---- hulls and Delaunay triangulations (HTriangulationFromHull.cpp) ----
  // BaseInitialization(sx, sy, sz) (the three scales first, then the divisor), CreateTriangulationFromHull3D,
  // then ScaleTriangulation, CalcSTV, CalcNormalsFromVertices and CalcBoundingBox when a triangle exists.
  CHTriangulation(CHConvexHull3D* hull, float sx, float sy, float sz, float divisor);
  // The same with CreateTriangulationFrom2DDelaunay. Pass a bool: a float would make the call ambiguous.
  CHTriangulation(CH2DDelaunay* delaunay, float sx, float sy, float sz, bool flatten);
  // One triangle per face of the hull's face list, walked from its head as many times as the hull's face
  // count says: face k becomes triangle k, its vertices in face order the corners (X, Y, Z, 0) / divisor
  // (corners counter-clockwise seen from outside). Nothing derived is computed; marks stay -1. A null
  // hull or one without faces gives an empty mesh.
  void CreateTriangulationFromHull3D(CHConvexHull3D* hull, float divisor);
  // The same with the divisor 10, undoing the Delaunay's scaling (z is the lifted (X² + Y²) / 10, or 0
  // with flatten), and mark 14 on every triangle. Delaunay triangles run clockwise in x-y.
  void CreateTriangulationFrom2DDelaunay(CH2DDelaunay* delaunay, bool flatten);

  // ---- persistence (HTriangulationIO.cpp) ----
  // Version-1 stream: version record, scaleX/Y/Z, scanResX/Y/Z, scanDiagonal (floats), n (int32), then
  // raw blocks: the n records as their 144-byte memory image (pointer values of the writing process),
  // corner points (48 n), corner normals (48 n), face normals, T, S, V (16 n each), the box minimum,
  // maximum and centre (16 each), per-triangle minima and maxima (16 n each): 336 n + 48 bytes after n.
  void Serialize(CbStreamWriteBinary& stream) const;
  // Reads that stream. Deliberately the result is BaseInitialization(scaleX, scaleX, scaleZ): scaleY
  // becomes scaleX and the scan resolution (scaleX, scaleX, scaleZ), whatever the stream held. Of the
  // records only index and mark are taken; their pointers are aimed at this mesh's arrays and the
  // neighbours recomputed (CalcNeighbours, the stored marks kept), so the mesh is usable at once. An
  // unknown version reads no header and no triangles, only the three box points. A negative count, one
  // the stream cannot hold, or a stream that ends early throws CbException, and the mesh stays as it was.
  void Serialize(CbStreamReadBinary& stream);
  // Archive form, the same layout with an int32 version (1) in place of the version record. Loading
  // restores all seven header values as stored (scaleY and the scan resolution included), aims the
  // records and recomputes neighbours as above. An unknown version (badSchema), a negative count
  // (badIndex) or a count the file cannot hold or a file that ends early (endOfFile) throw
  // CArchiveException before anything changes.
  void Serialize(CArchive& ar);

  // ---- base-library meshes (HTriangulationConvert.cpp) ----
  // Builders: BaseInitialization(sx, sy, sz), CreateTriangulationFromDmTriangulation(mesh), then
  // CalcBoundingBox, CalcSTV and CalcNormalsFromVertices when at least one triangle exists.
  CHTriangulation(DmTriangulationStatic* mesh, float sx, float sy, float sz);
  CHTriangulation(DmTriangulationDynamic* mesh, float sx, float sy, float sz);
  // One triangle per index triple, in order, its corners the vertices as (x, y, z, 0) taken as they are
  // (no scaling); normals, S/T/V and boxes are left zero for the follow-up calls. A null or empty mesh
  // leaves this mesh empty.
  void CreateTriangulationFromDmTriangulation(DmTriangulationStatic* mesh);
  void CreateTriangulationFromDmTriangulation(DmTriangulationDynamic* mesh);
  // A new base-library mesh of the valid triangles, in order (the caller releases it with delete).
  // Corners equal in x, y and z become one shared vertex (DmTriangulationStatic::MergeEqualVertices:
  // exact comparison, -0 equals 0, NaN equals nothing; w is dropped), numbered in order of first
  // appearance. An empty mesh gives an empty base-library mesh. Throws CMemoryException.
  DmTriangulationStatic* CreateDmTriangulationFromHTriangulation() const;
  // The same vertices and triangles as a new QsCTriangulationStatic (released with delete).
  QsCTriangulationStatic* CreateQsCTriangulationFromHTriangulation() const;

  // ---- scan conversion into height fields (HTriangulationScan.cpp, HTriangulationScanThreaded.cpp) ----
  // The mesh is written back into a raster whose pixel (px, py) covers the point origin + (px * scanResX,
  // py * scanResY), origin being the mesh box minimum (or the caller's box for the _MinMaxPoint forms).
  // Needs CalcSTV and CalcBoundingBox. Every triangle is sampled parametrically: with L the longer of |S|
  // and |T| (all four lanes) and step = scanDiagonal / L, for a = 0, step, ... while a < 1 and b = 0, step,
  // ... while b < 1 - a (float accumulation), the sample is Q = ((P0 + a S) + b T) - origin, its pixel
  // px = trunc(Q.x / scanResX + 0.5), py likewise, its value Q.z + zOffset. Samples outside
  // 1 <= px < W - 1, 1 <= py < H - 1 (the one-pixel frame included) are dropped; the others are stamped as
  // the five-pixel cross keeping the maximum (SetCrossMax) or the minimum (SetCrossMin). A triangle with a
  // step below 2^-24 (longer than 2^24 cell diagonals) is skipped rather than sampled for days; NaN
  // coordinates give pixels that are dropped.
  //
  // Work: the stamps are those of the loop above, bit for bit, but a triangle whose samples crowd far
  // below one pixel (steep or needle-like: many more samples than pixel runs along its rows) is walked
  // row by row, the runs of samples on one pixel found by search and rows with the same runs taken as
  // one block, so its cost follows the rows and pixels rather than the samples. Every sampled form
  // plans its steps first (PlanSampledScanWork: samples, or rows times the pixel runs a row can have)
  // and throws CWorkBudgetException (qssse/platform/WorkBudget.h) before its matrix changes when they
  // exceed the library's work budget by more than 32 steps per triangle and per pixel of the raster.
  //
  // W = trunc(E.x / scanResX + 0.5), H likewise, E = box maximum - minimum. A null matrix, no triangles,
  // or W or H below 1 leave the matrix untouched; H above CSSEMatrix::kMaxSizeY throws
  // CInvalidArgumentException and W beyond int CMemoryException before the matrix changes. Otherwise the
  // matrix is re-created at W x H, filled with the sentinel -999999.9 (maximum) or 999999.9 (minimum),
  // stamped, and every pixel within 1.0 of the sentinel becomes 0.
  //
  // Round trip: for a mesh built from a height field h at scale (s, s) and converted at scan resolution
  // (s, s) with zOffset = box minimum z, each interior pixel p (two pixels from the border) gets
  // h(p) <= r(p) <= the maximum of h over the 5 x 5 pixels around p (mirrored for the minimum), exact
  // where that neighbourhood is flat: every cell is sampled at its corner P0, sloped cells also a step on,
  // and each sample is stamped as a cross. RefineScanConvImageTop then gives h back on every pixel.
  void ScanConvertTriangulationMax(CSSEMatrix* m, float zOffset);
  // The minimum form; the step is further divided by density (density > 1 samples more finely; a density
  // that is not a positive finite number is taken as 1). The maximum form has no density (deliberately).
  void ScanConvertTriangulationMin(CSSEMatrix* m, float zOffset, float density);
  // As the two forms above (the minimum without density), with size and origin from minP and maxP.
  void ScanConvertTriangulationMax_MinMaxPoint(CSSEMatrix* m, float zOffset, SSEPoint& minP, SSEPoint& maxP);
  void ScanConvertTriangulationMin_MinMaxPoint(CSSEMatrix* m, float zOffset, SSEPoint& minP, SSEPoint& maxP);
  // Into the matrix as it stands (not re-created, not pre-filled, no sentinel replaced): the samples are
  // combined with its contents, W and H are the mesh extent clamped to the matrix's own size, no offset.
  // fine halves the step (four times the samples, for steep or sliver triangles); cross false stamps the
  // single pixel (SetPointMin/Max) instead of the five-pixel cross, so nothing is dilated.
  void ScanConvertTriangulationMinNoDelete(CSSEMatrix* m, bool fine, bool cross);
  void ScanConvertTriangulationMaxNoDelete(CSSEMatrix* m, bool fine, bool cross);
  // NoDelete with the plain step and the cross, stamping only the triangles whose P0.y lies strictly
  // between yMin and yMax (mesh units).
  void ScanConvertTriangulationMinNoDeleteInYArea(CSSEMatrix* m, float yMin, float yMax);
  void ScanConvertTriangulationMaxNoDeleteInYArea(CSSEMatrix* m, float yMin, float yMax);
  // Stamps triangles first..last (inclusive, clipped to the mesh) into the matrix as it stands, W x H
  // being the matrix's own size. origin is the mesh point of pixel (0, 0) and the height of value 0
  // before the offset (null: the mesh box minimum), so ranges of one mesh converted into matrices of the
  // same origin combine into one conversion. max chooses SetCrossMax, otherwise SetCrossMin.
  void ScanConvertTriangulationWithLimitedArea(CSSEMatrix* m, int first, int last, float zOffset,
                                               SSEPoint* origin, bool max);
  // The steps the sampled forms plan for triangles first..last (clipped to the mesh; an empty range
  // plans 0) with the step divided by density (1: the plain step), as they check them against the work
  // budget: for a triangle sampled one by one its samples, n (n + 1) / 2 for n = ceil(1 / step) rows;
  // for one walked row by row n (3 + |T.x| / scanResX + |T.y| / scanResY). A caller converting in
  // ranges checks the whole before the first. Needs CalcSTV.
  double PlanSampledScanWork(int first, int last, float density) const;
  // The same conversion as ScanConvertTriangulationMax (keepMax) or ScanConvertTriangulationMin(m,
  // zOffset, 1) on exactly ten worker threads: worker i of ten converts its chunk of the triangle list
  // into a private matrix that covers only the pixels its chunk's stamps can reach, and the caller merges
  // the private matrices in worker order as their workers end (sentinel pixels skipped). A worker starts
  // sweeping only when fewer than one private matrix per processor waits to be merged, so the memory
  // beyond m is at most that many chunk boxes (for a mesh built from a height field, strips of about a
  // tenth of the raster each). The result equals the single-threaded one pixel for pixel on meshes
  // without NaN coordinates (with NaN, the order of the stamps shows). An exception on a worker (e.g.
  // CMemoryException for its private matrix) is rethrown here after all ten have ended; m may then hold
  // the sentinel fill and some chunks.
  void FastScanConvertTriangulation(CSSEMatrix* m, float zOffset, bool keepMax);
  void FastScanConvertTriangulation_MinMaxPoint(CSSEMatrix* m, float zOffset, SSEPoint& minP, SSEPoint& maxP,
                                                bool keepMax);
  // Refinement of an existing conversion (same geometry: m's size, origin the mesh box minimum): every
  // pixel whose centre lies in the xy projection of a triangle (closed; triangles without area skipped)
  // is replaced by the exact height there, interpolated in double, minus the box minimum z plus zOffset:
  // the lowest over all covering triangles (RefineScanConvImage) or the highest (...Top). Uncovered pixels
  // keep their value. After a conversion of a height-field mesh this undoes the cross's dilation: the
  // heights at grid points come back exactly. A null or empty matrix or mesh does nothing.
  void RefineScanConvImage(CSSEMatrix* m, float zOffset);
  void RefineScanConvImageTop(CSSEMatrix* m, float zOffset);
  // Limits the mesh by a height field: each corner reads the pixel (trunc(x / scaleX + 0.5),
  // trunc(y / scaleY + 0.5)) (clamped; the placement of the height-field builders) plus zOffset, and with
  // above true is raised to it when lower, else lowered to it when higher. Then CalcSTV and
  // CalcBoundingBox; normals are not recomputed. A null or empty field, or an empty mesh, does nothing.
  void ConstrainWithHeightField(bool above, CSSEMatrix* m, float zOffset);
  void ConstrainWithHeightField(bool above, DmArray2D<float>* a, float zOffset);
  // The maximum (respectively minimum, density 1) conversion limited by a closed line: converted as
  // ScanConvertTriangulationMax/Min, then every pixel whose grid position lies outside the line by the
  // fill rule becomes 0, the line taken into pixel units as ((x - min.x) / scanResX, (y - min.y) /
  // scanResY) of the mesh box. A null line or one of fewer than three points, a null matrix or an empty
  // mesh leaves the matrix unchanged; so does a box smaller than a pixel.
  void ScanConvertThroughLineMax(CSSEMatrix* m, CSSE3dPolygon* line, float zOffset);
  void ScanConvertThroughLineMin(CSSEMatrix* m, CSSE3dPolygon* line, float zOffset);

  // ---- exact z-buffer conversion (HTriangulationScanZBuffer.cpp) ----
  // Beside the sampled forms above, for callers who need the surface itself rather than its dilated
  // samples: every pixel whose centre lies in a triangle's xy projection gets the height interpolated
  // there, the largest (keepMax) or the smallest over the triangles covering it; every other pixel (and
  // the padding) gets noData (NaN allowed). Needs CalcBoundingBox only.
  //
  // Geometry: pixel (px, py) is the point origin + (px * scanResX, py * scanResY), origin the box minimum,
  // so pixel centres sit on the grid points of a mesh built at the scan resolution. The raster has one
  // pixel per grid point: W = trunc(E.x / scanResX + 0.5) + 1, H likewise (E = box maximum - minimum), so
  // the mesh of an n x m height field at its own scale comes back n x m; no frame is dropped.
  //
  // Coverage is decided exactly, on the corners placed on a grid of 1/256 pixel (x' = round(256 (x -
  // origin.x) / scanResX) in double, likewise y), with integer edge functions. A centre inside a triangle
  // is covered by it. A centre on edges or corners is decided by the point displaced from it by an
  // infinitesimal step in the direction of 0, 45, 90, ... 315 degrees (each turned by a further
  // infinitesimal angle): the first direction whose displaced point lies in some triangle is taken, and
  // the triangles containing that point cover the centre. So every centre on an edge two triangles share,
  // or on a corner a fan shares, is covered by exactly one triangle of each layer of the surface, never
  // twice and never missed, and centres on the mesh's outer border are covered too; a border corner is
  // missed only where every triangle meets it at an angle below 45 degrees. Triangles with a non-finite
  // corner, without area on that grid, or spanning more than 2^22 pixels are skipped.
  //
  // Height: with e0, e1, e2 the integer edge functions of the centre (e0 across from corner 0, and so on),
  // z = (e0 z0 + e1 z1 + e2 z2) / (e0 + e1 + e2) in double, plus zOffset, rounded to float; a centre on a
  // corner takes that corner's z, so only the sum with zOffset is rounded there (with zOffset 0 the round
  // trip of a height field is exact on every pixel). Heights are the mesh's own z, not relative to the box
  // as in the sampled forms, since uncovered pixels carry their own value.
  //
  // Cost: the triangles plus the pixel centres inside their pixel boxes, whatever the heights; the number
  // of centres tested is returned. Memory: the raster plus one byte per pixel. progress, when given, is
  // called on the caller's thread with (triangles done, triangles) now and then. A null matrix, no
  // triangles or an inverted box return 0 and leave the matrix untouched; H above CSSEMatrix::kMaxSizeY
  // throws CInvalidArgumentException and W beyond int CMemoryException before the matrix changes.
  // Otherwise the matrix is re-created at W x H (a matrix of that size keeps its storage).
  std::int64_t ScanConvertTriangulationZBuffer(CSSEMatrix* m, bool keepMax, float noData, float zOffset,
                                               const std::function<void(int, int)>& progress = {}) const;
  // The same with size and origin from minP and maxP instead of the mesh box.
  std::int64_t ScanConvertTriangulationZBuffer_MinMaxPoint(CSSEMatrix* m, bool keepMax, float noData,
                                                           float zOffset, const SSEPoint& minP,
                                                           const SSEPoint& maxP,
                                                           const std::function<void(int, int)>& progress = {}) const;

 protected:
  // Shared by the removals: keeps the triangles for which keep(pointer to the three corners) is true.
  template <class Keep>
  void RemoveTriangles(Keep keep);
  // Shared by the sub-sampled builders; validOf(x, y) tells whether a corner pixel is valid.
  template <class Valid>
  void SweepSubSampled(CSSEMatrix* m, bool above, int stepX, int stepY, int xFrom, std::int64_t xLast,
                       int yFrom, std::int64_t yLast, bool forceFull, Valid validOf);
  void ApplyTransform(const t_ssematrix3& m, const SSEPoint& about);
  // FindBorderLines without the translation of std::bad_alloc.
  int WalkBorderLoops(std::vector<CSSE3dPolygon>& lines) const;
  // After a raw load of the records: aims every record's pointers at its entries, unlinks it and clears
  // its neighbours (index and mark stay), then CalcNeighbours keeping the marks. Then this mesh takes
  // over loaded's storage and loaded takes this mesh's old storage (freed with loaded).
  void AdoptLoaded(CHTriangulation& loaded);
  // visit(address, bytes) for each raw block of the stream layout, in order (HTriangulationIO.cpp).
  template <class Visit>
  void ForEachRawBlock(Visit visit) const;

  // Members in their declared order.
  SSEPoint* cornerPoints;
  SSEPoint* cornerNormals;
  SSEPoint* mainNormals;
  SSEPoint* tVectors;
  SSEPoint* sVectors;
  SSEPoint* vVectors;
  t_htriangle* triangles;
  std::int32_t numTriangles;
  t_htriangle* listHead;
  float scaleX, scaleY, scaleZ;
  float scanResX, scanResY, scanResZ;
  SSEPoint* minPoint;  // minPoint, maxPoint, centerPoint: elements 0, 1, 2 of one owned block
  SSEPoint* maxPoint;
  SSEPoint* centerPoint;
  SSEPoint* triMinPoints;
  SSEPoint* triMaxPoints;
  float scanDiagonal;
  t_stretch* stretchList;
  // Records allocated by the last CreateTriangulation; numTriangles never exceeds it, and AppendTriangle
  // refuses to write past it.
  std::int32_t capacity;
};

template <class Emit>
int CHTriangulation::WalkBorderStretches(Emit emit) {
  t_stretch* c = stretchList;
  if (c == nullptr) return 0;
  const auto same = [](const SSEPoint* a, const SSEPoint* b) {
    return qssse::simd::all(qssse::simd::eq(a->m, b->m));
  };
  emit(0, *c->from);
  emit(1, *c->to);
  int k = 2;
  while (c->next != nullptr) {
    t_stretch* n = c->next;
    const SSEPoint* end = c->to;
    const SSEPoint* point;
    if (same(n->from, end)) {
      point = n->to;
    } else if (same(n->to, end)) {
      point = n->from;
    } else {
      break;  // the list does not connect here: stop rather than loop without progress
    }
    emit(k, *point);
    DeleteStretchFromList(c);
    c = n->next;
    ++k;
    if (c == nullptr) break;
  }
  return k;
}
