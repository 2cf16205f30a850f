#include "qssse/io/detail/TextScanner.h"

#include <charconv>
#include <cmath>

#include "qssse/io/IoException.h"
#include "qssse/io/detail/Bytes.h"

namespace qssse::io::detail {

bool ParseFloat(std::string_view word, float& out) {
  if (word.size() > 1 && word[0] == '+' && word[1] != '-' && word[1] != '+') word.remove_prefix(1);
  const auto [p, ec] = std::from_chars(word.data(), word.data() + word.size(), out);
  return ec == std::errc() && p == word.data() + word.size();
}

TextScanner::TextScanner(std::string_view text, std::string file, char comment)
    : text_(text), file_(std::move(file)), comment_(comment) {}

void TextScanner::SkipSpace() {
  while (pos_ < text_.size()) {
    const char c = text_[pos_];
    if (c == '\n') {
      ++current_;
      ++pos_;
    } else if (c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v') {
      ++pos_;
    } else if (comment_ != 0 && c == comment_) {
      while (pos_ < text_.size() && text_[pos_] != '\n') ++pos_;
    } else {
      return;
    }
  }
}

std::string_view TextScanner::Next() {
  SkipSpace();
  const std::size_t start = pos_;
  while (pos_ < text_.size()) {
    const char c = text_[pos_];
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v' ||
        (comment_ != 0 && c == comment_))
      break;
    ++pos_;
  }
  line_ = current_;
  return text_.substr(start, pos_ - start);
}

bool TextScanner::AtEnd() {
  SkipSpace();
  return pos_ >= text_.size();
}

void TextScanner::SkipLine() {
  while (pos_ < text_.size() && text_[pos_] != '\n') ++pos_;
}

std::string_view TextScanner::Required(const char* what) {
  const std::string_view w = Next();
  if (w.empty()) throw CIoException(file_, std::string("truncated: the text ends before ") + what);
  return w;
}

float TextScanner::Float(const char* what) {
  const std::string_view w = Required(what);
  float v = 0.0f;
  if (!ParseFloat(w, v)) Fail(std::string(what) + ": " + Quote(w) + " is not a number");
  if (!std::isfinite(v)) Fail(std::string(what) + ": " + Quote(w) + " is not finite");
  return v;
}

std::uint64_t TextScanner::Count(const char* what, std::uint64_t max) {
  const std::string_view w = Required(what);
  std::uint64_t v = 0;
  const auto [p, ec] = std::from_chars(w.data(), w.data() + w.size(), v);
  if (ec != std::errc() || p != w.data() + w.size())
    Fail(std::string(what) + ": " + Quote(w) + " is not a count");
  if (v > max) Fail(std::string(what) + " " + std::to_string(v) + " is more than " + std::to_string(max));
  return v;
}

void TextScanner::Expect(std::string_view word) {
  const std::string want(word);
  const std::string_view w = Required(("'" + want + "'").c_str());
  if (!EqualsNoCase(w, word)) Fail("expected '" + want + "', found " + Quote(w));
}

void TextScanner::Fail(const std::string& what) const {
  throw CIoException(file_, "line " + std::to_string(line_) + ": " + what);
}

}  // namespace qssse::io::detail
