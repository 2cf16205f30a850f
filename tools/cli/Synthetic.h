#pragma once
#include "cli/Formats.h"

// A synthetic restoration for the demo and the tests: a crown-like height field with a smooth
// occlusal surface, four cusps and a central fissure over a steep side wall, and its margin outline.
namespace qssse::tool {

struct SyntheticCrown {
  HeightField heights;     // size x size; exactly 0 outside the margin
  OutlinePoints margin;    // the margin ring in pixel coordinates, z = the margin height
  double pixelSize = 0;    // millimetres per pixel (the crown is about 10 mm across)
  float marginHeight = 0;  // height of the side wall's foot at the margin
};

// Deterministic for a given size (>= 16).
SyntheticCrown MakeSyntheticCrown(int size);

// The margin radius, in pixels, of the crown of the given size at polar angle theta about its centre.
double CrownMarginRadius(int size, double theta);

}  // namespace qssse::tool
