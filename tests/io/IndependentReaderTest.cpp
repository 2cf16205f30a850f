// Files written by the program, read back by independent readers from Debian (NumPy, Pillow,
// meshio, pngcheck). Each test skips when its reader is not installed.
#include <gtest/gtest.h>

#include <string>

#include "io/IoTestSupport.h"
#include "qssse/qssse_io.h"

using namespace qssse::io;
using iotest::Contains;

namespace {

// Debian's readers live in the system interpreter, whatever python3 comes first on the PATH.
const char* kPython = "/usr/bin/python3";

bool PythonHas(const iotest::TempDir& dir, const std::string& module) {
  return iotest::RunShell(dir, std::string(kPython) + " -c 'import " + module + "'").status == 0;
}

std::string Python(const iotest::TempDir& dir, const std::string& script) {
  iotest::WriteText(dir / "check.py", script);
  const auto r = iotest::RunShell(dir, std::string(kPython) + " '" + (dir / "check.py") + "'");
  EXPECT_EQ(r.status, 0) << r.err;
  return r.out;
}

HeightField Field() {
  HeightField h{4, 3, {}};
  for (int i = 0; i < 12; ++i) h.values.push_back(0.25f * static_cast<float>(i * i) - 3.0f);
  return h;
}

MeshData Mesh() { return iotest::MeshOf({{0, 0, 0}, {2, 0, 1}, {0, 3, 0.5f}, {2, 3, -1}}, {{0, 1, 2}, {1, 3, 2}}); }

}  // namespace

TEST(IndependentReaders, NumpyReadsOurNpyWithShapeAndValues) {
  iotest::TempDir dir;
  if (!PythonHas(dir, "numpy")) GTEST_SKIP() << "python3-numpy is not installed";
  WriteHeightField(dir / "f.npy", Field());
  const std::string out = Python(dir, "import numpy\na = numpy.load('" + (dir / "f.npy") +
                                          "')\nprint(a.dtype, a.shape, a[0, 1], a[2, 3], a.sum())\n");
  // 1/4 - 3 = -2.75 at (x 1, y 0); 121/4 - 3 = 27.25 at (x 3, y 2); the sum is 506/4 - 36 = 90.5.
  EXPECT_EQ(out, "float32 (3, 4) -2.75 27.25 90.5\n");
}

TEST(IndependentReaders, PillowAndPngcheckReadOurSixteenBitPng) {
  iotest::TempDir dir;
  HeightFieldWriteOptions s;
  s.png.haveScale = true;
  s.png.scale = 0.25;
  s.png.haveOffset = true;
  s.png.offset = -3.0;
  WriteHeightField(dir / "f.png", Field(), s);
  if (iotest::RunShell(dir, "command -v pngcheck").status == 0) {
    const auto r = iotest::RunShell(dir, "pngcheck -t '" + (dir / "f.png") + "'");
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_TRUE(Contains(r.out, "HeightScale"));
  }
  if (!PythonHas(dir, "PIL")) GTEST_SKIP() << "python3-pil is not installed";
  // Level = (h + 3) / 0.25 = i * i.
  const std::string out = Python(dir, "from PIL import Image\nim = Image.open('" + (dir / "f.png") +
                                          "')\nprint(im.size, [im.getpixel((x, 2)) for x in range(4)])\n");
  EXPECT_EQ(out, "(4, 3) [64, 81, 100, 121]\n");
}

TEST(IndependentReaders, MeshioReadsOurStlAndPly) {
  iotest::TempDir dir;
  if (!PythonHas(dir, "meshio")) GTEST_SKIP() << "python3-meshio is not installed";
  WriteMesh(dir / "m.stl", Mesh());
  WriteMesh(dir / "m.ply", Mesh());
  const std::string script =
      "import meshio\n"
      "for name in ['m.stl', 'm.ply']:\n"
      "    m = meshio.read('" +
      (dir / "") +
      "' + name)\n"
      "    tri = [c.data for c in m.cells if c.type == 'triangle'][0]\n"
      "    pts = m.points[tri]\n"
      "    print(name, len(tri), pts[1].tolist())\n";
  EXPECT_EQ(Python(dir, script),
            "m.stl 2 [[2.0, 0.0, 1.0], [2.0, 3.0, -1.0], [0.0, 3.0, 0.5]]\n"
            "m.ply 2 [[2.0, 0.0, 1.0], [2.0, 3.0, -1.0], [0.0, 3.0, 0.5]]\n");
}
