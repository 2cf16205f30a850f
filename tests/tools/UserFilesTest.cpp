// The program on files as users have them: a DEM with sea floor below zero and no-data pixels, meshes
// in OFF and ASCII STL, a picture named like a mesh.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "ToolTestSupport.h"
#include "cli/Formats.h"


namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// 4 x 3 heights from -50 (sea floor) to 1200, with one NaN and one -9999 pixel in the last column.
HeightField Dem() { return {4, 3, {-50, -20, 10, kNaN, -30, 0, 400, 1200, -10, 5, 800, -9999}}; }

}  // namespace

TEST(UserFiles, MeshMeshesTheWholeFieldByDefaultAndLeavesNoDataOut) {
  tooltest::TempDir dir;
  WriteHeightField(dir / "dem.npy", Dem());
  ASSERT_RUN_OK(r, dir, {"mesh", dir / "dem.npy", dir / "dem.ply", "--nodata", "-9999"});
  EXPECT_TRUE(ContainsAll(r.out, {"dem.npy: 2 of 12 pixels carry no height", "left out of the mesh",
      "dem.ply: threshold -50.0012512 (auto: just below the lowest height -50)"}));
  // Two full cells in each of the first two cell columns and one triangle in each cell of the third:
  // the no-data corners of the last column take no part.
  const MeshData m = ReadMesh(dir / "dem.ply");
  EXPECT_EQ(m.vertices.size(), 10u);
  EXPECT_EQ(m.triangles.size(), 10u);
  for (const Vertex& v : m.vertices) EXPECT_NE(v.z, -9999.0f);

  // The printed threshold, given back, makes the same mesh; 0 leaves the sea floor out.
  ASSERT_RUN_OK(again, dir,
                {"mesh", dir / "dem.npy", dir / "again.ply", "--nodata", "-9999", "--threshold", "-50.0012512"});
  EXPECT_EQ(ReadMesh(dir / "again.ply").triangles.size(), 10u);
  ASSERT_RUN_OK(land, dir, {"mesh", dir / "dem.npy", dir / "land.ply", "--threshold", "0"});
  EXPECT_EQ(ReadMesh(dir / "land.ply").triangles.size(), 3u);  // on the corners 5, 10, 400, 800, 1200

  EXPECT_TRUE(ExitedWith(RunTool(dir, {"mesh", dir / "dem.npy", dir / "x.ply", "--threshold", "low"}), 1,
                         "--threshold must be a number or 'auto'"));
}

TEST(UserFiles, ScanWritesNanWhereNoTriangleLiesWhenAsked) {
  tooltest::TempDir dir;
  const MeshData m = tooltest::MeshOf({{0, 0, 2}, {10, 0, 2}, {10, 10, 2}, {0, 10, 2}}, {{0, 1, 2}, {0, 2, 3}});
  WriteMesh(dir / "sq.off", m);
  ASSERT_RUN_OK(r, dir,
                {"scan", dir / "sq.off", dir / "sq.pfm", "--resolution", "0.5", "--z-offset", "5", "--nodata-out", "nan", "--method", "stamp"});
  HeightFieldReadOptions keep;
  keep.noValue = kNaN;
  const HeightField h = ReadHeightField(dir / "sq.pfm", keep);
  EXPECT_EQ(h.noDataPixels, 4u);  // the raster's corners
  EXPECT_TRUE(std::isnan(h.At(0, 0)));
  EXPECT_EQ(h.At(5, 5), 5.0f);
  EXPECT_NE(RunTool(dir, {"scan", dir / "sq.off", dir / "x.pfm", "--nodata-out", "-1"}).status, 0);
}

TEST(UserFiles, EveryCommandTellsFilesByTheirContents) {
  tooltest::TempDir dir;
  // A picture named like a mesh was read by scan as 876,163,630 triangles.
  WriteHeightField(dir / "picture.png", HeightField{3, 3, std::vector<float>(9, 1.0f)});
  std::filesystem::rename(dir / "picture.png", dir / "picture.stl");
  const auto scan = RunTool(dir, {"scan", dir / "picture.stl", dir / "x.pfm"});
  EXPECT_EQ(scan.status, 1);
  EXPECT_EQ(scan.err, "qssse scan: " + dir / "picture.stl" + ": this is a height field (PNG), not a mesh\n");
  const auto info = RunTool(dir, {"info", dir / "picture.stl"});
  EXPECT_TRUE(Contains(info.out, "picture.stl: PNG image 3 x 3"));
  const auto morph = RunTool(dir, {"morph", "median", dir / "picture.stl", dir / "m.pfm"});
  EXPECT_EQ(morph.status, 0) << morph.err;

  // An OFF file was read as outline text.
  tooltest::WriteText(dir / "square.off",
                      "OFF\n# a unit square\n4 1 0\n0 0 1\n4 0 1\n4 4 1\n0 4 1\n4 0 1 2 3\n");
  ASSERT_RUN_OK(off, dir, {"info", dir / "square.off"});
  EXPECT_TRUE(ContainsAll(off.out, {"square.off: OFF mesh, 2 triangles, 4 vertices (4 distinct)",
      "1 polygon of more than three corners split into triangles"}));
  ASSERT_RUN_OK(scanned, dir, {"scan", dir / "square.off", dir / "square.pfm"});
  EXPECT_TRUE(Contains(scanned.out, "square.off: 1 polygon of more than three corners split into 2 triangles in all"));
  const auto asOutline = RunTool(dir, {"fill", dir / "square.off", dir / "mask.png"});
  EXPECT_TRUE(FailedInOneLine(asOutline, 1));
  EXPECT_TRUE(Contains(asOutline.err, "this is OFF data, not an outline text file"));

  // A point cloud has no surface to scan.
  tooltest::WriteText(dir / "cloud.ply",
                      "ply\nformat ascii 1.0\nelement vertex 2\nproperty float x\n"
                      "property float y\nproperty float z\nend_header\n0 0 0\n1 1 1\n");
  const auto cloud = RunTool(dir, {"scan", dir / "cloud.ply", dir / "x.pfm"});
  EXPECT_TRUE(Contains(cloud.err, "a point cloud of 2 vertices without faces"));
  EXPECT_TRUE(Contains(RunTool(dir, {"info", dir / "cloud.ply"}).out, "PLY point cloud (no faces)"));
}
