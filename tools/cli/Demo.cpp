// qssse demo: a synthetic restoration through the library's central round trip, with pictures.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include <unistd.h>

#include "cli/ColourBar.h"
#include "cli/Commands.h"
#include "cli/DemoRestoration.h"
#include "cli/Error.h"
#include "cli/Formats.h"
#include "cli/MeshConvert.h"
#include "cli/Morphology.h"
#include "cli/Render.h"
#include "cli/Summary.h"
#include "cli/Synthetic.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"

namespace qssse::tool {
namespace {

// Chamfer distances, erosion and thinning of the mask, with their pictures (the skeleton over the
// crown's relief).
void RunMorphology(const CSSEMatrix& mask, const SyntheticCrown& crown, Summary& s,
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
  // 3 chamfer units per pixel step.
  const double deepestMm = maxDistance / 3.0 * crown.pixelSize;
  char detail[160];
  std::snprintf(detail, sizeof detail, "deepest inside pixel %d (3 per step), %.2f mm from the margin",
                static_cast<int>(maxDistance), deepestMm);
  s.Step("chamfer distance", detail, chamferMs);
  s.Result("chamferMaxDistance", maxDistance);
  WritePng(out("distance.png"),
           WithColourBar(RenderDistance(FromMatrix(distance)), DistanceRamp, 0.0, deepestMm, "mm"));
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
  // Drawn thick: about a 60th of the picture across, so that a short skeleton shows.
  const int radius = std::max(1, crown.heights.width / 128);
  WritePng(out("skeleton.png"), RenderSkeleton(crown.heights, crown.pixelSize, FromMatrix(skeleton), radius));
  s.File("skeleton.png");
}

// Neighbours, border triangles and the border loops of the freshly built mesh (pixel units); the loops
// join the outline picture's rings.
void RunBorder(CHTriangulation& mesh, double pixelSize, Summary& s, std::vector<SvgRing>& rings,
               std::vector<SvgLegendEntry>& legend) {
  Stopwatch tn;
  mesh.CalcNeighbours();
  const double neighboursMs = tn.Ms();
  int border = 0;
  for (int i = 0; i < mesh.GetNumTriangles(); ++i) border += mesh.GetTriangle(i)->mark == 13;
  s.Step("neighbours", std::to_string(border) + " border triangles (a side without a neighbour)",
         neighboursMs);
  s.Result("borderTriangles", border);

  Stopwatch tb;
  std::vector<CSSE3dPolygon> loops;
  const int leftOver = mesh.FindBorderLines(loops);
  const double borderMs = tb.Ms();
  std::size_t points = 0;
  double length = 0.0;
  for (const CSSE3dPolygon& loop : loops) {
    OutlinePoints ring;
    for (int i = 0; i < loop.GetNumPoints(); ++i) {
      Vertex p;
      loop.GetPoint(i, p.x, p.y, p.z);
      if (!ring.empty()) length += std::hypot(double{p.x} - ring.back().x, double{p.y} - ring.back().y);
      ring.push_back(p);
    }
    if (ring.size() > 1)
      length += std::hypot(double{ring.front().x} - ring.back().x, double{ring.front().y} - ring.back().y);
    points += ring.size();
    rings.push_back({std::move(ring), "#c0392b", "#f7dcd7", true});
  }
  char detail[160];
  std::snprintf(detail, sizeof detail, "%zu closed %s of %zu points, %.2f mm around", loops.size(),
                loops.size() == 1 ? "loop" : "loops", points, length * pixelSize);
  s.Step("border loops", detail, borderMs);
  const std::string label = "mesh inside its border (" + std::to_string(loops.size()) +
                            (loops.size() == 1 ? " loop, " : " loops, ") + std::to_string(points) +
                            " points)";
  legend.push_back({label, "#c0392b", "#f7dcd7"});
  s.Result("borderLoops", static_cast<double>(loops.size()));
  s.Result("borderLoopPoints", static_cast<double>(points));
  s.Result("borderLength", length * pixelSize);
  s.Result("borderSidesLeftOver", leftOver);
}

// Into millimetres, the crown centred on the z axis with its margin at z = 0, and anything lying flat
// on the margin plane dropped: the placement a CAD program expects of the mesh files.
void RunEdits(CHTriangulation& mesh, const SyntheticCrown& crown, Summary& s) {
  const auto ps = static_cast<float>(crown.pixelSize);
  const float centre = 0.5f * static_cast<float>(crown.heights.width - 1) * ps;
  Stopwatch t;
  mesh.BlowTriangulation(ps, ps, 1.0f);
  mesh.ShiftTriangulation(-centre, -centre, -crown.marginHeight);
  const int before = mesh.GetNumTriangles();
  mesh.RemoveTrianglesBelowZ(0.0f);
  const int removed = before - mesh.GetNumTriangles();
  s.Step("edit mesh", "in mm, centred, margin at z 0, " + std::to_string(removed) + " flat triangles removed",
         t.Ms());
  s.Result("removedTriangles", removed);
}

// Where the mesh came from: the raster pixel of its lowest corner and its lowest height, before the edits.
struct MeshOrigin {
  int x = 0, y = 0;
  float z = 0.0f;
};

struct Difference {
  double max = 0.0, mean = 0.0;
};

// The conversion against the crown on the interior pixels; diff (when given) receives scan - crown there.
Difference Compare(const CSSEMatrix& scan, const SyntheticCrown& crown, const std::vector<char>& interior,
                   const MeshOrigin& o, HeightField* diff) {
  Difference d;
  std::size_t n = 0;
  const int size = crown.heights.width;
  for (int y = 0; y < size; ++y) {
    for (int x = 0; x < size; ++x) {
      if (!interior[static_cast<std::size_t>(y) * size + x]) continue;
      const float e = scan.GetPoint(x - o.x, y - o.y) - crown.heights.At(x, y);
      d.max = std::max(d.max, static_cast<double>(std::fabs(e)));
      d.mean += std::fabs(e);
      ++n;
      if (diff != nullptr) diff->At(x, y) = e;
    }
  }
  d.mean = n > 0 ? d.mean / static_cast<double>(n) : 0.0;
  return d;
}

// Scan-converts the edited mesh back at the crown's pixel size and compares it with the crown on the
// interior: the pixels whose 5 x 5 neighbourhood lies in the clipped region (`clipped` non-zero) and
// off the conversion's one-pixel frame. The plain conversion keeps, per pixel, the maximum of samples
// at cell corners stamped as crosses, so crown(p) <= scan(p) <= the crown's maximum over the 5 x 5
// pixels around p; the refinement then gives every pixel the mesh's exact height at its centre, equal
// to the crown up to the float rounding of the edits (documented bound: 1e-4 mm).
void RunRoundTrip(CHTriangulation& mesh, const SyntheticCrown& crown, const CSSEMatrix& clipped,
                  const MeshOrigin& o, Summary& s,
                  const std::function<std::string(const std::string&)>& out) {
  constexpr double kRefinedBound = 1e-4;
  const auto ps = static_cast<float>(crown.pixelSize);
  const int size = crown.heights.width;
  mesh.SetScanConvResolution(ps, ps, 1.0f);
  CSSEMatrix scan;
  Stopwatch t;
  // The offset puts the heights back where the crown has them: the mesh's lowest point was o.z.
  mesh.ScanConvertTriangulationMax(&scan, o.z);
  const double scanMs = t.Ms();

  // The interior, and the plain conversion's bound there.
  std::vector<char> interior(static_cast<std::size_t>(size) * size, 0);
  double localRange = 0.0;
  std::size_t interiorPixels = 0;
  for (int y = 2; y < size - 2; ++y) {
    for (int x = 2; x < size - 2; ++x) {
      const int sx = x - o.x, sy = y - o.y;
      if (sx < 1 || sy < 1 || sx >= scan.GetSizeX() - 1 || sy >= scan.GetSizeY() - 1) continue;
      bool inside = true;
      float top = crown.heights.At(x, y);
      for (int dy = -2; dy <= 2 && inside; ++dy) {
        for (int dx = -2; dx <= 2; ++dx) {
          inside = inside && clipped.GetPoint(x + dx, y + dy) != 0.0f;
          top = std::max(top, crown.heights.At(x + dx, y + dy));
        }
      }
      if (!inside) continue;
      interior[static_cast<std::size_t>(y) * size + x] = 1;
      localRange = std::max(localRange, static_cast<double>(top - crown.heights.At(x, y)));
      ++interiorPixels;
    }
  }
  HeightField diff{size, size, std::vector<float>(static_cast<std::size_t>(size) * size, 0.0f)};
  const Difference plain = Compare(scan, crown, interior, o, &diff);
  char detail[160];
  std::snprintf(detail, sizeof detail, "%d x %d, max |diff| %.3g mm (bound %.3g), mean %.3g", scan.GetSizeX(),
                scan.GetSizeY(), plain.max, localRange, plain.mean);
  s.Step("scan conversion", detail, scanMs);
  s.Result("interiorPixels", static_cast<double>(interiorPixels));
  s.Result("scanMaxDiff", plain.max);
  s.Result("scanMeanDiff", plain.mean);
  s.Result("scanBound", localRange);

  Stopwatch tr;
  mesh.RefineScanConvImageTop(&scan, o.z);
  const double refineMs = tr.Ms();
  const Difference refined = Compare(scan, crown, interior, o, nullptr);
  std::snprintf(detail, sizeof detail, "max |diff| %.2g mm (bound %.0e), mean %.2g, %zu pixels", refined.max,
                kRefinedBound, refined.mean, interiorPixels);
  s.Step("refined round trip", detail, refineMs);
  s.Result("roundTripMaxDiff", refined.max);
  s.Result("roundTripMeanDiff", refined.mean);
  s.Result("roundTripBound", kRefinedBound);

  // The refined conversion in the crown's frame (0 where no triangle reached), and the pictures.
  HeightField back{size, size, std::vector<float>(static_cast<std::size_t>(size) * size, 0.0f)};
  for (int y = 0; y < scan.GetSizeY(); ++y) {
    for (int x = 0; x < scan.GetSizeX(); ++x) {
      const float v = scan.GetPoint(x, y);
      if (v != 0.0f && x + o.x < size && y + o.y < size) back.At(x + o.x, y + o.y) = v;
    }
  }
  WriteHeightField(out("scan.pfm"), back);
  WritePng(out("scan-relief.png"), RenderRelief(back, crown.pixelSize));
  HeightField valid{size, size, std::vector<float>(interior.begin(), interior.end())};
  const double bound = std::max(plain.max, 1e-6);
  WritePng(out("difference.png"), WithColourBar(RenderDifference(diff, static_cast<float>(bound), &valid),
                                                DifferenceRamp, -bound, bound, "mm"));
  for (const char* f : {"scan.pfm", "scan-relief.png", "difference.png"}) s.File(f);
}

std::string MemoryText(std::uint64_t bytes) {
  char buf[32];
  if (bytes < (std::uint64_t{1} << 30))
    std::snprintf(buf, sizeof buf, "%.0f MiB", static_cast<double>(bytes) / (1 << 20));
  else
    std::snprintf(buf, sizeof buf, "%.1f GiB", static_cast<double>(bytes) / (1 << 30));
  return buf;
}

}  // namespace

std::uint64_t DemoMemoryBytes(int size) {
  // Measured peak resident memory: 2.38 KiB per pixel from 160 to 1536 pixels a side (the mesh of two
  // triangles per pixel, its copies for the restoration steps and their base-library forms), plus the
  // program itself.
  constexpr std::uint64_t kPerPixel = 2500, kBase = std::uint64_t{8} << 20;
  const auto side = static_cast<std::uint64_t>(std::max(size, 0));
  return kBase + kPerPixel * side * side;
}

std::uint64_t AvailableMemoryBytes() {
  std::ifstream meminfo("/proc/meminfo");
  std::string key;
  std::uint64_t kib = 0;
  std::string unit;
  while (meminfo >> key >> kib >> unit) {
    if (key == "MemAvailable:") return kib << 10;
  }
  const long pages = ::sysconf(_SC_AVPHYS_PAGES), pageSize = ::sysconf(_SC_PAGE_SIZE);
  if (pages <= 0 || pageSize <= 0) return 0;
  return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
}

int RunDemo(const DemoOptions& o) {
  const Stopwatch total;
  // Before anything is allocated or written: does the machine have the memory this size needs?
  const std::uint64_t needed = DemoMemoryBytes(o.size);
  const std::uint64_t available = o.memoryAvailable > 0 ? o.memoryAvailable : AvailableMemoryBytes();
  if (available > 0 && needed > available) {
    const double fits =
        std::sqrt(static_cast<double>(available - std::min(available, DemoMemoryBytes(0))) / 2500.0);
    throw ToolError("a crown of " + std::to_string(o.size) + " x " + std::to_string(o.size) +
                    " pixels needs about " + MemoryText(needed) + " of memory, more than the " +
                    MemoryText(available) + " this machine has available; --size " +
                    std::to_string(static_cast<int>(fits)) + " fits");
  }
  std::error_code ec;
  std::filesystem::create_directories(o.outDir, ec);
  if (ec) throw ToolError(o.outDir, "cannot create the output directory: " + ec.message());
  const std::function<std::string(const std::string&)> out = [&](const std::string& name) {
    return (std::filesystem::path(o.outDir) / name).string();
  };
  Summary s(11 + kRestorationDemoSteps);
  std::printf("qssse demo: a synthetic crown of %d x %d pixels, into %s/ (needs about %s of memory)\n",
              o.size, o.size, o.outDir.c_str(), MemoryText(needed).c_str());

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

  // 2. the outline filled into a mask
  CSSE3dPolygon margin;
  ToPolygon(crown.margin, margin);
  CSSEMatrix mask;
  mask.Create(o.size, o.size);
  Stopwatch tf;
  FillOutline(margin, mask, 1.0f);
  const double fillMs = tf.Ms();
  s.Step("fill outline", std::to_string(mask.NumValuesAbove(0.5f)) + " pixels inside the margin", fillMs);

  // 3. the mesh of the height field clipped to the margin, its neighbours and border
  std::vector<SvgRing> rings = {{crown.margin, "#1f5fbf", "none", true}};
  std::vector<SvgLegendEntry> legend = {
      {"margin outline (" + std::to_string(crown.margin.size()) + " points)", "#1f5fbf", "none"}};
  CSSEMatrix heights;
  ToMatrix(crown.heights, heights);
  HeightMeshOptions b;
  b.outline = &crown.margin;
  Stopwatch tm;
  const std::unique_ptr<CHTriangulation> mesh = BuildHeightMesh(heights, b);
  const double meshMs = tm.Ms();
  // The corners the builder could use: the crown's pixels inside the margin by the builder's own test.
  CSSE3dPolygon clip;
  ToPolygon(crown.margin, clip);
  ClipToOutline(heights, clip, 0.0f);
  MeshOrigin origin;
  {
    SSEPoint lo;
    mesh->GetMinPoint(lo);
    origin = {static_cast<int>(lo.x), static_cast<int>(lo.y), lo.z};
  }
  s.Step("mesh from heights", std::to_string(mesh->GetNumTriangles()) + " triangles, clipped to the margin",
         meshMs);
  s.Result("meshTriangles", mesh->GetNumTriangles());
  RunBorder(*mesh, crown.pixelSize, s, rings, legend);

  // 4. edits, and the mesh files
  RunEdits(*mesh, crown, s);
  const MeshData data = ToMeshData(*mesh);
  WriteMesh(out("crown.stl"), data);
  WriteMesh(out("crown.ply"), data);
  s.Result("meshVertices", static_cast<double>(data.vertices.size()));
  for (const char* f : {"crown.stl", "crown.ply"}) s.File(f);

  // 5. back into a height field, compared with the crown
  RunRoundTrip(*mesh, crown, heights, origin, s, out);

  // 6. morphology on the mask
  RunMorphology(mask, crown, s, out);
  RunRestorationDemo(*mesh, s, out);

  // The margin over the mesh it clipped: the mesh's border lies just inside it.
  std::rotate(rings.begin(), rings.begin() + 1, rings.end());
  std::rotate(legend.begin(), legend.begin() + 1, legend.end());
  WriteFileBytes(out("outlines.svg"), EncodeSvg(rings, o.size, o.size, legend));
  s.File("outlines.svg");
  s.File("summary.json");
  // The whole run, reading, writing and drawing included (the steps' own times leave them out).
  const double totalMs = total.Ms();
  s.Result("totalMs", totalMs);
  WriteFileBytes(out("summary.json"), s.Json(o.size));
  s.Done();
  std::printf("  %-22s %-62s %9.2f ms\n", "total", "the steps, and making, writing and drawing the files",
              totalMs);
  std::printf("  files in %s/: %s\n", o.outDir.c_str(), s.FileList().c_str());
  return 0;
}

}  // namespace qssse::tool
