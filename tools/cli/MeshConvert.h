#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cli/Formats.h"

class CHTriangulation;
class CSSE3dPolygon;
class CSSEMatrix;

// The bridge between the program's plain arrays and the library's mesh, outline and raster objects.
namespace qssse::tool {

// How a height field becomes a mesh: corners strictly above (or below) the threshold, every stepX-th
// column and stepY-th row, corners at (x * scaleX, y * scaleY, height), and, with an outline, only the
// corners inside it by the library's fill rule.
struct HeightMeshOptions {
  float threshold = 0.0f;
  bool above = true;
  int stepX = 1, stepY = 1;
  float scaleX = 1.0f, scaleY = 1.0f;
  const OutlinePoints* outline = nullptr;
  std::string source = "height field";  // names the input in error messages
};

// Throws ToolError(source, ...) when a mesh of this many triangles would need more than half of the
// machine's physical memory (the library and the program's copy for the file together), so that a small
// file of a huge, featureless image is refused instead of exhausting memory.
void CheckMeshFits(std::uint64_t triangles, const std::string& source);

// Builds the mesh with the library's sub-sampled builder, or its outline-clipped form (also for step 1:
// the full-resolution builder pads its count with all-zero triangles, which a mesh file must not hold).
// `heights` is only read. Box and edge vectors are computed; neighbours are not. Throws ToolError on bad
// options or a mesh too large for the machine.
std::unique_ptr<CHTriangulation> BuildHeightMesh(CSSEMatrix& heights, const HeightMeshOptions& o);

// Sets every pixel whose position (x, y) is outside the outline by the library's fill rule to `value`
// and returns how many: the test the outline-clipped builder makes of each corner (on every fourth
// outline point), so the pixels left are the corners it may use.
long long ClipToOutline(CSSEMatrix& m, CSSE3dPolygon& outline, float value);

// The mesh's triangles with their corners welded into shared vertices (MeshDataFromTriangulation).
// Throws when a corner is not finite (an overflowing scale).
MeshData ToMeshData(const CHTriangulation& mesh);

// A library mesh of the triangles (CopyToTriangulation: unit scales, edge vectors and box computed).
// Throws ToolError naming `source` when the mesh has more triangles than the library can count or the
// machine can hold.
std::unique_ptr<CHTriangulation> ToTriangulation(const MeshData& data, const std::string& source);

// Fills the outline into the raster with the library's box-scanning fill (every cell inside by the
// fill rule becomes value; cells outside are left; outline parts beyond the raster paint its border
// cells, as the library clamps its writes).
void FillOutline(CSSE3dPolygon& outline, CSSEMatrix& m, float value);
// Every non-zero pixel becomes the outline's height there (inverse-square-distance average of its
// points' z); returns how many. Shows progress on stderr under `label` when that is a terminal.
long long InterpolateInside(const CSSE3dPolygon& outline, CSSEMatrix& m, const char* label);

// The points into a new polygon (Create, then one SetPoint each).
void ToPolygon(const OutlinePoints& points, CSSE3dPolygon& polygon);

}  // namespace qssse::tool
