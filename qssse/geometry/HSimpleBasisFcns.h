#pragma once
#include "qssse/geometry/Vector.h"
#include "qssse/platform/Export.h"
#include "qssse/polygon/H2dPoint.h"
#include "qssse/vector/SSEPoint.h"

struct t_hvertex;

// The planar (x/y) predicates and line functions. Everything here reads x and y only; z is ignored on
// input and written as 0 on output. The class holds no data and every member is static, so the
// operations can be called through the class or through any object of it (the ear-clipping
// triangulator calls them as its own operations).
//
// Tolerances are absolute constants, never scaled by the data:
//  - the orientation tests compare the doubled signed area
//      D(a, b, c) = (c.y - a.y)·(b.x - a.x) - (b.y - a.y)·(c.x - a.x)
//    computed in single precision, against 0.0005; D > 0 when c lies left of the directed line a -> b
//    (a counter-clockwise turn with y up);
//  - the duplicate and line-parameter tests use 0.0001, the foot point 1.1920929e-7 (FLT_EPSILON).
// A NaN coordinate makes D NaN: Left is then false, LeftOn and Collinear true and AreaSign 0.
class QSSSE_API CHSimpleBasisFcns {
 public:
  // ---- orientation of point triples ----
  // D(a, b, c) in single precision, in the one order of operations every orientation test uses (kept
  // inline so that accelerated callers compute bit for bit the same value).
  static float DoubledArea(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c) {
    return (c->y - a->y) * (b->x - a->x) - (b->y - a->y) * (c->x - a->x);
  }
  // The tolerance every orientation test compares D against.
  static constexpr float kAreaTolerance = 0.0005f;
  // D(a, b, c) > 0.0005 (strictly: exactly 0.0005 is not left).
  static bool Left(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c);
  // True unless D(a, b, c) < -0.0005 (so exactly -0.0005 counts, and NaN too).
  static bool LeftOn(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c);
  // -0.0005 <= D(a, b, c) <= 0.0005 (true for NaN).
  static bool Collinear(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c);
  // 1.0 when D > 0.0005, -1.0 when D < -0.0005, else 0.0: the sign as a float.
  static float AreaSign(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c);

  // ---- segments ----
  // c on the closed segment ab: Collinear(a, b, c), then the range of x when a.x != b.x (exact), else
  // (vertical segments, and a = b) the range of y; both bounds inclusive.
  static bool Between(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c);
  // A proper crossing of ab and cd: false as soon as any endpoint is collinear with the other segment,
  // otherwise c and d on different sides of ab and a and b on different sides of cd (by Left).
  static bool IntersectProp(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c,
                            const t_h2dpoint* d);
  // Crossing or touching: IntersectProp, else Between(a, b, c), Between(a, b, d), Between(c, d, a),
  // Between(c, d, b), tried in that order.
  static bool Intersect(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c, const t_h2dpoint* d);
  // Whether the diagonal a -> b leaves a into the polygon's interior (taken to be left of the ring), from
  // a's previous vertex a0 and next vertex a1: at a convex or flat corner (LeftOn(a, a1, a0)) when
  // Left(a, b, a0) and Left(b, a, a1); at a reflex corner unless both LeftOn(a, b, a1) and
  // LeftOn(b, a, a0). Both vertices must be linked into a ring.
  static bool InCone(const t_hvertex* a, const t_hvertex* b);
  // The crossing point of segment ab with segment cd. Coordinate differences in single precision,
  // products, sums and quotients in double, the point stored back as floats. p is the crossing of the
  // two supporting lines also when the segments miss each other (the result is then false); true when
  // both line parameters lie in [0, 1]. Parallel segments (the determinant exactly 0) give false with
  // p set to an endpoint, even when they overlap: with |ab| > |cd|, d when c equals a or b exactly, else
  // c; otherwise b when a.x = c.x and neither a.y nor c.y is zero, or when a equals d, else a.
  // (The zero tests of a.y and c.y are deliberate: both are compared with 0, not with each other.)
  static bool GetIntersection(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c,
                              const t_h2dpoint* d, t_h2dpoint* p);

  // ---- points, lines and angles on SSEPoint (x and y only unless stated) ----
  // Index of the first of the count points whose four lanes (w included) each differ from p's by
  // strictly less than 0.0001; -1 when there is none or count is 0.
  static int VertexAlreadyThereInArray(const SSEPoint* points, const SSEPoint& p, unsigned int count);
  // dir = (a - b) / |a - b|, z = 0: the unit direction from b towards a; (0, 0, 0) when a equals b.
  static void FindLine(const t_h2dpoint& a, const t_h2dpoint& b, t_vector& dir);
  // A unit vector perpendicular to v, z = 0, without a consistent turning sense: (0, 1, 0) when v.y is 0
  // (the zero vector included), else (1, -v.x/v.y) normalised, whose x is never negative.
  static void FindOrthogonal(const t_vector& v, t_vector& n);
  // Foot of the perpendicular from p onto the line through a with direction dir (any length): x, y set,
  // z = 0, w left as it was. A direction with dir.x² + dir.y² <= FLT_EPSILON sets all four lanes to 0.
  static void FindFoodPoint(const t_vector& dir, const SSEPoint& a, const SSEPoint& p, SSEPoint& foot);
  // q = a + t·dir in x and y, z = 0, w left as it was.
  static void FindPointOnLine(const t_vector& dir, const SSEPoint& a, float t, SSEPoint& q);
  // The t with p = a + t·dir, taken from x when |p.x - a.x| > 0.0001, else from y when |p.y - a.y| >
  // 0.0001, else 0. The component is chosen by the offset, not by dir: dir.x = 0 with an offset in x
  // gives an infinite t.
  static void FindParameterOfPoint(const t_vector& dir, const SSEPoint& a, const SSEPoint& p, float& t);
  // With s = b·p.y + a·p.x: closed gives s >= c, open gives s < c. The flag chooses the side as well as
  // whether the boundary line counts (deliberately asymmetric).
  static bool IsPointInHalfeplain(float a, float b, float c, bool closed, const SSEPoint& p);
  // The t_h2dpoint crossing on the x and y of the four points; p.x, p.y written, p.z = 0, p.w kept.
  static bool GetIntersection(const SSEPoint& a, const SSEPoint& b, const SSEPoint& c, const SSEPoint& d,
                              SSEPoint& p);
  // sqrt((a.y - b.y)² + (a.x - b.x)²).
  static float GetDistance(const SSEPoint& a, const SSEPoint& b);
  // The angle folded into [-π, π) by adding and subtracting whole turns one at a time (π = 3.1415927f,
  // a turn 6.2831855f): angles within 0.0001 of π come out near -π, π itself gives -π, 7 gives 7 - 2π.
  // Magnitudes above 2^20 (some 167,000 turns, where the one-turn steps would take long and a step
  // eventually stops changing the float) are first reduced by the exact double remainder of a turn,
  // then folded the same way. Infinities and NaN give NaN.
  static float GetRealAngle(float angle);

 protected:
  // The overlap point of two collinear segments: false unless Collinear(a, b, c); then the first of
  // Between(a, b, c) (p = c), Between(a, b, d) (p = d), Between(c, d, a) (p = a), Between(c, d, b)
  // (p = b) that holds and sets p. GetIntersection's parallel branch does not use it.
  static bool ParallelInt(const t_h2dpoint* a, const t_h2dpoint* b, const t_h2dpoint* c, const t_h2dpoint* d,
                          t_h2dpoint* p);
};
