#include <gtest/gtest.h>

#include <cmath>

#include "MeshTestSupport.h"
#include "qssse/geometry/H2DDelaunay.h"
#include "qssse/geometry/HConvexHull3D.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/UserInterfaceManager.h"


TEST(MeshFromHull, TetrahedronBecomesFourOutwardTrianglesInFaceOrder) {
  CHConvexHull3D hull;
  for (const auto& p : {P(0, 0, 0), P(10, 0, 0), P(0, 10, 0), P(0, 0, 10)}) hull.AppendVertex3D(p.x, p.y, p.z, 1.0f);
  hull.CalcConvexHull();
  // Scales first, then the divisor: corners (X, Y, Z) / 2 * (1, 2, 3).
  CHTriangulation mesh(&hull, 1.0f, 2.0f, 3.0f, 2.0f);
  ASSERT_EQ(mesh.GetNumTriangles(), 4);
  const tFaceStructure* f = hull.GetFaces();
  for (int k = 0; k < 4; ++k, f = f->next) {
    const t_htriangle* t = mesh.GetTriangle(k);
    EXPECT_EQ(t->mark, -1);
    for (int i = 0; i < 3; ++i) {
      EXPECT_POINT(*t->point[i], f->vertex[i]->x / 2.0f, f->vertex[i]->y, f->vertex[i]->z * 1.5f, 0.0f);
    }
    // Counter-clockwise seen from outside: the normal points away from the inner point (1, 1, 1).
    const SSEPoint& n = *t->normal[0];
    const SSEPoint& c = *t->point[0];
    EXPECT_GT(n.x * (c.x - 0.5f) + n.y * (c.y - 2.0f) + n.z * (c.z - 4.5f), 0.0f);
  }
  SSEPoint hi;
  mesh.GetMaxPoint(hi);
  EXPECT_POINT(hi, 5.0f, 10.0f, 15.0f, 0.0f);
}

TEST(MeshFromHull, DelaunayTrianglesAreMarkedAndOptionallyFlat) {
  QsCUserInterfaceManager::SetMessageHandler([](const wchar_t*, int, int) { return 0; });
  CH2DDelaunay d;
  for (const auto& p : {P(0, 0, 0), P(4, 0, 0), P(5, 3, 0), P(0, 2, 0)}) d.AppendVertex(p.x, p.y, -1, false);
  d.CalcDelaunayTriangulation();
  QsCUserInterfaceManager::SetMessageHandler(nullptr);
  CHTriangulation lifted(&d, 1.0f, 1.0f, 1.0f, false);
  CHTriangulation flat(&d, 1.0f, 1.0f, 1.0f, true);
  ASSERT_EQ(flat.GetNumTriangles(), 2);
  for (int k = 0; k < 2; ++k) {
    EXPECT_EQ(flat.GetTriangle(k)->mark, 14);
    for (int i = 0; i < 3; ++i) {
      const SSEPoint& a = *lifted.GetTriangle(k)->point[i];
      EXPECT_FLOAT_EQ(a.z, (a.x * a.x + a.y * a.y) * 10.0f);  // (X² + Y²) / 10 with X = 10 x
      EXPECT_EQ(flat.GetTriangle(k)->point[i]->z, 0.0f);
    }
    EXPECT_FLOAT_EQ(flat.GetTriangle(k)->normal[0]->z, -1.0f);  // clockwise in x-y
  }
  CHTriangulation none(static_cast<CH2DDelaunay*>(nullptr), 1.0f, 1.0f, 1.0f, true);
  EXPECT_EQ(none.GetNumTriangles(), 0);
}
