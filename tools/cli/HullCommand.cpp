// qssse hull: the exact convex hull of a point set as a mesh.
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>

#include "cli/Error.h"
#include "cli/Formats.h"
#include "cli/MeshConvert.h"
#include "cli/PointCloud.h"
#include "cli/Subcommand.h"
#include "cli/Summary.h"
#include "qssse/geometry/HConvexHull3D.h"
#include "qssse/geometry/HullException.h"
#include "qssse/mesh/HTriangulation.h"

namespace qssse::tool {

namespace {

struct HullOptions {
  std::string input, output, svg;
  double resolution = 0.001;
};

int RunHull(const HullOptions& o) {
  const std::vector<Vertex> points = ReadPoints(o.input);
  MeshKindFromName(o.output);  // a bad output name fails before the work
  const float scale = static_cast<float>(1.0 / o.resolution);
  Stopwatch t;
  CHConvexHull3D hull;
  try {
    for (const Vertex& p : points) hull.AppendVertex3D(p.x, p.y, p.z, scale);
    hull.CalcConvexHull();
  } catch (const CHullException& e) {
    const std::string hint = e.GetCause() == CHullException::range ? " (try a coarser --resolution)" : "";
    throw ToolError(o.input, std::string(e.what()) + hint);
  }
  const double ms = t.Ms();
  CHTriangulation mesh(&hull, 1.0f, 1.0f, 1.0f, scale);
  const MeshData data = ToMeshData(mesh);
  WriteMesh(o.output, data);
  if (!o.svg.empty()) {
    // Seen from above: the faces turned up.
    MeshData top;
    top.vertices = data.vertices;
    for (int i = 0; i < mesh.GetNumTriangles(); ++i) {
      if (mesh.GetTriangle(i)->normal[0]->z > 0.0f) top.triangles.push_back(data.triangles[static_cast<std::size_t>(i)]);
    }
    WriteFileBytes(o.svg, TrianglesSvg(top, {}));
  }
  std::printf("%s: hull of %zu points from %s: %d faces, %d edges, %d vertices, %.1f ms\n", o.output.c_str(),
              points.size(), o.input.c_str(), hull.GetNumFaces(), hull.GetNumEdges(), hull.GetNumVertices(), ms);
  return 0;
}

}  // namespace

Subcommand AddHull(CLI::App& app) {
  auto o = std::make_shared<HullOptions>();
  CLI::App* c = app.add_subcommand("hull", "exact convex hull of 3-D points as a triangle mesh");
  c->add_option("input", o->input, "points: text (x y z per line) or the vertices of a mesh (.stl, .ply, .obj)")
      ->required();
  c->add_option("output", o->output, "hull mesh (.stl, .ply, .obj)")->required();
  c->add_option("--svg", o->svg, "picture of the hull seen from above");
  c->add_option("--resolution", o->resolution,
                "coordinates are rounded to multiples of this before the exact hull is built (any spread "
                "up to 2^20 of these steps per axis fits)")
      ->check(PositiveNumber())
      ->capture_default_str();
  return {c, [o] { return RunHull(*o); }};
}

}  // namespace qssse::tool
