#include "qssse/raster/SSEcharMatrix.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include "qssse/platform/InvalidArgumentException.h"
#include <string>

#include "qssse/platform/AlignedMemory.h"
#include "qssse/platform/Archive.h"
#include "qssse/platform/ArchiveException.h"
#include "qssse/platform/File.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/platform/MemoryLimit.h"
#include "qssse/raster/AlignedBuffer.h"
#include "qssse/raster/SSEMatrix.h"

CSSEcharMatrix::CSSEcharMatrix() { init(); }

CSSEcharMatrix::CSSEcharMatrix(int newSizeX, int newSizeY) {
  init();
  Create(newSizeX, newSizeY);
}

CSSEcharMatrix::CSSEcharMatrix(const CSSEcharMatrix& other) {
  init();
  CopyFromOtherMatrix(other);
}

CSSEcharMatrix::CSSEcharMatrix(const CSSEcharMatrix& other, int x0, int x1) {
  init();
  CopyFromOtherMatrixLimitedX(other, x0, x1);
}

CSSEcharMatrix& CSSEcharMatrix::operator=(const CSSEcharMatrix& other) {
  if (this != &other) CopyFromOtherMatrix(other);
  return *this;
}

CSSEcharMatrix::~CSSEcharMatrix() { Free(); }

void CSSEcharMatrix::init() {
  rows = nullptr;
  std::fill(std::begin(fields), std::end(fields), nullptr);
  sizeX = sizeY = sseSizeX = sseSizeY = 0;
  fieldCount = 0;
  lastCorrelationError = 0;
}

void CSSEcharMatrix::Create(int newSizeX, int newSizeY) {
  if (newSizeX < 0 || newSizeY < 0 || newSizeY > kMaxSizeY) {
    AfxThrowInvalidArgumentException("CSSEcharMatrix: size " + std::to_string(newSizeX) + " x " +
                                std::to_string(newSizeY) + " is outside 0..2^31 x 0.." +
                                std::to_string(kMaxSizeY));
  }
  // The real storage, 16 bytes per column for every group of 16 rows (a 0-high matrix has one group),
  // against the ceiling as a whole: the fields might each pass the system's overcommit alone.
  qssse::CheckMemoryRequest(static_cast<std::uint64_t>(newSizeX),
                            static_cast<std::uint64_t>((newSizeY >> 4) + 1) * 16u,
                            static_cast<std::uint64_t>((newSizeY >> 4) + 1) * sizeof(__m128i*), "a byte matrix");
  Free();
  sizeX = sseSizeX = newSizeX;
  sizeY = newSizeY;
  sseSizeY = (newSizeY >> 4) + 1;
  const int count = (sseSizeY + kLinesPerField - 1) / kLinesPerField;
  rows = qssse::alignedAllocArray<__m128i*>(static_cast<std::size_t>(sseSizeY));
  try {
    for (int f = 0; f < count; ++f) {
      const int lines = (f < count - 1) ? kLinesPerField : sseSizeY - kLinesPerField * (count - 1);
      const std::size_t elements = static_cast<std::size_t>(lines) * static_cast<std::size_t>(sseSizeX);
      // A 0-wide matrix still gets a (tiny) block, so every row pointer is a real address.
      fields[f] = qssse::alignedAllocArrayZeroed<__m128i>(std::max<std::size_t>(elements, 1));
      fieldCount = f + 1;
      for (int k = 0; k < lines; ++k)
        rows[kLinesPerField * f + k] = fields[f] + static_cast<std::size_t>(k) * sseSizeX;
    }
  } catch (...) {
    Free();
    throw;
  }
}

void CSSEcharMatrix::Free() {
  for (int i = 0; i < kMaxFields; ++i) {
    if (fields[i] != nullptr) {
      qssse::alignedFree(fields[i]);
      fields[i] = nullptr;
    }
  }
  fieldCount = 0;
  qssse::alignedFree(rows);
  rows = nullptr;
}

void CSSEcharMatrix::Clear(int value) {
  if (rows == nullptr) return;
  const __m128i v = _mm_set1_epi8(static_cast<char>(value & 0xFF));
  for (int g = 0; g < sseSizeY; ++g) std::fill(rows[g], rows[g] + sseSizeX, v);
}

void CSSEcharMatrix::ClearRow(int y, unsigned char value) {
  if (!HasPixels()) return;
  y = std::clamp(y, 0, sizeY - 1);
  for (int x = 0; x < sizeX; ++x) *pixel(x, y) = static_cast<char>(value);
}

char CSSEcharMatrix::GetPoint(int x, int y) const {
  if (!HasPixels()) return 0;
  x = x < 0 ? 0 : x;
  x = x > sizeX - 1 ? sizeX - 1 : x;
  y = y < 0 ? 0 : y;
  y = y > sizeY - 1 ? sizeY - 1 : y;
  return *pixel(x, y);
}

void CSSEcharMatrix::SetPoint(int x, int y, char value) {
  if (!HasPixels()) return;
  x = x < 0 ? 0 : x;
  x = x > sizeX - 1 ? sizeX - 1 : x;
  y = y < 0 ? 0 : y;
  y = y > sizeY - 1 ? sizeY - 1 : y;
  *pixel(x, y) = value;
}

void CSSEcharMatrix::CreateSimilar(const CSSEcharMatrix& other) { Create(other.sizeX, other.sizeY); }

void CSSEcharMatrix::CreateSimilar(const CSSEMatrix& other) { Create(other.GetSizeX(), other.GetSizeY()); }

void CSSEcharMatrix::CopyFromOtherMatrix(const CSSEcharMatrix& src) {
  if (&src == this) return;
  Create(src.sizeX, src.sizeY);
  if (src.rows == nullptr) return;
  for (int g = 0; g < sseSizeY; ++g) {
    std::memcpy(static_cast<void*>(rows[g]), src.rows[g],
                static_cast<std::size_t>(sseSizeX) * sizeof(__m128i));
  }
}

void CSSEcharMatrix::CopyFromOtherMatrixLimitedX(const CSSEcharMatrix& src, int x0, int x1) {
  if (&src == this) {
    const CSSEcharMatrix copy(src);
    CopyFromOtherMatrixLimitedX(copy, x0, x1);
    return;
  }
  x0 = std::max(std::min(x0, src.sizeX - 1), 0);
  x1 = std::max(std::min(x1, src.sizeX - 1), 0);
  if (src.sizeY < 1) return;
  Create(std::max(x1 - x0 + 1, 0), src.sizeY);
  if (x0 > x1 || !src.HasPixels()) return;
  for (int g = 0; g < sseSizeY; ++g) {
    std::memcpy(static_cast<void*>(rows[g]), src.rows[g] + x0,
                static_cast<std::size_t>(sseSizeX) * sizeof(__m128i));
  }
}

// Sixteen pixel rows at once: the four float elements of one column that cover a byte element are
// compared and their lane masks packed (32 -> 16 -> 8 bits, order kept) into one byte mask.
template <bool kAbove>
void CSSEcharMatrix::Threshold(const CSSEMatrix& src, float threshold, char value) {
  Create(src.GetSizeX(), src.GetSizeY());
  if (!src.HasPixels()) return;
  const __m128 t = _mm_set1_ps(threshold);
  const __m128i v = _mm_set1_epi8(value);
  __m128** srcRows = src.GetMatrixDataDirectly();
  const int srcBands = src.GetSSESizeY();
  for (int g = 0; g < sseSizeY; ++g) {
    alignas(16) std::int8_t valid[16];
    for (int l = 0; l < 16; ++l) valid[l] = (16 * g + l < sizeY) ? -1 : 0;
    const __m128i rowMask = _mm_and_si128(_mm_load_si128(reinterpret_cast<const __m128i*>(valid)), v);
    const __m128* band[4];
    for (int k = 0; k < 4; ++k) band[k] = 4 * g + k < srcBands ? srcRows[4 * g + k] : nullptr;
    for (int x = 0; x < sseSizeX; ++x) {
      __m128i m[4];
      for (int k = 0; k < 4; ++k) {
        const __m128 p = band[k] ? band[k][x] : _mm_setzero_ps();
        const __m128 c = kAbove ? _mm_cmpgt_ps(p, t) : _mm_cmplt_ps(p, t);
        m[k] = band[k] ? _mm_castps_si128(c) : _mm_setzero_si128();
      }
      const __m128i packed = _mm_packs_epi16(_mm_packs_epi32(m[0], m[1]), _mm_packs_epi32(m[2], m[3]));
      rows[g][x] = _mm_and_si128(packed, rowMask);
    }
  }
}

void CSSEcharMatrix::CopyAndTresholdAbove(const CSSEMatrix& src, float threshold, char value) {
  Threshold<true>(src, threshold, value);
}

void CSSEcharMatrix::CopyAndTresholdBelow(const CSSEMatrix& src, float threshold, char value) {
  Threshold<false>(src, threshold, value);
}

void CSSEcharMatrix::Serialize(CArchive& ar) {
  if (ar.IsStoring()) {
    ar << static_cast<std::int32_t>(sizeX) << static_cast<std::int32_t>(sizeY);
    if (sizeX <= 0 || sizeY <= 0) return;
    qssse::AlignedBuffer<char> line(static_cast<std::size_t>(sizeX));
    for (int y = 0; y < sizeY; ++y) {
      // A freed matrix keeps its sizes; its pixels are written as 0 so the file stays readable.
      for (int x = 0; x < sizeX; ++x) line[x] = rows != nullptr ? *pixel(x, y) : 0;
      ar.Write(line.get(), static_cast<unsigned>(sizeX));
    }
    return;
  }
  std::int32_t newSizeX = 0, newSizeY = 0;
  ar >> newSizeX >> newSizeY;
  const CString file = ar.GetFile() != nullptr ? ar.GetFile()->GetFilePath() : CString();
  if (newSizeX < 0 || newSizeY < 0 || newSizeY > kMaxSizeY)
    throw CArchiveException(CArchiveException::badIndex, file);
  // A header announcing more bytes than are left is rejected before anything is freed or allocated.
  const std::uint64_t bytes = static_cast<std::uint64_t>(newSizeX) * static_cast<std::uint64_t>(newSizeY);
  if (bytes > ar.GetBytesRemaining()) {
    throw CArchiveException(CArchiveException::endOfFile, file);
  }
  // The storage is 16 bytes per column for every group of 16 rows, up to 16 times the pixels a file
  // holds and unbounded for a matrix 0 rows high: a header asking for more than 16 bytes per byte read
  // (plus 16 MiB, room for any empty matrix of up to a million columns) is corrupt, whatever the ceiling.
  const std::uint64_t storage =
      static_cast<std::uint64_t>(newSizeX) * static_cast<std::uint64_t>((newSizeY >> 4) + 1) * 16u;
  if (storage > 16u * bytes + (std::uint64_t{16} << 20)) {
    throw CArchiveException(CArchiveException::badIndex, file);
  }
  // Read into a temporary and taken over only when complete: a failure (the ceiling, a short file)
  // leaves the matrix as it was.
  CSSEcharMatrix loaded(newSizeX, newSizeY);
  if (bytes > 0) {
    qssse::AlignedBuffer<char> line(static_cast<std::size_t>(newSizeX));
    for (int y = 0; y < newSizeY; ++y) {
      if (ar.Read(line.get(), static_cast<unsigned>(newSizeX)) != static_cast<unsigned>(newSizeX)) {
        throw CArchiveException(CArchiveException::endOfFile, file);
      }
      for (int x = 0; x < newSizeX; ++x) *loaded.pixel(x, y) = line[x];
    }
  }
  std::swap(rows, loaded.rows);
  std::swap(fields, loaded.fields);
  std::swap(sizeX, loaded.sizeX);
  std::swap(sizeY, loaded.sizeY);
  std::swap(sseSizeX, loaded.sseSizeX);
  std::swap(sseSizeY, loaded.sseSizeY);
  std::swap(fieldCount, loaded.fieldCount);
}
