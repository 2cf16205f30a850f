#include "qssse/platform/MemoryLimit.h"
#include "qssse/io/MeshFile.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <unordered_map>

#include "qssse/io/FileBytes.h"
#include "qssse/io/IoException.h"
#include "qssse/io/detail/Bytes.h"
#include "qssse/io/detail/MeshBuild.h"
#include "qssse/io/detail/TextScanner.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/InvalidArgumentException.h"

namespace qssse::io {
namespace {

using detail::ByteReader;

// The file's kind, or CIoException saying what the file is when it holds no mesh.
void RequireMesh(FileKind kind, const std::string& file) {
  if (RoleOf(kind) == FileRole::Mesh) return;
  if (kind == FileKind::Unknown)
    throw CIoException(file, "not a mesh this library reads (STL, PLY, OBJ or OFF)");
  throw CIoException(file, std::string("this is ") +
                               (RoleOf(kind) == FileRole::HeightField ? "a height field"
                                : RoleOf(kind) == FileRole::Outline   ? "an outline"
                                                                      : "a file") +
                               " (" + FileKindName(kind) + "), not a mesh");
}

// ASCII STL: "solid name", then per facet "facet normal nx ny nz / outer loop / vertex x y z (three or
// more) / endloop / endfacet", then "endsolid name". Several solids may follow one another. Names after
// "solid" and "endsolid" run to the end of their line.
MeshData ParseAsciiStl(const std::vector<unsigned char>& bytes, const std::string& file) {
  detail::TextScanner s({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, file, 0);
  MeshData m;
  std::vector<std::uint32_t> loop;
  bool any = false;
  while (!s.AtEnd()) {
    s.Expect("solid");
    s.SkipLine();
    any = true;
    for (;;) {
      const std::string_view w = s.Next();
      if (w.empty()) throw CIoException(file, "truncated: the text ends before 'endsolid'");
      if (detail::EqualsNoCase(w, "endsolid")) {
        s.SkipLine();
        break;
      }
      if (!detail::EqualsNoCase(w, "facet"))
        s.Fail("expected 'facet' or 'endsolid', found " + detail::Quote(w));
      s.Expect("normal");
      for (int a = 0; a < 3; ++a) s.Float("a facet normal");
      s.Expect("outer");
      s.Expect("loop");
      loop.clear();
      for (;;) {
        const std::string_view v = s.Next();
        if (detail::EqualsNoCase(v, "endloop")) break;
        if (!detail::EqualsNoCase(v, "vertex")) {
          if (v.empty()) throw CIoException(file, "truncated: the text ends inside a facet");
          s.Fail("expected 'vertex' or 'endloop', found " + detail::Quote(v));
        }
        Vertex p;
        p.x = s.Float("a vertex");
        p.y = s.Float("a vertex");
        p.z = s.Float("a vertex");
        if (m.vertices.size() >= kMaxMeshElements) s.Fail("more vertices than this library accepts");
        loop.push_back(static_cast<std::uint32_t>(m.vertices.size()));
        m.vertices.push_back(p);
      }
      if (loop.size() < 3) s.Fail("a facet has " + std::to_string(loop.size()) + " vertices, fewer than 3");
      s.Expect("endfacet");
      detail::AddFace(loop, m);
    }
  }
  if (!any) throw CIoException(file, "the ASCII STL file is empty");
  return m;
}

}  // namespace

MeshData ParseStl(const std::vector<unsigned char>& bytes, const std::string& file) {
  // Binary files may start with "solid" too; their exact size and their bytes tell them apart.
  if (detail::OpensWithSolid(bytes.data(), bytes.size()) &&
      !detail::BinaryStlSizeMatches(bytes.data(), bytes.size()) &&
      detail::LooksLikeText(bytes.data(), std::min<std::size_t>(bytes.size(), 4096))) {
    return ParseAsciiStl(bytes, file);
  }
  ByteReader r(bytes.data(), bytes.size(), file);
  r.Skip(80, "the STL header");
  const std::uint64_t n = r.U32LE("the triangle count");
  if (n > kMaxMeshElements)
    throw CIoException(file, std::to_string(n) + " triangles are more than this library accepts");
  if (n * 50 != r.Remaining()) {
    throw CIoException(file, "the STL header announces " + std::to_string(n) + " triangles (" +
                                 std::to_string(n * 50) + " bytes) but " + std::to_string(r.Remaining()) +
                                 " bytes follow");
  }
  CheckMemoryRequest(n, 3 * sizeof(Vertex) + sizeof(std::array<std::uint32_t, 3>), 0, "a mesh");
  MeshData m;
  m.vertices.reserve(n * 3);
  m.triangles.reserve(n);
  for (std::uint64_t t = 0; t < n; ++t) {
    r.Skip(12, "a facet normal");
    for (int c = 0; c < 3; ++c) {
      Vertex v;
      v.x = r.F32LE("a vertex");
      v.y = r.F32LE("a vertex");
      v.z = r.F32LE("a vertex");
      detail::CheckVertex(v, m.vertices.size(), file);
      m.vertices.push_back(v);
    }
    r.Skip(2, "the attribute bytes");
    const auto b = static_cast<std::uint32_t>(3 * t);
    m.triangles.push_back({b, b + 1, b + 2});
  }
  return m;
}

std::vector<unsigned char> EncodeStl(const MeshData& m) {
  std::vector<unsigned char> out(80, 0);
  const char title[] = "binary STL written by qssse";
  std::memcpy(out.data(), title, sizeof title - 1);
  out.reserve(84 + 50 * m.triangles.size());
  detail::PutU32LE(out, static_cast<std::uint32_t>(m.triangles.size()));
  for (const auto& t : m.triangles) {
    const Vertex &a = m.vertices[t[0]], &b = m.vertices[t[1]], &c = m.vertices[t[2]];
    const double ux = b.x - a.x, uy = b.y - a.y, uz = b.z - a.z, vx = c.x - a.x, vy = c.y - a.y,
                 vz = c.z - a.z;
    double nx = uy * vz - uz * vy, ny = uz * vx - ux * vz, nz = ux * vy - uy * vx;
    const double len = std::sqrt(nx * nx + ny * ny + nz * nz);
    if (len > 0.0) {
      nx /= len;
      ny /= len;
      nz /= len;
    }
    detail::PutF32LE(out, static_cast<float>(nx));
    detail::PutF32LE(out, static_cast<float>(ny));
    detail::PutF32LE(out, static_cast<float>(nz));
    for (const Vertex* v : {&a, &b, &c}) {
      detail::PutF32LE(out, v->x);
      detail::PutF32LE(out, v->y);
      detail::PutF32LE(out, v->z);
    }
    detail::PutU16LE(out, 0);
  }
  return out;
}

MeshData ParseMesh(const std::vector<unsigned char>& bytes, FileKind kind, const std::string& file,
                   const MeshReadOptions& options) {
  RequireMesh(kind, file);
  MeshData m;
  switch (kind) {
    case FileKind::Ply:
      m = ParsePly(bytes, file);
      break;
    case FileKind::Obj:
      m = ParseObj(bytes, file);
      break;
    case FileKind::Off:
      m = ParseOff(bytes, file);
      break;
    default:
      m = ParseStl(bytes, file);
      break;
  }
  if (m.vertices.empty()) throw CIoException(file, "the mesh has no vertices");
  if (m.triangles.empty() && !options.acceptPointCloud) {
    throw CIoException(file, "a point cloud of " + std::to_string(m.vertices.size()) +
                                 " vertices without faces: there is no surface to read");
  }
  return m;
}

MeshData ReadMesh(const std::string& path, const MeshReadOptions& options) {
  const std::vector<unsigned char> bytes = ReadFileBytes(path);
  return ParseMesh(bytes, DetectFileKind(bytes, path), path, options);
}

FileKind MeshKindFromName(const std::string& path) {
  const FileKind k = FileKindFromName(path);
  if (RoleOf(k) != FileRole::Mesh)
    throw CIoException(path, "cannot tell the mesh format from the name (use .stl, .ply, .obj or .off)");
  return k;
}

void WriteMesh(const std::string& path, const MeshData& m) {
  switch (MeshKindFromName(path)) {
    case FileKind::Ply: {
      const auto b = EncodePly(m);
      WriteFileBytes(path, b.data(), b.size());
      return;
    }
    case FileKind::Obj:
      WriteFileBytes(path, EncodeObj(m));
      return;
    case FileKind::Off:
      WriteFileBytes(path, EncodeOff(m));
      return;
    default: {
      const auto b = EncodeStl(m);
      WriteFileBytes(path, b.data(), b.size());
      return;
    }
  }
}

MeshData WeldVertices(const MeshData& m) {
  struct Hash {
    std::size_t operator()(const Vertex& v) const {
      std::uint32_t b[3];
      std::memcpy(b, &v, 12);
      return (std::size_t{b[0]} * 73856093u) ^ (std::size_t{b[1]} * 19349663u) ^
             (std::size_t{b[2]} * 83492791u);
    }
  };
  struct Equal {
    bool operator()(const Vertex& a, const Vertex& b) const { return std::memcmp(&a, &b, 12) == 0; }
  };
  std::unordered_map<Vertex, std::uint32_t, Hash, Equal> index;
  MeshData out;
  out.splitPolygons = m.splitPolygons;
  std::vector<std::uint32_t> remap(m.vertices.size());
  for (std::size_t i = 0; i < m.vertices.size(); ++i) {
    auto [it, added] = index.emplace(m.vertices[i], static_cast<std::uint32_t>(out.vertices.size()));
    if (added) out.vertices.push_back(m.vertices[i]);
    remap[i] = it->second;
  }
  out.triangles.reserve(m.triangles.size());
  for (const auto& t : m.triangles) out.triangles.push_back({remap[t[0]], remap[t[1]], remap[t[2]]});
  return out;
}

void CopyToTriangulation(const MeshData& data, CHTriangulation& mesh) {
  if (data.triangles.size() > static_cast<std::size_t>(std::numeric_limits<int>::max() / 3)) {
    AfxThrowInvalidArgumentException("CopyToTriangulation: " + std::to_string(data.triangles.size()) +
                                     " triangles are more than the library holds");
  }
  // Every index checked before the mesh changes, so a bad one leaves it as it was.
  for (const auto& t : data.triangles) {
    for (const std::uint32_t v : t) {
      if (v >= data.vertices.size()) {
        AfxThrowInvalidArgumentException("CopyToTriangulation: vertex index " + std::to_string(v) + " of " +
                                         std::to_string(data.vertices.size()) + " vertices");
      }
    }
  }
  const int n = static_cast<int>(data.triangles.size());
  // A fresh mesh has no three-point block yet; one that has it keeps it and its scales.
  if (mesh.GetPointArray() == nullptr) mesh.BaseInitialization(1.0f, 1.0f, 1.0f);
  mesh.CreateTriangulation(n);
  for (int i = 0; i < n; ++i) {
    const t_htriangle* t = mesh.GetTriangle(i);
    for (int k = 0; k < 3; ++k) {
      const Vertex& v =
          data.vertices[data.triangles[static_cast<std::size_t>(i)][static_cast<std::size_t>(k)]];
      *t->point[k] = qssse::MakeSSEPoint(v.x, v.y, v.z);
    }
  }
  if (n > 0) {
    mesh.CalcSTV();
    mesh.CalcBoundingBox();
  }
}

MeshData MeshDataFromTriangulation(const CHTriangulation& mesh) {
  MeshData soup;
  const int n = mesh.GetNumTriangles();
  soup.vertices.reserve(static_cast<std::size_t>(n) * 3);
  soup.triangles.reserve(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    const t_htriangle* t = mesh.GetTriangle(i);
    for (const SSEPoint* p : t->point) {
      if (!std::isfinite(p->x) || !std::isfinite(p->y) || !std::isfinite(p->z)) {
        AfxThrowInvalidArgumentException("triangle " + std::to_string(i) +
                                         " has a corner that is not a finite number");
      }
      soup.vertices.push_back({p->x, p->y, p->z});
    }
    const auto first = static_cast<std::uint32_t>(3 * i);
    soup.triangles.push_back({first, first + 1, first + 2});
  }
  return WeldVertices(soup);
}

}  // namespace qssse::io
