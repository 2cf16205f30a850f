// File-backed loading: the bytes become a file, read by CSSEMatrix::Load (the archive format through
// CFile) and by CSSEMatrix::Serialize over a file stream (the version-1 stream format). A rejected file
// must leave the matrix as it was, sizes and every element.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "LoaderFuzz.h"
#include "qssse/platform/StreamReadBinaryFile.h"
#include "qssse/platform/StreamWriteBinaryMemory.h"
#include "qssse/raster/SSEMatrix.h"

namespace {

std::vector<unsigned char> Image(const CSSEMatrix& m) {
  CbStreamWriteBinaryMemory stream;
  m.Serialize(stream);
  return stream.GetData();
}

const std::string& FilePath() {
  static const std::string path = "/tmp/qssse-fuzz-matrix-" + std::to_string(::getpid()) + ".qsm";
  return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::UseFuzzMemoryLimit();
  std::FILE* f = std::fopen(FilePath().c_str(), "wb");
  if (f == nullptr) return 0;
  if (size > 0) std::fwrite(data, 1, size, f);
  std::fclose(f);

  CSSEMatrix m;
  m.Create(6, 5);
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 6; ++x) m.SetPoint(x, y, static_cast<float>(x - 2 * y));
  const std::vector<unsigned char> before = Image(m);
  if (fuzz::Rejected([&] { m.Load(FilePath().c_str()); })) {
    fuzz::Check(Image(m) == before, "MatrixFileFuzz", "a rejected file changed the matrix (Load)");
  }
  CSSEMatrix s;
  s.Create(3, 9);
  const std::vector<unsigned char> sBefore = Image(s);
  if (fuzz::Rejected([&] {
        CbStreamReadBinaryFile stream(FilePath().c_str());
        s.Serialize(stream);
      })) {
    fuzz::Check(Image(s) == sBefore, "MatrixFileFuzz", "a rejected file changed the matrix (stream)");
  }
  std::remove(FilePath().c_str());
  return 0;
}
