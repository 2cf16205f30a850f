#include "qssse/platform/StreamWriteBinaryMemory.h"

#include "qssse/platform/CoreException.h"

#include <new>
#include <stdexcept>

CbStreamWriteBinaryMemory::CbStreamWriteBinaryMemory() = default;

CbStreamWriteBinaryMemory::~CbStreamWriteBinaryMemory() = default;

const std::vector<unsigned char>& CbStreamWriteBinaryMemory::GetData() const { return m_data; }

std::size_t CbStreamWriteBinaryMemory::GetSize() const { return m_data.size(); }

void CbStreamWriteBinaryMemory::PutBytes(const void* data, std::size_t bytes) {
  const auto* first = static_cast<const unsigned char*>(data);
  try {
    m_data.insert(m_data.end(), first, first + bytes);
  } catch (const std::bad_alloc&) {
    throw CbExceptionOutOfMemory();
  } catch (const std::length_error&) {
    throw CbExceptionOutOfMemory();
  }
}
