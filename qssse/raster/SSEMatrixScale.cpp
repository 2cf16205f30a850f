// Bilinear, corner-aligned resampling of CSSEMatrix: the plain loop and its SIMD form.
#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "qssse/raster/AlignedBuffer.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/vector/SimdOps.h"

void CSSEMatrix::ScaleMatrix(int newSizeX, int newSizeY) {
  if (!HasPixels() || newSizeX < 1 || newSizeY < 1) return;
  const float sx = static_cast<float>(sizeX) / static_cast<float>(newSizeX);
  const float sy = static_cast<float>(sizeY) / static_cast<float>(newSizeY);
  CSSEMatrix t;
  t.CreateNoClear(newSizeX, newSizeY);
  t.Fill(*pixel(0, 0));
  for (int j = 0; j < newSizeY; ++j) {
    const float fy = static_cast<float>(j) * sy;
    const int iy = static_cast<int>(fy);
    const float wy = fy - static_cast<float>(iy);
    for (int i = 0; i < newSizeX; ++i) {
      const float fx = static_cast<float>(i) * sx;
      const int ix = static_cast<int>(fx);
      const float wx = fx - static_cast<float>(ix);
      *t.pixel(i, j) = GetPoint(ix + 1, iy) * wx * (1 - wy) + (1 - wx) * GetPoint(ix, iy) * (1 - wy) +
                       (1 - wx) * GetPoint(ix, iy + 1) * wy + GetPoint(ix + 1, iy + 1) * wx * wy;
    }
  }
  CopyFromSSEMatrix(t);
}

// ---- ScaleMatrix_SSE -------------------------------------------------------------------------------
//
// Four target rows (one SIMD row of the result) per element. Per target column the clamped source
// columns and the weights wx, 1 - wx are tabled once, as whole vectors. Per target band the four
// lanes' source rows iy and iy + 1 are gathered once per source column into two rows of vectors
// ("upper", "lower"; all columns, which is cheaper than listing the needed ones), after which every
// target element is six aligned loads and the plain loop's products and sums in the same order, so
// the results agree bit for bit.
//
// The gather takes lane k_l of the source element holding row iy_l. The lane pattern (k_0..k_3) is one
// of 256 shuffle immediates, so it is a template argument chosen per band: when lanes 0, 1 and lanes
// 2, 3 each come from one source SIMD row (upscaling by 2, downscaling by 2) one shuffle of two loads
// builds the vector, otherwise two shuffles pair the lanes up and a third interleaves the pairs.

namespace {

using qssse::simd::f4;

struct BandRows {
  const __m128* src[4];  // source SIMD row of each lane's pixel row
  int lane[4];           // lane of that pixel row within it
};

template <int kImm>
void GatherPaired(const BandRows& r, std::size_t begin, std::size_t end, float* out) {
  const __m128 *a = r.src[0], *b = r.src[2];
  constexpr int k0 = kImm & 3, k1 = (kImm >> 2) & 3, k2 = (kImm >> 4) & 3, k3 = (kImm >> 6) & 3;
  for (std::size_t c = begin; c < end; ++c) qssse::simd::store(out + 4 * c, qssse::simd::shuffle<k0, k1, k2, k3>(a[c], b[c]));
}

template <int kImm>
void GatherSpread(const BandRows& r, std::size_t begin, std::size_t end, float* out) {
  constexpr int k0 = kImm & 3, k1 = (kImm >> 2) & 3, k2 = (kImm >> 4) & 3, k3 = (kImm >> 6) & 3;
  for (std::size_t c = begin; c < end; ++c) {
    using qssse::simd::shuffle;
    const f4 p = shuffle<k0, k0, k1, k1>(r.src[0][c], r.src[1][c]);
    const f4 q = shuffle<k2, k2, k3, k3>(r.src[2][c], r.src[3][c]);
    qssse::simd::store(out + 4 * c, shuffle<0, 2, 0, 2>(p, q));
  }
}

using GatherFn = void (*)(const BandRows&, std::size_t, std::size_t, float*);

template <std::size_t... I>
constexpr std::array<GatherFn, 256> PairedTable(std::index_sequence<I...>) {
  return {&GatherPaired<static_cast<int>(I)>...};
}
template <std::size_t... I>
constexpr std::array<GatherFn, 256> SpreadTable(std::index_sequence<I...>) {
  return {&GatherSpread<static_cast<int>(I)>...};
}
constexpr auto kPaired = PairedTable(std::make_index_sequence<256>{});
constexpr auto kSpread = SpreadTable(std::make_index_sequence<256>{});

constexpr std::size_t kGatherChunk = 256;

void Gather(const BandRows& r, std::size_t begin, std::size_t end, float* out) {
  const int imm = r.lane[0] | r.lane[1] << 2 | r.lane[2] << 4 | r.lane[3] << 6;
  const bool paired = r.src[0] == r.src[1] && r.src[2] == r.src[3];
  (paired ? kPaired : kSpread)[static_cast<std::size_t>(imm)](r, begin, end, out);
}

}  // namespace

// The SIMD resampling of src into t (already newSizeX x newSizeY, not src). Results larger than the
// caches take streaming stores: they skip reading the target's lines into the cache first and do not
// evict the source on their way out.
void CSSEMatrix::ScaleInto(const CSSEMatrix& src, CSSEMatrix& t) {
  using namespace qssse::simd;
  const int newSizeX = t.sizeX, newSizeY = t.sizeY;
  const bool stream =
      static_cast<std::size_t>(t.sseSizeY) * static_cast<std::size_t>(newSizeX) >= (std::size_t{1} << 18);
  const int sizeX = src.sizeX, sizeY = src.sizeY;
  __m128** rows = src.rows;
  const float sx = static_cast<float>(sizeX) / static_cast<float>(newSizeX);
  const float sy = static_cast<float>(sizeY) / static_cast<float>(newSizeY);

  // 1. per target column: clamped source columns and weights as vectors
  const auto columns = static_cast<std::size_t>(newSizeX);
  qssse::AlignedBuffer<int> left(columns), right(columns);
  qssse::AlignedBuffer<float> wx(4 * columns), omwx(4 * columns);
  for (int i = 0; i < newSizeX; ++i) {
    const float fx = static_cast<float>(i) * sx;
    const int ix = static_cast<int>(fx);
    const float w = fx - static_cast<float>(ix);
    store(&wx[4 * i], splat(w));
    store(&omwx[4 * i], splat(1 - w));
    left[i] = std::min(ix, sizeX - 1);
    right[i] = std::min(ix + 1, sizeX - 1);
  }
  const auto sourceColumns = static_cast<std::size_t>(sizeX);
  qssse::AlignedBuffer<float> upper(4 * sourceColumns), lower(4 * sourceColumns);

  const f4 fill = splat(*src.pixel(0, 0)), one = splat(1.0f);
  for (int g = 0; g < t.sseSizeY; ++g) {
    // 2. per lane: source rows and vertical weight; the gather
    BandRows rowA, rowB;
    alignas(16) float wyLanes[4];
    for (int l = 0; l < 4; ++l) {
      const float fy = static_cast<float>(4 * g + l) * sy;
      const int iy = static_cast<int>(fy);
      wyLanes[l] = fy - static_cast<float>(iy);
      const int ya = std::min(iy, sizeY - 1), yb = std::min(iy + 1, sizeY - 1);
      rowA.src[l] = rows[ya >> 2];
      rowA.lane[l] = ya & 3;
      rowB.src[l] = rows[yb >> 2];
      rowB.lane[l] = yb & 3;
    }
    // In chunks, so that the rows' second gather finds the source elements of the first in the cache.
    for (std::size_t k = 0; k < sourceColumns; k += kGatherChunk) {
      const std::size_t end = std::min(k + kGatherChunk, sourceColumns);
      Gather(rowA, k, end, upper.get());
      Gather(rowB, k, end, lower.get());
    }
    const f4 wy = load(wyLanes), omwy = sub(one, wy);
    // The padding lanes of the last band hold source (0, 0), as in the plain loop.
    const bool padded = 4 * g + 3 >= newSizeY;
    const f4 real = firstLanes(newSizeY - 4 * g);

    // 3. interpolate: (a wx)(1-wy) + ((1-wx) b)(1-wy) + ((1-wx) c) wy + (d wx) wy, left to right
    float* out = reinterpret_cast<float*>(t.rows[g]);
    const float *u = upper.get(), *lo = lower.get();
    for (int i = 0; i < newSizeX; ++i) {
      const f4 w = load(&wx[4 * i]), omw = load(&omwx[4 * i]);
      const std::size_t l = 4 * static_cast<std::size_t>(left[i]), r = 4 * static_cast<std::size_t>(right[i]);
      const f4 a = load(u + r), b = load(u + l), c = load(lo + l), d = load(lo + r);
      f4 v = add(add(add(mul(mul(a, w), omwy), mul(mul(omw, b), omwy)), mul(mul(omw, c), wy)), mul(mul(d, w), wy));
      if (padded) v = select(real, v, fill);
      if (stream) {
        qssse::simd::stream(out + 4 * i, v);
      } else {
        store(out + 4 * i, v);
      }
    }
  }
  if (stream) fence();
}

void CSSEMatrix::ScaleMatrix_SSE(int newSizeX, int newSizeY) {
  if (!HasPixels() || newSizeX < 1 || newSizeY < 1) return;
  CSSEMatrix t;
  t.CreateNoClear(newSizeX, newSizeY);
  ScaleInto(*this, t);
  SwapStorage(t);
}

void CSSEMatrix::ScaleMatrix_SSE(int newSizeX, int newSizeY, CSSEMatrix& target) const {
  if (&target == this) {
    target.ScaleMatrix_SSE(newSizeX, newSizeY);
    return;
  }
  if (!HasPixels() || newSizeX < 1 || newSizeY < 1) return;
  if (!target.HasPixels() || target.sizeX != newSizeX || target.sizeY != newSizeY) {
    target.CreateNoClear(newSizeX, newSizeY);
  }
  ScaleInto(*this, target);
}
