#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "qssse/io/IoExport.h"

// Whole-file reads and writes, the way every reader and writer of the I/O library reaches the disk.
namespace qssse::io {

// Files larger than this are refused before they are read.
constexpr std::uint64_t kMaxFileBytes = std::uint64_t{4} << 30;

// The whole file. Throws CIoException naming the path when it cannot be opened or read (a directory
// included), or is larger than kMaxFileBytes.
QSSSE_IO_API std::vector<unsigned char> ReadFileBytes(const std::string& path);
// Writes the bytes, replacing the file: they go to a new file in the same directory (".<name>.<pid>-<n>.part"),
// which is renamed over the target only when every byte is written. Throws CIoException naming the path on
// any failure, and then the old file is left as it was and the partial one removed.
QSSSE_IO_API void WriteFileBytes(const std::string& path, const void* data, std::size_t size);
QSSSE_IO_API void WriteFileBytes(const std::string& path, std::string_view text);

}  // namespace qssse::io
