#include "qssse/platform/DmTriangulationDynamic.h"

#include <limits>
#include <string>

#include "qssse/platform/DmTriangulationStatic.h"
#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/platform/MemoryException.h"

namespace {

constexpr std::size_t kMaxCount = static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max());

}  // namespace

DmTriangulationDynamic::DmTriangulationDynamic(const DmTriangulationStatic& mesh) {
  m_vertices.reserve(static_cast<std::size_t>(mesh.GetNumVertices()));
  for (int i = 0; i < mesh.GetNumVertices(); ++i) m_vertices.push_back(mesh.GetVertex(i));
  if (mesh.GetNumTriangles() > 0)
    m_indices.assign(mesh.GetIndices(),
                     mesh.GetIndices() + 3 * static_cast<std::size_t>(mesh.GetNumTriangles()));
}

DmTriangulationDynamic::~DmTriangulationDynamic() = default;

int DmTriangulationDynamic::AddVertex(const CbVector3f& p) {
  if (m_vertices.size() >= kMaxCount) AfxThrowMemoryException();
  m_vertices.push_back(p);
  return static_cast<int>(m_vertices.size() - 1);
}

int DmTriangulationDynamic::AddTriangle(int a, int b, int c) {
  for (int v : {a, b, c}) {
    if (v < 0 || v >= GetNumVertices())
      AfxThrowInvalidArgumentException("DmTriangulationDynamic::AddTriangle: index " + std::to_string(v) +
                                       " is not one of " + std::to_string(GetNumVertices()) + " vertices");
  }
  if (m_indices.size() / 3 >= kMaxCount) AfxThrowMemoryException();
  m_indices.insert(m_indices.end(), {a, b, c});
  return GetNumTriangles() - 1;
}

void DmTriangulationDynamic::RemoveTriangle(int t) {
  if (t < 0 || t >= GetNumTriangles()) return;
  const auto at = m_indices.begin() + 3 * static_cast<std::ptrdiff_t>(t);
  m_indices.erase(at, at + 3);
}

void DmTriangulationDynamic::Clear() {
  m_vertices.clear();
  m_indices.clear();
}

CbVector3f DmTriangulationDynamic::GetVertex(int i) const {
  return (i < 0 || i >= GetNumVertices()) ? CbVector3f() : m_vertices[static_cast<std::size_t>(i)];
}

bool DmTriangulationDynamic::GetTriangle(int t, int& a, int& b, int& c) const {
  if (t < 0 || t >= GetNumTriangles()) return false;
  const std::int32_t* p = &m_indices[3 * static_cast<std::size_t>(t)];
  a = p[0];
  b = p[1];
  c = p[2];
  return true;
}

DmTriangulationStatic DmTriangulationDynamic::CreateStatic() const {
  std::vector<float> coordinates;
  coordinates.reserve(3 * m_vertices.size());
  for (const CbVector3f& p : m_vertices) coordinates.insert(coordinates.end(), {p.x, p.y, p.z});
  return DmTriangulationStatic(std::move(coordinates), m_indices);
}
