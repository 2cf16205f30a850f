// The demo's restoration analysis: the approximate maximum angle of the crown's side wall from a
// restoration octree, the crown's footprint hull seen along y, a bridge's two bottom meshes combined, and
// whether the crown fits a milling blank.
#include "cli/DemoRestoration.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <numbers>
#include <vector>

#include "cli/Formats.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/DmTriangulationStatic.h"
#include "qssse/restoration/HDecideDmTriInDmTri.h"
#include "qssse/restoration/QsBottomTriangulationsBase.h"
#include "qssse/restoration/QsDmTriangulationTo2DHull.h"
#include "qssse/restoration/RestorationOctree.h"

namespace qssse::tool {
namespace {

// A restoration's bottom meshes as the demo fills them.
class DemoBottoms : public QsCBottomTriangulationsBase {
 public:
  void Add(CHTriangulation* mesh) { bottomTriangulations[numBottomTriangulations++] = mesh; }
};

// The box [lo, hi] as a closed base-library mesh.
DmTriangulationStatic BoxMesh(const SSEPoint& lo, const SSEPoint& hi) {
  std::vector<float> c;
  for (int i = 0; i < 8; ++i)
    c.insert(c.end(), {(i & 1) ? hi.x : lo.x, (i & 2) ? hi.y : lo.y, (i & 4) ? hi.z : lo.z});
  return DmTriangulationStatic(c, {0, 2, 1, 1, 2, 3, 4, 5, 6, 5, 7, 6, 0, 1, 4, 1, 5, 4,
                                   2, 6, 3, 3, 6, 7, 0, 4, 2, 2, 4, 6, 1, 3, 5, 3, 7, 5});
}

void RunOctree(CHTriangulation& mesh, const SSEPoint& lo, const SSEPoint& hi, Summary& s) {
  Stopwatch t;
  // Five levels: the two layers next to the centre plane are a sixteenth of the crown's extent thick.
  const float extent = std::max({hi.x - lo.x, hi.y - lo.y, hi.z - lo.z});
  CRestorationOctree tree(hi, lo, extent / 32.0f);
  tree.CalculateOctreeEntries(&mesh, 0);
  const float angle = tree.CalcApproximateMaxRestorationAngle(&mesh, 0);
  const double ms = t.Ms();
  char detail[160];
  std::snprintf(detail, sizeof detail, "%d levels, %d bricks, max restoration angle %.1f deg",
                tree.GetNumLevels(), tree.GetNumBricks(), angle * 180.0 / std::numbers::pi);
  s.Step("restoration octree", detail, ms);
  s.Result("octreeLevels", tree.GetNumLevels());
  s.Result("octreeBricks", tree.GetNumBricks());
  s.Result("restorationAngle", angle);
}

// The hull points keep x and y of their vertices and carry the y range in z; the silhouette drawn is x
// against the height of each point's vertex (a height-field mesh has one vertex per x, y position).
void RunFootprint(DmTriangulationStatic& dm, Summary& s,
                  const std::function<std::string(const std::string&)>& out) {
  Stopwatch t;
  const QsDmTriangulationTo2DHull hull(dm);
  const double ms = t.Ms();
  OutlinePoints silhouette;
  for (int i = 0; i < hull.GetNumPoints(); ++i) {
    float x = 0, y = 0, z = 0;
    hull.GetPoint(i, x, y, z);
    float height = 0;
    for (int v = 0; v < dm.GetNumVertices(); ++v) {
      const CbVector3f p = dm.GetVertex(v);
      if (p.x == x && p.y == y) {
        height = p.z;
        break;
      }
    }
    silhouette.push_back({x, height, 0.0f});  // the picture puts the largest value at the top
  }
  float yMin = 0, yMax = 0, unused = 0;
  if (hull.GetNumPoints() > 0) {
    hull.GetPoint(0, unused, unused, yMin);
    hull.GetPoint(hull.GetNumPoints() - 1, unused, unused, yMax);
  }
  char detail[160];
  std::snprintf(detail, sizeof detail, "%d points seen along y, y range %.2f .. %.2f mm", hull.GetNumPoints(),
                yMin, yMax);
  s.Step("footprint hull", detail, ms);
  s.Result("footprintPoints", hull.GetNumPoints());
  WriteFileBytes(out("footprint.svg"), EncodeSvg({{silhouette, "#16a085", "#d1f2eb", true}}, 0, 0));
  s.File("footprint.svg");
}

// A bridge: the crown and a copy beside it as two bottom meshes, with an empty slot between.
void RunBottoms(CHTriangulation& mesh, const SSEPoint& lo, const SSEPoint& hi, Summary& s) {
  Stopwatch t;
  DemoBottoms bottoms;
  bottoms.Add(new CHTriangulation(&mesh));
  bottoms.Add(nullptr);
  auto* second = new CHTriangulation(&mesh);
  bottoms.Add(second);
  second->ShiftTriangulation(hi.x - lo.x + 2.0f, 0.0f, 0.0f);
  bottoms.ShiftTriangulations(0.0f, 0.0f, -1.0f, false);
  const std::unique_ptr<CHTriangulation> combined(bottoms.getCombinedHTriangulation());
  const std::unique_ptr<DmTriangulationStatic> combinedDm(bottoms.getCombinedDmTriangulation());
  const double ms = t.Ms();
  const int triangles = combined ? combined->GetNumTriangles() : 0;
  const int vertices = combinedDm ? combinedDm->GetNumVertices() : 0;
  s.Step("bottom meshes",
         "2 meshes and an empty slot: " + std::to_string(triangles) + " triangles, " +
             std::to_string(vertices) + " vertices",
         ms);
  s.Result("combinedTriangles", triangles);
  s.Result("combinedVertices", vertices);
}

// The crown in a blank 1 mm larger on every side, and in one whose top is 1 mm too low.
void RunBlank(const DmTriangulationStatic& dm, const SSEPoint& lo, const SSEPoint& hi, Summary& s) {
  const SSEPoint blankLo = qssse::MakeSSEPoint(lo.x - 1, lo.y - 1, lo.z - 1);
  const SSEPoint blankHi = qssse::MakeSSEPoint(hi.x + 1, hi.y + 1, hi.z + 1);
  const SSEPoint lowHi = qssse::MakeSSEPoint(hi.x + 1, hi.y + 1, hi.z - 1);
  const DmTriangulationStatic blank = BoxMesh(blankLo, blankHi), low = BoxMesh(blankLo, lowHi);
  Stopwatch t;
  const CHDecideDmTriInDmTri fits(&dm, &blank), tooLow(&dm, &low);
  const double ms = t.Ms();
  CbVector3f top;
  fits.GetHighestRestaurationPoint(top);
  const auto word = [](const CHDecideDmTriInDmTri& d) {
    switch (d.GetDecision()) {
      case CHDecideDmTriInDmTri::Decision::Inside:
        return "inside";
      case CHDecideDmTriInDmTri::Decision::SurfacesMeet:
        return "surfaces meet";
      case CHDecideDmTriInDmTri::Decision::Outside:
        return "outside";
      default:
        return "undecided";
    }
  };
  char detail[160];
  std::snprintf(detail, sizeof detail, "1 mm margin: %s; top 1 mm short: %s", word(fits), word(tooLow));
  s.Step("restoration in blank", detail, ms);
  s.Result("insideBlank", fits.IsRestorationInsideBlock());
  s.Result("insideLowBlank", tooLow.IsRestorationInsideBlock());
  s.Result("crownTop", top.z);
}

}  // namespace

void RunRestorationDemo(CHTriangulation& crown, Summary& s,
                        const std::function<std::string(const std::string&)>& out) {
  // A copy (filing sets marks) numbered by position, as the octree's entries are the records' index
  // fields and the removal by height left the old positions there; with true per-triangle maxima, which
  // the removal also replaced by the minima.
  CHTriangulation mesh;
  mesh.BaseInitialization(crown.GetScaleX(), crown.GetScaleY(), crown.GetScaleZ());
  mesh.Combine(&crown, nullptr);
  mesh.CalcSTV();
  mesh.CalcBoundingBox();
  SSEPoint lo, hi;
  mesh.GetMinPoint(lo);
  mesh.GetMaxPoint(hi);
  std::unique_ptr<DmTriangulationStatic> dm(mesh.CreateDmTriangulationFromHTriangulation());
  RunOctree(mesh, lo, hi, s);
  RunFootprint(*dm, s, out);
  RunBottoms(mesh, lo, hi, s);
  RunBlank(*dm, lo, hi, s);
}

}  // namespace qssse::tool
