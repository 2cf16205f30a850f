#pragma once
#include <vector>

#include "qssse/platform/Export.h"
#include "qssse/platform/ReferenceCounted.h"
#include "qssse/polygon/ResolutionData.h"
#include "qssse/vector/SSEPoint.h"
#include "qssse/vector/SimdOps.h"

class CArchive;
class CbMatrix4Rf;
class CbStreamWriteBinary;
class CbStreamReadBinary;
class CPixelChain;
class CSSEMatrix;
class CSSEcharMatrix;
class DmPolyLineOld;
class DmHermiteSpline;
namespace qssse::rings {
struct Vertex;
}

// The library's polygon: a closed ring of 3-D points (the edge from the last point back to the first is
// implied; the first point is never repeated at the end).
//
// Layout (the rasterisers and scans load four points per instruction):
//  - six 16-byte aligned float arrays X, Y, Z and normalized X, Y, Z, each of capacity ceil(n/4)·4, so
//    lane i & 3 of block i / 4 is point i; the padding lanes of the last block are 0 after Create and
//    otherwise carry no meaning;
//  - count 0 means all six arrays are null, count > 0 means all six are allocated;
//  - one aligned block of five SSEPoints (box maximum, box minimum, geometric centre, 2-D maximum,
//    2-D minimum; w always 0) that only CalcBoundingBox, CalcGeometricCenter, copies and loads change;
//  - the bounding-box flag: set by CalcBoundingBox (and kept by CreateSimilar, read from streams),
//    cleared by every point write. The box is never updated implicitly.
//
// Bad input never crashes: out-of-range indices are ignored (getters leave their outputs untouched),
// members that cannot work on an empty polygon do nothing and say so below, and loaders reject
// impossible counts before allocating. A failed allocation raises CMemoryException.
//
// Steps below 1: a step that picks every step-th point or pixel (the pixel-chain constructor, the fill
// rule, ClosestPointXY, InterpolateZ) is taken as 1; Subsample(k) with k < 1 leaves the polygon as it is;
// a length step (ReParametrize*, CreateFromPolyLine and the curve constructors) that is not positive
// resamples nothing (the spline constructor then keeps one point per control point).
class QSSSE_API CSSE3dPolygon : public CbReferenceCounted {
 public:
  // ---- construction, copying, storage (SSE3dPolygon.cpp) ----
  CSSE3dPolygon();  // empty, the five stored points zero, flag clear
  // Copies the five stored points and all six coordinate sets. The copy's flag is clear even when the
  // source's is set, deliberately: callers recompute the box.
  CSSE3dPolygon(const CSSE3dPolygon& other);
  CSSE3dPolygon& operator=(const CSSE3dPolygon& other);  // as the copy constructor; self-assignment no-op
  ~CSSE3dPolygon() override;

  // Every step-th pixel of the chain (pixels 0, step, 2·step, ...; the trailing partial step is
  // dropped) as (x, y, 0); step <= 1 takes every pixel. An empty chain gives an empty polygon.
  CSSE3dPolygon(CPixelChain& chain, int step);
  // CreateFromPolyLine with the same arguments.
  CSSE3dPolygon(const DmPolyLineOld* line, float step, bool reparametrize, bool orient);
  // Subdivides the spline by `step`, then CreateFromPolyLine on the subdivision. A null spline gives
  // an empty polygon.
  CSSE3dPolygon(DmHermiteSpline* spline, float step, bool reparametrize, bool orient);

  // Discards the points and allocates room for n (uninitialised points, zero padding); flag cleared in
  // every case, also by Create(0) on an empty polygon. n <= 0 leaves the polygon empty. The five stored
  // points are not touched.
  void Create(int n);
  // Releases the arrays of a non-empty polygon; count 0, flag cleared. On an empty polygon it does
  // nothing at all (the flag stays as it is). The stored points are kept.
  void Free();
  // Becomes a copy of src's X, Y, Z (normalized arrays uninitialised), its five stored points and its
  // flag. A null src or src == this does nothing.
  void CreateSimilar(const CSSE3dPolygon* src);

  int GetNumPoints() const { return m_count; }
  bool IsBoundingBoxCalculated() const { return m_boxCalculated; }

  // ---- base-library curves (SSE3dPolygon.cpp) ----
  // Rebuilds this polygon from the polyline: its five stored points zeroed, a closing vertex that
  // repeats the head dropped; with orient, a closed line whose area about +z is not positive is read
  // backwards (counter-clockwise result); with reparametrize, ReParametrize(step) afterwards. A null
  // line gives an empty polygon.
  void CreateFromPolyLine(const DmPolyLineOld* line, float step, bool reparametrize, bool orient);
  // A new closed polyline with every point in order; the caller owns it and releases it with delete.
  DmPolyLineOld* ConvertToPolyLine() const;
  // False only when the polyline's tail repeats its head (squared distance <= FLT_EPSILON); true for
  // fewer than 2 vertices and for a null line.
  bool IsPolyLineValid(const DmPolyLineOld* line) const;

  // ---- per-point access (inline) ----
  // Indices outside 0 <= i < count are ignored: setters change nothing, getters leave their outputs.
  // Every setter clears the bounding-box flag.
  void SetPoint(int i, float x, float y, float z);
  void GetPoint(int i, float& x, float& y, float& z) const;
  void SetPointXY(int i, float x, float y);
  void SetPointXZ(int i, float x, float z);
  void SetPointZY(int i, float z, float y);
  void GetPointXY(int i, float& x, float& y) const;
  void GetPointXZ(int i, float& x, float& z) const;
  void GetPointZY(int i, float& z, float& y) const;
  void SetPointX(int i, float x);
  void SetPointY(int i, float y);
  void SetPointZ(int i, float z);
  void GetPointX(int i, float& x) const;
  void GetPointY(int i, float& y) const;
  void GetPointZ(int i, float& z) const;
  // Writes lanes x, y, z (w is ignored).
  void SetPointSSE(int i, const SSEPoint& p);
  // p = (x, y, z, 0); the zero point for an out-of-range index.
  void GetPointSSE(int i, SSEPoint& p) const;
  // p = (x, y, 0, 0); the zero point for an out-of-range index.
  void GetPointXYSSE(int i, SSEPoint& p) const;
  // Point i % count with the remainder's sign following i, so a negative i gives the zero point (a
  // truncated remainder, kept as callers expect). An empty polygon gives the zero point.
  void GetPointSSEClosed(int i, SSEPoint& p) const;
  // Point i taken around the ring (true modulo: -1 is the last point); zero point when empty.
  void GetPointSSEModulo(int i, SSEPoint& p) const;

  // The same on the normalized coordinates.
  void SetPointNormalized(int i, float x, float y, float z);
  void GetPointNormalized(int i, float& x, float& y, float& z) const;
  void GetPointNormalizedXY(int i, float& x, float& y) const;
  void SetPointNormalizedSSE(int i, const SSEPoint& p);
  void GetPointNormalizedSSE(int i, SSEPoint& p) const;
  void GetPointNormalizedXYSSE(int i, SSEPoint& p) const;

  // One coordinate of every point set to v, or v added to it.
  void SetAllXValues(float v);
  void SetAllYValues(float v);
  void SetAllZValues(float v);
  void AddValueToAllXValues(float v);
  void AddValueToAllYValues(float v);

  // Normalized = plain coordinates times r.resX, r.resY, r.resZ, over whole blocks (padding included).
  void NormalizeXYZ(const t_resolutiondata& r);

  // ---- lengths, box and centre (SSE3dPolygon.cpp) ----
  // Sum of the 3-D edge lengths, closing edge included; 0 when empty.
  float CalcCircumference() const;
  // The same without the closing edge; 0 below 2 points.
  float CalcCircumferenceOpen() const;
  // The box of all points, folded into a maximum that starts at (-1e6, -1e6, -1e6) and a minimum that
  // starts at (1e6, 1e6, 1e6), on purpose: an empty polygon keeps those start values and coordinates
  // beyond +-1e6 are clamped. Sets the 2-D corners (z = 0) and the flag. NaN coordinates are skipped;
  // when a corner coordinate ends at zero its sign is not specified.
  void CalcBoundingBox();
  // The box as ints truncated toward zero; runs CalcBoundingBox when the flag is clear.
  void GetBoundingBox2D(int& minX, int& minY, int& maxX, int& maxY);
  void GetBoundingBox3D(float& minX, float& minY, float& minZ, float& maxX, float& maxY, float& maxZ);
  SSEPoint GetTopRight() const { return m_stored[kMax]; }    // stored maximum corner, not recomputed
  SSEPoint GetBottomLeft() const { return m_stored[kMin]; }  // stored minimum corner, not recomputed
  // Centre = Σ (pᵢ / count), each point divided before it is added (not the sum divided once: the
  // results differ in the last bits); (0, 0, 0, 0) when empty.
  void CalcGeometricCenter();
  void GetGeometricCenter(SSEPoint& c) const { c = m_stored[kCenter]; }

  // ---- whole-polygon edits (SSE3dPolygon.cpp) ----
  // Appends other's points (X, Y, Z); an empty this becomes a CreateSimilar copy. Flag cleared. A total
  // beyond the int range raises CMemoryException.
  void AppendPoints(CSSE3dPolygon& other);
  // Appends other's points from .. to inclusive, wrapping past its end when to < from. Nothing happens
  // unless other is non-empty and both indices are valid points of it.
  void AddPolygonPoints(CSSE3dPolygon& other, int from, int to);
  // Rotates the ring so that point k comes first; indices (count entries, or null) is rotated alike.
  // An out-of-range k does nothing.
  void ChangeStartPoint(int k, int* indices);
  // Rotates the ring to start at the end point, of the edge nearest to other's first point, that lies
  // nearer to it (a tie goes to the edge's second point); indices as in ChangeStartPoint.
  void FindClosedStartPointAndChange(CSSE3dPolygon* other, int* indices);

  // ---- transforms of X, Y, Z (SSE3dPolygonTransform.cpp) ----
  // Adds (dx, dy, dz) to every point, then CalcBoundingBox (also when empty).
  void ShiftLine(float dx, float dy, float dz);
  // Scales every point lane-wise; with reparametrize, ReParametrize(0.6) afterwards. Flag cleared.
  void BlowLine(float sx, float sy, float sz, bool reparametrize);
  // As BlowLine about the geometric centre (which it recomputes first).
  void BlowLineAroundCenter(float sx, float sy, float sz, bool reparametrize);
  // Multiplies by the rows (ca·cb, -sa, -sa·cb), (sa·cb, ca, -sa·sb), (sb, 0, cb), then CalcBoundingBox.
  // The matrix is not orthonormal for general angles; stored results depend on it, so keep it.
  void TransformVertices(float a, float b);
  // x' = x·cos a + y·sin a, y' = -x·sin a + y·cos a (clockwise seen from +z); flag cleared.
  void RotateZ(float a);
  // RotateZ about the geometric centre (which it recomputes first).
  void RotateZAroundPolyCenter(float a);
  // p <- Rz(-c)·Ry(b)·Rx(-a)·p; flag cleared.
  void RotateXYZ(float a, float b, float c);
  // Reverses the point order; the stored box and centre become zero and the flag clear.
  void InvertPolygonDirection();
  // Exchange two coordinates of every point; flag cleared.
  void SwapYandZCoord();
  void SwapXandZCoord();

  // ---- further transforms and height edits (SSE3dPolygonEdit.cpp) ----
  // TransformVertices(a, b) about the geometric centre (recomputed first; it stays fixed), then the box.
  void TransformVerticesAboutCenter(float a, float b);
  // Every point p becomes m·(p, 1) (rows 0-2, column 3 translating; the projective row is ignored);
  // with aboutCenter, about the geometric centre (recomputed first): c + m·(p - c, 1). Flag cleared.
  void TransformUseGivenMatrix(const CbMatrix4Rf& m, bool aboutCenter);
  // Turns the outline upside down: a half turn about the y axis (x and z negated), which mirrors its
  // orientation seen from +z; with keepOrientation the points are then read backwards (as
  // InvertPolygonDirection) so the ring keeps its turning sense. Flag cleared.
  void FlipOrientationZ(bool keepOrientation);
  // FlipOrientationZ(true), then dz added to every z.
  void FlipOrientationAndMoveCoordsZ(float dz);
  // Every z becomes the lowest (highest) z of the polygon; NaN z values are passed over; nothing
  // happens when no z is a number.
  void AdaptToLowestZValue();
  void AdaptToHighestZValue();
  // Every z becomes the mean of the z values within halfWidth points around the ring (window clipped so
  // no point counts twice; read from the unfiltered values). halfWidth < 1 or fewer than 3 points: no
  // change.
  void FilterZValues(int halfWidth);
  // InterpolateZ(x, y, step, nearSq), then the same inverse-square average over only the samples whose
  // z does not exceed that value, so the height leans to the lower side of the outline (a sample within
  // nearSq still returns its own z). NaN as InterpolateZ.
  float InterpolateZLow(float x, float y, int step, float nearSq) const;
  // Adds to x and y of every point a value uniform in [-amplitude, amplitude] from std::mt19937(seed)
  // (24 bits per value, so the same seed gives the same outline everywhere). Flag cleared.
  void AddNoiseXY(float amplitude, unsigned int seed = 1);
  // Quasi Minkowski moves: every point moved by r in x-y along its vertex normal (the normalised sum of
  // its two edges' outward unit normals, outward by the ring's orientation), inward for the erosion.
  // Cheap and without joins or loop removal: corners are not kept at the distance and a move wider
  // than a feature makes the ring cross itself (DilateExact, ErodeExact and RemoveLoopInXYPlane are the
  // exact forms). Fewer than 3 points: no change. Flag cleared.
  void DoQuasiMinkowskiDilation(float r);
  void DoQuasiMinkowskiErosion(float r);
  // Every point moved by r in x-y away from the geometric centre (recomputed first); a point on the
  // centre stays. Flag cleared.
  void DoQuasiMinkowskiDilationCenter(float r);
  // Clip the ring to the closed half plane y >= v (Upper), y <= v (Lower), x >= v (Right), x <= v
  // (Left), z >= v, z <= v: the points inside in order, and where an edge crosses the boundary the
  // crossing point (all coordinates interpolated, the clipped one exactly v). A concave ring cut in
  // several places comes out as one ring whose pieces are joined along the boundary line. Points with
  // the clipped coordinate NaN count as outside. Box and centre become zero.
  void KeepUpperHalfPlaneY(float y);
  void KeepLowerHalfPlaneY(float y);
  void KeepRightHalfPlaneX(float x);
  void KeepLeftHalfPlaneX(float x);
  void KeepUpperHalfPlaneZ(float z);
  void KeepLowerHalfPlaneZ(float z);
  // Keeps, in order and without new points, the points whose z is strictly below z; box and centre
  // become zero when a point is dropped.
  void KeepPointsBelow(float z);
  // Keeps the points inside outline by its fill rule (step 1); a null outline, or this polygon itself,
  // changes nothing.
  void KeepPointsInInner(CSSE3dPolygon* outline);
  // Writes "x y z" per point, one line each (9 significant digits); false when the file cannot be
  // written or path is null.
  bool DebugSaveXYZ(const char* path) const;

  // ---- resampling and smoothing (SSE3dPolygonResample.cpp) ----
  // All of these rebuild the polygon and clear the flag.
  // Even spacing of every ring edge measured in the maximum norm of x and y: an edge with |dx| or |dy|
  // above step gets K = trunc(max(|dx|, |dy|) / step) points a + t·d / (K + 0.5), t = 0 .. K-1 (the
  // K + 0.5 leaves the last point 1.5 increments short of b: intended); shorter edges keep a alone. At
  // most 99999 points are emitted, the rest are dropped. Box and centre stay as they were. A step that
  // is not positive (or NaN) does nothing.
  void ReParametrize(float step);
  // The same; map (count entries) receives for each input point its index in the result (entries of
  // points dropped by the cap keep their contents).
  void ReParametrize(float step, int* map);
  // As ReParametrize(step) measured in x, y and z.
  void ReParametrizeXYZ(float step);
  // Keeps points 0, k, 2k, ... (m = (count - k + 1) / k of them) plus, when closed, the midpoint of the
  // first and last kept points, or else, when the last kept point is not the last point, the last
  // point. Box and centre become zero. k < 1, an empty polygon, or closed with no point kept, leaves the
  // polygon as it is.
  void Subsample(int k, bool closed);
  // Drops a point that lies within Manhattan distance 1 of any earlier input point, unless the point
  // before it was dropped. Box and centre become zero.
  void RemoveEqualPointsXY();
  // Drops x-y duplicates (within 0.0001 of the last kept point), then points where the x-y direction
  // does not change by more than 0.0001 in either component. Box and centre become zero.
  void ReducePoints();
  // True when a point j < i (i clamped into the polygon) lies within Manhattan x-y distance
  // `tolerance` of p (strictly); false for i < 1 and for an empty polygon.
  bool PointAlreadyThereInArrayXY(int i, const SSEPoint& p, float tolerance) const;
  // z of every point replaced by the median, maximum or minimum of z at i-1, i, i+1 around the ring.
  // Box and centre are kept (z range possibly stale). An empty polygon is left as it is.
  void FilterMedian3();
  void FilterMaximum3();
  void FilterMinimum3();
  // Inverse-square-distance (x-y) average of z over points 0, step, 2·step, ... below count - step + 1,
  // weights in double; a sample within nearSq (a squared distance) returns its z at once. NaN when no
  // point is sampled. step < 1 is taken as 1.
  float InterpolateZ(float x, float y, int step, float nearSq) const;

  // ---- queries (SSE3dPolygonQueries.cpp) ----
  // The library's fill rule: even-odd test of (x, y) against the ring. False below 3 points and
  // outside the stored 2-D box (computed first when the flag is clear; trusted when set, even if points
  // changed since). An edge counts when exactly one end has x < the query x and toggles when it passes
  // strictly above the query point, so on the boundary the right and bottom edges are inside and the
  // left and top edges outside. step > 1 tests the ring of points 0, step, 2·step, ..., count-1;
  // step < 1 is taken as 1.
  bool PointInLineInnerArea(float x, float y, int step);
  // The same for p.x, p.y; the box test compares all four lanes with z set to 0, so a non-zero w
  // reports outside.
  bool PointInLineInnerArea(const SSEPoint& p, int step);
  // The edges come from the normalized coordinates, the box rejection from the plain ones (a kept
  // mismatch: pass points whose two coordinate sets agree in range).
  bool PointInLineInnerAreaNormalized(float x, float y, int step);
  bool PointInLineInnerAreaNormalized(const SSEPoint& p, int step);
  // The same test on the sub-ring of visited points inside [minX, maxX] x [minY, maxY] (inclusive),
  // joined directly: a point outside neither forms an edge nor becomes the previous point.
  bool PointInLineInnerAreaBoxed(float x, float y, float minX, float minY, float maxX, float maxY, int step);
  bool PointInLineInnerAreaBoxed(const SSEPoint& p, float minX, float minY, float maxX, float maxY, int step);
  // Twice the signed shoelace area in x-y (positive counter-clockwise), not halved; 0 below 2 points.
  float CalcXYArea() const;
  float CalcXZArea() const;  // the same in x-z (x first)
  float CalcYZArea() const;  // the same in y-z (y first)
  // Index of the nearest of points 0, step, ... below count - 1 in x-y (the last point never counts),
  // first minimum winning; -1 when none is nearer than squared distance 1e7 or count < 2.
  int ClosestPointXY(float x, float y, int step) const;
  // The same with the last point included; -1 only when none is near enough or the polygon is empty.
  int ClosestPointXYWithLast(float x, float y, int step) const;

  // ---- distances and nearest points (SSE3dPolygonDistance.cpp) ----
  // Distances to the polyline through points 0, step, 2·step, ... (closed: and back to point 0), edge
  // by edge in double; 1000000 for an empty polygon; step < 1 is taken as 1. 3-D:
  float GetMinEuclDistance(float x, float y, float z, int step, bool closed) const;
  // In x-y, closed.
  float GetMinEuclDistanceXY(float x, float y, int step) const;
  // 3-D, closed, to the normalized coordinates (NormalizeXYZ): the distance in scaled units.
  float GetMinEuclDistanceSpecial(float x, float y, float z, int step) const;
  // Index of the vertex nearest to p in 3-D (p.w ignored), first of equals; -1 when empty. No distance
  // limit, unlike ClosestPointXY.
  int ClosestPoint(const SSEPoint& p) const;
  // Index of the vertex whose x (y, z) is nearest; ClosestPointYZ nearest in the y-z plane.
  int ClosestPointX(float x) const;
  int ClosestPointY(float y) const;
  int ClosestPointZ(float z) const;
  int ClosestPointYZ(float y, float z) const;
  // ClosestPointX among the points with zMin <= z <= zMax; -1 when there is none.
  int ClosestPointXWithZLimitation(float x, float zMin, float zMax) const;
  // Among the points with |x - point x| <= tolerance, the one with the smallest (largest) y, first of
  // equals: the lower (upper) crossing of a vertical line through a densely sampled outline; -1 when
  // none is that near.
  int ClosestPointXWithMinimalY(float x, float tolerance) const;
  int ClosestPointXWithMaximalY(float x, float tolerance) const;
  // Index of the first point within tolerance of (x, y, z) in every coordinate; -1 when none.
  int FindIndexOfPoint(float x, float y, float z, float tolerance) const;
  // patch becomes the points inside the rectangle (bounds included), in order; returns their number.
  // patch may be this polygon.
  int GetPointsInPatch(float minX, float minY, float maxX, float maxY, CSSE3dPolygon& patch) const;
  // True when other is null, has another count, or some point differs by more than tolerance in a
  // coordinate (NaN differs); false for two empty polygons.
  bool IsDifferentFromOtherPolygon(const CSSE3dPolygon* other, float tolerance) const;
  // The point of the ring nearest to p in x-y (perpendicular feet of every edge, held within it), z
  // interpolated along that edge; edge receives the index of its first point (first of equals). False
  // on an empty polygon (outputs untouched).
  bool FindNearestPointOnLine(const SSEPoint& p, SSEPoint& nearest, int& edge) const;

  // ---- the ring against lines and other rings (SSE3dPolygonIntersect.cpp) ----
  // crossings becomes the points where the infinite line through a and b (x-y) crosses the ring, sorted
  // along a -> b, z interpolated along the crossed edges; for a simple ring, the line lies inside between
  // crossing 0 and 1, 2 and 3, ... An edge is crossed when its ends lie on different sides, a point on
  // the line counting to its left, so a vertex on the line is one crossing or none. Returns the count; a
  // ring below 2 points or a and b equal in x-y give none. crossings may be this polygon.
  int IntersectPolygonAreaWithLine(const SSEPoint& a, const SSEPoint& b, CSSE3dPolygon& crossings) const;
  // Whether the ring passes within radius (inclusive) of (cx, cy) in x-y: the vertical cylinder meets
  // the outline. False when empty or radius is negative or NaN.
  bool IntersectsPolygonWithCylinderXYPlane(float cx, float cy, float radius) const;
  // The crossing of the segment a -> b (x-y) with the ring nearest to a, by CHSimpleBasisFcns::
  // GetIntersection (ends included, parallel edges never); hit gets z along the ring's edge, edge the
  // index of its first point. False when none (outputs untouched).
  bool FindIntersection(const SSEPoint& a, const SSEPoint& b, SSEPoint& hit, int& edge) const;
  // Whether every point of other lies inside this ring by the fill rule; false for a null or empty
  // other and below 3 points.
  bool PolygonInThisPolygon(CSSE3dPolygon* other);
  // The same, and every point of other at least delta from this ring (x-y).
  bool PolygonInThisPolygonWithDeltaDistance(CSSE3dPolygon* other, float delta);

  // ---- offsetting in x-y (SSE3dPolygonOffset.cpp) ----
  // How an offset turns round a convex corner: an arc of the offset distance, or the two offset edges
  // extended to their meeting point (cut square at miterLimit times the distance from the corner).
  enum OffsetJoin { kJoinRound = 0, kJoinMiter = 1 };
  // Grows the region the ring encloses by `distance` in x-y (a negative distance shrinks it, as
  // ErodeExact): the result is the simple ring bounding the points within `distance` of the region,
  // convex corners joined as `join` says, round arcs made of chords that stay within arcTolerance of the
  // true arc (arcTolerance <= 0 or NaN: 0.002 times the distance; it is kept between 1e-5 times the
  // distance and the distance). Holes the growth would enclose are filled. z of each result point is
  // that of the point of the input it was offset from: interpolated along the edge, a corner's own z
  // on its join. The orientation stays; the start is the result point nearest the old point 0; box
  // and centre become zero. Works on the finite points, points closer than a tenth of the arc
  // tolerance (at most a thousandth of the distance) merged; collinear runs, duplicates and spikes are
  // fine (a spike gets a cap). A single
  // point grows into a circle, a ring without area into the band around it. Returns false, leaving
  // the polygon empty, when nothing remains (and on an empty polygon); a distance of 0 changes nothing.
  // A distance that is not finite throws CInvalidArgumentException; a miterLimit below 1 is taken as 1.
  // Cost: about n log n for n points plus the crossings of the raw offset.
  bool DilateExact(float distance, OffsetJoin join = kJoinRound, float miterLimit = 2.0f,
                   float arcTolerance = 0.0f);
  // Shrinks the region by `distance` (DilateExact(-distance)): where the region is narrower than twice
  // the distance it is cut apart and the largest remaining part is kept; when nothing remains the
  // polygon becomes empty and false is returned.
  bool ErodeExact(float distance, OffsetJoin join = kJoinRound, float miterLimit = 2.0f,
                  float arcTolerance = 0.0f);
  // Cuts the loops a self-crossing ring makes in x-y and keeps the part with the larger signed area
  // (taken in the orientation of the whole ring): the outer boundary of the largest region the ring
  // winds around in its own sense. Crossings are decided exactly; crossing points get z interpolated
  // along the arriving edge. Returns false and changes nothing when the ring does not cross itself
  // (touching is not crossing), has fewer than 3 points, or encloses nothing in its own sense.
  bool RemoveLoopInXYPlane();

  // ---- cutting and merging in x-y (SSE3dPolygonCut.cpp) ----
  // This polygon becomes the part of `outline` inside `cutter` (keepInside) or outside it, in the
  // orientation of `outline`, starting at the point nearest outline's first point; box and centre
  // become zero. Crossings are decided exactly; a crossing point gets z interpolated along the edge the
  // result arrives on (the outline's or the cutter's), other points keep theirs. Where the cut leaves several parts, the largest
  // is kept. A cutter wholly inside the outline (keepInside false) leaves a ring with a hole, joined to
  // the outer boundary by a cut of no width so one ring encloses exactly what is left. Touching and
  // collinear contacts: edges the two share running opposite ways (outlines side by side) belong to
  // neither part, shared edges running the same way belong to both; a contact at a point neither
  // joins nor cuts. Returns false and leaves the polygon empty when nothing remains (no overlap, or an
  // outline of fewer than 3 finite points); a cutter of fewer than 3 points keeps nothing inside and
  // everything outside. outline or cutter may be this polygon.
  bool CreateFromCutPolygones(CSSE3dPolygon* outline, CSSE3dPolygon* cutter, bool keepInside);
  // This polygon becomes the outline of the union of the two, in first's orientation, holes the union
  // encloses filled; the rules on z, start, contacts and crossings are those of CreateFromCutPolygones
  // (outlines sharing an edge side by side merge across it). Returns true when the union is one ring;
  // when the two neither overlap nor touch, the larger becomes the result and false is returned; when
  // one has fewer than 3 points the other is the result (false only when both do, the polygon empty).
  bool CreateMergePolygon(CSSE3dPolygon* first, CSSE3dPolygon* second);

  // ---- rasterisation into matrices (SSE3dPolygonDraw.cpp, SSE3dPolygonFill.cpp) ----
  // Matrix column x is coordinate x and row y is coordinate y, one cell per unit. Every write is
  // clamped into the matrix (a write outside lands on the nearest border cell), on purpose. A null
  // matrix or one without pixels is left alone. rnd(t) below is t + 0.5 truncated toward zero; a
  // coordinate that is NaN or beyond the int range saturates (NaN counts as 0).
  //
  // Edge-walking fill for densely sampled counter-clockwise rings (no orientation check): only the
  // first 4·floor(count/4) points take part (the rest are ignored, deliberately), each vertex cell
  // becomes value, and from each vertex a span of value + 5 is cast to the left of the edge leaving it
  // until a boundary cell (|cell - value| < 1, or < 0.1 for rightward shallow edges: kept as it is);
  // a walk that reaches the matrix edge first writes nothing.
  void DrawInMatrixAndFill(float value, CSSEMatrix* m);
  // Box-scanning fills: every cell (x, y) of the polygon's box (clamped into the matrix) plus a margin
  // of 5 for which the fill rule with step 1 holds on a copy of the polygon (thinned by Subsample(5)
  // when subsample is true, then RemoveEqualPointsXY) gets the write rule below. yFrom and yTo limit
  // the rows to trunc(yFrom) .. trunc(yTo) within the box (a NaN bound does not limit). The result is
  // that of one fill-rule call per cell, computed column by column from the edges crossing the column.
  void DrawInMatrixAndFillFine(float value, CSSEMatrix* m, bool subsample, float yFrom, float yTo);
  // cell = min(cell, value), with CSSEMatrix::SetPointMin's rule (a NaN cell becomes value).
  void DrawInMatrixAndFillFineMin(float value, CSSEMatrix* m, bool subsample, float yFrom, float yTo);
  // cell = max(cell, value), with CSSEMatrix::SetPointMax's rule (a NaN cell becomes value).
  void DrawInMatrixAndFillFineMax(float value, CSSEMatrix* m, bool subsample, float yFrom, float yTo);
  // cell = 0 where cell - value < threshold; value itself is never written.
  void DrawSubInMatrixAndFill(float value, CSSEMatrix* m, float threshold, bool subsample, float yFrom,
                              float yTo);
  // The Fine scan writing the byte value into a byte matrix.
  void DrawInCharMatrixAndFillFine(char value, CSSEcharMatrix* m, bool subsample, float yFrom, float yTo);
  // The Fine scan on a grid of every third cell from the box (not clamped to the matrix) minus 9 while
  // below the box plus 9, each inside sample stamping Set3x3BoxPoint(x, y, value). Samples beyond
  // +-16,777,216 (where integers stop being floats) are not taken. Cost: the matrix's sample columns
  // times the edges crossing them, plus, for the columns beyond the matrix (whose stamps all clamp onto
  // its border columns), a few columns per row the edges cross there. Edges that coincide beyond the
  // matrix can defeat that shortcut; the remaining walk then has to fit the work budget
  // (qssse::CheckWorkRequest; CWorkBudgetException with the matrix untouched).
  void DrawInMatrixAndFillCoarse(float value, CSSEMatrix* m, bool subsample, float yFrom, float yTo);
  // Coarse in parallel, one worker per processor over bands of rows: box rows (clamped) - 5 .. + 5
  // cut into CbCPU::GetCount() bands, each band restarting the grid of every third row at its own
  // first row, columns from the clamped box start in steps of 3 without margin; outlines above 500
  // points are thinned harder the longer they are. Below 100 columns or rows this is Coarse. A
  // worker's exception is rethrown here after every worker has ended.
  void DrawInMatrixAndFillCoarseFast(float value, CSSEMatrix* m, bool subsample, float yFrom, float yTo);
  // Every cell of the whole matrix for which the fill rule (step 1, this polygon itself, its stored
  // box trusted as the rule does) fails becomes value; all cells when the polygon has < 3 points.
  void DrawOutsidePixels(CSSEMatrix& m, float value);
  // The vertices only: xzPlane (tested first) stamps Set3x3BoxPoint at (rnd(x + offsetX),
  // rnd(z + offsetY)); else zyPlane sets the single cell (rnd(z), rnd(y)) without offsets; else
  // Set3x3BoxPoint at (rnd(x + offsetX), rnd(y + offsetY)).
  void DrawInMatrix(float value, CSSEMatrix* m, bool zyPlane, float offsetX, float offsetY, bool xzPlane);
  // Each vertex writes its own z: fourCells into the cells (floor|ceil x, floor|ceil y), otherwise into
  // (rnd(x), rnd(y)).
  void DrawInMatrix(CSSEMatrix* m, bool fourCells);
  // The open polyline (no closing edge; nothing below 2 points) with z interpolated: both end cells
  // get their z, then trunc(2·len + 0.5) samples a + t·(b - a)/S along each edge of x-y length
  // len >= 0.5. An edge longer than 2^25 draws its end cells only. FineZ overwrites, FineZMax keeps
  // the larger (equal: the new z), FineZMin the smaller. Cost per edge: the matrix cells it reaches
  // (samples that clamp onto one border cell are folded), not its length.
  void DrawInMatrixFineZ(CSSEMatrix* m);
  void DrawInMatrixFineZMax(CSSEMatrix* m);
  void DrawInMatrixFineZMin(CSSEMatrix* m);
  // Coarse extruded toward smaller y: in every sample column of the Coarse grid (same copy, ranges,
  // margin 9 and stamps) that holds an inside sample, every sample row from the grid's first row up to
  // the column's last inside sample is stamped with Set3x3BoxPoint(x, y, value), so the region in
  // front of the outline (rows below it) is filled as well as its inside. Cost and work budget as Coarse.
  void DrawInMatrixAndFillToOneSideFront(float value, CSSEMatrix* m, float yFrom, float yTo, bool subsample);
  // The Fine scan (whole box, thinned by Subsample(5) when subsample is true) writing value into m and,
  // into distances (when not null and with pixels), the x-y distance from the cell's normalized
  // position (x·resX, y·resY) to the nearest edge of the copy's normalized ring (NormalizeXYZ(res)).
  // Cost: inside cells times edges; thin long outlines.
  void InternalAreaDistanceTransform(float value, CSSEMatrix* m, CSSEMatrix* distances, t_resolutiondata& res,
                                     bool subsample);

  // ---- convex hull (SSE3dPolygonHull.cpp) ----
  // Replaces the points by their convex hull in x-y (CHConvexHull2D: counter-clockwise from the lowest
  // point, z kept, points within the hull's 0.0005 area tolerance of an edge dropped). Flag cleared,
  // normalized coordinates uninitialised, stored points kept. Fewer than three distinct points leave
  // what the hull keeps of them (the anchor and the farthest point); a failed scan (the hull's "Error")
  // leaves the polygon empty; an empty polygon stays as it is.
  void ReplaceByConvexHullXY();

  // ---- persistence (SSE3dPolygonIO.cpp) ----
  // Archive: int32 count, then ceil(count/4) blocks of 4 X, 4 Y, 4 Z floats (padding lanes as they
  // stand). Loading overwrites the last point with the last-but-one, deliberately, so data stored and
  // read back stays the same as before; a single point is kept as read. A negative count or one the
  // file cannot hold throws CArchiveException before anything is allocated.
  void Serialize(CArchive& ar);
  // Version-2 stream: count, points, normalized points, centre, flag, and when the flag is set the
  // minimum, maximum, 2-D maximum and 2-D minimum corners.
  void Serialize(CbStreamWriteBinary& stream) const;
  // Reads versions 1 (points only) and 2; an unknown version gives an empty polygon. A negative count
  // or one the stream cannot hold throws CbException before anything is allocated. Both loaders read
  // into a temporary: on any exception (a short record, a set flag without its box) the polygon is
  // unchanged, stored box, centre and flag included.
  void Serialize(CbStreamReadBinary& stream);

 private:
  enum StoredPoint { kMax = 0, kMin = 1, kCenter = 2, kMax2D = 3, kMin2D = 4 };

  bool Valid(int i) const { return i >= 0 && i < m_count; }
  void ZeroStored();
  // Takes src's arrays over (src becomes empty) and copies its stored points and flag: the effect of
  // CreateSimilar(src) without copying the coordinates.
  void TakeOver(CSSE3dPolygon& src);
  void ReParametrizeImpl(float step, int* map, bool withZ);
  template <class Pick>
  void FilterZ(Pick pick);
  int ClosestPointXYImpl(float x, float y, int step, bool withLast) const;
  int ClosestPointXWithExtremeY(float x, float tolerance, bool maximal) const;
  float MinDistanceToRing(const float* xs, const float* ys, const float* zs, float x, float y, float z, int step,
                          bool closed) const;
  void MoveAlongNormals(float r);
  // axis 0, 1, 2: x, y, z; upper keeps coordinate >= value, otherwise <= value.
  void KeepSide(int axis, float value, bool upper);
  template <class Pred>
  void KeepPointsWhere(Pred keep);
  bool Offset(float distance, OffsetJoin join, float miterLimit, float arcTolerance);
  // Replaces the points by the ring's; box and centre become zero, flag clear.
  void SetRing(const std::vector<qssse::rings::Vertex>& r);
  bool InsideTest(const float* xs, const float* ys, float x, float y, int step) const;
  // The fill rule's count and box rejection, then InsideTest on the given coordinate arrays.
  bool InsideWithinBox(const float* xs, const float* ys, float x, float y, int step);
  bool InsideWithinBox(const float* xs, const float* ys, const SSEPoint& p, int step);

  float* m_x = nullptr;
  float* m_y = nullptr;
  float* m_z = nullptr;
  float* m_nx = nullptr;
  float* m_ny = nullptr;
  float* m_nz = nullptr;
  int m_count = 0;
  SSEPoint* m_stored = nullptr;  // the five stored points, see StoredPoint
  bool m_boxCalculated = false;
};

// ---- inline per-point access ----

inline void CSSE3dPolygon::SetPoint(int i, float x, float y, float z) {
  if (!Valid(i)) return;
  m_x[i] = x;
  m_y[i] = y;
  m_z[i] = z;
  m_boxCalculated = false;
}
inline void CSSE3dPolygon::GetPoint(int i, float& x, float& y, float& z) const {
  if (!Valid(i)) return;
  x = m_x[i];
  y = m_y[i];
  z = m_z[i];
}
inline void CSSE3dPolygon::SetPointXY(int i, float x, float y) {
  if (!Valid(i)) return;
  m_x[i] = x;
  m_y[i] = y;
  m_boxCalculated = false;
}
inline void CSSE3dPolygon::SetPointXZ(int i, float x, float z) {
  if (!Valid(i)) return;
  m_x[i] = x;
  m_z[i] = z;
  m_boxCalculated = false;
}
inline void CSSE3dPolygon::SetPointZY(int i, float z, float y) {
  if (!Valid(i)) return;
  m_z[i] = z;
  m_y[i] = y;
  m_boxCalculated = false;
}
inline void CSSE3dPolygon::GetPointXY(int i, float& x, float& y) const {
  if (!Valid(i)) return;
  x = m_x[i];
  y = m_y[i];
}
inline void CSSE3dPolygon::GetPointXZ(int i, float& x, float& z) const {
  if (!Valid(i)) return;
  x = m_x[i];
  z = m_z[i];
}
inline void CSSE3dPolygon::GetPointZY(int i, float& z, float& y) const {
  if (!Valid(i)) return;
  z = m_z[i];
  y = m_y[i];
}
inline void CSSE3dPolygon::SetPointX(int i, float x) {
  if (!Valid(i)) return;
  m_x[i] = x;
  m_boxCalculated = false;
}
inline void CSSE3dPolygon::SetPointY(int i, float y) {
  if (!Valid(i)) return;
  m_y[i] = y;
  m_boxCalculated = false;
}
inline void CSSE3dPolygon::SetPointZ(int i, float z) {
  if (!Valid(i)) return;
  m_z[i] = z;
  m_boxCalculated = false;
}
inline void CSSE3dPolygon::GetPointX(int i, float& x) const {
  if (Valid(i)) x = m_x[i];
}
inline void CSSE3dPolygon::GetPointY(int i, float& y) const {
  if (Valid(i)) y = m_y[i];
}
inline void CSSE3dPolygon::GetPointZ(int i, float& z) const {
  if (Valid(i)) z = m_z[i];
}
inline void CSSE3dPolygon::SetPointSSE(int i, const SSEPoint& p) { SetPoint(i, p.x, p.y, p.z); }
inline void CSSE3dPolygon::GetPointSSE(int i, SSEPoint& p) const {
  p.m = qssse::simd::zero();
  if (!Valid(i)) return;
  p.x = m_x[i];
  p.y = m_y[i];
  p.z = m_z[i];
}
inline void CSSE3dPolygon::GetPointXYSSE(int i, SSEPoint& p) const {
  p.m = qssse::simd::zero();
  if (!Valid(i)) return;
  p.x = m_x[i];
  p.y = m_y[i];
}
inline void CSSE3dPolygon::GetPointSSEClosed(int i, SSEPoint& p) const {
  p.m = qssse::simd::zero();
  if (m_count <= 0) return;
  GetPointSSE(i % m_count, p);
}
inline void CSSE3dPolygon::GetPointSSEModulo(int i, SSEPoint& p) const {
  p.m = qssse::simd::zero();
  if (m_count <= 0) return;
  int r = i % m_count;
  if (r < 0) r += m_count;
  GetPointSSE(r, p);
}
inline void CSSE3dPolygon::SetPointNormalized(int i, float x, float y, float z) {
  if (!Valid(i)) return;
  m_nx[i] = x;
  m_ny[i] = y;
  m_nz[i] = z;
  m_boxCalculated = false;
}
inline void CSSE3dPolygon::GetPointNormalized(int i, float& x, float& y, float& z) const {
  if (!Valid(i)) return;
  x = m_nx[i];
  y = m_ny[i];
  z = m_nz[i];
}
inline void CSSE3dPolygon::GetPointNormalizedXY(int i, float& x, float& y) const {
  if (!Valid(i)) return;
  x = m_nx[i];
  y = m_ny[i];
}
inline void CSSE3dPolygon::SetPointNormalizedSSE(int i, const SSEPoint& p) {
  SetPointNormalized(i, p.x, p.y, p.z);
}
inline void CSSE3dPolygon::GetPointNormalizedSSE(int i, SSEPoint& p) const {
  p.m = qssse::simd::zero();
  if (!Valid(i)) return;
  p.x = m_nx[i];
  p.y = m_ny[i];
  p.z = m_nz[i];
}
inline void CSSE3dPolygon::GetPointNormalizedXYSSE(int i, SSEPoint& p) const {
  p.m = qssse::simd::zero();
  if (!Valid(i)) return;
  p.x = m_nx[i];
  p.y = m_ny[i];
}
