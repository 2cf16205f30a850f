// Median filters: a comparison network over whole __m128 values, so four pixel rows of one column are
// filtered at once, branch-free.
#include "qssse/raster/Filters.h"

#include <algorithm>
#include <vector>

#include "qssse/raster/AlignedBuffer.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/vector/SimdOps.h"

using namespace qssse::simd;

namespace {

struct Comparator {
  int lo;
  int hi;
};

// Batcher's odd-even merge sort for the next power of two above n, with the padding elements taken as
// +infinity (so every comparator that touches them does nothing and is dropped), then pruned backwards
// to the comparators that can still move a value into the middle position n / 2.
std::vector<Comparator> MedianNetwork(int n) {
  int p2 = 1;
  while (p2 < n) p2 <<= 1;
  std::vector<Comparator> all;
  for (int p = 1; p < p2; p <<= 1) {
    for (int k = p; k >= 1; k >>= 1) {
      for (int j = k % p; j + k < p2; j += 2 * k) {
        for (int i = 0; i < std::min(k, p2 - j - k); ++i) {
          const int a = i + j, b = i + j + k;
          if (a / (2 * p) == b / (2 * p) && b < n) all.push_back({a, b});
        }
      }
    }
  }
  std::vector<bool> needed(static_cast<std::size_t>(n), false);
  needed[static_cast<std::size_t>(n / 2)] = true;
  std::vector<Comparator> kept;
  for (auto it = all.rbegin(); it != all.rend(); ++it) {
    if (needed[static_cast<std::size_t>(it->lo)] || needed[static_cast<std::size_t>(it->hi)]) {
      needed[static_cast<std::size_t>(it->lo)] = needed[static_cast<std::size_t>(it->hi)] = true;
      kept.push_back(*it);
    }
  }
  std::reverse(kept.begin(), kept.end());
  return kept;
}

// Vector of the pixels (x, clamp(4g + l + d)) for lanes l, from the column's elements of SIMD rows
// g-1, g, g+1; valid where no lane's row needs clamping.
inline f4 VerticalShift(f4 above, f4 cur, f4 below, int d) {
  switch (d) {
    case -2:
      return shuffle<2, 3, 0, 1>(above, cur);
    case -1:
      return shuffle<1, 2, 1, 2>(shuffle<2, 3, 0, 1>(above, cur), cur);
    case 1:
      return shuffle<1, 2, 1, 2>(cur, shuffle<2, 3, 0, 1>(cur, below));
    case 2:
      return shuffle<2, 3, 0, 1>(cur, below);
    default:
      return cur;
  }
}

template <int kRadius>
void Median(const CSSEMatrix& source, CSSEMatrix& target, int x0, int x1, int y0, int y1) {
  constexpr int kSide = 2 * kRadius + 1, kCount = kSide * kSide;
  if (!source.HasPixels()) return;
  if (&source == &target) {
    const CSSEMatrix copy(source);
    Median<kRadius>(copy, target, x0, x1, y0, y1);
    return;
  }
  target.CopyFromSSEMatrix(source);
  const int sizeX = source.GetSizeX(), sizeY = source.GetSizeY();
  x0 = std::max(x0, 0);
  x1 = std::min(x1, sizeX - 1);
  y0 = std::max(y0, 0);
  y1 = std::min(y1, sizeY - 1);
  if (x0 > x1 || y0 > y1) return;

  static const std::vector<Comparator> network = MedianNetwork(kCount);
  __m128** src = source.GetMatrixDataDirectly();
  __m128** dst = target.GetMatrixDataDirectly();
  // Vertical windows of the columns x0 - r .. x1 + r (clamped), kSide vectors per column.
  const int colBegin = std::max(x0 - kRadius, 0), colEnd = std::min(x1 + kRadius, sizeX - 1);
  qssse::AlignedBuffer<float> columns(static_cast<std::size_t>(colEnd - colBegin + 1) * kSide * 4);
  auto column = [&](int x, int d) {
    return &columns[(static_cast<std::size_t>(x - colBegin) * kSide + (d + kRadius)) * 4];
  };

  for (int g = y0 >> 2; g <= y1 >> 2; ++g) {
    // 1. vertical windows: shuffles inside the image, clamped reads near its top and bottom
    const bool inside = 4 * g - kRadius >= 0 && 4 * g + 3 + kRadius <= sizeY - 1;
    for (int x = colBegin; x <= colEnd; ++x) {
      if (inside) {
        const f4 above = src[g - 1][x], cur = src[g][x], below = src[g + 1][x];
        for (int d = -kRadius; d <= kRadius; ++d) store(column(x, d), VerticalShift(above, cur, below, d));
      } else {
        for (int d = -kRadius; d <= kRadius; ++d) {
          float* out = column(x, d);
          for (int l = 0; l < 4; ++l) out[l] = source.GetPoint(x, 4 * g + l + d);
        }
      }
    }
    // 2. the network over the kSide x kSide window of each column, clamped in x
    const auto in = [&](int l) { return 4 * g + l >= y0 && 4 * g + l <= y1; };
    const f4 rowsIn = laneMask(in(0), in(1), in(2), in(3));
    for (int x = x0; x <= x1; ++x) {
      f4 v[kCount];
      for (int dx = -kRadius; dx <= kRadius; ++dx) {
        const int cx = std::clamp(x + dx, 0, sizeX - 1);
        for (int d = -kRadius; d <= kRadius; ++d)
          v[(dx + kRadius) * kSide + d + kRadius] = load(column(cx, d));
      }
      for (const Comparator& c : network) {
        const f4 a = v[c.lo], b = v[c.hi];
        v[c.lo] = min(a, b);
        v[c.hi] = max(a, b);
      }
      dst[g][x] = select(rowsIn, v[kCount / 2], dst[g][x]);
    }
  }
}

}  // namespace

void CFilters::Median3x3(const CSSEMatrix& source, CSSEMatrix& target, int x0, int x1, int y0, int y1) {
  Median<1>(source, target, x0, x1, y0, y1);
}

void CFilters::Median5x5(const CSSEMatrix& source, CSSEMatrix& target, int x0, int x1, int y0, int y1) {
  Median<2>(source, target, x0, x1, y0, y1);
}
