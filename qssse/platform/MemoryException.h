#pragma once
#include "qssse/platform/Exception.h"
#include "qssse/platform/Export.h"

// Raised when an allocation of the library fails; what() is "out of memory".
class QSSSE_API CMemoryException : public CException {
 public:
  CMemoryException();
  ~CMemoryException() override;
};

// Throws CMemoryException. The library's single reaction to a failed allocation.
[[noreturn]] QSSSE_API void AfxThrowMemoryException();
