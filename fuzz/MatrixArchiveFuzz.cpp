// Feeds arbitrary bytes to CSSEMatrix::Serialize as a file loaded through CArchive. Besides crashes and
// sanitizer reports it checks what the loader promises, aborting with a message when a promise breaks:
//  - a rejected file leaves the matrix as it was, sizes and every element;
//  - an accepted file stores back to exactly the bytes it was loaded from;
//  - loading the same bytes again into the now equal-sized matrix (the path that keeps the storage)
//    gives the same matrix.
// Only the library's documented exceptions are caught; anything else escapes and is a finding.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "qssse/platform/Archive.h"
#include "qssse/platform/ArchiveException.h"
#include "qssse/platform/CoreException.h"
#include "qssse/platform/MemFile.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/raster/SSEMatrix.h"

namespace {

void Require(bool ok, const char* broken) {
  if (ok) return;
  std::fprintf(stderr, "MatrixArchiveFuzz: %s\n", broken);
  std::abort();
}

std::vector<unsigned char> Stored(CSSEMatrix& m) {
  CMemFile file;
  CArchive ar(&file, CArchive::store);
  m.Serialize(ar);
  ar.Close();
  return file.Detach();
}

// False when the loader rejected the bytes with one of the library's exceptions.
bool Load(CSSEMatrix& m, const std::uint8_t* data, std::size_t size) {
  CMemFile file(std::vector<unsigned char>(data, data + size));
  try {
    CArchive ar(&file, CArchive::load);
    m.Serialize(ar);
    ar.Close();
    return true;
  } catch (const CArchiveException&) {
  } catch (const CbException&) {
  } catch (const CMemoryException&) {
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CSSEMatrix m;
  m.Create(3, 5);
  for (int y = 0; y < 5; ++y) {
    for (int x = 0; x < 3; ++x) m.SetPoint(x, y, static_cast<float>(10 * y + x));
  }
  const std::vector<unsigned char> before = Stored(m);

  if (!Load(m, data, size)) {
    Require(Stored(m) == before, "a rejected file changed the matrix");
    return 0;
  }
  const std::vector<unsigned char> loaded = Stored(m);
  Require(loaded.size() <= size && std::equal(loaded.begin(), loaded.end(), data),
          "an accepted file does not store back to the bytes it was loaded from");

  Require(Load(m, data, size), "bytes accepted once were rejected when loaded again");
  Require(Stored(m) == loaded, "loading the same bytes again gave a different matrix");

  // Touch the loaded storage through a whole-matrix scan as well.
  float maxValue = 0.0f, minValue = 0.0f;
  m.CalcMinMaxValues(&maxValue, &minValue);
  return 0;
}
