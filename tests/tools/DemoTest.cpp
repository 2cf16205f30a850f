// The synthetic restoration and the demo that runs the library on it.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <string>

#include "ToolTestSupport.h"
#include "cli/HeightField.h"
#include "cli/Outline.h"
#include "cli/Png.h"
#include "cli/Summary.h"
#include "cli/Synthetic.h"

using namespace qssse::tool;

TEST(SyntheticCrown, HeightsAreZeroOutsideTheMarginAndRiseFromTheMarginToTheCusps) {
  const SyntheticCrown c = MakeSyntheticCrown(96);
  ASSERT_EQ(c.heights.width, 96);
  const double centre = 0.5 * 95;
  int inside = 0;
  for (int y = 0; y < 96; ++y) {
    for (int x = 0; x < 96; ++x) {
      const double dx = x - centre, dy = y - centre;
      const double r = CrownMarginRadius(96, std::atan2(dy, dx));
      const float h = c.heights.At(x, y);
      ASSERT_TRUE(std::isfinite(h));
      if (std::hypot(dx, dy) >= r) {
        EXPECT_EQ(h, 0.0f) << x << "," << y;
      } else {
        EXPECT_GE(h, c.marginHeight) << x << "," << y;
        ++inside;
      }
    }
  }
  EXPECT_GT(inside, 96 * 96 / 3);
  // The first cusp stands above the fissure at the centre, which stands above the wall's foot.
  const float cusp =
      c.heights.At(static_cast<int>(centre - 0.33 * 0.4 * 96), static_cast<int>(centre - 0.30 * 0.4 * 96));
  const float fissure = c.heights.At(48, 48);
  EXPECT_GT(cusp, fissure + 1.0f);
  EXPECT_GT(fissure, 4.0f);
}

TEST(SyntheticCrown, MarginRingLiesOnTheMarginRadiusAtTheMarginHeight) {
  const SyntheticCrown c = MakeSyntheticCrown(64);
  ASSERT_GE(c.margin.size(), 12u);
  const double centre = 31.5;
  for (const Vertex& p : c.margin) {
    const double r = CrownMarginRadius(64, std::atan2(p.y - centre, p.x - centre));
    EXPECT_NEAR(std::hypot(p.x - centre, p.y - centre), r, 1e-3);
    EXPECT_EQ(p.z, c.marginHeight);
  }
  EXPECT_EQ(MakeSyntheticCrown(64).heights.values, c.heights.values);  // deterministic
}

TEST(Demo, WritesItsPicturesAndASummaryThatAgreeWithTheFiles) {
  tooltest::TempDir dir;
  const auto r = tooltest::RunTool(dir, {"demo", "--out", dir / "out", "--size", "80"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("synthetic crown"), std::string::npos);
  EXPECT_NE(r.out.find("chamfer distance"), std::string::npos);
  EXPECT_TRUE(r.err.empty()) << r.err;  // no progress output when stderr is not a terminal

  const HeightField crown = ReadHeightField(dir / "out/crown.pfm");
  EXPECT_EQ(crown.values, MakeSyntheticCrown(80).heights.values);
  EXPECT_EQ(ReadOutline(dir / "out/margin.txt"), MakeSyntheticCrown(80).margin);
  for (const char* picture : {"relief.png", "mask.png", "distance.png", "skeleton.png"}) {
    const std::string description =
        DescribePng(tooltest::ReadAll(dir / ("out/" + std::string(picture))), picture);
    EXPECT_EQ(description, "PNG image 80 x 80, 8-bit RGB") << picture;
  }
  const std::string json = tooltest::ReadText(dir / "out/summary.json");
  EXPECT_EQ(json.rfind("{\n  \"size\": 80,", 0), 0u) << json;
  std::size_t maskPixels = 0;
  for (float v : crown.values) maskPixels += v != 0.0f;
  EXPECT_NE(json.find("\"maskPixels\": " + std::to_string(maskPixels)), std::string::npos) << json;
  EXPECT_NE(json.find("\"outlines.svg\""), std::string::npos);
  EXPECT_NE(tooltest::ReadText(dir / "out/outlines.svg").find("<polygon"), std::string::npos);
}

TEST(Demo, SummaryJsonEscapesTextAndWritesNonFiniteResultsAsNull) {
  Summary s(1);
  s.Result("nan", std::nan(""));
  s.Result("one", 1.0);
  s.File("a\"b\n.png");
  const std::string json = s.Json(16);
  EXPECT_NE(json.find("\"nan\": null"), std::string::npos);
  EXPECT_NE(json.find("\"one\": 1"), std::string::npos);
  EXPECT_NE(json.find("\"a\\\"b\\u000a.png\""), std::string::npos) << json;
}
