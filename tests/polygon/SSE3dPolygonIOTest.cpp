#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "PolygonTestUtil.h"
#include "raster/RasterTestSupport.h"
#include "qssse/platform/ArchiveException.h"
#include "qssse/platform/CoreException.h"
#include "qssse/platform/StreamReadBinaryMemory.h"
#include "qssse/platform/StreamWriteBinaryMemory.h"

using polytest::Make;
using polytest::P3;
using polytest::Points;
using rastertest::ArchiveBytes;
using rastertest::LoadArchive;

namespace {

using Bytes = std::vector<unsigned char>;

Bytes StreamBytes(const CSSE3dPolygon& p) {
  CbStreamWriteBinaryMemory out;
  p.Serialize(out);
  return out.GetData();
}

void LoadStream(CSSE3dPolygon& p, const Bytes& bytes) {
  CbStreamReadBinaryMemory in(bytes);
  p.Serialize(in);
}

// Little-endian int32 values, floats given by their value.
Bytes Words(std::initializer_list<float> floats, std::initializer_list<std::int32_t> ints) {
  Bytes b;
  auto put = [&](std::uint32_t v) {
    for (int i = 0; i < 4; ++i) b.push_back(static_cast<unsigned char>(v >> (8 * i)));
  };
  for (std::int32_t v : ints) put(static_cast<std::uint32_t>(v));
  for (float f : floats) {
    std::uint32_t v;
    std::memcpy(&v, &f, 4);
    put(v);
  }
  return b;
}

}  // namespace

TEST(PolygonArchive, RoundTripRepeatsTheLastButOnePoint) {
  CSSE3dPolygon p = Make({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {10, 11, 12}});
  const Bytes bytes = ArchiveBytes(p);
  // count, then the block image: 4 X, 4 Y, 4 Z
  EXPECT_EQ(bytes, Words({1, 4, 7, 10, 2, 5, 8, 11, 3, 6, 9, 12}, {4}));
  CSSE3dPolygon q;
  q.CalcBoundingBox();
  LoadArchive(q, bytes);
  EXPECT_EQ(Points(q), (std::vector<P3>{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {7, 8, 9}}));
  EXPECT_FALSE(q.IsBoundingBoxCalculated());
  CSSE3dPolygon one = Make({{1, 2, 3}}), five = Make({{1, 0, 0}, {2, 0, 0}, {3, 0, 0}, {4, 0, 0}, {5, 0, 0}});
  EXPECT_EQ(ArchiveBytes(five).size(), 4u + 2 * 48u);  // padding lanes are written
  LoadArchive(q, ArchiveBytes(one));
  EXPECT_EQ(Points(q), (std::vector<P3>{{1, 2, 3}}));  // a single point has no source to copy
}

TEST(PolygonArchive, RejectsBadCountsAndEveryTruncation) {
  CSSE3dPolygon q = Make({{1, 1, 1}});
  EXPECT_THROW(LoadArchive(q, Words({}, {-1})), CArchiveException);
  EXPECT_THROW(LoadArchive(q, Words({}, {0x7fffffff})), CArchiveException);
  // One block announced with 44 bytes after the count: the file length (48) alone would let it pass.
  EXPECT_THROW(LoadArchive(q, Words({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, {1})), CArchiveException);
  EXPECT_EQ(q.GetNumPoints(), 1);  // rejected before anything changed
  CSSE3dPolygon p = Make({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {10, 11, 12}, {13, 14, 15}});
  const Bytes bytes = ArchiveBytes(p);
  for (std::size_t len = 0; len < bytes.size(); ++len)
    EXPECT_THROW(LoadArchive(q, Bytes(bytes.begin(), bytes.begin() + len)), CArchiveException) << len;
}

TEST(PolygonStream, Version2RoundTripEndsAfterTheFlagWhenItIsClear) {
  CSSE3dPolygon p = Make({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
  p.NormalizeXYZ(t_resolutiondata{2, 3, 4});
  p.CalcGeometricCenter();
  p.CalcBoundingBox();
  const Bytes bytes = StreamBytes(p);
  EXPECT_EQ(bytes.size(), 8u + 4u + 2 * 36u + 12u + 1u + 48u);
  CSSE3dPolygon q;
  LoadStream(q, bytes);
  EXPECT_EQ(Points(q), Points(p));
  float x = 0, y = 0, z = 0;
  q.GetPointNormalized(2, x, y, z);
  EXPECT_EQ(z, 36.0f);
  EXPECT_TRUE(q.IsBoundingBoxCalculated());
  EXPECT_EQ(q.GetTopRight().y, 8.0f);
  EXPECT_EQ(q.GetBottomLeft().z, 3.0f);
  SSEPoint c;
  q.GetGeometricCenter(c);
  EXPECT_EQ(c.x, 1.0f / 3 + 4.0f / 3 + 7.0f / 3);
  p.SetPointX(0, 1.0f);
  EXPECT_EQ(StreamBytes(p).size(), bytes.size() - 48u);
}

TEST(PolygonStream, Version1ReadsPointsOnlyUnknownVersionsGiveEmptyAndBadCountsOrCutsThrow) {
  CSSE3dPolygon q = Make({{9, 9, 9}});
  LoadStream(q, Words({1, 2, 3, 4, 5, 6}, {CbStreamWrite::VersionTag, 1, 2}));
  EXPECT_EQ(Points(q), (std::vector<P3>{{1, 2, 3}, {4, 5, 6}}));
  float x = 1, y = 1, z = 1;
  q.GetPointNormalized(1, x, y, z);
  EXPECT_EQ(x + y + z, 0.0f);
  LoadStream(q, Words({}, {CbStreamWrite::VersionTag, 3}));
  EXPECT_EQ(q.GetNumPoints(), 0);
  EXPECT_THROW(LoadStream(q, Words({}, {CbStreamWrite::VersionTag, 2, -5})), CbException);
  EXPECT_THROW(LoadStream(q, Words({}, {CbStreamWrite::VersionTag, 2, 1000})), CbException);
  CSSE3dPolygon p = Make({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
  p.CalcBoundingBox();
  const Bytes bytes = StreamBytes(p);
  // A cut inside the version record reads as an unknown version; every later cut throws.
  for (std::size_t len = 8; len < bytes.size(); ++len)
    EXPECT_THROW(LoadStream(q, Bytes(bytes.begin(), bytes.begin() + len)), CbException) << len;
}
