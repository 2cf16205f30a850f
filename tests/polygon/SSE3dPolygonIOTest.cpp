#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "PolygonTestUtil.h"
#include "qssse/platform/Archive.h"
#include "qssse/platform/ArchiveException.h"
#include "qssse/platform/CoreException.h"
#include "qssse/platform/MemFile.h"
#include "qssse/platform/StreamReadBinaryMemory.h"
#include "qssse/platform/StreamWriteBinaryMemory.h"

using polytest::Make;
using polytest::P3;
using polytest::Points;

namespace {

std::vector<unsigned char> ArchiveBytes(CSSE3dPolygon& p) {
  CMemFile file;
  {
    CArchive ar(&file, CArchive::store);
    p.Serialize(ar);
  }
  return file.GetBytes();
}

void LoadArchive(CSSE3dPolygon& p, std::vector<unsigned char> bytes) {
  CMemFile file(std::move(bytes));
  CArchive ar(&file, CArchive::load);
  p.Serialize(ar);
}

std::vector<unsigned char> StreamBytes(const CSSE3dPolygon& p) {
  CbStreamWriteBinaryMemory out;
  p.Serialize(out);
  return out.GetData();
}

void AppendInt(std::vector<unsigned char>& b, std::int32_t v) {
  for (int i = 0; i < 4; ++i)
    b.push_back(static_cast<unsigned char>(static_cast<std::uint32_t>(v) >> (8 * i)));
}

void AppendFloat(std::vector<unsigned char>& b, float f) {
  std::int32_t v;
  std::memcpy(&v, &f, 4);
  AppendInt(b, v);
}

}  // namespace

TEST(PolygonArchive, RoundTripRepeatsTheLastButOnePoint) {
  CSSE3dPolygon p = Make({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {10, 11, 12}});
  const std::vector<unsigned char> bytes = ArchiveBytes(p);
  ASSERT_EQ(bytes.size(), 4u + 48u);
  float firstBlockY0;
  std::memcpy(&firstBlockY0, bytes.data() + 4 + 16, 4);  // X block, then the Y block
  EXPECT_EQ(firstBlockY0, 2.0f);
  CSSE3dPolygon q;
  q.CalcBoundingBox();
  LoadArchive(q, bytes);
  EXPECT_EQ(Points(q), (std::vector<P3>{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {7, 8, 9}}));
  EXPECT_FALSE(q.IsBoundingBoxCalculated());
}

TEST(PolygonArchive, PaddingIsWrittenAndSinglePointsSurvive) {
  CSSE3dPolygon five = Make({{1, 0, 0}, {2, 0, 0}, {3, 0, 0}, {4, 0, 0}, {5, 0, 0}});
  EXPECT_EQ(ArchiveBytes(five).size(), 4u + 2 * 48u);
  CSSE3dPolygon one = Make({{1, 2, 3}});
  CSSE3dPolygon q;
  LoadArchive(q, ArchiveBytes(one));
  EXPECT_EQ(Points(q), (std::vector<P3>{{1, 2, 3}}));
  CSSE3dPolygon empty, r = Make({{1, 1, 1}});
  LoadArchive(r, ArchiveBytes(empty));
  EXPECT_EQ(r.GetNumPoints(), 0);
}

TEST(PolygonArchive, RejectsBadCountsAndTruncationBeforeAllocating) {
  std::vector<unsigned char> negative;
  AppendInt(negative, -1);
  CSSE3dPolygon q = Make({{1, 1, 1}});
  EXPECT_THROW(LoadArchive(q, negative), CArchiveException);
  EXPECT_EQ(q.GetNumPoints(), 1);  // untouched
  std::vector<unsigned char> huge;
  AppendInt(huge, 0x7fffffff);
  EXPECT_THROW(LoadArchive(q, huge), CArchiveException);
  // Every cut of a valid file fails cleanly.
  CSSE3dPolygon p = Make({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {10, 11, 12}, {13, 14, 15}});
  const std::vector<unsigned char> bytes = ArchiveBytes(p);
  for (std::size_t len = 0; len < bytes.size(); ++len) {
    CSSE3dPolygon r;
    EXPECT_THROW(LoadArchive(r, std::vector<unsigned char>(bytes.begin(), bytes.begin() + len)),
                 CArchiveException)
        << len;
  }
  // Writing to a loading archive is the archive's own error.
  CMemFile file(bytes);
  CArchive ar(&file, CArchive::load);
  CSSE3dPolygon r;
  ar.Close();
  EXPECT_THROW(r.Serialize(ar), CArchiveException);
}

TEST(PolygonStream, Version2RoundTripKeepsNormalizedCentreAndBox) {
  CSSE3dPolygon p = Make({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
  p.NormalizeXYZ(t_resolutiondata{2, 3, 4});
  p.CalcGeometricCenter();
  p.CalcBoundingBox();
  const std::vector<unsigned char> bytes = StreamBytes(p);
  EXPECT_EQ(bytes.size(), 8u + 4u + 9 * 4u * 2 + 12u + 1u + 48u);
  CSSE3dPolygon q;
  CbStreamReadBinaryMemory in(bytes);
  q.Serialize(in);
  EXPECT_EQ(in.BytesRemaining(), 0u);
  EXPECT_EQ(Points(q), Points(p));
  float x = 0, y = 0, z = 0;
  q.GetPointNormalized(2, x, y, z);
  EXPECT_EQ(x, 14.0f);
  EXPECT_EQ(z, 36.0f);
  EXPECT_TRUE(q.IsBoundingBoxCalculated());
  EXPECT_EQ(q.GetTopRight().y, 8.0f);
  EXPECT_EQ(q.GetBottomLeft().z, 3.0f);
  SSEPoint c;
  q.GetGeometricCenter(c);
  EXPECT_EQ(c.x, 1.0f / 3 + 4.0f / 3 + 7.0f / 3);

  // With the flag clear the record ends right after it.
  p.SetPointX(0, 1.0f);
  EXPECT_EQ(StreamBytes(p).size(), bytes.size() - 48u);
}

TEST(PolygonStream, Version1ReadsPointsOnlyAndUnknownVersionsGiveEmpty) {
  std::vector<unsigned char> v1;
  AppendInt(v1, CbStreamWrite::VersionTag);
  AppendInt(v1, 1);
  AppendInt(v1, 2);
  for (float f : {1.f, 2.f, 3.f, 4.f, 5.f, 6.f}) AppendFloat(v1, f);
  CSSE3dPolygon q = Make({{9, 9, 9}});
  q.CalcGeometricCenter();
  CbStreamReadBinaryMemory in(v1);
  q.Serialize(in);
  EXPECT_EQ(Points(q), (std::vector<P3>{{1, 2, 3}, {4, 5, 6}}));
  float x = 1, y = 1, z = 1;
  q.GetPointNormalized(1, x, y, z);
  EXPECT_EQ(x + y + z, 0.0f);
  SSEPoint c;
  q.GetGeometricCenter(c);
  EXPECT_EQ(c.x, 0.0f);
  EXPECT_FALSE(q.IsBoundingBoxCalculated());

  std::vector<unsigned char> v3;
  AppendInt(v3, CbStreamWrite::VersionTag);
  AppendInt(v3, 3);
  CbStreamReadBinaryMemory in3(v3);
  q.Serialize(in3);
  EXPECT_EQ(q.GetNumPoints(), 0);
}

TEST(PolygonStream, RejectsImpossibleCountsAndCutsCleanly) {
  for (std::int32_t count : {-5, 1000}) {
    std::vector<unsigned char> b;
    AppendInt(b, CbStreamWrite::VersionTag);
    AppendInt(b, 2);
    AppendInt(b, count);
    CSSE3dPolygon q;
    CbStreamReadBinaryMemory in(b);
    EXPECT_THROW(q.Serialize(in), CbException);
  }
  CSSE3dPolygon p = Make({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
  p.CalcBoundingBox();
  const std::vector<unsigned char> bytes = StreamBytes(p);
  // A cut inside the version record reads as an unknown version; every later cut throws.
  for (std::size_t len = 8; len < bytes.size(); ++len) {
    CSSE3dPolygon q;
    CbStreamReadBinaryMemory in(std::vector<unsigned char>(bytes.begin(), bytes.begin() + len));
    EXPECT_THROW(q.Serialize(in), CbException) << len;
  }
}
