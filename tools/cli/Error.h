#pragma once
#include <stdexcept>
#include <string>

namespace qssse::tool {

// Every failure the program reports: what() is one line, "FILE: what is wrong" when a file is to blame.
// Control characters in the file name or the message are replaced so the report stays one line.
class ToolError : public std::runtime_error {
 public:
  explicit ToolError(const std::string& message);
  ToolError(const std::string& file, const std::string& message);
};

// A capability the library of this build does not have yet ("... is not available in this build").
class Unavailable : public ToolError {
 public:
  explicit Unavailable(const std::string& what) : ToolError(what + " is not available in this build") {}
};

// The text with every control character (newlines included) replaced by '?'.
std::string OneLine(const std::string& text);

}  // namespace qssse::tool
