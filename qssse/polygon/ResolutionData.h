#pragma once

// Per-axis scale factors that fill a polygon's normalized coordinates (normalized x = x · resX, and so
// on). The three factors come first and in this order; callers rely on the layout.
struct t_resolutiondata {
  float resX = 1.0f;
  float resY = 1.0f;
  float resZ = 1.0f;
};
