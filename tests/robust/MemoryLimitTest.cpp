// The library-wide memory ceiling: requests above it throw CMemoryException naming the figure before
// anything is allocated or changed.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "qssse/io/HeightField.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/AlignedMemory.h"
#include "qssse/platform/Archive.h"
#include "qssse/platform/ArchiveException.h"
#include "qssse/platform/MemFile.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/platform/MemoryLimit.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/raster/SSEcharMatrix.h"

namespace {

constexpr std::uint64_t kMiB = std::uint64_t{1} << 20;

std::string MessageOf(const std::function<void()>& f) {
  try {
    f();
  } catch (const CMemoryException& e) {
    return e.what();
  }
  return "";
}

TEST(MemoryLimit, DefaultIsPhysicalMemoryAndZeroRestoresIt) {
  const std::uint64_t physical = qssse::physicalMemoryBytes();
  EXPECT_EQ(qssse::GetMemoryLimit(), physical);
  {
    qssse::CMemoryLimitScope scope(5 * kMiB);
    EXPECT_EQ(qssse::GetMemoryLimit(), 5 * kMiB);
    qssse::SetMemoryLimit(0);
    EXPECT_EQ(qssse::GetMemoryLimit(), physical);
  }
  EXPECT_EQ(qssse::GetMemoryLimit(), physical);
}

TEST(MemoryLimit, RefusalNamesTheObjectTheFigureAndTheLimit) {
  qssse::CMemoryLimitScope scope(kMiB);
  EXPECT_EQ(MessageOf([] { qssse::CheckMemoryRequest(kMiB + 1, "a test block"); }),
            "out of memory: a test block needs 1048577 bytes, more than the limit of 1048576");
  EXPECT_NO_THROW(qssse::CheckMemoryRequest(kMiB, "a test block"));
  // 2^40 x 2^30 overflows 64 bits: over any limit, said as the factors.
  EXPECT_EQ(MessageOf([] { qssse::CheckMemoryRequest(std::uint64_t{1} << 40, std::uint64_t{1} << 30, 7, "x"); }),
            "out of memory: x needs 1099511627776 x 1073741824 + 7 bytes, more than the limit of 1048576");
}

TEST(MemoryLimit, EveryObjectScalerAndReaderChecksItsWholeStorageBeforeItChanges) {
  qssse::CMemoryLimitScope scope(kMiB);
  // A float matrix of 1024 x 256: 1024 columns x 65 groups x 16 bytes, a little over 1 MiB.
  CSSEMatrix m;
  m.Create(3, 3);
  m.SetPoint(1, 1, 7.0f);
  EXPECT_NE(MessageOf([&] { m.Create(1024, 256); }).find("a float matrix"), std::string::npos);
  EXPECT_EQ(m.GetSizeX(), 3);
  EXPECT_EQ(m.GetPoint(1, 1), 7.0f);
  EXPECT_NO_THROW(m.Create(1000, 200));

  // A byte matrix 70000 wide and 0 high still holds one group of 16 rows: 1.1 MB.
  CSSEcharMatrix c(2, 2);
  EXPECT_NE(MessageOf([&] { c.Create(70000, 0); }).find("a byte matrix"), std::string::npos);
  EXPECT_EQ(c.GetSizeX(), 2);
  EXPECT_NO_THROW(c.Create(60000, 0));

  // A mesh: 144 + 12 x 16 bytes per triangle.
  CHTriangulation mesh(1, 1.0f, 1.0f, 1.0f);
  EXPECT_NE(MessageOf([&] { mesh.CreateTriangulation(4000); }).find("a mesh needs 1344000"), std::string::npos);
  EXPECT_EQ(mesh.GetNumTriangles(), 1);

  CSSE3dPolygon p;
  p.Create(2);
  EXPECT_NE(MessageOf([&] { p.Create(50000); }).find("a polygon"), std::string::npos);
  EXPECT_EQ(p.GetNumPoints(), 2);

  EXPECT_NE(MessageOf([] { qssse::alignedAlloc(2 * kMiB); }).find("a block"), std::string::npos);

  // Scalers and readers meet the ceiling too.
  m.Create(4, 4);
  m.SetPoint(2, 2, 3.0f);
  EXPECT_THROW(m.ScaleMatrix_SSE(2000, 2000), CMemoryException);
  EXPECT_EQ(m.GetSizeX(), 4);
  EXPECT_EQ(m.GetPoint(2, 2), 3.0f);
  // A PFM header of 1000 x 1000 (8 MB of floats read and kept) is refused before its pixels are read.
  EXPECT_THROW(qssse::io::CheckRasterSize(1000, 1000, "big.pfm"), CMemoryException);
}

TEST(MemoryLimit, SettingFromManyThreadsIsSafe) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 1000; ++i) {
        qssse::SetMemoryLimit((t + 1) * kMiB);
        const std::uint64_t now = qssse::GetMemoryLimit();
        EXPECT_TRUE(now >= kMiB && now <= 4 * kMiB);
      }
    });
  }
  for (std::thread& t : threads) t.join();
  qssse::SetMemoryLimit(0);
}

void LoadCharMatrix(CSSEcharMatrix& c, std::vector<unsigned char> bytes) {
  CMemFile file(std::move(bytes));
  CArchive ar(&file, CArchive::load);
  c.Serialize(ar);
}

// The byte-matrix file of 8 bytes that once asked for 16 GB: width 10^9, height 0. Its real storage is
// refused as corrupt whatever the ceiling; a smaller one of 70000 x 0 meets a ceiling of 1 MiB.
TEST(MemoryLimit, ByteMatrixHeaderIsCheckedByItsRealStorage) {
  CSSEcharMatrix c(3, 3);
  c.SetPoint(1, 1, 9);
  EXPECT_THROW(LoadCharMatrix(c, {0x00, 0xCA, 0x9A, 0x3B, 0, 0, 0, 0}), CArchiveException);
  {
    qssse::CMemoryLimitScope scope(kMiB);
    EXPECT_THROW(LoadCharMatrix(c, {0x70, 0x11, 0x01, 0x00, 0, 0, 0, 0}), CMemoryException);
  }
  EXPECT_EQ(c.GetSizeX(), 3);
  EXPECT_EQ(c.GetPoint(1, 1), 9);
}

}  // namespace
