// FindBorderLines: the open border as closed loops, against a plain count of every side of the mesh.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <map>
#include <random>
#include <tuple>
#include <vector>

#include "MeshTestSupport.h"
#include "qssse/polygon/SSE3dPolygon.h"

using meshtest::MeshOf;

namespace {

using Corner = std::tuple<float, float, float, float>;
using Side = std::pair<Corner, Corner>;

Corner Key(const SSEPoint& p) {
  // -0 and 0 are one corner, as the mesh compares them.
  const auto z = [](float v) { return v == 0.0f ? 0.0f : v; };
  return {z(p.x), z(p.y), z(p.z), z(p.w)};
}

Side Undirected(Corner a, Corner b) { return a < b ? Side{a, b} : Side{b, a}; }

// The open sides by their definition: sides of two different finite corners that appear once among all
// sides of the mesh; each as it runs in its triangle.
std::vector<Side> PlainOpenSides(const CHTriangulation& t) {
  std::map<Side, int> count;
  std::vector<Side> sides;
  for (int i = 0; i < t.GetNumTriangles(); ++i) {
    for (int e = 0; e < 3; ++e) {
      const SSEPoint& a = *t.GetTriangle(i)->point[e];
      const SSEPoint& b = *t.GetTriangle(i)->point[(e + 1) % 3];
      const Corner ka = Key(a), kb = Key(b);
      if (ka == kb || std::isnan(a.x + a.y + a.z + a.w) || std::isnan(b.x + b.y + b.z + b.w)) continue;
      ++count[Undirected(ka, kb)];
      sides.push_back({ka, kb});
    }
  }
  std::vector<Side> open;
  for (const Side& s : sides) {
    if (count[Undirected(s.first, s.second)] == 1) open.push_back(s);
  }
  return open;
}

double Length(const Side& s) {
  return std::sqrt(std::pow(double{std::get<0>(s.first)} - std::get<0>(s.second), 2) +
                   std::pow(double{std::get<1>(s.first)} - std::get<1>(s.second), 2) +
                   std::pow(double{std::get<2>(s.first)} - std::get<2>(s.second), 2));
}

std::vector<Side> LoopSides(const CSSE3dPolygon& line) {
  std::vector<Side> sides;
  const int k = line.GetNumPoints();
  for (int i = 0; i < k; ++i) {
    SSEPoint a, b;
    line.GetPointSSE(i, a);
    line.GetPointSSE((i + 1) % k, b);
    sides.push_back({Key(a), Key(b)});
  }
  return sides;
}

// Every loop closes over open sides only, every open side lies on exactly one loop, run the way its
// triangle runs it when `oriented`, and the loops' total length is the open sides' total length.
void ExpectLoopsCoverTheOpenSides(const CHTriangulation& t, const std::vector<CSSE3dPolygon>& loops,
                                  bool oriented, const std::string& what) {
  const std::vector<Side> open = PlainOpenSides(t);
  std::map<Side, int> left;
  double openLength = 0.0, loopLength = 0.0;
  for (const Side& s : open) {
    ++left[oriented ? s : Undirected(s.first, s.second)];
    openLength += Length(s);
  }
  for (const CSSE3dPolygon& line : loops) {
    ASSERT_GE(line.GetNumPoints(), 3) << what;
    for (const Side& s : LoopSides(line)) {
      int& n = left[oriented ? s : Undirected(s.first, s.second)];
      ASSERT_EQ(n, 1) << what << ": a loop side that is not an open side, or one used twice";
      --n;
      loopLength += Length(s);
    }
  }
  EXPECT_NEAR(loopLength, openLength, 1e-9 * (1.0 + openLength)) << what;
}

// Unit cells (x, y) of a grid as two counter-clockwise triangles each, heights from z(x, y).
template <class Z>
std::vector<std::array<SSEPoint, 3>> Cells(const std::vector<std::pair<int, int>>& cells, Z z) {
  std::vector<std::array<SSEPoint, 3>> tris;
  for (auto [x, y] : cells) {
    const auto c = [&](int dx, int dy) {
      return P(static_cast<float>(x + dx), static_cast<float>(y + dy), z(x + dx, y + dy));
    };
    tris.push_back({c(0, 0), c(1, 1), c(0, 1)});
    tris.push_back({c(0, 0), c(1, 0), c(1, 1)});
  }
  return tris;
}

std::vector<CSSE3dPolygon> Loops(const CHTriangulation& t, int expectLeftOver = 0) {
  std::vector<CSSE3dPolygon> loops;
  EXPECT_EQ(t.FindBorderLines(loops), expectLeftOver);
  return loops;
}

int CountPoint(const CSSE3dPolygon& line, float x, float y) {
  int n = 0;
  for (int i = 0; i < line.GetNumPoints(); ++i) {
    float px, py, pz;
    line.GetPoint(i, px, py, pz);
    n += px == x && py == y;
  }
  return n;
}

const auto kSloped = [](int x, int y) { return static_cast<float>(x + 10 * y); };
const auto kFlat = [](int, int) { return 2.0f; };

}  // namespace

TEST(HTriangulationBorderLoops, SquareWithASquareHoleGivesACounterClockwiseOuterLoopAndAClockwiseHole) {
  std::vector<std::pair<int, int>> ring;
  for (int y = 0; y < 3; ++y) {
    for (int x = 0; x < 3; ++x) {
      if (x != 1 || y != 1) ring.push_back({x, y});
    }
  }
  // Sloped, the loose corner test finds exactly the shared sides; flat, it links far more.
  for (bool flat : {false, true}) {
    auto t = flat ? MeshOf(Cells(ring, kFlat)) : MeshOf(Cells(ring, kSloped));
    t->CalcNeighbours();
    const std::vector<CSSE3dPolygon> loops = Loops(*t);
    ASSERT_EQ(loops.size(), 2u) << flat;
    // The first open side in record order is cell (0, 0)'s left side, run from (0, 1) down to (0, 0).
    EXPECT_EQ(loops[0].GetNumPoints(), 12);
    float x, y, z;
    loops[0].GetPoint(0, x, y, z);
    EXPECT_EQ(x, 0.0f);
    EXPECT_EQ(y, 1.0f);
    EXPECT_EQ(loops[0].CalcXYArea(), 18.0f);  // twice the area, counter-clockwise
    EXPECT_EQ(loops[1].GetNumPoints(), 4);
    EXPECT_EQ(loops[1].CalcXYArea(), -2.0f);  // the hole runs clockwise
    ExpectLoopsCoverTheOpenSides(*t, loops, true, flat ? "flat" : "sloped");
  }
}

TEST(HTriangulationBorderLoops, TwoIslandsGiveTwoLoopsInRecordOrderAndAClosedMeshNone) {
  auto islands = MeshOf(Cells({{5, 0}, {0, 0}, {0, 1}}, kFlat));
  islands->CalcNeighbours();
  const std::vector<CSSE3dPolygon> loops = Loops(*islands);
  ASSERT_EQ(loops.size(), 2u);
  EXPECT_EQ(loops[0].GetNumPoints(), 4);  // the island of the first record
  EXPECT_EQ(CountPoint(loops[0], 6, 1), 1);
  EXPECT_EQ(loops[1].GetNumPoints(), 6);
  ExpectLoopsCoverTheOpenSides(*islands, loops, true, "islands");

  // A cube of flat faces: every slot the loose test fills is checked, and nothing is open.
  const SSEPoint c[8] = {P(0, 0, 0), P(1, 0, 0), P(0, 1, 0), P(1, 1, 0),
                         P(0, 0, 1), P(1, 0, 1), P(0, 1, 1), P(1, 1, 1)};
  const int faces[12][3] = {{0, 2, 1}, {1, 2, 3}, {4, 5, 6}, {5, 7, 6}, {0, 1, 4}, {1, 5, 4},
                            {2, 6, 3}, {3, 6, 7}, {0, 4, 2}, {2, 4, 6}, {1, 3, 5}, {3, 7, 5}};
  std::vector<std::array<SSEPoint, 3>> tris;
  for (const auto& f : faces) tris.push_back({c[f[0]], c[f[1]], c[f[2]]});
  auto cube = MeshOf(tris);
  cube->CalcNeighbours();
  std::vector<CSSE3dPolygon> none(3);
  EXPECT_EQ(cube->FindBorderLines(none), 0);
  EXPECT_TRUE(none.empty());

  CHTriangulation empty;
  EXPECT_EQ(empty.FindBorderLines(none), 0);
  EXPECT_TRUE(none.empty());
}

TEST(HTriangulationBorderLoops, LoopsTouchingAtACornerAreSplitByTheFansAroundIt) {
  // Two squares meeting at (1, 1): two loops, not one figure of eight.
  auto bowtie = MeshOf(Cells({{0, 0}, {1, 1}}, kSloped));
  bowtie->CalcNeighbours();
  std::vector<CSSE3dPolygon> loops = Loops(*bowtie);
  ASSERT_EQ(loops.size(), 2u);
  EXPECT_EQ(loops[0].GetNumPoints(), 4);
  EXPECT_EQ(loops[1].GetNumPoints(), 4);
  ExpectLoopsCoverTheOpenSides(*bowtie, loops, true, "bowtie");

  // Two triangles of a flat field touching at (0, 1): the loose test makes the lower one the upper one's
  // neighbour across the side (0, 1)-(1, 1), which only the upper one has.
  auto corner = MeshOf({{P(0, 1, 2), P(1, 1, 2), P(0, 2, 2)}, {P(0, 0, 2), P(1, 0, 2), P(0, 1, 2)}});
  corner->CalcNeighbours();
  EXPECT_EQ(corner->GetTriangle(0)->neighbour[0], corner->GetTriangle(1));
  loops = Loops(*corner);
  ASSERT_EQ(loops.size(), 2u);
  EXPECT_EQ(loops[0].GetNumPoints(), 3);
  EXPECT_EQ(loops[1].GetNumPoints(), 3);

  // A hole touching the outer border at (2, 2): the cells around that corner are one fan on each side
  // of it, so the outer border and the hole are one loop passing (2, 2) twice.
  std::vector<std::pair<int, int>> notched;
  for (int y = 0; y < 3; ++y) {
    for (int x = 0; x < 3; ++x) {
      if (x != y || x == 0) notched.push_back({x, y});
    }
  }
  auto touching = MeshOf(Cells(notched, kSloped));
  touching->CalcNeighbours();
  loops = Loops(*touching);
  ASSERT_EQ(loops.size(), 1u);
  EXPECT_EQ(loops[0].GetNumPoints(), 16);
  EXPECT_EQ(CountPoint(loops[0], 2, 2), 2);
  EXPECT_EQ(loops[0].CalcXYArea(), 14.0f);  // 8 cells less the hole's 1, twice
  ExpectLoopsCoverTheOpenSides(*touching, loops, true, "touching");
}

TEST(HTriangulationBorderLoops, NeighboursNeedNotBeComputedAndPointersIntoAnotherMeshCountAsNone) {
  std::vector<std::pair<int, int>> cells;
  std::mt19937 rng(42);
  for (int c = 0; c < 100; ++c) {
    if (rng() % 5 < 2) cells.push_back({c % 10, c / 10});
  }
  auto source = MeshOf(Cells(cells, kFlat));
  std::vector<CSSE3dPolygon> before;
  source->FindBorderLines(before);  // no neighbours at all
  source->CalcNeighbours();
  CHTriangulation copy(source.get());  // its neighbours point into the source's records
  source.reset();
  const std::vector<CSSE3dPolygon> after = Loops(copy);
  ASSERT_EQ(after.size(), before.size());
  for (std::size_t k = 0; k < after.size(); ++k) EXPECT_EQ(LoopSides(after[k]), LoopSides(before[k])) << k;
  ExpectLoopsCoverTheOpenSides(copy, after, true, "copy");
}

TEST(HTriangulationBorderLoops, EveryHeightFieldBuilderGivesClosedLoopsOverExactlyTheOpenSides) {
  std::mt19937 rng(42);
  int meshes = 0, withLoops = 0;
  for (int round = 0; round < 60; ++round) {
    const int w = 1 + static_cast<int>(rng() % 9) + (round % 6 == 5 ? 20 : 0);
    const int h = 1 + static_cast<int>(rng() % 9) + (round % 6 == 5 ? 17 : 0);
    // Heights 0..9, often equal, and valid corners in scattered pieces with holes and pinches.
    CSSEMatrix m, ref;
    m.Create(w, h);
    ref.Create(w, h);
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        m.SetPoint(x, y, static_cast<float>(round % 3 == 0 ? 5 : rng() % 10));
        ref.SetPoint(x, y, static_cast<float>(rng() % 10));
      }
    }
    const float threshold = static_cast<float>(rng() % 4);
    CSSE3dPolygon outline;
    outline.Create(64);
    for (int i = 0; i < 64; ++i) {
      const double a = i * 2 * 3.14159265358979 / 64;
      outline.SetPoint(i, static_cast<float>(w / 2.0 + 0.45 * w * std::cos(a)),
                       static_cast<float>(h / 2.0 + 0.45 * h * std::sin(a)), 0.0f);
    }
    const std::function<void(CHTriangulation&)> builders[] = {
        [&](CHTriangulation& t) { t.CreateTriangulationFromSSEField(&m, threshold, round % 2 == 0); },
        [&](CHTriangulation& t) { t.CreateTriangulationFromSSEFieldSubSampled(&m, threshold, true, 1, 1); },
        [&](CHTriangulation& t) { t.CreateTriangulationFromSSEFieldSubSampled(&m, threshold, false, 2, 3); },
        [&](CHTriangulation& t) {
          t.CreateTriangulationFromSSEFieldSubSampled(&m, threshold, true, 1, 2, 1, w - 1, 0, h - 2, true);
        },
        [&](CHTriangulation& t) {
          t.CreateTriangulationFromSSEFieldSubSampled(&m, threshold, true, 2, 1, 0, w - 1, 1, h - 1, false);
        },
        [&](CHTriangulation& t) { t.CreateTriangulationFromSSEFieldSubSampledTwoFields(&m, &ref, true, 1, 1); },
        [&](CHTriangulation& t) {
          t.CreateTriangulationFromSSEFieldSubSampledTwoFields(&m, &ref, false, 1, 1, 0, w - 1, 0, h - 1);
        },
        [&](CHTriangulation& t) { t.CreateTriangulationFromSSEFieldSubSampled(&m, threshold, true, 1, 1, &outline); },
    };
    for (int builder = 0; builder < 8; ++builder) {
      CHTriangulation t;
      t.BaseInitialization(1, 1, 1);
      builders[builder](t);
      t.CalcNeighbours();
      const std::string what = "round " + std::to_string(round) + " builder " + std::to_string(builder);
      std::vector<CSSE3dPolygon> loops;
      ASSERT_EQ(t.FindBorderLines(loops), 0) << what;
      ExpectLoopsCoverTheOpenSides(t, loops, true, what);
      ++meshes;
      withLoops += !loops.empty();
    }
  }
  EXPECT_GT(withLoops, meshes / 2);
}

TEST(HTriangulationBorderLoops, TrianglesOfEitherOrientationAndSoupsWithFinsStillGiveClosedLoops) {
  std::mt19937 rng(42);
  for (int round = 0; round < 400; ++round) {
    std::vector<std::array<SSEPoint, 3>> tris;
    const bool soup = round % 2 == 0;
    if (soup) {
      // Random triangles on a 3 x 3 x 2 grid: fins, slivers, repeated corners.
      const int n = 1 + static_cast<int>(rng() % 12);
      for (int i = 0; i < n; ++i) {
        std::array<SSEPoint, 3> c;
        for (SSEPoint& p : c)
          p = P(static_cast<float>(rng() % 3), static_cast<float>(rng() % 3), static_cast<float>(rng() % 2));
        tris.push_back(c);
      }
    } else {
      // Distinct cells of a 5 x 5 grid, each triangle turned or flipped at random: a mesh whose sides
      // are held once or twice but whose triangles are not oriented alike.
      std::vector<std::pair<int, int>> cells;
      for (int c = 0; c < 25; ++c) {
        if (rng() % 2) cells.push_back({c % 5, c / 5});
      }
      const auto z = [&](int x, int y) { return static_cast<float>((x * 7 + y * 3) % (1 + round % 3)); };
      for (std::array<SSEPoint, 3> t : Cells(cells, z)) {
        std::rotate(t.begin(), t.begin() + rng() % 3, t.end());
        if (rng() % 2) std::swap(t[0], t[1]);
        tris.push_back(t);
      }
      if (tris.empty()) continue;
    }
    auto t = MeshOf(tris);
    if (round % 4 < 2) t->CalcNeighbours();
    std::vector<CSSE3dPolygon> loops;
    const int leftOver = t->FindBorderLines(loops);
    const std::string what = "round " + std::to_string(round);
    if (!soup) {
      EXPECT_EQ(leftOver, 0) << what;
      ExpectLoopsCoverTheOpenSides(*t, loops, false, what);
      continue;
    }
    // Loops run over sides of the mesh, each copy at most once, and every open side is walked.
    std::map<Side, int> copies;
    for (const auto& c : tris) {
      for (int e = 0; e < 3; ++e) ++copies[Undirected(Key(c[e]), Key(c[(e + 1) % 3]))];
    }
    std::size_t onLoops = 0;
    for (const CSSE3dPolygon& l : loops) {
      onLoops += static_cast<std::size_t>(l.GetNumPoints());
      for (const Side& s : LoopSides(l)) EXPECT_GE(copies[Undirected(s.first, s.second)]--, 1) << what;
    }
    EXPECT_GE(onLoops + static_cast<std::size_t>(leftOver), PlainOpenSides(*t).size()) << what;
  }
}
