// Shared by the binding files of the Python module: the conversions between NumPy arrays and the
// library's objects, and the guard that keeps zero-copy views from outliving the storage they show.
//
// NumPy is reached through its Python interface (numpy.asarray, numpy.empty, ...) and the buffer
// protocol only, never through its C API: the C structures changed between NumPy 1 and 2 (the item size
// of a dtype moved), and the array helpers of the pybind11 that Debian ships read them at the NumPy 1
// offsets. Python's buffer protocol is the same for both.
#pragma once
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

// The numpy module (imported once, kept for the life of the process).
py::handle NumPy();

template <class T>
struct DtypeOf;
template <>
struct DtypeOf<float> {
  static constexpr const char* name = "float32";
};
template <>
struct DtypeOf<std::int32_t> {
  static constexpr const char* name = "int32";
};
template <>
struct DtypeOf<std::int64_t> {
  static constexpr const char* name = "int64";
};
template <>
struct DtypeOf<std::uint8_t> {
  static constexpr const char* name = "uint8";
};
template <>
struct DtypeOf<bool> {
  static constexpr const char* name = "bool";
};

// Writable buffer of an object that exports one (a fresh NumPy array).
void* WritableData(const py::object& array);

// A new C-contiguous NumPy array of T (numpy.empty), filled through data(); it is the array object.
template <class T>
class NewArray : public py::object {
 public:
  explicit NewArray(const std::vector<py::ssize_t>& shape)
      : py::object(NumPy().attr("empty")(py::cast(shape), DtypeOf<T>::name)),
        data_(static_cast<T*>(WritableData(*this))) {}
  T* data() const { return data_; }
  const py::object& object() const { return *this; }

 private:
  T* data_;
};

// An array argument as NumPy sees it (numpy.asarray: no copy for an array), read through the buffer
// protocol: its data, its shape, and its strides in bytes.
class ArrayIn {
 public:
  ArrayIn() = default;
  explicit ArrayIn(py::object array);
  const void* data() const { return info_.ptr; }
  template <class T>
  const T* as() const {
    return static_cast<const T*>(info_.ptr);
  }
  py::ssize_t ndim() const { return info_.ndim; }
  py::ssize_t shape(int i) const { return info_.shape[static_cast<std::size_t>(i)]; }
  py::ssize_t stride(int i) const { return info_.strides[static_cast<std::size_t>(i)]; }
  const py::object& object() const { return array_; }

 private:
  py::object array_;
  py::buffer_info info_;
};

// ---- arrays in ---------------------------------------------------------------------------------------
// A 2-D float32 array of any strides (no copy when it already is one). A dtype other than float32 in
// native byte order raises TypeError, another number of dimensions ValueError; `what` names the
// argument in the message.
ArrayIn HeightArray(const py::handle& obj, const char* what);
// The same for a byte raster: int8, uint8 or bool.
ArrayIn ByteArray(const py::handle& obj, const char* what);
// Points as a C-contiguous (n, 3) float32 array: an (n, 3) array, or (n, 2) with z = 0 when allow2D.
// Integer and floating dtypes are accepted (float64 rounds to the nearest float32); bool, complex,
// object and text arrays raise TypeError; other shapes ValueError.
ArrayIn PointArray(const py::handle& obj, const char* what, bool allow2D = true);
// Triangles as a C-contiguous (m, 3) int64 array of indices below vertexCount: integer dtypes only
// (TypeError otherwise), ValueError for another shape or an index out of range.
ArrayIn FaceArray(const py::handle& obj, const char* what, std::size_t vertexCount);
// A real (rows, cols) array as C-contiguous float32 (TypeError, ValueError as above).
ArrayIn FloatMatrixArray(const py::handle& obj, const char* what, py::ssize_t rows, py::ssize_t cols);

// ---- the library's objects from and to arrays ------------------------------------------------------------
// Creates m at the array's size (shape (sizeY, sizeX)) and copies pixel (x, y) = a[y, x]. ValueError for
// a size the matrix cannot hold.
void ArrayToMatrix(const ArrayIn& a, CSSEMatrix& m);
// A new (sizeY, sizeX) float32 array of the pixels (padding left out); zeros for a freed matrix.
py::object MatrixToArray(const CSSEMatrix& m);
void ArrayToCharMatrix(const ArrayIn& a, CSSEcharMatrix& m);
py::object CharMatrixToArray(const CSSEcharMatrix& m);
// Re-creates the polygon with the points of a PointArray.
void ArrayToPolygon(const ArrayIn& points, CSSE3dPolygon& polygon);
py::object PolygonToArray(const CSSE3dPolygon& polygon);

// Points given as a Polygon3d or as an array: the polygon itself, or `storage` filled from the array.
CSSE3dPolygon& PolygonArgument(const py::handle& obj, CSSE3dPolygon& storage, const char* what);

inline SSEPoint ToPoint(const Triple& t) { return qssse::MakeSSEPoint(t[0], t[1], t[2]); }
inline Triple ToTriple(const SSEPoint& p) { return {p.x, p.y, p.z}; }

// ---- zero-copy views -------------------------------------------------------------------------------------
// A read-only float32 array over `data`, memory owned by the bound object `owner`. The view keeps the
// owner alive, and until the last view (or array derived from it) is gone, RequireNoViews(key) refuses
// calls that would free or move that memory, as Python's bytearray refuses to resize under a memoryview.
py::object GuardedView(const py::handle& owner, const void* key, std::vector<py::ssize_t> shape,
                       std::vector<py::ssize_t> strides, const void* data);
// Raises BufferError naming `operation` while views of key's storage exist.
void RequireNoViews(const void* key, const char* operation);
// Registers the class that exports the views' buffers.
void BindViews(py::module_& m);

}  // namespace qssse::python
