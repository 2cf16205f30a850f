// Fuzzed outlines, raw floats included, through the polygon's own operations: resampling at any step,
// point reduction, sub-sampling, smoothing, interpolation, transforms, the 2-D hull of its points,
// copies and appends. Each must finish with a polygon whose count matches its arrays.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "FuzzInput.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/platform/MemoryLimit.h"
#include "qssse/polygon/SSE3dPolygon.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qssse::SetMemoryLimit(std::uint64_t{256} << 20);
  fuzz::Input in(data, size);
  const std::vector<fuzz::Point3> points = fuzz::Points(in, 64, in.Bool() ? 1.0f : 100.0f);
  CSSE3dPolygon p;
  p.Create(static_cast<int>(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i) p.SetPoint(static_cast<int>(i), points[i].x, points[i].y, points[i].z);
  try {
    for (int round = 0; round < 4 && !in.Empty(); ++round) {
      switch (in.Int(0, 11)) {
        case 0:
          p.ReParametrize(in.Coordinate(0.5f));
          break;
        case 1: {
          std::vector<int> map(static_cast<std::size_t>(p.GetNumPoints()) + 1);
          p.ReParametrize(in.Coordinate(0.5f), map.data());
          break;
        }
        case 2:
          p.ReParametrizeXYZ(in.Coordinate(0.5f));
          break;
        case 3:
          p.ReducePoints();
          p.RemoveEqualPointsXY();
          break;
        case 4:
          p.Subsample(in.Int(-1, 6), in.Bool());
          break;
        case 5:
          p.FilterMedian3();
          p.FilterMaximum3();
          break;
        case 6:
          p.InterpolateZ(in.Coordinate(1.0f), in.Coordinate(1.0f), in.Int(-1, 4), in.Coordinate(1.0f));
          break;
        case 7:
          p.RotateXYZ(in.Coordinate(0.5f), in.Coordinate(0.5f), in.Coordinate(0.5f));
          p.TransformVertices(in.Coordinate(0.5f), in.Coordinate(0.5f));
          break;
        case 8:
          p.BlowLineAroundCenter(in.Coordinate(0.5f), in.Coordinate(0.5f), 1.0f, in.Bool());
          break;
        case 9: {
          CSSE3dPolygon copy(p);
          p.AddPolygonPoints(copy, in.Int(-1, 70), in.Int(-1, 70));
          break;
        }
        case 10: {
          int k = in.Int(-1, 70);
          if (p.GetNumPoints() > 0) {
            std::vector<int> indices(static_cast<std::size_t>(p.GetNumPoints()));
            p.ChangeStartPoint(k % p.GetNumPoints() < 0 ? 0 : k % p.GetNumPoints(), indices.data());
          }
          break;
        }
        default:
          p.ReplaceByConvexHullXY();
          break;
      }
      p.CalcBoundingBox();
      p.CalcCircumference();
    }
  } catch (const CMemoryException&) {
  }
  return 0;
}
