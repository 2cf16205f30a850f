// Feeds arbitrary bytes to CSSEMatrix::Serialize through a binary memory stream. Besides crashes and
// sanitizer reports it checks what the loader promises, aborting with a message when a promise breaks:
//  - bytes that do not start with the version record of version 1 leave a 0 x 0 matrix;
//  - a rejected stream leaves the matrix as it was, sizes and every element;
//  - an accepted stream writes back to exactly the bytes it was read from;
//  - reading the same bytes again gives the same matrix.
// Only the library's documented exceptions are caught; anything else escapes and is a finding.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "qssse/platform/ArchiveException.h"
#include "qssse/platform/CoreException.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/platform/StreamReadBinaryMemory.h"
#include "qssse/platform/StreamWrite.h"
#include "qssse/platform/StreamWriteBinaryMemory.h"
#include "qssse/raster/SSEMatrix.h"

namespace {

void Require(bool ok, const char* broken) {
  if (ok) return;
  std::fprintf(stderr, "MatrixStreamFuzz: %s\n", broken);
  std::abort();
}

std::vector<unsigned char> Stored(const CSSEMatrix& m) {
  CbStreamWriteBinaryMemory stream;
  m.Serialize(stream);
  return stream.GetData();
}

// False when the loader rejected the bytes with one of the library's exceptions.
bool Load(CSSEMatrix& m, const std::uint8_t* data, std::size_t size) {
  try {
    CbStreamReadBinaryMemory stream(data, size);
    m.Serialize(stream);
    return true;
  } catch (const CArchiveException&) {
  } catch (const CbException&) {
  } catch (const CMemoryException&) {
  }
  return false;
}

std::int32_t LittleEndianInt32(const std::uint8_t* p) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
                                   static_cast<std::uint32_t>(p[2]) << 16 |
                                   static_cast<std::uint32_t>(p[3]) << 24);
}

// The record WriteVersion(1) writes: the tag, then the version.
bool StartsWithVersionOne(const std::uint8_t* data, std::size_t size) {
  return size >= 8 && LittleEndianInt32(data) == CbStreamWrite::VersionTag &&
         LittleEndianInt32(data + 4) == 1;
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
    Require(Stored(m) == before, "a rejected stream changed the matrix");
    return 0;
  }
  if (!StartsWithVersionOne(data, size)) {
    Require(m.GetSizeX() == 0 && m.GetSizeY() == 0 && !m.HasPixels(),
            "a stream without the version-1 record did not leave a 0 x 0 matrix");
    return 0;
  }
  const std::vector<unsigned char> loaded = Stored(m);
  Require(loaded.size() <= size && std::equal(loaded.begin(), loaded.end(), data),
          "an accepted stream does not write back to the bytes it was read from");

  Require(Load(m, data, size), "bytes accepted once were rejected when read again");
  Require(Stored(m) == loaded, "reading the same bytes again gave a different matrix");

  float maxValue = 0.0f, minValue = 0.0f;
  m.CalcMinMaxValues(&maxValue, &minValue);
  return 0;
}
