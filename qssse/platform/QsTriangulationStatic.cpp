#include "qssse/platform/QsTriangulationStatic.h"

#include <string>
#include <vector>

#include "qssse/platform/InvalidArgumentException.h"

QsCTriangulationStatic::QsCTriangulationStatic(const float* vertices, int numVertices,
                                               const std::int32_t* indices, int numTriangles) {
  if (numVertices < 0 || numTriangles < 0 || (vertices == nullptr && numVertices > 0) ||
      (indices == nullptr && numTriangles > 0)) {
    AfxThrowInvalidArgumentException("QsCTriangulationStatic: " + std::to_string(numVertices) +
                                     " vertices and " + std::to_string(numTriangles) +
                                     " triangles do not match the arrays");
  }
  const std::size_t coordinates = 3 * static_cast<std::size_t>(numVertices);
  const std::size_t corners = 3 * static_cast<std::size_t>(numTriangles);
  m_mesh.Create(
      vertices != nullptr ? std::vector<float>(vertices, vertices + coordinates) : std::vector<float>(),
      indices != nullptr ? std::vector<std::int32_t>(indices, indices + corners)
                         : std::vector<std::int32_t>());
}

QsCTriangulationStatic::~QsCTriangulationStatic() = default;
