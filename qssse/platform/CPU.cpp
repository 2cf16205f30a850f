#include "qssse/platform/CPU.h"

#include <climits>
#include <thread>

int CbCPU::GetCount() {
  const unsigned count = std::thread::hardware_concurrency();
  if (count == 0) return 1;
  return count > INT_MAX ? INT_MAX : static_cast<int>(count);
}
