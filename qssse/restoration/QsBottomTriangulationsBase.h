#pragma once
#include <cstdint>
#include <memory>

#include "qssse/platform/Export.h"

class CHTriangulation;
class CSSE3dPolygon;
class DmTriangulationStatic;

// The bottom meshes of a restoration and its restoration lines (outlines), held side by side in two
// fixed arrays of 25 that derived classes fill: the first numBottomTriangulations entries of
// bottomTriangulations (entries may be null) and the first numRestorationLines entries of
// restorationLines (all non-null). The class owns every object in both arrays and releases it; it applies
// one geometric edit to all of them at once and merges the meshes into one.
//
// Derived classes must stay within the capacity of 25; a count outside 0..25 is read as clamped into it,
// so nothing beyond the arrays is touched. A pointer that stands in several slots is released once.
//
// Rotations are right-handed (counter-clockwise seen from the tip of the axis) about the coordinate axes
// through the origin, angles in radians: "about x by a, then about y by b" is p' = Ry(b) Rx(a) p.
//
// Copies share: copy construction and assignment copy both arrays and counts, so the two objects hold the
// same meshes and lines. Ownership is shared with them: an object lets go of its objects in the clean-up
// members and its destructor, and they are deleted when the last object holding them lets go, so the
// copies may be destroyed in any order. (Filling the arrays of an object that still shares them, without
// a clean-up first, leaves the new objects unreleased.)
class QSSSE_API QsCBottomTriangulationsBase {
 public:
  static constexpr int kCapacity = 25;

  // Both arrays all null, both counts 0.
  QsCBottomTriangulationsBase();
  QsCBottomTriangulationsBase(const QsCBottomTriangulationsBase& other);
  // Lets go of the objects held (as the two clean-ups do), then shares other's. Self-assignment does
  // nothing.
  QsCBottomTriangulationsBase& operator=(const QsCBottomTriangulationsBase& other);
  // CleanUpBottomTriangulations, then CleanUpRestorationData.
  virtual ~QsCBottomTriangulationsBase();

  // Entry i, or null when i < 0 or i >= the count.
  CHTriangulation* GetBottomTriangulation(int i) const;
  CSSE3dPolygon* GetRestorationLine(int i) const;
  int GetNumBottomTriangulations() const { return numBottomTriangulations; }
  int GetNumRestorationLines() const { return numRestorationLines; }
  // True when every one of the first count meshes is non-null (true for count 0).
  bool CheckAllBottomTriangulationsValid() const;

  // ---- edits of every non-null mesh, in array order ----
  // CHTriangulation::ShiftTriangulation(dx, dy, dz); the bool is accepted and ignored.
  void ShiftTriangulations(float dx, float dy, float dz, bool);
  // CHTriangulation::BlowTriangulation on every mesh that has triangles.
  void BlowTriangulations(float fx, float fy, float fz);
  // CHTriangulation::ReScaleTriangulation.
  void ReScaleBottomTriangulations(float sx, float sy, float sz);
  // Rotate corners and normals (CHTriangulation::TransformVertices, which recomputes S/T/V and the box):
  // about z by a; about x by a, then about y by b; about x by a, then about z by b.
  void TransformTriangulations(float a);
  void TransformTriangulationsXY(float a, float b);
  void TransformTriangulationsXZ(float a, float b);

  // ---- edits of every restoration line, in array order ----
  // The lines in range must be polygons; a null one is skipped rather than dereferenced.
  // Adds (dx, dy, dz) to every point, then CalcBoundingBox (CSSE3dPolygon::ShiftLine).
  void ShiftLines(float dx, float dy, float dz);
  // Rotate every point about z by a; about x by a, then about y by b. Then CalcBoundingBox.
  void TransformLines(float a);
  void TransformLinesXY(float a, float b);

  // A new mesh (the caller owns it) holding the triangles of every non-null mesh with triangles, in
  // array order: a deep copy of the first (CHTriangulation's copy constructor, so its stored maxima are
  // its minima), the others appended with AppendTriangulation. Null when no mesh has triangles. Throws
  // CMemoryException.
  CHTriangulation* getCombinedHTriangulation() const;
  // A new base-library mesh (the caller owns it) combining the conversion of every non-null mesh that
  // passes the validity query (has triangles), in array order; null when none does. Each mesh's equal
  // corners are merged, meshes are not merged with each other. Throws CMemoryException.
  DmTriangulationStatic* getCombinedDmTriangulation() const;

 protected:
  // For each of the first count entries that is not null: FreeTriangulation, then delete (when this
  // object is the last to hold them); count = 0. The slots keep their old values; only the count marks
  // them invalid.
  void CleanUpBottomTriangulations();
  // For each of the first count entries that is not null: delete (when this object is the last to hold
  // them); count = 0.
  void CleanUpRestorationData();

  // Members in their declared order; filled by derived classes.
  CHTriangulation* bottomTriangulations[kCapacity];
  std::int32_t numBottomTriangulations;
  CSSE3dPolygon* restorationLines[kCapacity];
  std::int32_t numRestorationLines;

 private:
  // One token per array, shared by the objects that share that array's contents.
  std::shared_ptr<const char> meshOwners;
  std::shared_ptr<const char> lineOwners;
};
