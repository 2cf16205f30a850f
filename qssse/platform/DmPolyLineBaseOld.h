#pragma once
#include <vector>

#include "qssse/platform/Export.h"
#include "qssse/platform/ReferenceCounted.h"
#include "qssse/platform/Vector3f.h"

// Handle of one vertex of a base-library polyline. A default handle (index -1) is "no vertex"; handles
// stay valid until the polyline's vertices change.
struct DmPolyVertexOld {
  int index = -1;
  bool IsValid() const { return index >= 0; }
};

// The vertex list shared by the base library's polylines: positions in order, open or closed (a closed
// line has an implied edge from the tail back to the head; the head is not repeated).
class QSSSE_API DmPolyLineBaseOld : public CbReferenceCounted {
 public:
  DmPolyLineBaseOld() = default;
  ~DmPolyLineBaseOld() override;

  int GetNumVertices() const { return static_cast<int>(m_positions.size()); }
  // 1 for an open line (the default), 0 for a closed one.
  int IsOpen() const { return m_closed ? 0 : 1; }
  void SetClosed(bool closed) { m_closed = closed; }

  // Head (first) and tail (last) vertex; "no vertex" when the line is empty.
  DmPolyVertexOld GetVertexHead() const;
  DmPolyVertexOld GetVertexTail() const;
  // The next and previous vertex along the line; "no vertex" past either end (also on closed lines)
  // and for a handle that is not a vertex of this line.
  DmPolyVertexOld GetVertexAfter(DmPolyVertexOld v) const;
  DmPolyVertexOld GetVertexBefore(DmPolyVertexOld v) const;
  // The vertex's position; (0, 0, 0) for a handle that is not a vertex of this line.
  CbVector3f GetPosition(DmPolyVertexOld v) const;

  // Adds a vertex after the tail and returns its handle.
  DmPolyVertexOld AppendVertexTail(const CbVector3f& position);
  void RemoveAllVertices() { m_positions.clear(); }

  // Signed area of the ring (closing edge always included) projected along `axis`:
  // ½ axis·Σ pᵢ × pᵢ₊₁, summed in double. Positive when the ring runs counter-clockwise seen from the
  // tip of the axis; the value scales with the axis length, so pass a unit axis. 0 below 3 vertices.
  float ComputeArea(const CbVector3f& axis) const;

 private:
  std::vector<CbVector3f> m_positions;
  bool m_closed = false;
};
