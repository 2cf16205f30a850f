#pragma once
#include "qssse/platform/DmPolyLineBaseOld.h"
#include "qssse/platform/Export.h"

// The base library's polyline as outlines are exchanged with it: default-constructed empty and open.
// Heap instances are released with delete, or with Release when reference-counted handles hold them.
class QSSSE_API DmPolyLineOld : public DmPolyLineBaseOld {
 public:
  DmPolyLineOld() = default;
  ~DmPolyLineOld() override;
};
