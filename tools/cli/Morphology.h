#pragma once

class CSSEMatrix;

// The mask operations the demo and `qssse morph` share. Masks are binarised first: non-zero is 1.
namespace qssse::tool {

// Every pixel becomes 1 when it is non-zero (zero when `invert`), else 0.
void BinariseMask(CSSEMatrix& m, bool invert);
// Every pixel becomes 1 when it is strictly above threshold, else 0 (NaN: 0).
void BinariseAbove(CSSEMatrix& m, float threshold);
// 3-4 chamfer distance of every pixel to the nearest non-zero pixel (3 per axial step), or, with
// `inside`, of every non-zero pixel to the nearest zero pixel.
void ChamferDistance(CSSEMatrix& m, bool inside);
// Disc erosion and dilation of the binarised mask over the whole image.
void ErodeMask(CSSEMatrix& m, float radius);
void DilateMask(CSSEMatrix& m, float radius);
// Zhang-Suen thinning of the region above threshold, repeated until no pixel changes (the library's
// thinning stops after a bounded number of iterations). Shows progress on a terminal; returns the
// number of thinning runs.
int ThinUntilStable(CSSEMatrix& m, float threshold);

}  // namespace qssse::tool
