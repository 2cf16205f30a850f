// Area filling of CSSEMatrix: flood fill of one area, hole filling, and the removal of areas too thin
// for a disc.
//
// Both fills run over spans: a seed is widened to the whole run of fitting, unvisited pixels of its row,
// and the rows above and below are searched only along that run for the starts of further runs. Every
// pixel is painted once and tested a bounded number of times (from its own row and the two beside it),
// so the cost is linear in the image, without recursion.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "qssse/raster/SSEMatrix.h"

namespace {

// Marks every pixel 4-connected to the seeds through pixels that `fits`, and calls paint(x0, x1, y) for
// each run it marks. `seen` (one byte per pixel, row-major) holds 1 for pixels already marked.
template <class Fits, class Paint>
void SpanFill(int sizeX, int sizeY, std::vector<std::uint8_t>& seen, std::vector<std::pair<int, int>> stack,
              Fits fits, Paint paint) {
  const auto w = static_cast<std::size_t>(sizeX);
  auto open = [&](int x, int y) { return !seen[static_cast<std::size_t>(y) * w + x] && fits(x, y); };
  while (!stack.empty()) {
    const auto [sx, y] = stack.back();
    stack.pop_back();
    if (!open(sx, y)) continue;
    int x0 = sx, x1 = sx;
    while (x0 > 0 && open(x0 - 1, y)) --x0;
    while (x1 < sizeX - 1 && open(x1 + 1, y)) ++x1;
    std::fill(seen.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(y) * w + x0),
              seen.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(y) * w + x1 + 1), 1);
    paint(x0, x1, y);
    for (const int ny : {y - 1, y + 1}) {
      if (ny < 0 || ny >= sizeY) continue;
      for (int x = x0; x <= x1; ++x) {
        if (!open(x, ny)) continue;
        stack.emplace_back(x, ny);
        while (x < x1 && open(x + 1, ny)) ++x;  // one seed per run
      }
    }
  }
}

}  // namespace

int CSSEMatrix::FillArea(int x, int y, float value) {
  if (!HasPixels()) return 0;
  x = std::clamp(x, 0, sizeX - 1);
  y = std::clamp(y, 0, sizeY - 1);
  const float seed = *pixel(x, y);
  const bool nanSeed = seed != seed;
  std::vector<std::uint8_t> seen(static_cast<std::size_t>(sizeX) * static_cast<std::size_t>(sizeY), 0);
  int count = 0;
  // Painted pixels are marked seen before anything reads them again, so `fits` always sees the values
  // before the fill even when value itself matches the seed.
  SpanFill(
      sizeX, sizeY, seen, {{x, y}},
      [&](int px, int py) {
        const float p = *pixel(px, py);
        if (nanSeed) return p != p;
        const float d = seed - p;
        return d > -0.002f && d < 0.002f;
      },
      [&](int x0, int x1, int py) {
        for (int px = x0; px <= x1; ++px) *pixel(px, py) = value;
        count += x1 - x0 + 1;
      });
  return count;
}

int CSSEMatrix::FillHoles(float threshold, float value) {
  if (!HasPixels()) return 0;
  const auto w = static_cast<std::size_t>(sizeX);
  std::vector<std::uint8_t> seen(w * static_cast<std::size_t>(sizeY), 0);
  // 1. the background reached from the border
  std::vector<std::pair<int, int>> border;
  for (int x = 0; x < sizeX; ++x) border.insert(border.end(), {{x, 0}, {x, sizeY - 1}});
  for (int y = 0; y < sizeY; ++y) border.insert(border.end(), {{0, y}, {sizeX - 1, y}});
  auto background = [&](int px, int py) { return !(*pixel(px, py) > threshold); };
  SpanFill(sizeX, sizeY, seen, std::move(border), background, [](int, int, int) {});
  // 2. the rest of the background is holes
  int count = 0;
  for (int y = 0; y < sizeY; ++y) {
    for (int x = 0; x < sizeX; ++x) {
      if (seen[static_cast<std::size_t>(y) * w + x] || !background(x, y)) continue;
      *pixel(x, y) = value;
      ++count;
    }
  }
  return count;
}

int CSSEMatrix::RemoveThinAreas(float radius, float threshold, float value) {
  if (!HasPixels()) return 0;
  // The opening of the region's mask: the library's disc erosion, then its dilation.
  CSSEMatrix opened;
  opened.Create(sizeX, sizeY);
  for (int y = 0; y < sizeY; ++y)
    for (int x = 0; x < sizeX; ++x) *opened.pixel(x, y) = *pixel(x, y) > threshold ? 1.0f : 0.0f;
  opened.Errode(radius, 0.0f, 1.0f, 0, sizeX - 1, 0, sizeY - 1);
  opened.Dilate(radius, 0.0f, 1.0f, 0, sizeX - 1, 0, sizeY - 1);
  int count = 0;
  for (int y = 0; y < sizeY; ++y) {
    for (int x = 0; x < sizeX; ++x) {
      float* p = pixel(x, y);
      if (*p > threshold && *opened.pixel(x, y) == 0.0f) {
        *p = value;
        ++count;
      }
    }
  }
  return count;
}
