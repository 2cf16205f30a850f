#pragma once
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "qssse/io/FileKind.h"
#include "qssse/io/IoExport.h"

class CSSEMatrix;

// Height fields in the files people have: PFM (grey, either byte order), PNG (8- and 16-bit grey, with or
// without alpha) with a height scale, NPY (int8/16/32, uint8/16/32, float32/64, either byte order, C or
// Fortran order) and the library's own matrix file (.qsm, CSSEMatrix::Store).
//
// Reading happens in two steps. The Parse functions give the values as the file stores them, NaN where
// the file itself marks a pixel as carrying no height (a NaN value, a transparent PNG pixel).
// ReadHeightField and ParseHeightField then replace every NaN, and every value equal to the caller's
// no-data value, by `noValue` (0, the library's "no value", unless the caller asks otherwise) and count
// them; infinities left after that are refused. Every error is a CIoException naming the file.
namespace qssse::io {

// Plain row-major raster: value (x, y) at index y * width + x, y = 0 the first row of the file (the top
// row of a picture).
struct HeightField {
  int width = 0;
  int height = 0;
  std::vector<float> values;
  // Pixels read as carrying no height and set to the read options' noValue.
  std::size_t noDataPixels = 0;

  float At(int x, int y) const { return values[static_cast<std::size_t>(y) * width + x]; }
  float& At(int x, int y) { return values[static_cast<std::size_t>(y) * width + x]; }
};

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

struct HeightFieldReadOptions {
  PngScale png;
  // Pixels equal to noData (compared as floats, after a PNG's scale) carry no height, like NaN pixels.
  bool haveNoData = false;
  float noData = 0.0f;
  // What a pixel without a height becomes. 0 is the library's "no value"; NaN keeps them marked.
  float noValue = 0.0f;
};

struct HeightFieldWriteOptions {
  PngScale png;
  // Pixels equal to 0, the library's "no value", are written as NaN (PFM, NPY, matrix file) or as
  // transparent pixels (PNG, then grey+alpha). NaN pixels are written that way in any case.
  bool zeroAsNaN = false;
};

// The size rule of every raster read, made or written, here and in the program: at most kMaxSide
// columns, kMaxRows rows (the matrix's row limit) and kMaxPixels pixels.
constexpr int kMaxSide = 32000;
constexpr int kMaxRows = 31999;
constexpr std::uint64_t kMaxPixels = std::uint64_t{1} << 28;

// ---- whole files -------------------------------------------------------------------------------------
// Reads the file, recognised by its contents (DetectFileKind); a mesh, an outline or anything else
// throws CIoException saying what the file is instead.
QSSSE_IO_API HeightField ReadHeightField(const std::string& path, const HeightFieldReadOptions& options = {});
// The same on bytes already read; `file` names them in messages.
QSSSE_IO_API HeightField ParseHeightField(const std::vector<unsigned char>& bytes, FileKind kind,
                                          const std::string& file,
                                          const HeightFieldReadOptions& options = {});
// Writes in the format the name's extension asks for (.pfm, .png, .npy, .qsm); any other name, or
// heights a PNG cannot hold (infinities), throw CIoException.
QSSSE_IO_API void WriteHeightField(const std::string& path, const HeightField& h,
                                   const HeightFieldWriteOptions& options = {});
// The kind a name asks for when writing a height field; CIoException for any other extension.
QSSSE_IO_API FileKind HeightFieldKindFromName(const std::string& path);

// ---- one format each ---------------------------------------------------------------------------------
// Values as stored, NaN where the file marks no height; sizes checked against the bytes present before
// anything is allocated; bytes after the data are refused. CIoException(file, ...) on any fault.
QSSSE_IO_API HeightField ParsePfm(const std::vector<unsigned char>& bytes, const std::string& file);
QSSSE_IO_API HeightField ParseNpy(const std::vector<unsigned char>& bytes, const std::string& file);
// Grey or grey+alpha; pixels with alpha 0 read as NaN. Colour and palette images are refused.
QSSSE_IO_API HeightField ParsePngHeights(const std::vector<unsigned char>& bytes, const std::string& file,
                                         const PngScale& scale);
QSSSE_IO_API HeightField ParseMatrixFile(const std::vector<unsigned char>& bytes, const std::string& file);

// PFM: little-endian, rows bottom to top. NPY: '<f4', C order. Matrix file: as CSSEMatrix::Store.
QSSSE_IO_API std::vector<unsigned char> EncodePfm(const HeightField& h);
QSSSE_IO_API std::vector<unsigned char> EncodeNpy(const HeightField& h);
QSSSE_IO_API std::vector<unsigned char> EncodeMatrixFile(const HeightField& h);
// Grey, or grey+alpha with NaN pixels transparent when there are any; the scale ignores NaN pixels.
// Infinities throw CIoException.
QSSSE_IO_API std::vector<unsigned char> EncodePngHeights(const HeightField& h, const PngScale& scale);

// ---- no data -----------------------------------------------------------------------------------------
// Replaces NaN pixels and pixels equal to the no-data value by options.noValue and returns how many
// (also added to h.noDataPixels). Throws CIoException(file, "pixel (x, y) is +infinity: ...") at the
// first infinity left.
QSSSE_IO_API std::size_t ResolveNoData(HeightField& h, const HeightFieldReadOptions& options,
                                       const std::string& file);
// Throws CIoException(file, ...) when a side is 0 or the size breaks the rule (RasterSizeError).
QSSSE_IO_API void CheckRasterSize(std::uint64_t width, std::uint64_t height, const std::string& file);
// Empty when a raster of width x height pixels keeps the size rule, else the one message every reader and
// command gives: "a raster of 40000 x 20 pixels is more than the library holds (at most 32000 columns,
// 31999 rows and 268435456 pixels)". Doubles, so that sizes computed from a scale or a resolution are
// judged before any conversion; sizes from 10^15 up are written as "more than 10^15", NaN is refused.
QSSSE_IO_API std::string RasterSizeError(double width, double height);

// ---- the library's raster ----------------------------------------------------------------------------
// Copies into a new matrix of the same size (pixel (x, y) to (x, y)). Sizes that are 0 or break the
// size rule throw CIoException.
QSSSE_IO_API void ToMatrix(const HeightField& h, CSSEMatrix& m);
// The matrix's pixels (padding left out); a matrix without pixels gives an empty field.
QSSSE_IO_API HeightField FromMatrix(const CSSEMatrix& m);

}  // namespace qssse::io
