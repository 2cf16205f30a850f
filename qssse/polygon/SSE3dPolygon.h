#pragma once
#include "qssse/platform/Export.h"
#include "qssse/platform/ReferenceCounted.h"
#include "qssse/polygon/ResolutionData.h"
#include "qssse/vector/SSEPoint.h"
#include "qssse/vector/SimdOps.h"

class CArchive;
class CbStreamWriteBinary;
class CbStreamReadBinary;
class CPixelChain;
class CSSEMatrix;
class CSSEcharMatrix;
class DmPolyLineOld;
class DmHermiteSpline;

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
  // point. Box and centre become zero. k < 1, or closed with no point kept, leaves the polygon as it is.
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
  // +-16,777,216 (where integers stop being floats) are not taken.
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
  // the larger (equal: the new z), FineZMin the smaller.
  void DrawInMatrixFineZ(CSSEMatrix* m);
  void DrawInMatrixFineZMax(CSSEMatrix* m);
  void DrawInMatrixFineZMin(CSSEMatrix* m);
  // Coarse extruded toward smaller y: in every sample column of the Coarse grid (same copy, ranges,
  // margin 9 and stamps) that holds an inside sample, every sample row from the grid's first row up to
  // the column's last inside sample is stamped with Set3x3BoxPoint(x, y, value), so the region in
  // front of the outline (rows below it) is filled as well as its inside.
  void DrawInMatrixAndFillToOneSideFront(float value, CSSEMatrix* m, float yFrom, float yTo, bool subsample);
  // The Fine scan (whole box, thinned by Subsample(5) when subsample is true) writing value into m and,
  // into distances (when not null and with pixels), the x-y distance from the cell's normalized
  // position (x·resX, y·resY) to the nearest edge of the copy's normalized ring (NormalizeXYZ(res)).
  // Cost: inside cells times edges; thin long outlines.
  void InternalAreaDistanceTransform(float value, CSSEMatrix* m, CSSEMatrix* distances, t_resolutiondata& res,
                                     bool subsample);

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
  // or one the stream cannot hold throws CbException before anything is allocated.
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
