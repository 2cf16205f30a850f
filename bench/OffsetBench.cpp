// Costs of exact outline offsetting beside Clipper's ClipperOffset (when installed), on the same outlines
// in the same run, so the ratios hold on a loaded machine too.
//
//  - Outlines: n points around a circle of radius 50 whose radius jitters by up to 2 (seeded), so about
//    half the corners are concave and the offsets cross themselves at many places: n = 1,000 and 10,000.
//  - Dilate/Erode: DilateExact(1.5) and ErodeExact(1.5) with round joins, arc tolerance 0.01, on a copy.
//  - ClipperDilate/ClipperErode: ClipperOffset::Execute with jtRound, the same arc tolerance, on the same
//    points scaled by 1e4 to Clipper's integers (the conversion is done once, outside the timing; ours
//    converts nothing).
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>

#include "qssse/polygon/SSE3dPolygon.h"

#ifdef QSSSE_HAVE_CLIPPER
#include <polyclipping/clipper.hpp>
#endif

namespace {

constexpr float kDistance = 1.5f;
constexpr float kArcTolerance = 0.01f;

CSSE3dPolygon Jagged(int n) {
  std::mt19937 rng(42);
  CSSE3dPolygon p;
  p.Create(n);
  for (int i = 0; i < n; ++i) {
    const double a = 6.283185307179586 * i / n;
    const double r = 50 + (rng() % 1000) * 0.002;
    p.SetPoint(i, static_cast<float>(r * std::cos(a)), static_cast<float>(r * std::sin(a)), 0.0f);
  }
  return p;
}

void Offset(benchmark::State& state, float distance) {
  const CSSE3dPolygon input = Jagged(static_cast<int>(state.range(0)));
  int points = 0;
  for (auto _ : state) {
    CSSE3dPolygon p = input;
    p.DilateExact(distance, CSSE3dPolygon::kJoinRound, 2.0f, kArcTolerance);
    points = p.GetNumPoints();
    benchmark::DoNotOptimize(points);
  }
  state.counters["result_points"] = points;
}

void Dilate(benchmark::State& state) { Offset(state, kDistance); }
void Erode(benchmark::State& state) { Offset(state, -kDistance); }
BENCHMARK(Dilate)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(Erode)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

#ifdef QSSSE_HAVE_CLIPPER
constexpr double kScale = 1e4;

void ClipperOffsetRun(benchmark::State& state, float distance) {
  const CSSE3dPolygon input = Jagged(static_cast<int>(state.range(0)));
  ClipperLib::Path path;
  for (int i = 0; i < input.GetNumPoints(); ++i) {
    float x = 0, y = 0;
    input.GetPointXY(i, x, y);
    path.push_back({std::llround(x * kScale), std::llround(y * kScale)});
  }
  std::size_t points = 0;
  for (auto _ : state) {
    ClipperLib::ClipperOffset co(2.0, kArcTolerance * kScale);
    co.AddPath(path, ClipperLib::jtRound, ClipperLib::etClosedPolygon);
    ClipperLib::Paths out;
    co.Execute(out, distance * kScale);
    points = out.empty() ? 0 : out[0].size();
    benchmark::DoNotOptimize(points);
  }
  state.counters["result_points"] = static_cast<double>(points);
}

void ClipperDilate(benchmark::State& state) { ClipperOffsetRun(state, kDistance); }
void ClipperErode(benchmark::State& state) { ClipperOffsetRun(state, -kDistance); }
BENCHMARK(ClipperDilate)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(ClipperErode)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
#endif

}  // namespace

BENCHMARK_MAIN();
