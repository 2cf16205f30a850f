#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "qssse/vector/SimdOps.h"

namespace {

namespace simd = qssse::simd;

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

struct Lanes {
  float v[4];
};

Lanes Of(simd::f4 x) {
  Lanes l;
  _mm_storeu_ps(l.v, x);
  return l;
}

bool SameBits(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// Awkward values on every lane, paired against each other lane by lane.
const float kValues[] = {0.0f, -0.0f, 1.0f, -1.5f, kInf, -kInf, kNaN, 3.0e38f};

TEST(SimdOps, MinAndMaxReturnTheSecondOperandWhenEitherIsNaN) {
  for (float a : kValues) {
    for (float b : kValues) {
      const Lanes mn = Of(simd::min(simd::splat(a), simd::splat(b)));
      const Lanes mx = Of(simd::max(simd::splat(a), simd::splat(b)));
      for (int l = 0; l < 4; ++l) {
        ASSERT_TRUE(SameBits(mn.v[l], a < b ? a : b)) << a << " " << b;
        ASSERT_TRUE(SameBits(mx.v[l], a > b ? a : b)) << a << " " << b;
      }
    }
  }
}

TEST(SimdOps, ComparisonsAndSelectWorkLaneByLane) {
  const simd::f4 a = simd::lanes(1.0f, kNaN, -0.0f, 5.0f);
  const simd::f4 b = simd::lanes(2.0f, 1.0f, 0.0f, 5.0f);
  EXPECT_EQ(simd::movemask(simd::lt(a, b)), 0b0001);
  EXPECT_EQ(simd::movemask(simd::le(a, b)), 0b1101);  // -0 <= 0 and 5 <= 5; NaN compares false
  EXPECT_EQ(simd::movemask(simd::eq(a, b)), 0b1100);
  EXPECT_EQ(simd::movemask(simd::gt(a, b)), 0b0000);
  EXPECT_EQ(simd::movemask(simd::ge(a, b)), 0b1100);
  const Lanes s = Of(simd::select(simd::lt(a, b), simd::splat(7.0f), b));
  EXPECT_EQ(s.v[0], 7.0f);
  EXPECT_EQ(s.v[1], 1.0f);
  EXPECT_TRUE(SameBits(s.v[2], 0.0f));
  EXPECT_EQ(s.v[3], 5.0f);
  EXPECT_TRUE(simd::all(simd::eq(b, b)));
  EXPECT_FALSE(simd::any(simd::eq(a, simd::splat(9.0f))));
}

TEST(SimdOps, AlignedLoadAndStoreRoundTrip) {
  alignas(16) float in[4] = {1.0f, -0.0f, kInf, kNaN};
  alignas(16) float out[4];
  simd::store(out, simd::load(in));
  for (int l = 0; l < 4; ++l) EXPECT_TRUE(SameBits(in[l], out[l]));
  EXPECT_EQ(simd::lane0(simd::add(simd::load(in), simd::splat(1.0f))), 2.0f);
}

}  // namespace
