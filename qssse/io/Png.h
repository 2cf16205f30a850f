#pragma once
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "qssse/io/IoExport.h"

// PNG images through libspng, with its image and chunk limits set for untrusted files: greyscale images
// for height fields and RGB images for pictures.
namespace qssse::io {

// Largest side of a PNG the decoder accepts.
constexpr std::uint32_t kMaxImageSide = 32768;

// A decoded greyscale PNG: `levels` row by row from the top, each in [0, 2^bitDepth - 1].
struct PngGrey {
  int width = 0;
  int height = 0;
  int bitDepth = 8;  // 8 or 16 after decoding (1, 2 and 4-bit files are widened to 8)
  std::vector<std::uint16_t> levels;
  // Opacity per pixel in the same range as the levels, from an alpha channel or a tRNS chunk; empty when
  // the image has neither (every pixel opaque).
  std::vector<std::uint16_t> alpha;
  std::map<std::string, std::string> text;  // tEXt chunks, keyword -> text
};

// Decodes a greyscale PNG, with or without alpha. Colour and palette images, damaged or truncated files
// (the IEND chunk is required) throw CIoException naming `file`.
QSSSE_IO_API PngGrey DecodePngGrey(const std::vector<unsigned char>& bytes, const std::string& file);

// Encodes a greyscale image of 8 or 16 bits (levels row by row from the top) with tEXt chunks; with a
// non-null `alpha` of the same size, a grey+alpha image.
QSSSE_IO_API std::vector<unsigned char> EncodePngGrey(int width, int height, int bitDepth,
                                                      const std::vector<std::uint16_t>& levels,
                                                      const std::map<std::string, std::string>& text,
                                                      const std::vector<std::uint16_t>* alpha = nullptr);
// Encodes an 8-bit RGB image (3 bytes per pixel, rows from the top).
QSSSE_IO_API std::vector<unsigned char> EncodePngRgb(int width, int height,
                                                     const std::vector<unsigned char>& rgb);

// Width, height, bit depth and colour type from the header alone ("PNG image 320 x 320, 16-bit grey").
// CIoException when the header cannot be read.
QSSSE_IO_API std::string DescribePng(const std::vector<unsigned char>& bytes, const std::string& file);
// True for greyscale images (with or without alpha), from the header alone; CIoException as DescribePng.
QSSSE_IO_API bool IsGreyPng(const std::vector<unsigned char>& bytes, const std::string& file);

}  // namespace qssse::io
