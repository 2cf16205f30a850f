#pragma once
#include "qssse/platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <vector>

class CFile;

// A buffered binary archive over a CFile, either storing (writing) or loading (reading). Every value
// is little-endian whatever the host: integers in two's complement, float and double as IEEE bit
// patterns, char and unsigned char as one byte, bool as one byte 0 or 1 (loading any non-zero byte
// gives true). Errors throw CArchiveException naming the file's path when it has one.
// The file must outlive the archive; the archive never closes it. Not copyable.
class QSSSE_API CArchive {
 public:
  enum Mode { store = 0, load = 1, bNoFlushOnDelete = 2 };

  // Smallest buffer the archive uses, whatever bufferSize asks for.
  static constexpr int MinimumBufferSize = 128;

  // mode is store or load, optionally with bNoFlushOnDelete. A null file throws CArchiveException(generic).
  CArchive(CFile* file, unsigned mode, int bufferSize = 4096);
  CArchive(const CArchive&) = delete;
  CArchive& operator=(const CArchive&) = delete;
  // A storing archive that was not closed is flushed (unless bNoFlushOnDelete); errors are swallowed.
  // A loading archive gives back the bytes it read ahead, as Flush does.
  ~CArchive();

  bool IsStoring() const;
  bool IsLoading() const;
  CFile* GetFile() const;

  // Storing. On a loading archive each throws CArchiveException(readOnly); after Close, (generic).
  CArchive& operator<<(std::int16_t value);
  CArchive& operator<<(std::uint16_t value);
  CArchive& operator<<(std::int32_t value);
  CArchive& operator<<(std::uint32_t value);
  CArchive& operator<<(std::int64_t value);
  CArchive& operator<<(std::uint64_t value);
  CArchive& operator<<(float value);
  CArchive& operator<<(double value);
  CArchive& operator<<(char value);
  CArchive& operator<<(unsigned char value);
  CArchive& operator<<(bool value);

  // Loading. A value cut short by the end of the file throws CArchiveException(endOfFile) (the bytes
  // read so far are consumed). On a storing archive each throws (writeOnly); after Close, (generic).
  CArchive& operator>>(std::int16_t& value);
  CArchive& operator>>(std::uint16_t& value);
  CArchive& operator>>(std::int32_t& value);
  CArchive& operator>>(std::uint32_t& value);
  CArchive& operator>>(std::int64_t& value);
  CArchive& operator>>(std::uint64_t& value);
  CArchive& operator>>(float& value);
  CArchive& operator>>(double& value);
  CArchive& operator>>(char& value);
  CArchive& operator>>(unsigned char& value);
  CArchive& operator>>(bool& value);

  // Stores count raw bytes. Throws as operator<<.
  void Write(const void* data, unsigned count);
  // Loads up to count raw bytes and returns how many: fewer only at the end of the file, which is
  // not an error here. Throws as operator>> for a storing or closed archive.
  unsigned Read(void* data, unsigned count);
  // Storing: writes the buffer to the file. Loading: seeks the file back over the bytes read ahead,
  // so the file position is just past what was loaded. Does nothing after Close.
  void Flush();
  // Loading: bytes left to load (read ahead plus the rest of the file), so loaders can reject a header
  // that announces more data than there is before allocating for it. Storing or closed: 0.
  std::uint64_t GetBytesRemaining() const;
  // Flushes and ends the archive: later reads and writes throw CArchiveException(generic). The file
  // stays open. A second Close does nothing.
  void Close();

 private:
  template <class T>
  CArchive& storeValue(T value);
  template <class T>
  CArchive& loadValue(T& value);
  void requireStoring() const;
  void requireLoading() const;
  [[noreturn]] void fail(int cause) const;
  void writeBuffer();

  CFile* m_file;
  unsigned m_mode;
  bool m_closed = false;
  std::vector<unsigned char> m_buffer;
  // Storing: bytes [0, m_end) wait to be written. Loading: bytes [m_next, m_end) are read ahead.
  std::size_t m_next = 0;
  std::size_t m_end = 0;
};
