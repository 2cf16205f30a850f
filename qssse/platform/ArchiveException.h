#pragma once
#include "qssse/platform/Exception.h"
#include "qssse/platform/Export.h"
#include "qssse/platform/String.h"

// Raised by a misused or failing archive or file: what() names the cause and, when known, the file,
// e.g. "archive: end of file reached while reading 'x.bin'". The message is fixed at construction.
class QSSSE_API CArchiveException : public CException {
 public:
  enum { none, generic, readOnly, endOfFile, writeOnly, badIndex, badClass, badSchema };

  // Any int is accepted as cause; one outside the list above reads "archive: unknown error N".
  explicit CArchiveException(int cause = none, const CString& fileName = CString());
  ~CArchiveException() override;

  int m_cause;
  CString m_strFileName;
};

// Throws CArchiveException(cause, fileName); a null fileName means no file is named.
[[noreturn]] QSSSE_API void AfxThrowArchiveException(int cause, const char* fileName = nullptr);
