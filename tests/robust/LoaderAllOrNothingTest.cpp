// Every loader reads into a temporary and takes it over only when the whole record was good: fed every
// truncation of a valid record and a set of corruptions, a loader either succeeds or throws one of the
// library's exceptions, and in the second case the object it was loading into is bit for bit as before.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "io/IoTestSupport.h"
#include "qssse/io/HeightField.h"
#include "qssse/io/MeshFile.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/Archive.h"
#include "qssse/platform/Exception.h"
#include "qssse/platform/MemFile.h"
#include "qssse/platform/MemoryLimit.h"
#include "qssse/platform/StreamReadBinaryFile.h"
#include "qssse/platform/StreamReadBinaryMemory.h"
#include "qssse/platform/StreamWrite.h"
#include "qssse/platform/StreamWriteBinaryMemory.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/raster/SSEcharMatrix.h"

namespace {

using Bytes = std::vector<unsigned char>;

// A stream that cannot tell its length (a pipe, a socket): no loader can check sizes up front.
class BlindStream : public CbStreamReadBinaryMemory {
 public:
  explicit BlindStream(const Bytes& b) : CbStreamReadBinaryMemory(b) {}
  std::uint64_t BytesRemaining() const override { return UINT64_MAX; }
};

// The valid record, each of its truncations, and corruptions: every 32-bit word in turn set to -1,
// 0x7fffffff and 0x40000000 (sizes and counts beyond reason, negative ones), and every byte flipped.
std::vector<Bytes> Damaged(const Bytes& valid) {
  std::vector<Bytes> out;
  for (std::size_t n = 0; n < valid.size(); ++n) out.emplace_back(valid.begin(), valid.begin() + static_cast<std::ptrdiff_t>(n));
  for (std::size_t at = 0; at + 4 <= valid.size() && at < 64; at += 4) {
    for (const std::uint32_t word : {0xffffffffu, 0x7fffffffu, 0x40000000u}) {
      Bytes b = valid;
      std::memcpy(b.data() + at, &word, 4);
      out.push_back(b);
    }
  }
  for (std::size_t at = 0; at < valid.size(); ++at) {
    Bytes b = valid;
    b[at] ^= 0xff;
    out.push_back(b);
  }
  return out;
}

// Loads every damaged record into a fresh copy of the object (made by prepare) and checks that each
// failing load left the object's image unchanged. Returns how many loads failed.
template <class T>
int ExpectAllOrNothing(const Bytes& valid, const std::function<void(T&)>& prepare,
                       const std::function<void(T&, const Bytes&)>& load, const std::function<Bytes(T&)>& image) {
  // A ceiling keeps greedy corruptions quick; they must fail the same clean way.
  qssse::CMemoryLimitScope scope(std::uint64_t{64} << 20);
  int failed = 0;
  for (const Bytes& b : Damaged(valid)) {
    T object;
    prepare(object);
    const Bytes before = image(object);
    try {
      load(object, b);
    } catch (const CException&) {
      ++failed;
      EXPECT_EQ(image(object), before) << "a failed load of " << b.size() << " bytes changed the object";
    }
  }
  return failed;
}

template <class T>
Bytes Archived(T& object) {
  CMemFile file;
  CArchive ar(&file, CArchive::store);
  object.Serialize(ar);
  ar.Close();
  return file.Detach();
}

template <class T>
void FromArchive(T& object, const Bytes& b) {
  CMemFile file(b);
  CArchive ar(&file, CArchive::load);
  object.Serialize(ar);
}

template <class T>
void FromStream(T& object, const Bytes& b) {
  CbStreamReadBinaryMemory s(b);
  object.Serialize(s);
}

template <class T>
void FromBlindStream(T& object, const Bytes& b) {
  BlindStream s(b);
  object.Serialize(s);
}

template <class T>
Bytes Streamed(const T& object) {
  CbStreamWriteBinaryMemory s;
  object.Serialize(s);
  return s.GetData();
}

// ---- float matrix --------------------------------------------------------------------------------------

void FillMatrix(CSSEMatrix& m, int w, int h, float base) {
  m.Create(w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) m.SetPoint(x, y, base + static_cast<float>(x * 10 + y));
}

TEST(LoaderAllOrNothing, FloatMatrixArchiveStreamAndFile) {
  CSSEMatrix source;
  FillMatrix(source, 5, 6, 100.0f);
  const auto prepare = [](CSSEMatrix& m) { FillMatrix(m, 5, 6, -1.0f); };  // same size: storage kept
  const auto prepareOther = [](CSSEMatrix& m) { FillMatrix(m, 2, 9, -1.0f); };
  const auto image = [](CSSEMatrix& m) { return Streamed(m); };
  const Bytes archive = Archived(source), stream = Streamed(source);
  EXPECT_GT((ExpectAllOrNothing<CSSEMatrix>(archive, prepare, FromArchive<CSSEMatrix>, image)), 0);
  EXPECT_GT((ExpectAllOrNothing<CSSEMatrix>(archive, prepareOther, FromArchive<CSSEMatrix>, image)), 0);
  for (const auto& p : {std::function<void(CSSEMatrix&)>(prepare), std::function<void(CSSEMatrix&)>(prepareOther)}) {
    EXPECT_GT((ExpectAllOrNothing<CSSEMatrix>(stream, p, FromStream<CSSEMatrix>, image)), 0);
    EXPECT_GT((ExpectAllOrNothing<CSSEMatrix>(stream, p, FromBlindStream<CSSEMatrix>, image)), 0);
  }
  // File-backed: Load through CFile, and the stream over a file.
  const std::string path = ::testing::TempDir() + "qssse-all-or-nothing.qsm";
  const auto toFile = [&](const Bytes& b) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    if (!b.empty()) std::fwrite(b.data(), 1, b.size(), f);
    std::fclose(f);
  };
  EXPECT_GT((ExpectAllOrNothing<CSSEMatrix>(archive, prepare, [&](CSSEMatrix& m, const Bytes& b) {
    toFile(b);
    m.Load(path.c_str());
  }, image)), 0);
  EXPECT_GT((ExpectAllOrNothing<CSSEMatrix>(stream, prepareOther, [&](CSSEMatrix& m, const Bytes& b) {
    toFile(b);
    CbStreamReadBinaryFile s(path.c_str());
    m.Serialize(s);
  }, image)), 0);
  std::remove(path.c_str());
}

// ---- byte matrix ---------------------------------------------------------------------------------------

TEST(LoaderAllOrNothing, ByteMatrixArchive) {
  CSSEcharMatrix source(7, 18);
  for (int y = 0; y < 18; ++y)
    for (int x = 0; x < 7; ++x) source.SetPoint(x, y, static_cast<char>(3 * x + y));
  const auto image = [](CSSEcharMatrix& m) { return Archived(m); };
  EXPECT_GT((ExpectAllOrNothing<CSSEcharMatrix>(Archived(source), [](CSSEcharMatrix& m) {
    m.Create(4, 3);
    m.Clear(0x5a);
  }, FromArchive<CSSEcharMatrix>, image)), 0);
}

// ---- polygon -------------------------------------------------------------------------------------------

void FillPolygon(CSSE3dPolygon& p, int n, bool box) {
  p.Create(n);
  for (int i = 0; i < n; ++i) {
    p.SetPoint(i, static_cast<float>(i), static_cast<float>(i * i) * 0.5f, 2.0f);
    p.SetPointNormalized(i, 1.0f, 2.0f, static_cast<float>(i));
  }
  p.CalcGeometricCenter();
  if (box) p.CalcBoundingBox();
}

// Everything a loader could touch: points, normalized points, centre, flag, and both stored corners.
Bytes PolygonImage(CSSE3dPolygon& p) {
  Bytes b = Streamed(p);
  const SSEPoint corners[2] = {p.GetTopRight(), p.GetBottomLeft()};
  const auto* raw = reinterpret_cast<const unsigned char*>(corners);
  b.insert(b.end(), raw, raw + sizeof corners);
  return b;
}

TEST(LoaderAllOrNothing, PolygonArchiveAndStreams) {
  CSSE3dPolygon source;
  FillPolygon(source, 6, true);
  const auto prepare = [](CSSE3dPolygon& p) { FillPolygon(p, 3, true); };
  EXPECT_GT((ExpectAllOrNothing<CSSE3dPolygon>(Archived(source), prepare, FromArchive<CSSE3dPolygon>, PolygonImage)), 0);
  for (const bool box : {true, false}) {
    CSSE3dPolygon s;
    FillPolygon(s, 5, box);
    EXPECT_GT((ExpectAllOrNothing<CSSE3dPolygon>(Streamed(s), prepare, FromStream<CSSE3dPolygon>, PolygonImage)), 0);
    EXPECT_GT((ExpectAllOrNothing<CSSE3dPolygon>(Streamed(s), prepare, FromBlindStream<CSSE3dPolygon>, PolygonImage)),
              0);
  }
}

// A version-2 record of 0 points with the box flag set but the box missing used to leave the polygon
// emptied and flagged with a stale box, which the fill rule then trusted.
TEST(LoaderAllOrNothing, PolygonStreamRecordWithBoxFlagButNoBoxLeavesPolygonAsItWas) {
  CbStreamWriteBinaryMemory s;
  s.WriteVersion(2);
  s.WriteInt32(0);
  for (int i = 0; i < 3; ++i) s.WriteFloat(0.0f);  // centre
  s.WriteBool(true);                                // the box follows... but does not
  CSSE3dPolygon p, untouched;
  FillPolygon(p, 4, false);
  FillPolygon(untouched, 4, false);
  const Bytes before = PolygonImage(p);
  CbStreamReadBinaryMemory in(s.GetData());
  EXPECT_THROW(p.Serialize(in), CException);
  EXPECT_EQ(PolygonImage(p), before);
  EXPECT_FALSE(p.IsBoundingBoxCalculated());
  EXPECT_EQ(p.GetNumPoints(), 4);
  EXPECT_EQ(p.PointInLineInnerArea(1.5f, 1.5f, 1), untouched.PointInLineInnerArea(1.5f, 1.5f, 1));
}

// ---- mesh ----------------------------------------------------------------------------------------------

void FillMesh(CHTriangulation& m, int n, float base) {
  m.BaseInitialization(0.5f, 0.5f, 1.0f);
  m.CreateTriangulation(n);
  for (int i = 0; i < n; ++i) {
    *m.GetTriangle(i)->point[0] = qssse::MakeSSEPoint(base + static_cast<float>(i), 0.0f, 0.0f);
    *m.GetTriangle(i)->point[1] = qssse::MakeSSEPoint(base + static_cast<float>(i) + 1.0f, 0.0f, 1.0f);
    *m.GetTriangle(i)->point[2] = qssse::MakeSSEPoint(base + static_cast<float>(i), 1.0f, 2.0f);
  }
  m.CalcSTV();
  m.CalcBoundingBox();
  m.CalcNeighbours();
}

TEST(LoaderAllOrNothing, MeshStreamAndArchive) {
  CHTriangulation source;
  FillMesh(source, 2, 10.0f);
  const auto prepare = [](CHTriangulation& m) { FillMesh(m, 3, -5.0f); };
  const auto image = [](CHTriangulation& m) { return Streamed(m); };
  for (const auto load : {FromStream<CHTriangulation>, FromBlindStream<CHTriangulation>})
    EXPECT_GT((ExpectAllOrNothing<CHTriangulation>(Streamed(source), prepare, load, image)), 0);
  EXPECT_GT((ExpectAllOrNothing<CHTriangulation>(Archived(source), prepare, FromArchive<CHTriangulation>, image)), 0);
}

// ---- the I/O library: readers return new values; the copies into library objects check first -----------

TEST(LoaderAllOrNothing, IoCopiesCheckBeforeTheyChangeTheTarget) {
  CHTriangulation mesh;
  FillMesh(mesh, 2, 1.0f);
  const Bytes before = Streamed(mesh);
  const qssse::io::MeshData bad = iotest::MeshOf({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}, {0, 1, 3}});
  EXPECT_THROW(qssse::io::CopyToTriangulation(bad, mesh), CException);
  EXPECT_EQ(Streamed(mesh), before);

  CSSEMatrix m;
  FillMatrix(m, 3, 3, 1.0f);
  const Bytes mBefore = Streamed(m);
  const qssse::io::HeightField shortField{4, 4, std::vector<float>(15, 1.0f)};
  EXPECT_THROW(qssse::io::ToMatrix(shortField, m), CException);
  EXPECT_EQ(Streamed(m), mBefore);
}

}  // namespace
