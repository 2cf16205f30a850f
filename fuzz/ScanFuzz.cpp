// Fuzzed triangle soups through the scan conversions (maximum, minimum, the threaded form, the
// conversions into a matrix as it stands, through a line, and the refinement). Corners lie on a grid of
// at most 16 x 16 scan pixels, with NaN, infinities, signed zeros and subnormals mixed in. The work
// budget is lowered so that a plan beyond a fraction of a second is refused rather than run: the
// refusal is then the finding's documented outcome.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "FuzzInput.h"
#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/platform/MemoryLimit.h"
#include "qssse/platform/WorkBudget.h"
#include "qssse/platform/WorkBudgetException.h"
#include "qssse/polygon/SSE3dPolygon.h"
#include "qssse/raster/SSEMatrix.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qssse::SetMemoryLimit(std::uint64_t{256} << 20);
  qssse::SetWorkBudget(std::uint64_t{1} << 24);
  fuzz::Input in(data, size);
  const int op = in.Int(0, 7);
  const float resolution = in.Bool() ? 1.0f : 0.5f;
  const std::vector<fuzz::Point3> corners = fuzz::Points(in, 3 * 24, resolution, false);
  const int n = static_cast<int>(corners.size() / 3);
  CHTriangulation mesh;
  mesh.BaseInitialization(1.0f, 1.0f, 1.0f);
  mesh.SetScanConvResolution(resolution, resolution, 1.0f);
  mesh.CreateTriangulation(n);
  for (int i = 0; i < n; ++i)
    for (int k = 0; k < 3; ++k) {
      const fuzz::Point3& c = corners[static_cast<std::size_t>(3 * i + k)];
      *mesh.GetTriangle(i)->point[k] = qssse::MakeSSEPoint(c.x, c.y, c.z);
    }
  mesh.CalcSTV();
  mesh.CalcBoundingBox();
  const float zOffset = in.Coordinate(1.0f, false);
  CSSEMatrix m;
  try {
    switch (op) {
      case 0:
        mesh.ScanConvertTriangulationMax(&m, zOffset);
        mesh.RefineScanConvImageTop(&m, zOffset);
        break;
      case 1:
        mesh.ScanConvertTriangulationMin(&m, zOffset, in.Bool() ? 1.0f : in.Coordinate(1.0f, false));
        mesh.RefineScanConvImage(&m, zOffset);
        break;
      case 2:
        mesh.FastScanConvertTriangulation(&m, zOffset, in.Bool());
        break;
      case 3:
      case 4: {
        const int sizeX = in.Int(0, 40), sizeY = in.Int(0, 40);
        m.Create(sizeX, sizeY);
        if (op == 3) {
          const bool fine = in.Bool(), cross = in.Bool();
          mesh.ScanConvertTriangulationMaxNoDelete(&m, fine, cross);
        } else {
          const float yMin = in.Coordinate(1.0f, false), yMax = in.Coordinate(1.0f, false);
          mesh.ScanConvertTriangulationMinNoDeleteInYArea(&m, yMin, yMax);
        }
        break;
      }
      case 5: {
        const int sizeX = in.Int(0, 40), sizeY = in.Int(0, 40);
        m.Create(sizeX, sizeY);
        const float ox = in.Coordinate(1.0f, false), oy = in.Coordinate(1.0f, false);
        SSEPoint origin = qssse::MakeSSEPoint(ox, oy, 0.0f);
        const int limitX = in.Int(-2, 30), limitY = in.Int(-2, 30);
        SSEPoint* from = in.Bool() ? &origin : nullptr;
        mesh.ScanConvertTriangulationWithLimitedArea(&m, limitX, limitY, zOffset, from, in.Bool());
        break;
      }
      case 6: {
        const std::vector<fuzz::Point3> points = fuzz::Points(in, 10, resolution, false);
        CSSE3dPolygon line;
        line.Create(static_cast<int>(points.size()));
        for (std::size_t i = 0; i < points.size(); ++i)
          line.SetPoint(static_cast<int>(i), points[i].x, points[i].y, 0.0f);
        mesh.ScanConvertThroughLineMax(&m, &line, zOffset);
        break;
      }
      default: {
        SSEPoint lo, hi;
        mesh.GetMinPoint(lo);
        mesh.GetMaxPoint(hi);
        mesh.ScanConvertTriangulationMax_MinMaxPoint(&m, zOffset, lo, hi);
        break;
      }
    }
  } catch (const CMemoryException&) {
  } catch (const CInvalidArgumentException&) {
  } catch (const CWorkBudgetException&) {
  }
  return 0;
}
