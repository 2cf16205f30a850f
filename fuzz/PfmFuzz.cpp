// Feeds arbitrary bytes to the PFM reader of the I/O library. Besides crashes and sanitizer
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
    const HeightField h = ParsePfm(bytes, "f");
    fuzz::Require(fuzz::SameBits(ParsePfm(EncodePfm(h), "f").values, h.values), "PfmFuzz",
                  "PFM round trip differs");
  } catch (const CIoException& e) {
    fuzz::RequireOneLine(e, "PfmFuzz");
  }
  return 0;
}
