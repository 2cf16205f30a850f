// qssse triangulate: an outline into a triangle mesh by ear clipping, optionally refined, with a picture
// of the triangles and the ear clipping's diagonals.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "cli/Error.h"
#include "cli/Formats.h"
#include "cli/MeshConvert.h"
#include "cli/Subcommand.h"
#include "cli/Summary.h"
#include "qssse/geometry/HPolygonTriangulationRefinement.h"
#include "qssse/geometry/HPolygonTriangulator.h"
#include "qssse/polygon/SSE3dPolygon.h"

namespace qssse::tool {
namespace {

struct TriangulateOptions {
  std::string input;
  std::string output;
  std::string svg;      // default: the mesh's name with .svg
  float refine = 0.0f;  // side length; 0: no refinement
  int passes = 14;      // the mesh builders' count
};

// Pictures stop drawing single triangles beyond this many (the outline and diagonals are always drawn).
constexpr std::size_t kMaxPictureTriangles = 200000;

double SignedArea2(const OutlinePoints& p) {
  double s = 0.0;
  for (std::size_t i = 0; i < p.size(); ++i) {
    const Vertex& a = p[i];
    const Vertex& b = p[(i + 1) % p.size()];
    s += static_cast<double>(a.x) * b.y - static_cast<double>(b.x) * a.y;
  }
  return s;
}

std::string DefaultSvgName(const std::string& mesh) {
  const std::size_t slash = mesh.find_last_of('/');
  const std::size_t dot = mesh.find_last_of('.');
  const bool hasExtension = dot != std::string::npos && (slash == std::string::npos || dot > slash);
  return (hasExtension ? mesh.substr(0, dot) : mesh) + ".svg";
}

// Triangles as hairlines, diagonals over them, the outline on top; y down, as in the raster pictures.
std::string TriangulationSvg(const MeshData& mesh, bool drawTriangles, const std::vector<Vertex>& diagonals,
                             const OutlinePoints& outline) {
  double x0 = std::numeric_limits<double>::max(), y0 = x0;
  double x1 = std::numeric_limits<double>::lowest(), y1 = x1;
  for (const Vertex& p : outline) {
    x0 = std::min(x0, double{p.x}), x1 = std::max(x1, double{p.x});
    y0 = std::min(y0, double{p.y}), y1 = std::max(y1, double{p.y});
  }
  const double margin = 0.02 * std::max({x1 - x0, y1 - y0, 1e-6});
  x0 -= margin, y0 -= margin, x1 += margin, y1 += margin;
  char buf[256];
  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  std::snprintf(
      buf, sizeof buf,
      "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"%.9g %.9g %.9g %.9g\" width=\"800\" "
      "height=\"%d\">\n<rect x=\"%.9g\" y=\"%.9g\" width=\"%.9g\" height=\"%.9g\" fill=\"#fafafa\"/>\n",
      x0, y0, x1 - x0, y1 - y0, static_cast<int>(800 * (y1 - y0) / (x1 - x0)), x0, y0, x1 - x0, y1 - y0);
  out += buf;
  const auto path = [&](const char* stroke, double width, const char* fill) {
    std::snprintf(
        buf, sizeof buf,
        "<path fill=\"%s\" stroke=\"%s\" stroke-width=\"%.3g\" vector-effect=\"non-scaling-stroke\" "
        "stroke-linejoin=\"round\" d=\"",
        fill, stroke, width);
    out += buf;
  };
  const auto point = [&](char op, const Vertex& p) {
    std::snprintf(buf, sizeof buf, "%c%.7g %.7g", op, p.x, p.y);
    out += buf;
  };
  if (drawTriangles) {
    path("#9aa5b1", 0.4, "#e8eef5");
    for (const auto& t : mesh.triangles) {
      point('M', mesh.vertices[t[0]]);
      point('L', mesh.vertices[t[1]]);
      point('L', mesh.vertices[t[2]]);
      out += 'Z';
    }
    out += "\"/>\n";
  }
  path("#e07b00", 0.8, "none");
  for (std::size_t i = 0; i + 1 < diagonals.size(); i += 2) {
    point('M', diagonals[i]);
    point('L', diagonals[i + 1]);
  }
  out += "\"/>\n";
  path("#1f5fbf", 1.5, "none");
  for (std::size_t i = 0; i < outline.size(); ++i) point(i ? 'L' : 'M', outline[i]);
  out += "Z\"/>\n</svg>\n";
  return out;
}

int RunTriangulate(const TriangulateOptions& o) {
  if (!(std::isfinite(o.refine) && o.refine >= 0.0f))
    throw ToolError("--refine must be a length of 0 or more");
  MeshKindFromName(o.output);  // a bad output name fails before the work
  const std::string svgName = o.svg.empty() ? DefaultSvgName(o.output) : o.svg;

  // 1. the outline: consecutive repeats dropped, turned counter-clockwise (the ear clipping's interior
  //    is on the left)
  const OutlinePoints read = ReadOutline(o.input);
  OutlinePoints ring;
  for (const Vertex& p : read) {
    if (ring.empty() || !(p == ring.back())) ring.push_back(p);
  }
  while (ring.size() > 1 && ring.back() == ring.front()) ring.pop_back();
  const std::size_t repeats = read.size() - ring.size();
  if (ring.size() < 3) throw ToolError(o.input, "fewer than 3 distinct points");
  const bool reversed = SignedArea2(ring) < 0.0;
  if (reversed) std::reverse(ring.begin(), ring.end());
  CSSE3dPolygon polygon;
  ToPolygon(ring, polygon);
  const int n = polygon.GetNumPoints();

  // 2. ear clipping from the head's successor at unit scales, as the library's mesh builder does, then
  //    the refinement when asked for
  Stopwatch watch;
  CHPolygonTriangulator clipping(&polygon, 1, 1.0f, 1.0f, 1.0f, true);
  const double clipMs = watch.Ms();
  std::unique_ptr<CHPolygonTriangulationRefinement> refined;
  if (o.refine > 0.0f)
    refined = std::make_unique<CHPolygonTriangulationRefinement>(&clipping, o.refine, o.passes);
  const double totalMs = watch.Ms();

  // 3. the mesh in the outline's units
  MeshData soup;
  const int count = refined ? refined->GetNumTriangles() : clipping.GetNumTriangles();
  CheckMeshFits(static_cast<std::uint64_t>(count), o.input);
  soup.vertices.reserve(3 * static_cast<std::size_t>(count));
  SSEPoint a = qssse::ZeroSSEPoint(), b = a, c = a;
  for (int i = 0; i < count; ++i) {
    if (!refined) {
      clipping.GetTriangle3D(i, a, b, c);
    } else if (i == 0) {
      refined->GetFirstTriangle3D(a, b, c);
    } else {
      refined->GetNextTriangle3D(a, b, c);
    }
    for (const SSEPoint* p : {&a, &b, &c}) {
      if (!(std::isfinite(p->x) && std::isfinite(p->y) && std::isfinite(p->z))) {
        throw ToolError(o.input,
                        "a refined corner got no height: the outline has too few points to interpolate "
                        "from (InterpolateZ samples every 8th point)");
      }
      soup.vertices.push_back({p->x, p->y, p->z});
    }
    const auto k = static_cast<std::uint32_t>(3 * i);
    soup.triangles.push_back({k, k + 1, k + 2});
  }
  const MeshData mesh = WeldVertices(soup);
  if (!mesh.triangles.empty()) WriteMesh(o.output, mesh);

  std::vector<Vertex> diagonals;
  for (int i = 0; i < clipping.GetNumDiagonals(); ++i) {
    Vertex p, q;
    clipping.GetDiagonalPoints(i, p.x, p.y, q.x, q.y);
    diagonals.push_back(p);
    diagonals.push_back(q);
  }
  WriteFileBytes(svgName,
                 TriangulationSvg(mesh, mesh.triangles.size() <= kMaxPictureTriangles, diagonals, ring));

  // 4. the report
  if (clipping.GetNumTriangles() < n - 2) {
    throw ToolError(o.input,
                    "the ear clipping stopped after " + std::to_string(clipping.GetNumTriangles()) + " of " +
                        std::to_string(n - 2) +
                        " triangles (the outline crosses itself, or turns within the area tolerance 0.0005 "
                        "of its doubled areas); " +
                        (mesh.triangles.empty() ? std::string("no mesh written, ")
                                                : "the partial mesh is in " + o.output + ", ") +
                        "the picture in " + svgName);
  }
  std::printf("%s: %d triangles from the outline of %d points in %s", o.output.c_str(), count, n,
              o.input.c_str());
  if (refined) {
    std::printf(" (ear clipping %d, refined with side length %g in %d passes)", clipping.GetNumTriangles(),
                static_cast<double>(o.refine), o.passes);
  }
  std::printf(", %.1f ms (ear clipping %.1f ms); picture %s\n", totalMs, clipMs, svgName.c_str());
  if (repeats > 0) std::printf("  %zu repeated points dropped\n", repeats);
  if (reversed) std::printf("  the outline ran clockwise: triangulated in reverse order\n");
  return 0;
}

}  // namespace

Subcommand AddTriangulate(CLI::App& app) {
  auto o = std::make_shared<TriangulateOptions>();
  CLI::App* c = app.add_subcommand(
      "triangulate", "triangulate an outline by ear clipping (optionally refined) into a mesh and a picture");
  c->add_option("outline", o->input, "outline (text, x y z per line), either orientation")->required();
  c->add_option("-o,--output", o->output, "mesh (.stl, .ply, .obj, .off), in the outline's units")
      ->required();
  CLI::Option* refine =
      c->add_option(
           "--refine", o->refine,
           "split sides longer than twice this length (with the triangle across them); heights of new "
           "corners are interpolated from the outline")
          ->check(PositiveNumber());
  c->add_option("--passes", o->passes, "refinement passes")
      ->check(CLI::Range(1, 30))
      ->needs(refine)
      ->capture_default_str();
  c->add_option("--svg", o->svg,
                "picture of the triangles and the ear clipping's diagonals (default: the "
                "mesh's name with .svg)");
  return {c, [o] { return RunTriangulate(*o); }};
}

}  // namespace qssse::tool
