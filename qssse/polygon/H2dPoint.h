#pragma once
#include <cfloat>

// A planar point. A default one holds the largest float in both fields: no value has been set.
struct t_h2dpoint {
  float x = FLT_MAX;
  float y = FLT_MAX;
};
