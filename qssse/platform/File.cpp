#include "qssse/platform/File.h"

#include "qssse/platform/ArchiveException.h"

#include <limits>

namespace {

// fseek takes a long; positions beyond its range are reported as a failed seek.
bool seekTo(std::FILE* file, std::int64_t offset, int whence) {
  if (offset < std::numeric_limits<long>::min() || offset > std::numeric_limits<long>::max()) return false;
  return std::fseek(file, static_cast<long>(offset), whence) == 0;
}

}  // namespace

CFile::~CFile() {
  if (m_file != nullptr) std::fclose(m_file);
}

bool CFile::Open(const CString& path, unsigned flags) {
  if (m_file != nullptr) {
    std::fclose(m_file);
    m_file = nullptr;
  }
  const unsigned access = flags & (modeWrite | modeReadWrite);
  if (access == (modeWrite | modeReadWrite) || path.IsEmpty()) return false;

  std::FILE* file = nullptr;
  if (flags & modeCreate) {
    // No fopen mode creates a missing file without truncating an existing one, so try both.
    if (flags & modeNoTruncate) file = std::fopen(path, "r+b");
    if (file == nullptr) file = std::fopen(path, "w+b");
  } else {
    file = std::fopen(path, access == modeRead ? "rb" : "r+b");
  }
  if (file == nullptr) return false;

  m_file = file;
  m_path = path;
  m_canRead = access != modeWrite;
  m_canWrite = access != modeRead;
  m_last = LastOperation::none;
  return true;
}

void CFile::prepareFor(LastOperation next) {
  // A stream opened for update must be flushed or repositioned between a write and a read.
  if (m_last != LastOperation::none && m_last != next) std::fseek(m_file, 0, SEEK_CUR);
  m_last = next;
}

unsigned CFile::Read(void* buffer, unsigned count) {
  if (m_file == nullptr || !m_canRead) throw CArchiveException(CArchiveException::generic, m_path);
  if (count == 0) return 0;
  prepareFor(LastOperation::read);
  const std::size_t got = std::fread(buffer, 1, count, m_file);
  if (got < count && std::ferror(m_file)) {
    std::clearerr(m_file);
    throw CArchiveException(CArchiveException::generic, m_path);
  }
  return static_cast<unsigned>(got);
}

void CFile::Write(const void* buffer, unsigned count) {
  if (m_file == nullptr || !m_canWrite) throw CArchiveException(CArchiveException::generic, m_path);
  if (count == 0) return;
  prepareFor(LastOperation::write);
  if (std::fwrite(buffer, 1, count, m_file) != count) {
    std::clearerr(m_file);
    throw CArchiveException(CArchiveException::generic, m_path);
  }
}

void CFile::Flush() {
  if (m_file != nullptr && std::fflush(m_file) != 0)
    throw CArchiveException(CArchiveException::generic, m_path);
}

void CFile::Close() {
  if (m_file == nullptr) return;
  std::FILE* file = m_file;
  m_file = nullptr;
  m_canRead = m_canWrite = false;
  if (std::fclose(file) != 0) throw CArchiveException(CArchiveException::generic, m_path);
}

std::uint64_t CFile::GetLength() const {
  if (m_file == nullptr) return 0;
  const long here = std::ftell(m_file);
  if (here < 0 || std::fseek(m_file, 0, SEEK_END) != 0) return 0;
  const long length = std::ftell(m_file);
  std::fseek(m_file, here, SEEK_SET);
  return length < 0 ? 0 : static_cast<std::uint64_t>(length);
}

std::uint64_t CFile::GetPosition() const {
  if (m_file == nullptr) return 0;
  const long here = std::ftell(m_file);
  return here < 0 ? 0 : static_cast<std::uint64_t>(here);
}

std::uint64_t CFile::SeekTarget(std::uint64_t position, std::uint64_t length, std::int64_t offset,
                                unsigned from, const CString& path) {
  std::uint64_t base = 0;
  switch (from) {
    case begin:
      base = 0;
      break;
    case current:
      base = position;
      break;
    case end:
      base = length;
      break;
    default:
      throw CArchiveException(CArchiveException::generic, path);
  }
  const auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  const bool fits = offset < 0 ? static_cast<std::uint64_t>(-(offset + 1)) < base
                               : base <= largest && static_cast<std::uint64_t>(offset) <= largest - base;
  if (!fits) throw CArchiveException(CArchiveException::generic, path);
  return offset < 0 ? base - static_cast<std::uint64_t>(-(offset + 1)) - 1
                    : base + static_cast<std::uint64_t>(offset);
}

std::uint64_t CFile::Seek(std::int64_t offset, unsigned from) {
  if (m_file == nullptr) throw CArchiveException(CArchiveException::generic, m_path);
  // Computed here rather than by fseek so a target before the start is refused without moving.
  const std::uint64_t target = SeekTarget(GetPosition(), from == end ? GetLength() : 0, offset, from, m_path);
  if (!seekTo(m_file, static_cast<std::int64_t>(target), SEEK_SET))
    throw CArchiveException(CArchiveException::generic, m_path);
  m_last = LastOperation::none;
  return target;
}

void CFile::SeekToBegin() { Seek(0, begin); }

bool CFile::IsOpen() const { return m_file != nullptr; }

CString CFile::GetFilePath() const { return m_path; }
