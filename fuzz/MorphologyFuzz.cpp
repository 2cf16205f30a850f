// Fuzzed rasters (values from a grid with NaN, infinities and raw floats) through the whole-image
// operations: chamfer distance, disc erosion and dilation, thinning, the greyscale disc filters, hole
// and area filling, thin-area removal, the medians and the first-point searches, with radii and
// rectangles taken from the input as well (raw floats included).
#include <cstddef>
#include <cstdint>

#include "FuzzInput.h"
#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/platform/MemoryLimit.h"
#include "qssse/raster/Filters.h"
#include "qssse/raster/SSEMatrix.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qssse::SetMemoryLimit(std::uint64_t{256} << 20);
  fuzz::Input in(data, size);
  const int op = in.Int(0, 9);
  const int w = in.Int(0, 48), h = in.Int(0, 48);
  const float radius = in.Coordinate(1.0f);
  const int x0 = in.Int(-4, 52), x1 = in.Int(-4, 52), y0 = in.Int(-4, 52), y1 = in.Int(-4, 52);
  CSSEMatrix m;
  m.Create(w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) m.SetPoint(x, y, in.Coordinate(0.5f));
  try {
    switch (op) {
      case 0:
        m.Chamfer();
        break;
      case 1: {
        const float a = in.Coordinate(0.5f), b = in.Coordinate(0.5f);
        m.Errode(radius, a, b, x0, x1, y0, y1);
      } break;
      case 2:
        m.Dilate(radius, 0.0f, 1.0f, x0, x1, y0, y1);
        break;
      case 3:
        m.ZhangSuen(in.Coordinate(0.5f));
        break;
      case 4:
        m.MinimumFilterDisc(radius);
        break;
      case 5:
        m.MaximumFilterDisc(radius);
        break;
      case 6:
        m.FillHoles(in.Coordinate(0.5f), 1.0f);
        m.FillArea(x0, y0, in.Coordinate(0.5f));
        break;
      case 7:
        m.RemoveThinAreas(radius, in.Coordinate(0.5f), 0.0f);
        break;
      case 8: {
        CSSEMatrix target;
        target.CreateSimilar(m);
        CFilters::Median3x3(m, target, x0, x1, y0, y1);
        CFilters::Median5x5(m, target, x0, x1, y0, y1);
        break;
      }
      default: {
        int x = x0, y = y0;
        const int dx = in.Int(-3, 3), dy = in.Int(-3, 3);
        m.FindFirstPointAbove(x, y, dx, dy, in.Coordinate(0.5f));
        const int right = in.Int(-2, 60), bottom = in.Int(-2, 60);
        m.RemoveFrameArtefacts(right, bottom, 0.0f);
        break;
      }
    }
  } catch (const CMemoryException&) {
  } catch (const CInvalidArgumentException&) {
  }
  return 0;
}
