#include "qssse/restoration/QsBottomTriangulationsBase.h"

#include <algorithm>
#include <memory>
#include <new>

#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/DmTriangulationStatic.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/polygon/SSE3dPolygon.h"

namespace {

std::shared_ptr<const char> NewToken() { return std::make_shared<const char>('\0'); }

// A count as it may be used to index the arrays.
int InRange(std::int32_t count) {
  return std::clamp<std::int32_t>(count, 0, QsCBottomTriangulationsBase::kCapacity);
}

// True when slots[i] already stood in an earlier slot (so it is released only once).
template <class T>
bool SeenBefore(T* const* slots, int i) {
  return std::find(slots, slots + i, slots[i]) != slots + i;
}

// edit(item) on every non-null one of the first count items, in array order.
template <class T, class Edit>
void ForEach(T* const* slots, std::int32_t count, Edit edit) {
  for (int i = 0; i < InRange(count); ++i) {
    if (slots[i] != nullptr) edit(*slots[i]);
  }
}

}  // namespace

QsCBottomTriangulationsBase::QsCBottomTriangulationsBase()
    : bottomTriangulations{},
      numBottomTriangulations(0),
      restorationLines{},
      numRestorationLines(0),
      meshOwners(NewToken()),
      lineOwners(NewToken()) {}

QsCBottomTriangulationsBase::QsCBottomTriangulationsBase(const QsCBottomTriangulationsBase& other)
    : numBottomTriangulations(other.numBottomTriangulations),
      numRestorationLines(other.numRestorationLines),
      meshOwners(other.meshOwners),
      lineOwners(other.lineOwners) {
  std::copy(other.bottomTriangulations, other.bottomTriangulations + kCapacity, bottomTriangulations);
  std::copy(other.restorationLines, other.restorationLines + kCapacity, restorationLines);
}

QsCBottomTriangulationsBase& QsCBottomTriangulationsBase::operator=(
    const QsCBottomTriangulationsBase& other) {
  if (this == &other) return *this;
  CleanUpBottomTriangulations();
  CleanUpRestorationData();
  std::copy(other.bottomTriangulations, other.bottomTriangulations + kCapacity, bottomTriangulations);
  std::copy(other.restorationLines, other.restorationLines + kCapacity, restorationLines);
  numBottomTriangulations = other.numBottomTriangulations;
  numRestorationLines = other.numRestorationLines;
  meshOwners = other.meshOwners;
  lineOwners = other.lineOwners;
  return *this;
}

QsCBottomTriangulationsBase::~QsCBottomTriangulationsBase() {
  CleanUpBottomTriangulations();
  CleanUpRestorationData();
}

void QsCBottomTriangulationsBase::CleanUpBottomTriangulations() {
  if (meshOwners.use_count() == 1) {
    for (int i = 0; i < InRange(numBottomTriangulations); ++i) {
      CHTriangulation* mesh = bottomTriangulations[i];
      if (mesh == nullptr || SeenBefore(bottomTriangulations, i)) continue;
      mesh->FreeTriangulation();
      delete mesh;
    }
  }
  meshOwners = NewToken();
  numBottomTriangulations = 0;
}

void QsCBottomTriangulationsBase::CleanUpRestorationData() {
  if (lineOwners.use_count() == 1) {
    for (int i = 0; i < InRange(numRestorationLines); ++i) {
      CSSE3dPolygon* line = restorationLines[i];
      if (line == nullptr || SeenBefore(restorationLines, i)) continue;
      delete line;
    }
  }
  lineOwners = NewToken();
  numRestorationLines = 0;
}

CHTriangulation* QsCBottomTriangulationsBase::GetBottomTriangulation(int i) const {
  return (i < 0 || i >= InRange(numBottomTriangulations)) ? nullptr : bottomTriangulations[i];
}

CSSE3dPolygon* QsCBottomTriangulationsBase::GetRestorationLine(int i) const {
  return (i < 0 || i >= InRange(numRestorationLines)) ? nullptr : restorationLines[i];
}

bool QsCBottomTriangulationsBase::CheckAllBottomTriangulationsValid() const {
  const int n = InRange(numBottomTriangulations);
  return std::find(bottomTriangulations, bottomTriangulations + n, nullptr) == bottomTriangulations + n;
}

// ---- mesh edits -----------------------------------------------------------------------------------------

void QsCBottomTriangulationsBase::ShiftTriangulations(float dx, float dy, float dz, bool) {
  ForEach(bottomTriangulations, numBottomTriangulations,
          [&](CHTriangulation& mesh) { mesh.ShiftTriangulation(dx, dy, dz); });
}

void QsCBottomTriangulationsBase::BlowTriangulations(float fx, float fy, float fz) {
  // BlowTriangulation itself leaves a mesh without triangles alone.
  ForEach(bottomTriangulations, numBottomTriangulations,
          [&](CHTriangulation& mesh) { mesh.BlowTriangulation(fx, fy, fz); });
}

void QsCBottomTriangulationsBase::ReScaleBottomTriangulations(float sx, float sy, float sz) {
  ForEach(bottomTriangulations, numBottomTriangulations,
          [&](CHTriangulation& mesh) { mesh.ReScaleTriangulation(sx, sy, sz); });
}

void QsCBottomTriangulationsBase::TransformTriangulations(float a) {
  ForEach(bottomTriangulations, numBottomTriangulations,
          [&](CHTriangulation& mesh) { mesh.TransformVertices(0.0f, 0.0f, a); });
}

void QsCBottomTriangulationsBase::TransformTriangulationsXY(float a, float b) {
  ForEach(bottomTriangulations, numBottomTriangulations,
          [&](CHTriangulation& mesh) { mesh.TransformVertices(a, b, 0.0f); });
}

void QsCBottomTriangulationsBase::TransformTriangulationsXZ(float a, float b) {
  ForEach(bottomTriangulations, numBottomTriangulations,
          [&](CHTriangulation& mesh) { mesh.TransformVertices(a, 0.0f, b); });
}

// ---- line edits -----------------------------------------------------------------------------------------

// CSSE3dPolygon::RotateXYZ(a, b, c) applies Rz(-c) Ry(b) Rx(-a); the signs below make it right-handed.
void QsCBottomTriangulationsBase::ShiftLines(float dx, float dy, float dz) {
  ForEach(restorationLines, numRestorationLines, [&](CSSE3dPolygon& line) { line.ShiftLine(dx, dy, dz); });
}

void QsCBottomTriangulationsBase::TransformLines(float a) {
  ForEach(restorationLines, numRestorationLines, [&](CSSE3dPolygon& line) {
    line.RotateXYZ(0.0f, 0.0f, -a);
    line.CalcBoundingBox();
  });
}

void QsCBottomTriangulationsBase::TransformLinesXY(float a, float b) {
  ForEach(restorationLines, numRestorationLines, [&](CSSE3dPolygon& line) {
    line.RotateXYZ(-a, b, 0.0f);
    line.CalcBoundingBox();
  });
}

// ---- combining ------------------------------------------------------------------------------------------

CHTriangulation* QsCBottomTriangulationsBase::getCombinedHTriangulation() const {
  std::unique_ptr<CHTriangulation> combined;
  try {
    for (int i = 0; i < InRange(numBottomTriangulations); ++i) {
      CHTriangulation* mesh = bottomTriangulations[i];
      if (mesh == nullptr || mesh->GetNumTriangles() < 1) continue;
      if (combined == nullptr) {
        combined = std::make_unique<CHTriangulation>(mesh);  // its scales, then CopyFromHTriangulation
      } else {
        combined->AppendTriangulation(mesh);
      }
    }
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  }
  return combined.release();
}

DmTriangulationStatic* QsCBottomTriangulationsBase::getCombinedDmTriangulation() const {
  std::unique_ptr<DmTriangulationStatic> combined;
  try {
    for (int i = 0; i < InRange(numBottomTriangulations); ++i) {
      const CHTriangulation* mesh = bottomTriangulations[i];
      if (mesh == nullptr) continue;
      const std::unique_ptr<DmTriangulationStatic> part(mesh->CreateDmTriangulationFromHTriangulation());
      if (!part->IsValid()) continue;
      if (combined == nullptr) combined = std::make_unique<DmTriangulationStatic>();
      combined->Combine(*part);
    }
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  }
  return combined.release();
}
