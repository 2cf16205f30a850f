// ScaleMatrix and ScaleMatrix_SSE (1024^2 -> 2048^2 and 2048^2 -> 1024^2) against cv::resize with
// INTER_LINEAR on the same float image, when OpenCV is installed.
#include <benchmark/benchmark.h>

#include <random>

#include "qssse/raster/SSEMatrix.h"

#ifdef QSSSE_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

CSSEMatrix Heights(int size) {
  std::mt19937 rng(42);
  CSSEMatrix m;
  m.Create(size, size);
  for (int y = 0; y < size; ++y)
    for (int x = 0; x < size; ++x) m.SetPoint(x, y, static_cast<float>(rng() % 1000) * 0.01f);
  return m;
}

template <bool kSimd>
void BM_Scale(benchmark::State& state) {
  const int from = static_cast<int>(state.range(0)), to = static_cast<int>(state.range(1));
  const CSSEMatrix input = Heights(from);
  CSSEMatrix work;
  for (auto _ : state) {
    state.PauseTiming();
    work.CopyFromSSEMatrix(input);
    state.ResumeTiming();
    if (kSimd) {
      work.ScaleMatrix_SSE(to, to);
    } else {
      work.ScaleMatrix(to, to);
    }
    benchmark::ClobberMemory();
  }
}
BENCHMARK_TEMPLATE(BM_Scale, false)->Args({1024, 2048})->Args({2048, 1024})->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Scale, true)->Args({1024, 2048})->Args({2048, 1024})->Unit(benchmark::kMillisecond);

#ifdef QSSSE_HAVE_OPENCV
void BM_CvResizeLinear(benchmark::State& state) {
  const int from = static_cast<int>(state.range(0)), to = static_cast<int>(state.range(1));
  const CSSEMatrix input = Heights(from);
  cv::Mat src(from, from, CV_32F), dst;
  for (int y = 0; y < from; ++y)
    for (int x = 0; x < from; ++x) src.at<float>(y, x) = input.GetPoint(x, y);
  for (auto _ : state) {
    cv::resize(src, dst, cv::Size(to, to), 0, 0, cv::INTER_LINEAR);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_CvResizeLinear)->Args({1024, 2048})->Args({2048, 1024})->Unit(benchmark::kMillisecond);
#endif

}  // namespace

BENCHMARK_MAIN();
