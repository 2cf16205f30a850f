#pragma once
#include <cstddef>
#include <new>
#include <vector>

#include "qssse/platform/MemoryException.h"
#include "qssse/platform/MemoryLimit.h"

namespace qssse {

// Value-initialised working storage of n elements; a failed allocation raises the library's
// CMemoryException rather than std::bad_alloc.
template <class T>
std::vector<T> scratchVector(std::size_t n) {
  CheckMemoryRequest(n, sizeof(T), 0, "working storage");
  try {
    return std::vector<T>(n);
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  }
}

}  // namespace qssse
