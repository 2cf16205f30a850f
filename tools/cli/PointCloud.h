#pragma once
#include <string>
#include <vector>

#include "cli/Formats.h"

// Point sets for the hull and Delaunay commands, and their pictures.
namespace qssse::tool {

// The points of a text file (x y [z] per line, as outlines are read) or the vertices of a mesh file
// (STL, PLY, OBJ, OFF, point clouds without faces included; recognised by contents). An error naming
// the file on any fault.
std::vector<Vertex> ReadPoints(const std::string& path);

// The triangles as closed three-point rings drawn in x-y (top view), plus the given rings on top.
std::string TrianglesSvg(const MeshData& mesh, const std::vector<SvgRing>& extra);

}  // namespace qssse::tool
