// qssse fill: an outline into a mask or a height raster.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "cli/Commands.h"
#include "cli/Error.h"
#include "cli/Formats.h"
#include "cli/MeshConvert.h"
#include "cli/Progress.h"
#include "cli/Summary.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"

namespace qssse::tool {

void FillOutline(CSSE3dPolygon& outline, CSSEMatrix& m, float value) {
  // Rows far beyond any raster: the whole outline is scanned.
  outline.DrawInMatrixAndFillFine(value, &m, false, -1.0e9f, 1.0e9f);
}

long long InterpolateInside(const CSSE3dPolygon& outline, CSSEMatrix& m, const char* label) {
  Progress progress(label);
  long long filled = 0;
  for (int y = 0; y < m.GetSizeY(); ++y) {
    for (int x = 0; x < m.GetSizeX(); ++x) {
      if (m.GetPoint(x, y) == 0.0f) continue;
      // A pixel on an outline point takes its height as it stands.
      m.SetPoint(x, y, outline.InterpolateZ(static_cast<float>(x), static_cast<float>(y), 1, 1.0e-6f));
      ++filled;
    }
    progress.Update(y + 1, m.GetSizeY());
  }
  return filled;
}

int RunFill(const FillOptions& o) {
  if (!std::isfinite(o.value)) throw ToolError("--value must be a number");
  const OutlinePoints points = ReadOutline(o.input);
  HeightFieldKindFromName(o.output);  // a bad output name fails before the work
  float maxX = 0.0f, maxY = 0.0f;
  for (const Vertex& p : points) maxX = std::max(maxX, p.x), maxY = std::max(maxY, p.y);
  // Default: the raster from pixel 0 to one pixel past the outline's extent.
  const double w = o.width > 0 ? o.width : std::floor(static_cast<double>(maxX)) + 2;
  const double h = o.height > 0 ? o.height : std::floor(static_cast<double>(maxY)) + 2;
  CheckRasterFits(w, h, o.input, "the outline reaches that far; give --width and --height");
  CSSEMatrix m;
  m.Create(static_cast<int>(w), static_cast<int>(h));
  CSSE3dPolygon outline;
  ToPolygon(points, outline);
  Stopwatch t;
  FillOutline(outline, m, 1.0f);
  const long long inside = m.NumValuesAbove(0.5f);
  if (o.heights) {
    InterpolateInside(outline, m, "qssse fill");
  } else if (o.value != 1.0f) {
    m.ReplaceValueWithValue(1.0f, o.value, 0.5f);
  }
  const double ms = t.Ms();
  HeightFieldWriteOptions out;
  out.png.bits = o.bits;
  WriteHeightField(o.output, FromMatrix(m), out);
  std::printf("%s: %d x %d, %lld pixels inside the outline of %zu points from %s%s, %.1f ms\n",
              o.output.c_str(), m.GetSizeX(), m.GetSizeY(), inside, points.size(), o.input.c_str(),
              o.heights ? ", heights interpolated from its points" : "", ms);
  return 0;
}

}  // namespace qssse::tool
