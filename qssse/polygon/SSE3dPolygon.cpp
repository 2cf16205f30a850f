// CSSE3dPolygon: storage, copies, construction from curves and pixel chains, box, centre, ring edits.
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/platform/ScratchVector.h"

#include <cfloat>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include "qssse/platform/AlignedMemory.h"
#include "qssse/platform/DmHermiteSpline.h"
#include "qssse/platform/DmPolyLineOld.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/raster/PixelChain.h"
#include "qssse/vector/SSEFns.h"
#include "qssse/vector/SimdOps.h"

namespace {

constexpr int kStoredPoints = 5;

// Capacity in floats of an array of n points: whole blocks of four.
std::size_t Capacity(int n) { return (static_cast<std::size_t>(n) + 3) & ~static_cast<std::size_t>(3); }

SSEPoint* AllocStored() { return qssse::alignedAllocArrayZeroed<SSEPoint>(kStoredPoints); }

}  // namespace

// ---- construction, copying, storage ----

CSSE3dPolygon::CSSE3dPolygon() : m_stored(AllocStored()) {}

// The other constructors delegate to the default one, so the destructor releases the stored points
// and any arrays when their bodies throw.
CSSE3dPolygon::CSSE3dPolygon(const CSSE3dPolygon& other) : CSSE3dPolygon() {
  std::memcpy(static_cast<void*>(m_stored), other.m_stored, kStoredPoints * sizeof(SSEPoint));
  Create(other.m_count);
  const std::size_t bytes = Capacity(m_count) * sizeof(float);
  if (m_count > 0) {
    std::memcpy(m_x, other.m_x, bytes);
    std::memcpy(m_y, other.m_y, bytes);
    std::memcpy(m_z, other.m_z, bytes);
    std::memcpy(m_nx, other.m_nx, bytes);
    std::memcpy(m_ny, other.m_ny, bytes);
    std::memcpy(m_nz, other.m_nz, bytes);
  }
}

CSSE3dPolygon& CSSE3dPolygon::operator=(const CSSE3dPolygon& other) {
  if (this == &other) return *this;
  CSSE3dPolygon copy(other);
  Free();
  TakeOver(copy);
  m_boxCalculated = false;
  return *this;
}

CSSE3dPolygon::~CSSE3dPolygon() {
  Free();
  qssse::alignedFree(m_stored);
}

CSSE3dPolygon::CSSE3dPolygon(CPixelChain& chain, int step) : CSSE3dPolygon() {
  const int pixels = chain.GetCount();
  if (pixels < 1) return;
  const t_chainpixel* px = chain.GetPixels();
  if (step > 1) {
    const int m = pixels / step;
    if (m < 1) return;
    Create(m);
    for (int j = 0; j < m; ++j) {
      const t_chainpixel& p = px[static_cast<std::size_t>(j) * static_cast<std::size_t>(step)];
      SetPoint(j, static_cast<float>(p.x), static_cast<float>(p.y), 0.0f);
    }
    return;
  }
  Create(pixels);
  for (int j = 0; j < pixels; ++j)
    SetPoint(j, static_cast<float>(px[j].x), static_cast<float>(px[j].y), 0.0f);
}

CSSE3dPolygon::CSSE3dPolygon(const DmPolyLineOld* line, float step, bool reparametrize, bool orient)
    : CSSE3dPolygon() {
  CreateFromPolyLine(line, step, reparametrize, orient);
}

CSSE3dPolygon::CSSE3dPolygon(DmHermiteSpline* spline, float step, bool reparametrize, bool orient)
    : CSSE3dPolygon() {
  if (spline == nullptr) return;
  spline->SubdivideByLength(step);
  DmPolyLineOld* sub = spline->GetSubdivision();
  try {
    CreateFromPolyLine(sub, step, reparametrize, orient);
  } catch (...) {
    sub->Release();
    throw;
  }
  sub->Release();
}

void CSSE3dPolygon::Create(int n) {
  Free();
  // Cleared even when nothing is allocated: Free leaves an empty polygon's flag alone, Create never does.
  m_boxCalculated = false;
  if (n <= 0) return;
  const std::size_t cap = Capacity(n);
  float** arrays[] = {&m_x, &m_y, &m_z, &m_nx, &m_ny, &m_nz};
  try {
    for (float** a : arrays) {
      *a = qssse::alignedAllocArray<float>(cap);
      // Zero padding keeps whole-block kernels and stored files free of stale bits.
      std::memset(*a + cap - 4, 0, 4 * sizeof(float));
    }
  } catch (...) {
    for (float** a : arrays) {
      qssse::alignedFree(*a);
      *a = nullptr;
    }
    throw;
  }
  m_count = n;
}

void CSSE3dPolygon::Free() {
  if (m_count <= 0) return;
  for (float** a : {&m_x, &m_y, &m_z, &m_nx, &m_ny, &m_nz}) {
    qssse::alignedFree(*a);
    *a = nullptr;
  }
  m_count = 0;
  m_boxCalculated = false;
}

void CSSE3dPolygon::CreateSimilar(const CSSE3dPolygon* src) {
  if (src == nullptr || src == this) return;
  Create(src->m_count);
  if (m_count > 0) {
    const std::size_t bytes = Capacity(m_count) * sizeof(float);
    std::memcpy(m_x, src->m_x, bytes);
    std::memcpy(m_y, src->m_y, bytes);
    std::memcpy(m_z, src->m_z, bytes);
  }
  std::memcpy(static_cast<void*>(m_stored), src->m_stored, kStoredPoints * sizeof(SSEPoint));
  m_boxCalculated = src->m_boxCalculated;
}

void CSSE3dPolygon::ZeroStored() {
  std::memset(static_cast<void*>(m_stored), 0, kStoredPoints * sizeof(SSEPoint));
}

void CSSE3dPolygon::TakeOver(CSSE3dPolygon& src) {
  Free();
  std::swap(m_x, src.m_x);
  std::swap(m_y, src.m_y);
  std::swap(m_z, src.m_z);
  std::swap(m_nx, src.m_nx);
  std::swap(m_ny, src.m_ny);
  std::swap(m_nz, src.m_nz);
  std::swap(m_count, src.m_count);
  std::memcpy(static_cast<void*>(m_stored), src.m_stored, kStoredPoints * sizeof(SSEPoint));
  m_boxCalculated = src.m_boxCalculated;
  src.m_boxCalculated = false;
}

// ---- base-library curves ----

bool CSSE3dPolygon::IsPolyLineValid(const DmPolyLineOld* line) const {
  if (line == nullptr || line->GetNumVertices() < 2) return true;
  const CbVector3f d = line->GetPosition(line->GetVertexHead()) - line->GetPosition(line->GetVertexTail());
  return d.x * d.x + d.y * d.y + d.z * d.z > FLT_EPSILON;
}

void CSSE3dPolygon::CreateFromPolyLine(const DmPolyLineOld* line, float step, bool reparametrize,
                                       bool orient) {
  Free();
  ZeroStored();
  m_boxCalculated = false;
  if (line == nullptr) return;
  const int vertices = line->GetNumVertices();
  const int n = IsPolyLineValid(line) ? vertices : vertices - 1;
  Create(n);
  const bool backwards = orient && line->IsOpen() == 0 && !(line->ComputeArea(CbVector3f(0, 0, 1)) > 0.0f);
  DmPolyVertexOld v = backwards ? line->GetVertexTail() : line->GetVertexHead();
  for (int i = 0; i < n; ++i) {
    const CbVector3f p = line->GetPosition(v);
    SetPoint(i, p.x, p.y, p.z);
    v = backwards ? line->GetVertexBefore(v) : line->GetVertexAfter(v);
  }
  if (reparametrize) ReParametrize(step);
}

DmPolyLineOld* CSSE3dPolygon::ConvertToPolyLine() const {
  auto* line = new DmPolyLineOld();
  for (int i = 0; i < m_count; ++i) line->AppendVertexTail(CbVector3f(m_x[i], m_y[i], m_z[i]));
  line->SetClosed(true);
  return line;
}

// ---- whole-coordinate writes ----

void CSSE3dPolygon::SetAllXValues(float v) {
  for (int i = 0; i < m_count; ++i) m_x[i] = v;
  m_boxCalculated = false;
}
void CSSE3dPolygon::SetAllYValues(float v) {
  for (int i = 0; i < m_count; ++i) m_y[i] = v;
  m_boxCalculated = false;
}
void CSSE3dPolygon::SetAllZValues(float v) {
  for (int i = 0; i < m_count; ++i) m_z[i] = v;
  m_boxCalculated = false;
}
void CSSE3dPolygon::AddValueToAllXValues(float v) {
  for (int i = 0; i < m_count; ++i) m_x[i] += v;
  m_boxCalculated = false;
}
void CSSE3dPolygon::AddValueToAllYValues(float v) {
  for (int i = 0; i < m_count; ++i) m_y[i] += v;
  m_boxCalculated = false;
}

void CSSE3dPolygon::NormalizeXYZ(const t_resolutiondata& r) {
  using namespace qssse::simd;
  if (m_count <= 0) return;
  const std::size_t cap = Capacity(m_count);
  const f4 fx = splat(r.resX), fy = splat(r.resY), fz = splat(r.resZ);
  for (std::size_t b = 0; b < cap; b += 4) {
    store(m_nx + b, mul(load(m_x + b), fx));
    store(m_ny + b, mul(load(m_y + b), fy));
    store(m_nz + b, mul(load(m_z + b), fz));
  }
}

// ---- lengths, box and centre ----

float CSSE3dPolygon::CalcCircumference() const {
  float sum = 0.0f;
  SSEPoint a, b;
  for (int i = 0; i < m_count; ++i) {
    GetPointSSE(i, a);
    GetPointSSE(i + 1 < m_count ? i + 1 : 0, b);
    sum += CSSEFns::euclideandistance(b.m, a.m);
  }
  return sum;
}

float CSSE3dPolygon::CalcCircumferenceOpen() const {
  float sum = 0.0f;
  SSEPoint a, b;
  for (int i = 0; i + 1 < m_count; ++i) {
    GetPointSSE(i, a);
    GetPointSSE(i + 1, b);
    sum += CSSEFns::euclideandistance(b.m, a.m);
  }
  return sum;
}

void CSSE3dPolygon::CalcBoundingBox() {
  using namespace qssse::simd;
  // Four lanes per axis run over whole blocks. The new value is the first operand of min and max, so
  // a NaN coordinate loses against the running value.
  f4 maxX = splat(-1000000.0f), maxY = maxX, maxZ = maxX;
  f4 minX = splat(1000000.0f), minY = minX, minZ = minX;
  auto fold = [&](f4 x, f4 y, f4 z) {
    maxX = max(x, maxX);
    maxY = max(y, maxY);
    maxZ = max(z, maxZ);
    minX = min(x, minX);
    minY = min(y, minY);
    minZ = min(z, minZ);
  };
  const int whole = m_count & ~3;
  int b = 0;
  if (whole >= 8) {
    // A second set of accumulators halves the dependency chains; min and max do not care about order.
    f4 maxX2 = maxX, maxY2 = maxY, maxZ2 = maxZ, minX2 = minX, minY2 = minY, minZ2 = minZ;
    for (; b + 8 <= whole; b += 8) {
      fold(load(m_x + b), load(m_y + b), load(m_z + b));
      const f4 x = load(m_x + b + 4), y = load(m_y + b + 4), z = load(m_z + b + 4);
      maxX2 = max(x, maxX2);
      maxY2 = max(y, maxY2);
      maxZ2 = max(z, maxZ2);
      minX2 = min(x, minX2);
      minY2 = min(y, minY2);
      minZ2 = min(z, minZ2);
    }
    maxX = max(maxX2, maxX);
    maxY = max(maxY2, maxY);
    maxZ = max(maxZ2, maxZ);
    minX = min(minX2, minX);
    minY = min(minY2, minY);
    minZ = min(minZ2, minZ);
  }
  for (; b < whole; b += 4) fold(load(m_x + b), load(m_y + b), load(m_z + b));
  if (whole < m_count) {
    // The padding lanes of the last block are replaced by point 0 so they cannot widen the box.
    const int tail = m_count - whole;
    const f4 keep = firstLanes(tail);
    fold(select(keep, load(m_x + whole), splat(m_x[0])), select(keep, load(m_y + whole), splat(m_y[0])),
         select(keep, load(m_z + whole), splat(m_z[0])));
  }
  float hiX[4], hiY[4], hiZ[4], loX[4], loY[4], loZ[4];
  CSSEFns::max_of_m128(maxX, hiX);
  CSSEFns::max_of_m128(maxY, hiY);
  CSSEFns::max_of_m128(maxZ, hiZ);
  CSSEFns::min_of_m128(minX, loX);
  CSSEFns::min_of_m128(minY, loY);
  CSSEFns::min_of_m128(minZ, loZ);
  m_stored[kMax].m = lanes(hiX[0], hiY[0], hiZ[0], 0.0f);
  m_stored[kMin].m = lanes(loX[0], loY[0], loZ[0], 0.0f);
  m_stored[kMax2D].m = lanes(hiX[0], hiY[0], 0.0f, 0.0f);
  m_stored[kMin2D].m = lanes(loX[0], loY[0], 0.0f, 0.0f);
  m_boxCalculated = true;
}

void CSSE3dPolygon::GetBoundingBox2D(int& minX, int& minY, int& maxX, int& maxY) {
  float x0, y0, z0, x1, y1, z1;
  GetBoundingBox3D(x0, y0, z0, x1, y1, z1);
  minX = static_cast<int>(x0);
  minY = static_cast<int>(y0);
  maxX = static_cast<int>(x1);
  maxY = static_cast<int>(y1);
}

void CSSE3dPolygon::GetBoundingBox3D(float& minX, float& minY, float& minZ, float& maxX, float& maxY,
                                     float& maxZ) {
  if (!m_boxCalculated) CalcBoundingBox();
  const SSEPoint& a = m_stored[kMax];
  const SSEPoint& b = m_stored[kMin];
  minX = a.x < b.x ? a.x : b.x;
  minY = a.y < b.y ? a.y : b.y;
  minZ = a.z < b.z ? a.z : b.z;
  maxX = a.x > b.x ? a.x : b.x;
  maxY = a.y > b.y ? a.y : b.y;
  maxZ = a.z > b.z ? a.z : b.z;
}

void CSSE3dPolygon::CalcGeometricCenter() {
  using namespace qssse::simd;
  f4 c = zero();
  const f4 n = splat(static_cast<float>(m_count));
  SSEPoint p;
  for (int i = 0; i < m_count; ++i) {
    GetPointSSE(i, p);
    c = add(c, div(p.m, n));
  }
  m_stored[kCenter].m = c;
  m_stored[kCenter].w = 0.0f;
}

// ---- whole-polygon edits ----

void CSSE3dPolygon::AppendPoints(CSSE3dPolygon& other) {
  if (other.m_count <= 0) return;
  if (m_count <= 0) {
    CreateSimilar(&other);
    m_boxCalculated = false;
    return;
  }
  const std::int64_t total = static_cast<std::int64_t>(m_count) + other.m_count;
  if (total > INT32_MAX) AfxThrowMemoryException();  // no polygon can count that many points
  CSSE3dPolygon tmp;
  tmp.Create(static_cast<int>(total));
  std::memcpy(tmp.m_x, m_x, m_count * sizeof(float));
  std::memcpy(tmp.m_y, m_y, m_count * sizeof(float));
  std::memcpy(tmp.m_z, m_z, m_count * sizeof(float));
  std::memcpy(tmp.m_x + m_count, other.m_x, other.m_count * sizeof(float));
  std::memcpy(tmp.m_y + m_count, other.m_y, other.m_count * sizeof(float));
  std::memcpy(tmp.m_z + m_count, other.m_z, other.m_count * sizeof(float));
  TakeOver(tmp);
  m_boxCalculated = false;
}

void CSSE3dPolygon::AddPolygonPoints(CSSE3dPolygon& other, int from, int to) {
  const int n = other.m_count;
  if (n <= 0 || from < 0 || from >= n || to < 0 || to >= n) return;
  if (to < from) to += n;
  const int add = to - from + 1;
  if (static_cast<std::int64_t>(m_count) + add > INT32_MAX) AfxThrowMemoryException();
  CSSE3dPolygon tmp;
  tmp.Create(m_count + add);
  for (int i = 0; i < m_count; ++i) tmp.SetPoint(i, m_x[i], m_y[i], m_z[i]);
  for (int k = 0; k < add; ++k) {
    const int s = (from + k) % n;
    tmp.SetPoint(m_count + k, other.m_x[s], other.m_y[s], other.m_z[s]);
  }
  // Only the coordinates are taken over; this polygon's stored box and centre stay.
  std::swap(m_x, tmp.m_x);
  std::swap(m_y, tmp.m_y);
  std::swap(m_z, tmp.m_z);
  std::swap(m_nx, tmp.m_nx);
  std::swap(m_ny, tmp.m_ny);
  std::swap(m_nz, tmp.m_nz);
  std::swap(m_count, tmp.m_count);
  m_boxCalculated = false;
}

void CSSE3dPolygon::ChangeStartPoint(int k, int* indices) {
  if (m_count <= 0 || k < 0 || k >= m_count) return;
  const int n = m_count;
  std::vector<float> tmp = qssse::scratchVector<float>(static_cast<std::size_t>(n));
  for (float* a : {m_x, m_y, m_z}) {
    for (int i = 0; i < n; ++i) tmp[i] = a[(i + k) % n];
    std::memcpy(a, tmp.data(), n * sizeof(float));
  }
  if (indices != nullptr) {
    std::vector<int> rot = qssse::scratchVector<int>(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) rot[i] = indices[(i + k) % n];
    std::memcpy(indices, rot.data(), n * sizeof(int));
  }
  m_boxCalculated = false;
}

void CSSE3dPolygon::FindClosedStartPointAndChange(CSSE3dPolygon* other, int* indices) {
  // 1. the target: other's first point
  SSEPoint p0 = qssse::ZeroSSEPoint();
  if (other != nullptr) other->GetPointSSE(0, p0);
  if (m_count <= 0) return;
  // 2. a finely resampled copy, remembering where each of our points went
  CSSE3dPolygon fine(*this);
  std::vector<int> map = qssse::scratchVector<int>(static_cast<std::size_t>(m_count));
  fine.ReParametrize(0.2f, map.data());
  // 3. the resampled point nearest to the target
  int j = -1;
  float best = 1e7f;
  SSEPoint q;
  for (int i = 0; i < fine.m_count; ++i) {
    fine.GetPointSSE(i, q);
    const float d = CSSEFns::euclideandistance(q.m, p0.m);
    if (d < best) {
      best = d;
      j = i;
    }
  }
  // 4. the edge of our ring that contains it
  int a = -1, b = -1;
  for (int i = 0; i < m_count; ++i) {
    if (i < m_count - 1) {
      if (map[i] <= j && j <= map[i + 1]) {
        a = i;
        b = i + 1;
        break;
      }
    } else if (j >= map[i]) {
      a = i;
      b = 0;
    }
  }
  if (a < 0) return;
  // 5. the nearer end point; a tie goes to the second
  SSEPoint pa, pb;
  GetPointSSE(a, pa);
  GetPointSSE(b, pb);
  const float da = CSSEFns::euclideandistance(pa.m, p0.m);
  const float db = CSSEFns::euclideandistance(pb.m, p0.m);
  ChangeStartPoint(da < db ? a : b, indices);
}
