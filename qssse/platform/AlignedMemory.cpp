#include "qssse/platform/AlignedMemory.h"

#include <cstdlib>

namespace qssse {

void* alignedAlloc(std::size_t bytes) {
  // std::aligned_alloc wants a whole number of alignment units; zero bytes becomes one unit.
  if (bytes > std::numeric_limits<std::size_t>::max() - (kSimdAlignment - 1)) AfxThrowMemoryException();
  std::size_t rounded = (bytes + kSimdAlignment - 1) & ~(kSimdAlignment - 1);
  if (rounded == 0) rounded = kSimdAlignment;
  void* block = std::aligned_alloc(kSimdAlignment, rounded);
  if (block == nullptr) AfxThrowMemoryException();
  return block;
}

void alignedFree(void* p) noexcept { std::free(p); }

}  // namespace qssse
