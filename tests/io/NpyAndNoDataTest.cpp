// Height fields as users have them: NPY of every element type in either byte order, and pixels that
// carry no height (NaN, a no-data value, transparent PNG pixels) read as the library's "no value".
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "io/IoTestSupport.h"
#include "qssse/qssse_io.h"

using namespace qssse::io;
using iotest::Bytes;

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// An NPY file written independently of the library's writer: the header dictionary padded to 64 bytes,
// then the elements, each given as its bit pattern and stored in `size` bytes in the given byte order.
std::vector<unsigned char> Npy(const std::string& descr, int rows, int cols, bool fortran,
                               const std::vector<std::uint64_t>& bits, int size, bool bigEndian) {
  std::string dict = "{'descr': '" + descr + "', 'fortran_order': " + (fortran ? "True" : "False") +
                     ", 'shape': (" + std::to_string(rows) + ", " + std::to_string(cols) + "), }";
  dict.append((64 - (10 + dict.size() + 1) % 64) % 64, ' ');
  dict += '\n';
  std::vector<unsigned char> out = Bytes(std::string("\x93NUMPY\x01\x00", 8));
  out.push_back(static_cast<unsigned char>(dict.size()));
  out.push_back(static_cast<unsigned char>(dict.size() >> 8));
  out.insert(out.end(), dict.begin(), dict.end());
  for (std::uint64_t b : bits) {
    for (int i = 0; i < size; ++i)
      out.push_back(static_cast<unsigned char>(b >> (8 * (bigEndian ? size - 1 - i : i))));
  }
  return out;
}

// The CRC of PNG chunks (ISO 3309), bit by bit.
std::uint32_t Crc32(const unsigned char* data, std::size_t n) {
  std::uint32_t c = 0xffffffffu;
  for (std::size_t i = 0; i < n; ++i) {
    c ^= data[i];
    for (int k = 0; k < 8; ++k) c = (c >> 1) ^ (0xedb88320u & (0u - (c & 1u)));
  }
  return c ^ 0xffffffffu;
}

// Two's complement bit patterns of signed values.
std::vector<std::uint64_t> Signed(const std::vector<std::int64_t>& v) { return {v.begin(), v.end()}; }

}  // namespace

TEST(NpyFormat, EveryIntegerTypeInEitherByteOrderReadsToTheNearestFloatAndEveryPrefixFails) {
  struct Case {
    const char* type;
    int size;
    std::vector<std::uint64_t> bits;
    std::vector<float> expected;
  };
  const std::vector<Case> cases = {
      {"i1", 1, Signed({-128, 127, -1, 0, 5, 100}), {-128, 127, -1, 0, 5, 100}},
      {"u1", 1, {0, 255, 1, 128, 7, 64}, {0, 255, 1, 128, 7, 64}},
      {"i2", 2, Signed({-32768, 32767, -1, 0, -300, 1234}), {-32768, 32767, -1, 0, -300, 1234}},
      {"u2", 2, {0, 65535, 1, 32768, 300, 1234}, {0, 65535, 1, 32768, 300, 1234}},
      // 2^31 - 1 and 2^32 - 1 round to the nearest floats, 2^31 and 2^32; 2^24 + 1 to 2^24.
      {"i4", 4, Signed({-2147483648LL, 2147483647, -1, 0, 16777217, -70000}),
       {-2147483648.0f, 2147483648.0f, -1, 0, 16777216.0f, -70000}},
      {"u4", 4, {0, 4294967295ULL, 1, 2147483648ULL, 16777217, 70000},
       {0, 4294967296.0f, 1, 2147483648.0f, 16777216.0f, 70000}},
  };
  for (const Case& c : cases) {
    std::vector<std::uint64_t> masked = c.bits;
    for (std::uint64_t& b : masked) b &= c.size == 8 ? ~0ULL : (1ULL << (8 * c.size)) - 1;
    for (const char order : {'<', '>', '|', '='}) {
      if (order == '|' && c.size != 1) continue;
      const bool big = order == '>' || (order == '=' && std::endian::native == std::endian::big);
      const std::string descr = std::string(1, order) + c.type;
      const HeightField h = ParseNpy(Npy(descr, 2, 3, false, masked, c.size, big), "f.npy");
      EXPECT_EQ(h.width, 3) << descr;
      EXPECT_EQ(h.height, 2) << descr;
      EXPECT_EQ(h.values, c.expected) << descr;
    }
  }
  iotest::ExpectEveryPrefixFails(Npy(">i2", 2, 2, true, Signed({-1, 2, -3, 4}), 2, true),
                                 [](const auto& b) { ParseNpy(b, "f.bin"); });
}

TEST(NpyFormat, FloatsOfBothSizesInEitherByteOrderAndFortranOrder) {
  const std::vector<double> values = {0.1, -2.5, 1e-3, 65504.0, -0.0, 3.0e38};
  std::vector<std::uint64_t> f4, f8;
  std::vector<float> expected;
  for (double v : values) {
    f4.push_back(std::bit_cast<std::uint32_t>(static_cast<float>(v)));
    f8.push_back(std::bit_cast<std::uint64_t>(v));
    expected.push_back(static_cast<float>(v));
  }
  for (const bool big : {false, true}) {
    const char order = big ? '>' : '<';
    EXPECT_EQ(ParseNpy(Npy(std::string(1, order) + "f4", 2, 3, false, f4, 4, big), "f.npy").values, expected);
    EXPECT_EQ(ParseNpy(Npy(std::string(1, order) + "f8", 2, 3, false, f8, 8, big), "f.npy").values, expected);
    // Column order: memory 0.1 -2.5 1e-3 ... runs down the two rows of each column first.
    for (const auto& [type, bits, size] : {std::tuple{"f4", &f4, 4}, std::tuple{"f8", &f8, 8}}) {
      const HeightField t = ParseNpy(Npy(std::string(1, order) + type, 2, 3, true, *bits, size, big), "f.npy");
      EXPECT_EQ(t.values, (std::vector<float>{expected[0], expected[2], expected[4], expected[1], expected[3],
                                              expected[5]}));
    }
  }
  // A double beyond the float range becomes an infinity, which is not a height.
  const std::vector<unsigned char> huge =
      Npy("<f8", 1, 1, false, {std::bit_cast<std::uint64_t>(1e300)}, 8, false);
  EXPECT_EQ(ParseNpy(huge, "f.npy").values[0], std::numeric_limits<float>::infinity());
  EXPECT_THROW(ParseHeightField(huge, FileKind::Npy, "f.npy"), CIoException);
}

TEST(NoData, NanAndTheNoDataValueReadAsNoValueAndAreCounted) {
  HeightField h{3, 2, {1, kNaN, -9999, 4, kNaN, 6}};
  for (const auto& [bytes, kind] :
       {std::pair{EncodePfm(h), FileKind::Pfm}, std::pair{EncodeNpy(h), FileKind::Npy},
        std::pair{EncodeMatrixFile(h), FileKind::Matrix}}) {
    const HeightField nan = ParseHeightField(bytes, kind, "f");
    EXPECT_EQ(nan.values, (std::vector<float>{1, 0, -9999, 4, 0, 6})) << FileKindName(kind);
    EXPECT_EQ(nan.noDataPixels, 2u);

    HeightFieldReadOptions o;
    o.haveNoData = true;
    o.noData = -9999;
    const HeightField both = ParseHeightField(bytes, kind, "f", o);
    EXPECT_EQ(both.values, (std::vector<float>{1, 0, 0, 4, 0, 6}));
    EXPECT_EQ(both.noDataPixels, 3u);

    // A caller that wants to tell them apart keeps them marked.
    o.noValue = kNaN;
    const HeightField marked = ParseHeightField(bytes, kind, "f", o);
    EXPECT_TRUE(std::isnan(marked.values[2]));
    EXPECT_EQ(marked.values[3], 4.0f);
  }
}

TEST(NoData, AnInfiniteNoDataValueMarksInfinitiesAndOtherInfinitiesAreRefused) {
  const float inf = std::numeric_limits<float>::infinity();
  const std::vector<unsigned char> pfm = EncodePfm(HeightField{2, 1, {-inf, 3}});
  HeightFieldReadOptions o;
  o.haveNoData = true;
  o.noData = -inf;
  EXPECT_EQ(ParseHeightField(pfm, FileKind::Pfm, "f.pfm", o).values, (std::vector<float>{0, 3}));
  o.noData = inf;
  EXPECT_EQ(iotest::WhatThrown([&] { ParseHeightField(pfm, FileKind::Pfm, "f.pfm", o); }),
            "f.pfm: pixel (0, 0) is -infinity: heights must be finite or marked as no data");
}

TEST(NoData, TransparentPngPixelsCarryNoHeightAndNanIsWrittenAsTransparent) {
  // Grey+alpha written by hand: alpha 0 marks no height, any other alpha keeps the level.
  for (int bits : {8, 16}) {
    const std::vector<std::uint16_t> levels = {10, 20, 30, 40}, alpha = {255, 0, 1, 255};
    const std::vector<unsigned char> png = EncodePngGrey(2, 2, bits, levels, {}, &alpha);
    const HeightField h = ParseHeightField(png, FileKind::Png, "f.png");
    EXPECT_EQ(h.values, (std::vector<float>{10, 0, 30, 40})) << bits;
    EXPECT_EQ(h.noDataPixels, 1u);

    // NaN heights are written transparent, and the scale spreads only the other heights.
    PngScale s;
    s.bits = bits;
    const std::vector<unsigned char> written = EncodePngHeights(HeightField{3, 1, {-1, kNaN, 1}}, s);
    const PngGrey grey = DecodePngGrey(written, "f.png");
    EXPECT_EQ(grey.alpha, (std::vector<std::uint16_t>{static_cast<std::uint16_t>(bits == 8 ? 255 : 65535), 0,
                                                      static_cast<std::uint16_t>(bits == 8 ? 255 : 65535)}));
    EXPECT_EQ(grey.levels[2], bits == 8 ? 255 : 65535);
    const HeightField back = ParseHeightField(written, FileKind::Png, "f.png");
    EXPECT_EQ(back.values, (std::vector<float>{-1, 0, 1}));
    EXPECT_EQ(back.noDataPixels, 1u);
  }
  // A grey PNG whose tRNS chunk names one transparent level: those pixels carry no height.
  std::vector<unsigned char> png = EncodePngGrey(2, 2, 8, {10, 20, 30, 20}, {});
  const std::vector<unsigned char> trns = {0, 0, 0, 2, 't', 'R', 'N', 'S', 0, 20};
  std::vector<unsigned char> chunk = trns;
  const std::uint32_t crc = Crc32(trns.data() + 4, trns.size() - 4);
  for (int i = 3; i >= 0; --i) chunk.push_back(static_cast<unsigned char>(crc >> (8 * i)));
  png.insert(png.begin() + 33, chunk.begin(), chunk.end());  // after the signature and the IHDR chunk
  const HeightField keyed = ParseHeightField(png, FileKind::Png, "f.png");
  EXPECT_EQ(keyed.values, (std::vector<float>{10, 0, 30, 0}));
  EXPECT_EQ(keyed.noDataPixels, 2u);

  // A PNG without transparency has no alpha to report.
  EXPECT_TRUE(DecodePngGrey(EncodePngHeights(HeightField{1, 1, {2}}, {}), "f.png").alpha.empty());
}

TEST(NoData, WritingZeroAsNanMarksEveryZeroPixelInEveryFormat) {
  iotest::TempDir dir;
  const HeightField h{2, 2, {0, 1.5f, 2, 0}};
  HeightFieldWriteOptions w;
  w.zeroAsNaN = true;
  for (const char* name : {"z.pfm", "z.npy", "z.qsm", "z.png"}) {
    WriteHeightField(dir / name, h, w);
    HeightFieldReadOptions keep;
    keep.noValue = kNaN;
    const HeightField back = ReadHeightField(dir / name, keep);
    EXPECT_EQ(back.noDataPixels, 2u) << name;
    EXPECT_TRUE(std::isnan(back.values[0]) && std::isnan(back.values[3])) << name;
    EXPECT_EQ(back.values[2], 2.0f) << name;
  }
  // Without the option a 0 stays a 0.
  WriteHeightField(dir / "plain.pfm", h);
  EXPECT_EQ(ReadHeightField(dir / "plain.pfm").noDataPixels, 0u);
}
