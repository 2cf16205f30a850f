#pragma once
#include "qssse/platform/Export.h"
#include "qssse/platform/String.h"

#include <cstdint>
#include <cstdio>

// A binary disk file. Open reports failure by returning false; I/O on an open file that fails throws
// CArchiveException(generic, path). Closed by the destructor. Not copyable.
class QSSSE_API CFile {
 public:
  enum OpenFlags : unsigned {
    modeRead = 0x0000,
    modeWrite = 0x0001,
    modeReadWrite = 0x0002,
    modeCreate = 0x1000,
    modeNoTruncate = 0x2000,
    typeBinary = 0x8000
  };
  enum SeekPosition { begin, current, end };

  CFile() = default;
  CFile(const CFile&) = delete;
  CFile& operator=(const CFile&) = delete;
  // Closes the file; errors while flushing are swallowed (call Close to see them).
  virtual ~CFile();

  // Opens path (closing any file open before). Without modeCreate the file must exist; modeCreate
  // creates it and truncates it unless modeNoTruncate is given. The file is always binary
  // (typeBinary is accepted and changes nothing). Returns false, leaving the file closed, when the
  // file cannot be opened or the flags ask for modeWrite and modeReadWrite together.
  virtual bool Open(const CString& path, unsigned flags);
  // Reads up to count bytes into buffer and returns how many were read: fewer only at end of file.
  // Throws CArchiveException(generic) when the file is not open for reading or the read fails.
  virtual unsigned Read(void* buffer, unsigned count);
  // Writes count bytes at the position. Throws CArchiveException(generic, path) when the file is not
  // open for writing or the write fails.
  virtual void Write(const void* buffer, unsigned count);
  // Pushes buffered writes to the system. Throws CArchiveException(generic, path) when that fails.
  virtual void Flush();
  // Flushes and closes; a closed file ignores it. Throws CArchiveException(generic, path) when
  // buffered data could not be written (the file is closed all the same).
  virtual void Close();
  // Length in bytes; 0 when not open.
  virtual std::uint64_t GetLength() const;
  // Byte offset of the position from the start; 0 when not open.
  virtual std::uint64_t GetPosition() const;
  // Moves the position to offset bytes from begin, current or end and returns the new position.
  // Positions past the end are allowed (a write there extends the file). Throws
  // CArchiveException(generic, path) when not open, for an unknown `from`, or for a position before 0.
  virtual std::uint64_t Seek(std::int64_t offset, unsigned from);
  void SeekToBegin();
  virtual bool IsOpen() const;
  // The path given to the successful Open; empty when none.
  CString GetFilePath() const;

 protected:
  // The position Seek(offset, from) moves to from position in a file of length bytes; throws
  // CArchiveException(generic, path) for an unknown `from` or a result before 0 or beyond 2^63 - 1.
  static std::uint64_t SeekTarget(std::uint64_t position, std::uint64_t length, std::int64_t offset,
                                  unsigned from, const CString& path);

 private:
  enum class LastOperation { none, read, write };
  void prepareFor(LastOperation next);

  std::FILE* m_file = nullptr;
  CString m_path;
  bool m_canRead = false;
  bool m_canWrite = false;
  LastOperation m_last = LastOperation::none;
};
