// CSSE3dPolygon: affine transforms of X, Y, Z. Each output coordinate is a dot product summed left to
// right in single precision, in the order of the matrix rows documented in the header.
#include <cmath>
#include <utility>

#include "qssse/polygon/SSE3dPolygon.h"

void CSSE3dPolygon::ShiftLine(float dx, float dy, float dz) {
  for (int i = 0; i < m_count; ++i) {
    m_x[i] += dx;
    m_y[i] += dy;
    m_z[i] += dz;
  }
  CalcBoundingBox();
}

void CSSE3dPolygon::BlowLine(float sx, float sy, float sz, bool reparametrize) {
  for (int i = 0; i < m_count; ++i) {
    m_x[i] *= sx;
    m_y[i] *= sy;
    m_z[i] *= sz;
  }
  m_boxCalculated = false;
  if (reparametrize) ReParametrize(0.6f);
}

void CSSE3dPolygon::BlowLineAroundCenter(float sx, float sy, float sz, bool reparametrize) {
  CalcGeometricCenter();
  const SSEPoint c = m_stored[kCenter];
  for (int i = 0; i < m_count; ++i) {
    m_x[i] = (m_x[i] - c.x) * sx + c.x;
    m_y[i] = (m_y[i] - c.y) * sy + c.y;
    m_z[i] = (m_z[i] - c.z) * sz + c.z;
  }
  m_boxCalculated = false;
  if (reparametrize) ReParametrize(0.6f);
}

void CSSE3dPolygon::TransformVertices(float a, float b) {
  const float ca = std::cos(a), sa = std::sin(a), cb = std::cos(b), sb = std::sin(b);
  // Deliberately not a composed rotation (see the header): the entries are kept as stored data needs.
  const float r[3][3] = {{ca * cb, -sa, -sa * cb}, {sa * cb, ca, -sa * sb}, {sb, 0.0f, cb}};
  for (int i = 0; i < m_count; ++i) {
    const float x = m_x[i], y = m_y[i], z = m_z[i];
    m_x[i] = r[0][0] * x + r[0][1] * y + r[0][2] * z;
    m_y[i] = r[1][0] * x + r[1][1] * y + r[1][2] * z;
    m_z[i] = r[2][0] * x + r[2][1] * y + r[2][2] * z;
  }
  CalcBoundingBox();
}

void CSSE3dPolygon::RotateZ(float a) {
  const float ca = std::cos(a), sa = std::sin(a);
  for (int i = 0; i < m_count; ++i) {
    const float x = m_x[i], y = m_y[i];
    m_x[i] = x * ca + y * sa;
    m_y[i] = -x * sa + y * ca;
  }
  m_boxCalculated = false;
}

void CSSE3dPolygon::RotateZAroundPolyCenter(float a) {
  CalcGeometricCenter();
  const SSEPoint c = m_stored[kCenter];
  const float ca = std::cos(a), sa = std::sin(a);
  for (int i = 0; i < m_count; ++i) {
    const float x = m_x[i] - c.x, y = m_y[i] - c.y;
    m_x[i] = x * ca + y * sa + c.x;
    m_y[i] = -x * sa + y * ca + c.y;
  }
  m_boxCalculated = false;
}

void CSSE3dPolygon::RotateXYZ(float a, float b, float c) {
  const float ca = std::cos(a), sa = std::sin(a), cb = std::cos(b), sb = std::sin(b);
  const float cc = std::cos(c), sc = std::sin(c);
  const float r[3][3] = {{cc * cb, ca * sc - sa * sb * cc, cc * sb * ca + sa * sc},
                         {-sc * cb, sc * sb * sa + ca * cc, sa * cc - ca * sc * sb},
                         {-sb, -sa * cb, ca * cb}};
  for (int i = 0; i < m_count; ++i) {
    const float x = m_x[i], y = m_y[i], z = m_z[i];
    m_x[i] = r[0][0] * x + r[0][1] * y + r[0][2] * z;
    m_y[i] = r[1][0] * x + r[1][1] * y + r[1][2] * z;
    m_z[i] = r[2][0] * x + r[2][1] * y + r[2][2] * z;
  }
  m_boxCalculated = false;
}

void CSSE3dPolygon::InvertPolygonDirection() {
  CSSE3dPolygon tmp;
  tmp.Create(m_count);
  for (int i = 0; i < m_count; ++i) tmp.SetPoint(m_count - 1 - i, m_x[i], m_y[i], m_z[i]);
  TakeOver(tmp);
}

void CSSE3dPolygon::SwapYandZCoord() {
  std::swap(m_y, m_z);
  m_boxCalculated = false;
}

void CSSE3dPolygon::SwapXandZCoord() {
  std::swap(m_x, m_z);
  m_boxCalculated = false;
}
