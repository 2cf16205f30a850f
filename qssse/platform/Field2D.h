#pragma once
#include <cassert>
#include <cstddef>
#include "qssse/platform/InvalidArgumentException.h"
#include <vector>

// A plain 2-D field of N values of T per cell, row-major with x fastest: cell (x, y) starts at element
// (y * sizeX + x) * N of GetData(). Indices are not checked (debug builds assert); callers keep them
// in range. Copies are deep.
template <class T, int N>
class DmField2D {
  static_assert(N >= 1, "a field holds at least one channel");

 public:
  // 0 x 0, no storage.
  DmField2D() = default;
  // sizeX by sizeY cells, every value zero (value-initialised). Negative sizes throw CInvalidArgumentException.
  DmField2D(int sizeX, int sizeY) : m_sizeX(sizeX), m_sizeY(sizeY) {
    if (sizeX < 0 || sizeY < 0) AfxThrowInvalidArgumentException("DmField2D: negative size");
    m_data.resize(static_cast<std::size_t>(sizeX) * static_cast<std::size_t>(sizeY) * N);
  }

  int GetSizeX() const { return m_sizeX; }
  int GetSizeY() const { return m_sizeY; }

  // Channel 0 of cell (x, y).
  T& operator()(int x, int y) { return m_data[index(x, y, 0)]; }
  const T& operator()(int x, int y) const { return m_data[index(x, y, 0)]; }
  // Channel `channel` (0 .. N-1) of cell (x, y).
  T& operator()(int x, int y, int channel) { return m_data[index(x, y, channel)]; }
  const T& operator()(int x, int y, int channel) const { return m_data[index(x, y, channel)]; }

  // The sizeX * sizeY * N values; null for an empty field.
  T* GetData() { return m_data.empty() ? nullptr : m_data.data(); }
  const T* GetData() const { return m_data.empty() ? nullptr : m_data.data(); }

 private:
  std::size_t index(int x, int y, int channel) const {
    assert(x >= 0 && x < m_sizeX && y >= 0 && y < m_sizeY && channel >= 0 && channel < N);
    return (static_cast<std::size_t>(y) * static_cast<std::size_t>(m_sizeX) + static_cast<std::size_t>(x)) *
               N +
           static_cast<std::size_t>(channel);
  }

  int m_sizeX = 0;
  int m_sizeY = 0;
  std::vector<T> m_data;
};
