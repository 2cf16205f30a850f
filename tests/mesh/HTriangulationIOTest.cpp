#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "MeshTestSupport.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/Archive.h"
#include "qssse/platform/ArchiveException.h"
#include "qssse/platform/CoreException.h"
#include "qssse/platform/MemFile.h"
#include "qssse/platform/StreamReadBinaryMemory.h"
#include "qssse/platform/StreamWriteBinaryMemory.h"

using meshtest::SamePoint;

namespace {

// Four triangles of a square fan with a spike: two of them share an edge with each other only.
void Fan(CHTriangulation& m) {
  m.BaseInitialization(0.5f, 0.25f, 2.0f);
  m.CreateTriangulation(4);
  SetTriangle(m, 0, P(0, 0, 0), P(1, 0, 0), P(1, 1, 1));
  SetTriangle(m, 1, P(0, 0, 0), P(1, 1, 1), P(0, 1, 0));
  SetTriangle(m, 2, P(5, 5, 5), P(6, 5, 5), P(5, 6, 5));
  SetTriangle(m, 3, P(9, 9, 9), P(8, 9, 9), P(9, 8, 9));
  m.CalcSTV();
  m.CalcNormalsFromVertices();
  m.CalcBoundingBox();
  m.CalcCenterPoint();
  m.GetTriangle(2)->mark = 14;
}

std::vector<unsigned char> Stream(const CHTriangulation& m) {
  CbStreamWriteBinaryMemory s;
  m.Serialize(s);
  return s.GetData();
}

std::vector<unsigned char> Archive(CHTriangulation& m) {
  CMemFile file;
  {
    CArchive ar(&file, CArchive::store);
    m.Serialize(ar);
  }
  return file.Detach();
}

void ExpectSameTriangles(const CHTriangulation& a, const CHTriangulation& b) {
  ASSERT_EQ(a.GetNumTriangles(), b.GetNumTriangles());
  for (int i = 0; i < 3 * a.GetNumTriangles(); ++i) {
    EXPECT_TRUE(SamePoint(a.GetEdgeArray()[i], b.GetEdgeArray()[i]));
    EXPECT_TRUE(SamePoint(a.GetNormalArray()[i], b.GetNormalArray()[i]));
  }
  for (int i = 0; i < a.GetNumTriangles(); ++i) {
    EXPECT_TRUE(SamePoint(a.GetSArray()[i], b.GetSArray()[i]));
    EXPECT_TRUE(SamePoint(a.GetMinPointArray()[i], b.GetMinPointArray()[i]));
    EXPECT_EQ(a.GetTriangle(i)->index, b.GetTriangle(i)->index);
  }
  for (int k = 0; k < 3; ++k) EXPECT_TRUE(SamePoint(a.GetPointArray()[k], b.GetPointArray()[k]));
}

}  // namespace

TEST(MeshIO, StreamHoldsTheHeaderThen336BytesPerTriangleAnd48AndEveryCutThrowsLeavingTheMesh) {
  CHTriangulation m;
  Fan(m);
  const std::size_t header = 8 + 7 * 4 + 4;  // version record, seven floats, count
  EXPECT_EQ(Stream(m).size(), header + 336 * 4 + 48);
  CHTriangulation empty(0, 1.0f, 1.0f, 1.0f);
  EXPECT_EQ(Stream(empty).size(), header + 48);
  // The records are written as they stand in memory: record 1's first pointer is its first corner.
  const std::vector<unsigned char> bytes = Stream(m);
  const SSEPoint* stored = nullptr;
  std::memcpy(&stored, bytes.data() + header + 144, sizeof stored);
  EXPECT_EQ(stored, m.GetEdgeArray() + 3);

  // Every cut of the stream throws and leaves the mesh as it was.
  CHTriangulation r(1, 3.0f, 3.0f, 3.0f);
  SetTriangle(r, 0, P(1, 2, 3), P(4, 5, 6), P(7, 8, 9));
  for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
    CbStreamReadBinaryMemory in(std::vector<unsigned char>(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(cut)));
    EXPECT_THROW(r.Serialize(in), CbException) << "cut at " << cut;
    ASSERT_EQ(r.GetNumTriangles(), 1);
    EXPECT_TRUE(SamePoint(r.GetEdgeArray()[2], P(7, 8, 9)));
    EXPECT_EQ(r.GetScaleY(), 3.0f);
  }
  // A count larger than the data is refused before anything is allocated.
  std::vector<unsigned char> huge = bytes;
  const std::int32_t count = 0x7fffffff;
  std::memcpy(huge.data() + 8 + 28, &count, 4);
  CbStreamReadBinaryMemory in(huge);
  EXPECT_THROW(r.Serialize(in), CbException);
  EXPECT_EQ(r.GetNumTriangles(), 1);
}

TEST(MeshIO, StreamReadsBackUsableWithScaleYTakenFromScaleXAndAnUnknownVersionReadsOnlyTheBox) {
  CHTriangulation m;
  Fan(m);
  m.SetScanConvResolution(7.0f, 8.0f, 9.0f);
  CHTriangulation r(1, 3.0f, 3.0f, 3.0f);
  CbStreamReadBinaryMemory in(Stream(m));
  r.Serialize(in);
  ExpectSameTriangles(m, r);
  EXPECT_EQ(r.GetScaleX(), 0.5f);
  EXPECT_EQ(r.GetScaleY(), 0.5f);  // deliberately scaleX
  EXPECT_EQ(r.GetScaleZ(), 2.0f);
  EXPECT_EQ(r.GetScanResX(), 0.5f);
  EXPECT_EQ(r.GetScanResY(), 0.5f);
  EXPECT_EQ(r.GetScanResZ(), 2.0f);
  EXPECT_FLOAT_EQ(r.GetScanDiagonal(), std::sqrt(2.0f) * 0.5f);
  // Records aimed at this mesh, neighbours found again, marks as stored (not the border mark 13).
  const t_htriangle* t0 = r.GetTriangle(0);
  EXPECT_EQ(t0->point[2], r.GetEdgeArray() + 2);
  EXPECT_EQ(t0->minPoint, r.GetMinPointArray());
  CHTriangulation expected;
  Fan(expected);
  expected.CalcNeighbours();
  for (int i = 0; i < 4; ++i) {
    for (int k = 0; k < 3; ++k) {
      const t_htriangle* want = expected.GetTriangle(i)->neighbour[k];
      const t_htriangle* got = r.GetTriangle(i)->neighbour[k];
      EXPECT_EQ(got == nullptr ? -1 : got->index, want == nullptr ? -1 : want->index) << i << " " << k;
    }
  }
  EXPECT_NE(r.GetTriangle(1)->neighbour[0], nullptr);
  EXPECT_EQ(t0->mark, -1);
  EXPECT_EQ(r.GetTriangle(2)->mark, 14);

  // A record of another format's tag: only its 4 bytes and then the box are read.
  std::vector<unsigned char> other(4, 0);
  for (int i = 0; i < 12; ++i) {
    const float v = static_cast<float>(i);
    const auto* b = reinterpret_cast<const unsigned char*>(&v);
    other.insert(other.end(), b, b + 4);
  }
  CbStreamReadBinaryMemory unknown(other);
  r.Serialize(unknown);
  EXPECT_EQ(r.GetNumTriangles(), 0);
  EXPECT_EQ(r.GetScaleY(), 0.5f);  // the mesh's own scaleX
  SSEPoint hi;
  r.GetMaxPoint(hi);
  EXPECT_POINT(hi, 4.0f, 5.0f, 6.0f, 7.0f);
}

TEST(MeshIO, ArchiveKeepsEveryHeaderValueAndRefusesBadFiles) {
  CHTriangulation m;
  Fan(m);
  m.SetScanConvResolution(7.0f, 8.0f, 9.0f);
  const std::vector<unsigned char> bytes = Archive(m);
  EXPECT_EQ(bytes.size(), 4 + 28 + 4 + 336 * 4 + 48u);
  CHTriangulation r(1, 3.0f, 3.0f, 3.0f);
  {
    CMemFile file(bytes);
    CArchive ar(&file, CArchive::load);
    r.Serialize(ar);
  }
  ExpectSameTriangles(m, r);
  EXPECT_EQ(r.GetScaleY(), 0.25f);
  EXPECT_EQ(r.GetScanResY(), 8.0f);
  EXPECT_EQ(r.GetTriangle(1)->neighbour[0], r.GetTriangle(0));
  const auto causeOf = [&](std::vector<unsigned char> data) {
    CMemFile file(std::move(data));
    CArchive ar(&file, CArchive::load);
    try {
      r.Serialize(ar);
    } catch (const CArchiveException& e) {
      return e.m_cause;
    }
    return -1;
  };
  for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
    EXPECT_EQ(causeOf(std::vector<unsigned char>(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(cut))),
              CArchiveException::endOfFile)
        << "cut at " << cut;
  }
  std::vector<unsigned char> bad = bytes;
  bad[0] = 2;
  EXPECT_EQ(causeOf(bad), CArchiveException::badSchema);
  bad = bytes;
  bad[4 + 28 + 3] = 0x80;  // a negative count
  EXPECT_EQ(causeOf(bad), CArchiveException::badIndex);
  EXPECT_EQ(r.GetNumTriangles(), 4);
}
