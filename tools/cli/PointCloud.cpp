#include "cli/PointCloud.h"

#include <algorithm>
#include <cctype>

namespace qssse::tool {

std::vector<Vertex> ReadPoints(const std::string& path) {
  std::string ext = path.substr(path.find_last_of('.') == std::string::npos ? path.size() : path.find_last_of('.'));
  std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (ext == ".stl" || ext == ".ply" || ext == ".obj") return ReadMesh(path).vertices;
  return ReadOutline(path);
}

std::string TrianglesSvg(const MeshData& mesh, const std::vector<SvgRing>& extra) {
  std::vector<SvgRing> rings;
  rings.reserve(mesh.triangles.size() + extra.size());
  for (const auto& t : mesh.triangles) {
    SvgRing r;
    r.points = {mesh.vertices[t[0]], mesh.vertices[t[1]], mesh.vertices[t[2]]};
    r.stroke = "#1f5fbf";
    r.fill = "#dbe7f7";
    rings.push_back(std::move(r));
  }
  rings.insert(rings.end(), extra.begin(), extra.end());
  return EncodeSvg(rings, 0.0, 0.0);
}

}  // namespace qssse::tool
