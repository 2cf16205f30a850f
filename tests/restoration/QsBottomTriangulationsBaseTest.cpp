#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <numbers>
#include <vector>

#include "mesh/MeshTestSupport.h"
#include "polygon/PolygonTestUtil.h"
#include "qssse/platform/DmTriangulationStatic.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/restoration/QsBottomTriangulationsBase.h"

using meshtest::P;

namespace {

constexpr float kQuarter = static_cast<float>(std::numbers::pi / 2);

// A derived class as restorations fill the container: meshes and lines pushed at the end.
class Bottoms : public QsCBottomTriangulationsBase {
 public:
  void AddMesh(CHTriangulation* m) { bottomTriangulations[numBottomTriangulations++] = m; }
  void AddLine(CSSE3dPolygon* l) { restorationLines[numRestorationLines++] = l; }
  CHTriangulation* Slot(int i) const { return bottomTriangulations[i]; }
  void SetMeshCount(int n) { numBottomTriangulations = n; }
  using QsCBottomTriangulationsBase::CleanUpBottomTriangulations;
  using QsCBottomTriangulationsBase::CleanUpRestorationData;
};

// One triangle on the unit vectors, with its derived data.
CHTriangulation* UnitTriangle(float offset = 0.0f) {
  auto* m = new CHTriangulation(1, 1, 1, 1);
  meshtest::SetTriangle(*m, 0, P(1 + offset, 0, 0), P(offset, 1, 0), P(offset, 0, 1));
  m->CalcSTV();
  m->CalcBoundingBox();
  return m;
}

CSSE3dPolygon* UnitLine() { return new CSSE3dPolygon(polytest::Make({{1, 0, 0}, {0, 1, 0}, {0, 0, 1}})); }

void ExpectNear(const SSEPoint& p, float x, float y, float z) {
  EXPECT_NEAR(p.x, x, 1e-6f);
  EXPECT_NEAR(p.y, y, 1e-6f);
  EXPECT_NEAR(p.z, z, 1e-6f);
}

void ExpectLinePoint(const CSSE3dPolygon& l, int i, float x, float y, float z) {
  SSEPoint p;
  l.GetPointSSE(i, p);
  ExpectNear(p, x, y, z);
}

}  // namespace

TEST(QsBottomTriangulationsBase, CombiningSkipsNullAndEmptyMeshesAndKeepsArrayOrder) {
  Bottoms b;
  EXPECT_TRUE(b.CheckAllBottomTriangulationsValid());  // a fresh container: empty, valid, combines to nothing
  EXPECT_EQ(b.getCombinedHTriangulation(), nullptr);
  EXPECT_EQ(b.getCombinedDmTriangulation(), nullptr);
  EXPECT_EQ(b.GetRestorationLine(0), nullptr);
  b.AddMesh(nullptr);
  b.AddMesh(new CHTriangulation(0, 1, 1, 1));
  CHTriangulation* a = UnitTriangle();
  a->ReScaleTriangulation(2, 3, 4);  // corners scaled; the copy takes these scales
  b.AddMesh(a);
  b.AddMesh(UnitTriangle(10));
  EXPECT_FALSE(b.CheckAllBottomTriangulationsValid());
  EXPECT_EQ(b.GetBottomTriangulation(2), a);
  EXPECT_EQ(b.GetBottomTriangulation(4), nullptr);
  EXPECT_EQ(b.GetBottomTriangulation(-1), nullptr);

  std::unique_ptr<CHTriangulation> h(b.getCombinedHTriangulation());
  ASSERT_EQ(h->GetNumTriangles(), 2);
  EXPECT_EQ(h->GetScaleY(), 3.0f);
  EXPECT_POINT(h->GetEdgeArray()[0], 2, 0, 0, 0);   // A's triangle, scaled
  EXPECT_POINT(h->GetEdgeArray()[3], 11, 0, 0, 0);  // then B's
  EXPECT_NE(h->GetEdgeArray(), a->GetEdgeArray());  // a deep copy

  std::unique_ptr<DmTriangulationStatic> dm(b.getCombinedDmTriangulation());
  ASSERT_NE(dm, nullptr);
  EXPECT_EQ(dm->GetNumTriangles(), 2);
  EXPECT_EQ(dm->GetNumVertices(), 6);
  EXPECT_EQ(dm->GetVertex(3), CbVector3f(11, 0, 0));
}

TEST(QsBottomTriangulationsBase, CleanUpLowersTheCountAndLeavesTheSlot) {
  Bottoms b;
  b.AddMesh(UnitTriangle());
  b.AddLine(UnitLine());
  const CHTriangulation* before = b.Slot(0);
  b.CleanUpBottomTriangulations();
  b.CleanUpRestorationData();
  EXPECT_EQ(b.GetNumBottomTriangulations(), 0);
  EXPECT_EQ(b.GetBottomTriangulation(0), nullptr);
  EXPECT_EQ(b.Slot(0), before);  // only the count marks it invalid
  EXPECT_EQ(b.GetNumRestorationLines(), 0);
}

TEST(QsBottomTriangulationsBase, ShiftIgnoresItsFlagAndEditsSkipNullEntries) {
  Bottoms a, b;
  for (Bottoms* c : {&a, &b}) {
    c->AddMesh(nullptr);
    c->AddMesh(UnitTriangle());
    c->AddMesh(new CHTriangulation(0, 1, 1, 1));
  }
  a.ShiftTriangulations(1, 2, 3, true);
  b.ShiftTriangulations(1, 2, 3, false);
  EXPECT_POINT(a.GetBottomTriangulation(1)->GetEdgeArray()[0], 2, 2, 3, 0);
  for (int i = 0; i < 3; ++i)
    EXPECT_TRUE(meshtest::SamePoint(a.GetBottomTriangulation(1)->GetEdgeArray()[i],
                                    b.GetBottomTriangulation(1)->GetEdgeArray()[i]));
  a.BlowTriangulations(2, 1, 1);
  EXPECT_POINT(a.GetBottomTriangulation(1)->GetEdgeArray()[0], 4, 2, 3, 0);
  a.ReScaleBottomTriangulations(1, 1, 0.5f);
  EXPECT_POINT(a.GetBottomTriangulation(1)->GetEdgeArray()[0], 4, 2, 1.5f, 0);
  EXPECT_EQ(a.GetBottomTriangulation(2)->GetNumTriangles(), 0);

  a.AddLine(UnitLine());
  a.ShiftLines(1, 2, 3);
  ExpectLinePoint(*a.GetRestorationLine(0), 2, 1, 2, 4);
  ExpectNear(a.GetRestorationLine(0)->GetTopRight(), 2, 3, 4);  // the box recomputed
}

TEST(QsBottomTriangulationsBase, RotationsAreRightHandedAboutTheAxesInTheirOrder) {
  using B = QsCBottomTriangulationsBase;
  struct Case {
    void (B::*mesh)(float, float);
    void (B::*line)(float, float);
    float a, b;
    float expected[3][3];  // images of (1, 0, 0), (0, 1, 0), (0, 0, 1)
  };
  const Case cases[] = {
      // about x by 90 degrees: y -> z, z -> -y
      {&B::TransformTriangulationsXY, &B::TransformLinesXY, kQuarter, 0, {{1, 0, 0}, {0, 0, 1}, {0, -1, 0}}},
      // about y by 90 degrees: z -> x, x -> -z
      {&B::TransformTriangulationsXY, &B::TransformLinesXY, 0, kQuarter, {{0, 0, -1}, {0, 1, 0}, {1, 0, 0}}},
      // about x, then about y: y -> z -> x
      {&B::TransformTriangulationsXY, &B::TransformLinesXY, kQuarter, kQuarter, {{0, 0, -1}, {1, 0, 0}, {0, -1, 0}}},
      // about x, then about z: z -> -y -> x
      {&B::TransformTriangulationsXZ, nullptr, kQuarter, kQuarter, {{0, 1, 0}, {0, 0, 1}, {1, 0, 0}}},
  };
  for (const Case& c : cases) {
    Bottoms b;
    b.AddMesh(UnitTriangle());
    b.AddLine(UnitLine());
    (b.*c.mesh)(c.a, c.b);
    if (c.line != nullptr) (b.*c.line)(c.a, c.b);
    for (int k = 0; k < 3; ++k) {
      ExpectNear(b.GetBottomTriangulation(0)->GetEdgeArray()[k], c.expected[k][0], c.expected[k][1],
                 c.expected[k][2]);
      if (c.line != nullptr)
        ExpectLinePoint(*b.GetRestorationLine(0), k, c.expected[k][0], c.expected[k][1], c.expected[k][2]);
    }
  }
  // About z: x -> y, y -> -x; S/T/V and the box follow.
  Bottoms b;
  b.AddMesh(UnitTriangle());
  b.AddLine(UnitLine());
  b.TransformTriangulations(kQuarter);
  b.TransformLines(kQuarter);
  const CHTriangulation& m = *b.GetBottomTriangulation(0);
  ExpectNear(m.GetEdgeArray()[0], 0, 1, 0);
  ExpectNear(m.GetEdgeArray()[1], -1, 0, 0);
  ExpectNear(m.GetSArray()[0], -1, -1, 0);
  ExpectNear(*m.GetTriangle(0)->minPoint, -1, 0, 0);
  ExpectLinePoint(*b.GetRestorationLine(0), 0, 0, 1, 0);
  ExpectLinePoint(*b.GetRestorationLine(0), 1, -1, 0, 0);
  EXPECT_TRUE(b.GetRestorationLine(0)->IsBoundingBoxCalculated());
}

TEST(QsBottomTriangulationsBase, CopiesShareTheObjectsAndEitherMayBeDestroyedFirst) {
  auto a = std::make_unique<Bottoms>();
  a->AddMesh(UnitTriangle());
  a->AddLine(UnitLine());
  Bottoms b;
  b.AddMesh(UnitTriangle(5));  // released when b takes a's objects
  b = *a;
  EXPECT_EQ(b.GetBottomTriangulation(0), a->GetBottomTriangulation(0));
  b.ShiftTriangulations(1, 0, 0, false);  // seen through both
  EXPECT_POINT(a->GetBottomTriangulation(0)->GetEdgeArray()[0], 2, 0, 0, 0);
  a.reset();  // b still holds the mesh and the line
  EXPECT_EQ(b.GetBottomTriangulation(0)->GetNumTriangles(), 1);
  EXPECT_EQ(b.GetRestorationLine(0)->GetNumPoints(), 3);

  Bottoms c(b);
  c.CleanUpBottomTriangulations();  // lets go without deleting: b still holds the mesh
  EXPECT_EQ(b.GetBottomTriangulation(0)->GetNumTriangles(), 1);
  c.AddMesh(UnitTriangle());  // c owns this one alone
  const Bottoms& same = b;
  b = same;  // self-assignment keeps everything
  EXPECT_EQ(b.GetNumBottomTriangulations(), 1);
}

TEST(QsBottomTriangulationsBase, ASlotRepeatedIsReleasedOnceAndCountsAreClamped) {
  auto b = std::make_unique<Bottoms>();
  CHTriangulation* m = UnitTriangle();
  b->AddMesh(m);
  b->AddMesh(m);
  CSSE3dPolygon* l = UnitLine();
  b->AddLine(l);
  b->AddLine(l);
  b.reset();  // no double delete

  Bottoms c;
  c.AddMesh(UnitTriangle());
  c.AddMesh(nullptr);
  c.SetMeshCount(1000);                                 // a derived class gone wrong
  EXPECT_FALSE(c.CheckAllBottomTriangulationsValid());  // the slots beyond 1 are null
  EXPECT_EQ(c.GetBottomTriangulation(25), nullptr);
  c.ShiftTriangulations(1, 1, 1, false);
}
