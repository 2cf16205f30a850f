// Meshes back into height fields: the `scan` subcommand end to end, also after `mesh`.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "ToolTestSupport.h"
#include "cli/Formats.h"

using namespace qssse::tool;
using tooltest::CountLines;
using tooltest::RunTool;

namespace {

// h = x + 2 y + (x * y) % 3: a plane with bumps, so the maximum and minimum conversions differ.
HeightField Bumpy(int w, int h) {
  HeightField f{w, h, {}};
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) f.values.push_back(static_cast<float>(x + 2 * y + (x * y) % 3 + 1));
  }
  return f;
}

}  // namespace

TEST(ScanCommand, FlatSquareFillsAllButTheRasterCornersWithTheOffset) {
  tooltest::TempDir dir;
  MeshData m;
  m.vertices = {{0, 0, 2}, {10, 0, 2}, {10, 10, 2}, {0, 10, 2}};
  m.triangles = {{0, 1, 2}, {0, 2, 3}};
  WriteMesh(dir / "sq.ply", m);
  const auto r =
      RunTool(dir, {"scan", dir / "sq.ply", dir / "sq.npy", "--resolution", "0.5", "--z-offset", "5"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("20 x 20 pixels, 396 covered by the 2 triangles"), std::string::npos) << r.out;
  const HeightField h = ReadHeightField(dir / "sq.npy");
  for (int y = 0; y < 20; ++y) {
    for (int x = 0; x < 20; ++x) {
      // Samples on the frame are dropped, but the crosses around the pixels next to it reach all of it
      // except the four corners.
      const bool corner = (x == 0 || x == 19) && (y == 0 || y == 19);
      EXPECT_EQ(h.At(x, y), corner ? 0.0f : 5.0f) << x << "," << y;
    }
  }
  const auto sized =
      RunTool(dir, {"scan", dir / "sq.ply", dir / "big.pfm", "--width", "30", "--height", "12"});
  ASSERT_EQ(sized.status, 0) << sized.err;
  const HeightField b = ReadHeightField(dir / "big.pfm");
  EXPECT_EQ(b.width, 30);
  EXPECT_EQ(b.height, 12);
}

TEST(ScanCommand, MeshThenRefinedScanGivesTheHeightFieldBackAndThreadsChangeNothing) {
  tooltest::TempDir dir;
  const HeightField f = Bumpy(9, 7);
  WriteHeightField(dir / "f.pfm", f);
  ASSERT_EQ(RunTool(dir, {"mesh", dir / "f.pfm", dir / "f.stl"}).status, 0);

  // Raster 8 x 6 from the mesh's corner (0, 0); the frame is never written. Heights above the lowest
  // corner (1): an offset of 1 brings the field back.
  const auto refined = RunTool(dir, {"scan", dir / "f.stl", dir / "r.pfm", "--refine", "--z-offset", "1"});
  ASSERT_EQ(refined.status, 0) << refined.err;
  const HeightField r = ReadHeightField(dir / "r.pfm");
  ASSERT_EQ(r.width, 8);
  ASSERT_EQ(r.height, 6);
  for (int y = 1; y < 5; ++y) {
    for (int x = 1; x < 7; ++x) EXPECT_EQ(r.At(x, y), f.At(x, y)) << x << "," << y;
  }

  // Unrefined: the maximum lies between the field and its 5 x 5 maximum, the minimum mirrored.
  for (const char* mode : {"max", "min"}) {
    std::vector<std::string> args = {"scan", dir / "f.stl", dir / "p.pfm", "--z-offset", "1"};
    if (mode == std::string("min")) args.push_back("--min");
    ASSERT_EQ(RunTool(dir, args).status, 0);
    args[2] = dir / "t.pfm";
    args.push_back("--threads");
    ASSERT_EQ(RunTool(dir, args).status, 0);
    const HeightField p = ReadHeightField(dir / "p.pfm");
    EXPECT_EQ(ReadHeightField(dir / "t.pfm").values, p.values) << mode;
    for (int y = 2; y < 4; ++y) {
      for (int x = 2; x < 6; ++x) {
        float lo = f.At(x, y), hi = lo;
        for (int dy = -2; dy <= 2; ++dy) {
          for (int dx = -2; dx <= 2; ++dx) {
            lo = std::min(lo, f.At(x + dx, y + dy));
            hi = std::max(hi, f.At(x + dx, y + dy));
          }
        }
        if (mode == std::string("max")) {
          EXPECT_GE(p.At(x, y), f.At(x, y)) << x << "," << y;
          EXPECT_LE(p.At(x, y), hi) << x << "," << y;
        } else {
          EXPECT_LE(p.At(x, y), f.At(x, y)) << x << "," << y;
          EXPECT_GE(p.At(x, y), lo) << x << "," << y;
        }
      }
    }
  }
}

TEST(ScanCommand, RastersTooLargeOrTooSmallAndBadNamesFailInOneLine) {
  tooltest::TempDir dir;
  MeshData m;
  m.vertices = {{0, 0, 0}, {100, 0, 0}, {0, 100, 1}};
  m.triangles = {{0, 1, 2}};
  WriteMesh(dir / "t.stl", m);
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"scan", dir / "t.stl", dir / "o.pfm", "--resolution", "0.001"}, "raise --resolution"},
      {{"scan", dir / "t.stl", dir / "o.pfm", "--resolution", "50"}, "less than 3 x 3 pixels"},
      {{"scan", dir / "t.stl", dir / "o.gif"}, "o.gif"},
      {{"scan", dir / "missing.stl", dir / "o.pfm"}, "missing.stl"},
  };
  for (const auto& [args, expected] : cases) {
    const auto r = RunTool(dir, args);
    EXPECT_EQ(r.status, 1) << expected;
    EXPECT_EQ(CountLines(r.err), 1) << r.err;
    EXPECT_EQ(r.err.rfind("qssse scan: ", 0), 0u) << r.err;
    EXPECT_NE(r.err.find(expected), std::string::npos) << r.err;
  }
  EXPECT_EQ(RunTool(dir, {"scan", dir / "t.stl", dir / "o.pfm", "--resolution", "-1"}).status, 2);
}
