// Feeds text after "solid " to the STL reader of the I/O library, so that every input takes the ASCII path.
// Besides crashes and sanitizer reports it checks that a rejection is a CIoException with a one-line message
// and that an accepted file survives our writer and reader unchanged. Anything else escapes and is a finding.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "FormatFuzz.h"

using namespace qssse::io;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<unsigned char> bytes(data, data + size);
  try {
    std::vector<unsigned char> text = {'s', 'o', 'l', 'i', 'd', ' '};
    text.insert(text.end(), bytes.begin(), bytes.end());
    const MeshData m = ParseStl(text, "f");
    fuzz::Require(fuzz::SameTriangles(ParseStl(EncodeStl(m), "f"), m), "AsciiStlFuzz",
                  "STL round trip differs");
  } catch (const CIoException& e) {
    fuzz::RequireOneLine(e, "AsciiStlFuzz");
  }
  return 0;
}
