// Scan conversion of a mesh from a 1024 x 1024 height field back into a raster: the single-threaded and
// the ten-worker conversion and the library's exact z-buffer against a straightforward bounding-box
// z-buffer rasteriser written here (every pixel centre of a triangle's box tested with float edge
// functions, closed, so centres on shared edges are written by both triangles; the height interpolated
// and the maximum kept). Ratios are the times of the same run divided by the plain z-buffer's. Also the
// border line of a 512 x 512 mesh (stretch collection and walk).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <thread>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include "qssse/mesh/HTriangulation.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"

namespace {

constexpr int kSize = 1024;

struct Scene {
  CSSEMatrix field;
  CHTriangulation mesh;
  Scene() {
    field.Create(kSize, kSize);
    const float c = 0.5f * kSize;
    for (int y = 0; y < kSize; ++y) {
      for (int x = 0; x < kSize; ++x) {
        const float dx = (static_cast<float>(x) - c) / c, dy = (static_cast<float>(y) - c) / c;
        field.SetPoint(x, y, 40.0f * (1.0f - dx * dx - dy * dy) + std::sin(0.1f * static_cast<float>(x + y)));
      }
    }
    mesh.BaseInitialization(0.05f, 0.05f, 1.0f);
    mesh.CreateTriangulationFromSSEFieldSubSampled(&field, 0.0f, true, 1, 1);
    mesh.CalcBoundingBox();
    mesh.CalcSTV();
    mesh.SetScanConvResolution(0.05f, 0.05f, 1.0f);
  }
};

Scene& TheScene() {
  static Scene scene;
  return scene;
}

// The peer: a z-buffer over each triangle's pixel box, in float, keeping the maximum.
void ZBufferMax(const CHTriangulation& t, CSSEMatrix& m) {
  SSEPoint lo, hi;
  t.GetMinPoint(lo);
  t.GetMaxPoint(hi);
  const float rx = t.GetScanResX(), ry = t.GetScanResY();
  const int w = static_cast<int>((hi.x - lo.x) / rx + 0.5f), h = static_cast<int>((hi.y - lo.y) / ry + 0.5f);
  m.Create(w, h);
  m.Fill(-999999.9f);
  const SSEPoint* c = t.GetEdgeArray();
  for (int i = 0; i < t.GetNumTriangles(); ++i) {
    const float x0 = (c[3 * i].x - lo.x) / rx, y0 = (c[3 * i].y - lo.y) / ry, z0 = c[3 * i].z - lo.z;
    const float x1 = (c[3 * i + 1].x - lo.x) / rx, y1 = (c[3 * i + 1].y - lo.y) / ry,
                z1 = c[3 * i + 1].z - lo.z;
    const float x2 = (c[3 * i + 2].x - lo.x) / rx, y2 = (c[3 * i + 2].y - lo.y) / ry,
                z2 = c[3 * i + 2].z - lo.z;
    const float det = (x1 - x0) * (y2 - y0) - (y1 - y0) * (x2 - x0);
    if (det == 0.0f) continue;
    const int bx0 = std::max(0, static_cast<int>(std::ceil(std::min({x0, x1, x2}))));
    const int bx1 = std::min(w - 1, static_cast<int>(std::floor(std::max({x0, x1, x2}))));
    const int by0 = std::max(0, static_cast<int>(std::ceil(std::min({y0, y1, y2}))));
    const int by1 = std::min(h - 1, static_cast<int>(std::floor(std::max({y0, y1, y2}))));
    for (int y = by0; y <= by1; ++y) {
      for (int x = bx0; x <= bx1; ++x) {
        const float px = static_cast<float>(x) - x0, py = static_cast<float>(y) - y0;
        const float u = (px * (y2 - y0) - py * (x2 - x0)) / det, v = ((x1 - x0) * py - (y1 - y0) * px) / det;
        if (u < 0.0f || v < 0.0f || u + v > 1.0f) continue;
        m.SetPointMax(x, y, z0 + u * (z1 - z0) + v * (z2 - z0));
      }
    }
  }
  m.ReplaceValueWithValue(-999999.9f, 0.0f, 1.0f);
}

void BM_ZBufferBoundingBox(benchmark::State& state) {
  Scene& s = TheScene();
  CSSEMatrix m;
  for (auto _ : state) {
    ZBufferMax(s.mesh, m);
    benchmark::DoNotOptimize(m.GetMatrixDataDirectly());
  }
  state.SetItemsProcessed(state.iterations() * s.mesh.GetNumTriangles());
}
BENCHMARK(BM_ZBufferBoundingBox)->Unit(benchmark::kMillisecond);

void BM_ScanConvertTriangulationMax(benchmark::State& state) {
  Scene& s = TheScene();
  CSSEMatrix m;
  for (auto _ : state) {
    s.mesh.ScanConvertTriangulationMax(&m, 0.0f);
    benchmark::DoNotOptimize(m.GetMatrixDataDirectly());
  }
  state.SetItemsProcessed(state.iterations() * s.mesh.GetNumTriangles());
}
BENCHMARK(BM_ScanConvertTriangulationMax)->Unit(benchmark::kMillisecond);

void BM_ScanConvertTriangulationZBuffer(benchmark::State& state) {
  Scene& s = TheScene();
  CSSEMatrix m;
  for (auto _ : state) {
    s.mesh.ScanConvertTriangulationZBuffer(&m, true, 0.0f, 0.0f);
    benchmark::DoNotOptimize(m.GetMatrixDataDirectly());
  }
  state.SetItemsProcessed(state.iterations() * s.mesh.GetNumTriangles());
}
BENCHMARK(BM_ScanConvertTriangulationZBuffer)->Unit(benchmark::kMillisecond);

#ifdef __GLIBC__
// The largest number of heap bytes in use while f runs, sampled by a second thread, minus those in use
// before: the working memory of one conversion.
template <class F>
double PeakExtraBytes(F f) {
  const auto inUse = [] {
    const struct mallinfo2 i = mallinfo2();
    return static_cast<double>(i.uordblks + i.hblkhd);
  };
  const double before = inUse();
  std::atomic<bool> done{false};
  std::atomic<double> peak{before};
  std::thread sampler([&] {
    while (!done) {
      const double now = inUse();
      if (now > peak) peak = now;
      std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
  });
  f();
  done = true;
  sampler.join();
  return peak - before;
}
#endif

// Also the peak memory of one conversion into a fresh matrix, as a multiple of the raster's bytes.
void BM_FastScanConvertTriangulation(benchmark::State& state) {
  Scene& s = TheScene();
  CSSEMatrix m;
  for (auto _ : state) {
    s.mesh.FastScanConvertTriangulation(&m, 0.0f, true);
    benchmark::DoNotOptimize(m.GetMatrixDataDirectly());
  }
  state.SetItemsProcessed(state.iterations() * s.mesh.GetNumTriangles());
#ifdef __GLIBC__
  const double target = 16.0 * m.GetSSESizeX() * m.GetSSESizeY();
  CSSEMatrix fresh;
  state.counters["peak_memory_over_raster"] =
      PeakExtraBytes([&] { s.mesh.FastScanConvertTriangulation(&fresh, 0.0f, true); }) / target;
#endif
}
BENCHMARK(BM_FastScanConvertTriangulation)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_FindBorderLine(benchmark::State& state) {
  CSSEMatrix field;
  field.Create(512, 512);
  for (int y = 0; y < 512; ++y) {
    for (int x = 0; x < 512; ++x) {
      const float dx = static_cast<float>(x) - 256.0f, dy = static_cast<float>(y) - 256.0f;
      field.SetPoint(x, y, 200.0f * 200.0f - dx * dx - dy * dy);  // a disc of radius 200 above 0
    }
  }
  CHTriangulation mesh(&field, 0.0f, true, 0.1f, 0.1f, 1.0f, 1, 1);
  mesh.CalcNeighbours();
  CSSE3dPolygon line;
  std::int64_t points = 0;
  for (auto _ : state) {
    mesh.FindBorderLine(&line);
    points += line.GetNumPoints();
    state.PauseTiming();
    mesh.ClearStretchList();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(points);
  state.counters["triangles"] = mesh.GetNumTriangles();
}
BENCHMARK(BM_FindBorderLine)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
