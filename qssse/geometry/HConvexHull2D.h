#pragma once
#include <cstdint>

#include "qssse/platform/Export.h"

class CSSE3dPolygon;
class CSSE2dPolygon;

// One input point of the 2-D hull.
struct tPointStruc {
  int vnum;      // index of the point in the input polygon
  float x, y, z;
  bool deleted;  // collinear with the anchor and nearer than another point, or equal to another point
};

// One cell of the scan's stack (a singly linked list, one allocation per cell).
struct tStackCell {
  tPointStruc* p;     // into the hull's point array
  tStackCell* next;   // the cell below
};

// Convex hull of a polygon's points projected to the x-y plane, by Graham's scan; z rides along with
// each point. The polygon is read as a point set (order and closure do not matter) and only in the
// constructor, which does all the work.
//
// Hull points are the strict left turns: a point within the 0.0005 doubled-area tolerance of a hull
// edge is dropped, of the points on one ray from the anchor only the farthest survives, and of two
// equal points the one with the higher index. The anchor is the lowest point (the leftmost of several).
//
// No state is shared between objects: hulls may be built on several threads at once.
class QSSSE_API CHConvexHull2D {
 public:
  // Builds the hull of polygon's points. A null or empty polygon gives an empty hull. Throws
  // CMemoryException when the points or the stack cannot be allocated (nothing is leaked).
  explicit CHConvexHull2D(CSSE3dPolygon* polygon);
  CHConvexHull2D(const CHConvexHull2D&) = delete;
  CHConvexHull2D& operator=(const CHConvexHull2D&) = delete;
  ~CHConvexHull2D();

  // Recreates out with the h hull points (x, y, z) counter-clockwise from the anchor at index 0; the
  // last index is the top of the stack. An empty hull (no points, or a failed scan) gives an empty
  // polygon. A null out is ignored.
  void ObtainConvexHull3D(CSSE3dPolygon* out);
  // The same with x and y only.
  void ObtainConvexHull2D(CSSE2dPolygon* out);

  // Points left after the squash (all input points when nothing was deleted).
  int GetNumPoints() const { return n; }
  // Collinear or equal pairs met while sorting: one per such comparison, so it may exceed the number
  // of points deleted.
  int GetNumDeleted() const { return nDelete; }
  // Top of the stack (the last hull point), null for an empty hull.
  const tStackCell* GetStackTop() const { return top; }

 protected:
  // Swaps the lowest point (smallest y, then smallest x) into place 0, the anchor.
  void FindLowest();
  // Sorts count records of size bytes at base by Compare. Fewer than 2 records, or records larger than
  // 64 bytes, are left alone. O(n log n) even where the tolerance makes Compare inconsistent.
  void QuickSort(void* base, unsigned int count, unsigned int size);
  // Angular order about the anchor (counter-clockwise first). Deliberately not a pure comparison: a
  // pair on one ray counts as a deletion and the nearer point (of equal points the lower index) is
  // flagged. Returns 0 only for equal points.
  int Compare(const void* a, const void* b);
  // Compares each unflagged point with the next unflagged one in sorted order, so that exactly one
  // point survives on every ray even where the sort never brought two copies of a point together.
  void CompareSurvivors();
  // Moves the unflagged points to the front, keeping their order, and lowers n to their number.
  void Squash();
  // The scan over the sorted points: the top of the finished stack, or null after printing "Error\n"
  // to standard output when the stack runs down to the anchor (nearly collinear input).
  tStackCell* Graham();
  // A new cell holding p over below.
  tStackCell* Push(tPointStruc* p, tStackCell* below);
  // Frees the cell and returns the one below it.
  tStackCell* Pop(tStackCell* cell);
  void Copy(int from, int to);
  void Swap(int i, int j);

  int n;
  int nDelete;
  tPointStruc* P;
  tStackCell* top;

 private:
  // Quicksort of one range that falls back to HeapSort once the comparison allowance is spent.
  void SortRange(unsigned char* records, unsigned count, unsigned size, std::int64_t& allowance);
  void HeapSort(unsigned char* records, unsigned count, unsigned size);
  void Release();
};
