// Meshes as PLY: a text header of elements and properties, then the data in ASCII or binary.
#include <bit>
#include <charconv>
#include <cmath>
#include <map>

#include "qssse/platform/MemoryLimit.h"
#include "qssse/io/IoException.h"
#include "qssse/io/MeshFile.h"
#include "qssse/io/detail/Bytes.h"
#include "qssse/io/detail/MeshBuild.h"

namespace qssse::io {
namespace {

using detail::ByteReader;
using detail::CheckedAdd;
using detail::CheckedMul;
using detail::Quote;

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

int PlySize(PlyType t) {
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

enum class PlyEncoding { Ascii, LittleEndian, BigEndian };

// Reads one PLY value, binary or ASCII, as a double.
class PlyValues {
 public:
  PlyValues(ByteReader& r, PlyEncoding encoding) : r_(r), encoding_(encoding) {}

  double Read(PlyType t) {
    if (encoding_ == PlyEncoding::Ascii) return Ascii(t);
    const std::uint64_t bits = r_.Unsigned(PlySize(t), encoding_ == PlyEncoding::BigEndian, "a PLY value");
    switch (t) {
      case PlyType::Int8:
        return static_cast<std::int8_t>(bits);
      case PlyType::Int16:
        return static_cast<std::int16_t>(bits);
      case PlyType::Int32:
        return static_cast<std::int32_t>(bits);
      case PlyType::UInt8:
      case PlyType::UInt16:
      case PlyType::UInt32:
        return static_cast<double>(bits);
      case PlyType::Float32:
        return std::bit_cast<float>(static_cast<std::uint32_t>(bits));
      case PlyType::Float64:
        return std::bit_cast<double>(bits);
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
      throw CIoException(r_.File(), "truncated: the PLY data ends before the counts in its header are met");
    double v = 0.0;
    const auto [p, ec] = std::from_chars(start, start + n, v);
    if (ec != std::errc() || p != start + n) {
      throw CIoException(r_.File(), "PLY value " + Quote({start, n}) + " is not a number");
    }
    if (t != PlyType::Float32 && t != PlyType::Float64 && v != std::floor(v)) {
      throw CIoException(r_.File(), "PLY integer value " + Quote({start, n}) + " has a fraction");
    }
    r_.Skip(n, "");
    return v;
  }

  ByteReader& r_;
  PlyEncoding encoding_;
};

struct PlyHeader {
  PlyEncoding encoding = PlyEncoding::Ascii;
  std::vector<PlyElement> elements;
};

PlyHeader ReadHeader(ByteReader& r, const std::string& file) {
  const auto line = [&] { return r.Line(4096, "a PLY header line"); };
  std::string_view first = line();
  if (!first.empty() && first.back() == '\r') first.remove_suffix(1);
  if (first != "ply") throw CIoException(file, "not a PLY file (bad signature)");
  PlyHeader h;
  bool haveFormat = false;
  for (;;) {
    const std::vector<std::string_view> w = detail::Words(line());
    if (w.empty() || w[0] == "comment" || w[0] == "obj_info") continue;
    if (w[0] == "end_header") break;
    if (w[0] == "format") {
      if (w.size() != 3 || w[2] != "1.0") throw CIoException(file, "bad PLY format line");
      if (w[1] == "ascii")
        h.encoding = PlyEncoding::Ascii;
      else if (w[1] == "binary_little_endian")
        h.encoding = PlyEncoding::LittleEndian;
      else if (w[1] == "binary_big_endian")
        h.encoding = PlyEncoding::BigEndian;
      else
        throw CIoException(file, "PLY encoding " + Quote(w[1]) + " is not known");
      haveFormat = true;
    } else if (w[0] == "element") {
      std::uint64_t n = 0;
      if (w.size() != 3 ||
          std::from_chars(w[2].data(), w[2].data() + w[2].size(), n).ptr != w[2].data() + w[2].size()) {
        throw CIoException(file, "bad PLY element line");
      }
      if (n > kMaxMeshElements)
        throw CIoException(file, std::to_string(n) + " PLY elements are more than this library accepts");
      h.elements.push_back({std::string(w[1]), n, {}});
    } else if (w[0] == "property") {
      if (h.elements.empty()) throw CIoException(file, "PLY property before any element");
      PlyProperty p;
      const bool ok = (w.size() == 3 && PlyTypeFromName(w[1], p.type)) ||
                      (w.size() == 5 && w[1] == "list" && PlyTypeFromName(w[2], p.countType) &&
                       PlyTypeFromName(w[3], p.type) && (p.isList = true));
      if (!ok) throw CIoException(file, "bad PLY property line");
      p.name = std::string(w.back());
      h.elements.back().properties.push_back(p);
    } else {
      throw CIoException(file, "unknown PLY header keyword " + Quote(w[0]));
    }
  }
  if (!haveFormat) throw CIoException(file, "the PLY header has no format line");
  return h;
}

// Every element needs at least this many bytes per item (ASCII: a digit and a separator per value), so
// the counts are checked against the file before anything is allocated.
void CheckDataSize(const PlyHeader& h, const ByteReader& r, const std::string& file) {
  const bool ascii = h.encoding == PlyEncoding::Ascii;
  std::uint64_t minBytes = 0;
  for (const PlyElement& e : h.elements) {
    std::uint64_t per = 0;
    for (const PlyProperty& p : e.properties)
      per += ascii ? 2 : static_cast<std::uint64_t>(PlySize(p.isList ? p.countType : p.type));
    std::uint64_t bytesNeeded = 0;
    if (!CheckedMul(per, e.count, bytesNeeded) || !CheckedAdd(minBytes, bytesNeeded, minBytes))
      minBytes = UINT64_MAX;
  }
  if (ascii && minBytes > 0 && minBytes != UINT64_MAX) --minBytes;  // the last value needs no separator
  if (minBytes > r.Remaining()) {
    throw CIoException(file, "truncated: the PLY header announces at least " + std::to_string(minBytes) +
                                 " bytes of data, the file has " + std::to_string(r.Remaining()));
  }
}

}  // namespace

MeshData ParsePly(const std::vector<unsigned char>& bytes, const std::string& file) {
  ByteReader r(bytes.data(), bytes.size(), file);
  const PlyHeader header = ReadHeader(r, file);
  CheckDataSize(header, r, file);

  MeshData m;
  PlyValues values(r, header.encoding);
  bool haveVertices = false;
  std::vector<std::uint32_t> polygon;
  for (const PlyElement& e : header.elements) {
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
      throw CIoException(file, "PLY vertices lack x, y or z");
    if (isFace && indexList < 0) throw CIoException(file, "PLY faces lack a vertex_indices list");
    if (isFace && !haveVertices) throw CIoException(file, "PLY faces come before the vertices");
    if (isVertex) {
      CheckMemoryRequest(e.count, sizeof(Vertex), 0, "a mesh's vertices");
      m.vertices.reserve(e.count);
      haveVertices = true;
    }
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
          throw CIoException(file, "PLY list of " + std::to_string(count) + " entries");
        const bool isIndices = isFace && indexList == static_cast<int>(i);
        polygon.clear();
        for (int k = 0; k < static_cast<int>(count); ++k) {
          const double v = values.Read(p.type);
          if (!isIndices) continue;
          if (v < 0 || v >= static_cast<double>(m.vertices.size())) {
            throw CIoException(file, "PLY face " + std::to_string(item) + " refers to vertex " +
                                         std::to_string(static_cast<long long>(v)) + " of " +
                                         std::to_string(m.vertices.size()));
          }
          polygon.push_back(static_cast<std::uint32_t>(v));
        }
        if (!isIndices) continue;
        if (polygon.size() < 3)
          throw CIoException(file, "PLY face " + std::to_string(item) + " has fewer than 3 corners");
        if (m.triangles.size() + polygon.size() > kMaxMeshElements)
          throw CIoException(file, "the PLY faces make more triangles than this library accepts");
        detail::AddFace(polygon, m);
      }
      if (isVertex) {
        const Vertex v{static_cast<float>(coords[0]), static_cast<float>(coords[1]),
                       static_cast<float>(coords[2])};
        detail::CheckVertex(v, m.vertices.size(), file);
        m.vertices.push_back(v);
      }
    }
  }
  if (!haveVertices) throw CIoException(file, "the PLY file has no vertex element");
  if (header.encoding == PlyEncoding::Ascii) {
    while (r.Remaining() > 0 && std::isspace(*r.Here())) r.Skip(1, "");
  }
  if (r.Remaining() != 0)
    throw CIoException(file, std::to_string(r.Remaining()) + " bytes follow the PLY data");
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
    detail::PutF32LE(out, v.x);
    detail::PutF32LE(out, v.y);
    detail::PutF32LE(out, v.z);
  }
  for (const auto& t : m.triangles) {
    out.push_back(3);
    for (std::uint32_t i : t) detail::PutU32LE(out, i);
  }
  return out;
}

}  // namespace qssse::io
