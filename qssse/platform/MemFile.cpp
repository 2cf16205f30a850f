#include "qssse/platform/MemFile.h"

#include "qssse/platform/MemoryException.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>
#include <utility>

CMemFile::CMemFile() = default;

CMemFile::CMemFile(std::vector<unsigned char> bytes) : m_bytes(std::move(bytes)) {}

CMemFile::~CMemFile() = default;

bool CMemFile::Open(const CString&, unsigned) { return false; }

unsigned CMemFile::Read(void* buffer, unsigned count) {
  if (m_position >= m_bytes.size()) return 0;
  const std::size_t at = static_cast<std::size_t>(m_position);
  const std::size_t got = std::min<std::size_t>(count, m_bytes.size() - at);
  if (got > 0) std::memcpy(buffer, m_bytes.data() + at, got);
  m_position += got;
  return static_cast<unsigned>(got);
}

void CMemFile::Write(const void* buffer, unsigned count) {
  if (count == 0) return;
  if (m_position > std::numeric_limits<std::size_t>::max() - count) AfxThrowMemoryException();
  const std::size_t at = static_cast<std::size_t>(m_position);
  try {
    if (at + count > m_bytes.size()) m_bytes.resize(at + count);
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  } catch (const std::length_error&) {
    AfxThrowMemoryException();
  }
  std::memcpy(m_bytes.data() + at, buffer, count);
  m_position += count;
}

void CMemFile::Flush() {}

void CMemFile::Close() {
  m_bytes.clear();
  m_position = 0;
}

std::uint64_t CMemFile::GetLength() const { return m_bytes.size(); }

std::uint64_t CMemFile::GetPosition() const { return m_position; }

std::uint64_t CMemFile::Seek(std::int64_t offset, unsigned from) {
  m_position = SeekTarget(m_position, m_bytes.size(), offset, from, CString());
  return m_position;
}

bool CMemFile::IsOpen() const { return true; }

const std::vector<unsigned char>& CMemFile::GetBytes() const { return m_bytes; }

std::vector<unsigned char> CMemFile::Detach() {
  std::vector<unsigned char> bytes = std::move(m_bytes);
  m_bytes.clear();
  m_position = 0;
  return bytes;
}
