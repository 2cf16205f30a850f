// CSSE3dPolygon persistence: the archive's block image and the version-2 binary stream.
#include <bit>
#include <cstdint>
#include <cstring>
#include <string>

#include "qssse/platform/StreamReadBinaryMemory.h"
#include "qssse/platform/StreamReadAhead.h"
#include "qssse/platform/Archive.h"
#include "qssse/platform/ArchiveException.h"
#include "qssse/platform/CoreException.h"
#include "qssse/platform/File.h"
#include "qssse/platform/StreamReadBinary.h"
#include "qssse/platform/StreamWriteBinary.h"
#include "qssse/polygon/SSE3dPolygon.h"

namespace {

constexpr int kStreamVersion = 2;
// The five stored points (box corners, centre, 2-D corners) copied across a temporary.
constexpr std::size_t kStoredBytes = 5 * sizeof(SSEPoint);

std::uint64_t Blocks(std::int64_t count) { return (static_cast<std::uint64_t>(count) + 3) / 4; }

CString FileNameOf(const CArchive& ar) {
  return ar.GetFile() != nullptr ? ar.GetFile()->GetFilePath() : CString();
}

void WriteXYZ(CbStreamWriteBinary& s, const SSEPoint& p) {
  s.WriteFloat(p.x);
  s.WriteFloat(p.y);
  s.WriteFloat(p.z);
}

SSEPoint ReadXYZ(CbStreamReadBinary& s) {
  SSEPoint p = qssse::ZeroSSEPoint();
  p.x = s.ReadFloat();
  p.y = s.ReadFloat();
  p.z = s.ReadFloat();
  return p;
}

}  // namespace

void CSSE3dPolygon::Serialize(CArchive& ar) {
  if (ar.IsStoring()) {
    ar << static_cast<std::int32_t>(m_count);
    for (std::uint64_t b = 0; b < Blocks(m_count); ++b) {
      for (const float* a : {m_x, m_y, m_z}) {
        if constexpr (std::endian::native == std::endian::little) {
          ar.Write(a + 4 * b, 4 * sizeof(float));  // the memory image is the file image
        } else {
          for (int l = 0; l < 4; ++l) ar << a[4 * b + l];
        }
      }
    }
    return;
  }
  std::int32_t count = 0;
  ar >> count;
  if (count < 0) throw CArchiveException(CArchiveException::badIndex, FileNameOf(ar));
  // A count announcing more blocks than the archive still holds is rejected before anything changes.
  if (Blocks(count) * 48u > ar.GetBytesRemaining()) {
    throw CArchiveException(CArchiveException::endOfFile, FileNameOf(ar));
  }
  // Read into a temporary and taken over only when complete, so a failure leaves this polygon as it was.
  CSSE3dPolygon loaded;
  loaded.Create(count);
  for (std::uint64_t b = 0; b < Blocks(count); ++b) {
    for (float* a : {loaded.m_x, loaded.m_y, loaded.m_z})
      for (int l = 0; l < 4; ++l) ar >> a[4 * b + l];
  }
  // Deliberately the last point becomes a copy of the last-but-one: files written by earlier releases
  // were read this way, and stored data must read back the same. A single point has no source.
  if (count >= 2) {
    const int last = count - 1;
    loaded.m_x[last] = loaded.m_x[last - 1];
    loaded.m_y[last] = loaded.m_y[last - 1];
    loaded.m_z[last] = loaded.m_z[last - 1];
  }
  // The stored box and centre are not part of the file and stay as they were.
  std::memcpy(static_cast<void*>(loaded.m_stored), m_stored, kStoredBytes);
  loaded.m_boxCalculated = false;
  TakeOver(loaded);
}

void CSSE3dPolygon::Serialize(CbStreamWriteBinary& stream) const {
  stream.WriteVersion(kStreamVersion);
  stream.WriteInt32(m_count);
  for (int i = 0; i < m_count; ++i) {
    stream.WriteFloat(m_x[i]);
    stream.WriteFloat(m_y[i]);
    stream.WriteFloat(m_z[i]);
  }
  for (int i = 0; i < m_count; ++i) {
    stream.WriteFloat(m_nx[i]);
    stream.WriteFloat(m_ny[i]);
    stream.WriteFloat(m_nz[i]);
  }
  WriteXYZ(stream, m_stored[kCenter]);
  stream.WriteBool(m_boxCalculated);
  if (!m_boxCalculated) return;
  WriteXYZ(stream, m_stored[kMin]);
  WriteXYZ(stream, m_stored[kMax]);
  WriteXYZ(stream, m_stored[kMax2D]);
  WriteXYZ(stream, m_stored[kMin2D]);
}

void CSSE3dPolygon::Serialize(CbStreamReadBinary& stream) {
  const int version = stream.ReadAndCompareVersion(kStreamVersion);
  std::int32_t count = 0;
  std::uint64_t need = 0;
  if (version >= 1) {
    count = stream.ReadInt32();
    if (count < 0) throw CbException("polygon stream: negative point count " + std::to_string(count));
    // Version 1 holds the points; version 2 adds their normalized copies, the centre and the flag.
    need = version == 1 ? 12ull * static_cast<std::uint64_t>(count) : 24ull * static_cast<std::uint64_t>(count) + 13u;
    if (need > stream.BytesRemaining()) {
      throw CbException("polygon stream: " + std::to_string(count) +
                        " points need more data than the stream holds");
    }
  }
  // Everything goes to a temporary first and is taken over only when the record is complete: a stream
  // failing part way (a set box flag without the box, say) leaves this polygon as it was.
  // The fixed part of the record is read ahead of the allocation, so a stream that cannot tell its
  // length pays for the points it holds, not for the count it claims.
  CbStreamReadBinaryMemory data(qssse::ReadAhead(stream, need, "a polygon"));
  CSSE3dPolygon loaded;
  loaded.Create(count);
  // Corners the record does not hold keep this polygon's values, as they always have.
  std::memcpy(static_cast<void*>(loaded.m_stored), m_stored, kStoredBytes);
  loaded.m_stored[kCenter] = qssse::ZeroSSEPoint();
  for (int i = 0; i < count; ++i) {
    const SSEPoint p = ReadXYZ(data);
    loaded.SetPointSSE(i, p);
  }
  if (version < 2) {
    for (int i = 0; i < count; ++i) loaded.SetPointNormalized(i, 0.0f, 0.0f, 0.0f);
    loaded.m_boxCalculated = false;
    TakeOver(loaded);
    return;
  }
  for (int i = 0; i < count; ++i) {
    const SSEPoint p = ReadXYZ(data);
    loaded.SetPointNormalizedSSE(i, p);
  }
  loaded.m_stored[kCenter] = ReadXYZ(data);
  loaded.m_boxCalculated = data.ReadBool();
  if (loaded.m_boxCalculated) {
    loaded.m_stored[kMin] = ReadXYZ(stream);
    loaded.m_stored[kMax] = ReadXYZ(stream);
    loaded.m_stored[kMax2D] = ReadXYZ(stream);
    loaded.m_stored[kMin2D] = ReadXYZ(stream);
  }
  TakeOver(loaded);
}
