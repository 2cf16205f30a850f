// Fuzzed outlines, raw floats included, through the outline editing: exact offsets (every join, any
// distance and tolerance), loop removal, cutting and merging of two outlines, and the mesh lofted
// between two outlines. Degenerate rings (duplicates, spikes, collinear runs, no area, NaN) must give the
// documented results: a ring or an empty polygon with false, or CInvalidArgumentException for a distance
// that is not finite.
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

namespace {

void Ring(fuzz::Input& in, CSSE3dPolygon& p, int maxPoints) {
  const std::vector<fuzz::Point3> points = fuzz::Points(in, maxPoints, in.Bool() ? 1.0f : 0.125f);
  p.Create(static_cast<int>(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i) p.SetPoint(static_cast<int>(i), points[i].x, points[i].y, points[i].z);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qssse::SetMemoryLimit(std::uint64_t{256} << 20);
  // Work planned beyond 2^24 steps (some tenths of a second here) is refused up front.
  qssse::SetWorkBudget(std::uint64_t{1} << 24);
  fuzz::Input in(data, size);
  const int op = in.Int(0, 5);
  CSSE3dPolygon a, b;
  Ring(in, a, 40);
  try {
    switch (op) {
      case 0:
      case 1: {
        const auto join = static_cast<CSSE3dPolygon::OffsetJoin>(in.Int(0, 1));
        const float distance = in.Coordinate(0.5f), miter = in.Coordinate(1.0f), tolerance = in.Bool() ? 0.0f : in.Coordinate(0.01f);
        const bool kept = op == 0 ? a.DilateExact(distance, join, miter, tolerance) : a.ErodeExact(distance, join, miter, tolerance);
        fuzz::Check(kept || a.GetNumPoints() == 0, "OutlineEditFuzz", "an offset returned false but kept points");
        break;
      }
      case 2: {
        const int before = a.GetNumPoints();
        if (!a.RemoveLoopInXYPlane()) fuzz::Check(a.GetNumPoints() == before, "OutlineEditFuzz", "a loop removal returned false but changed the ring");
        break;
      }
      case 3: {
        Ring(in, b, 40);
        CSSE3dPolygon cut;
        if (!cut.CreateFromCutPolygones(&a, &b, in.Bool())) fuzz::Check(cut.GetNumPoints() == 0, "OutlineEditFuzz", "a cut returned false but kept points");
        break;
      }
      case 4: {
        Ring(in, b, 40);
        CSSE3dPolygon merged;
        merged.CreateMergePolygon(&a, &b);
        break;
      }
      default: {
        Ring(in, b, 40);
        CHTriangulation loft(&a, &b, in.Byte() >= 250 ? static_cast<int>(in.Bits32()) : in.Int(-2, 600), 1.0f, 1.0f, 1.0f);
        loft.CalcNeighbours();
        break;
      }
    }
  } catch (const CInvalidArgumentException&) {
  } catch (const CMemoryException&) {
  } catch (const CWorkBudgetException&) {
  }
  return 0;
}
