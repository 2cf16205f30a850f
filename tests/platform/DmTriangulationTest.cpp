#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "qssse/platform/DmTriangulationDynamic.h"
#include "qssse/platform/DmTriangulationStatic.h"
#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/platform/QsTriangulationStatic.h"

namespace {

std::vector<float> Coordinates(const DmTriangulationStatic& m) {
  return m.GetNumVertices() == 0
             ? std::vector<float>()
             : std::vector<float>(m.GetCoordinates(), m.GetCoordinates() + 3 * m.GetNumVertices());
}

std::vector<int> Indices(const DmTriangulationStatic& m) {
  return m.GetNumTriangles() == 0
             ? std::vector<int>()
             : std::vector<int>(m.GetIndices(), m.GetIndices() + 3 * m.GetNumTriangles());
}

}  // namespace

TEST(DmTriangulationStatic, EmptyMeshHasNoArraysFailsTheValidityQueryAndReportsAZeroBoxAndNaNsAreSkipped) {
  DmTriangulationStatic m;
  EXPECT_EQ(m.GetNumVertices(), 0);
  EXPECT_EQ(m.GetCoordinates(), nullptr);
  EXPECT_EQ(m.GetIndices(), nullptr);
  EXPECT_FALSE(m.IsValid());
  DmBoundingBox3f box{{1, 1, 1}, {2, 2, 2}};
  m.ComputeBoundingBox(box);
  EXPECT_EQ(box.minimum, CbVector3f());
  EXPECT_EQ(box.maximum, CbVector3f());
  m.Create({0, 0, 0, 1, 0, 0}, {});  // vertices without triangles: still not valid
  EXPECT_FALSE(m.IsValid());
  // NaN coordinates are skipped by the box.
  const float nan = std::numeric_limits<float>::quiet_NaN();
  m.Create({nan, 5, -1, 2, nan, 4, -3, 1, nan}, {0, 1, 2});
  m.ComputeBoundingBox(box);
  EXPECT_EQ(box.minimum, CbVector3f(-3, 1, -1));
  EXPECT_EQ(box.maximum, CbVector3f(2, 5, 4));
}

TEST(DmTriangulationStatic, CreateRejectsBrokenArraysAndKeepsTheMesh) {
  DmTriangulationStatic m({0, 0, 0, 1, 0, 0, 0, 1, 0}, {0, 1, 2});
  EXPECT_THROW(m.Create({0, 0, 0, 1}, {}), CInvalidArgumentException);
  EXPECT_THROW(m.Create({0, 0, 0}, {0, 0}), CInvalidArgumentException);
  EXPECT_THROW(m.Create({0, 0, 0}, {0, 0, 1}), CInvalidArgumentException);
  EXPECT_THROW(m.Create({0, 0, 0}, {0, -1, 0}), CInvalidArgumentException);
  EXPECT_EQ(m.GetNumTriangles(), 1);
  EXPECT_EQ(m.GetVertex(2), CbVector3f(0, 1, 0));
  EXPECT_EQ(m.GetVertex(3), CbVector3f());
  EXPECT_EQ(m.GetVertex(-1), CbVector3f());
}

TEST(DmTriangulationStatic, CombineShiftsTheOtherMeshsIndicesAndAcceptsItself) {
  DmTriangulationStatic a({0, 0, 0, 1, 0, 0, 0, 1, 0}, {0, 1, 2});
  const DmTriangulationStatic b({5, 5, 5, 6, 5, 5, 5, 6, 5, 6, 6, 5}, {0, 1, 2, 2, 1, 3});
  a.Combine(b);
  EXPECT_EQ(a.GetNumVertices(), 7);
  EXPECT_EQ(Indices(a), (std::vector<int>{0, 1, 2, 3, 4, 5, 5, 4, 6}));
  a.Combine(a);
  EXPECT_EQ(a.GetNumTriangles(), 6);
  EXPECT_EQ(Indices(a)[9], 7);
  a.Combine(DmTriangulationStatic());
  EXPECT_EQ(a.GetNumTriangles(), 6);
}

TEST(DmTriangulationStatic, MergeJoinsExactlyEqualVerticesInOrderOfFirstAppearance) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  DmTriangulationStatic m(
      {1, 2, 3, -0.0f, 0, 0, 1, 2, 3, 0, 0, 0, nan, 0, 0, nan, 0, 0, 1, 2, std::nextafter(3.0f, 4.0f)},
      {0, 1, 2, 3, 4, 5, 6, 2, 0});
  m.MergeEqualVertices();
  // -0 and 0 merge, the two NaN vertices stay apart, the vertex one bit off stays apart.
  EXPECT_EQ(m.GetNumVertices(), 5);
  EXPECT_EQ(Indices(m), (std::vector<int>{0, 1, 0, 1, 2, 3, 4, 0, 0}));
  EXPECT_TRUE(std::signbit(m.GetVertex(1).x));  // the first appearance's coordinates are kept
}

TEST(DmTriangulationStatic, MergeAgreesWithAPlainScanOnRandomGridMeshes) {
  std::mt19937 rng(42);
  for (int round = 0; round < 20; ++round) {
    const int n = 1 + static_cast<int>(rng() % 300);
    std::vector<float> c;
    std::vector<std::int32_t> idx;
    for (int i = 0; i < 3 * n; ++i) {  // 3n vertices with coordinates 0..2, each triangle picking among three
      for (int k = 0; k < 3; ++k) c.push_back(static_cast<float>(rng() % 3));
      idx.push_back(static_cast<std::int32_t>(i / 3 * 3 + static_cast<int>(rng() % 3)));
    }
    DmTriangulationStatic m(c, idx);
    m.MergeEqualVertices();
    // Oracle: the first vertex with the same coordinates, numbered by first appearance.
    std::vector<float> kept;
    std::vector<int> number(static_cast<std::size_t>(3 * n));
    for (int v = 0; v < 3 * n; ++v) {
      int found = -1;
      for (std::size_t k = 0; k < kept.size() / 3 && found < 0; ++k) {
        if (kept[3 * k] == c[3 * v] && kept[3 * k + 1] == c[3 * v + 1] && kept[3 * k + 2] == c[3 * v + 2])
          found = static_cast<int>(k);
      }
      if (found < 0) {
        found = static_cast<int>(kept.size() / 3);
        kept.insert(kept.end(), {c[3 * v], c[3 * v + 1], c[3 * v + 2]});
      }
      number[static_cast<std::size_t>(v)] = found;
    }
    std::vector<int> expected;
    for (int i : idx) expected.push_back(number[static_cast<std::size_t>(i)]);
    EXPECT_EQ(Coordinates(m), kept);
    EXPECT_EQ(Indices(m), expected);
  }
}

TEST(DmTriangulationDynamic, GrowsChecksIndicesAndRemovesTrianglesInOrder) {
  DmTriangulationDynamic d;
  for (int i = 0; i < 4; ++i) EXPECT_EQ(d.AddVertex(CbVector3f(static_cast<float>(i), 0, 0)), i);
  EXPECT_EQ(d.AddTriangle(0, 1, 2), 0);
  EXPECT_EQ(d.AddTriangle(1, 2, 3), 1);
  EXPECT_EQ(d.AddTriangle(2, 3, 0), 2);
  EXPECT_THROW(d.AddTriangle(0, 1, 4), CInvalidArgumentException);
  d.RemoveTriangle(0);
  d.RemoveTriangle(7);
  int a = -1, b = -1, c = -1;
  EXPECT_TRUE(d.GetTriangle(1, a, b, c));
  EXPECT_EQ(std::vector<int>({a, b, c}), (std::vector<int>{2, 3, 0}));
  EXPECT_FALSE(d.GetTriangle(2, a, b, c));
  const DmTriangulationStatic s = d.CreateStatic();
  EXPECT_EQ(Indices(s), (std::vector<int>{1, 2, 3, 2, 3, 0}));
  EXPECT_EQ(Indices(DmTriangulationDynamic(s).CreateStatic()), Indices(s));
  EXPECT_EQ(Coordinates(DmTriangulationDynamic(s).CreateStatic()), Coordinates(s));
}

TEST(QsCTriangulationStatic, IsBuiltFromVertexAndIndexArrays) {
  const float v[] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
  const std::int32_t t[] = {0, 1, 2};
  const QsCTriangulationStatic q(v, 3, t, 1);
  EXPECT_EQ(q.GetNumVertices(), 3);
  EXPECT_EQ(q.GetNumTriangles(), 1);
  EXPECT_EQ(q.GetVertex(1), CbVector3f(1, 0, 0));
  EXPECT_EQ(QsCTriangulationStatic(nullptr, 0, nullptr, 0).GetVertices(), nullptr);
  EXPECT_THROW(QsCTriangulationStatic(nullptr, 3, t, 1), CInvalidArgumentException);
  EXPECT_THROW(QsCTriangulationStatic(v, 2, t, 1), CInvalidArgumentException);  // index 2 is no vertex
  EXPECT_THROW(QsCTriangulationStatic(v, -1, t, 0), CInvalidArgumentException);
}
