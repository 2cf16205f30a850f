#pragma once
#include "qssse/platform/Export.h"

class CSSEMatrix;

// Rank filters over CSSEMatrix.
//
// Both medians make target a copy of source (re-created to source's size when it differs), then replace
// the pixels of the rectangle [x0, x1] x [y0, y1] (inclusive, clipped to the image) by the median of the
// 3x3, respectively 5x5, window of SOURCE around them; reads past the border repeat the border pixel
// (clamped, like GetPoint), so border pixels are filtered too and no pixel is left out. Pixels outside
// the rectangle, and padding, keep source's values. An empty rectangle gives a plain copy; a source
// without pixels leaves target unchanged. source and target may be the same matrix. For finite values
// the result is the exact median (the 5th of 9, the 13th of 25); a NaN in a window gives some value of
// the window or NaN, without failing.
class QSSSE_API CFilters {
 public:
  static void Median3x3(const CSSEMatrix& source, CSSEMatrix& target, int x0, int x1, int y0, int y1);
  static void Median5x5(const CSSEMatrix& source, CSSEMatrix& target, int x0, int x1, int y0, int y1);
};
