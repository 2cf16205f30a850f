#pragma once
#include <string>

#include "qssse/platform/Exception.h"
#include "qssse/platform/Export.h"

// Raised by the 3-D hull (and the Delaunay triangulation built on it) for input it cannot make a hull
// of: no three points span a triangle, all points lie in one plane, or the coordinates are too far
// apart for its exact 64-bit arithmetic. The hull object stays usable and destructible; what it holds
// afterwards is stated where the exception is raised.
class QSSSE_API CHullException : public CException {
 public:
  enum Cause {
    collinear,  // fewer than three points, or all points on one line
    coplanar,   // all points in one plane
    range       // a coordinate or the spread of the coordinates exceeds the exact range
  };
  CHullException(Cause cause, std::string message);
  ~CHullException() override;

  Cause GetCause() const { return m_cause; }

 private:
  Cause m_cause;
};
