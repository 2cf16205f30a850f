#include "qssse/raster/SSEMatrix.h"

#include "qssse/platform/MemoryLimit.h"

#include <algorithm>
#include <cfloat>
#include <cstring>
#include "qssse/platform/InvalidArgumentException.h"
#include <string>

#include "qssse/platform/AlignedMemory.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/vector/SSEFns.h"
#include "qssse/vector/SimdOps.h"

CSSEMatrix::CSSEMatrix() { init(); }

CSSEMatrix::CSSEMatrix(const CSSEMatrix& other) : CbReferenceCounted() {
  init();
  CopyFromSSEMatrix(other);
}

CSSEMatrix::CSSEMatrix(const DmField2D<float, 1>& field) {
  init();
  CopyFromField(field);
}

CSSEMatrix& CSSEMatrix::operator=(const CSSEMatrix& other) {
  if (this != &other) CopyFromSSEMatrix(other);
  return *this;
}

CSSEMatrix::~CSSEMatrix() { Free(); }

void CSSEMatrix::init() {
  sizeX = sizeY = sseSizeX = sseSizeY = 0;
  rowProcessed = 0;
  fieldCount = 0;
  std::fill(std::begin(fields), std::end(fields), nullptr);
  rows = nullptr;
}

std::size_t CSSEMatrix::FieldElements(int i) const {
  const int lines = (i < fieldCount - 1) ? kLinesPerField : sseSizeY - kLinesPerField * (fieldCount - 1);
  return static_cast<std::size_t>(lines) * static_cast<std::size_t>(sseSizeX);
}

void CSSEMatrix::Allocate(int newSizeX, int newSizeY) {
  if (newSizeX < 0 || newSizeY < 0 || newSizeY > kMaxSizeY) {
    AfxThrowInvalidArgumentException("CSSEMatrix: size " + std::to_string(newSizeX) + " x " +
                                std::to_string(newSizeY) + " is outside 0..2^31 x 0.." +
                                std::to_string(kMaxSizeY));
  }
  // The fields together against the ceiling: each might pass the system's overcommit alone and the
  // process would then be killed while zeroing them.
  qssse::CheckMemoryRequest(static_cast<std::uint64_t>(newSizeX),
                            static_cast<std::uint64_t>((newSizeY >> 2) + 1) * 16u,
                            static_cast<std::uint64_t>((newSizeY >> 2) + 1) * sizeof(__m128*), "a float matrix");
  Free();
  sizeX = newSizeX;
  sizeY = newSizeY;
  sseSizeX = newSizeX;
  sseSizeY = (newSizeY >> 2) + 1;
  const int count = (sseSizeY + kLinesPerField - 1) / kLinesPerField;
  rows = qssse::alignedAllocArray<__m128*>(static_cast<std::size_t>(sseSizeY));
  // Fields are counted as they are allocated, so a failure part way leaves a matrix Free can release.
  try {
    for (int f = 0; f < count; ++f) {
      fieldCount = f + 1;
      fields[f] = nullptr;
      const int lines = (f < count - 1) ? kLinesPerField : sseSizeY - kLinesPerField * (count - 1);
      const std::size_t elements = static_cast<std::size_t>(lines) * static_cast<std::size_t>(sseSizeX);
      // A 0-wide matrix still gets a (tiny) block, so every row pointer is a real address.
      fields[f] = qssse::alignedAllocArray<__m128>(std::max<std::size_t>(elements, 1));
      for (int k = 0; k < lines; ++k)
        rows[kLinesPerField * f + k] = fields[f] + static_cast<std::size_t>(k) * sseSizeX;
    }
  } catch (...) {
    Free();
    throw;
  }
}

void CSSEMatrix::Create(int newSizeX, int newSizeY) {
  Allocate(newSizeX, newSizeY);
  Clear();
}

void CSSEMatrix::CreateNoClear(int newSizeX, int newSizeY) { Allocate(newSizeX, newSizeY); }

void CSSEMatrix::CreateSimilar(const CSSEMatrix& other) { Create(other.sizeX, other.sizeY); }

void CSSEMatrix::Free() {
  for (int i = 0; i < kMaxFields; ++i) {
    if (fields[i] != nullptr) {
      qssse::alignedFree(fields[i]);
      fields[i] = nullptr;
    }
  }
  fieldCount = 0;
  if (rows != nullptr) {
    qssse::alignedFree(rows);
    rows = nullptr;
  }
}

void CSSEMatrix::Clear() {
  ForEachField(
      [](__m128* block, std::size_t n) { std::memset(static_cast<void*>(block), 0, n * sizeof(__m128)); });
}

void CSSEMatrix::Fill(float v) {
  const __m128 value = qssse::simd::splat(v);
  ForEachField([value](__m128* block, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) block[i] = value;
  });
}

void CSSEMatrix::CopyFromSSEMatrix(const CSSEMatrix& src) {
  if (src.rows == nullptr || &src == this) return;
  if (rows == nullptr || sizeX != src.sizeX || sizeY != src.sizeY) CreateNoClear(src.sizeX, src.sizeY);
  if (fieldCount == 1) {
    std::memcpy(static_cast<void*>(fields[0]), src.fields[0], FieldElements(0) * sizeof(__m128));
    return;
  }
  for (int g = 0; g < sseSizeY; ++g) {
    std::memcpy(static_cast<void*>(rows[g]), src.rows[g],
                static_cast<std::size_t>(sseSizeX) * sizeof(__m128));
  }
}

void CSSEMatrix::CopyFromMatrix(double** src, int newSizeX, int newSizeY) {
  Create(newSizeX, newSizeY);
  if (src == nullptr) return;
  for (int y = 0; y < sizeY; ++y) {
    if (src[y] == nullptr) continue;
    for (int x = 0; x < sizeX; ++x) *pixel(x, y) = static_cast<float>(src[y][x]);
  }
}

void CSSEMatrix::CopyFromField(const DmField2D<float, 1>& field) {
  Create(field.GetSizeX(), field.GetSizeY());
  for (int y = 0; y < sizeY; ++y) {
    for (int x = 0; x < sizeX; ++x) *pixel(x, y) = field(x, y);
  }
}

namespace {

// The centred window of src over dst: dst(x, y) = combine(dst(x, y), src(x - (dst.sizeX >> 1) +
// (src.sizeX >> 1), y - likewise)), src read clamped. Nothing when src cannot hold the window.
template <class Combine>
void CopyCentered(CSSEMatrix& dst, const CSSEMatrix& src, Combine combine) {
  const int w = dst.GetSizeX(), h = dst.GetSizeY();
  if (src.GetSizeX() < w || src.GetSizeY() < h || h < 1 || !dst.HasPixels()) return;
  const int dx = (src.GetSizeX() >> 1) - (w >> 1), dy = (src.GetSizeY() >> 1) - (h >> 1);
  __m128** rows = dst.GetMatrixDataDirectly();
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      float* p = qssse::raster::PixelAddress(rows, x, y);
      *p = combine(*p, src.GetPoint(x + dx, y + dy));
    }
  }
}

}  // namespace

void CSSEMatrix::CopyFromSSEMatrixCentered(const CSSEMatrix& src) {
  Clear();
  CopyCentered(*this, src, [](float, float w) { return w; });
}

// Only a strictly larger (smaller) window value replaces the pixel: a NaN on either side keeps it.
void CSSEMatrix::CopyFromSSEMatrixCenteredMaximum(const CSSEMatrix& src) {
  CopyCentered(*this, src, [](float p, float w) { return w > p ? w : p; });
}

void CSSEMatrix::CopyFromSSEMatrixCenteredMinimum(const CSSEMatrix& src) {
  CopyCentered(*this, src, [](float p, float w) { return w < p ? w : p; });
}

void CSSEMatrix::CalcMinMaxValues(float* maxOut, float* minOut) const {
  if (rows != nullptr && sseSizeY > 2 && sseSizeX > 6) {
    using namespace qssse::simd;
    // The accumulator is the second operand, so a NaN pixel loses every comparison and is ignored, and of
    // equal values (+0 and -0) the earlier one stays. Four accumulator pairs, each over a quarter of the
    // rows in order, run side by side (fewer wait on their own latency); then each later quarter's result
    // joins the earlier ones as the first operand, which keeps the earlier of equal values: the same bits
    // as one pair over all rows. Four columns at a time are nested into one expression, so that the
    // two-operand SSE forms need no register copy of an accumulator per pixel.
    constexpr int kParts = 4;
    f4 mn[kParts], mx[kParts];
    for (int p = 0; p < kParts; ++p) {
      mn[p] = splat(1000000.0f);
      mx[p] = splat(-1000000.0f);
    }
    const int first = 1, end = sseSizeY - 1, part = (end - first) / kParts, x0 = 3, x1 = sseSizeX - 3;
    const auto scan4 = [&](const __m128* r, int x, int p) {
      mn[p] = min(r[x + 3], min(r[x + 2], min(r[x + 1], min(r[x], mn[p]))));
      mx[p] = max(r[x + 3], max(r[x + 2], max(r[x + 1], max(r[x], mx[p]))));
    };
    const auto scan1 = [&](const __m128* r, int x, int p) {
      mn[p] = min(r[x], mn[p]);
      mx[p] = max(r[x], mx[p]);
    };
    for (int k = 0; k < part; ++k) {
      const __m128 *r0 = rows[first + k], *r1 = rows[first + part + k], *r2 = rows[first + 2 * part + k],
                   *r3 = rows[first + 3 * part + k];
      int x = x0;
      for (; x + 4 <= x1; x += 4) {
        scan4(r0, x, 0);
        scan4(r1, x, 1);
        scan4(r2, x, 2);
        scan4(r3, x, 3);
      }
      for (; x < x1; ++x) {
        scan1(r0, x, 0);
        scan1(r1, x, 1);
        scan1(r2, x, 2);
        scan1(r3, x, 3);
      }
    }
    for (int g = first + kParts * part; g < end; ++g) {
      for (int x = x0; x < x1; ++x) scan1(rows[g], x, kParts - 1);
    }
    f4 allMin = mn[0], allMax = mx[0];
    for (int p = 1; p < kParts; ++p) {
      allMin = min(mn[p], allMin);
      allMax = max(mx[p], allMax);
    }
    CSSEFns::min_of_m128(allMin, minOut);
    CSSEFns::max_of_m128(allMax, maxOut);
    return;
  }
  if (!HasPixels()) {
    // Inverted on purpose: an empty matrix never looks like a valid range.
    *minOut = -FLT_MAX;
    *maxOut = FLT_MAX;
    return;
  }
  float mn = FLT_MAX, mx = -FLT_MAX;
  for (int y = 0; y < sizeY; ++y) {
    for (int x = 0; x < sizeX; ++x) {
      const float v = *pixel(x, y);
      if (v < mn) mn = v;
      if (v > mx) mx = v;
    }
  }
  *minOut = mn;
  *maxOut = mx;
}
