// Polygon3d (CSSE3dPolygon) and Polygon2d (CSSE2dPolygon).
#include <cmath>
#include <limits>

#include "Bindings.h"
#include "qssse/polygon/SSE2dPolygon.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/raster/SSEcharMatrix.h"

namespace qssse::python {

namespace {

constexpr const char* kPolygonDoc = R"(The library's outline (CSSE3dPolygon): a closed ring of 3-D points.

Polygon3d()          an empty polygon
Polygon3d(points)    the points of an (n, 3) array, or (n, 2) with z = 0 (copied, rounded to float32)

The closing edge from the last point back to the first is implied; do not repeat the first point.
The bounding box is computed by calc_bounding_box() (and the members that say so), never implicitly.
Arrays are copies: the coordinates live in three separate SIMD-padded arrays that most edits rebuild.)";

constexpr float kNoLimit = std::numeric_limits<float>::quiet_NaN();

using Fill = void (CSSE3dPolygon::*)(float, CSSEMatrix*, bool, float, float);

}  // namespace

void BindPolygon(py::module_& m) {
  py::class_<CSSE3dPolygon> polygon(m, "Polygon3d", kPolygonDoc);
  m.attr("CSSE3dPolygon") = polygon;

  polygon.def(py::init<>(), "An empty polygon.")
      .def(py::init([](const py::object& points) {
             auto r = std::make_unique<CSSE3dPolygon>();
             ArrayToPolygon(PointArray(points, "points"), *r);
             return r;
           }),
           py::arg("points"), "A polygon of the (n, 3) or (n, 2) points, in order.")
      .def("to_numpy", &PolygonToArray, "A new (n, 3) float32 array of the points.")
      .def(
          "__array__",
          [](const CSSE3dPolygon& self, const py::object& dtype, const py::object&) -> py::object {
            py::object a = PolygonToArray(self);
            return dtype.is_none() ? a : a.attr("astype")(dtype);
          },
          py::arg("dtype") = py::none(), py::arg("copy") = py::none(), "numpy.asarray(polygon): always a copy.")
      .def(
          "assign",
          [](CSSE3dPolygon& self, const py::object& points) { ArrayToPolygon(PointArray(points, "points"), self); },
          py::arg("points"), "Replaces the points by those of the array (the bounding box flag is cleared).")
      .def("__len__", &CSSE3dPolygon::GetNumPoints)
      .def_property_readonly("num_points", &CSSE3dPolygon::GetNumPoints, "Number of points.")
      .def(
          "copy", [](const CSSE3dPolygon& self) { return CSSE3dPolygon(self); },
          "A copy of the points and the stored box and centre (the box flag is cleared, as the library's copy "
          "does).")
      .def("__copy__", [](const CSSE3dPolygon& self) { return CSSE3dPolygon(self); })
      .def("__deepcopy__", [](const CSSE3dPolygon& self, const py::dict&) { return CSSE3dPolygon(self); },
           py::arg("memo"))
      .def(py::pickle([](const CSSE3dPolygon& self) { return py::make_tuple(PolygonToArray(self)); },
                      [](const py::tuple& t) {
                        auto r = std::make_unique<CSSE3dPolygon>();
                        ArrayToPolygon(PointArray(t[0], "state"), *r);
                        return r;
                      }))
      .def("__repr__",
           [](const CSSE3dPolygon& self) {
             return "<qssse.Polygon3d of " + std::to_string(self.GetNumPoints()) + " points>";
           })
      .def(
          "get_point",
          [](const CSSE3dPolygon& self, int i) {
            if (i < 0 || i >= self.GetNumPoints()) throw py::index_error("point index out of range");
            float x = 0, y = 0, z = 0;
            self.GetPoint(i, x, y, z);
            return py::make_tuple(x, y, z);
          },
          py::arg("i"), "Point i as (x, y, z); IndexError outside 0 <= i < num_points.")
      .def("set_point", &CSSE3dPolygon::SetPoint, py::arg("i"), py::arg("x"), py::arg("y"), py::arg("z"),
           "Sets point i (ignored outside the polygon, as the library does); clears the box flag.")
      .def("set_all_x_values", &CSSE3dPolygon::SetAllXValues, py::arg("value"), "x of every point becomes value.")
      .def("set_all_y_values", &CSSE3dPolygon::SetAllYValues, py::arg("value"), "y of every point becomes value.")
      .def("set_all_z_values", &CSSE3dPolygon::SetAllZValues, py::arg("value"), "z of every point becomes value.")
      .def("add_value_to_all_x_values", &CSSE3dPolygon::AddValueToAllXValues, py::arg("value"),
           "Adds value to every x.")
      .def("add_value_to_all_y_values", &CSSE3dPolygon::AddValueToAllYValues, py::arg("value"),
           "Adds value to every y.")

      // ---- lengths, box and centre ----
      .def("calc_circumference", &CSSE3dPolygon::CalcCircumference,
           "Sum of the 3-D edge lengths, closing edge included.")
      .def("calc_circumference_open", &CSSE3dPolygon::CalcCircumferenceOpen,
           "The same without the closing edge.")
      .def("calc_bounding_box", &CSSE3dPolygon::CalcBoundingBox,
           "Computes the stored box (folded from -1e6 / 1e6, so coordinates beyond 1e6 are clamped).")
      .def_property_readonly("is_bounding_box_calculated", &CSSE3dPolygon::IsBoundingBoxCalculated,
                             "True after calc_bounding_box until a point changes.")
      .def(
          "get_bounding_box_3d",
          [](CSSE3dPolygon& self) {
            float x0, y0, z0, x1, y1, z1;
            self.GetBoundingBox3D(x0, y0, z0, x1, y1, z1);
            return py::make_tuple(py::make_tuple(x0, y0, z0), py::make_tuple(x1, y1, z1));
          },
          "((min_x, min_y, min_z), (max_x, max_y, max_z)) of the stored box.")
      .def(
          "get_bounding_box_2d",
          [](CSSE3dPolygon& self) {
            int x0, y0, x1, y1;
            self.GetBoundingBox2D(x0, y0, x1, y1);
            return py::make_tuple(x0, y0, x1, y1);
          },
          "(min_x, min_y, max_x, max_y) truncated toward zero; computes the box when the flag is clear.")
      .def(
          "calc_geometric_center",
          [](CSSE3dPolygon& self) {
            self.CalcGeometricCenter();
            SSEPoint c;
            self.GetGeometricCenter(c);
            return ToTriple(c);
          },
          "Computes and returns the centre: the sum of the points each divided by the count.")

      // ---- whole-polygon edits ----
      .def("append_points", &CSSE3dPolygon::AppendPoints, py::arg("other"), "Appends other's points.")
      .def("add_polygon_points", &CSSE3dPolygon::AddPolygonPoints, py::arg("other"), py::arg("first"),
           py::arg("last"), "Appends other's points first..last inclusive, wrapping past its end.")
      .def(
          "change_start_point", [](CSSE3dPolygon& self, int k) { self.ChangeStartPoint(k, nullptr); }, py::arg("k"),
          "Rotates the ring so that point k comes first (an out-of-range k does nothing).")
      .def("shift_line", &CSSE3dPolygon::ShiftLine, py::arg("dx"), py::arg("dy"), py::arg("dz"),
           "Adds (dx, dy, dz) to every point, then calc_bounding_box.")
      .def("blow_line", &CSSE3dPolygon::BlowLine, py::arg("sx"), py::arg("sy"), py::arg("sz"),
           py::arg("reparametrize") = false, "Scales every point; with reparametrize, re_parametrize(0.6) after.")
      .def("blow_line_around_center", &CSSE3dPolygon::BlowLineAroundCenter, py::arg("sx"), py::arg("sy"),
           py::arg("sz"), py::arg("reparametrize") = false, "blow_line about the geometric centre.")
      .def("transform_vertices", &CSSE3dPolygon::TransformVertices, py::arg("a"), py::arg("b"),
           "Multiplies by the library's two-angle matrix (not orthonormal for general angles), then the box.")
      .def("rotate_z", &CSSE3dPolygon::RotateZ, py::arg("a"), "Rotates clockwise seen from +z by a radians.")
      .def("rotate_z_around_poly_center", &CSSE3dPolygon::RotateZAroundPolyCenter, py::arg("a"),
           "rotate_z about the geometric centre.")
      .def("rotate_xyz", &CSSE3dPolygon::RotateXYZ, py::arg("a"), py::arg("b"), py::arg("c"),
           "p <- Rz(-c) Ry(b) Rx(-a) p.")
      .def("invert_polygon_direction", &CSSE3dPolygon::InvertPolygonDirection, "Reverses the point order.")
      .def("swap_y_and_z_coord", &CSSE3dPolygon::SwapYandZCoord, "Exchanges y and z of every point.")
      .def("swap_x_and_z_coord", &CSSE3dPolygon::SwapXandZCoord, "Exchanges x and z of every point.")

      // ---- resampling ----
      .def(
          "re_parametrize",
          [](CSSE3dPolygon& self, float step, bool returnMap) -> py::object {
            if (!returnMap) {
              self.ReParametrize(step);
              return py::none();
            }
            NewArray<std::int32_t> map({self.GetNumPoints()});
            std::fill_n(map.data(), self.GetNumPoints(), -1);
            self.ReParametrize(step, map.data());
            return map.object();
          },
          py::arg("step"), py::arg("return_map") = false,
          "Even spacing of the ring in the maximum norm of x and y (at most 99999 points). With return_map, an "
          "int32 array giving each old point's index in the result (-1 for points dropped by the cap).")
      .def("re_parametrize_xyz", &CSSE3dPolygon::ReParametrizeXYZ, py::arg("step"),
           "re_parametrize measured in x, y and z.")
      .def("subsample", &CSSE3dPolygon::Subsample, py::arg("k"), py::arg("closed"),
           "Keeps points 0, k, 2k, ... (plus a closing midpoint or the last point).")
      .def("remove_equal_points_xy", &CSSE3dPolygon::RemoveEqualPointsXY,
           "Drops points within Manhattan distance 1 of an earlier point (unless the previous was dropped).")
      .def("reduce_points", &CSSE3dPolygon::ReducePoints, "Drops x-y duplicates and points on straight runs.")
      .def("filter_median3", &CSSE3dPolygon::FilterMedian3, "z becomes the median of z at i-1, i, i+1.")
      .def("filter_maximum3", &CSSE3dPolygon::FilterMaximum3, "z becomes the maximum of z at i-1, i, i+1.")
      .def("filter_minimum3", &CSSE3dPolygon::FilterMinimum3, "z becomes the minimum of z at i-1, i, i+1.")
      .def("interpolate_z", &CSSE3dPolygon::InterpolateZ, py::arg("x"), py::arg("y"), py::arg("step") = 1,
           py::arg("near_sq") = 0.0f,
           "Inverse-square-distance average of z at (x, y) over every step-th point; NaN when none is sampled.")
      .def("replace_by_convex_hull_xy", &CSSE3dPolygon::ReplaceByConvexHullXY,
           "Replaces the points by their convex hull in x-y (counter-clockwise from the lowest point, z kept).")

      // ---- queries ----
      .def("point_in_line_inner_area",
           py::overload_cast<float, float, int>(&CSSE3dPolygon::PointInLineInnerArea), py::arg("x"), py::arg("y"),
           py::arg("step") = 1,
           "The library's fill rule: True when (x, y) is inside (right and bottom edges inside, left and top "
           "outside); the stored box rejects first (computed when the flag is clear).")
      .def(
          "contains",
          [](CSSE3dPolygon& self, const py::object& points, int step) {
            const auto p = PointArray(points, "points");
            const py::ssize_t n = p.shape(0);
            NewArray<bool> inside({n});
            bool* out = inside.data();
            const float* xyz = p.as<float>();
            {
              py::gil_scoped_release release;
              for (py::ssize_t i = 0; i < n; ++i) out[i] = self.PointInLineInnerArea(xyz[3 * i], xyz[3 * i + 1], step);
            }
            return inside.object();
          },
          py::arg("points"), py::arg("step") = 1,
          "point_in_line_inner_area for every (x, y) of an (n, 2) or (n, 3) array: a bool array of n.")
      .def("calc_xy_area", &CSSE3dPolygon::CalcXYArea,
           "Twice the signed shoelace area in x-y (positive counter-clockwise), not halved.")
      .def("calc_xz_area", &CSSE3dPolygon::CalcXZArea, "The same in x-z.")
      .def("calc_yz_area", &CSSE3dPolygon::CalcYZArea, "The same in y-z.")
      .def("closest_point_xy", &CSSE3dPolygon::ClosestPointXY, py::arg("x"), py::arg("y"), py::arg("step") = 1,
           "Index of the nearest of points 0, step, ... (the last point never counts) in x-y, or -1.")
      .def("closest_point_xy_with_last", &CSSE3dPolygon::ClosestPointXYWithLast, py::arg("x"), py::arg("y"),
           py::arg("step") = 1, "The same with the last point included.")

      // ---- rasterisation ----
      .def("draw_in_matrix_and_fill", &CSSE3dPolygon::DrawInMatrixAndFill, py::arg("value"), py::arg("matrix"),
           ReleaseGil(),
           "Edge-walking fill for densely sampled counter-clockwise rings (only the first 4 * (n // 4) points).")
      .def("draw_sub_in_matrix_and_fill", &CSSE3dPolygon::DrawSubInMatrixAndFill, py::arg("value"),
           py::arg("matrix"), py::arg("threshold"), py::arg("subsample") = false, py::arg("y_from") = kNoLimit,
           py::arg("y_to") = kNoLimit, ReleaseGil(), "Inside cells with cell - value < threshold become 0.")
      .def("draw_in_char_matrix_and_fill_fine",
           [](CSSE3dPolygon& self, int value, CSSEcharMatrix* mask, bool subsample, float yFrom, float yTo) {
             py::gil_scoped_release release;
             self.DrawInCharMatrixAndFillFine(static_cast<char>(value & 0xFF), mask, subsample, yFrom, yTo);
           },
           py::arg("value"), py::arg("mask"), py::arg("subsample") = false, py::arg("y_from") = kNoLimit,
           py::arg("y_to") = kNoLimit, "The fine fill writing the byte value into a CharMatrix.")
      .def("draw_outside_pixels", &CSSE3dPolygon::DrawOutsidePixels, py::arg("matrix"), py::arg("value"),
           ReleaseGil(), "Every cell of the matrix outside the polygon by the fill rule becomes value.")
      .def("draw_in_matrix",
           py::overload_cast<float, CSSEMatrix*, bool, float, float, bool>(&CSSE3dPolygon::DrawInMatrix),
           py::arg("value"), py::arg("matrix"), py::arg("zy_plane") = false, py::arg("offset_x") = 0.0f,
           py::arg("offset_y") = 0.0f, py::arg("xz_plane") = false,
           "Stamps a 3x3 box of value at every vertex (in the x-z plane with xz_plane, single z-y cells with "
           "zy_plane).")
      .def("draw_in_matrix", py::overload_cast<CSSEMatrix*, bool>(&CSSE3dPolygon::DrawInMatrix), py::arg("matrix"),
           py::arg("four_cells") = false, "Every vertex writes its own z into its cell (or the four around it).")
      .def("draw_in_matrix_fine_z", &CSSE3dPolygon::DrawInMatrixFineZ, py::arg("matrix"), ReleaseGil(),
           "The open polyline with z interpolated along each edge (overwriting).")
      .def("draw_in_matrix_fine_z_max", &CSSE3dPolygon::DrawInMatrixFineZMax, py::arg("matrix"), ReleaseGil(),
           "The same keeping the larger z.")
      .def("draw_in_matrix_fine_z_min", &CSSE3dPolygon::DrawInMatrixFineZMin, py::arg("matrix"), ReleaseGil(),
           "The same keeping the smaller z.")
      .def("draw_in_matrix_and_fill_to_one_side_front", &CSSE3dPolygon::DrawInMatrixAndFillToOneSideFront,
           py::arg("value"), py::arg("matrix"), py::arg("y_from") = kNoLimit, py::arg("y_to") = kNoLimit,
           py::arg("subsample") = false, ReleaseGil(),
           "The coarse fill extruded toward smaller y (the region in front of the outline too).")
      .def(
          "internal_area_distance_transform",
          [](CSSE3dPolygon& self, float value, CSSEMatrix* matrix, CSSEMatrix* distances, const Triple& res,
             bool subsample) {
            t_resolutiondata r{res[0], res[1], res[2]};
            py::gil_scoped_release release;
            self.InternalAreaDistanceTransform(value, matrix, distances, r, subsample);
          },
          py::arg("value"), py::arg("matrix"), py::arg("distances"), py::arg("resolution") = Triple{1, 1, 1},
          py::arg("subsample") = false,
          "The fine fill writing value into matrix and, into distances, each inside cell's x-y distance to the "
          "ring (cells and points scaled by resolution). Costs inside cells times edges.");

  // ---- offsetting, loops, cutting and merging in x-y ----
  py::enum_<CSSE3dPolygon::OffsetJoin>(polygon, "OffsetJoin", "How an exact offset turns round a convex corner.")
      .value("kJoinRound", CSSE3dPolygon::kJoinRound, "an arc of the offset distance")
      .value("kJoinMiter", CSSE3dPolygon::kJoinMiter, "the offset edges extended, cut at miter_limit")
      .export_values();
  polygon
      .def("dilate_exact", &CSSE3dPolygon::DilateExact, py::arg("distance"),
           py::arg("join") = CSSE3dPolygon::kJoinRound, py::arg("miter_limit") = 2.0f,
           py::arg("arc_tolerance") = 0.0f, ReleaseGil(),
           "Grows the enclosed region by distance in x-y (negative shrinks): the simple ring bounding the points "
           "within distance, holes filled, z from the offset points. False (polygon empty) when nothing remains; "
           "a distance that is not finite raises ValueError.")
      .def("erode_exact", &CSSE3dPolygon::ErodeExact, py::arg("distance"),
           py::arg("join") = CSSE3dPolygon::kJoinRound, py::arg("miter_limit") = 2.0f,
           py::arg("arc_tolerance") = 0.0f, ReleaseGil(),
           "Shrinks the region by distance; where it falls apart the largest part is kept. False (polygon empty) "
           "when nothing remains.")
      .def("remove_loop_in_xy_plane", &CSSE3dPolygon::RemoveLoopInXYPlane, ReleaseGil(),
           "Cuts the loops of a self-crossing ring and keeps the part with the larger signed area; False and no "
           "change when the ring does not cross itself.")
      .def("create_from_cut_polygones", &CSSE3dPolygon::CreateFromCutPolygones, py::arg("outline"), py::arg("cutter"),
           py::arg("keep_inside"), ReleaseGil(),
           "This polygon becomes the part of outline inside cutter (keep_inside) or outside it, the largest part "
           "when several remain. False (polygon empty) when nothing remains.")
      .def("create_merge_polygon", &CSSE3dPolygon::CreateMergePolygon, py::arg("first"), py::arg("second"),
           ReleaseGil(),
           "This polygon becomes the outline of the union of first and second, holes filled; False when they "
           "neither overlap nor touch (the larger is then the result).")
      .def("do_quasi_minkowski_dilation", &CSSE3dPolygon::DoQuasiMinkowskiDilation, py::arg("r"),
           "Every point moved outward by r along its vertex normal (cheap; no joins, no loop removal).")
      .def("do_quasi_minkowski_erosion", &CSSE3dPolygon::DoQuasiMinkowskiErosion, py::arg("r"),
           "Every point moved inward by r along its vertex normal.")
      .def("do_quasi_minkowski_dilation_center", &CSSE3dPolygon::DoQuasiMinkowskiDilationCenter, py::arg("r"),
           "Every point moved by r away from the geometric centre.")
      .def("keep_upper_half_plane_y", &CSSE3dPolygon::KeepUpperHalfPlaneY, py::arg("y"),
           "Clips the ring to y >= value, crossing points interpolated.")
      .def("keep_lower_half_plane_y", &CSSE3dPolygon::KeepLowerHalfPlaneY, py::arg("y"), "Clips the ring to y <= value.")
      .def("keep_right_half_plane_x", &CSSE3dPolygon::KeepRightHalfPlaneX, py::arg("x"), "Clips the ring to x >= value.")
      .def("keep_left_half_plane_x", &CSSE3dPolygon::KeepLeftHalfPlaneX, py::arg("x"), "Clips the ring to x <= value.")
      .def("keep_upper_half_plane_z", &CSSE3dPolygon::KeepUpperHalfPlaneZ, py::arg("z"), "Clips the ring to z >= value.")
      .def("keep_lower_half_plane_z", &CSSE3dPolygon::KeepLowerHalfPlaneZ, py::arg("z"), "Clips the ring to z <= value.")
      .def("keep_points_below", &CSSE3dPolygon::KeepPointsBelow, py::arg("z"),
           "Keeps the points with z strictly below z, in order, without new points.")
      .def("keep_points_in_inner", &CSSE3dPolygon::KeepPointsInInner, py::arg("outline"),
           "Keeps the points inside outline by its fill rule.")
      .def("polygon_in_this_polygon", &CSSE3dPolygon::PolygonInThisPolygon, py::arg("other"),
           "True when every point of other lies inside this ring by the fill rule.")
      .def("polygon_in_this_polygon_with_delta_distance", &CSSE3dPolygon::PolygonInThisPolygonWithDeltaDistance,
           py::arg("other"), py::arg("delta"), "The same, with every point of other at least delta from the ring.")
      .def("get_min_eucl_distance_xy", &CSSE3dPolygon::GetMinEuclDistanceXY, py::arg("x"), py::arg("y"),
           py::arg("step") = 1, "The smallest x-y distance from (x, y) to the ring's edges (every step-th point).")
      .def("intersects_polygon_with_cylinder_xy_plane", &CSSE3dPolygon::IntersectsPolygonWithCylinderXYPlane,
           py::arg("cx"), py::arg("cy"), py::arg("radius"), "Whether the ring comes within radius of (cx, cy) in x-y.")
      .def(
          "find_intersection",
          [](const CSSE3dPolygon& self, const Triple& a, const Triple& b) -> py::object {
            SSEPoint hit = qssse::ZeroSSEPoint();
            int edge = -1;
            if (!self.FindIntersection(ToPoint(a), ToPoint(b), hit, edge)) return py::none();
            return py::make_tuple(ToTriple(hit), edge);
          },
          py::arg("a"), py::arg("b"),
          "The crossing of the segment a -> b with the ring nearest to a, as (point, edge), or None.")
      .def("filter_z_values", &CSSE3dPolygon::FilterZValues, py::arg("half_width"),
           "Every z becomes the mean of z within half_width points around the ring.")
      .def("interpolate_z_low", &CSSE3dPolygon::InterpolateZLow, py::arg("x"), py::arg("y"), py::arg("step") = 1,
           py::arg("near_sq") = 0.0f, "interpolate_z leaning to the lower side of the outline.")
      .def("add_noise_xy", &CSSE3dPolygon::AddNoiseXY, py::arg("amplitude"), py::arg("seed") = 1u,
           "Adds uniform noise in [-amplitude, amplitude] to x and y (std::mt19937(seed): reproducible).")
      .def("adapt_to_lowest_z_value", &CSSE3dPolygon::AdaptToLowestZValue, "Every z becomes the lowest z.")
      .def("adapt_to_highest_z_value", &CSSE3dPolygon::AdaptToHighestZValue, "Every z becomes the highest z.")
      .def("flip_orientation_z", &CSSE3dPolygon::FlipOrientationZ, py::arg("keep_orientation"),
           "A half turn about the y axis (x and z negated); with keep_orientation the points are read backwards.")
      .def("transform_vertices_about_center", &CSSE3dPolygon::TransformVerticesAboutCenter, py::arg("a"),
           py::arg("b"), "transform_vertices about the geometric centre.");

  // The box-scanning fills share one signature.
  struct FillDef {
    const char* name;
    Fill f;
    const char* doc;
  };
  const FillDef fills[] = {
      {"draw_in_matrix_and_fill_fine", &CSSE3dPolygon::DrawInMatrixAndFillFine,
       "Every cell inside by the fill rule becomes value (rows limited to y_from..y_to when given)."},
      {"draw_in_matrix_and_fill_fine_min", &CSSE3dPolygon::DrawInMatrixAndFillFineMin,
       "Every inside cell becomes min(cell, value)."},
      {"draw_in_matrix_and_fill_fine_max", &CSSE3dPolygon::DrawInMatrixAndFillFineMax,
       "Every inside cell becomes max(cell, value)."},
      {"draw_in_matrix_and_fill_coarse", &CSSE3dPolygon::DrawInMatrixAndFillCoarse,
       "The fill on a grid of every third cell, each inside sample stamping a 3x3 box of value."},
      {"draw_in_matrix_and_fill_coarse_fast", &CSSE3dPolygon::DrawInMatrixAndFillCoarseFast,
       "The coarse fill in parallel, one worker thread per processor over bands of rows."},
  };
  for (const FillDef& f : fills) {
    polygon.def(f.name, f.f, py::arg("value"), py::arg("matrix"), py::arg("subsample") = false,
                py::arg("y_from") = kNoLimit, py::arg("y_to") = kNoLimit, ReleaseGil(),
                (std::string(f.doc) +
                 " Matrix column x is coordinate x, row y coordinate y; writes are clamped into the matrix; "
                 "subsample thins the ring by 5 first.")
                    .c_str());
  }

  // ---- the light 2-D point list ----
  py::class_<CSSE2dPolygon> polygon2d(m, "Polygon2d",
                                      "The library's light planar point list (CSSE2dPolygon): Polygon2d() or "
                                      "Polygon2d(points) from an (n, 2) array (copied). Several members compute "
                                      "something other than their names promise; they are kept as they are.");
  m.attr("CSSE2dPolygon") = polygon2d;
  polygon2d.def(py::init<>(), "An empty point list.")
      .def(py::init([](const py::object& points) {
             const auto p = PointArray(points, "points");
             auto r = std::make_unique<CSSE2dPolygon>();
             const int n = static_cast<int>(p.shape(0));
             r->Create(n);
             for (int i = 0; i < n; ++i) r->SetPoint(i, p.as<float>()[3 * i], p.as<float>()[3 * i + 1]);
             return r;
           }),
           py::arg("points"), "A list of the (n, 2) points (z of (n, 3) points is dropped).")
      .def(
          "to_numpy",
          [](const CSSE2dPolygon& self) {
            NewArray<float> a({self.GetNumPoints(), 2});
            float* p = a.data();
            for (int i = 0; i < self.GetNumPoints(); ++i) self.GetPoint(i, p[2 * i], p[2 * i + 1]);
            return a.object();
          },
          "A new (n, 2) float32 array of the points.")
      .def("__len__", &CSSE2dPolygon::GetNumPoints)
      .def_property_readonly("num_points", &CSSE2dPolygon::GetNumPoints, "Number of points.")
      .def("calc_area", &CSSE2dPolygon::CalcArea, "The library's shoelace-like sum (X standing in for y), kept.")
      .def("closest_point_x", &CSSE2dPolygon::ClosestPointX, py::arg("x"),
           "Index of the nearest x among the even indices below n - 1, or -1.")
      .def("closest_point_y", &CSSE2dPolygon::ClosestPointY, py::arg("y"),
           "Index of the nearest y among the even indices below n - 1, or -1.")
      .def("get_min_eucl_distance", &CSSE2dPolygon::GetMinEuclDistance, py::arg("x"), py::arg("y"),
           "sqrt(2) |x - X| minimised over whole blocks of four points (y unused), from 1000000.");
}

}  // namespace qssse::python
