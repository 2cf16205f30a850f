// Meshes from the face lists of a 3-D hull and of a Delaunay triangulation.
#include "qssse/geometry/H2DDelaunay.h"
#include "qssse/geometry/HConvexHull3D.h"
#include "qssse/mesh/HTriangulation.h"

namespace {

// Walks the hull's face list count times from its head (the count is the hull's own, kept in step with
// the list by every member that deletes faces) and hands each face to fill(k, face).
template <class Fill>
int EachFace(CHConvexHull3D* hull, Fill fill) {
  const int count = hull->GetNumFaces();
  tFaceStructure* f = hull->GetFaces();
  int k = 0;
  for (; k < count && f != nullptr; ++k, f = f->next) fill(k, f);
  return k;
}

SSEPoint Corner(const tVertexStructure* v, float divisor) {
  return qssse::MakeSSEPoint(static_cast<float>(v->x) / divisor, static_cast<float>(v->y) / divisor,
                             static_cast<float>(v->z) / divisor, 0.0f);
}

}  // namespace

CHTriangulation::CHTriangulation(CHConvexHull3D* hull, float sx, float sy, float sz, float divisor)
    : CHTriangulation() {
  BaseInitialization(sx, sy, sz);
  CreateTriangulationFromHull3D(hull, divisor);
  if (numTriangles > 0) {
    ScaleTriangulation();
    CalcSTV();
    CalcNormalsFromVertices();
    CalcBoundingBox();
  }
}

CHTriangulation::CHTriangulation(CH2DDelaunay* delaunay, float sx, float sy, float sz, bool flatten)
    : CHTriangulation() {
  BaseInitialization(sx, sy, sz);
  CreateTriangulationFrom2DDelaunay(delaunay, flatten);
  if (numTriangles > 0) {
    ScaleTriangulation();
    CalcSTV();
    CalcNormalsFromVertices();
    CalcBoundingBox();
  }
}

void CHTriangulation::CreateTriangulationFromHull3D(CHConvexHull3D* hull, float divisor) {
  CreateTriangulation(hull != nullptr ? hull->GetNumFaces() : 0);
  if (numTriangles == 0) return;
  numTriangles = EachFace(hull, [&](int k, const tFaceStructure* f) {
    for (int i = 0; i < 3; ++i) *triangles[k].point[i] = Corner(f->vertex[i], divisor);
  });
}

void CHTriangulation::CreateTriangulationFrom2DDelaunay(CH2DDelaunay* delaunay, bool flatten) {
  CreateTriangulation(delaunay != nullptr ? delaunay->GetNumFaces() : 0);
  if (numTriangles == 0) return;
  numTriangles = EachFace(delaunay, [&](int k, const tFaceStructure* f) {
    for (int i = 0; i < 3; ++i) {
      SSEPoint c = Corner(f->vertex[i], 10.0f);
      if (flatten) c.z = 0.0f;
      *triangles[k].point[i] = c;
    }
    triangles[k].mark = 14;
  });
}
