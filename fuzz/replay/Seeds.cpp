// The seed inputs of every fuzz target, written by the library's own writers (valid files of a few
// shapes, special values included) or, for the geometry targets, bytes that decode to small shapes.
// Committed under fuzz/seeds/; a test checks they are what this file writes.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Replay.h"
#include "qssse/io/FileBytes.h"
#include "qssse/io/HeightField.h"
#include "qssse/io/MeshFile.h"
#include "qssse/io/Outline.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/Archive.h"
#include "qssse/platform/MemFile.h"
#include "qssse/platform/StreamWrite.h"
#include "qssse/platform/StreamWriteBinaryMemory.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/raster/SSEcharMatrix.h"

namespace replay {
namespace {

using Bytes = std::vector<unsigned char>;
using Seeds = std::vector<std::pair<std::string, Bytes>>;

// 0, 1, -2.5, 1e6, NaN, +inf, the smallest subnormal, cycling.
float Special(int i) {
  const float values[] = {0.0f, 1.0f, -2.5f, 1e6f, std::nanf(""), HUGE_VALF, 1e-45f};
  return values[i % 7];
}

const int kShapes[][2] = {{0, 0}, {1, 1}, {3, 5}, {8, 12}, {1, 0}};

CSSEMatrix Matrix(int w, int h) {
  CSSEMatrix m;
  m.Create(w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) m.SetPoint(x, y, Special(x + 3 * y));
  return m;
}

template <class T>
Bytes Archived(T& object) {
  CMemFile file;
  CArchive ar(&file, CArchive::store);
  object.Serialize(ar);
  ar.Close();
  return file.Detach();
}

template <class T>
Bytes Streamed(const T& object) {
  CbStreamWriteBinaryMemory s;
  object.Serialize(s);
  return s.GetData();
}

std::string Shape(int w, int h) { return std::to_string(w) + "x" + std::to_string(h); }

Seeds MatrixSeeds(bool archive, bool stream) {
  Seeds out;
  for (const auto& s : kShapes) {
    CSSEMatrix m = Matrix(s[0], s[1]);
    if (archive) out.emplace_back("archive-" + Shape(s[0], s[1]), Archived(m));
    if (stream) out.emplace_back("stream-" + Shape(s[0], s[1]), Streamed(m));
  }
  return out;
}

CSSE3dPolygon Polygon(int n, bool box) {
  CSSE3dPolygon p;
  p.Create(n);
  for (int i = 0; i < n; ++i) p.SetPoint(i, std::cos(0.9f * i) * 5.0f, std::sin(0.9f * i) * 5.0f, Special(i));
  t_resolutiondata half;
  half.resX = half.resY = 0.5f;
  p.NormalizeXYZ(half);
  if (box) p.CalcBoundingBox();
  p.CalcGeometricCenter();
  return p;
}

CHTriangulation* Mesh(int n) {
  auto* m = new CHTriangulation();
  m->BaseInitialization(0.5f, 0.25f, 1.0f);
  m->CreateTriangulation(n);
  for (int i = 0; i < n; ++i) {
    *m->GetTriangle(i)->point[0] = qssse::MakeSSEPoint(static_cast<float>(i), 0.0f, 0.0f);
    *m->GetTriangle(i)->point[1] = qssse::MakeSSEPoint(static_cast<float>(i) + 1.0f, 0.0f, 1.0f);
    *m->GetTriangle(i)->point[2] = qssse::MakeSSEPoint(static_cast<float>(i), 1.0f, Special(i));
  }
  if (n > 0) {
    m->CalcSTV();
    m->CalcBoundingBox();
    m->CalcNeighbours();
  }
  return m;
}

// Zeroes the 17 pointer fields (136 bytes) of each of n 144-byte records starting at `first`.
Bytes WithoutAddresses(Bytes b, std::size_t first, int n) {
  for (int i = 0; i < n; ++i) std::memset(b.data() + first + 144 * static_cast<std::size_t>(i), 0, 136);
  return b;
}

qssse::io::HeightField Field(int w, int h, bool finite) {
  qssse::io::HeightField f{w, h, std::vector<float>(static_cast<std::size_t>(w) * static_cast<std::size_t>(h))};
  for (std::size_t i = 0; i < f.values.size(); ++i)
    f.values[i] = finite ? static_cast<float>(i % 7) * 0.5f : Special(static_cast<int>(i));
  return f;
}

qssse::io::MeshData TwoTriangles() {
  qssse::io::MeshData m;
  m.vertices = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0.5f}, {0, 1, 0}};
  m.triangles = {{0, 1, 2}, {0, 2, 3}};
  return m;
}

Bytes Text(const std::string& s) { return Bytes(s.begin(), s.end()); }

Seeds TextSeeds() {
  return {
      {"square.off", Text("OFF\n# a square\n4 1 0\n0 0 0\n1 0 0\n1 1 0.5\n0 1 0\n4 0 1 2 3\n")},
      {"facet.stl", Text("solid x\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\n"
                         "endloop\nendfacet\nendsolid x\n")},
      {"quad.obj", Text("v 0 0 0\nv 1 0 0\nv 1 1 1\nv 0 1 0\nf 1 2 3 -1\n")},
      {"triangle.ply", Text("ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\n"
                            "property float z\nelement face 1\nproperty list uchar int vertex_indices\n"
                            "end_header\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n")},
      {"ring.txt", Text("0 0 1\n4 0 1\n4 3 1\n")},
  };
}

Seeds MeshFileSeeds() {
  const qssse::io::MeshData m = TwoTriangles();
  Seeds out = TextSeeds();
  out.emplace_back("binary.stl", qssse::io::EncodeStl(m));
  out.emplace_back("binary.ply", qssse::io::EncodePly(m));
  out.emplace_back("written.obj", Text(qssse::io::EncodeObj(m)));
  out.emplace_back("written.off", Text(qssse::io::EncodeOff(m)));
  return out;
}

Seeds HeightFieldSeeds() {
  Seeds out;
  for (const auto& s : {std::pair{1, 1}, std::pair{3, 5}, std::pair{9, 4}}) {
    const qssse::io::HeightField f = Field(s.first, s.second, false);
    const std::string shape = Shape(s.first, s.second);
    out.emplace_back("field-" + shape + ".pfm", qssse::io::EncodePfm(f));
    out.emplace_back("field-" + shape + ".npy", qssse::io::EncodeNpy(f));
    out.emplace_back("field-" + shape + ".qsm", qssse::io::EncodeMatrixFile(f));
    qssse::io::PngScale scale;
    scale.bits = 16;
    out.emplace_back("field-" + shape + "-16.png", qssse::io::EncodePngHeights(Field(s.first, s.second, true), scale));
    scale.bits = 8;
    out.emplace_back("field-" + shape + "-8.png", qssse::io::EncodePngHeights(Field(s.first, s.second, true), scale));
  }
  return out;
}

Seeds OnlyEnding(const Seeds& all, const std::string& ending) {
  Seeds out;
  for (const auto& s : all)
    if (s.first.size() >= ending.size() && s.first.compare(s.first.size() - ending.size(), ending.size(), ending) == 0)
      out.push_back(s);
  return out;
}

// Bytes for the FuzzInput decoders: mostly grid tags, now and then a raw float.
Seeds GeometrySeeds(std::uint32_t salt) {
  Seeds out;
  std::mt19937 rng(42u + salt);
  for (const std::size_t size : {24u, 96u, 384u}) {
    Bytes b(size);
    for (unsigned char& c : b) c = static_cast<unsigned char>(rng() % 240);
    out.emplace_back("grid-" + std::to_string(size), b);
  }
  // The unit cube on the grid for the point-set targets (a flag byte, the count 8, then tags 8 and 9,
  // the grid values 0 and 1).
  Bytes cube = {1, 8};
  for (int i = 0; i < 8; ++i) {
    cube.push_back(static_cast<unsigned char>(8 + (i & 1)));
    cube.push_back(static_cast<unsigned char>(8 + ((i >> 1) & 1)));
    cube.push_back(static_cast<unsigned char>(8 + ((i >> 2) & 1)));
  }
  out.emplace_back("cube", cube);
  return out;
}

}  // namespace

Seeds SeedsFor(const std::string& target) {
  if (target == "MatrixArchiveFuzz") return MatrixSeeds(true, false);
  if (target == "MatrixStreamFuzz") return MatrixSeeds(false, true);
  if (target == "MatrixFileFuzz") return MatrixSeeds(true, true);
  if (target == "CharMatrixArchiveFuzz") {
    Seeds out;
    for (const auto& s : {std::pair{0, 0}, std::pair{3, 16}, std::pair{5, 19}, std::pair{17, 1}}) {
      CSSEcharMatrix m(s.first, s.second);
      for (int y = 0; y < s.second; ++y)
        for (int x = 0; x < s.first; ++x) m.SetPoint(x, y, static_cast<char>(x * 31 + y));
      out.emplace_back("archive-" + Shape(s.first, s.second), Archived(m));
    }
    return out;
  }
  if (target == "PolygonArchiveFuzz" || target == "PolygonStreamFuzz") {
    Seeds out;
    for (const int n : {0, 1, 4, 7}) {
      CSSE3dPolygon p = Polygon(n, n % 2 == 1);
      if (target == "PolygonArchiveFuzz") {
        out.emplace_back("archive-" + std::to_string(n), Archived(p));
      } else {
        out.emplace_back("stream-" + std::to_string(n) + (n % 2 == 1 ? "-box" : ""), Streamed(p));
      }
    }
    if (target == "PolygonStreamFuzz") {
      // Version 1: the points only.
      CbStreamWriteBinaryMemory s;
      s.WriteVersion(1);
      s.WriteInt32(2);
      for (const float v : {1.0f, 2.0f, 3.0f, -1.0f, 0.5f, 1e30f}) s.WriteFloat(v);
      out.emplace_back("stream-version1", s.GetData());
    }
    return out;
  }
  if (target == "MeshStreamFuzz") {
    Seeds out;
    for (const int n : {0, 1, 3}) {
      CHTriangulation* m = Mesh(n);
      // The records' pointer fields hold the writer's addresses, which carry no meaning in the file:
      // zeroed, so the seeds are the same on every run.
      out.emplace_back("stream-" + std::to_string(n), WithoutAddresses(Streamed(*m), 40, n));
      out.emplace_back("archive-" + std::to_string(n), WithoutAddresses(Archived(*m), 36, n));
      delete m;
    }
    return out;
  }
  if (target == "PfmFuzz") return OnlyEnding(HeightFieldSeeds(), ".pfm");
  if (target == "NpyFuzz") return OnlyEnding(HeightFieldSeeds(), ".npy");
  if (target == "PngFuzz") return OnlyEnding(HeightFieldSeeds(), ".png");
  if (target == "StlFuzz") return OnlyEnding(MeshFileSeeds(), ".stl");
  if (target == "AsciiStlFuzz") return OnlyEnding(TextSeeds(), ".stl");
  if (target == "PlyFuzz") return OnlyEnding(MeshFileSeeds(), ".ply");
  if (target == "ObjFuzz") return OnlyEnding(MeshFileSeeds(), ".obj");
  if (target == "OffFuzz") return OnlyEnding(MeshFileSeeds(), ".off");
  if (target == "OutlineTextFuzz") return OnlyEnding(TextSeeds(), ".txt");
  if (target == "FileKindFuzz") {
    Seeds out = MeshFileSeeds();
    for (auto& s : HeightFieldSeeds()) out.push_back(std::move(s));
    return out;
  }
  // The geometry targets: one salt each, so their seeds differ.
  std::uint32_t salt = 0;
  for (const char c : target) salt = salt * 31u + static_cast<unsigned char>(c);
  return GeometrySeeds(salt);
}

}  // namespace replay
