// ScaleMatrix and ScaleMatrix_SSE (1024^2 -> 2048^2 and 2048^2 -> 1024^2) against cv::resize with
// INTER_LINEAR on the same float image, when OpenCV is installed.
//
// Read the peers with care: cv::resize splits its rows over OpenCV's worker threads (compare its real
// time, or the OneThread line's CPU time, with ours) and writes into a dst that the loop keeps. The
// in-place ScaleMatrix_SSE changes the matrix's size and so allocates its result on every call (fresh
// pages, written with streaming stores); IntoTarget is the overload that writes into a matrix the loop
// keeps, as cv::resize does: the line to compare with the one-thread peer. The WarmHeap line (glibc
// only, run last: the heap keeps freed memory instead of returning it to the system) shows the in-place
// form without page faults.
#include <benchmark/benchmark.h>

#include <random>

#include "qssse/raster/SSEMatrix.h"

#ifdef QSSSE_HAVE_OPENCV
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#endif
#ifdef __GLIBC__
#include <malloc.h>
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

void BM_ScaleIntoTarget(benchmark::State& state) {
  const int from = static_cast<int>(state.range(0)), to = static_cast<int>(state.range(1));
  const CSSEMatrix input = Heights(from);
  CSSEMatrix target;
  for (auto _ : state) {
    input.ScaleMatrix_SSE(to, to, target);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_ScaleIntoTarget)->Args({1024, 2048})->Args({2048, 1024})->Unit(benchmark::kMillisecond);

#ifdef QSSSE_HAVE_OPENCV
enum class Peer { kAsIs, kOneThread };

template <Peer kPeer>
void BM_CvResize(benchmark::State& state) {
  const int from = static_cast<int>(state.range(0)), to = static_cast<int>(state.range(1));
  const CSSEMatrix input = Heights(from);
  cv::Mat src(from, from, CV_32F), dst;
  for (int y = 0; y < from; ++y)
    for (int x = 0; x < from; ++x) src.at<float>(y, x) = input.GetPoint(x, y);
  const int threads = cv::getNumThreads();
  if (kPeer == Peer::kOneThread) cv::setNumThreads(1);
  for (auto _ : state) {
    cv::resize(src, dst, cv::Size(to, to), 0, 0, cv::INTER_LINEAR);
    benchmark::ClobberMemory();
  }
  cv::setNumThreads(threads);
}
void BM_CvResizeLinear(benchmark::State& state) { BM_CvResize<Peer::kAsIs>(state); }
void BM_CvResizeLinearOneThread(benchmark::State& state) { BM_CvResize<Peer::kOneThread>(state); }
BENCHMARK(BM_CvResizeLinear)->Args({1024, 2048})->Args({2048, 1024})->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CvResizeLinearOneThread)->Args({1024, 2048})->Args({2048, 1024})->Unit(benchmark::kMillisecond);
#endif

#ifdef __GLIBC__
void BM_ScaleSimdWarmHeap(benchmark::State& state) {
  // Fixed thresholds: freed fields stay in the heap for the next call. Restored afterwards to glibc's
  // default values, which no longer adapt; hence this line runs last.
  mallopt(M_MMAP_THRESHOLD, 64 << 20);
  mallopt(M_TRIM_THRESHOLD, 256 << 20);
  BM_Scale<true>(state);
  mallopt(M_TRIM_THRESHOLD, 128 << 10);
  mallopt(M_MMAP_THRESHOLD, 128 << 10);
}
BENCHMARK(BM_ScaleSimdWarmHeap)->Args({1024, 2048})->Args({2048, 1024})->Unit(benchmark::kMillisecond);
#endif

}  // namespace

BENCHMARK_MAIN();
