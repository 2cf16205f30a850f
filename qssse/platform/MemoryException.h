#pragma once
#include "qssse/platform/Exception.h"
#include "qssse/platform/Export.h"

#include <string>

// Raised when an allocation of the library fails; what() is "out of memory". A request refused by the
// memory ceiling (MemoryLimit.h) says what was asked and the ceiling in its message.
class QSSSE_API CMemoryException : public CException {
 public:
  CMemoryException();
  explicit CMemoryException(std::string message);
  ~CMemoryException() override;
};

// Throws CMemoryException. The library's single reaction to a failed allocation.
[[noreturn]] QSSSE_API void AfxThrowMemoryException();
