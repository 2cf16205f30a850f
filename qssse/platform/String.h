#pragma once
#include "qssse/platform/Export.h"

#include <string>

// A small UTF-8 text value over std::string, used for file paths and messages. Lengths count bytes.
class QSSSE_API CString {
 public:
  CString() = default;
  // A null pointer gives the empty string.
  CString(const char* text);
  CString(std::string text);

  // The text, zero-terminated; valid until the string is next changed or destroyed. Never null.
  const char* GetString() const noexcept;
  operator const char*() const noexcept;
  // Length in bytes (UTF-8 code units), without the terminating zero.
  int GetLength() const noexcept;
  bool IsEmpty() const noexcept;
  const std::string& str() const noexcept;

  CString& operator+=(const CString& other);

  // printf-style formatting into a new string of any length. A null format or an encoding error gives "".
  static CString Format(const char* format, ...)
#if defined(__GNUC__) || defined(__clang__)
      __attribute__((format(printf, 1, 2)))
#endif
      ;

  // Byte-wise comparison; a null const char* compares as "". Both orders and != come from these.
  friend bool operator==(const CString& a, const CString& b) noexcept { return a.m_text == b.m_text; }
  friend bool operator==(const CString& a, const char* b) noexcept { return a.m_text == (b ? b : ""); }

  friend CString operator+(CString a, const CString& b) { return a += b; }

 private:
  std::string m_text;
};
