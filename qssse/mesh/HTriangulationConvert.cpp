// Conversions between the library's mesh (independent triangles) and the indexed meshes of the base
// library (shared vertices).
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/DmTriangulationDynamic.h"
#include "qssse/platform/DmTriangulationStatic.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/platform/QsTriangulationStatic.h"

namespace {

// The mesh's valid triangles as an indexed mesh with equal corners merged.
DmTriangulationStatic Indexed(const CHTriangulation& mesh) {
  const std::size_t n = mesh.GetNumTriangles() > 0 ? static_cast<std::size_t>(mesh.GetNumTriangles()) : 0;
  std::vector<float> coordinates;
  coordinates.reserve(9 * n);
  const SSEPoint* corners = mesh.GetEdgeArray();
  for (std::size_t i = 0; i < 3 * n; ++i)
    coordinates.insert(coordinates.end(), {corners[i].x, corners[i].y, corners[i].z});
  std::vector<std::int32_t> indices(3 * n);
  for (std::size_t i = 0; i < 3 * n; ++i) indices[i] = static_cast<std::int32_t>(i);
  DmTriangulationStatic out(std::move(coordinates), std::move(indices));
  out.MergeEqualVertices();
  return out;
}

// Both base meshes build the same way: copy, then the box, the vectors and the vertex normals.
template <class Mesh>
void BuildFromDm(CHTriangulation& t, Mesh* mesh, float sx, float sy, float sz) {
  t.BaseInitialization(sx, sy, sz);
  t.CreateTriangulationFromDmTriangulation(mesh);
  if (t.GetNumTriangles() <= 0) return;
  t.CalcBoundingBox();
  t.CalcSTV();
  t.CalcNormalsFromVertices();
}

}  // namespace

CHTriangulation::CHTriangulation(DmTriangulationStatic* mesh, float sx, float sy, float sz)
    : CHTriangulation() {
  BuildFromDm(*this, mesh, sx, sy, sz);
}

CHTriangulation::CHTriangulation(DmTriangulationDynamic* mesh, float sx, float sy, float sz)
    : CHTriangulation() {
  BuildFromDm(*this, mesh, sx, sy, sz);
}

void CHTriangulation::CreateTriangulationFromDmTriangulation(DmTriangulationStatic* mesh) {
  const int n = mesh != nullptr ? mesh->GetNumTriangles() : 0;
  CreateTriangulation(n);
  for (int i = 0; i < 3 * n; ++i) {
    const CbVector3f p = mesh->GetVertex(mesh->GetIndices()[i]);
    cornerPoints[i] = qssse::MakeSSEPoint(p.x, p.y, p.z);
  }
}

void CHTriangulation::CreateTriangulationFromDmTriangulation(DmTriangulationDynamic* mesh) {
  const int n = mesh != nullptr ? mesh->GetNumTriangles() : 0;
  CreateTriangulation(n);
  for (int t = 0; t < n; ++t) {
    int v[3];
    mesh->GetTriangle(t, v[0], v[1], v[2]);
    for (int k = 0; k < 3; ++k) {
      const CbVector3f p = mesh->GetVertex(v[k]);
      cornerPoints[3 * t + k] = qssse::MakeSSEPoint(p.x, p.y, p.z);
    }
  }
}

DmTriangulationStatic* CHTriangulation::CreateDmTriangulationFromHTriangulation() const {
  try {
    return new DmTriangulationStatic(Indexed(*this));
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  }
}

QsCTriangulationStatic* CHTriangulation::CreateQsCTriangulationFromHTriangulation() const {
  try {
    const DmTriangulationStatic indexed = Indexed(*this);
    return new QsCTriangulationStatic(indexed.GetCoordinates(), indexed.GetNumVertices(),
                                      indexed.GetIndices(), indexed.GetNumTriangles());
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  }
}
