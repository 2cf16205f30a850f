#pragma once
#include <cstdint>

#include "qssse/vector/SSEPoint.h"

// One chunk of an octree element's entry list: up to nine triangle indices, the number used, and the
// next chunk. Chunks are allocated zero-filled, one at a time, and appended at the end of the chain.
struct t_hoctreeentrychunk {
  std::int32_t index[9];
  std::int32_t count;  // used entries of index, 0..9
  t_hoctreeentrychunk* next;
};

// One element (a brick) of CHOctree: a cube of half-size halfSize about center. The corners are the
// centre plus and minus the half-size in ALL FOUR lanes (so a w of 0 lies within every brick). Elements
// live in the tree's per-level blocks and are linked to their parent and eight children (null at the
// deepest level). Each element carries four independent entry lists, so that up to four meshes, or four
// roles, can share one tree.
struct t_hoctreeelement {
  SSEPoint center;
  SSEPoint maxPoint;  // center + halfSize, every lane
  SSEPoint minPoint;  // center - halfSize, every lane
  float halfSize;
  t_hoctreeelement* parent;         // null at the root
  t_hoctreeelement* children[8];    // null at the deepest level; offsets in CHOctree::PositionReferenceOctree
  t_hoctreeentrychunk* entries[4];  // entry lists 0..3, null when empty
  std::int32_t level;               // 0 at the root
};
