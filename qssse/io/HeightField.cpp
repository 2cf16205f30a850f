#include "qssse/io/HeightField.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "qssse/io/FileBytes.h"
#include "qssse/io/IoException.h"
#include "qssse/io/detail/Bytes.h"
#include "qssse/platform/Archive.h"
#include "qssse/platform/Exception.h"
#include "qssse/platform/MemFile.h"
#include "qssse/raster/SSEMatrix.h"

namespace qssse::io {
namespace {

using detail::ByteReader;

// PFM header token: a run of non-space characters; exactly one whitespace byte ends it.
std::string_view Token(ByteReader& r, const char* what) {
  const unsigned char* start = r.Here();
  std::size_t n = 0;
  while (n < r.Remaining() && n < 64 && !std::isspace(start[n])) ++n;
  if (n == r.Remaining())
    throw CIoException(r.File(), std::string("truncated: the header ends inside ") + what);
  if (n == 0 || n == 64) throw CIoException(r.File(), std::string("bad PFM header: cannot read ") + what);
  r.Skip(n + 1, what);
  return {reinterpret_cast<const char*>(start), n};
}

std::uint64_t ParseCount(std::string_view s, const std::string& file, const char* what) {
  std::uint64_t v = 0;
  const auto [p, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
  if (ec != std::errc() || p != s.data() + s.size()) {
    throw CIoException(file, std::string(what) + " '" + std::string(s) + "' is not a whole number");
  }
  return v;
}

const char* NonFiniteName(float v) { return std::isnan(v) ? "NaN" : v > 0 ? "+infinity" : "-infinity"; }

// The file's kind, or CIoException saying what the file is when it holds no height field.
void RequireHeightField(FileKind kind, const std::string& file) {
  if (RoleOf(kind) == FileRole::HeightField) return;
  if (kind == FileKind::Unknown)
    throw CIoException(file, "not a height field this library reads (PFM, PNG, NPY or a .qsm matrix file)");
  throw CIoException(file, std::string("this is ") + (RoleOf(kind) == FileRole::Mesh ? "a mesh" : "a file") +
                               " (" + FileKindName(kind) + "), not a height field");
}

}  // namespace

std::string RasterSizeError(double width, double height) {
  if (width <= kMaxSide && height <= kMaxRows && width * height <= static_cast<double>(kMaxPixels)) return "";
  const auto count = [](double v) {
    if (!(v < 1e15)) return std::string(v != v ? "NaN" : "more than 10^15");
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.0f", v);
    return std::string(buf);
  };
  return "a raster of " + count(width) + " x " + count(height) +
         " pixels is more than the library holds (at most " + std::to_string(kMaxSide) + " columns, " +
         std::to_string(kMaxRows) + " rows and " + std::to_string(kMaxPixels) + " pixels)";
}

void CheckRasterSize(std::uint64_t width, std::uint64_t height, const std::string& file) {
  if (width == 0 || height == 0)
    throw CIoException(
        file, "the raster is empty (" + std::to_string(width) + " x " + std::to_string(height) + ")");
  const std::string problem = RasterSizeError(static_cast<double>(width), static_cast<double>(height));
  if (!problem.empty()) throw CIoException(file, problem);
}

std::size_t ResolveNoData(HeightField& h, const HeightFieldReadOptions& o, const std::string& file) {
  std::size_t replaced = 0;
  for (std::size_t i = 0; i < h.values.size(); ++i) {
    float& v = h.values[i];
    if (std::isnan(v) || (o.haveNoData && v == o.noData)) {
      v = o.noValue;
      ++replaced;
    } else if (!std::isfinite(v)) {
      throw CIoException(file, "pixel (" + std::to_string(i % static_cast<std::size_t>(h.width)) + ", " +
                                   std::to_string(i / static_cast<std::size_t>(h.width)) + ") is " +
                                   NonFiniteName(v) + ": heights must be finite or marked as no data");
    }
  }
  h.noDataPixels += replaced;
  return replaced;
}

HeightField ParsePfm(const std::vector<unsigned char>& bytes, const std::string& file) {
  ByteReader r(bytes.data(), bytes.size(), file);
  const std::string_view magic = Token(r, "the PFM signature");
  if (magic == "PF") throw CIoException(file, "colour PFM (PF): a height field must be a greyscale PFM (Pf)");
  if (magic != "Pf") throw CIoException(file, "not a PFM file (bad signature)");
  const std::uint64_t w = ParseCount(Token(r, "the width"), file, "PFM width");
  const std::uint64_t h = ParseCount(Token(r, "the height"), file, "PFM height");
  const std::string scaleText(Token(r, "the scale"));
  char* end = nullptr;
  const double scale = std::strtod(scaleText.c_str(), &end);
  if (end != scaleText.c_str() + scaleText.size() || !std::isfinite(scale) || scale == 0.0) {
    throw CIoException(file, "PFM scale '" + scaleText + "' is not a non-zero number");
  }
  CheckRasterSize(w, h, file);
  const bool bigEndian = scale > 0.0;
  r.Need(w * h * 4, "the pixel data");
  if (r.Remaining() != w * h * 4) {
    throw CIoException(file, std::to_string(r.Remaining() - w * h * 4) + " bytes follow the pixel data");
  }
  HeightField out{static_cast<int>(w), static_cast<int>(h), std::vector<float>(w * h)};
  // Rows are stored bottom to top.
  for (int y = out.height - 1; y >= 0; --y) {
    for (int x = 0; x < out.width; ++x) {
      const auto bits = static_cast<std::uint32_t>(r.Unsigned(4, bigEndian, "a pixel"));
      std::memcpy(&out.At(x, y), &bits, 4);
    }
  }
  return out;
}

std::vector<unsigned char> EncodePfm(const HeightField& h) {
  const std::string header = "Pf\n" + std::to_string(h.width) + " " + std::to_string(h.height) + "\n-1.0\n";
  std::vector<unsigned char> out(header.begin(), header.end());
  out.reserve(out.size() + h.values.size() * 4);
  for (int y = h.height - 1; y >= 0; --y) {
    for (int x = 0; x < h.width; ++x) detail::PutF32LE(out, h.At(x, y));
  }
  return out;
}

HeightField ParseMatrixFile(const std::vector<unsigned char>& bytes, const std::string& file) {
  // The library's own loader reads the file (it checks the sizes against the bytes before allocating).
  CMemFile memory(bytes);
  CSSEMatrix m;
  std::uint64_t left = 0;
  try {
    CArchive ar(&memory, CArchive::load, 4096);
    m.Serialize(ar);
    left = ar.GetBytesRemaining();
    ar.Close();
  } catch (const CException& e) {
    throw CIoException(file, std::string("not a valid matrix file (") + e.what() + ")");
  }
  CheckRasterSize(static_cast<std::uint64_t>(std::max(m.GetSizeX(), 0)),
                  static_cast<std::uint64_t>(std::max(m.GetSizeY(), 0)), file);
  if (left != 0) throw CIoException(file, std::to_string(left) + " bytes follow the matrix data");
  return FromMatrix(m);
}

std::vector<unsigned char> EncodeMatrixFile(const HeightField& h) {
  CSSEMatrix m;
  ToMatrix(h, m);
  CMemFile memory;
  CArchive ar(&memory, CArchive::store, 4096);
  m.Serialize(ar);
  ar.Close();
  return memory.Detach();
}

HeightField ParseHeightField(const std::vector<unsigned char>& bytes, FileKind kind, const std::string& file,
                             const HeightFieldReadOptions& options) {
  RequireHeightField(kind, file);
  HeightField h;
  switch (kind) {
    case FileKind::Pfm:
      h = ParsePfm(bytes, file);
      break;
    case FileKind::Npy:
      h = ParseNpy(bytes, file);
      break;
    case FileKind::Png:
      h = ParsePngHeights(bytes, file, options.png);
      break;
    default:
      h = ParseMatrixFile(bytes, file);
      break;
  }
  ResolveNoData(h, options, file);
  return h;
}

HeightField ReadHeightField(const std::string& path, const HeightFieldReadOptions& options) {
  const std::vector<unsigned char> bytes = ReadFileBytes(path);
  return ParseHeightField(bytes, DetectFileKind(bytes, path), path, options);
}

FileKind HeightFieldKindFromName(const std::string& path) {
  const FileKind k = FileKindFromName(path);
  if (RoleOf(k) != FileRole::HeightField)
    throw CIoException(path, "cannot tell the raster format from the name (use .pfm, .png, .npy or .qsm)");
  return k;
}

void WriteHeightField(const std::string& path, const HeightField& h, const HeightFieldWriteOptions& options) {
  const FileKind kind = HeightFieldKindFromName(path);
  const HeightField* out = &h;
  HeightField marked;
  if (options.zeroAsNaN) {
    marked = h;
    for (float& v : marked.values) {
      if (v == 0.0f) v = std::numeric_limits<float>::quiet_NaN();
    }
    out = &marked;
  }
  std::vector<unsigned char> b;
  switch (kind) {
    case FileKind::Pfm:
      b = EncodePfm(*out);
      break;
    case FileKind::Npy:
      b = EncodeNpy(*out);
      break;
    case FileKind::Png:
      try {
        b = EncodePngHeights(*out, options.png);
      } catch (const CIoException& e) {
        throw CIoException(path, e.GetProblem());
      }
      break;
    default:
      b = EncodeMatrixFile(*out);
      break;
  }
  WriteFileBytes(path, b.data(), b.size());
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

}  // namespace qssse::io
