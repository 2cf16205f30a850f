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

inline f4 sqrt(f4 a) { return _mm_sqrt_ps(a); }
inline f4 sqrtLane0(f4 a) { return _mm_sqrt_ss(a); }  // lane 0's root, lanes 1-3 of a unchanged
inline f4 abs(f4 a) { return _mm_andnot_ps(_mm_set1_ps(-0.0f), a); }  // the sign bit cleared, NaN too
inline f4 negate(f4 a) { return _mm_xor_ps(_mm_set1_ps(-0.0f), a); }  // the sign bit flipped, NaN too

inline f4 and_(f4 a, f4 b) { return _mm_and_ps(a, b); }
inline f4 or_(f4 a, f4 b) { return _mm_or_ps(a, b); }
inline f4 andnot(f4 mask, f4 b) { return _mm_andnot_ps(mask, b); }  // ~mask & b

// A mask with the given lanes true (all-ones) and the others false.
inline f4 laneMask(bool l0, bool l1, bool l2, bool l3) {
  return _mm_castsi128_ps(_mm_setr_epi32(l0 ? -1 : 0, l1 ? -1 : 0, l2 ? -1 : 0, l3 ? -1 : 0));
}
// Lanes 0 .. n-1 true (none for n <= 0, all for n >= 4).
inline f4 firstLanes(int n) { return laneMask(n > 0, n > 1, n > 2, n > 3); }

// Lane-wise mask ? a : b (mask lanes all-ones or all-zero).
inline f4 select(f4 mask, f4 a, f4 b) { return _mm_or_ps(_mm_and_ps(mask, a), _mm_andnot_ps(mask, b)); }

// Bit i set when lane i of a mask is true.
inline int movemask(f4 mask) { return _mm_movemask_ps(mask); }
inline bool all(f4 mask) { return _mm_movemask_ps(mask) == 0xF; }
inline bool any(f4 mask) { return _mm_movemask_ps(mask) != 0; }

inline float lane0(f4 v) { return _mm_cvtss_f32(v); }
template <int L>
inline float lane(f4 v) {
  static_assert(L >= 0 && L < 4, "a lane of four");
  return _mm_cvtss_f32(_mm_shuffle_ps(v, v, _MM_SHUFFLE(L, L, L, L)));
}

// ---- lane movement ----
// In the raster layout the four lanes of a value are four pixel rows, lane 0 the top one; lane order is
// row order.
//
// (a[I0], a[I1], b[I2], b[I3]): two lanes of a, then two of b.
template <int I0, int I1, int I2, int I3>
inline f4 shuffle(f4 a, f4 b) {
  static_assert(I0 >= 0 && I0 < 4 && I1 >= 0 && I1 < 4 && I2 >= 0 && I2 < 4 && I3 >= 0 && I3 < 4, "lanes");
  return _mm_shuffle_ps(a, b, _MM_SHUFFLE(I3, I2, I1, I0));
}
// Every lane is lane L of a.
template <int L>
inline f4 broadcast(f4 a) {
  return shuffle<L, L, L, L>(a, a);
}
// (in[3], a0, a1, a2): the lanes move up one place, lane 3 of a leaves and lane 3 of `in` enters at 0 (in
// the raster: the rows move down one, the row above entering).
inline f4 shiftLanesUp(f4 a, f4 in) { return _mm_move_ss(shuffle<3, 0, 1, 2>(a, a), broadcast<3>(in)); }
// (a1, a2, a3, in[0]): the lanes move down one place, lane 0 of a leaves and lane 0 of `in` enters at 3
// (in the raster: the rows move up one, the row below entering).
inline f4 shiftLanesDown(f4 a, f4 in) {
  const f4 t = _mm_move_ss(a, in);
  return shuffle<1, 2, 3, 0>(t, t);
}

// (a0, b0, a1, b1): the low lanes of a and b interleaved.
inline f4 interleaveLow(f4 a, f4 b) { return _mm_unpacklo_ps(a, b); }

// ---- horizontal reductions, in the library's fixed lane order, result in lane 0 ----
// (a0 + a3) + (a2 + a1).
inline f4 sumLanes(f4 a) {
  const f4 t = _mm_add_ps(a, shuffle<3, 2, 1, 0>(a, a));
  return _mm_add_ss(t, _mm_movehl_ps(t, t));
}
// min(min(a1, a3), min(a0, a2)) with min's NaN rule (the second operand wins), so a NaN lane may or may
// not show, depending on its position.
inline f4 minLanes(f4 a) {
  const f4 m = _mm_min_ps(_mm_unpacklo_ps(a, a), _mm_unpackhi_ps(a, a));
  return _mm_min_ss(broadcast<3>(m), m);
}
// max(max(a1, a3), max(a0, a2)), in the same order.
inline f4 maxLanes(f4 a) {
  const f4 m = _mm_max_ps(_mm_unpacklo_ps(a, a), _mm_unpackhi_ps(a, a));
  return _mm_max_ss(broadcast<3>(m), m);
}

// ---- stores that bypass the caches ----
// For results larger than the caches: they do not evict the source on their way out. p must be 16-byte
// aligned; call fence() before another thread or a plain load reads them.
inline void stream(float* p, f4 v) { _mm_stream_ps(p, v); }
inline void fence() { _mm_sfence(); }

// Lanes 0 and 1 truncated toward zero; NaN and values beyond int give INT_MIN.
inline void truncLanes01(f4 v, int& l0, int& l1) {
  const __m128i i = _mm_cvttps_epi32(v);
  l0 = _mm_cvtsi128_si32(i);
  l1 = _mm_cvtsi128_si32(_mm_shuffle_epi32(i, 1));
}

// ---- four 32-bit integers ----
// For the integer side of kernels that turn float coordinates into pixels; lane order as for f4.
using i4 = __m128i;
inline i4 splatInt(int v) { return _mm_set1_epi32(v); }
inline void storeInt(int* p, i4 v) { _mm_store_si128(reinterpret_cast<__m128i*>(p), v); }  // 16-byte aligned
// Every lane truncated toward zero; NaN and values beyond int give INT_MIN.
inline i4 truncLanes(f4 v) { return _mm_cvttps_epi32(v); }
inline i4 addInt(i4 a, i4 b) { return _mm_add_epi32(a, b); }  // wraps
inline i4 subInt(i4 a, i4 b) { return _mm_sub_epi32(a, b); }  // wraps
inline i4 andInt(i4 a, i4 b) { return _mm_and_si128(a, b); }
inline i4 gtInt(i4 a, i4 b) { return _mm_cmpgt_epi32(a, b); }  // all ones where a > b (signed)
inline i4 ltInt(i4 a, i4 b) { return _mm_cmplt_epi32(a, b); }  // all ones where a < b (signed)
template <int N>
inline i4 shiftLeftInt(i4 a) {
  return _mm_slli_epi32(a, N);
}
template <int N>
inline i4 shiftRightInt(i4 a) {  // arithmetic: the sign is copied in
  return _mm_srai_epi32(a, N);
}
// Bit l set where lane l of a is negative (all ones, for a mask).
inline int movemaskInt(i4 a) { return _mm_movemask_ps(_mm_castsi128_ps(a)); }

// The integer nearest to v in the current rounding mode (ties to even unless the caller changed it);
// v must lie within +-2^63.
inline long long RoundToInt64(double v) { return _mm_cvtsd_si64(_mm_set_sd(v)); }

}  // namespace qssse::simd
