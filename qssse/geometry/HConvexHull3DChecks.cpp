// The hull's invariants, checked on request, and the edge order that readers of the faces rely on.
#include <cstdio>

#include "qssse/geometry/HConvexHull3D.h"

namespace {

bool Joins(const tEdgeStructure* e, const tVertexStructure* a, const tVertexStructure* b) {
  return (e->endpts[0] == a && e->endpts[1] == b) || (e->endpts[1] == a && e->endpts[0] == b);
}

// 1 when b follows a in f, -1 when it precedes a, 0 when f lacks either.
int Direction(const tFaceStructure* f, const tVertexStructure* a, const tVertexStructure* b) {
  for (int i = 0; i < 3; ++i) {
    if (f->vertex[i] != a) continue;
    if (f->vertex[(i + 1) % 3] == b) return 1;
    if (f->vertex[(i + 2) % 3] == b) return -1;
  }
  return 0;
}

}  // namespace

bool CHConvexHull3D::Checks() {
  const bool consistent = Consistency();
  const bool convex = Convexity();
  const bool endpoints = CheckEndpts();
  return consistent && convex && endpoints;
}

bool CHConvexHull3D::Consistency() {
  if (edges == nullptr) return true;
  tEdgeStructure* e = edges;
  do {
    // The edge runs a -> b in one face and b -> a in the other.
    const int d0 = e->adjface[0] != nullptr ? Direction(e->adjface[0], e->endpts[0], e->endpts[1]) : 0;
    const int d1 = e->adjface[1] != nullptr ? Direction(e->adjface[1], e->endpts[0], e->endpts[1]) : 0;
    const bool ok = d0 != 0 && d0 == -d1;
    if (!ok) {
      if (debug) std::fprintf(stderr, "hull check: edge (%d, %d) is not consistent with its faces\n", e->endpts[0]->vnum, e->endpts[1]->vnum);
      return false;
    }
    e = e->next;
  } while (e != edges);
  return true;
}

bool CHConvexHull3D::Convexity() {
  if (faces == nullptr || vertices == nullptr) return true;
  tFaceStructure* f = faces;
  do {
    tVertexStructure* v = vertices;
    do {
      if (v->mark && VolumeSign(f, v) < 0) {
        if (debug) std::fprintf(stderr, "hull check: vertex %d sees a face\n", v->vnum);
        return false;
      }
      v = v->next;
    } while (v != vertices);
    f = f->next;
  } while (f != faces);
  return true;
}

bool CHConvexHull3D::CheckEndpts() {
  if (faces == nullptr) return true;
  tFaceStructure* f = faces;
  do {
    for (int i = 0; i < 3; ++i) {
      const tEdgeStructure* e = f->edge[i];
      const bool first = e->endpts[0] == f->vertex[0] || e->endpts[0] == f->vertex[1] || e->endpts[0] == f->vertex[2];
      const bool second = e->endpts[1] == f->vertex[0] || e->endpts[1] == f->vertex[1] || e->endpts[1] == f->vertex[2];
      if (!first || !second) {
        if (debug) std::fprintf(stderr, "hull check: a face's edge leaves the face\n");
        return false;
      }
    }
    f = f->next;
  } while (f != faces);
  return true;
}

void CHConvexHull3D::EdgeOrderOnFaces() {
  // Each face is put in order on its own, so storage order gives the list order's result.
  ForEachFaceInMemory([](tFaceStructure* f) {
    for (int i = 0; i < 3; ++i) {
      if (Joins(f->edge[i], f->vertex[i], f->vertex[(i + 1) % 3])) continue;
      for (int j = 0; j < 3; ++j) {
        if (Joins(f->edge[j], f->vertex[i], f->vertex[(i + 1) % 3])) {
          tEdgeStructure* s = f->edge[i];
          f->edge[i] = f->edge[j];
          f->edge[j] = s;
        }
      }
    }
  });
}
