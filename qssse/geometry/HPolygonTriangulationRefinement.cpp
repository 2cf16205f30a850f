#include "qssse/geometry/HPolygonTriangulationRefinement.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>
#include <vector>

#include "qssse/geometry/HPolygonTriangulator.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/polygon/SSE3dPolygon.h"

namespace {

constexpr float kUnknownHeight = -999999.0f;
constexpr float kKnownHeight = -999998.0f;  // heights below this count as unknown
constexpr float kMatch = 0.0005f;

inline t_h2dpoint Corner(const t_hdynamictriangle* t, int j) {
  return j == 0 ? t_h2dpoint{t->x0, t->y0} : j == 1 ? t_h2dpoint{t->x1, t->y1} : t_h2dpoint{t->x2, t->y2};
}

inline float& Height(t_hdynamictriangle* t, int j) { return j == 0 ? t->z0 : j == 1 ? t->z1 : t->z2; }

inline void SetCorner(t_hdynamictriangle* t, int j, const t_h2dpoint& p) {
  if (j == 0) {
    t->x0 = p.x, t->y0 = p.y;
  } else if (j == 1) {
    t->x1 = p.x, t->y1 = p.y;
  } else {
    t->x2 = p.x, t->y2 = p.y;
  }
}

inline float SquaredLength(const t_h2dpoint& p, const t_h2dpoint& q) {
  const float dx = q.x - p.x, dy = q.y - p.y;
  return dx * dx + dy * dy;
}

// Squared lengths of sides 0 (corner 0 to 1), 1 (1 to 2) and 2 (2 to 0).
inline void SideLengths(const t_hdynamictriangle* t, float s[3]) {
  for (int k = 0; k < 3; ++k) s[k] = SquaredLength(Corner(t, k), Corner(t, (k + 1) % 3));
}

template <class T>
T* Allocate() {
  try {
    return new T();
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  }
}

}  // namespace

// ---- construction -----------------------------------------------------------------------------------

CHPolygonTriangulationRefinement::CHPolygonTriangulationRefinement(CHPolygonTriangulator* triangulator,
                                                                   float length, int passes)
    : m_triangulator(triangulator) {
  const float twice = 2.0f * length;
  m_splitLengthSq = twice * twice;
  if (triangulator == nullptr) return;
  m_scaleZ = triangulator->GetScaleZ();
  m_neighbourLimit = 4.0f * m_scaleZ;
  m_polygon = triangulator->Get3DPolygon();
  try {
    // 1. take the triangles over in order, each pushed at the head
    const t_htriangleconnectivity* tris = triangulator->GetConnectivityArray();
    for (int k = 0; k < triangulator->GetNumTriangles(); ++k) {
      t_hdynamictriangle* t = AppendTriangle();
      for (int j = 0; j < 3; ++j) {
        t_h2dpoint p;
        triangulator->GetPoint(tris[k].vnum[j], p.x, p.y);
        SetCorner(t, j, p);
      }
      t->index = k;
    }
    // 2. neighbours, then the passes
    CalcNeighbours();
    for (int pass = 0; pass < passes; ++pass) Refinement();
  } catch (...) {
    FreeList();  // no destructor runs for a constructor that throws
    throw;
  }
}

CHPolygonTriangulationRefinement::~CHPolygonTriangulationRefinement() { FreeList(); }

void CHPolygonTriangulationRefinement::FreeList() {
  while (m_head != nullptr) {
    t_hdynamictriangle* next = m_head->next;
    FreeTriangle(m_head);
    m_head = next;
  }
  m_cursor = nullptr;
  m_count = 0;
}

// ---- list operations --------------------------------------------------------------------------------

t_hdynamictriangle* CHPolygonTriangulationRefinement::AppendTriangle() {
  t_hdynamictriangle* t = Allocate<t_hdynamictriangle>();
  AppendOwnTriangle(t);
  return t;
}

void CHPolygonTriangulationRefinement::AppendOwnTriangle(t_hdynamictriangle* t) {
  if (t == nullptr) return;
  t->prev = nullptr;
  t->next = m_head;
  if (m_head != nullptr) m_head->prev = t;
  m_head = t;
  ++m_count;
}

t_hdynamictriangle* CHPolygonTriangulationRefinement::CreateTriangle() {
  t_hdynamictriangle* t = Allocate<t_hdynamictriangle>();
  t->index = -1;
  t->z0 = t->z1 = t->z2 = kUnknownHeight;
  return t;
}

void CHPolygonTriangulationRefinement::FreeTriangle(t_hdynamictriangle* t) { delete t; }

void CHPolygonTriangulationRefinement::ExchangeNeighbour(t_hdynamictriangle* t, t_hdynamictriangle* from,
                                                         t_hdynamictriangle* to) {
  if (t == nullptr) return;
  for (t_hdynamictriangle*& n : t->neighbour) {
    if (n == from) n = to;
  }
}

t_hdynamictriangle* CHPolygonTriangulationRefinement::AppendNewTrianglesAndRemoveOld(t_hdynamictriangle* old,
                                                                                     t_hdynamictriangle* a,
                                                                                     t_hdynamictriangle* b) {
  AppendOwnTriangle(a);
  AppendOwnTriangle(b);
  t_hdynamictriangle* next = old->next;
  if (old->prev != nullptr) {
    old->prev->next = old->next;
  } else {
    m_head = old->next;
  }
  if (old->next != nullptr) old->next->prev = old->prev;
  if (m_cursor == old) m_cursor = nullptr;
  FreeTriangle(old);
  --m_count;
  return next;
}

ESharedSide CHPolygonTriangulationRefinement::GetSharedSide(const t_hdynamictriangle* t,
                                                            const t_hdynamictriangle* u) {
  for (int k = 0; k < 3; ++k) {
    if (t->neighbour[k] == u) return static_cast<ESharedSide>(k);
  }
  return eNoSharedSide;
}

bool CHPolygonTriangulationRefinement::Equal(const t_h2dpoint& p, const t_h2dpoint& q) {
  return std::fabs(p.x - q.x) < kMatch && std::fabs(p.y - q.y) < kMatch;
}

t_hdynamictriangle* CHPolygonTriangulationRefinement::GetTriangle(int i) const {
  t_hdynamictriangle* t = m_head;
  for (int k = 0; k < i && t != nullptr; ++k) t = t->next;
  return t;
}

// ---- neighbours -------------------------------------------------------------------------------------

// The pass over all pairs links t's side k to the last u in list order that the rule assigns to side k.
// Such a u shares two corners with t, one of them t's corner 0 or 1, so it has a corner within 0.0005 of
// one of those two: the corners are hashed into cells of 0.001 (twice the match distance, so a match
// lies in the same or a neighbouring cell), and for each t only the triangles with a corner in the nine
// cells around its corners 0 and 1 are classified, keeping per side the latest in list order.
void CHPolygonTriangulationRefinement::CalcNeighbours() {
  struct Cell {
    std::int64_t x, y;
    int pos;  // list position of a triangle with a corner in the cell
    bool operator<(const Cell& o) const { return x != o.x ? x < o.x : y != o.y ? y < o.y : pos < o.pos; }
  };
  std::vector<t_hdynamictriangle*> list;
  std::vector<Cell> cells;
  try {
    list.reserve(static_cast<std::size_t>(m_count));
    cells.reserve(3 * static_cast<std::size_t>(m_count));
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  }
  for (t_hdynamictriangle* t = m_head; t != nullptr; t = t->next) list.push_back(t);
  const auto classify = [](const t_hdynamictriangle* t, const t_hdynamictriangle* u) {
    bool c[3];
    for (int j = 0; j < 3; ++j) {
      const t_h2dpoint p = Corner(t, j);
      c[j] = Equal(p, Corner(u, 0)) || Equal(p, Corner(u, 1)) || Equal(p, Corner(u, 2));
    }
    if (c[0] && c[1]) return 0;
    if (!c[0] && c[1] && c[2]) return 1;
    if (c[2] && c[0]) return 2;
    return -1;
  };

  // Cells of 0.001; a corner beyond 1e12 or not finite leaves the hash, and then every pair is tested.
  constexpr double kCell = 0.001;
  const auto cellOf = [](float v, std::int64_t& c) {
    const double f = std::floor(static_cast<double>(v) / kCell);
    if (!(std::fabs(f) < 1e15)) return false;
    c = static_cast<std::int64_t>(f);
    return true;
  };
  bool hashable = true;
  for (std::size_t p = 0; p < list.size() && hashable; ++p) {
    for (int j = 0; j < 3 && hashable; ++j) {
      const t_h2dpoint q = Corner(list[p], j);
      Cell c{0, 0, static_cast<int>(p)};
      hashable = cellOf(q.x, c.x) && cellOf(q.y, c.y);
      cells.push_back(c);
    }
  }
  const int n = static_cast<int>(list.size());
  if (!hashable) {
    // The pass over all pairs itself.
    for (int p = 0; p < n; ++p) {
      t_hdynamictriangle* t = list[static_cast<std::size_t>(p)];
      t->neighbour[0] = t->neighbour[1] = t->neighbour[2] = nullptr;
      for (int q = 0; q < n; ++q) {
        if (q == p) continue;
        const int side = classify(t, list[static_cast<std::size_t>(q)]);
        if (side >= 0) t->neighbour[side] = list[static_cast<std::size_t>(q)];
      }
    }
    return;
  }
  std::sort(cells.begin(), cells.end());
  std::vector<int> seen;
  try {
    seen.assign(list.size(), -1);
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  }
  for (int p = 0; p < n; ++p) {
    t_hdynamictriangle* t = list[static_cast<std::size_t>(p)];
    int last[3] = {-1, -1, -1};
    for (int j = 0; j < 2; ++j) {
      const t_h2dpoint q = Corner(t, j);
      std::int64_t cx = 0, cy = 0;
      cellOf(q.x, cx);
      cellOf(q.y, cy);
      for (std::int64_t dx = -1; dx <= 1; ++dx) {
        for (std::int64_t dy = -1; dy <= 1; ++dy) {
          const Cell key{cx + dx, cy + dy, -1};
          for (auto it = std::lower_bound(cells.begin(), cells.end(), key);
               it != cells.end() && it->x == key.x && it->y == key.y; ++it) {
            const int u = it->pos;
            if (u == p || seen[static_cast<std::size_t>(u)] == p) continue;
            seen[static_cast<std::size_t>(u)] = p;
            const int side = classify(t, list[static_cast<std::size_t>(u)]);
            if (side >= 0) last[side] = std::max(last[side], u);
          }
        }
      }
    }
    for (int k = 0; k < 3; ++k) {
      t->neighbour[k] = last[k] >= 0 ? list[static_cast<std::size_t>(last[k])] : nullptr;
    }
  }
}

// ---- refinement -------------------------------------------------------------------------------------

bool CHPolygonTriangulationRefinement::CheckNeighbourTriangle(const t_hdynamictriangle* N,
                                                              const t_hdynamictriangle* t) const {
  if (t == nullptr) return false;
  if (N == nullptr) return true;
  const int k = GetSharedSide(N, t);
  if (k < 0) return false;
  float e[3];
  SideLengths(N, e);
  for (int j = 0; j < 3; ++j) {
    if (j != k && 0.9f * e[j] > e[k]) return false;  // the shared side must be the longest within 10%
  }
  // Deliberately the triangulator's scale z, not the split length: a fixed floor for interior sides.
  return e[k] > m_neighbourLimit;
}

// t = (P0, P1, P2) split at the midpoint M of side `side` into a and b, by the table
//   side 0: a = (P0, M, P2), b = (M, P1, P2), a.1 <-> b.2, a.2 = t.2, b.1 = t.1
//   side 1: a = (P0, P1, M), b = (P0, M, P2), a.2 <-> b.0, a.0 = t.0, b.2 = t.2
//   side 2: a = (P0, P1, M), b = (M, P1, P2), a.1 <-> b.0, a.0 = t.0, b.1 = t.1
// with the outer neighbours' links back to t moved to a or b; a's and b's side `side` are left null.
void CHPolygonTriangulationRefinement::Split(t_hdynamictriangle* t, int side, t_hdynamictriangle*& a,
                                             t_hdynamictriangle*& b) {
  const t_h2dpoint p[3] = {Corner(t, 0), Corner(t, 1), Corner(t, 2)};
  const t_h2dpoint& from = p[side];
  const t_h2dpoint& to = p[(side + 1) % 3];
  const t_h2dpoint m{from.x + (to.x - from.x) * 0.5f, from.y + (to.y - from.y) * 0.5f};
  a = CreateTriangle();
  try {
    b = CreateTriangle();
  } catch (...) {
    FreeTriangle(a);
    throw;
  }
  t_hdynamictriangle* const* n = t->neighbour;
  const auto set = [](t_hdynamictriangle* x, const t_h2dpoint& c0, const t_h2dpoint& c1,
                      const t_h2dpoint& c2) {
    SetCorner(x, 0, c0);
    SetCorner(x, 1, c1);
    SetCorner(x, 2, c2);
  };
  if (side == 0) {
    set(a, p[0], m, p[2]);
    set(b, m, p[1], p[2]);
    a->neighbour[1] = b, b->neighbour[2] = a;
    a->neighbour[2] = n[2], b->neighbour[1] = n[1];
    ExchangeNeighbour(n[2], t, a);
    ExchangeNeighbour(n[1], t, b);
  } else if (side == 1) {
    set(a, p[0], p[1], m);
    set(b, p[0], m, p[2]);
    a->neighbour[2] = b, b->neighbour[0] = a;
    a->neighbour[0] = n[0], b->neighbour[2] = n[2];
    ExchangeNeighbour(n[0], t, a);
    ExchangeNeighbour(n[2], t, b);
  } else {
    set(a, p[0], p[1], m);
    set(b, m, p[1], p[2]);
    a->neighbour[1] = b, b->neighbour[0] = a;
    a->neighbour[0] = n[0], b->neighbour[1] = n[1];
    ExchangeNeighbour(n[0], t, a);
    ExchangeNeighbour(n[1], t, b);
  }
}

bool CHPolygonTriangulationRefinement::Refinement() {
  t_hdynamictriangle* t = m_head;
  while (t != nullptr) {
    // 1. the side to split: strictly the longest and above the split length; side 2 takes every tie
    float s[3];
    SideLengths(t, s);
    int side = -1;
    if (s[0] > s[1] && s[0] > s[2] && s[0] > m_splitLengthSq) {
      side = 0;
    } else if (s[1] > s[0] && s[1] > s[2] && s[1] > m_splitLengthSq) {
      side = 1;
    } else if (s[2] > m_splitLengthSq) {
      side = 2;
    }
    t_hdynamictriangle* const N = side >= 0 ? t->neighbour[side] : nullptr;
    if (side < 0 || !CheckNeighbourTriangle(N, t)) {
      t = t->next;
      continue;
    }
    // 2. split t, then its neighbour across the side (when linked back), halves linked A-C and B-D
    t_hdynamictriangle *a = nullptr, *b = nullptr;
    Split(t, side, a, b);
    const int k = N != nullptr ? GetSharedSide(N, t) : -1;
    t_hdynamictriangle* next = AppendNewTrianglesAndRemoveOld(t, a, b);
    if (N != nullptr && next == N) next = N->next;
    if (k >= 0) {
      t_hdynamictriangle *c = nullptr, *d = nullptr;
      Split(N, k, c, d);
      // Deliberately crosswise: C lies against B and D against A, but A links to C and B to D.
      a->neighbour[side] = c;
      b->neighbour[side] = d;
      c->neighbour[k] = a;
      d->neighbour[k] = b;
      AppendNewTrianglesAndRemoveOld(N, c, d);
    }
    t = next;
  }
  return true;
}

void CHPolygonTriangulationRefinement::CollapseSlivers() {}

// ---- 3-D reads --------------------------------------------------------------------------------------

float CHPolygonTriangulationRefinement::InterpolatedZ(float x, float y) const {
  return m_polygon->InterpolateZ(x, y, 8, m_neighbourLimit);
}

void CHPolygonTriangulationRefinement::Read3D(t_hdynamictriangle* t, SSEPoint& a, SSEPoint& b, SSEPoint& c) {
  m_cursor = t;
  if (t->index != -1) {
    m_triangulator->GetTriangle3D(t->index, a, b, c);
    return;
  }
  SSEPoint* out[3] = {&a, &b, &c};
  for (int j = 0; j < 3; ++j) {
    const t_h2dpoint p = Corner(t, j);
    float z = Height(t, j);
    if (!(z >= kKnownHeight)) {
      z = InterpolatedZ(p.x, p.y);
      // Deliberately corner 0's slot for corners 0 and 1: corner 1 is read again next time.
      Height(t, j == 2 ? 2 : 0) = z;
      for (t_hdynamictriangle* n : t->neighbour) {
        if (n == nullptr) continue;
        for (int m = 0; m < 3; ++m) {
          const t_h2dpoint q = Corner(n, m);
          if (q.x == p.x && q.y == p.y) Height(n, m) = z;
        }
      }
    }
    *out[j] = qssse::MakeSSEPoint(p.x, p.y, z);
  }
}

void CHPolygonTriangulationRefinement::GetTriangle3D(int i, SSEPoint& a, SSEPoint& b, SSEPoint& c) {
  t_hdynamictriangle* t = GetTriangle(i);
  if (m_polygon == nullptr || t == nullptr) return;
  Read3D(t, a, b, c);
}

void CHPolygonTriangulationRefinement::GetFirstTriangle3D(SSEPoint& a, SSEPoint& b, SSEPoint& c) {
  if (m_polygon == nullptr || m_head == nullptr) return;
  Read3D(m_head, a, b, c);
}

void CHPolygonTriangulationRefinement::GetNextTriangle3D(SSEPoint& a, SSEPoint& b, SSEPoint& c) {
  if (m_polygon == nullptr || m_cursor == nullptr || m_cursor->next == nullptr) return;
  Read3D(m_cursor->next, a, b, c);
}

// ---- border -----------------------------------------------------------------------------------------

void CHPolygonTriangulationRefinement::GetBorderLinePolygon(CSSE3dPolygon* line) const {
  if (line == nullptr) return;
  struct Side {
    const t_hdynamictriangle* t;
    int j;  // from corner j to corner j + 1
    t_h2dpoint from, to;
  };
  std::vector<Side> sides;
  for (const t_hdynamictriangle* t = m_head; t != nullptr; t = t->next) {
    for (int j = 0; j < 3; ++j) {
      if (t->neighbour[j] != nullptr) continue;
      const Side s{t, j, Corner(t, j), Corner(t, (j + 1) % 3)};
      if (std::isfinite(s.from.x) && std::isfinite(s.from.y) && std::isfinite(s.to.x) &&
          std::isfinite(s.to.y)) {
        sides.push_back(s);
      }
    }
  }
  // 1. chain the sides into loops: the next side starts exactly where the current one ends
  const auto before = [](const t_h2dpoint& p, const t_h2dpoint& q) {
    return p.x < q.x || (p.x == q.x && p.y < q.y);
  };
  std::vector<int> byStart(sides.size());
  for (std::size_t i = 0; i < sides.size(); ++i) byStart[i] = static_cast<int>(i);
  std::sort(byStart.begin(), byStart.end(), [&](int u, int v) {
    return before(sides[static_cast<std::size_t>(u)].from, sides[static_cast<std::size_t>(v)].from);
  });
  std::vector<char> used(sides.size(), 0);
  std::vector<int> best, loop;
  for (std::size_t first = 0; first < sides.size(); ++first) {
    if (used[first]) continue;
    loop.clear();
    for (int s = static_cast<int>(first); s >= 0;) {
      used[static_cast<std::size_t>(s)] = 1;
      loop.push_back(s);
      const t_h2dpoint end = sides[static_cast<std::size_t>(s)].to;
      auto it = std::lower_bound(byStart.begin(), byStart.end(), end, [&](int u, const t_h2dpoint& p) {
        return before(sides[static_cast<std::size_t>(u)].from, p);
      });
      s = -1;
      for (; it != byStart.end() && !before(end, sides[static_cast<std::size_t>(*it)].from); ++it) {
        if (!used[static_cast<std::size_t>(*it)]) {
          s = *it;
          break;
        }
      }
    }
    if (loop.size() > best.size()) best.swap(loop);
  }

  // 2. the loop's points, with the heights of the source
  line->Create(static_cast<int>(best.size()));
  const t_htriangleconnectivity* tris = m_triangulator ? m_triangulator->GetConnectivityArray() : nullptr;
  for (std::size_t i = 0; i < best.size(); ++i) {
    const Side& s = sides[static_cast<std::size_t>(best[i])];
    float z = 0.0f;
    if (m_polygon != nullptr) {
      if (s.t->index != -1) {
        SSEPoint q = qssse::ZeroSSEPoint();
        m_polygon->GetPointSSE(tris[s.t->index].vnum[s.j] * m_triangulator->GetStep(), q);
        z = q.z;
      } else {
        z = InterpolatedZ(s.from.x, s.from.y);
      }
    }
    line->SetPoint(static_cast<int>(i), s.from.x, s.from.y, z);
  }
}
