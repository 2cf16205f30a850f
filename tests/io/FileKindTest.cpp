// Files are recognised by their contents; the name only breaks ties. Every kind is tried under every
// misleading name, and the readers say what a file is when it is not what they read.
#include <gtest/gtest.h>

#include <bit>
#include <map>
#include <string>
#include <vector>

#include "io/IoTestSupport.h"
#include "qssse/qssse_io.h"

using namespace qssse::io;
using iotest::Bytes;
using iotest::Contains;

namespace {

HeightField Field() { return {5, 3, {0, 1, 2, 3, 4, -1, -2, -3, -4, -5, 0.5f, 1.5f, 2.5f, 3.5f, 4.5f}}; }

// Levels (h + 5) / 0.5: every height of Field() is a whole level, so the PNG reads back exactly.
PngScale ExactScale() {
  PngScale s;
  s.haveScale = s.haveOffset = true;
  s.scale = 0.5;
  s.offset = -5.0;
  return s;
}

// One small file of every kind, as our writers (or a person) make them.
std::map<FileKind, std::vector<unsigned char>> OneOfEachKind() {
  const std::string obj = EncodeObj(iotest::TwoTriangles()), off = EncodeOff(iotest::TwoTriangles());
  return {
      {FileKind::Pfm, EncodePfm(Field())},
      {FileKind::Png, EncodePngHeights(Field(), ExactScale())},
      {FileKind::Npy, EncodeNpy(Field())},
      {FileKind::Matrix, EncodeMatrixFile(Field())},
      {FileKind::BinaryStl, EncodeStl(iotest::TwoTriangles())},
      {FileKind::AsciiStl,
       Bytes("solid s\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\nendloop\n"
             "endfacet\nendsolid s\n")},
      {FileKind::Ply, EncodePly(iotest::TwoTriangles())},
      {FileKind::Obj, Bytes(obj)},
      {FileKind::Off, Bytes(off)},
      {FileKind::OutlineText, Bytes("# margin\n0 0 1\n4,0,1\n4 3\n")},
      {FileKind::Svg, Bytes(EncodeSvg({{{{1, 2, 0}, {3, 2, 0}, {3, 5, 0}}}}, 10, 20))},
      {FileKind::Json, Bytes("{\"size\": 320}\n")},
  };
}

const char* const kNames[] = {"f.pfm", "f.png", "f.npy", "f.qsm",  "f.stl", "f.ply", "f.obj",
                              "f.off", "f.txt", "f.svg", "f.json", "f",     "f.STL", "f.tif"};

}  // namespace

TEST(FileKind, EveryKindIsRecognisedByItsContentsUnderEveryName) {
  for (const auto& [kind, bytes] : OneOfEachKind()) {
    for (const char* name : kNames) {
      EXPECT_EQ(DetectFileKind(bytes, name), kind) << FileKindName(kind) << " named " << name;
    }
  }
}

TEST(FileKind, EveryReaderTakesItsKindUnderAnyNameAndNamesAnyOtherKind) {
  iotest::TempDir dir;
  for (const auto& [kind, bytes] : OneOfEachKind()) {
    // Named as the least fitting format: a height field as a mesh and the other way round.
    const std::string path = dir / (RoleOf(kind) == FileRole::Mesh ? "x.png" : "x.stl");
    iotest::WriteAll(path, bytes, bytes.size());
    if (RoleOf(kind) == FileRole::HeightField) {
      EXPECT_EQ(ReadHeightField(path).values, Field().values) << FileKindName(kind);
    } else {
      EXPECT_THROW(ReadHeightField(path), CIoException);
    }
    if (RoleOf(kind) == FileRole::Mesh) {
      EXPECT_EQ(WeldVertices(ReadMesh(path)).vertices.size(), kind == FileKind::AsciiStl ? 3u : 4u);
    } else {
      try {
        ReadMesh(path);
        ADD_FAILURE() << FileKindName(kind) << " read as a mesh";
      } catch (const CIoException& e) {
        EXPECT_EQ(e.GetFile(), path);
        EXPECT_TRUE(Contains(e.GetProblem(), FileKindName(kind))) << e.what();
      }
    }
  }
  // A PNG named .stl is a PNG to every reader: read as a binary STL, its signature and header announced
  // 876,163,630 triangles.
  const std::vector<unsigned char> png = EncodePngHeights(Field(), {});
  iotest::WriteAll(dir / "scan.stl", png, png.size());
  EXPECT_EQ(iotest::WhatThrown([&] { ReadMesh(dir / "scan.stl"); }, true), "this is a height field (PNG), not a mesh");
  EXPECT_EQ(ReadHeightField(dir / "scan.stl").width, 5);
  EXPECT_THROW(ReadOutline(dir / "scan.stl"), CIoException);
}

TEST(FileKind, TheNameDecidesOnlyWhereTheContentsFitTwoKindsOrNoneAndForWriters) {
  // An 11 x 3 matrix file is 8 + 11 * 16 = 184 bytes, the size of a binary STL of 2 triangles; the
  // float at byte 80 (pixel (4, 2), lane 2 of column 4) is made to hold the STL count 2.
  HeightField h{11, 3, std::vector<float>(33, 1.0f)};
  h.At(4, 2) = std::bit_cast<float>(std::uint32_t{2});
  const std::vector<unsigned char> both = EncodeMatrixFile(h);
  ASSERT_EQ(both.size(), 184u);
  EXPECT_EQ(DetectFileKind(both, "x.qsm"), FileKind::Matrix);
  EXPECT_EQ(DetectFileKind(both, "x.stl"), FileKind::BinaryStl);
  EXPECT_EQ(DetectFileKind(both, "x"), FileKind::BinaryStl);

  // Contents that fit nothing: the name's reader then says what is wrong.
  std::vector<unsigned char> cut = EncodeStl(iotest::TwoTriangles());
  cut.resize(cut.size() - 7);
  EXPECT_EQ(DetectFileKind(cut, "x.stl"), FileKind::BinaryStl);
  EXPECT_EQ(DetectFileKind(cut, "x"), FileKind::Unknown);
  EXPECT_EQ(DetectFileKind(Bytes(""), "x.npy"), FileKind::Npy);
  EXPECT_EQ(DetectFileKind(Bytes("hello world\n"), "x.obj"), FileKind::Obj);
  EXPECT_EQ(DetectFileKind(Bytes("hello world\n"), "x"), FileKind::Unknown);
  EXPECT_EQ(iotest::WhatThrown([&] { ParseMesh(cut, FileKind::BinaryStl, "x.stl"); }, true),
            "the STL header announces 2 triangles (100 bytes) but 93 bytes follow");
  EXPECT_EQ(iotest::WhatThrown([] { ParseHeightField(Bytes("hello world\n"), FileKind::Unknown, "x"); }, true),
            "not a height field this library reads (PFM, PNG, NPY or a .qsm matrix file)");
  // Writers take the kind from the name alone.
  EXPECT_EQ(HeightFieldKindFromName("a.NPY"), FileKind::Npy);
  EXPECT_EQ(MeshKindFromName("a.off"), FileKind::Off);
  EXPECT_THROW(MeshKindFromName("a.png"), CIoException);
  EXPECT_THROW(HeightFieldKindFromName("a.stl"), CIoException);
  EXPECT_THROW(HeightFieldKindFromName("a"), CIoException);
  iotest::TempDir dir;
  WriteMesh(dir / "m.off", iotest::TwoTriangles());
  EXPECT_EQ(ReadMesh(dir / "m.off").triangles, iotest::TwoTriangles().triangles);
}
