#pragma once
#include <memory>

#include "qssse/platform/Export.h"

class CSSEMatrix;

// Per-row span array of a CSSEMatrix: for each group of four pixel rows (one SIMD row), the first and
// the last column at which the height field changes (differs from its left neighbour by 0.005 or more).
// A group that no scan has set holds (0, 999999), the value for a whole row.
//
// Copies share the span array (assignment copies the pointer and the count, not the spans); the array
// is released with its last holder, so sharing never double-frees.
class QSSSE_API CImgFromToArray {
 public:
  static constexpr int kWholeRowTo = 999999;
  static constexpr float kChangeTolerance = 0.005f;

  CImgFromToArray() = default;
  ~CImgFromToArray();

  // Fills the spans from m between the columns x0 and x1 (each clamped; 0 or negative becomes 0). The
  // forward scan sets from at the first change after x0; the backward scan sets to at the last change
  // above max(from, x0), so a single step leaves to at 999999. Does nothing on a matrix without pixels.
  void CalcArray(const CSSEMatrix& m, int x0, int x1);
  // 1 when x lies within the spans around y: r = 1 tests group y >> 2 alone (y is not clamped: outside
  // the array gives 0); r >= 2 tests the groups from (y - r) >> 2 up to but not including (y + r) >> 2,
  // and a range with no such group gives 1. 0 when there is no array.
  int IsPositionInArray(int x, int y, int r) const;
  // Narrows [from, to] to the spans around y. With r = 1, y is deliberately used as a GROUP index
  // (clamped to the array) and from/to are replaced by that group's span; with r >= 2 the union of the
  // groups tested by IsPositionInArray bounds the interval, and no group leaves it empty (from > to).
  // Does nothing when there is no array.
  void GetFromToCoords(int& from, int& to, int y, int r) const;
  // Draws the two span borders into m with value 1: the polyline through (from[g], 4g) and the one
  // through (to[g], 4g), each segment rasterised with clamped writes (999999 lands on the right border).
  void DrawInMatrix(CSSEMatrix& m) const;

  int GetCount() const { return count; }
  int GetFrom(int group) const;  // from of a group; 0 outside the array
  int GetTo(int group) const;    // to of a group; 999999 outside the array

 protected:
  // Releases any array; count = (sizeY + 3) >> 2 (0 for sizeY <= 0); every pair becomes (0, 999999).
  void AllocArray(int sizeY);

 private:
  std::shared_ptr<int[]> spans;  // count pairs (from, to), interleaved
  int count = 0;
};
