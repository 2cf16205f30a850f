#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "qssse/io/FileKind.h"
#include "qssse/io/IoExport.h"

class CHTriangulation;

// Triangle meshes as plain vertex and triangle arrays, in the files people have: STL (binary and ASCII),
// PLY (ASCII and binary in either byte order), OBJ and OFF. Faces of more than three corners are split
// into a fan from their first corner (corners 0, k, k+1) and counted in MeshData::splitPolygons, so a
// caller can say so. Every error is a CIoException naming the file.
namespace qssse::io {

struct Vertex {
  float x = 0.0f, y = 0.0f, z = 0.0f;
  bool operator==(const Vertex&) const = default;
};

struct MeshData {
  std::vector<Vertex> vertices;
  std::vector<std::array<std::uint32_t, 3>> triangles;  // indices into vertices
  // Faces of more than three corners in the file, each split into corners - 2 triangles.
  std::size_t splitPolygons = 0;
};

struct MeshReadOptions {
  // A file of vertices without faces (a point cloud) is refused unless this is set.
  bool acceptPointCloud = false;
};

// Largest vertex or triangle count accepted from a file.
constexpr std::uint64_t kMaxMeshElements = std::uint64_t{1} << 27;

// ---- whole files -------------------------------------------------------------------------------------
// Reads the file, recognised by its contents (DetectFileKind). A height field, an outline or anything
// else throws CIoException saying what the file is; so does a mesh without faces (unless accepted) or
// without vertices.
QSSSE_IO_API MeshData ReadMesh(const std::string& path, const MeshReadOptions& options = {});
// The same on bytes already read; `file` names them in messages.
QSSSE_IO_API MeshData ParseMesh(const std::vector<unsigned char>& bytes, FileKind kind,
                                const std::string& file, const MeshReadOptions& options = {});
// Writes in the format the name's extension asks for: .stl (binary), .ply (binary little-endian), .obj,
// .off. CIoException for another name or a failed write.
QSSSE_IO_API void WriteMesh(const std::string& path, const MeshData& m);
// The kind a name asks for when writing a mesh; CIoException for any other extension.
QSSSE_IO_API FileKind MeshKindFromName(const std::string& path);

// ---- one format each ---------------------------------------------------------------------------------
// Counts are checked against the bytes present before anything is allocated, coordinates must be
// finite, indices in range; bytes or values after the data are refused. CIoException(file, ...) on any
// fault. Files without faces give a mesh without triangles here.
// STL: binary, or ASCII when the text opens with "solid" and is not a binary file by its size (ASCII
// keywords in any case).
QSSSE_IO_API MeshData ParseStl(const std::vector<unsigned char>& bytes, const std::string& file);
// PLY: ascii, binary_little_endian or binary_big_endian; x, y, z of element "vertex" and the list
// "vertex_indices" (or "vertex_index") of element "face"; other elements and properties are skipped.
QSSSE_IO_API MeshData ParsePly(const std::vector<unsigned char>& bytes, const std::string& file);
// OBJ: "v" and "f" statements (corners "i", "i/t", "i//n", "i/t/n"; negative indices count back from the
// latest vertex); everything else is skipped.
QSSSE_IO_API MeshData ParseObj(const std::vector<unsigned char>& bytes, const std::string& file);
// OFF: the keyword (OFF, COFF, NOFF, CNOFF, STOFF and the like), the vertex, face and edge counts,
// the vertices (values after x y z on a line, colours or normals, are skipped) and the faces (a corner
// count, the indices from 0, an optional colour). '#' starts a comment anywhere.
QSSSE_IO_API MeshData ParseOff(const std::vector<unsigned char>& bytes, const std::string& file);

// Binary STL (one facet per triangle, normal from the corners), binary little-endian PLY (float x y z,
// uchar/int index lists), OBJ and OFF (floats written with 9 significant digits, read back exactly).
QSSSE_IO_API std::vector<unsigned char> EncodeStl(const MeshData& m);
QSSSE_IO_API std::vector<unsigned char> EncodePly(const MeshData& m);
QSSSE_IO_API std::string EncodeObj(const MeshData& m);
QSSSE_IO_API std::string EncodeOff(const MeshData& m);

// Merges vertices with bit-identical coordinates (a triangle soup, as STL holds, becomes an indexed
// mesh); -0 and +0 stay apart, as the library's exact neighbour search keeps them.
QSSSE_IO_API MeshData WeldVertices(const MeshData& m);

// ---- the library's mesh ------------------------------------------------------------------------------
// Replaces the mesh's triangles by the data's (corners copied with w = 0), then computes the edge vectors
// and the bounding box. A freshly constructed mesh gets unit scales; a mesh in use keeps its scales. More
// triangles than the library counts (INT_MAX / 3), or an index past the vertices, throw
// CInvalidArgumentException with the mesh unchanged; an allocation failure CMemoryException.
QSSSE_IO_API void CopyToTriangulation(const MeshData& data, CHTriangulation& mesh);
// The mesh's triangles with their corners welded into shared vertices. A corner that is not finite
// throws CInvalidArgumentException naming the triangle.
QSSSE_IO_API MeshData MeshDataFromTriangulation(const CHTriangulation& mesh);

}  // namespace qssse::io
