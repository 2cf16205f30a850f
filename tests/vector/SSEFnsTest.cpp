#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>

#include "qssse/vector/SSEFns.h"
#include "qssse/vector/SSEPoint.h"

namespace {

using qssse::MakeSSEPoint;

SSEPoint P(float x, float y, float z, float w = 0.0f) { return MakeSSEPoint(x, y, z, w); }

SSEPoint Of(__m128 m) {
  SSEPoint p;
  p.m = m;
  return p;
}

// The four lanes in memory order, for whole-vector comparisons.
using L4 = std::array<float, 4>;
L4 Lanes(__m128 m) {
  L4 l;
  _mm_storeu_ps(l.data(), m);
  return l;
}

bool SameBits(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0; }

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

TEST(SSEFns, SumsLanesOfXYZWAsFirstPlusLastThenThirdPlusSecond) {
  EXPECT_EQ(Lanes(P(1, 2, 3, 4).m), (L4{1, 2, 3, 4}));  // an SSEPoint's lanes are x, y, z, w in order
  // (a0 + a3) + (a2 + a1): 1e8 + 1 rounds back to 1e8, so this order gives 0 where a left-to-right sum
  // gives 1.
  EXPECT_EQ(CSSEFns::internal_addition_of_m128(P(1e8f, 1.0f, -1e8f, 1.0f).m), 0.0f);
  EXPECT_EQ(CSSEFns::internal_addition_of_m128(P(1.0f, 1e8f, 1.0f, -1e8f).m), 0.0f);
  EXPECT_EQ(CSSEFns::internal_addition_of_m128(P(1e8f, 1.0f, 1.0f, -1e8f).m), 2.0f);
  EXPECT_EQ(CSSEFns::internal_addition_of_m128(P(1, 2, 3, 4).m), 10.0f);
}

// Products and distances over random lanes are the scalar reference's at the end.
TEST(SSEFns, ScalarProductIncludesTheWLaneAndLengthsFollow) {
  EXPECT_EQ(CSSEFns::scalarproduct(P(1, 2, 3, 1).m, P(4, 5, 6, 1).m), 33.0f);
  EXPECT_EQ(CSSEFns::vectorlen(P(3, 4, 12).m), 13.0f);
  EXPECT_EQ(CSSEFns::vectorlen(P(0, 0, 0).m), 0.0f);
}

TEST(SSEFns, NormalizeDividesAllLanesAndTurnsZeroIntoNaN) {
  EXPECT_EQ(Lanes(CSSEFns::normalizevector(P(0, 3, 4).m)), (L4{0, 0.6f, 0.8f, 0}));
  const SSEPoint z = Of(CSSEFns::normalizevector(P(0, 0, 0).m));
  EXPECT_TRUE(std::isnan(z.x) && std::isnan(z.y) && std::isnan(z.z) && std::isnan(z.w));
}

TEST(SSEFns, CrossProductAndVolumeFollowTheRightHand) {
  EXPECT_EQ(Lanes(CSSEFns::vectorproduct(P(1, 0, 0).m, P(0, 1, 0).m)), (L4{0, 0, 1, 0}));  // lane 3 zero
  EXPECT_EQ(CSSEFns::volume(P(1, 0, 0).m, P(0, 1, 0).m, P(0, 0, 1).m), 1.0f);
  EXPECT_EQ(CSSEFns::volume(P(1, 0, 0).m, P(0, 0, 1).m, P(0, 1, 0).m), -1.0f);
  // Lane 3 of b x c is forced to 0, so w = inf in b and c cannot leak a NaN into the sum.
  EXPECT_EQ(CSSEFns::volume(P(1, 0, 0).m, P(0, 1, 0, kInf).m, P(0, 0, 1, kInf).m), 1.0f);
}

TEST(SSEFns, TransformTranslatesHomogeneousPointsAndZeroesLaneThree) {
  t_ssematrix3 M;
  M.row0 = _mm_setr_ps(1, 0, 0, 10);
  M.row1 = _mm_setr_ps(0, 1, 0, 20);
  M.row2 = _mm_setr_ps(0, 0, 1, 30);
  EXPECT_EQ(Lanes(CSSEFns::transform(P(1, 2, 3, 1).m, M)), (L4{11, 22, 33, 0}));
  EXPECT_EQ(Lanes(CSSEFns::transform(P(1, 2, 3, 0).m, M)), (L4{1, 2, 3, 0}));
  EXPECT_EQ(Of(CSSEFns::transform(P(1, 2, 3, kNaN).m, M)).w, 0.0f);
}

TEST(SSEFns, HorizontalMinimumAndMaximumFollowTheSseNaNRuleInTheirFixedOrder) {
  float out = 0.0f;
  CSSEFns::min_of_m128(P(3, -1, 2, 7).m, &out);
  EXPECT_EQ(out, -1.0f);
  CSSEFns::max_of_m128(P(3, -1, 2, 7).m, &out);
  EXPECT_EQ(out, 7.0f);
  CSSEFns::min_of_m128(P(-0.0f, 0.0f, 0.0f, 0.0f).m, &out);
  EXPECT_EQ(out, 0.0f);
  // m = min((a0,a0,a1,a1), (a2,a2,a3,a3)), then min(m3, m0): a NaN in a0 or a1 is dropped by the first
  // step (the second operand wins), a NaN in a2 or a3 survives it.
  CSSEFns::min_of_m128(P(kNaN, 5, 2, 7).m, &out);
  EXPECT_EQ(out, 2.0f);
  CSSEFns::min_of_m128(P(4, 5, kNaN, 7).m, &out);
  EXPECT_TRUE(std::isnan(out));
  CSSEFns::min_of_m128(P(4, 5, 2, kNaN).m, &out);
  EXPECT_EQ(out, 2.0f);  // m3 = NaN loses to m0 = 2 in the final step
}

TEST(SSEFns, MatchesAScalarReferenceBitForBit) {
  // Random values with mixed magnitudes so that any other summation order shows.
  unsigned state = 42;
  auto next = [&state] {
    state = state * 1664525u + 1013904223u;
    const float mantissa = static_cast<float>(state >> 8) / 16777216.0f - 0.5f;
    return std::ldexp(mantissa, static_cast<int>(state % 40) - 20);
  };
  auto sum4 = [](const float* a) { return (a[0] + a[3]) + (a[2] + a[1]); };
  for (int i = 0; i < 2000; ++i) {
    const float a[4] = {next(), next(), next(), next()};
    const float b[4] = {next(), next(), next(), next()};
    const __m128 va = _mm_loadu_ps(a), vb = _mm_loadu_ps(b);
    const float ab[4] = {a[0] * b[0], a[1] * b[1], a[2] * b[2], a[3] * b[3]};
    const float d[4] = {a[0] - b[0], a[1] - b[1], a[2] - b[2], a[3] - b[3]};
    const float dd[4] = {d[0] * d[0], d[1] * d[1], d[2] * d[2], d[3] * d[3]};
    ASSERT_TRUE(SameBits(CSSEFns::scalarproduct(va, vb), sum4(ab)));
    ASSERT_TRUE(SameBits(CSSEFns::euclideansqr(va, vb), sum4(dd)));
    ASSERT_TRUE(SameBits(CSSEFns::euclideandistance(va, vb), std::sqrt(sum4(dd))));
    const SSEPoint c = Of(CSSEFns::vectorproduct(va, vb));
    ASSERT_TRUE(SameBits(c.x, a[1] * b[2] - a[2] * b[1]));
    ASSERT_TRUE(SameBits(c.y, a[2] * b[0] - a[0] * b[2]));
    ASSERT_TRUE(SameBits(c.z, a[0] * b[1] - a[1] * b[0]));
  }
}

}  // namespace
