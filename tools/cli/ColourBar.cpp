#include "cli/ColourBar.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace qssse::tool {
namespace {

// 5 x 7 pixel glyphs, one byte per row from the top, bit 4 the left column.
struct Glyph {
  char c;
  unsigned char rows[7];
};
constexpr Glyph kFont[] = {
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}}, {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}}, {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}}, {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}}, {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}}, {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {'.', {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C}}, {'-', {0x00, 0x00, 0x00, 0x1F, 0x00, 0x00, 0x00}},
    {'+', {0x00, 0x04, 0x04, 0x1F, 0x04, 0x04, 0x00}}, {'m', {0x00, 0x00, 0x1A, 0x15, 0x15, 0x11, 0x11}},
    {'p', {0x00, 0x00, 0x1E, 0x11, 0x1E, 0x10, 0x10}}, {'x', {0x00, 0x00, 0x11, 0x0A, 0x04, 0x0A, 0x11}},
};

constexpr std::array<double, 3> kPanel = {1.0, 1.0, 1.0};
constexpr std::array<double, 3> kInk = {0.12, 0.12, 0.14};

class Canvas {
 public:
  Canvas(int width, int height)
      : img_{width, height, std::vector<unsigned char>(3 * std::size_t(width) * height)} {}
  void Put(int x, int y, const std::array<double, 3>& c) {
    if (x < 0 || y < 0 || x >= img_.width || y >= img_.height) return;
    const std::size_t i = 3 * (static_cast<std::size_t>(y) * img_.width + x);
    for (int k = 0; k < 3; ++k)
      img_.rgb[i + k] = static_cast<unsigned char>(std::clamp(c[k], 0.0, 1.0) * 255.0 + 0.5);
  }
  void Fill(int x0, int y0, int x1, int y1, const std::array<double, 3>& c) {
    for (int y = y0; y < y1; ++y) {
      for (int x = x0; x < x1; ++x) Put(x, y, c);
    }
  }
  // Text with its top left corner at (x, y), glyphs scaled by s.
  void Text(int x, int y, const std::string& text, int s) {
    for (char ch : text) {
      for (const Glyph& g : kFont) {
        if (g.c != ch) continue;
        for (int row = 0; row < 7; ++row) {
          for (int col = 0; col < 5; ++col) {
            if (g.rows[row] & (0x10 >> col))
              Fill(x + col * s, y + row * s, x + (col + 1) * s, y + (row + 1) * s, kInk);
          }
        }
      }
      x += 6 * s;
    }
  }
  RgbImage& Image() { return img_; }

 private:
  RgbImage img_;
};

}  // namespace

std::vector<double> RoundTicks(double lo, double hi) {
  std::vector<double> ticks;
  if (!(hi > lo) || !std::isfinite(lo) || !std::isfinite(hi)) return ticks;
  const double raw = (hi - lo) / 5.0;
  const int exponent = static_cast<int>(std::floor(std::log10(raw)));
  const double magnitude = std::pow(10.0, exponent);
  const double f = raw / magnitude;
  const double multiple = f < 1.5 ? 1.0 : f < 3.5 ? 2.0 : f < 7.5 ? 5.0 : 10.0;
  const double step = multiple * magnitude;
  // Counted in whole steps and divided by a power of ten where it is below 1, so that tick 3 of 0.1 is
  // 0.3 itself, not 0.30000000000000004.
  const double tenths = exponent < 0 ? std::pow(10.0, -exponent) : 1.0;
  for (double k = std::ceil(lo / step - 1e-9); k * step <= hi + 1e-9 * step; k += 1.0)
    ticks.push_back(exponent < 0 ? k * multiple / tenths : k * step);
  return ticks;
}

std::string TickLabel(double value, double spacing) {
  const int decimals =
      spacing > 0 ? std::max(0, static_cast<int>(-std::floor(std::log10(spacing) + 1e-9))) : 0;
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.*f", decimals, value);
  // Zero is "0", never "-0" or "0.0".
  return std::fabs(value) < 0.5 * spacing ? std::string("0") : std::string(buf);
}

RgbImage WithColourBar(const RgbImage& picture, Ramp ramp, double lo, double hi, const std::string& unit) {
  // Sizes in font pixels, scaled with the picture: 5 x 7 glyphs in a cell of 6 x 9.
  const int s = std::max(1, (picture.height + 100) / 200);
  const std::vector<double> ticks = RoundTicks(lo, hi);
  const double spacing = ticks.size() > 1 ? ticks[1] - ticks[0] : 0.0;
  std::size_t longest = unit.size();
  for (double t : ticks) longest = std::max(longest, TickLabel(t, spacing).size());
  const int barLeft = 6 * s, barWidth = 12 * s, tick = 4 * s;
  const int panel = barLeft + barWidth + tick + 3 * s + static_cast<int>(longest) * 6 * s + 5 * s;
  const int height = std::max(picture.height, 80 * s);
  Canvas c(picture.width + panel, height);
  c.Fill(0, 0, picture.width + panel, height, kPanel);
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      const std::size_t i = 3 * (static_cast<std::size_t>(y) * picture.width + x);
      c.Put(x, y, {picture.rgb[i] / 255.0, picture.rgb[i + 1] / 255.0, picture.rgb[i + 2] / 255.0});
    }
  }
  const int x0 = picture.width + barLeft;
  const int top = 16 * s, bottom = height - 6 * s;
  c.Text(x0, 4 * s, unit, s);
  for (int y = top; y < bottom; ++y) {
    const double t = bottom - 1 > top ? static_cast<double>(bottom - 1 - y) / (bottom - 1 - top) : 0.5;
    c.Fill(x0, y, x0 + barWidth, y + 1, ramp(t));
  }
  // A frame round the bar, and the ticks with their labels, skipping a label that would overlap the one
  // above it.
  c.Fill(x0 - s, top - s, x0 + barWidth + s, top, kInk);
  c.Fill(x0 - s, bottom, x0 + barWidth + s, bottom + s, kInk);
  c.Fill(x0 - s, top, x0, bottom, kInk);
  c.Fill(x0 + barWidth, top, x0 + barWidth + s, bottom, kInk);
  int lastLabel = -1000000;
  for (auto it = ticks.rbegin(); it != ticks.rend(); ++it) {
    const int y = top + static_cast<int>(std::lround((hi - *it) / (hi - lo) * (bottom - 1 - top)));
    c.Fill(x0 + barWidth, y - s / 2, x0 + barWidth + tick, y - s / 2 + s, kInk);
    if (y - 3 * s < lastLabel + 9 * s) continue;
    c.Text(x0 + barWidth + tick + 3 * s, y - 3 * s, TickLabel(*it, spacing), s);
    lastLabel = y - 3 * s;
  }
  return std::move(c.Image());
}

}  // namespace qssse::tool
