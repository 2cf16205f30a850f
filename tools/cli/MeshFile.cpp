#include "cli/MeshFile.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <map>
#include <unordered_map>

#include "cli/Bytes.h"
#include "cli/Error.h"

namespace qssse::tool {
namespace {

std::string Extension(const std::string& path) {
  std::string e = std::filesystem::path(path).extension().string();
  for (char& c : e) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return e;
}

bool StlSizeMatches(const std::vector<unsigned char>& bytes) {
  if (bytes.size() < 84) return false;
  ByteReader r(bytes.data() + 80, 4, "");
  return std::uint64_t{r.U32LE("count")} * 50 + 84 == bytes.size();
}

void CheckCount(std::uint64_t n, const std::string& file, const char* what) {
  if (n > kMaxMeshElements) {
    throw ToolError(file, std::to_string(n) + " " + what + " are more than this program accepts");
  }
}

void CheckVertex(const Vertex& v, std::size_t index, const std::string& file) {
  if (!std::isfinite(v.x) || !std::isfinite(v.y) || !std::isfinite(v.z)) {
    throw ToolError(file, "vertex " + std::to_string(index) + " has a non-finite coordinate");
  }
}

// ---- PLY -----------------------------------------------------------------------------------------

enum class PlyType { Int8, UInt8, Int16, UInt16, Int32, UInt32, Float32, Float64 };

bool PlyTypeFromName(std::string_view n, PlyType& t) {
  static const std::map<std::string_view, PlyType> names = {
      {"char", PlyType::Int8},      {"int8", PlyType::Int8},       {"uchar", PlyType::UInt8},
      {"uint8", PlyType::UInt8},    {"short", PlyType::Int16},     {"int16", PlyType::Int16},
      {"ushort", PlyType::UInt16},  {"uint16", PlyType::UInt16},   {"int", PlyType::Int32},
      {"int32", PlyType::Int32},    {"uint", PlyType::UInt32},     {"uint32", PlyType::UInt32},
      {"float", PlyType::Float32},  {"float32", PlyType::Float32}, {"double", PlyType::Float64},
      {"float64", PlyType::Float64}};
  auto it = names.find(n);
  if (it == names.end()) return false;
  t = it->second;
  return true;
}

std::size_t PlySize(PlyType t) {
  switch (t) {
    case PlyType::Int8:
    case PlyType::UInt8:
      return 1;
    case PlyType::Int16:
    case PlyType::UInt16:
      return 2;
    case PlyType::Int32:
    case PlyType::UInt32:
    case PlyType::Float32:
      return 4;
    case PlyType::Float64:
      return 8;
  }
  return 1;
}

struct PlyProperty {
  std::string name;
  bool isList = false;
  PlyType countType = PlyType::UInt8;
  PlyType type = PlyType::Float32;
};

struct PlyElement {
  std::string name;
  std::uint64_t count = 0;
  std::vector<PlyProperty> properties;
};

// "'text'" (built by appending: GCC 12 warns falsely about "'" + std::string(view) under -O2).
std::string Quote(std::string_view text) {
  std::string q;
  q.reserve(text.size() + 2);
  q.push_back('\'');
  q.append(text.substr(0, 40));
  q.push_back('\'');
  return q;
}

std::vector<std::string_view> Words(std::string_view line) {
  std::vector<std::string_view> w;
  std::size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && (line[i] == ' ' || line[i] == '\t' || line[i] == '\r')) ++i;
    const std::size_t start = i;
    while (i < line.size() && line[i] != ' ' && line[i] != '\t' && line[i] != '\r') ++i;
    if (i > start) w.push_back(line.substr(start, i - start));
  }
  return w;
}

// Reads one PLY value, binary little-endian or ASCII, as a double.
class PlyValues {
 public:
  PlyValues(ByteReader& r, bool ascii) : r_(r), ascii_(ascii) {}

  double Read(PlyType t) {
    if (ascii_) return Ascii(t);
    switch (t) {
      case PlyType::Int8:
        return static_cast<std::int8_t>(r_.U8("a PLY value"));
      case PlyType::UInt8:
        return r_.U8("a PLY value");
      case PlyType::Int16:
        return static_cast<std::int16_t>(r_.U16LE("a PLY value"));
      case PlyType::UInt16:
        return r_.U16LE("a PLY value");
      case PlyType::Int32:
        return static_cast<std::int32_t>(r_.U32LE("a PLY value"));
      case PlyType::UInt32:
        return r_.U32LE("a PLY value");
      case PlyType::Float32:
        return r_.F32LE("a PLY value");
      case PlyType::Float64: {
        std::uint64_t bits = r_.U32LE("a PLY value");
        bits |= std::uint64_t{r_.U32LE("a PLY value")} << 32;
        double d;
        std::memcpy(&d, &bits, 8);
        return d;
      }
    }
    return 0.0;
  }

 private:
  double Ascii(PlyType t) {
    // Values are separated by any whitespace, lines included.
    while (r_.Remaining() > 0 && std::isspace(*r_.Here())) r_.Skip(1, "");
    const char* start = reinterpret_cast<const char*>(r_.Here());
    std::size_t n = 0;
    while (n < r_.Remaining() && !std::isspace(static_cast<unsigned char>(start[n]))) ++n;
    if (n == 0)
      throw ToolError(r_.File(), "truncated: the PLY data ends before the counts in its header are met");
    double v = 0.0;
    const auto [p, ec] = std::from_chars(start, start + n, v);
    if (ec != std::errc() || p != start + n) {
      throw ToolError(r_.File(), "PLY value " + Quote({start, n}) + " is not a number");
    }
    if (t != PlyType::Float32 && t != PlyType::Float64 && v != std::floor(v)) {
      throw ToolError(r_.File(), "PLY integer value " + Quote({start, n}) + " has a fraction");
    }
    r_.Skip(n, "");
    return v;
  }

  ByteReader& r_;
  bool ascii_;
};

}  // namespace

MeshFormat DetectMeshFormat(const std::vector<unsigned char>& bytes, const std::string& path) {
  if (bytes.size() >= 4 && std::memcmp(bytes.data(), "ply", 3) == 0 &&
      (bytes[3] == '\n' || bytes[3] == '\r')) {
    return MeshFormat::Ply;
  }
  if (StlSizeMatches(bytes)) return MeshFormat::Stl;
  return MeshFormatFromName(path);
}

MeshFormat MeshFormatFromName(const std::string& path) {
  const std::string e = Extension(path);
  if (e == ".stl") return MeshFormat::Stl;
  if (e == ".ply") return MeshFormat::Ply;
  if (e == ".obj") return MeshFormat::Obj;
  throw ToolError(path, "cannot tell the mesh format from the name (use .stl, .ply or .obj)");
}

const char* MeshFormatName(MeshFormat f) {
  switch (f) {
    case MeshFormat::Stl:
      return "binary STL";
    case MeshFormat::Ply:
      return "PLY";
    case MeshFormat::Obj:
      return "OBJ";
  }
  return "?";
}

MeshData ParseStl(const std::vector<unsigned char>& bytes, const std::string& file) {
  ByteReader r(bytes.data(), bytes.size(), file);
  if (bytes.size() >= 5 && std::memcmp(bytes.data(), "solid", 5) == 0 && !StlSizeMatches(bytes)) {
    throw ToolError(file, "ASCII STL (or a damaged binary STL) is not read: save the mesh as binary STL");
  }
  r.Skip(80, "the STL header");
  const std::uint64_t n = r.U32LE("the triangle count");
  CheckCount(n, file, "triangles");
  if (n * 50 != r.Remaining()) {
    throw ToolError(file, "the STL header announces " + std::to_string(n) + " triangles (" +
                              std::to_string(n * 50) + " bytes) but " + std::to_string(r.Remaining()) +
                              " bytes follow");
  }
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
      CheckVertex(v, m.vertices.size(), file);
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
  PutU32LE(out, static_cast<std::uint32_t>(m.triangles.size()));
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
    PutF32LE(out, static_cast<float>(nx));
    PutF32LE(out, static_cast<float>(ny));
    PutF32LE(out, static_cast<float>(nz));
    for (const Vertex* v : {&a, &b, &c}) {
      PutF32LE(out, v->x);
      PutF32LE(out, v->y);
      PutF32LE(out, v->z);
    }
    PutU16LE(out, 0);
  }
  return out;
}

MeshData ParsePly(const std::vector<unsigned char>& bytes, const std::string& file) {
  ByteReader r(bytes.data(), bytes.size(), file);
  const auto line = [&] { return r.Line(4096, "a PLY header line"); };
  std::string_view first = line();
  if (!first.empty() && first.back() == '\r') first.remove_suffix(1);
  if (first != "ply") throw ToolError(file, "not a PLY file (bad signature)");
  bool ascii = false, haveFormat = false;
  std::vector<PlyElement> elements;
  for (;;) {
    const std::vector<std::string_view> w = Words(line());
    if (w.empty() || w[0] == "comment" || w[0] == "obj_info") continue;
    if (w[0] == "end_header") break;
    if (w[0] == "format") {
      if (w.size() != 3 || w[2] != "1.0") throw ToolError(file, "bad PLY format line");
      if (w[1] == "ascii")
        ascii = true;
      else if (w[1] != "binary_little_endian") {
        throw ToolError(file, "PLY encoding " + Quote(w[1]) + " is not read (ascii or binary_little_endian)");
      }
      haveFormat = true;
    } else if (w[0] == "element") {
      std::uint64_t n = 0;
      if (w.size() != 3 ||
          std::from_chars(w[2].data(), w[2].data() + w[2].size(), n).ptr != w[2].data() + w[2].size()) {
        throw ToolError(file, "bad PLY element line");
      }
      CheckCount(n, file, "PLY elements");
      elements.push_back({std::string(w[1]), n, {}});
    } else if (w[0] == "property") {
      if (elements.empty()) throw ToolError(file, "PLY property before any element");
      PlyProperty p;
      const bool ok = (w.size() == 3 && PlyTypeFromName(w[1], p.type)) ||
                      (w.size() == 5 && w[1] == "list" && PlyTypeFromName(w[2], p.countType) &&
                       PlyTypeFromName(w[3], p.type) && (p.isList = true));
      if (!ok) throw ToolError(file, "bad PLY property line");
      p.name = std::string(w.back());
      elements.back().properties.push_back(p);
    } else {
      throw ToolError(file, "unknown PLY header keyword " + Quote(w[0]));
    }
  }
  if (!haveFormat) throw ToolError(file, "the PLY header has no format line");

  // Every element needs at least this many bytes per item (ASCII: a digit and a separator per value),
  // so the counts are checked against the file before anything is allocated.
  std::uint64_t minBytes = 0;
  for (const PlyElement& e : elements) {
    std::uint64_t per = 0;
    for (const PlyProperty& p : e.properties) per += ascii ? 2 : PlySize(p.isList ? p.countType : p.type);
    std::uint64_t bytesNeeded = 0;
    if (!CheckedMul(per, e.count, bytesNeeded) || !CheckedAdd(minBytes, bytesNeeded, minBytes))
      minBytes = UINT64_MAX;
  }
  if (ascii && minBytes > 0 && minBytes != UINT64_MAX) --minBytes;  // the last value needs no separator
  if (minBytes > r.Remaining()) {
    throw ToolError(file, "truncated: the PLY header announces at least " + std::to_string(minBytes) +
                              " bytes of data, the file has " + std::to_string(r.Remaining()));
  }

  MeshData m;
  PlyValues values(r, ascii);
  bool haveVertices = false;
  for (const PlyElement& e : elements) {
    const bool isVertex = e.name == "vertex", isFace = e.name == "face";
    int xyz[3] = {-1, -1, -1};
    int indexList = -1;
    for (std::size_t i = 0; i < e.properties.size(); ++i) {
      const PlyProperty& p = e.properties[i];
      if (isVertex && !p.isList && p.name.size() == 1 && p.name[0] >= 'x' && p.name[0] <= 'z') {
        xyz[p.name[0] - 'x'] = static_cast<int>(i);
      }
      if (isFace && p.isList && (p.name == "vertex_indices" || p.name == "vertex_index")) {
        indexList = static_cast<int>(i);
      }
    }
    if (isVertex && (xyz[0] < 0 || xyz[1] < 0 || xyz[2] < 0))
      throw ToolError(file, "PLY vertices lack x, y or z");
    if (isFace && indexList < 0) throw ToolError(file, "PLY faces lack a vertex_indices list");
    if (isFace && !haveVertices) throw ToolError(file, "PLY faces come before the vertices");
    if (isVertex) {
      m.vertices.reserve(e.count);
      haveVertices = true;
    }
    std::vector<std::uint32_t> polygon;
    for (std::uint64_t item = 0; item < e.count; ++item) {
      double coords[3] = {0, 0, 0};
      for (std::size_t i = 0; i < e.properties.size(); ++i) {
        const PlyProperty& p = e.properties[i];
        if (!p.isList) {
          const double v = values.Read(p.type);
          for (int a = 0; a < 3; ++a) {
            if (isVertex && xyz[a] == static_cast<int>(i)) coords[a] = v;
          }
          continue;
        }
        const double count = values.Read(p.countType);
        if (count < 0 || count > 1024)
          throw ToolError(file, "PLY list of " + std::to_string(count) + " entries");
        polygon.clear();
        for (int k = 0; k < static_cast<int>(count); ++k) {
          const double v = values.Read(p.type);
          if (isFace && indexList == static_cast<int>(i)) {
            if (v < 0 || v >= static_cast<double>(m.vertices.size())) {
              throw ToolError(file, "PLY face " + std::to_string(item) + " refers to vertex " +
                                        std::to_string(static_cast<long long>(v)) + " of " +
                                        std::to_string(m.vertices.size()));
            }
            polygon.push_back(static_cast<std::uint32_t>(v));
          }
        }
        if (isFace && indexList == static_cast<int>(i)) {
          if (polygon.size() < 3)
            throw ToolError(file, "PLY face " + std::to_string(item) + " has fewer than 3 corners");
          for (std::size_t k = 1; k + 1 < polygon.size(); ++k)
            m.triangles.push_back({polygon[0], polygon[k], polygon[k + 1]});
        }
      }
      if (isVertex) {
        const Vertex v{static_cast<float>(coords[0]), static_cast<float>(coords[1]),
                       static_cast<float>(coords[2])};
        CheckVertex(v, m.vertices.size(), file);
        m.vertices.push_back(v);
      }
    }
  }
  if (!haveVertices) throw ToolError(file, "the PLY file has no vertex element");
  if (ascii) {
    while (r.Remaining() > 0 && std::isspace(*r.Here())) r.Skip(1, "");
  }
  if (r.Remaining() != 0) throw ToolError(file, std::to_string(r.Remaining()) + " bytes follow the PLY data");
  return m;
}

std::vector<unsigned char> EncodePly(const MeshData& m) {
  const std::string header =
      "ply\nformat binary_little_endian 1.0\ncomment written by qssse\nelement vertex " +
      std::to_string(m.vertices.size()) +
      "\nproperty float x\nproperty float y\nproperty float z\nelement face " +
      std::to_string(m.triangles.size()) + "\nproperty list uchar int vertex_indices\nend_header\n";
  std::vector<unsigned char> out(header.begin(), header.end());
  out.reserve(out.size() + m.vertices.size() * 12 + m.triangles.size() * 13);
  for (const Vertex& v : m.vertices) {
    PutF32LE(out, v.x);
    PutF32LE(out, v.y);
    PutF32LE(out, v.z);
  }
  for (const auto& t : m.triangles) {
    out.push_back(3);
    for (std::uint32_t i : t) PutU32LE(out, i);
  }
  return out;
}

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
    const std::vector<std::string_view> w = Words(line);
    if (w.empty() || w[0][0] == '#') continue;
    const auto fail = [&](const std::string& what) {
      throw ToolError(file, "line " + std::to_string(lineNo) + ": " + what);
    };
    if (w[0] == "v") {
      if (w.size() < 4 || w.size() > 7) fail("a vertex needs x y z");
      float c[3];
      for (int a = 0; a < 3; ++a) {
        const auto [p, ec] = std::from_chars(w[a + 1].data(), w[a + 1].data() + w[a + 1].size(), c[a]);
        if (ec != std::errc() || p != w[a + 1].data() + w[a + 1].size())
          fail(Quote(w[a + 1]) + " is not a number");
      }
      if (m.vertices.size() >= kMaxMeshElements) fail("too many vertices");
      const Vertex v{c[0], c[1], c[2]};
      CheckVertex(v, m.vertices.size(), file);
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
      for (std::size_t k = 1; k + 1 < polygon.size(); ++k)
        m.triangles.push_back({polygon[0], polygon[k], polygon[k + 1]});
    }
    // Normals, texture coordinates, groups, materials and the rest carry nothing a height mesh needs.
  }
  if (m.vertices.empty()) throw ToolError(file, "the OBJ file has no vertices");
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

MeshData ParseMesh(const std::vector<unsigned char>& bytes, MeshFormat format, const std::string& file) {
  switch (format) {
    case MeshFormat::Stl:
      return ParseStl(bytes, file);
    case MeshFormat::Ply:
      return ParsePly(bytes, file);
    case MeshFormat::Obj:
      return ParseObj(bytes, file);
  }
  return MeshData{};
}

MeshData ReadMesh(const std::string& path) {
  const std::vector<unsigned char> bytes = ReadFileBytes(path);
  return ParseMesh(bytes, DetectMeshFormat(bytes, path), path);
}

void WriteMesh(const std::string& path, const MeshData& m) {
  switch (MeshFormatFromName(path)) {
    case MeshFormat::Stl: {
      const auto b = EncodeStl(m);
      WriteFileBytes(path, b.data(), b.size());
      return;
    }
    case MeshFormat::Ply: {
      const auto b = EncodePly(m);
      WriteFileBytes(path, b.data(), b.size());
      return;
    }
    case MeshFormat::Obj:
      WriteFileBytes(path, EncodeObj(m));
      return;
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
  // Bitwise equality: -0 and +0 stay apart, as the library's exact neighbour search would keep them.
  struct Equal {
    bool operator()(const Vertex& a, const Vertex& b) const { return std::memcmp(&a, &b, 12) == 0; }
  };
  std::unordered_map<Vertex, std::uint32_t, Hash, Equal> index;
  MeshData out;
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

}  // namespace qssse::tool
