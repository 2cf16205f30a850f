// Height fields as greyscale PNG: levels mapped through a height scale, transparency as "no height".
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "qssse/io/HeightField.h"
#include "qssse/io/IoException.h"
#include "qssse/io/Png.h"

namespace qssse::io {
namespace {

std::uint16_t Level(float h, double offset, double scale, int maxLevel) {
  const double l = std::round((static_cast<double>(h) - offset) / scale);
  return static_cast<std::uint16_t>(std::clamp(l, 0.0, static_cast<double>(maxLevel)));
}

}  // namespace

HeightField ParsePngHeights(const std::vector<unsigned char>& bytes, const std::string& file,
                            const PngScale& s) {
  const PngGrey img = DecodePngGrey(bytes, file);
  double scale = 1.0, offset = 0.0;
  auto number = [&](const char* key, double& v) {
    auto it = img.text.find(key);
    if (it == img.text.end()) return;
    char* end = nullptr;
    v = std::strtod(it->second.c_str(), &end);
    if (end == it->second.c_str() || *end != '\0' || !std::isfinite(v)) {
      throw CIoException(file,
                         std::string("PNG text chunk ") + key + " '" + it->second + "' is not a number");
    }
  };
  number("HeightScale", scale);
  number("HeightOffset", offset);
  if (s.haveScale) scale = s.scale;
  if (s.haveOffset) offset = s.offset;
  HeightField out{img.width, img.height, std::vector<float>(img.levels.size())};
  for (std::size_t i = 0; i < img.levels.size(); ++i) {
    // A fully transparent pixel shows nothing: it carries no height. Partial opacity keeps the level.
    out.values[i] = !img.alpha.empty() && img.alpha[i] == 0
                        ? std::numeric_limits<float>::quiet_NaN()
                        : static_cast<float>(offset + scale * img.levels[i]);
  }
  return out;
}

std::vector<unsigned char> EncodePngHeights(const HeightField& h, const PngScale& s) {
  const int maxLevel = s.bits == 8 ? 255 : 65535;
  float lo = 0.0f, hi = 0.0f;
  bool any = false, anyNaN = false;
  for (std::size_t i = 0; i < h.values.size(); ++i) {
    const float v = h.values[i];
    if (std::isnan(v)) {
      anyNaN = true;
      continue;
    }
    if (!std::isfinite(v)) {
      throw CIoException("PNG output", "pixel (" + std::to_string(i % static_cast<std::size_t>(h.width)) +
                                           ", " + std::to_string(i / static_cast<std::size_t>(h.width)) +
                                           ") is infinite: a PNG holds finite heights only");
    }
    lo = any ? std::min(lo, v) : v;
    hi = any ? std::max(hi, v) : v;
    any = true;
  }
  const double offset = s.haveOffset ? s.offset : lo;
  double scale = s.haveScale ? s.scale : (static_cast<double>(hi) - offset) / maxLevel;
  if (!(scale > 0.0) || !std::isfinite(scale)) scale = 1.0;
  std::vector<std::uint16_t> levels(h.values.size()), alpha;
  if (anyNaN) alpha.assign(h.values.size(), static_cast<std::uint16_t>(maxLevel));
  for (std::size_t i = 0; i < levels.size(); ++i) {
    if (std::isnan(h.values[i])) {
      alpha[i] = 0;
      continue;
    }
    levels[i] = Level(h.values[i], offset, scale, maxLevel);
  }
  char buf[2][64];
  std::snprintf(buf[0], sizeof buf[0], "%.17g", scale);
  std::snprintf(buf[1], sizeof buf[1], "%.17g", offset);
  return EncodePngGrey(h.width, h.height, s.bits, levels, {{"HeightScale", buf[0]}, {"HeightOffset", buf[1]}},
                       anyNaN ? &alpha : nullptr);
}

}  // namespace qssse::io
