#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// Words of a text file one at a time, with line numbers for messages: the scanner of the OFF and ASCII
// STL readers. Whitespace separates words; a comment character (when given) hides the rest of its line.
namespace qssse::io::detail {

class TextScanner {
 public:
  TextScanner(std::string_view text, std::string file, char comment);

  // The next word; empty at the end of the text.
  std::string_view Next();
  // True when only whitespace and comments are left.
  bool AtEnd();
  // Skips the rest of the current line (the words after the last one read on it).
  void SkipLine();
  // The line of the last word read, from 1.
  std::size_t Line() const { return line_; }

  // The next word as a finite float, or a count in [0, max]; `what` names it in the message when the
  // text ends first ("truncated: ...") or the word is something else ("line 7: ...").
  float Float(const char* what);
  std::uint64_t Count(const char* what, std::uint64_t max);
  // Throws unless the next word is `word` (in any case: keywords are written in capitals by some tools).
  void Expect(std::string_view word);

  // Throws CIoException(file, "line N: what").
  [[noreturn]] void Fail(const std::string& what) const;
  const std::string& File() const { return file_; }

 private:
  void SkipSpace();
  std::string_view Required(const char* what);

  std::string_view text_;
  std::string file_;
  char comment_;
  std::size_t pos_ = 0;
  std::size_t line_ = 1;     // of the last word
  std::size_t current_ = 1;  // of the position
};

// A float from the whole word (a leading '+' allowed); false for anything else.
bool ParseFloat(std::string_view word, float& out);

}  // namespace qssse::io::detail
