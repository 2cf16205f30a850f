// Greyscale erosion and dilation of CSSEMatrix: exact minimum and maximum filters over a disc.
//
// The disc of radius r holds the offsets with dx^2 + dy^2 <= r^2; at each |dy| it is one chord of
// half-width w(|dy|) = floor(sqrt(floor(r^2) - dy^2)). The minimum over the disc is the minimum over
// its chords, and the minimum over the chord [x - w, x + w] of one row is the minimum of two
// overlapping power-of-two runs, P_j(x - w) and P_j(x + w - 2^j + 1) with 2^j <= 2w + 1 < 2^(j+1),
// where P_j(i) is the minimum of the 2^j pixels from i on (P_0 is the row itself and
// P_(j+1)(i) = min(P_j(i), P_j(i + 2^j))). A pixel costs two reads per chord, 2R + 1 chords.
//
// Rows come from the raster four at a time (one SIMD row), are transposed into row-major lines and
// kept in a ring of the rows the chords of the current output rows reach: along a row-major line the
// two reads of a chord are plain loads of four neighbouring columns. The four result rows of a SIMD
// row are transposed back and written once every row their chords reach has been read, so the filter
// runs in place without a copy of the matrix.
//
// A line keeps its pixels (level 0) and one working level. As the output rows come nearer to a line
// its chords grow and the working level is raised in place; once they move away the chords shrink
// and the level is rebuilt from level 0. The temporaries therefore grow with R, not with R log R.
//
// Exactness: min and max are exact, so every order of evaluation gives the same value; only the sign
// of a zero result depends on it (minps returns its second operand on a tie). Lines that hold a -0 are
// combined with the symmetric form min(a, b) | min(b, a), which orders -0 below +0 (max: the and of
// both orders); lines without one use the plain instruction, whose ties are then identical bits. NaN
// pixels enter as the neutral element (+inf for the minimum, -inf for the maximum) and get their own
// bits back when the result is written.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "qssse/raster/AlignedBuffer.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/vector/SimdOps.h"

using namespace qssse::simd;

namespace {

struct MinOp {
  static constexpr float kNeutral = std::numeric_limits<float>::infinity();
  static f4 Plain(f4 a, f4 b) { return min(a, b); }
  static f4 Exact(f4 a, f4 b) { return or_(min(a, b), min(b, a)); }  // -0 below +0
};

struct MaxOp {
  static constexpr float kNeutral = -std::numeric_limits<float>::infinity();
  static f4 Plain(f4 a, f4 b) { return max(a, b); }
  static f4 Exact(f4 a, f4 b) { return and_(max(a, b), max(b, a)); }  // +0 above -0
};

template <class Op, bool kExact>
inline f4 Combine(f4 a, f4 b) {
  if constexpr (kExact) {
    return Op::Exact(a, b);
  } else {
    return Op::Plain(a, b);
  }
}

constexpr int RoundUp4(int v) { return (v + 3) & ~3; }

// Largest h >= 0 with h * h <= v (v >= 0).
std::int64_t ISqrt(std::int64_t v) {
  auto h = static_cast<std::int64_t>(std::sqrt(static_cast<double>(v)));
  while (h > 0 && h * h > v) --h;
  while ((h + 1) * (h + 1) <= v) ++h;
  return h;
}

// The chords of the disc for one matrix: half-width and power-of-two level at each |dy|.
struct DiscChords {
  int reachY = 0;          // rows y - reachY .. y + reachY can lie in the disc of row y
  int reachX = 0;          // the widest half-width
  std::vector<int> width;  // at |dy| = 0 .. reachY, capped at sizeX - 1 (a wider chord adds nothing)
  std::vector<int> level;

  DiscChords(std::int64_t r2, int sizeX, int sizeY) {
    const std::int64_t r = ISqrt(r2);
    reachY = static_cast<int>(std::min<std::int64_t>(r, sizeY - 1));
    for (int d = 0; d <= reachY; ++d) {
      const auto w = static_cast<int>(std::min<std::int64_t>(ISqrt(r2 - std::int64_t{d} * d), sizeX - 1));
      int j = 0;
      while ((std::int64_t{2} << j) <= 2 * std::int64_t{w} + 1) ++j;
      width.push_back(w);
      level.push_back(j);
    }
    reachX = width[0];
  }
};

// One pass of the filter over a matrix, in place. Line positions: column c of a line lies at index
// pad + c; [0, pad) and [pad + sizeX, stride) hold the neutral element.
template <class Op>
class DiscFilter {
 public:
  DiscFilter(__m128** rows, int sizeX, int sizeY, const DiscChords& chords)
      : rows_(rows),
        sizeX_(sizeX),
        sizeY_(sizeY),
        chords_(chords),
        pad_(RoundUp4(chords.reachX)),
        width4_(RoundUp4(sizeX)),
        used_(pad_ + width4_ + chords.reachX),
        stride_(RoundUp4(used_ + 4)),
        // The rows one output SIMD row reaches and the ones read ahead for it; never more than all.
        ringRows_(std::min(RoundUp4(2 * chords.reachY + 8), RoundUp4(sizeY + 1))),
        lines_(static_cast<std::size_t>(ringRows_) * 2 * stride_),
        out_(static_cast<std::size_t>(4) * width4_),
        level_(ringRows_, 0),
        negativeZero_(ringRows_, 0),
        plainStore_(static_cast<std::size_t>((sizeY - 1) >> 2) + 1, 0) {
    std::fill(lines_.get(), lines_.get() + lines_.size(), Op::kNeutral);
    std::fill(out_.get(), out_.get() + out_.size(), Op::kNeutral);
  }

  void Run() {
    const int lastG = (sizeY_ - 1) >> 2;
    int loaded = -1;
    for (int g = 0; g <= lastG; ++g) {
      // 1. read every SIMD row the chords of this one reach
      const int need = std::min(4 * g + 3 + chords_.reachY, sizeY_ - 1) >> 2;
      while (loaded < need) Load(++loaded);
      // 2. the chord minima of its rows, 3. written back over it
      for (int l = 0; l < 4 && 4 * g + l < sizeY_; ++l)
        OutputRow(4 * g + l, &out_[static_cast<std::size_t>(l) * width4_]);
      Store(g);
    }
  }

 private:
  float* Base(int slot) const { return &lines_[static_cast<std::size_t>(slot) * 2 * stride_]; }
  float* Work(int slot) const { return Base(slot) + stride_; }

  // SIMD row g into the four lines of its rows: NaN becomes the neutral element, each line notes
  // whether it holds a -0, and the SIMD row whether it holds NaN or padding.
  void Load(int g) {
    const int slot0 = (4 * g) % ringRows_;
    float* line[4];
    for (int l = 0; l < 4; ++l) line[l] = Base(slot0 + l) + pad_;
    const f4 neutral = splat(Op::kNeutral);
    const __m128i signBit = _mm_set1_epi32(std::numeric_limits<std::int32_t>::min());
    __m128i zeros = _mm_setzero_si128();
    f4 nans = zero();
    auto clean = [&](f4 v) {
      zeros = _mm_or_si128(zeros, _mm_cmpeq_epi32(_mm_castps_si128(v), signBit));
      nans = or_(nans, isnan(v));
      return Op::Plain(v, neutral);  // NaN gives the second operand; any other value stays as it is
    };
    const __m128* row = rows_[g];
    int c = 0;
    for (; c + 4 <= sizeX_; c += 4) {
      f4 e0 = clean(row[c]), e1 = clean(row[c + 1]), e2 = clean(row[c + 2]), e3 = clean(row[c + 3]);
      _MM_TRANSPOSE4_PS(e0, e1, e2, e3);
      store(line[0] + c, e0);
      store(line[1] + c, e1);
      store(line[2] + c, e2);
      store(line[3] + c, e3);
    }
    for (; c < sizeX_; ++c) {
      alignas(16) float lanes[4];
      store(lanes, clean(row[c]));
      for (int l = 0; l < 4; ++l) line[l][c] = lanes[l];
    }
    // Padding lanes count as NaN here: both keep their bits when the result is stored.
    const int keepLanes = movemask(nans) | (sizeY_ - 4 * g < 4 ? 0xF << (sizeY_ - 4 * g) : 0);
    plainStore_[static_cast<std::size_t>(g)] = static_cast<char>((keepLanes & 0xF) == 0);
    const int zeroLanes = movemask(_mm_castsi128_ps(zeros));
    for (int l = 0; l < 4; ++l) {
      level_[slot0 + l] = 0;
      negativeZero_[slot0 + l] = static_cast<char>((zeroLanes >> l) & 1);
    }
  }

  // The line of a slot at power-of-two level j (level 0: the line itself).
  const float* Level(int slot, int j) {
    if (j == 0) return Base(slot);
    if (negativeZero_[slot]) return Raise<true>(slot, j);
    return Raise<false>(slot, j);
  }

  template <bool kExact>
  const float* Raise(int slot, int j) {
    float* work = Work(slot);
    int& have = level_[slot];
    if (have > j) have = 0;  // the chords shrank: rebuild from the pixels
    if (have == 0) {
      Step<kExact>(Base(slot), work, 1);
      have = 1;
    }
    for (; have < j; ++have) Step<kExact>(work, work, 1 << have);
    return work;
  }

  // to(i) = op(from(i), from(i + shift)) over the indices whose run stays inside the used part of the
  // line (the rest is never read by a chord). In place is safe: index i is written after every read of
  // it and reads only indices at or after i.
  template <bool kExact>
  void Step(const float* from, float* to, int shift) const {
    const int runs = used_ - 2 * shift + 1;
    for (int i = 0; i < runs; i += 4)
      store(to + i, Combine<Op, kExact>(load(from + i), loadu(from + i + shift)));
  }

  void OutputRow(int y, float* out) {
    const int lo = std::max(-chords_.reachY, -y), hi = std::min(chords_.reachY, sizeY_ - 1 - y);
    pairs_.clear();
    singles_.clear();
    bool exact = false;
    for (int dy = lo; dy <= hi; ++dy) {
      const int d = dy < 0 ? -dy : dy, slot = (y + dy) % ringRows_;
      const int w = chords_.width[d], j = chords_.level[d];
      const float* line = Level(slot, j);
      // The run that starts at the chord's left end and the one that ends at its right end; a chord of
      // one pixel is one run.
      if (w == 0) {
        singles_.push_back(line + pad_);
      } else {
        pairs_.push_back({line + pad_ - w, line + pad_ + w - (1 << j) + 1});
      }
      exact = exact || negativeZero_[slot] != 0;
    }
    if (exact) {
      Gather<true>(out);
    } else {
      Gather<false>(out);
    }
  }

  // out(x) = op over the chords of op(a(x), b(x)), sixteen columns at a time in registers.
  template <bool kExact>
  void Gather(float* out) const {
    int x = 0;
    for (; x + 16 <= width4_; x += 16) GatherAt<kExact, 4>(x, out);
    for (; x < width4_; x += 4) GatherAt<kExact, 1>(x, out);
  }

  template <bool kExact, int kVectors>
  void GatherAt(int x, float* out) const {
    f4 acc[kVectors];
    for (int k = 0; k < kVectors; ++k) acc[k] = splat(Op::kNeutral);
    for (const float* a : singles_) {
      for (int k = 0; k < kVectors; ++k) acc[k] = Combine<Op, kExact>(acc[k], loadu(a + x + 4 * k));
    }
    for (const auto& [a, b] : pairs_) {
      for (int k = 0; k < kVectors; ++k) {
        acc[k] = Combine<Op, kExact>(acc[k], Combine<Op, kExact>(loadu(a + x + 4 * k), loadu(b + x + 4 * k)));
      }
    }
    for (int k = 0; k < kVectors; ++k) store(out + x + 4 * k, acc[k]);
  }

  // The four result rows back into SIMD row g; NaN pixels and padding lanes keep their bits (a row
  // without either is written without reading it).
  void Store(int g) const {
    const int y = 4 * g;
    const f4 padding = laneMask(y >= sizeY_, y + 1 >= sizeY_, y + 2 >= sizeY_, y + 3 >= sizeY_);
    __m128* row = rows_[g];
    const bool plain = plainStore_[static_cast<std::size_t>(g)] != 0;
    const float* o = out_.get();
    const auto w4 = static_cast<std::size_t>(width4_);
    for (int c = 0; c < sizeX_; c += 4) {
      f4 e[4] = {load(o + c), load(o + w4 + c), load(o + 2 * w4 + c), load(o + 3 * w4 + c)};
      _MM_TRANSPOSE4_PS(e[0], e[1], e[2], e[3]);
      if (plain && c + 4 <= sizeX_) {
        for (int k = 0; k < 4; ++k) row[c + k] = e[k];
        continue;
      }
      for (int k = 0; k < 4 && c + k < sizeX_; ++k) {
        const f4 orig = row[c + k];
        row[c + k] = select(or_(isnan(orig), padding), orig, e[k]);
      }
    }
  }

  __m128** rows_;
  int sizeX_, sizeY_;
  const DiscChords& chords_;
  int pad_, width4_, used_, stride_, ringRows_;
  qssse::AlignedBuffer<float> lines_;  // per ring slot: level 0, then the working level
  qssse::AlignedBuffer<float> out_;    // the four result rows of one SIMD row
  std::vector<int> level_;             // working level of each slot; 0 = not built
  std::vector<char> negativeZero_;
  std::vector<char> plainStore_;                              // per SIMD row: no NaN and no padding lane
  std::vector<std::pair<const float*, const float*>> pairs_;  // the chords of the output row
  std::vector<const float*> singles_;
};

// floor(radius^2) of the disc, with radii beyond the image capped at sizeX + sizeY (the disc then
// covers the whole image from every pixel); -1 for a radius below 1 or NaN.
std::int64_t DiscSquare(float radius, int sizeX, int sizeY) {
  if (!(radius >= 1.0f)) return -1;
  const double r = std::min(static_cast<double>(radius), static_cast<double>(sizeX) + sizeY);
  return static_cast<std::int64_t>(std::floor(r * r));  // exact: r has 24 significant bits
}

template <class Op>
void FilterDisc(__m128** rows, int sizeX, int sizeY, float radius) {
  const std::int64_t r2 = DiscSquare(radius, sizeX, sizeY);
  if (r2 < 1) return;
  const DiscChords chords(r2, sizeX, sizeY);
  DiscFilter<Op>(rows, sizeX, sizeY, chords).Run();
}

}  // namespace

void CSSEMatrix::MinimumFilterDisc(float radius) {
  if (!HasPixels()) return;
  FilterDisc<MinOp>(rows, sizeX, sizeY, radius);
}

void CSSEMatrix::MaximumFilterDisc(float radius) {
  if (!HasPixels()) return;
  FilterDisc<MaxOp>(rows, sizeX, sizeY, radius);
}
