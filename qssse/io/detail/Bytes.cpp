#include "qssse/io/detail/Bytes.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include "qssse/io/FileBytes.h"
#include "qssse/io/IoException.h"

namespace qssse::io {
namespace detail {

std::string OneLine(const std::string& text) {
  std::string s = text;
  for (char& c : s) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '?';
  }
  return s;
}

std::string Extension(const std::string& path) {
  std::string e = std::filesystem::path(path).extension().string();
  for (char& c : e) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return e;
}

// Built by appending: GCC 12 warns falsely about "'" + std::string(view) under -O2.
std::string Quote(std::string_view text) {
  std::string q;
  q.reserve(std::min<std::size_t>(text.size(), 40) + 2);
  q.push_back('\'');
  q.append(text.substr(0, 40));
  q.push_back('\'');
  return q;
}

std::vector<std::string_view> Words(std::string_view line) {
  std::vector<std::string_view> w;
  std::size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && (line[i] == ' ' || line[i] == '\t' || line[i] == '\r')) ++i;
    const std::size_t start = i;
    while (i < line.size() && line[i] != ' ' && line[i] != '\t' && line[i] != '\r') ++i;
    if (i > start) w.push_back(line.substr(start, i - start));
  }
  return w;
}

bool LooksLikeText(const unsigned char* data, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) {
    const unsigned char c = data[i];
    if ((c < 0x20 && c != '\t' && c != '\n' && c != '\r' && c != '\f' && c != '\v') || c == 0x7f)
      return false;
  }
  return true;
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i])))
      return false;
  }
  return true;
}

bool OpensWithSolid(const unsigned char* data, std::size_t size) {
  std::size_t i = 0;
  while (i < size && std::isspace(data[i])) ++i;
  if (size - i < 5 || !EqualsNoCase({reinterpret_cast<const char*>(data + i), 5}, "solid")) return false;
  return size - i == 5 || std::isspace(data[i + 5]);
}

bool CheckedMul(std::uint64_t a, std::uint64_t b, std::uint64_t& out) {
  return !__builtin_mul_overflow(a, b, &out);
}

bool CheckedAdd(std::uint64_t a, std::uint64_t b, std::uint64_t& out) {
  return !__builtin_add_overflow(a, b, &out);
}

ByteReader::ByteReader(const unsigned char* data, std::size_t size, std::string file)
    : data_(data), size_(size), file_(std::move(file)) {}

void ByteReader::Need(std::uint64_t n, const char* what) const {
  if (n > Remaining()) {
    throw CIoException(file_, std::string("truncated: ") + what + " needs " + std::to_string(n) +
                                  " bytes at offset " + std::to_string(pos_) + ", the file has " +
                                  std::to_string(Remaining()) + " left");
  }
}

void ByteReader::Skip(std::uint64_t n, const char* what) {
  Need(n, what);
  pos_ += static_cast<std::size_t>(n);
}

std::uint8_t ByteReader::U8(const char* what) {
  Need(1, what);
  return data_[pos_++];
}

std::uint16_t ByteReader::U16LE(const char* what) {
  return static_cast<std::uint16_t>(Unsigned(2, false, what));
}

std::uint32_t ByteReader::U32LE(const char* what) {
  return static_cast<std::uint32_t>(Unsigned(4, false, what));
}

float ByteReader::F32LE(const char* what) {
  const std::uint32_t bits = U32LE(what);
  float v;
  std::memcpy(&v, &bits, sizeof v);
  return v;
}

std::uint64_t ByteReader::Unsigned(int bytes, bool bigEndian, const char* what) {
  Need(static_cast<std::uint64_t>(bytes), what);
  std::uint64_t v = 0;
  for (int i = 0; i < bytes; ++i) {
    const std::uint64_t b = data_[pos_ + static_cast<std::size_t>(bigEndian ? i : bytes - 1 - i)];
    v = (v << 8) | b;
  }
  pos_ += static_cast<std::size_t>(bytes);
  return v;
}

void ByteReader::Bytes(void* out, std::size_t n, const char* what) {
  Need(n, what);
  if (n > 0) std::memcpy(out, data_ + pos_, n);
  pos_ += n;
}

std::string_view ByteReader::Line(std::size_t maxLength, const char* what) {
  const std::size_t limit = Remaining() < maxLength + 1 ? Remaining() : maxLength + 1;
  const void* nl = limit > 0 ? std::memchr(data_ + pos_, '\n', limit) : nullptr;
  if (nl == nullptr) {
    if (Remaining() <= maxLength)
      throw CIoException(file_, std::string("truncated: ") + what + " has no line end");
    throw CIoException(file_, std::string(what) + " is longer than " + std::to_string(maxLength) + " bytes");
  }
  const std::size_t n = static_cast<std::size_t>(static_cast<const unsigned char*>(nl) - (data_ + pos_));
  std::string_view line(reinterpret_cast<const char*>(data_ + pos_), n);
  pos_ += n + 1;
  return line;
}

void PutU16LE(std::vector<unsigned char>& out, std::uint16_t v) {
  out.push_back(static_cast<unsigned char>(v));
  out.push_back(static_cast<unsigned char>(v >> 8));
}

void PutU32LE(std::vector<unsigned char>& out, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<unsigned char>(v >> (8 * i)));
}

void PutF32LE(std::vector<unsigned char>& out, float v) {
  std::uint32_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  PutU32LE(out, bits);
}

}  // namespace detail

namespace {
struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

std::string ErrnoText() { return errno != 0 ? std::strerror(errno) : "unknown error"; }
}  // namespace

std::vector<unsigned char> ReadFileBytes(const std::string& path) {
  errno = 0;
  FilePtr f(std::fopen(path.c_str(), "rb"));
  if (!f) throw CIoException(path, "cannot open: " + ErrnoText());
  std::vector<unsigned char> bytes;
  unsigned char buffer[1 << 16];
  for (;;) {
    const std::size_t n = std::fread(buffer, 1, sizeof buffer, f.get());
    if (n > 0) {
      if (bytes.size() + n > kMaxFileBytes) throw CIoException(path, "file is larger than 4 GiB");
      bytes.insert(bytes.end(), buffer, buffer + n);
    }
    if (n < sizeof buffer) break;
  }
  // Reading a directory "succeeds" with zero bytes on some systems and fails on others.
  if (std::ferror(f.get())) throw CIoException(path, "cannot read: " + ErrnoText());
  return bytes;
}

void WriteFileBytes(const std::string& path, const void* data, std::size_t size) {
  // The bytes go to a new file beside the target, which replaces the target only once it is complete:
  // a full disk, a size limit or an interruption leaves the old file as it was, never a truncated one.
  const std::string::size_type slash = path.find_last_of('/');
  const std::string dir = slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
  const std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
  if (base.empty()) throw CIoException(path, "cannot create: not a file name");
  static std::atomic<unsigned> serial{0};
  int fd = -1;
  std::string temp;
  for (int attempt = 0; fd < 0; ++attempt) {
    temp = dir + "." + base + "." + std::to_string(::getpid()) + "-" + std::to_string(serial++) + ".part";
    errno = 0;
    // 0666 and the process's umask, as a plain create would give.
    fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0 && (errno != EEXIST || attempt >= 100)) throw CIoException(path, "cannot create: " + ErrnoText());
  }
  const auto fail = [&](const char* what) {
    const std::string reason = ErrnoText();
    if (fd >= 0) ::close(fd);
    ::unlink(temp.c_str());
    throw CIoException(path, what + reason);
  };
  const auto* next = static_cast<const unsigned char*>(data);
  while (size > 0) {
    errno = 0;
    const ssize_t n = ::write(fd, next, std::min<std::size_t>(size, std::size_t{1} << 30));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) fail("cannot write: ");
    next += n;
    size -= static_cast<std::size_t>(n);
  }
  errno = 0;
  const int closed = ::close(fd);
  fd = -1;
  if (closed != 0) fail("cannot write: ");
  errno = 0;
  if (::rename(temp.c_str(), path.c_str()) != 0) fail("cannot replace: ");
}

void WriteFileBytes(const std::string& path, std::string_view text) {
  WriteFileBytes(path, text.data(), text.size());
}

}  // namespace qssse::io
