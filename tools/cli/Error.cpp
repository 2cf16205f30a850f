#include "cli/Error.h"

namespace qssse::tool {

std::string OneLine(const std::string& text) {
  std::string s = text;
  for (char& c : s) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '?';
  }
  return s;
}

ToolError::ToolError(const std::string& message) : std::runtime_error(OneLine(message)) {}
ToolError::ToolError(const std::string& file, const std::string& message)
    : std::runtime_error(OneLine(file) + ": " + OneLine(message)) {}

}  // namespace qssse::tool
