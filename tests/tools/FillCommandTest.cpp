// Outlines into rasters: the `fill` subcommand end to end.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ToolTestSupport.h"
#include "cli/Formats.h"


namespace {

// The square [a, b] x [a, b] as a counter-clockwise ring of points `spacing` apart, z = 10 x.
OutlinePoints Square(float a, float b, float spacing) {
  OutlinePoints ring = tooltest::Square(a, b, spacing);
  for (Vertex& p : ring) p.z = 10.0f * p.x;
  return ring;
}

}  // namespace

TEST(FillCommand, FillsTheCellsInsideTheOutlineWithTheValueOrTheOutlineHeightsOnARasterCoveringIt) {
  tooltest::TempDir dir;
  WriteFileBytes(dir / "sq.txt", EncodeOutlineText(Square(1.5f, 6.5f, 0.5f)));
  ASSERT_RUN_OK(r, dir, {"fill", dir / "sq.txt", dir / "mask.npy", "--value", "3"});
  EXPECT_TRUE(Contains(r.out, "8 x 8, 25 pixels inside the outline of 40 points"));
  const HeightField m = ReadHeightField(dir / "mask.npy");
  ASSERT_EQ(m.width, 8);
  ASSERT_EQ(m.height, 8);
  for (int y = 0; y < 8; ++y) {
    for (int x = 0; x < 8; ++x) {
      const bool inside = x >= 2 && x <= 6 && y >= 2 && y <= 6;
      EXPECT_EQ(m.At(x, y), inside ? 3.0f : 0.0f) << x << "," << y;
    }
  }
  ASSERT_RUN_OK(wide, dir, {"fill", dir / "sq.txt", dir / "wide.pfm", "--width", "12", "--height", "9"});
  const HeightField w = ReadHeightField(dir / "wide.pfm");
  EXPECT_EQ(w.width, 12);
  EXPECT_EQ(w.At(6, 6), 1.0f);

  // With --heights the values come from the outline points and stay within their range.
  ASSERT_RUN_OK(heights, dir, {"fill", dir / "sq.txt", dir / "h.pfm", "--heights"});
  const HeightField h = ReadHeightField(dir / "h.pfm");
  for (int y = 0; y < 8; ++y) {
    for (int x = 0; x < 8; ++x) {
      if (x >= 2 && x <= 6 && y >= 2 && y <= 6) {
        EXPECT_GT(h.At(x, y), 15.0f) << x << "," << y;
        EXPECT_LT(h.At(x, y), 65.0f) << x << "," << y;
      } else {
        EXPECT_EQ(h.At(x, y), 0.0f) << x << "," << y;
      }
    }
  }
  // z = 10 x on the ring: across the middle row the heights rise with x.
  for (int x = 2; x < 6; ++x) EXPECT_LT(h.At(x, 4), h.At(x + 1, 4)) << x;
}

TEST(FillCommand, BadOutlinesAndSizesFailWithOneLineNamingTheFile) {
  tooltest::TempDir dir;
  WriteFileBytes(dir / "two.txt", "0 0 0\n5 5 0\n");
  WriteFileBytes(dir / "far.txt", "0 0 0\n1e9 0 0\n1e9 1e9 0\n");
  WriteFileBytes(dir / "ok.txt", "0 0 0\n4 0 0\n4 4 0\n");
  const std::vector<std::vector<std::string>> cases = {
      {"fill", dir / "two.txt", dir / "o.pfm"},
      {"fill", dir / "far.txt", dir / "o.pfm"},
      {"fill", dir / "ok.txt", dir / "o.bmp"},
  };
  for (const auto& c : cases) {
    EXPECT_TRUE(FailedInOneLine(RunTool(dir, c), 1, "qssse fill: ")) << c[1];
  }
  EXPECT_TRUE(Contains(RunTool(dir, cases[0]).err, dir / "two.txt"));
  EXPECT_TRUE(Contains(RunTool(dir, cases[1]).err, "--width and --height"));
}
