// qssse delaunay: the Delaunay triangulation of points in x-y as a mesh (each vertex keeping its z), or
// the wall strip between two outlines.
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "cli/Error.h"
#include "cli/Formats.h"
#include "cli/MeshConvert.h"
#include "cli/PointCloud.h"
#include "cli/Subcommand.h"
#include "cli/Summary.h"
#include "qssse/geometry/H2DDelaunay.h"
#include "qssse/geometry/HullException.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/UserInterfaceManager.h"
#include "qssse/polygon/SSE3dPolygon.h"

namespace qssse::tool {

namespace {

struct DelaunayOptions {
  std::string input, output, svg, upper;
  double resolution = 0.01;
};

// The library reports its timing as a message; the program prints its own summary instead.
struct QuietMessages {
  QuietMessages() { QsCUserInterfaceManager::SetMessageHandler([](const wchar_t*, int, int) { return 0; }); }
  ~QuietMessages() { QsCUserInterfaceManager::SetMessageHandler(nullptr); }
};

void Triangulate(CH2DDelaunay& d, const std::string& source, void (CH2DDelaunay::*step)()) {
  try {
    (d.*step)();
  } catch (const CHullException& e) {
    std::string hint;
    if (e.GetCause() == CHullException::range) hint = " (try a coarser --resolution)";
    if (e.GetCause() == CHullException::coplanar) hint = " (all points on one circle)";
    throw ToolError(source, std::string(e.what()) + hint);
  }
}

// Points in, a terrain-like mesh out: triangles counter-clockwise in x-y, vertices the input points.
int RunPoints(const DelaunayOptions& o, CH2DDelaunay& d) {
  const std::vector<Vertex> points = ReadPoints(o.input);
  // Appended at 10 / (10 · resolution) so that the library's 0.1 step is one resolution step.
  const float scale = static_cast<float>(0.1 / o.resolution);
  Stopwatch t;
  try {
    for (std::size_t i = 0; i < points.size(); ++i) d.AppendVertex(points[i].x * scale, points[i].y * scale, static_cast<int>(i), false);
  } catch (const CHullException& e) {
    throw ToolError(o.input, std::string(e.what()) + " (try a coarser --resolution)");
  }
  Triangulate(d, o.input, &CH2DDelaunay::CalcDelaunayTriangulation);
  const double ms = t.Ms();
  MeshData data;
  data.vertices = points;
  for (const tFaceStructure* f = d.GetFaces(); f != nullptr && data.triangles.size() < static_cast<std::size_t>(d.GetNumFaces()); f = f->next) {
    // The library's lower faces run clockwise in x-y; the file gets them turned up.
    data.triangles.push_back({static_cast<std::uint32_t>(f->vertex[0]->vnum), static_cast<std::uint32_t>(f->vertex[2]->vnum),
                              static_cast<std::uint32_t>(f->vertex[1]->vnum)});
  }
  WriteMesh(o.output, data);
  if (!o.svg.empty()) WriteFileBytes(o.svg, TrianglesSvg(data, {}));
  std::printf("%s: Delaunay triangulation of %zu points from %s: %d triangles, %d vertices, %.1f ms\n",
              o.output.c_str(), points.size(), o.input.c_str(), d.GetNumFaces(), d.GetNumVertices(), ms);
  return 0;
}

// Two outlines in, the wall strip between them out.
int RunWall(const DelaunayOptions& o, CH2DDelaunay& d) {
  const OutlinePoints lowerPoints = ReadOutline(o.input);
  const OutlinePoints upperPoints = ReadOutline(o.upper);
  CSSE3dPolygon lower, upper;
  ToPolygon(lowerPoints, lower);
  ToPolygon(upperPoints, upper);
  Stopwatch t;
  try {
    d.CreateTriangulationFromTwoBorderPolygons(&lower, &upper, false);
  } catch (const CHullException& e) {
    throw ToolError(o.input, e.what());
  }
  const double ms = t.Ms();
  CHTriangulation mesh(&d, 1.0f, 1.0f, 1.0f, false);
  const MeshData data = ToMeshData(mesh);
  WriteMesh(o.output, data);
  if (!o.svg.empty()) {
    SvgRing a, b;
    a.points = lowerPoints;
    a.stroke = "#bf1f1f";
    b.points = upperPoints;
    b.stroke = "#1f8f3f";
    WriteFileBytes(o.svg, TrianglesSvg(data, {a, b}));
  }
  std::printf("%s: wall strip between %s (%zu points) and %s (%zu points): %d triangles, %.1f ms\n",
              o.output.c_str(), o.input.c_str(), lowerPoints.size(), o.upper.c_str(), upperPoints.size(),
              mesh.GetNumTriangles(), ms);
  return 0;
}

int RunDelaunay(const DelaunayOptions& o) {
  MeshKindFromName(o.output);  // a bad output name fails before the work
  QuietMessages quiet;
  CH2DDelaunay d;
  return o.upper.empty() ? RunPoints(o, d) : RunWall(o, d);
}

}  // namespace

Subcommand AddDelaunay(CLI::App& app) {
  auto o = std::make_shared<DelaunayOptions>();
  CLI::App* c = app.add_subcommand("delaunay", "Delaunay triangulation of points in x-y, or the wall between two outlines");
  c->add_option("input", o->input,
                "points: text (x y [z] per line) or the vertices of a mesh (.stl, .ply, .obj); with --upper, "
                "the lower outline (text)")
      ->required();
  c->add_option("output", o->output, "mesh (.stl, .ply, .obj); points keep their z")->required();
  c->add_option("--upper", o->upper,
                "upper outline: triangulate the wall strip from the input outline up to this one (both "
                "unrolled by x-y arc length; the library works in steps of 0.1 and cuts triangles leaving "
                "the band by more than 25 units)");
  c->add_option("--svg", o->svg, "picture of the triangles seen from above");
  c->add_option("--resolution", o->resolution,
                "points closer than this in x and y merge (any spread up to 16384 of these steps fits)")
      ->check(PositiveNumber())
      ->capture_default_str();
  return {c, [o] { return RunDelaunay(*o); }};
}

}  // namespace qssse::tool
