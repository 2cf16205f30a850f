// qssse morph: the raster toolkit's morphology, filters and resampling on a file.
#include <cstdio>

#include "cli/Commands.h"
#include "cli/Error.h"
#include "cli/Formats.h"
#include "cli/Morphology.h"
#include "cli/Progress.h"
#include "qssse/raster/Filters.h"
#include "qssse/raster/SSEMatrix.h"

namespace qssse::tool {

void BinariseMask(CSSEMatrix& m, bool invert) {
  for (int y = 0; y < m.GetSizeY(); ++y) {
    for (int x = 0; x < m.GetSizeX(); ++x)
      m.SetPoint(x, y, (m.GetPoint(x, y) != 0.0f) != invert ? 1.0f : 0.0f);
  }
}

void BinariseAbove(CSSEMatrix& m, float threshold) {
  for (int y = 0; y < m.GetSizeY(); ++y) {
    for (int x = 0; x < m.GetSizeX(); ++x) m.SetPoint(x, y, m.GetPoint(x, y) > threshold ? 1.0f : 0.0f);
  }
}

void ChamferDistance(CSSEMatrix& m, bool inside) {
  // The library measures each pixel's distance to the nearest 1: the region's inside distances come
  // from a mask whose 1s are the background.
  BinariseMask(m, inside);
  m.Chamfer();
}

void ErodeMask(CSSEMatrix& m, float radius) {
  BinariseMask(m, false);
  m.Errode(radius, 0.0f, 1.0f, 0, m.GetSizeX() - 1, 0, m.GetSizeY() - 1);
}

void DilateMask(CSSEMatrix& m, float radius) {
  BinariseMask(m, false);
  m.Dilate(radius, 0.0f, 1.0f, 0, m.GetSizeX() - 1, 0, m.GetSizeY() - 1);
}

int ThinUntilStable(CSSEMatrix& m, float threshold) {
  Progress progress("thinning");
  const long long region = m.NumValuesAbove(threshold);
  m.ZhangSuen(threshold);
  int runs = 1;
  // The result is a 0/1 skeleton, so every further run thins at 0.5 and can only delete pixels:
  // an unchanged count means an unchanged skeleton.
  for (long long left = m.NumValuesAbove(0.5f);;) {
    progress.Update(region - left, region);
    m.ZhangSuen(0.5f);
    ++runs;
    const long long now = m.NumValuesAbove(0.5f);
    if (now == left) break;
    left = now;
  }
  return runs;
}

namespace {

void CheckOptionsFitTheOperation(const MorphOptions& o) {
  if (o.binary && o.op != "erode" && o.op != "dilate")
    throw ToolError("--binary applies to erode and dilate, not to " + o.op);
  if (o.units != "pixels" && o.op != "chamfer") throw ToolError("--units applies to chamfer, not to " + o.op);
  // The new size before the input is even read: the size rule of every raster.
  if (o.op == "scale" && o.width > 0 && o.height > 0) CheckRasterFits(o.width, o.height, o.output, "");
}

void Chamfer(CSSEMatrix& m, const MorphOptions& o) {
  ChamferDistance(m, o.inside);
  if (o.units == "chamfer") return;
  // 3 chamfer units per axial step: a diagonal step becomes 4/3.
  for (int y = 0; y < m.GetSizeY(); ++y) {
    for (int x = 0; x < m.GetSizeX(); ++x) m.SetPoint(x, y, m.GetPoint(x, y) / 3.0f);
  }
}

void ErodeOrDilate(CSSEMatrix& m, const MorphOptions& o) {
  const bool erode = o.op == "erode";
  if (!o.binary) {
    erode ? m.MinimumFilterDisc(o.radius) : m.MaximumFilterDisc(o.radius);
    return;
  }
  BinariseAbove(m, o.binaryThreshold);
  const int x1 = m.GetSizeX() - 1, y1 = m.GetSizeY() - 1;
  erode ? m.Errode(o.radius, 0.0f, 1.0f, 0, x1, 0, y1) : m.Dilate(o.radius, 0.0f, 1.0f, 0, x1, 0, y1);
}

}  // namespace

int RunMorph(const MorphOptions& o) {
  CheckOptionsFitTheOperation(o);
  const HeightField h = ReadRasterInput(o.input, o.raster);
  HeightFieldKindFromName(o.output);  // a bad output name fails before the work
  CSSEMatrix m;
  ToMatrix(h, m);
  if (o.op == "chamfer") {
    Chamfer(m, o);
  } else if (o.op == "erode" || o.op == "dilate") {
    ErodeOrDilate(m, o);
  } else if (o.op == "thin") {
    ThinUntilStable(m, o.threshold);
  } else if (o.op == "median") {
    CSSEMatrix filtered;
    if (o.median == 5)
      CFilters::Median5x5(m, filtered, 0, m.GetSizeX() - 1, 0, m.GetSizeY() - 1);
    else
      CFilters::Median3x3(m, filtered, 0, m.GetSizeX() - 1, 0, m.GetSizeY() - 1);
    m.CopyFromSSEMatrix(filtered);
  } else if (o.op == "scale") {
    if (o.width <= 0 || o.height <= 0) throw ToolError("morph scale needs --width and --height");
    m.ScaleMatrix_SSE(o.width, o.height);
  } else {
    throw ToolError("unknown operation '" + o.op + "'");
  }
  const HeightField out = FromMatrix(m);
  HeightFieldWriteOptions written;
  written.png.bits = o.bits;
  WriteHeightField(o.output, out, written);
  std::printf("%s: %s of %s, %d x %d\n", o.output.c_str(), o.op.c_str(), o.input.c_str(), out.width,
              out.height);
  return 0;
}

}  // namespace qssse::tool
