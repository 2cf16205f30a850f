#pragma once
#include <cstdint>
#include <vector>

#include "qssse/platform/Export.h"
#include "qssse/platform/StreamRead.h"

namespace qssse {

// Reads the next `bytes` raw bytes of a stream into memory for a loader to parse. The buffer grows as
// the data arrives (64 KiB first, then doubling), so a count in a stream that cannot tell its
// length (BytesRemaining UINT64_MAX: a pipe, a socket) costs memory for the bytes really there, not for
// the bytes the count promises. The stream's own exception at its end propagates; a request above the
// memory ceiling throws CMemoryException before anything is read.
QSSSE_API std::vector<unsigned char> ReadAhead(CbStreamRead& stream, std::uint64_t bytes, const char* what);

}  // namespace qssse
