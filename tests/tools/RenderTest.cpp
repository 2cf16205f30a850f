// Pictures of rasters: the largest y at the top, and reliefs lit from the top left of the picture.
#include <gtest/gtest.h>

#include <cmath>
#include <utility>
#include <vector>

#include "cli/ColourBar.h"
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
  for (const RgbImage& img : {RenderMask(h), RenderDistance(h)}) {
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

TEST(Render, SkeletonIsDrawnThickInRedOverTheRelief) {
  // One skeleton pixel at (5, 2) of a flat 12 x 10 relief: a red disc of radius 2 in a dark rim, at
  // picture row 9 - y.
  HeightField h{12, 10, std::vector<float>(120, 1.0f)}, skeleton{12, 10, std::vector<float>(120, 0.0f)};
  skeleton.At(5, 2) = 1.0f;
  const RgbImage img = RenderSkeleton(h, 1.0, skeleton, 2);
  const auto red = [&](int x, int y) {
    const std::size_t i = 3 * (static_cast<std::size_t>(9 - y) * 12 + x);
    return img.rgb[i] > 200 && img.rgb[i + 1] < 80;
  };
  for (auto [x, y] : {std::pair{5, 2}, {7, 2}, {3, 2}, {5, 0}, {5, 4}})
    EXPECT_TRUE(red(x, y)) << x << "," << y;
  EXPECT_FALSE(red(5, 5));
  EXPECT_LT(Grey(img, 5, 9 - 5), 100);  // the rim
  EXPECT_GT(Grey(img, 5, 9 - 7), 200);  // the relief
  EXPECT_GT(Grey(img, 11, 0), 200);
}

TEST(ColourBar, TicksAreRoundValuesWithPlainLabels) {
  EXPECT_EQ(RoundTicks(-0.333, 0.333), (std::vector<double>{-0.3, -0.2, -0.1, 0.0, 0.1, 0.2, 0.3}));
  EXPECT_EQ(RoundTicks(0, 3.72), (std::vector<double>{0, 0.5, 1, 1.5, 2, 2.5, 3, 3.5}));
  EXPECT_EQ(RoundTicks(0, 119), (std::vector<double>{0, 20, 40, 60, 80, 100}));
  EXPECT_TRUE(RoundTicks(1, 1).empty());
  EXPECT_TRUE(RoundTicks(0, std::nan("")).empty());
  EXPECT_EQ(TickLabel(-0.1, 0.1), "-0.1");
  EXPECT_EQ(TickLabel(0.1 * 3 - 0.3, 0.1), "0");  // not "-0.0" or "0.0"
  EXPECT_EQ(TickLabel(1.5, 0.5), "1.5");
  EXPECT_EQ(TickLabel(100, 20), "100");
  EXPECT_EQ(TickLabel(4e-6, 1e-6), "0.000004");
}

TEST(ColourBar, PanelBesideThePictureShowsTheRampFromLowAtTheBottomToHighAtTheTop) {
  const HeightField d{40, 200, std::vector<float>(8000, 0.0f)};
  const RgbImage picture = RenderDifference(d, 1.0f);
  const RgbImage img = WithColourBar(picture, DifferenceRamp, -0.3, 0.3, "mm");
  ASSERT_EQ(img.height, 200);
  ASSERT_GT(img.width, 40 + 40);
  EXPECT_EQ(std::vector<unsigned char>(img.rgb.begin(), img.rgb.begin() + 3 * 40),
            std::vector<unsigned char>(picture.rgb.begin(), picture.rgb.begin() + 3 * 40));
  // The bar's column: blue at the bottom, white in the middle, red at the top (scale 1 at this height).
  const auto at = [&](int x, int y) { return &img.rgb[3 * (static_cast<std::size_t>(y) * img.width + x)]; };
  const int bar = 40 + 6 + 6;
  EXPECT_GT(at(bar, 17)[0], 240);
  EXPECT_LT(at(bar, 17)[2], 80);
  EXPECT_LT(at(bar, 192)[0], 80);
  EXPECT_GT(at(bar, 192)[2], 240);
  // Ink for the unit and the labels to the right of the bar; none below the last label.
  int ink = 0;
  for (int y = 0; y < img.height; ++y) {
    for (int x = 40; x < img.width; ++x) ink += at(x, y)[0] < 60 && at(x, y)[1] < 60 && at(x, y)[2] < 60;
  }
  EXPECT_GT(ink, 100);
  // A low picture gets a panel of full height.
  EXPECT_EQ(
      WithColourBar(RenderDistance(HeightField{4, 4, std::vector<float>(16, 1.0f)}), DistanceRamp, 0, 1, "px")
          .height,
      80);
}
