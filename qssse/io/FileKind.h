#pragma once
#include <cstddef>
#include <string>
#include <vector>

#include "qssse/io/IoExport.h"

// What a file holds, told from its contents. Every reader of the I/O library and every command of the
// program asks DetectFileKind, so a file is recognised the same way everywhere: a PNG named .stl is a
// PNG to all of them.
namespace qssse::io {

enum class FileKind {
  Unknown,
  // height fields
  Pfm,     // "Pf" (grey) or "PF" (colour) header, 32-bit floats
  Png,     // PNG signature
  Npy,     // "\x93NUMPY" signature
  Matrix,  // the library's matrix file (CSSEMatrix::Store): no signature, told by its exact size or .qsm
  // meshes
  BinaryStl,  // 80-byte header, triangle count, 50 bytes per triangle
  AsciiStl,   // "solid" ... "facet normal" ... text
  Ply,        // "ply" line
  Obj,        // text of "v", "f", "vn", ... statements
  Off,        // "OFF" keyword (also COFF, NOFF, STOFF and the like), counts, vertices, faces
  // outlines and other text
  OutlineText,  // lines of two or three numbers
  Svg,          // "<?xml" or "<svg"
  Json,         // '{' or '['
};

// What a kind is for.
enum class FileRole { None, HeightField, Mesh, Outline, Other };

// The kind of the file from its first bytes and size: signatures (PNG, NPY, PFM, PLY), the exact size
// rules of binary STL and the matrix file, and the first words of text files. The name's extension
// decides only where the contents fit more than one kind (a binary STL whose size also fits a matrix
// file), or fit none (a damaged file named .stl is still read as STL, so that its reader says what is
// wrong). Unknown when neither tells; never throws.
QSSSE_IO_API FileKind DetectFileKind(const unsigned char* data, std::size_t size, const std::string& path);
QSSSE_IO_API FileKind DetectFileKind(const std::vector<unsigned char>& bytes, const std::string& path);

// The kind a file name asks for, from its extension alone (.pfm .png .npy .qsm .stl .ply .obj .off .txt
// .svg .json, any case); Unknown otherwise. Writers use it: a name is all there is before writing.
QSSSE_IO_API FileKind FileKindFromName(const std::string& path);

// "binary STL", "PNG", ...; and the role of the kind.
QSSSE_IO_API const char* FileKindName(FileKind kind);
QSSSE_IO_API FileRole RoleOf(FileKind kind);

}  // namespace qssse::io
