// Meshes back into height fields: the `scan` subcommand end to end, also after `mesh`.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "ToolTestSupport.h"
#include "cli/Formats.h"


namespace {

// h = x + 2 y + (x * y) % 3 + 0.25: a plane with bumps, so the maximum and minimum conversions differ.
HeightField Bumpy(int w, int h) {
  HeightField f{w, h, {}};
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) f.values.push_back(static_cast<float>(x + 2 * y + (x * y) % 3) + 0.25f);
  }
  return f;
}

}  // namespace

TEST(ScanCommand, TheZBufferMarksOnlyUncoveredPixelsAsNoData) {
  // A half square at height 0: its pixels hold a real 0, the other half no height.
  tooltest::TempDir dir;
  const MeshData m = tooltest::MeshOf({{0, 0, 0}, {4, 0, 0}, {0, 4, 0}, {4, 4, 7}}, {{0, 1, 2}});
  WriteMesh(dir / "half.ply", m);
  const auto r = RunTool(dir, {"scan", dir / "half.ply", dir / "h.pfm", "--nodata-out", "nan"});
  ASSERT_EQ(r.status, 0);
  // Covered pixels at height 0 are counted as covered (they used to be taken for no value).
  EXPECT_TRUE(Contains(r.out, "5 x 5 pixels, 15 covered by the 1 triangles"));
  HeightFieldReadOptions keep;
  keep.noValue = std::numeric_limits<float>::quiet_NaN();
  const HeightField h = ReadHeightField(dir / "h.pfm", keep);
  ASSERT_EQ(h.width, 5);
  EXPECT_EQ(h.noDataPixels, 10u);  // x + y > 4
  EXPECT_EQ(h.At(2, 2), 0.0f);
  EXPECT_TRUE(std::isnan(h.At(3, 2)));
}

TEST(ScanCommand, FlatSquareFillsItsGridPointsAndARequestedSizeIsKept) {
  tooltest::TempDir dir;
  const MeshData m = tooltest::MeshOf({{0, 0, 2}, {10, 0, 2}, {10, 10, 2}, {0, 10, 2}}, {{0, 1, 2}, {0, 2, 3}});
  WriteMesh(dir / "sq.ply", m);
  ASSERT_RUN_OK(r, dir, {"scan", dir / "sq.ply", dir / "sq.npy", "--resolution", "0.5", "--z-offset", "5"});
  EXPECT_TRUE(Contains(r.out, "21 x 21 pixels, 441 covered by the 2 triangles"));
  const HeightField h = ReadHeightField(dir / "sq.npy");
  EXPECT_EQ(h.values, std::vector<float>(21 * 21, 7.0f));  // z 2 plus the offset, border included

  ASSERT_RUN_OK(sized, dir, {"scan", dir / "sq.ply", dir / "big.pfm", "--width", "30", "--height", "12"});
  const HeightField b = ReadHeightField(dir / "big.pfm");
  ASSERT_EQ(b.width, 30);
  ASSERT_EQ(b.height, 12);
  EXPECT_EQ(b.At(10, 10), 2.0f);
  EXPECT_EQ(b.At(11, 5), 0.0f);  // beyond the mesh
  ASSERT_RUN_OK(stamped, dir,
                {"scan", dir / "sq.ply", dir / "st.pfm", "--width", "30", "--height", "12", "--method", "stamp"});
  EXPECT_EQ(ReadHeightField(dir / "st.pfm").width, 30);
}

TEST(ScanCommand, ByDefaultAMeshedFieldComesBackExactlyAndStampsKeepTheirBoundsWithOrWithoutThreads) {
  tooltest::TempDir dir;
  const HeightField f = Bumpy(9, 7);
  WriteHeightField(dir / "f.pfm", f);
  ASSERT_EQ(RunTool(dir, {"mesh", dir / "f.pfm", dir / "f.stl"}).status, 0);
  for (const bool low : {false, true}) {
    std::vector<std::string> args = {"scan", dir / "f.stl", dir / "r.pfm"};
    if (low) args.push_back("--min");
    ASSERT_RUN_OK(r, dir, args);
    EXPECT_TRUE(ContainsAll(r.out, {"9 x 7 pixels, 63 covered", "heights as in the mesh"}));
    const HeightField back = ReadHeightField(dir / "r.pfm");
    EXPECT_EQ(back.width, 9);
    EXPECT_EQ(back.height, 7);
    EXPECT_EQ(back.values, f.values) << low;
  }

  // Raster 8 x 6 from the mesh's corner (0, 0); heights above the lowest corner (0.25): an offset of
  // 0.25 brings the field back. Stamps lie between the field and its 5 x 5 maximum (minimum mirrored).
  for (const char* mode : {"max", "min"}) {
    std::vector<std::string> args = {"scan", dir / "f.stl", dir / "p.pfm", "--z-offset", "0.25", "--method", "stamp"};
    if (mode == std::string("min")) args.push_back("--min");
    ASSERT_EQ(RunTool(dir, args).status, 0);
    args[2] = dir / "t.pfm";
    args.push_back("--threads");
    ASSERT_EQ(RunTool(dir, args).status, 0);
    const HeightField p = ReadHeightField(dir / "p.pfm");
    ASSERT_EQ(p.width, 8);
    ASSERT_EQ(p.height, 6);
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
        EXPECT_GE(p.At(x, y), mode == std::string("max") ? f.At(x, y) : lo) << x << "," << y;
        EXPECT_LE(p.At(x, y), mode == std::string("max") ? hi : f.At(x, y)) << x << "," << y;
      }
    }
  }
}

TEST(ScanCommand, RefiningLeavesNoHalo) {
  // A flat triangle whose long side misses the pixel centres: the crosses reach beyond it, the refined
  // form does not.
  tooltest::TempDir dir;
  const MeshData half = tooltest::MeshOf({{0, 0, 3}, {10.3f, 0, 3}, {0, 9.7f, 3}}, {{0, 1, 2}});
  WriteMesh(dir / "half.ply", half);
  ASSERT_EQ(RunTool(dir, {"scan", dir / "half.ply", dir / "s.pfm", "--method", "stamp", "--z-offset", "1"}).status, 0);
  ASSERT_EQ(
      RunTool(dir, {"scan", dir / "half.ply", dir / "r.pfm", "--method", "stamp-refined", "--z-offset", "1"}).status,
      0);
  const HeightField s = ReadHeightField(dir / "s.pfm"), r = ReadHeightField(dir / "r.pfm");
  ASSERT_EQ(r.width, 10);
  int halo = 0;
  for (int y = 0; y < 10; ++y) {
    for (int x = 0; x < 10; ++x) {
      const bool inside = 9.7 * x + 10.3 * y <= 9.7 * 10.3;
      if (!inside) halo += s.At(x, y) != 0.0f;
      EXPECT_EQ(r.At(x, y), inside ? 1.0f : 0.0f) << x << "," << y;
    }
  }
  EXPECT_GT(halo, 0);
}

TEST(ScanCommand, HelpNamesTheMethodsAndBadRequestsFailInOneLine) {
  tooltest::TempDir dir;
  const auto help = RunTool(dir, {"scan", "--help"});
  EXPECT_EQ(help.status, 0);
  for (const char* method : {"  zbuffer  ", "  stamp  ", "  stamp-refined  "}) {
    EXPECT_TRUE(Contains(help.out, method));
  }
  const MeshData m = tooltest::MeshOf({{0, 0, 0}, {100, 0, 0}, {0, 100, 1}}, {{0, 1, 2}});
  WriteMesh(dir / "t.stl", m);
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"scan", dir / "t.stl", dir / "o.pfm", "--resolution", "0.001"}, "raise --resolution"},
      {{"scan", dir / "t.stl", dir / "o.pfm", "--resolution", "50", "--method", "stamp"}, "less than 3 x 3 pixels"},
      {{"scan", dir / "t.stl", dir / "o.pfm", "--threads"}, "--method stamp"},
      {{"scan", dir / "t.stl", dir / "o.gif"}, "o.gif"},
      {{"scan", dir / "missing.stl", dir / "o.pfm"}, "missing.stl"},
  };
  for (const auto& [args, expected] : cases) {
    const auto r = RunTool(dir, args);
    EXPECT_TRUE(FailedInOneLine(r, 1, "qssse scan: ")) << expected;
    EXPECT_TRUE(Contains(r.err, expected));
  }
  EXPECT_EQ(RunTool(dir, {"scan", dir / "t.stl", dir / "o.pfm", "--resolution", "-1"}).status, 2);
  EXPECT_EQ(RunTool(dir, {"scan", dir / "t.stl", dir / "o.pfm", "--method", "splat"}).status, 2);
  // The z-buffer has no frame to drop: even 3 x 3 grid points make a raster.
  EXPECT_EQ(RunTool(dir, {"scan", dir / "t.stl", dir / "o.pfm", "--resolution", "50"}).status, 0);
}

TEST(ScanCommand, AMeshedSpikeIsStampedWithoutSamplingItsHeight) {
  // One pixel of 65536 in a 6 x 6 field: its triangles stand 65536 pixels high, some 10^9 samples each
  // at the plain step; the stamps walk their rows instead.
  tooltest::TempDir dir;
  HeightField f{6, 6, std::vector<float>(36, 0.0f)};
  f.values[3 * 6 + 2] = 65536.0f;
  WriteHeightField(dir / "f.pfm", f);
  ASSERT_EQ(RunTool(dir, {"mesh", dir / "f.pfm", dir / "f.stl", "--threshold", "-1"}).status, 0);
  std::vector<float> first;
  for (const char* threads : {"", "--threads"}) {
    std::vector<std::string> args = {"scan", dir / "f.stl", dir / "o.pfm", "--method", "stamp"};
    if (*threads) args.push_back(threads);
    ASSERT_RUN_OK(r, dir, args);
    const HeightField o = ReadHeightField(dir / "o.pfm");
    EXPECT_EQ(o.At(2, 3), 65536.0f);  // the peak comes back at its pixel
    if (first.empty()) {
      first = o.values;
    } else {
      EXPECT_EQ(o.values, first);
    }
  }
}

TEST(ScanCommand, StampsPlanningMoreThanTheWorkBudgetFailInOneLine) {
  // Two needles 16 million high with their far sides 1000 pixels long: 1.1e7 rows of 1000 pixels each.
  tooltest::TempDir dir;
  const MeshData m =
      tooltest::MeshOf({{0, 0, 0}, {1, 0, 16000000}, {1000, 1, 0}, {0, 2, 0}, {1, 2, 16000000}, {1000, 3, 0}}, {{0, 1, 2}, {3, 4, 5}});
  WriteMesh(dir / "n.ply", m);
  for (const char* threads : {"", "--threads"}) {
    std::vector<std::string> args = {"scan", dir / "n.ply", dir / "o.pfm", "--method", "stamp"};
    if (*threads) args.push_back(threads);
    const auto r = RunTool(dir, args);
    EXPECT_TRUE(FailedInOneLine(r, 1, "qssse scan: " + dir / "n.ply" + ": too much work: scan conversion needs"))
        << threads;
    EXPECT_TRUE(Contains(r.err, "(--method zbuffer converts it exactly)"));
  }
}
