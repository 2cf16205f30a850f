#pragma once
#include <cstdint>
#include <vector>

#include "qssse/platform/Export.h"
#include "qssse/platform/Vector3f.h"

// The box the base library reports for a mesh: the minimum and the maximum x, y, z of its vertices.
struct DmBoundingBox3f {
  CbVector3f minimum;
  CbVector3f maximum;
};

// The base library's indexed triangle mesh, as the library exchanges meshes with it: the vertices as one
// packed float array (x, y, z per vertex) and one index triple per triangle. Default-constructed empty.
// Every stored index names a vertex of the mesh (Create checks it), so readers need no bounds tests.
// Plain value semantics: copies are deep. Heap instances handed to callers are released with delete.
class QSSSE_API DmTriangulationStatic {
 public:
  DmTriangulationStatic() = default;
  // Create(coordinates, indices).
  DmTriangulationStatic(std::vector<float> coordinates, std::vector<std::int32_t> indices);
  virtual ~DmTriangulationStatic();
  DmTriangulationStatic(const DmTriangulationStatic&) = default;
  DmTriangulationStatic& operator=(const DmTriangulationStatic&) = default;
  DmTriangulationStatic(DmTriangulationStatic&&) noexcept = default;
  DmTriangulationStatic& operator=(DmTriangulationStatic&&) noexcept = default;

  // Replaces the mesh by the packed coordinates and the index triples. Throws CInvalidArgumentException,
  // leaving the mesh as it was, when either size is not a multiple of 3, when there are 2^31 vertices or
  // triangles or more, or when an index is not a vertex (negative or >= the vertex count).
  void Create(std::vector<float> coordinates, std::vector<std::int32_t> indices);
  void Clear();

  int GetNumVertices() const { return static_cast<int>(m_coordinates.size() / 3); }
  int GetNumTriangles() const { return static_cast<int>(m_indices.size() / 3); }
  // x, y, z of vertex i at 3i .. 3i + 2; null when the mesh has no vertices.
  const float* GetCoordinates() const { return m_coordinates.empty() ? nullptr : m_coordinates.data(); }
  // The vertices of triangle t at 3t .. 3t + 2; null when the mesh has no triangles.
  const std::int32_t* GetIndices() const { return m_indices.empty() ? nullptr : m_indices.data(); }
  // Vertex i; (0, 0, 0) for an index that is not a vertex.
  CbVector3f GetVertex(int i) const;

  // The minimum and maximum of every coordinate over all vertices (referenced by a triangle or not). NaN
  // coordinates are skipped; a mesh without vertices, or with no number in a coordinate, reports 0 there.
  void ComputeBoundingBox(DmBoundingBox3f& box) const;
  // The validity query: true when the mesh holds at least one triangle.
  bool IsValid() const { return !m_indices.empty(); }
  // Appends other's vertices and triangles (its indices shifted past the vertices held); other may be this
  // mesh. Throws CMemoryException when the counts would pass 2^31 - 1.
  void Combine(const DmTriangulationStatic& other);
  // Vertices equal in x, y and z (exact float comparison, so -0 equals 0; a NaN coordinate never equals
  // anything) become one, numbered in order of first appearance; the triangles are renumbered, their
  // order and corner order kept. Linear expected time (hashing). Degenerate triangles are kept.
  void MergeEqualVertices();

 private:
  std::vector<float> m_coordinates;
  std::vector<std::int32_t> m_indices;
};
