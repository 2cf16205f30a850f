// qssse offset: an outline grown or shrunk by an exact offset in x-y.
#include <cmath>
#include <cstdio>
#include <string>

#include "cli/Error.h"
#include "cli/Formats.h"
#include "cli/MeshConvert.h"
#include "cli/Subcommand.h"
#include "cli/Summary.h"
#include "qssse/polygon/SSE3dPolygon.h"

namespace qssse::tool {
namespace {

struct OffsetOptions {
  std::string input, output;
  double distance = 0.0;
  std::string join = "round";
  double miterLimit = 2.0;
  double arcTolerance = 0.0;
};

bool EndsWith(const std::string& s, const std::string& tail) {
  return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

OutlinePoints FromPolygon(const CSSE3dPolygon& p) {
  OutlinePoints out(static_cast<std::size_t>(p.GetNumPoints()));
  for (int i = 0; i < p.GetNumPoints(); ++i) p.GetPoint(i, out[i].x, out[i].y, out[i].z);
  return out;
}

int RunOffset(const OffsetOptions& o) {
  const bool svg = EndsWith(o.output, ".svg");
  if (!svg && !EndsWith(o.output, ".txt"))
    throw ToolError(o.output, "unknown output type (use .txt for the outline, .svg for a picture)");
  if (!std::isfinite(o.distance) || std::fabs(o.distance) > 1e30) throw ToolError("--distance must be a number");
  const OutlinePoints points = ReadOutline(o.input);
  CSSE3dPolygon outline;
  ToPolygon(points, outline);
  CSSE3dPolygon result = outline;
  const auto join = o.join == "miter" ? CSSE3dPolygon::kJoinMiter : CSSE3dPolygon::kJoinRound;
  Stopwatch t;
  const bool any = result.DilateExact(static_cast<float>(o.distance), join, static_cast<float>(o.miterLimit),
                                      static_cast<float>(o.arcTolerance));
  const double ms = t.Ms();
  if (!any) {
    char what[96];
    std::snprintf(what, sizeof what, "nothing remains of the outline shrunk by %g", -o.distance);
    throw ToolError(o.input, what);
  }
  const OutlinePoints out = FromPolygon(result);
  if (svg) {
    SvgRing before{points, "#9a9a9a"};
    SvgRing after{out, "#1f5fbf"};
    WriteFileBytes(o.output, EncodeSvg({before, after}, 0, 0));
  } else {
    WriteFileBytes(o.output, EncodeOutlineText(out));
  }
  std::printf("%s: %zu points, area %.6g -> %.6g (%s by %g, %s joins), %.1f ms\n", o.output.c_str(), out.size(),
              0.5 * std::fabs(outline.CalcXYArea()), 0.5 * std::fabs(result.CalcXYArea()),
              o.distance >= 0 ? "grown" : "shrunk", std::fabs(o.distance), o.join.c_str(), ms);
  return 0;
}

}  // namespace

Subcommand AddOffset(CLI::App& app) {
  auto o = std::make_shared<OffsetOptions>();
  CLI::App* c = app.add_subcommand("offset", "grow or shrink an outline by an exact offset in x-y");
  c->add_option("input", o->input, "outline text file (x y z per line)")->required();
  c->add_option("output", o->output, "the offset outline: .txt, or .svg for a picture with the input")->required();
  c->add_option("-d,--distance", o->distance, "offset distance; negative shrinks")->required();
  c->add_option("--join", o->join, "how convex corners are joined")
      ->check(CLI::IsMember({"round", "miter"}))
      ->capture_default_str();
  c->add_option("--miter-limit", o->miterLimit, "longest mitre, in distances, before it is cut square")
      ->check(NumberFrom(1.0, 1e6))
      ->capture_default_str();
  c->add_option("--arc-tolerance", o->arcTolerance,
                "largest gap between a round join and its chords (0: 0.2% of the distance)")
      ->check(NumberFrom(0.0));
  return {c, [o] { return RunOffset(*o); }};
}

}  // namespace qssse::tool
