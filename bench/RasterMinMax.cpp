// Greyscale erosion and dilation over a disc against OpenCV (when installed), in one run:
//   MinimumFilterDisc / MaximumFilterDisc, radius 3 and 10, 2048 x 2048 floats
//   vs cv::erode / cv::dilate on CV_32F with a kernel of exactly the same disc pixels, one thread.
// The in-place filters restore their input outside the timed region.
#include <benchmark/benchmark.h>

#include <random>

#include "qssse/raster/SSEMatrix.h"

#ifdef QSSSE_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

constexpr int kSize = 2048;

// A rough height field: random values on a coarse ramp, so that neither filter meets long flat runs.
const CSSEMatrix& Field() {
  static const CSSEMatrix field = [] {
    std::mt19937 rng(42);
    std::uniform_real_distribution<float> noise(0.0f, 4.0f);
    CSSEMatrix m;
    m.Create(kSize, kSize);
    for (int y = 0; y < kSize; ++y)
      for (int x = 0; x < kSize; ++x) m.SetPoint(x, y, 0.01f * static_cast<float>(x + y) + noise(rng));
    return m;
  }();
  return field;
}

template <bool kMaximum>
void BM_FilterDisc(benchmark::State& state) {
  const auto radius = static_cast<float>(state.range(0));
  CSSEMatrix work(Field());
  for (auto _ : state) {
    state.PauseTiming();
    work.CopyFromSSEMatrix(Field());
    state.ResumeTiming();
    if (kMaximum) {
      work.MaximumFilterDisc(radius);
    } else {
      work.MinimumFilterDisc(radius);
    }
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_FilterDisc<false>)->Name("BM_MinimumFilterDisc")->Arg(3)->Arg(10)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FilterDisc<true>)->Name("BM_MaximumFilterDisc")->Arg(3)->Arg(10)->Unit(benchmark::kMillisecond);

#ifdef QSSSE_HAVE_OPENCV
// The pixels with dx^2 + dy^2 <= r^2: the same disc as ours (getStructuringElement's ellipse differs).
cv::Mat DiscKernel(int r) {
  cv::Mat k(2 * r + 1, 2 * r + 1, CV_8U, cv::Scalar(0));
  for (int dy = -r; dy <= r; ++dy)
    for (int dx = -r; dx <= r; ++dx) k.at<unsigned char>(dy + r, dx + r) = dx * dx + dy * dy <= r * r ? 1 : 0;
  return k;
}

template <bool kMaximum>
void BM_CvDisc(benchmark::State& state) {
  cv::setNumThreads(1);  // ours runs on one thread; CPU time counts only the calling thread
  const int r = static_cast<int>(state.range(0));
  const CSSEMatrix& f = Field();
  cv::Mat src(kSize, kSize, CV_32F);
  for (int y = 0; y < kSize; ++y)
    for (int x = 0; x < kSize; ++x) src.at<float>(y, x) = f.GetPoint(x, y);
  const cv::Mat kernel = DiscKernel(r);
  cv::Mat dst;
  for (auto _ : state) {
    if (kMaximum) {
      cv::dilate(src, dst, kernel);
    } else {
      cv::erode(src, dst, kernel);
    }
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_CvDisc<false>)->Name("BM_CvErodeDisc")->Arg(3)->Arg(10)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CvDisc<true>)->Name("BM_CvDilateDisc")->Arg(3)->Arg(10)->Unit(benchmark::kMillisecond);
#endif

}  // namespace

BENCHMARK_MAIN();
