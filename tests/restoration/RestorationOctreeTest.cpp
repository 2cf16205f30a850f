#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <memory>
#include <numbers>
#include <vector>

#include "mesh/MeshTestSupport.h"
#include "qssse/restoration/RestorationOctree.h"

using meshtest::P;

namespace {

using Tri = std::array<SSEPoint, 3>;

// A triangle whose box is [x, x + s] x [y, y + s] x [z, z + s].
Tri Box(float x, float y, float z, float s) { return {P(x, y, z), P(x + s, y, z + s), P(x, y + s, z)}; }

// Exposes the protected steps.
class Probe : public CRestorationOctree {
 public:
  using CRestorationOctree::CRestorationOctree;
  using CRestorationOctree::FindLowestZEntry;
  using CRestorationOctree::FindMaxRadiusBottomTriangulation;
  using CRestorationOctree::FindMinRadiusTopTriangulation;
};

// Three levels over [-4, 4]^3: the top layer is z in [0, 2], the bottom layer z in [-2, 0].
const SSEPoint kLow = P(-4, -4, -4), kHigh = P(4, 4, 4);

}  // namespace

TEST(RestorationOctree, LayersAreTheHalfOctantsNextToTheCentrePlane) {
  auto mesh = meshtest::MeshOf({Box(1, 0.5f, 0.5f, 0.25f),      // top layer
                                Box(2.5f, 0, -1, 0.5f),         // bottom layer
                                Box(-3, -3, 2.5f, 0.5f),        // above the top layer: ignored
                                Box(-3.5f, -3.5f, -3, 0.5f)});  // below the bottom layer: ignored
  Probe tree(kHigh, kLow, 1.0f);
  tree.CalculateOctreeEntries(mesh.get(), 2);
  const float angle = tree.CalcApproximateMaxRestorationAngle(mesh.get(), 2);
  // Top: max (1.25, 0.75, 0.75), min (1, 0.5, 0.5) about the centre (0, 0, 0); the smaller radius.
  EXPECT_EQ(tree.GetRTop(), std::sqrt(1.25f));
  EXPECT_EQ(tree.GetZTop(), 0.5f);
  // Bottom: max (3, 0.5, -0.5), min (2.5, 0, -1); the larger radius.
  EXPECT_EQ(tree.GetRBottom(), std::sqrt(9.25f));
  EXPECT_EQ(tree.GetZBottom(), -0.5f);
  // Wider below than above with the bottom lower: a negative quotient, an angle below the allowance.
  const double expected = std::atan((std::sqrt(9.25) - std::sqrt(1.25)) / -1.0 + 0.0001) + 0.0875;
  EXPECT_NEAR(angle, expected, 1e-6);
  EXPECT_LT(angle, 0.0875f);
}

TEST(RestorationOctree, EmptyLayersLeaveTheAccumulatorsAtTheirStartValues) {
  auto mesh = meshtest::MeshOf({Box(-3, -3, 2.5f, 0.5f)});
  for (float cell : {1.0f, 2.0f}) {  // with three levels, and with two (no half octants at all)
    Probe tree(kHigh, kLow, cell);
    tree.CalculateOctreeEntries(mesh.get(), 0);
    const float angle = tree.CalcApproximateMaxRestorationAngle(mesh.get(), 0);
    const float r = std::sqrt(2e12f);  // |(1e6, 1e6)|
    EXPECT_EQ(tree.GetRTop(), r);
    EXPECT_EQ(tree.GetRBottom(), r);
    EXPECT_EQ(tree.GetZTop(), 1e6f);
    EXPECT_EQ(tree.GetZBottom(), -1e6f);
    EXPECT_FLOAT_EQ(angle, std::atan(0.0001f) + 0.0875f);
  }
}

TEST(RestorationOctree, EqualLayerHeightsGiveARightAngleAndTheAllowance) {
  auto mesh = meshtest::MeshOf({Box(0.5f, 0.5f, 0, 0.5f),  // top layer, lowest z 0
                                Box(2, 2, -0.5f, 0.5f)});  // bottom layer, highest z 0
  Probe tree(kHigh, kLow, 1.0f);
  tree.CalculateOctreeEntries(mesh.get(), 0);
  EXPECT_FLOAT_EQ(tree.CalcApproximateMaxRestorationAngle(mesh.get(), 0),
                  static_cast<float>(std::numbers::pi / 2) + 0.0875f);
}

TEST(RestorationOctree, OrderOfFilingAndTheNinthEntryDecideTheRadii) {
  const Tri wide = {P(0.1f, 0.1f, 0.1f), P(1.9f, 1.9f, 1.9f), P(0.1f, 1.9f, 1.0f)};
  const Tri narrow = Box(1.5f, 1.5f, 0.5f, 0.25f);
  // Both lie in one top-layer element; the minimum that enters rTop is the last triangle's.
  auto wideLast = meshtest::MeshOf({narrow, wide});
  auto narrowLast = meshtest::MeshOf({wide, narrow});
  Probe a(kHigh, kLow, 1.0f), b(kHigh, kLow, 1.0f);
  a.CalculateOctreeEntries(wideLast.get(), 0);
  b.CalculateOctreeEntries(narrowLast.get(), 0);
  a.CalcApproximateMaxRestorationAngle(wideLast.get(), 0);
  b.CalcApproximateMaxRestorationAngle(narrowLast.get(), 0);
  EXPECT_FLOAT_EQ(a.GetRTop(), std::sqrt(0.02f));  // |(0.1, 0.1)|
  EXPECT_FLOAT_EQ(b.GetRTop(), std::sqrt(4.5f));   // |(1.5, 1.5)|
  EXPECT_EQ(a.GetZTop(), 0.1f);
  EXPECT_EQ(b.GetZTop(), 0.5f);

  // Nine narrow triangles first, the wide one tenth: it is never read.
  std::vector<Tri> tris(9, narrow);
  tris.push_back(wide);
  auto ten = meshtest::MeshOf(tris);
  Probe c(kHigh, kLow, 1.0f);
  c.CalculateOctreeEntries(ten.get(), 0);
  c.CalcApproximateMaxRestorationAngle(ten.get(), 0);
  EXPECT_FLOAT_EQ(c.GetRTop(), std::sqrt(4.5f));
}

TEST(RestorationOctree, FindLowestZEntryChangesNothing) {
  auto mesh = meshtest::MeshOf({Box(1, 0.5f, 0.5f, 0.25f), Box(2.5f, 0, -1, 0.5f)});
  Probe tree(kHigh, kLow, 1.0f);
  tree.CalculateOctreeEntries(mesh.get(), 0);
  tree.FindMinRadiusTopTriangulation(mesh.get(), 0);
  tree.FindMaxRadiusBottomTriangulation(mesh.get(), 0);
  const std::array<float, 4> before = {tree.GetZBottom(), tree.GetZTop(), tree.GetRBottom(), tree.GetRTop()};
  tree.FindLowestZEntry(mesh.get(), 0);
  EXPECT_EQ(before,
            (std::array<float, 4>{tree.GetZBottom(), tree.GetZTop(), tree.GetRBottom(), tree.GetRTop()}));

  Probe rootless(kHigh, kLow, 100.0f);
  rootless.FindLowestZEntry(mesh.get(), 0);
  EXPECT_TRUE(std::isnan(rootless.CalcApproximateMaxRestorationAngle(mesh.get(), 0)));
  EXPECT_EQ(rootless.GetRTop(), 0.0f);
}
