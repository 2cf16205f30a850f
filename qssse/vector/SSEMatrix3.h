#pragma once
#include <immintrin.h>

// A 3x4 matrix of three SIMD rows, applied by CSSEFns::transform. Row i holds (a_i0, a_i1, a_i2, a_i3);
// the fourth column acts as a translation when the transformed point carries w = 1 and is ignored when
// w = 0.
struct alignas(16) t_ssematrix3 {
  __m128 row0;
  __m128 row1;
  __m128 row2;
};

static_assert(sizeof(t_ssematrix3) == 48, "t_ssematrix3 is three packed rows");
