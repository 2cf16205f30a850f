// Costs of filling an outline into a raster.
//
//  - Fine/spiky, Fine/smooth: DrawInMatrixAndFillFine of a 2,000-point star of radius 1,000 (every other
//    point at 0.8 of it, respectively all on the circle) over a 2048 x 2048 matrix, the whole star
//    scanned.
//  - PlainFine: the spiky fill with one PointInLineInnerArea call per cell (the tests' oracle), so the
//    two lines give the speed-up of the column sweep; both write the same raster.
//  - CoarseFast / Coarse: the 3x3-stamp fills of the spiky star, threaded and on one thread.
//  - OpenCvFillPoly/spiky, /smooth: cv::fillPoly of the same stars (integer vertices) into a float image
//    of the same size, when OpenCV is installed: the cost of a scanline fill of the same bytes.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"

#ifdef QSSSE_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

constexpr int kSize = 2048;
constexpr int kPoints = 2000;

// Radius of point i: every other point pulled in to `spike` of the radius.
float Radius(int i, float spike) { return 1000.0f * (i % 2 ? spike : 1.0f); }
constexpr float kSpiky = 0.8f, kSmooth = 1.0f;

CSSE3dPolygon Star(float spike = kSpiky) {
  CSSE3dPolygon p;
  p.Create(kPoints);
  for (int i = 0; i < kPoints; ++i) {
    const float a = 6.2831853f * static_cast<float>(i) / static_cast<float>(kPoints);
    const float r = Radius(i, spike);
    p.SetPoint(i, 1024.0f + r * std::cos(a), 1024.0f + r * std::sin(a), 0.0f);
  }
  return p;
}

// The plain Fine fill: one call of the fill rule per cell of the box and its margin.
void PlainFine(CSSE3dPolygon& p, CSSEMatrix& m, float value) {
  const int w = m.GetSizeX(), h = m.GetSizeY();
  p.CalcBoundingBox();
  int minX, minY, maxX, maxY;
  p.GetBoundingBox2D(minX, minY, maxX, maxY);
  const int xs = std::clamp(minX, 0, w - 1), xe = std::clamp(maxX, 0, w - 1);
  const int ys = std::clamp(minY, 0, h - 1), ye = std::clamp(maxY, 0, h - 1);
  CSSE3dPolygon copy;
  copy.CreateSimilar(&p);
  copy.RemoveEqualPointsXY();
  copy.CalcBoundingBox();
  for (int y = ys - 5; y < ye + 5; ++y)
    for (int x = xs - 5; x < xe + 5; ++x)
      if (copy.PointInLineInnerArea(static_cast<float>(x), static_cast<float>(y), 1)) m.SetPoint(x, y, value);
}

void Fine(benchmark::State& state) {
  CSSE3dPolygon p = Star(state.range(0) ? kSpiky : kSmooth);
  CSSEMatrix m;
  m.Create(kSize, kSize);
  for (auto _ : state) {
    p.DrawInMatrixAndFillFine(1.0f, &m, false, -1e6f, 1e6f);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(Fine)->ArgName("spiky")->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);

void PlainFineBench(benchmark::State& state) {
  CSSE3dPolygon p = Star();
  CSSEMatrix m;
  m.Create(kSize, kSize);
  for (auto _ : state) {
    PlainFine(p, m, 1.0f);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(PlainFineBench)->Name("PlainFine")->Unit(benchmark::kMillisecond)->Iterations(2);

void CoarseFast(benchmark::State& state) {
  CSSE3dPolygon p = Star();
  CSSEMatrix m;
  m.Create(kSize, kSize);
  for (auto _ : state) {
    p.DrawInMatrixAndFillCoarseFast(1.0f, &m, false, -1e6f, 1e6f);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(CoarseFast)->Unit(benchmark::kMillisecond)->UseRealTime();

void Coarse(benchmark::State& state) {
  CSSE3dPolygon p = Star();
  CSSEMatrix m;
  m.Create(kSize, kSize);
  for (auto _ : state) {
    p.DrawInMatrixAndFillCoarse(1.0f, &m, false, -1e6f, 1e6f);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(Coarse)->Unit(benchmark::kMillisecond);

#ifdef QSSSE_HAVE_OPENCV
void OpenCvFillPoly(benchmark::State& state) {
  const float spike = state.range(0) ? kSpiky : kSmooth;
  std::vector<cv::Point> pts;
  for (int i = 0; i < kPoints; ++i) {
    const float a = 6.2831853f * static_cast<float>(i) / static_cast<float>(kPoints);
    const float r = Radius(i, spike);
    pts.emplace_back(static_cast<int>(1024.0f + r * std::cos(a)),
                     static_cast<int>(1024.0f + r * std::sin(a)));
  }
  cv::Mat img = cv::Mat::zeros(kSize, kSize, CV_32FC1);
  std::vector<std::vector<cv::Point>> polys{pts};
  for (auto _ : state) {
    cv::fillPoly(img, polys, cv::Scalar(1));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(OpenCvFillPoly)->ArgName("spiky")->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);
#endif

}  // namespace

BENCHMARK_MAIN();
