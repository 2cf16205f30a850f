// qssse border: the open border of a mesh as closed loops, into an outline or a picture.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "cli/Error.h"
#include "cli/Formats.h"
#include "cli/MeshConvert.h"
#include "cli/Subcommand.h"
#include "cli/Summary.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/polygon/SSE3dPolygon.h"

namespace qssse::tool {

namespace {

struct BorderOptions {
  std::string input, output;
  int loop = 1;
};

struct Loop {
  OutlinePoints points;
  double length = 0.0;  // in 3-D
  double area = 0.0;    // signed, in x-y: positive counter-clockwise with y up
};

Loop ToLoop(const CSSE3dPolygon& line) {
  Loop l;
  const int n = line.GetNumPoints();
  for (int i = 0; i < n; ++i) {
    Vertex v;
    line.GetPoint(i, v.x, v.y, v.z);
    l.points.push_back(v);
  }
  for (int i = 0; i < n; ++i) {
    const Vertex& a = l.points[static_cast<std::size_t>(i)];
    const Vertex& b = l.points[static_cast<std::size_t>((i + 1) % n)];
    l.length += std::sqrt(std::pow(double{b.x} - a.x, 2) + std::pow(double{b.y} - a.y, 2) +
                          std::pow(double{b.z} - a.z, 2));
    l.area += 0.5 * (double{a.x} * b.y - double{b.x} * a.y);
  }
  return l;
}

void CheckOutputName(const std::string& path) {
  const FileKind kind = FileKindFromName(path);
  if (kind != FileKind::Svg && kind != FileKind::OutlineText)
    throw ToolError(path, "the border is written as an outline (.txt) or a picture (.svg)");
}

int RunBorder(const BorderOptions& o) {
  if (!o.output.empty()) CheckOutputName(o.output);
  const MeshData data = ReadMeshInput(o.input);
  if (data.triangles.empty()) throw ToolError(o.input, "the mesh has no triangles");
  const std::unique_ptr<CHTriangulation> mesh = ToTriangulation(data, o.input);
  Stopwatch t;
  std::vector<CSSE3dPolygon> lines;
  int leftOver = 0;
  try {
    mesh->CalcNeighbours();
    leftOver = mesh->FindBorderLines(lines);
  } catch (const CMemoryException&) {
    throw ToolError(o.input, "not enough memory to find the border of this mesh");
  }
  const double ms = t.Ms();

  // Longest first: the outer border of a mesh with holes is loop 1.
  std::vector<Loop> loops;
  for (const CSSE3dPolygon& l : lines) loops.push_back(ToLoop(l));
  std::stable_sort(loops.begin(), loops.end(),
                   [](const Loop& a, const Loop& b) { return a.length > b.length; });
  std::size_t sides = 0;
  double total = 0.0;
  for (const Loop& l : loops) sides += l.points.size(), total += l.length;

  if (loops.empty()) {
    std::printf("%s: %zu triangles, no open side: the mesh is closed (%.1f ms)\n", o.input.c_str(),
                data.triangles.size(), ms);
  } else {
    std::printf("%s: %zu %s over %zu open sides of %zu triangles, 3-D length %.6g in all (%.1f ms)\n",
                o.input.c_str(), loops.size(), loops.size() == 1 ? "loop" : "loops", sides,
                data.triangles.size(), total, ms);
  }
  constexpr std::size_t kListed = 12;
  for (std::size_t k = 0; k < loops.size() && k < kListed; ++k) {
    const Loop& l = loops[k];
    std::printf("  loop %zu: %zu points, 3-D length %.6g, area %.6g in x-y (%s)\n", k + 1, l.points.size(),
                l.length, std::fabs(l.area),
                l.area > 0   ? "counter-clockwise"
                : l.area < 0 ? "clockwise"
                             : "none");
  }
  if (loops.size() > kListed) {
    std::printf("  ... %zu more loops, the longest of %zu points\n", loops.size() - kListed,
                loops[kListed].points.size());
  }
  if (leftOver > 0) {
    std::printf("%s: %d open sides close into no loop (sides held by three or more triangles)\n",
                o.input.c_str(), leftOver);
  }
  if (o.output.empty()) return 0;
  if (loops.empty()) throw ToolError(o.input, "the mesh has no open border, so there is no outline to write");

  if (FileKindFromName(o.output) == FileKind::OutlineText) {
    if (o.loop > static_cast<int>(loops.size())) {
      throw ToolError(o.input, "--loop " + std::to_string(o.loop) + " asks for more than the " +
                                   std::to_string(loops.size()) + " loops of the border");
    }
    WriteFileBytes(o.output, EncodeOutlineText(loops[static_cast<std::size_t>(o.loop - 1)].points));
    std::printf(
        "%s: loop %d of %zu%s\n", o.output.c_str(), o.loop, loops.size(),
        loops.size() > 1 ? " (an outline holds one loop: --loop chooses another, an .svg shows all)" : "");
    return 0;
  }
  std::vector<SvgRing> rings;
  std::size_t counterClockwise = 0;
  for (const Loop& l : loops) {
    rings.push_back({l.points, l.area >= 0 ? "#1f5fbf" : "#c0392b", "none", true});
    counterClockwise += l.area >= 0;
  }
  std::vector<SvgLegendEntry> legend;
  const auto count = [](std::size_t n) { return std::to_string(n) + (n == 1 ? " loop" : " loops"); };
  if (counterClockwise > 0)
    legend.push_back({count(counterClockwise) + ", counter-clockwise in x-y", "#1f5fbf"});
  if (counterClockwise < loops.size())
    legend.push_back({count(loops.size() - counterClockwise) + ", clockwise in x-y (holes)", "#c0392b"});
  WriteFileBytes(o.output, EncodeSvg(rings, 0.0, 0.0, legend));
  std::printf("%s: %zu %s in x-y\n", o.output.c_str(), loops.size(), loops.size() == 1 ? "loop" : "loops");
  return 0;
}

}  // namespace

Subcommand AddBorder(CLI::App& app) {
  auto o = std::make_shared<BorderOptions>();
  CLI::App* c = app.add_subcommand("border", "the open border of a mesh as closed loops");
  c->add_option("input", o->input, "mesh (.stl, .ply, .obj, .off)")->required();
  c->add_option(
      "-o,--output", o->output,
      "outline text (.txt: one loop, x y z per line) or picture (.svg: every loop, seen from above)");
  c->add_option("--loop", o->loop, "the loop written to a .txt outline, 1 being the longest")
      ->check(AtLeastOne())
      ->capture_default_str();
  c->footer(
      "A side is open when no other triangle has the same two corners (compared exactly). Every open side "
      "lies on one loop; where loops touch at a corner, each keeps to one fan of triangles around it. "
      "Where the triangles are oriented alike, loops run with the mesh on their left, seen from the side the "
      "triangles face: counter-clockwise around the outside and clockwise around holes.");
  return {c, [o] { return RunBorder(*o); }};
}

}  // namespace qssse::tool
