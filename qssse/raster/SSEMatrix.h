#pragma once
#include <immintrin.h>

#include <cstdint>
#include <utility>

#include "qssse/platform/Export.h"
#include "qssse/platform/Field2D.h"
#include "qssse/platform/ReferenceCounted.h"
#include "qssse/platform/String.h"
#include "qssse/raster/ImgFromToArray.h"
#include "qssse/raster/PixelLayout.h"

class CArchive;
class CSSEcharMatrix;
class CbStreamWriteBinary;
class CbStreamReadBinary;

// The library's float raster: a height field of sizeX by sizeY floats, x the column, y the row.
//
// Layout (every SIMD kernel of the library depends on it):
//  - one __m128 holds four vertically adjacent pixels: lane l of element x of SIMD row g is pixel
//    (x, 4g + l); the float address of pixel (x, y) is rows[y >> 2] + 4x + (y & 3);
//  - sseSizeX = sizeX, sseSizeY = (sizeY >> 2) + 1, so there is always at least one padding lane row at
//    the bottom; padding pixels take part in SIMD operations and in persistence, and are 0 after Create;
//  - SIMD rows are allocated in fields of 32 SIMD rows (128 pixel rows), at most 250 fields, so sizeY is
//    at most kMaxSizeY = 31999; every block and the rows array are 16-byte aligned.
//
// Coordinates outside the matrix are clamped to the nearest border pixel on reads and writes, on
// purpose: callers stamp and read near the border without bounds tests. A new matrix holds 0, the usual
// "no value". Copy construction and assignment are deep (through CopyFromSSEMatrix).
//
// Robustness: reading from a matrix without pixels (default-constructed, freed, or of size 0) returns 0
// and writing to it does nothing; Create rejects negative sizes and sizeY > kMaxSizeY with
// CInvalidArgumentException; allocation failure raises CMemoryException.
class QSSSE_API CSSEMatrix : public CbReferenceCounted {
 public:
  static constexpr int kMaxFields = 250;
  static constexpr int kLinesPerField = 32;
  static constexpr int kMaxSizeY = kMaxFields * kLinesPerField * 4 - 1;  // 31999

  // ---- construction and lifetime (SSEMatrix.cpp) ----
  CSSEMatrix();                                           // empty: sizes 0, no storage
  CSSEMatrix(const CSSEMatrix& other);                    // deep copy through CopyFromSSEMatrix
  explicit CSSEMatrix(const DmField2D<float, 1>& field);  // copy through CopyFromField
  CSSEMatrix& operator=(const CSSEMatrix& other);         // deep copy; self-assignment does nothing
  ~CSSEMatrix() override;

  // Frees any storage, sets the sizes by the layout rules and allocates zeroed storage (padding too).
  // Negative sizes or sizeY > kMaxSizeY throw CInvalidArgumentException; a size of 0 gives a matrix without
  // pixels (a 0-wide one holds no elements, an n x 0 one holds its padding row only).
  void Create(int sizeX, int sizeY);
  // Create without zeroing: the elements hold whatever the allocator returned.
  void CreateNoClear(int sizeX, int sizeY);
  // Create with the other matrix's sizeX and sizeY.
  void CreateSimilar(const CSSEMatrix& other);
  // Releases the storage; sizeX and sizeY are kept (the matrix then has no pixels).
  void Free();
  // Every element (padding included) becomes 0, respectively v.
  void Clear();
  void Fill(float v);

  // ---- element access, clamped (inline) ----
  // Pixel (x, y) with x clamped to [0, sizeX-1] and y to [0, sizeY-1]; 0 for a matrix without pixels.
  float GetPoint(int x, int y) const;
  // Writes the clamped pixel; does nothing on a matrix without pixels.
  void SetPoint(int x, int y, float v);
  // Address of the clamped pixel; nullptr for a matrix without pixels.
  float* GetPointAddress(int x, int y);
  const float* GetPointAddress(int x, int y) const;

  __m128* GetField(int i) const { return fields[i]; }  // fields[i] without any check
  int GetFields() const { return fieldCount; }
  int GetLinesPerField() const { return kLinesPerField; }
  int GetSSESizeX() const { return sseSizeX; }
  int GetSSESizeY() const { return sseSizeY; }
  int GetSizeX() const { return sizeX; }
  int GetSizeY() const { return sizeY; }
  __m128** GetMatrixDataDirectly() const { return rows; }  // the SIMD rows; nullptr without storage
  int GetRowProcessed() const { return rowProcessed; }
  void SetRowProcessed(int row) { rowProcessed = row; }
  CImgFromToArray& GetFromToArray() { return fromTo; }
  const CImgFromToArray& GetFromToArray() const { return fromTo; }
  // True when the matrix has storage and at least one pixel.
  bool HasPixels() const { return rows != nullptr && sizeX > 0 && sizeY > 0; }

  // ---- copying (SSEMatrix.cpp) ----
  // Deep copy of src, padding included; in place when the sizes agree, else after Create. A source
  // without storage leaves this matrix unchanged.
  void CopyFromSSEMatrix(const CSSEMatrix& src);
  // Create(sizeX, sizeY), then pixel (x, y) = (float)src[y][x]; a null src leaves the zeroed matrix.
  void CopyFromMatrix(double** src, int sizeX, int sizeY);
  // Create with the field's sizes, then copy every value.
  void CopyFromField(const DmField2D<float, 1>& field);
  // Keeps this size: clears, then crops the centred window of a larger (or equal) src:
  // this(x, y) = src(x - (sizeX >> 1) + (src.sizeX >> 1), y - (sizeY >> 1) + (src.sizeY >> 1)), reads
  // clamped. A src smaller in either direction (or sizeY < 1) leaves the matrix all 0.
  void CopyFromSSEMatrixCentered(const CSSEMatrix& src);
  // The same window without clearing: each pixel takes the window value when it is strictly larger,
  // respectively smaller; a smaller src leaves the matrix unchanged.
  void CopyFromSSEMatrixCenteredMaximum(const CSSEMatrix& src);
  void CopyFromSSEMatrixCenteredMinimum(const CSSEMatrix& src);

  // ---- value queries (SSEMatrix.cpp) ----
  // Deliberately maximum first, minimum second (callers depend on this order). Matrices with
  // sseSizeY > 2 and sseSizeX > 6 are scanned by SIMD without a frame of one SIMD row at top and bottom
  // and three columns left and right, starting from min 1e6 / max -1e6 (so min <= 1e6 and max >= -1e6
  // always); smaller ones are scanned pixel by pixel from +-FLT_MAX; a matrix without pixels yields the
  // inverted range max = +FLT_MAX, min = -FLT_MAX. NaN pixels are ignored; of equal extremes (+0 and
  // -0) each lane keeps the first in scan order (SIMD rows down, columns across), and the four lanes are
  // joined as CSSEFns::min_of_m128 / max_of_m128 join them.
  void CalcMinMaxValues(float* maxOut, float* minOut) const;

  // ---- persistence (SSEMatrixIO.cpp) ----
  // All formats write the elements column by column: for x (outer), for SIMD row g (inner), the four
  // lanes of element (g, x); padding rows included, sseSizeX * sseSizeY * 4 floats.
  // Archive: sizeX, sizeY (int32), then the floats. Loading keeps the storage when the sizes agree,
  // else re-creates the matrix. A header with negative sizes, sizeY > kMaxSizeY or more data than the
  // file holds throws CArchiveException (badIndex, endOfFile) before anything changes.
  void Serialize(CArchive& ar);
  // Stream: version record 1, sizeX, sizeY (int32), then the floats.
  void Serialize(CbStreamWriteBinary& stream) const;
  // Stream: a version other than 1 leaves a 0 x 0 matrix; otherwise the matrix is always re-created and
  // read. Impossible sizes or more data than the stream holds throw CbException before allocating.
  // Every loader reads into a temporary: on any exception (a short file, the memory ceiling) the matrix
  // is unchanged.
  void Serialize(CbStreamReadBinary& stream);
  // Writes the archive format to a file (created or truncated); false when it cannot be opened.
  bool Store(const CString& path) const;
  // Reads the archive format from a file; false when it cannot be opened; a truncated or corrupt file
  // throws CArchiveException.
  bool Load(const CString& path);

  // ---- stamping (inline, SSEMatrixStamp.h) ----
  // Each stamp clamps its centre so that the whole footprint lies inside the matrix: a stamp near the
  // border is shifted inward as a whole, never cut off (callers stamp without bounds tests). On a matrix
  // smaller than the footprint each footprint pixel is clamped on its own instead. Combining rules:
  // overwrite stores v; Min stores p if v > p, else v; Max stores p if p > v, else v (so a NaN on
  // either side stores v).
  void SetPointMin(int x, int y, float v);
  void SetPointMax(int x, int y, float v);
  void SetPointAndRightOfPoint(int x, int y, float v);  // (cx, cy), (cx+1, cy); cx in [0, sizeX-2]
  void SetPointAndLeftOfPoint(int x, int y, float v);   // (cx, cy), (cx-1, cy); cx in [1, sizeX-1]
  void SetTriplePointMin(int x, int y, float v);        // (cx-1..cx+1, cy)
  void SetTriplePointMax(int x, int y, float v);
  void SetCross(int x, int y, float v);  // (cx-1,cy), (cx,cy), (cx+1,cy), (cx,cy-1), (cx,cy+1)
  void SetCrossMin(int x, int y, float v);
  void SetCrossMax(int x, int y, float v);
  void Set3x3BoxPoint(int x, int y, float v);
  void Set3x3BoxPointMin(int x, int y, float v);
  void Set3x3BoxPointMax(int x, int y, float v);
  void Set5x5BoxPointMin(int x, int y, float v);
  void Set5x5BoxPointMax(int x, int y, float v);
  void Set11x11BoxPointMax(int x, int y, float v);
  // Maximum of the five-pixel CROSS around the clamped centre, not of the 3x3 box the name promises:
  // callers depend on the cross. 0 for a matrix without pixels.
  float GetPointMax3x3(int x, int y) const;

  // ---- morphology (SSEMatrixMorphology.cpp) ----
  // All of them do nothing on a matrix without storage and never allocate beyond the documented
  // temporaries; a failed allocation throws CMemoryException before the matrix changes.
  //
  // Every lane p with -0.002 < oldValue - p < 0.002 (padding included) becomes newValue; NaN lanes stay.
  void ReplaceValueWithValue(float oldValue, float newValue);
  // The same with -tolerance < oldValue - p < tolerance (the scan converters pass 1.0).
  void ReplaceValueWithValue(float oldValue, float newValue, float tolerance);
  // Sets whole SIMD elements to value: columns 0 .. min(nx, sizeX)-1, columns max(sizeX-nx-1, 0) ..
  // sizeX-1 (one column more on the right), SIMD rows 0 .. (ny >> 2)-1 and max(sseSizeY-(ny >> 2)-1, 0)
  // .. sseSizeY-1 (one SIMD row more at the bottom). Negative nx or ny set no left/top band.
  void RemoveFrameArtefacts(int nx, int ny, float value);
  // 3-4 chamfer distance of a 0/1 mask to the nearest 1 pixel (3 per axial, 4 per diagonal step): 0
  // pixels start at 99999.9, 1 pixels at 0, other values act as preset distances. The forward mask uses
  // the LOWER-left neighbour (x-1, y+1), the backward one the upper-right (x+1, y-1): the mask runs
  // along x. The frame of RemoveFrameArtefacts(4, 4, 0) is 0 afterwards. NaN pixels stay NaN and pass
  // no distance on. Works in place, without a temporary.
  void Chamfer();
  // Disc erosion inside the rectangle [x0, x1] x [y0, y1] (clamped to the image; empty does nothing):
  // a pixel != bgValue becomes bgValue when a pixel of the value before the operation at squared
  // distance <= floor(radius^2) within floor(radius) columns and rows AND inside the rectangle equals
  // bgValue, else fgValue. Background outside the rectangle does not erode. A radius below 1 (also 0,
  // negative or NaN) only binarises; a NaN bgValue matches nothing; a pixel equal to bgValue keeps its
  // bits (a stored -0 stays -0 for a background of 0). Needs temporaries of about max(64, 8R) + R rows
  // of the rectangle (never more than all of it), one byte per pixel (two when R and the rectangle
  // height both reach 255).
  void Errode(float radius, float bgValue, float fgValue, int x0, int x1, int y0, int y1);
  // Exactly Errode(radius, b, a, x0, x1, y0, y1): pixels near value b become b, the others a (so
  // Dilate(r, 0, 1, ...) grows a 1 region on 0).
  void Dilate(float radius, float a, float b, int x0, int x1, int y0, int y1);
  // Thins the region strictly above threshold to a skeleton of 1.0 on 0 (padding and border pixels
  // end 0). Zhang-Suen with 3 <= C <= 6 (not 2, so two-pixel end points stay) and a stop after the
  // first sub-iteration that deletes nothing; at most 1000 iterations. NaN pixels are background.
  // Needs about nine bytes per pixel as temporaries.
  void ZhangSuen(float threshold);

  // ---- greyscale erosion and dilation (SSEMatrixMinMaxFilter.cpp) ----
  // In place, every pixel becomes the minimum, respectively maximum, of the pixels (x + dx, y + dy)
  // with dx^2 + dy^2 <= radius^2 that lie inside the image (the disc is clipped at the border, not
  // clamped). Exact: the result is one of the values, with -0 below +0. NaN pixels keep their bits and
  // are skipped as neighbours. A radius below 1 (0, negative, NaN) leaves the matrix unchanged; one
  // beyond sizeX + sizeY acts as sizeX + sizeY. Padding is left alone. Costs O(radius) per pixel and
  // temporaries of about 2 (2r + 8) (sizeX + 2r) floats, r the radius capped at the image's size.
  void MinimumFilterDisc(float radius);
  void MaximumFilterDisc(float radius);

  // ---- filters, frames and value edits (SSEMatrixImageOps.cpp) ----
  // All work on the real pixels in place, leave padding alone, and do nothing without pixels.
  //
  // Mean of the (2 radiusX + 1) x (2 radiusY + 1) window clipped to the image, NaN pixels kept and
  // skipped: in double, each window row summed left to right and the row sums top to bottom, divided by
  // the number of pixels summed. Bit for bit MaskFilter with a mask of ones, normalised. Negative radii
  // count as 0, radii beyond the image as its size.
  void BoxFilter(int radiusX, int radiusY);
  // Weighted sum over a mask whose pixel (mask.sizeX >> 1, mask.sizeY >> 1) lies on the pixel: the sum
  // of w(i, j) * p(x + i - cx, y + j - cy) over the weights that are neither 0 nor NaN and whose pixel
  // lies inside the image and is not NaN, in double and in BoxFilter's order. With normalise, divided by
  // the sum of those weights (a pixel where they sum to 0 stays). NaN pixels stay; a mask without pixels
  // does nothing.
  void MaskFilter(const CSSEMatrix& mask, bool normalise);
  // Grows the matrix by nx columns left and right and ny rows at the top and bottom, all value: pixel
  // (x, y) moves to (x + nx, y + ny). Negative counts are 0. A result higher than kMaxSizeY or wider
  // than INT_MAX throws CInvalidArgumentException with the matrix unchanged. The storage is replaced.
  void EmbedInFrame(int nx, int ny, float value);
  // The inverse: the pixels nx .. sizeX - nx - 1, ny .. sizeY - ny - 1 become the matrix (a frame of
  // half the matrix or more leaves a size of 0 in that direction). Negative counts are 0. The storage
  // is replaced.
  void ExtractFromFrame(int nx, int ny);
  // Pixels strictly above (RemoveTop), respectively below (RemoveBottom), level become value (pass
  // value = level to cut the field flat there, 0 to drop that part); returns how many.
  int RemoveTop(float level, float value);
  int RemoveBottom(float level, float value);
  // Both sides of a step: every pixel that differs by more than maxStep from one of its four neighbours
  // becomes value, judged on the values before the operation. Neighbours holding value (the "no value"
  // marker, usually 0) or NaN do not count, so the rim of a covered area is no step; pixels holding
  // value stay. Returns how many pixels were set.
  int RemoveSteps(float maxStep, float value);

  // ---- area filling and thin-area removal (SSEMatrixFill.cpp) ----
  // Flood fill: the 4-connected area of pixels that match the pixel at (x, y) (clamped) becomes value.
  // A pixel matches when -0.002 < seed - p < 0.002 (ReplaceValueWithValue's tolerance, measured from
  // the seed, not from the neighbour) or when both are NaN. Returns the number of pixels filled.
  int FillArea(int x, int y, float value);
  // Hole filling: the background (pixels not above threshold, NaN included) that no 4-connected path
  // of background joins to the image border becomes value. Returns the number of pixels filled.
  int FillHoles(float threshold, float value);
  // Opening by a disc: a pixel of the region above threshold stays only when a disc (Errode's disc:
  // squared distance <= floor(radius^2)) centred on a region pixel covers it and holds no background
  // pixel of the image; the disc may reach past the border. The others become value; returns how many.
  // A radius below 1 (or NaN) removes nothing. Needs one float matrix and Errode's temporaries.
  int RemoveThinAreas(float radius, float threshold, float value);

  // ---- first-point searches (SSEMatrixSearch.cpp) ----
  // Walks from (x, y) (clamped) in steps of (dx, dy) while inside the image and stops at the first
  // pixel strictly above (Below: strictly below) threshold: true with (x, y) set to it, false with
  // (x, y) unchanged when there is none. dx = dy = 0 tests the start pixel only.
  bool FindFirstPointAbove(int& x, int& y, int dx, int dy, float threshold) const;
  bool FindFirstPointBelow(int& x, int& y, int dx, int dy, float threshold) const;
  // The left silhouette of the masked region: in every pixel row the first pixel from the left whose
  // mask pixel is non-zero and whose value lies strictly above threshold (pixels outside the mask's
  // extent count as unmasked); the points of consecutive rows are joined by 8-connected digital lines
  // (Bresenham) drawn with value, a row without a point breaking the line. The search reads the values
  // before any drawing. Returns the number of rows with a point.
  int DrawFirstPointLinedUseMask(const CSSEcharMatrix& mask, float threshold, float value);

  // ---- resampling (SSEMatrixScale.cpp) ----
  // Bilinear, corner-aligned resampling in place: target (i, j) samples source (i * sx, j * sy) with
  // sx = sizeX / newSizeX in float, the weights and the sum in the fixed order of the plain loop;
  // padding of the result holds source (0, 0). Does nothing for a size below 1 or without pixels;
  // newSizeY above kMaxSizeY throws CInvalidArgumentException with the matrix unchanged.
  void ScaleMatrix(int newSizeX, int newSizeY);
  // The same four rows at a time with SIMD; equal to ScaleMatrix bit for bit on every pixel, except
  // that of two NaN results the payloads may differ (the processor passes on one operand's NaN, and
  // compilers may swap the operands of a sum or a product). The result is built in new storage that replaces the old (earlier row pointers become invalid).
  void ScaleMatrix_SSE(int newSizeX, int newSizeY);
  // The same resampling of this matrix into target, which is re-created at the new size unless it has
  // that size already (then its storage, its pages already in memory, is reused); this matrix is
  // unchanged. target == this scales in place. A size below 1 or a matrix without pixels leaves target
  // as it is.
  void ScaleMatrix_SSE(int newSizeX, int newSizeY, CSSEMatrix& target) const;

  // ---- value queries, row fill and masks (SSEMatrixQueries.cpp) ----
  // All queries read the real pixels only (never padding) and skip NaN pixels.
  //
  // As CalcMinMaxValues (maximum first), over all real pixels without any frame and skipping exact 0;
  // no such pixel gives the inverted range max = +FLT_MAX, min = -FLT_MAX.
  void CalcMinMaxValuesExcludeZero(float* maxOut, float* minOut) const;
  // Extremes over the rectangle [x0, x1] x [y0, y1] (inclusive, clipped to the image). An empty
  // rectangle or no pixel gives the neutral value: -FLT_MAX for the maximum, +FLT_MAX for the minima.
  float CalcMaxValueOfPatch(int x0, int x1, int y0, int y1) const;
  float CalcMinValueOfPatch(int x0, int x1, int y0, int y1) const;
  float CalcMinValueOfPatchExcludeZero(int x0, int x1, int y0, int y1) const;  // skips exact 0
  // Number of real pixels strictly above, respectively below, threshold (0 without pixels).
  int NumValuesAbove(float threshold) const;
  int NumValuesBelow(float threshold) const;
  // Number of real pixels strictly above, respectively below, the pixel of ref at the same position
  // (ref read clamped); 0 when either matrix has no pixels.
  int NumValuesAbove(const CSSEMatrix& ref) const;
  int NumValuesBelow(const CSSEMatrix& ref) const;
  // Sum of the real pixels in double, in the order x outer, y inner (0 without pixels).
  double IntegrateMatrix() const;
  // Bilinear read at (x, y), the position clamped to [0, sizeX-1] x [0, sizeY-1] (NaN reads as 0), with
  // the weights and summation order of ScaleMatrix; 0 without pixels.
  float GetPixelPreciseFloat(float x, float y) const;
  // Every real pixel row becomes a copy of row GetRowProcessed() (clamped to the image): extrudes
  // the processed row over the matrix. Padding is left alone.
  void FillMatrixWithProcessedRow();
  // Keeps the real pixels whose pixel in mask (same x, y) is non-zero and sets the others to 0; pixels
  // outside the mask's extent count as unset, so a mask without pixels clears the matrix. Padding is
  // left alone.
  void Stencil(const CSSEcharMatrix& mask);

 protected:
  // Unchecked address of pixel (x, y): the caller guarantees storage and in-range coordinates.
  float* pixel(int x, int y) const { return qssse::raster::PixelAddress(rows, x, y); }
  // Applies f(__m128* block, std::size_t count) to each allocated field in turn: every element of the
  // matrix, padding included, exactly once. Nothing happens without storage.
  template <class F>
  void ForEachField(F f) const;
  // Number of __m128 held by field i.
  std::size_t FieldElements(int i) const;

 private:
  void Allocate(int sizeX, int sizeY);
  void init();
  template <class Op>
  void StampRect(int x, int y, int left, int right, int up, int down, float v);
  template <class Op>
  void StampCross(int x, int y, float v);
  template <class Op>
  void StampSafe(int x, int y, float v);  // one clamped pixel, combined by Op
  // The SIMD resampling of src into t (sized already, not src).
  static void ScaleInto(const CSSEMatrix& src, CSSEMatrix& t);
  // Exchanges sizes and pixel storage with other (span array and rowProcessed stay): a kernel builds
  // its result in a temporary and keeps it without a copy back.
  void SwapStorage(CSSEMatrix& other) noexcept;

  // Members in their declared order (the layout is part of the interface).
  int sizeX;
  int sizeY;
  int sseSizeX;
  int sseSizeY;
  int rowProcessed;
  int fieldCount;
  __m128* fields[kMaxFields];
  __m128** rows;
  CImgFromToArray fromTo;
};

template <class F>
void CSSEMatrix::ForEachField(F f) const {
  for (int i = 0; i < fieldCount; ++i) {
    if (fields[i] != nullptr) f(fields[i], FieldElements(i));
  }
}

inline void CSSEMatrix::SwapStorage(CSSEMatrix& other) noexcept {
  std::swap(sizeX, other.sizeX);
  std::swap(sizeY, other.sizeY);
  std::swap(sseSizeX, other.sseSizeX);
  std::swap(sseSizeY, other.sseSizeY);
  std::swap(fieldCount, other.fieldCount);
  std::swap(fields, other.fields);
  std::swap(rows, other.rows);
}

inline float CSSEMatrix::GetPoint(int x, int y) const {
  if (!HasPixels()) return 0.0f;
  x = x < 0 ? 0 : x;
  x = x > sizeX - 1 ? sizeX - 1 : x;
  y = y < 0 ? 0 : y;
  y = y > sizeY - 1 ? sizeY - 1 : y;
  return *pixel(x, y);
}

inline void CSSEMatrix::SetPoint(int x, int y, float v) {
  if (!HasPixels()) return;
  x = x < 0 ? 0 : x;
  x = x > sizeX - 1 ? sizeX - 1 : x;
  y = y < 0 ? 0 : y;
  y = y > sizeY - 1 ? sizeY - 1 : y;
  *pixel(x, y) = v;
}

inline const float* CSSEMatrix::GetPointAddress(int x, int y) const {
  if (!HasPixels()) return nullptr;
  x = x < 0 ? 0 : x;
  x = x > sizeX - 1 ? sizeX - 1 : x;
  y = y < 0 ? 0 : y;
  y = y > sizeY - 1 ? sizeY - 1 : y;
  return pixel(x, y);
}

inline float* CSSEMatrix::GetPointAddress(int x, int y) {
  return const_cast<float*>(static_cast<const CSSEMatrix*>(this)->GetPointAddress(x, y));
}

#include "qssse/raster/SSEMatrixStamp.h"
