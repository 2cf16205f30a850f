#include "qssse/geometry/HSimpleBasisFcns.h"

#include <cmath>

#include "qssse/geometry/HPolygonTriangulator.h"
#include "qssse/vector/SimdOps.h"

namespace simd = qssse::simd;

namespace {

constexpr float kPointTolerance = 0.0001f;
constexpr float kDirectionEpsilon = 1.1920929e-7f;
constexpr float kPi = 3.1415927f;
constexpr float kTurn = 6.2831855f;
// Beyond this magnitude GetRealAngle reduces by the remainder first (see the header).
constexpr float kFoldLimit = 1048576.0f;

constexpr float kAreaTolerance = CHSimpleBasisFcns::kAreaTolerance;

inline float Area2(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c) {
  return CHSimpleBasisFcns::DoubledArea(a, b, c);
}

inline bool SamePoint(const t_h2dpoint* a, const t_h2dpoint* b) { return a->x == b->x && a->y == b->y; }

}  // namespace

// ---- orientation ------------------------------------------------------------------------------------

bool CHSimpleBasisFcns::Left(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c) {
  return Area2(a, b, c) > kAreaTolerance;
}

bool CHSimpleBasisFcns::LeftOn(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c) {
  return !(Area2(a, b, c) < -kAreaTolerance);
}

bool CHSimpleBasisFcns::Collinear(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c) {
  const float d = Area2(a, b, c);
  return !(d > kAreaTolerance) && !(d < -kAreaTolerance);
}

float CHSimpleBasisFcns::AreaSign(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c) {
  const float d = Area2(a, b, c);
  if (d > kAreaTolerance) return 1.0f;
  if (d < -kAreaTolerance) return -1.0f;
  return 0.0f;
}

// ---- segments ---------------------------------------------------------------------------------------

bool CHSimpleBasisFcns::Between(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c) {
  if (!Collinear(a, b, c)) return false;
  if (a->x != b->x) return (a->x <= c->x && c->x <= b->x) || (a->x >= c->x && c->x >= b->x);
  return (a->y <= c->y && c->y <= b->y) || (a->y >= c->y && c->y >= b->y);
}

bool CHSimpleBasisFcns::IntersectProp(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c,
                                      const t_h2dpoint* d) {
  if (Collinear(a, b, c) || Collinear(a, b, d) || Collinear(c, d, a) || Collinear(c, d, b)) return false;
  return Left(a, b, c) != Left(a, b, d) && Left(c, d, a) != Left(c, d, b);
}

bool CHSimpleBasisFcns::Intersect(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c,
                                  const t_h2dpoint* d) {
  return IntersectProp(a, b, c, d) || Between(a, b, c) || Between(a, b, d) || Between(c, d, a) ||
         Between(c, d, b);
}

bool CHSimpleBasisFcns::InCone(const t_hvertex* a, const t_hvertex* b) {
  const t_hvertex* a0 = a->prev;
  const t_hvertex* a1 = a->next;
  if (LeftOn(a, a1, a0)) return Left(a, b, a0) && Left(b, a, a1);
  return !(LeftOn(a, b, a1) && LeftOn(b, a, a0));
}

bool CHSimpleBasisFcns::GetIntersection(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c,
                                        const t_h2dpoint* d, t_h2dpoint* p) {
  // Differences in float, everything built from them in double.
  const auto D = [](float v) { return static_cast<double>(v); };
  const double denom = D(b->x) * D(c->y - d->y) + D(a->x) * D(d->y - c->y) + D(d->x) * D(b->y - a->y) +
                       D(c->x) * D(a->y - b->y);
  if (denom == 0.0) {
    // Parallel: no crossing is reported, but p names an endpoint chosen by the segments' lengths.
    const float abx = a->x - b->x, aby = a->y - b->y, cdx = c->x - d->x, cdy = c->y - d->y;
    const float len1 = std::sqrt(abx * abx + aby * aby);
    const float len2 = std::sqrt(cdx * cdx + cdy * cdy);
    if (len1 > len2) {
      *p = (SamePoint(c, a) || SamePoint(c, b)) ? *d : *c;
    } else {
      // a.y and c.y are each tested against zero, not against each other: deliberate.
      const bool takeB = (a->x == c->x && a->y != 0.0f && c->y != 0.0f) || SamePoint(a, d);
      *p = takeB ? *b : *a;
    }
    return false;
  }
  const double s = (D(c->x) * D(a->y - d->y) + D(a->x) * D(d->y - c->y) + D(d->x) * D(c->y - a->y)) / denom;
  const double t = -(D(a->x) * D(c->y - b->y) + D(b->x) * D(a->y - c->y) + D(c->x) * D(b->y - a->y)) / denom;
  p->x = static_cast<float>(D(b->x - a->x) * s + D(a->x));
  p->y = static_cast<float>(D(b->y - a->y) * s + D(a->y));
  return s >= 0.0 && s <= 1.0 && t >= 0.0 && t <= 1.0;
}

bool CHSimpleBasisFcns::ParallelInt(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c,
                                    const t_h2dpoint* d, t_h2dpoint* p) {
  if (!Collinear(a, b, c)) return false;
  if (Between(a, b, c)) {
    *p = *c;
  } else if (Between(a, b, d)) {
    *p = *d;
  } else if (Between(c, d, a)) {
    *p = *a;
  } else if (Between(c, d, b)) {
    *p = *b;
  } else {
    return false;
  }
  return true;
}

// ---- points, lines and angles -----------------------------------------------------------------------

int CHSimpleBasisFcns::VertexAlreadyThereInArray(const SSEPoint* points, const SSEPoint& p,
                                                 unsigned int count) {
  const simd::f4 hi = simd::splat(kPointTolerance), lo = simd::splat(-kPointTolerance);
  for (unsigned int i = 0; i < count; ++i) {
    const simd::f4 diff = simd::sub(points[i].m, p.m);
    if (simd::all(simd::and_(simd::lt(diff, hi), simd::gt(diff, lo)))) return static_cast<int>(i);
  }
  return -1;
}

void CHSimpleBasisFcns::FindLine(const t_h2dpoint& a, const t_h2dpoint& b, t_vector& dir) {
  const float dx = a.x - b.x, dy = a.y - b.y;
  const float len = std::sqrt(dx * dx + dy * dy);
  if (len == 0.0f) {
    dir = t_vector{};
    return;
  }
  dir.x = dx / len;
  dir.y = dy / len;
  dir.z = 0.0f;
}

void CHSimpleBasisFcns::FindOrthogonal(const t_vector& v, t_vector& n) {
  if (v.y == 0.0f) {
    n.x = 0.0f;
    n.y = 1.0f;
    n.z = 0.0f;
    return;
  }
  const float r = v.x / v.y;
  const float len = std::sqrt(1.0f + r * r);
  if (len == 0.0f) return;  // unreachable for finite input; n is then left as it was
  n.x = 1.0f / len;
  n.y = -r / len;
  n.z = 0.0f;
}

void CHSimpleBasisFcns::FindFoodPoint(const t_vector& dir, const SSEPoint& a, const SSEPoint& p,
                                      SSEPoint& foot) {
  const float q = dir.x * dir.x + dir.y * dir.y;
  if (q <= kDirectionEpsilon) {
    foot = qssse::ZeroSSEPoint();
    return;
  }
  const float t = (dir.x * (p.x - a.x) + dir.y * (p.y - a.y)) / q;
  const float x = dir.x * t + a.x;
  const float y = t * dir.y + a.y;
  foot.x = x;  // written after both are computed: foot may be a or p
  foot.y = y;
  foot.z = 0.0f;
}

void CHSimpleBasisFcns::FindPointOnLine(const t_vector& dir, const SSEPoint& a, float t, SSEPoint& q) {
  const float x = t * dir.x + a.x;
  const float y = t * dir.y + a.y;
  q.x = x;
  q.y = y;
  q.z = 0.0f;
}

void CHSimpleBasisFcns::FindParameterOfPoint(const t_vector& dir, const SSEPoint& a, const SSEPoint& p,
                                             float& t) {
  t = 0.0f;
  if (std::fabs(p.x - a.x) > kPointTolerance) {
    t = (p.x - a.x) / dir.x;
  } else if (std::fabs(p.y - a.y) > kPointTolerance) {
    t = (p.y - a.y) / dir.y;
  }
}

bool CHSimpleBasisFcns::IsPointInHalfeplain(float a, float b, float c, bool closed, const SSEPoint& p) {
  const float s = b * p.y + a * p.x;
  return closed ? s >= c : s < c;
}

bool CHSimpleBasisFcns::GetIntersection(const SSEPoint& a, const SSEPoint& b, const SSEPoint& c,
                                        const SSEPoint& d, SSEPoint& p) {
  const t_h2dpoint pa{a.x, a.y}, pb{b.x, b.y}, pc{c.x, c.y}, pd{d.x, d.y};
  t_h2dpoint result;  // starts at "no value" (the largest float in both fields)
  const bool crossing = GetIntersection(&pa, &pb, &pc, &pd, &result);
  p.x = result.x;
  p.y = result.y;
  p.z = 0.0f;
  return crossing;
}

float CHSimpleBasisFcns::GetDistance(const SSEPoint& a, const SSEPoint& b) {
  const float dy = a.y - b.y, dx = a.x - b.x;
  return std::sqrt(dy * dy + dx * dx);
}

float CHSimpleBasisFcns::GetRealAngle(float angle) {
  if (std::fabs(angle) > kFoldLimit) {
    // Exact in double; infinities become NaN here, which the loops below pass through.
    angle = static_cast<float>(std::fmod(static_cast<double>(angle), static_cast<double>(kTurn)));
  }
  while (angle <= kPi && std::fabs(angle - kPi) > kPointTolerance) angle += kTurn;
  while (angle > kPi || std::fabs(angle - kPi) < kPointTolerance) angle -= kTurn;
  return angle;
}
