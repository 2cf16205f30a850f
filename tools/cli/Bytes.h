#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Whole-file reads and writes and a bounds-checked cursor over the bytes of a file. The format
// readers derive every size from a header with the checked arithmetic here and compare it with the
// bytes really present before they allocate anything.
namespace qssse::tool {

// Files larger than this are refused before reading (no input of ours comes near it).
constexpr std::uint64_t kMaxFileBytes = std::uint64_t{4} << 30;

// The whole file; ToolError naming the path when it cannot be opened or read, or is too large.
std::vector<unsigned char> ReadFileBytes(const std::string& path);
// Writes the bytes, replacing the file; ToolError naming the path on failure.
void WriteFileBytes(const std::string& path, const void* data, std::size_t size);
void WriteFileBytes(const std::string& path, std::string_view text);

// a * b and a + b, false when the result would not fit in 64 bits.
bool CheckedMul(std::uint64_t a, std::uint64_t b, std::uint64_t& out);
bool CheckedAdd(std::uint64_t a, std::uint64_t b, std::uint64_t& out);

// A cursor over a byte range that never reads past its end. Each read throws ToolError(file, ...)
// naming what was being read when too few bytes remain.
class ByteReader {
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
void PutU16LE(std::vector<unsigned char>& out, std::uint16_t v);
void PutU32LE(std::vector<unsigned char>& out, std::uint32_t v);
void PutF32LE(std::vector<unsigned char>& out, float v);

}  // namespace qssse::tool
