#pragma once
#include <immintrin.h>

#include "qssse/platform/Export.h"

class CArchive;
class CSSEMatrix;

// The library's byte raster: sizeX by sizeY 8-bit values, used as masks and labels beside CSSEMatrix.
//
// Layout: byte l of element x of SIMD row g is pixel (x, 16g + l); sseSizeX = sizeX and
// sseSizeY = (sizeY >> 4) + 1, so there is always at least one padding byte row at the bottom. SIMD rows
// are allocated in fields of 32 (512 pixel rows), at most 250 fields (sizeY up to kMaxSizeY = 127999);
// every block and the rows array are 16-byte aligned. Values are raw bytes, 0 the cleared value.
//
// Coordinates outside the matrix are clamped to the nearest border pixel, as for CSSEMatrix. A matrix
// without pixels (default, freed, or of size 0) reads 0 and ignores writes. Create rejects negative
// sizes and sizeY > kMaxSizeY with CInvalidArgumentException; allocation failure raises CMemoryException.
class QSSSE_API CSSEcharMatrix {
 public:
  static constexpr int kMaxFields = 250;
  static constexpr int kLinesPerField = 32;
  static constexpr int kMaxSizeY = kMaxFields * kLinesPerField * 16 - 1;  // 127999

  CSSEcharMatrix();
  CSSEcharMatrix(int sizeX, int sizeY);                         // Create(sizeX, sizeY)
  CSSEcharMatrix(const CSSEcharMatrix& other);                  // CopyFromOtherMatrix
  CSSEcharMatrix(const CSSEcharMatrix& other, int x0, int x1);  // CopyFromOtherMatrixLimitedX
  CSSEcharMatrix& operator=(const CSSEcharMatrix& other);       // deep copy; self-assignment does nothing
  ~CSSEcharMatrix();

  // Frees, sets the sizes by the layout rules and allocates zeroed storage, padding included.
  void Create(int sizeX, int sizeY);
  // Releases the storage; the sizes are kept (the matrix then has no pixels).
  void Free();
  // Every byte of every element, padding included, becomes the low byte of value.
  void Clear(int value);
  // Pixel row y (clamped to [0, sizeY-1]) becomes value for x = 0 .. sizeX-1.
  void ClearRow(int y, unsigned char value);

  // Clamped access: x to [0, sizeX-1] (lower bound first), y to [0, sizeY-1].
  char GetPoint(int x, int y) const;
  void SetPoint(int x, int y, char value);

  void CreateSimilar(const CSSEcharMatrix& other);  // Create with the other's sizeX and sizeY
  void CreateSimilar(const CSSEMatrix& other);
  // Create with src's sizes (always, so the data are zeroed), then copy every element if src has storage.
  void CopyFromOtherMatrix(const CSSEcharMatrix& src);
  // Columns x0 .. x1 of src (each clamped to [0, src.sizeX-1], upper bound first) into columns
  // 0 .. x1-x0: Create(x1 - x0 + 1, src.sizeY) and copy. Nothing happens when src.sizeY < 1; with
  // x0 > x1 the matrix is created with a width of 0 or less (taken as 0) and nothing is copied.
  void CopyFromOtherMatrixLimitedX(const CSSEcharMatrix& src, int x0, int x1);
  // Create with src's sizes (all 0), then value where src(x, y) > threshold, respectively
  // < threshold (strictly; NaN pixels never pass). Padding stays 0. "Treshold" is the interface's
  // spelling and is kept.
  void CopyAndTresholdAbove(const CSSEMatrix& src, float threshold, char value);
  void CopyAndTresholdBelow(const CSSEMatrix& src, float threshold, char value);

  // Archive: sizeX, sizeY (int32), then sizeY * sizeX bytes row by row (y outer, x inner) without
  // padding: deliberately not the column-major, padded order of CSSEMatrix. Loading rejects negative
  // sizes, sizeY > kMaxSizeY, more bytes than the file holds, or storage (16 bytes per column for
  // every 16 rows) above 16 bytes per byte read plus 16 MiB with CArchiveException before allocating;
  // storage above the memory ceiling throws CMemoryException. It reads into a temporary: on any
  // exception the matrix is unchanged.
  void Serialize(CArchive& ar);

  int GetSizeX() const { return sizeX; }
  int GetSizeY() const { return sizeY; }
  int GetSSESizeX() const { return sseSizeX; }
  int GetSSESizeY() const { return sseSizeY; }
  int GetFields() const { return fieldCount; }
  __m128i* GetField(int i) const { return fields[i]; }      // fields[i] without any check
  __m128i** GetMatrixDataDirectly() const { return rows; }  // the SIMD rows; nullptr without storage
  int GetLastCorrelationError() const { return lastCorrelationError; }
  // True when the matrix has storage and at least one pixel.
  bool HasPixels() const { return rows != nullptr && sizeX > 0 && sizeY > 0; }

 private:
  void init();
  // Unchecked address of pixel (x, y).
  char* pixel(int x, int y) const { return reinterpret_cast<char*>(rows[y >> 4]) + 16 * x + (y & 15); }
  template <bool kAbove>
  void Threshold(const CSSEMatrix& src, float threshold, char value);

  // Members in their declared order (the layout is part of the interface).
  __m128i** rows;
  __m128i* fields[kMaxFields];
  int sizeX;
  int sizeY;
  int sseSizeX;
  int sseSizeY;
  int fieldCount;
  int lastCorrelationError;
};
