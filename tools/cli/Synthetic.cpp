#include "cli/Synthetic.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace qssse::tool {
namespace {

double SmoothStep(double e0, double e1, double x) {
  const double t = std::clamp((x - e0) / (e1 - e0), 0.0, 1.0);
  return t * t * (3 - 2 * t);
}

}  // namespace

double CrownMarginRadius(int size, double theta) {
  // A rounded, slightly lobed ring, as a molar's margin seen from above.
  return 0.40 * size *
         (1.0 + 0.07 * std::cos(2 * theta) + 0.035 * std::cos(3 * theta + 0.6) + 0.02 * std::sin(5 * theta));
}

SyntheticCrown MakeSyntheticCrown(int size) {
  SyntheticCrown c;
  c.pixelSize = 12.0 / size;
  c.marginHeight = 0.6f;
  c.heights = {size, size, std::vector<float>(static_cast<std::size_t>(size) * size, 0.0f)};
  const double cx = 0.5 * (size - 1), cy = 0.5 * (size - 1), radius = 0.40 * size;
  // Cusps: positions relative to the radius, heights in millimetres above the occlusal table.
  const double cusps[4][3] = {
      {-0.33, -0.30, 1.7}, {0.35, -0.28, 1.45}, {-0.30, 0.34, 1.3}, {0.33, 0.32, 1.55}};
  for (int y = 0; y < size; ++y) {
    for (int x = 0; x < size; ++x) {
      const double dx = x - cx, dy = y - cy;
      const double s = std::hypot(dx, dy) / CrownMarginRadius(size, std::atan2(dy, dx));
      if (s >= 1.0) continue;
      // Side wall: a convex bulge from the margin up to the occlusal table at 5 mm.
      const double wall = c.marginHeight + (5.0 - c.marginHeight) * std::sqrt(SmoothStep(1.0, 0.72, s));
      const double u = dx / radius, v = dy / radius;
      double occlusal = 0.0;
      for (const auto& k : cusps) {
        const double du = u - k[0], dv = v - k[1];
        occlusal += k[2] * std::exp(-(du * du + dv * dv) / (2 * 0.2 * 0.2));
      }
      // The central fissure between the cusp pairs, wandering slightly.
      const double fissure = v - 0.05 * std::sin(4 * u);
      occlusal -= 0.55 * std::exp(-fissure * fissure / (2 * 0.06 * 0.06)) * SmoothStep(0.9, 0.4, s);
      c.heights.At(x, y) = static_cast<float>(wall + occlusal * SmoothStep(0.95, 0.7, s));
    }
  }
  // The margin ring, about one point per two pixels of its length.
  const int n = std::max(12, static_cast<int>(2 * std::numbers::pi * radius / 2.0));
  for (int i = 0; i < n; ++i) {
    const double t = 2 * std::numbers::pi * i / n;
    const double r = CrownMarginRadius(size, t);
    c.margin.push_back(
        {static_cast<float>(cx + r * std::cos(t)), static_cast<float>(cy + r * std::sin(t)), c.marginHeight});
  }
  return c;
}

}  // namespace qssse::tool
