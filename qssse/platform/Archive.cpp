#include "qssse/platform/Archive.h"

#include "qssse/platform/ArchiveException.h"
#include "qssse/platform/ByteOrder.h"
#include "qssse/platform/File.h"

#include <algorithm>
#include <cstring>

CArchive::CArchive(CFile* file, unsigned mode, int bufferSize) : m_file(file), m_mode(mode) {
  if (file == nullptr) throw CArchiveException(CArchiveException::generic);
  m_buffer.resize(static_cast<std::size_t>(std::max(bufferSize, MinimumBufferSize)));
}

CArchive::~CArchive() {
  if (m_closed || (IsStoring() && (m_mode & bNoFlushOnDelete))) return;
  try {
    Flush();
  } catch (...) {
    // A destructor cannot report; callers who need to know call Close.
  }
}

bool CArchive::IsStoring() const { return (m_mode & load) == 0; }

bool CArchive::IsLoading() const { return (m_mode & load) != 0; }

CFile* CArchive::GetFile() const { return m_file; }

void CArchive::fail(int cause) const { throw CArchiveException(cause, m_file->GetFilePath()); }

void CArchive::requireStoring() const {
  if (m_closed) fail(CArchiveException::generic);
  if (!IsStoring()) fail(CArchiveException::readOnly);
}

void CArchive::requireLoading() const {
  if (m_closed) fail(CArchiveException::generic);
  if (!IsLoading()) fail(CArchiveException::writeOnly);
}

void CArchive::writeBuffer() {
  const std::size_t pending = m_end;
  // Emptied first: if the file throws, a later flush must not write the same bytes again.
  m_end = 0;
  if (pending > 0) m_file->Write(m_buffer.data(), static_cast<unsigned>(pending));
}

void CArchive::Write(const void* data, unsigned count) {
  requireStoring();
  if (count == 0) return;
  if (m_end + count > m_buffer.size()) writeBuffer();
  if (count >= m_buffer.size()) {
    m_file->Write(data, count);
    return;
  }
  std::memcpy(m_buffer.data() + m_end, data, count);
  m_end += count;
}

unsigned CArchive::Read(void* data, unsigned count) {
  requireLoading();
  auto* out = static_cast<unsigned char*>(data);
  unsigned done = 0;
  while (done < count) {
    if (m_next == m_end) {
      const unsigned wanted = count - done;
      if (wanted >= m_buffer.size()) {
        const unsigned got = m_file->Read(out + done, wanted);
        if (got == 0) break;
        done += got;
        continue;
      }
      m_next = 0;
      m_end = m_file->Read(m_buffer.data(), static_cast<unsigned>(m_buffer.size()));
      if (m_end == 0) break;
    }
    const std::size_t take = std::min<std::size_t>(count - done, m_end - m_next);
    std::memcpy(out + done, m_buffer.data() + m_next, take);
    m_next += take;
    done += static_cast<unsigned>(take);
  }
  return done;
}

std::uint64_t CArchive::GetBytesRemaining() const {
  if (m_closed || IsStoring()) return 0;
  const std::uint64_t length = m_file->GetLength(), position = m_file->GetPosition();
  return (m_end - m_next) + (length > position ? length - position : 0);
}

void CArchive::Flush() {
  if (m_closed) return;
  if (IsStoring()) {
    writeBuffer();
    return;
  }
  const std::size_t readAhead = m_end - m_next;
  m_next = m_end = 0;
  if (readAhead > 0) m_file->Seek(-static_cast<std::int64_t>(readAhead), CFile::current);
}

void CArchive::Close() {
  if (m_closed) return;
  try {
    Flush();
  } catch (...) {
    // Closed all the same, so the destructor does not try the failing flush again.
    m_closed = true;
    throw;
  }
  m_closed = true;
}

template <class T>
CArchive& CArchive::storeValue(T value) {
  unsigned char bytes[sizeof(T)];
  qssse::storeLittleEndian(value, bytes);
  Write(bytes, sizeof(T));
  return *this;
}

template <class T>
CArchive& CArchive::loadValue(T& value) {
  unsigned char bytes[sizeof(T)];
  if (Read(bytes, sizeof(T)) != sizeof(T)) fail(CArchiveException::endOfFile);
  value = qssse::loadLittleEndian<T>(bytes);
  return *this;
}

CArchive& CArchive::operator<<(std::int16_t value) { return storeValue(value); }
CArchive& CArchive::operator<<(std::uint16_t value) { return storeValue(value); }
CArchive& CArchive::operator<<(std::int32_t value) { return storeValue(value); }
CArchive& CArchive::operator<<(std::uint32_t value) { return storeValue(value); }
CArchive& CArchive::operator<<(std::int64_t value) { return storeValue(value); }
CArchive& CArchive::operator<<(std::uint64_t value) { return storeValue(value); }
CArchive& CArchive::operator<<(float value) { return storeValue(value); }
CArchive& CArchive::operator<<(double value) { return storeValue(value); }
CArchive& CArchive::operator<<(char value) { return storeValue(value); }
CArchive& CArchive::operator<<(unsigned char value) { return storeValue(value); }
CArchive& CArchive::operator<<(bool value) { return storeValue<unsigned char>(value ? 1 : 0); }

CArchive& CArchive::operator>>(std::int16_t& value) { return loadValue(value); }
CArchive& CArchive::operator>>(std::uint16_t& value) { return loadValue(value); }
CArchive& CArchive::operator>>(std::int32_t& value) { return loadValue(value); }
CArchive& CArchive::operator>>(std::uint32_t& value) { return loadValue(value); }
CArchive& CArchive::operator>>(std::int64_t& value) { return loadValue(value); }
CArchive& CArchive::operator>>(std::uint64_t& value) { return loadValue(value); }
CArchive& CArchive::operator>>(float& value) { return loadValue(value); }
CArchive& CArchive::operator>>(double& value) { return loadValue(value); }
CArchive& CArchive::operator>>(char& value) { return loadValue(value); }
CArchive& CArchive::operator>>(unsigned char& value) { return loadValue(value); }

CArchive& CArchive::operator>>(bool& value) {
  unsigned char byte = 0;
  loadValue(byte);
  value = byte != 0;
  return *this;
}
