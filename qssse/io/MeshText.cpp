// Meshes as text: OBJ and OFF.
#include <charconv>
#include <cmath>
#include <cstdio>

#include "qssse/platform/MemoryLimit.h"
#include "qssse/io/IoException.h"
#include "qssse/io/MeshFile.h"
#include "qssse/io/detail/Bytes.h"
#include "qssse/io/detail/MeshBuild.h"
#include "qssse/io/detail/TextScanner.h"

namespace qssse::io {
namespace {

using detail::Quote;

}  // namespace

MeshData ParseObj(const std::vector<unsigned char>& bytes, const std::string& file) {
  MeshData m;
  std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  std::size_t lineNo = 0;
  std::vector<std::uint32_t> polygon;
  while (!text.empty()) {
    const std::size_t nl = text.find('\n');
    const std::string_view line = text.substr(0, nl);
    text.remove_prefix(nl == std::string_view::npos ? text.size() : nl + 1);
    ++lineNo;
    const std::vector<std::string_view> w = detail::Words(line);
    if (w.empty() || w[0][0] == '#') continue;
    const auto fail = [&](const std::string& what) {
      throw CIoException(file, "line " + std::to_string(lineNo) + ": " + what);
    };
    if (w[0] == "v") {
      if (w.size() < 4 || w.size() > 7) fail("a vertex needs x y z");
      float c[3];
      for (int a = 0; a < 3; ++a) {
        if (!detail::ParseFloat(w[a + 1], c[a])) fail(Quote(w[a + 1]) + " is not a number");
      }
      if (m.vertices.size() >= kMaxMeshElements) fail("too many vertices");
      const Vertex v{c[0], c[1], c[2]};
      detail::CheckVertex(v, m.vertices.size(), file);
      m.vertices.push_back(v);
    } else if (w[0] == "f") {
      if (w.size() < 4) fail("a face needs at least 3 corners");
      polygon.clear();
      for (std::size_t k = 1; k < w.size(); ++k) {
        const std::string_view ref = w[k].substr(0, w[k].find('/'));
        long long i = 0;
        const auto [p, ec] = std::from_chars(ref.data(), ref.data() + ref.size(), i);
        if (ec != std::errc() || p != ref.data() + ref.size() || i == 0)
          fail("bad face corner " + Quote(w[k]));
        // Negative indices count back from the latest vertex.
        const long long n = static_cast<long long>(m.vertices.size());
        const long long index = i > 0 ? i - 1 : n + i;
        if (index < 0 || index >= n) fail("face corner " + std::to_string(i) + " refers to a missing vertex");
        polygon.push_back(static_cast<std::uint32_t>(index));
      }
      if (m.triangles.size() + polygon.size() > kMaxMeshElements) fail("too many faces");
      detail::AddFace(polygon, m);
    }
    // Normals, texture coordinates, groups, materials and the rest carry nothing a height mesh needs.
  }
  if (m.vertices.empty()) throw CIoException(file, "the OBJ file has no vertices");
  return m;
}

MeshData ParseOff(const std::vector<unsigned char>& bytes, const std::string& file) {
  detail::TextScanner s({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, file, '#');
  // 1. The keyword; the counts may follow on its line, even without a space ("OFF8 6 0").
  std::string_view keyword = s.Next();
  const std::size_t at = keyword.find("OFF");
  if (at == std::string_view::npos) throw CIoException(file, "not an OFF file (no OFF keyword)");
  const std::string_view prefix = keyword.substr(0, at);
  if (prefix.find_first_of("4n") != std::string_view::npos)
    throw CIoException(file, "OFF of another dimension (" + Quote(keyword) + "): only 3-D meshes are read");
  // 2. The counts (the edge count is read and ignored).
  std::string_view first = keyword.substr(at + 3);
  if (first.empty()) first = s.Next();
  if (first == "BINARY") throw CIoException(file, "binary OFF is not read (save the mesh as text OFF)");
  std::uint64_t nv = 0;
  const auto [p, ec] = std::from_chars(first.data(), first.data() + first.size(), nv);
  if (first.empty()) throw CIoException(file, "truncated: the text ends before the vertex count");
  if (ec != std::errc() || p != first.data() + first.size() || nv > kMaxMeshElements)
    s.Fail("the vertex count: " + Quote(first) + " is not a count up to " + std::to_string(kMaxMeshElements));
  const std::uint64_t nf = s.Count("the face count", kMaxMeshElements);
  s.Count("the edge count", UINT64_MAX);
  // Each vertex needs at least six bytes ("0 0 0\n"), each face eight ("3 0 1 2\n").
  if (nv * 6 + nf * 8 > bytes.size())
    throw CIoException(file, "truncated: the OFF header announces " + std::to_string(nv) + " vertices and " +
                                 std::to_string(nf) + " faces, more than " + std::to_string(bytes.size()) +
                                 " bytes hold");
  CheckMemoryRequest(nv, sizeof(Vertex), 0, "a mesh's vertices");
  MeshData m;
  m.vertices.reserve(nv);
  // 3. Vertices: x y z, then whatever the line adds (colour, normal, texture) is skipped.
  for (std::uint64_t i = 0; i < nv; ++i) {
    Vertex v;
    v.x = s.Float("a vertex");
    v.y = s.Float("a vertex");
    v.z = s.Float("a vertex");
    s.SkipLine();
    m.vertices.push_back(v);
  }
  // 4. Faces: the corner count, the corners from 0, then an optional colour to the end of the line.
  std::vector<std::uint32_t> polygon;
  for (std::uint64_t f = 0; f < nf; ++f) {
    const std::uint64_t n = s.Count("a face's corner count", kMaxMeshElements);
    if (n < 3) s.Fail("face " + std::to_string(f) + " has " + std::to_string(n) + " corners, fewer than 3");
    polygon.clear();
    for (std::uint64_t k = 0; k < n; ++k) {
      const std::uint64_t index = s.Count("a face corner", UINT64_MAX);
      if (index >= nv)
        s.Fail("face " + std::to_string(f) + " refers to vertex " + std::to_string(index) + " of " +
               std::to_string(nv));
      polygon.push_back(static_cast<std::uint32_t>(index));
    }
    s.SkipLine();
    if (m.triangles.size() + polygon.size() > kMaxMeshElements) s.Fail("too many faces");
    detail::AddFace(polygon, m);
  }
  if (!s.AtEnd()) {
    const std::string_view extra = s.Next();
    s.Fail(Quote(extra) + " follows the last of the " + std::to_string(nf) + " faces the header announces");
  }
  return m;
}

std::string EncodeObj(const MeshData& m) {
  std::string out = "# written by qssse\n";
  out.reserve(out.size() + m.vertices.size() * 40 + m.triangles.size() * 24);
  char buf[128];
  for (const Vertex& v : m.vertices) {
    // %.9g round-trips every float exactly.
    std::snprintf(buf, sizeof buf, "v %.9g %.9g %.9g\n", v.x, v.y, v.z);
    out += buf;
  }
  for (const auto& t : m.triangles) {
    std::snprintf(buf, sizeof buf, "f %u %u %u\n", t[0] + 1, t[1] + 1, t[2] + 1);
    out += buf;
  }
  return out;
}

std::string EncodeOff(const MeshData& m) {
  std::string out = "OFF\n# written by qssse\n" + std::to_string(m.vertices.size()) + " " +
                    std::to_string(m.triangles.size()) + " 0\n";
  out.reserve(out.size() + m.vertices.size() * 40 + m.triangles.size() * 24);
  char buf[128];
  for (const Vertex& v : m.vertices) {
    std::snprintf(buf, sizeof buf, "%.9g %.9g %.9g\n", v.x, v.y, v.z);
    out += buf;
  }
  for (const auto& t : m.triangles) {
    std::snprintf(buf, sizeof buf, "3 %u %u %u\n", t[0], t[1], t[2]);
    out += buf;
  }
  return out;
}

}  // namespace qssse::io
