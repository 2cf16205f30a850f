#pragma once
#include <vector>

#include "qssse/platform/DmPolyLineOld.h"
#include "qssse/platform/Export.h"
#include "qssse/platform/Vector3f.h"

// Base of the base library's interpolating curves: control points, open or closed, and the polyline of
// the last subdivision. Not copyable (the subdivision is shared by reference count).
class QSSSE_API DmSpline {
 public:
  DmSpline();
  DmSpline(const DmSpline&) = delete;
  DmSpline& operator=(const DmSpline&) = delete;
  virtual ~DmSpline();

  void AppendControlPoint(const CbVector3f& p) { m_controls.push_back(p); }
  int GetNumControlPoints() const { return static_cast<int>(m_controls.size()); }
  const CbVector3f& GetControlPoint(int i) const { return m_controls[static_cast<std::size_t>(i)]; }
  void SetClosed(bool closed) { m_closed = closed; }
  bool IsClosed() const { return m_closed; }

  // The polyline of the last subdivision (empty before the first), with one reference added for the
  // caller, who drops it with Release. It is closed exactly when the spline is.
  DmPolyLineOld* GetSubdivision() const;

 protected:
  // Replaces the subdivision polyline's vertices (derived classes call it from their subdivisions).
  DmPolyLineOld& Subdivision() { return *m_subdivision; }

  std::vector<CbVector3f> m_controls;
  bool m_closed = false;

 private:
  DmPolyLineOld* m_subdivision;  // holds one reference of its own
};
