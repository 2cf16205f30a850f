// Editing a finished mesh in place: moving, rescaling, stretching, rotating, removing triangles by height,
// combining meshes. Each member keeps or refreshes derived data in its own documented way.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/vector/SSEFns.h"
#include "qssse/vector/SimdOps.h"

namespace simd = qssse::simd;

// ---- moving and scaling ---------------------------------------------------------------------------------

void CHTriangulation::ShiftTriangulation(float dx, float dy, float dz) {
  if (numTriangles <= 0) return;
  const __m128 d = simd::lanes(dx, dy, dz, 0.0f);
  for (int i = 0; i < numTriangles; ++i) {
    t_htriangle& t = triangles[i];
    for (int k = 0; k < 3; ++k) t.point[k]->m = simd::add(t.point[k]->m, d);
    t.minPoint->m = simd::add(t.minPoint->m, d);
    t.maxPoint->m = simd::add(t.maxPoint->m, d);
  }
  // The centre deliberately stays where it was until the caller runs CalcCenterPoint.
  if (minPoint == nullptr) return;
  minPoint->m = simd::add(minPoint->m, d);
  maxPoint->m = simd::add(maxPoint->m, d);
}

void CHTriangulation::ReScaleTriangulation(float sx, float sy, float sz) {
  scaleX = sx;
  scaleY = sy;
  scaleZ = sz;
  ScaleTriangulation();
  CalcBoundingBox();
  CalcSTV();
}

void CHTriangulation::BlowTriangulation(float fx, float fy, float fz) {
  if (numTriangles <= 0) return;
  const __m128 f = simd::lanes(fx, fy, fz, 0.0f);
  for (int i = 0; i < 3 * numTriangles; ++i) cornerPoints[i].m = simd::mul(cornerPoints[i].m, f);
  // Normals deliberately keep their old directions, even under a non-uniform stretch.
  CalcBoundingBox();
  CalcSTV();
}

void CHTriangulation::OrientTrianglesTowardsBBoxCenter() { CalcNormalsFromVertices(); }

// ---- removal by height ----------------------------------------------------------------------------------

template <class Keep>
void CHTriangulation::RemoveTriangles(Keep keep) {
  if (numTriangles <= 0) return;
  CHTriangulation source;
  source.BaseInitialization(scaleX, scaleY, scaleZ);
  source.CopyFromHTriangulation(this);

  std::vector<int> kept;
  kept.reserve(static_cast<std::size_t>(numTriangles));
  for (int i = 0; i < numTriangles; ++i) {
    if (keep(&cornerPoints[3 * i])) kept.push_back(i);
  }
  const int k = static_cast<int>(kept.size());
  CreateTriangulation(k);
  for (int j = 0; j < k; ++j) {
    const int s = kept[static_cast<std::size_t>(j)];
    for (int c = 0; c < 3; ++c) {
      cornerPoints[3 * j + c] = source.cornerPoints[3 * s + c];
      cornerNormals[3 * j + c] = source.cornerNormals[3 * s + c];
    }
    mainNormals[j] = source.mainNormals[s];
    tVectors[j] = source.tVectors[s];
    sVectors[j] = source.sVectors[s];
    vVectors[j] = source.vVectors[s];
    // Deliberately the minimum in both: after a removal each stored maximum equals its minimum.
    triMinPoints[j] = source.triMinPoints[s];
    triMaxPoints[j] = source.triMinPoints[s];
    // index keeps the triangle's old position, as the copy carried it.
    triangles[j].index = source.triangles[s].index;
    triangles[j].mark = source.triangles[s].mark;
  }
  CalcNeighbours();
}

void CHTriangulation::RemoveTrianglesBelowZ(float z) {
  RemoveTriangles([z](const SSEPoint* c) { return c[0].z > z || c[1].z > z || c[2].z > z; });
}

void CHTriangulation::RemoveTrianglesAboveZ(float z) {
  RemoveTriangles([z](const SSEPoint* c) { return c[0].z < z || c[1].z < z || c[2].z < z; });
}

void CHTriangulation::RemoveTrianglesBetweenZ(float lo, float hi) {
  const auto outside = [lo, hi](float v) { return v > hi || v < lo; };
  RemoveTriangles([outside](const SSEPoint* c) { return outside(c[0].z) && outside(c[1].z) && outside(c[2].z); });
}

void CHTriangulation::RemoveTrianglesWithSameOrientation(const SSEPoint& direction, float minCos) {
  const double dx = direction.x, dy = direction.y, dz = direction.z;
  const double dl = std::sqrt(dx * dx + dy * dy + dz * dz);
  if (!(dl > 0.0) || std::isnan(minCos)) return;
  RemoveTriangles([&](const SSEPoint* c) {
    // the face normal from the corners, in double: (P1 - P0) x (P2 - P0)
    const double sx = static_cast<double>(c[1].x) - c[0].x, sy = static_cast<double>(c[1].y) - c[0].y,
                 sz = static_cast<double>(c[1].z) - c[0].z;
    const double tx = static_cast<double>(c[2].x) - c[0].x, ty = static_cast<double>(c[2].y) - c[0].y,
                 tz = static_cast<double>(c[2].z) - c[0].z;
    const double nx = sy * tz - sz * ty, ny = sz * tx - sx * tz, nz = sx * ty - sy * tx;
    const double nl = std::sqrt(nx * nx + ny * ny + nz * nz);
    if (!(nl > 0.0)) return true;  // no orientation: kept
    return !((nx * dx + ny * dy + nz * dz) / (nl * dl) >= minCos);
  });
}

// ---- combining ------------------------------------------------------------------------------------------

namespace {

// p re-aimed from src's records to dst's records starting at `offset`, or null when p is not one of src's.
t_htriangle* Reaim(const t_htriangle* p, const t_htriangle* src, int n, t_htriangle* dst, int offset) {
  const auto at = reinterpret_cast<std::uintptr_t>(p);
  const auto lo = reinterpret_cast<std::uintptr_t>(src);
  const auto hi = reinterpret_cast<std::uintptr_t>(src + n);
  if (p == nullptr || at < lo || at >= hi || (at - lo) % sizeof(t_htriangle) != 0) return nullptr;
  return dst + offset + static_cast<int>((at - lo) / sizeof(t_htriangle));
}

}  // namespace

void CHTriangulation::Combine(CHTriangulation* a, CHTriangulation* b) {
  const int na = a != nullptr ? a->numTriangles : 0;
  const int nb = b != nullptr ? b->numTriangles : 0;
  if (static_cast<std::int64_t>(na) + nb > INT32_MAX) AfxThrowMemoryException();
  // Built aside first, because a or b may be this mesh.
  CHTriangulation out;
  out.BaseInitialization(scaleX, scaleY, scaleZ);
  out.CreateTriangulation(na + nb);
  int offset = 0;
  for (CHTriangulation* src : {a, b}) {
    const int n = src != nullptr ? src->numTriangles : 0;
    if (n <= 0) continue;
    const std::size_t count = static_cast<std::size_t>(n), at = static_cast<std::size_t>(offset);
    std::memcpy(out.cornerPoints + 3 * at, src->cornerPoints, 3 * count * sizeof(SSEPoint));
    std::memcpy(out.cornerNormals + 3 * at, src->cornerNormals, 3 * count * sizeof(SSEPoint));
    std::memcpy(out.mainNormals + at, src->mainNormals, count * sizeof(SSEPoint));
    std::memcpy(out.tVectors + at, src->tVectors, count * sizeof(SSEPoint));
    std::memcpy(out.sVectors + at, src->sVectors, count * sizeof(SSEPoint));
    std::memcpy(out.vVectors + at, src->vVectors, count * sizeof(SSEPoint));
    std::memcpy(out.triMinPoints + at, src->triMinPoints, count * sizeof(SSEPoint));
    std::memcpy(out.triMaxPoints + at, src->triMaxPoints, count * sizeof(SSEPoint));
    for (int i = 0; i < n; ++i) {
      t_htriangle& t = out.triangles[offset + i];
      const t_htriangle& s = src->triangles[i];
      t.mark = s.mark;
      for (int k = 0; k < 3; ++k)
        t.neighbour[k] = Reaim(s.neighbour[k], src->triangles, n, out.triangles, offset);
    }
    offset += n;
  }
  // Take over the new storage; `out` keeps only its own three-point block.
  FreeTriangulation();
  std::swap(cornerPoints, out.cornerPoints);
  std::swap(cornerNormals, out.cornerNormals);
  std::swap(mainNormals, out.mainNormals);
  std::swap(tVectors, out.tVectors);
  std::swap(sVectors, out.sVectors);
  std::swap(vVectors, out.vVectors);
  std::swap(triMinPoints, out.triMinPoints);
  std::swap(triMaxPoints, out.triMaxPoints);
  std::swap(triangles, out.triangles);
  std::swap(numTriangles, out.numTriangles);
  std::swap(capacity, out.capacity);
  CalcBoundingBox();
}

void CHTriangulation::AppendTriangulation(CHTriangulation* other) { Combine(this, other); }

// ---- rotations and general transforms ---------------------------------------------------------------------

namespace {

// R = Rz(az) * Ry(ay) * Rx(ax) as three rows, translation column 0.
t_ssematrix3 RotationMatrix(float ax, float ay, float az) {
  const float cx = std::cos(ax), sx = std::sin(ax);
  const float cy = std::cos(ay), sy = std::sin(ay);
  const float cz = std::cos(az), sz = std::sin(az);
  t_ssematrix3 r;
  r.row0 = simd::lanes(cz * cy, cz * sy * sx - sz * cx, cz * sy * cx + sz * sx, 0.0f);
  r.row1 = simd::lanes(sz * cy, sz * sy * sx + cz * cx, sz * sy * cx - cz * sx, 0.0f);
  r.row2 = simd::lanes(-sy, cy * sx, cy * cx, 0.0f);
  return r;
}

// Unit direction after the linear part of m; an all-zero normal (an unfilled record) stays zero.
__m128 TransformNormal(__m128 n, const t_ssematrix3& m) {
  n = simd::and_(n, simd::laneMask(true, true, true, false));
  const __m128 r = CSSEFns::transform(n, m);
  if (CSSEFns::scalarproduct(r, r) == 0.0f) return r;
  return CSSEFns::normalizevector(r);
}

}  // namespace

void CHTriangulation::ApplyTransform(const t_ssematrix3& m, const SSEPoint& about) {
  const __m128 centre = simd::lanes(about.x, about.y, about.z, 0.0f);
  const __m128 wOne = simd::lanes(0.0f, 0.0f, 0.0f, 1.0f);
  const __m128 xyz = simd::laneMask(true, true, true, false);
  for (int i = 0; i < 3 * numTriangles; ++i) {
    const __m128 q = simd::or_(simd::and_(simd::sub(cornerPoints[i].m, centre), xyz), wOne);
    cornerPoints[i].m = simd::add(CSSEFns::transform(q, m), centre);
    cornerNormals[i].m = TransformNormal(cornerNormals[i].m, m);
  }
  for (int i = 0; i < numTriangles; ++i) mainNormals[i].m = TransformNormal(mainNormals[i].m, m);
  if (numTriangles <= 0) return;
  CalcSTV();
  CalcBoundingBox();
}

void CHTriangulation::TransformVertices(float ax, float ay, float az) {
  ApplyTransform(RotationMatrix(ax, ay, az), qssse::ZeroSSEPoint());
}

void CHTriangulation::TransformVertices(const t_ssematrix3& m) { ApplyTransform(m, qssse::ZeroSSEPoint()); }

void CHTriangulation::TransformVerticesAboutPoint(const SSEPoint& p, float ax, float ay, float az) {
  ApplyTransform(RotationMatrix(ax, ay, az), p);
}

void CHTriangulation::TransformVerticesAboutPoint(const SSEPoint& p, const t_ssematrix3& m) {
  ApplyTransform(m, p);
}
