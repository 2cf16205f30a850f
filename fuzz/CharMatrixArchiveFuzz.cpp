// Feeds arbitrary bytes to CSSEcharMatrix::Serialize(CArchive&) over a memory file. The loader must
// refuse what its real storage (16 bytes per column for every 16 rows) could not hold under the memory
// ceiling, and a rejected archive must leave the matrix exactly as it was.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "LoaderFuzz.h"
#include "qssse/platform/Archive.h"
#include "qssse/platform/MemFile.h"
#include "qssse/raster/SSEcharMatrix.h"

namespace {

std::vector<unsigned char> Image(CSSEcharMatrix& m) {
  CMemFile file;
  {
    CArchive ar(&file, CArchive::store);
    m.Serialize(ar);
    ar.Close();
  }
  return file.Detach();
}

void Load(CSSEcharMatrix& m, std::vector<unsigned char> bytes) {
  CMemFile file(std::move(bytes));
  CArchive ar(&file, CArchive::load);
  m.Serialize(ar);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::UseFuzzMemoryLimit();
  CSSEcharMatrix m(5, 19);
  for (int y = 0; y < 19; ++y)
    for (int x = 0; x < 5; ++x) m.SetPoint(x, y, static_cast<char>(x + 7 * y));
  const std::vector<unsigned char> before = Image(m);
  const std::vector<unsigned char> bytes(data, data + size);
  if (fuzz::Rejected([&] { Load(m, bytes); })) {
    fuzz::Check(Image(m) == before && m.GetSizeX() == 5 && m.GetSizeY() == 19, "CharMatrixArchiveFuzz",
                "a rejected archive changed the matrix");
    return 0;
  }
  const std::vector<unsigned char> stored = Image(m);
  fuzz::Check(stored.size() <= bytes.size() && std::equal(stored.begin(), stored.end(), bytes.begin()),
              "CharMatrixArchiveFuzz", "an accepted archive does not store back to its own bytes");
  return 0;
}
