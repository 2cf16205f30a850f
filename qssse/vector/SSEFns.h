#pragma once
#include <immintrin.h>

#include "qssse/platform/Export.h"
#include "qssse/vector/SSEMatrix3.h"
#include "qssse/vector/SimdOps.h"

// The static vector functions every subsystem calls. All results are bit-exact in a fixed lane order:
// sum4(a) is (a0 + a3) + (a2 + a1), computed as t = a + reverse(a), then t0 + t2. No function checks
// its input: the w lane takes part in every sum (keep it 0), and a zero vector normalises to NaN lanes.
class QSSSE_API CSSEFns {
 public:
  CSSEFns() = delete;

  // *out = minimum of the four lanes: min(min(a1, a3), min(a0, a2)) with the SSE NaN rule (second
  // operand wins), so a NaN lane may or may not show, depending on its position.
  static inline void min_of_m128(__m128 a, float* out) { *out = qssse::simd::lane0(qssse::simd::minLanes(a)); }

  // *out = maximum of the four lanes, in the same order as min_of_m128.
  static inline void max_of_m128(__m128 a, float* out) { *out = qssse::simd::lane0(qssse::simd::maxLanes(a)); }

  // Sum of the four lanes in the library's order (a0 + a3) + (a2 + a1).
  static inline float internal_addition_of_m128(__m128 a) { return _mm_cvtss_f32(sum4(a)); }

  // Dot product over all four lanes: sum4(a * b).
  static inline float scalarproduct(__m128 a, __m128 b) { return _mm_cvtss_f32(sum4(_mm_mul_ps(a, b))); }

  // a divided lane-wise (all four lanes) by its length; the zero vector yields NaN lanes.
  static inline __m128 normalizevector(__m128 a) {
    const __m128 len = _mm_sqrt_ss(sum4(_mm_mul_ps(a, a)));
    return _mm_div_ps(a, _mm_shuffle_ps(len, len, _MM_SHUFFLE(0, 0, 0, 0)));
  }

  // sqrt(sum4(a * a)).
  static inline float vectorlen(__m128 a) { return _mm_cvtss_f32(_mm_sqrt_ss(sum4(_mm_mul_ps(a, a)))); }

  // sqrt(sum4((a - b)^2)).
  static inline float euclideandistance(__m128 a, __m128 b) {
    const __m128 d = _mm_sub_ps(a, b);
    return _mm_cvtss_f32(_mm_sqrt_ss(sum4(_mm_mul_ps(d, d))));
  }

  // sum4((a - b)^2), without the root.
  static inline float euclideansqr(__m128 a, __m128 b) {
    const __m128 d = _mm_sub_ps(a, b);
    return _mm_cvtss_f32(sum4(_mm_mul_ps(d, d)));
  }

  // a x b = (a1 b2 - a2 b1, a2 b0 - a0 b2, a0 b1 - a1 b0, a3 b3 - a3 b3); lane 3 is 0 for finite input.
  static inline __m128 vectorproduct(__m128 a, __m128 b) {
    const __m128 p1 = _mm_mul_ps(_mm_shuffle_ps(a, a, _MM_SHUFFLE(3, 0, 2, 1)), _mm_shuffle_ps(b, b, _MM_SHUFFLE(3, 1, 0, 2)));
    const __m128 p2 = _mm_mul_ps(_mm_shuffle_ps(a, a, _MM_SHUFFLE(3, 1, 0, 2)), _mm_shuffle_ps(b, b, _MM_SHUFFLE(3, 0, 2, 1)));
    return _mm_sub_ps(p1, p2);
  }

  // Signed scalar triple product a . (b x c) with lane 3 of b x c forced to 0; not divided by 6.
  static inline float volume(__m128 a, __m128 b, __m128 c) {
    const __m128 bc = _mm_and_ps(vectorproduct(b, c), lowThreeLanes());
    return _mm_cvtss_f32(sum4(_mm_mul_ps(a, bc)));
  }

  // (sum4(p * row0), sum4(p * row1), sum4(p * row2), 0): lane 3 is exactly 0 whatever the input.
  static inline __m128 transform(__m128 p, const t_ssematrix3& M) {
    const float r0 = _mm_cvtss_f32(sum4(_mm_mul_ps(p, M.row0)));
    const float r1 = _mm_cvtss_f32(sum4(_mm_mul_ps(p, M.row1)));
    const float r2 = _mm_cvtss_f32(sum4(_mm_mul_ps(p, M.row2)));
    return _mm_setr_ps(r0, r1, r2, 0.0f);
  }

  // sum4 in lane 0: t = a + reverse(a) = (a0+a3, a1+a2, a2+a1, a3+a0), then t0 + t2.
  static inline __m128 sum4(__m128 a) { return qssse::simd::sumLanes(a); }

 private:
  static inline __m128 lowThreeLanes() { return _mm_castsi128_ps(_mm_setr_epi32(-1, -1, -1, 0)); }
};
