// Hulls, the Delaunay triangulation, octrees and the restoration analysis.
#include <unordered_map>

#include "Bindings.h"
#include "qssse/geometry/H2DDelaunay.h"
#include "qssse/geometry/HConvexHull2D.h"
#include "qssse/geometry/HConvexHull3D.h"
#include "qssse/geometry/HOctree.h"
#include "qssse/geometry/HPolygonTriangulationRefinement.h"
#include "qssse/geometry/HPolygonTriangulator.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/DmTriangulationStatic.h"
#include "qssse/polygon/SSE2dPolygon.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/restoration/HDecideDmTriInDmTri.h"
#include "qssse/restoration/QsDmTriangulationTo2DHull.h"
#include "qssse/restoration/RestorationOctree.h"

namespace qssse::python {

namespace {

// The 3-D hull with the scale its points were appended with, so that results come back in the caller's
// units. Destroyed as itself (the library's hull has no virtual destructor).
struct ConvexHull3D : CHConvexHull3D {
  float scale = 1.0f;
};

// The Delaunay triangulation numbering the points it is given by their position among all points
// offered, so that its triangles index the caller's array.
struct Delaunay2D : CH2DDelaunay {
  int offered = 0;
};

// The ear-clipping triangulator with what it reads after construction kept alive: the Python polygon it
// was given, or its own copy of the points of an array.
struct PolygonTriangulator {
  py::object source;
  CSSE3dPolygon points;
  CSSE2dPolygon points2d;
  std::unique_ptr<CHPolygonTriangulator> t;
};

// The refinement with its triangulator (which it reads on every 3-D read) kept alive.
struct TriangulationRefinement {
  py::object triangulator;
  std::unique_ptr<CHPolygonTriangulationRefinement> r;
};

// (m, 3, 3) float32 corners from a reader of triangle i.
template <class Read>
py::object Triangles3D(int count, Read read) {
  NewArray<float> a({count, 3, 3});
  float* p = a.data();
  for (int i = 0; i < count; ++i) {
    SSEPoint c[3] = {qssse::ZeroSSEPoint(), qssse::ZeroSSEPoint(), qssse::ZeroSSEPoint()};
    read(i, c[0], c[1], c[2]);
    for (int k = 0; k < 3; ++k) {
      p[9 * i + 3 * k] = c[k].x;
      p[9 * i + 3 * k + 1] = c[k].y;
      p[9 * i + 3 * k + 2] = c[k].z;
    }
  }
  return a;
}

// Walks the face list as the library's mesh builders do: count faces from the head.
template <class Visit>
void EachFace(const CHConvexHull3D& hull, Visit visit) {
  tFaceStructure* f = hull.GetFaces();
  for (int k = 0; k < hull.GetNumFaces() && f != nullptr; ++k, f = f->next) visit(k, f);
}

// The faces' corners, lanes divided by `divisor`: an (f, 3, 3) float32 array.
py::object FaceCorners(const CHConvexHull3D& hull, float divisor) {
  NewArray<float> a({hull.GetNumFaces(), 3, 3});
  float* p = a.data();
  EachFace(hull, [&](int k, const tFaceStructure* f) {
    for (int i = 0; i < 3; ++i) {
      const tVertexStructure* v = f->vertex[i];
      p[9 * k + 3 * i] = static_cast<float>(v->x) / divisor;
      p[9 * k + 3 * i + 1] = static_cast<float>(v->y) / divisor;
      p[9 * k + 3 * i + 2] = static_cast<float>(v->z) / divisor;
    }
  });
  return a.object();
}

// The hull as an indexed mesh: its vertices in list order (divided by `divisor`) and each face's three
// vertex indices.
py::tuple HullArrays(const CHConvexHull3D& hull, float divisor) {
  std::unordered_map<const tVertexStructure*, std::int32_t> index;
  std::vector<float> xyz;
  tVertexStructure* v = hull.GetVertices();
  for (int i = 0; i < hull.GetNumVertices() && v != nullptr; ++i, v = v->next) {
    index.emplace(v, i);
    xyz.insert(xyz.end(), {static_cast<float>(v->x) / divisor, static_cast<float>(v->y) / divisor,
                           static_cast<float>(v->z) / divisor});
  }
  NewArray<float> vertices({static_cast<py::ssize_t>(index.size()), 3});
  std::copy(xyz.begin(), xyz.end(), vertices.data());
  NewArray<std::int32_t> faces({hull.GetNumFaces(), 3});
  std::int32_t* p = faces.data();
  EachFace(hull, [&](int k, const tFaceStructure* f) {
    for (int i = 0; i < 3; ++i) {
      auto it = index.find(f->vertex[i]);
      p[3 * k + i] = it == index.end() ? -1 : it->second;
    }
  });
  return py::make_tuple(vertices.object(), faces.object());
}

// A base-library mesh from a Mesh or from a (vertices, faces) pair of arrays.
DmTriangulationStatic DmMesh(const py::handle& obj, const char* what) {
  if (py::isinstance<CHTriangulation>(obj)) {
    std::unique_ptr<DmTriangulationStatic> d(obj.cast<const CHTriangulation&>().CreateDmTriangulationFromHTriangulation());
    return std::move(*d);
  }
  if (!py::isinstance<py::tuple>(obj) || py::len(obj) != 2) {
    throw py::type_error(std::string(what) + ": expected a Mesh or a (vertices, faces) tuple");
  }
  const py::tuple t = py::reinterpret_borrow<py::tuple>(obj);
  const auto v = PointArray(t[0], what, false);
  const auto f = FaceArray(t[1], what, static_cast<std::size_t>(v.shape(0)));
  std::vector<float> coordinates(v.as<float>(), v.as<float>() + 3 * v.shape(0));
  std::vector<std::int32_t> indices(f.as<std::int64_t>(), f.as<std::int64_t>() + 3 * f.shape(0));
  return DmTriangulationStatic(std::move(coordinates), std::move(indices));
}

py::object OptionalPoint(bool found, const CbVector3f& p) {
  return found ? py::object(py::make_tuple(p.x, p.y, p.z)) : py::object(py::none());
}

const char* DecisionName(CHDecideDmTriInDmTri::Decision d) {
  using D = CHDecideDmTriInDmTri::Decision;
  switch (d) {
    case D::Inside: return "inside";
    case D::Outside: return "outside";
    case D::SurfacesMeet: return "surfaces_meet";
    case D::BlockNotClosed: return "block_not_closed";
    case D::EmptyMesh: return "empty_mesh";
    case D::NotFinite: return "not_finite";
  }
  return "unknown";
}

t_hoctreeelement* Element(const CHOctree& tree, int level, int index) {
  if (index < 0 || index >= tree.GetNumLevelElements(level)) throw py::index_error("no such octree element");
  return &tree.GetLevel(level)[index];
}

void CheckList(int list) {
  if (list < 0 || list >= CHOctree::kNumLists) throw py::value_error("list: an entry list is 0, 1, 2 or 3");
}

}  // namespace

void BindGeometry(py::module_& m) {
  // ---- 2-D hull ----
  py::class_<CHConvexHull2D> hull2d(m, "ConvexHull2D",
                                    "Convex hull of points in the x-y plane by Graham's scan (CHConvexHull2D), z "
                                    "riding along. ConvexHull2D(points): a Polygon3d or an (n, 3) / (n, 2) array. "
                                    "Hull points are the strict left turns: points within the 0.0005 area tolerance "
                                    "of an edge are dropped.");
  m.attr("CHConvexHull2D") = hull2d;
  hull2d
      .def(py::init([](const py::object& points) {
             CSSE3dPolygon storage;
             CSSE3dPolygon& p = PolygonArgument(points, storage, "points");
             py::gil_scoped_release release;
             return std::make_unique<CHConvexHull2D>(&p);
           }),
           py::arg("points"), "Builds the hull of the points (order and closure do not matter).")
      .def(
          "obtain_convex_hull_3d",
          [](CHConvexHull2D& self) {
            auto out = std::make_unique<CSSE3dPolygon>();
            self.ObtainConvexHull3D(out.get());
            return out;
          },
          "The hull as a Polygon3d, counter-clockwise from the lowest point (the leftmost of several).")
      .def(
          "to_numpy",
          [](CHConvexHull2D& self) {
            CSSE3dPolygon out;
            self.ObtainConvexHull3D(&out);
            return PolygonToArray(out);
          },
          "The hull points as an (h, 3) float32 array, counter-clockwise from the lowest point.")
      .def_property_readonly("num_points", &CHConvexHull2D::GetNumPoints, "Points left after removing duplicates.")
      .def_property_readonly("num_deleted", &CHConvexHull2D::GetNumDeleted,
                             "Collinear or equal pairs met while sorting.");

  // ---- 3-D hull ----
  py::class_<ConvexHull3D> hull3d(m, "ConvexHull3D",
                                  R"(Convex hull of 3-D points, exact on 64-bit integers (CHConvexHull3D).

ConvexHull3D(points=None, scale=1.0): every point is appended as round(coordinate * scale) (so points
closer than 1 / scale merge) and, when points are given, the hull is built at once. Faces are
triangles, counter-clockwise seen from outside; coplanar neighbouring faces stay separate. Collinear or
coplanar input, or coordinates beyond the exact range, raise HullError (cause 'collinear', 'coplanar',
'range').)");
  m.attr("CHConvexHull3D") = hull3d;
  hull3d
      .def(py::init([](const py::object& points, float scale) {
             auto h = std::make_unique<ConvexHull3D>();
             h->scale = scale;
             if (!points.is_none()) {
               const auto p = PointArray(points, "points", false);
               const float* xyz = p.as<float>();
               const py::ssize_t n = p.shape(0);
               py::gil_scoped_release release;
               for (py::ssize_t i = 0; i < n; ++i) h->AppendVertex3D(xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2], scale);
               h->CalcConvexHull();
             }
             return h;
           }),
           py::arg("points") = py::none(), py::arg("scale") = 1.0f)
      .def_property_readonly(
          "scale", [](const ConvexHull3D& h) { return h.scale; }, "The scale the points were appended with.")
      .def(
          "append_points",
          [](ConvexHull3D& self, const py::object& points) {
            const auto p = PointArray(points, "points", false);
            const float* xyz = p.as<float>();
            for (py::ssize_t i = 0; i < p.shape(0); ++i) self.AppendVertex3D(xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2], self.scale);
          },
          py::arg("points"), "Appends (n, 3) points (exact duplicates ignored); calc_convex_hull inserts them.")
      .def(
          "append_vertex_3d", [](ConvexHull3D& self, float x, float y, float z) { self.AppendVertex3D(x, y, z, self.scale); },
          py::arg("x"), py::arg("y"), py::arg("z"), "Appends one point at the hull's scale.")
      .def("calc_convex_hull", &CHConvexHull3D::CalcConvexHull, ReleaseGil(),
           "Builds the hull of the appended points (points appended after a build are inserted into it).")
      .def_property_readonly("num_faces", &CHConvexHull3D::GetNumFaces, "Number of triangular faces.")
      .def_property_readonly("num_edges", &CHConvexHull3D::GetNumEdges, "Number of edges.")
      .def_property_readonly("num_vertices", &CHConvexHull3D::GetNumVertices, "Number of hull vertices.")
      .def_property_readonly("num_appended", &CHConvexHull3D::GetNumAppended, "Points appended (vertices once built).")
      .def(
          "faces", [](const ConvexHull3D& self) { return FaceCorners(self, self.scale); },
          "An (f, 3, 3) float32 array of the faces' corners in the caller's units.")
      .def(
          "to_arrays", [](const ConvexHull3D& self) { return HullArrays(self, self.scale); },
          "(vertices, faces): the hull vertices (v, 3) float32 and the faces as int32 (f, 3) indices into them.");

  // ---- Delaunay ----
  py::class_<Delaunay2D> delaunay(m, "Delaunay2D",
                                  R"(Planar Delaunay triangulation (CH2DDelaunay): the lower faces of the 3-D hull of the points
lifted onto the paraboloid, exact on the hull's integers.

Delaunay2D(points=None): points are appended as round(x * 10), round(y * 10), so points closer than
0.1 merge (the first one offered stays); given points are triangulated at once. A spread of up to
1638.4 units always fits. All points on one line raise HullError('collinear'), all on one circle
HullError('coplanar').)");
  m.attr("CH2DDelaunay") = delaunay;
  delaunay
      .def(py::init([](const py::object& points) {
             auto d = std::make_unique<Delaunay2D>();
             if (!points.is_none()) {
               const auto p = PointArray(points, "points");
               const py::ssize_t n = p.shape(0);
               const float* xyz = p.as<float>();
               py::gil_scoped_release release;
               for (py::ssize_t i = 0; i < n; ++i) d->AppendVertex(xyz[3 * i], xyz[3 * i + 1], d->offered++, false);
               d->CalcDelaunayTriangulation();
             }
             return d;
           }),
           py::arg("points") = py::none())
      .def(
          "append_points",
          [](Delaunay2D& self, const py::object& points) {
            const auto p = PointArray(points, "points");
            const float* xyz = p.as<float>();
            for (py::ssize_t i = 0; i < p.shape(0); ++i) self.AppendVertex(xyz[3 * i], xyz[3 * i + 1], self.offered++, false);
          },
          py::arg("points"), "Appends (n, 2) or (n, 3) points, numbered after the points offered before.")
      .def("calc_delaunay_triangulation", &CH2DDelaunay::CalcDelaunayTriangulation, ReleaseGil(),
           "Triangulates every vertex appended so far.")
      .def(
          "triangles",
          [](const Delaunay2D& self) {
            NewArray<std::int32_t> a({self.GetNumFaces(), 3});
            std::int32_t* p = a.data();
            EachFace(self, [&](int k, const tFaceStructure* f) {
              for (int i = 0; i < 3; ++i) p[3 * k + i] = f->vertex[i]->vnum;
            });
            return a.object();
          },
          "An (f, 3) int32 array of the triangles as indices of the points offered, CLOCKWISE in x-y (lower "
          "faces of the lifted hull).")
      .def(
          "faces", [](const Delaunay2D& self) { return FaceCorners(self, 10.0f); },
          "An (f, 3, 3) float32 array of the triangles' corners (x, y, lifted (x^2 + y^2) * 10 / 100).")
      .def_property_readonly("num_faces", &CHConvexHull3D::GetNumFaces, "Number of triangles.")
      .def_property_readonly("num_vertices", &CHConvexHull3D::GetNumVertices, "Number of distinct vertices.")
      .def("remove_faces_out_of_border_lines", &CH2DDelaunay::RemoveFacesOutOfBorderLines, py::arg("tolerance"),
           "Deletes the faces with an edge sample outside the band between the border lines.")
      .def_static(
          "from_two_border_polygons",
          [](CSSE3dPolygon& lower, CSSE3dPolygon& upper) {
            auto d = std::make_unique<Delaunay2D>();
            py::gil_scoped_release release;
            d->CreateTriangulationFromTwoBorderPolygons(&lower, &upper, false);
            return d;
          },
          py::arg("lower"), py::arg("upper"),
          "The wall strip between two closed outlines (Polygon3d), vertices mapped back to 3-D (x 10); "
          "Mesh.from_delaunay turns it into a mesh.")
      .def("get_border_points_top", &CH2DDelaunay::GetBorderPointsTop, py::arg("mesh"), py::arg("side"),
           "Appends the selected border corners of mesh (mark 13) projected to (y, z), unflagged.")
      .def("get_border_points_bottom", &CH2DDelaunay::GetBorderPointsBottom, py::arg("mesh"), py::arg("side"),
           "The same, flagged, and the lower border line from them.")
      .def("loft_with_3d_triangulation", &CH2DDelaunay::LoftWith3DTriangulation, py::arg("flagged"),
           py::arg("unflagged"), "Maps every vertex back to the mesh corner it was appended from.")
      .def_property_readonly(
          "lower_border_line", [](const Delaunay2D& self) { return self.GetLowerBorderLine(); },
          "The lower border line (Polygon2d, x 10).")
      .def_property_readonly(
          "upper_border_line", [](const Delaunay2D& self) { return self.GetUpperBorderLine(); },
          "The upper border line (Polygon2d, x 10).");

  // ---- ear clipping and its refinement ----
  py::class_<PolygonTriangulator> triangulatorClass(
      m, "PolygonTriangulator",
      R"(Ear clipping of a simple counter-clockwise outline in x-y (CHPolygonTriangulator).

PolygonTriangulator(polygon, step=1, scale=(1, 1, 1), search_after_head=False): polygon is a Polygon3d,
a Polygon2d, or an (n, 3) / (n, 2) array (copied); every step-th point is a vertex, its x and y times
the scale. A clockwise or self-intersecting ring stops early with the triangles made so far. The
object keeps the polygon alive, as the library reads it again for triangles_3d.)");
  m.attr("CHPolygonTriangulator") = triangulatorClass;
  triangulatorClass
      .def(py::init([](const py::object& polygon, int step, const Triple& scale, bool searchAfterHead) {
             auto r = std::make_unique<PolygonTriangulator>();
             if (py::isinstance<CSSE2dPolygon>(polygon)) {
               r->source = polygon;
               auto* p2 = polygon.cast<CSSE2dPolygon*>();
               py::gil_scoped_release release;
               r->t = std::make_unique<CHPolygonTriangulator>(p2, step, scale[0], scale[1], searchAfterHead);
               return r;
             }
             CSSE3dPolygon* p3 = &r->points;
             if (py::isinstance<CSSE3dPolygon>(polygon)) {
               r->source = polygon;
               p3 = polygon.cast<CSSE3dPolygon*>();
             } else {
               ArrayToPolygon(PointArray(polygon, "polygon"), r->points);
             }
             py::gil_scoped_release release;
             r->t = std::make_unique<CHPolygonTriangulator>(p3, step, scale[0], scale[1], scale[2], searchAfterHead);
             return r;
           }),
           py::arg("polygon"), py::arg("step") = 1, py::arg("scale") = Triple{1, 1, 1},
           py::arg("search_after_head") = false)
      .def_property_readonly(
          "num_triangles", [](const PolygonTriangulator& s) { return s.t->GetNumTriangles(); },
          "Triangles made: n - 2 for a simple counter-clockwise ring of n vertices.")
      .def_property_readonly(
          "num_vertices", [](const PolygonTriangulator& s) { return s.t->GetNumVertices(); },
          "Vertices of the ring (count // step).")
      .def_property_readonly(
          "num_diagonals", [](const PolygonTriangulator& s) { return s.t->GetNumDiagonals(); },
          "Diagonal records written (one per clip).")
      .def_property_readonly(
          "step", [](const PolygonTriangulator& s) { return s.t->GetStep(); }, "The step the ring was read with.")
      .def(
          "triangles",
          [](const PolygonTriangulator& s) {
            const int n = s.t->GetNumTriangles();
            NewArray<std::int32_t> a({n, 3});
            const t_htriangleconnectivity* c = s.t->GetConnectivityArray();
            for (int i = 0; i < n; ++i) {
              for (int k = 0; k < 3; ++k) a.data()[3 * i + k] = c[i].vnum[k];
            }
            return a.object();
          },
          "An (m, 3) int32 array of vertex numbers (predecessor, ear, successor): counter-clockwise for a "
          "counter-clockwise ring; vertex v is polygon point v * step.")
      .def(
          "vertices",
          [](const PolygonTriangulator& s) {
            const int n = s.t->GetNumVertices();
            NewArray<float> a({n, 2});
            for (int i = 0; i < n; ++i) s.t->GetPoint(i, a.data()[2 * i], a.data()[2 * i + 1]);
            return a.object();
          },
          "The ring's scaled planar vertices as an (n, 2) float32 array.")
      .def(
          "diagonals",
          [](const PolygonTriangulator& s) {
            const int n = s.t->GetNumDiagonals();
            NewArray<std::int32_t> a({n, 2});
            const t_hdiagonal* d = s.t->GetDiagonalArray();
            for (int i = 0; i < n; ++i) {
              a.data()[2 * i] = d[i].from;
              a.data()[2 * i + 1] = d[i].to;
            }
            return a.object();
          },
          "The (from, to) vertex numbers of every clip's diagonal, an (d, 2) int32 array; the last record of a "
          "complete triangulation is the closing side of the last triangle.")
      .def(
          "triangles_3d",
          [](const PolygonTriangulator& s) {
            if (!s.t->Is3DTriangulation() && s.t->GetNumTriangles() > 0) {
              throw py::value_error("triangles_3d: the triangulator was given a 2-D polygon");
            }
            return Triangles3D(s.t->GetNumTriangles(),
                               [&](int i, SSEPoint& a, SSEPoint& b, SSEPoint& c) { s.t->GetTriangle3D(i, a, b, c); });
          },
          "The triangles as the source polygon's own, unscaled points: an (m, 3, 3) float32 array.");

  py::class_<TriangulationRefinement> refinement(
      m, "TriangulationRefinement",
      R"(Refinement of an ear-clipping triangulation by bisecting long sides together with the triangle across
(CHPolygonTriangulationRefinement).

TriangulationRefinement(triangulator, length, passes): sides longer than 2 * length are split, for the
given number of passes; new corners take their heights from the source outline. Keeps the triangulator
(and its polygon) alive.)");
  m.attr("CHPolygonTriangulationRefinement") = refinement;
  refinement
      .def(py::init([](const py::object& triangulator, float length, int passes) {
             auto r = std::make_unique<TriangulationRefinement>();
             r->triangulator = triangulator;
             CHPolygonTriangulator* t = triangulator.cast<PolygonTriangulator&>().t.get();
             py::gil_scoped_release release;
             r->r = std::make_unique<CHPolygonTriangulationRefinement>(t, length, passes);
             return r;
           }),
           py::arg("triangulator"), py::arg("length"), py::arg("passes"))
      .def_property_readonly(
          "num_triangles", [](const TriangulationRefinement& s) { return s.r->GetNumTriangles(); },
          "Triangles in the refined list.")
      .def(
          "triangles_2d",
          [](const TriangulationRefinement& s) {
            const int n = s.r->GetNumTriangles();
            NewArray<float> a({n, 3, 2});
            const t_hdynamictriangle* t = s.r->GetTriangle(0);
            for (int i = 0; i < n && t != nullptr; ++i, t = t->next) {
              const float xy[6] = {t->x0, t->y0, t->x1, t->y1, t->x2, t->y2};
              std::copy(xy, xy + 6, a.data() + 6 * i);
            }
            return a.object();
          },
          "The planar corners of the list from its head (newest first) as an (m, 3, 2) float32 array.")
      .def(
          "triangles_3d",
          [](TriangulationRefinement& s) {
            return Triangles3D(s.r->GetNumTriangles(), [&](int i, SSEPoint& a, SSEPoint& b, SSEPoint& c) {
              if (i == 0) {
                s.r->GetFirstTriangle3D(a, b, c);
              } else {
                s.r->GetNextTriangle3D(a, b, c);
              }
            });
          },
          "The 3-D corners from the head (a 3-D source only; zeros otherwise): ear-clipped triangles keep the "
          "outline's points, split corners are interpolated from it (and cached, as the library does).")
      .def(
          "border_line",
          [](const TriangulationRefinement& s) {
            auto line = std::make_unique<CSSE3dPolygon>();
            s.r->GetBorderLinePolygon(line.get());
            return line;
          },
          "The border of the refined triangulation as a Polygon3d (the loop with the most points).");

  // ---- meshes of hulls ----
  auto meshClass = py::reinterpret_borrow<py::class_<CHTriangulation>>(m.attr("Mesh"));
  meshClass.def_static(
          "from_hull",
          [](ConvexHull3D& hull, const Triple& scale, std::optional<float> divisor) {
            py::gil_scoped_release release;
            return std::make_unique<CHTriangulation>(static_cast<CHConvexHull3D*>(&hull), scale[0], scale[1], scale[2],
                                                     divisor ? *divisor : hull.scale);
          },
          py::arg("hull"), py::arg("scale") = Triple{1, 1, 1}, py::arg("divisor") = py::none(),
          "A mesh of the hull's faces, corners divided by divisor (the hull's scale by default) and multiplied "
          "by scale; edge vectors, normals and box computed.")
      .def_static(
          "from_delaunay",
          [](Delaunay2D& d, const Triple& scale, bool flatten) {
            py::gil_scoped_release release;
            return std::make_unique<CHTriangulation>(static_cast<CH2DDelaunay*>(&d), scale[0], scale[1], scale[2],
                                                     flatten);
          },
          py::arg("delaunay"), py::arg("scale") = Triple{1, 1, 1}, py::arg("flatten") = false,
          "A mesh of the Delaunay triangles (clockwise in x-y, mark 14); z is the lifted height unless flatten.")
      .def_static(
          "from_polygon",
          [](const py::object& outline, int step, float length, bool fan, const py::object& field, bool above,
             float zOffset, const Triple& scale) {
            CSSE3dPolygon storage;
            CSSE3dPolygon& p = PolygonArgument(outline, storage, "outline");
            if (!field.is_none()) {
              if (fan) throw py::value_error("from_polygon: a fan is not limited by a height field");
              CSSEMatrix fieldStorage;
              CSSEMatrix* f = py::isinstance<CSSEMatrix>(field) ? field.cast<CSSEMatrix*>() : nullptr;
              if (f == nullptr) {
                ArrayToMatrix(HeightArray(field, "field"), fieldStorage);
                f = &fieldStorage;
              }
              py::gil_scoped_release release;
              return std::make_unique<CHTriangulation>(&p, step, length, f, above, zOffset, scale[0], scale[1],
                                                       scale[2]);
            }
            py::gil_scoped_release release;
            return std::make_unique<CHTriangulation>(&p, step, fan, length, scale[0], scale[1], scale[2]);
          },
          py::arg("outline"), py::arg("step") = 1, py::arg("length") = 1.0f, py::arg("fan") = false,
          py::arg("field") = py::none(), py::arg("above") = true, py::arg("z_offset") = 0.0f,
          py::arg("scale") = Triple{1, 1, 1},
          R"(A mesh of a counter-clockwise outline (a Polygon3d or points), in its own units, scaled last.

Ear clipping of every step-th point refined with side length `length` in 14 passes, heights of split
corners interpolated from the outline (CreateTriangulationFromPolygon); fan=True makes a fan around the
points' mean instead. With field (a Matrix or float32 array in the outline's pixel units) the corners
are raised (above) or lowered to the field plus z_offset. Edge vectors, normals and box computed.)");

  // ---- octrees ----
  py::class_<CHOctree> octree(m, "Octree",
                              R"(A complete octree over a box into which mesh triangles are filed by their boxes (CHOctree).

Octree(high, low, cell_size): L = round(log2(extent / cell_size)) levels, (8^L - 1) / 7 elements, all
allocated at once (MemoryError when that is more than the machine has). Each element has four entry
lists (0..3).)");
  m.attr("CHOctree") = octree;
  octree
      .def(py::init([](const Triple& high, const Triple& low, float cellSize) {
             py::gil_scoped_release release;
             return std::make_unique<CHOctree>(ToPoint(high), ToPoint(low), cellSize);
           }),
           py::arg("high"), py::arg("low"), py::arg("cell_size"))
      .def_property_readonly("num_bricks", &CHOctree::GetNumBricks, "Elements over all levels.")
      .def_property_readonly("num_levels", &CHOctree::GetNumLevels, "Levels (0 for a tree without root).")
      .def_property_readonly("extent", &CHOctree::GetExtent, "The largest side of the box.")
      .def_property_readonly("cell_size", &CHOctree::GetCellSize, "The cell size asked for.")
      .def(
          "calculate_octree_entries",
          [](CHOctree& self, CHTriangulation& mesh, int list) {
            CheckList(list);
            py::gil_scoped_release release;
            self.CalculateOctreeEntries(&mesh, list);
          },
          py::arg("mesh"), py::arg("list") = 0,
          "Files every triangle of mesh (needs calc_stv) into the deepest element containing its box; sets the "
          "triangles' marks from the level.")
      .def(
          "element",
          [](const CHOctree& self, int level, int index) {
            const t_hoctreeelement* e = Element(self, level, index);
            return py::make_tuple(ToTriple(e->center), e->halfSize);
          },
          py::arg("level"), py::arg("index"), "(centre, half_size) of element index of level.")
      .def(
          "entries",
          [](const CHOctree& self, int level, int index, int list) {
            CheckList(list);
            std::vector<std::int32_t> out;
            for (const t_hoctreeentrychunk* c = Element(self, level, index)->entries[list]; c != nullptr; c = c->next) {
              out.insert(out.end(), c->index, c->index + c->count);
            }
            NewArray<std::int32_t> a({static_cast<py::ssize_t>(out.size())});
            std::copy(out.begin(), out.end(), a.data());
            return a.object();
          },
          py::arg("level"), py::arg("index"), py::arg("list") = 0,
          "Every triangle index filed in the element's list, in filing order (all chunks, unlike "
          "get_entry_from_octree_element).")
      .def(
          "get_entry_from_octree_element",
          [](CHOctree& self, int level, int index, int list, int i) {
            return self.GetEntryFromOctreeElement(Element(self, level, index), list, i);
          },
          py::arg("level"), py::arg("index"), py::arg("list"), py::arg("i"),
          "The library's reader: entry i, or -1; deliberately only the first nine entries are readable.")
      .def(
          "find_min_max_point_triangulation",
          [](CHOctree& self, CHTriangulation& mesh, int list, int level, int index, const Triple& maxStart,
             const Triple& minStart) {
            SSEPoint hi = ToPoint(maxStart), lo = ToPoint(minStart);
            t_hoctreeelement* e = Element(self, level, index);
            {
              py::gil_scoped_release release;
              self.FindMinMaxPointTriangulation(&mesh, hi, lo, e, list);
            }
            return py::make_tuple(ToTriple(hi), ToTriple(lo));
          },
          py::arg("mesh"), py::arg("list") = 0, py::arg("level") = 0, py::arg("index") = 0,
          py::arg("max_start") = Triple{-1e6f, -1e6f, -1e6f}, py::arg("min_start") = Triple{1e6f, 1e6f, 1e6f},
          "The collector of the restoration analysis below the element: (max, min), deliberately min being the "
          "LAST triangle's box minimum clamped by max.");

  py::class_<CRestorationOctree, CHOctree> restoration(
      m, "RestorationOctree",
      "An octree estimating the largest side-wall angle of a restoration near the middle of its height "
      "(CRestorationOctree).");
  m.attr("CRestorationOctree") = restoration;
  restoration
      .def(py::init([](const Triple& high, const Triple& low, float cellSize) {
             py::gil_scoped_release release;
             return std::make_unique<CRestorationOctree>(ToPoint(high), ToPoint(low), cellSize);
           }),
           py::arg("high"), py::arg("low"), py::arg("cell_size"))
      .def(
          "calc_approximate_max_restoration_angle",
          [](CRestorationOctree& self, CHTriangulation& mesh, int list) {
            CheckList(list);
            py::gil_scoped_release release;
            return self.CalcApproximateMaxRestorationAngle(&mesh, list);
          },
          py::arg("mesh"), py::arg("list") = 0,
          "atan((r_bottom - r_top) / (z_bottom - z_top) + 0.0001) + 0.0875 in radians; the mesh must be filed into "
          "the list first (calculate_octree_entries).")
      .def_property_readonly("z_bottom", &CRestorationOctree::GetZBottom, "Height found in the bottom layer.")
      .def_property_readonly("z_top", &CRestorationOctree::GetZTop, "Height found in the top layer.")
      .def_property_readonly("r_bottom", &CRestorationOctree::GetRBottom, "Largest radius of the bottom layer.")
      .def_property_readonly("r_top", &CRestorationOctree::GetRTop, "Smallest radius of the top layer.");

  // ---- restoration analysis ----
  py::class_<QsDmTriangulationTo2DHull, CSSE3dPolygon> footprint(
      m, "FootprintHull",
      "The footprint of a mesh seen along y (QsDmTriangulationTo2DHull), a Polygon3d: the convex hull of the "
      "vertices in x-z, each point carrying (x, y) of its vertex and, as z, the mesh's minimum y for the first "
      "half of the points and its maximum y for the second. FootprintHull(mesh): a Mesh or (vertices, faces).");
  m.attr("QsDmTriangulationTo2DHull") = footprint;
  footprint.def(py::init([](const py::object& mesh) {
                  DmTriangulationStatic d = DmMesh(mesh, "mesh");
                  py::gil_scoped_release release;
                  return std::make_unique<QsDmTriangulationTo2DHull>(d);
                }),
                py::arg("mesh"))
      .def(
          "__reduce__",
          [](const QsDmTriangulationTo2DHull& self) {
            // Pickled as the polygon it is: the base class's state cannot rebuild the derived object.
            return py::make_tuple(py::type::of<CSSE3dPolygon>(), py::make_tuple(PolygonToArray(self)));
          },
          "Pickles the footprint as a Polygon3d of its points.");

  py::class_<CHDecideDmTriInDmTri> decide(
      m, "InsideDecision",
      R"(Whether a restoration mesh lies strictly inside a closed block mesh (CHDecideDmTriInDmTri), exact.

InsideDecision(restoration, block): each a Mesh or a (vertices, faces) tuple. decision is 'inside',
'outside', 'surfaces_meet', 'block_not_closed', 'empty_mesh' or 'not_finite'.)");
  m.attr("CHDecideDmTriInDmTri") = decide;
  decide
      .def(py::init([](const py::object& restorationMesh, const py::object& block) {
             DmTriangulationStatic r = DmMesh(restorationMesh, "restoration"), b = DmMesh(block, "block");
             py::gil_scoped_release release;
             return std::make_unique<CHDecideDmTriInDmTri>(&r, &b);
           }),
           py::arg("restoration"), py::arg("block"))
      .def_property_readonly(
          "decision", [](const CHDecideDmTriInDmTri& d) { return DecisionName(d.GetDecision()); }, "The decision.")
      .def_property_readonly("is_restoration_inside_block", &CHDecideDmTriInDmTri::IsRestorationInsideBlock,
                             "True for 'inside'.")
      .def_property_readonly(
          "lowest_block_point",
          [](const CHDecideDmTriInDmTri& d) {
            CbVector3f p;
            const bool found = d.GetLowestBlockPoint(p);
            return OptionalPoint(found, p);
          },
          "The block vertex with the smallest z, or None.")
      .def_property_readonly(
          "highest_restauration_point",
          [](const CHDecideDmTriInDmTri& d) {
            CbVector3f p;
            const bool found = d.GetHighestRestaurationPoint(p);
            return OptionalPoint(found, p);
          },
          "The restoration vertex with the largest z, or None.");
}

}  // namespace qssse::python
