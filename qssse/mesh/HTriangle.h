#pragma once
#include <cstdint>

#include "qssse/vector/SSEPoint.h"

// The triangle record of CHTriangulation. Record i of a mesh points at entry i (corners and corner
// normals: entries 3i..3i+2) of the mesh's parallel arrays; the pointers are aimed once when the mesh is
// allocated and never re-aimed, so writing through a record and writing the arrays are the same thing.
//
// The field order and size are part of the interface: the mesh stream format writes records as they
// stand (17 pointers, then index and mark, 144 bytes on a 64-bit platform).
struct t_htriangle {
  SSEPoint* point[3];         // corners P0, P1, P2
  SSEPoint* normal[3];        // one normal per corner
  SSEPoint* tVector;          // P2 - P0
  SSEPoint* sVector;          // P1 - P0
  SSEPoint* vVector;          // P2 - P1
  SSEPoint* mainNormal;       // face normal
  SSEPoint* minPoint;         // component-wise minimum of the corners
  SSEPoint* maxPoint;         // component-wise maximum of the corners
  t_htriangle* neighbour[3];  // across P0-P1, P1-P2, P2-P0; null = none
  t_htriangle* next;          // working list (see CHTriangulation::IndexTriangleList)
  t_htriangle* prev;
  std::int32_t index;  // position of the record in the mesh's record array
  std::int32_t mark;   // -1 when created, 13 = border triangle; other users store 0 and 14
};

static_assert(sizeof(void*) != 8 || sizeof(t_htriangle) == 144, "t_htriangle is written as is: 144 bytes");
