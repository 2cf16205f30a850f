#pragma once
#include "qssse/platform/Export.h"
#include "qssse/platform/File.h"
#include "qssse/platform/StreamWriteBinary.h"
#include "qssse/platform/String.h"

#include <cstddef>

// A binary output stream into a file, created or truncated when the stream is made. Not copyable.
class QSSSE_API CbStreamWriteBinaryFile : public CbStreamWriteBinary {
 public:
  // Opens path for writing; throws CbException naming the path when that fails.
  explicit CbStreamWriteBinaryFile(const CString& path);
  // Closes the file; errors are swallowed (call Close to see them).
  ~CbStreamWriteBinaryFile() override;

  // True until Close.
  bool IsOpen() const;
  // Writes what is buffered and closes the file; throws CbException when the data could not be
  // written. Writing afterwards throws CbException; a second Close does nothing.
  void Close();

 protected:
  // Throws CbException naming the path when the write fails or the stream is closed.
  void PutBytes(const void* data, std::size_t bytes) override;

 private:
  CFile m_file;
  CString m_path;
};
