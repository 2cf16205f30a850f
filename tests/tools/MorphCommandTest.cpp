// qssse morph: the values of its operations on small rasters worked out by hand.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ToolTestSupport.h"
#include "cli/Formats.h"
#include "cli/Morphology.h"
#include "qssse/raster/SSEMatrix.h"

using tooltest::ExpectPixels;

namespace {

using Rows = std::vector<std::vector<float>>;

HeightField FromRows(const Rows& rows) {
  HeightField f{static_cast<int>(rows[0].size()), static_cast<int>(rows.size()), {}};
  for (const auto& row : rows) f.values.insert(f.values.end(), row.begin(), row.end());
  return f;
}

Rows ToRows(const HeightField& f) {
  Rows rows(f.height);
  for (int y = 0; y < f.height; ++y)
    rows[y].assign(f.values.begin() + y * f.width, f.values.begin() + (y + 1) * f.width);
  return rows;
}

// Runs `qssse morph <args> in.npy out.pfm` on the field and returns the result.
HeightField Morph(const tooltest::TempDir& dir, const HeightField& in, std::vector<std::string> args) {
  WriteHeightField(dir / "in.npy", in);
  args.insert(args.begin() + 1, {dir / "in.npy", dir / "out.pfm"});
  args.insert(args.begin(), "morph");
  const auto r = RunTool(dir, args);
  EXPECT_EQ(r.status, 0) << r.err;
  return ReadHeightField(dir / "out.pfm");
}

const Rows kField = {{5, 3, 8, 1}, {2, 9, 4, 7}, {6, 0, 5, 3}};

}  // namespace

TEST(MorphCommand, ChamferIsInPixelsByDefaultAndClearsTheDocumentedFrame) {
  tooltest::TempDir dir;
  HeightField dot{20, 20, std::vector<float>(400, 0.0f)};
  dot.At(9, 9) = 1.0f;
  const HeightField d = Morph(dir, dot, {"chamfer"});
  ExpectPixels(d, {{9, 9, 0.0f}, {10, 9, 1.0f}, {9, 7, 2.0f}, {8, 8, 4.0f / 3.0f}, {7, 8, 7.0f / 3.0f}});
  // The frame of --help: 4 columns left, 5 right, 4 rows at the top, 4 + (20 mod 4) at the bottom.
  ExpectPixels(d, {{4, 9, 5.0f}, {3, 9, 0.0f}, {14, 9, 5.0f}, {15, 9, 0.0f}, {9, 4, 5.0f}, {9, 3, 0.0f},
                   {9, 15, 6.0f}, {9, 16, 0.0f}});
  ExpectPixels(Morph(dir, dot, {"chamfer", "--units", "chamfer"}), {{10, 9, 3.0f}, {8, 8, 4.0f}, {7, 8, 7.0f}});
  // A height of 23 clears 4 + 3 rows at the bottom.
  HeightField tall{20, 23, std::vector<float>(460, 0.0f)};
  tall.At(9, 9) = 1.0f;
  ExpectPixels(Morph(dir, tall, {"chamfer"}), {{9, 15, 6.0f}, {9, 16, 0.0f}});
}

TEST(MorphCommand, ErodeAndDilateAreTheMinimumAndMaximumOverTheDiscOrBinaryOnTheRegionAboveAThreshold) {
  tooltest::TempDir dir;
  // Radius 1: the pixel and its four neighbours inside the field.
  EXPECT_EQ(ToRows(Morph(dir, FromRows(kField), {"erode", "--radius", "1"})),
            (Rows{{2, 3, 1, 1}, {2, 0, 4, 1}, {0, 0, 0, 3}}));
  EXPECT_EQ(ToRows(Morph(dir, FromRows(kField), {"dilate", "--radius", "1"})),
            (Rows{{5, 9, 8, 8}, {9, 9, 9, 7}, {6, 9, 5, 7}}));
  // Radius 1.5 adds the diagonals: (0, 0) also sees 9 and (3, 2) also sees 4.
  const Rows box = ToRows(Morph(dir, FromRows(kField), {"erode", "--radius", "1.5"}));
  EXPECT_EQ(box[0][0], 2.0f);
  EXPECT_EQ(box[2][3], 3.0f);
  EXPECT_EQ(ToRows(Morph(dir, FromRows(kField), {"dilate", "--radius", "1.5"}))[2][3], 7.0f);
  // Below 1 the disc is the pixel itself.
  EXPECT_EQ(ToRows(Morph(dir, FromRows(kField), {"erode", "--radius", "0.5"})), kField);
  // --binary works on the region above the threshold. Above 2.5: {1 1 1 0 / 0 1 1 1 / 1 0 1 1}; a region pixel with a background neighbour goes.
  EXPECT_EQ(ToRows(Morph(dir, FromRows(kField), {"erode", "--radius", "1", "--binary", "2.5"})),
            (Rows{{0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}));
  // Above 6.5: {0 0 1 0 / 0 1 0 1 / 0 0 0 0}; every neighbour of a region pixel joins it.
  EXPECT_EQ(ToRows(Morph(dir, FromRows(kField), {"dilate", "--radius", "1", "--binary", "6.5"})),
            (Rows{{0, 1, 1, 1}, {1, 1, 1, 1}, {0, 1, 0, 1}}));
}

TEST(MorphCommand, OptionsOfAnotherOperationAreRefused) {
  tooltest::TempDir dir;
  WriteHeightField(dir / "in.npy", FromRows(kField));
  EXPECT_TRUE(ExitedWith(RunTool(dir, {"morph", "chamfer", dir / "in.npy", dir / "out.pfm", "--binary", "1"}), 1,
                         "--binary applies to erode and dilate"));
  EXPECT_TRUE(ExitedWith(RunTool(dir, {"morph", "erode", dir / "in.npy", dir / "out.pfm", "--units", "chamfer"}), 1,
                         "--units applies to chamfer"));
  const auto help = RunTool(dir, {"morph", "--help"});
  EXPECT_TRUE(Contains(help.out, "the bottom 4 to 7 rows"));
}

TEST(MorphCommand, ThinningRepeatsUntilNoPixelChanges) {
  // A square 2010 pixels wide needs about 1005 peelings, more than one run of the library's
  // thinning does (at most 1000 iterations).
  CSSEMatrix square;
  square.Create(2016, 2016);
  for (int y = 3; y < 2013; ++y)
    for (int x = 3; x < 2013; ++x) square.SetPoint(x, y, 1.0f);
  CSSEMatrix once(square);
  once.ZhangSuen(0.5f);
  EXPECT_GE(ThinUntilStable(square, 0.5f), 3);  // the first run, one that thins more, one that does not
  EXPECT_LT(square.NumValuesAbove(0.5f), once.NumValuesAbove(0.5f));
  CSSEMatrix again(square);
  again.ZhangSuen(0.5f);
  EXPECT_EQ(again.NumValuesAbove(0.5f), square.NumValuesAbove(0.5f));
}
