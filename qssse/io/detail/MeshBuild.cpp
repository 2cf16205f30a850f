#include "qssse/io/detail/MeshBuild.h"

#include <cmath>

#include "qssse/io/IoException.h"
#include "qssse/io/detail/Bytes.h"

namespace qssse::io::detail {

void CheckVertex(const Vertex& v, std::size_t index, const std::string& file) {
  if (!std::isfinite(v.x) || !std::isfinite(v.y) || !std::isfinite(v.z)) {
    throw CIoException(file, "vertex " + std::to_string(index) + " has a non-finite coordinate");
  }
}

void AddFace(const std::vector<std::uint32_t>& corners, MeshData& m) {
  if (corners.size() > 3) ++m.splitPolygons;
  for (std::size_t k = 1; k + 1 < corners.size(); ++k)
    m.triangles.push_back({corners[0], corners[k], corners[k + 1]});
}

bool BinaryStlSizeMatches(const unsigned char* data, std::size_t size) {
  if (size < 84) return false;
  const std::uint64_t count = std::uint64_t{data[80]} | (std::uint64_t{data[81]} << 8) |
                              (std::uint64_t{data[82]} << 16) | (std::uint64_t{data[83]} << 24);
  // At most 2^32 * 50 + 84: no overflow in 64 bits.
  return count * 50 + 84 == size;
}

}  // namespace qssse::io::detail
