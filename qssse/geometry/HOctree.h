#pragma once
#include <cstdint>
#include <memory>

#include "qssse/geometry/HOctreeElement.h"
#include "qssse/platform/Export.h"
#include "qssse/vector/SSEPoint.h"

class CHTriangulation;
struct t_htriangle;

// A complete, preallocated octree over a box, into which the triangles of CHTriangulation meshes are
// filed by their bounding boxes: each triangle goes to the deepest element that contains its whole box.
//
// Layout: level k holds all 8^k elements in one 16-byte-aligned, zero-filled block; element i of level k
// has the elements 8i .. 8i + 7 of level k + 1 as its children, positioned by the offset table of
// PositionReferenceOctree. The level count is L = min(trunc(log2(extent / cellSize) + 0.5), 99), extent
// being the largest lane of high - low, so the tree holds (8^L - 1) / 7 elements (L = 6: 37449). Every
// element is allocated by the constructor; filing only allocates entry chunks.
//
// Without levels (extent / cellSize below sqrt(2), a cell size that is not positive, NaN) the tree has no
// root: every member then accepts it and does nothing. A tree that would need more memory than the
// machine has throws CMemoryException before anything is allocated (the count is computed without
// overflow up to the cap of 99 levels; a zero cell size asks for 99 levels and is rejected this way).
//
// Copies share: copy construction and assignment copy the fields, so both objects use the same elements
// and entry lists (filing into one shows in the other). The storage is released with the last object
// that uses it, so any of the copies may be destroyed first.
class QSSSE_API CHOctree {
 public:
  static constexpr int kMaxLevels = 100;  // level arrays; L itself stays at or below 99
  static constexpr int kNumLists = 4;     // entry lists per element
  static constexpr int kChunkEntries = 9;

  // Builds the whole tree over the box (low gives the minima, high the maxima), positions it about
  // (high + low) / 2, and then shows "OctreeCreated" through QsCUserInterfaceManager::ShowMessageBox on
  // every construction (silent unless the host installed a handler). Throws CMemoryException when the
  // tree exceeds the machine's memory or an allocation fails (nothing is leaked).
  CHOctree(const SSEPoint& high, const SSEPoint& low, float cellSize);
  CHOctree(const CHOctree&) = default;
  CHOctree& operator=(const CHOctree&) = default;
  virtual ~CHOctree();

  // The root (element 0 of level 0), or null when the tree has no levels.
  t_hoctreeelement* GetStem() const { return root; }
  // Total number of elements over all levels.
  int GetNumBricks() const { return numBricks; }
  int GetNumLevels() const { return numLevels; }
  // The element block of level k (8^k elements), or null for a level the tree does not have.
  t_hoctreeelement* GetLevel(int k) const { return (k < 0 || k >= numLevels) ? nullptr : levels[k]; }
  int GetNumLevelElements(int k) const { return (k < 0 || k >= numLevels) ? 0 : numElements[k]; }
  float GetExtent() const { return extent; }
  float GetCellSize() const { return cellSize; }

  // Places e at centre (max and min corners centre +- its half-size in every lane) and, recursively, its
  // descendants: child k's centre is centre offset by +-h/2 (h = e's half-size) per axis as
  //   child  0  1  2  3  4  5  6  7
  //   x      +  -  -  +  +  -  -  +
  //   y      +  +  -  -  +  +  -  -
  //   z      -  -  -  -  +  +  +  +
  // i.e. children 0-3 are the lower octants (counter-clockwise from +x +y seen from above), 4-7 the upper.
  // A null e or centre does nothing.
  void PositionReferenceOctree(t_hoctreeelement* e, const SSEPoint* centre);

  // Files every triangle of mesh (records 0 .. GetNumTriangles() - 1) into entry list `list`, each as
  // InsertTriangleIntoOctree(triangle, root, list) does. A null mesh, a rootless tree or a list outside
  // 0..3 does nothing. Time is linear in the triangle count times the depth, however many triangles
  // share one element. The entries are the records' index fields, which readers take as positions: a
  // mesh whose records still carry older positions (after a removal by height) is renumbered first, for
  // instance by Combine into an empty mesh.
  void CalculateOctreeEntries(CHTriangulation* mesh, int list);
  // False for a null t or e, a list outside 0..3, or when t's box (the record's minPoint and maxPoint;
  // run CalcSTV first) is not within e's box, tested with <= in all four lanes (NaN never fits).
  // Otherwise the triangle is offered to e's children 0 to 7 in order, the first that accepts it
  // taking it (a box lying in a dividing plane goes to the first child in that order); when none does,
  // it is filed in e itself. Then true.
  bool InsertTriangleIntoOctree(t_htriangle* t, t_hoctreeelement* e, int list);
  // Appends t's index to e's list and sets t's mark from e's level by the table
  //   level  1  2  3  4..10      11  other (0, 12 and above)
  //   mark   4  2  3  level + 1  -1  1
  // (the irregular start 4, 2, 3 is kept as callers classify by it). A null t or e, or a list outside
  // 0..3, does nothing.
  void InsertTriangleIntoOctreeElement(t_htriangle* t, t_hoctreeelement* e, int list);

  // Stores index in the last chunk of e's list when it holds fewer than nine, else in a new zero-filled
  // chunk appended to the chain. A null e or a list outside 0..3 does nothing; throws CMemoryException.
  void AppendEntryToOctreeElement(t_hoctreeelement* e, int list, int index);
  // Entry i of e's list, or -1. Deliberately only the first nine entries are readable: the chunk number
  // is taken as i / 10 (not i / 9), every i of 10 and above answers -1, and i = 9 is beyond the first
  // chunk's nine. Callers that need every entry walk the chunks themselves. Also -1 for a null e, a
  // list outside 0..3, an empty list or a negative i.
  int GetEntryFromOctreeElement(t_hoctreeelement* e, int list, int i);
  // Frees the chunks of all four lists of e and empties them. A null e does nothing.
  void RemoveAllEntriesFromOctreeElement(t_hoctreeelement* e);
  // Zeroes the whole element (centre, corners, links, level), freeing its chunks first so that nothing
  // is lost. Its parent and children still point at it.
  void ClearEntry(t_hoctreeelement& e);

  // The collector of the restoration analysis. Recurses into e's children 0 to 7 first; then walks e's
  // entries of `list` as GetEntryFromOctreeElement reads them (at most nine, stopping at -1), and for
  // each triangle of mesh found: maxAcc = max(maxAcc, the triangle's box maximum), then minAcc =
  // min(maxAcc, the triangle's box minimum), lane by lane. Deliberately so: minAcc ends as the LAST
  // triangle's box minimum (clamped by maxAcc), not the minimum over all of them; the restoration angle
  // depends on it. Indices that are not triangles of mesh are skipped; a null mesh or e does nothing.
  void FindMinMaxPointTriangulation(CHTriangulation* mesh, SSEPoint& maxAcc, SSEPoint& minAcc,
                                    t_hoctreeelement* e, int list);

 protected:
  struct Storage;  // owns the level blocks and every entry chunk; shared by copies

  // Fields in their declared order.
  t_hoctreeelement* root;
  t_hoctreeelement* levels[kMaxLevels];
  std::int32_t numElements[kMaxLevels];
  float extent;
  std::int32_t numLevels;
  float minX, maxX, minY, maxY, minZ, maxZ;
  float cellSize;
  std::int32_t numBricks;
  std::shared_ptr<Storage> storage;
};
