#pragma once
#include "qssse/platform/Exception.h"
#include "qssse/platform/Export.h"

#include <string>

// Raised when a caller passes an argument no result can be made from (a negative raster size, a
// sampling step below 1, a null procedure). The object the call was made on is left as it was.
// what() is the given message, which names the member and the value.
class QSSSE_API CInvalidArgumentException : public CException {
 public:
  explicit CInvalidArgumentException(std::string message);
  ~CInvalidArgumentException() override;
};

// Throws CInvalidArgumentException with the message.
[[noreturn]] QSSSE_API void AfxThrowInvalidArgumentException(std::string message);
