// Costs of the outline polygon's hot members.
//
//  - FillRule: PointInLineInnerArea on a 1,000-point star-shaped outline, queries spread over its box;
//    the counter s_per_million is seconds per million queries. PlainFillRule is the one-edge-at-a-time
//    loop of the same rule (as the tests' oracle), so the two lines give the speed-up of the four-edge
//    SIMD loop.
//  - ReParametrize: one resampling of a 10,000-point circle of radius 1,000 with step 0.5 (edges of
//    about 0.63: most emit one point, those nearer to the axes a second); ReParametrizeCapped: the same
//    star-shaped, whose 200-unit spikes hit the 99,999-point cap.
//  - RemoveEqualPoints: the duplicate removal of a 10,000-point circle (edges of about 0.63, so every
//    other point goes).
//  - BoundingBox: CalcBoundingBox of a 100,000-point outline (1.2 MB of X, Y, Z); ratio_to_read is its
//    bandwidth divided by that of a plain SIMD read of the same three arrays (ReadReference).
#include <benchmark/benchmark.h>

#include <immintrin.h>

#include <chrono>
#include <cmath>
#include <random>
#include <vector>

#include "qssse/polygon/SSE3dPolygon.h"

namespace {

constexpr int kQueryBatch = 4096;

// n points around a circle; odd points pulled in to spike * radius.
CSSE3dPolygon Star(int n, float radius, float spike = 0.8f) {
  CSSE3dPolygon p;
  p.Create(n);
  for (int i = 0; i < n; ++i) {
    const float a = 6.2831853f * static_cast<float>(i) / static_cast<float>(n);
    const float r = radius * (i % 2 ? spike : 1.0f);
    p.SetPoint(i, r * std::cos(a), r * std::sin(a), static_cast<float>(i % 7));
  }
  return p;
}

std::vector<float> Queries(float half) {
  std::mt19937 rng(42);
  std::uniform_real_distribution<float> u(-half, half);
  std::vector<float> q(2 * kQueryBatch);
  for (float& v : q) v = u(rng);
  return q;
}

bool PlainInside(const float* xs, const float* ys, int n, float x, float y) {
  bool inside = false;
  float px = xs[n - 1], py = ys[n - 1];
  for (int i = 0; i < n; ++i) {
    const float cx = xs[i], cy = ys[i];
    if ((px < x) != (cx < x)) {
      const bool prevLeft = px < cx;
      const float lx = prevLeft ? px : cx, ly = prevLeft ? py : cy;
      const float rx = prevLeft ? cx : px, ry = prevLeft ? cy : py;
      if ((ry - ly) * (x - lx) > (rx - lx) * (y - ly)) inside = !inside;
    }
    px = cx;
    py = cy;
  }
  return inside;
}

void SetPerMillion(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * kQueryBatch);
  state.counters["s_per_million"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * kQueryBatch / 1e6,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void FillRule(benchmark::State& state) {
  CSSE3dPolygon p = Star(1000, 100.0f);
  const std::vector<float> q = Queries(100.0f);
  for (auto _ : state) {
    int inside = 0;
    for (int i = 0; i < kQueryBatch; ++i) inside += p.PointInLineInnerArea(q[2 * i], q[2 * i + 1], 1);
    benchmark::DoNotOptimize(inside);
  }
  SetPerMillion(state);
}
BENCHMARK(FillRule);

void PlainFillRule(benchmark::State& state) {
  CSSE3dPolygon p = Star(1000, 100.0f);
  std::vector<float> xs(1000), ys(1000);
  for (int i = 0; i < 1000; ++i) p.GetPointXY(i, xs[i], ys[i]);
  const std::vector<float> q = Queries(100.0f);
  for (auto _ : state) {
    int inside = 0;
    for (int i = 0; i < kQueryBatch; ++i)
      inside += PlainInside(xs.data(), ys.data(), 1000, q[2 * i], q[2 * i + 1]);
    benchmark::DoNotOptimize(inside);
  }
  SetPerMillion(state);
}
BENCHMARK(PlainFillRule);

void ReParametrize(benchmark::State& state) {
  const CSSE3dPolygon source = Star(10000, 1000.0f, 1.0f);
  CSSE3dPolygon p;
  for (auto _ : state) {
    state.PauseTiming();
    p.CreateSimilar(&source);
    state.ResumeTiming();
    p.ReParametrize(0.5f);
    benchmark::DoNotOptimize(p.GetNumPoints());
  }
  state.counters["points_out"] = p.GetNumPoints();
}
BENCHMARK(ReParametrize)->Unit(benchmark::kMicrosecond);

void ReParametrizeCapped(benchmark::State& state) {
  const CSSE3dPolygon source = Star(10000, 1000.0f);
  CSSE3dPolygon p;
  for (auto _ : state) {
    state.PauseTiming();
    p.CreateSimilar(&source);
    state.ResumeTiming();
    p.ReParametrize(0.5f);
    benchmark::DoNotOptimize(p.GetNumPoints());
  }
  state.counters["points_out"] = p.GetNumPoints();
}
BENCHMARK(ReParametrizeCapped)->Unit(benchmark::kMicrosecond);

// RemoveEqualPointsXY, which the box-scanning rasterisers run on every fill, on a 10,000-point circle.
void RemoveEqualPoints(benchmark::State& state) {
  const CSSE3dPolygon source = Star(10000, 1000.0f, 1.0f);
  CSSE3dPolygon p;
  for (auto _ : state) {
    state.PauseTiming();
    p.CreateSimilar(&source);
    state.ResumeTiming();
    p.RemoveEqualPointsXY();
    benchmark::DoNotOptimize(p.GetNumPoints());
  }
  state.counters["points_out"] = p.GetNumPoints();
}
BENCHMARK(RemoveEqualPoints)->Unit(benchmark::kMicrosecond);

constexpr int kBoxPoints = 100000;
constexpr double kBoxBytes = 3.0 * kBoxPoints * sizeof(float);

// A plain read of the three arrays, four lanes at a time: the bandwidth the box cannot beat.
float ReadAll(const float* x, const float* y, const float* z) {
  __m128 a = _mm_setzero_ps(), b = a, c = a;
  for (int i = 0; i < kBoxPoints; i += 4) {
    a = _mm_add_ps(a, _mm_load_ps(x + i));
    b = _mm_add_ps(b, _mm_load_ps(y + i));
    c = _mm_add_ps(c, _mm_load_ps(z + i));
  }
  return _mm_cvtss_f32(_mm_add_ps(_mm_add_ps(a, b), c));
}

struct Arrays {
  std::vector<float, std::allocator<float>> storage = std::vector<float>(3 * kBoxPoints + 16, 1.0f);
  float* Aligned(int k) {
    auto base = reinterpret_cast<std::uintptr_t>(storage.data());
    return reinterpret_cast<float*>((base + 15) & ~std::uintptr_t{15}) + k * kBoxPoints;
  }
};

double ReadBytesPerSecond() {
  static const double value = [] {
    Arrays a;
    using Clock = std::chrono::steady_clock;
    benchmark::DoNotOptimize(ReadAll(a.Aligned(0), a.Aligned(1), a.Aligned(2)));
    const auto start = Clock::now();
    long reps = 0;
    double seconds = 0.0;
    do {
      benchmark::DoNotOptimize(ReadAll(a.Aligned(0), a.Aligned(1), a.Aligned(2)));
      ++reps;
      seconds = std::chrono::duration<double>(Clock::now() - start).count();
    } while (seconds < 0.25);
    return kBoxBytes * static_cast<double>(reps) / seconds;
  }();
  return value;
}

void ReadReference(benchmark::State& state) {
  Arrays a;
  for (auto _ : state) benchmark::DoNotOptimize(ReadAll(a.Aligned(0), a.Aligned(1), a.Aligned(2)));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBoxBytes));
}
BENCHMARK(ReadReference)->Unit(benchmark::kMicrosecond);

void BoundingBox(benchmark::State& state) {
  CSSE3dPolygon p = Star(kBoxPoints, 500.0f);
  const double reference = ReadBytesPerSecond();
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    p.CalcBoundingBox();
    benchmark::DoNotOptimize(p.GetTopRight());
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBoxBytes));
  state.counters["ratio_to_read"] = kBoxBytes * static_cast<double>(state.iterations()) / seconds / reference;
}
BENCHMARK(BoundingBox)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
