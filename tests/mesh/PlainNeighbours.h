#pragma once
// The plain quadratic neighbour pass, written straight from its description: the oracle that the shipped
// CHTriangulation::CalcNeighbours must equal in every neighbour, mark and list link. Also used by the
// benchmarks for the speed ratio.
#include "qssse/mesh/HTriangulation.h"

namespace meshtest {

inline float Lane(const SSEPoint& p, int l) { return l == 0 ? p.x : l == 1 ? p.y : l == 2 ? p.z : p.w; }

// Each lane of a equals the same lane of some corner of b.
inline bool PlainMatch(const SSEPoint& a, const t_htriangle& b) {
  for (int l = 0; l < 4; ++l) {
    const float v = Lane(a, l);
    if (!(v == Lane(*b.point[0], l) || v == Lane(*b.point[1], l) || v == Lane(*b.point[2], l))) return false;
  }
  return true;
}

inline int PlainSlot(const t_htriangle& a, const t_htriangle& b) {
  const bool m0 = PlainMatch(*a.point[0], b), m1 = PlainMatch(*a.point[1], b),
             m2 = PlainMatch(*a.point[2], b);
  if (m0 && m1) return 0;
  if (m1 && m2) return 1;
  if (m2 && m0) return 2;
  return -1;
}

inline bool Full(const t_htriangle& t) { return t.neighbour[0] && t.neighbour[1] && t.neighbour[2]; }

inline void PlainCalcNeighbours(CHTriangulation& t) {
  t.IndexTriangleList();
  t_htriangle* a = t.GetListHead();
  while (a != nullptr) {
    t_htriangle* b = a->next;
    bool restarted = false;
    while (b != nullptr) {
      t_htriangle* afterB = b->next;
      const int slotA = PlainSlot(*a, *b);
      if (slotA >= 0) {
        a->neighbour[slotA] = b;
        const int slotB = PlainSlot(*b, *a);
        if (slotB >= 0) b->neighbour[slotB] = a;
        if (Full(*b)) t.DeleteTriangleFromList(b);
        if (Full(*a)) {
          t_htriangle* afterA = a->next;
          t.DeleteTriangleFromList(a);
          a = afterA;
          restarted = true;
          break;
        }
      }
      b = afterB;
    }
    if (!restarted) a = a->next;
  }
  for (int i = 0; i < t.GetNumTriangles(); ++i) {
    if (!Full(t.GetTriangles()[i])) t.GetTriangles()[i].mark = 13;
  }
}

}  // namespace meshtest
