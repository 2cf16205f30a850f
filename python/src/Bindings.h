// Shared by the binding files of the Python module: the conversions between NumPy arrays and the
// library's objects, and the guard that keeps zero-copy views from outliving the storage they show.
#pragma once
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "qssse/vector/SSEPoint.h"

class CSSEMatrix;
class CSSEcharMatrix;
class CSSE3dPolygon;

namespace py = pybind11;

namespace qssse::python {

// One function per binding file; Module.cpp calls them in this order (later files use earlier classes
// in their signatures).
void BindRaster(py::module_& m);
void BindPolygon(py::module_& m);
void BindMesh(py::module_& m);
void BindGeometry(py::module_& m);
void BindIo(py::module_& m);

// A long call: the GIL is released while the library works, so other Python threads run meanwhile.
using ReleaseGil = py::call_guard<py::gil_scoped_release>;

using Triple = std::array<float, 3>;

// ---- arrays in ---------------------------------------------------------------------------------------
// The object as a 2-D float32 array of any strides (no copy when it already is one). A dtype other than
// float32 in native byte order raises TypeError, another number of dimensions ValueError; `what` names
// the argument in the message.
py::array HeightArray(const py::handle& obj, const char* what);
// The same for a byte raster: int8, uint8 or bool.
py::array ByteArray(const py::handle& obj, const char* what);
// Points as a C-contiguous (n, 3) float32 array: an (n, 3) array, or (n, 2) with z = 0 when allow2D.
// Integer and floating dtypes are accepted (float64 rounds to the nearest float32); bool, complex,
// object and text arrays raise TypeError; other shapes ValueError.
py::array_t<float, py::array::c_style> PointArray(const py::handle& obj, const char* what, bool allow2D = true);
// Triangles as a C-contiguous (m, 3) int64 array of indices below vertexCount: integer dtypes only
// (TypeError otherwise), ValueError for another shape or an index out of range.
py::array_t<std::int64_t, py::array::c_style> FaceArray(const py::handle& obj, const char* what,
                                                        std::size_t vertexCount);

// ---- the library's objects from and to arrays ------------------------------------------------------------
// Creates m at the array's size (shape (sizeY, sizeX)) and copies pixel (x, y) = a[y, x]. ValueError for
// a size the matrix cannot hold.
void ArrayToMatrix(const py::array& a, CSSEMatrix& m);
// A new (sizeY, sizeX) float32 array of the pixels (padding left out); zeros for a freed matrix.
py::array_t<float> MatrixToArray(const CSSEMatrix& m);
void ArrayToCharMatrix(const py::array& a, CSSEcharMatrix& m);
py::array_t<std::uint8_t> CharMatrixToArray(const CSSEcharMatrix& m);
// Re-creates the polygon with the points of an (n, 3) float32 array.
void ArrayToPolygon(const py::array_t<float, py::array::c_style>& points, CSSE3dPolygon& polygon);
py::array_t<float> PolygonToArray(const CSSE3dPolygon& polygon);

// Points given as a Polygon3d or as an array: the polygon itself, or `storage` filled from the array.
CSSE3dPolygon& PolygonArgument(const py::handle& obj, CSSE3dPolygon& storage, const char* what);

inline SSEPoint ToPoint(const Triple& t) { return qssse::MakeSSEPoint(t[0], t[1], t[2]); }
inline Triple ToTriple(const SSEPoint& p) { return {p.x, p.y, p.z}; }

// ---- zero-copy views -------------------------------------------------------------------------------------
// A read-only array over `data`, memory owned by the bound object `owner`. The view keeps the owner alive,
// and until the last view (or array derived from it) is gone, RequireNoViews(key) refuses calls that
// would free or move that memory, as Python's bytearray refuses to resize under a memoryview.
py::array GuardedView(const py::handle& owner, const void* key, const py::dtype& dtype,
                      std::vector<py::ssize_t> shape, std::vector<py::ssize_t> strides, const void* data);
// Raises BufferError naming `operation` while views of key's storage exist.
void RequireNoViews(const void* key, const char* operation);

}  // namespace qssse::python
