#pragma once
#include "qssse/platform/Export.h"

#include <exception>
#include <string>

// Base of every exception the library throws. Exceptions are thrown by value and caught by reference.
class QSSSE_API CException : public std::exception {
 public:
  ~CException() override;

  // The readable message given at construction; never null.
  const char* what() const noexcept override;

 protected:
  // Only the concrete exception classes build the message.
  explicit CException(std::string message);

 private:
  std::string m_message;
};
