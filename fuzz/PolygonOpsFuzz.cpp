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
  for (std::size_t i = 0; i < points.size(); ++i)
    p.SetPoint(static_cast<int>(i), points[i].x, points[i].y, points[i].z);
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
        case 4: {
          const int factor = in.Int(-1, 6);
          p.Subsample(factor, in.Bool());
        } break;
        case 5:
          p.FilterMedian3();
          p.FilterMaximum3();
          break;
        case 6: {
          const float a = in.Coordinate(1.0f), b = in.Coordinate(1.0f);
          const int k = in.Int(-1, 4);
          p.InterpolateZ(a, b, k, in.Coordinate(1.0f));
        } break;
        case 7: {
          const float ax = in.Coordinate(0.5f), ay = in.Coordinate(0.5f), az = in.Coordinate(0.5f);
          p.RotateXYZ(ax, ay, az);
          const float tx = in.Coordinate(0.5f), ty = in.Coordinate(0.5f);
          p.TransformVertices(tx, ty);
        } break;
        case 8: {
          const float cx = in.Coordinate(0.5f), cy = in.Coordinate(0.5f);
          p.BlowLineAroundCenter(cx, cy, 1.0f, in.Bool());
        } break;
        case 9: {
          CSSE3dPolygon copy(p);
          const int from = in.Int(-1, 70), to = in.Int(-1, 70);
          p.AddPolygonPoints(copy, from, to);
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
