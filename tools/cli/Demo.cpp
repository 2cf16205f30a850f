// qssse demo: a synthetic restoration through the library's central round trip, with pictures.
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>

#include "cli/Bytes.h"
#include "cli/Commands.h"
#include "cli/Error.h"
#include "cli/HeightField.h"
#include "cli/Morphology.h"
#include "cli/Outline.h"
#include "cli/Render.h"
#include "cli/Summary.h"
#include "cli/Synthetic.h"
#include "qssse/raster/SSEMatrix.h"

namespace qssse::tool {
namespace {

// Chamfer distances, erosion and thinning of the mask, with their pictures.
void RunMorphology(const CSSEMatrix& mask, Summary& s,
                   const std::function<std::string(const std::string&)>& out) {
  const HeightField maskField = FromMatrix(mask);
  WritePng(out("mask.png"), RenderMask(maskField));
  s.File("mask.png");

  CSSEMatrix distance(mask);
  Stopwatch t;
  ChamferDistance(distance, true);
  const double chamferMs = t.Ms();
  float maxDistance = 0.0f, minDistance = 0.0f;
  distance.CalcMinMaxValues(&maxDistance, &minDistance);
  s.Step("chamfer distance",
         "deepest inside pixel " + std::to_string(static_cast<int>(maxDistance)) + " (3 per pixel step)",
         chamferMs);
  s.Result("chamferMaxDistance", maxDistance);
  WritePng(out("distance.png"), RenderDistance(FromMatrix(distance)));
  s.File("distance.png");

  CSSEMatrix eroded(mask);
  Stopwatch te;
  ErodeMask(eroded, 8.0f);
  const double erodeMs = te.Ms();
  const int before = mask.NumValuesAbove(0.5f), after = eroded.NumValuesAbove(0.5f);
  s.Step("erosion, radius 8", std::to_string(before) + " -> " + std::to_string(after) + " pixels", erodeMs);
  s.Result("maskPixels", before);
  s.Result("erodedPixels", after);

  CSSEMatrix skeleton(mask);
  Stopwatch tz;
  skeleton.ZhangSuen(0.5f);
  const double thinMs = tz.Ms();
  const int skeletonPixels = skeleton.NumValuesAbove(0.5f);
  s.Step("thinning", std::to_string(skeletonPixels) + " skeleton pixels", thinMs);
  s.Result("skeletonPixels", skeletonPixels);
  WritePng(out("skeleton.png"), RenderSkeleton(maskField, FromMatrix(skeleton)));
  s.File("skeleton.png");
}

}  // namespace

int RunDemo(const DemoOptions& o) {
  std::error_code ec;
  std::filesystem::create_directories(o.outDir, ec);
  if (ec) throw ToolError(o.outDir, "cannot create the output directory: " + ec.message());
  const std::function<std::string(const std::string&)> out = [&](const std::string& name) {
    return (std::filesystem::path(o.outDir) / name).string();
  };
  Summary s(7);
  std::printf("qssse demo: a synthetic crown of %d x %d pixels, into %s/\n", o.size, o.size,
              o.outDir.c_str());

  // 1. the restoration: height field and margin outline
  Stopwatch t;
  const SyntheticCrown crown = MakeSyntheticCrown(o.size);
  std::size_t inside = 0;
  for (float v : crown.heights.values) inside += v != 0.0f;
  s.Step(
      "synthetic crown",
      std::to_string(inside) + " pixels inside, margin of " + std::to_string(crown.margin.size()) + " points",
      t.Ms());
  WriteHeightField(out("crown.pfm"), crown.heights);
  WriteFileBytes(out("margin.txt"), EncodeOutlineText(crown.margin));
  WritePng(out("relief.png"), RenderRelief(crown.heights, crown.pixelSize));
  for (const char* f : {"crown.pfm", "margin.txt", "relief.png"}) s.File(f);

  // 2. the outline filled into a mask, the mesh clipped to it, and back
  s.Missing("fill outline", "filling outlines into rasters");
  s.Missing("mesh from heights", "building meshes from height fields");
  s.Missing("scan conversion", "scan conversion of meshes");

  // 3. morphology on the mask: until outlines can be filled, the mask is the crown's non-zero pixels
  CSSEMatrix mask;
  ToMatrix(crown.heights, mask);
  BinariseMask(mask, false);
  RunMorphology(mask, s, out);

  WriteFileBytes(out("outlines.svg"), EncodeSvg({{crown.margin, "#1f5fbf", "none", true}}, o.size, o.size));
  s.File("outlines.svg");
  s.File("summary.json");
  WriteFileBytes(out("summary.json"), s.Json(o.size));
  s.Done();
  std::printf("  files in %s/: %s\n", o.outDir.c_str(), s.FileList().c_str());
  return 0;
}

}  // namespace qssse::tool
