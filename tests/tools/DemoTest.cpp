// The synthetic restoration and the demo that runs the library on it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <map>
#include <numbers>
#include <string>
#include <utility>

#include "ToolTestSupport.h"
#include "cli/Commands.h"
#include "cli/Error.h"
#include "cli/Formats.h"
#include "cli/MeshConvert.h"
#include "cli/Summary.h"
#include "cli/Synthetic.h"
#include "qssse/polygon/SSE3dPolygon.h"


namespace {

// The number after "key": in summary.json (NaN when the key is missing).
double JsonNumber(const std::string& json, const std::string& key) {
  const std::size_t at = json.find("\"" + key + "\": ");
  if (at == std::string::npos) return std::nan("");
  return std::stod(json.substr(at + key.size() + 4));
}

// Width and height of an 8-bit RGB picture.
std::pair<int, int> PngSize(const std::string& path) {
  int w = 0, h = 0;
  const std::string d = DescribePng(tooltest::ReadAll(path), path);
  EXPECT_EQ(std::sscanf(d.c_str(), "PNG image %d x %d, 8-bit RGB", &w, &h), 2) << d;
  return {w, h};
}

// One demo run of kSize pixels a side, shared by the tests of its outputs.
constexpr int kSize = 80;

class Demo : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = new tooltest::TempDir;
    run_ = new tooltest::RunResult(tooltest::RunTool(*dir_, {"demo", "--out", *dir_ / "out", "--size", std::to_string(kSize)}));
  }
  static void TearDownTestSuite() {
    delete run_;
    delete dir_;
  }
  void SetUp() override {
    ASSERT_EQ(run_->status, 0) << run_->err;
    json = tooltest::ReadText(Out("summary.json"));
  }
  static std::string Out(const std::string& name) { return *dir_ / ("out/" + name); }
  static inline tooltest::TempDir* dir_ = nullptr;
  static inline tooltest::RunResult* run_ = nullptr;
  std::string json;
};

}  // namespace

TEST(SyntheticCrown, HeightsAreZeroOutsideTheMarginAndRiseFromTheMarginToTheCusps) {
  const SyntheticCrown c = MakeSyntheticCrown(96);
  ASSERT_EQ(c.heights.width, 96);
  const double centre = 0.5 * 95;
  int inside = 0;
  for (int y = 0; y < 96; ++y) {
    for (int x = 0; x < 96; ++x) {
      const double dx = x - centre, dy = y - centre;
      const double r = CrownMarginRadius(96, std::atan2(dy, dx));
      const float h = c.heights.At(x, y);
      ASSERT_TRUE(std::isfinite(h));
      if (std::hypot(dx, dy) >= r) {
        EXPECT_EQ(h, 0.0f) << x << "," << y;
      } else {
        EXPECT_GE(h, c.marginHeight) << x << "," << y;
        ++inside;
      }
    }
  }
  EXPECT_GT(inside, 96 * 96 / 3);
  // The first cusp stands above the fissure at the centre, which stands above the wall's foot.
  const float cusp =
      c.heights.At(static_cast<int>(centre - 0.33 * 0.4 * 96), static_cast<int>(centre - 0.30 * 0.4 * 96));
  const float fissure = c.heights.At(48, 48);
  EXPECT_GT(cusp, fissure + 1.0f);
  EXPECT_GT(fissure, 4.0f);
}

TEST(SyntheticCrown, MarginRingLiesOnTheMarginRadiusAtTheMarginHeight) {
  const SyntheticCrown c = MakeSyntheticCrown(64);
  ASSERT_GE(c.margin.size(), 12u);
  const double centre = 31.5;
  for (const Vertex& p : c.margin) {
    const double r = CrownMarginRadius(64, std::atan2(p.y - centre, p.x - centre));
    EXPECT_NEAR(std::hypot(p.x - centre, p.y - centre), r, 1e-3);
    EXPECT_EQ(p.z, c.marginHeight);
  }
  EXPECT_EQ(MakeSyntheticCrown(64).heights.values, c.heights.values);  // deterministic
}

TEST_F(Demo, WritesItsPicturesAndASummaryThatAgreeWithTheFiles) {
  EXPECT_TRUE(ContainsAll(run_->out, {"synthetic crown", "chamfer distance", "restoration octree"}));
  EXPECT_TRUE(run_->err.empty()) << run_->err;  // no progress output when stderr is not a terminal
  const SyntheticCrown crown = MakeSyntheticCrown(kSize);
  EXPECT_EQ(ReadHeightField(Out("crown.pfm")).values, crown.heights.values);
  EXPECT_EQ(ReadOutline(Out("margin.txt")), crown.margin);
  for (const char* picture : {"relief.png", "mask.png", "skeleton.png", "scan-relief.png"})
    EXPECT_EQ(PngSize(Out(picture)), std::make_pair(kSize, kSize)) << picture;
  // The distance map and the difference with a colour bar beside them.
  for (const char* picture : {"distance.png", "difference.png"}) {
    EXPECT_GT(PngSize(Out(picture)).first, kSize + 40) << picture;
    EXPECT_EQ(PngSize(Out(picture)).second, kSize) << picture;
  }
  // The run's memory before it starts, and its whole time at the end, file work included.
  EXPECT_TRUE(Contains(run_->out, "(needs about " + std::to_string(DemoMemoryBytes(kSize) >> 20) + " MiB of memory)"));
  double steps = 0.0;
  for (std::size_t at = json.find("\"ms\": "); at != std::string::npos; at = json.find("\"ms\": ", at + 1))
    steps += std::stod(json.substr(at + 6));
  EXPECT_GE(JsonNumber(json, "totalMs"), steps);
  EXPECT_TRUE(Contains(run_->out, "  total "));
  EXPECT_EQ(json.rfind("{\n  \"size\": " + std::to_string(kSize) + ",", 0), 0u) << json;
  // The mask holds the pixels inside the margin by the library's fill rule.
  CSSE3dPolygon margin;
  ToPolygon(crown.margin, margin);
  std::size_t maskPixels = 0;
  for (int y = 0; y < kSize; ++y) {
    for (int x = 0; x < kSize; ++x)
      maskPixels += margin.PointInLineInnerArea(static_cast<float>(x), static_cast<float>(y), 1);
  }
  EXPECT_TRUE(ContainsAll(json, {"\"maskPixels\": " + std::to_string(maskPixels), "\"outlines.svg\""}));
  EXPECT_TRUE(Contains(tooltest::ReadText(Out("outlines.svg")), "<polygon"));
  EXPECT_TRUE(Contains(tooltest::ReadText(Out("footprint.svg")), "<polygon"));
}

TEST_F(Demo, MeshFilesHoldTheClippedCrownInMillimetresWithItsMarginAtZero) {
  const double triangles = JsonNumber(json, "meshTriangles") - JsonNumber(json, "removedTriangles");
  const MeshData stl = ReadMesh(Out("crown.stl"));
  const MeshData ply = ReadMesh(Out("crown.ply"));
  EXPECT_EQ(static_cast<double>(stl.triangles.size()), triangles);
  EXPECT_EQ(WeldVertices(stl).vertices, ply.vertices);
  EXPECT_EQ(static_cast<double>(ply.vertices.size()), JsonNumber(json, "meshVertices"));
  // One ring of border cells around a disc of cells, and one border loop over exactly the sides that
  // only one triangle of the file has (the edits removed no triangle, so the file holds the mesh whose
  // border the demo walked).
  EXPECT_GT(JsonNumber(json, "borderTriangles"), 0.0);
  EXPECT_LT(JsonNumber(json, "borderTriangles"), triangles / 4);
  ASSERT_EQ(JsonNumber(json, "removedTriangles"), 0.0);
  std::map<std::pair<std::uint32_t, std::uint32_t>, int> sides;
  for (const auto& t : ply.triangles) {
    for (int e = 0; e < 3; ++e) ++sides[std::minmax(t[e], t[(e + 1) % 3])];
  }
  double open = 0.0, openLength = 0.0;
  for (const auto& [side, count] : sides) {
    if (count != 1) continue;
    const Vertex &a = ply.vertices[side.first], &b = ply.vertices[side.second];
    open += 1.0;
    openLength += std::hypot(double{a.x} - b.x, double{a.y} - b.y);
  }
  EXPECT_EQ(JsonNumber(json, "borderLoops"), 1.0);
  EXPECT_EQ(JsonNumber(json, "borderLoopPoints"), open);
  EXPECT_NEAR(JsonNumber(json, "borderLength"), openLength, 1e-4 * openLength);
  EXPECT_EQ(JsonNumber(json, "borderSidesLeftOver"), 0.0);

  const SyntheticCrown crown = MakeSyntheticCrown(kSize);
  float top = 0.0f;
  for (const Vertex& v : ply.vertices) {
    // Every corner lies inside the margin (in pixels about the centre) and at or above it.
    const double px = v.x / crown.pixelSize, py = v.y / crown.pixelSize;
    EXPECT_LT(std::hypot(px, py), CrownMarginRadius(kSize, std::atan2(py, px)) + 1e-3);
    EXPECT_GE(v.z, 0.0f);
    top = std::max(top, v.z);
  }
  float highest = 0.0f;
  for (float h : crown.heights.values) highest = std::max(highest, h);
  EXPECT_NEAR(top, highest - crown.marginHeight, 1e-5);
  EXPECT_EQ(static_cast<float>(JsonNumber(json, "crownTop")), top);  // written with 9 digits: the float exactly
}

TEST_F(Demo, RoundTripGivesTheCrownBackWithinTheDocumentedBoundsInTheInterior) {
  // The plain conversion lies between the crown and its 5 x 5 maximum; the refined one is the crown.
  EXPECT_LE(JsonNumber(json, "scanMaxDiff"), JsonNumber(json, "scanBound")) << json;
  EXPECT_GT(JsonNumber(json, "scanMaxDiff"), 0.0);
  EXPECT_EQ(JsonNumber(json, "roundTripBound"), 1e-4);
  EXPECT_LE(JsonNumber(json, "roundTripMaxDiff"), 1e-4) << json;
  // The same from the files alone: wherever the crown is non-zero over the 5 x 5 pixels around a
  // pixel, the refined conversion written back matches it within the bound.
  const HeightField crown = ReadHeightField(Out("crown.pfm"));
  const HeightField back = ReadHeightField(Out("scan.pfm"));
  ASSERT_EQ(back.width, kSize);
  int compared = 0, inside = 0;
  for (int y = 2; y < kSize - 2; ++y) {
    for (int x = 2; x < kSize - 2; ++x) {
      bool deep = true;
      for (int dy = -2; dy <= 2; ++dy) {
        for (int dx = -2; dx <= 2; ++dx) deep = deep && crown.At(x + dx, y + dy) != 0.0f;
      }
      inside += crown.At(x, y) != 0.0f;
      if (!deep || back.At(x, y) == 0.0f) continue;
      EXPECT_NEAR(back.At(x, y), crown.At(x, y), 1e-4) << x << "," << y;
      ++compared;
    }
  }
  EXPECT_GT(compared, inside * 3 / 4);
}

TEST_F(Demo, RestorationAnalysisOfTheCrownAgreesWithItsMesh) {
  // Five levels of a cell size of extent / 32; the angle is an arctangent plus the 0.0875 allowance.
  EXPECT_EQ(JsonNumber(json, "octreeLevels"), 5.0);
  EXPECT_EQ(JsonNumber(json, "octreeBricks"), 4681.0);
  const double angle = JsonNumber(json, "restorationAngle");
  EXPECT_GT(angle, -std::numbers::pi / 2 + 0.0875);
  EXPECT_LT(angle, std::numbers::pi / 2 + 0.0875);
  // Two copies of the crown as bottom meshes: twice its triangles, twice its shared vertices.
  const double triangles = JsonNumber(json, "meshTriangles") - JsonNumber(json, "removedTriangles");
  EXPECT_EQ(JsonNumber(json, "combinedTriangles"), 2 * triangles);
  EXPECT_EQ(JsonNumber(json, "combinedVertices"), 2 * JsonNumber(json, "meshVertices"));
  // The crown fits a blank 1 mm larger all round, not one whose top is 1 mm below its own.
  EXPECT_EQ(JsonNumber(json, "insideBlank"), 1.0);
  EXPECT_EQ(JsonNumber(json, "insideLowBlank"), 0.0);
  EXPECT_GE(JsonNumber(json, "footprintPoints"), 3.0);
}

TEST_F(Demo, SummaryJsonEscapesTextAndWritesNonFiniteResultsAsNull) {
  Summary s(1);
  s.Result("nan", std::nan(""));
  s.Result("one", 1.0);
  s.File("a\"b\n.png");
  const std::string text = s.Json(16);
  EXPECT_TRUE(ContainsAll(text, {"\"nan\": null", "\"one\": 1", "\"a\\\"b\\u000a.png\""}));
}

TEST_F(Demo, SizeThatNeedsMoreMemoryThanAvailableIsRefusedWithTheFigureBeforeAnythingIsWritten) {
  // Measured: about 250 MiB at 320 pixels a side, growing with the pixel count.
  EXPECT_GT(DemoMemoryBytes(320), std::uint64_t{230} << 20);
  EXPECT_LT(DemoMemoryBytes(320), std::uint64_t{300} << 20);
  EXPECT_GT(DemoMemoryBytes(4096), std::uint64_t{38} << 30);
  tooltest::TempDir dir;
  DemoOptions o;
  o.outDir = dir / "out";
  o.memoryAvailable = std::uint64_t{100} << 20;
  try {
    RunDemo(o);
    ADD_FAILURE() << "ran";
  } catch (const ToolError& e) {
    EXPECT_TRUE(Contains(std::string(e.what()), "a crown of 320 x 320 pixels needs about 252 MiB of memory, more than the " "100 MiB this machine has available; --size 196 fits")) << e.what();
  }
  EXPECT_FALSE(std::filesystem::exists(dir / "out"));
}
