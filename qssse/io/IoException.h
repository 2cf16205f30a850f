#pragma once
#include <string>

#include "qssse/io/IoExport.h"
#include "qssse/platform/Exception.h"

// Raised by every reader and writer of the I/O library: a file that cannot be opened, read or written,
// or whose contents are not what its format promises. what() is one line, "FILE: what is wrong"
// ("crown.stl: truncated: a vertex needs 4 bytes at offset 132, the file has 2 left"); control
// characters in the file name or the problem are replaced by '?' so that the line stays one line.
class QSSSE_IO_API CIoException : public CException {
 public:
  CIoException(const std::string& file, const std::string& problem);
  ~CIoException() override;

  // The file as the caller named it, and the problem alone (both already made one-line).
  const std::string& GetFile() const { return m_file; }
  const std::string& GetProblem() const { return m_problem; }

 private:
  std::string m_file;
  std::string m_problem;
};
