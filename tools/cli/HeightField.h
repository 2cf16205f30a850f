#pragma once
#include <cstdint>
#include <string>
#include <vector>

class CSSEMatrix;

// Height fields in the files a person has: PFM, 8- and 16-bit greyscale PNG with a height scale,
// NPY float32 (float64 is accepted and narrowed) and the library's own matrix file (.qsm).
namespace qssse::tool {

// Plain row-major raster: value (x, y) at index y * width + x, y = 0 the top row of a picture.
struct HeightField {
  int width = 0;
  int height = 0;
  std::vector<float> values;

  float At(int x, int y) const { return values[static_cast<std::size_t>(y) * width + x]; }
  float& At(int x, int y) { return values[static_cast<std::size_t>(y) * width + x]; }
};

enum class RasterFormat { Pfm, Png, Npy, Matrix };

// How grey levels of a PNG map to heights: height = offset + scale * level. Reading uses the
// "HeightScale"/"HeightOffset" text chunks our writer stores unless overridden here; writing picks
// offset = minimum and the scale that spreads the range over every level unless given.
struct PngScale {
  bool haveScale = false;
  double scale = 1.0;
  bool haveOffset = false;
  double offset = 0.0;
  int bits = 16;  // 8 or 16 when writing
};

// Largest side and pixel count accepted from any file (the matrix holds at most 31999 rows).
constexpr int kMaxSide = 32000;
constexpr std::uint64_t kMaxPixels = std::uint64_t{1} << 28;

// The format from the first bytes (PFM, PNG and NPY have signatures) or else the name (.qsm).
// Throws ToolError naming the file when neither tells.
RasterFormat DetectRasterFormat(const std::vector<unsigned char>& bytes, const std::string& path);
// The format a file name asks for when writing (.pfm, .png, .npy, .qsm); ToolError otherwise.
RasterFormat RasterFormatFromName(const std::string& path);
const char* RasterFormatName(RasterFormat f);

// Readers of the file's bytes; every size is checked against the bytes present before allocating
// and every value must be finite. ToolError(file, ...) on any fault.
HeightField ParsePfm(const std::vector<unsigned char>& bytes, const std::string& file);
HeightField ParseNpy(const std::vector<unsigned char>& bytes, const std::string& file);
HeightField ParsePngHeights(const std::vector<unsigned char>& bytes, const std::string& file,
                            const PngScale& scale);
HeightField LoadMatrixFile(const std::string& path);

std::vector<unsigned char> EncodePfm(const HeightField& h);
std::vector<unsigned char> EncodeNpy(const HeightField& h);
// Non-finite heights cannot be written to PNG and throw ToolError.
std::vector<unsigned char> EncodePngHeights(const HeightField& h, const PngScale& scale);

HeightField ReadHeightField(const std::string& path, const PngScale& scale = {});
void WriteHeightField(const std::string& path, const HeightField& h, const PngScale& scale = {});

// Conversions to and from the library's raster. ToMatrix needs both sides in [1, kMaxSide].
void ToMatrix(const HeightField& h, CSSEMatrix& m);
HeightField FromMatrix(const CSSEMatrix& m);

// Throws ToolError(file, "pixel (x, y) is nan: ...") at the first non-finite value.
void RequireFinite(const HeightField& h, const std::string& file);
// Throws ToolError(file, ...) unless 1 <= width, height <= kMaxSide and the pixel count is allowed.
void CheckRasterSize(std::uint64_t width, std::uint64_t height, const std::string& file);

}  // namespace qssse::tool
