// First-point searches of CSSEMatrix: walks to the first pixel past a threshold, and the left
// silhouette of a masked region drawn as a line.
#include <algorithm>
#include <cstdlib>
#include <vector>

#include "qssse/raster/SSEMatrix.h"
#include "qssse/raster/SSEcharMatrix.h"

namespace {

template <class Passes>
bool FindFirst(const CSSEMatrix& m, int& x, int& y, int dx, int dy, Passes passes) {
  if (!m.HasPixels()) return false;
  int px = std::clamp(x, 0, m.GetSizeX() - 1), py = std::clamp(y, 0, m.GetSizeY() - 1);
  while (px >= 0 && px < m.GetSizeX() && py >= 0 && py < m.GetSizeY()) {
    if (passes(m.GetPoint(px, py))) {
      x = px;
      y = py;
      return true;
    }
    if (dx == 0 && dy == 0) break;
    // 64-bit steps: a huge step leaves the image instead of wrapping into it.
    const long long nx = static_cast<long long>(px) + dx, ny = static_cast<long long>(py) + dy;
    if (nx < 0 || nx >= m.GetSizeX() || ny < 0 || ny >= m.GetSizeY()) break;
    px = static_cast<int>(nx);
    py = static_cast<int>(ny);
  }
  return false;
}

// The 8-connected digital line from (x0, y0) to (x1, y1), y1 >= y0, ends included (Bresenham).
template <class Plot>
void DrawLine(int x0, int y0, int x1, int y1, Plot plot) {
  const int ex = std::abs(x1 - x0), sx = x0 < x1 ? 1 : -1, ey = -(y1 - y0);
  for (int err = ex + ey;;) {
    plot(x0, y0);
    if (x0 == x1 && y0 == y1) break;
    const int e2 = 2 * err;
    if (e2 >= ey) err += ey, x0 += sx;
    if (e2 <= ex) err += ex, ++y0;
  }
}

}  // namespace

bool CSSEMatrix::FindFirstPointAbove(int& x, int& y, int dx, int dy, float threshold) const {
  return FindFirst(*this, x, y, dx, dy, [threshold](float v) { return v > threshold; });
}

bool CSSEMatrix::FindFirstPointBelow(int& x, int& y, int dx, int dy, float threshold) const {
  return FindFirst(*this, x, y, dx, dy, [threshold](float v) { return v < threshold; });
}

int CSSEMatrix::DrawFirstPointLinedUseMask(const CSSEcharMatrix& mask, float threshold, float value) {
  if (!HasPixels()) return 0;
  // 1. the first point of every row, from the values before any drawing (-1: none)
  const int mx = mask.HasPixels() ? std::min(mask.GetSizeX(), sizeX) : 0;
  const int my = mask.HasPixels() ? std::min(mask.GetSizeY(), sizeY) : 0;
  std::vector<int> first(static_cast<std::size_t>(sizeY), -1);
  int found = 0;
  for (int y = 0; y < my; ++y) {
    for (int x = 0; x < mx; ++x) {
      if (mask.GetPoint(x, y) != 0 && *pixel(x, y) > threshold) {
        first[y] = x;
        ++found;
        break;
      }
    }
  }
  // 2. each point joined to the point of the next row (a point without one is drawn alone)
  for (int y = 0; y < sizeY; ++y) {
    if (first[y] < 0) continue;
    const bool joined = y + 1 < sizeY && first[y + 1] >= 0;
    DrawLine(first[y], y, joined ? first[y + 1] : first[y], joined ? y + 1 : y,
             [&](int x, int py) { *pixel(x, py) = value; });
  }
  return found;
}
