#pragma once
#include <cstddef>
#include <new>
#include <vector>

#include "qssse/platform/MemoryException.h"

namespace qssse {

// Value-initialised working storage of n elements; a failed allocation raises the library's
// CMemoryException rather than std::bad_alloc.
template <class T>
std::vector<T> scratchVector(std::size_t n) {
  try {
    return std::vector<T>(n);
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  }
}

}  // namespace qssse
