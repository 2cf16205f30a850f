// Ear clipping and refinement of smooth star outlines, beside a constrained Delaunay triangulation of
// the same polygon.
//
//  - EarClipping/n: CHPolygonTriangulator on a star of n points (radius 0.15·n, so neighbouring points
//    lie about one unit apart, as on a traced outline in pixels), searching from the head's successor as
//    the mesh builder does. PlainEarClipping/n is the same clipping with the walk over every ring edge
//    for each diagonal test (the triangulator's decisions before its edge index).
//  - Refinement/n: CHPolygonTriangulationRefinement of that triangulation with side length 16 and 14
//    passes (the mesh builder's pass count); the counter triangles is its final count.
//  - CgalCdt/n (when CGAL is installed): CGAL::Constrained_Delaunay_triangulation_2 of the same points
//    with the polygon's edges as constraints (points inserted in bulk, then the n constraints).
// Compare lines of the same n from the same run: the machine's load moves every line alike.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "qssse/geometry/HPolygonTriangulationRefinement.h"
#include "qssse/geometry/HPolygonTriangulator.h"
#include "qssse/polygon/SSE3dPolygon.h"

#if defined(QSSSE_HAVE_CGAL)
#include <CGAL/Constrained_Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Triangulation_vertex_base_with_info_2.h>
#endif

namespace {

// r(t) = R (1 + 0.3 cos 7t), R = 0.15 n; z varies along the ring so the refinement interpolates heights.
CSSE3dPolygon SmoothStar(int n) {
  CSSE3dPolygon p;
  p.Create(n);
  const double radius = 0.15 * n;
  for (int i = 0; i < n; ++i) {
    const double t = 6.283185307179586 * i / n;
    const double r = radius * (1.0 + 0.3 * std::cos(7.0 * t));
    p.SetPoint(i, static_cast<float>(r * std::cos(t)), static_cast<float>(r * std::sin(t)),
               static_cast<float>(10.0 + 3.0 * std::sin(3.0 * t)));
  }
  return p;
}

void EarClipping(benchmark::State& state) {
  CSSE3dPolygon star = SmoothStar(static_cast<int>(state.range(0)));
  int triangles = 0;
  for (auto _ : state) {
    const CHPolygonTriangulator t(&star, 1, 1.0f, 1.0f, 1.0f, true);
    triangles = t.GetNumTriangles();
    benchmark::DoNotOptimize(triangles);
  }
  state.counters["triangles"] = triangles;
}
BENCHMARK(EarClipping)->Arg(2000)->Arg(10000)->Unit(benchmark::kMillisecond);

// The plain clipping: the same steps, every diagonal tested against every ring edge.
int PlainClipping(const CSSE3dPolygon& poly) {
  const int n = poly.GetNumPoints();
  std::vector<t_hvertex> v(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    poly.GetPointXY(i, v[i].x, v[i].y);
    v[i].vnum = i;
    v[i].next = &v[(i + 1) % n];
    v[i].prev = &v[(i + n - 1) % n];
  }
  t_hvertex* head = &v[0];
  using F = CHSimpleBasisFcns;
  const auto diagonal = [&](const t_hvertex* a, const t_hvertex* b) {
    if (!F::InCone(a, b) || !F::InCone(b, a)) return false;
    const t_hvertex* c = head;
    do {
      const t_hvertex* c1 = c->next;
      if (c != a && c1 != a && c != b && c1 != b && F::Intersect(a, b, c, c1)) return false;
      c = c1;
    } while (c != head);
    return true;
  };
  for (int i = 0; i + 1 < n; ++i) v[i].ear = diagonal(v[i].prev, v[i].next);
  int triangles = 0;
  for (int m = n; m >= 3; --m) {
    t_hvertex* const start = head->next;
    t_hvertex* e = start;
    int k = 0;
    while (!e->ear && k++ < n) e = e->next;
    if (!e->ear) {
      if (m != 3 || !F::Left(start->prev, start, start->next)) break;
      e = start;  // the last three close without an ear flag
    }
    t_hvertex *a = e->prev, *b = e->next;
    a->ear = diagonal(a->prev, b);
    b->ear = diagonal(a, b->next);
    a->next = b;
    b->prev = a;
    head = b;
    ++triangles;
  }
  return triangles;
}

void PlainEarClipping(benchmark::State& state) {
  const CSSE3dPolygon star = SmoothStar(static_cast<int>(state.range(0)));
  int triangles = 0;
  for (auto _ : state) {
    triangles = PlainClipping(star);
    benchmark::DoNotOptimize(triangles);
  }
  state.counters["triangles"] = triangles;
}
BENCHMARK(PlainEarClipping)->Arg(2000)->Arg(10000)->Unit(benchmark::kMillisecond);

void Refinement(benchmark::State& state) {
  CSSE3dPolygon star = SmoothStar(static_cast<int>(state.range(0)));
  const CHPolygonTriangulator t(&star, 1, 1.0f, 1.0f, 1.0f, true);
  int triangles = 0;
  for (auto _ : state) {
    const CHPolygonTriangulationRefinement r(const_cast<CHPolygonTriangulator*>(&t), 16.0f, 14);
    triangles = r.GetNumTriangles();
    benchmark::DoNotOptimize(triangles);
  }
  state.counters["triangles"] = triangles;
}
BENCHMARK(Refinement)->Arg(2000)->Arg(10000)->Unit(benchmark::kMillisecond);

#if defined(QSSSE_HAVE_CGAL)
using K = CGAL::Exact_predicates_inexact_constructions_kernel;
using Vb = CGAL::Triangulation_vertex_base_with_info_2<int, K>;
using Fb = CGAL::Constrained_triangulation_face_base_2<K>;
using Tds = CGAL::Triangulation_data_structure_2<Vb, Fb>;
using Cdt =
    CGAL::Constrained_Delaunay_triangulation_2<K, Tds,
                                               CGAL::No_constraint_intersection_requiring_constructions_tag>;

void CgalCdt(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const CSSE3dPolygon star = SmoothStar(n);
  std::vector<std::pair<K::Point_2, int>> points;
  for (int i = 0; i < n; ++i) {
    float x = 0, y = 0;
    star.GetPointXY(i, x, y);
    points.emplace_back(K::Point_2(x, y), i);
  }
  std::size_t faces = 0;
  for (auto _ : state) {
    Cdt cdt;
    cdt.insert(points.begin(), points.end());
    std::vector<Cdt::Vertex_handle> handles(static_cast<std::size_t>(n));
    for (auto v = cdt.finite_vertices_begin(); v != cdt.finite_vertices_end(); ++v) handles[v->info()] = v;
    for (int i = 0; i < n; ++i) cdt.insert_constraint(handles[i], handles[(i + 1) % n]);
    faces = cdt.number_of_faces();
    benchmark::DoNotOptimize(faces);
  }
  state.counters["faces"] = static_cast<double>(faces);
}
BENCHMARK(CgalCdt)->Arg(2000)->Arg(10000)->Unit(benchmark::kMillisecond);
#endif

}  // namespace

BENCHMARK_MAIN();
