// Feeds arbitrary bytes through content recognition to the reader of the kind found, as every command reads.
// Besides crashes and sanitizer reports it checks that a rejection is a CIoException with a one-line message
// and that an accepted file survives our writer and reader unchanged. Anything else escapes and is a finding.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "FormatFuzz.h"

using namespace qssse::io;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<unsigned char> bytes(data, data + size);
  try {
    const FileKind kind = DetectFileKind(bytes, "f");
    fuzz::Require(DetectFileKind(bytes, "f") == kind, "FileKindFuzz", "recognition is not repeatable");
    if (RoleOf(kind) == FileRole::HeightField) {
      const HeightField h = ParseHeightField(bytes, kind, "f");
      fuzz::Require(h.values.size() == static_cast<std::size_t>(h.width) * h.height, "FileKindFuzz",
                    "size and values disagree");
    } else if (RoleOf(kind) == FileRole::Mesh) {
      const MeshData m = ParseMesh(bytes, kind, "f");
      for (const auto& t : m.triangles)
        fuzz::Require(t[0] < m.vertices.size() && t[1] < m.vertices.size() && t[2] < m.vertices.size(),
                      "FileKindFuzz", "a triangle refers to a missing vertex");
    }
  } catch (const CIoException& e) {
    fuzz::RequireOneLine(e, "FileKindFuzz");
  }
  return 0;
}
