#pragma once
#include "qssse/platform/Export.h"
#include "qssse/platform/File.h"

#include <cstdint>
#include <vector>

// A file held in memory, always open for reading and writing. Writing at the position overwrites and
// grows the bytes; seeking past the end and writing there fills the gap with zeros.
class QSSSE_API CMemFile : public CFile {
 public:
  // Empty, position 0.
  CMemFile();
  // Holds bytes, position 0.
  explicit CMemFile(std::vector<unsigned char> bytes);
  ~CMemFile() override;

  // A memory file has no path: always returns false and changes nothing.
  bool Open(const CString& path, unsigned flags) override;
  // Copies up to count bytes from the position; fewer at the end, 0 from a position past the end.
  unsigned Read(void* buffer, unsigned count) override;
  // Writes count bytes at the position. Throws CMemoryException when the bytes cannot grow.
  void Write(const void* buffer, unsigned count) override;
  // Nothing to flush.
  void Flush() override;
  // Discards the bytes and rewinds; the file stays open and usable.
  void Close() override;
  std::uint64_t GetLength() const override;
  std::uint64_t GetPosition() const override;
  // As CFile::Seek; a position before 0 or an unknown `from` throws CArchiveException(generic).
  std::uint64_t Seek(std::int64_t offset, unsigned from) override;
  // Always true.
  bool IsOpen() const override;

  const std::vector<unsigned char>& GetBytes() const;
  // Hands the bytes over and leaves the file empty at position 0.
  std::vector<unsigned char> Detach();

 private:
  std::vector<unsigned char> m_bytes;
  std::uint64_t m_position = 0;
};
