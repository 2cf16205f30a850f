#include <gtest/gtest.h>

#include <cmath>

#include "MeshTestSupport.h"

using meshtest::Pos;

TEST(HTriangulation, DefaultAndEmptyObjectsAreSafeToUseWithASentinelBox) {
  CHTriangulation t;
  EXPECT_EQ(t.GetNumTriangles(), 0);
  EXPECT_EQ(t.GetTriangles(), nullptr);
  EXPECT_EQ(t.GetTriangle(0), nullptr);
  SSEPoint p;
  t.GetMinPoint(p);
  EXPECT_POINT(p, 0, 0, 0, 0);
  t.CalcSTV();
  t.CalcBoundingBox();
  t.CalcCenterPoint();
  t.ShiftTriangulation(1, 1, 1);
  t.RemoveTrianglesBelowZ(0);
  t.BaseInitialization(2, 3, 4);
  EXPECT_FLOAT_EQ(t.GetScanDiagonal(), std::sqrt(13.0f));

  // The box of an empty mesh is the sentinels, its centre NaN.
  CHTriangulation none(0, 1, 1, 1);
  none.CalcBoundingBox();
  auto [lo, hi] = meshtest::Box(none);
  EXPECT_POINT(lo, 1000000, 1000000, 1000000, 1000000);
  EXPECT_POINT(hi, -1000000, -1000000, -1000000, -1000000);
  none.CalcCenterPoint();
  none.GetCenterPoint(lo);
  EXPECT_TRUE(std::isnan(lo.x));
}

TEST(HTriangulation, CreateNumbersAimsAndClearsEveryRecord) {
  CHTriangulation t(3, 1, 1, 1);
  ASSERT_EQ(t.GetNumTriangles(), 3);
  for (int i = 0; i < 3; ++i) {
    const t_htriangle* r = t.GetTriangle(i);
    EXPECT_EQ(r->index, i);
    EXPECT_EQ(r->mark, -1);
    EXPECT_EQ(r->next, nullptr);
    for (int k = 0; k < 3; ++k) {
      EXPECT_EQ(r->point[k], t.GetEdgeArray() + 3 * i + k);
      EXPECT_EQ(r->normal[k], t.GetNormalArray() + 3 * i + k);
      EXPECT_EQ(r->neighbour[k], nullptr);
      EXPECT_POINT(*r->point[k], 0, 0, 0, 0);
    }
    EXPECT_EQ(r->vVector, t.GetVArray() + i);
  }
  EXPECT_EQ(t.GetTriangle(-1), nullptr);
  EXPECT_EQ(t.GetTriangle(3), nullptr);
  EXPECT_EQ(t.GetMinPointArray(), t.GetMaxPointArray());
}

TEST(HTriangulation, DerivedDataOfOneTriangle) {
  CHTriangulation t;
  Triangles(t, {{P(1, 2, 3, 1), P(4, 0, 3), P(1, 5, -1)}});
  t.CalcSTV();
  EXPECT_POINT(t.GetSArray()[0], 3, -2, 0, -1);
  EXPECT_POINT(t.GetTArray()[0], 0, 3, -4, -1);
  EXPECT_POINT(t.GetVArray()[0], -3, 5, -4, 0);
  EXPECT_POINT(t.GetMinPointArray()[0], 1, 0, -1, 0);
  EXPECT_POINT(t.GetTriangle(0)->maxPoint[0], 4, 5, 3, 1);
  t.CalcBoundingBox();
  SSEPoint lo, hi, c;
  t.GetMinPoint(lo);
  t.GetMaxPoint(hi);
  EXPECT_POINT(lo, 1, 0, -1, 0);
  EXPECT_POINT(hi, 4, 5, 3, 1);
  t.CalcCenterPoint();
  t.GetCenterPoint(c);
  EXPECT_POINT(c, 2, 7.0f / 3.0f, 5.0f / 3.0f, 1.0f / 3.0f);
  // S x T = (-2*-4 - 0*3, 0*0 - 3*-4, 3*3 - 0) = (8, 12, 9), length 17.
  t.CalcNormalsFromVertices();
  for (int k = 0; k < 3; ++k) EXPECT_POINT(t.GetNormalArray()[k], 8.0f / 17, 12.0f / 17, 9.0f / 17, 0);
  EXPECT_POINT(t.GetMainNormalArray()[0], 0, 0, 0, 0);  // not written by CalcNormalsFromVertices
}

TEST(HTriangulation, BoxCoordinatesBeyondTheSentinelsAreKept) {
  CHTriangulation u;
  Triangles(u, {{P(-3e6f, 0, 0), P(3e6f, 0, 0), P(0, 0, 0)}});
  u.CalcBoundingBox();
  auto [lo, hi] = meshtest::Box(u);
  EXPECT_FLOAT_EQ(lo.x, -3e6f);
  EXPECT_FLOAT_EQ(hi.x, 3e6f);
  EXPECT_FLOAT_EQ(lo.y, 0);  // the sentinel only bounds what no corner reaches
}

TEST(HTriangulation, DeepCopyKeepsItsDeliberateQuirksAndAssignmentSharesStorageUntilDetached) {
  CHTriangulation src;
  Triangles(src, {{P(0, 0, 9), P(2, 0, 1), P(0, 2, 1)},
                  {P(2, 0, 1), P(2, 2, 5), P(0, 2, 1)}});
  src.CalcSTV();
  src.CalcBoundingBox();
  src.CalcNeighbours();
  src.SetScanConvResolution(0.5f, 0.25f, 2);
  CHTriangulation copy(&src);
  ASSERT_EQ(copy.GetNumTriangles(), 2);
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(meshtest::SamePoint(copy.GetTriangle(i)->maxPoint[0], src.GetMinPointArray()[i]));
    for (int k = 0; k < 3; ++k)
      EXPECT_EQ(copy.GetTriangle(i)->neighbour[k], src.GetTriangle(i)->neighbour[k]);
    EXPECT_EQ(copy.GetTriangle(i)->mark, src.GetTriangle(i)->mark);
  }
  EXPECT_EQ(copy.GetTriangle(0)->neighbour[1], src.GetTriangle(1));  // into the source, on purpose
  EXPECT_NE(copy.GetEdgeArray(), src.GetEdgeArray());
  EXPECT_TRUE(meshtest::SamePoint(copy.GetEdgeArray()[4], src.GetEdgeArray()[4]));
  EXPECT_FLOAT_EQ(copy.GetScanResY(), 0.25f);
  SSEPoint hi;
  copy.GetMaxPoint(hi);
  EXPECT_POINT(hi, 2, 2, 9, 0);
  // Assignment, unlike the copy, shares the storage until detached.
  CHTriangulation b;
  b = src;
  EXPECT_EQ(b.GetEdgeArray(), src.GetEdgeArray());
  EXPECT_EQ(b.GetPointArray(), src.GetPointArray());
  b.BaseInitialization(1, 1, 1);  // detach: b lets go without freeing what src owns
  EXPECT_EQ(b.GetNumTriangles(), 0);
  EXPECT_NE(b.GetPointArray(), src.GetPointArray());
  EXPECT_EQ(src.GetNumTriangles(), 2);
}

TEST(HTriangulation, WorkingListLinksAndUnlinksInArrayOrder) {
  CHTriangulation t(3, 1, 1, 1);
  t.IndexTriangleList();
  t_htriangle* r = t.GetTriangles();
  EXPECT_EQ(t.GetListHead(), &r[0]);
  EXPECT_EQ(r[1].prev, &r[0]);
  EXPECT_EQ(r[1].next, &r[2]);
  t.DeleteTriangleFromList(&r[1]);  // middle
  EXPECT_EQ(r[0].next, &r[2]);
  EXPECT_EQ(r[2].prev, &r[0]);
  EXPECT_EQ(r[1].next, &r[2]);      // the unlinked record keeps its own links
  t.DeleteTriangleFromList(&r[0]);  // head
  EXPECT_EQ(t.GetListHead(), &r[2]);
  EXPECT_EQ(r[2].prev, nullptr);
  t.DeleteTriangleFromList(&r[2]);  // alone
  EXPECT_EQ(t.GetListHead(), nullptr);
  t.DeleteTriangleFromList(nullptr);
}

TEST(HTriangulation, AppendTriangleWritesTheMaskTableForcesFullCellsAndKeepsToTheCapacity) {
  struct Case {
    int maskA, maskB;
    int count;
    float corners[2][3][2];  // (c, d) of P0, P1, P2, one or two triangles
  };
  // c0 = 10, c1 = 11, d0 = 20, d1 = 21.
  const Case cases[] = {
      {3, 3, 2, {{{10, 20}, {11, 21}, {10, 21}}, {{10, 20}, {11, 20}, {11, 21}}}},
      {3, 2, 1, {{{10, 20}, {11, 21}, {10, 21}}, {}}},
      {3, 1, 1, {{{10, 20}, {11, 20}, {10, 21}}, {}}},
      {1, 3, 1, {{{10, 20}, {11, 20}, {11, 21}}, {}}},
      {2, 3, 1, {{{11, 20}, {11, 21}, {10, 21}}, {}}},
      {3, 0, 0, {}},
      {1, 1, 0, {}},
      {2, 1, 0, {}},
  };
  for (const Case& c : cases) {
    CHTriangulation t(3, 1, 1, 1);
    int counter = 1;
    t.AppendTriangle(c.maskA, c.maskB, 10, 11, 20, 21, 1, 2, 3, 4, counter, false, false);
    EXPECT_EQ(counter, 1 + c.count) << c.maskA << c.maskB;
    for (int k = 0; k < c.count; ++k) {
      for (int j = 0; j < 3; ++j) {
        const SSEPoint& p = *t.GetTriangle(1 + k)->point[j];
        EXPECT_EQ(p.x, c.corners[k][j][0]) << c.maskA << c.maskB << " triangle " << k << " corner " << j;
        EXPECT_EQ(p.y, c.corners[k][j][1]) << c.maskA << c.maskB << " triangle " << k << " corner " << j;
        // h00 at (10,20) = 1, h01 at (10,21) = 2, h10 at (11,20) = 3, h11 at (11,21) = 4.
        EXPECT_EQ(p.z, p.x == 10 ? (p.y == 20 ? 1 : 2) : (p.y == 20 ? 3 : 4));
        EXPECT_EQ(p.w, 0);
      }
    }
    EXPECT_POINT(*t.GetTriangle(0)->point[0], 0, 0, 0, 0);
    if (c.count == 2) {
      EXPECT_EQ(t.GetTriangle(1)->neighbour[0], t.GetTriangle(2));
      EXPECT_EQ(t.GetTriangle(2)->neighbour[2], t.GetTriangle(1));
    }
  }
  // Force-full and the capacity.
  CHTriangulation t(2, 1, 1, 1);
  int counter = 0;
  t.AppendTriangle(1, 2, 0, 1, 0, 1, 0, 0, 0, 0, counter, false, true);  // one corner each side: full
  EXPECT_EQ(counter, 2);
  t.AppendTriangle(3, 3, 0, 1, 0, 1, 0, 0, 0, 0, counter, false, false);  // no room left: nothing
  EXPECT_EQ(counter, 2);
  counter = 0;
  t.AppendTriangle(2, 0, 0, 1, 0, 1, 0, 0, 0, 0, counter, false, true);  // nothing on one side
  EXPECT_EQ(counter, 0);
}

TEST(HTriangulation, AppendTriangleNormalsFollowTheCellSlopes) {
  CHTriangulation t(2, 1, 1, 1);
  int counter = 0;
  // Heights rise by 3 along c and by 4 along d: every corner normal is (-3, -4, 1) / sqrt(26).
  t.AppendTriangle(3, 3, 0, 1, 0, 1, 0, 4, 3, 7, counter, false, false);
  const float s = std::sqrt(26.0f);
  for (int k = 0; k < 6; ++k) EXPECT_POINT(t.GetNormalArray()[k], -3 / s, -4 / s, 1 / s, 0);
  EXPECT_POINT(t.GetMainNormalArray()[1], -3 / s, -4 / s, 1 / s, 0);
  counter = 0;
  t.AppendTriangle(3, 3, 0, 1, 0, 1, 0, 4, 3, 7, counter, true, false);
  for (int k = 0; k < 6; ++k) EXPECT_POINT(t.GetNormalArray()[k], 3 / s, 4 / s, -1 / s, 0);
  // Corners of one cell differ where the slopes differ: h = (0, 0, 0, 2) raises only (c1, d1).
  counter = 0;
  t.AppendTriangle(3, 3, 0, 1, 0, 1, 0, 0, 0, 2, counter, false, false);
  const float r = std::sqrt(5.0f);
  EXPECT_POINT(*t.GetTriangle(0)->normal[0], 0, 0, 1, 0);                         // (c0, d0)
  EXPECT_POINT(*t.GetTriangle(0)->normal[1], -2.0f / 3, -2.0f / 3, 1.0f / 3, 0);  // (c1, d1)
  EXPECT_POINT(*t.GetTriangle(0)->normal[2], -2 / r, 0, 1 / r, 0);                // (c0, d1)
  EXPECT_EQ(Pos(t, t.GetTriangle(0)->neighbour[0]), 1);
}
