#include "qssse/platform/StreamRead.h"

#include "qssse/platform/CoreException.h"

#include <limits>

CbStreamRead::~CbStreamRead() = default;

int CbStreamRead::ReadAndCompareVersion(int highest) {
  try {
    if (ReadInt32() != CbStreamWrite::VersionTag) return 0;
    const std::int32_t version = ReadInt32();
    return version >= 1 && version <= highest ? version : 0;
  } catch (const CbException&) {
    return 0;
  }
}

std::uint64_t CbStreamRead::BytesRemaining() const { return std::numeric_limits<std::uint64_t>::max(); }
