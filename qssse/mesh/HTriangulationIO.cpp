// CHTriangulation persistence: the version-1 binary stream (a memory image of the record and point
// arrays) and the archive form on the same layout. Both load into a fresh mesh first and take it over
// only when everything was read, so a failed load leaves the mesh as it was.
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "qssse/platform/StreamReadBinaryMemory.h"
#include "qssse/platform/StreamReadAhead.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/AlignedMemory.h"
#include "qssse/platform/Archive.h"
#include "qssse/platform/ArchiveException.h"
#include "qssse/platform/CoreException.h"
#include "qssse/platform/File.h"
#include "qssse/platform/StreamReadBinary.h"
#include "qssse/platform/StreamWriteBinary.h"

namespace {

constexpr int kStreamVersion = 1;
constexpr std::uint64_t kBytesPerTriangle = sizeof(t_htriangle) + 2 * 48 + 6 * 16;  // 336
constexpr std::uint64_t kBoxBytes = 3 * sizeof(SSEPoint);                           // 48

static_assert(sizeof(t_htriangle) == 144 && kBytesPerTriangle == 336, "the stream holds 64-bit records");

CString FileNameOf(const CArchive& ar) { return ar.GetFile() != nullptr ? ar.GetFile()->GetFilePath() : CString(); }

// The archive moves at most 2^32 - 1 bytes per call.
void WriteBlock(CArchive& ar, const void* data, std::size_t bytes) {
  const auto* p = static_cast<const unsigned char*>(data);
  while (bytes > 0) {
    const unsigned piece = static_cast<unsigned>(std::min<std::size_t>(bytes, 1u << 30));
    ar.Write(p, piece);
    p += piece;
    bytes -= piece;
  }
}

void ReadBlock(CArchive& ar, void* data, std::size_t bytes) {
  auto* p = static_cast<unsigned char*>(data);
  while (bytes > 0) {
    const unsigned piece = static_cast<unsigned>(std::min<std::size_t>(bytes, 1u << 30));
    if (ar.Read(p, piece) != piece) throw CArchiveException(CArchiveException::endOfFile, FileNameOf(ar));
    p += piece;
    bytes -= piece;
  }
}

}  // namespace

template <class Visit>
void CHTriangulation::ForEachRawBlock(Visit visit) const {
  const std::size_t n = static_cast<std::size_t>(numTriangles > 0 ? numTriangles : 0);
  const std::size_t point = sizeof(SSEPoint);
  visit(static_cast<void*>(triangles), n * sizeof(t_htriangle));
  visit(static_cast<void*>(cornerPoints), 3 * n * point);
  visit(static_cast<void*>(cornerNormals), 3 * n * point);
  visit(static_cast<void*>(mainNormals), n * point);
  visit(static_cast<void*>(tVectors), n * point);
  visit(static_cast<void*>(sVectors), n * point);
  visit(static_cast<void*>(vVectors), n * point);
  visit(static_cast<void*>(minPoint), kBoxBytes);  // minimum, maximum, centre: one block of three
  visit(static_cast<void*>(triMinPoints), n * point);
  visit(static_cast<void*>(triMaxPoints), n * point);
}

void CHTriangulation::Serialize(CbStreamWriteBinary& stream) const {
  stream.WriteVersion(kStreamVersion);
  for (const float v : {scaleX, scaleY, scaleZ, scanResX, scanResY, scanResZ, scanDiagonal}) stream.WriteFloat(v);
  stream.WriteInt32(numTriangles);
  const SSEPoint zeros[3] = {};  // the box of a mesh that never had one
  ForEachRawBlock([&](const void* data, std::size_t bytes) {
    stream.WriteBuffer(data != nullptr || bytes == 0 ? data : zeros, bytes);
  });
}

void CHTriangulation::Serialize(CbStreamReadBinary& stream) {
  const int version = stream.ReadAndCompareVersion(kStreamVersion);
  // Without a matching version the header keeps this mesh's values and no triangle is read.
  float head[7] = {scaleX, scaleY, scaleZ, scanResX, scanResY, scanResZ, scanDiagonal};
  std::int32_t n = 0;
  if (version == kStreamVersion) {
    for (float& v : head) v = stream.ReadFloat();
    n = stream.ReadInt32();
    if (n < 0) throw CbException("mesh stream: negative triangle count " + std::to_string(n));
  }
  if (kBytesPerTriangle * static_cast<std::uint64_t>(n) + kBoxBytes > stream.BytesRemaining()) {
    throw CbException("mesh stream: " + std::to_string(n) + " triangles need more data than the stream holds");
  }
  // The arrays are read ahead of the allocation, so a stream that cannot tell its length pays for the
  // data it holds, not for the count it claims.
  CbStreamReadBinaryMemory arrays(qssse::ReadAhead(stream, kBytesPerTriangle * static_cast<std::uint64_t>(n) + kBoxBytes, "a mesh"));
  CHTriangulation loaded;
  // Deliberately scaleX twice: meshes have always been read this way, and callers rely on the result.
  loaded.BaseInitialization(head[0], head[0], head[2]);
  loaded.CreateTriangulation(n);
  loaded.ForEachRawBlock([&](void* data, std::size_t bytes) { arrays.ReadBuffer(data, bytes); });
  AdoptLoaded(loaded);
}

void CHTriangulation::Serialize(CArchive& ar) {
  if (ar.IsStoring()) {
    ar << static_cast<std::int32_t>(kStreamVersion);
    for (const float v : {scaleX, scaleY, scaleZ, scanResX, scanResY, scanResZ, scanDiagonal}) ar << v;
    ar << numTriangles;
    const SSEPoint zeros[3] = {};
    ForEachRawBlock([&](const void* data, std::size_t bytes) { WriteBlock(ar, data != nullptr ? data : zeros, bytes); });
    return;
  }
  std::int32_t version = 0;
  ar >> version;
  if (version != kStreamVersion) throw CArchiveException(CArchiveException::badSchema, FileNameOf(ar));
  float head[7];
  for (float& v : head) ar >> v;
  std::int32_t n = 0;
  ar >> n;
  if (n < 0) throw CArchiveException(CArchiveException::badIndex, FileNameOf(ar));
  if (kBytesPerTriangle * static_cast<std::uint64_t>(n) + kBoxBytes > ar.GetBytesRemaining()) {
    throw CArchiveException(CArchiveException::endOfFile, FileNameOf(ar));
  }
  CHTriangulation loaded;
  loaded.BaseInitialization(head[0], head[1], head[2]);
  loaded.scanResX = head[3];
  loaded.scanResY = head[4];
  loaded.scanResZ = head[5];
  loaded.scanDiagonal = head[6];
  loaded.CreateTriangulation(n);
  loaded.ForEachRawBlock([&](void* data, std::size_t bytes) { ReadBlock(ar, data, bytes); });
  AdoptLoaded(loaded);
}

void CHTriangulation::AdoptLoaded(CHTriangulation& loaded) {
  // 1. the records read as raw images point into the writer's memory: aim them at the new arrays
  std::vector<std::int32_t> marks(static_cast<std::size_t>(loaded.numTriangles));
  for (int i = 0; i < loaded.numTriangles; ++i) {
    t_htriangle& t = loaded.triangles[i];
    for (int k = 0; k < 3; ++k) {
      t.point[k] = &loaded.cornerPoints[3 * i + k];
      t.normal[k] = &loaded.cornerNormals[3 * i + k];
      t.neighbour[k] = nullptr;
    }
    t.tVector = &loaded.tVectors[i];
    t.sVector = &loaded.sVectors[i];
    t.vVector = &loaded.vVectors[i];
    t.mainNormal = &loaded.mainNormals[i];
    t.minPoint = &loaded.triMinPoints[i];
    t.maxPoint = &loaded.triMaxPoints[i];
    t.next = t.prev = nullptr;
    marks[static_cast<std::size_t>(i)] = t.mark;
  }
  // 2. neighbours found again; the stored classification stays
  loaded.CalcNeighbours();
  for (int i = 0; i < loaded.numTriangles; ++i) loaded.triangles[i].mark = marks[static_cast<std::size_t>(i)];
  // 3. exchange storage: this mesh takes the loaded one's, which frees the old one when it goes
  CHTriangulation old;
  old = *this;
  *this = loaded;
  loaded = old;
  old = CHTriangulation();
}
