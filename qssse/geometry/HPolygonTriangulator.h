#pragma once
#include "qssse/polygon/H2dPoint.h"

// One vertex of the ear-clipping ring. Its planar point (x, y) is the polygon's point times the scale
// factors; it derives from t_h2dpoint so that the predicates of CHSimpleBasisFcns take it as it is.
struct t_hvertex : t_h2dpoint {
  bool ear = false;            // the diagonal prev -> next is valid: this vertex can be clipped
  t_hvertex* next = nullptr;   // following vertex of the ring
  t_hvertex* prev = nullptr;   // preceding vertex of the ring
  int vnum = 0;                // 0 .. n-1, the vertex's place in the vertex array
};

// One clipping step: the cut from the clipped vertex's predecessor to its successor. The last record
// of a complete triangulation stands for the closing side of the last triangle, not for a diagonal.
struct t_hdiagonal {
  bool exists = false;      // set for every record written
  int from = 0;             // vnum of the clipped vertex's predecessor
  bool fromConvex = false;  // the predecessor's corner was convex or flat before the clip
  int to = 0;               // vnum of the clipped vertex's successor
  bool toConvex = false;    // the same for the successor
};

// One triangle of the triangulation: the vnums of the predecessor, the ear and the successor, in that
// order (counter-clockwise for a counter-clockwise outline).
struct t_htriangleconnectivity {
  int vnum[3] = {0, 0, 0};
};
