#include "qssse/restoration/RestorationOctree.h"

#include <cmath>

#include "qssse/mesh/HTriangulation.h"
#include "qssse/vector/SimdOps.h"

namespace simd = qssse::simd;

namespace {

// The planar (x, y) length of a - b, in single precision.
float PlanarDistance(const SSEPoint& a, const SSEPoint& b) {
  const float dx = a.x - b.x, dy = a.y - b.y;
  return std::sqrt(dx * dx + dy * dy);
}

// One layer, collected from the accumulators' start values: for each root child in firstOctant ..
// firstOctant + 3, its children firstHalf .. firstHalf + 3 with their descendants.
void CollectLayer(CHOctree& tree, CHTriangulation* mesh, int list, int firstOctant, int firstHalf,
                  SSEPoint& maxAcc, SSEPoint& minAcc) {
  maxAcc.m = simd::splat(-1000000.0f);
  minAcc.m = simd::splat(1000000.0f);
  for (int o = firstOctant; o < firstOctant + 4; ++o) {
    const t_hoctreeelement* octant = tree.GetStem()->children[o];
    if (octant == nullptr) continue;
    for (int h = firstHalf; h < firstHalf + 4; ++h)
      tree.FindMinMaxPointTriangulation(mesh, maxAcc, minAcc, octant->children[h], list);
  }
}

}  // namespace

CRestorationOctree::CRestorationOctree(const SSEPoint& high, const SSEPoint& low, float cell)
    : CHOctree(high, low, cell), zBottom(0.0f), zTop(0.0f), rBottom(0.0f), rTop(0.0f) {}

void CRestorationOctree::FindMinRadiusTopTriangulation(CHTriangulation* mesh, int list) {
  if (root == nullptr) return;
  SSEPoint maxAcc, minAcc;
  CollectLayer(*this, mesh, list, 4, 0, maxAcc, minAcc);
  const float r1 = PlanarDistance(maxAcc, root->center), r2 = PlanarDistance(root->center, minAcc);
  rTop = r2 <= r1 ? r2 : r1;
  zTop = minAcc.z;
}

void CRestorationOctree::FindMaxRadiusBottomTriangulation(CHTriangulation* mesh, int list) {
  if (root == nullptr) return;
  SSEPoint maxAcc, minAcc;
  CollectLayer(*this, mesh, list, 0, 4, maxAcc, minAcc);
  const float r1 = PlanarDistance(maxAcc, root->center), r2 = PlanarDistance(root->center, minAcc);
  rBottom = r1 <= r2 ? r2 : r1;
  zBottom = maxAcc.z;
}

void CRestorationOctree::FindLowestZEntry(CHTriangulation*, int) {}

float CRestorationOctree::CalcApproximateMaxRestorationAngle(CHTriangulation* mesh, int list) {
  FindMinRadiusTopTriangulation(mesh, list);
  FindMaxRadiusBottomTriangulation(mesh, list);
  return std::atan((rBottom - rTop) / (zBottom - zTop) + 0.0001f) + 0.0875f;
}
