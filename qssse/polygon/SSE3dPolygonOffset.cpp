// CSSE3dPolygon: exact offsetting in x-y and the removal of self-intersection loops.
//
// The offset is built as a raw curve around the ring: every edge moved by the distance along its
// normal, joined at a convex corner by an arc or a mitre and at a concave corner by a detour through the
// corner itself. The detour makes the raw curve wind once around every point within the distance of the
// outline's region and never positively around any other point, whatever the edge lengths; so the
// region where the raw curve winds positively is exactly the offset region, and its outer boundary is
// one loop of the curve split at its crossings (RingArrangement.h). Each raw point remembers where on
// the input it came from, which carries z: along an edge's offset z runs as on the edge, around a
// corner it is the corner's own z, at a crossing it is interpolated along the arriving piece.
#include <algorithm>
#include <cmath>
#include <vector>

#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/polygon/RingArrangement.h"
#include "qssse/polygon/SSE3dPolygon.h"

namespace rings = qssse::rings;

namespace {

constexpr double kPi = 3.14159265358979323846;

struct OffsetParams {
  double g;       // |distance|
  int side;       // +1 outward of a counter-clockwise ring, -1 inward
  CSSE3dPolygon::OffsetJoin join;
  double miterLimit;
  double stepAngle;  // of the round joins' arcs
  double merge;      // points closer than this are one point; also the "straight corner" width
};

inline void Emit(rings::Ring& out, double x, double y, float z) {
  out.push_back({static_cast<float>(x), static_cast<float>(y), z});
}

// The raw offset curve of a counter-clockwise ring of at least two points.
rings::Ring RawOffset(const rings::Ring& r, const OffsetParams& o) {
  const std::size_t n = r.size();
  std::vector<double> tx(n), ty(n), len(n);  // unit direction and length of edge k (point k to k+1)
  for (std::size_t k = 0; k < n; ++k) {
    const rings::Vertex& a = r[k];
    const rings::Vertex& b = r[(k + 1) % n];
    const double dx = static_cast<double>(b.x) - a.x, dy = static_cast<double>(b.y) - a.y;
    len[k] = std::hypot(dx, dy);
    tx[k] = dx / len[k];
    ty[k] = dy / len[k];
  }
  const double g = o.g, s = o.side;
  // How far back along each offset edge a concave corner's meeting point lies (0 elsewhere).
  std::vector<double> reach(n, 0.0);
  for (std::size_t k = 0; k < n; ++k) {
    const std::size_t in = (k + n - 1) % n;
    const double cross = tx[in] * ty[k] - ty[in] * tx[k];
    const double dot = tx[in] * tx[k] + ty[in] * ty[k];
    if (cross * s < 0.0 && g * std::fabs(cross) >= o.merge) reach[k] = g * std::fabs(cross) / (1.0 + dot);
  }
  rings::Ring out;
  out.reserve(n * 3);
  for (std::size_t k = 0; k < n; ++k) {
    const std::size_t in = (k + n - 1) % n;
    const double px = r[k].x, py = r[k].y;
    const float z = r[k].z;
    // offset directions m = side·(right normal) of the arriving and the leaving edge
    const double mix = s * ty[in], miy = -s * tx[in], mox = s * ty[k], moy = -s * tx[k];
    const double cross = tx[in] * ty[k] - ty[in] * tx[k];
    const double dot = tx[in] * tx[k] + ty[in] * ty[k];
    const bool flat = g * std::fabs(cross) < o.merge;
    if (flat && dot > 0.0) {
      // a straight corner: the two offset lines meet within a merge width of their ends
      Emit(out, px + g * (mix + mox) / (1.0 + dot), py + g * (miy + moy) / (1.0 + dot), z);
      continue;
    }
    if (!flat && cross * s < 0.0) {
      // concave for this side: where the two offset edges reach each other before either is used up
      // (counting what the corner at its other end takes), their meeting point, for the detour below
      // would only add a small loop there; otherwise the detour through the corner (see
      // the opening comment)
      const std::size_t after = (k + 1) % n;
      if (reach[k] + reach[in] <= len[in] && reach[k] + reach[after] <= len[k]) {
        Emit(out, px + g * (mix + mox) / (1.0 + dot), py + g * (miy + moy) / (1.0 + dot), z);
        continue;
      }
      Emit(out, px + g * mix, py + g * miy, z);
      Emit(out, px, py, z);
      Emit(out, px + g * mox, py + g * moy, z);
      continue;
    }
    // convex for this side, or a spike turning back on itself (capped beyond its tip)
    if (o.join == CSSE3dPolygon::kJoinRound) {
      const double sweep = flat ? s * kPi : std::atan2(mix * moy - miy * mox, mix * mox + miy * moy);
      const int steps = std::max(1, static_cast<int>(std::ceil(std::fabs(sweep) / o.stepAngle - 1e-9)));
      for (int j = 0; j <= steps; ++j) {
        const double a = sweep * j / steps, c = std::cos(a), sn = std::sin(a);
        Emit(out, px + g * (mix * c - miy * sn), py + g * (mix * sn + miy * c), z);
      }
      continue;
    }
    // mitre, cut square at miterLimit·g from the corner where it would reach farther
    if (!flat && std::sqrt(2.0 / (1.0 + dot)) <= o.miterLimit) {
      Emit(out, px + g * (mix + mox) / (1.0 + dot), py + g * (miy + moy) / (1.0 + dot), z);
      continue;
    }
    double bx = mix + mox, by = miy + moy;
    const double bl = std::hypot(bx, by);
    if (flat || bl < 1e-12) {
      bx = tx[in];
      by = ty[in];
    } else {
      bx /= bl;
      by /= bl;
    }
    const double L = o.miterLimit;
    const double li = g * (L - (mix * bx + miy * by)) / (tx[in] * bx + ty[in] * by);
    const double lo = g * (L - (mox * bx + moy * by)) / (tx[k] * bx + ty[k] * by);
    Emit(out, px + g * mix + li * tx[in], py + g * miy + li * ty[in], z);
    Emit(out, px + g * mox + lo * tx[k], py + g * moy + lo * ty[k], z);
  }
  return out;
}

// The finite points of the polygon, points within `merge` of the previously kept one dropped (around the
// ring too).
rings::Ring CleanRing(const CSSE3dPolygon& p, double merge) {
  rings::Ring r;
  for (int i = 0; i < p.GetNumPoints(); ++i) {
    float x = 0, y = 0, z = 0;
    p.GetPoint(i, x, y, z);
    if (!std::isfinite(x) || !std::isfinite(y)) continue;
    if (!r.empty() && std::hypot(static_cast<double>(x) - r.back().x, static_cast<double>(y) - r.back().y) <= merge)
      continue;
    r.push_back({x, y, z});
  }
  while (r.size() > 1 &&
         std::hypot(static_cast<double>(r.back().x) - r.front().x, static_cast<double>(r.back().y) - r.front().y) <= merge)
    r.pop_back();
  return r;
}

rings::Ring LoopToRing(const rings::Loop& l) {
  rings::Ring r;
  r.reserve(l.points.size());
  for (const rings::LoopPoint& p : l.points) r.push_back({p.x, p.y, p.z});
  return r;
}

// The outer boundary of the positive region of a counter-clockwise curve, then re-split while rounding
// the crossing points to floats left crossings of the size of that rounding. Empty when the curve
// encloses nothing positively.
rings::Ring PositiveOuterBoundary(const rings::Ring& curve, long long* crossings) {
  rings::Arrangement a = rings::SplitAtCrossings({curve}, false);
  if (crossings != nullptr) *crossings = a.crossings;
  int best = rings::LargestOuterLoop(a.loops);
  if (best < 0) return {};
  rings::Ring ring = LoopToRing(a.loops[static_cast<std::size_t>(best)]);
  for (int pass = 0; pass < 3; ++pass) {
    a = rings::SplitAtCrossings({ring}, false);
    if (a.crossings == 0) break;
    best = rings::LargestOuterLoop(a.loops);
    if (best < 0) break;
    ring = LoopToRing(a.loops[static_cast<std::size_t>(best)]);
  }
  return ring;
}

// Segments of a ring filed in a uniform grid, to ask whether a point lies nearer than some distance.
class NearIndex {
 public:
  NearIndex(const rings::Ring& r, double reach) : m_r(r) {
    double minX = INFINITY, minY = INFINITY, maxX = -INFINITY, maxY = -INFINITY;
    for (const rings::Vertex& v : r) {
      minX = std::min(minX, static_cast<double>(v.x));
      minY = std::min(minY, static_cast<double>(v.y));
      maxX = std::max(maxX, static_cast<double>(v.x));
      maxY = std::max(maxY, static_cast<double>(v.y));
    }
    const double span = std::max({maxX - minX, maxY - minY, 1e-30});
    m_cell = std::max(reach, span / std::max(1.0, std::sqrt(static_cast<double>(r.size()))));
    m_nx = std::min(4096, static_cast<int>(std::floor((maxX - minX) / m_cell)) + 1);
    m_ny = std::min(4096, static_cast<int>(std::floor((maxY - minY) / m_cell)) + 1);
    m_cell = std::max(m_cell, std::max((maxX - minX) / m_nx, (maxY - minY) / m_ny) * (1 + 1e-12));
    m_x0 = minX;
    m_y0 = minY;
    m_cells.assign(static_cast<std::size_t>(m_nx) * m_ny, {});
    for (std::size_t k = 0; k < r.size(); ++k) {
      const rings::Vertex& a = r[k];
      const rings::Vertex& b = r[(k + 1) % r.size()];
      const int c0 = Col(std::min(a.x, b.x)), c1 = Col(std::max(a.x, b.x));
      const int r0 = Row(std::min(a.y, b.y)), r1 = Row(std::max(a.y, b.y));
      for (int y = r0; y <= r1; ++y)
        for (int x = c0; x <= c1; ++x) m_cells[static_cast<std::size_t>(y) * m_nx + x].push_back(static_cast<int>(k));
    }
  }
  // Whether some segment lies nearer than d to (x, y); d must not exceed the reach given at construction
  // (cells farther than one away are not visited).
  bool Nearer(double x, double y, double d) const {
    const int cx = Col(x), cy = Row(y);
    for (int yy = std::max(0, cy - 1); yy <= std::min(m_ny - 1, cy + 1); ++yy)
      for (int xx = std::max(0, cx - 1); xx <= std::min(m_nx - 1, cx + 1); ++xx)
        for (const int k : m_cells[static_cast<std::size_t>(yy) * m_nx + xx]) {
          const rings::Vertex& a = m_r[static_cast<std::size_t>(k)];
          const rings::Vertex& b = m_r[(static_cast<std::size_t>(k) + 1) % m_r.size()];
          const double ex = static_cast<double>(b.x) - a.x, ey = static_cast<double>(b.y) - a.y;
          const double l2 = ex * ex + ey * ey;
          const double t = l2 > 0 ? std::clamp(((x - a.x) * ex + (y - a.y) * ey) / l2, 0.0, 1.0) : 0.0;
          if (std::hypot(x - (a.x + t * ex), y - (a.y + t * ey)) < d) return true;
        }
    return false;
  }

 private:
  int Col(double x) const { return Cell((x - m_x0) / m_cell, m_nx); }
  int Row(double y) const { return Cell((y - m_y0) / m_cell, m_ny); }
  // Clamped before the conversion: a point of the offset ring may lie at infinity (or be NaN), and no
  // segment is nearer to it than d in any cell.
  static int Cell(double v, int n) {
    if (!(v >= 0.0)) return 0;
    return v < n - 1 ? static_cast<int>(v) : n - 1;
  }
  const rings::Ring& m_r;
  double m_cell = 1, m_x0 = 0, m_y0 = 0;
  int m_nx = 1, m_ny = 1;
  std::vector<std::vector<int>> m_cells;
};

// Where the distance equals the radius of a run of round corners, the detours of neighbouring corners
// fan out from almost one point and cross one another, and slivers between them wind positively
// without belonging to the offset: every point of the true offset lies (within the arc tolerance) at
// the distance from the input, so points clearly nearer are dropped and the ring re-joined.
bool DropPointsTooNear(rings::Ring& ring, const rings::Ring& input, double limit) {
  const NearIndex index(input, limit);
  rings::Ring kept;
  kept.reserve(ring.size());
  for (const rings::Vertex& v : ring)
    if (!index.Nearer(v.x, v.y, limit)) kept.push_back(v);
  if (kept.size() == ring.size()) return false;
  ring.swap(kept);
  return true;
}

// Rotates the ring so it starts at its point nearest (x-y) to (x, y).
void StartNear(rings::Ring& r, float x, float y) {
  if (r.empty()) return;
  std::size_t best = 0;
  double bestD = INFINITY;
  for (std::size_t i = 0; i < r.size(); ++i) {
    const double d = std::hypot(static_cast<double>(r[i].x) - x, static_cast<double>(r[i].y) - y);
    if (d < bestD) {
      bestD = d;
      best = i;
    }
  }
  std::rotate(r.begin(), r.begin() + static_cast<std::ptrdiff_t>(best), r.end());
}

}  // namespace

void CSSE3dPolygon::SetRing(const std::vector<qssse::rings::Vertex>& r) {
  CSSE3dPolygon tmp;
  tmp.Create(static_cast<int>(r.size()));
  for (int i = 0; i < tmp.m_count; ++i) tmp.SetPoint(i, r[i].x, r[i].y, r[i].z);
  Free();
  TakeOver(tmp);
}

bool CSSE3dPolygon::Offset(float distance, OffsetJoin join, float miterLimit, float arcTolerance) {
  if (!std::isfinite(distance)) AfxThrowInvalidArgumentException("CSSE3dPolygon offset: the distance is not finite");
  if (!(miterLimit >= 1.0f) || !std::isfinite(miterLimit)) miterLimit = 1.0f;
  if (m_count <= 0) return false;
  if (distance == 0.0f) return true;
  OffsetParams o;
  o.g = std::fabs(static_cast<double>(distance));
  o.side = distance > 0.0f ? 1 : -1;
  o.join = join;
  o.miterLimit = miterLimit;
  double tol = arcTolerance > 0.0f && std::isfinite(arcTolerance) ? arcTolerance : o.g * 0.002;
  tol = std::clamp(tol, o.g * 1e-5, o.g);
  o.stepAngle = 2.0 * std::acos(1.0 - tol / o.g);
  // points closer than a tenth of the arc tolerance (and than a thousandth of the distance) are one
  // point; never closer than the float grain of the outline's size
  if (!m_boxCalculated) CalcBoundingBox();
  const double extent = std::max({std::fabs(m_stored[kMax].x), std::fabs(m_stored[kMax].y),
                                  std::fabs(m_stored[kMin].x), std::fabs(m_stored[kMin].y)});
  o.merge = std::max(std::min(0.1 * tol, 1e-3 * o.g), 4e-7 * extent);

  float x0 = 0, y0 = 0;
  GetPointXY(0, x0, y0);
  rings::Ring r = CleanRing(*this, o.merge);
  rings::Ring result;
  const bool clockwise = rings::Area2(r) < 0.0;
  if (clockwise) std::reverse(r.begin(), r.end());
  if (r.size() == 1) {
    // a single point grows into a circle and erodes to nothing
    if (o.side > 0) {
      const int steps = std::max(3, static_cast<int>(std::ceil(2.0 * kPi / o.stepAngle - 1e-9)));
      for (int j = 0; j < steps; ++j) {
        const double a = 2.0 * kPi * j / steps;
        Emit(result, r[0].x + o.g * std::cos(a), r[0].y + o.g * std::sin(a), r[0].z);
      }
    }
  } else if (!r.empty()) {
    result = PositiveOuterBoundary(RawOffset(r, o), nullptr);
    const double limit = o.g - 2.0 * tol - 2.0 * o.merge;
    if (limit > 0.0 && DropPointsTooNear(result, r, limit))
      result = result.size() >= 3 ? PositiveOuterBoundary(result, nullptr) : rings::Ring();
  }
  if (result.empty()) {
    Free();
    ZeroStored();
    return false;
  }
  if (clockwise) std::reverse(result.begin(), result.end());
  StartNear(result, x0, y0);
  SetRing(result);
  return true;
}

bool CSSE3dPolygon::DilateExact(float distance, OffsetJoin join, float miterLimit, float arcTolerance) {
  return Offset(distance, join, miterLimit, arcTolerance);
}

bool CSSE3dPolygon::ErodeExact(float distance, OffsetJoin join, float miterLimit, float arcTolerance) {
  return Offset(-distance, join, miterLimit, arcTolerance);
}

bool CSSE3dPolygon::RemoveLoopInXYPlane() {
  if (m_count < 3) return false;
  rings::Ring r = CleanRing(*this, 0.0);
  if (r.size() < 3) return false;
  const bool clockwise = rings::Area2(r) < 0.0;
  if (clockwise) std::reverse(r.begin(), r.end());
  long long crossings = 0;
  rings::Ring result = PositiveOuterBoundary(r, &crossings);
  if (crossings == 0 || result.size() < 3) return false;
  if (clockwise) std::reverse(result.begin(), result.end());
  float x0 = 0, y0 = 0;
  GetPointXY(0, x0, y0);
  StartNear(result, x0, y0);
  SetRing(result);
  return true;
}
