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
  const auto r =
      RunTool(dir, {"offset", dir / "sq.txt", dir / "out.txt", "--distance", "-2", "--join", "miter"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(Contains(r.out, "4 points, area 100 -> 36 (shrunk by 2, miter joins)"));
  const OutlinePoints out = ReadOutline(dir / "out.txt");
  ASSERT_EQ(out.size(), 4u);
  EXPECT_EQ(out[0], (Vertex{2, 2, 1}));
  const auto svg = RunTool(dir, {"offset", dir / "sq.txt", dir / "out.svg", "-d", "1.5"});
  ASSERT_EQ(svg.status, 0) << svg.err;
  EXPECT_TRUE(Contains(tooltest::ReadText(dir / "out.svg"), "<svg"));
  const auto gone = RunTool(dir, {"offset", dir / "sq.txt", dir / "out.txt", "-d", "-6"});
  EXPECT_EQ(gone.status, 1);
  EXPECT_TRUE(Contains(gone.err, "sq.txt: nothing remains of the outline shrunk by 6\n"));
  EXPECT_EQ(RunTool(dir, {"offset", dir / "sq.txt", dir / "out.png", "-d", "1"}).status, 1);
  EXPECT_EQ(RunTool(dir, {"offset", dir / "sq.txt", dir / "out.txt", "--join", "bevel", "-d", "1"}).status,
            2);
}

TEST(OutlineCommands, LoftWritesAClosedBandAsAMesh) {
  tooltest::TempDir dir;
  WriteFileBytes(dir / "lo.txt", EncodeOutlineText(Square(0, 10, 0)));
  WriteFileBytes(dir / "up.txt", EncodeOutlineText(Square(1, 9, 5)));
  const auto r = RunTool(dir, {"loft", dir / "lo.txt", dir / "up.txt", dir / "band.ply", "--points", "40"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(Contains(r.out, "80 triangles between outlines of 4 and 4 points"));
  const MeshData m = ReadMesh(dir / "band.ply");
  EXPECT_EQ(m.triangles.size(), 80u);
  EXPECT_EQ(m.vertices.size(), 80u);  // 40 shared points on each outline
  const auto svg = RunTool(dir, {"loft", dir / "lo.txt", dir / "up.txt", dir / "band.svg"});
  ASSERT_EQ(svg.status, 0) << svg.err;
  const auto bad = RunTool(dir, {"loft", dir / "lo.txt", dir / "missing.txt", dir / "band.stl"});
  EXPECT_EQ(bad.status, 1);
  EXPECT_TRUE(Contains(bad.err, "missing.txt"));
}
