#pragma once
// Turning fuzzer bytes into geometry for the algorithm targets. Coordinates come mostly from a coarse
// integer grid (so collinear, duplicate and cocircular points are common), sometimes as raw float bits
// (NaN, infinities, subnormals, huge values). Every read past the end yields 0, so any input is usable.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

// Read every value into a named local before the call that uses it: the order in which a call's
// arguments are evaluated differs between compilers, and the GCC replay in `make test` must read an
// input's bytes exactly as the clang fuzzers that found it did.
namespace fuzz {

class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}

  bool Empty() const { return m_next >= m_size; }
  std::size_t Remaining() const { return m_next < m_size ? m_size - m_next : 0; }

  std::uint8_t Byte() { return m_next < m_size ? m_data[m_next++] : 0; }
  std::uint32_t Bits32() {
    std::uint32_t v = 0;
    for (int k = 0; k < 4; ++k) v |= static_cast<std::uint32_t>(Byte()) << (8 * k);
    return v;
  }
  // An integer in [lo, hi].
  int Int(int lo, int hi) {
    const std::uint32_t span = static_cast<std::uint32_t>(hi - lo) + 1u;
    const std::uint32_t raw = span <= 256u ? Byte() : (static_cast<std::uint32_t>(Byte()) | Byte() << 8);
    return lo + static_cast<int>(raw % span);
  }
  bool Bool() { return (Byte() & 1) != 0; }
  float RawFloat() {
    const std::uint32_t bits = Bits32();
    float f;
    std::memcpy(&f, &bits, sizeof f);
    return f;
  }
  // A value of the kinds that break arithmetic without making any extent larger: NaN, the two
  // infinities, a subnormal, zero of either sign.
  float Special() {
    static const float kinds[] = {std::nanf(""), HUGE_VALF, -HUGE_VALF, 1e-42f, -0.0f, 0.0f};
    return kinds[Byte() % 6];
  }
  // One coordinate: mostly a grid value (-8 .. 7) times `unit`, sometimes a raw float. `allowRaw` false
  // keeps to the grid (targets whose work grows with the coordinates' spread by design).
  float Coordinate(float unit, bool allowRaw = true) {
    const std::uint8_t tag = Byte();
    if (tag >= 248) return allowRaw ? RawFloat() : Special();
    if (tag >= 232) return (static_cast<float>(Byte()) - 128.0f) * unit / 16.0f;  // fine steps
    return static_cast<float>(static_cast<int>(tag % 16) - 8) * unit;
  }

 private:
  const std::uint8_t* m_data;
  std::size_t m_size;
  std::size_t m_next = 0;
};

struct Point3 {
  float x, y, z;
};

// Up to `maxPoints` points, three coordinates each.
inline std::vector<Point3> Points(Input& in, int maxPoints, float unit, bool allowRaw = true) {
  std::vector<Point3> points;
  const int count = in.Int(0, maxPoints);
  for (int i = 0; i < count && !in.Empty(); ++i) {
    Point3 p;
    p.x = in.Coordinate(unit, allowRaw);
    p.y = in.Coordinate(unit, allowRaw);
    p.z = in.Coordinate(unit, allowRaw);
    points.push_back(p);
  }
  return points;
}

inline bool AllFinite(const std::vector<Point3>& points) {
  for (const Point3& p : points) {
    if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z)) return false;
  }
  return true;
}

// A promise of the library broke: say which and abort, so the fuzzer keeps the input.
inline void Check(bool ok, const char* target, const char* broken) {
  if (ok) return;
  std::fprintf(stderr, "%s: %s\n", target, broken);
  std::abort();
}

}  // namespace fuzz
