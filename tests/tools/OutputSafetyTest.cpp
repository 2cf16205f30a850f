// Outputs are replaced whole or not at all, and arguments at the edge of the float range are refused
// before any conversion could go wrong (the sanitizer build runs these too).
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <string>

#include "ToolTestSupport.h"
#include "cli/Formats.h"


namespace {

void WriteCube(const tooltest::TempDir& dir) {
  OutlinePoints pts;
  for (int k = 0; k < 8; ++k) pts.push_back({(k & 1) ? 2.0f : 0.0f, (k & 2) ? 2.0f : 0.0f, (k & 4) ? 2.0f : 0.0f});
  WriteFileBytes(dir / "p.txt", EncodeOutlineText(pts));
}

int PartFiles(const tooltest::TempDir& dir) {
  int n = 0;
  for (const auto& e : std::filesystem::directory_iterator(std::string(dir / "")))
    n += e.path().extension() == ".part";
  return n;
}

TEST(OutputSafety, TooSmallResolutionIsRefusedInOneLine) {
  tooltest::TempDir dir;
  WriteCube(dir);
  for (const char* command : {"hull", "delaunay"}) {
    const auto r = RunTool(dir, {command, dir / "p.txt", dir / "out.stl", "--resolution", "1e-300"});
    EXPECT_TRUE(FailedInOneLine(r, 1)) << command;
    EXPECT_TRUE(Contains(r.err, "--resolution is too small"));
  }
}

// A write that fails part way (here the file-size limit of the shell, with its signal ignored so the
// write reports the error) leaves the previous output as it was and no partial file behind.
TEST(OutputSafety, FailedWriteLeavesTheOldOutputIntact) {
  tooltest::TempDir dir;
  OutlinePoints pts;  // 64 points on a twisted ring: a binary STL of their hull is several kilobytes
  for (int k = 0; k < 64; ++k) {
    const double a = 0.7 * k, z = (k % 8) - 3.5;
    pts.push_back({static_cast<float>(10 * std::cos(a)), static_cast<float>(10 * std::sin(a)), static_cast<float>(z)});
  }
  WriteFileBytes(dir / "p.txt", EncodeOutlineText(pts));
  tooltest::WriteText(dir / "hull.stl", "the previous output\n");
  const auto r = tooltest::RunShell(dir, "trap '' XFSZ; ulimit -f 1; exec '" QSSSE_TOOL_PATH "' hull '" +
                                             std::string(dir / "p.txt") + "' '" + std::string(dir / "hull.stl") +
                                             "'");
  EXPECT_EQ(r.status, 1) << r.err;
  EXPECT_TRUE(Contains(r.err, "hull.stl"));
  EXPECT_EQ(tooltest::ReadText(dir / "hull.stl"), "the previous output\n");
  EXPECT_EQ(PartFiles(dir), 0);
}

}  // namespace
