#pragma once
#include <immintrin.h>

#include "qssse/vector/SimdOps.h"

// The rasters' memory layout and keep rules, for kernels that write a raster's storage directly (the
// stamps, the polygon fills, the mesh scan conversions). Everything here is unchecked: the caller
// guarantees storage and coordinates inside it.
namespace qssse::raster {

// Float raster (CSSEMatrix::GetMatrixDataDirectly): pixel (x, y) is lane y & 3 of element x of SIMD row
// y >> 2. y may reach into the padding rows of the last SIMD row.
inline float* PixelAddress(__m128* const* rows, int x, int y) {
  return reinterpret_cast<float*>(rows[y >> 2]) + 4 * x + (y & 3);
}
inline const float* PixelAddress(const __m128* const* rows, int x, int y) {
  return reinterpret_cast<const float*>(rows[y >> 2]) + 4 * x + (y & 3);
}

// The same address for four pixels (x[l], y[l]) at once: the SIMD row in `row`, the float offset within
// it in `at`, so that pixel l is reinterpret_cast<float*>(rows[row[l]]) + at[l].
inline void PixelParts(simd::i4 x, simd::i4 y, simd::i4& row, simd::i4& at) {
  using namespace simd;
  row = shiftRightInt<2>(y);
  at = addInt(shiftLeftInt<2>(x), andInt(y, splatInt(3)));
}

// Byte raster (CSSEcharMatrix::GetMatrixDataDirectly): pixel (x, y) is byte y & 15 of element x of SIMD
// row y >> 4.
inline char* BytePixelAddress(__m128i* const* rows, int x, int y) {
  return reinterpret_cast<char*>(rows[y >> 4]) + 16 * x + (y & 15);
}

// How a written value v combines with the present value p, on one pixel and on four lanes at once (the
// lane forms give the same bits as the scalar ones lane by lane, NaN and signed zeros included).
// Overwrite stores v; Max keeps p only when p > v; Min keeps p only when v > p. So a NaN on either side
// stores v, and of two equal values (+0 and -0) the new one is kept.
struct KeepOverwrite {
  static float Keep(float, float v) { return v; }
  static __m128 Keep(__m128, __m128 v) { return v; }
};
struct KeepMax {
  static float Keep(float p, float v) { return p > v ? p : v; }
  static __m128 Keep(__m128 p, __m128 v) { return simd::max(p, v); }
};
struct KeepMin {
  static float Keep(float p, float v) { return v > p ? p : v; }
  static __m128 Keep(__m128 p, __m128 v) { return simd::min(p, v); }
};

// Combines v into pixel (x, y) by Rule.
template <class Rule>
inline void KeepAt(__m128* const* rows, int x, int y, float v) {
  float* p = PixelAddress(rows, x, y);
  *p = Rule::Keep(*p, v);
}

}  // namespace qssse::raster
