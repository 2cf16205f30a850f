#include "qssse/platform/StreamReadBinaryFile.h"

#include "qssse/platform/ArchiveException.h"
#include "qssse/platform/CoreException.h"

#include <algorithm>
#include <climits>

CbStreamReadBinaryFile::CbStreamReadBinaryFile(const CString& path) : m_path(path) {
  if (!m_file.Open(path, CFile::modeRead))
    throw CbException("stream: cannot open '" + path.str() + "' for reading");
  m_remaining = m_file.GetLength();
}

CbStreamReadBinaryFile::~CbStreamReadBinaryFile() = default;

std::uint64_t CbStreamReadBinaryFile::BytesRemaining() const { return m_remaining; }

void CbStreamReadBinaryFile::GetBytes(void* data, std::size_t bytes) {
  auto* next = static_cast<unsigned char*>(data);
  try {
    // CFile counts in unsigned; larger buffers come in pieces.
    while (bytes > 0) {
      const auto piece = static_cast<unsigned>(std::min<std::size_t>(bytes, UINT_MAX));
      const unsigned got = m_file.Read(next, piece);
      m_remaining -= std::min<std::uint64_t>(got, m_remaining);
      if (got < piece) throw CbException("stream: read past the end of '" + m_path.str() + "'");
      next += got;
      bytes -= got;
    }
  } catch (const CArchiveException&) {
    throw CbException("stream: cannot read '" + m_path.str() + "'");
  }
}
