// The format readers and writers: exact round trips, corrupted headers and truncation sweeps.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "io/IoTestSupport.h"
#include "qssse/io/detail/Bytes.h"
#include "qssse/qssse_io.h"
#include "qssse/raster/SSEMatrix.h"

using namespace qssse::io;
using iotest::Bytes;
using iotest::ExpectEveryPrefixFails;
using qssse::io::detail::ByteReader;
using iotest::Contains;
using iotest::ContainsAll;

namespace {

// 5 x 3 heights with negative values, a fraction that is not a short decimal, and distinct rows,
// so a flipped or transposed reader cannot pass.
HeightField SmallField() {
  HeightField h{5, 3, {}};
  for (int y = 0; y < 3; ++y) {
    for (int x = 0; x < 5; ++x)
      h.values.push_back(static_cast<float>(x) * 1.25f - static_cast<float>(y) * 10.0f + 0.1f);
  }
  return h;
}

}  // namespace

TEST(HeightFieldFormats, PfmNpyMatrixFilesAndMatricesKeepEveryFloatAndTheRowOrder) {
  const HeightField h = SmallField();
  const HeightField pfm = ParsePfm(EncodePfm(h), "f.pfm");
  const HeightField npy = ParseNpy(EncodeNpy(h), "f.npy");
  iotest::TempDir dir;
  WriteHeightField(dir / "f.qsm", h);
  const HeightField qsm = ReadHeightField(dir / "f.qsm");
  for (const HeightField* r : {&pfm, &npy, &qsm}) {
    EXPECT_EQ(r->width, 5);
    EXPECT_EQ(r->height, 3);
    EXPECT_EQ(r->values, h.values);
  }
  // The conversions to and from the library's matrix keep every pixel.
  CSSEMatrix m;
  ToMatrix(h, m);
  EXPECT_EQ(m.GetPoint(4, 2), h.At(4, 2));
  EXPECT_EQ(FromMatrix(m).values, h.values);
  EXPECT_THROW(HeightFieldKindFromName("x.tif"), CIoException);
  EXPECT_THROW(ToMatrix(HeightField{0, 3, {}}, m), CIoException);
}

TEST(HeightFieldFormats, PfmStoresRowsBottomUpLittleEndianAndReadsBigEndianTooAndNpyHeadersAreAligned) {
  const std::vector<unsigned char> pfm = EncodePfm(SmallField());
  const std::string header = "Pf\n5 3\n-1.0\n";
  ASSERT_EQ(std::string(pfm.begin(), pfm.begin() + static_cast<std::ptrdiff_t>(header.size())), header);
  float first;
  std::memcpy(&first, pfm.data() + header.size(), 4);
  EXPECT_EQ(first, SmallField().At(0, 2));  // the bottom row comes first

  // The same data big-endian with a positive scale.
  std::vector<unsigned char> big = Bytes("Pf\n5 3\n1.0\n");
  for (std::size_t i = header.size(); i < pfm.size(); i += 4) {
    for (std::size_t k = 0; k < 4; ++k) big.push_back(pfm[i + 3 - k]);
  }
  EXPECT_EQ(ParsePfm(big, "f.pfm").values, SmallField().values);
  // The NPY header is padded to 64 bytes.
  const std::vector<unsigned char> npy = EncodeNpy(SmallField());
  const std::size_t headerLength = npy[8] | (npy[9] << 8);
  EXPECT_EQ((10 + headerLength) % 64, 0u);
  EXPECT_EQ(npy[10 + headerLength - 1], '\n');
}

TEST(HeightFieldFormats, PngMapsLevelsThroughTheStoredGivenOrDefaultScale) {
  const HeightField h{3, 2, {0.0f, 0.5f, 1.0f, 2.0f, 2.5f, 3.0f}};
  PngScale s;
  s.haveScale = true;
  s.scale = 0.5;
  s.haveOffset = true;
  s.offset = -1.0;
  for (int bits : {8, 16}) {
    s.bits = bits;
    const std::vector<unsigned char> png = EncodePngHeights(h, s);
    const PngGrey grey = DecodePngGrey(png, "f.png");
    EXPECT_EQ(grey.bitDepth, bits);
    EXPECT_EQ(grey.levels, (std::vector<std::uint16_t>{2, 3, 4, 6, 7, 8}));  // (h + 1) / 0.5
    EXPECT_EQ(ParsePngHeights(png, "f.png", {}).values, h.values);
    PngScale other;
    other.haveScale = true;
    other.scale = 1.0;
    EXPECT_EQ(ParsePngHeights(png, "f.png", other).values, (std::vector<float>{1, 2, 3, 5, 6, 7}));
  }
  // By default the range is spread over all sixteen-bit levels.
  const HeightField range{2, 1, {-3.0f, 7.0f}};
  EXPECT_EQ(DecodePngGrey(EncodePngHeights(range, {}), "f.png").levels, (std::vector<std::uint16_t>{0, 65535}));
  const HeightField back = ParsePngHeights(EncodePngHeights(range, {}), "f.png", {});
  EXPECT_FLOAT_EQ(back.values[0], -3.0f);
  EXPECT_FLOAT_EQ(back.values[1], 7.0f);
}

TEST(HeightFieldFormats, OneSizeRuleOfColumnsRowsAndPixelsWithOneMessage) {
  EXPECT_EQ(RasterSizeError(32000, 8388), "");
  EXPECT_EQ(RasterSizeError(16384, 16384), "");  // 2^28 pixels
  EXPECT_EQ(RasterSizeError(1, 31999), "");
  EXPECT_EQ(
      RasterSizeError(1, 32000),
      "a raster of 1 x 32000 pixels is more than the library holds (at most 32000 columns, 31999 rows and "
      "268435456 pixels)");
  EXPECT_NE(RasterSizeError(32001, 1), "");
  EXPECT_EQ(RasterSizeError(32000, 31999).rfind("a raster of 32000 x 31999 pixels is more", 0), 0u);
  EXPECT_EQ(RasterSizeError(1e300, 2.5e14).rfind("a raster of more than 10^15 x 250000000000000 pixels", 0),
            0u);
  EXPECT_NE(RasterSizeError(std::nan(""), 1), "");
}

TEST(HeightFieldFormats, ImpossibleOrHostileHeadersAreRejectedBeforeAllocating) {
  const auto fails = [](const std::string& file, const std::string& expected) {
    EXPECT_TRUE(Contains(iotest::WhatThrown([&] {
      if (file[0] == 'P') ParsePfm(Bytes(file), "f.pfm");
      else ParseNpy(Bytes(file), "f.npy");
    }), expected));
  };
  fails("Pf\n100000 100000\n-1\n", "a raster of 100000 x 100000 pixels is more than the library holds");
  fails("Pf\n4294967296 4294967296\n-1\n", "a raster of 4294967296 x 4294967296 pixels");
  fails("Pf\n1 32000\n-1\n", "a raster of 1 x 32000 pixels");
  fails("Pf\n18446744073709551616 1\n-1\n", "not a whole number");
  fails("Pf\n1000 1000\n-1\n\1\2\3\4", "truncated");
  fails("Pf\n0 5\n-1\n", "empty");
  fails("Pf\n1 1\nnan\n\0\0\0\0", "not a non-zero number");
  fails("PF\n1 1\n-1\n", "colour PFM");
  fails("Pf\n-1 1\n-1\n", "not a whole number");
  std::string npy = "\x93NUMPY\x01";
  npy += '\0';
  const auto withDict = [&](const std::string& dict) {
    return npy + static_cast<char>(dict.size()) + '\0' + dict;
  };
  fails(withDict("{'descr': '<f4', 'fortran_order': False, 'shape': (65536, 65536), }"),
        "a raster of 65536 x 65536 pixels is more than");
  fails(withDict("{'descr': '<f4', 'fortran_order': False, 'shape': (99999999999999999999, 2), }"),
        "dimension");
  fails(withDict("{'descr': '<i8', 'fortran_order': False, 'shape': (1, 1), }"), "'<i8' is not read");
  fails(withDict("{'descr': '|f4', 'fortran_order': False, 'shape': (1, 1), }"), "'|f4' is not read");
  fails(withDict("{'descr': '<f4', 'fortran_order': False, 'shape': (2, 2, 2), }"), "3 dimensions");
  fails(withDict("{'descr': '<f4', 'fortran_order': False, 'shape': (1, 2), }1234"), "bad NPY header");
  fails(withDict("{'descr': '<f4', 'fortran_order': False, 'shape': (1, 1)"), "bad NPY header");
}

TEST(HeightFieldFormats, InfinitiesAreNamedByPixelAndPngRefusesThem) {
  HeightField h = SmallField();
  h.At(3, 1) = -std::numeric_limits<float>::infinity();
  EXPECT_EQ(iotest::WhatThrown([&] { ParseHeightField(EncodeNpy(h), FileKind::Npy, "f.npy"); }),
            "f.npy: pixel (3, 1) is -infinity: heights must be finite or marked as no data");
  EXPECT_THROW(ParseHeightField(EncodePfm(h), FileKind::Pfm, "f.pfm"), CIoException);
  EXPECT_THROW(EncodePngHeights(h, {}), CIoException);
}

TEST(HeightFieldFormats, EveryPrefixOfEachRasterFileFailsCleanly) {
  const HeightField h = SmallField();
  ExpectEveryPrefixFails(EncodePfm(h), [](const auto& b) { ParsePfm(b, "f.bin"); });
  ExpectEveryPrefixFails(EncodeNpy(h), [](const auto& b) { ParseNpy(b, "f.bin"); });
  for (int bits : {8, 16}) {
    PngScale s;
    s.bits = bits;
    ExpectEveryPrefixFails(EncodePngHeights(h, s), [](const auto& b) { ParsePngHeights(b, "f.bin", {}); });
  }
  iotest::TempDir dir;
  WriteHeightField(dir / "full.qsm", h);
  const std::vector<unsigned char> qsm = iotest::ReadAll(dir / "full.qsm");
  for (std::size_t n = 0; n < qsm.size(); ++n) {
    iotest::WriteAll(dir / "f.qsm", qsm, n);
    EXPECT_THROW(ReadHeightField(dir / "f.qsm"), CIoException) << n;
  }
}

TEST(HeightFieldFormats, CorruptedPngIsRejectedWithItsFileName) {
  const std::vector<unsigned char> good = EncodePngHeights(SmallField(), {});
  std::vector<unsigned char> badCrc = good;
  badCrc[29] ^= 0xff;  // inside the IHDR checksum
  std::vector<unsigned char> badData = good;
  badData[good.size() - 20] ^= 0x55;  // inside the compressed data or its checksum
  for (const auto& b : {badCrc, badData})
    EXPECT_EQ(iotest::WhatThrown([&] { ParsePngHeights(b, "f.png", {}); }).rfind("f.png: ", 0), 0u);
}

TEST(MeshFormats, StlPlyAndObjRoundTripTheSameTrianglesAndStlNormalsAreUnitNormals) {
  const MeshData m = iotest::TwoTriangles();
  const MeshData stl = WeldVertices(ParseStl(EncodeStl(m), "f.stl"));
  const MeshData ply = ParsePly(EncodePly(m), "f.ply");
  const std::string obj = EncodeObj(m);
  const MeshData fromObj = ParseObj({obj.begin(), obj.end()}, "f.obj");
  for (const MeshData* r : {&stl, &ply, &fromObj}) {
    EXPECT_EQ(r->vertices, m.vertices);
    EXPECT_EQ(r->triangles, m.triangles);
  }
  // The STL facet normal is the unit normal of the corners.
  const MeshData flat = iotest::MeshOf({{0, 0, 0}, {2, 0, 0}, {0, 2, 0}}, {{0, 1, 2}});
  const std::vector<unsigned char> binary = EncodeStl(flat);
  ASSERT_EQ(binary.size(), 84u + 50u);
  ByteReader r(binary.data() + 84, 12, "f");
  EXPECT_EQ(r.F32LE(""), 0.0f);
  EXPECT_EQ(r.F32LE(""), 0.0f);
  EXPECT_EQ(r.F32LE(""), 1.0f);
}

TEST(MeshFormats, PlyReaderTakesAsciiExtraPropertiesAndPolygonsAsFans) {
  const std::string ply =
      "ply\nformat ascii 1.0\ncomment made by hand\nelement vertex 5\nproperty double x\nproperty double y\n"
      "property double z\nproperty uchar red\nelement face 1\nproperty uchar flags\n"
      "property list uchar uint vertex_indices\nelement edge 1\nproperty int a\nproperty int b\nend_header\n"
      "0 0 0 255\n1 0 0 0\n1 1 0 0\n0 1 0 0\n0.5 0.5 1e-3 7\n7 4 0 1 2 3\n0 1\n";
  const MeshData m = ParsePly(Bytes(ply), "f.ply");
  ASSERT_EQ(m.vertices.size(), 5u);
  EXPECT_EQ(m.vertices[4], (Vertex{0.5f, 0.5f, 1e-3f}));
  EXPECT_EQ(m.triangles, (std::vector<std::array<std::uint32_t, 3>>{{0, 1, 2}, {0, 2, 3}}));
}

TEST(MeshFormats, BadCountsIndicesAndValuesNameTheProblem) {
  const auto ply = [](const auto& b, const std::string& f) { return ParsePly(b, f); };
  const auto obj = [](const auto& b, const std::string& f) { return ParseObj(b, f); };
  const auto stl = [](const auto& b, const std::string& f) { return ParseStl(b, f); };
  const std::string head = "ply\nformat binary_little_endian 1.0\nelement vertex ";
  EXPECT_TRUE(Contains(iotest::Message(ply, head + "4000000000\nproperty float x\nproperty float y\nproperty float z\nend_header\n"), "more than this library accepts"));
  EXPECT_TRUE(Contains(iotest::Message(ply, head + "1000\nproperty float x\nproperty float y\nproperty float z\nend_header\n"), "truncated"));
  EXPECT_TRUE(Contains(iotest::Message(ply, "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\n" "property float z\nelement face 1\nproperty list uchar int vertex_indices\nend_header\n" "0 0 0\n1 0 0\n0 1 0\n3 0 1 3\n"), "refers to vertex 3 of 3"));
  EXPECT_TRUE(Contains(iotest::Message(ply, "ply\nformat binary_middle_endian 1.0\nend_header\n"), "'binary_middle_endian' is not known"));
  EXPECT_EQ(iotest::Message(obj, "v 0 0 0\nv 1 0 0\nf 1 2 3\n"),
            "f.m: line 3: face corner 3 refers to a missing vertex");
  EXPECT_EQ(iotest::Message(obj, "v 0 nan 0\n"), "f.m: vertex 0 has a non-finite coordinate");
  EXPECT_TRUE(Contains(iotest::Message(stl, "solid cube\nfacet normal 0 0 1\n"), "truncated"));
  std::vector<unsigned char> huge(84, 0);
  huge[80] = huge[81] = huge[82] = huge[83] = 0xff;
  EXPECT_TRUE(Contains(iotest::Message(stl, std::string(huge.begin(), huge.end())), "more than this library accepts"));
}

TEST(MeshFormats, EveryPrefixOfEachBinaryMeshFileFailsCleanly) {
  const MeshData m = iotest::TwoTriangles();
  ExpectEveryPrefixFails(EncodeStl(m), [](const auto& b) { ParseStl(b, "f.bin"); });
  ExpectEveryPrefixFails(EncodePly(m), [](const auto& b) { ParsePly(b, "f.bin"); });
  const std::string ascii =
      "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\nproperty float z\n"
      "element face 1\nproperty list uchar int vertex_indices\nend_header\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n";
  // The final "2\n" may lose its newline and the index stays complete: stop one byte earlier.
  const std::vector<unsigned char> b = Bytes(ascii);
  ExpectEveryPrefixFails(std::vector<unsigned char>(b.begin(), b.end() - 1),
                         [](const auto& p) { ParsePly(p, "f.bin"); });
}

// Text files carry no length: a prefix ending between lines or inside a number is itself a valid
// file. The sweep asks that no prefix crashes and that each yields a clean error or a subset.
TEST(TextFormats, EveryPrefixOfObjAndOutlineTextFailsCleanlyOrReadsAPart) {
  const std::string obj = EncodeObj(iotest::TwoTriangles());
  const std::string outline = EncodeOutlineText({{0, 0, 1}, {10.5f, 0, 1}, {10.5f, 8, 2}, {0, 8, 2}});
  for (std::size_t n = 0; n <= obj.size(); ++n) {
    try {
      const MeshData m = ParseObj(Bytes(obj.substr(0, n)), "f.obj");
      EXPECT_LE(m.vertices.size(), 4u);
      EXPECT_LE(m.triangles.size(), 2u);
    } catch (const CIoException& e) {
      EXPECT_FALSE(Contains(e.what(), "\n"));
    }
  }
  for (std::size_t n = 0; n <= outline.size(); ++n) {
    try {
      EXPECT_LE(ParseOutlineText(outline.substr(0, n), "f.txt").size(), 4u);
    } catch (const CIoException& e) {
      EXPECT_FALSE(Contains(e.what(), "\n"));
    }
  }
}

TEST(TextFormats, OutlineTextAcceptsCommasCommentsAndTwoValuesAndDropsARepeatedFirstPoint) {
  const OutlinePoints p = ParseOutlineText("# margin\n0 0 1\n\n4,0,1\r\n4 3\n0 0 1\n", "f.txt");
  ASSERT_EQ(p.size(), 3u);
  EXPECT_EQ(p[2], (Vertex{4, 3, 0}));
  EXPECT_EQ(ParseOutlineText(EncodeOutlineText(p), "f.txt"), p);
  // Regression: a ring closed twice read back one point shorter after writing (found by fuzzing).
  const OutlinePoints twice = ParseOutlineText("0 0\n4 0\n4 3\n0 0\n0 0\n", "f.txt");
  EXPECT_EQ(twice.size(), 3u);
  EXPECT_EQ(ParseOutlineText(EncodeOutlineText(twice), "f.txt"), twice);
  EXPECT_THROW(ParseOutlineText("0 0\n1 1\n", "f.txt"), CIoException);
  EXPECT_THROW(ParseOutlineText("0 0 0 0\n1 1 1\n2 2 2\n", "f.txt"), CIoException);
  EXPECT_THROW(ParseOutlineText("0 0 x\n1 1 1\n2 2 2\n", "f.txt"), CIoException);
}

TEST(TextFormats, SvgDrawsEachRingAsAPolygonInsideTheGivenBox) {
  const std::string svg = EncodeSvg({{{{1, 2, 0}, {3, 2, 0}, {3, 5, 0}}, "#ff0000", "none", true}}, 10, 20);
  EXPECT_TRUE(ContainsAll(svg, {"viewBox=\"0 0 10 20\"", "<polygon fill=\"none\" stroke=\"#ff0000\"",
      "points=\"1,2 3,2 3,5\""}));
  // Mirrored about the box's middle row, y -> 20 - y: the largest y at the top.
  EXPECT_TRUE(Contains(svg, "<g transform=\"matrix(1 0 0 -1 0 20)\">"));
  EXPECT_EQ(svg.substr(svg.size() - 7), "</svg>\n");
  EXPECT_FALSE(Contains(svg, "<text"));

  // A legend below the frame: the view grows downwards, one sample and one escaped text per entry.
  const std::string legend =
      EncodeSvg({{{{1, 2, 0}, {3, 2, 0}, {3, 5, 0}}, "#ff0000", "none", true}}, 10, 20,
                {{"margin <a & b>", "#ff0000", "none"}, {"mesh", "#00ff00", "#eeffee"}});
  EXPECT_TRUE(ContainsAll(legend, {"viewBox=\"0 0 10 22.25\"", ">margin &lt;a &amp; b&gt;</text>",
      " fill=\"#eeffee\" stroke=\"#00ff00\"/>"}));
  EXPECT_GT(legend.find("<text"), legend.find("</g>"));  // outside the mirrored group: text reads upright
}
