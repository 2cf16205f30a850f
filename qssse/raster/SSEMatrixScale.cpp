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
// ("upper", "lower"), after which every target element is six aligned loads and the plain loop's
// products and sums in the same order, so the results agree bit for bit.
//
// The band runs in chunks of target columns whose source columns span at most kChunk, so that a
// chunk's gathered vectors stay in the first-level cache between the gather and the interpolation.
//
// A downscale uses each source column about once, so gathering whole rows first only adds a store and
// a load per vector. Where a band's lower rows are the next lanes of its upper rows in the same source
// SIMD rows (the common case), InterpolateDirect shuffles the four vectors of each target element
// straight out of the source instead.
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
  for (std::size_t c = begin; c < end; ++c, out += 4) {
    qssse::simd::store(out, qssse::simd::shuffle<k0, k1, k2, k3>(a[c], b[c]));
  }
}

template <int kImm>
void GatherSpread(const BandRows& r, std::size_t begin, std::size_t end, float* out) {
  constexpr int k0 = kImm & 3, k1 = (kImm >> 2) & 3, k2 = (kImm >> 4) & 3, k3 = (kImm >> 6) & 3;
  for (std::size_t c = begin; c < end; ++c, out += 4) {
    using qssse::simd::shuffle;
    const f4 p = shuffle<k0, k0, k1, k1>(r.src[0][c], r.src[1][c]);
    const f4 q = shuffle<k2, k2, k3, k3>(r.src[2][c], r.src[3][c]);
    qssse::simd::store(out, shuffle<0, 2, 0, 2>(p, q));
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

// Source columns [begin, end) of the band's rows r into out[0 .. 4 (end - begin)).
GatherFn GatherFor(const BandRows& r) {
  const int imm = r.lane[0] | r.lane[1] << 2 | r.lane[2] << 4 | r.lane[3] << 6;
  const bool paired = r.src[0] == r.src[1] && r.src[2] == r.src[3];
  return (paired ? kPaired : kSpread)[static_cast<std::size_t>(imm)];
}

constexpr int kChunk = 256;  // source columns per chunk: 2 x 4 KiB of gathered vectors

// One target band: the source rows of its lanes and the vertical weights.
struct Band {
  BandRows upper, lower;
  alignas(16) float wy[4];
};

Band BandOf(__m128* const* rows, int sizeY, float sy, int g) {
  Band b;
  for (int l = 0; l < 4; ++l) {
    const float fy = static_cast<float>(4 * g + l) * sy;
    const int iy = static_cast<int>(fy);
    b.wy[l] = fy - static_cast<float>(iy);
    const int ya = std::min(iy, sizeY - 1), yb = std::min(iy + 1, sizeY - 1);
    b.upper.src[l] = rows[ya >> 2];
    b.upper.lane[l] = ya & 3;
    b.lower.src[l] = rows[yb >> 2];
    b.lower.lane[l] = yb & 3;
  }
  return b;
}

// The direct form for a band whose lower row of every lane is the next pixel row of the same source
// SIMD row (lanes kL and kL + 1; kImm packs the upper lanes, each 0..2), read where the target column
// needs it: no gathered rows in between. kPaired: lanes 0, 1 share one source SIMD row and lanes 2, 3
// another, so one shuffle of two loads builds each vector. Never the padded last band.
template <int kImm, bool kPaired, bool kStream>
void InterpolateDirect(const Band& band, const int* left, const int* right, const float* wx, const float* omwx,
                       int columns, float* out) {
  using namespace qssse::simd;
  constexpr int k0 = kImm & 3, k1 = (kImm >> 2) & 3, k2 = (kImm >> 4) & 3, k3 = (kImm >> 6) & 3;
  const __m128 *r0 = band.upper.src[0], *r1 = band.upper.src[1], *r2 = band.upper.src[2], *r3 = band.upper.src[3];
  const f4 wy = load(band.wy), omwy = sub(splat(1.0f), wy);
  for (int i = 0; i < columns; ++i) {
    const int l = left[i], r = right[i];
    f4 a, b, c, d;
    if constexpr (kPaired) {
      a = shuffle<k0, k1, k2, k3>(r0[r], r2[r]);
      b = shuffle<k0, k1, k2, k3>(r0[l], r2[l]);
      c = shuffle<k0 + 1, k1 + 1, k2 + 1, k3 + 1>(r0[l], r2[l]);
      d = shuffle<k0 + 1, k1 + 1, k2 + 1, k3 + 1>(r0[r], r2[r]);
    } else {
      const auto lanes = [](const __m128* p, const __m128* q, const __m128* s, const __m128* t, int x, auto up) {
        constexpr int u = decltype(up)::value;
        const f4 pq = shuffle<k0 + u, k0 + u, k1 + u, k1 + u>(p[x], q[x]);
        const f4 st = shuffle<k2 + u, k2 + u, k3 + u, k3 + u>(s[x], t[x]);
        return shuffle<0, 2, 0, 2>(pq, st);
      };
      a = lanes(r0, r1, r2, r3, r, std::integral_constant<int, 0>{});
      b = lanes(r0, r1, r2, r3, l, std::integral_constant<int, 0>{});
      c = lanes(r0, r1, r2, r3, l, std::integral_constant<int, 1>{});
      d = lanes(r0, r1, r2, r3, r, std::integral_constant<int, 1>{});
    }
    const f4 w = load(wx + 4 * i), omw = load(omwx + 4 * i);
    const f4 v = add(add(add(mul(mul(a, w), omwy), mul(mul(omw, b), omwy)), mul(mul(omw, c), wy)), mul(mul(d, w), wy));
    if constexpr (kStream) {
      stream(out + 4 * i, v);
    } else {
      store(out + 4 * i, v);
    }
  }
}

using DirectFn = void (*)(const Band&, const int*, const int*, const float*, const float*, int, float*);

// Indexed by kImm, kPaired, kStream; the entries whose lanes exceed 2 are null and never chosen.
template <std::size_t... I>
constexpr std::array<DirectFn, 1024> DirectTable(std::index_sequence<I...>) {
  constexpr auto entry = [](auto index) -> DirectFn {
    constexpr std::size_t k = decltype(index)::value;
    constexpr int imm = static_cast<int>(k & 255);
    if constexpr ((imm & 3) == 3 || (imm >> 2 & 3) == 3 || (imm >> 4 & 3) == 3 || (imm >> 6 & 3) == 3) {
      return nullptr;
    } else {
      return &InterpolateDirect<imm, (k >> 8 & 1) != 0, (k >> 9 & 1) != 0>;
    }
  };
  return {entry(std::integral_constant<std::size_t, I>{})...};
}
constexpr auto kDirect = DirectTable(std::make_index_sequence<1024>{});

// The direct form for this band, or null when its lower rows are not the upper rows' next lanes.
DirectFn DirectFor(const Band& b, bool stream) {
  int imm = 0;
  for (int l = 0; l < 4; ++l) {
    if (b.lower.src[l] != b.upper.src[l] || b.lower.lane[l] != b.upper.lane[l] + 1) return nullptr;
    imm |= b.upper.lane[l] << (2 * l);
  }
  const bool paired = b.upper.src[0] == b.upper.src[1] && b.upper.src[2] == b.upper.src[3];
  return kDirect[static_cast<std::size_t>(imm) | (paired ? 256u : 0u) | (stream ? 512u : 0u)];
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
  const float sx = static_cast<float>(sizeX) / static_cast<float>(newSizeX);
  const float sy = static_cast<float>(sizeY) / static_cast<float>(newSizeY);

  // 1. per target column: clamped source columns and weights as vectors; the chunks of columns
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
  // Chunk k covers target columns chunkStart[k] .. chunkStart[k + 1] - 1; both tables rise with i.
  qssse::AlignedBuffer<int> chunkStart(columns + 1);
  std::size_t chunks = 0;
  chunkStart[0] = 0;
  for (int i = 1; i < newSizeX; ++i) {
    if (right[i] - left[chunkStart[chunks]] >= kChunk) chunkStart[++chunks] = i;
  }
  chunkStart[++chunks] = newSizeX;
  qssse::AlignedBuffer<float> upper(4 * kChunk), lower(4 * kChunk);

  const f4 fill = splat(*src.pixel(0, 0)), one = splat(1.0f);
  for (int g = 0; g < t.sseSizeY; ++g) {
    const Band band = BandOf(src.rows, sizeY, sy, g);
    float* out = reinterpret_cast<float*>(t.rows[g]);
    // A downscale reads each source column about once: straight from the source where the lanes allow.
    const DirectFn direct = newSizeX <= sizeX && 4 * g + 3 < newSizeY ? DirectFor(band, stream) : nullptr;
    if (direct != nullptr) {
      direct(band, left.get(), right.get(), wx.get(), omwx.get(), newSizeX, out);
      continue;
    }
    const GatherFn gatherUpper = GatherFor(band.upper), gatherLower = GatherFor(band.lower);
    const f4 wy = load(band.wy), omwy = sub(one, wy);
    // The padding lanes of the last band hold source (0, 0), as in the plain loop.
    const bool padded = 4 * g + 3 >= newSizeY;
    const f4 real = firstLanes(newSizeY - 4 * g);
    for (std::size_t k = 0; k < chunks; ++k) {
      // 2. the chunk's source columns of the band's rows
      const int first = chunkStart[k], last = chunkStart[k + 1];
      const int base = left[first];
      gatherUpper(band.upper, static_cast<std::size_t>(base), static_cast<std::size_t>(right[last - 1] + 1), upper.get());
      gatherLower(band.lower, static_cast<std::size_t>(base), static_cast<std::size_t>(right[last - 1] + 1), lower.get());
      // 3. interpolate: (a wx)(1-wy) + ((1-wx) b)(1-wy) + ((1-wx) c) wy + (d wx) wy, left to right
      const float *u = upper.get(), *lo = lower.get();
      for (int i = first; i < last; ++i) {
        const f4 w = load(&wx[4 * i]), omw = load(&omwx[4 * i]);
        const std::size_t l = 4 * static_cast<std::size_t>(left[i] - base), r = 4 * static_cast<std::size_t>(right[i] - base);
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
