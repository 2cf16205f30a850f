// qssse demo: a synthetic restoration through the library's central round trip, with pictures.
#include <cstdio>
#include <filesystem>
#include <string>

#include "cli/Bytes.h"
#include "cli/Commands.h"
#include "cli/Error.h"
#include "cli/HeightField.h"
#include "cli/Outline.h"
#include "cli/Render.h"
#include "cli/Summary.h"
#include "cli/Synthetic.h"

namespace qssse::tool {

int RunDemo(const DemoOptions& o) {
  std::error_code ec;
  std::filesystem::create_directories(o.outDir, ec);
  if (ec) throw ToolError(o.outDir, "cannot create the output directory: " + ec.message());
  const auto out = [&](const std::string& name) { return (std::filesystem::path(o.outDir) / name).string(); };
  Summary s;
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
  s.Missing("morphology", "raster morphology");

  WriteFileBytes(out("outlines.svg"), EncodeSvg({{crown.margin, "#1f5fbf", "none", true}}, o.size, o.size));
  s.File("outlines.svg");
  WriteFileBytes(out("summary.json"), s.Json(o.size));
  std::printf("  files: %s/{crown.pfm, margin.txt, relief.png, outlines.svg, summary.json}\n",
              o.outDir.c_str());
  return 0;
}

}  // namespace qssse::tool
