#pragma once
#include "qssse/vector/SSEPoint.h"

// One border edge of a mesh, in the mesh's stretch list (CHTriangulation::FindBorderLine). from and to
// point into the mesh's corner array; the list owns its stretches (allocated one by one with new), and
// whoever unlinks a stretch deletes it.
struct t_stretch {
  SSEPoint* from;
  SSEPoint* to;
  t_stretch* next;
  t_stretch* prev;
};
