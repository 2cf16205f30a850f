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

// Four lanes from kValues starting at k (wrapping), so that every value visits every lane.
simd::f4 Rotation(int k) {
  const int n = static_cast<int>(sizeof kValues / sizeof kValues[0]);
  return simd::lanes(kValues[k % n], kValues[(k + 1) % n], kValues[(k + 2) % n], kValues[(k + 3) % n]);
}

TEST(SimdOps, ShufflesBroadcastsAndLaneShiftsMoveLanesUnchanged) {
  for (int k = 0; k < 8; ++k) {
    const simd::f4 a = Rotation(k), b = Rotation(k + 5);
    const Lanes la = Of(a), lb = Of(b);
    const Lanes sh = Of(simd::shuffle<3, 0, 2, 1>(a, b));
    EXPECT_TRUE(SameBits(sh.v[0], la.v[3]) && SameBits(sh.v[1], la.v[0]) && SameBits(sh.v[2], lb.v[2]) &&
                SameBits(sh.v[3], lb.v[1]));
    const Lanes b2 = Of(simd::broadcast<2>(a));
    const Lanes up = Of(simd::shiftLanesUp(a, b)), down = Of(simd::shiftLanesDown(a, b));
    for (int l = 0; l < 4; ++l) {
      EXPECT_TRUE(SameBits(b2.v[l], la.v[2])) << k;
      EXPECT_TRUE(SameBits(up.v[l], l == 0 ? lb.v[3] : la.v[l - 1])) << k << " lane " << l;
      EXPECT_TRUE(SameBits(down.v[l], l == 3 ? lb.v[0] : la.v[l + 1])) << k << " lane " << l;
    }
    EXPECT_TRUE(SameBits(simd::lane<1>(a), la.v[1]));
    EXPECT_TRUE(SameBits(simd::lane<3>(a), la.v[3]));
  }
}

TEST(SimdOps, ReductionsFollowTheLibrarysLaneOrder) {
  // Every arrangement of the awkward values, against the scalar expressions of the stated order.
  const auto mn = [](float a, float b) { return a < b ? a : b; };
  const auto mx = [](float a, float b) { return a > b ? a : b; };
  for (int k = 0; k < 64; ++k) {
    const simd::f4 a = simd::lanes(kValues[k % 8], kValues[(k / 8) % 8], kValues[(k * 3 + 1) % 8], kValues[(k * 5 + 2) % 8]);
    const Lanes l = Of(a);
    // A NaN sum's payload depends on which operand the compiler puts first; only NaN-ness is fixed.
    const float sum = (l.v[0] + l.v[3]) + (l.v[2] + l.v[1]), got = simd::lane0(simd::sumLanes(a));
    EXPECT_TRUE(SameBits(got, sum) || (std::isnan(got) && std::isnan(sum))) << k;
    EXPECT_TRUE(SameBits(simd::lane0(simd::minLanes(a)), mn(mn(l.v[1], l.v[3]), mn(l.v[0], l.v[2])))) << k;
    EXPECT_TRUE(SameBits(simd::lane0(simd::maxLanes(a)), mx(mx(l.v[1], l.v[3]), mx(l.v[0], l.v[2])))) << k;
  }
  // Rounding shows the order: 1e8 + 1 + 1 - 1e8 is 0 left to right, 2 in the library's pairing.
  EXPECT_EQ(simd::lane0(simd::sumLanes(simd::lanes(1e8f, 1.0f, 1.0f, -1e8f))), 2.0f);
}

TEST(SimdOps, SignMasksRootsNaNTestsAndStoresWorkLaneByLane) {
  for (int k = 0; k < 8; ++k) {
    const simd::f4 a = Rotation(k);
    const Lanes l = Of(a), ab = Of(simd::abs(a)), ng = Of(simd::negate(a)), rt = Of(simd::sqrt(a));
    const int nan = simd::movemask(simd::isnan(a)), ne = simd::movemask(simd::neq(a, a));
    for (int i = 0; i < 4; ++i) {
      EXPECT_TRUE(SameBits(ab.v[i], std::fabs(l.v[i]))) << l.v[i];
      EXPECT_TRUE(SameBits(ng.v[i], -l.v[i]) || std::isnan(l.v[i])) << l.v[i];
      EXPECT_EQ(std::signbit(ng.v[i]), !std::signbit(l.v[i])) << l.v[i];
      EXPECT_TRUE(SameBits(rt.v[i], std::sqrt(l.v[i])) || (std::isnan(rt.v[i]) && std::isnan(std::sqrt(l.v[i]))));
      EXPECT_EQ((nan >> i) & 1, std::isnan(l.v[i]) ? 1 : 0);
      EXPECT_EQ((ne >> i) & 1, std::isnan(l.v[i]) ? 1 : 0);  // only NaN differs from itself
    }
  }
  EXPECT_EQ(simd::movemask(simd::laneMask(true, false, true, true)), 0b1101);
  EXPECT_EQ(simd::movemask(simd::firstLanes(0)), 0);
  EXPECT_EQ(simd::movemask(simd::firstLanes(3)), 0b0111);
  EXPECT_EQ(simd::movemask(simd::firstLanes(9)), 0b1111);
  EXPECT_EQ(simd::RoundToInt64(2.5), 2);  // ties to even
  EXPECT_EQ(simd::RoundToInt64(-3.5), -4);
  EXPECT_EQ(simd::RoundToInt64(1e15 + 0.75), 1000000000000001LL);
  // Aligned, streamed and plain stores keep every bit.
  alignas(16) const float in[4] = {1.0f, -0.0f, kInf, kNaN};
  alignas(16) float out[4], streamed[4];
  simd::store(out, simd::load(in));
  simd::stream(streamed, simd::load(in));
  simd::fence();
  for (int l = 0; l < 4; ++l) EXPECT_TRUE(SameBits(in[l], out[l]) && SameBits(in[l], streamed[l])) << l;
  EXPECT_EQ(simd::lane0(simd::add(simd::load(in), simd::splat(1.0f))), 2.0f);
}

}  // namespace
