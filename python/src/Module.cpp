// The Python module `qssse`: exceptions, the array conversions shared by every binding file, and the
// module definition.
#include <algorithm>
#include <climits>
#include <cstring>
#include <unordered_map>

#include "Bindings.h"
#include "qssse/geometry/HullException.h"
#include "qssse/io/IoException.h"
#include "qssse/platform/CoreException.h"
#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/platform/WorkBudget.h"
#include "qssse/platform/WorkBudgetException.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/raster/SSEcharMatrix.h"

namespace qssse::python {

namespace {

// numpy.asarray(obj); what NumPy cannot make an array of raises its own error.
py::object AsArray(const py::handle& obj) { return NumPy().attr("asarray")(obj); }

std::string DtypeName(const py::object& a) { return py::str(a.attr("dtype")).cast<std::string>(); }
char DtypeKind(const py::object& a) { return a.attr("dtype").attr("kind").cast<std::string>().at(0); }
py::ssize_t Ndim(const py::object& a) { return a.attr("ndim").cast<py::ssize_t>(); }
std::vector<py::ssize_t> Shape(const py::object& a) { return a.attr("shape").cast<std::vector<py::ssize_t>>(); }

std::string ShapeText(const std::vector<py::ssize_t>& shape) {
  std::string s = "(";
  for (std::size_t i = 0; i < shape.size(); ++i) s += (i ? ", " : "") + std::to_string(shape[i]);
  return s + (shape.size() == 1 ? ",)" : ")");
}

// numpy.ascontiguousarray(a, dtype): a C-contiguous copy in that dtype, or a itself when it is one.
ArrayIn Contiguous(const py::object& a, const char* dtype) {
  return ArrayIn(NumPy().attr("ascontiguousarray")(a, dtype));
}

int CheckedInt(py::ssize_t n, const char* what, const char* dimension) {
  if (n > INT_MAX) {
    throw py::value_error(std::string(what) + ": " + dimension + " of " + std::to_string(n) +
                          " is more than the library can count");
  }
  return static_cast<int>(n);
}

// Views handed out per storage key; only touched with the GIL held.
std::unordered_map<const void*, int>& ViewCounts() {
  static std::unordered_map<const void*, int> counts;
  return counts;
}

// The object behind a view: it exports the buffer, keeps the owner alive and counts as one view of
// the owner's storage for as long as it lives (NumPy keeps it as the array's base).
struct ViewExporter {
  ViewExporter(py::object o, const void* k, void* d, std::vector<py::ssize_t> sh, std::vector<py::ssize_t> st)
      : owner(std::move(o)), key(k), data(d), shape(std::move(sh)), strides(std::move(st)) {
    ++ViewCounts()[key];
  }
  ViewExporter(const ViewExporter&) = delete;
  ViewExporter& operator=(const ViewExporter&) = delete;
  ~ViewExporter() {
    auto it = ViewCounts().find(key);
    if (it != ViewCounts().end() && --it->second == 0) ViewCounts().erase(it);
  }
  py::object owner;
  const void* key;
  void* data;
  std::vector<py::ssize_t> shape, strides;
};

}  // namespace

py::handle NumPy() {
  static PyObject* numpy = py::module_::import("numpy").release().ptr();  // kept: no teardown order issues
  return numpy;
}

void* WritableData(const py::object& array) {
  return py::reinterpret_borrow<py::buffer>(array).request(true).ptr;
}

ArrayIn::ArrayIn(py::object array)
    : array_(std::move(array)), info_(py::reinterpret_borrow<py::buffer>(array_).request()) {}

ArrayIn HeightArray(const py::handle& obj, const char* what) {
  const py::object a = AsArray(obj);
  if (DtypeName(a) != "float32") {
    throw py::type_error(std::string(what) + ": expected a float32 array, got " + DtypeName(a) +
                         " (convert with .astype(numpy.float32))");
  }
  if (Ndim(a) != 2) {
    throw py::value_error(std::string(what) + ": expected a 2-D array of shape (size_y, size_x), got " +
                          std::to_string(Ndim(a)) + " dimension(s)");
  }
  return ArrayIn(a);
}

ArrayIn ByteArray(const py::handle& obj, const char* what) {
  const py::object a = AsArray(obj);
  const std::string dtype = DtypeName(a);
  if (dtype != "uint8" && dtype != "int8" && dtype != "bool") {
    throw py::type_error(std::string(what) + ": expected a uint8, int8 or bool array, got " + dtype);
  }
  if (Ndim(a) != 2) {
    throw py::value_error(std::string(what) + ": expected a 2-D array of shape (size_y, size_x), got " +
                          std::to_string(Ndim(a)) + " dimension(s)");
  }
  return ArrayIn(a);
}

ArrayIn PointArray(const py::handle& obj, const char* what, bool allow2D) {
  py::object a = AsArray(obj);
  const char kind = DtypeKind(a);
  if (kind != 'f' && kind != 'i' && kind != 'u') {
    throw py::type_error(std::string(what) + ": expected an array of real numbers, got " + DtypeName(a));
  }
  const std::vector<py::ssize_t> shape = Shape(a);
  if (shape.size() != 2 || (shape[1] != 3 && !(allow2D && shape[1] == 2))) {
    throw py::value_error(std::string(what) + ": expected points of shape (n, 3)" + (allow2D ? " or (n, 2)" : "") +
                          ", got " + ShapeText(shape));
  }
  CheckedInt(shape[0], what, "a point count");
  if (shape[1] == 2) a = NumPy().attr("pad")(a, py::make_tuple(py::make_tuple(0, 0), py::make_tuple(0, 1)));
  return Contiguous(a, "float32");
}

ArrayIn FaceArray(const py::handle& obj, const char* what, std::size_t vertexCount) {
  const py::object a = AsArray(obj);
  const char kind = DtypeKind(a);
  if (kind != 'i' && kind != 'u') {
    throw py::type_error(std::string(what) + ": expected an integer array of vertex indices, got " + DtypeName(a));
  }
  const std::vector<py::ssize_t> shape = Shape(a);
  if (shape.size() != 2 || shape[1] != 3) {
    throw py::value_error(std::string(what) + ": expected triangles of shape (m, 3), got " + ShapeText(shape));
  }
  ArrayIn f = Contiguous(a, "int64");
  const std::int64_t* p = f.as<std::int64_t>();
  for (py::ssize_t i = 0; i < 3 * shape[0]; ++i) {
    // uint64 indices beyond int64 arrive negative, so one test catches both ends.
    if (p[i] < 0 || static_cast<std::uint64_t>(p[i]) >= vertexCount) {
      throw py::value_error(std::string(what) + ": triangle " + std::to_string(i / 3) + " refers to vertex " +
                            std::to_string(p[i]) + " of " + std::to_string(vertexCount));
    }
  }
  return f;
}

ArrayIn FloatMatrixArray(const py::handle& obj, const char* what, py::ssize_t rows, py::ssize_t cols) {
  const py::object a = AsArray(obj);
  const char kind = DtypeKind(a);
  if (kind != 'f' && kind != 'i' && kind != 'u') {
    throw py::type_error(std::string(what) + ": expected an array of real numbers, got " + DtypeName(a));
  }
  const std::vector<py::ssize_t> shape = Shape(a);
  if (shape != std::vector<py::ssize_t>{rows, cols}) {
    throw py::value_error(std::string(what) + ": expected shape " + ShapeText({rows, cols}) + ", got " +
                          ShapeText(shape));
  }
  return Contiguous(a, "float32");
}

void ArrayToMatrix(const ArrayIn& a, CSSEMatrix& m) {
  const int sizeY = CheckedInt(a.shape(0), "heights", "a height");
  const int sizeX = CheckedInt(a.shape(1), "heights", "a width");
  m.Create(sizeX, sizeY);  // too many rows: CInvalidArgumentException, a ValueError here
  if (!m.HasPixels()) return;
  const auto* base = static_cast<const char*>(a.data());
  const py::ssize_t rowStride = a.stride(0), colStride = a.stride(1);
  py::gil_scoped_release release;
  __m128** rows = m.GetMatrixDataDirectly();
  // Four source rows fill one SIMD row: lane l of element x is pixel (x, 4g + l). The padding lanes of
  // the last SIMD row keep the zeros of Create.
  for (int g = 0; 4 * g < sizeY; ++g) {
    float* out = reinterpret_cast<float*>(rows[g]);
    const int lanes = std::min(4, sizeY - 4 * g);
    for (int l = 0; l < lanes; ++l) {
      const char* row = base + static_cast<py::ssize_t>(4 * g + l) * rowStride;
      if (colStride == static_cast<py::ssize_t>(sizeof(float))) {
        const auto* src = reinterpret_cast<const float*>(row);
        for (int x = 0; x < sizeX; ++x) out[4 * x + l] = src[x];
      } else {
        for (int x = 0; x < sizeX; ++x) {
          std::memcpy(&out[4 * x + l], row + static_cast<py::ssize_t>(x) * colStride, sizeof(float));
        }
      }
    }
  }
}

py::object MatrixToArray(const CSSEMatrix& m) {
  const int sizeX = std::max(m.GetSizeX(), 0), sizeY = std::max(m.GetSizeY(), 0);
  NewArray<float> a({sizeY, sizeX});
  float* dst = a.data();
  if (!m.HasPixels()) {  // a freed matrix reads 0 everywhere
    std::fill_n(dst, static_cast<std::size_t>(sizeX) * sizeY, 0.0f);
    return a;
  }
  py::gil_scoped_release release;
  __m128** rows = m.GetMatrixDataDirectly();
  for (int y = 0; y < sizeY; ++y) {
    const float* in = reinterpret_cast<const float*>(rows[y >> 2]) + (y & 3);
    float* out = dst + static_cast<std::size_t>(y) * sizeX;
    for (int x = 0; x < sizeX; ++x) out[x] = in[4 * x];
  }
  return a;
}

void ArrayToCharMatrix(const ArrayIn& a, CSSEcharMatrix& m) {
  const int sizeY = CheckedInt(a.shape(0), "mask", "a height");
  const int sizeX = CheckedInt(a.shape(1), "mask", "a width");
  m.Create(sizeX, sizeY);
  const auto* base = static_cast<const char*>(a.data());
  for (int y = 0; y < sizeY; ++y) {
    for (int x = 0; x < sizeX; ++x) {
      m.SetPoint(x, y, base[static_cast<py::ssize_t>(y) * a.stride(0) + static_cast<py::ssize_t>(x) * a.stride(1)]);
    }
  }
}

py::object CharMatrixToArray(const CSSEcharMatrix& m) {
  const int sizeX = std::max(m.GetSizeX(), 0), sizeY = std::max(m.GetSizeY(), 0);
  NewArray<std::uint8_t> a({sizeY, sizeX});
  for (int y = 0; y < sizeY; ++y) {
    for (int x = 0; x < sizeX; ++x) {
      a.data()[static_cast<std::size_t>(y) * sizeX + x] = static_cast<std::uint8_t>(m.GetPoint(x, y));
    }
  }
  return a;
}

void ArrayToPolygon(const ArrayIn& points, CSSE3dPolygon& polygon) {
  const int n = static_cast<int>(points.shape(0));
  const float* p = points.as<float>();
  polygon.Create(n);
  for (int i = 0; i < n; ++i) polygon.SetPoint(i, p[3 * i], p[3 * i + 1], p[3 * i + 2]);
}

py::object PolygonToArray(const CSSE3dPolygon& polygon) {
  const int n = polygon.GetNumPoints();
  NewArray<float> a({n, 3});
  float* p = a.data();
  for (int i = 0; i < n; ++i) polygon.GetPoint(i, p[3 * i], p[3 * i + 1], p[3 * i + 2]);
  return a;
}

CSSE3dPolygon& PolygonArgument(const py::handle& obj, CSSE3dPolygon& storage, const char* what) {
  if (py::isinstance<CSSE3dPolygon>(obj)) return obj.cast<CSSE3dPolygon&>();
  ArrayToPolygon(PointArray(obj, what), storage);
  return storage;
}

py::object GuardedView(const py::handle& owner, const void* key, std::vector<py::ssize_t> shape,
                       std::vector<py::ssize_t> strides, const void* data) {
  py::object exporter = py::cast(std::make_unique<ViewExporter>(py::reinterpret_borrow<py::object>(owner), key,
                                                                const_cast<void*>(data), std::move(shape),
                                                                std::move(strides)));
  return NumPy().attr("asarray")(exporter);
}

void RequireNoViews(const void* key, const char* operation) {
  auto it = ViewCounts().find(key);
  if (it != ViewCounts().end() && it->second > 0) {
    throw py::buffer_error(std::string(operation) + ": the storage has " + std::to_string(it->second) +
                           " live NumPy view(s); delete them (or copy them with numpy.array) first");
  }
}

void BindViews(py::module_& m) {
  py::class_<ViewExporter>(m, "_View", py::buffer_protocol(),
                           "Exports a read-only buffer over storage of a library object (Mesh.corners).")
      .def_buffer([](ViewExporter& v) {
        return py::buffer_info(v.data, sizeof(float), py::format_descriptor<float>::format(),
                               static_cast<py::ssize_t>(v.shape.size()), v.shape, v.strides, true);
      });
}

}  // namespace qssse::python

namespace {

PyObject* g_error = nullptr;
PyObject* g_ioError = nullptr;
PyObject* g_hullError = nullptr;
PyObject* g_workBudgetError = nullptr;

// Raises `type` with the message and extra attributes (name, value) on the exception object.
void Raise(PyObject* type, const char* message, std::initializer_list<std::pair<const char*, std::string>> extra) {
  PyObject* e = PyObject_CallFunction(type, "s", message);
  if (e == nullptr) return;  // the constructor's own error stands
  for (const auto& [name, value] : extra) {
    PyObject* v = PyUnicode_FromString(value.c_str());
    if (v != nullptr) {
      PyObject_SetAttrString(e, name, v);
      Py_DECREF(v);
    }
  }
  PyErr_SetObject(type, e);
  Py_DECREF(e);
}

const char* HullCauseName(CHullException::Cause c) {
  switch (c) {
    case CHullException::collinear: return "collinear";
    case CHullException::coplanar: return "coplanar";
    case CHullException::range: return "range";
  }
  return "unknown";
}

}  // namespace

PYBIND11_MODULE(qssse, m) {
  using namespace qssse::python;
  m.doc() = R"(Geometry for the design of restorations: height fields, outlines, meshes and hulls.

The library's classes under Pythonic names, each also reachable under its C++ name (Matrix is
CSSEMatrix, Polygon3d is CSSE3dPolygon, Mesh is CHTriangulation, ...). Methods are the C++ members in
snake_case with the library's own spelling (CalcMinMaxValues is calc_min_max_values, Errode is errode).

Arrays: height fields are float32 arrays of shape (size_y, size_x), a[y, x] being pixel (x, y); points
are (n, 3) arrays (or (n, 2) with z = 0). Every conversion copies (see Matrix for why a raster cannot
be viewed in place); Mesh.corners is a zero-copy view.

Errors: the library's exceptions arrive with its message as ValueError (invalid arguments),
MemoryError (allocation failures), IoError (an OSError: files) and Error (a RuntimeError: everything
else, HullError for hulls, WorkBudgetError for calls that would take too long). Long calls release the GIL; objects are not locked, so one object must not
be used from two threads at once.)";
  m.attr("__version__") = QSSSE_VERSION_STRING;

  g_error = PyErr_NewExceptionWithDoc("qssse.Error", "An error reported by the library (a RuntimeError).",
                                      PyExc_RuntimeError, nullptr);
  py::tuple ioBases = py::make_tuple(py::handle(PyExc_OSError), py::handle(g_error));
  g_ioError = PyErr_NewExceptionWithDoc(
      "qssse.IoError",
      "A file that cannot be opened, read or written, or whose contents are not what its format promises "
      "(an OSError and a qssse.Error). str() is one line, 'FILE: what is wrong'; the attributes file and "
      "problem hold the two parts.",
      ioBases.ptr(), nullptr);
  g_hullError = PyErr_NewExceptionWithDoc(
      "qssse.HullError",
      "Input a 3-D hull or a Delaunay triangulation cannot be made of; the attribute cause is 'collinear', "
      "'coplanar' or 'range'.",
      g_error, nullptr);
  g_workBudgetError = PyErr_NewExceptionWithDoc(
      "qssse.WorkBudgetError",
      "A call whose planned work exceeds the library's work budget (set_work_budget), raised before it starts.",
      g_error, nullptr);
  m.attr("WorkBudgetError") = py::handle(g_workBudgetError);
  m.attr("Error") = py::handle(g_error);
  m.attr("IoError") = py::handle(g_ioError);
  m.attr("HullError") = py::handle(g_hullError);

  py::register_local_exception_translator([](std::exception_ptr p) {
    try {
      if (p) std::rethrow_exception(p);
    } catch (const CIoException& e) {
      Raise(g_ioError, e.what(), {{"file", e.GetFile()}, {"problem", e.GetProblem()}});
    } catch (const CInvalidArgumentException& e) {
      PyErr_SetString(PyExc_ValueError, e.what());
    } catch (const CMemoryException& e) {
      PyErr_SetString(PyExc_MemoryError, e.what());
    } catch (const CbExceptionOutOfMemory& e) {
      PyErr_SetString(PyExc_MemoryError, e.what());
    } catch (const CWorkBudgetException& e) {
      PyErr_SetString(g_workBudgetError, e.what());
    } catch (const CHullException& e) {
      Raise(g_hullError, e.what(), {{"cause", HullCauseName(e.GetCause())}});
    } catch (const CException& e) {
      PyErr_SetString(g_error, e.what());
    }
  });

  m.def("set_work_budget", &qssse::SetWorkBudget, py::arg("steps"),
        "The most elementary steps one call may plan when its work follows the input's geometry; a call "
        "planning more raises WorkBudgetError before it starts. Work proportional to a call's input and output is not counted. 0 restores the default (2^27).");
  m.def("get_work_budget", &qssse::GetWorkBudget, "The work budget in force, in steps.");

  BindViews(m);
  BindRaster(m);
  BindPolygon(m);
  BindMesh(m);
  BindGeometry(m);
  BindIo(m);
}
