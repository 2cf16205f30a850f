#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "MeshTestSupport.h"
#include "PlainNeighbours.h"

using meshtest::PlainCalcNeighbours;
using meshtest::Pos;

namespace {

// Neighbours, marks and the working list (head and every link) agree record by record.
void ExpectSameOutcome(const CHTriangulation& fast, const CHTriangulation& plain, const char* what) {
  ASSERT_EQ(fast.GetNumTriangles(), plain.GetNumTriangles()) << what;
  EXPECT_EQ(Pos(fast, fast.GetListHead()), Pos(plain, plain.GetListHead())) << what;
  for (int i = 0; i < fast.GetNumTriangles(); ++i) {
    const t_htriangle& f = fast.GetTriangles()[i];
    const t_htriangle& p = plain.GetTriangles()[i];
    for (int k = 0; k < 3; ++k) {
      ASSERT_EQ(Pos(fast, f.neighbour[k]), Pos(plain, p.neighbour[k]))
          << what << " triangle " << i << " slot " << k;
    }
    ASSERT_EQ(f.mark, p.mark) << what << " triangle " << i;
    ASSERT_EQ(Pos(fast, f.next), Pos(plain, p.next)) << what << " triangle " << i;
    ASSERT_EQ(Pos(fast, f.prev), Pos(plain, p.prev)) << what << " triangle " << i;
  }
}

// Random triangles on a tiny integer grid: lanes coincide all the time, so loose matches that share no
// edge, duplicated triangles, degenerate ones, -0 against +0 and the odd NaN are all common.
void RandomTriangles(CHTriangulation& t, std::mt19937& rng, int n, int span) {
  t.CreateTriangulation(n);
  std::uniform_int_distribution<int> coord(0, span - 1), pct(0, 99);
  const auto value = [&]() -> float {
    const int r = pct(rng);
    if (r < 2) return -0.0f;
    if (r < 3) return std::numeric_limits<float>::quiet_NaN();
    return static_cast<float>(coord(rng));
  };
  SSEPoint* e = t.GetEdgeArray();
  for (int i = 0; i < n; ++i) {
    if (i > 0 && pct(rng) < 20) {
      const int j = std::uniform_int_distribution<int>(0, i - 1)(rng);
      const int shift = pct(rng) % 3;  // the same triangle, corners maybe rotated
      for (int k = 0; k < 3; ++k) e[3 * i + k] = e[3 * j + (k + shift) % 3];
      continue;
    }
    for (int k = 0; k < 3; ++k) e[3 * i + k] = P(value(), value(), value(), pct(rng) < 10 ? 1.0f : 0.0f);
  }
}

void CopyCorners(const CHTriangulation& from, CHTriangulation& to) {
  to.CreateTriangulation(from.GetNumTriangles());
  for (int i = 0; i < 3 * from.GetNumTriangles(); ++i) to.GetEdgeArray()[i] = from.GetEdgeArray()[i];
}

}  // namespace

TEST(HTriangulationNeighbours, BitIdenticalCornersOrTheLooseLaneTestMakeNeighbours) {
  // Distinct heights at the far corners keep the loose lane test from matching them.
  CHTriangulation t;
  Triangles(t, {{P(0, 0, 5), P(1, 0, 0), P(0, 1, 0)},
                {P(1, 0, 0), P(0, 1, 0), P(2, 1, 3)}});
  t.CalcNeighbours();
  const t_htriangle* r = t.GetTriangles();
  EXPECT_EQ(r[0].neighbour[1], &r[1]);  // edge P1-P2 of the first
  EXPECT_EQ(r[1].neighbour[0], &r[0]);  // edge P0-P1 of the second
  EXPECT_EQ(r[0].mark, 13);
  EXPECT_EQ(r[1].mark, 13);

  CHTriangulation u;
  Triangles(u, {{P(0, 0, 5), P(1, 0, 0), P(0, 1, 0)},
                {P(std::nextafter(1.0f, 2.0f), 0, 0), P(0, 1, 0), P(2, 1, 3)}});
  u.CalcNeighbours();
  EXPECT_EQ(u.GetTriangles()[0].neighbour[1], nullptr);
  EXPECT_EQ(u.GetTriangles()[1].neighbour[0], nullptr);

  // The loose lane test: (0,0,0) and (1,0,0) each find every lane among the second triangle's corners,
  // lane by lane, though the triangles share no corner; the reverse test finds no pair.
  CHTriangulation v;
  Triangles(v, {{P(0, 0, 0), P(1, 0, 0), P(0, 1, 0)},
                {P(1, 1, 0), P(0, 5, 0), P(7, 0, 0)}});
  v.CalcNeighbours();
  EXPECT_EQ(v.GetTriangles()[0].neighbour[0], &v.GetTriangles()[1]);
  for (int k = 0; k < 3; ++k) EXPECT_EQ(v.GetTriangles()[1].neighbour[k], nullptr);
}

TEST(HTriangulationNeighbours, CompleteTrianglesLeaveTheWorkingListAndTinyMeshesAreGuarded) {
  // A fan of a centre triangle and three around it: the centre completes and leaves the list.
  CHTriangulation t;
  Triangles(t, {{P(0, 0, 0), P(2, 0, 0), P(1, 2, 0)},
                {P(2, 0, 0), P(0, 0, 0), P(1, -2, 0)},
                {P(1, 2, 0), P(2, 0, 0), P(3, 2, 0)},
                {P(0, 0, 0), P(1, 2, 0), P(-1, 2, 0)}});
  t.CalcNeighbours();
  const t_htriangle* r = t.GetTriangles();
  EXPECT_EQ(r[0].neighbour[0], &r[1]);
  EXPECT_EQ(r[0].neighbour[1], &r[2]);
  EXPECT_EQ(r[0].neighbour[2], &r[3]);
  EXPECT_EQ(r[0].mark, -1);
  for (int i = 1; i < 4; ++i) EXPECT_EQ(r[i].mark, 13);
  EXPECT_EQ(t.GetListHead(), &r[1]);
  EXPECT_EQ(r[1].prev, nullptr);
  // Single and empty meshes are guarded.
  CHTriangulation one(1, 1, 1, 1);
  one.CalcNeighbours();
  EXPECT_EQ(one.GetListHead(), one.GetTriangles());
  EXPECT_EQ(one.GetTriangles()[0].mark, 13);
  CHTriangulation none(0, 1, 1, 1);
  none.CalcNeighbours();
  EXPECT_EQ(none.GetListHead(), nullptr);
  CHTriangulation bare;
  bare.CalcNeighbours();
  bare.IndexTriangleList();
  EXPECT_EQ(bare.GetListHead(), nullptr);
}

TEST(HTriangulationNeighbours, FastEqualsPlainOnRandomTriangleSoups) {
  std::mt19937 rng(42);
  // 3000 soups of up to 40 triangles, then six of 1500 over wider grids.
  for (int round = 0; round < 3006; ++round) {
    const bool large = round >= 3000;
    const int n = large ? 1500 : 1 + static_cast<int>(rng() % 40);
    const int span = large ? round - 2996 : 2 + static_cast<int>(rng() % 3);
    CHTriangulation fast(0, 1, 1, 1), plain(0, 1, 1, 1);
    RandomTriangles(fast, rng, n, span);
    CopyCorners(fast, plain);
    fast.CalcNeighbours();
    PlainCalcNeighbours(plain);
    ExpectSameOutcome(fast, plain, "soup");
    // A second pass starts from the neighbours of the first (they are not cleared).
    fast.CalcNeighbours();
    PlainCalcNeighbours(plain);
    ExpectSameOutcome(fast, plain, "soup, second pass");
    if (HasFatalFailure()) return;
  }
}

TEST(HTriangulationNeighbours, FastEqualsPlainOnHeightFieldMeshesSmallAndTerraced) {
  // Coarse values make flat regions, where the loose test links triangles across cells; the builders
  // pre-link the two triangles of each cell, and the full-resolution form adds all-zero records.
  std::mt19937 rng(42);
  for (int w = 1; w <= 9; ++w) {
    for (int h = 1; h <= 9; ++h) {
      for (int variant = 0; variant < 6; ++variant) {
        CSSEMatrix m, ref;
        meshtest::RandomField(m, w, h, rng, 3);
        meshtest::RandomField(ref, w, h, rng, 3);
        const bool above = variant % 2 == 0;
        const float threshold = variant < 4 ? 0.5f : 1.0f;
        const auto build = [&](CHTriangulation& t) {
          if (variant < 2) {
            t.CreateTriangulationFromSSEField(&m, threshold, above);
          } else if (variant < 4) {
            t.CreateTriangulationFromSSEFieldSubSampled(&m, threshold, above, variant == 2 ? 2 : 1,
                                                        variant == 3 ? 2 : 1);
          } else {
            t.CreateTriangulationFromSSEFieldSubSampledTwoFields(&m, &ref, above, 1, 1);
          }
        };
        CHTriangulation fast(0, 1.5f, 0.5f, 1), plain(0, 1.5f, 0.5f, 1);
        build(fast);
        build(plain);
        fast.CalcNeighbours();
        PlainCalcNeighbours(plain);
        ExpectSameOutcome(fast, plain, "height field");
        if (HasFatalFailure()) return;
      }
    }
  }
  // A large terraced field: wide flat regions over many cells.
  CSSEMatrix m;
  m.Create(40, 40);
  for (int y = 0; y < 40; ++y) {
    for (int x = 0; x < 40; ++x) m.SetPoint(x, y, static_cast<float>((x / 7 + y / 5 + rng() % 2) % 3));
  }
  CHTriangulation fast(&m, 0.5f, true, 1, 1, 1), plain(&m, 0.5f, true, 1, 1, 1);
  fast.CalcNeighbours();
  PlainCalcNeighbours(plain);
  ExpectSameOutcome(fast, plain, "terraced field");
}
