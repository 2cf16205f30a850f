// Point sets into hulls and Delaunay meshes: the `hull` and `delaunay` subcommands end to end.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "ToolTestSupport.h"
#include "cli/Formats.h"


namespace {

OutlinePoints Ring(int n, float r, float z) {
  OutlinePoints ring;
  for (int i = 0; i < n; ++i) {
    const double a = 6.283185307179586 * i / n;
    ring.push_back({static_cast<float>(20 + r * std::cos(a)), static_cast<float>(20 + r * std::sin(a)), z});
  }
  return ring;
}

}  // namespace

TEST(HullCommand, CubeCornersAndInnerPointsGiveTheTwelveTrianglesOfTheCubeAndFlatInputFailsInOneLine) {
  tooltest::TempDir dir;
  OutlinePoints pts;
  for (int k = 0; k < 8; ++k) pts.push_back({(k & 1) ? 2.5f : 0.0f, (k & 2) ? 2.5f : 0.0f, (k & 4) ? 2.5f : 0.0f});
  pts.push_back({1.0f, 1.25f, 2.0f});
  pts.push_back({2.5f, 1.0f, 1.0f});  // on a face: not a corner
  WriteFileBytes(dir / "p.txt", EncodeOutlineText(pts));
  ASSERT_RUN_OK(r, dir, {"hull", dir / "p.txt", dir / "h.ply", "--svg", dir / "h.svg"});
  EXPECT_TRUE(Contains(r.out, "12 faces, 18 edges, 8 vertices"));
  const MeshData m = ReadMesh(dir / "h.ply");
  EXPECT_EQ(m.triangles.size(), 12u);
  EXPECT_EQ(m.vertices.size(), 8u);
  EXPECT_TRUE(Contains(tooltest::ReadText(dir / "h.svg"), "<svg"));

  // The same points as a PLY point cloud (vertices, no faces) under a name that says nothing.
  std::string ply = "ply\nformat ascii 1.0\nelement vertex 10\nproperty float x\nproperty float y\n"
                    "property float z\nend_header\n";
  for (const Vertex& v : pts) ply += std::to_string(v.x) + " " + std::to_string(v.y) + " " + std::to_string(v.z) + "\n";
  WriteFileBytes(dir / "cloud.dat", ply);
  ASSERT_RUN_OK(fromCloud, dir, {"hull", dir / "cloud.dat", dir / "c.stl"});
  EXPECT_TRUE(Contains(fromCloud.out, "12 faces, 18 edges, 8 vertices"));

  // Flat input is reported in one line.
  WriteFileBytes(dir / "flat.txt", "0 0 0\n1 0 0\n0 1 0\n1 1 0\n");
  const auto flat = RunTool(dir, {"hull", dir / "flat.txt", dir / "f.stl"});
  EXPECT_TRUE(FailedInOneLine(flat, 1, "qssse hull: " + (dir / "flat.txt") + ": CalcConvexHull: all points lie in one plane"));
}

TEST(DelaunayCommand, PointsKeepTheirHeightsAndTrianglesFaceUp) {
  tooltest::TempDir dir;
  // A 4 x 4 grid with one point moved, heights 0.5 x.
  OutlinePoints pts;
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 4; ++x) pts.push_back({static_cast<float>(x), static_cast<float>(y) + (x == 1 && y == 1 ? 0.3f : 0.0f), 0.5f * x});
  WriteFileBytes(dir / "p.txt", EncodeOutlineText(pts));
  ASSERT_RUN_OK(r, dir, {"delaunay", dir / "p.txt", dir / "t.obj"});
  const MeshData m = ReadMesh(dir / "t.obj");
  EXPECT_EQ(m.triangles.size(), 18u);  // 2n - 2 - h with 16 points, 12 on the boundary
  EXPECT_EQ(m.vertices.size(), 16u);
  for (const auto& t : m.triangles) {
    const Vertex &a = m.vertices[t[0]], &b = m.vertices[t[1]], &c = m.vertices[t[2]];
    EXPECT_GT((b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x), 0.0f);  // counter-clockwise in x-y
    for (const Vertex* v : {&a, &b, &c}) EXPECT_EQ(v->z, 0.5f * v->x);
  }
}

TEST(DelaunayCommand, WallStripJoinsTwoOutlines) {
  tooltest::TempDir dir;
  WriteFileBytes(dir / "lo.txt", EncodeOutlineText(Ring(24, 8.0f, 0.0f)));
  WriteFileBytes(dir / "up.txt", EncodeOutlineText(Ring(24, 6.0f, 5.0f)));
  ASSERT_RUN_OK(r, dir, {"delaunay", dir / "lo.txt", dir / "w.stl", "--upper", dir / "up.txt", "--svg", dir / "w.svg"});
  EXPECT_TRUE(Contains(r.out, "48 triangles"));
  const MeshData m = ReadMesh(dir / "w.stl");
  EXPECT_EQ(m.triangles.size(), 48u);
  for (const Vertex& v : m.vertices) EXPECT_TRUE(v.z == 0.0f || v.z == 5.0f);
}
