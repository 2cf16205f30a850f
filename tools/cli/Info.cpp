// qssse info: what a file holds, for every format the program reads.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <limits>

#include "cli/Bytes.h"
#include "cli/Commands.h"
#include "cli/Error.h"
#include "cli/HeightField.h"
#include "cli/MeshFile.h"
#include "cli/Outline.h"
#include "cli/Png.h"

namespace qssse::tool {
namespace {

std::string Extension(const std::string& path) {
  std::string e = std::filesystem::path(path).extension().string();
  for (char& c : e) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return e;
}

void DescribeRaster(const std::string& path, RasterFormat f, const std::vector<unsigned char>& bytes,
                    const RasterInputOptions& r) {
  PngScale scale;
  scale.haveScale = r.haveHeightScale;
  scale.scale = r.heightScale;
  scale.haveOffset = r.haveHeightOffset;
  scale.offset = r.heightOffset;
  HeightField h;
  switch (f) {
    case RasterFormat::Pfm:
      h = ParsePfm(bytes, path);
      break;
    case RasterFormat::Npy:
      h = ParseNpy(bytes, path);
      break;
    case RasterFormat::Png:
      std::printf("%s: %s\n", path.c_str(), DescribePng(bytes, path).c_str());
      // Colour type of the header (valid once DescribePng succeeded): colour images are pictures.
      if (bytes[25] != 0 && bytes[25] != 4) return;
      h = ParsePngHeights(bytes, path, scale);
      break;
    case RasterFormat::Matrix:
      h = LoadMatrixFile(path);
      break;
  }
  double sum = 0.0;
  float lo = std::numeric_limits<float>::max(), hi = std::numeric_limits<float>::lowest();
  std::size_t zeros = 0;
  for (float v : h.values) {
    lo = std::min(lo, v);
    hi = std::max(hi, v);
    sum += v;
    zeros += v == 0.0f;
  }
  std::printf("%s: %s height field %d x %d, heights %.6g .. %.6g, mean %.6g, %zu of %zu pixels are 0\n",
              path.c_str(), RasterFormatName(f), h.width, h.height, lo, hi, sum / h.values.size(), zeros,
              h.values.size());
}

void DescribeMesh(const std::string& path, MeshFormat f, const std::vector<unsigned char>& bytes) {
  const MeshData m = ParseMesh(bytes, f, path);
  const MeshData welded = WeldVertices(m);
  Vertex lo{}, hi{};
  if (!m.vertices.empty()) lo = hi = m.vertices.front();
  for (const Vertex& v : m.vertices) {
    lo = {std::min(lo.x, v.x), std::min(lo.y, v.y), std::min(lo.z, v.z)};
    hi = {std::max(hi.x, v.x), std::max(hi.y, v.y), std::max(hi.z, v.z)};
  }
  std::printf(
      "%s: %s mesh, %zu triangles, %zu vertices (%zu distinct), box (%.6g, %.6g, %.6g) .. (%.6g, %.6g, "
      "%.6g)\n",
      path.c_str(), MeshFormatName(f), m.triangles.size(), m.vertices.size(), welded.vertices.size(), lo.x,
      lo.y, lo.z, hi.x, hi.y, hi.z);
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
    const std::string e = Extension(path);
    RasterFormat rf;
    bool isRaster = true;
    try {
      rf = DetectRasterFormat(bytes, path);
    } catch (const ToolError&) {
      isRaster = false;
    }
    if (isRaster) {
      DescribeRaster(path, rf, bytes, o.raster);
    } else if (e == ".stl" || e == ".ply" || e == ".obj" ||
               (bytes.size() >= 4 && std::equal(bytes.begin(), bytes.begin() + 4, "ply\n"))) {
      DescribeMesh(path, DetectMeshFormat(bytes, path), bytes);
    } else if (e == ".svg") {
      std::printf("%s: SVG picture, %zu bytes (written by this program, not read)\n", path.c_str(),
                  bytes.size());
    } else if (e == ".json") {
      std::printf("%s: JSON text, %zu bytes\n", path.c_str(), bytes.size());
    } else {
      DescribeOutline(path);
    }
  }
  return 0;
}

}  // namespace qssse::tool
