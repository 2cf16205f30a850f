#pragma once
#include <cstdint>
#include <memory>
#include <vector>

#include "qssse/geometry/HPolygonTriangulator.h"

namespace qssse {

// The edge index behind CHPolygonTriangulator::Diagonalie. An internal of the triangulator, public only
// because every header is; callers use CHPolygonTriangulator.
//
// It answers "does Intersect(a, b, c, c.next) hold for some live ring edge that touches neither a nor b"
// with the same answer as the walk over every edge, while testing only the edges that could make it true
// (the reasoning, float rounding included, opens RingEdgeIndex.cpp). Clipping never reorders the ring, so
// its live edges join consecutive live vertices in their original order: a box tree over that order
// (leaves of sixteen vertices) holds each edge at the lowest node whose range contains both its ends, at
// most one per node. A node's box bounds its vertices, widened by the largest region (segment, the band
// in which Between can find a point against it, and a rounding margin) of any edge ever held below it;
// a query descends only into boxes its own region meets. Where the rounding of the area tests can reach
// the tolerance (long segments in a large box), a query also looks for vertices in a thin double wedge
// along its line, through the same tree.
class RingEdgeIndex {
 public:
  // An index over the ring that runs from head through the linked vertices (n in the array; those not on
  // the ring count as clipped), or null when the coordinates do not allow one (not finite, or beyond 1e15
  // in magnitude): the caller then walks the ring.
  static std::unique_ptr<RingEdgeIndex> Create(const t_hvertex* vertices, int n, const t_hvertex* head);
  RingEdgeIndex(const RingEdgeIndex&) = delete;
  RingEdgeIndex& operator=(const RingEdgeIndex&) = delete;
  ~RingEdgeIndex();

  // Whether some live edge (c, c.next) with neither c nor c.next being a or b has Intersect(a, b, c, c.next).
  bool AnyEdgeIntersects(const t_hvertex* a, const t_hvertex* b);
  // e has just been unlinked (e.prev and e.next now joined): its two edges die, the joining edge is new.
  void VertexClipped(const t_hvertex* e);

 private:
  struct Node {
    float x0, y0, x1, y1;  // box of the vertices below (empty: x0 > x1)
    float padX, padY;      // widening that covers the region of every edge ever held below
    float extent;          // largest max(|dx|, |dy|) of a live edge ending at a vertex below
    std::int32_t edge;     // start of the live edge held here, -1 for none
  };
  struct Region;

  RingEdgeIndex(const t_hvertex* vertices, int n, const t_hvertex* head);
  int NodeOf(const t_hvertex* s, const t_hvertex* t) const;
  static float Extent(const t_hvertex* s);
  float VertexExtent(int i) const;
  static bool ExactAreas(const t_hvertex* head, double span);
  void UpdateExtents(int vertex);
  void AddEdge(const t_hvertex* s);
  void RemoveEdge(const t_hvertex* s, const t_hvertex* t);
  bool IsLong(const t_hvertex* p, const t_hvertex* q) const;
  bool TestEdge(const t_hvertex* a, const t_hvertex* b, int start) const;

  const t_hvertex* m_v;  // the triangulator's vertex array
  int m_n;
  std::vector<std::uint8_t> m_alive;
  std::vector<float> m_extent;      // per vertex: the extent of its live outgoing edge
  int m_leaves = 1;                 // leaf j holds vertices kLeaf·j ..; node k has children 2k, 2k + 1
  std::vector<Node> m_tree;         // m_tree[1] is the root
  std::int32_t m_wrap = -1;         // start of the edge from the last live vertex back to the first
  float m_width = 0, m_height = 0;  // of the ring's box

  bool m_exact = false;  // no area test among the ring's points rounds (then no edge is long)
  int m_liveLong = 0;    // live edges whose rounding can reach the tolerance somewhere in the box
};

}  // namespace qssse
