// CalcNeighbours: the result of the plain quadratic pass over the working list, found without visiting
// every pair.
//
// The plain pass takes each triangle A of the list in turn and tests it against every B after it. Only
// pairs where one of A's edges matches B do anything, and such a B must match A's P0 or P1 (every edge
// contains one of them). A corner a matches B when each of its lanes equals the same lane of some corner
// of B, so (a.x, a.y) is one of the nine pairs (Bi.x, Bj.y). Indexing every triangle under each of those
// pairs therefore finds a superset of the Bs that matter; visiting them in list order (the list is always
// a subsequence of the array) and replaying the pass's effects on them reproduces it exactly: overwrites,
// completions and unlinking included. Skipped pairs are those where the plain pass does nothing.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/WorkBudget.h"
#include "qssse/vector/SimdOps.h"

namespace simd = qssse::simd;

namespace {

// Each lane of a equals the same lane of at least one of b0, b1, b2 (exact float equality).
inline bool LooseMatch(__m128 a, const SSEPoint* b) {
  const __m128 e = simd::or_(simd::or_(simd::eq(a, b[0].m), simd::eq(a, b[1].m)), simd::eq(a, b[2].m));
  return simd::all(e);
}

// Slot of `a` that `b` fills: 0 (P0-P1), 1 (P1-P2), 2 (P2-P0), or -1.
inline int MatchSlot(const t_htriangle& a, const t_htriangle& b) {
  const SSEPoint* corners = b.point[0];  // the three corners of b are consecutive
  const bool m0 = LooseMatch(a.point[0]->m, corners);
  const bool m1 = LooseMatch(a.point[1]->m, corners);
  if (m0 && m1) return 0;
  const bool m2 = LooseMatch(a.point[2]->m, corners);
  if (m1 && m2) return 1;
  if (m2 && m0) return 2;
  return -1;
}

inline bool Complete(const t_htriangle& t) {
  return t.neighbour[0] != nullptr && t.neighbour[1] != nullptr && t.neighbour[2] != nullptr;
}

// Key of an (x, y) pair under float equality: -0 and +0 share a key; NaN (which equals nothing) has none.
inline bool PairKey(float x, float y, std::uint64_t& key) {
  if (x != x || y != y) return false;
  if (x == 0.0f) x = 0.0f;
  if (y == 0.0f) y = 0.0f;
  std::uint32_t bx, by;
  std::memcpy(&bx, &x, 4);
  std::memcpy(&by, &y, 4);
  key = (static_cast<std::uint64_t>(bx) << 32) | by;
  return true;
}

// Open-addressing map from pair keys to dense bucket numbers. The empty marker is a NaN pattern, which
// PairKey never produces. Consecutive triangles of a mesh mostly repeat the pairs just seen (the two
// triangles of a raster cell share all four, the next cell two), so a few recent answers are kept in
// front of the table, which saves most of its cache misses.
class PairBuckets {
 public:
  explicit PairBuckets(std::size_t expected) {
    std::size_t size = 1024;
    while (size < expected) size <<= 1;
    Resize(size);
    for (Slot& r : recent_) r = Slot{kEmpty, -1};
  }
  int FindOrInsert(std::uint64_t key) {
    for (const Slot& r : recent_) {
      if (r.key == key) return r.id;
    }
    const int id = Probe(key);
    recent_[next_] = Slot{key, id};
    next_ = (next_ + 1) % kRecent;
    return id;
  }
  std::size_t Count() const { return count_; }

 private:
  struct Slot {
    std::uint64_t key;
    int id;
  };
  static constexpr std::uint64_t kEmpty = ~std::uint64_t{0};
  static constexpr int kRecent = 8;

  int Probe(std::uint64_t key) {
    if (2 * (count_ + 1) > slots_.size()) Grow();
    std::size_t i = Hash(key);
    while (true) {
      Slot& s = slots_[i];
      if (s.key == key) return s.id;
      if (s.key == kEmpty) {
        s = Slot{key, static_cast<int>(count_)};
        return static_cast<int>(count_++);
      }
      i = (i + 1) & mask_;
    }
  }
  std::size_t Hash(std::uint64_t key) const {
    return static_cast<std::size_t>((key * 0x9E3779B97F4A7C15ull) >> shift_) & mask_;
  }
  void Resize(std::size_t size) {
    slots_.assign(size, Slot{kEmpty, -1});
    mask_ = size - 1;
    shift_ = 64;
    for (std::size_t s = size; s > 1; s >>= 1) --shift_;
  }
  void Grow() {
    std::vector<Slot> old = std::move(slots_);
    Resize(2 * old.size());
    for (const Slot& o : old) {
      if (o.key == kEmpty) continue;
      std::size_t i = Hash(o.key);
      while (slots_[i].key != kEmpty) i = (i + 1) & mask_;
      slots_[i] = o;
    }
  }
  std::vector<Slot> slots_;
  Slot recent_[kRecent];
  int next_ = 0;
  std::size_t mask_ = 0;
  int shift_ = 64;
  std::size_t count_ = 0;
};

// For every triangle, the positions of all triangles indexed under a pair, ascending (CSR layout), and
// the buckets of each triangle's P0 and P1 (-1 when a lane is NaN).
struct PairIndex {
  std::vector<int> start;  // bucket b holds members[start[b] .. start[b+1])
  std::vector<int> members;
  std::vector<int> cornerBucket;  // 2 per triangle: P0, P1
};

PairIndex BuildPairIndex(const t_htriangle* tris, int n) {
  PairIndex index;
  PairBuckets buckets(static_cast<std::size_t>(n) * 2);
  std::vector<int> entryBucket;
  entryBucket.reserve(static_cast<std::size_t>(n) * 4);
  std::vector<int> entryEnd(static_cast<std::size_t>(n));
  index.cornerBucket.assign(2 * static_cast<std::size_t>(n), -1);
  for (int t = 0; t < n; ++t) {
    const SSEPoint* c = tris[t].point[0];
    int local[9];
    int count = 0;
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j) {
        // A lane value repeated among the corners gives the same pairs again: look each up once.
        if ((i > 0 && c[i].x == c[0].x) || (i > 1 && c[i].x == c[1].x)) continue;
        if ((j > 0 && c[j].y == c[0].y) || (j > 1 && c[j].y == c[1].y)) continue;
        std::uint64_t key;
        if (!PairKey(c[i].x, c[j].y, key)) continue;
        const int b = buckets.FindOrInsert(key);
        if (std::find(local, local + count, b) == local + count) local[count++] = b;
      }
    }
    // The buckets of P0 and P1 themselves (their pairs are among those just entered).
    for (int k = 0; k < 2; ++k) {
      std::uint64_t key;
      if (PairKey(c[k].x, c[k].y, key))
        index.cornerBucket[2 * static_cast<std::size_t>(t) + k] = buckets.FindOrInsert(key);
    }
    entryBucket.insert(entryBucket.end(), local, local + count);
    entryEnd[static_cast<std::size_t>(t)] = static_cast<int>(entryBucket.size());
  }
  // Counting sort of the entries by bucket; triangles arrive in ascending order, so buckets stay sorted.
  index.start.assign(buckets.Count() + 1, 0);
  for (int b : entryBucket) ++index.start[static_cast<std::size_t>(b) + 1];
  for (std::size_t b = 1; b < index.start.size(); ++b) index.start[b] += index.start[b - 1];
  std::vector<int> fill(index.start.begin(), index.start.end() - 1);
  index.members.resize(entryBucket.size());
  int e = 0;
  for (int t = 0; t < n; ++t) {
    for (; e < entryEnd[static_cast<std::size_t>(t)]; ++e) {
      index.members[static_cast<std::size_t>(fill[static_cast<std::size_t>(entryBucket[e])]++)] = t;
    }
  }
  return index;
}

}  // namespace

void CHTriangulation::CalcNeighbours() {
  const int n = numTriangles;
  if (n <= 0 || triangles == nullptr) {
    IndexTriangleList();
    return;
  }

  const PairIndex index = BuildPairIndex(triangles, n);
  // Each triangle visits at most the buckets of its P0 and P1. Corners that collapse onto a few
  // positions (a vertical edge resampled finely, huge coordinates rounding together) put most of the
  // mesh into one bucket and make the pass quadratic, as the plain pass is; such a mesh is refused
  // before anything changes rather than left half linked.
  double planned = 0.0;
  for (std::size_t k = 0; k < index.cornerBucket.size(); ++k) {
    const int b = index.cornerBucket[k];
    if (b >= 0) planned += index.start[static_cast<std::size_t>(b) + 1] - index.start[static_cast<std::size_t>(b)];
  }
  // About a dozen candidates per triangle on ordinary meshes: 32 per triangle are never counted.
  qssse::CheckWorkRequest(planned, "the neighbour search", 32.0 * n);
  IndexTriangleList();
  std::vector<char> inList(static_cast<std::size_t>(n), 1);
  const int* members = index.members.data();
  for (int a = 0; a < n; ++a) {
    if (!inList[static_cast<std::size_t>(a)]) continue;
    t_htriangle& A = triangles[a];
    // The candidates after A: the union of the buckets of P0 and P1, merged in ascending order.
    const int* lists[2][2] = {{nullptr, nullptr}, {nullptr, nullptr}};
    for (int k = 0; k < 2; ++k) {
      const int b = index.cornerBucket[2 * static_cast<std::size_t>(a) + k];
      if (b < 0 || (k == 1 && b == index.cornerBucket[2 * static_cast<std::size_t>(a)])) continue;
      const int* first = members + index.start[static_cast<std::size_t>(b)];
      const int* last = members + index.start[static_cast<std::size_t>(b) + 1];
      lists[k][0] = std::upper_bound(first, last, a);
      lists[k][1] = last;
    }
    const int*& p = lists[0][0];
    const int*& q = lists[1][0];
    while (p != lists[0][1] || q != lists[1][1]) {
      int pos;
      if (q == lists[1][1] || (p != lists[0][1] && *p < *q)) {
        pos = *p++;
      } else if (p == lists[0][1] || *q < *p) {
        pos = *q++;
      } else {
        pos = *p++;
        ++q;
      }
      if (!inList[static_cast<std::size_t>(pos)]) continue;
      t_htriangle& B = triangles[pos];
      const int slotA = MatchSlot(A, B);
      if (slotA < 0) continue;
      A.neighbour[slotA] = &B;
      const int slotB = MatchSlot(B, A);
      if (slotB >= 0) B.neighbour[slotB] = &A;
      if (Complete(B)) {
        DeleteTriangleFromList(&B);
        inList[static_cast<std::size_t>(pos)] = 0;
      }
      if (Complete(A)) {
        DeleteTriangleFromList(&A);
        inList[static_cast<std::size_t>(a)] = 0;
        break;
      }
    }
  }
  FindBorderTriangles();
}
