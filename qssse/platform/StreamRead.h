#pragma once
#include "qssse/platform/Export.h"
#include "qssse/platform/StreamWrite.h"

#include <cstddef>
#include <cstdint>

// An input stream of typed values, the counterpart of CbStreamWrite.
class QSSSE_API CbStreamRead {
 public:
  virtual ~CbStreamRead();

  // Reads a version record (see CbStreamWrite) and returns the stored version when the tag is right
  // and 1 <= version <= highest, otherwise 0. After a 0 the stream has consumed 4 bytes (wrong tag),
  // 8 bytes (version out of range) or everything that was left (record cut short); it does not throw
  // for a short record. Errors other than CbException propagate.
  int ReadAndCompareVersion(int highest);

  // Each read throws CbException when the stream holds fewer bytes than the value needs.
  virtual std::int32_t ReadInt32() = 0;
  virtual float ReadFloat() = 0;
  virtual bool ReadBool() = 0;
  // Reads exactly bytes raw bytes into data; data may be null when bytes is 0.
  virtual void ReadBuffer(void* data, std::size_t bytes) = 0;
  // Bytes left to read, so loaders can reject a count larger than the data before allocating for it;
  // UINT64_MAX when the stream cannot tell (the default).
  virtual std::uint64_t BytesRemaining() const;

 protected:
  CbStreamRead() = default;
  CbStreamRead(const CbStreamRead&) = default;
  CbStreamRead& operator=(const CbStreamRead&) = default;
};
