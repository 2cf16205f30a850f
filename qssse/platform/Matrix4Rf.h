#pragma once
#include "qssse/platform/Vector3f.h"

// The base library's 4x4 single-precision matrix, row-major ("R"), acting on column vectors: a point p
// maps to M·(p, 1), so the translation is column 3. A new matrix is the identity.
class CbMatrix4Rf {
 public:
  constexpr CbMatrix4Rf() = default;

  float& operator()(int row, int col) { return m_[row][col]; }  // no range check
  constexpr float operator()(int row, int col) const { return m_[row][col]; }

  static constexpr CbMatrix4Rf Identity() { return CbMatrix4Rf(); }
  static constexpr CbMatrix4Rf Translation(float tx, float ty, float tz) {
    CbMatrix4Rf t;
    t.m_[0][3] = tx;
    t.m_[1][3] = ty;
    t.m_[2][3] = tz;
    return t;
  }

  // this·o.
  constexpr CbMatrix4Rf operator*(const CbMatrix4Rf& o) const {
    CbMatrix4Rf r;
    for (int i = 0; i < 4; ++i)
      for (int j = 0; j < 4; ++j) {
        float s = 0.0f;
        for (int k = 0; k < 4; ++k) s += m_[i][k] * o.m_[k][j];
        r.m_[i][j] = s;
      }
    return r;
  }

  // The point p (w = 1): the upper three rows, translation included, without a perspective divide.
  constexpr CbVector3f TransformPoint(const CbVector3f& p) const {
    return {m_[0][0] * p.x + m_[0][1] * p.y + m_[0][2] * p.z + m_[0][3],
            m_[1][0] * p.x + m_[1][1] * p.y + m_[1][2] * p.z + m_[1][3],
            m_[2][0] * p.x + m_[2][1] * p.y + m_[2][2] * p.z + m_[2][3]};
  }
  // The direction v (w = 0): the upper-left 3x3 block only.
  constexpr CbVector3f TransformVector(const CbVector3f& v) const {
    return {m_[0][0] * v.x + m_[0][1] * v.y + m_[0][2] * v.z,
            m_[1][0] * v.x + m_[1][1] * v.y + m_[1][2] * v.z,
            m_[2][0] * v.x + m_[2][1] * v.y + m_[2][2] * v.z};
  }

 private:
  float m_[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
};
