// qssse info: what a file holds, for every format the program reads.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "cli/Commands.h"
#include "cli/Error.h"
#include "cli/Formats.h"

namespace qssse::tool {
namespace {

void DescribeRaster(const std::string& path, FileKind kind, const std::vector<unsigned char>& bytes,
                    const RasterInputOptions& r) {
  if (kind == FileKind::Png) {
    std::printf("%s: %s\n", path.c_str(), DescribePng(bytes, path).c_str());
    if (!IsGreyPng(bytes, path)) return;  // colour images are pictures, not height fields
  }
  // NaN keeps pixels without a height out of the statistics.
  const HeightField h =
      ParseHeightField(bytes, kind, path, ToReadOptions(r, std::numeric_limits<float>::quiet_NaN()));
  double sum = 0.0;
  float lo = std::numeric_limits<float>::max(), hi = std::numeric_limits<float>::lowest();
  std::size_t zeros = 0, valid = 0;
  for (float v : h.values) {
    if (std::isnan(v)) continue;
    lo = std::min(lo, v);
    hi = std::max(hi, v);
    sum += v;
    zeros += v == 0.0f;
    ++valid;
  }
  if (valid == 0) lo = hi = 0.0f;
  std::printf("%s: %s height field %d x %d, heights %.6g .. %.6g, mean %.6g, %zu of %zu pixels are 0",
              path.c_str(), FileKindName(kind), h.width, h.height, lo, hi,
              valid > 0 ? sum / static_cast<double>(valid) : 0.0, zeros, h.values.size());
  if (h.noDataPixels > 0) std::printf(", %zu carry no height (read as 0)", h.noDataPixels);
  std::printf("\n");
}

void DescribeMesh(const std::string& path, FileKind kind, const std::vector<unsigned char>& bytes) {
  MeshReadOptions o;
  o.acceptPointCloud = true;
  const MeshData m = ParseMesh(bytes, kind, path, o);
  const MeshData welded = WeldVertices(m);
  Vertex lo{}, hi{};
  if (!m.vertices.empty()) lo = hi = m.vertices.front();
  for (const Vertex& v : m.vertices) {
    lo = {std::min(lo.x, v.x), std::min(lo.y, v.y), std::min(lo.z, v.z)};
    hi = {std::max(hi.x, v.x), std::max(hi.y, v.y), std::max(hi.z, v.z)};
  }
  std::printf(
      "%s: %s %s, %zu triangles, %zu vertices (%zu distinct), box (%.6g, %.6g, %.6g) .. (%.6g, %.6g, %.6g)",
      path.c_str(), FileKindName(kind), m.triangles.empty() ? "point cloud (no faces)" : "mesh",
      m.triangles.size(), m.vertices.size(), welded.vertices.size(), lo.x, lo.y, lo.z, hi.x, hi.y, hi.z);
  if (m.splitPolygons > 0)
    std::printf(", %zu %s of more than three corners split into triangles", m.splitPolygons,
                m.splitPolygons == 1 ? "polygon" : "polygons");
  std::printf("\n");
}

void DescribeOutline(const std::string& path) {
  const OutlinePoints p = ReadOutline(path);
  Vertex lo = p.front(), hi = p.front();
  double length = 0.0, area2 = 0.0;
  for (std::size_t i = 0; i < p.size(); ++i) {
    const Vertex &a = p[i], &b = p[(i + 1) % p.size()];
    lo = {std::min(lo.x, a.x), std::min(lo.y, a.y), std::min(lo.z, a.z)};
    hi = {std::max(hi.x, a.x), std::max(hi.y, a.y), std::max(hi.z, a.z)};
    length += std::hypot(double{b.x} - a.x, double{b.y} - a.y);
    area2 += double{a.x} * b.y - double{b.x} * a.y;
  }
  std::printf(
      "%s: outline of %zu points, box (%.6g, %.6g, %.6g) .. (%.6g, %.6g, %.6g), length %.6g, area %.6g\n",
      path.c_str(), p.size(), lo.x, lo.y, lo.z, hi.x, hi.y, hi.z, length, std::fabs(area2) / 2);
}

}  // namespace

int RunInfo(const InfoOptions& o) {
  for (const std::string& path : o.files) {
    const std::vector<unsigned char> bytes = ReadFileBytes(path);
    const FileKind kind = DetectFileKind(bytes, path);
    switch (RoleOf(kind)) {
      case FileRole::HeightField:
        DescribeRaster(path, kind, bytes, o.raster);
        break;
      case FileRole::Mesh:
        DescribeMesh(path, kind, bytes);
        break;
      case FileRole::Outline:
        DescribeOutline(path);
        break;
      case FileRole::Other:
        std::printf("%s: %s, %zu bytes (written by this program, not read)\n", path.c_str(),
                    FileKindName(kind), bytes.size());
        break;
      case FileRole::None:
        throw ToolError(path,
                        "not a file this program reads (height fields: PFM, PNG, NPY, .qsm; meshes: STL, "
                        "PLY, OBJ, OFF; outlines: text)");
    }
  }
  return 0;
}

}  // namespace qssse::tool
