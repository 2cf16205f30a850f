// Fuzzed outlines through the fill rule and the rasterisers. The fill rule (a pass over the ring) takes
// any coordinates, raw floats included; the fills and outline drawings take outlines on a grid of 1, 8 or
// 2^20 units, or at the float range's end, into matrices of up to 64 x 64, with NaN and infinities mixed
// in: their work follows the matrix, not the outline. The work budget is lowered so that a coarse fill
// whose shortcut fails (edges that coincide, or a sliver thinner than the sample spacing, beyond the
// matrix) is refused within the time limit under the sanitizers.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "FuzzInput.h"
#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/platform/MemoryLimit.h"
#include "qssse/platform/WorkBudget.h"
#include "qssse/platform/WorkBudgetException.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"
#include "qssse/raster/SSEcharMatrix.h"

namespace {

void Ring(CSSE3dPolygon& p, const std::vector<fuzz::Point3>& points, float shift) {
  p.Create(static_cast<int>(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i)
    p.SetPoint(static_cast<int>(i), points[i].x + shift, points[i].y + shift, points[i].z);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qssse::SetMemoryLimit(std::uint64_t{256} << 20);
  qssse::SetWorkBudget(std::uint64_t{1} << 20);
  fuzz::Input in(data, size);
  const int op = in.Int(0, 9);
  if (op == 0) {
    // The fill rule on any coordinates, its three forms.
    CSSE3dPolygon p;
    Ring(p, fuzz::Points(in, 64, 1.0f), 0.0f);
    const int step = in.Int(-1, 5);
    for (int q = 0; q < 8 && !in.Empty(); ++q) {
      const float x = in.Coordinate(1.0f), y = in.Coordinate(1.0f);
      p.PointInLineInnerArea(x, y, step);
      p.PointInLineInnerAreaNormalized(x, y, step);
      const float bx0 = in.Coordinate(1.0f), bx1 = in.Coordinate(1.0f), by0 = in.Coordinate(1.0f),
                  by1 = in.Coordinate(1.0f);
      p.PointInLineInnerAreaBoxed(x, y, bx0, bx1, by0, by1, step);
    }
    p.CalcXYArea();
    const float cx = in.Coordinate(1.0f), cy = in.Coordinate(1.0f);
    p.ClosestPointXY(cx, cy, step);
    return 0;
  }
  static const float units[] = {1.0f, 8.0f, 1048576.0f, 1e37f};
  const float unit = units[in.Byte() % 4];
  CSSE3dPolygon p;
  Ring(p, fuzz::Points(in, 48, unit, false), 32.0f);
  CSSEMatrix m;
  const int sizeX = in.Int(0, 64), sizeY = in.Int(0, 64);
  m.Create(sizeX, sizeY);
  const float value = in.Coordinate(1.0f, false);
  const bool subsample = in.Bool();
  const float yFrom = in.Coordinate(8.0f, false), yTo = in.Coordinate(8.0f, false);
  try {
    switch (op) {
      case 1:
        p.DrawInMatrixAndFill(value, &m);
        break;
      case 2:
        p.DrawInMatrixAndFillFine(value, &m, subsample, yFrom, yTo);
        p.DrawInMatrixAndFillFineMax(value, &m, subsample, yFrom, yTo);
        break;
      case 3:
        p.DrawInMatrixAndFillCoarse(value, &m, subsample, yFrom, yTo);
        break;
      case 4:
        p.DrawInMatrixAndFillCoarseFast(value, &m, subsample, yFrom, yTo);
        break;
      case 5: {
        CSSEcharMatrix c(m.GetSizeX(), m.GetSizeY());
        // The byte from the value only where the conversion is defined.
        const char byte = std::fabs(value) < 128.0f ? static_cast<char>(value) : '\x7f';
        p.DrawInCharMatrixAndFillFine(byte, &c, subsample, yFrom, yTo);
        break;
      }
      case 6:
        p.DrawInMatrixFineZ(&m);
        p.DrawInMatrixFineZMin(&m);
        break;
      case 7:
        p.DrawSubInMatrixAndFill(value, &m, in.Coordinate(1.0f, false), subsample, yFrom, yTo);
        p.DrawOutsidePixels(m, value);
        break;
      case 8:
        p.DrawInMatrixAndFillToOneSideFront(value, &m, yFrom, yTo, subsample);
        {
          const bool first = in.Bool();
          const float dx = in.Coordinate(1.0f, false), dy = in.Coordinate(1.0f, false);
          p.DrawInMatrix(value, &m, first, dx, dy, in.Bool());
        }
        break;
      default: {
        CSSEMatrix distances;
        distances.CreateSimilar(m);
        t_resolutiondata res{};
        p.InternalAreaDistanceTransform(value, &m, &distances, res, subsample);
        break;
      }
    }
  } catch (const CMemoryException&) {
  } catch (const CInvalidArgumentException&) {
  } catch (const CWorkBudgetException&) {
  }
  return 0;
}
