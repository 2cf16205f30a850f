#include "cli/HeightField.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>

#include "cli/Bytes.h"
#include "cli/Error.h"
#include "cli/Png.h"
#include "qssse/raster/SSEMatrix.h"

namespace qssse::tool {
namespace {

std::string Lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

std::string Extension(const std::string& path) {
  return Lower(std::filesystem::path(path).extension().string());
}

// PFM header token: a run of non-space characters; exactly one whitespace byte ends it.
std::string_view Token(ByteReader& r, const char* what) {
  const unsigned char* start = r.Here();
  std::size_t n = 0;
  while (n < r.Remaining() && n < 64 && !std::isspace(start[n])) ++n;
  if (n == r.Remaining()) throw ToolError(r.File(), std::string("truncated: the header ends inside ") + what);
  if (n == 0 || n == 64) throw ToolError(r.File(), std::string("bad PFM header: cannot read ") + what);
  r.Skip(n + 1, what);
  return {reinterpret_cast<const char*>(start), n};
}

std::uint64_t ParseCount(std::string_view s, const std::string& file, const char* what) {
  std::uint64_t v = 0;
  const auto [p, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
  if (ec != std::errc() || p != s.data() + s.size()) {
    throw ToolError(file, std::string(what) + " '" + std::string(s) + "' is not a whole number");
  }
  return v;
}

std::uint16_t Level(float h, double offset, double scale, int maxLevel) {
  const double l = std::round((static_cast<double>(h) - offset) / scale);
  return static_cast<std::uint16_t>(std::clamp(l, 0.0, static_cast<double>(maxLevel)));
}

}  // namespace

void CheckRasterSize(std::uint64_t width, std::uint64_t height, const std::string& file) {
  if (width == 0 || height == 0)
    throw ToolError(file,
                    "the raster is empty (" + std::to_string(width) + " x " + std::to_string(height) + ")");
  std::uint64_t pixels = 0;
  if (width > kMaxSide || height > kMaxSide || !CheckedMul(width, height, pixels) || pixels > kMaxPixels) {
    throw ToolError(file, "raster of " + std::to_string(width) + " x " + std::to_string(height) +
                              " pixels is larger than this program accepts (sides up to " +
                              std::to_string(kMaxSide) + ", 2^28 pixels)");
  }
}

void RequireFinite(const HeightField& h, const std::string& file) {
  for (std::size_t i = 0; i < h.values.size(); ++i) {
    if (!std::isfinite(h.values[i])) {
      const float v = h.values[i];
      throw ToolError(file, "pixel (" + std::to_string(i % h.width) + ", " + std::to_string(i / h.width) +
                                ") is " +
                                (std::isnan(v) ? "NaN"
                                 : v > 0       ? "+infinity"
                                               : "-infinity") +
                                ": heights must be finite");
    }
  }
}

RasterFormat DetectRasterFormat(const std::vector<unsigned char>& bytes, const std::string& path) {
  if (bytes.size() >= 2 && bytes[0] == 'P' && (bytes[1] == 'f' || bytes[1] == 'F')) return RasterFormat::Pfm;
  if (bytes.size() >= 6 && std::memcmp(bytes.data(), "\x93NUMPY", 6) == 0) return RasterFormat::Npy;
  if (bytes.size() >= 8 && std::memcmp(bytes.data(), "\x89PNG\r\n\x1a\n", 8) == 0) return RasterFormat::Png;
  if (Extension(path) == ".qsm") return RasterFormat::Matrix;
  throw ToolError(path, "not a height field this program reads (PFM, PNG, NPY or a .qsm matrix file)");
}

RasterFormat RasterFormatFromName(const std::string& path) {
  const std::string e = Extension(path);
  if (e == ".pfm") return RasterFormat::Pfm;
  if (e == ".png") return RasterFormat::Png;
  if (e == ".npy") return RasterFormat::Npy;
  if (e == ".qsm") return RasterFormat::Matrix;
  throw ToolError(path, "cannot tell the raster format from the name (use .pfm, .png, .npy or .qsm)");
}

const char* RasterFormatName(RasterFormat f) {
  switch (f) {
    case RasterFormat::Pfm:
      return "PFM";
    case RasterFormat::Png:
      return "PNG";
    case RasterFormat::Npy:
      return "NPY";
    case RasterFormat::Matrix:
      return "qssse matrix";
  }
  return "?";
}

HeightField ParsePfm(const std::vector<unsigned char>& bytes, const std::string& file) {
  ByteReader r(bytes.data(), bytes.size(), file);
  const std::string_view magic = Token(r, "the PFM signature");
  if (magic == "PF") throw ToolError(file, "colour PFM (PF): a height field must be a greyscale PFM (Pf)");
  if (magic != "Pf") throw ToolError(file, "not a PFM file (bad signature)");
  const std::uint64_t w = ParseCount(Token(r, "the width"), file, "PFM width");
  const std::uint64_t h = ParseCount(Token(r, "the height"), file, "PFM height");
  const std::string scaleText(Token(r, "the scale"));
  char* end = nullptr;
  const double scale = std::strtod(scaleText.c_str(), &end);
  if (end != scaleText.c_str() + scaleText.size() || !std::isfinite(scale) || scale == 0.0) {
    throw ToolError(file, "PFM scale '" + scaleText + "' is not a non-zero number");
  }
  CheckRasterSize(w, h, file);
  const bool bigEndian = scale > 0.0;
  r.Need(w * h * 4, "the pixel data");
  if (r.Remaining() != w * h * 4) {
    throw ToolError(file, std::to_string(r.Remaining() - w * h * 4) + " bytes follow the pixel data");
  }
  HeightField out{static_cast<int>(w), static_cast<int>(h), std::vector<float>(w * h)};
  // Rows are stored bottom to top.
  for (int y = out.height - 1; y >= 0; --y) {
    for (int x = 0; x < out.width; ++x) {
      std::uint32_t bits = r.U32LE("a pixel");
      if (bigEndian) bits = __builtin_bswap32(bits);
      std::memcpy(&out.At(x, y), &bits, 4);
    }
  }
  RequireFinite(out, file);
  return out;
}

std::vector<unsigned char> EncodePfm(const HeightField& h) {
  const std::string header = "Pf\n" + std::to_string(h.width) + " " + std::to_string(h.height) + "\n-1.0\n";
  std::vector<unsigned char> out(header.begin(), header.end());
  out.reserve(out.size() + h.values.size() * 4);
  for (int y = h.height - 1; y >= 0; --y) {
    for (int x = 0; x < h.width; ++x) PutF32LE(out, h.At(x, y));
  }
  return out;
}

namespace {

// The header dictionary of an NPY file, e.g. {'descr': '<f4', 'fortran_order': False, 'shape': (3, 4), }
struct NpyHeader {
  std::string descr;
  bool fortran = false;
  std::vector<std::uint64_t> shape;
};

class DictParser {
 public:
  DictParser(std::string_view s, const std::string& file) : s_(s), file_(file) {}

  NpyHeader Parse() {
    NpyHeader h;
    bool haveDescr = false, haveOrder = false, haveShape = false;
    Expect('{');
    while (true) {
      Space();
      if (Peek() == '}') break;
      const std::string key = Quoted();
      Expect(':');
      Space();
      if (key == "descr") {
        h.descr = Quoted();
        haveDescr = true;
      } else if (key == "fortran_order") {
        h.fortran = Bool();
        haveOrder = true;
      } else if (key == "shape") {
        h.shape = Tuple();
        haveShape = true;
      } else {
        Fail("unknown key '" + key + "'");
      }
      Space();
      if (Peek() == ',') {
        ++i_;
        continue;
      }
      if (Peek() != '}') Fail("expected ',' or '}'");
    }
    ++i_;
    Space();
    if (i_ != s_.size()) Fail("text after the dictionary");
    if (!haveDescr || !haveOrder || !haveShape) Fail("descr, fortran_order or shape is missing");
    return h;
  }

 private:
  [[noreturn]] void Fail(const std::string& what) const {
    throw ToolError(file_, "bad NPY header: " + what + " at character " + std::to_string(i_));
  }
  char Peek() const { return i_ < s_.size() ? s_[i_] : '\0'; }
  void Space() {
    while (i_ < s_.size() && (s_[i_] == ' ' || s_[i_] == '\t')) ++i_;
  }
  void Expect(char c) {
    Space();
    if (Peek() != c) Fail(std::string("expected '") + c + "'");
    ++i_;
  }
  std::string Quoted() {
    Space();
    const char q = Peek();
    if (q != '\'' && q != '"') Fail("expected a quoted string");
    const std::size_t start = ++i_;
    while (i_ < s_.size() && s_[i_] != q) ++i_;
    if (i_ >= s_.size()) Fail("unterminated string");
    return std::string(s_.substr(start, i_++ - start));
  }
  bool Bool() {
    if (s_.substr(i_, 4) == "True") {
      i_ += 4;
      return true;
    }
    if (s_.substr(i_, 5) == "False") {
      i_ += 5;
      return false;
    }
    Fail("expected True or False");
  }
  std::vector<std::uint64_t> Tuple() {
    Expect('(');
    std::vector<std::uint64_t> dims;
    while (true) {
      Space();
      if (Peek() == ')') break;
      std::uint64_t v = 0;
      const auto [p, ec] = std::from_chars(s_.data() + i_, s_.data() + s_.size(), v);
      if (ec != std::errc() || p == s_.data() + i_) Fail("expected a dimension");
      i_ = static_cast<std::size_t>(p - s_.data());
      dims.push_back(v);
      if (dims.size() > 8) Fail("too many dimensions");
      Space();
      if (Peek() == ',')
        ++i_;
      else if (Peek() != ')')
        Fail("expected ',' or ')'");
    }
    ++i_;
    return dims;
  }

  std::string_view s_;
  const std::string& file_;
  std::size_t i_ = 0;
};

}  // namespace

HeightField ParseNpy(const std::vector<unsigned char>& bytes, const std::string& file) {
  ByteReader r(bytes.data(), bytes.size(), file);
  char magic[6];
  r.Bytes(magic, 6, "the NPY signature");
  if (std::memcmp(magic, "\x93NUMPY", 6) != 0) throw ToolError(file, "not an NPY file (bad signature)");
  const int major = r.U8("the NPY version");
  r.U8("the NPY version");
  if (major < 1 || major > 3) throw ToolError(file, "NPY version " + std::to_string(major) + " is not known");
  const std::uint64_t headerLength = major == 1 ? r.U16LE("the header length") : r.U32LE("the header length");
  if (headerLength > 65536)
    throw ToolError(file, "NPY header of " + std::to_string(headerLength) + " bytes is too long");
  r.Need(headerLength, "the NPY header");
  std::string_view text(reinterpret_cast<const char*>(r.Here()), static_cast<std::size_t>(headerLength));
  r.Skip(headerLength, "the NPY header");
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.remove_suffix(1);
  const NpyHeader h = DictParser(text, file).Parse();
  std::size_t itemSize = 0;
  if (h.descr == "<f4")
    itemSize = 4;
  else if (h.descr == "<f8")
    itemSize = 8;
  else
    throw ToolError(file, "NPY element type '" + h.descr + "' is not read (use little-endian float32 '<f4')");
  if (h.shape.size() != 2)
    throw ToolError(file, "NPY array has " + std::to_string(h.shape.size()) +
                              " dimensions, a height field has 2 (rows, columns)");
  const std::uint64_t rows = h.shape[0], cols = h.shape[1];
  CheckRasterSize(cols, rows, file);
  const std::uint64_t dataBytes = rows * cols * itemSize;
  r.Need(dataBytes, "the array data");
  if (r.Remaining() != dataBytes) {
    throw ToolError(file, std::to_string(r.Remaining() - dataBytes) + " bytes follow the array data");
  }
  HeightField out{static_cast<int>(cols), static_cast<int>(rows), std::vector<float>(rows * cols)};
  for (std::uint64_t i = 0; i < rows * cols; ++i) {
    float v;
    if (itemSize == 4) {
      v = r.F32LE("an element");
    } else {
      std::uint64_t bits = r.U32LE("an element");
      bits |= std::uint64_t{r.U32LE("an element")} << 32;
      double d;
      std::memcpy(&d, &bits, 8);
      v = static_cast<float>(d);
    }
    // Fortran order runs down the columns first.
    const std::uint64_t x = h.fortran ? i / rows : i % cols, y = h.fortran ? i % rows : i / cols;
    out.values[y * cols + x] = v;
  }
  RequireFinite(out, file);
  return out;
}

std::vector<unsigned char> EncodeNpy(const HeightField& h) {
  std::string dict = "{'descr': '<f4', 'fortran_order': False, 'shape': (" + std::to_string(h.height) + ", " +
                     std::to_string(h.width) + "), }";
  // The data starts on a multiple of 64 bytes; the header ends with a newline.
  const std::size_t total = 10 + dict.size() + 1;
  dict.append((64 - total % 64) % 64, ' ');
  dict.push_back('\n');
  std::vector<unsigned char> out = {0x93, 'N', 'U', 'M', 'P', 'Y', 1, 0};
  PutU16LE(out, static_cast<std::uint16_t>(dict.size()));
  out.insert(out.end(), dict.begin(), dict.end());
  for (float v : h.values) PutF32LE(out, v);
  return out;
}

HeightField ParsePngHeights(const std::vector<unsigned char>& bytes, const std::string& file,
                            const PngScale& s) {
  const PngGrey img = DecodePngGrey(bytes, file);
  double scale = 1.0, offset = 0.0;
  auto number = [&](const char* key, double& v) {
    auto it = img.text.find(key);
    if (it == img.text.end()) return;
    char* end = nullptr;
    v = std::strtod(it->second.c_str(), &end);
    if (end == it->second.c_str() || *end != '\0' || !std::isfinite(v)) {
      throw ToolError(file, std::string("PNG text chunk ") + key + " '" + it->second + "' is not a number");
    }
  };
  number("HeightScale", scale);
  number("HeightOffset", offset);
  if (s.haveScale) scale = s.scale;
  if (s.haveOffset) offset = s.offset;
  HeightField out{img.width, img.height, std::vector<float>(img.levels.size())};
  for (std::size_t i = 0; i < img.levels.size(); ++i) {
    out.values[i] = static_cast<float>(offset + scale * img.levels[i]);
  }
  RequireFinite(out, file);
  return out;
}

std::vector<unsigned char> EncodePngHeights(const HeightField& h, const PngScale& s) {
  RequireFinite(h, "PNG output");
  const int maxLevel = s.bits == 8 ? 255 : 65535;
  float lo = 0.0f, hi = 0.0f;
  if (!h.values.empty()) {
    const auto [a, b] = std::minmax_element(h.values.begin(), h.values.end());
    lo = *a;
    hi = *b;
  }
  const double offset = s.haveOffset ? s.offset : lo;
  double scale = s.haveScale ? s.scale : (static_cast<double>(hi) - offset) / maxLevel;
  if (!(scale > 0.0) || !std::isfinite(scale)) scale = 1.0;
  std::vector<std::uint16_t> levels(h.values.size());
  for (std::size_t i = 0; i < levels.size(); ++i) levels[i] = Level(h.values[i], offset, scale, maxLevel);
  char buf[2][64];
  std::snprintf(buf[0], sizeof buf[0], "%.17g", scale);
  std::snprintf(buf[1], sizeof buf[1], "%.17g", offset);
  return EncodePngGrey(h.width, h.height, s.bits, levels,
                       {{"HeightScale", buf[0]}, {"HeightOffset", buf[1]}});
}

HeightField LoadMatrixFile(const std::string& path) {
  CSSEMatrix m;
  bool ok = false;
  try {
    ok = m.Load(CString(path));
  } catch (const std::exception& e) {
    throw ToolError(path, std::string("not a valid matrix file (") + e.what() + ")");
  }
  if (!ok) throw ToolError(path, "cannot open");
  HeightField h = FromMatrix(m);
  CheckRasterSize(static_cast<std::uint64_t>(h.width), static_cast<std::uint64_t>(h.height), path);
  RequireFinite(h, path);
  return h;
}

HeightField ReadHeightField(const std::string& path, const PngScale& scale) {
  const std::vector<unsigned char> bytes = ReadFileBytes(path);
  switch (DetectRasterFormat(bytes, path)) {
    case RasterFormat::Pfm:
      return ParsePfm(bytes, path);
    case RasterFormat::Npy:
      return ParseNpy(bytes, path);
    case RasterFormat::Png:
      return ParsePngHeights(bytes, path, scale);
    case RasterFormat::Matrix:
      return LoadMatrixFile(path);
  }
  throw ToolError(path, "unknown raster format");
}

void WriteHeightField(const std::string& path, const HeightField& h, const PngScale& scale) {
  switch (RasterFormatFromName(path)) {
    case RasterFormat::Pfm: {
      const auto b = EncodePfm(h);
      WriteFileBytes(path, b.data(), b.size());
      return;
    }
    case RasterFormat::Npy: {
      const auto b = EncodeNpy(h);
      WriteFileBytes(path, b.data(), b.size());
      return;
    }
    case RasterFormat::Png: {
      const auto b = EncodePngHeights(h, scale);
      WriteFileBytes(path, b.data(), b.size());
      return;
    }
    case RasterFormat::Matrix: {
      CSSEMatrix m;
      ToMatrix(h, m);
      if (!m.Store(CString(path))) throw ToolError(path, "cannot create");
      return;
    }
  }
}

void ToMatrix(const HeightField& h, CSSEMatrix& m) {
  CheckRasterSize(static_cast<std::uint64_t>(std::max(h.width, 0)),
                  static_cast<std::uint64_t>(std::max(h.height, 0)), "raster");
  m.Create(h.width, h.height);
  for (int y = 0; y < h.height; ++y) {
    for (int x = 0; x < h.width; ++x) m.SetPoint(x, y, h.At(x, y));
  }
}

HeightField FromMatrix(const CSSEMatrix& m) {
  HeightField h;
  if (!m.HasPixels()) return h;
  h.width = m.GetSizeX();
  h.height = m.GetSizeY();
  h.values.resize(static_cast<std::size_t>(h.width) * h.height);
  for (int y = 0; y < h.height; ++y) {
    for (int x = 0; x < h.width; ++x) h.At(x, y) = m.GetPoint(x, y);
  }
  return h;
}

}  // namespace qssse::tool
