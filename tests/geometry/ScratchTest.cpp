#include <gtest/gtest.h>
#include <cmath>
#include <map>
#include "GeometryTestSupport.h"
#include "qssse/geometry/HPolygonTriangulationRefinement.h"
#include "qssse/geometry/HPolygonTriangulator.h"
TEST(Scratch, Stats) {
  for (int n : {2000, 10000}) for (float L : {8.0f, 16.0f}) {
    CSSE3dPolygon star; geomtest::Make3d(star, geomtest::SmoothStar(n, 0.15f * n));
    CHPolygonTriangulator tri(&star, 1, 1.0f, 1.0f, 1.0f, true);
    for (int passes : {1, 2, 4, 8, 14}) {
      CHPolygonTriangulationRefinement r(&tri, L, passes);
      double area = 0, maxSide = 0; long big = 0; double minA = 1e30;
      for (auto* t = r.GetTriangle(0); t; t = t->next) {
        double a = 0.5 * std::fabs((t->x1 - t->x0) * (t->y2 - t->y0) - (t->y1 - t->y0) * (t->x2 - t->x0));
        area += a; minA = std::min(minA, a);
        double s0 = std::hypot(t->x1 - t->x0, t->y1 - t->y0), s1 = std::hypot(t->x2 - t->x1, t->y2 - t->y1), s2 = std::hypot(t->x0 - t->x2, t->y0 - t->y2);
        double m = std::max({s0, s1, s2}); maxSide = std::max(maxSide, m); if (m > 2 * L) ++big;
      }
      printf("n %d L %g passes %d tris %d area %.0f maxSide %.1f longer-than-2L %ld minArea %.3g\n", n, L, passes, r.GetNumTriangles(), area, maxSide, big, minA);
    }
  }
}
