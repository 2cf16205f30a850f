// Boundary tracing of thresholded regions into pixel chains.
#include "qssse/raster/PixelChain.h"

#include <cstdint>
#include <utility>

#include "qssse/raster/AlignedBuffer.h"
#include "qssse/raster/SSEMatrix.h"

namespace {

// Ring directions, clockwise on screen (y down): W, NW, N, NE, E, SE, S, SW.
constexpr int kDx[8] = {-1, -1, 0, 1, 1, 1, 0, -1};
constexpr int kDy[8] = {0, -1, -1, -1, 0, 1, 1, 1};

// Direction from p + D[d] back to p + D[d - 1], the last outside pixel looked at before moving by d.
constexpr int BackDirection(int d) {
  const int bx = kDx[(d + 7) & 7] - kDx[d], by = kDy[(d + 7) & 7] - kDy[d];
  for (int i = 0; i < 8; ++i)
    if (kDx[i] == bx && kDy[i] == by) return i;
  return 0;
}
constexpr int kBack[8] = {BackDirection(0), BackDirection(1), BackDirection(2), BackDirection(3),
                          BackDirection(4), BackDirection(5), BackDirection(6), BackDirection(7)};

constexpr std::uint8_t kIn = 1, kLabelled = 2;

}  // namespace

int CPixelChain::TraceChains(const CSSEMatrix& m, float threshold, std::vector<CPixelChain>& chains) {
  chains.clear();
  if (!m.HasPixels()) return 0;
  const int w = m.GetSizeX(), h = m.GetSizeY();
  const std::size_t n = static_cast<std::size_t>(w) * static_cast<std::size_t>(h);
  qssse::AlignedBuffer<std::uint8_t> state(n);
  qssse::AlignedBuffer<std::int32_t> stack(n);
  const auto at = [w](int x, int y) { return static_cast<std::size_t>(y) * w + x; };
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) state[at(x, y)] = m.GetPoint(x, y) > threshold ? kIn : 0;
  const auto inside = [&](int x, int y) {
    return x >= 0 && y >= 0 && x < w && y < h && (state[at(x, y)] & kIn);
  };

  for (int sy = 0; sy < h; ++sy) {
    for (int sx = 0; sx < w; ++sx) {
      if (state[at(sx, sy)] != kIn) continue;
      // 1. trace: the first pixel of a region in row order has only outside pixels to its left and above,
      //    so tracing starts with the backtrack pixel to the west
      CPixelChain chain;
      int firstDir = -1;
      for (int k = 1; k <= 8 && firstDir < 0; ++k)
        if (inside(sx + kDx[k & 7], sy + kDy[k & 7])) firstDir = k & 7;
      chain.AppendPixel(sx, sy);
      if (firstDir >= 0) {
        int x = sx, y = sy, back = 0;
        // Every step moves along the boundary; 8 n steps bound any trace, so a bug cannot loop forever.
        for (std::size_t step = 0; step < 8 * n + 8; ++step) {
          int d = -1;
          for (int k = 1; k <= 8; ++k) {
            const int c = (back + k) & 7;
            if (inside(x + kDx[c], y + kDy[c])) {
              d = c;
              break;
            }
          }
          if (d < 0) break;
          x += kDx[d];
          y += kDy[d];
          back = kBack[d];
          if (x == sx && y == sy) {
            // Back at the start: closed when the next move repeats the first one (Jacob's criterion).
            int next = -1;
            for (int k = 1; k <= 8 && next < 0; ++k)
              if (inside(x + kDx[(back + k) & 7], y + kDy[(back + k) & 7])) next = (back + k) & 7;
            if (next == firstDir) break;
          }
          chain.AppendPixel(x, y);
        }
      }
      chain.CalcCenterAndBoundingBox();
      chains.push_back(std::move(chain));
      // 2. label the region (8-connected) so that none of its pixels starts another chain
      std::size_t top = 0;
      stack[top++] = static_cast<std::int32_t>(at(sx, sy));
      state[at(sx, sy)] |= kLabelled;
      while (top > 0) {
        const std::int32_t i = stack[--top];
        const int px = static_cast<int>(i % w), py = static_cast<int>(i / w);
        for (int d = 0; d < 8; ++d) {
          const int qx = px + kDx[d], qy = py + kDy[d];
          if (inside(qx, qy) && !(state[at(qx, qy)] & kLabelled)) {
            state[at(qx, qy)] |= kLabelled;
            stack[top++] = static_cast<std::int32_t>(at(qx, qy));
          }
        }
      }
    }
  }
  return static_cast<int>(chains.size());
}

void CPixelChain::CalcCenterAndBoundingBox() {
  if (pixels.empty()) {
    centerX = centerY = 0.0f;
    minX = minY = 0;
    maxX = maxY = -1;
    return;
  }
  double sumX = 0.0, sumY = 0.0;
  minX = maxX = pixels[0].x;
  minY = maxY = pixels[0].y;
  for (const t_chainpixel& p : pixels) {
    sumX += p.x;
    sumY += p.y;
    minX = p.x < minX ? p.x : minX;
    maxX = p.x > maxX ? p.x : maxX;
    minY = p.y < minY ? p.y : minY;
    maxY = p.y > maxY ? p.y : maxY;
  }
  centerX = static_cast<float>(sumX / static_cast<double>(pixels.size()));
  centerY = static_cast<float>(sumY / static_cast<double>(pixels.size()));
}

void CPixelChain::GetBoundingBox(int* minXOut, int* minYOut, int* maxXOut, int* maxYOut) const {
  if (minXOut) *minXOut = minX;
  if (minYOut) *minYOut = minY;
  if (maxXOut) *maxXOut = maxX;
  if (maxYOut) *maxYOut = maxY;
}
