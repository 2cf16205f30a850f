#pragma once
#include <cstddef>
#include <vector>

// Closed curves in the x-y plane split at their crossings into loops: the machinery under the outline
// offsetting, loop removal, cutting and merging of CSSE3dPolygon. An internal of the polygon sources,
// public only because every header is; callers use the CSSE3dPolygon members.
//
// Exactness: crossings are decided on the float coordinates with exact orientation signs. Touching and
// collinear contacts are resolved by one consistent symbolic perturbation (every point moved by its own
// infinitesimal amount, ordered by its position in the input), so a contact counts as a crossing exactly
// where the perturbed curves cross, and the loops are those of a generic arrangement.
namespace qssse::rings {

struct Vertex {
  float x, y, z;
};
using Ring = std::vector<Vertex>;

struct LoopPoint {
  float x, y, z;
  int curve;    // the input curve whose edge leaves this point
  bool shared;  // that edge coincides with an edge of another curve running the same way
};

struct Loop {
  std::vector<LoopPoint> points;
  double area2 = 0.0;  // twice the signed area, positive counter-clockwise (y up)
};

struct Arrangement {
  std::vector<Loop> loops;
  long long crossings = 0;  // crossings at which the curves were re-joined
};

// Splits the closed curves (the edge from the last point back to the first implied) at every crossing:
// each loop follows a curve up to a crossing and turns there onto the other strand, so every loop is free
// of crossings and the winding number of every point of the plane is the sum of the loops' (the same as
// the curves'). Consecutive equal points are merged; curves of fewer than two points are ignored.
// Crossing points come from CHSimpleBasisFcns::GetIntersection; z is interpolated along the edge a loop
// arrives on. With joinShared, a point of one curve lying on an edge of another curve splits that edge;
// edges of two different curves that coincide running opposite ways are removed in pairs with their
// curves joined at both ends (the boundary between two regions that touch disappears); and where two
// curves meet at a vertex of each, the directions of their edges around the point decide whether they
// cross there (a run of shared edges counting as one meeting).
Arrangement SplitAtCrossings(const std::vector<Ring>& curves, bool joinShared);

// The winding number at (x, y) of every loop but `skip`; onEdge is set when the point lies on an edge of
// one of them (the number is then that of either side).
int WindingOfOthers(const std::vector<Loop>& loops, std::size_t skip, double x, double y, bool& onEdge);

// The outer boundary of the largest part of the region where the winding number is positive: among the
// counter-clockwise loops, largest first, the first around which the other loops wind zero times.
// -1 when there is none (the curves enclose nothing positively).
int LargestOuterLoop(const std::vector<Loop>& loops);

// Twice the signed area of a ring, in double.
double Area2(const Ring& r);

}  // namespace qssse::rings
