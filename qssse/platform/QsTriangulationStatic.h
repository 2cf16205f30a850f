#pragma once
#include <cstdint>

#include "qssse/platform/DmTriangulationStatic.h"
#include "qssse/platform/Export.h"
#include "qssse/platform/Vector3f.h"

// The restoration modules' static mesh, built once from a vertex array (packed x, y, z floats) and an
// index array (one triple per triangle) and read afterwards. It keeps the same checked layout as
// DmTriangulationStatic: every stored index names a vertex. Copies are deep.
class QSSSE_API QsCTriangulationStatic {
 public:
  QsCTriangulationStatic() = default;
  // Copies numVertices vertices (3 * numVertices floats) and numTriangles triples. Null arrays are
  // allowed with a count of 0. Throws CInvalidArgumentException for a negative count, a null array with a
  // positive count, or an index that is not a vertex.
  QsCTriangulationStatic(const float* vertices, int numVertices, const std::int32_t* indices,
                         int numTriangles);
  virtual ~QsCTriangulationStatic();
  QsCTriangulationStatic(const QsCTriangulationStatic&) = default;
  QsCTriangulationStatic& operator=(const QsCTriangulationStatic&) = default;

  int GetNumVertices() const { return m_mesh.GetNumVertices(); }
  int GetNumTriangles() const { return m_mesh.GetNumTriangles(); }
  // Packed x, y, z per vertex, and three indices per triangle; null when there are none.
  const float* GetVertices() const { return m_mesh.GetCoordinates(); }
  const std::int32_t* GetIndices() const { return m_mesh.GetIndices(); }
  // Vertex i; (0, 0, 0) for an index that is not a vertex.
  CbVector3f GetVertex(int i) const { return m_mesh.GetVertex(i); }

 private:
  DmTriangulationStatic m_mesh;
};
