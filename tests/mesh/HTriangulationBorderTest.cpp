#include <gtest/gtest.h>

#include <vector>

#include "MeshTestSupport.h"


namespace {

struct Walked {
  std::vector<SSEPoint> points;
  int count = 0;
};

Walked Walk(CHTriangulation& t) {
  Walked w;
  w.count = t.WalkBorderStretches([&](int k, const SSEPoint& p) {
    EXPECT_EQ(k, static_cast<int>(w.points.size()));
    w.points.push_back(p);
  });
  return w;
}

int StretchCount(const CHTriangulation& t) {
  int n = 0;
  for (const t_stretch* s = t.GetStretchList(); s != nullptr; s = s->next) ++n;
  return n;
}

}  // namespace

TEST(HTriangulationBorder, EachBorderTriangleContributesItsFirstOpenEdgeAndOneTriangleWalksTwoPoints) {
  CHTriangulation t;
  Triangles(t, {{P(0, 0, 0), P(1, 0, 0), P(0, 1, 0)}});
  t.CalcNeighbours();
  EXPECT_EQ(t.CollectBorderStretches(), 1);
  EXPECT_EQ(t.GetStretchList()->from, t.GetEdgeArray());
  EXPECT_EQ(t.GetStretchList()->to, t.GetEdgeArray() + 1);
  const Walked w = Walk(t);
  ASSERT_EQ(w.count, 2);
  EXPECT_POINT(w.points[1], 1, 0, 0, 0);
  EXPECT_EQ(StretchCount(t), 1);  // the last stretch stays in the list

  // Each border triangle contributes its first open edge, the later ones at the head.
  CHTriangulation two;
  Triangles(two, {{P(0, 0, 9), P(1, 0, 0), P(0, 1, 0)},
                  {P(1, 0, 0), P(0, 1, 0), P(2, 1, 3)}});
  two.CalcNeighbours();  // 0.neighbour[1] = 1, 1.neighbour[0] = 0
  EXPECT_EQ(two.CollectBorderStretches(), 2);
  const t_stretch* head = two.GetStretchList();
  EXPECT_EQ(head->from, two.GetEdgeArray() + 4);  // the later triangle's P1 -> P2
  EXPECT_EQ(head->to, two.GetEdgeArray() + 5);
  EXPECT_EQ(head->next->from, two.GetEdgeArray() + 0);
  EXPECT_EQ(head->next->prev, head);
}

TEST(HTriangulationBorder, WalkFollowsConnectingStretchesInListOrderAndStopsWhereTheyDoNotConnect) {
  // Stretches pushed so that the list runs a->b, c->b (reversed), d->e (the one after is skipped).
  CHTriangulation t(1, 1, 1, 1);
  SSEPoint pts[6] = {P(0, 0, 0), P(1, 0, 0), P(2, 0, 0), P(3, 0, 0), P(4, 0, 0), P(5, 0, 0)};
  t.AppendStretchToList(new t_stretch{&pts[4], &pts[5], nullptr, nullptr});
  t.AppendStretchToList(new t_stretch{&pts[3], &pts[4], nullptr, nullptr});
  t.AppendStretchToList(new t_stretch{&pts[2], &pts[1], nullptr, nullptr});
  t.AppendStretchToList(new t_stretch{&pts[0], &pts[1], nullptr, nullptr});
  const Walked w = Walk(t);
  ASSERT_EQ(w.count, 4);
  EXPECT_POINT(w.points[2], 2, 0, 0, 0);  // c.to = 1 met as the successor's to: its from follows
  EXPECT_POINT(w.points[3], 5, 0, 0, 0);  // walk resumed at (3 -> 4), whose successor starts at 4
  EXPECT_EQ(StretchCount(t), 2);
  t.ClearStretchList();

  // A successor that shares no end with the current stretch ends the walk (it used to spin here).
  CHTriangulation apart(1, 1, 1, 1);
  SSEPoint far[4] = {P(0, 0, 0), P(1, 0, 0), P(7, 7, 0), P(8, 8, 0)};
  apart.AppendStretchToList(new t_stretch{&far[2], &far[3], nullptr, nullptr});
  apart.AppendStretchToList(new t_stretch{&far[0], &far[1], nullptr, nullptr});
  EXPECT_EQ(Walk(apart).count, 2);
  EXPECT_EQ(StretchCount(apart), 2);
}

TEST(HTriangulationBorder, ClosedMeshHasNoBorderAndAnEmptyBorderLine) {
  // A tetrahedron: every triangle finds three neighbours. Its corners differ in every lane, so that the
  // loose lane-by-lane corner test matches only real corners.
  CHTriangulation t(4, 1, 1, 1);
  const SSEPoint a = P(0, 0, 0), b = P(4, 1, 2), c = P(1, 5, 3), d = P(2, 3, 7);
  SetTriangle(t, 0, a, b, c);
  SetTriangle(t, 1, a, d, b);
  SetTriangle(t, 2, b, d, c);
  SetTriangle(t, 3, c, d, a);
  t.CalcNeighbours();
  t.FindBorderTriangles();
  for (int i = 0; i < 4; ++i) EXPECT_EQ(t.GetTriangle(i)->mark, -1);
  EXPECT_EQ(t.CollectBorderStretches(), 0);
  EXPECT_EQ(Walk(t).count, 0);
  CSSE3dPolygon line = meshtest::Ring({{1, 1}, {2, 2}});
  t.FindBorderLine(&line);
  EXPECT_EQ(line.GetNumPoints(), 0);
}
