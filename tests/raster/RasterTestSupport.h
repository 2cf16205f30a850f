#pragma once
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <type_traits>
#include <utility>
#include <vector>

#include "qssse/platform/Archive.h"
#include "qssse/platform/MemFile.h"
#include "qssse/raster/SSEMatrix.h"

// Helpers shared by the raster suite.
namespace rastertest {

// Bit-for-bit equality of two matrices, every element of every SIMD row (padding included).
inline ::testing::AssertionResult SameBits(const CSSEMatrix& a, const CSSEMatrix& b) {
  if (a.GetSizeX() != b.GetSizeX() || a.GetSizeY() != b.GetSizeY())
    return ::testing::AssertionFailure() << "sizes " << a.GetSizeX() << "x" << a.GetSizeY() << " vs "
                                         << b.GetSizeX() << "x" << b.GetSizeY();
  for (int g = 0; g < a.GetSSESizeY(); ++g) {
    for (int x = 0; x < a.GetSSESizeX(); ++x) {
      if (std::memcmp(&a.GetMatrixDataDirectly()[g][x], &b.GetMatrixDataDirectly()[g][x], 16) != 0)
        return ::testing::AssertionFailure() << "differs at column " << x << ", rows " << 4 * g << "..";
    }
  }
  return ::testing::AssertionSuccess();
}

// Pixel-wise bit equality over the real pixels only (padding ignored); anyNaN lets two NaNs of different
// payloads pass (which NaN a sum of two NaNs returns is the compiler's choice).
inline ::testing::AssertionResult SamePixels(const CSSEMatrix& a, const CSSEMatrix& b, bool anyNaN = false) {
  if (a.GetSizeX() != b.GetSizeX() || a.GetSizeY() != b.GetSizeY())
    return ::testing::AssertionFailure() << "sizes " << a.GetSizeX() << "x" << a.GetSizeY() << " vs "
                                         << b.GetSizeX() << "x" << b.GetSizeY();
  for (int y = 0; y < a.GetSizeY(); ++y) {
    for (int x = 0; x < a.GetSizeX(); ++x) {
      const float u = a.GetPoint(x, y), v = b.GetPoint(x, y);
      if ((anyNaN && u != u && v != v) || std::memcmp(&u, &v, 4) == 0) continue;
      return ::testing::AssertionFailure() << "differs at " << x << "," << y << ": " << u << " vs " << v;
    }
  }
  return ::testing::AssertionSuccess();
}

// Lane l of element x of SIMD row g: pixel (x, 4g + l), padding rows included.
inline float& Lane(CSSEMatrix& m, int x, int g, int l) {
  return reinterpret_cast<float*>(&m.GetMatrixDataDirectly()[g][x])[l];
}
inline float Lane(const CSSEMatrix& m, int x, int g, int l) {
  return reinterpret_cast<const float*>(&m.GetMatrixDataDirectly()[g][x])[l];
}

// Every lane of every element, padding rows included, set in storage order (SIMD rows, columns, lanes)
// to value(x, g, l) or to value() (a generator).
template <class F>
CSSEMatrix& SetLanes(CSSEMatrix& m, F value) {
  for (int g = 0; g < m.GetSSESizeY(); ++g) {
    for (int x = 0; x < m.GetSSESizeX(); ++x) {
      for (int l = 0; l < 4; ++l) {
        if constexpr (std::is_invocable_v<F>) {
          Lane(m, x, g, l) = value();
        } else {
          Lane(m, x, g, l) = value(x, g, l);
        }
      }
    }
  }
  return m;
}

// What Serialize writes into an archive, and an object read back from such bytes.
template <class T>
std::vector<unsigned char> ArchiveBytes(T& object) {
  CMemFile file;
  {
    CArchive ar(&file, CArchive::store);
    object.Serialize(ar);
  }
  return file.GetBytes();
}
template <class T>
void LoadArchive(T& object, std::vector<unsigned char> bytes) {
  CMemFile file(std::move(bytes));
  CArchive ar(&file, CArchive::load);
  object.Serialize(ar);
}

// A sx x sy matrix of zeros, or of v everywhere, padding included.
inline CSSEMatrix Blank(int sx, int sy) {
  CSSEMatrix m;
  m.Create(sx, sy);
  return m;
}
inline CSSEMatrix Blank(int sx, int sy, float v) {
  CSSEMatrix m = Blank(sx, sy);
  m.Fill(v);
  return m;
}

// Every real pixel set, rows outer and columns inner, to value(x, y) or to value() (a generator).
template <class F>
CSSEMatrix& SetPixels(CSSEMatrix& m, F value) {
  for (int y = 0; y < m.GetSizeY(); ++y) {
    for (int x = 0; x < m.GetSizeX(); ++x) {
      if constexpr (std::is_invocable_v<F>) {
        m.SetPoint(x, y, value());
      } else {
        m.SetPoint(x, y, value(x, y));
      }
    }
  }
  return m;
}

// Every pixel (x, y) = rowStep * y + x: a value that tells where it came from.
inline CSSEMatrix Ramp(int sx, int sy, int rowStep = 100) {
  CSSEMatrix m = Blank(sx, sy);
  return SetPixels(m, [rowStep](int x, int y) { return static_cast<float>(rowStep * y + x); });
}

// sx x sy pixels drawn from values; the padding lanes hold `padding`, so that a kernel touching them shows.
inline CSSEMatrix RandomFrom(std::mt19937& rng, int sx, int sy, const std::vector<float>& values, float padding = 0.0f) {
  CSSEMatrix m = Blank(sx, sy, padding);
  return SetPixels(m, [&] { return values[rng() % values.size()]; });
}

// The bits of a float, so that NaN compares equal to itself and -0 differs from +0.
inline std::uint32_t Bits(float v) {
  std::uint32_t b;
  std::memcpy(&b, &v, 4);
  return b;
}

// A sx x sy matrix of values `levels` apart ((rng() % levels) * step + offset): few levels give ties.
inline CSSEMatrix RandomMatrix(std::mt19937& rng, int sx, int sy, int levels, float step, float offset) {
  CSSEMatrix m = Blank(sx, sy);
  return SetPixels(m, [&] { return static_cast<float>(rng() % levels) * step + offset; });
}

// Pixel rows y = 0, 1, ... as vectors: hand-written inputs and expected results.
using Rows = std::vector<std::vector<float>>;

inline CSSEMatrix FromRows(const Rows& rows) {
  CSSEMatrix m = Blank(static_cast<int>(rows[0].size()), static_cast<int>(rows.size()));
  return SetPixels(m, [&](int x, int y) { return rows[y][x]; });
}

inline Rows ToRows(const CSSEMatrix& m) {
  Rows rows(m.GetSizeY(), std::vector<float>(m.GetSizeX()));
  for (int y = 0; y < m.GetSizeY(); ++y)
    for (int x = 0; x < m.GetSizeX(); ++x) rows[y][x] = m.GetPoint(x, y);
  return rows;
}

}  // namespace rastertest
