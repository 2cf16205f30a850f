#pragma once
#include <cstddef>

#include "qssse/platform/AlignedMemory.h"

namespace qssse {

// Owner of one 16-byte aligned block of count trivially destructible T from alignedAllocArray; the
// working storage of the raster kernels. A failed allocation throws CMemoryException.
template <class T>
class AlignedBuffer {
 public:
  explicit AlignedBuffer(std::size_t count, bool zeroed = false)
      : data_(zeroed ? alignedAllocArrayZeroed<T>(count) : alignedAllocArray<T>(count)), count_(count) {}
  ~AlignedBuffer() { alignedFree(data_); }
  AlignedBuffer(const AlignedBuffer&) = delete;
  AlignedBuffer& operator=(const AlignedBuffer&) = delete;

  T* get() const { return data_; }
  T& operator[](std::size_t i) const { return data_[i]; }
  std::size_t size() const { return count_; }

 private:
  T* data_;
  std::size_t count_;
};

}  // namespace qssse
