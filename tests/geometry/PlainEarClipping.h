#pragma once
// The ear clipping as first written, walking every ring edge for each diagonal test: the oracle the
// triangulator's indexed Diagonalie is compared with.
#include <array>
#include <vector>

#include "qssse/geometry/HPolygonTriangulator.h"

namespace geomtest {

struct PlainEarClipping {
  std::vector<std::array<int, 3>> triangles;
  std::vector<t_hdiagonal> diagonals;
  std::vector<bool> ears;  // final ear flags, per vertex

  // evaluateLast: also flag the last vertex in the initial pass (not what the triangulator does; lets a
  // test show that the skip matters).
  PlainEarClipping(const std::vector<t_h2dpoint>& points, bool searchAfterHead, bool evaluateLast = false) {
    const int n = static_cast<int>(points.size());
    std::vector<t_hvertex> v(points.size());
    for (int i = 0; i < n; ++i) {
      v[i].x = points[i].x;
      v[i].y = points[i].y;
      v[i].vnum = i;
      v[i].next = &v[(i + 1) % n];
      v[i].prev = &v[(i + n - 1) % n];
    }
    t_hvertex* head = n > 0 ? &v[0] : nullptr;
    using F = CHSimpleBasisFcns;
    const auto diagonalie = [&](const t_hvertex* a, const t_hvertex* b) {
      const t_hvertex* c = head;
      do {
        const t_hvertex* c1 = c->next;
        if (c != a && c1 != a && c != b && c1 != b && F::Intersect(a, b, c, c1)) return false;
        c = c1;
      } while (c != head);
      return true;
    };
    const auto diagonal = [&](const t_hvertex* a, const t_hvertex* b) {
      return F::InCone(a, b) && F::InCone(b, a) && diagonalie(a, b);
    };
    for (int i = 0; i + (evaluateLast ? 0 : 1) < n; ++i) v[i].ear = diagonal(v[i].prev, v[i].next);
    for (int m = n; m >= 3; --m) {
      t_hvertex* start = searchAfterHead ? head->next : head;
      t_hvertex* e = start;
      int k = 0;
      while (!e->ear && k < n) e = e->next, ++k;
      if (!e->ear) {
        if (m != 3 || !F::Left(start->prev, start, start->next)) break;
        e = start;
      }
      t_hvertex *a = e->prev, *b = e->next, *a0 = a->prev, *b1 = b->next;
      t_hdiagonal d;
      d.exists = true;
      d.from = a->vnum;
      d.fromConvex = F::LeftOn(a, e, a0);
      d.to = b->vnum;
      d.toConvex = F::LeftOn(b, b1, e);
      diagonals.push_back(d);
      a->ear = diagonal(a0, b);
      b->ear = diagonal(a, b1);
      triangles.push_back({a->vnum, e->vnum, b->vnum});
      a->next = b;
      b->prev = a;
      head = b;
    }
    for (const t_hvertex& x : v) ears.push_back(x.ear);
  }
};

}  // namespace geomtest
