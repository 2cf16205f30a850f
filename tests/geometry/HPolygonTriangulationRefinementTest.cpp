#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "GeometryTestSupport.h"
#include "qssse/geometry/HPolygonTriangulationRefinement.h"
#include "qssse/geometry/HPolygonTriangulator.h"

using geomtest::Make3d;
using geomtest::Ring;

namespace {

// Reaches the protected list operations: builds lists by hand and runs single steps.
class Probe : public CHPolygonTriangulationRefinement {
 public:
  explicit Probe(float length) : CHPolygonTriangulationRefinement(nullptr, length, 0) {}
  t_hdynamictriangle* Add(float x0, float y0, float x1, float y1, float x2, float y2) {
    t_hdynamictriangle* t = AppendTriangle();
    t->x0 = x0, t->y0 = y0, t->x1 = x1, t->y1 = y1, t->x2 = x2, t->y2 = y2;
    return t;
  }
  using CHPolygonTriangulationRefinement::CalcNeighbours;
  using CHPolygonTriangulationRefinement::CheckNeighbourTriangle;
  using CHPolygonTriangulationRefinement::Refinement;
};

std::vector<t_hdynamictriangle*> List(const CHPolygonTriangulationRefinement& r) {
  std::vector<t_hdynamictriangle*> out;
  for (t_hdynamictriangle* t = r.GetTriangle(0); t != nullptr; t = t->next) out.push_back(t);
  return out;
}

int Pos(const std::vector<t_hdynamictriangle*>& list, const t_hdynamictriangle* t) {
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (list[i] == t) return static_cast<int>(i);
  }
  return -1;
}

std::array<float, 6> Corners(const t_hdynamictriangle* t) {
  return {t->x0, t->y0, t->x1, t->y1, t->x2, t->y2};
}

// The pairwise pass as first written: for each t, every other u in list order, a later match
// overwriting an earlier one. Positions of the linked triangles, -1 for none.
std::vector<std::array<int, 3>> PlainLinks(const std::vector<t_hdynamictriangle*>& list) {
  const auto eq = [](float ax, float ay, float bx, float by) {
    return std::fabs(ax - bx) < 0.0005f && std::fabs(ay - by) < 0.0005f;
  };
  std::vector<std::array<int, 3>> links;
  for (std::size_t p = 0; p < list.size(); ++p) {
    const std::array<float, 6> t = Corners(list[p]);
    std::array<int, 3> l = {-1, -1, -1};
    for (std::size_t q = 0; q < list.size(); ++q) {
      if (q == p) continue;
      const std::array<float, 6> u = Corners(list[q]);
      bool c[3];
      for (int j = 0; j < 3; ++j) {
        c[j] = eq(t[2 * j], t[2 * j + 1], u[0], u[1]) || eq(t[2 * j], t[2 * j + 1], u[2], u[3]) ||
               eq(t[2 * j], t[2 * j + 1], u[4], u[5]);
      }
      if (c[0] && c[1]) {
        l[0] = static_cast<int>(q);
      } else if (!c[0] && c[1] && c[2]) {
        l[1] = static_cast<int>(q);
      } else if (c[2] && c[0]) {
        l[2] = static_cast<int>(q);
      }
    }
    links.push_back(l);
  }
  return links;
}

void ExpectPlainLinks(const std::vector<t_hdynamictriangle*>& list, const char* what) {
  const std::vector<std::array<int, 3>> plain = PlainLinks(list);
  for (std::size_t p = 0; p < list.size(); ++p) {
    for (int k = 0; k < 3; ++k) {
      ASSERT_EQ(Pos(list, list[p]->neighbour[k]), plain[p][static_cast<std::size_t>(k)])
          << what << " triangle " << p << " side " << k;
    }
  }
}

double Area2(const t_hdynamictriangle* t) {
  return (static_cast<double>(t->x1) - t->x0) * (static_cast<double>(t->y2) - t->y0) -
         (static_cast<double>(t->y1) - t->y0) * (static_cast<double>(t->x2) - t->x0);
}

const Ring kSquare10 = {{0, 0}, {10, 0}, {10, 10}, {0, 10}};

// Sixteen points 2.5 apart around the 10 square, counter-clockwise from the origin.
Ring SixteenPointSquare() {
  Ring ring;
  for (int i = 0; i < 4; ++i) ring.push_back({2.5f * static_cast<float>(i), 0});
  for (int i = 0; i < 4; ++i) ring.push_back({10, 2.5f * static_cast<float>(i)});
  for (int i = 0; i < 4; ++i) ring.push_back({10 - 2.5f * static_cast<float>(i), 10});
  for (int i = 0; i < 4; ++i) ring.push_back({0, 10 - 2.5f * static_cast<float>(i)});
  return ring;
}

TEST(HPolygonTriangulationRefinement, TakesTheTrianglesOverNewestFirstWithTheirNeighbours) {
  CSSE3dPolygon poly = Make3d(kSquare10);
  CHPolygonTriangulator tri(&poly, 1, 1.0f, 1.0f, 1.0f, false);  // (3, 0, 1), (1, 2, 3)
  const CHPolygonTriangulationRefinement r(&tri, 100.0f, 14);    // nothing is long enough to split
  ASSERT_EQ(r.GetNumTriangles(), 2);
  EXPECT_EQ(r.GetNum2dPoints(), 6);
  const std::vector<t_hdynamictriangle*> list = List(r);
  EXPECT_EQ(list[0]->index, 1);  // the last triangle heads the list
  EXPECT_EQ(list[1]->index, 0);
  EXPECT_EQ(Corners(list[1]), (std::array<float, 6>{0, 10, 0, 0, 10, 0}));
  EXPECT_EQ(list[0]->z0, 0.0f);
  EXPECT_EQ(list[0]->neighbour[2], list[1]);  // the diagonal is side 2 of both
  EXPECT_EQ(list[1]->neighbour[2], list[0]);
  EXPECT_EQ(list[0]->neighbour[0], nullptr);
  EXPECT_EQ(r.GetTriangle(-5), list[0]);
  EXPECT_EQ(r.GetTriangle(1), list[1]);
  EXPECT_EQ(r.GetTriangle(2), nullptr);

  const CHPolygonTriangulationRefinement none(nullptr, 1.0f, 3);
  EXPECT_EQ(none.GetNumTriangles(), 0);
  EXPECT_EQ(none.GetTriangle(0), nullptr);
}

TEST(HPolygonTriangulationRefinement, AnOutlineSideSplitsAloneAndAnInteriorOneWithItsNeighbour) {
  // A lone triangle: its longest side (P2 -> P0) lies on the outline, so it splits alone.
  CSSE3dPolygon tri3 = Make3d({{0, 0}, {10, 0}, {0, 4}});
  CHPolygonTriangulator lone(&tri3, 1, 1.0f, 1.0f, 1.0f, false);  // (2, 0, 1): (0,4), (0,0), (10,0)
  const CHPolygonTriangulationRefinement one(&lone, 1.0f, 1);
  ASSERT_EQ(one.GetNumTriangles(), 2);
  std::vector<t_hdynamictriangle*> list = List(one);
  EXPECT_EQ(Corners(list[0]), (std::array<float, 6>{5, 2, 0, 0, 10, 0}));  // B = (M, P1, P2), newest
  EXPECT_EQ(Corners(list[1]), (std::array<float, 6>{0, 4, 0, 0, 5, 2}));   // A = (P0, P1, M)
  EXPECT_EQ(list[0]->index, -1);
  EXPECT_EQ(list[1]->z2, -999999.0f);
  EXPECT_EQ(list[1]->neighbour[1], list[0]);  // A side 1 <-> B side 0
  EXPECT_EQ(list[0]->neighbour[0], list[1]);
  EXPECT_EQ(list[0]->neighbour[2], nullptr);  // the halves of the outline side stay open

  // The square's diagonal (squared 200) is split in both triangles; the outline sides (100) are not.
  CSSE3dPolygon sq = Make3d(kSquare10);
  CHPolygonTriangulator tri(&sq, 1, 1.0f, 1.0f, 1.0f, false);
  const CHPolygonTriangulationRefinement r(&tri, 6.0f, 1);
  ASSERT_EQ(r.GetNumTriangles(), 4);
  list = List(r);  // D, C, B, A
  const t_hdynamictriangle *d = list[0], *c = list[1], *b = list[2], *a = list[3];
  EXPECT_EQ(Corners(a), (std::array<float, 6>{10, 0, 10, 10, 5, 5}));
  EXPECT_EQ(Corners(b), (std::array<float, 6>{5, 5, 10, 10, 0, 10}));
  EXPECT_EQ(Corners(c), (std::array<float, 6>{0, 10, 0, 0, 5, 5}));
  EXPECT_EQ(Corners(d), (std::array<float, 6>{5, 5, 0, 0, 10, 0}));
  // Across the split side A links to C and B to D, although A lies against D and B against C.
  EXPECT_EQ(a->neighbour[2], c);
  EXPECT_EQ(c->neighbour[2], a);
  EXPECT_EQ(b->neighbour[2], d);
  EXPECT_EQ(d->neighbour[2], b);
  EXPECT_EQ(a->neighbour[1], b);
  EXPECT_EQ(c->neighbour[1], d);
}

TEST(HPolygonTriangulationRefinement, NeighbourRefusesWhenTheSharedSideIsNotItsLongestOrBelowTheLimit) {
  // t's longest side (16) is N's shortest (N's others are 104): t stays, N splits its own longest side
  // (a tie, so side 2), which lies on the outline.
  Probe p(1.0f);
  t_hdynamictriangle* n = p.Add(4, 0, 0, 0, 2, 10);
  t_hdynamictriangle* t = p.Add(0, 0, 4, 0, 2, -0.5f);
  p.CalcNeighbours();
  ASSERT_EQ(t->neighbour[0], n);
  EXPECT_FALSE(p.CheckNeighbourTriangle(n, t));
  EXPECT_TRUE(p.CheckNeighbourTriangle(nullptr, t));
  EXPECT_FALSE(p.CheckNeighbourTriangle(n, nullptr));
  EXPECT_FALSE(p.CheckNeighbourTriangle(t, t));  // not linked back
  p.Refinement();
  EXPECT_EQ(p.GetNumTriangles(), 3);
  EXPECT_EQ(p.GetTriangle(2), t);  // untouched, now the oldest

  // With scale z 1 the limit is a squared length of 4: the diagonal of a 1.2 square (2.88) is never
  // split, however short the split length; with scale z 0.25 (limit 1) it is.
  const Ring small = {{0, 0}, {1.2f, 0}, {1.2f, 1.2f}, {0, 1.2f}};
  CSSE3dPolygon sq = Make3d(small);
  CHPolygonTriangulator unit(&sq, 1, 1.0f, 1.0f, 1.0f, false);
  EXPECT_EQ(CHPolygonTriangulationRefinement(&unit, 0.01f, 14).GetNumTriangles(), 2);
  CHPolygonTriangulator quarter(&sq, 1, 1.0f, 1.0f, 0.25f, false);
  EXPECT_GT(CHPolygonTriangulationRefinement(&quarter, 0.01f, 1).GetNumTriangles(), 2);
}

TEST(HPolygonTriangulationRefinement, RefinedLatticePolygonsKeepTheirAreaAndBorder) {
  // Midpoints of lattice points are exact in float for these depths: areas add up exactly.
  std::mt19937 rng(42);
  int checked = 0;
  for (int trial = 0; trial < 400; ++trial) {
    Ring ring = geomtest::RandomSimpleLatticePolygon(rng, 4 + static_cast<int>(rng() % 10));
    if (ring.empty()) continue;
    ++checked;
    for (t_h2dpoint& q : ring) q.x *= 4.0f, q.y *= 4.0f;
    CSSE3dPolygon poly = Make3d(ring);
    CHPolygonTriangulator tri(&poly, 1, 1.0f, 1.0f, 0.25f, true);
    ASSERT_EQ(tri.GetNumTriangles(), static_cast<int>(ring.size()) - 2);
    const int passes = static_cast<int>(trial % 6);
    const CHPolygonTriangulationRefinement r(&tri, 1.5f, passes);
    double area2 = 0.0;
    int made = 0;
    for (const t_hdynamictriangle* t : List(r)) {
      ASSERT_GT(Area2(t), 0.0) << "trial " << trial;
      area2 += Area2(t);
      if (t->index == -1) ++made;
    }
    EXPECT_EQ(area2, geomtest::RingArea2(ring)) << "trial " << trial;
    if (passes == 0) {
      EXPECT_EQ(made, 0);
    }
    CSSE3dPolygon border;
    r.GetBorderLinePolygon(&border);
    EXPECT_EQ(geomtest::RingArea2(geomtest::RingOf(border)), geomtest::RingArea2(ring)) << "trial " << trial;
    EXPECT_GE(border.GetNumPoints(), static_cast<int>(ring.size()));
  }
  EXPECT_GT(checked, 100);
}

TEST(HPolygonTriangulationRefinement, ReadsInterpolateCacheInCornerZerosSlotAndPassHeightsOn) {
  // Sixteen points around the 10 square with heights 0..15, so InterpolateZ's every-8th sampling sees
  // points 0 (at the origin, height 0) and 8 (at (10, 10), height 8).
  const Ring ring = SixteenPointSquare();
  CSSE3dPolygon poly = Make3d(ring);
  CHPolygonTriangulator tri(&poly, 4, 1.0f, 1.0f, 1.0f, false);  // the square's corners, points 0, 4, 8, 12
  CHPolygonTriangulationRefinement r(&tri, 6.0f, 1);
  ASSERT_EQ(r.GetNumTriangles(), 4);
  const std::vector<t_hdynamictriangle*> list = List(r);
  t_hdynamictriangle *d = list[0], *c = list[1], *b = list[2];
  const float hCentre = poly.InterpolateZ(5, 5, 8, 4.0f);
  const float hOrigin = poly.InterpolateZ(0, 0, 8, 4.0f);  // point 0 itself: 0
  const float hRight = poly.InterpolateZ(10, 0, 8, 4.0f);
  ASSERT_EQ(hOrigin, 0.0f);

  SSEPoint p0, p1, p2;
  r.GetFirstTriangle3D(p0, p1, p2);  // D = ((5,5), (0,0), (10,0))
  EXPECT_EQ(p0.x, 5.0f);
  EXPECT_EQ(p0.z, hCentre);
  EXPECT_EQ(p1.z, hOrigin);
  EXPECT_EQ(p2.z, hRight);
  EXPECT_EQ(p2.w, 0.0f);
  EXPECT_EQ(d->z0, hOrigin);  // corner 1's height, in corner 0's slot
  EXPECT_EQ(d->z1, -999999.0f);
  EXPECT_EQ(d->z2, hRight);
  EXPECT_EQ(c->z2, hCentre);  // C's corner at (5, 5) and (0, 0), filled by D's read
  EXPECT_EQ(c->z1, hOrigin);
  EXPECT_EQ(b->z0, hCentre);  // B (D's neighbour through the crosswise link) at (5, 5)

  r.GetFirstTriangle3D(p0, p1, p2);  // again: corner 0 now reads corner 1's height
  EXPECT_EQ(p0.z, hOrigin);
  r.GetNextTriangle3D(p0, p1, p2);  // C = ((0,10), (0,0), (5,5))
  EXPECT_EQ(p0.z, poly.InterpolateZ(0, 10, 8, 4.0f));
  EXPECT_EQ(p1.z, hOrigin);
  EXPECT_EQ(p2.z, hCentre);
  r.GetTriangle3D(3, p0, p1, p2);  // A, the oldest
  SSEPoint q = qssse::MakeSSEPoint(-1, -1, -1);
  r.GetNextTriangle3D(q, q, q);  // past the end: nothing
  EXPECT_EQ(q.x, -1.0f);
  r.GetTriangle3D(4, q, q, q);
  EXPECT_EQ(q.x, -1.0f);

  // Taken-over triangles read the polygon's own points (at vnum * step).
  CHPolygonTriangulationRefinement whole(&tri, 100.0f, 0);
  whole.GetFirstTriangle3D(p0, p1, p2);  // triangle 1 = (1, 2, 3): points 4, 8, 12
  EXPECT_EQ(p0.z, 4.0f);
  EXPECT_EQ(p1.z, 8.0f);
  EXPECT_EQ(p2.z, 12.0f);

  // A 2-D source gives no 3-D triangles.
  CSSE2dPolygon flat = geomtest::Make2d(kSquare10);
  CHPolygonTriangulator tri2(&flat, 1, 1.0f, 1.0f, false);
  CHPolygonTriangulationRefinement r2(&tri2, 6.0f, 1);
  EXPECT_EQ(r2.GetNumTriangles(), 4);
  r2.GetFirstTriangle3D(q, q, q);
  EXPECT_EQ(q.x, -1.0f);
}

TEST(HPolygonTriangulationRefinement, BorderLineRunsCounterClockwiseWithTheSourceHeights) {
  const Ring ring = SixteenPointSquare();
  CSSE3dPolygon poly = Make3d(ring);
  CHPolygonTriangulator tri(&poly, 4, 1.0f, 1.0f, 1.0f, false);
  // Split length 3: the outline sides (100) split too, alone.
  const CHPolygonTriangulationRefinement r(&tri, 3.0f, 1);
  CSSE3dPolygon border;
  r.GetBorderLinePolygon(&border);
  ASSERT_GE(border.GetNumPoints(), 4);
  for (int i = 0; i < border.GetNumPoints(); ++i) {
    float x = 0, y = 0, z = 0;
    border.GetPoint(i, x, y, z);
    EXPECT_TRUE(x == 0 || x == 10 || y == 0 || y == 10) << i;  // on the square's outline
    if (x == 10 && y == 10) {
      EXPECT_EQ(z, 8.0f);  // a polygon point keeps its height
    }
    if (x == 5 && y == 0) {
      EXPECT_EQ(z, poly.InterpolateZ(5, 0, 8, 4.0f));
    }
  }
  EXPECT_EQ(geomtest::RingArea2(geomtest::RingOf(border)), 200.0);  // counter-clockwise, the whole square

  CSSE3dPolygon untouched = Make3d(kSquare10);
  const CHPolygonTriangulationRefinement empty(nullptr, 1.0f, 0);
  empty.GetBorderLinePolygon(&untouched);
  EXPECT_EQ(untouched.GetNumPoints(), 0);
  empty.GetBorderLinePolygon(nullptr);
}

TEST(HPolygonTriangulationRefinement, HashedNeighbourPassLinksAsThePairwisePass) {
  // Triangles on a coarse lattice, at unit scale and squeezed so that the 0.0005 match merges
  // neighbouring lattice points: shared corners, duplicates, near misses and overwrites everywhere.
  std::mt19937 rng(42);
  for (int trial = 0; trial < 300; ++trial) {
    Probe p(1.0f);
    const float scale = trial % 3 == 0 ? 1.0f : trial % 3 == 1 ? 0.0003f : 0.00071f;
    const int n = 1 + static_cast<int>(rng() % 40);
    std::vector<float> c;
    for (int i = 0; i < 6 * n; ++i) c.push_back(scale * static_cast<float>(rng() % 6));
    for (int i = 0; i < n; ++i)
      p.Add(c[6 * i], c[6 * i + 1], c[6 * i + 2], c[6 * i + 3], c[6 * i + 4], c[6 * i + 5]);
    p.CalcNeighbours();
    ExpectPlainLinks(List(p), "lattice triangles");
    if (HasFailure()) {
      ADD_FAILURE() << "trial " << trial;
      return;
    }
  }
  // The triangulation of a benchmark star, taken over.
  CSSE3dPolygon star = Make3d(geomtest::SmoothStar(2000, 300.0f));
  CHPolygonTriangulator tri(&star, 1, 1.0f, 1.0f, 1.0f, true);
  const CHPolygonTriangulationRefinement r(&tri, 1e6f, 0);
  ExpectPlainLinks(List(r), "star");
}

}  // namespace
