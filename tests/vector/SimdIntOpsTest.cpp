#include <gtest/gtest.h>

#include <climits>
#include <cmath>

#include "qssse/raster/PixelLayout.h"
#include "qssse/vector/SimdOps.h"

namespace {

namespace simd = qssse::simd;

struct Ints {
  alignas(16) int v[4];
};

Ints Of(simd::i4 x) {
  Ints l;
  simd::storeInt(l.v, x);
  return l;
}

simd::i4 IntLanes(int a, int b, int c, int d) { return _mm_setr_epi32(a, b, c, d); }

}  // namespace

TEST(SimdIntOps, TruncationArithmeticAndComparisonsWorkLaneByLane) {
  using namespace simd;
  // Toward zero; NaN and beyond int give INT_MIN, as the scalar conversion of the scan loops does (the
  // values pass through memory: a compiler folding the conversion of constants may not do the same).
  volatile float in[4] = {2.9f, -2.9f, NAN, 3.0e9f};
  const Ints t = Of(truncLanes(lanes(in[0], in[1], in[2], in[3])));
  EXPECT_EQ(t.v[0], 2);
  EXPECT_EQ(t.v[1], -2);
  EXPECT_EQ(t.v[2], INT_MIN);
  EXPECT_EQ(t.v[3], INT_MIN);

  const i4 a = IntLanes(5, -7, INT_MAX, 0), b = IntLanes(3, 2, 1, 0);
  const Ints sum = Of(addInt(a, b)), difference = Of(subInt(a, b)), both = Of(andInt(a, b));
  const int sums[] = {8, -5, INT_MIN, 0}, differences[] = {2, -9, INT_MAX - 1, 0}, ands[] = {1, 0, 1, 0};
  for (int l = 0; l < 4; ++l) {
    EXPECT_EQ(sum.v[l], sums[l]) << l;  // wraps
    EXPECT_EQ(difference.v[l], differences[l]) << l;
    EXPECT_EQ(both.v[l], ands[l]) << l;
  }
  EXPECT_EQ(movemaskInt(gtInt(a, b)), 0b0101);  // signed: -7 is not above 2
  EXPECT_EQ(movemaskInt(ltInt(a, b)), 0b0010);
  EXPECT_EQ(movemaskInt(splatInt(-1)), 0b1111);

  const Ints left = Of(shiftLeftInt<2>(IntLanes(1, -3, 7, 0))),
             right = Of(shiftRightInt<2>(IntLanes(13, -13, -1, 4)));
  const int lefts[] = {4, -12, 28, 0}, rights[] = {3, -4, -1, 1};  // the arithmetic shift floors
  for (int l = 0; l < 4; ++l) {
    EXPECT_EQ(left.v[l], lefts[l]) << l;
    EXPECT_EQ(right.v[l], rights[l]) << l;
  }
}

TEST(SimdIntOps, InterleaveLowTakesTheLowLanesOfBothInTurn) {
  float out[4];
  _mm_storeu_ps(out, simd::interleaveLow(simd::lanes(1, 2, 3, 4), simd::lanes(5, 6, 7, 8)));
  EXPECT_EQ(out[0], 1.0f);
  EXPECT_EQ(out[1], 5.0f);
  EXPECT_EQ(out[2], 2.0f);
  EXPECT_EQ(out[3], 6.0f);
}

TEST(SimdIntOps, PixelPartsAddressWhatPixelAddressAddresses) {
  // Rows of a raster of height 11 (three SIMD rows); pixels on every row modulo 4.
  alignas(16) float storage[3][4 * 6] = {};
  __m128* rows[3] = {reinterpret_cast<__m128*>(storage[0]), reinterpret_cast<__m128*>(storage[1]),
                     reinterpret_cast<__m128*>(storage[2])};
  const int xs[] = {0, 5, 2, 3, 1, 4, 0, 5}, ys[] = {0, 1, 2, 3, 4, 7, 9, 10};
  for (int g = 0; g < 2; ++g) {
    simd::i4 row, at;
    qssse::raster::PixelParts(IntLanes(xs[4 * g], xs[4 * g + 1], xs[4 * g + 2], xs[4 * g + 3]),
                              IntLanes(ys[4 * g], ys[4 * g + 1], ys[4 * g + 2], ys[4 * g + 3]), row, at);
    const Ints r = Of(row), a = Of(at);
    for (int l = 0; l < 4; ++l) {
      const int k = 4 * g + l;
      EXPECT_EQ(reinterpret_cast<float*>(rows[r.v[l]]) + a.v[l],
                qssse::raster::PixelAddress(rows, xs[k], ys[k]))
          << xs[k] << "," << ys[k];
    }
  }
}
