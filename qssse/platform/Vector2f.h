#pragma once
#include <cmath>

// The base library's two-float vector (planar positions and directions).
class CbVector2f {
 public:
  float x = 0.0f;
  float y = 0.0f;

  constexpr CbVector2f() = default;
  constexpr CbVector2f(float vx, float vy) : x(vx), y(vy) {}

  constexpr CbVector2f operator+(const CbVector2f& o) const { return {x + o.x, y + o.y}; }
  constexpr CbVector2f operator-(const CbVector2f& o) const { return {x - o.x, y - o.y}; }
  constexpr CbVector2f operator*(float s) const { return {x * s, y * s}; }
  constexpr bool operator==(const CbVector2f& o) const { return x == o.x && y == o.y; }

  constexpr float Dot(const CbVector2f& o) const { return x * o.x + y * o.y; }
  // The z component of the 3-D cross product: positive when o lies counter-clockwise of this.
  constexpr float Cross(const CbVector2f& o) const { return x * o.y - y * o.x; }
  float Length() const { return std::sqrt(Dot(*this)); }
};
