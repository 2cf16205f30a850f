// Meshes as people have them: OFF with comments and polygons, ASCII STL, OBJ with negative indices,
// PLY quads in every encoding, and point clouds. Small files written here, read to exact values.
#include <gtest/gtest.h>

#include <bit>
#include <string>
#include <vector>

#include "io/IoTestSupport.h"
#include "qssse/io/detail/Bytes.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/qssse_io.h"

using namespace qssse::io;
using iotest::Bytes;
using iotest::ExpectEveryPrefixFails;
using iotest::Message;
using Triangles = std::vector<std::array<std::uint32_t, 3>>;
using iotest::Contains;

namespace {

const auto kOff = [](const std::vector<unsigned char>& b, const std::string& f) { return ParseOff(b, f); };
const auto kStl = [](const std::vector<unsigned char>& b, const std::string& f) { return ParseStl(b, f); };

// A square (a quad), a triangle and a pentagon over six vertices, with comments everywhere a file from the
// wild puts them, colours after the vertices and faces (COFF), and a blank line.
const std::string kColouredOff =
    "# exported by hand\n"
    "COFF\n"
    "6 3 0   # vertices faces edges\n"
    "0 0 0   255 0 0 255\n"
    "2 0 0   0 255 0 255\n"
    "2 2 1.5 0 0 255 255\n"
    "\n"
    "0 2 -1  9 9 9 255  # a comment after a vertex\n"
    "1 3 0.25 1 1 1 1\n"
    "-1 1 0  2 2 2 2\n"
    "4 0 1 2 3   0.5 0.5 0.5\n"
    "3 3 2 4\n"
    "# the last face\n"
    "5 0 3 5 4 2 1 0 0\n";

}  // namespace

TEST(OffFormat, CommentsColoursAndPolygonsReadToExactValuesWithPolygonsFanned) {
  const MeshData m = ParseOff(Bytes(kColouredOff), "f.off");
  ASSERT_EQ(m.vertices.size(), 6u);
  EXPECT_EQ(m.vertices[2], (Vertex{2, 2, 1.5f}));
  EXPECT_EQ(m.vertices[3], (Vertex{0, 2, -1}));
  EXPECT_EQ(m.vertices[5], (Vertex{-1, 1, 0}));
  // The quad and the pentagon become fans from their first corner; the triangle stays as it is.
  EXPECT_EQ(m.triangles, (Triangles{{0, 1, 2}, {0, 2, 3}, {3, 2, 4}, {0, 3, 5}, {0, 5, 4}, {0, 4, 2}}));
  EXPECT_EQ(m.splitPolygons, 2u);
  EXPECT_EQ(DetectFileKind(Bytes(kColouredOff), "f.txt"), FileKind::Off);
}

TEST(OffFormat, CountsMayShareTheKeywordLineAndTheWrittenFileReadsBack) {
  // Files of a well-known shape collection put the counts right after the keyword, even without a space.
  const std::string tight = "OFF3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n";
  const std::string spaced = "OFF 3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n";
  for (const std::string& text : {tight, spaced}) {
    const MeshData m = ParseOff(Bytes(text), "f.off");
    EXPECT_EQ(m.triangles, (Triangles{{0, 1, 2}})) << text;
    EXPECT_EQ(DetectFileKind(Bytes(text), "f"), FileKind::Off);
  }
  const MeshData m = ParseOff(Bytes(kColouredOff), "f.off");
  const std::string written = EncodeOff(m);
  const MeshData back = ParseOff(Bytes(written), "f.off");
  EXPECT_EQ(back.vertices, m.vertices);
  EXPECT_EQ(back.triangles, m.triangles);
  EXPECT_EQ(back.splitPolygons, 0u);
}

TEST(OffFormat, BadFilesNameTheLineAndTheProblemAndEveryPrefixFails) {
  EXPECT_EQ(Message(kOff, "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 3\n"),
            "f.m: line 6: face 0 refers to vertex 3 of 3");
  EXPECT_EQ(Message(kOff, "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n2 0 1\n"),
            "f.m: line 6: face 0 has 2 corners, fewer than 3");
  EXPECT_EQ(Message(kOff, "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n3 0 1 2\n"),
            "f.m: line 7: '3' follows the last of the 1 faces the header announces");
  EXPECT_EQ(Message(kOff, "OFF\n3 1 0\n0 0 0\n1 x 0\n0 1 0\n3 0 1 2\n"),
            "f.m: line 4: a vertex: 'x' is not a number");
  EXPECT_EQ(Message(kOff, "OFF\n3 1 0\n0 0 0\n1 inf 0\n0 1 0\n3 0 1 2\n"),
            "f.m: line 4: a vertex: 'inf' is not finite");
  EXPECT_EQ(Message(kOff, "4OFF\n1 0 0\n0 0 0 0\n"),
            "f.m: OFF of another dimension ('4OFF'): only 3-D meshes are read");
  EXPECT_EQ(Message(kOff, "OFF BINARY\n"), "f.m: binary OFF is not read (save the mesh as text OFF)");
  // Counts no file of this size can hold are refused before anything is reserved.
  EXPECT_TRUE(Contains(Message(kOff, "OFF\n100000000 1 0\n"), "truncated: the OFF header announces 100000000 vertices"));
  EXPECT_TRUE(Contains(Message(kOff, "OFF\n999999999999 1 0\n"), "is not a count up to"));
  // Every prefix fails cleanly: the file is complete once the last face's last corner (the "2" before its colour) is there.
  const std::size_t lastCorner = kColouredOff.find("5 0 3 5 4 2") + 10;
  ExpectEveryPrefixFails(Bytes(kColouredOff.substr(0, lastCorner + 1)),
                         [](const auto& b) { ParseOff(b, "f.bin"); });
}

TEST(AsciiStlFormat, FacetsInAnyCaseReadToExactValuesAndLoopsOfMoreCornersAreFanned) {
  const std::string text =
      "solid part made by hand\n"
      "  facet normal 0 0 1\n    outer loop\n      vertex 0 0 0\n      vertex 1 0 0\n      vertex 0 1 0.5\n"
      "    endloop\n  endfacet\n"
      "  facet normal 0 0 -1\n    outer loop\n      vertex 1 1 1\n      vertex 2 1 1\n      vertex 2 2 1\n"
      "      vertex 1 2 -1.25e-1\n    endloop\n  endfacet\n"
      "endsolid part made by hand\n"
      "solid second\nfacet normal 0 0 0\nouter loop\nvertex 5 5 5\nvertex 6 5 5\nvertex 5 6 "
      "5\nendloop\nendfacet\n"
      "endsolid\n";
  const MeshData m = ParseStl(Bytes(text), "f.stl");
  ASSERT_EQ(m.vertices.size(), 10u);
  EXPECT_EQ(m.vertices[2], (Vertex{0, 1, 0.5f}));
  EXPECT_EQ(m.vertices[6], (Vertex{1, 2, -0.125f}));
  EXPECT_EQ(m.vertices[9], (Vertex{5, 6, 5}));
  EXPECT_EQ(m.triangles, (Triangles{{0, 1, 2}, {3, 4, 5}, {3, 5, 6}, {7, 8, 9}}));
  EXPECT_EQ(m.splitPolygons, 1u);
  EXPECT_EQ(DetectFileKind(Bytes(text), "f.obj"), FileKind::AsciiStl);
  // Capital keywords and leading blanks are read.
  const std::string capitals =
      "\n  SOLID PART\nFACET NORMAL 0 0 1\nOUTER LOOP\nVERTEX 0 0 0\nVERTEX 1 0 0\nVERTEX 0 1 2\nENDLOOP\n"
      "ENDFACET\nENDSOLID PART\n";
  EXPECT_EQ(DetectFileKind(Bytes(capitals), "f"), FileKind::AsciiStl);
  EXPECT_EQ(ParseStl(Bytes(capitals), "f.stl").vertices, (std::vector<Vertex>{{0, 0, 0}, {1, 0, 0}, {0, 1, 2}}));
}

TEST(AsciiStlFormat, ABinaryFileWhoseHeaderSaysSolidIsStillBinary) {
  const MeshData m = iotest::MeshOf({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}});
  std::vector<unsigned char> stl = EncodeStl(m);
  const std::string header = "solid exported by a tool that writes binary files";
  std::copy(header.begin(), header.end(), stl.begin());
  EXPECT_EQ(DetectFileKind(stl, "f.stl"), FileKind::BinaryStl);
  EXPECT_EQ(ParseStl(stl, "f.stl").vertices, m.vertices);
}

TEST(AsciiStlFormat, BadFacetsNameTheLineAndEveryPrefixFails) {
  EXPECT_EQ(Message(kStl, "solid x\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nendloop\n"),
            "f.m: line 6: a facet has 2 vertices, fewer than 3");
  EXPECT_EQ(Message(kStl,
                    "solid x\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\n"
                    "endfacet\n"),
            "f.m: line 7: expected 'vertex' or 'endloop', found 'endfacet'");
  EXPECT_EQ(Message(kStl, "solid x\nfacet normal 0 0 1\nouter loop\nvertex 0 nan 0\n"),
            "f.m: line 4: a vertex: 'nan' is not finite");
  EXPECT_EQ(Message(kStl, "solid x\nfacets\n"),
            "f.m: line 2: expected 'facet' or 'endsolid', found 'facets'");
  const std::string text =
      "solid x\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\nendloop\nendfacet\n"
      "endsolid x\n";
  // "endsolid" needs no name after it, so the sweep stops where the keyword is complete.
  ExpectEveryPrefixFails(Bytes(text.substr(0, text.rfind("endsolid") + 8)), [](const auto& b) {
    // Prefixes shorter than "solid" fall to the binary reader, which fails on its size: fine too.
    ParseStl(b, "f.bin");
  });
}

TEST(ObjFormat, NegativeIndicesCountBackSlashesAndOtherStatementsAreSkippedAndPolygonsFanned) {
  // Statements other than v and f are skipped; a fourth vertex value is the weight, not read.
  const std::string obj =
      "# a quad\nmtllib x.mtl\no quad\nv 0 0 0\nv 1 0 0\nvn 0 0 1\nv 1 1 2 1.0\nvt 0 0\ng part\nv 0 1 2\n"
      "f -4/1/1 -3/2/1 -2/3/1 -1/4/1\nv 5 5 5\nf -1 -2 -3\nf 1 2 -1 3\nf 1//1 2//1 3\n";
  const MeshData m = ParseObj(Bytes(obj), "f.obj");
  EXPECT_EQ(m.vertices.size(), 5u);
  EXPECT_EQ(m.triangles, (Triangles{{0, 1, 2}, {0, 2, 3}, {4, 3, 2}, {0, 1, 4}, {0, 4, 2}, {0, 1, 2}}));
  EXPECT_EQ(m.splitPolygons, 2u);
  EXPECT_EQ(DetectFileKind(Bytes(obj), "f.stl"), FileKind::Obj);
}

namespace {

// A PLY of four vertices and one quad, with a colour property between the coordinates' and a list
// before the indices, in the given encoding ("ascii", "binary_little_endian", "binary_big_endian").
std::vector<unsigned char> QuadPly(const std::string& encoding) {
  const std::string header =
      "ply\nformat " + encoding +
      " 1.0\nelement vertex 4\nproperty float x\nproperty uchar red\nproperty double y\n"
      "property float z\nelement face 1\nproperty list uchar int flags\n"
      "property list uchar uint vertex_indices\nend_header\n";
  if (encoding == "ascii")
    return Bytes(header + "0 7 0 0\n1.5 7 0 0\n1.5 7 2 -1\n0 7 2 0.25\n1 9\n4 0 1 2 3\n");
  std::vector<unsigned char> b = Bytes(header);
  const bool big = encoding == "binary_big_endian";
  const auto put = [&](std::uint64_t bits, int bytes) {
    for (int i = 0; i < bytes; ++i)
      b.push_back(static_cast<unsigned char>(bits >> (8 * (big ? bytes - 1 - i : i))));
  };
  const float xs[4] = {0, 1.5f, 1.5f, 0}, zs[4] = {0, 0, -1, 0.25f};
  const double ys[4] = {0, 0, 2, 2};
  for (int i = 0; i < 4; ++i) {
    put(std::bit_cast<std::uint32_t>(xs[i]), 4);
    put(7, 1);
    put(std::bit_cast<std::uint64_t>(ys[i]), 8);
    put(std::bit_cast<std::uint32_t>(zs[i]), 4);
  }
  put(1, 1);
  put(9, 4);
  put(4, 1);
  for (std::uint32_t i : {0u, 1u, 2u, 3u}) put(i, 4);
  return b;
}

}  // namespace

TEST(PlyFormat, QuadsReadToTheSameExactValuesInEveryEncoding) {
  for (const char* encoding : {"ascii", "binary_little_endian", "binary_big_endian"}) {
    const std::vector<unsigned char> bytes = QuadPly(encoding);
    const MeshData m = ParsePly(bytes, "f.ply");
    EXPECT_EQ(m.vertices, (std::vector<Vertex>{{0, 0, 0}, {1.5f, 0, 0}, {1.5f, 2, -1}, {0, 2, 0.25f}}))
        << encoding;
    EXPECT_EQ(m.triangles, (Triangles{{0, 1, 2}, {0, 2, 3}})) << encoding;
    EXPECT_EQ(m.splitPolygons, 1u);
    EXPECT_EQ(DetectFileKind(bytes, "f.png"), FileKind::Ply);
    if (std::string(encoding) != "ascii")
      ExpectEveryPrefixFails(bytes, [](const auto& b) { ParsePly(b, "f.bin"); });
  }
}

TEST(PointClouds, AreRefusedAsMeshesWithAClearMessageUnlessAccepted) {
  const std::string cloud =
      "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\nproperty float z\n"
      "end_header\n0 0 0\n1 0 0\n0 1 0\n";
  EXPECT_TRUE(ParsePly(Bytes(cloud), "c.ply").triangles.empty());
  EXPECT_EQ(iotest::WhatThrown([&] { ParseMesh(Bytes(cloud), FileKind::Ply, "c.ply"); }),
            "c.ply: a point cloud of 3 vertices without faces: there is no surface to read");
  MeshReadOptions accept;
  accept.acceptPointCloud = true;
  EXPECT_EQ(ParseMesh(Bytes(cloud), FileKind::Ply, "c.ply", accept).vertices.size(), 3u);
  EXPECT_THROW(ParseMesh(Bytes("v 0 0 0\nv 1 1 1\n"), FileKind::Obj, "c.obj"), CIoException);
}

TEST(LibraryMesh, CopyToTriangulationKeepsEveryCornerAndTheWayBackWeldsThem) {
  const MeshData m = ParseOff(Bytes(kColouredOff), "f.off");
  CHTriangulation mesh;
  CopyToTriangulation(m, mesh);
  ASSERT_EQ(mesh.GetNumTriangles(), 6);
  const t_htriangle* t = mesh.GetTriangle(1);  // corners 0, 2, 3
  EXPECT_EQ(t->point[1]->z, 1.5f);
  EXPECT_EQ(t->point[2]->y, 2.0f);
  EXPECT_EQ(t->point[2]->w, 0.0f);
  SSEPoint lo, hi;
  mesh.GetMinPoint(lo);
  mesh.GetMaxPoint(hi);
  EXPECT_EQ(lo.x, -1.0f);
  EXPECT_EQ(hi.y, 3.0f);
  EXPECT_EQ(hi.z, 1.5f);
  // Copying again into the same mesh replaces its triangles.
  CopyToTriangulation(m, mesh);
  EXPECT_EQ(mesh.GetNumTriangles(), 6);
  const MeshData back = MeshDataFromTriangulation(mesh);
  EXPECT_EQ(back.vertices.size(), 6u);
  EXPECT_EQ(back.triangles.size(), 6u);

  mesh.BlowTriangulation(1.0f, 1.0f, 3.0e38f);  // heights beyond the float range
  EXPECT_THROW(MeshDataFromTriangulation(mesh), CInvalidArgumentException);
}
