// The `border` subcommand end to end: loops of meshes from files into outlines and pictures.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ToolTestSupport.h"
#include "cli/Formats.h"


namespace {

// A 3 x 3 square of unit cells without the middle one, flat (so the library's loose neighbour test
// links far more than the shared sides), with one extra island cell far off.
MeshData RingAndIsland() {
  MeshData m;
  const auto cell = [&m](float x, float y) {
    const auto v = static_cast<std::uint32_t>(m.vertices.size());
    m.vertices.insert(m.vertices.end(), {{x, y, 1}, {x + 1, y, 1}, {x + 1, y + 1, 1}, {x, y + 1, 1}});
    m.triangles.push_back({v, v + 2, v + 3});
    m.triangles.push_back({v, v + 1, v + 2});
  };
  for (int y = 0; y < 3; ++y) {
    for (int x = 0; x < 3; ++x) {
      if (x != 1 || y != 1) cell(static_cast<float>(x), static_cast<float>(y));
    }
  }
  cell(10, 10);
  return m;
}

}  // namespace

TEST(BorderCommand, LoopsAreListedLongestFirstAndWrittenAsOutlineOrPicture) {
  tooltest::TempDir dir;
  WriteMesh(dir / "ring.obj", RingAndIsland());
  ASSERT_RUN_OK(r, dir, {"border", dir / "ring.obj", "-o", dir / "outer.txt"});
  EXPECT_TRUE(ContainsAll(r.out, {"3 loops over 20 open sides of 18 triangles, 3-D length 20 in all",
      "loop 1: 12 points, 3-D length 12, area 9 in x-y (counter-clockwise)",
      "loop 2: 4 points, 3-D length 4, area 1 in x-y (clockwise)",
      "loop 3: 4 points, 3-D length 4, area 1 in x-y (counter-clockwise)"}));
  const OutlinePoints outer = ReadOutline(dir / "outer.txt");
  ASSERT_EQ(outer.size(), 12u);
  for (const Vertex& p : outer) {
    EXPECT_TRUE(p.x == 0 || p.x == 3 || p.y == 0 || p.y == 3) << p.x << "," << p.y;
    EXPECT_EQ(p.z, 1.0f);
  }

  ASSERT_RUN_OK(hole, dir, {"border", dir / "ring.obj", "-o", dir / "hole.txt", "--loop", "2"});
  const OutlinePoints h = ReadOutline(dir / "hole.txt");
  ASSERT_EQ(h.size(), 4u);
  for (const Vertex& p : h) EXPECT_TRUE((p.x == 1 || p.x == 2) && (p.y == 1 || p.y == 2));

  ASSERT_RUN_OK(picture, dir, {"border", dir / "ring.obj", "-o", dir / "b.svg"});
  const std::string svg = tooltest::ReadText(dir / "b.svg");
  std::size_t polygons = 0;
  for (std::size_t at = svg.find("<polygon"); at != std::string::npos; at = svg.find("<polygon", at + 1))
    ++polygons;
  EXPECT_EQ(polygons, 3u);

  EXPECT_TRUE(ExitedWith(RunTool(dir, {"border", dir / "ring.obj", "-o", dir / "x.txt", "--loop", "4"}), 1,
                         "--loop 4 asks for more than the 3 loops"));
}

TEST(BorderCommand, ClosedMeshesAndWrongNamesAreAnsweredInOneLine) {
  tooltest::TempDir dir;
  WriteFileBytes(dir / "tet.off",
                 "OFF\n4 4 0\n0 0 0\n10 1 2\n3 20 4\n5 6 30\n3 0 1 2\n3 0 3 1\n3 1 3 2\n3 2 3 0\n");
  ASSERT_RUN_OK(closed, dir, {"border", dir / "tet.off"});
  EXPECT_TRUE(Contains(closed.out, "4 triangles, no open side: the mesh is closed"));
  const auto none = RunTool(dir, {"border", dir / "tet.off", "-o", dir / "b.txt"});
  EXPECT_TRUE(FailedInOneLine(none, 1));
  EXPECT_TRUE(Contains(none.err, "no open border"));

  const auto png = RunTool(dir, {"border", dir / "tet.off", "-o", dir / "b.png"});
  EXPECT_TRUE(FailedInOneLine(png, 1, "qssse border: " + (dir / "b.png") + ": "));
  WriteFileBytes(dir / "ring.txt", "0 0 0\n1 0 0\n0 1 0\n");
  const auto outline = RunTool(dir, {"border", dir / "ring.txt"});
  EXPECT_TRUE(FailedInOneLine(outline, 1));
}

TEST(BorderCommand, MeshOfAHeightFieldHasOneLoopPerHoleAndTheOuterBorder) {
  tooltest::TempDir dir;
  // 12 x 10 pixels at height 2 with two pits (height 0, below the threshold): each of the four cells
  // around a pit keeps the triangle away from it, which leaves a diamond of four diagonal sides.
  HeightField f{12, 10, std::vector<float>(120, 2.0f)};
  f.At(3, 4) = 0.0f;
  f.At(8, 5) = 0.0f;
  WriteHeightField(dir / "f.pfm", f);
  ASSERT_EQ(RunTool(dir, {"mesh", dir / "f.pfm", dir / "f.stl", "--threshold", "1"}).status, 0);
  ASSERT_RUN_OK(r, dir, {"border", dir / "f.stl"});
  EXPECT_TRUE(ContainsAll(r.out, {"3 loops over 48 open sides of 190 triangles",
      "loop 1: 40 points, 3-D length 40, area 99 in x-y (counter-clockwise)",
      "loop 2: 4 points, 3-D length 5.65685, area 2 in x-y (clockwise)",
      "loop 3: 4 points, 3-D length 5.65685, area 2 in x-y (clockwise)"}));
}
