// Matrix (CSSEMatrix) and CharMatrix (CSSEcharMatrix), the medians and the pixel chains.
#include <cmath>
#include <optional>

#include "Bindings.h"
#include "qssse/io/IoException.h"
#include "qssse/raster/Filters.h"
#include "qssse/raster/PixelChain.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/raster/SSEcharMatrix.h"

namespace qssse::python {

namespace {

constexpr const char* kMatrixDoc = R"(The library's float raster (CSSEMatrix): a height field of size_x by size_y floats.

Matrix()                  an empty matrix without pixels
Matrix(size_x, size_y)    zeroed, 0 being the library's "no value"
Matrix(heights)           a copy of a float32 array of shape (size_y, size_x), heights[y, x] -> pixel (x, y)

Reads and writes outside the matrix are clamped to the nearest border pixel, on purpose.

Arrays are copies, never views. The raster keeps four vertically adjacent pixels in one SIMD value:
pixel (x, y) is float 4x + (y & 3) of SIMD row y >> 2, and SIMD rows come in separately allocated
blocks of 128 pixel rows. The address of a pixel is therefore not base + a*y + b*x for any strides a,
b, so no NumPy array can show the pixels in place; to_numpy() and Matrix(heights) convert the layout
while copying, at about the speed of memcpy (a millisecond per 4 MB).)";

// Rectangle bounds: an omitted upper bound is the last column or row.
int Upper(const CSSEMatrix& m, std::optional<int> v, bool x) {
  return v ? *v : (x ? m.GetSizeX() - 1 : m.GetSizeY() - 1);
}

using Stamp = void (CSSEMatrix::*)(int, int, float);

}  // namespace

void BindRaster(py::module_& m) {
  py::class_<CSSEMatrix> matrix(m, "Matrix", kMatrixDoc);
  m.attr("CSSEMatrix") = matrix;

  matrix.def(py::init<>(), "An empty matrix without pixels.")
      .def(py::init([](int sizeX, int sizeY) {
             auto r = std::make_unique<CSSEMatrix>();
             r->Create(sizeX, sizeY);
             return r;
           }),
           py::arg("size_x"), py::arg("size_y"),
           "A zeroed matrix; negative sizes or size_y > 31999 raise ValueError.")
      .def(py::init([](const py::object& heights) {
             auto r = std::make_unique<CSSEMatrix>();
             ArrayToMatrix(HeightArray(heights, "heights"), *r);
             return r;
           }),
           py::arg("heights"),
           "A copy of a float32 array of shape (size_y, size_x); other dtypes raise TypeError, other shapes "
           "ValueError.")
      .def_static(
          "from_numpy",
          [](const py::object& heights) {
            auto r = std::make_unique<CSSEMatrix>();
            ArrayToMatrix(HeightArray(heights, "heights"), *r);
            return r;
          },
          py::arg("heights"), "The same as Matrix(heights).")
      .def("to_numpy", &MatrixToArray,
           "A new float32 array of shape (size_y, size_x) holding the pixels (padding left out); zeros for "
           "a freed matrix, which reads 0 everywhere.")
      .def(
          "__array__",
          [](const CSSEMatrix& self, const py::object& dtype, const py::object& copy) -> py::object {
            if (!copy.is_none() && !copy.cast<bool>()) {
              throw py::value_error("a Matrix cannot be viewed without a copy (its rows are interleaved)");
            }
            py::object a = MatrixToArray(self);
            return dtype.is_none() ? a : a.attr("astype")(dtype);
          },
          py::arg("dtype") = py::none(), py::arg("copy") = py::none(),
          "numpy.asarray(matrix): the pixels as to_numpy() gives them (always a copy).")
      .def(
          "assign",
          [](CSSEMatrix& self, const py::object& heights) { ArrayToMatrix(HeightArray(heights, "heights"), self); },
          py::arg("heights"), "Re-creates the matrix at the array's size and copies the array into it.")
      .def(
          "copy", [](const CSSEMatrix& self) { return CSSEMatrix(self); },
          "A deep copy (padding included).")
      .def("__copy__", [](const CSSEMatrix& self) { return CSSEMatrix(self); })
      .def("__deepcopy__", [](const CSSEMatrix& self, const py::dict&) { return CSSEMatrix(self); },
           py::arg("memo"))
      .def(py::pickle([](const CSSEMatrix& self) { return py::make_tuple(MatrixToArray(self)); },
                      [](const py::tuple& t) {
                        auto r = std::make_unique<CSSEMatrix>();
                        ArrayToMatrix(HeightArray(t[0], "state"), *r);
                        return r;
                      }))
      .def("__repr__",
           [](const CSSEMatrix& self) {
             return "<qssse.Matrix " + std::to_string(self.GetSizeX()) + " x " + std::to_string(self.GetSizeY()) +
                    (self.HasPixels() ? "" : ", no pixels") + ">";
           })
      .def_property_readonly("size_x", &CSSEMatrix::GetSizeX, "Width in pixels (columns).")
      .def_property_readonly("size_y", &CSSEMatrix::GetSizeY, "Height in pixels (rows).")
      .def_property_readonly(
          "shape", [](const CSSEMatrix& self) { return py::make_tuple(self.GetSizeY(), self.GetSizeX()); },
          "(size_y, size_x), the shape of to_numpy().")
      .def_property_readonly("sse_size_x", &CSSEMatrix::GetSSESizeX, "SIMD elements per SIMD row (= size_x).")
      .def_property_readonly("sse_size_y", &CSSEMatrix::GetSSESizeY,
                             "SIMD rows: (size_y >> 2) + 1, so there is always a padding row.")
      .def_property_readonly("has_pixels", &CSSEMatrix::HasPixels,
                             "True when the matrix has storage and at least one pixel.")
      .def_property("row_processed", &CSSEMatrix::GetRowProcessed, &CSSEMatrix::SetRowProcessed,
                    "The row fill_matrix_with_processed_row copies.")

      // ---- storage ----
      .def("create", &CSSEMatrix::Create, py::arg("size_x"), py::arg("size_y"),
           "Frees the pixels and allocates size_x x size_y zeroed ones; negative sizes or size_y > 31999 raise "
           "ValueError.")
      .def("create_similar", &CSSEMatrix::CreateSimilar, py::arg("other"), "create() with other's sizes.")
      .def("free", &CSSEMatrix::Free, "Releases the pixels; the sizes are kept (the matrix then has no pixels).")
      .def("clear", &CSSEMatrix::Clear, ReleaseGil(), "Every pixel (padding included) becomes 0.")
      .def("fill", &CSSEMatrix::Fill, py::arg("value"), ReleaseGil(), "Every pixel (padding included) becomes value.")
      .def("copy_from_sse_matrix", &CSSEMatrix::CopyFromSSEMatrix, py::arg("src"), ReleaseGil(),
           "Deep copy of src (in place when the sizes agree); a src without storage changes nothing.")
      .def("copy_from_sse_matrix_centered", &CSSEMatrix::CopyFromSSEMatrixCentered, py::arg("src"), ReleaseGil(),
           "Keeps this size: cleared, then the centred window of the larger src; a smaller src leaves all 0.")
      .def("copy_from_sse_matrix_centered_maximum", &CSSEMatrix::CopyFromSSEMatrixCenteredMaximum, py::arg("src"),
           ReleaseGil(), "The centred window of src where it is strictly larger than the pixel.")
      .def("copy_from_sse_matrix_centered_minimum", &CSSEMatrix::CopyFromSSEMatrixCenteredMinimum, py::arg("src"),
           ReleaseGil(), "The centred window of src where it is strictly smaller than the pixel.")

      // ---- pixels ----
      .def("get_point", &CSSEMatrix::GetPoint, py::arg("x"), py::arg("y"),
           "Pixel (x, y), the position clamped into the matrix; 0 without pixels.")
      .def("set_point", &CSSEMatrix::SetPoint, py::arg("x"), py::arg("y"), py::arg("value"),
           "Writes the clamped pixel; nothing without pixels.")
      .def("get_point_max_3x3", &CSSEMatrix::GetPointMax3x3, py::arg("x"), py::arg("y"),
           "Maximum of the five-pixel CROSS around the clamped centre (not the 3x3 box the name promises).")
      .def(
          "calc_min_max_values",
          [](const CSSEMatrix& self) {
            float hi = 0.0f, lo = 0.0f;
            self.CalcMinMaxValues(&hi, &lo);
            return py::make_tuple(hi, lo);
          },
          "(maximum, minimum), deliberately maximum first. Larger matrices are scanned without a frame of one "
          "SIMD row and three columns, from -1e6 / 1e6; NaN pixels are ignored.")
      .def(
          "calc_min_max_values_exclude_zero",
          [](const CSSEMatrix& self) {
            float hi = 0.0f, lo = 0.0f;
            self.CalcMinMaxValuesExcludeZero(&hi, &lo);
            return py::make_tuple(hi, lo);
          },
          "(maximum, minimum) over every pixel that is not exactly 0; (+FLT_MAX, -FLT_MAX) when none is.")
      .def(
          "calc_max_value_of_patch",
          [](const CSSEMatrix& s, int x0, int x1, int y0, int y1) { return s.CalcMaxValueOfPatch(x0, x1, y0, y1); },
          py::arg("x0"), py::arg("x1"), py::arg("y0"), py::arg("y1"),
          "Maximum over [x0, x1] x [y0, y1] (inclusive, clipped); -FLT_MAX when empty.")
      .def(
          "calc_min_value_of_patch",
          [](const CSSEMatrix& s, int x0, int x1, int y0, int y1) { return s.CalcMinValueOfPatch(x0, x1, y0, y1); },
          py::arg("x0"), py::arg("x1"), py::arg("y0"), py::arg("y1"),
          "Minimum over [x0, x1] x [y0, y1] (inclusive, clipped); FLT_MAX when empty.")
      .def(
          "calc_min_value_of_patch_exclude_zero",
          [](const CSSEMatrix& s, int x0, int x1, int y0, int y1) {
            return s.CalcMinValueOfPatchExcludeZero(x0, x1, y0, y1);
          },
          py::arg("x0"), py::arg("x1"), py::arg("y0"), py::arg("y1"), "As calc_min_value_of_patch, skipping exact 0.")
      .def("num_values_above", py::overload_cast<float>(&CSSEMatrix::NumValuesAbove, py::const_),
           py::arg("threshold"), "Number of pixels strictly above threshold.")
      .def("num_values_above", py::overload_cast<const CSSEMatrix&>(&CSSEMatrix::NumValuesAbove, py::const_),
           py::arg("ref"), "Number of pixels strictly above ref's pixel at the same position (ref clamped).")
      .def("num_values_below", py::overload_cast<float>(&CSSEMatrix::NumValuesBelow, py::const_),
           py::arg("threshold"), "Number of pixels strictly below threshold.")
      .def("num_values_below", py::overload_cast<const CSSEMatrix&>(&CSSEMatrix::NumValuesBelow, py::const_),
           py::arg("ref"), "Number of pixels strictly below ref's pixel at the same position.")
      .def("integrate_matrix", &CSSEMatrix::IntegrateMatrix, "Sum of the pixels in double, x outer, y inner.")
      .def("get_pixel_precise_float", &CSSEMatrix::GetPixelPreciseFloat, py::arg("x"), py::arg("y"),
           "Bilinear read at (x, y), clamped into the matrix (NaN reads as 0).")
      .def("fill_matrix_with_processed_row", &CSSEMatrix::FillMatrixWithProcessedRow,
           "Every row becomes a copy of row row_processed.")

      // ---- persistence ----
      .def(
          "store",
          [](const CSSEMatrix& self, const std::string& path) {
            if (!self.Store(CString(path.c_str()))) throw CIoException(path, "cannot open the file for writing");
          },
          py::arg("path"), "Writes the library's matrix file (.qsm); IoError when it cannot be opened.")
      .def(
          "load",
          [](CSSEMatrix& self, const std::string& path) {
            if (!self.Load(CString(path.c_str()))) throw CIoException(path, "cannot open the file");
          },
          py::arg("path"),
          "Reads the library's matrix file; IoError when it cannot be opened, Error when it is truncated or "
          "corrupt.")

      // ---- whole-image operations ----
      .def(
          "replace_value_with_value",
          [](CSSEMatrix& self, float oldValue, float newValue, std::optional<float> tolerance) {
            py::gil_scoped_release release;
            if (tolerance) {
              self.ReplaceValueWithValue(oldValue, newValue, *tolerance);
            } else {
              self.ReplaceValueWithValue(oldValue, newValue);
            }
          },
          py::arg("old_value"), py::arg("new_value"), py::arg("tolerance") = py::none(),
          "Every pixel p with -tolerance < old_value - p < tolerance becomes new_value (0.002 by default).")
      .def("remove_frame_artefacts", &CSSEMatrix::RemoveFrameArtefacts, py::arg("nx"), py::arg("ny"),
           py::arg("value"), "Sets a frame of whole SIMD elements (nx columns, ny >> 2 SIMD rows) to value.")
      .def("chamfer", &CSSEMatrix::Chamfer, ReleaseGil(),
           "3-4 chamfer distance of a 0/1 mask to the nearest 1 pixel (3 per axial, 4 per diagonal step).")
      .def(
          "errode",
          [](CSSEMatrix& self, float radius, float bg, float fg, int x0, std::optional<int> x1, int y0,
             std::optional<int> y1) {
            const int ux = Upper(self, x1, true), uy = Upper(self, y1, false);
            py::gil_scoped_release release;
            self.Errode(radius, bg, fg, x0, ux, y0, uy);
          },
          py::arg("radius"), py::arg("bg_value"), py::arg("fg_value"), py::arg("x0") = 0, py::arg("x1") = py::none(),
          py::arg("y0") = 0, py::arg("y1") = py::none(),
          "Disc erosion in the rectangle (the whole image by default): a pixel != bg_value within the disc of a "
          "bg_value pixel becomes bg_value, the others fg_value.")
      .def(
          "dilate",
          [](CSSEMatrix& self, float radius, float a, float b, int x0, std::optional<int> x1, int y0,
             std::optional<int> y1) {
            const int ux = Upper(self, x1, true), uy = Upper(self, y1, false);
            py::gil_scoped_release release;
            self.Dilate(radius, a, b, x0, ux, y0, uy);
          },
          py::arg("radius"), py::arg("a"), py::arg("b"), py::arg("x0") = 0, py::arg("x1") = py::none(), py::arg("y0") = 0,
          py::arg("y1") = py::none(), "errode(radius, b, a, ...): dilate(r, 0, 1) grows a region of 1 on 0.")
      .def("zhang_suen", &CSSEMatrix::ZhangSuen, py::arg("threshold"), ReleaseGil(),
           "Thins the region above threshold to a skeleton of 1.0 on 0.")
      .def("minimum_filter_disc", &CSSEMatrix::MinimumFilterDisc, py::arg("radius"), ReleaseGil(),
           "In place: every pixel becomes the minimum over the disc dx^2 + dy^2 <= radius^2 clipped to the image; "
           "NaN pixels stay and are skipped; a radius below 1 changes nothing.")
      .def("maximum_filter_disc", &CSSEMatrix::MaximumFilterDisc, py::arg("radius"), ReleaseGil(),
           "In place: the maximum over the same disc (greyscale dilation).")
      .def("box_filter", &CSSEMatrix::BoxFilter, py::arg("radius_x"), py::arg("radius_y"), ReleaseGil(),
           "Mean over the (2 radius_x + 1) x (2 radius_y + 1) window clipped to the image, NaN skipped.")
      .def("mask_filter", &CSSEMatrix::MaskFilter, py::arg("mask"), py::arg("normalise"), ReleaseGil(),
           "Weighted sum over mask (a Matrix centred on the pixel), divided by the weights with normalise.")
      .def("embed_in_frame", &CSSEMatrix::EmbedInFrame, py::arg("nx"), py::arg("ny"), py::arg("value"), ReleaseGil(),
           "Grows the matrix by nx columns on both sides and ny rows on top and bottom, all value.")
      .def("extract_from_frame", &CSSEMatrix::ExtractFromFrame, py::arg("nx"), py::arg("ny"), ReleaseGil(),
           "The inverse of embed_in_frame: drops nx columns and ny rows on every side.")
      .def("remove_top", &CSSEMatrix::RemoveTop, py::arg("level"), py::arg("value"), ReleaseGil(),
           "Pixels strictly above level become value; returns how many.")
      .def("remove_bottom", &CSSEMatrix::RemoveBottom, py::arg("level"), py::arg("value"), ReleaseGil(),
           "Pixels strictly below level become value; returns how many.")
      .def("remove_steps", &CSSEMatrix::RemoveSteps, py::arg("max_step"), py::arg("value"), ReleaseGil(),
           "Pixels differing by more than max_step from a 4-neighbour (not holding value) become value.")
      .def("fill_area", &CSSEMatrix::FillArea, py::arg("x"), py::arg("y"), py::arg("value"), ReleaseGil(),
           "Flood fill of the 4-connected area matching the seed pixel (within 0.002); returns the count.")
      .def("fill_holes", &CSSEMatrix::FillHoles, py::arg("threshold"), py::arg("value"), ReleaseGil(),
           "Background (not above threshold) not 4-connected to the border becomes value; returns the count.")
      .def("remove_thin_areas", &CSSEMatrix::RemoveThinAreas, py::arg("radius"), py::arg("threshold"),
           py::arg("value"), ReleaseGil(),
           "Opening by a disc: region pixels no disc of the region covers become value; returns the count.")
      .def(
          "find_first_point_above",
          [](const CSSEMatrix& self, int x, int y, int dx, int dy, float threshold) -> py::object {
            if (!self.FindFirstPointAbove(x, y, dx, dy, threshold)) return py::none();
            return py::make_tuple(x, y);
          },
          py::arg("x"), py::arg("y"), py::arg("dx"), py::arg("dy"), py::arg("threshold"),
          "Walks from (x, y) in steps of (dx, dy): the first pixel strictly above threshold as (x, y), or None.")
      .def(
          "find_first_point_below",
          [](const CSSEMatrix& self, int x, int y, int dx, int dy, float threshold) -> py::object {
            if (!self.FindFirstPointBelow(x, y, dx, dy, threshold)) return py::none();
            return py::make_tuple(x, y);
          },
          py::arg("x"), py::arg("y"), py::arg("dx"), py::arg("dy"), py::arg("threshold"),
          "The first pixel strictly below threshold as (x, y), or None.")
      .def("draw_first_point_lined_use_mask", &CSSEMatrix::DrawFirstPointLinedUseMask, py::arg("mask"),
           py::arg("threshold"), py::arg("value"),
           "Draws the left silhouette of the masked region above threshold with value; returns its row count.")
      .def("scale_matrix", &CSSEMatrix::ScaleMatrix, py::arg("new_size_x"), py::arg("new_size_y"), ReleaseGil(),
           "Bilinear, corner-aligned resampling to the new size, in place.")
      .def("scale_matrix_sse", static_cast<void (CSSEMatrix::*)(int, int)>(&CSSEMatrix::ScaleMatrix_SSE), py::arg("new_size_x"), py::arg("new_size_y"),
           ReleaseGil(), "The same four rows at a time with SIMD, equal bit for bit.")
      .def("stencil", &CSSEMatrix::Stencil, py::arg("mask"), ReleaseGil(),
           "Keeps the pixels whose mask pixel (a CharMatrix) is non-zero; the others become 0.");

  // The stamps: one signature, a table instead of fifteen near-identical definitions.
  struct StampDef {
    const char* name;
    Stamp f;
    const char* doc;
  };
  const StampDef stamps[] = {
      {"set_point_min", &CSSEMatrix::SetPointMin, "The clamped pixel becomes min(pixel, value)."},
      {"set_point_max", &CSSEMatrix::SetPointMax, "The clamped pixel becomes max(pixel, value)."},
      {"set_point_and_right_of_point", &CSSEMatrix::SetPointAndRightOfPoint, "Writes (x, y) and (x + 1, y)."},
      {"set_point_and_left_of_point", &CSSEMatrix::SetPointAndLeftOfPoint, "Writes (x, y) and (x - 1, y)."},
      {"set_triple_point_min", &CSSEMatrix::SetTriplePointMin, "Minimum into (x - 1 .. x + 1, y)."},
      {"set_triple_point_max", &CSSEMatrix::SetTriplePointMax, "Maximum into (x - 1 .. x + 1, y)."},
      {"set_cross", &CSSEMatrix::SetCross, "Writes the five-pixel cross around (x, y)."},
      {"set_cross_min", &CSSEMatrix::SetCrossMin, "Minimum into the five-pixel cross."},
      {"set_cross_max", &CSSEMatrix::SetCrossMax, "Maximum into the five-pixel cross."},
      {"set_3x3_box_point", &CSSEMatrix::Set3x3BoxPoint, "Writes the 3x3 box around (x, y)."},
      {"set_3x3_box_point_min", &CSSEMatrix::Set3x3BoxPointMin, "Minimum into the 3x3 box."},
      {"set_3x3_box_point_max", &CSSEMatrix::Set3x3BoxPointMax, "Maximum into the 3x3 box."},
      {"set_5x5_box_point_min", &CSSEMatrix::Set5x5BoxPointMin, "Minimum into the 5x5 box."},
      {"set_5x5_box_point_max", &CSSEMatrix::Set5x5BoxPointMax, "Maximum into the 5x5 box."},
      {"set_11x11_box_point_max", &CSSEMatrix::Set11x11BoxPointMax, "Maximum into the 11x11 box."},
  };
  for (const StampDef& s : stamps) {
    matrix.def(s.name, s.f, py::arg("x"), py::arg("y"), py::arg("value"),
               (std::string(s.doc) + " A stamp near the border moves inward as a whole.").c_str());
  }

  // ---- byte raster ----
  py::class_<CSSEcharMatrix> chars(m, "CharMatrix",
                                   "The library's byte raster (CSSEcharMatrix), used as masks: CharMatrix(), "
                                   "CharMatrix(size_x, size_y) zeroed, or CharMatrix(mask) from a uint8, int8 or "
                                   "bool array of shape (size_y, size_x) (copied).");
  m.attr("CSSEcharMatrix") = chars;
  chars.def(py::init<>(), "An empty byte matrix.")
      .def(py::init<int, int>(), py::arg("size_x"), py::arg("size_y"), "A zeroed byte matrix.")
      .def(py::init([](const py::object& mask) {
             auto r = std::make_unique<CSSEcharMatrix>();
             ArrayToCharMatrix(ByteArray(mask, "mask"), *r);
             return r;
           }),
           py::arg("mask"), "A copy of a 2-D uint8, int8 or bool array.")
      .def("to_numpy", &CharMatrixToArray, "A new uint8 array of shape (size_y, size_x).")
      .def(
          "__array__",
          [](const CSSEcharMatrix& self, const py::object& dtype, const py::object&) -> py::object {
            py::object a = CharMatrixToArray(self);
            return dtype.is_none() ? a : a.attr("astype")(dtype);
          },
          py::arg("dtype") = py::none(), py::arg("copy") = py::none(), "numpy.asarray(mask): always a copy.")
      .def_property_readonly("size_x", &CSSEcharMatrix::GetSizeX, "Width in pixels.")
      .def_property_readonly("size_y", &CSSEcharMatrix::GetSizeY, "Height in pixels.")
      .def_property_readonly(
          "shape", [](const CSSEcharMatrix& self) { return py::make_tuple(self.GetSizeY(), self.GetSizeX()); },
          "(size_y, size_x).")
      .def(
          "get_point", [](const CSSEcharMatrix& s, int x, int y) { return static_cast<std::uint8_t>(s.GetPoint(x, y)); },
          py::arg("x"), py::arg("y"), "The clamped pixel as 0..255.")
      .def(
          "set_point",
          [](CSSEcharMatrix& s, int x, int y, int v) { s.SetPoint(x, y, static_cast<char>(v & 0xFF)); },
          py::arg("x"), py::arg("y"), py::arg("value"), "Writes the low byte of value into the clamped pixel.")
      .def("clear", &CSSEcharMatrix::Clear, py::arg("value") = 0, "Every byte becomes the low byte of value.")
      .def(
          "copy_and_treshold_above",
          [](CSSEcharMatrix& s, const CSSEMatrix& src, float t, int v) {
            s.CopyAndTresholdAbove(src, t, static_cast<char>(v & 0xFF));
          },
          py::arg("src"), py::arg("threshold"), py::arg("value") = 1,
          "Re-created at src's size: value where src is strictly above threshold, 0 elsewhere.")
      .def(
          "copy_and_treshold_below",
          [](CSSEcharMatrix& s, const CSSEMatrix& src, float t, int v) {
            s.CopyAndTresholdBelow(src, t, static_cast<char>(v & 0xFF));
          },
          py::arg("src"), py::arg("threshold"), py::arg("value") = 1,
          "Re-created at src's size: value where src is strictly below threshold, 0 elsewhere.");

  // ---- filters and chains ----
  const auto median = [](void (*f)(const CSSEMatrix&, CSSEMatrix&, int, int, int, int)) {
    return [f](const CSSEMatrix& source, int x0, std::optional<int> x1, int y0, std::optional<int> y1) {
      const int ux = Upper(source, x1, true), uy = Upper(source, y1, false);
      auto target = std::make_unique<CSSEMatrix>();
      py::gil_scoped_release release;
      f(source, *target, x0, ux, y0, uy);
      return target;
    };
  };
  m.def("median_3x3", median(&CFilters::Median3x3), py::arg("source"), py::arg("x0") = 0, py::arg("x1") = py::none(),
        py::arg("y0") = 0, py::arg("y1") = py::none(),
        "A new Matrix: source with the pixels of the rectangle (all by default) replaced by their 3x3 median "
        "(CFilters::Median3x3; reads past the border repeat the border pixel).");
  m.def("median_5x5", median(&CFilters::Median5x5), py::arg("source"), py::arg("x0") = 0, py::arg("x1") = py::none(),
        py::arg("y0") = 0, py::arg("y1") = py::none(), "The same with the 5x5 median.");
  m.def(
      "trace_chains",
      [](const CSSEMatrix& source, float threshold) {
        std::vector<CPixelChain> chains;
        {
          py::gil_scoped_release release;
          CPixelChain::TraceChains(source, threshold, chains);
        }
        py::list out;
        for (const CPixelChain& c : chains) {
          NewArray<std::int32_t> a({c.GetCount(), 2});
          std::int32_t* p = a.data();
          for (int i = 0; i < c.GetCount(); ++i) {
            p[2 * i] = c.GetPixels()[i].x;
            p[2 * i + 1] = c.GetPixels()[i].y;
          }
          out.append(a.object());
        }
        return out;
      },
      py::arg("source"), py::arg("threshold"),
      "The outer boundary of every 8-connected region strictly above threshold (CPixelChain::TraceChains), "
      "as a list of int32 arrays of (x, y) pixels in chain order, counter-clockwise with y up.");
}

}  // namespace qssse::python
