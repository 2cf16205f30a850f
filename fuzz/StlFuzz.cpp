// Feeds arbitrary bytes to the STL reader of the I/O library (binary, or ASCII when the text says so).
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
    const MeshData m = ParseStl(bytes, "f");
    fuzz::Require(fuzz::SameTriangles(ParseStl(EncodeStl(m), "f"), m), "StlFuzz", "STL round trip differs");
  } catch (const CIoException& e) {
    fuzz::RequireOneLine(e, "StlFuzz");
  }
  return 0;
}
