// Fuzzed rasters through both resamplers to fuzzed sizes: the SIMD one must equal the plain one bit for
// bit on every pixel (a NaN where the plain one has a NaN, whatever its payload: compilers may swap the
// operands of a sum, and the processor passes on the first operand's NaN), and a size past the memory ceiling must throw before anything is
// allocated, leaving the matrix as it was.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "FuzzInput.h"
#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/platform/MemoryLimit.h"
#include "qssse/raster/SSEMatrix.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qssse::SetMemoryLimit(std::uint64_t{64} << 20);
  fuzz::Input in(data, size);
  const int w = in.Int(0, 24), h = in.Int(0, 24);
  // Now and then a size far past the ceiling (at least 8e7 pixels against 64 MiB), which both must
  // refuse before any work; otherwise sizes whose work (proportional to the result) stays small.
  const bool huge = in.Byte() >= 250;
  const int nx = huge ? 20000 + static_cast<int>(in.Bits32() % (1u << 30)) : in.Int(-2, 130);
  const int ny = huge ? 4000 + static_cast<int>(in.Bits32() % 28000u) : in.Int(-2, 130);
  CSSEMatrix plain;
  plain.Create(w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) plain.SetPoint(x, y, in.Coordinate(0.5f));
  CSSEMatrix simd(plain);
  bool plainThrew = false, simdThrew = false;
  try {
    plain.ScaleMatrix(nx, ny);
  } catch (const CMemoryException&) {
    plainThrew = true;
  } catch (const CInvalidArgumentException&) {
    plainThrew = true;
  }
  try {
    simd.ScaleMatrix_SSE(nx, ny);
  } catch (const CMemoryException&) {
    simdThrew = true;
  } catch (const CInvalidArgumentException&) {
    simdThrew = true;
  }
  fuzz::Check(plainThrew == simdThrew, "ScaleFuzz", "one resampler refused a size the other took");
  if (huge && w > 0 && h > 0) {
    fuzz::Check(plainThrew && plain.GetSizeX() == w && plain.GetSizeY() == h, "ScaleFuzz",
                "a size past the ceiling was not refused with the matrix unchanged");
  }
  fuzz::Check(plain.GetSizeX() == simd.GetSizeX() && plain.GetSizeY() == simd.GetSizeY(), "ScaleFuzz",
              "the resamplers gave different sizes");
  for (int y = 0; y < plain.GetSizeY(); ++y)
    for (int x = 0; x < plain.GetSizeX(); ++x) {
      const float a = plain.GetPoint(x, y), b = simd.GetPoint(x, y);
      const bool same = std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b));
      fuzz::Check(same, "ScaleFuzz", "the SIMD resampler differs from the plain one");
    }
  return 0;
}
