#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "qssse/raster/PixelChain.h"
#include "RasterTestSupport.h"
#include "qssse/raster/SSEMatrix.h"

namespace {

using rastertest::FromRows;

std::vector<std::pair<int, int>> Pixels(const CPixelChain& c) {
  std::vector<std::pair<int, int>> p;
  for (int i = 0; i < c.GetCount(); ++i) p.emplace_back(c.GetPixels()[i].x, c.GetPixels()[i].y);
  return p;
}

TEST(PixelChain, TracesTheOuterBoundaryWithPositiveAreaFromTheFirstPixel) {
  const CSSEMatrix m = FromRows({{0, 0, 0, 0, 0}, {0, 1, 1, 1, 0}, {0, 1, 1, 1, 0}, {0, 1, 1, 1, 0}});
  std::vector<CPixelChain> chains;
  ASSERT_EQ(CPixelChain::TraceChains(m, 0.5f, chains), 1);
  EXPECT_EQ(Pixels(chains[0]), (std::vector<std::pair<int, int>>{
                                   {1, 1}, {2, 1}, {3, 1}, {3, 2}, {3, 3}, {2, 3}, {1, 3}, {1, 2}}));
  EXPECT_EQ(chains[0].GetCenterX(), 2.0f);
  EXPECT_EQ(chains[0].GetCenterY(), 2.0f);
  int x0, y0, x1, y1;
  chains[0].GetBoundingBox(&x0, &y0, &x1, &y1);
  EXPECT_EQ((std::vector<int>{x0, y0, x1, y1}), (std::vector<int>{1, 1, 3, 3}));
}

TEST(PixelChain, LinesAreWalkedOutAndBackAndLonePixelsAreChainsOfOne) {
  const CSSEMatrix m = FromRows({{1, 1, 1, 0, 0}, {0, 0, 0, 0, 1}});
  std::vector<CPixelChain> chains;
  ASSERT_EQ(CPixelChain::TraceChains(m, 0.5f, chains), 2);
  EXPECT_EQ(Pixels(chains[0]), (std::vector<std::pair<int, int>>{{0, 0}, {1, 0}, {2, 0}, {1, 0}}));
  EXPECT_EQ(Pixels(chains[1]), (std::vector<std::pair<int, int>>{{4, 1}}));
}

TEST(PixelChain, EightConnectedRegionsAreOneChainAndHolesAreNotTraced) {
  const CSSEMatrix m = FromRows({{1, 1, 1, 0}, {1, 0, 1, 0}, {1, 1, 1, 0}, {0, 0, 0, 1}});
  std::vector<CPixelChain> chains;
  ASSERT_EQ(CPixelChain::TraceChains(m, 0.5f, chains), 1);
  // Every pixel of the ring once, plus the diagonal pixel walked there and back.
  EXPECT_EQ(chains[0].GetCount(), 10);
  long twiceArea = 0;
  const auto p = Pixels(chains[0]);
  for (std::size_t i = 0; i < p.size(); ++i) {
    const auto& a = p[i];
    const auto& b = p[(i + 1) % p.size()];
    twiceArea += static_cast<long>(a.first) * b.second - static_cast<long>(b.first) * a.second;
  }
  EXPECT_GT(twiceArea, 0);
}

TEST(PixelChain, NothingAboveTheThresholdGivesNoChain) {
  const CSSEMatrix m = FromRows({{1, 1}, {1, 1}});
  std::vector<CPixelChain> chains(3);
  EXPECT_EQ(CPixelChain::TraceChains(m, 1.0f, chains), 0);
  EXPECT_TRUE(chains.empty());
  EXPECT_EQ(CPixelChain::TraceChains(CSSEMatrix(), 0.0f, chains), 0);
  CPixelChain empty;
  empty.CalcCenterAndBoundingBox();
  int x0, y0, x1, y1;
  empty.GetBoundingBox(&x0, &y0, &x1, &y1);
  EXPECT_GT(x0, x1);
}

}  // namespace
