// The triangle octree and the footprint hull of a mesh.
//
// Filing: a wavy height-field surface of about one million small triangles over a 64 x 64 square, filed
// into an octree of six levels (cells of 2 x 2 x 2), against two baselines measured in the same run: the
// plain loop that computes the same per-triangle boxes from the corners (CalcSTV's minimum and maximum),
// and the bare reads of every triangle record and its box, the least any filing touches. A second pair
// files triangles that all straddle the root's planes, in bulk and one at a time.
//
// Footprint: one million vertices uniform in a ball, the hull seen along y; the peers compute the 2-D hull
// of the same x-z points, prepared outside the timing (the library's time includes its own copy of the
// vertices into a polygon, measured alone as the copy baseline).
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "qssse/geometry/HOctree.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/DmTriangulationStatic.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/restoration/QsDmTriangulationTo2DHull.h"
#include "qssse/vector/SimdOps.h"

#ifdef QSSSE_HAVE_CGAL
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/convex_hull_2.h>
#endif
#ifdef QSSSE_HAVE_QHULL
extern "C" {
#include <libqhull_r/libqhull_r.h>
}
#endif
#ifdef QSSSE_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

namespace simd = qssse::simd;

constexpr int kGrid = 707;  // 2 x 707 x 707 = 999698 triangles
constexpr float kSide = 64.0f;

// The surface, with boxes (CalcSTV) and its box.
const CHTriangulation& Surface() {
  static const std::unique_ptr<CHTriangulation> mesh = [] {
    auto m = std::make_unique<CHTriangulation>(2 * kGrid * kGrid, 1.0f, 1.0f, 1.0f);
    const float step = kSide / kGrid;
    const auto h = [&](int i, int j) {
      const float x = static_cast<float>(i) * step, y = static_cast<float>(j) * step;
      return qssse::MakeSSEPoint(x, y, 4.0f + 3.0f * std::sin(0.2f * x) * std::cos(0.15f * y));
    };
    SSEPoint* c = m->GetEdgeArray();
    for (int j = 0, t = 0; j < kGrid; ++j) {
      for (int i = 0; i < kGrid; ++i, t += 2) {
        c[3 * t] = h(i, j), c[3 * t + 1] = h(i + 1, j + 1), c[3 * t + 2] = h(i, j + 1);
        c[3 * t + 3] = h(i, j), c[3 * t + 4] = h(i + 1, j), c[3 * t + 5] = h(i + 1, j + 1);
      }
    }
    m->CalcSTV();
    m->CalcBoundingBox();
    return m;
  }();
  return *mesh;
}

// The octree of six levels over the surface's square.
std::unique_ptr<CHOctree> SixLevels() {
  return std::make_unique<CHOctree>(qssse::MakeSSEPoint(kSide, kSide, 40.0f),
                                    qssse::MakeSSEPoint(0, 0, -24.0f), 1.0f);
}

void BM_OctreeBuildSixLevels(benchmark::State& state) {
  for (auto _ : state) {
    const auto tree = SixLevels();
    benchmark::DoNotOptimize(tree->GetStem());
  }
  state.SetItemsProcessed(state.iterations() * 37449);
}
BENCHMARK(BM_OctreeBuildSixLevels)->Unit(benchmark::kMillisecond);

void BM_OctreeFile1M(benchmark::State& state) {
  CHTriangulation& mesh = const_cast<CHTriangulation&>(Surface());
  for (auto _ : state) {
    state.PauseTiming();
    auto tree = SixLevels();
    state.ResumeTiming();
    tree->CalculateOctreeEntries(&mesh, 0);
    state.PauseTiming();
    tree.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * mesh.GetNumTriangles());
}
BENCHMARK(BM_OctreeFile1M)->Unit(benchmark::kMillisecond);

// Baseline: the same per-triangle boxes from the corners, as CalcSTV computes them.
void BM_TriangleBoxes1M(benchmark::State& state) {
  const CHTriangulation& mesh = Surface();
  const int n = mesh.GetNumTriangles();
  std::vector<SSEPoint> lo(static_cast<std::size_t>(n)), hi(static_cast<std::size_t>(n));
  for (auto _ : state) {
    const SSEPoint* c = mesh.GetEdgeArray();
    for (int i = 0; i < n; ++i) {
      lo[i].m = simd::min(simd::min(c[3 * i].m, c[3 * i + 1].m), c[3 * i + 2].m);
      hi[i].m = simd::max(simd::max(c[3 * i].m, c[3 * i + 1].m), c[3 * i + 2].m);
    }
    benchmark::DoNotOptimize(lo.data());
    benchmark::DoNotOptimize(hi.data());
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_TriangleBoxes1M)->Unit(benchmark::kMillisecond);

// Baseline: reading every record and the box it points at, the least any filing must touch.
void BM_ReadTriangleRecords1M(benchmark::State& state) {
  const CHTriangulation& mesh = Surface();
  const int n = mesh.GetNumTriangles();
  for (auto _ : state) {
    __m128 lo = simd::splat(1e30f), hi = simd::splat(-1e30f);
    std::int64_t indices = 0;
    for (int i = 0; i < n; ++i) {
      const t_htriangle& t = mesh.GetTriangles()[i];
      lo = simd::min(lo, t.minPoint->m);
      hi = simd::max(hi, t.maxPoint->m);
      indices += t.index;
    }
    benchmark::DoNotOptimize(lo);
    benchmark::DoNotOptimize(hi);
    benchmark::DoNotOptimize(indices);
  }
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() * n * static_cast<std::int64_t>(sizeof(t_htriangle) + 32));
}
BENCHMARK(BM_ReadTriangleRecords1M)->Unit(benchmark::kMillisecond);

// Triangles that all straddle the root's centre planes: every one lands in the root's one list.
template <bool kBulk>
void FileStraddling(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  CHTriangulation mesh(n, 1.0f, 1.0f, 1.0f);
  for (int i = 0; i < 3 * n; i += 3) {
    const float d = 1.0f + static_cast<float>(i % 7);
    mesh.GetEdgeArray()[i] = qssse::MakeSSEPoint(-d, -d, -d);
    mesh.GetEdgeArray()[i + 1] = qssse::MakeSSEPoint(d, -d, d);
    mesh.GetEdgeArray()[i + 2] = qssse::MakeSSEPoint(0, d, 0);
  }
  mesh.CalcSTV();
  for (auto _ : state) {
    state.PauseTiming();
    auto tree =
        std::make_unique<CHOctree>(qssse::MakeSSEPoint(16, 16, 16), qssse::MakeSSEPoint(-16, -16, -16), 1.0f);
    state.ResumeTiming();
    if (kBulk) {
      tree->CalculateOctreeEntries(&mesh, 0);
    } else {
      for (int i = 0; i < n; ++i) tree->InsertTriangleIntoOctree(mesh.GetTriangle(i), tree->GetStem(), 0);
    }
    state.PauseTiming();
    tree.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * n);
}
void BM_OctreeFileStraddlingBulk(benchmark::State& state) { FileStraddling<true>(state); }
void BM_OctreeFileStraddlingOneByOne(benchmark::State& state) { FileStraddling<false>(state); }
BENCHMARK(BM_OctreeFileStraddlingBulk)->Arg(20000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OctreeFileStraddlingOneByOne)->Arg(20000)->Unit(benchmark::kMillisecond);

// ---- footprint hull -------------------------------------------------------------------------------------

constexpr int kVertices = 1000000;

DmTriangulationStatic& Ball() {
  static DmTriangulationStatic mesh = [] {
    std::mt19937 rng(42);
    std::uniform_real_distribution<float> u(-10.0f, 10.0f);
    std::vector<float> xyz;
    xyz.reserve(3 * kVertices);
    while (xyz.size() < 3 * static_cast<std::size_t>(kVertices)) {
      const float x = u(rng), y = u(rng), z = u(rng);
      if (x * x + y * y + z * z <= 100.0f) xyz.insert(xyz.end(), {x, y, z});
    }
    return DmTriangulationStatic(xyz, {0, 1, 2});
  }();
  return mesh;
}

void BM_FootprintHull1M(benchmark::State& state) {
  DmTriangulationStatic& mesh = Ball();
  int points = 0;
  for (auto _ : state) {
    const QsDmTriangulationTo2DHull hull(mesh);
    points = hull.GetNumPoints();
  }
  state.counters["hullPoints"] = points;
  state.SetItemsProcessed(state.iterations() * kVertices);
}
BENCHMARK(BM_FootprintHull1M)->Unit(benchmark::kMillisecond);

// Baseline: the footprint's own linear part, the vertices copied into a polygon with y and z exchanged.
void BM_FootprintCopyOnly1M(benchmark::State& state) {
  DmTriangulationStatic& mesh = Ball();
  for (auto _ : state) {
    CSSE3dPolygon p;
    p.Create(kVertices);
    const float* c = mesh.GetCoordinates();
    for (int i = 0; i < kVertices; ++i) p.SetPoint(i, c[3 * i], c[3 * i + 2], c[3 * i + 1]);
    benchmark::DoNotOptimize(p.GetNumPoints());
  }
  state.SetItemsProcessed(state.iterations() * kVertices);
}
BENCHMARK(BM_FootprintCopyOnly1M)->Unit(benchmark::kMillisecond);

#ifdef QSSSE_HAVE_CGAL
void BM_FootprintHull1M_CGAL(benchmark::State& state) {
  using K = CGAL::Exact_predicates_inexact_constructions_kernel;
  const float* c = Ball().GetCoordinates();
  std::vector<K::Point_2> in;
  for (int i = 0; i < kVertices; ++i) in.emplace_back(c[3 * i], c[3 * i + 2]);
  std::vector<K::Point_2> out;
  for (auto _ : state) {
    out.clear();
    CGAL::convex_hull_2(in.begin(), in.end(), std::back_inserter(out));
  }
  state.counters["hullPoints"] = static_cast<double>(out.size());
  state.SetItemsProcessed(state.iterations() * kVertices);
}
BENCHMARK(BM_FootprintHull1M_CGAL)->Unit(benchmark::kMillisecond);
#endif

#ifdef QSSSE_HAVE_QHULL
void BM_FootprintHull1M_Qhull(benchmark::State& state) {
  const float* c = Ball().GetCoordinates();
  std::vector<coordT> in;
  for (int i = 0; i < kVertices; ++i) in.insert(in.end(), {c[3 * i], c[3 * i + 2]});
  int points = 0;
  for (auto _ : state) {
    qhT qh_qh;
    qhT* qh = &qh_qh;
    qh_zero(qh, stderr);
    char flags[] = "qhull";
    if (qh_new_qhull(qh, 2, kVertices, in.data(), False, flags, nullptr, stderr) == 0)
      points = qh->num_vertices;
    qh_freeqhull(qh, !qh_ALL);
    int curlong = 0, totlong = 0;
    qh_memfreeshort(qh, &curlong, &totlong);
  }
  state.counters["hullPoints"] = points;
  state.SetItemsProcessed(state.iterations() * kVertices);
}
BENCHMARK(BM_FootprintHull1M_Qhull)->Unit(benchmark::kMillisecond);
#endif

#ifdef QSSSE_HAVE_OPENCV
void BM_FootprintHull1M_OpenCV(benchmark::State& state) {
  const float* c = Ball().GetCoordinates();
  std::vector<cv::Point2f> in;
  for (int i = 0; i < kVertices; ++i) in.emplace_back(c[3 * i], c[3 * i + 2]);
  std::vector<cv::Point2f> out;
  for (auto _ : state) cv::convexHull(in, out);
  state.counters["hullPoints"] = static_cast<double>(out.size());
  state.SetItemsProcessed(state.iterations() * kVertices);
}
BENCHMARK(BM_FootprintHull1M_OpenCV)->Unit(benchmark::kMillisecond);
#endif

}  // namespace

BENCHMARK_MAIN();
