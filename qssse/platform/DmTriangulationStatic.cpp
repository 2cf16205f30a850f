#include "qssse/platform/DmTriangulationStatic.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <utility>

#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/platform/MemoryException.h"

namespace {

constexpr std::size_t kMaxCount = static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max());

// Bits of v with -0 taken as 0, so that values that compare equal hash equally.
std::uint32_t CanonicalBits(float v) {
  const float canonical = v + 0.0f;  // -0 + 0 = +0 in round-to-nearest
  std::uint32_t bits;
  std::memcpy(&bits, &canonical, sizeof bits);
  return bits;
}

std::uint64_t HashVertex(const float* p) {
  std::uint64_t h = CanonicalBits(p[0]);
  h = h * 0x9E3779B97F4A7C15ull ^ CanonicalBits(p[1]);
  h = h * 0x9E3779B97F4A7C15ull ^ CanonicalBits(p[2]);
  h ^= h >> 29;
  h *= 0xBF58476D1CE4E5B9ull;
  return h ^ (h >> 32);
}

}  // namespace

DmTriangulationStatic::DmTriangulationStatic(std::vector<float> coordinates,
                                             std::vector<std::int32_t> indices) {
  Create(std::move(coordinates), std::move(indices));
}

DmTriangulationStatic::~DmTriangulationStatic() = default;

void DmTriangulationStatic::Create(std::vector<float> coordinates, std::vector<std::int32_t> indices) {
  const auto fail = [](const std::string& what) {
    AfxThrowInvalidArgumentException("DmTriangulationStatic::Create: " + what);
  };
  if (coordinates.size() % 3 != 0)
    fail(std::to_string(coordinates.size()) + " coordinates, not x, y, z triples");
  if (indices.size() % 3 != 0) fail(std::to_string(indices.size()) + " indices, not triangle triples");
  if (coordinates.size() / 3 > kMaxCount || indices.size() / 3 > kMaxCount)
    fail("more than 2^31 - 1 vertices or triangles");
  const std::int64_t vertices = static_cast<std::int64_t>(coordinates.size() / 3);
  for (std::size_t i = 0; i < indices.size(); ++i) {
    if (indices[i] < 0 || indices[i] >= vertices)
      fail("index " + std::to_string(indices[i]) + " at " + std::to_string(i) + " is not one of " +
           std::to_string(vertices) + " vertices");
  }
  m_coordinates = std::move(coordinates);
  m_indices = std::move(indices);
}

void DmTriangulationStatic::Clear() {
  m_coordinates.clear();
  m_indices.clear();
}

CbVector3f DmTriangulationStatic::GetVertex(int i) const {
  if (i < 0 || i >= GetNumVertices()) return {};
  const float* p = &m_coordinates[3 * static_cast<std::size_t>(i)];
  return {p[0], p[1], p[2]};
}

void DmTriangulationStatic::ComputeBoundingBox(DmBoundingBox3f& box) const {
  float lo[3], hi[3];
  for (int a = 0; a < 3; ++a) {
    lo[a] = std::numeric_limits<float>::infinity();
    hi[a] = -std::numeric_limits<float>::infinity();
  }
  for (std::size_t i = 0; i < m_coordinates.size(); i += 3) {
    for (int a = 0; a < 3; ++a) {
      const float v = m_coordinates[i + static_cast<std::size_t>(a)];
      if (v < lo[a]) lo[a] = v;  // NaN compares false and is skipped
      if (v > hi[a]) hi[a] = v;
    }
  }
  for (int a = 0; a < 3; ++a) {
    if (lo[a] > hi[a]) lo[a] = hi[a] = 0.0f;
  }
  box.minimum = {lo[0], lo[1], lo[2]};
  box.maximum = {hi[0], hi[1], hi[2]};
}

void DmTriangulationStatic::Combine(const DmTriangulationStatic& other) {
  const std::size_t shift = m_coordinates.size() / 3;
  if (shift + other.m_coordinates.size() / 3 > kMaxCount ||
      (m_indices.size() + other.m_indices.size()) / 3 > kMaxCount)
    AfxThrowMemoryException();
  // Copied first: other may be this mesh.
  std::vector<float> coordinates = other.m_coordinates;
  std::vector<std::int32_t> indices = other.m_indices;
  for (std::int32_t& i : indices) i += static_cast<std::int32_t>(shift);
  m_coordinates.insert(m_coordinates.end(), coordinates.begin(), coordinates.end());
  m_indices.insert(m_indices.end(), indices.begin(), indices.end());
}

void DmTriangulationStatic::MergeEqualVertices() {
  const std::size_t n = m_coordinates.size() / 3;
  if (n == 0) return;
  // Open addressing over the merged vertices, at most half full.
  std::size_t capacity = 16;
  while (capacity < 2 * n) capacity *= 2;
  std::vector<std::int32_t> slots(capacity, -1);
  std::vector<float> merged;
  merged.reserve(m_coordinates.size());
  std::vector<std::int32_t> renumber(n);
  for (std::size_t v = 0; v < n; ++v) {
    const float* p = &m_coordinates[3 * v];
    const auto next = static_cast<std::int32_t>(merged.size() / 3);
    if (std::isnan(p[0]) || std::isnan(p[1]) || std::isnan(p[2])) {
      renumber[v] = next;  // equal to nothing, not even itself
      merged.insert(merged.end(), p, p + 3);
      continue;
    }
    std::size_t s = HashVertex(p) & (capacity - 1);
    for (;; s = (s + 1) & (capacity - 1)) {
      const std::int32_t k = slots[s];
      if (k < 0) {
        slots[s] = next;
        renumber[v] = next;
        merged.insert(merged.end(), p, p + 3);
        break;
      }
      const float* q = &merged[3 * static_cast<std::size_t>(k)];
      if (q[0] == p[0] && q[1] == p[1] && q[2] == p[2]) {
        renumber[v] = k;
        break;
      }
    }
  }
  for (std::int32_t& i : m_indices) i = renumber[static_cast<std::size_t>(i)];
  merged.shrink_to_fit();
  m_coordinates = std::move(merged);
}
