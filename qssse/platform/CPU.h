#pragma once
#include "qssse/platform/Export.h"

// Facts about the processor the library runs on.
class QSSSE_API CbCPU {
 public:
  // Number of hardware threads; at least 1, also when the system cannot tell.
  static int GetCount();
};
