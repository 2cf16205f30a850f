// Outline editing from the command line: the `offset` and `loft` subcommands end to end.
#include <gtest/gtest.h>

#include <string>

#include "ToolTestSupport.h"
#include "cli/Formats.h"


namespace {

OutlinePoints Square(float a, float b, float z) { return {{a, a, z}, {b, a, z}, {b, b, z}, {a, b, z}}; }

}  // namespace

TEST(OutlineCommands, OffsetWritesTheGrownOrShrunkOutlineAndReportsOneThatVanishesOrABadOutput) {
  tooltest::TempDir dir;
  WriteFileBytes(dir / "sq.txt", EncodeOutlineText(Square(0, 10, 1)));
  ASSERT_RUN_OK(r, dir, {"offset", dir / "sq.txt", dir / "out.txt", "--distance", "-2", "--join", "miter"});
  EXPECT_TRUE(Contains(r.out, "4 points, area 100 -> 36 (shrunk by 2, miter joins)"));
  const OutlinePoints out = ReadOutline(dir / "out.txt");
  ASSERT_EQ(out.size(), 4u);
  EXPECT_EQ(out[0], (Vertex{2, 2, 1}));
  ASSERT_RUN_OK(svg, dir, {"offset", dir / "sq.txt", dir / "out.svg", "-d", "1.5"});
  EXPECT_TRUE(Contains(tooltest::ReadText(dir / "out.svg"), "<svg"));
  EXPECT_TRUE(ExitedWith(RunTool(dir, {"offset", dir / "sq.txt", dir / "out.txt", "-d", "-6"}), 1,
                         "sq.txt: nothing remains of the outline shrunk by 6\n"));
  EXPECT_EQ(RunTool(dir, {"offset", dir / "sq.txt", dir / "out.png", "-d", "1"}).status, 1);
  EXPECT_EQ(RunTool(dir, {"offset", dir / "sq.txt", dir / "out.txt", "--join", "bevel", "-d", "1"}).status,
            2);
}

TEST(OutlineCommands, LoftWritesAClosedBandAsAMesh) {
  tooltest::TempDir dir;
  WriteFileBytes(dir / "lo.txt", EncodeOutlineText(Square(0, 10, 0)));
  WriteFileBytes(dir / "up.txt", EncodeOutlineText(Square(1, 9, 5)));
  ASSERT_RUN_OK(r, dir, {"loft", dir / "lo.txt", dir / "up.txt", dir / "band.ply", "--points", "40"});
  EXPECT_TRUE(Contains(r.out, "80 triangles between outlines of 4 and 4 points"));
  const MeshData m = ReadMesh(dir / "band.ply");
  EXPECT_EQ(m.triangles.size(), 80u);
  EXPECT_EQ(m.vertices.size(), 80u);  // 40 shared points on each outline
  ASSERT_RUN_OK(svg, dir, {"loft", dir / "lo.txt", dir / "up.txt", dir / "band.svg"});
  EXPECT_TRUE(ExitedWith(RunTool(dir, {"loft", dir / "lo.txt", dir / "missing.txt", dir / "band.stl"}), 1,
                         "missing.txt"));
}
