#pragma once
#include <array>
#include <string>
#include <vector>

#include "cli/Render.h"

// A colour bar with labelled ticks and a unit, set beside a picture so that its colours read as values
// without the code that drew them.
namespace qssse::tool {

// A colour ramp: t from 0 (the low end) to 1 (the high end) to red, green, blue in [0, 1].
using Ramp = std::array<double, 3> (*)(double t);

// Round values from lo to hi (inclusive), 1, 2 or 5 times a power of ten apart, about five of them;
// empty when the range is empty or not finite.
std::vector<double> RoundTicks(double lo, double hi);
// A tick's label: as many decimals as the spacing needs, no exponent, "0" for zero ("-0.1", "12").
std::string TickLabel(double value, double spacing);

// The picture with a panel on its right: the ramp from lo (bottom) to hi (top) as a bar, a tick and a
// label at every round value, and the unit above. The panel is drawn with a 5 x 7 pixel font scaled
// with the picture; a picture lower than the panel needs is extended downwards in the panel's colour.
// The characters drawn are digits, ".", "-", "+", " " and the letters of "mm" and "px"; others are
// left blank.
RgbImage WithColourBar(const RgbImage& picture, Ramp ramp, double lo, double hi, const std::string& unit);

}  // namespace qssse::tool
