#include "qssse/platform/StreamReadAhead.h"

#include <algorithm>

#include "qssse/platform/MemoryLimit.h"

namespace qssse {

std::vector<unsigned char> ReadAhead(CbStreamRead& stream, std::uint64_t bytes, const char* what) {
  CheckMemoryRequest(bytes, what);
  std::vector<unsigned char> data;
  std::uint64_t step = std::min<std::uint64_t>(bytes, std::uint64_t{64} << 10);
  while (data.size() < bytes) {
    const std::size_t piece = static_cast<std::size_t>(std::min<std::uint64_t>(step, bytes - data.size()));
    const std::size_t at = data.size();
    data.resize(at + piece);
    stream.ReadBuffer(data.data() + at, piece);
    step = std::min<std::uint64_t>(2 * step, bytes - data.size());
  }
  return data;
}

}  // namespace qssse
