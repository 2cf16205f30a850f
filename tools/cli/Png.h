#pragma once
#include <cstdint>
#include <map>
#include <string>
#include <vector>

// PNG through libspng, with its image and chunk limits set for untrusted files.
namespace qssse::tool {

constexpr std::uint32_t kMaxImageSide = 32768;

// A decoded greyscale PNG: `levels` row by row from the top, each in [0, 2^bitDepth - 1].
struct PngGrey {
  int width = 0;
  int height = 0;
  int bitDepth = 8;  // 8 or 16 after decoding (1, 2 and 4-bit files are widened to 8)
  std::vector<std::uint16_t> levels;
  std::map<std::string, std::string> text;  // tEXt chunks, keyword -> text
};

// Decodes a greyscale PNG (with or without alpha, which is ignored). Colour and palette images,
// damaged or truncated files throw ToolError naming `file`.
PngGrey DecodePngGrey(const std::vector<unsigned char>& bytes, const std::string& file);

// Encodes a greyscale image of 8 or 16 bits (levels row by row from the top) with tEXt chunks.
std::vector<unsigned char> EncodePngGrey(int width, int height, int bitDepth,
                                         const std::vector<std::uint16_t>& levels,
                                         const std::map<std::string, std::string>& text);
// Encodes an 8-bit RGB image (3 bytes per pixel, rows from the top).
std::vector<unsigned char> EncodePngRgb(int width, int height, const std::vector<unsigned char>& rgb);

// Width, height, bit depth and colour type of a PNG from its header alone ("PNG 320 x 320, 16-bit grey").
std::string DescribePng(const std::vector<unsigned char>& bytes, const std::string& file);

}  // namespace qssse::tool
