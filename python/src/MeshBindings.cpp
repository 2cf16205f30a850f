// Mesh (CHTriangulation): builders from height fields and arrays, arrays out, editing, border and the
// scan conversions back into height fields.
#include <cstring>
#include <functional>
#include <vector>

#include "Bindings.h"
#include "qssse/io/MeshFile.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/Archive.h"
#include "qssse/platform/MemFile.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"

namespace qssse::python {

namespace {

constexpr const char* kMeshDoc = R"(The library's triangle mesh (CHTriangulation).

Triangles are independent: each has its own three corners, and neighbours are found by exact comparison
of corner coordinates (calc_neighbours). Derived data (edge vectors, box, normals, neighbours) is
computed by the explicit calc_* calls; the builders below make the calls they name.

Build one with Mesh.from_height_field, Mesh.from_arrays, Mesh.read, Mesh.from_hull or
Mesh.from_delaunay; get arrays with to_arrays() (welded vertices and faces, a copy), triangles() (the
corners, a copy) or the read-only zero-copy views corners and normals. While such a view is alive, the
calls that reallocate the mesh (removals, append_triangulation, combine) raise BufferError.)";

using Matrix = CSSEMatrix;

// The matrix a conversion writes: the caller's, or a new one. Returns the Python object handed back.
py::object OutMatrix(const py::object& given, CSSEMatrix*& out) {
  if (!given.is_none() && !py::isinstance<CSSEMatrix>(given)) {
    throw py::type_error("matrix: expected a qssse.Matrix or None, got " +
                         py::str(py::type::handle_of(given).attr("__name__")).cast<std::string>());
  }
  py::object obj = given.is_none() ? py::cast(std::make_unique<CSSEMatrix>()) : given;
  out = obj.cast<CSSEMatrix*>();
  return obj;
}

// A height field argument: a Matrix as it is, or a float32 array copied into `storage`.
CSSEMatrix* HeightsArgument(const py::handle& obj, CSSEMatrix& storage) {
  if (py::isinstance<CSSEMatrix>(obj)) return obj.cast<CSSEMatrix*>();
  ArrayToMatrix(HeightArray(obj, "heights"), storage);
  return &storage;
}

std::unique_ptr<CHTriangulation> FromArrays(const py::object& vertices, const py::object& faces) {
  const auto v = PointArray(vertices, "vertices", false);
  const auto f = FaceArray(faces, "faces", static_cast<std::size_t>(v.shape(0)));
  io::MeshData data;
  data.vertices.resize(static_cast<std::size_t>(v.shape(0)));
  const float* xyz = v.as<float>();
  for (std::size_t i = 0; i < data.vertices.size(); ++i) data.vertices[i] = {xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2]};
  data.triangles.resize(static_cast<std::size_t>(f.shape(0)));
  for (std::size_t i = 0; i < data.triangles.size(); ++i) {
    for (std::size_t k = 0; k < 3; ++k) data.triangles[i][k] = static_cast<std::uint32_t>(f.as<std::int64_t>()[3 * i + k]);
  }
  auto mesh = std::make_unique<CHTriangulation>();
  py::gil_scoped_release release;
  io::CopyToTriangulation(data, *mesh);
  if (mesh->GetNumTriangles() > 0) mesh->CalcNormalsFromVertices();
  return mesh;
}

py::tuple ToArrays(const CHTriangulation& mesh) {
  io::MeshData data;
  {
    py::gil_scoped_release release;
    data = io::MeshDataFromTriangulation(mesh);
  }
  NewArray<float> v({static_cast<py::ssize_t>(data.vertices.size()), 3});
  if (!data.vertices.empty()) {
    std::memcpy(v.data(), data.vertices.data(), data.vertices.size() * sizeof(io::Vertex));
  }
  NewArray<std::int32_t> f({static_cast<py::ssize_t>(data.triangles.size()), 3});
  std::int32_t* p = f.data();
  for (std::size_t i = 0; i < data.triangles.size(); ++i) {
    for (std::size_t k = 0; k < 3; ++k) p[3 * i + k] = static_cast<std::int32_t>(data.triangles[i][k]);
  }
  return py::make_tuple(v.object(), f.object());
}

// A deep copy that is complete: the library's CopyFromHTriangulation fills the maxima from the minima and
// leaves the neighbours pointing into the source, which Python cannot keep alive for the copy.
std::unique_ptr<CHTriangulation> CompleteCopy(CHTriangulation& src) {
  auto copy = std::make_unique<CHTriangulation>(&src);
  const int n = copy->GetNumTriangles();
  t_htriangle* from = src.GetTriangles();
  t_htriangle* to = copy->GetTriangles();
  const auto begin = reinterpret_cast<std::uintptr_t>(from);
  for (int i = 0; i < n; ++i) {
    *to[i].maxPoint = *from[i].maxPoint;
    for (int k = 0; k < 3; ++k) {
      const auto p = reinterpret_cast<std::uintptr_t>(from[i].neighbour[k]);
      const bool inside = p >= begin && p < begin + sizeof(t_htriangle) * static_cast<std::size_t>(n);
      to[i].neighbour[k] = inside ? &to[(p - begin) / sizeof(t_htriangle)] : nullptr;
    }
  }
  return copy;
}

py::bytes ToBytes(CHTriangulation& mesh) {
  CMemFile file;
  {
    CArchive ar(&file, CArchive::store);
    mesh.Serialize(ar);
    ar.Close();
  }
  const auto& b = file.GetBytes();
  return py::bytes(reinterpret_cast<const char*>(b.data()), b.size());
}

std::unique_ptr<CHTriangulation> FromBytes(const py::bytes& bytes) {
  const std::string s = bytes;
  auto mesh = std::make_unique<CHTriangulation>();
  mesh->BaseInitialization(1.0f, 1.0f, 1.0f);
  CMemFile file(std::vector<unsigned char>(s.begin(), s.end()));
  CArchive ar(&file, CArchive::load);
  mesh->Serialize(ar);
  return mesh;
}

// A (3, 4) array as the library's 3x4 transform.
t_ssematrix3 ToTransform(const py::object& matrix) {
  // Rows of the linear part, column 3 the translation.
  const ArrayIn f = FloatMatrixArray(matrix, "matrix", 3, 4);
  const float* p = f.as<float>();
  t_ssematrix3 t;
  t.row0 = _mm_setr_ps(p[0], p[1], p[2], p[3]);
  t.row1 = _mm_setr_ps(p[4], p[5], p[6], p[7]);
  t.row2 = _mm_setr_ps(p[8], p[9], p[10], p[11]);
  return t;
}

py::object PointView(const py::object& owner, const CHTriangulation& mesh, SSEPoint* base) {
  const py::ssize_t n = mesh.GetNumTriangles();
  if (n == 0 || base == nullptr) return NewArray<float>({0, 3, 3});
  // Corner k of triangle i is SSEPoint 3i + k: lanes x, y, z of 16-byte points, 48 bytes a triangle.
  return GuardedView(owner, &mesh, {n, 3, 3},
                     {3 * py::ssize_t{sizeof(SSEPoint)}, py::ssize_t{sizeof(SSEPoint)}, py::ssize_t{sizeof(float)}},
                     base);
}

using RemoveByZ = void (CHTriangulation::*)(float);

}  // namespace

void BindMesh(py::module_& m) {
  py::class_<CHTriangulation> mesh(m, "Mesh", kMeshDoc);
  m.attr("CHTriangulation") = mesh;

  mesh.def(py::init<>(), "An empty mesh.")
      .def_static(
          "from_height_field",
          [](const py::object& heights, float threshold, bool above, const Triple& scale,
             const std::array<int, 2>& step, const py::object& outline, const std::optional<std::array<int, 4>>& area,
             bool forceFull) {
            CSSEMatrix storage;
            CSSE3dPolygon outlineStorage;
            CSSEMatrix* field = HeightsArgument(heights, storage);
            CSSE3dPolygon* clip = outline.is_none() ? nullptr : &PolygonArgument(outline, outlineStorage, "outline");
            if (clip != nullptr && area) throw py::value_error("from_height_field: give an outline or an area, not both");
            py::gil_scoped_release release;
            if (clip != nullptr) {
              return std::make_unique<CHTriangulation>(field, threshold, above, scale[0], scale[1], scale[2], step[0],
                                                       step[1], clip);
            }
            if (area) {
              const auto& a = *area;
              return std::make_unique<CHTriangulation>(field, threshold, above, scale[0], scale[1], scale[2], step[0],
                                                       step[1], a[0], a[1], a[2], a[3], forceFull);
            }
            return std::make_unique<CHTriangulation>(field, threshold, above, scale[0], scale[1], scale[2], step[0],
                                                     step[1]);
          },
          py::arg("heights"), py::arg("threshold") = 0.0f, py::arg("above") = true,
          py::arg("scale") = Triple{1, 1, 1}, py::arg("step") = std::array<int, 2>{1, 1},
          py::arg("outline") = py::none(), py::arg("area") = py::none(), py::arg("force_full") = false,
          R"(A mesh of a height field (a Matrix, or a float32 array that is copied).

Every cell of step[0] x step[1] pixels whose corners lie strictly above the threshold (below with
above=False) becomes one or two triangles, corners at (x * scale[0], y * scale[1], height). With
outline (a Polygon3d or an (n, 3) array) only corners inside it by the fill rule count; with area =
(x_from, x_to, y_from, y_to) only that rectangle is swept (force_full makes every cell with a corner on
each side two triangles). The box and edge vectors are computed, the scan resolution is the scale.
Steps below 1 raise ValueError. (The library's SIMD full-resolution builder is not offered: it pads
the triangle count with all-zero triangles.))")
      .def_static(
          "from_two_fields",
          [](const py::object& heights, const py::object& reference, bool above, const Triple& scale,
             const std::array<int, 2>& step, const std::optional<std::array<int, 4>>& area) {
            CSSEMatrix storage, refStorage;
            CSSEMatrix* field = HeightsArgument(heights, storage);
            CSSEMatrix* ref = HeightsArgument(reference, refStorage);
            py::gil_scoped_release release;
            if (area) {
              const auto& a = *area;
              return std::make_unique<CHTriangulation>(field, ref, above, scale[0], scale[1], scale[2], step[0],
                                                       step[1], a[0], a[1], a[2], a[3]);
            }
            return std::make_unique<CHTriangulation>(field, ref, above, scale[0], scale[1], scale[2], step[0], step[1]);
          },
          py::arg("heights"), py::arg("reference"), py::arg("above") = true, py::arg("scale") = Triple{1, 1, 1},
          py::arg("step") = std::array<int, 2>{1, 1}, py::arg("area") = py::none(),
          "A mesh of heights where they lie strictly above reference (below with above=False), pixel by pixel; "
          "neighbours, box, edge vectors and normals computed.")
      .def_static("from_arrays", &FromArrays, py::arg("vertices"), py::arg("faces"),
                  "A mesh of the triangles faces (an (m, 3) integer array) over vertices (an (n, 3) array); unit "
                  "scales; edge vectors, box and normals computed. Indices out of range raise ValueError.")
      .def_static("from_bytes", &FromBytes, py::arg("data"),
                  "A mesh from to_bytes() (the library's archive form); Error for a truncated or corrupt block.")
      .def("to_bytes", &ToBytes, "The mesh in the library's archive form (scales and marks included).")
      .def(py::pickle([](CHTriangulation& self) { return py::make_tuple(ToBytes(self)); },
                      [](const py::tuple& t) { return FromBytes(t[0].cast<py::bytes>()); }))
      .def("to_arrays", &ToArrays,
           "(vertices, faces): corners with equal coordinates welded into one vertex (float32 (n, 3), in order "
           "of first appearance) and the triangles as int32 (m, 3) indices. ValueError for a corner that is not "
           "finite.")
      .def(
          "triangles",
          [](const CHTriangulation& self) {
            const py::ssize_t n = self.GetNumTriangles();
            NewArray<float> a({n, 3, 3});
            float* p = a.data();
            const SSEPoint* c = self.GetEdgeArray();
            for (py::ssize_t i = 0; i < 3 * n; ++i) {
              p[3 * i] = c[i].x;
              p[3 * i + 1] = c[i].y;
              p[3 * i + 2] = c[i].z;
            }
            return a.object();
          },
          "A new (m, 3, 3) float32 array: corner k of triangle i is [i, k].")
      .def_property_readonly(
          "corners",
          [](const py::object& self) {
            const auto& t = self.cast<const CHTriangulation&>();
            return PointView(self, t, t.GetEdgeArray());
          },
          "A read-only (m, 3, 3) float32 view of the corners, without a copy (the corner array holds x, y, z, w "
          "per corner, so strides skip w).")
      .def_property_readonly(
          "normals",
          [](const py::object& self) {
            const auto& t = self.cast<const CHTriangulation&>();
            return PointView(self, t, t.GetNormalArray());
          },
          "A read-only (m, 3, 3) float32 view of the corner normals.")
      .def(
          "copy", [](CHTriangulation& self) { return CompleteCopy(self); },
          "A deep copy with its own neighbours and the real per-triangle maxima (the library's "
          "CopyFromHTriangulation fills them from the minima).")
      .def("__copy__", [](CHTriangulation& self) { return CompleteCopy(self); })
      .def("__deepcopy__", [](CHTriangulation& self, const py::dict&) { return CompleteCopy(self); }, py::arg("memo"))
      .def("__len__", &CHTriangulation::GetNumTriangles)
      .def("__repr__",
           [](const CHTriangulation& self) {
             return "<qssse.Mesh of " + std::to_string(self.GetNumTriangles()) + " triangles>";
           })
      .def_property_readonly("num_triangles", &CHTriangulation::GetNumTriangles, "Number of triangles.")
      .def_property_readonly(
          "scale", [](const CHTriangulation& s) { return Triple{s.GetScaleX(), s.GetScaleY(), s.GetScaleZ()}; },
          "(scale_x, scale_y, scale_z) of the builders and scale_triangulation.")
      .def_property_readonly(
          "scan_resolution",
          [](const CHTriangulation& s) { return Triple{s.GetScanResX(), s.GetScanResY(), s.GetScanResZ()}; },
          "The pixel size of the scan conversions.")
      .def_property_readonly("scan_diagonal", &CHTriangulation::GetScanDiagonal,
                             "sqrt(res_x^2 + res_y^2), the sampling step of the scan conversions.")
      .def_property_readonly(
          "min_point",
          [](const CHTriangulation& s) {
            SSEPoint p;
            s.GetMinPoint(p);
            return ToTriple(p);
          },
          "Minimum corner of the stored box (calc_bounding_box).")
      .def_property_readonly(
          "max_point",
          [](const CHTriangulation& s) {
            SSEPoint p;
            s.GetMaxPoint(p);
            return ToTriple(p);
          },
          "Maximum corner of the stored box.")
      .def_property_readonly(
          "center_point",
          [](const CHTriangulation& s) {
            SSEPoint p;
            s.GetCenterPoint(p);
            return ToTriple(p);
          },
          "The stored centre (calc_center_point).")
      .def_property_readonly(
          "marks",
          [](const CHTriangulation& s) {
            NewArray<std::int32_t> a({s.GetNumTriangles()});
            for (int i = 0; i < s.GetNumTriangles(); ++i) a.data()[i] = s.GetTriangle(i)->mark;
            return a.object();
          },
          "The triangles' marks as a new int32 array (-1 new, 13 border, 14 Delaunay, octree levels).")
      .def_property_readonly(
          "neighbours",
          [](const CHTriangulation& s) {
            const int n = s.GetNumTriangles();
            NewArray<std::int32_t> a({n, 3});
            std::int32_t* p = a.data();
            const auto begin = reinterpret_cast<std::uintptr_t>(s.GetTriangles());
            for (int i = 0; i < n; ++i) {
              for (int k = 0; k < 3; ++k) {
                const auto q = reinterpret_cast<std::uintptr_t>(s.GetTriangle(i)->neighbour[k]);
                const bool inside = q >= begin && q < begin + sizeof(t_htriangle) * static_cast<std::size_t>(n);
                p[3 * i + k] = inside ? static_cast<std::int32_t>((q - begin) / sizeof(t_htriangle)) : -1;
              }
            }
            return a.object();
          },
          "A new (m, 3) int32 array: the triangle across P0-P1, P1-P2, P2-P0, or -1 (calc_neighbours).")

      // ---- derived data ----
      .def("calc_stv", &CHTriangulation::CalcSTV, ReleaseGil(), "Edge vectors and per-triangle boxes.")
      .def("calc_bounding_box", &CHTriangulation::CalcBoundingBox, ReleaseGil(), "The mesh box (min_point, max_point).")
      .def("calc_center_point", &CHTriangulation::CalcCenterPoint, ReleaseGil(), "The corner average (center_point).")
      .def("calc_normals_from_vertices", &CHTriangulation::CalcNormalsFromVertices, ReleaseGil(),
           "Unit face normals into the corner normals (needs calc_stv).")
      .def("set_scan_conv_resolution", &CHTriangulation::SetScanConvResolution, py::arg("res_x"), py::arg("res_y"),
           py::arg("res_z"), "The pixel size of the scan conversions.")
      .def("scale_triangulation", &CHTriangulation::ScaleTriangulation, "Corners *= scale (nothing recomputed).")
      .def("scale_triangulation_xy", &CHTriangulation::ScaleTriangulationXY, "Corners *= (scale_x, scale_y, 1).")
      .def("calc_neighbours", &CHTriangulation::CalcNeighbours, ReleaseGil(),
           "Neighbours by exact corner comparison; triangles with a side without neighbour get mark 13.")
      .def("find_border_triangles", &CHTriangulation::FindBorderTriangles, "Mark 13 on every triangle with a null neighbour.")
      .def(
          "find_border_line",
          [](CHTriangulation& self) {
            auto line = std::make_unique<CSSE3dPolygon>();
            py::gil_scoped_release release;
            self.FindBorderLine(line.get());
            return line;
          },
          "The border as a Polygon3d: one stretch per border triangle strung in list order (needs "
          "calc_neighbours); where the stretches stop connecting, the remaining points are 0.")
      .def(
          "find_border_lines",
          [](const CHTriangulation& self) {
            std::vector<CSSE3dPolygon> lines;
            int unclosed = 0;
            {
              py::gil_scoped_release release;
              unclosed = self.FindBorderLines(lines);
            }
            py::list out;
            for (CSSE3dPolygon& l : lines) out.append(py::cast(std::move(l)));
            return py::make_tuple(out, unclosed);
          },
          "(loops, unclosed): the open border as closed loops following connectivity, each a Polygon3d (outer "
          "loops counter-clockwise, holes clockwise for meshes of height fields), and the number of open sides "
          "that close into no loop.")
      .def("clear_stretch_list", &CHTriangulation::ClearStretchList, "Deletes the border stretches left over.")

      // ---- editing ----
      .def("shift_triangulation", &CHTriangulation::ShiftTriangulation, py::arg("dx"), py::arg("dy"), py::arg("dz"),
           ReleaseGil(), "Adds (dx, dy, dz) to every corner and box (the centre is not moved).")
      .def("re_scale_triangulation", &CHTriangulation::ReScaleTriangulation, py::arg("sx"), py::arg("sy"),
           py::arg("sz"), ReleaseGil(), "scale = (sx, sy, sz), then scale_triangulation, box and edge vectors.")
      .def("blow_triangulation", &CHTriangulation::BlowTriangulation, py::arg("fx"), py::arg("fy"), py::arg("fz"),
           ReleaseGil(), "Corners *= (fx, fy, fz), then box and edge vectors (normals left as they were).")
      .def("orient_triangles_towards_bbox_center", &CHTriangulation::OrientTrianglesTowardsBBoxCenter,
           "calc_normals_from_vertices, despite the name.")
      .def(
          "transform_vertices",
          [](CHTriangulation& self, float ax, float ay, float az) {
            py::gil_scoped_release release;
            self.TransformVertices(ax, ay, az);
          },
          py::arg("ax"), py::arg("ay"), py::arg("az"),
          "Rotates about x by ax, then y by ay, then z by az (radians, right-handed) about the origin.")
      .def(
          "transform_vertices",
          [](CHTriangulation& self, const py::object& matrix) {
            const t_ssematrix3 t = ToTransform(matrix);
            py::gil_scoped_release release;
            self.TransformVertices(t);
          },
          py::arg("matrix"),
          "Applies a (3, 4) matrix to every corner (column 3 translates) and its 3x3 part to the normals.")
      .def(
          "transform_vertices_about_point",
          [](CHTriangulation& self, const Triple& p, float ax, float ay, float az) {
            py::gil_scoped_release release;
            self.TransformVerticesAboutPoint(ToPoint(p), ax, ay, az);
          },
          py::arg("point"), py::arg("ax"), py::arg("ay"), py::arg("az"), "The rotation about point.")
      .def(
          "remove_triangles_between_z",
          [](CHTriangulation& self, float lo, float hi) {
            RequireNoViews(&self, "remove_triangles_between_z");
            py::gil_scoped_release release;
            self.RemoveTrianglesBetweenZ(lo, hi);
          },
          py::arg("lo"), py::arg("hi"),
          "Keeps the triangles with all corners outside [lo, hi], then calc_neighbours (each stored maximum "
          "becomes the triangle's minimum, as the library does).")
      .def(
          "append_triangulation",
          [](CHTriangulation& self, CHTriangulation* other) {
            RequireNoViews(&self, "append_triangulation");
            py::gil_scoped_release release;
            self.AppendTriangulation(other);
          },
          py::arg("other"), "other's triangles after the ones held (neighbours into other re-aimed at the copies).")
      .def(
          "combine",
          [](CHTriangulation& self, CHTriangulation* a, CHTriangulation* b) {
            RequireNoViews(&self, "combine");
            py::gil_scoped_release release;
            self.Combine(a, b);
          },
          py::arg("a"), py::arg("b"), "This mesh becomes a's triangles followed by b's (either may be this mesh).")

      .def(
          "remove_triangles_with_same_orientation",
          [](CHTriangulation& self, const Triple& direction, float minCos) {
            RequireNoViews(&self, "remove_triangles_with_same_orientation");
            py::gil_scoped_release release;
            self.RemoveTrianglesWithSameOrientation(ToPoint(direction), minCos);
          },
          py::arg("direction"), py::arg("min_cos"),
          "Removes the triangles whose face normal has a cosine of at least min_cos with direction ((0, 0, 1), "
          "0.99: the flat tops); triangles without area stay. Then calc_neighbours.")
      .def_static(
          "loft",
          [](CSSE3dPolygon& lower, CSSE3dPolygon& upper, int points, const Triple& scale) {
            py::gil_scoped_release release;
            return std::make_unique<CHTriangulation>(&lower, &upper, points, scale[0], scale[1], scale[2]);
          },
          py::arg("lower"), py::arg("upper"), py::arg("points") = 0, py::arg("scale") = Triple{1, 1, 1},
          "A closed band of 2 N triangles joining two outlines, both resampled to N points along their length "
          "(N = points, or the larger point count below 3); normals point out of the band when upper lies above.")

      // ---- scan conversion ----
      .def(
          "scan_convert_triangulation_max",
          [](CHTriangulation& self, float zOffset, const py::object& matrix, const std::optional<std::array<Triple, 2>>& box) {
            CSSEMatrix* out = nullptr;
            py::object result = OutMatrix(matrix, out);
            py::gil_scoped_release release;
            if (box) {
              SSEPoint lo = ToPoint((*box)[0]), hi = ToPoint((*box)[1]);
              self.ScanConvertTriangulationMax_MinMaxPoint(out, zOffset, lo, hi);
            } else {
              self.ScanConvertTriangulationMax(out, zOffset);
            }
            return result;
          },
          py::arg("z_offset") = 0.0f, py::arg("matrix") = py::none(), py::arg("box") = py::none(),
          R"(The mesh written back into a height field, keeping the maximum; returns the Matrix.

Pixel (px, py) covers min_point + (px * res_x, py * res_y) (box = (min, max) gives another origin and
size), its value the height above min_point's z plus z_offset. Every triangle is sampled at steps of
scan_diagonal and each sample stamped as a five-pixel cross; pixels no triangle reaches are 0. The
matrix (a new one unless given) is re-created at the box size. Needs calc_stv and calc_bounding_box.)")
      .def(
          "scan_convert_triangulation_min",
          [](CHTriangulation& self, float zOffset, float density, const py::object& matrix,
             const std::optional<std::array<Triple, 2>>& box) {
            CSSEMatrix* out = nullptr;
            py::object result = OutMatrix(matrix, out);
            py::gil_scoped_release release;
            if (box) {
              SSEPoint lo = ToPoint((*box)[0]), hi = ToPoint((*box)[1]);
              self.ScanConvertTriangulationMin_MinMaxPoint(out, zOffset, lo, hi);
            } else {
              self.ScanConvertTriangulationMin(out, zOffset, density);
            }
            return result;
          },
          py::arg("z_offset") = 0.0f, py::arg("density") = 1.0f, py::arg("matrix") = py::none(),
          py::arg("box") = py::none(),
          "The same keeping the minimum; density > 1 samples more finely (not with box).")
      .def(
          "fast_scan_convert_triangulation",
          [](CHTriangulation& self, float zOffset, bool keepMax, const py::object& matrix,
             const std::optional<std::array<Triple, 2>>& box) {
            CSSEMatrix* out = nullptr;
            py::object result = OutMatrix(matrix, out);
            py::gil_scoped_release release;
            if (box) {
              SSEPoint lo = ToPoint((*box)[0]), hi = ToPoint((*box)[1]);
              self.FastScanConvertTriangulation_MinMaxPoint(out, zOffset, lo, hi, keepMax);
            } else {
              self.FastScanConvertTriangulation(out, zOffset, keepMax);
            }
            return result;
          },
          py::arg("z_offset") = 0.0f, py::arg("keep_max") = true, py::arg("matrix") = py::none(),
          py::arg("box") = py::none(),
          "scan_convert_triangulation_max (or _min) on ten worker threads; the same result pixel for pixel.")
      .def(
          "scan_convert_triangulation_max_no_delete",
          [](CHTriangulation& self, CSSEMatrix& matrix, bool fine, bool cross) {
            py::gil_scoped_release release;
            self.ScanConvertTriangulationMaxNoDelete(&matrix, fine, cross);
          },
          py::arg("matrix"), py::arg("fine") = false, py::arg("cross") = true,
          "Into the matrix as it stands (not re-created or pre-filled), keeping the maximum; fine halves the "
          "step, cross=False stamps single pixels.")
      .def(
          "scan_convert_triangulation_min_no_delete",
          [](CHTriangulation& self, CSSEMatrix& matrix, bool fine, bool cross) {
            py::gil_scoped_release release;
            self.ScanConvertTriangulationMinNoDelete(&matrix, fine, cross);
          },
          py::arg("matrix"), py::arg("fine") = false, py::arg("cross") = true, "The same keeping the minimum.")
      .def(
          "scan_convert_triangulation_max_no_delete_in_y_area",
          [](CHTriangulation& self, CSSEMatrix& matrix, float yMin, float yMax) {
            py::gil_scoped_release release;
            self.ScanConvertTriangulationMaxNoDeleteInYArea(&matrix, yMin, yMax);
          },
          py::arg("matrix"), py::arg("y_min"), py::arg("y_max"),
          "The no-delete maximum of the triangles whose P0.y lies strictly between y_min and y_max.")
      .def(
          "scan_convert_triangulation_min_no_delete_in_y_area",
          [](CHTriangulation& self, CSSEMatrix& matrix, float yMin, float yMax) {
            py::gil_scoped_release release;
            self.ScanConvertTriangulationMinNoDeleteInYArea(&matrix, yMin, yMax);
          },
          py::arg("matrix"), py::arg("y_min"), py::arg("y_max"), "The same keeping the minimum.")
      .def(
          "scan_convert_triangulation_with_limited_area",
          [](CHTriangulation& self, CSSEMatrix& matrix, int first, int last, float zOffset,
             const std::optional<Triple>& origin, bool keepMax) {
            SSEPoint o = origin ? ToPoint(*origin) : qssse::ZeroSSEPoint();
            py::gil_scoped_release release;
            self.ScanConvertTriangulationWithLimitedArea(&matrix, first, last, zOffset, origin ? &o : nullptr, keepMax);
          },
          py::arg("matrix"), py::arg("first"), py::arg("last"), py::arg("z_offset") = 0.0f,
          py::arg("origin") = py::none(), py::arg("keep_max") = true,
          "Stamps triangles first..last into the matrix as it stands; origin (default min_point) is the mesh "
          "point of pixel (0, 0).")
      .def(
          "scan_convert_triangulation_z_buffer",
          [](const CHTriangulation& self, bool keepMax, float noData, float zOffset, const py::object& matrix,
             const std::optional<std::array<Triple, 2>>& box, const py::object& progress) {
            CSSEMatrix* out = nullptr;
            py::object result = OutMatrix(matrix, out);
            std::function<void(int, int)> report;
            if (!progress.is_none()) {
              // Called on this thread while the GIL is released; an exception of the callback ends the call.
              report = [&progress](int done, int total) {
                py::gil_scoped_acquire acquire;
                progress(done, total);
              };
            }
            py::gil_scoped_release release;
            if (box) {
              self.ScanConvertTriangulationZBuffer_MinMaxPoint(out, keepMax, noData, zOffset, ToPoint((*box)[0]),
                                                               ToPoint((*box)[1]), report);
            } else {
              self.ScanConvertTriangulationZBuffer(out, keepMax, noData, zOffset, report);
            }
            return result;
          },
          py::arg("keep_max") = true, py::arg("no_data") = 0.0f, py::arg("z_offset") = 0.0f,
          py::arg("matrix") = py::none(), py::arg("box") = py::none(), py::arg("progress") = py::none(),
          R"(The exact surface: every pixel whose centre lies in a triangle's xy projection gets the height
interpolated there (the largest of the covering triangles, the smallest with keep_max=False) plus
z_offset; the others get no_data (NaN allowed). Returns the Matrix.

Pixel (px, py) is min_point + (px * res_x, py * res_y) (box = (min, max) gives another), one pixel per
grid point: the mesh of an n x m height field at its own scale comes back n x m, exactly. Centres on
shared edges are covered by one triangle, decided exactly. progress(done, total) is called now and
then. Needs calc_bounding_box only.)")
      .def(
          "refine_scan_conv_image",
          [](CHTriangulation& self, CSSEMatrix& matrix, float zOffset) {
            py::gil_scoped_release release;
            self.RefineScanConvImage(&matrix, zOffset);
          },
          py::arg("matrix"), py::arg("z_offset") = 0.0f,
          "Every pixel whose centre a triangle covers gets the exact height there (the lowest of the covering "
          "triangles); undoes the dilation of a minimum conversion.")
      .def(
          "refine_scan_conv_image_top",
          [](CHTriangulation& self, CSSEMatrix& matrix, float zOffset) {
            py::gil_scoped_release release;
            self.RefineScanConvImageTop(&matrix, zOffset);
          },
          py::arg("matrix"), py::arg("z_offset") = 0.0f,
          "The same with the highest covering triangle: after scan_convert_triangulation_max of a height-field "
          "mesh it gives the heights back exactly.")
      .def(
          "scan_convert_through_line_max",
          [](CHTriangulation& self, CSSE3dPolygon* line, float zOffset, const py::object& matrix) {
            CSSEMatrix* out = nullptr;
            py::object result = OutMatrix(matrix, out);
            py::gil_scoped_release release;
            self.ScanConvertThroughLineMax(out, line, zOffset);
            return result;
          },
          py::arg("line"), py::arg("z_offset") = 0.0f, py::arg("matrix") = py::none(),
          "scan_convert_triangulation_max, then the pixels outside the closed line (mesh units) become 0.")
      .def(
          "scan_convert_through_line_min",
          [](CHTriangulation& self, CSSE3dPolygon* line, float zOffset, const py::object& matrix) {
            CSSEMatrix* out = nullptr;
            py::object result = OutMatrix(matrix, out);
            py::gil_scoped_release release;
            self.ScanConvertThroughLineMin(out, line, zOffset);
            return result;
          },
          py::arg("line"), py::arg("z_offset") = 0.0f, py::arg("matrix") = py::none(),
          "The minimum form of scan_convert_through_line_max.")
      .def(
          "constrain_with_height_field",
          [](CHTriangulation& self, bool above, CSSEMatrix& matrix, float zOffset) {
            py::gil_scoped_release release;
            self.ConstrainWithHeightField(above, &matrix, zOffset);
          },
          py::arg("above"), py::arg("matrix"), py::arg("z_offset") = 0.0f,
          "Raises (above=True) or lowers every corner to the height field under it plus z_offset.");

  struct RemoveDef {
    const char* name;
    RemoveByZ f;
    const char* doc;
  };
  const RemoveDef removals[] = {
      {"remove_triangles_below_z", &CHTriangulation::RemoveTrianglesBelowZ, "Keeps the triangles with a corner z strictly above z"},
      {"remove_triangles_above_z", &CHTriangulation::RemoveTrianglesAboveZ, "Keeps the triangles with a corner z strictly below z"},
  };
  for (const RemoveDef& r : removals) {
    mesh.def(
        r.name,
        [r](CHTriangulation& self, float z) {
          RequireNoViews(&self, r.name);
          py::gil_scoped_release release;
          (self.*r.f)(z);
        },
        py::arg("z"),
        (std::string(r.doc) + ", compacted in order, then calc_neighbours (box and centre are not recomputed).").c_str());
  }

  // ---- files, through the I/O library ----
  mesh.def_static(
          "read",
          [](const std::string& path, bool acceptPointCloud) {
            io::MeshReadOptions o;
            o.acceptPointCloud = acceptPointCloud;
            auto out = std::make_unique<CHTriangulation>();
            py::gil_scoped_release release;
            io::CopyToTriangulation(io::ReadMesh(path, o), *out);
            if (out->GetNumTriangles() > 0) out->CalcNormalsFromVertices();
            return out;
          },
          py::arg("path"), py::arg("accept_point_cloud") = false,
          "A mesh from an STL, PLY, OBJ or OFF file (recognised by its contents; polygons split into fans); "
          "IoError naming the file and the problem.")
      .def(
          "write",
          [](const CHTriangulation& self, const std::string& path) {
            py::gil_scoped_release release;
            io::WriteMesh(path, io::MeshDataFromTriangulation(self));
          },
          py::arg("path"),
          "Writes the mesh, corners welded, as .stl (binary), .ply (binary), .obj or .off by the name's extension.");
}

}  // namespace qssse::python
