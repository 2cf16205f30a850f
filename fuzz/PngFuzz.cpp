// Feeds arbitrary bytes to the greyscale PNG reader of the I/O library. Besides crashes and sanitizer
// reports it checks that a rejection is a CIoException with a one-line message and that an accepted file
// survives our writer and reader unchanged. Anything else escapes and is a finding.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "FormatFuzz.h"

using namespace qssse::io;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<unsigned char> bytes(data, data + size);
  try {
    const HeightField h = ParsePngHeights(bytes, "f", {});
    fuzz::Require(h.values.size() == static_cast<std::size_t>(h.width) * h.height, "PngFuzz",
                  "PNG size and values disagree");
  } catch (const CIoException& e) {
    fuzz::RequireOneLine(e, "PngFuzz");
  }
  return 0;
}
