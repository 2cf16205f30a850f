#pragma once
#include <cmath>

// The base library's three-float vector: a position or a direction. Plain value type; arithmetic is
// lane by lane in single precision, in the order written.
class CbVector3f {
 public:
  float x = 0.0f;
  float y = 0.0f;
  float z = 0.0f;

  constexpr CbVector3f() = default;
  constexpr CbVector3f(float vx, float vy, float vz) : x(vx), y(vy), z(vz) {}

  constexpr CbVector3f operator+(const CbVector3f& o) const { return {x + o.x, y + o.y, z + o.z}; }
  constexpr CbVector3f operator-(const CbVector3f& o) const { return {x - o.x, y - o.y, z - o.z}; }
  constexpr CbVector3f operator*(float s) const { return {x * s, y * s, z * s}; }
  constexpr bool operator==(const CbVector3f& o) const { return x == o.x && y == o.y && z == o.z; }

  // x·o.x + y·o.y + z·o.z, summed left to right.
  constexpr float Dot(const CbVector3f& o) const { return x * o.x + y * o.y + z * o.z; }
  constexpr CbVector3f Cross(const CbVector3f& o) const {
    return {y * o.z - z * o.y, z * o.x - x * o.z, x * o.y - y * o.x};
  }
  constexpr float LengthSquared() const { return Dot(*this); }
  float Length() const { return std::sqrt(LengthSquared()); }
};
