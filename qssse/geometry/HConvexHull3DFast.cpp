// The incremental hull with conflict lists. Every unprocessed point is filed with one face it sees
// (or with none: it lies in the hull, and since the hull only grows it stays inside). An insertion
// then starts from the point's face, finds the visible cap by walking across edges (the faces a point
// outside a convex solid sees form one connected cap), cones the horizon and refiles the points of the
// removed faces with the new faces.
//
// Why refiling with the new faces alone is exact: let q see a removed face F and lie outside the new
// hull. If q saw only old faces of the new hull, its visible cap on the old hull would reach from F
// (visible from p) to a face G not visible from p, so it would cross the horizon at an edge e whose
// two faces q both sees. In the plane across e, q then lies in the wedge opposite the hull, which lies
// strictly above the cone face on e, because p lies above one face of e and below the other. So q
// sees a new face.
//
// Why the lists come out identical to ConstructHull's: points are processed in the same walk; the cap
// is the same set of faces; the horizon edges are coned in edge-list order (the list is always sorted
// by creation number from its head, since edges are only appended at its end), so faces and edges are
// made in the same order; and the deletions remove the same elements, which leaves the order of the
// others as it was.
//
// Points on the paraboloid (the Delaunay lift) are located without conflict lists: the lower faces
// project to the Delaunay triangulation of the points inserted so far, so a walk in x-y across the
// edges that the point lies beyond reaches the triangle containing it, which it sees (it lies inside
// that triangle's circumcircle); a point beyond the triangulation's border sees the face across the
// border edge where the walk leaves it, or the triangle it leaves (the two circles through that edge
// are nested on the point's side). Walks start from a face made by an earlier insertion near the point
// (a grid of cells over the points' box). Every face found is confirmed by the exact volume sign, and
// a walk that fails (degenerate input) falls back to scanning every face, so this only saves time.
//
// Refiling is the hot loop and the points come in no spatial order, so the conflict lists keep each
// point's coordinates in blocks of their own and the point's face in a table: refiling reads blocks
// in sequence instead of a scattered vertex record per point.
#include <algorithm>
#include <cmath>
#include <memory>
#include <typeinfo>
#include <vector>

#include "qssse/geometry/H2DDelaunay.h"
#include "qssse/geometry/HConvexHull3D.h"

namespace {

struct ConflictEntry {
  std::int64_t x, y, z;
  tVertexStructure* v;
  int slot;
};

}  // namespace

struct tConflictBlock {
  static constexpr int kSize = 7;
  tConflictBlock* next;
  int count;
  ConflictEntry entries[kSize];
};

struct CHConvexHull3D::Scratch {
  std::vector<tFaceStructure*> stack;
  std::vector<tFaceStructure*> visible;
  std::vector<tEdgeStructure*> horizon;
  std::vector<tEdgeStructure*> inner;
  std::vector<tFaceStructure*> cone;
  std::vector<tVertexStructure*> gone;
  std::vector<tFaceStructure*> faceOf;  // by slot: the face the point is filed with, null when inside
  std::vector<std::unique_ptr<tConflictBlock[]>> chunks;
  tConflictBlock* freeBlocks = nullptr;
  std::size_t lastHit = 0;
  bool own = true;
  // The walk: a grid of side x side cells over the points' x-y box, each holding the last point
  // inserted in it; its face is where a walk starts.
  bool walk = false;
  std::vector<tVertexStructure*> grid;
  std::size_t side = 1;
  double minX = 0, minY = 0, perCellX = 0, perCellY = 0;
  tFaceStructure* lastFace = nullptr;

  std::size_t Cell(std::int64_t x, std::int64_t y) const {
    const auto clamp = [&](double c) {
      return c <= 0 ? std::size_t{0} : std::min(side - 1, static_cast<std::size_t>(c));
    };
    return clamp((static_cast<double>(x) - minX) * perCellX) * side + clamp((static_cast<double>(y) - minY) * perCellY);
  }

  void File(const ConflictEntry& q, tFaceStructure* f) {
    tConflictBlock* b = f->conflicts;
    if (b == nullptr || b->count == tConflictBlock::kSize) {
      if (freeBlocks == nullptr) Grow();
      tConflictBlock* fresh = freeBlocks;
      freeBlocks = fresh->next;
      fresh->next = b;
      fresh->count = 0;
      f->conflicts = b = fresh;
    }
    b->entries[b->count++] = q;
    faceOf[static_cast<std::size_t>(q.slot)] = f;
  }

  void Release(tFaceStructure* f) {
    tConflictBlock* b = f->conflicts;
    while (b != nullptr) {
      tConflictBlock* next = b->next;
      b->next = freeBlocks;
      freeBlocks = b;
      b = next;
    }
    f->conflicts = nullptr;
  }

  void Grow() {
    const std::size_t count = 4096;
    chunks.push_back(std::make_unique<tConflictBlock[]>(count));
    tConflictBlock* chunk = chunks.back().get();
    for (std::size_t i = 0; i < count; ++i) {
      chunk[i].next = freeBlocks;
      freeBlocks = &chunk[i];
    }
  }
};

namespace {

int OwnSign(const tFaceStructure* f, std::int64_t px, std::int64_t py, std::int64_t pz) {
  const tVertexStructure* a = f->vertex[0];
  const tVertexStructure* b = f->vertex[1];
  const tVertexStructure* c = f->vertex[2];
  const std::int64_t pa[3] = {a->x, a->y, a->z}, pb[3] = {b->x, b->y, b->z}, pc[3] = {c->x, c->y, c->z};
  return CHConvexHull3D::VolumeSignOf(pa, pb, pc, px, py, pz);
}

tFaceStructure* Across(const tEdgeStructure* e, const tFaceStructure* f) {
  return e->adjface[0] == f ? e->adjface[1] : e->adjface[0];
}

// Twice the signed x-y area of (a, b, c), positive counter-clockwise.
std::int64_t Orient2D(const tVertexStructure* a, const tVertexStructure* b, std::int64_t cx, std::int64_t cy) {
  return (b->x - a->x) * (cy - a->y) - (b->y - a->y) * (cx - a->x);
}

}  // namespace

// The library's two hull classes; a class derived from either may replace the predicate.
bool CHConvexHull3D::OwnVolumeSign() const {
  return typeid(*this) == typeid(CHConvexHull3D) || typeid(*this) == typeid(CH2DDelaunay);
}

void CHConvexHull3D::ConstructHullFast() {
  Scratch scratch;
  scratch.own = OwnVolumeSign();
  scratch.walk = liftedInput;
  bool ready = false;
  tVertexStructure* v = vertices;
  do {
    tVertexStructure* vnext = v->next;
    if (!v->mark) {
      v->mark = true;
      if (!ready) {
        // Right after DoubleTriangle the hull is flat: a point beside the triangle in its plane sees
        // neither face although it lies outside. The first insertion makes a solid; it is made plainly
        // and the points are filed (or the walk's grid laid out) afterwards.
        AddOne(v);
        CleanUp(&vnext);
        FileConflicts(scratch);
        ready = true;
      } else {
        tFaceStructure* start =
            scratch.walk ? LocateByWalk(v, scratch) : scratch.faceOf[static_cast<std::size_t>(v->slot)];
        InsertFast(v, start, &vnext, scratch);
      }
      if (check) Checks();
    }
    v = vnext;
  } while (v != vertices);
  // No face holds conflict blocks now: a face that was given points is deleted when the first of them
  // is inserted, and every point has been.
}

tFaceStructure* CHConvexHull3D::LocateByWalk(tVertexStructure* p, Scratch& s) {
  const auto sees = [&](tFaceStructure* f) {
    return (s.own ? OwnSign(f, p->x, p->y, p->z) : VolumeSign(f, p)) < 0;
  };
  // 1. a start near p: its cell, the cells around it, or the last face made
  tFaceStructure* f = nullptr;
  const std::size_t cell = s.Cell(p->x, p->y);
  const std::size_t cx = cell / s.side, cy = cell % s.side;
  for (std::size_t r = 0; r <= 2 && f == nullptr; ++r) {
    for (std::size_t i = (cx >= r ? cx - r : 0); i <= std::min(s.side - 1, cx + r) && f == nullptr; ++i) {
      for (std::size_t j = (cy >= r ? cy - r : 0); j <= std::min(s.side - 1, cy + r); ++j) {
        const tVertexStructure* g = s.grid[i * s.side + j];
        if (g != nullptr && g->face != nullptr && g->face->alive) {
          f = g->face;
          break;
        }
      }
    }
  }
  if (f == nullptr) f = s.lastFace != nullptr && s.lastFace->alive ? s.lastFace : faces;
  const auto lower = [](const tFaceStructure* g) {
    return Orient2D(g->vertex[0], g->vertex[1], g->vertex[2]->x, g->vertex[2]->y) < 0;
  };
  if (!lower(f)) {
    for (const tEdgeStructure* e : f->edge) {
      if (lower(Across(e, f))) {
        f = Across(e, f);
        break;
      }
    }
  }
  // 2. across the edges p lies beyond, while on lower faces (clockwise in x-y)
  for (int step = 0; step < (1 << 16); ++step) {
    if (sees(f)) return f;
    const tVertexStructure* const* v = f->vertex;
    if (!lower(f)) break;  // an upper or vertical face p does not see: only in degenerate cases
    tFaceStructure* next = nullptr;
    for (int k = 0; k < 3 && next == nullptr; ++k) {
      const int i = (step + k) % 3;  // rotating the first edge tried keeps degenerate walks from cycling
      const tVertexStructure* a = v[i];
      const tVertexStructure* b = v[(i + 1) % 3];
      if (Orient2D(a, b, p->x, p->y) <= 0) continue;
      for (const tEdgeStructure* e : f->edge) {
        if ((e->endpts[0] == a && e->endpts[1] == b) || (e->endpts[0] == b && e->endpts[1] == a)) next = Across(e, f);
      }
    }
    if (next == nullptr) break;
    f = next;
  }
  // 3. degenerate cases: every face
  tFaceStructure* g = faces;
  do {
    if (sees(g)) return g;
    g = g->next;
  } while (g != faces);
  return nullptr;
}

void CHConvexHull3D::FileConflicts(Scratch& s) {
  if (s.walk) {
    std::int64_t lo[2] = {vertices->x, vertices->y}, hi[2] = {lo[0], lo[1]};
    std::size_t count = 0;
    tVertexStructure* v = vertices;
    do {
      lo[0] = std::min(lo[0], v->x);
      lo[1] = std::min(lo[1], v->y);
      hi[0] = std::max(hi[0], v->x);
      hi[1] = std::max(hi[1], v->y);
      ++count;
      v = v->next;
    } while (v != vertices);
    s.side = std::max<std::size_t>(1, static_cast<std::size_t>(std::sqrt(static_cast<double>(count) / 4.0)));
    s.grid.assign(s.side * s.side, nullptr);
    s.minX = static_cast<double>(lo[0]);
    s.minY = static_cast<double>(lo[1]);
    s.perCellX = static_cast<double>(s.side) / (static_cast<double>(hi[0] - lo[0]) + 1.0);
    s.perCellY = static_cast<double>(s.side) / (static_cast<double>(hi[1] - lo[1]) + 1.0);
    return;
  }
  tFaceStructure* f = faces;
  do {
    f->conflicts = nullptr;
    f = f->next;
  } while (f != faces);
  int slots = 0;
  tVertexStructure* v = vertices;
  do {
    if (!v->mark) ++slots;
    v = v->next;
  } while (v != vertices);
  s.faceOf.assign(static_cast<std::size_t>(slots), nullptr);
  int slot = 0;
  v = vertices;
  do {
    if (!v->mark) {
      v->slot = slot++;
      f = faces;
      do {
        if (VolumeSign(f, v) < 0) {
          s.File({v->x, v->y, v->z, v, v->slot}, f);
          break;
        }
        f = f->next;
      } while (f != faces);
    }
    v = v->next;
  } while (v != vertices);
}

void CHConvexHull3D::InsertFast(tVertexStructure* p, tFaceStructure* start, tVertexStructure** pvnext,
                                Scratch& s) {
  if (start == nullptr) {
    // Inside: AddOne would find no visible face, and CleanVertices would drop p.
    p->onhull = false;
    if (p == *pvnext) *pvnext = p->next;
    DeleteVertex(p);
    return;
  }
  const auto sees = [&](tFaceStructure* f, const ConflictEntry& q) {
    return (s.own ? OwnSign(f, q.x, q.y, q.z) : VolumeSign(f, q.v)) < 0;
  };
  const ConflictEntry self = {p->x, p->y, p->z, p, p->slot};
  // 1. the visible cap, from the filed face across edges
  const std::uint64_t stamp = ++insertion;
  s.stack.clear();
  s.visible.clear();
  start->stamp = stamp;
  start->visible = true;
  s.stack.push_back(start);
  while (!s.stack.empty()) {
    tFaceStructure* f = s.stack.back();
    s.stack.pop_back();
    s.visible.push_back(f);
    for (tEdgeStructure* e : f->edge) {
      tFaceStructure* g = Across(e, f);
      if (g->stamp == stamp) continue;
      g->stamp = stamp;
      if (sees(g, self)) {
        g->visible = true;
        s.stack.push_back(g);
      }
    }
  }
  // 2. inner edges are marked, horizon edges coned in list order
  s.horizon.clear();
  s.inner.clear();
  for (tFaceStructure* f : s.visible) {
    for (tEdgeStructure* e : f->edge) {
      if (!Across(e, f)->visible) {
        s.horizon.push_back(e);
      } else if (!e->deleted) {
        e->deleted = true;
        s.inner.push_back(e);
      }
    }
  }
  std::sort(s.horizon.begin(), s.horizon.end(),
            [](const tEdgeStructure* a, const tEdgeStructure* b) { return a->order < b->order; });
  s.cone.clear();
  for (tEdgeStructure* e : s.horizon) {
    e->newface = MakeConeFace(e, p);
    s.cone.push_back(e->newface);
  }
  // 3. the points of the cap's faces go to a cone face they see, or nowhere (inside for good)
  const std::size_t n = s.cone.size();
  if (s.walk) {
    // Every vertex of a lower cone face points at it: a vertex's face dies only in an insertion that
    // puts the vertex on the horizon (and gives it a new one) or inside the cap (and deletes it).
    for (tFaceStructure* c : s.cone) {
      if (Orient2D(c->vertex[0], c->vertex[1], c->vertex[2]->x, c->vertex[2]->y) >= 0) continue;
      for (tVertexStructure* u : c->vertex) u->face = c;
      s.lastFace = c;
    }
    s.grid[s.Cell(p->x, p->y)] = p;
  }
  for (tFaceStructure* f : s.visible) {
    if (s.walk) break;
    for (const tConflictBlock* b = f->conflicts; b != nullptr; b = b->next) {
      for (int k = 0; k < b->count; ++k) {
        const ConflictEntry& q = b->entries[k];
        if (q.v == p) continue;
        s.faceOf[static_cast<std::size_t>(q.slot)] = nullptr;
        for (std::size_t j = 0; j < n; ++j) {
          const std::size_t at = (s.lastHit + j) % n;  // neighbouring points tend to see the same face
          if (sees(s.cone[at], q)) {
            s.File(q, s.cone[at]);
            s.lastHit = at;
            break;
          }
        }
      }
    }
    s.Release(f);
  }
  // 4. vertices inside the cap (no cone edge was made from them) leave with it
  s.gone.clear();
  for (tFaceStructure* f : s.visible) {
    for (tVertexStructure* u : f->vertex) {
      if (u->duplicate == nullptr && !u->onhull) {
        u->onhull = true;  // only as "collected"; the vertex is deleted below
        s.gone.push_back(u);
      }
    }
  }
  // 5. the clean-ups, restricted to what the insertion touched
  for (tEdgeStructure* e : s.horizon) {
    if (e->adjface[0]->visible) {
      e->adjface[0] = e->newface;
    } else {
      e->adjface[1] = e->newface;
    }
    e->newface = nullptr;
    e->endpts[0]->duplicate = nullptr;
    e->endpts[1]->duplicate = nullptr;
  }
  for (tEdgeStructure* e : s.inner) DeleteEdge(e);
  for (tFaceStructure* f : s.visible) DeleteFace(f);
  for (tVertexStructure* u : s.gone) {
    if (u == *pvnext) *pvnext = u->next;
    DeleteVertex(u);
  }
}
