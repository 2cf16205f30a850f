// CSSE3dPolygon: the fill rule, areas and nearest vertices.
#include <immintrin.h>

#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/vector/SimdOps.h"

namespace {

// Whether the edge (prev, cur) toggles the inside state of (x, y): exactly one end strictly left of x,
// and the edge strictly above the point, judged from its left end L toward its right end R.
inline bool EdgeToggles(float px, float py, float cx, float cy, float x, float y) {
  if ((px < x) == (cx < x)) return false;
  const bool prevLeft = px < cx;
  const float lx = prevLeft ? px : cx, ly = prevLeft ? py : cy;
  const float rx = prevLeft ? cx : px, ry = prevLeft ? cy : py;
  return (ry - ly) * (x - lx) > (rx - lx) * (y - ly);
}

// The above-test of the four edges ending at points b .. b+3, as a lane bit mask: the same float
// operations as EdgeToggles lane by lane. Edge i runs from point i-1 (point n-1 for i = 0) to point i.
inline int EdgesAbove(const float* xs, const float* ys, int n, int b, qssse::simd::f4 qx,
                      qssse::simd::f4 qy) {
  using namespace qssse::simd;
  const f4 cx = load(xs + b), cy = load(ys + b);
  f4 px, py;
  if (b == 0) {
    // lanes (n-1, 0, 1, 2)
    px = shiftLanesUp(cx, splat(xs[n - 1]));
    py = shiftLanesUp(cy, splat(ys[n - 1]));
  } else {
    px = loadu(xs + b - 1);
    py = loadu(ys + b - 1);
  }
  const f4 prevLeft = lt(px, cx);
  const f4 lx = select(prevLeft, px, cx), ly = select(prevLeft, py, cy);
  const f4 rx = select(prevLeft, cx, px), ry = select(prevLeft, cy, py);
  return movemask(gt(mul(sub(ry, ly), sub(qx, lx)), mul(sub(rx, lx), sub(qy, ly))));
}

// The step-1 ring. Most edges do not straddle the query's x, so the straddle bits come first from one
// compare per block of four points (an edge's start bit is its end bit shifted by one lane), eight
// edges per iteration, and the edge arithmetic runs only for blocks with a straddling edge. The parity
// equals that of the edge-by-edge loop bit for bit.
bool InsideRingSimd(const float* xs, const float* ys, int n, float x, float y) {
  using namespace qssse::simd;
  const f4 qx = splat(x), qy = splat(y);
  int prevBit = xs[n - 1] < x ? 1 : 0;  // the closing edge starts at point n-1
  int toggles = 0;
  int b = 0;
  for (; b + 8 <= n; b += 8) {
    const int left = movemask(lt(load(xs + b), qx)) | (movemask(lt(load(xs + b + 4), qx)) << 4);
    const int straddle = (left ^ ((left << 1) | prevBit)) & 0xFF;
    prevBit = left >> 7;
    if (straddle == 0) continue;
    if (straddle & 0xF) toggles ^= straddle & EdgesAbove(xs, ys, n, b, qx, qy);
    if (straddle >> 4) toggles ^= (straddle >> 4) & EdgesAbove(xs, ys, n, b + 4, qx, qy);
  }
  for (; b < n; b += 4) {
    const int left = movemask(lt(load(xs + b), qx));
    int straddle = (left ^ ((left << 1) | prevBit)) & 0xF;
    prevBit = (left >> 3) & 1;
    if (n - b < 4) straddle &= (1 << (n - b)) - 1;  // padding lanes are no edges
    if (straddle != 0) toggles ^= straddle & EdgesAbove(xs, ys, n, b, qx, qy);
  }
  // The parity of a XOR of bit masks is the parity of all their bits together.
  return __builtin_parity(static_cast<unsigned>(toggles)) != 0;
}

// The decimated ring of points 0, step, 2·step, ... and count-1, one edge at a time.
bool InsideRingStepped(const float* xs, const float* ys, int n, float x, float y, int step) {
  float px = xs[n - 1], py = ys[n - 1];
  bool inside = false;
  for (int i = 0; i <= n - step; i += step) {
    if (EdgeToggles(px, py, xs[i], ys[i], x, y)) inside = !inside;
    px = xs[i];
    py = ys[i];
  }
  if (EdgeToggles(px, py, xs[n - 1], ys[n - 1], x, y)) inside = !inside;
  return inside;
}

float Shoelace(const float* a, const float* b, int n) {
  if (n < 2) return 0.0f;
  float sum = 0.0f;
  for (int i = 0; i + 1 < n; ++i) sum += a[i] * b[i + 1] - a[i + 1] * b[i];
  return sum + (a[n - 1] * b[0] - a[0] * b[n - 1]);
}

}  // namespace

bool CSSE3dPolygon::InsideTest(const float* xs, const float* ys, float x, float y, int step) const {
  if (step <= 1) return InsideRingSimd(xs, ys, m_count, x, y);
  return InsideRingStepped(xs, ys, m_count, x, y, step);
}

bool CSSE3dPolygon::InsideWithinBox(const float* xs, const float* ys, float x, float y, int step) {
  if (m_count < 3) return false;
  if (!m_boxCalculated) CalcBoundingBox();
  const SSEPoint& lo = m_stored[kMin2D];
  const SSEPoint& hi = m_stored[kMax2D];
  if (x < lo.x || y < lo.y || x > hi.x || y > hi.y) return false;
  return InsideTest(xs, ys, x, y, step);
}

bool CSSE3dPolygon::InsideWithinBox(const float* xs, const float* ys, const SSEPoint& p, int step) {
  using namespace qssse::simd;
  if (m_count < 3) return false;
  if (!m_boxCalculated) CalcBoundingBox();
  SSEPoint q = p;
  q.z = 0.0f;
  if (any(or_(lt(q.m, m_stored[kMin2D].m), gt(q.m, m_stored[kMax2D].m)))) return false;
  return InsideTest(xs, ys, q.x, q.y, step);
}

bool CSSE3dPolygon::PointInLineInnerArea(float x, float y, int step) {
  return InsideWithinBox(m_x, m_y, x, y, step);
}

bool CSSE3dPolygon::PointInLineInnerArea(const SSEPoint& p, int step) {
  return InsideWithinBox(m_x, m_y, p, step);
}

// The normalized forms are rejected against the plain box on purpose (see the header).
bool CSSE3dPolygon::PointInLineInnerAreaNormalized(float x, float y, int step) {
  return InsideWithinBox(m_nx, m_ny, x, y, step);
}

bool CSSE3dPolygon::PointInLineInnerAreaNormalized(const SSEPoint& p, int step) {
  return InsideWithinBox(m_nx, m_ny, p, step);
}

bool CSSE3dPolygon::PointInLineInnerAreaBoxed(float x, float y, float minX, float minY, float maxX,
                                              float maxY, int step) {
  if (m_count < 3) return false;
  if (!m_boxCalculated) CalcBoundingBox();
  const SSEPoint& lo = m_stored[kMin2D];
  const SSEPoint& hi = m_stored[kMax2D];
  if (x < lo.x || y < lo.y || x > hi.x || y > hi.y) return false;
  if (step < 1) step = 1;
  const int n = m_count;
  auto inRect = [&](int i) { return m_x[i] >= minX && m_x[i] <= maxX && m_y[i] >= minY && m_y[i] <= maxY; };
  // The visited points are 0, step, 2·step, ... and, for a decimated ring, point n-1; the first "prev"
  // is the last of them inside the rectangle.
  int prev = -1;
  for (int i = 0; i <= n - step; i += step)
    if (inRect(i)) prev = i;
  if (step > 1 && inRect(n - 1)) prev = n - 1;
  if (prev < 0) return false;
  bool inside = false;
  auto visit = [&](int i) {
    if (!inRect(i)) return;
    if (EdgeToggles(m_x[prev], m_y[prev], m_x[i], m_y[i], x, y)) inside = !inside;
    prev = i;
  };
  for (int i = 0; i <= n - step; i += step) visit(i);
  if (step > 1) visit(n - 1);
  return inside;
}

bool CSSE3dPolygon::PointInLineInnerAreaBoxed(const SSEPoint& p, float minX, float minY, float maxX,
                                              float maxY, int step) {
  using namespace qssse::simd;
  if (m_count < 3) return false;
  if (!m_boxCalculated) CalcBoundingBox();
  SSEPoint q = p;
  q.z = 0.0f;
  if (any(or_(lt(q.m, m_stored[kMin2D].m), gt(q.m, m_stored[kMax2D].m)))) return false;
  return PointInLineInnerAreaBoxed(q.x, q.y, minX, minY, maxX, maxY, step);
}

float CSSE3dPolygon::CalcXYArea() const { return Shoelace(m_x, m_y, m_count); }
float CSSE3dPolygon::CalcXZArea() const { return Shoelace(m_x, m_z, m_count); }
float CSSE3dPolygon::CalcYZArea() const { return Shoelace(m_y, m_z, m_count); }

int CSSE3dPolygon::ClosestPointXYImpl(float x, float y, int step, bool withLast) const {
  if (m_count - (withLast ? 0 : 1) < 1) return -1;
  if (step < 1) step = 1;
  const int end = withLast ? m_count : m_count - 1;
  float best = 1e7f;  // a squared distance: vertices beyond about 3162 units are never found
  // Without the last point the ring is read as if it repeated its first point.
  int answer = -1;
  for (long long i = 0; i < end; i += step) {
    const float dx = m_x[i] - x, dy = m_y[i] - y;
    const float d = dx * dx + dy * dy;
    if (d < best) {
      best = d;
      answer = static_cast<int>(i);
    }
  }
  return answer;
}

int CSSE3dPolygon::ClosestPointXY(float x, float y, int step) const { return ClosestPointXYImpl(x, y, step, false); }

int CSSE3dPolygon::ClosestPointXYWithLast(float x, float y, int step) const {
  return ClosestPointXYImpl(x, y, step, true);
}
