#include "qssse/platform/StreamReadBinary.h"

#include "qssse/platform/ByteOrder.h"

CbStreamReadBinary::~CbStreamReadBinary() = default;

std::int32_t CbStreamReadBinary::ReadInt32() {
  unsigned char bytes[4];
  GetBytes(bytes, sizeof bytes);
  return qssse::loadLittleEndian<std::int32_t>(bytes);
}

float CbStreamReadBinary::ReadFloat() {
  unsigned char bytes[4];
  GetBytes(bytes, sizeof bytes);
  return qssse::loadLittleEndian<float>(bytes);
}

bool CbStreamReadBinary::ReadBool() {
  unsigned char byte = 0;
  GetBytes(&byte, 1);
  return byte != 0;
}

void CbStreamReadBinary::ReadBuffer(void* data, std::size_t bytes) {
  if (bytes > 0) GetBytes(data, bytes);
}
