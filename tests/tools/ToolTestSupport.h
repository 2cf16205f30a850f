#pragma once
#include <initializer_list>
#include <string>
#include <vector>

#include "cli/Formats.h"
#include "io/IoTestSupport.h"

// Helpers of the program tests: those of the I/O tests, and running the built program with its output
// captured.
namespace tooltest {

using iotest::MeshOf;
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

// Runs the program into the constant r and ends the test unless the run exited with 0 (stderr shown).
#define ASSERT_RUN_OK(r, ...)                     \
  const auto r = tooltest::RunTool(__VA_ARGS__); \
  ASSERT_EQ(r.status, 0) << r.err

inline int CountLines(const std::string& s) {
  int n = 0;
  for (char c : s) n += c == '\n';
  return n;
}

// A run that ended with `status` and said why in one line on stderr starting with `start`.
inline ::testing::AssertionResult FailedInOneLine(const RunResult& r, int status, const std::string& start = "qssse") {
  const bool ok = r.status == status && CountLines(r.err) == 1 && r.err.rfind(start, 0) == 0;
  return (ok ? ::testing::AssertionSuccess() : ::testing::AssertionFailure())
         << "status " << r.status << ", stderr: " << r.err;
}

// A run that ended with `status` and said `part` on stderr.
inline ::testing::AssertionResult ExitedWith(const RunResult& r, int status, const std::string& part) {
  const bool ok = r.status == status && r.err.find(part) != std::string::npos;
  return (ok ? ::testing::AssertionSuccess() : ::testing::AssertionFailure())
         << "status " << r.status << ", stderr: " << r.err;
}

struct Pixel {
  int x, y;
  float value;
};

// Expects each listed pixel of f to hold exactly its value.
inline void ExpectPixels(const qssse::tool::HeightField& f, std::initializer_list<Pixel> pixels) {
  for (const Pixel& p : pixels) EXPECT_EQ(f.At(p.x, p.y), p.value) << "pixel " << p.x << "," << p.y;
}

// The square [a, b] x [a, b] as a counter-clockwise ring of points `spacing` apart at height 0.
inline qssse::tool::OutlinePoints Square(float a, float b, float spacing) {
  qssse::tool::OutlinePoints ring;
  const int n = static_cast<int>((b - a) / spacing + 0.5f);
  for (int i = 0; i < n; ++i) ring.push_back({a + i * spacing, a, 0.0f});
  for (int i = 0; i < n; ++i) ring.push_back({b, a + i * spacing, 0.0f});
  for (int i = 0; i < n; ++i) ring.push_back({b - i * spacing, b, 0.0f});
  for (int i = 0; i < n; ++i) ring.push_back({a, b - i * spacing, 0.0f});
  return ring;
}

}  // namespace tooltest

using iotest::Contains;
using iotest::ContainsAll;
using tooltest::ExitedWith;
using tooltest::FailedInOneLine;
using tooltest::RunTool;
using namespace qssse::tool;
