#include "qssse/platform/MemoryLimit.h"
#include "qssse/io/Png.h"

#include <spng.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "qssse/io/IoException.h"

namespace qssse::io {
namespace {

// No chunk of a height-field PNG comes near 16 MiB; the cache limit bounds the ancillary chunks
// spng keeps (text above all) so that a file of a million tiny tEXt chunks cannot eat memory.
constexpr std::size_t kChunkLimit = std::size_t{16} << 20;
constexpr std::size_t kChunkCacheLimit = std::size_t{64} << 20;

struct CtxFree {
  void operator()(spng_ctx* c) const { spng_ctx_free(c); }
};
using Ctx = std::unique_ptr<spng_ctx, CtxFree>;

const unsigned char kIend[12] = {0, 0, 0, 0, 'I', 'E', 'N', 'D', 0xAE, 0x42, 0x60, 0x82};

void Check(int rc, const std::string& file, const char* stage) {
  if (rc != 0)
    throw CIoException(file, std::string("not a valid PNG (") + stage + ": " + spng_strerror(rc) + ")");
}

Ctx OpenDecoder(const std::vector<unsigned char>& bytes, const std::string& file, spng_ihdr& ihdr) {
  if (bytes.size() < 8 || std::memcmp(bytes.data(), "\x89PNG\r\n\x1a\n", 8) != 0) {
    throw CIoException(file, "not a PNG file (bad signature)");
  }
  Ctx ctx(spng_ctx_new(0));
  if (!ctx) throw CIoException(file, "cannot create a PNG decoder");
  Check(spng_set_image_limits(ctx.get(), kMaxImageSide, kMaxImageSide), file, "limits");
  Check(spng_set_chunk_limits(ctx.get(), kChunkLimit, kChunkCacheLimit), file, "limits");
  Check(spng_set_png_buffer(ctx.get(), bytes.data(), bytes.size()), file, "buffer");
  Check(spng_get_ihdr(ctx.get(), &ihdr), file, "header");
  return ctx;
}

const char* ColourName(int colourType) {
  switch (colourType) {
    case SPNG_COLOR_TYPE_GRAYSCALE:
      return "grey";
    case SPNG_COLOR_TYPE_TRUECOLOR:
      return "RGB";
    case SPNG_COLOR_TYPE_INDEXED:
      return "palette";
    case SPNG_COLOR_TYPE_GRAYSCALE_ALPHA:
      return "grey+alpha";
    case SPNG_COLOR_TYPE_TRUECOLOR_ALPHA:
      return "RGBA";
    default:
      return "unknown";
  }
}

std::vector<unsigned char> Encode(spng_ihdr& ihdr, const void* data, std::size_t size,
                                  const std::map<std::string, std::string>& text) {
  Ctx ctx(spng_ctx_new(SPNG_CTX_ENCODER));
  if (!ctx) throw CIoException("PNG output", "cannot create a PNG encoder");
  spng_set_option(ctx.get(), SPNG_ENCODE_TO_BUFFER, 1);
  int rc = spng_set_ihdr(ctx.get(), &ihdr);
  std::vector<spng_text> chunks;
  std::vector<std::string> values;
  values.reserve(text.size());
  for (const auto& [key, value] : text) {
    spng_text t{};
    std::strncpy(t.keyword, key.c_str(), sizeof t.keyword - 1);
    t.type = SPNG_TEXT;
    values.push_back(value);
    t.length = values.back().size();
    t.text = values.back().data();
    chunks.push_back(t);
  }
  if (rc == 0 && !chunks.empty())
    rc = spng_set_text(ctx.get(), chunks.data(), static_cast<std::uint32_t>(chunks.size()));
  if (rc == 0) rc = spng_encode_image(ctx.get(), data, size, SPNG_FMT_PNG, SPNG_ENCODE_FINALIZE);
  if (rc != 0) throw CIoException("PNG output", std::string("cannot encode: ") + spng_strerror(rc));
  std::size_t len = 0;
  int error = 0;
  unsigned char* png = static_cast<unsigned char*>(spng_get_png_buffer(ctx.get(), &len, &error));
  if (png == nullptr || error != 0)
    throw CIoException("PNG output", std::string("cannot encode: ") + spng_strerror(error));
  std::vector<unsigned char> out(png, png + len);
  std::free(png);
  return out;
}

}  // namespace

PngGrey DecodePngGrey(const std::vector<unsigned char>& bytes, const std::string& file) {
  spng_ihdr ihdr{};
  Ctx ctx = OpenDecoder(bytes, file, ihdr);
  if (ihdr.color_type != SPNG_COLOR_TYPE_GRAYSCALE && ihdr.color_type != SPNG_COLOR_TYPE_GRAYSCALE_ALPHA) {
    throw CIoException(file, std::string("a height field must be a greyscale PNG, this one is ") +
                                 ColourName(ihdr.color_type));
  }
  PngGrey img;
  img.width = static_cast<int>(ihdr.width);
  img.height = static_cast<int>(ihdr.height);
  img.bitDepth = ihdr.bit_depth == 16 ? 16 : 8;
  const std::size_t pixels = std::size_t{ihdr.width} * ihdr.height;
  // Grey and alpha pairs, host-endian; GA8 widens 1-, 2- and 4-bit grey, and the tRNS chunk of a grey
  // image (one transparent level) becomes alpha 0 through SPNG_DECODE_TRNS.
  spng_trns trns{};
  const bool haveTrns = spng_get_trns(ctx.get(), &trns) == 0;
  const bool haveAlpha = ihdr.color_type == SPNG_COLOR_TYPE_GRAYSCALE_ALPHA || haveTrns;
  // A grey+alpha image decodes in its own format, which has the same pairs (8-bit, or 16-bit host-endian).
  const int fmt = ihdr.color_type == SPNG_COLOR_TYPE_GRAYSCALE_ALPHA ? SPNG_FMT_PNG
                  : img.bitDepth == 16                               ? SPNG_FMT_GA16
                                                                     : SPNG_FMT_GA8;
  std::size_t outSize = 0;
  Check(spng_decoded_image_size(ctx.get(), fmt, &outSize), file, "size");
  // The compressed data bounds the image: deflate expands at most about 1032:1, so a header that
  // promises far more pixels than the file could hold is refused before the buffer is allocated. The
  // decoded pairs are at most twice the stored samples.
  if (outSize / 2064 > bytes.size())
    throw CIoException(file, "image size in the header is impossible for the file size");
  // The decoded pairs, the levels and alpha taken from them and the heights made of those.
  CheckMemoryRequest(pixels, 3 * sizeof(std::uint16_t) + 2 * sizeof(float), outSize, "a PNG height field");
  std::vector<unsigned char> raw(outSize);
  Check(spng_decode_image(ctx.get(), raw.data(), raw.size(), fmt, SPNG_DECODE_TRNS), file, "image data");
  uint32_t nText = 0;
  if (spng_get_text(ctx.get(), nullptr, &nText) == 0 && nText > 0) {
    std::vector<spng_text> t(nText);
    if (spng_get_text(ctx.get(), t.data(), &nText) == 0) {
      for (const spng_text& c : t) img.text[c.keyword] = std::string(c.text, c.length);
    }
  }
  // spng stops after the image data; a file cut after it must still fail, so the end chunk is required.
  if (bytes.size() < 12 + 8 || std::memcmp(bytes.data() + bytes.size() - 12, kIend, 12) != 0) {
    throw CIoException(file, "truncated PNG: the file does not end with an IEND chunk");
  }
  img.levels.resize(pixels);
  if (haveAlpha) img.alpha.resize(pixels);
  for (std::size_t i = 0; i < pixels; ++i) {
    if (img.bitDepth == 16) {
      std::uint16_t pair[2];
      std::memcpy(pair, raw.data() + i * 4, 4);
      img.levels[i] = pair[0];
      if (haveAlpha) img.alpha[i] = pair[1];
    } else {
      img.levels[i] = raw[i * 2];
      if (haveAlpha) img.alpha[i] = raw[i * 2 + 1];
    }
  }
  return img;
}

std::vector<unsigned char> EncodePngGrey(int width, int height, int bitDepth,
                                         const std::vector<std::uint16_t>& levels,
                                         const std::map<std::string, std::string>& text,
                                         const std::vector<std::uint16_t>* alpha) {
  spng_ihdr ihdr{};
  ihdr.width = static_cast<std::uint32_t>(width);
  ihdr.height = static_cast<std::uint32_t>(height);
  ihdr.bit_depth = static_cast<std::uint8_t>(bitDepth);
  const bool withAlpha = alpha != nullptr && alpha->size() == levels.size();
  ihdr.color_type = withAlpha ? SPNG_COLOR_TYPE_GRAYSCALE_ALPHA : SPNG_COLOR_TYPE_GRAYSCALE;
  const std::size_t channels = withAlpha ? 2 : 1;
  if (bitDepth == 16) {
    // Host-endian samples: spng converts them to the file's big-endian order.
    std::vector<std::uint16_t> samples(levels.size() * channels);
    for (std::size_t i = 0; i < levels.size(); ++i) {
      samples[i * channels] = levels[i];
      if (withAlpha) samples[i * channels + 1] = (*alpha)[i];
    }
    return Encode(ihdr, samples.data(), samples.size() * 2, text);
  }
  std::vector<unsigned char> samples(levels.size() * channels);
  for (std::size_t i = 0; i < levels.size(); ++i) {
    samples[i * channels] = static_cast<unsigned char>(levels[i]);
    if (withAlpha) samples[i * channels + 1] = static_cast<unsigned char>((*alpha)[i]);
  }
  return Encode(ihdr, samples.data(), samples.size(), text);
}

std::vector<unsigned char> EncodePngRgb(int width, int height, const std::vector<unsigned char>& rgb) {
  spng_ihdr ihdr{};
  ihdr.width = static_cast<std::uint32_t>(width);
  ihdr.height = static_cast<std::uint32_t>(height);
  ihdr.bit_depth = 8;
  ihdr.color_type = SPNG_COLOR_TYPE_TRUECOLOR;
  return Encode(ihdr, rgb.data(), rgb.size(), {});
}

std::string DescribePng(const std::vector<unsigned char>& bytes, const std::string& file) {
  spng_ihdr ihdr{};
  Ctx ctx = OpenDecoder(bytes, file, ihdr);
  return "PNG image " + std::to_string(ihdr.width) + " x " + std::to_string(ihdr.height) + ", " +
         std::to_string(ihdr.bit_depth) + "-bit " + ColourName(ihdr.color_type);
}

bool IsGreyPng(const std::vector<unsigned char>& bytes, const std::string& file) {
  spng_ihdr ihdr{};
  Ctx ctx = OpenDecoder(bytes, file, ihdr);
  return ihdr.color_type == SPNG_COLOR_TYPE_GRAYSCALE || ihdr.color_type == SPNG_COLOR_TYPE_GRAYSCALE_ALPHA;
}

}  // namespace qssse::io
