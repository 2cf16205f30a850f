#pragma once
#include "qssse/platform/Export.h"

#include <cstddef>
#include <cstdint>

// An output stream of typed values. Persistent formats open with a version record: the int32
// VersionTag (its little-endian bytes read "QSVR") followed by the int32 version, both written
// through WriteInt32.
class QSSSE_API CbStreamWrite {
 public:
  static constexpr std::int32_t VersionTag = 0x52565351;

  virtual ~CbStreamWrite();

  // Writes the version record. A version below 1 could never be read back: it throws CbException.
  void WriteVersion(int version);

  virtual void WriteInt32(std::int32_t value) = 0;
  virtual void WriteFloat(float value) = 0;
  virtual void WriteBool(bool value) = 0;
  // Writes bytes raw bytes from data; data may be null when bytes is 0.
  virtual void WriteBuffer(const void* data, std::size_t bytes) = 0;

 protected:
  CbStreamWrite() = default;
  CbStreamWrite(const CbStreamWrite&) = default;
  CbStreamWrite& operator=(const CbStreamWrite&) = default;
};
