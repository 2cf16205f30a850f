// CH2DDelaunay: the lifted hull's lower faces, the band cut between two border lines, the wall strip
// between two outlines and the loft between the border corners of two meshes.
#include "qssse/geometry/H2DDelaunay.h"

#include <chrono>
#include <cmath>
#include <cwchar>
#include <string>
#include <vector>

#include "qssse/geometry/HullException.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/UserInterfaceManager.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/vector/SSEFns.h"

namespace {

// trunc(v) for the coordinates written into vertices directly; beyond the hull's range it throws.
std::int64_t Truncated(float v) {
  if (!(std::fabs(v) < 4611686018427387904.0f)) {
    throw CHullException(CHullException::range, "CH2DDelaunay: coordinate " + std::to_string(v) +
                                                    " (scaled) is not finite or beyond the exact range");
  }
  return static_cast<std::int64_t>(v);
}

void SetCoordinates(tVertexStructure* v, const SSEPoint& p) {
  const std::int64_t x = Truncated(p.x * 10.0f), y = Truncated(p.y * 10.0f), z = Truncated(p.z * 10.0f);
  v->x = x;
  v->y = y;
  v->z = z;
}

// A closed outline as the ring (last point, all points), unrolled: x-y arc length and height.
struct Unrolled {
  std::vector<float> s, z;
};

Unrolled Unroll(const CSSE3dPolygon& outline) {
  const int n = outline.GetNumPoints();
  Unrolled u;
  float px = 0, py = 0, pz = 0;
  outline.GetPoint(n - 1, px, py, pz);
  float s = 0.0f;
  u.s.push_back(s);
  u.z.push_back(pz);
  for (int i = 0; i < n; ++i) {
    float x = 0, y = 0, z = 0;
    outline.GetPoint(i, x, y, z);
    s += std::sqrt((x - px) * (x - px) + (y - py) * (y - py));
    u.s.push_back(s);
    u.z.push_back(z);
    px = x;
    py = y;
  }
  return u;
}

}  // namespace

CH2DDelaunay::CH2DDelaunay() {
  upperBorder.Create(0);
  lowerBorder.Create(0);
}

void CH2DDelaunay::AppendVertex(float x, float y, int index, bool flag) { AppendVertex2D(x, y, index, flag); }

std::int64_t CH2DDelaunay::NormZ(tFaceStructure* f) {
  const tVertexStructure* a = f->vertex[0];
  const tVertexStructure* b = f->vertex[1];
  const tVertexStructure* c = f->vertex[2];
  return (b->x - a->x) * (c->y - a->y) - (b->y - a->y) * (c->x - a->x);
}

void CH2DDelaunay::CalcDelaunayTriangulation() {
  const auto start = std::chrono::steady_clock::now();
  if (faces != nullptr) {
    // Triangulated before: the lower faces are no closed hull to insert into, so start again.
    while (faces != nullptr) DeleteFace(faces);
    while (edges != nullptr) DeleteEdge(edges);
    tVertexStructure* v = vertices;
    do {
      v->mark = v->onhull = false;
      v->duplicate = nullptr;
      v = v->next;
    } while (v != vertices);
  }
  CheckRange();
  DoubleTriangle();
  liftedInput = true;
  ConstructHullFast();
  EdgeOrderOnFaces();
  LowerFaces();
  CountAll();
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
  wchar_t text[128];
  std::swprintf(text, sizeof text / sizeof text[0], L"Time for 2D-Delaunay ms: %d\n Vertices: %d",
                static_cast<int>(ms.count()), numVertices);
  QsCUserInterfaceManager::ShowMessageBox(text, 0, 0);
}

void CH2DDelaunay::LowerFaces() {
  // The marks and the deletions do not depend on the order the faces are visited in (a deleted head
  // hands the head on to the first face after it that stays), so both passes read the faces in storage
  // order rather than hopping through the list.
  ForEachFaceInMemory([this](tFaceStructure* f) {
    if (static_cast<double>(NormZ(f)) < 0.0) f->lower = true;
  });
  ForEachFaceInMemory([this](tFaceStructure* f) {
    if (!f->lower) DeleteFace(f);  // the head moves on when it is deleted
  });
}

void CH2DDelaunay::RemoveFacesOutOfBorderLines(float tolerance) {
  if (faces == nullptr) return;
  float ylow = 0.0f, yup = 0.0f;  // kept from one lookup to the next when a line has no point to give
  const auto inside = [&](double s, double h) {
    const float fs = static_cast<float>(s), fh = static_cast<float>(h);
    float x = 0.0f;
    lowerBorder.GetPoint(lowerBorder.ClosestPointX(fs), x, ylow);
    upperBorder.GetPoint(upperBorder.ClosestPointX(fs), x, yup);
    return !(fh > yup + tolerance || ylow - tolerance > fh);
  };
  int deleted = 0;
  // Deliberately from the head's successor: the head face itself is never tested.
  tFaceStructure* f = faces->next;
  while (f != faces) {
    tFaceStructure* next = f->next;
    bool keep = true;
    for (int k = 0; k < 3 && keep; ++k) {
      const tVertexStructure* e0 = f->edge[k]->endpts[0];
      const tVertexStructure* e1 = f->edge[k]->endpts[1];
      keep = inside(static_cast<double>(e1->x + 2 * e0->x) / 3.0, static_cast<double>(e1->y + 2 * e0->y) / 3.0) &&
             inside(static_cast<double>(e0->x + e1->x) * 0.5, static_cast<double>(e0->y + e1->y) * 0.5) &&
             inside(static_cast<double>(e0->x + 2 * e1->x) / 3.0, static_cast<double>(e0->y + 2 * e1->y) / 3.0);
    }
    if (!keep) {
      DeleteFace(f);
      ++deleted;
    }
    f = next;
  }
  numFaces -= deleted;
}

void CH2DDelaunay::CreateTriangulationFromTwoBorderPolygons(CSSE3dPolygon* lower, CSSE3dPolygon* upper,
                                                            bool /*unused*/) {
  if (lower == nullptr || upper == nullptr || lower->GetNumPoints() == 0 || upper->GetNumPoints() == 0) return;
  // 1.-2. both outlines unrolled into rings, recorded as border lines
  const CSSE3dPolygon lowerCopy(*lower), upperCopy(*upper);
  const Unrolled lo = Unroll(lowerCopy), up = Unroll(upperCopy);
  const auto record = [](CSSE2dPolygon& line, const Unrolled& u) {
    line.Create(static_cast<int>(u.s.size()));
    for (std::size_t i = 0; i < u.s.size(); ++i) line.SetPoint(static_cast<int>(i), u.s[i] * 10.0f, u.z[i] * 10.0f);
  };
  record(lowerBorder, lo);
  record(upperBorder, up);
  // 3. the ring points as vertices, flagged by their outline
  for (std::size_t i = 0; i < lo.s.size(); ++i) AppendVertex2D(lo.s[i], lo.z[i], static_cast<int>(i), true);
  for (std::size_t i = 0; i < up.s.size(); ++i) AppendVertex2D(up.s[i], up.z[i], static_cast<int>(i), false);
  // 4. triangulated and cut to the band
  CalcDelaunayTriangulation();
  RemoveFacesOutOfBorderLines(250.0f);
  // 5. back to 3-D: ring point i is outline point i - 1
  tVertexStructure* v = vertices;
  do {
    const CSSE3dPolygon& outline = v->flag ? lowerCopy : upperCopy;
    const int n = outline.GetNumPoints();
    SSEPoint p;
    outline.GetPointSSE(((v->vnum - 1) % n + n) % n, p);
    SetCoordinates(v, p);
    v = v->next;
  } while (v != vertices);
}

template <class Take>
void CH2DDelaunay::SelectBorderCorners(CHTriangulation* mesh, bool side, Take take) {
  mesh->CalcCenterPoint();
  SSEPoint centre, lo, hi;
  mesh->GetCenterPoint(centre);
  mesh->GetMinPoint(lo);
  mesh->GetMaxPoint(hi);
  const float limit = 0.1f * std::fmin(hi.x - lo.x, std::fmin(hi.y - lo.y, hi.z - lo.z));
  const t_htriangle* triangles = mesh->GetTriangles();
  for (int t = 0; t < mesh->GetNumTriangles(); ++t) {
    const t_htriangle& r = triangles[t];
    if (r.mark != 13) continue;
    if (!(CSSEFns::vectorlen(CSSEFns::vectorproduct(r.sVector->m, r.tVector->m)) > limit)) continue;
    for (int j = 0; j < 3; ++j) {
      const SSEPoint& c = *r.point[j];
      if (side ? c.x <= centre.x : c.x > centre.x) take(t, j, c);
    }
  }
}

void CH2DDelaunay::GetBorderPointsTop(CHTriangulation* mesh, bool side) {
  if (mesh == nullptr || mesh->GetNumTriangles() <= 0) return;
  int calls = 0;
  SelectBorderCorners(mesh, side, [&](int t, int j, const SSEPoint& c) {
    AppendVertex2D(c.y, c.z, 3 * t + j, false);
    ++calls;
  });
  // One point per append made, duplicates included, read from the vertex ring from its head.
  upperBorder.Create(calls);
  const tVertexStructure* v = vertices;
  for (int i = 0; i < calls; ++i, v = v->next) {
    upperBorder.SetPoint(i, static_cast<float>(v->x), static_cast<float>(v->y));
  }
}

void CH2DDelaunay::GetBorderPointsBottom(CHTriangulation* mesh, bool side) {
  if (mesh == nullptr || mesh->GetNumTriangles() <= 0) return;
  std::vector<float> ys, zs;
  ys.reserve(3 * static_cast<std::size_t>(mesh->GetNumTriangles()));
  zs.reserve(ys.capacity());
  SelectBorderCorners(mesh, side, [&](int t, int j, const SSEPoint& c) {
    AppendVertex2D(c.y, c.z, 3 * t + j, true);
    ys.push_back(c.y);
    zs.push_back(c.z);
  });
  lowerBorder.Create(static_cast<int>(ys.size()));
  for (std::size_t i = 0; i < ys.size(); ++i) lowerBorder.SetPoint(static_cast<int>(i), ys[i] * 10.0f, zs[i] * 10.0f);
}

void CH2DDelaunay::LoftWith3DTriangulation(CHTriangulation* flagged, CHTriangulation* unflagged) {
  if (vertices == nullptr) return;
  tVertexStructure* v = vertices;
  do {
    CHTriangulation* mesh = v->flag ? flagged : unflagged;
    const t_htriangle* t = mesh != nullptr && v->vnum >= 0 ? mesh->GetTriangle(v->vnum / 3) : nullptr;
    if (t != nullptr) SetCoordinates(v, *t->point[v->vnum % 3]);
    v = v->next;
  } while (v != vertices);
}
