// qssse morph: the raster toolkit's morphology, filters and resampling on a file.
#include <cstdio>

#include "cli/Commands.h"
#include "cli/Error.h"
#include "cli/Formats.h"
#include "cli/Morphology.h"
#include "qssse/raster/Filters.h"
#include "qssse/raster/SSEMatrix.h"

namespace qssse::tool {

void BinariseMask(CSSEMatrix& m, bool invert) {
  for (int y = 0; y < m.GetSizeY(); ++y) {
    for (int x = 0; x < m.GetSizeX(); ++x)
      m.SetPoint(x, y, (m.GetPoint(x, y) != 0.0f) != invert ? 1.0f : 0.0f);
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

int RunMorph(const MorphOptions& o) {
  const HeightField h = ReadRasterInput(o.input, o.raster);
  HeightFieldKindFromName(o.output);  // a bad output name fails before the work
  CSSEMatrix m;
  ToMatrix(h, m);
  if (o.op == "chamfer") {
    ChamferDistance(m, o.inside);
  } else if (o.op == "erode") {
    ErodeMask(m, o.radius);
  } else if (o.op == "dilate") {
    DilateMask(m, o.radius);
  } else if (o.op == "thin") {
    m.ZhangSuen(o.threshold);
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
