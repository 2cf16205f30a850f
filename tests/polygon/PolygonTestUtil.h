#pragma once
#include <array>
#include <vector>

#include "qssse/polygon/SSE3dPolygon.h"

namespace polytest {

using P3 = std::array<float, 3>;

inline CSSE3dPolygon Make(const std::vector<P3>& pts) {
  CSSE3dPolygon p;
  p.Create(static_cast<int>(pts.size()));
  for (int i = 0; i < static_cast<int>(pts.size()); ++i) p.SetPoint(i, pts[i][0], pts[i][1], pts[i][2]);
  return p;
}

inline std::vector<P3> Points(const CSSE3dPolygon& p) {
  std::vector<P3> out(static_cast<std::size_t>(p.GetNumPoints()));
  for (int i = 0; i < p.GetNumPoints(); ++i) p.GetPoint(i, out[i][0], out[i][1], out[i][2]);
  return out;
}

// The unit square, counter-clockwise in a y-up frame.
inline CSSE3dPolygon UnitSquare() { return Make({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}); }

}  // namespace polytest
