#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <vector>

#include "MeshTestSupport.h"
#include "qssse/platform/DmTriangulationDynamic.h"
#include "qssse/platform/DmTriangulationStatic.h"
#include "qssse/platform/QsTriangulationStatic.h"


TEST(HTriangulationConvert, SharedCornersBecomeSharedVerticesAndComeBackAsCornersAndEmptyStaysEmpty) {
  CHTriangulation t;
  Triangles(t, {{P(0, 0, 0, 1), P(1, 0, 0), P(0, 1, 0)},  // w is dropped
                {P(1, 0, 0), P(1, 1, 0), P(0, 1, 0)},
                {P(-0.0f, 0, 0), P(1, 0, 0), P(1, 1, 2)}});  // -0 meets 0
  std::unique_ptr<DmTriangulationStatic> dm(t.CreateDmTriangulationFromHTriangulation());
  ASSERT_EQ(dm->GetNumVertices(), 5);
  EXPECT_EQ(std::vector<int>(dm->GetIndices(), dm->GetIndices() + 9),
            (std::vector<int>{0, 1, 2, 1, 3, 2, 0, 1, 4}));
  EXPECT_EQ(dm->GetVertex(4), CbVector3f(1, 1, 2));

  // Back, with the builder's follow-up calls: box, S/T/V, unit normals; the scales are only stored.
  CHTriangulation back(dm.get(), 0.5f, 0.5f, 2.0f);
  ASSERT_EQ(back.GetNumTriangles(), 3);
  EXPECT_POINT(back.GetEdgeArray()[0], 0, 0, 0, 0);
  EXPECT_POINT(back.GetEdgeArray()[5], 0, 1, 0, 0);
  EXPECT_POINT(back.GetEdgeArray()[8], 1, 1, 2, 0);
  SSEPoint hi;
  back.GetMaxPoint(hi);
  EXPECT_POINT(hi, 1, 1, 2, 0);
  EXPECT_POINT(back.GetSArray()[1], 0, 1, 0, 0);
  EXPECT_POINT(back.GetNormalArray()[0], 0, 0, 1, 0);
  EXPECT_EQ(back.GetScaleZ(), 2.0f);

  std::unique_ptr<QsCTriangulationStatic> qs(t.CreateQsCTriangulationFromHTriangulation());
  EXPECT_EQ(qs->GetNumVertices(), 5);
  EXPECT_EQ(qs->GetIndices()[4], 3);

  // Empty meshes convert to empty meshes.
  CHTriangulation empty(0, 1, 1, 1);
  dm.reset(empty.CreateDmTriangulationFromHTriangulation());
  ASSERT_NE(dm, nullptr);
  EXPECT_FALSE(dm->IsValid());
  EXPECT_EQ(CHTriangulation(dm.get(), 1, 1, 1).GetNumTriangles(), 0);
  EXPECT_EQ(CHTriangulation(static_cast<DmTriangulationStatic*>(nullptr), 1, 1, 1).GetNumTriangles(), 0);
  qs.reset(empty.CreateQsCTriangulationFromHTriangulation());
  EXPECT_EQ(qs->GetNumTriangles(), 0);
}

TEST(HTriangulationConvert, DynamicMeshesBuildTheSameTriangles) {
  DmTriangulationDynamic d;
  for (const CbVector3f& p :
       {CbVector3f(0, 0, 0), CbVector3f(2, 0, 0), CbVector3f(0, 2, 0), CbVector3f(2, 2, 1)})
    d.AddVertex(p);
  d.AddTriangle(0, 1, 2);
  d.AddTriangle(2, 1, 3);
  DmTriangulationStatic s = d.CreateStatic();
  CHTriangulation a(&d, 1, 1, 1), b(&s, 1, 1, 1);
  ASSERT_EQ(a.GetNumTriangles(), 2);
  for (int i = 0; i < 6; ++i) {
    EXPECT_TRUE(meshtest::SamePoint(a.GetEdgeArray()[i], b.GetEdgeArray()[i])) << i;
    EXPECT_TRUE(meshtest::SamePoint(a.GetNormalArray()[i], b.GetNormalArray()[i])) << i;
  }
}

TEST(HTriangulationConvert, RoundTripKeepsEveryCornerOfRandomGridMeshes) {
  std::mt19937 rng(42);
  const int n = 500;
  CHTriangulation t(n, 1, 1, 1);
  const auto c = [&] { return static_cast<float>(rng() % 10); };
  for (int i = 0; i < n; ++i) SetTriangle(t, i, P(c(), c(), 0), P(c(), c(), 0), P(c(), c(), 1));
  std::unique_ptr<DmTriangulationStatic> dm(t.CreateDmTriangulationFromHTriangulation());
  EXPECT_LE(dm->GetNumVertices(), 200);  // at most 10 x 10 x 2 distinct corners
  CHTriangulation back(dm.get(), 1, 1, 1);
  ASSERT_EQ(back.GetNumTriangles(), n);
  for (int i = 0; i < 3 * n; ++i)
    EXPECT_TRUE(meshtest::SamePoint(back.GetEdgeArray()[i], t.GetEdgeArray()[i])) << i;
}
