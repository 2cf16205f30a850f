#include "qssse/platform/String.h"

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <utility>

CString::CString(const char* text) : m_text(text ? text : "") {}

CString::CString(std::string text) : m_text(std::move(text)) {}

const char* CString::GetString() const noexcept { return m_text.c_str(); }

CString::operator const char*() const noexcept { return m_text.c_str(); }

int CString::GetLength() const noexcept {
  return m_text.size() > INT_MAX ? INT_MAX : static_cast<int>(m_text.size());
}

bool CString::IsEmpty() const noexcept { return m_text.empty(); }

const std::string& CString::str() const noexcept { return m_text; }

CString& CString::operator+=(const CString& other) {
  m_text += other.m_text;
  return *this;
}

CString CString::Format(const char* format, ...) {
  if (format == nullptr) return CString();
  // First pass measures, second pass writes: no fixed buffer to overrun or truncate.
  std::va_list args;
  va_start(args, format);
  std::va_list again;
  va_copy(again, args);
  const int length = std::vsnprintf(nullptr, 0, format, args);
  va_end(args);
  std::string text;
  if (length > 0) {
    text.resize(static_cast<std::size_t>(length));
    std::vsnprintf(text.data(), text.size() + 1, format, again);
  }
  va_end(again);
  return CString(std::move(text));
}
