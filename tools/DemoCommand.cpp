// qssse demo: builds a synthetic height field and runs what the library offers on it, with timings.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "Commands.h"
#include "qssse/qssse.h"

namespace qssse::tool {
namespace {

struct DemoOptions {
  std::string outDir = "out";
  int size = 320;
};

DemoOptions ParseDemoOptions(const std::vector<std::string>& args, bool& help) {
  DemoOptions o;
  help = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    auto value = [&]() -> const std::string& {
      if (i + 1 >= args.size()) throw std::invalid_argument("option " + a + " needs a value");
      return args[++i];
    };
    if (a == "--help" || a == "-h") {
      help = true;
    } else if (a == "--out") {
      o.outDir = value();
    } else if (a == "--size") {
      const std::string& v = value();
      char* end = nullptr;
      const long n = std::strtol(v.c_str(), &end, 10);
      if (end == v.c_str() || *end != '\0' || n < 16 || n > 4096) {
        throw std::invalid_argument("--size must be a whole number from 16 to 4096, not '" + v + "'");
      }
      o.size = static_cast<int>(n);
    } else {
      throw std::invalid_argument("unknown option '" + a + "'");
    }
  }
  return o;
}

class Stopwatch {
 public:
  double Milliseconds() const {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// A smooth dome of radius 0.45 * size, 5 height units high, 0 outside.
void MakeDome(CSSEMatrix& m, int size) {
  m.Create(size, size);
  const float c = 0.5f * static_cast<float>(size - 1), r = 0.45f * static_cast<float>(size);
  for (int y = 0; y < size; ++y) {
    for (int x = 0; x < size; ++x) {
      const float dx = (static_cast<float>(x) - c) / r, dy = (static_cast<float>(y) - c) / r;
      const float q = 1.0f - dx * dx - dy * dy;
      m.SetPoint(x, y, q > 0.0f ? 5.0f * std::sqrt(q) : 0.0f);
    }
  }
}

bool SameElements(const CSSEMatrix& a, const CSSEMatrix& b) {
  if (a.GetSSESizeX() != b.GetSSESizeX() || a.GetSSESizeY() != b.GetSSESizeY()) return false;
  for (int g = 0; g < a.GetSSESizeY(); ++g) {
    for (int x = 0; x < a.GetSSESizeX(); ++x) {
      const float* p = reinterpret_cast<const float*>(&a.GetMatrixDataDirectly()[g][x]);
      const float* q = reinterpret_cast<const float*>(&b.GetMatrixDataDirectly()[g][x]);
      for (int l = 0; l < 4; ++l) {
        if (std::memcmp(p + l, q + l, sizeof(float)) != 0) return false;
      }
    }
  }
  return true;
}

}  // namespace

int RunDemo(const std::vector<std::string>& args) {
  bool help = false;
  const DemoOptions o = ParseDemoOptions(args, help);
  if (help) {
    std::printf("usage: qssse demo [--out DIR] [--size N]\n"
                "  Builds a synthetic height field of N x N pixels (default 320) and runs the library on it,\n"
                "  writing its files into DIR (default out/).\n");
    return 0;
  }
  std::filesystem::create_directories(o.outDir);

  std::printf("qssse demo: synthetic dome %d x %d\n", o.size, o.size);
  CSSEMatrix field;
  Stopwatch t0;
  MakeDome(field, o.size);
  std::printf("  height field    created in %.2f ms (%d SIMD rows in %d fields)\n", t0.Milliseconds(),
              field.GetSSESizeY(), field.GetFields());

  float maxValue = 0.0f, minValue = 0.0f;
  field.CalcMinMaxValues(&maxValue, &minValue);
  std::printf("  value range     %.4f .. %.4f (interior scan)\n", minValue, maxValue);

  // Stamp a ring of markers around the dome with the maximum combining rule, as a rasteriser would.
  Stopwatch t1;
  const int stamps = 100000;
  const float c = 0.5f * static_cast<float>(o.size - 1), r = 0.47f * static_cast<float>(o.size);
  for (int i = 0; i < stamps; ++i) {
    const float a = 6.2831853f * static_cast<float>(i) / stamps;
    field.Set3x3BoxPointMax(static_cast<int>(c + r * std::cos(a)), static_cast<int>(c + r * std::sin(a)), 1.0f);
  }
  std::printf("  stamping        %d 3x3 maximum stamps in %.2f ms\n", stamps, t1.Milliseconds());
  const int centre = o.size / 2;
  std::printf("  cross maximum   at the centre %.4f, at the corner %.4f (clamped inward)\n",
              field.GetPointMax3x3(centre, centre), field.GetPointMax3x3(-10, -10));

  CImgFromToArray& spans = field.GetFromToArray();
  spans.CalcArray(field, 0, field.GetSizeX() - 1);
  int narrowest = 1 << 30;
  for (int g = 0; g < spans.GetCount(); ++g) {
    if (spans.GetTo(g) != CImgFromToArray::kWholeRowTo) narrowest = std::min(narrowest, spans.GetTo(g) - spans.GetFrom(g));
  }
  std::printf("  row spans       %d groups of four rows; narrowest changing span %d columns\n", spans.GetCount(),
              narrowest == (1 << 30) ? 0 : narrowest);

  const std::string path = (std::filesystem::path(o.outDir) / "dome.qsm").string();
  Stopwatch t2;
  if (!field.Store(CString(path))) throw std::runtime_error("cannot write " + path);
  CSSEMatrix reloaded;
  if (!reloaded.Load(CString(path))) throw std::runtime_error("cannot read " + path);
  const bool same = SameElements(field, reloaded);
  std::printf("  store and load  %s (%ju bytes) in %.2f ms: %s\n", path.c_str(),
              static_cast<std::uintmax_t>(std::filesystem::file_size(path)), t2.Milliseconds(),
              same ? "identical, padding included" : "DIFFERENT");
  return same ? 0 : 1;
}

}  // namespace qssse::tool
