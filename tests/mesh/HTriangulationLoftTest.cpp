#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "MeshTestSupport.h"
#include "qssse/polygon/SSE3dPolygon.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

CSSE3dPolygon Ring(int n, float r, float z, float phase = 0, bool clockwise = false) {
  CSSE3dPolygon p;
  p.Create(n);
  for (int i = 0; i < n; ++i) {
    const double a = (clockwise ? -1 : 1) * 2 * kPi * i / n + phase;
    p.SetPoint(i, static_cast<float>(r * std::cos(a)), static_cast<float>(r * std::sin(a)), z);
  }
  return p;
}

double Dot(const SSEPoint& a, const SSEPoint& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

}  // namespace

TEST(HTriangulationLoft, BandBetweenTwoSquaresIsClosedAndFacesOutward) {
  CSSE3dPolygon lower, upper;
  lower.Create(4);
  upper.Create(4);
  const float sq[4][2] = {{0, 0}, {2, 0}, {2, 2}, {0, 2}};
  for (int i = 0; i < 4; ++i) {
    lower.SetPoint(i, sq[i][0], sq[i][1], 0);
    upper.SetPoint(i, sq[i][0], sq[i][1], 3);
  }
  CHTriangulation mesh(&lower, &upper, 8, 1, 1, 1);
  ASSERT_EQ(mesh.GetNumTriangles(), 16);
  double area = 0;
  for (int i = 0; i < mesh.GetNumTriangles(); ++i) {
    const t_htriangle* t = mesh.GetTriangle(i);
    SSEPoint mid = qssse::MakeSSEPoint((t->point[0]->x + t->point[1]->x + t->point[2]->x) / 3 - 1,
                                       (t->point[0]->y + t->point[1]->y + t->point[2]->y) / 3 - 1, 0);
    EXPECT_GT(Dot(*t->normal[0], mid), 0) << i;  // away from the axis of the band
    EXPECT_EQ(t->mainNormal->m[0], t->normal[0]->m[0]);
    const SSEPoint& s = *t->sVector;
    const SSEPoint& u = *t->tVector;
    area += 0.5 * std::hypot(s.y * u.z - s.z * u.y, s.z * u.x - s.x * u.z, s.x * u.y - s.y * u.x);
  }
  EXPECT_NEAR(area, 4 * 2 * 3, 1e-4);  // the four side walls exactly
  // every edge is shared: the band is closed around
  mesh.CalcNeighbours();
  for (int i = 0; i < mesh.GetNumTriangles(); ++i) {
    int neighbours = 0;
    for (int k = 0; k < 3; ++k) neighbours += mesh.GetTriangle(i)->neighbour[k] != nullptr;
    EXPECT_EQ(neighbours, 2) << i;  // top and bottom edges are borders
  }
  auto [lo, hi] = meshtest::Box(mesh);
  EXPECT_EQ(hi.z, 3);
  EXPECT_EQ(lo.x, 0);
}

TEST(HTriangulationLoft, CountsAreEqualisedAndStartsAligned) {
  // 7 points below, 40 above, the upper ring clockwise and starting a third of a turn away
  CSSE3dPolygon lower = Ring(7, 5, 0), upper = Ring(40, 4, 2, 2.1, true);
  CHTriangulation mesh(&lower, &upper, 0, 0.5f, 0.5f, 1);  // 0: the larger count, 40
  ASSERT_EQ(mesh.GetNumTriangles(), 80);
  for (int i = 0; i < mesh.GetNumTriangles(); ++i) {
    const t_htriangle* t = mesh.GetTriangle(i);
    // no triangle twists around the band: its corners span little of the turn (scaled by 0.5)
    for (int k = 0; k < 3; ++k) {
      const SSEPoint& p = *t->point[k];
      const SSEPoint& q = *t->point[(k + 1) % 3];
      EXPECT_LT(std::hypot(p.x - q.x, p.y - q.y), 0.5 * 2.5) << i;
    }
    EXPECT_GT(t->normal[0]->x * (t->point[0]->x) + t->normal[0]->y * (t->point[0]->y), 0) << i;
  }
}

TEST(HTriangulationLoft, DegenerateOutlinesGiveAnEmptyMesh) {
  CSSE3dPolygon ring = Ring(6, 1, 0), point, same;
  point.Create(1);
  point.SetPoint(0, 0, 0, 0);
  same.Create(3);
  for (int i = 0; i < 3; ++i) same.SetPoint(i, 1, 1, 1);
  EXPECT_EQ(CHTriangulation(&ring, nullptr, 10, 1, 1, 1).GetNumTriangles(), 0);
  EXPECT_EQ(CHTriangulation(&ring, &point, 10, 1, 1, 1).GetNumTriangles(), 0);
  EXPECT_EQ(CHTriangulation(&same, &ring, 10, 1, 1, 1).GetNumTriangles(), 0);
  // a ring lofted to itself gives triangles without area, which flow through
  EXPECT_EQ(CHTriangulation(&ring, &ring, 6, 1, 1, 1).GetNumTriangles(), 12);
}

TEST(HTriangulationEdit, RemoveTrianglesWithSameOrientationKeepsTheOthers) {
  CHTriangulation mesh(3, 1, 1, 1);
  SSEPoint* c = mesh.GetEdgeArray();
  // 0 faces +z, 1 faces -z, 2 has no area
  c[0] = qssse::MakeSSEPoint(0, 0, 0), c[1] = qssse::MakeSSEPoint(1, 0, 0), c[2] = qssse::MakeSSEPoint(0, 1, 0);
  c[3] = qssse::MakeSSEPoint(0, 0, 1), c[4] = qssse::MakeSSEPoint(0, 1, 1), c[5] = qssse::MakeSSEPoint(1, 0, 1);
  c[6] = qssse::MakeSSEPoint(0, 0, 2), c[7] = qssse::MakeSSEPoint(1, 1, 2), c[8] = qssse::MakeSSEPoint(2, 2, 2);
  mesh.RemoveTrianglesWithSameOrientation(qssse::MakeSSEPoint(0, 0, 5), 0.99f);
  ASSERT_EQ(mesh.GetNumTriangles(), 2);
  EXPECT_EQ(mesh.GetEdgeArray()[0].z, 1);
  mesh.RemoveTrianglesWithSameOrientation(qssse::MakeSSEPoint(0, 0, 0), -1);  // no direction: no change
  EXPECT_EQ(mesh.GetNumTriangles(), 2);
  mesh.RemoveTrianglesWithSameOrientation(qssse::MakeSSEPoint(1, 0, 0), -1);  // all with an orientation
  ASSERT_EQ(mesh.GetNumTriangles(), 1);
  EXPECT_EQ(mesh.GetEdgeArray()[0].z, 2);
}
