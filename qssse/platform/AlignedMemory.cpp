#include "qssse/platform/AlignedMemory.h"

#include "qssse/platform/MemoryLimit.h"

#if defined(__unix__) || defined(__APPLE__)
#include <unistd.h>
#endif

#include <cstdlib>

namespace qssse {

std::uint64_t physicalMemoryBytes() {
#if defined(_SC_PHYS_PAGES) && defined(_SC_PAGESIZE)
  const long pages = sysconf(_SC_PHYS_PAGES), pageSize = sysconf(_SC_PAGESIZE);
  if (pages > 0 && pageSize > 0)
    return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
#endif
  return UINT64_MAX;
}

void* alignedAlloc(std::size_t bytes) {
  CheckMemoryRequest(bytes, "a block");
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
