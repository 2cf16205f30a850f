#include "qssse/geometry/HPolygonTriangulator.h"

#include <new>
#include <string>

#include "qssse/geometry/RingEdgeIndex.h"
#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/polygon/SSE2dPolygon.h"
#include "qssse/polygon/SSE3dPolygon.h"

namespace {

// Value-initialised working array (links null, flags clear, counts zero).
template <class T>
std::unique_ptr<T[]> MakeArray(int n) {
  try {
    return std::unique_ptr<T[]>(new T[static_cast<std::size_t>(n)]());
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  }
}

}  // namespace

// ---- construction -----------------------------------------------------------------------------------

CHPolygonTriangulator::CHPolygonTriangulator(CSSE2dPolygon* polygon, int step, float scaleX, float scaleY,
                                             bool searchAfterHead) {
  if (polygon == nullptr || polygon->GetNumPoints() < 3) return;  // empty object
  m_polygon2d = polygon;
  m_searchAfterHead = searchAfterHead;
  m_scaleX = scaleX;
  m_scaleY = scaleY;
  Allocate(polygon->GetNumPoints(), step);
  GetValuesFrom2DPolygon();
  LinkVertexRing();
  m_diagonals = MakeArray<t_hdiagonal>(m_n);
  Triangulate();
}

CHPolygonTriangulator::CHPolygonTriangulator(CSSE3dPolygon* polygon, int step, float scaleX, float scaleY,
                                             float scaleZ, bool searchAfterHead) {
  if (polygon == nullptr || polygon->GetNumPoints() < 3) return;  // empty object
  m_polygon3d = polygon;
  m_searchAfterHead = searchAfterHead;
  m_scaleX = scaleX;
  m_scaleY = scaleY;
  m_scaleZ = scaleZ;
  Allocate(polygon->GetNumPoints(), step);
  Create2DPolygonFrom3DPolygon();
  LinkVertexRing();
  m_diagonals = MakeArray<t_hdiagonal>(m_n);
  Triangulate();
}

CHPolygonTriangulator::~CHPolygonTriangulator() = default;

void CHPolygonTriangulator::Allocate(int pointCount, int step) {
  if (step < 1) {
    AfxThrowInvalidArgumentException("CHPolygonTriangulator: step " + std::to_string(step) + " is below 1");
  }
  m_step = step;
  m_numDiagonals = 0;
  m_n = pointCount / step;
  m_vertices = MakeArray<t_hvertex>(m_n);
  m_triangles = MakeArray<t_htriangleconnectivity>(m_n);
  m_numTriangles = 0;
}

void CHPolygonTriangulator::GetValuesFrom2DPolygon() {
  float x = 0.0f, y = 0.0f;
  for (int i = 0; i < m_n; ++i) {
    m_polygon2d->GetPoint(i * m_step, x, y);
    m_vertices[i].x = m_scaleX * x;
    m_vertices[i].y = m_scaleY * y;
  }
}

void CHPolygonTriangulator::Create2DPolygonFrom3DPolygon() {
  m_polygon3d->CalcBoundingBox();
  float x = 0.0f, y = 0.0f;
  for (int i = 0; i < m_n; ++i) {
    m_polygon3d->GetPointXY(i * m_step, x, y);
    m_vertices[i].x = m_scaleX * x;
    m_vertices[i].y = m_scaleY * y;
  }
}

void CHPolygonTriangulator::LinkVertexRing() {
  for (int i = 0; i < m_n; ++i) {
    t_hvertex& v = m_vertices[i];
    v.vnum = i;
    v.next = &m_vertices[i + 1 < m_n ? i + 1 : 0];
    v.prev = &m_vertices[i > 0 ? i - 1 : m_n - 1];
  }
  m_head = m_n > 0 ? &m_vertices[0] : nullptr;
}

// ---- clipping ---------------------------------------------------------------------------------------

void CHPolygonTriangulator::Triangulate() {
  // 1. clear the records, flag the ears
  for (int i = 0; i < m_n; ++i) m_diagonals[i].exists = false;
  EarInit();
  if (m_n < 3) return;

  // 2. clip ears while three or more vertices remain
  for (int m = m_n; m >= 3; --m) {
    t_hvertex* const start = m_searchAfterHead ? m_head->next : m_head;
    t_hvertex* e = start;
    bool found = false;
    for (int k = 0; k < m_n; ++k) {
      if (e->ear) {
        found = true;
        break;
      }
      e = e->next;
    }
    if (!found) {
      // The last three vertices close as one triangle even without an ear flag; with more left, a
      // failed search ends the triangulation.
      if (m != 3) break;
      e = start;
      if (!Left(e->prev, e, e->next)) break;
    }
    Clip(e);
  }
  m_index.reset();  // only the clipping needs it
}

void CHPolygonTriangulator::EarInit() {
  // Deliberately stops before the last vertex: it starts as no ear, which decides the first clip.
  for (int i = 0; i + 1 < m_n; ++i) {
    t_hvertex* v = &m_vertices[i];
    v->ear = Diagonal(v->prev, v->next);
  }
}

void CHPolygonTriangulator::Clip(t_hvertex* e) {
  t_hvertex* const a = e->prev;
  t_hvertex* const b = e->next;
  t_hvertex* const a0 = a->prev;
  t_hvertex* const b1 = b->next;

  t_hdiagonal& d = m_diagonals[m_numDiagonals++];
  d.exists = true;
  d.from = a->vnum;
  d.fromConvex = LeftOn(a, e, a0);
  d.to = b->vnum;
  d.toConvex = LeftOn(b, b1, e);

  // Both tested on the ring as it still is, with e in it.
  a->ear = Diagonal(a0, b);
  b->ear = Diagonal(a, b1);

  t_htriangleconnectivity& t = m_triangles[m_numTriangles++];
  t.vnum[0] = a->vnum;
  t.vnum[1] = e->vnum;
  t.vnum[2] = b->vnum;

  a->next = b;
  b->prev = a;
  m_head = b;
  if (m_index) m_index->VertexClipped(e);
}

bool CHPolygonTriangulator::Diagonal(t_hvertex* a, t_hvertex* b) {
  return InCone(a, b) && InCone(b, a) && Diagonalie(a, b);
}

bool CHPolygonTriangulator::Diagonalie(t_hvertex* a, t_hvertex* b) {
  if (!m_indexTried) {  // built at the first need: many degenerate rings never get here
    m_indexTried = true;
    m_index = qssse::RingEdgeIndex::Create(m_vertices.get(), m_n, m_head);
  }
  if (m_index) return !m_index->AnyEdgeIntersects(a, b);
  return DiagonalieByWalk(a, b);
}

bool CHPolygonTriangulator::DiagonalieByWalk(const t_hvertex* a, const t_hvertex* b) const {
  const t_hvertex* c = m_head;
  do {
    const t_hvertex* c1 = c->next;
    if (c != a && c1 != a && c != b && c1 != b && Intersect(a, b, c, c1)) return false;
    c = c1;
  } while (c != m_head);
  return true;
}

// ---- accessors --------------------------------------------------------------------------------------

void CHPolygonTriangulator::GetPoint(int i, float& x, float& y) const {
  if (i < 0 || i >= m_n) return;
  x = m_vertices[i].x;
  y = m_vertices[i].y;
}

bool CHPolygonTriangulator::DiagonalExists(int i) const {
  return i >= 0 && i < m_numDiagonals && m_diagonals[i].exists;
}

void CHPolygonTriangulator::GetDiagonalPoints(int i, float& x1, float& y1, float& x2, float& y2) const {
  if (i < 0 || i >= m_numDiagonals) return;
  const t_hdiagonal& d = m_diagonals[i];
  GetPoint(d.from, x1, y1);
  GetPoint(d.to, x2, y2);
}

void CHPolygonTriangulator::GetTriangle3D(int i, SSEPoint& a, SSEPoint& b, SSEPoint& c) const {
  if (m_polygon3d == nullptr || i < 0 || i >= m_numTriangles) return;
  const t_htriangleconnectivity& t = m_triangles[i];
  m_polygon3d->GetPointSSE(t.vnum[0] * m_step, a);
  m_polygon3d->GetPointSSE(t.vnum[1] * m_step, b);
  m_polygon3d->GetPointSSE(t.vnum[2] * m_step, c);
}
