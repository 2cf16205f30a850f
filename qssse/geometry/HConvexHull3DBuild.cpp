// The plain incremental hull: a double triangle to start, then each point in list order either lies
// inside (and is dropped) or sees a connected cap of faces, which is replaced by a cone of new faces
// from the point to the cap's border (the horizon). Every insertion scans every face and edge, which
// makes this quadratic; ConstructHullFast produces the same lists faster and this stays as its oracle.
#include "qssse/geometry/HConvexHull3D.h"
#include "qssse/geometry/HullException.h"

tFaceStructure* CHConvexHull3D::MakeFace(tVertexStructure* a, tVertexStructure* b, tVertexStructure* c,
                                         tFaceStructure* fold) {
  tEdgeStructure* e0;
  tEdgeStructure* e1;
  tEdgeStructure* e2;
  if (fold == nullptr) {
    e0 = MakeNullEdge();
    e1 = MakeNullEdge();
    e2 = MakeNullEdge();
  } else {
    // fold's edges in reverse order: the two faces of the double triangle share them
    e0 = fold->edge[2];
    e1 = fold->edge[1];
    e2 = fold->edge[0];
  }
  e0->endpts[0] = a;
  e0->endpts[1] = b;
  e1->endpts[0] = b;
  e1->endpts[1] = c;
  e2->endpts[0] = c;
  e2->endpts[1] = a;
  tFaceStructure* f = MakeNullFace();
  f->edge[0] = e0;
  f->edge[1] = e1;
  f->edge[2] = e2;
  f->vertex[0] = a;
  f->vertex[1] = b;
  f->vertex[2] = c;
  e0->adjface[0] = e1->adjface[0] = e2->adjface[0] = f;
  return f;
}

void CHConvexHull3D::DoubleTriangle() {
  if (vertices == nullptr) throw CHullException(CHullException::collinear, "CalcConvexHull: no points");
  // 1. the first three consecutive vertices that are not collinear
  tVertexStructure* v0 = vertices;
  while (Collinear(v0, v0->next, v0->next->next)) {
    v0 = v0->next;
    if (v0 == vertices) {
      throw CHullException(CHullException::collinear,
                           "CalcConvexHull: fewer than three points, or all points on one line");
    }
  }
  tVertexStructure* v1 = v0->next;
  tVertexStructure* v2 = v1->next;
  // 2. the two faces on them, each the other's neighbour across all three edges
  tFaceStructure* f0 = MakeFace(v0, v1, v2, nullptr);
  tFaceStructure* f1 = MakeFace(v2, v1, v0, f0);
  for (int i = 0; i < 3; ++i) f0->edge[i]->adjface[1] = f1;
  for (int i = 0; i < 3; ++i) f1->edge[i]->adjface[1] = f0;
  // 3. the first vertex off their plane
  tVertexStructure* v3 = v2->next;
  while (VolumeSign(f0, v3) == 0) {
    v3 = v3->next;
    if (v3 == v0) {
      while (edges != nullptr) DeleteEdge(edges);
      while (faces != nullptr) DeleteFace(faces);
      throw CHullException(CHullException::coplanar, "CalcConvexHull: all points lie in one plane");
    }
  }
  v0->mark = v1->mark = v2->mark = true;
  // 4. it is inserted first
  vertices = v3;
}

void CHConvexHull3D::ConstructHull() {
  tVertexStructure* v = vertices;
  do {
    tVertexStructure* vnext = v->next;
    if (!v->mark) {
      v->mark = true;
      AddOne(v);
      CleanUp(&vnext);
      if (check) Checks();
    }
    v = vnext;
  } while (v != vertices);
}

bool CHConvexHull3D::AddOne(tVertexStructure* p) {
  // 1. the faces p sees
  bool anyVisible = false;
  tFaceStructure* f = faces;
  do {
    if (VolumeSign(f, p) < 0) {
      f->visible = true;
      anyVisible = true;
    }
    f = f->next;
  } while (f != faces);
  if (!anyVisible) {
    p->onhull = false;
    return false;
  }
  // 2. inner edges of the visible cap go; each border edge gets a cone face. Edges made on the way are
  // appended and visited too, and are left alone: neither of their faces is visible.
  tEdgeStructure* e = edges;
  do {
    tEdgeStructure* next = e->next;
    if (e->adjface[0]->visible && e->adjface[1]->visible) {
      e->deleted = true;
    } else if (e->adjface[0]->visible || e->adjface[1]->visible) {
      e->newface = MakeConeFace(e, p);
    }
    e = next;
  } while (e != edges);
  return true;
}

tFaceStructure* CHConvexHull3D::MakeConeFace(tEdgeStructure* e, tVertexStructure* p) {
  tEdgeStructure* newEdge[2];
  for (int i = 0; i < 2; ++i) {
    newEdge[i] = e->endpts[i]->duplicate;
    if (newEdge[i] == nullptr) {
      newEdge[i] = MakeNullEdge();
      newEdge[i]->endpts[0] = e->endpts[i];
      newEdge[i]->endpts[1] = p;
      e->endpts[i]->duplicate = newEdge[i];
    }
  }
  tFaceStructure* f = MakeNullFace();
  f->edge[0] = e;
  f->edge[1] = newEdge[0];
  f->edge[2] = newEdge[1];
  MakeCcw(f, e, p);
  for (int i = 0; i < 2; ++i) {
    for (int j = 0; j < 2; ++j) {
      if (newEdge[i]->adjface[j] == nullptr) {
        newEdge[i]->adjface[j] = f;
        break;
      }
    }
  }
  return f;
}

void CHConvexHull3D::MakeCcw(tFaceStructure* f, tEdgeStructure* e, tVertexStructure* p) {
  tFaceStructure* fv = e->adjface[0]->visible ? e->adjface[0] : e->adjface[1];
  int i = 0;
  while (fv->vertex[i] != e->endpts[0]) ++i;
  if (fv->vertex[(i + 1) % 3] != e->endpts[1]) {
    f->vertex[0] = e->endpts[1];
    f->vertex[1] = e->endpts[0];
  } else {
    f->vertex[0] = e->endpts[0];
    f->vertex[1] = e->endpts[1];
    tEdgeStructure* s = f->edge[1];
    f->edge[1] = f->edge[2];
    f->edge[2] = s;
  }
  f->vertex[2] = p;
}

void CHConvexHull3D::CleanUp(tVertexStructure** pvnext) {
  CleanEdges();
  CleanFaces();
  CleanVertices(pvnext);
}

void CHConvexHull3D::CleanEdges() {
  // 1. cone faces take the place of the visible faces on the horizon
  tEdgeStructure* e = edges;
  do {
    if (e->newface != nullptr) {
      if (e->adjface[0]->visible) {
        e->adjface[0] = e->newface;
      } else {
        e->adjface[1] = e->newface;
      }
      e->newface = nullptr;
    }
    e = e->next;
  } while (e != edges);
  // 2. inner edges of the cap go, the head first while it is one
  while (edges != nullptr && edges->deleted) DeleteEdge(edges);
  e = edges->next;
  do {
    tEdgeStructure* next = e->next;
    if (e->deleted) DeleteEdge(e);
    e = next;
  } while (e != edges);
}

void CHConvexHull3D::CleanFaces() {
  while (faces != nullptr && faces->visible) DeleteFace(faces);
  tFaceStructure* f = faces->next;
  do {
    tFaceStructure* next = f->next;
    if (f->visible) DeleteFace(f);
    f = next;
  } while (f != faces);
}

void CHConvexHull3D::CleanVertices(tVertexStructure** pvnext) {
  // 1. a vertex is on the hull when an edge ends at it
  tEdgeStructure* e = edges;
  do {
    e->endpts[0]->onhull = e->endpts[1]->onhull = true;
    e = e->next;
  } while (e != edges);
  // 2. processed vertices off the hull go; the caller's next vertex moves on past them
  while (vertices != nullptr && vertices->mark && !vertices->onhull) {
    tVertexStructure* v = vertices;
    if (v == *pvnext) *pvnext = v->next;
    DeleteVertex(v);
  }
  tVertexStructure* v = vertices->next;
  do {
    tVertexStructure* next = v->next;
    if (v->mark && !v->onhull) {
      if (v == *pvnext) *pvnext = next;
      DeleteVertex(v);
    }
    v = next;
  } while (v != vertices);
  // 3. reset for the next insertion
  v = vertices;
  do {
    v->duplicate = nullptr;
    v->onhull = false;
    v = v->next;
  } while (v != vertices);
}
