// Meshes from height fields, their neighbours and borders.
//
// The field is a dome with a ripple, cut by a threshold so that the mesh has an open border; the plain
// quadratic neighbour pass runs on a small mesh of the same kind, for the speed ratio per triangle.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <unordered_map>
#include <vector>

#include "../tests/mesh/PlainNeighbours.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/polygon/SSE3dPolygon.h"
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

// The border of the dome's mesh with its neighbours computed: the loops that follow connectivity, the
// list-order border line, and a plain count of every side of the mesh in a hash map (what a caller
// without the neighbours would write to find the open sides alone, before any walk).
enum class Border { Loops, LoopsWithoutNeighbours, Line, PlainSideCount };

template <Border kWhat>
void BorderOfDome(benchmark::State& state) {
  const int size = static_cast<int>(state.range(0));
  CSSEMatrix m;
  Dome(m, size);
  // A power-of-two pixel size: at 0.1 the builder's corners of neighbouring cells differ in the last bit
  // here and there, and every such crack is border.
  CHTriangulation t(&m, 0.0f, true, 0.125f, 0.125f, 1.0f);
  if (kWhat != Border::LoopsWithoutNeighbours) t.CalcNeighbours();
  std::int64_t sides = 0;
  for (auto _ : state) {
    if (kWhat == Border::Loops || kWhat == Border::LoopsWithoutNeighbours) {
      std::vector<CSSE3dPolygon> loops;
      t.FindBorderLines(loops);
      for (const CSSE3dPolygon& l : loops) sides += l.GetNumPoints();
    } else if (kWhat == Border::Line) {
      CSSE3dPolygon line;
      t.FindBorderLine(&line);
      t.ClearStretchList();
      sides += line.GetNumPoints();
    } else {
      struct Key {
        float c[8];
        bool operator==(const Key& o) const { return std::memcmp(c, o.c, sizeof c) == 0; }
      };
      struct Hash {
        std::size_t operator()(const Key& k) const {
          std::size_t h = 0;
          for (float v : k.c) {
            std::uint32_t b;
            std::memcpy(&b, &v, 4);
            h = (h ^ b) * 0x9E3779B97F4A7C15ull;
          }
          return h;
        }
      };
      std::unordered_map<Key, int, Hash> count;
      count.reserve(3 * static_cast<std::size_t>(t.GetNumTriangles()));
      for (int i = 0; i < t.GetNumTriangles(); ++i) {
        for (int e = 0; e < 3; ++e) {
          const SSEPoint* a = t.GetTriangle(i)->point[e];
          const SSEPoint* b = t.GetTriangle(i)->point[(e + 1) % 3];
          if (std::memcmp(a, b, sizeof(SSEPoint)) > 0) std::swap(a, b);
          Key k;
          std::memcpy(k.c, a, 16);
          std::memcpy(k.c + 4, b, 16);
          ++count[k];
        }
      }
      for (const auto& [k, n] : count) sides += n == 1;
    }
  }
  state.counters["sides"] = static_cast<double>(sides) / static_cast<double>(state.iterations());
  state.counters["triangles"] = t.GetNumTriangles();
}
void BM_FindBorderLines(benchmark::State& state) { BorderOfDome<Border::Loops>(state); }
void BM_FindBorderLinesWithoutNeighbours(benchmark::State& state) {
  BorderOfDome<Border::LoopsWithoutNeighbours>(state);
}
void BM_FindBorderLine(benchmark::State& state) { BorderOfDome<Border::Line>(state); }
void BM_BorderSidesByPlainSideCount(benchmark::State& state) { BorderOfDome<Border::PlainSideCount>(state); }
BENCHMARK(BM_FindBorderLines)->Arg(512)->Arg(1024)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FindBorderLinesWithoutNeighbours)->Arg(512)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FindBorderLine)->Arg(512)->Arg(1024)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BorderSidesByPlainSideCount)->Arg(512)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
