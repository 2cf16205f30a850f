// Feeds arbitrary bytes to the program's PFM reader. Besides crashes and sanitizer reports it checks
// that a rejection is a ToolError with a one-line message and that an accepted file survives our
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
  std::fprintf(stderr, "PfmFuzz: %s\n", broken);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<unsigned char> bytes(data, data + size);
  try {
    const qssse::tool::HeightField h = qssse::tool::ParsePfm(bytes, "f");
    Require(qssse::tool::ParsePfm(qssse::tool::EncodePfm(h), "f").values == h.values,
            "PFM round trip differs");
  } catch (const qssse::tool::ToolError& e) {
    Require(std::strchr(e.what(), '\n') == nullptr, "an error message spans lines");
  }
  return 0;
}
