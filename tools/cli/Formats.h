#pragma once
// The program reads and writes every file through the I/O library (qssse::io); its names are used
// unqualified in the program's code.
#include <limits>
#include <string>

#include "cli/Commands.h"
#include "qssse/qssse_io.h"

namespace qssse::tool {
using namespace qssse::io;

// The reader's options for the command's raster options; noValue replaces pixels without a height.
HeightFieldReadOptions ToReadOptions(const RasterInputOptions& r, float noValue);

// Reads a height field with the command line's PNG scale and no-data value; pixels without a height
// (NaN, the no-data value, transparent) become `noValue`. When there are any, a line on stdout says how
// many and what became of them (`becomes`, e.g. "read as 0").
HeightField ReadRasterInput(const std::string& path, const RasterInputOptions& r, float noValue = 0.0f,
                            const char* becomes = "read as 0 (no value)");

// The size rule of every raster (RasterSizeError) for a raster a command is about to make: throws
// ToolError naming `file`, the rule's message followed by `advice`, before anything is allocated.
void CheckRasterFits(double width, double height, const std::string& file, const std::string& advice);

// Reads a mesh file; when the file held polygons of more than three corners, a line on stdout says how
// many were split into triangles.
MeshData ReadMeshInput(const std::string& path);

}  // namespace qssse::tool
