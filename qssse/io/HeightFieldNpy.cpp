// Height fields as NPY arrays: two dimensions, integer or float elements in either byte order.
#include <bit>
#include <charconv>
#include <cstring>

#include "qssse/io/HeightField.h"
#include "qssse/io/IoException.h"
#include "qssse/io/detail/Bytes.h"

namespace qssse::io {
namespace {

using detail::ByteReader;
using detail::CheckedMul;

// The header dictionary of an NPY file, e.g. {'descr': '<f4', 'fortran_order': False, 'shape': (3, 4), }
struct NpyHeader {
  std::string descr;
  bool fortran = false;
  std::vector<std::uint64_t> shape;
};

class DictParser {
 public:
  DictParser(std::string_view s, const std::string& file) : s_(s), file_(file) {}

  NpyHeader Parse() {
    NpyHeader h;
    bool haveDescr = false, haveOrder = false, haveShape = false;
    Expect('{');
    while (true) {
      Space();
      if (Peek() == '}') break;
      const std::string key = Quoted();
      Expect(':');
      Space();
      if (key == "descr") {
        h.descr = Quoted();
        haveDescr = true;
      } else if (key == "fortran_order") {
        h.fortran = Bool();
        haveOrder = true;
      } else if (key == "shape") {
        h.shape = Tuple();
        haveShape = true;
      } else {
        Fail("unknown key '" + key + "'");
      }
      Space();
      if (Peek() == ',') {
        ++i_;
        continue;
      }
      if (Peek() != '}') Fail("expected ',' or '}'");
    }
    ++i_;
    Space();
    if (i_ != s_.size()) Fail("text after the dictionary");
    if (!haveDescr || !haveOrder || !haveShape) Fail("descr, fortran_order or shape is missing");
    return h;
  }

 private:
  [[noreturn]] void Fail(const std::string& what) const {
    throw CIoException(file_, "bad NPY header: " + what + " at character " + std::to_string(i_));
  }
  char Peek() const { return i_ < s_.size() ? s_[i_] : '\0'; }
  void Space() {
    while (i_ < s_.size() && (s_[i_] == ' ' || s_[i_] == '\t')) ++i_;
  }
  void Expect(char c) {
    Space();
    if (Peek() != c) Fail(std::string("expected '") + c + "'");
    ++i_;
  }
  std::string Quoted() {
    Space();
    const char q = Peek();
    if (q != '\'' && q != '"') Fail("expected a quoted string");
    const std::size_t start = ++i_;
    while (i_ < s_.size() && s_[i_] != q) ++i_;
    if (i_ >= s_.size()) Fail("unterminated string");
    return std::string(s_.substr(start, i_++ - start));
  }
  bool Bool() {
    if (s_.substr(i_, 4) == "True") {
      i_ += 4;
      return true;
    }
    if (s_.substr(i_, 5) == "False") {
      i_ += 5;
      return false;
    }
    Fail("expected True or False");
  }
  std::vector<std::uint64_t> Tuple() {
    Expect('(');
    std::vector<std::uint64_t> dims;
    while (true) {
      Space();
      if (Peek() == ')') break;
      std::uint64_t v = 0;
      const auto [p, ec] = std::from_chars(s_.data() + i_, s_.data() + s_.size(), v);
      if (ec != std::errc() || p == s_.data() + i_) Fail("expected a dimension");
      i_ = static_cast<std::size_t>(p - s_.data());
      dims.push_back(v);
      if (dims.size() > 8) Fail("too many dimensions");
      Space();
      if (Peek() == ',')
        ++i_;
      else if (Peek() != ')')
        Fail("expected ',' or ')'");
    }
    ++i_;
    return dims;
  }

  std::string_view s_;
  const std::string& file_;
  std::size_t i_ = 0;
};

// An element type: 'f' (IEEE float), 'i' (signed) or 'u' (unsigned), its size in bytes and byte order.
struct NpyType {
  char kind = 'f';
  int size = 4;
  bool bigEndian = false;
};

// '<f4', '>i2', '|u1', '=f8' ...; '|' (no order) only for one-byte types, '=' is the machine's order.
bool ParseDescr(const std::string& d, NpyType& t) {
  if (d.size() != 3) return false;
  const char order = d[0];
  t.kind = d[1];
  t.size = d[2] - '0';
  if (order == '<')
    t.bigEndian = false;
  else if (order == '>')
    t.bigEndian = true;
  else if (order == '=')
    t.bigEndian = std::endian::native == std::endian::big;
  else if (order == '|' && t.size == 1)
    t.bigEndian = false;
  else
    return false;
  if (t.kind == 'f') return t.size == 4 || t.size == 8;
  if (t.kind == 'i' || t.kind == 'u') return t.size == 1 || t.size == 2 || t.size == 4;
  return false;
}

// One element as the nearest float (integers beyond 2^24 and doubles are rounded; doubles beyond the
// float range become infinities, which the reader then refuses).
float Element(ByteReader& r, const NpyType& t) {
  const std::uint64_t bits = r.Unsigned(t.size, t.bigEndian, "an element");
  switch (t.kind) {
    case 'f':
      if (t.size == 4) return std::bit_cast<float>(static_cast<std::uint32_t>(bits));
      return static_cast<float>(std::bit_cast<double>(bits));
    case 'u':
      return static_cast<float>(bits);
    default: {
      // Sign-extend from the element's width.
      const int shift = 64 - 8 * t.size;
      return static_cast<float>(static_cast<std::int64_t>(bits << shift) >> shift);
    }
  }
}

}  // namespace

HeightField ParseNpy(const std::vector<unsigned char>& bytes, const std::string& file) {
  ByteReader r(bytes.data(), bytes.size(), file);
  char magic[6];
  r.Bytes(magic, 6, "the NPY signature");
  if (std::memcmp(magic, "\x93NUMPY", 6) != 0) throw CIoException(file, "not an NPY file (bad signature)");
  const int major = r.U8("the NPY version");
  r.U8("the NPY version");
  if (major < 1 || major > 3)
    throw CIoException(file, "NPY version " + std::to_string(major) + " is not known");
  const std::uint64_t headerLength = major == 1 ? r.U16LE("the header length") : r.U32LE("the header length");
  if (headerLength > 65536)
    throw CIoException(file, "NPY header of " + std::to_string(headerLength) + " bytes is too long");
  r.Need(headerLength, "the NPY header");
  std::string_view text(reinterpret_cast<const char*>(r.Here()), static_cast<std::size_t>(headerLength));
  r.Skip(headerLength, "the NPY header");
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.remove_suffix(1);
  const NpyHeader h = DictParser(text, file).Parse();
  NpyType type;
  if (!ParseDescr(h.descr, type)) {
    throw CIoException(file, "NPY element type " + detail::Quote(h.descr) +
                                 " is not read (int8/16/32, uint8/16/32, float32/64 in either byte order)");
  }
  if (h.shape.size() != 2)
    throw CIoException(file, "NPY array has " + std::to_string(h.shape.size()) +
                                 " dimensions, a height field has 2 (rows, columns)");
  const std::uint64_t rows = h.shape[0], cols = h.shape[1];
  CheckRasterSize(cols, rows, file);
  std::uint64_t dataBytes = 0;
  if (!CheckedMul(rows * cols, static_cast<std::uint64_t>(type.size), dataBytes))
    throw CIoException(file, "NPY array size overflows");
  r.Need(dataBytes, "the array data");
  if (r.Remaining() != dataBytes) {
    throw CIoException(file, std::to_string(r.Remaining() - dataBytes) + " bytes follow the array data");
  }
  HeightField out{static_cast<int>(cols), static_cast<int>(rows), std::vector<float>(rows * cols)};
  for (std::uint64_t i = 0; i < rows * cols; ++i) {
    // Fortran order runs down the columns first.
    const std::uint64_t x = h.fortran ? i / rows : i % cols, y = h.fortran ? i % rows : i / cols;
    out.values[y * cols + x] = Element(r, type);
  }
  return out;
}

std::vector<unsigned char> EncodeNpy(const HeightField& h) {
  std::string dict = "{'descr': '<f4', 'fortran_order': False, 'shape': (" + std::to_string(h.height) + ", " +
                     std::to_string(h.width) + "), }";
  // The data starts on a multiple of 64 bytes; the header ends with a newline.
  const std::size_t total = 10 + dict.size() + 1;
  dict.append((64 - total % 64) % 64, ' ');
  dict.push_back('\n');
  std::vector<unsigned char> out = {0x93, 'N', 'U', 'M', 'P', 'Y', 1, 0};
  detail::PutU16LE(out, static_cast<std::uint16_t>(dict.size()));
  out.insert(out.end(), dict.begin(), dict.end());
  for (float v : h.values) detail::PutF32LE(out, v);
  return out;
}

}  // namespace qssse::io
