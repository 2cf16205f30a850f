#include "cli/PointCloud.h"

#include "qssse/io/FileBytes.h"
#include "qssse/io/FileKind.h"

namespace qssse::tool {

std::vector<Vertex> ReadPoints(const std::string& path) {
  // Recognised by contents like every other input; a mesh file without faces is exactly a point set.
  const std::vector<unsigned char> bytes = ReadFileBytes(path);
  const FileKind kind = DetectFileKind(bytes, path);
  if (RoleOf(kind) == FileRole::Mesh) {
    MeshReadOptions options;
    options.acceptPointCloud = true;
    return ParseMesh(bytes, kind, path, options).vertices;
  }
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
