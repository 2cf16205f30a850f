// CHConvexHull3D: the appends with their rounding, the exact predicates, the range rule, the whole
// construction and the readers. The construction itself is in HConvexHull3DBuild.cpp (plain) and
// HConvexHull3DFast.cpp (conflict lists).
#include "qssse/geometry/HConvexHull3D.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "qssse/geometry/HullException.h"

namespace {

constexpr std::uint64_t kMax = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());

// trunc(v) when |v| < limit (a power of two, so the float comparison is exact); otherwise throws.
std::int64_t Rounded(float v, float limit, const char* member) {
  if (!(std::fabs(v) < limit)) {
    throw CHullException(CHullException::range, std::string(member) + ": coordinate " + std::to_string(v) +
                                                    " (scaled) is not finite or beyond the exact range");
  }
  return static_cast<std::int64_t>(v);  // truncation toward zero
}

bool ProductFits(std::uint64_t a, std::uint64_t b, std::uint64_t limit) { return a == 0 || b <= limit / a; }

}  // namespace

void CHConvexHull3D::AppendVertex2D(float x, float y, int index, bool flag) {
  // Below 2^31 per axis, X² + Y² cannot overflow.
  const std::int64_t X = Rounded(x * 10.0f + 0.5f, 2147483648.0f, "AppendVertex2D");
  const std::int64_t Y = Rounded(y * 10.0f + 0.5f, 2147483648.0f, "AppendVertex2D");
  tVertexStructure* v = AppendUnique(X, Y, X * X + Y * Y);
  if (v == nullptr) return;
  v->vnum = index == -1 ? numAppended : index;
  v->flag = flag;
  ++numAppended;
}

void CHConvexHull3D::AppendVertex3D(float x, float y, float z, float scale) {
  // Below 2^62 per axis, every coordinate difference fits.
  const float limit = 4611686018427387904.0f;
  const std::int64_t X = Rounded(x * scale + 0.5f, limit, "AppendVertex3D");
  const std::int64_t Y = Rounded(y * scale + 0.5f, limit, "AppendVertex3D");
  const std::int64_t Z = Rounded(z * scale + 0.5f, limit, "AppendVertex3D");
  if (AppendUnique(X, Y, Z) == nullptr) return;
  ++numAppended;
}

void CHConvexHull3D::CalcConvexHull() { BuildHull(&CHConvexHull3D::ConstructHullFast); }

void CHConvexHull3D::BuildHull(void (CHConvexHull3D::*build)()) {
  CheckRange();
  if (faces == nullptr) DoubleTriangle();
  (this->*build)();
  EdgeOrderOnFaces();
  CountAll();
}

void CHConvexHull3D::CountAll() {
  numFaces = CalcNumFaces();
  numEdges = CalcNumEdges();
  numVertices = CalcNumVertices();
  numAppended = numVertices;
}

void CHConvexHull3D::CheckRange() {
  if (vertices == nullptr) return;
  std::int64_t lo[3] = {vertices->x, vertices->y, vertices->z};
  std::int64_t hi[3] = {lo[0], lo[1], lo[2]};
  const tVertexStructure* v = vertices;
  do {
    const std::int64_t c[3] = {v->x, v->y, v->z};
    for (int k = 0; k < 3; ++k) {
      if (c[k] < lo[k]) lo[k] = c[k];
      if (c[k] > hi[k]) hi[k] = c[k];
    }
    v = v->next;
  } while (v != vertices);
  std::uint64_t d[3];
  for (int k = 0; k < 3; ++k) d[k] = static_cast<std::uint64_t>(hi[k]) - static_cast<std::uint64_t>(lo[k]);
  // |volume| <= 2·Dx·Dy·Dz, each partial sum <= 2·Dx·Dy·Dz, each 2-D cross product <= the pairwise product.
  bool fits = d[0] <= kMax && d[1] <= kMax && d[2] <= kMax && ProductFits(d[0], d[1], kMax) &&
              ProductFits(d[1], d[2], kMax) && ProductFits(d[0], d[2], kMax);
  if (fits) fits = ProductFits(d[0] * d[1], d[2], kMax / 2);
  if (!fits) {
    throw CHullException(CHullException::range,
                         "CalcConvexHull: coordinate spreads " + std::to_string(d[0]) + ", " + std::to_string(d[1]) +
                             ", " + std::to_string(d[2]) + " make 2·Dx·Dy·Dz exceed 2^63 - 1");
  }
}

int CHConvexHull3D::VolumeSign(tFaceStructure* f, tVertexStructure* p) {
  const tVertexStructure* a = f->vertex[0];
  const tVertexStructure* b = f->vertex[1];
  const tVertexStructure* c = f->vertex[2];
  const std::int64_t pa[3] = {a->x, a->y, a->z}, pb[3] = {b->x, b->y, b->z}, pc[3] = {c->x, c->y, c->z};
  return VolumeSignOf(pa, pb, pc, p->x, p->y, p->z);
}

bool CHConvexHull3D::Collinear(tVertexStructure* a, tVertexStructure* b, tVertexStructure* c) {
  return (c->z - a->z) * (b->y - a->y) - (b->z - a->z) * (c->y - a->y) == 0 &&
         (b->z - a->z) * (c->x - a->x) - (b->x - a->x) * (c->z - a->z) == 0 &&
         (b->x - a->x) * (c->y - a->y) - (b->y - a->y) * (c->x - a->x) == 0;
}

SSEPoint CHConvexHull3D::GetVertexFromFace(tFaceStructure* f, int i) {
  if (f == nullptr || i < 0 || i > 2) return qssse::ZeroSSEPoint();
  const tVertexStructure* v = f->vertex[i];
  return qssse::MakeSSEPoint(static_cast<float>(v->x) / 10.0f, static_cast<float>(v->y) / 10.0f,
                             static_cast<float>(v->z) / 10.0f, 0.0f);
}

SSEPoint CHConvexHull3D::GetVertexFromFace3D(tFaceStructure* f, int i, SSEPoint& scale) {
  if (f == nullptr || i < 0 || i > 2) return qssse::ZeroSSEPoint();
  const tVertexStructure* v = f->vertex[i];
  return qssse::MakeSSEPoint(static_cast<float>(v->x) / scale.x, static_cast<float>(v->y) / scale.y,
                             static_cast<float>(v->z) / scale.z, 0.0f);
}
