// Meshes from height fields, their neighbours and border lines.
//
// The field is a dome with a ripple, cut by a threshold so that the mesh has an open border; the plain
// quadratic neighbour pass runs on a small mesh of the same kind, for the speed ratio per triangle.
#include <benchmark/benchmark.h>

#include <cmath>

#include "../tests/mesh/PlainNeighbours.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/raster/SSEMatrix.h"

namespace {

void Dome(CSSEMatrix& m, int size) {
  m.Create(size, size);
  const float c = 0.5f * static_cast<float>(size);
  for (int y = 0; y < size; ++y) {
    for (int x = 0; x < size; ++x) {
      const float dx = (static_cast<float>(x) - c) / c, dy = (static_cast<float>(y) - c) / c;
      const float h = 1.0f - dx * dx - dy * dy + 0.05f * std::sin(0.3f * static_cast<float>(x + 2 * y));
      m.SetPoint(x, y, std::floor(h * 40.0f) / 40.0f);  // terraced: flat regions, as measured fields have
    }
  }
}

void BM_CreateTriangulationFromSSEField(benchmark::State& state) {
  const int size = static_cast<int>(state.range(0));
  CSSEMatrix m;
  Dome(m, size);
  std::int64_t triangles = 0;
  for (auto _ : state) {
    CHTriangulation t(&m, 0.0f, true, 0.1f, 0.1f, 1.0f);
    triangles += t.GetNumTriangles();
    benchmark::DoNotOptimize(t.GetEdgeArray());
  }
  state.SetItemsProcessed(triangles);
}
BENCHMARK(BM_CreateTriangulationFromSSEField)->Arg(1024)->Unit(benchmark::kMillisecond);

template <bool kPlain>
void Neighbours(benchmark::State& state) {
  const int size = static_cast<int>(state.range(0));
  CSSEMatrix m;
  Dome(m, size);
  std::int64_t triangles = 0;
  for (auto _ : state) {
    state.PauseTiming();
    CHTriangulation t(&m, 0.0f, true, 0.1f, 0.1f, 1.0f);
    state.ResumeTiming();
    if (kPlain) {
      meshtest::PlainCalcNeighbours(t);
    } else {
      t.CalcNeighbours();
    }
    triangles += t.GetNumTriangles();
  }
  state.SetItemsProcessed(triangles);
}
void BM_CalcNeighbours(benchmark::State& state) { Neighbours<false>(state); }
void BM_CalcNeighboursPlain(benchmark::State& state) { Neighbours<true>(state); }
BENCHMARK(BM_CalcNeighbours)->Arg(64)->Arg(512)->Arg(1024)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CalcNeighboursPlain)->Arg(64)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
