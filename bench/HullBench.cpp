// The exact 3-D hull and the lifted Delaunay triangulation against CGAL (Delaunay_triangulation_2,
// convex_hull_3) and qhull ("d Qbb Qt" for Delaunay, "Qt" for the hull), on the same random points in
// one run. Our times include the appends (rounding and the duplicate test). The plain hull, which scans
// every face for every point, runs on the sphere at 10k points to show what the conflict lists save.
//
// Points: uniform in a square of 1000 input units (10,000 scaled: every Delaunay product fits), uniform
// in a cube, and on a sphere, the 3-D ones scaled by 2^19 (a spread of 2^20).
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

#include "qssse/geometry/H2DDelaunay.h"
#include "qssse/geometry/HConvexHull3D.h"
#include "qssse/platform/UserInterfaceManager.h"

#ifdef QSSSE_HAVE_CGAL
#include <CGAL/Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Surface_mesh.h>
#include <CGAL/convex_hull_3.h>
#endif
#ifdef QSSSE_HAVE_QHULL
extern "C" {
#include <libqhull_r/qhull_ra.h>
}
#endif

namespace {

constexpr float kScale3D = 524288.0f;  // 2^19

const std::vector<float>& Square(int n) {
  static std::vector<float> pts;
  if (static_cast<int>(pts.size()) != 2 * n) {
    std::mt19937 rng(42);
    std::uniform_real_distribution<float> u(0.0f, 1000.0f);
    pts.clear();
    for (int i = 0; i < 2 * n; ++i) pts.push_back(u(rng));
  }
  return pts;
}

// kind 0: cube [-1, 1]^3, kind 1: unit sphere.
const std::vector<float>& Solid(int n, int kind) {
  static std::vector<float> pts[2];
  std::vector<float>& p = pts[kind];
  if (static_cast<int>(p.size()) != 3 * n) {
    std::mt19937 rng(42);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    p.clear();
    while (static_cast<int>(p.size()) < 3 * n) {
      float x = u(rng), y = u(rng), z = u(rng);
      if (kind == 1) {
        const float r = std::sqrt(x * x + y * y + z * z);
        if (r < 0.1f || r > 1.0f) continue;
        x /= r;
        y /= r;
        z /= r;
      }
      p.insert(p.end(), {x, y, z});
    }
  }
  return p;
}

// 10k and 100k points as often as half a second allows, 1M points once (CPU time: the machine is shared).
#define QSSSE_HULL_BENCH(fn)                                                                          \
  BENCHMARK(fn)->Arg(10000)->Arg(100000)->MinTime(0.5)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime(); \
  BENCHMARK(fn)->Arg(1000000)->Iterations(1)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()

class PlainHull : public CHConvexHull3D {
 public:
  void CalcPlain() { BuildHull(&PlainHull::ConstructHull); }
};

// ---- ours ----

void BM_Delaunay_Ours(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<float>& p = Square(n);
  QsCUserInterfaceManager::SetMessageHandler([](const wchar_t*, int, int) { return 0; });
  for (auto _ : state) {
    CH2DDelaunay d;
    for (int i = 0; i < n; ++i) d.AppendVertex(p[2 * i], p[2 * i + 1], -1, false);
    d.CalcDelaunayTriangulation();
    benchmark::DoNotOptimize(d.GetNumFaces());
  }
  QsCUserInterfaceManager::SetMessageHandler(nullptr);
}
QSSSE_HULL_BENCH(BM_Delaunay_Ours);

template <int kKind, bool kPlain>
void Hull3D(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<float>& p = Solid(n, kKind);
  for (auto _ : state) {
    PlainHull h;
    for (int i = 0; i < n; ++i) h.AppendVertex3D(p[3 * i], p[3 * i + 1], p[3 * i + 2], kScale3D);
    if (kPlain) {
      h.CalcPlain();
    } else {
      h.CalcConvexHull();
    }
    benchmark::DoNotOptimize(h.GetNumFaces());
  }
}
void BM_HullCube_Ours(benchmark::State& state) { Hull3D<0, false>(state); }
void BM_HullSphere_Ours(benchmark::State& state) { Hull3D<1, false>(state); }
void BM_HullSphere_OursPlain(benchmark::State& state) { Hull3D<1, true>(state); }
QSSSE_HULL_BENCH(BM_HullCube_Ours);
QSSSE_HULL_BENCH(BM_HullSphere_Ours);
BENCHMARK(BM_HullSphere_OursPlain)->Arg(10000)->Unit(benchmark::kMillisecond)->Iterations(1)->MeasureProcessCPUTime();

// ---- CGAL ----

#ifdef QSSSE_HAVE_CGAL
using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;

void BM_Delaunay_CGAL(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<float>& p = Square(n);
  std::vector<Kernel::Point_2> points;
  for (int i = 0; i < n; ++i) points.emplace_back(p[2 * i], p[2 * i + 1]);
  for (auto _ : state) {
    CGAL::Delaunay_triangulation_2<Kernel> dt(points.begin(), points.end());
    benchmark::DoNotOptimize(dt.number_of_faces());
  }
}
QSSSE_HULL_BENCH(BM_Delaunay_CGAL);

template <int kKind>
void HullCGAL(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<float>& p = Solid(n, kKind);
  std::vector<Kernel::Point_3> points;
  for (int i = 0; i < n; ++i) points.emplace_back(p[3 * i], p[3 * i + 1], p[3 * i + 2]);
  for (auto _ : state) {
    CGAL::Surface_mesh<Kernel::Point_3> mesh;
    CGAL::convex_hull_3(points.begin(), points.end(), mesh);
    benchmark::DoNotOptimize(mesh.number_of_faces());
  }
}
void BM_HullCube_CGAL(benchmark::State& state) { HullCGAL<0>(state); }
void BM_HullSphere_CGAL(benchmark::State& state) { HullCGAL<1>(state); }
QSSSE_HULL_BENCH(BM_HullCube_CGAL);
QSSSE_HULL_BENCH(BM_HullSphere_CGAL);
#endif

// ---- qhull ----

#ifdef QSSSE_HAVE_QHULL
void RunQhull(benchmark::State& state, int dim, std::vector<coordT>& coords, const char* options) {
  const int n = static_cast<int>(coords.size()) / dim;
  for (auto _ : state) {
    qhT context;
    qhT* qh = &context;
    qh_zero(qh, stderr);
    char command[64];
    std::snprintf(command, sizeof command, "qhull %s", options);
    const int code = qh_new_qhull(qh, dim, n, coords.data(), False, command, nullptr, stderr);
    benchmark::DoNotOptimize(code);
    benchmark::DoNotOptimize(qh->num_facets);
    qh_freeqhull(qh, !qh_ALL);
    int curlong = 0, totlong = 0;
    qh_memfreeshort(qh, &curlong, &totlong);
  }
}

void BM_Delaunay_Qhull(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<float>& p = Square(n);
  std::vector<coordT> coords(p.begin(), p.begin() + 2 * n);
  RunQhull(state, 2, coords, "d Qbb Qt");
}
QSSSE_HULL_BENCH(BM_Delaunay_Qhull);

template <int kKind>
void HullQhull(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<float>& p = Solid(n, kKind);
  std::vector<coordT> coords(p.begin(), p.begin() + 3 * n);
  RunQhull(state, 3, coords, "Qt");
}
void BM_HullCube_Qhull(benchmark::State& state) { HullQhull<0>(state); }
void BM_HullSphere_Qhull(benchmark::State& state) { HullQhull<1>(state); }
QSSSE_HULL_BENCH(BM_HullCube_Qhull);
QSSSE_HULL_BENCH(BM_HullSphere_Qhull);
#endif

}  // namespace

BENCHMARK_MAIN();
