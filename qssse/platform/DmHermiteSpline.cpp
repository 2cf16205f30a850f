#include "qssse/platform/DmHermiteSpline.h"

#include <algorithm>
#include <cmath>

DmSpline::DmSpline() : m_subdivision(new DmPolyLineOld()) { m_subdivision->AddRef(); }

DmSpline::~DmSpline() { m_subdivision->Release(); }

DmPolyLineOld* DmSpline::GetSubdivision() const {
  m_subdivision->AddRef();
  return m_subdivision;
}

DmHermiteSpline::~DmHermiteSpline() = default;

CbVector3f DmHermiteSpline::Tangent(int i) const {
  const int n = GetNumControlPoints();
  if (m_closed) return (GetControlPoint((i + 1) % n) - GetControlPoint((i + n - 1) % n)) * 0.5f;
  if (i == 0) return GetControlPoint(1) - GetControlPoint(0);
  if (i == n - 1) return GetControlPoint(n - 1) - GetControlPoint(n - 2);
  return (GetControlPoint(i + 1) - GetControlPoint(i - 1)) * 0.5f;
}

CbVector3f DmHermiteSpline::Evaluate(int segment, float t) const {
  const int n = GetNumControlPoints();
  const int segments = m_closed ? n : n - 1;
  if (n < 2 || segment < 0 || segment >= segments) return {};
  const int next = (segment + 1) % n;
  const float t2 = t * t, t3 = t2 * t;
  const float h00 = 2 * t3 - 3 * t2 + 1, h10 = t3 - 2 * t2 + t, h01 = -2 * t3 + 3 * t2, h11 = t3 - t2;
  return GetControlPoint(segment) * h00 + Tangent(segment) * h10 + GetControlPoint(next) * h01 +
         Tangent(next) * h11;
}

void DmHermiteSpline::SubdivideByLength(float length) {
  DmPolyLineOld& line = Subdivision();
  line.RemoveAllVertices();
  line.SetClosed(m_closed);
  const int n = GetNumControlPoints();
  if (n < 2) {
    for (const CbVector3f& p : m_controls) line.AppendVertexTail(p);
    return;
  }
  const int segments = m_closed ? n : n - 1;
  for (int s = 0; s < segments; ++s) {
    float arc = 0.0f;
    CbVector3f prev = Evaluate(s, 0.0f);
    for (int k = 1; k <= 16; ++k) {
      const CbVector3f p = Evaluate(s, static_cast<float>(k) / 16.0f);
      arc += (p - prev).Length();
      prev = p;
    }
    int steps = 1;
    // The comparison also rejects NaN; the cap keeps absurd ratios from exhausting memory.
    if (length > 0.0f && arc / length < 1.0e6f)
      steps = std::max(1, static_cast<int>(std::ceil(arc / length)));
    for (int k = 0; k < steps; ++k) line.AppendVertexTail(Evaluate(s, static_cast<float>(k) / steps));
  }
  if (!m_closed) line.AppendVertexTail(GetControlPoint(n - 1));
}
