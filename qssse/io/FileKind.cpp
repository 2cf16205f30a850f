#include "qssse/io/FileKind.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <string_view>

#include "qssse/io/detail/Bytes.h"
#include "qssse/io/detail/MeshBuild.h"

namespace qssse::io {
namespace {

using detail::CheckedAdd;
using detail::CheckedMul;

// Text kinds are told by the first word that is not inside a '#' comment line; the first 4 KiB decide.
constexpr std::size_t kSniffBytes = 4096;

bool StartsWith(const unsigned char* data, std::size_t size, std::string_view s) {
  return size >= s.size() && std::memcmp(data, s.data(), s.size()) == 0;
}

std::uint32_t Le32(const unsigned char* p) {
  return std::uint32_t{p[0]} | (std::uint32_t{p[1]} << 8) | (std::uint32_t{p[2]} << 16) |
         (std::uint32_t{p[3]} << 24);
}

// sizeX and sizeY, then sizeX * ((sizeY >> 2) + 1) SIMD elements of 16 bytes (CSSEMatrix::Store).
bool MatrixFileSize(const unsigned char* data, std::size_t size) {
  if (size < 8) return false;
  const std::int32_t sx = static_cast<std::int32_t>(Le32(data)),
                     sy = static_cast<std::int32_t>(Le32(data + 4));
  if (sx < 1 || sy < 1) return false;
  std::uint64_t elements = 0, bytes = 0, total = 0;
  return CheckedMul(static_cast<std::uint64_t>(sx), static_cast<std::uint64_t>((sy >> 2) + 1), elements) &&
         CheckedMul(elements, 16, bytes) && CheckedAdd(bytes, 8, total) && total == size;
}

// The first word of the text outside blank lines and lines starting with '#'.
std::string_view FirstWord(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size()) {
    while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) ++i;
    if (i < text.size() && text[i] == '#') {
      const std::size_t nl = text.find('\n', i);
      i = nl == std::string_view::npos ? text.size() : nl + 1;
      continue;
    }
    std::size_t end = i;
    while (end < text.size() && !std::isspace(static_cast<unsigned char>(text[end]))) ++end;
    return text.substr(i, end - i);
  }
  return {};
}

// OFF and its variants: an optional ST (texture), C (colour), N (normal), 4 or n (dimension) before
// "OFF"; the counts may follow on the same line, even without a space.
bool IsOffKeyword(std::string_view w) {
  const std::size_t at = w.find("OFF");
  if (at == std::string_view::npos) return false;
  for (std::size_t i = 0; i < at; ++i) {
    if (std::strchr("STCN4n", w[i]) == nullptr) return false;
  }
  for (std::size_t i = at + 3; i < w.size(); ++i) {
    if (!std::isdigit(static_cast<unsigned char>(w[i]))) return false;
  }
  return true;
}

bool IsObjKeyword(std::string_view w) {
  static constexpr std::array<std::string_view, 13> kWords = {
      "v", "vt", "vn", "vp", "f", "l", "p", "o", "g", "s", "mtllib", "usemtl", "cstype"};
  return std::find(kWords.begin(), kWords.end(), w) != kWords.end();
}

bool IsNumberStart(std::string_view w) {
  if (w.empty()) return false;
  const char c = w[0];
  return std::isdigit(static_cast<unsigned char>(c)) || c == '-' || c == '+' || c == '.';
}

FileKind TextKind(std::string_view text) {
  const std::string_view w = FirstWord(text);
  if (w.empty()) return FileKind::Unknown;
  // An ASCII STL opens with "solid"; a facet or the closing "endsolid" makes sure it is one.
  if (detail::OpensWithSolid(reinterpret_cast<const unsigned char*>(text.data()), text.size()) &&
      (text.find("facet") != std::string_view::npos || text.find("FACET") != std::string_view::npos ||
       text.find("endsolid") != std::string_view::npos || text.find("ENDSOLID") != std::string_view::npos)) {
    return FileKind::AsciiStl;
  }
  if (IsOffKeyword(w)) return FileKind::Off;
  if (IsObjKeyword(w)) return FileKind::Obj;
  if (w[0] == '<' && text.find("<svg") != std::string_view::npos) return FileKind::Svg;
  if (w[0] == '{' || w[0] == '[') return FileKind::Json;
  if (IsNumberStart(w)) return FileKind::OutlineText;
  return FileKind::Unknown;
}

}  // namespace

FileKind DetectFileKind(const unsigned char* data, std::size_t size, const std::string& path) {
  const FileKind named = FileKindFromName(path);
  // 1. Signatures decide alone.
  if (StartsWith(data, size, "\x89PNG\r\n\x1a\n")) return FileKind::Png;
  if (StartsWith(data, size, "\x93NUMPY")) return FileKind::Npy;
  if (size >= 3 && data[0] == 'P' && (data[1] == 'f' || data[1] == 'F') && std::isspace(data[2]))
    return FileKind::Pfm;
  if (StartsWith(data, size, "ply\n") || StartsWith(data, size, "ply\r")) return FileKind::Ply;

  // 2. Text, told by its first word. Binary files fail the text test within their first bytes (a
  //    binary STL's triangle count and a matrix file's sizes hold NUL bytes below 2^24).
  const std::size_t head = std::min(size, kSniffBytes);
  if (size > 0 && detail::LooksLikeText(data, head)) {
    const FileKind k = TextKind({reinterpret_cast<const char*>(data), head});
    if (k != FileKind::Unknown) return k;
  }

  // 3. Binary files without a signature, told by their exact size; the name breaks a tie.
  const bool stl = detail::BinaryStlSizeMatches(data, size), matrix = MatrixFileSize(data, size);
  if (stl && matrix) return named == FileKind::Matrix ? FileKind::Matrix : FileKind::BinaryStl;
  if (stl) return FileKind::BinaryStl;
  if (matrix) return FileKind::Matrix;

  // 4. Nothing fits: the name, so that the named format's reader says what is wrong.
  return named;
}

FileKind DetectFileKind(const std::vector<unsigned char>& bytes, const std::string& path) {
  return DetectFileKind(bytes.data(), bytes.size(), path);
}

FileKind FileKindFromName(const std::string& path) {
  const std::string e = detail::Extension(path);
  if (e == ".pfm") return FileKind::Pfm;
  if (e == ".png") return FileKind::Png;
  if (e == ".npy") return FileKind::Npy;
  if (e == ".qsm") return FileKind::Matrix;
  if (e == ".stl") return FileKind::BinaryStl;
  if (e == ".ply") return FileKind::Ply;
  if (e == ".obj") return FileKind::Obj;
  if (e == ".off") return FileKind::Off;
  if (e == ".txt" || e == ".csv" || e == ".xyz") return FileKind::OutlineText;
  if (e == ".svg") return FileKind::Svg;
  if (e == ".json") return FileKind::Json;
  return FileKind::Unknown;
}

const char* FileKindName(FileKind kind) {
  switch (kind) {
    case FileKind::Unknown:
      return "unknown";
    case FileKind::Pfm:
      return "PFM";
    case FileKind::Png:
      return "PNG";
    case FileKind::Npy:
      return "NPY";
    case FileKind::Matrix:
      return "qssse matrix";
    case FileKind::BinaryStl:
      return "binary STL";
    case FileKind::AsciiStl:
      return "ASCII STL";
    case FileKind::Ply:
      return "PLY";
    case FileKind::Obj:
      return "OBJ";
    case FileKind::Off:
      return "OFF";
    case FileKind::OutlineText:
      return "outline text";
    case FileKind::Svg:
      return "SVG";
    case FileKind::Json:
      return "JSON";
  }
  return "unknown";
}

FileRole RoleOf(FileKind kind) {
  switch (kind) {
    case FileKind::Pfm:
    case FileKind::Png:
    case FileKind::Npy:
    case FileKind::Matrix:
      return FileRole::HeightField;
    case FileKind::BinaryStl:
    case FileKind::AsciiStl:
    case FileKind::Ply:
    case FileKind::Obj:
    case FileKind::Off:
      return FileRole::Mesh;
    case FileKind::OutlineText:
      return FileRole::Outline;
    case FileKind::Svg:
    case FileKind::Json:
      return FileRole::Other;
    case FileKind::Unknown:
      break;
  }
  return FileRole::None;
}

}  // namespace qssse::io
