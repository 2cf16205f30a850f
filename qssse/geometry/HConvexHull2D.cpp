// Graham's scan: the lowest point becomes the anchor, the others are sorted by angle about it (the
// comparison also flags every point that is hidden behind another on the same ray), the flagged points
// are squashed out, and one pass over the sorted points keeps the strict left turns on a stack.
#include "qssse/platform/MemoryLimit.h"
#include "qssse/geometry/HConvexHull2D.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "qssse/platform/MemoryException.h"
#include "qssse/polygon/SSE2dPolygon.h"
#include "qssse/polygon/SSE3dPolygon.h"

namespace {

constexpr float kAreaTolerance = 0.0005f;
constexpr unsigned kMaxRecordSize = 64;

// Doubled signed area of (a, b, c) in single precision, positive for a left turn.
float Area2(const tPointStruc& a, const tPointStruc& b, const tPointStruc& c) {
  return (c.y - a.y) * (b.x - a.x) - (b.y - a.y) * (c.x - a.x);
}

// Records of size bytes at base, exchanged through a buffer of the call's own: nothing is shared between
// hulls or threads.
class Records {
 public:
  Records(unsigned char* records, unsigned recordSize) : base(records), size(recordSize) {}

  unsigned char* At(unsigned k) const { return base + static_cast<std::size_t>(k) * size; }
  void Exchange(unsigned i, unsigned j) {
    std::memcpy(buffer, At(i), size);
    std::memcpy(At(i), At(j), size);
    std::memcpy(At(j), buffer, size);
  }

 private:
  unsigned char* base;
  unsigned size;
  unsigned char buffer[kMaxRecordSize];
};

}  // namespace

CHConvexHull2D::CHConvexHull2D(CSSE3dPolygon* polygon) : n(0), nDelete(0), P(nullptr), top(nullptr) {
  const int count = polygon != nullptr ? polygon->GetNumPoints() : 0;
  if (count <= 0) return;
  // 1. the points, numbered by their place in the polygon
  qssse::CheckMemoryRequest(static_cast<std::uint64_t>(count), sizeof(tPointStruc), 0, "the 2-D hull's points");
  P = static_cast<tPointStruc*>(std::calloc(static_cast<std::size_t>(count), sizeof(tPointStruc)));
  if (P == nullptr) AfxThrowMemoryException();
  n = count;
  for (int i = 0; i < n; ++i) {
    P[i].vnum = i;
    polygon->GetPoint(i, P[i].x, P[i].y, P[i].z);
  }
  try {
    // 2. the anchor, 3. the angular order, 4. the squash, 5. the scan
    FindLowest();
    QuickSort(&P[1], static_cast<unsigned>(n - 1), sizeof(tPointStruc));
    CompareSurvivors();
    if (nDelete >= 1) Squash();
    top = Graham();
  } catch (...) {
    Release();
    throw;
  }
}

CHConvexHull2D::~CHConvexHull2D() { Release(); }

void CHConvexHull2D::Release() {
  while (top != nullptr) top = Pop(top);
  std::free(P);
  P = nullptr;
}

void CHConvexHull2D::ObtainConvexHull3D(CSSE3dPolygon* out) {
  if (out == nullptr) return;
  int h = 0;
  for (const tStackCell* c = top; c != nullptr; c = c->next) ++h;
  out->Create(h);
  int i = h - 1;
  for (const tStackCell* c = top; c != nullptr; c = c->next, --i) out->SetPoint(i, c->p->x, c->p->y, c->p->z);
}

void CHConvexHull2D::ObtainConvexHull2D(CSSE2dPolygon* out) {
  if (out == nullptr) return;
  int h = 0;
  for (const tStackCell* c = top; c != nullptr; c = c->next) ++h;
  out->Create(h);
  int i = h - 1;
  for (const tStackCell* c = top; c != nullptr; c = c->next, --i) out->SetPoint(i, c->p->x, c->p->y);
}

void CHConvexHull2D::FindLowest() {
  int m = 0;
  for (int i = 1; i < n; ++i) {
    if (P[i].y < P[m].y || (P[i].y == P[m].y && P[i].x < P[m].x)) m = i;
  }
  Swap(0, m);
}

int CHConvexHull2D::Compare(const void* a, const void* b) {
  tPointStruc* pi = static_cast<tPointStruc*>(const_cast<void*>(a));
  tPointStruc* pj = static_cast<tPointStruc*>(const_cast<void*>(b));
  const float area = Area2(P[0], *pi, *pj);
  if (area > kAreaTolerance) return -1;
  if (area < -kAreaTolerance) return 1;
  // On one ray from the anchor: the nearer point can never be a hull vertex.
  ++nDelete;
  const float dx = std::abs(pi->x - P[0].x) - std::abs(pj->x - P[0].x);
  const float dy = std::abs(pi->y - P[0].y) - std::abs(pj->y - P[0].y);
  if (dx < 0.0f || dy < 0.0f) {
    pi->deleted = true;
    return -1;
  }
  if (dx > 0.0f || dy > 0.0f) {
    pj->deleted = true;
    return 1;
  }
  if (pi->vnum <= pj->vnum) {
    pi->deleted = true;
  } else {
    pj->deleted = true;
  }
  return 0;
}

void CHConvexHull2D::QuickSort(void* base, unsigned int count, unsigned int size) {
  if (size > kMaxRecordSize) return;
  // A comparison allowance of 16 n log2 n: random points use a tenth of it and rings of up to two
  // thousand points stay within it, so their comparisons (and the flags and deletion count those leave)
  // are the plain quicksort's. Nearly collinear points compare inconsistently within the tolerance and
  // can make every partition peel off a few records (denser rings go that way); once the allowance is
  // spent the ranges left are heap-sorted, so the sort stays O(n log n) whatever the comparison says.
  // Either way one point survives on every ray; which of several nearly collinear ones may differ.
  std::int64_t allowance = 0;
  for (unsigned c = count; c > 1; c >>= 1) allowance += std::int64_t{16} * count;
  SortRange(static_cast<unsigned char*>(base), count, size, allowance);
}

void CHConvexHull2D::SortRange(unsigned char* records, unsigned count, unsigned size,
                               std::int64_t& allowance) {
  while (count >= 2) {
    Records r(records, size);
    const auto at = [&](unsigned k) { return r.At(k); };
    if (allowance <= 0) {
      HeapSort(records, count, size);
      return;
    }
    allowance -= 2 * std::int64_t{count};  // a partition compares each record about twice at most
    // Partition about the middle record, followed by index when it moves. i <= pivot <= j throughout,
    // and the pivot is never compared with itself (that comparison would flag it as its own duplicate).
    unsigned pivot = (count - 1) / 2;
    unsigned i = 0;
    unsigned j = count - 1;
    for (;;) {
      while (i < pivot && Compare(at(i), at(pivot)) < 0) ++i;
      while (j > pivot && Compare(at(j), at(pivot)) > 0) --j;
      if (i == j) break;
      if (Compare(at(i), at(j)) != 0) {
        r.Exchange(i, j);
        if (pivot == i) {
          pivot = j;
        } else if (pivot == j) {
          pivot = i;
        }
      }
      if (i != pivot) ++i;
      if (j != pivot) --j;
    }
    // Recurse into the smaller side and loop on the larger, so the stack depth stays logarithmic. The
    // two sides share no record, so the comparisons made (and their flags) do not depend on the order.
    const unsigned left = pivot;
    const unsigned right = count - pivot - 1;
    if (left < right) {
      SortRange(records, left, size, allowance);
      records = at(pivot + 1);
      count = right;
    } else {
      SortRange(at(pivot + 1), right, size, allowance);
      count = left;
    }
  }
}

void CHConvexHull2D::HeapSort(unsigned char* records, unsigned count, unsigned size) {
  Records r(records, size);
  const auto at = [&](unsigned k) { return r.At(k); };
  const auto siftDown = [&](unsigned root, unsigned end) {
    for (;;) {
      unsigned child = 2 * root + 1;
      if (child >= end) return;
      if (child + 1 < end && Compare(at(child), at(child + 1)) < 0) ++child;
      if (Compare(at(root), at(child)) >= 0) return;
      r.Exchange(root, child);
      root = child;
    }
  };
  for (unsigned k = count / 2; k-- > 0;) siftDown(k, count);
  for (unsigned end = count; end > 1; --end) {
    r.Exchange(0, end - 1);
    siftDown(0, end - 1);
  }
}

void CHConvexHull2D::CompareSurvivors() {
  // A sort compares two points only where their paths meet: two copies of a point can end on either
  // side of a third copy that is flagged by both, and never meet. Comparing each unflagged point with
  // the next one in angular order leaves exactly one point (the farthest) on every ray.
  int s = -1;
  for (int k = 1; k < n; ++k) {
    if (P[k].deleted) continue;
    if (s >= 0) Compare(&P[s], &P[k]);
    if (!P[k].deleted) s = k;
  }
}

void CHConvexHull2D::Squash() {
  int j = 0;
  for (int i = 0; i < n; ++i) {
    if (!P[i].deleted) Copy(i, j++);
  }
  n = j;
}

tStackCell* CHConvexHull2D::Graham() {
  tStackCell* s = nullptr;
  try {
    if (n >= 1) s = Push(&P[0], s);
    if (n >= 2) s = Push(&P[1], s);
    int i = 2;
    while (i < n) {
      if (s->next == nullptr) {
        // The stack ran down to the anchor: the points are too close to one line for the tolerance.
        std::printf("Error\n");
        Pop(s);
        return nullptr;
      }
      if (Area2(*s->next->p, *s->p, P[i]) > kAreaTolerance) {
        s = Push(&P[i], s);
        ++i;
      } else {
        s = Pop(s);
      }
    }
  } catch (...) {
    while (s != nullptr) s = Pop(s);
    throw;
  }
  return s;
}

tStackCell* CHConvexHull2D::Push(tPointStruc* p, tStackCell* below) {
  auto* cell = static_cast<tStackCell*>(std::malloc(sizeof(tStackCell)));
  if (cell == nullptr) AfxThrowMemoryException();
  cell->p = p;
  cell->next = below;
  return cell;
}

tStackCell* CHConvexHull2D::Pop(tStackCell* cell) {
  tStackCell* below = cell->next;
  std::free(cell);
  return below;
}

void CHConvexHull2D::Copy(int from, int to) { P[to] = P[from]; }

void CHConvexHull2D::Swap(int i, int j) { std::swap(P[i], P[j]); }
