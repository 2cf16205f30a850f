#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <vector>

#include "qssse/platform/ArchiveException.h"
#include "qssse/platform/CoreException.h"
#include "qssse/platform/StreamReadBinaryMemory.h"
#include "qssse/platform/StreamWriteBinaryMemory.h"
#include "RasterTestSupport.h"
#include "qssse/raster/SSEMatrix.h"

namespace {

using namespace rastertest;

// Distinct values everywhere, padding pixels included.
CSSEMatrix Sample(int sx, int sy) {
  CSSEMatrix m = Blank(sx, sy);
  return SetLanes(m, [](int x, int g, int l) { return static_cast<float>(1000 * x + 4 * g + l) + 0.25f; });
}

std::vector<unsigned char> StreamBytes(const CSSEMatrix& m) {
  CbStreamWriteBinaryMemory out;
  m.Serialize(out);
  return out.GetData();
}

TEST(SSEMatrixArchive, WritesSizesThenColumnsOfSimdRowsLittleEndian) {
  CSSEMatrix m = Sample(2, 3);  // sseSizeY 1: element (0, 0), then (0, 1)
  const std::vector<unsigned char> bytes = ArchiveBytes(m);
  ASSERT_EQ(bytes.size(), 8u + 2 * 1 * 16);
  const unsigned char header[8] = {2, 0, 0, 0, 3, 0, 0, 0};
  EXPECT_EQ(std::memcmp(bytes.data(), header, 8), 0);
  float first[8];
  std::memcpy(first, bytes.data() + 8, sizeof first);
  EXPECT_EQ(first[0], 0.25f);     // pixel (0, 0)
  EXPECT_EQ(first[3], 3.25f);     // padding pixel (0, 3)
  EXPECT_EQ(first[4], 1000.25f);  // pixel (1, 0)
}

TEST(SSEMatrixArchive, RoundTripKeepsPaddingAndEqualSizeKeepsStorage) {
  CSSEMatrix m = Sample(7, 130);
  const std::vector<unsigned char> bytes = ArchiveBytes(m);
  CSSEMatrix same = Blank(7, 130);
  __m128** storage = same.GetMatrixDataDirectly();
  LoadArchive(same, bytes);
  EXPECT_EQ(same.GetMatrixDataDirectly(), storage);
  EXPECT_TRUE(SameBits(m, same));

  CSSEMatrix other = Blank(3, 3);
  LoadArchive(other, bytes);
  EXPECT_TRUE(SameBits(m, other));
}

TEST(SSEMatrixArchive, ImpossibleHeadersAreRejectedBeforeTheMatrixChangesAndEveryCutIsEndOfFile) {
  CSSEMatrix m = Sample(3, 5);
  const std::vector<unsigned char> valid = ArchiveBytes(m);
  const std::int32_t headers[][2] = {{-1, 5}, {3, -7}, {3, CSSEMatrix::kMaxSizeY + 1}, {2000000000, 30000}, {4, 5}};
  const int causes[] = {CArchiveException::badIndex, CArchiveException::badIndex, CArchiveException::badIndex,
                        CArchiveException::endOfFile, CArchiveException::endOfFile};
  for (std::size_t i = 0; i < std::size(headers); ++i) {
    std::vector<unsigned char> bytes = valid;
    std::memcpy(bytes.data(), headers[i], 8);
    CSSEMatrix target = Sample(2, 2);
    try {
      LoadArchive(target, bytes);
      ADD_FAILURE() << "header " << i << " accepted";
    } catch (const CArchiveException& e) {
      EXPECT_EQ(e.m_cause, causes[i]) << i;
    }
    CSSEMatrix untouched = Sample(2, 2);
    EXPECT_TRUE(SameBits(target, untouched)) << i;
  }
  for (std::size_t n = 0; n < valid.size(); ++n) {
    CSSEMatrix target;
    try {
      LoadArchive(target, std::vector<unsigned char>(valid.begin(), valid.begin() + static_cast<long>(n)));
      ADD_FAILURE() << "prefix of " << n << " bytes accepted";
    } catch (const CArchiveException& e) {
      EXPECT_EQ(e.m_cause, CArchiveException::endOfFile) << n;
    }
  }
}

TEST(SSEMatrixArchive, FreedMatrixStoresZeroElementsThatLoadBack) {
  CSSEMatrix m = Sample(3, 2);
  m.Free();
  const std::vector<unsigned char> bytes = ArchiveBytes(m);
  EXPECT_EQ(bytes.size(), 8u + 3 * 16);
  CSSEMatrix back;
  LoadArchive(back, bytes);
  EXPECT_EQ(back.GetSizeX(), 3);
  EXPECT_EQ(back.GetPoint(2, 1), 0.0f);
}

TEST(SSEMatrixStream, VersionOneRoundTripsUnknownVersionsGiveEmptyAndBadSizesOrCutsThrowFirst) {
  CSSEMatrix m = Sample(5, 9);
  const std::vector<unsigned char> valid = StreamBytes(m);
  CbStreamReadBinaryMemory whole(valid);
  CSSEMatrix back;
  back.Serialize(whole);
  EXPECT_TRUE(SameBits(m, back));
  EXPECT_EQ(whole.BytesRemaining(), 0u);
  for (std::size_t n = 0; n < valid.size(); ++n) {
    CbStreamReadBinaryMemory in(valid.data(), n);
    CSSEMatrix target = Sample(2, 2);
    if (n < 8) {
      // A cut version record is an unknown version: the matrix becomes 0 x 0.
      target.Serialize(in);
      EXPECT_EQ(target.GetSizeX(), 0) << n;
    } else {
      EXPECT_THROW(target.Serialize(in), CbException) << n;
      EXPECT_EQ(target.GetSizeX(), 2) << n;
    }
  }
  for (const auto& [version, sx, sy] : {std::array{2, 4, 4}, {1, 100000, 30000}}) {
    CbStreamWriteBinaryMemory out;
    out.WriteVersion(version);
    out.WriteInt32(sx);
    out.WriteInt32(sy);
    CbStreamReadBinaryMemory in(out.GetData());
    CSSEMatrix target = Sample(3, 3);
    if (version == 1) {
      EXPECT_THROW(target.Serialize(in), CbException);
      EXPECT_EQ(target.GetSizeX(), 3);
    } else {
      target.Serialize(in);
      EXPECT_EQ(target.GetSizeX(), 0);
      EXPECT_EQ(target.GetSizeY(), 0);
      EXPECT_FALSE(target.HasPixels());
    }
  }
}

TEST(SSEMatrixFile, StoreAndLoadRoundTripAndReportMissingFiles) {
  const std::filesystem::path dir = std::filesystem::temp_directory_path() / "qssse_matrix_io";
  std::filesystem::create_directories(dir);
  const std::string path = (dir / "m.qsm").string();
  CSSEMatrix m = Sample(33, 17);
  ASSERT_TRUE(m.Store(CString(path)));
  CSSEMatrix back;
  ASSERT_TRUE(back.Load(CString(path)));
  EXPECT_TRUE(SameBits(m, back));

  EXPECT_FALSE(back.Load(CString((dir / "missing.qsm").string())));
  EXPECT_FALSE(m.Store(CString((dir / "no" / "such" / "dir.qsm").string())));

  std::filesystem::resize_file(path, 8 + 16 * 5);  // truncated in the data
  EXPECT_THROW(back.Load(CString(path)), CArchiveException);
  std::filesystem::remove_all(dir);
}

TEST(SSEMatrixArchive, HeaderCountsOnlyTheBytesAfterIt) {
  // Found by fuzzing: 1 x 0 needs 16 bytes of padding data, the file holds 16 bytes in all but only 8
  // after the header. Measured against the whole file the check passed and the matrix was re-created
  // before the read failed.
  const std::vector<unsigned char> bytes = {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x80, 0x3f, 0, 0, 0, 0};
  CSSEMatrix target = Sample(2, 2);
  EXPECT_THROW(LoadArchive(target, bytes), CArchiveException);
  CSSEMatrix untouched = Sample(2, 2);
  EXPECT_TRUE(SameBits(target, untouched));
}

}  // namespace
