#pragma once
#include "qssse/platform/Exception.h"
#include "qssse/platform/Export.h"

#include <string>

// Raised by the binary streams and the loaders built on them, e.g. "stream: read past the end".
class QSSSE_API CbException : public CException {
 public:
  // The message is what() returns, unchanged.
  explicit CbException(std::string message);
  ~CbException() override;
};

// A binary stream could not get the memory it needed; what() is "out of memory" unless a message is given.
class QSSSE_API CbExceptionOutOfMemory : public CbException {
 public:
  CbExceptionOutOfMemory();
  explicit CbExceptionOutOfMemory(std::string message);
  ~CbExceptionOutOfMemory() override;
};
