#pragma once
#include <array>
#include <string>
#include <vector>

#include "cli/Formats.h"

// Pictures of rasters for a person: shaded relief, masks, distance maps, skeletons and differences.
// Every picture puts the raster's largest y at the top, as on a plotted surface (so a model with y
// pointing up is not shown upside down): picture row 0 shows raster row height - 1.
namespace qssse::tool {

struct RgbImage {
  int width = 0;
  int height = 0;
  std::vector<unsigned char> rgb;  // 3 bytes per pixel, rows from the top of the picture
};

// Hill-shaded relief lit from the upper left, tinted from dark (low) to ivory (high); pixels at exactly
// `background` (0, the library's "no value") are drawn dark grey. `pixelSize` is the x/y spacing in
// height units, so slopes are shaded true to scale.
RgbImage RenderRelief(const HeightField& h, double pixelSize, float background = 0.0f);
// Non-zero pixels white, zero pixels black.
RgbImage RenderMask(const HeightField& h);
// Values from 0 to the maximum on DistanceRamp (t = value / maximum); 0 black.
RgbImage RenderDistance(const HeightField& h);
// The relief of `heights` (as RenderRelief) with the non-zero pixels of `skeleton` drawn over it as red
// discs of the given radius in a dark rim, so that a line one pixel wide shows in a large picture.
RgbImage RenderSkeleton(const HeightField& heights, double pixelSize, const HeightField& skeleton,
                        int radius);
// Differences on DifferenceRamp saturating at +-bound (t = (difference / bound + 1) / 2); pixels where
// `valid` is 0 (when given) are drawn light grey.
RgbImage RenderDifference(const HeightField& diff, float bound, const HeightField* valid = nullptr);

// The ramps of the two pictures above, t from 0 to 1 (for their colour bars): dark blue, teal, yellow;
// blue (t = 0), white (t = 0.5), red (t = 1).
std::array<double, 3> DistanceRamp(double t);
std::array<double, 3> DifferenceRamp(double t);

void WritePng(const std::string& path, const RgbImage& image);

}  // namespace qssse::tool
