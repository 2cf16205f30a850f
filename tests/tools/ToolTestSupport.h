#pragma once
#include <string>
#include <vector>

#include "io/IoTestSupport.h"

// Helpers of the program tests: those of the I/O tests, and running the built program with its output
// captured.
namespace tooltest {

using iotest::ReadAll;
using iotest::ReadText;
using iotest::RunResult;
using iotest::RunShell;
using iotest::TempDir;
using iotest::WriteAll;
using iotest::WriteText;

// Runs the built qssse program with the arguments (each quoted for the shell).
inline RunResult RunTool(const TempDir& dir, const std::vector<std::string>& args) {
  std::string cmd = "'" QSSSE_TOOL_PATH "'";
  for (const std::string& a : args) cmd += " '" + a + "'";
  return RunShell(dir, cmd);
}

inline int CountLines(const std::string& s) {
  int n = 0;
  for (char c : s) n += c == '\n';
  return n;
}

}  // namespace tooltest
