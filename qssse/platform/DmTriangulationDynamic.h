#pragma once
#include <cstdint>
#include <vector>

#include "qssse/platform/Export.h"
#include "qssse/platform/Vector3f.h"

class DmTriangulationStatic;

// The base library's editable triangle mesh: vertices and index triples that grow one at a time and
// triangles that can be removed. Default-constructed empty. Every stored index names a vertex (AddTriangle
// checks it). Converts to and from DmTriangulationStatic; copies are deep.
class QSSSE_API DmTriangulationDynamic {
 public:
  DmTriangulationDynamic() = default;
  // The same vertices and triangles as mesh.
  explicit DmTriangulationDynamic(const DmTriangulationStatic& mesh);
  virtual ~DmTriangulationDynamic();
  DmTriangulationDynamic(const DmTriangulationDynamic&) = default;
  DmTriangulationDynamic& operator=(const DmTriangulationDynamic&) = default;

  // Appends a vertex and returns its index. Throws CMemoryException beyond 2^31 - 1 vertices.
  int AddVertex(const CbVector3f& p);
  // Appends the triangle (a, b, c) and returns its index. Throws CInvalidArgumentException when an index is
  // not a vertex, CMemoryException beyond 2^31 - 1 triangles.
  int AddTriangle(int a, int b, int c);
  // Removes triangle t, the later ones moving down by one (their order kept); the vertices stay. An
  // index that is not a triangle does nothing.
  void RemoveTriangle(int t);
  void Clear();

  int GetNumVertices() const { return static_cast<int>(m_vertices.size()); }
  int GetNumTriangles() const { return static_cast<int>(m_indices.size() / 3); }
  // Vertex i; (0, 0, 0) for an index that is not a vertex.
  CbVector3f GetVertex(int i) const;
  // The vertices of triangle t; false (a, b, c untouched) for an index that is not a triangle.
  bool GetTriangle(int t, int& a, int& b, int& c) const;
  // The same mesh as a static one.
  DmTriangulationStatic CreateStatic() const;

 private:
  std::vector<CbVector3f> m_vertices;
  std::vector<std::int32_t> m_indices;
};
