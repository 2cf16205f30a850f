// Feeds arbitrary bytes to the OFF reader of the I/O library. Besides crashes and sanitizer
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
    const MeshData m = ParseOff(bytes, "f");
    const std::string text = EncodeOff(m);
    fuzz::Require(fuzz::SameMesh(ParseOff({text.begin(), text.end()}, "f"), m), "OffFuzz",
                  "OFF round trip differs");
  } catch (const CIoException& e) {
    fuzz::RequireOneLine(e, "OffFuzz");
  }
  return 0;
}
