#pragma once
#include "qssse/platform/Export.h"
#include "qssse/platform/StreamRead.h"

#include <cstddef>
#include <cstdint>

// Reads the encoding of CbStreamWriteBinary. A bool byte other than 0 reads as true. Derived classes
// supply the bytes through GetBytes.
class QSSSE_API CbStreamReadBinary : public CbStreamRead {
 public:
  ~CbStreamReadBinary() override;

  std::int32_t ReadInt32() override;
  float ReadFloat() override;
  bool ReadBool() override;
  void ReadBuffer(void* data, std::size_t bytes) override;

 protected:
  CbStreamReadBinary() = default;
  CbStreamReadBinary(const CbStreamReadBinary&) = default;
  CbStreamReadBinary& operator=(const CbStreamReadBinary&) = default;

  // Fills data with exactly bytes bytes (never called with 0), or throws CbException when the stream
  // holds fewer; what was left is then consumed.
  virtual void GetBytes(void* data, std::size_t bytes) = 0;
};
