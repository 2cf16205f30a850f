// Persistence of CSSEMatrix: the archive format (also used by Store/Load) and the version-1 stream.
#include <bit>
#include <cstdint>
#include <string>

#include "qssse/platform/StreamReadBinaryMemory.h"
#include "qssse/platform/StreamReadAhead.h"
#include "qssse/platform/Archive.h"
#include "qssse/platform/ArchiveException.h"
#include "qssse/platform/CoreException.h"
#include "qssse/platform/File.h"
#include "qssse/platform/StreamReadBinary.h"
#include "qssse/platform/StreamWriteBinary.h"
#include "qssse/raster/SSEMatrix.h"

namespace {

constexpr int kStreamVersion = 1;

// Bytes of element data a header announces: sizeX * ((sizeY >> 2) + 1) * 16, in 64 bits so that no
// header can overflow it.
std::uint64_t DataBytes(std::int32_t sizeX, std::int32_t sizeY) {
  return static_cast<std::uint64_t>(sizeX) * static_cast<std::uint64_t>((sizeY >> 2) + 1) * 16u;
}

bool SizesPossible(std::int32_t sizeX, std::int32_t sizeY) {
  return sizeX >= 0 && sizeY >= 0 && sizeY <= CSSEMatrix::kMaxSizeY;
}

CString FileNameOf(const CArchive& ar) {
  return ar.GetFile() != nullptr ? ar.GetFile()->GetFilePath() : CString();
}

}  // namespace

void CSSEMatrix::Serialize(CArchive& ar) {
  if (ar.IsStoring()) {
    ar << static_cast<std::int32_t>(sizeX) << static_cast<std::int32_t>(sizeY);
    if (rows == nullptr) {
      // A freed matrix keeps its sizes; its elements are written as 0 so the file stays readable.
      for (std::uint64_t i = 0; i < DataBytes(sizeX, sizeY) / 4; ++i) ar << 0.0f;
      return;
    }
    for (int x = 0; x < sseSizeX; ++x) {
      for (int g = 0; g < sseSizeY; ++g) {
        if constexpr (std::endian::native == std::endian::little) {
          ar.Write(&rows[g][x], sizeof(__m128));
        } else {
          const float* lanes = reinterpret_cast<const float*>(&rows[g][x]);
          ar << lanes[0] << lanes[1] << lanes[2] << lanes[3];
        }
      }
    }
    return;
  }

  std::int32_t newSizeX = 0, newSizeY = 0;
  ar >> newSizeX >> newSizeY;
  if (!SizesPossible(newSizeX, newSizeY)) {
    throw CArchiveException(CArchiveException::badIndex, FileNameOf(ar));
  }
  // A header announcing more data than is left is corrupt, and is rejected before the matrix is touched.
  if (DataBytes(newSizeX, newSizeY) > ar.GetBytesRemaining()) {
    throw CArchiveException(CArchiveException::endOfFile, FileNameOf(ar));
  }
  // Read into a temporary, so that a file failing part way (or an archive that cannot tell its length)
  // leaves the matrix as it was; a matrix of the same size keeps its storage.
  CSSEMatrix loaded;
  loaded.Create(newSizeX, newSizeY);
  for (int x = 0; x < loaded.sseSizeX; ++x) {
    for (int g = 0; g < loaded.sseSizeY; ++g) {
      float* lanes = reinterpret_cast<float*>(&loaded.rows[g][x]);
      ar >> lanes[0] >> lanes[1] >> lanes[2] >> lanes[3];
    }
  }
  if (rows != nullptr && newSizeX == sizeX && newSizeY == sizeY) {
    CopyFromSSEMatrix(loaded);
  } else {
    SwapStorage(loaded);
  }
}

void CSSEMatrix::Serialize(CbStreamWriteBinary& stream) const {
  stream.WriteVersion(kStreamVersion);
  stream.WriteInt32(sizeX);
  stream.WriteInt32(sizeY);
  if (rows == nullptr) {
    // A freed matrix keeps its sizes; its elements are written as 0 so the record stays readable.
    for (std::uint64_t i = 0; i < DataBytes(sizeX, sizeY) / 4; ++i) stream.WriteFloat(0.0f);
    return;
  }
  for (int x = 0; x < sseSizeX; ++x) {
    for (int g = 0; g < sseSizeY; ++g) {
      const float* lanes = reinterpret_cast<const float*>(&rows[g][x]);
      for (int l = 0; l < 4; ++l) stream.WriteFloat(lanes[l]);
    }
  }
}

void CSSEMatrix::Serialize(CbStreamReadBinary& stream) {
  std::int32_t newSizeX = 0, newSizeY = 0;
  const bool versionOk = stream.ReadAndCompareVersion(kStreamVersion) != 0;
  if (versionOk) {
    newSizeX = stream.ReadInt32();
    newSizeY = stream.ReadInt32();
    if (!SizesPossible(newSizeX, newSizeY)) {
      throw CbException(("matrix stream: impossible size " + std::to_string(newSizeX) + " x " +
                         std::to_string(newSizeY)).c_str());
    }
    if (DataBytes(newSizeX, newSizeY) > stream.BytesRemaining()) {
      throw CbException(("matrix stream: " + std::to_string(newSizeX) + " x " + std::to_string(newSizeY) +
                         " needs more data than the stream holds").c_str());
    }
  }
  // Always re-created, even at equal size; an unknown version leaves a 0 x 0 matrix. The elements go to
  // a temporary first, so a stream failing part way leaves the matrix as it was.
  // The elements are read ahead of the allocation, so a stream that cannot tell its length pays for
  // the data it holds, not for the size its header claims.
  CbStreamReadBinaryMemory data(versionOk ? qssse::ReadAhead(stream, DataBytes(newSizeX, newSizeY), "a float matrix")
                                          : std::vector<unsigned char>());
  CSSEMatrix loaded;
  loaded.Create(newSizeX, newSizeY);
  if (versionOk) {
    for (int x = 0; x < loaded.sseSizeX; ++x) {
      for (int g = 0; g < loaded.sseSizeY; ++g) {
        float* lanes = reinterpret_cast<float*>(&loaded.rows[g][x]);
        for (int l = 0; l < 4; ++l) lanes[l] = data.ReadFloat();
      }
    }
  }
  SwapStorage(loaded);
}

bool CSSEMatrix::Store(const CString& path) const {
  CFile file;
  if (!file.Open(path, CFile::modeCreate | CFile::modeWrite | CFile::typeBinary)) return false;
  CArchive ar(&file, CArchive::store, 4096);
  // Storing does not change the matrix; the archive interface is shared with loading.
  const_cast<CSSEMatrix*>(this)->Serialize(ar);
  ar.Close();
  file.Close();
  return true;
}

bool CSSEMatrix::Load(const CString& path) {
  CFile file;
  if (!file.Open(path, CFile::modeRead | CFile::typeBinary)) return false;
  CArchive ar(&file, CArchive::load, 4096);
  Serialize(ar);
  ar.Close();
  file.Close();
  return true;
}
