#include "cli/Render.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "cli/Formats.h"

namespace qssse::tool {
namespace {

RgbImage Blank(const HeightField& h) {
  return {h.width, h.height, std::vector<unsigned char>(static_cast<std::size_t>(h.width) * h.height * 3)};
}

void Put(RgbImage& img, std::size_t i, double r, double g, double b) {
  img.rgb[3 * i] = static_cast<unsigned char>(std::clamp(r, 0.0, 1.0) * 255.0 + 0.5);
  img.rgb[3 * i + 1] = static_cast<unsigned char>(std::clamp(g, 0.0, 1.0) * 255.0 + 0.5);
  img.rgb[3 * i + 2] = static_cast<unsigned char>(std::clamp(b, 0.0, 1.0) * 255.0 + 0.5);
}

double Lerp(double a, double b, double t) { return a + (b - a) * t; }

// The pictures are drawn in the raster's row order and then turned upside down, so that the largest
// y is at the top, as on a plotted surface.
RgbImage YUp(RgbImage img) {
  const std::size_t row = static_cast<std::size_t>(img.width) * 3;
  for (int top = 0, bottom = img.height - 1; top < bottom; ++top, --bottom) {
    std::swap_ranges(img.rgb.begin() + static_cast<std::ptrdiff_t>(top * row),
                     img.rgb.begin() + static_cast<std::ptrdiff_t>((top + 1) * row),
                     img.rgb.begin() + static_cast<std::ptrdiff_t>(bottom * row));
  }
  return img;
}

}  // namespace

RgbImage RenderRelief(const HeightField& h, double pixelSize, float background) {
  RgbImage img = Blank(h);
  float lo = 0.0f, hi = 0.0f;
  bool any = false;
  for (float v : h.values) {
    if (v == background || !std::isfinite(v)) continue;
    lo = any ? std::min(lo, v) : v;
    hi = any ? std::max(hi, v) : v;
    any = true;
  }
  const double range = hi > lo ? hi - lo : 1.0;
  // Light from the upper left of the picture (low x, high y) and a little above, as a person expects a
  // relief to be lit.
  const double lx = -0.5, ly = 0.5, lz = 0.707;
  for (int y = 0; y < h.height; ++y) {
    for (int x = 0; x < h.width; ++x) {
      const std::size_t i = static_cast<std::size_t>(y) * h.width + x;
      const float v = h.At(x, y);
      if (v == background || !std::isfinite(v)) {
        Put(img, i, 0.16, 0.17, 0.19);
        continue;
      }
      const auto at = [&](int xx, int yy) {
        const float w = h.At(std::clamp(xx, 0, h.width - 1), std::clamp(yy, 0, h.height - 1));
        return (w == background || !std::isfinite(w)) ? v : w;
      };
      const double dx = (at(x + 1, y) - at(x - 1, y)) / (2 * pixelSize);
      const double dy = (at(x, y + 1) - at(x, y - 1)) / (2 * pixelSize);
      const double len = std::sqrt(dx * dx + dy * dy + 1.0);
      const double shade = std::max(0.0, (-dx * lx - dy * ly + lz) / len);
      const double t = (v - lo) / range;
      const double light = 0.25 + 0.75 * shade;
      Put(img, i, light * Lerp(0.55, 1.00, t), light * Lerp(0.45, 0.96, t), light * Lerp(0.40, 0.86, t));
    }
  }
  return YUp(std::move(img));
}

RgbImage RenderMask(const HeightField& h) {
  RgbImage img = Blank(h);
  for (std::size_t i = 0; i < h.values.size(); ++i) {
    const double g = h.values[i] != 0.0f ? 1.0 : 0.0;
    Put(img, i, g, g, g);
  }
  return YUp(std::move(img));
}

std::array<double, 3> DistanceRamp(double t) {
  t = std::clamp(t, 0.0, 1.0);
  // dark blue -> teal -> yellow
  if (t < 0.5) return {Lerp(0.17, 0.13, 2 * t), Lerp(0.05, 0.57, 2 * t), Lerp(0.45, 0.55, 2 * t)};
  return {Lerp(0.13, 0.99, 2 * t - 1), Lerp(0.57, 0.91, 2 * t - 1), Lerp(0.55, 0.14, 2 * t - 1)};
}

std::array<double, 3> DifferenceRamp(double t) {
  const double d = 2.0 * std::clamp(t, 0.0, 1.0) - 1.0;
  if (d >= 0) return {1.0, 1.0 - 0.8 * d, 1.0 - 0.8 * d};
  return {1.0 + 0.8 * d, 1.0 + 0.8 * d, 1.0};
}

RgbImage RenderDistance(const HeightField& h) {
  RgbImage img = Blank(h);
  float hi = 0.0f;
  for (float v : h.values) {
    if (std::isfinite(v)) hi = std::max(hi, v);
  }
  for (std::size_t i = 0; i < h.values.size(); ++i) {
    const float v = h.values[i];
    if (!(v > 0.0f) || !std::isfinite(v)) {
      Put(img, i, 0, 0, 0);
      continue;
    }
    const std::array<double, 3> c = DistanceRamp(v / hi);
    Put(img, i, c[0], c[1], c[2]);
  }
  return YUp(std::move(img));
}

RgbImage RenderSkeleton(const HeightField& heights, double pixelSize, const HeightField& skeleton,
                        int radius) {
  RgbImage img = RenderRelief(heights, pixelSize);  // already turned: picture row = height - 1 - y
  radius = std::max(radius, 0);
  const auto disc = [&](int r, double red, double green, double blue) {
    for (int y = 0; y < skeleton.height; ++y) {
      for (int x = 0; x < skeleton.width; ++x) {
        if (skeleton.At(x, y) == 0.0f) continue;
        for (int dy = -r; dy <= r; ++dy) {
          for (int dx = -r; dx <= r; ++dx) {
            const int px = x + dx, row = img.height - 1 - (y + dy);
            if (dx * dx + dy * dy > r * r + r || px < 0 || px >= img.width || row < 0 || row >= img.height)
              continue;
            Put(img, static_cast<std::size_t>(row) * img.width + px, red, green, blue);
          }
        }
      }
    }
  };
  disc(radius + 1, 0.1, 0.05, 0.05);
  disc(radius, 0.95, 0.15, 0.1);
  return img;
}

RgbImage RenderDifference(const HeightField& diff, float bound, const HeightField* valid) {
  RgbImage img = Blank(diff);
  const double b = bound > 0.0f ? bound : 1.0;
  for (std::size_t i = 0; i < diff.values.size(); ++i) {
    if (valid != nullptr && valid->values[i] == 0.0f) {
      Put(img, i, 0.85, 0.85, 0.85);
      continue;
    }
    const std::array<double, 3> c = DifferenceRamp((std::clamp(diff.values[i] / b, -1.0, 1.0) + 1.0) / 2.0);
    Put(img, i, c[0], c[1], c[2]);
  }
  return YUp(std::move(img));
}

void WritePng(const std::string& path, const RgbImage& image) {
  const std::vector<unsigned char> png = EncodePngRgb(image.width, image.height, image.rgb);
  WriteFileBytes(path, png.data(), png.size());
}

}  // namespace qssse::tool
