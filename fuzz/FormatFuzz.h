#pragma once
// Checks shared by the format fuzz targets: a finding aborts with a line naming what broke.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "qssse/qssse_io.h"

namespace fuzz {

inline void Require(bool ok, const char* target, const char* broken) {
  if (ok) return;
  std::fprintf(stderr, "%s: %s\n", target, broken);
  std::abort();
}

// A rejection must be a CIoException whose message is one line.
inline void RequireOneLine(const CIoException& e, const char* target) {
  Require(std::strchr(e.what(), '\n') == nullptr, target, "an error message spans lines");
}

// Equal bit for bit, so that NaN pixels compare equal to themselves.
inline bool SameBits(const std::vector<float>& a, const std::vector<float>& b) {
  return a.size() == b.size() &&
         (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0);
}

inline bool SameMesh(const qssse::io::MeshData& a, const qssse::io::MeshData& b) {
  return a.vertices == b.vertices && a.triangles == b.triangles;
}

// The same corners triangle by triangle, however the vertices are shared (STL stores a triangle soup).
inline bool SameTriangles(const qssse::io::MeshData& a, const qssse::io::MeshData& b) {
  if (a.triangles.size() != b.triangles.size()) return false;
  for (std::size_t t = 0; t < a.triangles.size(); ++t) {
    for (int k = 0; k < 3; ++k) {
      if (!(a.vertices[a.triangles[t][k]] == b.vertices[b.triangles[t][k]])) return false;
    }
  }
  return true;
}

}  // namespace fuzz
