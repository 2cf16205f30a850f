#pragma once
#include <immintrin.h>

// The universal point and vector of the library: one 128-bit SIMD value of four floats.
// Points and vectors keep w at 0, because every dot product, length and distance of CSSEFns sums all
// four lanes. An all-zero SSEPoint also stands for "no point" (e.g. an out-of-range polygon index).
// The type is trivial on purpose, so that arrays of it can live in raw aligned blocks; callers zero
// a value before filling it lane by lane.
union alignas(16) SSEPoint {
  __m128 m;
  struct {
    float x;  // lane 0
    float y;  // lane 1
    float z;  // lane 2
    float w;  // lane 3
  };
};

static_assert(sizeof(SSEPoint) == 16 && alignof(SSEPoint) == 16, "SSEPoint is one aligned __m128");

namespace qssse {

// Builds a point from its lanes (w defaults to 0, the convention for points and vectors).
inline SSEPoint MakeSSEPoint(float x, float y, float z, float w = 0.0f) {
  SSEPoint p;
  p.m = _mm_setr_ps(x, y, z, w);
  return p;
}

// The all-zero point, the library's "no point".
inline SSEPoint ZeroSSEPoint() {
  SSEPoint p;
  p.m = _mm_setzero_ps();
  return p;
}

}  // namespace qssse
