#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "qssse/io/IoExport.h"

// Helpers of the readers and writers, not part of the installed interface: a bounds-checked cursor over
// a file's bytes, checked arithmetic for sizes taken from headers, little-endian stores and the text
// scanning the text formats share. Every size from a header goes through CheckedMul/CheckedAdd and is
// compared with the bytes really present before anything is allocated.
namespace qssse::io::detail {

// The text with every control character (newlines included) replaced by '?'.
std::string OneLine(const std::string& text);
// The file name's extension in lower case, with its dot ("x.STL" -> ".stl"); "" when there is none.
std::string Extension(const std::string& path);
// "'text'" with the text cut to 40 characters, for messages.
std::string Quote(std::string_view text);
// The words of a line, split at spaces, tabs and carriage returns.
std::vector<std::string_view> Words(std::string_view line);
// True when the bytes hold no NUL and no control characters other than tab, CR, LF, FF and VT
// (bytes >= 0x80 count as text, for UTF-8 comments).
bool LooksLikeText(const unsigned char* data, std::size_t size);

// True when the two are equal but for the case of ASCII letters.
bool EqualsNoCase(std::string_view a, std::string_view b);
// True when the bytes, after leading whitespace, open with the word "solid" in any case (an ASCII STL,
// or a binary STL whose header happens to say so).
bool OpensWithSolid(const unsigned char* data, std::size_t size);

// a * b and a + b, false when the result would not fit in 64 bits.
bool CheckedMul(std::uint64_t a, std::uint64_t b, std::uint64_t& out);
bool CheckedAdd(std::uint64_t a, std::uint64_t b, std::uint64_t& out);

// A cursor over a byte range that never reads past its end. Each read throws CIoException(file, ...)
// naming what was being read when too few bytes remain.
class QSSSE_IO_API ByteReader {
 public:
  ByteReader(const unsigned char* data, std::size_t size, std::string file);
  std::size_t Remaining() const { return size_ - pos_; }
  std::size_t Position() const { return pos_; }
  const unsigned char* Here() const { return data_ + pos_; }
  const std::string& File() const { return file_; }
  // Throws unless at least n bytes remain; `what` names the part of the file for the message.
  void Need(std::uint64_t n, const char* what) const;
  void Skip(std::uint64_t n, const char* what);
  std::uint8_t U8(const char* what);
  std::uint16_t U16LE(const char* what);
  std::uint32_t U32LE(const char* what);
  float F32LE(const char* what);
  // An unsigned integer of 1, 2, 4 or 8 bytes in either byte order.
  std::uint64_t Unsigned(int bytes, bool bigEndian, const char* what);
  void Bytes(void* out, std::size_t n, const char* what);
  // The bytes up to (not including) the next '\n', which is consumed; throws when there is none
  // within maxLength bytes.
  std::string_view Line(std::size_t maxLength, const char* what);

 private:
  const unsigned char* data_;
  std::size_t size_;
  std::size_t pos_ = 0;
  std::string file_;
};

// Little-endian stores into a byte vector, for the writers.
QSSSE_IO_API void PutU16LE(std::vector<unsigned char>& out, std::uint16_t v);
QSSSE_IO_API void PutU32LE(std::vector<unsigned char>& out, std::uint32_t v);
QSSSE_IO_API void PutF32LE(std::vector<unsigned char>& out, float v);

}  // namespace qssse::io::detail
