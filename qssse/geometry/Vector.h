#pragma once

// A planar direction or a line's unit vector. The planar line functions of CHSimpleBasisFcns always
// write z = 0. A default one is the zero vector.
struct t_vector {
  float x = 0.0f;
  float y = 0.0f;
  float z = 0.0f;
};
