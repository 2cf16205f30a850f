#pragma once
#include "qssse/platform/Export.h"
#include "qssse/platform/MemoryException.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

// The library's one aligned allocator: every block that holds SIMD data comes from here.
namespace qssse {

// Alignment of every block alignedAlloc returns: one 128-bit SIMD value.
inline constexpr std::size_t kSimdAlignment = 16;

// Returns an uninitialised block of at least `bytes` bytes aligned to kSimdAlignment. Zero bytes still
// returns a unique non-null block (never nullptr), so null always means "nothing allocated".
// A failed allocation, or one above the memory ceiling (MemoryLimit.h), throws CMemoryException. Release the block with alignedFree, never free/delete.
QSSSE_API void* alignedAlloc(std::size_t bytes);

// Bytes of physical memory of this machine; UINT64_MAX where the platform cannot tell. The default of the
// memory ceiling (MemoryLimit.h).
QSSSE_API std::uint64_t physicalMemoryBytes();

// Releases a block of alignedAlloc. Null is ignored.
QSSSE_API void alignedFree(void* p) noexcept;

// Uninitialised, aligned storage for `count` objects of T (no constructors run, none run at alignedFree).
// count * sizeof(T) is overflow-checked: an impossible size throws CMemoryException like a failed allocation.
template <class T>
T* alignedAllocArray(std::size_t count) {
  static_assert(alignof(T) <= kSimdAlignment, "the type needs more alignment than the allocator gives");
  static_assert(std::is_trivially_destructible_v<T>, "alignedFree runs no destructors");
  if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) AfxThrowMemoryException();
  return static_cast<T*>(alignedAlloc(count * sizeof(T)));
}

// As alignedAllocArray, with every byte of the block set to zero.
template <class T>
T* alignedAllocArrayZeroed(std::size_t count) {
  T* block = alignedAllocArray<T>(count);
  std::memset(static_cast<void*>(block), 0, count * sizeof(T));
  return block;
}

}  // namespace qssse
