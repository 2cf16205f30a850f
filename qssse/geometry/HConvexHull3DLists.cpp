// The hull's lists: elements come from per-type pools (chunks of zero-filled records, freed records
// reused), so a million insertions do not make millions of heap calls, and the destructor releases
// chunks instead of walking lists. Copies of a hull share one pool set, which lives until the last copy.
// The duplicate test of the appends uses a hash index of the vertex list, rebuilt when a construction
// has deleted vertices since.
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "qssse/geometry/HConvexHull3D.h"
#include "qssse/platform/MemoryException.h"

namespace {

template <class T>
class Pool {
 public:
  Pool() = default;
  Pool(const Pool&) = delete;
  Pool& operator=(const Pool&) = delete;
  ~Pool() {
    for (void* c : m_chunks) std::free(c);
  }

  T* Get() {
    if (m_free == nullptr) Grow();
    T* t = m_free;
    std::memcpy(&m_free, static_cast<void*>(t), sizeof(T*));
    std::memset(static_cast<void*>(t), 0, sizeof(T));
    return t;
  }

  // Every record of the pool, in memory order: the caller tells live ones from free ones.
  template <class F>
  void ForEach(F f) {
    for (std::size_t c = 0; c < m_chunks.size(); ++c) {
      T* block = static_cast<T*>(m_chunks[c]);
      for (std::size_t i = 0; i < m_counts[c]; ++i) f(block + i);
    }
  }

  void Put(T* t) {
    std::memcpy(static_cast<void*>(t), &m_free, sizeof(T*));
    m_free = t;
  }

 private:
  void Grow() {
    const std::size_t count = m_chunks.empty() ? 256 : std::min<std::size_t>(m_lastCount * 2, 1u << 16);
    try {
      m_chunks.reserve(m_chunks.size() + 1);
      m_counts.reserve(m_chunks.size() + 1);
    } catch (const std::bad_alloc&) {
      AfxThrowMemoryException();
    }
    // Zeroed, so that records never handed out read as free in ForEach.
    T* block = static_cast<T*>(std::calloc(count, sizeof(T)));
    if (block == nullptr) AfxThrowMemoryException();
    m_chunks.push_back(block);
    m_counts.push_back(count);
    m_lastCount = count;
    for (std::size_t i = count; i-- > 0;) Put(block + i);
  }

  std::vector<void*> m_chunks;
  std::vector<std::size_t> m_counts;
  std::size_t m_lastCount = 0;
  T* m_free = nullptr;
};

// Open addressing on the rounded coordinates; holds every vertex of the list while valid.
class VertexIndex {
 public:
  bool valid = true;

  void Clear() {
    m_slots.assign(m_slots.size(), nullptr);
    m_used = 0;
  }

  tVertexStructure* Find(std::int64_t x, std::int64_t y, std::int64_t z) const {
    if (m_slots.empty()) return nullptr;
    for (std::size_t i = Hash(x, y, z) & m_mask;; i = (i + 1) & m_mask) {
      tVertexStructure* v = m_slots[i];
      if (v == nullptr) return nullptr;
      if (v->x == x && v->y == y && v->z == z) return v;
    }
  }

  void Insert(tVertexStructure* v) {
    if (2 * (m_used + 1) > m_slots.size()) Rehash(m_slots.empty() ? 64 : 2 * m_slots.size());
    Place(v);
    ++m_used;
  }

 private:
  static std::size_t Hash(std::int64_t x, std::int64_t y, std::int64_t z) {
    std::uint64_t h = static_cast<std::uint64_t>(x) * 0x9E3779B97F4A7C15ull;
    h ^= static_cast<std::uint64_t>(y) * 0xC2B2AE3D27D4EB4Full + (h << 6) + (h >> 2);
    h ^= static_cast<std::uint64_t>(z) * 0x165667B19E3779F9ull + (h << 6) + (h >> 2);
    return static_cast<std::size_t>(h ^ (h >> 29));
  }

  void Place(tVertexStructure* v) {
    std::size_t i = Hash(v->x, v->y, v->z) & m_mask;
    while (m_slots[i] != nullptr) i = (i + 1) & m_mask;
    m_slots[i] = v;
  }

  void Rehash(std::size_t size) {
    std::vector<tVertexStructure*> old;
    try {
      old.swap(m_slots);
      m_slots.assign(size, nullptr);
    } catch (const std::bad_alloc&) {
      m_slots.swap(old);
      AfxThrowMemoryException();
    }
    m_mask = size - 1;
    for (tVertexStructure* v : old)
      if (v != nullptr) Place(v);
  }

  std::vector<tVertexStructure*> m_slots;
  std::size_t m_mask = 0;
  std::size_t m_used = 0;
};

// Circular doubly linked list operations, the new element going just before the head.
template <class T>
void Link(T*& head, T* p) {
  if (head != nullptr) {
    p->next = head;
    p->prev = head->prev;
    head->prev = p;
    p->prev->next = p;
  } else {
    head = p;
    head->next = head->prev = p;
  }
}

template <class T>
void Unlink(T*& head, T* p) {
  if (head == nullptr) return;
  if (head == head->next) {
    head = nullptr;
  } else if (p == head) {
    head = head->next;
  }
  p->next->prev = p->prev;
  p->prev->next = p->next;
}

}  // namespace

struct CHConvexHull3D::Storage {
  Pool<tEdgeStructure> edgePool;
  Pool<tVertexStructure> vertexPool;
  Pool<tFaceStructure> facePool;
  VertexIndex index;
  std::uint64_t nextEdgeOrder = 0;
  // Elements in the lists, kept by the add and delete operations: the lists are long and scattered in
  // memory, so counting them by a walk costs a cache miss per element.
  int vertexCount = 0, edgeCount = 0, faceCount = 0;
};

CHConvexHull3D::CHConvexHull3D()
    : vertices(nullptr),
      edges(nullptr),
      faces(nullptr),
      debug(false),
      check(false),
      numFaces(0),
      numEdges(0),
      numVertices(0),
      numAppended(0),
      storage(std::make_shared<Storage>()) {}

CHConvexHull3D::CHConvexHull3D(const CHConvexHull3D& other) = default;

CHConvexHull3D& CHConvexHull3D::operator=(const CHConvexHull3D& other) = default;

// The pools release every element when the last copy goes.
CHConvexHull3D::~CHConvexHull3D() = default;

tVertexStructure* CHConvexHull3D::NewVertex() { return storage->vertexPool.Get(); }

void CHConvexHull3D::FreeVertex(tVertexStructure* v) { storage->vertexPool.Put(v); }

tVertexStructure* CHConvexHull3D::MakeNullVertex() {
  tVertexStructure* v = NewVertex();
  AddVertex(v);
  return v;
}

tEdgeStructure* CHConvexHull3D::MakeNullEdge() {
  tEdgeStructure* e = storage->edgePool.Get();
  e->order = storage->nextEdgeOrder++;
  AddEdge(e);
  return e;
}

tFaceStructure* CHConvexHull3D::MakeNullFace() {
  tFaceStructure* f = storage->facePool.Get();
  f->alive = true;
  AddFace(f);
  return f;
}

void CHConvexHull3D::AddVertex(tVertexStructure* v) {
  Link(vertices, v);
  ++storage->vertexCount;
  storage->index.valid = false;  // a vertex that did not come through the appends
}

void CHConvexHull3D::DeleteVertex(tVertexStructure* v) {
  if (vertices == nullptr) return;
  Unlink(vertices, v);
  --storage->vertexCount;
  storage->index.valid = false;
  FreeVertex(v);
}

void CHConvexHull3D::AddEdge(tEdgeStructure* e) {
  Link(edges, e);
  ++storage->edgeCount;
}

void CHConvexHull3D::DeleteEdge(tEdgeStructure* e) {
  if (edges == nullptr) return;
  Unlink(edges, e);
  --storage->edgeCount;
  storage->edgePool.Put(e);
}

void CHConvexHull3D::AddFace(tFaceStructure* f) {
  Link(faces, f);
  ++storage->faceCount;
}

void CHConvexHull3D::DeleteFace(tFaceStructure* f) {
  if (faces == nullptr) return;
  Unlink(faces, f);
  --storage->faceCount;
  f->alive = false;
  storage->facePool.Put(f);
}

void CHConvexHull3D::SubVec(const std::int64_t a[4], const std::int64_t b[4], std::int64_t c[4]) {
  for (int i = 0; i < 4; ++i) c[i] = a[i] - b[i];
}

tVertexStructure* CHConvexHull3D::AppendUnique(std::int64_t x, std::int64_t y, std::int64_t z) {
  VertexIndex& index = storage->index;
  if (!index.valid) {
    index.Clear();
    if (vertices != nullptr) {
      tVertexStructure* v = vertices;
      do {
        index.Insert(v);
        v = v->next;
      } while (v != vertices);
    }
    index.valid = true;
  }
  if (index.Find(x, y, z) != nullptr) return nullptr;
  tVertexStructure* v = NewVertex();
  v->x = x;
  v->y = y;
  v->z = z;
  try {
    index.Insert(v);  // may rehash and throw: insert before linking, so nothing half-done remains
  } catch (...) {
    FreeVertex(v);
    throw;
  }
  Link(vertices, v);
  ++storage->vertexCount;
  return v;
}

int CHConvexHull3D::CalcNumFaces() { return faces != nullptr ? storage->faceCount : 0; }

int CHConvexHull3D::CalcNumEdges() { return edges != nullptr ? storage->edgeCount : 0; }

int CHConvexHull3D::CalcNumVertices() { return vertices != nullptr ? storage->vertexCount : 0; }

void CHConvexHull3D::ForEachFaceInMemory(const std::function<void(tFaceStructure*)>& visit) {
  storage->facePool.ForEach([&](tFaceStructure* f) {
    if (f->alive) visit(f);
  });
}

