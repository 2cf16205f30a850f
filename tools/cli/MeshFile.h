#pragma once
#include <array>
#include <cstdint>
#include <string>
#include <vector>

// Triangle meshes as plain vertex and triangle arrays, in binary STL, PLY and OBJ.
namespace qssse::tool {

struct Vertex {
  float x = 0.0f, y = 0.0f, z = 0.0f;
  bool operator==(const Vertex&) const = default;
};

struct MeshData {
  std::vector<Vertex> vertices;
  std::vector<std::array<std::uint32_t, 3>> triangles;  // indices into vertices
};

enum class MeshFormat { Stl, Ply, Obj };

// Largest vertex or triangle count accepted from a file.
constexpr std::uint64_t kMaxMeshElements = std::uint64_t{1} << 27;

// From the first bytes (PLY signature, binary STL size rule) or else the name (.stl, .ply, .obj).
MeshFormat DetectMeshFormat(const std::vector<unsigned char>& bytes, const std::string& path);
MeshFormat MeshFormatFromName(const std::string& path);
const char* MeshFormatName(MeshFormat f);

// Readers: counts are checked against the bytes present before allocating, coordinates must be
// finite, indices in range; polygons with more than three corners are split into a fan. ToolError on
// any fault, naming the file.
MeshData ParseStl(const std::vector<unsigned char>& bytes, const std::string& file);
MeshData ParsePly(const std::vector<unsigned char>& bytes, const std::string& file);
MeshData ParseObj(const std::vector<unsigned char>& bytes, const std::string& file);

// Writers: binary STL (one facet per triangle, normal from the corners), binary little-endian PLY
// (float x y z, uchar/int index lists) and OBJ.
std::vector<unsigned char> EncodeStl(const MeshData& m);
std::vector<unsigned char> EncodePly(const MeshData& m);
std::string EncodeObj(const MeshData& m);

// Parses bytes in the given format (file names the input in error messages).
MeshData ParseMesh(const std::vector<unsigned char>& bytes, MeshFormat format, const std::string& file);
MeshData ReadMesh(const std::string& path);
void WriteMesh(const std::string& path, const MeshData& m);

// Merges vertices with bit-identical coordinates (a triangle soup becomes an indexed mesh).
MeshData WeldVertices(const MeshData& m);

}  // namespace qssse::tool
