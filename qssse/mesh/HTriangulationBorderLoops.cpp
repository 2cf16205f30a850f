// FindBorderLines: the open border as closed loops, following the mesh's connectivity.
//
// Every side gets the triangle across it, in three steps:
//  1. a neighbour slot whose triangle holds both corners of the side links the two triangles (both
//     ways, so a side whose own slot the loose corner test left empty or misplaced is settled by the
//     triangle across pointing back);
//  2. the sides still without a partner are hashed by their two corners, and equal ones are paired;
//  3. what is left is open.
// For a side held by one or two triangles this is exact whatever the slots say. The walk then turns
// around each loop's corner from triangle to triangle across the paired sides until it meets the next
// open side: that pairing keeps a loop to one fan at a pinch corner and needs no geometry.
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/platform/ScratchVector.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/vector/SimdOps.h"

namespace simd = qssse::simd;

namespace {

// The triangle across a side (>= 0), or what the side is.
constexpr int kOpen = -1;    // no other triangle has it
constexpr int kWalked = -2;  // open, already in a loop (or in a chain that did not close)
constexpr int kNoSide = -3;  // two equal corners or a NaN coordinate: part of no loop

inline bool Same(const SSEPoint& a, const SSEPoint& b) { return simd::all(simd::eq(a.m, b.m)); }

inline bool Finite(const SSEPoint& a) { return simd::all(simd::eq(a.m, a.m)); }  // no NaN lane

// Index of the corner among the three at c equal to p, or -1.
inline int CornerOf(const SSEPoint* c, const SSEPoint& p) {
  for (int i = 0; i < 3; ++i) {
    if (Same(c[i], p)) return i;
  }
  return -1;
}

// The side joining corners i and k, or -1 when they are the same corner.
inline int SideBetween(int i, int k) {
  if ((i + 1) % 3 == k) return i;
  if ((k + 1) % 3 == i) return k;
  return -1;
}

// Lane bits with -0 taken as 0, so that points equal under Same hash alike.
inline std::uint64_t PointHash(const SSEPoint& p) {
  std::uint64_t h = 0;
  for (int i = 0; i < 4; ++i) {
    float v = p.m[i];
    if (v == 0.0f) v = 0.0f;
    std::uint32_t bits;
    std::memcpy(&bits, &v, 4);
    h = (h ^ bits) * 0x9E3779B97F4A7C15ull;
  }
  return h;
}

// Sides (3 * triangle + side) keyed by their two corners in either order; open addressing.
class SideTable {
 public:
  explicit SideTable(std::size_t expected) {
    std::size_t size = 16;
    while (size < 2 * expected) size <<= 1;
    slots_ = qssse::scratchVector<int>(size);
    for (int& s : slots_) s = -1;
    mask_ = size - 1;
  }
  // The side entered earlier with the same corners, or -1 after entering this one.
  int FindOrInsert(int side, const SSEPoint* corners) {
    const SSEPoint& a = Corner(corners, side, 0);
    const SSEPoint& b = Corner(corners, side, 1);
    const std::uint64_t ha = PointHash(a), hb = PointHash(b);
    std::size_t i = static_cast<std::size_t>((ha + hb) ^ ((ha + hb) >> 29)) & mask_;  // symmetric in a, b
    while (slots_[i] >= 0) {
      const SSEPoint& c = Corner(corners, slots_[i], 0);
      const SSEPoint& d = Corner(corners, slots_[i], 1);
      if ((Same(a, c) && Same(b, d)) || (Same(a, d) && Same(b, c))) return slots_[i];
      i = (i + 1) & mask_;
    }
    slots_[i] = side;
    return -1;
  }

 private:
  static const SSEPoint& Corner(const SSEPoint* corners, int side, int which) {
    return corners[side - side % 3 + (side % 3 + which) % 3];
  }
  std::vector<int> slots_;
  std::size_t mask_ = 0;
};

}  // namespace

int CHTriangulation::FindBorderLines(std::vector<CSSE3dPolygon>& lines) const {
  try {
    return WalkBorderLoops(lines);
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  }
}

int CHTriangulation::WalkBorderLoops(std::vector<CSSE3dPolygon>& lines) const {
  const int n = triangles != nullptr && cornerPoints != nullptr ? numTriangles : 0;
  std::vector<int> across = qssse::scratchVector<int>(3 * static_cast<std::size_t>(n));
  const auto at = [&across](int t, int e) -> int& { return across[3 * static_cast<std::size_t>(t) + e]; };
  // Corner k of triangle t (the records point at these entries and are never re-aimed).
  const auto corner = [this](int t, int k) -> const SSEPoint& {
    return cornerPoints[3 * static_cast<std::size_t>(t) + static_cast<std::size_t>(k)];
  };

  // 1. Sides proven shared by a neighbour slot.
  const auto recordIndex = [this, n](const t_htriangle* p) -> int {
    const std::uintptr_t offset =
        reinterpret_cast<std::uintptr_t>(p) - reinterpret_cast<std::uintptr_t>(triangles);
    if (p == nullptr || offset % sizeof(t_htriangle) != 0 ||
        offset / sizeof(t_htriangle) >= static_cast<std::uintptr_t>(n))
      return -1;
    return static_cast<int>(offset / sizeof(t_htriangle));
  };
  for (int t = 0; t < n; ++t) {
    for (int e = 0; e < 3; ++e) at(t, e) = kOpen;
  }
  std::size_t doubtful = 0;
  for (int t = 0; t < n; ++t) {
    const t_htriangle& T = triangles[t];
    for (int e = 0; e < 3; ++e) {
      const SSEPoint& a = corner(t, e);
      const SSEPoint& b = corner(t, (e + 1) % 3);
      if (!Finite(a) || !Finite(b) || Same(a, b)) {
        at(t, e) = kNoSide;
        continue;
      }
      if (at(t, e) >= 0) continue;  // settled by the triangle across
      const int y = recordIndex(T.neighbour[e]);
      if (y < 0 || y == t) continue;
      const int ja = CornerOf(&corner(y, 0), a), jb = CornerOf(&corner(y, 0), b);
      const int side = ja < 0 || jb < 0 ? -1 : SideBetween(ja, jb);
      if (side < 0) continue;
      at(t, e) = y;
      if (at(y, side) == kOpen) at(y, side) = t;
    }
  }
  for (int t = 0; t < n; ++t) {
    for (int e = 0; e < 3; ++e) doubtful += at(t, e) == kOpen;
  }

  // 2. The doubtful sides against each other.
  if (doubtful > 0) {
    SideTable table(doubtful);
    for (int t = 0; t < n; ++t) {
      for (int e = 0; e < 3; ++e) {
        if (at(t, e) != kOpen) continue;
        const int other = table.FindOrInsert(3 * t + e, cornerPoints);
        if (other < 0) continue;
        at(t, e) = other / 3;
        if (across[static_cast<std::size_t>(other)] == kOpen) across[static_cast<std::size_t>(other)] = t;
      }
    }
  }

  // 3. The walk. Points of all loops in one array, loop k from start[k] to start[k + 1].
  std::vector<SSEPoint> points;
  std::vector<std::size_t> start(1, 0);
  int leftOver = 0;
  for (int t0 = 0; t0 < n; ++t0) {
    for (int e0 = 0; e0 < 3; ++e0) {
      if (at(t0, e0) != kOpen) continue;
      const std::size_t first = points.size();
      int c = t0, s = e0;
      bool forward = true;
      bool closed = false;
      while (true) {
        at(c, s) = kWalked;
        points.push_back(corner(c, forward ? s : (s + 1) % 3));
        // Around the side's end corner v: from the triangle d, entered through side `in`, across its
        // other side at v, until that side is open.
        int d = c, in = s, iv = forward ? (s + 1) % 3 : s;
        const SSEPoint v = corner(c, iv);
        int next = -1;
        bool nextForward = true;
        // Where three or more triangles hold a side the turning can run in a circle: Brent's check
        // against a state saved at growing intervals ends it within a few turns of the circle.
        int savedD = d, savedIn = in, interval = 1, sinceSaved = 0;
        while (true) {
          const int out = in == iv ? (iv + 2) % 3 : iv;
          const int to = at(d, out);
          if (to == kOpen || to == kWalked) {
            next = 3 * d + out;
            nextForward = out == iv;
            break;
          }
          if (to < 0) break;  // a side of no loop
          const SSEPoint& w = corner(d, out == iv ? (iv + 1) % 3 : out);
          const int jv = CornerOf(&corner(to, 0), v), jw = CornerOf(&corner(to, 0), w);
          const int side = jv < 0 || jw < 0 ? -1 : SideBetween(jv, jw);
          if (side < 0) break;
          d = to;
          in = side;
          iv = jv;
          if (d == savedD && in == savedIn) break;
          if (++sinceSaved == interval) {
            savedD = d;
            savedIn = in;
            interval *= 2;
            sinceSaved = 0;
          }
        }
        if (next < 0) break;
        if (next == 3 * t0 + e0) {
          closed = nextForward;
          break;
        }
        if (across[static_cast<std::size_t>(next)] == kWalked) break;
        c = next / 3;
        s = next % 3;
        forward = nextForward;
      }
      if (closed) {
        start.push_back(points.size());
      } else {
        leftOver += static_cast<int>(points.size() - first);
        points.resize(first);
      }
    }
  }

  std::vector<CSSE3dPolygon> loops;
  loops.reserve(start.size() - 1);
  for (std::size_t k = 0; k + 1 < start.size(); ++k) {
    loops.emplace_back();
    CSSE3dPolygon& line = loops.back();
    const int count = static_cast<int>(start[k + 1] - start[k]);
    line.Create(count);
    for (int i = 0; i < count; ++i) line.SetPointSSE(i, points[start[k] + static_cast<std::size_t>(i)]);
  }
  lines.swap(loops);
  return leftOver;
}
