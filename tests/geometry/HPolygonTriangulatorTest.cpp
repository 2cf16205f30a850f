#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "GeometryTestSupport.h"
#include "PlainEarClipping.h"
#include "qssse/geometry/HPolygonTriangulator.h"
#include "qssse/platform/InvalidArgumentException.h"

using geomtest::Cross;
using geomtest::Make2d;
using geomtest::Make3d;
using geomtest::PlainEarClipping;
using geomtest::Ring;

namespace {

std::vector<std::array<int, 3>> Triangles(const CHPolygonTriangulator& t) {
  std::vector<std::array<int, 3>> out;
  for (int i = 0; i < t.GetNumTriangles(); ++i) {
    const t_htriangleconnectivity& c = t.GetConnectivityArray()[i];
    out.push_back({c.vnum[0], c.vnum[1], c.vnum[2]});
  }
  return out;
}

// Triangles, diagonal records and final ear flags equal the plain walk's, field by field.
::testing::AssertionResult SameAsPlain(const Ring& ring, bool searchAfterHead) {
  CSSE2dPolygon poly = Make2d(ring);
  const CHPolygonTriangulator t(&poly, 1, 1.0f, 1.0f, searchAfterHead);
  const PlainEarClipping plain(ring, searchAfterHead);
  if (Triangles(t) != plain.triangles) return ::testing::AssertionFailure() << "triangles differ";
  if (t.GetNumDiagonals() != static_cast<int>(plain.diagonals.size()))
    return ::testing::AssertionFailure() << t.GetNumDiagonals() << " diagonal records";
  for (int i = 0; i < t.GetNumDiagonals(); ++i) {
    const t_hdiagonal& d = t.GetDiagonalArray()[i];
    const t_hdiagonal& p = plain.diagonals[static_cast<std::size_t>(i)];
    if (!(d.exists == p.exists && d.from == p.from && d.to == p.to && d.fromConvex == p.fromConvex &&
          d.toConvex == p.toConvex))
      return ::testing::AssertionFailure() << "record " << i;
  }
  for (int i = 0; i < t.GetNumVertices(); ++i)
    if (t.GetVertexArray()[i].ear != plain.ears[static_cast<std::size_t>(i)])
      return ::testing::AssertionFailure() << "ear flag of vertex " << i;
  return ::testing::AssertionSuccess();
}

const Ring kSquare = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};

TEST(HPolygonTriangulator, ConvexSquareFromTheHeadGivesTwoTrianglesAndTwoRecords) {
  CSSE2dPolygon poly = Make2d(kSquare);
  const CHPolygonTriangulator t(&poly, 1, 1.0f, 1.0f, false);
  EXPECT_EQ(Triangles(t), (std::vector<std::array<int, 3>>{{3, 0, 1}, {1, 2, 3}}));
  ASSERT_EQ(t.GetNumDiagonals(), 2);
  const t_hdiagonal* d = t.GetDiagonalArray();
  EXPECT_TRUE(d[1].exists && d[1].from == 1 && d[1].to == 3);  // the closing side, not a diagonal
  EXPECT_TRUE(t.DiagonalExists(1));
  EXPECT_FALSE(t.DiagonalExists(2));
  EXPECT_FALSE(t.DiagonalExists(-1));
  std::array<float, 4> ends = {-1, -1, -1, -1};
  t.GetDiagonalPoints(0, ends[0], ends[1], ends[2], ends[3]);
  EXPECT_EQ(ends, (std::array<float, 4>{0, 1, 1, 0}));
  t.GetDiagonalPoints(2, ends[0], ends[1], ends[2], ends[3]);  // out of range: untouched
  EXPECT_EQ(ends, (std::array<float, 4>{0, 1, 1, 0}));
  EXPECT_FALSE(t.Is3DTriangulation());
  EXPECT_EQ(t.GetScaleZ(), 1.0f);
}

TEST(HPolygonTriangulator, LastThreeVerticesCloseFromTheSearchStartEvenWithoutAnEarFlag) {
  // From the head's successor the square's second search finds no flag (both neighbours of the first
  // ear lost theirs): the last three close with e = the start vertex, 3.
  CSSE2dPolygon square = Make2d(kSquare);
  const CHPolygonTriangulator t(&square, 1, 1.0f, 1.0f, true);
  EXPECT_EQ(Triangles(t), (std::vector<std::array<int, 3>>{{0, 1, 2}, {2, 3, 0}}));
  EXPECT_EQ(t.GetNumDiagonals(), 2);

  // A lone triangle never flags an ear (each diagonal would join neighbours): it closes the same way.
  const Ring tri = {{0, 0}, {4, 0}, {0, 3}};
  CSSE2dPolygon p = Make2d(tri);
  const CHPolygonTriangulator fromHead(&p, 1, 1.0f, 1.0f, false);
  EXPECT_EQ(Triangles(fromHead), (std::vector<std::array<int, 3>>{{2, 0, 1}}));
  ASSERT_EQ(fromHead.GetNumDiagonals(), 1);
  EXPECT_EQ(fromHead.GetDiagonalArray()[0].from, 2);
  EXPECT_EQ(fromHead.GetDiagonalArray()[0].to, 1);
  const CHPolygonTriangulator fromNext(&p, 1, 1.0f, 1.0f, true);
  EXPECT_EQ(Triangles(fromNext), (std::vector<std::array<int, 3>>{{0, 1, 2}}));

  // Clockwise, or collinear within the tolerance: Left fails, nothing closes.
  CSSE2dPolygon cw = Make2d({{0, 0}, {0, 3}, {4, 0}});
  EXPECT_EQ(CHPolygonTriangulator(&cw, 1, 1.0f, 1.0f, false).GetNumTriangles(), 0);
  CSSE2dPolygon flat = Make2d({{0, 0}, {1, 0.0002f}, {2, 0}});
  EXPECT_EQ(CHPolygonTriangulator(&flat, 1, 1.0f, 1.0f, false).GetNumTriangles(), 0);
}

TEST(HPolygonTriangulator, EarInitNeverEvaluatesTheLastVertex) {
  // Vertex 4 would be an ear from the start but starts unflagged, so the search after the first clip
  // passes over it and clips 0 instead.
  const Ring ring = {{0, 7}, {3, 7}, {9, 5}, {6, 8}, {7, 9}};
  CSSE2dPolygon p = Make2d(ring);
  const CHPolygonTriangulator t(&p, 1, 1.0f, 1.0f, true);
  EXPECT_EQ(Triangles(t), (std::vector<std::array<int, 3>>{{1, 2, 3}, {4, 0, 1}, {1, 3, 4}}));
  const PlainEarClipping everyVertex(ring, true, /*evaluateLast=*/true);
  EXPECT_EQ(everyVertex.triangles, (std::vector<std::array<int, 3>>{{1, 2, 3}, {3, 4, 0}, {0, 1, 3}}));
}

TEST(HPolygonTriangulator, ClockwiseSelfIntersectingAndCollinearRingsStopEarly) {
  const Ring cwSquare = {{0, 0}, {0, 1}, {1, 1}, {1, 0}};
  const Ring bowTie = {{0, 0}, {2, 2}, {2, 0}, {0, 2}};
  const Ring line = {{0, 0}, {1, 1}, {2, 2}, {3, 3}, {4, 4}};
  const Ring star = geomtest::SmoothStar(40, 10.0f);
  const Ring cwStar(star.rbegin(), star.rend());
  for (const Ring* r : {&cwSquare, &bowTie, &line, &cwStar}) {
    CSSE2dPolygon p = Make2d(*r);
    const CHPolygonTriangulator t(&p, 1, 1.0f, 1.0f, true);
    EXPECT_LT(t.GetNumTriangles(), static_cast<int>(r->size()) - 2);
    EXPECT_EQ(t.GetNumDiagonals(), t.GetNumTriangles());
    EXPECT_TRUE(SameAsPlain(*r, true));
    EXPECT_TRUE(SameAsPlain(*r, false));
  }
}

TEST(HPolygonTriangulator, FewerThanThreeRingVerticesGiveASafeEmptyResult) {
  const CHPolygonTriangulator none(static_cast<CSSE3dPolygon*>(nullptr), 1, 1.0f, 1.0f, 1.0f, false);
  EXPECT_EQ(none.GetNumTriangles(), 0);
  EXPECT_EQ(none.GetNumVertices(), 0);
  EXPECT_EQ(none.GetConnectivityArray(), nullptr);
  EXPECT_FALSE(none.DiagonalExists(0));
  float x = 7, y = 7;
  none.GetPoint(0, x, y);
  EXPECT_EQ(x, 7.0f);

  CSSE2dPolygon two = Make2d({{0, 0}, {1, 0}});
  EXPECT_EQ(CHPolygonTriangulator(&two, 0, 1.0f, 1.0f, false).GetNumTriangles(), 0);  // step not looked at

  // Five points with step 2: a ring of two vertices, no triangles.
  CSSE3dPolygon five = Make3d({{0, 0}, {1, 0}, {2, 1}, {1, 2}, {0, 1}});
  const CHPolygonTriangulator t(&five, 2, 1.0f, 1.0f, 1.0f, false);
  EXPECT_EQ(t.GetNumVertices(), 2);
  EXPECT_EQ(t.GetNumTriangles(), 0);
  SSEPoint a = qssse::MakeSSEPoint(9, 9, 9), b = a, c = a;
  t.GetTriangle3D(0, a, b, c);
  EXPECT_EQ(a.x, 9.0f);

  EXPECT_THROW(CHPolygonTriangulator(&five, 0, 1.0f, 1.0f, 1.0f, false), CInvalidArgumentException);
  EXPECT_THROW(CHPolygonTriangulator(&five, -2, 1.0f, 1.0f, 1.0f, false), CInvalidArgumentException);
}

TEST(HPolygonTriangulator, StepSamplesThePolygonAndTriangle3DReadsItsOwnPoints) {
  // Eight points, step 2: vertices are points 0, 2, 4, 6 (a square), scaled for the planar work only.
  const Ring ring = {{0, 0}, {5, -1}, {2, 0}, {3, 1}, {2, 2}, {1, 3}, {0, 2}, {-1, 1}};
  CSSE3dPolygon poly = Make3d(ring, 10.0f);
  const CHPolygonTriangulator t(&poly, 2, 2.0f, 3.0f, 0.5f, false);
  ASSERT_EQ(t.GetNumVertices(), 4);
  EXPECT_TRUE(poly.IsBoundingBoxCalculated());
  float x = 0, y = 0;
  t.GetPoint(1, x, y);
  EXPECT_EQ(x, 4.0f);  // polygon point 2 times the scales
  EXPECT_EQ(y, 0.0f);
  t.GetPoint(3, x, y);
  EXPECT_EQ(y, 6.0f);
  EXPECT_EQ(t.GetScaleZ(), 0.5f);
  EXPECT_TRUE(t.Is3DTriangulation());
  ASSERT_EQ(t.GetNumTriangles(), 2);
  SSEPoint a, b, c;
  t.GetTriangle3D(0, a, b, c);  // triangle (3, 0, 1): polygon points 6, 0, 2, unscaled, with their z
  EXPECT_TRUE(geomtest::IsPoint(a, 0, 2, 16, 0));
  EXPECT_TRUE(geomtest::IsPoint(b, 0, 0, 10, 0));
  EXPECT_TRUE(geomtest::IsPoint(c, 2, 0, 12, 0));
  SSEPoint untouched = qssse::MakeSSEPoint(9, 9, 9);
  t.GetTriangle3D(2, untouched, untouched, untouched);
  EXPECT_EQ(untouched.x, 9.0f);

  // The 2-D source triangulates the same ring the same way but has no 3-D triangles.
  CSSE2dPolygon flat = Make2d(ring);
  const CHPolygonTriangulator t2(&flat, 2, 2.0f, 3.0f, false);
  EXPECT_EQ(Triangles(t2), Triangles(t));
  t2.GetTriangle3D(0, untouched, untouched, untouched);
  EXPECT_EQ(untouched.x, 9.0f);
}

// The area of the lattice triangle's interior overlap test: separated when one triangle's edge has all
// three corners of the other on or right of it (both counter-clockwise).
bool InteriorsOverlap(const std::array<t_h2dpoint, 3>& s, const std::array<t_h2dpoint, 3>& t) {
  const auto separates = [](const std::array<t_h2dpoint, 3>& p, const std::array<t_h2dpoint, 3>& q) {
    for (int k = 0; k < 3; ++k) {
      const t_h2dpoint &u = p[k], &v = p[(k + 1) % 3];
      if (Cross(u, v, q[0]) <= 0 && Cross(u, v, q[1]) <= 0 && Cross(u, v, q[2]) <= 0) return true;
    }
    return false;
  };
  return !separates(s, t) && !separates(t, s);
}

TEST(HPolygonTriangulator, SimpleLatticePolygonsGiveNMinusTwoDisjointTrianglesCoveringTheArea) {
  std::mt19937 rng(42);
  int checked = 0;
  for (int trial = 0; trial < 6000; ++trial) {
    const int size = 3 + static_cast<int>(rng() % 12);
    const Ring ring = trial % 2 ? geomtest::RandomSimpleLatticePolygon(rng, size)
                                : geomtest::RandomUntangledLatticePolygon(rng, size);
    if (ring.empty()) continue;
    ++checked;
    const int n = static_cast<int>(ring.size());
    for (const bool afterHead : {false, true}) {
      CSSE2dPolygon poly = Make2d(ring);
      const CHPolygonTriangulator t(&poly, 1, 1.0f, 1.0f, afterHead);
      ASSERT_EQ(t.GetNumTriangles(), n - 2) << "trial " << trial;
      ASSERT_EQ(t.GetNumDiagonals(), n - 2);
      std::vector<std::array<t_h2dpoint, 3>> tris;
      std::int64_t area2 = 0;
      for (const auto& k : Triangles(t)) {
        const std::array<t_h2dpoint, 3> tri = {ring[k[0]], ring[k[1]], ring[k[2]]};
        const std::int64_t a2 = Cross(tri[0], tri[1], tri[2]);
        ASSERT_GT(a2, 0) << "trial " << trial;  // counter-clockwise, not degenerate
        area2 += a2;
        tris.push_back(tri);
      }
      ASSERT_EQ(static_cast<double>(area2), geomtest::RingArea2(ring)) << "trial " << trial;
      for (std::size_t i = 0; i < tris.size(); ++i) {
        for (std::size_t j = i + 1; j < tris.size(); ++j) {
          ASSERT_FALSE(InteriorsOverlap(tris[i], tris[j]))
              << "trial " << trial << " triangles " << i << ", " << j;
        }
      }
    }
  }
  EXPECT_GT(checked, 2000);
}

TEST(HPolygonTriangulator, IndexedDiagonalTestDecidesAsTheWalkOnRandomLatticeRings) {
  // Any ring at all: duplicates, collinear runs, crossings, both orientations; at unit scale the area
  // tests are exact, scaled down the tolerance makes small turns collinear and short edges' bands tall.
  std::mt19937 rng(42);
  for (int trial = 0; trial < 4000; ++trial) {
    Ring ring = geomtest::RandomLatticeRing(rng, 3 + static_cast<int>(rng() % 30));
    const float scale = trial % 3 == 0 ? 1.0f : trial % 3 == 1 ? 0.02f : 0.007f;
    for (t_h2dpoint& p : ring) p.x *= scale, p.y *= scale;
    ASSERT_TRUE(SameAsPlain(ring, trial % 2 == 0)) << "lattice ring, trial " << trial;
  }
}

TEST(HPolygonTriangulator, IndexedDiagonalTestDecidesAsTheWalkWhereTheToleranceReachesFar) {
  // Star-shaped lattice polygons squeezed in x (or y): every edge is nearly vertical (horizontal), and
  // the absolute area tolerance lets Between find points far along a short diagonal's line.
  std::mt19937 rng(42);
  int checked = 0;
  for (int trial = 0; trial < 300; ++trial) {
    Ring ring = geomtest::RandomSimpleLatticePolygon(rng, 60 + static_cast<int>(rng() % 100), 60, true);
    if (ring.empty()) continue;
    ++checked;
    const float squeeze = trial % 4 < 2 ? 2e-5f : 3e-4f;
    for (t_h2dpoint& p : ring) (trial % 2 ? p.x : p.y) *= squeeze;
    ASSERT_TRUE(SameAsPlain(ring, trial % 3 == 0)) << "squeezed polygon, trial " << trial;
  }
  EXPECT_GT(checked, 250);
}

TEST(HPolygonTriangulator, IndexedDiagonalTestDecidesAsTheWalkWhereRoundingDecidesSides) {
  // A straight side running from near the origin to far out, its points spread over many magnitudes:
  // the area tests' rounding of points far along it reaches the tolerance, so which side they fall on is
  // decided by rounding, and far edges along the side can hit a diagonal without being near it.
  std::mt19937 rng(42);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  for (int trial = 0; trial < 3000; ++trial) {
    const double angle = 0.2 + unit(rng), c = std::cos(angle), s = std::sin(angle);
    const double far = std::pow(10.0, 2.0 + 4.0 * unit(rng));
    std::vector<double> along;
    for (int i = 0, k = 5 + static_cast<int>(rng() % 20); i < k; ++i) {
      along.push_back(far * std::pow(unit(rng), 2.0 + 3.0 * unit(rng)));
    }
    std::sort(along.begin(), along.end());
    Ring ring;
    for (const double t : along) ring.push_back({static_cast<float>(t * c), static_cast<float>(t * s)});
    for (int i = 0, back = 3 + static_cast<int>(rng() % 6); i < back; ++i) {  // a bent way back on the left
      const double t = far * (1.0 - (i + 0.5) / back);
      const double off = far * 0.05 * (1.0 + unit(rng)) * (rng() % 4 == 0 ? 0.001 : 1.0);
      ring.push_back({static_cast<float>(t * c - off * s), static_cast<float>(t * s + off * c)});
    }
    if (trial % 3 == 2) {  // in whole units: exact area tests up to 2896 across, rounded ones beyond
      for (t_h2dpoint& p : ring) p.x = std::round(p.x), p.y = std::round(p.y);
    }
    ASSERT_TRUE(SameAsPlain(ring, trial % 2 == 1)) << "straight side, trial " << trial;
  }
}

TEST(HPolygonTriangulator, IndexedDiagonalTestDecidesAsTheWalkOnSmoothStars) {
  // The benchmark's stars (radius 0.15 n), a tiny one the tolerance flattens and a huge one where
  // rounding decides most sides of far points.
  for (const float radius : {0.01f, 300.0f, 20000.0f}) {
    EXPECT_TRUE(SameAsPlain(geomtest::SmoothStar(2000, radius), true)) << "star of 2,000 points, radius " << radius;
  }
  EXPECT_TRUE(SameAsPlain(geomtest::SmoothStar(10000, 1500.0f), true)) << "star of 10,000 points";
}

TEST(HPolygonTriangulator, NonFiniteAndHugeCoordinatesFallBackToTheWalk) {
  const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_TRUE(SameAsPlain({{0, 0}, {4, 0}, {nan, 2}, {4, 4}, {0, 4}}, false)) << "NaN";
  EXPECT_TRUE(SameAsPlain({{0, 0}, {4, 0}, {inf, 2}, {4, 4}, {0, 4}}, true)) << "infinity";
  EXPECT_TRUE(SameAsPlain({{0, 0}, {4e20f, 0}, {4e20f, 4e20f}, {2e20f, 1e20f}, {0, 4e20f}}, true)) << "huge";
  EXPECT_TRUE(SameAsPlain({{0, 0}, {4e-30f, 0}, {4e-30f, 4e-30f}, {2e-30f, 1e-30f}, {0, 4e-30f}}, true)) << "tiny";
}

}  // namespace
