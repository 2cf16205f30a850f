#pragma once
#include "qssse/platform/Export.h"
#include "qssse/platform/File.h"
#include "qssse/platform/StreamReadBinary.h"
#include "qssse/platform/String.h"

#include <cstddef>
#include <cstdint>

// A binary input stream from a file, read from the start. Not copyable.
class QSSSE_API CbStreamReadBinaryFile : public CbStreamReadBinary {
 public:
  // Opens path for reading; throws CbException naming the path when that fails.
  explicit CbStreamReadBinaryFile(const CString& path);
  ~CbStreamReadBinaryFile() override;

  // The file's length at opening minus the bytes consumed.
  std::uint64_t BytesRemaining() const override;

 protected:
  // Throws CbException naming the path when the file ends early or cannot be read.
  void GetBytes(void* data, std::size_t bytes) override;

 private:
  CFile m_file;
  CString m_path;
  std::uint64_t m_remaining = 0;
};
