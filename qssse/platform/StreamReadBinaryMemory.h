#pragma once
#include "qssse/platform/Export.h"
#include "qssse/platform/StreamReadBinary.h"

#include <cstddef>
#include <cstdint>
#include <vector>

// A binary input stream over its own copy of a block of bytes, read from the start.
class QSSSE_API CbStreamReadBinaryMemory : public CbStreamReadBinary {
 public:
  // Copies data.
  explicit CbStreamReadBinaryMemory(const std::vector<unsigned char>& data);
  // Takes data over without copying.
  explicit CbStreamReadBinaryMemory(std::vector<unsigned char>&& data);
  // Copies size bytes from data; null data with a size above 0 throws CInvalidArgumentException.
  CbStreamReadBinaryMemory(const void* data, std::size_t size);
  ~CbStreamReadBinaryMemory() override;

  // Bytes consumed so far.
  std::size_t GetPosition() const;
  std::uint64_t BytesRemaining() const override;

 protected:
  void GetBytes(void* data, std::size_t bytes) override;

 private:
  std::vector<unsigned char> m_data;
  std::size_t m_position = 0;
};
