#include "qssse/platform/StreamWriteBinary.h"

#include "qssse/platform/ByteOrder.h"

CbStreamWriteBinary::~CbStreamWriteBinary() = default;

void CbStreamWriteBinary::WriteInt32(std::int32_t value) {
  unsigned char bytes[4];
  qssse::storeLittleEndian(value, bytes);
  PutBytes(bytes, sizeof bytes);
}

void CbStreamWriteBinary::WriteFloat(float value) {
  unsigned char bytes[4];
  qssse::storeLittleEndian(value, bytes);
  PutBytes(bytes, sizeof bytes);
}

void CbStreamWriteBinary::WriteBool(bool value) {
  const unsigned char byte = value ? 1 : 0;
  PutBytes(&byte, 1);
}

void CbStreamWriteBinary::WriteBuffer(const void* data, std::size_t bytes) {
  if (bytes > 0) PutBytes(data, bytes);
}
