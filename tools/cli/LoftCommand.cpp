// qssse loft: a band of triangles joining two outlines.
#include <cstdio>
#include <memory>
#include <string>

#include "cli/Error.h"
#include "cli/Formats.h"
#include "cli/MeshConvert.h"
#include "cli/Subcommand.h"
#include "cli/Summary.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/polygon/SSE3dPolygon.h"

namespace qssse::tool {
namespace {

struct LoftOptions {
  std::string lower, upper, output;
  int points = 0;
  double scale = 1.0;
};

int RunLoft(const LoftOptions& o) {
  const bool svg = o.output.size() >= 4 && o.output.compare(o.output.size() - 4, 4, ".svg") == 0;
  if (!svg) MeshKindFromName(o.output);  // a bad output name fails before the work
  const OutlinePoints lowerPoints = ReadOutline(o.lower), upperPoints = ReadOutline(o.upper);
  CSSE3dPolygon lower, upper;
  ToPolygon(lowerPoints, lower);
  ToPolygon(upperPoints, upper);
  const float s = static_cast<float>(o.scale);
  Stopwatch t;
  CHTriangulation mesh(&lower, &upper, o.points, s, s, s);
  const double ms = t.Ms();
  if (mesh.GetNumTriangles() == 0) throw ToolError(o.lower, "the outlines enclose no length to loft between");
  const MeshData data = ToMeshData(mesh);
  if (svg) {
    // the band seen from above: its triangles, then the two outlines on top
    std::vector<SvgRing> rings;
    for (const auto& tri : data.triangles)
      rings.push_back({{data.vertices[tri[0]], data.vertices[tri[1]], data.vertices[tri[2]]}, "#c8c8c8"});
    OutlinePoints lo = lowerPoints, up = upperPoints;
    for (Vertex& v : lo) v.x *= s, v.y *= s, v.z *= s;
    for (Vertex& v : up) v.x *= s, v.y *= s, v.z *= s;
    rings.push_back({lo, "#1f5fbf"});
    rings.push_back({up, "#bf3f1f"});
    WriteFileBytes(o.output, EncodeSvg(rings, 0, 0));
  } else {
    WriteMesh(o.output, data);
  }
  std::printf("%s: %d triangles between outlines of %zu and %zu points, %.1f ms\n", o.output.c_str(),
              mesh.GetNumTriangles(), lowerPoints.size(), upperPoints.size(), ms);
  return 0;
}

}  // namespace

Subcommand AddLoft(CLI::App& app) {
  auto o = std::make_shared<LoftOptions>();
  CLI::App* c = app.add_subcommand("loft", "join two outlines by a band of triangles");
  c->add_option("lower", o->lower, "the first outline (text, x y z per line)")->required();
  c->add_option("upper", o->upper, "the second outline; its normals face out when it lies above the first")
      ->required();
  c->add_option("output", o->output, "the mesh: .stl, .ply, .obj, or .svg for a picture from above")->required();
  c->add_option("--points", o->points, "points per outline after resampling (0: the larger count)")
      ->check(CLI::Range(0, 100000))
      ->capture_default_str();
  c->add_option("--scale", o->scale, "size of one outline unit in the mesh")
      ->check(PositiveNumber())
      ->capture_default_str();
  return {c, [o] { return RunLoft(*o); }};
}

}  // namespace qssse::tool
