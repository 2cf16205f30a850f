#pragma once
#include "qssse/platform/Export.h"
#include "qssse/platform/StreamWrite.h"

#include <cstddef>
#include <cstdint>

// The binary encoding of a stream: int32 as 4 little-endian bytes, float as its 4-byte IEEE bit
// pattern in little-endian order, bool as one byte 0 or 1, buffers raw. Derived classes decide where
// the bytes go through PutBytes.
class QSSSE_API CbStreamWriteBinary : public CbStreamWrite {
 public:
  ~CbStreamWriteBinary() override;

  void WriteInt32(std::int32_t value) override;
  void WriteFloat(float value) override;
  void WriteBool(bool value) override;
  void WriteBuffer(const void* data, std::size_t bytes) override;

 protected:
  CbStreamWriteBinary() = default;
  CbStreamWriteBinary(const CbStreamWriteBinary&) = default;
  CbStreamWriteBinary& operator=(const CbStreamWriteBinary&) = default;

  // Appends bytes bytes; never called with bytes 0. Throws CbException (or a subclass) on failure.
  virtual void PutBytes(const void* data, std::size_t bytes) = 0;
};
