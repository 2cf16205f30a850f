#include "qssse/platform/StreamWriteBinaryFile.h"

#include "qssse/platform/ArchiveException.h"
#include "qssse/platform/CoreException.h"

#include <algorithm>
#include <climits>

CbStreamWriteBinaryFile::CbStreamWriteBinaryFile(const CString& path) : m_path(path) {
  if (!m_file.Open(path, CFile::modeCreate | CFile::modeWrite))
    throw CbException("stream: cannot open '" + path.str() + "' for writing");
}

CbStreamWriteBinaryFile::~CbStreamWriteBinaryFile() = default;

bool CbStreamWriteBinaryFile::IsOpen() const { return m_file.IsOpen(); }

void CbStreamWriteBinaryFile::Close() {
  try {
    m_file.Close();
  } catch (const CArchiveException&) {
    throw CbException("stream: cannot write '" + m_path.str() + "'");
  }
}

void CbStreamWriteBinaryFile::PutBytes(const void* data, std::size_t bytes) {
  if (!m_file.IsOpen()) throw CbException("stream: write to closed '" + m_path.str() + "'");
  const auto* next = static_cast<const unsigned char*>(data);
  try {
    // CFile counts in unsigned; larger buffers go in pieces.
    while (bytes > 0) {
      const auto piece = static_cast<unsigned>(std::min<std::size_t>(bytes, UINT_MAX));
      m_file.Write(next, piece);
      next += piece;
      bytes -= piece;
    }
  } catch (const CArchiveException&) {
    throw CbException("stream: cannot write '" + m_path.str() + "'");
  }
}
