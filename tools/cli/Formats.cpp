#include "cli/Formats.h"

#include <cstdio>

#include "cli/Error.h"

namespace qssse::tool {

HeightFieldReadOptions ToReadOptions(const RasterInputOptions& r, float noValue) {
  HeightFieldReadOptions o;
  o.png.haveScale = r.haveHeightScale;
  o.png.scale = r.heightScale;
  o.png.haveOffset = r.haveHeightOffset;
  o.png.offset = r.heightOffset;
  o.haveNoData = r.haveNoData;
  o.noData = r.noData;
  o.noValue = noValue;
  return o;
}

HeightField ReadRasterInput(const std::string& path, const RasterInputOptions& r, float noValue,
                            const char* becomes) {
  HeightField h = ReadHeightField(path, ToReadOptions(r, noValue));
  if (h.noDataPixels > 0) {
    std::printf("%s: %zu of %zu pixels carry no height (NaN%s), %s\n", path.c_str(), h.noDataPixels,
                h.values.size(), r.haveNoData ? ", transparent or the --nodata value" : " or transparent",
                becomes);
  }
  return h;
}

void CheckRasterFits(double width, double height, const std::string& file, const std::string& advice) {
  const std::string problem = RasterSizeError(width, height);
  if (!problem.empty()) throw ToolError(file, problem + (advice.empty() ? "" : "; " + advice));
}

MeshData ReadMeshInput(const std::string& path) {
  MeshData m = ReadMesh(path);
  if (m.splitPolygons > 0) {
    std::printf("%s: %zu %s of more than three corners split into %zu triangles in all\n", path.c_str(),
                m.splitPolygons, m.splitPolygons == 1 ? "polygon" : "polygons", m.triangles.size());
  }
  return m;
}

}  // namespace qssse::tool
