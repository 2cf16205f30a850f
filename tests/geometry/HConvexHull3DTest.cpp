#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "GeometryTestSupport.h"
#include "HullTestSupport.h"
#include "qssse/geometry/HConvexHull3D.h"
#include "qssse/geometry/HullException.h"

using hulltest::Coords;
using hulltest::I3;
using hulltest::List;
using hulltest::PlainHull;

namespace {

void Append(CHConvexHull3D& h, const std::vector<I3>& pts) {
  for (const I3& p : pts) h.AppendVertex3D(static_cast<float>(p[0]), static_cast<float>(p[1]), static_cast<float>(p[2]), 1.0f);
}

std::vector<I3> RandomGrid(std::mt19937& rng, int count, int grid) {
  std::vector<I3> pts;
  const auto r = [&] { return static_cast<std::int64_t>(rng() % static_cast<unsigned>(grid)); };
  for (int i = 0; i < count; ++i) pts.push_back({r(), r(), r()});
  return pts;
}

CHullException::Cause CauseOf(CHConvexHull3D& h) {
  try {
    h.CalcConvexHull();
  } catch (const CHullException& e) {
    return e.GetCause();
  }
  ADD_FAILURE() << "no exception";
  return CHullException::range;
}

}  // namespace

TEST(ConvexHull3D, HullsKeepTheCornersOnlyAndTheFirstFaceFacesAwayFromTheApex) {
  const std::vector<I3> tetra = {{0, 0, 0}, {10, 0, 0}, {0, 10, 0}, {0, 0, 10}};
  CHConvexHull3D h;
  Append(h, tetra);
  h.CalcConvexHull();
  EXPECT_EQ(h.GetNumAppended(), 4);
  hulltest::ExpectValidHull(h, tetra);  // four faces, six edges, four vertices by Euler and closure
  EXPECT_EQ(h.GetNumFaces(), 4);
  // The first face is the double triangle's second face, turned to face away from the apex.
  const tFaceStructure* f = h.GetFaces();
  EXPECT_EQ(Coords(f->vertex[0]), (I3{0, 10, 0}));
  EXPECT_EQ(Coords(f->vertex[1]), (I3{10, 0, 0}));
  EXPECT_EQ(Coords(f->vertex[2]), (I3{0, 0, 0}));
  // A cube, its centre, and the midpoint of a face diagonal inserted after the face exists.
  const std::vector<I3> pts = {{0, 0, 0}, {4, 0, 0}, {0, 4, 0}, {0, 0, 4}, {4, 4, 0}, {4, 0, 4},
                               {0, 4, 4}, {4, 4, 4}, {2, 2, 2}, {2, 2, 0}};
  CHConvexHull3D cube;
  Append(cube, pts);
  cube.SetCheck(true);
  cube.CalcConvexHull();
  EXPECT_EQ(cube.GetNumVertices(), 8);
  EXPECT_EQ(cube.GetNumFaces(), 12);
  hulltest::ExpectValidHull(cube, pts);
}

TEST(ConvexHull3D, AppendsRoundTruncateAndDropDuplicates) {
  CHConvexHull3D h;
  h.AppendVertex2D(0.04f, 0.0f, -1, true);
  h.AppendVertex2D(0.0f, 0.0f, -1, false);  // rounds to X = 0 as well: dropped
  h.AppendVertex2D(-0.26f, 1.0f, 7, false);  // -2.6 + 0.5 = -2.1 truncates to -2
  h.AppendVertex2D(-0.26f, 1.0f, 8, false);
  h.AppendVertex2D(0.5f, 0.0f, -1, false);
  const auto v = List(h.GetVertices());
  ASSERT_EQ(v.size(), 3u);
  EXPECT_EQ(h.GetNumAppended(), 3);
  EXPECT_EQ(Coords(v[0]), (I3{0, 0, 0}));
  EXPECT_TRUE(v[0]->flag);
  EXPECT_EQ(Coords(v[1]), (I3{-2, 10, 104}));
  EXPECT_EQ(v[1]->vnum, 7);
  EXPECT_EQ(Coords(v[2]), (I3{5, 0, 25}));
  EXPECT_EQ(v[2]->vnum, 2);  // the appended count, index -1
  CHConvexHull3D g;
  g.AppendVertex3D(1.24f, -1.26f, 0.0f, 10.0f);
  g.AppendVertex3D(1.2f, -1.3f, 0.04f, 10.0f);  // 12.5 -> 12, -12.5 -> -12, 0.9 -> 0: the same vertex
  EXPECT_EQ(g.GetNumAppended(), 1);
  EXPECT_EQ(Coords(g.GetVertices()), (I3{12, -12, 0}));
}

TEST(ConvexHull3D, VertexReadersUndoTheScaling) {
  CHConvexHull3D h;
  h.AppendVertex2D(1.0f, 2.0f, -1, false);
  h.AppendVertex2D(3.0f, 1.0f, -1, false);
  h.AppendVertex2D(2.0f, 4.0f, -1, false);
  h.AppendVertex2D(1.5f, 2.5f, -1, false);
  h.CalcConvexHull();
  tFaceStructure* f = h.GetFaces();
  for (int i = 0; i < 3; ++i) {
    const tVertexStructure* v = f->vertex[i];
    const auto x = static_cast<float>(v->x), y = static_cast<float>(v->y), z = static_cast<float>(v->z);
    EXPECT_TRUE(geomtest::IsPoint(h.GetVertexFromFace(f, i), x / 10.0f, y / 10.0f, (x * x + y * y) / 10.0f, 0.0f));
    SSEPoint scale = qssse::MakeSSEPoint(2.0f, 4.0f, 8.0f, 0.0f);
    EXPECT_TRUE(geomtest::IsPoint(h.GetVertexFromFace3D(f, i, scale), x / 2.0f, y / 4.0f, z / 8.0f, 0.0f));
  }
  EXPECT_EQ(h.GetVertexFromFace(f, 3).x, 0.0f);
  EXPECT_EQ(h.GetVertexFromFace(nullptr, 0).x, 0.0f);
}

TEST(ConvexHull3D, FlatInputRaisesACatchableExceptionAndLeavesNoHull) {
  CHConvexHull3D empty;
  EXPECT_EQ(CauseOf(empty), CHullException::collinear);
  CHConvexHull3D line;
  Append(line, {{0, 0, 0}, {1, 1, 1}, {2, 2, 2}, {5, 5, 5}});
  EXPECT_EQ(CauseOf(line), CHullException::collinear);
  EXPECT_EQ(line.GetFaces(), nullptr);
  CHConvexHull3D plane;
  Append(plane, {{0, 0, 0}, {4, 0, 0}, {0, 4, 0}, {3, 3, 0}, {1, 2, 0}});
  EXPECT_EQ(CauseOf(plane), CHullException::coplanar);
  EXPECT_EQ(plane.GetFaces(), nullptr);
  EXPECT_EQ(plane.GetEdges(), nullptr);
  EXPECT_EQ(plane.GetNumFaces(), 0);
  EXPECT_EQ(List(plane.GetVertices()).size(), 5u);
  // The points stay: one off the plane makes the next call succeed.
  plane.AppendVertex3D(1, 1, 3, 1.0f);
  plane.CalcConvexHull();
  EXPECT_EQ(plane.GetNumVertices(), 5);
}

TEST(ConvexHull3D, SpreadsWhoseVolumesFitAreAcceptedAndOthersRefused) {
  // 2·Dx·Dy·Dz <= 2^63 - 1 holds for 2^20 x 2^20 x (2^22 - 1) and fails for 2^20 x 2^20 x 2^22.
  const std::int64_t big = 1 << 20;
  for (const std::int64_t dz : {(std::int64_t{1} << 22) - 1, std::int64_t{1} << 22}) {
    std::vector<I3> pts;
    std::mt19937 rng(42);
    const auto r = [&](std::int64_t d) { return static_cast<std::int64_t>(rng() % static_cast<std::uint64_t>(d + 1)); };
    for (int i = 0; i < 200; ++i) pts.push_back({r(big), r(big), r(dz)});
    for (const I3 c : {I3{0, 0, 0}, I3{big, big, dz}, I3{big, 0, 0}, I3{0, big, dz}}) pts.push_back(c);
    CHConvexHull3D h;
    Append(h, pts);
    if (dz < (std::int64_t{1} << 22)) {
      h.CalcConvexHull();
      hulltest::ExpectValidHull(h, pts);
    } else {
      EXPECT_EQ(CauseOf(h), CHullException::range);
      EXPECT_EQ(h.GetFaces(), nullptr);
    }
  }
  // Anywhere in [0, 2^20) per axis, including the corners of that cube.
  CHConvexHull3D cube;
  std::vector<I3> corners;
  for (int k = 0; k < 8; ++k) corners.push_back({(k & 1) ? big - 1 : 0, (k & 2) ? big - 1 : 0, (k & 4) ? big - 1 : 0});
  corners.push_back({big / 2, big / 3, big - 2});
  Append(cube, corners);
  cube.CalcConvexHull();
  hulltest::ExpectValidHull(cube, corners);
  // Values no 64-bit coordinate holds are refused at the append.
  CHConvexHull3D h;
  EXPECT_THROW(h.AppendVertex3D(std::nanf(""), 0, 0, 1.0f), CHullException);
  EXPECT_THROW(h.AppendVertex3D(1e30f, 0, 0, 1.0f), CHullException);
  EXPECT_THROW(h.AppendVertex2D(3e8f, 0, -1, false), CHullException);
  EXPECT_EQ(h.GetVertices(), nullptr);
}

TEST(ConvexHull3D, FastAndPlainAgreeFaceByFaceOnRandomCoarseGrids) {
  std::mt19937 rng(42);
  for (int round = 0; round < 300; ++round) {
    const int count = 4 + static_cast<int>(rng() % 60);
    const std::vector<I3> pts = RandomGrid(rng, count, 10);  // many duplicates, coplanar and collinear sets
    CHConvexHull3D fast;
    PlainHull plain;
    Append(fast, pts);
    Append(plain, pts);
    bool flat = false;
    try {
      plain.CalcPlain();
    } catch (const CHullException&) {
      flat = true;
    }
    if (flat) {
      EXPECT_THROW(fast.CalcConvexHull(), CHullException);
      continue;
    }
    fast.CalcConvexHull();
    hulltest::ExpectSameLists(fast, plain, "round " + std::to_string(round));
    hulltest::ExpectValidHull(fast, pts);
    EXPECT_TRUE(plain.RunChecks());
  }
}

TEST(ConvexHull3D, FastAndPlainAgreeOnLargerSetsAndLaterAppends) {
  std::mt19937 rng(42);
  for (int round = 0; round < 4; ++round) {
    std::vector<I3> pts;
    // Points near a sphere of radius 40 on the integer grid: most end on the hull, with coplanar faces.
    while (pts.size() < 1500) {
      const I3 p = {static_cast<std::int64_t>(rng() % 81) - 40, static_cast<std::int64_t>(rng() % 81) - 40,
                    static_cast<std::int64_t>(rng() % 81) - 40};
      const std::int64_t r2 = p[0] * p[0] + p[1] * p[1] + p[2] * p[2];
      if (r2 >= 1500 && r2 <= 1600) pts.push_back({p[0] + 40, p[1] + 40, p[2] + 40});  // x + 0.5 truncates as rounding
    }
    CHConvexHull3D fast;
    PlainHull plain;
    const std::vector<I3> first(pts.begin(), pts.begin() + 700), second(pts.begin() + 700, pts.end());
    Append(fast, first);
    Append(plain, first);
    fast.CalcConvexHull();
    plain.CalcPlain();
    hulltest::ExpectSameLists(fast, plain, "first part, round " + std::to_string(round));
    // Points appended afterwards are inserted into the hull by the next call.
    Append(fast, second);
    Append(plain, second);
    fast.CalcConvexHull();
    plain.CalcPlain();
    hulltest::ExpectSameLists(fast, plain, "round " + std::to_string(round));
    hulltest::ExpectValidHull(fast, pts);
  }
}

TEST(ConvexHull3D, CopiesShareTheListsAndBothMayBeDestroyed) {
  CHConvexHull3D copy;
  {
    CHConvexHull3D h;
    Append(h, {{0, 0, 0}, {10, 0, 0}, {0, 10, 0}, {0, 0, 10}});
    h.CalcConvexHull();
    copy = h;
  }  // h is gone; the elements live on with the copy
  EXPECT_EQ(copy.GetNumFaces(), 4);
  EXPECT_EQ(List(copy.GetFaces()).size(), 4u);
}

namespace {

// Replaces the volume sign (by the same rule, counted): the fast construction must call it.
class CountingHull : public CHConvexHull3D {
 public:
  long calls = 0;
  int VolumeSign(tFaceStructure* f, tVertexStructure* p) override {
    ++calls;
    return CHConvexHull3D::VolumeSign(f, p);
  }
};

}  // namespace

TEST(ConvexHull3D, ReplacedPredicatesAreUsedByTheFastConstruction) {
  std::mt19937 rng(42);
  const std::vector<I3> pts = RandomGrid(rng, 200, 10);
  CountingHull counted;
  PlainHull plain;
  Append(counted, pts);
  Append(plain, pts);
  counted.CalcConvexHull();
  plain.CalcPlain();
  EXPECT_GT(counted.calls, 200);
  hulltest::ExpectSameLists(counted, plain, "replaced predicate");
}
