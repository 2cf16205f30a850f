#include "qssse/mesh/HTriangulation.h"

#include <cmath>
#include <cstring>

#include "qssse/platform/AlignedMemory.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/vector/SSEFns.h"
#include "qssse/vector/SimdOps.h"

namespace simd = qssse::simd;

namespace {

SSEPoint* AllocPoints(std::size_t count) { return qssse::alignedAllocArray<SSEPoint>(count); }

void FreePoints(SSEPoint*& p) {
  qssse::alignedFree(p);
  p = nullptr;
}

}  // namespace

// ---- construction and destruction -------------------------------------------------------------------

CHTriangulation::CHTriangulation()
    : cornerPoints(nullptr),
      cornerNormals(nullptr),
      mainNormals(nullptr),
      tVectors(nullptr),
      sVectors(nullptr),
      vVectors(nullptr),
      triangles(nullptr),
      numTriangles(0),
      listHead(nullptr),
      scaleX(1.0f),
      scaleY(1.0f),
      scaleZ(1.0f),
      scanResX(1.0f),
      scanResY(1.0f),
      scanResZ(1.0f),
      minPoint(nullptr),
      maxPoint(nullptr),
      centerPoint(nullptr),
      triMinPoints(nullptr),
      triMaxPoints(nullptr),
      scanDiagonal(0.0f),
      stretchList(nullptr),
      capacity(0) {}

CHTriangulation::CHTriangulation(int n, float sx, float sy, float sz) : CHTriangulation() {
  BaseInitialization(sx, sy, sz);
  CreateTriangulation(n);
}

CHTriangulation::CHTriangulation(CHTriangulation* src) : CHTriangulation() {
  if (src == nullptr) {
    BaseInitialization(1.0f, 1.0f, 1.0f);
    return;
  }
  BaseInitialization(src->scaleX, src->scaleY, src->scaleZ);
  CopyFromHTriangulation(src);
}

CHTriangulation::~CHTriangulation() {
  FreeTriangulation();
  qssse::alignedFree(minPoint);
}

CHTriangulation& CHTriangulation::operator=(const CHTriangulation& other) {
  // Shallow on purpose: the two objects share storage afterwards (see the class comment).
  cornerPoints = other.cornerPoints;
  cornerNormals = other.cornerNormals;
  mainNormals = other.mainNormals;
  tVectors = other.tVectors;
  sVectors = other.sVectors;
  vVectors = other.vVectors;
  triangles = other.triangles;
  numTriangles = other.numTriangles;
  listHead = other.listHead;
  scaleX = other.scaleX;
  scaleY = other.scaleY;
  scaleZ = other.scaleZ;
  scanResX = other.scanResX;
  scanResY = other.scanResY;
  scanResZ = other.scanResZ;
  minPoint = other.minPoint;
  maxPoint = other.maxPoint;
  centerPoint = other.centerPoint;
  triMinPoints = other.triMinPoints;
  triMaxPoints = other.triMaxPoints;
  scanDiagonal = other.scanDiagonal;
  stretchList = other.stretchList;
  capacity = other.capacity;
  return *this;
}

// ---- storage -------------------------------------------------------------------------------------------

void CHTriangulation::BaseInitialization(float sx, float sy, float sz) {
  // Nulled, not freed: this is also how a shallow copy lets go of storage it shares.
  cornerPoints = cornerNormals = mainNormals = tVectors = sVectors = vVectors = nullptr;
  triMinPoints = triMaxPoints = nullptr;
  triangles = nullptr;
  stretchList = nullptr;
  numTriangles = 0;
  capacity = 0;
  minPoint = maxPoint = centerPoint = nullptr;
  scaleX = scanResX = sx;
  scaleY = scanResY = sy;
  scaleZ = scanResZ = sz;
  scanDiagonal = std::sqrt(sx * sx + sy * sy);
  SSEPoint* block = qssse::alignedAllocArrayZeroed<SSEPoint>(3);
  minPoint = block;
  maxPoint = block + 1;
  centerPoint = block + 2;
}

void CHTriangulation::CreateTriangulation(int n) {
  FreeTriangulation();
  if (n <= 0) return;
  const std::size_t count = static_cast<std::size_t>(n);
  triangles = static_cast<t_htriangle*>(std::malloc(count * sizeof(t_htriangle)));
  if (triangles == nullptr) AfxThrowMemoryException();
  // Each failure throws at once; what was allocated before stays attached and is freed with the mesh.
  cornerPoints = AllocPoints(3 * count);
  cornerNormals = AllocPoints(3 * count);
  mainNormals = AllocPoints(count);
  tVectors = AllocPoints(count);
  sVectors = AllocPoints(count);
  vVectors = AllocPoints(count);
  triMinPoints = AllocPoints(count);
  triMaxPoints = AllocPoints(count);
  numTriangles = n;
  capacity = n;

  const __m128 zero = simd::zero();
  for (int i = 0; i < n; ++i) {
    t_htriangle& t = triangles[i];
    t.index = i;
    t.mark = -1;
    t.next = t.prev = nullptr;
    for (int k = 0; k < 3; ++k) {
      t.neighbour[k] = nullptr;
      t.point[k] = &cornerPoints[3 * i + k];
      t.normal[k] = &cornerNormals[3 * i + k];
      t.point[k]->m = zero;
      t.normal[k]->m = zero;
    }
    t.tVector = &tVectors[i];
    t.sVector = &sVectors[i];
    t.vVector = &vVectors[i];
    t.mainNormal = &mainNormals[i];
    t.minPoint = &triMinPoints[i];
    t.maxPoint = &triMaxPoints[i];
    t.tVector->m = t.sVector->m = t.vVector->m = t.mainNormal->m = zero;
  }
}

void CHTriangulation::FreeTriangulation() {
  ClearStretchList();
  FreePoints(cornerPoints);
  FreePoints(cornerNormals);
  FreePoints(mainNormals);
  FreePoints(tVectors);
  FreePoints(sVectors);
  FreePoints(vVectors);
  std::free(triangles);
  triangles = nullptr;
  FreePoints(triMinPoints);
  FreePoints(triMaxPoints);
  listHead = nullptr;
  numTriangles = 0;
  capacity = 0;
}

void CHTriangulation::CopyFromHTriangulation(CHTriangulation* src) {
  if (src == nullptr || src == this) return;
  const int n = src->numTriangles;
  CreateTriangulation(n);
  const std::size_t count = static_cast<std::size_t>(n > 0 ? n : 0);
  if (count > 0) {
    std::memcpy(cornerPoints, src->cornerPoints, 3 * count * sizeof(SSEPoint));
    std::memcpy(cornerNormals, src->cornerNormals, 3 * count * sizeof(SSEPoint));
    std::memcpy(mainNormals, src->mainNormals, count * sizeof(SSEPoint));
    std::memcpy(tVectors, src->tVectors, count * sizeof(SSEPoint));
    std::memcpy(sVectors, src->sVectors, count * sizeof(SSEPoint));
    std::memcpy(vVectors, src->vVectors, count * sizeof(SSEPoint));
    std::memcpy(triMinPoints, src->triMinPoints, count * sizeof(SSEPoint));
    // Deliberately the source's minima: callers that need the maxima run CalcSTV.
    std::memcpy(triMaxPoints, src->triMinPoints, count * sizeof(SSEPoint));
  }
  for (int i = 0; i < n; ++i) {
    // Deliberately still aimed at the source's records.
    for (int k = 0; k < 3; ++k) triangles[i].neighbour[k] = src->triangles[i].neighbour[k];
    triangles[i].index = src->triangles[i].index;
    triangles[i].mark = src->triangles[i].mark;
  }
  if (minPoint != nullptr && src->minPoint != nullptr) {
    *minPoint = *src->minPoint;
    *maxPoint = *src->maxPoint;
    *centerPoint = *src->centerPoint;
  }
  scanResX = src->scanResX;
  scanResY = src->scanResY;
  scanResZ = src->scanResZ;
  scanDiagonal = src->scanDiagonal;
}

// ---- derived data -------------------------------------------------------------------------------------

void CHTriangulation::CalcSTV() {
  for (int i = 0; i < numTriangles; ++i) {
    const __m128 p0 = cornerPoints[3 * i].m, p1 = cornerPoints[3 * i + 1].m, p2 = cornerPoints[3 * i + 2].m;
    sVectors[i].m = simd::sub(p1, p0);
    tVectors[i].m = simd::sub(p2, p0);
    vVectors[i].m = simd::sub(p2, p1);
    triMinPoints[i].m = simd::min(simd::min(p0, p1), p2);
    triMaxPoints[i].m = simd::max(simd::max(p0, p1), p2);
  }
}

void CHTriangulation::CalcBoundingBox() {
  if (minPoint == nullptr) return;
  __m128 lo = simd::splat(1000000.0f), hi = simd::splat(-1000000.0f);
  for (int i = 0; i < 3 * numTriangles; ++i) {
    lo = simd::min(lo, cornerPoints[i].m);
    hi = simd::max(hi, cornerPoints[i].m);
  }
  minPoint->m = lo;
  maxPoint->m = hi;
}

void CHTriangulation::CalcCenterPoint() {
  if (centerPoint == nullptr) return;
  __m128 sum = simd::zero();
  for (int i = 0; i < 3 * numTriangles; ++i) sum = simd::add(sum, cornerPoints[i].m);
  // Not guarded: an empty mesh gives 0/0.
  centerPoint->m = simd::div(sum, simd::splat(static_cast<float>(3 * numTriangles)));
}

void CHTriangulation::CalcNormalsFromVertices() {
  for (int i = 0; i < numTriangles; ++i) {
    __m128 nrm = CSSEFns::vectorproduct(sVectors[i].m, tVectors[i].m);
    nrm = simd::and_(nrm, simd::laneMask(true, true, true, false));
    nrm = CSSEFns::normalizevector(nrm);
    cornerNormals[3 * i].m = cornerNormals[3 * i + 1].m = cornerNormals[3 * i + 2].m = nrm;
  }
}

void CHTriangulation::SetScanConvResolution(float rx, float ry, float rz) {
  scanResX = rx;
  scanResY = ry;
  scanResZ = rz;
  scanDiagonal = std::sqrt(rx * rx + ry * ry);
}

void CHTriangulation::ScaleTriangulation() {
  const __m128 f = simd::lanes(scaleX, scaleY, scaleZ, 0.0f);
  for (int i = 0; i < 3 * numTriangles; ++i) cornerPoints[i].m = simd::mul(cornerPoints[i].m, f);
}

void CHTriangulation::ScaleTriangulationXY() {
  const __m128 f = simd::lanes(scaleX, scaleY, 1.0f, 0.0f);
  for (int i = 0; i < 3 * numTriangles; ++i) cornerPoints[i].m = simd::mul(cornerPoints[i].m, f);
}

// ---- working list -------------------------------------------------------------------------------------

void CHTriangulation::IndexTriangleList() {
  if (numTriangles <= 0 || triangles == nullptr) {
    listHead = nullptr;
    return;
  }
  for (int i = 0; i < numTriangles; ++i) {
    triangles[i].prev = i > 0 ? &triangles[i - 1] : nullptr;
    triangles[i].next = i + 1 < numTriangles ? &triangles[i + 1] : nullptr;
  }
  listHead = &triangles[0];
}

void CHTriangulation::DeleteTriangleFromList(t_htriangle* t) {
  if (t == nullptr) return;
  if (t->prev == nullptr) {
    listHead = t->next;
    if (t->next != nullptr) t->next->prev = nullptr;
  } else if (t->next == nullptr) {
    t->prev->next = nullptr;
  } else {
    t->prev->next = t->next;
    t->next->prev = t->prev;
  }
}

// ---- filling ------------------------------------------------------------------------------------------

namespace {

__m128 CornerNormal(float dc, float dd, bool flip) {
  __m128 n = CSSEFns::normalizevector(simd::lanes(dc, dd, 1.0f, 0.0f));
  return flip ? simd::negate(n) : n;
}

}  // namespace

void CHTriangulation::AppendTriangle(int maskA, int maskB, float c0, float c1, float d0, float d1, float h00,
                                     float h01, float h10, float h11, int& counter, bool flipNormals,
                                     bool forceFull) {
  if (forceFull) {
    if (maskB == 1 || maskB == 2) maskB = 3;
    if ((maskA == 1 || maskA == 2) && maskB == 3) maskA = 3;
  }
  // Corner indices into the cell: 0 = (c0,d0), 1 = (c0,d1), 2 = (c1,d0), 3 = (c1,d1).
  static constexpr int kNone[1][3] = {{0, 0, 0}};
  static constexpr int kFull[2][3] = {{0, 3, 1}, {0, 2, 3}};
  static constexpr int k32[1][3] = {{0, 3, 1}};
  static constexpr int k31[1][3] = {{0, 2, 1}};
  static constexpr int k13[1][3] = {{0, 2, 3}};
  static constexpr int k23[1][3] = {{2, 3, 1}};
  const int(*tris)[3] = kNone;
  int count = 0;
  if (maskA == 3 && maskB == 3) {
    tris = kFull;
    count = 2;
  } else if (maskA == 3 && maskB == 2) {
    tris = k32;
    count = 1;
  } else if (maskA == 3 && maskB == 1) {
    tris = k31;
    count = 1;
  } else if (maskA == 1 && maskB == 3) {
    tris = k13;
    count = 1;
  } else if (maskA == 2 && maskB == 3) {
    tris = k23;
    count = 1;
  }
  if (count == 0 || counter < 0 || counter > capacity - count) return;

  const float cs[4] = {c0, c0, c1, c1};
  const float ds[4] = {d0, d1, d0, d1};
  const float hs[4] = {h00, h01, h10, h11};
  // Normal at (ci, dj): (h(c0, dj) - h(c1, dj), h(ci, d0) - h(ci, d1), 1), normalised.
  const __m128 normals[4] = {
      CornerNormal(h00 - h10, h00 - h01, flipNormals), CornerNormal(h01 - h11, h00 - h01, flipNormals),
      CornerNormal(h00 - h10, h10 - h11, flipNormals), CornerNormal(h01 - h11, h10 - h11, flipNormals)};
  for (int k = 0; k < count; ++k) {
    t_htriangle& t = triangles[counter + k];
    __m128 sum = simd::zero();
    for (int j = 0; j < 3; ++j) {
      const int c = tris[k][j];
      t.point[j]->x = cs[c];
      t.point[j]->y = ds[c];
      t.point[j]->z = hs[c];
      t.normal[j]->m = normals[c];
      sum = simd::add(sum, normals[c]);
    }
    t.mainNormal->m = CSSEFns::normalizevector(sum);
  }
  if (count == 2) {
    triangles[counter].neighbour[0] = &triangles[counter + 1];
    triangles[counter + 1].neighbour[2] = &triangles[counter];
  }
  counter += count;
}
