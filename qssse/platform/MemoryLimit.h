#pragma once
#include <cstdint>

#include "qssse/platform/Export.h"

// The library's one memory ceiling: the largest object it will allocate for a size that comes from a file
// or from geometry (a raster, a mesh, a polygon, a loader's temporary, a hull's or an octree's working
// storage). A request above it throws CMemoryException naming the figure, before anything is allocated
// and before the object asked for it changes, so a small corrupt file or a degenerate input can neither
// take the machine's memory nor get the process killed by the system on first touch.
//
// It bounds one request (one object's storage, counted whole: a matrix's fields together, a mesh's
// arrays together, a byte matrix with its 16 x width bytes per group of 16 rows), not the sum of all
// objects alive. The default is the machine's physical memory; a host that shares its process with
// other work sets a lower one. Setting and reading are thread-safe and take effect for requests that
// start afterwards.
namespace qssse {

// Sets the ceiling in bytes; 0 restores the default (physical memory, or unlimited where the platform
// cannot tell).
QSSSE_API void SetMemoryLimit(std::uint64_t bytes) noexcept;

// The ceiling in force, in bytes.
QSSSE_API std::uint64_t GetMemoryLimit() noexcept;

// Throws CMemoryException ("out of memory: <what> needs <n> bytes, more than the limit of <m>") when
// `bytes` exceeds the ceiling; `what` names the object for the message.
QSSSE_API void CheckMemoryRequest(std::uint64_t bytes, const char* what);

// As above for `count` items of `bytesEach` bytes plus `extra` bytes; a product that overflows 64 bits
// is over any ceiling.
QSSSE_API void CheckMemoryRequest(std::uint64_t count, std::uint64_t bytesEach, std::uint64_t extra,
                                  const char* what);

// Restores the previous ceiling when it goes out of scope (tests and hosts that lower it for one call).
class QSSSE_API CMemoryLimitScope {
 public:
  explicit CMemoryLimitScope(std::uint64_t bytes) noexcept : m_previous(GetMemoryLimit()) { SetMemoryLimit(bytes); }
  ~CMemoryLimitScope() { SetMemoryLimit(m_previous); }
  CMemoryLimitScope(const CMemoryLimitScope&) = delete;
  CMemoryLimitScope& operator=(const CMemoryLimitScope&) = delete;

 private:
  std::uint64_t m_previous;
};

}  // namespace qssse
