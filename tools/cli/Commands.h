#pragma once
#include <cstdint>
#include <string>
#include <vector>

// The subcommands of the qssse program. Each Run function returns the exit status and throws
// ToolError (or any std::exception) for the caller to report as one line.
namespace qssse::tool {

// Exit statuses: 0 done, 1 a file or the work failed, 2 bad command line, 3 the capability is not
// in this build of the library.
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr int kExitUnavailable = 3;

struct DemoOptions {
  std::string outDir = "out";
  int size = 320;
  std::uint64_t memoryAvailable = 0;  // bytes the run may use; 0: what the machine has available
};

struct RasterInputOptions {
  double heightScale = 1.0;  // PNG grey level to height, when set on the command line
  bool haveHeightScale = false;
  double heightOffset = 0.0;
  bool haveHeightOffset = false;
  bool haveNoData = false;  // pixels of this height carry none, as NaN pixels
  float noData = 0.0f;
};

struct MeshOptions {
  std::string input, output, outline;
  RasterInputOptions raster;
  std::string threshold = "auto";  // a height, or "auto": just below the lowest height (above the highest)
  bool below = false;
  int stepX = 1, stepY = 1;
  float scaleX = 1.0f, scaleY = 1.0f, scaleZ = 1.0f;
};

struct ScanOptions {
  std::string input, output;
  float resolution = 1.0f;    // mesh units per pixel
  int width = 0, height = 0;  // 0: from the mesh's bounding box
  float zOffset = 0.0f;       // added to every height (heights are above the mesh's lowest point)
  bool minimum = false;
  bool threads = false;
  std::string method = "zbuffer";  // zbuffer | stamp | stamp-refined
  bool noDataNaN = false;  // pixels no triangle covers written as NaN (transparent in a PNG)
  int bits = 16;
};

struct FillOptions {
  std::string input, output;
  int width = 0, height = 0;  // 0: from the outline's bounding box
  float value = 1.0f;
  bool heights = false;  // fill with the outline's heights instead of value
  int bits = 16;
};

struct MorphOptions {
  std::string input, output, op;
  RasterInputOptions raster;
  float radius = 2.0f;
  float threshold = 0.5f;
  int median = 3;
  bool inside = false;           // chamfer: distances of the region's pixels to the background instead
  std::string units = "pixels";  // chamfer: "pixels" or "chamfer" (the raw 3-4 values)
  bool binary = false;           // erode/dilate: the binary forms on the region above binaryThreshold
  float binaryThreshold = 0.0f;
  int width = 0, height = 0;
  int bits = 16;
};

struct InfoOptions {
  std::vector<std::string> files;
  RasterInputOptions raster;
};

int RunDemo(const DemoOptions& o);
// The memory the demo needs for a crown of size x size pixels (measured: about 2.4 KiB per pixel), and
// the memory this machine has available (0 when unknown). The demo refuses a size that needs more.
std::uint64_t DemoMemoryBytes(int size);
std::uint64_t AvailableMemoryBytes();
int RunMesh(const MeshOptions& o);
int RunScan(const ScanOptions& o);
int RunFill(const FillOptions& o);
int RunMorph(const MorphOptions& o);
int RunInfo(const InfoOptions& o);

// The whole program: parses argv, runs the subcommand, reports any error as one line on stderr
// ("qssse <command>: <file>: <what is wrong>") and returns the exit status.
int RunProgram(int argc, char** argv);

}  // namespace qssse::tool
