#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "qssse/io/MeshFile.h"

// What every mesh reader does with a vertex and a face, in one place.
namespace qssse::io::detail {

// Throws CIoException(file, "vertex N has a non-finite coordinate") unless x, y and z are finite.
void CheckVertex(const Vertex& v, std::size_t index, const std::string& file);
// Appends the face of corners 0 .. n-1 as a fan from its first corner (0, k, k+1) and counts it in
// m.splitPolygons when it has more than three; a face of fewer than three corners adds nothing.
void AddFace(const std::vector<std::uint32_t>& corners, MeshData& m);

// The exact size rule of a binary STL: 84 bytes of header and count, then 50 bytes per triangle.
bool BinaryStlSizeMatches(const unsigned char* data, std::size_t size);

}  // namespace qssse::io::detail
