#pragma once
#include "qssse/geometry/HOctree.h"
#include "qssse/platform/Export.h"

class CHTriangulation;

// An octree over a restoration's mesh that estimates the largest angle of the restoration's side wall
// near the middle of its height. It compares the mesh's horizontal spread in a thin layer just below the
// root's centre plane (the upper halves of the four lower root octants) with that in a layer just above
// it (the lower halves of the four upper octants) and turns the difference into an angle. Each layer is
// half a root octant thick, so the tree needs at least three levels for either layer to hold anything.
//
// Both layers are collected with CHOctree::FindMinMaxPointTriangulation and inherit its deliberate rules:
// only the first nine entries of an element count, and the minimum corner that enters the radii is the
// box minimum of the LAST triangle visited, so the order in which triangles were filed changes the result.
class QSSSE_API CRestorationOctree : public CHOctree {
 public:
  // The CHOctree part only (see there: "OctreeCreated" is shown, oversized trees throw).
  CRestorationOctree(const SSEPoint& high, const SSEPoint& low, float cellSize);

  // The angle in radians, computed in single precision as
  //   atan((rBottom - rTop) / (zBottom - zTop) + 0.0001) + 0.0875
  // after FindMinRadiusTopTriangulation and FindMaxRadiusBottomTriangulation. 0.0875 (about 5 degrees) is
  // a fixed allowance; 0.0001 guards the quotient's sign at zero. The mesh's triangles must already be
  // filed into entry list `list` (CalculateOctreeEntries). An empty layer leaves its accumulators at
  // +-1000000 and the result follows from those; zBottom = zTop gives pi/2 + 0.0875 (an infinite
  // quotient), or NaN when the radii are equal too. Nothing is thrown. In a tree without root the four
  // values stay as they were (0 when new, so the angle is NaN).
  float CalcApproximateMaxRestorationAngle(CHTriangulation* mesh, int list);

  float GetZBottom() const { return zBottom; }
  float GetZTop() const { return zTop; }
  float GetRBottom() const { return rBottom; }
  float GetRTop() const { return rTop; }

 protected:
  // The top layer: children 0-3 of root children 4-7 and their descendants, collected from
  // max = (-1e6, ...), min = (1e6, ...). With c the root centre, r1 = |max - c| and r2 = |c - min| in x, y
  // only; rTop = the smaller (r2 on a tie), zTop = min.z. Returns at once without a root.
  void FindMinRadiusTopTriangulation(CHTriangulation* mesh, int list);
  // The bottom layer: children 4-7 of root children 0-3; rBottom = the larger of r1, r2 (r2 on a tie),
  // zBottom = max.z.
  void FindMaxRadiusBottomTriangulation(CHTriangulation* mesh, int list);
  // Deliberately a no-op: it returns at once when the tree has a root, and a tree without root holds
  // nothing to search.
  void FindLowestZEntry(CHTriangulation* mesh, int list);

  float zBottom;  // height found in the bottom layer
  float zTop;     // height found in the top layer
  float rBottom;  // largest planar radius found in the bottom layer
  float rTop;     // smallest planar radius found in the top layer
};
