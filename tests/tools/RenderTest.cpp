// Pictures of rasters: the largest y at the top, and reliefs lit from the top left of the picture.
#include <gtest/gtest.h>

#include "cli/Render.h"

using namespace qssse::tool;

namespace {

// Brightness of picture pixel (column, row from the top).
int Grey(const RgbImage& img, int column, int row) {
  const std::size_t i = 3 * (static_cast<std::size_t>(row) * img.width + column);
  return img.rgb[i] + img.rgb[i + 1] + img.rgb[i + 2];
}

}  // namespace

TEST(Render, PicturesPutTheLargestYAtTheTop) {
  // Only raster row y = 2 (the last) is set: it is the picture's first row.
  const HeightField h{2, 3, {0, 0, 0, 0, 1, 1}};
  for (const RgbImage& img : {RenderMask(h), RenderDistance(h), RenderSkeleton(h, h)}) {
    EXPECT_GT(Grey(img, 0, 0), Grey(img, 0, 2));
    EXPECT_EQ(Grey(img, 1, 1), Grey(img, 1, 2));
  }
  const HeightField diff{1, 2, {-1, 1}};
  const RgbImage d = RenderDifference(diff, 1.0f);
  EXPECT_GT(d.rgb[0], d.rgb[2]);  // the top row shows y = 1, the positive (red) difference
  EXPECT_LT(d.rgb[3], d.rgb[5]);
}

TEST(Render, ReliefIsLitFromTheTopLeftOfThePicture) {
  // Two ramps over the same heights side by side: the left one falls towards larger y, so it faces
  // the top of the picture and the light; the right one rises towards larger y and faces away.
  HeightField h{8, 8, {}};
  for (int y = 0; y < 8; ++y)
    for (int x = 0; x < 8; ++x) h.values.push_back(x < 4 ? 10.0f - y : 3.0f + y);
  const RgbImage img = RenderRelief(h, 1.0);
  EXPECT_GT(Grey(img, 1, 4), Grey(img, 6, 4));
  // Along x: the ramp rising towards larger x faces the left and the light. It lies at y = 4..7, the
  // picture's top rows.
  HeightField across{8, 8, {}};
  for (int y = 0; y < 8; ++y)
    for (int x = 0; x < 8; ++x) across.values.push_back(y < 4 ? 10.0f - x : 3.0f + x);
  const RgbImage a = RenderRelief(across, 1.0);
  EXPECT_GT(Grey(a, 4, 1), Grey(a, 4, 6));
}
