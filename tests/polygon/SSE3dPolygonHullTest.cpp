#include <gtest/gtest.h>

#include <random>
#include <thread>
#include <vector>

#include "PolygonTestUtil.h"
#include "qssse/polygon/SSE3dPolygon.h"

using polytest::Make;
using polytest::P3;
using polytest::Points;

TEST(Polygon3dHull, ReplaceByConvexHullXYKeepsTheCornersWithTheirZ) {
  CSSE3dPolygon p = Make({{0, 4, 4}, {2, 1, 5}, {4, 4, 3}, {0, 0, 1}, {4, 0, 2}});
  p.CalcBoundingBox();
  p.ReplaceByConvexHullXY();
  EXPECT_FALSE(p.IsBoundingBoxCalculated());
  EXPECT_EQ(Points(p), (std::vector<P3>{{0, 0, 1}, {4, 0, 2}, {4, 4, 3}, {0, 4, 4}}));
  CSSE3dPolygon empty;
  empty.ReplaceByConvexHullXY();
  EXPECT_EQ(empty.GetNumPoints(), 0);
}

TEST(Polygon3dHull, HullsBuiltOnSeveralThreadsAtOnceMatchTheSequentialOnes) {
  // Large clouds, so the sorts of the four threads overlap in time.
  std::vector<CSSE3dPolygon> clouds;
  std::mt19937 rng(42);
  for (int t = 0; t < 4; ++t) {
    std::vector<P3> pts;
    for (int i = 0; i < 20000; ++i) {
      pts.push_back({static_cast<float>(rng() % 1000), static_cast<float>(rng() % 1000), static_cast<float>(t)});
    }
    clouds.push_back(Make(pts));
  }
  std::vector<std::vector<P3>> sequential;
  for (CSSE3dPolygon c : clouds) {
    c.ReplaceByConvexHullXY();
    sequential.push_back(Points(c));
  }
  for (int repeat = 0; repeat < 3; ++repeat) {
    std::vector<std::vector<P3>> parallel(clouds.size());
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < clouds.size(); ++t) {
      threads.emplace_back([&, t] {
        CSSE3dPolygon c = clouds[t];
        c.ReplaceByConvexHullXY();
        parallel[t] = Points(c);
      });
    }
    for (std::thread& th : threads) th.join();
    EXPECT_EQ(parallel, sequential);
  }
}
