// Outlines into meshes by ear clipping: the `triangulate` subcommand end to end.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "ToolTestSupport.h"
#include "cli/Formats.h"


namespace {

// A smooth counter-clockwise star of n points around (100, 100), z between 3 and 7.
OutlinePoints Star(int n) {
  OutlinePoints ring;
  for (int i = 0; i < n; ++i) {
    const double t = 6.283185307179586 * i / n, r = 60.0 * (1.0 + 0.3 * std::cos(7.0 * t));
    ring.push_back({static_cast<float>(100.0 + r * std::cos(t)), static_cast<float>(100.0 + r * std::sin(t)),
                    static_cast<float>(5.0 + 2.0 * std::sin(3.0 * t))});
  }
  return ring;
}

double Area2(const Vertex& a, const Vertex& b, const Vertex& c) {
  return (static_cast<double>(b.x) - a.x) * (static_cast<double>(c.y) - a.y) -
         (static_cast<double>(b.y) - a.y) * (static_cast<double>(c.x) - a.x);
}

double RingArea2(const OutlinePoints& r) {
  double s = 0.0;
  for (std::size_t i = 0; i < r.size(); ++i) {
    s += static_cast<double>(r[i].x) * r[(i + 1) % r.size()].y -
         static_cast<double>(r[(i + 1) % r.size()].x) * r[i].y;
  }
  return s;
}

// Every triangle counter-clockwise; the doubled areas summed.
double MeshArea2(const MeshData& m) {
  double sum = 0.0;
  for (const auto& t : m.triangles) {
    const double a = Area2(m.vertices[t[0]], m.vertices[t[1]], m.vertices[t[2]]);
    EXPECT_GT(a, 0.0);
    sum += a;
  }
  return sum;
}

}  // namespace

TEST(TriangulateCommand, OutlineBecomesNMinusTwoTrianglesOnItsOwnPointsAndAPictureOrARefinedMesh) {
  tooltest::TempDir dir;
  const OutlinePoints star = Star(200);
  WriteFileBytes(dir / "star.txt", EncodeOutlineText(star));
  ASSERT_RUN_OK(r, dir, {"triangulate", dir / "star.txt", "-o", dir / "star.ply"});
  EXPECT_TRUE(Contains(r.out, "198 triangles from the outline of 200 points"));
  const MeshData m = ReadMesh(dir / "star.ply");
  ASSERT_EQ(m.triangles.size(), 198u);
  EXPECT_EQ(m.vertices.size(), 200u);
  for (const Vertex& v : m.vertices) EXPECT_NE(std::find(star.begin(), star.end(), v), star.end());
  EXPECT_NEAR(MeshArea2(m), RingArea2(star), 1e-6 * RingArea2(star));
  const std::string svg = tooltest::ReadText(dir / "star.svg");
  EXPECT_TRUE(Contains(svg, "<svg"));
  EXPECT_TRUE(Contains(svg, "#e07b00"));  // the diagonals

  // Refinement splits long sides and interpolates heights within the outline's.
  ASSERT_RUN_OK(fine, dir,
                {"triangulate", dir / "star.txt", "-o", dir / "fine.obj", "--refine", "4", "--passes", "10"});
  EXPECT_TRUE(Contains(fine.out, "(ear clipping 198, refined with side length 4 in 10 passes)"));
  const MeshData f = ReadMesh(dir / "fine.obj");
  EXPECT_GT(f.triangles.size(), 1000u);
  EXPECT_NEAR(MeshArea2(f), RingArea2(star), 1e-4 * RingArea2(star));
  for (const Vertex& v : f.vertices) {
    ASSERT_GE(v.z, 3.0f);
    ASSERT_LE(v.z, 7.0f);
  }
}

TEST(TriangulateCommand, ClockwiseOutlinesAndRepeatedPointsAreTakenCareOf) {
  tooltest::TempDir dir;
  OutlinePoints star = Star(120);
  std::reverse(star.begin(), star.end());
  star.insert(star.begin() + 10, star[10]);  // a repeated point
  WriteFileBytes(dir / "cw.txt", EncodeOutlineText(star));
  ASSERT_RUN_OK(r, dir, {"triangulate", dir / "cw.txt", "-o", dir / "cw.stl", "--svg", dir / "pic.svg"});
  EXPECT_TRUE(ContainsAll(r.out, {"1 repeated points dropped", "ran clockwise"}));
  const MeshData m = ReadMesh(dir / "cw.stl");
  EXPECT_EQ(m.triangles.size(), 118u);
  EXPECT_GT(MeshArea2(WeldVertices(m)), 0.0);
  EXPECT_TRUE(std::filesystem::exists(dir / "pic.svg"));
}

TEST(TriangulateCommand, DegenerateOutlinesAndBadArgumentsFailWithOneLine) {
  tooltest::TempDir dir;
  tooltest::WriteText(dir / "line.txt", "0 0 0\n1 1 0\n2 2 0\n3 3 0\n");
  tooltest::WriteText(dir / "bow.txt", "0 0 0\n4 4 0\n4 0 0\n0 4 0\n");
  for (const char* name : {"line", "bow"}) {
    const auto r = RunTool(dir, {"triangulate", dir / (std::string(name) + ".txt"), "-o", dir / "out.stl"});
    EXPECT_TRUE(FailedInOneLine(r, 1)) << name;
    EXPECT_TRUE(Contains(r.err, "the ear clipping stopped after 0 of"));
    EXPECT_FALSE(std::filesystem::exists(dir / "out.stl"));
  }
  WriteFileBytes(dir / "star.txt", EncodeOutlineText(Star(50)));
  EXPECT_EQ(RunTool(dir, {"triangulate", dir / "star.txt", "-o", dir / "bad.xyz"}).status, 1);
  EXPECT_FALSE(std::filesystem::exists(dir / "bad.svg"));  // refused before any work
  EXPECT_EQ(RunTool(dir, {"triangulate", dir / "star.txt", "-o", dir / "o.stl", "--passes", "3"}).status, 2);
  EXPECT_EQ(RunTool(dir, {"triangulate", dir / "star.txt", "-o", dir / "o.stl", "--refine", "-1"}).status, 2);
  EXPECT_TRUE(ExitedWith(RunTool(dir, {"triangulate", dir / "none.txt", "-o", dir / "o.stl"}), 1, "none.txt"));
}
