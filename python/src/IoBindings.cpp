// The I/O library (qssse::io): height fields, meshes and outlines in the files people have.
#include <cstring>

#include "Bindings.h"
#include "qssse/io/FileBytes.h"
#include "qssse/io/FileKind.h"
#include "qssse/io/HeightField.h"
#include "qssse/io/MeshFile.h"
#include "qssse/io/Outline.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"

namespace qssse::python {

namespace {

io::HeightFieldReadOptions ReadOptions(std::optional<float> noData, float noValue, std::optional<double> pngScale,
                                       std::optional<double> pngOffset) {
  io::HeightFieldReadOptions o;
  o.haveNoData = noData.has_value();
  o.noData = noData.value_or(0.0f);
  o.noValue = noValue;
  o.png.haveScale = pngScale.has_value();
  o.png.scale = pngScale.value_or(1.0);
  o.png.haveOffset = pngOffset.has_value();
  o.png.offset = pngOffset.value_or(0.0);
  return o;
}

py::object FieldToArray(const io::HeightField& h) {
  NewArray<float> a({h.height, h.width});
  if (!h.values.empty()) std::memcpy(a.data(), h.values.data(), h.values.size() * sizeof(float));
  return a;
}

// A height field from a Matrix or a float32 array.
io::HeightField FieldArgument(const py::handle& obj) {
  if (py::isinstance<CSSEMatrix>(obj)) return io::FromMatrix(obj.cast<const CSSEMatrix&>());
  const ArrayIn a = HeightArray(obj, "heights");
  if (a.shape(0) > io::kMaxSide || a.shape(1) > io::kMaxSide) {
    throw py::value_error("heights: " + std::to_string(a.shape(1)) + " x " + std::to_string(a.shape(0)) +
                          " is larger than a height field file holds");
  }
  io::HeightField h;
  h.width = static_cast<int>(a.shape(1));
  h.height = static_cast<int>(a.shape(0));
  h.values.resize(static_cast<std::size_t>(h.width) * h.height);
  const auto* base = static_cast<const char*>(a.data());
  for (int y = 0; y < h.height; ++y) {
    for (int x = 0; x < h.width; ++x) {
      std::memcpy(&h.At(x, y), base + y * a.stride(0) + x * a.stride(1), sizeof(float));
    }
  }
  return h;
}

io::MeshData MeshArguments(const py::object& vertices, const py::object& faces) {
  const auto v = PointArray(vertices, "vertices", false);
  const auto f = FaceArray(faces, "faces", static_cast<std::size_t>(v.shape(0)));
  io::MeshData d;
  d.vertices.resize(static_cast<std::size_t>(v.shape(0)));
  const float* xyz = v.as<float>();
  for (std::size_t i = 0; i < d.vertices.size(); ++i) d.vertices[i] = {xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2]};
  d.triangles.resize(static_cast<std::size_t>(f.shape(0)));
  for (std::size_t i = 0; i < d.triangles.size(); ++i) {
    for (std::size_t k = 0; k < 3; ++k) d.triangles[i][k] = static_cast<std::uint32_t>(f.as<std::int64_t>()[3 * i + k]);
  }
  return d;
}

py::tuple MeshToArrays(const io::MeshData& d) {
  NewArray<float> v({static_cast<py::ssize_t>(d.vertices.size()), 3});
  if (!d.vertices.empty()) std::memcpy(v.data(), d.vertices.data(), d.vertices.size() * sizeof(io::Vertex));
  NewArray<std::int32_t> f({static_cast<py::ssize_t>(d.triangles.size()), 3});
  for (std::size_t i = 0; i < d.triangles.size(); ++i) {
    for (std::size_t k = 0; k < 3; ++k) f.data()[3 * i + k] = static_cast<std::int32_t>(d.triangles[i][k]);
  }
  return py::make_tuple(v.object(), f.object());
}

io::OutlinePoints OutlineArgument(const py::handle& obj) {
  CSSE3dPolygon storage;
  const CSSE3dPolygon& p = PolygonArgument(obj, storage, "points");
  io::OutlinePoints out(static_cast<std::size_t>(p.GetNumPoints()));
  for (int i = 0; i < p.GetNumPoints(); ++i) p.GetPoint(i, out[i].x, out[i].y, out[i].z);
  return out;
}

py::object OutlineToArray(const io::OutlinePoints& points) {
  NewArray<float> a({static_cast<py::ssize_t>(points.size()), 3});
  if (!points.empty()) std::memcpy(a.data(), points.data(), points.size() * sizeof(io::Vertex));
  return a;
}

}  // namespace

void BindIo(py::module_& m) {
  static_assert(sizeof(io::Vertex) == 3 * sizeof(float), "vertices are copied as packed float triples");

  py::enum_<io::FileKind>(m, "FileKind", "What a file holds, told from its contents (detect_file_kind).")
      .value("Unknown", io::FileKind::Unknown)
      .value("Pfm", io::FileKind::Pfm)
      .value("Png", io::FileKind::Png)
      .value("Npy", io::FileKind::Npy)
      .value("Matrix", io::FileKind::Matrix)
      .value("BinaryStl", io::FileKind::BinaryStl)
      .value("AsciiStl", io::FileKind::AsciiStl)
      .value("Ply", io::FileKind::Ply)
      .value("Obj", io::FileKind::Obj)
      .value("Off", io::FileKind::Off)
      .value("OutlineText", io::FileKind::OutlineText)
      .value("Svg", io::FileKind::Svg)
      .value("Json", io::FileKind::Json);

  m.def(
      "detect_file_kind",
      [](const std::string& path) {
        py::gil_scoped_release release;
        return io::DetectFileKind(io::ReadFileBytes(path), path);
      },
      py::arg("path"),
      "The kind of the file from its contents (signatures, exact sizes, first words); the name decides only "
      "ties. IoError when it cannot be read.");
  m.def("file_kind_name", &io::FileKindName, py::arg("kind"), "'binary STL', 'PNG', ... for a FileKind.");

  m.def(
      "read_height_field",
      [](const std::string& path, std::optional<float> noData, float noValue, std::optional<double> pngScale,
         std::optional<double> pngOffset) {
        io::HeightField h;
        {
          py::gil_scoped_release release;
          h = io::ReadHeightField(path, ReadOptions(noData, noValue, pngScale, pngOffset));
        }
        return FieldToArray(h);
      },
      py::arg("path"), py::kw_only(), py::arg("no_data") = py::none(), py::arg("no_value") = 0.0f,
      py::arg("png_scale") = py::none(), py::arg("png_offset") = py::none(),
      R"(A height field from a PFM, PNG (8/16-bit grey, with a height scale), NPY or matrix file, as a new
float32 array of shape (height, width), row 0 the file's first row (the top of a picture).

NaN pixels, transparent pixels and pixels equal to no_data carry no height and become no_value (0, the
library's "no value", unless asked otherwise). png_scale / png_offset override the scale stored in a
PNG. IoError naming the file and the problem for anything else.)");
  m.def(
      "write_height_field",
      [](const std::string& path, const py::object& heights, bool zeroAsNaN, int pngBits,
         std::optional<double> pngScale, std::optional<double> pngOffset) {
        if (pngBits != 8 && pngBits != 16) throw py::value_error("png_bits: 8 or 16");
        io::HeightFieldWriteOptions o;
        o.zeroAsNaN = zeroAsNaN;
        o.png.bits = pngBits;
        o.png.haveScale = pngScale.has_value();
        o.png.scale = pngScale.value_or(1.0);
        o.png.haveOffset = pngOffset.has_value();
        o.png.offset = pngOffset.value_or(0.0);
        const io::HeightField h = FieldArgument(heights);
        py::gil_scoped_release release;
        io::WriteHeightField(path, h, o);
      },
      py::arg("path"), py::arg("heights"), py::kw_only(), py::arg("zero_as_nan") = false, py::arg("png_bits") = 16,
      py::arg("png_scale") = py::none(), py::arg("png_offset") = py::none(),
      "Writes a Matrix or a float32 (height, width) array as .pfm, .png, .npy or .qsm by the name's extension; "
      "zero_as_nan writes 0 pixels as NaN (transparent in a PNG).");

  m.def(
      "read_mesh",
      [](const std::string& path, bool acceptPointCloud) {
        io::MeshReadOptions o;
        o.acceptPointCloud = acceptPointCloud;
        io::MeshData d;
        {
          py::gil_scoped_release release;
          d = io::ReadMesh(path, o);
        }
        return MeshToArrays(d);
      },
      py::arg("path"), py::arg("accept_point_cloud") = false,
      "(vertices, faces) from an STL, PLY, OBJ or OFF file: float32 (n, 3) and int32 (m, 3), polygons split "
      "into fans; an STL's triangle soup is not welded (weld_vertices does).");
  m.def(
      "write_mesh",
      [](const std::string& path, const py::object& vertices, const py::object& faces) {
        const io::MeshData d = MeshArguments(vertices, faces);
        py::gil_scoped_release release;
        io::WriteMesh(path, d);
      },
      py::arg("path"), py::arg("vertices"), py::arg("faces"),
      "Writes .stl (binary), .ply (binary), .obj or .off by the name's extension.");
  m.def(
      "weld_vertices",
      [](const py::object& vertices, const py::object& faces) {
        return MeshToArrays(io::WeldVertices(MeshArguments(vertices, faces)));
      },
      py::arg("vertices"), py::arg("faces"),
      "Merges vertices with bit-identical coordinates (-0 and +0 stay apart); returns (vertices, faces).");

  m.def(
      "read_outline", [](const std::string& path) { return OutlineToArray(io::ReadOutline(path)); }, py::arg("path"),
      "An outline from a text file ('x y z' or 'x y' per line) as an (n, 3) float32 array; a repeated first "
      "point at the end is dropped.");
  m.def(
      "write_outline",
      [](const std::string& path, const py::object& points) {
        io::WriteFileBytes(path, io::EncodeOutlineText(OutlineArgument(points)));
      },
      py::arg("path"), py::arg("points"),
      "Writes a Polygon3d or (n, 3) points as text, one 'x y z' line each (read back exactly).");
  m.def(
      "encode_svg",
      [](const py::list& rings, double width, double height, const std::string& stroke, const std::string& fill,
         bool closed) {
        std::vector<io::SvgRing> out;
        for (const py::handle& r : rings) out.push_back({OutlineArgument(r), stroke, fill, closed});
        return io::EncodeSvg(out, width, height);
      },
      py::arg("rings"), py::arg("width") = 0.0, py::arg("height") = 0.0, py::arg("stroke") = "#1f5fbf",
      py::arg("fill") = "none", py::arg("closed") = true,
      "A standalone SVG of the rings (Polygon3d or point arrays) over [0, width] x [0, height] (their bounds "
      "when empty), the largest y at the top.");

  // File members of the classes, beside the module functions.
  auto matrix = py::reinterpret_borrow<py::class_<CSSEMatrix>>(m.attr("Matrix"));
  matrix.def_static(
      "read",
      [](const std::string& path, std::optional<float> noData, float noValue, std::optional<double> pngScale,
         std::optional<double> pngOffset) {
        auto out = std::make_unique<CSSEMatrix>();
        py::gil_scoped_release release;
        io::ToMatrix(io::ReadHeightField(path, ReadOptions(noData, noValue, pngScale, pngOffset)), *out);
        return out;
      },
      py::arg("path"), py::kw_only(), py::arg("no_data") = py::none(), py::arg("no_value") = 0.0f,
      py::arg("png_scale") = py::none(), py::arg("png_offset") = py::none(),
      "read_height_field into a new Matrix (pixel (x, y) = file row y, column x).");
  matrix.def(
      "write",
      [](const CSSEMatrix& self, const std::string& path, bool zeroAsNaN) {
        io::HeightFieldWriteOptions o;
        o.zeroAsNaN = zeroAsNaN;
        py::gil_scoped_release release;
        io::WriteHeightField(path, io::FromMatrix(self), o);
      },
      py::arg("path"), py::kw_only(), py::arg("zero_as_nan") = false, "write_height_field of this matrix.");

  auto polygon = py::reinterpret_borrow<py::class_<CSSE3dPolygon>>(m.attr("Polygon3d"));
  polygon.def_static(
      "read",
      [](const std::string& path) {
        const io::OutlinePoints points = io::ReadOutline(path);
        auto out = std::make_unique<CSSE3dPolygon>();
        out->Create(static_cast<int>(points.size()));
        for (std::size_t i = 0; i < points.size(); ++i) {
          out->SetPoint(static_cast<int>(i), points[i].x, points[i].y, points[i].z);
        }
        return out;
      },
      py::arg("path"), "read_outline into a new Polygon3d.");
  polygon.def(
      "write", [](const py::object& self, const std::string& path) {
        io::WriteFileBytes(path, io::EncodeOutlineText(OutlineArgument(self)));
      },
      py::arg("path"), "write_outline of this polygon.");
}

}  // namespace qssse::python
