#pragma once
#include "qssse/platform/Export.h"
#include "qssse/platform/Vector3f.h"

class DmTriangulationStatic;

// Decides whether a restoration mesh lies inside a block mesh (the blank it is to be cut from), both
// base-library meshes, and reports the block's lowest and the restoration's highest point.
//
// Inside means: the two surfaces share no point at all, and every vertex of the restoration lies in the
// block's solid. Together these put every point of the restoration (its triangles, not only its
// vertices) strictly inside the block, with some clearance. Touching counts as not inside: a shared
// point, edge or face between the surfaces gives SurfacesMeet, whether the restoration is otherwise
// inside or not (a restoration flush with the block's face cannot be cut from it).
//
// The block must be closed: after merging vertices with equal coordinates, every edge must be shared by
// an even number of its triangles (a watertight surface; several shells are allowed, a hollow block
// counts its cavity as outside). Its solid is the set of points whose upward ray crosses the surface an
// odd number of times (even-odd rule; the orientation of the triangles does not matter). The restoration
// may be open (a patch) or closed, in one piece or several.
//
// Every decision is exact: triangle intersections and ray crossings are settled with exact orientation
// signs (CHExactPredicates), rays passing through edges and vertices of the block by a consistent
// symbolic perturbation, so no tolerance, no seed and no input order enters the answer. Zero-area
// triangles are handled as the segments or points they are.
//
// Time: a uniform grid over the block's triangles; about linear in the two triangle counts for meshes of
// evenly sized triangles.
class QSSSE_API CHDecideDmTriInDmTri {
 public:
  enum class Decision {
    Inside,          // the restoration lies strictly inside the block
    Outside,         // the surfaces do not meet, and the restoration (or a piece of it) lies outside
    SurfacesMeet,    // the surfaces touch or cross
    BlockNotClosed,  // the block has an edge used by an odd number of triangles: no solid to test against
    EmptyMesh,       // a mesh is null or has no triangles
    NotFinite,       // a vertex of either mesh has a NaN or infinite coordinate
  };

  // Decides at once; the meshes are only read during construction. Nothing is thrown but
  // CMemoryException.
  CHDecideDmTriInDmTri(const DmTriangulationStatic* restoration, const DmTriangulationStatic* block);

  Decision GetDecision() const { return decision; }
  bool IsRestorationInsideBlock() const { return decision == Decision::Inside; }
  // The block vertex with the smallest z (the first of equals); false, p untouched, when the block has no
  // vertex with a number for z.
  bool GetLowestBlockPoint(CbVector3f& p) const;
  // The restoration vertex with the largest z (the first of equals); false as above.
  bool GetHighestRestaurationPoint(CbVector3f& p) const;

  // True when the closed triangles a and b (zero-area ones included) share at least one point. Exact.
  static bool TrianglesIntersect(const CbVector3f a[3], const CbVector3f b[3]);

 private:
  Decision decision;
  bool hasLowestBlockPoint;
  bool hasHighestRestorationPoint;
  CbVector3f lowestBlockPoint;
  CbVector3f highestRestorationPoint;
};
