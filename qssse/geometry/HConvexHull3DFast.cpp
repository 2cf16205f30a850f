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
// Refiling is the hot loop and the points come in no spatial order, so the conflict lists keep each
// point's coordinates in blocks of their own and the point's face in a table: refiling reads blocks
// in sequence instead of a scattered vertex record per point.
#include <algorithm>
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

tFaceStructure* Across(const tEdgeStructure* e, const tFaceStructure* f) {
  return e->adjface[0] == f ? e->adjface[1] : e->adjface[0];
}

}  // namespace

// The library's two hull classes; a class derived from either may replace the predicate.
bool CHConvexHull3D::OwnVolumeSign() const {
  return typeid(*this) == typeid(CHConvexHull3D) || typeid(*this) == typeid(CH2DDelaunay);
}

void CHConvexHull3D::ConstructHullFast() {
  Scratch scratch;
  scratch.own = OwnVolumeSign();
  bool filed = false;
  tVertexStructure* v = vertices;
  do {
    tVertexStructure* vnext = v->next;
    if (!v->mark) {
      v->mark = true;
      if (!filed) {
        // Right after DoubleTriangle the hull is flat: a point beside the triangle in its plane sees
        // neither face although it lies outside. The first insertion makes a solid; it is made plainly
        // and the points are filed afterwards.
        AddOne(v);
        CleanUp(&vnext);
        FileConflicts(scratch);
        filed = true;
      } else {
        InsertFast(v, &vnext, scratch);
      }
      if (check) Checks();
    }
    v = vnext;
  } while (v != vertices);
  // The blocks go with the scratch; the faces must not point at them.
  tFaceStructure* f = faces;
  do {
    f->conflicts = nullptr;
    f = f->next;
  } while (f != faces);
}

void CHConvexHull3D::FileConflicts(Scratch& s) {
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

void CHConvexHull3D::InsertFast(tVertexStructure* p, tVertexStructure** pvnext, Scratch& s) {
  tFaceStructure* start = s.faceOf[static_cast<std::size_t>(p->slot)];
  if (start == nullptr) {
    // Inside: AddOne would find no visible face, and CleanVertices would drop p.
    p->onhull = false;
    if (p == *pvnext) *pvnext = p->next;
    DeleteVertex(p);
    return;
  }
  const auto sees = [&](tFaceStructure* f, const ConflictEntry& q) {
    return (s.own ? VolumeSignOf(f, q.x, q.y, q.z) : VolumeSign(f, q.v)) < 0;
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
  for (tFaceStructure* f : s.visible) {
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
