#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "qssse/geometry/HExactPredicates.h"

namespace {

using Int = __int128;

int SignOf(Int v) { return (v > 0) - (v < 0); }

// Coordinates are k * 2^-20 for integers |k| < 2^23: exact floats whose scaled products fit 128 bits.
constexpr float kUnit = 1.0f / 1048576.0f;

float F(std::int64_t k) { return static_cast<float>(k) * kUnit; }

int PlainOrient2D(std::int64_t ax, std::int64_t ay, std::int64_t bx, std::int64_t by, std::int64_t cx,
                  std::int64_t cy) {
  return SignOf(static_cast<Int>(bx - ax) * (cy - ay) - static_cast<Int>(by - ay) * (cx - ax));
}

struct P3 {
  std::int64_t x, y, z;
  CbVector3f V() const { return {F(x), F(y), F(z)}; }
};

int PlainOrient3D(const P3& a, const P3& b, const P3& c, const P3& d) {
  const Int adx = a.x - d.x, ady = a.y - d.y, adz = a.z - d.z;
  const Int bdx = b.x - d.x, bdy = b.y - d.y, bdz = b.z - d.z;
  const Int cdx = c.x - d.x, cdy = c.y - d.y, cdz = c.z - d.z;
  return SignOf(adx * (bdy * cdz - bdz * cdy) + bdx * (cdy * adz - cdz * ady) +
                cdx * (ady * bdz - adz * bdy));
}

}  // namespace

// The signs (Orient2D positive counter-clockwise, Orient3D positive with d below a counter-clockwise
// a, b, c) are the integer oracles' above.
TEST(HExactPredicates, AgreeWithIntegerArithmeticOnNearlyDegenerateInput) {
  std::mt19937 rng(42);
  const auto big = [&] { return static_cast<std::int64_t>(rng() % (1u << 23)) - (1 << 22); };
  const auto tiny = [&] { return static_cast<std::int64_t>(rng() % 3) - 1; };
  for (int i = 0; i < 20000; ++i) {
    // c on the line through a and b (a multiple of b - a beyond b), then nudged by at most one unit:
    // the double evaluation cannot decide most of these.
    const std::int64_t ax = big() / 4, ay = big() / 4, dx = big() / 8, dy = big() / 8, k = rng() % 3;
    const std::int64_t bx = ax + dx, by = ay + dy, cx = bx + k * dx + tiny(), cy = by + k * dy + tiny();
    ASSERT_EQ(CHExactPredicates::Orient2D(F(ax), F(ay), F(bx), F(by), F(cx), F(cy)),
              PlainOrient2D(ax, ay, bx, by, cx, cy))
        << i;
    // d in the plane of a, b, c (an integer combination), nudged by at most one unit.
    const P3 a{big() / 16, big() / 16, big() / 16};
    const P3 u{big() / 64, big() / 64, big() / 64}, v{big() / 64, big() / 64, big() / 64};
    const std::int64_t s = rng() % 3, t = rng() % 3;
    const P3 b{a.x + u.x, a.y + u.y, a.z + u.z}, c{a.x + v.x, a.y + v.y, a.z + v.z};
    const P3 d{a.x + s * u.x - t * v.x + tiny(), a.y + s * u.y - t * v.y + tiny(),
               a.z + s * u.z - t * v.z + tiny()};
    ASSERT_EQ(CHExactPredicates::Orient3D(a.V(), b.V(), c.V(), d.V()), PlainOrient3D(a, b, c, d)) << i;
  }
}

TEST(HExactPredicates, DecideWhereTheDifferencesThemselvesRoundInDouble) {
  // Far apart magnitudes: 1e30 and 1e-30 in one difference, which no double holds exactly.
  const float big = 1e30f, small = 1e-30f;
  EXPECT_EQ(CHExactPredicates::Orient2D(small, small, big, big, 2 * big, 2 * big), 0);
  EXPECT_EQ(CHExactPredicates::Orient2D(0, 0, big, big, 2 * big, std::nextafter(2 * big, 0.0f)), -1);
  EXPECT_EQ(CHExactPredicates::Orient2D(small, 0, big, big, 2 * big, 2 * big), -1);  // a just right of the line
  EXPECT_EQ(CHExactPredicates::Orient2D(0, small, big, big, 2 * big, 2 * big), 1);   // a just above it
  const CbVector3f a(-big, -big, small), b(big, -big, small), c(-big, big, small);
  EXPECT_EQ(CHExactPredicates::Orient3D(a, b, c, CbVector3f(3, 4, small)), 0);
  EXPECT_EQ(CHExactPredicates::Orient3D(a, b, c, CbVector3f(3, 4, std::nextafter(small, 0.0f))), 1);
  EXPECT_EQ(CHExactPredicates::Orient3D(a, b, c, CbVector3f(3, 4, std::nextafter(small, 1.0f))), -1);
}
