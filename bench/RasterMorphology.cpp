// Mask operations of CSSEMatrix against their usual peers (when OpenCV is installed), in one run:
//   Chamfer (2048^2)            vs cv::distanceTransform(DIST_L2, DIST_MASK_3)
//   ZhangSuen (1024^2 blobs)    vs cv::ximgproc::thinning(THINNING_ZHANGSUEN)
//   Errode radius 3 (2048^2)    vs cv::erode with a 7x7 ellipse
//   ReplaceValueWithValue       vs memcpy of the same bytes
// The in-place operations restore their input outside the timed region.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>

#include "qssse/platform/AlignedMemory.h"
#include "qssse/raster/SSEMatrix.h"

#ifdef QSSSE_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif
#ifdef QSSSE_HAVE_OPENCV_XIMGPROC
#include <opencv2/ximgproc.hpp>
#endif

namespace {

// A 0/1 mask of random discs (value 1) on 0.
CSSEMatrix Blobs(int size, int count, int maxRadius) {
  std::mt19937 rng(42);
  CSSEMatrix m;
  m.Create(size, size);
  for (int k = 0; k < count; ++k) {
    const int cx = static_cast<int>(rng() % size), cy = static_cast<int>(rng() % size);
    const int r = 4 + static_cast<int>(rng() % maxRadius);
    for (int y = std::max(cy - r, 0); y <= std::min(cy + r, size - 1); ++y)
      for (int x = std::max(cx - r, 0); x <= std::min(cx + r, size - 1); ++x)
        if ((x - cx) * (x - cx) + (y - cy) * (y - cy) <= r * r) m.SetPoint(x, y, 1.0f);
  }
  return m;
}

#ifdef QSSSE_HAVE_OPENCV
cv::Mat ToMat(const CSSEMatrix& m, int type, double scale) {
  cv::Mat f(m.GetSizeY(), m.GetSizeX(), CV_32F);
  for (int y = 0; y < m.GetSizeY(); ++y)
    for (int x = 0; x < m.GetSizeX(); ++x) f.at<float>(y, x) = m.GetPoint(x, y);
  cv::Mat out;
  f.convertTo(out, type, scale);
  return out;
}
#endif

template <class Op>
void InPlace(benchmark::State& state, const CSSEMatrix& input, Op op) {
  CSSEMatrix work(input);
  for (auto _ : state) {
    state.PauseTiming();
    work.CopyFromSSEMatrix(input);
    state.ResumeTiming();
    op(work);
    benchmark::ClobberMemory();
  }
}

void BM_Chamfer(benchmark::State& state) {
  InPlace(state, Blobs(2048, 300, 40), [](CSSEMatrix& m) { m.Chamfer(); });
}
BENCHMARK(BM_Chamfer)->Unit(benchmark::kMillisecond);

void BM_ZhangSuen(benchmark::State& state) {
  InPlace(state, Blobs(1024, 60, 60), [](CSSEMatrix& m) { m.ZhangSuen(0.5f); });
}
BENCHMARK(BM_ZhangSuen)->Unit(benchmark::kMillisecond);

void BM_ErrodeRadius3(benchmark::State& state) {
  InPlace(state, Blobs(2048, 300, 40), [](CSSEMatrix& m) { m.Errode(3.0f, 0.0f, 1.0f, 0, 2047, 0, 2047); });
}
BENCHMARK(BM_ErrodeRadius3)->Unit(benchmark::kMillisecond);

void BM_ReplaceValueWithValue(benchmark::State& state) {
  CSSEMatrix m = Blobs(2048, 300, 40);
  for (auto _ : state) {
    m.ReplaceValueWithValue(5.0f, 6.0f);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * 2048LL * 513 * 16);
}
BENCHMARK(BM_ReplaceValueWithValue)->Unit(benchmark::kMillisecond);

void BM_Memcpy(benchmark::State& state) {
  const std::size_t bytes = 2048ull * 513 * 16;
  auto* a = static_cast<char*>(qssse::alignedAlloc(bytes));
  auto* b = static_cast<char*>(qssse::alignedAlloc(bytes));
  std::memset(a, 1, bytes);
  std::memset(b, 2, bytes);
  for (auto _ : state) {
    std::memcpy(b, a, bytes);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<long long>(bytes));
  qssse::alignedFree(a);
  qssse::alignedFree(b);
}
BENCHMARK(BM_Memcpy)->Unit(benchmark::kMillisecond);

#ifdef QSSSE_HAVE_OPENCV
void BM_CvDistanceTransform(benchmark::State& state) {
  // distanceTransform measures the distance to the nearest ZERO pixel: the objects are the zeros.
  const cv::Mat src = ToMat(Blobs(2048, 300, 40), CV_8U, -255.0) + 255;
  cv::Mat dst;
  for (auto _ : state) {
    cv::distanceTransform(src, dst, cv::DIST_L2, cv::DIST_MASK_3);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_CvDistanceTransform)->Unit(benchmark::kMillisecond);

void BM_CvErode7x7Ellipse(benchmark::State& state) {
  const cv::Mat src = ToMat(Blobs(2048, 300, 40), CV_32F, 1.0);
  const cv::Mat kernel = cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(7, 7));
  cv::Mat dst;
  for (auto _ : state) {
    cv::erode(src, dst, kernel);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_CvErode7x7Ellipse)->Unit(benchmark::kMillisecond);
#endif

#ifdef QSSSE_HAVE_OPENCV_XIMGPROC
void BM_CvThinning(benchmark::State& state) {
  const cv::Mat src = ToMat(Blobs(1024, 60, 60), CV_8U, 255.0);
  cv::Mat dst;
  for (auto _ : state) {
    cv::ximgproc::thinning(src, dst, cv::ximgproc::THINNING_ZHANGSUEN);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_CvThinning)->Unit(benchmark::kMillisecond);
#endif

}  // namespace

BENCHMARK_MAIN();
