// CSSE3dPolygon: even resampling, thinning, duplicate and collinear removal, ring filters of z, and the
// inverse-distance height interpolation.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include "qssse/platform/MemoryException.h"
#include "qssse/platform/ScratchVector.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/vector/SimdOps.h"

namespace {

constexpr int kScratchPoints = 100000;
constexpr int kMaxEmitted = kScratchPoints - 1;  // the last scratch slot is never filled

}  // namespace

void CSSE3dPolygon::ReParametrize(float step) { ReParametrizeImpl(step, nullptr, false); }

void CSSE3dPolygon::ReParametrize(float step, int* map) { ReParametrizeImpl(step, map, false); }

void CSSE3dPolygon::ReParametrizeXYZ(float step) { ReParametrizeImpl(step, nullptr, true); }

void CSSE3dPolygon::ReParametrizeImpl(float step, int* map, bool withZ) {
  using namespace qssse::simd;
  if (!(step > 0.0f)) return;
  const f4 steps = splat(step);
  // 1. the number of points each edge emits (0: the edge keeps its start point alone) and the output
  //    index of each start point
  std::vector<int> emitted = qssse::scratchVector<int>(static_cast<std::size_t>(m_count));
  int c = 0;
  SSEPoint ad, ratio;
  for (int i = 0; i < m_count; ++i) {
    const int j = i + 1 < m_count ? i + 1 : 0;
    // Built in registers: assembling the point lane by lane in memory would stall the vector load.
    const f4 d = sub(lanes(m_x[j], m_y[j], m_z[j], 0.0f), lanes(m_x[i], m_y[i], m_z[i], 0.0f));
    ad.m = abs(d);
    ratio.m = div(ad.m, steps);  // |d| / step on all lanes in one division
    if (map != nullptr && c < kMaxEmitted) map[i] = c;
    int k = 0;
    if (ad.x > step || ad.y > step || (withZ && ad.z > step)) {
      const float r = withZ ? std::max(std::max(ratio.x, ratio.y), ratio.z) : std::max(ratio.x, ratio.y);
      // Bounded before the conversion, so huge ratios cannot overflow the int; the cap cuts later anyway.
      k = r < static_cast<float>(kMaxEmitted) ? static_cast<int>(r) : kMaxEmitted;
    }
    emitted[i] = k;
    c = std::min(c + std::max(k, 1), kMaxEmitted);
  }
  // 2. the points a + t·increment, straight into the new arrays
  CSSE3dPolygon out;
  out.Create(c);
  int j = 0;
  for (int i = 0; i < m_count && j < c; ++i) {
    const float ax = m_x[i], ay = m_y[i], az = m_z[i];
    if (emitted[i] == 0) {
      out.m_x[j] = ax;
      out.m_y[j] = ay;
      out.m_z[j] = az;
      ++j;
      continue;
    }
    const int next = i + 1 < m_count ? i + 1 : 0;
    SSEPoint inc;
    // Dividing by K + 0.5 rather than K is intended: the last point stops 1.5 increments short of b.
    inc.m = div(sub(lanes(m_x[next], m_y[next], m_z[next], 0.0f), lanes(ax, ay, az, 0.0f)),
                splat(static_cast<float>(emitted[i]) + 0.5f));
    for (int t = 0; t < emitted[i] && j < c; ++t, ++j) {
      const float ft = static_cast<float>(t);
      out.m_x[j] = ax + ft * inc.x;
      out.m_y[j] = ay + ft * inc.y;
      out.m_z[j] = az + ft * inc.z;
    }
  }
  // Only the coordinates change hands: this polygon's stored box and centre stay as they were.
  std::swap(m_x, out.m_x);
  std::swap(m_y, out.m_y);
  std::swap(m_z, out.m_z);
  std::swap(m_nx, out.m_nx);
  std::swap(m_ny, out.m_ny);
  std::swap(m_nz, out.m_nz);
  std::swap(m_count, out.m_count);
  m_boxCalculated = false;
}

void CSSE3dPolygon::Subsample(int k, bool closed) {
  // An empty polygon has no last point to keep.
  if (k < 1 || m_count <= 0) return;
  const int m = (m_count - k + 1) / k;
  const bool extra = closed || (m - 1) * k != m_count - 1;
  if (closed && m < 1) return;
  CSSE3dPolygon tmp;
  tmp.Create(m + (extra ? 1 : 0));
  for (int j = 0; j < m; ++j) {
    const int s = j * k;
    tmp.SetPoint(j, m_x[s], m_y[s], m_z[s]);
  }
  if (closed) {
    const int last = (m - 1) * k;
    // (r0 + r_last) / 2 lane-wise: bridges the gap the thinning leaves before the ring closes.
    tmp.SetPoint(m, (m_x[0] + m_x[last]) / 2.0f, (m_y[0] + m_y[last]) / 2.0f, (m_z[0] + m_z[last]) / 2.0f);
  } else if (extra) {
    const int s = m_count - 1;
    tmp.SetPoint(m, m_x[s], m_y[s], m_z[s]);
  }
  TakeOver(tmp);
}

bool CSSE3dPolygon::PointAlreadyThereInArrayXY(int i, const SSEPoint& p, float tolerance) const {
  using namespace qssse::simd;
  const int k = std::clamp(i, 0, std::max(m_count - 1, 0));
  if (k < 1 || m_count <= 0) return false;
  const f4 px = splat(p.x), py = splat(p.y), tol = splat(tolerance);
  int j = 0;
  for (; j + 4 <= k; j += 4) {
    const f4 dist = add(abs(sub(load(m_x + j), px)), abs(sub(load(m_y + j), py)));
    if (any(lt(dist, tol))) return true;
  }
  for (; j < k; ++j) {
    if (std::fabs(m_x[j] - p.x) + std::fabs(m_y[j] - p.y) < tolerance) return true;
  }
  return false;
}

namespace {

// Earlier-point lookup for a Manhattan tolerance of 1 on a hashed grid of unit cells, filled in point
// order. A point j can pass the test |xj - px| + |yj - py| < 1 only if the rounded |xj - px| is below 1,
// hence the exact difference too, so its cell is at most one cell away from p's in each axis: the 3 x 3
// cells around p hold every candidate, and each candidate gets the very test of the plain scan.
// A point with a coordinate that is not finite passes the test with no point (the sum is NaN or
// infinite), so it is neither looked up nor filed.
class UnitCellIndex {
 public:
  void Init(const float* xs, const float* ys, int n) {
    int bits = 4;
    while ((std::int64_t{1} << bits) < 2 * static_cast<std::int64_t>(n)) ++bits;
    shift_ = 64 - bits;
    keys_ = qssse::scratchVector<std::uint64_t>(std::size_t{1} << bits);
    heads_ = qssse::scratchVector<int>(std::size_t{1} << bits);
    std::fill(heads_.begin(), heads_.end(), -1);
    next_ = qssse::scratchVector<int>(static_cast<std::size_t>(n));
    xs_ = xs;
    ys_ = ys;
  }

  // Whether a point added so far lies within Manhattan distance 1 of point i.
  bool EarlierNear(int i) const {
    const float px = xs_[i], py = ys_[i];
    if (!std::isfinite(px) || !std::isfinite(py)) return false;
    const std::int64_t cx = Cell(px), cy = Cell(py);
    // The point's own cell first, latest points first: along an outline the point just before is
    // nearly always the one within 1, so a query ends at once instead of first walking the long chains
    // of neighbouring cells (a dense outline crossing a cell's corner put 8000 points in each).
    static constexpr int kOrder[9][2] = {{0, 0}, {-1, 0}, {1, 0}, {0, -1}, {0, 1}, {-1, -1}, {-1, 1}, {1, -1}, {1, 1}};
    for (const auto& d : kOrder) {
      for (int j = heads_[Slot(Key(cx + d[0], cy + d[1]))]; j >= 0; j = next_[j])
        if (std::fabs(xs_[j] - px) + std::fabs(ys_[j] - py) < 1.0f) return true;
    }
    return false;
  }

  void Add(int i) {
    if (!std::isfinite(xs_[i]) || !std::isfinite(ys_[i])) return;
    const std::uint64_t key = Key(Cell(xs_[i]), Cell(ys_[i]));
    const std::size_t slot = Slot(key);
    keys_[slot] = key;
    next_[i] = heads_[slot];
    heads_[slot] = i;
  }

 private:
  static constexpr float kLimit = 1073741824.0f;  // 2^30
  // Below 2^30 the unit cell; from 2^30 on floats lie 64 or more apart, so only an equal value is
  // within 1 and each value gets a cell of its own, numbered by its bits (above every unit cell, and
  // with the cells next to it still within 32 bits).
  static std::int64_t Cell(float v) {
    if (std::fabs(v) < kLimit) return static_cast<std::int64_t>(std::floor(v));
    std::uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    const std::int64_t magnitude = bits & 0x7fffffffu;
    return v < 0.0f ? -magnitude : magnitude;
  }
  static std::uint64_t Key(std::int64_t cx, std::int64_t cy) {
    return (static_cast<std::uint64_t>(cx + (1ll << 31)) << 32) |
           static_cast<std::uint64_t>(cy + (1ll << 31));
  }
  // The slot holding key, or the empty slot where it would go (linear probing; the table is at most half
  // full, so an empty slot always exists). Keys of empty slots are never read.
  std::size_t Slot(std::uint64_t key) const {
    const std::size_t mask = heads_.size() - 1;
    std::size_t s = static_cast<std::size_t>((key * 0x9E3779B97F4A7C15ull) >> shift_);
    while (heads_[s] >= 0 && keys_[s] != key) s = (s + 1) & mask;
    return s;
  }

  std::vector<std::uint64_t> keys_;
  std::vector<int> heads_;  // last point added to the cell, -1 for an empty slot
  std::vector<int> next_;   // the point added to the same cell before this one, -1 at the end
  const float* xs_ = nullptr;
  const float* ys_ = nullptr;
  int shift_ = 0;
};

// Below this many points the plain four-lane scan is faster than sorting.
constexpr int kGridFromPoints = 64;

}  // namespace

void CSSE3dPolygon::RemoveEqualPointsXY() {
  if (m_count <= 0) return;
  std::vector<int> kept = qssse::scratchVector<int>(static_cast<std::size_t>(m_count));
  UnitCellIndex grid;
  const bool useGrid = m_count >= kGridFromPoints;
  if (useGrid) grid.Init(m_x, m_y, m_count);
  if (useGrid) grid.Add(0);
  int keptCount = 1;  // point 0 is always kept
  int lastRemoved = -2;
  SSEPoint p;
  for (int i = 1; i < m_count; ++i) {
    // Never two removals in a row, even when both points repeat earlier ones: the test looks at all
    // earlier input points, kept or not.
    bool repeated = false;
    if (lastRemoved != i - 1) {
      GetPointSSE(i, p);
      repeated = useGrid ? grid.EarlierNear(i) : PointAlreadyThereInArrayXY(i, p, 1.0f);
    }
    if (useGrid) grid.Add(i);
    if (repeated) {
      lastRemoved = i;
    } else {
      kept[keptCount++] = i;
    }
  }
  CSSE3dPolygon tmp;
  tmp.Create(keptCount);
  for (int j = 0; j < tmp.m_count; ++j) tmp.SetPoint(j, m_x[kept[j]], m_y[kept[j]], m_z[kept[j]]);
  TakeOver(tmp);
}

void CSSE3dPolygon::ReducePoints() {
  if (m_count <= 0) return;
  std::vector<int> kept = qssse::scratchVector<int>(static_cast<std::size_t>(m_count));
  auto keepOnly = [&](int count) {
    CSSE3dPolygon tmp;
    tmp.Create(count);
    for (int j = 0; j < count; ++j) tmp.SetPoint(j, m_x[kept[j]], m_y[kept[j]], m_z[kept[j]]);
    TakeOver(tmp);
  };
  // 1. duplicates: within 0.0001 of the last kept point
  int count = 1;  // point 0 is always kept
  for (int i = 1; i < m_count; ++i) {
    const int r = kept[count - 1];
    const float dx = m_x[i] - m_x[r], dy = m_y[i] - m_y[r];
    if (std::sqrt(dx * dx + dy * dy) > 0.0001f) kept[count++] = i;
  }
  keepOnly(count);
  // 2. collinear points, judged against the neighbours of pass 1, not against the kept points
  const int n = m_count;
  count = 1;
  for (int i = 1; i < n; ++i) {
    const int next = (i + 1) % n;
    const float ux = m_x[i] - m_x[i - 1], uy = m_y[i] - m_y[i - 1];
    const float wx = m_x[next] - m_x[i], wy = m_y[next] - m_y[i];
    const float lu = std::sqrt(ux * ux + uy * uy), lw = std::sqrt(wx * wx + wy * wy);
    if (lu < 0.0001f && lw < 0.0001f) return;
    if (std::fabs(ux / lu - wx / lw) > 0.0001f || std::fabs(uy / lu - wy / lw) > 0.0001f) kept[count++] = i;
  }
  keepOnly(count);
}

template <class Pick>
void CSSE3dPolygon::FilterZ(Pick pick) {
  if (m_count <= 0) return;
  const int n = m_count;
  CSSE3dPolygon copy;
  copy.CreateSimilar(this);
  for (int k = 1; k <= n; ++k) {
    const int i = k % n;
    const float prev = m_z[(i + n - 1) % n], cur = m_z[i], next = m_z[(i + 1) % n];
    copy.SetPoint(i, m_x[i], m_y[i], pick(prev, cur, next));
  }
  TakeOver(copy);
}

void CSSE3dPolygon::FilterMedian3() {
  FilterZ([](float a, float b, float c) { return std::max(std::min(a, b), std::min(std::max(a, b), c)); });
}

void CSSE3dPolygon::FilterMaximum3() {
  FilterZ([](float a, float b, float c) { return std::max(std::max(a, b), c); });
}

void CSSE3dPolygon::FilterMinimum3() {
  FilterZ([](float a, float b, float c) { return std::min(std::min(a, b), c); });
}

float CSSE3dPolygon::InterpolateZ(float x, float y, int step, float nearSq) const {
  if (step < 1) step = 1;
  const int n = m_count;
  double weights = 0.0, sum = 0.0;
  const double near = nearSq;
  // Points past n - step are never sampled: the bound is deliberate.
  for (int i = 0; i < n - step + 1; i += step) {
    const float dy = y - m_y[i], dx = x - m_x[i];
    const double d2 = static_cast<double>(dy * dy + dx * dx);
    if (!(d2 > near)) return m_z[i];
    const double w = 1.0 / d2;
    weights += w;
    sum += static_cast<double>(m_z[i]) * w;
  }
  return static_cast<float>(sum / weights);
}
