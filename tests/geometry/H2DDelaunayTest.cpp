#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "HullTestSupport.h"
#include "qssse/geometry/H2DDelaunay.h"
#include "qssse/geometry/HullException.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/UserInterfaceManager.h"
#include "qssse/polygon/SSE3dPolygon.h"

using hulltest::Cross;
using hulltest::I2;
using hulltest::I3;
using hulltest::List;
using hulltest::Wide;

namespace {

// Every run shows a timing message: silenced for the tests.
class Delaunay2D : public ::testing::Test {
 protected:
  Delaunay2D() { QsCUserInterfaceManager::SetMessageHandler([](const wchar_t*, int, int) { return 0; }); }
  ~Delaunay2D() override { QsCUserInterfaceManager::SetMessageHandler(nullptr); }
};

// Positive when d lies strictly inside the circle through the counter-clockwise a, b, c.
Wide InCircle(I2 a, I2 b, I2 c, const I2& d) {
  const auto row = [&](const I2& p) {
    const Wide x = p[0] - d[0], y = p[1] - d[1];
    return std::array<Wide, 3>{x, y, x * x + y * y};
  };
  const auto A = row(a), B = row(b), C = row(c);
  return A[0] * (B[1] * C[2] - B[2] * C[1]) - A[1] * (B[0] * C[2] - B[2] * C[0]) + A[2] * (B[0] * C[1] - B[1] * C[0]);
}

// Twice the area of the convex hull of the points.
Wide HullArea2(const std::vector<I2>& points) {
  const std::vector<I2> h = hulltest::MonotoneChain(points);
  Wide area = 0;
  for (std::size_t i = 1; i + 1 < h.size(); ++i) area += Cross(h[0], h[i], h[i + 1]);
  return area;
}

// Every triangle clockwise and non-degenerate, no point strictly inside any circumcircle, the triangles
// tiling the convex hull (their areas add up to its area), every distinct point a vertex.
void ExpectDelaunay(const CH2DDelaunay& d, const std::vector<I2>& points) {
  const auto faces = List(d.GetFaces());
  ASSERT_EQ(static_cast<int>(faces.size()), d.GetNumFaces());
  Wide area = 0;
  std::set<I2> used;
  for (const tFaceStructure* f : faces) {
    I2 v[3];
    for (int i = 0; i < 3; ++i) {
      v[i] = {f->vertex[i]->x, f->vertex[i]->y};
      EXPECT_EQ(f->vertex[i]->z, f->vertex[i]->x * f->vertex[i]->x + f->vertex[i]->y * f->vertex[i]->y);
      used.insert(v[i]);
    }
    const Wide a = Cross(v[0], v[1], v[2]);
    ASSERT_LT(a, 0) << "not clockwise";
    area -= a;
    for (const I2& p : points) {
      if (InCircle(v[0], v[2], v[1], p) > 0) {
        ADD_FAILURE() << "(" << p[0] << ", " << p[1] << ") inside a circumcircle";
        return;
      }
    }
  }
  EXPECT_TRUE(area == HullArea2(points));
  EXPECT_EQ(used, std::set<I2>(points.begin(), points.end()));
}

}  // namespace

// The triangulation's faces are the plain hull's lower faces (the lifted points seen from below), in
// its order.
template <class Plain>
::testing::AssertionResult FacesAreThePlainHullsLowerFaces(const CH2DDelaunay& d, const Plain& plain) {
  std::vector<const tFaceStructure*> lower;
  for (const tFaceStructure* f : List(plain.GetFaces())) {
    const I3 a = hulltest::Coords(f->vertex[0]), b = hulltest::Coords(f->vertex[1]), c = hulltest::Coords(f->vertex[2]);
    if ((b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]) < 0) lower.push_back(f);
  }
  const auto faces = List(d.GetFaces());
  if (faces.size() != lower.size()) return ::testing::AssertionFailure() << faces.size() << " faces, " << lower.size() << " lower";
  for (std::size_t i = 0; i < faces.size(); ++i)
    for (int k = 0; k < 3; ++k)
      if (hulltest::Coords(faces[i]->vertex[k]) != hulltest::Coords(lower[i]->vertex[k]))
        return ::testing::AssertionFailure() << "face " << i << " corner " << k;
  return ::testing::AssertionSuccess();
}

TEST_F(Delaunay2D, EveryRunSendsOneTimingMessage) {
  std::vector<std::wstring> texts;
  QsCUserInterfaceManager::SetMessageHandler([&](const wchar_t* text, int type, int flags) {
    texts.emplace_back(text);
    EXPECT_EQ(type, 0);
    EXPECT_EQ(flags, 0);
    return 0;
  });
  CH2DDelaunay d;
  for (const auto& p : {std::array<float, 2>{0, 0}, {1, 0}, {0, 1}, {1.5f, 1.2f}, {1.54f, 1.2f}}) d.AppendVertex(p[0], p[1], -1, false);
  d.CalcDelaunayTriangulation();
  d.AppendVertex(2, 2, -1, false);
  d.CalcDelaunayTriangulation();  // triangulates all five vertices anew
  QsCUserInterfaceManager::SetMessageHandler(nullptr);
  ASSERT_EQ(texts.size(), 2u);
  EXPECT_EQ(texts[0].rfind(L"Time for 2D-Delaunay ms: ", 0), 0u);
  EXPECT_NE(texts[0].find(L"\n Vertices: 4"), std::wstring::npos);  // (1.54, 1.2) merged with (1.5, 1.2)
  EXPECT_NE(texts[1].find(L"\n Vertices: 5"), std::wstring::npos);
  EXPECT_EQ(d.GetNumAppended(), 5);
  EXPECT_EQ(d.GetNumVertices(), 5);
  ExpectDelaunay(d, {{0, 0}, {10, 0}, {0, 10}, {15, 12}, {20, 20}});
}

TEST_F(Delaunay2D, CocircularPointsLiftIntoOnePlane) {
  CH2DDelaunay d;
  for (const auto& p : {std::array<float, 2>{0, 0}, {1, 0}, {0, 1}, {1, 1}}) d.AppendVertex(p[0], p[1], -1, false);
  try {
    d.CalcDelaunayTriangulation();
    ADD_FAILURE() << "no exception";
  } catch (const CHullException& e) {
    EXPECT_EQ(e.GetCause(), CHullException::coplanar);
  }
  EXPECT_EQ(d.GetNumFaces(), 0);
}

// count random points of a grid x grid lattice (cocircular quadruples, long collinear borders, repeated
// points) triangulated, checked, and compared with the plain hull; both refuse points all on one line.
void ExpectDelaunayAsThePlainHull(std::mt19937& rng, int count, int grid) {
  CH2DDelaunay d;
  hulltest::PlainHull plain;
  std::vector<I2> pts;
  for (int i = 0; i < count; ++i) {
    const int x = static_cast<int>(rng() % grid), y = static_cast<int>(rng() % grid);
    d.AppendVertex(static_cast<float>(x), static_cast<float>(y), -1, false);
    plain.AppendVertex2D(static_cast<float>(x), static_cast<float>(y), -1, false);
    pts.push_back({10 * x, 10 * y});
  }
  try {
    plain.CalcPlain();
  } catch (const CHullException&) {
    EXPECT_THROW(d.CalcDelaunayTriangulation(), CHullException);
    return;
  }
  d.CalcDelaunayTriangulation();
  ExpectDelaunay(d, pts);
  EXPECT_TRUE(FacesAreThePlainHullsLowerFaces(d, plain));
}

TEST_F(Delaunay2D, RandomCoarseGridsAreDelaunayAndMatchThePlainHullAlsoWhenWalkingLocatesLargerSets) {
  std::mt19937 rng(42);
  for (int round = 0; round < 200 && !HasFailure(); ++round) {
    SCOPED_TRACE(testing::Message() << "round " << round);
    ExpectDelaunayAsThePlainHull(rng, 3 + static_cast<int>(rng() % 50), 10);
  }
  // Larger sets, where the walking point location does the work.
  rng.seed(42);
  for (int round = 0; round < 3; ++round) ExpectDelaunayAsThePlainHull(rng, 2500, 40);
}

TEST_F(Delaunay2D, ScaledSpreadOf2To14FitsAndFarLargerIsRefused) {
  CH2DDelaunay d;
  std::vector<I2> pts;
  std::mt19937 rng(42);
  for (int i = 0; i < 300; ++i) {
    const int x = static_cast<int>(rng() % 16385), y = static_cast<int>(rng() % 16385);
    d.AppendVertex(static_cast<float>(x) / 10.0f, static_cast<float>(y) / 10.0f, -1, false);
    const tVertexStructure* last = d.GetVertices()->prev;
    pts.push_back({last->x, last->y});
  }
  for (const float c : {0.0f, 1638.4f}) {
    d.AppendVertex(c, 0, -1, false);
    d.AppendVertex(c, 1638.4f, -1, false);
    pts.push_back({static_cast<std::int64_t>(c * 10), 0});
    pts.push_back({static_cast<std::int64_t>(c * 10), 16384});
  }
  d.CalcDelaunayTriangulation();
  ExpectDelaunay(d, pts);
  CH2DDelaunay far;
  for (const float c : {0.0f, 6553.6f}) {  // 2^16 scaled: 2·2^16·2^16·2^33 > 2^63
    far.AppendVertex(c, 0, -1, false);
    far.AppendVertex(0, c + 1, -1, false);
  }
  EXPECT_THROW(far.CalcDelaunayTriangulation(), CHullException);
}

TEST_F(Delaunay2D, BandCutNeverTestsTheHeadFaceAndLowersTheCount) {
  CH2DDelaunay d;
  std::mt19937 rng(42);
  for (int i = 0; i < 40; ++i) d.AppendVertex(static_cast<float>(rng() % 50), static_cast<float>(rng() % 50), -1, false);
  d.CalcDelaunayTriangulation();
  const tFaceStructure* head = d.GetFaces();
  // Empty border lines: every height lookup keeps 0, so every tested face lies above the band.
  d.RemoveFacesOutOfBorderLines(0.0f);
  EXPECT_EQ(d.GetNumFaces(), 1);
  EXPECT_EQ(d.GetFaces(), head);
  CHTriangulation mesh(&d, 1.0f, 1.0f, 1.0f, true);
  EXPECT_EQ(mesh.GetNumTriangles(), 1);
}

namespace {

CSSE3dPolygon Circle(int n, float r, std::vector<float> z) {
  CSSE3dPolygon p;
  p.Create(n);
  for (int i = 0; i < n; ++i) {
    const float a = 6.2831853f * static_cast<float>(i) / static_cast<float>(n);
    p.SetPoint(i, r * std::cos(a), r * std::sin(a), z[static_cast<std::size_t>(i)]);
  }
  return p;
}

}  // namespace

TEST_F(Delaunay2D, WallStripJoinsTheOutlinesAtTheirOwnPoints) {
  const int n = 16;
  CSSE3dPolygon lower = Circle(n, 20.0f, std::vector<float>(n, 0.0f));
  CSSE3dPolygon upper = Circle(n, 20.0f, std::vector<float>(n, 10.0f));
  CH2DDelaunay d;
  d.CreateTriangulationFromTwoBorderPolygons(&lower, &upper, false);
  EXPECT_EQ(d.GetLowerBorderLine().GetNumPoints(), n + 1);
  EXPECT_EQ(d.GetNumVertices(), 2 * (n + 1));
  EXPECT_EQ(d.GetNumFaces(), 2 * n);  // a strip of n quads between the two unrolled rings
  std::set<int> lowerSeen;
  for (const tVertexStructure* v : List(d.GetVertices())) {
    SSEPoint p;
    (v->flag ? lower : upper).GetPointSSE(((v->vnum - 1) % n + n) % n, p);  // ring point i is outline point i - 1
    EXPECT_EQ(v->x, static_cast<std::int64_t>(p.x * 10.0f));
    EXPECT_EQ(v->y, static_cast<std::int64_t>(p.y * 10.0f));
    EXPECT_EQ(v->z, static_cast<std::int64_t>(p.z * 10.0f));
  }
  // Every face joins the two outlines.
  for (const tFaceStructure* f : List(d.GetFaces())) {
    const int flagged = f->vertex[0]->flag + f->vertex[1]->flag + f->vertex[2]->flag;
    EXPECT_TRUE(flagged == 1 || flagged == 2);
  }
}

TEST_F(Delaunay2D, WallStripDropsTrianglesOutsideANarrowingBand) {
  const int n = 32;
  std::vector<float> dip(n, 100.0f);
  for (int i = 12; i < 20; ++i) dip[static_cast<std::size_t>(i)] = 5.0f;  // the upper outline dips near the lower one
  CSSE3dPolygon lower = Circle(n, 40.0f, std::vector<float>(n, 0.0f));
  CSSE3dPolygon upper = Circle(n, 40.0f, dip);
  CH2DDelaunay d;
  d.CreateTriangulationFromTwoBorderPolygons(&lower, &upper, true);
  // Triangles spanning the dip from rim to rim would lie above the upper outline: cut away (the head
  // face is never tested). The dip is outline points 12 to 19, ring points 13 to 20.
  const auto faces = List(d.GetFaces());
  EXPECT_EQ(static_cast<int>(faces.size()), d.GetNumFaces());
  EXPECT_LT(d.GetNumFaces(), 2 * (2 * (n + 1)) - 2 - 3);  // fewer than any triangulation of all the points
  for (std::size_t i = 1; i < faces.size(); ++i) {
    for (const tEdgeStructure* e : faces[i]->edge) {
      const int a = std::min(e->endpts[0]->vnum, e->endpts[1]->vnum), b = std::max(e->endpts[0]->vnum, e->endpts[1]->vnum);
      if (!e->endpts[0]->flag && !e->endpts[1]->flag) {
        EXPECT_FALSE(a <= 12 && b >= 21) << "an edge across the dip: " << a << " - " << b;
      }
    }
  }
}

TEST_F(Delaunay2D, BorderPointsOfTwoMeshesLoftBackToTheirCorners) {
  // Two small fans of separate triangles (all border triangles once their neighbours are computed).
  const auto fan = [](CHTriangulation& m, float z) {
    m.CreateTriangulation(4);
    for (int t = 0; t < 4; ++t) {
      const float x = static_cast<float>(t) * 3.0f;
      *m.GetTriangle(t)->point[0] = qssse::MakeSSEPoint(x, 0.0f, z);
      *m.GetTriangle(t)->point[1] = qssse::MakeSSEPoint(x + 1.0f, 2.0f * static_cast<float>(t), z + 1.0f);
      *m.GetTriangle(t)->point[2] = qssse::MakeSSEPoint(x, 1.0f + static_cast<float>(t), z + 3.0f);
    }
    m.CalcSTV();
    m.CalcBoundingBox();
    m.CalcNeighbours();
  };
  CHTriangulation top(0, 1.0f, 1.0f, 1.0f), bottom(0, 1.0f, 1.0f, 1.0f);
  fan(top, 10.0f);
  fan(bottom, 0.0f);
  CH2DDelaunay d;
  d.GetBorderPointsTop(&top, true);  // the corners of triangles 0 and 1, x <= the corner average 58 / 12
  d.GetBorderPointsBottom(&bottom, true);
  SSEPoint centre;
  top.GetCenterPoint(centre);
  EXPECT_FLOAT_EQ(centre.x, 58.0f / 12.0f);
  const auto vertices = List(d.GetVertices());
  ASSERT_EQ(vertices.size(), 10u);  // per mesh, corner 0 of triangle 1 repeats corner 0 of triangle 0 in (y, z)
  EXPECT_EQ(d.GetUpperBorderLine().GetNumPoints(), 6);
  EXPECT_EQ(d.GetLowerBorderLine().GetNumPoints(), 6);
  float x = 0, y = 0;
  d.GetLowerBorderLine().GetPoint(1, x, y);  // corner 1 of triangle 0: (y, z) = (0, 1), ×10
  EXPECT_EQ(x, 0.0f);
  EXPECT_EQ(y, 10.0f);
  d.LoftWith3DTriangulation(&bottom, &top);
  for (const tVertexStructure* v : vertices) {
    const SSEPoint& c = *(v->flag ? bottom : top).GetTriangle(v->vnum / 3)->point[v->vnum % 3];
    EXPECT_EQ(v->x, static_cast<std::int64_t>(c.x * 10.0f));
    EXPECT_EQ(v->z, static_cast<std::int64_t>(c.z * 10.0f));
  }
}
