#include "qssse/platform/DmPolyLineOld.h"

DmPolyLineBaseOld::~DmPolyLineBaseOld() = default;
DmPolyLineOld::~DmPolyLineOld() = default;

DmPolyVertexOld DmPolyLineBaseOld::GetVertexHead() const {
  return m_positions.empty() ? DmPolyVertexOld{} : DmPolyVertexOld{0};
}

DmPolyVertexOld DmPolyLineBaseOld::GetVertexTail() const {
  return DmPolyVertexOld{static_cast<int>(m_positions.size()) - 1};
}

DmPolyVertexOld DmPolyLineBaseOld::GetVertexAfter(DmPolyVertexOld v) const {
  if (!v.IsValid() || v.index + 1 >= GetNumVertices()) return {};
  return DmPolyVertexOld{v.index + 1};
}

DmPolyVertexOld DmPolyLineBaseOld::GetVertexBefore(DmPolyVertexOld v) const {
  if (v.index < 1 || v.index >= GetNumVertices()) return {};
  return DmPolyVertexOld{v.index - 1};
}

CbVector3f DmPolyLineBaseOld::GetPosition(DmPolyVertexOld v) const {
  if (!v.IsValid() || v.index >= GetNumVertices()) return {};
  return m_positions[static_cast<std::size_t>(v.index)];
}

DmPolyVertexOld DmPolyLineBaseOld::AppendVertexTail(const CbVector3f& position) {
  m_positions.push_back(position);
  return GetVertexTail();
}

float DmPolyLineBaseOld::ComputeArea(const CbVector3f& axis) const {
  const std::size_t n = m_positions.size();
  if (n < 3) return 0.0f;
  double sx = 0.0, sy = 0.0, sz = 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    const CbVector3f& a = m_positions[i];
    const CbVector3f& b = m_positions[(i + 1) % n];
    sx += static_cast<double>(a.y) * b.z - static_cast<double>(a.z) * b.y;
    sy += static_cast<double>(a.z) * b.x - static_cast<double>(a.x) * b.z;
    sz += static_cast<double>(a.x) * b.y - static_cast<double>(a.y) * b.x;
  }
  return static_cast<float>(0.5 * (axis.x * sx + axis.y * sy + axis.z * sz));
}
