#pragma once
#include <immintrin.h>

// The thin SIMD value layer every kernel of the library uses instead of raw intrinsics.
// All helpers work on whole __m128 values (SSE/SSE2 only) and are branch-free. Min and max follow the
// SSE rule: when either operand is NaN the SECOND operand is returned; kernels rely on that order.
namespace qssse::simd {

using f4 = __m128;

inline f4 load(const float* p) { return _mm_load_ps(p); }          // p must be 16-byte aligned
inline void store(float* p, f4 v) { _mm_store_ps(p, v); }          // p must be 16-byte aligned
inline f4 loadu(const float* p) { return _mm_loadu_ps(p); }
inline void storeu(float* p, f4 v) { _mm_storeu_ps(p, v); }
inline f4 splat(float v) { return _mm_set1_ps(v); }
inline f4 zero() { return _mm_setzero_ps(); }
inline f4 lanes(float a, float b, float c, float d) { return _mm_setr_ps(a, b, c, d); }

inline f4 add(f4 a, f4 b) { return _mm_add_ps(a, b); }
inline f4 sub(f4 a, f4 b) { return _mm_sub_ps(a, b); }
inline f4 mul(f4 a, f4 b) { return _mm_mul_ps(a, b); }
inline f4 div(f4 a, f4 b) { return _mm_div_ps(a, b); }
inline f4 min(f4 a, f4 b) { return _mm_min_ps(a, b); }  // lane: a < b ? a : b
inline f4 max(f4 a, f4 b) { return _mm_max_ps(a, b); }  // lane: a > b ? a : b

// Comparisons give all-ones lanes where true, all-zero lanes where false (NaN compares false).
inline f4 lt(f4 a, f4 b) { return _mm_cmplt_ps(a, b); }
inline f4 le(f4 a, f4 b) { return _mm_cmple_ps(a, b); }
inline f4 gt(f4 a, f4 b) { return _mm_cmpgt_ps(a, b); }
inline f4 ge(f4 a, f4 b) { return _mm_cmpge_ps(a, b); }
inline f4 eq(f4 a, f4 b) { return _mm_cmpeq_ps(a, b); }
inline f4 neq(f4 a, f4 b) { return _mm_cmpneq_ps(a, b); }  // true also where either lane is NaN
inline f4 isnan(f4 a) { return _mm_cmpunord_ps(a, a); }

inline f4 and_(f4 a, f4 b) { return _mm_and_ps(a, b); }
inline f4 or_(f4 a, f4 b) { return _mm_or_ps(a, b); }
inline f4 andnot(f4 mask, f4 b) { return _mm_andnot_ps(mask, b); }  // ~mask & b

// Lane-wise mask ? a : b (mask lanes all-ones or all-zero).
inline f4 select(f4 mask, f4 a, f4 b) { return _mm_or_ps(_mm_and_ps(mask, a), _mm_andnot_ps(mask, b)); }

// Bit i set when lane i of a mask is true.
inline int movemask(f4 mask) { return _mm_movemask_ps(mask); }
inline bool all(f4 mask) { return _mm_movemask_ps(mask) == 0xF; }
inline bool any(f4 mask) { return _mm_movemask_ps(mask) != 0; }

inline float lane0(f4 v) { return _mm_cvtss_f32(v); }

// The integer nearest to v in the current rounding mode (ties to even unless the caller changed it);
// v must lie within +-2^63.
inline long long RoundToInt64(double v) { return _mm_cvtsd_si64(_mm_set_sd(v)); }

}  // namespace qssse::simd
