#pragma once
// Shared pieces of the loader targets: streams that do or do not tell their length, the memory ceiling
// every target runs under, and the check that a rejected input leaves the object as it was.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "FuzzInput.h"
#include "qssse/platform/ArchiveException.h"
#include "qssse/platform/CoreException.h"
#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/platform/MemoryLimit.h"
#include "qssse/platform/StreamReadBinaryMemory.h"

namespace fuzz {

// Greedy inputs meet the library's ceiling (and throw) well below the fuzzer's RSS limit of 2 GB; an
// allocation that bypasses the ceiling still trips the RSS limit and is a finding.
inline void UseFuzzMemoryLimit() {
  static const bool once = [] {
    qssse::SetMemoryLimit(std::uint64_t{256} << 20);
    return true;
  }();
  (void)once;
}

// A memory stream that cannot tell how much is left, as a stream over a pipe or a socket: loaders must
// then stay all-or-nothing by reading into temporaries, and greedy counts meet the ceiling.
class BlindStream : public CbStreamReadBinaryMemory {
 public:
  BlindStream(const void* data, std::size_t size) : CbStreamReadBinaryMemory(data, size) {}
  std::uint64_t BytesRemaining() const override { return UINT64_MAX; }
};

// Runs load(); false when it threw one of the library's documented exceptions.
template <class Load>
bool Rejected(Load load) {
  try {
    load();
    return false;
  } catch (const CArchiveException&) {
  } catch (const CbException&) {
  } catch (const CMemoryException&) {
  } catch (const CInvalidArgumentException&) {
  }
  return true;
}

}  // namespace fuzz
