// CSSE3dPolygon: the part of one outline inside or outside another, and the union of two outlines.
//
// Both outlines go counter-clockwise (the cutter reversed for "outside") into one arrangement split at
// their crossings, with touching points inserted and edges shared in opposite directions removed
// (RingArrangement.h). Every resulting loop runs along pieces of one kind only: a piece of the outline
// outside the cutter, or inside it, and likewise for the cutter's pieces, because at each crossing
// the loop turns from one kind to its partner. So a loop is classified by testing the middle of one
// of its pieces against the other outline with the library's fill rule, and the result is the largest
// counter-clockwise loop of the wanted kind.
#include <algorithm>
#include <cmath>
#include <vector>

#include "qssse/polygon/RingArrangement.h"
#include "qssse/polygon/SSE3dPolygon.h"

namespace rings = qssse::rings;

namespace {

enum class Keep { kUnion, kInside, kOutside };

rings::Ring FiniteRing(const CSSE3dPolygon* p) {
  rings::Ring r;
  if (p == nullptr) return r;
  for (int i = 0; i < p->GetNumPoints(); ++i) {
    float x = 0, y = 0, z = 0;
    p->GetPoint(i, x, y, z);
    if (!std::isfinite(x) || !std::isfinite(y)) continue;
    if (!r.empty() && r.back().x == x && r.back().y == y) continue;
    r.push_back({x, y, z});
  }
  while (r.size() > 1 && r.back().x == r.front().x && r.back().y == r.front().y) r.pop_back();
  return r;
}

CSSE3dPolygon ToPolygon(const rings::Ring& r) {
  CSSE3dPolygon p;
  p.Create(static_cast<int>(r.size()));
  for (int i = 0; i < p.GetNumPoints(); ++i) p.SetPoint(i, r[i].x, r[i].y, r[i].z);
  return p;
}

// Whether the loop's pieces are of the kind `keep` asks for. Up to three of its longest pieces that do
// not lie on the other outline are tested (a majority decides rounding accidents); a loop made of
// shared pieces only bounds both outlines and counts for every kind.
bool WantedLoop(const rings::Loop& l, Keep keep, CSSE3dPolygon insideTest[2]) {
  const std::size_t m = l.points.size();
  std::vector<std::pair<double, std::size_t>> pieces;
  for (std::size_t i = 0; i < m; ++i) {
    if (l.points[i].shared) continue;
    const rings::LoopPoint& a = l.points[i];
    const rings::LoopPoint& b = l.points[(i + 1) % m];
    pieces.push_back({std::hypot(static_cast<double>(b.x) - a.x, static_cast<double>(b.y) - a.y), i});
  }
  if (pieces.empty()) return true;
  const std::size_t tries = std::min<std::size_t>(3, pieces.size());
  std::partial_sort(pieces.begin(), pieces.begin() + static_cast<std::ptrdiff_t>(tries), pieces.end(),
                    [](const auto& a, const auto& b) { return a.first > b.first; });
  int votes = 0;
  for (std::size_t t = 0; t < tries; ++t) {
    const rings::LoopPoint& a = l.points[pieces[t].second];
    const rings::LoopPoint& b = l.points[(pieces[t].second + 1) % m];
    const int own = a.curve;  // 0: the outline (or first outline), 1: the cutter (or second)
    const float mx = static_cast<float>(0.5 * (static_cast<double>(a.x) + b.x));
    const float my = static_cast<float>(0.5 * (static_cast<double>(a.y) + b.y));
    const bool inOther = insideTest[1 - own].PointInLineInnerArea(mx, my, 1);
    bool want;
    switch (keep) {
      case Keep::kUnion: want = !inOther; break;
      case Keep::kInside: want = inOther; break;
      default: want = own == 0 ? !inOther : inOther; break;  // outline outside, cutter inside
    }
    votes += want ? 1 : -1;
  }
  return votes > 0;
}

// Joins the hole (clockwise) to the outer ring by a cut of no width from the hole's rightmost point to
// the outer edge first met going right: the ring then runs outer, cut, hole, cut back, outer, and
// encloses exactly the region between them.
rings::Ring JoinHole(const rings::Ring& outer, const rings::Ring& hole) {
  std::size_t h = 0;
  for (std::size_t i = 1; i < hole.size(); ++i)
    if (hole[i].x > hole[h].x || (hole[i].x == hole[h].x && hole[i].y > hole[h].y)) h = i;
  const rings::Vertex hp = hole[h];
  std::size_t edge = outer.size();
  double bestX = INFINITY, bestT = 0;
  for (std::size_t i = 0; i < outer.size(); ++i) {
    const rings::Vertex& a = outer[i];
    const rings::Vertex& b = outer[(i + 1) % outer.size()];
    if ((a.y > hp.y) == (b.y > hp.y)) continue;
    const double t = (static_cast<double>(hp.y) - a.y) / (static_cast<double>(b.y) - a.y);
    const double x = a.x + t * (static_cast<double>(b.x) - a.x);
    if (x >= hp.x && x < bestX) {
      bestX = x;
      bestT = t;
      edge = i;
    }
  }
  if (edge == outer.size()) return outer;  // no outer edge to the right: the hole is not inside
  const rings::Vertex& a = outer[edge];
  const rings::Vertex& b = outer[(edge + 1) % outer.size()];
  const rings::Vertex x{static_cast<float>(bestX), hp.y, static_cast<float>(a.z + bestT * (static_cast<double>(b.z) - a.z))};
  rings::Ring r(outer.begin(), outer.begin() + static_cast<std::ptrdiff_t>(edge) + 1);
  r.push_back(x);
  for (std::size_t k = 0; k <= hole.size(); ++k) r.push_back(hole[(h + k) % hole.size()]);
  r.push_back(x);
  r.insert(r.end(), outer.begin() + static_cast<std::ptrdiff_t>(edge) + 1, outer.end());
  return r;
}

// The wanted part of a and b (counter-clockwise rings, b already reversed for kOutside). `mixed` tells
// whether the result runs along both outlines (or along edges they share only).
rings::Ring Combine(const rings::Ring& a, const rings::Ring& b, Keep keep, bool& mixed) {
  CSSE3dPolygon tests[2] = {ToPolygon(a), ToPolygon(b)};
  const rings::Arrangement arr = rings::SplitAtCrossings({a, b}, true);
  int best = -1, hole = -1;
  for (std::size_t l = 0; l < arr.loops.size(); ++l) {
    const rings::Loop& loop = arr.loops[l];
    if (loop.area2 == 0.0 || !WantedLoop(loop, keep, tests)) continue;
    if (loop.area2 > 0.0) {
      if (best < 0 || loop.area2 > arr.loops[static_cast<std::size_t>(best)].area2) best = static_cast<int>(l);
    } else if (hole < 0 || loop.area2 < arr.loops[static_cast<std::size_t>(hole)].area2) {
      hole = static_cast<int>(l);
    }
  }
  if (best < 0) return {};
  auto ring = [&](int l) {
    rings::Ring r;
    for (const rings::LoopPoint& p : arr.loops[static_cast<std::size_t>(l)].points) r.push_back({p.x, p.y, p.z});
    return r;
  };
  rings::Ring result = ring(best);
  mixed = false;
  for (const rings::LoopPoint& p : arr.loops[static_cast<std::size_t>(best)].points) mixed = mixed || p.curve == 1;
  const std::vector<rings::LoopPoint>& bp = arr.loops[static_cast<std::size_t>(best)].points;
  mixed = (mixed && std::any_of(bp.begin(), bp.end(), [](const rings::LoopPoint& p) { return p.curve == 0; })) ||
          std::all_of(bp.begin(), bp.end(), [](const rings::LoopPoint& p) { return p.shared; });
  if (keep == Keep::kOutside && hole >= 0) {
    // a cutter wholly inside the outline leaves a hole: joined in, so the ring encloses what is left
    const rings::Ring h = ring(hole);
    CSSE3dPolygon outer = ToPolygon(result);
    if (outer.PointInLineInnerArea(h[0].x, h[0].y, 1)) result = JoinHole(result, h);
  }
  return result;
}

void StartNearest(rings::Ring& r, const rings::Ring& ref) {
  if (r.empty() || ref.empty()) return;
  std::size_t best = 0;
  double bestD = INFINITY;
  for (std::size_t i = 0; i < r.size(); ++i) {
    const double d = std::hypot(static_cast<double>(r[i].x) - ref[0].x, static_cast<double>(r[i].y) - ref[0].y);
    if (d < bestD) {
      bestD = d;
      best = i;
    }
  }
  std::rotate(r.begin(), r.begin() + static_cast<std::ptrdiff_t>(best), r.end());
}

}  // namespace

bool CSSE3dPolygon::CreateFromCutPolygones(CSSE3dPolygon* outline, CSSE3dPolygon* cutter, bool keepInside) {
  const rings::Ring a0 = FiniteRing(outline);
  rings::Ring a = a0, b = FiniteRing(cutter);
  rings::Ring result;
  if (a.size() >= 3 && b.size() < 3) {
    if (!keepInside) result = a;
  } else if (a.size() >= 3) {
    const bool clockwise = rings::Area2(a) < 0.0;
    if (clockwise) std::reverse(a.begin(), a.end());
    const bool bClockwise = rings::Area2(b) < 0.0;
    if (bClockwise == keepInside) std::reverse(b.begin(), b.end());  // counter-clockwise, or reversed to cut away
    bool mixed = false;
    result = Combine(a, b, keepInside ? Keep::kInside : Keep::kOutside, mixed);
    if (clockwise) std::reverse(result.begin(), result.end());
    StartNearest(result, a0);
  }
  if (result.size() < 3) {
    Free();
    ZeroStored();
    return false;
  }
  SetRing(result);
  return true;
}

bool CSSE3dPolygon::CreateMergePolygon(CSSE3dPolygon* first, CSSE3dPolygon* second) {
  const rings::Ring a0 = FiniteRing(first);
  rings::Ring a = a0, b = FiniteRing(second);
  rings::Ring result;
  bool joined = false;
  if (a.size() < 3 || b.size() < 3) {
    result = a.size() >= 3 ? a : b;
    joined = result.size() >= 3;
  } else {
    const bool clockwise = rings::Area2(a) < 0.0;
    if (clockwise) std::reverse(a.begin(), a.end());
    if (rings::Area2(b) < 0.0) std::reverse(b.begin(), b.end());
    bool mixed = false;
    result = Combine(a, b, Keep::kUnion, mixed);
    // one ring when it runs along both, or when the smaller lies inside the larger (most of its points)
    joined = mixed;
    if (!joined) {
      const bool aLarger = rings::Area2(a) >= rings::Area2(b);
      CSSE3dPolygon larger = ToPolygon(aLarger ? a : b);
      const rings::Ring& smaller = aLarger ? b : a;
      int votes = 0;
      for (std::size_t i = 0; i < 3; ++i) {
        const rings::Vertex& v = smaller[i * smaller.size() / 3];
        votes += larger.PointInLineInnerArea(v.x, v.y, 1) ? 1 : -1;
      }
      joined = votes > 0;
    }
    if (clockwise) std::reverse(result.begin(), result.end());
    StartNearest(result, a0);
  }
  if (result.size() < 3) {
    Free();
    ZeroStored();
    return false;
  }
  SetRing(result);
  return joined;
}
