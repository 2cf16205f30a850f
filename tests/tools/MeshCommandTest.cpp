// Height fields into meshes: the bridge to the library's builder and the `mesh` subcommand end to end.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "ToolTestSupport.h"
#include "cli/Error.h"
#include "cli/Formats.h"
#include "cli/MeshConvert.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"

using tooltest::Square;

namespace {

HeightField Constant(int w, int h, float v) {
  return {w, h, std::vector<float>(static_cast<std::size_t>(w) * h, v)};
}

std::set<std::tuple<float, float, float>> VertexSet(const MeshData& m) {
  std::set<std::tuple<float, float, float>> s;
  for (const Vertex& v : m.vertices) s.insert({v.x, v.y, v.z});
  return s;
}

}  // namespace

TEST(MeshConvert, OneCellGivesTwoWeldedTrianglesBorderedByTheCellSides) {
  CSSEMatrix m;
  ToMatrix(Constant(2, 2, 5.0f), m);
  HeightMeshOptions o;
  o.scaleX = 2.0f;
  o.scaleY = 3.0f;
  const auto mesh = BuildHeightMesh(m, o);
  ASSERT_EQ(mesh->GetNumTriangles(), 2);
  const MeshData data = ToMeshData(*mesh);
  EXPECT_EQ(data.triangles.size(), 2u);
  EXPECT_EQ(VertexSet(data),
            (std::set<std::tuple<float, float, float>>{
                {0.0f, 0.0f, 5.0f}, {2.0f, 0.0f, 5.0f}, {0.0f, 3.0f, 5.0f}, {2.0f, 3.0f, 5.0f}}));

  // CalcNeighbours links the lower triangle's P0-P1 side too (its loose lane-by-lane corner test finds
  // (2, 0, 5) among the other triangle's corners one coordinate at a time); the border loop still runs
  // around all four sides of the cell, counter-clockwise.
  mesh->CalcNeighbours();
  EXPECT_NE(mesh->GetTriangle(1)->neighbour[0], nullptr);
  std::vector<CSSE3dPolygon> loops;
  ASSERT_EQ(mesh->FindBorderLines(loops), 0);
  ASSERT_EQ(loops.size(), 1u);
  // Four of the mesh's corners enclosing twice the cell's 2 x 3 counter-clockwise: its four sides.
  EXPECT_EQ(loops[0].GetNumPoints(), 4);
  EXPECT_EQ(loops[0].CalcXYArea(), 12.0f);
}

TEST(MeshConvert, ClippingKeepsTheCornersInsideTheOutlineAndRejectsBadOptions) {
  // The builder tests every fourth outline point, so the ring is sampled densely; its half-pixel sides
  // put pixels 2..6 inside without a boundary case.
  const OutlinePoints ring = Square(1.5f, 6.5f, 0.25f);
  CSSEMatrix m;
  ToMatrix(Constant(10, 10, 1.0f), m);
  HeightMeshOptions o;
  o.outline = &ring;
  const auto mesh = BuildHeightMesh(m, o);
  EXPECT_EQ(mesh->GetNumTriangles(), 2 * 4 * 4);
  const MeshData data = ToMeshData(*mesh);
  ASSERT_EQ(data.vertices.size(), 25u);
  for (const Vertex& v : data.vertices) {
    EXPECT_TRUE(v.x >= 2 && v.x <= 6 && v.y >= 2 && v.y <= 6) << v.x << "," << v.y;
  }
  EXPECT_EQ(m.GetPoint(1, 4), 1.0f);  // the heights are only read

  // The program's own use of the builder's test leaves exactly the mesh's corners.
  CSSE3dPolygon outline;
  ToPolygon(ring, outline);
  EXPECT_EQ(ClipToOutline(m, outline, 0.0f), 100 - 25);
  for (int y = 0; y < 10; ++y) {
    for (int x = 0; x < 10; ++x) {
      EXPECT_EQ(m.GetPoint(x, y) != 0.0f, x >= 2 && x <= 6 && y >= 2 && y <= 6) << x << "," << y;
    }
  }

  // A mesh no machine holds is refused before the library allocates, naming its source.
  try {
    CheckMeshFits(std::uint64_t{1} << 40, "huge.png");
    ADD_FAILURE() << "a trillion triangles fit";
  } catch (const ToolError& e) {
    EXPECT_EQ(std::string(e.what()).rfind("huge.png: a mesh of 1099511627776 triangles needs about", 0), 0u);
  }
  EXPECT_NO_THROW(CheckMeshFits(1000, "small.png"));

  o.stepX = 0;
  EXPECT_THROW(BuildHeightMesh(m, o), ToolError);
  o.stepX = 1;
  o.scaleY = -1.0f;
  EXPECT_THROW(BuildHeightMesh(m, o), ToolError);
}

TEST(MeshCommand, WritesTheScaledCellsThatPassTheThresholdInEveryMeshFormat) {
  tooltest::TempDir dir;
  // Heights 1 2 3 / 4 5 6 / 7 8 9: below 5 leaves the three pixels of the top row and (0, 1),
  // a single cell; 5 itself is never a valid corner.
  HeightField f{3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9}};
  WriteHeightField(dir / "h.npy", f);
  for (const char* name : {"m.stl", "m.ply", "m.obj"}) {
    ASSERT_RUN_OK(r, dir,
                  {"mesh", dir / "h.npy", dir / name, "--below", "--threshold", "5", "--scale-x", "0.5", "--scale-y", "2", "--scale-z", "-1"});
    EXPECT_TRUE(Contains(r.out, std::string(name) + ": 1 triangles, 3 vertices"));
    const MeshData m = ReadMesh(dir / name);
    EXPECT_EQ(VertexSet(m), (std::set<std::tuple<float, float, float>>{
                                {0.0f, 0.0f, -1.0f}, {0.5f, 0.0f, -2.0f}, {0.0f, 2.0f, -4.0f}}))
        << name;
  }

  // Every second pixel of a 5 x 5 plateau: 2 x 2 cells of 2 x 2 pixels.
  WriteHeightField(dir / "p.pfm", Constant(5, 5, 2.0f));
  ASSERT_RUN_OK(stepped, dir, {"mesh", dir / "p.pfm", dir / "p.stl", "--step", "2"});
  const MeshData p = ReadMesh(dir / "p.stl");
  EXPECT_EQ(p.triangles.size(), 8u);
  EXPECT_EQ(VertexSet(p).size(), 9u);
  EXPECT_EQ(std::get<0>(*VertexSet(p).rbegin()), 4.0f);
}

TEST(MeshCommand, ClipsToAnOutlineFileAndReportsEmptyResultsAndBadNamesInOneLine) {
  tooltest::TempDir dir;
  WriteHeightField(dir / "p.pfm", Constant(10, 10, 1.0f));
  WriteFileBytes(dir / "ring.txt", EncodeOutlineText(Square(1.5f, 6.5f, 0.25f)));
  ASSERT_RUN_OK(r, dir, {"mesh", dir / "p.pfm", dir / "c.ply", "--outline", dir / "ring.txt"});
  EXPECT_EQ(ReadMesh(dir / "c.ply").triangles.size(), 32u);

  const auto empty = RunTool(dir, {"mesh", dir / "p.pfm", dir / "e.stl", "--threshold", "1"});
  EXPECT_TRUE(FailedInOneLine(empty, 1, "qssse mesh: " + dir / "p.pfm" + ": no cell has corners above"));
  EXPECT_FALSE(std::filesystem::exists(dir / "e.stl"));

  EXPECT_TRUE(ExitedWith(RunTool(dir, {"mesh", dir / "p.pfm", dir / "m.xyz"}), 1, "m.xyz"));
  const auto badOutline = RunTool(dir, {"mesh", dir / "p.pfm", dir / "m.stl", "--outline", dir / "p.pfm"});
  EXPECT_TRUE(FailedInOneLine(badOutline, 1));
  EXPECT_TRUE(Contains(badOutline.err, dir / "p.pfm"));
}
