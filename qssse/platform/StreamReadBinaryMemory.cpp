#include "qssse/platform/StreamReadBinaryMemory.h"

#include "qssse/platform/CoreException.h"

#include <cstring>
#include "qssse/platform/InvalidArgumentException.h"
#include <utility>

namespace {

std::vector<unsigned char> copyOf(const void* data, std::size_t size) {
  if (data == nullptr && size > 0) AfxThrowInvalidArgumentException("CbStreamReadBinaryMemory: null data");
  const auto* first = static_cast<const unsigned char*>(data);
  return size > 0 ? std::vector<unsigned char>(first, first + size) : std::vector<unsigned char>();
}

}  // namespace

CbStreamReadBinaryMemory::CbStreamReadBinaryMemory(const std::vector<unsigned char>& data) : m_data(data) {}

CbStreamReadBinaryMemory::CbStreamReadBinaryMemory(std::vector<unsigned char>&& data)
    : m_data(std::move(data)) {}

CbStreamReadBinaryMemory::CbStreamReadBinaryMemory(const void* data, std::size_t size)
    : m_data(copyOf(data, size)) {}

CbStreamReadBinaryMemory::~CbStreamReadBinaryMemory() = default;

std::size_t CbStreamReadBinaryMemory::GetPosition() const { return m_position; }

std::uint64_t CbStreamReadBinaryMemory::BytesRemaining() const { return m_data.size() - m_position; }

void CbStreamReadBinaryMemory::GetBytes(void* data, std::size_t bytes) {
  if (bytes > m_data.size() - m_position) {
    m_position = m_data.size();
    throw CbException("stream: read past the end");
  }
  std::memcpy(data, m_data.data() + m_position, bytes);
  m_position += bytes;
}
