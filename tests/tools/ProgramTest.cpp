// The built program end to end: help, exit statuses, one-line errors naming the file, outputs.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "ToolTestSupport.h"
#include "cli/Formats.h"


namespace {

HeightField Ramp(int w, int h) {
  HeightField f{w, h, {}};
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) f.values.push_back(static_cast<float>(x + 2 * y));
  }
  return f;
}

// A valid small file of every format the program reads, by name.
std::vector<std::string> WriteOneOfEach(const tooltest::TempDir& dir) {
  const HeightField f = Ramp(6, 5);
  WriteHeightField(dir / "a.pfm", f);
  WriteHeightField(dir / "a.npy", f);
  WriteHeightField(dir / "a.png", f);
  HeightFieldWriteOptions eight;
  eight.png.bits = 8;
  WriteHeightField(dir / "a8.png", f, eight);
  WriteHeightField(dir / "a.qsm", f);
  const MeshData m = tooltest::MeshOf({{0, 0, 0}, {1, 0, 1}, {0, 1, 2}}, {{0, 1, 2}});
  WriteMesh(dir / "a.stl", m);
  WriteMesh(dir / "a.ply", m);
  return {"a.pfm", "a.npy", "a.png", "a8.png", "a.qsm", "a.stl", "a.ply"};
}

}  // namespace

TEST(Program, EveryCommandHasHelpAndBadOrMissingCommandsExitWithTwoListingTheCommands) {
  tooltest::TempDir dir;
  for (const char* command : {"demo", "mesh", "scan", "fill", "morph", "info", "border"}) {
    const auto r = RunTool(dir, {command, "--help"});
    EXPECT_EQ(r.status, 0) << command;
    EXPECT_TRUE(Contains(r.out, std::string("qssse ") + command));
  }
  const auto top = RunTool(dir, {"--help"});
  EXPECT_EQ(top.status, 0);
  EXPECT_TRUE(Contains(top.out, "morph"));

  for (const std::vector<std::string>& bad : std::vector<std::vector<std::string>>{
           {"demo", "--size", "3"}, {"mesh", "only-input.pfm"}, {"morph", "blur", "a", "b"}}) {
    EXPECT_TRUE(FailedInOneLine(RunTool(dir, bad), 2)) << bad[0];
  }
  // A missing or unknown command is answered with the list of commands.
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{{"bogus"}, {}, {"--bogus"}, {"bogus", "demo"}}) {
    const auto r = RunTool(dir, args);
    EXPECT_TRUE(FailedInOneLine(r, 2, "qssse"));
    EXPECT_TRUE(ContainsAll(r.err, {"the commands are demo, mesh, scan, fill, morph, info, ", "border"}));
  }
  EXPECT_EQ(RunTool(dir, {"bogus"}).err.rfind("qssse: 'bogus' is not a command; ", 0), 0u);
}

TEST(Program, InfoDescribesEachFormatWithItsNumbers) {
  tooltest::TempDir dir;
  WriteOneOfEach(dir);
  WriteFileBytes(dir / "ring.txt", "0 0 1\n4 0 1\n4 3 1\n");
  ASSERT_RUN_OK(r, dir,
                {"info", dir / "a.pfm", dir / "a.npy", dir / "a.png", dir / "a.qsm", dir / "a.stl", dir / "a.ply", dir / "ring.txt"});
  EXPECT_TRUE(ContainsAll(r.out, {"a.pfm: PFM height field 6 x 5, heights 0 .. 13",
      "a.npy: NPY height field 6 x 5, heights 0 .. 13", "a.png: PNG image 6 x 5, 16-bit grey",
      "a.png: PNG height field 6 x 5, heights 0 .. 13", "a.qsm: qssse matrix height field 6 x 5",
      "a.stl: binary STL mesh, 1 triangles, 3 vertices", "a.ply: PLY mesh, 1 triangles",
      "ring.txt: outline of 3 points", "area 6"}));
}

TEST(Program, EveryPrefixOfEveryFormatFailsWithOneLineNamingTheFile) {
  tooltest::TempDir dir;
  for (const std::string& name : WriteOneOfEach(dir)) {
    const std::vector<unsigned char> full = tooltest::ReadAll(dir / name);
    // Every length for the small files; the program runs once per prefix, so step through big ones.
    const std::size_t step = full.size() > 400 ? full.size() / 200 : 1;
    for (std::size_t n = 0; n < full.size(); n += step) {
      const std::string cut = dir / ("cut-" + name);
      tooltest::WriteAll(cut, full, n);
      const auto r = RunTool(dir, {"info", cut});
      ASSERT_TRUE(FailedInOneLine(r, 1, "qssse info: " + cut + ": ")) << name << " cut at " << n << ": " << r.out;
    }
  }
}

TEST(Program, CorruptedAndMissingFilesAreNamedInOneLine) {
  tooltest::TempDir dir;
  WriteOneOfEach(dir);
  std::vector<unsigned char> png = tooltest::ReadAll(dir / "a.png");
  png[20] = 0xff;  // width in the header now disagrees with its checksum
  tooltest::WriteAll(dir / "bad.png", png, png.size());
  WriteFileBytes(dir / "inf.pfm", std::string("Pf\n1 1\n-1\n\x00\x00\x80\x7f", 14));
  const std::string dict = "{'descr': '<f4', 'fortran_order': False, 'shape': (30000, 30000), }\n";
  WriteFileBytes(dir / "huge.npy",
                 std::string("\x93NUMPY\x01\x00", 8) + static_cast<char>(dict.size()) + '\0' + dict);
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"bad.png", "not a valid PNG"},
      {"inf.pfm", "pixel (0, 0) is +infinity"},
      {"huge.npy", "a raster of 30000 x 30000 pixels is more than the library holds"},
      {"missing.pfm", "cannot open"},
  };
  for (const auto& [name, expected] : cases) {
    const auto r = RunTool(dir, {"morph", "median", dir / name, dir / "out.pfm"});
    EXPECT_TRUE(FailedInOneLine(r, 1, "qssse morph: " + dir / name + ": "));
    EXPECT_TRUE(Contains(r.err, expected));
  }
  EXPECT_TRUE(ExitedWith(RunTool(dir, {"morph", "median", dir / "a.pfm", dir / "no-such-dir/out.pfm"}), 1,
                         "no-such-dir/out.pfm: cannot create"));
}

TEST(Program, MorphWritesTheLibraryResultInTheFormatOfTheOutputName) {
  tooltest::TempDir dir;
  // (The values of each operation, read from .npy and written to .pfm, are the morph command's tests.)
  HeightField mask{20, 20, std::vector<float>(400, 0.0f)};
  mask.At(9, 9) = 1.0f;
  WriteHeightField(dir / "dot.npy", mask);
  ASSERT_RUN_OK(scaled, dir, {"morph", "scale", dir / "dot.npy", dir / "big.png", "--width", "18", "--height", "12"});
  EXPECT_EQ(DecodePngGrey(ReadFileBytes(dir / "big.png"), "big.png").width, 18);
  EXPECT_TRUE(ExitedWith(RunTool(dir, {"morph", "scale", dir / "dot.npy", dir / "big.png"}), 1,
                         "--width and --height"));
}

TEST(Program, EveryCommandKeepsOneSizeRuleWithOneMessageBeforeAllocating) {
  tooltest::TempDir dir;
  WriteHeightField(dir / "a.pfm", Ramp(6, 5));
  const MeshData m = tooltest::MeshOf({{0, 0, 0}, {10, 0, 1}, {0, 10, 2}}, {{0, 1, 2}});
  WriteMesh(dir / "t.stl", m);
  WriteFileBytes(dir / "ring.txt", "0 0 1\n4 0 1\n4 3 1\n");
  // A PFM header announcing one column of 32000 rows: the matrix holds 31999.
  WriteFileBytes(dir / "tall.pfm", "Pf\n1 32000\n-1\n");
  const std::string rule =
      "is more than the library holds (at most 32000 columns, 31999 rows and 268435456 pixels)";
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"morph", "scale", dir / "a.pfm", dir / "big.pfm", "--width", "32000", "--height", "31999"},
       "a raster of 32000 x 31999 pixels "},
      {{"scan", dir / "t.stl", dir / "big.pfm", "--width", "32000", "--height", "31999"},
       "a raster of 32000 x 31999 pixels "},
      {{"scan", dir / "t.stl", dir / "big.pfm", "--resolution", "0.000244140625"},  // 2^-12
       "a raster of 40961 x 40961 pixels "},  // one pixel per grid point: the z-buffer default
      {{"fill", dir / "ring.txt", dir / "big.pfm", "--width", "32000", "--height", "31999"},
       "a raster of 32000 x 31999 pixels "},
      {{"morph", "median", dir / "tall.pfm", dir / "big.pfm"}, "a raster of 1 x 32000 pixels "},
  };
  for (const auto& [args, size] : cases) {
    const auto r = RunTool(dir, args);
    EXPECT_TRUE(FailedInOneLine(r, 1)) << args[0];
    EXPECT_TRUE(Contains(r.err, size + rule));
    EXPECT_FALSE(std::filesystem::exists(dir / "big.pfm")) << args[0];
  }
  // Option bounds in plain numbers.
  const auto zero = RunTool(dir, {"scan", dir / "t.stl", dir / "o.pfm", "--resolution", "0"});
  EXPECT_EQ(zero.status, 2);
  EXPECT_TRUE(Contains(zero.err, "--resolution: must be a number above 0, not '0'"));
  EXPECT_LT(zero.err.size(), 120u) << zero.err;
  EXPECT_TRUE(ExitedWith(RunTool(dir, {"offset", dir / "ring.txt", dir / "o.txt", "-d", "1", "--arc-tolerance", "-1"}),
                         2, "--arc-tolerance: must be a number, at least 0, not '-1'"));
  EXPECT_TRUE(ExitedWith(RunTool(dir, {"fill", dir / "ring.txt", dir / "o.pfm", "--width", "0"}), 2,
                         "--width: must be a whole number from 1 to 2147483647, not '0'"));
}
