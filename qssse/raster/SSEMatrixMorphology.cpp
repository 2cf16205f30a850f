// Mask operations of CSSEMatrix: value replacement, frame reset, the 3-4 chamfer distance, disc erosion
// and dilation, and Zhang-Suen thinning.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "qssse/raster/AlignedBuffer.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/vector/SimdOps.h"

using namespace qssse::simd;

void CSSEMatrix::ReplaceValueWithValue(float oldValue, float newValue) {
  ReplaceValueWithValue(oldValue, newValue, 0.002f);
}

void CSSEMatrix::ReplaceValueWithValue(float oldValue, float newValue, float tolerance) {
  const f4 o = splat(oldValue), n = splat(newValue), lo = splat(-tolerance), hi = splat(tolerance);
  ForEachField([=](__m128* block, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      const f4 d = sub(o, block[i]);
      block[i] = select(and_(gt(d, lo), lt(d, hi)), n, block[i]);
    }
  });
}

void CSSEMatrix::RemoveFrameArtefacts(int nx, int ny, float value) {
  if (rows == nullptr) return;
  const f4 v = splat(value);
  // 64-bit bounds: no nx or ny can overflow them.
  const std::int64_t leftEnd = std::min<std::int64_t>(nx, sizeX);
  const std::int64_t rightBegin = std::max<std::int64_t>(std::int64_t{sizeX} - nx - 1, 0);
  for (int g = 0; g < sseSizeY; ++g) {
    __m128* row = rows[g];
    for (std::int64_t x = 0; x < leftEnd; ++x) row[x] = v;
    // nx + 1 columns on the right against nx on the left: deliberate, callers' frames rely on it.
    for (std::int64_t x = rightBegin; x < sizeX; ++x) row[x] = v;
  }
  const std::int64_t bands = ny >> 2;
  const std::int64_t topEnd = std::min<std::int64_t>(bands, sseSizeY);
  // Again one SIMD row more at the bottom, which also covers the padding row.
  const std::int64_t bottomBegin = std::max<std::int64_t>(sseSizeY - bands - 1, 0);
  for (std::int64_t g = 0; g < topEnd; ++g) std::fill(rows[g], rows[g] + sseSizeX, v);
  for (std::int64_t g = bottomBegin; g < sseSizeY; ++g) std::fill(rows[g], rows[g] + sseSizeX, v);
}

// ---- Chamfer --------------------------------------------------------------------------------------
//
// The plain passes visit (x, y) with y outer and x inner. The SIMD passes visit four pixel rows (one
// SIMD row, a "band") per element, bands in pass order and columns in pass order within a band, and
// reproduce the plain order's reads exactly:
//  - neighbours already visited by the plain order are read final; the diagonal neighbour in the row
//    not yet visited ((x-1, y+1) forward, (x+1, y-1) backward) is read as it was before the pass, which
//    for the lanes of the same band means the element saved before it was overwritten;
//  - the in-band neighbour along y is a serial chain over the four lanes, resolved by four rounds of
//    shift-and-min (each round finishes one more lane; the extra candidates earlier rounds offer are
//    never smaller than the final ones, so the minima agree).
// A candidate c replaces the running minimum m only when c < m, so NaN pixels keep NaN and a NaN
// neighbour offers nothing; equal candidates are equal values (no -0 survives the replacement and the
// pass creates none), so the order in which candidates are taken does not matter.
//
// One element depends on its left neighbour through about thirty cycles of adds, shuffles and minima,
// so a single band is latency bound. Bands whose four lanes are all inside the relaxed rows run as a
// wavefront of kWave bands: band g + i works one column behind band g + i - 1, which is all it needs
// of it (the upper neighbours are final one step earlier, and the lower-left element that band
// g + i - 1 reads is still the one from before the pass, since band g + i overwrites it later in the
// same step). The independent chains of the wavefront overlap in the pipeline. The first band and
// the last ones keep the masked single-band loop.

namespace {

inline f4 Relax(f4 candidate, f4 m) { return min(candidate, m); }  // candidate < m ? candidate : m

// Lanes of band g whose pixel rows lie in [yLo, yHi].
inline f4 LaneMask(int g, int yLo, int yHi) {
  const int y = 4 * g;
  return laneMask(y >= yLo && y <= yHi, y + 1 >= yLo && y + 1 <= yHi, y + 2 >= yLo && y + 2 <= yHi,
                  y + 3 >= yLo && y + 3 <= yHi);
}

constexpr int kWave = 4;

struct ChamferConstants {
  f4 three = splat(3.0f), four = splat(4.0f);
};

// One element of a pass. "Done" is the side the pass has already visited (the band above and the
// element to the left going forward; below and to the right going backward), "ahead" the other: the
// done neighbours are read final, the diagonal one ahead as it was before the pass (prevOrig and its
// neighbour aheadDiagonal). Then the serial chain along y from the done band's nearest pixel
// (doneHere), four rounds of shift-and-min. With kMasked, lanes outside mask keep cur.
template <bool kForward, bool kMasked>
inline f4 RelaxElement(const ChamferConstants& k, f4 cur, f4 prevFinal, f4 prevOrig, f4 doneDiagonal,
                       f4 doneHere, f4 aheadDiagonal, f4 mask) {
  // Lanes moved one row away from the done side, the done band's nearest lane entering; and the reverse.
  const auto fromDone = [](f4 v, f4 in) { return kForward ? shiftLanesUp(v, in) : shiftLanesDown(v, in); };
  const auto fromAhead = [](f4 v, f4 in) { return kForward ? shiftLanesDown(v, in) : shiftLanesUp(v, in); };
  f4 m = Relax(add(prevFinal, k.three), cur);
  m = Relax(add(fromDone(prevFinal, doneDiagonal), k.four), m);
  m = Relax(add(fromAhead(prevOrig, aheadDiagonal), k.four), m);
  if (kMasked) m = select(mask, m, cur);
  for (int round = 0; round < 4; ++round) {
    const f4 relaxed = Relax(add(fromDone(m, doneHere), k.three), m);
    m = kMasked ? select(mask, relaxed, m) : relaxed;
  }
  return m;
}

// The relaxation of kBands bands in one pass, as a wavefront: forward, band i of the run is rows[g + i]
// and handles column 1 + s - i at step s; backward, band i is rows[g - i] and handles column
// sizeX - 2 - s + i. Within a step the bands go in run order, so each reads its neighbour band ahead
// of that band's write. done and ahead are the rows beyond the run on either side; a band at the
// border passes itself there, masked out of every lane that would read it.
template <bool kForward, int kBands, bool kMasked>
void RelaxBands(__m128** rows, int g, const __m128* done, const __m128* ahead, int sizeX,
                const ChamferConstants& k, f4 mask) {
  __m128* row[kBands];
  f4 prevFinal[kBands], prevOrig[kBands];
  const int dir = kForward ? 1 : -1;
  const int first = kForward ? 1 : sizeX - 2;
  for (int i = 0; i < kBands; ++i) {
    row[i] = rows[g + dir * i];
    prevFinal[i] = prevOrig[i] = row[i][first - dir];
  }
  const auto element = [&](int i, int x) {
    const __m128* before = i == 0 ? done : row[i - 1];
    const __m128* after = i == kBands - 1 ? ahead : row[i + 1];
    const f4 cur = row[i][x];
    const f4 m = RelaxElement<kForward, kMasked>(k, cur, prevFinal[i], prevOrig[i], before[x - dir],
                                                 before[x], after[x - dir], mask);
    row[i][x] = m;
    prevOrig[i] = cur;
    prevFinal[i] = m;
  };
  const int columns = sizeX - 2, steps = columns + kBands - 1;
  for (int s = 0; s < steps; ++s) {
    if (s >= kBands - 1 && s < columns) {
      for (int i = 0; i < kBands; ++i) element(i, first + dir * (s - i));
    } else {
      for (int i = 0; i < kBands; ++i) {
        if (s - i >= 0 && s - i < columns) element(i, first + dir * (s - i));
      }
    }
  }
}

// One pass over the bands holding rows 1 .. sizeY - 2: the bands whose four rows all lie there as
// wavefronts of up to kWave bands, the first and the last ones alone with a lane mask.
template <bool kForward>
void ChamferPass(__m128** rows, int sizeX, int sizeY, int sseSizeY, const ChamferConstants& k) {
  const int yLo = 1, yHi = sizeY - 2, gHi = yHi >> 2;
  // Bands 1 .. cleanHi have all four rows in [yLo, yHi].
  const int cleanHi = sizeY >= 5 ? (sizeY - 5) >> 2 : 0;
  const int dir = kForward ? 1 : -1;
  const auto masked = [&](int g) {
    const __m128* done = g - dir >= 0 && g - dir < sseSizeY ? rows[g - dir] : rows[g];
    const __m128* ahead = g + dir >= 0 && g + dir < sseSizeY ? rows[g + dir] : rows[g];
    RelaxBands<kForward, 1, true>(rows, g, done, ahead, sizeX, k, LaneMask(g, yLo, yHi));
  };
  const auto wave = [&](int g, int bands) {
    const __m128* done = rows[g - dir];
    const __m128* ahead = rows[g + dir * bands];
    const f4 unused = zero();
    switch (bands) {
      case 1:
        RelaxBands<kForward, 1, false>(rows, g, done, ahead, sizeX, k, unused);
        break;
      case 2:
        RelaxBands<kForward, 2, false>(rows, g, done, ahead, sizeX, k, unused);
        break;
      case 3:
        RelaxBands<kForward, 3, false>(rows, g, done, ahead, sizeX, k, unused);
        break;
      default:
        RelaxBands<kForward, kWave, false>(rows, g, done, ahead, sizeX, k, unused);
        break;
    }
  };
  const int lastMasked = std::max(cleanHi + 1, 1);
  if (kForward) {
    masked(0);
    for (int g = 1; g <= cleanHi; g += kWave) wave(g, std::min(kWave, cleanHi - g + 1));
    for (int g = lastMasked; g <= gHi; ++g) masked(g);
  } else {
    for (int g = gHi; g >= lastMasked; --g) masked(g);
    for (int g = cleanHi; g >= 1; g -= kWave) wave(g, std::min(kWave, g));
    masked(0);
  }
}

}  // namespace

void CSSEMatrix::Chamfer() {
  if (rows == nullptr) return;
  // 1. distances: background to the far distance, then objects to 0 (both replacements in one sweep)
  const f4 far = splat(99999.9f), zeroV = zero(), one = splat(1.0f);
  const f4 lo = splat(-0.002f), hi = splat(0.002f);
  ForEachField([=](__m128* block, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      const f4 d0 = sub(zeroV, block[i]);
      const f4 v = select(and_(gt(d0, lo), lt(d0, hi)), far, block[i]);
      const f4 d1 = sub(one, v);
      block[i] = select(and_(gt(d1, lo), lt(d1, hi)), zeroV, v);
    }
  });
  if (sizeX >= 3 && sizeY >= 3) {
    const ChamferConstants k;
    // 2. forward and 3. backward relaxation
    ChamferPass<true>(rows, sizeX, sizeY, sseSizeY, k);
    ChamferPass<false>(rows, sizeX, sizeY, sseSizeY, k);
  }
  // 4. the frame
  RemoveFrameArtefacts(4, 4, 0.0f);
}

// ---- Errode / Dilate ------------------------------------------------------------------------------
//
// A pixel is eroded when some background pixel of the rectangle lies in its disc. Instead of searching
// the disc per pixel, the search is split along the axes: vd(x, y) is the distance from (x, y) to the
// nearest background pixel of column x (within the rectangle), and the disc holds a background pixel
// exactly when vd(x + dx, y) <= h(dx) for some column offset dx, where h(dx) is the disc's vertical
// reach at dx (the largest h <= R with dx^2 + h^2 <= R2). That is 2R+1 comparisons per pixel on a
// row-major array instead of O(R^2) clamped reads.
//
// The distances are bytes when every reach is below 255 (the usual radii; 255 then stands for "none or
// farther", which no reach matches) and 16-bit words otherwise, so one SSE compare tests 16, resp. 8,
// pixels. The matrix side works four pixel rows at a time: the background flags of a band come from
// four compares and a 4x4 transpose of the masks, and the hits of its four rows go back the same way.

namespace {

// Byte i of kNibbleBytes[b] is bit i of b: four flags stored in one go.
constexpr std::uint32_t NibbleBytes(int b) {
  return static_cast<std::uint32_t>((b & 1) | (b >> 1 & 1) << 8 | (b >> 2 & 1) << 16 | (b >> 3 & 1) << 24);
}
constexpr std::uint32_t kNibbleBytes[16] = {
    NibbleBytes(0),  NibbleBytes(1),  NibbleBytes(2),  NibbleBytes(3), NibbleBytes(4),  NibbleBytes(5),
    NibbleBytes(6),  NibbleBytes(7),  NibbleBytes(8),  NibbleBytes(9), NibbleBytes(10), NibbleBytes(11),
    NibbleBytes(12), NibbleBytes(13), NibbleBytes(14), NibbleBytes(15)};

// flags[l][x] = 1 where pixel row l of the band's element x equals bg (never for a NaN bg), for
// x = 0 .. w-1: four elements at a time as four compares and a 4x4 transpose of the masks. codes[x]
// keeps the element's lanes equal to bg (low four bits) and those that also have bg's bits (high four
// bits; they differ only for the zero of the other sign), so that the write-back needs no second read.
void BandFlags(const __m128* band, int w, float bg, std::uint8_t* const flags[4], std::uint8_t* codes) {
  const f4 b = splat(bg);
  const __m128i bits = _mm_castps_si128(b);
  auto code = [&](f4 v, f4 same) {
    return static_cast<std::uint8_t>(
        movemask(same) | movemask(_mm_castsi128_ps(_mm_cmpeq_epi32(_mm_castps_si128(v), bits))) << 4);
  };
  int x = 0;
  for (; x + 4 <= w; x += 4) {
    const f4 v0 = band[x], v1 = band[x + 1], v2 = band[x + 2], v3 = band[x + 3];
    f4 c0 = eq(v0, b), c1 = eq(v1, b), c2 = eq(v2, b), c3 = eq(v3, b);
    codes[x] = code(v0, c0);
    codes[x + 1] = code(v1, c1);
    codes[x + 2] = code(v2, c2);
    codes[x + 3] = code(v3, c3);
    _MM_TRANSPOSE4_PS(c0, c1, c2, c3);
    const f4 rowMask[4] = {c0, c1, c2, c3};
    for (int l = 0; l < 4; ++l) std::memcpy(flags[l] + x, &kNibbleBytes[movemask(rowMask[l])], 4);
  }
  for (; x < w; ++x) {
    const f4 same = eq(band[x], b);
    codes[x] = code(band[x], same);
    for (int l = 0; l < 4; ++l) flags[l][x] = static_cast<std::uint8_t>(movemask(same) >> l & 1);
  }
}

// Lane l of kLaneMasks[b] is all ones when bit l of b is set.
struct LaneMaskTable {
  alignas(16) std::uint32_t m[16][4];
  constexpr LaneMaskTable() : m{} {
    for (int b = 0; b < 16; ++b)
      for (int l = 0; l < 4; ++l) m[b][l] = (b >> l & 1) ? 0xFFFFFFFFu : 0u;
  }
};
constexpr LaneMaskTable kLaneMasks;

inline f4 LanesOf(int bits) { return _mm_load_ps(reinterpret_cast<const float*>(kLaneMasks.m[bits])); }

// The SSE2 operations on vectors of distances D (16 bytes or 8 words).
template <class D>
struct DistanceOps;
template <>
struct DistanceOps<std::uint8_t> {
  // all ones where a <= b (unsigned): a - b saturates to 0 exactly then
  static __m128i le(__m128i a, __m128i b) { return _mm_cmpeq_epi8(_mm_subs_epu8(a, b), _mm_setzero_si128()); }
  static __m128i min(__m128i a, __m128i b) { return _mm_min_epu8(a, b); }
  // four hit masks of one row, widened to the four 32-bit lanes of columns x .. x+3
  static __m128i widen4(const std::uint8_t* h) {
    std::int32_t v;
    std::memcpy(&v, h, 4);
    const __m128i b = _mm_cvtsi32_si128(v);
    const __m128i w16 = _mm_unpacklo_epi8(b, b);
    return _mm_unpacklo_epi16(w16, w16);
  }
};
template <>
struct DistanceOps<std::uint16_t> {
  static __m128i le(__m128i a, __m128i b) {
    return _mm_cmpeq_epi16(_mm_subs_epu16(a, b), _mm_setzero_si128());
  }
  static __m128i min(__m128i a, __m128i b) {
    return _mm_sub_epi16(a, _mm_subs_epu16(a, b));
  }  // SSE2 has no pminuw
  static __m128i widen4(const std::uint16_t* h) {
    const __m128i w16 = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(h));
    return _mm_unpacklo_epi16(w16, w16);
  }
};

// Element x of the band: lanes in `rect` that differ from bg (a NaN bg differs from all) become bg
// where hits[lane][x] is set (all ones), else fg; other lanes stay. A band whose four lanes are all in
// the rectangle is rebuilt from the codes of BandFlags and not read again (with streaming stores when
// `stream`): equal lanes get bg back, or the other zero where that was stored.
template <class D>
void WriteBand(__m128* band, int w, f4 rect, bool whole, bool stream, const std::uint8_t* codes, float bg,
               float fg, const D* const hits[4]) {
  const f4 b = splat(bg), f = splat(fg), otherZero = splat(-bg);
  auto write = [&](int x, f4 hit) {
    const f4 binary = select(hit, b, f);
    if (whole) {
      const int c = codes[x];
      const f4 v = select(LanesOf(c & 15), select(LanesOf(c >> 4), b, otherZero), binary);
      if (stream) {
        _mm_stream_ps(reinterpret_cast<float*>(band + x), v);
      } else {
        band[x] = v;
      }
    } else {
      const f4 v = band[x];
      band[x] = select(and_(_mm_cmpneq_ps(v, b), rect), binary, v);
    }
  };
  int x = 0;
  for (; x + 4 <= w; x += 4) {
    f4 c0 = _mm_castsi128_ps(DistanceOps<D>::widen4(hits[0] + x));
    f4 c1 = _mm_castsi128_ps(DistanceOps<D>::widen4(hits[1] + x));
    f4 c2 = _mm_castsi128_ps(DistanceOps<D>::widen4(hits[2] + x));
    f4 c3 = _mm_castsi128_ps(DistanceOps<D>::widen4(hits[3] + x));
    _MM_TRANSPOSE4_PS(c0, c1, c2, c3);
    write(x, c0);
    write(x + 1, c1);
    write(x + 2, c2);
    write(x + 3, c3);
  }
  for (; x < w; ++x) {
    auto lane = [&](int l) { return hits[l][x] ? -1 : 0; };
    write(x, _mm_castsi128_ps(_mm_setr_epi32(lane(0), lane(1), lane(2), lane(3))));
  }
}

// Largest h >= 0 with h * h <= v (v >= 0).
std::int64_t ISqrt(std::int64_t v) {
  std::int64_t h = static_cast<std::int64_t>(std::sqrt(static_cast<double>(v)));
  while (h > 0 && h * h > v) --h;
  while ((h + 1) * (h + 1) <= v) ++h;
  return h;
}

// The erosion of the rectangle (x0, y0) + w x h of rows, with R = r and R2 = r2 (r <= max(w, h)).
//
// It runs in strips of bands so that the distances stay in the caches. The downward distances carry
// over from one strip to the next (the rows above a strip are already rewritten, so they cannot be
// read again); the upward ones are computed from the strip's rows and M = min(R, h - 1) rows below,
// the largest reach: a background pixel farther down than that is out of every reach anyway.
template <class D>
void ErrodeRect(__m128** rows, int x0, int y0, int w, int h, std::int64_t r, std::int64_t r2, float bg,
                float fg) {
  using Ops = DistanceOps<D>;
  constexpr D kNone = static_cast<D>(~D{0});  // no background, or one farther than any reach
  constexpr int kLanes = 16 / sizeof(D);
  const auto uw = static_cast<std::size_t>(w);
  const int y1 = y0 + h - 1, gFirst = y0 >> 2, gLast = y1 >> 2;
  const auto margin = static_cast<int>(std::min<std::int64_t>(r, h - 1));
  const int stripBands = std::max(16, 2 * margin);
  const int maxRows = std::min(4 * stripBands + margin, h);

  // 1. the column offsets that can reach a pixel of the rectangle (every |dx| <= R lies in the disc,
  //    as R * R <= R2) and the vertical reach at each; the reach does not grow with |dx|, so the test
  //    "vd(x + dx) <= reach(|dx|) for some dx" is the same as "the minimum of vd over |dx| <= D is at
  //    most reach(D)" checked only at the D where the reach is about to drop
  const std::int64_t span = std::min<std::int64_t>(r, w - 1);
  const auto steps = static_cast<std::size_t>(span + 1);
  qssse::AlignedBuffer<D> limits(steps * kLanes);  // reach(D) as a whole vector
  qssse::AlignedBuffer<std::uint8_t> check(steps);
  std::int64_t previous = -1;
  for (std::int64_t d = span; d >= 0; --d) {
    // Vertical distances never exceed h - 1 (or kNone - 1 for bytes), so kNone stays unreachable.
    const std::int64_t v = std::min<std::int64_t>({ISqrt(r2 - d * d), r, h - 1, kNone - 1});
    std::fill_n(&limits[static_cast<std::size_t>(d) * kLanes], kLanes, static_cast<D>(v));
    check[static_cast<std::size_t>(d)] = v != previous ? 1 : 0;
    previous = v;
  }

  const auto pad = static_cast<std::size_t>(span);
  const std::size_t blocks = (uw + kLanes - 1) / kLanes;
  // Streaming stores pay off when the rectangle does not fit the caches anyway.
  const bool stream = uw * static_cast<std::size_t>(h) >= (std::size_t{1} << 20);
  qssse::AlignedBuffer<D> vd(uw * static_cast<std::size_t>(maxRows));
  qssse::AlignedBuffer<std::uint8_t> flagRows(4 * uw);
  qssse::AlignedBuffer<std::uint8_t> codes(static_cast<std::size_t>(stripBands + 1) * uw);
  qssse::AlignedBuffer<D> padded(2 * pad + blocks * kLanes);
  std::fill(padded.get(), padded.get() + padded.size(), kNone);
  qssse::AlignedBuffer<D> hitRows(4 * blocks * kLanes, true);
  qssse::AlignedBuffer<D> carry(uw);  // downward distances of the row above the strip
  std::uint8_t* const flags[4] = {&flagRows[0], &flagRows[uw], &flagRows[2 * uw], &flagRows[3 * uw]};
  const D* hits[4];
  for (int l = 0; l < 4; ++l) hits[l] = &hitRows[static_cast<std::size_t>(l) * blocks * kLanes];
  auto loadD = [](const D* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); };

  for (int ga = gFirst; ga <= gLast; ga += stripBands) {
    const int gb = std::min(ga + stripBands - 1, gLast);
    const int yA = std::max(4 * ga, y0), yB = std::min(4 * gb + 3, y1);
    const int vA = yA, vB = std::min(y1, yB + margin);
    auto vdRow = [&](int y) { return &vd[static_cast<std::size_t>(y - vA) * uw]; };
    auto codesOf = [&](int g) {  // the strip's bands keep theirs; margin bands share a scratch row
      const int k = g >= ga && g <= gb ? g - ga : stripBands;
      return &codes[static_cast<std::size_t>(k) * uw];
    };

    // 2. vertical distance to the nearest background pixel, downward (band by band, from the flags
    //    of its four rows) then upward; both saturate at kNone, so "none" stays none
    for (int g = vA >> 2; g <= vB >> 2; ++g) {
      BandFlags(rows[g] + x0, w, bg, flags, codesOf(g));
      for (int y = std::max(4 * g, vA); y <= std::min(4 * g + 3, vB); ++y) {
        D* out = vdRow(y);
        const std::uint8_t* f = flags[y & 3];
        if (y == y0) {
          for (int x = 0; x < w; ++x) out[x] = f[x] ? D{0} : kNone;
          continue;
        }
        const D* prev = y == vA ? carry.get() : out - w;
        for (int x = 0; x < w; ++x) {
          const auto step = static_cast<D>(prev[x] + (prev[x] != kNone ? 1 : 0));
          out[x] = static_cast<D>(step & static_cast<D>(f[x] - 1));  // a background flag clears it
        }
      }
    }
    std::copy_n(vdRow(yB), uw, carry.get());
    for (int y = vB - 1; y >= vA; --y) {
      D* out = vdRow(y);
      const D* next = out + w;
      for (int x = 0; x < w; ++x) {
        const auto fromBelow = static_cast<D>(next[x] + (next[x] != kNone ? 1 : 0));
        out[x] = std::min(out[x], fromBelow);
      }
    }

    // 3. per row: the growing window minimum and its checks, kLanes pixels at a time, read from a
    //    copy of the row padded with kNone on both sides (so no offset needs a bounds test); the four
    //    rows of a band are collected and written together
    for (int g = ga; g <= gb; ++g) {
      const int rowA = std::max(4 * g, y0), rowB = std::min(4 * g + 3, y1);
      for (int y = rowA; y <= rowB; ++y) {
        std::copy_n(vdRow(y), uw, padded.get() + pad);
        D* acc = &hitRows[static_cast<std::size_t>(y & 3) * blocks * kLanes];
        const D* centre = padded.get() + pad;
        for (std::size_t k = 0; k < blocks; ++k) {
          const D* c = centre + k * kLanes;
          __m128i m = loadD(c), any = _mm_setzero_si128();
          for (std::size_t d = 0; d < steps; ++d) {
            if (d > 0) m = Ops::min(m, Ops::min(loadD(c - d), loadD(c + d)));
            if (check[d]) any = _mm_or_si128(any, Ops::le(m, loadD(&limits[d * kLanes])));
          }
          _mm_store_si128(reinterpret_cast<__m128i*>(acc + k * kLanes), any);
        }
      }
      // 4. write: background stays, every other pixel of the rectangle is binarised
      WriteBand<D>(rows[g] + x0, w, LaneMask(g, rowA, rowB), rowB - rowA == 3, stream, codesOf(g), bg, fg,
                   hits);
    }
  }
  if (stream) _mm_sfence();
}

}  // namespace

void CSSEMatrix::Errode(float radius, float bgValue, float fgValue, int x0, int x1, int y0, int y1) {
  if (!HasPixels()) return;
  x0 = std::max(x0, 0);
  x1 = std::min(x1, sizeX - 1);
  y0 = std::max(y0, 0);
  y1 = std::min(y1, sizeY - 1);
  if (x0 > x1 || y0 > y1) return;
  const int w = x1 - x0 + 1, h = y1 - y0 + 1;

  // R2 = floor(radius^2), R = floor(radius); a radius below 1 (or NaN) reaches no neighbour, which gives
  // the same result as the plain loops for 0 <= radius < 1 (the pixel itself is not background) and
  // for negative radii (empty window). R is capped at the rectangle's extent, beyond which it finds
  // nothing new.
  std::int64_t r = 0, r2 = 0;
  if (radius >= 1.0f) {
    const float rr = radius * radius;
    r2 = rr >= 4.0e18f ? std::int64_t{4000000000000000000} : static_cast<std::int64_t>(std::floor(rr));
    r = radius >= 1.0e9f ? std::int64_t{1000000000} : static_cast<std::int64_t>(std::floor(radius));
  }
  r = std::min<std::int64_t>(r, std::max(w, h));
  // Reaches never exceed min(R, h - 1): below 255 they fit bytes.
  if (std::min<std::int64_t>(r, h - 1) < 255) {
    ErrodeRect<std::uint8_t>(rows, x0, y0, w, h, r, r2, bgValue, fgValue);
  } else {
    ErrodeRect<std::uint16_t>(rows, x0, y0, w, h, r, r2, bgValue, fgValue);
  }
}

void CSSEMatrix::Dilate(float radius, float a, float b, int x0, int x1, int y0, int y1) {
  Errode(radius, b, a, x0, x1, y0, y1);
}

// ---- ZhangSuen ------------------------------------------------------------------------------------
//
// The plain method rescans the whole image in every sub-iteration. Only pixels with a background
// neighbour can ever be marked (A = 1 needs a 0 in the ring), and a pixel gains background neighbours
// only when a neighbour is deleted, so each sub-iteration examines just the list of such "contour"
// pixels, extended by the foreground neighbours of the pixels it deleted. Marks are still all taken
// before any deletion, so the order of the list does not matter. The neighbour test is one table
// lookup on the 8-bit ring code.

namespace {

// Ring bits: N, NE, E, SE, S, SW, W, NW = bits 0..7.
constexpr bool ZhangSuenMarks(int code, int sub) {
  const auto bit = [code](int i) { return (code >> (i & 7)) & 1; };
  int a = 0, c = 0;
  for (int i = 0; i < 8; ++i) {
    c += bit(i);
    a += (bit(i) == 0 && bit(i + 1) == 1) ? 1 : 0;
  }
  const int n = bit(0), e = bit(2), s = bit(4), w = bit(6);
  // 3 <= C, not the published 2: end points of two neighbours are kept (deliberate).
  if (a != 1 || c < 3 || c > 6) return false;
  return sub == 0 ? (n * e * s == 0 && e * s * w == 0) : (n * e * w == 0 && n * s * w == 0);
}

struct ZhangSuenTable {
  bool marks[2][256];
  constexpr ZhangSuenTable() : marks{} {
    for (int sub = 0; sub < 2; ++sub)
      for (int code = 0; code < 256; ++code) marks[sub][code] = ZhangSuenMarks(code, sub);
  }
};
constexpr ZhangSuenTable kZhangSuen;

constexpr std::uint8_t kFg = 1, kListed = 2, kInterior = 4;

inline int RingCode(const std::uint8_t* b, std::ptrdiff_t i, std::ptrdiff_t w) {
  return (b[i - w] & 1) | (b[i - w + 1] & 1) << 1 | (b[i + 1] & 1) << 2 | (b[i + w + 1] & 1) << 3 |
         (b[i + w] & 1) << 4 | (b[i + w - 1] & 1) << 5 | (b[i - 1] & 1) << 6 | (b[i - w - 1] & 1) << 7;
}

}  // namespace

void CSSEMatrix::ZhangSuen(float threshold) {
  if (rows == nullptr) return;
  if (sizeX < 3 || sizeY < 3) {
    // No interior pixel: the write-back leaves everything 0.
    Clear();
    return;
  }
  const std::ptrdiff_t w = sizeX;
  const std::size_t n = static_cast<std::size_t>(sizeX) * static_cast<std::size_t>(sizeY);
  const std::size_t interior = static_cast<std::size_t>(sizeX - 2) * static_cast<std::size_t>(sizeY - 2);
  qssse::AlignedBuffer<std::uint8_t> image(n);
  qssse::AlignedBuffer<std::int32_t> list(interior);
  qssse::AlignedBuffer<std::int32_t> marked(interior);
  std::uint8_t* b = image.get();

  // 1. binarise; flag the interior, the only pixels that are ever examined
  for (int y = 0; y < sizeY; ++y) {
    const bool innerRow = y >= 1 && y <= sizeY - 2;
    for (int x = 0; x < sizeX; ++x) {
      const bool inner = innerRow && x >= 1 && x <= sizeX - 2;
      b[y * w + x] =
          static_cast<std::uint8_t>((threshold < *pixel(x, y) ? kFg : 0) | (inner ? kInterior : 0));
    }
  }
  std::size_t listed = 0;
  for (int y = 1; y <= sizeY - 2; ++y) {
    for (int x = 1; x <= sizeX - 2; ++x) {
      const std::ptrdiff_t i = y * w + x;
      if ((b[i] & kFg) && RingCode(b, i, w) != 0xFF) {
        b[i] |= kListed;
        list[listed++] = static_cast<std::int32_t>(i);
      }
    }
  }

  // 2. sub-iterations; stop after the first one that deletes nothing (deliberately not waiting for a
  //    whole iteration without deletions)
  static constexpr std::ptrdiff_t kRing[8][2] = {{0, -1}, {1, -1}, {1, 0},  {1, 1},
                                                 {0, 1},  {-1, 1}, {-1, 0}, {-1, -1}};
  for (int step = 0; step < 2 * 1000; ++step) {
    const bool* table = kZhangSuen.marks[step & 1];
    std::size_t count = 0;
    for (std::size_t k = 0; k < listed; ++k) {
      if (table[RingCode(b, list[k], w)]) marked[count++] = list[k];
    }
    if (count == 0) break;
    for (std::size_t k = 0; k < count; ++k) b[marked[k]] &= static_cast<std::uint8_t>(~(kFg | kListed));
    std::size_t kept = 0;
    for (std::size_t k = 0; k < listed; ++k) {
      if (b[list[k]] & kFg) list[kept++] = list[k];
    }
    listed = kept;
    for (std::size_t k = 0; k < count; ++k) {
      for (const auto& d : kRing) {
        const std::ptrdiff_t j = marked[k] + d[1] * w + d[0];
        if ((b[j] & (kFg | kListed | kInterior)) == (kFg | kInterior)) {
          b[j] |= kListed;
          list[listed++] = static_cast<std::int32_t>(j);
        }
      }
    }
  }

  // 3. write back: all 0, then 1.0 on the remaining interior pixels
  Clear();
  for (int y = 1; y <= sizeY - 2; ++y) {
    for (int x = 1; x <= sizeX - 2; ++x) {
      if (b[y * w + x] & kFg) *pixel(x, y) = 1.0f;
    }
  }
}
